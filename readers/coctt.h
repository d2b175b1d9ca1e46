// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/text/fields.h"
#include "readers/listreader.h"

/// The grammar of a frame line of the CANopen conformance test tool, with room that serves all lines.
class CoCTTLine
{
public:
    explicit CoCTTLine(ImportWatch &importWatch)
        : watch(importWatch)
    {
    }

    /// Reads one line into @p message, which must be empty. False when it is malformed.
    bool read(QStringView line, CAN::CanRxMessage &message);
    /// Whether a line that is no frame is worth a note.
    static bool isNotice(QStringView line) { return line.contains(QLatin1Char(':')); }

private:
    int findMarker();
    bool readFrame(QStringView part, CAN::CanRxMessage &message);
    bool readPayload(CAN::CanRxMessage &message);

    ImportWatch &watch;
    Fields parts;
    Fields fields;
    QString room;
};

/// Reads logs of that tool; notices, information and errors of the test become notes.
class CoCTTReader : public ListReader
{
public:
    CoCTTReader()
        : ListReader("CoCTTImporter")
    {
    }

    CoCTTLine grammar{watch};

    ToldFields toldFields() const override;
    LogInfo info() const override;

protected:
    bool read(CAN::CanRxMessage &message) override;

private:
    QString room;
};
