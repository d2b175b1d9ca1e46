// SPDX-License-Identifier: Apache-2.0
#include "host/convert/trcwriter.h"

#include "host/convert/logorigin.h"
#include "host/store/framekind.h"
#include "host/store/timetext.h"

// ;$FILEVERSION=2.1
// ;$STARTTIME=45433.4021990741
// ;$COLUMNS=N,O,T,B,I,d,R,l,D
//       1         4.200 DT 1      0080 Rx -  0
//       2         5.024 DT 1  18FEF100 Tx -  2    AA BB
//       3       200.000 FB 2      01A0 Tx -  12   10 0A 36 01 7F 45 4C 46 02 01 01 00
//       4       130.004 RR 1      0701 Tx -  8
//       5       140.000 ER 1      0008 Rx -  0
// ;   a note
//
// Number, offset in milliseconds, type, bus, identifier, direction, reserved, length in bytes, data. CAN FD frames are
// "FD", "FB" with a bit-rate switch, "FE" with an error state indicator, "BI" with both.

namespace
{

constexpr char columns[] = ";$COLUMNS=N,O,T,B,I,d,R,l,D\n"
                           ";\n"
                           ";   Message   Time    Type    ID     Rx/Tx\n"
                           ";   Number    Offset  |  Bus  [hex]  |  Reserved\n"
                           ";   |         [ms]    |  |    |      |  |  Data Length\n"
                           ";   |         |       |  |    |      |  |  |    Data [hex] ...\n"
                           ";   |         |       |  |    |      |  |  |    |\n"
                           ";---+-- ------+------ +- +- --+----- +- +- +--- +- -- -- -- -- -- -- --\n";

constexpr qint64 secondsOfADay = 86400;
constexpr qint64 millisecondsOfADay = secondsOfADay * 1000;
constexpr qint64 daysUntil1970 = 25569; // since 30 December 1899, the first day of the format
constexpr quint32 otherError = 8;
constexpr int highestRemoteLength = 8; // CAN FD has no remote frames

const char *typeOf(const CAN::CanRxMessage &message)
{
    switch (kindOf(message)) {
    case FrameKind::Data:
        return "DT";
    case FrameKind::Fd:
        return message.isBrs ? (message.isEsi ? "BI" : "FB") : (message.isEsi ? "FE" : "FD");
    case FrameKind::Remote:
        return "RR";
    case FrameKind::Error:
        break;
    }
    return "ER";
}

void addId(TextLine &line, const CAN::CanRxMessage &message)
{
    if (kindOf(message) == FrameKind::Error)
        line.addHex(otherError, 4, 8);
    else
        line.addHex(message.id, hasExtendedId(message) ? 8 : 4, 8);
}

int highestLength(const CAN::CanRxMessage &message)
{
    return kindOf(message) == FrameKind::Remote ? highestRemoteLength : int(sizeof message.data);
}

void addPayload(TextLine &line, const CAN::CanRxMessage &message)
{
    const int length = std::min(int(message.dlc), highestLength(message));
    const int start = line.length();
    line.addNumber(quint64(length));
    if (payloadLength(message) == 0)
        return;
    line.addBlanks(5 - (line.length() - start));
    line.addBytes(message.data, payloadLength(message), true);
}

} // namespace

/// In milliseconds. Readers keep them in 32 bits.
constexpr quint64 maximumOffset = 0x7FFFFFFF;

bool TrcWriter::write(const CAN::CanRxMessage &message, const QString &note)
{
    if (!hasHeader && !putHeader(message.timeStamp))
        return false;
    loseNameOf(message.channel);
    if (message.dlc > highestLength(message))
        lose(Loss::Length);
    countImpossible(message);

    TextLine line;
    line.addNumber(++number, 7);
    quint64 offset = notNegative(inMicroseconds(message.timeStamp) - start);
    if (offset / 1000 > maximumOffset) {
        lose(Loss::Time);
        offset = maximumOffset * 1000;
    }
    line.addCharacter(' ');
    line.addNumber(offset / 1000, 9);
    line.addCharacter('.');
    line.addPaddedNumber(offset % 1000, 3);
    line.addCharacter(' ');
    line.addText(typeOf(message));
    line.addCharacter(' ');
    const quint16 channel = channels.numberOf(message);
    line.addNumber(channel);
    line.addBlanks(channel < 10 ? 2 : 1);
    addId(line, message);
    line.addText(message.isTx ? " Tx -  " : " Rx -  ");
    addPayload(line, message);
    line.addCharacter('\n');
    return put(line) && (note.isEmpty() || put(";   " + commentText(note).toUtf8() + '\n'));
}

bool TrcWriter::finish()
{
    lose(Loss::Channel, channels.joined());
    lose(Loss::HighChannel, channels.high());
    return (hasHeader || putHeader(CanTimeStamp())) && LineWriter::finish();
}

bool TrcWriter::putHeader(const CanTimeStamp &firstTime)
{
    hasHeader = true;
    const LogOrigin origin = knownOrAssumedOrigin(logInfo(), inMicroseconds(firstTime), zone());
    start = origin.offset;

    // Days with ten decimals, which tell 9 microseconds apart; whole numbers, so that each millisecond has one
    // spelling.
    const qint64 milliseconds = qMax(daysUntil1970 * millisecondsOfADay + origin.start.toMSecsSinceEpoch(), qint64(0));
    const qint64 scale = 10000000000;
    const qint64 fraction = (milliseconds % millisecondsOfADay * scale + millisecondsOfADay / 2) / millisecondsOfADay;
    TextLine line;
    line.addText(";$FILEVERSION=2.1\n;$STARTTIME=");
    line.addNumber(quint64(milliseconds / millisecondsOfADay));
    line.addCharacter('.');
    line.addPaddedNumber(quint64(fraction), 10);
    line.addCharacter('\n');
    return put(line) && put(columns);
}
