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

    /// Whether it can be read, which is asked first; false after a complaint.
    bool open();

    /// Begins to read. @p progress, which may be empty, is told how many bytes of how many were read, 0 when that is
    /// not known.
    void start(const FrameReader::Progress &progress);
    /// Gives the next message and its final note, as soon as they are read. False when there is none, finish() tells
    /// why.
    bool next(CAN::CanRxMessage &message, QString &note);
    /// Ends the reading, be it in the middle. Failure when not all could be read, when all frames were dropped, or,
    /// with --strict, when a line is faulty; not when the reader of the messages wanted no more. Interrupted after
    /// Ctrl-C, see takeInterruptions().
    ExitStatus finish();

    /// All of that: gives all messages to @p visitor, in this thread, until it wants no more; without a visitor they
    /// are counted alone. @p bar, which may be null, is kept up to date.
    ExitStatus read(const MessageVisitor &visitor, ProgressBar *bar);

    QString name() const { return input.name(); }
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
    /// Of a format whose notes are final only when the next message was read.
    bool nextWaiting(CAN::CanRxMessage &message, QString &note);
    bool nextOfChunk(CAN::CanRxMessage &message, QString &note);
    void openChunk();
    void countAll();
    /// Of a file that was read to its end.
    ExitStatus judge() const;

    InputFile input;
    const QCommandLineParser &options;
    const Format *format = nullptr; ///< once it is open

    std::unique_ptr<FrameReader> reader; ///< null: of a data chunk
    ChunkFormat::Chunk chunk;
    int nextInChunk = 0;
    bool waits = false;
    bool hasLatest = false;
    CAN::CanRxMessage latest; ///< when it waits
    QString latestNote;

    // Of what was read
    quint64 count = 0;
    bool isAtEnd = false; ///< next() was false
    bool reachedEnd = false;
    QString fault; ///< why not all could be read
    ImportReport report;
};
