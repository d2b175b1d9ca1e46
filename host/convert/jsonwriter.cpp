#include "host/convert/jsonwriter.h"

#include "host/store/framekind.h"
#include "host/store/timetext.h"

#include <QJsonArray>
#include <QJsonDocument>

// {"time":1345212884.318850,"channel":1,"direction":"Rx","id":291,"extended":false,"remote":false,"fd":false,
//  "brs":false,"esi":false,"error":false,"dlc":2,"data":"AABB","note":"a note"}          (in one line)
//
// The identifier of an error frame is null; without a note there is no "note".

namespace
{

void addFlag(TextLine &line, const char *name, bool flag)
{
    line.addText(",\"");
    line.addText(name);
    line.addText(flag ? "\":true" : "\":false");
}

/// @p text with quotation marks, and with escapes where JSON needs them.
QByteArray string(const QString &text)
{
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

} // namespace

bool JsonWriter::write(const CAN::CanRxMessage &message, const QString &note)
{
    const bool isError = kindOf(message) == FrameKind::Error;
    TextLine line;
    line.addText("{\"time\":");
    char time[32];
    line.addRight(time, writeTime(message.timeStamp, time), 0);
    line.addText(",\"channel\":");
    line.addNumber(message.channel);
    line.addText(message.isTx ? ",\"direction\":\"Tx\",\"id\":" : ",\"direction\":\"Rx\",\"id\":");
    if (isError)
        line.addText("null");
    else
        line.addNumber(message.id);
    addFlag(line, "extended", message.isExtended);
    addFlag(line, "remote", message.isRemote);
    addFlag(line, "fd", message.isFd);
    addFlag(line, "brs", message.isBrs);
    addFlag(line, "esi", message.isEsi);
    addFlag(line, "error", isError);
    line.addText(",\"dlc\":");
    line.addNumber(message.dlc);
    line.addText(",\"data\":\"");
    line.addBytes(message.data, payloadLength(message), false);
    line.addCharacter('"');
    return put(line) && (note.isEmpty() || (put(",\"note\":") && put(string(note)))) && put("}\n");
}
