// SPDX-License-Identifier: Apache-2.0
#include "importers/genericfileimporter.h"

#include "readers/formats.h"
#include "readers/generic.h"

GenericFileImporter::GenericFileImporter(QObject *parent)
    : ListImporter(tr("No error."), std::make_unique<GenericReader>(defaultColumns()), parent)
{
}

GenericFileImporter::~GenericFileImporter() = default;

void GenericFileImporter::setColumnFormat(const QString &format)
{
    columns().setFormat(format);
}

bool GenericFileImporter::importFile(QString path, QList<CAN::CanRxMessage> *messages,
                                     QMap<unsigned int, QString> *notes)
{
    return setTargets(messages, notes) && parseFile(path);
}

bool GenericFileImporter::parseFile(QString path)
{
    return appendFile(path);
}

bool GenericFileImporter::importCANMsgLine(QString line)
{
    Fields fields;
    fields.split(line, QLatin1Char(' '), Fields::KeepEmpty);
    CAN::CanRxMessage message;
    const GenericColumns::LineKind kind = columns().read(fields, message);
    if (kind == GenericColumns::LineKind::Frame)
        appendNumbered(message);
    return kind != GenericColumns::LineKind::Malformed;
}

void GenericFileImporter::resetColumnsPos()
{
}

GenericColumns &GenericFileImporter::columns()
{
    return static_cast<GenericReader &>(*reader).grammar;
}
