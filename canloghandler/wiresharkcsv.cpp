#include "canloghandler/canloghandler.h"
#include "canloghandler/framefields.h"
#include "canloghandler/messagebatch.h"
#include "common/text/linereader.h"
#include "common/text/mark.h"

#include <QFile>

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
    /// Reads one line into @p message, which must be empty. False when the line is no frame that is read; isFd is set
    /// nevertheless.
    bool read(QStringView line, CAN::CanRxMessage &message)
    {
        if (heading.isIn(line))
            return false;
        // Quotes do not keep a comma from ending a field.
        line = line.trimmed();
        columns.split(line, QLatin1Char(','), Fields::KeepEmpty);
        if (columns.count() < 5)
            return false;
        message.messageIndex = readUnsigned(without(columns[0], quote, scratch), 10);
        message.timeStamp = readTime(line);
        message.isFd = without(columns[4], quote, scratch) == QLatin1String("CANFD");
        return readInfo(without(columns.last(), quote, scratch), message);
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
        return readSeconds(field);
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
        message.id = readUnsigned(words[1], 16);
        const int end = std::min(words.count(), 2 + int(sizeof message.data));
        int at = 2;
        for (bool ok = true; at < end; ++at) {
            const quint8 byte = readByte(words[at], 16, &ok);
            if (!ok)
                break;
            message.data[at - 2] = byte;
        }
        message.dlc = quint8(at - 2);
    }

    Fields columns;
    Fields words;
    QString scratch;
};

} // namespace

bool CANLogHandler::loadWiresharkCSV(QString path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;

    LineReader reader(file);
    WiresharkLine line;
    MessageBatch batch(pDatachunkHandler);
    bool fdSeen = false;
    while (reader.next()) {
        CAN::CanRxMessage &message = batch.next();
        const bool isFrame = line.read(reader.line(), message);
        fdSeen |= message.isFd;
        if (isFrame)
            batch.commitNumbered();
    }
    batch.finish();
    file.close(); // the store may want to move it
    if (fdSeen && pDatachunkHandler)
        pDatachunkHandler->notifyFdMessage(true);
    return true;
}
