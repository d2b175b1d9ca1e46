// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"
#include "common/datachunkhelper.h"
#include "common/loginfo.h"

#include <QMetaType>
#include <QString>

/// By what a log file is known again: the same file, neither written nor replaced since.
struct ImportSource {
    QString path; ///< canonical; empty when nothing is known of the source
    qint64 size = 0;
    qint64 modified = 0; ///< milliseconds since 1970, UTC

    /// What there is to be known of the file @p path; nothing of what is no plain file.
    static ImportSource of(const QString &path);
    bool operator==(const ImportSource &other) const
    {
        return path == other.path && size == other.size && modified == other.modified;
    }
};

/// What the store keeps of one import.
struct ImportRecord {
    enum class State {
        Incomplete, ///< not finished: it still runs, perhaps in another program, or its program was stopped
        Succeeded,
        Failed,
    };
    /// What becomes, or became, of the messages.
    enum class Keeping {
        Kept,
        Pending,  ///< kept if it succeeds and removed if not, at the next opening when its program was stopped
        Removed,  ///< since it did not succeed
        Deleting, ///< removed by removeImport(), and not to be seen, but files may still be there
        Deleted,  ///< removed by removeImport()
    };

    /// The errorText of one whose program was stopped.
    static QString stoppedText() { return QStringLiteral("it was stopped before its end"); }

    QString path; ///< the source file; empty until the import ends, unless it is known at its beginning
    DatachunkHelper::ImportFileType type = DatachunkHelper::QclZipArchive;
    State state = State::Incomplete;
    Keeping keeping = Keeping::Kept;
    quint64 messageCount = 0;    ///< messages in this store; those of an unpacked archive are in its sub-folder
    quint64 removedMessages = 0; ///< those that were stored and are removed again
    quint64 chunkCount = 0;
    CanTimeStamp firstTime; ///< earliest time stamp; zero when there is no message
    CanTimeStamp lastTime;  ///< latest time stamp
    quint64 noteCount = 0;  ///< messages that have a note
    bool fdSeen = false;    ///< CAN FD frames are among the messages, or the format said so
    QString errorText;      ///< why it failed, or which part of a success was left out; may be empty
    ImportSource source;
    QString folder; ///< in the store's, which an archive was unpacked into; empty for others
    LogInfo log;    ///< what the log says of itself
};
Q_DECLARE_METATYPE(ImportRecord)
