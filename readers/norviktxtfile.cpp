// SPDX-License-Identifier: Apache-2.0
#include "common/framefields.h"
#include "common/text/mark.h"
#include "readers/makers.h"
#include "readers/textreader.h"

#include <algorithm>

// Norvik text logs, one frame a line: time, identifier, length in parentheses, data; then, each after a ";", a word of
// flags and a comment. Both may be missing.
//
//   12.034000 1A3 (8): 01 FF 00 00 12 34 56 78 ;0;
//   12.034250 18FEF100/ccvs (2): 01 02 ;1;cruise control switched on
//   12.035100 2A0 (2): Remote ;0;
//   12.036000 Error (0): ;0;

namespace
{

constexpr Mark errorFrame(u"Error");

enum class LineKind { Frame, Other, End };

class NorvikLine
{
public:
    explicit NorvikLine(ImportWatch &importWatch)
        : watch(importWatch)
    {
    }

    /// Reads one line into @p message, which must be empty.
    LineKind read(QStringView newLine, CAN::CanRxMessage &message)
    {
        line = newLine.trimmed();
        tokens.splitAtBlanks(line);
        if (tokens.count() < 3 || !tokens[2].endsWith(QLatin1String("):"))) {
            // A line that begins with a time should be a frame.
            if (readPlainSeconds(tokens[0], message.timeStamp))
                watch.drop(ImportWatch::Reason::MissingColumns, {});
            return LineKind::Other;
        }
        if (!readTime(message)) {
            watch.drop(ImportWatch::Reason::EndsImport, tokens[0]);
            return LineKind::End;
        }
        readId(message);
        readFlags(message);
        // Without "(" and "):". Bytes, also in a CAN FD frame, where other tools write the code of the length.
        message.dlc = watch.readByte(tokens[2].mid(1, std::max<qsizetype>(tokens[2].size() - 3, 0)), 0);
        readData(message);
        return LineKind::Frame;
    }

    /// The comment of the line read last: the last of the fields after a ";". It is the word of flags where that is the
    /// only one.
    QString comment() const
    {
        const QLatin1Char separator(';');
        if (line.endsWith(separator) || !line.contains(separator))
            return {};
        const QString text = line.toString().simplified();
        return text.mid(text.lastIndexOf(separator) + 1);
    }

    /// Whether the line read last has a word of flags that is a number.
    bool hasFlags() const { return flagsRead; }

private:
    /// False when the time has no fraction, or two.
    bool readTime(CAN::CanRxMessage &message)
    {
        if (readPlainSeconds(tokens[0], message.timeStamp))
            return true;
        message.timeStamp = watch.readSeconds(tokens[0]);
        return std::count(tokens[0].begin(), tokens[0].end(), QLatin1Char('.')) == 1;
    }

    /// Some logs have more text after the identifier and a "/".
    void readId(CAN::CanRxMessage &message)
    {
        const QStringView token = tokens[1];
        if (errorFrame.isIn(token)) {
            message.id = CAN::errorFrameId;
            return;
        }
        const QChar *const end = std::find(token.begin(), token.end(), QLatin1Char('/'));
        message.id = watch.readUnsigned(QStringView(token.begin(), end), 16);
    }

    void readFlags(CAN::CanRxMessage &message)
    {
        tail.split(line, QLatin1Char(';'), Fields::KeepEmpty);
        const quint32 flags = readUnsigned(tail[1], 10, &flagsRead);
        message.isExtended = flags & 1;
        message.isFd = flags & 2;
        message.isBrs = flags & 4;
        message.isEsi = flags & 8;
        for (int i = 0; i < tokens.count(); ++i)
            message.isRemote |= tokens[i] == QLatin1String("Remote");
    }

    void readData(CAN::CanRxMessage &message)
    {
        // Frames without data may have anything in its place, which is read alike.
        if (message.isRemote || message.id == CAN::errorFrameId)
            readDataBytes(tokens, 3, message.dlc, 16, message);
        else
            readPayload(tokens, 3, 16, message, watch);
    }

    ImportWatch &watch;
    QStringView line;
    Fields tokens;
    Fields tail;
    bool flagsRead = false;
};

class NorvikReader : public TextReader
{
public:
    ToldFields toldFields() const override
    {
        ToldFields told;
        told.bitRateSwitch = told.errorStateFlag = grammar->hasFlags();
        return told;
    }

protected:
    void begin() override
    {
        grammar.emplace(watch);
        isOver = false;
    }
    bool read(CAN::CanRxMessage &message) override
    {
        for (; !isOver && nextLine(); message = emptyMessage) {
            const LineKind kind = grammar->read(line(), message);
            if (kind == LineKind::Frame) {
                note = grammar->comment();
                return true;
            }
            isOver = kind == LineKind::End;
        }
        return false;
    }

private:
    std::optional<NorvikLine> grammar;
    bool isOver = false; ///< rather than at the end of the file
};

} // namespace

std::unique_ptr<FrameReader> makeNorvikTxtReader()
{
    return std::make_unique<NorvikReader>();
}
