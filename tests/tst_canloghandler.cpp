// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "recordingstore.h"

#include <QEventLoop>
#include <QFile>
#include <QRunnable>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtTest>

using DatachunkHelper::ImportFileType;
using StorePointer = QPointer<DatachunkHandler>;

namespace
{

const QByteArray oneFrame("(1.5) can0 123#1122\n");
const auto candump = DatachunkHelper::SocketCanDump;

/// Types that have a loader in the table but none in the library yet: they fail as the types without one do. A type
/// leaves this list when its loader comes.
const QList<int> notYetBuilt{};

/// Types that stand for nothing and never get a loader.
const QList<int> withoutLoader{-2147483647 - 1, -20, -11, -1, 3, 10, 16, 29, 30, 31, 32, 256 + 11, 2147483647};

bool isFormatOfItsOwn(int type)
{
    return type > 1 && !withoutLoader.contains(type);
}

/// What the loaders of archives, the merging one with @p flag, make of a log: it is not readable as an archive. The
/// folder is asked for first, since it may have been unpacked before.
QStringList callsOfNoArchive(bool flag)
{
    if (flag)
        return {Expected::started(), Expected::finished(false, 1, QString(), false)};
    return {QStringLiteral("getDataChunkLocation()"), Expected::errorText(QStringLiteral("Invalid zip file"))};
}

ImportFileType fileType(int number)
{
    return static_cast<ImportFileType>(number);
}

/// More than one batch: the first delivery comes while the import still runs.
QByteArray manyFrames(int count)
{
    QByteArray content;
    content.reserve(count * 12);
    for (int i = 0; i < count; ++i)
        content += "(0.0) c 1#\n";
    return content;
}

/// A handler with a store, as a host has it.
struct Host {
    RecordingStore store;
    StorePointer current{&store};
    CANLogHandler handler{current};

    Host() { store.addLoadingSignalsOf(&handler); }
};

bool isArchive(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.read(2) == "PK";
}

/// A folder with two files to pack, and a place for archives.
class ZipSample
{
public:
    ZipSample()
    {
        for (const char *name : {"first.qcl", "second.qcl"}) {
            QFile file(source.filePath(QLatin1String(name)));
            if (!file.open(QIODevice::WriteOnly) || file.write(name) <= 0)
                qFatal("cannot write a sample file");
        }
    }

    QDir sourceDir() const { return QDir(source.path()); }
    QString archive(const char *name = "chunks.zip") const { return target.filePath(QLatin1String(name)); }

private:
    QTemporaryDir source;
    QTemporaryDir target;
};

/// Keeps every thread of the global pool busy, so that a job handed to it waits.
class BusyPool
{
public:
    BusyPool()
        : threads(QThreadPool::globalInstance()->maxThreadCount())
    {
        for (int i = 0; i < threads; ++i) {
            QThreadPool::globalInstance()->start([this] {
                running.release();
                gate.acquire();
            });
        }
        running.acquire(threads);
    }
    ~BusyPool() { finish(); }

    /// Lets the pool go on and waits until it has nothing left to do.
    bool finish()
    {
        gate.release(threads);
        threads = 0;
        return QThreadPool::globalInstance()->waitForDone(30000);
    }

private:
    QSemaphore running;
    QSemaphore gate;
    int threads;
};

} // namespace

class CANLogHandlerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    // Binding to a store
    void handlerGivesTheStoreItWasMadeFor();
    void handlerHasNoErrorTextAtFirst();
    void handlerHasItsParent();
    void handlerOnAStoreMakesOneConnectionPerSignal();
    void handlerWithoutStoreRefusesImports();
    void handlerWithoutStoreTakesAStoreLater();
    void settingAStoreChangesTheHostsVariable();
    void settingAnotherStoreMovesTheConnections();
    void settingTheSameStoreAgainKeepsOneConnectionPerSignal_data();
    void settingTheSameStoreAgainKeepsOneConnectionPerSignal();
    void settingNullEndsTheConnections();
    void settingBackAndForthKeepsOneConnectionPerSignal();
    void otherConnectionsOfTheStoreStay();
    void hostsVariableMayBeTheArgument();
    void hostsVariableMayPointElsewhereAlready();
    void hostsVariableMayPointElsewhereAndBeTheArgument();
    void changedHostsVariableTakesTheImport();
    void formerStoreMayBeDeletedBeforeTheSwitch();

    // Direct calls
    void loadFileBracketsTheImport();
    void loadFileReportsAMissingFile_data();
    void loadFileReportsAMissingFile();
    void loadFileDispatchesByType_data();
    void loadFileDispatchesByType();
    void importFileGivesNoNotices_data();
    void importFileGivesNoNotices();
    void importFileOfAMissingFileDoesNothing_data();
    void importFileOfAMissingFileDoesNothing();
    void storesOwnLoaderDecidesOnNativeFiles_data();
    void storesOwnLoaderDecidesOnNativeFiles();
    void textAndFlagDoNotMatterToACandumpLog_data();
    void textAndFlagDoNotMatterToACandumpLog();
    void anyReadablePathIsImported_data();
    void anyReadablePathIsImported();
    void unreadablePathFails_data();
    void unreadablePathFails();
    void fileIsImportedExactlyIfItMayBeRead();
    void importLeavesTheFileAsItWas();
    void loadingDialogIsUpWhileTheLoaderRuns();
    void importsOneAfterTheOtherAreNumberedFromZero();
    void logInfoIsThatOfTheLatestImport();
    void failedImportsLeaveTheErrorTextEmpty();

    // Requests
    void requestRunsFromTheEventLoop();
    void requestOfAnyTypeIsCarriedOut_data();
    void requestOfAnyTypeIsCarriedOut();
    void requestsRunInTheirOrder();
    void requestDuringAnImportRunsAfterIt();
    void requestWhoseHandlerIsGoneIsDropped();

    // Stores that come and go
    void storeDeletedBeforeTheEventGetsNothing();
    void storeDeletedBeforeADirectCallGetsNothing();
    void storeDeletedDuringAnImportIsNotCalledAgain_data();
    void storeDeletedDuringAnImportIsNotCalledAgain();
    void nativeFileRequestSurvivesTheDeletionOfTheStore_data();
    void nativeFileRequestSurvivesTheDeletionOfTheStore();
    void storeSwitchedWhileARequestWaitsTakesTheImport();
    void storeRemovedWhileARequestWaitsLosesTheImport();
    void storeSwitchedDuringAnImportTakesTheRest();
    void loaderWithoutStoreReadsIntoNothing();

    // Zip requests
    void zipRequestWritesAnArchive();
    void zipRequestRunsAgainAfterTheJob();
    void zipRequestDuringAJobIsDropped();
    void zipRequestNeedsNoStore();
    void zipRequestIntoAMissingFolderEndsAndLeavesTheNextOneRun();
};

