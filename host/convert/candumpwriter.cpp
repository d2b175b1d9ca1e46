// SPDX-License-Identifier: Apache-2.0
#include "host/convert/candumpwriter.h"

#include "host/store/framekind.h"

// The log-file form of candump. Channel 1 is "can0", as it is read, and so is what has no channel:
//
//   (1345212884.318850) can0 123#11223344           three digits: standard identifier
//   (1345212884.318850) can0 18FEF100#FF            eight digits: extended identifier
//   (1345212884.318850) can0 123#R8                 remote frame, with its length when that is not 0
//   (1345212884.318850) can1 124##1112233           CAN FD frame; the digit holds its flags
//   (1345212884.318850) can0 20000080#0000000000000000

namespace
{

constexpr char errorFrame[] = "20000080#"; // the flag of an error frame and the class of a bus error
constexpr int errorDataLength = 8;         // always, its bytes saying more about the error
constexpr int highestRemoteLength = 8;
constexpr quint8 bitRateSwitch = 1;
constexpr quint8 errorState = 2;

} // namespace

bool CandumpWriter::write(const CAN::CanRxMessage &message, const QString &note)
{
    if (!note.isEmpty())
        lose(Loss::Note);
    if (message.isTx)
        lose(Loss::Direction);
    countImpossible(message);

    TextLine line;
    line.addCharacter('(');
    addTime(line, message.timeStamp);
    line.addText(") can");
    line.addNumber(message.channel > 0 ? message.channel - 1U : 0U);
    line.addCharacter(' ');
    addFrame(line, message);
    line.addCharacter('\n');
    return put(line);
}

void CandumpWriter::addFrame(TextLine &line, const CAN::CanRxMessage &message)
{
    const FrameKind kind = kindOf(message);
    if (kind == FrameKind::Error) {
        const int length = std::min(payloadLength(message), errorDataLength);
        if (length < payloadLength(message))
            lose(Loss::Payload);
        line.addText(errorFrame);
        line.addBytes(message.data, length, false);
        for (int i = length; i < errorDataLength; ++i)
            line.addByte(0); // what stands behind a payload is not known to be data
        return;
    }
    line.addHex(message.id, hasExtendedId(message) ? 8 : 3);
    line.addCharacter('#');
    if (kind == FrameKind::Remote) {
        line.addCharacter('R');
        if (message.dlc > highestRemoteLength)
            lose(Loss::Length);
        else if (message.dlc > 0)
            line.addNumber(message.dlc);
        return;
    }
    if (kind == FrameKind::Fd) {
        line.addCharacter('#');
        line.addNumber((message.isBrs ? bitRateSwitch : 0U) | (message.isEsi ? errorState : 0U));
    }
    if (message.dlc > sizeof message.data)
        lose(Loss::Length);
    line.addBytes(message.data, payloadLength(message), false);
}
