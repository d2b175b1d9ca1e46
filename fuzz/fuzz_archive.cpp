// SPDX-License-Identifier: Apache-2.0
// Reads any bytes as an archive of data chunks, in all four ways. Nothing may be written beside the archive's own
// folder, the store must hear of the load in the right order, and the report must account for every entry.

#include "canloghandler/canloghandler.h"
#include "host/store/streamstore.h"

#include <QDataStream>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdlib>

namespace
{

void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// An archive without faults was delivered as a whole, and nothing was of a file that is none.
void requireAccount(const ArchiveReport &report)
{
    require(report.delivered <= report.chunks);
    if (report.faults.isEmpty())
        require(report.delivered == report.chunks && report.chunks + report.others == report.entries);
    for (const ArchiveReport::Fault &fault : report.faults)
        require(report.count.value(fault.reason) > 0 && !ArchiveReport::reasonText(fault.reason).isEmpty());
    require(report.isArchive || (report.entries == 0 && report.faults.isEmpty()));
}

/// Reads the chunks to their end, as a parser may that knows nothing of their size.
class ArchiveStore : public StreamStore
{
public:
    explicit ArchiveStore(const QDir &chunkFolder)
        : folder(chunkFolder)
    {
    }

    void setImportStarted() override { require(++starts == 1); }
    void setImportFinished(bool, DatachunkHelper::ImportFileType type, QString path, bool flag) override
    {
        require(starts == 1 && type == DatachunkHelper::QclFile && path.isEmpty() && !flag);
    }
    QDir getDataChunkLocation() const override { return folder; }
    bool parseQCLStream(QDataStream &stream, bool &isFd) override
    {
        require(starts == 1 && !isFd);
        return getMsgCountFromQclStream(stream) != 0;
    }
    unsigned int getMsgCountFromQclStream(QDataStream &stream) override
    {
        char block[4096];
        unsigned int count = 0;
        for (int size = 0; (size = stream.readRawData(block, sizeof block)) > 0;)
            count += unsigned(size);
        return count;
    }
    void notifyNewZippedFile(const QString &header, const QString &path, const QDir &subFolder,
                             const QString &) override
    {
        require(path.startsWith(subFolder.absolutePath() + QLatin1Char('/')));
        // A chunk whose name asks for a folder that is not there cannot be written; the store hears of it all the same.
        const QFileInfo file(path);
        if (!file.exists())
            require(header.isEmpty());
        else
            require(file.canonicalFilePath().startsWith(folder.canonicalPath() + QLatin1String("/archive.zip/")));
    }

private:
    QDir folder;
    int starts = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("archive.zip"));
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(reinterpret_cast<const char *>(data), qint64(size)) >= 0);
    file.close();
    require(QDir(folder.path()).mkdir(QStringLiteral("store")));

    ArchiveStore store(QDir(folder.filePath(QStringLiteral("store"))));
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    QMap<double, QString> entries;
    handler.sortZipFile(path, entries);
    requireAccount(handler.getArchiveReport());
    unsigned short entryCount = 0;
    unsigned int messageCount = 0;
    handler.checkZipFile(path, entryCount, messageCount);
    require(entryCount == static_cast<unsigned short>(entries.size()));
    requireAccount(handler.getArchiveReport());
    handler.loadZipFile(path);
    requireAccount(handler.getArchiveReport());
    handler.loadZipMerged(path);
    requireAccount(handler.getArchiveReport());

    const auto listed = [](const QString &place) {
        return QDir(place).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
    };
    require(listed(folder.path()) == QStringList({QStringLiteral("archive.zip"), QStringLiteral("store")}));
    for (const QString &name : listed(folder.filePath(QStringLiteral("store"))))
        require(name == QLatin1String("archive.zip"));
    return 0;
}
