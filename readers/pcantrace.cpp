// SPDX-License-Identifier: Apache-2.0
#include "common/framelengths.h"
#include "common/text/bytefields.h"
#include "common/text/bytenumbers.h"
#include "readers/bytelogreader.h"
#include "readers/logdate.h"
#include "readers/makers.h"

#include <QStringList>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

// PCAN traces. The version stands in the header, or, as 1.0 has none, shows in the columns:
//
//   ;$FILEVERSION=2.1
//   ;$STARTTIME=45000.604861111                    days since the end of 1899, local time
//   ;$COLUMNS=N,O,T,B,I,d,R,L,D                    from 2.0 on; l is a length in bytes, L a length code
//        1      2500.123 DT 1      0123 Rx -  3    0C 1D 2E
//        2      2500.126 BI 2  18F00503 Rx -  1    0C
//
//   ;$FILEVERSION=1.1
//        1)      2500.1  Rx         0123  3  0C 1D 2E
//        4)      2500.4  Warng  FFFFFFFF  4  00 00 00 04  BUSLIGHT
//
// Times are milliseconds. More than four digits of an identifier are an extended one, whatever its value.

namespace
{

using ByteNumbers::readDecimal;
using ByteNumbers::readHex;

/// Where the columns of a line stand, -1 for those that are missing.
struct Columns {
    int number = -1;
    int time = -1;
    int type = -1;
    int bus = -1;
    int id = -1;
    int direction = -1;
    int lengthBytes = -1;
    int lengthCode = -1;
    int data = -1;

    static Columns of(std::string_view letters)
    {
        Columns columns;
        int position = 0;
        for (const char letter : letters) {
            if (letter == ',' || letter == ' ')
                continue;
            if (int *const column = columns.named(letter))
                *column = position;
            ++position;
        }
        return columns;
    }

private:
    int *named(char letter)
    {
        switch (letter) {
        case 'N':
            return &number;
        case 'O':
            return &time;
        case 'T':
            return &type;
        case 'B':
            return &bus;
        case 'I':
            return &id;
        case 'd':
            return &direction;
        case 'l':
            return &lengthBytes;
        case 'L':
            return &lengthCode;
        case 'D':
            return &data;
        default:
            return nullptr;
        }
    }
};

/// Whose columns do not stand in the file. In 1.x the type is the direction, or tells what else the line is.
std::string_view columnsOfVersion(int version)
{
    switch (version) {
    case 10:
        return "N,O,I,l,D";
    case 11:
        return "N,O,T,I,l,D";
    case 12:
        return "N,O,B,T,I,l,D";
    case 13:
        return "N,O,B,T,I,R,l,D";
    case 20:
        return "N,O,T,I,d,l,D";
    default:
        return "N,O,T,B,I,d,R,L,D";
    }
}

bool isOldType(std::string_view field)
{
    return field == "Rx" || field == "Tx" || field == "Warng" || field == "Error";
}

bool isDirection(std::string_view field)
{
    return field == "Rx" || field == "Tx";
}

class PcanTraceReader : public ByteLogReader
{
    Q_DECLARE_TR_FUNCTIONS(PcanTraceReader)

protected:
    void begin() override
    {
        version = 0;
        hasColumns = hasRows = false;
        columns = {};
        logInfo.timeBase = LogInfo::TimeBase::LogStart;
    }

    Kind look(std::string_view line) override
    {
        const auto first = line.find_first_not_of(" \t");
        if (first == std::string_view::npos)
            return Kind::Other;
        if (line[first] == ';')
            return lookAtComment(line.substr(first + 1));
        fields.splitAtBlanks(line);
        if (!hasRows)
            beginRows();
        return isOld() ? lookAtOldRow() : lookAtRow();
    }

