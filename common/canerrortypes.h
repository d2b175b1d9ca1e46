#pragma once

#include <QList>
#include <QMap>
#include <QString>

/// Names of the CAN error types, by the number that logs and tools give them, 1 to 8. Read-only.
inline const QMap<unsigned char, QString> canErrorTypeNames{
    {1, QStringLiteral("Stuff error")},          {2, QStringLiteral("Form error")},
    {3, QStringLiteral("Acknowledgment error")}, {4, QStringLiteral("Bit error")},
    {5, QStringLiteral("Fast data bit error")},  {6, QStringLiteral("CRC error")},
    {7, QStringLiteral("Data length error")},    {8, QStringLiteral("unspecified error")},
};

/// Payload lengths in bytes above 8 that CAN FD allows, ascending. Read-only.
inline const QList<unsigned char> canFdLengths{12, 16, 20, 24, 32, 48, 64};
