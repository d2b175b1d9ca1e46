// SPDX-License-Identifier: Apache-2.0
#include "logrows.h"

#include <QDateTime>
#include <QtTest>

using TimeBase = LogInfo::TimeBase;

/// The reader of what SocketCAN's candump prints and writes.
class TestCandump : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void logFileForm_data();
    void logFileForm() { checkRow(DatachunkHelper::Candump); }
    void logFileTimes_data();
    void logFileTimes() { checkRow(DatachunkHelper::Candump); }
    void interfaces_data();
    void interfaces() { checkRow(DatachunkHelper::Candump); }
    void identifiers_data();
    void identifiers() { checkRow(DatachunkHelper::Candump); }
    void payloads_data();
    void payloads() { checkRow(DatachunkHelper::Candump); }
    void errorFrames_data();
    void errorFrames() { checkRow(DatachunkHelper::Candump); }
    void linesThatAreNoFrames_data();
    void linesThatAreNoFrames() { checkRow(DatachunkHelper::Candump); }
    void damagedLines_data();
    void damagedLines() { checkRow(DatachunkHelper::Candump); }
    void screenForm_data();
    void screenForm() { checkRow(DatachunkHelper::Candump); }
    void screenOptions_data();
    void screenOptions() { checkRow(DatachunkHelper::Candump); }
    void damagedScreenLines_data();
    void damagedScreenLines() { checkRow(DatachunkHelper::Candump); }
    void lineCutAnywhereIsNoOtherFrame_data();
    void lineCutAnywhereIsNoOtherFrame();
    void localTimes();
    void timeBase_data();
    void timeBase();
    void samples_data();
    void samples() { checkRow(DatachunkHelper::Candump); }
};

void TestCandump::initTestCase()
{
    qputenv("TZ", "UTC0"); // candump -t A prints local times without a zone
}

