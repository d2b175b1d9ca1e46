#pragma once

#include "host/store/chunkstore.h"

#include <QCommandLineOption>
#include <QString>

class QCommandLineParser;

/// `--store DIR`
QCommandLineOption storeOption();
/// The folder that the option names, or the default one.
QString chosenStoreFolder(const QCommandLineParser &parser);

/// Opens @p store in @p folder; false after a complaint when that cannot be done.
bool openStore(ChunkStore &store, const QString &folder, ChunkStore::Mode mode);
/// Says on standard error which files of the store are damaged or foreign.
void complainOfDamage(const ChunkStore &store);
