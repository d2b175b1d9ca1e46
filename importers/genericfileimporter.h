// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "importers/listimporter.h"

class GenericColumns;

/**
 * Reads one file of lines with one frame each into a caller's list, by a description of their columns. It makes no
 * notes. One object reads one file.
 */
class CANLOGHANDLER_EXPORT GenericFileImporter : public ListImporter
{
    Q_OBJECT

public:
    /// Has no list yet; importFile() takes one.
    explicit GenericFileImporter(QObject *parent);
    ~GenericFileImporter() override;

    /**
     * Describes the columns by one code each, with one blank between two: "t" time (seconds, a point, microseconds as
     * they stand), "n" channel, "i" hexadecimal, "I" decimal and "0xi" prefixed identifier, "l" length, "d" first data
     * byte, which must come after the length. Any other code stands for a column that is not read. "t n i ? ? l d" at
     * first.
     */
    void setColumnFormat(const QString &format);

    /**
     * Appends the messages of the file @p path to @p messages; @p notes may be null and stays as it is. False without a
     * list, when the file cannot be opened, and at the first line that has too few columns: messages before it stay in
     * the list.
     */
    bool importFile(QString path, QList<CAN::CanRxMessage> *messages, QMap<unsigned int, QString> *notes);
    /// As importFile(), into the list that it was given last.
    bool parseFile(QString path);

    /// One line, with one blank between two columns. False when it has too few columns; a line with a number that
    /// cannot be read is passed over.
    bool importCANMsgLine(QString line);
    /// Changes nothing: the columns are those of the description.
    void resetColumnsPos();

private:
    CANLOGHANDLER_NO_EXPORT GenericColumns &columns();
};
