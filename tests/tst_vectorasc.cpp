// SPDX-License-Identifier: Apache-2.0
#include "logrows.h"

#include <QDateTime>
#include <QtTest>

namespace
{

const QByteArray date("date Mon Jan 2 03:04:05.678 2023\n");
const QByteArray hexadecimal = date + "base hex  timestamps absolute\n";
const QByteArray decimal = date + "base dec  timestamps absolute\n";
const QByteArray relative = date + "base hex  timestamps relative\n";
/// The rest of the fields behind the data of a CAN FD line, after duration, bits and flags.
const QByteArray tail(" c0011223 46500250 4b140250 20011736 2001040d");

QDateTime local(int year, int month, int day, int hour, int minute, int second, int millisecond = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, millisecond));
}

} // namespace

/// The reader of ASC logs, of all dialects.
class TestVectorAsc : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lines_data();
    void lines() { checkRow(DatachunkHelper::VectorAsc); }
    void headers_data();
    void headers() { checkRow(DatachunkHelper::VectorAsc); }
    void times_data();
    void times() { checkRow(DatachunkHelper::VectorAsc); }
    void classicFrames_data();
    void classicFrames() { checkRow(DatachunkHelper::VectorAsc); }
    void symbolicNames_data();
    void symbolicNames() { checkRow(DatachunkHelper::VectorAsc); }
    void fdFrames_data();
    void fdFrames() { checkRow(DatachunkHelper::VectorAsc); }
    void errorFrames_data();
    void errorFrames() { checkRow(DatachunkHelper::VectorAsc); }
    void events_data();
    void events();
    void linesThatAreNoFrames_data();
    void linesThatAreNoFrames() { checkRow(DatachunkHelper::VectorAsc); }
    void relativeTimesThatComeToTooMuch();
    void damagedLines_data();
    void damagedLines() { checkRow(DatachunkHelper::VectorAsc); }
    void startDates_data();
    void startDates();
    void startOfTriggerBlock_data();
    void startOfTriggerBlock();
    void whatTheHeaderSays();
    void offsetsThatAreCalledRelative();
    void samples_data();
    void samples() { checkRow(DatachunkHelper::VectorAsc); }
};

