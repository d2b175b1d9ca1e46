#include "host/cli/formats.h"

#include "host/cli/detect.h"
#include "host/cli/inputfile.h"
#include "host/cli/output.h"

#include <QCommandLineParser>
#include <QMetaEnum>

#include <algorithm>
#include <functional>

static const QLatin1String automatic("auto");
static const QLatin1String defaultColumns("t n i ? ? l d"); // the library's own

QString Format::name() const
{
    return QString::fromLatin1(QMetaEnum::fromType<DatachunkHelper::ImportFileType>().valueToKey(type));
}

const QVector<Format> &formats()
{
    static const QVector<Format> table{
        {DatachunkHelper::QclFile,
         {QStringLiteral("qcl")},
         QStringLiteral("one data-chunk file of a store"),
         QStringLiteral(".qcl")},
        {DatachunkHelper::NorvikTxt,
         {QStringLiteral("norvik")},
         QStringLiteral("Norvik text log"),
         QStringLiteral(".txt")},
        {DatachunkHelper::PeakTraceV11,
         {QStringLiteral("trc11")},
         QStringLiteral("PCAN trace, version 1.1"),
         QStringLiteral(".trc")},
        {DatachunkHelper::PeakTraceV12,
         {QStringLiteral("trc12")},
         QStringLiteral("PCAN trace, version 1.2"),
         QStringLiteral(".trc")},
        {DatachunkHelper::PeakTraceV13,
         {QStringLiteral("trc13")},
         QStringLiteral("PCAN trace, version 1.3"),
         QStringLiteral(".trc")},
        {DatachunkHelper::PeakTraceV20,
         {QStringLiteral("trc20")},
         QStringLiteral("PCAN trace, version 2.0"),
         QStringLiteral(".trc")},
        {DatachunkHelper::PeakTraceV21,
         {QStringLiteral("trc21")},
         QStringLiteral("PCAN trace, version 2.1"),
         QStringLiteral(".trc")},
        {DatachunkHelper::SocketCanDump,
         {QStringLiteral("candump")},
         QStringLiteral("SocketCAN candump, screen or log-file form"),
         QStringLiteral(".log")},
        {DatachunkHelper::KvaserTxtLog,
         {QStringLiteral("kvaser")},
         QStringLiteral("Kvaser text log"),
         QStringLiteral(".txt")},
        {DatachunkHelper::KvaserCanKingLog,
         {QStringLiteral("canking")},
         QStringLiteral("Kvaser CanKing log"),
         QStringLiteral(".txt")},
        {DatachunkHelper::VectorAscLog,
         {QStringLiteral("asc")},
         QStringLiteral("Vector ASC log with bit counts"),
         QStringLiteral(".asc")},
        {DatachunkHelper::VectorAscLogWithoutBitcount,
         {QStringLiteral("asc-nobitcount")},
         QStringLiteral("Vector ASC log without bit counts, CAN FD included"),
         QStringLiteral(".asc")},
        {DatachunkHelper::CoCTTLog,
         {QStringLiteral("coctt")},
         QStringLiteral("CANopen conformance test tool log"),
         QStringLiteral(".txt")},
        {DatachunkHelper::IxxatLog, {QStringLiteral("ixxat")}, QStringLiteral("Ixxat log"), QStringLiteral(".csv")},
        {DatachunkHelper::WiresharkCsv,
         {QStringLiteral("wireshark")},
         QStringLiteral("Wireshark packet list exported as CSV"),
         QStringLiteral(".csv")},
        {DatachunkHelper::GenericFile,
         {QStringLiteral("generic")},
         QStringLiteral("one frame a line, with the columns that --columns describes"),
         QStringLiteral(".txt")},
    };
    return table;
}

static const Format *findIf(const std::function<bool(const Format &)> &isMeant)
{
    const auto found = std::find_if(formats().cbegin(), formats().cend(), isMeant);
    return found == formats().cend() ? nullptr : &*found;
}

const Format *findFormat(const QString &numberOrName)
{
    return findIf([&](const Format &format) {
        return numberOrName == QString::number(format.type)
               || numberOrName.compare(format.name(), Qt::CaseInsensitive) == 0
               || format.shortNames.contains(numberOrName, Qt::CaseInsensitive);
    });
}

const Format *findFormat(DatachunkHelper::ImportFileType type)
{
    return findIf([&](const Format &format) { return format.type == type; });
}

QCommandLineOption typeOption()
{
    return {QStringLiteral("type"),
            QStringLiteral("What the file is, as 'canlog formats' lists it. Default: %1, what 'canlog detect' finds.")
                .arg(automatic),
            QStringLiteral("NAME|NUMBER"), automatic};
}

QCommandLineOption columnsOption()
{
    return {QStringLiteral("columns"),
            QStringLiteral("The columns of a file of the type GenericFile, one code each with one blank between two: "
                           "t time, n channel, i hexadecimal, I decimal, 0xi prefixed identifier, l length, d data, "
                           "? a column that is not read. Default: \"%1\". Without --type the file is of that type.")
                .arg(defaultColumns),
            QStringLiteral("CODES"), defaultColumns};
}

static bool isAutomatic(const QCommandLineParser &parser)
{
    return parser.value(QStringLiteral("type")).compare(automatic, Qt::CaseInsensitive) == 0;
}

/// The format that the options name; null when they leave it to the content, or name none.
static const Format *namedFormat(const QCommandLineParser &parser)
{
    if (!isAutomatic(parser))
        return findFormat(parser.value(QStringLiteral("type")));
    return parser.isSet(QStringLiteral("columns")) ? findFormat(DatachunkHelper::GenericFile) : nullptr;
}

QString formatProblem(const QCommandLineParser &parser)
{
    const Format *format = namedFormat(parser);
    if (!format && !isAutomatic(parser)) {
        return QStringLiteral("unknown type '%1', 'canlog formats' lists the types")
            .arg(parser.value(QStringLiteral("type")));
    }
    if (parser.isSet(QStringLiteral("columns")) && format->type != DatachunkHelper::GenericFile)
        return QStringLiteral("--columns is for --type GenericFile");
    return {};
}

const Format *formatOf(const InputFile &input, const QCommandLineParser &parser)
{
    if (const Format *format = namedFormat(parser))
        return format;
    const Detection detection = detectFormat(input.path());
    if (!detection.type) {
        complain(input.name(), unknownFormatText(detection.reason));
        return nullptr;
    }
    return findFormat(*detection.type);
}

QString unknownFormatText(const QString &reason)
{
    return QStringLiteral("unknown format: %1; name it with --type ('canlog formats' lists them), or describe its "
                          "columns with --columns")
        .arg(reason);
}

QString requestText(const QCommandLineParser &parser, const Format &format)
{
    return format.type == DatachunkHelper::GenericFile ? parser.value(QStringLiteral("columns")) : QString();
}
