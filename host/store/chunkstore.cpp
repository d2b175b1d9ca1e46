#include "host/store/chunkstore.h"

#include "host/store/chunkfolder.h"
#include "host/store/importjournal.h"
#include "host/store/notes.h"
#include "host/store/storefile.h"
#include "host/store/storelock.h"
#include "host/store/streamstore.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

using ChunkFolder::warningText;
using ImportJournal::Import;
using Keeping = ImportRecord::Keeping;
using State = ImportRecord::State;

namespace
{

void include(ImportRecord &record, const ChunkFormat::Summary &summary)
{
    if (record.messageCount == 0 || ChunkFormat::isEarlier(summary.firstTime, record.firstTime))
        record.firstTime = summary.firstTime;
    if (record.messageCount == 0 || ChunkFormat::isEarlier(record.lastTime, summary.lastTime))
        record.lastTime = summary.lastTime;
    record.messageCount += quint64(summary.messageCount);
    record.noteCount += quint64(summary.noteCount);
    record.fdSeen = record.fdSeen || summary.fdSeen;
}

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

class ChunkStore::Private
{
public:
    enum class Phase {
        Idle,
        Started,      ///< by setImportStarted()
        Delivering,   ///< begun by a delivery
        Unpacking,    ///< begun by notifyNewZippedFile()
        FinishedOnce, ///< with flag false: one more finish may come
    };

    bool openFolder(const QString &path, Mode openMode);
    bool isOpen() const { return !folder.isEmpty(); }
    QString filePath(const QString &name) const { return folder + QLatin1Char('/') + name; }

    void begin(Phase newPhase);
    bool beginDelivery();
    void finish(bool success, DatachunkHelper::ImportFileType type, const QString &path, bool isLast);
    ImportRecord end();
    bool isDelivering() const { return phase == Phase::Started || phase == Phase::Delivering; }
    Import &currentImport() { return mode == Mode::Read ? unstored : journal.imports.last(); }
    bool removeImport(int number);
    QMap<quint64, int> importsOfChunks() const;

    void fail(const QString &text);
    void leaveOut(const QString &text);
    bool checkWritable();
    bool mayDeliver();
    bool writeChunk(ChunkFormat::Encoder &encoder, const QMap<int, QString> &notes);
    bool addChunk(const ChunkFormat::Chunk &chunk);
    void addNoteToLastMessage(const QString &text);
    void setDamage(quint64 number, const QStringList &faults, const ChunkFormat::Summary *found);

    QString folder; ///< absolute; empty when the store is not open
    Mode mode = Mode::Read;
    PartialImports partialImports = PartialImports::Keep;
    ImportSource nextSource;
    std::unique_ptr<StoreLock> lock;
    QString errorString;
    QStringList warnings;
    QStringList notices;
    std::vector<StoredChunk> chunks; ///< ascending by number
    ImportJournal::Content journal;
    Import unstored; ///< the current import into a store that is open for reading; it fails

