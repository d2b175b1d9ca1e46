// SPDX-License-Identifier: Apache-2.0
#include "frames.h"
#include "host/stats/statistics.h"

#include <cmath>

/// Whether both are equal but for the last digits of a double.
static bool isNearly(double actual, double expected)
{
    const bool result = std::abs(actual - expected) <= 1e-9 * std::max(1.0, std::abs(expected));
    if (!result)
        qWarning("%.17g instead of %.17g", actual, expected);
    return result;
}

static StatisticsResult resultOf(std::initializer_list<Frame> list, qint64 gapThreshold = 1000000)
{
    Statistics statistics(gapThreshold);
    for (const Frame &frame : list)
        statistics.add(frame);
    return statistics.result();
}

/// The cycle of an identifier whose frames come at @p first and then after each of @p steps, in microseconds.
static IdentifierStatistics afterSteps(qint64 first, const QVector<qint64> &steps)
{
    Statistics statistics(1000000);
    qint64 time = first;
    const auto add = [&] { statistics.add(Frame(0x123).at(qint32(time / 1000000), qint32(time % 1000000))); };
    add();
    for (const qint64 step : steps) {
        time += step;
        add();
    }
    return statistics.result().identifiers.value(0);
}

class StatisticsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingGivesZeros();
    void oneFrameHasNoCycle();
    void countsEachKindOfFrame();
    void framesOfMoreThanEightBytesAreFdFrames();
    void identifiersAreApartByChannelAndKind();
    void lengthsAreThoseStated();
    void cycle_data();
    void cycle();
    void timesThatJumpToAndFro();
    void stepsBackAreCounted();
    void microsecondsAboveAMillionAreSeconds();
    void gaps();
    void gapsOfErrorFrames();
    void frameRate();
    void bitsAreAddedUpByChannel();
    void load_data();
    void load();
    void noLoadWithoutDuration();
    void identifiersAreLimited();
    void logsAreMeasuredEachByItself();
};

void StatisticsTest::logsAreMeasuredEachByItself()
{
    Statistics statistics(1000000);
    statistics.beginLog();
    statistics.add(Frame(0x123).at(100, 0));
    statistics.add(Frame(0x123).at(100, 250000));
    statistics.add(Frame(0x456).at(100, 500000));
    statistics.beginLog();
    statistics.beginLog(); // one without messages
    statistics.add(Frame(0x123).at(7, 0));
    statistics.add(Frame(0x123).at(9, 0));
    const StatisticsResult result = statistics.result();
    QCOMPARE(result.logs, 2);
    QCOMPARE(result.duration(), qint64(2500000)); // 0.5 s and 2 s
    QCOMPARE(result.firstTime, qint64(7000000));
    QCOMPARE(result.lastTime, qint64(100500000));
    QCOMPARE(result.backwardSteps, quint64(0)); // 100.5 to 7
    QCOMPARE(result.gapCount, quint64(1));      // 7 to 9
    QCOMPARE(result.longestGap->start, qint64(7000000));
    const IdentifierStatistics identifier = result.identifiers.value(0);
    QCOMPARE(identifier.cycle.count, quint64(2)); // 0.25 s and 2 s
    QCOMPARE(identifier.cycle.minimum, qint64(250000));
    QCOMPARE(identifier.cycle.maximum, qint64(2000000));
    QCOMPARE(identifier.backwardSteps, quint64(0));
}

void StatisticsTest::nothingGivesZeros()
{
    const StatisticsResult result = resultOf({});
    QCOMPARE(result.messages(), quint64(0));
    QCOMPARE(result.duration(), qint64(0));
    QVERIFY(!result.frameRate());
    QVERIFY(!result.longestGap);
    QVERIFY(result.channels.isEmpty());
    QVERIFY(result.identifiers.isEmpty());
}

void StatisticsTest::oneFrameHasNoCycle()
{
    const StatisticsResult result = resultOf({Frame(0x123, "11 22").at(-1, -500000)});
    QCOMPARE(result.messages(), quint64(1));
    QCOMPARE(result.firstTime, qint64(-1500000));
    QCOMPARE(result.lastTime, qint64(-1500000));
    QVERIFY(!result.frameRate());
    QCOMPARE(result.identifiers.size(), 1);
    QCOMPARE(result.identifiers.at(0).count, quint64(1));
    QCOMPARE(result.identifiers.at(0).firstTime, qint64(-1500000));
    QCOMPARE(result.identifiers.at(0).cycle.count, quint64(0));
}

