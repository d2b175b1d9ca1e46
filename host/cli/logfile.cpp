#include "host/cli/logfile.h"

#include "host/cli/filereading.h"
#include "host/cli/formats.h"
#include "host/cli/interruption.h"
#include "host/cli/output.h"
#include "host/cli/progressbar.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QThread>

static const QLatin1String strictName("strict");

bool LogStore::loadQclFile(QString path)
{
    ChunkFormat::Chunk chunk;
    chunkFault = ChunkFormat::readChunkFile(path, chunk);
    if (!chunkFault.isEmpty())
        return false;
    count = quint64(chunk.messages.size());
    takeChunk(chunk);
    return true;
}

void LogStore::stop()
{
    stopped = true;
    QThread::currentThread()->requestInterruption();
}

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
    return format && isReadable(input, *format);
}

ExitStatus LogFile::read(LogStore &store, ProgressBar *bar)
{
    FileRequest request{input.path(), format->type, requestText(options, *format)};
    request.stream = input.isStream() ? &input : nullptr;
    const FileResult result = readFile(store, request, bar);
    if (bar && result.ok)
        bar->finish(store.messageCount());
    else if (bar)
        bar->clear();
    if (wasInterrupted())
        return interrupted(input.name());
    if (store.isStopped())
        return ExitStatus::Success;
    if (!result.ok) {
        complain(input.name(), notReadText(*format, store.fault().isEmpty() ? result.errorText : store.fault()));
        return ExitStatus::Failure;
    }
    if (!result.report.readError.isEmpty()) {
        complain(input.name(), QStringLiteral("cannot be read any further: %1").arg(result.report.readError));
        return ExitStatus::Failure;
    }
    reachedEnd = true;
    return judge(store, result.report);
}

ExitStatus LogFile::judge(const LogStore &store, const ImportReport &report) const
{
    const bool isFailure = areAllDropped(report) || (report.faultyLines > 0 && options.isSet(strictName));
    if (report.cutNotes > 0)
        complain(input.name(), cutNotesText(report));
    if (store.messageCount() == 0)
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
