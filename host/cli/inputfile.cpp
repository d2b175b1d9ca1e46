#include "host/cli/inputfile.h"

#include "host/cli/formats.h"
#include "host/cli/interruption.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <zlib.h>

static const QLatin1String standardInput("-");

QString whyUnreadable(const QString &path)
{
    if (path == standardInput)
        return {};
    const QFileInfo info(path);
    if (info.isDir())
        return QStringLiteral("is a folder; name the files in it");
    // Not even opened: a pipe may wait for ever, and a file is read more than once.
    if (info.exists() && !info.isFile())
        return QStringLiteral("is a pipe, socket or device; name a plain file, or - for standard input");
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

QString InputFile::prepare()
{
    const QString problem = whyUnreadable(argument);
    if (!problem.isEmpty())
        return problem;
    if (argument == standardInput)
        return copyStandardInput();
    QFile file(argument);
    const bool isCompressed = file.open(QIODevice::ReadOnly) && file.peek(2) == "\x1F\x8B";
    return isCompressed ? copyCompressed() : QString();
}

/// Copies what @p read(block, size) gives, until that is 0 bytes; a negative number is an error that the caller knows.
template <typename Read>
QString InputFile::copyFrom(Read read)
{
    copy = std::make_unique<QTemporaryFile>(QDir::temp().filePath(QStringLiteral("canlog-XXXXXX.log")));
    const auto writeProblem = [this] {
        return QStringLiteral("cannot be copied to %1: %2; set TMPDIR to a folder with more space")
            .arg(QDir::tempPath(), copy->errorString());
    };
    if (!copy->open())
        return writeProblem();
    char block[65536];
    qint64 size = 0;
    while ((size = read(block, sizeof block)) > 0) {
        if (wasInterrupted())
            return QStringLiteral("interrupted");
        if (copy->write(block, size) != size)
            return writeProblem();
    }
    return copy->flush() ? QString() : writeProblem();
}

QString InputFile::copyStandardInput()
{
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly | QIODevice::Unbuffered))
        return QStringLiteral("cannot be read: %1").arg(input.errorString());
    qint64 latest = 0;
    const QString problem = copyFrom([&](char *block, qint64 size) { return latest = input.read(block, size); });
    return problem.isEmpty() && latest < 0 ? QStringLiteral("cannot be read: %1").arg(input.errorString()) : problem;
}

QString InputFile::copyCompressed()
{
    const gzFile input = gzopen(QFile::encodeName(argument).constData(), "rb");
    if (!input)
        return QStringLiteral("cannot be read; check its permissions");
    int latest = 0;
    const QString problem =
        copyFrom([&](char *block, qint64 size) { return latest = gzread(input, block, unsigned(size)); });
    // That the end is missing shows only here.
    const bool isWhole = gzclose_r(input) == Z_OK && latest == 0;
    return problem.isEmpty() && !isWhole
               ? QStringLiteral("is damaged: it cannot be decompressed to its end; try 'gzip --test' on it")
               : problem;
}
