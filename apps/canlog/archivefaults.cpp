// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/archivefaults.h"

#include "apps/canlog/output.h"

#include <algorithm>

using Reason = ArchiveReport::Reason;

QString folderAdvice()
{
    return QStringLiteral("check the store's folder, its permissions and the space left");
}

QString repackingAdvice()
{
    return QStringLiteral("pack its store anew with 'canlog zip'");
}

static QString adviceOn(Reason reason)
{
    switch (reason) {
    case Reason::Checksum:
    case Reason::Data:
    case Reason::Header:
    case Reason::NameDiffers:
    case Reason::Directory:
    case Reason::Method:
    case Reason::Refused:
        return repackingAdvice();
    case Reason::Encrypted:
        return QStringLiteral("pack it without a password");
    case Reason::NumberRepeated:
        return QStringLiteral("pack each store into an archive of its own with 'canlog zip'");
    case Reason::NotFound:
    case Reason::NameRepeated:
    case Reason::PlaceTaken:
        return QStringLiteral("pack it under a name like chunk-00000001.qcl that no other has");
    case Reason::LeadsOutside:
    case Reason::InFolder:
        return QStringLiteral("'canlog merge' reads it");
    case Reason::NotWritten:
    case Reason::NotReached:
        return folderAdvice();
    }
    return {};
}

/// Faults that come in crowds when something else went wrong, which is said: of them the number is enough.
static bool isConsequence(const ArchiveReport::Fault &fault, const QString &refusal)
{
    return fault.reason == Reason::NotReached || (fault.reason == Reason::Refused && refusal.isEmpty());
}

static QString faultText(const ArchiveReport::Fault &fault, const QString &refusal)
{
    const bool isRefused = fault.reason == Reason::Refused && !refusal.isEmpty();
    QString reason = isRefused ? refusal : ArchiveReport::reasonText(fault.reason);
    if (!fault.other.isEmpty())
        reason += QStringLiteral(" (%1)").arg(fault.other);
    if (fault.name.isEmpty())
        return reason;
    const QString state = fault.isDelivered ? QStringLiteral("is in doubt") : QStringLiteral("is left out");
    return QStringLiteral("%1 %2: %3").arg(fault.name, state, reason);
}

bool complainOfFaults(const QString &path, const ArchiveReport &report, const QStringList &refusals)
{
    int refused = 0;
    qint64 consequences =
        report.count.value(Reason::NotReached) + std::count(refusals.cbegin(), refusals.cend(), QString());
    for (const ArchiveReport::Fault &fault : report.faults) {
        const QString refusal = fault.reason == Reason::Refused ? refusals.value(refused++) : QString();
        if (!isConsequence(fault, refusal))
            complain(path, QStringLiteral("%1; %2").arg(faultText(fault, refusal), adviceOn(fault.reason)));
    }
    for (auto count = report.count.cbegin(); count != report.count.cend(); ++count) {
        if (count.key() != Reason::NotReached && *count > ArchiveReport::maxFaults)
            complain(path, QStringLiteral("%1 more of its entries: %2")
                               .arg(QString::number(*count - ArchiveReport::maxFaults),
                                    ArchiveReport::reasonText(count.key())));
    }
    if (consequences > 0)
        complain(path,
                 QStringLiteral("%1 left out after that").arg(counted(quint64(consequences), QStringLiteral("chunk"))));
    return !report.faults.isEmpty();
}

QString lossText(const ArchiveReport &report, const QStringList &refusals)
{
    int refused = 0;
    qint64 count = 0;
    QString first;
    for (const ArchiveReport::Fault &fault : report.faults) {
        const QString refusal = fault.reason == Reason::Refused ? refusals.value(refused++) : QString();
        if (!fault.isDelivered && count++ == 0)
            first = faultText(fault, refusal);
    }
    for (const qint64 all : report.count)
        count += qMax<qint64>(0, all - ArchiveReport::maxFaults);
    return count > 1 ? QStringLiteral("%1 (and %2 more)").arg(first, QString::number(count - 1)) : first;
}

ArchiveReport withoutFaults(ArchiveReport report, ArchiveReport::Reason reason)
{
    const auto isThat = [reason](const ArchiveReport::Fault &fault) { return fault.reason == reason; };
    report.faults.erase(std::remove_if(report.faults.begin(), report.faults.end(), isThat), report.faults.end());
    report.count.remove(reason);
    return report;
}

void tellOtherEntries(const QString &path, const ArchiveReport &report)
{
    constexpr int maxTold = 20; // of an archive of something else, enough to see what it is
    QStringList names = report.otherNames;
    const auto belongs = [](const QString &name) {
        return name.endsWith(QLatin1Char('/')) || name.section(QLatin1Char('/'), -1) == QLatin1String("imports.json");
    };
    names.erase(std::remove_if(names.begin(), names.end(), belongs), names.end());
    const qint64 more = report.others - report.otherNames.size() + names.size() - maxTold;
    for (const QString &name : names.mid(0, maxTold)) {
        const bool looksLikeOne = name.endsWith(QLatin1String("qcl"), Qt::CaseInsensitive);
        const QString advice = looksLikeOne
                                   ? QStringLiteral("; pack it under a name like chunk-00000001.qcl, in small letters")
                                   : QString();
        complain(path, QStringLiteral("note: %1 is no chunk and is passed over%2").arg(name, advice));
    }
    if (more > 0)
        complain(path, QStringLiteral("note: nor are %1 more of its entries").arg(QString::number(more)));
}
