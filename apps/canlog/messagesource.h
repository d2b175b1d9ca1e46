// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "apps/canlog/importchoice.h"
#include "apps/canlog/logfile.h"
#include "apps/canlog/subcommand.h"
#include "host/selection/messagefilter.h"

#include <QString>

#include <functional>
#include <memory>
#include <vector>

class ChunkStore;
class ProgressBar;
class QCommandLineParser;

/**
 * Where a subcommand that reads messages gets them from: log files, or one store. Whatever goes wrong is said on
 * standard error. Keeps no message but the latest of each file.
 */
class MessageSource
{
public:
    MessageSource();
    ~MessageSource();

    /// FILE, --store, how a file is read, and which messages are wanted.
    static void addOptions(QCommandLineParser &parser);
    /// The options as a usage line shows them.
    static QString synopsis();

    /// Chooses what the command line of @p subcommand names, and of that the messages that its filters let pass; false
    /// after a complaint when it makes no sense.
    bool choose(const QCommandLineParser &parser, const QString &subcommand);
    /// Chooses a file, to be read as the options in @p parser say, which formatProblem() has nothing to say of; the
    /// parser must live as long as this object.
    void chooseFile(const QString &path, const QCommandLineParser &parser);
    /// Chooses the imports @p choice of a store.
    void chooseStore(const QString &folder, const ImportChoice &choice);
    /// Lets only these messages through.
    void setFilter(const MessageFilter &wanted) { filter = wanted; }
    /// Has @p listener called before the first message of each import of a store: it may have a time base of its own.
    void setImportListener(const std::function<void()> &listener) { importListener = listener; }

    /// The file or folder, for people; of several files how many they are.
    QString name() const;

    /// What the log of the message that the visitor has said of itself, or of the last one.
    LogInfo info() const;
    /// Whether the log tells the direction of that message. A store does not keep that.
    bool isDirectionTold() const { return !store && files.at(std::size_t(current))->isDirectionTold(); }
    /// Which of the logs that is: of files their number from 0, of a store the import.
    int logNumber() const { return current; }

    /// Whether there is something to visit(), which is asked first; false after a complaint.
    bool open();
    /// Whether there were messages at all, chosen or not.
    bool hasMessages() const { return anyMessage; }
    /**
     * Gives all chosen messages in their order to @p visitor, those of several files in the order of their times.
     * Failure when something could not be read, which is known only after the messages that could be; a visitor that
     * wants no more makes none. Interrupted after Ctrl-C, see takeInterruptions(). @p bar, which may be null, is kept
     * up to date.
     */
    ExitStatus visit(const MessageVisitor &visitor, ProgressBar *bar = nullptr);

private:
    Q_DISABLE_COPY_MOVE(MessageSource)

    ExitStatus visitStore(const MessageVisitor &visitor, ProgressBar *bar);
    ExitStatus visitFile(const MessageVisitor &visitor, ProgressBar *bar);
    ExitStatus visitFiles(const MessageVisitor &visitor, ProgressBar *bar);
    /// What the filter could not tell of the log called @p log; returns what @p status becomes by that.
    ExitStatus complainOfFilter(const MessageFilter &used, const QString &log, ExitStatus status) const;

    QString path;                      ///< of the store
    std::unique_ptr<ChunkStore> store; ///< null: logs are read
    std::vector<std::unique_ptr<LogFile>> files;
    MessageFilter filter;
    bool anyMessage = false;
    ImportChoice imports;
    int current = 0; ///< import of the store, or file
    std::function<void()> importListener;
};
