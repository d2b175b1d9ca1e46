// SPDX-License-Identifier: Apache-2.0
#include "common/framelengths.h"
#include "readers/bytelogreader.h"
#include "readers/csvcolumns.h"
#include "readers/makers.h"

#include <array>

// The CSV of SavvyCAN and of GVRET devices:
//
//   Time Stamp,ID,Extended,Dir,Bus,LEN,D1,D2,D3,D4,D5,D6,D7,D8
//   1500250,000001A4,false,Rx,0,3,0C,1D,2E,00,00,00,00,00,
//
// Times are microseconds, or, with a point, seconds. There are eight columns of bytes whatever the length, and no mark
// for remote or CAN FD frames.

namespace
{

class GvretCsvReader : public ByteLogReader
{
    Q_DECLARE_TR_FUNCTIONS(GvretCsvReader)

protected:
    void begin() override
    {
        separator = ',';
        setColumns("Time Stamp,ID,Extended,Dir,Bus,LEN,D1");
        isFirstRow = true;
        latest = rollover = 0;
    }

    Kind look(std::string_view line) override
    {
        if (withoutBlanks(line).empty())
            return Kind::Other;
        if ((line.front() | 0x20) == 't') {
            separator = line.find(';') == std::string_view::npos ? ',' : ';';
            setColumns(line);
            return isReadable() ? Kind::Other : dropUnreadable();
        }
        if (!isReadable())
            return dropUnreadable();
        row = line;
        return Kind::Frame;
    }

    bool readFrame(CAN::CanRxMessage &message) override
    {
        fields.split(row, separator);
        told = {};
        return readTime(message) && readId(message) && readDirection(message) && readBus(message) && readData(message);
    }

private:
    bool isReadable() const { return time >= 0 && id >= 0 && length >= 0 && data >= 0; }
    /// The heading, and each row under it.
    Kind dropUnreadable() { return drop(tr("the heading lacks Time Stamp, ID, LEN or D1")); }

    void setColumns(std::string_view heading)
    {
        fields.split(heading, separator);
        time = columnNamed(fields, "time stamp");
        id = columnNamed(fields, "id");
        extended = columnNamed(fields, "extended");
        direction = columnNamed(fields, "dir");
        bus = columnNamed(fields, "bus");
        length = columnNamed(fields, "len");
        data = columnNamed(fields, "d1");
    }

    std::string_view field(int column) const { return withoutBlanks(fields[column]); }

    bool readTime(CAN::CanRxMessage &message)
    {
        const std::string_view text = field(time);
        const bool isSeconds = text.find('.') != std::string_view::npos;
        qint64 read = 0;
        if (!(isSeconds ? ByteNumbers::readSeconds(text, read) : readMicroseconds(text, read))) {
            drop(tr("the time is neither whole microseconds nor decimal seconds"), text);
            return false;
        }
        if (isFirstRow)
            logInfo.timeBase =
                read >= ByteNumbers::firstEpochTime ? LogInfo::TimeBase::UnixEpoch : LogInfo::TimeBase::LogStart;
        const qint64 sinceStart = isSeconds ? read : rolledOver(read);
        isFirstRow = false;
        if (!ByteNumbers::isPossibleTime(sinceStart)) {
            drop(tr("the times come to more than 68 years"), text);
            return false;
        }
        message.timeStamp = ByteNumbers::timeStamp(sinceStart);
        return true;
    }

    static bool readMicroseconds(std::string_view text, qint64 &nanoseconds)
    {
        ByteNumbers::Decimal number;
        if (!ByteNumbers::readDecimal(text, number) || number.whole > ByteNumbers::maxSeconds * 1000000)
            return false;
        nanoseconds = qint64(number.whole) * (number.isNegative ? -1000 : 1000);
        return true;
    }

    /// Devices count microseconds in 32 bits, and begin anew after 71 minutes.
    qint64 rolledOver(qint64 read)
    {
        constexpr qint64 range = (qint64(1) << 32) * 1000;
        if (!isFirstRow && read >= 0 && latest < range && latest - read > range / 2
            && ByteNumbers::isPossibleTime(rollover + range + read))
            rollover += range;
        latest = read;
        return read + rollover;
    }

    bool readId(CAN::CanRxMessage &message)
    {
        const std::string_view text = field(id);
        if (!readPrefixedHex(text, message.id) || message.id > CAN::maxExtendedId) {
            drop(tr("the identifier is no hexadecimal number of 29 bits"), text);
            return false;
        }
        message.isExtended = message.id > CAN::maxStandardId;
        return extended < 0 || readExtended(field(extended), message);
    }

    /// "true" or "false" in any case, 1 or 0. Some writers leave it false.
    bool readExtended(std::string_view text, CAN::CanRxMessage &message)
    {
        std::string mark(text.substr(0, 6));
        std::transform(mark.begin(), mark.end(), mark.begin(), [](char c) { return char(c | 0x20); });
        const bool isMarked = mark == "true" || text == "1";
        message.isExtended |= isMarked;
        if (isMarked || mark == "false" || text == "0")
            return true;
        drop(tr("the column Extended is neither true nor false"), text);
        return false;
    }

    bool readDirection(CAN::CanRxMessage &message)
    {
        if (direction < 0)
            return true;
        const std::string_view text = field(direction);
        const bool isTx = text == "Tx" || text == "TX" || text == "tx";
        told.direction = isTx || text == "Rx" || text == "RX" || text == "rx";
        message.isTx = isTx;
        if (!told.direction)
            drop(tr("the direction is neither Rx nor Tx"), text);
        return told.direction;
    }

    bool readBus(CAN::CanRxMessage &message)
    {
        if (bus < 0)
            return true;
        quint32 number = 0;
        told.channel = ByteNumbers::readDecimal(field(bus), number, 0xFFFF);
        message.channel = quint16(number);
        if (!told.channel)
            drop(tr("the bus is no decimal number"), field(bus));
        return told.channel;
    }

    bool readData(CAN::CanRxMessage &message)
    {
        constexpr int mostBytes = 8; // that the format has columns for
        quint32 bytes = 0;
        if (!ByteNumbers::readDecimal(field(length), bytes, 64)) {
            drop(tr("the length is none from 0 to 64"), field(length));
            return false;
        }
        message.dlc = quint8(bytes);
        message.isFd = bytes > mostBytes;
        const int present = std::min(int(bytes), mostBytes);
        const char *const even = fields.threeApart(data, present);
        for (int i = even && ByteNumbers::readSpacedBytes(even, message.data, present) ? present : 0; i < present;
             ++i) {
            const std::string_view byte = field(data + i);
            if (ByteNumbers::readHexByte(byte, message.data[i]))
                continue;
            if (byte.empty())
                drop(tr("the payload has %1 of %2 bytes").arg(i).arg(bytes));
            else
                drop(tr("byte %1 of the payload is no hexadecimal number of one byte").arg(i + 1), byte);
            return false;
        }
        if (message.isFd)
            doubt(tr("the format has room for %1 of the %2 bytes, the others are lost").arg(mostBytes).arg(bytes));
        return true;
    }

    std::string_view row; ///< of look()
    ByteFields fields;
    char separator = ',';
    int time = -1;
    int id = -1;
    int extended = -1;
    int direction = -1;
    int bus = -1;
    int length = -1;
    int data = -1;
    bool isFirstRow = true;
    qint64 latest = 0; ///< time read
    qint64 rollover = 0;
};

} // namespace

std::unique_ptr<FrameReader> makeGvretCsvReader()
{
    return std::make_unique<GvretCsvReader>();
}
