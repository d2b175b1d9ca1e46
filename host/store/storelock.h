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
    ~StoreLock();

    /// Returns an empty text, or who has the lock or why there is none, in one line.
    QString take();

private:
    Q_DISABLE_COPY_MOVE(StoreLock)

    [[nodiscard]] bool tryToTake();
    [[nodiscard]] bool takeWithoutText();
    QString fault() const;

    QString storeFolder;
    QString path;
    QLockFile lock;
    int descriptor = -1; ///< of a lock file without text
};
