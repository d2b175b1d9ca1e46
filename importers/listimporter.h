// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canloghandler_export.h"
#include "common/canrxmessage.h"
#include "common/importreport.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class ListReader;

/**
 * What the importer classes share: the caller's list and notes, which they fill from one whole file, the number of the
 * next message and the text of the latest error. Owns neither list nor notes; they must live as long as it is used.
 *
 * In a thread whose interruption was requested reading ends at the next block and fails, without an error text; what
 * was read until then stays in the list. So it does after any other failure.
 */
class CANLOGHANDLER_EXPORT ListImporter : public QObject
{
public:
    /// Text of the latest error in a file, translated; "No error." as long as there was none, and also after a file
    /// that could not be opened.
    QString getErrorString() const;
    /// What became of the lines of the file read last.
    ImportReport getImportReport() const;
    /// @p progress is called after each block of the file that was read, in the reading thread, with the bytes read so
    /// far and the size of the file, 0 when that is not known. An empty function ends that.
    void setProgress(const std::function<void(qint64 bytesRead, qint64 bytesTotal)> &progress);
    /// Appends @p msg as it is to the caller's list; nothing without a list.
    void addMessageToMessageList(CAN::CanRxMessage msg);

protected:
    /// @p noError is the error text to begin with, @p fileReader reads the files of this importer.
    ListImporter(const QString &noError, std::unique_ptr<ListReader> fileReader, QObject *parent);
    ~ListImporter() override;

    /// Where messages and notes go from now on. False, and nothing changed, without a list; @p notes may be null.
    bool setTargets(QList<CAN::CanRxMessage> *messages, QMap<unsigned int, QString> *notes);
    /// Reads the file @p path to its end, into the list and the notes. False when it cannot be opened, and when it
    /// could not be read.
    bool appendFile(const QString &path);
    /// Numbers @p message and appends it.
    void appendNumbered(CAN::CanRxMessage &message);
    /// Files @p text, simplified, under the next message, after what is filed there already.
    void addNote(QStringView text);

    QList<CAN::CanRxMessage> *messageList = nullptr;
    QMap<unsigned int, QString> *notesMap = nullptr;
    quint32 messageCounter = 0; ///< number of the next message
    QString errorString;
    const std::unique_ptr<ListReader> reader;

private:
    Q_DISABLE_COPY_MOVE(ListImporter)
};
