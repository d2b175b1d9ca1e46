// SPDX-License-Identifier: Apache-2.0
#include "common/framelengths.h"
#include "common/text/bytefields.h"
#include "common/text/bytenumbers.h"
#include "readers/bytelogreader.h"
#include "readers/channelnames.h"
#include "readers/errorframetext.h"
#include "readers/makers.h"

#include <QDateTime>

#include <algorithm>
#include <string>

// What candump writes, in two forms that one file may mix. The log-file form:
//
//   (1700000000.123456) can0 1C7#0F1E2D
//   (1700000000.300000) can1 18F00503#1021324354657687 T      sent (T) or received (R): option -x
//   (1700000000.600000) slcan0 1C7#R5                         remote, with its length
//   (1700000000.800000) can0 1C7#1021324354657687_B           the length code of a classic frame above 8
//   (1700000001.100000) can0 1C7##5A0A1A2                     CAN FD: one digit of flags, then the bytes
//   (1700000001.300000) can0 20000080#0000000000000000        error frame: class and details
//
// The form for the screen, with the time as option -t has it or without:
//
//   (1700000000.123456)  can0  1C7   [3]  0F 1E 2D   '...'    what follows the bytes is no data
//   (1700000000.123456)  can0  TX B E  1C7  [02]  0F 1E       two digits of length: CAN FD
//   (1700000000.123456)  can0  1C7   [4]  remote request
//
// Three digits are a standard identifier, eight an extended one, whatever its value.

namespace
{

using ByteNumbers::readHex;

constexpr quint32 errorFlag = 0x20000000;
constexpr quint32 errorClasses = 0x1FFFFFFF;

constexpr int bitRateSwitch = 1;
constexpr int errorState = 2;

class CandumpReader : public ByteLogReader
{
    Q_DECLARE_TR_FUNCTIONS(CandumpReader)

protected:
    void begin() override
    {
        names.clear();
        oldBus.clear();
        isFirstFrame = true;
        isDelta = false;
        sum = 0;
    }

    Kind look(std::string_view line) override
    {
        frameLine = line;
        // Nearly all lines are of the log-file form.
        if (line.empty() || line.front() != '(' || line.find('\x1B') != std::string_view::npos) {
            frameLine = plainText(line);
            if (!isMeantAsFrame(frameLine))
                return lookAtText(frameLine);
        }
        return Kind::Frame;
    }

    /// Data frames of the log-file form with all digits of the time and a bus that is known already.
    const char *readPlain(std::string_view rest, CAN::CanRxMessage &message) override
    {
        using namespace ByteNumbers;
        const char *at = rest.data();
        if (*at != '(' || isFirstFrame || isDelta || !readPlainTime(at + 1, message))
            return nullptr;
        at += 20;
        const quint64 name = loadEight(at);
        const int nameLength = bytesBefore(name, ' ');
        constexpr int longestName = 7;
        if (nameLength > longestName)
            return nullptr;
        message.channel = names.known(ChannelNames::shortName(name, nameLength));
        at = message.channel == 0 ? nullptr : readPlainId(at + nameLength + 1, message);
        if (!at)
            return nullptr;
        plainTold = {};
        plainTold.channel = true;
        message.isFd = message.isBrs = message.isEsi = message.isTx = false;
        at = *at == '#' ? readPlainFd(at + 1, message) : readPlainData(at, message);
        return at ? behindPlain(at, message) : nullptr;
    }

    bool readFrame(CAN::CanRxMessage &message) override
    {
        if (isFirstFrame)
            findTimeBase();
        fields.splitAtBlanks(frameLine);
        if (!frameLine.empty() && frameLine.front() == '<')
            return readOldForm(message);
        const int bus = fields[0].front() == '(' ? readTime(message) : 0;
        if (bus < 0)
            return false;
        told = {};
        told.channel = true;
        const std::string_view frame = fields[bus + 1];
        const auto mark = frame.find('#');
        if (!(mark != std::string_view::npos ? readLogForm(frame, mark, bus, message) : readScreenForm(bus, message)))
            return false;
        message.channel = names.channel(fields[bus], logInfo);
        return true;
    }

private:
    // Plain lines

