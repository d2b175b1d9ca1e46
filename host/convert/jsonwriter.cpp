// SPDX-License-Identifier: Apache-2.0
#include "host/convert/jsonwriter.h"

#include "host/convert/plaintext.h"
#include "host/store/framekind.h"
#include "host/store/timetext.h"

#include <QStringView>

#include <algorithm>

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

/// Adds what stands in a JSON string for @p c, which may not stand there itself.
void addEscape(QByteArray &bytes, QChar c)
{
    static const char digits[] = "0123456789abcdef";
    const ushort code = c.unicode();
    switch (code) {
    case '"':
    case '\\':
        bytes.append('\\').append(char(code));
        return;
    case '\n':
        bytes.append("\\n");
        return;
    case '\r':
        bytes.append("\\r");
        return;
    case '\t':
        bytes.append("\\t");
        return;
    default:
        bytes.append("\\u");
        for (int shift = 12; shift >= 0; shift -= 4)
            bytes.append(digits[code >> shift & 0xF]);
    }
}

bool needsEscape(QChar c)
{
    return c == QLatin1Char('"') || c == QLatin1Char('\\') || isControl(c);
}

/// @p text, which is well-formed, with quotation marks. More is escaped than JSON demands, so that nothing in a note
/// commands the terminal that shows it.
QByteArray string(const QString &text)
{
    QByteArray bytes(1, '"');
    bytes.reserve(text.size() + 2);
    auto written = text.cbegin();
    for (auto next = written;; written = next + 1) {
        next = std::find_if(written, text.cend(), needsEscape);
        bytes += QStringView(written, next).toUtf8();
        if (next == text.cend())
            return bytes.append('"');
        addEscape(bytes, *next);
    }
}

} // namespace

bool JsonWriter::write(const CAN::CanRxMessage &message, const QString &note)
{
    loseNameOf(message.channel);
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
    return put(line) && (note.isEmpty() || (put(",\"note\":") && put(string(wellFormedNote(note))))) && put("}\n");
}
