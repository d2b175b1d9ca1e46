// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QLockFile>
#include <QString>

/// The lock of the one program that may write a store. It goes with its program, also when that is killed.
class StoreLock
{
public:
    /// Of the store in @p folder, which exists.
    explicit StoreLock(const QString &folder);

    /// Returns an empty text, or who has the lock or why there is none, in one line.
    QString take();

private:
    Q_DISABLE_COPY_MOVE(StoreLock)

    bool tryToTake();
    QString fault() const;

    QString storeFolder;
    QLockFile lock;
};
