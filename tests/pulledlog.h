// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/datachunkhelper.h"
#include "readers/formats.h"
#include "readers/framereader.h"

#include <QBuffer>
#include <QByteArray>
#include <QString>
#include <QVector>

/*
 * A whole log, pulled frame by frame out of a text that stands in a test.
 */

/// One frame with what the log says beside it, and where it stands.
struct Pulled {
    CAN::CanRxMessage frame;
    QString note;
    ToldFields told;
    qint64 line = 0;
};

struct PulledLog {
    QVector<Pulled> frames;
    ImportReport report;
    LogInfo info;
    bool ok = false; ///< read to its end
    QString error;
};

/// Reads @p text to its end. What it says after its last frame belongs to that one; without frames it has no place.
inline PulledLog pullLog(DatachunkHelper::ImportFileType type, const QByteArray &text)
{
    PulledLog log;
    const std::unique_ptr<FrameReader> reader = makeReader(type);
    if (!reader) {
        log.error = QStringLiteral("type %1 has no reader").arg(int(type));
        return log;
    }
    QBuffer device;
    device.setData(text);
    device.open(QIODevice::ReadOnly);
    if (reader->open(device, QStringLiteral("sample"))) {
        while (reader->next())
            log.frames.append({reader->frame(), reader->takeNote(), reader->toldFields(), reader->lineNumber()});
        const QString rest = reader->takeNote();
        if (!rest.isEmpty() && !log.frames.isEmpty()) {
            QString &note = log.frames.last().note;
            note += (note.isEmpty() ? QString() : QStringLiteral("\n")) + rest;
        }
    }
    log.report = reader->report();
    log.info = reader->info();
    log.ok = reader->atEnd();
    log.error = reader->errorString();
    return log;
}
