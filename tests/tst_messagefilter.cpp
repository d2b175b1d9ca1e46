// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/filteroptions.h"
#include "frames.h"
#include "host/selection/messagefilter.h"

#include <QCommandLineParser>
#include <QDateTime>

/// Sets @p filter as a command line with @p options does; returns its answer.
static QString setByOptions(MessageFilter &filter, const QStringList &options)
{
    QCommandLineParser parser;
    addFilterOptions(parser);
    if (!parser.parse(QStringList{QStringLiteral("canlog")} + options))
        return parser.errorText();
    return setFilter(filter, parser);
}

Q_DECLARE_METATYPE(LogInfo)
Q_DECLARE_METATYPE(QVector<CanTimeStamp>)

static QStringList optionList(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

class MessageFilterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void chooses_data();
    void chooses();
    void refusesWhatMakesNoSense_data();
    void refusesWhatMakesNoSense();
    void timesCountFromWhatTheLogSays_data();
    void timesCountFromWhatTheLogSays();
    void eachLogHasAStartOfItsOwn();
    void aDateNeedsALogThatTellsIts();
    void channelsHaveTheNamesOfTheLog();
};

void MessageFilterTest::chooses_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<CAN::CanRxMessage>("message");
    QTest::addColumn<bool>("hasNote");
    QTest::addColumn<bool>("passes");
    const auto row = [](const char *options, const char *what, const Frame &frame, bool passes, bool hasNote = false) {
        QTest::addRow("%s: %s", options, what) << optionList(options) << CAN::CanRxMessage(frame) << hasNote << passes;
    };
    const Frame error(CAN::errorFrameId);
    row("", "everything", Frame(0x123), true);
    row("", "an error frame", error, true);

    row("--id 123", "that one", Frame(0x123), true);
    row("--id 123", "another", Frame(0x124), false);
    row("--id 123", "extended", Frame(0x123).extended(), false);
    row("--id 123", "an error frame", error, false);
    row("--id 0x0c9", "with prefix, in lower case", Frame(0xC9), true);
    row("--id 00000123", "extended", Frame(0x123).extended(), true);
    row("--id 00000123", "standard", Frame(0x123), false);
    row("--id 18FEF100", "extended", Frame(0x18FEF100).extended(), true);
    row("--id 18FEF100", "extended by its value", Frame(0x18FEF100), true);
    row("--id FFF", "extended by its value", Frame(0xFFF).extended(), true);
    row("--id 123,124", "the second of a list", Frame(0x124), true);
    row("--id 123 --id 124", "the first of two", Frame(0x123), true);
    row("--id 123 --id 124", "the second of two", Frame(0x124), true);
    row("--id 123 --id 124", "another", Frame(0x125), false);
    row("--id error", "an error frame", error, true);
    row("--id ERROR", "an error frame", error, true);
    row("--id error", "no error frame", Frame(0x123), false);
    row("--id 123,error", "an error frame", error, true);

    row("--id 100-1FF", "below", Frame(0xFF), false);
    row("--id 100-1FF", "first", Frame(0x100), true);
    row("--id 100-1FF", "last", Frame(0x1FF), true);
    row("--id 100-1FF", "above", Frame(0x200), false);
    row("--id 100-1FF", "extended", Frame(0x180).extended(), false);
    row("--id 123-123", "the only one", Frame(0x123), true);
    row("--id 00000100-000001FF", "extended", Frame(0x180).extended(), true);
    row("--id 00000100-000001FF", "standard", Frame(0x180), false);
    row("--id 00000000-1FFFFFFF", "last", Frame(0x1FFFFFFF).extended(), true);
    row("--id 00000000-1FFFFFFF", "extended by its value", Frame(0x800), true);
    row("--id 00000000-1FFFFFFF", "more than 29 bits", Frame(0x20000000).extended(), false);
    row("--id 00000000-1FFFFFFF", "an error frame", error, false);

    row("--id 123:7FF", "that one", Frame(0x123), true);
    row("--id 123:7FF", "extended with these bits", Frame(0x18FEF923).extended(), false);
    row("--id 100:700", "first", Frame(0x100), true);
    row("--id 100:700", "last", Frame(0x1FF), true);
    row("--id 100:700", "another", Frame(0x200), false);
    row("--id 1FF:700", "bits outside the mask do not count", Frame(0x100), true);
    row("--id 001:1", "odd", Frame(0x7F1), true);
    row("--id 001:1", "even", Frame(0x7F0), false);
    row("--id 000:0", "any standard one", Frame(0x7FF), true);
    row("--id 000:0", "extended", Frame(0x7FF).extended(), false);
    row("--id 00FEF100:00FFFF00", "a group, whatever priority and source", Frame(0x18FEF123).extended(), true);
    row("--id 00FEF100:00FFFF00", "another group", Frame(0x18FEF223).extended(), false);
    row("--id 00000000:0", "an error frame", error, false);

    row("--channel 1", "that one", Frame(1).channel(1), true);
    row("--channel 1", "another", Frame(1), false);
    row("--channel 0", "none stated", Frame(1), true);
    row("--channel 1,65535", "the second of a list", Frame(1).channel(65535), true);
    row("--channel 1 --channel 2", "the first of two", Frame(1).channel(1), true);
    row("--channel 1 --channel 2", "the second of two", Frame(1).channel(2), true);

    row("--from 1.000001", "just before", Frame(1).at(1, 0), false);
    row("--from 1.000001", "just then", Frame(1).at(1, 1), true);
    row("--to 1.000001", "just then", Frame(1).at(1, 1), true);
    row("--to 1.000001", "just after", Frame(1).at(1, 2), false);
    row("--from 1345212884.31885", "fewer decimals, before", Frame(1).at(1345212884, 318849), false);
    row("--from 1345212884.31885", "fewer decimals, then", Frame(1).at(1345212884, 318850), true);
    row("--to 2147483647.999999", "the highest time", Frame(1).at(2147483647, 999999), true);
    row("--from 2", "no decimals", Frame(1).at(2, 0), true);
    row("--from .5", "nothing before the point", Frame(1).at(0, 500000), true);
    row("--from -1.5", "negative, then", Frame(1).at(-1, -500000), true);
    row("--from -1.5", "negative, before", Frame(1).at(-1, -500001), false);
    row("--to -0.5", "negative, after", Frame(1).at(0, 0), false);
    row("--from 2.5", "many microseconds are seconds", Frame(1).at(1, 1500000), true);
    row("--from 1 --to 1", "both", Frame(1).at(1, 0), true);

    row("--direction rx", "received", Frame(1), true);
    row("--direction rx", "sent", Frame(1).tx(), false);
    row("--direction tx", "received", Frame(1), false);
    row("--direction Tx", "sent", Frame(1).tx(), true);

    row("--notes-only", "with a note", Frame(1), true, true);
    row("--notes-only", "without", Frame(1), false, false);

    row("--id 123 --channel 1", "both", Frame(0x123).channel(1), true);
    row("--id 123 --channel 1", "the identifier alone", Frame(0x123), false);
    row("--id 123 --channel 1", "the channel alone", Frame(0x124).channel(1), false);
    row("--id 123 --notes-only", "the note alone", Frame(0x124), false, true);
}

