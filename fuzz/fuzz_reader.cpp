// SPDX-License-Identifier: Apache-2.0
// Imports any bytes as a log of one format, which selectFormat() chose, or for a fuzzer the variable
// CANLOG_FUZZ_FORMAT ("list" prints their names). Checks what the store is told: start and finish in their places;
// batches of 100000 messages and one final delivery, or, of a format that is delivered as one list, one when it
// succeeds and none when it fails; notes that belong to messages; and nothing that is not the format's business.
// Pulling the same bytes out of a buffer must give the same frames, notes and report.

#include "fuzz/fuzz_reader.h"

#include "canloghandler/canloghandler.h"
#include "host/store/streamstore.h"
#include "readers/formats.h"
#include "readers/framereader.h"

#include <QBuffer>
#include <QTemporaryFile>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace
{

const LogFormat *selected = nullptr;

const LogFormat &format()
{
    return *selected;
}

bool deliversAtOnce()
{
    return format().delivery == LogFormat::Delivery::OneList;
}

void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// The request's text: a column file describes its columns itself, in a comment on its first line.
QString requestText(const QByteArray &content)
{
    if (!format().hasColumns)
        return {};
    constexpr int maxLength = 1024;
    const QByteArray firstLine = content.left(maxLength).split('\n').first();
    return firstLine.startsWith('#') ? QString::fromUtf8(firstLine.mid(1)) : QStringLiteral("t n i ? ? l d");
}

class ProtocolStore : public StreamStore
{
public:
    void setImportStarted() override
    {
        require(!started);
        started = true;
    }
    void addImportedMessages(const QList<CAN::CanRxMessage> &messages,
                             const QMap<unsigned int, QString> &notes) override
    {
        require(started && !finished && !finalDelivery);
        require(deliversAtOnce() || messages.size() <= batchSize);
        finalDelivery = deliversAtOnce() || messages.size() != batchSize;
        const quint32 first = count;
        for (const CAN::CanRxMessage &message : messages)
            require(message.messageIndex == count++ || format().bringsNumbers);
        require(notes.isEmpty() || format().makesNotes);
        allMessages += messages;
        // In one list, a note that was read after the last message has the number of the next one.
        for (auto note = notes.cbegin(); note != notes.cend(); ++note) {
            require(note.key() >= first && note.key() < count + (deliversAtOnce() ? 1 : 0) && !note.value().isEmpty());
            allNotes.insert(note.key(), note.value());
        }
    }
    void addMessageNoteToLastMessage(QString note) override
    {
        require(format().makesNotes && !deliversAtOnce() && finalDelivery && !finished && !note.isEmpty());
        allNotes.insert(count, note);
    }
    void notifyFdMessage(bool fdSeen) override
    {
        require(format().fdNotice != LogFormat::FdNotice::Never);
        require(format().fdNotice == LogFormat::FdNotice::Always || fdSeen);
        require(finalDelivery && !finished && !fdNotified);
        fdNotified = true;
    }
    void setImportFinished(bool success, DatachunkHelper::ImportFileType, QString, bool flag) override
    {
        require(started && !finished && flag);
        require(success == finalDelivery && (success || format().mayFail));
        require(fdNotified || format().fdNotice != LogFormat::FdNotice::Always);
        finished = true;
    }

    static constexpr int batchSize = 100000;
    QList<CAN::CanRxMessage> allMessages;
    QMap<unsigned int, QString> allNotes; ///< by position, also what came after the last message
    quint32 count = 0;
    bool started = false;
    bool finalDelivery = false;
    bool fdNotified = false;
    bool finished = false;
};

/// Every line is accounted for once, and every fault is somewhere in the file.
void requireSoundReport(const ImportReport &report, const ProtocolStore &store)
{
    require(report.otherLines >= 0 && report.droppedLines <= report.faultyLines && report.faultyLines <= report.lines);
    require(report.messages + report.otherLines + report.droppedLines == report.lines);
    require(report.messages == store.count || !store.finalDelivery);
    require(report.faults.size() == std::min<qint64>(report.faultyLines, ImportReport::maxFaults));
    qint64 latest = 0;
    for (const ImportReport::Fault &fault : report.faults) {
        require(fault.line > latest && fault.line <= report.lines && fault.column >= 1);
        latest = fault.line;
    }
}

bool areEqual(const ImportReport &a, const ImportReport &b)
{
    const auto areSame = [](const ImportReport::Fault &x, const ImportReport::Fault &y) {
        return x.line == y.line && x.column == y.column && x.reason == y.reason;
    };
    return a.lines == b.lines && a.messages == b.messages && a.otherLines == b.otherLines
           && a.droppedLines == b.droppedLines && a.faultyLines == b.faultyLines
           && std::equal(a.faults.begin(), a.faults.end(), b.faults.begin(), b.faults.end(), areSame);
}

/// What the store got is what pulling gives; of a log that fails that is the beginning at the most.
void requireSamePulled(QByteArray content, const ProtocolStore &store, const ImportReport &report)
{
    QBuffer buffer(&content);
    const std::unique_ptr<FrameReader> reader = makeReader(format().type, requestText(content));
    require(buffer.open(QIODevice::ReadOnly) && reader->open(buffer, QString()));
    QMap<unsigned int, QString> notes;
    quint32 frames = 0;
    const auto takeNote = [&] {
        if (reader->hasNote())
            notes.insert(frames, reader->takeNote());
    };
    for (; reader->next(); ++frames) {
        takeNote();
        if (frames < store.count)
            require(reader->frame() == store.allMessages.at(int(frames)));
    }
    takeNote();
    require(areEqual(reader->report(), report));
    require(reader->atEnd() == store.finalDelivery && reader->failed() != reader->atEnd());
    if (reader->atEnd())
        require(frames == store.count && notes == store.allNotes);
}

} // namespace

void selectFormat(const LogFormat &row)
{
    selected = &row;
}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    const QString wanted = qEnvironmentVariable("CANLOG_FUZZ_FORMAT");
    for (const LogFormat &row : logFormats()) {
        if (wanted == QLatin1String("list"))
            std::printf("%s %s\n", qPrintable(row.name()), qPrintable(row.samples));
        else if (row.name() == wanted)
            selectFormat(row);
    }
    if (!selected)
        std::exit(wanted == QLatin1String("list") ? 0 : 2);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static QTemporaryFile file;
    if (!file.isOpen() && !file.open())
        std::abort();
    const QByteArray content(reinterpret_cast<const char *>(data), int(size));
    require(file.resize(0) && file.seek(0));
    require(file.write(content) == content.size() && file.flush());

    ProtocolStore store;
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    handler.loadFile(file.fileName(), format().type, requestText(content), false);
    require(store.finished);
    requireSoundReport(handler.getImportReport(), store);
    requireSamePulled(content, store, handler.getImportReport());
    return 0;
}
