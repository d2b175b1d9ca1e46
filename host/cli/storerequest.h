#pragma once

#include "common/datachunkhelper.h"
#include "host/store/chunkstore.h"

#include <QString>

/// Asks the library for one import into @p store, the way every host does, and waits for its end. What the library says
/// of a failure fills in for a record that says nothing.
ImportRecord requestImport(ChunkStore &store, const QString &path, DatachunkHelper::ImportFileType type,
                           const QString &text = QString(), bool flag = false);
