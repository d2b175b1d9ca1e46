#include "canloghandler/canloghandler.h"

#include <QFile>
#include <QtConcurrent>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipnewinfo.h>

// Archives of the store's chunk files: one entry a file under its bare name, deflated at the fastest level, since the
// archive is written beside an application at work.

namespace
{

// Files are read whole. A chunk has a few megabytes; above this a QByteArray would not hold it.
constexpr qint64 maxFileSize = 1024 * 1024 * 1024;

/// Adds @p info's file to @p archive. False when the archive cannot be written any further; a file that cannot be read,
/// or not as a whole, is left out.
bool addFile(QuaZip &archive, const QFileInfo &info)
{
    QFile file(info.absoluteFilePath());
    if (!file.open(QIODevice::ReadOnly) || file.size() > maxFileSize)
        return true;
    const QByteArray content = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return true;

    QuaZipFile entry(&archive);
    constexpr int fastest = 1;
    if (!entry.open(QIODevice::WriteOnly, QuaZipNewInfo(info.fileName(), info.filePath()), nullptr, 0, Z_DEFLATED,
                    fastest, false, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY))
        return true;
    const bool written = entry.write(content) == content.size();
    entry.close();
    return written && entry.getZipError() == ZIP_OK;
}

/// False when what stands at @p zipPath afterwards is no whole archive.
bool addFiles(QuaZip &archive, const QFileInfoList &files)
{
    // Listed before the archive was made, but an older one of the same name may have been there.
    const QString self = QFileInfo(archive.getZipName()).canonicalFilePath();
    for (const QFileInfo &info : files) {
        // A link may lead to a pipe, which would hold the job up.
        if (info.isFile() && info.canonicalFilePath() != self && !addFile(archive, info))
            return false;
    }
    return true;
}

void writeArchive(const QString &zipPath, const QDir &sourceDir)
{
    const QFileInfoList files = sourceDir.entryInfoList(QDir::Files, QDir::NoSort);
    // A new archive never holds entries of the old one.
    if (!QFile::remove(zipPath) && QFile::exists(zipPath))
        return;
    QuaZip archive(zipPath);
    archive.setUtf8Enabled(true); // marked as such, so that every tool reads the names
    if (!archive.open(QuaZip::mdAdd) && !archive.open(QuaZip::mdCreate))
        return;
    const bool complete = addFiles(archive, files);
    archive.close();
    // Half an archive, on a full disk for example, would look like a whole one.
    if (!complete || archive.getZipError() != ZIP_OK)
        QFile::remove(zipPath);
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
