// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/output.h"

#include "apps/canlog/interruption.h"
#include "common/files.h"

#include <cerrno>
#include <cstdio>

Output::Output()
{
    std::setvbuf(stdout, nullptr, _IOFBF, 1 << 16);
}

void Output::write(const char *text, std::size_t size)
{
    if (isOpen() && std::fwrite(text, 1, size, stdout) != size)
        errorNumber = errno;
}

void Output::write(const QByteArray &text)
{
    write(text.constData(), static_cast<std::size_t>(text.size()));
}

void Output::writeLine(const QString &text)
{
    write(printable(text).toLocal8Bit() + '\n');
}

void Output::flush()
{
    if (isOpen() && std::fflush(stdout) != 0)
        errorNumber = errno;
}

ExitStatus Output::finish(ExitStatus status)
{
    flush();
    if (isOpen() || errorNumber == EPIPE || (errorNumber == EINTR && wasInterrupted()))
        return status;
    complain(QStringLiteral("standard output"),
             errorNumber == EBADF ? QStringLiteral("is closed; the results are lost")
                                  : QStringLiteral("cannot be written: %1").arg(Files::errorText(errorNumber)));
    return ExitStatus::Failure;
}

void complain(const QString &text)
{
    const QByteArray line = "canlog: " + printable(text).toLocal8Bit() + '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stderr);
}

void complain(const QString &path, const QString &text)
{
    const QString shownPath = path.isEmpty() ? QStringLiteral("''") : path;
    complain(shownPath + QLatin1String(": ") + text);
}

ExitStatus wrongUsage(const QString &text, const QString &subcommand)
{
    const QString help =
        subcommand.isEmpty() ? QStringLiteral("canlog --help") : QStringLiteral("canlog %1 --help").arg(subcommand);
    complain(QStringLiteral("%1; try '%2'").arg(text, help));
    return ExitStatus::WrongUsage;
}

ExitStatus interrupted(const QString &path)
{
    complain(path, QStringLiteral("interrupted"));
    return ExitStatus::Interrupted;
}

QString counted(quint64 count, const QString &what)
{
    return QStringLiteral("%1 %2%3").arg(QString::number(count), what, count == 1 ? QString() : QStringLiteral("s"));
}
