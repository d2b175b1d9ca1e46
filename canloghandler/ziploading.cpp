// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/archivewatch.h"
#include "canloghandler/handlerlink.h"

#include <QBuffer>
#include <QDataStream>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QTemporaryFile>
#include <QtEndian>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

#include <cmath>
#include <limits>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <unistd.h>
#endif

// Archives of native data chunks. An entry is a chunk when its name ends in "qcl"; all others are passed over. A chunk
// begins with a header text such as
//
//   17-0.000000 s to 12.500000 s, 3000 messages
//
// whose number, up to the first "-", puts the chunks of an archive in order. What follows is the store's to read.
//
// Archives come from anywhere: an entry that proves damaged, or whose name leads out of the folder it is to be unpacked
// into, counts as one that cannot be opened. What was left out, and why, is told by the report.

namespace
{

constexpr int copyBlockSize = 10000;
constexpr int blocksPerWrite = 26; // one at a time merging takes a tenth longer: a file grows cheaper in large parts
constexpr quint32 maxHeaderSize = 1024 * 1024; // in bytes; a longer text is no header, and its chunk has the number 0
constexpr char endSignature[] = "PK\5\6";
constexpr int endRecordSize = 22; // without its comment

/// Whether @p path has the whole of the record that ends every archive. QuaZip takes what is cut off for zeros, and
/// then finds no entry or not one of them in its place.
bool hasEndRecord(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    constexpr int largest = endRecordSize + std::numeric_limits<quint16>::max(); // with its comment
    file.seek(qMax<qint64>(0, file.size() - largest));
    const QByteArray end = file.read(largest);
    const int position = int(end.lastIndexOf(endSignature));
    return position >= 0 && end.size() - position >= endRecordSize;
}

/// Whether @p path is an archive without entries, which QuaZip takes for none: that record alone, all counts in it
/// zero, and the comment that it announces.
bool isEmptyArchive(const QString &path)
{
    QFile file(path);
    const QByteArray record = file.open(QIODevice::ReadOnly) ? file.read(endRecordSize) : QByteArray();
    const QByteArray beginning = QByteArray(endSignature).leftJustified(endRecordSize - int(sizeof(quint16)), '\0');
    return record.size() == endRecordSize && record.startsWith(beginning)
           && file.size() - endRecordSize == qFromLittleEndian<quint16>(record.constData() + beginning.size());
}

/// False when @p archive is none that can be read. One without entries counts as open.
bool openArchive(QuaZip &archive)
{
    const QString path = archive.getZipName();
    return isEmptyArchive(path) || (hasEndRecord(path) && archive.open(QuaZip::mdUnzip) && archive.goToFirstFile());
}

bool isChunk(const QString &name)
{
    return name.endsWith(QLatin1String("qcl"));
}

/// Why the current entry of @p archive does not open, or cannot be read to its end; @p error is QuaZip's.
ArchiveReport::Reason whyNotRead(const QuaZip &archive, int error, bool isOpen)
{
    QuaZipFileInfo64 info;
    const bool isKnown = archive.getCurrentFileInfo(&info);
    if (isKnown && info.isEncrypted())
        return ArchiveReport::Reason::Encrypted;
    if (isOpen)
        return error == UNZ_CRCERROR ? ArchiveReport::Reason::Checksum : ArchiveReport::Reason::Data;
    const bool isUsual = isKnown && (info.method == 0 || info.method == Z_DEFLATED);
    return isUsual ? ArchiveReport::Reason::Header : ArchiveReport::Reason::Method;
}

/// The text that @p chunk begins with, empty when there is none.
QString readHeader(QIODevice &chunk)
{
    // The text is preceded by its size, which is not to be trusted.
    QByteArray bytes = chunk.read(sizeof(quint32));
    if (bytes.size() == sizeof(quint32)) {
        const auto size = qFromBigEndian<quint32>(bytes.constData());
        if (size <= maxHeaderSize)
            bytes += chunk.read(size);
    }
    QDataStream stream(bytes);
    stream.setVersion(QDataStream::Qt_5_6);
    QString header;
    stream >> header;
    return header;
}

double orderOf(const QString &header)
{
    const double number = header.split(QLatin1Char('-')).constFirst().toDouble();
    return std::isnan(number) ? 0 : number; // "nan" has no place in an order, and a map with it loses others
}

/// "drive" for "/logs/drive.zip"
QString baseName(const QString &zipPath)
{
    QString name = zipPath.section(QLatin1Char('/'), -1);
    return name.remove(QLatin1String(".zip"));
}

/// A data chunk that has its place in the order.
struct FoundChunk {
    QString name;
    qint64 packedSize = 0;
    bool isEncrypted = false; ///< its number is noise
};
using FoundChunks = QMap<double, FoundChunk>;

/// Makes the entry @p name the current one of @p archive and opens it; false, and the watch told, when it cannot be.
bool openChunk(QuaZip &archive, QuaZipFile &entry, const QString &name, ArchiveWatch &watch)
{
    if (!archive.setCurrentFile(name, QuaZip::csSensitive))
        watch.leftOut(name, ArchiveReport::Reason::NotFound);
    else if (!entry.open(QIODevice::ReadOnly))
        watch.leftOut(name, whyNotRead(archive, entry.getZipError(), false));
    else
        return true;
    return false;
}

/// Puts @p chunk into @p numbered, in the place of one with the same number.
void insertChunk(FoundChunks &numbered, double number, const FoundChunk &chunk, ArchiveWatch &watch)
{
    const auto former = numbered.constFind(number);
    if (former != numbered.cend() && former->isEncrypted)
        watch.leftOut(former->name, ArchiveReport::Reason::Encrypted);
    else if (former != numbered.cend())
        watch.leftOut(former->name, ArchiveReport::Reason::NumberRepeated, chunk.name);
    numbered.insert(number, chunk);
}

/// The data chunks of @p archive, by the numbers in their headers. Of entries with the same name the one counts that is
/// found by it, so that whoever goes by names has the same chunks.
FoundChunks sortChunks(QuaZip &archive, ArchiveWatch &watch)
{
    FoundChunks numbered;
    if (!archive.isOpen())
        return numbered; // one without entries
    // QuaZip looks a name up in what it has come across, and searches no further than an entry without a name. So it
    // is made to come across all.
    QStringList names;
    QSet<QString> known;
    for (bool more = archive.goToFirstFile(); more && !watch.isInterrupted(); more = archive.goToNextFile()) {
        const QString name = archive.getCurrentFileName();
        watch.cameAcross(name, isChunk(name));
        if (!isChunk(name))
            continue;
        if (known.contains(name)) {
            watch.leftOut(name, ArchiveReport::Reason::NameRepeated);
            continue;
        }
        known.insert(name);
        names.append(name);
    }
    watch.endEntries();
    qint64 total = 0;
    for (const QString &name : qAsConst(names)) {
        if (watch.isInterrupted())
            break;
        watch.done(0);
        QuaZipFile entry(&archive);
        if (!openChunk(archive, entry, name, watch))
            continue;
        const QString header = readHeader(entry);
        QuaZipFileInfo64 info;
        archive.getCurrentFileInfo(&info);
        if (entry.getZipError() == UNZ_OK)
            insertChunk(numbered, orderOf(header), {name, entry.csize(), info.isEncrypted()}, watch);
        else
            watch.leftOut(name, whyNotRead(archive, entry.getZipError(), true));
    }
    for (const FoundChunk &chunk : qAsConst(numbered))
        total += chunk.packedSize;
    watch.setTotal(total);
    watch.report.chunks = numbered.size();
    return numbered;
}

/// Calls @p visit(entry, name) for @p chunks in order, each opened for reading, until it returns false or the thread is
/// asked to stop; false then.
template <typename Visit>
bool visitChunks(QuaZip &archive, const FoundChunks &chunks, ArchiveWatch &watch, Visit visit)
{
    bool goesOn = true;
    for (const FoundChunk &chunk : chunks) {
        goesOn = goesOn && !watch.isInterrupted();
        if (!goesOn) {
            watch.leftOut(chunk.name, ArchiveReport::Reason::NotReached);
            continue;
        }
        QuaZipFile entry(&archive);
        goesOn = !openChunk(archive, entry, chunk.name, watch) || visit(entry, chunk.name);
        watch.done(chunk.packedSize);
    }
    return goesOn && !watch.wasInterrupted();
}

enum class Copy {
    Complete,
    Damaged,     ///< the entry cannot be read to its end, or is not what its checksum says
    NotWritable, ///< the target takes no more
};

/// Copies the rest of @p entry, after @p firstBlock that was read from it already, to @p target, and closes it.
Copy copyEntry(QuaZipFile &entry, QIODevice &target, const QByteArray &firstBlock = {})
{
    const qint64 size = entry.usize();
    qint64 done = 0;
    QByteArray blocks = firstBlock;
    blocks.reserve(blocksPerWrite * copyBlockSize);
    for (bool more = true; more;) {
        const int filled = int(blocks.size());
        blocks.resize(filled + copyBlockSize);
        const qint64 added = entry.read(blocks.data() + filled, copyBlockSize);
        more = added > 0;
        blocks.resize(filled + (more ? int(added) : 0));
        if (more && blocks.size() <= (blocksPerWrite - 1) * copyBlockSize)
            continue;
        if (target.write(blocks) != blocks.size())
            return Copy::NotWritable;
        done += blocks.size();
        blocks.resize(0);
    }
    entry.close(); // only now is the checksum known
    return done == size && entry.getZipError() == UNZ_OK ? Copy::Complete : Copy::Damaged;
}

/// Calls @p read(stream) on a copy of @p entry in a temporary file, so that the store can go to and fro in it. A
/// damaged entry is passed over. False when the file cannot be written.
template <typename Read>
bool readFromTemporaryFile(QuaZipFile &entry, const QString &name, ArchiveWatch &watch, Read read)
{
    QTemporaryFile file;
    const Copy copy = file.open() ? copyEntry(entry, file) : Copy::NotWritable;
    if (copy == Copy::Damaged) {
        watch.leftOut(name, whyNotRead(*entry.getZip(), entry.getZipError(), true));
        return true;
    }
    if (copy == Copy::NotWritable || !file.flush() || file.error() != QFileDevice::NoError || !file.seek(0)) {
        watch.leftOut(name, ArchiveReport::Reason::NotWritten);
        return false;
    }
    QDataStream stream(&file);
    read(stream);
    return true;
}

/// Whether @p name can only stand for something inside the folder that it is put behind.
bool staysInside(const QString &name)
{
    const bool hasDrive = name.size() > 1 && name.at(1) == QLatin1Char(':') && name.at(0).isLetter();
    return !hasDrive && !name.startsWith(QLatin1Char('/')) && !name.contains(QLatin1Char('\\'))
           && !name.contains(QChar(QChar::Null)) && !name.split(QLatin1Char('/')).contains(QLatin1String(".."));
}

/// Whether @p path is free to be written and not led out of @p folder by a link on the way.
bool isFreeInside(const QString &path, const QDir &folder)
{
    const QFileInfo info(path);
    if (info.exists() || info.isSymLink())
        return false;
    const QString parent = info.dir().canonicalPath();
    const QString top = folder.canonicalPath();
    return parent.isEmpty() || parent == top || parent.startsWith(top + QLatin1Char('/'));
}

/// Unpacks @p entry into the file @p target, which is open, with its @p header. Tells what went wrong; the file is gone
/// then, unless it could not be written.
Copy unpackInto(QFile &target, QuaZipFile &entry, QString &header)
{
    QByteArray firstBlock = entry.read(copyBlockSize);
    QBuffer beginning(&firstBlock);
    beginning.open(QIODevice::ReadOnly);
    header = readHeader(beginning);
    Copy copy = copyEntry(entry, target, firstBlock);
    if (copy == Copy::Damaged)
        target.remove();
    else if (!target.flush() || target.error() != QFileDevice::NoError)
        copy = Copy::NotWritable;
    target.close();
    return copy;
}

/// Unpacks @p entry into @p folder and tells the store. False, with the store's error text set, when the file cannot
/// be written; an entry that is damaged or has no place in the folder is passed over.
bool unpackChunk(QuaZipFile &entry, const QDir &folder, const QString &zipPath, const HandlerLink &link,
                 ArchiveWatch &watch)
{
    const QString name = entry.getActualFileName();
    const QString path = folder.absolutePath() + QLatin1Char('/') + name;
    if (!staysInside(name) || !isFreeInside(path, folder)) {
        watch.leftOut(name,
                      staysInside(name) ? ArchiveReport::Reason::PlaceTaken : ArchiveReport::Reason::LeadsOutside);
        return true;
    }
    QString header;
    QFile target(path);
    if (target.open(QIODevice::ReadWrite | QIODevice::NewOnly)) {
        switch (unpackInto(target, entry, header)) {
        case Copy::Complete:
            watch.delivered();
            break;
        case Copy::Damaged:
            watch.leftOut(name, whyNotRead(*entry.getZip(), entry.getZipError(), true));
            return true;
        case Copy::NotWritable:
            watch.leftOut(name, ArchiveReport::Reason::NotWritten);
            if (link.store())
                link.store()->setLastErrorText(CANLogHandler::tr("Cannot write %1").arg(path));
            return false;
        }
    } else {
        const bool hasFolder = QFileInfo(path).dir().exists();
        watch.leftOut(name, hasFolder ? ArchiveReport::Reason::NotWritten : ArchiveReport::Reason::InFolder);
    }
    if (link.store())
        link.store()->notifyNewZippedFile(header, path, folder, zipPath);
    return true;
}

/// Makes the files in @p folder, just unpacked, outlast a power loss, where the system can: what the store then writes
/// down about them is never without them.
void syncFiles(const QDir &folder)
{
#ifdef Q_OS_UNIX
    const auto withDescriptor = [](const QString &path, int (*sync)(int)) {
        const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (descriptor < 0)
            return;
        sync(descriptor);
        ::close(descriptor);
    };
#ifdef Q_OS_LINUX
    withDescriptor(folder.path(), ::syncfs); // all at once: one by one, thousands of small files take minutes
#else
    QDirIterator files(folder.path(), QDir::Files | QDir::Hidden);
    while (files.hasNext())
        withDescriptor(files.next(), ::fsync);
    withDescriptor(folder.path(), ::fsync);
    withDescriptor(QFileInfo(folder.path()).path(), ::fsync);
#endif
#else
    Q_UNUSED(folder)
#endif
}

} // namespace

