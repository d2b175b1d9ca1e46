#include "host/cli/countingstore.h"
#include "host/cli/formats.h"
#include "host/cli/inputfile.h"
#include "host/cli/interruption.h"
#include "host/cli/output.h"
#include "host/cli/progressbar.h"
#include "host/cli/storefolder.h"
#include "host/cli/storerequest.h"
#include "host/store/timetext.h"

#include <QCommandLineParser>

#include <memory>

namespace
{

QString timeSpanText(const ImportRecord &record)
{
    const qint64 microseconds = inMicroseconds(record.lastTime) - inMicroseconds(record.firstTime);
    return QStringLiteral("%1 to %2 (%3 s)")
        .arg(timeText(record.firstTime), timeText(record.lastTime),
             QString::number(double(microseconds) / 1000000, 'f', 3));
}

/// "12 lines (2 other, 1 dropped, 3 faulty)"
QString linesText(const ImportReport &report)
{
    QStringList parts;
    const auto add = [&parts](qint64 count, const char *what) {
        if (count > 0)
            parts << QStringLiteral("%1 %2").arg(QString::number(count), QLatin1String(what));
    };
    add(report.otherLines, "other");
    add(report.droppedLines, "dropped");
    add(report.faultyLines, "faulty");
    const QString details = parts.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(parts.join(QLatin1String(", ")));
    return counted(quint64(report.lines), QStringLiteral("line")) + details;
}

QString resultText(const StoreImport &import, const Format &format, const CountingStore &store)
{
    const ImportRecord &record = import.record;
    QStringList parts{format.name(), counted(record.messageCount, QStringLiteral("message"))};
    if (record.messageCount > 0) {
        const QString identifiers = store.identifierCountText();
        parts << QStringLiteral("%1 identifier%2")
                     .arg(identifiers, identifiers == QLatin1String("1") ? QString() : QStringLiteral("s"))
              << timeSpanText(record);
    }
    parts << QStringLiteral("CAN FD: %1").arg(record.fdSeen ? QStringLiteral("yes") : QStringLiteral("no"))
          << counted(record.noteCount, QStringLiteral("note"));
    if (import.result.report.lines > 0) // text logs have lines
        parts << linesText(import.result.report);
    return parts.join(QLatin1String(", "));
}

QString failureText(const ImportRecord &record, const Format &format, const ChunkStore &store)
{
    // Another type is no help when the store cannot be written.
    return store.errorString().isEmpty() ? notReadText(format, record.errorText) : record.errorText;
}

/// Prints the faults in @p report like a compiler.
void printFaults(const QString &path, const ImportReport &report, Output &out)
{
    for (const ImportReport::Fault &fault : report.faults) {
        out.writeLine(printable(QStringLiteral("%1:%2:%3: %4")
                                    .arg(path, QString::number(fault.line), QString::number(fault.column),
                                         ImportReport::reasonText(fault.reason))));
    }
    const qint64 others = report.faultyLines - report.faults.size();
    if (others > 0)
        out.writeLine(printable(
            QStringLiteral("%1: %2 more").arg(path, counted(quint64(others), QStringLiteral("faulty line")))));
}

/// The files of one command line on their way into one store.
class Importing
{
public:
    Importing(const QCommandLineParser &commandLine, Output &output)
        : parser(commandLine)
        , folder(chosenStoreFolder(commandLine))
        , isReported(commandLine.isSet(QStringLiteral("report")))
        , isStrict(commandLine.isSet(QStringLiteral("strict")))
        , out(output)
    {
    }

    /// Imports all @p paths. An interruption or a store that cannot be opened ends it; a file that fails does not.
    ExitStatus importAll(const QStringList &paths)
    {
        ExitStatus status = ExitStatus::Success;
        for (const QString &path : paths) {
            const ExitStatus one = import(path);
            if (wasInterrupted())
                return ExitStatus::Interrupted;
            if (one != ExitStatus::Success)
                status = one;
            if (isStoreUnusable)
                break;
        }
        return status;
    }

private:
    ExitStatus import(const QString &path)
    {
        InputFile input(path);
        const QString problem = input.prepare();
        if (!problem.isEmpty()) {
            complain(path, problem);
            return ExitStatus::Failure;
        }
        const Format *format = formatOf(input, parser);
        if (!format || !isReadable(input, *format) || !prepareStore())
            return ExitStatus::Failure;

        ProgressBar bar(path, isBarWanted(parser));
        store->setSourceName(input.isPlainFile() ? QString() : path);
        FileRequest request{input.path(), format->type, requestText(parser, *format)};
        request.stream = input.isStream() ? &input : nullptr;
        const StoreImport import = requestImport(*store, request, &bar);
        if (import.record.state == ImportRecord::State::Succeeded)
            bar.finish(import.record.messageCount);
        else
            bar.clear();
        if (isReported)
            printFaults(path, import.result.report, out);
        return tell(path, import, *format);
    }

