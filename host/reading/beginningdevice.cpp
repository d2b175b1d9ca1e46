// SPDX-License-Identifier: Apache-2.0
#include "host/reading/beginningdevice.h"

#include <algorithm>
#include <cstring>

BeginningDevice::BeginningDevice(QIODevice &itsSource)
    : source(itsSource)
{
    open(ReadOnly | Unbuffered);
}

QByteArray BeginningDevice::beginning(int size)
{
    while (readMore(size)) {
    }
    return head.left(size);
}

bool BeginningDevice::readMore(int size)
{
    if (head.size() >= size || result <= 0)
        return false;
    const int start = head.size();
    head.resize(size);
    result = int(source.read(head.data() + start, size - start));
    head.resize(start + std::max(result, 0));
    return result > 0;
}

qint64 BeginningDevice::readData(char *data, qint64 maxSize)
{
    if (given < head.size()) {
        const int count = int(std::min<qint64>(maxSize, head.size() - given));
        std::memcpy(data, head.constData() + given, std::size_t(count));
        given += count;
        total += count;
        if (given == head.size()) {
            head.clear();
            given = 0;
        }
        return count;
    }
    // An end or a fault that beginning() met is not asked for again.
    const qint64 count = result > 0 ? source.read(data, maxSize) : result;
    total += std::max<qint64>(count, 0);
    if (count < 0) {
        result = -1;
        setErrorString(fault());
    }
    return count;
}
