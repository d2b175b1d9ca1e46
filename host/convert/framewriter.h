// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"
#include "common/loginfo.h"

#include <QHash>
#include <QString>
#include <QTimeZone>
#include <QVector>

#include <array>
#include <functional>

/// What a message may say and a target may have no place for. docs/conversion.md has a table of the same.
enum class Loss {
    Note,
    Direction,   ///< that a frame was sent and not received
    Channel,     ///< that a frame is of channel 0 and not of channel 1
    Time,        ///< a time before 0, or later than the target can say
    Length,      ///< a length that the target cannot state
    Identifier,  ///< an identifier above 29 bits, which no frame has
    HighChannel, ///< a channel above 255, which tools do not expect
    Payload,     ///< what an error frame has for data
    Mark,        ///< a mark of CAN FD on a frame that is none
    Controls,    ///< control characters in a note
    Surrogates,  ///< halves of characters in a note
    Formula,     ///< a note that a spreadsheet would run
    ChannelName, ///< what the log calls a channel, unless its number tells the name
};
constexpr int lossKinds = 13;

/**
 * Writes messages in the format of one target: begin(), write() for each message, finish(). A function that returns
 * false has failed for good, errorText() says why, and none may be called after it.
 *
 * Memory does not grow with the number of messages. What the target cannot say is left out or changed, and counted.
 */
class FrameWriter
{
public:
    FrameWriter() = default;
    virtual ~FrameWriter();

    /// Where the writer learns what the log says of itself, for the formats that have a place for it. It is asked at
    /// the first message and at the first of each channel.
    void setLog(const std::function<LogInfo()> &question) { askLog = question; }
    /// The zone of the dates that are written; invalid, as at first: that of the log, or UTC.
    void setZone(const QTimeZone &newZone) { dateZone = newZone; }
    /// Whether the log tells the direction of the messages that come next; else it is known of sent ones alone.
    void setDirectionTold(bool isTold) { directionTold = isTold; }

    /// Writes what stands before the first message.
    [[nodiscard]] virtual bool begin() { return true; }
    /// Writes one message with its @p note, which may be empty.
    [[nodiscard]] virtual bool write(const CAN::CanRxMessage &message, const QString &note) = 0;
    /// Writes what stands after the last message, and what is still buffered.
    [[nodiscard]] virtual bool finish() = 0;

    /// What failed, in a few words; empty when nothing did.
    QString errorText() const { return error; }

    struct LossCount {
        QString what; ///< in the singular, its plural being with an "s"
        quint64 count;
        QString outcome; ///< what became of it, in a few words
    };
    /// What was left out or changed so far.
    QVector<LossCount> losses() const;

protected:
    LogInfo logInfo() const { return askLog ? askLog() : LogInfo(); }
    QTimeZone zone() const { return dateZone; }
    bool isDirectionTold() const { return directionTold; }
    /// What the log calls @p channel; empty when it does not, or says no more than the number: "can0" of channel 1.
    QString nameOf(quint16 channel);
    /// Counts the name of @p channel, once, for formats without a place for it.
    void loseNameOf(quint16 channel);
    void lose(Loss loss, quint64 count = 1) { lossCounts[static_cast<std::size_t>(loss)] += count; }
    /// Counts what the formats of other tools have no place for in any frame.
    void countImpossible(const CAN::CanRxMessage &message);
    /// @p note without halves of characters, which no format can hold.
    QString wellFormedNote(const QString &note);
    /// Remembers why a function fails. Returns false.
    bool fail(const QString &reason);

private:
    Q_DISABLE_COPY_MOVE(FrameWriter)

    std::array<quint64, lossKinds> lossCounts = {};
    std::function<LogInfo()> askLog;
    QTimeZone dateZone;
    bool directionTold = false;
    QHash<quint16, QString> names; ///< of the channels seen so far
    QString error;
};
