#include "host/cli/idfilter.h"

#include <QStringList>

#include <algorithm>

constexpr quint32 highestExtendedId = 0x1FFFFFFF;

bool IdFilter::add(const QString &list)
{
    for (const QString &entry : list.split(QLatin1Char(','))) {
        QString digits = entry.trimmed();
        if (digits.compare(QLatin1String("error"), Qt::CaseInsensitive) == 0) {
            wanted.append({errorFrameId, false});
            continue;
        }
        if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
            digits.remove(0, 2);
        // The conversion alone would take a sign, blanks or a second prefix.
        const bool areDigits = std::all_of(digits.cbegin(), digits.cend(),
                                           [](QChar c) { return QLatin1String("0123456789abcdefABCDEF").contains(c); });
        bool ok = false;
        const quint32 id = digits.toUInt(&ok, 16);
        if (!areDigits || !ok || id > highestExtendedId)
            return false;
        wanted.append({id, digits.size() > 3});
    }
    return true;
}

bool IdFilter::passes(const CAN::CanRxMessage &message) const
{
    return wanted.isEmpty() || std::any_of(wanted.cbegin(), wanted.cend(), [&](const Wanted &one) {
               return one.id == message.id && (one.id > CAN::maxStandardId || one.isExtended == message.isExtended);
           });
}
