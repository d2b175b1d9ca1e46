// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "recordingstore.h"

#include <QDataStream>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QSet>
#include <QString>
#include <QVector>
#include <QtEndian>

#include <zlib.h>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#include <unistd.h>
#endif

/**
 * Archives for the tests of zip writing and loading, byte by byte: built so that each field can lie, and taken apart
 * without the code that wrote them.
 */
namespace ZipBytes
{

constexpr quint32 localSignature = 0x04034B50;
constexpr quint32 centralSignature = 0x02014B50;
constexpr quint32 endSignature = 0x06054B50;
constexpr quint32 end64Signature = 0x06064B50;
constexpr quint32 locator64Signature = 0x07064B50;

constexpr quint16 encryptedFlag = 0x0001;
constexpr quint16 utf8Flag = 0x0800;
constexpr quint16 storedMethod = 0;
constexpr quint16 deflatedMethod = 8;

/// Numbers as archives have them, least significant byte first.
class Bytes
{
public:
    template <typename Number>
    Bytes &operator<<(Number number)
    {
        const Number swapped = qToLittleEndian(number);
        bytes.append(reinterpret_cast<const char *>(&swapped), int(sizeof swapped));
        return *this;
    }
    Bytes &operator<<(const QByteArray &part)
    {
        bytes.append(part);
        return *this;
    }
    operator QByteArray() const { return bytes; }

private:
    QByteArray bytes;
};

template <typename Number>
Number numberAt(const QByteArray &bytes, int position)
{
    if (position < 0 || position > bytes.size() - int(sizeof(Number)))
        return 0;
    return qFromLittleEndian<Number>(bytes.constData() + position);
}

inline quint32 checksum(const QByteArray &content)
{
    return static_cast<quint32>(
        crc32(0, reinterpret_cast<const Bytef *>(content.constData()), static_cast<uInt>(content.size())));
}

/// Bare deflate data, as entries hold it.
inline QByteArray deflated(const QByteArray &content, int level = 6, int flush = Z_FINISH)
{
    z_stream stream{};
    if (deflateInit2(&stream, level, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        qFatal("deflate does not start");
    QByteArray result(int(deflateBound(&stream, uLong(content.size()))) + 64, Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(content.constData()));
    stream.avail_in = static_cast<uInt>(content.size());
    stream.next_out = reinterpret_cast<Bytef *>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    if (deflate(&stream, flush) != (flush == Z_FINISH ? Z_STREAM_END : Z_OK))
        qFatal("deflate fails");
    result.truncate(int(stream.total_out));
    deflateEnd(&stream);
    return result;
}

inline QByteArray inflated(const QByteArray &data, quint32 size)
{
    QByteArray result(int(size) + 1, Qt::Uninitialized); // room to see that there is more
    z_stream stream{};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK)
        qFatal("inflate does not start");
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.constData()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef *>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    const int outcome = inflate(&stream, Z_FINISH);
    result.truncate(int(stream.total_out));
    inflateEnd(&stream);
    return outcome == Z_STREAM_END ? result : QByteArray();
}

/// One entry, with what its headers say about it.
struct Entry {
    QByteArray name;
    QByteArray data; ///< as it stands in the archive
    quint16 flags = utf8Flag;
    quint16 method = deflatedMethod;
    quint32 crc = 0;
    quint32 dataSize = 0; ///< compressed
    quint32 size = 0;
    quint32 offsetShift = 0; ///< how far the directory is wrong about the place
    quint32 signature = localSignature;
};

inline Entry stored(const QByteArray &name, const QByteArray &content)
{
    Entry entry;
    entry.name = name;
    entry.data = content;
    entry.method = storedMethod;
    entry.crc = checksum(content);
    entry.dataSize = entry.size = static_cast<quint32>(content.size());
    return entry;
}

inline Entry packed(const QByteArray &name, const QByteArray &content)
{
    Entry entry = stored(name, content);
    entry.data = deflated(content);
    entry.dataSize = static_cast<quint32>(entry.data.size());
    entry.method = deflatedMethod;
    return entry;
}

/// Takes no longer and no more room than its packed form does: @p pieces times 16 MiB of zeros behind @p beginning.
inline Entry hugeEntry(const QByteArray &name, const QByteArray &beginning, int pieces)
{
    constexpr int pieceSize = 16 * 1024 * 1024;
    const QByteArray zeros(pieceSize, '\0');
    // A full flush makes a piece independent of what stands before it.
    const QByteArray piece = deflated(zeros, 6, Z_FULL_FLUSH);
    const quint32 pieceChecksum = checksum(zeros);

    Entry entry;
    entry.name = name;
    entry.data = deflated(beginning, 6, Z_FULL_FLUSH);
    uLong crc = checksum(beginning);
    for (int i = 0; i < pieces; ++i) {
        entry.data += piece;
        crc = crc32_combine(crc, pieceChecksum, pieceSize);
    }
    entry.data += deflated(QByteArray());
    entry.crc = static_cast<quint32>(crc);
    entry.dataSize = static_cast<quint32>(entry.data.size());
    entry.size =
        static_cast<quint32>(beginning.size()) + static_cast<quint32>(pieces) * static_cast<quint32>(pieceSize);
    return entry;
}

inline QByteArray archive(const QVector<Entry> &entries)
{
    constexpr quint16 time = 0x28C4; // 05:06:08
    constexpr quint16 date = 0x5264; // 2021-03-04
    QByteArray result;
    QByteArray directory;
    for (const Entry &entry : entries) {
        const auto offset = static_cast<quint32>(result.size()) + entry.offsetShift;
        result += Bytes() << entry.signature << quint16(20) << entry.flags << entry.method << time << date << entry.crc
                          << entry.dataSize << entry.size << quint16(entry.name.size()) << quint16(0) << entry.name
                          << entry.data;
        directory += Bytes() << centralSignature << quint16(0x0314) << quint16(20) << entry.flags << entry.method
                             << time << date << entry.crc << entry.dataSize << entry.size << quint16(entry.name.size())
                             << quint16(0) << quint16(0) << quint16(0) << quint16(0) << quint32(0x81A40000) << offset
                             << entry.name;
    }
    const auto directoryOffset = static_cast<quint32>(result.size());
    const auto directorySize = static_cast<quint32>(directory.size());
    result += directory;
    quint16 count = static_cast<quint16>(entries.size());
    if (entries.size() > 0xFFFE) {
        const auto end64 = static_cast<quint64>(result.size());
        const auto realCount = static_cast<quint64>(entries.size());
        result += Bytes() << end64Signature << quint64(44) << quint16(45) << quint16(45) << quint32(0) << quint32(0)
                          << realCount << realCount << quint64(directorySize) << quint64(directoryOffset);
        result += Bytes() << locator64Signature << quint32(0) << end64 << quint32(1);
        count = 0xFFFF;
    }
    return result += Bytes() << endSignature << quint16(0) << quint16(0) << count << count << directorySize
                             << directoryOffset << quint16(0);
}

/// What an archive says about one entry, in the directory and in the entry's own header.
struct Listed {
    QByteArray name;
    QByteArray localName;
    quint16 flags = 0;
    quint16 localFlags = 0;
    quint16 method = 0;
    quint16 localMethod = 0;
    QDateTime dateTime; ///< local, as archives have it
    quint32 attributes = 0;
    QByteArray data;
    QByteArray content; ///< null when it does not fit size and checksum
};

/// All entries in the order of the directory. False when the bytes are no archive from end to end.
inline bool list(const QByteArray &bytes, QVector<Listed> &entries)
{
    entries.clear();
    constexpr int endSize = 22;
    const int end = bytes.size() - endSize; // there is no comment
    if (end < 0 || numberAt<quint32>(bytes, end) != endSignature)
        return false;
    const int count = numberAt<quint16>(bytes, end + 10);
    int position = int(numberAt<quint32>(bytes, end + 16));
    for (int i = 0; i < count; ++i) {
        if (numberAt<quint32>(bytes, position) != centralSignature)
            return false;
        Listed entry;
        entry.flags = numberAt<quint16>(bytes, position + 8);
        entry.method = numberAt<quint16>(bytes, position + 10);
        const int time = numberAt<quint16>(bytes, position + 12);
        const int date = numberAt<quint16>(bytes, position + 14);
        entry.dateTime = QDateTime(QDate(1980 + (date >> 9), (date >> 5) & 15, date & 31),
                                   QTime(time >> 11, (time >> 5) & 63, (time & 31) * 2));
        const auto crc = numberAt<quint32>(bytes, position + 16);
        const auto dataSize = numberAt<quint32>(bytes, position + 20);
        const auto size = numberAt<quint32>(bytes, position + 24);
        const int nameSize = numberAt<quint16>(bytes, position + 28);
        entry.attributes = numberAt<quint32>(bytes, position + 38);
        const int local = int(numberAt<quint32>(bytes, position + 42));
        entry.name = bytes.mid(position + 46, nameSize);
        position += 46 + nameSize + numberAt<quint16>(bytes, position + 30) + numberAt<quint16>(bytes, position + 32);

        if (numberAt<quint32>(bytes, local) != localSignature)
            return false;
        entry.localFlags = numberAt<quint16>(bytes, local + 6);
        entry.localMethod = numberAt<quint16>(bytes, local + 8);
        const int localNameSize = numberAt<quint16>(bytes, local + 26);
        entry.localName = bytes.mid(local + 30, localNameSize);
        entry.data = bytes.mid(local + 30 + localNameSize + numberAt<quint16>(bytes, local + 28), int(dataSize));
        const QByteArray content = entry.method == deflatedMethod ? inflated(entry.data, size) : entry.data;
        if (!content.isNull() && static_cast<quint32>(content.size()) == size && checksum(content) == crc)
            entry.content = content;
        entries.append(entry);
    }
    return position == end;
}

} // namespace ZipBytes

/// The beginning of every data chunk and something behind it.
inline QByteArray chunkBytes(const QString &header, const QByteArray &rest = QByteArrayLiteral("rest"))
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_5_6);
    stream << header;
    return bytes + rest;
}

