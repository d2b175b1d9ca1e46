// SPDX-License-Identifier: Apache-2.0
#include "readers/formats.h"

#include "readers/coctt.h"
#include "readers/generic.h"
#include "readers/ixxat.h"
#include "readers/makers.h"
#include "readers/peaktrace.h"

#include <QMetaEnum>

#include <algorithm>

using namespace DatachunkHelper;

namespace
{

using Maker = std::unique_ptr<FrameReader> (*)(ImportFileType, const QString &);

/// The reader of a format that has one type and no columns.
template <std::unique_ptr<FrameReader> (*makeOne)()>
std::unique_ptr<FrameReader> make(ImportFileType, const QString &)
{
    return makeOne();
}

template <typename Reader>
std::unique_ptr<FrameReader> makeNew(ImportFileType, const QString &)
{
    return std::make_unique<Reader>();
}

std::unique_ptr<FrameReader> makeGeneric(ImportFileType, const QString &columns)
{
    return std::make_unique<GenericReader>(columns);
}

std::unique_ptr<FrameReader> makePeakTrace(ImportFileType type, const QString &)
{
    return std::make_unique<PeakTraceReader>(type);
}

LogFormat row(ImportFileType type, const char *shortName, const char *description, const char *suffix, Maker maker)
{
    LogFormat format;
    format.type = type;
    if (*shortName)
        format.shortNames = QStringList{QString::fromLatin1(shortName)};
    format.description = QString::fromLatin1(description);
    format.suffix = QString::fromLatin1(suffix);
    format.make = maker;
    return format;
}

LogFormat withNotes(LogFormat format)
{
    format.makesNotes = true;
    return format;
}

LogFormat thatMayFail(LogFormat format)
{
    format.mayFail = true;
    return format;
}

LogFormat asOneList(LogFormat format)
{
    format.delivery = LogFormat::Delivery::OneList;
    return thatMayFail(format);
}

LogFormat telling(LogFormat::FdNotice notice, LogFormat format)
{
    format.fdNotice = notice;
    return format;
}

LogFormat withNumbers(LogFormat format)
{
    format.bringsNumbers = true;
    return format;
}

LogFormat withColumns(LogFormat format)
{
    format.hasColumns = true;
    return format;
}

LogFormat peakTrace(ImportFileType type, const char *shortName, const char *description)
{
    return asOneList(row(type, shortName, description, ".trc", makePeakTrace));
}

/// A format whose reader is right for the logs that tools write now.
LogFormat today(ImportFileType type, const char *shortName, const char *description, const char *suffix, Maker maker)
{
    LogFormat format = withNotes(row(type, shortName, description, suffix, maker));
    format.notesAreFinal = true;
    return telling(LogFormat::FdNotice::WhenSeen, format);
}

} // namespace

QString LogFormat::name() const
{
    return QString::fromLatin1(QMetaEnum::fromType<ImportFileType>().valueToKey(type));
}

const QVector<LogFormat> &logFormats()
{
    using FdNotice = LogFormat::FdNotice;
    static const QVector<LogFormat> table{
        withNotes(row(NorvikTxt, "norvik", "Norvik text log", ".txt", make<makeNorvikTxtReader>)),
        withNotes(peakTrace(PeakTraceV11, "trc11", "PCAN trace, version 1.1")),
        withNotes(peakTrace(PeakTraceV12, "trc12", "PCAN trace, version 1.2")),
        withNotes(peakTrace(PeakTraceV13, "trc13", "PCAN trace, version 1.3")),
        peakTrace(PeakTraceV20, "trc20", "PCAN trace, version 2.0"),
        peakTrace(PeakTraceV21, "trc21", "PCAN trace, version 2.1"),
        row(SocketCanDump, "", "SocketCAN candump, screen or log-file form", ".log", make<makeSocketCanDumpReader>),
        row(KvaserTxtLog, "kvaser", "Kvaser text log", ".txt", make<makeKvaserTxtLogReader>),
        thatMayFail(row(KvaserCanKingLog, "canking", "Kvaser CanKing log", ".txt", make<makeKvaserCanKingLogReader>)),
        withNotes(row(VectorAscLog, "", "Vector ASC log with bit counts", ".asc", make<makeVectorAscLogReader>)),
        telling(FdNotice::Always,
                row(VectorAscLogWithoutBitcount, "asc-nobitcount", "Vector ASC log without bit counts, CAN FD included",
                    ".asc", make<makeVectorAscLogWithoutBitcountReader>)),
        withNotes(asOneList(row(CoCTTLog, "coctt", "CANopen conformance test tool log", ".txt", makeNew<CoCTTReader>))),
        asOneList(row(IxxatLog, "ixxat", "Ixxat log", ".csv", makeNew<IxxatReader>)),
        telling(FdNotice::WhenSeen, withNumbers(row(WiresharkCsv, "wireshark", "Wireshark packet list exported as CSV",
                                                    ".csv", make<makeWiresharkCsvReader>))),
        withColumns(asOneList(row(GenericFile, "generic", "one frame a line, with the columns that --columns describes",
                                  ".txt", makeGeneric))),
        today(Candump, "candump", "SocketCAN candump, log-file and screen form, all options", ".log",
              make<makeCandumpReader>),
        today(VectorAsc, "asc", "Vector ASC log, every dialect", ".asc", make<makeVectorAscReader>),
        today(PcanTrace, "trc", "PCAN trace, every version", ".trc", make<makePcanTraceReader>),
        today(BusmasterLog, "busmaster", "BUSMASTER log", ".log", make<makeBusmasterLogReader>),
        today(GvretCsv, "gvret", "CSV of SavvyCAN and GVRET devices", ".csv", make<makeGvretCsvReader>),
        today(PythonCanCsv, "pythoncan", "CSV of python-can", ".csv", make<makePythonCanCsvReader>),
        today(SemicolonCsv, "canedge", "semicolon-separated CSV of loggers", ".csv", make<makeSemicolonCsvReader>),
        thatMayFail(today(Blf, "blf", "binary logging file (BLF)", ".blf", make<makeBlfReader>)),
    };
    return table;
}

const LogFormat *findLogFormat(ImportFileType type)
{
    const QVector<LogFormat> &formats = logFormats();
    const auto found =
        std::find_if(formats.cbegin(), formats.cend(), [type](const LogFormat &format) { return format.type == type; });
    return found == formats.cend() ? nullptr : &*found;
}

QString defaultColumns()
{
    return QStringLiteral("t n i ? ? l d");
}

std::unique_ptr<FrameReader> makeReader(ImportFileType type, const QString &columns)
{
    const LogFormat *const format = findLogFormat(type);
    return format ? format->make(type, columns) : nullptr;
}
