#pragma once

#include "host/cli/detect.h"
#include "host/reading/beginningdevice.h"
#include "host/reading/gzipdevice.h"

#include <QString>
#include <QTemporaryFile>

#include <memory>

class ProgressBar;
struct Format;
struct ImportReport;

/// What a file named on the command line is to be: standard input can be a log, but no archive.
enum class FileKind { Log, Archive };

/// Why the file @p path cannot be read and what to try, in one line; empty when it can be. Only plain files can.
QString whyUnreadable(const QString &path, FileKind kind);
/// What to say of a file that could not be read as @p format, for @p reason, which may be empty.
QString notReadText(const Format &format, const QString &reason);
/// What to say of a file that holds no message when it is read as @p format; @p report tells what its lines lacked.
QString noMessagesText(const Format &format, const ImportReport &report);
/// Whether the log held frames by its @p report, and all of them were dropped: nothing of it was read.
bool areAllDropped(const ImportReport &report);
/// What to say of a file some of whose lines were faulty by its @p report, for those who see no other of it; empty when
/// none were. It is a warning unless they are to be a failure.
QString faultyLinesText(const ImportReport &report, bool isFailure = false);

/**
 * A log named on the command line: a plain file, which the library reads by its path, or standard input ("-") or what
 * gzip compressed, which is copied to a temporary file before; that goes with this object.
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

    /// Makes path() readable; to be called once, after prepare(). Returns as that does. @p bar, which may be null, is
    /// kept up to date.
    QString makeReadable(ProgressBar *bar);
    /// The plain file to be read.
    QString path() const { return copy ? copy->fileName() : argument; }
    bool isCopy() const { return copy != nullptr; }
    /// Why the file ends before its end, for people; empty when it does not.
    QString fault() const;

private:
    Q_DISABLE_COPY_MOVE(InputFile)

    QString openStream();
    qint64 bytesRead() const;

    const QString argument;
    // Where not a plain file is read, each reads the one before.
    std::unique_ptr<QIODevice> source;
    std::unique_ptr<BeginningDevice> sourceStart;
    std::unique_ptr<GzipDevice> gzip; ///< null: not compressed
    std::unique_ptr<BeginningDevice> content;

    std::unique_ptr<QTemporaryFile> copy;
    QString copyFault;
};
