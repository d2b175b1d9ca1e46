// SPDX-License-Identifier: Apache-2.0
#include "host/convert/trcwriter.h"
#include "writertest.h"

namespace
{

QByteArray header(const QByteArray &start)
{
    return ";$FILEVERSION=2.1\n"
           ";$STARTTIME="
           + start
           + "\n"
             ";$COLUMNS=N,O,T,B,I,d,R,l,D\n"
             ";\n"
             ";   Message   Time    Type    ID     Rx/Tx\n"
             ";   Number    Offset  |  Bus  [hex]  |  Reserved\n"
             ";   |         [ms]    |  |    |      |  |  Data Length\n"
             ";   |         |       |  |    |      |  |  |    Data [hex] ...\n"
             ";   |         |       |  |    |      |  |  |    |\n"
             ";---+-- ------+------ +- +- --+----- +- +- +--- +- -- -- -- -- -- -- --\n";
}

/// 1 January 1970 in days since 30 December 1899.
const QByteArray since1970 = "25569.0000000000";

} // namespace

class TrcWriterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesOneLine_data();
    void writesOneLine();
    void offsetsCountFromTheStart_data();
    void offsetsCountFromTheStart();
    void nothingGivesAHeader();
    void countsJoinedChannels();
    void isReadBack_data();
    void isReadBack();
};

void TrcWriterTest::writesOneLine_data()
{
    QTest::addColumn<CAN::CanRxMessage>("message");
    QTest::addColumn<QString>("note");
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<QString>("losses");
    const auto row = [](const char *name, const Frame &frame, const QByteArray &lines, const char *losses = "",
                        const char *note = "") {
        QTest::newRow(name) << CAN::CanRxMessage(frame) << QString::fromUtf8(note) << lines
                            << QString::fromLatin1(losses);
    };
    row("data", Frame(0x300, "00 00 00 00 04 00 00").at(1, 59900).channel(1),
        "      1      1059.900 DT 1      0300 Rx -  7    00 00 00 00 04 00 00\n");
    row("without data", Frame(0x80).at(0, 4200), "      1         4.200 DT 1      0080 Rx -  0\n");
    row("microseconds", Frame(0x1).at(0, 1), "      1         0.001 DT 1      0001 Rx -  0\n");
    row("extended", Frame(0x18FEE000, "01").extended().tx(), "      1         0.000 DT 1  18FEE000 Tx -  1    01\n");
    row("low extended", Frame(0x12).extended(), "      1         0.000 DT 1  00000012 Rx -  0\n");
    row("high without the mark", Frame(0x800), "      1         0.000 DT 1  00000800 Rx -  0\n");
    row("channel of two digits", Frame(0x1).channel(12), "      1         0.000 DT 12     0001 Rx -  0\n");
    row("remote", Frame(0x100).remote().dlc(3), "      1         0.000 RR 1      0100 Rx -  3\n");
    row("remote has no data", Frame(0x100, "AA").remote(), "      1         0.000 RR 1      0100 Rx -  1\n");
    row("error frame", Frame(CAN::errorFrameId), "      1         0.000 ER 1      0008 Rx -  0\n");
    row("FD", Frame(0x1A0, "0102030405060708090A0B0C").fd(),
        "      1         0.000 FD 1      01A0 Rx -  12   01 02 03 04 05 06 07 08 09 0A 0B 0C\n");
    row("FD with bit-rate switch", Frame(0x1A0, "01").fd().brs(),
        "      1         0.000 FB 1      01A0 Rx -  1    01\n");
    row("FD with error state", Frame(0x1A0, "01").fd().esi(), "      1         0.000 FE 1      01A0 Rx -  1    01\n");
    row("FD with both", Frame(0x1A0, "01").fd().brs().esi(), "      1         0.000 BI 1      01A0 Rx -  1    01\n");
    row("FD without the mark", Frame(0x1).bytes(QByteArray(64, 'Z')),
        "      1         0.000 FD 1      0001 Rx -  64  " + QByteArray(" 5A").repeated(64) + '\n');
    row("impossible length", Frame(0x1).bytes(QByteArray(64, 'Z')).dlc(255),
        "      1         0.000 FD 1      0001 Rx -  64  " + QByteArray(" 5A").repeated(64) + '\n',
        "impossible length 1");
    row("note", Frame(0x1),
        "      1         0.000 DT 1      0001 Rx -  0\n"
        ";   bus heavy\n",
        "", "bus\r\nheavy");
    row("note that commands a terminal", Frame(0x1),
        "      1         0.000 DT 1      0001 Rx -  0\n"
        ";   U+009B0m\n",
        "unprintable note 1",
        "\xC2\x9B"
        "0m");
    row("impossible remote length", Frame(0x100).remote().dlc(9), "      1         0.000 RR 1      0100 Rx -  8\n",
        "impossible length 1");
    row("error frame with data", Frame(CAN::errorFrameId, "0008"),
        "      1         0.000 ER 1      0008 Rx -  2    00 08\n");
    row("identifier of 32 bits", Frame(0xFFFFFFFF), "      1         0.000 DT 1  FFFFFFFF Rx -  0\n",
        "over-long identifier 1");
    row("high channel", Frame(0x1).channel(65535), "      1         0.000 DT 65535     0001 Rx -  0\n",
        "high channel number 1");
    row("bit-rate switch without CAN FD", Frame(0x1).brs(), "      1         0.000 DT 1      0001 Rx -  0\n",
        "misplaced CAN FD mark 1");
    row("before zero", Frame(0x1).at(-3, 0), "      1         0.000 DT 1      0001 Rx -  0\n", "out-of-range time 1");
}

