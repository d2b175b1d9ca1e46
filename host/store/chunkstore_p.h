// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/store/chunkfolder.h"
#include "host/store/chunkstore.h"
#include "host/store/importjournal.h"
#include "host/store/importtrace.h"
#include "host/store/storelock.h"

/// What a ChunkStore knows and does: opening in storeopening.cpp, writing in storewriting.cpp.
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
    ImportJournal::Import &currentImport() { return mode == Mode::Read ? unstored : journal.imports.last(); }
    int findImport(const ImportSource &source, ImportRecord::State state) const;
    bool removeImport(int number);
    bool writeJournal();
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
    ImportJournal::Import unstored; ///< the current import into a store that is open for reading; it fails

    Phase phase = Phase::Idle; ///< unless idle, the current import is the last one
    QString writeFault;        ///< why no more of the current import is written
    QString syncFault;         ///< why it may not outlast a power loss, though it is written
    QString firstLeftOut;
    int leftOutCount = 0;
    QString lastErrorText;
    std::unique_ptr<ImportTrace> trace; ///< of the import that is being written; null while the store is not written
    bool isDiskFull = false;            ///< that is why the last file could not be written

private:
    QString prepareFolder(const QString &absolute, Mode openMode);
    void removeTemporaryFiles() const;
    bool readImports();
    void findChunksOfImports();
    void findChunksOf(int index);
    bool isKnown(quint64 number) const { return ChunkFolder::find(chunks, number) != nullptr; }
    bool replaceJournal();
    void fill(bool success, DatachunkHelper::ImportFileType type, const QString &path);
    bool writeChunkFile(const QString &name, ChunkFormat::Encoder &encoder, quint64 number,
                        const QMap<int, QString> &notes);
    bool noteRemoval(int number);
    void readRemovals();
    void removeNotesOfRemovals();
    bool ownsFolder(const ImportRecord &record) const;
    QString whyFolderStays(const ImportRecord &record) const;
    bool removeFolder(const ImportRecord &record);
    bool writeFile(const QString &name, const std::function<QString(QIODevice &)> &write);
    bool syncNames();
    bool settle();
    void hideDeletedChunks();
    bool removeChunks(ImportJournal::Import &import);
    bool removeChunk(quint64 number);
    void splitOffLastMessage(ChunkFormat::Chunk &chunk);
    bool rewriteLastChunk(const ChunkFormat::Chunk &chunk);
};

/// Adds a chunk to what @p record says of the messages.
void include(ImportRecord &record, const ChunkFormat::Summary &summary);
