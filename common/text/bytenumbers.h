// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"
#include "common/text/vectors.h"

#include <QtEndian>
#include <QtGlobal>

#include <array>
#include <cstring>
#include <string_view>

// Numbers in the bytes of a line: plain digits alone, no sign, prefix or blank unless it says so. They read several
// digits at once, by the arithmetic of a 64-bit word, and never beyond the text they are given.

namespace ByteNumbers
{

constexpr quint64 everyByte = 0x0101010101010101;

/// The first eight bytes of @p text, the first one lowest; zeros for those that it does not have.
inline quint64 load(std::string_view text)
{
    const auto size = text.size();
    const char *const bytes = text.data();
    if (size >= 8)
        return qFromLittleEndian<quint64>(bytes);
    if (size >= 4)
        return qFromLittleEndian<quint32>(bytes)
               | quint64(qFromLittleEndian<quint32>(bytes + size - 4)) << (8 * (size - 4));
    if (size >= 2)
        return qFromLittleEndian<quint16>(bytes)
               | quint64(qFromLittleEndian<quint16>(bytes + size - 2)) << (8 * (size - 2));
    return size == 1 ? quint8(*bytes) : 0;
}

/// The eight bytes at @p bytes, the first one lowest.
inline quint64 loadEight(const char *bytes)
{
    return qFromLittleEndian<quint64>(bytes);
}

/// How many of the eight bytes come before the first that is @p wanted; 8 when none is.
inline int bytesBefore(quint64 bytes, char wanted)
{
    const quint64 others = bytes ^ (everyByte * quint8(wanted));
    return int(qCountTrailingZeroBits((others - everyByte) & ~others & everyByte * 0x80) / 8); // 64 for 0
}

/// How many of the 16 characters at @p text are blanks before the first that is none.
inline int leadingBlanks(const char *text)
{
#ifdef CANLOGHANDLER_HAS_SSE2
    const __m128i characters = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text));
    const __m128i areBlanks = _mm_cmpeq_epi8(characters, _mm_set1_epi8(' '));
    return int(qCountTrailingZeroBits(~quint32(_mm_movemask_epi8(areBlanks))));
#else
    int count = 0;
    while (count < 16 && text[count] == ' ')
        ++count;
    return count;
#endif
}

/// How many of the eight bytes are decimal digits before the first that is none.
inline int leadingDigits(quint64 bytes)
{
    const quint64 values = bytes ^ (everyByte * '0');
    const quint64 others = (((values & (everyByte * 0x7F)) + everyByte * 0x76) | values) & (everyByte * 0x80);
    return int(qCountTrailingZeroBits(others) / 8); // 64 for 0
}

/// The number that the first @p count bytes say, which are decimal digits; @p count is 1 to 8.
inline quint32 digitsValue(quint64 bytes, int count)
{
    quint64 value = (bytes & (everyByte * 0x0F)) << (8 * (8 - count));
    value = (value * 10 + (value >> 8)) & 0x00FF00FF00FF00FF;
    value = (value * 100 + (value >> 16)) & 0x0000FFFF0000FFFF;
    return quint32(value * 10000 + (value >> 32));
}

inline constexpr std::array<quint32, 9> powersOfTen{1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};

/// Reads the decimal digits that @p text begins with and removes them from it. Returns how many there were; @p value
/// has their number unless there are more than 18.
inline int takeDigits(std::string_view &text, quint64 &value)
{
    value = 0;
    int count = 0;
    for (;;) {
        const quint64 bytes = load(text);
        const int digits = leadingDigits(bytes);
        if (digits == 0)
            return count;
        value = value * powersOfTen[std::size_t(digits)] + digitsValue(bytes, digits);
        count += digits;
        text.remove_prefix(std::size_t(digits));
        if (digits < 8)
            return count;
    }
}

/// A decimal number that is all of @p text, and at most @p highest. Whatever zeros lead, it is decimal.
inline bool readDecimal(std::string_view text, quint32 &value, quint32 highest = 0xFFFFFFFF)
{
    while (text.size() > 10 && text.front() == '0')
        text.remove_prefix(1);
    quint64 number = 0;
    const int digits = takeDigits(text, number);
    if (digits == 0 || digits > 18 || !text.empty() || number > highest)
        return false;
    value = quint32(number);
    return true;
}

/// The value of a hexadecimal digit, 0x80 and more for what is none.
constexpr quint8 hexDigit(char c)
{
    const auto code = quint8(c);
    if (quint8(code - '0') < 10)
        return quint8(code - '0');
    const auto letter = quint8((code | 0x20) - 'a');
    return letter < 6 ? quint8(letter + 10) : quint8(0xFF);
}

/// A hexadecimal number of 1 to 8 digits that is all of @p text.
inline bool readHex(std::string_view text, quint32 &value)
{
    if (text.empty() || text.size() > 8)
        return false;
    quint32 number = 0;
    quint8 all = 0;
    for (const char c : text) {
        const quint8 digit = hexDigit(c);
        all |= digit;
        number = number << 4 | (digit & 0x0F);
    }
    value = number;
    return all < 0x80;
}

