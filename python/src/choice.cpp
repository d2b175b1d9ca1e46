// SPDX-License-Identifier: Apache-2.0
#include "python/src/choice.h"

#include "host/store/framekind.h"
#include "python/src/columns.h"

#include <algorithm>

bool FrameChoice::passes(const CAN::CanRxMessage &message) const
{
    const std::int64_t time = inMicroseconds(message.timeStamp);
    return time >= from && time <= to && (!isTx || message.isTx == *isTx)
           && (!channels || channels->count(message.channel) > 0) && passesIds(message);
}

bool FrameChoice::passesIds(const CAN::CanRxMessage &message) const
{
    if (!ids)
        return true;
    if (kindOf(message) == FrameKind::Error)
        return wantsErrorFrames;
    return std::any_of(ids->begin(), ids->end(), [&](const Ids &wanted) {
        const std::uint32_t id = message.id & wanted.mask;
        return wanted.isExtended == hasExtendedId(message) && id >= wanted.first && id <= wanted.last;
    });
}
