// SPDX-License-Identifier: Apache-2.0
#include "common/text/bytefields.h"

#include "common/text/vectors.h"

#include <QtAlgorithms>

#include <algorithm>
#include <cstring>

unsigned long long blankBitsOneByOne(const char *bytes, std::size_t count)
{
    unsigned long long bits = 0;
    for (std::size_t i = 0; i < count; ++i)
        bits |= static_cast<unsigned long long>(bytes[i] == ' ' || bytes[i] == '\t') << i;
    return bits;
}

#ifdef CANLOGHANDLER_HAS_SSE2

static unsigned blankBitsOfSixteen(const char *bytes)
{
    const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
    const __m128i blanks = _mm_or_si128(_mm_cmpeq_epi8(text, _mm_set1_epi8(' ')), //
                                        _mm_cmpeq_epi8(text, _mm_set1_epi8('\t')));
    return unsigned(_mm_movemask_epi8(blanks));
}

unsigned long long blankBits(const char *bytes, std::size_t count)
{
    if (count < 16)
        return blankBitsOneByOne(bytes, count);
    unsigned long long bits = 0;
    std::size_t done = 0;
    for (; done + 16 <= count; done += 16)
        bits |= static_cast<unsigned long long>(blankBitsOfSixteen(bytes + done)) << done;
    if (done < count) // the last sixteen, some of them once more
        bits |= static_cast<unsigned long long>(blankBitsOfSixteen(bytes + count - 16)) << (count - 16);
    return bits;
}

#else

unsigned long long blankBits(const char *bytes, std::size_t count)
{
    return blankBitsOneByOne(bytes, count);
}

#endif

void ByteFields::splitAtBlanks(std::string_view line)
{
    used = 0;
    lineEnd = line.data() + line.size();
    constexpr std::size_t blockSize = 64;
    const char *fieldBegin = nullptr;
    unsigned long long wasBlank = 1;
    for (std::size_t done = 0; done < line.size(); done += blockSize) {
        const char *const block = line.data() + done;
        const std::size_t count = std::min(line.size() - done, blockSize);
        unsigned long long blanks = blankBits(block, count);
        if (count < blockSize)
            blanks |= ~0ULL << count; // the end of the line ends the field
        unsigned long long edges = blanks ^ (blanks << 1 | wasBlank);
        wasBlank = blanks >> (blockSize - 1);
        for (; edges != 0; edges &= edges - 1) {
            const char *const edge = block + qCountTrailingZeroBits(quint64(edges));
            if (!fieldBegin) {
                fieldBegin = edge;
                continue;
            }
            add(fieldBegin, edge);
            fieldBegin = nullptr;
            if (used == maxCount)
                return;
        }
    }
    if (fieldBegin)
        add(fieldBegin, lineEnd);
}

/// Which of the bytes at @p bytes, at most 64, are @p wanted: a bit each, the first one lowest.
static quint64 bitsOf(char wanted, const char *bytes, std::size_t count)
{
    quint64 bits = 0;
    std::size_t done = 0;
#ifdef CANLOGHANDLER_HAS_SSE2
    const __m128i sixteen = _mm_set1_epi8(wanted);
    for (; done + 16 <= count; done += 16) {
        const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes + done));
        bits |= quint64(unsigned(_mm_movemask_epi8(_mm_cmpeq_epi8(text, sixteen)))) << done;
    }
#endif
    for (; done < count; ++done)
        bits |= quint64(bytes[done] == wanted) << done;
    return bits;
}

void ByteFields::split(std::string_view line, char separator)
{
    used = 0;
    lineEnd = line.data() + line.size();
    constexpr std::size_t blockSize = 64;
    const char *begin = line.data();
    for (std::size_t done = 0; done < line.size(); done += blockSize) {
        const char *const block = line.data() + done;
        for (quint64 ends = bitsOf(separator, block, std::min(line.size() - done, blockSize)); ends != 0;
             ends &= ends - 1) {
            const char *const end = block + qCountTrailingZeroBits(ends);
            add(begin, end);
            if (used == maxCount)
                return;
            begin = end + 1;
        }
    }
    add(begin, lineEnd);
}
