#include "canloghandler/canloghandler.h"
#include "canloghandler/messagebatch.h"
#include "common/text/fields.h"
#include "common/text/linereader.h"
#include "common/text/numbers.h"

#include <QFile>

#include <algorithm>

// Logs of the SocketCAN tool candump, in the three forms that it prints:
//
//   (1345212884.318850) can0 123#11223344                 log file
//   (1345212884.318850)  can0  123   [2]  11 22           screen, with or without the time
//   can0  TX - -  123   [4]  11 22 33 44                  screen with extra information
//
// Direction, remote frames and CAN FD are not read: such lines are taken by the same rules as any other.

namespace
{

constexpr quint32 maxStandardId = 0x7FF;

/// "[8]" without its brackets, wherever they stand; likewise "(12.5)". @p scratch holds the text when it is not one
/// piece of @p field.
QStringView withoutBrackets(QStringView field, QChar open, QChar close, QString &scratch)
{
    while (field.startsWith(open) || field.startsWith(close))
        field = field.mid(1);
    while (field.endsWith(open) || field.endsWith(close))
        field.chop(1);
    if (!field.contains(open) && !field.contains(close))
        return field;
    scratch = field.toString();
    scratch.remove(open);
    scratch.remove(close);
    return scratch;
}

class CandumpLine
{
public:
    /// Reads one line into @p message, which must be empty. False when the line is no frame.
    bool read(QStringView line, CAN::CanRxMessage &message)
    {
        fields.splitAtBlanks(line);
        if (line.contains(QLatin1Char('-')) && line.contains(QStringView(u" - - ")))
            return readExtraInformation(message);
        if (fields.count() >= 5)
            return readScreen(message);
        if (fields.count() == 3 && line.contains(QLatin1Char('#')))
            return readLogFile(message);
        return false;
    }

private:
    /// Interface, direction, two dashes, identifier, length, data. The identifier is never marked as extended.
    bool readExtraInformation(CAN::CanRxMessage &message)
    {
        if (fields.count() < 6)
            return false;
        message.id = readUnsigned(fields[4], 16);
        readPayload(5, message);
        return true;
    }

    /// Time, interface, identifier, length, data; the time may be missing.
    bool readScreen(CAN::CanRxMessage &message)
    {
        const bool hasTime = fields[0].startsWith(QLatin1Char('(')) && fields[0].endsWith(QLatin1Char(')'));
        const int first = hasTime ? 1 : 0;
        if (hasTime)
            readTime(message);
        readId(fields[first + 1], message);
        readPayload(first + 2, message);
        return true;
    }

    /// Time, interface, identifier and data joined by "#".
    bool readLogFile(CAN::CanRxMessage &message)
    {
        readTime(message);
        const QStringView frame = fields[2];
        const qsizetype mark = frame.indexOf(QLatin1Char('#'));
        // A CAN FD frame ("123##1...") has two marks: it gives a message that holds nothing but its time, so that
        // the reader of the log sees that there was one.
        if (mark < 0 || frame.lastIndexOf(QLatin1Char('#')) != mark)
            return true;
        readId(frame.left(mark), message);
        const QStringView digits = frame.mid(mark + 1);
        const qsizetype pairs = (digits.size() + 1) / 2;
        message.dlc = quint8(pairs);
        // A digit left over at the end counts as a byte and reads as 0, like the "R" of a remote frame.
        const qsizetype wholePairs = std::min<qsizetype>(digits.size() / 2, sizeof message.data);
        for (qsizetype i = 0; i < wholePairs; ++i)
            message.data[i] = readByte(digits.mid(2 * i, 2), 16);
        return true;
    }

    void readTime(CAN::CanRxMessage &message)
    {
        message.timeStamp = readSeconds(withoutBrackets(fields[0], QLatin1Char('('), QLatin1Char(')'), scratch));
    }

    static void readId(QStringView field, CAN::CanRxMessage &message)
    {
        message.id = readUnsigned(field, 16);
        message.isExtended = message.id > maxStandardId;
    }

    /// The length in brackets, then as many bytes, if the line has them. The length is kept as it is written, even
    /// above the 64 bytes that a message holds.
    void readPayload(int lengthField, CAN::CanRxMessage &message)
    {
        message.dlc = readByte(withoutBrackets(fields[lengthField], QLatin1Char('['), QLatin1Char(']'), scratch), 10);
        const int count = std::min({fields.count() - lengthField - 1, int(message.dlc), int(sizeof message.data)});
        for (int i = 0; i < count; ++i)
            message.data[i] = readByte(fields[lengthField + 1 + i], 16);
    }

    Fields fields;
    QString scratch;
};

} // namespace

bool CANLogHandler::loadSocketCanDump(QString path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;

    LineReader reader(file);
    CandumpLine line;
    MessageBatch batch(pDatachunkHandler);
    while (reader.next()) {
        CAN::CanRxMessage message;
        if (line.read(reader.line(), message))
            batch.append(message);
    }
    batch.finish();
    return true;
}
