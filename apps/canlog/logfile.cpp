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

void LogFile::start(const FrameReader::Progress &progress)
{
    takeInterruptions();
    if (format->type == DatachunkHelper::QclFile)
        return openChunk();
    const LogFormat &row = *findLogFormat(format->type);
    reader = row.make(row.type, requestText(options, *format));
    waits = row.makesNotes && !row.notesAreFinal;
    reader->setProgress([this, progress](qint64 bytesRead, qint64 bytesTotal) {
        if (progress && input.isStream())
            progress(input.bytesRead(), input.bytesTotal());
        else if (progress)
            progress(bytesRead, bytesTotal);
        if (wasInterrupted())
            reader->stop();
    });
    if (input.isLive())
        reader->setArrival([this](int milliseconds) { return input.hasInput(milliseconds); });
    if (input.isStream())
        reader->open(input.device(), input.name());
    else
        reader->open(input.path());
}

void LogFile::openChunk()
{
    fault = ChunkFormat::readChunkFile(input.path(), chunk);
    if (!fault.isEmpty())
        chunk = {};
}

bool LogFile::nextOfChunk(CAN::CanRxMessage &message, QString &note)
{
    if (nextInChunk == chunk.messages.size())
        return false;
    message = chunk.messages.at(nextInChunk);
    note = chunk.notes.value(nextInChunk);
    ++nextInChunk;
    return true;
}

bool LogFile::nextWaiting(CAN::CanRxMessage &message, QString &note)
{
    if (!hasLatest && reader->frameCount() > 0)
        return false;
    if (!hasLatest) {
        if (!reader->next())
            return false;
        latest = reader->frame();
        latestNote = reader->takeNote();
    }
    message = latest;
    note = latestNote;
    hasLatest = reader->next();
    latest = reader->frame();
    latestNote = reader->takeNote();
    if (!hasLatest)
        joinNote(note, latestNote); // what came after the last message
    return true;
}

bool LogFile::next(CAN::CanRxMessage &message, QString &note)
{
    bool isThere = false;
    if (!reader) {
        isThere = nextOfChunk(message, note);
    } else if (waits) {
        isThere = nextWaiting(message, note);
    } else if (reader->next()) {
        message = reader->frame();
        note = reader->takeNote();
        isThere = true;
    }
    count += isThere ? 1 : 0;
    isAtEnd = !isThere;
    return isThere;
}

void LogFile::countAll()
{
    if (reader) {
        while (reader->next()) {
        }
        count = quint64(reader->frameCount());
    } else {
        count = quint64(chunk.messages.size());
    }
    isAtEnd = true;
}

ExitStatus LogFile::finish()
{
    bool ok = fault.isEmpty();
    if (reader) {
        fault = reader->errorString();
        report = reader->report();
        if (!report.readError.isEmpty())
            report.readError = input.withAdvice(report.readError);
        else if (isAtEnd) // of a line that is cut off, too, that is the reason
            report.readError = input.fault();
        ok = reader->atEnd() || !report.readError.isEmpty();
    }
    if (wasInterrupted())
        return interrupted(input.name());
    if (!isAtEnd)
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

ExitStatus LogFile::read(const MessageVisitor &visitor, ProgressBar *bar)
{
    start([bar](qint64 bytesRead, qint64 bytesTotal) {
        if (bar)
            bar->update(bytesRead, bytesTotal);
    });
    if (visitor) {
        CAN::CanRxMessage message;
        QString note;
        while (next(message, note) && visitor(message, note)) {
        }
    } else {
        countAll();
    }
    const bool isRead = isAtEnd && (reader ? reader->atEnd() : fault.isEmpty());
    if (bar && (isRead || !isAtEnd))
        bar->finish(count);
    else if (bar)
        bar->clear();
    return finish();
}

ExitStatus LogFile::judge() const
{
    const bool isFailure = areAllDropped(report) || (report.faultyLines > 0 && options.isSet(strictName));
    complainOfRemarks(input.name(), report);
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
