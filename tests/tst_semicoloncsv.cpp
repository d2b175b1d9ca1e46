// SPDX-License-Identifier: Apache-2.0
#include "logrows.h"

#include <QtTest>

namespace
{

const QByteArray head("TimestampEpoch;BusChannel;ID;IDE;DLC;DataLength;Dir;EDL;BRS;ESI;RTR;DataBytes\n");
const QByteArray oldHead("TimestampEpoch;BusChannel;ID;IDE;DLC;DataLength;Dir;EDL;BRS;DataBytes\n");

} // namespace

/// The reader of the logs that begin with TimestampEpoch;BusChannel;ID.
class TestSemicolonCsv : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lines_data();
    void lines() { checkRow(DatachunkHelper::SemicolonCsv); }
    void headers_data();
    void headers() { checkRow(DatachunkHelper::SemicolonCsv); }
    void columns_data();
    void columns() { checkRow(DatachunkHelper::SemicolonCsv); }
    void channels_data();
    void channels() { checkRow(DatachunkHelper::SemicolonCsv); }
    void damagedLines_data();
    void damagedLines() { checkRow(DatachunkHelper::SemicolonCsv); }
    void timeBase_data();
    void timeBase();
    void samples_data();
    void samples() { checkRow(DatachunkHelper::SemicolonCsv); }
    void example();
};

