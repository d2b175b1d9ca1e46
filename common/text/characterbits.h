// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QChar>
#include <QtAlgorithms>
#include <QtEndian>

// Text is looked at 64 characters at a time. Which of them are separators or line feeds becomes one 64-bit number, and
// then only its bits are visited, which is faster than asking each character.

namespace CharacterBits
{

inline constexpr qsizetype blockSize = 64;
inline constexpr qsizetype groupSize = 16;

/// One bit for each of the 16 characters from @p at on, the lowest for the first.
template <typename Predicate>
inline quint64 bitsOfGroup(const QChar *at, Predicate predicate)
{
    uchar flags[groupSize]; // a loop of fixed length over an array is one that compilers turn into vector instructions
    for (qsizetype i = 0; i < groupSize; ++i)
        flags[i] = uchar(predicate(at[i].unicode()));
    // The product collects the lowest bits of eight bytes in its topmost byte.
    const auto gather = [](const uchar *eight) { return qFromLittleEndian<quint64>(eight) * 0x0102040810204080 >> 56; };
    return gather(flags) | gather(flags + 8) << 8;
}

/// The same for @p count characters, 64 at the most.
template <typename Predicate>
inline quint64 bitsOf(const QChar *at, qsizetype count, Predicate predicate)
{
    quint64 bits = 0;
    qsizetype i = 0;
    for (; i + groupSize <= count; i += groupSize)
        bits |= bitsOfGroup(at + i, predicate) << i;
    if (i == count)
        return bits;
    // What is left is looked at together with some of the characters before it.
    if (count > groupSize)
        return bits | bitsOfGroup(at + count - groupSize, predicate) << (count - groupSize);
    for (; i < count; ++i)
        bits |= quint64(predicate(at[i].unicode())) << i;
    return bits;
}

} // namespace CharacterBits
