// SPDX-License-Identifier: Apache-2.0
// Stands before the C library in a program under test (LD_PRELOAD). It writes down, in the file that CANLOG_SYNC_LOG
// names, what is brought to the disk and what is renamed, in that order; and where CANLOG_FULL_DISK is set, temporary
// files of outputs find the disk full.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{

void note(const std::string &line)
{
    const char *const path = std::getenv("CANLOG_SYNC_LOG");
    if (!path)
        return;
    const int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const ssize_t written = write(file, line.data(), line.size());
    close(file);
    if (written != ssize_t(line.size()))
        std::abort();
}

std::string pathOf(int descriptor)
{
    char path[PATH_MAX];
    const ssize_t size = readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), path, sizeof path);
    return size < 0 ? std::string() : std::string(path, std::size_t(size));
}

bool isFull(int descriptor)
{
    static const bool isAsked = std::getenv("CANLOG_FULL_DISK") != nullptr;
    if (!isAsked || pathOf(descriptor).find("/.canlog-") == std::string::npos)
        return false;
    errno = ENOSPC;
    return true;
}

template <typename Function>
Function original(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" ssize_t write(int descriptor, const void *data, std::size_t size)
{
    static const auto call = original<ssize_t (*)(int, const void *, std::size_t)>("write");
    return isFull(descriptor) ? -1 : call(descriptor, data, size);
}

extern "C" ssize_t pwrite64(int descriptor, const void *data, std::size_t size, off64_t offset)
{
    static const auto call = original<ssize_t (*)(int, const void *, std::size_t, off64_t)>("pwrite64");
    return isFull(descriptor) ? -1 : call(descriptor, data, size, offset);
}

extern "C" int fsync(int descriptor)
{
    note("sync " + pathOf(descriptor) + '\n');
    static const auto call = original<int (*)(int)>("fsync");
    return call(descriptor);
}

extern "C" int rename(const char *from, const char *to) noexcept
{
    note(std::string("rename ") + from + ' ' + to + '\n');
    static const auto call = original<int (*)(const char *, const char *)>("rename");
    return call(from, to);
}
