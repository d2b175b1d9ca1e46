#pragma once

#include "host/cli/inputfile.h"
#include "host/cli/subcommand.h"
#include "host/store/chunkformat.h"
#include "host/store/streamstore.h"

#include <QString>

class ProgressBar;
struct Format;
class QCommandLineOption;
class QCommandLineParser;

/// Counts the messages of one log and keeps none. What else is to be done with them, a class derived from it does.
class LogStore : public StreamStore
{
public:
    quint64 messageCount() const { return count; }
    /// Whether stop() was called.
    bool isStopped() const { return stopped; }
    /// Why the data-chunk file could not be read; empty when it could be, and of other formats.
    QString fault() const { return chunkFault; }

    void addImportedMessages(const QList<CAN::CanRxMessage> &messages, const QMap<unsigned int, QString> &) override
    {
        count += quint64(messages.size());
    }
    bool loadQclFile(QString path) override;

protected:
    /// Gets all that a data-chunk file holds, which addImportedMessages() does not.
    virtual void takeChunk(const ChunkFormat::Chunk &) {}
    /// Has no more of the log read: the rest may be gigabytes long.
    void stop();

private:
    quint64 count = 0;
    bool stopped = false;
    QString chunkFault;
};

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
     * Has @p store take all messages, see readFile(). Failure when not all could be read, which is known only after
     * those that could be, when all frames were dropped, or, with --strict, when a line is faulty; a store that stops
     * makes none. Interrupted after Ctrl-C.
     *
     * @p bar, which may be null, is kept up to date.
     */
    ExitStatus read(LogStore &store, ProgressBar *bar);

    /// Whether read() came to the end of the file, whatever its lines were.
    bool wasReadToEnd() const { return reachedEnd; }

    /// `--strict`
    static QCommandLineOption strictOption();
    /// What the help says of logs that are not read in full.
    static QString warningHelp();

private:
    /// Of a file that was read to its end.
    ExitStatus judge(const LogStore &store, const ImportReport &report) const;

    InputFile input;
    const QCommandLineParser &options;
    bool reachedEnd = false;
    const Format *format = nullptr; ///< once it is open
};