/// Bytes that do not get smaller by packing, the same for the same seed.
inline QByteArray noise(int size, quint32 seed = 1)
{
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 state = seed * 2654435761U + 1;
    for (char &byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

inline QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline void writeTo(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(content) != content.size()
        || !file.flush())
        qFatal("cannot write %s", qUtf8Printable(path));
}

/// Everything below @p root that is not below @p leftOut: relative path and what is there. Links are not followed.
inline QMap<QString, QByteArray> treeOf(const QString &root, const QString &leftOut = QString())
{
    QMap<QString, QByteArray> result;
    QDirIterator all(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                     QDirIterator::Subdirectories);
    while (all.hasNext()) {
        const QString path = all.next();
        if (!leftOut.isEmpty() && (path == leftOut || path.startsWith(leftOut + QLatin1Char('/'))))
            continue;
        const QFileInfo info = all.fileInfo();
        QByteArray what = "folder";
        if (info.isSymLink())
            what = "link to " + info.symLinkTarget().toUtf8();
        else if (info.isFile())
            what = "file " + contentOf(path);
        result.insert(path.mid(root.size() + 1), what);
    }
    return result;
}

/**
 * A recording store that reads the chunks it is given to the end. It refuses, and finds CAN FD frames in, what it is
 * told to, by header. Its calls show the CAN FD flag as it was before the call.
 */
class ReadingStore : public RecordingStore
{
public:
    QVector<QByteArray> streams; ///< whole chunks, in the order in which they came
    QSet<QString> refused;
    QSet<QString> withFd;
    QMap<QString, unsigned int> counts; ///< messages by header

    static QString parsed(const QString &header, bool fdBefore = false)
    {
        return QStringLiteral("parseQCLStream(%1, %2)").arg(header, Expected::boolean(fdBefore));
    }
    static QString counted(const QString &header) { return QStringLiteral("getMsgCountFromQclStream(%1)").arg(header); }

    bool parseQCLStream(QDataStream &stream, bool &isFd) override
    {
        const QString header = takeIn(stream);
        addEvent(parsed(header, isFd));
        if (withFd.contains(header))
            isFd = true;
        return !refused.contains(header);
    }
    unsigned int getMsgCountFromQclStream(QDataStream &stream) override
    {
        const QString header = takeIn(stream);
        addEvent(counted(header));
        return counts.value(header);
    }

private:
    QString takeIn(QDataStream &stream)
    {
        QIODevice *device = stream.device();
        if (!device || device->isSequential() || device->pos() != 0)
            return QStringLiteral("no seekable device at its beginning");
        const QByteArray bytes = device->readAll();
        if (bytes.size() != device->size())
            return QStringLiteral("device of another size");
        streams.append(bytes);
        QDataStream again(bytes);
        again.setVersion(QDataStream::Qt_5_6);
        QString header;
        again >> header;
        return header;
    }
};

#ifdef Q_OS_UNIX
/// While it lives no file can grow beyond @p bytes.
class SmallDisk
{
public:
    explicit SmallDisk(rlim_t bytes)
        : former(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit small{bytes, limit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~SmallDisk()
    {
        setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, former);
    }

private:
    Q_DISABLE_COPY(SmallDisk)
    rlimit limit{};
    void (*former)(int);
};

/// While it lives the program has the rights of an ordinary user, also when the superuser runs it.
class OrdinaryUser
{
public:
    OrdinaryUser()
        : group(getegid())
        , user(geteuid())
    {
        constexpr id_t nobody = 65534;
        if (user == 0 && (setegid(nobody) != 0 || seteuid(nobody) != 0))
            qFatal("cannot become an ordinary user");
    }
    ~OrdinaryUser()
    {
        if (user == 0 && (seteuid(user) != 0 || setegid(group) != 0))
            qFatal("cannot become the former user");
    }

private:
    Q_DISABLE_COPY(OrdinaryUser)
    gid_t group;
    uid_t user;
};
#endif
