// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "readers/bytelogreader.h"

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
    /// Of a bus that has a number instead of a name: no name gets it from now on.
    void take(quint16 number) { taken.insert(number); }
    void clear() { *this = ChannelNames(); }

private:
    quint16 find(std::string_view name, LogInfo &info);

    std::map<std::string, quint16, std::less<>> channels;
    std::set<quint16> taken;
    std::string latestName;
    quint16 latest = 0;
};