void TestVectorAsc::lines_data()
{
    addLogColumns();
    const auto line = [](const char *name, const QByteArray &text, const Outcome &outcome) {
        row(name, hexadecimal, text, outcome);
    };
    line("no last column", "   0.250100 1  1A4             Rx   d 3 0C 1D 2E",
         frame(0x1A4, "0C1D2E").at(0, 250100).channel(1).rx());
    line("extended, sent, with duration and bit count",
         "   0.250200 2  18F00503x       Tx   d 8 10 21 32 43 54 65 76 87  Length = 260010 BitCount = 134 "
         "ID = 418383107x",
         frame(0x18F00503, "1021324354657687").extended().at(0, 250200).channel(2).tx());
    line("length code C is eight bytes",
         "   0.250300 1  2B7             Rx   d C 01 02 03 04 05 06 07 08  Length = 232000 BitCount = 119 ID = 695",
         frame(0x2B7, "0102030405060708").at(0, 250300).channel(1).rx());
    line("no data", "   0.250400 1  6E0             Rx   d 0", frame(0x6E0).at(0, 250400).channel(1).rx());
    line("remote", "   0.250500 1  2C1             Rx   r", frame(0x2C1).at(0, 250500).channel(1).rx().remote());
    line("remote with the tail only", "   0.250600 1  2C1             Tx   r Length = 94000 BitCount = 47 ID = 705",
         frame(0x2C1).at(0, 250600).channel(1).tx().remote());
    line("remote with length and tail",
         "   0.250700 1  3D2x            Rx   r 6 Length = 134000 BitCount = 67 ID = 978x",
         frame(0x3D2).extended().at(0, 250700).channel(1).rx().remote(6));
    line("request to send is sent", "   0.250800 1  1B0             TxRq d 2 5A A5",
         frame(0x1B0, "5AA5").at(0, 250800).channel(1).tx());
    line("symbolic name", "   0.250900 1  GearboxStat     Rx   d 2 5A A5  Length = 0 BitCount = 0 ID = 432",
         frame(0x1B0, "5AA5").at(0, 250900).channel(1).rx().note(""));
    line("error frame", "   0.251000 2  ErrorFrame", errorFrame().at(0, 251000).channel(2).note(""));
    line("error frame with its fields",
         "   0.251100 2  ErrorFrame\tFlags = 0x6\tCodeExt = 0x20a1\tCode = 0x81\tID = 0\tDLC = 0\tPosition = 7\t"
         "Length = 12000",
         errorFrame().at(0, 251100).channel(2).note("."));
    line("overload frame", "   0.251200 1  OverloadFrame", notAFrame());
    line("FD with bit rate switch",
         "   0.251300 CANFD   1 Rx        2f1                                   1 0 9 12 a0 a1 a2 a3 a4 a5 a6 a7 a8 a9 "
         "aa ab   101000  131   303000 c0011223 46500250 4b140250 20011736 2001040d",
         frame(0x2F1, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().brs().at(0, 251300).channel(1).rx());
    line("FD with a symbolic name",
         "   0.251400 CANFD   2 Tx   1A2B3C4Dx  Susp_07                          0 1 8  8 01 23 45 67 89 ab cd ef   "
         "101000  131   205040 c0011223 46500250 4b140250 20011736 2001040d",
         frame(0x1A2B3C4D, "0123456789ABCDEF").extended().fd().esi().at(0, 251400).channel(2).tx().note(""));
    line("classic frame in a CANFD line",
         "   0.251500 CANFD   1 Rx        134                                   0 0 4  4 de ad be ef   180000   92   "
         "200000     51c2 46500250 460a0250 20011736 20010205",
         frame(0x134, "DEADBEEF").at(0, 251500).channel(1).rx());
    line("remote frame in a CANFD line",
         "   0.251600 CANFD   3 Tx      40007x                                  0 0 5  0   120000   71   200050     "
         "6b31 46500250 460a0250 20011736 20010205",
         frame(0x40007).extended().at(0, 251600).channel(3).tx().remote(5));
    line("FD without data is not remote",
         "   0.251700 CANFD   1 Rx        356                                   1 0 0  0    90000   80   303000 "
         "c0011223 46500250 4b140250 20011736 2001040d",
         frame(0x356).fd().brs().at(0, 251700).channel(1).rx());
    line("FD without a tail", "   0.251800 CANFD   1 Rx        2f2 0 0 3 3 07 08 09",
         frame(0x2F2, "070809").fd().at(0, 251800).channel(1).rx());
    line("error frame of CAN FD",
         "   0.251900 CANFD   4 Rx   ErrorFrame Form Error                                       fffe 81     20a9 Data "
         "88        c4  1 0 2  2 11 22    70100       1b 98000000 46500250 4b280150 20011736 2000091c",
         errorFrame().fd().at(0, 251900).channel(4).rx().note("form error"));
    line("FD in a CANXL line",
         "   0.252000 CANXL   2 Rx   FEFF   201000   331  1ABCDE0x                                   9 12 00 01 02 03 "
         "04 "
         "05 06 07 08 09 0a 0b 8 0a1b2c 00003000 00000000 000000050005000e",
         frame(0x1ABCDE0, "000102030405060708090A0B").extended().fd().brs().at(0, 252000).channel(2).rx());
    row("decimal", decimal,
        "   0.252100 5  416940273x      Rx   d 3 200  24   9  Length = 150000 BitCount = 78 ID = 416940273x",
        frame(0x18DA00F1, "C81809").extended().at(0, 252100).channel(5).rx());
    row("CANFD lines are hexadecimal in a decimal log", decimal,
        "   0.252200 CANFD   2 Rx        102  Axle_1                          1 0 2  2 20 40    98000  129   303000 "
        "c0011223 50a00150 46280150 20001f7e 20000b1a",
        frame(0x102, "2040").fd().brs().at(0, 252200).channel(2).rx().note(""));
    line("chip status", "   0.252300 CAN 1 Status:chip status error passive - TxErr: 130 RxErr: 2", notAFrame());
    line("statistics", "   0.252400 1  Statistic: D 9 R 0 XD 2 XR 0 E 1 O 0 B 3.10%", notAFrame());
    line("J1939 message of several frames",
         "   0.252500 1  J1939TP FECAp        6    0  0   -   Rx   d 10 01 FF 00 00 00 00 FF FF FF FF", notAFrame());
    line("start of logging", "   0.252600 log direct start (500ms)", notAFrame());
    line("system variable", "   0.252700 SV: 2 0 1 ::Demo::Speed = 12", notAFrame());
    line("test step", "   0.252800 TFS: [3,7] pass Check done", notAFrame());
    line("length code 9 is eight bytes, whatever follows",
         "   0.252900 1  1B0             Rx   d 9 01 02 03 04 05 06 07 08 09",
         frame(0x1B0, "0102030405060708").at(0, 252900).channel(1).rx());
    line("identifier above 7FF without x is extended", "   0.253000 1  1800            Rx   d 1 01",
         frame(0x1800, "01").extended().at(0, 253000).channel(1).rx());
    line("remote without a direction",
         "   0.253100 1        1b0             --  r  4  Length = 0 BitCount = 0 ID = 432",
         frame(0x1B0).at(0, 253100).channel(1).remote(4));
    line("upper-case D, five digits of a second", "   0.25320 3  1B0             Rx   D 2  0A  0B",
         frame(0x1B0, "0A0B").at(0, 253200).channel(3).rx());
    line("nine digits of a second", "   0.253312345 1  1B0          Rx   d 1 7E",
         frame(0x1B0, "7E").at(0, 253312).channel(1).rx());
}

/// One frame behind every head that a log may have.
void TestVectorAsc::headers_data()
{
    addLogColumns();
    const auto head = [](const char *name, const QByteArray &header, const LogFrame &expected) {
        row(name, header, "   1.500000 1  100             Rx   d 2 10 20", expected);
    };
    const LogFrame hex = frame(0x100, "1020").at(1, 500000).channel(1).rx();
    const LogFrame dec = frame(100, "0A14").at(1, 500000).channel(1).rx();
    LogFrame noted = hex;
    noted.note("");

    head("none", "", hex);
    head("base and time mode", "base hex  timestamps absolute\n", hex);
    head("one blank", "base hex timestamps absolute\n", hex);
    head("no time mode", "base hex\n", hex);
    head("decimal", "base dec  timestamps absolute\n", dec);
    head("upper case", "DATE MON JAN 2 03:04:05.678 2023\nBASE HEX  TIMESTAMPS ABSOLUTE\n", hex);
    head("upper case, decimal", "Base Dec  Timestamps Absolute\n", dec);
    head("base after date", date + "base dec\n", dec);
    head("base before date", "base dec  timestamps absolute\n" + date, dec);
    head("no internal events on the same line", "base hex  no internal events logged\n", hex);
    head("decimal, no internal events on the same line", "base dec  no internal events logged\n", dec);
    head("internal events", hexadecimal + "internal events logged\n", hex);
    head("no internal events", hexadecimal + "no internal events logged\n", hex);
    head("no internal event logging", hexadecimal + "no internal event logging\n", hex);
    head("version", hexadecimal + "internal events logged\n// version 13.0.0\n", noted);
    head("byte-order mark", "\xEF\xBB\xBF" + hexadecimal, hex);
    head("byte-order mark before a decimal base", "\xEF\xBB\xBF" + QByteArray("base dec  timestamps absolute\n"), dec);
    head("empty lines", "\n\n" + hexadecimal + "\n", hex);
    head("trigger block with date",
         hexadecimal + "internal events logged\nBegin Triggerblock Mon Jan 2 03:04:05.678 2023\n", noted);
    head("trigger block without date", hexadecimal + "Begin Triggerblock\n", noted);
    head("trigger block with large letters", hexadecimal + "Begin TriggerBlock\n", noted);
    head("start of measurement", hexadecimal + "   0.000000 Start of measurement\n", noted);
    head("measurement without a trigger block",
         hexadecimal + "// Measurement UUID: 00000000-1111-2222-3333-444444444444\n", noted);
    head("names of buses", hexadecimal + "//BusMapping: CAN 1 = Chassis\n", noted);
    head("channels", hexadecimal + "// CAN channel: 1 2\n", noted);
    head("log that goes on from another", hexadecimal + "//1.125000 previous log file: part1.asc\n", noted);
    head("unknown month", "date Mon Foo 2 03:04:05.678 2023\nbase hex  timestamps absolute\n", hex);
    head("no date behind the word", "date\nbase hex  timestamps absolute\n", hex);

    row("several trigger blocks", hexadecimal,
        "Begin Triggerblock\n   1.000000 1  100             Rx   d 1 11\nEnd TriggerBlock\n"
        "Begin Triggerblock\n   2.000000 1  100             Rx   d 1 22\nEnd TriggerBlock",
        {frame(0x100, "11").at(1, 0).channel(1).rx().note(""), frame(0x100, "22").at(2, 0).channel(1).rx().note("")});
}

void TestVectorAsc::times_data()
{
    addLogColumns();
    const auto time = [](const char *text, qint32 seconds, qint32 microseconds) {
        row(text, hexadecimal, QByteArray("  ") + text + " 1  123             Rx   d 1 11",
            frame(0x123, "11").at(seconds, microseconds).channel(1).rx());
    };
    time("0.0000", 0, 0);
    time("3", 3, 0);
    time("3.5", 3, 500000);
    time("12.2501", 12, 250100);
    time("12.25010", 12, 250100);
    time("12.250101", 12, 250101);
    time("12.2501014", 12, 250101);
    time("12.2501015", 12, 250102);
    time("12.999999999", 13, 0);
    time("44815.360000", 44815, 360000);
    time("0010.000008", 10, 8);

    const auto sum = [](const char *name, const QByteArray &between, const char *note, qint32 seconds,
                        qint32 microseconds) {
        LogFrame first = frame(0x123, "11").at(1, 0).channel(1).rx();
        if (*note != 0)
            first.note(note);
        row(name, relative,
            "   1.000000 1  123             Rx   d 1 11\n" + between + "   0.500000 1  123             Rx   d 1 22",
            {first, frame(0x123, "22").at(seconds, microseconds).channel(1).rx()});
    };
    sum("relative times are added up", "", "", 1, 500000);
    sum("statistics have a share", "   0.250000 1  Statistic: D 9 R 0 XD 2 XR 0 E 1 O 0 B 3.10%\n", "3.10", 1, 750000);
    sum("chip states have a share", "   0.250000 CAN 1 Status:chip status error active\n", "error active", 1, 750000);
    sum("system variables have a share", "   0.250000 SV: 2 0 1 ::Demo::Speed = 12\n", "Speed", 1, 750000);
    sum("trigger events have a share", "   0.250000 log direct start (500ms)\n", "direct start", 1, 750000);
    sum("comments have none", "// 5.000000 1  123\n", "5.000000", 1, 500000);
    row("error frames have a share", relative,
        "   1.000000 1  123             Rx   d 1 11\n   0.250000 1  ErrorFrame\n"
        "   0.500000 1  123             Rx   d 1 22",
        {frame(0x123, "11").at(1, 0).channel(1).rx(), errorFrame().at(1, 250000).channel(1).note(""),
         frame(0x123, "22").at(1, 750000).channel(1).rx()});
    row("events before the first frame have a share", relative,
        "   0.250000 CAN 1 Status:chip status error active\n   0.500000 1  123             Rx   d 1 22",
        {frame(0x123, "22").at(0, 750000).channel(1).rx().note("error active")});
    row("shares below a microsecond are not lost", relative,
        "   0.000000400 1  123  Rx   d 1 11\n   0.000000400 1  123  Rx   d 1 22\n"
        "   0.000000400 1  123  Rx   d 1 33\n   0.000000100 1  123  Rx   d 1 44\n"
        "   0.000000700 1  123  Rx   d 1 55",
        {frame(0x123, "11").channel(1).rx(), frame(0x123, "22").at(0, 1).channel(1).rx(),
         frame(0x123, "33").at(0, 1).channel(1).rx(), frame(0x123, "44").at(0, 1).channel(1).rx(),
         frame(0x123, "55").at(0, 2).channel(1).rx()});
    row("CAN FD lines are added up, too", relative,
        "   1.000000 CANFD   1 Rx        123  0 0 1  1 11\n   0.500000 CANFD   1 Rx        123  0 0 1  1 22",
        {frame(0x123, "11").fd().at(1, 0).channel(1).rx(), frame(0x123, "22").fd().at(1, 500000).channel(1).rx()});
    row("absolute times may fall", hexadecimal,
        "   2.000000 1  123             Rx   d 1 11\n   1.000000 1  123             Rx   d 1 22",
        {frame(0x123, "11").at(2, 0).channel(1).rx(), frame(0x123, "22").at(1, 0).channel(1).rx()});
}

void TestVectorAsc::classicFrames_data()
{
    addLogColumns();
    const auto hex = [](const char *name, const QByteArray &text, const LogFrame &expected) {
        LogFrame there = expected;
        row(name, hexadecimal, "   1.500000 " + text, there.at(1, 500000));
    };
    const auto dec = [](const char *name, const QByteArray &text, const LogFrame &expected) {
        LogFrame there = expected;
        row(name, decimal, "   1.500000 " + text, there.at(1, 500000));
    };
    hex("channel of two digits", "19  123             Rx   d 1 11", frame(0x123, "11").channel(19).rx());
    hex("channel of three digits", "255  123             Rx   d 1 11", frame(0x123, "11").channel(255).rx());
    hex("single blanks", "1 123 Rx d 1 11", frame(0x123, "11").channel(1).rx());
    hex("tabs", "1\t123\tRx\td\t1\t11", frame(0x123, "11").channel(1).rx());
    hex("blanks behind the data", "1  123             Rx   d 1 11   ", frame(0x123, "11").channel(1).rx());
    hex("zeros before the identifier", "1  00000123             Rx   d 1 11", frame(0x123, "11").channel(1).rx());
    hex("small extended identifier", "1  123x            Rx   d 1 11", frame(0x123, "11").extended().channel(1).rx());
    hex("upper-case X", "1  123X            Rx   d 1 11", frame(0x123, "11").extended().channel(1).rx());
    hex("lower-case identifier and data", "1  1ab             Rx   d 2 cd ef", frame(0x1AB, "CDEF").channel(1).rx());
    hex("largest identifiers", "1  1FFFFFFFx       Rx   d 0", frame(0x1FFFFFFF).extended().channel(1).rx());
    hex("upper-case direction", "1  123             RX   d 1 11", frame(0x123, "11").channel(1).rx());
    hex("lower-case direction", "1  123             tx   d 1 11", frame(0x123, "11").channel(1).tx());
    hex("upper-case R", "1  123             Rx   R 3", frame(0x123).channel(1).rx().remote(3));
    hex("bytes of one digit", "1  123             Rx   d 2 1 A", frame(0x123, "010A").channel(1).rx());
    hex("several blanks between bytes", "1  123             Rx   d 2   01   0A", frame(0x123, "010A").channel(1).rx());
    hex("length code F", "1  123             Rx   d F 01 02 03 04 05 06 07 08",
        frame(0x123, "0102030405060708").channel(1).rx());
    hex("length code in lower case", "1  123             Rx   d a 01 02 03 04 05 06 07 08",
        frame(0x123, "0102030405060708").channel(1).rx());
    hex("overrun mark", "1  123             Rx   d # 2 01 02", frame(0x123, "0102").channel(1).rx().note(""));
    hex("comment behind the data", "1  123             Rx   d 2 01 02 // door opens",
        frame(0x123, "0102").channel(1).rx().note("door opens"));
    hex("tail of zeros", "1  123             Rx   d 1 11  Length = 0 BitCount = 0 ID = 291",
        frame(0x123, "11").channel(1).rx());
    hex("tail without an identifier", "1  123             Rx   d 1 11  Length = 232000 BitCount = 119",
        frame(0x123, "11").channel(1).rx());
    hex("tail without data", "1  123             Rx   d 0  Length = 94000 BitCount = 47 ID = 291",
        frame(0x123).channel(1).rx());
    hex("remote of length 0", "1  123             Rx   r 0", frame(0x123).channel(1).rx().remote(0));
    hex("remote with length code F", "1  123             Rx   r F", frame(0x123).channel(1).rx().remote(8));
    hex("remote, request to send", "1  123             TxRq r 2", frame(0x123).channel(1).tx().remote(2));
    dec("decimal identifier and data", "1  291             Rx   d 3   0  16 255",
        frame(0x123, "0010FF").channel(1).rx());
    dec("decimal with zeros that lead", "1  0291            Rx   d 2 010 008", frame(0x123, "0A08").channel(1).rx());
    dec("decimal, above 2047 without x", "1  2048            Rx   d 0", frame(2048).extended().channel(1).rx());
    dec("decimal, small and extended", "1  291x            Rx   d 0", frame(0x123).extended().channel(1).rx());
    dec("decimal, length code of one hexadecimal digit", "1  291             Rx   d C  1  2  3  4  5  6  7  8",
        frame(0x123, "0102030405060708").channel(1).rx());
    dec("decimal, length code of two decimal digits", "1  291             Rx   d 12  1  2  3  4  5  6  7  8",
        frame(0x123, "0102030405060708").channel(1).rx());
    dec("decimal, remote", "1  291             Rx   r 4", frame(0x123).channel(1).rx().remote(4));
}

void TestVectorAsc::symbolicNames_data()
{
    addLogColumns();
    const auto named = [](const char *name, const QByteArray &header, const QByteArray &text,
                          const LogFrame &expected) {
        LogFrame there = expected;
        row(name, header, "   1.500000 1  " + text, there.at(1, 500000).channel(1).rx().note(""));
    };
    named("extended identifier from the tail", hexadecimal,
          "EngineData  Rx   d 1 11  Length = 0 BitCount = 0 ID = 418383107x", frame(0x18F00503, "11").extended());
    named("the tail is decimal in a hexadecimal log", hexadecimal,
          "EngineData  Rx   d 1 11  Length = 0 BitCount = 0 ID = 100", frame(100, "11"));
    named("decimal log", decimal, "EngineData  Rx   d 1 17  Length = 0 BitCount = 0 ID = 100", frame(100, "11"));
    named("remote", hexadecimal, "EngineData  Rx   r Length = 0 BitCount = 0 ID = 100", frame(100).remote());
    named("name of hexadecimal letters", hexadecimal, "ABBA  Rx   d 1 11  Length = 0 BitCount = 0 ID = 432",
          frame(0x1B0, "11"));
    named("another name of hexadecimal letters", hexadecimal,
          "FACE  Rx   d 1 11  Length = 0 BitCount = 0 ID = 418383107x", frame(0x18F00503, "11").extended());
    row("no identifier in the tail", hexadecimal, "   1.500000 1  EngineData  Rx   d 1 11", lost());
    named("number above 7FF in the tail without x", hexadecimal,
          "EngineData  Rx   d 1 11  Length = 0 BitCount = 0 ID = 6144", frame(0x1800, "11").extended());
    named("number above 7FF without x that the tail repeats", hexadecimal,
          "1800  Rx   d 1 11  Length = 0 BitCount = 0 ID = 6144", frame(0x1800, "11").extended());
    row("a number stays when the tail disagrees", hexadecimal,
        "   1.500000 1  100  Rx   d 1 11  Length = 0 BitCount = 0 ID = 432",
        Outcome(frame(0x100, "11").at(1, 500000).channel(1).rx().note("")).blamedOrNot());
}

void TestVectorAsc::fdFrames_data()
{
    addLogColumns();
    const auto fd = [](const char *name, const QByteArray &text, const LogFrame &expected) {
        LogFrame there = expected;
        row(name, hexadecimal, "   1.500000 " + text, there.at(1, 500000));
    };
    fd("length in decimal, code in hexadecimal: 16",
       "CANFD   1 Rx        123  1 0 a 16 " + countedPayload(16, " ") + "   101000  131   303000" + tail,
       frame(0x123, countedPayload(16)).fd().brs().channel(1).rx());
    fd("length in decimal, code in hexadecimal: 32",
       "CANFD   1 Rx        123  1 0 d 32 " + countedPayload(32, " ") + "   101000  131   303000" + tail,
       frame(0x123, countedPayload(32)).fd().brs().channel(1).rx());
    fd("64 bytes", "CANFD   1 Rx        123  1 0 f 64 " + countedPayload(64, " ") + "   101000  131   303000" + tail,
       frame(0x123, countedPayload(64)).fd().brs().channel(1).rx());
    fd("64 bytes without a tail", "CANFD   1 Rx        123  1 0 f 64 " + countedPayload(64, " "),
       frame(0x123, countedPayload(64)).fd().brs().channel(1).rx());
    fd("both flags", "CANFD   1 Tx        123x 1 1 1  1 11",
       frame(0x123, "11").extended().fd().brs().esi().channel(1).tx());
    fd("upper case", "CANFD   1 RX        1AB  0 0 2  2 AB CD", frame(0x1AB, "ABCD").fd().channel(1).rx());
    fd("keyword in lower case", "canfd   1 Rx        123  0 0 1  1 11", frame(0x123, "11").fd().channel(1).rx());
    fd("channel of two digits", "CANFD  12 Rx        123  0 0 1  1 11", frame(0x123, "11").fd().channel(12).rx());
    fd("name without a tail", "CANFD   1 Rx        123  Axle_1  0 0 1  1 11",
       frame(0x123, "11").fd().channel(1).rx().note(""));
    fd("a dash for a name", "CANFD   1 Rx        123  -  1 0 1  1 11",
       frame(0x123, "11").fd().brs().channel(1).rx().note(""));
    fd("name that begins like a byte", "CANFD   1 Rx        123  1FD_2  0 1 1  1 11",
       frame(0x123, "11").fd().esi().channel(1).rx().note(""));
    fd("name of hexadecimal letters", "CANFD   1 Rx        123  ABBA  0 1 1  1 11",
       frame(0x123, "11").fd().esi().channel(1).rx().note(""));
    fd("name of more than 32 characters",
       "CANFD   1 Rx        123  AVeryLongNameOfAMessageThatIsNotCutAt32  1 0 1  1 11",
       frame(0x123, "11").fd().brs().channel(1).rx().note(""));
    fd("BRS makes it FD, whatever the flags say", "CANFD   1 Rx        123  1 0 1  1 11   101000  131   200000" + tail,
       frame(0x123, "11").fd().brs().channel(1).rx());
    fd("more than eight bytes make it FD, whatever the flags say",
       "CANFD   1 Rx        123  0 0 9 12 " + countedPayload(12, " ") + "   101000  131   200000" + tail,
       frame(0x123, countedPayload(12)).fd().channel(1).rx());
    fd("seven fields in the tail have no flags",
       "CANFD   1 Rx        123  0 0 1  1 11   101000  131   0 46500250 4b140250 20011736 2001040d",
       frame(0x123, "11").fd().channel(1).rx());
    fd("flags of FD without BRS", "CANFD   1 Rx        123  0 0 1  1 11   101000  131   1000" + tail,
       frame(0x123, "11").fd().channel(1).rx());
    fd("classic frame without data, sent", "CANFD   1 Tx        123  0 0 0  0   101000  131   200040" + tail,
       frame(0x123).channel(1).tx());
    fd("classic frame with a name", "CANFD   1 Rx        123  Axle_1  0 0 1  1 11   101000  131   200000" + tail,
       frame(0x123, "11").channel(1).rx().note(""));
    fd("CANXL line of a classic frame",
       "CANXL   1 Tx   CBFF   180000   92  123   2 2 11 22   51c2 00000040 00000000 46500250 460a0250",
       frame(0x123, "1122").channel(1).tx());
    fd("CANXL line of an extended classic frame",
       "CANXL   1 Rx   CEFF   180000   92  123x   2 2 11 22   51c2 00000000 00000000 46500250 460a0250",
       frame(0x123, "1122").extended().channel(1).rx());
    fd("CANXL line of an FD frame of 11 bits",
       "CANXL   1 Rx   FBFF   180000   92  123   2 2 11 22   8 51c2 00001000 00000000 46500250 460a0250",
       frame(0x123, "1122").fd().channel(1).rx());
    row("CAN XL is not read, which is told", hexadecimal,
        "   1.500000 CANXL   1 Rx   XLFF   180000   92  123   81 0 1 2 0 0 45 0 11 22   51c2 00400000 0 0", lost());
}

void TestVectorAsc::errorFrames_data()
{
    addLogColumns();
    const auto error = [](const char *name, const QByteArray &header, const QByteArray &text,
                          const LogFrame &expected) {
        LogFrame there = expected;
        row(name, header, "   1.500000 " + text, there.at(1, 500000));
    };
    error("binary error code", hexadecimal, "2  ErrorFrame\tECC: 10000001", errorFrame().channel(2).note("10000001"));
    error("blanks between the fields", hexadecimal,
          "2  ErrorFrame Flags = 0x6 CodeExt = 0x20a1 Code = 0x81 ID = 0 DLC = 0 Position = 7 Length = 12000",
          errorFrame().channel(2).note("."));
    error("decimal fields", decimal,
          "2  ErrorFrame\tFlags = 6\tCodeExt = 8353\tCode = 129\tID = 0\tDLC = 0\tPosition = 7\tLength = 12000",
          errorFrame().channel(2).note("."));
    error("lower case", hexadecimal, "2  errorframe", errorFrame().channel(2).note(""));
    error("channel of two digits", hexadecimal, "19  ErrorFrame", errorFrame().channel(19).note(""));
    error("error of a sent FD frame", hexadecimal,
          "CANFD 4 Tx ErrorFrame CRC error, passive flag fffe 84 20a4 Arb. 88 c4 0 0 2 2 11 22 70100 1b 98000000 "
          "46500250 4b280150 20011736 2000091c",
          errorFrame().fd().channel(4).tx().note("CRC error, passive flag"));
}

/// What the log says beside frames: a note on the frame before, on the first one when there is none before.
void TestVectorAsc::events_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("note");
    const auto event = [](const char *line, const char *note) {
        QTest::newRow(line) << QByteArray(line) << QString::fromUtf8(note);
    };
    event("   1.500000 1  Statistic: D 9 R 0 XD 2 XR 0 E 1 O 0 B 3.10%", "3\\.10");
    event("   1.500000 CAN 1 Status:chip status error active", "error active");
    event("   1.500000 CAN 1 Status:chip status warning level", "warning level");
    event("   1.500000 CAN 1 Status:chip status error passive - TxErr: 130 RxErr: 2", "error passive.*130");
    event("   1.500000 CAN 2 Status:chip status busoff", "bus.?off");
    event("   1.500000 CAN 1 Status:receive queue overrun", "overrun");
    event("   1.500000 1  OverloadFrame", "overload");
    event("   1.500000 log trigger event Info: brake", "trigger event.*brake");
    event("   1.500000 log direct start (500ms)", "direct start");
    event("   1.500000 TriggerEvent: brake", "brake");
    event("   1.500000 Log Trigger Event (type=0x1, active=0x00)", "trigger event");
    event("   1.500000 SV: 2 0 1 ::Demo::Speed = 12", "Speed = 12");
    event("   1.500000 EnvSpeed := 12", "EnvSpeed := 12");
    event("   1.500000 Comment: door opens", "door opens");
    event("   1.500000 TFS: [3,7] pass Check done", "pass Check done");
    event("   1.500000 CAN 1 Body::Door::Lock = 1", "Lock = 1");
    event("// door opens", "door opens");
    event("; door opens", "door opens");
}

