// SPDX-License-Identifier: Apache-2.0
#include "frames.h"
#include "host/stats/framebits.h"

#include <QVector>

class FrameBitsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bitsOfAFrame_data();
    void bitsOfAFrame();
    void worstCaseIsThatOfTheStuffingRule_data();
    void worstCaseIsThatOfTheStuffingRule();
};

void FrameBitsTest::bitsOfAFrame_data()
{
    QTest::addColumn<CAN::CanRxMessage>("message");
    QTest::addColumn<int>("leastNominal");
    QTest::addColumn<int>("leastSwitched");
    QTest::addColumn<int>("mostNominal");
    QTest::addColumn<int>("mostSwitched");
    const auto row = [](const char *name, const Frame &frame, int leastNominal, int leastSwitched, int mostNominal,
                        int mostSwitched) {
        QTest::newRow(name) << CAN::CanRxMessage(frame) << leastNominal << leastSwitched << mostNominal << mostSwitched;
    };
    // The literature has 55 + 10n and 80 + 10n bits for the worst case of n bytes.
    row("base, 0 bytes", Frame(0x123), 47, 0, 55, 0);
    row("base, 1 byte", Frame(0x123).dlc(1), 55, 0, 65, 0);
    row("base, 8 bytes", Frame(0x7FF).dlc(8), 111, 0, 135, 0);
    row("extended, 0 bytes", Frame(0x123).extended(), 67, 0, 80, 0);
    row("extended, 8 bytes", Frame(0x18FEF100).extended().dlc(8), 131, 0, 160, 0);
    row("extended by its value", Frame(0x800).dlc(8), 131, 0, 160, 0);
    row("base, remote", Frame(0x123).remote().dlc(8), 47, 0, 55, 0);
    row("extended, remote", Frame(0x123).extended().remote().dlc(8), 67, 0, 80, 0);
    row("classical with a stray flag", Frame(0x123).brs().dlc(8), 111, 0, 135, 0);
    row("error frame", Frame(CAN::errorFrameId).dlc(8), 17, 0, 23, 0);

    row("FD, 0 bytes", Frame(0x123).fd(), 62, 0, 67, 0);
    row("FD, 8 bytes", Frame(0x123).fd().dlc(8), 126, 0, 147, 0);
    row("FD, 9 bytes are filled up to 12", Frame(0x123).fd().dlc(9), 158, 0, 187, 0);
    row("FD, switched, 0 bytes", Frame(0x123).fd().brs(), 29, 33, 32, 35);
    row("FD, switched, 8 bytes", Frame(0x123).fd().brs().dlc(8), 29, 97, 32, 115);
    row("FD, switched, longest with the short checksum", Frame(0x123).fd().brs().dlc(16), 29, 161, 32, 195);
    row("FD, switched, shortest with the long checksum", Frame(0x123).fd().brs().dlc(20), 29, 198, 32, 240);
    row("FD, switched, 64 bytes", Frame(0x123).fd().brs().dlc(64), 29, 550, 32, 680);
    row("FD, switched, too long", Frame(0x123).fd().brs().dlc(200), 29, 550, 32, 680);
    // No classical frame has more than 8 bytes.
    row("FD by its length, 9 bytes", Frame(0x123).dlc(9), 158, 0, 187, 0);
    row("FD by its length, switched, 64 bytes", Frame(0x123).brs().dlc(64), 29, 550, 32, 680);
    row("FD by its length, far too long", Frame(0x123).dlc(255), 579, 0, 712, 0);
    row("remote, too long", Frame(0x123).remote().dlc(15), 47, 0, 55, 0);
    row("remote with a stray mark", Frame(0x123).remote().fd().dlc(8), 47, 0, 55, 0);
    row("FD, extended, 0 bytes", Frame(0x123).fd().extended(), 81, 0, 90, 0);
    row("FD, extended, switched, 0 bytes", Frame(0x123).fd().extended().brs(), 48, 33, 56, 34);
    row("FD, extended, switched, 64 bytes", Frame(0x123).fd().extended().brs().dlc(64), 48, 550, 56, 679);
}

void FrameBitsTest::bitsOfAFrame()
{
    QFETCH(CAN::CanRxMessage, message);
    const BitRange range = frameBits(message);
    QTEST(int(range.least.nominal), "leastNominal");
    QTEST(int(range.least.switched), "leastSwitched");
    QTEST(int(range.most.nominal), "mostNominal");
    QTEST(int(range.most.switched), "mostSwitched");
}

/// Numbers of the bits, from 1, after which the rule puts a stuff bit into the worst sequence of @p count bits: each
/// bit is like the last one on the bus unless a stuff bit was just sent, whose value it then has.
static QVector<int> stuffPositions(int count)
{
    QVector<int> positions;
    int equal = 0;
    for (int bit = 1; bit <= count; ++bit) {
        ++equal;
        if (equal == 5) {
            positions.append(bit);
            equal = 1; // the stuff bit
        }
    }
    return positions;
}

void FrameBitsTest::worstCaseIsThatOfTheStuffingRule_data()
{
    QTest::addColumn<CAN::CanRxMessage>("message");
    QTest::addColumn<int>("stuffedBits");
    QTest::addColumn<int>("arbitrationBits"); // 0: not switched
    for (int bytes = 0; bytes <= 8; ++bytes) {
        const auto length = static_cast<quint8>(bytes);
        QTest::addRow("base, %d bytes", bytes) << CAN::CanRxMessage(Frame(1).dlc(length)) << 34 + 8 * bytes << 0;
        QTest::addRow("extended, %d bytes", bytes)
            << CAN::CanRxMessage(Frame(1).extended().dlc(length)) << 54 + 8 * bytes << 0;
        // A stuff bit after the last of these bits is the fixed one: it is as if there were one bit less.
        QTest::addRow("FD, %d bytes", bytes)
            << CAN::CanRxMessage(Frame(1).fd().brs().dlc(length)) << 22 + 8 * bytes - 1 << 17;
        QTest::addRow("FD, extended, %d bytes", bytes)
            << CAN::CanRxMessage(Frame(1).fd().brs().extended().dlc(length)) << 41 + 8 * bytes - 1 << 36;
    }
}

void FrameBitsTest::worstCaseIsThatOfTheStuffingRule()
{
    QFETCH(CAN::CanRxMessage, message);
    QFETCH(int, stuffedBits);
    QFETCH(int, arbitrationBits);
    const QVector<int> positions = stuffPositions(stuffedBits);
    const BitRange range = frameBits(message);
    const int nominal = int(range.most.nominal - range.least.nominal);
    const int switched = int(range.most.switched - range.least.switched);
    QCOMPARE(nominal + switched, positions.size());
    if (arbitrationBits > 0) {
        const auto isBeforeTheSwitch = [&](int position) { return position < arbitrationBits; };
        QCOMPARE(nominal, int(std::count_if(positions.cbegin(), positions.cend(), isBeforeTheSwitch)));
    }
}

QTEST_GUILESS_MAIN(FrameBitsTest)
#include "tst_framebits.moc"
