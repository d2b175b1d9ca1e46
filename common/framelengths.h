// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

#include <array>

namespace CAN
{

/// The highest identifier of 29 bits.
inline constexpr quint32 maxExtendedId = 0x1FFFFFFF;

/// The payload length in bytes that a CAN FD length code from 0 to 15 stands for. Classic frames have 8 from 8 on.
inline constexpr std::array<quint8, 16> lengthOfCode{0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};

/// Whether a CAN FD frame can have @p length bytes.
constexpr bool isFdLength(unsigned length)
{
    for (const quint8 possible : lengthOfCode) {
        if (possible == length)
            return true;
    }
    return false;
}

} // namespace CAN