void CANLogHandlerTest::init()
{
    QCoreApplication::removePostedEvents(nullptr);
}

void CANLogHandlerTest::cleanup()
{
    QVERIFY(QThreadPool::globalInstance()->waitForDone(30000));
}

void CANLogHandlerTest::handlerGivesTheStoreItWasMadeFor()
{
    const Host host;
    QCOMPARE(host.handler.getPDatachunkHandler().data(), &host.store);
    QCOMPARE(host.current.data(), &host.store);
    QCOMPARE(host.store.calls(), QStringList());
}

void CANLogHandlerTest::handlerHasNoErrorTextAtFirst()
{
    const Host host;
    QCOMPARE(host.handler.getLastErrorText(), QString());

    StorePointer none;
    const CANLogHandler withoutStore(none);
    QCOMPARE(withoutStore.getLastErrorText(), QString());
}

void CANLogHandlerTest::handlerHasItsParent()
{
    QObject parent;
    StorePointer none;
    auto *handler = new CANLogHandler(none, &parent);
    QCOMPARE(handler->parent(), &parent);
    QVERIFY(!CANLogHandler(none).parent());
}

void CANLogHandlerTest::handlerOnAStoreMakesOneConnectionPerSignal()
{
    RecordingStore store;
    StorePointer current(&store);
    QCOMPARE(store.importReceivers(), 0);
    QCOMPARE(store.zipReceivers(), 0);
    {
        const CANLogHandler handler(current);
        QCOMPARE(store.importReceivers(), 1);
        QCOMPARE(store.zipReceivers(), 1);
    }
    QCOMPARE(store.importReceivers(), 0);
    QCOMPARE(store.zipReceivers(), 0);
}

void CANLogHandlerTest::handlerWithoutStoreRefusesImports()
{
    const SampleFile file(oneFrame);
    StorePointer current;
    CANLogHandler handler(current);
    QSignalSpy loading(&handler, &CANLogHandler::showLoadingDialog);

    QVERIFY(handler.getPDatachunkHandler().isNull());
    QCOMPARE(handler.loadFile(file.path(), candump, QString(), false), false);
    QCOMPARE(handler.loadFile(file.path(), DatachunkHelper::QclFile, QString(), false), false);
    QCOMPARE(handler.loadFile(file.path(), DatachunkHelper::QclZipArchive, QString(), true), false);
    QCOMPARE(loading.count(), 0);
}

void CANLogHandlerTest::handlerWithoutStoreTakesAStoreLater()
{
    const SampleFile file(oneFrame);
    StorePointer current;
    CANLogHandler handler(current);
    RecordingStore store;
    handler.setPDatachunkHandler(StorePointer(&store));

    QCOMPARE(current.data(), &store);
    QCOMPARE(handler.getPDatachunkHandler().data(), &store);
    Q_EMIT store.sigImportRequest(file.path(), candump, QString(), false);
    QCoreApplication::processEvents();
    QCOMPARE(store.calls(),
             QStringList({Expected::started(), Expected::delivered(1), Expected::finished(true, 11, file.path())}));
}

void CANLogHandlerTest::settingAStoreChangesTheHostsVariable()
{
    Host host;
    RecordingStore other;
    host.handler.setPDatachunkHandler(StorePointer(&other));
    QCOMPARE(host.current.data(), &other);
    QCOMPARE(host.handler.getPDatachunkHandler().data(), &other);

    host.handler.setPDatachunkHandler(StorePointer());
    QVERIFY(host.current.isNull());
    QVERIFY(host.handler.getPDatachunkHandler().isNull());
}

void CANLogHandlerTest::settingAnotherStoreMovesTheConnections()
{
    const SampleFile file(oneFrame);
    Host host;
    RecordingStore other;
    host.handler.setPDatachunkHandler(StorePointer(&other));
    QCOMPARE(host.store.importReceivers(), 0);
    QCOMPARE(host.store.zipReceivers(), 0);
    QCOMPARE(other.importReceivers(), 1);
    QCOMPARE(other.zipReceivers(), 1);

    Q_EMIT host.store.sigImportRequest(file.path(), candump, QString(), false);
    QCoreApplication::processEvents();
    QCOMPARE(host.store.calls(), QStringList());
    QCOMPARE(other.calls(), QStringList());

    Q_EMIT other.sigImportRequest(file.path(), candump, QString(), false);
    QCoreApplication::processEvents();
    QCOMPARE(host.store.calls(),
             QStringList({Expected::loading(true), Expected::loading(false)})); // the signals are noted here
    QCOMPARE(other.calls(),
             QStringList({Expected::started(), Expected::delivered(1), Expected::finished(true, 11, file.path())}));
}

void CANLogHandlerTest::settingTheSameStoreAgainKeepsOneConnectionPerSignal_data()
{
    QTest::addColumn<int>("times");
    QTest::newRow("once") << 1;
    QTest::newRow("twice") << 2;
    QTest::newRow("five times") << 5;
}

