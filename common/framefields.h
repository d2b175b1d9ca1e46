// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/importwatch.h"
#include "common/text/fields.h"

#include <QString>

#include <algorithm>

// How the fields of a frame are read in several line formats.

/// Whether @p character is in a short @p field: a search by Qt costs a call at the least.
inline bool holds(QStringView field, QChar character)
{
    return std::find(field.begin(), field.end(), character) != field.end();
}

/// @p field without any @p open and @p close, wherever they stand: "[8]" is "8". @p scratch holds the text when it is
/// not one piece of @p field.
inline QStringView without(QStringView field, QChar open, QChar close, QString &scratch)
{
    while (field.startsWith(open) || field.startsWith(close))
        field = field.mid(1);
    while (field.endsWith(open) || field.endsWith(close))
        field.chop(1);
    ushort more = 0;
    for (const QChar c : field)
        more |= ushort(c == open || c == close);
    if (!more)
        return field;
    scratch = field.toString();
    scratch.remove(open);
    scratch.remove(close);
    return scratch;
}

inline QStringView without(QStringView field, QChar character, QString &scratch)
{
    return without(field, character, character, scratch);
}

/**
 * The length where some lines have one more column before it: @p column when that is a decimal number, otherwise the
 * next one, in base @p nextBase. Returns the column that was taken for the length.
 *
 * The length is kept as it is written, even above the 64 bytes that a message holds.
 */
inline int readLength(const Fields &fields, int column, CAN::CanRxMessage &message, ImportWatch &watch,
                      int nextBase = 10)
{
    bool ok = false;
    message.dlc = readByte(fields[column], 10, &ok);
    if (ok)
        return column;
    message.dlc = watch.readByte(fields[column + 1], nextBase);
    return column + 1;
}

/// The bytes from column @p first on, one a column: @p count, as far as the line and a message have room for them.
inline void readDataBytes(const Fields &fields, int first, int count, int base, CAN::CanRxMessage &message)
{
    count = std::min({count, fields.count() - first, int(sizeof message.data)});
    for (int i = base == 16 ? fields.readPairsByEights(first, count, message.data) : 0; i < count; ++i)
        message.data[i] = readByte(fields[first + i], base);
}

/// The payload from column @p first on.
inline void readPayload(const Fields &fields, int first, int base, CAN::CanRxMessage &message, ImportWatch &watch)
{
    const int present = std::max(fields.count() - first, 0);
    const int count = std::min({int(message.dlc), present, int(sizeof message.data)});
    for (int i = base == 16 ? fields.readPairsByEights(first, count, message.data) : 0; i < count; ++i)
        message.data[i] = watch.readByte(fields[first + i], base);
    if (present < message.dlc)
        watch.doubt({}, ImportWatch::Reason::MissingBytes);
}

/// The payload of a line whose columns from @p first to the last are all read as bytes, whatever the length says. What
/// comes after the payload may be anything.
inline void readPayloadAndMore(const Fields &fields, int first, int base, CAN::CanRxMessage &message,
                               ImportWatch &watch)
{
    readPayload(fields, first, base, message, watch);
    for (int i = message.dlc; i < std::min(fields.count() - first, int(sizeof message.data)); ++i)
        message.data[i] = readByte(fields[first + i], base);
}
