// SPDX-License-Identifier: Apache-2.0
#include "host/convert/plaintext.h"

#include <algorithm>

namespace
{

/// Whether the character at @p position is one half of a pair whose other half is missing.
bool isLoneSurrogate(const QString &text, int position)
{
    const QChar c = text.at(position);
    if (c.isHighSurrogate())
        return position + 1 == text.size() || !text.at(position + 1).isLowSurrogate();
    return c.isLowSurrogate() && (position == 0 || !text.at(position - 1).isHighSurrogate());
}

QString notation(QChar c)
{
    return QStringLiteral("U+%1").arg(c.unicode(), 4, 16, QLatin1Char('0')).toUpper();
}

} // namespace

bool isControl(QChar c)
{
    const ushort code = c.unicode();
    return code < 0x20 || (code >= 0x7F && code < 0xA0) // category Cc
           || code == 0x061C                            // Arabic letter mark
           || code == 0x200E || code == 0x200F          // left-to-right and right-to-left mark
           || code == 0x2028 || code == 0x2029          // line and paragraph separator
           || (code >= 0x202A && code <= 0x202E)        // embeddings and overrides
           || (code >= 0x2066 && code <= 0x2069);       // isolates
}

QString wellFormed(const QString &text)
{
    QString result = text; // shared until something is replaced
    for (int i = 0; i < text.size(); ++i) {
        if (text.at(i).isSurrogate() && isLoneSurrogate(text, i))
            result[i] = QChar::ReplacementCharacter;
    }
    return result;
}

QByteArray toUtf8(const QString &text)
{
    return wellFormed(text).toUtf8();
}

QString printable(const QString &text)
{
    const QString whole = wellFormed(text);
    auto rest = std::find_if(whole.cbegin(), whole.cend(), isControl);
    if (rest == whole.cend())
        return whole;
    QString result;
    result.reserve(whole.size() + 64);
    auto written = whole.cbegin();
    for (; rest != whole.cend(); rest = std::find_if(written, whole.cend(), isControl)) {
        result.append(written, int(rest - written));
        result.append(notation(*rest));
        written = rest + 1;
    }
    return result.append(written, int(whole.cend() - written));
}