/// The four bytes that eight hexadecimal digits say, the first one lowest; anything where a digit is none.
inline quint32 hexValue(quint64 digits)
{
    const quint64 nibbles = (digits & everyByte * 0x0F) + (digits >> 6 & everyByte) * 9;
    quint64 pairs = (nibbles << 4 | nibbles >> 8) & 0x00FF00FF00FF00FF;
    pairs = (pairs | pairs >> 8) & 0x0000FFFF0000FFFF;
    return quint32(pairs | pairs >> 16);
}

/// The four bytes that eight hexadecimal digits say, the first one lowest. False when a digit is none.
inline bool readFourBytes(quint64 digits, quint32 &bytes)
{
    const quint64 high = everyByte * 0x80;
    const quint64 lower = digits | everyByte * 0x20;
    const quint64 isDigit = (digits + everyByte * (0x80 - '0')) & ~(digits + everyByte * (0x7F - '9'));
    const quint64 isLetter = (lower + everyByte * (0x80 - 'a')) & ~(lower + everyByte * (0x7F - 'f'));
    bytes = hexValue(digits);
    // Sums of bytes above 7F would carry into the next one; such bytes are no digits.
    return (digits & high) == 0 && ((isDigit | isLetter) & high) == high;
}

/// How many of the eight bytes are hexadecimal digits before the first that is none.
inline int leadingHexDigits(quint64 bytes)
{
    const quint64 high = everyByte * 0x80;
    const quint64 low = bytes & ~high;
    const quint64 lower = low | everyByte * 0x20;
    const quint64 isDigit = (low + everyByte * (0x80 - '0')) & ~(low + everyByte * (0x7F - '9'));
    const quint64 isLetter = (lower + everyByte * (0x80 - 'a')) & ~(lower + everyByte * (0x7F - 'f'));
    const quint64 others = (bytes | ~(isDigit | isLetter)) & high;
    return int(qCountTrailingZeroBits(others) / 8); // 64 for 0
}

/// The number that the first @p count bytes say, which are hexadecimal digits; @p count is 1 to 8.
inline quint32 hexNumber(quint64 bytes, int count)
{
    return qbswap(hexValue(bytes << (8 * (8 - count))));
}

/// How many of the 16 characters at @p text are hexadecimal digits before the first that is none. @p bytes has what
/// their pairs say, the first one lowest.
inline int takeSixteenDigits(const char *text, quint64 &bytes)
{
#ifdef CANLOGHANDLER_HAS_SSE2
    const __m128i characters = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text));
    const __m128i lower = _mm_or_si128(characters, _mm_set1_epi8(0x20));
    const auto isBetween = [](__m128i sixteen, char first, char last) {
        return _mm_and_si128(_mm_cmpgt_epi8(sixteen, _mm_set1_epi8(char(first - 1))),
                             _mm_cmplt_epi8(sixteen, _mm_set1_epi8(char(last + 1))));
    };
    const __m128i areLetters = isBetween(lower, 'a', 'f');
    const __m128i areDigits = _mm_or_si128(areLetters, isBetween(characters, '0', '9'));
    const int count = int(qCountTrailingZeroBits(~quint32(_mm_movemask_epi8(areDigits))));
    const __m128i nibbles =
        _mm_and_si128(_mm_add_epi8(characters, _mm_and_si128(areLetters, _mm_set1_epi8(9))), _mm_set1_epi8(0x0F));
    const __m128i pairs =
        _mm_and_si128(_mm_or_si128(_mm_slli_epi16(nibbles, 4), _mm_srli_epi16(nibbles, 8)), _mm_set1_epi16(0xFF));
    const auto all = quint64(_mm_cvtsi128_si64(_mm_packus_epi16(pairs, pairs)));
#else
    const quint64 first = loadEight(text);
    const quint64 second = loadEight(text + 8);
    int count = leadingHexDigits(first);
    if (count == 8)
        count += leadingHexDigits(second);
    const quint64 all = hexValue(first) | quint64(hexValue(second)) << 32;
#endif
    const int pairCount = count / 2;
    bytes = pairCount == 8 ? all : all & ~(~quint64(0) << (8 * pairCount));
    return count;
}

/// Reads pairs of hexadecimal digits into @p bytes, at most @p most, and removes them from @p text, up to the first
/// that is none. Returns how many there were.
inline int takeHexPairs(std::string_view &text, quint8 *bytes, int most)
{
    int count = 0;
    quint32 four = 0;
    while (most - count >= 4 && text.size() >= 8 && readFourBytes(load(text), four)) {
        qToLittleEndian(four, bytes + count);
        count += 4;
        text.remove_prefix(8);
    }
    while (count < most && text.size() >= 2) {
        const quint8 high = hexDigit(text[0]);
        const quint8 low = hexDigit(text[1]);
        if ((high | low) >= 0x80)
            break;
        bytes[count++] = quint8(high << 4 | low);
        text.remove_prefix(2);
    }
    return count;
}

