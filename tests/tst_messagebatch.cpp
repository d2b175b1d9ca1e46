// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/messagebatch.h"
#include "recordingstore.h"

#include <QtTest>

namespace
{

constexpr int batchSize = 100000;

/// Puts @p count messages into @p batch, with the identifiers @p firstId and on.
void appendMessages(MessageBatch &batch, int count, quint32 firstId = 0)
{
    for (int i = 0; i < count; ++i) {
        batch.next().id = firstId + quint32(i);
        batch.commit();
    }
}

} // namespace

class MessageBatchTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void deliversOnceEvenWhenEmpty();
    void deliversFullBatchesAndTheRest_data();
    void deliversFullBatchesAndTheRest();
    void numbersMessagesAcrossBatches();
    void handsOutEmptyMessagesAlways();
    void forgetsMessagesThatWereNotCommitted();
    void keepsNumbersThatMessagesBring();
    void leavesAloneWhatTheStoreKeeps();
    void deliversNotesWithTheirBatch();
    void deliversEarlyWhenNotesGrow_data();
    void deliversEarlyWhenNotesGrow();
    void survivesAStoreDeletedByADelivery();
    void dropsDeliveriesWithoutAStore();
    void deliversToTheStoreOfTheMoment();
};

void MessageBatchTest::deliversOnceEvenWhenEmpty()
{
    RecordingStore store;
    const QPointer<DatachunkHandler> pointer(&store);
    MessageBatch batch(pointer);
    QCOMPARE(store.calls(), QStringList());
    batch.finish();
    QCOMPARE(store.calls(), QStringList{Expected::delivered(0)});
}

void MessageBatchTest::deliversFullBatchesAndTheRest_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QVector<int>>("sizes");
    QTest::newRow("one message") << 1 << QVector<int>{1};
    QTest::newRow("one less than a batch") << 99999 << QVector<int>{99999};
    QTest::newRow("a batch") << 100000 << QVector<int>{100000, 0};
    QTest::newRow("one more than a batch") << 100001 << QVector<int>{100000, 1};
    QTest::newRow("two and a half batches") << 250000 << QVector<int>{100000, 100000, 50000};
}

void MessageBatchTest::deliversFullBatchesAndTheRest()
{
    QFETCH(int, count);
    QFETCH(QVector<int>, sizes);
    for (const bool keeps : {true, false}) {
        RecordingStore store;
        store.keepMessages = keeps;
        const QPointer<DatachunkHandler> pointer(&store);
        MessageBatch batch(pointer);
        appendMessages(batch, count);
        batch.finish();
        QCOMPARE(store.batchSizes(), sizes);
    }
}

void MessageBatchTest::numbersMessagesAcrossBatches()
{
    RecordingStore store;
    const QPointer<DatachunkHandler> pointer(&store);
    MessageBatch batch(pointer);
    appendMessages(batch, 2 * batchSize + 3);
    batch.finish();
    const Frames messages = store.messages();
    QCOMPARE(messages.size(), 2 * batchSize + 3);
    for (int i = 0; i < messages.size(); ++i) {
        if (messages.at(i).messageIndex != quint32(i) || messages.at(i).id != quint32(i))
            QFAIL(qPrintable(QStringLiteral("message %1").arg(i)));
    }
}

void MessageBatchTest::handsOutEmptyMessagesAlways()
{
    // Records serve again when the store has not kept them: nothing of the batch before may shine through.
    RecordingStore store;
    store.keepMessages = false;
    const QPointer<DatachunkHandler> pointer(&store);
    MessageBatch batch(pointer);
    for (int i = 0; i < batchSize + 10; ++i) {
        CAN::CanRxMessage &message = batch.next();
        if (message != CAN::CanRxMessage())
            QFAIL(qPrintable(QStringLiteral("message %1 is not empty").arg(i)));
        message.id = 0xFFFFFFFF;
        message.data[63] = 1;
        message.isTx = true;
        batch.commit();
    }
}

void MessageBatchTest::forgetsMessagesThatWereNotCommitted()
{
    RecordingStore store;
    const QPointer<DatachunkHandler> pointer(&store);
    MessageBatch batch(pointer);
    batch.next().id = 1;
    batch.next().id = 2;
    batch.commit();
    batch.next().id = 3;
    batch.finish();
    QCOMPARE(store.messages().size(), 1);
    QCOMPARE(store.messages().constFirst().id, 2U);
    QCOMPARE(store.messages().constFirst().messageIndex, 0U);
}

void MessageBatchTest::keepsNumbersThatMessagesBring()
{
    RecordingStore store;
    const QPointer<DatachunkHandler> pointer(&store);
    MessageBatch batch(pointer);
    for (int i = 0; i < batchSize + 2; ++i) {
        batch.next().messageIndex = 7 * quint32(i) + 1;
        batch.commitNumbered();
    }
    batch.finish();
    QCOMPARE(store.batchSizes(), (QVector<int>{batchSize, 2}));
    const Frames messages = store.messages();
    for (int i = 0; i < messages.size(); ++i) {
        if (messages.at(i).messageIndex != 7 * quint32(i) + 1)
            QFAIL(qPrintable(QStringLiteral("message %1").arg(i)));
    }
}

