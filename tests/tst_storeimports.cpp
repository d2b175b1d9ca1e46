// SPDX-License-Identifier: Apache-2.0
#include "host/store/chunkformat.h"
#include "host/store/chunkstore.h"
#include "host/store/storefile.h"

#include <QSignalSpy>
#include <QtTest>

#include <cerrno>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>
#endif
#ifdef Q_OS_LINUX
#include <fcntl.h>
#include <sys/syscall.h>
#endif

using CAN::CanRxMessage;
using Keeping = ImportRecord::Keeping;
using State = ImportRecord::State;

/// What the store asked of the disk, in order: "sync NAME", "rename NAME" with the final name.
static QStringList diskCalls;
static int syncError = 0; ///< what syncing fails with; 0: it does not

#ifdef Q_OS_LINUX
// These stand before those of the C library for the store, which is linked into this program.
extern "C" int fsync(int descriptor)
{
    const QFileInfo link(QStringLiteral("/proc/self/fd/%1").arg(descriptor));
    diskCalls.append(QStringLiteral("sync ") + QFileInfo(link.symLinkTarget()).fileName());
    if (syncError != 0) {
        errno = syncError;
        return -1;
    }
    return int(syscall(SYS_fsync, descriptor));
}

extern "C" int rename(const char *from, const char *to) noexcept
{
    diskCalls.append(QStringLiteral("rename ") + QFileInfo(QFile::decodeName(to)).fileName());
    return renameat(AT_FDCWD, from, AT_FDCWD, to);
}
#endif

/// What becomes of imports: of those that fail or are killed, of those that are imported again, removed, and of the
/// disk they are on.
class StoreImportsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void failedImportIsRemoved();
    void failedImportIsKeptWhenAsked();
    void importThatWentWellIsNeverRemoved();
    void importWithoutEndIsRemovedByTheNext();
    void deliveryWithoutAnImportIsKept();
    void killedImportIsRemovedWhenTheStoreIsOpened_data();
    void killedImportIsRemovedWhenTheStoreIsOpened();
    void foreignChunkAfterAKilledImportStays();
    void foreignChunkWithTheNextNumberStays();
    void traceGoesWithItsImport();

    void sourceIsFoundAgain();
    void changedSourceIsAnother();
    void failedImportIsNoReasonToRefuse();

    void removedImportIsGoneForEverybody();
    void removedNumbersAreNotUsedAgain();
    void removalThatWasKilledIsHiddenAndCompleted();
    void unknownImportIsNotRemoved();
    void importsAreVisitedOneByOne();

    void notesThatFillAChunkBeginAnother();
    void noteForTheLastMessageThatHasNoRoom();

    void linkIsNotWrittenThrough_data();
    void linkIsNotWrittenThrough();
    void everythingIsSyncedBeforeItIsNamed();
    void foldersOnTheWayAreSynced();
    void fullDiskIsToldAsOne();

private:
    static QList<CanRxMessage> messages(int count, quint32 first = 0);
    /// Begins an import and has it store @p count messages.
    static void begin(ChunkStore &store, int count, quint32 first = 0);
    static void import(ChunkStore &store, int count, bool success = true);
    QStringList chunkNames() const
    {
        return QDir(folder).entryList({QStringLiteral("*.qcl")}, QDir::Files, QDir::Name);
    }
    QString chunkPath(int number) const
    {
        return folder + QStringLiteral("/chunk-%1.qcl").arg(number, 8, 10, QLatin1Char('0'));
    }
    /// The indices of all messages in the store, as whoever opens it for reading sees them.
    QList<quint32> indices() const;

    std::unique_ptr<QTemporaryDir> dir;
    QString folder;
};

constexpr auto readOnly = ChunkStore::Mode::Read;
constexpr auto readWrite = ChunkStore::Mode::ReadWrite;

void StoreImportsTest::init()
{
    dir = std::make_unique<QTemporaryDir>();
    QVERIFY(dir->isValid());
    folder = dir->filePath(QStringLiteral("store"));
    syncError = 0;
}

