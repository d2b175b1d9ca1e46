#pragma once

#include "readers/framereader.h"

/// Reads what candump of the SocketCAN tools writes, in all versions and with all options.
std::unique_ptr<FrameReader> makeCandumpReader();