/// The watch over one archive, whose report becomes the handler's, if that is still there.
class CANLogHandler::ArchiveReading : public ArchiveWatch
{
public:
    explicit ArchiveReading(CANLogHandler &handler)
        : ArchiveWatch([sender = QPointer<CANLogHandler>(&handler)](qint64 bytesDone, qint64 bytesTotal) {
            if (sender)
                Q_EMIT sender->importProgress(bytesDone, bytesTotal);
        })
        , owner(&handler)
    {
        handler.archiveReport = {};
    }
    ~ArchiveReading() { publish(); }
    /// Makes the report known, before the store is told of the end.
    void publish()
    {
        if (owner)
            owner->archiveReport = report;
    }

    /// False when @p archive is none that can be read.
    bool open(QuaZip &archive)
    {
        const bool isOpen = openArchive(archive);
        if (isOpen)
            begin(archive.getZipName());
        return isOpen;
    }

private:
    Q_DISABLE_COPY_MOVE(ArchiveReading)

    QPointer<CANLogHandler> owner;
};

void CANLogHandler::sortZipFile(QString zipPath, QMap<double, QString> &entries)
{
    ArchiveReading reading(*this);
    QuaZip archive(zipPath);
    if (!reading.open(archive))
        return;
    const FoundChunks chunks = sortChunks(archive, reading);
    for (auto chunk = chunks.cbegin(); chunk != chunks.cend(); ++chunk)
        entries.insert(chunk.key(), chunk->name);
    reading.report.delivered = chunks.size();
}

