#include "host/cli/formats.h"

#include "host/cli/output.h"

#include <QCommandLineParser>
#include <QMetaEnum>

#include <algorithm>

static const QLatin1String defaultFormat("SocketCanDump");

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
        {DatachunkHelper::WiresharkCsv,
         {QStringLiteral("wireshark")},
         QStringLiteral("Wireshark packet list exported as CSV"),
         QStringLiteral(".csv")},
    };
    return table;
}

const Format *findFormat(const QString &numberOrName)
{
    const auto isMeant = [&](const Format &format) {
        return numberOrName == QString::number(format.type)
               || numberOrName.compare(format.name(), Qt::CaseInsensitive) == 0
               || format.shortNames.contains(numberOrName, Qt::CaseInsensitive);
    };
    const auto found = std::find_if(formats().cbegin(), formats().cend(), isMeant);
    return found == formats().cend() ? nullptr : &*found;
}

QCommandLineOption typeOption()
{
    return {QStringLiteral("type"),
            QStringLiteral("What the file is, as 'canlog formats' lists it. Default: %1.").arg(defaultFormat),
            QStringLiteral("NAME|NUMBER"), defaultFormat};
}

const Format *chosenFormat(const QCommandLineParser &parser, const QString &subcommand)
{
    const QString wanted = parser.value(QStringLiteral("type"));
    const Format *format = findFormat(wanted);
    if (!format)
        wrongUsage(QStringLiteral("unknown type '%1', 'canlog formats' lists the types").arg(wanted), subcommand);
    return format;
}
