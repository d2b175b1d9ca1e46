// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "readers/bytelogreader.h"

#include <array>
#include <map>
#include <set>
#include <string>
#include <string_view>

/**
 * The numbers of buses that a log calls by names: the digits at the end of the name plus one, so that can0 is 1, or the
 * lowest free number for a name without digits and for one whose number is taken. A number once given stays.
 */
class ChannelNames
{
public:
    /// The number of @p name, which is entered in @p info when it is new.
    quint16 channel(std::string_view name, LogInfo &info)
    {
        if (name != latestName)
            latest = find(name, info);
        return latest;
    }
    /// A name of at most seven characters as a number: these from the lowest byte on, and their count in the highest.
    static constexpr quint64 shortName(quint64 characters, int count)
    {
        return (characters & ~(~quint64(0) << (8 * count))) | quint64(count) << 56;
    }
    /// The number of a name that was asked for before. 0 when it has none here, where other names may have pushed it
    /// out.
    quint16 known(quint64 key) const
    {
        const ShortName &place = shortNames[placeOf(key)];
        return place.name == key ? place.number : quint16(0);
    }
    /// Of a bus that has a number instead of a name: no name gets it from now on.
    void take(quint16 number) { taken.insert(number); }
    void clear() { *this = ChannelNames(); }

private:
    struct ShortName {
        quint64 name = 0;
        quint16 number = 0;
    };
    static constexpr std::size_t placeCount = 64;

    /// Names of one network differ in their last characters, so all bits count.
    static std::size_t placeOf(quint64 key) { return std::size_t(key * 0x9E3779B97F4A7C15 >> 58); }
    quint16 find(std::string_view name, LogInfo &info);
    quint16 numberFor(std::string_view name, LogInfo &info);

    std::map<std::string, quint16, std::less<>> channels;
    std::set<quint16> taken;
    std::string latestName;
    quint16 latest = 0;
    std::array<ShortName, placeCount> shortNames{};
};
