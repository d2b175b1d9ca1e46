// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/convert/linewriter.h"

/// Writes the log-file form of SocketCAN's candump, with the directions and the names of the interfaces where the log
/// tells them. It has no place for notes.
class CandumpWriter : public LineWriter
{
public:
    using LineWriter::LineWriter;

    bool write(const CAN::CanRxMessage &message, const QString &note) override;
    bool finish() override;

private:
    const QByteArray &interfaceOf(quint16 channel);
    QByteArray freeInterface(quint16 channel);
    void addFrame(TextLine &line, const CAN::CanRxMessage &message);

    ChannelsFromOne channels;
    QHash<quint16, QByteArray> interfaces; ///< of the channels seen so far
};
