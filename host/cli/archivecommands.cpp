#include "canloghandler/canloghandler.h"
#include "host/cli/inputfile.h"
#include "host/cli/output.h"
#include "host/cli/storefolder.h"
#include "host/cli/storerequest.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QThreadPool>

namespace
{

struct ArchiveContent {
    unsigned short chunkCount = 0;
    unsigned int messageCount = 0;
};

ArchiveContent contentOf(CANLogHandler &handler, const QString &path)
{
    ArchiveContent content;
    handler.checkZipFile(path, content.chunkCount, content.messageCount);
    return content;
}

QString contentText(quint64 chunkCount, quint64 messageCount)
{
    return counted(chunkCount, QStringLiteral("chunk")) + QLatin1String(", ")
           + counted(messageCount, QStringLiteral("message"));
}

/// The one argument; empty after a complaint when there is not exactly one.
QString archiveArgument(const QCommandLineParser &parser, const QString &subcommand)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() == 1 && !arguments.constFirst().isEmpty())
        return arguments.constFirst();
    wrongUsage(QStringLiteral("%1 needs one ARCHIVE").arg(subcommand), subcommand);
    return {};
}

bool isReadable(const QString &path)
{
    const QString problem = whyUnreadable(path);
    if (!problem.isEmpty())
        complain(path, problem);
    return problem.isEmpty();
}

ExitStatus runZip(const QCommandLineParser &parser, Output &out)
{
    const QString path = archiveArgument(parser, QStringLiteral("zip"));
    if (path.isEmpty())
        return ExitStatus::WrongUsage;
    if (QFileInfo(path).isDir()) {
        complain(path, QStringLiteral("is a folder; name the archive to write"));
        return ExitStatus::Failure;
    }
    ChunkStore store;
    if (!openStore(store, chosenStoreFolder(parser), ChunkStore::Mode::Read))
        return ExitStatus::Failure;
    complainOfDamage(store);

    QPointer<DatachunkHandler> storePointer(&store);
    CANLogHandler handler(storePointer);
    Q_EMIT store.sigZipDatachunks(QFileInfo(path).absoluteFilePath(), store.getDataChunkLocation());
    QCoreApplication::processEvents(); // takes the request, which starts the job
    QThreadPool::globalInstance()->waitForDone();

    // The job reports nothing, so the archive is read again.
    const ArchiveContent content = contentOf(handler, path);
    if (!QFileInfo::exists(path) || content.messageCount != store.messageCount()) {
        complain(path, QStringLiteral("cannot be written; check the folder, its permissions and the space left"));
        return ExitStatus::Failure;
    }
    out.writeLine(printable(QStringLiteral("%1: %2").arg(path, contentText(content.chunkCount, content.messageCount))));
    return ExitStatus::Success;
}

/// Loads the archive of the command line into the store, merged or unpacked; prints what @p describe(store, record)
/// makes of it.
template <typename Describe>
ExitStatus load(const QCommandLineParser &parser, const QString &subcommand, bool merge, Output &out, Describe describe)
{
    const QString path = archiveArgument(parser, subcommand);
    if (path.isEmpty())
        return ExitStatus::WrongUsage;
    ChunkStore store;
    if (!isReadable(path) || !openStore(store, chosenStoreFolder(parser), ChunkStore::Mode::ReadWrite))
        return ExitStatus::Failure;
    complainOfDamage(store);
    const ImportRecord record = requestImport(store, {path, DatachunkHelper::QclZipArchive, {}, merge}).record;
    if (record.state != ImportRecord::State::Succeeded) {
        complain(path, record.errorText.isEmpty() ? QStringLiteral("is no archive of data chunks, or is damaged")
                                                  : record.errorText);
        return ExitStatus::Failure;
    }
    if (!record.errorText.isEmpty())
        complain(path, QStringLiteral("warning: %1").arg(record.errorText));
    out.writeLine(printable(QStringLiteral("%1: %2").arg(path, describe(store, record))));
    return ExitStatus::Success;
}

