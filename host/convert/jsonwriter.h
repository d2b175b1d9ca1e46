// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/convert/linewriter.h"

/// Writes one JSON object a line. It holds everything that a message says.
class JsonWriter : public LineWriter
{
public:
    using LineWriter::LineWriter;

    bool write(const CAN::CanRxMessage &message, const QString &note) override;
};
