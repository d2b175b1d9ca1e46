// SPDX-License-Identifier: Apache-2.0
// Times every reader beside three measures taken on the same file in the same run:
//
//   lines   read the file and find the line ends, nothing else
//   floor   read the file, find the line ends, append a default record a line to a new list per batch, deliver
//   plain   what one writes with Qt at first: readLine, simplified, split, toUInt of every field, append, deliver
//
// The last two deliver in batches or all at once, as the reader does.
//
// Of a binary log the floor is to inflate what zlib compressed, in as many threads as there are processors, and the
// library's part is to pull the frames; there is no plain way.
//
// Machines differ and are noisy, so only the ratios count; each time is the lowest of the repetitions.

#include "bench/allocations.h"
#include "bench/logs.h"
#include "bench/lowesttimes.h"
#include "host/store/streamstore.h"
#include "readers/formats.h"
#include "readers/framereader.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTextStream>
#include <QtEndian>
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

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

/// What nobody can do without: the lines of the file at @p path, counted.
int readLines(const QString &path)
{
    QFile file(path);
    int count = 0;
    char block[65536];
    for (qint64 size = 0; file.isOpen() || file.open(QIODevice::ReadOnly | QIODevice::Unbuffered);) {
        if ((size = file.read(block, sizeof block)) <= 0)
            break;
        const char *at = block;
        const char *const end = block + size;
        while ((at = static_cast<const char *>(std::memchr(at, '\n', std::size_t(end - at))))) {
            ++at;
            ++count;
        }
    }
    return count;
}

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

/// Inflates the containers of a binary log one by one, each thread the next one, into memory that is used again.
void inflateContainers(const BenchFormat &, const QString &path, DatachunkHandler &store)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QByteArray content = file.readAll();
    std::vector<int> starts;
    for (int at = 144; at + 32 < content.size();) {
        starts.push_back(at);
        const auto size = qFromLittleEndian<quint32>(content.constData() + at + 8);
        at += int(size + size % 4);
    }
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        std::vector<Bytef> output(131072);
        for (std::size_t i = 0; (i = next++) < starts.size();) {
            const char *const container = content.constData() + starts[i];
            auto length = uLongf(output.size());
            uncompress(output.data(), &length, reinterpret_cast<const Bytef *>(container + 32),
                       qFromLittleEndian<quint32>(container + 8) - 32);
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 1; i < std::thread::hardware_concurrency(); ++i)
        threads.emplace_back(work);
    work();
    for (std::thread &thread : threads)
        thread.join();
    static_cast<CountingStore &>(store).count = frameCount;
}

void pullFrames(const BenchFormat &format, const QString &path, DatachunkHandler &store)
{
    const std::unique_ptr<FrameReader> reader = makeReader(format.type);
    reader->open(path);
    while (reader->next()) {
    }
    static_cast<CountingStore &>(store).count = reader->frameCount();
}

/// Writes a log of @p format to @p path unless there is one.
void makeLog(const BenchFormat &format, const QString &path)
{
    if (!QFile::exists(path) && !writeLog(format, path, frameCount)) {
        std::fprintf(stderr, "bench_readers: cannot write %s\n", qPrintable(path));
        std::exit(1);
    }
}

/// @p read must deliver @p messageCount messages.
template <typename Read>
void measure(const std::string &name, const BenchFormat &format, const QString &path, int messageCount, Read read)
{
    const auto run = [&format, path, messageCount, read](benchmark::State &state) {
        makeLog(format, path);
        double allocations = 0;
        for (auto _ : state) {
            CountingStore store;
            read(format, path, store);
            allocations = store.allocationsPerMessage();
            if (store.count != messageCount) {
                std::fprintf(stderr, "bench_readers: not every line was read as a message\n");
                std::exit(1);
            }
        }
        state.counters["allocations/line"] = allocations;
    };
    benchmark::RegisterBenchmark((format.name + name).c_str(), run)
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime()
        ->UseRealTime()
        ->Repetitions(5);
}

void measureLines(const BenchFormat &format, const QString &path, int lineCount)
{
    const auto run = [&format, path, lineCount](benchmark::State &state) {
        makeLog(format, path);
        for (auto _ : state) {
            if (readLines(path) != lineCount) {
                std::fprintf(stderr, "bench_readers: not every line was found\n");
                std::exit(1);
            }
        }
    };
    benchmark::RegisterBenchmark((std::string(format.name) + "/lines").c_str(), run)
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime()
        ->UseRealTime()
        ->Repetitions(5);
}

void printTable(const LowestTimes &times, const QTemporaryDir &folder)
{
    std::printf("\n%-24s %10s %10s %16s %10s %10s %10s %10s\n", "format", "ns/line", "MB/s", "allocations/line",
                "x lines", "x floor", "x plain", "x numbered");
    for (const BenchFormat &format : benchFormats()) {
        const std::string name = format.name;
        const double ours = times.milliseconds(name + "/library");
        const double floor = times.milliseconds(name + "/floor");
        const double plain = times.milliseconds(name + "/plain");
        const double lines = times.milliseconds(name + "/lines");
        if (ours == 0)
            continue;
        const double twin = format.twin ? times.milliseconds(std::string(format.twin) + "/library") : 0;
        const double nanosecondsPerLine = ours * 1e6 / frameCount;
        const double bytesPerLine = double(QFileInfo(folder.filePath(QLatin1String(format.name))).size()) / frameCount;
        std::printf("%-24s %10.1f %10.1f %16.4f", format.name, nanosecondsPerLine,
                    bytesPerLine * 1000 / nanosecondsPerLine, times.counter(name + "/library", "allocations/line"));
        // What a filter left out was not measured.
        for (const auto &[time, of] :
             {std::pair(ours, lines), std::pair(ours, floor), std::pair(plain, ours), std::pair(ours, twin)})
            time > 0 && of > 0 ? std::printf(" %10.2f", time / of) : std::printf(" %10s", "-");
        std::printf("\n");
    }
    std::printf("x lines, x floor: times the time of these, lower is better; x plain: times faster than the plain Qt "
                "loop;\nx numbered: times the time of the numbered reader of the same lines, lower is better\n");
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QTemporaryDir folder;

    // Those of a format take turns: what else the machine does then disturbs each of them alike.
    std::vector<char *> arguments(argv, argv + argc);
    char takeTurns[] = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, takeTurns);
    int count = int(arguments.size());
    benchmark::Initialize(&count, arguments.data());

    for (const BenchFormat &format : benchFormats()) {
        const QString path = folder.filePath(QLatin1String(format.name));
        if (!format.line) {
            measure("/floor", format, path, frameCount, inflateContainers);
            measure("/library", format, path, frameCount, pullFrames);
            continue;
        }
        const int lineCount = frameCount + format.header.count('\n');
        measureLines(format, path, lineCount);
        measure("/floor", format, path, lineCount, readFloor);
        measure("/plain", format, path, lineCount, readPlain);
        measure("/library", format, path, frameCount, readLog);
    }
    LowestTimes times;
    benchmark::RunSpecifiedBenchmarks(&times);
    printTable(times, folder);
    return 0;
}
