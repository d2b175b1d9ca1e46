// SPDX-License-Identifier: Apache-2.0
#include "common/framelengths.h"
#include "common/text/bytefields.h"
#include "common/text/bytenumbers.h"
#include "readers/bytelogreader.h"
#include "readers/logdate.h"
#include "readers/makers.h"

#include <algorithm>
#include <cstring>

// ASC logs:
//
//   date Mon Jan 2 03:04:05.678 am 2023
//   base hex  timestamps absolute
//   // version 13.0.0
//   Begin Triggerblock Mon Jan 2 03:04:05.678 am 2023
//      0.250100 1  1A4             Rx   d 3 0C 1D 2E
//      0.250200 2  18F00503x       Tx   d 2 10 21  Length = 260010 BitCount = 134 ID = 418383107x
//      0.250700 1  3D2x            Rx   r 6
//      0.250900 1  GearboxStat     Rx   d 2 5A A5  Length = 0 BitCount = 0 ID = 432
//      0.251000 2  ErrorFrame
//      0.251300 CANFD   1 Rx        2f1  Name  1 0 3 3 a0 a1 a2   101000  131   303000 c0011223 46500250 4b140250 0 0
//      0.252300 CAN 1 Status:chip status error passive - TxErr: 130 RxErr: 2
//   End TriggerBlock
//
// "base" holds for the identifiers and data of classic lines; the others are hexadecimal but for lengths. Of the tail
// of a CAN FD line the third number holds flags, which tell the kind of the frame. Whatever has a time and is no frame
// says something about the bus or the measurement: a note.

namespace
{

using ByteNumbers::readDecimal;
using ByteNumbers::readHex;

// Flags of CAN FD and CAN XL lines.
constexpr quint32 remoteFlag = 0x10;
constexpr quint32 fdFlag = 0x1000;
constexpr quint32 bitRateSwitchFlag = 0x2000;
constexpr quint32 errorStateFlag = 0x4000;

bool isWord(std::string_view text, std::string_view lowerCase)
{
    return text.size() == lowerCase.size()
           && std::equal(text.begin(), text.end(), lowerCase.begin(),
                         [](char a, char b) { return a == b || (a >= 'A' && a <= 'Z' && (a | 0x20) == b); });
}

bool beginsWith(std::string_view text, std::string_view lowerCase)
{
    return text.size() >= lowerCase.size() && isWord(text.substr(0, lowerCase.size()), lowerCase);
}

bool isDirection(std::string_view field)
{
    return isWord(field, "rx") || isWord(field, "tx") || isWord(field, "txrq");
}

bool isOneBit(std::string_view field)
{
    return field == "0" || field == "1";
}

class VectorAscReader : public ByteLogReader
{
    Q_DECLARE_TR_FUNCTIONS(VectorAscReader)

protected:
    void begin() override
    {
        base = 16;
        isRelative = false;
        sum = 0;
        isFirstEvent = true;
        headerDate = blockDate = {};
        logInfo.timeBase = LogInfo::TimeBase::LogStart;
    }

    Kind look(std::string_view line) override
    {
        fields.splitAtBlanks(line);
        if (fields.count() == 0)
            return Kind::Other;
        const char first = fields[0].front();
        if ((first >= '0' && first <= '9') || first == '-' || first == '.')
            return lookAtEvent();
        return lookAtHeader();
    }

    /// Data frames of classic and of CAN FD lines with hexadecimal numbers and no comment.
    const char *readPlain(std::string_view rest, CAN::CanRxMessage &message) override
    {
        if (isFirstEvent || isRelative || base != 16)
            return nullptr;
        const char *at = readPlainTime(behindBlanks(rest.data(), usual.beforeTime), message);
        if (!at)
            return nullptr;
        at = behindBlanks(at, usual.behindTime);
        const char *const end = rest.data() + rest.size();
        plainTold = {};
        plainTold.channel = plainTold.direction = true;
        message.isFd = message.isBrs = message.isEsi = false;
        return *at == 'C' ? readPlainFd(at, end, message) : readPlainClassic(at, end, message);
    }

    bool readFrame(CAN::CanRxMessage &message) override
    {
        told = {};
        message.timeStamp = ByteNumbers::timeStamp(time);
        switch (form) {
        case Form::Classic:
            return readClassic(message);
        case Form::Fd:
            return readFd(message);
        case Form::Xl:
            return readXl(message);
        case Form::Error:
            return readError(message);
        case Form::FdError:
            return readFdError(message);
        }
        return false;
    }

private:
    enum class Form { Classic, Fd, Xl, Error, FdError };

