// SPDX-License-Identifier: Apache-2.0
#include "host/convert/ascwriter.h"
#include "host/convert/candumpwriter.h"
#include "host/convert/logorigin.h"
#include "host/convert/trcwriter.h"
#include "host/store/loginfotext.h"
#include "writertest.h"

#include <QBuffer>

Q_DECLARE_METATYPE(LogInfo)

using TimeBase = LogInfo::TimeBase;

namespace
{

QDateTime utc(const char *text)
{
    return QDateTime::fromString(QString::fromLatin1(text) + QLatin1Char('Z'), Qt::ISODateWithMs);
}

LogInfo logOf(TimeBase base, const char *start = "")
{
    LogInfo info;
    info.timeBase = base;
    if (*start)
        info.start = utc(start);
    return info;
}

/// What a writer makes of @p messages of a log that says @p info.
template <typename Writer>
QByteArray written(const LogInfo &info, const Frames &messages, bool isDirectionTold = false)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    Writer writer(buffer);
    writer.setLog([&] { return info; });
    writer.setDirectionTold(isDirectionTold);
    bool ok = writer.begin();
    for (const CAN::CanRxMessage &message : messages)
        ok = ok && writer.write(message, QString());
    if (!ok || !writer.finish())
        qFatal("a buffer cannot be written");
    return buffer.data();
}

} // namespace

/// What a written log says of its start and its channels.
class LogOriginTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startAndOffset_data();
    void startAndOffset();
    void sinceEpochAddsTheStart_data();
    void sinceEpochAddsTheStart();
    void zones_data();
    void zones();
    void headOfAsc();
    void headOfTrc();
    void namesOfCandump();
    void noTwoChannelsGetOneName();
    void namesOfAsc();
    void directions();
    void journalKeepsWhatALogSays_data();
    void journalKeepsWhatALogSays();
    void journalPassesOverWhatItDoesNotKnow();
};

void LogOriginTest::startAndOffset_data()
{
    QTest::addColumn<LogInfo>("info");
    QTest::addColumn<qint64>("firstTime");
    QTest::addColumn<QString>("zone");
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<QDateTime>("start");
    const auto row = [](const char *name, const LogInfo &info, qint64 firstTime, const char *zone, qint64 offset,
                        const char *start) {
        QTest::newRow(name) << info << firstTime << QString::fromLatin1(zone) << offset
                            << (*start ? utc(start) : QDateTime());
    };
    const qint64 epoch = 1716284412084712; // 21 May 2024, 9:40:12 UTC
    row("since 1970", logOf(TimeBase::UnixEpoch), epoch, "", 1716284412000000, "2024-05-21T09:40:12.000");
    row("since 1970, elsewhere", logOf(TimeBase::UnixEpoch), epoch, "+02:00", 1716284412000000,
        "2024-05-21T11:40:12.000");
    row("1970 itself", logOf(TimeBase::UnixEpoch), 5500000, "", 5000000, "1970-01-01T00:00:05.000");
    row("nobody says, but it is", logOf(TimeBase::Unknown), epoch, "", 1716284412000000, "2024-05-21T09:40:12.000");
    row("nobody says", logOf(TimeBase::Unknown), 5500000, "", 0, "");
    row("start", logOf(TimeBase::LogStart, "2024-05-21T09:40:12.084"), 5500000, "", 0, "2024-05-21T09:40:12.084");
    // Its zone is not known, so another one does not change its digits.
    row("start, elsewhere", logOf(TimeBase::LogStart, "2024-05-21T09:40:12.084"), 5500000, "+02:00", 0,
        "2024-05-21T09:40:12.084");
    row("start not told", logOf(TimeBase::LogStart), epoch, "", 0, "");
    row("a day after the start", logOf(TimeBase::LogStart, "2024-05-21T09:40:12.084"), 86400500000, "", 86400000000,
        "2024-05-22T09:40:12.084");
    row("before the start", logOf(TimeBase::LogStart, "2024-05-21T09:40:12.084"), -500000, "", 0,
        "2024-05-21T09:40:12.084");
    row("midnight", logOf(TimeBase::Midnight, "2024-05-21T09:40:12.084"), 34812000000, "", 0,
        "2024-05-21T00:00:00.000");
}