void StatisticsTest::framesOfMoreThanEightBytesAreFdFrames()
{
    const StatisticsResult result = resultOf({Frame(0x1).dlc(8), Frame(0x1).dlc(9), Frame(0x1).brs().dlc(64),
                                              Frame(0x1).remote().dlc(15), Frame(CAN::errorFrameId).dlc(12)});
    QCOMPARE(result.total.frames, quint64(4));
    QCOMPARE(result.total.fdFrames, quint64(2));
    QCOMPARE(result.total.switchedFrames, quint64(1));
    QCOMPARE(result.total.remoteFrames, quint64(1));
}

void StatisticsTest::countsEachKindOfFrame()
{
    const StatisticsResult result =
        resultOf({Frame(0x1), Frame(0x1).remote(), Frame(0x2).remote().channel(2), Frame(0x3).fd(),
                  Frame(0x3).fd().brs().channel(2), Frame(0x3).brs(), Frame(CAN::errorFrameId).channel(2),
                  Frame(CAN::errorFrameId).remote().fd()});
    QCOMPARE(result.messages(), quint64(8));
    QCOMPARE(result.total.frames, quint64(6));
    QCOMPARE(result.total.errorFrames, quint64(2));
    QCOMPARE(result.total.remoteFrames, quint64(2));
    QCOMPARE(result.total.fdFrames, quint64(2));
    QCOMPARE(result.total.switchedFrames, quint64(1));

    QCOMPARE(result.channels.size(), 2);
    QCOMPARE(result.channels.at(0).channel, quint16(0));
    QCOMPARE(result.channels.at(0).frames, quint64(4));
    QCOMPARE(result.channels.at(0).errorFrames, quint64(1));
    QCOMPARE(result.channels.at(0).remoteFrames, quint64(1));
    QCOMPARE(result.channels.at(0).fdFrames, quint64(1));
    QCOMPARE(result.channels.at(0).switchedFrames, quint64(0));
    QCOMPARE(result.channels.at(1).channel, quint16(2));
    QCOMPARE(result.channels.at(1).frames, quint64(2));
    QCOMPARE(result.channels.at(1).errorFrames, quint64(1));
    QCOMPARE(result.channels.at(1).switchedFrames, quint64(1));
}

void StatisticsTest::identifiersAreApartByChannelAndKind()
{
    const StatisticsResult result =
        resultOf({Frame(0x18FEF100), Frame(0x123).channel(65535), Frame(0x7FF), Frame(0x123).extended(), Frame(0x123),
                  Frame(0x18FEF100).extended(), Frame(0x123), Frame(CAN::errorFrameId)});
    QStringList rows;
    for (const IdentifierStatistics &row : result.identifiers) {
        rows += QStringLiteral("%1 %2 %3 %4")
                    .arg(row.channel)
                    .arg(QString::number(row.id, 16))
                    .arg(int(row.isExtended))
                    .arg(row.count);
    }
    // An identifier above 7FF is extended, said or not.
    QCOMPARE(rows, (QStringList{QStringLiteral("0 123 0 2"), QStringLiteral("0 7ff 0 1"), QStringLiteral("0 123 1 1"),
                                QStringLiteral("0 18fef100 1 2"), QStringLiteral("65535 123 0 1")}));
}

void StatisticsTest::lengthsAreThoseStated()
{
    const StatisticsResult result =
        resultOf({Frame(0x1).dlc(3), Frame(0x1).dlc(200), Frame(0x1).dlc(2), Frame(0x2).dlc(8)});
    QCOMPARE(result.identifiers.at(0).minimumLength, quint8(2));
    QCOMPARE(result.identifiers.at(0).maximumLength, quint8(200));
    QCOMPARE(result.identifiers.at(1).minimumLength, quint8(8));
    QCOMPARE(result.identifiers.at(1).maximumLength, quint8(8));
}

