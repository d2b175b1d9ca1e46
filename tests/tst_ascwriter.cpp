// SPDX-License-Identifier: Apache-2.0
#include "host/convert/ascwriter.h"
#include "writertest.h"

namespace
{

const QByteArray header = "date Thu Jan 01 12:00:00.000 am 1970\n"
                          "base hex  timestamps absolute\n"
                          "no internal events logged\n"
                          "Begin Triggerblock Thu Jan 01 12:00:00.000 am 1970\n";
const QByteArray footer = "End TriggerBlock\n";
/// What ends the line of a CAN FD frame without flags.
const QByteArray fdEnd = "        0    0     1000        0        0        0        0        0\n";

Frame payloadOf(const CAN::CanRxMessage &message)
{
    return Frame(message.id).bytes(QByteArray(reinterpret_cast<const char *>(message.data), message.dlc));
}

/// What both loaders read of every frame that they read: to them a channel is hexadecimal.
CAN::CanRxMessage withStart(CAN::CanRxMessage result, const CAN::CanRxMessage &message)
{
    result.timeStamp = message.timeStamp;
    result.isExtended = message.isExtended;
    result.channel = QByteArray::number(qMax(message.channel, quint16(1))).toUShort(nullptr, 16);
    return result;
}

} // namespace

class AscWriterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesOneLine_data();
    void writesOneLine();
    void nothingGivesABlock();
    void countsJoinedChannels_data();
    void countsJoinedChannels();
    void isReadBack();
    void isReadBackWithBitCounts();
    void notesAreReadBackWithBitCounts();
    void noteDoesNotEndTheBlock_data();
    void noteDoesNotEndTheBlock();
};

