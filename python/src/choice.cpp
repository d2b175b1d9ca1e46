// SPDX-License-Identifier: Apache-2.0
#include "python/src/choice.h"

#include "host/store/framekind.h"
#include "python/src/columns.h"

#include <algorithm>

static std::uint64_t keyOf(std::uint32_t id, bool isExtended)
{
    return std::uint64_t(isExtended) << 32 | id;
}

void FrameChoice::IdSet::add(const Ids &entry)
{
    if (entry.first == entry.last && entry.mask == 0xFFFFFFFF)
        single.insert(keyOf(entry.first, entry.isExtended));
    else
        ranges.push_back(entry);
}

bool FrameChoice::IdSet::contains(std::uint32_t id, bool isExtended) const
{
    if (single.count(keyOf(id, isExtended)) > 0)
        return true;
    return std::any_of(ranges.begin(), ranges.end(), [&](const Ids &wanted) {
        const std::uint32_t part = id & wanted.mask;
        return wanted.isExtended == isExtended && part >= wanted.first && part <= wanted.last;
    });
}

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
    return ids->contains(message.id, hasExtendedId(message));
}
