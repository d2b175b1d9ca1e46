// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QChar>

#include <array>

// Hexadecimal digits, one and two at a time.

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

} // namespace TextDetail
