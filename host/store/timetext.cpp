// SPDX-License-Identifier: Apache-2.0
#include "host/store/timetext.h"

#include <QRegularExpression>

#include <charconv>

int writeTime(qint64 microseconds, char *text)
{
    const quint64 amount = quint64(qAbs(microseconds));
    char *end = text;
    if (microseconds < 0)
        *end++ = '-';
    end = std::to_chars(end, text + 32, amount / 1000000).ptr;
    *end++ = '.';
    quint64 fraction = amount % 1000000;
    for (int i = 5; i >= 0; --i, fraction /= 10)
        end[i] = char('0' + fraction % 10);
    return int(end + 6 - text);
}

int writeTime(const CanTimeStamp &time, char *text)
{
    return writeTime(inMicroseconds(time), text);
}

QString timeText(const CanTimeStamp &time)
{
    return timeText(inMicroseconds(time));
}

QString timeText(qint64 microseconds)
{
    char text[32];
    return QString::fromLatin1(text, writeTime(microseconds, text));
}

std::optional<qint64> microsecondsFromText(const QString &text)
{
    static const QRegularExpression form(
        QStringLiteral("\\A(-?)(?:([0-9]{1,12})(?:\\.([0-9]{1,6}))?|\\.([0-9]{1,6}))\\z"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        return {};
    const QString fraction = match.captured(3) + match.captured(4);
    const qint64 amount =
        match.captured(2).toLongLong() * 1000000 + fraction.leftJustified(6, QLatin1Char('0')).toLongLong();
    return match.captured(1).isEmpty() ? amount : -amount;
}
