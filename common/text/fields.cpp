// SPDX-License-Identifier: Apache-2.0
#include "common/text/fields.h"

#include "common/text/characterbits.h"
#include "common/text/vectors.h"

#include <algorithm>
#include <cstring>

using namespace CharacterBits;

namespace
{

inline quint64 blanksOf(const QChar *start, const QChar *at, qsizetype count)
{
    quint64 blanks = 0;
    const bool asciiTells = Vectors::findAsciiBlanks(start, at, count, blanks);
    return asciiTells ? blanks : bitsOf(at, count, [](ushort c) { return isBlank(c); });
}

/// Whether no character is a blank that simplified() would change: another than " ", or one before another. The first
/// and the last are no blanks.
inline bool isSimple(QStringView text)
{
    // Four at once, which takes a third of the time that finding each blank takes. A character is surely kept when it
    // is plain ASCII from the blank on and no blank before a blank.
    constexpr quint64 each = 0x0001000100010001;
    constexpr quint64 top = each * 0x8000;
    const auto isNoSpace = [](quint64 codes) { return (codes ^ each * ' ') + each * 0x7FFF; }; // in the top bits
    const QChar *at = text.begin();
    const QChar *const end = text.end();
    for (; end - at > 4; at += 4) {
        quint64 codes;
        quint64 next;
        std::memcpy(&codes, at, sizeof codes);
        std::memcpy(&next, at + 1, sizeof next);
        const quint64 aboveAscii = (codes | next) & each * 0xFF80;
        const quint64 noControls = codes + each * (0x8000 - ' ');
        const quint64 noPair = isNoSpace(codes) | isNoSpace(next);
        if (aboveAscii || (noControls & noPair & top) != top)
            break;
    }
    for (; at != end; ++at) {
        if (isBlank(*at) && (*at != QLatin1Char(' ') || isBlank(at[1])))
            return false;
    }
    return true;
}

/// Reads eight fields, which begin and end at @p edges, as bytes; false, and nothing read, when not all of them are two
/// hexadecimal digits.
inline bool readEightPairs(const QChar *const *edges, quint8 *data)
{
    qsizetype otherSizes = 0;
    for (int i = 0; i < 8; ++i)
        otherSizes |= (edges[2 * i + 1] - edges[2 * i]) ^ 2;
    if (otherSizes != 0)
        return false;
    return Vectors::readEightHexFields(edges, data);
}

} // namespace

template <typename SeparatorsOf>
inline void Fields::splitAtRuns(QStringView line, SeparatorsOf separatorsOf)
{
    used = 0;
    quint64 before = 1; // whether there is a separator before the block
    for (const QChar *at = line.begin(); at != line.end();) {
        const qsizetype count = std::min<qsizetype>(line.end() - at, blockSize);
        const quint64 valid = ~quint64(0) >> (blockSize - count);
        const quint64 separators = separatorsOf(at, count);
        const quint64 edges = (separators ^ (separators << 1 | before)) & valid;
        quint64 starts = edges & ~separators;
        quint64 stops = edges & separators;
        makeRoom(blockSize + 2);
        const QChar **next = ends.data() + used;
        if (before == 0 && stops != 0) { // the end of a field that began before this block
            *next++ = at + qCountTrailingZeroBits(stops);
            stops &= stops - 1;
        }
        // Both ends of a field at once: each step of such a loop waits for the one before.
        for (; stops != 0; starts &= starts - 1, stops &= stops - 1, next += 2) {
            next[0] = at + qCountTrailingZeroBits(starts);
            next[1] = at + qCountTrailingZeroBits(stops);
        }
        if (starts != 0)
            *next++ = at + qCountTrailingZeroBits(starts);
        used = std::size_t(next - ends.data());
        before = separators >> (blockSize - 1);
        at += count;
    }
    if (used % 2 != 0)
        ends[used++] = line.end();
}

template <typename SeparatorsOf>
inline void Fields::splitAtEach(QStringView line, SeparatorsOf separatorsOf)
{
    used = 0;
    makeRoom(2);
    ends[used++] = line.begin();
    for (const QChar *at = line.begin(); at != line.end();) {
        const qsizetype count = std::min<qsizetype>(line.end() - at, blockSize);
        makeRoom(2 * blockSize + 1);
        for (quint64 separators = separatorsOf(at, count); separators; separators &= separators - 1) {
            const QChar *const end = at + qCountTrailingZeroBits(separators);
            ends[used++] = end;
            ends[used++] = end + 1;
        }
        at += count;
    }
    ends[used++] = line.end();
}

