// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/text/bytelines.h"
#include "readers/framereader.h"

#include <QFile>

#include <optional>
#include <string_view>

/**
 * What the readers of today's text logs have in common: lines as bytes, the report on them, and the notes. A line is a
 * frame, a note, another line by the grammar of the format, or a fault; what the log says beside frames becomes the
 * note of the frame before, or of the first one. Private to the library.
 */
class ByteLogReader : public FrameReader
{
public:
    ToldFields toldFields() const override { return told; }
    qint64 lineNumber() const override { return frameLine; }
    ImportReport report() const override;
    LogInfo info() const override { return logInfo; }

protected:
    enum class Kind {
        Frame, ///< or meant to be one: readFrame() tells
        Note,  ///< said by addNote()
        Other, ///< says nothing that a user would miss
        Fault, ///< after drop()
    };

    /// Forgets what was known of the log before.
    virtual void begin() = 0;
    /// What @p line is. Where it is a frame nothing of the frame before may change, and readFrame() comes next.
    virtual Kind look(std::string_view line) = 0;
    /// Reads that line into @p message, which is empty, and sets `told`. False after drop().
    virtual bool readFrame(CAN::CanRxMessage &message) = 0;

    /// What the log says beside the frame in hand: within look() the frame before, otherwise the one being read.
    void addNote(const QString &text);
    void addNote(std::string_view text) { addNote(decodedText(text)); }
    /// The line gives no message, although it should, because of what stands at @p where, in the line, or, where that
    /// is null, at its end. Returns Fault for look().
    Kind drop(const QString &text, std::string_view where = {});
    /// The same for a kind of frame that is not read.
    Kind dropUnread(const QString &text, std::string_view where = {});
    /// The line stays a message; what is wrong with it stands at @p where.
    void doubt(const QString &text, std::string_view where = {});

    /// The lines that come next, as far as they are there, for formats that tell themselves by more than one line:
    /// at least @p bytes of the log, unless it ends before. Views into the line at hand are invalid then, line() gives
    /// it anew.
    std::string_view lookAhead(qint64 bytes) { return lines->lookAhead(bytes); }
    std::string_view line() const { return lines->line(); }

    ToldFields told;
    LogInfo logInfo;

private:
    void start(QIODevice &device) final;
    bool read(CAN::CanRxMessage &message) final;
    bool advance();
    bool mayWait() const;
    void addFault(ImportReport::Reason reason, const QString &text, std::string_view where);

    std::optional<ByteLines> lines;
    int pipe = -1; ///< the descriptor of a pipe or terminal, of which no line is waited for that may never come
    Kind kind = Kind::Other;
    bool isPending = false; ///< the line was looked at ahead of its turn, and is a frame
    bool isFaulty = false;  ///< the line, already
    qint64 frameLine = 0;
    ImportReport counts;
};
