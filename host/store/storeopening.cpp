// SPDX-License-Identifier: Apache-2.0
#include "host/store/chunkstore_p.h"
#include "host/store/storefile.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

using ChunkFolder::warningText;
using ImportJournal::Import;
using Keeping = ImportRecord::Keeping;
using State = ImportRecord::State;

namespace
{

/// Takes from @p record what it says of messages that are gone.
void forgetMessages(ImportRecord &record)
{
    record.removedMessages += record.messageCount;
    record.messageCount = 0;
    record.noteCount = 0;
    record.firstTime = record.lastTime = CanTimeStamp();
}

/// "import 3 (/logs/monday.log)"
QString nameOf(int number, const ImportRecord &record)
{
    const QString name = QStringLiteral("import %1").arg(number);
    return record.path.isEmpty() ? name : QStringLiteral("%1 (%2)").arg(name, record.path);
}

QString messagesText(quint64 count)
{
    return QStringLiteral("%1 message%2").arg(QString::number(count), count == 1 ? QString() : QStringLiteral("s"));
}

} // namespace

bool ChunkStore::Private::openFolder(const QString &path, Mode openMode)
{
    if (path.isEmpty()) {
        errorString = QStringLiteral("No folder is given for the store");
        return false;
    }
    const QString absolute = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    errorString = prepareFolder(absolute, openMode);
    if (!errorString.isEmpty())
        return false;
    folder = absolute;
    mode = openMode;
    chunks = ChunkFolder::list(folder, warnings);
    if (!readImports())
        return false;
    if (mode == Mode::ReadWrite) {
        removeTemporaryFiles();
        trace = std::make_unique<ImportTrace>(folder);
    }
    return settle();
}

/// Makes the folder where it is to be made and takes the lock where it is to be taken. Returns what is wrong.
QString ChunkStore::Private::prepareFolder(const QString &absolute, Mode openMode)
{
    const QFileInfo info(absolute);
    if (info.exists() && !info.isDir())
        return QStringLiteral("The store %1 is not a folder").arg(absolute);
    if (openMode == Mode::Read && !info.exists())
        return QStringLiteral("The store %1 does not exist").arg(absolute);
    if (openMode == Mode::ReadWrite) {
        const QString fault = StoreFile::makeFolder(absolute);
        if (!fault.isEmpty())
            return QStringLiteral("The store %1 cannot be made: %2").arg(absolute, fault);
    }
    if (!QFileInfo(absolute).isReadable())
        return QStringLiteral("The store %1 cannot be read: permission denied").arg(absolute);
    if (openMode == Mode::Read)
        return {};
    lock = std::make_unique<StoreLock>(absolute);
    return lock->take();
}

void ChunkStore::Private::removeTemporaryFiles() const
{
    const QStringList names = QDir(folder).entryList(QDir::Files);
    for (const QString &name : names)
        if (StoreFile::isTemporary(name))
            QFile::remove(filePath(name));
}

/// False when the store must not be written with such a journal.
bool ChunkStore::Private::readImports()
{
    const QString path = filePath(ImportJournal::fileName());
    ImportJournal::Fault fault = ImportJournal::read(path, journal);
    // It would be replaced by a file, and whoever made the link would look at an old journal.
    if (mode == Mode::ReadWrite && QFileInfo(path).isSymLink())
        fault = {QStringLiteral("it is a link"), false};
    if (mode == Mode::ReadWrite && !fault.isDamage) {
        errorString = QStringLiteral("The store %1 cannot be written: its import journal %2 cannot be read: %3")
                          .arg(folder, ImportJournal::fileName(), fault.text);
        return false;
    }
    if (!fault.text.isEmpty())
        warnings.append(warningText(ImportJournal::fileName(), fault.text));
    readRemovals();
    findChunksOfImports();
    return fault.text.isEmpty() || mode == Mode::Read || replaceJournal();
}

