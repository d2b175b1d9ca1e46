// SPDX-License-Identifier: Apache-2.0
#include "importers/peaktraceimporter.h"

#include "readers/peaktrace.h"

PeakTraceImporter::PeakTraceImporter(QObject *parent)
    : ListImporter(tr("No error."), std::make_unique<PeakTraceReader>(DatachunkHelper::PeakTraceV11), parent)
{
}

PeakTraceImporter::~PeakTraceImporter() = default;

bool PeakTraceImporter::importFile(QString path, DatachunkHelper::ImportFileType type,
                                   QList<CAN::CanRxMessage> *messages, QMap<unsigned int, QString> *notes)
{
    // So many messages a usual trace has: the list need not grow.
    constexpr int usualMessageCount = 500000;

    if (!setTargets(messages, notes))
        return false;
    messageList->reserve(usualMessageCount);
    return PeakTraceReader::reads(type) && importVersion(path, type);
}

bool PeakTraceImporter::importVersion(const QString &path, DatachunkHelper::ImportFileType type)
{
    traceReader().setVersion(type);
    return appendFile(path);
}

bool PeakTraceImporter::importFileVersion11(QString path)
{
    return importVersion(path, DatachunkHelper::PeakTraceV11);
}

bool PeakTraceImporter::importFileVersion12(QString path)
{
    return importVersion(path, DatachunkHelper::PeakTraceV12);
}

bool PeakTraceImporter::importFileVersion13(QString path)
{
    return importVersion(path, DatachunkHelper::PeakTraceV13);
}

bool PeakTraceImporter::importFileVersion20(QString path)
{
    return importVersion(path, DatachunkHelper::PeakTraceV20);
}

bool PeakTraceImporter::importFileVersion21(QString path)
{
    return importVersion(path, DatachunkHelper::PeakTraceV21);
}

bool PeakTraceImporter::importVersion11StringList(QStringList tokens)
{
    Fields words;
    words.assign(tokens);
    CAN::CanRxMessage message;
    const PeakTraceLine::Kind kind = traceReader().grammar.readVersion1(words, message);
    if (kind == PeakTraceLine::Kind::Note)
        addNote(words.last());
    if (kind == PeakTraceLine::Kind::Frame)
        appendNumbered(message);
    return kind != PeakTraceLine::Kind::Malformed;
}

bool PeakTraceImporter::importVersion20StringList(const QStringList &tokens)
{
    Fields words;
    words.assign(tokens);
    CAN::CanRxMessage message;
    const PeakTraceLine::Kind kind = traceReader().grammar.readVersion2(words, message);
    if (kind == PeakTraceLine::Kind::Frame)
        appendNumbered(message);
    return kind != PeakTraceLine::Kind::Malformed;
}

void PeakTraceImporter::resetColumnsPos()
{
    traceReader().grammar.forgetColumns();
}

bool PeakTraceImporter::checkValidColumns(const QStringList &headerLines)
{
    return traceReader().grammar.findColumns(headerLines);
}

void PeakTraceImporter::check2xColumnPos(QString columnsText)
{
    traceReader().grammar.setColumns(columnsText);
}

void PeakTraceImporter::importNoticeLine(QString text)
{
    addNote(text);
}

void PeakTraceImporter::convertTimestringAndSetToCanMsg(const QString &timeText, CAN::CanRxMessage &msg)
{
    msg.timeStamp = traceReader().grammar.readMilliseconds(timeText);
}

PeakTraceReader &PeakTraceImporter::traceReader()
{
    return static_cast<PeakTraceReader &>(*reader);
}