    /// Data frames whose bytes are the last in the line.
    const char *readPlain(std::string_view rest, CAN::CanRxMessage &message) override
    {
        if (!hasRows)
            return nullptr;
        plainTold = {};
        quint32 length = 0;
        const char *at = rest.data();
        std::size_t i = 0;
        for (const PlainColumn column : plainColumns) {
            at = behindBlanks(at, usual.blanks[i++ % usual.blanks.size()]);
            if (!(at = readPlainColumn(column, at, length, message)))
                return nullptr;
        }
        constexpr quint32 mostClassic = 8;
        if (message.isFd && columns.lengthCode >= 0 && length < CAN::lengthOfCode.size())
            length = CAN::lengthOfCode[length];
        else if (length > (message.isFd && columns.lengthBytes >= 0 ? sizeof message.data : mostClassic))
            return nullptr;
        message.dlc = 0;
        if (plainColumns.empty()
            || !(at = readPlainBytes(behindBlanks(at, usual.beforeData) - 1, int(length), message)))
            return nullptr;
        return behindLineEnd(behindBlanks(at, usual.beforeEnd));
    }

    bool readFrame(CAN::CanRxMessage &message) override
    {
        told = {};
        return readTime(message) && (isOld() ? readOldRow(message) : readRow(message));
    }

private:
    bool isOld() const { return version < 20; }

    // Plain rows

    enum class PlainColumn { Number, Time, OldType, Type, Bus, Id, Direction, Length, Other };

    /// The columns before the data, in their order; none where they are not all there, or the data are not the last.
    void findPlainColumns()
    {
        const int count = columns.data;
        const int length = std::max(columns.lengthBytes, columns.lengthCode);
        plainColumns.clear();
        const auto isThere = [count](int column) { return column >= 0 && column < count; };
        if (!isThere(columns.time) || !isThere(columns.id) || !isThere(length)
            || (columns.lengthBytes >= 0 && columns.lengthCode >= 0)
            || (!isOld() && (!isThere(columns.type) || !isThere(columns.direction))))
            return;
        plainColumns.assign(std::size_t(count), PlainColumn::Other);
        const auto set = [&](int column, PlainColumn meaning) {
            if (isThere(column))
                plainColumns[std::size_t(column)] = meaning;
        };
        set(columns.number, PlainColumn::Number);
        set(columns.time, PlainColumn::Time);
        set(columns.type, isOld() ? PlainColumn::OldType : PlainColumn::Type);
        set(columns.bus, PlainColumn::Bus);
        set(columns.id, PlainColumn::Id);
        set(columns.direction, PlainColumn::Direction);
        set(length, PlainColumn::Length);
    }

    /// Returns what is behind the column, a blank where others follow; null for what is not plain.
    const char *readPlainColumn(PlainColumn column, const char *at, quint32 &length, CAN::CanRxMessage &message)
    {
        switch (column) {
        case PlainColumn::Number:
            at = readPlainNumber(at);
            break;
        case PlainColumn::Time:
            at = readPlainTime(at, message);
            break;
        case PlainColumn::OldType:
        case PlainColumn::Direction:
            plainTold.direction = true;
            message.isTx = *at == 'T';
            at = (message.isTx || *at == 'R') && at[1] == 'x' ? at + 2 : nullptr;
            break;
        case PlainColumn::Type:
            at = readPlainType(at, message);
            break;
        case PlainColumn::Bus:
            plainTold.channel = true;
            return readPlainChannel(at, message);
        case PlainColumn::Id:
            at = readPlainId(at, message);
            break;
        case PlainColumn::Length:
            return readPlainLength(at, length);
        case PlainColumn::Other:
            at = *at == '-' ? at + 1 : nullptr;
            break;
        }
        return at && *at == ' ' ? at : nullptr;
    }

    /// "12" or "12)"
    const char *readPlainNumber(const char *at)
    {
        const int digits = usual.number.of(ByteNumbers::leadingDigits(ByteNumbers::loadEight(at)));
        at += digits;
        at += *at == ')' ? 1 : 0;
        return digits == 0 ? nullptr : at;
    }

    /// "2500.123": milliseconds.
    const char *readPlainTime(const char *at, CAN::CanRxMessage &message)
    {
        constexpr int microsecondDigits = 3;
        const PlainDecimal time = readPlainDecimal(at, microsecondDigits, usual.milliseconds, usual.decimals);
        message.timeStamp = {qint32(time.whole / 1000), qint32(time.whole % 1000 * 1000 + time.fraction)};
        return time.behind;
    }