QList<CanRxMessage> StoreImportsTest::messages(int count, quint32 first)
{
    QList<CanRxMessage> list;
    for (int i = 0; i < count; ++i) {
        CanRxMessage message;
        message.messageIndex = first + quint32(i);
        message.timeStamp = {qint32(first) + i, 0};
        list.append(message);
    }
    return list;
}

void StoreImportsTest::begin(ChunkStore &store, int count, quint32 first)
{
    store.setImportStarted();
    store.addImportedMessages(messages(count, first), {});
}

void StoreImportsTest::import(ChunkStore &store, int count, bool success)
{
    begin(store, count);
    store.setImportFinished(success, DatachunkHelper::SocketCanDump, QStringLiteral("/log"), true);
}

QList<quint32> StoreImportsTest::indices() const
{
    ChunkStore store;
    if (!store.open(folder, readOnly))
        qFatal("%s", qUtf8Printable(store.errorString()));
    QList<quint32> found;
    store.forEachMessage([&](const CanRxMessage &message, const QString &) {
        found.append(message.messageIndex);
        return true;
    });
    return found;
}

// ---- imports that do not succeed

void StoreImportsTest::failedImportIsRemoved()
{
    ChunkStore store;
    store.setPartialImports(ChunkStore::PartialImports::Remove);
    QVERIFY(store.open(folder, readWrite));
    import(store, 2);
    QSignalSpy finished(&store, &ChunkStore::importFinished);
    import(store, 3, false);
    const auto told = finished.at(0).at(0).value<ImportRecord>();
    QVERIFY(store.open(folder, readWrite));
    for (const ImportRecord &record : {told, store.imports().at(1)}) {
        QCOMPARE(record.state, State::Failed);
        QVERIFY(record.keeping == Keeping::Removed);
        QCOMPARE(record.messageCount, quint64(0));
        QCOMPARE(record.removedMessages, quint64(3));
    }
    QCOMPARE(chunkNames(), QStringList{QStringLiteral("chunk-00000001.qcl")});
    QCOMPARE(indices(), (QList<quint32>{0, 1}));
    QCOMPARE(store.notices(), QStringList()); // it was told when it failed
}

void StoreImportsTest::failedImportIsKeptWhenAsked()
{
    ChunkStore store;
    store.setPartialImports(ChunkStore::PartialImports::Keep);
    QVERIFY(store.open(folder, readWrite));
    import(store, 3, false);
    store.setPartialImports(ChunkStore::PartialImports::Remove); // of later ones only
    QVERIFY(store.open(folder, readWrite));
    QVERIFY(store.imports().at(0).keeping == Keeping::Kept);
    QCOMPARE(indices(), (QList<quint32>{0, 1, 2}));
}

void StoreImportsTest::importThatWentWellIsNeverRemoved()
{
    ChunkStore store;
    store.setPartialImports(ChunkStore::PartialImports::Remove);
    QVERIFY(store.open(folder, readWrite));
    import(store, 2);
    QVERIFY(store.imports().at(0).keeping == Keeping::Kept);
    QVERIFY(store.open(folder, readWrite));
    QVERIFY(store.imports().at(0).keeping == Keeping::Kept);
    QCOMPARE(indices(), (QList<quint32>{0, 1}));
}

void StoreImportsTest::importWithoutEndIsRemovedByTheNext()
{
    ChunkStore store;
    store.setPartialImports(ChunkStore::PartialImports::Remove);
    QVERIFY(store.open(folder, readWrite));
    begin(store, 2, 70);
    import(store, 1);
    QCOMPARE(indices(), QList<quint32>{0});
    QCOMPARE(store.imports().at(0).removedMessages, quint64(2));
    QCOMPARE(store.imports().at(1).state, State::Succeeded);
}

void StoreImportsTest::deliveryWithoutAnImportIsKept()
{
    ChunkStore store;
    store.setPartialImports(ChunkStore::PartialImports::Remove);
    QVERIFY(store.open(folder, readWrite));
    store.addImportedMessages(messages(2), {});
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(indices(), (QList<quint32>{0, 1}));
}

