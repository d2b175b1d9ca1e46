#include "canloghandler/canloghandler.h"
#include "host/cli/chunkfile.h"
#include "host/cli/formats.h"
#include "host/cli/idfilter.h"
#include "host/cli/inputfile.h"
#include "host/cli/messagetable.h"
#include "host/cli/output.h"
#include "host/cli/storefolder.h"
#include "host/store/streamstore.h"

#include <QCommandLineParser>
#include <QPointer>

#include <cstdlib>
#include <limits>
#include <optional>

namespace
{

/// Prints the messages that pass the filter, up to the limit.
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

    void print(const CAN::CanRxMessage &message, const QString &note)
    {
        if (!wantsMore() || !filter.passes(message))
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

    void addImportedMessages(const QList<CAN::CanRxMessage> &messages,
                             const QMap<unsigned int, QString> &notes) override
    {
        for (const CAN::CanRxMessage &message : messages)
            take(message, notes.isEmpty() ? QString() : notes.value(message.messageIndex));
        // What is left was read after the last message.
        const auto first = latest ? notes.upperBound(latest->messageIndex) : notes.cend();
        for (auto note = first; note != notes.cend(); ++note)
            addMessageNoteToLastMessage(note.value());
        if (!printer.wantsMore())
            printer.exitEarly();
    }
    void addMessageNoteToLastMessage(QString note) override
    {
        latestNote += latestNote.isEmpty() ? note : QLatin1String("; ") + note;
    }
    void setImportFinished(bool, DatachunkHelper::ImportFileType, QString, bool) override { printLatest(); }
    bool loadQclFile(QString path) override;

private:
    void take(const CAN::CanRxMessage &message, const QString &note)
    {
        printLatest();
        latest = message;
        latestNote = note;
        empty = false;
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
    bool empty = true;
};

bool PrintingStore::loadQclFile(QString path)
{
    return forEachMessageOfChunkFile(path, [&](const CAN::CanRxMessage &message, const QString &note) {
        take(message, note);
        return printer.wantsMore();
    });
}

ExitStatus showFile(const QString &path, const Format &format, MessagePrinter &printer)
{
    PrintingStore store(printer);
    QPointer<DatachunkHandler> storePointer(&store);
    CANLogHandler handler(storePointer);
    if (!handler.loadFile(path, format.type, QString(), false)) {
        const QString reason = handler.getLastErrorText();
        complain(path, reason.isEmpty() ? QStringLiteral("cannot be read as %1; try another --type").arg(format.name())
                                        : reason);
        return ExitStatus::Failure;
    }
    if (store.isEmpty())
        complain(path, noMessagesText(format));
    return ExitStatus::Success;
}

ExitStatus showStore(ChunkStore &store, MessagePrinter &printer)
{
    store.forEachMessage([&](const CAN::CanRxMessage &message, const QString &note) {
        printer.print(message, note);
        return printer.wantsMore();
    });
    complainOfDamage(store);
    return ExitStatus::Success;
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
        return wrongUsage(QStringLiteral("bad --id '%1', wanted are hexadecimal identifiers").arg(ids), help);

    quint64 limit = std::numeric_limits<quint64>::max();
    if (parser.isSet(QStringLiteral("limit"))) {
        const QString text = parser.value(QStringLiteral("limit"));
        bool ok = false;
        limit = text.toULongLong(&ok);
        if (!ok)
            return wrongUsage(QStringLiteral("bad --limit '%1', wanted is a number").arg(text), help);
    }
    const Format *format = chosenFormat(parser);
    if (!format)
        return ExitStatus::WrongUsage;

    // The heading is written when it is known that there is something to show.
    const QStringList files = parser.positionalArguments();
    if (!files.isEmpty()) {
        const QString unreadable = whyUnreadable(files.constFirst());
        if (!unreadable.isEmpty()) {
            complain(files.constFirst(), unreadable);
            return ExitStatus::Failure;
        }
        MessagePrinter printer(out, filter, limit);
        return showFile(files.constFirst(), *format, printer);
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
    return {QStringLiteral("show"),
            QStringLiteral("Prints the messages of a store or of a log file as a table."),
            QStringLiteral("[--store DIR | FILE [--type NAME|NUMBER]] [--id HEX[,HEX]] [--limit N]"),
            QStringLiteral("Flags: R remote frame, F CAN FD, B bit-rate switch, E error state indicator, - none."),
            QStringLiteral("  canlog show --limit 20\n"
                           "  canlog show --store trips --id 0C9,18FEF100\n"
                           "  canlog show examples/drive.log --type candump | less\n"),
            addOptions,
            run};
}
