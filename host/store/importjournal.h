// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/store/importrecord.h"

#include <QByteArray>
#include <QVector>

/// The file of a store that says which imports there were: see docs/chunk-format.md.
namespace ImportJournal
{

struct Import {
    ImportRecord record;
    /// The next chunk number when the import began: chunks from here on are its own, up to where the next one began.
    /// With it a killed import finds its chunks, though the journal is written at the beginning and the end only.
    quint64 firstChunk = 0;
    QVector<quint64> chunks;
};

struct Content {
    QVector<Import> imports;
    quint64 nextChunk = 1; ///< no chunk number from here on was ever used
};

struct Fault {
    QString text;         ///< in a few words; empty when there is none
    bool isDamage = true; ///< false: it may be in order, but cannot be read here
};

QString fileName();

/// Whether @p name can be that of a folder in the store's.
bool isFolderName(const QString &name);

/// Reads the journal @p path, all of it that can be read. A missing journal is an empty one.
Fault read(const QString &path, Content &content);

/// What read() reads.
QByteArray toText(const Content &content);

} // namespace ImportJournal
