// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/store/chunkstore.h"

/**
 * A store for archives that are merged into it: chunks of few messages become large ones. A file costs milliseconds,
 * since it is made to outlast a power loss, so archives of very many small chunks would take hours otherwise.
 *
 * A chunk may wait in memory for others; its messages are in the store when the import ends, unless it was interrupted.
 */
class MergingStore : public ChunkStore
{
    Q_OBJECT

public:
    using ChunkStore::ChunkStore;

    /// Why chunks of this import were not taken, in the order in which they came; empty where they were sound and could
    /// not be stored.
    QStringList refusals() const { return refused; }

    void setImportStarted() override;
    bool parseQCLStream(QDataStream &stream, bool &isFd) override;
    /// For the library an import is what became of its last chunk; here it succeeds when some of it was stored and the
    /// rest are damaged chunks.
    void setImportFinished(bool success, DatachunkHelper::ImportFileType type, QString path, bool flag) override;

private:
    bool passOn(QDataStream &stream, bool &isFd);
    void collect(const ChunkFormat::Chunk &chunk);
    bool storeCollected();
    bool take(QDataStream &stream, bool &isFd);

    ChunkFormat::Chunk collected; ///< without a summary
    qint64 notesLength = 0;       ///< of what was collected
    QStringList refused;
    bool isWritable = true;  ///< false after the first failure of this import
    bool isAnyTaken = false; ///< of this import
    bool isLastTaken = true;
};