void LogOriginTest::startAndOffset()
{
    QFETCH(LogInfo, info);
    QFETCH(qint64, firstTime);
    QFETCH(QString, zone);
    QFETCH(qint64, offset);
    QFETCH(QDateTime, start);
    const LogOrigin origin = originOf(info, firstTime, zone.isEmpty() ? QTimeZone() : zoneFromText(zone));
    QCOMPARE(origin.offset, offset);
    QCOMPARE(origin.start, start);
}

void LogOriginTest::sinceEpochAddsTheStart_data()
{
    QTest::addColumn<LogInfo>("info");
    QTest::addColumn<QString>("zone");
    QTest::addColumn<qint64>("expected"); ///< -1: not known
    const LogInfo start = logOf(TimeBase::LogStart, "2024-05-21T11:40:12.084");
    QTest::newRow("UTC") << start << QStringLiteral("UTC") << qint64(1716291612084000);
    QTest::newRow("summer in Berlin") << start << QStringLiteral("Europe/Berlin") << qint64(1716284412084000);
    QTest::newRow("offset") << start << QStringLiteral("+02:00") << qint64(1716284412084000);
    QTest::newRow("midnight") << logOf(TimeBase::Midnight, "2024-05-21T11:40:12.084") << QStringLiteral("UTC")
                              << qint64(1716249600000000);
    QTest::newRow("has it") << logOf(TimeBase::UnixEpoch) << QStringLiteral("+02:00") << qint64(0);
    QTest::newRow("no start") << logOf(TimeBase::LogStart) << QStringLiteral("UTC") << qint64(-1);
}

void LogOriginTest::sinceEpochAddsTheStart()
{
    QFETCH(LogInfo, info);
    QFETCH(QString, zone);
    QFETCH(qint64, expected);
    QCOMPARE(sinceEpoch(info, zoneFromText(zone)).value_or(-1), expected);
}

void LogOriginTest::zones_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("offset"); ///< in seconds; -1: no zone
    QTest::newRow("UTC") << QStringLiteral("UTC") << 0;
    QTest::newRow("offset") << QStringLiteral("+05:30") << 19800;
    QTest::newRow("to the west") << QStringLiteral("-03:00") << -10800;
    QTest::newRow("name") << QStringLiteral("Asia/Tokyo") << 32400;
    QTest::newRow("no zone") << QStringLiteral("Berlin") << -1;
    QTest::newRow("empty") << QString() << -1;
}

void LogOriginTest::zones()
{
    QFETCH(QString, text);
    QFETCH(int, offset);
    const QTimeZone zone = zoneFromText(text);
    QCOMPARE(zone.isValid() ? zone.offsetFromUtc(utc("2024-05-21T00:00:00.000")) : -1, offset);
}

void LogOriginTest::headOfAsc()
{
    const QByteArray text =
        written<AscWriter>(logOf(TimeBase::LogStart, "2024-05-21T00:05:12.084"), {Frame(1).at(1, 500000)});
    QCOMPARE(text.left(text.indexOf("  1 ")), QByteArray("date Tue May 21 12:05:12.084 am 2024\n"
                                                         "base hex  timestamps absolute\n"
                                                         "no internal events logged\n"
                                                         "Begin Triggerblock Tue May 21 12:05:12.084 am 2024\n"
                                                         "   1.500000 1"));
    const QByteArray afternoon = written<AscWriter>(logOf(TimeBase::LogStart, "2024-02-03T13:05:12.000"), {});
    QVERIFY2(afternoon.startsWith("date Sat Feb 03 01:05:12.000 pm 2024\n"), afternoon.constData());
}

void LogOriginTest::headOfTrc()
{
    // Noon and 86.4 s, a thousandth of a day.
    const QByteArray text =
        written<TrcWriter>(logOf(TimeBase::LogStart, "2024-05-21T12:01:26.400"), {Frame(1).at(1, 500000)});
    QVERIFY2(text.contains(";$STARTTIME=45433.5010000000\n"), text.constData());
    QVERIFY2(text.contains("      1      1500.000 DT 1 "), text.constData());
}