    /// "1700000000.123456) "
    static bool readPlainTime(const char *at, CAN::CanRxMessage &message)
    {
        using namespace ByteNumbers;
        const quint64 start = loadEight(at);
        const quint64 fraction = loadEight(at + 11);
        const quint32 tens = quint8(at[8] - '0');
        const quint32 ones = quint8(at[9] - '0');
        if (leadingDigits(start) != 8 || tens > 9 || ones > 9 || at[10] != '.' || leadingDigits(fraction) != 6
            || at[17] != ')' || at[18] != ' ')
            return false;
        const quint64 seconds = quint64(digitsValue(start, 8)) * 100 + tens * 10 + ones;
        message.timeStamp = {qint32(seconds), qint32(digitsValue(fraction, 6))};
        return seconds <= maxSeconds;
    }

    /// "1C7#" or "18F00503#". Returns what follows.
    static const char *readPlainId(const char *at, CAN::CanRxMessage &message)
    {
        using namespace ByteNumbers;
        const quint64 digits = loadEight(at);
        const bool isShort = at[3] == '#';
        const int count = isShort ? 3 : 8;
        message.id = hexNumber(digits, count);
        message.isExtended = !isShort;
        const bool isId = leadingHexDigits(digits) == count && at[count] == '#'
                          && message.id <= (isShort ? CAN::maxStandardId : CAN::maxExtendedId);
        return isId ? at + count + 1 : nullptr;
    }

    static const char *readPlainData(const char *at, CAN::CanRxMessage &message)
    {
        using namespace ByteNumbers;
        quint64 bytes = 0;
        const int count = takeSixteenDigits(at, bytes);
        message.dlc = quint8(count / 2);
        qToLittleEndian(bytes, message.data);
        return count % 2 == 0 ? at + count : nullptr;
    }

    const char *readPlainFd(const char *at, CAN::CanRxMessage &message)
    {
        using namespace ByteNumbers;
        const quint8 flags = hexDigit(*at++);
        message.isFd = true;
        message.isBrs = (flags & bitRateSwitch) != 0;
        message.isEsi = (flags & errorState) != 0;
        plainTold.bitRateSwitch = plainTold.errorStateFlag = true;
        qToLittleEndian(quint64(0), message.data);
        std::string_view body(at, 2 * sizeof message.data);
        message.dlc = quint8(takeHexPairs(body, message.data, int(sizeof message.data)));
        return flags > 0xF ? nullptr : body.data();
    }

    /// The end of the line, and the direction before it.
    const char *behindPlain(const char *at, CAN::CanRxMessage &message)
    {
        if (*at == ' ') {
            if (at[1] != 'R' && at[1] != 'T')
                return nullptr;
            plainTold.direction = true;
            message.isTx = at[1] == 'T';
            at += 2;
        }
        return behindLineEnd(at);
    }

    // Lines that are no frames

    /// Without colours, characters that were taken back, and blanks before it.
    std::string_view plainText(std::string_view line)
    {
        if (std::any_of(line.begin(), line.end(), [](char c) { return c == '\x1B' || c == '\b'; }))
            line = withoutControls(line);
        while (!line.empty() && line.front() == ' ')
            line.remove_prefix(1);
        return line;
    }

    /// Without the colours of option -c and the characters that option -s takes back.
    std::string_view withoutControls(std::string_view line)
    {
        plain.clear();
        for (std::size_t i = 0; i < line.size(); ++i) {
            if (line[i] == '\b') {
                if (!plain.empty())
                    plain.pop_back();
            } else if (line[i] == '\x1B' && i + 1 < line.size() && line[i + 1] == '[') {
                i = std::min(line.find('m', i), line.size());
            } else {
                plain += line[i];
            }
        }
        return plain;
    }

    /// Whether the line begins as a frame does: with a time, or with a bus and an identifier.
    bool isMeantAsFrame(std::string_view line)
    {
        if (line.empty() || line.front() == '#' || line.front() == '\t')
            return false;
        if (line.front() == '(' || line.front() == '<')
            return true;
        fields.splitAtBlanks(line);
        const bool hasFlags = fields[1] == "RX" || fields[1] == "TX";
        const std::string_view length = fields[hasFlags ? 5 : 2];
        return !length.empty() && (length.front() == '[' || length.front() == '{');
    }

