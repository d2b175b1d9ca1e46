// SPDX-License-Identifier: Apache-2.0
#include "common/framelengths.h"
#include "readers/bytelogreader.h"
#include "readers/channelnames.h"
#include "readers/csvcolumns.h"
#include "readers/makers.h"

// The CSV that converters of loggers write, with semicolons:
//
//   TimestampEpoch;BusChannel;ID;IDE;DLC;DataLength;Dir;EDL;BRS;ESI;RTR;DataBytes
//   1700000000.250000;1;1A4;0;3;3;0;0;0;0;0;0C1D2E
//
// Identifiers are hexadecimal, "IDE" alone tells the extended ones, "Dir" is 0 for received. An older form has neither
// ESI nor RTR.

namespace
{

class SemicolonCsvReader : public ByteLogReader
{
    Q_DECLARE_TR_FUNCTIONS(SemicolonCsvReader)

protected:
    void begin() override
    {
        setColumns("TimestampEpoch;BusChannel;ID;IDE;DLC;DataLength;Dir;EDL;BRS;ESI;RTR;DataBytes");
        names.clear();
        latestNumber = 0;
        isFirstRow = true;
    }

    Kind look(std::string_view line) override
    {
        const std::string_view text = withoutBlanks(line);
        if (text.empty())
            return Kind::Other;
        if ((text.front() | 0x20) == 't') {
            setColumns(text);
            return isReadable() ? Kind::Other : dropUnreadable();
        }
        if (!isReadable())
            return dropUnreadable();
        row = line;
        return Kind::Frame;
    }

    bool readFrame(CAN::CanRxMessage &message) override
    {
        fields.split(row, ';');
        told = {};
        if (fields.count() <= data) {
            drop(tr("the line has %1 columns instead of %2").arg(fields.count()).arg(data + 1));
            return false;
        }
        return readTime(message) && readId(message) && readDirection(message) && readKind(message) && readData(message)
               && readChannel(message);
    }

private:
    bool isReadable() const { return time >= 0 && id >= 0 && extended >= 0 && length >= 0 && data >= 0; }
    /// The heading, and each row under it.
    Kind dropUnreadable() { return drop(tr("the heading lacks TimestampEpoch, ID, IDE, DataLength or DataBytes")); }

    void setColumns(std::string_view heading)
    {
        fields.split(heading, ';');
        time = columnNamed(fields, "timestampepoch");
        channel = columnNamed(fields, "buschannel");
        id = columnNamed(fields, "id");
        extended = columnNamed(fields, "ide");
        length = columnNamed(fields, "datalength");
        direction = columnNamed(fields, "dir");
        fd = columnNamed(fields, "edl");
        bitRateSwitch = columnNamed(fields, "brs");
        errorState = columnNamed(fields, "esi");
        remote = columnNamed(fields, "rtr");
        data = columnNamed(fields, "databytes");
    }

    std::string_view field(int column) const { return withoutBlanks(fields[column]); }

    bool readTime(CAN::CanRxMessage &message)
    {
        qint64 read = 0;
        if (!ByteNumbers::readSeconds(field(time), read)) {
            drop(tr("the time is not decimal seconds"), field(time));
            return false;
        }
        // A logger without a clock counts from its start.
        if (isFirstRow)
            logInfo.timeBase =
                read >= ByteNumbers::firstEpochTime ? LogInfo::TimeBase::UnixEpoch : LogInfo::TimeBase::LogStart;
        isFirstRow = false;
        message.timeStamp = ByteNumbers::timeStamp(read);
        return true;
    }

    /// A column of 0 or 1; one that the form does not have is 0. False after drop().
    bool readMark(int column, const char *name, bool &mark)
    {
        const std::string_view text = field(column);
        mark = text == "1";
        if (mark || text == "0" || column < 0)
            return true;
        drop(tr("the column %1 is neither 0 nor 1").arg(QLatin1String(name)), text);
        return false;
    }

    bool readId(CAN::CanRxMessage &message)
    {
        if (!readMark(extended, "IDE", message.isExtended))
            return false;
        if (ByteNumbers::readHex(field(id), message.id)
            && message.id <= (message.isExtended ? CAN::maxExtendedId : CAN::maxStandardId))
            return true;
        drop(tr("the identifier is no hexadecimal number of %1 bits").arg(message.isExtended ? 29 : 11), field(id));
        return false;
    }

    bool readDirection(CAN::CanRxMessage &message)
    {
        told.direction = direction >= 0;
        return readMark(direction, "Dir", message.isTx);
    }

    /// A number, or a name; none when the column is empty.
    bool readChannel(CAN::CanRxMessage &message)
    {
        const std::string_view text = field(channel);
        told.channel = !text.empty();
        quint32 number = 0;
        if (ByteNumbers::readDecimal(text, number, 0xFFFF)) {
            if (message.channel = quint16(number); message.channel != latestNumber)
                names.take(latestNumber = message.channel);
        } else if (told.channel)
            message.channel = names.channel(text, logInfo);
        return true;
    }

    bool readKind(CAN::CanRxMessage &message)
    {
        told.bitRateSwitch = bitRateSwitch >= 0;
        told.errorStateFlag = errorState >= 0;
        return readMark(fd, "EDL", message.isFd) && readMark(bitRateSwitch, "BRS", message.isBrs)
               && readMark(errorState, "ESI", message.isEsi) && readMark(remote, "RTR", message.isRemote);
    }

    bool readData(CAN::CanRxMessage &message)
    {
        quint32 bytes = 0;
        const quint32 most = message.isFd ? 64 : 8;
        if (!ByteNumbers::readDecimal(field(length), bytes, most)) {
            drop(tr("the length is none from 0 to %1").arg(most), field(length));
            return false;
        }
        message.dlc = quint8(bytes);
        std::string_view digits = field(data);
        if (message.isRemote && digits.empty())
            return true;
        const int count = ByteNumbers::takeHexPairs(digits, message.data, sizeof message.data);
        if (!digits.empty())
            drop(tr("the data are not pairs of hexadecimal digits"), digits);
        else if (count != int(bytes))
            drop(tr("the payload has %1 of %2 bytes").arg(count).arg(bytes), field(data));
        return digits.empty() && count == int(bytes);
    }

    std::string_view row; ///< of look()
    ByteFields fields;
    ChannelNames names;
    quint16 latestNumber = 0; ///< of a bus
    int time = -1;
    int channel = -1;
    int id = -1;
    int extended = -1;
    int length = -1;
    int direction = -1;
    int fd = -1;
    int bitRateSwitch = -1;
    int errorState = -1;
    int remote = -1;
    int data = -1;
    bool isFirstRow = true;
};

} // namespace

std::unique_ptr<FrameReader> makeSemicolonCsvReader()
{
    return std::make_unique<SemicolonCsvReader>();
}