#ifdef Q_OS_UNIX
/// Runs @p work in a process that then ends as a killed one does: nothing is tidied up.
static void inKilledProcess(const std::function<void()> &work)
{
    const pid_t process = fork();
    if (process == 0) {
        work();
        ::kill(getpid(), SIGKILL);
    }
    int status = 0;
    if (process < 0 || waitpid(process, &status, 0) != process || !WIFSIGNALED(status))
        qFatal("the process was not killed");
}
#endif

void StoreImportsTest::killedImportIsRemovedWhenTheStoreIsOpened_data()
{
    QTest::addColumn<int>("chunks"); ///< that the killed import had stored
    QTest::newRow("before its first chunk") << 0;
    QTest::newRow("after one") << 1;
    QTest::newRow("after three") << 3;
}

void StoreImportsTest::killedImportIsRemovedWhenTheStoreIsOpened()
{
#ifdef Q_OS_UNIX
    QFETCH(int, chunks);
    inKilledProcess([&] {
        auto *store = new ChunkStore;
        store->setPartialImports(ChunkStore::PartialImports::Remove);
        store->open(folder, readWrite);
        import(*store, 1);
        store->setImportStarted();
        for (int i = 0; i < chunks; ++i)
            store->addImportedMessages(messages(2, quint32(10 + i)), {});
    });
    // Who only reads says what there is, since it may still run.
    {
        ChunkStore reader;
        QVERIFY(reader.open(folder, readOnly));
        QCOMPARE(reader.messageCount(), quint64(1 + 2 * chunks));
        QCOMPARE(reader.notices().size(), chunks == 0 ? 0 : 1);
    }
    ChunkStore store; // that keeps what fails, but not what another promised to remove
    QVERIFY2(store.open(folder, readWrite), qPrintable(store.errorString()));
    QCOMPARE(store.warnings(), QStringList());
    QCOMPARE(store.notices().size(), chunks == 0 ? 0 : 1);
    QCOMPARE(chunkNames(), QStringList{QStringLiteral("chunk-00000001.qcl")});
    QCOMPARE(store.imports().at(1).state, State::Failed);
    QCOMPARE(store.imports().at(1).removedMessages, quint64(2 * chunks));
    QCOMPARE(indices(), QList<quint32>{0});
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(store.notices(), QStringList());
#else
    QSKIP("needs processes to kill");
#endif
}

void StoreImportsTest::foreignChunkAfterAKilledImportStays()
{
#ifdef Q_OS_UNIX
    inKilledProcess([&] {
        auto *store = new ChunkStore;
        store->setPartialImports(ChunkStore::PartialImports::Remove);
        store->open(folder, readWrite);
        begin(*store, 1, 50);
    });
    // Chunk 3 of another store: there is no chunk 2 before it, so the killed import cannot have written it.
    QFile file(chunkPath(3));
    QVERIFY(file.open(QIODevice::WriteOnly));
    ChunkFormat::Encoder encoder(1);
    encoder.add(messages(1, 99).first());
    QVERIFY(encoder.write(file, 3, {}).isEmpty());
    file.close();
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(indices(), QList<quint32>{99});
#else
    QSKIP("needs processes to kill");
#endif
}

void StoreImportsTest::foreignChunkWithTheNextNumberStays()
{
#ifdef Q_OS_UNIX
    inKilledProcess([&] {
        auto *store = new ChunkStore;
        store->setPartialImports(ChunkStore::PartialImports::Remove);
        store->open(folder, readWrite);
        begin(*store, 1, 50);
        store->addMessageNoteToLastMessage(QStringLiteral("the file is written again"));
        store->addImportedMessages(messages(1, 51), {});
    });
    // The chunk that would have come next, and one in the place of its own.
    for (const int number : {2, 3}) {
        QFile file(chunkPath(number));
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        ChunkFormat::Encoder encoder(1);
        encoder.add(messages(1, quint32(97 + number)).first());
        QVERIFY(encoder.write(file, quint64(number), {}).isEmpty());
    }
    {
        ChunkStore reader;
        QVERIFY(reader.open(folder, readOnly));
        QCOMPARE(reader.imports().at(0).messageCount, quint64(1));
    }
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(store.notices().size(), 1);
    QCOMPARE(indices(), (QList<quint32>{99, 100}));
    QVERIFY(!QFile::exists(folder + QStringLiteral("/.importing")));
#else
    QSKIP("needs processes to kill");
#endif
}

