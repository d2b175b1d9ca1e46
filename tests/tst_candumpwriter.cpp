// SPDX-License-Identifier: Apache-2.0
#include "host/convert/candumpwriter.h"
#include "writertest.h"

class CandumpWriterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesOneLine_data();
    void writesOneLine();
    void nothingGivesAnEmptyFile();
    void isReadBack();
    void tellsOfAFullDevice_data();
    void tellsOfAFullDevice();
};

void CandumpWriterTest::writesOneLine_data()
{
    QTest::addColumn<CAN::CanRxMessage>("message");
    QTest::addColumn<QString>("note");
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("losses");
    const auto row = [](const char *name, const Frame &frame, const char *line, const char *losses = "",
                        const char *note = "") {
        QTest::newRow(name) << CAN::CanRxMessage(frame) << QString::fromUtf8(note) << QByteArray(line)
                            << QString::fromLatin1(losses);
    };
    row("data", Frame(0x123, "11 22 33 44").at(1345212884, 318850), "(1345212884.318850) can0 123#11223344\n");
    row("lowest", Frame(0).at(0, 0), "(0.000000) can0 000#\n");
    row("microseconds keep their zeros", Frame(0x7FF, "00").at(12, 5), "(12.000005) can0 7FF#00\n");
    row("extended", Frame(0x18FEF100, "FF").extended().at(1, 0), "(1.000000) can0 18FEF100#FF\n");
    row("low extended", Frame(0x12).extended().at(1, 0), "(1.000000) can0 00000012#\n");
    row("high without the mark", Frame(0x800).at(1, 0), "(1.000000) can0 00000800#\n");
    row("eight bytes", Frame(0x1, "0102030405060708"), "(0.000000) can0 001#0102030405060708\n");
    row("channel", Frame(0x1).channel(1), "(0.000000) can0 001#\n");
    row("second channel", Frame(0x1).channel(2), "(0.000000) can1 001#\n");
    row("highest channel", Frame(0x1).channel(65535), "(0.000000) can65534 001#\n");
    row("remote", Frame(0x123).remote(), "(0.000000) can0 123#R\n");
    row("remote with length", Frame(0x123).remote().dlc(8), "(0.000000) can0 123#R8\n");
    row("remote has no data", Frame(0x123, "AA BB").remote(), "(0.000000) can0 123#R2\n");
    row("impossible remote length", Frame(0x123).remote().dlc(9), "(0.000000) can0 123#R\n", "impossible length 1");
    row("FD", Frame(0x124, "112233").fd(), "(0.000000) can0 124##0112233\n");
    row("FD with bit-rate switch", Frame(0x124, "11").fd().brs(), "(0.000000) can0 124##111\n");
    row("FD with error state", Frame(0x124, "11").fd().esi(), "(0.000000) can0 124##211\n");
    row("FD with both", Frame(0x124, "11").fd().brs().esi(), "(0.000000) can0 124##311\n");
    row("FD without data", Frame(0x124).fd(), "(0.000000) can0 124##0\n");
    row("FD without the mark", Frame(0x124, "000102030405060708090A0B"),
        "(0.000000) can0 124##0000102030405060708090A0B\n");
    row("impossible length", Frame(0x124).bytes(QByteArray(64, '\x11')).dlc(200),
        QByteArray("(0.000000) can0 124##0" + QByteArray(128, '1') + '\n').constData(), "impossible length 1");
    row("error frame", Frame(CAN::errorFrameId).at(2, 0), "(2.000000) can0 20000080#0000000000000000\n");
    row("error frame with data", Frame(CAN::errorFrameId, "0008"), "(0.000000) can0 20000080#0008000000000000\n");
    CAN::CanRxMessage beyond = Frame(CAN::errorFrameId, "0008AABB");
    beyond.dlc = 2;
    QTest::newRow("error frame with more behind its data")
        << beyond << QString() << QByteArray("(0.000000) can0 20000080#0008000000000000\n") << QString();
    row("error frame with more data than its eight bytes", Frame(CAN::errorFrameId).bytes(QByteArray(9, '\x11')),
        "(0.000000) can0 20000080#1111111111111111\n", "error frame payload 1");
    row("identifier of 30 bits", Frame(0x20000080), "(0.000000) can0 20000080#\n", "over-long identifier 1");
    row("error state without CAN FD", Frame(0x1).esi(), "(0.000000) can0 001#\n", "misplaced CAN FD mark 1");
    row("sent", Frame(0x1).tx(), "(0.000000) can0 001# T\n");
    row("sent error frame", Frame(CAN::errorFrameId).tx(), "(0.000000) can0 20000080#0000000000000000 T\n");
    row("note", Frame(0x1), "(0.000000) can0 001#\n", "note 1", "hello");
    row("before zero", Frame(0x1).at(-1, 500000), "(0.000000) can0 001#\n", "out-of-range time 1");
    row("more microseconds than a second has", Frame(0x1).at(1, 1234567), "(2.234567) can0 001#\n");
    row("latest", Frame(0x1).at(2147483647, 999999), "(2147483647.999999) can0 001#\n");
}

void CandumpWriterTest::writesOneLine()
{
    QFETCH(CAN::CanRxMessage, message);
    QFETCH(QString, note);
    QFETCH(QByteArray, line);
    QFETCH(QString, losses);
    const Written written = write<CandumpWriter>({message}, {note});
    QCOMPARE(written.text, line);
    QCOMPARE(written.losses, losses);
}

void CandumpWriterTest::nothingGivesAnEmptyFile()
{
    const Written written = write<CandumpWriter>({});
    QCOMPARE(written.text, QByteArray());
    QCOMPARE(written.losses, QString());
}

void CandumpWriterTest::isReadBack()
{
    Frames messages = randomMessages(3000, 1716284412);
    Frames expected;
    for (CAN::CanRxMessage &message : messages) {
        message.isTx = false; // such lines are passed over
        // The loader reads data frames. Of a CAN FD frame it keeps the time, and an "R" is a byte that reads as 0.
        Frame frame;
        if (message.id == CAN::errorFrameId)
            frame = Frame(0x20000080, "0000000000000000").extended();
        else if (message.isRemote)
            frame = Frame(message.id, "00");
        else if (!message.isFd)
            frame = Frame(message.id).bytes(QByteArray(reinterpret_cast<const char *>(message.data), message.dlc));
        CAN::CanRxMessage result = frame;
        result.isExtended = result.id > 0x7FF;
        result.timeStamp = message.timeStamp;
        expected.append(result);
    }
    const Frames read = readBack(write<CandumpWriter>(messages).text, DatachunkHelper::SocketCanDump);
    QCOMPARE(differenceOf(read, numbered(expected)), QString());
}

void CandumpWriterTest::tellsOfAFullDevice_data()
{
    QTest::addColumn<int>("messages");
    QTest::newRow("found out at the end") << 10;
    QTest::newRow("found out on the way") << 100000;
}

void CandumpWriterTest::tellsOfAFullDevice()
{
    QFETCH(int, messages);
    FullDevice device(100);
    CandumpWriter writer(device);
    bool ok = writer.begin();
    int written = 0;
    for (; ok && written < messages; ++written)
        ok = writer.write(Frame(0x123, "0102"), QString());
    QVERIFY(ok ? !writer.finish() : written < messages);
    QCOMPARE(writer.errorText(), QStringLiteral("no space"));
}

QTEST_GUILESS_MAIN(CandumpWriterTest)
#include "tst_candumpwriter.moc"
