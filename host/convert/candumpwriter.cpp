// SPDX-License-Identifier: Apache-2.0
#include "host/convert/candumpwriter.h"

#include "host/store/framekind.h"
#include "host/store/timetext.h"

#include <algorithm>

// The log-file form of candump. A channel without a name is its number less one, as it is read: channel 1 is "can0",
// and so is what has no channel. What is known to be sent or received says so.
//
//   (1345212884.318850) can0 123#11223344           three digits: standard identifier
//   (1345212884.318850) can0 18FEF100#FF            eight digits: extended identifier
//   (1345212884.318850) vcan0 123#11 T              sent; R: received
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

/// What Linux may call an interface, so that it is one word in a line.
bool isInterfaceName(const QString &name)
{
    constexpr int longest = 15;
    return !name.isEmpty() && name.size() <= longest && std::all_of(name.begin(), name.end(), [](QChar c) {
        return c.unicode() > ' ' && c.unicode() < 0x7F && c != QLatin1Char('/') && c != QLatin1Char('#')
               && c != QLatin1Char('(');
    });
}

} // namespace

bool CandumpWriter::write(const CAN::CanRxMessage &message, const QString &note)
{
    if (!note.isEmpty())
        lose(Loss::Note);
    countImpossible(message);
    channels.numberOf(message);

    TextLine line;
    line.addCharacter('(');
    addTime(line, inMicroseconds(message.timeStamp));
    line.addText(") ");
    const QByteArray &interface = interfaceOf(message.channel);
    line.addLeft(interface.constData(), interface.size(), 0);
    line.addCharacter(' ');
    addFrame(line, message);
    if (message.isTx || isDirectionTold())
        line.addText(message.isTx ? " T" : " R");
    line.addCharacter('\n');
    return put(line);
}

bool CandumpWriter::finish()
{
    lose(Loss::Channel, channels.joined());
    return LineWriter::finish();
}

const QByteArray &CandumpWriter::interfaceOf(quint16 channel)
{
    const auto known = interfaces.constFind(channel);
    if (known != interfaces.constEnd())
        return *known;
    const QString name = nameOf(channel);
    const bool isUsable = isInterfaceName(name) && !interfaces.values().contains(name.toLatin1());
    if (!name.isEmpty() && !isUsable)
        lose(Loss::ChannelName);
    return *interfaces.insert(channel, isUsable ? name.toLatin1() : freeInterface(channel));
}

/// The interface of the number of @p channel, or of the next one whose name no other channel has. What has no channel
/// and channel 1 are one.
QByteArray CandumpWriter::freeInterface(quint16 channel)
{
    for (int number = std::max(int(channel) - 1, 0);; ++number) {
        QByteArray name = "can" + QByteArray::number(number);
        const QList<quint16> others = interfaces.keys(name);
        if (others.isEmpty() || (number == 0 && channel <= 1 && others.constFirst() <= 1))
            return name;
    }
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