    // Plain lines

    /// "0.250100"
    const char *readPlainTime(const char *at, CAN::CanRxMessage &message)
    {
        constexpr int microsecondDigits = 6;
        const PlainDecimal seconds = readPlainDecimal(at, microsecondDigits, usual.seconds, usual.decimals);
        message.timeStamp = {qint32(seconds.whole), qint32(seconds.fraction)};
        return seconds.behind && *seconds.behind == ' ' ? seconds.behind : nullptr;
    }

    /// A number of at most 29 bits, and the blanks behind it.
    const char *readPlainId(const char *at, CAN::CanRxMessage &message)
    {
        const quint64 digits = ByteNumbers::loadEight(at);
        const int count = usual.id.of(ByteNumbers::leadingHexDigits(digits));
        if (count == 0)
            return nullptr;
        message.id = ByteNumbers::hexNumber(digits, count);
        at += count;
        message.isExtended = *at == 'x';
        at += message.isExtended ? 1 : 0;
        return *at == ' ' && message.id <= CAN::maxExtendedId ? behindBlanks(at, usual.behindId) : nullptr;
    }

    /// "Rx" or "Tx", and the blanks behind it.
    const char *readPlainDirection(const char *at, CAN::CanRxMessage &message)
    {
        message.isTx = at[0] == 'T';
        return (message.isTx || at[0] == 'R') && at[1] == 'x' && at[2] == ' '
                   ? behindBlanks(at + 2, usual.behindDirection)
                   : nullptr;
    }

    const char *readPlainClassic(const char *at, const char *end, CAN::CanRxMessage &message)
    {
        if (!(at = readPlainChannel(at, message)) || !(at = readPlainId(behindBlanks(at, usual.behindChannel), message))
            || (!message.isExtended && message.id > CAN::maxStandardId) || !(at = readPlainDirection(at, message))
            || at[0] != 'd' || at[1] != ' ' || at[2] < '0' || at[2] > '8'
            || !(at = readPlainBytes(at + 3, at[2] - '0', message)))
            return nullptr;
        if (*at != ' ')
            return behindLineEnd(at);
        const char *const lineFeed = lineFeedBehind(at, end);
        return lineFeed && !std::memchr(at, '/', std::size_t(lineFeed - at)) ? lineFeed + 1 : nullptr;
    }

    static const char *lineFeedBehind(const char *at, const char *end)
    {
        constexpr std::ptrdiff_t longestTail = 4096;
        return at < end ? static_cast<const char *>(std::memchr(at, '\n', std::size_t(std::min(end - at, longestTail))))
                        : nullptr;
    }

    const char *readPlainFd(const char *at, const char *end, CAN::CanRxMessage &message)
    {
        if (std::memcmp(at, "CANFD ", 6) != 0
            || !(at = readPlainChannel(behindBlanks(at + 6, usual.beforeChannel), message))
            || !(at = readPlainDirection(behindBlanks(at, usual.behindChannel), message))
            || !(at = readPlainId(at, message)) || !(at = readPlainMarks(at, message)))
            return nullptr;
        message.isExtended |= message.id > CAN::maxStandardId;
        plainTold.bitRateSwitch = plainTold.errorStateFlag = true;
        const char *const lineFeed = lineFeedBehind(at, end);
        return lineFeed && readPlainTail(at, lineFeed, message) ? lineFeed + 1 : nullptr;
    }

    /// "1 0 8  8", and the bytes. No symbolic name before it.
    const char *readPlainMarks(const char *at, CAN::CanRxMessage &message)
    {
        const auto isMark = [](const char *mark) { return (mark[0] == '0' || mark[0] == '1') && mark[1] == ' '; };
        if (!isMark(at) || !isMark(at + 2) || ByteNumbers::hexDigit(at[4]) > 0xF || at[5] != ' ')
            return nullptr;
        message.isBrs = at[0] == '1';
        message.isEsi = at[2] == '1';
        at = behindBlanks(at + 5, usual.beforeLength);
        const quint64 digits = ByteNumbers::loadEight(at);
        const int count = ByteNumbers::leadingDigits(digits);
        if (count != 1 && count != 2)
            return nullptr;
        const auto length = int(ByteNumbers::digitsValue(digits, count));
        return length <= int(sizeof message.data) ? readPlainBytes(at + count, length, message) : nullptr;
    }

