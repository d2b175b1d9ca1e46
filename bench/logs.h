#pragma once

#include <QByteArray>
#include <QVector>

/// One kind of log that the benchmarks write for themselves and the way our library reads it.
struct BenchFormat {
    const char *name;
    QByteArray header;             ///< lines before the first frame
    QByteArray (*line)(int frame); ///< the frame of that number as one line, with its end
    bool (*read)(class CANLogHandler &handler, const QString &path);
};

const QVector<BenchFormat> &benchFormats();

/// Writes a log of @p frames frames in @p format to @p path.
bool writeLog(const BenchFormat &format, const QString &path, int frames);
