// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/busnames.h"

const QString &BusNames::learn(quint16 channel, const MessageSource &source)
{
    constexpr int mostNames = 8; // of one channel, in stores of many logs
    const QString name = source.info().channelNames.value(channel);
    if (!name.isEmpty() && all.value(channel).size() < mostNames && !all.value(channel).contains(name))
        all[channel].append(name);
    return *seen.insert({source.logNumber(), channel}, name);
}
