// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtEndian>
#include <QtGlobal>

/*
 * The objects that a binary logging file (BLF) is made of, and how they are found among bytes. Private to the library.
 *
 *   0  "LOBJ"   4  u16 size of the headers   6  u16 version of the second header
 *   8  u32 size of the object, without what pads it   12  u32 type
 *
 * All numbers have their lowest byte first and stand anywhere.
 */
namespace Blf
{

/// The types that something is made of; every other one is passed over.
enum ObjectType : quint32 {
    CanMessage = 1,
    CanError = 2,
    CanOverload = 3,
    CanStatistic = 4,
    Container = 10,
    AppText = 65,
    CanErrorExt = 73,
    CanMessage2 = 86,
    OverrunError = 91,
    EventComment = 92,
    GlobalMarker = 96,
    CanFdMessage = 100,
    CanFdMessage64 = 101,
    CanFdError64 = 104,
    RestorePoints = 115,
    DataLostBegin = 125,
    DataLostEnd = 126,
};

constexpr qint64 baseHeaderSize = 16;
constexpr qint64 containerHeaderSize = 32; ///< with what tells how it is compressed
constexpr qint64 mib = 1024 * 1024;
/// What a container may inflate to. Those of loggers hold 128 KiB.
constexpr qint64 maxContentSize = 8 * mib;
/// The longest object, other than a container, that is kept in memory. Those with frames are much shorter.
constexpr qint64 maxKeptSize = 16000;

inline quint8 byteAt(const char *bytes, qint64 offset)
{
    return quint8(bytes[offset]);
}
inline quint16 u16At(const char *bytes, qint64 offset)
{
    return qFromLittleEndian<quint16>(bytes + offset);
}
inline quint32 u32At(const char *bytes, qint64 offset)
{
    return qFromLittleEndian<quint32>(bytes + offset);
}
inline quint64 u64At(const char *bytes, qint64 offset)
{
    return qFromLittleEndian<quint64>(bytes + offset);
}

inline bool isSignature(const char *bytes)
{
    constexpr quint32 signature = 0x4A424F4C; // LOBJ
    return u32At(bytes, 0) == signature;
}
inline quint32 typeOf(const char *object)
{
    return u32At(object, 12);
}
inline qint64 sizeOf(const char *object)
{
    return u32At(object, 8);
}

/// What stands at the beginning of some bytes.
struct Found {
    enum class What {
        Object,    ///< from object to next
        TooLong,   ///< an object of which only the beginning is kept: next lies behind the bytes
        WrongSize, ///< an object whose size is none: the next one begins at next
        CutShort,  ///< an object that the bytes end in, `missing` bytes too early
        Stray,     ///< up to next no object
        Missing,   ///< needs at least `missing` bytes more to tell
        End,       ///< there is nothing more
    };
    What what = What::End;
    const char *object = nullptr;
    const char *next = nullptr;
    qint64 missing = 0;
};

/// Where objects are looked for: containers stand in the file only.
enum class Place { File, Container };

/**
 * Looks at the bytes from @p begin to @p end; @p isLast: no others follow them. Up to three bytes before an object pad
 * the one before, whatever rule their number follows, and so do zeros before the end.
 *
 * A size is believed when another object or the end follows it. Otherwise, and when no object can be of that size, the
 * object ends where the next one begins: so a damaged size costs one object only. Nothing is searched within an object
 * that is followed by another one, since data bytes may look like one.
 */
Found findObject(const char *begin, const char *end, bool isLast, Place place);

} // namespace Blf