void CANLogHandler::checkZipFile(QString zipPath, unsigned short &entryCount, unsigned int &messageCount)
{
    const HandlerLink link(this); // each call of the store may delete this handler
    ArchiveReading reading(*this);
    QuaZip archive(zipPath);
    FoundChunks chunks;
    if (reading.open(archive))
        chunks = sortChunks(archive, reading);
    entryCount = static_cast<unsigned short>(chunks.size());
    visitChunks(archive, chunks, reading, [&](QuaZipFile &entry, const QString &name) {
        readFromTemporaryFile(entry, name, reading, [&](QDataStream &stream) {
            reading.delivered();
            if (link.store())
                messageCount += link.store()->getMsgCountFromQclStream(stream);
        });
        return link.isAlive(); // what there is no room for may be followed by something smaller
    });
}

bool CANLogHandler::loadZipFile(QString zipPath)
{
    const HandlerLink link(this); // each call of the store may delete this handler
    ArchiveReading reading(*this);
    if (!link.store())
        return false;
    const QString folderName = QFileInfo(zipPath).fileName();
    QDir folder = link.store()->getDataChunkLocation();
    // A folder of that name was unpacked from this archive before.
    if (!folder.cd(folderName)) {
        QuaZip archive(zipPath);
        if (!reading.open(archive)) {
            if (link.store())
                link.store()->setLastErrorText(tr("Invalid zip file"));
            return false;
        }
        if (!folder.mkdir(folderName) || !folder.cd(folderName)) {
            link.setErrorText(tr("Cannot create directory"));
            return false;
        }
        const FoundChunks chunks = sortChunks(archive, reading);
        const bool ok = visitChunks(archive, chunks, reading, [&](QuaZipFile &entry, const QString &) {
            return unpackChunk(entry, folder, zipPath, link, reading) && link.isAlive();
        });
        if (!ok) {
            folder.removeRecursively(); // or half an archive would count as unpacked
            reading.report.delivered = 0;
            return false;
        }
        syncFiles(folder);
    }
    reading.publish();
    if (link.store())
        link.store()->notifyZipFileLoaded(folderName);
    return true;
}

