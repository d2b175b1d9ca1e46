// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/busnames.h"
#include "apps/canlog/logfile.h"
#include "apps/canlog/messagesource.h"
#include "apps/canlog/output.h"
#include "apps/canlog/progressbar.h"
#include "host/stats/statistics.h"
#include "host/store/timetext.h"

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <optional>

namespace
{

constexpr double microsecondsPerSecond = 1000000;
constexpr double microsecondsPerMillisecond = 1000;
constexpr quint64 highestBitRate = 1000000000;

struct Settings {
    qint64 gapThreshold = 0;
    std::optional<BitRates> bitRates;
    bool dataRateIsGiven = false;
    bool isWide = false;
};

/// Least and worst share of the time that a bus was busy, in percent.
struct LoadRange {
    double least;
    double most;
};

std::optional<LoadRange> loadOf(const ChannelStatistics &channel, const StatisticsResult &result,
                                const Settings &settings)
{
    if (!settings.bitRates || result.duration() == 0)
        return {};
    const auto percent = [&](const BitCount &bits) {
        return 100 * busLoad(bits, *settings.bitRates, result.duration()).value_or(0);
    };
    return LoadRange{percent(channel.bits.least), percent(channel.bits.most)};
}

double sharePercent(const IdentifierStatistics &identifier, const StatisticsResult &result)
{
    return 100 * double(identifier.count) / double(result.total.frames);
}

QString identifierText(const IdentifierStatistics &identifier)
{
    return QStringLiteral("%1").arg(identifier.id, identifier.isExtended ? 8 : 3, 16, QLatin1Char('0')).toUpper();
}

// ---- options

/// The bit rate in bit/s that @p text states; nothing when it states none.
std::optional<quint64> readBitRate(const QString &text)
{
    bool ok = false;
    const quint64 rate = text.toULongLong(&ok);
    if (!ok || rate == 0 || rate > highestBitRate)
        return {};
    return rate;
}

QString setBitRates(const QCommandLineParser &parser, Settings &settings)
{
    const QString problem = QStringLiteral("bad --%1 '%2', wanted are bit/s as a whole number, such as 500000");
    const QString nominalName = QStringLiteral("bitrate");
    const QString dataName = QStringLiteral("data-bitrate");
    settings.dataRateIsGiven = parser.isSet(dataName);
    if (!parser.isSet(nominalName))
        return settings.dataRateIsGiven ? QStringLiteral("--data-bitrate needs --bitrate, too") : QString();

    const std::optional<quint64> nominal = readBitRate(parser.value(nominalName));
    if (!nominal)
        return problem.arg(nominalName, parser.value(nominalName));
    settings.bitRates = BitRates{*nominal, *nominal};
    if (!settings.dataRateIsGiven)
        return {};
    const std::optional<quint64> data = readBitRate(parser.value(dataName));
    if (!data)
        return problem.arg(dataName, parser.value(dataName));
    if (*data < *nominal)
        return QStringLiteral("--data-bitrate %1 is below --bitrate %2").arg(*data).arg(*nominal);
    settings.bitRates->data = *data;
    return {};
}

/// Takes the options; returns what is wrong with them, empty when nothing is.
QString setSettings(const QCommandLineParser &parser, Settings &settings)
{
    const QString gap = parser.value(QStringLiteral("gap"));
    const std::optional<qint64> threshold = microsecondsFromText(gap);
    if (!threshold || *threshold <= 0)
        return QStringLiteral("bad --gap '%1', wanted are seconds above 0 with up to six decimals").arg(gap);
    settings.gapThreshold = *threshold;
    settings.isWide = parser.isSet(QStringLiteral("wide"));
    return setBitRates(parser, settings);
}

// ---- table

QString millisecondsText(double microseconds)
{
    return QString::number(microseconds / microsecondsPerMillisecond, 'f', 3);
}

QString percentText(double percent)
{
    return QString::number(percent, 'f', 2);
}

void writeFact(Output &out, const QString &name, const QString &value)
{
    out.writeLine(QStringLiteral("%1  %2").arg(name, -23).arg(value));
}

QString gapText(const StatisticsResult &result)
{
    if (!result.longestGap)
        return QStringLiteral("0");
    const Gap &longest = *result.longestGap;
    return QStringLiteral("%1, longest %2 s from %3 to %4")
        .arg(QString::number(result.gapCount), timeText(longest.duration()), timeText(longest.start),
             timeText(longest.end));
}

QString durationText(const StatisticsResult &result)
{
    const QString duration = timeText(result.duration()) + QLatin1String(" s");
    // What lies between two imports is none of their time, and each may have a zero of its own.
    if (result.logs > 1)
        return duration + QStringLiteral(" in %1 imports, each by itself").arg(result.logs);
    return duration + QStringLiteral(" from %1 to %2").arg(timeText(result.firstTime), timeText(result.lastTime));
}

/// A line for each channel that the log has a name for.
void writeNames(Output &out, const StatisticsResult &result, const BusNames &names)
{
    for (const ChannelStatistics &channel : result.channels) {
        const QString name = names.textOf(channel.channel);
        if (!name.isEmpty())
            writeFact(out, QStringLiteral("Channel %1").arg(channel.channel), printable(name));
    }
}

void writeSummary(Output &out, const StatisticsResult &result, const Settings &settings, const BusNames &names)
{
    const ChannelStatistics &total = result.total;
    writeFact(out, QStringLiteral("Frames"), QString::number(total.frames));
    writeFact(out, QStringLiteral("Remote frames"), QString::number(total.remoteFrames));
    writeFact(out, QStringLiteral("CAN FD frames"), QString::number(total.fdFrames));
    writeFact(out, QStringLiteral("Error frames"), QString::number(total.errorFrames));
    if (result.messages() == 0)
        return;
    writeFact(out, QStringLiteral("Duration"), durationText(result));
    const std::optional<double> rate = result.frameRate();
    writeFact(out, QStringLiteral("Frame rate"),
              rate ? QStringLiteral("%1 /s").arg(QString::number(*rate, 'f', 3)) : QStringLiteral("-"));
    writeFact(out, QStringLiteral("Gaps > %1 s").arg(timeText(settings.gapThreshold)), gapText(result));
    writeFact(out, QStringLiteral("Steps back in time"), QString::number(result.backwardSteps));
    writeNames(out, result, names);
    if (!settings.bitRates)
        return;
    for (const ChannelStatistics &channel : result.channels) {
        const std::optional<LoadRange> load = loadOf(channel, result, settings);
        writeFact(out, QStringLiteral("Bus load, channel %1").arg(channel.channel),
                  load ? QStringLiteral("%1 % without stuff bits, %2 % at worst")
                             .arg(percentText(load->least), percentText(load->most))
                       : QStringLiteral("-"));
    }
}

/// A column of the table of identifiers. What makes it wider than a terminal is printed when it is wished for.
struct Column {
    const char *heading;
    int width;
    QString (*text)(const IdentifierStatistics &, const StatisticsResult &);
    bool isWide = false;
};

QString lengthText(const IdentifierStatistics &identifier, const StatisticsResult &)
{
    const QString least = QString::number(identifier.minimumLength);
    if (identifier.maximumLength == identifier.minimumLength)
        return least;
    return QStringLiteral("%1-%2").arg(least).arg(identifier.maximumLength);
}

template <typename Number, Number CycleTimes::*time>
QString cycleText(const IdentifierStatistics &identifier, const StatisticsResult &)
{
    const CycleTimes &cycle = identifier.cycle;
    return cycle.count > 0 ? millisecondsText(double(cycle.*time)) : QStringLiteral("-");
}

constexpr Column columns[] = {
    {"Chan", 5, [](const auto &identifier, const auto &) { return QString::number(identifier.channel); }},
    {"Id", 8, [](const auto &identifier, const auto &) { return identifierText(identifier); }},
    {"Count", 8, [](const auto &identifier, const auto &) { return QString::number(identifier.count); }},
    {"Share %", 7,
     [](const auto &identifier, const auto &result) { return percentText(sharePercent(identifier, result)); }},
    {"Len", 5, lengthText},
    {"First", 17, [](const auto &identifier, const auto &) { return timeText(identifier.firstTime); }, true},
    {"Last", 17, [](const auto &identifier, const auto &) { return timeText(identifier.lastTime); }, true},
    {"Min ms", 8, cycleText<decltype(CycleTimes::minimum), &CycleTimes::minimum>},
    {"Mean ms", 8, cycleText<decltype(CycleTimes::mean), &CycleTimes::mean>},
    {"Max ms", 8, cycleText<decltype(CycleTimes::maximum), &CycleTimes::maximum>},
    {"Jitter", 8, cycleText<decltype(CycleTimes::jitter), &CycleTimes::jitter>},
    {"Back", 4, [](const auto &identifier, const auto &) { return QString::number(identifier.backwardSteps); }},
};

/// Writes one line, in which @p text gives what stands in a column.
template <typename Text>
void writeColumns(Output &out, bool isWide, const Text &text)
{
    QString line;
    for (const Column &column : columns) {
        if (isWide || !column.isWide)
            line += (line.isEmpty() ? QString() : QStringLiteral(" ")) + text(column).rightJustified(column.width);
    }
    out.writeLine(line);
}

void writeIdentifiers(Output &out, const StatisticsResult &result, bool isWide)
{
    writeColumns(out, isWide, [](const Column &column) { return QString::fromLatin1(column.heading); });
    for (const IdentifierStatistics &identifier : result.identifiers) {
        writeColumns(out, isWide, [&](const Column &column) { return column.text(identifier, result); });
        if (!out.isOpen())
            return;
    }
}

void writeTable(Output &out, const StatisticsResult &result, const Settings &settings, const BusNames &names)
{
    writeSummary(out, result, settings, names);
    if (result.identifiers.isEmpty())
        return;
    out.writeLine(QString());
    writeIdentifiers(out, result, settings.isWide);
}

// ---- JSON

/// Seconds. The shortest decimal number that gives this double, which is what is written, has the exact microseconds.
QJsonValue jsonTime(qint64 microseconds)
{
    return double(microseconds) / microsecondsPerSecond;
}

QJsonValue jsonCount(quint64 count)
{
    return qint64(count);
}

QJsonValue jsonMilliseconds(double microseconds)
{
    return microseconds / microsecondsPerMillisecond;
}

QJsonObject jsonCounts(const ChannelStatistics &statistics)
{
    return {{QStringLiteral("frames"), jsonCount(statistics.frames)},
            {QStringLiteral("remoteFrames"), jsonCount(statistics.remoteFrames)},
            {QStringLiteral("fdFrames"), jsonCount(statistics.fdFrames)},
            {QStringLiteral("errorFrames"), jsonCount(statistics.errorFrames)}};
}

QJsonObject jsonGaps(const StatisticsResult &result, const Settings &settings)
{
    QJsonValue longest;
    if (result.longestGap) {
        longest = QJsonObject{{QStringLiteral("duration"), jsonTime(result.longestGap->duration())},
                              {QStringLiteral("from"), jsonTime(result.longestGap->start)},
                              {QStringLiteral("to"), jsonTime(result.longestGap->end)}};
    }
    return {{QStringLiteral("threshold"), jsonTime(settings.gapThreshold)},
            {QStringLiteral("count"), jsonCount(result.gapCount)},
            {QStringLiteral("longest"), longest}};
}

QJsonObject jsonChannel(const ChannelStatistics &channel, const StatisticsResult &result, const Settings &settings,
                        const BusNames &names)
{
    QJsonObject object = jsonCounts(channel);
    object.insert(QStringLiteral("channel"), channel.channel);
    const QString name = names.textOf(channel.channel);
    object.insert(QStringLiteral("name"), name.isEmpty() ? QJsonValue() : QJsonValue(name));
    const std::optional<LoadRange> load = loadOf(channel, result, settings);
    object.insert(QStringLiteral("busLoadPercent"), load
                                                        ? QJsonObject{{QStringLiteral("withoutStuffBits"), load->least},
                                                                      {QStringLiteral("atWorst"), load->most}}
                                                        : QJsonValue());
    return object;
}

QJsonObject jsonIdentifier(const IdentifierStatistics &identifier, const StatisticsResult &result)
{
    QJsonValue cycle;
    if (identifier.cycle.count > 0) {
        cycle = QJsonObject{{QStringLiteral("count"), jsonCount(identifier.cycle.count)},
                            {QStringLiteral("minimum"), jsonMilliseconds(double(identifier.cycle.minimum))},
                            {QStringLiteral("mean"), jsonMilliseconds(identifier.cycle.mean)},
                            {QStringLiteral("maximum"), jsonMilliseconds(double(identifier.cycle.maximum))},
                            {QStringLiteral("jitter"), jsonMilliseconds(identifier.cycle.jitter)}};
    }
    return {{QStringLiteral("channel"), identifier.channel},
            {QStringLiteral("identifier"), identifierText(identifier)},
            {QStringLiteral("extended"), identifier.isExtended},
            {QStringLiteral("count"), jsonCount(identifier.count)},
            {QStringLiteral("sharePercent"), sharePercent(identifier, result)},
            {QStringLiteral("minimumLength"), identifier.minimumLength},
            {QStringLiteral("maximumLength"), identifier.maximumLength},
            {QStringLiteral("firstTime"), jsonTime(identifier.firstTime)},
            {QStringLiteral("lastTime"), jsonTime(identifier.lastTime)},
            {QStringLiteral("cycleMilliseconds"), cycle},
            {QStringLiteral("backwardSteps"), jsonCount(identifier.backwardSteps)}};
}

void writeJson(Output &out, const StatisticsResult &result, const Settings &settings, const BusNames &names)
{
    const bool isEmpty = result.messages() == 0;
    const std::optional<double> rate = result.frameRate();
    QJsonArray channels;
    for (const ChannelStatistics &channel : result.channels)
        channels.append(jsonChannel(channel, result, settings, names));
    QJsonArray identifiers;
    for (const IdentifierStatistics &identifier : result.identifiers)
        identifiers.append(jsonIdentifier(identifier, result));

    QJsonObject object = jsonCounts(result.total);
    object.insert(QStringLiteral("firstTime"), isEmpty ? QJsonValue() : jsonTime(result.firstTime));
    object.insert(QStringLiteral("lastTime"), isEmpty ? QJsonValue() : jsonTime(result.lastTime));
    object.insert(QStringLiteral("imports"), result.logs);
    object.insert(QStringLiteral("duration"), jsonTime(result.duration()));
    object.insert(QStringLiteral("frameRate"), rate ? QJsonValue(*rate) : QJsonValue());
    object.insert(QStringLiteral("backwardSteps"), jsonCount(result.backwardSteps));
    object.insert(QStringLiteral("gaps"), jsonGaps(result, settings));
    object.insert(QStringLiteral("channels"), channels);
    object.insert(QStringLiteral("identifiers"), identifiers);
    object.insert(QStringLiteral("unlistedFrames"), jsonCount(result.unlistedFrames));
    out.write(QJsonDocument(object).toJson());
}

// ---- the subcommand

/// What the figures do not say by themselves.
void complainOfLimits(const StatisticsResult &result, const Settings &settings)
{
    if (settings.bitRates && !settings.dataRateIsGiven && result.total.switchedFrames > 0) {
        complain(QStringLiteral("%1 with bit-rate switch counted at --bitrate alone; give --data-bitrate, too")
                     .arg(counted(result.total.switchedFrames, QStringLiteral("frame"))));
    }
    if (result.unlistedFrames > 0) {
        complain(QStringLiteral("%1 of further identifiers than the first %2 not listed; choose some with --id")
                     .arg(counted(result.unlistedFrames, QStringLiteral("frame")))
                     .arg(Statistics::maximumIdentifiers));
    }
}

ExitStatus run(const QCommandLineParser &parser, Output &out)
{
    const QString help = QStringLiteral("stats");
    MessageSource source;
    if (!source.choose(parser, help))
        return ExitStatus::WrongUsage;
    Settings settings;
    const QString problem = setSettings(parser, settings);
    if (!problem.isEmpty())
        return wrongUsage(problem, help);

    if (!source.open())
        return ExitStatus::Failure;
    Statistics statistics(settings.gapThreshold);
    BusNames names;
    const auto visitor = [&](const CAN::CanRxMessage &message, const QString &) {
        statistics.add(message);
        names.nameOf(message.channel, source);
        return true;
    };
    source.setImportListener([&statistics] { statistics.beginLog(); });
    ProgressBar bar(source.name(), isBarWanted(parser));
    const ExitStatus status = source.visit(visitor, &bar);
    if (status == ExitStatus::Interrupted)
        return status;
    const StatisticsResult result = statistics.result();
    if (parser.isSet(QStringLiteral("json")))
        writeJson(out, result, settings, names);
    else
        writeTable(out, result, settings, names);
    complainOfLimits(result, settings);
    return status;
}

void addOptions(QCommandLineParser &parser)
{
    MessageSource::addOptions(parser);
    parser.addOption({QStringLiteral("gap"),
                      QStringLiteral("A time without messages that is longer than this is a gap. Default: 1."),
                      QStringLiteral("SECONDS"), QStringLiteral("1")});
    parser.addOption(
        {QStringLiteral("bitrate"),
         QStringLiteral("Bit rate of the bus in bit/s, from which its load is computed: least (no stuff bits) and "
                        "worst (most stuff bits)."),
         QStringLiteral("N")});
    parser.addOption({QStringLiteral("data-bitrate"),
                      QStringLiteral("Bit rate of the data phase of CAN FD frames with bit-rate switch. Default: that "
                                     "of --bitrate."),
                      QStringLiteral("N")});
    parser.addOption(
        {QStringLiteral("wide"), QStringLiteral("Shows the first and the last time of each identifier, too.")});
    parser.addOption({QStringLiteral("json"), QStringLiteral("Prints JSON instead of tables.")});
    parser.addOption(quietOption());
}

} // namespace

Subcommand statsSubcommand()
{
    return {
        QStringLiteral("stats"),
        QStringLiteral("Counts and measures the messages of a store or of log files."),
        MessageSource::synopsis()
            + QLatin1String(" [--gap SECONDS] [--bitrate N [--data-bitrate N]] [--wide] [--json] [--quiet]"),
        QStringLiteral("Each channel and identifier has a row: count and share of the frames, lengths in bytes,\n"
                       "and the times between two of its frames: least, mean, greatest, standard\n"
                       "deviation (jitter). A frame that is earlier than the one before it counts under Back instead.\n"
                       "Only messages that pass the filters count, in everything. The first 65536 identifiers have\n"
                       "rows. What is left out of a damaged store is named on standard error; the exit status is\n"
                       "then 1.\n")
            + LogFile::warningHelp(),
        QStringLiteral("  canlog stats examples/drive.log\n"
                       "  canlog stats --store trips --channel 1 --bitrate 500000 --data-bitrate 2000000\n"
                       "  canlog stats examples/drive.log --id 0C9 --gap 0.05 --json\n"),
        addOptions,
        run};
}
