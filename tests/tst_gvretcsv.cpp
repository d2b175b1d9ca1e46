// SPDX-License-Identifier: Apache-2.0
#include "logrows.h"

#include <QtTest>

namespace
{

const QByteArray v1("Time Stamp,ID,Extended,Bus,LEN,D1,D2,D3,D4,D5,D6,D7,D8\n");
const QByteArray v2("Time Stamp,ID,Extended,Dir,Bus,LEN,D1,D2,D3,D4,D5,D6,D7,D8\n");

} // namespace

/// The reader of the comma-separated logs of GVRET devices.
class TestGvretCsv : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lines_data();
    void lines() { checkRow(DatachunkHelper::GvretCsv); }
    void headers_data();
    void headers() { checkRow(DatachunkHelper::GvretCsv); }
    void times_data();
    void times() { checkRow(DatachunkHelper::GvretCsv); }
    void columns_data();
    void columns() { checkRow(DatachunkHelper::GvretCsv); }
    void damagedLines_data();
    void damagedLines() { checkRow(DatachunkHelper::GvretCsv); }
    void timeBase_data();
    void timeBase();
    void samples_data();
    void samples() { checkRow(DatachunkHelper::GvretCsv); }
    void example();
};

void TestGvretCsv::lines_data()
{
    addLogColumns();
    row("three bytes of eight columns", v2, "1500250,000001A4,false,Rx,0,3,0C,1D,2E,00,00,00,00,00,",
        frame(0x1A4, "0C1D2E").at(1, 500250).channel(0).rx());
    row("extended, sent", v2, "1500260,18F00503,true,Tx,1,2,0C,1D,00,00,00,00,00,00,",
        frame(0x18F00503, "0C1D").extended().at(1, 500260).channel(1).tx());
    row("old header without direction", v1, "1500270,000001A4,false,2,2,0C,1D,00,00,00,00,00,00,",
        frame(0x1A4, "0C1D").at(1, 500270).channel(2));
    row("small extended identifier", v2, "1500280,000001A4,true,Rx,0,1,0C,00,00,00,00,00,00,00,",
        frame(0x1A4, "0C").extended().at(1, 500280).channel(0).rx());
    row("identifier above 7FF is extended in any case", v2, "1500290,18F00503,false,Rx,0,1,0C,00,00,00,00,00,00,00,",
        frame(0x18F00503, "0C").extended().at(1, 500290).channel(0).rx());
    row("no data", v2, "1500300,000001A4,false,Rx,0,0,,,,,,,,", frame(0x1A4).at(1, 500300).channel(0).rx());
    row("bytes of one digit, no comma at the end", v2, "1500310,000001A4,false,Rx,0,3,C,1D,2E",
        frame(0x1A4, "0C1D2E").at(1, 500310).channel(0).rx());
    row("0x and upper case", v2, "1500320,0x1A4,FALSE,Rx,0,1,0C,,,,,,,",
        frame(0x1A4, "0C").at(1, 500320).channel(0).rx());
    row("epoch", v2, "1700000000123456,000001A4,false,Rx,0,1,0C,00,00,00,00,00,00,00,",
        frame(0x1A4, "0C").at(1700000000, 123456).channel(0).rx());
    // 1500 us before 0: microseconds count upwards from the second before.
    row("negative time", v2, "-1500,000001A4,false,Rx,0,1,0C,00,00,00,00,00,00,00,",
        frame(0x1A4, "0C").at(-1, 998500).channel(0).rx());
    row("the writer keeps eight bytes of FD, which is told", v2,
        "1500330,000001A4,false,Rx,0,12,A0,A1,A2,A3,A4,A5,A6,A7,",
        Outcome(frame(0x1A4, "A0A1A2A3A4A5A6A7").length(12).fd().brsUntold().esiUntold().at(1, 500330).channel(0).rx())
            .cutting({1})
            .since("byte"));
}

