// SPDX-License-Identifier: Apache-2.0
// A main for a fuzz target that runs it over files, or over all files in folders: the samples that are kept stay
// passing without a fuzzer at hand.

#include <QDirIterator>
#include <QFile>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace
{

bool replay(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
        return false;
    }
    const QByteArray content = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(content.constData()), std::size_t(content.size()));
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        const QString path = QString::fromLocal8Bit(argv[i]);
        if (QFileInfo(path).isDir()) {
            for (QDirIterator files(path, QDir::Files, QDirIterator::Subdirectories); files.hasNext(); ++count) {
                if (!replay(files.next()))
                    return 1;
            }
        } else if (replay(path)) {
            ++count;
        } else {
            return 1;
        }
    }
    std::printf("%d inputs replayed\n", count);
    return count > 0 ? 0 : 1;
}
