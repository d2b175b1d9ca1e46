// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/text/textdecoder.h"

#include <QByteArray>
#include <QIODevice>
#include <QString>

#include <functional>

/**
 * Hands out the lines of an open file or other device as views: the same lines, to the last character, as
 *
 *     QTextStream stream(&file);
 *     while (!stream.atEnd())
 *         stream.readLine();
 *
 * gives for a file that stays as it is, with the stream's default codec and its byte-order marks. A line ends at a
 * line feed; one carriage return before it, or at the end of the file, belongs to the line end.
 *
 * A pipe, of which that loop would give nothing, is read to its end: until there is nothing to be read and waiting for
 * more is in vain. Of a sequential device a line is given as soon as its end was read. No line costs an allocation.
 * Only the end of a line longer than maxLineLength is lost: no tool writes such a line, and a broken file must not fill
 * the memory. A file that cannot be read any further ends there, and readError() says why.
 */
class LineReader
{
public:
    /// In characters; a line is cut there.
    static constexpr int maxLineLength = 16 * 1024 * 1024;

    /// Called after each block with the bytes read so far; false ends the reading at once.
    using BlockRead = std::function<bool(qint64 bytesRead)>;

    /// Reads @p file from where it stands; the file is not owned and must be open for reading.
    explicit LineReader(QIODevice &file, BlockRead blockRead = {});

    /// Shows the first @p count characters to @p goesOn, piece by piece, until that is false or the file ends. To be
    /// called before the first next(), which starts with the first line all the same: what was read is kept until then,
    /// so that also a pipe can be looked at.
    void peek(int count, const std::function<bool(QStringView piece)> &goesOn);

    /// Moves to the next line. False after the last one.
    bool next();
    /// The current line without its end; valid until the next call of next() or rewind().
    QStringView line() const { return QStringView(buffer).mid(lineStart, lineLength); }
    /// Whether the current line is longer than that.
    bool isCut() const { return cut; }

    /// Bytes taken from the file so far, in whole blocks: a little ahead of the current line.
    qint64 bytesRead() const { return bytes; }

    /// Why the file could not be read any further; empty when it was read to its end.
    QString readError() const { return error; }

    /// Back to the first line of the file. False when the file cannot seek.
    bool rewind();

private:
    Q_DISABLE_COPY_MOVE(LineReader)

    bool atEnd() const;
    int findLineFeed();
    bool fill();
    qint64 readBlock(char *block);
    qint64 readDevice(char *block, bool isFirst);
    qint64 endOfDevice(qint64 size);

    QIODevice &file;
    QByteArray seen;   ///< by peek(), to be read before the rest of the file
    int seenTaken = 0; ///< how much of it was read
    TextDecoder decoder;
    QString buffer;    ///< decoded text from the current line on
    int lineStart = 0; ///< of the current line in the buffer
    int lineLength = 0;
    int nextStart = 0;     ///< of the line after it
    int searched = 0;      ///< the buffer up to here was searched for line feeds
    int searchedFrom = 0;  ///< where the last block searched begins
    quint64 lineFeeds = 0; ///< those found in it that no line has taken, a bit for each character
    bool cut = false;      ///< the end of the current line was lost
    bool ended = false;    ///< the file gave no more
    qint64 bytes = 0;
    BlockRead blockRead;
    bool stopped = false; ///< by blockRead
    QString error;
};
