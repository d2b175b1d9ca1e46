// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/convert/linewriter.h"

/// Writes the log-file form of SocketCAN's candump. It has no place for notes and directions.
class CandumpWriter : public LineWriter
{
public:
    using LineWriter::LineWriter;

    bool write(const CAN::CanRxMessage &message, const QString &note) override;

private:
    void addFrame(TextLine &line, const CAN::CanRxMessage &message);
};
