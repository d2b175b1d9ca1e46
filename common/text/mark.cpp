// SPDX-License-Identifier: Apache-2.0
#include "common/text/mark.h"

#include "common/text/vectors.h"

#include <algorithm>

using namespace CharacterBits;

bool Mark::hasIn(QStringView line) const
{
    // Wherever the rare letter stands, the text may stand around it. QStringView::indexOf() would cost a call for each
    // letter.
    const ushort caseBit = caseSensitivity == Qt::CaseInsensitive ? 0x20 : 0;
    const QChar letter(rare | caseBit);
    const QChar *const first = line.begin() + rareAt;
    const QChar *const end = line.end() - (text.size() - 1 - rareAt);
    for (const QChar *at = first; at < end;) {
        // The last few characters are looked at together with some of those before them, and not one by one.
        if (end - at < groupSize && end - first >= groupSize)
            at = end - groupSize;
        const qsizetype count = std::min<qsizetype>(end - at, blockSize);
        quint64 letters = Vectors::bitsOfCharacter(at, count, letter, caseBit);
        for (; letters != 0; letters &= letters - 1) {
            const QChar *const start = at + qCountTrailingZeroBits(letters) - rareAt;
            if (QStringView(start, text.size()).compare(text, caseSensitivity) == 0)
                return true;
        }
        at += count;
    }
    return false;
}