void CANLogHandlerTest::settingTheSameStoreAgainKeepsOneConnectionPerSignal()
{
    QFETCH(int, times);

    const SampleFile file(oneFrame);
    Host host;
    for (int i = 0; i < times; ++i)
        host.handler.setPDatachunkHandler(StorePointer(&host.store));
    QCOMPARE(host.current.data(), &host.store);
    QCOMPARE(host.store.importReceivers(), 1);
    QCOMPARE(host.store.zipReceivers(), 1);

    Q_EMIT host.store.sigImportRequest(file.path(), candump, QString(), false);
    QCoreApplication::processEvents();
    QCOMPARE(host.store.calls(), QStringList({Expected::started(), Expected::loading(true), Expected::delivered(1),
                                              Expected::loading(false), Expected::finished(true, 11, file.path())}));
}

void CANLogHandlerTest::settingNullEndsTheConnections()
{
    const SampleFile file(oneFrame);
    const ZipSample zip;
    Host host;
    host.handler.setPDatachunkHandler(StorePointer());
    QCOMPARE(host.store.importReceivers(), 0);
    QCOMPARE(host.store.zipReceivers(), 0);

    Q_EMIT host.store.sigImportRequest(file.path(), candump, QString(), false);
    Q_EMIT host.store.sigZipDatachunks(zip.archive(), zip.sourceDir());
    QCoreApplication::processEvents();
    QVERIFY(QThreadPool::globalInstance()->waitForDone(30000));
    QCOMPARE(host.handler.loadFile(file.path(), candump, QString(), false), false);
    QCOMPARE(host.store.calls(), QStringList());
    QVERIFY(!QFile::exists(zip.archive()));
}

void CANLogHandlerTest::settingBackAndForthKeepsOneConnectionPerSignal()
{
    const SampleFile file(oneFrame);
    Host host;
    RecordingStore other;
    for (int i = 0; i < 3; ++i) {
        host.handler.setPDatachunkHandler(StorePointer(&other));
        host.handler.setPDatachunkHandler(StorePointer());
        host.handler.setPDatachunkHandler(StorePointer(&host.store));
    }
    QCOMPARE(other.importReceivers(), 0);
    QCOMPARE(other.zipReceivers(), 0);
    QCOMPARE(host.store.importReceivers(), 1);
    QCOMPARE(host.store.zipReceivers(), 1);

    Q_EMIT host.store.sigImportRequest(file.path(), candump, QString(), false);
    QCoreApplication::processEvents();
    QCOMPARE(host.store.batchSizes(), QVector<int>{1});
}

void CANLogHandlerTest::otherConnectionsOfTheStoreStay()
{
    Host host;
    int seen = 0;
    QObject listener;
    connect(&host.store, &DatachunkHandler::sigImportRequest, &listener, [&seen] { ++seen; });
    bool destroyed = false;
    connect(&host.store, &QObject::destroyed, &listener, [&destroyed] { destroyed = true; });

    RecordingStore other;
    host.handler.setPDatachunkHandler(StorePointer(&other));
    Q_EMIT host.store.sigImportRequest(QString(), candump, QString(), false);
    QCOMPARE(seen, 1);
    QVERIFY(!destroyed);
}

void CANLogHandlerTest::hostsVariableMayBeTheArgument()
{
    const SampleFile file(oneFrame);
    Host host;
    host.handler.setPDatachunkHandler(host.current);
    QCOMPARE(host.current.data(), &host.store);
    QCOMPARE(host.store.importReceivers(), 1);
    QCOMPARE(host.store.zipReceivers(), 1);
    host.handler.setPDatachunkHandler(host.handler.getPDatachunkHandler());
    QCOMPARE(host.current.data(), &host.store);

    Q_EMIT host.store.sigImportRequest(file.path(), candump, QString(), false);
    QCoreApplication::processEvents();
    QCOMPARE(host.store.batchSizes(), QVector<int>{1});
}

void CANLogHandlerTest::hostsVariableMayPointElsewhereAlready()
{
    const SampleFile file(oneFrame);
    Host host;
    RecordingStore other;
    host.current = &other;
    host.handler.setPDatachunkHandler(StorePointer(&other));
    QCOMPARE(host.current.data(), &other);
    QCOMPARE(other.importReceivers(), 1);
    QCOMPARE(other.zipReceivers(), 1);

    Q_EMIT other.sigImportRequest(file.path(), candump, QString(), false);
    QCoreApplication::processEvents();
    QCOMPARE(other.calls(),
             QStringList({Expected::started(), Expected::delivered(1), Expected::finished(true, 11, file.path())}));
    QCOMPARE(host.store.batchSizes(), QVector<int>());
}

void CANLogHandlerTest::hostsVariableMayPointElsewhereAndBeTheArgument()
{
    const SampleFile file(oneFrame);
    Host host;
    RecordingStore other;
    host.current = &other;
    host.handler.setPDatachunkHandler(host.current);
    QCOMPARE(host.current.data(), &other);

    Q_EMIT other.sigImportRequest(file.path(), candump, QString(), false);
    QCoreApplication::processEvents();
    QCOMPARE(other.batchSizes(), QVector<int>{1});
    QCOMPARE(host.store.batchSizes(), QVector<int>());

    host.current.clear();
    host.handler.setPDatachunkHandler(host.current);
    QVERIFY(host.handler.getPDatachunkHandler().isNull());
    QCOMPARE(host.handler.loadFile(file.path(), candump, QString(), false), false);
}

void CANLogHandlerTest::changedHostsVariableTakesTheImport()
{
    const SampleFile file(oneFrame);
    Host host;
    RecordingStore other;
    host.current = &other;
    QCOMPARE(host.handler.getPDatachunkHandler().data(), &other);

    // The connection is still with the former store: its request runs into the store that the variable holds.
    Q_EMIT host.store.sigImportRequest(file.path(), candump, QString(), false);
    QCoreApplication::processEvents();
    QCOMPARE(host.store.calls(),
             QStringList({Expected::loading(true), Expected::loading(false)})); // the signals are noted here
    QCOMPARE(other.calls(),
             QStringList({Expected::started(), Expected::delivered(1), Expected::finished(true, 11, file.path())}));
}

