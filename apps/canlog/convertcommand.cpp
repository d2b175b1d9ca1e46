// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/filereading.h"
#include "apps/canlog/filteroptions.h"
#include "apps/canlog/formats.h"
#include "apps/canlog/helptext.h"
#include "apps/canlog/interruption.h"
#include "apps/canlog/logfile.h"
#include "apps/canlog/messagesource.h"
#include "apps/canlog/output.h"
#include "apps/canlog/progressbar.h"
#include "apps/canlog/storefolder.h"
#include "host/convert/framewriter.h"
#include "host/convert/logorigin.h"
#include "host/convert/outputfile.h"
#include "host/convert/targets.h"
#include "host/selection/messagefilter.h"
#include "host/store/timetext.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QIODevice>
#include <QTimeZone>

#include <limits>
#include <optional>

namespace
{

const QLatin1String standardOutput("-");
const QLatin1String help("convert");
const QLatin1String endOption("until"); // "to" names the format
const QLatin1String zoneOption("zone");

/// The command line, understood. An empty input is a store, an empty output is standard output.
struct Request {
    QString input;
    QString output;
    const Target *target = nullptr;
    MessageFilter filter;
    ImportChoice imports; ///< of a store
    bool skipsDamaged = false;
    bool showsBar = true;
    bool raw = false;
    QTimeZone zone; ///< of calendar times; invalid: not given
};

/// Standard output for code that writes to a device. Writing always succeeds: Output keeps the failure.
class OutputDevice : public QIODevice
{
public:
    explicit OutputDevice(Output &output)
        : out(output)
    {
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }

    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        out.write(data, static_cast<std::size_t>(size));
        return size;
    }

private:
    Output &out;
};

/// Where a conversion writes to: a file that appears when it is complete, or standard output.
class Destination
{
public:
    Destination(const QString &path, Output &output)
        : file(path)
        , out(output)
        , device(output)
        , isFile(!path.isEmpty())
        , shownName(isFile ? path : QStringLiteral("standard output"))
    {
    }

    /// The three complain when they fail and return false; no file is left behind then.
    bool open() { return !isFile || file.open() || complainOfFile(); }
    bool commit() { return !isFile || file.commit() || complainOfFile(); }
    bool fail(const QString &reason)
    {
        file.discard();
        // Nothing is wrong with a reader that goes away, and Output itself tells of the rest.
        if (isFile)
            complain(shownName, QStringLiteral("cannot be written: %1; check the space left").arg(reason));
        return false;
    }
    void discard() { file.discard(); }

    std::unique_ptr<FrameWriter> makeWriter(const Target &target, bool raw)
    {
        if (target.databaseWriter)
            return target.databaseWriter(file.device().fileName());
        return target.textWriter(isFile ? static_cast<QIODevice &>(file.device()) : device, raw);
    }

    /// False when nobody reads what is written.
    bool isWanted() const { return isFile || out.isOpen(); }
    QString name() const { return shownName; }
    /// One line of result. Standard output is no place for it when the messages are there.
    void report(const QString &text)
    {
        if (isFile)
            out.writeLine(QStringLiteral("%1: %2").arg(shownName, text));
    }

private:
    bool complainOfFile()
    {
        complain(shownName, file.errorText());
        return false;
    }

    OutputFile file;
    Output &out;
    OutputDevice device;
    bool isFile;
    QString shownName;
};

/// Hands messages to a writer, which begins with the first of them: a file that cannot be read gives no output.
class Conversion
{
public:
    Conversion(Destination &outputDestination, const Request &request, const MessageSource &messageSource)
        : destination(outputDestination)
        , target(*request.target)
        , zone(request.zone)
        , source(messageSource)
        , writer(destination.makeWriter(target, request.raw))
    {
        writer->setLog([this] { return source.info(); });
        writer->setZone(zone);
    }

