// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"

#include <algorithm>

// What a record says of its frame, for the formats that tell frames apart.

enum class FrameKind { Data, Fd, Remote, Error };

/// A frame of more than eight bytes counts as a CAN FD frame: there is no other, but some logs do not mark them.
inline FrameKind kindOf(const CAN::CanRxMessage &message)
{
    if (message.id == CAN::errorFrameId)
        return FrameKind::Error;
    if (message.isRemote)
        return FrameKind::Remote;
    return message.isFd || message.dlc > 8 ? FrameKind::Fd : FrameKind::Data;
}

/// Identifiers that do not fit into 11 bits count as extended: some logs do not mark those either.
inline bool hasExtendedId(const CAN::CanRxMessage &message)
{
    return message.isExtended || message.id > CAN::maxStandardId;
}

/// How many bytes of `data` are payload. A remote frame asks for data and has none, whatever length it states.
inline int payloadLength(const CAN::CanRxMessage &message)
{
    return message.isRemote ? 0 : std::min(int(message.dlc), int(sizeof message.data));
}
