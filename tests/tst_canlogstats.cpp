// SPDX-License-Identifier: Apache-2.0
#include "canlogprogram.h"
#include "frames.h"
#include "host/store/chunkstore.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

/// Cycles of 123: 10, 12 and 8 ms; then 2 s of silence.
static const QByteArray smallLog = "(10.000000) can0 123#1122334455667788\n"
                                   "(10.010000) can0 123#1122334455667788\n"
                                   "(10.022000) can0 123#11\n"
                                   "(10.030000) can0 123#\n"
                                   "(12.030000) can0 18FEF100#1122334455667788\n";

static const QByteArray tableHeading =
    " Chan       Id    Count Share %   Len   Min ms  Mean ms   Max ms   Jitter Back\n";

/// Runs `canlog stats` and looks at nothing but what a shell sees.
class CanlogStatsTest : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void init() { makeFolder(); }

    void help();
    void tableOfASmallLog();
    void namesOfTheChannels();
    void tableOfBusLoads();
    void jsonOfASmallLog();
    void jsonOfBusLoads();
    void jsonOfStepsBack();
    void jsonKeepsMicroseconds();
    void storeGivesTheSameAsItsFile();
    void filters_data();
    void filters();
    void notesThatComeLate();
    void gapThreshold_data();
    void gapThreshold();
    void otherTypesOfFiles();
    void nothingToCount_data();
    void nothingToCount();
    void everythingFilteredAway();
    void missingDataBitRateIsTold();
    void moreIdentifiersThanRows();
    void damagedStore();
    void unreadableSources_data();
    void unreadableSources();
    void wrongUsage_data();
    void wrongUsage();

private:
    /// What `canlog stats --json` prints with @p arguments, which must be well.
    QJsonObject json(const QStringList &arguments);
    void makeStore(const QString &name, const Frames &messages, const QMap<unsigned int, QString> &notes = {}) const;
};

QJsonObject CanlogStatsTest::json(const QStringList &arguments)
{
    const Outcome outcome = canlog(words("stats --json") + arguments);
    QJsonParseError error;
    const QJsonObject object = QJsonDocument::fromJson(outcome.out, &error).object();
    if (error.error == QJsonParseError::NoError && outcome.status == 0 && outcome.err.isEmpty())
        return object;
    qWarning() << error.errorString() << outcome.status << outcome.err;
    return {};
}

void CanlogStatsTest::makeStore(const QString &name, const Frames &messages,
                                const QMap<unsigned int, QString> &notes) const
{
    ChunkStore store;
    QVERIFY2(store.open(path(name), ChunkStore::Mode::ReadWrite), qPrintable(store.errorString()));
    store.setImportStarted();
    store.addImportedMessages(messages, notes);
    store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("made up"), true);
}

/// The member of @p object that @p keys, separated by slashes, lead to; a number is a place in an array.
static QJsonValue at(const QJsonObject &object, const char *keys)
{
    QJsonValue value = object;
    for (const QString &key : QString::fromLatin1(keys).split(QLatin1Char('/')))
        value = value.isArray() ? value.toArray().at(key.toInt()) : value.toObject().value(key);
    return value;
}

static bool isNearly(const QJsonValue &actual, double expected)
{
    const bool result = actual.isDouble() && std::abs(actual.toDouble() - expected) <= 1e-9 * std::abs(expected);
    if (!result)
        qWarning() << actual << "instead of" << expected;
    return result;
}

// ---- what is printed

