// SPDX-License-Identifier: Apache-2.0
#include "common/text/bytelines.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace
{

constexpr int blockSize = 65536;

/// What Windows-1252 has in place of the control characters 80 to 9F; 0 where it has nothing.
constexpr ushort windows1252[32] = {0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
                                    0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

/// How many bytes the UTF-8 sequence has that @p text, which is not empty, begins with; 0 when it is none.
std::size_t sequenceLength(std::string_view text)
{
    const auto byte = [&](std::size_t i) { return i < text.size() ? quint8(text[i]) : quint8(0); };
    const quint8 first = byte(0);
    if (first < 0x80)
        return 1;
    if (first < 0xC2 || first > 0xF4)
        return 0;
    const std::size_t size = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
    }
    // Not the shortest form, a surrogate, or above the last character.
    const quint8 second = byte(1);
    const bool isWrong = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F)
                         || (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
    return isWrong ? 0 : size;
}

bool isUtf8(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t size = sequenceLength(text);
        if (size == 0)
            return false;
        text.remove_prefix(size);
    }
    return true;
}

} // namespace

ByteLines::ByteLines(QIODevice &source, BlockRead newBlockRead)
    : device(source)
    , blockRead(std::move(newBlockRead))
    , block(blockSize, Qt::Uninitialized)
{
    makeRoom(2 * blockSize);
}

const char *ByteLines::findLineFeed(const char *from) const
{
    return static_cast<const char *>(std::memchr(from, '\n', std::size_t(end - from)));
}

bool ByteLines::next()
{
    if (cut && !skipRestOfLine())
        return false;
    const char *lineFeed = findLineFeed(position);
    while (!lineFeed && end - position <= maxLineLength) {
        const qint64 searched = end - position;
        if (!fill()) {
            if (position == end || stopped)
                return false;
            lineFeed = end; // the last line has none
            break;
        }
        lineFeed = findLineFeed(position + searched);
    }
    cut = !lineFeed || lineFeed - position > maxLineLength;
    start = position;
    length = std::size_t(cut ? maxLineLength : lineFeed - start);
    position += length;
    if (!cut && position != end)
        ++position;
    if (!cut && length > 0 && start[length - 1] == '\r')
        --length;
    ++lineNumber;
    return true;
}

std::string_view ByteLines::lookAhead(qint64 wanted)
{
    const qint64 gap = position - start; // the line stays in the buffer before what comes next
    while (end - position < wanted) {
        position = start;
        const bool filled = fill();
        start = position;
        position = start + gap;
        if (!filled)
            break;
    }
    return {position, std::size_t(end - position)};
}

bool ByteLines::skipRestOfLine()
{
    const char *lineFeed = nullptr;
    while (!(lineFeed = findLineFeed(position))) {
        position = end;
        if (!fill())
            return false;
    }
    position = lineFeed + 1;
    return true;
}

/// Reads a block behind what is not handed out yet. False when there is none.
bool ByteLines::fill()
{
    if (atEnd)
        return false;
    // What needs no decoding is read where it is wanted.
    const bool isPlain = encoding == Encoding::Bytes;
    if (isPlain)
        makeRoom(blockSize);
    char *const target = isPlain ? buffer.get() + (end - position) : block.data();
    const qint64 count = device.read(target, blockSize);
    if (count <= 0) {
        atEnd = true;
        if (count < 0 && !device.atEnd()) // at the end of a pipe there is nothing wrong
            error = device.errorString();
        return finish();
    }
    bytes += count;
    if (blockRead && !blockRead(bytes)) {
        stopped = atEnd = true;
        return false;
    }
    if (isPlain)
        end += count;
    else
        decode(QByteArray(block.constData(), int(count)));
    return true;
}

/// What the end of the device leaves undecided. Whether that is anything.
bool ByteLines::finish()
{
    if (undecoded.isEmpty())
        return false;
    if (encoding == Encoding::Unknown)
        append(std::exchange(undecoded, {})); // the beginning of a mark is no mark
    else
        append(QString(QChar::ReplacementCharacter).toUtf8()); // half a character
    undecoded.clear();
    return true;
}

void ByteLines::makeRoom(qint64 size)
{
    const qint64 kept = end - position;
    if (kept + size <= capacity) {
        std::memmove(buffer.get(), position, std::size_t(kept));
    } else {
        capacity = std::max(2 * capacity, kept + size);
        std::unique_ptr<char[]> room(new char[std::size_t(capacity + margin)]);
        std::memset(room.get() + kept, 0, std::size_t(capacity + margin - kept));
        if (kept > 0)
            std::memcpy(room.get(), position, std::size_t(kept));
        buffer = std::move(room);
    }
    position = buffer.get();
    end = position + kept;
}

void ByteLines::append(const QByteArray &text)
{
    makeRoom(text.size());
    std::memcpy(buffer.get() + (end - position), text.constData(), std::size_t(text.size()));
    end += text.size();
}

/// Takes a block that may begin with a byte-order mark or is UTF-16.
void ByteLines::decode(const QByteArray &bytesRead)
{
    undecoded += bytesRead;
    if (encoding == Encoding::Unknown && !findEncoding())
        return;
    if (encoding == Encoding::Bytes)
        append(std::exchange(undecoded, {}));
    else
        decodeUtf16();
}

/// False when there are too few bytes to tell.
bool ByteLines::findEncoding()
{
    static const struct {
        QByteArray mark;
        Encoding encoding;
    } marks[] = {
        {"\xEF\xBB\xBF", Encoding::Bytes},
        {"\xFF\xFE", Encoding::Utf16LittleEndian},
        {"\xFE\xFF", Encoding::Utf16BigEndian},
    };
    for (const auto &candidate : marks) {
        if (undecoded.startsWith(candidate.mark)) {
            encoding = candidate.encoding;
            undecoded.remove(0, candidate.mark.size());
            return true;
        }
        if (candidate.mark.startsWith(undecoded))
            return false;
    }
    encoding = Encoding::Bytes;
    return true;
}

void ByteLines::decodeUtf16()
{
    const int high = encoding == Encoding::Utf16BigEndian ? 0 : 1;
    QString text;
    int used = 0;
    for (; used + 1 < undecoded.size(); used += 2)
        text += QChar(quint8(undecoded.at(used + 1 - high)), quint8(undecoded.at(used + high)));
    if (!text.isEmpty() && text.at(text.size() - 1).isHighSurrogate()) {
        text.chop(1);
        used -= 2;
    }
    undecoded.remove(0, used);
    append(text.toUtf8());
}

QString decodedText(std::string_view text)
{
    if (isUtf8(text))
        return QString::fromUtf8(text.data(), int(text.size()));
    QString decoded = QString::fromLatin1(text.data(), int(text.size()));
    for (QChar &c : decoded) {
        if (c.unicode() >= 0x80 && c.unicode() < 0xA0 && windows1252[c.unicode() - 0x80] != 0)
            c = QChar(windows1252[c.unicode() - 0x80]);
    }
    return decoded;
}
