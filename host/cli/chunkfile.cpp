#include "host/cli/chunkfile.h"

#include <QTemporaryDir>

bool forEachMessageOfChunkFile(const QString &path, const ChunkStore::Visitor &visitor)
{
    // Only a store understands its chunk files, so the file goes through one that lasts for this call.
    const QTemporaryDir folder;
    ChunkStore store;
    if (!folder.isValid() || !store.open(folder.path(), ChunkStore::Mode::ReadWrite))
        return false;
    store.setImportStarted();
    const bool loaded = store.loadQclFile(path);
    store.setImportFinished(loaded, DatachunkHelper::QclFile, path, true);
    if (loaded)
        store.forEachMessage(visitor);
    return loaded;
}
