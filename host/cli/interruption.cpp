#include "host/cli/interruption.h"

#include <atomic>
#include <csignal>

namespace
{

std::atomic<bool> interrupted{false};

void noteInterruption(int)
{
    interrupted = true;
    std::signal(SIGINT, SIG_DFL);
}

} // namespace

void takeInterruptions()
{
    if (interrupted)
        return;
    const auto former = std::signal(SIGINT, noteInterruption);
    if (former == SIG_IGN)
        std::signal(SIGINT, SIG_IGN);
}

bool wasInterrupted()
{
    return interrupted;
}

void endInterruptions()
{
    std::signal(SIGINT, SIG_IGN);
    interrupted = false;
}
