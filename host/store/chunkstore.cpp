// SPDX-License-Identifier: Apache-2.0
#include "host/store/chunkstore.h"

#include "host/store/chunkstore_p.h"
#include "host/store/notes.h"
#include "host/store/streamstore.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

using ChunkFolder::warningText;
using ImportJournal::Import;
using Keeping = ImportRecord::Keeping;
using State = ImportRecord::State;

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
    if (!std::all_of(names.cbegin(), names.cend(), [](const QString &name) {
            return name == ImportJournal::fileName() || name == ImportTrace::fileName();
        }))
        return;
    QFile::remove(folder + QLatin1Char('/') + ImportJournal::fileName());
    QFile::remove(folder + QLatin1Char('/') + ImportTrace::fileName());
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

/// The number of the import of @p source that ended in @p state and has messages here, all its chunks included; 0 when
/// there is none.
int ChunkStore::Private::findImport(const ImportSource &source, State state) const
{
    if (source.path.isEmpty())
        return 0;
    for (int i = journal.imports.size(); i > 0; --i) {
        const Import &import = journal.imports.at(i - 1);
        const ImportRecord &record = import.record;
        const auto isThere = [this](quint64 number) { return ChunkFolder::find(chunks, number) != nullptr; };
        if (record.state == state && record.messageCount > 0 && record.keeping != Keeping::Deleting
            && record.source == source && std::all_of(import.chunks.cbegin(), import.chunks.cend(), isThere))
            return i;
    }
    return 0;
}

int ChunkStore::findImport(const ImportSource &source) const
{
    return d->findImport(source, State::Succeeded);
}

int ChunkStore::findKeptPart(const ImportSource &source) const
{
    return d->findImport(source, State::Failed);
}

bool ChunkStore::removeImport(int number)
{
    return d->isOpen() && d->removeImport(number);
}

bool ChunkStore::markPartial(int number, const QString &reason)
{
    if (!d->isOpen() || number < 1 || number > d->journal.imports.size())
        return false;
    ImportRecord &record = d->journal.imports[number - 1].record;
    record.state = State::Failed;
    record.keeping = Keeping::Kept;
    record.errorText = reason;
    return d->writeJournal();
}

bool ChunkStore::setLogInfo(int number, const LogInfo &info)
{
    if (!d->isOpen() || number < 1 || number > d->journal.imports.size())
        return false;
    d->journal.imports[number - 1].record.log = info;
    return d->writeJournal();
}

LogInfo ChunkStore::logInfo(int number) const
{
    const bool isThere = number >= 1 && number <= d->journal.imports.size();
    return isThere ? d->journal.imports.at(number - 1).record.log : LogInfo();
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
        if (owner != import)
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
    if (ImportJournal::isFolderName(name))
        d->currentImport().record.folder = name;
    d->finish(true, DatachunkHelper::QclZipArchive, path, true);
    Q_EMIT importFinished(d->end());
}
