// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

/// @p text in lines of at most 79 characters: lines that follow one another are one paragraph, but those that are empty
/// or begin with a blank stay as they are.
QString wrapped(const QString &text);
/// A usage line likewise: it is broken between its parts only, not within brackets, and goes on under its beginning.
QString wrappedUsage(const QString &text);

/// The one of @p names that was most likely meant by @p typed, for example "; did you mean 'import'?"; empty when none
/// is near.
QString nearestHint(const QString &typed, const QStringList &names);
