// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "recordingstore.h"
#include "ziparchive.h"

#include <QTemporaryDir>
#include <QThreadPool>
#include <QtTest>

#include <condition_variable>
#include <memory>
#include <mutex>

using DatachunkHelper::ImportFileType;

namespace
{

constexpr int patience = 30000;

/// A handler, its store and, as of a host that is one object, the variable between them; the handler and the variable
/// may go together.
class Host
{
public:
    explicit Host(bool sharesVariable = true)
        : current(std::make_unique<QPointer<DatachunkHandler>>(&store))
        , handler(sharesVariable ? std::make_unique<CANLogHandler>(*current) : std::make_unique<CANLogHandler>(&store))
    {
    }

    void deleteHandler()
    {
        handler.reset();
        current.reset();
    }

    RecordingStore store;
    std::unique_ptr<QPointer<DatachunkHandler>> current;
    std::unique_ptr<CANLogHandler> handler;
};

/// One request.
struct Import {
    QString path;
    ImportFileType type = DatachunkHelper::SocketCanDump;
    QString text;
    bool flag = false;

    bool runIn(CANLogHandler &handler) const { return handler.loadFile(path, type, text, flag); }
};

/// Keeps the only thread that it leaves the global pool busy, so that a job waits.
class BusyPool
{
public:
    BusyPool()
        : threads(pool->maxThreadCount())
    {
        pool->setMaxThreadCount(1);
        pool->start([this] {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [this] { return open; });
        });
    }
    ~BusyPool()
    {
        finish();
        pool->setMaxThreadCount(threads);
    }
    bool finish()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            open = true;
        }
        changed.notify_all();
        return pool->waitForDone(patience);
    }

private:
    Q_DISABLE_COPY(BusyPool)
    QThreadPool *const pool = QThreadPool::globalInstance();
    const int threads;
    std::mutex mutex;
    std::condition_variable changed;
    bool open = false;
};

} // namespace

Q_DECLARE_METATYPE(Import)

/// A handler may be deleted at any time in its thread. What would be touched then the address sanitizer shows.
class HandlerLifetimeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void handlerMayGoInAnyCallOfTheStore_data();
    void handlerMayGoInAnyCallOfTheStore();
    void handlerMayGoInAnySignal_data();
    void handlerMayGoInAnySignal();
    void handlerMayGoBetweenTheBatchesOfALoader();
    void handlerMayGoWhileAnArchiveIsChecked();
    void handlerMayGoWhileAJobWaits();
    void storeMayBeGivenByItself();
    void storeGivenByItselfMayGo();
    void storeGivenByItselfCanBeReplaced();
    void noStoreIsGivenAsNull();

private:
    QString sample(const QString &name, const QByteArray &content)
    {
        const QString path = folder->filePath(name);
        writeTo(path, content);
        return path;
    }
    void addImports();

    QScopedPointer<QTemporaryDir> folder;
};

void HandlerLifetimeTest::init()
{
    folder.reset(new QTemporaryDir);
    QVERIFY(folder->isValid());
}

void HandlerLifetimeTest::addImports()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("flag");
    const auto row = [](const char *file, ImportFileType type, const char *text = "", bool flag = false) {
        QTest::addRow("%s as %d%s", file, int(type), flag ? ", merged" : "")
            << QString::fromLatin1(file) << int(type) << QString::fromLatin1(text) << flag;
    };
    row("drive.log", DatachunkHelper::SocketCanDump);
    row("drive-kvaser.txt", DatachunkHelper::KvaserTxtLog);
    row("drive-canking.txt", DatachunkHelper::KvaserCanKingLog);
    row("drive.asc", DatachunkHelper::VectorAscLog);
    row("drive-nobitcount.asc", DatachunkHelper::VectorAscLogWithoutBitcount);
    row("drive-norvik.txt", DatachunkHelper::NorvikTxt);
    row("drive-wireshark.csv", DatachunkHelper::WiresharkCsv);
    row("conformance-test.txt", DatachunkHelper::CoCTTLog);
    row("ixxat.csv", DatachunkHelper::IxxatLog);
    row("washer-trc11.trc", DatachunkHelper::PeakTraceV11);
    row("washer-trc21.trc", DatachunkHelper::PeakTraceV21);
    row("columns.txt", DatachunkHelper::GenericFile, "t ? I l d");
    row("drive.log", DatachunkHelper::IxxatLog); // fails
    row("none.log", DatachunkHelper::SocketCanDump);
    row("drive.log", DatachunkHelper::QclFile);
    row("two.zip", DatachunkHelper::QclZipArchive);
    row("two.zip", DatachunkHelper::QclZipArchive, "", true);
    row("drive.log", DatachunkHelper::QclZipArchive);
    row("drive.log", DatachunkHelper::QclZipArchive, "", true);
}

