// SPDX-License-Identifier: Apache-2.0
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

void TextReader::failAtLine(QStringView where)
{
    watch.drop(ImportWatch::Reason::EndsImport, where);
    const ImportReport::Fault fault = report().faults.constLast();
    fail(tr("line %1, column %2: %3")
             .arg(QString::number(fault.line), QString::number(fault.column), ImportReport::reasonText(fault.reason)));
}