void TestGvretCsv::headers_data()
{
    addLogColumns();
    const LogFrame expected = frame(0x1A4, "0C").at(0, 250000).channel(1).tx();
    const QByteArray line("250000,000001A4,false,Tx,1,1,0C,00,00,00,00,00,00,00,");
    row("lower case", v2.toLower(), line, expected);
    row("upper case", v2.toUpper(), line, expected);
    row("byte-order mark", "\xEF\xBB\xBF" + v2, line, expected);
    row("columns in another order", "Time Stamp,Dir,Bus,Extended,ID,LEN,D1,D2,D3,D4,D5,D6,D7,D8\n",
        "250000,Tx,1,false,000001A4,1,0C,00,00,00,00,00,00,00,", expected);
    row("column that nothing reads", "Time Stamp,ID,Extended,Dir,Bus,Name,LEN,D1,D2,D3,D4,D5,D6,D7,D8\n",
        "250000,000001A4,false,Tx,1,door,1,0C,00,00,00,00,00,00,00,", expected);
    row("empty line", v2, "\n" + line, expected);
    row("table without times is of another kind", "ID,Data Bytes\n", "000001A4,0C 1D 2E ", noFrame());
}

void TestGvretCsv::times_data()
{
    addLogColumns();
    const auto time = [](const char *text, qint32 seconds, qint32 microseconds) {
        row(text, v2, QByteArray(text) + ",00000123,false,Rx,0,1,11,00,00,00,00,00,00,00,",
            frame(0x123, "11").at(seconds, microseconds).channel(0).rx());
    };
    time("0", 0, 0);
    time("5", 0, 5);
    time("100", 0, 100);
    time("999999", 0, 999999);
    time("0001000008", 1, 8);
    time("4294967295", 4294, 967295);
    time("-1", -1, 999999);
    time("-1000000", -1, 0);
    time("0.250000", 0, 250000); // a point: seconds
    time("12.5", 12, 500000);
    row("32 bits that begin again", v2,
        "4294967290,00000123,false,Rx,0,1,11,\n10,00000123,false,Rx,0,1,22,\n20,00000123,false,Rx,0,1,33,",
        {frame(0x123, "11").at(4294, 967290).channel(0).rx(), frame(0x123, "22").at(4294, 967306).channel(0).rx(),
         frame(0x123, "33").at(4294, 967316).channel(0).rx()});
    row("a little back is no new beginning", v2, "1000000,00000123,false,Rx,0,1,11,\n999000,00000123,false,Rx,1,1,22,",
        {frame(0x123, "11").at(1, 0).channel(0).rx(), frame(0x123, "22").at(0, 999000).channel(1).rx()});
    row("times with an exponent lost their digits", v2, "1.5E+06,00000123,false,Rx,0,1,11,", blamed());
}

void TestGvretCsv::columns_data()
{
    addLogColumns();
    const auto line = [](const char *name, const QByteArray &text, const LogFrame &expected) {
        LogFrame there = expected;
        row(name, v2, "1000000," + text, there.at(1, 0));
    };
    line("1 is extended", "000001A4,1,Rx,0,0,", frame(0x1A4).extended().channel(0).rx());
    line("0 is not extended", "000001A4,0,Rx,0,0,", frame(0x1A4).channel(0).rx());
    line("True", "000001A4,True,Rx,0,0,", frame(0x1A4).extended().channel(0).rx());
    line("lower-case identifier of three digits", "1ab,false,Rx,0,0,", frame(0x1AB).channel(0).rx());
    line("largest identifier of 11 bits", "000007FF,false,Rx,0,0,", frame(0x7FF).channel(0).rx());
    line("smallest above", "00000800,false,Rx,0,0,", frame(0x800).extended().channel(0).rx());
    line("bus of two digits", "000001A4,false,Rx,12,0,", frame(0x1A4).channel(12).rx());
    line("lower-case direction", "000001A4,false,tx,0,0,", frame(0x1A4).channel(0).tx());
    line("eight bytes", "000001A4,false,Rx,0,8,00,11,22,33,44,55,66,77,",
         frame(0x1A4, "0011223344556677").channel(0).rx());
    line("bytes behind the length are no data", "000001A4,false,Rx,0,1,11,22,33,44,55,66,77,88,",
         frame(0x1A4, "11").channel(0).rx());
    line("identifier that looks like a number of a table", "1E3,false,Rx,0,0,", frame(0x1E3).channel(0).rx());
}

