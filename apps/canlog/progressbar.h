// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QCommandLineOption>
#include <QElapsedTimer>
#include <QString>

class QCommandLineParser;

/// `--quiet`
QCommandLineOption quietOption();
/// Whether the option is not set.
bool isBarWanted(const QCommandLineParser &parser);

/**
 * How far the reading of a file has come, as one line on standard error that is drawn anew a few times a second, and at
 * the end the rate. Draws nothing unless standard error is a terminal.
 */
class ProgressBar
{
public:
    /// @p fileName stands before the bar. A bar that is not wanted draws nothing.
    ProgressBar(const QString &fileName, bool isWanted);
    ~ProgressBar() { clear(); }

    /// @p bytesTotal is 0 when it is not known.
    void update(qint64 bytesRead, qint64 bytesTotal);
    /// The same where messages are counted, not bytes.
    void updateMessages(quint64 messagesRead, quint64 messagesTotal);
    /// Wipes the bar away, so that something else can be written.
    void clear();
    /// Replaces the bar by what was read and how fast.
    void finish(quint64 messageCount);

private:
    Q_DISABLE_COPY_MOVE(ProgressBar)

    bool isDue();
    void drawShare(double share, const QString &total);
    void draw(const QString &text);

    const QString name;
    const bool isShown;
    QElapsedTimer sinceStart;
    qint64 nextDrawing = 0; ///< in milliseconds from the start
    qint64 bytes = 0;
    int drawnWidth = 0;
};
