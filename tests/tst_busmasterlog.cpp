// SPDX-License-Identifier: Apache-2.0
#include "logrows.h"

#include <QDateTime>
#include <QtTest>

namespace
{

QByteArray headerOf(const QByteArray &base, const QByteArray &mode)
{
    return "***BUSMASTER Ver 3.2.2***\n***PROTOCOL CAN***\n***[START LOGGING SESSION]***\n"
           "***START DATE AND TIME 2:1:2023 22:17:28:9***\n***"
           + base + "***\n***" + mode
           + " MODE***\n***START CHANNEL BAUD RATE***\n***CHANNEL 1 - bench - 500000 bps***\n"
             "***END CHANNEL BAUD RATE***\n***START DATABASE FILES (DBF/DBC)***\n"
             "***END OF DATABASE FILES (DBF/DBC)***\n"
             "***<Time><Tx/Rx><Channel><CAN ID><Type><DLC><DataBytes>***\n";
}

const QByteArray hexadecimal = headerOf("HEX", "SYSTEM");
const QByteArray decimal = headerOf("DEC", "SYSTEM");
const QByteArray absolute = headerOf("HEX", "ABSOLUTE");
const QByteArray relative = headerOf("HEX", "RELATIVE");
constexpr qint32 session = 22 * 3600 + 17 * 60; // seconds of the day at 22:17

} // namespace

/// The reader of BUSMASTER logs.
class TestBusmasterLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lines_data();
    void lines() { checkRow(DatachunkHelper::BusmasterLog); }
    void headers_data();
    void headers() { checkRow(DatachunkHelper::BusmasterLog); }
    void times_data();
    void times() { checkRow(DatachunkHelper::BusmasterLog); }
    void frames_data();
    void frames() { checkRow(DatachunkHelper::BusmasterLog); }
    void otherProtocols_data();
    void otherProtocols() { checkRow(DatachunkHelper::BusmasterLog); }
    void damagedLines_data();
    void damagedLines() { checkRow(DatachunkHelper::BusmasterLog); }
    void whatTheHeaderSays_data();
    void whatTheHeaderSays();
    void samples_data();
    void samples() { checkRow(DatachunkHelper::BusmasterLog); }
    void example();
};

