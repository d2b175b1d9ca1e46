// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/convert/framewriter.h"
#include "host/convert/linewriter.h"

#include <QByteArray>
#include <QDateTime>

class QIODevice;

/// Writes a binary logging file (BLF): objects in containers of 128 KiB, which zlib compressed. Notes are comments
/// behind their frames.
class BlfWriter : public FrameWriter
{
public:
    /// @p device is open for writing and outlives the writer. When it is sequential the header tells no sizes, which
    /// are known at the end only: so is a file whose recording broke off, and programs read that.
    explicit BlfWriter(QIODevice &device);

    bool write(const CAN::CanRxMessage &message, const QString &note) override;
    bool finish() override;

private:
    void addObject(quint32 type, const QByteArray &payload);
    void addClassicFrame(const CAN::CanRxMessage &message, quint16 channel);
    void addFdFrame(const CAN::CanRxMessage &message, quint16 channel);
    void addErrorFrame(const CAN::CanRxMessage &message, quint16 channel);
    void addComment(const QString &note);
    bool writeContainers(bool isEnd);
    bool writeContainer(const char *content, int size);
    bool put(const QByteArray &bytes);
    QByteArray header(bool isComplete) const;

    QIODevice &device;
    QByteArray content; ///< of the containers that are not written yet
    ChannelsFromOne channels;
    bool hasBegun = false;
    qint64 start = 0;                                                 ///< in microseconds
    QDateTime startDate = QDateTime::fromMSecsSinceEpoch(0, Qt::UTC); ///< the same, as the header has it
    qint64 last = 0; ///< time of the last message, since 1970 or what the log counts from
    qint64 time = 0; ///< of the message at hand, in nanoseconds since the start
    quint32 objectCount = 0;
    quint64 fileSize = 0;
    quint64 contentSize = 0; ///< as the header counts it
};
