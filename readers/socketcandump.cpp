// SPDX-License-Identifier: Apache-2.0
#include "common/framefields.h"
#include "readers/makers.h"
#include "readers/textreader.h"

#include <algorithm>
#include <iterator>

// Logs of the SocketCAN tool candump, in the three forms that it prints:
//
//   (1345212884.318850) can0 123#11223344                 log file
//   (1345212884.318850)  can0  123   [2]  11 22           screen, with or without the time
//   can0  TX - -  123   [4]  11 22 33 44                  screen with extra information
//
// Direction, remote frames and CAN FD are not read: such lines are taken by the same rules as any other.

namespace
{

class CandumpLine
{
public:
    explicit CandumpLine(ImportWatch &importWatch)
        : watch(importWatch)
    {
    }

    /// Reads one line into @p message, which must be empty. False when the line is no frame.
    bool read(QStringView line, CAN::CanRxMessage &message)
    {
        fields.splitAtBlanks(line);
        if (hasDash() && line.contains(QStringView(u" - - ")))
            return readExtraInformation(message);
        if (fields.count() >= 5)
            return readScreen(message);
        if (fields.count() == 3 && readLogFile(line, message))
            return true;
        if (fields.count() > 0)
            watch.drop(ImportWatch::Reason::MissingColumns, {});
        return false;
    }

private:
    /// Whether a field is a dash: only then need the whole line be searched, which takes a fifth of its time.
    bool hasDash() const
    {
        for (int i = 0; i < fields.count(); ++i) {
            if (fields[i].size() == 1 && fields[i].front() == QLatin1Char('-'))
                return true;
        }
        return false;
    }

    /// Interface, direction, two dashes, identifier, length, data. The identifier is never marked as extended.
    bool readExtraInformation(CAN::CanRxMessage &message)
    {
        if (fields.count() < 6) {
            watch.drop(ImportWatch::Reason::MissingColumns, {});
            return false;
        }
        message.id = watch.readUnsigned(fields[4], 16);
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
    bool readLogFile(QStringView line, CAN::CanRxMessage &message)
    {
        const QStringView frame = fields[2];
        const QChar *const mark = std::find(frame.begin(), frame.end(), QLatin1Char('#'));
        if (mark == frame.end() && !line.contains(QLatin1Char('#')))
            return false;
        readTime(message);
        // A CAN FD frame ("123##1...") has two marks: it gives a message that holds nothing but its time, so that
        // the reader of the log sees that there was one.
        if (mark == frame.end() || !readBytes(QStringView(mark + 1, frame.end()), message)) {
            watch.doubt(frame, ImportWatch::Reason::NotRead);
            return true;
        }
        readId(QStringView(frame.begin(), mark), message);
        return true;
    }

    /// The payload as pairs of digits. False, and nothing read, when there is a "#" among them.
    bool readBytes(QStringView digits, CAN::CanRxMessage &message)
    {
        const auto pairs = std::min<qsizetype>(digits.size() / 2, sizeof message.data);
        const qsizetype plainPairs = readHexPairs(digits.left(2 * pairs), message.data);
        if (2 * plainPairs != digits.size()) {
            if (digits.contains(QLatin1Char('#'))) {
                std::fill(std::begin(message.data), std::end(message.data), quint8(0));
                return false;
            }
            for (qsizetype i = plainPairs; i < pairs; ++i)
                message.data[i] = watch.readByte(digits.mid(2 * i, 2), 16);
        }
        // A digit left over at the end counts as a byte and reads as 0, like the "R" of a remote frame.
        if (digits.size() % 2 != 0)
            watch.doubt(digits.right(1));
        message.dlc = quint8((digits.size() + 1) / 2);
        return true;
    }

    void readTime(CAN::CanRxMessage &message)
    {
        // Nearly every time is digits and one point between brackets: then there is nothing to be removed inside it,
        // and not looking saves a tenth of a line's time.
        const QStringView field = fields[0];
        const bool isBracketed = field.startsWith(QLatin1Char('(')) && field.endsWith(QLatin1Char(')'));
        if (!isBracketed || !readPlainSeconds(field.mid(1).chopped(1), message.timeStamp))
            message.timeStamp = watch.readSeconds(without(field, QLatin1Char('('), QLatin1Char(')'), scratch), field);
    }

    void readId(QStringView field, CAN::CanRxMessage &message)
    {
        message.id = watch.readUnsigned(field, 16);
        message.isExtended = message.id > CAN::maxStandardId;
    }

    /// The length in brackets, then as many bytes, if the line has them. The length is kept as it is written, even
    /// above the 64 bytes that a message holds.
    void readPayload(int lengthField, CAN::CanRxMessage &message)
    {
        const QStringView length = fields[lengthField];
        message.dlc = watch.readByte(without(length, QLatin1Char('['), QLatin1Char(']'), scratch), 10, length);
        ::readPayload(fields, lengthField + 1, 16, message, watch);
    }

    ImportWatch &watch;
    Fields fields;
    QString scratch;
};

class CandumpReader : public TextReader
{
protected:
    void begin() override { grammar.emplace(watch); }
    bool read(CAN::CanRxMessage &message) override
    {
        for (; nextLine(); message = emptyMessage) {
            if (grammar->read(line(), message))
                return true;
        }
        return false;
    }

private:
    std::optional<CandumpLine> grammar;
};

} // namespace

std::unique_ptr<FrameReader> makeSocketCanDumpReader()
{
    return std::make_unique<CandumpReader>();
}
