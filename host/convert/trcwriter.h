// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/convert/linewriter.h"

/// Writes a PCAN trace of version 2.1. Notes are comments behind their frames. It has no place for the names of
/// channels.
class TrcWriter : public LineWriter
{
public:
    using LineWriter::LineWriter;

    bool write(const CAN::CanRxMessage &message, const QString &note) override;
    bool finish() override;

private:
    bool putHeader(const CanTimeStamp &firstTime);

    bool hasHeader = false;
    qint64 start = 0; ///< what the offsets count from, in microseconds
    quint64 number = 0;
    ChannelsFromOne channels;
};
