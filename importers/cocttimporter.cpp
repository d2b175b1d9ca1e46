// SPDX-License-Identifier: Apache-2.0
#include "importers/cocttimporter.h"

#include "readers/coctt.h"

CoCTTImporter::CoCTTImporter(QObject *parent)
    : ListImporter(tr("No error."), std::make_unique<CoCTTReader>(), parent)
{
}

CoCTTImporter::~CoCTTImporter() = default;

bool CoCTTImporter::importFile(QString path, QList<CAN::CanRxMessage> *messages, QMap<unsigned int, QString> *notes)
{
    return setTargets(messages, notes) && parseFile(path);
}

bool CoCTTImporter::parseFile(QString path)
{
    return appendFile(path);
}

bool CoCTTImporter::importCANMsgLine(QString line)
{
    CAN::CanRxMessage message;
    if (!static_cast<CoCTTReader &>(*reader).grammar.read(line, message))
        return false;
    appendNumbered(message);
    return true;
}

void CoCTTImporter::importNoticeLine(QString line)
{
    if (CoCTTLine::isNotice(line))
        addNote(line);
}