    const char *readPlainType(const char *at, CAN::CanRxMessage &message)
    {
        const bool isPlain = setType(std::string_view(at, 2), message) && !message.isRemote;
        plainTold.bitRateSwitch = plainTold.errorStateFlag = true;
        return isPlain ? at + 2 : nullptr;
    }

    const char *readPlainId(const char *at, CAN::CanRxMessage &message)
    {
        const quint64 digits = ByteNumbers::loadEight(at);
        const int count = usual.id.of(ByteNumbers::leadingHexDigits(digits));
        if (count == 0)
            return nullptr;
        message.id = ByteNumbers::hexNumber(digits, count);
        message.isExtended = count > 4;
        return message.id <= (message.isExtended ? CAN::maxExtendedId : CAN::maxStandardId) ? at + count : nullptr;
    }

    /// One or two digits, which may be all that the line has.
    static const char *readPlainLength(const char *at, quint32 &length)
    {
        const quint64 digits = ByteNumbers::loadEight(at);
        const int count = ByteNumbers::leadingDigits(digits);
        if (count != 1 && count != 2)
            return nullptr;
        length = ByteNumbers::digitsValue(digits, count);
        return at + count;
    }

    // Header

    Kind lookAtComment(std::string_view text)
    {
        const auto first = text.find_first_not_of(" \t");
        text.remove_prefix(std::min(first, text.size()));
        const auto equals = text.find('=');
        if (text.empty())
            return Kind::Other;
        if (text.front() == '$' && equals != std::string_view::npos) {
            readSetting(text.substr(1, equals - 1), text.substr(equals + 1));
            return Kind::Other;
        }
        if (!hasRows && (readHeaderText(text) || isLegend(text)))
            return Kind::Other;
        addNote(text);
        return Kind::Note;
    }

    void readSetting(std::string_view name, std::string_view value)
    {
        const auto last = value.find_last_not_of(" \t;");
        value = value.substr(0, last + 1);
        if (name == "FILEVERSION") {
            logInfo.version = decodedText(value);
            quint32 minor = 0;
            if (value.size() == 3 && value[1] == '.' && readDecimal(value.substr(2), minor) && value[0] > '0'
                && value[0] <= '9')
                version = (value[0] - '0') * 10 + int(minor);
            hasRows = false; // of this header, where several traces were joined
        } else if (name == "STARTTIME") {
            readStart(value);
        } else if (name == "COLUMNS") {
            hasColumns = true;
            hasRows = false;
            headerColumns = Columns::of(value);
        }
    }

    void readStart(std::string_view days)
    {
        ByteNumbers::Decimal number;
        constexpr quint64 mostDays = 100000;
        if (!readDecimal(withPoint(days), number) || number.isNegative || number.whole > mostDays)
            return;
        constexpr double millisecondsOfDay = 86400000;
        const auto milliseconds = qRound64(double(number.billionths) / 1e9 * millisecondsOfDay);
        logInfo.start =
            QDateTime(QDate(1899, 12, 30), QTime(0, 0), Qt::UTC).addDays(qint64(number.whole)).addMSecs(milliseconds);
    }

    /// False for a text that says nothing of the log.
    bool readHeaderText(std::string_view text)
    {
        constexpr std::string_view startTime = "Start time:";
        constexpr std::string_view generatedBy = "Generated by ";
        if (text.substr(0, startTime.size()) == startTime) {
            // In other orders of day and month nothing tells which is which.
            if (!logInfo.start.isValid() && version < 11 && text.find('/') == std::string_view::npos)
                logInfo.start = readLogDate(text.substr(startTime.size()));
            return true;
        }
        if (text.substr(0, generatedBy.size()) == generatedBy) {
            logInfo.writer = decodedText(text.substr(generatedBy.size())).simplified();
            return true;
        }
        return readBusName(text);
    }

