#include "host/cli/messagetable.h"

#include "host/cli/output.h"
#include "host/store/timetext.h"

#include <QtGlobal>

#include <algorithm>
#include <charconv>
#include <cstring>

namespace
{

constexpr int indexWidth = 8;
constexpr int timeWidth = 17;
constexpr int channelWidth = 7;
constexpr int identifierWidth = 10;
constexpr int flagsWidth = 5;
constexpr int lengthWidth = 3;
constexpr int dataWidth = 23; // the eight bytes of a classic frame; longer payloads push their note to the right

/// One row as it grows. The widest one (every number at its longest, 64 bytes) takes less than 300 characters.
class Row
{
public:
    void addText(const char *text) { add(text, static_cast<int>(std::strlen(text))); }
    void addGap() { addText("  "); }
    void addRight(const char *text, int length, int width)
    {
        addBlanks(width - length);
        add(text, length);
    }
    void addLeft(const char *text, int length, int width)
    {
        add(text, length);
        addBlanks(width - length);
    }
    void addNumber(quint32 number, int width)
    {
        char digits[16];
        const auto result = std::to_chars(std::begin(digits), std::end(digits), number);
        addRight(digits, static_cast<int>(result.ptr - digits), width);
    }
    void addByte(quint8 byte)
    {
        static const char digits[] = "0123456789ABCDEF";
        *end++ = digits[byte >> 4];
        *end++ = digits[byte & 0xF];
    }
    void addBlanks(int count)
    {
        if (count > 0)
            end = std::fill_n(end, count, ' ');
    }

    int length() const { return static_cast<int>(end - row); }
    const char *begin() const { return row; }

private:
    void add(const char *added, int length) { end = std::copy_n(added, length, end); }

    char row[384];
    char *end = row;
};

void addTime(Row &row, CanTimeStamp time)
{
    char text[32];
    row.addRight(text, writeTime(time, text), timeWidth);
}

void addIdentifier(Row &row, const CAN::CanRxMessage &message)
{
    if (message.id == CAN::errorFrameId) {
        row.addRight("error", 5, identifierWidth);
        return;
    }
    char digits[8];
    const auto result = std::to_chars(std::begin(digits), std::end(digits), message.id, 16);
    const auto length = static_cast<int>(result.ptr - digits);
    std::transform(digits, result.ptr, digits, [](char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; });

    const int leadingZeros = std::max(0, (message.isExtended ? 8 : 3) - length);
    row.addBlanks(identifierWidth - leadingZeros - length);
    row.addText(&"00000000"[8 - leadingZeros]);
    row.addRight(digits, length, 0);
}

void addFlags(Row &row, const CAN::CanRxMessage &message)
{
    char flags[4];
    char *end = flags;
    if (message.isRemote)
        *end++ = 'R';
    if (message.isFd)
        *end++ = 'F';
    if (message.isBrs)
        *end++ = 'B';
    if (message.isEsi)
        *end++ = 'E';
    if (end == flags)
        *end++ = '-';
    row.addLeft(flags, static_cast<int>(end - flags), flagsWidth);
}

/// Adds the payload and returns its width. A remote frame asks for data and has none, whatever length it states.
int addData(Row &row, const CAN::CanRxMessage &message)
{
    const int count = message.isRemote ? 0 : std::min(int(message.dlc), int(sizeof message.data));
    if (count == 0)
        return 0;
    row.addGap();
    const int start = row.length();
    for (int i = 0; i < count; ++i) {
        if (i > 0)
            row.addBlanks(1);
        row.addByte(message.data[i]);
    }
    return row.length() - start;
}

} // namespace

void writeTableHeading(Output &out)
{
    const QString heading = QStringLiteral("%1  %2  %3  Dir  %4  %5  %6  %7  Note");
    out.writeLine(heading.arg(QStringLiteral("Index"), indexWidth)
                      .arg(QStringLiteral("Time"), timeWidth)
                      .arg(QStringLiteral("Channel"), channelWidth)
                      .arg(QStringLiteral("Identifier"), identifierWidth)
                      .arg(QStringLiteral("Flags"), -flagsWidth)
                      .arg(QStringLiteral("Len"), lengthWidth)
                      .arg(QStringLiteral("Data"), -dataWidth));
}

void writeTableRow(Output &out, const CAN::CanRxMessage &message, const QString &note)
{
    Row row;
    row.addNumber(message.messageIndex, indexWidth);
    row.addGap();
    addTime(row, message.timeStamp);
    row.addGap();
    row.addNumber(message.channel, channelWidth);
    row.addGap();
    row.addText(message.isTx ? "Tx " : "Rx ");
    row.addGap();
    addIdentifier(row, message);
    row.addGap();
    addFlags(row, message);
    row.addGap();
    row.addNumber(message.dlc, lengthWidth);
    const int width = addData(row, message);

    if (!note.isEmpty()) {
        row.addBlanks(width == 0 ? dataWidth + 4 : std::max(0, dataWidth - width) + 2);
        out.write(row.begin(), static_cast<std::size_t>(row.length()));
        out.write(printable(note).toLocal8Bit());
        out.write("\n", 1);
        return;
    }
    row.addText("\n");
    out.write(row.begin(), static_cast<std::size_t>(row.length()));
}
