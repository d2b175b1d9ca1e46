// SPDX-License-Identifier: Apache-2.0
#include "host/convert/blfwriter.h"

#include "common/canerrortypes.h"
#include "common/files.h"
#include "host/convert/logorigin.h"
#include "host/store/chunkformat.h"
#include "host/store/framekind.h"
#include "host/store/timetext.h"

#include <QDateTime>
#include <QIODevice>
#include <QtEndian>
#include <zlib.h>

#include <algorithm>

// What the objects are made of stands beside the reader of this format, readers/blf.cpp.

namespace
{

constexpr int containerSize = 131072;
constexpr int headerSize = 144;
constexpr quint32 writerVersion = 4070100; // of the format: 4.7.1.0
constexpr quint64 containerHeaderSize = 32;

enum ObjectType : quint32 { CanMessage = 1, Container = 10, CanErrorExt = 73, EventComment = 92, CanFdMessage = 100 };

template <typename Number>
void add(QByteArray &bytes, Number value)
{
    char room[sizeof value];
    qToLittleEndian(value, room);
    bytes.append(room, sizeof room);
}

/// The bytes of @p message, of which the object has room for @p room.
void addData(QByteArray &bytes, const CAN::CanRxMessage &message, int room)
{
    const int length = std::min(payloadLength(message), room);
    bytes.append(reinterpret_cast<const char *>(message.data), length);
    bytes.append(room - length, '\0');
}

void addId(QByteArray &bytes, const CAN::CanRxMessage &message)
{
    constexpr quint32 extendedFlag = 0x80000000;
    add(bytes, message.id | (hasExtendedId(message) ? extendedFlag : 0));
}

/// What both kinds of frames begin with: u16 channel, u8 flags, u8 length code, u32 identifier.
void addFrameStart(QByteArray &bytes, const CAN::CanRxMessage &message, quint16 channel, quint8 lengthCode)
{
    add(bytes, channel);
    add(bytes, quint8((message.isTx ? 0x01 : 0) | (kindOf(message) == FrameKind::Remote ? 0x80 : 0)));
    add(bytes, lengthCode);
    addId(bytes, message);
}

/// The code for @p length bytes; that of the next higher length where CAN FD has none for it.
quint8 lengthCode(int length)
{
    if (length <= 8)
        return quint8(length);
    const auto found = std::lower_bound(canFdLengths.cbegin(), canFdLengths.cend(), length);
    return quint8(9 + (found - canFdLengths.cbegin()));
}

/// A date as eight numbers: year, month, day of the week, day, hour, minute, second, millisecond.
void addDate(QByteArray &bytes, const QDateTime &date)
{
    const QDate day = date.date();
    const QTime clock = date.time();
    for (const int part : {day.year(), day.month(), day.dayOfWeek() % 7, day.day(), clock.hour(), clock.minute(),
                           clock.second(), clock.msec()})
        add(bytes, quint16(part));
}

/// What stands before every object.
void addBaseHeader(QByteArray &bytes, quint16 size, quint32 objectSize, quint32 type)
{
    bytes.append("LOBJ", 4);
    add(bytes, size);
    add(bytes, quint16(1));
    add(bytes, objectSize);
    add(bytes, type);
}

} // namespace

BlfWriter::BlfWriter(QIODevice &outputDevice)
    : device(outputDevice)
{
    content.reserve(2 * containerSize);
}

bool BlfWriter::write(const CAN::CanRxMessage &message, const QString &note)
{
    last = inMicroseconds(message.timeStamp);
    if (!hasBegun) {
        const LogOrigin origin = knownOrAssumedOrigin(logInfo(), last, zone());
        start = origin.offset;
        startDate = origin.start;
        hasBegun = true;
    }
    time = (last - start) * 1000;
    countImpossible(message);
    loseNameOf(message.channel);
    const quint16 channel = channels.numberOf(message);
    switch (kindOf(message)) {
    case FrameKind::Error:
        addErrorFrame(message, channel);
        break;
    case FrameKind::Fd:
        addFdFrame(message, channel);
        break;
    case FrameKind::Remote:
    case FrameKind::Data:
        addClassicFrame(message, channel);
        break;
    }
    if (!note.isEmpty())
        addComment(note);
    return content.size() < containerSize || writeContainers(false);
}

bool BlfWriter::finish()
{
    lose(Loss::Channel, channels.joined());
    if (!writeContainers(true))
        return false;
    if (device.isSequential())
        return true;
    const QByteArray complete = header(true);
    if (!device.seek(0) || !ChunkFormat::writeAll(device, complete) || !device.seek(qint64(fileSize)))
        return fail(Files::errorText(device));
    return true;
}

void BlfWriter::addClassicFrame(const CAN::CanRxMessage &message, quint16 channel)
{
    if (message.dlc > 8)
        lose(Loss::Length); // of a remote frame
    QByteArray payload;
    addFrameStart(payload, message, channel, std::min(message.dlc, quint8(8)));
    addData(payload, message, 8);
    addObject(CanMessage, payload);
}

