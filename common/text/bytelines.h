// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QString>

#include <functional>
#include <memory>
#include <string_view>

/**
 * Hands out the lines of an open device as bytes, in a block that is used again: no line costs an allocation, and
 * nothing is decoded. For formats whose keywords and numbers are ASCII; text for people is decoded by decodedText().
 *
 * A line ends at a line feed; one carriage return before it belongs to the end. The last line needs none. A byte-order
 * mark is no part of the first line, and UTF-16, which has one, becomes UTF-8. A line longer than maxLineLength is cut
 * there, which isCut() tells: only a broken file has such a line, and it must not fill the memory.
 */
class ByteLines
{
public:
    /// Called after each block with the bytes read so far; false ends the reading.
    using BlockRead = std::function<bool(qint64 bytesRead)>;
    static constexpr qint64 maxLineLength = 16 * 1024 * 1024;
    static constexpr qint64 margin = 1024;

    /// @p source, which is not owned, is open for reading, at its beginning, and may be sequential.
    explicit ByteLines(QIODevice &source, BlockRead newBlockRead = {});

    /// False at the end, after a read error and when the reading was ended.
    bool next();
    /// Valid until next().
    std::string_view line() const { return {start, length}; }
    /// What comes behind line(), at least @p bytes of it unless the device ends before. Valid until next().
    std::string_view lookAhead(qint64 bytes);
    /// What is there behind line(), without reading any more; ends anywhere. Valid until next(). As many as `margin`
    /// bytes behind its end can be looked at, too, for those who read several at once; they mean nothing.
    std::string_view rest() const
    {
        return cut ? std::string_view() : std::string_view(position, std::size_t(end - position));
    }
    /// Moves to the line that rest() begins with, as next() does. For who found already where the line behind that one
    /// begins: at @p behind.
    void take(const char *behind)
    {
        start = position;
        position = behind;
        length = std::size_t(behind - start - 1);
        if (length > 0 && start[length - 1] == '\r')
            --length;
        ++lineNumber;
    }
    qint64 number() const { return lineNumber; } ///< of line(), from 1
    bool isCut() const { return cut; }           ///< whether line() is only the beginning of its line
    /// Whether next() has to read from the device first, which on a pipe may take long.
    bool mustRead() const { return !atEnd && !findLineFeed(position); }
    QString readError() const { return error; } ///< why the device could not be read to its end; empty when it was
    bool isStopped() const { return stopped; }  ///< by BlockRead

private:
    Q_DISABLE_COPY_MOVE(ByteLines)

    enum class Encoding { Unknown, Bytes, Utf16LittleEndian, Utf16BigEndian };

    const char *findLineFeed(const char *from) const;
    bool skipRestOfLine();
    bool fill();
    void makeRoom(qint64 size);
    bool finish();
    void append(const QByteArray &text);
    void decode(const QByteArray &bytesRead);
    bool findEncoding();
    void decodeUtf16();

    QIODevice &device;
    const BlockRead blockRead;
    QByteArray block;               ///< as read; serves again
    std::unique_ptr<char[]> buffer; ///< what of the blocks is not handed out yet
    qint64 capacity = 0;            ///< of the buffer
    const char *position = nullptr; ///< of the first byte not handed out yet
    const char *end = nullptr;      ///< behind the last byte
    const char *start = nullptr;    ///< of the line
    std::size_t length = 0;         ///< of the line
    qint64 lineNumber = 0;
    qint64 bytes = 0;
    bool cut = false;
    bool stopped = false;
    bool atEnd = false;
    Encoding encoding = Encoding::Unknown;
    QByteArray undecoded; ///< of UTF-16: the bytes of a character that the next block completes
    QString error;
};

/// Text for people out of a log: UTF-8 where it is that, otherwise Windows-1252, which the tools of this field write.
QString decodedText(std::string_view text);