    Kind lookAtText(std::string_view line)
    {
        const auto first = line.find_first_not_of(" \t");
        if (first == std::string_view::npos)
            return Kind::Other;
        constexpr std::string_view oldHeading = "interface = ";
        if (line.substr(0, oldHeading.size()) == oldHeading) {
            const std::string_view rest = line.substr(oldHeading.size());
            oldBus = std::string(rest.substr(0, rest.find_first_of(", ")));
            return Kind::Other;
        }
        if (line.front() != '#' && line.front() != '\t' && hasFrame(line))
            return drop(tr("time and bus are not where a frame has them"), line.substr(first));
        addNote(line.substr(first));
        return Kind::Note;
    }

    /// Whether an identifier and the bytes or the length of a frame come one after the other somewhere.
    bool hasFrame(std::string_view line)
    {
        fields.splitAtBlanks(line);
        quint32 number = 0;
        for (int i = 0; i < fields.count(); ++i) {
            const std::string_view id = fields[i].substr(0, fields[i].find('#'));
            const bool isId = (id.size() == 3 || id.size() == 8) && readHex(id, number);
            const std::string_view length = fields[i + 1];
            const bool hasLength = length.size() > 2 && length.front() == '[' && length.back() == ']'
                                   && ByteNumbers::readDecimal(length.substr(1, length.size() - 2), number);
            if (isId && (id.size() < fields[i].size() || hasLength))
                return true;
        }
        return false;
    }

    // Times

    /// Reads the time that the line begins with. Returns the field of the bus, -1 when the line is dropped.
    int readTime(CAN::CanRxMessage &message)
    {
        const std::string_view field = fields[0];
        if (field.size() > 2 && field.back() == ')') {
            qint64 time = 0;
            if (!ByteNumbers::readSeconds(field.substr(1, field.size() - 2), time))
                return dropTime(field);
            if (isDelta && !ByteNumbers::isPossibleTime(sum + time)) {
                drop(tr("the times come to more than 68 years"), field);
                return -1;
            }
            if (isDelta)
                time = sum += time;
            message.timeStamp = ByteNumbers::timeStamp(time);
            return 1;
        }
        qint64 time = 0;
        if (!readDateAndTime(field, fields[1], time))
            return dropTime(field);
        message.timeStamp = ByteNumbers::timeStamp(time);
        return 2;
    }

    int dropTime(std::string_view field)
    {
        drop(tr("the time is not decimal seconds in brackets"), field);
        return -1;
    }

    /// "(2023-11-14" and "22:13:20.123456)": local time, of which the log tells no zone.
    bool readDateAndTime(std::string_view date, std::string_view time, qint64 &nanoseconds)
    {
        const auto number = [](std::string_view text, std::size_t at, std::size_t size, quint32 &value) {
            return at + size <= text.size() && ByteNumbers::readDecimal(text.substr(at, size), value);
        };
        quint32 year = 0, month = 0, day = 0, hour = 0, minute = 0;
        qint64 second = 0;
        if (date.size() != 11 || date[5] != '-' || date[8] != '-' || time.size() < 9 || time.back() != ')'
            || time[2] != ':' || time[5] != ':' || !number(date, 1, 4, year) || !number(date, 6, 2, month)
            || !number(date, 9, 2, day) || !number(time, 0, 2, hour) || !number(time, 3, 2, minute)
            || !ByteNumbers::readSeconds(time.substr(6, time.size() - 7), second))
            return false;
        constexpr qint64 longestMinute = qint64(61) * 1000000000; // with a leap second
        const QDate calendarDay{int(year), int(month), int(day)};
        constexpr qint64 nanosecondsOfSecond = 1000000000;
        if (!calendarDay.isValid() || hour > 23 || minute > 59 || year < 1970 || year > 2037 || second < 0
            || second >= longestMinute || time[8] == ')')
            return false;
        if (calendarDay != latestDay || hour != latestHour) {
            latestDay = calendarDay;
            latestHour = hour;
            latestHourStart = QDateTime(calendarDay, QTime(int(hour), 0)).toSecsSinceEpoch();
        }
        nanoseconds = (latestHourStart + minute * 60) * nanosecondsOfSecond + second;
        return true;
    }