    /// False when nothing more can be written, or nobody reads it.
    bool take(const CAN::CanRxMessage &message, const QString &note)
    {
        ++count;
        if (!good || !destination.isWanted() || !begin())
            return false;
        writer->setDirectionTold(source.isDirectionTold());
        return check(shift == 0 ? writer->write(message, note) : writer->write(shifted(message), note));
    }
    /// Completes the output, says what it holds and what it could not hold. False after a complaint.
    bool finish()
    {
        if (!good || !begin() || !check(writer->finish()))
            return false;
        const QVector<FrameWriter::LossCount> losses = writer->losses();
        writer.reset();
        if (!destination.commit())
            return false;
        destination.report(QStringLiteral("%1, %2").arg(target.description, counted(count, QStringLiteral("message"))));
        if (!losses.isEmpty())
            complain(destination.name(), lossText(losses));
        return true;
    }

private:
    bool begin()
    {
        if (!begun && zone.isValid() && !target.hasStart)
            findShift();
        if (!begun)
            check(writer->begin());
        begun = true;
        return good;
    }
    /// With a zone, times become those since 1970 where the log tells when it began.
    void findShift()
    {
        const std::optional<qint64> found = sinceEpoch(source.info(), zone);
        if (found)
            shift = *found;
        else if (count > 0)
            complain(source.name(), QStringLiteral("warning: the log does not tell when it began, so --zone changes "
                                                   "no time"));
    }
    CAN::CanRxMessage shifted(CAN::CanRxMessage message) const
    {
        constexpr qint64 second = 1000000;
        const qint64 time = inMicroseconds(message.timeStamp) + shift;
        const qint64 latest = std::numeric_limits<qint32>::max();
        message.timeStamp = {qint32(qBound(-latest, time / second, latest)), qint32(time % second)};
        return message;
    }
    bool check(bool succeeded)
    {
        if (!succeeded && good)
            good = destination.fail(writer->errorText());
        return good;
    }
    QString lossText(const QVector<FrameWriter::LossCount> &losses) const
    {
        QStringList parts;
        for (const FrameWriter::LossCount &loss : losses)
            parts.append(QStringLiteral("%1 (%2)").arg(counted(loss.count, loss.what), loss.outcome));
        return QStringLiteral("warning: %1 has no place for everything: %2")
            .arg(target.name, parts.join(QLatin1String(", ")));
    }

    Destination &destination;
    const Target &target;
    const QTimeZone zone;
    const MessageSource &source;
    std::unique_ptr<FrameWriter> writer;
    qint64 shift = 0; ///< what is added to each time, in microseconds
    quint64 count = 0;
    bool begun = false;
    bool good = true;
};

/// What to say when a damaged store is not written in another format.
QString nothingWrittenText(const Request &request, bool isEmpty)
{
    const QString reason = QStringLiteral("nothing is written, since the store is damaged");
    if (isEmpty)
        return reason + QStringLiteral(" and no message of it can be read");
    return request.skipsDamaged ? reason : reason + QStringLiteral("; --skip-damaged writes the rest");
}

ExitStatus convert(MessageSource &source, const Request &request, Output &out)
{
    takeInterruptions(); // before there is a temporary file
    Destination destination(request.output, out);
    if (!source.open() || !destination.open())
        return ExitStatus::Failure;
    Conversion conversion(destination, request, source);
    source.setFilter(request.filter);
    const auto visitor = [&](const CAN::CanRxMessage &message, const QString &note) {
        return conversion.take(message, note);
    };
    ProgressBar bar(source.name(), request.showsBar);
    const ExitStatus status = source.visit(visitor, &bar);
    if (status == ExitStatus::Interrupted)
        return status;
    // What could be read of a damaged store is worth having where nothing is replaced by it.
    const bool fromStore = request.input.isEmpty();
    const bool isEmpty = !source.hasMessages();
    const bool mayWriteRest = !isEmpty && (request.output.isEmpty() || (fromStore && request.skipsDamaged));
    if (status != ExitStatus::Success && !mayWriteRest) {
        if (fromStore)
            complain(destination.name(), nothingWrittenText(request, isEmpty));
        return ExitStatus::Failure;
    }
    return conversion.finish() ? status : ExitStatus::Failure;
}

QString targetNames()
{
    QStringList names;
    for (const Target &target : targets())
        names.append(target.name);
    return names.join(QLatin1String(", "));
}

QString unknownTarget(const QString &name)
{
    const QString hint = microsecondsFromText(name) ? QStringLiteral("; a time is given by --until") : QString();
    return QStringLiteral("unknown format '%1', wanted is one of %2%3")
        .arg(name, targetNames(), hint.isEmpty() ? nearestHint(name, targetNames().split(QLatin1String(", "))) : hint);
}

/// Sets the target of @p request. Returns what is wrong with the options; empty when nothing is.
QString chooseTarget(const QCommandLineParser &parser, Request &request)
{
    if (parser.isSet(QStringLiteral("to"))) {
        const QString name = parser.value(QStringLiteral("to"));
        request.target = findTarget(name);
        if (!request.target)
            return unknownTarget(name);
    } else if (request.output.isEmpty()) {
        return QStringLiteral("standard output needs --to FORMAT");
    } else {
        request.target = targetForPath(request.output);
        if (!request.target)
            return QStringLiteral("the suffix of '%1' stands for no format, name one with --to").arg(request.output);
    }
    if (request.target->databaseWriter && request.output.isEmpty())
        return QStringLiteral("a database needs a file, name OUT");
    return {};
}