void CanlogStatsTest::help()
{
    const Outcome outcome = canlog(words("stats --help"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
    QVERIFY(outcome.out.startsWith("Usage: canlog stats [--store DIR | FILE... "));
    for (const char *mention : {"--id <HEX[,HEX]>", "--channel <N[,N]>", "--from <TIME>", "--to <TIME>",
                                "--direction <rx|tx>", "--notes-only", "--gap <SECONDS>", "--bitrate <N>",
                                "--data-bitrate <N>", "--json", "exit status", "\nExample:\n  canlog stats "})
        QVERIFY2(outcome.out.contains(mention), mention);
    QVERIFY(canlog(words("--help")).out.contains("\n  stats "));
}

void CanlogStatsTest::tableOfASmallLog()
{
    write(QStringLiteral("small.log"), smallLog);
    const Outcome outcome = canlog(words("stats small.log"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
    // 5 frames in 2.03 s; 4 of 5 frames are 80 %; the standard deviation of 10, 12 and 8 ms is the root of 8/3.
    QCOMPARE(outcome.out, "Frames                   5\n"
                          "Remote frames            0\n"
                          "CAN FD frames            0\n"
                          "Error frames             0\n"
                          "Duration                 2.030000 s from 10.000000 to 12.030000\n"
                          "Frame rate               2.463 /s\n"
                          "Gaps > 1.000000 s        1, longest 2.000000 s from 10.030000 to 12.030000\n"
                          "Steps back in time       0\n"
                          "Channel 1                can0\n"
                          "\n" + tableHeading
                              + "    1      123        4   80.00   0-8    8.000   10.000   12.000    1.633    0\n"
                                "    1 18FEF100        1   20.00     8        -        -        -        -    0\n");

    const QByteArray wide = canlog(words("stats small.log --wide")).out;
    QVERIFY2(wide.endsWith(" Chan       Id    Count Share %   Len             First              Last   Min ms  Mean ms"
                           "   Max ms   Jitter Back\n"
                           "    1      123        4   80.00   0-8         10.000000         10.030000    8.000   10.000"
                           "   12.000    1.633    0\n"
                           "    1 18FEF100        1   20.00     8         12.030000         12.030000        -        -"
                           "        -        -    0\n"),
             wide.constData());
}

void CanlogStatsTest::namesOfTheChannels()
{
    write(QStringLiteral("a.log"), "(10.0) vcan0 123#11\n(10.5) engine 124#22\n");
    write(QStringLiteral("b.log"), "(10.0) can0 123#11\n");
    const QStringList wanted{QStringLiteral("Channel 1                vcan0, can0"),
                             QStringLiteral("Channel 2                engine")};
    QCOMPARE(canlog(words("import a.log b.log")).status, 0);
    const QStringList lines = QString::fromUtf8(canlog(words("stats")).out).split(QLatin1Char('\n'));
    QCOMPARE(lines.filter(QStringLiteral("Channel ")).mid(0, 2), wanted);
    const Outcome json = canlog(words("stats a.log --json"));
    const QJsonArray channels = QJsonDocument::fromJson(json.out).object().value(QStringLiteral("channels")).toArray();
    QCOMPARE(channels.at(0).toObject().value(QStringLiteral("name")).toString(), QStringLiteral("vcan0"));
    QCOMPARE(channels.at(1).toObject().value(QStringLiteral("name")).toString(), QStringLiteral("engine"));
    const QList<QByteArray> rows = canlog(words("show --names a.log")).out.split('\n');
    QVERIFY2(rows.at(1).contains("         vcan0  Rx "), rows.at(1).constData());
    QVERIFY2(rows.at(2).contains("        engine  Rx "), rows.at(2).constData());
}

/// Two channels in one second: 100 base frames of 8 bytes on channel 1; an FD frame with bit-rate switch and an error
/// frame on channel 2.
static Frames loadedBuses()
{
    Frames messages;
    for (int i = 0; i < 100; ++i)
        messages += Frame(0x123).dlc(8).channel(1).at(0, 10000 * i);
    messages += Frame(0x123).dlc(64).fd().brs().channel(2).at(0, 995000);
    messages += Frame(CAN::errorFrameId).channel(2).at(1, 0);
    return messages;
}

void CanlogStatsTest::tableOfBusLoads()
{
    makeStore(QStringLiteral("s"), loadedBuses());
    const Outcome outcome = canlog(words("stats --store s --bitrate 100000 --data-bitrate 250000"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
    const QList<QByteArray> lines = outcome.out.split('\n');
    // 11100 and 13500 bits of 100000.
    QVERIFY(lines.contains("Bus load, channel 1      11.10 % without stuff bits, 13.50 % at worst"));
    // 29 + 17 and 550 bits take 2.66 ms, 32 + 23 and 680 bits 3.27 ms.
    QVERIFY(lines.contains("Bus load, channel 2      0.27 % without stuff bits, 0.33 % at worst"));
    QVERIFY(!canlog(words("stats --store s")).out.contains("Bus load"));
}

void CanlogStatsTest::jsonOfASmallLog()
{
    write(QStringLiteral("small.log"), smallLog);
    const QJsonObject object = json(words("small.log"));
    QCOMPARE(at(object, "frames"), QJsonValue(5));
    QCOMPARE(at(object, "remoteFrames"), QJsonValue(0));
    QCOMPARE(at(object, "fdFrames"), QJsonValue(0));
    QCOMPARE(at(object, "errorFrames"), QJsonValue(0));
    QCOMPARE(at(object, "firstTime"), QJsonValue(10));
    QCOMPARE(at(object, "lastTime"), QJsonValue(12.03));
    QCOMPARE(at(object, "duration"), QJsonValue(2.03));
    QVERIFY(isNearly(at(object, "frameRate"), 5 / 2.03));
    QCOMPARE(at(object, "backwardSteps"), QJsonValue(0));
    QCOMPARE(at(object, "gaps/threshold"), QJsonValue(1));
    QCOMPARE(at(object, "gaps/count"), QJsonValue(1));
    QCOMPARE(at(object, "gaps/longest/duration"), QJsonValue(2));
    QCOMPARE(at(object, "gaps/longest/from"), QJsonValue(10.03));
    QCOMPARE(at(object, "gaps/longest/to"), QJsonValue(12.03));
    QCOMPARE(at(object, "unlistedFrames"), QJsonValue(0));

    QCOMPARE(at(object, "channels").toArray().size(), 1);
    QCOMPARE(at(object, "channels/0/channel"), QJsonValue(1));
    QCOMPARE(at(object, "channels/0/frames"), QJsonValue(5));
    QVERIFY(at(object, "channels/0/busLoadPercent").isNull());

    QCOMPARE(at(object, "identifiers").toArray().size(), 2);
    QCOMPARE(at(object, "identifiers/0/channel"), QJsonValue(1));
    QCOMPARE(at(object, "identifiers/0/identifier"), QJsonValue(QStringLiteral("123")));
    QCOMPARE(at(object, "identifiers/0/extended"), QJsonValue(false));
    QCOMPARE(at(object, "identifiers/0/count"), QJsonValue(4));
    QCOMPARE(at(object, "identifiers/0/sharePercent"), QJsonValue(80));
    QCOMPARE(at(object, "identifiers/0/minimumLength"), QJsonValue(0));
    QCOMPARE(at(object, "identifiers/0/maximumLength"), QJsonValue(8));
    QCOMPARE(at(object, "identifiers/0/firstTime"), QJsonValue(10));
    QCOMPARE(at(object, "identifiers/0/lastTime"), QJsonValue(10.03));
    QCOMPARE(at(object, "identifiers/0/backwardSteps"), QJsonValue(0));
    QCOMPARE(at(object, "identifiers/0/cycleMilliseconds/count"), QJsonValue(3));
    QCOMPARE(at(object, "identifiers/0/cycleMilliseconds/minimum"), QJsonValue(8));
    QCOMPARE(at(object, "identifiers/0/cycleMilliseconds/mean"), QJsonValue(10));
    QCOMPARE(at(object, "identifiers/0/cycleMilliseconds/maximum"), QJsonValue(12));
    QVERIFY(isNearly(at(object, "identifiers/0/cycleMilliseconds/jitter"), std::sqrt(8.0 / 3)));
    QCOMPARE(at(object, "identifiers/1/identifier"), QJsonValue(QStringLiteral("18FEF100")));
    QCOMPARE(at(object, "identifiers/1/extended"), QJsonValue(true));
    QVERIFY(at(object, "identifiers/1/cycleMilliseconds").isNull());
}

void CanlogStatsTest::jsonOfBusLoads()
{
    makeStore(QStringLiteral("s"), loadedBuses());
    const QJsonObject object = json(words("--store s --bitrate 100000 --data-bitrate 250000"));
    QCOMPARE(at(object, "frames"), QJsonValue(101));
    QCOMPARE(at(object, "fdFrames"), QJsonValue(1));
    QCOMPARE(at(object, "errorFrames"), QJsonValue(1));
    QCOMPARE(at(object, "channels/0/channel"), QJsonValue(1));
    QVERIFY(isNearly(at(object, "channels/0/busLoadPercent/withoutStuffBits"), 11.1));
    QVERIFY(isNearly(at(object, "channels/0/busLoadPercent/atWorst"), 13.5));
    QCOMPARE(at(object, "channels/1/channel"), QJsonValue(2));
    QCOMPARE(at(object, "channels/1/frames"), QJsonValue(1));
    QCOMPARE(at(object, "channels/1/errorFrames"), QJsonValue(1));
    QVERIFY(isNearly(at(object, "channels/1/busLoadPercent/withoutStuffBits"), 0.266));
    QVERIFY(isNearly(at(object, "channels/1/busLoadPercent/atWorst"), 0.327));
}

void CanlogStatsTest::jsonOfStepsBack()
{
    write(QStringLiteral("x.log"), "(5.0) can0 123#\n(4.0) can0 123#\n(4.5) can0 123#\n(4.4) can0 007#\n");
    const QJsonObject object = json(words("x.log"));
    QCOMPARE(at(object, "backwardSteps"), QJsonValue(2));
    QCOMPARE(at(object, "duration"), QJsonValue(1));
    QCOMPARE(at(object, "gaps/count"), QJsonValue(0));
    QVERIFY(at(object, "gaps/longest").isNull());
    QCOMPARE(at(object, "identifiers/1/backwardSteps"), QJsonValue(1));
    QCOMPARE(at(object, "identifiers/1/cycleMilliseconds/minimum"), QJsonValue(500));
    QCOMPARE(at(object, "identifiers/1/cycleMilliseconds/count"), QJsonValue(1));
    QCOMPARE(at(object, "identifiers/1/firstTime"), QJsonValue(4));

    const Outcome table = canlog(words("stats x.log"));
    QVERIFY(table.out.contains("\nSteps back in time       2\n"));
    QVERIFY(table.out.trimmed().endsWith(" 500.000    0.000    1"));
}

void CanlogStatsTest::jsonKeepsMicroseconds()
{
    write(QStringLiteral("x.log"), "(1345212884.318851) can0 123#\n(2147483647.999999) can0 123#\n");
    const QByteArray out = canlog(words("stats x.log --type SocketCanDump --json")).out;
    QVERIFY2(out.contains("\"firstTime\": 1345212884.318851"), out.constData());
    QVERIFY2(out.contains("\"lastTime\": 2147483647.999999"), out.constData());
    QVERIFY2(out.contains("\"duration\": 802270763.681148"), out.constData());
}

// ---- what is read

void CanlogStatsTest::storeGivesTheSameAsItsFile()
{
    const QString example = QStringLiteral(CANLOG_EXAMPLES "/drive.log");
    QCOMPARE(canlog({QStringLiteral("import"), example}).status, 0);
    const Outcome ofFile = canlog({QStringLiteral("stats"), example});
    const Outcome ofStore = canlog(words("stats"));
    QCOMPARE(ofStore.err, QByteArray());
    QCOMPARE(ofStore.status, 0);
    QCOMPARE(ofStore.out, ofFile.out);
    QCOMPARE(ofStore.out.count('\n'), 8 + 2 + 2 + 17); // facts, names, blank line and heading, identifiers
}

void CanlogStatsTest::filters_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("errorFrames");
    QTest::addColumn<QByteArray>("identifiers");
    const auto row = [](const char *options, int frames, int errorFrames, const char *identifiers) {
        QTest::newRow(options) << words(options) << frames << errorFrames << QByteArray(identifiers);
    };
    row("--id 100-1FF", 3, 0, "0 100, 0 1FF, 1 1FF");
    row("--id 00000000:0", 1, 0, "1 00000100");
    row("--id error", 0, 1, "");
    row("--channel 1", 2, 1, "1 1FF, 1 00000100");
    row("--from 1.5 --to 3", 3, 0, "0 1FF, 1 1FF, 1 00000100");
    row("--direction tx", 2, 0, "0 1FF, 1 00000100");
    row("--direction rx --channel 0", 1, 0, "0 100");
    row("--notes-only", 1, 1, "1 1FF");
}

void CanlogStatsTest::filters()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, identifiers);
    makeStore(QStringLiteral("s"),
              frames({Frame(0x100).at(1, 0), Frame(0x1FF).tx().at(1, 500000), Frame(0x1FF).channel(1).at(2, 0),
                      Frame(0x100).extended().tx().channel(1).at(3, 0), Frame(CAN::errorFrameId).channel(1).at(3, 1)}),
              {{2, QStringLiteral("noted")}, {4, QStringLiteral("bus off")}});
    const QJsonObject object = json(words("--store s") + options);
    QTEST(at(object, "frames").toInt(), "frames");
    QTEST(at(object, "errorFrames").toInt(), "errorFrames");
    QStringList found;
    for (const QJsonValue &identifier : at(object, "identifiers").toArray()) {
        found += QStringLiteral("%1 %2")
                     .arg(at(identifier.toObject(), "channel").toInt())
                     .arg(at(identifier.toObject(), "identifier").toString());
    }
    QCOMPARE(found.join(QStringLiteral(", ")).toLatin1(), identifiers);
}

void CanlogStatsTest::notesThatComeLate()
{
    // The note of the last message comes when its batch of 100000 has long been delivered.
    QByteArray content = "base hex  timestamps absolute\n";
    for (int i = 1; i < 100000; ++i)
        content += " 1.000000 1  123  Rx   d 1 0C  Length = 222000 BitCount = 111 ID = 291\n";
    content += " 2.000000 1  124  Rx   d 1 0C  Length = 222000 BitCount = 111 ID = 292\nEnd TriggerBlock\n";
    write(QStringLiteral("x.asc"), content);
    const QJsonObject object = json(words("x.asc --type VectorAscLog"));
    QCOMPARE(at(object, "frames"), QJsonValue(100000));
    const QJsonObject noted = json(words("x.asc --type VectorAscLog --notes-only --id 124"));
    QCOMPARE(at(noted, "frames"), QJsonValue(1));
    QCOMPARE(at(noted, "identifiers/0/identifier"), QJsonValue(QStringLiteral("124")));
}

void CanlogStatsTest::gapThreshold_data()
{
    QTest::addColumn<QString>("threshold");
    QTest::addColumn<int>("count");
    QTest::newRow("default") << QString() << 1;
    QTest::newRow("as long as a gap") << QStringLiteral("2") << 0;
    QTest::newRow("a microsecond less") << QStringLiteral("1.999999") << 1;
    QTest::newRow("short") << QStringLiteral(".008") << 3;
    QTest::newRow("shortest") << QStringLiteral("0.000001") << 4;
    QTest::newRow("longest") << QStringLiteral("999999999999.999999") << 0;
}

void CanlogStatsTest::gapThreshold()
{
    QFETCH(QString, threshold);
    write(QStringLiteral("small.log"), smallLog);
    const QStringList option = threshold.isEmpty() ? QStringList() : QStringList{QStringLiteral("--gap"), threshold};
    QTEST(at(json(words("small.log") + option), "gaps/count").toInt(), "count");
}

void CanlogStatsTest::otherTypesOfFiles()
{
    write(QStringLiteral("columns.txt"), "1.500000 2 123 Rx data 1 11\n1.750000 2 123 Rx data 1 12\n");
    const QJsonObject columns =
        json({QStringLiteral("columns.txt"), QStringLiteral("--type"), QStringLiteral("generic"),
              QStringLiteral("--columns"), QStringLiteral("t n i ? ? l d")});
    QCOMPARE(at(columns, "identifiers/0/channel"), QJsonValue(2));
    QCOMPARE(at(columns, "identifiers/0/cycleMilliseconds/mean"), QJsonValue(250));

    makeStore(QStringLiteral("s"), loadedBuses());
    QCOMPARE(at(json(words("--type qcl s/chunk-00000001.qcl")), "frames"), QJsonValue(101));
}

// ---- nothing, too much, mistakes

void CanlogStatsTest::nothingToCount_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("status");
    QTest::newRow("empty") << QByteArray() << 0;
    QTest::newRow("no frames") << QByteArray("nothing of the kind\n") << 1; // all there is was dropped
}

void CanlogStatsTest::nothingToCount()
{
    QFETCH(QByteArray, content);
    QFETCH(int, status);
    write(QStringLiteral("x.log"), content);
    const Outcome table = canlog(words("stats x.log --type SocketCanDump --bitrate 500000"));
    QCOMPARE(table.out, QByteArray("Frames                   0\n"
                                   "Remote frames            0\n"
                                   "CAN FD frames            0\n"
                                   "Error frames             0\n"));
    QVERIFY2(table.err.startsWith("canlog: x.log: no message in it"), table.err.constData());
    QCOMPARE(table.err.count('\n'), 1);
    QCOMPARE(table.status, status);

    const Outcome outcome = canlog(words("stats x.log --type SocketCanDump --json"));
    QCOMPARE(outcome.err, table.err);
    QCOMPARE(outcome.status, status);
    const QJsonObject object = QJsonDocument::fromJson(outcome.out).object();
    QCOMPARE(at(object, "frames"), QJsonValue(0));
    QVERIFY(at(object, "firstTime").isNull());
    QVERIFY(at(object, "frameRate").isNull());
    QVERIFY(at(object, "identifiers").isArray());
    QVERIFY(at(object, "identifiers").toArray().isEmpty());
}

void CanlogStatsTest::everythingFilteredAway()
{
    write(QStringLiteral("small.log"), smallLog);
    const Outcome outcome = canlog(words("stats small.log --id 7FF"));
    QCOMPARE(outcome.err, QByteArray());
    QVERIFY(outcome.out.startsWith("Frames                   0\n"));
    QCOMPARE(outcome.status, 0);
}

void CanlogStatsTest::missingDataBitRateIsTold()
{
    makeStore(QStringLiteral("s"), loadedBuses());
    const Outcome outcome = canlog(words("stats --store s --bitrate 200000"));
    QCOMPARE(outcome.err,
             QByteArray("canlog: 1 frame with bit-rate switch counted at --bitrate alone; give --data-bitrate, too\n"));
    QCOMPARE(outcome.status, 0);
    // 596 and 735 bits of 200000.
    QVERIFY(outcome.out.contains("Bus load, channel 2      0.30 % without stuff bits, 0.37 % at worst\n"));
    QCOMPARE(canlog(words("stats --store s --bitrate 100000 --channel 1")).err, QByteArray());
}

void CanlogStatsTest::moreIdentifiersThanRows()
{
    QByteArray content;
    for (int i = 0; i < 65538; ++i)
        content += "(1.0) can0 " + QByteArray::number(0x10000000 + i, 16) + "#\n";
    write(QStringLiteral("x.log"), content);
    const Outcome outcome = canlog(words("stats x.log --type SocketCanDump --json"));
    QCOMPARE(outcome.err, QByteArray("canlog: 2 frames of further identifiers than the first 65536 not listed; choose "
                                     "some with --id\n"));
    QCOMPARE(outcome.status, 0);
    const QJsonObject object = QJsonDocument::fromJson(outcome.out).object();
    QCOMPARE(at(object, "frames"), QJsonValue(65538));
    QCOMPARE(at(object, "identifiers").toArray().size(), 65536);
    QCOMPARE(at(object, "unlistedFrames"), QJsonValue(2));
}

void CanlogStatsTest::damagedStore()
{
    makeStore(QStringLiteral("s"), loadedBuses());
    write(QStringLiteral("s/junk.qcl"), "no chunk at all");
    const Outcome outcome = canlog(words("stats --store s"));
    QVERIFY2(outcome.err.startsWith("canlog: s: warning: ") && outcome.err.contains("junk.qcl"),
             outcome.err.constData());
    QVERIFY(outcome.out.startsWith("Frames                   101\n"));
    QCOMPARE(outcome.status, 1);
}

void CanlogStatsTest::unreadableSources_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("said");
    const auto row = [](const char *arguments, const char *said) {
        QTest::newRow(arguments) << words(arguments) << QByteArray(said);
    };
    row("stats none.log", "canlog: none.log: no such file");
    row("stats .", "canlog: .: is a folder");
    row("stats --store none", "canlog: none: no such store");
    row("stats --store small.log", "canlog: small.log: is a file");
}

void CanlogStatsTest::unreadableSources()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, said);
    write(QStringLiteral("small.log"), smallLog);
    const Outcome outcome = canlog(arguments);
    QCOMPARE(outcome.out, QByteArray());
    QVERIFY2(outcome.err.startsWith(said), outcome.err.constData());
    QCOMPARE(outcome.err.count('\n'), 1);
    QCOMPARE(outcome.status, 1);
}

