// SPDX-License-Identifier: Apache-2.0
#include "common/framefields.h"
#include "common/text/mark.h"
#include "readers/makers.h"
#include "readers/textreader.h"

// Packet lists that Wireshark exports as comma-separated values from a SocketCAN capture: number, time, source,
// destination, protocol, length, info. All of the frame stands in the info; identifier and data in hexadecimal.
//
//   "No.","Time","Source","Destination","Protocol","Length","Info"
//   "1","0.000000","","","CAN","16","STD: 0x00000123   11 22 33"
//   "2","0.000240","","","CANFD","72","STD: 0x000001a0   00 01 02 03 04 05 06 07 08 09 0a 0b"
//   "3","0.000511","","","CAN","16","ERR: 0x00000040   00 00 00 00 00 00 00 00"
//
// Frames with an extended identifier ("XTD: ...") are not read.

namespace
{

constexpr Mark heading(u"Info");
constexpr Mark standardFrame(u"STD");
constexpr Mark errorFrame(u"ERR");
constexpr QLatin1Char quote('"');

class WiresharkLine
{
public:
    explicit WiresharkLine(ImportWatch &importWatch)
        : watch(importWatch)
    {
    }

    /// Reads one line into @p message, which must be empty. False when the line is no frame that is read; isFd is set
    /// nevertheless.
    bool read(QStringView line, CAN::CanRxMessage &message)
    {
        if (heading.isIn(line))
            return false;
        // Quotes do not keep a comma from ending a field.
        line = line.trimmed();
        columns.split(line, QLatin1Char(','), Fields::KeepEmpty);
        if (columns.count() < 5) {
            if (!line.isEmpty())
                watch.drop(ImportWatch::Reason::MissingColumns, {});
            return false;
        }
        message.messageIndex = watch.readUnsigned(without(columns[0], quote, scratch), 10, columns[0]);
        message.timeStamp = readTime(line);
        const QStringView protocol = without(columns[4], quote, scratch);
        message.isFd = protocol == QLatin1String("CANFD");
        const bool isFrame = message.isFd || protocol == QLatin1String("CAN");
        if (readInfo(without(columns.last(), quote, scratch), message))
            return true;
        watch.pass(); // a packet of another protocol
        if (isFrame)
            watch.drop(ImportWatch::Reason::NotRead, columns.last());
        return false;
    }

private:
    CanTimeStamp readTime(QStringView line)
    {
        CanTimeStamp time;
        if (readPlainSeconds(without(columns[1], quote, scratch), time))
            return time;
        // White space counts when a fraction is padded: it is what it is in the whole line with every run of it reduced
        // to one blank, also of blanks that a quote stands between.
        QString field = line.toString().simplified().section(QLatin1Char(','), 1, 1);
        for (const char removed : {'"', '(', ')'})
            field.remove(QLatin1Char(removed));
        return watch.readSeconds(field, columns[1]);
    }

    bool readInfo(QStringView info, CAN::CanRxMessage &message)
    {
        if (standardFrame.isIn(info)) {
            readStandardFrame(info, message);
            return true;
        }
        if (!errorFrame.isIn(info))
            return false;
        message.id = CAN::errorFrameId;
        return true;
    }

    /// "STD:", identifier, data up to the first word that is no number.
    void readStandardFrame(QStringView info, CAN::CanRxMessage &message)
    {
        words.splitAtBlanks(info);
        message.id = watch.readUnsigned(words[1], 16);
        const int end = std::min(words.count(), 2 + int(sizeof message.data));
        int at = 2;
        for (bool ok = true; at < end; ++at) {
            const quint8 byte = readByte(words[at], 16, &ok);
            if (!ok) {
                watch.doubt(words[at]);
                break;
            }
            message.data[at - 2] = byte;
        }
        message.dlc = quint8(at - 2);
    }

    ImportWatch &watch;
    Fields columns;
    Fields words;
    QString scratch;
};

class WiresharkReader : public TextReader
{
public:
    WiresharkReader()
        : TextReader(true)
    {
    }

protected:
    void begin() override { grammar.emplace(watch); }
    bool read(CAN::CanRxMessage &message) override
    {
        for (; nextLine(); message = emptyMessage) {
            if (grammar->read(line(), message))
                return true;
            anyFd |= message.isFd;
        }
        return false;
    }

private:
    std::optional<WiresharkLine> grammar;
};

} // namespace

std::unique_ptr<FrameReader> makeWiresharkCsvReader()
{
    return std::make_unique<WiresharkReader>();
}