/// Writes what could be read of a damaged journal, and keeps the old one: a person may see more in it.
bool ChunkStore::Private::replaceJournal()
{
    const auto isTaken = [this](const QString &name) {
        const QFileInfo info(filePath(name));
        return info.exists() || info.isSymLink();
    };
    QString copy = QStringLiteral("imports-damaged.json");
    for (int i = 2; isTaken(copy); ++i)
        copy = QStringLiteral("imports-damaged-%1.json").arg(i);
    QFile damaged(filePath(ImportJournal::fileName()));
    const bool isCopied = damaged.open(QIODevice::ReadOnly) && writeFile(copy, [&](QIODevice &file) {
                              return ChunkFormat::writeAll(file, damaged.readAll()) ? QString() : file.errorString();
                          });
    return isCopied && writeJournal();
}

void ChunkStore::Private::findChunksOfImports()
{
    if (!chunks.empty())
        journal.nextChunk = qMax(journal.nextChunk, chunks.back().summary.number + 1);
    for (int i = 0; i < journal.imports.size(); ++i) {
        Import &import = journal.imports[i];
        journal.nextChunk = qMax(journal.nextChunk, import.firstChunk);
        for (const quint64 number : qAsConst(import.chunks)) {
            journal.nextChunk = qMax(journal.nextChunk, number + 1);
            // A file that is there is damaged, or the writer has added it since the chunks were listed.
            const QString name = ChunkFolder::fileName(number);
            const bool isAwaited =
                import.record.keeping != Keeping::Deleting && import.record.keeping != Keeping::Pending;
            if (isAwaited && !isKnown(number) && !QFileInfo::exists(filePath(name)))
                warnings.append(warningText(name, QStringLiteral("it is missing")));
        }
        if (import.record.state == State::Incomplete && import.record.keeping != Keeping::Deleting)
            findChunksOf(i);
    }
}

/// Finds what an import that has not ended has stored. Of one whose messages are to be removed that is only what it
/// has surely written itself, as its trace says; one that an earlier version began has none, but files that follow each
/// other without a gap.
void ChunkStore::Private::findChunksOf(int index)
{
    Import &import = journal.imports[index];
    const bool isLast = index + 1 == journal.imports.size();
    const quint64 end = isLast ? ChunkFormat::maximumNumber + 1 : journal.imports.at(index + 1).firstChunk;
    const ImportRecord known = import.record;
    import.record = {};
    import.record.path = known.source.path.isEmpty() ? QString() : known.path;
    import.record.type = known.type;
    import.record.source = known.source;
    import.record.fdSeen = known.fdSeen;
    import.record.keeping = known.keeping;
    import.record.errorText = known.errorText;
    import.record.removedMessages = known.removedMessages;
    import.chunks.clear();
    QVector<ImportTrace::Mark> marks;
    const bool isTraced = known.keeping == Keeping::Pending && ImportTrace::read(folder, index + 1, marks);
    quint64 next = import.firstChunk;
    for (const StoredChunk &chunk : chunks) {
        const quint64 number = chunk.summary.number;
        if (number < import.firstChunk || number >= end)
            continue;
        const QString name = ChunkFolder::fileName(number);
        if (isTraced && (chunk.fileNames.first() != name || !ImportTrace::contains(marks, number, filePath(name))))
            continue;
        if (known.keeping == Keeping::Pending && !isTraced) {
            while (next < number && ChunkFolder::isTaken(folder, next))
                ++next; // passed over by the writer, too
            if (next != number || chunk.fileNames.first() != name)
                break;
            ++next;
        }
        import.chunks.append(number);
        include(import.record, chunk.summary);
    }
}

