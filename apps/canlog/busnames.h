// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QHash>
#include <QMap>
#include <QString>
#include <QStringList>

class MessageSource;

/// What logs call their channels, gathered while their messages are visited. A name counts within its log; of several
/// logs each may have another for a channel.
class BusNames
{
public:
    /// What comes next is of another log.
    void beginLog() { current.clear(); }
    /// The name of @p channel in the log at hand, of which the visitor of @p source has a message; empty: none.
    const QString &nameOf(quint16 channel, const MessageSource &source)
    {
        const auto known = current.constFind(channel);
        return known != current.constEnd() ? *known : learn(channel, source);
    }
    /// All names of @p channel so far, for people: "can0", or "can0, vcan0" of several logs; empty: none.
    QString textOf(quint16 channel) const { return all.value(channel).join(QLatin1String(", ")); }

private:
    const QString &learn(quint16 channel, const MessageSource &source);

    QHash<quint16, QString> current; ///< of the channels of the log at hand that were seen
    QMap<quint16, QStringList> all;
};