void CANLogHandlerTest::formerStoreMayBeDeletedBeforeTheSwitch()
{
    const SampleFile file(oneFrame);
    auto *former = new RecordingStore;
    StorePointer current(former);
    CANLogHandler handler(current);
    delete former;
    QVERIFY(handler.getPDatachunkHandler().isNull());

    RecordingStore store;
    handler.setPDatachunkHandler(StorePointer(&store));
    Q_EMIT store.sigImportRequest(file.path(), candump, QString(), false);
    QCoreApplication::processEvents();
    QCOMPARE(store.batchSizes(), QVector<int>{1});
}

void CANLogHandlerTest::loadFileBracketsTheImport()
{
    const SampleFile file("(1.5) can0 123#1122\n(2.25) can0 18FEF100#FF\n");
    Host host;
    QCOMPARE(host.handler.loadFile(file.path(), candump, QString(), false), true);
    QCOMPARE(host.store.calls(), QStringList({Expected::started(), Expected::loading(true), Expected::delivered(2),
                                              Expected::loading(false), Expected::finished(true, 11, file.path())}));
    QCOMPARE(host.store.messages(),
             frames({Frame(0x123, "11 22").at(1, 500000), Frame(0x18FEF100, "FF").at(2, 250000).extended()}));
}

void CANLogHandlerTest::loadFileReportsAMissingFile_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("flag");
    for (int type = -1; type <= 25; ++type) {
        QTest::addRow("type %d", type) << type << false;
        QTest::addRow("type %d with flag", type) << type << true;
    }
}

void CANLogHandlerTest::loadFileReportsAMissingFile()
{
    QFETCH(int, type);
    QFETCH(bool, flag);

    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("missing.log"));
    Host host;
    QCOMPARE(host.handler.loadFile(path, fileType(type), QString(), flag), false);

    QStringList expected;
    if (type != 0)
        expected.append(Expected::started());
    expected.append(Expected::finished(false, type, path));
    QCOMPARE(host.store.calls(), expected);
    QVERIFY(!QFile::exists(path));
}

void CANLogHandlerTest::loadFileDispatchesByType_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("flag");
    for (int type = -1; type <= 25; ++type) {
        QTest::addRow("type %d", type) << type << false;
        QTest::addRow("type %d with flag", type) << type << true;
    }
    for (const int type : withoutLoader) {
        if (type < -1 || type > 25)
            QTest::addRow("type %d", type) << type << false;
    }
}

void CANLogHandlerTest::loadFileDispatchesByType()
{
    QFETCH(int, type);
    QFETCH(bool, flag);

    const SampleFile file(oneFrame);
    Host host;
    const bool result = host.handler.loadFile(file.path(), fileType(type), QStringLiteral("text"), flag);

    QStringList calls = host.store.calls();
    if (notYetBuilt.contains(type) || withoutLoader.contains(type)) {
        QCOMPARE(calls, QStringList({Expected::started(), Expected::finished(false, type, file.path())}));
        QCOMPARE(result, false);
    } else if (type == 0) {
        QCOMPARE(calls, callsOfNoArchive(flag) + QStringList{Expected::finished(false, 0, file.path())});
        QCOMPARE(result, false);
    } else if (type == 1) {
        QCOMPARE(calls, QStringList({Expected::started(), Expected::qclFile(file.path()),
                                     Expected::finished(true, 1, file.path())}));
        QCOMPARE(result, true);
    } else if (type == 11) {
        QCOMPARE(calls, QStringList({Expected::started(), Expected::loading(true), Expected::delivered(1),
                                     Expected::loading(false), Expected::finished(true, 11, file.path())}));
        QCOMPARE(result, true);
    } else {
        // What the other loaders make of a candump log is their own matter, not how they are bracketed.
        QVERIFY(!calls.isEmpty());
        QCOMPARE(calls.takeLast(), Expected::finished(result, type, file.path()));
        if (isFormatOfItsOwn(type)) {
            QVERIFY(calls.size() >= 3);
            QCOMPARE(calls.takeFirst(), Expected::started());
            QCOMPARE(calls.takeFirst(), Expected::loading(true));
            QCOMPARE(calls.takeLast(), Expected::loading(false));
        }
        QVERIFY(!calls.contains(Expected::started()));
        QVERIFY(calls.filter(QStringLiteral("showLoadingDialog")).isEmpty());
        QVERIFY(calls.filter(QStringLiteral("setImportFinished")).isEmpty());
    }
}

void CANLogHandlerTest::importFileGivesNoNotices_data()
{
    loadFileDispatchesByType_data();
}

void CANLogHandlerTest::importFileGivesNoNotices()
{
    QFETCH(int, type);
    QFETCH(bool, flag);

    const SampleFile file(oneFrame);
    Host host;
    const bool result = host.handler.importFile(file.path(), fileType(type), QStringLiteral("text"), flag);

    QStringList calls = host.store.calls();
    if (notYetBuilt.contains(type) || withoutLoader.contains(type)) {
        QCOMPARE(calls, QStringList());
        QCOMPARE(result, false);
    } else if (type == 0) {
        QCOMPARE(calls, callsOfNoArchive(flag));
        QCOMPARE(result, false);
    } else if (type == 1) {
        QCOMPARE(calls, QStringList{Expected::qclFile(file.path())});
        QCOMPARE(result, true);
    } else if (type == 11) {
        QCOMPARE(calls, QStringList({Expected::loading(true), Expected::delivered(1), Expected::loading(false)}));
        QCOMPARE(result, true);
    } else if (isFormatOfItsOwn(type)) {
        QVERIFY(calls.size() >= 2);
        QCOMPARE(calls.takeFirst(), Expected::loading(true));
        QCOMPARE(calls.takeLast(), Expected::loading(false));
        QVERIFY(calls.filter(QStringLiteral("setImport")).isEmpty());
    }
}

void CANLogHandlerTest::importFileOfAMissingFileDoesNothing_data()
{
    loadFileReportsAMissingFile_data();
}

void CANLogHandlerTest::importFileOfAMissingFileDoesNothing()
{
    QFETCH(int, type);
    QFETCH(bool, flag);

    const QTemporaryDir folder;
    Host host;
    QCOMPARE(host.handler.importFile(folder.filePath(QStringLiteral("missing.log")), fileType(type), QString(), flag),
             false);
    QCOMPARE(host.store.calls(), QStringList());
}

