// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/progressbar.h"

#include "apps/canlog/output.h"

#include <QCommandLineParser>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>
#include <limits>

#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

constexpr qint64 drawingInterval = 100; // in milliseconds
constexpr int barWidth = 30;

bool isStandardErrorATerminal()
{
    return isatty(STDERR_FILENO) != 0;
}

QString megabytes(double count)
{
    return QStringLiteral("%1 MB").arg(count / 1e6, 0, 'f', 1);
}

} // namespace

QCommandLineOption quietOption()
{
    // Subcommands without a bar take it, too, so that a script can pass it to all of them.
    return {{QStringLiteral("q"), QStringLiteral("quiet")}, QStringLiteral("No progress bar, not even on a terminal.")};
}

bool isBarWanted(const QCommandLineParser &parser)
{
    return !parser.isSet(QStringLiteral("quiet"));
}

ProgressBar::ProgressBar(const QString &fileName, bool isWanted)
    : name(printable(QFileInfo(fileName).fileName()))
    , isShown(isWanted && isStandardErrorATerminal())
{
    sinceStart.start();
}

void ProgressBar::clear()
{
    if (drawnWidth > 0)
        draw({});
}

void ProgressBar::update(qint64 bytesRead, qint64 bytesTotal)
{
    bytes = bytesRead;
    if (!isDue())
        return;
    if (bytesTotal <= 0)
        draw(QStringLiteral("%1: %2").arg(name, megabytes(double(bytesRead))));
    else
        drawShare(double(bytesRead) / double(bytesTotal), megabytes(double(bytesTotal)));
}

void ProgressBar::updateMessages(quint64 messagesRead, quint64 messagesTotal)
{
    if (isDue() && messagesTotal > 0)
        drawShare(double(messagesRead) / double(messagesTotal), counted(messagesTotal, QStringLiteral("message")));
}

/// Whether the bar is to be drawn anew, as is assumed then.
bool ProgressBar::isDue()
{
    if (!isShown || sinceStart.elapsed() < nextDrawing)
        return false;
    nextDrawing = sinceStart.elapsed() + drawingInterval;
    return true;
}

void ProgressBar::drawShare(double share, const QString &total)
{
    share = std::min(share, 1.0);
    const QString done(int(share * barWidth), QLatin1Char('#'));
    draw(QStringLiteral("%1: [%2] %3 % of %4")
             .arg(name, done.leftJustified(barWidth, QLatin1Char('.')), QString::number(int(share * 100)), total));
}

void ProgressBar::finish(quint64 messageCount)
{
    if (!isShown)
        return;
    const double seconds = std::max(double(sinceStart.nsecsElapsed()) / 1e9, 1e-6);
    draw(QStringLiteral("%1: %2 in %3 s, %4/s, %5 messages/s")
             .arg(name, megabytes(double(bytes)), QString::number(seconds, 'f', 2), megabytes(double(bytes) / seconds),
                  QString::number(double(messageCount) / seconds, 'f', 0)));
    std::fputc('\n', stderr);
    drawnWidth = 0;
}

/// A line that is longer than the terminal is wide would be broken, and drawn anew below.
static int terminalWidth()
{
    winsize size{};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col - 1 : std::numeric_limits<int>::max();
}

void ProgressBar::draw(const QString &wholeText)
{
    const QString text = wholeText.left(terminalWidth());
    const QByteArray line = '\r' + text.leftJustified(drawnWidth).toLocal8Bit() + (text.isEmpty() ? "\r" : "");
    std::fwrite(line.constData(), 1, std::size_t(line.size()), stderr);
    std::fflush(stderr);
    drawnWidth = int(text.size());
}
