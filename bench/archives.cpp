// SPDX-License-Identifier: Apache-2.0
// Times packing a store of a million messages into an archive, and merging it into another store, beside the same work
// done with plain zlib and the store's own parser in one loop. Only the ratios count; each time is the lowest of the
// repetitions. Then, once each, merging of archives of very many chunks of one message: the time of a chunk must not
// grow with their number.

#include "bench/logs.h"
#include "bench/lowesttimes.h"
#include "canloghandler/canloghandler.h"
#include "host/store/mergingstore.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDataStream>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>

namespace
{

constexpr int messageCount = 1000000;

/// One file deflated as zip does it, at the fastest level, with the checksum that zip keeps.
struct Packed {
    QByteArray deflated;
    uLong checksum = 0;
    int size = 0;
};

QByteArray deflated(const QByteArray &content)
{
    z_stream stream{};
    deflateInit2(&stream, 1, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    QByteArray result(int(deflateBound(&stream, uLong(content.size()))), Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(content.constData()));
    stream.avail_in = uInt(content.size());
    stream.next_out = reinterpret_cast<Bytef *>(result.data());
    stream.avail_out = uInt(result.size());
    deflate(&stream, Z_FINISH);
    result.truncate(int(stream.total_out));
    deflateEnd(&stream);
    return result;
}

QByteArray inflated(const Packed &packed)
{
    z_stream stream{};
    inflateInit2(&stream, -MAX_WBITS);
    QByteArray result(packed.size, Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(packed.deflated.constData()));
    stream.avail_in = uInt(packed.deflated.size());
    stream.next_out = reinterpret_cast<Bytef *>(result.data());
    stream.avail_out = uInt(result.size());
    inflate(&stream, Z_FINISH);
    inflateEnd(&stream);
    return result;
}

uLong checksumOf(const QByteArray &content)
{
    return crc32(0, reinterpret_cast<const Bytef *>(content.constData()), uInt(content.size()));
}

QVector<Packed> packPlain(const QDir &folder, const QString &path)
{
    QVector<Packed> result;
    QFile target(path);
    target.open(QIODevice::WriteOnly);
    for (const QFileInfo &info : folder.entryInfoList(QDir::Files, QDir::Name)) {
        QFile file(info.filePath());
        file.open(QIODevice::ReadOnly);
        const QByteArray content = file.readAll();
        result.append({deflated(content), checksumOf(content), content.size()});
        target.write(result.constLast().deflated);
    }
    return result;
}

bool mergePlain(const QVector<Packed> &chunks, ChunkStore &store)
{
    store.setImportStarted();
    bool ok = true;
    for (const Packed &packed : chunks) {
        QByteArray content = inflated(packed);
        if (checksumOf(content) != packed.checksum)
            return false;
        QBuffer buffer(&content);
        buffer.open(QIODevice::ReadOnly);
        QDataStream stream(&buffer);
        bool isFd = false;
        ok = store.parseQCLStream(stream, isFd) && ok;
    }
    store.setImportFinished(ok, DatachunkHelper::QclFile, QString(), false);
    return ok;
}

template <typename Work>
void measure(const char *name, Work work)
{
    const auto run = [name, work](benchmark::State &state) {
        for (auto _ : state) {
            if (!work(state)) {
                std::fprintf(stderr, "bench_archives: %s failed\n", name);
                std::exit(1);
            }
        }
    };
    benchmark::RegisterBenchmark(name, run)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->Iterations(1)
        ->Repetitions(7);
}

/// Runs @p merge on a new store, which alone is timed, and checks that all messages came.
template <typename Merge>
bool mergeIntoNewStore(benchmark::State &state, Merge merge)
{
    state.PauseTiming();
    bool ok = false;
    {
        const QTemporaryDir folder;
        ChunkStore store;
        if (store.open(folder.path(), ChunkStore::Mode::ReadWrite)) {
            state.ResumeTiming();
            ok = merge(store);
            state.PauseTiming();
        }
        ok = ok && store.messageCount() == messageCount;
    }
    state.ResumeTiming();
    return ok;
}

void printRatio(const LowestTimes &times, const char *what)
{
    const double library = times.milliseconds(std::string(what) + "/library");
    const double plain = times.milliseconds(std::string(what) + "/plain");
    if (library > 0 && plain > 0)
        std::printf("%-8s %8.1f ms, plain zlib %8.1f ms, ratio %.2f\n", what, library, plain, library / plain);
}

/// Packs @p count chunks of one message each into the archive @p zip.
bool packSmallChunks(int count, const QString &zip)
{
    const QTemporaryDir folder;
    for (int i = 1; i <= count; ++i) {
        QFile file(folder.filePath(QStringLiteral("%1.qcl").arg(i)));
        ChunkFormat::Encoder encoder(1);
        encoder.add(CAN::CanRxMessage());
        if (!file.open(QIODevice::WriteOnly) || !encoder.write(file, quint64(i), {}).isEmpty())
            return false;
    }
    QPointer<DatachunkHandler> none;
    CANLogHandler(none).zipDatachunks(zip, QDir(folder.path()));
    return QFile::exists(zip);
}

void printSmallChunks(int count)
{
    const QTemporaryDir folder;
    const QString zip = folder.filePath(QStringLiteral("archive.zip"));
    MergingStore store;
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    QElapsedTimer timer;
    const bool isReady = packSmallChunks(count, zip)
                         && store.open(folder.filePath(QStringLiteral("store")), ChunkStore::Mode::ReadWrite);
    timer.start();
    if (!isReady || !handler.loadZipMerged(zip) || store.messageCount() != quint64(count)) {
        std::fprintf(stderr, "bench_archives: merging %d chunks failed\n", count);
        std::exit(1);
    }
    std::printf("%-8s %8.1f ms per 1000 chunks, of %d\n", "merge", double(timer.elapsed()) * 1000 / count, count);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    const QTemporaryDir folder;
    const QString log = folder.filePath(QStringLiteral("log"));
    const QString zip = folder.filePath(QStringLiteral("archive.zip"));

    ChunkStore source;
    QPointer<DatachunkHandler> pointer(&source);
    CANLogHandler handler(pointer);
    if (!source.open(folder.filePath(QStringLiteral("store")), ChunkStore::Mode::ReadWrite)
        || !writeLog(benchFormats().constFirst(), log, messageCount)
        || !handler.loadFile(log, DatachunkHelper::SocketCanDump, {}, false)) {
        std::fprintf(stderr, "bench_archives: cannot make the store\n");
        return 1;
    }
    const QDir chunks = source.getDataChunkLocation();
    handler.zipDatachunks(zip, chunks);
    QDir(chunks).remove(QStringLiteral("imports.json")); // only chunks, on both sides
    const QString plain = folder.filePath(QStringLiteral("plain"));
    const QVector<Packed> packed = packPlain(chunks, plain);

    measure("zip/library", [&](benchmark::State &) {
        handler.zipDatachunks(zip, chunks);
        return QFile::exists(zip);
    });
    measure("zip/plain", [&](benchmark::State &) { return !packPlain(chunks, plain).isEmpty(); });
    measure("merge/library", [&](benchmark::State &state) {
        return mergeIntoNewStore(state, [&](ChunkStore &store) {
            QPointer<DatachunkHandler> target(&store);
            return CANLogHandler(target).loadZipMerged(zip);
        });
    });
    measure("merge/plain", [&](benchmark::State &state) {
        return mergeIntoNewStore(state, [&](ChunkStore &store) { return mergePlain(packed, store); });
    });

    LowestTimes times;
    benchmark::RunSpecifiedBenchmarks(&times);
    printRatio(times, "zip");
    printRatio(times, "merge");
    for (const int count : {7000, 70000})
        printSmallChunks(count);
    return 0;
}
