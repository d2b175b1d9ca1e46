// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

// Free text, such as a note or a file name, on its way out. Logs are read leniently, so it may hold anything: halves of
// characters, commands to a terminal, marks that turn the direction of a line.

/// Whether @p c commands a terminal or breaks or turns a line instead of standing for something to read: a control
/// character, a line or paragraph separator, or a mark of the writing direction.
bool isControl(QChar c);

/// @p text with U+FFFD for each surrogate without its other half. Without that, Qt's conversions to bytes write no
/// valid UTF-8, or less than the text.
QString wellFormed(const QString &text);

/// @p text in valid UTF-8.
QByteArray toUtf8(const QString &text);

/// @p text fit for one line on a terminal or in a log: well-formed, and isControl() characters as "U+001B".
QString printable(const QString &text);