/// What hexDigit() gives for each character.
inline constexpr std::array<quint8, 256> hexDigits = [] {
    std::array<quint8, 256> digits{};
    for (int c = 0; c < 256; ++c)
        digits[std::size_t(c)] = hexDigit(char(c));
    return digits;
}();

/// The same shifted to where the first digit of a byte belongs, and as the second one; above FF for what is none.
inline constexpr auto highDigits = [] {
    std::array<quint16, 256> digits{};
    for (int c = 0; c < 256; ++c)
        digits[std::size_t(c)] =
            hexDigits[std::size_t(c)] < 16 ? quint16(hexDigits[std::size_t(c)] << 4) : quint16(0x100);
    return digits;
}();
inline constexpr auto lowDigits = [] {
    std::array<quint16, 256> digits{};
    for (int c = 0; c < 256; ++c)
        digits[std::size_t(c)] = hexDigits[std::size_t(c)] < 16 ? quint16(hexDigits[std::size_t(c)]) : quint16(0x100);
    return digits;
}();

/// Reads @p count bytes of two hexadecimal digits each, which stand three characters apart from @p text on. False when
/// a digit is none; what is between two bytes is not looked at.
inline bool readSpacedBytes(const char *text, quint8 *bytes, int count)
{
    quint8 all = 0;
    for (int i = 0; i < count; ++i, text += 3) {
        const quint8 high = hexDigits[quint8(text[0])];
        const quint8 low = hexDigits[quint8(text[1])];
        all |= high | low;
        bytes[i] = quint8(high << 4 | (low & 0x0F));
    }
    return all < 0x80;
}

/// A byte of one or two hexadecimal digits that are all of @p text.
inline bool readHexByte(std::string_view text, quint8 &byte)
{
    if (text.empty() || text.size() > 2)
        return false;
    const quint8 first = hexDigit(text[0]);
    const quint8 second = text.size() == 2 ? hexDigit(text[1]) : first;
    byte = text.size() == 2 ? quint8(first << 4 | (second & 0x0F)) : first;
    return (first | second) < 0x80;
}

/// A decimal number with an optional sign and fraction.
struct Decimal {
    bool isNegative = false;
    quint64 whole = 0;
    quint64 billionths = 0; ///< of its fraction; more than nine digits are cut off
};

/// Reads the number that is all of @p text. False for what is none, and for more than 18 digits before the point.
inline bool readDecimal(std::string_view text, Decimal &number)
{
    number.isNegative = !text.empty() && text.front() == '-';
    if (number.isNegative)
        text.remove_prefix(1);
    while (text.size() > 18 && text.front() == '0')
        text.remove_prefix(1);
    const int digits = takeDigits(text, number.whole);
    number.billionths = 0;
    if (text.empty())
        return digits > 0 && digits <= 18;
    if (text.front() != '.')
        return false;
    text.remove_prefix(1);
    std::string_view nine = text.substr(0, 9);
    const int decimals = takeDigits(nine, number.billionths);
    number.billionths *= powersOfTen[decimals == 0 ? 0 : std::size_t(9 - decimals)];
    text.remove_prefix(std::size_t(decimals));
    while (decimals == 9 && !text.empty() && quint8(text.front() - '0') < 10)
        text.remove_prefix(1);
    return digits + decimals > 0 && digits <= 18 && text.empty();
}

/// From here on a number of seconds is one since 1970: that is 1973. Below, a log counts from its own start.
constexpr qint64 firstEpochTime = 100000000 * qint64(1000000000);

/// The longest time that a message can have: a little more than 68 years.
constexpr quint64 maxSeconds = 0x7FFFFFFE;

/// Whether a message can have the time @p nanoseconds, which may be the sum of two such times.
constexpr bool isPossibleTime(qint64 nanoseconds)
{
    constexpr qint64 longest = qint64(maxSeconds) * 1000000000;
    return nanoseconds >= -longest && nanoseconds <= longest;
}

/// Decimal seconds that are all of @p text, in nanoseconds. False for what is none, or is a time that no message can
/// have.
inline bool readSeconds(std::string_view text, qint64 &nanoseconds)
{
    Decimal number;
    if (!readDecimal(text, number) || number.whole > maxSeconds)
        return false;
    const auto value = qint64(number.whole * 1000000000 + number.billionths);
    nanoseconds = number.isNegative ? -value : value;
    return true;
}

/// The same for milliseconds.
inline bool readMilliseconds(std::string_view text, qint64 &nanoseconds)
{
    Decimal number;
    if (!readDecimal(text, number) || number.whole > maxSeconds * 1000)
        return false;
    const auto value = qint64(number.whole * 1000000 + number.billionths / 1000);
    nanoseconds = number.isNegative ? -value : value;
    return true;
}

/// As the record has it: rounded to microseconds, those always counting upwards from the second.
inline CanTimeStamp timeStamp(qint64 nanoseconds)
{
    constexpr qint64 second = 1000000000;
    const qint64 rounded = nanoseconds + 500;
    qint64 seconds = rounded / second;
    qint64 rest = rounded % second;
    if (rest < 0) {
        rest += second;
        --seconds;
    }
    return {qint32(seconds), qint32(rest / 1000)};
}

} // namespace ByteNumbers
