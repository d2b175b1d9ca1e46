// SPDX-License-Identifier: Apache-2.0
// How much memory reading takes at its peak, per format. Delivered in batches: how much more ten million lines take
// than one million. Delivered as one list: how much a million frames take beyond what their list needs by itself.
// Pulled: how much more ten million lines take than one million, of every format.

#include "bench/logs.h"
#include "host/store/streamstore.h"
#include "readers/formats.h"
#include "readers/framereader.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <malloc.h>
#include <memory>

namespace
{

constexpr int million = 1000000;

/// A figure in KiB that the system tells of this process, by its name; 0 where it does not.
long memoryFigure(const QByteArray &name)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(name + ':'))
            return line.mid(name.size() + 1).trimmed().split(' ').first().toLong();
    }
    return 0;
}

/// How much memory, in KiB, @p work takes at its peak.
template <typename Work>
long peakMemoryOf(Work work)
{
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    malloc_trim(0); // what earlier work has given back is no memory of this one
    const long before = memoryFigure("VmRSS");
    if (!reset.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || reset.write("5") != 1)
        return 0;
    work();
    return memoryFigure("VmHWM") - before;
}

void print(const char *name, const char *how, int millions, long peak)
{
    std::printf("%-24s %-9s %8d e6 %14ld\n", name, how, millions, peak);
}

void pullLog(const BenchFormat &format, const QString &path)
{
    const std::unique_ptr<FrameReader> reader = makeReader(format.type);
    reader->open(path);
    while (reader->next()) {
    }
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("log"));

    std::printf("%-24s %-9s %11s %14s\n", "format", "how", "lines", "peak KiB");
    const long listAlone = peakMemoryOf([] {
        QList<CAN::CanRxMessage> messages;
        for (int i = 0; i < million; ++i)
            messages.append(CAN::CanRxMessage());
    });
    print("(the list alone)", "", 1, listAlone);
    for (const BenchFormat &format : benchFormats()) {
        for (const int millions : {1, 10}) {
            if (!writeLog(format, path, millions * million)) {
                std::fprintf(stderr, "bench_memory: cannot write %s\n", qPrintable(path));
                return 1;
            }
            print(format.name, "pulled", millions, peakMemoryOf([&] { pullLog(format, path); }));
            if (format.deliversAtOnce && millions > 1)
                continue;
            StreamStore store;
            print(format.name, "delivered", millions, peakMemoryOf([&] { readLog(format, path, store); }));
        }
    }
    return 0;
}
