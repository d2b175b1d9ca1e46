// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/archivearguments.h"
#include "apps/canlog/interruption.h"
#include "apps/canlog/output.h"
#include "apps/canlog/progressbar.h"
#include "apps/canlog/storefolder.h"
#include "canloghandler/canloghandler.h"

#include <QCommandLineParser>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>
#include <quazip/quazip.h>

#include <algorithm>

namespace
{

bool isChunk(const QString &name)
{
    return name.endsWith(QLatin1String("qcl"));
}

/// Whether a store's folder has files of that name: chunks and the journal of imports.
bool isOfAStore(const QString &name)
{
    return (isChunk(name) && !name.contains(QLatin1Char('/'))) || name == QLatin1String("imports.json");
}

/// Whose archive a file is.
enum class Owner {
    Ours, ///< this program's
    Another,
    Unknown, ///< encrypted: this program does not write such, whatever the names
};

/// What the entry that @p path begins with says of it: all that is certain of half an archive.
Owner ownerByFirstEntry(const QString &path)
{
    constexpr int headerSize = 30;
    constexpr int flagsPosition = 6;
    constexpr int encryptedFlag = 1;
    constexpr int nameSizePosition = 26;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Owner::Another;
    const QByteArray header = file.read(headerSize);
    if (header.size() < headerSize || !header.startsWith("PK\3\4"))
        return Owner::Another;
    if (header.at(flagsPosition) & encryptedFlag)
        return Owner::Unknown;
    const auto nameSize = qFromLittleEndian<quint16>(header.constData() + nameSizePosition);
    return isOfAStore(QString::fromUtf8(file.read(nameSize))) ? Owner::Ours : Owner::Another;
}

/// Whether @p path was written by this program: an archive, whole or not, of nothing but what a store has, or what
/// @p folder, which is to be packed, has now. What is empty is nobody's.
Owner ownerOf(const QString &path, const QDir &folder)
{
    QFile file(path);
    if (file.size() == 0)
        return Owner::Ours;
    constexpr int emptyArchiveSize = 22;
    if (file.size() == emptyArchiveSize && file.open(QIODevice::ReadOnly) && file.peek(4) == "PK\5\6")
        return Owner::Ours;
    QuaZip archive(path);
    if (!archive.open(QuaZip::mdUnzip))
        return ownerByFirstEntry(path);
    const QList<QuaZipFileInfo64> entries = archive.getFileInfoList64();
    const auto isEncrypted = [](const QuaZipFileInfo64 &entry) { return entry.isEncrypted(); };
    if (std::any_of(entries.cbegin(), entries.cend(), isEncrypted))
        return Owner::Unknown;
    const auto belongs = [&folder](const QuaZipFileInfo64 &entry) {
        return isOfAStore(entry.name) || (!entry.name.contains(QLatin1Char('/')) && folder.exists(entry.name));
    };
    const bool isWhole = archive.getZipError() == UNZ_OK && !entries.isEmpty();
    return isWhole && std::all_of(entries.cbegin(), entries.cend(), belongs) ? Owner::Ours : Owner::Another;
}

/// Whether an archive of @p folder may get the name @p path. False after a complaint.
bool mayBeReplaced(const QString &path, const QDir &folder, bool isForced)
{
    const QFileInfo info(path);
    const bool isReplaced = info.isFile() && !isForced;
    const Owner owner = isReplaced && !isFileOfAStore(path) ? ownerOf(path, folder) : Owner::Ours;
    if (info.isDir())
        complain(path, QStringLiteral("is a folder; name the archive to write"));
    else if (info.exists() && !info.isFile())
        complain(path, QStringLiteral("is a pipe, socket or device; name the archive to write"));
    else if (isFileOfAStore(path))
        complain(path, QStringLiteral("is a file of a store and stays; name the archive to write"));
    else if (owner == Owner::Unknown)
        complain(path, QStringLiteral("is encrypted, so that nobody can tell whether it is an archive of a store, and "
                                      "stays; name another one, or replace it with --force"));
    else if (owner == Owner::Another)
        complain(path, QStringLiteral("is no archive of a store and stays; name another one, or replace it with "
                                      "--force"));
    else
        return true;
    return false;
}

/// Reads all of @p store, since the archive cannot say what is damaged. False when that was interrupted.
bool lookForDamage(ChunkStore &store, ProgressBar &bar)
{
    const quint64 all = store.messageCount();
    quint64 count = 0;
    constexpr quint64 step = 1000; // asking the clock takes longer than reading a message
    const bool isDone = store.forEachMessage([&](const CAN::CanRxMessage &, const QString &) {
        if (++count % step == 0)
            bar.updateMessages(count, all);
        return !wasInterrupted();
    });
    bar.clear();
    return isDone && !wasInterrupted();
}

PackingReport pack(const QString &path, const QDir &folder, ProgressBar &bar)
{
    const PackingReport report =
        CANLogHandler::packDatachunks(path, folder, [&bar](qint64 bytesPacked, qint64 bytesTotal) {
            bar.update(bytesPacked, bytesTotal);
            return !wasInterrupted();
        });
    bar.clear();
    return report;
}

ExitStatus runZip(const QCommandLineParser &parser, Output &out)
{
    const QString path = archiveAndStoreArgument(parser, QStringLiteral("zip"));
    if (path.isEmpty())
        return ExitStatus::WrongUsage;
    const QString storeFolder = chosenStoreFolder(parser);
    ChunkStore store;
    if (!openStore(store, storeFolder, ChunkStore::Mode::Read))
        return ExitStatus::Failure;
    const QDir folder = store.getDataChunkLocation();
    const bool isForced = parser.isSet(QStringLiteral("force"));
    if (!mayBeReplaced(path, folder, isForced))
        return ExitStatus::Failure;

    takeInterruptions();
    ProgressBar bar(path, isBarWanted(parser));
    if (!lookForDamage(store, bar))
        return interrupted(path);
    if (!store.warnings().isEmpty() && QFileInfo::exists(path) && QFileInfo(path).size() > 0 && !isForced) {
        complainOfDamage(store, storeFolder);
        complain(path, QStringLiteral("stays, since the store is damaged; name another archive, or replace it with "
                                      "--force"));
        return ExitStatus::Failure;
    }
    const PackingReport report = pack(path, folder, bar);
    if (report.state == PackingReport::State::Interrupted)
        return interrupted(path);
    if (report.state == PackingReport::State::Failed) {
        complain(path, QStringLiteral("cannot be written: %1; check the folder, its permissions and the space left")
                           .arg(report.errorText));
        return ExitStatus::Failure;
    }
    for (const QString &name : report.leftOut)
        complain(path, QStringLiteral("warning: without %1, which cannot be read or is above 1 GiB").arg(name));
    complainOfDamage(store, storeFolder);
    const auto chunks = std::count_if(report.packed.cbegin(), report.packed.cend(), isChunk);
    out.writeLine(printable(QStringLiteral("%1: %2").arg(path, contentText(quint64(chunks), store.messageCount()))));
    return report.leftOut.isEmpty() && store.warnings().isEmpty() ? ExitStatus::Success : ExitStatus::Failure;
}

void addOptions(QCommandLineParser &parser)
{
    addArchiveAndStoreOptions(parser);
    parser.addOption({QStringLiteral("force"),
                      QStringLiteral("Replaces whatever file has that name, not only an archive of a store.")});
}

} // namespace

Subcommand zipSubcommand()
{
    return {QStringLiteral("zip"),
            QStringLiteral("Packs the chunk files of a store into an archive."),
            QStringLiteral("[--store DIR] [--force] [--quiet] ARCHIVE"),
            QStringLiteral(
                "An archive of a store that has that name is replaced when the new one is complete; until then,\n"
                "and when something fails, it stays. The store stays as it is. What is damaged in it is named\n"
                "on standard error and packed as it is, but replaces a former archive only with --force; the\n"
                "exit status is then 1, or 130 after Ctrl-C, which leaves no archive."),
            QStringLiteral("  canlog zip --store trips trips.zip\n"),
            addOptions,
            runZip};
}
