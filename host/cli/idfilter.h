#pragma once

#include "common/canrxmessage.h"

#include <QString>
#include <QVector>

using CAN::errorFrameId;

/**
 * Chooses messages by identifier, written as the table shows them: up to three hexadecimal digits stand for a standard
 * frame, eight digits for an extended one, "error" for error frames. Above 7FF the value alone decides, since some logs
 * do not say that a frame is extended. An empty filter lets everything pass.
 */
class IdFilter
{
public:
    /// Adds the identifiers of the comma-separated @p list; false when one of them is none.
    bool add(const QString &list);
    bool passes(const CAN::CanRxMessage &message) const;

private:
    struct Wanted {
        quint32 id;
        bool isExtended;
    };
    QVector<Wanted> wanted;
};
