#include "readers/textreader.h"

#include "common/text/fields.h"

void TextReader::start(QIODevice &device)
{
    watch.start();
    sequential = device.isSequential();
    const qint64 total = sequential ? 0 : device.size();
    lines.emplace(device, [this, total](qint64 bytesRead) { return blockRead(bytesRead, total); });
    begin();
}

bool TextReader::endOfLines()
{
    watch.setReadError(lines->readError());
    return false;
}

void TextReader::joinNote(QStringView text)
{
    if (!hasRoomInNote())
        return;
    if (!note.isEmpty())
        note += QLatin1String(" | ");
    QString room;
    note += simplified(text, room);
}

void TextReader::failAtLine(QStringView where, const QString &text)
{
    watch.drop(ImportWatch::Reason::EndsImport, where);
    fail(text);
}
