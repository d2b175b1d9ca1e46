#pragma once

#include "common/canrxmessage.h"

#include <QString>
#include <QVector>

#include <array>

/// What a message may say and a target may have no place for.
enum class Loss {
    Note,
    Direction,  ///< that a frame was sent and not received
    ErrorState, ///< the error state indicator of a CAN FD frame
    Channel,    ///< that a frame is of channel 0 and not of channel 1
    Time,       ///< a time before 0, or later than the target can say
    Length,     ///< a length that the target cannot state
};
constexpr int lossKinds = 6;

/**
 * Writes messages in the format of one target: begin(), write() for each message, finish(). A function that returns
 * false has failed for good, errorText() says why, and none may be called after it.
 *
 * Memory does not grow with the number of messages. What the target cannot say is left out and counted.
 */
class FrameWriter
{
public:
    FrameWriter() = default;
    virtual ~FrameWriter();

    /// Writes what stands before the first message.
    virtual bool begin() { return true; }
    /// Writes one message with its @p note, which may be empty.
    virtual bool write(const CAN::CanRxMessage &message, const QString &note) = 0;
    /// Writes what stands after the last message, and what is still buffered.
    virtual bool finish() = 0;

    /// What failed, in a few words; empty when nothing did.
    QString errorText() const { return error; }

    struct LossCount {
        QString what; ///< in the singular, its plural being with an "s"
        quint64 count;
    };
    /// What was left out so far.
    QVector<LossCount> losses() const;

protected:
    void lose(Loss loss, quint64 count = 1) { lossCounts[static_cast<std::size_t>(loss)] += count; }
    /// Remembers why a function fails. Returns false.
    bool fail(const QString &reason);

private:
    Q_DISABLE_COPY_MOVE(FrameWriter)

    std::array<quint64, lossKinds> lossCounts = {};
    QString error;
};
