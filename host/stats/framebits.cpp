// SPDX-License-Identifier: Apache-2.0
#include "host/stats/framebits.h"

#include "common/canerrortypes.h"
#include "host/store/framekind.h"

#include <algorithm>

namespace
{

constexpr quint64 intermission = 3;
constexpr quint64 acknowledgeAndEnd = 1 + 1 + 7; // slot, delimiter, end of frame

/// The most stuff bits among @p bits bits and after them: the first after five equal bits; each of the others, being
/// itself the first of five, after four more.
constexpr quint64 worstStuffing(quint64 bits)
{
    return (bits - 1) / 4;
}

BitRange errorFrameBits()
{
    // The flags of several nodes overlap: 6 to 12 bits. Then follows the delimiter.
    BitRange range;
    range.least.nominal = 6 + 8 + intermission;
    range.most.nominal = 12 + 8 + intermission;
    return range;
}

BitRange classicFrameBits(const CAN::CanRxMessage &message)
{
    const quint64 bytes = message.isRemote ? 0 : message.dlc;
    // Start of frame, identifier, control field, length code, checksum.
    const quint64 overhead = hasExtendedId(message) ? 1 + 11 + 2 + 18 + 3 + 4 + 15 : 1 + 11 + 3 + 4 + 15;
    const quint64 stuffed = overhead + 8 * bytes;
    BitRange range;
    range.least.nominal = stuffed + 1 + acknowledgeAndEnd + intermission; // 1: the checksum's delimiter
    range.most.nominal = range.least.nominal + worstStuffing(stuffed);
    return range;
}

quint64 fdPayloadLength(quint8 length)
{
    if (length <= 8)
        return length;
    const auto next = std::lower_bound(canFdLengths.cbegin(), canFdLengths.cend(), length);
    return next == canFdLengths.cend() ? canFdLengths.constLast() : *next;
}

BitRange fdFrameBits(const CAN::CanRxMessage &message)
{
    const quint64 bytes = fdPayloadLength(message.dlc);
    // From the start of frame to the bit-rate switch, which belongs to the arbitration phase.
    const quint64 arbitration = hasExtendedId(message) ? 1 + 11 + 2 + 18 + 4 : 1 + 11 + 5;
    const quint64 stateLengthAndPayload = 1 + 4 + 8 * bytes;
    // Stuff count and checksum, with a fixed stuff bit before them and after each four of their bits.
    const quint64 checked = 4 + (bytes <= 16 ? 17 : 21);
    const quint64 checksumField = checked + (checked + 3) / 4 + 1;

    // A stuff bit after the last bit of a part is sent with the next part; after the payload it is the fixed one.
    const quint64 arbitrationStuffing = worstStuffing(arbitration - 1);
    const quint64 stuffing = worstStuffing(arbitration + stateLengthAndPayload - 1);

    BitRange range;
    range.least.nominal = arbitration + acknowledgeAndEnd + intermission;
    range.least.switched = stateLengthAndPayload + checksumField;
    range.most.nominal = range.least.nominal + arbitrationStuffing;
    range.most.switched = range.least.switched + stuffing - arbitrationStuffing;
    if (!message.isBrs) {
        for (BitCount *count : {&range.least, &range.most})
            *count = {count->nominal + count->switched, 0};
    }
    return range;
}

} // namespace

BitRange frameBits(const CAN::CanRxMessage &message)
{
    switch (kindOf(message)) {
    case FrameKind::Error:
        return errorFrameBits();
    case FrameKind::Fd:
        return fdFrameBits(message);
    case FrameKind::Data:
    case FrameKind::Remote:
        break;
    }
    return classicFrameBits(message);
}
