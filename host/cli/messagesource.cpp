#include "host/cli/messagesource.h"

#include "host/cli/formats.h"
#include "host/cli/interruption.h"
#include "host/cli/logfile.h"
#include "host/cli/output.h"
#include "host/cli/storefolder.h"
#include "host/store/notes.h"

#include <QCommandLineParser>

namespace
{

/// Hands on each message that the library delivers as soon as its note is final: the latest one may get more of it.
class VisitingStore : public LogStore
{
public:
    explicit VisitingStore(const MessageVisitor &messageVisitor)
        : visitor(messageVisitor)
    {
    }

    void addImportedMessages(const QList<CAN::CanRxMessage> &messages,
                             const QMap<unsigned int, QString> &notes) override
    {
        if (messages.isEmpty()) {
            addMessageNoteToLastMessage(joinedNotes(notes));
            return;
        }
        LogStore::addImportedMessages(messages, notes);
        visitLatest();
        const QMap<int, QString> allNotes = notesByPosition(messages, notes);
        const int last = messages.size() - 1;
        for (int i = 0; i < last; ++i)
            visit(messages.at(i), allNotes.value(i));
        latest = messages.at(last);
        latestNote = allNotes.value(last);
        hasLatest = true;
    }
    void addMessageNoteToLastMessage(QString note) override
    {
        if (hasLatest)
            joinNote(latestNote, note);
    }
    void setImportFinished(bool, DatachunkHelper::ImportFileType, QString, bool) override { visitLatest(); }

protected:
    void takeChunk(const ChunkFormat::Chunk &chunk) override
    {
        if (!ChunkFormat::forEachMessage(chunk, visitor))
            stop();
    }

private:
    void visit(const CAN::CanRxMessage &message, const QString &note)
    {
        if (!isStopped() && !visitor(message, note))
            stop();
    }
    void visitLatest()
    {
        if (hasLatest)
            visit(latest, latestNote);
        hasLatest = false;
    }

    const MessageVisitor &visitor;
    CAN::CanRxMessage latest;
    QString latestNote;
    bool hasLatest = false;
};

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
    VisitingStore visiting(untilInterrupted);
    return file->read(visiting, bar);
}

ExitStatus MessageSource::visitStore(const MessageVisitor &visitor)
{
    store->forEachMessage(visitor);
    complainOfDamage(*store, path);
    if (wasInterrupted())
        return interrupted(path);
    return store->warnings().isEmpty() ? ExitStatus::Success : ExitStatus::Failure;
}
