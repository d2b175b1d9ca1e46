// SPDX-License-Identifier: Apache-2.0
#include "bench/allocations.h"
#include "bench/logs.h"
#include "canloghandler/canloghandler.h"
#include "host/store/streamstore.h"

#include <QTemporaryDir>
#include <QtTest>

namespace
{

constexpr int batchSize = 100000;

/// Keeps nothing and notes how many allocations there had been at each delivery.
class MeasuringStore : public StreamStore
{
public:
    void addImportedMessages(const QList<CAN::CanRxMessage> &messages, const QMap<unsigned int, QString> &) override
    {
        sizes.append(messages.size());
        allocations.append(allocationCount());
    }
    QVector<int> sizes;
    QVector<long long> allocations;
};

} // namespace

class AllocationsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesCostNoAllocationAfterTheFirstBatch_data();
    void linesCostNoAllocationAfterTheFirstBatch();
};

void AllocationsTest::linesCostNoAllocationAfterTheFirstBatch_data()
{
    QTest::addColumn<int>("format");
    for (int i = 0; i < benchFormats().size(); ++i) {
        if (!benchFormats().at(i).deliversAtOnce)
            QTest::newRow(benchFormats().at(i).name) << i;
    }
}

void AllocationsTest::linesCostNoAllocationAfterTheFirstBatch()
{
    QFETCH(int, format);
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("log"));
    QVERIFY(writeLog(benchFormats().at(format), path, 3 * batchSize));
    MeasuringStore store;
    store.sizes.reserve(10);
    store.allocations.reserve(10);
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    QVERIFY(handler.importFile(path, benchFormats().at(format).type, QString(), false));
    QCOMPARE(store.sizes, QVector<int>({batchSize, batchSize, batchSize, 0}));
    // What is left is one or two a block of 16384 bytes, a few hundred lines.
    const long long allocations = store.allocations.at(2) - store.allocations.at(1);
    QVERIFY2(allocations < batchSize / 50, qPrintable(QString::number(allocations)));
}

QTEST_GUILESS_MAIN(AllocationsTest)
#include "tst_allocations.moc"
