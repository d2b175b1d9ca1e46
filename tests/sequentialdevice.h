// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QIODevice>

#include <algorithm>
#include <cstring>

/// A pipe by its manners: cannot seek, and gives @p step bytes at a time.
class SequentialDevice : public QIODevice
{
public:
    /// How it tells its end: nothing more to read, which a file does, too, or an error without a text.
    enum class End { Nothing, Error };

    SequentialDevice(const QByteArray &content, int bytesAtOnce, End howItEnds = End::Nothing)
        : rest(content)
        , step(bytesAtOnce)
        , end(howItEnds)
    {
        open(QIODevice::ReadOnly);
    }

    bool isSequential() const override { return true; }
    /// How many bytes nobody has asked for yet.
    int left() const { return rest.size(); }
    /// From now on it gives an error of that text.
    void failWith(const QString &text)
    {
        setErrorString(text);
        rest.clear();
        end = End::Error;
    }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        if (rest.isEmpty())
            return end == End::Error ? -1 : 0;
        const int size = int(std::min<qint64>({maxSize, step, rest.size()}));
        std::memcpy(data, rest.constData(), std::size_t(size));
        rest.remove(0, size);
        return size;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray rest;
    int step;
    End end;
};
