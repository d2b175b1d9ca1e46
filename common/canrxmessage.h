// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QMetaType>
#include <QTime>

#include <cstring>
#include <type_traits>

/**
 * Time of a message: whole seconds and microseconds, counted from where the log counts: its own start, midnight, or
 * the beginning of 1970.
 *
 * The microseconds are 0 to 999999 in a well-formed log. A log whose fraction has more than six digits yields a
 * larger value, which is kept as it was read; times are compared field by field.
 */
struct CanTimeStamp {
    qint32 seconds = 0;      ///< whole seconds
    qint32 microseconds = 0; ///< and what comes behind the point

    constexpr CanTimeStamp() = default;
    /// @p fraction in microseconds.
    constexpr CanTimeStamp(qint32 wholeSeconds, qint32 fraction)
        : seconds(wholeSeconds)
        , microseconds(fraction)
    {
    }
    /// Time of day as time since midnight, in milliseconds; an invalid @p time gives 0.
    explicit CanTimeStamp(const QTime &time)
        : seconds(time.msecsSinceStartOfDay() / 1000)
        , microseconds(time.msecsSinceStartOfDay() % 1000 * 1000)
    {
    }

    /// Whether both fields are equal.
    friend constexpr bool operator==(const CanTimeStamp &a, const CanTimeStamp &b)
    {
        return a.seconds == b.seconds && a.microseconds == b.microseconds;
    }
    /// Whether a field differs.
    friend constexpr bool operator!=(const CanTimeStamp &a, const CanTimeStamp &b) { return !(a == b); }
};

namespace CAN
{

inline constexpr quint32 maxStandardId = 0x7FF; ///< the highest identifier of 11 bits
/// The identifier that marks an error frame, where a loader reads those (Wireshark, Norvik). It is above 29 bits, so no
/// frame has it.
inline constexpr quint32 errorFrameId = 0xFFFF00EF;

/**
 * One recorded CAN frame: a plain value of fixed layout, copied freely. All fields are zero or false at first.
 *
 * `dlc` is the length as the log states it and may be above the 64 bytes that `data` holds: never read `data` by
 * `dlc` without that limit. Behind the payload `data` may hold more of the line. What the format does not tell keeps
 * its first value: docs/formats.md says which format tells what.
 */
struct CanRxMessage {
    CanTimeStamp timeStamp;   ///< when the frame was seen
    quint32 id = 0;           ///< identifier, 11 or 29 bits; more only where the log has it so, and errorFrameId
    quint8 dlc = 0;           ///< payload length in bytes; the length code where a PCAN trace 2.x has that
    quint8 data[64] = {};     ///< payload, first byte first
    bool isRemote = false;    ///< remote frame
    bool isExtended = false;  ///< 29-bit identifier
    bool isFd = false;        ///< CAN FD frame
    bool isEsi = false;       ///< error state indicator of a CAN FD frame
    bool isBrs = false;       ///< bit-rate switch of a CAN FD frame
    bool isTx = false;        ///< sent by the logging node; false: received
    quint32 messageIndex = 0; ///< number of the message within its import, from 0; Wireshark's own packet number
    quint16 channel = 0;      ///< bus channel, 0 where the log has none

    /// Whether all fields are equal, those of `data` behind the payload included.
    friend bool operator==(const CanRxMessage &a, const CanRxMessage &b)
    {
        return a.timeStamp == b.timeStamp && a.id == b.id && a.dlc == b.dlc
               && std::memcmp(a.data, b.data, sizeof a.data) == 0 && a.isRemote == b.isRemote
               && a.isExtended == b.isExtended && a.isFd == b.isFd && a.isEsi == b.isEsi && a.isBrs == b.isBrs
               && a.isTx == b.isTx && a.messageIndex == b.messageIndex && a.channel == b.channel;
    }
    /// Whether a field differs.
    friend bool operator!=(const CanRxMessage &a, const CanRxMessage &b) { return !(a == b); }
};

static_assert(std::is_trivially_copyable_v<CanRxMessage>, "records are copied as plain memory");

} // namespace CAN

Q_DECLARE_METATYPE(CAN::CanRxMessage)
