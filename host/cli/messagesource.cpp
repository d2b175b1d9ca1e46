#include "host/cli/messagesource.h"

#include "host/cli/filereading.h"
#include "host/cli/formats.h"
#include "host/cli/inputfile.h"
#include "host/cli/interruption.h"
#include "host/cli/output.h"
#include "host/cli/progressbar.h"
#include "host/cli/storefolder.h"
#include "host/store/notes.h"
#include "host/store/streamstore.h"

#include <QCommandLineParser>
#include <QThread>

namespace
{

/// Hands on each message that the library delivers as soon as its note is final: the latest one may get more of it.
class VisitingStore : public StreamStore
{
public:
    explicit VisitingStore(const MessageVisitor &messageVisitor)
        : visitor(messageVisitor)
    {
    }

    bool isEmpty() const { return empty; }
    /// Whether the visitor wanted no more.
    bool isStopped() const { return !wantsMore; }
    /// Why the data-chunk file could not be read; empty when it could be, and of other formats.
    QString fault() const { return chunkFault; }

    void addImportedMessages(const QList<CAN::CanRxMessage> &messages,
                             const QMap<unsigned int, QString> &notes) override
    {
        if (messages.isEmpty()) {
            addMessageNoteToLastMessage(joinedNotes(notes));
            return;
        }
        visitLatest();
        empty = false;
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
    bool loadQclFile(QString path) override;

private:
    void visit(const CAN::CanRxMessage &message, const QString &note)
    {
        if (!wantsMore || visitor(message, note))
            return;
        wantsMore = false;
        QThread::currentThread()->requestInterruption(); // the rest of the file may be gigabytes long
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
    bool wantsMore = true;
    bool empty = true;
    QString chunkFault;
};

bool VisitingStore::loadQclFile(QString path)
{
    ChunkFormat::Chunk chunk;
    chunkFault = ChunkFormat::readChunkFile(path, chunk);
    if (!chunkFault.isEmpty())
        return false;
    empty = chunk.messages.isEmpty();
    wantsMore = ChunkFormat::forEachMessage(chunk, visitor);
    return true;
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
}

QString MessageSource::synopsis()
{
    return QStringLiteral("[--store DIR | FILE [--type NAME|NUMBER] [--columns CODES]]");
}

QString MessageSource::warningHelp()
{
    return QStringLiteral(
        "Lines of a FILE that were dropped or read in part are counted on standard error at the end,\n"
        "and a file without any message is named there; the exit status is then 0 all the same.");
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
    options = &parser;
}

void MessageSource::chooseStore(const QString &folder)
{
    path = folder;
    options = nullptr;
}

bool MessageSource::open()
{
    if (!options) {
        store = std::make_unique<ChunkStore>();
        return openStore(*store, path, ChunkStore::Mode::Read);
    }
    input = std::make_unique<InputFile>(path);
    const QString problem = input->prepare();
    if (!problem.isEmpty()) {
        complain(path, problem);
        return false;
    }
    format = formatOf(*input, *options);
    if (!format)
        return false;
    text = requestText(*options, *format);
    return true;
}

ExitStatus MessageSource::visit(const MessageVisitor &visitor, ProgressBar *bar)
{
    takeInterruptions();
    const MessageVisitor untilInterrupted = [&](const CAN::CanRxMessage &message, const QString &note) {
        return !wasInterrupted() && visitor(message, note);
    };
    const ExitStatus status = options ? visitFile(untilInterrupted, bar) : visitStore(untilInterrupted);
    if (!wasInterrupted())
        return status;
    complain(path, QStringLiteral("interrupted"));
    return ExitStatus::Interrupted;
}

ExitStatus MessageSource::visitFile(const MessageVisitor &visitor, ProgressBar *bar)
{
    VisitingStore visiting(visitor);
    const FileResult result = readFile(visiting, {input->path(), format->type, text}, bar);
    if (bar && result.ok)
        bar->finish(quint64(result.report.messages));
    else if (bar)
        bar->clear();
    if (visiting.isStopped() || result.isInterrupted)
        return ExitStatus::Success;
    if (!result.ok) {
        const QString reason = visiting.fault();
        complain(path, notReadText(*format, reason.isEmpty() ? result.errorText : reason));
        return ExitStatus::Failure;
    }
    if (!result.report.readError.isEmpty()) {
        complain(path, QStringLiteral("cannot be read any further: %1").arg(result.report.readError));
        return ExitStatus::Failure;
    }
    if (visiting.isEmpty()) {
        complain(path, noMessagesText(*format));
        return ExitStatus::Success;
    }
    const QString faulty = faultyLinesText(result.report);
    if (!faulty.isEmpty())
        complain(path, faulty);
    return ExitStatus::Success;
}

ExitStatus MessageSource::visitStore(const MessageVisitor &visitor)
{
    store->forEachMessage(visitor);
    complainOfDamage(*store, path);
    return store->warnings().isEmpty() ? ExitStatus::Success : ExitStatus::Failure;
}