/// Returns what is wrong with the option; empty when nothing is.
QString setZone(const QCommandLineParser &parser, QTimeZone &zone)
{
    const QString name = parser.value(zoneOption);
    if (parser.isSet(zoneOption))
        zone = zoneFromText(name);
    return !parser.isSet(zoneOption) || zone.isValid()
               ? QString()
               : QStringLiteral("unknown --zone '%1', wanted is UTC, local, +02:00 or a name as Europe/Berlin")
                     .arg(name);
}

bool isSameFile(const QString &a, const QString &b)
{
    const QString path = QFileInfo(a).canonicalFilePath(); // empty when there is no such file
    return !path.isEmpty() && path == QFileInfo(b).canonicalFilePath();
}

/// Whether @p path, as it is named or where it leads to, is or would be one of the files that the store in @p folder,
/// or in a folder in it, is made of.
bool isFileOfStore(const QString &path, const QString &folder)
{
    const QString store = QFileInfo(folder).canonicalFilePath();
    const auto isInStore = [&store](const QFileInfo &info) {
        const QString place = QFileInfo(info.absolutePath()).canonicalFilePath() + QLatin1Char('/');
        const QString name = info.fileName();
        const bool isOfStore = name.contains(QLatin1String(".qcl"), Qt::CaseInsensitive)
                               || name == QLatin1String(".lock")
                               || (name.startsWith(QLatin1String("imports")) && name.contains(QLatin1String(".json")));
        return isOfStore && place.startsWith(store + QLatin1Char('/'));
    };
    if (store.isEmpty())
        return false;
    QFileInfo info(path);
    for (int i = 0; i < 40 && info.isSymLink(); ++i) { // as many as systems follow
        if (isInStore(info))
            return true;
        info.setFile(info.symLinkTarget());
    }
    return isInStore(info);
}

/// Fills @p request. Returns what is wrong with the command line; empty when nothing is.
QString understand(const QCommandLineParser &parser, Request &request)
{
    QStringList arguments = parser.positionalArguments();
    const bool fromStore = parser.isSet(QStringLiteral("store"));
    if (fromStore && !storeProblem(parser).isEmpty())
        return storeProblem(parser);
    if (fromStore && parser.isSet(QStringLiteral("type")))
        return QStringLiteral("--type is for a file, a store needs none");
    if (fromStore && parser.isSet(QStringLiteral("columns")))
        return QStringLiteral("--columns is for a file, a store needs none");
    if (fromStore && parser.isSet(QStringLiteral("strict")))
        return QStringLiteral("--strict is for a file, a store has no lines");
    if (!fromStore) {
        if (arguments.isEmpty() || arguments.constFirst().isEmpty())
            return QStringLiteral("convert needs a file IN or --store");
        request.input = arguments.takeFirst();
    }
    if (arguments.size() > 1) {
        return fromStore ? QStringLiteral("convert takes either --store or IN, and one OUT")
                         : QStringLiteral("convert takes one IN and one OUT");
    }
    if (!arguments.isEmpty() && arguments.constFirst().isEmpty())
        return QStringLiteral("OUT needs a name");
    if (!arguments.isEmpty() && arguments.constFirst() != standardOutput)
        request.output = arguments.constFirst();
    if (parser.isSet(QStringLiteral("no-clobber")) && !request.output.isEmpty() && QFileInfo::exists(request.output))
        return QStringLiteral("OUT exists already, and --no-clobber keeps it");
    if (!request.input.isEmpty() && isSameFile(request.input, request.output))
        return QStringLiteral("IN and OUT are the same file");
    if (!request.output.isEmpty() && isFileOfStore(request.output, chosenStoreFolder(parser)))
        return QStringLiteral("OUT is a file of the store %1, name another one").arg(chosenStoreFolder(parser));
    if (!request.output.isEmpty() && isFileOfAStore(request.output))
        return QStringLiteral("OUT is a file of a store, name another one");
    const QString skipOption = QStringLiteral("skip-damaged");
    if (!fromStore && (parser.isSet(skipOption) || parser.isSet(QStringLiteral("import"))))
        return QStringLiteral("--%1 is for a store, name one with --store")
            .arg(parser.isSet(skipOption) ? skipOption : QStringLiteral("import"));
    const QString importProblem = request.imports.setFrom(parser);
    if (!importProblem.isEmpty())
        return importProblem;
    request.skipsDamaged = parser.isSet(skipOption);
    request.showsBar = isBarWanted(parser);
    QString problem = chooseTarget(parser, request);
    request.raw = parser.isSet(QStringLiteral("raw"));
    if (problem.isEmpty() && request.raw && request.target->name != QLatin1String("csv"))
        problem = QStringLiteral("--raw is for csv");
    if (problem.isEmpty())
        problem = setZone(parser, request.zone);
    if (problem.isEmpty())
        problem = formatProblem(parser);
    return problem.isEmpty() ? setFilter(request.filter, parser, endOption) : problem;
}

