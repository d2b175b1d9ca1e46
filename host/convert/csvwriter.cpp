#include "host/convert/csvwriter.h"

#include "host/store/framekind.h"
#include "host/store/timetext.h"

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

QByteArray field(const QString &text)
{
    QByteArray bytes = text.toUtf8();
    const bool needsQuotes = bytes.contains(',') || bytes.contains('"') || bytes.contains('\n') || bytes.contains('\r');
    return needsQuotes ? '"' + bytes.replace('"', "\"\"") + '"' : bytes;
}

} // namespace

bool CsvWriter::begin()
{
    return put(heading);
}

bool CsvWriter::write(const CAN::CanRxMessage &message, const QString &note)
{
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
    return put(line) && (note.isEmpty() || put(field(note))) && put("\n");
}
