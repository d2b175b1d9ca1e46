// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "python/src/columns.h"

#include <nanobind/nanobind.h>

#include <cstdint>
#include <vector>

/**
 * The data frames of @p columns by their identifiers: for each of @p keys (an identifier, and bit 32 where it is an
 * extended one) a tuple of the arrays time_us, channel, whether there is one, length, and payloads of @p width bytes;
 * None where there is no such frame.
 */
nanobind::list framesById(const Columns &columns, const std::vector<std::uint64_t> &keys, std::size_t width);