    void findTimeBase()
    {
        isFirstFrame = false;
        fields.splitAtBlanks(frameLine);
        const std::string_view field = fields[0];
        qint64 time = 0;
        if (field.front() != '(')
            return;
        if (field.size() < 3 || field.back() != ')'
            || !ByteNumbers::readSeconds(field.substr(1, field.size() - 2), time)) {
            logInfo.timeBase = LogInfo::TimeBase::UnixEpoch; // a date and a time
            return;
        }
        logInfo.timeBase =
            time >= ByteNumbers::firstEpochTime ? LogInfo::TimeBase::UnixEpoch : LogInfo::TimeBase::LogStart;
        const bool isLogForm = fields[2].find('#') != std::string_view::npos;
        if (time >= ByteNumbers::firstEpochTime || isLogForm)
            return;
        isDelta = nextTimesFall(time);
        frameLine = plainText(line());
    }

    /// Option -t d writes the time since the frame before, which in the screen form nothing else tells: whether such a
    /// time is smaller than the one before it in every fourth of the next lines, which no clock is.
    bool nextTimesFall(qint64 time)
    {
        constexpr int linesLookedAt = 64;
        std::string_view rest = lookAhead(8192);
        qint64 before = time;
        int falls = 0;
        int times = 0;
        for (int i = 0; i < linesLookedAt && !rest.empty(); ++i) {
            const auto lineFeed = rest.find('\n');
            if (lineFeed == std::string_view::npos)
                break;
            const auto open = rest.find('(');
            const auto close = rest.find(')');
            qint64 next = 0;
            if (close < lineFeed && open < close
                && ByteNumbers::readSeconds(rest.substr(open + 1, close - open - 1), next)) {
                falls += next < before ? 1 : 0;
                ++times;
                before = next;
            }
            rest.remove_prefix(lineFeed + 1);
        }
        return falls * 4 > times;
    }

    // Identifiers

    /// Three digits, or eight. False after drop(). An error frame gets its classes, without the flag.
    bool readId(std::string_view text, CAN::CanRxMessage &message, bool &isError)
    {
        quint32 id = 0;
        if (!readHex(text, id)) {
            drop(tr("the identifier is no hexadecimal number"), text);
            return false;
        }
        if (text.size() == 8) {
            isError = (id & errorFlag) != 0;
            message.id = id & errorClasses;
            message.isExtended = !isError;
            if (!isError && id > CAN::maxExtendedId) {
                drop(tr("the identifier has more than 29 bits"), text);
                return false;
            }
            return true;
        }
        if (text.size() != 3) {
            drop(tr("the identifier has neither 3 nor 8 digits"), text);
            return false;
        }
        message.id = id;
        if (id > CAN::maxStandardId)
            drop(tr("the identifier has 3 digits, but more than 11 bits"), text);
        return id <= CAN::maxStandardId;
    }

    /// What makes an error frame of a message whose bytes are read.
    bool finishError(CAN::CanRxMessage &message)
    {
        addNote(socketCanErrorText(message.id, message.data));
        message.id = CAN::errorFrameId;
        return true;
    }

    // Log-file form

    bool readLogForm(std::string_view frame, std::size_t mark, int bus, CAN::CanRxMessage &message)
    {
        if (fields.count() > bus + 2 && !readDirection(fields[bus + 2], bus, message))
            return false;
        const std::string_view id = frame.substr(0, mark);
        std::string_view body = frame.substr(mark + 1);
        if (id.size() == 5 && body.find(':') != std::string_view::npos) {
            dropUnread(tr("CAN XL frames are not read"), frame);
            return false;
        }
        bool isError = false;
        if (!readId(id, message, isError))
            return false;
        if (body.empty() || (body.front() != '#' && (body.front() | 0x20) != 'r'))
            return readData(body, 8, message) && readLengthCode(body, message) && (!isError || finishError(message));
        if (isError)
            return dropOddError(body);
        return body.front() == '#' ? readFd(body.substr(1), message) : readRemote(body.substr(1), message);
    }

    bool dropOddError(std::string_view where)
    {
        drop(tr("an error frame is neither a remote nor a CAN FD frame"), where);
        return false;
    }

    bool readDirection(std::string_view field, int bus, CAN::CanRxMessage &message)
    {
        if (fields.count() > bus + 3 || (field != "R" && field != "T")) {
            drop(tr("what follows the frame is neither R nor T"), field);
            return false;
        }
        told.direction = true;
        message.isTx = field == "T";
        return true;
    }

