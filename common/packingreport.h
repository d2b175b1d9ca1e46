// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QStringList>

/// What became of an archive that CANLogHandler::packDatachunks() was to write.
struct PackingReport {
    enum class State {
        Written,     ///< it is complete, has its name and is on the disk
        Interrupted, ///< as the caller wanted; what was there before stays
        Failed,      ///< for the reason in errorText; what was there before stays
    };

    State state = State::Failed;
    QString errorText;   ///< in one clause; empty unless it failed
    QStringList packed;  ///< the names of its entries
    QStringList leftOut; ///< files of the folder that could not be read, or have more than 1 GiB
};