/// Ends what a program that was stopped has left undone, or tells of it where that may not be written.
bool ChunkStore::Private::settle()
{
    hideDeletedChunks();
    const QString formerError = errorString;
    bool isChanged = false;
    for (int i = 0; i < journal.imports.size(); ++i) {
        Import &import = journal.imports[i];
        ImportRecord &record = import.record;
        if (record.keeping == Keeping::Pending && record.state == State::Succeeded)
            record.keeping = Keeping::Kept;
        const bool isPending = record.keeping == Keeping::Pending;
        if (!isPending && record.keeping != Keeping::Deleting)
            continue;
        const QString name = nameOf(i + 1, record);
        if (mode == Mode::Read) {
            if (isPending && record.messageCount > 0)
                notices.append(
                    QStringLiteral("%1 has not ended: unless it still runs, its %2 so far are removed by the "
                                   "next import")
                        .arg(name, messagesText(record.messageCount)));
            continue;
        }
        isChanged = true;
        if (isPending && record.messageCount > 0)
            notices.append(QStringLiteral("%1 was stopped before its end: its %2 are removed")
                               .arg(name, messagesText(record.messageCount)));
        if (!removeChunks(import)) {
            notices.append(errorString);
            continue;
        }
        record.keeping = isPending ? Keeping::Removed : Keeping::Deleted;
        if (isPending && record.state == State::Incomplete) {
            record.state = State::Failed;
            record.errorText = ImportRecord::stoppedText();
        }
    }
    errorString = formerError; // what could not be removed is told by the notices
    const bool isWritten = !isChanged || writeJournal();
    if (isWritten && mode == Mode::ReadWrite) {
        removeNotesOfRemovals();
        trace->remove();
    }
    // On a full disk the next writer does the same again, and this one can still remove something.
    return isWritten || isDiskFull;
}

/// The chunks of imports that were being removed are not to be seen.
void ChunkStore::Private::hideDeletedChunks()
{
    for (const Import &import : qAsConst(journal.imports)) {
        if (import.record.keeping != Keeping::Deleting || mode != Mode::Read)
            continue;
        const auto isDeleted = [&](const StoredChunk &chunk) { return import.chunks.contains(chunk.summary.number); };
        chunks.erase(std::remove_if(chunks.begin(), chunks.end(), isDeleted), chunks.end());
    }
}

/// Removes the chunks of @p import from the folder, the last one first: if it is stopped half-way, what is left still
/// follows each other without a gap. False when one of them is still there.
bool ChunkStore::Private::removeChunks(Import &import)
{
    while (!import.chunks.isEmpty()) {
        if (!removeChunk(import.chunks.last()))
            return false;
        import.chunks.removeLast();
    }
    forgetMessages(import.record);
    return removeFolder(import.record) && syncNames();
}

bool ChunkStore::Private::removeChunk(quint64 number)
{
    const StoredChunk *chunk = ChunkFolder::find(chunks, number);
    const QString path = filePath(chunk ? chunk->fileNames.first() : ChunkFolder::fileName(number));
    QFile file(path);
    if (!file.remove() && (QFileInfo::exists(path) || QFileInfo(path).isSymLink())) {
        fail(QStringLiteral("%1 cannot be removed: %2").arg(path, file.errorString()));
        return false;
    }
    if (!chunk)
        return true;
    StoredChunk &stored = chunks[std::size_t(chunk - chunks.data())];
    stored.fileNames.removeFirst(); // a copy that somebody made is not this import's
    if (stored.fileNames.isEmpty())
        chunks.erase(chunks.begin() + (chunk - chunks.data()));
    return true;
}

bool ChunkStore::Private::removeImport(int number)
{
    if (!checkWritable())
        return false;
    if (number < 1 || number > journal.imports.size()) {
        fail(QStringLiteral("The store %1 has no import %2").arg(folder, QString::number(number)));
        return false;
    }
    Import &import = journal.imports[number - 1];
    const Keeping former = import.record.keeping;
    const QString problem = whyFolderStays(import.record);
    if (!problem.isEmpty()) {
        fail(problem);
        return false;
    }
    // From here on, whoever opens the store does not see it any more.
    import.record.keeping = Keeping::Deleting;
    if (!writeJournal() && !(isDiskFull && noteRemoval(number))) {
        import.record.keeping = former;
        return false;
    }
    if (!removeChunks(import))
        return false;
    import.record.keeping = Keeping::Deleted;
    // Where that cannot be written, the next writer finds nothing left to remove.
    if (writeJournal())
        removeNotesOfRemovals();
    return true;
}

namespace
{

const QLatin1String removalPrefix(".removing-");

/// The name that says that an import is being removed: its number, and that of one of its chunks.
QString removalName(int import, quint64 chunk)
{
    return removalPrefix + QStringLiteral("%1-%2").arg(import).arg(chunk);
}

QStringList removalNames(const QString &folder)
{
    return QDir(folder).entryList({removalPrefix + QLatin1Char('*')}, QDir::Files | QDir::Hidden | QDir::System);
}

} // namespace

