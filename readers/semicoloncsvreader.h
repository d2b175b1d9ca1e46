#pragma once

#include "readers/framereader.h"

/// Reads the semicolon-separated CSV of loggers and converters:
/// "TimestampEpoch;BusChannel;ID;IDE;...".
std::unique_ptr<FrameReader> makeSemicolonCsvReader();
