// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/helptext.h"
#include "apps/canlog/interruption.h"
#include "apps/canlog/output.h"
#include "apps/canlog/subcommand.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QRegularExpression>
#include <QVector>

#include <csignal>
#include <cstdio>
#include <new>

#include <fcntl.h>

namespace
{

QVector<Subcommand> subcommands()
{
    return {importSubcommand(), importsSubcommand(), showSubcommand(),   statsSubcommand(),
            countSubcommand(),  convertSubcommand(), detectSubcommand(), formatsSubcommand(),
            zipSubcommand(),    unzipSubcommand(),   mergeSubcommand(),  checkSubcommand()};
}

QString mainHelp()
{
    QString list;
    for (const Subcommand &subcommand : subcommands())
        list += QStringLiteral("  %1  %2\n").arg(subcommand.name, -10).arg(subcommand.summary);
    return QStringLiteral("Usage: canlog SUBCOMMAND [options] [arguments]\n"
                          "Reads recorded CAN-bus traffic from log files into a store and shows it.\n"
                          "\n"
                          "Subcommands:\n"
                          "%1"
                          "\n"
                          "Options:\n"
                          "  -h, --help     Shows this help; 'canlog help SUBCOMMAND' that of a subcommand.\n"
                          "  -v, --version  Shows the version.\n"
                          "\n"
                          "Exit status: 0 all well; 1 something could not be imported, read or written;\n"
                          "2 wrong usage; 130 ended by Ctrl-C, 143 by SIGTERM, 129 by SIGHUP.\n"
                          "\n"
                          "Example:\n"
                          "  canlog import examples/drive.log && canlog show --limit 20\n")
        .arg(list);
}

QString subcommandHelp(const Subcommand &subcommand, const QCommandLineParser &parser)
{
    // The parser's own first line has the program's path and the arguments in an order of its own.
    const QString usage = parser.helpText();
    const QString arguments = usage.mid(usage.indexOf(QLatin1String("\n\n")));
    const QString synopsis = subcommand.synopsis.isEmpty() ? QString() : QLatin1Char(' ') + subcommand.synopsis;
    const QString details = subcommand.details.isEmpty() ? QString() : subcommand.details + QLatin1Char('\n');
    return wrappedUsage(QStringLiteral("Usage: canlog %1%2").arg(subcommand.name, synopsis)) + QLatin1Char('\n')
           + subcommand.summary + QLatin1Char('\n') + wrapped(details) + arguments.mid(1)
           + QLatin1String("\nExample:\n") + subcommand.examples;
}

QCommandLineOption helpOption()
{
    return {{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Shows this help.")};
}

/// The options that @p parser knows, as they are typed.
QStringList optionsOf(const QCommandLineParser &parser)
{
    static const QRegularExpression option(QStringLiteral("^  (?:-\\w, )?(--[a-z-]+)"),
                                           QRegularExpression::MultilineOption);
    QStringList options;
    for (auto match = option.globalMatch(parser.helpText()); match.hasNext();)
        options.append(match.next().captured(1));
    return options;
}

/// What @p parser found wrong, in the style of this program: one clause, no full stop.
QString parserProblem(const QCommandLineParser &parser)
{
    QString text = parser.errorText();
    text.replace(0, 1, text.at(0).toLower());
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    const QStringList unknown = parser.unknownOptionNames();
    if (unknown.isEmpty())
        return text;
    return text + nearestHint(QLatin1String("--") + unknown.constFirst(), optionsOf(parser));
}

ExitStatus runSubcommand(const Subcommand &subcommand, const QStringList &arguments, Output &out)
{
    QCommandLineParser parser;
    subcommand.addOptions(parser);
    parser.addOption(helpOption());
    if (!parser.parse(arguments))
        return wrongUsage(parserProblem(parser), subcommand.name);
    if (!parser.isSet(QStringLiteral("help"))) {
        const ExitStatus status = subcommand.run(parser, out);
        // What was done before the interruption stays done.
        return wasInterrupted() && status != ExitStatus::Success ? ExitStatus::Interrupted : status;
    }
    out.write(subcommandHelp(subcommand, parser).toLocal8Bit());
    return ExitStatus::Success;
}

ExitStatus run(const QStringList &arguments, Output &out)
{
    QCommandLineParser parser;
    // What follows the subcommand's name is the subcommand's.
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    parser.addOption(helpOption());
    parser.addOption({{QStringLiteral("v"), QStringLiteral("version")}, QString()});
    if (!parser.parse(arguments))
        return wrongUsage(parserProblem(parser));
    if (parser.isSet(QStringLiteral("help"))) {
        out.write(mainHelp().toLocal8Bit());
        return ExitStatus::Success;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        out.writeLine(QStringLiteral("canlog " CANLOG_VERSION));
        return ExitStatus::Success;
    }

    // The name is left in place: a parser takes the first entry for the program's name and skips it.
    QStringList rest = parser.positionalArguments();
    if (!rest.isEmpty() && rest.constFirst() == QLatin1String("help")) {
        rest.removeFirst();
        if (!rest.isEmpty())
            rest = QStringList{rest.constFirst(), QStringLiteral("--help")};
    }
    if (rest.isEmpty()) {
        out.write(mainHelp().toLocal8Bit());
        return ExitStatus::Success;
    }
    QStringList names;
    for (const Subcommand &subcommand : subcommands()) {
        if (subcommand.name == rest.constFirst())
            return runSubcommand(subcommand, rest, out);
        names.append(subcommand.name);
    }
    return wrongUsage(QStringLiteral("unknown subcommand '%1'").arg(rest.constFirst())
                      + nearestHint(rest.constFirst(), names));
}

/// Qt's warnings speak to developers; what a user must know is said by canlog itself.
void dropQtMessages(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtFatalMsg)
        complain(text);
}

/// To be told without any memory, which may be what is missing.
int tellOutOfMemory()
{
    std::fputs("canlog: not enough memory; close other programs, or raise the limit that 'ulimit -v' shows\n", stderr);
    return static_cast<int>(ExitStatus::Failure);
}

/// Makes a failed write an error to be reported instead of the end of the program.
void prepareStandardStreams()
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    // A file that is opened while a standard stream is closed gets that stream's number, and then its text. Results are
    // not to vanish: writing them is to fail.
    for (int descriptor = 0; descriptor <= 2; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) == -1)
            open("/dev/null", descriptor == 1 ? O_RDONLY : O_RDWR);
    }
}

} // namespace

int main(int argc, char *argv[])
{
    prepareStandardStreams();
    // The patterns that tell formats apart meet a few lines of a file each: to make machine code of them takes longer.
    if (!qEnvironmentVariableIsSet("QT_ENABLE_REGEXP_JIT"))
        qputenv("QT_ENABLE_REGEXP_JIT", "0");
    qInstallMessageHandler(dropQtMessages);
    try {
        const QCoreApplication application(argc, argv);
        Output out;
        const ExitStatus status = out.finish(run(QCoreApplication::arguments(), out));
        return status == ExitStatus::Interrupted ? interruptionStatus() : static_cast<int>(status);
    } catch (const std::bad_alloc &) {
        return tellOutOfMemory();
    }
}
