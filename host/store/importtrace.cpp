// SPDX-License-Identifier: Apache-2.0
#include "host/store/importtrace.h"

#include "host/store/storefile.h"

#include <QFileInfo>
#include <QtEndian>

#include <algorithm>
#include <cerrno>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

ImportTrace::ImportTrace(const QString &storeFolder)
    : file(storeFolder + QLatin1Char('/') + fileName())
{
}

QString ImportTrace::fileName()
{
    return QStringLiteral(".importing");
}

QString ImportTrace::begin(int number)
{
    remove();
    errno = 0;
    // Never one that is there, be it a link.
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        return errno == 0 ? file.errorString() : StoreFile::systemFault(errno);
    return write("import " + QByteArray::number(number) + '\n');
}

QString ImportTrace::add(const Mark &mark)
{
    return write(QByteArray::number(mark.number) + ' ' + QByteArray::number(mark.size) + ' '
                 + QByteArray::number(mark.checksum) + '\n');
}

QString ImportTrace::write(const QByteArray &line)
{
    errno = 0;
    if (file.write(line) != line.size())
        return StoreFile::systemFault(errno == 0 ? ENOSPC : errno);
#if defined(Q_OS_LINUX)
    if (::fdatasync(file.handle()) != 0 && errno != EINVAL && errno != ENOTSUP)
        return StoreFile::systemFault(errno);
#elif defined(Q_OS_UNIX)
    if (::fsync(file.handle()) != 0)
        return StoreFile::systemFault(errno);
#endif
    return {};
}

void ImportTrace::remove()
{
    file.close();
    file.remove();
}

bool ImportTrace::read(const QString &folder, int number, QVector<Mark> &marks)
{
    QFile trace(folder + QLatin1Char('/') + fileName());
    const QFileInfo info(trace);
    if (!info.isFile() || info.isSymLink() || !trace.open(QIODevice::ReadOnly)
        || trace.readLine() != "import " + QByteArray::number(number) + '\n')
        return false;
    constexpr qint64 longest = 100;
    for (QByteArray line = trace.readLine(longest); line.endsWith('\n'); line = trace.readLine(longest)) {
        const QList<QByteArray> parts = line.trimmed().split(' ');
        if (parts.size() == 3)
            marks.append({parts.at(0).toULongLong(), parts.at(1).toLongLong(), parts.at(2).toUInt()});
    }
    return true;
}

bool ImportTrace::contains(const QVector<Mark> &marks, quint64 number, const QString &path)
{
    QFile chunk(path);
    quint32 ending = 0;
    if (!chunk.open(QIODevice::ReadOnly) || !chunk.seek(chunk.size() - qint64(sizeof ending))
        || chunk.read(reinterpret_cast<char *>(&ending), sizeof ending) != sizeof ending)
        return false;
    return std::any_of(marks.cbegin(), marks.cend(), [&](const Mark &mark) {
        return mark.number == number && mark.size == chunk.size() && mark.checksum == qFromBigEndian(ending);
    });
}