    /// Opens the store with the first file that can be imported, so that a mistyped name leaves no empty store behind.
    bool prepareStore()
    {
        if (store)
            return true;
        store = std::make_unique<CountingStore>();
        isStoreUnusable = !openStore(*store, folder, ChunkStore::Mode::ReadWrite);
        if (!isStoreUnusable)
            complainOfDamage(*store, folder);
        return !isStoreUnusable;
    }

    ExitStatus tell(const QString &path, const StoreImport &import, const Format &format)
    {
        const ImportReport &report = import.result.report;
        if (import.result.isInterrupted) {
            complain(path, QStringLiteral("interrupted; the %1 read until then stay in %2")
                               .arg(counted(import.record.messageCount, QStringLiteral("message")), folder));
            return ExitStatus::Interrupted;
        }
        if (import.record.state != ImportRecord::State::Succeeded) {
            complain(path, failureText(import.record, format, *store));
            return ExitStatus::Failure;
        }
        out.writeLine(
            printable(QStringLiteral("%1: %2, stored in %3").arg(path, resultText(import, format, *store), folder)));
        out.flush();
        if (report.cutNotes > 0)
            complain(path, cutNotesText(report));
        if (import.record.messageCount == 0)
            complain(path, noMessagesText(format, report));
        if (!report.readError.isEmpty()) {
            complain(path, QStringLiteral("cannot be read any further: %1; what comes before that is stored")
                               .arg(report.readError));
            return ExitStatus::Failure;
        }
        if (areAllDropped(report))
            return ExitStatus::Failure; // after the complaint that there is no message
        if (!isStrict || report.faultyLines == 0)
            return ExitStatus::Success;
        complain(path, counted(quint64(report.faultyLines), QStringLiteral("faulty line"))
                           + (isReported ? QString() : QStringLiteral("; --report lists them")));
        return ExitStatus::Failure;
    }

    const QCommandLineParser &parser;
    const QString folder;
    const bool isReported;
    const bool isStrict;
    Output &out;
    std::unique_ptr<CountingStore> store; ///< once it is needed
    bool isStoreUnusable = false;
};

ExitStatus run(const QCommandLineParser &parser, Output &out)
{
    const QStringList paths = parser.positionalArguments();
    if (paths.isEmpty())
        return wrongUsage(QStringLiteral("import needs at least one FILE"), QStringLiteral("import"));
    QString problem = formatProblem(parser);
    if (problem.isEmpty())
        problem = storeProblem(parser);
    if (!problem.isEmpty())
        return wrongUsage(problem, QStringLiteral("import"));
    return Importing(parser, out).importAll(paths);
}

void addOptions(QCommandLineParser &parser)
{
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("A log file."), QStringLiteral("FILE..."));
    parser.addOption(typeOption());
    parser.addOption(columnsOption());
    parser.addOption(storeOption());
    parser.addOption(
        {QStringLiteral("report"), QStringLiteral("Lists the lines that were dropped or could be read in part only, as "
                                                  "FILE:LINE:COLUMN: REASON, the first %1 of each file.")
                                       .arg(ImportReport::maxFaults)});
    parser.addOption({QStringLiteral("strict"), QStringLiteral("Ends with 1 when there is such a line.")});
    parser.addOption(quietOption());
}

} // namespace

Subcommand importSubcommand()
{
    return {
        QStringLiteral("import"),
        QStringLiteral("Reads log files into a store."),
        QStringLiteral("[--type NAME|NUMBER] [--columns CODES] [--store DIR] [--report] [--strict] [--quiet] FILE..."),
        QStringLiteral(
            "The store is made when it does not exist yet; what it holds stays. Every file gives one line\n"
            "with its format, messages, identifiers, time span, CAN FD, notes, lines and the store. Lines\n"
            "are other ones when they are no frames by the rules of the format, dropped when they should\n"
            "be, and faulty when they were dropped or something in them could not be read and counts as 0.\n"
            "A file that cannot be imported, or whose format is unknown, does not stop the others; the\n"
            "exit status is then 1. One without messages is no failure, but named on standard error; when all\n"
            "its frames were dropped, it is one.\n"
            "Ctrl-C ends the import at hand with 130; the messages stored until then stay."),
        QStringLiteral("  canlog import examples/drive.log\n"
                       "  canlog import --type candump --store trips monday.log tuesday.log\n"
                       "  canlog import --columns 't ? I l d' table.txt\n"
                       "  canlog import --report --strict monday.log\n"),
        addOptions,
        run};
}
