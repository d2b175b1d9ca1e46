// SPDX-License-Identifier: Apache-2.0
#include "host/convert/csvwriter.h"

#include "host/convert/plaintext.h"
#include "host/store/framekind.h"
#include "host/store/timetext.h"

#include <algorithm>

// time,channel,direction,id,extended,remote,fd,brs,esi,error,dlc,data,note
// 1345212884.318850,1,Rx,0x123,0,0,0,0,0,0,2,AA BB,"a note, quoted where it must be"
//
// An identifier begins with 0x and bytes are apart: a spreadsheet would take 1E5 or 0102 for a number.

namespace
{

constexpr char heading[] = "time,channel,direction,id,extended,remote,fd,brs,esi,error,dlc,data,note\n";

void addFlag(TextLine &line, bool flag)
{
    line.addText(flag ? ",1" : ",0");
}

/// Whether a spreadsheet would run @p text as a formula instead of showing it.
bool isFormula(const QString &text)
{
    return !text.isEmpty() && QStringLiteral("=+-@\t\r").contains(text.at(0));
}

/// @p text as a field, in quotation marks where it needs them.
QByteArray field(const QByteArray &text)
{
    const auto isSpecial = [](char c) { return c == ',' || c == '"' || c == '\n' || c == '\r'; };
    if (std::none_of(text.cbegin(), text.cend(), isSpecial))
        return text;
    QByteArray quoted(1, '"');
    quoted.reserve(text.size() + int(std::count(text.cbegin(), text.cend(), '"')) + 2);
    for (const char c : text) {
        if (c == '"')
            quoted.append(c);
        quoted.append(c);
    }
    return quoted.append('"');
}

} // namespace

bool CsvWriter::begin()
{
    return put(heading);
}

bool CsvWriter::write(const CAN::CanRxMessage &message, const QString &note)
{
    loseNameOf(message.channel);
    const bool isError = kindOf(message) == FrameKind::Error;
    TextLine line;
    char time[32];
    line.addRight(time, writeTime(message.timeStamp, time), 0);
    line.addCharacter(',');
    line.addNumber(message.channel);
    line.addText(message.isTx ? ",Tx," : ",Rx,");
    if (!isError) {
        line.addText("0x");
        line.addHex(message.id, message.isExtended ? 8 : 3);
    }
    for (const bool flag : {message.isExtended, message.isRemote, message.isFd, message.isBrs, message.isEsi, isError})
        addFlag(line, flag);
    line.addCharacter(',');
    line.addNumber(message.dlc);
    line.addCharacter(',');
    line.addBytes(message.data, payloadLength(message), true);
    line.addCharacter(',');
    return put(line) && (note.isEmpty() || put(field(cellText(note)))) && put("\n");
}

QByteArray CsvWriter::cellText(const QString &note)
{
    // Many readers end a text, or the file, at a zero.
    QString text = note;
    text.replace(QChar(QChar::Null), QChar(QChar::ReplacementCharacter));
    text = wellFormed(text);
    if (text != note)
        lose(Loss::Surrogates);
    if (isRaw || !isFormula(text))
        return text.toUtf8();
    lose(Loss::Formula);
    return '\'' + text.toUtf8();
}
