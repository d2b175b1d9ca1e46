// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canloghandler_export.h"
#include "common/datachunkhelper.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <memory>

class FrameReader;

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
