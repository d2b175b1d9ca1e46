#include "host/cli/storefolder.h"

#include "host/cli/output.h"

#include <QCommandLineParser>
#include <QFileInfo>

QCommandLineOption storeOption()
{
    const QString defaultFolder = QStringLiteral("canlog-store");
    return {QStringLiteral("store"),
            QStringLiteral("Folder of the store. Default: %1 in the current folder.").arg(defaultFolder),
            QStringLiteral("DIR"), defaultFolder};
}

QString chosenStoreFolder(const QCommandLineParser &parser)
{
    return parser.value(QStringLiteral("store"));
}

bool openStore(ChunkStore &store, const QString &folder, ChunkStore::Mode mode)
{
    const QFileInfo info(folder);
    if (info.exists() && !info.isDir()) {
        complain(folder, QStringLiteral("is a file; a store is a folder, name one with --store"));
        return false;
    }
    if (mode == ChunkStore::Mode::Read && !info.exists()) {
        complain(folder, QStringLiteral("no such store; import a log first, or name its folder with --store"));
        return false;
    }
    if (store.open(folder, mode))
        return true;
    complain(QStringLiteral("%1; name another folder with --store").arg(store.errorString()));
    return false;
}

void complainOfDamage(const ChunkStore &store)
{
    for (const QString &warning : store.warnings())
        complain(QStringLiteral("warning: %1").arg(warning));
}