bool CANLogHandler::loadZipMerged(QString zipPath)
{
    const HandlerLink link(this); // each call of the store may delete this handler
    ArchiveReading reading(*this);
    if (link.store())
        link.store()->setImportStarted();

    QuaZip archive(zipPath);
    const bool isOpen = reading.open(archive);
    bool ok = isOpen;
    if (isOpen) {
        const FoundChunks chunks = sortChunks(archive, reading);
        const bool isWhole = visitChunks(archive, chunks, reading, [&](QuaZipFile &entry, const QString &name) {
            const bool written = readFromTemporaryFile(entry, name, reading, [&](QDataStream &stream) {
                bool isFd = false;
                ok = link.store() && link.store()->parseQCLStream(stream, isFd);
                if (!ok) {
                    reading.leftOut(name, ArchiveReport::Reason::Refused);
                    return;
                }
                reading.delivered();
                if (!staysInside(name))
                    reading.doubt(name, ArchiveReport::Reason::LeadsOutside);
                if (link.store())
                    link.store()->notifyFdMessage(isFd);
            });
            if (!written && link.store())
                link.store()->setLastErrorText(tr("Cannot write a temporary file"));
            return written && link.isAlive();
        });
        ok = ok && isWhole;
        reading.publish();
        if (link.store())
            link.store()->notifyZipFileLoaded(baseName(zipPath));
    }
    // The store sees a native import without a path; the request's own finish notice follows from loadFile(). Hosts
    // count on both.
    if (link.store())
        link.store()->setImportFinished(ok, DatachunkHelper::QclFile, QString(), false);
    return ok;
}
