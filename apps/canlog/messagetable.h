// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"

#include <QString>

class Output;

/// How the table shows a channel.
enum class ChannelColumn { Number, Name };

/// Writes the heading of the table of messages.
void writeTableHeading(Output &out, ChannelColumn column = ChannelColumn::Number);
/// Writes one row. Costs no allocation without a note or a name: stores hold millions of messages.
void writeTableRow(Output &out, const CAN::CanRxMessage &message, const QString &note);
/// The same with the name of the channel, or its number where @p name is empty.
void writeTableRow(Output &out, const CAN::CanRxMessage &message, const QString &note, const QString &name);
