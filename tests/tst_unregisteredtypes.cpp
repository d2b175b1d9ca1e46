// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "host/store/streamstore.h"

#include <QFile>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtTest>

/*
 * A queued signal whose argument types are not registered is lost with no more than a warning. This program
 * registers none, and must stay so: no QSignalSpy, no QVariant, no qRegisterMetaType, no queued connection of its own.
 * What arrives here arrives by the library's own doing.
 */

namespace
{

class CountingStore : public StreamStore
{
public:
    void addImportedMessages(const QList<CAN::CanRxMessage> &list, const QMap<unsigned int, QString> &) override
    {
        messages += list.size();
    }
    void setImportFinished(bool success, DatachunkHelper::ImportFileType, QString, bool) override
    {
        ++finished;
        if (success)
            ++succeeded;
    }

    int messages = 0;
    int finished = 0;
    int succeeded = 0;
};

bool writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

bool isArchive(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.read(2) == "PK";
}

} // namespace

class UnregisteredTypesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void importRequestArrives();
    void zipRequestArrives();
    void requestsOfAStoreSetLaterArrive();
};

void UnregisteredTypesTest::importRequestArrives()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("drive.log"));
    QVERIFY(writeFile(path, "(1.5) can0 123#1122\n"));

    CountingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);

    Q_EMIT store.sigImportRequest(path, DatachunkHelper::SocketCanDump, QString(), false);
    QTRY_COMPARE(store.finished, 1);
    QCOMPARE(store.succeeded, 1);
    QCOMPARE(store.messages, 1);
}

void UnregisteredTypesTest::zipRequestArrives()
{
    QTemporaryDir source;
    QTemporaryDir target;
    QVERIFY(writeFile(source.filePath(QStringLiteral("first.qcl")), "some bytes"));
    const QString zipPath = target.filePath(QStringLiteral("chunks.zip"));

    CountingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);

    Q_EMIT store.sigZipDatachunks(zipPath, QDir(source.path()));
    QTRY_VERIFY(isArchive(zipPath));
    // The handler must outlive the job.
    QVERIFY(QThreadPool::globalInstance()->waitForDone(30000));
}

void UnregisteredTypesTest::requestsOfAStoreSetLaterArrive()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("drive.log"));
    const QString zipPath = folder.filePath(QStringLiteral("chunks.zip"));
    QTemporaryDir source;
    QVERIFY(writeFile(path, "(1.5) can0 123#1122\n"));
    QVERIFY(writeFile(source.filePath(QStringLiteral("first.qcl")), "some bytes"));

    QPointer<DatachunkHandler> current;
    CANLogHandler handler(current);
    CountingStore store;
    handler.setPDatachunkHandler(QPointer<DatachunkHandler>(&store));

    Q_EMIT store.sigImportRequest(path, DatachunkHelper::SocketCanDump, QString(), false);
    Q_EMIT store.sigZipDatachunks(zipPath, QDir(source.path()));
    QTRY_COMPARE(store.succeeded, 1);
    QTRY_VERIFY(isArchive(zipPath));
    QVERIFY(QThreadPool::globalInstance()->waitForDone(30000));
}

QTEST_GUILESS_MAIN(UnregisteredTypesTest)
#include "tst_unregisteredtypes.moc"
