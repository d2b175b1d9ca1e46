// SPDX-License-Identifier: Apache-2.0
#include "host/selection/messagefilter.h"

#include "host/store/framekind.h"
#include "host/store/timetext.h"

#include <QCommandLineParser>

#include <algorithm>
#include <optional>
#include <utility>

namespace
{

constexpr quint32 highestExtendedId = 0x1FFFFFFF;
constexpr quint32 allBits = 0xFFFFFFFF;

struct Id {
    quint32 value;
    bool isExtended;
};

std::optional<Id> readId(QString digits)
{
    if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        digits.remove(0, 2);
    // The conversion alone would take a sign, blanks or a second prefix.
    const bool areDigits = std::all_of(digits.cbegin(), digits.cend(),
                                       [](QChar c) { return QLatin1String("0123456789abcdefABCDEF").contains(c); });
    bool ok = false;
    const quint32 value = digits.toUInt(&ok, 16);
    if (!areDigits || !ok || value > highestExtendedId)
        return {};
    return Id{value, digits.size() > 3 || value > CAN::maxStandardId};
}

std::optional<quint16> readChannel(const QString &text)
{
    bool ok = false;
    const quint16 channel = text.toUShort(&ok);
    if (!ok || !text.at(0).isDigit()) // the conversion alone would take a sign
        return {};
    return channel;
}

} // namespace

void MessageFilter::addOptions(QCommandLineParser &parser, const QString &endOption)
{
    parser.addOption({QStringLiteral("id"),
                      QStringLiteral("Only these identifiers: up to three digits for standard frames; more digits, or "
                                     "a value above 7FF, for extended ones; 'error' for error frames. 100-1FF is a "
                                     "range, 100:700 those that equal 100 in the bits of the mask 700."),
                      QStringLiteral("HEX[,HEX]")});
    parser.addOption({QStringLiteral("channel"), QStringLiteral("Only these channels."), QStringLiteral("N[,N]")});
    parser.addOption({QStringLiteral("from"),
                      QStringLiteral("Only messages with this time stamp or a later one, with up to six decimals."),
                      QStringLiteral("SECONDS")});
    parser.addOption({endOption, QStringLiteral("Only messages with this time stamp or an earlier one."),
                      QStringLiteral("SECONDS")});
    parser.addOption({QStringLiteral("direction"),
                      QStringLiteral("Only messages that were received (rx) or sent (tx) by the node that logged."),
                      QStringLiteral("rx|tx")});
    parser.addOption({QStringLiteral("notes-only"), QStringLiteral("Only messages that have a note.")});
}

QString MessageFilter::synopsis(const QString &endOption)
{
    return QStringLiteral("[--id HEX[,HEX]] [--channel N[,N]] [--from SECONDS] [--%1 SECONDS] [--direction rx|tx] "
                          "[--notes-only]")
        .arg(endOption);
}

QString MessageFilter::set(const QCommandLineParser &parser, const QString &endOption)
{
    notesOnly = parser.isSet(QStringLiteral("notes-only"));
    QString problem = setIds(parser.values(QStringLiteral("id")));
    if (problem.isEmpty())
        problem = setChannels(parser.values(QStringLiteral("channel")));
    if (problem.isEmpty())
        problem = setTimes(parser, endOption);
    if (problem.isEmpty())
        problem = setDirection(parser);
    return problem;
}

QString MessageFilter::setIds(const QStringList &lists)
{
    ids.clear();
    wantsErrorFrames = false;
    choosesIds = !lists.isEmpty();
    for (const QString &list : lists) {
        for (const QString &entry : list.split(QLatin1Char(','))) {
            if (!addIds(entry.trimmed()))
                return QStringLiteral("bad --id '%1', wanted are hexadecimal identifiers up to 1FFFFFFF, ranges "
                                      "100-1FF, masks 100:700 or 'error'")
                    .arg(list);
        }
    }
    return {};
}

