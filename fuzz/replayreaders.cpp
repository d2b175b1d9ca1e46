// SPDX-License-Identifier: Apache-2.0
// A main for the fuzz target of the readers that replays, for each format, its samples in FOLDER and what the fuzzer
// once found.
//
// usage: fuzz_reader FOLDER

#include "fuzz/fuzz_reader.h"
#include "readers/formats.h"

#include <QDir>
#include <QFile>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

/// How many files of @p folder were replayed; a folder that is not there has none.
static int replayFolder(const QString &folder)
{
    int count = 0;
    for (const QFileInfo &info : QDir(folder).entryInfoList(QDir::Files)) {
        QFile file(info.filePath());
        if (!file.open(QIODevice::ReadOnly))
            return 0;
        const QByteArray content = file.readAll();
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(content.constData()),
                               std::size_t(content.size()));
        ++count;
    }
    return count;
}

int main(int argc, char **argv)
{
    const QString data = QString::fromLocal8Bit(argc > 1 ? argv[1] : "");
    int count = 0;
    for (const LogFormat &row : logFormats()) {
        selectFormat(row);
        const int samples = replayFolder(data + QLatin1Char('/') + row.samples);
        if (samples == 0) {
            std::fprintf(stderr, "%s has no samples in %s\n", qPrintable(row.name()), qPrintable(data));
            return 1;
        }
        count += samples + replayFolder(data + QLatin1String("/finds/") + row.samples);
    }
    std::printf("%d inputs replayed\n", count);
    return 0;
}
