// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/archivearguments.h"
#include "apps/canlog/archivefaults.h"
#include "apps/canlog/inputfile.h"
#include "apps/canlog/interruption.h"
#include "apps/canlog/output.h"
#include "apps/canlog/progressbar.h"
#include "apps/canlog/storefolder.h"
#include "apps/canlog/storerequest.h"
#include "apps/canlog/unpacking.h"
#include "canloghandler/canloghandler.h"
#include "host/store/mergingstore.h"
#include "host/store/streamstore.h"

#include <QCommandLineParser>
#include <QDataStream>
#include <QFile>
#include <QFileInfo>

namespace
{

/// Reads the chunks of an archive that is merged into it, and keeps only what they come to.
class ArchiveReader : public StreamStore
{
public:
    quint64 messageCount = 0;
    QString errorText;
    QStringList refusals; ///< why chunks are none, in their order

    void setLastErrorText(const QString &text) override { errorText = text; }
    bool parseQCLStream(QDataStream &stream, bool &) override
    {
        ChunkFormat::Chunk chunk;
        QString fault = ChunkFormat::readChunk(stream, chunk);
        if (fault.isEmpty() && !stream.atEnd())
            fault = ChunkFormat::Fault(ChunkFormat::Fault::TooLong).text();
        if (!fault.isEmpty()) {
            refusals.append(fault);
            return false;
        }
        messageCount += quint64(chunk.summary.messageCount);
        return true;
    }
};

bool isReadable(const QString &path)
{
    const QString problem = whyUnreadable(path, FileKind::Archive);
    if (!problem.isEmpty())
        complain(path, problem);
    return problem.isEmpty();
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

/// Complains of the chunks in @p folder, which an archive was unpacked into, that it does not have when it is opened as
/// a store: whatever ends in "qcl" is one, as the library has it.
void complainOfHiddenChunks(const QString &folder)
{
    const QFileInfoList files =
        QDir(folder).entryInfoList({QStringLiteral("*qcl")}, QDir::Files | QDir::Hidden | QDir::CaseSensitive);
    for (const QFileInfo &info : files) {
        if (info.isHidden() || !info.fileName().endsWith(QLatin1String(".qcl")))
            complain(info.filePath(), QStringLiteral("warning: a store shows only files like chunk-1.qcl; rename it"));
    }
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

/// `--as NAME`
QCommandLineOption nameOption()
{
    return {QStringLiteral("as"), QStringLiteral("Name of the new folder. Default: the name of the archive."),
            QStringLiteral("NAME")};
}

/// Whether @p name can be that of a folder in a store, which is shown as one.
bool isPlainName(const QString &name)
{
    return !name.startsWith(QLatin1Char('.')) && !name.contains(QLatin1Char('/')) && !name.contains(QLatin1Char('\\'))
           && printable(name) == name;
}

/// Has @p store note in its journal that the archive @p path was unpacked into @p folder. False when it cannot.
bool noteUnpacked(ChunkStore &store, const QString &path, const QString &folder, const QString &firstHeader)
{
    bool isNoted = false;
    QObject::connect(&store, &ChunkStore::importFinished,
                     [&](const ImportRecord &record) { isNoted = record.state == ImportRecord::State::Succeeded; });
    if (!firstHeader.isNull())
        store.notifyNewZippedFile(firstHeader, folder, QDir(folder), QFileInfo(path).absoluteFilePath());
    store.notifyZipFileLoaded(QFileInfo(folder).fileName());
    return isNoted;
}

/// What is in @p folder, said when all of it came out of the archive @p path.
ExitStatus tellUnpacked(const QString &path, const QString &folder, quint64 chunkCount, const QString &how, Output &out)
{
    ChunkStore unpacked;
    unpacked.open(folder, ChunkStore::Mode::Read); // that of an archive without chunks is no store, and has nothing
    // Some damage shows only when all is read.
    unpacked.forEachMessage([](const CAN::CanRxMessage &, const QString &) { return true; });
    complainOfDamage(unpacked, folder);
    complainOfHiddenChunks(folder);
    out.writeLine(printable(
        QStringLiteral("%1: %2, %3 %4").arg(path, contentText(chunkCount, unpacked.messageCount()), how, folder)));
    return unpacked.warnings().isEmpty() ? ExitStatus::Success : ExitStatus::Failure;
}

/// What is to be done when @p folder is there already: nothing when it holds what is in the archive @p path.
ExitStatus compareFormer(const QString &path, const QString &folder, ProgressBar &bar, Output &out)
{
    const Comparison comparison = compareWithUnpacked(path, folder, &bar);
    bar.clear();
    if (comparison.isInterrupted)
        return interrupted(path);
    if (!comparison.archive.isArchive) {
        complain(path, notLoadedText(path, {}, folderAdvice()));
        return ExitStatus::Failure;
    }
    tellOtherEntries(path, comparison.archive);
    const bool isFaulty = complainOfFaults(path, comparison.archive);
    const QStringList &differences = comparison.differences;
    if (!differences.isEmpty()) {
        const QString more = QStringLiteral(" (and %1 more)").arg(differences.size() - 1);
        complain(folder,
                 QStringLiteral("is there and does not hold what is in %1: %2%3; unpack it beside that with --as "
                                "NAME, or rename or remove that and unzip again")
                     .arg(path, differences.constFirst(), differences.size() > 1 ? more : QString()));
        return ExitStatus::Failure;
    }
    const ExitStatus status = tellUnpacked(path, folder, quint64(comparison.archive.delivered),
                                           QStringLiteral("was unpacked before in"), out);
    endInterruptions();
    return isFaulty ? ExitStatus::Failure : status;
}

ExitStatus unpackNew(const QString &path, const QString &folder, ChunkStore &store, ProgressBar &bar, Output &out)
{
    Unpacking unpacking(store.getDataChunkLocation().path());
    const FileResult result = unpacking.unpack(path, &bar);
    bar.clear();
    if (result.isInterrupted)
        return interrupted(path);
    if (!result.ok) {
        const QString reason = unpacking.errorText().isEmpty() ? result.errorText : unpacking.errorText();
        complain(path, notLoadedText(path, reason, folderAdvice()));
        return ExitStatus::Failure;
    }
    tellOtherEntries(path, result.archive);
    const bool isFaulty = complainOfFaults(path, result.archive);
    if (isFaulty && result.archive.delivered == 0)
        return ExitStatus::Failure; // a folder with nothing in it would only be in the way of the next try
    if (!unpacking.moveTo(folder)) {
        complain(folder, QStringLiteral("cannot be made; %1").arg(folderAdvice()));
        return ExitStatus::Failure;
    }
    if (!noteUnpacked(store, path, folder, unpacking.firstHeader())) {
        QDir(folder).removeRecursively();
        complain(path, notLoadedText(path, store.errorString(), folderAdvice()));
        return ExitStatus::Failure;
    }
    endInterruptions();
    const ExitStatus status =
        tellUnpacked(path, folder, quint64(result.archive.delivered), QStringLiteral("unpacked in"), out);
    return isFaulty ? ExitStatus::Failure : status;
}

ExitStatus runUnzip(const QCommandLineParser &parser, Output &out)
{
    const QString path = archiveAndStoreArgument(parser, QStringLiteral("unzip"));
    if (path.isEmpty())
        return ExitStatus::WrongUsage;
    const QString name = parser.isSet(nameOption()) ? parser.value(nameOption()) : QFileInfo(path).fileName();
    if (name.isEmpty() || (parser.isSet(nameOption()) && !isPlainName(name)))
        return wrongUsage(QStringLiteral("--as needs the plain name of a folder"), QStringLiteral("unzip"));
    const QString storeFolder = chosenStoreFolder(parser);
    NewStoreFolder made(storeFolder);
    ChunkStore store;
    if (!openForArchive(path, store, storeFolder))
        return ExitStatus::Failure;
    const QString folder = store.getDataChunkLocation().filePath(name);
    ProgressBar bar(path, isBarWanted(parser));
    ExitStatus status = ExitStatus::Failure;
    if (QFileInfo(folder).isDir())
        status = compareFormer(path, folder, bar, out);
    else if (QFileInfo::exists(folder))
        complain(folder, QStringLiteral("is a file, where the archive would get its folder; rename it, or name another "
                                        "store with --store"));
    else
        status = unpackNew(path, folder, store, bar, out);
    if (QFileInfo(folder).isDir())
        made.keep();
    return status;
}

/// `--again`
QCommandLineOption againOption()
{
    return {QStringLiteral("again"),
            QStringLiteral("Merges an archive even when the store holds it already: the same path, size and time of "
                           "its last change.")};
}

/// Whether @p store holds the archive @p path already, or a part of it, after a complaint: all that would be there
/// twice.
bool isMerged(const QString &path, const ImportSource &source, const ChunkStore &store, const QString &storeFolder)
{
    const int whole = store.findImport(source);
    const int part = whole == 0 ? store.findKeptPart(source) : 0;
    if (whole != 0)
        complain(path, QStringLiteral("is in %1 already, as import %2; --again merges it once more")
                           .arg(storeFolder, QString::number(whole)));
    else if (part != 0)
        complain(path, QStringLiteral("is in %1 in part, as import %2; remove that with 'canlog imports --remove %2', "
                                      "or --again merges it beside that")
                           .arg(storeFolder, QString::number(part)));
    return whole != 0 || part != 0;
}

/// Has the journal of @p store say which chunk of the archive @p path its last import, a merge that was told to have
/// succeeded, did not get: @p loss, empty when it got all.
void noteLoss(const QString &path, const QString &loss, ChunkStore &store)
{
    if (!loss.isEmpty() && !store.markPartial(store.imports().size(), loss))
        complain(path, QStringLiteral("warning: the store calls the import whole: %1; %2")
                           .arg(store.errorString(), folderAdvice()));
}

ExitStatus runMerge(const QCommandLineParser &parser, Output &out)
{
    const QString path = archiveAndStoreArgument(parser, QStringLiteral("merge"));
    if (path.isEmpty())
        return ExitStatus::WrongUsage;
    const QString storeFolder = chosenStoreFolder(parser);
    NewStoreFolder made(storeFolder);
    MergingStore store;
    if (!openForArchive(path, store, storeFolder))
        return ExitStatus::Failure;
    const ImportSource source = ImportSource::of(path);
    if (!parser.isSet(againOption()) && isMerged(path, source, store, storeFolder))
        return ExitStatus::Failure;
    store.setPartialImports(ChunkStore::PartialImports::Remove);
    store.setImportSource(source);
    ProgressBar bar(path, isBarWanted(parser));
    const StoreImport import = requestImport(store, {path, DatachunkHelper::QclZipArchive, {}, true}, &bar);
    bar.clear();
    const ImportRecord &record = import.record;
    const bool isRemoved = record.keeping == ImportRecord::Keeping::Removed;
    if (record.messageCount > 0 && !isRemoved)
        made.keep();
    // The last chunk alone says whether the library calls it a success; chunks it never came to are another matter.
    if (wasInterrupted() && !import.result.ok
        && (import.result.archive.count.contains(ArchiveReport::Reason::NotReached) || record.messageCount == 0)) {
        if (record.messageCount == 0 || isRemoved)
            return interrupted(path);
        complain(path, QStringLiteral("interrupted; the %1 merged until then cannot be removed from %2")
                           .arg(counted(record.messageCount, QStringLiteral("message")), storeFolder));
        return ExitStatus::Interrupted;
    }
    // What cannot be written has its reason in the record.
    const ArchiveReport report = withoutFaults(import.result.archive, ArchiveReport::Reason::NotWritten);
    const bool isStored = record.state == ImportRecord::State::Succeeded;
    if (isStored)
        noteLoss(path, lossText(import.result.archive, store.refusals()), store);
    const bool isExplained = store.errorString().isEmpty() && report.count.contains(ArchiveReport::Reason::Refused);
    const QString advice = store.errorString().isEmpty() ? repackingAdvice() : folderAdvice();
    if (!isStored && record.messageCount == 0 && !isExplained) {
        complain(path, notLoadedText(path, record.errorText, advice));
        return ExitStatus::Failure;
    }
    if (!isStored && isRemoved) {
        complain(path, QStringLiteral("cannot be stored: %1; the %2 merged until then are removed again")
                           .arg(withAdvice(record.errorText, advice),
                                counted(record.messageCount, QStringLiteral("message"))));
        return ExitStatus::Failure;
    }
    if (!isStored && record.messageCount > 0)
        complain(path, QStringLiteral("warning: %1").arg(withAdvice(record.errorText, advice)));
    tellOtherEntries(path, report);
    const bool isFaulty = complainOfFaults(path, report, store.refusals());
    if (record.messageCount == 0 && (!isStored || isFaulty))
        return ExitStatus::Failure;
    made.keep();
    endInterruptions();
    out.writeLine(printable(QStringLiteral("%1: %2, %3, stored in %4")
                                .arg(path, counted(record.messageCount, QStringLiteral("message")),
                                     counted(record.noteCount, QStringLiteral("note")), storeFolder)));
    return isStored && !isFaulty ? ExitStatus::Success : ExitStatus::Failure;
}

ExitStatus runCheck(const QCommandLineParser &parser, Output &out)
{
    const QString path = archiveArgument(parser, QStringLiteral("check"));
    if (path.isEmpty())
        return ExitStatus::WrongUsage;
    if (!isReadable(path))
        return ExitStatus::Failure;
    ArchiveReader reader;
    ProgressBar bar(path, isBarWanted(parser));
    const FileResult result = readFile(reader, {path, DatachunkHelper::QclZipArchive, {}, true}, &bar);
    bar.clear();
    ArchiveReport report = result.archive;
    if (report.isArchive && !result.isInterrupted) {
        const QVector<ArchiveReport::Fault> taken = takenPlaces(path);
        report.faults += taken;
        if (!taken.isEmpty())
            report.count[ArchiveReport::Reason::PlaceTaken] += taken.size();
    }
    if (result.isInterrupted || wasInterrupted())
        return interrupted(path);
    if (!report.isArchive || !reader.errorText.isEmpty()) {
        complain(path, notLoadedText(path, reader.errorText, repackingAdvice()));
        return ExitStatus::Failure;
    }
    endInterruptions();
    tellOtherEntries(path, report);
    const bool isFaulty = complainOfFaults(path, report, reader.refusals);
    out.writeLine(
        printable(QStringLiteral("%1: %2").arg(path, contentText(quint64(report.chunks), reader.messageCount))));
    return isFaulty ? ExitStatus::Failure : ExitStatus::Success;
}

void addUnzipOptions(QCommandLineParser &parser)
{
    addArchiveAndStoreOptions(parser);
    parser.addOption(nameOption());
}

void addMergeOptions(QCommandLineParser &parser)
{
    addArchiveAndStoreOptions(parser);
    parser.addOption(againOption());
}

} // namespace

Subcommand unzipSubcommand()
{
    return {
        QStringLiteral("unzip"),
        QStringLiteral("Unpacks an archive into a folder of its own inside a store."),
        QStringLiteral("[--store DIR] [--as NAME] [--quiet] ARCHIVE"),
        QStringLiteral("The folder is named like the archive and can be shown as a store; the messages of the\n"
                       "store around it do not change. Chunks in folders of the archive are unpacked without\n"
                       "those. Where such a folder is, names, sizes and checksums are compared: when they are those\n"
                       "of the archive, it is left as it is, else refused with 1. Every chunk that is left out is\n"
                       "named, and the exit status is 1. Ctrl-C leaves nothing and ends with 130."),
        QStringLiteral("  canlog unzip trips.zip --store all && canlog show --store all/trips.zip\n"
                       "  canlog unzip new/trips.zip --store all --as new-trips\n"),
        addUnzipOptions,
        runUnzip};
}

Subcommand mergeSubcommand()
{
    return {
        QStringLiteral("merge"),
        QStringLiteral("Adds the messages of an archive to a store."),
        QStringLiteral("[--store DIR] [--again] [--quiet] ARCHIVE"),
        QStringLiteral("The messages come in the order in which they were stored, as one import; small chunks are\n"
                       "put together. Every chunk that is left out is named, and the exit status is 1; 'canlog\n"
                       "imports' then lists the import as failed and the sound chunks as kept. When the store cannot\n"
                       "be written, or Ctrl-C ends it, with 130, nothing of it stays. An archive that the store\n"
                       "holds already, whole or in part, is not merged again, which is said with 1."),
        QStringLiteral("  canlog merge trips.zip --store all\n"),
        addMergeOptions,
        runMerge};
}

Subcommand checkSubcommand()
{
    return {
        QStringLiteral("check"),
        QStringLiteral("Counts the chunks and messages of an archive without storing them."),
        QStringLiteral("[--quiet] ARCHIVE"),
        QStringLiteral("Every chunk that merge or unzip would leave out is named with the reason: damaged, encrypted,\n"
                       "with another's name or number and the like; the exit status is then 1, and messages of\n"
                       "damaged chunks do not count. Entries that are no chunks are named, too, with 0."),
        QStringLiteral("  canlog check trips.zip\n"),
        addArchiveOptions,
        runCheck};
}
