// SPDX-License-Identifier: Apache-2.0
// Holds the lines of a file against QTextStream::readLine().

#include "common/text/linereader.h"
#include "fuzz/fuzztext.h"

#include <QTemporaryFile>
#include <QTextStream>

namespace
{

/// What stands before the input, which says by its first two bytes how much it is: so blocks end anywhere in the input.
QByteArray padding(const std::uint8_t *data, std::size_t size)
{
    const int length = size < 2 ? 0 : data[0] << 8 | data[1];
    return QByteArray(length < 16384 ? length : 0, 'x'); // a block
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static QTemporaryFile file;
    if (!file.isOpen() && !file.open())
        std::abort();
    require(file.resize(0) && file.seek(0));
    const QByteArray before = padding(data, size);
    require(file.write(before) == before.size());
    require(file.write(reinterpret_cast<const char *>(data), qint64(size)) == qint64(size) && file.flush());

    QFile oursFile(file.fileName());
    QFile qtFile(file.fileName());
    require(oursFile.open(QIODevice::ReadOnly) && qtFile.open(QIODevice::ReadOnly));
    LineReader reader(oursFile);
    QTextStream stream(&qtFile);
    while (!stream.atEnd())
        require(reader.next() && reader.line() == stream.readLine());
    require(!reader.next());

    require(reader.rewind() && stream.seek(0));
    while (!stream.atEnd())
        require(reader.next() && reader.line() == stream.readLine());
    require(!reader.next());
    return 0;
}
