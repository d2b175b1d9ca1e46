// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canerrortypes.h"
#include "common/canloghandler_export.h"
#include "common/canrxmessage.h"
#include "common/datachunkhelper.h"

#include <QDir>
#include <QList>
#include <QMap>
#include <QObject>
#include <QString>

class QDataStream;

/**
 * The host's store of CAN messages: the only receiver of what CANLogHandler reads.
 *
 * A host derives from this class. It emits the two signals to ask for work and is answered by calls of the functions
 * below, all of them in the thread of the CANLogHandler. What is passed by reference is valid during the call alone;
 * copying it is cheap, since Qt's containers share their data.
 *
 * One import is: setImportStarted(), any number of deliveries, setImportFinished(). Those of zip archives differ, see
 * CANLogHandler::loadZipFile() and loadZipMerged().
 */
class CANLOGHANDLER_EXPORT DatachunkHandler : public QObject
{
    Q_OBJECT

public:
    /// Knows no handler yet: a CANLogHandler connects itself.
    explicit DatachunkHandler(QObject *parent = nullptr);
    ~DatachunkHandler() override;

    /**
     * The next @p messages in file order: 100000, fewer or none at the end of a file; a whole file from the importer
     * classes. A text in @p notes belongs to the message whose `messageIndex` is its key; a key that no message has is
     * a note read after the last message.
     */
    virtual void addImportedMessages(const QList<CAN::CanRxMessage> &messages,
                                     const QMap<unsigned int, QString> &notes) = 0;
    /// A text for the message that was delivered last; there may be none.
    virtual void addMessageNoteToLastMessage(QString note) = 0;
    /// Whether the import holds CAN FD frames; sent by some formats only.
    virtual void notifyFdMessage(bool fdSeen) = 0;
    /// The text to show for an import that failed; sent for archives only.
    virtual void setLastErrorText(const QString &text) = 0;

    /// An import begins; whether its file can be read is not known yet.
    virtual void setImportStarted() = 0;
    /// The import of @p path as @p type ended. @p flag is true at the end of every request; an archive that is merged
    /// sends the call once more before that, as QclFile with an empty path and false.
    virtual void setImportFinished(bool success, DatachunkHelper::ImportFileType type, QString path, bool flag) = 0;

    /// Loads one native data-chunk file; false when it is none.
    virtual bool loadQclFile(QString path) = 0;
    /// The folder that holds the data-chunk files; archives are unpacked into folders of their own in it.
    virtual QDir getDataChunkLocation() const = 0;
    /// Adds the messages of the one native data chunk in @p stream, which can seek; @p isFd, false before, becomes true
    /// when CAN FD frames are among them. False when the stream holds no valid chunk.
    virtual bool parseQCLStream(QDataStream &stream, bool &isFd) = 0;
    /// The number of messages in one native data chunk, 0 when the stream holds no valid chunk.
    virtual unsigned int getMsgCountFromQclStream(QDataStream &stream) = 0;

    /// The entry of the archive @p zipPath that begins with @p header was unpacked to @p filePath in @p folder. With
    /// an empty @p header the file may be missing, since it could not be made.
    virtual void notifyNewZippedFile(const QString &header, const QString &filePath, const QDir &folder,
                                     const QString &zipPath) = 0;
    /// An archive was loaded: unpacked, then @p name is its file name, or merged, then without ".zip".
    virtual void notifyZipFileLoaded(const QString &name) = 0;

Q_SIGNALS:
    /// Asks for the import of a file. @p text is the column description of a generic file; @p flag asks for a zip
    /// archive to be merged into the store instead of being unpacked. Lost when there is no handler on the store.
    void sigImportRequest(QString path, DatachunkHelper::ImportFileType type, QString text, bool flag);
    /// Asks for all files in @p sourceDir to be packed into the archive @p zipPath, see
    /// CANLogHandler::onZipDatachunks(). The end is not told.
    void sigZipDatachunks(QString zipPath, QDir sourceDir);
};