    /// Pairs of digits with or without points between them. Leaves what follows them in @p body.
    bool readData(std::string_view &body, int most, CAN::CanRxMessage &message)
    {
        int count = ByteNumbers::takeHexPairs(body, message.data, most);
        while (count > 0 && count < most && body.size() > 2 && body.front() == '.') {
            body.remove_prefix(1);
            const int more = ByteNumbers::takeHexPairs(body, message.data + count, most - count);
            count += more;
            if (more == 0)
                break;
        }
        message.dlc = quint8(count);
        if (body.empty() || (body.front() == '_' && count == 8 && !message.isFd))
            return true;
        if (count == most)
            drop(tr("there are more than %1 data bytes").arg(most), body);
        else
            drop(tr("the data are not pairs of hexadecimal digits"), body);
        return false;
    }

    /// "_B": the length code of a classic frame, whose bytes are eight all the same.
    bool readLengthCode(std::string_view body, CAN::CanRxMessage &message)
    {
        if (body.empty())
            return true;
        quint32 code = 0;
        const bool isCode = message.dlc == 8 && body.size() == 2 && readHex(body.substr(1), code) && code > 8;
        if (!isCode)
            drop(tr("the length code is none from 9 to F"), body);
        return isCode;
    }

    bool readRemote(std::string_view body, CAN::CanRxMessage &message)
    {
        message.isRemote = true;
        if (body.empty())
            return true;
        if (body.front() < '0' || body.front() > '8') {
            drop(tr("the length of the remote frame is not 0 to 8"), body);
            return false;
        }
        message.dlc = quint8(body.front() - '0');
        body.remove_prefix(1);
        if (!body.empty() && body.front() != '_') {
            drop(tr("something follows the length of the remote frame"), body);
            return false;
        }
        return readLengthCode(body, message);
    }

    bool readFd(std::string_view body, CAN::CanRxMessage &message)
    {
        const quint8 flags = body.empty() ? quint8(0xFF) : ByteNumbers::hexDigit(body.front());
        if (flags > 0xF) {
            drop(tr("the flags of the CAN FD frame are no hexadecimal digit"), body);
            return false;
        }
        body.remove_prefix(1);
        setFdFlags((flags & bitRateSwitch) != 0, (flags & errorState) != 0, message);
        return readData(body, sizeof message.data, message);
    }

    void setFdFlags(bool isBrs, bool isEsi, CAN::CanRxMessage &message)
    {
        message.isFd = true;
        message.isBrs = isBrs;
        message.isEsi = isEsi;
        told.bitRateSwitch = told.errorStateFlag = true;
    }

    // Screen form

    bool readScreenForm(int bus, CAN::CanRxMessage &message)
    {
        int id = bus + 1;
        const std::string_view direction = fields[id];
        const bool hasFlags = direction == "RX" || direction == "TX";
        if (hasFlags) {
            told.direction = true;
            message.isTx = direction == "TX";
            id += 3;
        }
        const std::string_view length = fields[id + 1];
        bool isError = false;
        if (length.empty()) {
            drop(tr("identifier and length are missing"), length);
            return false;
        }
        if (length.size() == 6 && length.front() == '[') {
            dropUnread(tr("CAN XL frames are not read"), length);
            return false;
        }
        if (!readId(fields[id], message, isError))
            return false;
        if (length.size() == 4) // two digits: "[08]" is CAN FD, "[8]" is not
            setScreenFlags(hasFlags, id, message);
        if (isError && message.isFd)
            return dropOddError(length);
        return readScreenLength(length, message) && readScreenData(id + 2, message)
               && (!isError || finishScreenError(fields[id + 2], message));
    }

    bool finishScreenError(std::string_view data, CAN::CanRxMessage &message)
    {
        return message.isRemote ? dropOddError(data) : finishError(message);
    }

    void setScreenFlags(bool hasFlags, int id, CAN::CanRxMessage &message)
    {
        message.isFd = true;
        if (hasFlags)
            setFdFlags(fields[id - 2] == "B", fields[id - 1] == "E", message);
    }