void CANLogHandlerTest::storesOwnLoaderDecidesOnNativeFiles_data()
{
    QTest::addColumn<bool>("accepted");
    QTest::newRow("accepted") << true;
    QTest::newRow("refused") << false;
}

void CANLogHandlerTest::storesOwnLoaderDecidesOnNativeFiles()
{
    QFETCH(bool, accepted);

    const SampleFile file("native bytes", QStringLiteral("chunk.qcl"));
    Host host;
    host.store.qclResult = accepted;
    QCOMPARE(host.handler.loadFile(file.path(), DatachunkHelper::QclFile, QString(), false), accepted);
    QCOMPARE(host.store.calls(), QStringList({Expected::started(), Expected::qclFile(file.path()),
                                              Expected::finished(accepted, 1, file.path())}));

    host.store.clear();
    QCOMPARE(host.handler.importFile(file.path(), DatachunkHelper::QclFile, QString(), false), accepted);
    QCOMPARE(host.store.calls(), QStringList{Expected::qclFile(file.path())});
}

void CANLogHandlerTest::textAndFlagDoNotMatterToACandumpLog_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("flag");
    QTest::newRow("neither") << QString() << false;
    QTest::newRow("flag") << QString() << true;
    QTest::newRow("text") << QStringLiteral("Time;ID;Data") << false;
    QTest::newRow("both") << QStringLiteral("Time;ID;Data") << true;
}

void CANLogHandlerTest::textAndFlagDoNotMatterToACandumpLog()
{
    QFETCH(QString, text);
    QFETCH(bool, flag);

    const SampleFile file(oneFrame);
    Host host;
    QCOMPARE(host.handler.loadFile(file.path(), candump, text, flag), true);
    QCOMPARE(host.store.calls(), QStringList({Expected::started(), Expected::loading(true), Expected::delivered(1),
                                              Expected::loading(false), Expected::finished(true, 11, file.path())}));
}

void CANLogHandlerTest::anyReadablePathIsImported_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << "drive.log";
    QTest::newRow("blanks") << "my last drive.log";
    QTest::newRow("no suffix") << "drive";
    QTest::newRow("hidden") << ".drive";
    QTest::newRow("other scripts") << "Fahrt \u00dc\u4e2d.log";
    QTest::newRow("place marker") << "100%1%2.log";
    QTest::newRow("upper-case suffix of an archive") << "DRIVE.ZIP";
}

void CANLogHandlerTest::anyReadablePathIsImported()
{
    QFETCH(QString, name);

    const SampleFile file(oneFrame, name);
    Host host;
    QCOMPARE(host.handler.loadFile(file.path(), candump, QString(), false), true);
    const QVector<Call> calls = host.store.log()->calls();
    QCOMPARE(calls.size(), 5);
    QVERIFY2(calls.last().text.contains(file.path()), qPrintable(calls.last().text));
    QCOMPARE(host.store.messages(), frames({Frame(0x123, "11 22").at(1, 500000)}));
}

void CANLogHandlerTest::unreadablePathFails_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<int>("type");
    for (const int type : {1, 11}) {
        QTest::addRow("folder as type %d", type) << "folder" << type;
        QTest::addRow("folder with a slash as type %d", type) << "slash" << type;
        QTest::addRow("empty path as type %d", type) << "empty" << type;
        QTest::addRow("null path as type %d", type) << "null" << type;
        QTest::addRow("path through a file as type %d", type) << "through" << type;
        QTest::addRow("broken link as type %d", type) << "link" << type;
        QTest::addRow("missing folder as type %d", type) << "missing" << type;
    }
}

void CANLogHandlerTest::unreadablePathFails()
{
    QFETCH(QString, kind);
    QFETCH(int, type);

    const SampleFile file(oneFrame);
    const QTemporaryDir folder;
    QString path;
    if (kind == QLatin1String("folder"))
        path = folder.path();
    else if (kind == QLatin1String("slash"))
        path = folder.path() + QLatin1Char('/');
    else if (kind == QLatin1String("empty"))
        path = QLatin1String("");
    else if (kind == QLatin1String("through"))
        path = file.path() + QLatin1String("/more.log");
    else if (kind == QLatin1String("missing"))
        path = folder.filePath(QStringLiteral("no/such.log"));
    if (kind == QLatin1String("link")) {
        path = folder.filePath(QStringLiteral("link.lnk"));
        QVERIFY(QFile::link(folder.filePath(QStringLiteral("gone.log")), path));
    }

    Host host;
    QCOMPARE(host.handler.importFile(path, fileType(type), QString(), false), false);
    QCOMPARE(host.store.calls(), QStringList());
    QCOMPARE(host.handler.loadFile(path, fileType(type), QString(), false), false);
    QCOMPARE(host.store.calls(), QStringList({Expected::started(), Expected::finished(false, type, path)}));
    QCOMPARE(host.handler.loadSocketCanDump(path), false);
    QCOMPARE(host.store.calls().size(), 2);
}

void CANLogHandlerTest::fileIsImportedExactlyIfItMayBeRead()
{
    const SampleFile file(oneFrame);
    QVERIFY(QFile::setPermissions(file.path(), QFile::WriteOwner));
    // The superuser may read it all the same.
    const bool readable = QFile(file.path()).open(QIODevice::ReadOnly);

    Host host;
    QCOMPARE(host.handler.loadFile(file.path(), candump, QString(), false), readable);
    QStringList expected{Expected::started(), Expected::finished(readable, 11, file.path())};
    if (readable)
        expected = expected.mid(0, 1)
                   + QStringList{Expected::loading(true), Expected::delivered(1), Expected::loading(false)}
                   + expected.mid(1);
    QCOMPARE(host.store.calls(), expected);
}

void CANLogHandlerTest::importLeavesTheFileAsItWas()
{
    const SampleFile file(oneFrame);
    QVERIFY(QFile::setPermissions(file.path(), QFile::ReadOwner | QFile::ReadUser));
    Host host;
    QCOMPARE(host.handler.loadFile(file.path(), candump, QString(), false), true);
    QFile after(file.path());
    QVERIFY(after.open(QIODevice::ReadOnly));
    QCOMPARE(after.readAll(), oneFrame);
}

