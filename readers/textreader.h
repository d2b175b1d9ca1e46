// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/importwatch.h"
#include "common/text/linereader.h"
#include "readers/framereader.h"

#include <optional>

/**
 * What the readers of text logs have in common: the lines, and the watch that counts them and gathers what is wrong
 * with them. Private to the library.
 *
 * A reader derived from it makes its grammar anew in begin(), and its read() looks like this:
 *
 *     for (; nextLine(); message = emptyMessage) {
 *         if (grammar->read(line(), message))
 *             return true;
 *     }
 *     return false;
 */
class TextReader : public FrameReader
{
public:
    qint64 lineNumber() const override { return watch.lineNumber(); }
    ImportReport report() const override { return watch.report(frameCount()); }

protected:
    using FrameReader::FrameReader;

    void start(QIODevice &device) final;
    /// Forgets what was known of the log before.
    virtual void begin() {}

    /// Moves to the next line and has it watched. False after the last one, and when reading is to end.
    bool nextLine()
    {
        if (!nextLineUnwatched())
            return endOfLines();
        watch.beginLine(lines->line());
        return true;
    }
    QStringView line() const { return lines->line(); }
    /// The same for those who look at a line before its turn and call watch.beginLine() themselves.
    bool nextLineUnwatched() { return lines->next(); }
    bool endOfLines();

    /// Whether the log is a pipe or the like.
    bool isSequential() const { return sequential; }
    /// Whether the note may get more text; when not, the report will tell of it.
    bool hasRoomInNote()
    {
        const bool hasRoom = note.size() <= maxNoteLength;
        if (!hasRoom)
            watch.cutNote(frameCount());
        return hasRoom;
    }
    /// Appends @p text, simplified, to the note, with " | " between.
    void joinNote(QStringView text);
    /// The current line breaks the format, because of what stands at @p where, null: of what is missing. Reading fails.
    void failAtLine(QStringView where);

    /// A note that fills the memory serves nobody; in characters.
    static constexpr int maxNoteLength = 64 * 1024 * 1024;
    /// Copied, since compilers clear a record with one string instruction.
    const CAN::CanRxMessage emptyMessage{};
    ImportWatch watch;
    std::optional<LineReader> lines;

private:
    bool sequential = false;
};
