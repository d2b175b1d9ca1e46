// SPDX-License-Identifier: Apache-2.0
#include "common/text/linereader.h"

#include "common/text/vectors.h"

#include <algorithm>
#include <utility>

// Lines come out of blocks decoded at once: a QString for each line, as QTextStream::readLine() makes it, costs ten
// times as much as a view out of a block. The stream's own steps are repeated here (codec by the first bytes, one
// converter state for the whole file, blocks of the same size), because QTextStream does not tell which of its
// characters came from which block, and at the end of a file that decides whether there is one more, empty line.

namespace
{

constexpr int blockSize = 16384; // QTextStream's
constexpr int maxMarkSize = 4;   // of a byte-order mark, by which the codec is found

} // namespace

LineReader::LineReader(QIODevice &source, BlockRead newBlockRead)
    : file(source)
    , blockRead(std::move(newBlockRead))
{
}

bool LineReader::atEnd() const
{
    // A pipe cannot say whether it is at its end before it is read.
    return seen.size() == seenTaken && !file.isSequential() && file.atEnd();
}

void LineReader::peek(int count, const std::function<bool(QStringView)> &goesOn)
{
    char block[blockSize];
    TextDecoder peekDecoder;
    while (count > 0) {
        const qint64 size = readDevice(block, seen.isEmpty());
        if (size <= 0)
            break;
        seen.append(block, int(size));
        const QString text = peekDecoder.decode(block, int(size));
        if (!goesOn(QStringView(text).left(std::min(count, int(text.size())))))
            break;
        count -= int(text.size());
    }
    error.clear(); // what could not be read shows again
}

bool LineReader::next()
{
    lineStart = nextStart;
    cut = false;
    if (ended || (lineStart == buffer.size() && atEnd())) {
        lineLength = 0;
        return false;
    }

    for (;;) {
        const int lineFeed = findLineFeed();
        if (lineFeed >= 0) {
            nextStart = lineFeed + 1;
            lineLength = lineFeed - lineStart;
            break;
        }
        searched = lineStart + std::min(searched - lineStart, maxLineLength + 1);
        cut = cut || searched < buffer.size();
        buffer.truncate(searched);
        if (!fill()) {
            ended = true;
            if (stopped)
                return false;
            nextStart = int(buffer.size());
            lineLength = nextStart - lineStart;
            if (lineLength == 0 && file.isSequential())
                return false;
            break;
        }
    }

    const bool hasCarriageReturn = lineLength > 0 && buffer.at(lineStart + lineLength - 1) == QLatin1Char('\r');
    if (hasCarriageReturn && (!ended || file.atEnd()))
        --lineLength;
    cut = cut || lineLength > maxLineLength;
    lineLength = std::min(lineLength, maxLineLength);
    return true;
}

int LineReader::findLineFeed()
{
    while (lineFeeds == 0) {
        const int count = std::min(int(buffer.size()) - searched, int(CharacterBits::blockSize));
        if (count == 0)
            return -1;
        lineFeeds = Vectors::bitsOfCharacter(buffer.constData() + searched, count, QLatin1Char('\n'));
        searchedFrom = searched;
        searched += count;
    }
    const int lineFeed = searchedFrom + int(qCountTrailingZeroBits(lineFeeds));
    lineFeeds &= lineFeeds - 1;
    return lineFeed;
}

bool LineReader::fill()
{
    buffer.remove(0, lineStart);
    searched -= lineStart;
    lineStart = 0;

    char block[blockSize];
    const qint64 count = readBlock(block);
    if (count <= 0)
        return false;
    bytes += count;
    stopped = blockRead && !blockRead(bytes);
    if (stopped)
        return false;
    buffer += decoder.decode(block, int(count));
    return true;
}

/// The next block, of what peek() has seen or of the device.
qint64 LineReader::readBlock(char *block)
{
    const int left = std::min(int(seen.size()) - seenTaken, blockSize);
    if (left == 0)
        return readDevice(block, bytes == 0);
    std::copy_n(seen.cbegin() + seenTaken, left, block);
    seenTaken += left;
    if (seenTaken == seen.size()) {
        seen.clear();
        seenTaken = 0;
    }
    return left;
}

/// The next block of the device; the first one of a log has the whole byte-order mark, where there is one.
qint64 LineReader::readDevice(char *block, bool isFirst)
{
    if (!file.isSequential()) {
        const qint64 count = file.read(block, blockSize);
        if (count < 0)
            error = file.errorString();
        return count;
    }
    qint64 size = 0;
    do {
        const qint64 count = file.read(block + size, blockSize - size);
        if (count > 0)
            size += count;
        else if (count < 0)
            return endOfDevice(size);
        else if (!file.waitForReadyRead(-1))
            return size;
    } while (size == 0 || (isFirst && size < maxMarkSize));
    return size;
}

/// A sequential device may say by an error that nothing will come any more: it has no text for that.
qint64 LineReader::endOfDevice(qint64 size)
{
    if (file.errorString() != QIODevice::tr("Unknown error"))
        error = file.errorString();
    return size;
}

bool LineReader::rewind()
{
    if (!file.seek(0))
        return false;
    decoder.rewind();
    buffer.clear();
    lineStart = lineLength = nextStart = searched = 0;
    lineFeeds = 0;
    ended = stopped = false;
    error.clear();
    seen.clear();
    seenTaken = 0;
    bytes = 0;
    return true;
}