    /// The tail up to @p lineFeed, of which the third field holds the flags when there are eight. False for flags that
    /// make a remote frame.
    static bool readPlainTail(const char *at, const char *lineFeed, CAN::CanRxMessage &message)
    {
        constexpr std::ptrdiff_t mostLooked = 64;
        constexpr int tailSize = 8;
        lineFeed -= lineFeed[-1] == '\r' ? 1 : 0;
        const std::ptrdiff_t size = std::min(lineFeed - at, mostLooked);
        const quint64 blanks = blankBits(at, std::size_t(size)) | (size < mostLooked ? ~quint64(0) << size : 0);
        quint64 begins = ~blanks & (blanks << 1);
        const bool hasFlags = qPopulationCount(begins) >= tailSize;
        if ((blanks & 1) == 0 || (!hasFlags && lineFeed - at > mostLooked))
            return false;
        quint32 flags = fdFlag;
        if (hasFlags) {
            begins &= begins - 1;
            begins &= begins - 1;
            const char *const field = at + qCountTrailingZeroBits(begins);
            const quint64 digits = ByteNumbers::loadEight(field);
            const int count = ByteNumbers::leadingHexDigits(digits);
            if (count == 0 || field[count] != ' ')
                return false;
            flags = ByteNumbers::hexNumber(digits, count);
        }
        message.isFd = (flags & fdFlag) != 0 || message.isBrs || message.dlc > 8;
        return message.isFd || (flags & remoteFlag) == 0;
    }

    // What a line is

    Kind lookAtEvent()
    {
        qint64 read = 0;
        if (!ByteNumbers::readSeconds(fields[0], read))
            return drop(tr("the time is not decimal seconds"), fields[0]);
        if (isFirstEvent)
            beginEvents(read);
        if (isRelative && !ByteNumbers::isPossibleTime(sum + read))
            return drop(tr("the times come to more than 68 years"), fields[0]);
        time = isRelative ? sum += read : read;

        const std::string_view bus = fields[1];
        if (isWord(bus, "canfd") && isDirection(fields[3]))
            return frame(isWord(fields[4], "errorframe") ? Form::FdError : Form::Fd);
        if (isWord(bus, "canxl") && isDirection(fields[3]))
            return frame(Form::Xl);
        if (bus.empty() || bus.front() < '0' || bus.front() > '9')
            return lookAtOtherEvent();
        if (isDirection(fields[3]) || (fields[3] == "--" && isWord(fields[4], "r")))
            return frame(Form::Classic);
        if (beginsWith(fields[2], "errorframe"))
            return frame(Form::Error);
        // What has the letter and the length of a frame is meant as one.
        if ((isWord(fields[4], "d") || isWord(fields[4], "r")) && isLengthCode(fields[5]))
            return drop(tr("the direction is neither Rx nor Tx"), fields[3]);
        return lookAtOtherEvent();
    }

    Kind frame(Form newForm)
    {
        form = newForm;
        return Kind::Frame;
    }

    /// A frame that was cut off before its direction is nothing that the log says.
    Kind lookAtOtherEvent()
    {
        if (fields.count() == 1)
            return drop(tr("nothing follows the time"));
        quint32 channel = 0;
        if (fields.count() == 2 && readDecimal(fields[1], channel))
            return drop(tr("nothing follows the channel"));
        if (isWord(fields[1], "canfd") || isWord(fields[1], "canxl"))
            return drop(tr("the direction is neither Rx nor Tx"), fields[3]);
        if (beginsWith(fields[1], "can") && isDirection(fields[3]))
            return drop(tr("the line is neither of CANFD nor of CANXL"), fields[1]);
        if (hasFrameBehind(1) && !isWord(fields[2], "j1939tp"))
            return drop(tr("channel, identifier and direction are not where a frame has them"), fields[1]);
        if (isWord(fields[1], "start") && isWord(fields[2], "of") && isWord(fields[3], "measurement"))
            return Kind::Other;
        addNote(fields.from(1));
        return Kind::Note;
    }

    /// Whether a direction, the letter of a frame and a length come one after the other, from field @p first on.
    bool hasFrameBehind(int first) const
    {
        for (int i = first; i + 2 < fields.count(); ++i) {
            if (isDirection(fields[i]) && (isWord(fields[i + 1], "d") || isWord(fields[i + 1], "r")))
                return isLengthCode(fields[i + 2]);
        }
        return false;
    }