void CANLogHandlerTest::loadingDialogIsUpWhileTheLoaderRuns()
{
    const SampleFile file(manyFrames(100001));
    Host host;
    host.store.keepMessages = false;
    QCOMPARE(host.handler.loadFile(file.path(), candump, QString(), false), true);
    QCOMPARE(host.store.calls(), QStringList({Expected::started(), Expected::loading(true), Expected::delivered(100000),
                                              Expected::delivered(1), Expected::loading(false),
                                              Expected::finished(true, 11, file.path())}));
}

void CANLogHandlerTest::importsOneAfterTheOtherAreNumberedFromZero()
{
    const SampleFile file("(1.5) can0 123#1122\n(1.6) can0 124#\n");
    Host host;
    QCOMPARE(host.handler.loadFile(file.path(), candump, QString(), false), true);
    QCOMPARE(host.handler.loadFile(file.path(), candump, QString(), false), true);
    const Frames expected = frames({Frame(0x123, "11 22").at(1, 500000).index(0), Frame(0x124).at(1, 600000).index(1),
                                    Frame(0x123, "11 22").at(1, 500000).index(0), Frame(0x124).at(1, 600000).index(1)});
    QCOMPARE(host.store.messages(), expected);
}

void CANLogHandlerTest::logInfoIsThatOfTheLatestImport()
{
    const SampleFile named("(1700000000.5) can1 123#11\n(1700000000.6) vcan7 123#22\n");
    const SampleFile dated("date Mon Jan 2 03:04:05.678 pm 2023\nbase hex  timestamps absolute\n0.5 1 123 Rx d 1 11\n");
    Host host;
    QVERIFY(host.handler.loadFile(named.path(), DatachunkHelper::Candump, QString(), false));
    LogInfo info = host.handler.getLogInfo();
    QCOMPARE(info.timeBase, LogInfo::TimeBase::UnixEpoch);
    QCOMPARE(info.channelNames, (QMap<quint16, QString>{{2, QStringLiteral("can1")}, {8, QStringLiteral("vcan7")}}));
    QVERIFY(host.handler.loadFile(dated.path(), DatachunkHelper::VectorAsc, QString(), false));
    info = host.handler.getLogInfo();
    QCOMPARE(info.timeBase, LogInfo::TimeBase::LogStart);
    QCOMPARE(info.start.date(), QDate(2023, 1, 2));
    QCOMPARE(info.start.time(), QTime(15, 4, 5, 678));
    QVERIFY(!info.startHasZone);
    QVERIFY(info.channelNames.isEmpty());
    // Of what is no log nothing is known.
    QVERIFY(!host.handler.loadFile(named.path(), fileType(29), QString(), false));
    QVERIFY(!host.handler.getLogInfo().start.isValid());
}

void CANLogHandlerTest::failedImportsLeaveTheErrorTextEmpty()
{
    // Only importer classes and archives have error texts.
    const SampleFile file(oneFrame);
    const QTemporaryDir folder;
    Host host;
    host.store.qclResult = false;
    QCOMPARE(host.handler.loadFile(folder.filePath(QStringLiteral("missing.log")), candump, QString(), false), false);
    QCOMPARE(host.handler.loadFile(file.path(), fileType(3), QString(), false), false);
    QCOMPARE(host.handler.loadFile(file.path(), fileType(29), QString(), false), false);
    QCOMPARE(host.handler.loadFile(file.path(), DatachunkHelper::QclFile, QString(), false), false);
    QCOMPARE(host.handler.getLastErrorText(), QString());
    QVERIFY(host.store.calls().filter(QStringLiteral("setLastErrorText")).isEmpty());
}

void CANLogHandlerTest::requestRunsFromTheEventLoop()
{
    const SampleFile file(oneFrame);
    Host host;
    Q_EMIT host.store.sigImportRequest(file.path(), candump, QString(), false);
    QCOMPARE(host.store.calls(), QStringList());

    QEventLoop loop;
    host.store.onCall = [&loop](const Call &call) {
        if (call.operation == Call::Operation::SetImportFinished)
            loop.quit();
    };
    QTimer::singleShot(30000, &loop, [&loop] { loop.exit(1); });
    QCOMPARE(loop.exec(), 0);
    QCOMPARE(host.store.calls(), QStringList({Expected::started(), Expected::loading(true), Expected::delivered(1),
                                              Expected::loading(false), Expected::finished(true, 11, file.path())}));
    QCOMPARE(host.store.messages(), frames({Frame(0x123, "11 22").at(1, 500000)}));
}

void CANLogHandlerTest::requestOfAnyTypeIsCarriedOut_data()
{
    QTest::addColumn<int>("type");
    for (int type = -1; type <= 25; ++type)
        QTest::addRow("type %d", type) << type;
}

void CANLogHandlerTest::requestOfAnyTypeIsCarriedOut()
{
    QFETCH(int, type);

    const SampleFile file(oneFrame);
    Host host;
    host.handler.loadFile(file.path(), fileType(type), QStringLiteral("text"), true);
    const QStringList direct = host.store.calls();
    host.store.clear();

    Q_EMIT host.store.sigImportRequest(file.path(), fileType(type), QStringLiteral("text"), true);
    QCOMPARE(host.store.calls(), QStringList());
    QCoreApplication::processEvents();
    QCOMPARE(host.store.calls(), direct);
    QVERIFY(!direct.isEmpty());
}

