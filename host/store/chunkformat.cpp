// SPDX-License-Identifier: Apache-2.0
#include "host/store/chunkformat.h"

#include "host/store/timetext.h"

#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <zlib.h>

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

/// CRC-32 (IEEE 802.3).
class Checksum
{
public:
    void add(const QByteArray &data)
    {
        value = crc32_z(value, reinterpret_cast<const Bytef *>(data.constData()), std::size_t(data.size()));
    }
    quint32 result() const { return quint32(value); }

private:
    uLong value = crc32_z(0, nullptr, 0);
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

Fault readBeginning(Input &input, Summary &summary, Sizes &sizes)
{
    QByteArray bytes;
    if (!input.take(sizeof(quint32), bytes))
        return Fault::TooShort;
    const auto headerSize = Cursor(bytes).take<quint32>();
    if (headerSize == 0 || headerSize > maximumHeaderSize || headerSize % 2 != 0)
        return Fault::NoChunk;
    if (!input.take(headerSize, bytes))
        return Fault::TooShort;
    if (!readNumber(textFrom(bytes.constData(), bytes.size()), summary.number))
        return Fault::NoChunk;

    if (!input.take(summarySize, bytes))
        return Fault::TooShort;
    Cursor cursor(bytes);
    if (cursor.take<quint32>() != magic)
        return Fault::NoChunk;
    const auto version = cursor.take<quint16>();
    if (version != formatVersion)
        return Fault(Fault::UnknownVersion, QString::number(version));
    const auto flags = cursor.take<quint8>();
    const auto messageCount = cursor.take<quint32>();
    summary.firstTime = cursor.takeTime();
    summary.lastTime = cursor.takeTime();
    const auto noteCount = cursor.take<quint32>();
    sizes.records = cursor.take<quint32>();
    sizes.notes = cursor.take<quint32>();
    sizes.beforeRecords = qint64(sizeof(quint32)) + headerSize + summarySize;

    if ((flags & ~fdSeenFlag) != 0)
        return Fault::Contradiction;
    if (messageCount == 0 || messageCount > quint32(maximumMessages))
        return Fault(Fault::WrongCount, QString::number(messageCount));
    if (sizes.records < messageCount * recordSize || sizes.records > messageCount * (recordSize + payloadSize))
        return Fault::Contradiction;
    if (noteCount > messageCount || sizes.notes > maximumNotesSize || sizes.notes < noteCount * noteSize)
        return Fault::Contradiction;
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

Fault readWhole(QDataStream &stream, Chunk &chunk)
{
    Input input(stream);
    Sizes sizes;
    const Fault fault = readBeginning(input, chunk.summary, sizes);
    if (!fault.isEmpty())
        return fault;
    QByteArray records;
    QByteArray notes;
    if (!input.take(sizes.records, records) || !input.take(sizes.notes, notes))
        return Fault::TooShort;
    const quint32 checksum = input.checksumSoFar();
    QByteArray stated;
    if (!input.take(checksumSize, stated))
        return Fault::TooShort;
    if (Cursor(stated).take<quint32>() != checksum)
        return Fault::WrongChecksum;
    // Damage cannot come this far, but a chunk made to harm can.
    if (!decodeRecords(records, chunk) || !decodeNotes(notes, chunk))
        return Fault::Contradiction;
    return {};
}

} // namespace

QString Fault::text() const
{
    switch (found) {
    case None:
        break;
    case TooShort:
        return QStringLiteral("it ends too early");
    case TooLong:
        return QStringLiteral("it goes on after its end");
    case NoChunk:
        return QStringLiteral("it is no data chunk");
    case NoPlainFile:
        return QStringLiteral("it is no plain file");
    case UnknownVersion:
        return QStringLiteral("its format version %1 is not known").arg(detail);
    case WrongCount:
        return QStringLiteral("its message count %1 is not 1 to %2").arg(detail, QString::number(maximumMessages));
    case Contradiction:
        return QStringLiteral("its summary does not fit its content");
    case WrongChecksum:
        return QStringLiteral("its checksum is wrong");
    case NotesTooLong:
        return QStringLiteral("its notes take more than %1 bytes").arg(maximumNotesSize);
    case Device:
        return detail;
    }
    return {};
}

qint64 sizeOfNote(const QString &text)
{
    return noteSize + qint64(text.size()) * 2;
}

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

Fault Encoder::write(QIODevice &device, quint64 number, const QMap<int, QString> &notes)
{
    content.number = number;
    content.noteCount = notes.size();
    qint64 notesSize = 0;
    for (const QString &text : notes)
        notesSize += sizeOfNote(text);
    if (notesSize > maximumNotesSize)
        return Fault::NotesTooLong;

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
    writtenChecksum = checksum.result();
    endingStream << writtenChecksum;

    for (const QByteArray *part : {&beginning, &records, &ending})
        if (!writeAll(device, *part))
            return Fault(Fault::Device, device.errorString());
    return {};
}

Fault readChunk(QDataStream &stream, Chunk &chunk)
{
    if (stream.device() == nullptr || stream.status() != QDataStream::Ok)
        return Fault::NoChunk;
    const Fault fault = readWhole(stream, chunk);
    if (!fault.isEmpty())
        stream.setStatus(QDataStream::ReadCorruptData);
    return fault;
}

Fault readChunk(QFile &file, Chunk &chunk)
{
    QDataStream stream(&file);
    const Fault fault = readWhole(stream, chunk);
    if (file.error() != QFileDevice::NoError)
        return Fault(Fault::Device, file.errorString());
    if (fault.isEmpty() && !file.atEnd())
        return Fault::TooLong;
    return fault;
}

Fault readChunkFile(const QString &path, Chunk &chunk)
{
    // Opening a pipe may wait for ever.
    const QFileInfo info(path);
    if (info.exists() && !info.isFile())
        return Fault::NoPlainFile;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Fault(Fault::Device, file.errorString());
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

Fault readSummary(QFile &file, Summary &summary)
{
    QDataStream stream(&file);
    Input input(stream);
    Sizes sizes;
    const Fault fault = readBeginning(input, summary, sizes);
    if (file.error() != QFileDevice::NoError)
        return Fault(Fault::Device, file.errorString());
    if (!fault.isEmpty())
        return fault;
    const qint64 expected = sizes.beforeRecords + sizes.records + sizes.notes + checksumSize;
    if (file.size() < expected)
        return Fault::TooShort;
    if (file.size() > expected)
        return Fault::TooLong;
    return {};
}

bool beginsAsChunk(QIODevice &device)
{
    QDataStream stream(&device);
    Input input(stream);
    Summary summary;
    Sizes sizes;
    const Fault fault = readBeginning(input, summary, sizes);
    return fault.kind() != Fault::NoChunk && fault.kind() != Fault::TooShort;
}

} // namespace ChunkFormat
