// SPDX-License-Identifier: Apache-2.0
#include "host/convert/linewriter.h"

#include "common/files.h"
#include "host/convert/plaintext.h"
#include "host/store/chunkformat.h"
#include "host/store/timetext.h"

#include <QIODevice>

constexpr int blockSize = 1 << 16;

LineWriter::LineWriter(QIODevice &outputDevice)
    : device(outputDevice)
{
    buffer.reserve(blockSize + 4096);
}

bool LineWriter::finish()
{
    return flush();
}

bool LineWriter::put(const char *text)
{
    buffer += text;
    return flushIfLarge();
}

bool LineWriter::put(const QByteArray &text)
{
    buffer += text;
    return flushIfLarge();
}

bool LineWriter::put(const TextLine &line)
{
    buffer.append(line.begin(), line.length());
    return flushIfLarge();
}

bool LineWriter::flushIfLarge()
{
    return buffer.size() < blockSize || flush();
}

bool LineWriter::flush()
{
    if (!ChunkFormat::writeAll(device, buffer))
        return fail(Files::errorText(device));
    buffer.resize(0); // keeps its memory, unlike clear()
    return true;
}

void LineWriter::addTime(TextLine &line, qint64 microseconds, int width)
{
    char text[32];
    line.addRight(text, writeTime(qint64(notNegative(microseconds)), text), width);
}

quint64 LineWriter::notNegative(qint64 microseconds)
{
    if (microseconds >= 0)
        return quint64(microseconds);
    lose(Loss::Time);
    return 0;
}

QString LineWriter::commentText(const QString &note)
{
    const QString line = wellFormedNote(note).simplified();
    const QString result = printable(line);
    if (result != line)
        lose(Loss::Controls);
    return result;
}
