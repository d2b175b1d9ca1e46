#pragma once

#include "common/canrxmessage.h"

#include <QStringView>

/**
 * Numbers as they stand in logs. Every function gives exactly what Qt's conversion of the same text gives, for any
 * text: plain digits are read in place, and whatever else comes (signs, prefixes, blanks, digits of other scripts,
 * more digits than 32 bits hold) is handed to Qt itself. A text that is no number gives 0 and sets @p ok to false.
 *
 * Base 0 goes by the prefix: "0x" hexadecimal, a leading "0" octal, anything else decimal.
 */

/// text.toUInt(ok, base), base 0, 10 or 16
quint32 readUnsigned(QStringView text, int base, bool *ok = nullptr);
/// text.toInt(ok, base), base 0 or 10
qint32 readSigned(QStringView text, int base, bool *ok = nullptr);

/// One byte: the low 8 bits of the number.
inline quint8 readByte(QStringView text, int base)
{
    return quint8(readUnsigned(text, base));
}

/**
 * Seconds with a decimal fraction. The text up to the first point is the seconds, in base 0: some logs write them so,
 * and "010" is 8. The text after the last point is the fraction, padded on the right with "0" to six digits and never
 * cut: "5" is 500000 µs and "1234567" is 1234567 µs. A text without a point is both.
 */
CanTimeStamp readSeconds(QStringView text);
