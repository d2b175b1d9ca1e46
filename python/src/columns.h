// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"
#include "readers/framereader.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>

class QString;

/// Memory for values of fixed width that is not cleared first: whoever writes it writes all of it.
template <typename Value>
class Buffer
{
public:
    Buffer() = default;
    explicit Buffer(std::size_t size) { resize(size); }

    /// Keeps what is there.
    void resize(std::size_t size)
    {
        void *grown = std::realloc(memory.get(), (size ? size : 1) * sizeof(Value));
        if (!grown)
            throw std::bad_alloc();
        (void)memory.release();
        memory.reset(static_cast<Value *>(grown));
        room = size;
    }
    std::size_t size() const { return room; }
    Value *data() { return memory.get(); }
    const Value *data() const { return memory.get(); }
    Value &operator[](std::size_t i) { return memory.get()[i]; }
    const Value &operator[](std::size_t i) const { return memory.get()[i]; }

private:
    struct Free {
        void operator()(Value *values) const { std::free(values); }
    };

    std::unique_ptr<Value[], Free> memory;
    std::size_t room = 0;
};

/// Texts or payloads, one behind the other, with the places where they begin.
struct Strings {
    Buffer<std::int32_t> offsets; ///< one more than there are rows
    Buffer<std::uint8_t> bytes;

    /// Room for @p count more bytes behind @p used, the offset of the end.
    void reserve(std::size_t used, std::size_t count)
    {
        if (used + count > bytes.size())
            bytes.resize(used + count + bytes.size() / 2);
    }
};

/// A frame as it was pulled, with all that its log says of it.
struct PulledFrame {
    CAN::CanRxMessage message;
    ToldFields told;
    std::int64_t index = 0;
    std::int64_t line = 0; ///< 0: none
};

/**
 * A batch of rows, column by column. Truth values and the marks of what is null take a byte each, as numpy has them;
 * Arrow gets them as bits when it asks.
 */
class Columns
{
public:
    explicit Columns(std::size_t mostRows);

    /// What a null value looks like to those who look nevertheless: zero.
    void append(const PulledFrame &frame, const QString &note);
    /// @p timeOffset is what turns time_us into microseconds since 1970; none: not known.
    void finish(std::optional<std::int64_t> timeOffset);

    std::size_t rows() const { return count; }
    bool isFull() const;

    /// The calendar times, null when they are not known. Shares the memory of timeUs where it can.
    const std::int64_t *time() const;

    Buffer<std::int64_t> timeUs;
    Buffer<std::int32_t> channel;
    Buffer<std::int32_t> id;
    Buffer<bool> isExtended, isRemote, isError, isFd, isTx, isBrs, isEsi;
    Buffer<std::int8_t> dlc;
    Buffer<std::int16_t> length;
    Strings data;
    Buffer<std::int64_t> index;
    Buffer<std::int64_t> line;
    Strings notes;

    // Which values are there, and how many are not.
    Buffer<bool> hasChannel, hasId, hasTx, hasBrs, hasEsi, hasDlc, hasLine, hasNote;
    std::size_t noChannel = 0, noId = 0, noTx = 0, noBrs = 0, noEsi = 0, noDlc = 0, noLine = 0, noNote = 0;
    bool hasTime = false;

private:
    void appendPayload(const CAN::CanRxMessage &message);
    void appendNote(const QString &note);

    std::size_t count = 0;
    std::size_t dataEnd = 0;
    std::size_t notesEnd = 0;
    std::optional<Buffer<std::int64_t>> shiftedTime;
};

/// The time of a frame in microseconds, as the log counts them.
inline std::int64_t inMicroseconds(const CanTimeStamp &time)
{
    return std::int64_t(time.seconds) * 1000000 + time.microseconds;
}