bool MessageFilter::addIds(const QString &entry)
{
    if (entry.compare(QLatin1String("error"), Qt::CaseInsensitive) == 0) {
        wantsErrorFrames = true;
        return true;
    }
    const int colon = entry.indexOf(QLatin1Char(':'));
    if (colon >= 0)
        return addMask(entry.left(colon), entry.mid(colon + 1));
    const int hyphen = entry.indexOf(QLatin1Char('-'));
    const std::optional<Id> first = readId(entry.left(hyphen));
    const std::optional<Id> last = hyphen >= 0 ? readId(entry.mid(hyphen + 1)) : first;
    // A range from a standard to an extended identifier leaves open which of them it means.
    if (!first || !last || first->isExtended != last->isExtended || first->value > last->value)
        return false;
    ids.append({first->value, last->value, allBits, first->isExtended});
    return true;
}

bool MessageFilter::addMask(const QString &idText, const QString &maskText)
{
    const std::optional<Id> id = readId(idText);
    const std::optional<Id> mask = readId(maskText);
    if (!id || !mask)
        return false;
    const quint32 value = id->value & mask->value;
    ids.append({value, value, mask->value, id->isExtended});
    return true;
}

QString MessageFilter::setChannels(const QStringList &lists)
{
    channels.clear();
    for (const QString &list : lists) {
        for (const QString &entry : list.split(QLatin1Char(','))) {
            const std::optional<quint16> channel = readChannel(entry.trimmed());
            if (!channel)
                return QStringLiteral("bad --channel '%1', wanted are numbers from 0 to 65535").arg(list);
            channels.insert(*channel);
        }
    }
    return {};
}

QString MessageFilter::setTimes(const QCommandLineParser &parser, const QString &endOption)
{
    from = std::numeric_limits<qint64>::min();
    to = std::numeric_limits<qint64>::max();
    const std::pair<QString, qint64 *> limits[] = {{QStringLiteral("from"), &from}, {endOption, &to}};
    for (const auto &[option, limit] : limits) {
        if (!parser.isSet(option))
            continue;
        const std::optional<qint64> time = microsecondsFromText(parser.value(option));
        if (!time)
            return QStringLiteral("bad --%1 '%2', wanted are seconds with up to six decimals")
                .arg(option, parser.value(option));
        *limit = *time;
    }
    if (from > to)
        return QStringLiteral("--from %1 is after --%2 %3")
            .arg(parser.value(QStringLiteral("from")), endOption, parser.value(endOption));
    return {};
}

QString MessageFilter::setDirection(const QCommandLineParser &parser)
{
    direction = Direction::Any;
    if (!parser.isSet(QStringLiteral("direction")))
        return {};
    const QString text = parser.value(QStringLiteral("direction"));
    if (text.compare(QLatin1String("rx"), Qt::CaseInsensitive) == 0)
        direction = Direction::Rx;
    else if (text.compare(QLatin1String("tx"), Qt::CaseInsensitive) == 0)
        direction = Direction::Tx;
    else
        return QStringLiteral("bad --direction '%1', wanted is rx or tx").arg(text);
    return {};
}

bool MessageFilter::passes(const CAN::CanRxMessage &message, bool hasNote) const
{
    if ((notesOnly && !hasNote) || (direction != Direction::Any && message.isTx != (direction == Direction::Tx)))
        return false;
    const qint64 time = inMicroseconds(message.timeStamp);
    return time >= from && time <= to && (channels.isEmpty() || channels.contains(message.channel))
           && passesIds(message);
}

bool MessageFilter::passesIds(const CAN::CanRxMessage &message) const
{
    if (!choosesIds)
        return true;
    if (message.id == CAN::errorFrameId)
        return wantsErrorFrames;
    return std::any_of(ids.cbegin(), ids.cend(), [&](const Wanted &wanted) {
        const quint32 id = message.id & wanted.mask;
        return wanted.isExtended == hasExtendedId(message) && id >= wanted.first && id <= wanted.last;
    });
}
