// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/convert/linewriter.h"

#include <QSet>

/// Writes an ASC log as Vector's tools do. Notes are comments behind their frames. Times count from the start
/// of the log, which the head has.
class AscWriter : public LineWriter
{
public:
    using LineWriter::LineWriter;

    bool write(const CAN::CanRxMessage &message, const QString &note) override;
    bool finish() override;

private:
    bool putHeader(const CanTimeStamp &firstTime);
    bool putNote(const QString &note);
    bool putName(quint16 channel);
    void addClassicFrame(TextLine &line, const CAN::CanRxMessage &message);
    void addFdFrame(TextLine &line, const CAN::CanRxMessage &message);

    bool hasHeader = false;
    qint64 offset = 0;   ///< what is taken off the times, in microseconds
    QSet<quint16> named; ///< channels whose name was written
    ChannelsFromOne channels;
};
