// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/archivewatch.h"

#include "canloghandler/archivedirectory.h"

#include <QFileInfo>
#include <QThread>

// In bytes. QuaZip cuts a longer name off, and then takes it for another one.
static constexpr int maxNameSize = 256;

QString ArchiveReport::reasonText(Reason reason)
{
    switch (reason) {
    case Reason::Checksum:
        return tr("damaged: its content is not what its checksum says");
    case Reason::Data:
        return tr("damaged: its packed data cannot be unpacked to the size that is announced");
    case Reason::Header:
        return tr("damaged: its own header is missing or contradicts the directory of the archive");
    case Reason::Encrypted:
        return tr("it is encrypted");
    case Reason::Method:
        return tr("it is packed with a method that is not known here");
    case Reason::NotFound:
        return tr("it cannot be found by its name");
    case Reason::NameRepeated:
        return tr("several entries have this name, and one of them is taken");
    case Reason::NumberRepeated:
        return tr("another chunk has the same number and takes its place");
    case Reason::LeadsOutside:
        return tr("its name leads out of the folder that it is to be unpacked into");
    case Reason::InFolder:
        return tr("it stands in a folder of the archive");
    case Reason::PlaceTaken:
        return tr("there is a file already where it is to be unpacked");
    case Reason::NotWritten:
        return tr("it cannot be written");
    case Reason::Refused:
        return tr("the store does not take it");
    case Reason::NotReached:
        return tr("the work ended before it");
    case Reason::NameDiffers:
        return tr("damaged: the directory of the archive and its own header name it differently");
    case Reason::Directory:
        return tr("the directory of the archive is damaged, entries may be missing");
    }
    return {};
}

void ArchiveWatch::begin(const QString &path)
{
    report.isArchive = true;
    total = QFileInfo(path).size();
    const bool isSound = ArchiveDirectory::readEntries(path, [this](const ArchiveDirectory::Entry &entry) {
        ++report.entries;
        const bool isChunk = entry.name.endsWith("qcl");
        if (isChunk && entry.name.size() > maxNameSize)
            leftOut(QString::fromUtf8(entry.name), Reason::NotFound);
        else
            chunksInDirectory += isChunk ? 1 : 0;
        if (entry.ownName == ArchiveDirectory::OwnName::Another)
            doubt(QString::fromUtf8(entry.name), Reason::NameDiffers);
        else if (entry.ownName == ArchiveDirectory::OwnName::Missing && !isChunk) // a chunk will not open
            doubt(QString::fromUtf8(entry.name), Reason::Header);
        return (report.entries % 1024 != 0) || !isInterrupted();
    });
    if (!isSound && !interrupted)
        leftOut({}, Reason::Directory);
}

void ArchiveWatch::cameAcross(const QString &name, bool isChunk)
{
    ++entriesFound;
    chunksFound += isChunk ? 1 : 0;
    if (isChunk)
        return;
    ++report.others;
    if (report.otherNames.size() < ArchiveReport::maxFaults)
        report.otherNames.append(name);
}

void ArchiveWatch::endEntries()
{
    const bool isWhole = entriesFound == report.entries && chunksFound == chunksInDirectory;
    if (!isWhole && !interrupted && report.count.value(Reason::Directory) == 0)
        leftOut({}, Reason::Directory);
}

void ArchiveWatch::leftOut(const QString &name, Reason reason, const QString &other)
{
    const int doubt = doubts.value(name, -1);
    if (doubt >= 0)
        report.faults[doubt].isDelivered = false;
    note({name, reason, false, other});
}

void ArchiveWatch::doubt(const QString &name, Reason reason)
{
    if (report.count.value(reason) < ArchiveReport::maxFaults)
        doubts.insert(name, report.faults.size());
    note({name, reason, true, {}});
}

void ArchiveWatch::note(const ArchiveReport::Fault &fault)
{
    if (++report.count[fault.reason] <= ArchiveReport::maxFaults)
        report.faults.append(fault);
}

void ArchiveWatch::done(qint64 bytes)
{
    doneBytes += bytes;
    if (progress)
        progress(doneBytes, total);
}

bool ArchiveWatch::isInterrupted()
{
    interrupted = interrupted || QThread::currentThread()->isInterruptionRequested();
    return interrupted;
}
