// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/canlog/importchoice.h"
#include "apps/canlog/logfile.h"
#include "apps/canlog/subcommand.h"

#include <QString>

#include <functional>
#include <memory>

class ChunkStore;
class ProgressBar;
class QCommandLineParser;

/**
 * Where a subcommand that reads messages gets them from: one log file, or one store. Whatever goes wrong is said on
 * standard error. Keeps no message but the latest of a file, which may still get a note.
 */
class MessageSource
{
public:
    MessageSource();
    ~MessageSource();

    /// FILE, --store and how a file is read.
    static void addOptions(QCommandLineParser &parser);
    /// The options as a usage line shows them.
    static QString synopsis();

    /// Chooses what the command line of @p subcommand names; false after a complaint when it makes no sense.
    bool choose(const QCommandLineParser &parser, const QString &subcommand);
    /// Chooses a file, to be read as the options in @p parser say, which formatProblem() has nothing to say of; the
    /// parser must live as long as this object.
    void chooseFile(const QString &path, const QCommandLineParser &parser);
    /// Chooses the imports @p choice of a store.
    void chooseStore(const QString &folder, const ImportChoice &choice);
    /// Has @p listener called before the first message of each import of a store: it may have a time base of its own.
    void setImportListener(const std::function<void()> &listener) { importListener = listener; }

    /// The file or folder, for people.
    QString name() const { return path; }

    /// What the log of the message that the visitor has said of itself, or of the last one.
    LogInfo info() const;
    /// Whether the log tells the direction of that message. A store does not keep that.
    bool isDirectionTold() const { return file && file->isDirectionTold(); }

    /// Whether there is something to visit(), which is asked first; false after a complaint.
    bool open();
    /**
     * Gives all messages in their order to @p visitor. Failure when something could not be read, which is known only
     * after the messages that could be; a visitor that wants no more makes none. Interrupted after Ctrl-C, see
     * takeInterruptions(). @p bar, which may be null, is kept up to date.
     */
    ExitStatus visit(const MessageVisitor &visitor, ProgressBar *bar = nullptr);

private:
    Q_DISABLE_COPY_MOVE(MessageSource)

    ExitStatus visitStore(const MessageVisitor &visitor, ProgressBar *bar);

    QString path;
    std::unique_ptr<LogFile> file;     ///< null: the path is the folder of a store
    std::unique_ptr<ChunkStore> store; ///< null: the path is a log
    ImportChoice imports;
    int currentImport = 0; ///< of the store
    std::function<void()> importListener;
};
