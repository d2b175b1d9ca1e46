// SPDX-License-Identifier: Apache-2.0
#include "common/framelengths.h"
#include "common/text/bytelines.h"
#include "common/text/bytenumbers.h"
#include "readers/blfpieces.h"
#include "readers/makers.h"
#include "readers/notetext.h"

#include <QFile>
#include <QStringList>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#ifdef Q_OS_UNIX
#include <poll.h>
#endif

// Binary logging files: a header, and containers whose contents, one behind the other, are a stream of objects. An
// object has two headers, the second of which holds its time:
//
//   16  u32 unit of the time   24  i64 time since the start of the measurement   32  u64 (version 2)
//
// and then what its type wants. Where a container is damaged the stream has a gap, behind which the next object is
// searched; the beginning of an object before a gap is never joined to what stands behind it.

namespace
{

using namespace Blf;

/// So many types that are passed over are counted each by its own number: a file that holds more is no log.
constexpr int maxSkippedTypes = 1000;

constexpr quint32 extendedFlag = 0x80000000;

/// A part of an object, which never reaches behind its end.
struct Bytes {
    const char *begin = nullptr;
    qint64 size = 0;

    Bytes from(qint64 offset) const
    {
        const qint64 skipped = std::min(offset, size);
        return {begin + skipped, size - skipped};
    }
    /// The text of @p length bytes, or as much as there is of it, without the zeros at its end.
    std::string_view text(qint64 length) const
    {
        std::string_view text(begin, std::size_t(std::min(length, size)));
        while (!text.empty() && text.back() == 0)
            text.remove_suffix(1);
        return text;
    }
};

class BlfReader : public FrameReader
{
    Q_DECLARE_TR_FUNCTIONS(BlfReader)

public:
    ToldFields toldFields() const override { return told; }
    qint64 lineNumber() const override { return frameNumber; }
    ImportReport report() const override;
    LogInfo info() const override { return logInfo; }

private:
    enum class Kind { Frame, Other };

    void start(QIODevice &device) override;
    bool read(CAN::CanRxMessage &message) override;

    // The stream of objects
    bool begin();
    bool advance();
    bool mayWait() const;
    bool more();
    void keepRest();
    void takeContent(const Piece &piece);
    bool endOfWindow();
    bool passOver(const Found &found);
    bool skipObject();
    void endStray(const Found &found);
    Kind look(const char *bytes, qint64 size);
    qint64 offsetOf(const char *bytes) const;

    // The report
    void beginObject(qint64 offset);
    void blameCut(qint64 offset, qint64 missing);
    void blame(const Piece &piece);
    Kind drop(const QString &text) { return drop(ImportReport::Reason::BrokenLine, text); }
    Kind drop(ImportReport::Reason reason, const QString &text);
    void doubt(const QString &text);
    void addFault(ImportReport::Reason reason, const QString &text);
    void countSkipped(quint32 type);
    void addNote(const QString &text);

    // What is in an object
    bool findPayload();
    bool readTime(CAN::CanRxMessage &message);
    bool readFrame(CAN::CanRxMessage &message);
    bool isLongEnough(qint64 least);
    void setId(quint32 id, CAN::CanRxMessage &message);
    void setChannel(quint16 channel, CAN::CanRxMessage &message);
    void setDirection(bool isTx, CAN::CanRxMessage &message);
    void setFd(bool isBrs, bool isEsi, CAN::CanRxMessage &message);
    void setData(Bytes bytes, int length, CAN::CanRxMessage &message);
    void setValidData(Bytes bytes, int code, int valid, CAN::CanRxMessage &message);
    bool readClassic(CAN::CanRxMessage &message);
    bool readFd(CAN::CanRxMessage &message);
    bool readFd64(CAN::CanRxMessage &message);
    bool readError(CAN::CanRxMessage &message);
    bool readErrorExt(CAN::CanRxMessage &message);
    bool readError64(CAN::CanRxMessage &message);
    void tellError(quint32 valid, quint16 code, quint8 ecc, quint32 bit, quint32 id, CAN::CanRxMessage &message);
    void readText();
    void readMarker();
    void readComment();
    void readChannelName(quint32 about, std::string_view text);
    bool isTextThere(qint64 least);
    std::string_view textAt(qint64 offset, qint64 length);

