// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"

#include <QString>

#include <optional>

/// All of @p time in microseconds. Microseconds outside 0 to 999999, which a log may have stated, count as what they
/// are: more seconds or fewer.
constexpr qint64 inMicroseconds(const CanTimeStamp &time)
{
    return qint64(time.seconds) * 1000000 + time.microseconds;
}

/// Writes @p time as seconds with six decimals, for example "1345212884.318850" or "-0.750000", to @p text, which has
/// room for 32 characters. Returns their number; there is no zero at the end.
int writeTime(const CanTimeStamp &time, char *text);
int writeTime(qint64 microseconds, char *text);
/// The same as a string.
QString timeText(const CanTimeStamp &time);
/// The same for a time or duration in microseconds, which may be more than a time stamp holds.
QString timeText(qint64 microseconds);

/// The time that @p text states as people write it, seconds with up to six decimals, for example "12", ".5" or
/// "-0.750000", in microseconds and exact. Nothing for any other text, or for more than 12 digits before the point.
std::optional<qint64> microsecondsFromText(const QString &text);