void AscWriterTest::writesOneLine_data()
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
    row("data", Frame(0x123, "11 22 AB").at(0, 2470).channel(1),
        "   0.002470 1  123             Rx   d 3 11 22 AB  Length = 0 BitCount = 0 ID = 291\n");
    row("lowest", Frame(0), "   0.000000 1  0               Rx   d 0  Length = 0 BitCount = 0 ID = 0\n");
    row("extended", Frame(0x18FEF100, "FF").extended().channel(2).at(12, 84712),
        "  12.084712 2  18FEF100x       Rx   d 1 FF  Length = 0 BitCount = 0 ID = 419361024x\n");
    row("low extended", Frame(0x12).extended(),
        "   0.000000 1  12x             Rx   d 0  Length = 0 BitCount = 0 ID = 18x\n");
    row("high without the mark", Frame(0x800),
        "   0.000000 1  800x            Rx   d 0  Length = 0 BitCount = 0 ID = 2048x\n");
    row("sent", Frame(0x1).tx(), "   0.000000 1  1               Tx   d 0  Length = 0 BitCount = 0 ID = 1\n");
    row("channels are decimal", Frame(0x1).channel(16),
        "   0.000000 16  1               Rx   d 0  Length = 0 BitCount = 0 ID = 1\n");
    row("remote", Frame(0x7E8).remote().dlc(8),
        "   0.000000 1  7E8             Rx   r 8  Length = 0 BitCount = 0 ID = 2024\n");
    row("impossible remote length", Frame(0x7E8).remote().dlc(9),
        "   0.000000 1  7E8             Rx   r  Length = 0 BitCount = 0 ID = 2024\n", "impossible length 1");
    row("error frame", Frame(CAN::errorFrameId).at(15, 0), "  15.000000 1  ErrorFrame\n");
    row("sent error frame", Frame(CAN::errorFrameId).tx(), "   0.000000 1  ErrorFrame\n", "Tx direction 1");
    row("FD", Frame(0x124, "112233").fd().at(14, 0),
        "  14.000000 CANFD   1 Rx        124                                   0 0 3  3 11 22 33" + fdEnd);
    row("FD without data", Frame(0x124).fd(),
        "   0.000000 CANFD   1 Rx        124                                   0 0 0  0" + fdEnd);
    row("FD with all", Frame(0x18FEF100, "0102030405060708090A0B0C").extended().fd().brs().esi().tx().channel(11),
        "   0.000000 CANFD  11 Tx   18FEF100x                                   1 1 9 12 01 02 03 04 05 06 07 08 09 0A "
        "0B "
        "0C        0    0     7000        0        0        0        0        0\n");
    row("FD with bit-rate switch", Frame(0x1, "00").fd().brs(),
        "   0.000000 CANFD   1 Rx          1                                   1 0 1  1 00"
        "        0    0     3000        0        0        0        0        0\n");
    row("FD with error state", Frame(0x1, "00").fd().esi(),
        "   0.000000 CANFD   1 Rx          1                                   0 1 1  1 00"
        "        0    0     5000        0        0        0        0        0\n");
    const std::pair<int, const char *> codes[] = {{12, "9"}, {16, "A"}, {20, "B"}, {24, "C"},
                                                  {32, "D"}, {48, "E"}, {64, "F"}, {9, "9"}};
    for (const auto &[length, code] : codes) {
        QByteArray data = QByteArray(" 5A").repeated(length);
        row(qPrintable(QStringLiteral("FD of %1 bytes").arg(length)), Frame(0x1).bytes(QByteArray(length, 'Z')).fd(),
            QByteArray("   0.000000 CANFD   1 Rx          1                                   0 0 ") + code + ' '
                + QByteArray::number(length).rightJustified(2) + data + fdEnd);
    }
    row("FD without the mark", Frame(0x1).bytes(QByteArray(12, 'Z')),
        "   0.000000 CANFD   1 Rx          1                                   0 0 9 12"
            + QByteArray(" 5A").repeated(12) + fdEnd);
    row("impossible length", Frame(0x1).bytes(QByteArray(64, 'Z')).dlc(65),
        "   0.000000 CANFD   1 Rx          1                                   0 0 F 64"
            + QByteArray(" 5A").repeated(64) + fdEnd,
        "impossible length 1");
    row("before zero", Frame(0x1).at(-1, 0),
        "   0.000000 1  1               Rx   d 0  Length = 0 BitCount = 0 ID = 1\n", "out-of-range time 1");
    row("note", Frame(0x1),
        "   0.000000 1  1               Rx   d 0  Length = 0 BitCount = 0 ID = 1\n"
        "// engine \xC3\xA4 on\n",
        "", "engine\n\xC3\xA4  on");
    row("note that would end the block", Frame(0x1),
        "   0.000000 1  1               Rx   d 0  Length = 0 BitCount = 0 ID = 1\n"
        "// Skipped line: end_triggerblock, End_TriggerBlock\n",
        "", "Skipped line: end  triggerblock,\nEnd TriggerBlock");
    row("note that commands a terminal", Frame(0x1),
        "   0.000000 1  1               Rx   d 0  Length = 0 BitCount = 0 ID = 1\n"
        "// a U+001B[2J U+202E.\n",
        "unprintable note 1", "a \x1b[2J\n\xE2\x80\xAE.");
    row("error frame with data", Frame(CAN::errorFrameId, "0008"), "   0.000000 1  ErrorFrame\n",
        "error frame payload 1");
    row("identifier of 30 bits", Frame(0x20000080),
        "   0.000000 1  20000080x       Rx   d 0  Length = 0 BitCount = 0 ID = 536871040x\n", "over-long identifier 1");
    row("high channel", Frame(0x1).channel(256),
        "   0.000000 256  1               Rx   d 0  Length = 0 BitCount = 0 ID = 1\n", "high channel number 1");
    row("remote frame with marks of CAN FD", Frame(0x1).remote().fd().brs(),
        "   0.000000 1  1               Rx   r 0  Length = 0 BitCount = 0 ID = 1\n", "misplaced CAN FD mark 1");
}

void AscWriterTest::writesOneLine()
{
    QFETCH(CAN::CanRxMessage, message);
    QFETCH(QString, note);
    QFETCH(QByteArray, lines);
    QFETCH(QString, losses);
    const Written written = write<AscWriter>({message}, {note});
    QCOMPARE(written.text, header + lines + footer);
    QCOMPARE(written.losses, losses);
}

