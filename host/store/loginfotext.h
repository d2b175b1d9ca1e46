// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/loginfo.h"

#include <QJsonObject>

/// What a log says of itself, as the import journal keeps it: see docs/chunk-format.md.
namespace LogInfoText
{

/// Empty when the log says nothing.
QJsonObject toJson(const LogInfo &info);
/// What toJson() wrote. What is missing or damaged there is what no log says.
LogInfo fromJson(const QJsonObject &object);

} // namespace LogInfoText