void TestVectorAsc::events()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, note);
    const QByteArray first("   1.000000 1  123             Rx   d 1 11\n");
    const QByteArray second("   2.000000 1  123             Rx   d 1 22\n");
    LogFrame noted = frame(0x123, "11").at(1, 0).channel(1).rx().note(note.toUtf8());
    const LogFrame plainSecond = frame(0x123, "22").at(2, 0).channel(1).rx();
    const auto check = [&](const QByteArray &text, const QVector<LogFrame> &expected) {
        const PulledLog log = pullLog(DatachunkHelper::VectorAsc, hexadecimal + text);
        QCOMPARE(differenceOf(log, expected), QString());
        QCOMPARE(log.report.faultyLines, 0);
        QCOMPARE(log.report.otherLines, 3);
    };
    check(first + line + '\n' + second, {noted, plainSecond});
    check(first + line + '\n', {noted});
    check(line + '\n' + first, {noted});
}

void TestVectorAsc::linesThatAreNoFrames_data()
{
    addLogColumns();
    for (const char *text :
         {"   1.500000 GPS device: 1 La:48.0 Lo:9.0", "   1.500000 GMGroup: marker",
          "   1.500000 LIN 1 1A  Rx 8 00 01 02 03 04 05 06 07", "   1.500000 Li 1A Rx 8 00 01 02 03 04 05 06 07",
          "   1.500000 Fr RMSG 0 0 1 1 5 Rx 0 20 20", "   1.500000 ETH 1 Rx 60 0011223344556677",
          "   1.500000 MOST 1 Rx 00", "DateTime: 2023-01-02 03:04:05", "   1.500000 Start of measurement",
          "End TriggerBlock", "   1.500000 1  J1939TP FECAp 6 0 0 - Rx d 2 01 FF"})
        row(text, hexadecimal, text, notAFrame());
    row("neither Rx nor Tx", hexadecimal, "   1.500000 1  123             Mx   d 1 11", noFrame());
    row("data without a direction", hexadecimal, "   1.500000 1  123             --   d 1 11", noFrame());
    row("a table of numbers", QByteArray(), "ncols 4\nnrows 2\n1.0 2.0 3.0 4.0\n5.0 6.0 7.0 8.0", noFrame());
}

