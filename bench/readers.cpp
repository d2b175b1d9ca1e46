// Times every reader beside two measures taken on the same file in the same run:
//
//   floor   read the file, find the line ends, append a default record a line to a new list per batch, deliver
//   plain   what one writes with Qt at first: readLine, simplified, split, toUInt of every field, append, deliver
//
// Both deliver in batches or all at once, as the reader does.
//
// Machines differ and are noisy, so only the ratios count; each time is the lowest of the repetitions.

#include "bench/allocations.h"
#include "bench/logs.h"
#include "bench/lowesttimes.h"
#include "canloghandler/canloghandler.h"
#include "host/store/streamstore.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTextStream>
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <malloc.h>
#include <string>

namespace
{

constexpr int frameCount = 1000000;
constexpr int batchSize = 100000;

class CountingStore : public StreamStore
{
public:
    void addImportedMessages(const QList<CAN::CanRxMessage> &messages, const QMap<unsigned int, QString> &) override
    {
        if (count == 0)
            allocationsAtFirstBatch = allocationCount();
        count += messages.size();
    }
    /// Per message, after the first batch: what is needed once does not count.
    double allocationsPerMessage() const
    {
        return double(allocationCount() - allocationsAtFirstBatch) / double(count - batchSize);
    }

    qint64 count = 0;

private:
    long long allocationsAtFirstBatch = 0;
};

/// How many messages @p format delivers together.
int batchSizeOf(const BenchFormat &format)
{
    return format.deliversAtOnce ? std::numeric_limits<int>::max() : batchSize;
}

void readFloor(const BenchFormat &format, const QString &path, DatachunkHandler &store)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    QList<CAN::CanRxMessage> messages;
    char block[16384];
    for (qint64 size = 0; (size = file.read(block, sizeof block)) > 0;) {
        const char *at = block;
        const char *const end = block + size;
        while ((at = static_cast<const char *>(std::memchr(at, '\n', std::size_t(end - at))))) {
            ++at;
            messages.append(CAN::CanRxMessage());
            if (messages.size() == batchSizeOf(format)) {
                store.addImportedMessages(messages, {});
                messages = {};
            }
        }
    }
    store.addImportedMessages(messages, {});
}

void readPlain(const BenchFormat &format, const QString &path, DatachunkHandler &store)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    QTextStream stream(&file);
    QList<CAN::CanRxMessage> messages;
    while (!stream.atEnd()) {
        const QString line = stream.readLine().simplified();
        QStringList fields = line.split(QLatin1Char(format.separator), Qt::SkipEmptyParts);
        if (format.separator != ' ')
            fields += fields.takeLast().split(QLatin1Char(' '), Qt::SkipEmptyParts);
        CAN::CanRxMessage message;
        bool ok = false;
        for (const QString &field : qAsConst(fields))
            message.id += field.toUInt(&ok, 16);
        messages.append(message);
        if (messages.size() == batchSizeOf(format)) {
            store.addImportedMessages(messages, {});
            messages = {};
        }
    }
    store.addImportedMessages(messages, {});
}

/// @p read must deliver @p messageCount messages.
template <typename Read>
void measure(const std::string &name, int messageCount, Read read)
{
    const auto run = [read, messageCount](benchmark::State &state) {
        double allocations = 0;
        for (auto _ : state) {
            CountingStore store;
            read(store);
            allocations = store.allocationsPerMessage();
            if (store.count != messageCount) {
                std::fprintf(stderr, "bench_readers: not every line was read as a message\n");
                std::exit(1);
            }
        }
        state.counters["allocations/line"] = allocations;
    };
    benchmark::RegisterBenchmark(name.c_str(), run)
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime()
        ->UseRealTime()
        ->Repetitions(5);
}

bool readWithLibrary(const BenchFormat &format, const QString &path, DatachunkHandler &store)
{
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    return handler.importFile(path, format.type, QStringLiteral("t n i ? ? l d"), false);
}

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

/// In batches: how much more memory ten million lines take than one million. At once: how much a million frames take
/// beyond what their list needs by itself.
void printMemory(const QTemporaryDir &folder)
{
    const QString path = folder.filePath(QStringLiteral("memory.log"));
    std::printf("%-20s %10s %14s\n", "format", "lines", "peak KiB");
    const auto print = [](const char *name, int millions, long peak) {
        std::printf("%-20s %8d e6 %14ld\n", name, millions, peak);
    };
    const long listAlone = peakMemoryOf([] {
        QList<CAN::CanRxMessage> messages;
        for (int i = 0; i < frameCount; ++i)
            messages.append(CAN::CanRxMessage());
    });
    print("(the list alone)", 1, listAlone);
    for (const BenchFormat &format : benchFormats()) {
        for (const int millions : {1, 10}) {
            if (format.deliversAtOnce && millions > 1)
                continue;
            CountingStore store;
            if (!writeLog(format, path, millions * frameCount))
                return;
            print(format.name, millions, peakMemoryOf([&] { readWithLibrary(format, path, store); }));
        }
    }
    QFile::remove(path);
    std::printf("\n");
}

void printTable(const LowestTimes &times, const QTemporaryDir &folder)
{
    std::printf("\n%-24s %10s %10s %16s %10s %10s\n", "format", "ns/line", "MB/s", "allocations/line", "x floor",
                "x plain");
    for (const BenchFormat &format : benchFormats()) {
        const std::string name = format.name;
        const double ours = times.milliseconds(name + "/library");
        const double floor = times.milliseconds(name + "/floor");
        const double plain = times.milliseconds(name + "/plain");
        if (ours == 0 || floor == 0 || plain == 0)
            continue;
        const double nanosecondsPerLine = ours * 1e6 / frameCount;
        const double bytesPerLine = double(QFileInfo(folder.filePath(QLatin1String(format.name))).size()) / frameCount;
        std::printf("%-24s %10.1f %10.1f %16.4f %10.2f %10.2f\n", format.name, nanosecondsPerLine,
                    bytesPerLine * 1000 / nanosecondsPerLine, times.counter(name + "/library", "allocations/line"),
                    ours / floor, plain / ours);
    }
    std::printf("x floor: times the floor's time, lower is better; x plain: times faster than the plain Qt loop\n");
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QTemporaryDir folder;

    if (argc == 1)
        printMemory(folder); // first: what comes later has its own peak
    benchmark::Initialize(&argc, argv);

    for (const BenchFormat &format : benchFormats()) {
        const QString path = folder.filePath(QLatin1String(format.name));
        if (!writeLog(format, path, frameCount)) {
            std::fprintf(stderr, "bench_readers: cannot write %s\n", qPrintable(path));
            return 1;
        }
        const std::string name = format.name;
        const int lineCount = frameCount + format.header.count('\n');
        measure(name + "/floor", lineCount, [&format, path](auto &store) { readFloor(format, path, store); });
        measure(name + "/plain", lineCount, [&format, path](auto &store) { readPlain(format, path, store); });
        measure(name + "/library", frameCount, [&format, path](auto &store) { readWithLibrary(format, path, store); });
    }
    LowestTimes times;
    benchmark::RunSpecifiedBenchmarks(&times);
    printTable(times, folder);
    return 0;
}