    Kind lookAtHeader()
    {
        const std::string_view word = fields[0];
        if (isWord(word, "date"))
            headerDate = readLogDate(fields.from(1));
        else if (isWord(word, "base"))
            readBase();
        else if (isWord(word, "begin") && isWord(fields[1], "triggerblock"))
            readBlockBegin();
        else if (!(isWord(word, "end") && isWord(fields[1], "triggerblock")) && !beginsWith(word, "datetime")
                 && !isWord(fields[0], "internal") && !isWord(fields[1], "internal"))
            return lookAtComment();
        setStart();
        return Kind::Other;
    }

    Kind lookAtComment()
    {
        const bool isSlashed = fields[0].substr(0, 2) == "//";
        if (!isSlashed && fields[0].front() != ';')
            return drop(tr("the line begins with neither a time nor a word of this format"), fields[0]);
        std::string_view text = fields.from(0).substr(isSlashed ? 2 : 1);
        text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
        if (readVersion(text) || readBusMapping(text))
            return Kind::Other;
        addNote(text);
        return Kind::Note;
    }

    void readBase()
    {
        if (isWord(fields[1], "dec"))
            base = 10;
        else if (isWord(fields[1], "hex"))
            base = 16;
        for (int i = 2; i < fields.count(); ++i) {
            if (isWord(fields[i], "timestamps"))
                isRelative = isWord(fields[i + 1], "relative");
        }
    }

    void readBlockBegin()
    {
        if (!blockDate.isValid())
            blockDate = readLogDate(fields.from(2));
    }

    /// "version 13.0.0", of others with their name before it.
    bool readVersion(std::string_view text)
    {
        const auto word = text.find("version ");
        if (word == std::string_view::npos || !isFirstEvent || text.find_first_of(":=") != std::string_view::npos)
            return false;
        logInfo.writer = decodedText(text.substr(0, word)).simplified();
        logInfo.version = decodedText(text.substr(word + 8)).simplified();
        return true;
    }

    /// "BusMapping: CAN 1 = Name"
    bool readBusMapping(std::string_view text)
    {
        constexpr std::string_view begin = "busmapping:";
        if (!beginsWith(text, begin))
            return false;
        ByteFields words;
        words.splitAtBlanks(text.substr(begin.size()));
        quint32 channel = 0;
        if (isWord(words[0], "can") && words[2] == "=" && readDecimal(words[1], channel, 0xFFFF))
            logInfo.channelNames.insert(quint16(channel), decodedText(words.from(3)).simplified());
        return true;
    }

    // Times

    void beginEvents(qint64 read)
    {
        isFirstEvent = false;
        firstTime = read;
        setStart();
        const bool areOffsets = isRelative && nextTimesAreOffsets(read);
        fields.splitAtBlanks(line()); // after looking ahead
        if (areOffsets) {
            isRelative = false;
            doubt(tr("the header calls the times relative, but they never fall: they are read as absolute"), fields[0]);
        }
    }

    /// Some writers call times relative that count from the start: those never fall over many lines, and come to far
    /// more than the last one when they are added.
    bool nextTimesAreOffsets(qint64 first)
    {
        constexpr int linesLookedAt = 1000;
        std::string_view rest = lookAhead(linesLookedAt * 64);
        double total = double(first);
        qint64 latest = first;
        for (int i = 1; i < linesLookedAt && !rest.empty(); ++i) {
            const auto lineEnd = std::min(rest.find('\n'), rest.size());
            ByteFields words;
            words.splitAtBlanks(rest.substr(0, std::min<std::size_t>(lineEnd, 40)));
            qint64 next = 0;
            if (words.count() > 1 && ByteNumbers::readSeconds(words[0], next)) {
                if (next < latest)
                    return false;
                latest = next;
                total += double(next);
            }
            rest.remove_prefix(std::min(lineEnd + 1, rest.size()));
        }
        return total > 10 * double(latest) && latest > 0;
    }

    /// The block date counts instead of the header's where its first event is at about zero, unless the times count
    /// from the header date.
    void setStart()
    {
        logInfo.start = headerDate.isValid() ? headerDate : blockDate;
        if (!headerDate.isValid() || !blockDate.isValid() || isFirstEvent)
            return;
        constexpr qint64 millisecond = 1000000;
        const qint64 blockOffset = headerDate.msecsTo(blockDate);
        const bool countsFromHeader = qAbs(blockOffset - firstTime / millisecond) < 1000;
        if (!countsFromHeader && qAbs(firstTime / millisecond) < 1000)
            logInfo.start = blockDate;
    }

