// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/reading/beginningdevice.h"
#include "host/reading/detect.h"
#include "host/reading/gzipdevice.h"

#include <QString>
#include <QTemporaryFile>

#include <memory>

class PipeDevice;
struct Format;
struct ImportReport;

/// What a file named on the command line is to be: standard input can be a log, but no archive.
enum class FileKind { Log, Archive };

/// Why the file @p path cannot be read and what to try, in one line; empty when it can be. Only plain files can.
QString whyUnreadable(const QString &path, FileKind kind);
/// What to say of a file that could not be read as @p format, for @p reason, which may be empty.
QString notReadText(const Format &format, const QString &reason);
/// What the log consists of by its @p report: "line", or "object".
QString unitText(const ImportReport &report);
/// Names on standard error what was passed over in @p path by its @p report, and what else there is to say of it.
void complainOfRemarks(const QString &path, const ImportReport &report);
/// What to say of a file that holds no message when it is read as @p format; @p report tells what its lines lacked.
QString noMessagesText(const Format &format, const ImportReport &report);
/// What to say of notes that its @p report calls cut; empty when none were.
QString cutNotesText(const ImportReport &report);
/// Whether the log held frames by its @p report, and all of them were dropped: nothing of it was read.
bool areAllDropped(const ImportReport &report);
/// What to say of a file some of whose lines were faulty by its @p report, for those who see no other of it; empty when
/// none were. It is a warning unless they are to be a failure.
QString faultyLinesText(const ImportReport &report, bool isFailure = false);

/**
 * A log named on the command line: a plain file, which the library reads by its path, or a stream, which it reads as it
 * comes: standard input ("-"), and what gzip compressed.
 */
class InputFile
{
public:
    explicit InputFile(const QString &fileArgument);
    ~InputFile();

    /// Opens it. Returns why that cannot be done and what to try, in one line; empty when it is.
    QString prepare();
    /// As it was named, for people.
    QString name() const { return argument; }
    /// What its first bytes say of its format; reads no more than is needed for that.
    Detection detect();
    /// Why what was looked at or read so far ends before the end of a stream; empty when it does not.
    QString fault() const;

    /// A native chunk is read by its path only: a stream is copied to a temporary file, which goes with this object.
    /// Returns as prepare() does.
    QString copyToFile();

    /// The plain file to be read, or the name of a stream.
    QString path() const { return copy ? copy->fileName() : argument; }
    bool isStream() const { return content && !copy; }
    bool isPlainFile() const { return !content; }
    /// Of a stream: what is to be read, once; in bytes of the file, how much of it was read and how much there is, 0
    /// when that is not known.
    QIODevice &device() const { return *content; }
    qint64 bytesRead() const;
    qint64 bytesTotal() const { return source->isSequential() ? 0 : source->size(); }
    /// Whether it is a live log, and then whether more of it is there within so many milliseconds.
    bool isLive() const { return pipe && !gzip; }
    bool hasInput(int milliseconds) const;
    /// What to say of a stream that cannot be read any further because of @p reason.
    QString withAdvice(const QString &reason) const;

private:
    Q_DISABLE_COPY_MOVE(InputFile)

    QString openStream();
    /// What the bytes that have arrived say.
    Detection detectBeginning();

    const QString argument;
    // Of a stream, each reads the one before.
    std::unique_ptr<QIODevice> source;
    PipeDevice *pipe = nullptr; ///< the source, when it is standard input
    std::unique_ptr<BeginningDevice> sourceStart;
    std::unique_ptr<GzipDevice> gzip; ///< null: not compressed
    std::unique_ptr<BeginningDevice> content;

    std::unique_ptr<QTemporaryFile> copy;
};
