// SPDX-License-Identifier: Apache-2.0
#include "logrows.h"

#include <QDateTime>
#include <QtTest>

namespace
{

/// The keys that begin a trace of @p version, which has @p columns where it names them.
QByteArray headerOf(const QByteArray &version, const QByteArray &columns = QByteArray(),
                    const QByteArray &start = "45000.5")
{
    return ";$FILEVERSION=" + version + "\n;$STARTTIME=" + start + '\n'
           + (columns.isEmpty() ? QByteArray() : ";$COLUMNS=" + columns + '\n');
}

const QByteArray v10(";\n"); // names no version
const QByteArray v11 = headerOf("1.1");
const QByteArray v12 = headerOf("1.2");
const QByteArray v13 = headerOf("1.3");
const QByteArray v20 = headerOf("2.0", "N,O,T,I,d,l,D");
const QByteArray v21 = headerOf("2.1", "N,O,T,B,I,d,R,L,D");

} // namespace

/// The reader of PCAN traces, of all versions.
class TestPcanTrace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lines_data();
    void lines() { checkRow(DatachunkHelper::PcanTrace); }
    void versions_data();
    void versions() { checkRow(DatachunkHelper::PcanTrace); }
    void times_data();
    void times() { checkRow(DatachunkHelper::PcanTrace); }
    void identifiers_data();
    void identifiers() { checkRow(DatachunkHelper::PcanTrace); }
    void lengths_data();
    void lengths() { checkRow(DatachunkHelper::PcanTrace); }
    void errorFrames_data();
    void errorFrames() { checkRow(DatachunkHelper::PcanTrace); }
    void events_data();
    void events();
    void damagedLines_data();
    void damagedLines() { checkRow(DatachunkHelper::PcanTrace); }
    void startTimes_data();
    void startTimes();
    void namesOfBuses();
    void samples_data();
    void samples() { checkRow(DatachunkHelper::PcanTrace); }
};

