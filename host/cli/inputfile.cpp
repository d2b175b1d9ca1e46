#include "host/cli/inputfile.h"

#include "host/cli/formats.h"

#include <QFile>
#include <QFileInfo>

QString whyUnreadable(const QString &path)
{
    const QFileInfo info(path);
    if (info.isDir())
        return QStringLiteral("is a folder; name the files in it");
    // Not even opened: a pipe may wait for ever, and a file is read more than once.
    if (info.exists() && !info.isFile())
        return QStringLiteral("is a pipe, socket or device; name a plain file");
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        return {};
    if (!info.exists() && path.contains(QChar(QChar::ReplacementCharacter)))
        return QStringLiteral("no such file; its name has bytes that are no characters in this locale, rename it");
    if (!info.exists())
        return QStringLiteral("no such file; check its name and the folder");
    return QStringLiteral("cannot be read: %1; check its permissions").arg(file.errorString());
}

QString notReadText(const Format &format, const QString &reason)
{
    const QString shownReason = reason.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(reason);
    return QStringLiteral("cannot be read as %1%2; try another --type").arg(format.name(), shownReason);
}

QString noMessagesText(const Format &format)
{
    return QStringLiteral("no message in it when read as %1; try another --type ('canlog formats' lists them)")
        .arg(format.name());
}
