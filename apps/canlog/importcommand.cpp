// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/countingstore.h"
#include "apps/canlog/formats.h"
#include "apps/canlog/inputfile.h"
#include "apps/canlog/interruption.h"
#include "apps/canlog/output.h"
#include "apps/canlog/progressbar.h"
#include "apps/canlog/storefolder.h"
#include "apps/canlog/storerequest.h"
#include "host/store/timetext.h"

#include <QCommandLineParser>
#include <QFileInfo>

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
    return counted(quint64(report.lines), unitText(report)) + details;
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

/// Prints the faults in @p report like a compiler; of a log without lines as FILE: object 17, byte 3120: REASON.
void printFaults(const QString &path, const ImportReport &report, Output &out)
{
    for (const ImportReport::Fault &fault : report.faults) {
        const QString place =
            report.unit == ImportReport::Unit::Line
                ? QStringLiteral("%1:%2").arg(QString::number(fault.line), QString::number(fault.column))
                : QLatin1Char(' ') + report.placeText(fault);
        out.writeLine(printable(QStringLiteral("%1:%2: %3").arg(path, place, fault.toText())));
    }
    const qint64 others = report.faultyLines - report.faults.size();
    if (others > 0)
        out.writeLine(printable(QStringLiteral("%1: %2 more")
                                    .arg(path, counted(quint64(others), QLatin1String("faulty ") + unitText(report)))));
}

const QLatin1String standardInput("-");

/// The files of one command line on their way into one store.
class Importing
{
public:
    Importing(const QCommandLineParser &commandLine, Output &output)
        : parser(commandLine)
        , folder(chosenStoreFolder(commandLine))
        , isReported(commandLine.isSet(QStringLiteral("report")))
        , isStrict(commandLine.isSet(QStringLiteral("strict")))
        , keepsPartial(commandLine.isSet(QStringLiteral("keep-partial")))
        , isAgain(commandLine.isSet(QStringLiteral("again")))
        , out(output)
        , made(folder)
    {
    }

    ~Importing()
    {
        if (ChunkStore::isStore(folder))
            made.keep(); // even if it holds no more than what failed
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
    Q_DISABLE_COPY_MOVE(Importing)

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
        const ImportSource source = path == standardInput ? ImportSource() : ImportSource::of(path);
        if (!isAgain && isStored(path, source))
            return ExitStatus::Failure;

        store->setImportSource(source);
        ProgressBar bar(path, isBarWanted(parser));
        const QString name = path == standardInput ? path : QFileInfo(path).absoluteFilePath();
        store->setSourceName(input.isPlainFile() ? QString() : name);
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
        if (!keepsPartial)
            store->setPartialImports(ChunkStore::PartialImports::Remove);
        isStoreUnusable = !openStore(*store, folder, ChunkStore::Mode::ReadWrite);
        if (!isStoreUnusable)
            complainOfDamage(*store, folder);
        return !isStoreUnusable;
    }

    /// Whether the store holds the file already, after a complaint: all its messages would be there twice.
    bool isStored(const QString &path, const ImportSource &source)
    {
        const int number = store->findImport(source);
        if (number != 0)
            complain(path, QStringLiteral("is in %1 already, as import %2; --again imports it once more")
                               .arg(folder, QString::number(number)));
        return number != 0;
    }

    /// What became of the messages of an import that did not succeed; empty when there were none.
    QString restText(const ImportRecord &record) const
    {
        const auto messages = [](quint64 count) { return counted(count, QStringLiteral("message")); };
        if (record.removedMessages > 0)
            return QStringLiteral("the %1 stored until then are removed again; --keep-partial keeps them")
                .arg(messages(record.removedMessages));
        if (record.messageCount == 0)
            return {};
        if (record.keeping == ImportRecord::Keeping::Kept)
            return QStringLiteral("the %1 stored until then stay in %2").arg(messages(record.messageCount), folder);
        return QStringLiteral("the %1 stored until then cannot be removed from %2, the next import tries again")
            .arg(messages(record.messageCount), folder);
    }

    /// Takes back what was stored of a file that could not be read to its end, which the library calls a success,
    /// unless it is to be kept. Says what became of it.
    QString restOfUnreadText(const ImportRecord &record, const QString &reason)
    {
        const QString messages = counted(record.messageCount, QStringLiteral("message"));
        if (keepsPartial && store->markPartial(store->imports().size(), reason))
            return QStringLiteral("the %1 before that stay in %2").arg(messages, folder);
        if (!store->removeImport(store->imports().size()))
            return QStringLiteral("the %1 before that cannot be removed again: %2").arg(messages, store->errorString());
        return QStringLiteral("the %1 before that are removed again; --keep-partial keeps them").arg(messages);
    }

