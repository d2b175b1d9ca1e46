#pragma once

#include "canloghandler/canloghandler.h"

#include <QPointer>

/**
 * What a loader has of its handler, which may be gone after any call of the store and any signal: from then on there is
 * no store either, and what is told the handler is told nobody.
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
    void setReport(const ImportReport &report) const
    {
        if (handler)
            handler->importReport = report;
    }
    void setErrorText(const QString &text) const
    {
        if (handler)
            handler->lastErrorText = text;
    }
    void tellProgress(qint64 bytesRead, qint64 bytesTotal) const
    {
        if (handler)
            Q_EMIT handler->importProgress(bytesRead, bytesTotal);
    }

private:
    QPointer<CANLogHandler> handler;
};
