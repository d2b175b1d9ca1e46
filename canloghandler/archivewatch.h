// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/archivereport.h"

#include <QHash>
#include <QString>

#include <functional>
#include <utility>

/**
 * Watches over one archive while it is read, as ImportWatch does over a log: gathers what became of its entries for
 * the report, tells how far the work has come, and notices when it is to stop.
 */
class ArchiveWatch
{
public:
    using Reason = ArchiveReport::Reason;
    using Progress = std::function<void(qint64 bytesDone, qint64 bytesTotal)>;

    explicit ArchiveWatch(Progress newProgress)
        : progress(std::move(newProgress))
    {
    }

    /// Compares the directory of @p path, an archive that could be opened, with the headers of its entries.
    void begin(const QString &path);
    /// To be called for each entry that was come across, and for those among them that are none.
    void cameAcross(const QString &name, bool isChunk);
    /// To be called when all entries were: some that the directory has may never have come.
    void endEntries();

    void leftOut(const QString &name, Reason reason, const QString &other = QString());
    /// Something is wrong with the entry @p name, which comes all the same unless it is left out later.
    void doubt(const QString &name, Reason reason);
    void delivered() { ++report.delivered; }

    /// How much there is to do. Until then the size of the archive stands for it.
    void setTotal(qint64 bytes) { total = bytes; }
    void done(qint64 bytes);
    /// Whether the thread was asked to stop, see QThread::requestInterruption().
    bool isInterrupted();
    /// Whether that was seen while there was still something to do.
    bool wasInterrupted() const { return interrupted; }

    ArchiveReport report;

private:
    void note(const ArchiveReport::Fault &fault);

    Progress progress;
    qint64 total = 0;
    qint64 doneBytes = 0;
    qint64 chunksInDirectory = 0;
    qint64 chunksFound = 0;
    qint64 entriesFound = 0;
    QHash<QString, int> doubts; ///< which of the faults, by name
    bool interrupted = false;
};
