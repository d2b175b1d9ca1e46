// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"
#include "common/loginfo.h"

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVector>

#include <functional>
#include <limits>

/**
 * Chooses messages by what people write: identifiers, channels, times, the direction, notes. A message passes when it
 * does so for each kind that was set; of one kind any entry will do. The functions that take a text return
 * what is wanted in its place ("wanted is rx or tx") when it makes no sense, else an empty one.
 *
 * Identifiers are written as tables show them: up to three hexadecimal digits stand for a standard frame, more of them
 * for an extended one. Above 7FF the value alone decides, since some logs do not say that a frame is extended.
 */
class MessageFilter
{
public:
    /// Lets pass the identifiers in @p list: "0C9,100-1FF,100:700,error".
    QString addIds(const QString &list);
    /// Lets pass the channels in @p list, by number or by the name that the log has for them: "1,can0".
    QString addChannels(const QString &list);
    /// Sets the first and the last time that passes: seconds as the log has them ("12.5"), seconds after the first
    /// message of the log ("+2.5"), or a time of the calendar ("2024-05-21T09:40", local unless it ends in a zone).
    QString setFrom(const QString &text) { return setLimit(text, from); }
    QString setTo(const QString &text) { return setLimit(text, to); }
    /// "rx" or "tx"
    QString setDirection(const QString &text);
    void setNotesOnly(bool wanted) { notesOnly = wanted; }
    /// Whether the first time that passes is known to be after the last one.
    bool isEmptySpan() const { return from.kind == to.kind && from.value > to.value; }

    /// The messages that come next are those of another log, with times and names of its own. @p logInfo gives what it
    /// has told of itself so far, and is asked when that matters; empty: it tells nothing.
    void beginLog(const std::function<LogInfo()> &logInfo = {});
    bool passes(const CAN::CanRxMessage &message, bool hasNote);

    /// Why no message of the log passes, although some should: it does not tell its date. Empty when that is not so.
    QString problem() const { return trouble; }
    /// The names of channels that no log has had so far.
    QStringList unknownNames() const { return namesNotSeen; }

private:
    /// Identifiers of one kind from first to last, or those that are `first` where `mask` has ones.
    struct Wanted {
        quint32 first;
        quint32 last;
        quint32 mask;
        bool isExtended;
    };
    enum class Direction { Any, Rx, Tx };
    /// A time as it was written, in microseconds.
    struct Limit {
        enum class Kind { None, Stamp, AfterStart, Calendar } kind = Kind::None;
        qint64 value = 0;
    };

    static QString setLimit(const QString &text, Limit &limit);
    bool addId(const QString &entry);
    bool addMask(const QString &idText, const QString &maskText);
    /// Of the first message of a log: finds out what the limits mean there.
    void resolveTimes(qint64 firstTime);
    qint64 resolved(const Limit &limit, qint64 firstTime, qint64 none);
    bool passesIds(const CAN::CanRxMessage &message) const;
    bool passesChannels(quint16 channel);
    bool hasWantedName(quint16 channel);

    QVector<Wanted> ids;
    bool wantsErrorFrames = false;
    bool choosesIds = false;
    QVector<quint16> channels; ///< with channelNames both empty: all
    QStringList channelNames;
    Limit from;
    Limit to;
    Direction direction = Direction::Any;
    bool notesOnly = false;

    // Of the log at hand.
    std::function<LogInfo()> info;
    bool isResolved = false;
    qint64 firstPassing = std::numeric_limits<qint64>::min();
    qint64 lastPassing = std::numeric_limits<qint64>::max();
    QHash<quint16, bool> namedChannels; ///< whether a channel has a name that is wanted
    QStringList namesNotSeen;
    QString trouble;
};
