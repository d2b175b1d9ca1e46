// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/formats.h"
#include "apps/canlog/importchoice.h"
#include "apps/canlog/interruption.h"
#include "apps/canlog/output.h"
#include "apps/canlog/storefolder.h"
#include "host/store/timetext.h"

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace
{

using Keeping = ImportRecord::Keeping;
using State = ImportRecord::State;

/// Empty where it is not known: the type is told at the end of an import.
QString formatName(const ImportRecord &record)
{
    const bool hasEnded = record.state != State::Incomplete && record.errorText != ImportRecord::stoppedText();
    if (record.type == DatachunkHelper::QclZipArchive)
        return hasEnded ? QStringLiteral("archive") : QString();
    const Format *format = findFormat(QString::number(int(record.type)));
    return format ? format->name() : QString::number(int(record.type));
}

QString stateName(const ImportRecord &record)
{
    switch (record.state) {
    case State::Incomplete:
        break;
    case State::Succeeded:
        return QStringLiteral("succeeded");
    case State::Failed:
        return QStringLiteral("failed");
    }
    return QStringLiteral("incomplete");
}

/// The state and, where that is no matter of course, what became of the messages.
QString stateText(const ImportRecord &record)
{
    const QString name = stateName(record);
    if (record.state == State::Succeeded)
        return name;
    if (record.removedMessages > 0)
        return name + QLatin1String(", removed");
    return record.messageCount > 0 && record.keeping == Keeping::Kept ? name + QLatin1String(", kept") : name;
}

QString timeOrDash(const ImportRecord &record, const CanTimeStamp &time)
{
    return record.messageCount > 0 ? timeText(time) : QStringLiteral("-");
}

void writeRow(Output &out, const QStringList &columns)
{
    static constexpr int widths[] = {6, 17, 10, 7, 7, 17, 17};
    QString line;
    for (int i = 0; i < columns.size(); ++i) {
        if (i == 1 || i > 6) // texts
            line += columns.at(i).leftJustified(i == 1 ? widths[i] : i == 7 ? 16 : 0);
        else
            line += columns.at(i).rightJustified(widths[i]);
        line += QLatin1String("  ");
    }
    out.writeLine(printable(line.trimmed().isEmpty() ? QString() : line.chopped(2)));
}

void writeTable(Output &out, const QVector<ImportRecord> &imports)
{
    writeRow(out, {QStringLiteral("Import"), QStringLiteral("State"), QStringLiteral("Messages"),
                   QStringLiteral("Notes"), QStringLiteral("Chunks"), QStringLiteral("First"), QStringLiteral("Last"),
                   QStringLiteral("Type"), QStringLiteral("File")});
    for (int i = 0; i < imports.size() && out.isOpen(); ++i) {
        const ImportRecord &record = imports.at(i);
        if (!isListed(record))
            continue;
        const QString type = formatName(record);
        writeRow(out, {QString::number(i + 1), stateText(record), QString::number(record.messageCount),
                       QString::number(record.noteCount), QString::number(record.chunkCount),
                       timeOrDash(record, record.firstTime), timeOrDash(record, record.lastTime),
                       type.isEmpty() ? QStringLiteral("-") : type,
                       record.path.isEmpty() ? QStringLiteral("-") : record.path});
    }
}

QJsonValue jsonTime(const ImportRecord &record, const CanTimeStamp &time)
{
    // The shortest decimal number that gives this double, which is what is written, has the exact microseconds.
    return record.messageCount > 0 ? QJsonValue(double(inMicroseconds(time)) / 1000000) : QJsonValue();
}

QJsonObject jsonImport(int number, const ImportRecord &record)
{
    const QString type = formatName(record);
    return {{QStringLiteral("number"), number},
            {QStringLiteral("path"), record.path},
            {QStringLiteral("type"), type.isEmpty() ? QJsonValue() : QJsonValue(type)},
            {QStringLiteral("state"), stateName(record)},
            {QStringLiteral("messages"), qint64(record.messageCount)},
            {QStringLiteral("removedMessages"), qint64(record.removedMessages)},
            {QStringLiteral("notes"), qint64(record.noteCount)},
            {QStringLiteral("firstTime"), jsonTime(record, record.firstTime)},
            {QStringLiteral("lastTime"), jsonTime(record, record.lastTime)},
            {QStringLiteral("chunks"), qint64(record.chunkCount)},
            {QStringLiteral("canFd"), record.fdSeen},
            {QStringLiteral("error"), record.errorText}};
}

void writeJson(Output &out, const QVector<ImportRecord> &imports)
{
    QJsonArray array;
    for (int i = 0; i < imports.size(); ++i)
        if (isListed(imports.at(i)))
            array.append(jsonImport(i + 1, imports.at(i)));
    out.write(QJsonDocument(QJsonObject{{QStringLiteral("imports"), array}}).toJson());
}

ExitStatus list(const QString &folder, bool asJson, Output &out)
{
    ChunkStore store;
    if (!openStore(store, folder, ChunkStore::Mode::Read))
        return ExitStatus::Failure;
    complainOfDamage(store, folder);
    if (asJson)
        writeJson(out, store.imports());
    else
        writeTable(out, store.imports());
    return store.warnings().isEmpty() ? ExitStatus::Success : ExitStatus::Failure;
}

/// Removes one import after the other, so that each is gone or there as a whole.
ExitStatus remove(const QString &folder, const ImportChoice &choice, Output &out)
{
    // Opening it for writing would make it.
    if (!ChunkStore::isStore(folder)) {
        ChunkStore none;
        if (openStore(none, folder, ChunkStore::Mode::Read))
            complain(folder, QStringLiteral("is no store; name another folder with --store"));
        return ExitStatus::Failure;
    }
    ChunkStore store;
    if (!openStore(store, folder, ChunkStore::Mode::ReadWrite))
        return ExitStatus::Failure;
    takeInterruptions(); // an import is removed as a whole
    const QVector<ImportRecord> imports = store.imports();
    if (!hasImports(store, folder, choice))
        return ExitStatus::Failure;
    for (int number = 1; number <= imports.size(); ++number) {
        const ImportRecord &record = imports.at(number - 1);
        if (!choice.contains(number))
            continue;
        if (wasInterrupted())
            return interrupted(folder);
        const auto isUnpacked = [&] {
            return !record.folder.isEmpty() && store.getDataChunkLocation().exists(record.folder);
        };
        const bool wasUnpacked = isUnpacked();
        if (!store.removeImport(number)) {
            const QString fault = store.errorString();
            const bool hasAdvice = fault.contains(QLatin1String("; "));
            complain(hasAdvice ? fault
                               : fault + QLatin1String("; check the permissions of the store and the space left"));
            return ExitStatus::Failure;
        }
        const QString unpacked =
            wasUnpacked && !isUnpacked() ? QStringLiteral(" and the folder %1").arg(record.folder) : QString();
        out.writeLine(printable(QStringLiteral("%1: import %2 (%3), %4%5, removed")
                                    .arg(folder, QString::number(number),
                                         record.path.isEmpty() ? QStringLiteral("-") : record.path,
                                         counted(record.messageCount, QStringLiteral("message")), unpacked)));
    }
    return ExitStatus::Success;
}

ExitStatus run(const QCommandLineParser &parser, Output &out)
{
    const QString help = QStringLiteral("imports");
    if (!parser.positionalArguments().isEmpty())
        return wrongUsage(QStringLiteral("imports takes no arguments; name a store with --store"), help);
    QString problem = storeProblem(parser);
    const QString removeName = QStringLiteral("remove");
    const bool removes = parser.isSet(removeName);
    const bool asJson = parser.isSet(QStringLiteral("json"));
    ImportChoice choice;
    if (problem.isEmpty() && removes)
        problem = choice.set(parser.value(removeName), removeName);
    if (problem.isEmpty() && removes && asJson)
        problem = QStringLiteral("imports takes either --remove or --json");
    if (!problem.isEmpty())
        return wrongUsage(problem, help);
    const QString folder = chosenStoreFolder(parser);
    return removes ? remove(folder, choice, out) : list(folder, asJson, out);
}

void addOptions(QCommandLineParser &parser)
{
    parser.addOption(storeOption());
    parser.addOption({QStringLiteral("remove"), QStringLiteral("Removes these imports from the store; 2-4 is a range."),
                      QStringLiteral("N[,N]")});
    parser.addOption({QStringLiteral("json"), QStringLiteral("Prints JSON instead of a table.")});
}

} // namespace

Subcommand importsSubcommand()
{
    return {QStringLiteral("imports"),
            QStringLiteral("Lists the imports that a store holds, or removes some."),
            QStringLiteral("[--store DIR] [--json | --remove N[,N]]"),
            QStringLiteral(
                "The numbers are those that --import of show, stats and convert takes; they stay the same when\n"
                "other imports are removed. An import that failed is listed, too: its messages were removed,\n"
                "unless it was made with --keep-partial. What --remove was told is removed as a whole, even when\n"
                "it is stopped on the way, also on a full disk, and with the folder that an archive was unpacked\n"
                "into, unless there is more in it than that."),
            QStringLiteral("  canlog imports\n"
                           "  canlog show --import 3 && canlog imports --remove 3\n"),
            addOptions,
            run};
}
