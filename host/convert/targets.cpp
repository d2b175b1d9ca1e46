// SPDX-License-Identifier: Apache-2.0
#include "host/convert/targets.h"

#include "host/convert/ascwriter.h"
#include "host/convert/blfwriter.h"
#include "host/convert/candumpwriter.h"
#include "host/convert/csvwriter.h"
#include "host/convert/jsonwriter.h"
#include "host/convert/sqlitewriter.h"
#include "host/convert/trcwriter.h"

#include <algorithm>

namespace
{

template <typename Writer>
std::unique_ptr<FrameWriter> textWriter(QIODevice &device, bool)
{
    return std::make_unique<Writer>(device);
}

std::unique_ptr<FrameWriter> csvWriter(QIODevice &device, bool raw)
{
    return std::make_unique<CsvWriter>(device, raw);
}

template <typename Writer>
std::unique_ptr<FrameWriter> databaseWriter(const QString &path)
{
    return std::make_unique<Writer>(path);
}

template <typename Matches>
const Target *firstThat(Matches matches)
{
    const auto found = std::find_if(targets().cbegin(), targets().cend(), matches);
    return found == targets().cend() ? nullptr : &*found;
}

} // namespace

const QVector<Target> &targets()
{
    static const QVector<Target> table{
        {QStringLiteral("candump"),
         {QStringLiteral(".log")},
         QStringLiteral("SocketCAN candump, log-file form"),
         false,
         textWriter<CandumpWriter>,
         nullptr},
        {QStringLiteral("asc"),
         {QStringLiteral(".asc")},
         QStringLiteral("Vector ASC log"),
         true,
         textWriter<AscWriter>,
         nullptr},
        {QStringLiteral("trc"),
         {QStringLiteral(".trc")},
         QStringLiteral("PCAN trace, version 2.1"),
         true,
         textWriter<TrcWriter>,
         nullptr},
        {QStringLiteral("blf"),
         {QStringLiteral(".blf")},
         QStringLiteral("binary logging file (BLF)"),
         true,
         textWriter<BlfWriter>,
         nullptr},
        {QStringLiteral("csv"),
         {QStringLiteral(".csv")},
         QStringLiteral("comma-separated values"),
         false,
         csvWriter,
         nullptr},
        {QStringLiteral("json"),
         {QStringLiteral(".jsonl"), QStringLiteral(".json")},
         QStringLiteral("JSON, one object a line"),
         false,
         textWriter<JsonWriter>,
         nullptr},
        {QStringLiteral("sqlite"),
         {QStringLiteral(".db"), QStringLiteral(".sqlite")},
         QStringLiteral("SQLite database"),
         false,
         nullptr,
         databaseWriter<SqliteWriter>},
    };
    return table;
}

const Target *findTarget(const QString &name)
{
    return firstThat([&](const Target &target) { return name.compare(target.name, Qt::CaseInsensitive) == 0; });
}

const Target *targetForPath(const QString &path)
{
    return firstThat([&](const Target &target) {
        return std::any_of(target.suffixes.cbegin(), target.suffixes.cend(),
                           [&](const QString &suffix) { return path.endsWith(suffix, Qt::CaseInsensitive); });
    });
}
