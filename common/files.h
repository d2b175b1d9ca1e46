// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>
#include <QString>

#include <cerrno>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <unistd.h>
#endif

/// What Qt's files leave open: what went wrong, in words for a person, and that what was written outlasts a power loss.
namespace Files
{

/// What the system's error @p number (errno) stands for. A full disk has one name, wherever it strikes.
inline QString errorText(int number)
{
    switch (number) {
    case 0:
        return QStringLiteral("the system gives no reason");
    case ENOSPC:
        return QStringLiteral("no space left on the disk");
#ifdef EDQUOT
    case EDQUOT:
        return QStringLiteral("no space left on the disk for this user (quota)");
#endif
    default:
        return qt_error_string(number);
    }
}

/// Why @p device failed. @p number is errno right after the call that did, which counts where Qt has kept no reason; of
/// a file for which nobody has one, the disk is looked at.
inline QString errorText(const QIODevice &device, int number = 0)
{
    for (const int known : {
             ENOSPC,
#ifdef EDQUOT
             EDQUOT,
#endif
         })
        if (device.errorString() == qt_error_string(known))
            return errorText(known);
    if (!device.errorString().isEmpty() && device.errorString() != QLatin1String("Unknown error"))
        return device.errorString();
    const auto *const file = qobject_cast<const QFileDevice *>(&device);
    if (number != 0 || !file)
        return errorText(number);
    const QStorageInfo disk(QFileInfo(file->fileName()).absolutePath());
    return errorText(disk.isValid() && disk.bytesAvailable() == 0 ? ENOSPC : 0);
}

/// Brings what was written to @p file, which is open, to the disk, where the system can. False with errno when it says
/// that this failed; a device that knows no such thing does not fail.
[[nodiscard]] inline bool sync(QFileDevice &file)
{
    if (!file.flush())
        return false;
#ifdef Q_OS_UNIX
    while (::fsync(file.handle()) != 0) {
        if (errno != EINTR)
            return errno == EINVAL || errno == ENOTSUP || errno == EROFS;
    }
#endif
    return true;
}

/// Makes the names of the files in @p folder outlast a power loss, where the system can.
inline void syncFolder(const QString &folder)
{
#ifdef Q_OS_UNIX
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    ::fsync(descriptor);
    ::close(descriptor);
#else
    Q_UNUSED(folder)
#endif
}

} // namespace Files