void CANLogHandlerTest::requestsRunInTheirOrder()
{
    const SampleFile first("(1.0) can0 1#\n");
    const SampleFile second("(2.0) can0 2#\n(2.0) can0 2#\n");
    Host host;
    Q_EMIT host.store.sigImportRequest(first.path(), candump, QString(), false);
    Q_EMIT host.store.sigImportRequest(second.path(), DatachunkHelper::QclFile, QString(), false);
    Q_EMIT host.store.sigImportRequest(first.path(), fileType(3), QString(), false);
    Q_EMIT host.store.sigImportRequest(second.path(), candump, QString(), false);
    QCoreApplication::processEvents();
    QCOMPARE(host.store.calls(), QStringList({Expected::started(), Expected::loading(true), Expected::delivered(1),
                                              Expected::loading(false), Expected::finished(true, 11, first.path()), //
                                              Expected::started(), Expected::qclFile(second.path()),
                                              Expected::finished(true, 1, second.path()),                      //
                                              Expected::started(), Expected::finished(false, 3, first.path()), //
                                              Expected::started(), Expected::loading(true), Expected::delivered(2),
                                              Expected::loading(false), Expected::finished(true, 11, second.path())}));
}

void CANLogHandlerTest::requestDuringAnImportRunsAfterIt()
{
    const SampleFile first("(1.0) can0 1#\n");
    const SampleFile second("(2.0) can0 2#\n(2.0) can0 2#\n");
    Host host;
    bool asked = false;
    host.store.onCall = [&](const Call &call) {
        if (!asked && call.operation == Call::Operation::AddImportedMessages) {
            asked = true;
            Q_EMIT host.store.sigImportRequest(second.path(), candump, QString(), false);
        }
    };
    Q_EMIT host.store.sigImportRequest(first.path(), candump, QString(), false);
    QTRY_COMPARE(host.store.calls().size(), 10);
    QCOMPARE(host.store.calls(), QStringList({Expected::started(), Expected::loading(true), Expected::delivered(1),
                                              Expected::loading(false), Expected::finished(true, 11, first.path()), //
                                              Expected::started(), Expected::loading(true), Expected::delivered(2),
                                              Expected::loading(false), Expected::finished(true, 11, second.path())}));
}

void CANLogHandlerTest::requestWhoseHandlerIsGoneIsDropped()
{
    const SampleFile file(oneFrame);
    RecordingStore store;
    StorePointer current(&store);
    {
        const CANLogHandler handler(current);
        Q_EMIT store.sigImportRequest(file.path(), candump, QString(), false);
    }
    QCoreApplication::processEvents();
    QCOMPARE(store.calls(), QStringList());
    QCOMPARE(current.data(), &store);
}

void CANLogHandlerTest::storeDeletedBeforeTheEventGetsNothing()
{
    const SampleFile file(oneFrame);
    auto *store = new RecordingStore;
    const std::shared_ptr<CallLog> log = store->log();
    StorePointer current(store);
    CANLogHandler handler(current);
    store->addLoadingSignalsOf(&handler);

    Q_EMIT store->sigImportRequest(file.path(), candump, QString(), false);
    delete store;
    QCoreApplication::processEvents();
    QCOMPARE(log->texts(), QStringList());
    QVERIFY(current.isNull());
}

void CANLogHandlerTest::storeDeletedBeforeADirectCallGetsNothing()
{
    const SampleFile file(oneFrame);
    auto *store = new RecordingStore;
    const std::shared_ptr<CallLog> log = store->log();
    StorePointer current(store);
    CANLogHandler handler(current);
    store->addLoadingSignalsOf(&handler);

    delete store;
    QVERIFY(handler.getPDatachunkHandler().isNull());
    QCOMPARE(handler.loadFile(file.path(), candump, QString(), false), false);
    QCOMPARE(log->texts(), QStringList());
}

void CANLogHandlerTest::storeDeletedDuringAnImportIsNotCalledAgain_data()
{
    QTest::addColumn<QString>("moment");
    QTest::addColumn<QStringList>("expected");

    const QString started = Expected::started();
    const QString loading = Expected::loading(true);
    const QString loaded = Expected::loading(false);
    const QString first = Expected::delivered(100000);
    const QString rest = Expected::delivered(1);

    // The loading signals come whatever happens to the store, the file is read to its end.
    QTest::newRow("from setImportStarted()") << started << QStringList({started, loading, loaded});
    QTest::newRow("when the loading dialog opens") << loading << QStringList({started, loading, loaded});
    QTest::newRow("from the first delivery") << first << QStringList({started, loading, first, loaded});
    QTest::newRow("from the last delivery") << rest << QStringList({started, loading, first, rest, loaded});
    QTest::newRow("when the loading dialog closes") << loaded << QStringList({started, loading, first, rest, loaded});
}

void CANLogHandlerTest::storeDeletedDuringAnImportIsNotCalledAgain()
{
    QFETCH(QString, moment);
    QFETCH(QStringList, expected);

    const SampleFile file(manyFrames(100001));
    auto *store = new RecordingStore;
    const std::shared_ptr<CallLog> log = store->log();
    StorePointer current(store);
    CANLogHandler handler(current);
    store->keepMessages = false;
    store->addLoadingSignalsOf(&handler);
    store->onCall = [store, moment](const Call &call) {
        if (call.text == moment)
            delete store;
    };
    connect(&handler, &CANLogHandler::showLoadingDialog, this, [&current, moment](bool show) {
        if (Expected::loading(show) == moment)
            delete current.data();
    });

    QCOMPARE(handler.loadFile(file.path(), candump, QString(), false), true);
    QVERIFY(current.isNull());
    QCOMPARE(log->texts(), expected);
}

void CANLogHandlerTest::nativeFileRequestSurvivesTheDeletionOfTheStore_data()
{
    QTest::addColumn<QString>("moment");
    QTest::newRow("from setImportStarted()") << "setImportStarted";
    QTest::newRow("from loadQclFile()") << "loadQclFile";
}

void CANLogHandlerTest::nativeFileRequestSurvivesTheDeletionOfTheStore()
{
    QFETCH(QString, moment);

    const SampleFile file("native bytes");
    auto *store = new RecordingStore;
    const std::shared_ptr<CallLog> log = store->log();
    StorePointer current(store);
    CANLogHandler handler(current);
    store->onCall = [store, moment](const Call &call) {
        if (call.text.startsWith(moment))
            delete store;
    };

    const bool result = handler.loadFile(file.path(), DatachunkHelper::QclFile, QString(), false);
    QVERIFY(current.isNull());
    if (moment == QLatin1String("setImportStarted")) {
        // Nobody is left who could load the file.
        QCOMPARE(result, false);
        QCOMPARE(log->texts(), QStringList{Expected::started()});
    } else {
        QCOMPARE(result, true);
        QCOMPARE(log->texts(), QStringList({Expected::started(), Expected::qclFile(file.path())}));
    }
}

