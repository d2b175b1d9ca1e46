// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QFile>
#include <QString>

/**
 * A file that appears under its name when it is complete and on the disk, and not at all when it is not: until commit()
 * it has another name in the same folder, and what was there before stays as it is. A program that is killed leaves the
 * file with the other name behind. The next output in that folder removes it: who still writes one holds a lock on it.
 *
 * Unlike QSaveFile it also serves code that opens a file by name.
 */
class OutputFile
{
public:
    explicit OutputFile(const QString &path);
    ~OutputFile();

    /// Makes the temporary file, empty. False with errorText() when that cannot be done.
    [[nodiscard]] bool open();
    /// The temporary file, open for writing without a buffer.
    QFile &device() { return file; }
    /// Gives the file its name, after everything was written. False with errorText() when that cannot be done.
    [[nodiscard]] bool commit();
    /// Removes the temporary file; what was there before stays.
    void discard();

    /// What failed, in one clause.
    QString errorText() const { return error; }

private:
    Q_DISABLE_COPY_MOVE(OutputFile)

    bool fail(const QString &reason);

    QString path;
    QFile file;
    QString error;
};