/// The sum of the times is none that a record has room for.
void TestVectorAsc::relativeTimesThatComeToTooMuch()
{
    QByteArray text = "base hex  timestamps relative\n0.5 1 123 Rx d 1 11\n0.25 1 123 Rx d 1 22\n";
    for (int i = 0; i < 10; ++i)
        text += "2147483000.0 1 123 Rx d 1 33\n";
    const PulledLog log = pullLog(DatachunkHelper::VectorAsc, text);
    QCOMPARE(log.frames.size(), 3); // one of the long times fits
    QCOMPARE(log.frames.at(2).frame.timeStamp, CanTimeStamp(2147483000, 750000));
    QCOMPARE(log.report.droppedLines, qint64(9));
}

void TestVectorAsc::damagedLines_data()
{
    addLogColumns();
    const auto damaged = [](const char *name, const QByteArray &text, const Outcome &outcome) {
        row(name, hexadecimal, "   1.500000 " + text, outcome);
    };
    damaged("no channel", "123             Rx   d 1 11", lost("channel"));
    damaged("a word more before the direction", "1  123   z         Rx   d 1 11", lost("channel"));
    damaged("CANFD cut short", "CAND    1 Rx        123  1 0 1 1 11", lost("CANFD"));
    damaged("a byte is missing", "1  123             Rx   d 3 11 22", lost("byte"));
    damaged("a byte is missing before the tail",
            "1  123             Rx   d 3 11 22  Length = 232000 BitCount = 119 ID = 291", lost("byte"));
    damaged("a byte is missing before a comment", "1  123             Rx   d 3 11 22 // 33", lost("byte"));
    damaged("no byte at all", "1  123             Rx   d 8", lost("byte"));
    damaged("seven bytes of a length code of 9", "1  123             Rx   d 9 01 02 03 04 05 06 07", lost("byte"));
    damaged("bytes of FD are missing", "CANFD   1 Rx        123  1 0 9 12 01 02 03", lost("byte"));
    damaged("a byte of letters", "1  123             Rx   d 2 11 zz", lost());
    damaged("a byte of three digits", "1  123             Rx   d 2 11 122", lost());
    damaged("a byte of FD of letters", "CANFD   1 Rx        123  1 0 2  2 11 zz", lost());
    damaged("65 bytes of FD", "CANFD   1 Rx        123  1 0 f 65 " + countedPayload(65, " "), lost());
    damaged("no length", "1  123             Rx   d", lost());
    damaged("length of letters", "1  123             Rx   d x 11", lost());
    damaged("neither data nor remote", "1  123             Rx   q 1 11", lost());
    damaged("nothing behind the direction", "1  123             Rx", lost());
    damaged("nothing behind the identifier of FD", "CANFD   1 Rx        123", lost());
    damaged("identifier of more than 29 bits", "1  20000000x       Rx   d 1 11", blamed());
    row("decimal byte above 255", decimal, "   1.500000 1  291             Rx   d 1 256", lost());
    row("decimal log with hexadecimal bytes", decimal, "   1.500000 1  291             Rx   d 1 FF", lost());
    row("the others are read", hexadecimal,
        "   1.000000 1  123             Rx   d 1 11\n   2.000000 1  123             Rx   d 2 22\n"
        "   3.000000 1  123             Rx   d 1 33",
        Outcome{frame(0x123, "11").at(1, 0).channel(1).rx(), frame(0x123, "33").at(3, 0).channel(1).rx()}.losing({2}));
}