void TestBusmasterLog::lines_data()
{
    addLogColumns();
    row("three bytes", hexadecimal, "22:17:29:1234 Rx 1 0x1A4 s 3 0C 1D 2E ",
        frame(0x1A4, "0C1D2E").at(80249, 123400).channel(1).rx());
    row("extended, sent", hexadecimal, "22:17:29:1240 Tx 2 0x18F00503 x 2 0C 1D ",
        frame(0x18F00503, "0C1D").extended().at(80249, 124000).channel(2).tx());
    row("remote", hexadecimal, "22:17:29:1250 Rx 1 0x7DF sr 4 ",
        frame(0x7DF).at(80249, 125000).channel(1).rx().remote(4));
    row("extended remote", hexadecimal, "22:17:29:1260 Rx 1 0x18F00503 xr 8 ",
        frame(0x18F00503).extended().at(80249, 126000).channel(1).rx().remote(8));
    row("no data", hexadecimal, "22:17:29:1270 Rx 1 0x1A4 s 0 ", frame(0x1A4).at(80249, 127000).channel(1).rx());
    row("decimal", decimal, "22:17:29:1280 Rx 1 0420 s 3 012 029 046 ",
        frame(0x1A4, "0C1D2E").at(80249, 128000).channel(1).rx());
    row("absolute times", absolute, "00:00:01:0500 Rx 1 0x1A4 s 1 0C ",
        frame(0x1A4, "0C").at(1, 50000).channel(1).rx());
    row("relative times", relative, "00:00:00:0100 Rx 1 0x1A4 s 1 0C ",
        frame(0x1A4, "0C").at(0, 10000).channel(1).rx());
    row("three digits are milliseconds, channel 0", hexadecimal, "22:17:29:992 Rx 0 000001A4 s 1 0C ",
        frame(0x1A4, "0C").at(80249, 992000).channel(0).rx());
    row("seconds of one digit, no 0x", hexadecimal, "22:17:3:0506 Rx 1 1A4 s 1 0C ",
        frame(0x1A4, "0C").at(80223, 50600).channel(1).rx());
    row("more than eight bytes are FD", hexadecimal,
        "22:17:29:1290 Rx 1 0x1A4 s 12 A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB ",
        frame(0x1A4, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().brsUntold().esiUntold().at(80249, 129000).channel(1).rx());
    row("small extended identifier", hexadecimal, "22:17:29:1300 Rx 1 0x123 x 1 0C ",
        frame(0x123, "0C").extended().at(80249, 130000).channel(1).rx());
    row("end of the session", hexadecimal, "***END DATE AND TIME 2:1:2023 22:17:40:5***", notAFrame());
}

void TestBusmasterLog::headers_data()
{
    addLogColumns();
    row("version without a word", "***BUSMASTER 2.5.0***\n***HEX***\n***SYSTEM MODE***\n",
        "22:17:29:1234 Rx 1 0x100 s 1 10 ", frame(0x100, "10").at(80249, 123400).channel(1).rx());
    row("minus before the name", "-***BUSMASTER 2.5.0***\n***HEX***\n***SYSTEM MODE***\n",
        "22:17:29:1234 Rx 1 0x100 s 1 10 ", frame(0x100, "10").at(80249, 123400).channel(1).rx());
    row("old header: system time, hexadecimal", "***BUSMASTER Ver 1.7.2***\n", "22:17:29:1234 Rx 1 100 s 1 10 ",
        frame(0x100, "10").at(80249, 123400).channel(1).rx());
    row("byte-order mark", "\xEF\xBB\xBF" + hexadecimal, "22:17:29:1234 Rx 1 0x100 s 1 10 ",
        frame(0x100, "10").at(80249, 123400).channel(1).rx());
    row("decimal numbers are not octal", decimal, "22:17:29:1234 Rx 1 0100 s 1 010 ",
        frame(100, "0A").at(80249, 123400).channel(1).rx());
    row("no blank at the end of a line", hexadecimal, "22:17:29:1234 Rx 1 0x100 s 1 10",
        frame(0x100, "10").at(80249, 123400).channel(1).rx());
    row("columns in another order", QByteArray(hexadecimal).replace("<Tx/Rx><Channel>", "<Channel><Tx/Rx>"),
        "22:17:29:1234 2 Tx 0x100 s 1 10 ", frame(0x100, "10").at(80249, 123400).channel(2).tx());
    row("sessions of different base", hexadecimal,
        "22:17:29:1234 Rx 1 0x100 s 1 10 \n***[STOP LOGGING SESSION]***\n***BUSMASTER Ver 3.2.2***\n"
        "***[START LOGGING SESSION]***\n***DEC***\n***SYSTEM MODE***\n22:17:30:1234 Rx 1 0100 s 1 010 ",
        {frame(0x100, "10").at(80249, 123400).channel(1).rx().note(""),
         frame(100, "0A").at(80250, 123400).channel(1).rx().note("")});
    row("comment block that looks like rows", hexadecimal,
        "***START COMMENT***\n22:17:29:0000 Rx 1 0x7FF s 1 FF \n*** free\n***END COMMENT***\n"
        "22:17:29:1234 Rx 1 0x100 s 1 10 ",
        {frame(0x100, "10").at(80249, 123400).channel(1).rx().note("")});
    row("paths of databases", hexadecimal,
        "***START DATABASE FILES***\n/home/bench/car.dbf\n***END DATABASE FILES***\n22:17:29:1234 Rx 1 0x100 s 1 10 ",
        {frame(0x100, "10").at(80249, 123400).channel(1).rx().note("")});
}

void TestBusmasterLog::times_data()
{
    addLogColumns();
    const auto time = [](const char *text, qint32 seconds, qint32 microseconds) {
        row(text, hexadecimal, QByteArray(text) + " Rx 1 0x123 s 1 11 ",
            frame(0x123, "11").at(seconds, microseconds).channel(1).rx());
    };
    time("00:00:00:0000", 0, 0);
    time("00:00:00:0001", 0, 100);
    time("00:00:00:9999", 0, 999900);
    time("00:00:00:001", 0, 1000);
    time("0:0:1:0250", 1, 25000);
    time("14:05:1:0250", 14 * 3600 + 5 * 60 + 1, 25000);
    time("08:09:09:0080", 8 * 3600 + 9 * 60 + 9, 8000);
    time("23:59:59:9999", 86399, 999900);
    row("midnight", hexadecimal, "23:59:59:5000 Rx 1 0x123 s 1 11 \n00:00:00:5000 Rx 1 0x123 s 1 22 ",
        {frame(0x123, "11").at(86399, 500000).channel(1).rx(), frame(0x123, "22").at(86400, 500000).channel(1).rx()});
    row("two midnights", hexadecimal,
        "23:59:59:5000 Rx 1 0x123 s 1 11 \n00:00:00:5000 Rx 1 0x123 s 1 22 \n23:59:59:0000 Rx 1 0x123 s 1 33 \n"
        "00:00:01:0000 Rx 1 0x123 s 1 44 ",
        {frame(0x123, "11").at(86399, 500000).channel(1).rx(), frame(0x123, "22").at(86400, 500000).channel(1).rx(),
         frame(0x123, "33").at(172799, 0).channel(1).rx(), frame(0x123, "44").at(172801, 0).channel(1).rx()});
    row("a millisecond back is no midnight", hexadecimal,
        "22:17:29:1234 Rx 1 0x123 s 1 11 \n22:17:29:1230 Rx 2 0x123 s 1 22 ",
        {frame(0x123, "11").at(session + 29, 123400).channel(1).rx(),
         frame(0x123, "22").at(session + 29, 123000).channel(2).rx()});
    row("relative times are added up", relative,
        "00:00:01:0000 Rx 1 0x123 s 1 11 \n00:00:00:2500 Rx 1 0x123 s 1 22 \n00:01:00:0000 Rx 1 0x123 s 1 33 ",
        {frame(0x123, "11").at(1, 0).channel(1).rx(), frame(0x123, "22").at(1, 250000).channel(1).rx(),
         frame(0x123, "33").at(61, 250000).channel(1).rx()});
    row("absolute times of more than a day", absolute, "25:00:00:0000 Rx 1 0x123 s 1 11 ",
        frame(0x123, "11").at(90000, 0).channel(1).rx());
}

void TestBusmasterLog::frames_data()
{
    addLogColumns();
    const auto line = [](const char *name, const QByteArray &text, const LogFrame &expected) {
        LogFrame there = expected;
        row(name, hexadecimal, "22:17:29:1000 " + text, there.at(80249, 100000));
    };
    line("lower-case numbers", "Rx 1 0x1ab s 1 cd ", frame(0x1AB, "CD").channel(1).rx());
    line("largest identifiers", "Tx 1 0x1FFFFFFF x 0 ", frame(0x1FFFFFFF).extended().channel(1).tx());
    line("remote of length 0", "Rx 1 0x123 sr 0 ", frame(0x123).channel(1).rx().remote(0));
    line("remote, sent", "Tx 1 0x123 xr 2 ", frame(0x123).extended().channel(1).tx().remote(2));
    line("eight bytes", "Rx 1 0x123 s 8 00 11 22 33 44 55 66 77 ", frame(0x123, "0011223344556677").channel(1).rx());
    line("64 bytes", "Rx 1 0x123 s 64 " + countedPayload(64, " "),
         frame(0x123, countedPayload(64)).fd().brsUntold().esiUntold().channel(1).rx());
    line("channel of two digits", "Rx 12 0x123 s 1 11 ", frame(0x123, "11").channel(12).rx());
    row("decimal, extended, largest byte", decimal, "22:17:29:1000 Rx 1 418383107 x 2 255 000 ",
        frame(0x18F00503, "FF00").extended().at(80249, 100000).channel(1).rx());
    row("decimal identifier of four digits", decimal, "22:17:29:1000 Rx 1 0021 s 1 008 ",
        frame(21, "08").at(80249, 100000).channel(1).rx());
}

void TestBusmasterLog::otherProtocols_data()
{
    addLogColumns();
    const QByteArray j1939 = QByteArray(hexadecimal)
                                 .replace("PROTOCOL CAN", "PROTOCOL J1939")
                                 .replace("***<Time><Tx/Rx><Channel><CAN ID><Type><DLC><DataBytes>***\n", "");
    row("J1939 message of one frame", j1939,
        "22:17:29:1000 1 18f00503 f005 BROADCAST 03 ff 6 Rx 8 10 21 32 43 54 65 76 87 ",
        frame(0x18F00503, "1021324354657687").extended().at(80249, 100000).channel(1).rx());
    row("J1939 message, sent", j1939, "22:17:29:1000 2 18eaff03 eaff RQST 03 ff 6 Tx 3 05 F0 00 ",
        frame(0x18EAFF03, "05F000").extended().at(80249, 100000).channel(2).tx());
    row("J1939 message of several frames is not read, which is told", j1939,
        "22:17:29:1000 1 18f00503 f005 BROADCAST 03 ff 6 Rx 20 " + countedPayload(20, " "), lost());
    const QByteArray lin = QByteArray(hexadecimal)
                               .replace("PROTOCOL CAN", "PROTOCOL LIN")
                               .replace("***<Time><Tx/Rx><Channel><CAN ID><Type><DLC><DataBytes>***\n", "");
    row("LIN", lin, "22:17:29:1000 Rx 1 0x12 2 0C 1D  8A (Enhanced)", noFrame());
}

void TestBusmasterLog::damagedLines_data()
{
    addLogColumns();
    const auto damaged = [](const char *name, const QByteArray &text, const Outcome &outcome) {
        row(name, hexadecimal, text, outcome);
    };
    damaged("a byte is missing", "22:17:29:1000 Rx 1 0x123 s 3 0C 1D ", lost("byte"));
    damaged("all bytes are missing", "22:17:29:1000 Rx 1 0x123 s 3", lost("byte"));
    damaged("cut behind the identifier", "22:17:29:1000 Rx 1 0x123", lost());
    damaged("cut behind the time", "22:17:29:1000", lost());
    damaged("byte of letters", "22:17:29:1000 Rx 1 0x123 s 1 ZZ ", lost());
    damaged("byte of three digits", "22:17:29:1000 Rx 1 0x123 s 1 012 ", lost());
    damaged("identifier of letters", "22:17:29:1000 Rx 1 0x1G3 s 1 0C ", lost());
    damaged("identifier of more than 29 bits", "22:17:29:1000 Rx 1 0x20000000 x 1 0C ", blamed());
    damaged("standard identifier of more than 11 bits", "22:17:29:1000 Rx 1 0x800 s 1 0C ", blamed());
    damaged("type that does not exist", "22:17:29:1000 Rx 1 0x123 q 1 0C ", lost());
    damaged("neither Rx nor Tx", "22:17:29:1000 Qx 1 0x123 s 1 0C ", lost());
    damaged("65 bytes", "22:17:29:1000 Rx 1 0x123 s 65 " + countedPayload(65, " "), lost());
    damaged("time of letters", "22:17:2x:1000 Rx 1 0x123 s 1 0C ", lost());
    row("decimal byte above 255", decimal, "22:17:29:1000 Rx 1 0100 s 1 256 ", lost());
    row("the others are read", hexadecimal,
        "22:17:29:1000 Rx 1 0x123 s 1 11 \n22:17:29:2000 Rx 1 0x123 s 2 22 \n22:17:29:3000 Rx 1 0x123 s 1 33 ",
        Outcome{frame(0x123, "11").at(80249, 100000).channel(1).rx(),
                frame(0x123, "33").at(80249, 300000).channel(1).rx()}
            .losing({2}));
}

void TestBusmasterLog::whatTheHeaderSays_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<int>("base");
    QTest::newRow("system time") << hexadecimal << int(LogInfo::TimeBase::Midnight);
    QTest::newRow("absolute") << absolute << int(LogInfo::TimeBase::LogStart);
    QTest::newRow("relative") << relative << int(LogInfo::TimeBase::LogStart);
}

