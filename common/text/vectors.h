// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/text/characterbits.h"
#include "common/text/digits.h"

#include <algorithm>
#include <cstring>

#if defined __SSE2__ && !defined CANLOGHANDLER_NO_SSE2
#define CANLOGHANDLER_HAS_SSE2
#include <emmintrin.h>
#endif

// What is done to 8 or 16 characters at once. Every operation stands here twice, in plain C++ and for the vector
// instructions of x86 processors, and gives the same for any text. Plain C++ is built everywhere, and a test compares
// both; the rest of the library calls Vectors, which is the faster of those that there are.

/// In plain C++.
struct PlainVectors {
    /// One bit for each of the @p count characters from @p at on, 64 at the most, that is @p wanted, or would be with
    /// the bits of @p caseBit set; the lowest bit is the first character's.
    static quint64 bitsOfCharacter(const QChar *at, qsizetype count, QChar wanted, ushort caseBit = 0)
    {
        return CharacterBits::bitsOf(at, count, [=](ushort c) { return (c | caseBit) == wanted.unicode(); });
    }

    /// One bit for each blank among the @p count characters from @p at on, 64 at the most; false when ASCII alone does
    /// not tell. The text begins at @p start: what lies before @p at may be looked at, too.
    static bool findAsciiBlanks(const QChar * /*start*/, const QChar *at, qsizetype count, quint64 &blanks)
    {
        ushort all = 0;
        for (qsizetype i = 0; i < count; ++i)
            all |= at[i].unicode();
        blanks = CharacterBits::bitsOf(at, count, [](ushort c) { return (c == ' ') | (ushort(c - '\t') < 5); });
        return all < 0x80;
    }

    /// Reads the 16 hexadecimal digits from @p at on as 8 bytes; false, and nothing read, when they are not all digits.
    static bool readEightHexPairs(const QChar *at, quint8 *data)
    {
        return readEight(data, [at](int i) { return at + 2 * i; });
    }

    /// The same for eight fields of two characters each, which begin at edges[0], edges[2] and so on.
    static bool readEightHexFields(const QChar *const *edges, quint8 *data)
    {
        return readEight(data, [edges](int i) { return edges[2 * i]; });
    }

    /// Reads eight decimal digits; false, and nothing read, when they are not all digits.
    static bool readEightDigits(const QChar *at, quint64 &value)
    {
        quint64 sum = 0;
        for (int i = 0; i < 8; ++i) {
            const uint digit = at[i].unicode() - uint('0');
            if (digit > 9)
                return false;
            sum = sum * 10 + digit;
        }
        value = sum;
        return true;
    }

private:
    template <typename PairAt>
    static bool readEight(quint8 *data, PairAt pairAt)
    {
        quint8 bytes[8];
        for (int i = 0; i < 8; ++i) {
            if (!TextDetail::readHexPair(pairAt(i), bytes[i]))
                return false;
        }
        std::memcpy(data, bytes, sizeof bytes);
        return true;
    }
};

#ifdef CANLOGHANDLER_HAS_SSE2

/// With SSE2, which every x86-64 processor has. Each function does what its namesake in PlainVectors does.
struct Sse2Vectors {
    static quint64 bitsOfCharacter(const QChar *at, qsizetype count, QChar wanted, ushort caseBit = 0)
    {
        using CharacterBits::groupSize;
        if (count < groupSize)
            return PlainVectors::bitsOfCharacter(at, count, wanted, caseBit);
        const __m128i pattern = _mm_set1_epi16(short(wanted.unicode()));
        const __m128i extra = _mm_set1_epi16(short(caseBit));
        const auto look = [&](qsizetype i) {
            const __m128i first = _mm_cmpeq_epi16(_mm_or_si128(eightAt(at + i), extra), pattern);
            const __m128i second = _mm_cmpeq_epi16(_mm_or_si128(eightAt(at + i + 8), extra), pattern);
            return quint64(_mm_movemask_epi8(_mm_packs_epi16(first, second))) << i;
        };
        quint64 bits = look(count - groupSize);
        for (qsizetype i = 0; i + groupSize < count; i += groupSize)
            bits |= look(i);
        return bits;
    }

