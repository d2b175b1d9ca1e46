// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/archivedirectory.h"

#include <QFile>
#include <QtEndian>

#include <algorithm>
#include <limits>

namespace
{

// Signatures and sizes of the records, as they stand in the file.
const char localSignature[] = "PK\3\4";
const char entrySignature[] = "PK\1\2";
const char endSignature[] = "PK\5\6";
const char locatorSignature[] = "PK\6\7";
const char largeEndSignature[] = "PK\6\6";
constexpr int localSize = 30;
constexpr int entrySize = 46;
constexpr int endSize = 22;
constexpr int locatorSize = 20;
constexpr int largeEndSize = 56;

constexpr quint16 utf8Flag = 0x0800;
constexpr quint16 sizesInExtraField = 0x0001;

/// A number of @p record, 0 behind its end.
template <typename Number>
Number numberAt(const QByteArray &record, int position)
{
    return record.size() - position >= int(sizeof(Number)) ? qFromLittleEndian<Number>(record.constData() + position)
                                                           : Number(0);
}

/// @p size bytes of @p file at @p position, fewer where it ends.
QByteArray readAt(QFile &file, qint64 position, qint64 size)
{
    return position >= 0 && file.seek(position) ? file.read(size) : QByteArray();
}

/// Where the directory stands, and what it is said to hold.
struct Place {
    qint64 begin = -1;
    qint64 end = 0;
    qint64 shift = 0; ///< of all places that the archive names: what stands before it, a program that unpacks it
    quint64 count = 0;
};

/// The one of @p file, which ends with a record about it. Its numbers are in another record where they are too large.
bool findDirectory(QFile &file, Place &place)
{
    const qint64 largest = endSize + std::numeric_limits<quint16>::max(); // with its comment
    const qint64 tailBegin = std::max<qint64>(0, file.size() - largest);
    const QByteArray tail = readAt(file, tailBegin, largest);
    const int endIndex = tail.lastIndexOf(endSignature);
    if (endIndex < 0 || tail.size() - endIndex < endSize)
        return false;
    place.end = tailBegin + endIndex;
    QByteArray record = tail.mid(endIndex, endSize);
    quint64 size = numberAt<quint32>(record, 12);
    quint64 offset = numberAt<quint32>(record, 16);
    place.count = numberAt<quint16>(record, 10);

    const QByteArray locator = readAt(file, place.end - locatorSize, locatorSize);
    if (locator.startsWith(locatorSignature)) {
        const auto largeEnd = numberAt<quint64>(locator, 8);
        if (largeEnd > quint64(place.end))
            return false;
        record = readAt(file, qint64(largeEnd), largeEndSize);
        if (!record.startsWith(largeEndSignature) || record.size() < largeEndSize)
            return false;
        place.end = qint64(largeEnd);
        place.count = numberAt<quint64>(record, 32);
        size = numberAt<quint64>(record, 40);
        offset = numberAt<quint64>(record, 48);
    }
    if (size > quint64(place.end) || offset > quint64(place.end) - size)
        return false;
    place.begin = place.end - qint64(size);
    place.shift = place.begin - qint64(offset);
    return true;
}

/// Where the header of the entry with this @p record and @p extra field is said to stand; negative where that is
/// nowhere in a file.
qint64 headerPlace(const QByteArray &record, const QByteArray &extra)
{
    constexpr auto elsewhere = std::numeric_limits<quint32>::max();
    const auto place = numberAt<quint32>(record, 42);
    if (place != elsewhere)
        return place;
    for (int field = 0; field + 4 <= extra.size(); field += 4 + numberAt<quint16>(extra, field + 2)) {
        if (numberAt<quint16>(extra, field) != sizesInExtraField)
            continue;
        // Only those of the three numbers are there that the record has no room for.
        const int before =
            int(numberAt<quint32>(record, 20) == elsewhere) + int(numberAt<quint32>(record, 24) == elsewhere);
        return qint64(numberAt<quint64>(extra, field + 4 + before * int(sizeof(quint64))));
    }
    return place;
}

bool isAscii(const QByteArray &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](char c) { return uchar(c) < 0x80; });
}

/// How the header at @p place names @p entry. The mark of UTF-8 counts where it matters.
ArchiveDirectory::OwnName ownName(QFile &file, qint64 place, const ArchiveDirectory::Entry &entry)
{
    const QByteArray header = readAt(file, place, localSize + entry.name.size());
    if (header.size() < localSize || !header.startsWith(localSignature))
        return ArchiveDirectory::OwnName::Missing;
    const bool isUtf8 = (numberAt<quint16>(header, 6) & utf8Flag) != 0;
    const bool isSame = numberAt<quint16>(header, 26) == entry.name.size() && header.mid(localSize) == entry.name
                        && (isUtf8 == entry.isUtf8 || isAscii(entry.name));
    return isSame ? ArchiveDirectory::OwnName::Same : ArchiveDirectory::OwnName::Another;
}

} // namespace

bool ArchiveDirectory::readEntries(const QString &path, const std::function<bool(const Entry &)> &visit)
{
    QFile directory(path);
    QFile headers(path); // one place is read after the other here, and anywhere there
    Place place;
    if (!directory.open(QIODevice::ReadOnly) || !headers.open(QIODevice::ReadOnly | QIODevice::Unbuffered)
        || !findDirectory(directory, place))
        return false;
    qint64 position = place.begin;
    for (quint64 i = 0; i < place.count; ++i) {
        const QByteArray record = readAt(directory, position, entrySize);
        if (record.size() < entrySize || !record.startsWith(entrySignature))
            return false;
        Entry entry;
        const int nameSize = numberAt<quint16>(record, 28);
        const int extraSize = numberAt<quint16>(record, 30);
        const int commentSize = numberAt<quint16>(record, 32);
        const QByteArray nameAndExtra = directory.read(nameSize + extraSize);
        position += entrySize + nameSize + extraSize + commentSize;
        if (position > place.end)
            return false;
        entry.name = nameAndExtra.left(nameSize);
        entry.isUtf8 = (numberAt<quint16>(record, 8) & utf8Flag) != 0;
        const qint64 header = headerPlace(record, nameAndExtra.mid(nameSize));
        if (header >= 0 && header < place.end)
            entry.ownName = ownName(headers, place.shift + header, entry);
        if (!visit(entry))
            return false;
    }
    return position == place.end;
}
