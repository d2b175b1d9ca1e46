// SPDX-License-Identifier: Apache-2.0
#include "importers/ixxatfileimporter.h"

#include "readers/ixxat.h"

IxxatFileImporter::IxxatFileImporter(QObject *parent)
    : ListImporter(tr("No error."), std::make_unique<IxxatReader>(), parent)
{
}

IxxatFileImporter::~IxxatFileImporter() = default;

bool IxxatFileImporter::importFile(QString path, QList<CAN::CanRxMessage> *messages, QMap<unsigned int, QString> *notes)
{
    return setTargets(messages, notes) && parseFile(path);
}

bool IxxatFileImporter::parseFile(QString path)
{
    return appendFile(path);
}

bool IxxatFileImporter::importCANMsgLine(QString row)
{
    CAN::CanRxMessage message;
    if (table().readRow(row, message))
        appendNumbered(message);
    return true;
}

void IxxatFileImporter::resetColumnsPos()
{
    table().forgetColumns();
}

void IxxatFileImporter::setDefaultColumns()
{
    table().setUsualColumns();
}

void IxxatFileImporter::getColumnsFromLine(QString line)
{
    table().readHeaderRow(line);
}

QStringList IxxatFileImporter::getLineElements(QString line, QChar separator, QChar quote)
{
    const Fields &fields = table().splitRow(line, separator, quote);
    QStringList elements;
    for (int i = 0; i < fields.count(); ++i)
        elements.append(fields[i].toString());
    return elements;
}

void IxxatFileImporter::removeLeadingZeroes(QString &text)
{
    text = IxxatTable::withoutLeadingZeroes(text).toString();
}

void IxxatFileImporter::convertTimestringAndSetToCanMsg(QString text, CAN::CanRxMessage &message)
{
    message.timeStamp = table().readTime(text);
}

IxxatTable &IxxatFileImporter::table()
{
    return static_cast<IxxatReader &>(*reader).grammar;
}
