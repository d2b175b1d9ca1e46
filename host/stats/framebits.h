// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"

/// Bits on the bus: those sent at the bit rate of the arbitration and those of the data phase of a frame with bit-rate
/// switch.
struct BitCount {
    quint64 nominal = 0;
    quint64 switched = 0;

    BitCount &operator+=(const BitCount &other)
    {
        nominal += other.nominal;
        switched += other.switched;
        return *this;
    }
};

/// The least and the most bits that a frame, or some frames together, can take: the number of stuff bits is between
/// none and the worst case. Which it is depends on the checksum, so that no log tells.
struct BitRange {
    BitCount least;
    BitCount most;
};

/// The bits that @p message takes on the bus, the intermission after it included. docs/statistics.md has the formulas.
/// A length that no frame can have counts as the next one that a frame can have, or as the longest.
BitRange frameBits(const CAN::CanRxMessage &message);
