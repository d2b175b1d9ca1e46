#include "common/text/numbers.h"

#include <QString>

namespace
{

// The most digits that always fit into a signed number of 32 bits.
constexpr qsizetype maxDecimalDigits = 9;
// ... and the most hexadecimal ones that always fit into an unsigned one.
constexpr qsizetype maxHexDigits = 8;

/// Value of a digit up to 15, 255 for anything else.
inline uint digitValue(QChar c)
{
    const uint code = c.unicode();
    if (code - '0' < 10)
        return code - '0';
    const uint letter = (code | 0x20) - 'a'; // upper and lower case alike; no character above 0x7F becomes a letter
    return letter < 6 ? letter + 10 : 255;
}

/// Reads @p text when it is nothing but up to @p maxDigits digits.
inline bool readPlain(QStringView text, uint base, qsizetype maxDigits, quint32 &value)
{
    if (text.isEmpty() || text.size() > maxDigits)
        return false;
    quint32 sum = 0;
    for (const QChar c : text) {
        const uint digit = digitValue(c);
        if (digit >= base)
            return false;
        sum = sum * base + digit;
    }
    value = sum;
    return true;
}

/// Whether a text in base 0 is decimal if it is made of digits.
inline bool hasNoPrefix(QStringView text)
{
    return text.size() == 1 || (!text.isEmpty() && text.front() != QLatin1Char('0'));
}

inline bool readPlain(QStringView text, int base, quint32 &value)
{
    if (base == 16)
        return readPlain(text, 16, maxHexDigits, value);
    return (base == 10 || hasNoPrefix(text)) && readPlain(text, 10, maxDecimalDigits, value);
}

/// The fraction of a second in microseconds.
qint32 readFraction(QStringView text)
{
    quint32 value = 0;
    if (readPlain(text, 10, value)) {
        for (qsizetype digits = text.size(); digits < 6; ++digits)
            value *= 10;
        return qint32(value);
    }
    return text.toString().leftJustified(6, QLatin1Char('0')).toInt();
}

} // namespace

quint32 readUnsigned(QStringView text, int base, bool *ok)
{
    Q_ASSERT(base == 0 || base == 10 || base == 16);
    quint32 value = 0;
    if (!readPlain(text, base, value))
        return text.toString().toUInt(ok, base);
    if (ok)
        *ok = true;
    return value;
}

qint32 readSigned(QStringView text, int base, bool *ok)
{
    Q_ASSERT(base == 0 || base == 10);
    quint32 value = 0;
    if (!readPlain(text, base, value))
        return text.toString().toInt(ok, base);
    if (ok)
        *ok = true;
    return qint32(value);
}

CanTimeStamp readSeconds(QStringView text)
{
    const qsizetype firstPoint = text.indexOf(QLatin1Char('.'));
    if (firstPoint < 0)
        return {readSigned(text, 0), readFraction(text)};
    const qsizetype lastPoint = text.lastIndexOf(QLatin1Char('.'));
    return {readSigned(text.left(firstPoint), 0), readFraction(text.mid(lastPoint + 1))};
}
