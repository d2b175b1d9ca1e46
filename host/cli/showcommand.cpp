#include "canloghandler/canloghandler.h"
#include "host/cli/formats.h"
#include "host/cli/idfilter.h"
#include "host/cli/inputfile.h"
#include "host/cli/messagetable.h"
#include "host/cli/output.h"
#include "host/cli/storefolder.h"
#include "host/store/chunkformat.h"
#include "host/store/notes.h"
#include "host/store/streamstore.h"

#include <QCommandLineParser>
#include <QPointer>

#include <cstdlib>
#include <limits>
#include <optional>

namespace
{

/// Prints messages up to the limit.
class MessagePrinter
{
public:
    MessagePrinter(Output &output, const IdFilter &idFilter, quint64 limit)
        : out(output)
        , filter(idFilter)
        , left(limit)
    {
        writeTableHeading(out);
    }

    /// False when nothing more will be printed: the limit is reached, or nobody reads the output.
    bool wantsMore() const { return left > 0 && out.isOpen(); }

    /// Whether the filter lets @p message pass, which is asked before print().
    bool isWanted(const CAN::CanRxMessage &message) const { return filter.passes(message); }

    void print(const CAN::CanRxMessage &message, const QString &note)
    {
        if (!wantsMore())
            return;
        writeTableRow(out, message, note);
        --left;
    }

    /// Ends the program with all that was asked for printed. A loader reads its file to the end, which may be gigabytes
    /// away; nothing but this program's own memory is left behind.
    [[noreturn]] void exitEarly() { std::exit(static_cast<int>(out.finish(ExitStatus::Success))); }

private:
    Output &out;
    IdFilter filter;
    quint64 left;
};

/// Prints the messages of a file as the library delivers them and keeps none but the latest, which may still get a
/// note.
class PrintingStore : public StreamStore
{
public:
    explicit PrintingStore(MessagePrinter &messagePrinter)
        : printer(messagePrinter)
    {
    }

    bool isEmpty() const { return empty; }
    /// Why the data-chunk file could not be read; empty when it could be, and of other formats.
    QString fault() const { return chunkFault; }

    void addImportedMessages(const QList<CAN::CanRxMessage> &messages,
                             const QMap<unsigned int, QString> &notes) override
    {
        QMap<int, QString> allNotes;
        if (messages.isEmpty())
            addMessageNoteToLastMessage(joinedNotes(notes));
        else
            allNotes = notesByPosition(messages, notes);
        for (int i = 0; i < messages.size(); ++i) {
            if (take(messages.at(i)))
                latestNote = allNotes.value(i);
        }
        if (!printer.wantsMore())
            printer.exitEarly();
    }
    void addMessageNoteToLastMessage(QString note) override
    {
        if (latest)
            joinNote(latestNote, note);
    }
    void setImportFinished(bool, DatachunkHelper::ImportFileType, QString, bool) override { printLatest(); }
    bool loadQclFile(QString path) override;

private:
    /// Makes @p message the latest one, still without its note; false when it will not be shown.
    bool take(const CAN::CanRxMessage &message)
    {
        printLatest();
        empty = false;
        if (!printer.isWanted(message))
            return false;
        latest = message;
        latestNote.clear();
        return true;
    }
    void printLatest()
    {
        if (latest)
            printer.print(*latest, latestNote);
        latest.reset();
    }

