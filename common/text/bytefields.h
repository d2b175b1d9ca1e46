// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

/**
 * The fields of one line of bytes as views into it, in room that serves all lines. A field that the line does not have
 * is empty. Lines with more than maxCount fields keep the first ones: no frame has as many.
 */
class ByteFields
{
public:
    static constexpr int maxCount = 128;

    /// Between blanks and tabs.
    void splitAtBlanks(std::string_view line);
    /// At each @p separator, so that there may be empty fields; a line without any is one field.
    void split(std::string_view line, char separator);

    int count() const { return used; }
    std::string_view operator[](int i) const
    {
        return i >= 0 && i < used ? fields[std::size_t(i)] : std::string_view();
    }
    /// Where fields @p first and so on begin when there are @p count of them, over a width of three characters each
    /// with the last one having two, as bytes in hexadecimal mostly are; null otherwise. When all those characters but
    /// each third are digits, these are blanks.
    const char *threeApart(int first, int count) const
    {
        if (count <= 0 || first < 0 || first + count > used)
            return nullptr;
        const char *const begin = fields[std::size_t(first)].data();
        const std::string_view last = fields[std::size_t(first + count - 1)];
        return last.size() == 2 && last.data() - begin == 3 * (count - 1) ? begin : nullptr;
    }
    /// From the beginning of field @p i to the end of the line; empty when there is no such field.
    std::string_view from(int i) const
    {
        const std::string_view field = (*this)[i];
        return i < used && i >= 0 ? std::string_view(field.data(), std::size_t(lineEnd - field.data())) : field;
    }

private:
    void add(const char *begin, const char *end) { fields[std::size_t(used++)] = {begin, std::size_t(end - begin)}; }

    std::array<std::string_view, maxCount> fields;
    int used = 0;
    const char *lineEnd = nullptr;
};

/// Which of the bytes at @p bytes, at most 64, are blanks or tabs: a bit each, the first one lowest.
unsigned long long blankBits(const char *bytes, std::size_t count);
/// The same one by one, to compare with and for processors that have nothing better.
unsigned long long blankBitsOneByOne(const char *bytes, std::size_t count);