    /// What the tools write above the columns, to explain them: lines drawn with characters, headings, and the path of
    /// the file itself.
    static bool isLegend(std::string_view text)
    {
        for (const std::string_view part :
             {"|", "--", "~~", ".trc", ".TRC", "Message", "Number", "Columns", "Connection"}) {
            if (text.find(part) != std::string_view::npos)
                return true;
        }
        return false;
    }

    /// "1    Chassis  Net3@pcan_usb  CAN  500 kBit/s"
    bool readBusName(std::string_view text)
    {
        fields.splitAtBlanks(text);
        quint32 bus = 0;
        if (!readDecimal(fields[0], bus, 16) || fields[2].find('@') == std::string_view::npos)
            return false;
        logInfo.channelNames.insert(quint16(bus), decodedText(fields[1]));
        return true;
    }

    // Rows

    void beginRows()
    {
        hasRows = true;
        if (version == 0)
            version = versionOfRow();
        columns = isOld() || !hasColumns ? Columns::of(columnsOfVersion(version)) : headerColumns;
        findPlainColumns();
    }

    /// Of a file that does not tell its version: 1.0, unless the columns are those of another.
    int versionOfRow() const
    {
        if (isOldType(fields[2]))
            return 11;
        if (isOldType(fields[3]))
            return fields[5] == "-" ? 13 : 12;
        if (fields[2].size() == 2 && fields[2].front() >= 'A')
            return isDirection(fields[4]) ? 20 : 21;
        return 10;
    }

    Kind lookAtOldRow()
    {
        const std::string_view type = fields[columns.type];
        if (type != "Warng" && fields[columns.id] != "FFFFFFFF")
            return Kind::Frame;
        // Four bytes, the last of which the word explains.
        addNote(tr("bus status: %1").arg(decodedText(fields.from(columns.data))));
        return Kind::Note;
    }

    Kind lookAtRow()
    {
        const std::string_view type = fields[columns.type];
        if (type == "EV") {
            addNote(fields.from(std::max(columns.bus, columns.type) + 1));
            return Kind::Note;
        }
        if (type == "ST") {
            addNote(tr("bus status: %1").arg(statusText(bytesOfEvent())));
            return Kind::Note;
        }
        if (type == "EC") {
            addNote(tr("error counters: %1").arg(decodedText(bytesOfEvent())));
            return Kind::Note;
        }
        return Kind::Frame;
    }

    static QString statusText(std::string_view bytes)
    {
        const std::string_view last = bytes.substr(bytes.size() - std::min<std::size_t>(2, bytes.size()));
        const char *const word = last == "04" ? "BUSLIGHT" : last == "08" ? "BUSHEAVY" : last == "10" ? "BUSOFF" : "";
        return decodedText(bytes) + QLatin1Char(' ') + QLatin1String(word);
    }

    /// Where the bytes of an event begin. In 2.0 its identifier and length are blank, so that the fields move up.
    int firstByteOfEvent() const
    {
        if (isDirection(fields[columns.id]))
            return columns.id + 1;
        return columns.data;
    }
    std::string_view bytesOfEvent() const { return fields.from(firstByteOfEvent()); }

    bool readTime(CAN::CanRxMessage &message)
    {
        qint64 time = 0;
        const std::string_view field = fields[columns.time];
        if (!ByteNumbers::readMilliseconds(field, time) && !ByteNumbers::readMilliseconds(withPoint(field), time)) {
            drop(tr("the time is not decimal milliseconds"), field);
            return false;
        }
        message.timeStamp = ByteNumbers::timeStamp(time);
        return true;
    }

    /// A number with the decimal comma that tools write where that is the custom, with a point; others as they are.
    std::string_view withPoint(std::string_view number)
    {
        const auto comma = number.find(',');
        if (comma == std::string_view::npos || number.size() > 64 || number.find('.') != std::string_view::npos)
            return number;
        pointed = number;
        pointed[comma] = '.';
        return pointed;
    }

