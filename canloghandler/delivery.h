// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "canloghandler/canloghandler.h"
#include "readers/formats.h"
#include "readers/framereader.h"

#include <memory>

class QIODevice;

/**
 * One log on its way into the store: pulls the frames from a reader and calls the store as the row of the format says.
 * Report and error text go to the handler.
 *
 * The handler may be deleted in any call of the store and in any slot on its signals. Nothing of it is touched then,
 * nor the host's variable, which need not live any longer, and the delivery ends quietly.
 */
class Delivery
{
public:
    Delivery(CANLogHandler &owner, const LogFormat &logFormat, const QString &columns);

    /// Reads the file @p path, or @p device when there is one, whose name then is @p path. False when it cannot be
    /// opened, when reading fails or is interrupted, and when the handler is gone.
    bool run(const QString &path, QIODevice *device);

private:
    Q_DISABLE_COPY_MOVE(Delivery)

    bool deliver();
    bool deliverBatches();
    bool deliverList();
    void tellEnd();

    const QPointer<CANLogHandler> handler;
    const QPointer<DatachunkHandler> &store; ///< the host's variable, only to be looked at while there is a handler
    const LogFormat &format;
    const std::unique_ptr<FrameReader> reader;
};
