#include "host/store/chunkformat.h"

#include "host/store/timetext.h"

#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <array>
#include <cstring>

namespace ChunkFormat
{
namespace
{

constexpr quint32 magic = 0x51434C43; // "QCLC"
constexpr quint16 formatVersion = 1;

constexpr quint8 fdSeenFlag = 0x01;

enum RecordFlag : quint8 {
    RemoteFlag = 0x01,
    ExtendedFlag = 0x02,
    FdFlag = 0x04,
    EsiFlag = 0x08,
    BrsFlag = 0x10,
    TxFlag = 0x20,
    AllRecordFlags = 0x3F,
};

constexpr int payloadSize = sizeof(CAN::CanRxMessage::data);
constexpr int recordSize = 21;  // without the payload
constexpr int noteSize = 8;     // without the text
constexpr int summarySize = 39; // magic to the sizes of records and notes
constexpr int checksumSize = 4;

// Far above the hundred characters that are written, so that a later version may say more.
constexpr quint32 maximumHeaderSize = 4096;
constexpr quint32 maximumNotesSize = 256 * 1024 * 1024;

QString tooShort()
{
    return QStringLiteral("it ends too early");
}
QString noChunk()
{
    return QStringLiteral("it is no data chunk");
}
QString contradiction()
{
    return QStringLiteral("its summary does not fit its content");
}

/// CRC-32 (IEEE 802.3, as zlib has it). Eight bytes a step, which takes a third of the time of one a step.
class Checksum
{
public:
    void add(const char *data, qint64 size)
    {
        const Tables &table = tables();
        const auto *p = reinterpret_cast<const uchar *>(data);
        for (; size >= 8; size -= 8, p += 8) {
            const quint32 low = qFromLittleEndian<quint32>(p) ^ value;
            const quint32 high = qFromLittleEndian<quint32>(p + 4);
            value = table[7][low & 0xFF] ^ table[6][low >> 8 & 0xFF] ^ table[5][low >> 16 & 0xFF] ^ table[4][low >> 24]
                    ^ table[3][high & 0xFF] ^ table[2][high >> 8 & 0xFF] ^ table[1][high >> 16 & 0xFF]
                    ^ table[0][high >> 24];
        }
        for (; size > 0; --size, ++p)
            value = table[0][(value ^ *p) & 0xFF] ^ value >> 8;
    }
    void add(const QByteArray &data) { add(data.constData(), data.size()); }
    quint32 result() const { return ~value; }

private:
    using Tables = std::array<std::array<quint32, 256>, 8>;

    static const Tables &tables()
    {
        static const Tables filled = [] {
            Tables table{};
            for (quint32 byte = 0; byte < 256; ++byte) {
                quint32 remainder = byte;
                for (int bit = 0; bit < 8; ++bit)
                    remainder = (remainder & 1) != 0 ? remainder >> 1 ^ 0xEDB88320U : remainder >> 1;
                table[0][byte] = remainder;
            }
            // table[n][b]: the remainder of byte b followed by n zero bytes.
            for (std::size_t n = 1; n < table.size(); ++n)
                for (std::size_t byte = 0; byte < 256; ++byte)
                    table[n][byte] = table[0][table[n - 1][byte] & 0xFF] ^ table[n - 1][byte] >> 8;
            return table;
        }();
        return filled;
    }

    quint32 value = 0xFFFFFFFFU;
};

/// Reads big-endian numbers, as QDataStream writes them, from bytes whose number the caller has checked.
class Cursor
{
public:
    explicit Cursor(const QByteArray &bytes)
        : next(bytes.constData())
        , end(next + bytes.size())
    {
    }
    template <typename Number>
    Number take()
    {
        const auto number = qFromBigEndian<Number>(next);
        next += sizeof(Number);
        return number;
    }
    CanTimeStamp takeTime()
    {
        const auto seconds = take<qint32>();
        return {seconds, take<qint32>()};
    }
    const char *takeBytes(int count)
    {
        const char *bytes = next;
        next += count;
        return bytes;
    }
    qint64 left() const { return end - next; }

private:
    const char *next;
    const char *end;
};

template <typename Number>
char *put(char *target, Number number)
{
    qToBigEndian(number, target);
    return target + sizeof(Number);
}

/// Takes bytes from a stream and keeps their checksum.
class Input
{
public:
    explicit Input(QDataStream &source)
        : stream(source)
    {
    }