void TestGvretCsv::damagedLines_data()
{
    addLogColumns();
    const auto damaged = [](const char *name, const QByteArray &text, const Outcome &outcome) {
        row(name, v2, text, outcome);
    };
    damaged("rows under a heading without LEN", "Time Stamp,ID,Extended,Dir,Bus,D1\n1000000,00000123,false,Rx,0,0C",
            Outcome().losing({1, 2}).since("LEN"));
    row("no column Extended", "Time Stamp,ID,Bus,LEN,D1\n", "1000000,18F00503,0,1,0C",
        frame(0x18F00503, "0C").extended().at(1, 0).channel(0));
    damaged("a byte is missing", "1000000,00000123,false,Rx,0,3,0C,1D", lost("byte"));
    damaged("an empty byte", "1000000,00000123,false,Rx,0,3,0C,1D,,,,,,,", lost("byte"));
    damaged("byte of letters", "1000000,00000123,false,Rx,0,1,ZZ,", lost());
    damaged("byte of three digits", "1000000,00000123,false,Rx,0,1,111,", lost());
    damaged("identifier with an exponent", "1000000,1.8E+10,false,Rx,0,1,11,", lost());
    damaged("identifier with a plus", "1000000,1E+10,false,Rx,0,1,11,", lost());
    damaged("no identifier", "1000000,,false,Rx,0,1,11,", lost());
    damaged("identifier of more than 29 bits", "1000000,20000000,true,Rx,0,1,11,", blamed());
    damaged("no time", ",00000123,false,Rx,0,1,11,", blamed());
    damaged("neither true nor false", "1000000,00000123,maybe,Rx,0,1,11,", blamed());
    damaged("neither Rx nor Tx", "1000000,00000123,false,Qx,0,1,11,", blamed());
    damaged("length of letters", "1000000,00000123,false,Rx,0,x,11,", lost());
    damaged("65 bytes", "1000000,00000123,false,Rx,0,65,00,01,02,03,04,05,06,07,", lost());
    damaged("cut behind the identifier", "1000000,00000123", lost());
    row("the others are read", v2,
        "1000000,00000123,false,Rx,0,1,11,\n2000000,00000123,false,Rx,0,2,22\n3000000,00000123,false,Rx,0,1,33,",
        Outcome{frame(0x123, "11").at(1, 0).channel(0).rx(), frame(0x123, "33").at(3, 0).channel(0).rx()}.losing({2}));
}

void TestGvretCsv::timeBase_data()
{
    QTest::addColumn<QByteArray>("time");
    QTest::addColumn<bool>("onCalendar");
    QTest::newRow("since the device began") << QByteArray("1500250") << false;
    QTest::newRow("32 bits") << QByteArray("4294967295") << false;
    QTest::newRow("epoch") << QByteArray("1700000000123456") << true;
}

void TestGvretCsv::timeBase()
{
    QFETCH(QByteArray, time);
    QFETCH(bool, onCalendar);
    const PulledLog log = pullLog(DatachunkHelper::GvretCsv, v2 + time + ",00000123,false,Rx,0,1,11,\n");
    QCOMPARE(log.frames.size(), 1);
    QCOMPARE(log.info.timeBase == LogInfo::TimeBase::UnixEpoch, onCalendar);
}

void TestGvretCsv::samples_data()
{
    addLogColumns();
    const auto sample = [](const char *name, const Outcome &outcome) { row(name, sampleLines(name), outcome); };
    sample("gvretcsv/with-direction.csv",
           {frame(0x1A4, "0C1D2E").at(1, 500250).channel(0).rx(),
            frame(0x18F00503, "0C1D").extended().at(1, 500260).channel(1).tx(),
            frame(0x1A4, "0C").extended().at(1, 500280).channel(0).rx(), frame(0x1A4).at(1, 500300).channel(0).rx()});
    sample("gvretcsv/without-direction.csv", {frame(0x1A4, "0C1D").at(1, 500270).channel(2),
                                              frame(0x18F00503, "0C").extended().at(1, 500290).channel(0)});
    sample("gvretcsv/epoch-times.csv", {frame(0x1A4, "0C").at(1700000000, 123456).channel(0).rx(),
                                        frame(0x1A4, "1D").at(1700000000, 223456).channel(0).rx()});
}

void TestGvretCsv::example()
{
    QVector<LogFrame> expected = driveFrames(120);
    for (LogFrame &frame : expected) {
        const CanTimeStamp time = frame.message.timeStamp; // the device counts from the second of the first frame
        frame.rx()
            .at(time.seconds - 1716284412, time.microseconds)
            .channel(static_cast<quint16>(frame.message.channel - 1));
    }
    const PulledLog log = pullLog(DatachunkHelper::GvretCsv, sampleContent("drive-gvret.csv", CANLOG_EXAMPLES));
    QCOMPARE(differenceOf(log, expected), QString());
    QCOMPARE(log.report.faultyLines, 0);
}

QTEST_GUILESS_MAIN(TestGvretCsv)
#include "tst_gvretcsv.moc"
