// SPDX-License-Identifier: Apache-2.0
#include "common/text/numbers.h"

#include <QString>

#include <algorithm>
#include <limits>

using TextDetail::digitValue;

namespace
{

// As many digits as 64 bits always hold; a longer text is Qt's.
constexpr qsizetype maxDecimalDigits = 18;
constexpr qsizetype maxHexDigits = 15;

/// Reads @p text when it is nothing but digits and the number is at most @p max.
template <uint base>
inline bool readDigits(QStringView text, quint64 max, quint64 &value)
{
    if (text.isEmpty() || text.size() > (base == 16 ? maxHexDigits : maxDecimalDigits))
        return false;
    quint64 sum = 0;
    for (const QChar c : text) {
        const uint digit = digitValue(c);
        if (digit >= base)
            return false;
        sum = sum * base + digit;
    }
    value = sum;
    return sum <= max;
}

inline bool readDigits(QStringView text, int base, quint64 max, quint64 &value)
{
    const bool hasPrefix = text.size() > 2 && text[0] == QLatin1Char('0') && (text[1].unicode() | 0x20) == 'x';
    if (hasPrefix && base != 10)
        return readDigits<16>(text.mid(2), max, value);
    if (base == 16)
        return readDigits<16>(text, max, value);
    // In base 0 a leading zero is a prefix.
    const bool isDecimal = base == 10 || text.size() == 1 || !text.startsWith(QLatin1Char('0'));
    return isDecimal && readDigits<10>(text, max, value);
}

/// Whether @p text has a character that no number has. Logs are full of words where a number may be, and Qt takes long
/// to refuse one.
inline bool isWord(QStringView text, int base)
{
    for (const QChar c : text) {
        const int letter = c.unicode() | 0x20;
        const bool isLetter = c.unicode() < 0x80 && letter >= 'a' && letter <= 'z';
        if (c == QLatin1Char('=') || (isLetter && (base == 10 || (letter > 'f' && letter != 'x'))))
            return true;
    }
    return false;
}

/// Takes from @p text what Qt 5 passes over, the blanks around a number. False when it is none to Qt 5, but may be one
/// to later versions, which read "0b1" in base 0 and end at a character 0: a log gives the same with every Qt.
bool isForQt(QStringView &text, int base)
{
    text = text.trimmed();
    const bool hasSign = text.startsWith(QLatin1Char('-')) || text.startsWith(QLatin1Char('+'));
    const bool isBinary = base == 0 && text.mid(hasSign ? 1 : 0).startsWith(QLatin1String("0b"), Qt::CaseInsensitive);
    return !isBinary && !text.contains(QChar(0));
}

quint32 toUnsigned(QStringView text, int base, bool *ok)
{
    return (isForQt(text, base) ? text.toString() : QString()).toUInt(ok, base);
}

qint32 toSigned(QStringView text, int base, bool *ok)
{
    return (isForQt(text, base) ? text.toString() : QString()).toInt(ok, base);
}

/// Reads decimal digits into @p value, which is 0, and moves @p at behind them; returns their number.
inline qsizetype readLeadingDigits(const QChar *&at, const QChar *end, quint64 &value)
{
    const QChar *const start = at;
    if (end - at >= 8 && Vectors::readEightDigits(at, value))
        at += 8;
    for (; at != end; ++at) {
        const uint digit = at->unicode() - uint('0');
        if (digit > 9)
            break;
        value = value * 10 + digit;
    }
    return at - start;
}

/// Reads "hh:mm:ss.zzz" when it is nothing but digits where digits belong; -1 for anything else.
inline int readPlainTimeOfDay(QStringView text)
{
    static constexpr char16_t form[] = u"00:00:00.000";
    if (text.size() != 12)
        return -1;
    int digits[12];
    for (int i = 0; i < 12; ++i) {
        const ushort code = text[i].unicode();
        digits[i] = code - '0';
        if (form[i] == u'0' ? code < '0' || code > '9' : code != form[i])
            return -1;
    }
    const int hours = digits[0] * 10 + digits[1];
    const int minutes = digits[3] * 10 + digits[4];
    const int seconds = digits[6] * 10 + digits[7];
    if (hours > 23 || minutes > 59 || seconds > 59)
        return -1;
    return ((hours * 60 + minutes) * 60 + seconds) * 1000 + digits[9] * 100 + digits[10] * 10 + digits[11];
}

} // namespace

quint32 readUnsigned(QStringView text, int base, bool *ok)
{
    Q_ASSERT(base == 0 || base == 10 || base == 16);
    quint64 value = 0;
    if (!readDigits(text, base, std::numeric_limits<quint32>::max(), value)) {
        if (!isWord(text, base))
            return toUnsigned(text, base, ok);
        if (ok)
            *ok = false;
        return 0;
    }
    if (ok)
        *ok = true;
    return quint32(value);
}

qint32 readSigned(QStringView text, int base, bool *ok)
{
    Q_ASSERT(base == 0 || base == 10);
    quint64 value = 0;
    if (!readDigits(text, base, std::numeric_limits<qint32>::max(), value))
        return toSigned(text, base, ok);
    if (ok)
        *ok = true;
    return qint32(value);
}

bool readPlainSeconds(QStringView text, CanTimeStamp &time)
{
    static constexpr quint32 scale[] = {1000000, 100000, 10000, 1000, 100, 10, 1, 1, 1, 1};
    const QChar *at = text.begin();
    const QChar *const end = text.end();
    // Up to 18 digits cannot overflow; a leading zero is the mark of an octal number.
    if (text.size() > maxDecimalDigits || (text.size() > 1 && at[0] == QLatin1Char('0') && at[1] != QLatin1Char('.')))
        return false;
    quint64 seconds = 0;
    const qsizetype secondsDigits = readLeadingDigits(at, end, seconds);
    if (secondsDigits == 0 || at == end || *at != QLatin1Char('.'))
        return false;
    ++at;
    quint64 fraction = 0;
    const qsizetype fractionDigits = readLeadingDigits(at, end, fraction);
    if (at != end || fractionDigits > 9 || seconds > std::numeric_limits<qint32>::max())
        return false;
    time = {qint32(seconds), qint32(fraction * scale[fractionDigits])};
    return true;
}

CanTimeStamp readSeconds(QStringView text, bool *ok)
{
    if (ok)
        *ok = true;
    CanTimeStamp time;
    if (readPlainSeconds(text, time))
        return time;
    const qsizetype firstPoint = text.indexOf(QLatin1Char('.'));
    const QStringView seconds = firstPoint < 0 ? text : text.left(firstPoint);
    const QStringView fraction = text.mid(text.lastIndexOf(QLatin1Char('.')) + 1);
    bool hasSeconds = false;
    bool hasFraction = false;
    time.seconds = readSigned(seconds, 0, &hasSeconds);
    time.microseconds = toSigned(fraction.toString().leftJustified(6, QLatin1Char('0')), 10, &hasFraction);
    if (ok)
        *ok = hasSeconds && hasFraction;
    return time;
}

CanTimeStamp readTimeOfDay(QStringView text, bool *ok)
{
    // QTime's parser makes several objects on the heap and takes microseconds.
    const int milliseconds = readPlainTimeOfDay(text);
    const QTime time = milliseconds >= 0 ? QTime::fromMSecsSinceStartOfDay(milliseconds)
                                         : QTime::fromString(text.toString(), QStringLiteral("hh:mm:ss.zzz"));
    if (ok)
        *ok = time.isValid();
    return CanTimeStamp(time);
}
