// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/datachunkhandler.h"
#include "host/store/chunkformat.h"
#include "host/store/importrecord.h"

#include <QStringList>
#include <QVector>

#include <memory>

/**
 * A store that keeps the messages of its imports as chunk files (`*.qcl`) of at most 100000 messages each in one
 * folder. Files are written whole or not at all, so a store can be opened after its program was killed at any moment,
 * with every complete chunk; on Unix an import that has ended outlasts a power loss, too. One program at a time may
 * write a store; any number may read it.
 *
 * Memory is bounded by one chunk, whatever the number of messages. The file format is described in
 * docs/chunk-format.md.
 *
 * Which calls make one import:
 * - setImportStarted(), deliveries, setImportFinished() with flag true;
 * - the same with a setImportFinished() with flag false before the last one: an archive that was merged. The record
 *   says what the last call says;
 * - notifyNewZippedFile() for each entry and notifyZipFileLoaded(), or the latter alone: an archive that was unpacked
 *   into a sub-folder, which is a store of its own;
 * - setImportFinished() alone: a request that failed before it began;
 * - deliveries alone, from a loader that is called directly. Such an import stays Incomplete.
 *
 * Where a file cannot be written, the rest of that import is dropped and the import fails with errorString(); the
 * next import tries again. What an import that did not succeed had stored until then is kept or removed, as
 * setPartialImports() has it. An import into a store that is open for reading fails and is not kept. A store that is
 * not open does nothing and answers false, 0 or nothing; its folder is one that does not exist and cannot be made.
 */
class ChunkStore : public DatachunkHandler
{
    Q_OBJECT

public:
    enum class Mode {
        Read,      ///< the folder must exist; nothing is written
        ReadWrite, ///< the folder is made when missing and locked against other writers
    };
    /// What becomes of the messages of an import that began with setImportStarted() and does not succeed.
    enum class PartialImports {
        Keep,   ///< they stay
        Remove, ///< they are removed when it ends, or when the store is next opened for writing if it never does
    };
    using Visitor = ChunkFormat::Visitor;
    /// Gets the number of the import whose messages come next, from 1; 0 for chunks that no import stored. Returns
    /// whether they are wanted.
    using ImportVisitor = std::function<bool(int import)>;

    explicit ChunkStore(QObject *parent = nullptr);
    ~ChunkStore() override;

    /// Whether there is a store in @p folder: chunk files, or the journal that the first import begins with.
    static bool isStore(const QString &folder);
    /// Removes the folder @p folder of a store that is not open, unless there is more in it than a journal.
    static void removeEmpty(const QString &folder);

    /// Opens the store in @p folder, after closing the one that is open. False with errorString() set when that cannot
    /// be done: no such folder, no permission, locked by another program. A store whose import journal cannot be read,
    /// or is of a later version, opens for reading only: writing would lose that journal.
    bool open(const QString &folder, Mode mode);

    /// For the imports that begin from now on; Keep unless it is set. An import for which it was said is treated so
    /// whatever opens the store next, since the journal has it.
    void setPartialImports(PartialImports partialImports);
    /// What the next import that begins with setImportStarted() reads, by which findImport() knows it.
    void setImportSource(const ImportSource &source);

    /// One line that says what failed in open(), or in writing since then (for example: no space left on the disk);
    /// empty when nothing did. The latest fault stays until the next open().
    QString errorString() const;
    /// What was left out of the store, one line each with file name and reason; found by open() and by
    /// forEachMessage(): files that are no valid chunk, chunks of an import that are missing, an import journal that is
    /// damaged. Of chunks with the same number, which a copied file has, the one whose name fits the number is used, or
    /// else the first by name, and the others are listed here; when it turns out to be damaged the next one is used.
    QStringList warnings() const;

    /// What open() did about imports that were stopped before their end, or what the next one for writing will do: one
    /// line each.
    QStringList notices() const;

    /// Imports so far, oldest first, those of earlier programs included. The first is number 1; a number stays the same
    /// when others are removed.
    QVector<ImportRecord> imports() const;
    /// The number of the import that succeeded, has messages here, all its chunks included, and read the same @p
    /// source; 0 when there is none.
    int findImport(const ImportSource &source) const;
    /// The same for one that failed and whose messages were kept.
    int findKeptPart(const ImportSource &source) const;
    /// Removes the messages of the import with @p number, all or, for those who open the store later, none. What is
    /// left of it is a record that says so. False with errorString() set when there is no such import, or not all of
    /// its files could be removed; the next opening for writing tries again then.
    bool removeImport(int number);
    /// The import with @p number, which was told to have succeeded, holds a part of its file only, for @p reason: its
    /// record says so from now on. False with errorString() set when that cannot be written.
    bool markPartial(int number, const QString &reason);
    /// Keeps with the import of @p number what its log says of itself. False with errorString() set when that cannot be
    /// written.
    bool setLogInfo(int number, const LogInfo &info);
    /// What the log of the import with @p number says of itself; nothing where nothing was kept.
    LogInfo logInfo(int number) const;
    /// Number of messages in all chunks, those left out that are known to be damaged.
    quint64 messageCount() const;
    /// Visits all messages in the order in which they were stored, reading chunk by chunk. Returns false when the
    /// visitor stopped it. Damaged chunks are left out and named in warnings(). What the visitor itself stores is not
    /// visited.
    bool forEachMessage(const Visitor &visitor);
    /// The same for the imports that @p enter wants.
    bool forEachMessage(const ImportVisitor &enter, const Visitor &visitor);

    /// Each call with messages makes at least one chunk file. Notes find their messages as host/store/notes.h has it;
    /// those of a delivery without messages go to the last message that this import stored.
    void addImportedMessages(const QList<CAN::CanRxMessage> &messages,
                             const QMap<unsigned int, QString> &notes) override;
    /// Writes the last chunk of this import again, with the note; where its notes would become too long, its last
    /// message gets a chunk of its own.
    void addMessageNoteToLastMessage(QString note) override;
    void notifyFdMessage(bool fdSeen) override;
    void setLastErrorText(const QString &text) override;
    void setImportStarted() override;
    /// With @p flag false this is not the end yet: one more call tells path and type.
    void setImportFinished(bool success, DatachunkHelper::ImportFileType type, QString path, bool flag) override;
    /// Adds the messages of the chunk file @p path, wherever it is, as a new chunk of this store.
    bool loadQclFile(QString path) override;
    QDir getDataChunkLocation() const override;
    bool parseQCLStream(QDataStream &stream, bool &isFd) override;
    /// Reads the whole chunk, since the count of a damaged one is 0.
    unsigned int getMsgCountFromQclStream(QDataStream &stream) override;
    void notifyNewZippedFile(const QString &header, const QString &filePath, const QDir &folder,
                             const QString &zipPath) override;
    void notifyZipFileLoaded(const QString &name) override;

Q_SIGNALS:
    /// An import that was asked for has ended; @p record is what the store keeps of it. Writing errors make a
    /// successful read a failed import.
    void importFinished(const ImportRecord &record);

protected:
    /// Gets the messages of each native chunk that was added. They come in no delivery, so a store that looks at all
    /// messages must override this as well as addImportedMessages().
    virtual void chunkAdded(const QVector<CAN::CanRxMessage> &messages);

private:
    class Private;
    std::unique_ptr<Private> d;
};