void MessageFilterTest::chooses()
{
    QFETCH(QStringList, options);
    QFETCH(CAN::CanRxMessage, message);
    QFETCH(bool, hasNote);
    MessageFilter filter;
    QCOMPARE(setByOptions(filter, options), QString());
    QTEST(filter.passes(message, hasNote), "passes");
}

void MessageFilterTest::refusesWhatMakesNoSense_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("problem");
    const auto row = [](const char *option, const char *value, const QString &problem) {
        QTest::addRow("%s '%s'", option, value) << QStringList{QString::fromLatin1(option), QString::fromLatin1(value)}
                                                << problem.arg(QString::fromLatin1(value));
    };
    const QString id =
        QStringLiteral("bad --id '%1', wanted are hexadecimal identifiers up to 1FFFFFFF, ranges 100-1FF, masks "
                       "100:700 or 'error'");
    for (const char *value : {"",         "12G",     "123,",         ",123",        "20000000",     "-1",
                              "0x",       "0x0x1",   "1 2",          "FFFF00EF",    "+1",           "100-",
                              "-",        "200-1FF", "100-18FEF100", "100-FFF",     "100-200-300",  "error-error",
                              ":",        "123:",    ":7FF",         "123:7FF:7FF", "123:20000000", "100-1FF:7FF",
                              "100:error"})
        row("--id", value, id);
    const QString channel =
        QStringLiteral("bad --channel '%1', wanted are numbers from 0 to 65535, or names as the log has "
                       "them");
    for (const char *value : {"", "-1", "+1", "65536", "1,", "1-2", "0x1", "1.0"})
        row("--channel", value, channel);
    for (const char *option : {"--from", "--to"}) {
        const QString time = QStringLiteral("bad %1 '%2', wanted are seconds with up to six decimals, +seconds after "
                                            "the first message, or a date and time like 2024-05-21T09:40");
        for (const char *value : {"",
                                  "-",
                                  ".",
                                  "1.",
                                  "+",
                                  "+-1",
                                  "++1",
                                  "2024-05",
                                  "2024-13-01",
                                  "2024-05-21T",
                                  "2024-05-21T9:40",
                                  "2024-05-21T09:40.5",
                                  "2024-05-21T09:40:00.1234567",
                                  "1e3",
                                  "1,5",
                                  " 1",
                                  "1.0000001",
                                  "1.2.3",
                                  "1234567890123",
                                  "nan",
                                  "--1",
                                  "1\n"})
            row(option, value, time.arg(QString::fromLatin1(option), QStringLiteral("%1")));
    }
    for (const char *value : {"", "both", "r", "rxtx"})
        row("--direction", value, QStringLiteral("bad --direction '%1', wanted is rx or tx"));

    QTest::newRow("end before start") << optionList("--from 2 --to 1.999999")
                                      << QStringLiteral("--from 2 is after --to 1.999999");
}

