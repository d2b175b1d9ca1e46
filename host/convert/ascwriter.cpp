// SPDX-License-Identifier: Apache-2.0
#include "host/convert/ascwriter.h"

#include "common/canerrortypes.h"
#include "host/convert/logorigin.h"
#include "host/store/framekind.h"
#include "host/store/timetext.h"

#include <QLocale>
#include <QRegularExpression>

// date Tue May 21 09:40:12.000 am 2024
// base hex  timestamps absolute
// no internal events logged
// Begin Triggerblock Tue May 21 09:40:12.000 am 2024
// // BusMapping: CAN 2 = vcan0
//    0.002470 1  123             Rx   d 2 AA BB  Length = 0 BitCount = 0 ID = 291
//    0.002710 1  18FEF100x       Tx   r 8  Length = 0 BitCount = 0 ID = 419360000x
//    0.003510 CANFD   1 Rx        1A0                                   1 0 9 12 00 ... 0B        0    0     3000 ...
//    0.004000 1  ErrorFrame
// // a note
// End TriggerBlock
//
// Of a log that does not tell its start the date is that of time 0, the start of 1970. The statistics at the end of a
// line are part of the format; 0 stands for not known. Channels are decimal.

namespace
{

constexpr char footer[] = "End TriggerBlock\n";
constexpr int timeWidth = 11;
constexpr int highestClassicLength = 8;

// In the column of flags of a CAN FD frame.
constexpr quint32 fdFlag = 0x1000;
constexpr quint32 bitRateSwitchFlag = 0x2000;
constexpr quint32 errorStateFlag = 0x4000;

/// The code for @p length bytes; that of the next higher length where CAN FD has none for it.
quint32 lengthCode(int length)
{
    if (length <= 8)
        return quint32(length);
    const auto found = std::lower_bound(canFdLengths.cbegin(), canFdLengths.cend(), length);
    return 9 + quint32(found - canFdLengths.cbegin());
}

/// The identifier in hexadecimal, with an "x" when it is extended.
void addId(TextLine &line, const CAN::CanRxMessage &message)
{
    line.addHex(message.id, 1);
    if (hasExtendedId(message))
        line.addCharacter('x');
}

/// "Tue May 21 09:40:12.084 am 2024", in English whatever the language of the system. Tools look for three decimals.
QByteArray dateText(const QDateTime &date)
{
    return QLocale::c().toString(date, QStringLiteral("ddd MMM dd hh:mm:ss.zzz ap yyyy")).toLatin1();
}

/// Without what the word "ErrorFrame" of the line says, so that it does not come twice when the file is read.
QString withoutErrorWord(const QString &note)
{
    static const QString word = QStringLiteral("error frame");
    static const QString more = word + QStringLiteral(" | ");
    if (note == word)
        return {};
    return note.startsWith(more) ? note.mid(more.size()) : note;
}

const char *direction(const CAN::CanRxMessage &message)
{
    return message.isTx ? "Tx   " : "Rx   ";
}

} // namespace

bool AscWriter::putHeader(const CanTimeStamp &firstTime)
{
    hasHeader = true;
    const LogOrigin origin = originOf(logInfo(), inMicroseconds(firstTime), zone());
    offset = origin.offset;
    const QDateTime epoch(QDate(1970, 1, 1), QTime(0, 0), Qt::UTC);
    const QByteArray date = dateText(origin.start.isValid() ? origin.start : epoch);
    return put("date " + date + "\nbase hex  timestamps absolute\nno internal events logged\nBegin Triggerblock " + date
               + '\n');
}

/// What the log calls @p channel stands before the first frame of it.
bool AscWriter::putName(quint16 channel)
{
    named.insert(channel);
    const QString name = nameOf(channel);
    return name.isEmpty()
           || put("// BusMapping: CAN " + QByteArray::number(channel) + " = " + commentText(name).toUtf8() + '\n');
}

bool AscWriter::write(const CAN::CanRxMessage &message, const QString &note)
{
    if (!hasHeader && !putHeader(message.timeStamp))
        return false;
    if (!named.contains(message.channel) && !putName(message.channel))
        return false;
    countImpossible(message);
    TextLine line;
    addTime(line, inMicroseconds(message.timeStamp) - offset, timeWidth);
    if (kindOf(message) == FrameKind::Fd)
        addFdFrame(line, message);
    else
        addClassicFrame(line, message);
    line.addCharacter('\n');
    return put(line) && putNote(kindOf(message) == FrameKind::Error ? withoutErrorWord(note) : note);
}

bool AscWriter::finish()
{
    lose(Loss::Channel, channels.joined());
    lose(Loss::HighChannel, channels.high());
    return (hasHeader || putHeader(CanTimeStamp())) && put(footer) && LineWriter::finish();
}

bool AscWriter::putNote(const QString &note)
{
    if (note.isEmpty())
        return true;
    // Readers look for the end of the block anywhere in a line.
    static const QRegularExpression blockEnd(QStringLiteral("(end) (triggerblock)"),
                                             QRegularExpression::CaseInsensitiveOption);
    // The pattern matches nothing in a text that is not well-formed.
    const QString text = commentText(note).replace(blockEnd, QStringLiteral("\\1_\\2"));
    return put("// ") && put(text.toUtf8()) && put("\n");
}

void AscWriter::addClassicFrame(TextLine &line, const CAN::CanRxMessage &message)
{
    line.addCharacter(' ');
    line.addNumber(channels.numberOf(message));
    line.addGap();
    if (kindOf(message) == FrameKind::Error) {
        line.addText("ErrorFrame");
        if (message.isTx)
            lose(Loss::Direction);
        if (payloadLength(message) > 0)
            lose(Loss::Payload);
        return;
    }
    TextLine id;
    addId(id, message);
    line.addLeft(id.begin(), id.length(), 16);
    line.addText(direction(message));
    line.addCharacter(message.isRemote ? 'r' : 'd');
    if (message.dlc <= highestClassicLength) {
        line.addCharacter(' ');
        line.addNumber(message.dlc);
    } else {
        lose(Loss::Length); // of a remote frame, which may do without
    }
    if (payloadLength(message) > 0)
        line.addCharacter(' ');
    line.addBytes(message.data, payloadLength(message), true);
    line.addText("  Length = 0 BitCount = 0 ID = ");
    line.addNumber(message.id);
    if (hasExtendedId(message))
        line.addCharacter('x');
}

void AscWriter::addFdFrame(TextLine &line, const CAN::CanRxMessage &message)
{
    const int length = payloadLength(message);
    if (length < message.dlc)
        lose(Loss::Length);
    line.addText(" CANFD ");
    line.addNumber(channels.numberOf(message), 3);
    line.addCharacter(' ');
    line.addText(direction(message));
    TextLine id;
    addId(id, message);
    line.addRight(id.begin(), id.length(), 8);
    line.addBlanks(35); // where a database would name the message
    line.addText(message.isBrs ? "1 " : "0 ");
    line.addText(message.isEsi ? "1 " : "0 ");
    line.addHex(lengthCode(length), 1);
    line.addCharacter(' ');
    line.addNumber(quint64(length), 2);
    if (length > 0)
        line.addCharacter(' ');
    line.addBytes(message.data, length, true);
    line.addText("        0    0 ");
    line.addHex(fdFlag | (message.isBrs ? bitRateSwitchFlag : 0) | (message.isEsi ? errorStateFlag : 0), 1, 8);
    line.addText("        0        0        0        0        0");
}
