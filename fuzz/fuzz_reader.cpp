// Imports any bytes as a file of type FUZZ_FILE_TYPE and checks what the store is told: start and finish in their
// places; from a line format batches of 100000 messages and one final delivery, from an importer class one delivery
// when it succeeds and none when it fails; notes that belong to messages; and nothing that is not the format's
// business.

#include "canloghandler/canloghandler.h"
#include "host/store/streamstore.h"

#include <QTemporaryFile>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace
{

constexpr auto type = DatachunkHelper::ImportFileType(FUZZ_FILE_TYPE);
/// Formats that an importer class reads.
constexpr bool deliversAtOnce = (type >= DatachunkHelper::PeakTraceReserved && type <= DatachunkHelper::PeakTraceV21)
                                || type == DatachunkHelper::CoCTTLog || type == DatachunkHelper::IxxatLog
                                || type == DatachunkHelper::GenericFile;
constexpr bool bringsNumbers = type == DatachunkHelper::WiresharkCsv;
constexpr bool makesNotes =
    type == DatachunkHelper::VectorAscLog || type == DatachunkHelper::NorvikTxt || deliversAtOnce;
constexpr bool mayFail = type == DatachunkHelper::KvaserCanKingLog || deliversAtOnce;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// The request's text: a column file describes its columns itself, in a comment on its first line.
QString requestText(const QByteArray &content)
{
    if (type != DatachunkHelper::GenericFile)
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
        require(deliversAtOnce || messages.size() <= batchSize);
        finalDelivery = deliversAtOnce || messages.size() != batchSize;
        const quint32 first = count;
        for (const CAN::CanRxMessage &message : messages)
            require(message.messageIndex == count++ || bringsNumbers);
        require(notes.isEmpty() || makesNotes);
        // A note that an importer class read after the last message has the number of the next one.
        for (auto note = notes.cbegin(); note != notes.cend(); ++note)
            require(note.key() >= first && note.key() < count + deliversAtOnce && !note.value().isEmpty());
    }
    void addMessageNoteToLastMessage(QString note) override
    {
        require(type == DatachunkHelper::VectorAscLog && finalDelivery && !finished && !note.isEmpty());
    }
    void notifyFdMessage(bool fdSeen) override
    {
        require(type == DatachunkHelper::VectorAscLogWithoutBitcount || (bringsNumbers && fdSeen));
        require(finalDelivery && !finished && !fdNotified);
        fdNotified = true;
    }
    void setImportFinished(bool success, DatachunkHelper::ImportFileType, QString, bool flag) override
    {
        require(started && !finished && flag);
        require(success == finalDelivery && (success || mayFail));
        require(fdNotified || type != DatachunkHelper::VectorAscLogWithoutBitcount);
        finished = true;
    }

    static constexpr int batchSize = 100000;
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

} // namespace

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
    handler.loadFile(file.fileName(), type, requestText(content), false);
    require(store.finished);
    requireSoundReport(handler.getImportReport(), store);
    return 0;
}