void Fields::splitAtBlanks(QStringView line)
{
    splitAtRuns(line, [start = line.begin()](const QChar *at, qsizetype count) { return blanksOf(start, at, count); });
}

void Fields::split(QStringView line, QChar separator, EmptyFields empty)
{
    const auto separatorsOf = [separator](const QChar *at, qsizetype count) {
        return Vectors::bitsOfCharacter(at, count, separator);
    };
    if (empty == SkipEmpty)
        splitAtRuns(line, separatorsOf);
    else
        splitAtEach(line, separatorsOf);
}

void Fields::split(QStringView line, QStringView separator)
{
    // Looked for by its middle, since a separator with blanks around it begins with the most frequent character.
    used = 0;
    const qsizetype middle = separator.size() / 2;
    const QChar *start = line.begin();
    for (qsizetype at = middle; (at = line.indexOf(separator[middle], at)) >= 0;) {
        if (!line.mid(at - middle).startsWith(separator)) {
            ++at;
            continue;
        }
        append(start, line.begin() + at - middle);
        start = line.begin() + at - middle + separator.size();
        at += separator.size();
    }
    append(start, line.end());
}

void Fields::splitQuoted(QStringView line, QChar separator, QChar quote)
{
    used = 0;
    if (unquoted.size() < line.size())
        unquoted.resize(int(line.size()));
    QChar *out = unquoted.data();
    const QChar *start = line.begin();
    const auto part = [&](const QChar *end, qsizetype quotes) {
        const QStringView text(start, end);
        if (quotes == 0)
            return text;
        if (quotes == 2 && text.startsWith(quote) && text.endsWith(quote))
            return text.mid(1).chopped(1);
        QChar *const copy = out;
        out = std::remove_copy(text.begin(), text.end(), out, quote);
        return QStringView(copy, out);
    };
    qsizetype quotes = 0;
    for (const QChar *at = start; at != line.end(); ++at) {
        if (*at == quote) {
            ++quotes;
        } else if (*at == separator && quotes % 2 == 0) {
            const QStringView text = part(at, quotes);
            append(text.begin(), text.end());
            start = at + 1;
            quotes = 0;
        }
    }
    const QStringView last = part(line.end(), quotes);
    if (!last.isEmpty())
        append(last.begin(), last.end());
}

void Fields::assign(const QStringList &list)
{
    used = 0;
    for (const QString &text : list)
        append(text.cbegin(), text.cend());
}

int Fields::readPairsByEights(int first, int wanted, quint8 *data) const
{
    int done = 0;
    const int present = first < 0 ? 0 : std::min(wanted, count() - first);
    if (present < 8)
        return 0;
    const QChar *const *const edges = ends.data() + 2 * std::size_t(first);
    for (; present - done >= 8; done += 8) {
        if (!readEightPairs(edges + 2 * done, data + done))
            return done;
    }
    // Those that are left are read together with some that were.
    if (done < present && readEightPairs(edges + 2 * (present - 8), data + present - 8))
        return present;
    return done;
}

void Fields::remove(int index)
{
    if (index < 0 || index >= count())
        return;
    const auto first = ends.begin() + 2 * index;
    std::copy(first + 2, ends.begin() + std::ptrdiff_t(used), first);
    used -= 2;
}

QStringView simplified(QStringView text, QString &room)
{
    while (!text.isEmpty() && isBlank(text.front()))
        text = text.mid(1);
    while (!text.isEmpty() && isBlank(text.back()))
        text.chop(1);

    if (isSimple(text))
        return text;

    if (room.size() < text.size())
        room.resize(int(text.size()));
    QChar *const start = room.data();
    QChar *out = start;
    for (const QChar c : text) {
        if (!isBlank(c))
            *out++ = c;
        else if (out[-1] != QLatin1Char(' '))
            *out++ = QLatin1Char(' ');
    }
    return {start, out};
}
