// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canloghandler_export.h"
#include "common/datachunkhelper.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

#include <memory>

class FrameReader;

/**
 * A kind of line by which the logs of a format are known. `%h` in the pattern, a regular expression, is a hexadecimal
 * digit, `%t` a time in seconds with a fraction, `%c` a time in parentheses as candump has it, `%n` a length with as
 * many bytes. A line keeps its line feed, so that a pattern can demand it where a line that is cut off looks like one
 * of another format.
 */
struct LineSign {
    enum class Role {
        Frame,    ///< the reader makes something of this line, once the format has begun
        Sign,     ///< a header line of this format
        Opening,  ///< the header line without which the reader takes nothing; what is before it is free text
        Ordinary, ///< may occur, but says nothing
        Never,    ///< the file has another format
    };
    Role role;
    int weight; ///< in points, of each frame or of all header lines: 30 make a format likely, 100 certain
    const char *name;
    const char *pattern;
};

/// A log format that has a reader: one row, from which everything else that is known of formats is derived.
struct CANLOGHANDLER_EXPORT LogFormat {
    /// How a store gets the messages.
    enum class Delivery {
        Batches, ///< 100000 each, the rest at the end
        OneList, ///< all at once, and none when reading fails
    };
    /// When a store is told whether there are CAN FD frames.
    enum class FdNotice { Never, WhenSeen, Always };

    DatachunkHelper::ImportFileType type;
    QStringList shortNames; ///< for people, unique among all formats
    QString description;
    QString suffix; ///< usual end of the file name
    /// What its lines look like: the first sign that a line matches decides; those of frames stand behind the header
    /// lines. With neither these nor a magic the format is never found from the content, only named.
    QVector<LineSign> signs;
    QByteArray magic; ///< the first bytes of a binary format
    QString samples;  ///< the folder in tests/data that has some logs of it, from which the fuzzer starts, too
    Delivery delivery = Delivery::Batches;
    FdNotice fdNotice = FdNotice::Never;
    bool makesNotes = false;
    bool notesAreFinal = false; ///< what the log says after a frame comes with it, not with the next one
    bool mayFail = false;       ///< there are files that it does not read to their end
    bool hasColumns = false;    ///< which must be described
    bool bringsNumbers = false; ///< its messages have numbers of their own, which may repeat
    std::unique_ptr<FrameReader> (*make)(DatachunkHelper::ImportFileType type, const QString &columns);

    /// The enumerator of the type.
    QString name() const;
};

/// All formats, by type number.
CANLOGHANDLER_EXPORT const QVector<LogFormat> &logFormats();
/// The format of @p type; null when it has no reader, as archives, data chunks and reserved numbers have none.
CANLOGHANDLER_EXPORT const LogFormat *findLogFormat(DatachunkHelper::ImportFileType type);
/// The columns that a format which has some is taken to have where nobody describes them.
CANLOGHANDLER_EXPORT QString defaultColumns();
/// A reader for @p type, null when there is none. @p columns describes the columns of a format that has some, see
/// GenericFileImporter::setColumnFormat(); it is taken as it is.
CANLOGHANDLER_EXPORT std::unique_ptr<FrameReader> makeReader(DatachunkHelper::ImportFileType type,
                                                             const QString &columns = defaultColumns());