void TestSemicolonCsv::lines_data()
{
    addLogColumns();
    row("three bytes", head, "1700000000.250000;1;1A4;0;3;3;0;0;0;0;0;0C1D2E",
        frame(0x1A4, "0C1D2E").at(1700000000, 250000).channel(1).rx());
    row("extended, sent", head, "1700000000.500000;2;18F00503;1;8;8;1;0;0;0;0;1021324354657687",
        frame(0x18F00503, "1021324354657687").extended().at(1700000000, 500000).channel(2).tx());
    row("small extended identifier", head, "1700000000.750000;1;000001A4;1;1;1;0;0;0;0;0;0C",
        frame(0x1A4, "0C").extended().at(1700000000, 750000).channel(1).rx());
    row("FD with bit rate switch", head, "1700000001.000000;1;1A4;0;9;12;0;1;1;0;0;A0A1A2A3A4A5A6A7A8A9AAAB",
        frame(0x1A4, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().brs().at(1700000001, 0).channel(1).rx());
    row("FD with error state", head, "1700000001.250000;1;1A4;0;2;2;0;1;0;1;0;0C1D",
        frame(0x1A4, "0C1D").fd().esi().at(1700000001, 250000).channel(1).rx());
    row("remote", head, "1700000001.500000;1;7DF;0;4;4;0;0;0;0;1;",
        frame(0x7DF).at(1700000001, 500000).channel(1).rx().remote(4));
    row("no data; identifiers are never decimal", head, "1700000001.750000;1;100;0;0;0;0;0;0;0;0;",
        frame(0x100).at(1700000001, 750000).channel(1).rx());
    row("old header", oldHead, "1700000002.125;1;1A4;0;3;3;0;0;0;0C1D2E",
        frame(0x1A4, "0C1D2E").at(1700000002, 125000).channel(1).rx());
    row("name of a bus, lower case", head, "1700000002.250000;vcan0;1a4;0;1;1;0;0;0;0;0;0c",
        frame(0x1A4, "0C").at(1700000002, 250000).on("vcan0", 1).rx());
    row("fewer bytes than the length", head, "1700000002.500000;1;1A4;0;3;3;0;0;0;0;0;0C1D", lost("byte"));
}

void TestSemicolonCsv::headers_data()
{
    addLogColumns();
    const LogFrame expected = frame(0x1A4, "0C").at(1700000000, 250000).channel(1).tx();
    const QByteArray line("1700000000.250000;1;1A4;0;1;1;1;0;0;0;0;0C");
    row("byte-order mark", "\xEF\xBB\xBF" + head, line, expected);
    row("lower case", head.toLower(), line, expected);
    row("column that nothing reads",
        "TimestampEpoch;BusChannel;ID;IDE;DLC;DataLength;Name;Dir;EDL;BRS;ESI;RTR;DataBytes\n",
        "1700000000.250000;1;1A4;0;1;1;door;1;0;0;0;0;0C", expected);
    row("columns in another order", "TimestampEpoch;BusChannel;ID;Dir;IDE;RTR;EDL;BRS;ESI;DLC;DataLength;DataBytes\n",
        "1700000000.250000;1;1A4;1;0;0;0;0;0;1;1;0C", expected);
    row("old header, FD", oldHead, "1700000000.250000;1;1A4;0;1;1;1;1;1;0C",
        frame(0x1A4, "0C").fd().brs().esiUntold().at(1700000000, 250000).channel(1).tx());
    row("empty line", head, "\n" + line, expected);
    row("the log of another device", "Timestamp;Type;ID;Data\n", "02T030405123;0;1a4;0c1d2e", noFrame());
    row("no column of data", "TimestampEpoch;BusChannel;ID;Length\n", "1700000000.250000;1;1A4;1", noFrame());
}

void TestSemicolonCsv::columns_data()
{
    addLogColumns();
    const auto line = [](const char *name, const QByteArray &text, const LogFrame &expected) {
        LogFrame there = expected;
        row(name, head, "1.500000;1;" + text, there.at(1, 500000).channel(1));
    };
    line("identifier without zeros that lead", "A4;0;0;0;0;0;0;0;0;", frame(0xA4).rx());
    line("largest identifiers", "1FFFFFFF;1;0;0;0;0;0;0;0;", frame(0x1FFFFFFF).extended().rx());
    line("length code 9 of a classic frame", "1A4;0;9;8;0;0;0;0;0;1021324354657687",
         frame(0x1A4, "1021324354657687").rx());
    line("FD without data", "1A4;0;0;0;0;1;0;0;0;", frame(0x1A4).fd().rx());
    line("FD with all flags", "1A4;0;1;1;1;1;1;1;0;0C", frame(0x1A4, "0C").fd().brs().esi().tx());
    line("64 bytes", "1A4;0;15;64;0;1;0;0;0;" + countedPayload(64), frame(0x1A4, countedPayload(64)).fd().rx());
    line("remote without a length, sent", "1A4;0;0;0;1;0;0;0;1;", frame(0x1A4).remote(0).tx());
    row("blanks before the time", head, "  1.500000;1;1A4;0;1;1;0;0;0;0;0;0C",
        frame(0x1A4, "0C").at(1, 500000).channel(1).rx());
    row("nanoseconds are rounded", head, "1.500000500;1;1A4;0;1;1;0;0;0;0;0;0C",
        frame(0x1A4, "0C").at(1, 500001).channel(1).rx());
    row("times that fall stay", head, "2.000000;1;1A4;0;1;1;0;0;0;0;0;11\n1.000000;2;1A4;0;1;1;0;0;0;0;0;22",
        {frame(0x1A4, "11").at(2, 0).channel(1).rx(), frame(0x1A4, "22").at(1, 0).channel(2).rx()});
}

void TestSemicolonCsv::channels_data()
{
    addLogColumns();
    row("9", head, "1.500000;9;1A4;0;1;1;0;0;0;0;0;0C", frame(0x1A4, "0C").at(1, 500000).channel(9).rx());
    row("none", head, "1.500000;;1A4;0;1;1;0;0;0;0;0;0C", frame(0x1A4, "0C").at(1, 500000).rx());
    row("name", head, "1.500000;can1;1A4;0;1;1;0;0;0;0;0;0C", frame(0x1A4, "0C").at(1, 500000).on("can1", 2).rx());
    row("a number and a name stay apart", head,
        "1.500000;1;1A4;0;1;1;0;0;0;0;0;0C\n2.500000;vcan0;1A4;0;1;1;0;0;0;0;0;1D",
        {frame(0x1A4, "0C").at(1, 500000).channel(1).rx(), frame(0x1A4, "1D").at(2, 500000).on("vcan0", 2).rx()});
}

void TestSemicolonCsv::damagedLines_data()
{
    addLogColumns();
    const auto damaged = [](const char *name, const QByteArray &text, const Outcome &outcome) {
        row(name, head, text, outcome);
    };
    damaged("rows under a heading without IDE", "TimestampEpoch;BusChannel;ID;DataLength;DataBytes\n1.5;1;1A4;1;0C",
            Outcome().losing({1, 2}).since("IDE"));
    damaged("more bytes than the length", "1.5;1;1A4;0;3;3;0;0;0;0;0;0C1D2E3F", lost());
    damaged("half a byte", "1.5;1;1A4;0;3;3;0;0;0;0;0;0C1D2", lost());
    damaged("no bytes", "1.5;1;1A4;0;3;3;0;0;0;0;0;", lost("byte"));
    damaged("byte of letters", "1.5;1;1A4;0;1;1;0;0;0;0;0;ZZ", lost());
    damaged("identifier with 0x", "1.5;1;0x1A4;0;1;1;0;0;0;0;0;0C", blamed());
    damaged("identifier of letters", "1.5;1;1G4;0;1;1;0;0;0;0;0;0C", lost());
    damaged("standard identifier of more than 11 bits", "1.5;1;18F00503;0;1;1;0;0;0;0;0;0C", blamed());
    damaged("identifier of more than 29 bits", "1.5;1;20000000;1;1;1;0;0;0;0;0;0C", blamed());
    damaged("time that a spreadsheet has spoilt", "1,7E+09;1;1A4;0;1;1;0;0;0;0;0;0C", lost());
    damaged("bytes that a spreadsheet has spoilt", "1.5;1;1A4;0;8;8;0;0;0;0;0;1,02132E+15", lost());
    damaged("neither received nor sent", "1.5;1;1A4;0;1;1;2;0;0;0;0;0C", blamed());
    damaged("65 bytes", "1.5;1;1A4;0;15;65;0;1;0;0;0;" + countedPayload(65), lost());
    damaged("nine bytes of a classic frame", "1.5;1;1A4;0;9;9;0;0;0;0;0;" + countedPayload(9), blamed());
    damaged("cut behind the flags", "1.5;1;1A4;0;1;1;0;0;0", lost());
    row("the others are read", head,
        "1.5;1;1A4;0;1;1;0;0;0;0;0;0C\n2.5;1;1A4;0;3;3;0;0;0;0;0;0C\n3.5;1;1A4;0;1;1;0;0;0;0;0;1D",
        Outcome{frame(0x1A4, "0C").at(1, 500000).channel(1).rx(), frame(0x1A4, "1D").at(3, 500000).channel(1).rx()}
            .losing({2}));
}

void TestSemicolonCsv::timeBase_data()
{
    QTest::addColumn<QByteArray>("time");
    QTest::addColumn<bool>("onCalendar");
    QTest::newRow("epoch") << QByteArray("1700000000.250000") << true;
    QTest::newRow("logger without a clock") << QByteArray("12.250000") << false;
}

void TestSemicolonCsv::timeBase()
{
    QFETCH(QByteArray, time);
    QFETCH(bool, onCalendar);
    const PulledLog log = pullLog(DatachunkHelper::SemicolonCsv, head + time + ";1;1A4;0;1;1;0;0;0;0;0;0C\n");
    QCOMPARE(log.frames.size(), 1);
    QCOMPARE(log.info.timeBase == LogInfo::TimeBase::UnixEpoch, onCalendar);
}

void TestSemicolonCsv::samples_data()
{
    addLogColumns();
    const auto sample = [](const char *name, const Outcome &outcome) { row(name, sampleLines(name), outcome); };
    sample("semicoloncsv/twelve-columns.csv",
           {frame(0x1A4, "0C1D2E").at(1700000000, 250000).channel(1).rx(),
            frame(0x18F00503, "1021324354657687").extended().at(1700000000, 500000).channel(2).tx(),
            frame(0x1A4, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().brs().at(1700000001, 0).channel(1).rx(),
            frame(0x7DF).at(1700000001, 500000).channel(1).rx().remote(4)});
    sample("semicoloncsv/ten-columns.csv",
           {frame(0x1A4, "0C1D2E").at(1700000002, 125000).channel(1).rx(),
            frame(0x1A4, "0C").fd().brs().esiUntold().at(1700000002, 250000).channel(1).tx()});
    sample("semicoloncsv/damaged-row.csv", Outcome{frame(0x1A4, "0C").at(1700000002, 250000).on("vcan0", 1).rx(),
                                                   frame(0x1A4, "0C1D2E").at(1700000002, 750000).on("vcan0", 1).rx()}
                                               .losing({3}));
}

void TestSemicolonCsv::example()
{
    QVector<LogFrame> expected = driveFrames(120);
    for (LogFrame &frame : expected)
        frame.rx();
    const PulledLog log = pullLog(DatachunkHelper::SemicolonCsv, sampleContent("drive-semicolon.csv", CANLOG_EXAMPLES));
    QCOMPARE(differenceOf(log, expected), QString());
    QCOMPARE(log.report.faultyLines, 0);
}

QTEST_GUILESS_MAIN(TestSemicolonCsv)
#include "tst_semicoloncsv.moc"
