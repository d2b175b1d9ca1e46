// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/datachunkhelper.h"
#include "importers/listimporter.h"

#include <QStringList>

class PeakTraceReader;

/**
 * Reads one PCAN trace file, version 1.1, 1.2, 1.3, 2.0 or 2.1, into a caller's list, and its warnings (versions 1.x)
 * into a caller's notes. The version is not detected: the caller names it. One object reads one file.
 */
class CANLOGHANDLER_EXPORT PeakTraceImporter : public ListImporter
{
    Q_OBJECT

public:
    /// Has no list yet; importFile() takes one.
    explicit PeakTraceImporter(QObject *parent);
    ~PeakTraceImporter() override;

    /**
     * Appends the messages of the file @p path to @p messages and files its notes in @p notes, which may be
     * null. False without a list, for a @p type that is no PCAN trace, when the file cannot be opened, and at the first
     * line that is malformed: messages before it stay in the list.
     */
    bool importFile(QString path, DatachunkHelper::ImportFileType type, QList<CAN::CanRxMessage> *messages,
                    QMap<unsigned int, QString> *notes);

    /**
     * Readers of one version each: as importFile(), into the list and the notes that importFile() was given last.
     * @{
     */
    bool importFileVersion11(QString path);
    bool importFileVersion12(QString path);
    bool importFileVersion13(QString path);
    bool importFileVersion20(QString path);
    bool importFileVersion21(QString path);
    /** @} */

    /// One line of version 1.1 as words. True when it was imported, filed as a note or passed over; false when it is
    /// malformed.
    bool importVersion11StringList(QStringList tokens);
    /// One line of version 2.x as words, by the columns found last. True when it was imported or passed over; false
    /// when it is malformed.
    bool importVersion20StringList(const QStringList &tokens);

    /// Forgets the columns, except that of "R", which nothing reads before it is set again.
    void resetColumnsPos();
    /// Finds the columns in the first of @p headerLines that names them. False when a column that is needed is missing.
    bool checkValidColumns(const QStringList &headerLines);
    /// Finds the columns in a list such as "N,O,T,I,d,l,D"; those that it does not name are missing from now on.
    void check2xColumnPos(QString columnsText);

    /// Files @p text, simplified, as a note to the next message; after a note that is there already with " | " between.
    void importNoticeLine(QString text);
    /// Sets the time of @p msg from milliseconds with an optional fraction, such as "2457.5" or "171,130". More than
    /// three digits behind the separator are not scaled down: "1.2345" is 3345 µs. A text without a separator is both
    /// parts.
    void convertTimestringAndSetToCanMsg(const QString &timeText, CAN::CanRxMessage &msg);

Q_SIGNALS:
    /// Never sent by the import itself.
    void newMessage(CAN::CanRxMessage msg);

private:
    CANLOGHANDLER_NO_EXPORT bool importVersion(const QString &path, DatachunkHelper::ImportFileType type);
    CANLOGHANDLER_NO_EXPORT PeakTraceReader &traceReader();
};
