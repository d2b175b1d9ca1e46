// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "recordingstore.h"
#include "ziparchive.h"

#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <functional>
#include <memory>

using Reason = ArchiveReport::Reason;
using ZipBytes::Entry;

#ifdef Q_OS_LINUX
/// Takes the place of the system's in this program: notes the call, and spares the disk.
static std::function<void()> onSync;
extern "C" Q_DECL_EXPORT int syncfs(int)
{
    if (onSync)
        onSync();
    return 0;
}
#endif

namespace
{

QString text(const char *latin)
{
    return QLatin1String(latin);
}

Entry chunk(const char *name, const char *header)
{
    return ZipBytes::packed(name, chunkBytes(text(header)));
}

Entry changed(Entry entry, const std::function<void(Entry &)> &change)
{
    change(entry);
    return entry;
}

/// A chunk that nobody can read without its password, which is not asked for.
Entry encrypted(const char *name)
{
    return changed(ZipBytes::stored(name, chunkBytes(text("2-b"))), [](Entry &entry) {
        entry.flags |= ZipBytes::encryptedFlag;
        entry.data = noise(12, 7) + noise(entry.data.size(), 8);
        entry.dataSize = quint32(entry.data.size());
    });
}

QByteArray withOwnName(QByteArray archive, const QByteArray &name, const QByteArray &ownName)
{
    return archive.replace(archive.indexOf(name), ownName.size(), ownName); // the first is that of the entry's header
}

/// An archive, a store with a folder for it, and what came of reading the one into the other.
class Reading
{
public:
    explicit Reading(const QByteArray &archive)
        : zip(root.filePath(QStringLiteral("a.zip")))
    {
        writeTo(zip, archive);
        if (!QDir(root.path()).mkdir(QStringLiteral("store")))
            qFatal("cannot make the folder of the store");
        store.location = QDir(root.filePath(QStringLiteral("store")));
    }

    /// The files that were unpacked, by name; none after a failure.
    QMap<QString, QByteArray> unpack()
    {
        isOk = handler.loadZipFile(zip);
        return isOk ? treeOf(root.filePath(QStringLiteral("store/a.zip"))) : QMap<QString, QByteArray>();
    }
    /// The chunks that the store was given.
    QVector<QByteArray> merge()
    {
        store.streams.clear();
        isOk = handler.loadZipMerged(zip);
        return store.streams;
    }
    /// The faults of the report in one line each, sorted.
    QStringList faults() const
    {
        QStringList lines;
        const ArchiveReport report = handler.getArchiveReport();
        for (const ArchiveReport::Fault &fault : report.faults) {
            QString line = fault.name + QLatin1String(": ") + QString::number(int(fault.reason)) // only for the order
                           + QLatin1Char(' ') + ArchiveReport::reasonText(fault.reason);
            if (!fault.other.isEmpty())
                line += QStringLiteral(" (%1)").arg(fault.other);
            lines.append(line + (fault.isDelivered ? QStringLiteral(", delivered") : QString()));
        }
        lines.sort();
        return lines;
    }
    bool isTold() const { return !isOk || !handler.getArchiveReport().faults.isEmpty(); }

    ReadingStore store;
    QPointer<DatachunkHandler> pointer{&store};
    CANLogHandler handler{pointer};
    bool isOk = false;
    QTemporaryDir root;
    const QString zip;
};

QString fault(const char *name, Reason reason, const char *other = "")
{
    const QString shownOther = *other ? QStringLiteral(" (%1)").arg(text(other)) : QString();
    return QStringLiteral("%1: %2 %3%4")
        .arg(text(name), QString::number(int(reason)), ArchiveReport::reasonText(reason), shownOther);
}

/// What the library packs of a folder with two chunks and a journal.
QByteArray packedStore()
{
    const QTemporaryDir root;
    writeTo(root.filePath(QStringLiteral("chunk-00000001.qcl")), chunkBytes(text("1-one"), "11111111111111111111"));
    writeTo(root.filePath(QStringLiteral("chunk-00000002.qcl")), chunkBytes(text("2-two"), "rest of two"));
    writeTo(root.filePath(QStringLiteral("imports.json")), "{}");
    const QTemporaryDir target;
    QPointer<DatachunkHandler> none;
    CANLogHandler(none).zipDatachunks(target.filePath(QStringLiteral("a.zip")), QDir(root.path()));
    return contentOf(target.filePath(QStringLiteral("a.zip")));
}

} // namespace

class ArchiveReportTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void soundArchiveHasNoFaults();
    void everyChunkLeftOutIsNamed_data();
    void everyChunkLeftOutIsNamed();
    void emptyArchiveIsOneWithoutFaults();
    void whatIsNoArchiveIsTold();
    void otherEntriesAreCountedAndNamed();
    void faultsAreCountedBeyondThoseThatAreKept();
    void reportIsForgottenByTheNextRequest();
    void everyReasonHasAText();
    void everyFlippedBitIsToldOrHarmless();
    void progressEndsWithAllBytesOfTheChunks();
    void interruptionEndsAtTheNextEntry_data();
    void interruptionEndsAtTheNextEntry();
    void interruptionAfterTheLastEntryChangesNothing();
    void unpackedChunksAreSyncedBeforeTheStoreIsTold();
};

void ArchiveReportTest::init()
{
#ifdef Q_OS_LINUX
    onSync = nullptr;
#endif
}

void ArchiveReportTest::soundArchiveHasNoFaults()
{
    Reading reading(packedStore());
    QCOMPARE(reading.merge().size(), 2);
    const ArchiveReport report = reading.handler.getArchiveReport();
    QVERIFY(report.isArchive);
    QCOMPARE(report.entries, qint64(3));
    QCOMPARE(report.chunks, qint64(2));
    QCOMPARE(report.delivered, qint64(2));
    QCOMPARE(report.others, qint64(1));
    QCOMPARE(report.otherNames, QStringList(text("imports.json")));
    QCOMPARE(reading.faults(), QStringList());
}

void ArchiveReportTest::everyChunkLeftOutIsNamed_data()
{
    QTest::addColumn<QByteArray>("archive");
    QTest::addColumn<QStringList>("merged");   // the faults
    QTest::addColumn<QStringList>("unpacked"); // the faults
    const Entry one = chunk("1.qcl", "1-a");
    const Entry two = chunk("2.qcl", "2-b");
    const auto alike = [](const char *name, const QByteArray &archive, const QStringList &faults) {
        QTest::newRow(name) << archive << faults << faults;
    };
    const auto spoilt = [&](const char *name, Reason reason, const std::function<void(Entry &)> &change) {
        alike(name, ZipBytes::archive({one, changed(two, change)}), {fault("2.qcl", reason)});
    };
    spoilt("checksum in both headers", Reason::Checksum, [](Entry &entry) { entry.crc ^= 1; });
    spoilt("packed data cut short", Reason::Data, [](Entry &entry) {
        entry.data.chop(4);
        entry.dataSize -= 4;
    });
    spoilt("more announced than there is", Reason::Data, [](Entry &entry) { ++entry.size; });
    spoilt("no header of its own", Reason::Header, [](Entry &entry) { entry.signature ^= 1; });
    spoilt("unknown method", Reason::Method, [](Entry &entry) { entry.method = 99; });
    alike("encrypted", ZipBytes::archive({one, encrypted("2.qcl")}), {fault("2.qcl", Reason::Encrypted)});
    alike("two encrypted, whose numbers are noise",
          ZipBytes::archive({encrypted("1.qcl"), encrypted("2.qcl"), chunk("3.qcl", "3-c")}),
          {fault("1.qcl", Reason::Encrypted), fault("2.qcl", Reason::Encrypted)});
    alike("same number", ZipBytes::archive({one, chunk("2.qcl", "1-b")}),
          {fault("1.qcl", Reason::NumberRepeated, "2.qcl")});
    alike("same name", ZipBytes::archive({one, two, chunk("1.qcl", "3-c")}), {fault("1.qcl", Reason::NameRepeated)});
    const QByteArray longName(300, 'x');
    alike("name that is too long to be found", ZipBytes::archive({one, chunk((longName + ".qcl").constData(), "2-b")}),
          {fault((longName + ".qcl").constData(), Reason::NotFound)});

    QTest::newRow("name that leads out") << ZipBytes::archive({one, chunk("../2.qcl", "2-b")})
                                         << QStringList(fault("../2.qcl", Reason::LeadsOutside) + text(", delivered"))
                                         << QStringList(fault("../2.qcl", Reason::LeadsOutside));
    QTest::newRow("in a folder") << ZipBytes::archive({one, chunk("store/2.qcl", "2-b")}) << QStringList()
                                 << QStringList(fault("store/2.qcl", Reason::InFolder));
    QTest::newRow("another spelling of the same name")
        << ZipBytes::archive({one, chunk("./1.qcl", "2-b")}) << QStringList()
        << QStringList(fault("./1.qcl", Reason::PlaceTaken));

    const QByteArray sound = ZipBytes::archive({one, two});
    alike("other name in its own header", withOwnName(sound, "2.qcl", "3.qcl"),
          {fault("2.qcl", Reason::NameDiffers) + text(", delivered")});
    alike("chunk that the directory calls something else",
          withOwnName(ZipBytes::archive({one, chunk("2.qcm", "2-b")}), "2.qcm", "2.qcl"),
          {fault("2.qcm", Reason::NameDiffers) + text(", delivered")});
    QByteArray fewer = sound;
    fewer[fewer.size() - 22 + 8] = 1; // entries, on this disk and in all
    fewer[fewer.size() - 22 + 10] = 1;
    alike("fewer entries announced than there are", fewer, {fault("", Reason::Directory)});
    QByteArray cut = sound;
    cut[cut.lastIndexOf("PK\1\2")] = 'p';
    alike("directory that breaks off", cut, {fault("", Reason::Directory)});
    alike("before which something else stands", "a program that unpacks itself" + sound, {});
}