    ExitStatus tell(const QString &path, const StoreImport &import, const Format &format)
    {
        const ImportReport &report = import.result.report;
        if (import.result.isInterrupted) {
            const QString rest = restText(import.record);
            complain(path, QStringLiteral("interrupted; ")
                               + (rest.isEmpty() ? QStringLiteral("nothing of it is in %1").arg(folder) : rest));
            return ExitStatus::Interrupted;
        }
        if (import.record.state != ImportRecord::State::Succeeded) {
            const QString rest = restText(import.record);
            complain(path, failureText(import.record, format, *store)
                               + (rest.isEmpty() ? QString() : QStringLiteral("; ") + rest));
            return ExitStatus::Failure;
        }
        if (!report.readError.isEmpty()) {
            complain(path, QStringLiteral("cannot be read any further: %1; %2")
                               .arg(report.readError, restOfUnreadText(import.record, report.readError)));
            return ExitStatus::Failure;
        }
        out.writeLine(
            printable(QStringLiteral("%1: %2, stored in %3").arg(path, resultText(import, format, *store), folder)));
        out.flush();
        complainOfRemarks(path, report);
        if (report.cutNotes > 0)
            complain(path, cutNotesText(report));
        if (import.record.messageCount == 0)
            complain(path, noMessagesText(format, report));
        if (areAllDropped(report))
            return ExitStatus::Failure; // after the complaint that there is no message
        if (!isStrict || report.faultyLines == 0)
            return ExitStatus::Success;
        complain(path, counted(quint64(report.faultyLines), QLatin1String("faulty ") + unitText(report))
                           + (isReported ? QString() : QStringLiteral("; --report lists them")));
        return ExitStatus::Failure;
    }

    const QCommandLineParser &parser;
    const QString folder;
    const bool isReported;
    const bool isStrict;
    const bool keepsPartial;
    const bool isAgain;
    Output &out;
    NewStoreFolder made;
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
                                                  "FILE:LINE:COLUMN: REASON, the first %1 of each file; of a "
                                                  "BLF file as FILE: object N, byte N: REASON.")
                                       .arg(ImportReport::maxFaults)});
    parser.addOption({QStringLiteral("strict"), QStringLiteral("Ends with 1 when there is such a line.")});
    parser.addOption({QStringLiteral("again"),
                      QStringLiteral("Imports a file even when the store holds it already: the same path, size and "
                                     "time of its last change.")});
    parser.addOption({QStringLiteral("keep-partial"),
                      QStringLiteral("Keeps what an import that fails or is interrupted has stored until then, which "
                                     "is removed otherwise.")});
    parser.addOption(quietOption());
}

} // namespace

Subcommand importSubcommand()
{
    return {
        QStringLiteral("import"),
        QStringLiteral("Reads log files into a store."),
        QStringLiteral("[--type NAME|NUMBER] [--columns CODES] [--store DIR] [--report] [--strict] [--again] "
                       "[--keep-partial] [--quiet] FILE..."),
        QStringLiteral("The store is made when it does not exist yet; what it holds stays. Every file gives one line\n"
                       "with its format, messages, identifiers, time span, CAN FD, notes, lines and the store. Lines\n"
                       "are other ones when they are no frames by the rules of the format, dropped when they should\n"
                       "be, and faulty when they were dropped or something in them could not be read and counts as 0.\n"
                       "A file that cannot be imported, or whose format is unknown, does not stop the others; the\n"
                       "exit status is then 1. One without messages is no failure, but named on standard error; when\n"
                       "all its frames were dropped, it is one.\n"
                       "A file that the store holds already is not imported again, which is said; the exit status is\n"
                       "then 1. Nothing stays of an import that fails, unless --keep-partial says so, nor of one that\n"
                       "Ctrl-C ends with 130 or that is killed: of that the next import removes the rest."),
        QStringLiteral("  canlog import examples/drive.log\n"
                       "  canlog import --type candump --store trips monday.log tuesday.log\n"
                       "  canlog import --columns 't ? I l d' table.txt\n"
                       "  canlog import --report --strict monday.log\n"),
        addOptions,
        run};
}
