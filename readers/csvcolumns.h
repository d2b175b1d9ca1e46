// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/text/bytefields.h"
#include "common/text/bytenumbers.h"

#include <algorithm>
#include <string>
#include <string_view>

// What the CSV formats have in common: columns by name, and numbers with a prefix.

/// Which column of the heading @p columns is called @p name, which is in lower case; -1 for none.
inline int columnNamed(const ByteFields &columns, std::string_view name)
{
    for (int i = 0; i < columns.count(); ++i) {
        std::string lower(columns[i]);
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? char(c | 0x20) : c; });
        if (lower == name)
            return i;
    }
    return -1;
}

/// A hexadecimal number with or without "0x".
inline bool readPrefixedHex(std::string_view text, quint32 &number)
{
    if (text.size() > 2 && text[0] == '0' && (text[1] | 0x20) == 'x')
        text.remove_prefix(2);
    while (text.size() > 8 && text.front() == '0')
        text.remove_prefix(1);
    return ByteNumbers::readHex(text, number);
}

inline std::string_view withoutBlanks(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}