void HandlerLifetimeTest::handlerMayGoInAnyCallOfTheStore_data()
{
    addImports();
}

void HandlerLifetimeTest::handlerMayGoInAnyCallOfTheStore()
{
    QFETCH(QString, file);
    QFETCH(int, type);
    QFETCH(QString, text);
    QFETCH(bool, flag);
    Import import{QStringLiteral(CANLOG_EXAMPLES "/") + file, ImportFileType(type), text, flag};
    if (file == QLatin1String("two.zip"))
        import.path = sample(file, ZipBytes::archive({ZipBytes::packed("1.qcl", chunkBytes(QStringLiteral("1-a"))),
                                                      ZipBytes::packed("2.qcl", chunkBytes(QStringLiteral("2-a")))}));
    const auto makeLocation = [&](Host &host, int number) {
        const QString name = QStringLiteral("store-%1").arg(number);
        QVERIFY(QDir(folder->path()).mkdir(name));
        host.store.location = QDir(folder->filePath(name));
        host.store.qclHasFd = true;
    };
    Host whole;
    makeLocation(whole, -1);
    import.runIn(*whole.handler);
    const QStringList allCalls = whole.store.calls();
    QVERIFY(!allCalls.isEmpty());

    for (int last = 0; last < allCalls.size(); ++last) {
        Host host;
        makeLocation(host, last);
        int count = 0;
        host.store.onCall = [&](const Call &) {
            if (count++ == last)
                host.deleteHandler();
        };
        const bool ok = import.runIn(*host.handler);
        QVERIFY(!host.handler);
        QCOMPARE(host.store.calls().size(), last + 1);
        // A request that was through with the file when its end was told has not failed by that.
        QVERIFY2(!ok || last == allCalls.size() - 1, qPrintable(allCalls.at(last)));
    }
}

void HandlerLifetimeTest::handlerMayGoInAnySignal_data()
{
    addImports();
}

void HandlerLifetimeTest::handlerMayGoInAnySignal()
{
    QFETCH(QString, file);
    QFETCH(int, type);
    QFETCH(QString, text);
    QFETCH(bool, flag);
    const Import import{QStringLiteral(CANLOG_EXAMPLES "/") + file, ImportFileType(type), text, flag};
    const auto connectSignals = [](Host &host, const std::function<void()> &slot) {
        CANLogHandler *const handler = host.handler.get();
        QObject::connect(handler, &CANLogHandler::showLoadingDialog, &host.store, slot, Qt::DirectConnection);
        QObject::connect(handler, &CANLogHandler::importProgress, &host.store, slot, Qt::DirectConnection);
    };
    int all = 0;
    Host whole;
    connectSignals(whole, [&] { ++all; });
    import.runIn(*whole.handler);

    for (int last = 0; last < all; ++last) {
        Host host;
        int count = 0;
        connectSignals(host, [&] {
            if (count++ == last)
                host.deleteHandler();
        });
        QVERIFY(!import.runIn(*host.handler));
        QVERIFY(!host.handler);
        QCOMPARE(count, last + 1);
        const QStringList calls = host.store.calls();
        QVERIFY2(calls.isEmpty() || !calls.constLast().startsWith(QLatin1String("setImportFinished")),
                 qPrintable(calls.join(QLatin1Char('|'))));
    }
}

