// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>

/**
 * One line of text as it grows, without an allocation: logs have millions of lines. Has room for 1023 characters, which
 * is twice what the widest line takes that a writer here makes of one message. Free text, such as a note, is no part of
 * it.
 */
class TextLine
{
public:
    void addText(const char *text) { add(text, static_cast<int>(std::strlen(text))); }
    void addCharacter(char c) { add(&c, 1); }
    void addBlanks(int count) { fill(' ', count); }
    void addGap() { addBlanks(2); }
    void addRight(const char *text, int length, int width)
    {
        addBlanks(width - length);
        add(text, length);
    }
    void addLeft(const char *text, int length, int width)
    {
        add(text, length);
        addBlanks(width - length);
    }

    /// Decimal, with blanks before it up to @p width.
    void addNumber(quint64 number, int width = 0)
    {
        char digits[24];
        const auto result = std::to_chars(std::begin(digits), std::end(digits), number);
        addRight(digits, static_cast<int>(result.ptr - digits), width);
    }
    /// Decimal, with zeros before it up to @p digitCount.
    void addPaddedNumber(quint64 number, int digitCount)
    {
        char digits[24];
        const auto result = std::to_chars(std::begin(digits), std::end(digits), number);
        addDigits(digits, static_cast<int>(result.ptr - digits), digitCount, 0);
    }
    /// Hexadecimal in upper case, with zeros before it up to @p digitCount and then blanks up to @p width.
    void addHex(quint32 number, int digitCount, int width = 0)
    {
        char digits[8];
        const auto result = std::to_chars(std::begin(digits), std::end(digits), number, 16);
        std::transform(digits, result.ptr, digits,
                       [](char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; });
        addDigits(digits, static_cast<int>(result.ptr - digits), digitCount, width);
    }
    void addByte(quint8 byte)
    {
        static const char digits[] = "0123456789ABCDEF";
        need(2);
        *end++ = digits[byte >> 4];
        *end++ = digits[byte & 0xF];
    }
    /// The @p count bytes at @p bytes as pairs of digits, with a blank between two pairs or nothing.
    void addBytes(const quint8 *bytes, int count, bool blanks)
    {
        for (int i = 0; i < count; ++i) {
            if (blanks && i > 0)
                addCharacter(' ');
            addByte(bytes[i]);
        }
    }

    int length() const { return static_cast<int>(end - line); }
    const char *begin() const { return line; }

private:
    /// Ends the program rather than write beyond the line: whatever is added then, the numbers above are wrong.
    void need(int count)
    {
        if (Q_UNLIKELY(count > capacity - length()))
            qFatal("a line of more than %d characters", capacity);
    }
    void add(const char *added, int count)
    {
        need(count);
        end = std::copy_n(added, count, end);
    }
    void fill(char c, int count)
    {
        need(count);
        if (count > 0)
            end = std::fill_n(end, count, c);
    }
    void addDigits(const char *digits, int length, int digitCount, int width)
    {
        const int zeros = std::max(0, digitCount - length);
        addBlanks(width - zeros - length);
        fill('0', zeros);
        add(digits, length);
    }

    static constexpr int capacity = 1023;

    char line[capacity];
    char *end = line;
};
