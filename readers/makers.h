// SPDX-License-Identifier: Apache-2.0
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

// Today's text logs.
std::unique_ptr<FrameReader> makeCandumpReader();
std::unique_ptr<FrameReader> makeVectorAscReader();
std::unique_ptr<FrameReader> makePcanTraceReader();
std::unique_ptr<FrameReader> makeBusmasterLogReader();
std::unique_ptr<FrameReader> makeGvretCsvReader();
std::unique_ptr<FrameReader> makePythonCanCsvReader();
std::unique_ptr<FrameReader> makeSemicolonCsvReader();

std::unique_ptr<FrameReader> makeBlfReader();
