// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/archivefile.h"
#include "canloghandler/canloghandler.h"
#include "common/files.h"

#include <QFile>
#include <QRunnable>
#include <QScopeGuard>
#include <QThreadPool>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipnewinfo.h>

#include <cerrno>

// Archives of the store's chunk files: one entry a file under its bare name, deflated at the fastest level, since the
// archive is written beside an application at work.

namespace
{

// A chunk has a few megabytes; what is above this is none, and of no use in the archive.
constexpr qint64 maxFileSize = 1024 * 1024 * 1024;

// Up to this a file is read whole, larger ones in blocks of that size.
constexpr qint64 blockSize = 16 * 1024 * 1024;

/// Whether @p file, which stands at its beginning, can be read to its end: an entry that was begun cannot be left out
/// any more. A small one is in @p block then, of a large one that is the first block.
bool isReadable(QFile &file, QByteArray &block)
{
    block = file.read(blockSize);
    if (block.size() < blockSize)
        return file.error() == QFileDevice::NoError;
    while (!file.read(blockSize).isEmpty())
        continue;
    return file.error() == QFileDevice::NoError && file.seek(blockSize);
}

/// What became of one file.
enum class Added {
    Yes,
    LeftOut, ///< the file cannot be read, or not as a whole
    Gone,    ///< there is no such file any more
    No,      ///< the archive cannot be written any further
};

/// Adds @p info's file to @p archive, which is written to @p device.
Added addFile(QuaZip &archive, const WrittenFile &device, const QFileInfo &info)
{
    QFile file(info.absoluteFilePath());
    if (!file.open(QIODevice::ReadOnly))
        return file.exists() ? Added::LeftOut : Added::Gone;
    if (file.size() > maxFileSize)
        return Added::LeftOut;
    QByteArray block;
    if (!isReadable(file, block))
        return Added::LeftOut;

    QuaZipFile entry(&archive);
    constexpr int fastest = 1;
    if (!entry.open(QIODevice::WriteOnly, QuaZipNewInfo(info.fileName(), info.filePath()), nullptr, 0, Z_DEFLATED,
                    fastest, false, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY))
        return device.writeError().isEmpty() ? Added::LeftOut : Added::No;
    bool written = true;
    for (; written && !block.isEmpty(); block = file.read(blockSize))
        written = entry.write(block) == block.size();
    entry.close();
    return written && file.error() == QFileDevice::NoError && entry.getZipError() == ZIP_OK ? Added::Yes : Added::No;
}

/// The files of @p sourceDir that go into the archive at @p zipPath, which may be among them: it is left out, as are
/// links that lead to it.
QFileInfoList filesToPack(const QDir &sourceDir, const QString &zipPath)
{
    const QFileInfo zip(zipPath);
    const QString self = zip.dir().canonicalPath() + QLatin1Char('/') + zip.fileName();
    const QString folder = sourceDir.canonicalPath() + QLatin1Char('/');
    QFileInfoList files;
    const QFileInfoList all = sourceDir.entryInfoList(QDir::Files, QDir::NoSort);
    for (const QFileInfo &info : all) {
        // A link may lead to a pipe, which would hold the job up.
        if (info.isFile() && folder + info.fileName() != self && info.canonicalFilePath() != self)
            files.append(info);
    }
    return files;
}

/// Packs @p files into @p archive as long as @p progress wants more. False when the archive cannot be written any
/// further, or is not wanted.
bool addFiles(QuaZip &archive, const WrittenFile &device, const QFileInfoList &files,
              const CANLogHandler::PackingProgress &progress, PackingReport &report)
{
    qint64 total = 0;
    for (const QFileInfo &info : files)
        total += info.size();
    qint64 done = 0;
    for (const QFileInfo &info : files) {
        if (progress && !progress(done, total)) {
            report.state = PackingReport::State::Interrupted;
            return false;
        }
        switch (addFile(archive, device, info)) {
        case Added::Yes:
            report.packed.append(info.fileName());
            break;
        case Added::LeftOut:
            report.leftOut.append(info.fileName());
            break;
        case Added::Gone:
            break;
        case Added::No:
            return false;
        }
        done += info.size();
    }
    return true;
}

/// Writes the archive that replaces whatever stands at @p zipPath, a link there included.
PackingReport writeArchive(const QString &zipPath, const QFileInfoList &files,
                           const CANLogHandler::PackingProgress &progress)
{
    PackingReport report;
    ArchiveFile target(zipPath);
    if (!target.open()) {
        report.errorText = target.errorText();
        return report;
    }
    QuaZip archive(&target.device());
    archive.setAutoClose(false);  // what Qt knows of a failure is lost when the file is closed
    archive.setUtf8Enabled(true); // marked as such, so that every tool reads the names
    bool complete = archive.open(QuaZip::mdCreate) && addFiles(archive, target.device(), files, progress, report);
    archive.close();
    complete = complete && archive.getZipError() == ZIP_OK && target.device().writeError().isEmpty();
    if (complete && target.commit())
        report.state = PackingReport::State::Written;
    else if (report.state != PackingReport::State::Interrupted)
        report.errorText = target.errorText().isEmpty() ? Files::errorText(0) : target.errorText();
    return report;
}

/// @p path, or what it leads to when it is a link, be there a file or not yet. Still a link when it leads round in a
/// circle.
QString resolved(const QString &path)
{
    constexpr int maximumLinks = 40; // as systems have it
    QFileInfo info(path);
    if (info.isSymLink() && info.exists())
        return info.canonicalFilePath();
    for (int i = 0; info.isSymLink() && i < maximumLinks; ++i)
        info.setFile(info.symLinkTarget());
    return info.absoluteFilePath();
}

/// Takes the name @p zipPath where there is nothing yet. Hosts see by it that the job runs. Returns whether it was
/// taken.
bool takeName(const QString &zipPath)
{
    return QFile(zipPath).open(QIODevice::WriteOnly | QIODevice::NewOnly);
}

/// What zipDatachunks() does beside clearing the flag.
void replaceArchive(const QString &zipPath, const QDir &sourceDir)
{
    const QFileInfo zip(zipPath);
    if (zipPath.isEmpty() || (zip.isDir() && !zip.isSymLink()))
        return;
    const QFileInfoList files = filesToPack(sourceDir, zipPath);
    const bool isNew = takeName(zipPath);
    const auto giveBack = qScopeGuard([&] {
        if (isNew && QFileInfo(zipPath).size() == 0)
            QFile::remove(zipPath);
    });
    writeArchive(zipPath, files, {});
}

/// Packs, and clears @p flag whatever happens.
void runJob(const QString &zipPath, const QDir &sourceDir, std::atomic<bool> &flag)
{
    const auto clear = qScopeGuard([&flag] { flag = false; });
    replaceArchive(zipPath, sourceDir);
}

} // namespace

PackingReport CANLogHandler::packDatachunks(const QString &zipPath, const QDir &sourceDir,
                                            const PackingProgress &progress)
{
    const QString path = resolved(zipPath);
    const QFileInfo info(path);
    PackingReport report;
    if (zipPath.isEmpty())
        report.errorText = Files::errorText(ENOENT);
    else if (info.isDir())
        report.errorText = Files::errorText(EISDIR);
    else if (info.isSymLink())
        report.errorText = Files::errorText(ELOOP);
    else
        report = writeArchive(path, filesToPack(sourceDir, path), progress);
    return report;
}

void CANLogHandler::onZipDatachunks(QString zipPath, QDir sourceDir)
{
    if (zipInProgress->exchange(true))
        return;
    // The job shares the flag: the handler may go meanwhile.
    QThreadPool::globalInstance()->start(
        QRunnable::create([flag = zipInProgress, zipPath, sourceDir] { runJob(zipPath, sourceDir, *flag); }));
}

void CANLogHandler::zipDatachunks(QString zipPath, QDir sourceDir)
{
    runJob(zipPath, sourceDir, *zipInProgress);
}
