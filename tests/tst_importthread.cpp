// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "recordingstore.h"

#include <QThread>
#include <QThreadPool>
#include <QtTest>

#include <memory>
#include <vector>

using StorePointer = QPointer<DatachunkHandler>;

namespace
{

constexpr int patience = 30000;
const auto candump = DatachunkHelper::SocketCanDump;

/// A host that reads its logs in a thread beside the one that the store and the user interface live in.
class ThreadedHost
{
public:
    ThreadedHost()
    {
        thread.setObjectName(QStringLiteral("import"));
        handler = new CANLogHandler(current);
        store.addLoadingSignalsOf(handler);
        handler->moveToThread(&thread);
        QObject::connect(&thread, &QThread::finished, handler.data(), &QObject::deleteLater);
        thread.start();
    }
    ~ThreadedHost()
    {
        thread.quit();
        thread.wait();
    }

    bool waitForCalls(int count) const
    {
        return QTest::qWaitFor([&] { return store.calls().size() >= count; }, patience);
    }
    void request(const QString &path, DatachunkHelper::ImportFileType type = candump)
    {
        Q_EMIT store.sigImportRequest(path, type, QString(), false);
    }

    RecordingStore store;
    StorePointer current{&store};
    QThread thread;
    QPointer<CANLogHandler> handler;
};

QStringList importOf(const QString &path, const QVector<int> &batches)
{
    QStringList result{Expected::started(), Expected::loading(true)};
    for (const int size : batches)
        result.append(Expected::delivered(size));
    result << Expected::loading(false) << Expected::finished(true, 11, path);
    return result;
}

QByteArray numberedFrames(int count)
{
    QByteArray content;
    for (int i = 0; i < count; ++i)
        content += "(1.5) can0 " + QByteArray::number(i, 16) + "#11\n";
    return content;
}

} // namespace

class ImportThreadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void importRunsInTheHandlersThread();
    void requestsRunInTheirOrderInOneThread();
    void batchesOfALongLogArriveInOrder();
    void failingRequestsRunInTheHandlersThread_data();
    void failingRequestsRunInTheHandlersThread();
    void mainThreadGoesOnDuringAnImport();
    void zipAndImportRequestsRunSideBySide();
    void threadStopsAfterTheRunningImport();
    void requestsAfterTheEndOfTheThreadAreLost();
};

void ImportThreadTest::importRunsInTheHandlersThread()
{
    const SampleFile file("(1.5) can0 123#1122\n");
    ThreadedHost host;
    host.request(file.path());
    QVERIFY(host.waitForCalls(5));
    QCOMPARE(host.store.calls(), importOf(file.path(), {1}));

    const QVector<Call> calls = host.store.log()->calls();
    for (const Call &call : calls)
        QVERIFY2(call.thread == &host.thread, qPrintable(call.text));
    QVERIFY(host.store.thread() == QThread::currentThread());
    QCOMPARE(host.store.messages(), frames({Frame(0x123, "11 22").at(1, 500000)}));
}

void ImportThreadTest::requestsRunInTheirOrderInOneThread()
{
    std::vector<std::unique_ptr<SampleFile>> files;
    QStringList expected;
    ThreadedHost host;
    for (int i = 0; i < 20; ++i) {
        files.push_back(std::make_unique<SampleFile>(numberedFrames(i)));
        host.request(files.back()->path());
        expected += importOf(files.back()->path(), {i});
    }
    QVERIFY(host.waitForCalls(expected.size()));
    QCOMPARE(host.store.calls(), expected);
    const QVector<Call> calls = host.store.log()->calls();
    for (const Call &call : calls)
        QVERIFY2(call.thread == &host.thread, qPrintable(call.text));
}

void ImportThreadTest::batchesOfALongLogArriveInOrder()
{
    const SampleFile file(numberedFrames(200001));
    ThreadedHost host;
    host.request(file.path());
    QVERIFY(host.waitForCalls(7));
    QCOMPARE(host.store.calls(), importOf(file.path(), {100000, 100000, 1}));

    const Frames messages = host.store.messages();
    QCOMPARE(messages.size(), 200001);
    for (int i = 0; i < messages.size(); ++i) {
        Frame expected(static_cast<quint32>(i), "11");
        expected.at(1, 500000).index(static_cast<quint32>(i));
        if (i > 0x7FF)
            expected.extended();
        if (messages.at(i) != expected)
            QCOMPARE(messages.at(i), CAN::CanRxMessage(expected));
    }
}

