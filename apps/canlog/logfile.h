// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/canlog/inputfile.h"
#include "apps/canlog/subcommand.h"
#include "common/importreport.h"
#include "host/store/chunkformat.h"
#include "readers/framereader.h"

#include <QString>

#include <memory>

class ProgressBar;
struct Format;
class QCommandLineOption;
class QCommandLineParser;

/// Gets one message and its final note (empty: none); returns false when it wants no more. The message is valid during
/// the call.
using MessageVisitor = ChunkFormat::Visitor;

/// A log named on the command line that is read without a store on disk. Whatever goes wrong is said on standard error.
class LogFile
{
public:
    /// To be read as the options in @p parser say, which formatProblem() has nothing to say of; the parser must live as
    /// long as this object.
    LogFile(const QString &path, const QCommandLineParser &parser);

    /// Whether it can be read(), which is asked first; false after a complaint.
    bool open();
    /**
     * Gives all messages to @p visitor, in this thread and as soon as they are read; without a visitor they are counted
     * alone. Failure when not all could be read, which is known only after those that could be, when all frames were
     * dropped, or, with --strict, when a line is faulty; a visitor that wants no more makes none. Interrupted after
     * Ctrl-C, see takeInterruptions().
     *
     * @p bar, which may be null, is kept up to date.
     */
    ExitStatus read(const MessageVisitor &visitor, ProgressBar *bar);
    /// How many messages were read.
    quint64 messageCount() const { return count; }

    /// What the log has said of itself so far; still there after read().
    LogInfo info() const { return reader ? reader->info() : LogInfo(); }
    /// Whether the log tells the direction of the message that the visitor has.
    bool isDirectionTold() const { return reader && reader->toldFields().direction; }

    /// Whether read() came to the end of the file, whatever its lines were.
    bool wasReadToEnd() const { return reachedEnd; }

    /// `--strict`
    static QCommandLineOption strictOption();
    /// What the help says of logs that are not read in full.
    static QString warningHelp();

private:
    bool readChunk(const MessageVisitor &visitor);
    bool pull(const MessageVisitor &visitor, ProgressBar *bar);
    /// Of a file that was read to its end.
    ExitStatus judge() const;

    InputFile input;
    const QCommandLineParser &options;
    bool reachedEnd = false;
    const Format *format = nullptr; ///< once it is open

    std::unique_ptr<FrameReader> reader; ///< of a log, once it is read

    // Of what was read
    quint64 count = 0;
    bool isStopped = false; ///< by the visitor
    QString fault;          ///< why not all could be read
    ImportReport report;
};
