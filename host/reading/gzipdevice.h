// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QIODevice>

#include <memory>

struct z_stream_s; // of zlib

/**
 * What gzip compressed, inflated as it is read out of a file or a pipe: one member or several, one behind the other.
 *
 * A fault comes after everything before it that could be inflated: read() gives -1 then, and errorString() says what is
 * wrong in one line. A file that is cut off is a fault, as is anything behind the last whole member that is no member;
 * only zeros may stand there, with which tapes and disks are padded. What damage changed is known at the end of a
 * member at the latest, from its checksum: the bytes given until then may be wrong.
 *
 * Memory does not grow with what is read.
 */
class GzipDevice : public QIODevice
{
public:
    /// Reads @p source, which is open, from where it stands. It is not owned and must live as long.
    explicit GzipDevice(QIODevice &source);
    ~GzipDevice() override;

    /// Whether a file that begins with @p beginning is to be read through such a device.
    static bool isCompressed(const QByteArray &beginning) { return beginning.startsWith("\x1F\x8B"); }

    /// For reading only.
    bool open(OpenMode mode) override;
    bool isSequential() const override { return true; }
    /// True once everything was read; what a pipe still has is not known before it is read.
    bool atEnd() const override { return state == State::End && QIODevice::atEnd(); }

    /// How many bytes of the source were read, for those who show progress.
    qint64 compressedBytesRead() const { return sourceBytes; }

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    Q_DISABLE_COPY_MOVE(GzipDevice)

    enum class State { Member, Between, Padding, End, Faulty };

    bool hasInput();
    void fill();
    void inflateSome();
    void lookBehindMember();
    void skipPadding();
    void fail(const QString &reason);

    QIODevice &source;
    QByteArray input;
    std::unique_ptr<z_stream_s> stream;
    State state = State::End; ///< until it is open
    bool sourceEnded = false;
    qint64 sourceBytes = 0;
};
