#pragma once

#include "readers/framereader.h"

/// Reads ASC logs of Vector's tools and their imitators, in every dialect: classic, CAN FD and what CAN XL lines hold
/// of them, identifiers and symbolic names, with and without trigger blocks and statistics, both number bases, both
/// kinds of times.
std::unique_ptr<FrameReader> makeVectorAscReader();
