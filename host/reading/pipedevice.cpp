// SPDX-License-Identifier: Apache-2.0
#include "host/reading/pipedevice.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <unistd.h>

namespace
{

constexpr int waitingTime = 100; // in milliseconds
constexpr qint64 largestRead = 1 << 20;

qint64 readSome(int file, char *data, qint64 maxSize)
{
    ssize_t count = 0;
    do {
        count = ::read(file, data, std::size_t(maxSize));
    } while (count < 0 && errno == EINTR);
    return count;
}

} // namespace

PipeDevice::PipeDevice(int descriptor, const std::function<bool()> &stopQuestion)
    : file(descriptor)
    , isStopped(stopQuestion)
{
}

bool PipeDevice::hasInput(int milliseconds) const
{
    pollfd input{file, POLLIN, 0};
    const int ready = ::poll(&input, 1, milliseconds);
    // What else poll() has to say, read() says, too.
    return ready > 0 || (ready < 0 && errno != EINTR);
}

/// False when the wait was ended.
bool PipeDevice::waitForInput() const
{
    if (waitingListener && !hasInput())
        waitingListener();
    while (!isStopped || !isStopped()) {
        if (hasInput(waitingTime))
            return true;
    }
    return false;
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