/// Behind the start: u32, u8, u8 flags, u8 valid bytes, u8, u32, 64 bytes, u32.
void BlfWriter::addFdFrame(const CAN::CanRxMessage &message, quint16 channel)
{
    const int length = payloadLength(message);
    if (length < message.dlc)
        lose(Loss::Length);
    QByteArray payload;
    addFrameStart(payload, message, channel, lengthCode(length));
    payload.append(5, '\0');
    add(payload, quint8(0x01 | (message.isBrs ? 0x02 : 0) | (message.isEsi ? 0x04 : 0)));
    add(payload, quint8(length));
    payload.append(5, '\0');
    addData(payload, message, int(sizeof message.data));
    payload.append(4, '\0');
    addObject(CanFdMessage, payload);
}

/// u16 channel, u16, u32 what is valid, u8, u8, u8 length, u8, u32, u32 identifier, u16 code, u16, 8 bytes. The code is
/// there for the direction alone.
void BlfWriter::addErrorFrame(const CAN::CanRxMessage &message, quint16 channel)
{
    constexpr quint32 codeIsValid = 2;
    constexpr quint16 otherErrorWhenSending = 3 << 12 | 3 << 6;
    constexpr int room = 8;
    if (payloadLength(message) > room)
        lose(Loss::Payload);
    QByteArray payload;
    add(payload, channel);
    add(payload, quint16(0));
    add(payload, message.isTx ? codeIsValid : quint32(0));
    add(payload, quint16(0));
    add(payload, quint8(std::min(payloadLength(message), room)));
    payload.append(9, '\0');
    add(payload, message.isTx ? otherErrorWhenSending : quint16(0));
    add(payload, quint16(0));
    addData(payload, message, room);
    addObject(CanErrorExt, payload);
}

/// u32 type of what it is about, u32 length, u64, text
void BlfWriter::addComment(const QString &note)
{
    constexpr int longest = 15000; // readers keep as much of an object
    QByteArray text = wellFormedNote(note).toUtf8();
    if (text.size() > longest) {
        lose(Loss::Note);
        return;
    }
    QByteArray payload;
    add(payload, quint32(0));
    add(payload, quint32(text.size()));
    add(payload, quint64(0));
    addObject(EventComment, payload + text);
}

void BlfWriter::addObject(quint32 type, const QByteArray &payload)
{
    constexpr quint16 size = 32;
    constexpr quint32 nanoseconds = 2;
    const auto objectSize = quint32(size + payload.size());
    addBaseHeader(content, size, objectSize, type);
    add(content, nanoseconds);
    add(content, quint32(0));
    add(content, time);
    content.append(payload);
    content.append(int(objectSize % 4), '\0');
    ++objectCount;
}

/// Writes what fills containers, and at the end the rest. An object may stand in two of them.
bool BlfWriter::writeContainers(bool isEnd)
{
    int written = 0;
    while (content.size() - written >= containerSize) {
        if (!writeContainer(content.constData() + written, containerSize))
            return false;
        written += containerSize;
    }
    content.remove(0, written);
    if (!isEnd)
        return true;
    const bool ok = content.isEmpty() || writeContainer(content.constData(), content.size());
    content.clear();
    return ok && (fileSize > 0 || put(header(false)));
}

bool BlfWriter::writeContainer(const char *bytes, int size)
{
    constexpr quint16 zlib = 2;
    constexpr quint16 baseHeaderSize = 16;
    if (fileSize == 0 && !put(header(false)))
        return false;
    QByteArray compressed(int(compressBound(uLong(size))), Qt::Uninitialized);
    auto length = uLongf(compressed.size());
    if (compress2(reinterpret_cast<Bytef *>(compressed.data()), &length, reinterpret_cast<const Bytef *>(bytes),
                  uLong(size), Z_DEFAULT_COMPRESSION)
        != Z_OK)
        return fail(QStringLiteral("out of memory"));
    const auto objectSize = quint32(containerHeaderSize + length);
    QByteArray container;
    container.reserve(int(objectSize) + 4);
    addBaseHeader(container, baseHeaderSize, objectSize, Container);
    add(container, zlib);
    container.append(6, '\0');
    add(container, quint32(size));
    container.append(4, '\0');
    container.append(compressed.constData(), int(length));
    container.append(int(objectSize % 4), '\0');
    contentSize += containerHeaderSize + quint64(size);
    return put(container);
}

bool BlfWriter::put(const QByteArray &bytes)
{
    fileSize += quint64(bytes.size());
    return ChunkFormat::writeAll(device, bytes) || fail(Files::errorText(device));
}

/// Before it is complete a header says when the measurement started, and nothing of what follows.
QByteArray BlfWriter::header(bool isComplete) const
{
    constexpr char defaultCompression = 6;
    QByteArray bytes("LOGG");
    add(bytes, quint32(headerSize));
    add(bytes, writerVersion);
    bytes.append('\0');
    bytes.append(defaultCompression);
    bytes.append(2, '\0');
    add(bytes, isComplete ? fileSize : 0);
    add(bytes, isComplete ? headerSize + contentSize : 0);
    add(bytes, isComplete ? objectCount : 0);
    bytes.append(4, '\0');
    addDate(bytes, startDate);
    if (isComplete)
        addDate(bytes, startDate.addMSecs((last - start) / 1000));
    return bytes.leftJustified(headerSize, '\0');
}
