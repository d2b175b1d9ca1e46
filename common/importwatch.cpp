// SPDX-License-Identifier: Apache-2.0
#include "common/importwatch.h"

#include <functional>

QString ImportReport::reasonText(Reason reason)
{
    switch (reason) {
    case Reason::NotANumber:
        return tr("a number belongs here");
    case Reason::MissingColumns:
        return tr("too few columns for a frame");
    case Reason::MissingBytes:
        return tr("fewer data bytes than the length says");
    case Reason::NotRead:
        return tr("frames of this kind are not read from this format");
    case Reason::EndsImport:
        return tr("the line breaks the format, reading ended here");
    case Reason::BrokenLine:
        return tr("the line is not as this format has it");
    case Reason::CutLine:
        return tr("the line is longer than 16 Mi characters, the rest of it is not read");
    }
    return {};
}

QString ImportReport::placeText(const Fault &fault) const
{
    if (unit == Unit::Object)
        return tr("object %1, byte %2").arg(QString::number(fault.line), QString::number(fault.offset));
    return tr("line %1, column %2").arg(QString::number(fault.line), QString::number(fault.column));
}

QString ImportReport::skippedText() const
{
    QStringList parts;
    for (auto type = skippedTypes.cbegin(); type != skippedTypes.cend(); ++type)
        parts.append(tr("%1 of type %2").arg(QString::number(*type), QString::number(type.key())));
    if (otherSkipped > 0)
        parts.append(tr("%1 of other types").arg(otherSkipped));
    return parts.isEmpty() ? QString() : tr("skipped: %1").arg(parts.join(QLatin1String(", ")));
}

void ImportWatch::start()
{
    soFar = {};
    latestCut = -1;
    isCut = false;
    pass();
}

/// Of a cut line that says all: what else is wrong may come of it.
void ImportWatch::note(QStringView where, Reason why)
{
    if (isCut && isFaulty && why != Reason::EndsImport)
        return;
    const std::less<const QChar *> isBefore; // the text may be in other memory than the line
    const QChar *const at = where.begin();
    if (where.isNull())
        column = int(end - begin) + 1; // what is missing would stand behind the line
    else
        column = isBefore(at, begin) || isBefore(end, at) ? 1 : int(at - begin) + 1;
    reason = why;
    isFaulty = true;
}

void ImportWatch::settle()
{
    addFault(soFar);
    isCut = false;
    pass();
}

void ImportWatch::cutLine()
{
    isCut = true;
    note({}, Reason::CutLine);
}

void ImportWatch::addFault(ImportReport &report) const
{
    ++report.faultyLines;
    report.droppedLines += isDropped ? 1 : 0;
    if (report.faults.size() < ImportReport::maxFaults)
        report.faults.append({report.lines, column, reason, {}});
    else if (reason == Reason::EndsImport) // why there is no more says more than one fault among so many
        report.faults.last() = {report.lines, column, reason, {}};
}

ImportReport ImportWatch::report(qint64 messageCount) const
{
    ImportReport report = soFar;
    if (isFaulty)
        addFault(report);
    report.messages = messageCount;
    report.otherLines = report.lines - report.messages - report.droppedLines;
    return report;
}
