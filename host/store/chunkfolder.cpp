// SPDX-License-Identifier: Apache-2.0
#include "host/store/chunkfolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace ChunkFolder
{
namespace
{

bool hasOtherName(const StoredChunk &chunk)
{
    return chunk.fileNames.first() != fileName(chunk.summary.number);
}

/// Of chunks with the same number the one whose name fits comes first, then by name.
bool isBefore(const StoredChunk &a, const StoredChunk &b)
{
    if (a.summary.number != b.summary.number)
        return a.summary.number < b.summary.number;
    if (hasOtherName(a) != hasOtherName(b))
        return hasOtherName(b);
    return a.fileNames.first() < b.fileNames.first();
}

/// Makes one of all chunks with the same number; @p chunks are in order.
std::vector<StoredChunk> joined(const std::vector<StoredChunk> &chunks, QStringList &warnings)
{
    std::vector<StoredChunk> unique;
    unique.reserve(chunks.size());
    for (const StoredChunk &chunk : chunks) {
        if (unique.empty() || unique.back().summary.number != chunk.summary.number) {
            unique.push_back(chunk);
            continue;
        }
        QStringList &all = unique.back().fileNames;
        all.append(chunk.fileNames);
        warnings.append(warningText(all.last(), QStringLiteral("it has the same number as %1").arg(all.first())));
    }
    return unique;
}

} // namespace

QString fileName(quint64 number)
{
    return QStringLiteral("chunk-%1.qcl").arg(number, 8, 10, QLatin1Char('0'));
}

QString warningText(const QString &fileName, const QString &fault)
{
    return QStringLiteral("%1: %2").arg(fileName, fault);
}

std::vector<StoredChunk> list(const QString &folder, QStringList &warnings)
{
    std::vector<StoredChunk> chunks;
    const QDir dir(folder);
    const QStringList names = dir.entryList(QDir::Files, QDir::Name);
    for (const QString &name : names) {
        if (!name.endsWith(QLatin1String(".qcl")))
            continue;
        StoredChunk chunk;
        chunk.fileNames.append(name);
        QFile file(dir.filePath(name));
        const QString fault =
            file.open(QIODevice::ReadOnly) ? ChunkFormat::readSummary(file, chunk.summary).text() : file.errorString();
        if (fault.isEmpty())
            chunks.push_back(chunk);
        else
            warnings.append(warningText(name, fault));
    }
    std::sort(chunks.begin(), chunks.end(), isBefore);
    return joined(chunks, warnings);
}

const StoredChunk *find(const std::vector<StoredChunk> &chunks, quint64 number)
{
    const auto chunk = std::lower_bound(chunks.cbegin(), chunks.cend(), number,
                                        [](const StoredChunk &a, quint64 wanted) { return a.summary.number < wanted; });
    return chunk != chunks.cend() && chunk->summary.number == number ? &*chunk : nullptr;
}

bool isTaken(const QString &folder, quint64 number)
{
    const QFileInfo info(folder + QLatin1Char('/') + fileName(number));
    return info.exists() || info.isSymLink();
}

} // namespace ChunkFolder
