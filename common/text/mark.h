// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QStringView>

/**
 * A text that tells some lines or fields of a log from the others, such as "ErrorFrame". Most do not hold it, and those
 * are passed over quickly, by the letter of it that is rarest in logs.
 *
 * The text must be a literal with one such letter at least; a constexpr mark without one does not compile.
 */
class Mark
{
public:
    constexpr explicit Mark(QStringView mark, Qt::CaseSensitivity sensitivity = Qt::CaseSensitive)
        : text(mark)
        , caseSensitivity(sensitivity)
        , rareAt(rarestLetter(mark))
        , rare(mark[rareAt].unicode())
    {
    }

    /// line.contains(text, caseSensitivity)
    bool isIn(QStringView line) const
    {
        // Fields are often shorter than what is looked for, or it itself.
        if (line.size() <= text.size())
            return line.size() == text.size() && line.compare(text, caseSensitivity) == 0;
        return hasIn(line);
    }

private:
    /// Hexadecimal digits are everywhere in a log; k and s stand for more than two characters when case is ignored.
    static constexpr qsizetype rarestLetter(QStringView mark)
    {
        for (const char16_t letter : u"qjzvwyupmohgltinrx") {
            for (qsizetype i = 0; i < mark.size(); ++i) {
                if ((mark[i].unicode() | 0x20) == letter)
                    return i;
            }
        }
        return -1;
    }

    /// isIn() for a line that is longer than the text.
    bool hasIn(QStringView line) const;

    QStringView text;
    Qt::CaseSensitivity caseSensitivity;
    qsizetype rareAt;
    ushort rare;
};
