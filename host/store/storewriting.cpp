// SPDX-License-Identifier: Apache-2.0
#include "host/store/chunkstore_p.h"
#include "host/store/notes.h"
#include "host/store/storefile.h"

using ImportJournal::Import;
using Keeping = ImportRecord::Keeping;
using State = ImportRecord::State;

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
    isDiskFull = StoreFile::isFullDisk(fault);
    if (!fault.isEmpty())
        fail(QStringLiteral("%1 cannot be written: %2").arg(filePath(name), fault));
    return fault.isEmpty();
}

/// Writes a chunk as a file, after the trace of the import, where one is kept, says that it is the import's.
bool ChunkStore::Private::writeChunkFile(const QString &name, ChunkFormat::Encoder &encoder, quint64 number,
                                         const QMap<int, QString> &notes)
{
    return writeFile(name, [&](QIODevice &file) {
        const QString fault = encoder.write(file, number, notes).text();
        const bool isTraced = fault.isEmpty() && trace && trace->isOpen();
        return isTraced ? trace->add({number, file.size(), encoder.checksum()}) : fault;
    });
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
    const bool isTraced = mode == Mode::ReadWrite && import.record.keeping == Keeping::Pending;
    const QString fault = isTraced ? trace->begin(journal.imports.size()) : QString();
    if (!fault.isEmpty())
        fail(QStringLiteral("%1 cannot be written: %2").arg(filePath(ImportTrace::fileName()), fault));
    const bool isNoted = fault.isEmpty() && writeJournal();
    if (isTraced && !isNoted)
        trace->remove(); // nothing of this import will be written
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
    bool isNoted = false;
    if (isPending && record.state == State::Succeeded)
        record.keeping = Keeping::Kept;
    if (record.keeping != Keeping::Pending || !isLast) {
        isNoted = writeJournal();
        if (!isNoted)
            fill(success, type, path);
        if (isPending && record.state != State::Succeeded)
            record.keeping = Keeping::Pending;
    }
    if (isPending && record.keeping == Keeping::Pending && mode == Mode::ReadWrite) {
        if (removeChunks(currentImport()))
            record.keeping = Keeping::Removed;
        isNoted = writeJournal();
    }
    // Without the end in the journal, the next writer needs it.
    if (isLast && isNoted && trace)
        trace->remove();
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
    if (!writeChunkFile(name, encoder, number, notes))
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
    if (!writeChunkFile(stored.fileNames.first(), encoder, stored.summary.number, chunk.notes))
        return false;
    stored.summary = encoder.summary();
    return true;
}
