// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/unpacking.h"

#include "apps/canlog/interruption.h"
#include "apps/canlog/progressbar.h"
#include "canloghandler/canloghandler.h"
#include "common/files.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStorageInfo>
#include <QThread>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <zlib.h>

using Reason = ArchiveReport::Reason;

namespace
{

constexpr int blockSize = 65536;
const QLatin1String folderPrefix(".unpacking-"); // hidden: packing and showing the store leave it out

/// The name of a chunk without the folders of its archive.
QString plainName(const QString &name)
{
    return name.section(QLatin1Char('/'), -1);
}

/// Calls @p take(block) for all of @p device until it returns false; false then.
template <typename Take>
bool readBlocks(QIODevice &device, Take take)
{
    QByteArray block(blockSize, Qt::Uninitialized);
    qint64 size = 0;
    while ((size = device.read(block.data(), blockSize)) > 0) {
        if (!take(block.constData(), size))
            return false;
    }
    return size == 0 || device.atEnd();
}

quint32 checksumOf(QFile &file)
{
    uLong checksum = crc32(0, nullptr, 0);
    readBlocks(file, [&](const char *block, qint64 size) {
        checksum = crc32(checksum, reinterpret_cast<const Bytef *>(block), uInt(size));
        return true;
    });
    return quint32(checksum);
}

/// What is wrong with the file @p path, which should be as @p entry says; empty when nothing is.
QString differenceOf(const QString &path, const QuaZipFileInfo64 &entry)
{
    QFile file(path);
    const QFileInfo info(path);
    if (!info.isFile()) // also what cannot be read as one, such as a pipe
        return QStringLiteral("is missing");
    if (info.size() != qint64(entry.uncompressedSize))
        return QStringLiteral("has another size");
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot be read");
    return checksumOf(file) == entry.crc ? QString() : QStringLiteral("has other content");
}

} // namespace

Unpacking::Unpacking(const QString &storeFolder)
{
    const QDir store(storeFolder);
    const QStringList former = store.entryList({folderPrefix + QLatin1Char('*')}, QDir::Dirs | QDir::Hidden);
    for (const QString &name : former)
        QDir(store.filePath(name)).removeRecursively();
    folder = std::make_unique<QTemporaryDir>(store.filePath(folderPrefix + QLatin1String("XXXXXX")));
}

Unpacking::~Unpacking() = default;

FileResult Unpacking::unpack(const QString &path, ProgressBar *bar)
{
    FileResult result;
    if (!folder->isValid()) {
        lastErrorText = folder->errorString();
        return result;
    }
    result = readFile(*this, {QFileInfo(path).absoluteFilePath(), DatachunkHelper::QclZipArchive, {}, false}, bar);
    // Those were looked at here: some are unpacked, the others have a reason of their own.
    ArchiveReport &report = result.archive;
    for (int i = report.faults.size() - 1; i >= 0; --i) {
        if (report.faults.at(i).reason == Reason::InFolder)
            report.faults.removeAt(i);
    }
    report.count.remove(Reason::InFolder);
    report.faults += faults;
    for (const ArchiveReport::Fault &fault : qAsConst(faults))
        ++report.count[fault.reason];
    report.delivered += deliveredHere;
    return result;
}

/// The library says which file cannot be written, and the disk why, as long as that file is there.
void Unpacking::setLastErrorText(const QString &text)
{
    lastErrorText = text;
    constexpr qint64 hardlyAnything = 65536;
    const QStorageInfo disk(folder->path());
    if (disk.isValid() && disk.bytesAvailable() < hardlyAnything)
        lastErrorText += QLatin1String(": ") + Files::errorText(ENOSPC);
}

bool Unpacking::moveTo(const QString &target)
{
    return QFile::rename(folder->filePath(unpackedName), target);
}

void Unpacking::notifyNewZippedFile(const QString &chunkHeader, const QString &filePath, const QDir &unpacked,
                                    const QString &zipPath)
{
    if (header.isNull())
        header = chunkHeader.isNull() ? QLatin1String("") : chunkHeader;
    if (QFileInfo::exists(filePath) || QFileInfo(filePath).dir().exists())
        return;
    // The library has found out that the name does not lead elsewhere.
    const QString name = filePath.mid(unpacked.absolutePath().size() + 1);
    if (!archive) {
        archive = std::make_unique<QuaZip>(zipPath);
        archive->open(QuaZip::mdUnzip);
    }
    unpackHere(name, unpacked.filePath(plainName(name)));
}

