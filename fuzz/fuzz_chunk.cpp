// SPDX-License-Identifier: Apache-2.0
// Reads any bytes as a chunk file: once as they are and once with the checksum put right, since damage would otherwise
// never come past it. What is read must be within the format's limits, agree with the summary that is read by itself,
// and be the same when it is written and read again.

#include "host/store/chunkformat.h"

#include <QBuffer>
#include <QDataStream>
#include <QTemporaryFile>
#include <QtEndian>
#include <zlib.h>

#include <cstdint>
#include <cstdlib>

namespace
{

constexpr int checksumSize = 4;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

void putChecksumRight(QByteArray &content)
{
    const int size = int(content.size()) - checksumSize;
    const auto sum = crc32(0, reinterpret_cast<const Bytef *>(content.constData()), uInt(size));
    qToBigEndian(quint32(sum), content.data() + size);
}

void requireSameAfterWriting(const ChunkFormat::Chunk &chunk)
{
    ChunkFormat::Encoder encoder(int(chunk.messages.size()));
    for (const CAN::CanRxMessage &message : chunk.messages)
        encoder.add(message);
    QBuffer buffer;
    buffer.open(QIODevice::ReadWrite);
    require(encoder.write(buffer, chunk.summary.number, chunk.notes).isEmpty() && buffer.seek(0));
    QDataStream stream(&buffer);
    ChunkFormat::Chunk again;
    require(ChunkFormat::readChunk(stream, again).isEmpty());
    require(again.messages == chunk.messages && again.notes == chunk.notes);
}

void read(const QByteArray &content)
{
    static QTemporaryFile file;
    require(file.isOpen() || file.open());
    require(file.resize(0) && file.seek(0) && file.write(content) == content.size() && file.flush());

    ChunkFormat::Chunk chunk;
    require(file.seek(0));
    if (!ChunkFormat::readChunk(file, chunk).isEmpty())
        return;
    require(!chunk.messages.isEmpty() && chunk.messages.size() <= ChunkFormat::maximumMessages);
    require(chunk.summary.messageCount == chunk.messages.size() && chunk.summary.noteCount == chunk.notes.size());
    for (auto note = chunk.notes.cbegin(); note != chunk.notes.cend(); ++note)
        require(note.key() >= 0 && note.key() < chunk.messages.size() && !note.value().isEmpty());

    ChunkFormat::Summary summary;
    require(file.seek(0) && ChunkFormat::readSummary(file, summary).isEmpty());
    require(summary.number == chunk.summary.number && summary.messageCount == chunk.messages.size());
    requireSameAfterWriting(chunk);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QByteArray content(reinterpret_cast<const char *>(data), int(size));
    read(content);
    if (content.size() > checksumSize) {
        putChecksumRight(content);
        read(content);
    }
    return 0;
}
