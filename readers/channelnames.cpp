// SPDX-License-Identifier: Apache-2.0
#include "readers/channelnames.h"

#include "common/text/bytenumbers.h"

/// The digits at the end of @p name plus one; 0 when there are none, or too many.
static quint16 numberOf(std::string_view name)
{
    const auto last = name.find_last_not_of("0123456789");
    quint32 number = 0;
    constexpr quint32 highest = 0xFFFE;
    if (!ByteNumbers::readDecimal(last == std::string_view::npos ? name : name.substr(last + 1), number, highest))
        return 0;
    return quint16(number + 1);
}

quint16 ChannelNames::find(std::string_view name, LogInfo &info)
{
    latestName = name;
    const quint16 number = numberFor(name, info);
    if (name.size() < sizeof(quint64)) {
        const quint64 key = shortName(ByteNumbers::load(name), int(name.size()));
        shortNames[placeOf(key)] = {key, number};
    }
    return number;
}

quint16 ChannelNames::numberFor(std::string_view name, LogInfo &info)
{
    const auto known = channels.find(name);
    if (known != channels.end())
        return known->second;
    constexpr std::size_t mostNames = 1024; // a broken log has a new one in every line
    if (channels.size() == mostNames)
        return 0;
    quint16 number = numberOf(name);
    if (number == 0 || taken.count(number) > 0) {
        number = 1;
        while (taken.count(number) > 0)
            ++number;
    }
    taken.insert(number);
    channels.emplace(name, number);
    info.channelNames.insert(number, decodedText(name));
    return number;
}