void HandlerLifetimeTest::handlerMayGoBetweenTheBatchesOfALoader()
{
    QByteArray log;
    for (int i = 0; i < 250000; ++i)
        log += "(0.0) c 1#\n";
    const QString path = sample(QStringLiteral("a.log"), log);
    Host host;
    host.store.onCall = [&](const Call &) { host.deleteHandler(); };
    QVERIFY(!host.handler->loadSocketCanDump(path)); // called directly, without notices
    QCOMPARE(host.store.batchSizes(), QVector<int>{100000});
}

void HandlerLifetimeTest::handlerMayGoWhileAnArchiveIsChecked()
{
    const QString path = sample(QStringLiteral("a.zip"),
                                ZipBytes::archive({ZipBytes::packed("1.qcl", chunkBytes(QStringLiteral("1-a"))),
                                                   ZipBytes::packed("2.qcl", chunkBytes(QStringLiteral("2-a")))}));
    Host host;
    host.store.qclMessageCount = 5;
    host.store.onCall = [&](const Call &) { host.deleteHandler(); };
    unsigned short entries = 0;
    unsigned int messages = 0;
    host.handler->checkZipFile(path, entries, messages);
    QCOMPARE(int(entries), 2);
    QCOMPARE(messages, 5U);
    QCOMPARE(host.store.calls().size(), 1);
}

void HandlerLifetimeTest::handlerMayGoWhileAJobWaits()
{
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("source")));
    sample(QStringLiteral("source/a.qcl"), "content");
    const QString path = folder->filePath(QStringLiteral("a.zip"));
    Host host;
    BusyPool pool;
    host.handler->onZipDatachunks(path, QDir(folder->filePath(QStringLiteral("source"))));
    host.deleteHandler();
    QVERIFY(pool.finish());
    QVector<ZipBytes::Listed> entries;
    QVERIFY(ZipBytes::list(contentOf(path), entries));
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries.constFirst().content, QByteArray("content"));
    QCOMPARE(host.store.calls(), QStringList());
}

void HandlerLifetimeTest::storeMayBeGivenByItself()
{
    Host host(false);
    QCOMPARE(host.handler->getPDatachunkHandler().data(), &host.store);
    const QString path = sample(QStringLiteral("a.log"), "(1.5) can0 123#1122\n");
    Q_EMIT host.store.sigImportRequest(path, DatachunkHelper::SocketCanDump, QString(), false);
    QCOMPARE(host.store.calls(), QStringList()); // queued
    QCoreApplication::processEvents();
    QCOMPARE(host.store.calls(),
             QStringList({Expected::started(), Expected::delivered(1), Expected::finished(true, 11, path)}));
}

void HandlerLifetimeTest::storeGivenByItselfMayGo()
{
    auto store = std::make_unique<RecordingStore>();
    CANLogHandler handler(store.get());
    store.reset();
    QVERIFY(handler.getPDatachunkHandler().isNull());
    QVERIFY(!handler.loadFile(sample(QStringLiteral("a.log"), "(1.5) can0 123#1122\n"), DatachunkHelper::SocketCanDump,
                              QString(), false));
}

void HandlerLifetimeTest::storeGivenByItselfCanBeReplaced()
{
    Host host(false);
    RecordingStore other;
    host.handler->setPDatachunkHandler(QPointer<DatachunkHandler>(&other));
    QCOMPARE(host.handler->getPDatachunkHandler().data(), &other);
    QCOMPARE(host.store.importReceivers() + host.store.zipReceivers(), 0);
    QCOMPARE(other.importReceivers(), 1);
    QCOMPARE(other.zipReceivers(), 1);
}

void HandlerLifetimeTest::noStoreIsGivenAsNull()
{
    CANLogHandler handler(nullptr);
    QVERIFY(handler.getPDatachunkHandler().isNull());
    QVERIFY(!handler.loadFile(sample(QStringLiteral("a.log"), "(1.5) can0 123#1122\n"), DatachunkHelper::SocketCanDump,
                              QString(), false));
    RecordingStore store;
    handler.setPDatachunkHandler(QPointer<DatachunkHandler>(&store));
    QCOMPARE(store.importReceivers(), 1);
}

QTEST_GUILESS_MAIN(HandlerLifetimeTest)
#include "tst_handlerlifetime.moc"
