// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/datachunkhandler.h"
#include "common/datachunkhelper.h"

#include <QByteArray>
#include <QVector>

/// One kind of log that the benchmarks write for themselves and how it is read.
struct BenchFormat {
    const char *name;
    const char *suffix;            ///< of the file's name, by which some programs know the format
    QByteArray (*line)(int frame); ///< the frame of that number as one line, with its end; null: no text, the host's
                                   ///< writer of the format writes it
    DatachunkHelper::ImportFileType type;
    QByteArray header = {};      ///< lines before the first frame
    char separator = ' ';        ///< of the columns; the bytes in the last one have blanks between them
    bool deliversAtOnce = false; ///< all messages in one list, not in batches
    const char *twin = nullptr;  ///< the other format that the same lines are read as; null: they are this one's own
};

const QVector<BenchFormat> &benchFormats();

/// Writes a log of @p frames frames in @p format to @p path.
bool writeLog(const BenchFormat &format, const QString &path, int frames);

/// Reads the log at @p path through the library, into @p store.
bool readLog(const BenchFormat &format, const QString &path, DatachunkHandler &store);
