// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/filteroptions.h"

#include "host/selection/messagefilter.h"

#include <QCommandLineParser>

#include <functional>

void addFilterOptions(QCommandLineParser &parser, const QString &endOption)
{
    parser.addOption({QStringLiteral("id"),
                      QStringLiteral("Only these identifiers: up to three digits for standard frames; more digits, or "
                                     "a value above 7FF, for extended ones; 'error' for error frames. 100-1FF is a "
                                     "range, 100:700 those that equal 100 in the bits of the mask 700."),
                      QStringLiteral("HEX[,HEX]")});
    parser.addOption({QStringLiteral("channel"),
                      QStringLiteral("Only these channels, by number or by the name that the log has for them (can0)."),
                      QStringLiteral("N[,N]")});
    parser.addOption({QStringLiteral("from"),
                      QStringLiteral("Only messages with this time stamp or a later one: 12.5 as the log counts, +2.5 "
                                     "after its first message, or 2024-05-21T09:40 (local time; Z at the end: UTC)."),
                      QStringLiteral("TIME")});
    parser.addOption(
        {endOption, QStringLiteral("Only messages with this time stamp or an earlier one."), QStringLiteral("TIME")});
    parser.addOption({QStringLiteral("direction"),
                      QStringLiteral("Only messages that were received (rx) or sent (tx) by the node that logged."),
                      QStringLiteral("rx|tx")});
    parser.addOption({QStringLiteral("notes-only"), QStringLiteral("Only messages that have a note.")});
}

QString filterSynopsis(const QString &endOption)
{
    return QStringLiteral("[--id HEX[,HEX]] [--channel N[,N]] [--from TIME] [--%1 TIME] [--direction rx|tx] "
                          "[--notes-only]")
        .arg(endOption);
}

QString setFilter(MessageFilter &filter, const QCommandLineParser &parser, const QString &endOption)
{
    using Set = std::function<QString(const QString &)>;
    const std::pair<QString, Set> options[] = {
        {QStringLiteral("id"), [&](const QString &text) { return filter.addIds(text); }},
        {QStringLiteral("channel"), [&](const QString &text) { return filter.addChannels(text); }},
        {QStringLiteral("from"), [&](const QString &text) { return filter.setFrom(text); }},
        {endOption, [&](const QString &text) { return filter.setTo(text); }},
        {QStringLiteral("direction"), [&](const QString &text) { return filter.setDirection(text); }},
    };
    for (const auto &[name, set] : options) {
        for (const QString &text : parser.values(name)) {
            const QString problem = set(text);
            if (!problem.isEmpty())
                return QStringLiteral("bad --%1 '%2', %3").arg(name, text, problem);
        }
    }
    if (filter.isEmptySpan()) {
        return QStringLiteral("--from %1 is after --%2 %3")
            .arg(parser.value(QStringLiteral("from")), endOption, parser.value(endOption));
    }
    filter.setNotesOnly(parser.isSet(QStringLiteral("notes-only")));
    return {};
}
