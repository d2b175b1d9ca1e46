// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canloghandler_export.h"

#include <QCoreApplication>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVector>

/**
 * What became of the entries of one archive of data chunks: a plain value. An entry is a chunk by its name, or another
 * one, which is passed over.
 *
 * Every chunk was delivered or has a fault that says why it was not: given to the store (merging, counting), written
 * into a file (unpacking), named (sorting). An archive without faults was delivered as it was packed, its names and
 * the bytes of its chunks, whichever bit of it may have changed since.
 */
struct CANLOGHANDLER_EXPORT ArchiveReport {
    Q_DECLARE_TR_FUNCTIONS(ArchiveReport)

public:
    enum class Reason {
        Checksum,       ///< the content is not what its checksum says
        Data,           ///< the packed data is damaged, or is not of the size that is announced
        Header,         ///< no header of its own where the directory says, or one that says something else
        Encrypted,      ///< a password would be needed
        Method,         ///< packed in a way that is not known
        NotFound,       ///< cannot be found by its name, which is too long or holds what no name may hold
        NameRepeated,   ///< several entries have this name, of which one is taken
        NumberRepeated, ///< the entry `other` has the same number and takes its place
        LeadsOutside,   ///< the name leads out of the folder that archives are unpacked into
        InFolder,       ///< stands in a folder of the archive, which unpacking does not make
        PlaceTaken,     ///< there is a file where it would be unpacked
        NotWritten,     ///< could not be written, for lack of room or permission
        Refused,        ///< the store did not take it
        NotReached,     ///< the work ended before, by an interruption or where nothing can be written any more
        NameDiffers,    ///< the directory and the entry's own header name it differently
        Directory,      ///< the directory is damaged; entries may be missing
    };
    /// What @p reason means, for users.
    static QString reasonText(Reason reason);

    struct Fault {
        QString name; ///< of the entry; empty for the archive itself
        Reason reason = Reason::Data;
        bool isDelivered = false; ///< the chunk came all the same
        QString other;            ///< the entry that was taken instead, where there is one
    };
    static constexpr int maxFaults = 1000;

    bool isArchive = false;     ///< the file could be opened as an archive; an empty one counts
    qint64 entries = 0;         ///< in the directory, as far as that can be read
    qint64 chunks = 0;          ///< that count: by name, with a number of their own, with a beginning that can be read
    qint64 delivered = 0;       ///< chunks that came; 0 when a failed unpacking has removed them again
    qint64 others = 0;          ///< entries that are no chunks, folders included
    QStringList otherNames;     ///< the first maxFaults of them
    QVector<Fault> faults;      ///< the first maxFaults of each reason
    QMap<Reason, qint64> count; ///< all faults, by reason
};
