// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canloghandler_export.h"

#include <QList>
#include <QMap>
#include <QString>

/// Names of the CAN error types, by the number that logs and tools give them, 1 to 8. Read-only.
CANLOGHANDLER_EXPORT extern const QMap<unsigned char, QString> canErrorTypeNames;

/// Payload lengths in bytes above 8 that CAN FD allows, ascending. Read-only.
CANLOGHANDLER_EXPORT extern const QList<unsigned char> canFdLengths;
