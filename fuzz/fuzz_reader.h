// SPDX-License-Identifier: Apache-2.0
#pragma once

struct LogFormat;

/// Has what is fuzzed be read as @p row, which is one of logFormats(), from now on.
void selectFormat(const LogFormat &row);
