#pragma once

#include <QString>

struct Format;

/// Why the file @p path cannot be read and what to try, in one line; empty when it can be.
QString whyUnreadable(const QString &path);
/// What to say of a file that holds no message when it is read as @p format.
QString noMessagesText(const Format &format);
