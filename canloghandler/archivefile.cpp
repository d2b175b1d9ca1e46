// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/archivefile.h"

#include "common/files.h"
#include "common/leftovers.h"

#include <QFileInfo>
#include <QRandomGenerator>

#include <cstdio>

namespace
{

constexpr int attempts = 100;

/// Short, since the final name may be as long as names can be, and hidden, since the folder may be the one to pack.
QString temporaryName()
{
    return QStringLiteral(".canlog-zip-%1").arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'));
}

} // namespace

bool WrittenFile::seek(qint64 position)
{
    const bool succeeded = QFile::seek(position);
    if (!succeeded)
        note();
    return succeeded;
}

qint64 WrittenFile::writeData(const char *data, qint64 size)
{
    errno = 0;
    const qint64 written = QFile::writeData(data, size);
    if (written != size)
        note();
    return written;
}

void WrittenFile::note()
{
    if (reason.isEmpty())
        reason = Files::errorText(*this, errno);
}

ArchiveFile::ArchiveFile(const QString &archivePath)
    : path(QFileInfo(archivePath).absoluteFilePath())
    , folder(QFileInfo(archivePath).absolutePath())
{
}

ArchiveFile::~ArchiveFile()
{
    discard();
}

bool ArchiveFile::open()
{
    Leftovers::removeFrom(folder, QStringLiteral(".canlog-zip-????????"));
    for (int i = 0; i < attempts; ++i) {
        file.setFileName(folder + QLatin1Char('/') + temporaryName());
        errno = 0;
        if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
            if (Leftovers::lock(file))
                return true;
            file.close();
        } else if (!file.exists()) {
            break;
        }
    }
    const QString reason = Files::errorText(file, errno);
    file.setFileName({}); // whosever that one is
    return fail(reason);
}

bool ArchiveFile::commit()
{
    errno = 0;
    if (!Files::sync(file) || file.error() != QFileDevice::NoError)
        return fail(Files::errorText(file, errno));
#ifdef Q_OS_WIN
    file.close();
    QFile::remove(path); // there, a file is not replaced by renaming another
#endif
    // Still locked: nobody takes it for a leftover.
    if (std::rename(QFile::encodeName(file.fileName()).constData(), QFile::encodeName(path).constData()) != 0)
        return fail(Files::errorText(errno));
    file.close();
    file.setFileName({});
    Files::syncFolder(folder);
    return true;
}

bool ArchiveFile::fail(const QString &reason)
{
    error = reason;
    return false;
}

void ArchiveFile::discard()
{
    if (file.fileName().isEmpty())
        return;
#ifdef Q_OS_WIN
    file.close(); // there, what is open is not removed
#endif
    QFile::remove(file.fileName());
    file.close();
}
