#pragma once

#include "common/canrxmessage.h"

#include <QString>

/// All of @p time in microseconds. Microseconds outside 0 to 999999, which a log may have stated, count as what they
/// are: more seconds or fewer.
constexpr qint64 inMicroseconds(const CanTimeStamp &time)
{
    return qint64(time.seconds) * 1000000 + time.microseconds;
}

/// Writes @p time as seconds with six decimals, for example "1345212884.318850" or "-0.750000", to @p text, which has
/// room for 32 characters. Returns their number; there is no zero at the end.
int writeTime(const CanTimeStamp &time, char *text);
/// The same as a string.
QString timeText(const CanTimeStamp &time);
