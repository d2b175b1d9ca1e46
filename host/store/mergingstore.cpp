// SPDX-License-Identifier: Apache-2.0
#include "host/store/mergingstore.h"

#include <QBuffer>
#include <QDataStream>
#include <QFile>
#include <QThread>

// A chunk of so many messages is stored as it is.
static constexpr int largeChunk = ChunkFormat::maximumMessages / 2;
// In characters; far below what a chunk may hold.
static constexpr qint64 maximumNotesLength = 8 * 1024 * 1024;

/// How many messages the chunk at the beginning of @p stream is said to hold, if it is a whole file.
static int messageCountOf(QDataStream &stream)
{
    auto *const file = qobject_cast<QFile *>(stream.device());
    ChunkFormat::Summary summary;
    const bool isKnown = file && file->pos() == 0 && ChunkFormat::readSummary(*file, summary).isEmpty();
    if (file)
        file->seek(0);
    return isKnown ? summary.messageCount : 0;
}

static qint64 lengthOf(const QMap<int, QString> &notes)
{
    qint64 length = 0;
    for (const QString &note : notes)
        length += note.size();
    return length;
}

void MergingStore::setImportStarted()
{
    collected = {};
    notesLength = 0;
    refused.clear();
    isWritable = true;
    isAnyTaken = false;
    isLastTaken = true;
    ChunkStore::setImportStarted();
}

bool MergingStore::parseQCLStream(QDataStream &stream, bool &isFd)
{
    isFd = false;
    isLastTaken = take(stream, isFd);
    isAnyTaken = isAnyTaken || isLastTaken;
    return isLastTaken;
}

bool MergingStore::take(QDataStream &stream, bool &isFd)
{
    if (!isWritable) {
        refused.append(QString());
        return false;
    }
    if (messageCountOf(stream) >= largeChunk)
        return storeCollected() && passOn(stream, isFd);
    const qint64 begin = stream.device()->pos();
    ChunkFormat::Chunk chunk;
    if (!ChunkFormat::readChunk(stream, chunk).isEmpty()) {
        stream.device()->seek(begin);
        stream.resetStatus();
        return passOn(stream, isFd); // which keeps the fault in the record of the import
    }
    if (!stream.atEnd()) {
        refused.append(ChunkFormat::Fault(ChunkFormat::Fault::TooLong).text());
        return false;
    }
    const bool hasRoom = collected.messages.size() + chunk.messages.size() <= ChunkFormat::maximumMessages
                         && notesLength + lengthOf(chunk.notes) <= maximumNotesLength;
    if (!hasRoom && !storeCollected()) {
        refused.append(QString());
        return false;
    }
    isFd = chunk.summary.fdSeen;
    collect(chunk);
    return true;
}

/// Has the store itself read the chunk.
bool MergingStore::passOn(QDataStream &stream, bool &isFd)
{
    const qint64 begin = stream.device()->pos();
    if (ChunkStore::parseQCLStream(stream, isFd))
        return true;
    stream.device()->seek(begin);
    stream.resetStatus();
    ChunkFormat::Chunk chunk;
    const QString fault = ChunkFormat::readChunk(stream, chunk);
    isWritable = !fault.isEmpty();
    refused.append(fault);
    return false;
}

void MergingStore::collect(const ChunkFormat::Chunk &chunk)
{
    const int before = collected.messages.size();
    for (auto note = chunk.notes.cbegin(); note != chunk.notes.cend(); ++note)
        collected.notes.insert(before + note.key(), note.value());
    collected.messages += chunk.messages;
    notesLength += lengthOf(chunk.notes);
}

/// Makes one chunk of what was collected. False when it cannot be stored.
bool MergingStore::storeCollected()
{
    if (collected.messages.isEmpty())
        return isWritable;
    ChunkFormat::Encoder encoder(collected.messages.size());
    for (const CAN::CanRxMessage &message : qAsConst(collected.messages))
        encoder.add(message);
    QBuffer buffer;
    buffer.open(QIODevice::ReadWrite);
    constexpr quint64 anyNumber = 1; // the store gives it its own
    isWritable = encoder.write(buffer, anyNumber, collected.notes).isEmpty();
    collected = {};
    notesLength = 0;
    buffer.seek(0);
    QDataStream stream(&buffer);
    bool isFd = false;
    isWritable = isWritable && ChunkStore::parseQCLStream(stream, isFd);
    return isWritable;
}

void MergingStore::setImportFinished(bool success, DatachunkHelper::ImportFileType type, QString path, bool flag)
{
    const bool isInterrupted = !success && QThread::currentThread()->isInterruptionRequested();
    if (!isInterrupted)
        storeCollected();
    const bool isPartial = isAnyTaken && !isLastTaken && !isInterrupted;
    ChunkStore::setImportFinished((success || isPartial) && isWritable, type, path, flag);
}
