#include "canloghandler/canloghandler.h"
#include "host/cli/archivearguments.h"
#include "host/cli/inputfile.h"
#include "host/cli/output.h"
#include "host/cli/storefolder.h"
#include "host/cli/storerequest.h"
#include "host/store/streamstore.h"

#include <QCommandLineParser>
#include <QFile>
#include <QFileInfo>

namespace
{

/// Reads the chunks of an archive that is merged into it, and keeps only what they come to.
class ArchiveReader : public StreamStore
{
public:
    bool isArchive = false;
    quint64 chunkCount = 0; ///< without those that are damaged
    quint64 messageCount = 0;
    QString errorText;

    void setLastErrorText(const QString &text) override { errorText = text; }
    bool parseQCLStream(QDataStream &stream, bool &) override
    {
        ChunkFormat::Chunk chunk;
        if (!ChunkFormat::readChunk(stream, chunk).isEmpty())
            return false;
        ++chunkCount;
        messageCount += quint64(chunk.summary.messageCount);
        return true;
    }
    void notifyZipFileLoaded(const QString &) override { isArchive = true; }
};

/// A store that also counts the chunks of an archive that is merged, the damaged ones included that it is given.
class MergeStore : public ChunkStore
{
public:
    quint64 chunkCount = 0;

    bool parseQCLStream(QDataStream &stream, bool &isFd) override
    {
        ++chunkCount;
        return ChunkStore::parseQCLStream(stream, isFd);
    }
};

/// How many chunks the archive @p path has, also those that prove damaged when they are read. The library's own count
/// ends at 65535.
quint64 chunkCountOf(const QString &path)
{
    QPointer<DatachunkHandler> none;
    QMap<double, QString> chunks;
    CANLogHandler(none).sortZipFile(path, chunks);
    return quint64(chunks.size());
}

bool isReadable(const QString &path)
{
    const QString problem = whyUnreadable(path, FileKind::Archive);
    if (!problem.isEmpty())
        complain(path, problem);
    return problem.isEmpty();
}

QString folderAdvice()
{
    return QStringLiteral("check the store's folder, its permissions and the space left");
}

QString repackingAdvice()
{
    return QStringLiteral("pack its store anew with 'canlog zip'");
}

/// Whether @p count chunks are @p all that the archive @p path has; complains when they are not.
bool isComplete(const QString &path, quint64 count, quint64 all)
{
    if (count < all)
        complain(path,
                 QStringLiteral("warning: %1 of its %2 left out: damaged, or with a name that leads elsewhere; %3")
                     .arg(QString::number(all - count), counted(all, QStringLiteral("chunk")), repackingAdvice()));
    return count >= all;
}

/// False for a file that was never an archive, which may be a log named by mistake. What cannot be read may be one.
bool startsLikeAnArchive(const QString &path)
{
    QFile file(path);
    return !file.open(QIODevice::ReadOnly) || file.peek(2) == "PK";
}

/// @p reason and what to try: @p advice, unless it is about temporary files.
QString withAdvice(const QString &reason, const QString &advice)
{
    const bool isTemporaryFile = reason == CANLogHandler::tr("Cannot write a temporary file");
    return reason + QLatin1String("; ")
           + (isTemporaryFile ? QStringLiteral("set TMPDIR to a folder with more space") : advice);
}

/// What to say of the archive @p path of which nothing could be loaded, for @p reason, which may be empty, and what to
/// try where the archive itself is in order.
QString notLoadedText(const QString &path, const QString &reason, const QString &advice)
{
    if (!startsLikeAnArchive(path))
        return QStringLiteral(
            "is no zip archive; name one that 'canlog zip' wrote, or read a log with 'canlog import'");
    if (reason.isEmpty() || reason == CANLogHandler::tr("Invalid zip file"))
        return QStringLiteral("is no archive of data chunks, or is damaged; try 'unzip -t' on it");
    return QStringLiteral("cannot be loaded: %1").arg(withAdvice(reason, advice));
}

/// How many chunks are in @p folder, which an archive was unpacked into: whatever ends in "qcl", as the library has it.
/// Complains of those that the folder does not have when it is opened as a store.
quint64 unpackedChunkCount(const QString &folder)
{
    quint64 count = 0;
    const QFileInfoList files = QDir(folder).entryInfoList(QDir::Files | QDir::Hidden);
    for (const QFileInfo &info : files) {
        const QString name = info.fileName();
        if (!name.endsWith(QLatin1String("qcl")))
            continue;
        ++count;
        if (info.isHidden() || !name.endsWith(QLatin1String(".qcl")))
            complain(info.filePath(), QStringLiteral("warning: a store shows only files like chunk-1.qcl; rename it"));
    }
    return count;
}

/// Opens @p store in @p folder for the archive @p path; false after a complaint when there is no such file, or it
/// cannot be stored.
bool openForArchive(const QString &path, ChunkStore &store, const QString &folder)
{
    if (!isReadable(path) || !openStore(store, folder, ChunkStore::Mode::ReadWrite))
        return false;
    complainOfDamage(store, folder);
    return true;
}

ExitStatus runUnzip(const QCommandLineParser &parser, Output &out)
{
    const QString path = archiveAndStoreArgument(parser, QStringLiteral("unzip"));
    if (path.isEmpty())
        return ExitStatus::WrongUsage;
    const QString storeFolder = chosenStoreFolder(parser);
    NewStoreFolder made(storeFolder);
    ChunkStore store;
    if (!openForArchive(path, store, storeFolder))
        return ExitStatus::Failure;
    const QString folder = store.getDataChunkLocation().filePath(QFileInfo(path).fileName());
    const bool wasThere = QFileInfo(folder).isDir();
    if (!wasThere && QFileInfo::exists(folder)) {
        complain(folder, QStringLiteral("is a file, where the archive would get its folder; rename it, or name another "
                                        "store with --store"));
        return ExitStatus::Failure;
    }
    if (wasThere && !startsLikeAnArchive(path)) {
        // The library takes what is in the folder for the archive's, and does not look at the file.
        complain(path, notLoadedText(path, {}, folderAdvice()));
        return ExitStatus::Failure;
    }
    const ImportRecord record = requestImport(store, {path, DatachunkHelper::QclZipArchive, {}, false}).record;
    if (record.state != ImportRecord::State::Succeeded) {
        complain(path, notLoadedText(path, record.errorText, folderAdvice()));
        return ExitStatus::Failure;
    }
    made.keep();

    ChunkStore unpacked;
    unpacked.open(folder, ChunkStore::Mode::Read);
    complainOfDamage(unpacked, folder);
    const quint64 chunks = unpackedChunkCount(folder);
    const quint64 all = chunkCountOf(path);
    const bool isSound = unpacked.warnings().isEmpty();
    if (wasThere && (chunks < all || !isSound)) {
        // A program that was killed leaves half an archive, which the library takes for all of it.
        complain(folder, QStringLiteral("was there before and is not all of %1; rename or remove it and unzip again, "
                                        "or see with 'canlog check' whether it is damaged")
                             .arg(path));
        return ExitStatus::Failure;
    }
    const bool complete = isComplete(path, chunks, all);
    out.writeLine(printable(
        QStringLiteral("%1: %2, unpacked in %3").arg(path, contentText(chunks, unpacked.messageCount()), folder)));
    return complete && isSound ? ExitStatus::Success : ExitStatus::Failure;
}

ExitStatus runMerge(const QCommandLineParser &parser, Output &out)
{
    const QString path = archiveAndStoreArgument(parser, QStringLiteral("merge"));
    if (path.isEmpty())
        return ExitStatus::WrongUsage;
    const QString storeFolder = chosenStoreFolder(parser);
    NewStoreFolder made(storeFolder);
    MergeStore store;
    if (!openForArchive(path, store, storeFolder))
        return ExitStatus::Failure;
    const ImportRecord record = requestImport(store, {path, DatachunkHelper::QclZipArchive, {}, true}).record;
    const QString advice = store.errorString().isEmpty() ? repackingAdvice() : folderAdvice();
    // The library calls it a failure when the last chunk could not be stored, whatever became of the others.
    if (record.state != ImportRecord::State::Succeeded && record.messageCount == 0) {
        complain(path, notLoadedText(path, record.errorText, advice));
        return ExitStatus::Failure;
    }
    made.keep();
    if (!record.errorText.isEmpty())
        complain(path, QStringLiteral("warning: %1").arg(withAdvice(record.errorText, advice)));
    const bool complete = isComplete(path, store.chunkCount, chunkCountOf(path));
    out.writeLine(printable(QStringLiteral("%1: %2, %3, stored in %4")
                                .arg(path, counted(record.messageCount, QStringLiteral("message")),
                                     counted(record.noteCount, QStringLiteral("note")), storeFolder)));
    const bool isStored = record.state == ImportRecord::State::Succeeded && record.errorText.isEmpty();
    return complete && isStored ? ExitStatus::Success : ExitStatus::Failure;
}

ExitStatus runCheck(const QCommandLineParser &parser, Output &out)
{
    const QString path = archiveArgument(parser, QStringLiteral("check"));
    if (path.isEmpty())
        return ExitStatus::WrongUsage;
    if (!isReadable(path))
        return ExitStatus::Failure;
    ArchiveReader reader;
    QPointer<DatachunkHandler> readerPointer(&reader);
    CANLogHandler(readerPointer).loadZipMerged(path);
    if (!reader.isArchive || !reader.errorText.isEmpty()) {
        complain(path, notLoadedText(path, reader.errorText, repackingAdvice()));
        return ExitStatus::Failure;
    }
    const quint64 chunks = chunkCountOf(path);
    const bool complete = isComplete(path, reader.chunkCount, chunks);
    out.writeLine(printable(QStringLiteral("%1: %2").arg(path, contentText(chunks, reader.messageCount))));
    return complete ? ExitStatus::Success : ExitStatus::Failure;
}

} // namespace

