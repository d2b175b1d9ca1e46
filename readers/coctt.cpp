// SPDX-License-Identifier: Apache-2.0
#include "readers/coctt.h"

#include "common/text/mark.h"

#include <algorithm>

// Logs of the CANopen conformance test tool: the frames of a test among its own notices. White space counts as one
// blank wherever it stands.
//
//   0001 : 12:30:05.250 : Test CAN : 1 181 Rx DF 2 0A 0B
//   0002 : 12:30:05.251 : Test CAN : 1 181 Rx SR 0
//   0003 : 12:30:05.300 : Test Notice : heartbeat is late

namespace
{

constexpr Mark frameMark(u"Test CAN");
constexpr Mark notice(u"Test Notice");
constexpr Mark information(u"Test Info");
constexpr Mark error(u"Test Error");

} // namespace

bool CoCTTLine::read(QStringView line, CAN::CanRxMessage &message)
{
    parts.split(line, u" : ");
    const int marker = findMarker();
    if (marker == parts.count() - 1)
        return false;
    // The marker may have stood inside a longer part: then the frame is the first one.
    if (!readFrame(parts[marker + 1], message))
        return false;
    if (marker > 0) {
        bool hasTime = true;
        message.timeStamp = readTimeOfDay(simplified(parts[1], room), &hasTime);
        if (!hasTime)
            watch.doubt(parts[1]);
    }
    return true;
}

/// The part that is nothing but the marker, -1 when there is none.
int CoCTTLine::findMarker()
{
    constexpr QStringView marker(u"Test CAN");
    for (int i = 0; i < parts.count(); ++i) {
        if (parts[i].size() >= marker.size() && simplified(parts[i], room) == marker)
            return i;
    }
    return -1;
}

/// Number, identifier, direction, kind, length, data.
bool CoCTTLine::readFrame(QStringView part, CAN::CanRxMessage &message)
{
    fields.splitAtBlanks(part);
    bool hasId = false;
    bool hasLength = false;
    message.id = readUnsigned(fields[1], 16, &hasId);
    message.isTx = fields[2] == QStringView(u"Tx");
    message.isRemote = fields[3] == QStringView(u"SR");
    message.dlc = quint8(readUnsigned(fields[4], 10, &hasLength));
    return hasId && hasLength && (message.isRemote || readPayload(message));
}

/// As many bytes as the length says; the line must have them all, also those that a message has no room for.
bool CoCTTLine::readPayload(CAN::CanRxMessage &message)
{
    if (fields.count() < 5 + message.dlc)
        return false;
    const int count = std::min<int>(message.dlc, sizeof message.data);
    for (int i = 0; i < count; ++i)
        message.data[i] = watch.readByte(fields[5 + i], 16);
    return true;
}

ToldFields CoCTTReader::toldFields() const
{
    ToldFields told;
    told.direction = true;
    return told;
}

LogInfo CoCTTReader::info() const
{
    LogInfo info;
    info.timeBase = LogInfo::TimeBase::Midnight;
    return info;
}

bool CoCTTReader::read(CAN::CanRxMessage &message)
{
    for (; nextLine(); message = emptyMessage) {
        const QStringView text = simplified(line(), room);
        if (frameMark.isIn(text)) {
            if (grammar.read(text, message))
                return true;
            failAtLine(text);
            return false;
        }
        if ((notice.isIn(text) || information.isIn(text) || error.isIn(text)) && CoCTTLine::isNotice(text))
            joinNote(text);
    }
    return false;
}
