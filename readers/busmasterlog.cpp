// SPDX-License-Identifier: Apache-2.0
#include "common/framelengths.h"
#include "common/text/bytefields.h"
#include "common/text/bytenumbers.h"
#include "readers/bytelogreader.h"
#include "readers/makers.h"

#include <algorithm>
#include <utility>

// BUSMASTER logs. Header lines stand between asterisks, wherever a session begins:
//
//   ***BUSMASTER Ver 3.2.2***
//   ***PROTOCOL CAN***
//   ***START DATE AND TIME 2:1:2023 22:17:28:9***          day first; the last number is milliseconds
//   ***HEX***                                              or DEC: identifiers and data
//   ***SYSTEM MODE***                                      or ABSOLUTE (since the start), RELATIVE (since the row
//   before)
//   ***<Time><Tx/Rx><Channel><CAN ID><Type><DLC><DataBytes>***
//   22:17:29:1234 Rx 1 0x1A4 s 3 0C 1D 2E
//   22:17:29:1250 Rx 1 0x7DF sr 4
//
// The fourth number of a time has four digits, a tenth of a millisecond each; an imitation writes three, milliseconds.
// J1939 rows:
//
//   22:17:29:1300 1 18fef100x 65265 ... : time, channel, identifier, PGN, kind, source, target, priority, direction,
//   length

namespace
{

using ByteNumbers::readDecimal;

constexpr qint64 second = 1000000000;
constexpr qint64 day = 86400 * second;

enum class Protocol { Can, J1939, Other };
enum class TimeMode { System, Absolute, Relative };

class BusmasterLogReader : public ByteLogReader
{
    Q_DECLARE_TR_FUNCTIONS(BusmasterLogReader)

protected:
    void begin() override
    {
        isComment = isList = false;
        isFirstSession = true;
        startSession();
        logInfo.timeBase = LogInfo::TimeBase::Midnight;
    }

    Kind look(std::string_view line) override
    {
        const auto first = line.find_first_not_of(" \t-"); // a generator puts a dash before its first line
        const auto last = line.find_last_not_of(" \t");
        if (line.empty() || last == std::string_view::npos)
            return Kind::Other;
        if (first != std::string_view::npos && line.substr(first, 3) == "***")
            return lookAtHeader(line.substr(first, last + 1 - first));
        if (isComment) {
            addNote(line);
            return Kind::Note;
        }
        if (isList)
            return Kind::Other;
        if (protocol == Protocol::Other)
            return dropUnread(tr("this session is of another bus than CAN"));
        fields.splitAtBlanks(line);
        return Kind::Frame;
    }

    bool readFrame(CAN::CanRxMessage &message) override
    {
        told = {};
        return readTime(message) && (protocol == Protocol::J1939 ? readJ1939Row(message) : readRow(message));
    }

private:
    // Header

    void startSession()
    {
        protocol = Protocol::Can;
        base = 16;
        mode = TimeMode::System;
        columns = {};
        latest = sum = 0;
        days = 0;
        isFirstRow = true;
    }

    Kind lookAtHeader(std::string_view line)
    {
        std::string_view text = line.substr(3);
        if (text.size() >= 3 && text.substr(text.size() - 3) == "***")
            text.remove_suffix(3);
        const auto begins = [&](std::string_view word) { return text.substr(0, word.size()) == word; };
        if (begins("START COMMENT") || begins("END COMMENT"))
            isComment = begins("START");
        else if (begins("START DATABASE FILES") || begins("END DATABASE FILES") || begins("END OF DATABASE FILES"))
            isList = begins("START");
        else if (begins("BUSMASTER "))
            readWriter(text);
        else if (begins("START DATE AND TIME "))
            readStart(text.substr(20));
        else if (begins("PROTOCOL "))
            protocol = text.substr(9) == "CAN"     ? Protocol::Can
                       : text.substr(9) == "J1939" ? Protocol::J1939
                                                   : Protocol::Other;
        else if (text == "HEX" || text == "DEC")
            base = text == "HEX" ? 16 : 10;
        else if (text == "SYSTEM MODE" || text == "ABSOLUTE MODE" || text == "RELATIVE MODE")
            readMode(text);
        else if (begins("<"))
            readColumns(text);
        else if (begins("CHANNEL "))
            readChannelLine(text);
        return Kind::Other;
    }

    void readWriter(std::string_view text)
    {
        startSession();
        std::string_view release = text.substr(10);
        if (release.substr(0, 4) == "Ver ")
            release.remove_prefix(4);
        logInfo.writer = QStringLiteral("BUSMASTER");
        logInfo.version = decodedText(release).simplified();
    }

