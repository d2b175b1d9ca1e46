// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDateTime>
#include <QMap>
#include <QString>

/**
 * What a log says of itself beside its frames: a plain value. What it does not say, or what its reader does not look
 * at, stays as it is at first.
 */
struct LogInfo {
    /// What the times of the frames are counted from.
    enum class TimeBase {
        Unknown,   ///< the format leaves it open
        UnixEpoch, ///< the beginning of 1970, UTC
        LogStart,  ///< the start of the log, or of its measurement
        Midnight,  ///< midnight of the day on which the log was written
    };

    TimeBase timeBase = TimeBase::Unknown;
    QDateTime start;           ///< of the log, invalid when it is not known
    bool startHasZone = false; ///< whether the log tells the zone of its start; else it is a local time of who
                               ///< wrote the log, wherever that was
    QMap<quint16, QString> channelNames; ///< by the channel of the frames
    QString writer;                      ///< the program or device that wrote the log
    QString version;                     ///< of the format
};