    /// "[3]", "[03]", or "{B}": the raw length code of a classic frame of eight bytes.
    bool readScreenLength(std::string_view field, CAN::CanRxMessage &message)
    {
        const bool isCode = field.front() == '{' && field.back() == '}' && field.size() == 3;
        const bool isLength = field.front() == '[' && field.back() == ']' && field.size() <= 4;
        const std::string_view digits = field.size() > 2 ? field.substr(1, field.size() - 2) : std::string_view();
        quint32 length = 0;
        const quint32 most = message.isFd ? 64 : 8;
        const bool isRead =
            isCode ? readHex(digits, length) : isLength && ByteNumbers::readDecimal(digits, length, most);
        if (!isRead)
            drop(tr("the length in brackets is none from 0 to %1").arg(most), field);
        message.dlc = quint8(std::min<quint32>(length, most));
        return isRead;
    }

    bool readScreenData(int first, CAN::CanRxMessage &message)
    {
        if (fields[first] == "remote" && fields[first + 1] == "request") {
            message.isRemote = true;
            if (message.isFd)
                drop(tr("a CAN FD frame is no remote frame"), fields[first]);
            return !message.isFd;
        }
        if (fields[first].find('`') != std::string_view::npos)
            return readReversed(fields[first], message);
        const char *const even = fields.threeApart(first, message.dlc);
        if (even && ByteNumbers::readSpacedBytes(even, message.data, message.dlc))
            return true;
        for (int i = 0; i < message.dlc; ++i) {
            if (readScreenByte(fields[first + i], message.data[i]))
                continue;
            if (first + i >= fields.count())
                drop(tr("the payload has %1 of %2 bytes").arg(i).arg(message.dlc));
            else
                drop(tr("byte %1 of the payload is no pair of hexadecimal digits").arg(i + 1), fields[first + i]);
            return false;
        }
        return true;
    }

    /// Two hexadecimal digits, or eight binary ones (option -i).
    static bool readScreenByte(std::string_view field, quint8 &byte)
    {
        if (field.size() != 8)
            return field.size() == 2 && ByteNumbers::readHexByte(field, byte);
        byte = 0;
        for (const char c : field)
            byte = quint8(byte << 1 | (c & 1));
        return field.find_first_not_of("01") == std::string_view::npos;
    }

    /// "2D`1E`0F": the last byte first (option -S).
    bool readReversed(std::string_view field, CAN::CanRxMessage &message)
    {
        for (int i = message.dlc; i-- > 0;) {
            const bool isByte = field.size() >= 2 && ByteNumbers::readHexByte(field.substr(0, 2), message.data[i]);
            const bool isEnd = i == 0 ? field.size() == 2 : field.size() > 2 && field[2] == '`';
            if (!isByte || !isEnd) {
                drop(tr("the payload is not %1 bytes with a backtick between two").arg(message.dlc), field);
                return false;
            }
            field.remove_prefix(i == 0 ? 2 : 3);
        }
        return true;
    }

    /// "<0x18f00503> [3] 0c 1d 2e", as candump wrote before 2013: no time, and the bus in a heading.
    bool readOldForm(CAN::CanRxMessage &message)
    {
        told = {};
        told.channel = !oldBus.empty();
        std::string_view id = fields[0];
        if (id.size() < 5 || id.substr(0, 3) != "<0x" || id.back() != '>') {
            drop(tr("the identifier is not like <0x123>"), id);
            return false;
        }
        id = id.substr(3, id.size() - 4);
        bool isError = false;
        if (!readId(id, message, isError) || !readOldLength(message) || !readScreenData(2, message)
            || (isError && !finishScreenError(fields[2], message)))
            return false;
        if (told.channel)
            message.channel = names.channel(oldBus, logInfo);
        return true;
    }

    bool readOldLength(CAN::CanRxMessage &message)
    {
        if (!fields[1].empty())
            return readScreenLength(fields[1], message);
        drop(tr("the length is missing"));
        return false;
    }

    ByteFields fields;
    std::string_view frameLine; ///< of look()
    std::string oldBus;         ///< of the old form
    std::string plain;          ///< a line without its controls
    ChannelNames names;
    bool isFirstFrame = true;
    QDate latestDay; ///< on the calendar, whose local time is looked up once an hour
    quint32 latestHour = 0;
    qint64 latestHourStart = 0;
    bool isDelta = false; ///< times are those since the frame before
    qint64 sum = 0;       ///< of such times
};

} // namespace

std::unique_ptr<FrameReader> makeCandumpReader()
{
    return std::make_unique<CandumpReader>();
}
