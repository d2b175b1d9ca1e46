// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QIODevice>

#include <functional>

/**
 * Reads an open descriptor, such as that of standard input. What has arrived is given at once, unlike by QFile, which
 * waits for as many bytes as were asked for; and waiting ends when it is to.
 */
class PipeDevice : public QIODevice
{
public:
    /// @p descriptor stays open. @p isStopped is asked a few times a second while nothing arrives; when it says so, the
    /// input ends there.
    explicit PipeDevice(int descriptor, const std::function<bool()> &isStopped = {});
    /// @p listener is called before it is waited for what has not arrived yet: what was made of the rest can go out.
    void setWaitingListener(const std::function<void()> &listener) { waitingListener = listener; }

    /// Whether something that was not read yet, or the end, is there within so many milliseconds.
    bool hasInput(int milliseconds = 0) const;

    bool isSequential() const override { return true; }
    /// True once the end was read.
    bool atEnd() const override { return result == 0 && QIODevice::atEnd(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    Q_DISABLE_COPY_MOVE(PipeDevice)

    bool waitForInput() const;

    const int file;
    const std::function<bool()> isStopped;
    std::function<void()> waitingListener;
    qint64 result = 1; ///< of the latest read: 0 at the end, -1 after a fault
};