ExitStatus run(const QCommandLineParser &parser, Output &out)
{
    Request request;
    const QString problem = understand(parser, request);
    if (!problem.isEmpty())
        return wrongUsage(problem, help);
    ExitStatus status = ExitStatus::Success;
    runInterruptibly([&] {
        MessageSource source;
        if (request.input.isEmpty())
            source.chooseStore(chosenStoreFolder(parser), request.imports);
        else
            source.chooseFile(request.input, parser);
        status = convert(source, request, out);
    });
    return status;
}

void addOptions(QCommandLineParser &parser)
{
    parser.addPositionalArgument(QStringLiteral("IN"), QStringLiteral("A log file."));
    parser.addPositionalArgument(QStringLiteral("OUT"),
                                 QStringLiteral("The file to write; standard output when it is '-' or missing."),
                                 QStringLiteral("[OUT]"));
    parser.addOption({QStringLiteral("to"),
                      QStringLiteral("What to write: %1. Default: what the suffix of OUT says.").arg(targetNames()),
                      QStringLiteral("FORMAT")});
    parser.addOption({QStringLiteral("no-clobber"), QStringLiteral("Refuses to replace OUT when there is one.")});
    parser.addOption({QStringLiteral("raw"), QStringLiteral("CSV for programs: no apostrophe before a note that a "
                                                            "spreadsheet would run as a formula.")});
    parser.addOption({zoneOption,
                      QStringLiteral("The zone of calendar times, as UTC, local, +02:00 or Europe/Berlin: that of the "
                                     "date in the head of asc and trc, and where the log tells its start without a "
                                     "zone, that of this start; other formats get times since 1970 then."),
                      QStringLiteral("ZONE")});
    parser.addOption(typeOption());
    parser.addOption(columnsOption());
    parser.addOption(LogFile::strictOption());
    parser.addOption(storeOption());
    parser.addOption(ImportChoice::option());
    parser.addOption({QStringLiteral("skip-damaged"),
                      QStringLiteral("Writes what can be read of a damaged store; what cannot is named, and the exit "
                                     "status is 1.")});
    addFilterOptions(parser, endOption);
    parser.addOption(quietOption());
}

QString targetTable()
{
    QString table;
    for (const Target &target : targets()) {
        table += QStringLiteral("  %1  %2  %3\n")
                     .arg(target.name, -8)
                     .arg(target.suffixes.join(QLatin1String(", ")), -14)
                     .arg(target.description);
    }
    return table;
}

} // namespace

Subcommand convertSubcommand()
{
    return {
        QStringLiteral("convert"),
        QStringLiteral("Writes the messages of a log file or of a store in another format."),
        QStringLiteral("[--type NAME|NUMBER] [--columns CODES] [--strict] IN [OUT] [--to FORMAT] [--no-clobber] "
                       "[filters] [--quiet]\n"
                       "       canlog convert --store DIR [--import N[,N]] [--skip-damaged] [OUT] [--to FORMAT] "
                       "[--no-clobber] [filters]"),
        QStringLiteral(
            "Formats and their suffixes:\n"
            "%1"
            "What a format has no place for is told of in a warning. OUT is written whole or not at\n"
            "all: when something fails, what was there before stays; the exit status is then 1, or 130 after Ctrl-C.\n"
            "The filters are --id, --channel, --from, --until, --direction and --notes-only.\n%2")
            .arg(targetTable(), LogFile::warningHelp()),
        QStringLiteral("  canlog convert examples/drive.log drive.asc\n"
                       "  canlog convert examples/washer-trc21.trc --to csv | less\n"
                       "  canlog convert --store trips trips.db\n"),
        addOptions,
        run};
}
