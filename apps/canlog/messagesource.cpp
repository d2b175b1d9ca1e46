// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/messagesource.h"

#include "apps/canlog/filteroptions.h"
#include "apps/canlog/formats.h"
#include "apps/canlog/interruption.h"
#include "apps/canlog/logfile.h"
#include "apps/canlog/output.h"
#include "apps/canlog/progressbar.h"
#include "apps/canlog/storefolder.h"
#include "host/store/timetext.h"

#include <QCommandLineParser>

#include <algorithm>

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
    if (files > 0 && parser.isSet(QStringLiteral("store")))
        return QStringLiteral("%1 takes either --store or FILEs").arg(subcommand);
    if (files == 0 && parser.isSet(QStringLiteral("type")))
        return QStringLiteral("--type is for a FILE, a store needs none");
    if (files == 0 && parser.isSet(QStringLiteral("columns")))
        return QStringLiteral("--columns is for a FILE, a store needs none");
    if (files > 0 && parser.isSet(QStringLiteral("import")))
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
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("Log files to read without a store."),
                                 QStringLiteral("[FILE...]"));
    parser.addOption(storeOption());
    parser.addOption(ImportChoice::option());
    parser.addOption(typeOption());
    parser.addOption(columnsOption());
    parser.addOption(LogFile::strictOption());
    addFilterOptions(parser);
}

QString MessageSource::synopsis()
{
    return QStringLiteral("[--store DIR | FILE... [--type NAME|NUMBER] [--columns CODES] [--strict]] ")
           + filterSynopsis();
}

bool MessageSource::choose(const QCommandLineParser &parser, const QString &subcommand)
{
    QString problem = usageProblem(parser, subcommand);
    ImportChoice choice;
    if (problem.isEmpty())
        problem = choice.setFrom(parser);
    if (problem.isEmpty())
        problem = ::setFilter(filter, parser);
    if (!problem.isEmpty()) {
        wrongUsage(problem, subcommand);
        return false;
    }
    const QStringList paths = parser.positionalArguments();
    if (paths.isEmpty())
        chooseStore(chosenStoreFolder(parser), choice);
    for (const QString &file : paths)
        chooseFile(file, parser);
    return true;
}

void MessageSource::chooseFile(const QString &filePath, const QCommandLineParser &parser)
{
    files.push_back(std::make_unique<LogFile>(filePath, parser));
}

void MessageSource::chooseStore(const QString &folder, const ImportChoice &choice)
{
    path = folder;
    imports = choice;
    store = std::make_unique<ChunkStore>();
}

QString MessageSource::name() const
{
    if (store)
        return path;
    return files.size() == 1 ? files.front()->name() : counted(files.size(), QStringLiteral("file"));
}

LogInfo MessageSource::info() const
{
    if (!store)
        return files.at(std::size_t(current))->info();
    return current > 0 ? store->logInfo(current) : LogInfo();
}

bool MessageSource::open()
{
    if (store)
        return openStore(*store, path, ChunkStore::Mode::Read) && hasImports(*store, path, imports);
    bool areOpen = true;
    for (const auto &file : files)
        areOpen = file->open() && areOpen;
    return areOpen;
}

ExitStatus MessageSource::visit(const MessageVisitor &visitor, ProgressBar *bar)
{
    takeInterruptions();
    if (store)
        return visitStore(visitor, bar);
    return files.size() == 1 ? visitFile(visitor, bar) : visitFiles(visitor, bar);
}

ExitStatus MessageSource::visitStore(const MessageVisitor &visitor, ProgressBar *bar)
{
    const auto enter = [this](int import) {
        const bool isWanted = imports.isAll() || imports.contains(import);
        current = import;
        if (isWanted && importListener)
            importListener();
        filter.beginLog([this] { return info(); });
        return isWanted;
    };
    const auto visitChosen = [&](const CAN::CanRxMessage &message, const QString &note) {
        anyMessage = true;
        return !wasInterrupted() && (!filter.passes(message, !note.isEmpty()) || visitor(message, note));
    };
    if (bar)
        visitWithBar(*store, enter, visitChosen, *bar);
    else
        store->forEachMessage(enter, visitChosen);
    complainOfDamage(*store, path);
    if (wasInterrupted())
        return interrupted(path);
    return complainOfFilter(filter, path, store->warnings().isEmpty() ? ExitStatus::Success : ExitStatus::Failure);
}

