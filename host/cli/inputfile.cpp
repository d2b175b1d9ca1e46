#include "host/cli/inputfile.h"

#include "common/importreport.h"
#include "host/cli/formats.h"
#include "host/cli/interruption.h"
#include "host/cli/output.h"
#include "host/store/chunkstore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <zlib.h>

#include <cerrno>
#include <cstdio>

#include <unistd.h>

static const QLatin1String standardInput("-");

static QString whyNoFile(const QString &path, FileKind kind)
{
    if (kind == FileKind::Archive)
        return QStringLiteral("is a folder; name an archive");
    if (ChunkStore::isStore(path))
        return QStringLiteral("is the folder of a store; 'canlog show', 'stats' and 'convert' read it with --store");
    return QStringLiteral("is a folder; name the files in it");
}

QString whyUnreadable(const QString &path, FileKind kind)
{
    const QFileInfo info(path);
    if (info.isDir())
        return whyNoFile(path, kind);
    // Not even opened: a pipe may wait for ever, and a file is read more than once.
    if (info.exists() && !info.isFile()) {
        const QString hint = kind == FileKind::Log ? QStringLiteral(", or - for standard input") : QString();
        return QStringLiteral("is a pipe, socket or device; name a plain file%1").arg(hint);
    }
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        return {};
    if (path == standardInput)
        return QStringLiteral("an archive cannot be read from standard input; name a file");
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

/// Of a @p report with faults: how many lines, and what is wrong with the first.
static QString faultsText(const ImportReport &report)
{
    const ImportReport::Fault &first = report.faults.constFirst();
    return QStringLiteral("%1 of %2 dropped or read in part, the first at line %3, column %4 (%5)")
        .arg(QString::number(report.faultyLines), counted(quint64(report.lines), QStringLiteral("line")),
             QString::number(first.line), QString::number(first.column), ImportReport::reasonText(first.reason));
}

QString noMessagesText(const Format &format, const ImportReport &report)
{
    QString text = QStringLiteral("no message in it when read as %1").arg(format.name());
    if (!report.faults.isEmpty())
        text += QLatin1String(": ") + faultsText(report);
    return text + QLatin1String("; try another --type ('canlog formats' lists them)");
}

QString faultyLinesText(const ImportReport &report)
{
    if (report.faults.isEmpty())
        return {};
    return QStringLiteral("warning: %1; 'canlog import --report' lists them").arg(faultsText(report));
}

QString InputFile::prepare()
{
    // What is not compressed zlib hands on as it is.
    if (argument == standardInput)
        return copyUnpacked(gzdopen(dup(fileno(stdin)), "rb"));
    QString problem = whyUnreadable(argument, FileKind::Log);
    if (!problem.isEmpty())
        return problem;
    QFile file(argument);
    const bool isCompressed = file.open(QIODevice::ReadOnly) && file.peek(2) == "\x1F\x8B";
    return isCompressed ? copyUnpacked(gzopen(QFile::encodeName(argument).constData(), "rb")) : QString();
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

QString InputFile::copyUnpacked(gzFile input)
{
    if (!input)
        return QStringLiteral("cannot be read; check its permissions");
    int latest = 0;
    QString readProblem;
    QString problem = copyFrom([&](char *block, qint64 size) {
        latest = gzread(input, block, unsigned(size));
        int state = Z_OK;
        if (latest < 0 && (gzerror(input, &state), state == Z_ERRNO))
            readProblem = QStringLiteral("cannot be read: %1").arg(qt_error_string(errno));
        return latest;
    });
    // That the end is missing shows only here.
    const bool isWhole = gzclose_r(input) == Z_OK && latest == 0;
    if (!problem.isEmpty() || isWhole)
        return problem;
    return readProblem.isEmpty()
               ? QStringLiteral("is damaged: it cannot be decompressed to its end; try 'gzip --test' on it")
               : readProblem;
}