void ArchiveReportTest::everyChunkLeftOutIsNamed()
{
    QFETCH(QByteArray, archive);
    QFETCH(QStringList, merged);
    QFETCH(QStringList, unpacked);
    Reading reading(archive);
    const auto delivered = [&] { return reading.handler.getArchiveReport().delivered; };
    reading.merge();
    QCOMPARE(reading.faults(), merged);
    QCOMPARE(delivered(), qint64(reading.store.streams.size()));
    const int files = reading.unpack().size();
    QCOMPARE(reading.faults(), unpacked);
    QCOMPARE(delivered(), qint64(files));
    unsigned short entries = 0;
    unsigned int messages = 0;
    reading.store.streams.clear();
    reading.handler.checkZipFile(reading.zip, entries, messages);
    QCOMPARE(delivered(), qint64(reading.store.streams.size()));
}

void ArchiveReportTest::emptyArchiveIsOneWithoutFaults()
{
    Reading reading(ZipBytes::archive({}));
    reading.merge();
    QVERIFY(reading.handler.getArchiveReport().isArchive);
    QVERIFY(!reading.isTold());
}

void ArchiveReportTest::whatIsNoArchiveIsTold()
{
    Reading reading("no archive");
    reading.merge();
    QVERIFY(!reading.handler.getArchiveReport().isArchive);
    QVERIFY(reading.isTold());
}

void ArchiveReportTest::otherEntriesAreCountedAndNamed()
{
    Reading reading(ZipBytes::archive({ZipBytes::stored("readme.txt", "text"), chunk("1.qcl", "1-a"),
                                       ZipBytes::stored("folder/", ""), chunk("2.QCL", "2-b")}));
    reading.merge();
    const ArchiveReport report = reading.handler.getArchiveReport();
    QCOMPARE(report.others, qint64(3));
    QCOMPARE(report.otherNames, QStringList({text("readme.txt"), text("folder/"), text("2.QCL")}));
    QCOMPARE(reading.faults(), QStringList());
}

void ArchiveReportTest::faultsAreCountedBeyondThoseThatAreKept()
{
    QVector<Entry> entries;
    for (int i = 0; i < 1500; ++i) // all with the same number, so that the last alone counts
        entries.append(chunk((QByteArray::number(i) + ".qcl").constData(), "7-x"));
    entries.append(changed(chunk("damaged.qcl", "8-y"), [](Entry &entry) { entry.crc ^= 1; }));
    Reading reading(ZipBytes::archive(entries));
    reading.merge();
    const ArchiveReport report = reading.handler.getArchiveReport();
    QCOMPARE(report.count.value(Reason::NumberRepeated), qint64(1499));
    QCOMPARE(report.count.value(Reason::Checksum), qint64(1));
    QCOMPARE(report.faults.size(), 1001); // of each reason the first 1000
    QCOMPARE(report.faults.constLast().name, text("damaged.qcl"));
}

