// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "importers/listimporter.h"

#include <QStringList>

class IxxatTable;

/**
 * Reads one Ixxat log, a table whose header row names the columns, into a caller's list. It makes no notes. One object
 * reads one file.
 */
class CANLOGHANDLER_EXPORT IxxatFileImporter : public ListImporter
{
    Q_OBJECT

public:
    /// Has no list yet; importFile() takes one.
    explicit IxxatFileImporter(QObject *parent);
    ~IxxatFileImporter() override;

    /**
     * Appends the messages of the file @p path to @p messages; @p notes may be null and stays as it is. False without a
     * list, when the file cannot be opened, and when no row follows a line that has no header row before it. The error
     * text of such a line stays even when the file is imported.
     */
    bool importFile(QString path, QList<CAN::CanRxMessage> *messages, QMap<unsigned int, QString> *notes);
    /// As importFile(), into the list that it was given last.
    bool parseFile(QString path);

    /// Forgets the columns.
    void resetColumnsPos();
    /// The columns of a usual log, for importCANMsgLine() without a header row; reading a file forgets them.
    void setDefaultColumns();
    /// Finds separator and columns in a header row; columns that it does not name stay where they are.
    void getColumnsFromLine(QString line);
    /// One data row. A row that is no frame is passed over; always true.
    bool importCANMsgLine(QString row);

    /// The elements of a row: @p quote is dropped and keeps each @p separator between two of it. An empty last element
    /// is left out.
    QStringList getLineElements(QString line, QChar separator, QChar quote);
    /// Removes each "0" that @p text begins with, to the last.
    void removeLeadingZeroes(QString &text);
    /// Sets the time of @p message from "[hours:minutes:]seconds.milliseconds.microseconds", all of them whole numbers:
    /// a part that is missing or none is 0.
    void convertTimestringAndSetToCanMsg(QString text, CAN::CanRxMessage &message);

private:
    CANLOGHANDLER_NO_EXPORT IxxatTable &table();
};