void ImportThreadTest::failingRequestsRunInTheHandlersThread_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("exists");
    QTest::newRow("missing file") << 11 << false;
    QTest::newRow("missing native file") << 1 << false;
    QTest::newRow("type without loader") << 3 << true;
    QTest::newRow("unknown type") << 30 << true;
}

void ImportThreadTest::failingRequestsRunInTheHandlersThread()
{
    QFETCH(int, type);
    QFETCH(bool, exists);

    const SampleFile file("(1.5) can0 123#1122\n");
    const QString path = exists ? file.path() : file.path() + QLatin1String(".missing");
    ThreadedHost host;
    host.request(path, static_cast<DatachunkHelper::ImportFileType>(type));
    QVERIFY(host.waitForCalls(2));
    QCOMPARE(host.store.calls(), QStringList({Expected::started(), Expected::finished(false, type, path)}));
    const QVector<Call> calls = host.store.log()->calls();
    for (const Call &call : calls)
        QVERIFY2(call.thread == &host.thread, qPrintable(call.text));
}

void ImportThreadTest::mainThreadGoesOnDuringAnImport()
{
    const SampleFile file("(1.5) can0 123#1122\n");
    ThreadedHost host;
    std::mutex gate;
    std::unique_lock<std::mutex> closed(gate);
    host.store.onCall = [&gate](const Call &call) {
        // Holds the import until the main thread lets it go on.
        if (call.operation == Call::Operation::AddImportedMessages)
            const std::lock_guard<std::mutex> pass(gate);
    };
    host.request(file.path());
    QVERIFY(host.waitForCalls(3));
    bool turned = false;
    QTimer::singleShot(0, this, [&turned] { turned = true; });
    QTRY_VERIFY(turned);
    QCOMPARE(host.store.calls(), importOf(file.path(), {1}).mid(0, 3));

    closed.unlock();
    QVERIFY(host.waitForCalls(5));
    QCOMPARE(host.store.calls(), importOf(file.path(), {1}));
}

void ImportThreadTest::zipAndImportRequestsRunSideBySide()
{
    const SampleFile file(numberedFrames(1000));
    const SampleFile chunk("some bytes", QStringLiteral("first.qcl"));
    const QTemporaryDir target;
    const QString zipPath = target.filePath(QStringLiteral("chunks.zip"));
    {
        ThreadedHost host;
        host.request(file.path());
        Q_EMIT host.store.sigZipDatachunks(zipPath, QFileInfo(chunk.path()).dir());
        host.request(file.path());
        QVERIFY(host.waitForCalls(10));
        QCOMPARE(host.store.calls(), importOf(file.path(), {1000}) + importOf(file.path(), {1000}));
        // The second import came after the zip request: the job was handed to the pool before it.
        QVERIFY(QThreadPool::globalInstance()->waitForDone(patience));
    }
    QFile archive(zipPath);
    QVERIFY(archive.open(QIODevice::ReadOnly));
    QCOMPARE(archive.read(2), QByteArray("PK"));
}

void ImportThreadTest::threadStopsAfterTheRunningImport()
{
    const SampleFile file(numberedFrames(100001));
    ThreadedHost host;
    // Leaving the event loop in the middle of an import: the import ends properly, then the thread does.
    host.store.onCall = [&host](const Call &call) {
        if (call.operation == Call::Operation::SetImportStarted)
            host.thread.quit();
    };
    host.request(file.path());
    QVERIFY(host.thread.wait(patience));
    QVERIFY(host.thread.isFinished());
    QVERIFY(host.handler.isNull());
    QCOMPARE(host.store.calls(), importOf(file.path(), {100000, 1}));
}

void ImportThreadTest::requestsAfterTheEndOfTheThreadAreLost()
{
    const SampleFile file("(1.5) can0 123#1122\n");
    ThreadedHost host;
    host.request(file.path());
    QVERIFY(host.waitForCalls(5));
    host.thread.quit();
    QVERIFY(host.thread.wait(patience));
    QVERIFY(host.handler.isNull());

    host.request(file.path());
    QCoreApplication::processEvents();
    QCOMPARE(host.store.calls(), importOf(file.path(), {1}));
    QCOMPARE(host.current.data(), &host.store);
}

QTEST_GUILESS_MAIN(ImportThreadTest)
#include "tst_importthread.moc"
