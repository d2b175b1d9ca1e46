// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QFile>
#include <QString>
#include <QVector>

/**
 * Which chunk files an import writes whose messages are to be removed unless it succeeds: a hidden file of the store,
 * there from before the journal tells of the import until after the journal has its end. When the program is killed, it
 * tells the chunks of that import from those that somebody copies into the folder.
 *
 * A line is written for each file before that has its name, and synced, too. Functions that write return what failed.
 */
class ImportTrace
{
public:
    /// One file that was written, or was about to be.
    struct Mark {
        quint64 number; ///< of the chunk
        qint64 size;
        quint32 checksum; ///< the chunk's own, which it ends in
    };

    explicit ImportTrace(const QString &storeFolder);

    /// Begins anew, for the import with @p number.
    QString begin(int number);
    /// A chunk is about to be such a file.
    QString add(const Mark &mark);
    bool isOpen() const { return file.isOpen(); }
    /// Closes the file, and removes it, also one that a killed program has left.
    void remove();

    /// Reads the trace in @p folder. False when there is none of the import with @p number.
    static bool read(const QString &folder, int number, QVector<Mark> &marks);
    /// Whether the file @p path is what @p marks say of the chunk with @p number.
    static bool contains(const QVector<Mark> &marks, quint64 number, const QString &path);

    static QString fileName();

private:
    Q_DISABLE_COPY_MOVE(ImportTrace)

    QString write(const QByteArray &line);

    QFile file;
};
