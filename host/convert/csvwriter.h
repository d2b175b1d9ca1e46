#pragma once

#include "host/convert/linewriter.h"

/// Writes comma-separated values in UTF-8 with a heading. Everything that a message says has its column.
class CsvWriter : public LineWriter
{
public:
    using LineWriter::LineWriter;

    bool begin() override;
    bool write(const CAN::CanRxMessage &message, const QString &note) override;
};
