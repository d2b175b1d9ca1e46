// SPDX-License-Identifier: Apache-2.0
#include "host/store/storelock.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSysInfo>
#include <QThread>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

// Hidden, so that packing the plain files of the folder leaves it out.
StoreLock::StoreLock(const QString &folder)
    : storeFolder(folder)
    , path(folder + QStringLiteral("/.lock"))
    , lock(path)
{
    lock.setStaleLockTime(0); // an import may take hours: only the end of its program makes a lock stale
}

StoreLock::~StoreLock()
{
#ifdef Q_OS_UNIX
    if (descriptor < 0)
        return;
    ::unlink(QFile::encodeName(path).constData());
    ::close(descriptor);
#endif
}

QString StoreLock::take()
{
    const QFileInfo info(path);
    if (info.isSymLink() || (info.exists() && !info.isFile())) // wherever it leads, nobody has locked anything by it
        return QStringLiteral("The store %1 cannot be locked for writing: its file .lock is a link or no plain file; "
                              "remove that")
            .arg(storeFolder);
    return tryToTake() || takeWithoutText() ? QString() : fault();
}

/// Takes the lock, also over from a program that was killed.
bool StoreLock::tryToTake()
{
    if (lock.tryLock(0))
        return true;
    if (lock.error() != QLockFile::LockFailedError)
        return false;
    // QLockFile sees that the program in the file is gone. It does not see that a program was killed before its lock
    // file had any text, nor that it had the same process id as this one, as the programs of containers often do.
    qint64 process = 0;
    QString host;
    QString program;
    const auto mayBeStale = [&] {
        return !lock.getLockInfo(&process, &host, &program)
               || (process == QCoreApplication::applicationPid() && host == QSysInfo::machineHostName());
    };
    if (!mayBeStale())
        return false;
    QThread::msleep(100); // a lock file that is just being written has its text by then
    // Fails while its owner is alive, since that holds the lock of the operating system.
    return mayBeStale() && lock.removeStaleLockFile() && lock.tryLock(0);
}

/// Takes the lock on a full disk, where there is no room for who has it: imports can still be removed then. Others see
/// by the lock of the operating system that there is somebody, as QLockFile has it.
bool StoreLock::takeWithoutText()
{
#ifdef Q_OS_UNIX
    if (lock.error() != QLockFile::UnknownError)
        return false;
    const QByteArray name = QFile::encodeName(path);
    descriptor = ::open(name.constData(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (descriptor < 0)
        return false;
    struct flock whole {
    };
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    struct stat status {
    };
    // Somebody may have taken it for a stale one before it was locked.
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0 && ::fcntl(descriptor, F_SETLK, &whole) == 0
        && ::fstat(descriptor, &status) == 0 && status.st_nlink > 0)
        return true;
    ::close(descriptor);
    descriptor = -1;
#endif
    return false;
}

QString StoreLock::fault() const
{
    if (lock.error() == QLockFile::PermissionError)
        return QStringLiteral("The store %1 cannot be written: permission denied").arg(storeFolder);
    qint64 process = 0;
    QString host;
    QString program;
    if (lock.error() != QLockFile::LockFailedError)
        return QStringLiteral("The store %1 cannot be locked for writing; check the space left").arg(storeFolder);
    if (!lock.getLockInfo(&process, &host, &program))
        return QStringLiteral("The store %1 is in use by another program").arg(storeFolder);
    if (host == QSysInfo::machineHostName())
        return QStringLiteral("The store %1 is in use by another program (process %2, %3)")
            .arg(storeFolder, QString::number(process), program);
    // Whether that program is alive cannot be seen from here, so its user must say.
    return QStringLiteral("The store %1 is in use by another program (process %2, %3, on %4); if that is gone, "
                          "remove the file .lock in the store")
        .arg(storeFolder, QString::number(process), program, host);
}