void TrcWriterTest::writesOneLine()
{
    QFETCH(CAN::CanRxMessage, message);
    QFETCH(QString, note);
    QFETCH(QByteArray, lines);
    QFETCH(QString, losses);
    const Written written = write<TrcWriter>({message}, {note});
    QCOMPARE(written.text, header(since1970) + lines);
    QCOMPARE(written.losses, losses);
}

void TrcWriterTest::offsetsCountFromTheStart_data()
{
    QTest::addColumn<CAN::CanRxMessage>("first");
    QTest::addColumn<CAN::CanRxMessage>("second");
    QTest::addColumn<QByteArray>("start");
    QTest::addColumn<QByteArray>("firstOffset");
    QTest::addColumn<QByteArray>("secondOffset");
    QTest::addColumn<QString>("losses");
    const auto row = [](const char *name, const Frame &first, const Frame &second, const char *start,
                        const char *firstOffset, const char *secondOffset, const char *losses = "") {
        QTest::newRow(name) << CAN::CanRxMessage(first) << CAN::CanRxMessage(second) << QByteArray(start)
                            << QByteArray(firstOffset) << QByteArray(secondOffset) << QString::fromLatin1(losses);
    };
    row("less than a day", Frame(1).at(86399, 999999), Frame(1).at(86400, 0), "25569.0000000000", "86399999.999",
        "86400000.000");
    row("a day", Frame(1).at(86400, 250000), Frame(1).at(86401, 0), "25570.0000000000", "250.000", "1000.000");
    // 21 May 2024, 12:00:00 UTC: 19864.5 days after 1 January 1970.
    row("a date", Frame(1).at(1716292800, 84712), Frame(1).at(1716292801, 5), "45433.5000000000", "84.712", "1000.005");
    // 1 s is 0.0000115740740... days.
    row("one second past a day", Frame(1).at(86401, 0), Frame(1).at(86401, 0), "25570.0000115741", "0.000", "0.000");
    row("the last second of a day", Frame(1).at(172799, 0), Frame(1).at(172799, 0), "25570.9999884259", "0.000",
        "0.000");
    row("out of order", Frame(1).at(1716292800, 0), Frame(1).at(1716292799, 0), "45433.5000000000", "0.000", "0.000",
        "out-of-range time 1");
    // Offsets of ten digits need their blank, and readers keep them in 32 bits.
    row("ten digits", Frame(1), Frame(1).at(1000000, 0), "25569.0000000000", "0.000", "1000000000.000");
    row("the largest", Frame(1), Frame(1).at(2147483, 647000), "25569.0000000000", "0.000", "2147483647.000");
    row("beyond", Frame(1), Frame(1).at(2147483, 648000), "25569.0000000000", "0.000", "2147483647.000",
        "out-of-range time 1");
}

void TrcWriterTest::offsetsCountFromTheStart()
{
    QFETCH(CAN::CanRxMessage, first);
    QFETCH(CAN::CanRxMessage, second);
    QFETCH(QByteArray, start);
    QFETCH(QByteArray, firstOffset);
    QFETCH(QByteArray, secondOffset);
    QFETCH(QString, losses);
    const Written written = write<TrcWriter>({first, second});
    QCOMPARE(written.text, header(start) + "      1 " + firstOffset.rightJustified(13) + " DT 1      0001 Rx -  0\n"
                               + "      2 " + secondOffset.rightJustified(13) + " DT 1      0001 Rx -  0\n");
    QCOMPARE(written.losses, losses);
}

void TrcWriterTest::nothingGivesAHeader()
{
    QCOMPARE(write<TrcWriter>({}).text, header(since1970));
}

void TrcWriterTest::countsJoinedChannels()
{
    const Frames messages{Frame(0x1), Frame(0x1).channel(1), Frame(0x1)};
    QCOMPARE(write<TrcWriter>(messages).losses, QStringLiteral("channel 0 frame 2"));
    QCOMPARE(write<TrcWriter>(messages.mid(0, 1)).losses, QString());
}

void TrcWriterTest::isReadBack_data()
{
    QTest::addColumn<int>("firstSecond");
    QTest::addColumn<bool>("isDate");
    QTest::newRow("from the start of the log") << 3 << false;
    QTest::newRow("dates") << 1716284412 << true;
}

void TrcWriterTest::isReadBack()
{
    QFETCH(int, firstSecond);
    QFETCH(bool, isDate);
    const Frames messages = randomMessages(3000, firstSecond);
    const int start = isDate ? messages.constFirst().timeStamp.seconds : 0;
    Frames expected;
    for (CAN::CanRxMessage message : messages) {
        // The loader reads no channel and passes events over, error frames among them, and the types of CAN FD frames
        // that tell an error state.
        if (message.id == CAN::errorFrameId || message.isEsi)
            continue;
        message.channel = 0;
        message.timeStamp.seconds -= start;
        expected.append(message);
    }
    const Frames read = readBack(write<TrcWriter>(messages).text, DatachunkHelper::PeakTraceV21);
    QCOMPARE(differenceOf(read, numbered(expected)), QString());
}

QTEST_GUILESS_MAIN(TrcWriterTest)
#include "tst_trcwriter.moc"
