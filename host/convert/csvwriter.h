// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/convert/linewriter.h"

/// Writes comma-separated values in UTF-8 with a heading. Everything that a message says has its column. A note that a
/// spreadsheet would run as a formula gets an apostrophe before it.
class CsvWriter : public LineWriter
{
public:
    /// A @p raw file is for programs alone: formulas are left as they are.
    explicit CsvWriter(QIODevice &outputDevice, bool raw = false)
        : LineWriter(outputDevice)
        , isRaw(raw)
    {
    }

    bool begin() override;
    bool write(const CAN::CanRxMessage &message, const QString &note) override;

private:
    QByteArray cellText(const QString &note);

    bool isRaw;
};
