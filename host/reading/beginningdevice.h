// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QIODevice>

/// Gives what a pipe gives, and lets its beginning be looked at before, which is read from the pipe only once.
class BeginningDevice : public QIODevice
{
public:
    /// Reads @p source, which is open, from where it stands. It is not owned and must live as long.
    explicit BeginningDevice(QIODevice &source);

    /// The first @p size bytes, or all of them when there are fewer before the end or a fault. Waits for them. To be
    /// called before anything is read; a later call may ask for more.
    QByteArray beginning(int size);
    /// Reads once more of the first @p size bytes, of what is there, and waits only when that is nothing. False when
    /// there are no more of them. Then beginning() with the number of bytes that arrived() tells gives them.
    bool readMore(int size);
    int arrived() const { return head.size(); }
    /// Whether some of the beginning that was looked at was not read yet.
    bool hasBeginning() const { return given < head.size(); }
    /// What beginning() or reading met instead of the end; empty when it met none.
    QString fault() const { return result < 0 ? source.errorString() : QString(); }

    /// How many bytes were read so far.
    qint64 bytesGiven() const { return total; }

    bool isSequential() const override { return true; }
    bool atEnd() const override { return given == head.size() && source.atEnd() && QIODevice::atEnd(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    Q_DISABLE_COPY_MOVE(BeginningDevice)

    QIODevice &source;
    QByteArray head;
    qint64 total = 0;
    int given = 0;  ///< of the head
    int result = 1; ///< of the latest read: 0 at the end, -1 after a fault
};