void TestCandump::logFileForm_data()
{
    addLogColumns();
    row("three bytes", "(1700000000.123456) can0 1C7#0F1E2D",
        frame(0x1C7, "0F1E2D").at(1700000000, 123456).on("can0", 1));
    row("no data is a frame of length 0", "(1700000000.200000) vcan1 0C7#",
        frame(0x0C7).at(1700000000, 200000).on("vcan1", 2));
    row("extended, sent", "(1700000000.300000) can1 18F00503#1021324354657687 T",
        frame(0x18F00503, "1021324354657687").extended().at(1700000000, 300000).on("can1", 2).tx());
    row("eight digits of a small identifier are extended, received", "(1700000000.400000) can0 000001C7#0F R",
        frame(0x1C7, "0F").extended().at(1700000000, 400000).on("can0", 1).rx());
    row("remote", "(1700000000.500000) can0 1C7#R", frame(0x1C7).at(1700000000, 500000).on("can0", 1).remote());
    row("remote with length", "(1700000000.600000) slcan0 1C7#R5",
        frame(0x1C7).at(1700000000, 600000).on("slcan0", 1).remote(5));
    row("remote in lower case", "(1700000000.650000) can0 1C7#r",
        frame(0x1C7).at(1700000000, 650000).on("can0", 1).remote());
    row("remote with raw length code", "(1700000000.700000) can0 1C7#R8_D",
        frame(0x1C7).at(1700000000, 700000).on("can0", 1).remote(8));
    row("raw length code of eight bytes", "(1700000000.800000) can0 1C7#1021324354657687_B",
        frame(0x1C7, "1021324354657687").at(1700000000, 800000).on("can0", 1));
    row("dots between bytes", "(1700000000.900000) can0 1C7#0F.1E.2D",
        frame(0x1C7, "0F1E2D").at(1700000000, 900000).on("can0", 1));
    row("FD", "(1700000001.000000) can0 1C7##00F1E2D", frame(0x1C7, "0F1E2D").fd().at(1700000001, 0).on("can0", 1));
    row("FD with bit rate switch, sent", "(1700000001.100000) can0 1C7##5A0A1A2A3A4A5A6A7A8A9AAAB T",
        frame(0x1C7, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().brs().at(1700000001, 100000).on("can0", 1).tx());
    row("FD with both flags and no data", "(1700000001.200000) can2 000001C7##3",
        frame(0x1C7).extended().fd().brs().esi().at(1700000001, 200000).on("can2", 3));
    row("FD flags that mean nothing here", "(1700000001.250000) can2 1C7##C0F",
        frame(0x1C7, "0F").fd().at(1700000001, 250000).on("can2", 3));
    row("error frame: bus error", "(1700000001.300000) can0 20000080#0000000000000000",
        errorFrame("0000000000000000").at(1700000001, 300000).on("can0", 1).note("bus.?error"));
    row("error frame: controller warning, received", "(1700000001.400000) can0 20000004#0008000000000000 R",
        errorFrame("0008000000000000").at(1700000001, 400000).on("can0", 1).rx().note("controller").note("warning"));
    row("error frame with bit 31", "(1700000001.500000) can0 A0000004#0008000000000000",
        errorFrame("0008000000000000").at(1700000001, 500000).on("can0", 1).note("controller").note("warning"));
    row("nine digits of a second", "(1700000001.600000123) can0 1C7#0F",
        frame(0x1C7, "0F").at(1700000001, 600000).on("can0", 1));
    row("zeros before a small time, blanks before the interface", "(0000000003.250000)     can0 1C7#0F",
        frame(0x1C7, "0F").at(3, 250000).on("can0", 1));
    row("one digit of a second, lower-case bytes", "(1700000001.5) can0 1C7#0f1e",
        frame(0x1C7, "0F1E").at(1700000001, 500000).on("can0", 1));
    row("CAN XL is not read, which is told", "(1700000001.700000) can0 451C7#81:E0:00000000#0F1E2D", lost());
    row("count of dropped frames", "DROPCOUNT: dropped 2 CAN frames on 'can0' socket (total drops 2)", notAFrame());
    row("comment", "# recorded on the bench", notAFrame());
    row("half a byte", "(1700000001.800000) can0 1C7#0F1", lost());
    row("a length code behind a CAN FD frame", "(1.000000) can0 1C7##01021324354657687_B", lost());
    row("a point before the first byte", "(1.000000) can0 1C7#.0F1E", lost());
    row("error frame that is a remote frame", "(1.000000) can0 20000080#R8", lost("error frame"));
    row("error frame that is a CAN FD frame", "(1.000000) can0 20000080##00011", lost("error frame"));
    row("error frame of CAN FD on the screen", "  (1.000000)  can0  20000080   [08]  00 00 00 00 00 00 00 00",
        lost("error frame"));
    row("remote frame of CAN FD on the screen", "  (1.000000)  can0  1C7  [04]  remote request", lost("remote"));
    row("length of three digits on the screen", "  (1.000000)  can0  1C7  [008]  0 0 0 0 0 0 0 0", lost("length"));
    row("more reversed bytes than the length says", "  (1.000000)  can0  1C7   [1]  2D`1E", lost("backtick"));
    row("half a reversed byte", "  (1.000000)  can0  1C7   [2]  2D`1", lost("backtick"));
    row("colours without a blank before the time", "(1.000000)  \x1B[1m\x1B[34mcan0  1C7   [1]  0F\x1B[0m",
        frame(0x1C7, "0F").at(1, 0).on("can0", 1));
    row("no number of seconds in a date", " (2023-11-14 22:13:-5.0)  can0  1C7   [1]  0F", lost("time"));
    row("too many seconds in a date", " (2023-11-14 22:13:75.0)  can0  1C7   [1]  0F", lost("time"));
}

void TestCandump::logFileTimes_data()
{
    addLogColumns();
    const auto time = [](const char *name, const char *text, qint32 seconds, qint32 microseconds) {
        row(name, QByteArray("(") + text + ") can0 123#11", frame(0x123, "11").at(seconds, microseconds).on("can0", 1));
    };
    time("zero-based with three digits", "000.100000", 0, 100000);
    time("zeros that lead are decimal", "0000000010.500000", 10, 500000);
    time("digits that are not octal", "0000000089.000000", 89, 0);
    time("one digit", "1.1", 1, 100000);
    time("two digits", "1.25", 1, 250000);
    time("three digits", "1.007", 1, 7000);
    time("five digits", "1.00009", 1, 90);
    time("nanoseconds are rounded down", "1.123456499", 1, 123456);
    time("nanoseconds are rounded up", "1.123456500", 1, 123457);
    time("rounded into the next second", "1.999999999", 2, 0);
    row("a clock that was set back keeps the order",
        "(1700000005.000000) can0 123#11\n(1700000003.000000) can0 123#22\n(1700000004.000000) can0 123#33",
        {frame(0x123, "11").at(1700000005, 0).on("can0", 1), frame(0x123, "22").at(1700000003, 0).on("can0", 1),
         frame(0x123, "33").at(1700000004, 0).on("can0", 1)});
    row("zero-based times that fall are no differences",
        "(000.000000) can0 123#11\n(000.200000) can0 123#22\n(000.100000) can0 123#33",
        {frame(0x123, "11").on("can0", 1), frame(0x123, "22").at(0, 200000).on("can0", 1),
         frame(0x123, "33").at(0, 100000).on("can0", 1)});
    row("a time that no record holds is blamed", "(99999999999.000000) can0 123#11", blamed());
}

void TestCandump::interfaces_data()
{
    addLogColumns();
    const auto name = [](const char *interface, quint16 number) {
        row(interface, QByteArray("(1.000000) ") + interface + " 123#11",
            frame(0x123, "11").at(1, 0).on(interface, number));
    };
    name("can0", 1);
    name("can7", 8);
    name("can12", 13);
    name("vcan0", 1);
    name("slcan3", 4);
    name("can1.5", 6);
    name("any", 1);
    name("0", 1);
    name("interface-of-21-lette", 1);
    row("the same number in two names",
        "(1.000000) can0 123#11\n(2.000000) vcan0 123#22\n(3.000000) can0 123#33\n(4.000000) vcan0 123#44",
        {frame(0x123, "11").at(1, 0).on("can0", 1), frame(0x123, "22").at(2, 0).on("vcan0", 2),
         frame(0x123, "33").at(3, 0).on("can0", 1), frame(0x123, "44").at(4, 0).on("vcan0", 2)});
    row("no number in the name", "(1.000000) can0 123#11\n(2.000000) can1 123#22\n(3.000000) any 123#33",
        {frame(0x123, "11").at(1, 0).on("can0", 1), frame(0x123, "22").at(2, 0).on("can1", 2),
         frame(0x123, "33").at(3, 0).on("any", 3)});
    row("names aligned to the right", "(1.000000)    can0 123#11\n(2.000000) slcan10 123#22",
        {frame(0x123, "11").at(1, 0).on("can0", 1), frame(0x123, "22").at(2, 0).on("slcan10", 11)});
}

void TestCandump::identifiers_data()
{
    addLogColumns();
    const auto id = [](const char *name, const char *text, const LogFrame &expected) {
        LogFrame there = expected;
        row(name, QByteArray("(1.000000) can0 ") + text, there.at(1, 0).on("can0", 1));
    };
    id("zero", "000#11", frame(0, "11"));
    id("the largest of 11 bits", "7FF#11", frame(0x7FF, "11"));
    id("zero of 29 bits", "00000000#11", frame(0, "11").extended());
    id("the largest of 29 bits", "1FFFFFFF#11", frame(0x1FFFFFFF, "11").extended());
    id("lower case", "1ab#11", frame(0x1AB, "11"));
    id("29 bits in lower case", "18daf1ab#11", frame(0x18DAF1AB, "11").extended());
    id("remote of 29 bits", "000001C7#R2", frame(0x1C7).extended().remote(2));
    row("three digits above 7FF", "(1.000000) can0 800#11", blamed());
    for (const char *text : {"12", "1234", "123456", "1234567", "123456789", "", "12G", "0x123"})
        row(qPrintable(QStringLiteral("no identifier: \"%1\"").arg(QLatin1String(text))),
            QByteArray("(1.000000) can0 ") + text + "#11", lost());
    row("five digits without the fields of CAN XL", "(1.000000) can0 12345#11", lost());
}

void TestCandump::payloads_data()
{
    addLogColumns();
    const auto payload = [](const char *name, const QByteArray &text, const LogFrame &expected) {
        LogFrame there = expected;
        row(name, "(1.000000) can0 123" + text, there.at(1, 0).on("can0", 1));
    };
    payload("one byte", "#00", frame(0x123, "00"));
    payload("eight bytes", "#0011223344556677", frame(0x123, "0011223344556677"));
    payload("dots between some bytes", "#0011.2233", frame(0x123, "00112233"));
    payload("upper and lower case", "#aBCd", frame(0x123, "ABCD"));
    payload("received", "#11 R", frame(0x123, "11").rx());
    payload("sent, without data", "# T", frame(0x123).tx());
    payload("remote, sent", "#R3 T", frame(0x123).remote(3).tx());
    payload("remote of length 0", "#R0", frame(0x123).remote(0));
    payload("remote of length 8", "#R8", frame(0x123).remote(8));
    payload("remote in lower case, with length", "#r4", frame(0x123).remote(4));
    payload("raw length code 9", "#0011223344556677_9", frame(0x123, "0011223344556677"));
    payload("raw length code F, received", "#0011223344556677_F R", frame(0x123, "0011223344556677").rx());
    payload("raw length code in lower case", "#0011223344556677_a", frame(0x123, "0011223344556677"));
    payload("FD without flags and data", "##0", frame(0x123).fd());
    payload("FD flag 1", "##111", frame(0x123, "11").fd().brs());
    payload("FD flag 2", "##211", frame(0x123, "11").fd().esi());
    payload("FD flags 3", "##311", frame(0x123, "11").fd().brs().esi());
    payload("FD flag 4 says FD once more", "##411", frame(0x123, "11").fd());
    payload("FD flags 5", "##511", frame(0x123, "11").fd().brs());
    payload("FD flags 6", "##611", frame(0x123, "11").fd().esi());
    payload("FD flags 7", "##711", frame(0x123, "11").fd().brs().esi());
    payload("FD flags are one hexadecimal digit: A", "##A11", frame(0x123, "11").fd().esi());
    payload("FD flags are one hexadecimal digit: d", "##d11", frame(0x123, "11").fd().brs());
    payload("FD flags F", "##F11", frame(0x123, "11").fd().brs().esi());
    payload("FD of eight bytes", "##00011223344556677", frame(0x123, "0011223344556677").fd());
    payload("FD of 13 bytes, which no bus carries", "##0" + countedPayload(13), frame(0x123, countedPayload(13)).fd());
    payload("FD of 64 bytes", "##1" + countedPayload(64), frame(0x123, countedPayload(64)).fd().brs());
    payload("FD with dots, received", "##000.11 R", frame(0x123, "0011").fd().rx());
}

void TestCandump::errorFrames_data()
{
    addLogColumns();
    const auto error = [](const char *name, const char *id, const char *payload, const char *note) {
        row(name, QByteArray("(1.000000) can0 ") + id + '#' + payload,
            errorFrame(payload).at(1, 0).on("can0", 1).note(note));
    };
    error("sending timed out", "20000001", "0000000000000000", "time.?out");
    error("arbitration lost", "20000002", "0000000000000000", "arbitration");
    error("controller", "20000004", "0000000000000000", "controller");
    error("protocol", "20000008", "0000000000000000", "protocol");
    error("transceiver", "20000010", "0000000000000000", "transceiver");
    error("no acknowledgement", "20000020", "0000000000000000", "ack");
    error("bus off", "20000040", "0000000000000000", "bus.?off");
    error("bus error", "20000080", "0000000000000000", "bus.?error");
    error("restarted", "20000100", "0000000000000000", "restart");
    error("receive counter", "20000200", "0000000000006081", "129");
    error("send counter", "20000200", "0000000000006081", "96");
    error("first of two classes", "20000084", "0000000000000000", "controller");
    error("second of two classes", "20000084", "0000000000000000", "bus.?error");
    error("stuff error", "20000008", "0000040000000000", "stuff");
    error("sender passive", "20000004", "0020000000000000", "passive");
    row("no class at all is an error frame, too", "(1.000000) can0 20000000#0000000000000000",
        errorFrame("0000000000000000").at(1, 0).on("can0", 1).note("."));
}

void TestCandump::linesThatAreNoFrames_data()
{
    addLogColumns();
    row("empty line", "", notAFrame());
    row("blanks", "   ", notAFrame());
    row("comment with a frame in it", "# (1.000000) can0 123#11", notAFrame());
    row("interface down", "can0: interface down", notAFrame());
    row("empty lines first", "\n\n(1.000000) can0 123#11", {frame(0x123, "11").at(1, 0).on("can0", 1)});
    row("note before the first frame", "# recorded on the bench\n(1.000000) can0 123#11",
        {frame(0x123, "11").at(1, 0).on("can0", 1).note("recorded on the bench")});
    row("note on the frame before",
        "(1.000000) can0 123#11\n# here it stops\n(2.000000) can0 123#22\n(3.000000) can0 123#33",
        {frame(0x123, "11").at(1, 0).on("can0", 1).note("here it stops"), frame(0x123, "22").at(2, 0).on("can0", 1),
         frame(0x123, "33").at(3, 0).on("can0", 1)});
    row("note behind the last frame", "(1.000000) can0 123#11\n# the end",
        {frame(0x123, "11").at(1, 0).on("can0", 1).note("the end")});
    row("dropped frames are told",
        "(1.000000) can0 123#11\nDROPCOUNT: dropped 2 CAN frames on 'can0' socket (total drops 2)\n"
        "(2.000000) can0 123#22",
        {frame(0x123, "11").at(1, 0).on("can0", 1).note("dropped 2"), frame(0x123, "22").at(2, 0).on("can0", 1)});
    row("two comments", "(1.000000) can0 123#11\n# one\n# two",
        {frame(0x123, "11").at(1, 0).on("can0", 1).note("one").note("two")});
    row("comment beyond ASCII",
        "(1.000000) can0 123#11\n# Pr\xC3\xBC"
        "fstand",
        {frame(0x123, "11")
             .at(1, 0)
             .on("can0", 1)
             .note("Pr\xC3\xBC"
                   "fstand")});
    row("both forms in one file", "(1.000000) can0 123#11\n (2.000000)  can0  123   [1]  22",
        {frame(0x123, "11").at(1, 0).on("can0", 1), frame(0x123, "22").at(2, 0).on("can0", 1)});
}

void TestCandump::damagedLines_data()
{
    addLogColumns();
    row("blanks within the frame", "(1.000000) can0 123# 00 11", lost());
    row("no bracket before the time", "1.000000) can0 123#00", lost("time"));
    row("a letter before the bracket", "z(1.000000) can0 123#00", lost("time"));
    row("no bracket before the time on the screen", " 1.000000)  can0  123   [1]  00", lost("time"));
    row("letters among the bytes", "(1.000000) can0 123#0G", lost());
    row("letters behind the bytes", "(1.000000) can0 123#00zz", lost());
    row("nine bytes of a classic frame", "(1.000000) can0 123#001122334455667788", lost());
    row("65 bytes of an FD frame", "(1.000000) can0 123##0" + countedPayload(65), lost());
    row("half a byte of an FD frame", "(1.000000) can0 123##0001", lost());
    row("FD flags missing", "(1.000000) can0 123##", lost());
    row("dot at the end", "(1.000000) can0 123#00.", lost());
    row("no #", "(1.000000) can0 123", lost());
    row("no frame", "(1.000000) can0", lost());
    row("no bracket behind the time", "(1.000000 can0 123#11", lost());
    row("letters in the time", "(1.00000x) can0 123#11", lost());
    row("neither R nor T", "(1.000000) can0 123#11 X", blamed());
    row("the others are read", "(1.000000) can0 123#11\n(2.000000) can0 123#2\n(3.000000) can0 123#33",
        Outcome{frame(0x123, "11").at(1, 0).on("can0", 1), frame(0x123, "33").at(3, 0).on("can0", 1)}.losing({2}));
}

void TestCandump::screenForm_data()
{
    addLogColumns();
    row("without a time", "  can0  1C7   [3]  0F 1E 2D", frame(0x1C7, "0F1E2D").on("can0", 1));
    row("29 bits with ASCII column",
        " (1700000000.123456)  vcan0  18F00503   [8]  10 21 32 43 54 65 76 87   '.!2CTev.'",
        frame(0x18F00503, "1021324354657687").extended().at(1700000000, 123456).on("vcan0", 1));
    row("zero-based, no data", " (000.000250)  can1       1C7   [0] ", frame(0x1C7).at(0, 250).on("can1", 2));
    row("calendar time", " (2023-11-14 22:13:20.123456)  can0  1C7   [1]  0F",
        frame(0x1C7, "0F").at(1700000000, 123456).on("can0", 1));
    row("remote", " (1700000000.123456)  can0  1C7   [4]  remote request",
        frame(0x1C7).at(1700000000, 123456).on("can0", 1).remote(4));
    row("FD", " (1700000000.123456)  can0  1C7  [12]  A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB",
        frame(0x1C7, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().at(1700000000, 123456).on("can0", 1).brsUntold().esiUntold());
    row("two digits of a length are FD", " (1700000000.123456)  can0  1C7  [03]  0F 1E 2D",
        frame(0x1C7, "0F1E2D").fd().at(1700000000, 123456).on("can0", 1).brsUntold().esiUntold());
    row("received", " (1700000000.123456)  can0  RX - -  1C7   [2]  0F 1E",
        frame(0x1C7, "0F1E").at(1700000000, 123456).on("can0", 1).rx());
    row("sent, with both FD flags", " (1700000000.123456)  can0  TX B E  18F00503  [02]  0F 1E",
        frame(0x18F00503, "0F1E").extended().fd().brs().esi().at(1700000000, 123456).on("can0", 1).tx());
    row("error frame", " (1700000000.123456)  can0  20000004   [8]  00 08 00 00 00 00 00 00   ERRORFRAME",
        errorFrame("0008000000000000").at(1700000000, 123456).on("can0", 1).note("controller").note("warning"));
    row("text of an error", "\tcontroller-problem{tx-error-warning}", notAFrame());
    row("raw length code", " (1700000000.123456)  can0  1C7   {B}  10 21 32 43 54 65 76 87",
        frame(0x1C7, "1021324354657687").at(1700000000, 123456).on("can0", 1));
    row("bytes last first", " (1700000000.123456)  can0  1C7   [3]  2D`1E`0F",
        frame(0x1C7, "0F1E2D").at(1700000000, 123456).on("can0", 1));
    row("bits", " (1700000000.123456)  can0  1C7   [2]  00001111 00011110",
        frame(0x1C7, "0F1E").at(1700000000, 123456).on("can0", 1));
    row("CAN XL is not read, which is told", " (1700000000.123456)  can0  1C7 [0003] (45|81:E0:00000000) 0F 1E 2D",
        lost());
    row("ASCII column that looks like bytes", " (1700000000.123456)  can0  1C7   [2]  41 42   'AB'",
        frame(0x1C7, "4142").at(1700000000, 123456).on("can0", 1));
}

void TestCandump::screenOptions_data()
{
    addLogColumns();
    const auto screen = [](const char *name, const QByteArray &line, const LogFrame &expected) {
        LogFrame there = expected;
        row(name, line, there.at(1, 500000).on("can0", 1));
    };
    screen("indented identifier of 11 bits", " (001.500000)  can0       123   [1]  11", frame(0x123, "11"));
    screen("eight digits of a small identifier", " (001.500000)  can0  00000123   [1]  11",
           frame(0x123, "11").extended());
    screen("nanoseconds", " (001.500000400)  can0  123   [1]  11", frame(0x123, "11"));
    screen("eight bytes of FD", " (001.500000)  can0  123  [08]  00 11 22 33 44 55 66 77",
           frame(0x123, "0011223344556677").fd().brsUntold().esiUntold());
    screen("no bytes of FD", " (001.500000)  can0  123  [00] ", frame(0x123).fd().brsUntold().esiUntold());
    screen("64 bytes", " (001.500000)  can0  123  [64]  " + countedPayload(64, " "),
           frame(0x123, countedPayload(64)).fd().brsUntold().esiUntold());
    screen("bit rate switch alone", " (001.500000)  can0  RX B -  123  [01]  11", frame(0x123, "11").fd().brs().rx());
    screen("error state alone", " (001.500000)  can0  RX - E  123  [01]  11", frame(0x123, "11").fd().esi().rx());
    screen("FD without its flags", " (001.500000)  can0  TX - -  123  [01]  11", frame(0x123, "11").fd().tx());
    screen("sent, remote", " (001.500000)  can0  TX - -  123   [2]  remote request", frame(0x123).remote(2).tx());
    screen("remote of length 0", " (001.500000)  can0  123   [0]  remote request", frame(0x123).remote(0));
    screen("text with blanks, quotes and bytes", " (001.500000)  can0  123   [8]  27 20 30 31 20 46 46 27   '' 01 FF''",
           frame(0x123, "2720303120464627"));
    screen("text with a hash and brackets", " (001.500000)  can0  123   [4]  23 5B 31 5D   '#[1]'",
           frame(0x123, "235B315D"));
    screen("last byte first, with text", " (001.500000)  can0  123   [3]  43`42`41   `CBA`", frame(0x123, "414243"));
    screen("last byte first, one byte", " (001.500000)  can0  123   [1]  41", frame(0x123, "41"));
    screen("one byte as bits", " (001.500000)  can0  123   [1]  00010001", frame(0x123, "11"));
    screen("raw length code F", " (001.500000)  can0  123   {F}  00 11 22 33 44 55 66 77",
           frame(0x123, "0011223344556677"));
    screen("colours before the interface", " (001.500000)  \x1b[1m\x1b[31mcan0\x1b[0m  123   [1]  11",
           frame(0x123, "11"));
    screen("colours of the whole line", "\x1b[1m\x1b[34m (001.500000)  can0  123   [1]  11\x1b[0m", frame(0x123, "11"));
    screen("animation characters", "|\b (001.500000)  can0  123   [1]  11", frame(0x123, "11"));
    screen("single blanks", "(001.500000) can0 7A8 [8] 11 22 33 44 55 66 77 88", frame(0x7A8, "1122334455667788"));
    row("two buses without times", "  can0  123   [1]  11\n  can1  123   [1]  22",
        {frame(0x123, "11").on("can0", 1), frame(0x123, "22").on("can1", 2)});
    row("differences of times are added up",
        " (000.000000)  can0  123   [1]  11\n (000.100000)  can0  123   [1]  22\n"
        " (000.050000)  can0  123   [1]  33\n (000.200000)  can0  123   [1]  44",
        {frame(0x123, "11").on("can0", 1), frame(0x123, "22").at(0, 100000).on("can0", 1),
         frame(0x123, "33").at(0, 150000).on("can0", 1), frame(0x123, "44").at(0, 350000).on("can0", 1)});
    row("epoch times that fall are no differences",
        " (1700000005.000000)  can0  123   [1]  11\n (1700000003.000000)  can0  123   [1]  22",
        {frame(0x123, "11").at(1700000005, 0).on("can0", 1), frame(0x123, "22").at(1700000003, 0).on("can0", 1)});
    row("error text leaves the frames alone",
        " (1.000000)  can0  20000004   [8]  00 08 00 00 00 00 00 00   ERRORFRAME\n"
        "\tcontroller-problem{tx-error-warning}\n (2.000000)  can0  123   [1]  11",
        {errorFrame("0008000000000000").at(1, 0).on("can0", 1).note("warning"),
         frame(0x123, "11").at(2, 0).on("can0", 1)});
    row("rows of an old candump",
        "interface = can0, family = 29, type = 3, proto = 1\n<0x18f00503> [3] 0c 1d 2e\n<0x123> [0]",
        {frame(0x18F00503, "0C1D2E").extended().on("can0", 1), frame(0x123).on("can0", 1)});
}

void TestCandump::damagedScreenLines_data()
{
    addLogColumns();
    row("a byte is missing", " (1.000000)  can0  123   [3]  11 22", lost("byte"));
    row("all bytes are missing", " (1.000000)  can0  123   [3]", lost("byte"));
    row("half a byte", " (1.000000)  can0  123   [2]  11 2", lost());
    row("no length", " (1.000000)  can0  123   []  11 22", lost());
    row("no length in the bracket", " (1.000000)  can0  123   [x]  11 22", lost());
    row("65 bytes", " (1.000000)  can0  123  [65]  " + countedPayload(65, " "), lost());
    row("nine bytes of a classic frame", " (1.000000)  can0  123   [9]  00 11 22 33 44 55 66 77 88", lost());
}

void TestCandump::lineCutAnywhereIsNoOtherFrame_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("log-file form") << QByteArray("(1.500000) can0 18F00503#1122334455667788");
    QTest::newRow("FD") << QByteArray("(1.500000) can0 18F00503##11122334455667788");
    QTest::newRow("screen form") << QByteArray(" (1.500000)  can0  18F00503   [8]  11 22 33 44 55 66 77 88");
}

/// Of a cut line nothing can be read but its first bytes, and that in the log-file form only.
void TestCandump::lineCutAnywhereIsNoOtherFrame()
{
    QFETCH(QByteArray, line);
    const PulledLog whole = pullLog(DatachunkHelper::Candump, line);
    QCOMPARE(whole.frames.size(), 1);
    const CAN::CanRxMessage expected = whole.frames.first().frame;
    QCOMPARE(int(expected.dlc), 8);
    for (int size = 1; size < line.size(); ++size) {
        if (line.mid(size - 1, 2) == "##") // a classic frame without data, as far as it goes
            continue;
        const PulledLog cut = pullLog(DatachunkHelper::Candump, line.left(size));
        QCOMPARE(cut.report.lines, qint64(1));
        QVERIFY2(cut.frames.size() <= 1, line.left(size));
        if (line.left(size).endsWith('#') && line.contains("##"))
            continue; // one mark is a classic frame without data, and nothing tells that it was to be two
        for (const Pulled &pulled : cut.frames) {
            CAN::CanRxMessage begun = expected;
            begun.dlc = pulled.frame.dlc;
            QVERIFY2(begun.dlc < 8 && line.contains('#'), line.left(size));
            std::fill(begun.data + begun.dlc, std::end(begun.data), quint8(0));
            QCOMPARE(pulled.frame, begun);
        }
    }
}

/// The log does not name a zone, so it is the one of who reads it.
void TestCandump::localTimes()
{
    qputenv("TZ", "TEST-1"); // one hour east
    const PulledLog log = pullLog(DatachunkHelper::Candump, " (2023-11-14 23:13:20.123456)  can0  1C7   [1]  0F\n");
    qputenv("TZ", "UTC0");
    QCOMPARE(differenceOf(log, {frame(0x1C7, "0F").at(1700000000, 123456).on("can0", 1)}), QString());
}

void TestCandump::timeBase_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("onCalendar");
    QTest::newRow("epoch") << QByteArray("(1700000000.123456) can0 1C7#0F") << true;
    QTest::newRow("zero-based") << QByteArray("(000.100000) can0 1C7#0F") << false;
    QTest::newRow("zero-based by a converter") << QByteArray("(0000000004.250000) can0 1C7#0F") << false;
    QTest::newRow("epoch on the screen") << QByteArray(" (1700000000.123456)  can0  1C7   [1]  0F") << true;
    QTest::newRow("calendar") << QByteArray(" (2023-11-14 22:13:20.123456)  can0  1C7   [1]  0F") << true;
    QTest::newRow("no time") << QByteArray("  can0  1C7   [1]  0F") << false;
}

