// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/storefolder.h"

#include "apps/canlog/importchoice.h"
#include "apps/canlog/output.h"

#include <QCommandLineParser>
#include <QDir>
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

QString storeProblem(const QCommandLineParser &parser)
{
    return chosenStoreFolder(parser).isEmpty() ? QStringLiteral("--store needs a folder") : QString();
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
    if (!store.open(folder, mode)) {
        complain(QStringLiteral("%1; name another folder with --store").arg(store.errorString()));
        return false;
    }
    if (mode == ChunkStore::Mode::Read && !ChunkStore::isStore(folder)) {
        complain(folder, QStringLiteral("is no store: there are no chunk files in it; import a log first, or name "
                                        "another folder with --store"));
        return false;
    }
    for (const QString &notice : store.notices())
        complain(folder, notice);
    return true;
}

bool hasImports(const ChunkStore &store, const QString &folder, const ImportChoice &choice)
{
    const int missing = choice.firstMissing(store.imports());
    if (missing != 0)
        complain(folder, QStringLiteral("has no import %1; 'canlog imports' lists those it has").arg(missing));
    return missing == 0;
}

bool isFileOfAStore(const QString &path)
{
    const auto isOne = [](const QFileInfo &info) {
        const QString name = info.fileName();
        const bool hasName = name.endsWith(QLatin1String(".qcl")) || name == QLatin1String("imports.json")
                             || name == QLatin1String(".lock") || name == QLatin1String(".importing");
        return hasName && ChunkStore::isStore(info.absolutePath());
    };
    QFileInfo info(path);
    for (int i = 0; i < 40 && info.isSymLink(); ++i) { // as many as systems follow
        if (isOne(info))
            return true;
        info.setFile(info.symLinkTarget());
    }
    return isOne(info);
}

void complainOfDamage(const ChunkStore &store, const QString &folder)
{
    for (const QString &warning : store.warnings())
        complain(folder, QStringLiteral("warning: %1").arg(warning));
}

NewStoreFolder::NewStoreFolder(const QString &folder)
{
    QString path = QDir::cleanPath(QFileInfo(folder).absoluteFilePath());
    for (; !QFileInfo::exists(path); path = QFileInfo(path).path())
        missing.append(path);
}

NewStoreFolder::~NewStoreFolder()
{
    for (const QString &path : qAsConst(missing))
        ChunkStore::removeEmpty(path);
}
