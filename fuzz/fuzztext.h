// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include <cstdint>
#include <cstdlib>
#include <cstring>

// What the fuzz targets of the text core share: they hold it against Qt's own functions and abort on any difference.

inline void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// The input as a text. Its first byte says how: UTF-16, for every character there is, or one byte a character, so that
/// the samples, which are logs, are of use.
inline QString inputText(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return {};
    const bool isWide = *data % 2 == 0;
    ++data;
    --size;
    if (!isWide)
        return QString::fromLatin1(reinterpret_cast<const char *>(data), int(size));
    QString text(int(size / 2), Qt::Uninitialized);
    if (!text.isEmpty())
        std::memcpy(text.data(), data, 2 * std::size_t(text.size()));
    return text;
}