void TestCandump::timeBase()
{
    QFETCH(QByteArray, line);
    QFETCH(bool, onCalendar);
    const PulledLog log = pullLog(DatachunkHelper::Candump, line + '\n');
    QCOMPARE(log.frames.size(), 1);
    QCOMPARE(log.info.timeBase == TimeBase::UnixEpoch, onCalendar);
}

void TestCandump::samples_data()
{
    addLogColumns();
    const auto sample = [](const char *name, const Outcome &outcome) { row(name, sampleLines(name), outcome); };
    sample("candump/directions.log",
           {frame(0x1C7, "0F1E2D").at(1700000000, 123456).on("can0", 1).rx(),
            frame(0x18F00503, "1021324354657687").extended().at(1700000000, 300000).on("can1", 2).tx(),
            frame(0x1C7, "0F").extended().at(1700000000, 400000).on("can0", 1).rx()});
    sample("candump/fd-and-remote-frames.log",
           {frame(0x1C7).at(1700000000, 500000).on("can0", 1).remote(),
            frame(0x1C7).at(1700000000, 600000).on("slcan0", 2).remote(5),
            frame(0x1C7, "0F1E2D").at(1700000001, 0).on("can0", 1).fd(),
            frame(0x1C7, "A0A1A2A3A4A5A6A7A8A9AAAB").at(1700000001, 100000).on("can0", 1).fd().brs(),
            frame(0x1C7).extended().at(1700000001, 200000).on("can2", 3).fd().brs().esi()});
    sample(
        "candump/error-frames.log",
        {frame(0x0C7).at(1700000001, 0).on("can0", 1).note("recorded on the bench"),
         errorFrame("0000000000000000").at(1700000001, 300000).on("can0", 1).note("bus.?error"),
         errorFrame("0008000000000000").at(1700000001, 400000).on("can0", 1).rx().note("controller").note("dropped 2"),
         frame(0x0C7, "11").at(1700000001, 500000).on("can0", 1)});
    sample("candump/screen-with-all-options.log",
           {frame(0x1C7, "0F1E").at(1700000000, 123456).on("can0", 1).rx(),
            frame(0x18F00503, "0F1E").extended().at(1700000000, 123556).on("can0", 1).fd().brs().esi().tx(),
            errorFrame("0008000000000000").at(1700000000, 123656).on("can0", 1).rx().note("controller"),
            frame(0x1C7).at(1700000000, 123756).on("can0", 1).rx().remote(4),
            frame(0x1C7, "4142").at(1700000000, 123856).on("can0", 1).rx()});
    sample("candump/screen-without-times.log",
           {frame(0x1C7, "0F1E2D").on("can0", 1), frame(0x18F00503).extended().on("vcan0", 2),
            frame(0x1C7, "0F1E2D").on("can0", 1).fd().brsUntold().esiUntold()});
    sample("candump/zero-based-times.log",
           {frame(0x1C7, "0F").at(0, 0).on("can0", 1), frame(0x1C7, "1E").at(8, 100000).on("can0", 1),
            frame(0x1C7, "2D").at(10, 500000).on("can0", 1)});
}

QTEST_GUILESS_MAIN(TestCandump)
#include "tst_candump.moc"