void ArchiveReportTest::reportIsForgottenByTheNextRequest()
{
    Reading reading(packedStore());
    reading.merge();
    QVERIFY(reading.handler.getArchiveReport().isArchive);
    const QString log = reading.root.filePath(QStringLiteral("a.log"));
    writeTo(log, "(1.5) can0 123#11\n");
    QVERIFY(reading.handler.loadFile(log, DatachunkHelper::SocketCanDump, {}, false));
    QVERIFY(!reading.handler.getArchiveReport().isArchive);
    QCOMPARE(reading.handler.getArchiveReport().entries, qint64(0));
}

void ArchiveReportTest::everyReasonHasAText()
{
    QSet<QString> texts;
    const int last = int(Reason::Directory);
    for (int reason = 0; reason <= last; ++reason)
        texts.insert(ArchiveReport::reasonText(Reason(reason)));
    QVERIFY(!texts.contains(QString()));
    QCOMPARE(texts.size(), last + 1);
}

void ArchiveReportTest::everyFlippedBitIsToldOrHarmless()
{
    const QByteArray sound = packedStore();
    Reading whole(sound);
    const QVector<QByteArray> merged = whole.merge();
    const QMap<QString, QByteArray> unpacked = whole.unpack();
    QCOMPARE(merged.size(), 2);
    QCOMPARE(unpacked.size(), 2);

    int told = 0;
    int harmless = 0;
    QStringList silent;
    for (int bit = 0; bit < sound.size() * 8; ++bit) {
        QByteArray flipped = sound;
        flipped[bit / 8] = char(flipped.at(bit / 8) ^ (1 << bit % 8));
        Reading reading(flipped);
        const bool isMergedAlike = reading.merge() == merged;
        const bool isMergeTold = reading.isTold();
        const bool isUnpackedAlike = reading.unpack() == unpacked;
        const bool isUnpackingTold = reading.isTold();
        if ((!isMergedAlike && !isMergeTold) || (!isUnpackedAlike && !isUnpackingTold))
            silent.append(QStringLiteral("byte %1, bit %2").arg(bit / 8).arg(bit % 8));
        told += isMergeTold ? 1 : 0;
        harmless += isMergeTold ? 0 : 1;
    }
    QCOMPARE(silent, QStringList());
    // Among others every bit of the two names, sizes and checksums and of the packed chunks, and those of the times.
    QVERIFY2(told > sound.size() * 2 && harmless > 100,
             qPrintable(QStringLiteral("%1 told, %2 harmless").arg(told).arg(harmless)));
}

void ArchiveReportTest::progressEndsWithAllBytesOfTheChunks()
{
    const QVector<Entry> entries{chunk("1.qcl", "1-a"), ZipBytes::stored("large.txt", noise(5000)),
                                 ZipBytes::packed("2.qcl", chunkBytes(text("2-b"), noise(3000)))};
    const qint64 total = entries.at(0).dataSize + entries.at(2).dataSize;
    Reading reading(ZipBytes::archive(entries));
    QSignalSpy progress(&reading.handler, &CANLogHandler::importProgress);
    reading.merge();
    QVERIFY(progress.size() >= 2);
    QCOMPARE(progress.at(progress.size() - 2).at(0).toLongLong(), qint64(entries.at(0).dataSize));
    QCOMPARE(progress.at(progress.size() - 2).at(1).toLongLong(), total);
    QCOMPARE(progress.constLast().at(0).toLongLong(), total);
    QCOMPARE(progress.constLast().at(1).toLongLong(), total);
}

