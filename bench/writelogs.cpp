// SPDX-License-Identifier: Apache-2.0
// Writes one log of each format into a folder, for other programs to read: bench_logs FRAMES FOLDER. Prints a line for
// each, with tabs between the path and the name of the format.

#include "bench/logs.h"

#include <QCoreApplication>
#include <QDir>

#include <cstdio>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int frames = arguments.value(1).toInt();
    if (arguments.size() != 3 || frames <= 0) {
        std::fputs("usage: bench_logs FRAMES FOLDER\n", stderr);
        return 2;
    }
    const QDir folder(arguments.at(2));
    for (const BenchFormat &format : benchFormats()) {
        if (format.twin)
            continue; // the same lines
        const QString path = folder.filePath(QLatin1String(format.name) + QLatin1String(format.suffix));
        if (!writeLog(format, path, frames)) {
            std::fprintf(stderr, "bench_logs: cannot write %s\n", qPrintable(path));
            return 1;
        }
        std::printf("%s\t%s\n", qPrintable(path), format.name);
    }
    return 0;
}
