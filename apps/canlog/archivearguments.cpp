// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/archivearguments.h"

#include "apps/canlog/output.h"
#include "apps/canlog/progressbar.h"
#include "apps/canlog/storefolder.h"

#include <QCommandLineParser>

QString archiveArgument(const QCommandLineParser &parser, const QString &subcommand)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() == 1 && !arguments.constFirst().isEmpty())
        return arguments.constFirst();
    wrongUsage(QStringLiteral("%1 needs one ARCHIVE").arg(subcommand), subcommand);
    return {};
}

QString archiveAndStoreArgument(const QCommandLineParser &parser, const QString &subcommand)
{
    const QString problem = storeProblem(parser);
    if (problem.isEmpty())
        return archiveArgument(parser, subcommand);
    wrongUsage(problem, subcommand);
    return {};
}

void addArchiveOptions(QCommandLineParser &parser)
{
    parser.addPositionalArgument(QStringLiteral("ARCHIVE"), QStringLiteral("A zip archive of data chunks."));
    parser.addOption(quietOption());
}

void addArchiveAndStoreOptions(QCommandLineParser &parser)
{
    addArchiveOptions(parser);
    parser.addOption(storeOption());
}

QString contentText(quint64 chunkCount, quint64 messageCount)
{
    return counted(chunkCount, QStringLiteral("chunk")) + QLatin1String(", ")
           + counted(messageCount, QStringLiteral("message"));
}
