// SPDX-License-Identifier: Apache-2.0
#include "host/store/loginfotext.h"

namespace LogInfoText
{
namespace
{

using TimeBase = LogInfo::TimeBase;

/// Empty for a base that is not known.
QString baseText(TimeBase base)
{
    switch (base) {
    case TimeBase::Unknown:
        break;
    case TimeBase::UnixEpoch:
        return QStringLiteral("1970");
    case TimeBase::LogStart:
        return QStringLiteral("start");
    case TimeBase::Midnight:
        return QStringLiteral("midnight");
    }
    return {};
}

TimeBase baseFrom(const QString &text)
{
    for (const TimeBase base : {TimeBase::UnixEpoch, TimeBase::LogStart, TimeBase::Midnight})
        if (text == baseText(base))
            return base;
    return TimeBase::Unknown;
}

/// Without a zone where the log tells none.
QString startText(const LogInfo &info)
{
    const QString text = info.start.toUTC().toString(Qt::ISODateWithMs);
    return info.startHasZone ? text : text.chopped(1);
}

void insert(QJsonObject &object, const QString &key, const QString &text)
{
    if (!text.isEmpty())
        object.insert(key, text);
}

} // namespace

QJsonObject toJson(const LogInfo &info)
{
    QJsonObject object;
    insert(object, QStringLiteral("timeBase"), baseText(info.timeBase));
    if (info.start.isValid())
        object.insert(QStringLiteral("start"), startText(info));
    insert(object, QStringLiteral("writer"), info.writer);
    insert(object, QStringLiteral("version"), info.version);
    QJsonObject names;
    for (auto name = info.channelNames.cbegin(); name != info.channelNames.cend(); ++name)
        names.insert(QString::number(name.key()), name.value());
    if (!names.isEmpty())
        object.insert(QStringLiteral("channelNames"), names);
    return object;
}

LogInfo fromJson(const QJsonObject &object)
{
    LogInfo info;
    info.timeBase = baseFrom(object.value(QStringLiteral("timeBase")).toString());
    const QString start = object.value(QStringLiteral("start")).toString();
    info.startHasZone = start.endsWith(QLatin1Char('Z'));
    // Digits without a zone are in UTC, as the readers have them.
    info.start = QDateTime::fromString(info.startHasZone ? start : start + QLatin1Char('Z'), Qt::ISODateWithMs);
    info.writer = object.value(QStringLiteral("writer")).toString();
    info.version = object.value(QStringLiteral("version")).toString();
    const QJsonObject names = object.value(QStringLiteral("channelNames")).toObject();
    for (auto name = names.constBegin(); name != names.constEnd(); ++name) {
        bool isNumber = false;
        const ushort channel = name.key().toUShort(&isNumber);
        if (isNumber && name.value().isString())
            info.channelNames.insert(channel, name.value().toString());
    }
    return info;
}

} // namespace LogInfoText
