// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"

#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

#include <limits>

class QCommandLineParser;

/**
 * Chooses messages by the options that all subcommands that read messages have in common. A message passes when it
 * does so for each kind of option that is given; one option's list lets through what any of its entries does.
 *
 * Identifiers are written as the table shows them: up to three hexadecimal digits stand for a standard frame, more of
 * them for an extended one. Above 7FF the value alone decides, since some logs do not say that a frame is extended.
 */
class MessageFilter
{
public:
    /// @p endOption is the name of the option for the end, where "to" means something else.
    static void addOptions(QCommandLineParser &parser, const QString &endOption = QStringLiteral("to"));
    /// The options as a usage line shows them.
    static QString synopsis(const QString &endOption = QStringLiteral("to"));

    /// Takes the options of @p parser. Returns what is wrong with them, empty when nothing is; the filter is then
    /// unspecified.
    QString set(const QCommandLineParser &parser, const QString &endOption = QStringLiteral("to"));

    bool passes(const CAN::CanRxMessage &message, bool hasNote) const;

private:
    /// Identifiers of one kind from first to last, or those that are `first` where `mask` has ones.
    struct Wanted {
        quint32 first;
        quint32 last;
        quint32 mask;
        bool isExtended;
    };
    enum class Direction { Any, Rx, Tx };

    QString setIds(const QStringList &lists);
    QString setChannels(const QStringList &lists);
    QString setTimes(const QCommandLineParser &parser, const QString &endOption);
    QString setDirection(const QCommandLineParser &parser);
    bool addIds(const QString &entry);
    bool addMask(const QString &idText, const QString &maskText);
    bool passesIds(const CAN::CanRxMessage &message) const;

    QVector<Wanted> ids;
    bool wantsErrorFrames = false;
    bool choosesIds = false;
    QSet<quint16> channels; ///< empty: all
    qint64 from = std::numeric_limits<qint64>::min();
    qint64 to = std::numeric_limits<qint64>::max();
    Direction direction = Direction::Any;
    bool notesOnly = false;
};