void CanlogStatsTest::wrongUsage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("said");
    const auto row = [](const char *option, const char *value, const char *said) {
        QStringList arguments = words("small.log") + words(option);
        if (value)
            arguments += QString::fromLatin1(value);
        QTest::addRow("%s '%s'", option, value ? value : "") << arguments << QByteArray(said);
    };
    for (const char *rate : {"", "0", "-1", "500k", "1.5", "0x10", "1000000001", "99999999999999999999"}) {
        const QByteArray said =
            QByteArray("bad --%1 '") + rate + "', wanted are bit/s as a whole number, such as 500000";
        row("--bitrate", rate, QByteArray(said).replace("%1", "bitrate"));
        row("--bitrate 500000 --data-bitrate", rate, QByteArray(said).replace("%1", "data-bitrate"));
    }
    row("--data-bitrate 2000000", nullptr, "--data-bitrate needs --bitrate, too");
    row("--bitrate 500000 --data-bitrate 250000", nullptr, "--data-bitrate 250000 is below --bitrate 500000");
    for (const char *gap : {"", "0", "-1", "x", "0.0000001", "1s"})
        row("--gap", gap, QByteArray("bad --gap '") + gap + "', wanted are seconds above 0 with up to six decimals");
    row("--from 2 --to 1", nullptr, "--from 2 is after --to 1");
    row("--from", "now",
        "bad --from 'now', wanted are seconds with up to six decimals, +seconds after the first message, or a date and "
        "time like 2024-05-21T09:40");
    row("--channel", "-1", "bad --channel '-1', wanted are numbers from 0 to 65535, or names as the log has them");
    row("--direction", "up", "bad --direction 'up', wanted is rx or tx");
    row("--id", "200-100",
        "bad --id '200-100', wanted are hexadecimal identifiers up to 1FFFFFFF, ranges 100-1FF, masks 100:700 or "
        "'error'");
    row("--type", "nonsense", "unknown type 'nonsense', 'canlog formats' lists the types");
    row("--type SocketCanDump --columns", "t i", "--columns is for --type GenericFile");
    row("--store s", nullptr, "stats takes either --store or FILEs");
    row("--fast", nullptr, "unknown option 'fast'");
    row("--gap", nullptr, "missing value after '--gap'");
}

void CanlogStatsTest::wrongUsage()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, said);
    write(QStringLiteral("small.log"), smallLog);
    const Outcome outcome = canlog(QStringList{QStringLiteral("stats")} + arguments);
    QCOMPARE(outcome.err, "canlog: " + said + "; try 'canlog stats --help'\n");
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 2);
}

QTEST_GUILESS_MAIN(CanlogStatsTest)
#include "tst_canlogstats.moc"