void TestPcanTrace::lines_data()
{
    addLogColumns();
    row("1.0", v10, "     1)      2500      0123  3  0C 1D 2E", frame(0x123, "0C1D2E").at(2, 500000));
    row("1.0, extended", v10, "     2)      2501  18F00503  2  0C 1D",
        frame(0x18F00503, "0C1D").extended().at(2, 501000));
    row("1.0, remote", v10, "     3)      2502      0123  4  RTR", frame(0x123).at(2, 502000).remote(4));
    row("1.0, state of the bus", v10, "     4)      2503  FFFFFFFF  4  00 00 00 08 -- -- -- --  BUSHEAVY", notAFrame());
    row("1.0, error frame", v10, "     5)      2504      0004  4  ERROR 00 19 08 08",
        errorFrame("00190808").at(2, 504000).note("stuff"));
    row("1.1", v11, "     1)      2500.1  Rx         0123  3  0C 1D 2E", frame(0x123, "0C1D2E").at(2, 500100).rx());
    row("1.1, eight digits are extended, sent", v11, "     2)      2500.2  Tx     00000123  1  0C",
        frame(0x123, "0C").extended().at(2, 500200).tx());
    row("1.1, remote", v11, "     3)      2500.3  Rx         0123  4  RTR", frame(0x123).at(2, 500300).rx().remote(4));
    row("1.1, state of the bus", v11, "     4)      2500.4  Warng  FFFFFFFF  4  00 00 00 04  BUSLIGHT", notAFrame());
    row("1.1, error frame", v11, "     5)      2500.5  Error      0004  4  00 19 08 08",
        errorFrame("00190808").at(2, 500500).note("stuff"));
    row("1.2", v12, "     1)      2500.123  2  Tx         0123  2  0C 1D",
        frame(0x123, "0C1D").at(2, 500123).channel(2).tx());
    row("1.3", v13, "     1)      2500.123 2  Rx    18F00503 -  2    0C 1D",
        frame(0x18F00503, "0C1D").extended().at(2, 500123).channel(2).rx());
    row("2.0", v20, "      1      2500.123 DT     0123 Rx 3  0C 1D 2E", frame(0x123, "0C1D2E").at(2, 500123).rx());
    row("2.0, length in bytes", v20, "      2      2500.124 FB     0123 Tx 12 A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB",
        frame(0x123, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().brs().at(2, 500124).tx());
    row("2.0, error frame without identifier and length", v20, "      3      2500.125 ER          Rx    04 00 03 00 00",
        errorFrame("0400030000").at(2, 500125).rx().note("stuff"));
    row("2.0, state of the bus", v20, "      4      2500.126 ST          Rx    00 00 00 08", notAFrame());
    row("2.0, counters", v20, "      5      2500.127 EC          Rx    01 03", notAFrame());
    row("2.0, remote", v20, "      6      2500.128 RR     0123 Rx 4", frame(0x123).at(2, 500128).rx().remote(4));
    row("2.1", v21, "      1      2500.123 DT 1      0123 Rx -  3    0C 1D 2E",
        frame(0x123, "0C1D2E").at(2, 500123).channel(1).rx());
    row("2.1, length code", v21, "      2      2500.124 FD 1      0123 Tx -  9    A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB",
        frame(0x123, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().at(2, 500124).channel(1).tx());
    row("2.1, FE is ESI alone", v21, "      3      2500.125 FE 2  18F00503 Rx -  1    0C",
        frame(0x18F00503, "0C").extended().fd().esi().at(2, 500125).channel(2).rx());
    row("2.1, BI is both BRS and ESI", v21, "      4      2500.126 BI 2  18F00503 Rx -  1    0C",
        frame(0x18F00503, "0C").extended().fd().brs().esi().at(2, 500126).channel(2).rx());
    row("2.1, remote", v21, "      5      2500.127 RR 1      0123 Rx -  4",
        frame(0x123).at(2, 500127).channel(1).rx().remote(4));
    row("2.1, error frame", v21, "      6      2500.128 ER 1         - Rx -  5    04 00 03 00 00",
        errorFrame("0400030000").at(2, 500128).channel(1).rx().note("stuff"));
    row("2.1, event", v21, "      7      2500.129 EV 1  Door opened 12 34", notAFrame());
    row("2.1, J1939 destination", v21, "      8      2500.130 DT 1  18EFC034 Tx 34 2    0C 1D",
        frame(0x18EFC034, "0C1D").extended().at(2, 500130).channel(1).tx());
}

/// What version a trace is, whatever its header says of it.
void TestPcanTrace::versions_data()
{
    addLogColumns();
    const LogFrame received = frame(0x123, "0C1D2E").at(2, 500100).rx();
    row("1.0 without a header", "     1)      2500      0123  3  0C 1D 2E", frame(0x123, "0C1D2E").at(2, 500000));
    row("1.0 that says so", headerOf("1.0"), "     1)      2500      0123  3  0C 1D 2E",
        frame(0x123, "0C1D2E").at(2, 500000));
    row("1.0 with numbers in the first column", "1) 2500 0123 3 0C 1D 2E", frame(0x123, "0C1D2E").at(2, 500000));
    row("1.1 without a header", "     1)      2500.1  Rx         0123  3  0C 1D 2E", received);
    row("1.2 without a header", "     1)      2500.100  2  Rx         0123  3  0C 1D 2E",
        frame(0x123, "0C1D2E").at(2, 500100).channel(2).rx());
    row("1.3 without a header", "     1)      2500.100 2  Rx        0123 -  3    0C 1D 2E",
        frame(0x123, "0C1D2E").at(2, 500100).channel(2).rx());
    row("1.1 with an odd version", headerOf("x.y"), "     1)      2500.1  Rx         0123  3  0C 1D 2E", received);
    row("1.1 with columns, which are none of its own", headerOf("1.1", "N,O,T,B,I,d,R,L,D"),
        "     1)      2500.1  Rx         0123  3  0C 1D 2E", received);
    row("1.1 without brackets behind the numbers", v11, "     1      2500.1  Rx         0123  3  0C 1D 2E", received);
    row("1.1 with comments", ";\n" + v11 + ";   Message Number\n;---+--\n",
        "     1)      2500.1  Rx         0123  3  0C 1D 2E", LogFrame(received).note(""));
    row("2.0 with a start in words", headerOf("2.0", "N,O,T,I,d,l,D", "31-12-2024 10:00:00,20000"),
        "      1      2500.123 DT     0123 Rx 3  0C 1D 2E", frame(0x123, "0C1D2E").at(2, 500123).rx());
    row("2.1 with columns in another order", headerOf("2.1", "N,O,B,T,d,I,L,D"),
        "      1      2500.123 1 DT Rx 0123 3 0C 1D 2E", frame(0x123, "0C1D2E").at(2, 500123).channel(1).rx());
    row("2.1 without the bus", headerOf("2.1", "N,O,T,I,d,L,D"),
        "      1      2500.123 FD     0123 Rx 9 A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB",
        frame(0x123, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().at(2, 500123).rx());
    row("2.1 with length in bytes", headerOf("2.1", "N,O,T,B,I,d,R,l,D"),
        "      1      2500.123 FD 1      0123 Rx -  12   A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB",
        frame(0x123, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().at(2, 500123).channel(1).rx());
    row("2.0 with length code", headerOf("2.0", "N,O,T,I,d,L,D"),
        "      1      2500.123 FD     0123 Rx 9 A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB",
        frame(0x123, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().at(2, 500123).rx());
    const QByteArray v30 = headerOf("3.0", "N,O,T,B,I,d,V,S,A,r,s,L,D");
    row("3.0, identifier of three digits", v30, "1 2500.123 DT 1 123 Rx - - - - - 3 0C 1D 2E",
        frame(0x123, "0C1D2E").at(2, 500123).channel(1).rx());
    row("3.0, CAN XL is not read, which is told", v30, "1 2500.123 XL 1 123 Rx 45 E0 00000000 0 0 3 0C 1D 2E", lost());
    row("1.1, decimal comma", v11, "1) 2500,1 Rx 0123 1 0C", frame(0x123, "0C").at(2, 500100).rx());
    row("2.1, decimal comma", v21, "1 2500,123 DT 1 0123 Rx - 1 0C", frame(0x123, "0C").at(2, 500123).channel(1).rx());
    row("1.1, two commas", v11, "1) 2,500,1 Rx 0123 1 0C", lost("time"));
    row("1.1, comma and point", v11, "1) 2,500.1 Rx 0123 1 0C", lost("time"));
    row("2.1, an error frame that is cut off", v21, "6 2500.128 ER 1 - Rx - 5 04 00 03", lost("error frame"));
    row("numbers that begin again", v11,
        "     1)      2500.1  Rx         0123  1  11\n     1)      2500.2  Rx         0123  1  22",
        {frame(0x123, "11").at(2, 500100).rx(), frame(0x123, "22").at(2, 500200).rx()});
    row("trace of another program", "@ TEXT @ 3 @ 64 @ 0 @ 1 @ 10 @ 10:00:00.000 @\n# $LocalTime=1", noFrame());
}

void TestPcanTrace::times_data()
{
    addLogColumns();
    const auto time = [](const char *text, qint32 seconds, qint32 microseconds) {
        row(text, v21, QByteArray("      1      ") + text + " DT 1      0123 Rx -  1    11",
            frame(0x123, "11").at(seconds, microseconds).channel(1).rx());
    };
    time("0.000", 0, 0);
    time("0.001", 0, 1);
    time("999.999", 0, 999999);
    time("1000", 1, 0);
    time("1000.1", 1, 100);
    time("1000.12", 1, 120);
    time("1000.0004", 1, 0);
    time("1000.0005", 1, 1);
    time("1999.9999", 2, 0);
    time("0001000.008", 1, 8);
    time("4294967296.500", 4294967, 296500);
    time("9876543210.123", 9876543, 210123);
}

void TestPcanTrace::identifiers_data()
{
    addLogColumns();
    const auto id = [](const char *text, quint32 number, bool extended) {
        LogFrame expected = frame(number, "11").at(1, 0).channel(1).rx();
        expected.message.isExtended = extended;
        row(text, v21, QByteArray("      1      1000.000 DT 1      ") + text + " Rx -  1    11", expected);
    };
    id("0000", 0, false);
    id("07FF", 0x7FF, false);
    id("123", 0x123, false);
    id("00123", 0x123, true);
    id("0000123", 0x123, true);
    id("00000100", 0x100, true);
    id("1FFFFFFF", 0x1FFFFFFF, true);
    id("18daf1ab", 0x18DAF1AB, true);
    row("four digits above 7FF", v21, "      1      1000.000 DT 1      0800 Rx -  1    11", blamed());
    row("more than 29 bits", v21, "      1      1000.000 DT 1  20000000 Rx -  1    11", blamed());
}

void TestPcanTrace::lengths_data()
{
    addLogColumns();
    const auto line = [](const char *name, const QByteArray &kind, const QByteArray &rest, const LogFrame &expected) {
        LogFrame there = expected;
        row(name, v21, "      1      1000.000 " + kind + " 1      0123 Rx -  " + rest, there.at(1, 0).channel(1).rx());
    };
    line("no data", "DT", "0", frame(0x123));
    line("eight bytes", "DT", "8    00 11 22 33 44 55 66 77", frame(0x123, "0011223344556677"));
    line("blanks behind the data", "DT", "1    11   ", frame(0x123, "11"));
    line("length code above 8 of a classic frame", "DT", "9    00 11 22 33 44 55 66 77",
         frame(0x123, "0011223344556677"));
    line("length code 15 of a classic frame", "DT", "15    00 11 22 33 44 55 66 77", frame(0x123, "0011223344556677"));
    line("FD without data", "FB", "0", frame(0x123).fd().brs());
    line("code 8", "FD", "8    " + countedPayload(8, " "), frame(0x123, countedPayload(8)).fd());
    line("code 10 is 16 bytes", "FD", "10   " + countedPayload(16, " "), frame(0x123, countedPayload(16)).fd());
    line("code 11 is 20 bytes", "FD", "11   " + countedPayload(20, " "), frame(0x123, countedPayload(20)).fd());
    line("code 12 is 24 bytes", "FD", "12   " + countedPayload(24, " "), frame(0x123, countedPayload(24)).fd());
    line("code 13 is 32 bytes", "FD", "13   " + countedPayload(32, " "), frame(0x123, countedPayload(32)).fd());
    line("code 14 is 48 bytes", "FD", "14   " + countedPayload(48, " "), frame(0x123, countedPayload(48)).fd());
    line("code 15 is 64 bytes", "BI", "15   " + countedPayload(64, " "),
         frame(0x123, countedPayload(64)).fd().brs().esi());
    line("remote of length 0", "RR", "0", frame(0x123).remote(0));
    row("64 bytes in 2.0", v20, "      1      1000.000 FD     0123 Rx 64 " + countedPayload(64, " "),
        frame(0x123, countedPayload(64)).fd().at(1, 0).rx());
    row("9 bytes of FD in 2.0, which no bus carries", v20,
        "      1      1000.000 FD     0123 Rx 9 " + countedPayload(9, " "),
        frame(0x123, countedPayload(9)).fd().at(1, 0).rx());
    row("FE in 2.0", v20, "      1      1000.000 FE     0123 Rx 1 11", frame(0x123, "11").fd().esi().at(1, 0).rx());
    row("BI in 2.0", v20, "      1      1000.000 BI     0123 Rx 1 11",
        frame(0x123, "11").fd().brs().esi().at(1, 0).rx());
    row("bus 16", v21, "      1      1000.000 DT 16     0123 Rx -  1    11",
        frame(0x123, "11").at(1, 0).channel(16).rx());
    row("J1939 message of 20 bytes is not read, which is told", v20,
        "      1      1000.000 DT 18EFC034 Rx 20 " + countedPayload(20, " "), lost());
}

void TestPcanTrace::errorFrames_data()
{
    addLogColumns();
    const auto kind = [](const char *digits, const char *note) {
        row(qPrintable(QStringLiteral("1.1: %1").arg(QLatin1String(note))), v11,
            QByteArray("     5)      1000.0  Error      ") + digits + "  4  00 19 08 08",
            errorFrame("00190808").at(1, 0).note(note));
        const QByteArray bytes = QByteArray(digits).right(2) + " 00 03 00 00";
        row(qPrintable(QStringLiteral("2.1: %1").arg(QLatin1String(note))), v21,
            "      6      1000.000 ER 1         - Rx -  5    " + bytes,
            errorFrame(bytes).at(1, 0).channel(1).rx().note(note));
    };
    kind("0001", "bit");
    kind("0002", "form");
    kind("0004", "stuff");
    kind("0008", "other");
    row("counters of the receiver and of the sender", v11, "     5)      1000.0  Error      0004  4  01 19 61 82",
        errorFrame("01196182").at(1, 0).note("97").note("130").note("receiv"));
    row("sending", v11, "     5)      1000.0  Error      0004  4  00 19 08 08",
        errorFrame("00190808").at(1, 0).note("send|transmit"));
    row("1.2", v12, "     5)      1000.0  2  Error      0002  4  00 19 08 08",
        errorFrame("00190808").at(1, 0).channel(2).note("form"));
    row("1.3", v13, "     5)      1000.0 2  Error      0002 -  4  00 19 08 08",
        errorFrame("00190808").at(1, 0).channel(2).note("form"));
    row("2.1, sent", v21, "      6      1000.000 ER 1         - Tx -  5    02 00 03 00 00",
        errorFrame("0200030000").at(1, 0).channel(1).tx().note("form"));
}

/// What the log says beside frames: a note on the frame before, on the first one when there is none before.
void TestPcanTrace::events_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("note");
    const auto event = [](const char *name, const QByteArray &header, const char *line, const char *note) {
        QTest::newRow(name) << header << QByteArray(line) << QString::fromUtf8(note);
    };
    event("1.1, warning", v11, "     4)      2500.4  Warng  FFFFFFFF  4  00 00 00 04  BUSLIGHT", "BUSLIGHT|warning");
    event("1.1, passive", v11, "     4)      2500.4  Warng  FFFFFFFF  4  00 00 00 08  BUSHEAVY", "BUSHEAVY|passive");
    event("1.1, bus off", v11, "     4)      2500.4  Warng  FFFFFFFF  4  00 00 00 10  BUSOFF", "BUS.?OFF");
    event("1.1, glued", v11, "     4)      2500.4  Warng  FFFFFFFF  4  00 00 00 04 ------BUSLIGHT", "BUSLIGHT|warning");
    event("1.1, comment", v11, "; door opens", "door opens");
    event("1.1, comment of Windows", v11,
          "; Pr\xFC"
          "fstand",
          "Pr\xC3\xBC"
          "fstand");
    event("2.1, warning", v21, "      4      2500.126 ST 1         - Rx -  4    00 00 00 04", "BUSLIGHT|warning");
    event("2.1, passive", v21, "      4      2500.126 ST 1         - Rx -  4    00 00 00 08", "BUSHEAVY|passive");
    event("2.1, bus off", v21, "      4      2500.126 ST 1         - Rx -  4    00 00 00 10", "BUS.?OFF");
    event("2.1, counters", v21, "      5      2500.127 EC 1         - Rx -  2    21 63", "33.*99|99.*33|21.*63");
    event("2.1, event", v21, "      7      2500.129 EV 1  Door opened 12 34", "Door opened 12 34");
    event("2.1, event of all buses", v21, "      7      2500.129 EV -  Door opened", "Door opened");
}

void TestPcanTrace::events()
{
    QFETCH(QByteArray, header);
    QFETCH(QByteArray, line);
    QFETCH(QString, note);
    const bool old = header == v11;
    const QByteArray first =
        old ? "     1)      1000.0  Rx         0123  1  11\n" : "      1      1000.000 DT 1      0123 Rx -  1    11\n";
    const QByteArray second =
        old ? "     2)      2000.0  Rx         0123  1  22\n" : "      2      2000.000 DT 1      0123 Rx -  1    22\n";
    LogFrame noted = frame(0x123, "11").at(1, 0).rx().note(note.toUtf8());
    LogFrame plain = frame(0x123, "22").at(2, 0).rx();
    if (!old) {
        noted.channel(1);
        plain.channel(1);
    }
    const auto check = [&](const QByteArray &text, const QVector<LogFrame> &expected) {
        const PulledLog log = pullLog(DatachunkHelper::PcanTrace, header + text);
        QCOMPARE(differenceOf(log, expected), QString());
        QCOMPARE(log.report.faultyLines, 0);
        QCOMPARE(log.report.otherLines, header.count('\n') + 1);
    };
    check(first + line + '\n' + second, {noted, plain});
    check(first + line + '\n', {noted});
    check(line + '\n' + first, {noted});
}

void TestPcanTrace::damagedLines_data()
{
    addLogColumns();
    row("1.0, a byte is missing", v10, "     1)      2500      0123  3  0C 1D", lost("byte"));
    row("1.1, RTR cut short", v11, "     3)      2500.3  Tx         0701  0  RR", lost("more"));
    row("1.1, a byte too many", v11, "     1)      2500.1  Rx         0123  1  0C 1D", lost("more"));
    row("1.1, a byte is missing", v11, "     1)      2500.1  Rx         0123  3  0C 1D", lost("byte"));
    row("2.0, a byte is missing", v20, "      1      2500.123 DT     0123 Rx 3  0C 1D", lost("byte"));
    row("2.1, a byte is missing", v21, "      1      2500.123 DT 1      0123 Rx -  3    0C 1D", lost("byte"));
    row("2.1, bytes of FD are missing", v21, "      2      2500.124 FD 1      0123 Tx -  9    A0 A1 A2", lost("byte"));
    row("1.1, cut behind the identifier", v11, "     1)      2500.1  Rx         0123", lost());
    row("1.1, cut behind the number", v11, "     1)", lost());
    row("2.1, cut behind the type", v21, "      1      2500.123 DT", lost());
    row("2.1, cut behind the length code", v21, "      1      2500.123 DT 1      0123 Rx -  3", lost("byte"));
    row("byte of letters", v11, "     1)      2500.1  Rx         0123  2  0C ZZ", lost());
    row("identifier of letters", v11, "     1)      2500.1  Rx         01G3  1  0C", lost());
    row("neither Rx nor Tx", v21, "      1      2500.123 DT 1      0123 Qx -  1    0C", lost());
    row("time of letters", v11, "     1)      25x0.1  Rx         0123  1  0C", lost());
    row("length code 16", v21, "      1      2500.123 FD 1      0123 Rx -  16   00", lost());
    row("nine bytes in 1.1", v11, "     1)      2500.1  Rx         0123  9  00 11 22 33 44 55 66 77 88", blamed());
    row("type that does not exist", v21, "      1      2500.123 ZZ 1      0123 Rx -  1    0C", lost());
    row("the others are read", v11,
        "     1)      1000.0  Rx         0123  1  11\n     2)      2000.0  Rx         0123  2  22\n"
        "     3)      3000.0  Rx         0123  1  33",
        Outcome{frame(0x123, "11").at(1, 0).rx(), frame(0x123, "33").at(3, 0).rx()}.losing({2}));
}

void TestPcanTrace::startTimes_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<QDateTime>("start");
    const QDateTime noon(QDate(2023, 3, 15), QTime(12, 0));
    const auto start = [](const char *name, const QByteArray &header, const QDateTime &expected) {
        QTest::newRow(name) << header << expected;
    };
    start("half a day", v11, noon);
    start("half a day in 2.1", v21, noon);
    start("semicolon behind the number", headerOf("1.1", "", "45000.5;"), noon);
    start("nine decimals", headerOf("1.1", "", "45000.604861111"), QDateTime(QDate(2023, 3, 15), QTime(14, 31)));
    start("whole day", headerOf("1.1", "", "45000"), QDateTime(QDate(2023, 3, 15), QTime(0, 0)));
    start("first day of 1970", headerOf("1.1", "", "25569.0"), QDateTime(QDate(1970, 1, 1), QTime(0, 0)));
    start("text in another order is not looked at", v11 + ";   Start time: 3/4/2023 12:00:00.250.0\n", noon);
    start("text with another day is not looked at", v11 + ";   Start time: 16.03.2023 14:31:00.250.0\n", noon);
    start("text alone", ";   Start time: 15.03.2023 14:31:00.250\n",
          QDateTime(QDate(2023, 3, 15), QTime(14, 31, 0, 250)));
    start("text alone that may be read in two ways", ";   Start time: 3/4/2023 14:31:00.250\n", QDateTime());
    start("words instead of a number", headerOf("1.1", "", "31-12-2024 10:00:00,20000"), QDateTime());
    start("nothing", v10, QDateTime());
}

/// The start is a local time of the computer that recorded, to about a millisecond.
void TestPcanTrace::startTimes()
{
    QFETCH(QByteArray, header);
    QFETCH(QDateTime, start);
    const bool newer = header.contains("=2.1");
    const bool oldest = !header.contains("$FILEVERSION");
    const PulledLog log =
        pullLog(DatachunkHelper::PcanTrace, header
                                                + (newer    ? "      1      1000.000 DT 1      0123 Rx -  1    11\n"
                                                   : oldest ? "     1)      1000      0123  1  11\n"
                                                            : "     1)      1000.0  Rx         0123  1  11\n"));
    QCOMPARE(log.frames.size(), 1);
    QCOMPARE(log.frames.first().frame.timeStamp, CanTimeStamp(1, 0));
    QVERIFY(log.info.timeBase == LogInfo::TimeBase::LogStart);
    QVERIFY(!log.info.startHasZone);
    QCOMPARE(log.info.start.isValid(), start.isValid());
    if (start.isValid())
        QVERIFY2(qAbs(log.info.start.msecsTo(start)) <= 1, qPrintable(log.info.start.toString(Qt::ISODateWithMs)));
}

void TestPcanTrace::namesOfBuses()
{
    const PulledLog log =
        pullLog(DatachunkHelper::PcanTrace, v21
                                                + ";   Bus  Name     Connection     Protocol  Bit rate\n"
                                                  ";   1    Chassis  Net3@pcan_usb  CAN       500 kBit/s\n"
                                                  "      1      1000.000 DT 1      0123 Rx -  1    11\n");
    QCOMPARE(log.info.channelNames.value(1), QStringLiteral("Chassis"));
    QCOMPARE(log.info.version, QStringLiteral("2.1"));
}

void TestPcanTrace::samples_data()
{
    addLogColumns();
    const auto sample = [](const char *name, const Outcome &outcome) { row(name, sampleLines(name), outcome); };
    sample("pcantrace/version-1-0.trc",
           {frame(0x123, "0C1D2E").at(2, 500000).note(""), frame(0x18F00503, "0C1D").extended().at(2, 501000),
            frame(0x123).at(2, 502000).remote(4).note("BUSHEAVY|passive"),
            errorFrame("00190808").at(2, 504000).note("stuff")});
    sample("pcantrace/version-1-1.trc",
           {frame(0x123, "0C1D2E").at(2, 500100).rx().note(""), frame(0x123, "0C").extended().at(2, 500200).tx(),
            frame(0x123).at(2, 500300).rx().remote(4).note("BUSLIGHT|warning"),
            errorFrame("00190808").at(2, 500500).note("stuff")});
    sample("pcantrace/empty-columns-in-2-0.trc",
           {frame(0x123, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().brs().at(2, 500124).tx().note(""),
            errorFrame("0400030000").at(2, 500125).rx().note("stuff").note("BUSHEAVY|passive"),
            frame(0x123).at(2, 500128).rx().remote(4)});
    sample("pcantrace/length-codes-and-events-in-2-1.trc",
           {frame(0x123, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().at(2, 500124).channel(1).tx().note(""),
            frame(0x18F00503, "0C").extended().fd().esi().at(2, 500125).channel(2).rx(),
            frame(0x18F00503, "0C").extended().fd().brs().esi().at(2, 500126).channel(2).rx(),
            errorFrame("0400030000").at(2, 500128).channel(1).rx().note("stuff").note("Door opened"),
            frame(0x18EFC034, "0C1D").extended().at(2, 500130).channel(1).tx()});
    sample("pcantrace/cut-short.trc",
           Outcome{frame(0x123, "0C1D2E").at(2, 500100).rx(), frame(0x123, "0C").extended().at(2, 500200).tx()}.losing(
               {5}));
}

QTEST_GUILESS_MAIN(TestPcanTrace)
#include "tst_pcantrace.moc"