/// Unpacks the entry @p name into the file @p target, or keeps the fault.
void Unpacking::unpackHere(const QString &name, const QString &target)
{
    const auto fail = [&](Reason reason) { faults.append({name, reason, false, {}}); };
    if (QFileInfo::exists(target))
        return fail(Reason::PlaceTaken);
    QFile file(target);
    QuaZipFile entry(archive.get());
    if (!archive->setCurrentFile(name, QuaZip::csSensitive) || !entry.open(QIODevice::ReadOnly))
        return fail(Reason::Data);
    const qint64 size = entry.usize();
    QuaZipFileInfo64 info;
    archive->getCurrentFileInfo(&info);
    const bool isWritable =
        file.open(QIODevice::WriteOnly | QIODevice::NewOnly)
        && readBlocks(entry, [&](const char *block, qint64 count) { return file.write(block, count) == count; })
        && file.flush();
    const bool isWritten = isWritable || file.error() == QFileDevice::NoError;
    entry.close(); // only now is the checksum known
    const int error = entry.getZipError();
    if (isWritten && error == UNZ_OK && file.size() == size) {
        ++deliveredHere;
        return;
    }
    file.remove();
    if (!isWritten)
        fail(Reason::NotWritten);
    else if (info.isEncrypted())
        fail(Reason::Encrypted);
    else
        fail(error == UNZ_CRCERROR ? Reason::Checksum : Reason::Data);
}

/// The names of the chunks in the archive @p path by number, and in @p report what became of them.
static QMap<double, QString> sortedChunks(const QString &path, ArchiveReport &report)
{
    QMap<double, QString> chunks;
    runInterruptibly([&] {
        QPointer<DatachunkHandler> none;
        CANLogHandler handler(none);
        const auto stop = [] {
            if (wasInterrupted())
                QThread::currentThread()->requestInterruption();
        };
        QObject::connect(&handler, &CANLogHandler::importProgress, &handler, stop, Qt::DirectConnection);
        handler.sortZipFile(path, chunks);
        report = handler.getArchiveReport();
    });
    return chunks;
}

QVector<ArchiveReport::Fault> takenPlaces(const QString &path)
{
    QVector<ArchiveReport::Fault> faults;
    QSet<QString> places;
    bool isAnyTaken = false;
    const auto take = [&places](const QString &name) {
        const bool isNew = !places.contains(plainName(name));
        places.insert(plainName(name));
        return isNew;
    };
    QuaZip archive(path);
    const QStringList names = archive.open(QuaZip::mdUnzip) ? archive.getFileNameList() : QStringList();
    for (const QString &name : names)
        isAnyTaken = (name.endsWith(QLatin1String("qcl")) && !take(name)) || isAnyTaken;
    if (!isAnyTaken)
        return faults; // which one comes first need not be known: that means to read the beginning of each
    places.clear();
    ArchiveReport ignored;
    const QMap<double, QString> chunks = sortedChunks(path, ignored);
    for (const QString &name : chunks) {
        // A name that leads elsewhere has no place, and a fault of its own.
        const bool leadsOut = name.contains(QLatin1Char('\\')) || name.startsWith(QLatin1Char('/'))
                              || name.split(QLatin1Char('/')).contains(QLatin1String(".."));
        if (!leadsOut && !take(name))
            faults.append({name, Reason::PlaceTaken, true, {}});
    }
    return faults;
}

Comparison compareWithUnpacked(const QString &path, const QString &folder, ProgressBar *bar)
{
    takeInterruptions();
    Comparison result;
    const QMap<double, QString> chunks = sortedChunks(path, result.archive);
    QuaZip archive(path);
    archive.open(QuaZip::mdUnzip);
    QStringList extra =
        QDir(folder).entryList({QStringLiteral("*qcl")}, QDir::Files | QDir::Hidden | QDir::CaseSensitive);
    QSet<QString> unexpected(extra.cbegin(), extra.cend());
    int done = 0;
    for (const QString &name : chunks) {
        result.isInterrupted = wasInterrupted();
        if (result.isInterrupted)
            return result;
        if (bar)
            bar->update(done++, chunks.size());
        QuaZipFileInfo64 entry;
        const bool isKnown = archive.setCurrentFile(name, QuaZip::csSensitive) && archive.getCurrentFileInfo(&entry);
        const QString file = plainName(name);
        const QString difference =
            isKnown ? differenceOf(QDir(folder).filePath(file), entry) : QStringLiteral("is missing");
        if (!difference.isEmpty())
            result.differences.append(QStringLiteral("%1 %2").arg(file, difference));
        unexpected.remove(file);
    }
    result.isInterrupted = wasInterrupted();
    for (const QString &name : qAsConst(extra)) {
        if (unexpected.contains(name))
            result.differences.append(QStringLiteral("%1 is not in the archive").arg(name));
    }
    return result;
}
