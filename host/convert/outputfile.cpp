// SPDX-License-Identifier: Apache-2.0
#include "host/convert/outputfile.h"

#include "common/files.h"
#include "common/leftovers.h"

#include <QFileInfo>
#include <QRandomGenerator>
#include <QScopeGuard>

#include <cerrno>
#include <cstdio>

namespace
{

constexpr int attempts = 100;

/// Of the names that files have until they are complete: eight hexadecimal digits.
QString leftoverPattern()
{
    return QStringLiteral(".canlog-") + QStringLiteral("[0-9a-f]").repeated(8);
}

constexpr int maximumLinks = 40; // as systems have it

/// @p path, or what it leads to when it is a link, be there a file or not yet: the link is to stay. Still a link when
/// it leads round in a circle.
QString resolved(const QString &path)
{
    QFileInfo info(path);
    if (info.isSymLink() && info.exists())
        return info.canonicalFilePath();
    for (int i = 0; info.isSymLink() && i < maximumLinks; ++i)
        info.setFile(info.symLinkTarget());
    return info.absoluteFilePath();
}

QString whyNoOutput(const QFileInfo &info)
{
    if (info.isDir())
        return QStringLiteral("is a folder; name the file to write");
    if (info.isSymLink())
        return QStringLiteral("is a link that leads to itself; name the file to write");
    if (info.exists() && !info.isFile())
        return QStringLiteral("is a pipe, socket or device; write to standard output and redirect it");
    if (info.exists() && !info.isWritable())
        return QStringLiteral("is write-protected; name another file");
    return {};
}

} // namespace

OutputFile::OutputFile(const QString &outputPath)
    : path(resolved(outputPath))
{
}

OutputFile::~OutputFile()
{
    discard();
}

bool OutputFile::open()
{
    const QFileInfo info(path);
    const QString problem = whyNoOutput(info);
    if (!problem.isEmpty()) {
        error = problem;
        return false;
    }
    Leftovers::removeFrom(info.absolutePath(), leftoverPattern());
    // A short name of its own: the final one may be as long as names can be.
    for (int i = 0; i < attempts && !file.isOpen(); ++i) {
        file.setFileName(
            info.absolutePath()
            + QStringLiteral("/.canlog-%1").arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0')));
        const bool isMade = file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered);
        if (isMade && !Leftovers::lock(file))
            file.close();
        else if (!isMade && !file.exists())
            break;
    }
    if (!file.isOpen()) {
        const QString reason = Files::errorText(file);
        file.setFileName({}); // whosever that one is
        return fail(reason);
    }
    if (info.exists())
        file.setPermissions(info.permissions());
    return true;
}

bool OutputFile::commit()
{
    // Whoever wrote by name has closed the file; what is brought to the disk is the file's. Some file systems find out
    // no earlier that there is no space.
    errno = 0;
    if (!Files::sync(file) || file.error() != QFileDevice::NoError)
        return fail(Files::errorText(file, errno));
#ifdef Q_OS_UNIX
    // Until it has its name it stays locked, closed or not.
    const int lock = ::dup(file.handle());
    const auto unlock = qScopeGuard([lock] { ::close(lock); });
#endif
    errno = 0;
    file.close();
    if (file.error() != QFileDevice::NoError)
        return fail(Files::errorText(file, errno));
    if (std::rename(QFile::encodeName(file.fileName()).constData(), QFile::encodeName(path).constData()) != 0)
        return fail(Files::errorText(errno));
    file.setFileName({});
    Files::syncFolder(QFileInfo(path).absolutePath());
    return true;
}

void OutputFile::discard()
{
    if (file.fileName().isEmpty())
        return;
    file.close();
    file.remove();
    file.setFileName({});
}

bool OutputFile::fail(const QString &reason)
{
    error = QStringLiteral("cannot be written: %1; check the folder, its permissions and the space left").arg(reason);
    discard();
    return false;
}
