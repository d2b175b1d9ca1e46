#pragma once

#include "readers/framereader.h"

#include <memory>

// The readers of single formats, for the table in formats.cpp. Private to the library.

std::unique_ptr<FrameReader> makeNorvikTxtReader();
std::unique_ptr<FrameReader> makeSocketCanDumpReader();
std::unique_ptr<FrameReader> makeKvaserTxtLogReader();
std::unique_ptr<FrameReader> makeKvaserCanKingLogReader();
std::unique_ptr<FrameReader> makeVectorAscLogReader();
std::unique_ptr<FrameReader> makeVectorAscLogWithoutBitcountReader();
std::unique_ptr<FrameReader> makeWiresharkCsvReader();
