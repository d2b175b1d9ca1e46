// SPDX-License-Identifier: Apache-2.0
#include "host/convert/logorigin.h"

namespace
{

constexpr qint64 second = 1000000;
constexpr qint64 secondsOfADay = 86400;

/// From here on a number of seconds of a log that leaves it open is one since 1970: that is 1973.
constexpr qint64 firstEpochTime = 100000000 * second;

/// The second in which @p microseconds are, in microseconds; 0 for a time before 0.
qint64 wholeSecond(qint64 microseconds)
{
    return microseconds < 0 ? 0 : microseconds / second * second;
}

/// The digits that a clock in the zone of @p time shows, as a time without a zone.
QDateTime digitsOf(const QDateTime &time)
{
    return {time.date(), time.time(), Qt::UTC};
}

QDateTime inZone(qint64 secondsSince1970, const QTimeZone &zone)
{
    const QDateTime utc = QDateTime::fromSecsSinceEpoch(secondsSince1970, Qt::UTC);
    return digitsOf(zone.isValid() ? utc.toTimeZone(zone) : utc);
}

/// The calendar time of time 0.
QDateTime zeroOf(const LogInfo &info, const QTimeZone &zone)
{
    const QDateTime start = info.startHasZone && zone.isValid() ? info.start.toTimeZone(zone) : info.start;
    if (info.timeBase == LogInfo::TimeBase::Midnight)
        return {start.date(), QTime(0, 0), Qt::UTC};
    return digitsOf(start);
}

} // namespace

LogOrigin originOf(const LogInfo &info, qint64 firstTime, const QTimeZone &zone)
{
    const bool isEpoch = info.timeBase == LogInfo::TimeBase::UnixEpoch
                         || (info.timeBase == LogInfo::TimeBase::Unknown && firstTime >= firstEpochTime);
    if (isEpoch) {
        const qint64 offset = wholeSecond(firstTime);
        return {offset, inZone(offset / second, zone)};
    }
    if (!info.start.isValid())
        return {};
    const qint64 offset = firstTime < secondsOfADay * second ? 0 : wholeSecond(firstTime);
    return {offset, zeroOf(info, zone).addSecs(offset / second)};
}

LogOrigin knownOrAssumedOrigin(const LogInfo &info, qint64 firstTime, const QTimeZone &zone)
{
    const LogOrigin origin = originOf(info, firstTime, zone);
    if (origin.start.isValid())
        return origin;
    const qint64 offset = firstTime < secondsOfADay * second ? 0 : wholeSecond(firstTime);
    return {offset, QDateTime::fromSecsSinceEpoch(offset / second, Qt::UTC)};
}

std::optional<qint64> sinceEpoch(const LogInfo &info, const QTimeZone &zone)
{
    if (info.timeBase == LogInfo::TimeBase::UnixEpoch)
        return 0;
    if (!info.start.isValid())
        return {};
    const QDateTime zero = zeroOf(info, zone);
    return QDateTime(zero.date(), zero.time(), zone).toMSecsSinceEpoch() * 1000;
}

QTimeZone zoneFromText(const QString &text)
{
    if (text.isEmpty())
        return {}; // to Qt that is UTC
    if (text.compare(QLatin1String("local"), Qt::CaseInsensitive) == 0)
        return QTimeZone::systemTimeZone();
    const bool isOffset = text.startsWith(QLatin1Char('+')) || text.startsWith(QLatin1Char('-'));
    const QByteArray id = (isOffset ? QStringLiteral("UTC") + text : text).toUtf8();
    // Qt 6 makes something of names that are none.
    return isOffset || QTimeZone::isTimeZoneIdAvailable(id) ? QTimeZone(id) : QTimeZone();
}
