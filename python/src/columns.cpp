// SPDX-License-Identifier: Apache-2.0
#include "python/src/columns.h"

#include "common/framelengths.h"
#include "host/store/framekind.h"

#include <QString>

#include <array>
#include <cstring>

namespace
{

constexpr std::size_t maxNoteBytes = std::size_t(1) << 28; // of a batch, which ends early then

/// The length code of each possible length; -1 where no frame has that length.
constexpr std::array<std::int8_t, 256> codesOfLengths()
{
    std::array<std::int8_t, 256> codes{};
    for (auto &code : codes)
        code = -1;
    for (std::size_t code = 0; code < CAN::lengthOfCode.size(); ++code)
        codes[CAN::lengthOfCode[code]] = std::int8_t(code);
    return codes;
}
constexpr std::array<std::int8_t, 256> codeOfLength = codesOfLengths();

} // namespace

Columns::Columns(std::size_t mostRows)
    : timeUs(mostRows)
    , channel(mostRows)
    , id(mostRows)
    , isExtended(mostRows)
    , isRemote(mostRows)
    , isError(mostRows)
    , isFd(mostRows)
    , isTx(mostRows)
    , isBrs(mostRows)
    , isEsi(mostRows)
    , dlc(mostRows)
    , length(mostRows)
    , index(mostRows)
    , line(mostRows)
    , hasChannel(mostRows)
    , hasId(mostRows)
    , hasTx(mostRows)
    , hasBrs(mostRows)
    , hasEsi(mostRows)
    , hasDlc(mostRows)
    , hasLine(mostRows)
    , hasNote(mostRows)
{
    data.offsets.resize(mostRows + 1);
    data.offsets[0] = 0;
    data.bytes.resize(mostRows * 8 + sizeof(CAN::CanRxMessage::data));
    notes.offsets.resize(mostRows + 1);
    notes.offsets[0] = 0;
    notes.bytes.resize(1); // so that it is there, too, when nothing is in it
}

bool Columns::isFull() const
{
    return count == timeUs.size() || notesEnd > maxNoteBytes;
}

void Columns::append(const PulledFrame &frame, const QString &note)
{
    const CAN::CanRxMessage &message = frame.message;
    const ToldFields &told = frame.told;
    const std::size_t row = count;
    const bool error = message.id == CAN::errorFrameId;

    timeUs[row] = inMicroseconds(message.timeStamp);
    // What is set was told, whatever the reader says of its format.
    const bool toldChannel = told.channel || message.channel != 0;
    hasChannel[row] = toldChannel;
    noChannel += !toldChannel;
    channel[row] = message.channel;
    // Some old readers give the number that stands there, even where it has more bits than any identifier.
    const bool isId = message.id <= CAN::maxExtendedId;
    hasId[row] = isId;
    noId += !isId;
    id[row] = isId ? std::int32_t(message.id) : 0;
    isExtended[row] = !error && hasExtendedId(message);
    isRemote[row] = message.isRemote;
    isError[row] = error;
    isFd[row] = message.isFd || kindOf(message) == FrameKind::Fd;
    const bool toldTx = told.direction || message.isTx;
    hasTx[row] = toldTx;
    noTx += !toldTx;
    isTx[row] = message.isTx;
    const bool toldBrs = told.bitRateSwitch || message.isBrs;
    hasBrs[row] = toldBrs;
    noBrs += !toldBrs;
    isBrs[row] = message.isBrs;
    const bool toldEsi = told.errorStateFlag || message.isEsi;
    hasEsi[row] = toldEsi;
    noEsi += !toldEsi;
    isEsi[row] = message.isEsi;
    const std::int8_t code = codeOfLength[message.dlc];
    hasDlc[row] = code >= 0;
    noDlc += code < 0;
    dlc[row] = std::int8_t(code < 0 ? 0 : code);
    length[row] = message.dlc;
    index[row] = frame.index;
    hasLine[row] = frame.line > 0;
    noLine += frame.line <= 0;
    line[row] = frame.line;
    appendPayload(message);
    appendNote(note);
    ++count;
}

/// Copies more than the payload, which is quicker; the next one is written over it.
void Columns::appendPayload(const CAN::CanRxMessage &message)
{
    const std::size_t size = std::size_t(payloadLength(message));
    data.reserve(dataEnd, sizeof message.data);
    if (size <= 8)
        std::memcpy(data.bytes.data() + dataEnd, message.data, 8);
    else
        std::memcpy(data.bytes.data() + dataEnd, message.data, sizeof message.data);
    dataEnd += size;
    data.offsets[count + 1] = std::int32_t(dataEnd);
}

void Columns::appendNote(const QString &note)
{
    const bool isThere = !note.isEmpty();
    hasNote[count] = isThere;
    noNote += !isThere;
    if (isThere) {
        const QByteArray text = note.toUtf8();
        notes.reserve(notesEnd, std::size_t(text.size()));
        std::memcpy(notes.bytes.data() + notesEnd, text.constData(), std::size_t(text.size()));
        notesEnd += std::size_t(text.size());
    }
    notes.offsets[count + 1] = std::int32_t(notesEnd);
}

void Columns::finish(std::optional<std::int64_t> timeOffset)
{
    hasTime = timeOffset.has_value();
    if (timeOffset.value_or(0) == 0)
        return;
    shiftedTime.emplace(count);
    for (std::size_t row = 0; row < count; ++row)
        (*shiftedTime)[row] = timeUs[row] + *timeOffset;
}

const std::int64_t *Columns::time() const
{
    return shiftedTime ? shiftedTime->data() : timeUs.data();
}
