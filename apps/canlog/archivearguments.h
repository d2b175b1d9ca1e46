// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

class QCommandLineParser;

// What the subcommands for archives have in common.

/// The one argument of @p subcommand; empty after a complaint when there is not exactly one.
QString archiveArgument(const QCommandLineParser &parser, const QString &subcommand);
/// The same for subcommands with a store, which must be named, too.
QString archiveAndStoreArgument(const QCommandLineParser &parser, const QString &subcommand);

/// ARCHIVE and --quiet.
void addArchiveOptions(QCommandLineParser &parser);
/// The same and --store.
void addArchiveAndStoreOptions(QCommandLineParser &parser);

/// "3 chunks, 100005 messages"
QString contentText(quint64 chunkCount, quint64 messageCount);