void MessageFilterTest::refusesWhatMakesNoSense()
{
    QFETCH(QStringList, options);
    QFETCH(QString, problem);
    MessageFilter filter;
    QCOMPARE(setByOptions(filter, options), problem);
}

namespace
{

LogInfo logWith(LogInfo::TimeBase base, const QDateTime &start = {})
{
    LogInfo info;
    info.timeBase = base;
    info.start = start;
    return info;
}

} // namespace

void MessageFilterTest::timesCountFromWhatTheLogSays_data()
{
    using Base = LogInfo::TimeBase;
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<LogInfo>("info");
    QTest::addColumn<QVector<CanTimeStamp>>("times");
    QTest::addColumn<QString>("passing"); ///< a letter for each time: y or n
    const QDateTime start(QDate(2024, 5, 21), QTime(9, 40), Qt::UTC);
    const qint32 epoch = 1716284400; // the same instant
    const QVector<CanTimeStamp> fromStart{{10, 0}, {12, 499999}, {12, 500000}, {13, 0}};
    QTest::newRow("after the first message") << optionList("--from +2.5") << LogInfo() << fromStart << "nnyy";
    QTest::newRow("up to a time after it") << optionList("--to +2.5") << LogInfo() << fromStart << "yyyn";
    const QVector<CanTimeStamp> calendar{{epoch - 1, 0}, {epoch, 0}, {epoch + 59, 999999}, {epoch + 60, 1}};
    QTest::newRow("a time in UTC, of a log in epoch time")
        << optionList("--from 2024-05-21T09:40Z --to 2024-05-21T09:41Z") << logWith(Base::UnixEpoch) << calendar
        << "nyyn";
    QTest::newRow("with a zone") << optionList("--from 2024-05-21T11:40+02:00") << logWith(Base::UnixEpoch) << calendar
                                 << "nyyy";
    QTest::newRow("with seconds and their fraction")
        << optionList("--from 2024-05-21T09:40:59.999999Z") << logWith(Base::UnixEpoch) << calendar << "nnyy";
    QTest::newRow("epoch times of a log that says nothing")
        << optionList("--from 2024-05-21T09:40Z") << LogInfo() << calendar << "nyyy";
    QTest::newRow("of a log that counts from its start")
        << optionList("--from 2024-05-21T09:40:12.5Z") << logWith(Base::LogStart, start) << fromStart << "nnyy";
    QTest::newRow("of a log that counts from midnight")
        << optionList("--to 2024-05-21T00:00:12.5Z") << logWith(Base::Midnight, start) << fromStart << "yyyn";
    QTest::newRow("a day begins at midnight")
        << optionList("--from 2024-05-22") << logWith(Base::LogStart, QDateTime(QDate(2024, 5, 22), QTime(0, 0)))
        << QVector<CanTimeStamp>{{0, -1}, {0, 0}} << "ny";
}

