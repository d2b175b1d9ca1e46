// SPDX-License-Identifier: Apache-2.0
#include "readers/blfobjects.h"

#include <algorithm>
#include <cstring>

namespace Blf
{

namespace
{

constexpr qint64 longestPadding = 3;

/// No object of @p type is longer. Those of frames are short, so that few bytes go with a size that is damaged.
qint64 longestSize(quint32 type)
{
    switch (type) {
    case CanMessage:
    case CanError:
    case CanOverload:
    case CanStatistic:
    case CanErrorExt:
    case CanMessage2:
    case CanFdMessage:
    case CanFdMessage64:
    case CanFdError64:
        return 4096;
    case Container:
        return maxContentSize + mib; // data that cannot be compressed grow a little
    default:
        return 16 * mib;
    }
}

/// How much of an object is kept at the most, until it is there as a whole.
qint64 keptSize(const char *object, Place place)
{
    return place == Place::File && typeOf(object) == Container ? longestSize(Container) : maxKeptSize;
}

bool isPossibleSize(const char *object)
{
    return sizeOf(object) >= baseHeaderSize && sizeOf(object) <= longestSize(typeOf(object));
}

/// Where the padding at @p begin ends and a signature stands; null when there is none.
const char *skipPadding(const char *begin, const char *end)
{
    for (qint64 gap = 0; gap <= longestPadding && end - begin >= gap + 4; ++gap) {
        if (isSignature(begin + gap))
            return begin + gap;
    }
    return nullptr;
}

/// Whether what stands at @p bytes is an object by all that its header says, and not only by its signature.
bool looksLikeObject(const char *bytes, const char *end)
{
    constexpr quint16 longestHeader = 256;
    if (end - bytes < baseHeaderSize || !isSignature(bytes) || !isPossibleSize(bytes))
        return false;
    const quint16 headerSize = u16At(bytes, 4);
    if (headerSize < baseHeaderSize || headerSize > longestHeader || headerSize > sizeOf(bytes) || u16At(bytes, 6) > 3)
        return false;
    const qint64 behind = end - bytes - sizeOf(bytes);
    return behind < longestPadding + 4 || skipPadding(bytes + sizeOf(bytes), end);
}

/// The first object from @p begin on, null when there is none.
const char *searchObject(const char *begin, const char *end)
{
    while (end - begin >= baseHeaderSize) {
        const auto *const found = static_cast<const char *>(std::memchr(begin, 'L', std::size_t(end - begin)));
        if (!found)
            return nullptr;
        if (looksLikeObject(found, end))
            return found;
        begin = found + 1;
    }
    return nullptr;
}

bool areZeros(const char *begin, const char *end)
{
    return std::all_of(begin, end, [](char c) { return c == 0; });
}

/// Whether nothing but padding and the beginning of a signature is left.
bool endsInSignature(const char *begin, const char *end)
{
    for (qint64 gap = 0; gap <= longestPadding && gap < end - begin; ++gap) {
        const qint64 size = end - begin - gap;
        if (size < 4 && std::memcmp(begin + gap, "LOBJ", std::size_t(size)) == 0)
            return true;
    }
    return false;
}

/// No object stands at @p begin.
Found strayBytes(const char *begin, const char *end, bool isLast)
{
    Found found{Found::What::Stray, begin, searchObject(begin, end), 0};
    if (found.next)
        return found;
    if (isLast) {
        found.next = end;
        if (endsInSignature(begin, end))
            found = {Found::What::CutShort, end, end, baseHeaderSize};
        else if (end - begin <= longestPadding || areZeros(begin, end))
            found.what = Found::What::End;
        return found;
    }
    // The beginning of an object may stand at the end.
    found.next = std::max(begin, end - (baseHeaderSize - 1));
    if (found.next == begin) {
        found.what = Found::What::Missing;
        found.missing = baseHeaderSize - (end - begin);
    }
    return found;
}

/// The end of a container that is not compressed, by what it says to hold; null when no object stands there.
const char *endOfStored(const char *object, const char *end)
{
    const qint64 size = containerHeaderSize + u32At(object, 24);
    return size <= end - object ? skipPadding(object + size, end) : nullptr;
}

/// The first object within the one at @p object from @p begin on, null when there is none. A container that is not
/// compressed is full of those that belong to it.
const char *searchWithin(const char *object, const char *begin, const char *end)
{
    constexpr quint16 stored = 0;
    const bool isStored = typeOf(object) == Container && end - object >= containerHeaderSize
                          && u16At(object, 4) == baseHeaderSize && u16At(object, baseHeaderSize) == stored;
    return isStored ? endOfStored(object, end) : searchObject(begin, end);
}

/// No object can have the size that the one at @p object says.
Found impossible(const char *object, const char *end, bool isLast, Place place)
{
    if (typeOf(object) != Container || sizeOf(object) < containerHeaderSize || place == Place::Container)
        return {Found::What::WrongSize, object, object + 4, 0};
    // Of a container that says nonsense of its size something may be read all the same.
    const qint64 available = end - object;
    if (const char *const other = searchWithin(object, object + std::min(available, containerHeaderSize), end))
        return {Found::What::WrongSize, object, other, 0};
    if (isLast)
        return {Found::What::CutShort, object, end, sizeOf(object) - available};
    if (available < keptSize(object, place))
        return {Found::What::Missing, object, object, available};
    return {Found::What::WrongSize, object, end - (baseHeaderSize - 1), 0};
}

/// The object at @p object ends behind @p end.
Found unfinished(const char *object, const char *end, bool isLast, Place place)
{
    const qint64 missing = sizeOf(object) - (end - object);
    const bool isTooLong = sizeOf(object) > keptSize(object, place);
    if (!isLast && !isTooLong)
        return {Found::What::Missing, object, object, missing};
    const char *const begin = object + std::min<qint64>(end - object, containerHeaderSize);
    if (const char *const other = searchWithin(object, begin, end))
        return {Found::What::WrongSize, object, other, 0};
    if (isLast)
        return {Found::What::CutShort, object, end, missing};
    if (end - object < containerHeaderSize)
        return {Found::What::Missing, object, object, containerHeaderSize - (end - object)};
    return {Found::What::TooLong, object, object + sizeOf(object), 0};
}

} // namespace

Found findObject(const char *begin, const char *end, bool isLast, Place place)
{
    const char *const object = skipPadding(begin, end);
    if (!object && !isLast && end - begin < longestPadding + 4)
        return {Found::What::Missing, begin, begin, baseHeaderSize};
    if (!object)
        return strayBytes(begin, end, isLast);
    if (end - object < baseHeaderSize)
        return {isLast ? Found::What::CutShort : Found::What::Missing, object, end, baseHeaderSize - (end - object)};
    if (!isPossibleSize(object))
        return impossible(object, end, isLast, place);
    if (end - object < sizeOf(object))
        return unfinished(object, end, isLast, place);

    const char *const next = object + sizeOf(object);
    const bool isKnown = isLast || end - next >= longestPadding + 4;
    if (isKnown && !skipPadding(next, end) && !(isLast && areZeros(next, end))) {
        const qint64 least = std::min<qint64>(sizeOf(object), containerHeaderSize);
        if (const char *const other = searchWithin(object, object + least, next))
            return {Found::What::WrongSize, object, other, 0};
    }
    return {Found::What::Object, object, next, 0};
}

} // namespace Blf
