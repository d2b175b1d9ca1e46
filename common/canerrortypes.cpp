// SPDX-License-Identifier: Apache-2.0
#include "common/canerrortypes.h"

const QMap<unsigned char, QString> canErrorTypeNames{
    {1, QStringLiteral("Stuff error")},          {2, QStringLiteral("Form error")},
    {3, QStringLiteral("Acknowledgment error")}, {4, QStringLiteral("Bit error")},
    {5, QStringLiteral("Fast data bit error")},  {6, QStringLiteral("CRC error")},
    {7, QStringLiteral("Data length error")},    {8, QStringLiteral("unspecified error")},
};

const QList<unsigned char> canFdLengths{12, 16, 20, 24, 32, 48, 64};
