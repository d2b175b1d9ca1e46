// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/canlog/filereading.h"
#include "host/store/streamstore.h"

#include <QDir>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

class QuaZip;

/**
 * Unpacks an archive into a folder beside its place, so that nothing of it is seen before all of it is there: whatever
 * ends the work, no half archive has its name.
 *
 * Chunks that stand in folders of the archive, as of a store's folder that was packed as a whole, are unpacked without
 * those, since a store has its chunks in one folder.
 */
class Unpacking : private StreamStore
{
public:
    /// In @p storeFolder, of a store that is locked: what a killed program left there is removed.
    explicit Unpacking(const QString &storeFolder);
    ~Unpacking() override;

    /// Has the library read @p path, see readFile(). Its report is without what was unpacked here.
    FileResult unpack(const QString &path, ProgressBar *bar);
    /// Why that failed, as the library tells the store; may be empty.
    QString errorText() const { return lastErrorText; }
    /// Moves what was unpacked to @p target, which does not exist. False when that cannot be done.
    bool moveTo(const QString &target);
    /// The header of the first chunk; null when there is none.
    QString firstHeader() const { return header; }

private:
    QDir getDataChunkLocation() const override { return QDir(folder->path()); }
    void setLastErrorText(const QString &text) override;
    void notifyNewZippedFile(const QString &chunkHeader, const QString &filePath, const QDir &unpacked,
                             const QString &zipPath) override;
    void notifyZipFileLoaded(const QString &name) override { unpackedName = name; }
    void unpackHere(const QString &name, const QString &target);

    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<QuaZip> archive; ///< once it is needed
    QString header;
    QString unpackedName;
    QString lastErrorText;
    QVector<ArchiveReport::Fault> faults; ///< of chunks in folders of the archive
    qint64 deliveredHere = 0;
};

/// What was found where an archive had been unpacked before.
struct Comparison {
    bool isInterrupted = false;
    QStringList differences; ///< "chunk-1.qcl is missing" and the like, with the archive; empty when there are none
    ArchiveReport archive;
};

/// The faults that unpacking the archive @p path would come across beside those of merging it: chunks in folders of the
/// archive whose place another one takes. They are delivered here.
QVector<ArchiveReport::Fault> takenPlaces(const QString &path);

/// Compares the names, sizes and checksums of the chunks in the archive @p path with the files in @p folder. Files that
/// are no chunks do not count.
Comparison compareWithUnpacked(const QString &path, const QString &folder, ProgressBar *bar);