    // Numbers

    /// One hexadecimal digit; under a decimal base also two digits up to 15.
    bool isLengthCode(std::string_view field) const
    {
        quint32 code = 0;
        return readLengthCode(field, code);
    }

    bool readLengthCode(std::string_view field, quint32 &code) const
    {
        if (field.size() == 2 && base == 10)
            return readDecimal(field, code, 15);
        return field.size() == 1 && readHex(field, code);
    }

    bool readByteOfBase(std::string_view field, quint8 &byte) const
    {
        if (base == 16)
            return ByteNumbers::readHexByte(field, byte);
        quint32 number = 0;
        const bool isByte = readDecimal(field, number, 255);
        byte = quint8(number);
        return isByte;
    }

    /// The number of an identifier, with "x" behind it where it is extended. False when it is none.
    static bool readIdNumber(std::string_view field, int numberBase, CAN::CanRxMessage &message)
    {
        message.isExtended = !field.empty() && (field.back() | 0x20) == 'x';
        if (message.isExtended)
            field.remove_suffix(1);
        while (field.size() > 8 && field.front() == '0')
            field.remove_prefix(1);
        const bool isNumber = numberBase == 16 ? readHex(field, message.id) : readDecimal(field, message.id);
        return isNumber && message.id <= CAN::maxExtendedId;
    }

    bool readChannel(std::string_view field, CAN::CanRxMessage &message)
    {
        quint32 channel = 0;
        if (!readDecimal(field, channel, 0xFFFF)) {
            drop(tr("the channel is no decimal number"), field);
            return false;
        }
        message.channel = quint16(channel);
        told.channel = true;
        return true;
    }

    void readDirection(std::string_view field, CAN::CanRxMessage &message)
    {
        told.direction = field != "--";
        message.isTx = told.direction && (field.front() | 0x20) == 't';
    }

    /// Wherever the data end before their time.
    bool dropShort(int count, int length)
    {
        drop(tr("the payload has %1 of %2 bytes").arg(count).arg(length));
        return false;
    }

    bool dropByte(int number, std::string_view field)
    {
        drop(tr("byte %1 of the payload is no number of one byte").arg(number), field);
        return false;
    }

    // Classic lines

    bool readClassic(CAN::CanRxMessage &message)
    {
        if (!readChannel(fields[1], message))
            return false;
        readDirection(fields[3], message);
        const std::string_view type = fields[4];
        message.isRemote = isWord(type, "r");
        if (!message.isRemote && !isWord(type, "d")) {
            drop(tr("the frame is neither d for data nor r for remote"), type);
            return false;
        }
        const int length = fields[5] == "#" ? 6 : 5; // some mark frames after which others were lost
        if (!(message.isRemote ? readRemoteLength(length, message) : readData(length, message)))
            return false;
        if (fields.count() > length + 1 + message.dlc)
            readComment(length + 1);
        return readClassicId(fields[2], length, message);
    }

    bool readRemoteLength(int length, CAN::CanRxMessage &message)
    {
        quint32 code = 0;
        if (readLengthCode(fields[length], code))
            message.dlc = quint8(std::min<quint32>(code, 8));
        else if (length < fields.count() && !isWord(fields[length], "length") && !isWord(fields[length], "id")
                 && fields[length].substr(0, 2) != "//") {
            drop(tr("the length of the remote frame is none from 0 to F"), fields[length]);
            return false;
        }
        return true;
    }

    bool readData(int length, CAN::CanRxMessage &message)
    {
        quint32 code = 0;
        if (!readLengthCode(fields[length], code)) {
            drop(tr("the length is none from 0 to F"), fields[length]);
            return false;
        }
        message.dlc = quint8(std::min<quint32>(code, 8));
        return readBytes(length + 1, message, base == 16);
    }

    /// Some append a comment to a frame.
    void readComment(int first)
    {
        for (int i = first; i < fields.count(); ++i) {
            if (fields[i].substr(0, 2) == "//") {
                addNote(fields.from(i).substr(2));
                return;
            }
        }
    }