    /// "2:1:2023 22:17:28:9"
    void readStart(std::string_view text)
    {
        fields.splitAtBlanks(text);
        ByteFields calendar;
        calendar.split(fields[0], ':');
        clock.split(fields[1], ':');
        quint32 parts[7] = {};
        for (int i = 0; i < 3; ++i)
            readDecimal(calendar[i], parts[i], 9999);
        for (int i = 0; i < 4; ++i)
            readDecimal(clock[i], parts[3 + i], 9999);
        const QDate date{int(parts[2]), int(parts[1]), int(parts[0])};
        const QTime time{int(parts[3]), int(parts[4]), int(parts[5]), int(parts[6])};
        if (isFirstSession && date.isValid() && time.isValid())
            logInfo.start = QDateTime(date, time, Qt::UTC);
        isFirstSession = false;
    }

    void readMode(std::string_view text)
    {
        mode = text == "SYSTEM MODE"     ? TimeMode::System
               : text == "ABSOLUTE MODE" ? TimeMode::Absolute
                                         : TimeMode::Relative;
        logInfo.timeBase = mode == TimeMode::System ? LogInfo::TimeBase::Midnight : LogInfo::TimeBase::LogStart;
    }

    /// "CHANNEL 1 - hardware - 500000 bps"
    void readChannelLine(std::string_view text)
    {
        fields.splitAtBlanks(text);
        const QString words = decodedText(text);
        quint32 channel = 0;
        if (readDecimal(fields[1], channel, 0xFFFF) && words.count(QLatin1String(" - ")) >= 1)
            logInfo.channelNames.insert(quint16(channel), words.section(QLatin1String(" - "), 1, -2).simplified());
    }

    /// "<Time><Tx/Rx><Channel><CAN ID><Type><DLC><DataBytes>", of CAN rows in any order but for the bytes.
    void readColumns(std::string_view text)
    {
        if (protocol != Protocol::Can)
            return;
        columns = {};
        for (int position = 0; text.substr(0, 1) == "<"; ++position) {
            const auto end = std::min(text.find('>'), text.size() - 1);
            const std::string_view name = text.substr(1, end - 1);
            for (const auto &column : {std::pair("Time", &columns.time), std::pair("Tx/Rx", &columns.direction),
                                       std::pair("Channel", &columns.channel), std::pair("CAN ID", &columns.id),
                                       std::pair("Type", &columns.kind), std::pair("DLC", &columns.length)}) {
                if (name == column.first)
                    *column.second = position;
            }
            text.remove_prefix(end + 1);
        }
    }

    // Rows

    /// "22:17:29:1234", whose numbers may lack leading zeros but for the last.
    bool readTime(CAN::CanRxMessage &message)
    {
        const std::string_view field = fields[columns.time];
        clock.split(field, ':');
        quint32 hour = 0, minute = 0, wholeSecond = 0, fraction = 0;
        const std::string_view last = clock[3];
        if (clock.count() != 4 || !readDecimal(clock[0], hour, 99999) || !readDecimal(clock[1], minute, 59)
            || !readDecimal(clock[2], wholeSecond, 59) || last.size() < 3 || last.size() > 4
            || !readDecimal(last, fraction)) {
            drop(tr("the time is not hours:minutes:seconds:fraction"), field);
            return false;
        }
        const qint64 unit = last.size() == 4 ? second / 10000 : second / 1000;
        const qint64 time = ((qint64(hour) * 60 + minute) * 60 + wholeSecond) * second + fraction * unit;
        const qint64 sinceStart = counted(time);
        if (!ByteNumbers::isPossibleTime(sinceStart)) {
            drop(tr("the times come to more than 68 years"), field);
            return false;
        }
        message.timeStamp = ByteNumbers::timeStamp(sinceStart);
        return true;
    }

    /// The time since midnight of the first day, or since the start.
    qint64 counted(qint64 time)
    {
        if (mode == TimeMode::Relative)
            return ByteNumbers::isPossibleTime(sum + time) ? sum += time : sum + time;
        if (mode == TimeMode::System) {
            // Rows of two channels may be a little out of order, which is no midnight.
            if (!isFirstRow && latest - time > day / 2 && ByteNumbers::isPossibleTime((days + 1) * day))
                ++days;
            isFirstRow = false;
            latest = time;
        }
        return time + days * day;
    }