    std::optional<Pieces> pieces;
    int pipe = -1; ///< the descriptor of a pipe or terminal, of which no object is waited for that may never come
    bool hasBegun = false;
    FileHeader header;

    // The bytes at hand: of the piece, behind what is left of those before, or, until it comes, that alone
    const char *position = nullptr;
    const char *end = nullptr;
    const char *pieceBegin = nullptr; ///< up to there they are of those before
    std::array<char, Piece::room> rest;
    const Piece *outside = nullptr; ///< the object outside of containers that comes next
    qint64 pieceOffset = 0;
    qint64 restOffset = 0;   ///< of the container in which what is left begins
    qint64 toSkip = 0;       ///< of an object that is not kept
    bool isLast = false;     ///< nothing can be joined to the bytes at hand
    bool isBroken = false;   ///< since the stream has a gap behind them
    bool isAfterGap = false; ///< the bytes at hand may begin within an object
    bool isAfterWrongSize = false;
    qint64 strayCount = 0;
    qint64 strayOffset = 0;
    bool isStrayZero = false;

    // The object
    const char *object = nullptr;
    qint64 objectSize = 0;
    qint64 objectOffset = 0;
    Bytes payload;
    bool isPending = false; ///< it was looked at ahead of its turn, and is a frame
    bool isFaulty = false;  ///< already
    qint64 frameNumber = 0;
    bool isUnitBlamed = false;
    ToldFields told;
    LogInfo logInfo;
    ImportReport counts;
    qint64 objectCount = 0; ///< as the file counts them
};

void BlfReader::start(QIODevice &device)
{
    const qint64 total = device.isSequential() ? 0 : device.size();
    pieces.emplace(device, [this, total](qint64 bytesRead) { return blockRead(bytesRead, total); });
    const auto *const openFile = qobject_cast<QFileDevice *>(&device);
    pipe = openFile && openFile->isSequential() ? openFile->handle() : -1;
    hasBegun = isLast = isBroken = isAfterGap = isAfterWrongSize = isPending = isFaulty = false;
    position = end = pieceBegin = rest.data();
    object = nullptr;
    outside = nullptr;
    toSkip = strayCount = frameNumber = objectCount = pieceOffset = restOffset = 0;
    isUnitBlamed = false;
    told = {};
    logInfo = {};
    counts = {};
    counts.unit = ImportReport::Unit::Object;
}

bool BlfReader::read(CAN::CanRxMessage &message)
{
    if (!hasBegun && !begin())
        return false;
    for (;;) {
        if (!isPending && !advance())
            return false;
        isPending = false;
        frameNumber = counts.lines;
        if (readFrame(message))
            break;
        message = CAN::CanRxMessage();
    }
    // What comes up to the next frame belongs to this one.
    if (mayWait())
        isPending = advance();
    return true;
}

/// Reads the header of the file. False when it is none.
bool BlfReader::begin()
{
    hasBegun = true;
    header = pieces->readHeader();
    counts.readError = pieces->readError();
    if (pieces->isStopped())
        return false;
    if (!header.isFile) {
        fail(tr("it does not begin with LOGG, as binary logging files do"));
        return false;
    }
    logInfo.timeBase = LogInfo::TimeBase::LogStart;
    logInfo.start = header.start;
    // Some writers have other numbers there, which are small.
    if (header.writerVersion >= 1000000) {
        const quint32 version = header.writerVersion;
        logInfo.version = QStringLiteral("%1.%2.%3.%4")
                              .arg(version / 1000000)
                              .arg(version / 10000 % 100)
                              .arg(version / 100 % 100)
                              .arg(version % 100);
    }
    if (header.isCutShort) {
        beginObject(0);
        drop(tr("the file ends in its header, %1 bytes too early").arg(header.missing));
    } else if (!header.start.isValid()) {
        beginObject(40);
        doubt(header.isStartStored
                  ? tr("the start of the measurement is no date; times count from it all the same")
                  : tr("the start of the measurement is not stored; times count from it all the same"));
    }
    return true;
}

// The stream of objects

/// Moves to the next frame and takes what stands before it. False at the end.
bool BlfReader::advance()
{
    for (;;) {
        if (outside) {
            const Piece &piece = *std::exchange(outside, nullptr);
            beginObject(piece.offset);
            if (look(piece.begin, piece.end - piece.begin) == Kind::Frame)
                return true;
            continue;
        }
        if (toSkip > 0) {
            if (!skipObject())
                return false;
            continue;
        }
        const Found found = findObject(position, end, isLast, Place::Container);
        if (found.what != Found::What::Object && found.what != Found::What::TooLong) {
            if (!passOver(found))
                return false;
            continue;
        }
        endStray(found);
        isAfterWrongSize = isAfterGap = false;
        beginObject(offsetOf(found.object));
        toSkip = std::max<qint64>(found.next - end, 0);
        position = std::min(found.next, end);
        if (look(found.object, position - found.object) == Kind::Frame)
            return true;
    }
}

/// Passes over what is no object, or none that can be read. False at the end of the log.
bool BlfReader::passOver(const Found &found)
{
    switch (found.what) {
    case Found::What::Missing:
        isLast = !more();
        return !pieces->isStopped();
    case Found::What::Stray:
        if (strayCount == 0) {
            strayOffset = offsetOf(position);
            isStrayZero = true;
        }
        isStrayZero = isStrayZero && std::all_of(position, found.next, [](char c) { return c == 0; });
        strayCount += found.next - position;
        position = found.next;
        return true;
    case Found::What::WrongSize:
        endStray(found);
        beginObject(offsetOf(found.object));
        drop(tr("its size of %1 bytes is none that it can have").arg(sizeOf(found.object)));
        isAfterWrongSize = true;
        position = found.next;
        return true;
    case Found::What::CutShort:
        endStray(found);
        blameCut(offsetOf(found.object), found.missing);
        return endOfWindow();
    default:
        endStray(found);
        return endOfWindow();
    }
}

/// Passes over the rest of an object that is not kept. False at the end of the log.
bool BlfReader::skipObject()
{
    const qint64 part = std::min<qint64>(toSkip, end - position);
    position += part;
    toSkip -= part;
    if (toSkip == 0 || more())
        return true;
    if (!pieces->isStopped())
        blameCut(objectOffset, toSkip);
    return endOfWindow();
}

/// Whether what comes next can be waited for: always in a file. Whoever looks at a live log wants each frame as it
/// comes, and gets what the log says later with a later frame.
bool BlfReader::mayWait() const
{
#ifdef Q_OS_UNIX
    if (pipe >= 0 && end - position < baseHeaderSize && pieces->mustRead()) {
        constexpr int milliseconds = 100; // what belongs together is written together
        pollfd state{pipe, POLLIN, 0};
        return poll(&state, 1, milliseconds) != 0;
    }
#endif
    return true;
}

/// Joins more bytes to those at hand, or finds an object outside of containers. False when there is nothing to be
/// joined.
bool BlfReader::more()
{
    if (isBroken)
        return false;
    keepRest();
    while (const Piece *const piece = pieces->next()) {
        if (piece->fault != Fault::None)
            blame(*piece);
        isBroken = piece->isBroken;
        if (piece->kind == Piece::Kind::Object) {
            outside = piece;
            return true;
        }
        if (piece->end > piece->begin) {
            takeContent(*piece);
            return true;
        }
        if (isBroken)
            return false;
    }
    counts.readError = pieces->readError();
    return false;
}

/// Copies what is left of the bytes at hand, which go with their piece. It is less than an object that is kept.
void BlfReader::keepRest()
{
    const auto size = std::min<std::size_t>(std::size_t(end - position), rest.size());
    if (position >= pieceBegin)
        restOffset = pieceOffset;
    std::memmove(rest.data(), position, size);
    position = rest.data();
    end = pieceBegin = rest.data() + size;
}

/// Puts what is left before the content of @p piece, where there is room for it.
void BlfReader::takeContent(const Piece &piece)
{
    const auto size = std::size_t(end - position);
    std::memcpy(piece.begin - size, position, size);
    position = piece.begin - size;
    end = piece.end;
    pieceBegin = piece.begin;
    pieceOffset = piece.offset;
}

/// Nothing comes behind the bytes at hand, or a gap does. Whether there is more of the log.
bool BlfReader::endOfWindow()
{
    position = end = pieceBegin = rest.data();
    toSkip = 0;
    const bool isGap = std::exchange(isBroken, false);
    isLast = false;
    isAfterGap = isGap;
    return isGap;
}

/// After what was no object comes @p found: one, or the end, before which zeros may stand.
void BlfReader::endStray(const Found &found)
{
    const bool isEnd = found.what == Found::What::End;
    const qint64 count = std::exchange(strayCount, 0);
    if (count == 0 || isAfterGap || isAfterWrongSize || (isEnd && (isStrayZero || isBroken)))
        return;
    beginObject(strayOffset);
    drop(tr("%1 bytes are no object").arg(count + (isEnd ? 0 : found.object - position)));
}

/// Where in the file the object stands that begins at @p bytes, or the container that holds it.
qint64 BlfReader::offsetOf(const char *bytes) const
{
    return bytes < pieceBegin ? restOffset : pieceOffset;
}

// The report

ImportReport BlfReader::report() const
{
    ImportReport report = counts;
    report.messages = frameCount();
    report.otherLines = report.lines - report.messages - report.droppedLines - (isPending ? 1 : 0);
    if (state() == State::AtEnd && header.objectCount > 0 && header.objectCount != objectCount)
        report.remarks.append(
            tr("its header tells of %1 objects, there are %2").arg(header.objectCount).arg(objectCount));
    return report;
}

/// Counts what comes next, which is an object or should be one.
void BlfReader::beginObject(qint64 offset)
{
    ++counts.lines;
    isFaulty = false;
    objectOffset = offset;
}

/// The log ends @p missing bytes before the end of an object, unless it has a gap there, which was blamed.
void BlfReader::blameCut(qint64 offset, qint64 missing)
{
    if (isBroken)
        return;
    beginObject(offset);
    drop(tr("the log ends within this object, %1 bytes too early").arg(missing));
}

/// Of a container that is damaged some may have been read, and that counts.
void BlfReader::blame(const Piece &piece)
{
    beginObject(piece.offset);
    switch (piece.fault) {
    case Fault::None:
        break;
    case Fault::Stray:
        drop(tr("%1 bytes are no object").arg(piece.count));
        break;
    case Fault::AnotherLog:
        drop(tr("another log begins here, whose times count from another start"));
        break;
    case Fault::WrongSize:
        drop(tr("the size of this object is none that it can have"));
        break;
    case Fault::CutShort:
        drop(tr("the file is cut short, %1 bytes are missing here").arg(piece.count));
        break;
    case Fault::UnknownMethod:
        drop(tr("the container is compressed by method %1, which is not known").arg(piece.count));
        break;
    case Fault::Damaged:
        drop(tr("the compressed data of the container are damaged"));
        break;
    case Fault::TooMuch:
        drop(tr("the container holds much more than it says, or more than %1 MiB; the rest is not read")
                 .arg(maxContentSize / mib));
        break;
    case Fault::NoMemory:
        drop(tr("there is not enough memory for what the container holds"));
        break;
    case Fault::StatedSize:
        doubt(tr("the container does not hold as many bytes as it says"));
        break;
    }
}

BlfReader::Kind BlfReader::drop(ImportReport::Reason reason, const QString &text)
{
    ++counts.droppedLines;
    addFault(reason, text);
    return Kind::Other;
}

void BlfReader::doubt(const QString &text)
{
    addFault(ImportReport::Reason::BrokenLine, text);
}

void BlfReader::addFault(ImportReport::Reason reason, const QString &text)
{
    if (isFaulty)
        return;
    isFaulty = true;
    ++counts.faultyLines;
    if (counts.faults.size() < ImportReport::maxFaults)
        counts.faults.append({counts.lines, 1, reason, text, objectOffset});
}

void BlfReader::countSkipped(quint32 type)
{
    const auto found = counts.skippedTypes.find(type);
    if (found != counts.skippedTypes.end())
        ++*found;
    else if (counts.skippedTypes.size() < maxSkippedTypes)
        counts.skippedTypes.insert(type, 1);
    else
        ++counts.otherSkipped;
}

void BlfReader::addNote(const QString &text)
{
    if (!NoteText::add(note, text))
        doubt(NoteText::fullText());
}

// What is in an object

/// Takes the object, unless it is a frame, whose turn comes later.
BlfReader::Kind BlfReader::look(const char *bytes, qint64 size)
{
    object = bytes;
    objectSize = size;
    const quint32 type = typeOf(object);
    objectCount += type == RestorePoints ? 0 : 1;
    switch (type) {
    case CanMessage:
    case CanMessage2:
    case CanFdMessage:
    case CanFdMessage64:
    case CanError:
    case CanErrorExt:
    case CanFdError64:
        return Kind::Frame;
    case AppText:
        readText();
        return Kind::Other;
    case GlobalMarker:
        readMarker();
        return Kind::Other;
    case EventComment:
        readComment();
        return Kind::Other;
    case Container:
        return drop(ImportReport::Reason::NotRead, tr("a container within a container is not read"));
    case OverrunError:
    case DataLostBegin:
        addNote(tr("the recorder lost data here"));
        break;
    default:
        break;
    }
    countSkipped(type);
    return Kind::Other;
}

/// Finds what stands behind the headers. False after drop().
bool BlfReader::findPayload()
{
    const quint16 version = u16At(object, 6);
    if (version < 1 || version > 3) {
        drop(tr("version %1 of its header is not known").arg(version));
        return false;
    }
    // The size says where the headers end, not the version: there are files with version 1 and the size of version 2.
    const qint64 least = version == 2 ? 40 : 32;
    const qint64 stated = u16At(object, 4);
    const qint64 headerSize = std::max(stated, least);
    if (objectSize < headerSize) {
        drop(tr("its %1 bytes are fewer than its headers have").arg(objectSize));
        return false;
    }
    if (stated < least)
        doubt(tr("the size of its headers, %1, is too small").arg(stated));
    payload = {object + headerSize, objectSize - headerSize};
    return true;
}

bool BlfReader::isLongEnough(qint64 least)
{
    if (payload.size < least)
        drop(tr("%1 of the %2 bytes that it must have are missing").arg(least - payload.size).arg(least));
    return payload.size >= least;
}

/// In nanoseconds since the start of the measurement, or in units of 10 microseconds; negative before it.
bool BlfReader::readTime(CAN::CanRxMessage &message)
{
    constexpr quint32 tenMicroseconds = 1;
    constexpr quint32 nanoseconds = 2;
    const quint32 unit = u32At(object, 16);
    const auto count = qint64(u64At(object, 24));
    if (unit != tenMicroseconds && unit != nanoseconds && (unit != 0 || count != 0) && !isUnitBlamed) {
        isUnitBlamed = true;
        doubt(tr("the unit of its time, %1, is not known; from here on the likely one is taken").arg(unit));
    }
    const qint64 factor = (unit & 3) == tenMicroseconds ? 10000 : 1;
    constexpr qint64 highest = std::numeric_limits<qint64>::max();
    const bool isPossible =
        count <= highest / factor && count >= -(highest / factor) && ByteNumbers::isPossibleTime(count * factor);
    if (isPossible)
        message.timeStamp = ByteNumbers::timeStamp(count * factor);
    else
        drop(tr("its time is more than 68 years from the start"));
    return isPossible;
}

bool BlfReader::readFrame(CAN::CanRxMessage &message)
{
    told = {};
    if (!findPayload() || !readTime(message))
        return false;
    switch (typeOf(object)) {
    case CanMessage:
    case CanMessage2:
        return readClassic(message);
    case CanFdMessage:
        return readFd(message);
    case CanFdMessage64:
        return readFd64(message);
    case CanErrorExt:
        return readErrorExt(message);
    case CanFdError64:
        return readError64(message);
    default:
        return readError(message);
    }
}

void BlfReader::setId(quint32 id, CAN::CanRxMessage &message)
{
    message.id = id & CAN::maxExtendedId;
    message.isExtended = (id & extendedFlag) != 0;
    if (!message.isExtended && message.id > CAN::maxStandardId) {
        doubt(tr("the identifier %1 has more than 11 bits, but is not marked as extended")
                  .arg(message.id, 0, 16, QLatin1Char('0')));
        message.isExtended = true;
    }
}

/// 0 stands for none.
void BlfReader::setChannel(quint16 channel, CAN::CanRxMessage &message)
{
    told.channel = channel != 0;
    message.channel = channel;
}

void BlfReader::setDirection(bool isTx, CAN::CanRxMessage &message)
{
    told.direction = true;
    message.isTx = isTx;
}

void BlfReader::setFd(bool isBrs, bool isEsi, CAN::CanRxMessage &message)
{
    message.isFd = true;
    message.isBrs = isBrs;
    message.isEsi = isEsi;
    told.bitRateSwitch = told.errorStateFlag = true;
}

/// Some writers keep fewer bytes than the frame had. Their tools show zeros for the others, and so does this.
void BlfReader::setData(Bytes bytes, int length, CAN::CanRxMessage &message)
{
    message.dlc = quint8(length);
    if (bytes.size < length)
        doubt(tr("the payload has %1 of %2 bytes; the others count as 0").arg(bytes.size).arg(length));
    std::memcpy(message.data, bytes.begin, std::size_t(std::min<qint64>(bytes.size, length)));
}

/// Of a frame with the length code @p code, of which @p valid bytes were recorded.
void BlfReader::setValidData(Bytes bytes, int code, int valid, CAN::CanRxMessage &message)
{
    const int length = message.isFd ? CAN::lengthOfCode[std::size_t(code & 15)] : std::min(code & 15, 8);
    if (message.isRemote)
        message.dlc = quint8(length);
    else
        setData(bytes, std::min(length, valid), message);
}

/// u16 channel, u8 flags, u8 length code, u32 identifier, 8 bytes
bool BlfReader::readClassic(CAN::CanRxMessage &message)
{
    if (!isLongEnough(16))
        return false;
    const quint8 flags = byteAt(payload.begin, 2);
    setChannel(u16At(payload.begin, 0), message);
    setDirection((flags & 0x01) != 0, message);
    setId(u32At(payload.begin, 4), message);
    message.isRemote = (flags & 0x80) != 0;
    setValidData(payload.from(8), byteAt(payload.begin, 3), 8, message);
    return true;
}

/// u16 channel, u8 flags, u8 length code, u32 identifier, u32, u8, 13: u8 flags of CAN FD, u8 valid bytes, 20: bytes
bool BlfReader::readFd(CAN::CanRxMessage &message)
{
    if (!isLongEnough(20))
        return false;
    const quint8 flags = byteAt(payload.begin, 2);
    const quint8 fdFlags = byteAt(payload.begin, 13);
    setChannel(u16At(payload.begin, 0), message);
    setDirection((flags & 0x01) != 0, message);
    setId(u32At(payload.begin, 4), message);
    if (fdFlags & 0x01)
        setFd((fdFlags & 0x02) != 0, (fdFlags & 0x04) != 0, message);
    else
        message.isRemote = (flags & 0x80) != 0;
    setValidData(payload.from(20), byteAt(payload.begin, 3), byteAt(payload.begin, 14), message);
    return true;
}

/// u8 channel, u8 length code, u8 valid bytes, u8, u32 identifier, u32, 12: u32 flags, 34: u8 direction,
/// u8 where in the object something stands behind the bytes, u32, 40: bytes
bool BlfReader::readFd64(CAN::CanRxMessage &message)
{
    constexpr qint64 dataAt = 40;
    if (!isLongEnough(dataAt))
        return false;
    const quint32 flags = u32At(payload.begin, 12);
    const quint8 direction = byteAt(payload.begin, 34);
    setChannel(byteAt(payload.begin, 0), message);
    if (direction <= 2)
        setDirection(direction != 0, message);
    setId(u32At(payload.begin, 4), message);
    if (flags & 0x1000)
        setFd((flags & 0x2000) != 0, (flags & 0x4000) != 0, message);
    else
        message.isRemote = (flags & 0x10) != 0;
    Bytes bytes = payload.from(dataAt);
    // There are files with any number there: it counts where it is the beginning of what ends the object.
    const qint64 extension = byteAt(payload.begin, 35);
    constexpr qint64 extensionSize = 8;
    if (object + extension >= bytes.begin && extension + extensionSize == objectSize)
        bytes.size = object + extension - bytes.begin;
    setValidData(bytes, byteAt(payload.begin, 1), byteAt(payload.begin, 2), message);
    return true;
}

/// u16 channel
bool BlfReader::readError(CAN::CanRxMessage &message)
{
    if (!isLongEnough(2))
        return false;
    setChannel(u16At(payload.begin, 0), message);
    message.id = CAN::errorFrameId;
    addNote(tr("error frame"));
    return true;
}

/// u16 channel, u16, u32 what is valid, u8 error code, u8 position, u8 length code, u8, u32, u32 identifier,
/// u16 extended code, u16, 8 bytes of the frame that was disturbed
bool BlfReader::readErrorExt(CAN::CanRxMessage &message)
{
    if (!isLongEnough(24))
        return false;
    const char *const bytes = payload.begin;
    setChannel(u16At(bytes, 0), message);
    tellError(u32At(bytes, 4), u16At(bytes, 20), byteAt(bytes, 8), byteAt(bytes, 9), u32At(bytes, 16), message);
    setData(payload.from(24), std::min(byteAt(bytes, 10) & 15, 8), message);
    return true;
}

/// u8 channel, u8 length code, u8 valid bytes, u8 error code, u16 what is valid, u16 extended code, u16, u8 as in
/// readFd64(), u8, u32 identifier, 40: u16 position, 44: bytes of the frame that was disturbed
bool BlfReader::readError64(CAN::CanRxMessage &message)
{
    if (!isLongEnough(44))
        return false;
    const char *const bytes = payload.begin;
    setChannel(byteAt(bytes, 0), message);
    tellError(u16At(bytes, 4), u16At(bytes, 6), byteAt(bytes, 3), u16At(bytes, 40), u32At(bytes, 12), message);
    const int length = std::min(CAN::lengthOfCode[byteAt(bytes, 1) & 15], byteAt(bytes, 2));
    message.isFd = length > 8;
    setData(payload.from(44), length, message);
    return true;
}

/// Says what is known of an error frame, and in which frame it came.
void BlfReader::tellError(quint32 valid, quint16 code, quint8 ecc, quint32 bit, quint32 id, CAN::CanRxMessage &message)
{
    const QString kinds[] = {tr("bit error"), tr("form error"),    tr("stuff error"), QString(),
                             tr("CRC error"), tr("ACK delimiter"), QString(),         tr("not acknowledged"),
                             tr("overload"),  tr("FDF bit")};
    constexpr quint32 hasEcc = 1;
    constexpr quint32 hasCode = 2;
    constexpr quint32 hasPosition = 4;
    QStringList words;
    if (valid & hasCode) {
        const int kind = code >> 6 & 0x3F;
        const bool isSent = (code >> 12 & 1) != 0;
        setDirection(isSent, message);
        words.append(kind < int(std::size(kinds)) && !kinds[kind].isEmpty() ? kinds[kind] : tr("other error"));
        words.append(isSent ? tr("while sending") : tr("while receiving"));
    }
    if (valid & hasPosition)
        words.append(tr("bit %1").arg(bit));
    if (valid & hasEcc)
        words.append(tr("controller code %1").arg(ecc, 2, 16, QLatin1Char('0')).toUpper());
    const bool isExtended = (id & extendedFlag) != 0;
    if (id != 0xFFFFFFFF && (id & CAN::maxExtendedId) != 0)
        words.append(tr("of frame %1")
                         .arg(QString::number(id & CAN::maxExtendedId, 16)
                                  .rightJustified(isExtended ? 8 : 3, QLatin1Char('0'))
                                  .toUpper()));
    addNote(words.isEmpty() ? tr("error frame") : tr("error frame: %1").arg(words.join(QLatin1String(", "))));
    message.id = CAN::errorFrameId;
}

/// u32 source, u32 about it, u32 length, u32, text
void BlfReader::readText()
{
    if (!findPayload() || !isTextThere(16))
        return;
    constexpr quint32 databases = 1;
    constexpr quint32 metadata = 2;
    constexpr quint32 attachment = 3;
    const quint32 source = u32At(payload.begin, 0);
    const std::string_view text = textAt(16, u32At(payload.begin, 8));
    if (source == databases)
        readChannelName(u32At(payload.begin, 4), text);
    else if (source != metadata && source != attachment)
        addNote(decodedText(text));
}

/// "path;name;path;name ...": of the databases of a channel, the name being that of its network.
void BlfReader::readChannelName(quint32 about, std::string_view text)
{
    constexpr quint32 can = 1;
    const auto channel = quint16(about >> 8 & 0xFF);
    const auto begin = text.find(';');
    if ((about >> 16 & 0xFF) != can || begin == std::string_view::npos)
        return;
    const QString name = decodedText(text.substr(begin + 1, text.find(';', begin + 1) - begin - 1)).simplified();
    if (!name.isEmpty())
        logInfo.channelNames.insert(channel, name);
}

/// 16: u32 lengths of group, marker and description, 40: these, one behind the other
void BlfReader::readMarker()
{
    constexpr qint64 textsAt = 40;
    if (!findPayload() || !isTextThere(textsAt))
        return;
    QStringList words;
    qint64 at = textsAt;
    for (int i = 0; i < 3; ++i) {
        const qint64 length = u32At(payload.begin, 16 + 4 * i);
        const QString word = decodedText(textAt(at, length)).simplified();
        if (!word.isEmpty())
            words.append(word);
        at += length;
    }
    addNote(words.join(QLatin1String(", ")));
}

/// u32 type of what it is about, u32 length, u64, text
void BlfReader::readComment()
{
    if (findPayload() && isTextThere(16))
        addNote(decodedText(textAt(16, u32At(payload.begin, 4))));
}

/// Whether the object has the @p least bytes before its text, and the text was kept.
bool BlfReader::isTextThere(qint64 least)
{
    if (sizeOf(object) > maxKeptSize) { // however much of it is there
        doubt(tr("the text of %1 bytes is too long to be kept").arg(sizeOf(object)));
        return false;
    }
    return isLongEnough(least);
}

/// The text of @p length bytes behind the first @p offset of the payload.
std::string_view BlfReader::textAt(qint64 offset, qint64 length)
{
    const Bytes bytes = payload.from(offset);
    if (bytes.size < length)
        doubt(tr("%1 of the %2 bytes of its text are missing").arg(length - bytes.size).arg(length));
    return bytes.text(length);
}

} // namespace

std::unique_ptr<FrameReader> makeBlfReader()
{
    return std::make_unique<BlfReader>();
}
