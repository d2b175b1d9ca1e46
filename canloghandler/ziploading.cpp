#include "canloghandler/handlerlink.h"

#include <QBuffer>
#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>
#include <QtEndian>
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

#include <cmath>
#include <limits>

// Archives of native data chunks. An entry is a chunk when its name ends in "qcl"; all others are passed over. A chunk
// begins with a header text such as
//
//   17-0.000000 s to 12.500000 s, 3000 messages
//
// whose number, up to the first "-", puts the chunks of an archive in order. What follows is the store's to read.
//
// Archives come from anywhere: an entry that proves damaged, or whose name leads out of the folder it is to be unpacked
// into, counts as one that cannot be opened.

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
    const int position = end.lastIndexOf(endSignature);
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

/// Opens the current entry of @p entry's archive if it is a data chunk.
bool openChunk(QuaZipFile &entry)
{
    return entry.getActualFileName().endsWith(QLatin1String("qcl")) && entry.open(QIODevice::ReadOnly);
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

/// Calls @p visit(entry) for the data chunks among @p names, in order, each opened for reading; until it returns false.
template <typename Names, typename Visit>
void visitChunks(QuaZip &archive, const Names &names, Visit visit)
{
    for (const QString &name : names) {
        if (!archive.setCurrentFile(name, QuaZip::csSensitive))
            continue;
        QuaZipFile entry(&archive);
        if (openChunk(entry) && !visit(entry))
            return;
    }
}

/// Adds the names of the data chunks of @p archive to @p numbered, by the numbers in their headers. Of entries with the
/// same name the one counts that is found by it, so that whoever goes by names has the same chunks.
void sortChunks(QuaZip &archive, QMap<double, QString> &numbered)
{
    // QuaZip looks a name up in what it has come across, and searches no further than an entry without a name. So it
    // is made to come across all.
    QStringList names;
    for (bool more = archive.isOpen() && archive.goToFirstFile(); more; more = archive.goToNextFile())
        names.append(archive.getCurrentFileName());
    names.removeDuplicates();
    visitChunks(archive, names, [&](QuaZipFile &entry) {
        const QString header = readHeader(entry);
        if (entry.getZipError() == UNZ_OK)
            numbered.insert(orderOf(header), entry.getActualFileName());
        return true;
    });
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
        const int filled = blocks.size();
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
bool readFromTemporaryFile(QuaZipFile &entry, Read read)
{
    QTemporaryFile file;
    if (!file.open())
        return false;
    switch (copyEntry(entry, file)) {
    case Copy::Complete:
        break;
    case Copy::Damaged:
        return true;
    case Copy::NotWritable:
        return false;
    }
    if (!file.flush() || file.error() != QFileDevice::NoError || !file.seek(0))
        return false;
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

/// Unpacks @p entry into @p folder and tells the store. False, with the store's error text set, when the file cannot
/// be written; an entry that is damaged or has no place in the folder is passed over.
bool unpackChunk(QuaZipFile &entry, const QDir &folder, const QString &zipPath, const HandlerLink &link)
{
    const QString name = entry.getActualFileName();
    const QString path = folder.absolutePath() + QLatin1Char('/') + name;
    if (!staysInside(name) || !isFreeInside(path, folder))
        return true;

    QString header;
    QFile target(path);
    if (target.open(QIODevice::ReadWrite | QIODevice::NewOnly)) {
        QByteArray firstBlock = entry.read(copyBlockSize);
        QBuffer beginning(&firstBlock);
        beginning.open(QIODevice::ReadOnly);
        header = readHeader(beginning);
        const Copy copy = copyEntry(entry, target, firstBlock);
        if (copy == Copy::Damaged) {
            target.remove();
            return true;
        }
        if (copy == Copy::NotWritable || !target.flush() || target.error() != QFileDevice::NoError) {
            if (link.store())
                link.store()->setLastErrorText(CANLogHandler::tr("Cannot write %1").arg(path));
            return false;
        }
        target.close();
    }
    if (link.store())
        link.store()->notifyNewZippedFile(header, path, folder, zipPath);
    return true;
}

} // namespace

void CANLogHandler::sortZipFile(QString zipPath, QMap<double, QString> &entries)
{
    QuaZip archive(zipPath);
    if (openArchive(archive))
        sortChunks(archive, entries);
}

void CANLogHandler::checkZipFile(QString zipPath, unsigned short &entryCount, unsigned int &messageCount)
{
    const HandlerLink link(this); // each call of the store may delete this handler
    QuaZip archive(zipPath);
    QMap<double, QString> names;
    if (openArchive(archive))
        sortChunks(archive, names);
    entryCount = static_cast<unsigned short>(names.size());
    visitChunks(archive, names, [&](QuaZipFile &entry) {
        readFromTemporaryFile(entry, [&](QDataStream &stream) {
            if (link.store())
                messageCount += link.store()->getMsgCountFromQclStream(stream);
        });
        return true; // what there is no room for may be followed by something smaller
    });
}

bool CANLogHandler::loadZipFile(QString zipPath)
{
    const HandlerLink link(this);
    if (!link.store())
        return false;
    const QString folderName = QFileInfo(zipPath).fileName();
    QDir folder = link.store()->getDataChunkLocation();
    // A folder of that name was unpacked from this archive before.
    if (!folder.cd(folderName)) {
        QuaZip archive(zipPath);
        if (!openArchive(archive)) {
            if (link.store())
                link.store()->setLastErrorText(tr("Invalid zip file"));
            return false;
        }
        if (!folder.mkdir(folderName) || !folder.cd(folderName)) {
            link.setErrorText(tr("Cannot create directory"));
            return false;
        }
        QMap<double, QString> names;
        sortChunks(archive, names);
        bool ok = true;
        visitChunks(archive, names, [&](QuaZipFile &entry) {
            ok = unpackChunk(entry, folder, zipPath, link) && link.isAlive();
            return ok;
        });
        if (!ok) {
            folder.removeRecursively(); // or half an archive would count as unpacked
            return false;
        }
    }
    if (link.store())
        link.store()->notifyZipFileLoaded(folderName);
    return true;
}

bool CANLogHandler::loadZipMerged(QString zipPath)
{
    const HandlerLink link(this);
    if (link.store())
        link.store()->setImportStarted();

    QuaZip archive(zipPath);
    const bool isOpen = openArchive(archive);
    bool ok = isOpen;
    if (isOpen) {
        QMap<double, QString> names;
        sortChunks(archive, names);
        visitChunks(archive, names, [&](QuaZipFile &entry) {
            const bool written = readFromTemporaryFile(entry, [&](QDataStream &stream) {
                bool isFd = false;
                ok = link.store() && link.store()->parseQCLStream(stream, isFd);
                if (ok && link.store())
                    link.store()->notifyFdMessage(isFd);
            });
            if (!written) {
                ok = false;
                if (link.store())
                    link.store()->setLastErrorText(tr("Cannot write a temporary file"));
            }
            return written && link.isAlive();
        });
        if (link.store())
            link.store()->notifyZipFileLoaded(baseName(zipPath));
    }
    // The store sees a native import without a path; the request's own finish notice follows from loadFile(). Hosts
    // count on both.
    if (link.store())
        link.store()->setImportFinished(ok, DatachunkHelper::QclFile, QString(), false);
    return ok;
}