void AscWriterTest::nothingGivesABlock()
{
    QCOMPARE(write<AscWriter>({}).text, header + footer);
}

void AscWriterTest::countsJoinedChannels_data()
{
    QTest::addColumn<QVector<int>>("channels");
    QTest::addColumn<QString>("losses");
    QTest::newRow("none known") << QVector<int>{0, 0, 0} << QString();
    QTest::newRow("all known") << QVector<int>{1, 2} << QString();
    QTest::newRow("counted from 0") << QVector<int>{0, 1, 0} << QStringLiteral("channel 0 frame 2");
}

void AscWriterTest::countsJoinedChannels()
{
    QFETCH(QVector<int>, channels);
    QFETCH(QString, losses);
    Frames messages;
    for (const int channel : channels)
        messages.append(Frame(0x1).channel(quint16(channel)));
    QCOMPARE(write<AscWriter>(messages).losses, losses);
}

void AscWriterTest::isReadBack()
{
    const Frames messages = randomMessages(3000, 5);
    Frames expected;
    for (const CAN::CanRxMessage &message : messages) {
        if (message.id == CAN::errorFrameId)
            continue;
        // This loader knows remote frames by a line without direction only, which nobody else reads: to it they are
        // data frames of as many zeros.
        CAN::CanRxMessage result = withStart(payloadOf(message), message);
        result.isFd = message.isFd;
        expected.append(result);
    }
    const Frames read = readBack(write<AscWriter>(messages).text, DatachunkHelper::VectorAscLogWithoutBitcount);
    QCOMPARE(differenceOf(read, numbered(expected)), QString());
}

void AscWriterTest::isReadBackWithBitCounts()
{
    const Frames messages = randomMessages(3000, 1716284412);
    Frames expected;
    for (const CAN::CanRxMessage &message : messages) {
        if (message.id == CAN::errorFrameId || message.isFd)
            continue;
        CAN::CanRxMessage result = withStart(payloadOf(message), message);
        result.timeStamp.seconds -= messages.constFirst().timeStamp.seconds;
        result.isRemote = message.isRemote;
        if (message.isRemote) {
            // The stated length is taken for a byte behind the payload, of which there is none.
            result.data[0] = message.dlc;
            result.dlc = 0;
        }
        expected.append(result);
    }
    const Frames read = readBack(write<AscWriter>(messages).text, DatachunkHelper::VectorAscLog);
    QCOMPARE(differenceOf(read, numbered(expected)), QString());
}

void AscWriterTest::notesAreReadBackWithBitCounts()
{
    const Written written = write<AscWriter>({Frame(0x1), Frame(0x2), Frame(0x3)}, {QString(), QStringLiteral("hot")});
    const SampleFile file(written.text);
    const LoaderRun run(&CANLogHandler::loadVectorAscLog, file.path());
    QCOMPARE(run.messages().size(), 3);
    const QMap<unsigned int, QString> notes = run.store.notes();
    // This loader gives a line to the frame that follows it.
    QCOMPARE(notes.value(2), QStringLiteral("Skipped line: // hot"));
    QVERIFY(!notes.contains(1));
}

void AscWriterTest::noteDoesNotEndTheBlock_data()
{
    QTest::addColumn<QString>("note");
    QTest::newRow("plain") << QStringLiteral("Skipped line: End TriggerBlock");
    QTest::newRow("behind half a character") << QString(QChar(ushort(0xD800))) + QStringLiteral("End TriggerBlock");
}

void AscWriterTest::noteDoesNotEndTheBlock()
{
    QFETCH(QString, note);
    const Written written = write<AscWriter>({Frame(0x1), Frame(0x2)}, {QString(), note});
    QCOMPARE(readBack(written.text, DatachunkHelper::VectorAscLogWithoutBitcount).size(), 2);
}

QTEST_GUILESS_MAIN(AscWriterTest)
#include "tst_ascwriter.moc"