    /// Sixteen characters become sixteen bytes: those from U+0080 on get the topmost bit, but for those from U+8000 on,
    /// which become 0 and of which none is a blank.
    static bool findAsciiBlanks(const QChar *start, const QChar *at, qsizetype count, quint64 &blanks)
    {
        using CharacterBits::groupSize;
        // The last few characters of a line are looked at together with some of those before them.
        const qsizetype more = std::max<qsizetype>(groupSize - count, 0);
        if (at - start < more)
            return PlainVectors::findAsciiBlanks(start, at, count, blanks);
        quint64 others = 0;
        blanks = 0;
        const auto look = [&](qsizetype i) {
            const __m128i codes = _mm_packus_epi16(eightAt(at + i), eightAt(at + i + 8));
            const __m128i isSpace = _mm_cmpeq_epi8(codes, _mm_set1_epi8(' '));
            const __m128i fromTab = _mm_sub_epi8(codes, _mm_set1_epi8('\t'));
            const __m128i isControl = _mm_cmpeq_epi8(_mm_min_epu8(fromTab, _mm_set1_epi8('\r' - '\t')), fromTab);
            others |= quint64(_mm_movemask_epi8(codes));
            blanks |= quint64(_mm_movemask_epi8(_mm_or_si128(isSpace, isControl))) << i;
        };
        at -= more;
        count += more;
        for (qsizetype i = 0; i + groupSize < count; i += groupSize)
            look(i);
        look(count - groupSize);
        blanks >>= more;
        return others == 0;
    }

    static bool readEightHexPairs(const QChar *at, quint8 *data) { return readHex(eightAt(at), eightAt(at + 8), data); }

    static bool readEightHexFields(const QChar *const *edges, quint8 *data)
    {
        const auto pair = [edges](int i) {
            int both;
            std::memcpy(&both, edges[2 * i], sizeof both);
            return both;
        };
        return readHex(_mm_set_epi32(pair(3), pair(2), pair(1), pair(0)),
                       _mm_set_epi32(pair(7), pair(6), pair(5), pair(4)), data);
    }

    static bool readEightDigits(const QChar *at, quint64 &value)
    {
        const __m128i digits = _mm_sub_epi16(eightAt(at), _mm_set1_epi16('0'));
        const __m128i tooLarge = _mm_subs_epu16(digits, _mm_set1_epi16(9));
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(tooLarge, _mm_setzero_si128())) != 0xFFFF)
            return false;
        // Ten times the first digit of a pair and the second one, then a hundred times the first pair and the second.
        const __m128i twos = _mm_madd_epi16(digits, _mm_set1_epi32(1 << 16 | 10));
        const __m128i fours = _mm_madd_epi16(_mm_packs_epi32(twos, twos), _mm_set1_epi32(1 << 16 | 100));
        quint64 both;
        _mm_storel_epi64(reinterpret_cast<__m128i *>(&both), fours);
        value = (both & 0xFFFFFFFF) * 10000 + (both >> 32);
        return true;
    }

private:
    static __m128i eightAt(const QChar *at) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(at)); }

    /// The digits are @p first and @p second.
    static bool readHex(__m128i first, __m128i second, quint8 *data)
    {
        // Sixteen characters become sixteen bytes; those that fit into none become some that are no digits.
        const __m128i codes = _mm_packus_epi16(first, second);
        const __m128i digits = _mm_sub_epi8(codes, _mm_set1_epi8('0'));
        const __m128i isDigit = _mm_cmpeq_epi8(_mm_min_epu8(digits, _mm_set1_epi8(9)), digits);
        const __m128i letters = _mm_sub_epi8(_mm_or_si128(codes, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
        const __m128i isLetter = _mm_cmpeq_epi8(_mm_min_epu8(letters, _mm_set1_epi8(5)), letters);
        if (_mm_movemask_epi8(_mm_or_si128(isDigit, isLetter)) != 0xFFFF)
            return false;
        const __m128i values = _mm_or_si128(_mm_and_si128(isDigit, digits),
                                            _mm_and_si128(isLetter, _mm_add_epi8(letters, _mm_set1_epi8(10))));
        const __m128i pairs = _mm_or_si128(_mm_slli_epi16(values, 4), _mm_srli_epi16(values, 8));
        const __m128i bytes = _mm_and_si128(pairs, _mm_set1_epi16(0xFF));
        _mm_storel_epi64(reinterpret_cast<__m128i *>(data), _mm_packus_epi16(bytes, bytes));
        return true;
    }
};

using Vectors = Sse2Vectors;

#else

using Vectors = PlainVectors;

#endif
