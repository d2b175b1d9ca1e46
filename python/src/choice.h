// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <unordered_set>
#include <vector>

/// Which frames are wanted: those that pass for each field that says something. Checked while a log is read, so that
/// what is not wanted becomes no row.
struct FrameChoice {
    /// Identifiers of one kind from first to last, of the bits that the mask has.
    struct Ids {
        std::uint32_t first, last, mask;
        bool isExtended;
    };

    /// A set of single identifiers, since a database may have hundreds, and the rest.
    struct IdSet {
        void add(const Ids &entry);
        bool contains(std::uint32_t id, bool isExtended) const;

    private:
        std::unordered_set<std::uint64_t> single;
        std::vector<Ids> ranges;
    };

    std::optional<IdSet> ids;
    bool wantsErrorFrames = true; ///< where ids are chosen
    std::optional<std::unordered_set<std::uint16_t>> channels;
    std::int64_t from = std::numeric_limits<std::int64_t>::min();
    std::int64_t to = std::numeric_limits<std::int64_t>::max();
    std::optional<bool> isTx;

    bool passes(const CAN::CanRxMessage &message) const;

private:
    bool passesIds(const CAN::CanRxMessage &message) const;
};