void StoreImportsTest::traceGoesWithItsImport()
{
    const QString trace = folder + QStringLiteral("/.importing");
    ChunkStore store;
    store.setPartialImports(ChunkStore::PartialImports::Remove);
    QVERIFY(store.open(folder, readWrite));
    for (const bool success : {true, false}) {
        begin(store, 1);
        QVERIFY(QFile::exists(trace));
        store.setImportFinished(success, DatachunkHelper::SocketCanDump, QStringLiteral("/log"), true);
        QVERIFY(!QFile::exists(trace));
    }
    store.setPartialImports(ChunkStore::PartialImports::Keep);
    begin(store, 1);
    QVERIFY(!QFile::exists(trace));
}

// ---- importing again

void StoreImportsTest::sourceIsFoundAgain()
{
    const ImportSource source{QStringLiteral("/logs/a.log"), 5000000000, 1700000000123};
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(store.findImport(source), 0);
    import(store, 1);
    store.setImportSource(source);
    import(store, 1);
    import(store, 1); // the source was that of one import
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(store.findImport(source), 2);
        QVERIFY(store.open(folder, readWrite));
    }
    QCOMPARE(store.findImport({}), 0);
}

void StoreImportsTest::changedSourceIsAnother()
{
    const ImportSource source{QStringLiteral("/logs/a.log"), 5, 7};
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportSource(source);
    import(store, 1);
    QCOMPARE(store.findImport({source.path, 6, 7}), 0);
    QCOMPARE(store.findImport({source.path, 5, 8}), 0);
    QCOMPARE(store.findImport({QStringLiteral("/logs/b.log"), 5, 7}), 0);
    QCOMPARE(store.findImport(source), 1);
}

void StoreImportsTest::failedImportIsNoReasonToRefuse()
{
    const ImportSource source{QStringLiteral("/logs/a.log"), 5, 7};
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportSource(source);
    import(store, 1, false);
    store.setImportSource(source);
    import(store, 0); // read as another type, say
    QCOMPARE(store.findImport(source), 0);
}

// ---- removing

void StoreImportsTest::removedImportIsGoneForEverybody()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    for (quint32 first : {10, 20, 30}) {
        begin(store, 1, first);
        store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("/log"), true);
    }
    QVERIFY2(store.removeImport(2), qPrintable(store.errorString()));
    QCOMPARE(indices(), (QList<quint32>{10, 30}));
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(store.messageCount(), quint64(2));
        QCOMPARE(store.imports().size(), 3);
        QVERIFY(store.imports().at(1).keeping == Keeping::Deleted);
        QCOMPARE(store.imports().at(1).messageCount, quint64(0));
        QCOMPARE(store.imports().at(2).messageCount, quint64(1));
        QVERIFY(store.open(folder, readWrite));
        QCOMPARE(store.warnings(), QStringList());
    }
}

void StoreImportsTest::removedNumbersAreNotUsedAgain()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, 1);
    import(store, 1);
    QVERIFY(store.removeImport(2));
    QVERIFY(store.open(folder, readWrite));
    import(store, 1);
    QCOMPARE(chunkNames(), (QStringList{QStringLiteral("chunk-00000001.qcl"), QStringLiteral("chunk-00000003.qcl")}));
}

void StoreImportsTest::removalThatWasKilledIsHiddenAndCompleted()
{
    {
        ChunkStore store;
        QVERIFY(store.open(folder, readWrite));
        import(store, 1);
        store.setImportStarted();
        store.addImportedMessages(messages(1, 10), {});
        store.addImportedMessages(messages(1, 20), {});
        store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("/log"), true);
    }
    // As a program leaves it that is killed after its first word of the removal and one of the two files.
    QFile journal(folder + QStringLiteral("/imports.json"));
    QVERIFY(journal.open(QIODevice::ReadWrite));
    QByteArray text = journal.readAll();
    const int second = text.lastIndexOf("\"kept\"");
    QVERIFY(second > text.indexOf("\"kept\""));
    text.replace(second, 6, "\"deleting\"");
    journal.resize(0);
    journal.seek(0);
    journal.write(text);
    journal.close();
    QVERIFY(QFile::remove(chunkPath(3)));

    ChunkStore store;
    QVERIFY(store.open(folder, readOnly));
    QCOMPARE(store.warnings(), QStringList());
    QCOMPARE(store.messageCount(), quint64(1));
    QCOMPARE(indices(), QList<quint32>{0});
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(store.warnings(), QStringList());
    QCOMPARE(chunkNames(), QStringList{QStringLiteral("chunk-00000001.qcl")});
    QVERIFY(store.imports().at(1).keeping == Keeping::Deleted);
}

