// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QFile>
#include <QString>

/// A file that keeps why it could not be written: Qt forgets it when the position is changed afterwards.
class WrittenFile : public QFile
{
public:
    /// Empty while nothing failed.
    QString writeError() const { return reason; }
    bool seek(qint64 position) override; // writes what is buffered

protected:
    qint64 writeData(const char *data, qint64 size) override;

private:
    void note();

    QString reason;
};

/**
 * An archive on its way: written beside the file that it is to replace, and moved into its place when it is complete
 * and on the disk. Until then, and whatever happens, what was there before stays.
 *
 * A program that is killed leaves the file with the other name behind. The next archive in that folder removes it: who
 * still writes one holds a lock on it.
 */
class ArchiveFile
{
public:
    /// @p path is replaced itself, also when it is a link.
    explicit ArchiveFile(const QString &path);
    ~ArchiveFile();

    /// Makes the file beside, empty. False with errorText() when that cannot be done.
    bool open();
    /// The file beside, open for writing.
    WrittenFile &device() { return file; }
    /// Gives the file its name, after everything was written. False with errorText() when that cannot be done.
    bool commit();

    /// What failed, also while the device was written.
    QString errorText() const { return file.writeError().isEmpty() ? error : file.writeError(); }

private:
    Q_DISABLE_COPY_MOVE(ArchiveFile)

    bool fail(const QString &reason);
    void discard();

    const QString path;
    const QString folder;
    WrittenFile file;
    QString error;
};