void CANLogHandlerTest::storeSwitchedWhileARequestWaitsTakesTheImport()
{
    const SampleFile file(oneFrame);
    RecordingStore former;
    RecordingStore next;
    StorePointer current(&former);
    CANLogHandler handler(current);

    Q_EMIT former.sigImportRequest(file.path(), candump, QString(), false);
    handler.setPDatachunkHandler(StorePointer(&next));
    QCoreApplication::processEvents();
    QCOMPARE(former.calls(), QStringList());
    QCOMPARE(next.calls(),
             QStringList({Expected::started(), Expected::delivered(1), Expected::finished(true, 11, file.path())}));
}

void CANLogHandlerTest::storeRemovedWhileARequestWaitsLosesTheImport()
{
    const SampleFile file(oneFrame);
    Host host;
    Q_EMIT host.store.sigImportRequest(file.path(), candump, QString(), false);
    host.handler.setPDatachunkHandler(StorePointer());
    QCoreApplication::processEvents();
    QCOMPARE(host.store.calls(), QStringList());
}

void CANLogHandlerTest::storeSwitchedDuringAnImportTakesTheRest()
{
    const SampleFile file(manyFrames(100001));
    RecordingStore former;
    RecordingStore next;
    StorePointer current(&former);
    CANLogHandler handler(current);
    former.onCall = [&](const Call &call) {
        if (call.operation == Call::Operation::AddImportedMessages)
            handler.setPDatachunkHandler(StorePointer(&next));
    };

    QCOMPARE(handler.loadFile(file.path(), candump, QString(), false), true);
    QCOMPARE(former.calls(), QStringList({Expected::started(), Expected::delivered(100000)}));
    QCOMPARE(next.calls(), QStringList({Expected::delivered(1), Expected::finished(true, 11, file.path())}));
    QCOMPARE(next.messages(), frames({Frame(1).index(100000)}));
}

void CANLogHandlerTest::loaderWithoutStoreReadsIntoNothing()
{
    const SampleFile file(manyFrames(100001));
    StorePointer current;
    CANLogHandler handler(current);
    QCOMPARE(handler.loadSocketCanDump(file.path()), true);
    QCOMPARE(handler.importFile(file.path(), candump, QString(), false), true);
    QCOMPARE(handler.loadSocketCanDump(file.path() + QLatin1String(".missing")), false);
}

void CANLogHandlerTest::zipRequestWritesAnArchive()
{
    const ZipSample zip;
    Host host;
    Q_EMIT host.store.sigZipDatachunks(zip.archive(), zip.sourceDir());
    QVERIFY(QThreadPool::globalInstance()->waitForDone(30000));
    QVERIFY2(!QFile::exists(zip.archive()), "the request is carried out later");

    QTRY_VERIFY(isArchive(zip.archive()));
    QVERIFY(QThreadPool::globalInstance()->waitForDone(30000));
    QVERIFY(isArchive(zip.archive()));
    QCOMPARE(host.store.calls(), QStringList());
}

void CANLogHandlerTest::zipRequestRunsAgainAfterTheJob()
{
    const ZipSample zip;
    Host host;
    for (const char *name : {"first.zip", "second.zip"}) {
        Q_EMIT host.store.sigZipDatachunks(zip.archive(name), zip.sourceDir());
        QCoreApplication::processEvents();
        QVERIFY(QThreadPool::globalInstance()->waitForDone(30000));
        QVERIFY(isArchive(zip.archive(name)));
    }
}

void CANLogHandlerTest::zipRequestDuringAJobIsDropped()
{
    const ZipSample zip;
    Host host;
    BusyPool pool;
    Q_EMIT host.store.sigZipDatachunks(zip.archive("first.zip"), zip.sourceDir());
    Q_EMIT host.store.sigZipDatachunks(zip.archive("second.zip"), zip.sourceDir());
    QCoreApplication::processEvents();
    QVERIFY(!QFile::exists(zip.archive("first.zip")));

    QVERIFY(pool.finish());
    QVERIFY(isArchive(zip.archive("first.zip")));
    QVERIFY(!QFile::exists(zip.archive("second.zip")));
}

void CANLogHandlerTest::zipRequestNeedsNoStore()
{
    const ZipSample zip;
    auto *store = new RecordingStore;
    StorePointer current(store);
    CANLogHandler handler(current);
    Q_EMIT store->sigZipDatachunks(zip.archive("queued.zip"), zip.sourceDir());
    delete store;
    QCoreApplication::processEvents();
    QVERIFY(QThreadPool::globalInstance()->waitForDone(30000));
    QVERIFY(isArchive(zip.archive("queued.zip")));

    handler.onZipDatachunks(zip.archive("direct.zip"), zip.sourceDir());
    QVERIFY(QThreadPool::globalInstance()->waitForDone(30000));
    QVERIFY(isArchive(zip.archive("direct.zip")));
}

void CANLogHandlerTest::zipRequestIntoAMissingFolderEndsAndLeavesTheNextOneRun()
{
    const ZipSample zip;
    Host host;
    Q_EMIT host.store.sigZipDatachunks(zip.archive("no/such/folder.zip"), zip.sourceDir());
    QCoreApplication::processEvents();
    QVERIFY(QThreadPool::globalInstance()->waitForDone(30000));
    QVERIFY(!QFile::exists(zip.archive("no/such/folder.zip")));

    Q_EMIT host.store.sigZipDatachunks(zip.archive(), zip.sourceDir());
    QCoreApplication::processEvents();
    QVERIFY(QThreadPool::globalInstance()->waitForDone(30000));
    QVERIFY(isArchive(zip.archive()));
    QCOMPARE(host.store.calls(), QStringList());
}

QTEST_GUILESS_MAIN(CANLogHandlerTest)
#include "tst_canloghandler.moc"
