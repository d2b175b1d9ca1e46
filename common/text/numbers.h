// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"
#include "common/text/digits.h"
#include "common/text/vectors.h"

#include <QStringView>

/**
 * Numbers as they stand in logs. Every function gives exactly what Qt 5's conversion of the same text gives, for any
 * text and with every version of Qt: plain digits are read in place, and whatever else comes (signs, prefixes, blanks,
 * digits of other scripts, more digits than 32 bits hold) is handed to Qt itself. A text that is no number gives 0 and
 * sets @p ok to false.
 *
 * Base 0 goes by the prefix: "0x" hexadecimal, a leading "0" octal, anything else decimal.
 */

/// text.toUInt(ok, base), base 0, 10 or 16
quint32 readUnsigned(QStringView text, int base, bool *ok = nullptr);
/// text.toInt(ok, base), base 0 or 10
qint32 readSigned(QStringView text, int base, bool *ok = nullptr);

namespace TextDetail
{

/// Whether @p c shows that a text is no number, should it be the first or the last character: it is printable ASCII, no
/// sign, and no digit: of @p base when that is 10, else of base 16, since a prefix may tell another base.
inline bool endsNoNumber(QChar c, int base)
{
    const uint code = c.unicode();
    return code > ' ' && code < 0x7F && digitValues[code] >= (base == 10 ? 10 : 16) && code != '+' && code != '-';
}

} // namespace TextDetail

/// Bytes from pairs of hexadecimal digits, up to the first pair that is none; returns the number of bytes. @p data
/// must have room for half as many as @p text has characters.
inline qsizetype readHexPairs(QStringView text, quint8 *data)
{
    qsizetype count = 0;
    const QChar *at = text.begin();
    for (; text.end() - at >= 16 && Vectors::readEightHexPairs(at, data + count); at += 16)
        count += 8;
    for (; text.end() - at >= 2 && TextDetail::readHexPair(at, data[count]); at += 2)
        ++count;
    return count;
}

/// One byte: the low 8 bits of the number.
inline quint8 readByte(QStringView text, int base, bool *ok = nullptr)
{
    // Nearly all numbers in a log are two hexadecimal digits or, as lengths, one digit: taking them here saves a call
    // for each (bench_readers).
    quint8 value = 0;
    bool isByte = base == 16 && text.size() == 2 && TextDetail::readHexPair(text.begin(), value);
    if (text.size() == 1 && base != 0) {
        value = quint8(TextDetail::digitValue(text.front()));
        isByte = value < base;
    }
    if (isByte) {
        if (ok)
            *ok = true;
        return value;
    }
    // A word where a byte may be, as in the statistics of some logs, is known by its ends.
    if (!text.isEmpty()
        && (TextDetail::endsNoNumber(text.front(), base) || TextDetail::endsNoNumber(text.back(), base))) {
        if (ok)
            *ok = false;
        return 0;
    }
    return quint8(readUnsigned(text, base, ok));
}

/**
 * Seconds with a decimal fraction. The text up to the first point is the seconds, in base 0: some logs write them so,
 * and "010" is 8. The text after the last point is the fraction, padded on the right with "0" to six digits and never
 * cut: "5" is 500000 µs and "1234567" is 1234567 µs. A text without a point is both.
 */
CanTimeStamp readSeconds(QStringView text, bool *ok = nullptr);

/// readSeconds() for a text made of digits and one point, as nearly all are; false, and nothing read, for any other and
/// for those with a leading zero or more digits than are surely held.
bool readPlainSeconds(QStringView text, CanTimeStamp &time);

/// Time of day: what QTime::fromString(text, "hh:mm:ss.zzz") gives; a text that is none gives 0.
CanTimeStamp readTimeOfDay(QStringView text, bool *ok = nullptr);
