#pragma once

#include "readers/framereader.h"

/// Reads the logs that BUSMASTER writes of CAN and J1939 buses, and imitations of them.
std::unique_ptr<FrameReader> makeBusmasterLogReader();