    /// The next @p size bytes. They are asked for in pieces, since @p size may be a lie that costs gigabytes.
    bool take(quint32 size, QByteArray &bytes)
    {
        bytes.clear();
        while (quint32(bytes.size()) < size) {
            const int had = bytes.size();
            bytes.resize(had + int(qMin<quint32>(size - quint32(had), 1024 * 1024)));
            if (!read(bytes.data() + had, bytes.size() - had))
                return false;
        }
        checksum.add(bytes);
        return true;
    }
    quint32 checksumSoFar() const { return checksum.result(); }

private:
    bool read(char *target, int size)
    {
        // A sequential device may hand out less than was asked for and still have more.
        while (size > 0) {
            const int got = stream.readRawData(target, size);
            if (got <= 0)
                return false;
            target += got;
            size -= got;
        }
        return true;
    }

    QDataStream &stream;
    Checksum checksum;
};

QString textFrom(const char *bytes, int size)
{
    QString text(size / 2, Qt::Uninitialized);
    qFromBigEndian<quint16>(bytes, size / 2, text.data());
    return text;
}

QString headerText(const Summary &summary)
{
    return QStringLiteral("%1-%2 s to %3 s, %4 %5")
        .arg(summary.number)
        .arg(timeText(summary.firstTime), timeText(summary.lastTime))
        .arg(summary.messageCount)
        .arg(summary.messageCount == 1 ? QStringLiteral("message") : QStringLiteral("messages"));
}

bool readNumber(const QString &header, quint64 &number)
{
    const int digits = header.indexOf(QLatin1Char('-'));
    if (digits < 1 || digits > 15)
        return false;
    number = 0;
    for (int i = 0; i < digits; ++i) {
        const ushort digit = header.at(i).unicode();
        if (digit < '0' || digit > '9')
            return false;
        number = number * 10 + (digit - '0');
    }
    return true;
}

/// Adds one message to a summary: the one rule for writing it and for checking what was read.
void include(Summary &summary, const CAN::CanRxMessage &message)
{
    if (summary.messageCount == 0 || isEarlier(message.timeStamp, summary.firstTime))
        summary.firstTime = message.timeStamp;
    if (summary.messageCount == 0 || isEarlier(summary.lastTime, message.timeStamp))
        summary.lastTime = message.timeStamp;
    summary.fdSeen = summary.fdSeen || message.isFd;
    ++summary.messageCount;
}

struct Sizes {
    quint32 records = 0;
    quint32 notes = 0;
    qint64 beforeRecords = 0;
};

QString readBeginning(Input &input, Summary &summary, Sizes &sizes)
{
    QByteArray bytes;
    if (!input.take(sizeof(quint32), bytes))
        return tooShort();
    const auto headerSize = Cursor(bytes).take<quint32>();
    if (headerSize == 0 || headerSize > maximumHeaderSize || headerSize % 2 != 0)
        return noChunk();
    if (!input.take(headerSize, bytes))
        return tooShort();
    if (!readNumber(textFrom(bytes.constData(), bytes.size()), summary.number))
        return noChunk();

    if (!input.take(summarySize, bytes))
        return tooShort();
    Cursor cursor(bytes);
    if (cursor.take<quint32>() != magic)
        return noChunk();
    const auto version = cursor.take<quint16>();
    if (version != formatVersion)
        return QStringLiteral("its format version %1 is not known").arg(version);
    const auto flags = cursor.take<quint8>();
    const auto messageCount = cursor.take<quint32>();
    summary.firstTime = cursor.takeTime();
    summary.lastTime = cursor.takeTime();
    const auto noteCount = cursor.take<quint32>();
    sizes.records = cursor.take<quint32>();
    sizes.notes = cursor.take<quint32>();
    sizes.beforeRecords = qint64(sizeof(quint32)) + headerSize + summarySize;

    if ((flags & ~fdSeenFlag) != 0)
        return contradiction();
    if (messageCount == 0 || messageCount > quint32(maximumMessages))
        return QStringLiteral("its message count %1 is not 1 to %2").arg(messageCount).arg(maximumMessages);
    if (sizes.records < messageCount * recordSize || sizes.records > messageCount * (recordSize + payloadSize))
        return contradiction();
    if (noteCount > messageCount || sizes.notes > maximumNotesSize || sizes.notes < noteCount * noteSize)
        return contradiction();
    summary.messageCount = int(messageCount);
    summary.noteCount = int(noteCount);
    summary.fdSeen = (flags & fdSeenFlag) != 0;
    return {};
}

bool decodeRecords(const QByteArray &bytes, Chunk &chunk)
{
    Cursor cursor(bytes);
    Summary found;
    chunk.messages.clear();
    chunk.messages.resize(chunk.summary.messageCount);
    for (CAN::CanRxMessage &message : chunk.messages) {
        if (cursor.left() < recordSize)
            return false;
        const auto flags = cursor.take<quint8>();
        if ((flags & ~AllRecordFlags) != 0)
            return false;
        message.isRemote = (flags & RemoteFlag) != 0;
        message.isExtended = (flags & ExtendedFlag) != 0;
        message.isFd = (flags & FdFlag) != 0;
        message.isEsi = (flags & EsiFlag) != 0;
        message.isBrs = (flags & BrsFlag) != 0;
        message.isTx = (flags & TxFlag) != 0;
        message.timeStamp = cursor.takeTime();
        message.id = cursor.take<quint32>();
        message.messageIndex = cursor.take<quint32>();
        message.channel = cursor.take<quint16>();
        message.dlc = cursor.take<quint8>();
        const int size = cursor.take<quint8>();
        if (size > payloadSize || size > cursor.left())
            return false;
        std::memcpy(message.data, cursor.takeBytes(size), std::size_t(size));
        include(found, message);
    }
    return cursor.left() == 0 && found.firstTime == chunk.summary.firstTime && found.lastTime == chunk.summary.lastTime
           && found.fdSeen == chunk.summary.fdSeen;
}

bool decodeNotes(const QByteArray &bytes, Chunk &chunk)
{
    Cursor cursor(bytes);
    int lastPosition = -1;
    chunk.notes.clear();
    for (int i = 0; i < chunk.summary.noteCount; ++i) {
        if (cursor.left() < noteSize)
            return false;
        const auto position = cursor.take<quint32>();
        const auto size = cursor.take<quint32>();
        if (position >= quint32(chunk.summary.messageCount) || int(position) <= lastPosition)
            return false;
        if (size == 0 || size % 2 != 0 || size > cursor.left())
            return false;
        lastPosition = int(position);
        chunk.notes.insert(chunk.notes.cend(), lastPosition, textFrom(cursor.takeBytes(int(size)), int(size)));
    }
    return cursor.left() == 0;
}

QString readWhole(QDataStream &stream, Chunk &chunk)
{
    Input input(stream);
    Sizes sizes;
    const QString fault = readBeginning(input, chunk.summary, sizes);
    if (!fault.isEmpty())
        return fault;
    QByteArray records;
    QByteArray notes;
    if (!input.take(sizes.records, records) || !input.take(sizes.notes, notes))
        return tooShort();
    const quint32 checksum = input.checksumSoFar();
    QByteArray stated;
    if (!input.take(checksumSize, stated))
        return tooShort();
    if (Cursor(stated).take<quint32>() != checksum)
        return QStringLiteral("its checksum is wrong");
    // Damage cannot come this far, but a chunk made to harm can.
    if (!decodeRecords(records, chunk) || !decodeNotes(notes, chunk))
        return contradiction();
    return {};
}

} // namespace

bool isEarlier(const CanTimeStamp &a, const CanTimeStamp &b)
{
    return inMicroseconds(a) < inMicroseconds(b);
}

Encoder::Encoder(int messageCount)
{
    records.reserve(messageCount * (recordSize + 8));
}

void Encoder::add(const CAN::CanRxMessage &message)
{
    Q_ASSERT(content.messageCount < maximumMessages);
    // Not by dlc: some formats keep bytes past it, and it may say more than there is.
    int size = payloadSize;
    while (size > 0 && message.data[size - 1] == 0)
        --size;

    const int flags = (message.isRemote ? RemoteFlag : 0) | (message.isExtended ? ExtendedFlag : 0)
                      | (message.isFd ? FdFlag : 0) | (message.isEsi ? EsiFlag : 0) | (message.isBrs ? BrsFlag : 0)
                      | (message.isTx ? TxFlag : 0);
    std::array<char, recordSize + payloadSize> record;
    char *p = record.data();
    p = put(p, quint8(flags));
    p = put(p, message.timeStamp.seconds);
    p = put(p, message.timeStamp.microseconds);
    p = put(p, message.id);
    p = put(p, message.messageIndex);
    p = put(p, message.channel);
    p = put(p, message.dlc);
    p = put(p, quint8(size));
    std::memcpy(p, message.data, std::size_t(size));
    records.append(record.data(), recordSize + size);
    include(content, message);
}

bool writeAll(QIODevice &device, const QByteArray &bytes)
{
    for (qint64 done = 0; done < bytes.size();) {
        const qint64 count = device.write(bytes.constData() + done, bytes.size() - done);
        if (count <= 0)
            return false;
        done += count;
    }
    return true;
}

QString Encoder::write(QIODevice &device, quint64 number, const QMap<int, QString> &notes)
{
    content.number = number;
    content.noteCount = notes.size();
    qint64 notesSize = 0;
    for (const QString &text : notes)
        notesSize += noteSize + qint64(text.size()) * 2;
    if (notesSize > maximumNotesSize)
        return QStringLiteral("its notes take more than %1 bytes").arg(maximumNotesSize);

    QByteArray beginning;
    QDataStream stream(&beginning, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_5_6);
    stream << headerText(content) << magic << formatVersion << (content.fdSeen ? fdSeenFlag : quint8(0))
           << quint32(content.messageCount) << content.firstTime.seconds << content.firstTime.microseconds
           << content.lastTime.seconds << content.lastTime.microseconds << quint32(content.noteCount)
           << quint32(records.size()) << quint32(notesSize);

    QByteArray ending;
    ending.reserve(int(notesSize) + checksumSize);
    QDataStream endingStream(&ending, QIODevice::WriteOnly);
    endingStream.setVersion(QDataStream::Qt_5_6);
    for (auto note = notes.cbegin(); note != notes.cend(); ++note)
        endingStream << quint32(note.key()) << note.value();

    Checksum checksum;
    checksum.add(beginning);
    checksum.add(records);
    checksum.add(ending);
    endingStream << checksum.result();

    for (const QByteArray *part : {&beginning, &records, &ending})
        if (!writeAll(device, *part))
            return device.errorString();
    return {};
}

QString readChunk(QDataStream &stream, Chunk &chunk)
{
    if (stream.device() == nullptr || stream.status() != QDataStream::Ok)
        return noChunk();
    QString fault = readWhole(stream, chunk);
    if (!fault.isEmpty())
        stream.setStatus(QDataStream::ReadCorruptData);
    return fault;
}

QString readChunk(QFile &file, Chunk &chunk)
{
    QDataStream stream(&file);
    const QString fault = readWhole(stream, chunk);
    if (file.error() != QFileDevice::NoError)
        return file.errorString();
    if (fault.isEmpty() && !file.atEnd())
        return QStringLiteral("it goes on after its end");
    return fault;
}

QString readChunkFile(const QString &path, Chunk &chunk)
{
    // Opening a pipe may wait for ever.
    const QFileInfo info(path);
    if (info.exists() && !info.isFile())
        return QStringLiteral("it is no plain file");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return file.errorString();
    return readChunk(file, chunk);
}

bool forEachMessage(const Chunk &chunk, const Visitor &visitor)
{
    auto note = chunk.notes.cbegin();
    for (int i = 0; i < chunk.messages.size(); ++i) {
        const bool hasNote = note != chunk.notes.cend() && note.key() == i;
        if (!visitor(chunk.messages.at(i), hasNote ? note.value() : QString()))
            return false;
        if (hasNote)
            ++note;
    }
    return true;
}

QString readSummary(QFile &file, Summary &summary)
{
    QDataStream stream(&file);
    Input input(stream);
    Sizes sizes;
    const QString fault = readBeginning(input, summary, sizes);
    if (file.error() != QFileDevice::NoError)
        return file.errorString();
    if (!fault.isEmpty())
        return fault;
    const qint64 expected = sizes.beforeRecords + sizes.records + sizes.notes + checksumSize;
    if (file.size() < expected)
        return tooShort();
    if (file.size() > expected)
        return QStringLiteral("it goes on after its end");
    return {};
}

bool beginsAsChunk(QIODevice &device)
{
    QDataStream stream(&device);
    Input input(stream);
    Summary summary;
    Sizes sizes;
    const QString fault = readBeginning(input, summary, sizes);
    return fault != noChunk() && fault != tooShort();
}

} // namespace ChunkFormat
