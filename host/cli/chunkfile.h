#pragma once

#include "host/store/chunkstore.h"

/// Visits the messages of the one data-chunk file @p path, whichever store it is from. False when it is none. Nothing
/// is visited then.
bool forEachMessageOfChunkFile(const QString &path, const ChunkStore::Visitor &visitor);