void StoreImportsTest::unknownImportIsNotRemoved()
{
    ChunkStore store;
    QVERIFY(!store.removeImport(1)); // not open
    QVERIFY(store.open(folder, readWrite));
    import(store, 1);
    for (const int number : {-1, 0, 2}) {
        QVERIFY(!store.removeImport(number));
        QVERIFY2(store.errorString().contains(QStringLiteral("has no import %1").arg(number)),
                 qPrintable(store.errorString()));
    }
    QVERIFY(store.open(folder, readOnly));
    QVERIFY(!store.removeImport(1));
    QCOMPARE(indices(), QList<quint32>{0});
}

void StoreImportsTest::importsAreVisitedOneByOne()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    for (quint32 first : {10, 20, 30}) {
        store.setImportStarted();
        store.addImportedMessages(messages(1, first), {});
        store.addImportedMessages(messages(1, first + 1), {});
        store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("/log"), true);
    }
    QList<qint64> seen; // imports as negative numbers
    const auto enter = [&](int import) {
        seen.append(-import);
        return import != 2;
    };
    QVERIFY(store.forEachMessage(enter, [&](const CanRxMessage &message, const QString &) {
        seen.append(message.messageIndex);
        return true;
    }));
    QCOMPARE(seen, (QList<qint64>{-1, 10, 11, -2, -3, 30, 31}));
}

// ---- notes

void StoreImportsTest::notesThatFillAChunkBeginAnother()
{
    // Two notes of 130 MiB in one delivery: a chunk may have 256 MiB of them.
    const QString note(65 * 1024 * 1024, QLatin1Char('n'));
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportStarted();
    store.addImportedMessages(messages(4), {{1, note}, {2, note}});
    store.setImportFinished(true, DatachunkHelper::NorvikTxt, QStringLiteral("/log"), true);
    QCOMPARE(store.errorString(), QString());
    QCOMPARE(store.imports().last().state, State::Succeeded);
    QCOMPARE(store.imports().last().noteCount, quint64(2));
    QCOMPARE(chunkNames().size(), 2);
    QList<int> sizes;
    QVERIFY(store.forEachMessage([&](const CanRxMessage &, const QString &text) {
        sizes.append(int(text.size()));
        return true;
    }));
    QCOMPARE(store.warnings(), QStringList());
    const int size = int(note.size());
    QCOMPARE(sizes, (QList<int>{0, size, size, 0}));
}

void StoreImportsTest::noteForTheLastMessageThatHasNoRoom()
{
    const QString note(65 * 1024 * 1024, QLatin1Char('n'));
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportStarted();
    store.addImportedMessages(messages(3), {{1, note}, {2, QStringLiteral("first")}});
    store.addMessageNoteToLastMessage(note);
    store.addMessageNoteToLastMessage(QStringLiteral("last"));
    store.setImportFinished(true, DatachunkHelper::VectorAscLog, QStringLiteral("/log"), true);
    QCOMPARE(store.errorString(), QString());
    QCOMPARE(store.messageCount(), quint64(3));
    QCOMPARE(store.imports().last().messageCount, quint64(3));
    QCOMPARE(store.imports().last().noteCount, quint64(2));
    QList<quint32> seen;
    QString lastNote;
    QVERIFY(store.forEachMessage([&](const CanRxMessage &message, const QString &text) {
        seen.append(message.messageIndex);
        lastNote = text;
        return true;
    }));
    QCOMPARE(seen, (QList<quint32>{0, 1, 2}));
    QVERIFY(lastNote == QStringLiteral("first | ") + note + QStringLiteral(" | last"));
}

