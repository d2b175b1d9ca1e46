// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDir>
#include <QFile>
#include <QString>
#include <QStringList>

#include <cerrno>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

/// Files with a name of their own until they are complete, which a killed program leaves behind. Who still writes one
/// holds a lock on it, so that the next writer in that folder can tell.
namespace Leftovers
{

/// Removes the files in @p folder whose names fit @p pattern and that nobody writes.
inline void removeFrom(const QString &folder, const QString &pattern)
{
#ifdef Q_OS_UNIX
    const QStringList names =
        QDir(folder).entryList({pattern}, QDir::Files | QDir::Hidden | QDir::NoSymLinks, QDir::NoSort);
    for (const QString &name : names) {
        const QByteArray leftover = QFile::encodeName(folder + QLatin1Char('/') + name);
        const int descriptor = ::open(leftover.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (descriptor < 0)
            continue;
        if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0)
            ::unlink(leftover.constData());
        ::close(descriptor);
    }
#else
    Q_UNUSED(folder)
    Q_UNUSED(pattern)
#endif
}

/// Locks @p file, just made, against those who clear up. False when one of them was faster. Where the file system knows
/// no locks, nobody clears up either.
inline bool lock(QFile &file)
{
#ifdef Q_OS_UNIX
    if (::flock(file.handle(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        return false;
    struct stat status {
    };
    return ::fstat(file.handle(), &status) != 0 || status.st_nlink > 0;
#else
    Q_UNUSED(file)
    return true;
#endif
}

} // namespace Leftovers