Subcommand unzipSubcommand()
{
    return {QStringLiteral("unzip"),
            QStringLiteral("Unpacks an archive into a folder of its own inside a store."),
            QStringLiteral("[--store DIR] [--quiet] ARCHIVE"),
            QStringLiteral("The folder is named like the archive and can be shown as a store; the messages of the\n"
                           "store around it do not change. An archive unpacked before is left as it is; when that is\n"
                           "not all of it, the exit status is 1."),
            QStringLiteral("  canlog unzip trips.zip --store all && canlog show --store all/trips.zip\n"),
            addArchiveAndStoreOptions,
            runUnzip};
}

Subcommand mergeSubcommand()
{
    return {QStringLiteral("merge"),
            QStringLiteral("Adds the messages of an archive to a store."),
            QStringLiteral("[--store DIR] [--quiet] ARCHIVE"),
            QStringLiteral("The messages come in the order in which they were stored, as one import. When chunks are\n"
                           "left out because they are damaged, the exit status is 1."),
            QStringLiteral("  canlog merge trips.zip --store all\n"),
            addArchiveAndStoreOptions,
            runMerge};
}

Subcommand checkSubcommand()
{
    return {QStringLiteral("check"),
            QStringLiteral("Counts the chunks and messages of an archive without storing them."),
            QStringLiteral("[--quiet] ARCHIVE"),
            QStringLiteral("When chunks are damaged, their messages do not count and the exit status is 1."),
            QStringLiteral("  canlog check trips.zip\n"),
            addArchiveOptions,
            runCheck};
}