void MessageBatchTest::leavesAloneWhatTheStoreKeeps()
{
    RecordingStore store;
    const QPointer<DatachunkHandler> pointer(&store);
    MessageBatch batch(pointer);
    appendMessages(batch, batchSize, 1000);
    const Frames kept = store.messages();
    appendMessages(batch, batchSize, 500000);
    batch.finish();
    QCOMPARE(kept.constFirst().id, 1000U);
    QCOMPARE(store.messages().at(0).id, 1000U);
    QCOMPARE(store.messages().at(batchSize).id, 500000U);
}

void MessageBatchTest::deliversNotesWithTheirBatch()
{
    RecordingStore store;
    const QPointer<DatachunkHandler> pointer(&store);
    MessageBatch batch(pointer);
    batch.next();
    batch.commit(QStringLiteral("first"));
    appendMessages(batch, batchSize - 2);
    batch.next();
    batch.commit(QStringLiteral("last of the batch"));
    batch.next();
    batch.commit(QStringLiteral("first of the next"));
    batch.finish();
    QCOMPARE(store.calls(), QStringList({Expected::delivered(batchSize, 2), Expected::delivered(1, 1)}));
    const QMap<unsigned int, QString> expected{
        {0, QStringLiteral("first")},
        {99999, QStringLiteral("last of the batch")},
        {100000, QStringLiteral("first of the next")},
    };
    QCOMPARE(store.notes(), expected);
}

void MessageBatchTest::deliversEarlyWhenNotesGrow_data()
{
    // 16 MiB are 8 Mi characters.
    QTest::addColumn<int>("noteLength");
    QTest::addColumn<int>("count");
    QTest::addColumn<QVector<int>>("sizes");
    const int mebi = 1024 * 1024;
    QTest::newRow("16 MiB in one") << 8 * mebi << 3 << QVector<int>{1, 1, 1, 0};
    QTest::newRow("one character less") << 8 * mebi - 1 << 3 << QVector<int>{2, 1};
    QTest::newRow("far more in one") << 20 * mebi << 2 << QVector<int>{1, 1, 0};
    QTest::newRow("16 MiB in four") << 2 * mebi << 10 << QVector<int>{4, 4, 2};
    QTest::newRow("100000 without") << 0 << 100001 << QVector<int>{100000, 1};
    QTest::newRow("100000 short ones") << 80 << 100001 << QVector<int>{100000, 1};
    // 83887 * 100 is the first product from 8388608 on.
    QTest::newRow("100000 longer ones") << 100 << 100001 << QVector<int>{83887, 16114};
}

void MessageBatchTest::deliversEarlyWhenNotesGrow()
{
    QFETCH(int, noteLength);
    QFETCH(int, count);
    QFETCH(QVector<int>, sizes);
    RecordingStore store;
    const QPointer<DatachunkHandler> pointer(&store);
    MessageBatch batch(pointer);
    const QString note(noteLength, QLatin1Char('n'));
    for (int i = 0; i < count; ++i) {
        batch.next();
        batch.commit(note);
    }
    batch.finish();
    QCOMPARE(store.batchSizes(), sizes);
    QCOMPARE(batch.messageCount(), qint64(count));
    const Frames messages = store.messages();
    for (int i = 0; i < count; ++i) {
        if (messages.at(i).messageIndex != quint32(i))
            QFAIL(qPrintable(QStringLiteral("message %1").arg(i)));
    }
    QCOMPARE(store.notes().size(), noteLength > 0 ? count : 0);
}

void MessageBatchTest::survivesAStoreDeletedByADelivery()
{
    auto *const store = new RecordingStore;
    const auto log = store->log();
    store->onCall = [store](const Call &) { delete store; };
    const QPointer<DatachunkHandler> pointer(store);
    MessageBatch batch(pointer);
    appendMessages(batch, batchSize + 1);
    batch.finish();
    QVERIFY(!pointer);
    QCOMPARE(log->texts(), QStringList{Expected::delivered(batchSize)});
}

void MessageBatchTest::dropsDeliveriesWithoutAStore()
{
    const QPointer<DatachunkHandler> pointer;
    MessageBatch batch(pointer);
    appendMessages(batch, batchSize + 1);
    batch.finish();
}

void MessageBatchTest::deliversToTheStoreOfTheMoment()
{
    RecordingStore first;
    RecordingStore second;
    QPointer<DatachunkHandler> pointer(&first);
    MessageBatch batch(pointer);
    appendMessages(batch, batchSize + 1);
    pointer = &second;
    batch.finish();
    QCOMPARE(first.batchSizes(), QVector<int>{batchSize});
    QCOMPARE(second.batchSizes(), QVector<int>{1});
}

QTEST_GUILESS_MAIN(MessageBatchTest)
#include "tst_messagebatch.moc"
