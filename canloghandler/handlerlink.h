// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "canloghandler/canloghandler.h"

#include <QPointer>

/**
 * What reading an archive has of its handler, which may be gone after any call of the store and any signal: from then
 * on there is no store either, and what is told the handler is told nobody.
 */
class HandlerLink
{
public:
    explicit HandlerLink(CANLogHandler *logHandler)
        : handler(logHandler)
    {
    }

    bool isAlive() const { return !handler.isNull(); }
    /// The handler's store at this moment; null when there is none.
    DatachunkHandler *store() const { return handler ? handler->pDatachunkHandler.data() : nullptr; }
    void setErrorText(const QString &text) const
    {
        if (handler)
            handler->lastErrorText = text;
    }

private:
    QPointer<CANLogHandler> handler;
};
