// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QtEndian>

#include <zlib.h>

#include <initializer_list>

/*
 * Binary logging files, put together byte by byte: objects, the containers that they are packed in, and the header.
 */

namespace BlfFile
{

template <typename Number>
QByteArray number(Number value)
{
    QByteArray bytes(int(sizeof value), Qt::Uninitialized);
    qToLittleEndian(value, bytes.data());
    return bytes;
}

/// Bytes as hexadecimal text; "56*00" are 56 times the byte 00.
inline QByteArray bytes(const QByteArray &text)
{
    QByteArray result;
    const QList<QByteArray> words = text.simplified().split(' ');
    for (const QByteArray &word : words) {
        const int star = word.indexOf('*');
        result += star < 0 ? QByteArray::fromHex(word)
                           : QByteArray::fromHex(word.mid(star + 1)).repeated(word.left(star).toInt());
    }
    return result;
}

/// An object with the headers of version 1, a time in nanoseconds, and what pads it: its size modulo 4.
inline QByteArray object(quint32 type, const QByteArray &payload, qint64 time = 0)
{
    const quint32 size = quint32(32 + payload.size());
    const QByteArray body = "LOBJ" + number<quint16>(32) + number<quint16>(1) + number(size) + number(type)
                            + number<quint32>(2) + number<quint32>(0) + number(time) + payload;
    return body + QByteArray(int(size % 4), '\0');
}

/// A classic frame of eight bytes: all that it says is its identifier, its channel, 1, and its data.
inline QByteArray frame(quint32 id, qint64 time = 0, const QByteArray &data = QByteArray(8, '\x11'))
{
    return object(1, number<quint16>(1) + '\0' + char(data.size()) + number(id) + data.leftJustified(8, '\0'), time);
}

/// What zlib makes of @p content, with its header.
inline QByteArray compressed(const QByteArray &content, int level = 6)
{
    QByteArray result(int(compressBound(uLong(content.size()))), Qt::Uninitialized);
    auto size = uLongf(result.size());
    compress2(reinterpret_cast<Bytef *>(result.data()), &size, reinterpret_cast<const Bytef *>(content.constData()),
              uLong(content.size()), level);
    return result.left(int(size));
}

/// A container of these @p data, which inflate to @p size bytes, as it says.
inline QByteArray container(quint16 method, const QByteArray &data, quint32 size)
{
    const auto whole = quint32(32 + data.size());
    return "LOBJ" + number<quint16>(16) + number<quint16>(1) + number(whole) + number<quint32>(10) + number(method)
           + QByteArray(6, '\0') + number(size) + QByteArray(4, '\0') + data + QByteArray(int(whole % 4), '\0');
}
inline QByteArray container(const QByteArray &content)
{
    return container(2, compressed(content), quint32(content.size()));
}
inline QByteArray stored(const QByteArray &content)
{
    return container(0, content, quint32(content.size()));
}
/// As many containers as @p content needs with @p size bytes in each.
inline QByteArray containers(const QByteArray &content, int size)
{
    QByteArray result;
    for (int at = 0; at < content.size(); at += size)
        result += container(content.mid(at, size));
    return result;
}

inline QByteArray systemTime(const QDateTime &time)
{
    if (!time.isValid())
        return QByteArray(16, '\0');
    QByteArray result;
    const QDate date = time.date();
    const QTime clock = time.time();
    for (const int part : {date.year(), date.month(), date.dayOfWeek() % 7, date.day(), clock.hour(), clock.minute(),
                           clock.second(), clock.msec()})
        result += number(quint16(part));
    return result;
}

inline QDateTime usualStart()
{
    return {QDate(2024, 2, 29), QTime(12, 0, 0, 500)};
}

/// A file whose recording did not end well, or whose header does not say: sizes and counts are 0.
inline QByteArray file(const QByteArray &objects, const QByteArray &start = systemTime(usualStart()),
                       quint32 headerSize = 144, quint32 objectCount = 0)
{
    QByteArray header = "LOGG" + number(headerSize) + number<quint32>(4070100) + QByteArray(20, '\0')
                        + number(objectCount) + QByteArray(4, '\0') + start;
    return header.leftJustified(int(headerSize), '\0') + objects;
}

} // namespace BlfFile
