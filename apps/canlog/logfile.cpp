// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/logfile.h"

#include "apps/canlog/formats.h"
#include "apps/canlog/interruption.h"
#include "apps/canlog/output.h"
#include "apps/canlog/progressbar.h"
#include "host/store/notes.h"
#include "readers/formats.h"

#include <QCommandLineOption>
#include <QCommandLineParser>

static const QLatin1String strictName("strict");

namespace
{

/// Hands on each message as soon as its note is final: that of the latest one grows by what is read after it.
class FinalNotes
{
public:
    FinalNotes(const MessageVisitor &messageVisitor, const LogFormat &format)
        : visitor(messageVisitor)
        , waits(format.makesNotes && !format.notesAreFinal)
    {
    }

    /// False when the visitor wants no more.
    bool take(const CAN::CanRxMessage &message, const QString &note)
    {
        if (!waits)
            return visitor(message, note);
        const bool goesOn = !hasLatest || visitor(latest, latestNote);
        latest = message;
        latestNote = note;
        hasLatest = goesOn;
        return goesOn;
    }
    /// The same, at the end, with the note after the last message.
    bool finish(const QString &rest)
    {
        joinNote(latestNote, rest);
        return !hasLatest || visitor(latest, latestNote);
    }

private:
    const MessageVisitor &visitor;
    const bool waits;
    CAN::CanRxMessage latest;
    QString latestNote;
    bool hasLatest = false;
};

} // namespace

LogFile::LogFile(const QString &path, const QCommandLineParser &parser)
    : input(path)
    , options(parser)
{
}

bool LogFile::open()
{
    const QString problem = input.prepare();
    if (!problem.isEmpty()) {
        complain(input.name(), problem);
        return false;
    }
    format = formatOf(input, options);
    if (!format && wasInterrupted())
        interrupted(input.name());
    return format && isReadable(input, *format);
}

bool LogFile::readChunk(const MessageVisitor &visitor)
{
    ChunkFormat::Chunk chunk;
    fault = ChunkFormat::readChunkFile(input.path(), chunk);
    if (!fault.isEmpty())
        return false;
    count = quint64(chunk.messages.size());
    isStopped = visitor && !ChunkFormat::forEachMessage(chunk, visitor);
    return !isStopped;
}

bool LogFile::pull(const MessageVisitor &visitor, ProgressBar *bar)
{
    const LogFormat &row = *findLogFormat(format->type);
    reader = row.make(row.type, requestText(options, *format));
    reader->setProgress([&](qint64 bytesRead, qint64 bytesTotal) {
        if (bar && input.isStream())
            bar->update(input.bytesRead(), input.bytesTotal());
        else if (bar)
            bar->update(bytesRead, bytesTotal);
        if (wasInterrupted())
            reader->stop();
    });
    if (input.isStream())
        reader->open(input.device(), input.name());
    else
        reader->open(input.path());
    FinalNotes notes(visitor, row);
    while (!isStopped && reader->next())
        isStopped = visitor && !notes.take(reader->frame(), reader->takeNote());
    if (!isStopped && visitor)
        isStopped = !notes.finish(reader->takeNote());
    count = quint64(reader->frameCount());
    fault = reader->errorString();
    report = reader->report();
    if (!report.readError.isEmpty())
        report.readError = input.withAdvice(report.readError);
    else if (!isStopped) // of a line that is cut off, too, that is the reason
        report.readError = input.fault();
    return reader->atEnd() || !report.readError.isEmpty();
}

ExitStatus LogFile::read(const MessageVisitor &visitor, ProgressBar *bar)
{
    takeInterruptions();
    const bool ok = format->type == DatachunkHelper::QclFile ? readChunk(visitor) : pull(visitor, bar);
    if (bar && ok)
        bar->finish(count);
    else if (bar)
        bar->clear();
    if (wasInterrupted())
        return interrupted(input.name());
    if (isStopped)
        return ExitStatus::Success;
    if (!ok) {
        complain(input.name(), notReadText(*format, fault));
        return ExitStatus::Failure;
    }
    if (!report.readError.isEmpty()) {
        complain(input.name(), QStringLiteral("cannot be read any further: %1").arg(report.readError));
        return ExitStatus::Failure;
    }
    reachedEnd = true;
    return judge();
}

ExitStatus LogFile::judge() const
{
    const bool isFailure = areAllDropped(report) || (report.faultyLines > 0 && options.isSet(strictName));
    if (report.cutNotes > 0)
        complain(input.name(), cutNotesText(report));
    if (count == 0)
        complain(input.name(), noMessagesText(*format, report));
    else if (!report.faults.isEmpty())
        complain(input.name(), faultyLinesText(report, isFailure));
    return isFailure ? ExitStatus::Failure : ExitStatus::Success;
}

QCommandLineOption LogFile::strictOption()
{
    return {strictName, QStringLiteral("Ends with 1 when a line of a FILE was dropped or read in part.")};
}

QString LogFile::warningHelp()
{
    return QStringLiteral(
        "Lines of a FILE that were dropped or read in part are counted on standard error at the end,\n"
        "and a file without any message is named there; the exit status is then 0 all the same, unless all\n"
        "frames of a file were dropped, or --strict is given.");
}