ExitStatus runUnzip(const QCommandLineParser &parser, Output &out)
{
    return load(parser, QStringLiteral("unzip"), false, out, [&](ChunkStore &store, const ImportRecord &record) {
        const QString folder = store.getDataChunkLocation().filePath(QFileInfo(record.path).fileName());
        ChunkStore unpacked;
        unpacked.open(folder, ChunkStore::Mode::Read);
        complainOfDamage(unpacked);
        const int chunks = unpacked.getDataChunkLocation().entryList({QStringLiteral("*.qcl")}, QDir::Files).size();
        return QStringLiteral("%1, unpacked in %2").arg(contentText(quint64(chunks), unpacked.messageCount()), folder);
    });
}

ExitStatus runMerge(const QCommandLineParser &parser, Output &out)
{
    return load(parser, QStringLiteral("merge"), true, out, [&](ChunkStore &, const ImportRecord &record) {
        return QStringLiteral("%1, %2, stored in %3")
            .arg(counted(record.messageCount, QStringLiteral("message")),
                 counted(record.noteCount, QStringLiteral("note")), chosenStoreFolder(parser));
    });
}

ExitStatus runCheck(const QCommandLineParser &parser, Output &out)
{
    const QString path = archiveArgument(parser, QStringLiteral("check"));
    if (path.isEmpty())
        return ExitStatus::WrongUsage;
    if (!isReadable(path))
        return ExitStatus::Failure;
    ChunkStore store; // knows the chunks' format; nothing is stored
    QPointer<DatachunkHandler> storePointer(&store);
    CANLogHandler handler(storePointer);
    const ArchiveContent content = contentOf(handler, path);
    if (content.chunkCount == 0) {
        complain(path, QStringLiteral("no data chunk in it; is it an archive that 'canlog zip' wrote?"));
        return ExitStatus::Failure;
    }
    out.writeLine(printable(QStringLiteral("%1: %2").arg(path, contentText(content.chunkCount, content.messageCount))));
    return ExitStatus::Success;
}

void addArchiveOption(QCommandLineParser &parser)
{
    parser.addPositionalArgument(QStringLiteral("ARCHIVE"), QStringLiteral("A zip archive of data chunks."));
}

void addArchiveAndStoreOptions(QCommandLineParser &parser)
{
    addArchiveOption(parser);
    parser.addOption(storeOption());
}

} // namespace

Subcommand zipSubcommand()
{
    return {QStringLiteral("zip"),
            QStringLiteral("Packs the chunk files of a store into an archive."),
            QStringLiteral("[--store DIR] ARCHIVE"),
            QStringLiteral("An archive of that name is replaced. The store stays as it is."),
            QStringLiteral("  canlog zip --store trips trips.zip\n"),
            addArchiveAndStoreOptions,
            runZip};
}

Subcommand unzipSubcommand()
{
    return {QStringLiteral("unzip"),
            QStringLiteral("Unpacks an archive into a folder of its own inside a store."),
            QStringLiteral("[--store DIR] ARCHIVE"),
            QStringLiteral("The folder is named like the archive and can be shown as a store; the messages of the\n"
                           "store around it do not change. An archive unpacked before is left as it is."),
            QStringLiteral("  canlog unzip trips.zip --store all && canlog show --store all/trips.zip\n"),
            addArchiveAndStoreOptions,
            runUnzip};
}

Subcommand mergeSubcommand()
{
    return {QStringLiteral("merge"),
            QStringLiteral("Adds the messages of an archive to a store."),
            QStringLiteral("[--store DIR] ARCHIVE"),
            QStringLiteral("The messages come in the order in which they were stored, as one import."),
            QStringLiteral("  canlog merge trips.zip --store all\n"),
            addArchiveAndStoreOptions,
            runMerge};
}

Subcommand checkSubcommand()
{
    return {QStringLiteral("check"),
            QStringLiteral("Counts the chunks and messages of an archive without storing them."),
            QStringLiteral("ARCHIVE"),
            QString(),
            QStringLiteral("  canlog check trips.zip\n"),
            addArchiveOption,
            runCheck};
}
