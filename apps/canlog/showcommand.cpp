// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/busnames.h"
#include "apps/canlog/logfile.h"
#include "apps/canlog/messagesource.h"
#include "apps/canlog/messagetable.h"
#include "apps/canlog/output.h"
#include "apps/canlog/progressbar.h"

#include <QCommandLineParser>

#include <limits>

namespace
{

/// Prints messages up to the limit.
class MessagePrinter
{
public:
    /// With a @p nameSource channels are shown by the names that it knows.
    MessagePrinter(Output &output, quint64 limit, const MessageSource *nameSource)
        : out(output)
        , left(limit)
        , source(nameSource)
    {
        writeTableHeading(out, source ? ChannelColumn::Name : ChannelColumn::Number);
    }

    /// False when nothing more will be printed: the limit is reached, or nobody reads the output.
    bool wantsMore() const { return left > 0 && out.isOpen(); }

    /// Prints @p message if more is wanted.
    void print(const CAN::CanRxMessage &message, const QString &note)
    {
        if (!wantsMore())
            return;
        if (source)
            writeTableRow(out, message, note, names.nameOf(message.channel, *source));
        else
            writeTableRow(out, message, note);
        --left;
    }

private:
    Output &out;
    quint64 left;
    const MessageSource *source;
    BusNames names;
};

ExitStatus run(const QCommandLineParser &parser, Output &out)
{
    const QString help = QStringLiteral("show");
    MessageSource source;
    if (!source.choose(parser, help))
        return ExitStatus::WrongUsage;
    quint64 limit = std::numeric_limits<quint64>::max();
    if (parser.isSet(QStringLiteral("limit"))) {
        const QString text = parser.value(QStringLiteral("limit"));
        bool ok = false;
        limit = text.toULongLong(&ok);
        if (!ok)
            return wrongUsage(QStringLiteral("bad --limit '%1', wanted is 0 or a higher number").arg(text), help);
    }

    // The heading is written when it is known that there is something to show.
    if (!source.open())
        return ExitStatus::Failure;
    MessagePrinter printer(out, limit, parser.isSet(QStringLiteral("names")) ? &source : nullptr);
    return source.visit([&](const CAN::CanRxMessage &message, const QString &note) {
        printer.print(message, note);
        return printer.wantsMore();
    });
}

void addOptions(QCommandLineParser &parser)
{
    MessageSource::addOptions(parser);
    parser.addOption(
        {QStringLiteral("limit"), QStringLiteral("Only the first N messages. Default: all."), QStringLiteral("N")});
    parser.addOption({QStringLiteral("names"),
                      QStringLiteral("Shows what the log calls a channel, as can0, in place of its number.")});
    parser.addOption(quietOption());
}

} // namespace

Subcommand showSubcommand()
{
    return {
        QStringLiteral("show"),
        QStringLiteral("Prints the messages of a store or of log files as a table."),
        MessageSource::synopsis() + QLatin1String(" [--limit N] [--names] [--quiet]"),
        QStringLiteral("Flags: R remote frame, F CAN FD, B bit-rate switch, E error state indicator, - none.\n"
                       "What is left out of a damaged store is named on standard error; the exit status is then 1.\n")
            + LogFile::warningHelp(),
        QStringLiteral("  canlog show --limit 20\n"
                       "  canlog show --store trips --id 0C9,18FEF100\n"
                       "  canlog show --from 12.5 --to 13 --id 100-1FF --direction rx\n"
                       "  canlog show examples/drive.log | less\n"),
        addOptions,
        run};
}
