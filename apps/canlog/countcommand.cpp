// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/formats.h"
#include "apps/canlog/interruption.h"
#include "apps/canlog/logfile.h"
#include "apps/canlog/output.h"
#include "apps/canlog/progressbar.h"

#include <QCommandLineParser>

#include <optional>

namespace
{

/// How many messages the file @p path holds; nothing after a complaint when that cannot be said. @p status becomes
/// Failure when something is wrong with it.
std::optional<quint64> countOf(const QString &path, const QCommandLineParser &parser, ExitStatus &status)
{
    LogFile file(path, parser);
    if (!file.open()) {
        status = ExitStatus::Failure;
        return {};
    }
    ProgressBar bar(path, isBarWanted(parser));
    if (file.read({}, &bar) != ExitStatus::Success)
        status = ExitStatus::Failure;
    if (!file.wasReadToEnd())
        return {};
    return file.messageCount();
}

ExitStatus run(const QCommandLineParser &parser, Output &out)
{
    const QStringList paths = parser.positionalArguments();
    if (paths.isEmpty())
        return wrongUsage(QStringLiteral("count needs at least one FILE"), QStringLiteral("count"));
    const QString problem = formatProblem(parser);
    if (!problem.isEmpty())
        return wrongUsage(problem, QStringLiteral("count"));

    const auto writeCount = [&](quint64 count, const QString &name) {
        out.writeLine(printable(QStringLiteral("%1 %2").arg(QString::number(count), name)));
        out.flush();
    };
    quint64 total = 0;
    ExitStatus status = ExitStatus::Success;
    for (const QString &path : paths) {
        if (!out.isOpen())
            return status;
        const std::optional<quint64> count = countOf(path, parser, status);
        if (wasInterrupted())
            return ExitStatus::Interrupted;
        if (!count)
            continue;
        writeCount(*count, path);
        total += *count;
    }
    if (paths.size() > 1)
        writeCount(total, QStringLiteral("total"));
    return status;
}

void addOptions(QCommandLineParser &parser)
{
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("A log file."), QStringLiteral("FILE..."));
    parser.addOption(typeOption());
    parser.addOption(columnsOption());
    parser.addOption(LogFile::strictOption());
    parser.addOption(quietOption());
}

} // namespace

Subcommand countSubcommand()
{
    return {QStringLiteral("count"),
            QStringLiteral("Counts the messages of log files."),
            QStringLiteral("[--type NAME|NUMBER] [--columns CODES] [--strict] [--quiet] FILE..."),
            QStringLiteral(
                "Every file gives one line with the number of its messages, a blank and its name, and more than\n"
                "one file another line with their sum and \"total\". A file that cannot be read to its end gives\n"
                "none; the exit status is then 1, and the others are counted.\n")
                + LogFile::warningHelp(),
            QStringLiteral("  canlog count examples/drive.log\n"
                           "  canlog count *.log | tail -n 1\n"
                           "  gzip -dc monday.log.gz | canlog count -\n"),
            addOptions,
            run};
}
