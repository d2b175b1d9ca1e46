// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/canlog/messagesource.h"

#include <QHash>
#include <QMap>
#include <QPair>
#include <QString>
#include <QStringList>

/// What logs call their channels, gathered while their messages are visited. A name counts within its log; of several
/// logs each may have another for a channel.
class BusNames
{
public:
    /// The name of @p channel in the log at hand, of which the visitor of @p source has a message; empty: none.
    const QString &nameOf(quint16 channel, const MessageSource &source)
    {
        const auto known = seen.constFind({source.logNumber(), channel});
        return known != seen.constEnd() ? *known : learn(channel, source);
    }
    /// All names of @p channel so far, for people: "can0", or "can0, vcan0" of several logs; empty: none.
    QString textOf(quint16 channel) const { return all.value(channel).join(QLatin1String(", ")); }

private:
    const QString &learn(quint16 channel, const MessageSource &source);

    QHash<QPair<int, quint16>, QString> seen; ///< by log and channel
    QMap<quint16, QStringList> all;
};
