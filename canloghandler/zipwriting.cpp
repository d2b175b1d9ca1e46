#include "canloghandler/canloghandler.h"

#include <QFile>
#include <QtConcurrent>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipnewinfo.h>

// Archives of the store's chunk files, deflated at the fastest level: chunks are large, and the archive is written
// while the host works on.

namespace
{

void writeArchive(const QString &zipPath, const QDir &sourceDir)
{
    const QFileInfoList files = sourceDir.entryInfoList(QDir::Files, QDir::NoSort);
    // A new archive never holds entries of the old one.
    if (!QFile::remove(zipPath) && QFile::exists(zipPath))
        return;
    QuaZip archive(zipPath);
    if (!archive.open(QuaZip::mdAdd) && !archive.open(QuaZip::mdCreate))
        return;
    for (const QFileInfo &info : files) {
        QFile file(info.absoluteFilePath());
        if (!file.open(QIODevice::ReadOnly))
            continue;
        QuaZipFile entry(&archive);
        constexpr int fastest = 1;
        if (!entry.open(QIODevice::WriteOnly, QuaZipNewInfo(info.fileName(), info.filePath()), nullptr, 0, Z_DEFLATED,
                        fastest))
            continue;
        entry.write(file.readAll());
        entry.close();
    }
    archive.close();
}

} // namespace

void CANLogHandler::onZipDatachunks(QString zipPath, QDir sourceDir)
{
    if (zipInProgress.exchange(true))
        return;
    QtConcurrent::run(QThreadPool::globalInstance(), [this, zipPath, sourceDir] { zipDatachunks(zipPath, sourceDir); });
}

void CANLogHandler::zipDatachunks(QString zipPath, QDir sourceDir)
{
    writeArchive(zipPath, sourceDir);
    zipInProgress = false;
}
