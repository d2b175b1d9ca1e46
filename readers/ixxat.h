// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/text/fields.h"
#include "readers/listreader.h"

/// The grammar of an Ixxat log: the columns that its header rows name, and its data rows, with room that serves all.
class IxxatTable
{
public:
    explicit IxxatTable(ImportWatch &importWatch)
        : watch(importWatch)
    {
    }

    /// Forgets the columns, not the separator.
    void forgetColumns();
    /// The columns of a usual log.
    void setUsualColumns();
    bool hasColumns() const { return columnsValid; }
    static bool isHeaderRow(QStringView line);
    /// Finds separator and columns; columns that it does not name stay where they are.
    void readHeaderRow(const QString &line);
    /// Reads one row, simplified, into @p message, which must be empty. False when it is no frame.
    bool readRow(QStringView line, CAN::CanRxMessage &message);

    /// The elements of @p line, valid until the next call of a function that reads.
    const Fields &splitRow(QStringView line, QChar elementSeparator, QChar quote);
    /// Time of day or seconds, milliseconds, microseconds.
    CanTimeStamp readTime(QStringView text);
    static QStringView withoutLeadingZeroes(QStringView text);

private:
    bool has(qint8 column) const { return column >= 0 && column < elements.count(); }
    bool isMissing(qint8 column) const { return column != -1 && !has(column); }
    void readPayload(QStringView text, CAN::CanRxMessage &message);
    quint32 readPart(QStringView text);

    ImportWatch &watch;
    // Positions of the columns, -1 for a missing one. A position above 127 does not fit and becomes another, which no
    // real file has.
    qint8 timeColumn = -1;
    qint8 typeColumn = -1;
    qint8 idColumn = -1;
    qint8 dlcColumn = -1;
    qint8 dataColumn = -1;
    bool columnsValid = false;
    QChar separator = QLatin1Char(',');
    Fields elements;
    Fields parts;
    QString room;
};

/// Reads Ixxat logs.
class IxxatReader : public ListReader
{
public:
    IxxatReader()
        : ListReader("IxxatFileImporter")
    {
    }

    IxxatTable grammar{watch};

protected:
    void begin() override;
    bool read(CAN::CanRxMessage &message) override;

private:
    QString room;
    bool ok = true; ///< no line without columns since the latest row
};
