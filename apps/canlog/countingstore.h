// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/store/chunkstore.h"

#include <QSet>

#include <bitset>

/// A ChunkStore that also counts the identifiers of the current import, a standard and an extended one of the same
/// value being two. Counts up to 65536 exactly, so that a bus of random identifiers cannot fill the memory.
class CountingStore : public ChunkStore
{
public:
    using ChunkStore::ChunkStore;

    /// The name under which the next import is recorded, where the library reads no file of that name;
    /// empty: that of the file read.
    void setSourceName(const QString &name) { sourceName = name; }
    /// For example "14" or "more than 65536".
    QString identifierCountText() const;

    void setImportStarted() override;
    void addImportedMessages(const QList<CAN::CanRxMessage> &messages,
                             const QMap<unsigned int, QString> &notes) override;
    void setImportFinished(bool success, DatachunkHelper::ImportFileType type, QString path, bool flag) override;

protected:
    void chunkAdded(const QVector<CAN::CanRxMessage> &messages) override;

private:
    void count(const CAN::CanRxMessage &message);

    QString sourceName;
    std::bitset<0x800> standardIds;
    QSet<quint64> otherIds; ///< with bit 32 for an extended frame
};