ExitStatus MessageSource::visitFile(const MessageVisitor &visitor, ProgressBar *bar)
{
    LogFile &file = *files.front();
    filter.beginLog([&file] { return file.info(); });
    const auto visitChosen = [&](const CAN::CanRxMessage &message, const QString &note) {
        anyMessage = true;
        return !wasInterrupted() && (!filter.passes(message, !note.isEmpty()) || visitor(message, note));
    };
    return complainOfFilter(filter, file.name(), file.read(visitChosen, bar));
}

namespace
{

/// One of several files: its next message that was chosen.
struct Branch {
    LogFile *file;
    MessageFilter filter;
    CAN::CanRxMessage message;
    QString note;
    qint64 time = 0;

    /// Reads on to it; false at the end.
    bool advance()
    {
        while (!wasInterrupted() && file->next(message, note)) {
            if (filter.passes(message, !note.isEmpty())) {
                time = inMicroseconds(message.timeStamp);
                return true;
            }
        }
        return false;
    }
};

/// How far several files together were read, for one bar.
class SharedBar
{
public:
    explicit SharedBar(ProgressBar *progressBar)
        : bar(progressBar)
    {
    }
    FrameReader::Progress add()
    {
        shares.push_back({});
        return [this, index = shares.size() - 1](qint64 bytesRead, qint64 bytesTotal) {
            shares[index] = {bytesRead, bytesTotal};
            Share all;
            for (const Share &share : shares) {
                all.read += share.read;
                all.total += share.total;
            }
            if (bar)
                bar->update(all.read, all.total);
        };
    }

private:
    struct Share {
        qint64 read = 0;
        qint64 total = 0;
    };
    ProgressBar *bar;
    std::vector<Share> shares;
};

/// The earliest of @p branches; of several the file named first.
Branch *earliest(const std::vector<Branch *> &branches)
{
    const auto found = std::min_element(branches.cbegin(), branches.cend(),
                                        [](const Branch *a, const Branch *b) { return a->time < b->time; });
    return found == branches.cend() ? nullptr : *found;
}

ExitStatus worse(ExitStatus a, ExitStatus b)
{
    return a == ExitStatus::Success ? b : a;
}

} // namespace

ExitStatus MessageSource::visitFiles(const MessageVisitor &visitor, ProgressBar *bar)
{
    SharedBar shared(bar);
    std::vector<Branch> branches;
    branches.reserve(files.size());
    std::vector<Branch *> reading;
    for (const auto &file : files) {
        branches.push_back({file.get(), filter, {}, {}, 0});
        Branch &branch = branches.back();
        file->start(shared.add());
        branch.filter.beginLog([log = file.get()] { return log->info(); });
        if (branch.advance())
            reading.push_back(&branch);
    }
    quint32 index = 0;
    while (Branch *next = earliest(reading)) {
        next->message.messageIndex = index++; // in the order that is shown
        current = int(next - branches.data());
        if (wasInterrupted() || !visitor(next->message, next->note))
            break;
        if (!next->advance())
            reading.erase(std::find(reading.begin(), reading.end(), next));
    }
    if (bar)
        bar->clear();
    ExitStatus status = ExitStatus::Success;
    for (const Branch &branch : branches) {
        anyMessage = anyMessage || branch.file->messageCount() > 0;
        status = worse(status, complainOfFilter(branch.filter, branch.file->name(), branch.file->finish()));
        if (status == ExitStatus::Interrupted)
            break; // said once
    }
    return status;
}

ExitStatus MessageSource::complainOfFilter(const MessageFilter &used, const QString &log, ExitStatus status) const
{
    if (!used.problem().isEmpty()) {
        complain(log, used.problem());
        return worse(status, ExitStatus::Failure);
    }
    for (const QString &channel : used.unknownNames())
        complain(log, QStringLiteral("warning: no channel in it is called '%1'").arg(channel));
    return status;
}