    MessagePrinter &printer;
    std::optional<CAN::CanRxMessage> latest;
    QString latestNote;
    QString chunkFault;
    bool empty = true;
};

bool PrintingStore::loadQclFile(QString path)
{
    ChunkFormat::Chunk chunk;
    chunkFault = ChunkFormat::readChunkFile(path, chunk);
    if (!chunkFault.isEmpty())
        return false;
    ChunkFormat::forEachMessage(chunk, [&](const CAN::CanRxMessage &message, const QString &note) {
        if (take(message))
            latestNote = note;
        return printer.wantsMore();
    });
    return true;
}

ExitStatus showFile(const QString &path, const Format &format, const QString &text, MessagePrinter &printer)
{
    PrintingStore store(printer);
    QPointer<DatachunkHandler> storePointer(&store);
    CANLogHandler handler(storePointer);
    if (!handler.loadFile(path, format.type, text, false)) {
        const QString reason = store.fault();
        complain(path, notReadText(format, reason.isEmpty() ? handler.getLastErrorText() : reason));
        return ExitStatus::Failure;
    }
    if (store.isEmpty())
        complain(path, noMessagesText(format));
    return ExitStatus::Success;
}

ExitStatus showStore(ChunkStore &store, MessagePrinter &printer)
{
    store.forEachMessage([&](const CAN::CanRxMessage &message, const QString &note) {
        if (printer.isWanted(message))
            printer.print(message, note);
        return printer.wantsMore();
    });
    complainOfDamage(store);
    return store.warnings().isEmpty() ? ExitStatus::Success : ExitStatus::Failure;
}

/// What is wrong with the combination of options and arguments; empty when nothing is.
QString usageProblem(const QCommandLineParser &parser)
{
    const int files = parser.positionalArguments().size();
    if (files > 1)
        return QStringLiteral("show takes one FILE");
    if (files == 1 && parser.isSet(QStringLiteral("store")))
        return QStringLiteral("show takes either --store or a FILE");
    if (files == 0 && parser.isSet(QStringLiteral("type")))
        return QStringLiteral("--type is for a FILE, a store needs none");
    if (chosenStoreFolder(parser).isEmpty())
        return QStringLiteral("--store needs a folder");
    return {};
}

ExitStatus run(const QCommandLineParser &parser, Output &out)
{
    const QString help = QStringLiteral("show");
    const QString problem = usageProblem(parser);
    if (!problem.isEmpty())
        return wrongUsage(problem, help);

    IdFilter filter;
    const QString ids = parser.value(QStringLiteral("id"));
    if (parser.isSet(QStringLiteral("id")) && !filter.add(ids))
        return wrongUsage(QStringLiteral("bad --id '%1', wanted are hexadecimal identifiers or 'error'").arg(ids),
                          help);

    quint64 limit = std::numeric_limits<quint64>::max();
    if (parser.isSet(QStringLiteral("limit"))) {
        const QString text = parser.value(QStringLiteral("limit"));
        bool ok = false;
        limit = text.toULongLong(&ok);
        if (!ok)
            return wrongUsage(QStringLiteral("bad --limit '%1', wanted is 0 or a higher number").arg(text), help);
    }
    const Format *format = chosenFormat(parser, help);
    if (!format)
        return ExitStatus::WrongUsage;
    const QString columns = columnsProblem(parser, *format);
    if (!columns.isEmpty())
        return wrongUsage(columns, help);

    // The heading is written when it is known that there is something to show.
    const QStringList files = parser.positionalArguments();
    if (!files.isEmpty()) {
        const QString unreadable = whyUnreadable(files.constFirst());
        if (!unreadable.isEmpty()) {
            complain(files.constFirst(), unreadable);
            return ExitStatus::Failure;
        }
        MessagePrinter printer(out, filter, limit);
        return showFile(files.constFirst(), *format, requestText(parser, *format), printer);
    }
    ChunkStore store;
    if (!openStore(store, chosenStoreFolder(parser), ChunkStore::Mode::Read))
        return ExitStatus::Failure;
    MessagePrinter printer(out, filter, limit);
    return showStore(store, printer);
}

void addOptions(QCommandLineParser &parser)
{
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("A log file to show without a store."),
                                 QStringLiteral("[FILE]"));
    parser.addOption(storeOption());
    parser.addOption(typeOption());
    parser.addOption(columnsOption());
    parser.addOption({QStringLiteral("id"),
                      QStringLiteral("Only these identifiers: up to three digits for standard frames, eight for "
                                     "extended ones, 'error' for error frames."),
                      QStringLiteral("HEX[,HEX]")});
    parser.addOption(
        {QStringLiteral("limit"), QStringLiteral("Only the first N messages. Default: all."), QStringLiteral("N")});
}

} // namespace

Subcommand showSubcommand()
{
    return {
        QStringLiteral("show"),
        QStringLiteral("Prints the messages of a store or of a log file as a table."),
        QStringLiteral("[--store DIR | FILE [--type NAME|NUMBER] [--columns CODES]] [--id HEX[,HEX]] [--limit N]"),
        QStringLiteral("Flags: R remote frame, F CAN FD, B bit-rate switch, E error state indicator, - none.\n"
                       "What is left out of a damaged store is named on standard error; the exit status is then 1."),
        QStringLiteral("  canlog show --limit 20\n"
                       "  canlog show --store trips --id 0C9,18FEF100\n"
                       "  canlog show examples/drive.log --type candump | less\n"),
        addOptions,
        run};
}