void TestVectorAsc::startDates_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QDateTime>("start");
    const auto start = [](const char *text, const QDateTime &expected) {
        QTest::newRow(text) << QByteArray(text) << expected;
    };
    start("Mon Jan 2 03:04:05.678 2023", local(2023, 1, 2, 3, 4, 5, 678));
    start("Mon Jan 2 03:04:05 2023", local(2023, 1, 2, 3, 4, 5));
    start("Mon Jan 2 03:04:05.678 am 2023", local(2023, 1, 2, 3, 4, 5, 678));
    start("Mon Jan 2 09:08:07 PM 2023", local(2023, 1, 2, 21, 8, 7));
    start("Mon Jan 2 12:08:07 am 2023", local(2023, 1, 2, 0, 8, 7));
    start("Mon Jan 2 12:08:07 pm 2023", local(2023, 1, 2, 12, 8, 7));
    start("Mon Jan 2 17:04:05 PM 2023", local(2023, 1, 2, 17, 4, 5));
    start("Mon Jan 2 00:04:05 AM 2023", local(2023, 1, 2, 0, 4, 5));
    start("Mon Jan 2 3:04:05 2023", local(2023, 1, 2, 3, 4, 5));
    start("Mon Jan  2 03:04:05 2023 ", local(2023, 1, 2, 3, 4, 5));
    start("Mon Jan 02 03:04:05 2023", local(2023, 1, 2, 3, 4, 5));
    start("Jan 2 03:04:05 2023", local(2023, 1, 2, 3, 4, 5));
    start("Die Jan 3 15:04:05 2023", local(2023, 1, 3, 15, 4, 5));
    start("Sam Dez 30 15:04:05.678 2023", local(2023, 12, 30, 15, 4, 5, 678));
    start("Mi Mai 3 15:04:05 2023", local(2023, 5, 3, 15, 4, 5));
    start("Son Okt 1 15:04:05 2023", local(2023, 10, 1, 15, 4, 5));
    start("Mit M\xE4r 1 15:04:05 2023", local(2023, 3, 1, 15, 4, 5));
    start("Mit M\xC3\xA4r 1 15:04:05 2023", local(2023, 3, 1, 15, 4, 5));
    start("Mit Mrz 1 15:04:05 2023", local(2023, 3, 1, 15, 4, 5));
    start("Wed Feb 1 15:04:05 2023", local(2023, 2, 1, 15, 4, 5));
    start("Sat Apr 1 15:04:05 2023", local(2023, 4, 1, 15, 4, 5));
    start("Thu Jun 1 15:04:05 2023", local(2023, 6, 1, 15, 4, 5));
    start("Sat Jul 1 15:04:05 2023", local(2023, 7, 1, 15, 4, 5));
    start("Tue Aug 1 15:04:05 2023", local(2023, 8, 1, 15, 4, 5));
    start("Fri Sep 1 15:04:05 2023", local(2023, 9, 1, 15, 4, 5));
    start("Wed Nov 1 15:04:05 2023", local(2023, 11, 1, 15, 4, 5));
    start("MON JAN 2 03:04:05 2023", local(2023, 1, 2, 3, 4, 5));
    start("Mer f\xC3\xA9v 1 15:04:05 2023", local(2023, 2, 1, 15, 4, 5));
    start("Mar ao\xC3\xBB 1 15:04:05 2023", local(2023, 8, 1, 15, 4, 5));
    start("Lun ene 2 15:04:05 2023", local(2023, 1, 2, 15, 4, 5));
    start("30/01/2023 03:04:05.678", local(2023, 1, 30, 3, 4, 5, 678));
    start("2023-01-30 03:04:05.678", local(2023, 1, 30, 3, 4, 5, 678));
    start("2023-01-30T03:04:05", local(2023, 1, 30, 3, 4, 5));
    start("Mon Foo 2 03:04:05.678 2023", QDateTime());
    start("", QDateTime());
    start("Mon Jan 32 03:04:05 2023", QDateTime());
    start("Mon Jan 2 25:04:05 2023", QDateTime());
}

