// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/loginfo.h"

#include <QTimeZone>

#include <optional>

/// What the times of a written log count from, for formats whose head has a date and whose times begin with the log.
struct LogOrigin {
    qint64 offset = 0; ///< in microseconds, to be taken off each time
    QDateTime start;   ///< the calendar time of the new zero, its digits as the head shows them; invalid: not known
};

/**
 * Times since 1970 count from the second of the first message, at @p firstTime in microseconds, whose date in @p zone,
 * else in UTC, is the start. Times since the start of the log stay as they are with the log's own date; when the first
 * message is a day or more after it, they count from that message's second, since readers have no room for more.
 */
LogOrigin originOf(const LogInfo &info, qint64 firstTime, const QTimeZone &zone);

/// The same for formats that must have a start: that of a log which does not tell it is the start of 1970, or, when the
/// first message comes a day or more after that, the date of its second.
LogOrigin knownOrAssumedOrigin(const LogInfo &info, qint64 firstTime, const QTimeZone &zone);

/// What has to be added to the times of a log to have them since 1970, in microseconds: 0 for one that has them so.
/// Nothing where the log does not tell when it began. A start without a zone is taken as one of @p zone.
std::optional<qint64> sinceEpoch(const LogInfo &info, const QTimeZone &zone);

/// "UTC", "+02:00", "Europe/Berlin" or "local"; invalid for what names no zone.
QTimeZone zoneFromText(const QString &text);
