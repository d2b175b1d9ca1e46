// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/messagesource.h"

#include "apps/canlog/formats.h"
#include "apps/canlog/interruption.h"
#include "apps/canlog/logfile.h"
#include "apps/canlog/output.h"
#include "apps/canlog/progressbar.h"
#include "apps/canlog/storefolder.h"

#include <QCommandLineParser>

namespace
{

/// Visits all messages of @p store, and wipes @p bar away at the end.
template <typename Enter>
void visitWithBar(ChunkStore &store, const Enter &enter, const MessageVisitor &visitor, ProgressBar &bar)
{
    constexpr quint64 step = 1000; // asking the clock takes longer than reading a message
    const quint64 all = store.messageCount();
    quint64 count = 0;
    store.forEachMessage(enter, [&](const CAN::CanRxMessage &message, const QString &note) {
        if (++count % step == 0)
            bar.updateMessages(count, all);
        return visitor(message, note);
    });
    bar.clear();
}

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
    if (files == 1 && parser.isSet(QStringLiteral("import")))
        return QStringLiteral("--import is for a store, a FILE has none");
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
    parser.addOption(ImportChoice::option());
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
    QString problem = usageProblem(parser, subcommand);
    ImportChoice choice;
    if (problem.isEmpty())
        problem = choice.setFrom(parser);
    if (!problem.isEmpty()) {
        wrongUsage(problem, subcommand);
        return false;
    }
    const QStringList files = parser.positionalArguments();
    if (files.isEmpty())
        chooseStore(chosenStoreFolder(parser), choice);
    else
        chooseFile(files.constFirst(), parser);
    return true;
}

void MessageSource::chooseFile(const QString &filePath, const QCommandLineParser &parser)
{
    path = filePath;
    file = std::make_unique<LogFile>(filePath, parser);
}

void MessageSource::chooseStore(const QString &folder, const ImportChoice &choice)
{
    path = folder;
    imports = choice;
    store = std::make_unique<ChunkStore>();
}

LogInfo MessageSource::info() const
{
    if (file)
        return file->info();
    return currentImport > 0 ? store->logInfo(currentImport) : LogInfo();
}

bool MessageSource::open()
{
    if (file)
        return file->open();
    return openStore(*store, path, ChunkStore::Mode::Read) && hasImports(*store, path, imports);
}

ExitStatus MessageSource::visit(const MessageVisitor &visitor, ProgressBar *bar)
{
    takeInterruptions();
    const MessageVisitor untilInterrupted = [&](const CAN::CanRxMessage &message, const QString &note) {
        return !wasInterrupted() && visitor(message, note);
    };
    if (!file)
        return visitStore(untilInterrupted, bar);
    return file->read(untilInterrupted, bar);
}

ExitStatus MessageSource::visitStore(const MessageVisitor &visitor, ProgressBar *bar)
{
    const auto enter = [this](int import) {
        const bool isWanted = imports.isAll() || imports.contains(import);
        currentImport = import;
        if (isWanted && importListener)
            importListener();
        return isWanted;
    };
    if (bar)
        visitWithBar(*store, enter, visitor, *bar);
    else
        store->forEachMessage(enter, visitor);
    complainOfDamage(*store, path);
    if (wasInterrupted())
        return interrupted(path);
    return store->warnings().isEmpty() ? ExitStatus::Success : ExitStatus::Failure;
}
