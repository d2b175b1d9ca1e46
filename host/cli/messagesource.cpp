#include "host/cli/messagesource.h"

#include "host/cli/formats.h"
#include "host/cli/interruption.h"
#include "host/cli/logfile.h"
#include "host/cli/output.h"
#include "host/cli/storefolder.h"

#include <QCommandLineParser>

namespace
{

/// What is wrong with the combination of options and arguments; empty when nothing is.
QString usageProblem(const QCommandLineParser &parser, const QString &subcommand)
{
    const int files = parser.positionalArguments().size();
    if (files > 1)
        return QStringLiteral("%1 takes one FILE").arg(subcommand);
    if (files == 1 && parser.isSet(QStringLiteral("store")))
        return QStringLiteral("%1 takes either --store or a FILE").arg(subcommand);
    if (files == 0 && parser.isSet(QStringLiteral("type")))
        return QStringLiteral("--type is for a FILE, a store needs none");
    if (files == 0 && parser.isSet(QStringLiteral("columns")))
        return QStringLiteral("--columns is for a FILE, a store needs none");
    if (files == 0 && parser.isSet(QStringLiteral("strict")))
        return QStringLiteral("--strict is for a FILE, a store has no lines");
    const QString problem = storeProblem(parser);
    return problem.isEmpty() ? formatProblem(parser) : problem;
}

} // namespace

MessageSource::MessageSource() = default;
MessageSource::~MessageSource() = default;

void MessageSource::addOptions(QCommandLineParser &parser)
{
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("A log file to read without a store."),
                                 QStringLiteral("[FILE]"));
    parser.addOption(storeOption());
    parser.addOption(typeOption());
    parser.addOption(columnsOption());
    parser.addOption(LogFile::strictOption());
}

QString MessageSource::synopsis()
{
    return QStringLiteral("[--store DIR | FILE [--type NAME|NUMBER] [--columns CODES] [--strict]]");
}

bool MessageSource::choose(const QCommandLineParser &parser, const QString &subcommand)
{
    const QString problem = usageProblem(parser, subcommand);
    if (!problem.isEmpty()) {
        wrongUsage(problem, subcommand);
        return false;
    }
    const QStringList files = parser.positionalArguments();
    if (files.isEmpty())
        chooseStore(chosenStoreFolder(parser));
    else
        chooseFile(files.constFirst(), parser);
    return true;
}

void MessageSource::chooseFile(const QString &filePath, const QCommandLineParser &parser)
{
    path = filePath;
    file = std::make_unique<LogFile>(filePath, parser);
}

void MessageSource::chooseStore(const QString &folder)
{
    path = folder;
    store = std::make_unique<ChunkStore>();
}

bool MessageSource::open()
{
    return file ? file->open() : openStore(*store, path, ChunkStore::Mode::Read);
}

ExitStatus MessageSource::visit(const MessageVisitor &visitor, ProgressBar *bar)
{
    takeInterruptions();
    const MessageVisitor untilInterrupted = [&](const CAN::CanRxMessage &message, const QString &note) {
        return !wasInterrupted() && visitor(message, note);
    };
    if (!file)
        return visitStore(untilInterrupted);
    return file->read(untilInterrupted, bar);
}

ExitStatus MessageSource::visitStore(const MessageVisitor &visitor)
{
    store->forEachMessage(visitor);
    complainOfDamage(*store, path);
    if (wasInterrupted())
        return interrupted(path);
    return store->warnings().isEmpty() ? ExitStatus::Success : ExitStatus::Failure;
}