/// The date of the header is a local time; a log is never refused for it.
void TestVectorAsc::startDates()
{
    QFETCH(QByteArray, text);
    QFETCH(QDateTime, start);
    const PulledLog log =
        pullLog(DatachunkHelper::VectorAsc,
                "date " + text + "\nbase hex  timestamps absolute\n   1.500000 1  123  Rx   d 1 11\n");
    QCOMPARE(log.info.start, start);
    QVERIFY(!log.info.startHasZone);
    QVERIFY(log.info.timeBase == LogInfo::TimeBase::LogStart);
    QCOMPARE(differenceOf(log, {frame(0x123, "11").at(1, 500000).channel(1).rx()}), QString());
}

void TestVectorAsc::startOfTriggerBlock_data()
{
    QTest::addColumn<QByteArray>("time");
    QTest::addColumn<QDateTime>("start");
    // The header says 03:04:05, the block 03:04:10.
    QTest::newRow("times count from the block") << QByteArray("0.001000") << local(2023, 1, 2, 3, 4, 10);
    QTest::newRow("times count from the header") << QByteArray("5.000000") << local(2023, 1, 2, 3, 4, 5);
}

void TestVectorAsc::startOfTriggerBlock()
{
    QFETCH(QByteArray, time);
    QFETCH(QDateTime, start);
    const PulledLog log =
        pullLog(DatachunkHelper::VectorAsc, "date Mon Jan 2 03:04:05 2023\nbase hex  timestamps absolute\n"
                                            "Begin Triggerblock Mon Jan 2 03:04:10 2023\n   "
                                                + time + " 1  123  Rx   d 1 11\nEnd TriggerBlock\n");
    QCOMPARE(log.frames.size(), 1);
    QCOMPARE(log.info.start, start);
}

