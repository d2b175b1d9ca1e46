// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/canlog/filereading.h"
#include "host/store/chunkstore.h"

/// One import into a store.
struct StoreImport {
    ImportRecord record; ///< what the library says of a failure fills in where the store says nothing
    FileResult result;
};

/// Has the library read a file into @p store, see readFile().
StoreImport requestImport(ChunkStore &store, FileRequest request, ProgressBar *bar = nullptr);
