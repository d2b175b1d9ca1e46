// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "recordingstore.h"

#include <QPointer>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QtTest>

#include <memory>
#include <sys/stat.h>
#include <thread>

using DatachunkHelper::ImportFileType;

namespace
{

const auto candump = DatachunkHelper::SocketCanDump;

/// Frames with the identifiers 0, 1, 2 ...
QByteArray numberedFrames(int count)
{
    QByteArray content;
    for (int i = 0; i < count; ++i)
        content += "(1.5) can0 " + QByteArray::number(i, 16).rightJustified(8, '0') + "#11\n";
    return content;
}

bool areNumbered(const Frames &messages)
{
    quint32 next = 0;
    return std::all_of(messages.cbegin(), messages.cend(),
                       [&](const CAN::CanRxMessage &message) { return message.id == next++; });
}

void addFormats()
{
    QTest::addColumn<ImportFileType>("type");
    const QMetaEnum types = QMetaEnum::fromType<ImportFileType>();
    for (int i = 0; i < types.keyCount(); ++i) {
        const auto type = ImportFileType(types.value(i));
        if (type != DatachunkHelper::QclZipArchive && type != DatachunkHelper::QclFile
            && type != DatachunkHelper::PeakTraceReserved)
            QTest::newRow(types.key(i)) << type;
    }
}

} // namespace

/// What goes wrong outside of the library while it works.
class FaultsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fileThatShrinksWhileItIsRead_data() { addFormats(); }
    void fileThatShrinksWhileItIsRead();
    void whatWasReadOfAShrinkingFileIsRight();
    void fileThatGrowsWhileItIsRead();
    void pipeIsReadToItsEnd();
    void hundredImportsQueuedAtOnce();
    void storeDeletedBetweenQueuedRequests();
};

/// Any text will do: a reader must neither crash nor hang, and must end the import.
void FaultsTest::fileThatShrinksWhileItIsRead()
{
    QFETCH(ImportFileType, type);
    QTemporaryFile file;
    QVERIFY(file.open());
    const QByteArray content =
        "Begin Triggerblock\nTrigger\n;$COLUMNS=N,O,T,I,d,l,D\nNo,Time,ID,Data\n" + numberedFrames(20000);
    QCOMPARE(file.write(content), qint64(content.size()));
    QVERIFY(file.flush());
    RecordingStore store;
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    int blocks = 0;
    connect(&handler, &CANLogHandler::importProgress, this, [&] {
        if (++blocks == 3)
            file.resize(1000);
    });
    const bool ok = handler.loadFile(file.fileName(), type, QStringLiteral("? ? ?"), false);
    QCOMPARE(store.calls().constFirst(), Expected::started());
    QCOMPARE(store.calls().constLast(), Expected::finished(ok, type, file.fileName()));
    QVERIFY(handler.getImportReport().lines < content.count('\n'));
}

void FaultsTest::whatWasReadOfAShrinkingFileIsRight()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    const QByteArray content = numberedFrames(20000);
    QCOMPARE(file.write(content), qint64(content.size()));
    QVERIFY(file.flush());
    RecordingStore store;
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    connect(&handler, &CANLogHandler::importProgress, this, [&] { file.resize(1000); });
    QVERIFY(handler.loadSocketCanDump(file.fileName()));
    // One block is read before the file shrinks; what it has of its last line is too short for a frame.
    QCOMPARE(store.messages().size(), 16384 / 23);
    QVERIFY(areNumbered(store.messages()));
    QCOMPARE(handler.getImportReport().droppedLines, qint64(1));
}

void FaultsTest::fileThatGrowsWhileItIsRead()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    const QByteArray content = numberedFrames(20000);
    const int half = content.size() / 2;
    QCOMPARE(file.write(content.left(half)), qint64(half));
    QVERIFY(file.flush());
    RecordingStore store;
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    bool hasGrown = false;
    connect(&handler, &CANLogHandler::importProgress, this, [&] {
        if (!std::exchange(hasGrown, true))
            hasGrown = file.seek(half) && file.write(content.mid(half)) > 0 && file.flush();
    });
    QVERIFY(handler.loadSocketCanDump(file.fileName()));
    QVERIFY(hasGrown);
    QCOMPARE(store.messages().size(), 20000);
    QVERIFY(areNumbered(store.messages()));
}

void FaultsTest::pipeIsReadToItsEnd()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("pipe"));
    const QByteArray name = QFile::encodeName(path);
    QCOMPARE(::mkfifo(name.constData(), 0600), 0);
    const QByteArray content = numberedFrames(5000);
    // The file is opened twice: by the request, which looks whether it can be opened, and by the loader.
    std::thread writer([&] {
        QFile pipe(path);
        for (qint64 done = 0; done < content.size();) {
            if (pipe.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
                done += std::max<qint64>(pipe.write(content.mid(int(done))), 0);
            pipe.close();
        }
    });
    RecordingStore store;
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    const bool ok = handler.loadSocketCanDump(path);
    writer.join();
    QVERIFY(ok);
    QCOMPARE(store.messages().size(), 5000);
    QVERIFY(areNumbered(store.messages()));
    QCOMPARE(handler.getImportReport().readError, QString());
}

void FaultsTest::hundredImportsQueuedAtOnce()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    file.write(numberedFrames(1000));
    QVERIFY(file.flush());
    RecordingStore store;
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    constexpr int count = 100;
    for (int i = 0; i < count; ++i)
        Q_EMIT store.sigImportRequest(file.fileName(), candump, QString(), false);
    QCOMPARE(store.calls(), QStringList()); // queued, not carried out at once
    QCoreApplication::processEvents();
    QStringList expected;
    for (int i = 0; i < count; ++i)
        expected << Expected::started() << Expected::delivered(1000)
                 << Expected::finished(true, candump, file.fileName());
    QCOMPARE(store.calls(), expected);
}

void FaultsTest::storeDeletedBetweenQueuedRequests()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    file.write(numberedFrames(10));
    QVERIFY(file.flush());
    auto store = std::make_unique<RecordingStore>();
    const std::shared_ptr<CallLog> log = store->log();
    QPointer<DatachunkHandler> pointer(store.get());
    CANLogHandler handler(pointer);
    Q_EMIT store->sigImportRequest(file.fileName(), candump, QString(), false);
    QCoreApplication::processEvents();
    QCOMPARE(log->texts().size(), 3);
    Q_EMIT store->sigImportRequest(file.fileName(), candump, QString(), false);
    store.reset();
    QCoreApplication::processEvents();
    QCOMPARE(log->texts().size(), 3);
}

QTEST_GUILESS_MAIN(FaultsTest)
#include "tst_faults.moc"
