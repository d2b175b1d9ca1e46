#pragma once

#include <QChar>
#include <QtAlgorithms>
#include <QtEndian>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

// Text is looked at 64 characters at a time. Which of them are separators or line feeds becomes one 64-bit number, and
// then only its bits are visited, which takes half the time.

namespace CharacterBits
{

inline constexpr qsizetype blockSize = 64;
inline constexpr qsizetype groupSize = 16;

/// One bit for each of the 16 characters from @p at on, the lowest for the first.
template <typename Predicate>
inline quint64 bitsOfGroup(const QChar *at, Predicate predicate)
{
    uchar flags[groupSize]; // a loop of fixed length over an array is one that compilers turn into vector instructions
    for (qsizetype i = 0; i < groupSize; ++i)
        flags[i] = uchar(predicate(at[i].unicode()));
    // The product collects the lowest bits of eight bytes in its topmost byte.
    const auto gather = [](const uchar *eight) { return qFromLittleEndian<quint64>(eight) * 0x0102040810204080 >> 56; };
    return gather(flags) | gather(flags + 8) << 8;
}

/// The same for @p count characters, 64 at the most.
template <typename Predicate>
inline quint64 bitsOf(const QChar *at, qsizetype count, Predicate predicate)
{
    quint64 bits = 0;
    qsizetype i = 0;
    for (; i + groupSize <= count; i += groupSize)
        bits |= bitsOfGroup(at + i, predicate) << i;
    if (i == count)
        return bits;
    // What is left is looked at together with some of the characters before it.
    if (count > groupSize)
        return bits | bitsOfGroup(at + count - groupSize, predicate) << (count - groupSize);
    for (; i < count; ++i)
        bits |= quint64(predicate(at[i].unicode())) << i;
    return bits;
}

/// bitsOf() for those that are @p wanted, or would be with the bits of @p caseBit set.
inline quint64 bitsOfCharacter(const QChar *at, qsizetype count, QChar wanted, ushort caseBit = 0)
{
#ifdef __SSE2__
    if (count >= groupSize) {
        const __m128i pattern = _mm_set1_epi16(short(wanted.unicode()));
        const __m128i extra = _mm_set1_epi16(short(caseBit));
        const auto look = [&](qsizetype i) {
            const auto *const group = reinterpret_cast<const __m128i *>(at + i);
            const __m128i first = _mm_cmpeq_epi16(_mm_or_si128(_mm_loadu_si128(group), extra), pattern);
            const __m128i second = _mm_cmpeq_epi16(_mm_or_si128(_mm_loadu_si128(group + 1), extra), pattern);
            return quint64(_mm_movemask_epi8(_mm_packs_epi16(first, second))) << i;
        };
        quint64 bits = look(count - groupSize);
        for (qsizetype i = 0; i + groupSize < count; i += groupSize)
            bits |= look(i);
        return bits;
    }
#endif
    return bitsOf(at, count, [=](ushort c) { return (c | caseBit) == wanted.unicode(); });
}

} // namespace CharacterBits
