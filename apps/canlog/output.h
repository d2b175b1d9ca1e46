// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/canlog/subcommand.h"
#include "host/convert/plaintext.h" // for printable(), which whatever is written by other ways must pass

#include <QByteArray>
#include <QString>

#include <cstddef>

/**
 * Standard output, buffered: results and nothing else. A reader that goes away (`canlog show | head`) is no error; what
 * is written from then on is dropped, and isOpen() tells work that has no other purpose that it may stop.
 */
class Output
{
public:
    Output();

    void write(const char *text, std::size_t size);
    void write(const QByteArray &text);
    /// @p text, made printable, in the locale's encoding and a line end.
    void writeLine(const QString &text);
    /// Hands on what is buffered, for results that take a while to follow one another.
    void flush();

    /// False after a write that failed.
    bool isOpen() const { return errorNumber == 0; }
    /// To be called last: flushes, and complains of a write that failed for any other reason than a reader gone away.
    /// Returns the status to end with, given the @p status of the work.
    ExitStatus finish(ExitStatus status);

private:
    Q_DISABLE_COPY_MOVE(Output)

    int errorNumber = 0;
};

/// One line "canlog: text" on standard error.
void complain(const QString &text);
/// The same for a problem of the file or folder @p path.
void complain(const QString &path, const QString &text);
/// complain() of a wrong command line, with a pointer to the help of @p subcommand (empty: of canlog itself).
ExitStatus wrongUsage(const QString &text, const QString &subcommand = QString());
/// complain() that Ctrl-C ended the reading of the file or folder @p path.
ExitStatus interrupted(const QString &path);

/// "1 message", "2 messages"
QString counted(quint64 count, const QString &what);