/// On a full disk, says without taking room that the import with @p number is being removed: one of its chunks gets a
/// name that means it. Then the chunk is emptied. False when nothing was changed.
bool ChunkStore::Private::noteRemoval(int number)
{
    const Import &import = journal.imports.at(number - 1);
    if (import.record.state == State::Incomplete)
        return false; // whose chunks the journal does not have
    for (const quint64 chunk : import.chunks) {
        const StoredChunk *const stored = ChunkFolder::find(chunks, chunk);
        const QString path = filePath(stored ? stored->fileNames.first() : ChunkFolder::fileName(chunk));
        const QString noted = filePath(removalName(number, chunk));
        if (QFileInfo(path).isSymLink() || !QFile::rename(path, noted))
            continue;
        if (syncNames())
            QFile::resize(noted, 0);
        return true;
    }
    return false;
}

/// Takes over what noteRemoval() has left. A note counts with the chunk that is in it: a journal that was damaged since
/// may have given the number to another import.
void ChunkStore::Private::readRemovals()
{
    const QStringList names = removalNames(folder);
    for (const QString &name : names) {
        const QString numbers = name.mid(removalPrefix.size());
        const int import = numbers.section(QLatin1Char('-'), 0, 0).toInt();
        const quint64 chunk = numbers.section(QLatin1Char('-'), 1).toULongLong();
        if (import >= 1 && import <= journal.imports.size() && journal.imports.at(import - 1).chunks.contains(chunk))
            journal.imports[import - 1].record.keeping = Keeping::Deleting;
    }
}

void ChunkStore::Private::removeNotesOfRemovals()
{
    const QStringList names = removalNames(folder);
    for (const QString &name : names)
        QFile::remove(filePath(name));
}

/// Whether the folder of @p record is not that of a later import, which found the name free again.
bool ChunkStore::Private::ownsFolder(const ImportRecord &record) const
{
    if (record.folder.isEmpty())
        return false;
    for (int i = journal.imports.size(); i > 0; --i) {
        const ImportRecord &other = journal.imports.at(i - 1).record;
        if (&other == &record)
            return true;
        if (other.folder == record.folder && other.keeping == Keeping::Kept)
            return false;
    }
    return true;
}

/// Why the folder that the archive of @p record was unpacked into cannot be removed: it holds more than that. Empty
/// when there is none, or nothing speaks against it.
QString ChunkStore::Private::whyFolderStays(const ImportRecord &record) const
{
    const QFileInfo info(filePath(record.folder));
    if (!ownsFolder(record) || !(info.exists() || info.isSymLink()))
        return {};
    if (info.isSymLink() || !info.isDir())
        return QStringLiteral("%1 is no folder any more; remove it by hand").arg(info.filePath());
    const QFileInfoList all =
        QDir(info.filePath()).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo &file : all) {
        if (!file.isFile() || file.isSymLink() || !file.fileName().endsWith(QLatin1String("qcl")))
            return QStringLiteral("%1 holds more than the archive, %2; move that away, or remove the folder by hand")
                .arg(info.filePath(), file.fileName());
    }
    return {};
}

/// Removes that folder. False when it, or something in it, is still there.
bool ChunkStore::Private::removeFolder(const ImportRecord &record)
{
    if (!ownsFolder(record) || !whyFolderStays(record).isEmpty())
        return true;
    QDir unpacked(filePath(record.folder));
    const QStringList names = unpacked.entryList(QDir::Files | QDir::Hidden);
    for (const QString &name : names)
        unpacked.remove(name);
    if (unpacked.exists() && !QDir().rmdir(unpacked.path())) {
        fail(QStringLiteral("%1 cannot be removed").arg(unpacked.path()));
        return false;
    }
    return true;
}

/// Which import stored each of the chunks, from 1.
QMap<quint64, int> ChunkStore::Private::importsOfChunks() const
{
    QMap<quint64, int> owners;
    for (int i = 0; i < journal.imports.size(); ++i)
        for (const quint64 number : journal.imports.at(i).chunks)
            owners.insert(number, i + 1);
    return owners;
}