    bool readBytes(int first, CAN::CanRxMessage &message, bool isHex)
    {
        const char *const even = isHex ? fields.threeApart(first, message.dlc) : nullptr;
        if (even && ByteNumbers::readSpacedBytes(even, message.data, message.dlc))
            return true;
        const int present = fields.count() - first;
        for (int i = 0; i < message.dlc; ++i) {
            if (i >= present)
                return dropShort(i, message.dlc);
            const std::string_view field = fields[first + i];
            if (!(isHex ? ByteNumbers::readHexByte(field, message.data[i]) : readByteOfBase(field, message.data[i])))
                return isWord(field, "length") || field.substr(0, 2) == "//" ? dropShort(i, message.dlc)
                                                                             : dropByte(i + 1, field);
        }
        return true;
    }

    /// The identifier, or the number behind "ID =" where the column has a symbolic name.
    bool readClassicId(std::string_view field, int length, CAN::CanRxMessage &message)
    {
        const bool isNumber = readIdNumber(field, base, message);
        if (isNumber && (message.isExtended || message.id <= CAN::maxStandardId))
            return true;
        // "ABBA" is a name where the statistics have another number. Without "x", tools that do not care.
        const CAN::CanRxMessage number = message;
        if (readIdOfTail(length + 1, message)) {
            message.isExtended |= message.id > CAN::maxStandardId;
            return true;
        }
        if (isNumber) {
            message.id = number.id;
            message.isExtended = true;
            return true;
        }
        drop(tr("the identifier is a name, and its number is not in the line"), field);
        return false;
    }

    bool readIdOfTail(int first, CAN::CanRxMessage &message)
    {
        for (int i = first; i + 2 < fields.count(); ++i) {
            if (isWord(fields[i], "id") && fields[i + 1] == "=")
                return readIdNumber(fields[i + 2], 10, message);
        }
        return false;
    }

    bool readError(CAN::CanRxMessage &message)
    {
        if (!readChannel(fields[1], message))
            return false;
        message.id = CAN::errorFrameId;
        addNote(tr("error frame %1").arg(decodedText(fields.from(3))));
        return true;
    }

    // CAN FD lines

    bool readFd(CAN::CanRxMessage &message)
    {
        if (!readChannel(fields[2], message))
            return false;
        readDirection(fields[3], message);
        // A symbolic name may follow the identifier.
        const int marks = areMarks(5) ? 5 : 6;
        if (!areMarks(marks)) {
            drop(tr("bit-rate switch, error state, length code and length are not behind the identifier"), fields[5]);
            return false;
        }
        return readFdId(fields[4], message) && readMarks(marks, message) && readBytes(marks + 4, message, true)
               && readFdKind(marks, message);
    }

    /// Whether the fields from @p first on are two bits, a hexadecimal digit and a decimal length.
    bool areMarks(int first) const
    {
        quint32 number = 0;
        return isOneBit(fields[first]) && isOneBit(fields[first + 1]) && fields[first + 2].size() == 1
               && readHex(fields[first + 2], number) && readDecimal(fields[first + 3], number, 64);
    }

    bool readFdId(std::string_view field, CAN::CanRxMessage &message)
    {
        if (!readIdNumber(field, 16, message)) {
            drop(tr("the identifier is no hexadecimal number of 29 bits"), field);
            return false;
        }
        message.isExtended |= message.id > CAN::maxStandardId;
        return true;
    }

    bool readMarks(int first, CAN::CanRxMessage &message)
    {
        quint32 length = 0;
        readDecimal(fields[first + 3], length);
        message.isBrs = fields[first] == "1";
        message.isEsi = fields[first + 1] == "1";
        message.dlc = quint8(length);
        told.bitRateSwitch = told.errorStateFlag = true;
        return true;
    }

    /// What the flags of the tail say of the kind: such a line may hold a classic frame, too.
    bool readFdKind(int marks, CAN::CanRxMessage &message)
    {
        constexpr int tailSize = 8;
        const int tail = marks + 4 + message.dlc;
        quint32 flags = fdFlag;
        if (fields.count() - tail >= tailSize && !readHex(fields[tail + 2], flags))
            flags = fdFlag;
        message.isFd = (flags & fdFlag) != 0 || message.isBrs || message.dlc > 8;
        if (!message.isFd && (flags & remoteFlag) != 0) {
            quint32 code = 0;
            readHex(fields[marks + 2], code);
            message.isRemote = true;
            message.dlc = quint8(std::min<quint32>(code, 8));
            std::fill(std::begin(message.data), std::end(message.data), quint8(0));
        }
        return true;
    }

