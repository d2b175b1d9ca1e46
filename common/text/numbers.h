#pragma once

#include "common/canrxmessage.h"

#include <QStringView>

#include <array>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/**
 * Numbers as they stand in logs. Every function gives exactly what Qt's conversion of the same text gives, for any
 * text: plain digits are read in place, and whatever else comes (signs, prefixes, blanks, digits of other scripts,
 * more digits than 32 bits hold) is handed to Qt itself. A text that is no number gives 0 and sets @p ok to false.
 *
 * Base 0 goes by the prefix: "0x" hexadecimal, a leading "0" octal, anything else decimal.
 */

/// text.toUInt(ok, base), base 0, 10 or 16
quint32 readUnsigned(QStringView text, int base, bool *ok = nullptr);
/// text.toInt(ok, base), base 0 or 10
qint32 readSigned(QStringView text, int base, bool *ok = nullptr);

namespace TextDetail
{

constexpr std::array<quint8, 256> makeDigitValues()
{
    std::array<quint8, 256> values{};
    for (uint i = 0; i < 256; ++i) {
        const uint letter = (i | 0x20) - 'a'; // upper and lower case alike
        values[i] = quint8(i - '0' < 10 ? i - '0' : letter < 6 ? letter + 10 : 255);
    }
    return values;
}

inline constexpr std::array<quint8, 256> digitValues = makeDigitValues();

/// Value of a hexadecimal digit, 255 for anything else.
inline uint digitValue(QChar c)
{
    return c.unicode() < 256 ? digitValues[c.unicode()] : 255;
}

/// Whether @p c is printable ASCII that no number of base 10 begins or ends with, or none at all for any other base.
inline bool endsNoNumber(QChar c, int base)
{
    const uint code = c.unicode();
    return code > ' ' && code < 0x7F && digitValues[code] >= (base == 10 ? 10 : 16) && code != '+' && code != '-';
}

/// Reads two hexadecimal digits as a byte; false, and nothing read, when they are not both digits.
inline bool readHexPair(const QChar *at, quint8 &byte)
{
    const uint high = digitValue(at[0]);
    const uint low = digitValue(at[1]);
    if ((high | low) >= 16)
        return false;
    byte = quint8(high << 4 | low);
    return true;
}

#ifdef __SSE2__
/// Reads 16 hexadecimal digits, @p first and @p second, as 8 bytes; false, and nothing read, when they are not all
/// digits.
inline bool readEightHexPairs(__m128i first, __m128i second, quint8 *data)
{
    // Sixteen characters become sixteen bytes; those that fit into none become some that are no digits.
    const __m128i codes = _mm_packus_epi16(first, second);
    const __m128i digits = _mm_sub_epi8(codes, _mm_set1_epi8('0'));
    const __m128i isDigit = _mm_cmpeq_epi8(_mm_min_epu8(digits, _mm_set1_epi8(9)), digits);
    const __m128i letters = _mm_sub_epi8(_mm_or_si128(codes, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
    const __m128i isLetter = _mm_cmpeq_epi8(_mm_min_epu8(letters, _mm_set1_epi8(5)), letters);
    if (_mm_movemask_epi8(_mm_or_si128(isDigit, isLetter)) != 0xFFFF)
        return false;
    const __m128i values =
        _mm_or_si128(_mm_and_si128(isDigit, digits), _mm_and_si128(isLetter, _mm_add_epi8(letters, _mm_set1_epi8(10))));
    const __m128i pairs = _mm_or_si128(_mm_slli_epi16(values, 4), _mm_srli_epi16(values, 8));
    const __m128i bytes = _mm_and_si128(pairs, _mm_set1_epi16(0xFF));
    _mm_storel_epi64(reinterpret_cast<__m128i *>(data), _mm_packus_epi16(bytes, bytes));
    return true;
}
#endif

/// The same for the 16 characters from @p at on; false, too, when there is no fast way on this processor.
inline bool readEightHexPairs(const QChar *at, quint8 *data)
{
#ifdef __SSE2__
    const auto *const group = reinterpret_cast<const __m128i *>(at);
    return readEightHexPairs(_mm_loadu_si128(group), _mm_loadu_si128(group + 1), data);
#else
    Q_UNUSED(at);
    Q_UNUSED(data);
    return false;
#endif
}

} // namespace TextDetail

/// Bytes from pairs of hexadecimal digits, up to the first pair that is none; returns the number of bytes. @p data
/// must have room for half as many as @p text has characters.
inline qsizetype readHexPairs(QStringView text, quint8 *data)
{
    qsizetype count = 0;
    const QChar *at = text.begin();
    for (; text.end() - at >= 16 && TextDetail::readEightHexPairs(at, data + count); at += 16)
        count += 8;
    for (; text.end() - at >= 2 && TextDetail::readHexPair(at, data[count]); at += 2)
        ++count;
    return count;
}

/// One byte: the low 8 bits of the number.
inline quint8 readByte(QStringView text, int base, bool *ok = nullptr)
{
    // Nearly all numbers in a log are two hexadecimal digits or, as lengths, one digit: taking them here saves a call
    // for each, a quarter of the time of a line.
    quint8 value = 0;
    bool isByte = base == 16 && text.size() == 2 && TextDetail::readHexPair(text.begin(), value);
    if (text.size() == 1 && base != 0) {
        value = quint8(TextDetail::digitValue(text.front()));
        isByte = value < base;
    }
    if (isByte) {
        if (ok)
            *ok = true;
        return value;
    }
    // A word where a byte may be, as in the statistics of some logs, is known by its ends.
    if (!text.isEmpty()
        && (TextDetail::endsNoNumber(text.front(), base) || TextDetail::endsNoNumber(text.back(), base))) {
        if (ok)
            *ok = false;
        return 0;
    }
    return quint8(readUnsigned(text, base, ok));
}

/**
 * Seconds with a decimal fraction. The text up to the first point is the seconds, in base 0: some logs write them so,
 * and "010" is 8. The text after the last point is the fraction, padded on the right with "0" to six digits and never
 * cut: "5" is 500000 µs and "1234567" is 1234567 µs. A text without a point is both.
 */
CanTimeStamp readSeconds(QStringView text, bool *ok = nullptr);

/// readSeconds() for a text made of digits and one point, as nearly all are; false, and nothing read, for any other and
/// for those with a leading zero or more digits than are surely held.
bool readPlainSeconds(QStringView text, CanTimeStamp &time);

/// Time of day: what QTime::fromString(text, "hh:mm:ss.zzz") gives; a text that is none gives 0.
CanTimeStamp readTimeOfDay(QStringView text, bool *ok = nullptr);
