// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/convert/linewriter.h"

/// Writes an ASC log as Vector's tools do. Notes are comments before their frames.
class AscWriter : public LineWriter
{
public:
    using LineWriter::LineWriter;

    bool begin() override;
    bool write(const CAN::CanRxMessage &message, const QString &note) override;
    bool finish() override;

private:
    bool putNote(const QString &note);
    void addClassicFrame(TextLine &line, const CAN::CanRxMessage &message);
    void addFdFrame(TextLine &line, const CAN::CanRxMessage &message);

    ChannelsFromOne channels;
};