    Phase phase = Phase::Idle; ///< unless idle, the current import is the last one
    QString writeFault;        ///< why no more of the current import is written
    QString syncFault;         ///< why it may not outlast a power loss, though it is written
    QString firstLeftOut;
    int leftOutCount = 0;
    QString lastErrorText;

private:
    QString prepareFolder(const QString &absolute, Mode openMode);
    void removeTemporaryFiles() const;
    bool readImports();
    void findChunksOfImports();
    void findChunksOf(int index);
    bool isKnown(quint64 number) const { return ChunkFolder::find(chunks, number) != nullptr; }
    bool replaceJournal();
    void fill(bool success, DatachunkHelper::ImportFileType type, const QString &path);
    bool writeFile(const QString &name, const std::function<QString(QIODevice &)> &write);
    bool writeJournal();
    bool syncNames();
    bool settle();
    void hideDeletedChunks();
    bool removeChunks(Import &import);
    bool removeChunk(quint64 number);
    void splitOffLastMessage(ChunkFormat::Chunk &chunk);
    bool rewriteLastChunk(const ChunkFormat::Chunk &chunk);
};

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
    if (mode == Mode::ReadWrite)
        removeTemporaryFiles();
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
/// has surely written itself: its files follow each other without a gap.
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
    quint64 next = import.firstChunk;
    for (const StoredChunk &chunk : chunks) {
        const quint64 number = chunk.summary.number;
        if (number < import.firstChunk || number >= end)
            continue;
        if (known.keeping == Keeping::Pending) {
            while (next < number && ChunkFolder::isTaken(folder, next))
                ++next; // passed over by the writer, too
            if (next != number || chunk.fileNames.first() != ChunkFolder::fileName(number))
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
    bool isChanged = false;
    for (int i = 0; i < journal.imports.size(); ++i) {
        Import &import = journal.imports[i];
        ImportRecord &record = import.record;
        const bool isPending = record.keeping == Keeping::Pending && record.state != State::Succeeded;
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
            record.errorText = QStringLiteral("it was stopped before its end");
        }
    }
    errorString.clear();
    return !isChanged || writeJournal();
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
    return syncNames();
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
    // From here on, whoever opens the store does not see it any more.
    import.record.keeping = Keeping::Deleting;
    if (!writeJournal()) {
        import.record.keeping = former;
        return false;
    }
    if (!removeChunks(import))
        return false;
    import.record.keeping = Keeping::Deleted;
    // Where that cannot be written, the next writer finds nothing left to remove.
    writeJournal();
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

void ChunkStore::Private::fail(const QString &text)
{
    errorString = text;
    if (phase != Phase::Idle && writeFault.isEmpty())
        writeFault = text;
}

void ChunkStore::Private::leaveOut(const QString &text)
{
    if (leftOutCount++ == 0)
        firstLeftOut = text;
}

bool ChunkStore::Private::checkWritable()
{
    if (mode == Mode::Read && isOpen())
        fail(QStringLiteral("The store %1 is open for reading only").arg(folder));
    return mode == Mode::ReadWrite;
}

/// Whether a delivery at this moment is to be written.
bool ChunkStore::Private::mayDeliver()
{
    return checkWritable() && (!isDelivering() || writeFault.isEmpty());
}

bool ChunkStore::Private::writeFile(const QString &name, const std::function<QString(QIODevice &)> &write)
{
    const QString fault = StoreFile::write(filePath(name), write);
    if (!fault.isEmpty())
        fail(QStringLiteral("%1 cannot be written: %2").arg(filePath(name), fault));
    return fault.isEmpty();
}

/// Makes the names in the folder outlast a power loss: those of the chunks before that of the journal which tells of
/// them.
bool ChunkStore::Private::syncNames()
{
    const QString fault = StoreFile::syncFolder(folder);
    if (!fault.isEmpty())
        fail(QStringLiteral("%1 cannot be written: %2").arg(folder, fault));
    return fault.isEmpty();
}

bool ChunkStore::Private::writeJournal()
{
    if (!checkWritable())
        return false;
    const QByteArray text = ImportJournal::toText(journal);
    if (!writeFile(ImportJournal::fileName(),
                   [&](QIODevice &file) { return ChunkFormat::writeAll(file, text) ? QString() : file.errorString(); }))
        return false;
    // It has its name: what is stored is not called failed any more.
    syncFault = StoreFile::syncFolder(folder);
    return true;
}

void ChunkStore::Private::begin(Phase newPhase)
{
    if (phase != Phase::Idle && mode == Mode::ReadWrite) {
        // What was left without its end.
        phase = Phase::Idle;
        settle();
    }
    Import import;
    import.firstChunk = journal.nextChunk;
    if (newPhase == Phase::Started) {
        import.record.source = nextSource;
        import.record.path = nextSource.path;
        if (partialImports == PartialImports::Remove)
            import.record.keeping = Keeping::Pending;
        nextSource = {};
    }
    if (mode == Mode::Read)
        unstored = import;
    else
        journal.imports.append(import);
    phase = newPhase;
    writeFault.clear();
    syncFault.clear();
    firstLeftOut.clear();
    leftOutCount = 0;
    writeJournal();
}

/// Sees to it that there is an import which the messages at hand belong to; false when they cannot be kept.
bool ChunkStore::Private::beginDelivery()
{
    if (!mayDeliver())
        return false;
    if (!isDelivering())
        begin(Phase::Delivering);
    return writeFault.isEmpty();
}

void ChunkStore::Private::fill(bool success, DatachunkHelper::ImportFileType type, const QString &path)
{
    ImportRecord &record = currentImport().record;
    record.path = path;
    record.type = type;
    record.state = success && writeFault.isEmpty() ? State::Succeeded : State::Failed;
    if (!writeFault.isEmpty())
        record.errorText = writeFault;
    else if (!success && !lastErrorText.isEmpty())
        record.errorText = lastErrorText;
    else if (leftOutCount > 1)
        record.errorText = QStringLiteral("%1 (and %2 more)").arg(firstLeftOut, QString::number(leftOutCount - 1));
    else
        record.errorText = firstLeftOut;
}

/// Writes what became of the import. Unless one more call comes, what is to be removed of it goes before that: should
/// the program be stopped, the journal still says so, and on a full disk there is room for the journal again.
void ChunkStore::Private::finish(bool success, DatachunkHelper::ImportFileType type, const QString &path, bool isLast)
{
    fill(success, type, path);
    if (mode == Mode::ReadWrite && !syncNames())
        fill(success, type, path);
    ImportRecord &record = currentImport().record;
    const bool isPending = isLast && record.keeping == Keeping::Pending;
    if (isPending && record.state == State::Succeeded)
        record.keeping = Keeping::Kept;
    if (record.keeping != Keeping::Pending || !isLast) {
        if (!writeJournal())
            fill(success, type, path);
        if (isPending && record.state != State::Succeeded)
            record.keeping = Keeping::Pending;
    }
    if (isPending && record.keeping == Keeping::Pending && mode == Mode::ReadWrite) {
        if (removeChunks(currentImport()))
            record.keeping = Keeping::Removed;
        writeJournal();
    }
    if (!syncFault.isEmpty() && record.errorText.isEmpty())
        record.errorText = QStringLiteral("it may not outlast a power loss: %1").arg(syncFault);
}

ImportRecord ChunkStore::Private::end()
{
    phase = Phase::Idle;
    lastErrorText.clear();
    return currentImport().record;
}

bool ChunkStore::Private::writeChunk(ChunkFormat::Encoder &encoder, const QMap<int, QString> &notes)
{
    // A file that is no valid chunk is not overwritten either: it may be the only copy.
    while (ChunkFolder::isTaken(folder, journal.nextChunk))
        ++journal.nextChunk;
    const quint64 number = journal.nextChunk;
    if (number > ChunkFormat::maximumNumber) {
        fail(QStringLiteral("The store %1 has no chunk number left").arg(folder));
        return false;
    }
    const QString name = ChunkFolder::fileName(number);
    if (!writeFile(name, [&](QIODevice &file) { return encoder.write(file, number, notes).text(); }))
        return false;
    StoredChunk chunk;
    chunk.fileNames.append(name);
    chunk.summary = encoder.summary();
    chunks.push_back(chunk);
    ++journal.nextChunk;
    currentImport().chunks.append(number);
    include(currentImport().record, chunk.summary);
    return true;
}

bool ChunkStore::Private::addChunk(const ChunkFormat::Chunk &chunk)
{
    if (!beginDelivery())
        return false;
    ChunkFormat::Encoder encoder(chunk.messages.size());
    for (const CAN::CanRxMessage &message : chunk.messages)
        encoder.add(message);
    return writeChunk(encoder, chunk.notes);
}

void ChunkStore::Private::addNoteToLastMessage(const QString &text)
{
    if (!mayDeliver() || text.isEmpty() || !isDelivering() || currentImport().chunks.isEmpty())
        return;
    const QString path = filePath(chunks.back().fileNames.first());
    ChunkFormat::Chunk chunk;
    const ChunkFormat::Fault fault = ChunkFormat::readChunkFile(path, chunk);
    if (!fault.isEmpty()) {
        fail(QStringLiteral("%1 cannot be read again to add a note: %2").arg(path, fault.text()));
        return;
    }
    const int last = chunk.messages.size() - 1;
    const bool isNew = !chunk.notes.contains(last);
    joinNote(chunk.notes[last], text);
    qint64 size = 0;
    for (const QString &note : qAsConst(chunk.notes))
        size += ChunkFormat::sizeOfNote(note);
    if (size > ChunkFormat::maximumNotesSize && last > 0)
        splitOffLastMessage(chunk);
    else if (rewriteLastChunk(chunk) && isNew)
        ++currentImport().record.noteCount;
}

/// Gives the last message of @p chunk, the last one of the import, a chunk of its own: its note has no room beside the
/// others. The new chunk comes first, so that a program that is stopped between the two loses nothing.
void ChunkStore::Private::splitOffLastMessage(ChunkFormat::Chunk &chunk)
{
    const ImportRecord before = currentImport().record;
    const ChunkFormat::Summary whole = chunks.back().summary;
    ChunkFormat::Chunk single;
    single.messages.append(chunk.messages.takeLast());
    single.notes.insert(0, chunk.notes.take(chunk.messages.size()));
    const int index = int(chunks.size()) - 1;
    if (!addChunk(single))
        return;
    StoredChunk added = chunks.back();
    chunks.pop_back();
    const bool isRewritten = rewriteLastChunk(chunk);
    chunks.push_back(added);
    if (!isRewritten)
        return;
    const ChunkFormat::Summary rest = chunks[std::size_t(index)].summary;
    ImportRecord &record = currentImport().record;
    record.messageCount = before.messageCount;
    record.noteCount = before.noteCount - quint64(whole.noteCount) + quint64(rest.noteCount) + 1;
}

/// Writes the last chunk again, with its notes or messages changed.
bool ChunkStore::Private::rewriteLastChunk(const ChunkFormat::Chunk &chunk)
{
    StoredChunk &stored = chunks.back();
    ChunkFormat::Encoder encoder(chunk.messages.size());
    for (const CAN::CanRxMessage &message : chunk.messages)
        encoder.add(message);
    if (!writeFile(stored.fileNames.first(),
                   [&](QIODevice &file) { return encoder.write(file, stored.summary.number, chunk.notes).text(); }))
        return false;
    stored.summary = encoder.summary();
    return true;
}

/// Keeps what reading the chunk with @p number showed: the @p faults of its files up to the good one, and what was
/// @p found in that; null when there is none.
void ChunkStore::Private::setDamage(quint64 number, const QStringList &faults, const ChunkFormat::Summary *found)
{
    const auto chunk = std::find_if(chunks.begin(), chunks.end(),
                                    [&](const StoredChunk &other) { return other.summary.number == number; });
    if (chunk == chunks.end())
        return;
    chunk->damaged = found == nullptr;
    if (found)
        chunk->summary = *found;
    for (const QString &fault : faults)
        if (!warnings.contains(fault))
            warnings.append(fault);
}

ChunkStore::ChunkStore(QObject *parent)
    : DatachunkHandler(parent)
    , d(std::make_unique<Private>())
{
    // For hosts that connect to importFinished() from another thread.
    qRegisterMetaType<ImportRecord>("ImportRecord");
}

ChunkStore::~ChunkStore() = default;

bool ChunkStore::isStore(const QString &folder)
{
    const QStringList marks{ImportJournal::fileName(), QStringLiteral("*.qcl")};
    return !folder.isEmpty() && !QDir(folder).entryList(marks, QDir::Files | QDir::CaseSensitive).isEmpty();
}

void ChunkStore::removeEmpty(const QString &folder)
{
    const QDir::Filters everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    const QStringList names = QDir(folder).entryList(everything);
    if (!std::all_of(names.cbegin(), names.cend(),
                     [](const QString &name) { return name == ImportJournal::fileName(); }))
        return;
    QFile::remove(folder + QLatin1Char('/') + ImportJournal::fileName());
    QDir().rmdir(folder);
}

bool ChunkStore::open(const QString &folder, Mode mode)
{
    const auto renew = [this] {
        const PartialImports partialImports = d->partialImports;
        d.reset(); // gives the former lock back first: it may be the same folder
        d = std::make_unique<Private>();
        d->partialImports = partialImports;
    };
    renew();
    if (d->openFolder(folder, mode))
        return true;
    const QString fault = d->errorString;
    renew();
    d->errorString = fault;
    return false;
}

void ChunkStore::setPartialImports(PartialImports partialImports)
{
    d->partialImports = partialImports;
}

void ChunkStore::setImportSource(const ImportSource &source)
{
    d->nextSource = source;
}

QString ChunkStore::errorString() const
{
    return d->errorString;
}

QStringList ChunkStore::warnings() const
{
    return d->warnings;
}

QStringList ChunkStore::notices() const
{
    return d->notices;
}

QVector<ImportRecord> ChunkStore::imports() const
{
    QVector<ImportRecord> records;
    records.reserve(d->journal.imports.size());
    for (const Import &import : qAsConst(d->journal.imports)) {
        records.append(import.record);
        records.last().chunkCount = quint64(import.chunks.size());
    }
    return records;
}

int ChunkStore::findImport(const ImportSource &source) const
{
    if (source.path.isEmpty())
        return 0;
    for (int i = d->journal.imports.size(); i > 0; --i) {
        const ImportRecord &record = d->journal.imports.at(i - 1).record;
        if (record.state == State::Succeeded && record.messageCount > 0 && record.keeping != Keeping::Deleting
            && record.source == source)
            return i;
    }
    return 0;
}

bool ChunkStore::removeImport(int number)
{
    return d->isOpen() && d->removeImport(number);
}

quint64 ChunkStore::messageCount() const
{
    quint64 count = 0;
    for (const StoredChunk &chunk : d->chunks)
        if (!chunk.damaged)
            count += quint64(chunk.summary.messageCount);
    return count;
}

bool ChunkStore::forEachMessage(const Visitor &visitor)
{
    return forEachMessage([](int) { return true; }, visitor);
}

bool ChunkStore::forEachMessage(const ImportVisitor &enter, const Visitor &visitor)
{
    if (!d->isOpen() || !visitor || !enter)
        return false;
    // Copies, since the visitor may store messages or open another folder.
    const std::vector<StoredChunk> chunks = d->chunks;
    const QMap<quint64, int> owners = d->importsOfChunks();
    const QString folder = d->folder;
    ChunkFormat::Chunk chunk;
    int import = -1;
    bool isWanted = true;
    for (const StoredChunk &stored : chunks) {
        const int owner = owners.value(stored.summary.number, 0);
        if (owner == 0 || owner != import)
            isWanted = enter(owner);
        import = owner;
        if (!isWanted)
            continue;
        const quint64 number = stored.summary.number;
        QStringList faults;
        for (const QString &name : stored.fileNames) {
            QString fault = ChunkFormat::readChunkFile(folder + QLatin1Char('/') + name, chunk);
            if (fault.isEmpty() && chunk.summary.number != number)
                fault = QStringLiteral("its number has changed");
            if (fault.isEmpty())
                break;
            faults.append(warningText(name, fault));
        }
        const bool isReadable = faults.size() < stored.fileNames.size();
        if (d->folder == folder)
            d->setDamage(number, faults, isReadable ? &chunk.summary : nullptr);
        if (isReadable && !ChunkFormat::forEachMessage(chunk, visitor))
            return false;
    }
    return true;
}

void ChunkStore::addImportedMessages(const QList<CAN::CanRxMessage> &messages, const QMap<unsigned int, QString> &notes)
{
    if (messages.isEmpty()) {
        d->addNoteToLastMessage(joinedNotes(notes));
        return;
    }
    if (!d->beginDelivery())
        return;
    const QMap<int, QString> allNotes = notesByPosition(messages, notes);
    auto note = allNotes.cbegin();
    int next = 0;
    while (next < messages.size()) {
        const int first = next;
        const int end = first + qMin(messages.size() - first, ChunkFormat::maximumMessages);
        ChunkFormat::Encoder encoder(end - first);
        QMap<int, QString> chunkNotes;
        qint64 notesSize = 0;
        while (next < end) {
            if (note != allNotes.cend() && note.key() == next) {
                notesSize += ChunkFormat::sizeOfNote(note.value());
                // Where the notes have no more room, the next chunk begins.
                if (notesSize > ChunkFormat::maximumNotesSize && next > first)
                    break;
                chunkNotes.insert(next - first, note.value());
                ++note;
            }
            encoder.add(messages.at(next++));
        }
        if (!d->writeChunk(encoder, chunkNotes))
            return;
    }
}

void ChunkStore::addMessageNoteToLastMessage(QString note)
{
    d->addNoteToLastMessage(note);
}

void ChunkStore::notifyFdMessage(bool fdSeen)
{
    // A merged archive tells it for each of its chunks, so false takes nothing back.
    if (fdSeen && d->isDelivering())
        d->currentImport().record.fdSeen = true;
}

void ChunkStore::setLastErrorText(const QString &text)
{
    if (d->isOpen())
        d->lastErrorText = text;
}

void ChunkStore::setImportStarted()
{
    if (!d->isOpen())
        return;
    d->lastErrorText.clear();
    d->begin(Private::Phase::Started);
}

void ChunkStore::setImportFinished(bool success, DatachunkHelper::ImportFileType type, QString path, bool flag)
{
    if (!d->isOpen())
        return;
    if (d->phase == Private::Phase::Idle)
        d->begin(Private::Phase::Started);
    d->finish(success, type, path, flag);
    if (flag)
        Q_EMIT importFinished(d->end());
    else
        d->phase = Private::Phase::FinishedOnce;
}

bool ChunkStore::loadQclFile(QString path)
{
    if (!d->mayDeliver())
        return false;
    ChunkFormat::Chunk chunk;
    const ChunkFormat::Fault fault = ChunkFormat::readChunkFile(path, chunk);
    if (!fault.isEmpty()) {
        d->leaveOut(fault.text()); // of which file, the record says
        return false;
    }
    if (!d->addChunk(chunk))
        return false;
    chunkAdded(chunk.messages);
    return true;
}

void ChunkStore::chunkAdded(const QVector<CAN::CanRxMessage> &)
{
}

QDir ChunkStore::getDataChunkLocation() const
{
    return d->isOpen() ? QDir(d->folder) : noFolder();
}

bool ChunkStore::parseQCLStream(QDataStream &stream, bool &isFd)
{
    isFd = false;
    if (!d->mayDeliver())
        return false;
    ChunkFormat::Chunk chunk;
    const ChunkFormat::Fault fault = ChunkFormat::readChunk(stream, chunk);
    if (!fault.isEmpty()) {
        d->leaveOut(QStringLiteral("A data chunk is left out: %1").arg(fault.text()));
        return false;
    }
    if (!d->addChunk(chunk))
        return false;
    chunkAdded(chunk.messages);
    isFd = chunk.summary.fdSeen;
    return true;
}

unsigned int ChunkStore::getMsgCountFromQclStream(QDataStream &stream)
{
    ChunkFormat::Chunk chunk;
    if (!ChunkFormat::readChunk(stream, chunk).isEmpty())
        return 0;
    return unsigned(chunk.summary.messageCount);
}

void ChunkStore::notifyNewZippedFile(const QString &, const QString &, const QDir &, const QString &zipPath)
{
    if (!d->isOpen() || d->phase == Private::Phase::Started)
        return;
    if (d->phase == Private::Phase::Unpacking && d->currentImport().record.path == zipPath)
        return;
    d->begin(Private::Phase::Unpacking);
    d->currentImport().record.path = zipPath;
}

void ChunkStore::notifyZipFileLoaded(const QString &name)
{
    // Within a started import it is the notice of an archive that is merged, whose finish is still to come.
    if (!d->isOpen() || d->phase == Private::Phase::Started)
        return;
    // An archive that was unpacked before, or that is empty, is known by its name alone.
    const bool knowsPath = d->phase == Private::Phase::Unpacking;
    if (!knowsPath)
        d->begin(Private::Phase::Unpacking);
    const QString path = knowsPath ? d->currentImport().record.path : name;
    d->finish(true, DatachunkHelper::QclZipArchive, path, true);
    Q_EMIT importFinished(d->end());
}
