// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/countingstore.h"

#include "apps/canlog/interruption.h"

constexpr int countedIds = 65536;

QString CountingStore::identifierCountText() const
{
    const int count = static_cast<int>(standardIds.count()) + int(otherIds.size());
    return count > countedIds ? QStringLiteral("more than %1").arg(countedIds) : QString::number(count);
}

void CountingStore::setImportStarted()
{
    standardIds.reset();
    otherIds.clear();
    ChunkStore::setImportStarted();
}

void CountingStore::addImportedMessages(const QList<CAN::CanRxMessage> &messages,
                                        const QMap<unsigned int, QString> &notes)
{
    for (const CAN::CanRxMessage &message : messages)
        count(message);
    ChunkStore::addImportedMessages(messages, notes);
}

void CountingStore::setImportFinished(bool success, DatachunkHelper::ImportFileType type, QString path, bool flag)
{
    // A pipe ends when it is interrupted, which the library takes for its end.
    const bool isWhole = sourceName.isEmpty() || !wasInterrupted();
    ChunkStore::setImportFinished(success && isWhole, type, sourceName.isEmpty() ? path : sourceName, flag);
}

void CountingStore::chunkAdded(const QVector<CAN::CanRxMessage> &messages)
{
    for (const CAN::CanRxMessage &message : messages)
        count(message);
}

void CountingStore::count(const CAN::CanRxMessage &message)
{
    if (message.id == CAN::errorFrameId)
        return;
    if (!message.isExtended && message.id < standardIds.size())
        standardIds.set(message.id);
    else if (otherIds.size() <= countedIds)
        otherIds.insert((quint64(message.isExtended) << 32) | message.id);
}