    /// "ErrorFrame", words, three hexadecimal numbers, the phase ("Arb." or "Data"), position, identifier, and what a
    /// frame has.
    bool readFdError(CAN::CanRxMessage &message)
    {
        if (!readChannel(fields[2], message))
            return false;
        readDirection(fields[3], message);
        int phase = 8;
        while (phase < fields.count() && fields[phase] != "Arb." && fields[phase] != "Data")
            ++phase;
        QString words =
            tr("error frame %1").arg(decodedText(textBetween(5, phase < fields.count() ? phase - 3 : phase)));
        if (phase < fields.count())
            words += tr(", phase %1").arg(decodedText(fields[phase]));
        // Identifier and bytes are those of a frame that nobody has received.
        if (phase < fields.count())
            words += tr(", of %1").arg(decodedText(fields.from(phase + 2)));
        message.isFd = phase < fields.count();
        message.id = CAN::errorFrameId;
        addNote(words);
        return true;
    }

    /// From field @p first to the one before @p behind.
    std::string_view textBetween(int first, int behind) const
    {
        const std::string_view text = fields.from(first);
        const std::string_view last = fields[behind - 1];
        if (behind <= first || last.empty())
            return {};
        return {text.data(), std::size_t(last.data() + last.size() - text.data())};
    }

    // CAN XL lines

    /// Format, duration, bits, identifier, length code, length, data: frames of the other two kinds are written so,
    /// too.
    bool readXl(CAN::CanRxMessage &message)
    {
        const std::string_view format = fields[4];
        if (isWord(format, "xlff")) {
            dropUnread(tr("CAN XL frames are not read"), format);
            return false;
        }
        const bool isFd = isWord(format, "fbff") || isWord(format, "feff");
        if (!isFd && !isWord(format, "cbff") && !isWord(format, "ceff")) {
            drop(tr("the frame format is none of CBFF, CEFF, FBFF, FEFF and XLFF"), format);
            return false;
        }
        if (!readChannel(fields[2], message) || !readFdId(fields[7], message))
            return false;
        readDirection(fields[3], message);
        message.isFd = isFd;
        message.isExtended = message.isExtended || (format[1] | 0x20) == 'e';
        quint32 code = 0;
        quint32 length = 0;
        const auto isLength = [&](int i) {
            return fields[i].size() == 1 && readHex(fields[i], code)
                   && readDecimal(fields[i + 1], length, isFd ? 64 : 8);
        };
        const int lengths = isLength(8) ? 8 : 9; // a symbolic name may follow the identifier
        if (!isLength(lengths)) {
            drop(tr("length code and length are not behind the identifier"), fields[8]);
            return false;
        }
        message.dlc = quint8(length);
        return readBytes(lengths + 2, message, true)
               && readXlFlags(lengths + 2 + message.dlc + (isFd ? 2 : 1), code, message);
    }

    /// The flags behind the checksum, and behind the stuff count of CAN FD.
    bool readXlFlags(int field, quint32 code, CAN::CanRxMessage &message)
    {
        quint32 flags = 0;
        if (!readHex(fields[field], flags)) {
            drop(tr("the flags are missing"), fields[field]);
            return false;
        }
        told.bitRateSwitch = told.errorStateFlag = true;
        message.isBrs = (flags & bitRateSwitchFlag) != 0;
        message.isEsi = (flags & errorStateFlag) != 0;
        message.isRemote = !message.isFd && (flags & remoteFlag) != 0;
        if (message.isRemote)
            message.dlc = quint8(std::min<quint32>(code, 8));
        return true;
    }

    ByteFields fields; ///< of look()
    Form form = Form::Classic;
    int base = 16;
    struct {
        UsualLength beforeTime, seconds, decimals, behindTime, beforeChannel, behindChannel;
        UsualLength id, behindId, behindDirection, beforeLength;
    } usual; ///< parts of plain lines
    bool isRelative = false;
    qint64 time = 0; ///< of the line, in nanoseconds
    qint64 sum = 0;  ///< of relative times
    bool isFirstEvent = true;
    qint64 firstTime = 0;
    QDateTime headerDate;
    QDateTime blockDate;
};

} // namespace

std::unique_ptr<FrameReader> makeVectorAscReader()
{
    return std::make_unique<VectorAscReader>();
}