/// Reads an archive of 20 chunks in a thread that is asked to stop when the progress is at chunk @p stopAt; 0: before.
static void readInterruptedAt(int stopAt, const std::function<void(Reading &)> &read, ArchiveReport &report,
                              QStringList &calls)
{
    QVector<Entry> entries;
    for (int i = 0; i < 20; ++i)
        entries.append(chunk(QByteArray::number(i).append(".qcl").constData(), QByteArray::number(i).append("-x")));
    const QByteArray archive = ZipBytes::archive(entries);
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        Reading reading(archive);
        int chunks = 0;
        QObject::connect(&reading.handler, &CANLogHandler::importProgress, &reading.handler, [&](qint64 done, qint64) {
            chunks += done > 0 ? 1 : 0;
            if (chunks == stopAt)
                QThread::currentThread()->requestInterruption();
        });
        read(reading);
        report = reading.handler.getArchiveReport();
        calls = reading.store.calls();
        calls.removeAll(text("getDataChunkLocation()"));
        const QStringList left = reading.store.location.entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
        for (const QString &name : left)
            calls.append(text("there is ") + name);
    }));
    thread->start();
    thread->wait();
}

void ArchiveReportTest::interruptionEndsAtTheNextEntry_data()
{
    QTest::addColumn<int>("stopAt");
    QTest::newRow("while they are put in order") << 0;
    QTest::newRow("after the third chunk") << 3;
}

void ArchiveReportTest::interruptionEndsAtTheNextEntry()
{
    QFETCH(int, stopAt);
    ArchiveReport report;
    QStringList calls;
    const auto request = [](bool flag) {
        return [flag](Reading &reading) {
            QVERIFY(!reading.handler.loadFile(reading.zip, DatachunkHelper::QclZipArchive, {}, flag));
        };
    };
    readInterruptedAt(stopAt, request(true), report, calls);
    QCOMPARE(report.delivered, qint64(stopAt));
    QCOMPARE(report.count.value(Reason::NotReached), qint64(stopAt == 0 ? report.chunks : 20 - stopAt));
    QCOMPARE(calls.filter(text("parseQCLStream")).size(), stopAt);
    QVERIFY(calls.contains(Expected::finished(false, 1, QString(), false)));

    readInterruptedAt(stopAt, request(false), report, calls);
    QCOMPARE(report.delivered, qint64(0)); // what was unpacked is gone
    QCOMPARE(calls.filter(text("notifyNewZippedFile")).size(), stopAt);
    QCOMPARE(calls.filter(text("notifyZipFileLoaded")).size(), 0);
    QCOMPARE(calls.filter(text("there is ")), QStringList());
}

void ArchiveReportTest::interruptionAfterTheLastEntryChangesNothing()
{
    for (const bool isMerged : {true, false}) {
        ArchiveReport report;
        QStringList calls;
        bool isOk = false;
        readInterruptedAt(
            20,
            [&](Reading &reading) {
                isOk = reading.handler.loadFile(reading.zip, DatachunkHelper::QclZipArchive, {}, isMerged);
            },
            report, calls);
        QVERIFY(isOk);
        QCOMPARE(report.delivered, qint64(20));
        QVERIFY(report.faults.isEmpty());
    }
}

void ArchiveReportTest::unpackedChunksAreSyncedBeforeTheStoreIsTold()
{
#ifdef Q_OS_LINUX
    Reading reading(packedStore());
    QStringList there;
    onSync = [&] {
        there = QDir(reading.root.filePath(QStringLiteral("store/a.zip"))).entryList(QDir::Files, QDir::Name);
        reading.store.setLastErrorText(text("synced"));
    };
    const auto end = qScopeGuard([] { onSync = nullptr; });
    reading.unpack();
    QCOMPARE(there, QStringList({text("chunk-00000001.qcl"), text("chunk-00000002.qcl")}));
    const QStringList calls = reading.store.calls();
    QCOMPARE(calls.mid(calls.size() - 2),
             QStringList({Expected::errorText(text("synced")), Expected::zipLoaded(text("a.zip"))}));
#else
    QSKIP("other systems have no call to look for");
#endif
}

int main(int argc, char **argv)
{
#ifdef Q_OS_LINUX
    // Thousands of small archives, which a disk would take its time for.
    const QFileInfo memory(QStringLiteral("/dev/shm"));
    if (qEnvironmentVariableIsEmpty("TMPDIR") && memory.permission(QFile::WriteOther | QFile::ExeOther))
        qputenv("TMPDIR", "/dev/shm");
#endif
    QCoreApplication application(argc, argv);
    ArchiveReportTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_archivereport.moc"
