// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/archivereport.h"

#include <QString>
#include <QStringList>

/// Says on standard error what is wrong with the archive @p path, a line for each entry of @p report that is left out
/// or in doubt. @p refusals has the reasons of those that the store did not take, in their order. False when there is
/// nothing to say.
bool complainOfFaults(const QString &path, const ArchiveReport &report, const QStringList &refusals = {});

/// Which entry that an archive with @p report was to give is the first that did not come, why, and how many more there
/// are; empty when all came. @p refusals is as above.
QString lossText(const ArchiveReport &report, const QStringList &refusals);

/// Without @p reason, for a fault that is none to the work at hand.
ArchiveReport withoutFaults(ArchiveReport report, ArchiveReport::Reason reason);

/// Says on standard error which entries of the archive @p path are no chunks, other than what a store has beside them.
void tellOtherEntries(const QString &path, const ArchiveReport &report);

QString folderAdvice();
QString repackingAdvice();
