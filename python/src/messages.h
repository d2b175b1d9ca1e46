// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "python/src/columns.h"

#include <nanobind/nanobind.h>

/// What python-can makes of a frame differs from format to format.
struct MessageStyle {
    nanobind::object messageClass; ///< can.Message
    nanobind::dict channels;       ///< what stands for a number, where there is something
    int channelShift = 0;          ///< what is added to the number where there is not
    nanobind::object noChannel;    ///< what stands where the log tells none
    bool hasChannel = true;        ///< false: there is none, whatever the log tells
    double start = 0;              ///< added to the times
    bool inMilliseconds = false;   ///< times are reckoned from milliseconds, which rounds differently
    bool errorsAreBare = false;    ///< an error frame has a time, and nothing else
    bool leavesErrorsOut = false;
};

/// The rows of @p columns as messages of python-can.
nanobind::list messagesOf(const Columns &columns, const MessageStyle &style);
