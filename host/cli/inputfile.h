#pragma once

#include <QString>
#include <QTemporaryFile>

#include <memory>

struct gzFile_s; // of zlib
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
/// What to say of a file some of whose lines were faulty by its @p report, for those who see no other of it; empty when
/// none were.
QString faultyLinesText(const ImportReport &report);

/**
 * A log named on the command line. The library reads plain files only: standard input ("-") and what gzip compressed,
 * also there, are copied to a temporary file, which goes with this object.
 */
class InputFile
{
public:
    explicit InputFile(const QString &fileArgument)
        : argument(fileArgument)
    {
    }

    /// Makes path() readable. Returns why that cannot be done and what to try, in one line; empty when it is.
    QString prepare();
    /// As it was named, for people.
    QString name() const { return argument; }
    /// The plain file to be read.
    QString path() const { return copy ? copy->fileName() : argument; }
    bool isCopy() const { return copy != nullptr; }

private:
    template <typename Read>
    QString copyFrom(Read read);
    QString copyUnpacked(gzFile_s *input);

    const QString argument;
    std::unique_ptr<QTemporaryFile> copy;
};
