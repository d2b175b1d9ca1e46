// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/store/chunkstore.h"

#include <QCommandLineOption>
#include <QString>
#include <QStringList>

class ImportChoice;
class QCommandLineParser;

/// `--store DIR`
QCommandLineOption storeOption();
/// The folder that the option names, or the default one.
QString chosenStoreFolder(const QCommandLineParser &parser);
/// What is wrong with the value of that option; empty when nothing is.
QString storeProblem(const QCommandLineParser &parser);

/// Whether @p path, as it is named or where it leads to, is or would be one of the files that a store is made of.
bool isFileOfAStore(const QString &path);
/// Opens @p store in @p folder; false after a complaint when that cannot be done, or when there is no store to read.
bool openStore(ChunkStore &store, const QString &folder, ChunkStore::Mode mode);
/// Whether @p store, which people know as @p folder, has the imports of @p choice; false after a complaint.
bool hasImports(const ChunkStore &store, const QString &folder, const ImportChoice &choice);
/// Says on standard error which files of the store, which people know as @p folder, are damaged or foreign.
void complainOfDamage(const ChunkStore &store, const QString &folder);

/// Takes back the folders that a writer makes for its store, if it fails before there is anything in them. Is to be
/// made before the store is opened and to outlive it.
class NewStoreFolder
{
public:
    explicit NewStoreFolder(const QString &folder);
    ~NewStoreFolder();

    /// The writer has not failed.
    void keep() { missing.clear(); }

private:
    Q_DISABLE_COPY_MOVE(NewStoreFolder)

    QStringList missing; ///< the folder, if there was none, and those around it that were missing, too
};
