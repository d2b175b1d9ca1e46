// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/archivereport.h"
#include "common/canloghandler_export.h"
#include "common/datachunkhandler.h"
#include "common/datachunkhelper.h"
#include "common/importreport.h"
#include "common/loginfo.h"
#include "common/packingreport.h"

#include <QDir>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>

#include <atomic>
#include <functional>
#include <memory>

class QIODevice;

/**
 * Reads CAN log files into the host's store and packs the store's chunk files into zip archives.
 *
 * The host creates one handler on its store. From then on the store's sigImportRequest and sigZipDatachunks are
 * carried out in the handler's thread, one import after the other, each for as long as the file takes; the store is
 * answered by calls of its functions. The handler owns no store and keeps no messages beyond the batch it is filling
 * or, of a format that is delivered as one list, the file. docs/host.md describes all of it from the host's side.
 *
 * Nothing is thrown but std::bad_alloc, when memory runs out, and what the host's own functions throw. Both leave a
 * call as if it had failed, without the notices that were still to come; in a queued request they reach the event loop,
 * which ends a program, so a host that wants to survive them calls loadFile() itself. A zip job just ends.
 */
class CANLOGHANDLER_EXPORT CANLogHandler : public QObject
{
    Q_OBJECT

public:
    /// Connects to @p store, which may be null and stays the host's: one that is deleted reads as null from then on.
    explicit CANLogHandler(DatachunkHandler *store, QObject *parent = nullptr);
    /**
     * For hosts that share one variable with the handler: connects to the store in @p handler. The handler keeps a
     * reference to this very variable, not a copy: it must live longer than the handler, and setPDatachunkHandler()
     * changes it.
     */
    explicit CANLogHandler(QPointer<DatachunkHandler> &handler, QObject *parent = nullptr);
    /**
     * May come at any time, in the handler's thread: a zip job that runs goes on, and an import from within which it
     * comes (a store may delete the handler when it is called, and so may a slot) ends soon, fails, and calls neither
     * the handler nor its store again.
     */
    ~CANLogHandler() override;

    /// The store, or what the host's variable holds now; null without a store.
    QPointer<DatachunkHandler> getPDatachunkHandler() const;
    /// Disconnects the store, puts @p handler in its place (in the host's variable, if there is one) and connects that
    /// store. A request already queued by the former store still runs, into the new one.
    void setPDatachunkHandler(const QPointer<DatachunkHandler> &handler);

    /// Error text of the latest import that failed in an importer class, or of the latest archive that no folder could
    /// be made for; empty when there was none. A success, or a failure of another kind, leaves it as it is. Where an
    /// importer class has no reason to give (file not readable, interruption) it is "No error."; why a file could not
    /// be opened, or read to its end, is the readError of getImportReport().
    QString getLastErrorText() const;
    /// What became of the lines of the latest import; empty after a request for an archive or a native chunk, but for
    /// the reason why the file could not be opened.
    ImportReport getImportReport() const;
    /// What the log of the latest import says of itself: time base, start, names of buses. Empty for an archive or a
    /// native chunk, and of most formats that are told by their first numbers, 2 to 20.
    LogInfo getLogInfo() const;
    /// What became of the entries of the latest archive that was sorted, checked, unpacked or merged; empty after any
    /// other request, without a store, and where a folder of the archive's name is taken for what was unpacked before.
    ArchiveReport getArchiveReport() const;

    /**
     * Runs the loader for @p type on the file @p path, without the notices to the store that loadFile() gives; @p text
     * and @p flag are those of DatachunkHandler::sigImportRequest. False when the file cannot be opened for reading,
     * when there is no loader for @p type, or when the loader fails; batches delivered before a failure stay in the
     * store. The import of a log in a thread whose interruption was requested ends at the next block and fails;
     * messages that were not delivered yet are lost.
     */
    bool importFile(QString path, DatachunkHelper::ImportFileType type, QString text, bool flag);

    /**
     * As loadFile(), for a log that is read from @p device, which is open for reading, not owned, and called @p name in
     * notices and error texts. It is read from where it stands and may be sequential: a pipe, a socket, or one that
     * decompresses. Archives and native chunks need a file: false for those.
     */
    bool loadDevice(QIODevice &device, const QString &name, DatachunkHelper::ImportFileType type, const QString &text,
                    bool flag);

    /**
     * Loaders, one per format. Each reads the file @p path into the store in batches of 100000 messages and one final
     * batch, which may be empty, and returns false when the file cannot be opened or the import was interrupted. There
     * are notes where it says so.
     * @{
     */
    /// Comments become notes. Ends at a frame whose time is none.
    bool loadNorvikTxtFile(QString path);
    bool loadSocketCanDump(QString path);
    bool loadKvaserTxtLog(QString path);
    /// False also when the file cannot be read twice or when a line is cut short; the batch at hand is lost then.
    bool loadKvaserCanKingLog(QString path);
    /// Lines that are no frames become notes; those after the last frame go to addMessageNoteToLastMessage().
    bool loadVectorAscLog(QString path);
    /// Calls notifyFdMessage() at the end. Ends with the first trigger block.
    bool loadVectorAscLogWithoutBitcount(QString path);
    /// Calls notifyFdMessage() at the end if there were CAN FD frames. Messages keep the packet numbers of the log.
    bool loadWiresharkCSV(QString path);
    /** @} */

