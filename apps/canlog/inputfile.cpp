// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/inputfile.h"

#include "apps/canlog/formats.h"
#include "apps/canlog/interruption.h"
#include "apps/canlog/output.h"
#include "common/files.h"
#include "common/importreport.h"
#include "host/reading/pipedevice.h"
#include "host/store/chunkstore.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>

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

QString unitText(const ImportReport &report)
{
    return report.unit == ImportReport::Unit::Object ? QStringLiteral("object") : QStringLiteral("line");
}

/// Of a @p report with faults: how many lines, and what is wrong with the first.
static QString faultsText(const ImportReport &report)
{
    const ImportReport::Fault &first = report.faults.constFirst();
    return QStringLiteral("%1 of %2 dropped or read in part, the first at %3 (%4)")
        .arg(QString::number(report.faultyLines), counted(quint64(report.lines), unitText(report)),
             report.placeText(first), first.toText());
}

QString noMessagesText(const Format &format, const ImportReport &report)
{
    QString text = QStringLiteral("no message in it when read as %1").arg(format.name());
    if (!report.faults.isEmpty())
        text += QLatin1String(": ") + faultsText(report);
    return text + QLatin1String("; try another --type ('canlog formats' lists them)");
}

QString cutNotesText(const ImportReport &report)
{
    if (report.cutNotes == 0)
        return {};
    return QStringLiteral("warning: %1 cut, since what the log says there would fill the memory")
        .arg(counted(quint64(report.cutNotes), QStringLiteral("note")));
}

void complainOfRemarks(const QString &path, const ImportReport &report)
{
    const QString skipped = report.skippedText();
    if (!skipped.isEmpty())
        complain(path, skipped);
    for (const QString &remark : report.remarks)
        complain(path, remark);
}

bool areAllDropped(const ImportReport &report)
{
    return report.messages == 0 && report.droppedLines > 0;
}

QString faultyLinesText(const ImportReport &report, bool isFailure)
{
    if (report.faults.isEmpty())
        return {};
    return QStringLiteral("%1%2; 'canlog import --report' lists them")
        .arg(isFailure ? QString() : QStringLiteral("warning: "), faultsText(report));
}

InputFile::InputFile(const QString &fileArgument)
    : argument(fileArgument)
{
}

InputFile::~InputFile() = default;

QString InputFile::prepare()
{
    if (argument == standardInput) {
        takeInterruptions(); // it may wait for ever
        auto input = std::make_unique<PipeDevice>(fileno(stdin), wasInterrupted);
        input->setWaitingListener([] { std::fflush(stdout); }); // of a live log, what was read so far is to be seen
        pipe = input.get();
        source = std::move(input);
        source->open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        return openStream();
    }
    QString problem = whyUnreadable(argument, FileKind::Log);
    if (!problem.isEmpty())
        return problem;
    auto file = std::make_unique<QFile>(argument);
    if (!file->open(QIODevice::ReadOnly) || !GzipDevice::isCompressed(file->peek(2)))
        return {};
    source = std::move(file);
    return openStream();
}

/// Opens what the source gives, compressed or not. A fault that nothing comes before leaves nothing to be read.
QString InputFile::openStream()
{
    sourceStart = std::make_unique<BeginningDevice>(*source);
    QIODevice *plain = sourceStart.get();
    if (GzipDevice::isCompressed(sourceStart->beginning(2))) {
        gzip = std::make_unique<GzipDevice>(*sourceStart);
        if (!gzip->open(QIODevice::ReadOnly))
            return QStringLiteral("cannot be read: %1").arg(gzip->errorString());
        plain = gzip.get();
    }
    content = std::make_unique<BeginningDevice>(*plain);
    const bool isEmpty = content->beginning(1).isEmpty();
    if (wasInterrupted())
        return QStringLiteral("interrupted");
    return isEmpty && !fault().isEmpty() ? QStringLiteral("cannot be read: %1").arg(fault()) : QString();
}

Detection InputFile::detect()
{
    if (!content)
        return detectFormat(argument);
    while (content->readMore(detectionSize)) {
        // A live log may be slow: what it has begun with is shown before there is more.
        if (!pipe || pipe->hasInput() || !content->beginning(content->arrived()).endsWith('\n'))
            continue;
        constexpr int patience = 500; // in milliseconds
        const Detection detection = detectBeginning();
        if (detection.isCertain || (detection.type && !pipe->hasInput(patience)))
            return detection;
    }
    return detectBeginning();
}

Detection InputFile::detectBeginning()
{
    QByteArray beginning = content->beginning(content->arrived());
    QBuffer buffer(&beginning);
    buffer.open(QIODevice::ReadOnly);
    return detectFormat(buffer);
}

QString InputFile::fault() const
{
    const QString fault = content ? content->fault() : QString();
    return fault.isEmpty() ? fault : withAdvice(fault);
}

QString InputFile::withAdvice(const QString &reason) const
{
    return gzip ? QStringLiteral("%1; try 'gzip --test' on it").arg(reason) : reason;
}

qint64 InputFile::bytesRead() const
{
    return gzip ? gzip->compressedBytesRead() : content->bytesGiven();
}

bool InputFile::hasInput(int milliseconds) const
{
    return content->hasBeginning() || pipe->hasInput(milliseconds);
}

QString InputFile::copyToFile()
{
    if (!content)
        return {};
    copy = std::make_unique<QTemporaryFile>(QDir::temp().filePath(QStringLiteral("canlog-XXXXXX.qcl")));
    const auto writeProblem = [this] {
        return QStringLiteral("cannot be copied to %1: %2; set TMPDIR to a folder with more space")
            .arg(QDir::tempPath(), Files::errorText(*copy));
    };
    if (!copy->open())
        return writeProblem();
    takeInterruptions(); // the copy is not to stay
    char block[65536];
    qint64 size = 0;
    while ((size = content->read(block, sizeof block)) > 0) {
        if (copy->write(block, size) != size)
            return writeProblem();
        if (wasInterrupted())
            return QStringLiteral("interrupted");
    }
    if (size < 0)
        return QStringLiteral("cannot be read: %1").arg(withAdvice(content->errorString()));
    return copy->flush() ? QString() : writeProblem();
}
