// Imports any bytes as a file of type FUZZ_FILE_TYPE and checks what the store is told: batches of 100000 messages and
// one final delivery, notes that belong to messages, start and finish in their places, and nothing that is not the
// format's business.

#include "canloghandler/canloghandler.h"
#include "host/store/streamstore.h"

#include <QTemporaryFile>

#include <cstdint>
#include <cstdlib>

namespace
{

constexpr auto type = DatachunkHelper::ImportFileType(FUZZ_FILE_TYPE);
constexpr bool bringsNumbers = type == DatachunkHelper::WiresharkCsv;
constexpr bool makesNotes = type == DatachunkHelper::VectorAscLog || type == DatachunkHelper::NorvikTxt;
constexpr bool mayStop = type == DatachunkHelper::KvaserCanKingLog;

void require(bool holds)
{
    if (!holds)
        std::abort();
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
        require(messages.size() <= batchSize);
        finalDelivery = messages.size() != batchSize;
        const quint32 first = count;
        for (const CAN::CanRxMessage &message : messages)
            require(message.messageIndex == count++ || bringsNumbers);
        require(notes.isEmpty() || makesNotes);
        for (auto note = notes.cbegin(); note != notes.cend(); ++note)
            require(note.key() >= first && note.key() < count && !note.value().isEmpty());
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
        require(success == finalDelivery && (success || mayStop));
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static QTemporaryFile file;
    if (!file.isOpen() && !file.open())
        std::abort();
    require(file.resize(0) && file.seek(0));
    require(file.write(reinterpret_cast<const char *>(data), qint64(size)) == qint64(size) && file.flush());

    ProtocolStore store;
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    handler.loadFile(file.fileName(), type, {}, false);
    require(store.finished);
    return 0;
}
