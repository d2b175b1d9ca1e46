#include "host/cli/countingstore.h"
#include "host/cli/formats.h"
#include "host/cli/inputfile.h"
#include "host/cli/output.h"
#include "host/cli/storefolder.h"
#include "host/cli/storerequest.h"
#include "host/store/timetext.h"

#include <QCommandLineParser>

namespace
{

QString timeSpanText(const ImportRecord &record)
{
    const qint64 microseconds = inMicroseconds(record.lastTime) - inMicroseconds(record.firstTime);
    return QStringLiteral("%1 to %2 (%3 s)")
        .arg(timeText(record.firstTime), timeText(record.lastTime),
             QString::number(double(microseconds) / 1000000, 'f', 3));
}

QString resultText(const ImportRecord &record, const Format &format, const CountingStore &store)
{
    QStringList parts{format.name(), counted(record.messageCount, QStringLiteral("message"))};
    if (record.messageCount > 0) {
        const QString identifiers = store.identifierCountText();
        parts << QStringLiteral("%1 identifier%2")
                     .arg(identifiers, identifiers == QLatin1String("1") ? QString() : QStringLiteral("s"))
              << timeSpanText(record);
    }
    parts << QStringLiteral("CAN FD: %1").arg(record.fdSeen ? QStringLiteral("yes") : QStringLiteral("no"))
          << counted(record.noteCount, QStringLiteral("note"));
    return parts.join(QLatin1String(", "));
}

QString failureText(const ImportRecord &record, const Format &format, const ChunkStore &store)
{
    // Another type is no help when the store cannot be written.
    return store.errorString().isEmpty() ? notReadText(format, record.errorText) : record.errorText;
}

/// The @p paths that can be read; complains of the others.
QStringList readableFiles(const QStringList &paths)
{
    QStringList readable;
    for (const QString &path : paths) {
        const QString problem = whyUnreadable(path);
        if (problem.isEmpty())
            readable.append(path);
        else
            complain(path, problem);
    }
    return readable;
}

/// Imports all @p paths and returns how many failed.
int importFiles(CountingStore &store, const QString &folder, const QStringList &paths, const Format &format,
                const QString &text, Output &out)
{
    int failures = 0;
    for (const QString &path : paths) {
        const ImportRecord record = requestImport(store, path, format.type, text);
        if (record.state != ImportRecord::State::Succeeded) {
            ++failures;
            complain(path, failureText(record, format, store));
            continue;
        }
        out.writeLine(
            printable(QStringLiteral("%1: %2, stored in %3").arg(path, resultText(record, format, store), folder)));
        out.flush();
        if (record.messageCount == 0)
            complain(path, noMessagesText(format));
    }
    return failures;
}

ExitStatus run(const QCommandLineParser &parser, Output &out)
{
    const QStringList paths = parser.positionalArguments();
    if (paths.isEmpty())
        return wrongUsage(QStringLiteral("import needs at least one FILE"), QStringLiteral("import"));
    const Format *format = chosenFormat(parser, QStringLiteral("import"));
    if (!format)
        return ExitStatus::WrongUsage;
    const QString problem = columnsProblem(parser, *format);
    if (!problem.isEmpty())
        return wrongUsage(problem, QStringLiteral("import"));
    const QString folder = chosenStoreFolder(parser);
    if (folder.isEmpty())
        return wrongUsage(QStringLiteral("--store needs a folder"), QStringLiteral("import"));

    // Looked at before the store is made, so that a mistyped name leaves no empty store behind.
    const QStringList readable = readableFiles(paths);
    if (readable.isEmpty())
        return ExitStatus::Failure;
    CountingStore store;
    if (!openStore(store, folder, ChunkStore::Mode::ReadWrite))
        return ExitStatus::Failure;
    complainOfDamage(store);
    const int failures = importFiles(store, folder, readable, *format, requestText(parser, *format), out);
    return failures == 0 && readable.size() == paths.size() ? ExitStatus::Success : ExitStatus::Failure;
}

void addOptions(QCommandLineParser &parser)
{
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("A log file."), QStringLiteral("FILE..."));
    parser.addOption(typeOption());
    parser.addOption(columnsOption());
    parser.addOption(storeOption());
}

} // namespace

Subcommand importSubcommand()
{
    return {
        QStringLiteral("import"),
        QStringLiteral("Reads log files into a store."),
        QStringLiteral("[--type NAME|NUMBER] [--columns CODES] [--store DIR] FILE..."),
        QStringLiteral("The store is made when it does not exist yet; what it holds stays. Every file gives one line\n"
                       "with its format, messages, identifiers, time span, CAN FD, notes and the store. A file that\n"
                       "cannot be imported does not stop the others; the exit status is then 1."),
        QStringLiteral("  canlog import examples/drive.log\n"
                       "  canlog import --type candump --store trips monday.log tuesday.log\n"
                       "  canlog import --type generic --columns 't ? I l d' table.txt\n"),
        addOptions,
        run};
}
