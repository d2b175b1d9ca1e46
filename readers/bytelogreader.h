// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/text/bytelines.h"
#include "common/text/bytenumbers.h"
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

    /**
     * The fast way for the lines that nearly all are: reads the line that @p rest begins with into @p message and sets
     * `plainTold`, and returns what comes behind its line feed. Null for every line that is not plainly a frame in the
     * usual form, with nothing to note, doubt or learn: look() and readFrame() read that one. Nothing else may change,
     * since the frame before is still in hand. It may look beyond the end of @p rest, as ByteLines::margin says; when
     * the line feed is there, the line is not. @p message has what a plain frame before has left in it: its first
     * eight bytes and all that frames of the format differ in are to be set.
     */
    virtual const char *readPlain(std::string_view rest, CAN::CanRxMessage &message);

    /// A length that is mostly the same as in the line before. The processor goes on with that one, which it has at
    /// hand, until it has worked out this one, instead of waiting for it before it can read on.
    class UsualLength
    {
    public:
        int of(int length)
        {
            int result = usual;
#ifdef __GNUC__
            asm("" : "+r"(result)); // or the compiler would use the one that is late
#endif
            if (Q_LIKELY(result == length))
                return result;
            return usual = length;
        }

    private:
        int usual = 0;
    };

    // For readPlain(): parts of a line with blanks alone between them, each null when it is not there.

    /// What comes behind the blanks at @p at, at most 32 of them, @p usual as a rule.
    static const char *behindBlanks(const char *at, UsualLength &usual)
    {
        int blanks = ByteNumbers::leadingBlanks(at);
        if (blanks == 16)
            blanks += ByteNumbers::leadingBlanks(at + blanks);
        return at + usual.of(blanks);
    }
    /// A decimal number with a point: "0.250100".
    struct PlainDecimal {
        quint32 whole;
        quint32 fraction;   ///< in units of the last digit that was asked for
        const char *behind; ///< null: there is no such number
    };
    /// Reads one of at most @p places decimals; @p wholeDigits and @p decimals are as a rule those of the line before.
    static PlainDecimal readPlainDecimal(const char *at, int places, UsualLength &wholeDigits, UsualLength &decimals)
    {
        using namespace ByteNumbers;
        const quint64 whole = loadEight(at);
        const int digits = wholeDigits.of(leadingDigits(whole));
        const quint64 fraction = loadEight(at + digits + 1);
        const int length = decimals.of(leadingDigits(fraction));
        if (digits == 0 || at[digits] != '.' || length == 0 || length > places)
            return {0, 0, nullptr};
        return {digitsValue(whole, digits), digitsValue(fraction, length) * powersOfTen[std::size_t(places - length)],
                at + digits + 1 + length};
    }
    /// What comes behind the line end at @p at.
    static const char *behindLineEnd(const char *at)
    {
        at += *at == '\r' ? 1 : 0;
        return *at == '\n' ? at + 1 : nullptr;
    }
    /// Reads a channel of one or two digits, with a blank behind it.
    static const char *readPlainChannel(const char *at, CAN::CanRxMessage &message)
    {
        const auto tens = quint8(at[0] - '0');
        const auto ones = quint8(at[1] - '0');
        const bool isSingle = at[1] == ' ';
        if (tens > 9 || (!isSingle && (ones > 9 || at[2] != ' ')))
            return nullptr;
        message.channel = isSingle ? tens : quint16(tens * 10 + ones);
        return at + (isSingle ? 1 : 2);
    }
    /// Reads @p length bytes with one blank before each.
    static const char *readPlainBytes(const char *at, int length, CAN::CanRxMessage &message);

    /// What the log says beside the frame in hand: within look() the frame before, otherwise the one being read.
    void addNote(const QString &text);
    void addNote(std::string_view text)
    {
        addNote(decodedText(text));
    }
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
    std::string_view lookAhead(qint64 bytes)
    {
        return lines->lookAhead(bytes);
    }
    std::string_view line() const
    {
        return lines->line();
    }

    ToldFields told;
    ToldFields plainTold; ///< of readPlain()
    LogInfo logInfo;

private:
    void start(QIODevice &device) final;
    bool read(CAN::CanRxMessage &message) final;
    bool readOn(CAN::CanRxMessage &message);
    bool readAhead();
    bool advance();
    bool mayWait() const;
    void addFault(ImportReport::Reason reason, const QString &text, std::string_view where);

    std::optional<ByteLines> lines;
    int pipe = -1; ///< the descriptor of a pipe or terminal, of which no line is waited for that may never come
    Kind kind = Kind::Other;
    bool isPending = false; ///< the line was looked at ahead of its turn, and is a frame
    bool isFaulty = false;  ///< the line, already
    bool isAhead = false;   ///< `ahead` has the frame of the line
    CAN::CanRxMessage ahead;
    qint64 frameLine = 0;
    ImportReport counts;
};
