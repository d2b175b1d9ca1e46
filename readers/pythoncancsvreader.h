#pragma once

#include "readers/framereader.h"

/// Reads the CSV that python-can writes:
/// "timestamp,arbitration_id,extended,remote,error,dlc,data".
std::unique_ptr<FrameReader> makePythonCanCsvReader();
