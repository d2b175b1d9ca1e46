// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDateTime>

#include <string_view>

/**
 * A date and time of day in the header of a log, such as "Mon Jan 2 03:04:05.678 am 2023", also in German, French and
 * Spanish, "30/01/2023 03:04:05.678" with the day first, or ISO 8601. Invalid where @p text is none of these.
 *
 * Its fields are those of the log; they are a time of no known zone unless the text has one.
 */
QDateTime readLogDate(std::string_view text);
