#pragma once

#include "readers/framereader.h"

/// Reads PCAN trace files of the versions 1.0 to 2.1, and what 3.0 has of classic and CAN FD frames. The version is
/// found in the file.
std::unique_ptr<FrameReader> makePcanTraceReader();