void MessageFilterTest::timesCountFromWhatTheLogSays()
{
    QFETCH(QStringList, options);
    QFETCH(LogInfo, info);
    QFETCH(QVector<CanTimeStamp>, times);
    MessageFilter filter;
    QCOMPARE(setByOptions(filter, options), QString());
    filter.beginLog([&info] { return info; });
    QString passing;
    for (const CanTimeStamp &time : times)
        passing += QLatin1Char(filter.passes(Frame(1).at(time.seconds, time.microseconds), false) ? 'y' : 'n');
    QTEST(passing, "passing");
    QCOMPARE(filter.problem(), QString());
}

void MessageFilterTest::eachLogHasAStartOfItsOwn()
{
    MessageFilter filter;
    QCOMPARE(setByOptions(filter, optionList("--from +1")), QString());
    QVERIFY(!filter.passes(Frame(1).at(10, 0), false));
    QVERIFY(filter.passes(Frame(1).at(11, 0), false));
    filter.beginLog();
    QVERIFY(!filter.passes(Frame(1).at(20, 0), false));
    QVERIFY(filter.passes(Frame(1).at(21, 0), false));
}

void MessageFilterTest::aDateNeedsALogThatTellsIts()
{
    MessageFilter filter;
    QCOMPARE(setByOptions(filter, optionList("--from 2024-05-21")), QString());
    filter.beginLog([] { return logWith(LogInfo::TimeBase::LogStart); });
    QVERIFY(!filter.passes(Frame(1).at(1, 0), false));
    QVERIFY(filter.problem().startsWith(QLatin1String("does not tell its date")));
}

void MessageFilterTest::channelsHaveTheNamesOfTheLog()
{
    MessageFilter filter;
    QCOMPARE(setByOptions(filter, optionList("--channel can0,vcan7,5")), QString());
    LogInfo info;
    filter.beginLog([&info] { return info; });
    info.channelNames = {{1, QStringLiteral("can0")}, {2, QStringLiteral("can1")}};
    QVERIFY(filter.passes(Frame(1).channel(1), false));
    QVERIFY(!filter.passes(Frame(1).channel(2), false));
    QVERIFY(filter.passes(Frame(1).channel(5), false));
    QCOMPARE(filter.unknownNames(), QStringList{QStringLiteral("vcan7")});
    info.channelNames.insert(3, QStringLiteral("vcan7")); // names come as the log is read
    QVERIFY(filter.passes(Frame(1).channel(3), false));
    QCOMPARE(filter.unknownNames(), QStringList());
}

QTEST_GUILESS_MAIN(MessageFilterTest)
#include "tst_messagefilter.moc"
