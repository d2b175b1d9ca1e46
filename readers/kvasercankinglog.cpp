// SPDX-License-Identifier: Apache-2.0
#include "common/framefields.h"
#include "readers/makers.h"
#include "readers/textreader.h"

#include <algorithm>

// Logs saved by the monitor Kvaser CanKing, one frame a line: channel (not read), identifier, a flag on some lines,
// length, data, time, direction (not read). Nothing says whether numbers are hexadecimal.
//
//   Chn Identifier Flg   DLC  Data
//    0    0CF00400 X       8  F1  7D  7D  00  19  00  FF  FF     0.002100    R
//    0    000000F1         4  00  00  00  00                     0.002900    R
//    0    000007E8 R       0                                     0.011441    R

namespace
{

/// The base of identifiers and data: 16 as soon as one of the letters a to f comes up in the first million characters,
/// be it in the heading. CanKing writes hexadecimal digits in upper case, and in a log without the heading those do not
/// tell: it is read as decimal.
int detectRadix(LineReader &lines)
{
    constexpr int charactersLookedAt = 1024 * 1024;
    const auto isHexLetter = [](QChar c) { return c >= QLatin1Char('a') && c <= QLatin1Char('f'); };
    int radix = 10;
    lines.peek(charactersLookedAt, [&](QStringView piece) {
        if (std::any_of(piece.begin(), piece.end(), isHexLetter))
            radix = 16;
        return radix == 10;
    });
    return radix;
}

enum class LineKind { Frame, Other, CutShort };

class CanKingLine
{
public:
    CanKingLine(int numberRadix, ImportWatch &importWatch)
        : watch(importWatch)
        , radix(numberRadix)
    {
    }

    /// Reads one line into @p message, which must be empty.
    LineKind read(QStringView line, CAN::CanRxMessage &message)
    {
        // Columns are set with blanks; a tab is part of one.
        fields.split(line, QLatin1Char(' '), Fields::SkipEmpty);
        if (fields.count() <= 5) {
            // Headings, but also frames that have neither flag nor data.
            bool hasChannel = false;
            readUnsigned(fields[0], 10, &hasChannel);
            if (hasChannel)
                watch.drop(ImportWatch::Reason::MissingColumns, {});
            return LineKind::Other;
        }
        message.id = watch.readUnsigned(fields[1], radix);
        const int length = readLength(fields, 2, message, watch, 0);
        message.isExtended = length == 3 && holds(fields[2], QLatin1Char('X'));
        // Time and direction count as data here: a line that lacks them alone passes, and they are read twice.
        if (fields.count() <= length + message.dlc) {
            return LineKind::CutShort;
        }
        readPayload(fields, length + 1, radix, message, watch);
        message.timeStamp = watch.readSeconds(fields[fields.count() - 2]);
        return LineKind::Frame;
    }

private:
    ImportWatch &watch;
    Fields fields;
    int radix;
};

class CanKingReader : public TextReader
{
protected:
    void begin() override { grammar.reset(); }
    bool read(CAN::CanRxMessage &message) override
    {
        if (!grammar && !makeGrammar())
            return false;
        for (; nextLine(); message = emptyMessage) {
            switch (grammar->read(line(), message)) {
            case LineKind::Frame:
                return true;
            case LineKind::Other:
                break;
            case LineKind::CutShort:
                // The file was damaged or is still being written: whoever asks for it must not take it for whole.
                failAtLine({});
                return false;
            }
        }
        return false;
    }

private:
    /// False for a pipe named by its path: hosts rely on it that such a one is refused, since a file was read twice.
    bool makeGrammar()
    {
        grammar.emplace(detectRadix(*lines), watch);
        if (isNamedByPath() && isSequential())
            fail(tr("%1 is a pipe, which cannot be read twice; open it as a device.").arg(name()));
        return !failed();
    }

    std::optional<CanKingLine> grammar; ///< from the first frame on
};

} // namespace

std::unique_ptr<FrameReader> makeKvaserCanKingLogReader()
{
    return std::make_unique<CanKingReader>();
}
