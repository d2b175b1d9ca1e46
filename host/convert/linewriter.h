// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/convert/framewriter.h"
#include "host/convert/textline.h"

#include <QByteArray>

class QIODevice;

/// What the writers of text have in common: lines are gathered and written in blocks.
class LineWriter : public FrameWriter
{
public:
    /// @p device is open for writing and outlives the writer.
    explicit LineWriter(QIODevice &device);

    bool finish() override;

protected:
    bool put(const char *text);
    bool put(const QByteArray &text);
    bool put(const TextLine &line);

    /// Adds @p time in seconds, right-aligned in @p width characters. A negative one, for which the formats of other
    /// tools have no place, becomes 0 and is counted.
    void addTime(TextLine &line, qint64 microseconds, int width = 0);
    /// The same rule for a time that is written in another way.
    quint64 notNegative(qint64 microseconds);
    /// @p note in one line without control characters, well-formed, for a comment.
    QString commentText(const QString &note);

private:
    bool flushIfLarge();
    bool flush();

    QIODevice &device;
    QByteArray buffer;
};

/// The channel for a format that counts them from 1. Channel 0 stands for none in most logs and becomes 1; where a log
/// has other channels as well, that may have joined two buses, so those frames are counted.
class ChannelsFromOne
{
public:
    quint16 numberOf(const CAN::CanRxMessage &message)
    {
        ++(message.channel == 0 ? zeros : others);
        if (message.channel > 255)
            ++highNumbers;
        return std::max(message.channel, quint16(1));
    }
    quint64 joined() const { return others > 0 ? zeros : 0; }
    /// How many frames have a number that does not fit into a byte, where tools keep it.
    quint64 high() const { return highNumbers; }

private:
    quint64 zeros = 0;
    quint64 others = 0;
    quint64 highNumbers = 0;
};
