// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/store/chunkformat.h"

#include <QStringList>

#include <vector>

/// One chunk of a store, known by its number.
struct StoredChunk {
    QStringList fileNames; ///< the one that is used, then those with the same number
    ChunkFormat::Summary summary;
    bool damaged = false; ///< found when it was last read: none of the files is valid
};

/// The chunk files of a store's folder.
namespace ChunkFolder
{

/// The name that the store gives to the chunk with @p number.
QString fileName(quint64 number);

/// One line for people about the file @p fileName of a store.
QString warningText(const QString &fileName, const QString &fault);

/// The valid chunks in @p folder, ascending by number, as far as their summaries tell. What is left out, and why, is
/// added to @p warnings.
std::vector<StoredChunk> list(const QString &folder, QStringList &warnings);

/// The chunk with @p number among @p chunks, which ascend; null when there is none.
const StoredChunk *find(const std::vector<StoredChunk> &chunks, quint64 number);

/// Whether anything in @p folder has the name of the chunk with @p number, be it a link that leads nowhere: what is
/// written under that name would take its place.
bool isTaken(const QString &folder, quint64 number);

} // namespace ChunkFolder
