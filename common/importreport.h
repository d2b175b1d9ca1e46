// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canloghandler_export.h"

#include <QCoreApplication>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

/**
 * What became of the lines of one log: a plain value. Each line read is a message, a line that was dropped, or another
 * line: a header, a comment or an event, which by the rules of the format is no frame. Of a binary log each object
 * counts as a line, see unit.
 *
 * Lines are faulty when they were dropped although they should be frames, or when something in them could not be read
 * and counts as 0.
 */
struct CANLOGHANDLER_EXPORT ImportReport {
    Q_DECLARE_TR_FUNCTIONS(ImportReport)

public:
    /// Why a line is faulty.
    enum class Reason {
        NotANumber,     ///< a text where a number belongs
        MissingColumns, ///< too few columns for a frame
        MissingBytes,   ///< fewer data bytes than the length says
        NotRead,        ///< a kind of frame that the reader of this format leaves out
        EndsImport,     ///< the line breaks the format so that the rest of the file was not read
        BrokenLine,     ///< the line is not as the format has it; the fault has a text
        CutLine,        ///< the line is too long: what stands behind its first 16 Mi characters was not read
    };
    /// What @p reason means, for users.
    static QString reasonText(Reason reason);

    /// What a log consists of: of a binary one each object counts as a line.
    enum class Unit { Line, Object };

    /// One faulty line.
    struct Fault {
        qint64 line = 0; ///< from 1
        int column = 0;  ///< of the character where the fault begins, from 1; one past the end for what is missing, 1
                         ///< where it is not known
        Reason reason = Reason::NotANumber;
        QString text;      ///< what is wrong in the words of the format; empty where the reason says it all
        qint64 offset = 0; ///< of an object: where in the file it begins, or what it is packed in, in bytes

        /// What is wrong, for users.
        QString toText() const { return text.isEmpty() ? reasonText(reason) : text; }
    };
    static constexpr int maxFaults = 1000; ///< as many faults are kept; all are counted
    /// Where @p fault is, for users: "line 3, column 14", or "object 3, byte 208".
    QString placeText(const Fault &fault) const;
    /// Of objects that were passed over: "skipped: 12 of type 115, 861 of type 72". Empty when there were none.
    QString skippedText() const;

    Unit unit = Unit::Line;

    qint64 lines = 0;      ///< lines read
    qint64 messages = 0;   ///< messages read, also those that a failed import did not deliver
    qint64 otherLines = 0; ///< lines that are no frames by the rules of the format
    QMap<quint32, qint64>
        skippedTypes;        ///< among them, how many objects there were of each type that nothing is made of
    qint64 otherSkipped = 0; ///< of still other types, when there are more of them than any log has
    qint64 droppedLines = 0; ///< lines that should be frames, but gave no message
    qint64 faultyLines = 0;  ///< lines dropped, or read in part
    qint64 cutNotes = 0;     ///< messages, or the end of the log, whose note has not all that the log says there
    QString readError;       ///< why the file could not be opened, or not be read to its end, in the system's words;
                             ///< empty when it was
    QStringList remarks;     ///< what else a user should know, one line each
    QVector<Fault> faults;   ///< the first fault of each faulty line, of the first maxFaults; a line that ended the
                             ///< import takes the place of the last one when there are more
};
