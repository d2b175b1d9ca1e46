// SPDX-License-Identifier: Apache-2.0
#include "common/framefields.h"
#include "common/text/mark.h"
#include "readers/makers.h"
#include "readers/textreader.h"

// ASC logs of Vector's tools, in two forms: with the statistics of each frame at the end of its line, and without them,
// where frames stand between two marks and may be CAN FD frames.
//
//   date Tue May 21 09:40:12.000 am 2024
//   base hex  timestamps absolute
//   Begin Triggerblock Tue May 21 09:40:12.000 am 2024
//      0.002470 1  123             Rx   d 2 AA BB  Length = 246000 BitCount = 64 ID = 291
//      0.002710 1  18FEF100x       Rx   d 2 AA BB
//      0.003510 CANFD   1 Rx        1a0  1 0 9 12 00 01 02 03 04 05 06 07 08 09 0a 0b   0 0
//   End TriggerBlock
//
// All numbers but times and lengths are hexadecimal, the channel too. The direction is not read.

namespace
{

constexpr Mark bitCount(u"BitCount");
constexpr Mark canFd(u"CANFD");
// The tools do not agree on the case of the letters.
constexpr Mark blockBegin(u"Begin Triggerblock", Qt::CaseInsensitive);
constexpr Mark blockEnd(u"End TriggerBlock", Qt::CaseInsensitive);

class AscLine
{
public:
    explicit AscLine(ImportWatch &importWatch)
        : watch(importWatch)
    {
    }

    /// Reads a line of the form with statistics into @p message, which must be empty. False when the line is no frame.
    bool readWithBitCount(QStringView line, CAN::CanRxMessage &message)
    {
        tokens.splitAtBlanks(line);
        // Nearly all frames have it in the same place.
        if (!isText(tokens[tokens.count() - 6], u"BitCount") && !bitCount.isIn(line))
            return false;
        if (!hasTimeAnd(6)) {
            watch.drop(ImportWatch::Reason::MissingColumns, {});
            return false;
        }
        readStart(1, 2, message);
        message.isRemote = holds(tokens[4], QLatin1Char('r'));
        // "d" for a data frame may stand before the length.
        const int length = message.isRemote ? 4 : readLength(tokens, 4, message, watch);
        readData(length, message);
        return true;
    }

    /// The same for a line of the other form.
    bool readWithoutBitCount(QStringView line, CAN::CanRxMessage &message)
    {
        tokens.splitAtBlanks(line);
        // Nearly all CAN FD frames have it in the same place.
        const bool isFd = isText(tokens[1], u"CANFD") || canFd.isIn(line);
        return isFd ? readFd(message) : readClassic(message);
    }

private:
    /// False when there are fewer than @p wanted tokens or the first one is no time.
    bool hasTimeAnd(int wanted) const { return tokens.count() >= wanted && holds(tokens[0], QLatin1Char('.')); }

    /// A line of the form without statistics that is too short for a frame. Without a time, or with a word where the
    /// identifier would stand, it is an event or a comment.
    bool dropShort(int id)
    {
        watch.pass();
        bool hasId = true;
        if (id < tokens.count())
            readUnsigned(without(tokens[id], QLatin1Char('x'), scratch), 16, &hasId);
        if (hasId && holds(tokens[0], QLatin1Char('.')))
            watch.drop(ImportWatch::Reason::MissingColumns, {});
        return false;
    }

    bool readClassic(CAN::CanRxMessage &message)
    {
        if (!hasTimeAnd(4))
            return dropShort(2);
        readStart(1, 2, message);
        // Only where no direction stands before the letter, unlike in the other form: "Rx r" is a frame without data.
        message.isRemote = tokens[3] == QLatin1Char('r');
        if (message.isRemote)
            return true;
        const int length = readLength(tokens, 4, message, watch);
        if (length >= tokens.count())
            return dropShort(2);
        readData(length, message);
        return true;
    }

    /// Bit-rate switch and error state are not read; of the two lengths, code and bytes, the second.
    bool readFd(CAN::CanRxMessage &message)
    {
        if (!hasTimeAnd(9))
            return dropShort(4);
        readStart(2, 4, message);
        message.isFd = true;
        message.dlc = watch.readByte(tokens[8], 10);
        readPayload(tokens, 9, 16, message, watch);
        return true;
    }

    void readStart(int channel, int id, CAN::CanRxMessage &message)
    {
        message.timeStamp = watch.readSeconds(tokens[0]);
        message.channel = quint16(watch.readUnsigned(tokens[channel], 16));
        // "x" marks an extended identifier; the size of the number does not.
        message.isExtended = tokens[id].endsWith(QLatin1Char('x'));
        const QStringView digits = message.isExtended ? without(tokens[id], QLatin1Char('x'), scratch) : tokens[id];
        message.id = watch.readUnsigned(digits, 16, tokens[id]);
    }

    /// What follows the length, but for the last token, is taken as data even beyond the length, statistics and all:
    /// only the first `dlc` bytes are payload.
    void readData(int length, CAN::CanRxMessage &message)
    {
        tokens.removeLast();
        readPayloadAndMore(tokens, length + 1, 16, message, watch);
    }

    ImportWatch &watch;
    Fields tokens;
    QString scratch;
};

class AscReader : public TextReader
{
public:
    ToldFields toldFields() const override
    {
        ToldFields told;
        told.channel = true;
        return told;
    }

protected:
    void begin() override { grammar.emplace(watch); }

    std::optional<AscLine> grammar;
};

class BitCountReader : public AscReader
{
protected:
    /// The lines that are no frames become a note for the frame that comes after them.
    bool read(CAN::CanRxMessage &message) override
    {
        for (; nextLine(); message = emptyMessage) {
            if (grammar->readWithBitCount(line(), message))
                return true;
            noteSkippedLine();
        }
        return false;
    }

private:
    void noteSkippedLine()
    {
        // A file of another kind has nothing but such lines.
        if (!hasRoomInNote())
            return;
        note += QStringLiteral("Skipped line: ");
        note += line();
    }
};

/// Reads the first trigger block.
class TriggerBlockReader : public AscReader
{
protected:
    void begin() override
    {
        AscReader::begin();
        isInBlock = false;
    }
    bool read(CAN::CanRxMessage &message) override
    {
        if (!isInBlock)
            findBlock();
        for (; nextLine() && !blockEnd.isIn(line()); message = emptyMessage) {
            if (grammar->readWithoutBitCount(line(), message))
                return true;
        }
        return false;
    }

private:
    void findBlock()
    {
        while (nextLine() && !blockBegin.isIn(line())) {
        }
        isInBlock = true;
    }

    bool isInBlock = false;
};

} // namespace

std::unique_ptr<FrameReader> makeVectorAscLogReader()
{
    return std::make_unique<BitCountReader>();
}

std::unique_ptr<FrameReader> makeVectorAscLogWithoutBitcountReader()
{
    return std::make_unique<TriggerBlockReader>();
}
