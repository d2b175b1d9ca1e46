// SPDX-License-Identifier: Apache-2.0
#include "host/selection/messagefilter.h"

#include "host/store/framekind.h"
#include "host/store/timetext.h"

#include <QDateTime>
#include <QRegularExpression>

#include <algorithm>
#include <optional>
#include <utility>

namespace
{

constexpr quint32 highestExtendedId = 0x1FFFFFFF;
constexpr quint32 allBits = 0xFFFFFFFF;

struct Id {
    quint32 value;
    bool isExtended;
};

std::optional<Id> readId(QString digits)
{
    if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        digits.remove(0, 2);
    // The conversion alone would take a sign, blanks or a second prefix.
    const bool areDigits = std::all_of(digits.cbegin(), digits.cend(),
                                       [](QChar c) { return QLatin1String("0123456789abcdefABCDEF").contains(c); });
    bool ok = false;
    const quint32 value = digits.toUInt(&ok, 16);
    if (!areDigits || !ok || value > highestExtendedId)
        return {};
    return Id{value, digits.size() > 3 || value > CAN::maxStandardId};
}

std::optional<quint16> readChannel(const QString &text)
{
    bool ok = false;
    const quint16 channel = text.toUShort(&ok);
    if (!ok || !text.at(0).isDigit()) // the conversion alone would take a sign
        return {};
    return channel;
}

/// The time of the calendar that @p text states, in microseconds from 1970, UTC.
std::optional<qint64> microsecondsFromDate(const QString &text)
{
    static const QRegularExpression form(
        QStringLiteral(R"(^(\d{4}-\d\d-\d\d)(?:[T ](\d\d:\d\d)(:\d\d)?(?:\.(\d{1,6}))?(Z|[+-]\d\d:?\d\d)?)?$)"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch() || (!match.captured(4).isEmpty() && match.captured(3).isEmpty()))
        return {};
    const auto or0 = [&](int part, const char *otherwise) {
        return match.captured(part).isEmpty() ? QString::fromLatin1(otherwise) : match.captured(part);
    };
    const QDateTime time = QDateTime::fromString(
        match.captured(1) + QLatin1Char('T') + or0(2, "00:00") + or0(3, ":00") + match.captured(5), Qt::ISODate);
    if (!time.isValid())
        return {};
    return time.toMSecsSinceEpoch() * 1000 + match.captured(4).leftJustified(6, QLatin1Char('0')).toLongLong();
}

/// The instant, in microseconds from 1970, that a log counts its times from; nothing when that is not known.
std::optional<qint64> zeroOfTimes(const LogInfo &info, qint64 firstTime)
{
    constexpr qint64 firstEpochTime = 100000000000000; // in 1973: no log that counts from its start is as long
    switch (info.timeBase) {
    case LogInfo::TimeBase::UnixEpoch:
        return 0;
    case LogInfo::TimeBase::LogStart:
        if (info.start.isValid())
            return info.start.toMSecsSinceEpoch() * 1000;
        break;
    case LogInfo::TimeBase::Midnight:
        if (info.start.isValid())
            return QDateTime(info.start.date(), QTime(0, 0), info.start.timeSpec()).toMSecsSinceEpoch() * 1000;
        break;
    case LogInfo::TimeBase::Unknown:
        if (firstTime >= firstEpochTime)
            return 0;
        break;
    }
    return {};
}

} // namespace

QString MessageFilter::addIds(const QString &list)
{
    choosesIds = true;
    for (const QString &entry : list.split(QLatin1Char(','))) {
        if (!addId(entry.trimmed()))
            return QStringLiteral(
                "wanted are hexadecimal identifiers up to 1FFFFFFF, ranges 100-1FF, masks 100:700 or 'error'");
    }
    return {};
}

bool MessageFilter::addId(const QString &entry)
{
    if (entry.compare(QLatin1String("error"), Qt::CaseInsensitive) == 0) {
        wantsErrorFrames = true;
        return true;
    }
    const int colon = entry.indexOf(QLatin1Char(':'));
    if (colon >= 0)
        return addMask(entry.left(colon), entry.mid(colon + 1));
    const int hyphen = entry.indexOf(QLatin1Char('-'));
    const std::optional<Id> first = readId(entry.left(hyphen));
    const std::optional<Id> last = hyphen >= 0 ? readId(entry.mid(hyphen + 1)) : first;
    // A range from a standard to an extended identifier leaves open which of them it means.
    if (!first || !last || first->isExtended != last->isExtended || first->value > last->value)
        return false;
    ids.append({first->value, last->value, allBits, first->isExtended});
    return true;
}

bool MessageFilter::addMask(const QString &idText, const QString &maskText)
{
    const std::optional<Id> id = readId(idText);
    const std::optional<Id> mask = readId(maskText);
    if (!id || !mask)
        return false;
    const quint32 value = id->value & mask->value;
    ids.append({value, value, mask->value, id->isExtended});
    return true;
}

QString MessageFilter::addChannels(const QString &list)
{
    for (const QString &entry : list.split(QLatin1Char(','))) {
        const QString text = entry.trimmed();
        const std::optional<quint16> channel = readChannel(text);
        if (channel)
            channels.append(*channel);
        else if (!text.isEmpty() && text.at(0).isLetter())
            channelNames.append(text);
        else
            return QStringLiteral("wanted are numbers from 0 to 65535, or names as the log has them");
    }
    namesNotSeen = channelNames;
    return {};
}

QString MessageFilter::setLimit(const QString &text, Limit &limit)
{
    using Kind = Limit::Kind;
    const bool isAfterStart = text.startsWith(QLatin1Char('+'));
    const QString seconds = isAfterStart ? text.mid(1) : text;
    const bool hasTwoSigns = isAfterStart && seconds.startsWith(QLatin1Char('-'));
    if (const auto time = hasTwoSigns ? std::nullopt : microsecondsFromText(seconds))
        limit = {isAfterStart ? Kind::AfterStart : Kind::Stamp, *time};
    else if (const auto date = microsecondsFromDate(text))
        limit = {Kind::Calendar, *date};
    else
        return QStringLiteral(
            "wanted are seconds with up to six decimals, +seconds after the first message, or a date and time "
            "like 2024-05-21T09:40");
    return {};
}

QString MessageFilter::setDirection(const QString &text)
{
    if (text.compare(QLatin1String("rx"), Qt::CaseInsensitive) == 0)
        direction = Direction::Rx;
    else if (text.compare(QLatin1String("tx"), Qt::CaseInsensitive) == 0)
        direction = Direction::Tx;
    else
        return QStringLiteral("wanted is rx or tx");
    return {};
}

void MessageFilter::beginLog(const std::function<LogInfo()> &logInfo)
{
    info = logInfo;
    isResolved = false;
    namedChannels.clear();
}

void MessageFilter::resolveTimes(qint64 firstTime)
{
    isResolved = true;
    firstPassing = resolved(from, firstTime, std::numeric_limits<qint64>::min());
    lastPassing = resolved(to, firstTime, std::numeric_limits<qint64>::max());
    if (!trouble.isEmpty())
        lastPassing = std::numeric_limits<qint64>::min();
}

qint64 MessageFilter::resolved(const Limit &limit, qint64 firstTime, qint64 none)
{
    switch (limit.kind) {
    case Limit::Kind::None:
        return none;
    case Limit::Kind::Stamp:
        return limit.value;
    case Limit::Kind::AfterStart:
        return firstTime + limit.value;
    case Limit::Kind::Calendar:
        break;
    }
    if (const auto zero = zeroOfTimes(info ? info() : LogInfo(), firstTime))
        return limit.value - *zero;
    trouble =
        QStringLiteral("does not tell its date; give the times in seconds, or as +seconds after its first message");
    return none;
}

bool MessageFilter::passes(const CAN::CanRxMessage &message, bool hasNote)
{
    const qint64 time = inMicroseconds(message.timeStamp);
    if (!isResolved)
        resolveTimes(time);
    if ((notesOnly && !hasNote) || (direction != Direction::Any && message.isTx != (direction == Direction::Tx)))
        return false;
    return time >= firstPassing && time <= lastPassing && passesChannels(message.channel) && passesIds(message);
}

bool MessageFilter::passesChannels(quint16 channel)
{
    if (channels.contains(channel))
        return true;
    return channelNames.isEmpty() ? channels.isEmpty() : hasWantedName(channel);
}

bool MessageFilter::hasWantedName(quint16 channel)
{
    const auto known = namedChannels.constFind(channel);
    if (known != namedChannels.cend())
        return *known;
    const QString name = info ? info().channelNames.value(channel) : QString();
    const bool isWanted = channelNames.contains(name);
    namesNotSeen.removeAll(name);
    namedChannels.insert(channel, isWanted);
    return isWanted;
}

bool MessageFilter::passesIds(const CAN::CanRxMessage &message) const
{
    if (!choosesIds)
        return true;
    if (message.id == CAN::errorFrameId)
        return wantsErrorFrames;
    return std::any_of(ids.cbegin(), ids.cend(), [&](const Wanted &wanted) {
        const quint32 id = message.id & wanted.mask;
        return wanted.isExtended == hasExtendedId(message) && id >= wanted.first && id <= wanted.last;
    });
}