// ---- the disk

void StoreImportsTest::linkIsNotWrittenThrough_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("opens");
    QTest::newRow("chunk") << QStringLiteral("chunk-00000001.qcl") << true;
    QTest::newRow("journal") << QStringLiteral("imports.json") << false;
}

void StoreImportsTest::linkIsNotWrittenThrough()
{
#ifdef Q_OS_UNIX
    QFETCH(QString, name);
    QFETCH(bool, opens);
    for (const bool isThere : {false, true}) {
        const QString victim = dir->filePath(QStringLiteral("victim"));
        QVERIFY(QDir().mkpath(folder));
        if (isThere) {
            QFile file(victim);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("mine");
        }
        const QString link = folder + QLatin1Char('/') + name;
        QVERIFY(QFile::link(victim, link));
        ChunkStore store;
        QCOMPARE(store.open(folder, readWrite), opens);
        import(store, 1);
        if (opens)
            QCOMPARE(store.imports().last().state, State::Succeeded);
        else
            QVERIFY2(store.errorString().contains(QStringLiteral("it is a link")), qPrintable(store.errorString()));
        QVERIFY(QFileInfo(link).isSymLink());
        QCOMPARE(QFileInfo::exists(victim), isThere);
        if (isThere)
            QCOMPARE(QFileInfo(victim).size(), qint64(4));
        store.open(folder + QStringLiteral("2"), readWrite);
        QVERIFY(QDir(folder).removeRecursively());
    }
#else
    QSKIP("needs links");
#endif
}

void StoreImportsTest::everythingIsSyncedBeforeItIsNamed()
{
#ifdef Q_OS_LINUX
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    begin(store, 1);
    diskCalls.clear();
    store.addImportedMessages(messages(1), {});
    store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("/log"), true);
    // A file is synced under its temporary name: the final one and six letters.
    for (QString &call : diskCalls)
        call.replace(QRegularExpression(QStringLiteral("\\.[a-z]{6}$")), QStringLiteral(".*"));
    QCOMPARE(diskCalls,
             (QStringList{QStringLiteral("sync chunk-00000002.qcl.*"), QStringLiteral("rename chunk-00000002.qcl"),
                          QStringLiteral("sync store"), QStringLiteral("sync imports.json.*"),
                          QStringLiteral("rename imports.json"), QStringLiteral("sync store")}));
#else
    QSKIP("needs fsync() to be replaced");
#endif
}

void StoreImportsTest::foldersOnTheWayAreSynced()
{
#ifdef Q_OS_LINUX
    diskCalls.clear();
    ChunkStore store;
    QVERIFY(store.open(folder + QStringLiteral("/a/b"), readWrite));
    QCOMPARE(diskCalls, (QStringList{QStringLiteral("sync ") + QFileInfo(dir->path()).fileName(),
                                     QStringLiteral("sync store"), QStringLiteral("sync a")}));
#else
    QSKIP("needs fsync() to be replaced");
#endif
}

void StoreImportsTest::fullDiskIsToldAsOne()
{
    QCOMPARE(StoreFile::systemFault(ENOSPC), QStringLiteral("no space left on the disk"));
#ifdef Q_OS_LINUX
    ChunkStore store;
    store.setPartialImports(ChunkStore::PartialImports::Remove);
    QVERIFY(store.open(folder, readWrite));
    begin(store, 1);
    syncError = ENOSPC; // where some file systems find it out
    store.addImportedMessages(messages(1), {});
    syncError = 0;
    store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("/log"), true);
    const ImportRecord record = store.imports().last();
    QCOMPARE(record.errorText, chunkPath(2) + QStringLiteral(" cannot be written: no space left on the disk"));
    QCOMPARE(record.state, State::Failed);
    QCOMPARE(record.removedMessages, quint64(1));
    QCOMPARE(QDir(folder).entryList(QDir::Files), QStringList{QStringLiteral("imports.json")});
#endif
}

QTEST_GUILESS_MAIN(StoreImportsTest)
#include "tst_storeimports.moc"
