// SPDX-License-Identifier: Apache-2.0
#include "logrows.h"

#include <QtTest>

namespace
{

const QByteArray head("timestamp,arbitration_id,extended,remote,error,dlc,data\n");

} // namespace

/// The reader of the comma-separated logs of python-can.
class TestPythonCanCsv : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lines_data();
    void lines() { checkRow(DatachunkHelper::PythonCanCsv); }
    void headers_data();
    void headers() { checkRow(DatachunkHelper::PythonCanCsv); }
    void times_data();
    void times() { checkRow(DatachunkHelper::PythonCanCsv); }
    void payloads_data();
    void payloads() { checkRow(DatachunkHelper::PythonCanCsv); }
    void base64AndHexadecimal_data();
    void base64AndHexadecimal();
    void damagedLines_data();
    void damagedLines() { checkRow(DatachunkHelper::PythonCanCsv); }
    void timeBase_data();
    void timeBase();
    void samples_data();
    void samples() { checkRow(DatachunkHelper::PythonCanCsv); }
    void example();
};

void TestPythonCanCsv::lines_data()
{
    addLogColumns();
    row("three bytes", head, "1700000000.25,0x1a4,0,0,0,3,DB0u", frame(0x1A4, "0C1D2E").at(1700000000, 250000));
    row("extended", head, "1700000000.5,0x18f00503,1,0,0,8,ECEyQ1Rldoc=",
        frame(0x18F00503, "1021324354657687").extended().at(1700000000, 500000));
    row("remote", head, "1700000001,0x7df,0,1,0,4,", frame(0x7DF).at(1700000001, 0).remote(4));
    row("error frame", head, "0.25,0x0,1,0,1,0,", errorFrame().at(0, 250000).note(""));
    row("more than eight bytes are FD", head, "1700000002.1,0x1a4,0,0,0,12,oKGio6Slpqeoqaqr",
        frame(0x1A4, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().brsUntold().esiUntold().at(1700000002, 100000));
    row("time with an exponent, no data", head, "1.5e-05,0x7df,0,0,0,0,", frame(0x7DF).at(0, 15));
    row("small extended identifier", head,
        "1700000003.0,0x123,1,0,0,1,DA==", frame(0x123, "0C").extended().at(1700000003, 0));
    row("identifiers are hexadecimal without 0x, too", head,
        "1700000004.0,420,0,0,0,1,DA==", frame(0x420, "0C").at(1700000004, 0));
    row("upper-case identifier", head, "1700000005.0,0x1A4,0,0,0,2,DB0=", frame(0x1A4, "0C1D").at(1700000005, 0));
}

void TestPythonCanCsv::headers_data()
{
    addLogColumns();
    row("none", "1700000000.25,0x1a4,0,0,0,3,DB0u", frame(0x1A4, "0C1D2E").at(1700000000, 250000));
    row("byte-order mark", "\xEF\xBB\xBF" + head, "1700000000.25,0x1a4,0,0,0,3,DB0u",
        frame(0x1A4, "0C1D2E").at(1700000000, 250000));
    row("again among the rows", head, "1700000000.25,0x1a4,0,0,0,3,DB0u\n" + head + "1700000000.5,0x1a4,0,0,0,1,DA==",
        {frame(0x1A4, "0C1D2E").at(1700000000, 250000), frame(0x1A4, "0C").at(1700000000, 500000)});
    row("empty line", head, "\n1700000000.25,0x1a4,0,0,0,3,DB0u", frame(0x1A4, "0C1D2E").at(1700000000, 250000));
    row("other columns are another kind of table", "time,addr,bus,data\n", "10.5,420,0,0c1d2e", noFrame());
}

void TestPythonCanCsv::times_data()
{
    addLogColumns();
    const auto time = [](const char *text, qint32 seconds, qint32 microseconds) {
        row(text, head, QByteArray(text) + ",0x123,0,0,0,0,", frame(0x123).at(seconds, microseconds));
    };
    time("0.0", 0, 0);
    time("2", 2, 0);
    time("1700000000.123456", 1700000000, 123456);
    time("1700000000.1234567", 1700000000, 123457);
    time("1700000000.1234562", 1700000000, 123456);
    time("1699999999.9999998", 1700000000, 0);
    time("0.1", 0, 100000);
    time("0.000999", 0, 999);
    time("9.9e-05", 0, 99);
    time("4e-07", 0, 0);
    time("6e-07", 0, 1);
    time("1.7e+09", 1700000000, 0);
    time("12.000001000000001", 12, 1);
}

void TestPythonCanCsv::payloads_data()
{
    addLogColumns();
    const auto line = [](const char *name, const QByteArray &text, const LogFrame &expected) {
        LogFrame there = expected;
        row(name, head, "1.5,0x123,0,0,0," + text, there.at(1, 500000));
    };
    line("plus signs", "3,++++", frame(0x123, "FBEFBE"));
    line("slashes", "3,////", frame(0x123, "FFFFFF"));
    line("one byte as hexadecimal", "1,0c", frame(0x123, "0C"));
    line("two bytes as hexadecimal", "2,0c1d", frame(0x123, "0C1D"));
    line("three bytes as hexadecimal", "3,0c1d2e", frame(0x123, "0C1D2E"));
    line("six bytes as hexadecimal", "6,0c1d2e0c1d2e", frame(0x123, "0C1D2E0C1D2E"));
    line("eight bytes as hexadecimal", "8,1021324354657687", frame(0x123, "1021324354657687"));
    row("remote of length 0", head, "1.5,0x123,0,1,0,0,", frame(0x123).at(1, 500000).remote(0));
    row("remote, extended", head, "1.5,0x123,1,1,0,8,", frame(0x123).extended().at(1, 500000).remote(8));
    row("error frame with bytes", head, "1.5,0x0,1,0,1,2,DB0=", errorFrame("0C1D").at(1, 500000).note(""));
}

/// Each length as its writer has it, and as hexadecimal text.
void TestPythonCanCsv::base64AndHexadecimal_data()
{
    QTest::addColumn<int>("length");
    for (const int length : {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64})
        QTest::addRow("%d bytes", length) << length;
}

void TestPythonCanCsv::base64AndHexadecimal()
{
    QFETCH(int, length);
    const QByteArray payload = QByteArray::fromHex(countedPayload(length));
    LogFrame expected = frame(0x123, payload.toHex()).at(1, 500000);
    if (length > 8)
        expected.fd().brsUntold().esiUntold();
    const QByteArray line = head + "1.5,0x123,0,0,0," + QByteArray::number(length) + ',';
    QCOMPARE(differenceOf(pullLog(DatachunkHelper::PythonCanCsv, line + payload.toBase64() + '\n'), {expected}),
             QString());
    QCOMPARE(differenceOf(pullLog(DatachunkHelper::PythonCanCsv, line + payload.toHex() + '\n'), {expected}),
             QString());
}

void TestPythonCanCsv::damagedLines_data()
{
    addLogColumns();
    const auto damaged = [](const char *name, const QByteArray &text, const Outcome &outcome) {
        row(name, head, text, outcome);
    };
    damaged("fewer bytes than the length", "1.5,0x123,0,0,0,8,DB0u", lost("byte"));
    damaged("base64 with a character too many", "1.5,0x123,0,0,0,3,DB0uu", lost("base64"));
    damaged("no bytes", "1.5,0x123,0,0,0,8,", lost("byte"));
    damaged("more bytes than the length", "1.5,0x123,0,0,0,1,DB0u", blamed());
    damaged("no base64", "1.5,0x123,0,0,0,3,DB!u", lost());
    damaged("identifier of letters", "1.5,0x1g3,0,0,0,1,DA==", lost());
    damaged("no identifier", "1.5,,0,0,0,1,DA==", lost());
    damaged("standard identifier of more than 11 bits", "1.5,0x800,0,0,0,1,DA==", blamed());
    damaged("identifier of more than 29 bits", "1.5,0x20000000,1,0,0,1,DA==", blamed());
    damaged("time of letters", "now,0x123,0,0,0,1,DA==", blamed());
    damaged("time that is no number", "nan,0x123,0,0,0,1,DA==", blamed());
    damaged("time that no record holds", "1e300,0x123,0,0,0,1,DA==", blamed());
    damaged("length of letters", "1.5,0x123,0,0,0,x,DA==", lost());
    damaged("65 bytes", "1.5,0x123,0,0,0,65," + QByteArray(65, 'x').toBase64(), lost());
    damaged("cut behind the identifier", "1.5,0x123", lost());
    row("the others are read", head, "1.5,0x123,0,0,0,1,DA==\n2.5,0x123,0,0,0,8,DA\n3.5,0x123,0,0,0,1,HQ==",
        Outcome{frame(0x123, "0C").at(1, 500000), frame(0x123, "1D").at(3, 500000)}.losing({2}));
}

void TestPythonCanCsv::timeBase_data()
{
    QTest::addColumn<QByteArray>("time");
    QTest::addColumn<bool>("onCalendar");
    QTest::newRow("epoch") << QByteArray("1700000000.25") << true;
    QTest::newRow("zero-based") << QByteArray("0.25") << false;
}

void TestPythonCanCsv::timeBase()
{
    QFETCH(QByteArray, time);
    QFETCH(bool, onCalendar);
    const PulledLog log = pullLog(DatachunkHelper::PythonCanCsv, head + time + ",0x123,0,0,0,1,DA==\n");
    QCOMPARE(log.frames.size(), 1);
    QCOMPARE(log.info.timeBase == LogInfo::TimeBase::UnixEpoch, onCalendar);
}

void TestPythonCanCsv::samples_data()
{
    addLogColumns();
    const auto sample = [](const char *name, const Outcome &outcome) { row(name, sampleLines(name), outcome); };
    sample("pythoncancsv/all-kinds.csv",
           {frame(0x1A4, "0C1D2E").at(1700000000, 250000),
            frame(0x18F00503, "1021324354657687").extended().at(1700000000, 500000),
            frame(0x7DF).at(1700000001, 0).remote(4), errorFrame().at(1700000001, 250000).note(""),
            frame(0x1A4, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().brsUntold().esiUntold().at(1700000002, 100000)});
    sample("pythoncancsv/hexadecimal-data.csv",
           {frame(0x1A4, "0C1D2E").at(0, 250000), frame(0x1A4, "0C1D").at(0, 500000), frame(0x1A4).at(0, 750000)});
    sample("pythoncancsv/no-header.csv", {frame(0x7DF).at(0, 15), frame(0x123, "0C").extended().at(0, 250000)});
}

void TestPythonCanCsv::example()
{
    QVector<LogFrame> expected = driveFrames(120);
    for (LogFrame &frame : expected) {
        frame.channel(0); // the log has none
        frame.channelIsTold = false;
    }
    const PulledLog log =
        pullLog(DatachunkHelper::PythonCanCsv, sampleContent("drive-python-can.csv", CANLOG_EXAMPLES));
    QCOMPARE(differenceOf(log, expected), QString());
    QCOMPARE(log.report.faultyLines, 0);
}

QTEST_GUILESS_MAIN(TestPythonCanCsv)
#include "tst_pythoncancsv.moc"