/// Numbers without zeros that lead, day before month, and the last number is milliseconds.
void TestBusmasterLog::whatTheHeaderSays()
{
    QFETCH(QByteArray, header);
    QFETCH(int, base);
    const PulledLog log = pullLog(DatachunkHelper::BusmasterLog, header + "22:17:29:1234 Rx 1 0x123 s 1 11 \n");
    QCOMPARE(int(log.info.timeBase), base);
    QCOMPARE(log.info.start, QDateTime(QDate(2023, 1, 2), QTime(22, 17, 28, 9)));
    QVERIFY(!log.info.startHasZone);
    QVERIFY((log.info.writer + log.info.version).contains(QLatin1String("3.2.2")));
}

void TestBusmasterLog::samples_data()
{
    addLogColumns();
    const auto sample = [](const char *name, const Outcome &outcome) { row(name, sampleLines(name), outcome); };
    sample("busmasterlog/hexadecimal.log", {frame(0x1A4, "0C1D2E").at(80249, 123400).channel(1).rx().note(""),
                                            frame(0x18F00503, "0C1D").extended().at(80249, 124000).channel(2).tx(),
                                            frame(0x7DF).at(80249, 125000).channel(1).rx().remote(4),
                                            frame(0x1A4, "A0A1A2A3A4A5A6A7A8A9AAAB")
                                                .fd()
                                                .brsUntold()
                                                .esiUntold()
                                                .at(80249, 129000)
                                                .channel(1)
                                                .rx()
                                                .note("")});
    sample("busmasterlog/decimal-over-midnight.log", {frame(0x1A4, "0C1D2E").at(86399, 999000).channel(1).rx().note(""),
                                                      frame(0x1A4, "0C1D2F").at(86400, 1000).channel(1).rx().note("")});
    sample("busmasterlog/relative-times-and-comment.log",
           {frame(0x1A4, "0C").at(0, 10000).channel(1).rx().note(""), frame(0x1A4, "1D").at(1, 60000).channel(1).rx(),
            frame(0x1A4, "2E").at(1, 70000).channel(1).rx().note("")});
}

void TestBusmasterLog::example()
{
    QVector<LogFrame> expected = driveFrames(120);
    for (LogFrame &frame : expected) {
        const CanTimeStamp time = frame.message.timeStamp; // of May 21, 2024, 9:40:12 and on; the log has 0.1 ms
        frame.rx().at(9 * 3600 + 40 * 60 + 12 + (time.seconds - 1716284412), time.microseconds / 100 * 100);
    }
    expected.last().note(""); // the end of the session
    expected.first().note("");
    const PulledLog log = pullLog(DatachunkHelper::BusmasterLog, sampleContent("drive-busmaster.log", CANLOG_EXAMPLES));
    QCOMPARE(differenceOf(log, expected), QString());
    QCOMPARE(log.report.faultyLines, 0);
}

QTEST_GUILESS_MAIN(TestBusmasterLog)
#include "tst_busmasterlog.moc"
