#pragma once

#include "readers/framereader.h"

/// Reads the CSV that SavvyCAN and GVRET devices write:
/// "Time Stamp,ID,Extended,Dir,Bus,LEN,D1,...".
std::unique_ptr<FrameReader> makeGvretCsvReader();
