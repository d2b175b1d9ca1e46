// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/interruption.h"

#include <QtGlobal>

#include <atomic>
#include <csignal>

#ifdef Q_OS_UNIX
#include <signal.h>
#endif

namespace
{

std::atomic<int> received{0}; ///< the signal; 0: none

#ifdef Q_OS_UNIX

void noteInterruption(int number)
{
    int none = 0;
    received.compare_exchange_strong(none, number);
}

void take(int number, int flags)
{
    struct sigaction former {
    };
    if (sigaction(number, nullptr, &former) != 0 || former.sa_handler != SIG_DFL)
        return;
    struct sigaction action {
    };
    action.sa_handler = noteInterruption;
    // Without SA_RESTART: a read that waits for ever is to end, too.
    action.sa_flags = flags;
    sigaction(number, &action, nullptr);
}

#else

void noteInterruption(int number)
{
    received = number;
    std::signal(number, SIG_DFL);
}

#endif

} // namespace

void takeInterruptions()
{
    if (wasInterrupted())
        return;
#ifdef Q_OS_UNIX
    take(SIGINT, int(SA_RESETHAND));
    take(SIGTERM, int(SA_RESETHAND));
    take(SIGHUP, 0);
#else
    if (std::signal(SIGINT, noteInterruption) == SIG_IGN)
        std::signal(SIGINT, SIG_IGN);
#endif
}

bool wasInterrupted()
{
    return received != 0;
}

int interruptionStatus()
{
    constexpr int shellsOffset = 128;
    return shellsOffset + received;
}

void endInterruptions()
{
    std::signal(SIGINT, SIG_IGN);
#ifdef Q_OS_UNIX
    std::signal(SIGTERM, SIG_IGN);
    std::signal(SIGHUP, SIG_IGN);
#endif
    received = 0;
}