void TestVectorAsc::whatTheHeaderSays()
{
    const PulledLog log = pullLog(DatachunkHelper::VectorAsc, hexadecimal
                                                                  + "// version 13.0.0\n//BusMapping: CAN 1 = Chassis\n"
                                                                    "   1.500000 1  123  Rx   d 1 11\n");
    QCOMPARE(log.info.channelNames.value(1), QStringLiteral("Chassis"));
    QVERIFY((log.info.writer + log.info.version).contains(QLatin1String("13.0.0")));
}

/// Some writers call offsets from the start relative: times that only rise, with a sum far above the last of them.
void TestVectorAsc::offsetsThatAreCalledRelative()
{
    QByteArray text = relative;
    QVector<LogFrame> expected;
    for (int second = 1; second <= 40; ++second) {
        text += QByteArray::number(second) + ".000000 1  123  Rx   d 1 11\n";
        expected.append(frame(0x123, "11").at(second, 0).channel(1).rx().note(""));
    }
    QCOMPARE(differenceOf(pullLog(DatachunkHelper::VectorAsc, text), expected), QString());
}

void TestVectorAsc::samples_data()
{
    addLogColumns();
    const auto sample = [](const char *name, const Outcome &outcome) { row(name, sampleLines(name), outcome); };
    sample("vectorasc/no-trigger-block.asc",
           {frame(0x1A4, "0C1D2E").at(0, 250100).channel(1).rx(),
            frame(0x18F00503, "1021324354657687").extended().at(0, 250200).channel(2).tx(),
            frame(0x3D2).extended().at(0, 250700).channel(1).rx().remote(6)});
    sample("vectorasc/can-fd.asc",
           {frame(0x2F1, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().brs().at(0, 251300).channel(1).rx().note(""),
            frame(0x1A2B3C4D, "0123456789ABCDEF").extended().fd().esi().at(0, 251400).channel(2).tx().note(""),
            frame(0x134, "DEADBEEF").at(0, 251500).channel(1).rx(),
            frame(0x40007).extended().at(0, 251600).channel(3).tx().remote(5),
            errorFrame().fd().at(0, 251900).channel(4).rx().note("form error").note("")});
    sample("vectorasc/decimal.asc", {frame(0x18DA00F1, "C81809").extended().at(0, 252100).channel(5).rx(),
                                     frame(0x102, "2040").fd().brs().at(0, 252200).channel(2).rx().note(""),
                                     errorFrame().at(0, 252300).channel(2).note(".")});
    sample("vectorasc/relative-times.asc", {frame(0x1A4, "0C").at(1, 0).channel(1).rx().note("3\\.10"),
                                            frame(0x1A4, "1D").at(1, 750000).channel(1).rx().note("error passive"),
                                            frame(0x1A4, "2E").at(2, 500000).channel(1).tx()});
    sample("vectorasc/german-date.asc", frame(0x1B0, "5AA5").at(0, 250900).channel(1).rx().note(""));
}

QTEST_GUILESS_MAIN(TestVectorAsc)
#include "tst_vectorasc.moc"
