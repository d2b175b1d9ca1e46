#pragma once

#include <QString>

struct Format;

/// Why the file @p path cannot be read and what to try, in one line; empty when it can be. Only plain files can.
QString whyUnreadable(const QString &path);
/// What to say of a file that could not be read as @p format, for @p reason, which may be empty.
QString notReadText(const Format &format, const QString &reason);
/// What to say of a file that holds no message when it is read as @p format.
QString noMessagesText(const Format &format);