    bool readOldRow(CAN::CanRxMessage &message)
    {
        const std::string_view type = fields[columns.type];
        if (columns.type >= 0 && !isOldType(type)) {
            drop(tr("the type is none of Rx, Tx, Warng and Error"), type);
            return false;
        }
        if (!readBus(message) || !readLength(columns.lengthBytes, 8, message))
            return false;
        const bool hasErrorWord = fields[columns.data] == "ERROR"; // of version 1.0
        if (type == "Error" || hasErrorWord)
            return readBytes(columns.data + (hasErrorWord ? 1 : 0), message) && finishOldError(message);
        told.direction = columns.type >= 0;
        message.isTx = type == "Tx";
        message.isRemote = fields[columns.data] == "RTR";
        return readId(message) && (message.isRemote || readBytes(columns.data, message));
    }

    /// The identifier tells the kind of the error.
    bool finishOldError(CAN::CanRxMessage &message)
    {
        quint32 errorKind = 0;
        if (!readHex(fields[columns.id], errorKind)) {
            drop(tr("the kind of the error is no hexadecimal number"), fields[columns.id]);
            return false;
        }
        std::array<quint8, 5> content{quint8(errorKind)};
        std::copy_n(message.data, 4, content.begin() + 1);
        return finishError(content, message.dlc >= 4 ? 5 : 1, message);
    }

    bool finishError(const std::array<quint8, 5> &content, int size, CAN::CanRxMessage &message)
    {
        message.id = CAN::errorFrameId;
        QStringList words{kindText(content[0])};
        if (size == 5) {
            words << (content[1] == 0 ? tr("sending") : tr("receiving")) << tr("bit position %1").arg(content[2])
                  << tr("receive errors %1").arg(content[3]) << tr("transmit errors %1").arg(content[4]);
        }
        addNote(tr("error frame: %1").arg(words.join(QLatin1String(", "))));
        return true;
    }

    static QString kindText(int errorKind)
    {
        switch (errorKind) {
        case 1:
            return tr("bit error");
        case 2:
            return tr("form error");
        case 4:
            return tr("stuff error");
        default:
            return tr("other error");
        }
    }

    bool readRow(CAN::CanRxMessage &message)
    {
        const std::string_view type = fields[columns.type];
        if (!readBus(message))
            return false;
        if (type == "ER")
            return readError(message);
        if (type == "XL") {
            dropUnread(tr("CAN XL frames are not read"), type);
            return false;
        }
        told.bitRateSwitch = told.errorStateFlag = true;
        if (!setType(type, message)) {
            drop(tr("the type is none that this format has"), type);
            return false;
        }
        const std::string_view direction = fields[columns.direction];
        if (!isDirection(direction)) {
            drop(tr("the direction is neither Rx nor Tx"), direction);
            return false;
        }
        told.direction = true;
        message.isTx = direction == "Tx";
        return readId(message) && readRowLength(message) && (message.isRemote || readBytes(columns.data, message));
    }

    /// False for a type that has no frame.
    static bool setType(std::string_view type, CAN::CanRxMessage &message)
    {
        message.isRemote = type == "RR";
        message.isBrs = type == "FB" || type == "BI";
        message.isEsi = type == "FE" || type == "BI";
        message.isFd = message.isBrs || message.isEsi || type == "FD";
        return message.isFd || message.isRemote || type == "DT";
    }

    bool readError(CAN::CanRxMessage &message)
    {
        const int first = firstByteOfEvent();
        const bool areBlank = isDirection(fields[columns.id]); // identifier and length, in 2.0
        const std::string_view direction = fields[areBlank ? columns.id : columns.direction];
        told.direction = isDirection(direction);
        message.isTx = direction == "Tx";
        const int count = first < 0 ? 0 : std::max(fields.count() - first, 0);
        message.dlc = quint8(std::min(count, 8));
        quint32 length = 0;
        const int column = columns.lengthCode >= 0 ? columns.lengthCode : columns.lengthBytes;
        if (!areBlank && !(readDecimal(fields[column], length, 8) && int(length) == count)) {
            drop(tr("the payload of the error frame is not as long as it says"), fields[column]);
            return false;
        }
        if (!readBytes(first, message))
            return false;
        std::array<quint8, 5> content{};
        std::copy_n(message.data, content.size(), content.begin());
        return finishError(content, message.dlc, message);
    }

