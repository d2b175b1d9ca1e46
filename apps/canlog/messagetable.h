// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"

#include <QString>

class Output;

/// Writes the heading of the table of messages.
void writeTableHeading(Output &out);
/// Writes one row. Costs no allocation without a note: stores hold millions of messages.
void writeTableRow(Output &out, const CAN::CanRxMessage &message, const QString &note);
