// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/messagetable.h"

#include "apps/canlog/output.h"
#include "host/convert/textline.h"
#include "host/store/framekind.h"
#include "host/store/timetext.h"

#include <algorithm>

namespace
{

constexpr int indexWidth = 8;
constexpr int timeWidth = 17;
constexpr int channelWidth = 7;
constexpr int nameWidth = 15; // the longest name that Linux gives an interface; longer ones are cut
constexpr int identifierWidth = 10;
constexpr int flagsWidth = 5;
constexpr int lengthWidth = 3;
constexpr int dataWidth = 23; // the eight bytes of a classic frame; longer payloads push their note to the right

void addTime(TextLine &row, CanTimeStamp time)
{
    char text[32];
    row.addRight(text, writeTime(time, text), timeWidth);
}

void addIdentifier(TextLine &row, const CAN::CanRxMessage &message)
{
    if (message.id == CAN::errorFrameId) {
        row.addRight("error", 5, identifierWidth);
        return;
    }
    row.addHex(message.id, message.isExtended ? 8 : 3, identifierWidth);
}

void addFlags(TextLine &row, const CAN::CanRxMessage &message)
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

/// Adds the payload and returns its width.
int addData(TextLine &row, const CAN::CanRxMessage &message)
{
    const int count = payloadLength(message);
    if (count == 0)
        return 0;
    row.addGap();
    const int start = row.length();
    row.addBytes(message.data, count, true);
    return row.length() - start;
}

void addName(TextLine &row, const QString &name)
{
    const QString text = printable(name);
    const QByteArray bytes = text.left(nameWidth).toLocal8Bit();
    row.addBlanks(std::max(0, nameWidth - int(text.size())));
    row.addLeft(bytes.constData(), std::min(int(bytes.size()), 4 * nameWidth), 0);
}

/// The row up to the time.
TextLine rowBegin(const CAN::CanRxMessage &message)
{
    TextLine row;
    row.addNumber(message.messageIndex, indexWidth);
    row.addGap();
    addTime(row, message.timeStamp);
    row.addGap();
    return row;
}

void writeRest(Output &out, TextLine &row, const CAN::CanRxMessage &message, const QString &note)
{
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

} // namespace

void writeTableHeading(Output &out, ChannelColumn column)
{
    const QString heading = QStringLiteral("%1  %2  %3  Dir  %4  %5  %6  %7  Note");
    out.writeLine(heading.arg(QStringLiteral("Index"), indexWidth)
                      .arg(QStringLiteral("Time"), timeWidth)
                      .arg(QStringLiteral("Channel"), column == ChannelColumn::Name ? nameWidth : channelWidth)
                      .arg(QStringLiteral("Identifier"), identifierWidth)
                      .arg(QStringLiteral("Flags"), -flagsWidth)
                      .arg(QStringLiteral("Len"), lengthWidth)
                      .arg(QStringLiteral("Data"), -dataWidth));
}

void writeTableRow(Output &out, const CAN::CanRxMessage &message, const QString &note)
{
    TextLine row = rowBegin(message);
    row.addNumber(message.channel, channelWidth);
    writeRest(out, row, message, note);
}

void writeTableRow(Output &out, const CAN::CanRxMessage &message, const QString &note, const QString &name)
{
    TextLine row = rowBegin(message);
    if (name.isEmpty())
        row.addNumber(message.channel, nameWidth);
    else
        addName(row, name);
    writeRest(out, row, message, note);
}