    bool readBus(CAN::CanRxMessage &message)
    {
        if (columns.bus < 0)
            return true;
        const std::string_view field = fields[columns.bus];
        quint32 bus = 0;
        told.channel = readDecimal(field, bus, 0xFFFF);
        message.channel = quint16(bus);
        if (!told.channel && field != "-")
            drop(tr("the bus is neither a number nor -"), field);
        return told.channel || field == "-";
    }

    bool readId(CAN::CanRxMessage &message)
    {
        const std::string_view field = fields[columns.id];
        message.isExtended = field.size() > 4;
        if (readHex(field, message.id) && message.id <= (message.isExtended ? CAN::maxExtendedId : CAN::maxStandardId))
            return true;
        drop(tr("the identifier is no hexadecimal number of %1 bits").arg(message.isExtended ? 29 : 11), field);
        return false;
    }

    bool readLength(int column, quint32 most, CAN::CanRxMessage &message)
    {
        quint32 length = 0;
        if (!readDecimal(fields[column], length, most)) {
            drop(tr("the length is none from 0 to %1").arg(most), fields[column]);
            return false;
        }
        message.dlc = quint8(length);
        return true;
    }

    bool readRowLength(CAN::CanRxMessage &message)
    {
        if (message.isFd && columns.lengthCode >= 0) {
            if (!readLength(columns.lengthCode, 15, message))
                return false;
            message.dlc = CAN::lengthOfCode[message.dlc];
            return true;
        }
        if (message.isFd)
            return readLength(columns.lengthBytes, 64, message);
        return readClassicLength(message);
    }

    /// Above 8 either a length code of eight bytes, or the length of a J1939 message that is put together from several
    /// frames.
    bool readClassicLength(CAN::CanRxMessage &message)
    {
        const int column = columns.lengthCode >= 0 ? columns.lengthCode : columns.lengthBytes;
        quint32 length = 0;
        constexpr quint32 longestMessage = 1785;
        if (!readDecimal(fields[column], length, longestMessage))
            return readLength(column, 8, message);
        const bool isCode = length <= 15 && (message.isRemote || fields.count() - columns.data == 8);
        if (length > 8 && !isCode) {
            dropUnread(tr("J1939 messages of more than 8 bytes are not read"), fields[column]);
            return false;
        }
        message.dlc = quint8(std::min<quint32>(length, 8));
        return true;
    }

    bool readBytes(int first, CAN::CanRxMessage &message)
    {
        const char *const even = fields.threeApart(first, message.dlc);
        if (even && fields.count() == first + message.dlc
            && ByteNumbers::readSpacedBytes(even, message.data, message.dlc))
            return true;
        for (int i = 0; i < message.dlc; ++i) {
            const std::string_view field = fields[first + i];
            if (field.size() == 2 && ByteNumbers::readHexByte(field, message.data[i]))
                continue;
            if (field.empty())
                drop(tr("the payload has %1 of %2 bytes").arg(i).arg(message.dlc));
            else
                drop(tr("byte %1 of the payload is no pair of hexadecimal digits").arg(i + 1), field);
            return false;
        }
        // Also a damaged "RTR", which would make a data frame of a remote one.
        const std::string_view more = fields[first + message.dlc];
        if (!more.empty() && fields.count() < ByteFields::maxCount)
            drop(tr("more follows than the length says"), more);
        return more.empty();
    }

    ByteFields fields; ///< of look()
    int version = 0;   ///< ten times; 0 while it is not known
    bool hasColumns = false;
    bool hasRows = false;
    std::string pointed;   ///< a number whose comma became a point
    Columns headerColumns; ///< that the header names
    Columns columns;       ///< of the rows
    std::vector<PlainColumn> plainColumns;
    struct {
        std::array<UsualLength, 8> blanks; ///< before each column
        UsualLength number, milliseconds, decimals, id, beforeData, beforeEnd;
    } usual; ///< parts of plain rows
};

} // namespace

std::unique_ptr<FrameReader> makePcanTraceReader()
{
    return std::make_unique<PcanTraceReader>();
}
