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

} // namespace

LineReader::LineReader(QFile &source, BlockRead newBlockRead)
    : file(source)
    , blockRead(std::move(newBlockRead))
{
}

bool LineReader::atEnd() const
{
    // A pipe cannot say whether it is at its end before it is read.
    return !file.isSequential() && file.atEnd();
}

bool LineReader::next()
{
    lineStart = nextStart;
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
    const qint64 count = file.read(block, blockSize);
    if (count < 0)
        error = file.errorString();
    if (count <= 0)
        return false;
    bytes += count;
    stopped = blockRead && !blockRead(bytes);
    if (stopped)
        return false;
    buffer += decoder.decode(block, int(count));
    return true;
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
    bytes = 0;
    return true;
}
