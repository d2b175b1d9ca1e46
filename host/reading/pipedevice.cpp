// SPDX-License-Identifier: Apache-2.0
#include "host/reading/pipedevice.h"

#include <algorithm>
#include <cerrno>

#ifdef Q_OS_WIN
#include <io.h>
#else
#include <poll.h>
#include <unistd.h>
#endif

namespace
{

constexpr int waitingTime = 100; // in milliseconds
constexpr qint64 largestRead = 1 << 20;

qint64 readSome(int file, char *data, qint64 maxSize)
{
#ifdef Q_OS_WIN
    return ::_read(file, data, unsigned(maxSize));
#else
    ssize_t count = 0;
    do {
        count = ::read(file, data, std::size_t(maxSize));
    } while (count < 0 && errno == EINTR);
    return count;
#endif
}

} // namespace

PipeDevice::PipeDevice(int descriptor, const std::function<bool()> &stopQuestion)
    : file(descriptor)
    , isStopped(stopQuestion)
{
}

/// False when the wait was ended.
bool PipeDevice::waitForInput() const
{
    for (;;) {
        if (isStopped && isStopped())
            return false;
#ifdef Q_OS_WIN
        return true;
#else
        pollfd input{file, POLLIN, 0};
        const int ready = ::poll(&input, 1, waitingTime);
        // What else poll() has to say, read() says, too.
        if (ready > 0 || (ready < 0 && errno != EINTR))
            return true;
#endif
    }
}

qint64 PipeDevice::readData(char *data, qint64 maxSize)
{
    if (maxSize <= 0)
        return 0;
    // A terminal would want its end typed twice, and who asks again is to hear of the same fault.
    if (result <= 0)
        return result;
    result = waitForInput() ? readSome(file, data, std::min(maxSize, largestRead)) : 0;
    if (result < 0)
        setErrorString(qt_error_string(errno));
    return result;
}
