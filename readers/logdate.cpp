// SPDX-License-Identifier: Apache-2.0
#include "readers/logdate.h"

#include "common/text/bytelines.h"

#include <QStringList>

namespace
{

struct MonthName {
    const char16_t *begin; ///< in lower case
    int month;
};

constexpr MonthName monthNames[] = {
    {u"jan", 1},      {u"ene", 1},  {u"feb", 2},  {u"f\u00e9v", 2},  {u"fev", 2},  {u"mar", 3},
    {u"m\u00e4r", 3}, {u"mrz", 3},  {u"apr", 4},  {u"avr", 4},       {u"abr", 4},  {u"may", 5},
    {u"mai", 5},      {u"jun", 6},  {u"juin", 6}, {u"jul", 7},       {u"juil", 7}, {u"aug", 8},
    {u"ao\u00fb", 8}, {u"aou", 8},  {u"ago", 8},  {u"sep", 9},       {u"oct", 10}, {u"okt", 10},
    {u"nov", 11},     {u"dec", 12}, {u"dez", 12}, {u"d\u00e9c", 12}, {u"dic", 12},
};

/// 1 to 12, 0 for what is no month.
int monthOf(const QString &word)
{
    const QString lower = word.toLower();
    for (const MonthName &name : monthNames) {
        if (lower.startsWith(QStringView(name.begin)))
            return name.month;
    }
    return 0;
}

/// Of "h:mm:ss" with an optional fraction, which counts in milliseconds; invalid for anything else.
QTime timeOf(const QString &text, const QString &half)
{
    const QStringList parts = text.split(QLatin1Char(':'));
    if (parts.size() != 3)
        return {};
    const QString seconds = parts.at(2).section(QLatin1Char('.'), 0, 0);
    const QString fraction = parts.at(2).section(QLatin1Char('.'), 1).left(3).leftJustified(3, QLatin1Char('0'));
    int hour = parts.at(0).toInt();
    // An hour that no clock of twelve hours shows has its half day in the number.
    if (half == QLatin1String("am") && hour == 12)
        hour = 0;
    else if (half == QLatin1String("pm") && hour > 0 && hour < 12)
        hour += 12;
    return {hour, parts.at(1).toInt(), seconds.toInt(), fraction.toInt()};
}

QDateTime dateTime(const QDate &date, const QTime &time)
{
    return date.isValid() && time.isValid() ? QDateTime(date, time, Qt::UTC) : QDateTime();
}

/// "[weekday] month day h:mm:ss[.fff] [am|pm] year"
QDateTime withMonthName(QStringList words)
{
    if (words.size() > 1 && monthOf(words.at(1)) != 0)
        words.removeFirst(); // "Mar" is a weekday in some languages
    if (words.size() < 4 || monthOf(words.at(0)) == 0)
        return {};
    const QString half = words.at(3).toLower();
    const bool hasHalf = half == QLatin1String("am") || half == QLatin1String("pm");
    const int year = words.value(hasHalf ? 4 : 3).toInt();
    return dateTime(QDate(year, monthOf(words.at(0)), words.at(1).toInt()), timeOf(words.at(2), half));
}

/// "30/01/2023 03:04:05.678" or "30.01.2023 ...", the day first, and "2023-01-30 ..." or "2023/01/30 ...".
QDateTime withNumbers(const QStringList &words)
{
    QString day = words.value(0);
    const QStringList parts = day.replace(QLatin1Char('.'), QLatin1Char('/'))
                                  .replace(QLatin1Char('-'), QLatin1Char('/'))
                                  .split(QLatin1Char('/'));
    if (parts.size() != 3)
        return {};
    const bool isYearFirst = parts.at(0).size() == 4;
    const QDate date(parts.at(isYearFirst ? 0 : 2).toInt(), parts.at(1).toInt(), parts.at(isYearFirst ? 2 : 0).toInt());
    return dateTime(date, timeOf(words.value(1), words.value(2).toLower()));
}

} // namespace

QDateTime readLogDate(std::string_view text)
{
    const QString line = decodedText(text.substr(0, 256)).simplified();
    QStringList words = line.split(QLatin1Char(' '));
    const QDateTime named = withMonthName(words);
    if (named.isValid())
        return named;
    if (words.constFirst().contains(QLatin1Char('T')))
        words = words.constFirst().split(QLatin1Char('T'));
    return withNumbers(words);
}