void StatisticsTest::cycle_data()
{
    QTest::addColumn<qint64>("first");
    QTest::addColumn<QVector<qint64>>("steps");
    QTest::addColumn<CycleTimes>("expected");
    QTest::addColumn<int>("backwardSteps");

    QTest::newRow("one step") << qint64(0) << QVector<qint64>{10000} << CycleTimes{1, 10000, 10000, 10000, 0} << 0;
    QTest::newRow("no time between") << qint64(0) << QVector<qint64>{0, 10} << CycleTimes{2, 0, 10, 5, 5} << 0;
    // The squared distances from 10000 are 0, 4000000 and 4000000.
    QTest::newRow("three steps") << qint64(5) << QVector<qint64>{10000, 12000, 8000}
                                 << CycleTimes{3, 8000, 12000, 10000, std::sqrt(8000000.0 / 3)} << 0;
    QTest::newRow("mean with a fraction")
        << qint64(0) << QVector<qint64>{1, 1, 2} << CycleTimes{3, 1, 2, 4.0 / 3, std::sqrt(2.0) / 3} << 0;
    QTest::newRow("a step back") << qint64(0) << QVector<qint64>{1000, -5000, 3000}
                                 << CycleTimes{2, 1000, 3000, 2000, 1000} << 1;
    QTest::newRow("nothing but steps back")
        << qint64(9000000) << QVector<qint64>{-1, -2} << CycleTimes{0, 0, 0, 0, 0} << 2;

    // The squares of these times have 18 digits and more, of which a sum of doubles would keep 16.
    QVector<qint64> longSteps;
    for (int i = 0; i < 1000; ++i)
        longSteps << 1000000000 << 1000000002;
    QTest::newRow("small deviation from a long cycle")
        << qint64(0) << longSteps << CycleTimes{2000, 1000000000, 1000000002, 1000000001, 1} << 0;
    QTest::newRow("late times") << qint64(2147483000) * 1000000 << QVector<qint64>{10000, 10002}
                                << CycleTimes{2, 10000, 10002, 10001, 1} << 0;
}

Q_DECLARE_METATYPE(CycleTimes)

void StatisticsTest::cycle()
{
    QFETCH(qint64, first);
    QFETCH(QVector<qint64>, steps);
    QFETCH(CycleTimes, expected);
    const IdentifierStatistics identifier = afterSteps(first, steps);
    QTEST(int(identifier.backwardSteps), "backwardSteps");
    QCOMPARE(identifier.cycle.count, expected.count);
    QCOMPARE(identifier.cycle.minimum, expected.minimum);
    QCOMPARE(identifier.cycle.maximum, expected.maximum);
    QVERIFY(isNearly(identifier.cycle.mean, expected.mean));
    QVERIFY(isNearly(identifier.cycle.jitter, expected.jitter));
}

void StatisticsTest::timesThatJumpToAndFro()
{
    // The sum of these steps in microseconds does not fit into 64 bits.
    constexpr int pairs = 5000;
    Statistics statistics(1000000);
    for (int i = 0; i < pairs; ++i) {
        statistics.add(Frame(0x123).at(std::numeric_limits<qint32>::min(), 0));
        statistics.add(Frame(0x123).at(std::numeric_limits<qint32>::max(), 999999));
    }
    const qint64 step = 4294967295999999;
    const StatisticsResult result = statistics.result();
    QCOMPARE(result.duration(), step);
    QCOMPARE(result.backwardSteps, quint64(pairs - 1));
    QCOMPARE(result.gapCount, quint64(pairs));
    QCOMPARE(result.longestGap->duration(), step);
    const CycleTimes &cycle = result.identifiers.at(0).cycle;
    QCOMPARE(cycle.count, quint64(pairs));
    QCOMPARE(cycle.minimum, step);
    QCOMPARE(cycle.maximum, step);
    QCOMPARE(qint64(cycle.mean), step);
    QCOMPARE(cycle.jitter, 0.0);
}

void StatisticsTest::stepsBackAreCounted()
{
    const StatisticsResult result = resultOf(
        {Frame(0x1).at(3, 0), Frame(0x2).at(2, 0), Frame(0x1).at(1, 0), Frame(0x2).at(4, 0), Frame(0x2).at(4, 0)},
        10000000);
    QCOMPARE(result.backwardSteps, quint64(2));
    QCOMPARE(result.firstTime, qint64(1000000));
    QCOMPARE(result.lastTime, qint64(4000000));
    const IdentifierStatistics &first = result.identifiers.at(0);
    QCOMPARE(first.backwardSteps, quint64(1));
    QCOMPARE(first.firstTime, qint64(1000000));
    QCOMPARE(first.lastTime, qint64(3000000));
    QCOMPARE(result.identifiers.at(1).backwardSteps, quint64(0));
}

void StatisticsTest::microsecondsAboveAMillionAreSeconds()
{
    const StatisticsResult result = resultOf({Frame(0x1).at(1, 1500000), Frame(0x1).at(3, 0)});
    QCOMPARE(result.firstTime, qint64(2500000));
    QCOMPARE(result.identifiers.at(0).cycle.minimum, qint64(500000));
}

void StatisticsTest::gaps()
{
    // 1 s is not longer than 1 s; the last step is as long as the longest, which comes before it.
    const StatisticsResult result = resultOf({Frame(0x1).at(0, 0), Frame(0x2).at(1, 0), Frame(0x1).at(2, 1),
                                              Frame(0x3).at(5, 0), Frame(0x3).at(4, 0), Frame(0x3).at(6, 999999)});
    QCOMPARE(result.gapCount, quint64(3));
    QVERIFY(result.longestGap);
    QCOMPARE(result.longestGap->start, qint64(2000001));
    QCOMPARE(result.longestGap->end, qint64(5000000));
}

