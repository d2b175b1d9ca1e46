// SPDX-License-Identifier: Apache-2.0
// Holds the reader of type FUZZ_FILE_TYPE, frame by frame, against the slow reading of the same bytes.

#include "tests/slow/slowreading.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr auto type = DatachunkHelper::ImportFileType(FUZZ_FILE_TYPE);
    const QByteArray content(reinterpret_cast<const char *>(data), int(size));
    const QString difference = differenceFromSlowReading(type, content);
    if (!difference.isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(difference));
        std::abort();
    }
    return 0;
}
