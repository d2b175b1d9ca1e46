// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"
#include "host/stats/framebits.h"

#include <QHash>
#include <QMap>
#include <QVector>

#include <optional>

// All times and durations here are in microseconds.

/// The times from one frame to the next with the same identifier. What goes back in time is no cycle: it is counted
/// apart.
struct CycleTimes {
    quint64 count = 0; ///< the other fields mean something when this is not 0
    qint64 minimum = 0;
    qint64 maximum = 0;
    double mean = 0;
    double jitter = 0; ///< standard deviation of all these times
};

/// Standard and extended identifiers of the same value are two, as are those of two channels.
struct IdentifierStatistics {
    quint16 channel = 0;
    quint32 id = 0;
    bool isExtended = false;
    quint64 count = 0;
    quint8 minimumLength = 0; ///< in bytes, as the log states it
    quint8 maximumLength = 0;
    qint64 firstTime = 0; ///< earliest
    qint64 lastTime = 0;  ///< latest
    CycleTimes cycle;
    quint64 backwardSteps = 0; ///< frames that are earlier than the one before
};

struct ChannelStatistics {
    quint16 channel = 0;
    quint64 frames = 0; ///< without error frames
    quint64 errorFrames = 0;
    quint64 remoteFrames = 0;
    quint64 fdFrames = 0;
    quint64 switchedFrames = 0; ///< FD frames with bit-rate switch
    BitRange bits;              ///< of all frames, error frames included
};

/// A time without any message.
struct Gap {
    qint64 start = 0;
    qint64 end = 0;

    qint64 duration() const { return end - start; }
};

struct StatisticsResult {
    ChannelStatistics total;    ///< of all channels; its channel number means nothing
    qint64 firstTime = 0;       ///< earliest; 0 when there is no message
    qint64 lastTime = 0;        ///< latest
    int logs = 0;               ///< that have a message
    qint64 earlierDuration = 0; ///< of all logs but the last one
    qint64 logStart = 0;        ///< earliest of the last log
    qint64 logEnd = 0;          ///< latest of the last log
    quint64 backwardSteps = 0;
    quint64 gapCount = 0;
    std::optional<Gap> longestGap;             ///< the first one of that length
    QVector<ChannelStatistics> channels;       ///< by number
    QVector<IdentifierStatistics> identifiers; ///< by channel, standard before extended, identifier
    quint64 unlistedFrames = 0;                ///< frames whose identifiers are not in the list, which was full

    quint64 messages() const { return total.frames + total.errorFrames; }
    /// The sum over all logs.
    qint64 duration() const { return earlierDuration + logEnd - logStart; }
    /// Frames a second; nothing when no time passes.
    std::optional<double> frameRate() const;
};

/// The bit rates of a bus, in bit/s and not 0.
struct BitRates {
    quint64 nominal;
    quint64 data; ///< after a bit-rate switch
};

/// How much of @p duration the bus was busy with @p bits, 1 being all of it; nothing when no time passes.
std::optional<double> busLoad(const BitCount &bits, const BitRates &rates, qint64 duration);

/**
 * Counts and measures messages one by one, in the order of the log.
 *
 * Memory is bounded: the first maximumIdentifiers different identifiers get an entry of their own; frames of others
 * count in everything else and as unlistedFrames.
 */
class Statistics
{
public:
    static constexpr int maximumIdentifiers = 65536;

    /// A time without messages that is longer than @p gapThreshold is a gap.
    explicit Statistics(qint64 gapThreshold);

    /// The next message begins another log, whose times have nothing to do with those before: what is between the two
    /// is no cycle time, no gap and no step back.
    void beginLog();
    void add(const CAN::CanRxMessage &message);
    StatisticsResult result() const;

private:
    /// The sum of many times. One number of microseconds could overflow in a log whose times jump to and fro.
    struct TimeSum {
        quint64 seconds = 0;
        quint64 microseconds = 0;

        void add(qint64 time);
        double mean(quint64 count) const;
    };
    struct Entry {
        IdentifierStatistics statistics;
        qint64 latestTime = 0; ///< of the frame that was added last
        int latestLog = 0;     ///< that it was in
        TimeSum sum;
        double runningMean = 0;
        double squares = 0; ///< sum of the squared distances from the mean

        void addCycle(qint64 time);
        IdentifierStatistics result() const;
    };

    void addTime(qint64 time);
    void addFrame(const CAN::CanRxMessage &message, qint64 time);
    Entry *entryFor(const CAN::CanRxMessage &message);

    qint64 threshold;
    StatisticsResult totals; ///< without the lists
    qint64 latestTime = 0;
    bool isLogBegun = false; ///< a message of the current log was added
    QMap<quint16, ChannelStatistics> channels;
    QHash<quint64, int> positions; ///< in `entries`, by channel, kind and identifier
    QVector<Entry> entries;
};
