// SPDX-License-Identifier: Apache-2.0
#include "host/store/storefile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QStringList>

#include <cerrno>
#include <cstdio>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <unistd.h>
#endif

namespace StoreFile
{
namespace
{

constexpr int attempts = 100;

/// A file whose errorString() is what the system said of the write that failed: Qt's own is "Unknown error" where a
/// write was cut short.
class WrittenFile : public QFile
{
public:
    using QFile::QFile;

protected:
    qint64 writeData(const char *data, qint64 size) override
    {
        errno = 0;
        const qint64 written = QFile::writeData(data, size);
        if (written < 0 && errno != 0)
            setErrorString(systemFault(errno));
        return written;
    }
};

QString randomLetters()
{
    QString letters;
    for (int i = 0; i < 6; ++i)
        letters += QLatin1Char(char('a' + QRandomGenerator::global()->bounded(26)));
    return letters;
}

/// Opens a new file beside @p path. Never one that is there, be it a link.
QString openBeside(const QString &path, QFile &file)
{
    int error = EEXIST;
    for (int i = 0; i < attempts && error == EEXIST; ++i) {
        file.setFileName(path + QLatin1Char('.') + randomLetters());
        errno = 0;
        if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
            return {};
        error = errno;
    }
    return error == 0 ? file.errorString() : systemFault(error);
}

QString syncAndClose(QFile &file)
{
#ifdef Q_OS_UNIX
    if (::fsync(file.handle()) != 0)
        return systemFault(errno);
#endif
    // Some file systems find out no earlier that there is no space.
    errno = 0;
    file.close();
    if (file.error() == QFileDevice::NoError)
        return {};
    return errno == 0 ? file.errorString() : systemFault(errno);
}

QString rename(const QString &from, const QString &to)
{
#ifdef Q_OS_WIN
    QFile::remove(to); // there, a file is not replaced by renaming another
#endif
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) != 0)
        return systemFault(errno);
    return {};
}

} // namespace

QString systemFault(int errorNumber)
{
    switch (errorNumber) {
    case ENOSPC:
        return QStringLiteral("no space left on the disk");
#ifdef EDQUOT
    case EDQUOT:
        return QStringLiteral("the quota of the disk is used up");
#endif
    case EFBIG:
        return QStringLiteral("the file gets larger than is allowed");
    default:
        return qt_error_string(errorNumber);
    }
}

bool isFullDisk(const QString &fault)
{
#ifdef EDQUOT
    if (fault == systemFault(EDQUOT))
        return true;
#endif
    return fault == systemFault(ENOSPC);
}

QString write(const QString &path, const std::function<QString(QIODevice &)> &write)
{
    WrittenFile file;
    QString fault = openBeside(path, file);
    if (!fault.isEmpty())
        return fault;
    fault = write(file);
    if (fault.isEmpty())
        fault = syncAndClose(file);
    if (fault.isEmpty())
        fault = rename(file.fileName(), path);
    if (!fault.isEmpty())
        file.remove();
    return fault;
}

QString syncFolder(const QString &folder)
{
#ifdef Q_OS_UNIX
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return systemFault(errno);
    const int error = ::fsync(descriptor) == 0 ? 0 : errno;
    ::close(descriptor);
    // Some file systems cannot, and say so; what they keep is up to them.
    if (error != 0 && error != EINVAL && error != ENOTSUP && error != EROFS)
        return systemFault(error);
#else
    Q_UNUSED(folder)
#endif
    return {};
}

QString makeFolder(const QString &path)
{
    QStringList missing;
    QString existing = path;
    for (; !QFileInfo::exists(existing) && QFileInfo(existing).path() != existing;
         existing = QFileInfo(existing).path())
        missing.prepend(existing);
    for (const QString &folder : qAsConst(missing)) {
        errno = 0;
        if (!QDir().mkdir(folder) && !QFileInfo(folder).isDir())
            return systemFault(errno);
        const QString fault = syncFolder(QFileInfo(folder).path());
        if (!fault.isEmpty())
            return fault;
    }
    return {};
}

bool isTemporary(const QString &name)
{
    static const QRegularExpression pattern(
        QStringLiteral("\\A(chunk-[0-9]{8,15}\\.qcl|imports\\.json)\\.[A-Za-z0-9]{6}\\z"));
    return pattern.match(name).hasMatch();
}

} // namespace StoreFile