    /**
     * Loaders of the formats that importer classes offer, too. Each reads the file @p path as a whole and delivers all
     * its messages and notes to the store in one call. False, and nothing delivered, when the file cannot be opened, a
     * line of it is malformed or the import was interrupted; getLastErrorText() is then what the importer would say.
     * @{
     */
    /// @p type is one of the PCAN trace versions; PeakTraceReserved has no reader and fails.
    bool loadPeakTraceFile(QString path, DatachunkHelper::ImportFileType type);
    bool loadCoCTTFile(QString path);
    bool loadIxxatFile(QString path);
    /// @p columnDescription is taken as it is, see GenericFileImporter::setColumnFormat(): without any code in it every
    /// line gives an empty message.
    bool loadGenericFile(QString path, QString columnDescription);
    /** @} */

    /**
     * Packs every plain file in @p sourceDir, not its sub-folders, into a new archive at @p zipPath. Runs in the
     * calling thread; files that cannot be read, or have more than 1 GiB, are left out, and nothing is reported. What
     * stands there, which may be a link, is replaced when the new archive is complete and on the disk; when that cannot
     * be written to its end it stays. Where nothing stands, an empty file holds the place meanwhile. Ends with the
     * handler ready for the next zip request, so it is not to be called while a job runs.
     */
    void zipDatachunks(QString zipPath, QDir sourceDir);
    /// Called before each file that is packed, with how much of all is done. Returns whether to go on.
    using PackingProgress = std::function<bool(qint64 bytesPacked, qint64 bytesTotal)>;
    /**
     * The same for hosts that want to know: says what became of it and how far it is, and can be interrupted. A link at
     * @p zipPath stays, what it leads to is replaced, and nothing holds the place. It depends on no handler, and any
     * thread may call it.
     */
    static PackingReport packDatachunks(const QString &zipPath, const QDir &sourceDir,
                                        const PackingProgress &progress = {});

    /**
     * Reading archives of data chunks: entries whose names end in "qcl". They are taken in the order of the numbers
     * that their headers begin with; of two with the same number the latter counts. An entry that proves damaged when
     * it is read as a whole is left out; getArchiveReport() names all that were, and why. While the entries are read
     * importProgress() tells how far; in a thread whose interruption was requested the work ends at the next entry.
     * @{
     */
    /// Adds the names of the chunks in @p zipPath to @p entries, by number. Nothing when it cannot be opened.
    void sortZipFile(QString zipPath, QMap<double, QString> &entries);
    /// Sets @p entryCount to the number of chunks, 0 when the archive cannot be opened (the low 16 bits), and adds the
    /// number of their messages, which the store tells, to @p messageCount.
    void checkZipFile(QString zipPath, unsigned short &entryCount, unsigned int &messageCount);
    /**
     * Unpacks the chunks into a new folder, named like the archive, in the store's folder, and tells the store of
     * each; when there is a folder of that name, only that the archive is loaded. False, with a text in the store or
     * in getLastErrorText(), when the archive is not readable or the chunks cannot be written; nothing stays then.
     * False also without a store, and after an interruption, with nothing left either.
     */
    bool loadZipFile(QString zipPath);
    /// Has the store parse all chunks, as one import of native chunks with its own start and finish notices, and calls
    /// notifyFdMessage() after each that worked. Returns what the last chunk gave, or whether the archive could be
    /// opened when there is none; false after an interruption, what the store has by then stays.
    bool loadZipMerged(QString zipPath);
    /** @} */

public Q_SLOTS:
    /**
     * One import with its notices: setImportStarted() on the store (not for zip archives), the loader, then
     * setImportFinished() with the result, which is returned. An archive that was unpacked has told its end by
     * notifyZipFileLoaded() alone. False without any notice when there is no store.
     */
    bool loadFile(QString path, DatachunkHelper::ImportFileType type, QString text, bool flag);
    /// Runs zipDatachunks() on the global thread pool and returns at once. Dropped without notice while an earlier job
    /// runs.
    void onZipDatachunks(QString zipPath, QDir sourceDir);

Q_SIGNALS:
    /// Sent with true before a log file is read and with false after it, whatever the result; not for archives and
    /// native chunks.
    void showLoadingDialog(bool show);
    /// Sent after each block of a log file that was read, in the importing thread. @p bytesTotal is the size of the
    /// file, 0 when it is not known. Of an archive it is sent for each entry, and the bytes are those of packed chunks.
    void importProgress(qint64 bytesRead, qint64 bytesTotal);

private:
    Q_DISABLE_COPY_MOVE(CANLogHandler)

    friend class Delivery;
    friend class HandlerLink;
    class ArchiveReading;

    CANLOGHANDLER_NO_EXPORT bool runWithNotices(const QString &path, DatachunkHelper::ImportFileType type, bool flag,
                                                const std::function<bool()> &import);
    CANLOGHANDLER_NO_EXPORT bool importLog(const QString &path, QIODevice *device, DatachunkHelper::ImportFileType type,
                                           const QString &text);
    CANLOGHANDLER_NO_EXPORT bool loadLog(const QString &path, QIODevice *device, DatachunkHelper::ImportFileType type,
                                         const QString &columns);
    CANLOGHANDLER_NO_EXPORT static QString noErrorText(DatachunkHelper::ImportFileType type);

    CANLOGHANDLER_NO_EXPORT CANLogHandler(DatachunkHandler *store, QPointer<DatachunkHandler> *variable,
                                          QObject *parent);
    CANLOGHANDLER_NO_EXPORT void connectStore();

    QPointer<DatachunkHandler> ownStore; ///< where the host has no variable
    QPointer<DatachunkHandler> &pDatachunkHandler;
    QString lastErrorText;
    ImportReport importReport;
    LogInfo logInfo;
    ArchiveReport archiveReport;
    const std::shared_ptr<std::atomic<bool>> zipInProgress; ///< shared with the job
};
