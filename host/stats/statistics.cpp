// SPDX-License-Identifier: Apache-2.0
#include "host/stats/statistics.h"

#include "host/store/framekind.h"
#include "host/store/timetext.h"

#include <algorithm>
#include <cmath>
#include <tuple>

constexpr quint64 second = 1000000;

namespace
{

void count(const CAN::CanRxMessage &message, const BitRange &bits, ChannelStatistics &statistics)
{
    statistics.bits.least += bits.least;
    statistics.bits.most += bits.most;
    const FrameKind kind = kindOf(message);
    if (kind == FrameKind::Error) {
        ++statistics.errorFrames;
        return;
    }
    ++statistics.frames;
    statistics.remoteFrames += kind == FrameKind::Remote;
    statistics.fdFrames += kind == FrameKind::Fd;
    statistics.switchedFrames += kind == FrameKind::Fd && message.isBrs;
}

} // namespace

std::optional<double> StatisticsResult::frameRate() const
{
    if (duration() == 0)
        return {};
    return double(total.frames) * double(second) / double(duration());
}

std::optional<double> busLoad(const BitCount &bits, const BitRates &rates, qint64 duration)
{
    if (duration == 0)
        return {};
    const double busySeconds =
        double(bits.nominal) / double(rates.nominal) + double(bits.switched) / double(rates.data);
    return busySeconds * double(second) / double(duration);
}

Statistics::Statistics(qint64 gapThreshold)
    : threshold(gapThreshold)
{
}

void Statistics::beginLog()
{
    isLogBegun = false;
}

void Statistics::add(const CAN::CanRxMessage &message)
{
    const qint64 time = inMicroseconds(message.timeStamp);
    addTime(time);

    const BitRange bits = frameBits(message);
    ChannelStatistics &channel = channels[message.channel];
    channel.channel = message.channel;
    count(message, bits, channel);
    count(message, bits, totals.total);
    if (message.id != CAN::errorFrameId)
        addFrame(message, time);
}

void Statistics::addTime(qint64 time)
{
    const bool isFirst = totals.messages() == 0;
    totals.firstTime = isFirst ? time : std::min(totals.firstTime, time);
    totals.lastTime = isFirst ? time : std::max(totals.lastTime, time);
    if (!isLogBegun) {
        isLogBegun = true;
        ++totals.logs;
        totals.earlierDuration += totals.logEnd - totals.logStart;
        totals.logStart = totals.logEnd = latestTime = time;
        return;
    }
    const Gap gap{latestTime, time};
    if (gap.duration() < 0)
        ++totals.backwardSteps;
    if (gap.duration() > threshold) {
        ++totals.gapCount;
        if (!totals.longestGap || gap.duration() > totals.longestGap->duration())
            totals.longestGap = gap;
    }
    totals.logStart = std::min(totals.logStart, time);
    totals.logEnd = std::max(totals.logEnd, time);
    latestTime = time;
}

void Statistics::addFrame(const CAN::CanRxMessage &message, qint64 time)
{
    Entry *const entry = entryFor(message);
    if (!entry) {
        ++totals.unlistedFrames;
        return;
    }
    IdentifierStatistics &statistics = entry->statistics;
    if (statistics.count++ == 0) {
        statistics.minimumLength = statistics.maximumLength = message.dlc;
        statistics.firstTime = statistics.lastTime = time;
    } else {
        if (entry->latestLog == totals.logs)
            entry->addCycle(time - entry->latestTime);
        statistics.minimumLength = std::min(statistics.minimumLength, message.dlc);
        statistics.maximumLength = std::max(statistics.maximumLength, message.dlc);
        statistics.firstTime = std::min(statistics.firstTime, time);
        statistics.lastTime = std::max(statistics.lastTime, time);
    }
    entry->latestTime = time;
    entry->latestLog = totals.logs;
}

Statistics::Entry *Statistics::entryFor(const CAN::CanRxMessage &message)
{
    const bool isExtended = hasExtendedId(message);
    const quint64 key = quint64(message.channel) << 33 | quint64(isExtended) << 32 | message.id;
    const auto known = positions.constFind(key);
    if (known != positions.constEnd())
        return &entries[*known];
    if (entries.size() == maximumIdentifiers)
        return nullptr;
    positions.insert(key, int(entries.size()));
    Entry entry;
    entry.statistics.channel = message.channel;
    entry.statistics.id = message.id;
    entry.statistics.isExtended = isExtended;
    entries.append(entry);
    return &entries.last();
}

void Statistics::TimeSum::add(qint64 time)
{
    seconds += quint64(time) / second;
    microseconds += quint64(time) % second;
}

double Statistics::TimeSum::mean(quint64 count) const
{
    // Whole microseconds by integers; a rounded double would lose some of the microseconds of a long sum.
    const quint64 rest = seconds % count * second + microseconds;
    const quint64 whole = seconds / count * second + rest / count;
    return double(whole) + double(rest % count) / double(count);
}

void Statistics::Entry::addCycle(qint64 time)
{
    if (time < 0) {
        ++statistics.backwardSteps;
        return;
    }
    CycleTimes &cycle = statistics.cycle;
    cycle.minimum = cycle.count == 0 ? time : std::min(cycle.minimum, time);
    cycle.maximum = std::max(cycle.maximum, time);
    ++cycle.count;
    sum.add(time);
    // Welford's method: the difference of two large sums of squares would lose the small deviation.
    const double distance = double(time) - runningMean;
    runningMean += distance / double(cycle.count);
    squares += distance * (double(time) - runningMean);
}

IdentifierStatistics Statistics::Entry::result() const
{
    IdentifierStatistics result = statistics;
    CycleTimes &cycle = result.cycle;
    if (cycle.count > 0) {
        cycle.mean = sum.mean(cycle.count);
        cycle.jitter = std::sqrt(squares / double(cycle.count));
    }
    return result;
}

StatisticsResult Statistics::result() const
{
    StatisticsResult result = totals;
    for (const ChannelStatistics &channel : channels)
        result.channels.append(channel);
    result.identifiers.reserve(entries.size());
    for (const Entry &entry : entries)
        result.identifiers.append(entry.result());
    std::sort(result.identifiers.begin(), result.identifiers.end(), [](const auto &a, const auto &b) {
        return std::tie(a.channel, a.isExtended, a.id) < std::tie(b.channel, b.isExtended, b.id);
    });
    return result;
}
