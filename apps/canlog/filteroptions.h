// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

class MessageFilter;
class QCommandLineParser;

/// The options by which all subcommands that read messages choose among them. @p endOption is the name of the option
/// for the end, where "to" means something else.
void addFilterOptions(QCommandLineParser &parser, const QString &endOption = QStringLiteral("to"));
/// The options as a usage line shows them.
QString filterSynopsis(const QString &endOption = QStringLiteral("to"));
/// Sets @p filter, which is fresh, by the options of @p parser. Returns what is wrong with them, empty when nothing is.
QString setFilter(MessageFilter &filter, const QCommandLineParser &parser,
                  const QString &endOption = QStringLiteral("to"));
