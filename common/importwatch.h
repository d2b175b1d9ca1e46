// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/importreport.h"
#include "common/text/numbers.h"

#include <QStringView>

/**
 * Watches over one log while it is read: counts its lines and gathers what is wrong with them for the report.
 *
 * Readers read the numbers of a line through it. A sound line costs no more than without.
 */
class ImportWatch
{
public:
    using Reason = ImportReport::Reason;

    /// Forgets the file before.
    void start();
    /// To be called for each line, before anything else is said of it.
    void beginLine(QStringView line)
    {
        if (isFaulty)
            settle();
        begin = line.begin();
        end = line.end();
        ++soFar.lines;
    }
    /// The line just begun goes on behind its end, where it was cut. Whatever becomes of it, it is faulty.
    void cutLine();
    /// The line stays a message, or becomes none by the rules of the format; what is wrong with it stands at @p where.
    /// Only the first fault of a line counts.
    void doubt(QStringView where, Reason why = Reason::NotANumber)
    {
        if (!isFaulty)
            note(where, why);
    }
    /// The line gives no message, although it should, because of what stands at @p where.
    void drop(Reason why, QStringView where)
    {
        note(where, why);
        isDropped = true;
    }
    /// The line is no frame by the rules of the format, whatever could not be read in it.
    void pass()
    {
        isFaulty = isCut;
        isDropped = false;
    }

    /// What the functions of the same names give. A text that is no number is noted at @p where.
    quint32 readUnsigned(QStringView text, int base) { return readUnsigned(text, base, text); }
    quint32 readUnsigned(QStringView text, int base, QStringView where)
    {
        bool ok = true;
        const quint32 number = ::readUnsigned(text, base, &ok);
        if (!ok)
            doubt(where);
        return number;
    }
    qint32 readSigned(QStringView text, int base)
    {
        bool ok = true;
        const qint32 number = ::readSigned(text, base, &ok);
        if (!ok)
            doubt(text);
        return number;
    }
    quint8 readByte(QStringView text, int base) { return readByte(text, base, text); }
    quint8 readByte(QStringView text, int base, QStringView where)
    {
        bool ok = true;
        const quint8 byte = ::readByte(text, base, &ok);
        if (!ok)
            doubt(where);
        return byte;
    }
    CanTimeStamp readSeconds(QStringView text) { return readSeconds(text, text); }
    CanTimeStamp readSeconds(QStringView text, QStringView where)
    {
        bool ok = true;
        const CanTimeStamp time = ::readSeconds(text, &ok);
        if (!ok)
            doubt(where);
        return time;
    }

    /// The note of message @p number has no place for what the current line says.
    void cutNote(qint64 number)
    {
        soFar.cutNotes += number == latestCut ? 0 : 1;
        latestCut = number;
    }
    /// To be called after the last line, with LineReader::readError().
    void setReadError(const QString &error) { soFar.readError = error; }
    /// Of the current line, from 1.
    qint64 lineNumber() const { return soFar.lines; }

    /// The report on what was read so far, which gave @p messageCount messages.
    ImportReport report(qint64 messageCount) const;

private:
    void note(QStringView where, Reason why);
    void settle();
    void addFault(ImportReport &report) const;

    ImportReport soFar;
    qint64 latestCut = -1;

    // The current line
    const QChar *begin = nullptr;
    const QChar *end = nullptr;
    bool isFaulty = false;
    bool isDropped = false;
    bool isCut = false;
    int column = 0;
    Reason reason = Reason::NotANumber;
};
