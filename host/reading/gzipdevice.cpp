// SPDX-License-Identifier: Apache-2.0
#include "host/reading/gzipdevice.h"

#include <QCoreApplication>
#include <zlib.h>

#include <algorithm>
#include <limits>

// Members are inflated one by one, not by zlib's gzread(): that takes whatever stands behind the last member for
// nothing, and a file that was overwritten in part for a whole one.

namespace
{

constexpr int inputSize = 65536;
constexpr int gzipOnly = 16; // added to the window bits: wants the header and the checksum of gzip

QString text(const char *message)
{
    return QCoreApplication::translate("GzipDevice", message);
}

} // namespace

GzipDevice::GzipDevice(QIODevice &itsSource)
    : source(itsSource)
{
}

GzipDevice::~GzipDevice()
{
    if (stream)
        inflateEnd(stream.get());
}

bool GzipDevice::open(OpenMode mode)
{
    if (stream || (mode & ~Unbuffered) != ReadOnly)
        return false;
    stream = std::make_unique<z_stream>();
    if (inflateInit2(stream.get(), MAX_WBITS + gzipOnly) != Z_OK) {
        stream.reset();
        setErrorString(text("there is not enough memory to decompress it"));
        return false;
    }
    state = State::Member;
    return QIODevice::open(ReadOnly | Unbuffered);
}

qint64 GzipDevice::readData(char *data, qint64 maxSize)
{
    const uInt room = uInt(std::min<qint64>(maxSize, std::numeric_limits<int>::max()));
    stream->next_out = reinterpret_cast<Bytef *>(data);
    stream->avail_out = room;
    // What there is goes out at once: the log may come out of a pipe into which a bus is still being recorded.
    while (room > 0 && stream->avail_out == room && state != State::End && state != State::Faulty) {
        switch (state) {
        case State::Member:
            inflateSome();
            break;
        case State::Between:
            lookBehindMember();
            break;
        default:
            skipPadding();
            break;
        }
    }
    const uInt given = room - stream->avail_out;
    return given == 0 && state == State::Faulty ? -1 : qint64(given);
}

/// Whether there is compressed data to look at, which is read when none is left. A failure of the source is a fault.
bool GzipDevice::hasInput()
{
    if (stream->avail_in == 0 && !sourceEnded)
        fill();
    return stream->avail_in > 0;
}

void GzipDevice::fill()
{
    input.resize(inputSize);
    const qint64 count = source.read(input.data(), inputSize);
    sourceEnded = count <= 0;
    if (count < 0)
        fail(source.errorString());
    sourceBytes += std::max<qint64>(count, 0);
    stream->next_in = reinterpret_cast<Bytef *>(input.data());
    stream->avail_in = uInt(std::max<qint64>(count, 0));
}

void GzipDevice::inflateSome()
{
    if (!hasInput()) {
        fail(text("the compressed data are cut off"));
        return;
    }
    switch (inflate(stream.get(), Z_NO_FLUSH)) {
    case Z_OK:
    case Z_BUF_ERROR: // wants more of either
        break;
    case Z_STREAM_END:
        state = State::Between;
        break;
    case Z_MEM_ERROR:
        fail(text("there is not enough memory to decompress it"));
        break;
    default:
        fail(text("the compressed data are damaged, and what was read last may be wrong"));
    }
}

void GzipDevice::lookBehindMember()
{
    if (!hasInput()) {
        if (state != State::Faulty)
            state = State::End;
    } else if (*stream->next_in == 0) {
        state = State::Padding;
    } else if (*stream->next_in == 0x1F && inflateReset(stream.get()) == Z_OK) {
        state = State::Member;
    } else {
        fail(text("behind the compressed data stands something else"));
    }
}

void GzipDevice::skipPadding()
{
    while (hasInput()) {
        const Bytef *const end = stream->next_in + stream->avail_in;
        if (std::any_of<const Bytef *>(stream->next_in, end, [](Bytef byte) { return byte != 0; })) {
            fail(text("behind the compressed data stands something else"));
            return;
        }
        stream->avail_in = 0;
    }
    if (state != State::Faulty)
        state = State::End;
}

/// The first reason is the one that counts.
void GzipDevice::fail(const QString &reason)
{
    if (state != State::Faulty)
        setErrorString(reason);
    state = State::Faulty;
}