void LogOriginTest::namesOfCandump()
{
    LogInfo info;
    info.channelNames = {{1, QStringLiteral("vcan0")}, {2, QStringLiteral("can1")}, {4, QStringLiteral("two words")}};
    QCOMPARE(written<CandumpWriter>(
                 info, {Frame(1).channel(1), Frame(1).channel(2), Frame(1).channel(3), Frame(1).channel(4)}),
             QByteArray("(0.000000) vcan0 001#\n(0.000000) can1 001#\n(0.000000) can2 001#\n(0.000000) can3 001#\n"));
}

void LogOriginTest::noTwoChannelsGetOneName()
{
    LogInfo info;
    info.channelNames = {{1, QStringLiteral("can4")}, {2, QStringLiteral("x")}, {3, QStringLiteral("x")}};
    QCOMPARE(written<CandumpWriter>(
                 info, {Frame(1).channel(1), Frame(1).channel(5), Frame(1).channel(2), Frame(1).channel(3)}),
             QByteArray("(0.000000) can4 001#\n(0.000000) can5 001#\n(0.000000) x 001#\n(0.000000) can2 001#\n"));
}

void LogOriginTest::namesOfAsc()
{
    LogInfo info;
    info.channelNames = {{1, QStringLiteral("can0")}, {2, QStringLiteral("Powertrain \n CAN")}};
    const QByteArray text = written<AscWriter>(info, {Frame(1).channel(1), Frame(1).channel(2), Frame(2).channel(2)});
    // What "can0" is stands in the number of the channel already.
    QCOMPARE(text.count("BusMapping"), 1);
    QVERIFY2(text.contains("\n// BusMapping: CAN 2 = Powertrain CAN\n   0.000000 2  1 "), text.constData());
}

void LogOriginTest::directions()
{
    const Frames messages{Frame(1), Frame(2).tx()};
    QCOMPARE(written<CandumpWriter>({}, messages, true),
             QByteArray("(0.000000) can0 001# R\n(0.000000) can0 002# T\n"));
    QCOMPARE(written<CandumpWriter>({}, messages, false), QByteArray("(0.000000) can0 001#\n(0.000000) can0 002# T\n"));
}

void LogOriginTest::journalKeepsWhatALogSays_data()
{
    QTest::addColumn<LogInfo>("info");
    LogInfo full = logOf(TimeBase::Midnight, "2024-03-31T02:30:00.084"); // an hour that some places do not have
    full.channelNames = {{1, QStringLiteral("can0")}, {65535, QString::fromUtf8("M\xC3\xBCller \"x\"")}};
    full.writer = QStringLiteral("a tool");
    full.version = QStringLiteral("2.1");
    QTest::newRow("all") << full;
    full.startHasZone = true;
    QTest::newRow("with a zone") << full;
    QTest::newRow("since 1970") << logOf(TimeBase::UnixEpoch);
    QTest::newRow("start") << logOf(TimeBase::LogStart, "2024-05-21T11:40:12.000");
    QTest::newRow("nothing") << LogInfo();
}

void LogOriginTest::journalKeepsWhatALogSays()
{
    QFETCH(LogInfo, info);
    const LogInfo read = LogInfoText::fromJson(LogInfoText::toJson(info));
    QCOMPARE(int(read.timeBase), int(info.timeBase));
    QCOMPARE(read.start, info.start);
    QCOMPARE(read.startHasZone, info.startHasZone);
    QCOMPARE(read.channelNames, info.channelNames);
    QCOMPARE(read.writer, info.writer);
    QCOMPARE(read.version, info.version);
}

void LogOriginTest::journalPassesOverWhatItDoesNotKnow()
{
    const QJsonObject odd{{QStringLiteral("timeBase"), 7},
                          {QStringLiteral("start"), QStringLiteral("yesterday")},
                          {QStringLiteral("channelNames"),
                           QJsonObject{{QStringLiteral("70000"), QStringLiteral("a")}, {QStringLiteral("1"), 5}}}};
    const LogInfo info = LogInfoText::fromJson(odd);
    QCOMPARE(int(info.timeBase), int(TimeBase::Unknown));
    QVERIFY(!info.start.isValid());
    QVERIFY(info.channelNames.isEmpty());
    QVERIFY(!info.startHasZone);
}

QTEST_GUILESS_MAIN(LogOriginTest)
#include "tst_logorigin.moc"
