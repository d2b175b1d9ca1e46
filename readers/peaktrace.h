// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/datachunkhelper.h"
#include "common/text/fields.h"
#include "readers/listreader.h"

#include <QStringList>
#include <QVector>

/// The grammar of the lines of PCAN traces, and the columns that versions 2.x name.
class PeakTraceLine
{
public:
    enum class Kind {
        Frame,
        Note, ///< the last word
        Other,
        Malformed,
    };

    explicit PeakTraceLine(ImportWatch &importWatch)
        : watch(importWatch)
    {
    }

    /// Reads one line of version 1.1 into @p message, which must be empty.
    Kind readVersion1(const Fields &words, CAN::CanRxMessage &message);
    /// The same for versions 2.x, by the columns found last.
    Kind readVersion2(const Fields &words, CAN::CanRxMessage &message);
    CanTimeStamp readMilliseconds(QStringView text);

    /// Forgets the columns, except that of "R", which nothing reads before it is set again.
    void forgetColumns();
    /// Finds the columns in the first of @p headerLines that names them. False when a column that is needed is missing.
    bool findColumns(const QStringList &headerLines);
    /// Finds the columns in a list such as "N,O,T,I,d,l,D"; those that it does not name are missing from now on.
    void setColumns(const QString &columnsText);
    bool hasReservedColumn() const { return reservedColumn != -1; }
    /// Whether a line of versions 2.x is a frame by its type.
    bool isFrame(const Fields &words) const;

private:
    ImportWatch &watch;
    // Positions of the columns of versions 2.x, -1 for a missing one. A position above 127 does not fit and becomes
    // another, which no real file has.
    qint8 timeColumn = 0;      ///< "O"
    qint8 typeColumn = 0;      ///< "T"
    qint8 idColumn = 0;        ///< "I"
    qint8 directionColumn = 0; ///< "d"
    qint8 lengthColumn = 0;    ///< "l" or "L"
    qint8 dataColumn = 0;      ///< "D"
    qint8 reservedColumn = 0;  ///< "R"
};

/// Reads PCAN traces; warnings of versions 1.x become notes.
class PeakTraceReader : public ListReader
{
public:
    /// Whether there is a reader for @p type.
    static bool reads(DatachunkHelper::ImportFileType type);
    /// @p traceVersion is a type that it reads.
    explicit PeakTraceReader(DatachunkHelper::ImportFileType traceVersion)
        : ListReader("PeakTraceImporter")
        , version(traceVersion)
    {
    }
    /// The same for the files to come.
    void setVersion(DatachunkHelper::ImportFileType traceVersion) { version = traceVersion; }

    PeakTraceLine grammar{watch};

    ToldFields toldFields() const override;
    LogInfo info() const override;

protected:
    void begin() override;
    bool read(CAN::CanRxMessage &message) override;

private:
    bool isVersion1() const { return version <= DatachunkHelper::PeakTraceV13; }
    bool readHeader();
    bool nextTraceLine();
    bool nextOfAll();
    PeakTraceLine::Kind readLine(CAN::CanRxMessage &message);
    PeakTraceLine::Kind readVersion1Line(CAN::CanRxMessage &message);
    PeakTraceLine::Kind readVersion2Line(CAN::CanRxMessage &message);

    DatachunkHelper::ImportFileType version;
    QStringList header;      ///< the first lines, which are lines like all others afterwards
    QVector<bool> cutHeader; ///< which of them were cut
    int headerTaken = 0;     ///< how many of them were
    QStringView traceLine;
    Fields words;
    bool headerRead = false;
    bool needsPlaceholder = false; ///< a line without the "-" of the reserved column is no message
    bool latestIsFd = false;
};
