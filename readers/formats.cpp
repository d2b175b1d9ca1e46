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

using Role = LineSign::Role;
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

LogFormat row(ImportFileType type, const char *shortName, const char *description, const char *suffix,
              const char *samples, Maker maker)
{
    LogFormat format;
    format.type = type;
    if (*shortName)
        format.shortNames = QStringList{QString::fromLatin1(shortName)};
    format.description = QString::fromLatin1(description);
    format.suffix = QString::fromLatin1(suffix);
    format.samples = QString::fromLatin1(samples);
    format.make = maker;
    return format;
}

LogFormat looksLike(const QVector<LineSign> &signs, LogFormat format)
{
    format.signs = signs;
    return format;
}

LogFormat beginsWith(const char *magic, LogFormat format)
{
    format.magic = magic;
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
    return asOneList(row(type, shortName, description, ".trc", "peaktrace", makePeakTrace));
}

/// A format whose reader is right for the logs that tools write now.
LogFormat today(ImportFileType type, const char *shortName, const char *description, const char *suffix,
                const char *samples, Maker maker)
{
    LogFormat format = withNotes(row(type, shortName, description, suffix, samples, maker));
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
        looksLike(
            {{Role::Frame, 60, "frames with a length in parentheses",
              R"(^\s*%t\s+(?:%h{1,8}(?:/\S*)?|\S*Error\S*)\s+\(\d{1,3}\):\s)"}},
            withNotes(row(NorvikTxt, "norvik", "Norvik text log", ".txt", "norviktxtfile", make<makeNorvikTxtReader>))),
        withNotes(peakTrace(PeakTraceV11, "trc11", "PCAN trace, version 1.1")),
        withNotes(peakTrace(PeakTraceV12, "trc12", "PCAN trace, version 1.2")),
        withNotes(peakTrace(PeakTraceV13, "trc13", "PCAN trace, version 1.3")),
        peakTrace(PeakTraceV20, "trc20", "PCAN trace, version 2.0"),
        peakTrace(PeakTraceV21, "trc21", "PCAN trace, version 2.1"),
        row(SocketCanDump, "", "SocketCAN candump, screen or log-file form", ".log", "socketcandump",
            make<makeSocketCanDumpReader>),
        looksLike({{Role::Never, 0, "", R"(^\s*(?:base\s+(?:hex|dec)\b|(?i:Begin Triggerblock)))"},
                   {Role::Opening, 20, "trigger line", R"(\bTrigger\b)"},
                   {Role::Sign, 60, "field format lines", R"(^\s*Format of (?:data|id) field:)"},
                   {Role::Frame, 30, "frames after it", R"(^\s*%t\s+\d+\s+%h{1,8}\s+(?:\S+\s+){1,2}%n\s+\S+\s*$)"},
                   {Role::Ordinary, 0, "", R"(^\s*%t\s+\d+\s)"}},
                  row(KvaserTxtLog, "kvaser", "Kvaser text log", ".txt", "kvasertxtlog", make<makeKvaserTxtLogReader>)),
        looksLike({{Role::Sign, 60, "column titles", R"(^\s*Chn\s+Identifier\s+Flg\s+DLC\b)"},
                   {Role::Frame, 30, "frames with the time near the end",
                    R"(^ *\d{1,2} +%h{1,8} +(?:[A-Za-z]{1,3} +)?%n +%t +[RT]x?\s*$)"}},
                  thatMayFail(row(KvaserCanKingLog, "canking", "Kvaser CanKing log", ".txt", "kvasercankinglog",
                                  make<makeKvaserCanKingLogReader>))),
        withNotes(row(VectorAscLog, "", "Vector ASC log with bit counts", ".asc", "vectorasclog",
                      make<makeVectorAscLogReader>)),
        telling(FdNotice::Always,
                row(VectorAscLogWithoutBitcount, "asc-nobitcount", "Vector ASC log without bit counts, CAN FD included",
                    ".asc", "vectorasclogwithoutbitcount", make<makeVectorAscLogWithoutBitcountReader>)),
        looksLike(
            {{Role::Frame, 60, "Test CAN lines",
              R"(^\s*(?:\d+\s+:\s+)?(?:\d\d:\d\d:\d\d\.\d{3}\s+:\s+)?Test CAN\s+:\s+\S+\s+%h{1,8}\s+[RT]x\s+\S+\s+\d)"},
             {Role::Frame, 30, "test notes",
              R"(^\s*\d+\s+:\s+(?:\d\d:\d\d:\d\d\.\d{3}\s+:\s+)?Test (?:Notice|Info|Error)\s+:\s)"},
             {Role::Ordinary, 0, "", R"(^\s*\d+\s+:\s)"}},
            withNotes(asOneList(
                row(CoCTTLog, "coctt", "CANopen conformance test tool log", ".txt", "coctt", makeNew<CoCTTReader>)))),
        looksLike(
            {{Role::Opening, 60, "column titles",
              R"re(^(?=.*Time)(?=.*ID \(hex\))(?=.*Data \(hex\))[^,;]*(?:[,;][^,;]*){5,}$)re"},
             {Role::Opening, 10, "column titles", R"re(^(?=.*Time)(?=.*ID)(?=.*Data)[^,;]*(?:[,;][^,;]*){5,}$)re"},
             {Role::Frame, 30, "frames after them",
              R"re(^(?=(?:.*[,;])?"?(?:\d+:\d\d:\d\d(?:\.\d+){0,2}|\d+(?:\.\d+){1,2})"?\s*(?:[,;]|$)))re"
              R"re((?=(?:.*[,;])?"?(?:%h{2}(?: %h{2})+|Remote Frame)"?\s*(?:[,;]|$))[^,;]*(?:[,;][^,;]*){5,}$)re"},
             {Role::Ordinary, 0, "",
              R"re((?:^|[,;])"?(?:\d+:\d\d:\d\d(?:\.\d+){0,2}|\d+(?:\.\d+){1,2})"?\s*(?:[,;]|$))re"}},
            asOneList(row(IxxatLog, "ixxat", "Ixxat log", ".csv", "ixxat", makeNew<IxxatReader>))),
        looksLike({{Role::Sign, 50, "column titles", R"re(^"?No\."?,"?Time"?,.*"?Protocol"?,.*"?Info"?\s*$)re"},
                   {Role::Frame, 50, "CAN packets",
                    R"re(^"?\d+"?,"?\(?\d+(?:\.\d+)?\)?"?,[^,]*,[^,]*,"?CAN(?:FD)?"?,.*(?:STD|XTD|ERR): 0x)re"}},
                  telling(FdNotice::WhenSeen,
                          withNumbers(row(WiresharkCsv, "wireshark", "Wireshark packet list exported as CSV", ".csv",
                                          "wiresharkcsv", make<makeWiresharkCsvReader>)))),
        withColumns(asOneList(row(GenericFile, "generic", "one frame a line, with the columns that --columns describes",
                                  ".txt", "generic", makeGeneric))),
        looksLike(
            {{Role::Frame, 50, "frames as in a log file",
              R"(^\s*%c\s+\S{1,21}\s+%h{3,8}#)"
              R"((?:(?:#%h)?(?:%h%h\.?)*|[Rr]\d?|%h%h:%h%h:%h{8}#%h*)(?:_%h)?(?:\s+[RT])?\s*$)"},
             // Before and behind them colours (ESC ... m), and what the animation of option -s takes back.
             {Role::Frame, 50, "frames as on the screen",
              R"(^(?:[|/\\-]\x08)*\s*(?:\x1B\[[\d;]*m)*\s*(?:%c\s+)?(?:\x1B\[[\d;]*m)*[\w.@:-]{1,21}(?:\x1B\[[\d;]*m)*\s+)"
              R"((?:[RT]X\s+[-B]\s+[-E]\s+)?(?:%h{3}|%h{8})\s+(?:\[(?:\d\d?|\d{4})\]|\{[9A-F]\}))"
              R"((?:\s+(?:%h{2}|[01]{8}|%h{2}`[`\w]*|remote request|ERRORFRAME|\(\S+\)|'.*)(?:\s|\x1B|$)|\s*(?:\x1B|$)))"},
             {Role::Frame, 50, "frames as of old",
              R"(^\s*<0x%h{3,8}>\s+\[\d\](?:\s+(?:%h{2}|remote request)(?:\s|$)|\s*$))"},
             {Role::Ordinary, 0, "", R"(^(?:\s*#|DROPCOUNT:|interface = |\t))"}},
            today(Candump, "candump", "SocketCAN candump, log-file and screen form, all options", ".log", "candump",
                  make<makeCandumpReader>)),
        looksLike(
            {{Role::Sign, 40, "number base", R"(^\s*base\s+(?:hex|dec)\b)"},
             {Role::Sign, 40, "trigger block", R"((?i:^\s*Begin Triggerblock))"},
             {Role::Frame, 50, "frames",
              // Files of other columns (GenericFile) have capital letters there, and so do few logs, which have a
              // header.
              R"(^\s*-?%t\s+\d+\s+\S+\s+(?:(?i:Rx|Tx|TxRq)\s+(?:d\s+(?:#\s+)?(?:%h|1[0-5])|r)|--\s+r)(?:\s|$))"},
             {Role::Frame, 60, "CAN FD frames", R"((?i:^\s*-?%t\s+CAN(?:FD|XL)\s+\d+\s+(?:Rx|Tx|TxRq)\s))"},
             {Role::Frame, 50, "error frames", R"((?i:^\s*-?%t\s+\d+\s+ErrorFrame))"},
             {Role::Ordinary, 0, "",
              R"((?i:^\s*(?:-?%t\s|//|;|date\s|(?:no\s+)?internal event|End TriggerBlock|DateTime)))"}},
            today(VectorAsc, "asc", "Vector ASC log, every dialect", ".asc", "vectorasc", make<makeVectorAscReader>)),
        looksLike(
            {{Role::Sign, 100, "version line", R"(^;\$FILEVERSION=[1-3]\.\d\s*$)"},
             {Role::Sign, 40, "column line", R"(^;\$COLUMNS=[A-Za-z,]+\s*$)"},
             {Role::Frame, 50, "frames of version 1",
              R"(^\s*\d+\)\s+\d+(?:[.,]\d+)?\s+(?:\d{1,2}\s+)?(?:Rx|Tx|Warng|Error)\s+%h{4,8}\s+(?:-\s+)?\d{1,2}\s)"},
             {Role::Frame, 50, "frames of version 1.0",
              R"(^\s*\d+\)\s+\d+\s+(?:%h{4}|%h{8})\s+[0-8](?:\s+(?:RTR|ERROR|%h{2})\s|\s*$))"},
             {Role::Frame, 50, "frames of version 2",
              R"(^\s*\d+\s+\d+[.,]\d+\s+(?:DT|RR|FD|FB|FE|BI|XL|ER|ST|EC|EV)\s)"},
             // With a version line the columns may stand in any order, and the numbers without a parenthesis.
             {Role::Ordinary, 0, "", R"(^\s*(?:;|\d.*\s(?:DT|RR|FD|FB|FE|BI|XL|ER|ST|EC|EV|Rx|Tx|Warng|Error)\s))"}},
            today(PcanTrace, "trc", "PCAN trace, every version", ".trc", "pcantrace", make<makePcanTraceReader>)),
        looksLike(
            {{Role::Opening, 100, "first line", R"(^[\s-]*\*\*\*BUSMASTER\b.*\*\*\*\s*$)"},
             {Role::Sign, 20, "header lines", R"(^\*\*\*)"},
             {Role::Frame, 30, "rows", R"(^\s*\d+:\d+:\d+:\d{3,4}\s)"},
             {Role::Ordinary, 0, "", R"((?i:\.(?:dbf|dbc)\s*$))"}},
            today(BusmasterLog, "busmaster", "BUSMASTER log", ".log", "busmasterlog", make<makeBusmasterLogReader>)),
        looksLike({{Role::Opening, 100, "column titles", R"((?i:^\s*Time Stamp[,;]ID[,;]Extended[,;].*\bD1\b))"},
                   {Role::Frame, 30, "rows", R"(^\s*-?[\d.]+[,;](?:0x)?%h+[,;])"}},
                  today(GvretCsv, "gvret", "CSV of SavvyCAN and GVRET devices", ".csv", "gvretcsv",
                        make<makeGvretCsvReader>)),
        looksLike(
            {{Role::Sign, 100, "column titles", R"(^timestamp,arbitration_id,extended,remote,error,dlc,data\s*$)"},
             // A log that was begun by appending has no titles: then the prefix of the identifier tells it.
             {Role::Frame, 30, "rows", R"(^-?\d[\d.e+-]*,0x%h+,[01],[01],[01],\d\d?,[\w+/=]*\s*$)"},
             {Role::Ordinary, 0, "", R"(^-?\d[\d.e+-]*,%h+,[01],[01],[01],)"}},
            today(PythonCanCsv, "pythoncan", "CSV of python-can", ".csv", "pythoncancsv",
                  make<makePythonCanCsvReader>)),
        looksLike(
            {{Role::Opening, 100, "column titles", R"((?i:^\s*TimestampEpoch;BusChannel;ID;.*\bIDE\b.*\bDataBytes\b))"},
             {Role::Frame, 30, "rows", R"(^\s*\d+(?:\.\d+)?;[^;]*;%h+;[01];)"}},
            today(SemicolonCsv, "canedge", "semicolon-separated CSV of loggers", ".csv", "semicoloncsv",
                  make<makeSemicolonCsvReader>)),
        beginsWith("LOGG",
                   thatMayFail(today(Blf, "blf", "binary logging file (BLF)", ".blf", "blf", make<makeBlfReader>))),
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