void StatisticsTest::gapsOfErrorFrames()
{
    // An error frame breaks the silence and belongs to the duration.
    const StatisticsResult result = resultOf({Frame(0x1).at(0, 0), Frame(CAN::errorFrameId).at(0, 900000),
                                              Frame(0x1).at(1, 500000), Frame(CAN::errorFrameId).at(4, 0)});
    QCOMPARE(result.gapCount, quint64(1));
    QCOMPARE(result.longestGap->start, qint64(1500000));
    QCOMPARE(result.duration(), qint64(4000000));
    QCOMPARE(result.identifiers.size(), 1);
    QCOMPARE(result.identifiers.at(0).count, quint64(2));
}

void StatisticsTest::frameRate()
{
    const StatisticsResult result =
        resultOf({Frame(0x1).at(1, 0), Frame(0x1).at(2, 0), Frame(CAN::errorFrameId).at(2, 0), Frame(0x1).at(3, 0)});
    QCOMPARE(result.frameRate().value(), 1.5);
}

void StatisticsTest::bitsAreAddedUpByChannel()
{
    const StatisticsResult result = resultOf({Frame(0x1).dlc(8), Frame(0x1).channel(1), Frame(0x1).extended().dlc(8),
                                              Frame(CAN::errorFrameId).channel(1), Frame(0x1).fd().brs().channel(1)});
    QCOMPARE(result.channels.at(0).bits.least.nominal, quint64(111 + 131));
    QCOMPARE(result.channels.at(0).bits.most.nominal, quint64(135 + 160));
    QCOMPARE(result.channels.at(0).bits.most.switched, quint64(0));
    QCOMPARE(result.channels.at(1).bits.least.nominal, quint64(47 + 17 + 29));
    QCOMPARE(result.channels.at(1).bits.least.switched, quint64(33));
    QCOMPARE(result.channels.at(1).bits.most.nominal, quint64(55 + 23 + 32));
    QCOMPARE(result.channels.at(1).bits.most.switched, quint64(35));
    QCOMPARE(result.total.bits.most.nominal, quint64(135 + 160 + 55 + 23 + 32));
}

void StatisticsTest::load_data()
{
    QTest::addColumn<BitCount>("bits");
    QTest::addColumn<BitRates>("rates");
    QTest::addColumn<qint64>("duration");
    QTest::addColumn<double>("expected");
    QTest::newRow("no bits") << BitCount{0, 0} << BitRates{500000, 500000} << qint64(1) << 0.0;
    QTest::newRow("half of a second") << BitCount{250000, 0} << BitRates{500000, 500000} << qint64(1000000) << 0.5;
    QTest::newRow("both phases") << BitCount{1000, 4000} << BitRates{500000, 2000000} << qint64(10000) << 0.4;
    QTest::newRow("more than there is time for")
        << BitCount{3000000, 0} << BitRates{1000000, 1000000} << qint64(2000000) << 1.5;
}

Q_DECLARE_METATYPE(BitCount)
Q_DECLARE_METATYPE(BitRates)

void StatisticsTest::load()
{
    QFETCH(BitCount, bits);
    QFETCH(BitRates, rates);
    QFETCH(qint64, duration);
    QFETCH(double, expected);
    QVERIFY(isNearly(busLoad(bits, rates, duration).value(), expected));
}

void StatisticsTest::noLoadWithoutDuration()
{
    QVERIFY(!busLoad({100, 0}, {500000, 500000}, 0));
}

void StatisticsTest::identifiersAreLimited()
{
    Statistics statistics(1000000);
    constexpr quint32 limit = 65536;
    for (quint32 id = 0; id < limit; ++id)
        statistics.add(Frame(id).extended());
    QCOMPARE(statistics.result().unlistedFrames, quint64(0));

    statistics.add(Frame(limit).extended());
    statistics.add(Frame(7).extended());
    statistics.add(Frame(7).channel(1));
    statistics.add(Frame(limit).extended());
    const StatisticsResult result = statistics.result();
    QCOMPARE(result.unlistedFrames, quint64(3));
    QCOMPARE(result.total.frames, quint64(limit + 4));
    QCOMPARE(result.identifiers.size(), int(limit));
    QCOMPARE(result.identifiers.at(7).count, quint64(2));
    QCOMPARE(result.channels.at(1).frames, quint64(1));
}

QTEST_GUILESS_MAIN(StatisticsTest)
#include "tst_statistics.moc"