    /// Time, direction, channel, identifier, kind, length, data.
    bool readRow(CAN::CanRxMessage &message)
    {
        if (!readDirection(fields[columns.direction], message) || !readChannel(fields[columns.channel], message))
            return false;
        const std::string_view kindField = fields[columns.kind];
        const std::string_view frameKind = kindField.substr(0, 1);
        message.isExtended = frameKind == "x";
        message.isRemote = kindField.size() == 2 && kindField[1] == 'r';
        if ((frameKind != "s" && frameKind != "x") || (kindField.size() > 1 && !message.isRemote)) {
            drop(tr("the kind is none of s, x, sr and xr"), kindField);
            return false;
        }
        return readId(fields[columns.id], message) && readLengthAndData(columns.length, message);
    }

    bool readJ1939Row(CAN::CanRxMessage &message)
    {
        message.isExtended = true;
        return readChannel(fields[1], message) && readDirection(fields[8], message) && readId(fields[2], message)
               && readLengthAndData(9, message);
    }

    bool readDirection(std::string_view field, CAN::CanRxMessage &message)
    {
        told.direction = field == "Rx" || field == "Tx";
        message.isTx = field == "Tx";
        if (!told.direction)
            drop(tr("the direction is neither Rx nor Tx"), field);
        return told.direction;
    }

    bool readChannel(std::string_view field, CAN::CanRxMessage &message)
    {
        quint32 channel = 0;
        told.channel = readDecimal(field, channel, 0xFFFF);
        message.channel = quint16(channel);
        if (!told.channel)
            drop(tr("the channel is no decimal number"), field);
        return told.channel;
    }

    bool readId(std::string_view field, CAN::CanRxMessage &message)
    {
        std::string_view digits = field;
        const bool hasPrefix = digits.size() > 2 && digits[0] == '0' && (digits[1] | 0x20) == 'x';
        if (hasPrefix)
            digits.remove_prefix(2);
        const bool isNumber =
            base == 16 || hasPrefix ? ByteNumbers::readHex(digits, message.id) : readDecimal(digits, message.id);
        if (isNumber && message.id <= (message.isExtended ? CAN::maxExtendedId : CAN::maxStandardId))
            return true;
        drop(tr("the identifier is no number of %1 bits").arg(message.isExtended ? 29 : 11), field);
        return false;
    }

    bool readLengthAndData(int column, CAN::CanRxMessage &message)
    {
        quint32 length = 0;
        constexpr quint32 longestMessage = 1785; // of J1939, put together from several frames
        if (!readDecimal(fields[column], length, protocol == Protocol::J1939 ? longestMessage : 64)) {
            drop(tr("the length is none that a frame has"), fields[column]);
            return false;
        }
        if (protocol == Protocol::J1939 && length > 8) {
            dropUnread(tr("J1939 messages of more than 8 bytes are not read"), fields[column]);
            return false;
        }
        message.dlc = quint8(length);
        // Nothing else tells CAN FD frames.
        message.isFd = length > 8;
        return message.isRemote || readData(column + 1, message);
    }

    bool readData(int first, CAN::CanRxMessage &message)
    {
        const char *const even = base == 16 ? fields.threeApart(first, message.dlc) : nullptr;
        if (even && ByteNumbers::readSpacedBytes(even, message.data, message.dlc))
            return true;
        for (int i = 0; i < message.dlc; ++i) {
            const std::string_view field = fields[first + i];
            quint32 number = 0;
            const bool isByte =
                base == 16 ? ByteNumbers::readHexByte(field, message.data[i]) : readDecimal(field, number, 255);
            if (base == 10)
                message.data[i] = quint8(number);
            if (isByte)
                continue;
            if (field.empty())
                drop(tr("the payload has %1 of %2 bytes").arg(i).arg(message.dlc));
            else
                drop(tr("byte %1 of the payload is no number of one byte").arg(i + 1), field);
            return false;
        }
        return true;
    }

    ByteFields fields; ///< of look()
    ByteFields clock;
    struct {
        int time = 0;
        int direction = 1;
        int channel = 2;
        int id = 3;
        int kind = 4;
        int length = 5; ///< and behind it the bytes
    } columns;
    Protocol protocol = Protocol::Can;
    int base = 16;
    TimeMode mode = TimeMode::System;
    bool isFirstSession = true;
    bool isComment = false;
    bool isList = false; ///< of files
    bool isFirstRow = true;
    qint64 latest = 0; ///< time of day, to see midnight
    qint64 days = 0;
    qint64 sum = 0;
};

} // namespace

std::unique_ptr<FrameReader> makeBusmasterLogReader()
{
    return std::make_unique<BusmasterLogReader>();
}
