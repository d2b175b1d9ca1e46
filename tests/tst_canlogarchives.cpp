// SPDX-License-Identifier: Apache-2.0
#include "host/store/chunkformat.h"
#include "host/store/chunkstore.h"
#include "ziparchive.h"

#include <QBuffer>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QtTest>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/stat.h>
#endif

namespace
{

/// What a run of the program gave.
struct Outcome {
    int status = -1; ///< -1: it did not end by itself
    QString out;
    QString err;
};

/// A message with its note, to compare stores.
using Entry = QPair<CAN::CanRxMessage, QString>;

QVector<Entry> entriesOf(const QString &folder)
{
    QVector<Entry> entries;
    ChunkStore store;
    if (store.open(folder, ChunkStore::Mode::Read)) {
        store.forEachMessage([&](const CAN::CanRxMessage &message, const QString &note) {
            entries.append({message, note});
            return true;
        });
    }
    return entries;
}

/// A sound chunk of one message.
QByteArray oneMessage(quint64 number)
{
    ChunkFormat::Encoder encoder(1);
    encoder.add(CAN::CanRxMessage());
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    encoder.write(buffer, number, {});
    return buffer.data();
}

/// A process that has the rights of an ordinary user if asked to, also when the superuser runs the test.
class UserProcess : public QProcess
{
public:
    bool isOrdinary = false;

#if QT_VERSION_MAJOR == 5
protected:
    void setupChildProcess() override
    {
        giveUpRights();
    }
#else
    UserProcess()
    {
        setChildProcessModifier([this] { giveUpRights(); });
    }
#endif

private:
    void giveUpRights() const
    {
        constexpr id_t nobody = 65534;
        if (isOrdinary && geteuid() == 0 && (setgid(nobody) != 0 || setuid(nobody) != 0))
            _exit(99);
    }
};

/// What is said of the folder @p unpacked that is not what a.zip holds.
QString differsText(const QString &unpacked, const QString &difference)
{
    return QStringLiteral(
               "canlog: %1: is there and does not hold what is in a.zip: %2; unpack it beside that with --as "
               "NAME, or rename or remove that and unzip again\n")
        .arg(unpacked, difference);
}

QByteArray withLastByteChanged(QByteArray bytes)
{
    bytes[bytes.size() - 1] = char(bytes.at(bytes.size() - 1) ^ 1);
    return bytes;
}

} // namespace

/// Runs the real program on archives.
class CanlogArchivesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void roundTripKeepsEveryMessageAndNote();
    void unzipMakesAFolderThatIsAStore();
    void unzipAgainChangesNothing();
    void checkCounts();
    void zipReplacesAnArchiveOfAStore_data();
    void zipReplacesAnArchiveOfAStore();
    void zipReplacesNothingElse_data();
    void zipReplacesNothingElse();
    void zipReplacesNothingEncrypted_data();
    void zipReplacesNothingEncrypted();
    void zipKeepsALink();
    void storeWithoutMessagesGoesAllTheWay();
    void archiveThatCannotBeWrittenIsNoSuccess_data();
    void archiveThatCannotBeWrittenIsNoSuccess();
    void pipeIsNotReplaced();
    void damagedStoreIsPackedInFull();
    void damagedStoreLeavesTheFormerArchive();
    void filesOfAStoreAreNoArchives();
    void dataBehindAChunkAreTold();
    void fileThatIsLeftOutIsNamed();
    void archiveIsNotPackedIntoItself();
    void moreThan65535ChunksAreCounted();
    void damagedChunkIsTold_data();
    void damagedChunkIsTold();
    void everyEntryLeftOutIsNamed_data();
    void everyEntryLeftOutIsNamed();
    void changedBitInADirectoryIsTold_data();
    void changedBitInADirectoryIsTold();
    void packedStoreFolderIsReadByAll();
    void chunksOfTwoPackedFoldersDoNotReplaceEachOther();
    void smallChunksAreMergedIntoLargeOnes();
    void unzipRefusesAnotherArchiveOfThatName();
    void damageAfterUnpackingIsFound_data();
    void damageAfterUnpackingIsFound();
    void unzipAsNeedsAPlainName_data();
    void unzipAsNeedsAPlainName();
    void interruptionLeavesNothing_data();
    void interruptionLeavesNothing();
    void remainsOfAKilledUnpackingAreRemoved();
    void ofEqualNamesOneChunkCounts();
    void unzipCountsEveryChunk();
    void failureLeavesNoNewStore_data();
    void failureLeavesNoNewStore();
    void mergeKeepsWhatIsBeforeADamagedEnd();
    void mergeThatLosesChunksIsListedAsFailed_data();
    void mergeThatLosesChunksIsListedAsFailed();
    void archiveIsMergedOnce();
    void entriesThatLookLikeChunksAreNamedByAll();
    void chunksWithOnePlaceAreNamedByCheck();
    void typeOfArchivesIsListed();
    void halfAnArchiveIsNotTakenForAllOfIt_data();
    void halfAnArchiveIsNotTakenForAllOfIt();
    void folderForTemporaryFilesIsNamed();
    void fileInPlaceOfTheUnpackedFolderIsNamed();
    void noArchiveIsNamedEvenWhereOneWasUnpacked();
    void helpShowsAnExample_data();
    void helpShowsAnExample();
    void mistakesAreToldInOneLine_data();
    void mistakesAreToldInOneLine();

private:
    Outcome canlog(const QStringList &arguments) const;
    Outcome canlog(const char *arguments) const
    {
        return canlog(QString::fromLatin1(arguments).split(QLatin1Char(' ')));
    }
    QString path(const QString &name) const { return folder->filePath(name); }
    /// Makes the store "source" of two imports with notes.
    void makeSource() const;

    bool isOrdinary = false;              ///< the program runs without the rights of a superuser
    QScopedPointer<QTemporaryDir> folder; ///< a fresh one for each test, the current folder of the program
};

void CanlogArchivesTest::init()
{
    folder.reset(new QTemporaryDir);
    QVERIFY(folder->isValid());
    isOrdinary = false;
}

Outcome CanlogArchivesTest::canlog(const QStringList &arguments) const
{
    UserProcess process;
    process.isOrdinary = isOrdinary;
    process.setWorkingDirectory(folder->path());
    process.start(QStringLiteral(CANLOG_PROGRAM), arguments);
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), QString::fromLocal8Bit(process.readAllStandardOutput()),
            QString::fromLocal8Bit(process.readAllStandardError())};
}

void CanlogArchivesTest::makeSource() const
{
    ChunkStore store;
    QVERIFY(store.open(path(QStringLiteral("source")), ChunkStore::Mode::ReadWrite));
    for (const int count : {100003, 2}) {
        QList<CAN::CanRxMessage> messages;
        for (int i = 0; i < count; ++i) {
            CAN::CanRxMessage message;
            message.messageIndex = quint32(i);
            message.timeStamp = {i / 1000, i % 1000 * 1000};
            message.id = quint32(i) * 7 % 0x800;
            message.dlc = quint8(i % 9);
            message.data[i % 64] = quint8(i);
            message.isFd = i % 5 == 0;
            messages.append(message);
        }
        store.setImportStarted();
        store.addImportedMessages(messages, {{0, QStringLiteral("first")}, {1, QStringLiteral("zweite \u00e4")}});
        store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("a.log"), true);
    }
}

void CanlogArchivesTest::roundTripKeepsEveryMessageAndNote()
{
    makeSource();
    Outcome outcome =
        canlog({QStringLiteral("zip"), QStringLiteral("--store"), QStringLiteral("source"), QStringLiteral("a.zip")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 3 chunks, 100005 messages\n"));
    QCOMPARE(outcome.status, 0);

    outcome =
        canlog({QStringLiteral("merge"), QStringLiteral("a.zip"), QStringLiteral("--store"), QStringLiteral("target")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 100005 messages, 4 notes, stored in target\n"));
    QCOMPARE(outcome.status, 0);

    const QVector<Entry> expected = entriesOf(path(QStringLiteral("source")));
    QCOMPARE(expected.size(), 100005);
    QCOMPARE(expected.at(1).second, QStringLiteral("zweite \u00e4"));
    QVERIFY(entriesOf(path(QStringLiteral("target"))) == expected);
}

void CanlogArchivesTest::unzipMakesAFolderThatIsAStore()
{
    makeSource();
    QCOMPARE(
        canlog({QStringLiteral("zip"), QStringLiteral("--store"), QStringLiteral("source"), QStringLiteral("a.zip")})
            .status,
        0);
    const Outcome outcome =
        canlog({QStringLiteral("unzip"), QStringLiteral("a.zip"), QStringLiteral("--store"), QStringLiteral("target")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(
        outcome.out,
        QStringLiteral("a.zip: 3 chunks, 100005 messages, unpacked in %1/a.zip\n").arg(path(QStringLiteral("target"))));
    QCOMPARE(outcome.status, 0);
    QVERIFY(entriesOf(path(QStringLiteral("target/a.zip"))) == entriesOf(path(QStringLiteral("source"))));
    QVERIFY(entriesOf(path(QStringLiteral("target"))).isEmpty());
}

void CanlogArchivesTest::unzipAgainChangesNothing()
{
    makeSource();
    QCOMPARE(
        canlog({QStringLiteral("zip"), QStringLiteral("--store"), QStringLiteral("source"), QStringLiteral("a.zip")})
            .status,
        0);
    const QStringList unzip{QStringLiteral("unzip"), QStringLiteral("a.zip"), QStringLiteral("--store"),
                            QStringLiteral("target")};
    const Outcome first = canlog(unzip);
    const Outcome second = canlog(unzip);
    QCOMPARE(second.err, QString());
    QCOMPARE(second.out,
             QString(first.out).replace(QStringLiteral("unpacked in"), QStringLiteral("was unpacked before in")));
    QCOMPARE(second.status, 0);
}

void CanlogArchivesTest::checkCounts()
{
    makeSource();
    QCOMPARE(
        canlog({QStringLiteral("zip"), QStringLiteral("--store"), QStringLiteral("source"), QStringLiteral("a.zip")})
            .status,
        0);
    const Outcome outcome = canlog({QStringLiteral("check"), QStringLiteral("a.zip")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 3 chunks, 100005 messages\n"));
    QCOMPARE(outcome.status, 0);
}

void CanlogArchivesTest::zipReplacesAnArchiveOfAStore_data()
{
    QTest::addColumn<QByteArray>("former");
    const ZipBytes::Entry chunk = ZipBytes::packed("chunk-00000001.qcl", oneMessage(1));
    const ZipBytes::Entry journal = ZipBytes::packed("imports.json", "{}");
    const QByteArray whole = ZipBytes::archive({chunk, journal});
    QTest::newRow("chunks and journal") << whole;
    QTest::newRow("journal") << ZipBytes::archive({journal});
    QTest::newRow("without entries") << ZipBytes::archive({});
    QTest::newRow("half of one") << whole.left(whole.size() / 2);
    QTest::newRow("with a file that the store still has")
        << ZipBytes::archive({chunk, ZipBytes::packed("remarks.txt", "old")});
    QTest::newRow("empty file") << QByteArray("");
}

void CanlogArchivesTest::zipReplacesAnArchiveOfAStore()
{
    QFETCH(QByteArray, former);
    makeSource();
    writeTo(path(QStringLiteral("source/remarks.txt")), "new");
    writeTo(path(QStringLiteral("a.zip")), former);
    const Outcome outcome = canlog("zip --store source a.zip");
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.status, 0);
    QCOMPARE(canlog("check a.zip").out, QStringLiteral("a.zip: 3 chunks, 100005 messages\n"));
}

void CanlogArchivesTest::zipReplacesNothingElse_data()
{
    QTest::addColumn<QByteArray>("former");
    const ZipBytes::Entry chunk = ZipBytes::packed("chunk-00000001.qcl", oneMessage(1));
    QTest::newRow("log") << QByteArray("(1.5) can0 123#11\n");
    QTest::newRow("hardly begins like an archive") << QByteArray("PK, and then nothing that is an archive");
    const QByteArray other = ZipBytes::archive({ZipBytes::packed("photo.jpg", "a photo")});
    QTest::newRow("archive of other files") << other;
    QTest::newRow("half of it") << other.left(other.size() / 2);
    QTest::newRow("archive of chunks and other files")
        << ZipBytes::archive({chunk, ZipBytes::packed("photo.jpg", "a photo")});
    QTest::newRow("archive of a store's folder") << ZipBytes::archive({ZipBytes::packed("trips/1.qcl", "chunk")});
}

void CanlogArchivesTest::zipReplacesNothingElse()
{
    QFETCH(QByteArray, former);
    makeSource();
    writeTo(path(QStringLiteral("a.zip")), former);
    const Outcome outcome = canlog("zip --store source a.zip");
    QCOMPARE(outcome.err, QStringLiteral("canlog: a.zip: is no archive of a store and stays; name another one, or "
                                         "replace it with --force\n"));
    QCOMPARE(outcome.out, QString());
    QCOMPARE(outcome.status, 1);
    QCOMPARE(contentOf(path(QStringLiteral("a.zip"))), former);

    const Outcome forced = canlog("zip --store source --force a.zip");
    QCOMPARE(forced.err, QString());
    QCOMPARE(forced.status, 0);
    QCOMPARE(canlog("check a.zip").status, 0);
}

void CanlogArchivesTest::zipReplacesNothingEncrypted_data()
{
    QTest::addColumn<QByteArray>("former");
    ZipBytes::Entry encrypted = ZipBytes::stored("chunk-00000001.qcl", noise(100));
    encrypted.flags |= ZipBytes::encryptedFlag;
    const QByteArray whole = ZipBytes::archive({encrypted});
    QTest::newRow("whole") << whole;
    QTest::newRow("half of it") << whole.left(whole.size() / 2);
    QTest::newRow("beside a chunk") << ZipBytes::archive(
        {ZipBytes::packed("chunk-00000002.qcl", oneMessage(2)), encrypted});
}

void CanlogArchivesTest::zipReplacesNothingEncrypted()
{
    QFETCH(QByteArray, former);
    makeSource();
    writeTo(path(QStringLiteral("a.zip")), former);
    const Outcome outcome = canlog("zip --store source a.zip");
    QCOMPARE(outcome.err,
             QStringLiteral("canlog: a.zip: is encrypted, so that nobody can tell whether it is an archive "
                            "of a store, and stays; name another one, or replace it with --force\n"));
    QCOMPARE(outcome.status, 1);
    QCOMPARE(contentOf(path(QStringLiteral("a.zip"))), former);
    QCOMPARE(canlog("zip --store source --force a.zip").status, 0);
}

void CanlogArchivesTest::zipKeepsALink()
{
#ifdef Q_OS_UNIX
    makeSource();
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("archives")));
    QVERIFY(QFile::link(QStringLiteral("archives/real.zip"), path(QStringLiteral("a.zip"))));
    for (int run = 0; run < 2; ++run) { // it leads nowhere at first
        QCOMPARE(canlog("zip --store source a.zip").status, 0);
        QVERIFY(QFileInfo(path(QStringLiteral("a.zip"))).isSymLink());
        QVERIFY(!QFileInfo(path(QStringLiteral("archives/real.zip"))).isSymLink());
        QCOMPARE(canlog("check archives/real.zip").status, 0);
    }
#else
    QSKIP("needs Unix links");
#endif
}

void CanlogArchivesTest::storeWithoutMessagesGoesAllTheWay()
{
    {
        ChunkStore store;
        QVERIFY(store.open(path(QStringLiteral("empty")), ChunkStore::Mode::ReadWrite));
        store.setImportStarted();
        store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("a.log"), true);
    }
    const auto said = [&](const char *arguments, const QString &out) {
        const Outcome outcome = canlog(arguments);
        QCOMPARE(outcome.err, QString());
        QCOMPARE(outcome.out, out);
        QCOMPARE(outcome.status, 0);
    };
    said("zip --store empty a.zip", QStringLiteral("a.zip: 0 chunks, 0 messages\n"));
    said("check a.zip", QStringLiteral("a.zip: 0 chunks, 0 messages\n"));
    said("merge a.zip --store target", QStringLiteral("a.zip: 0 messages, 0 notes, stored in target\n"));
    said("unzip a.zip --store target",
         QStringLiteral("a.zip: 0 chunks, 0 messages, unpacked in %1\n").arg(path(QStringLiteral("target/a.zip"))));
    QVERIFY(entriesOf(path(QStringLiteral("target"))).isEmpty());
}

void CanlogArchivesTest::archiveThatCannotBeWrittenIsNoSuccess_data()
{
    QTest::addColumn<bool>("hasFormer");
    QTest::newRow("new") << false;
    QTest::newRow("in place of one with as many messages") << true;
}

void CanlogArchivesTest::archiveThatCannotBeWrittenIsNoSuccess()
{
#ifdef Q_OS_UNIX
    QFETCH(bool, hasFormer);

    makeSource();
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("locked")));
    if (hasFormer)
        QCOMPARE(canlog("zip --store source locked/a.zip").status, 0);
    const QByteArray former = contentOf(path(QStringLiteral("locked/a.zip")));
    const QFile::Permissions readable = QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther;
    QVERIFY(QFile::setPermissions(folder->path(), readable | QFile::WriteOwner));
    QVERIFY(QFile::setPermissions(path(QStringLiteral("locked")), readable));
    isOrdinary = true;
    if (canlog("--version").status != 0)
        QSKIP("an ordinary user cannot run the program here");
    const Outcome outcome = canlog("zip --store source locked/a.zip");
    QVERIFY(QFile::setPermissions(path(QStringLiteral("locked")), readable | QFile::WriteOwner));

    QCOMPARE(outcome.out, QString());
    QCOMPARE(outcome.err,
             QStringLiteral("canlog: locked/a.zip: cannot be written: Permission denied; check the folder, its "
                            "permissions and the space left\n"));
    QCOMPARE(outcome.status, 1);
    QCOMPARE(contentOf(path(QStringLiteral("locked/a.zip"))), former);
#else
    QSKIP("needs Unix permissions");
#endif
}

void CanlogArchivesTest::pipeIsNotReplaced()
{
#ifdef Q_OS_UNIX
    makeSource();
    QCOMPARE(mkfifo(QFile::encodeName(path(QStringLiteral("pipe"))).constData(), 0600), 0);
    const Outcome outcome = canlog("zip --store source pipe");
    QCOMPARE(outcome.err, QStringLiteral("canlog: pipe: is a pipe, socket or device; name the archive to write\n"));
    QCOMPARE(outcome.status, 1);
    QVERIFY(!QFileInfo(path(QStringLiteral("pipe"))).isFile());
#else
    QSKIP("needs Unix pipes");
#endif
}

void CanlogArchivesTest::damagedStoreIsPackedInFull()
{
    makeSource();
    const QString chunk = path(QStringLiteral("source/chunk-00000002.qcl"));
    writeTo(chunk, withLastByteChanged(contentOf(chunk)));
    const Outcome outcome = canlog("zip --store source a.zip");
    QVERIFY2(outcome.err.startsWith(QStringLiteral("canlog: source: warning: chunk-00000002.qcl: ")),
             qPrintable(outcome.err));
    QCOMPARE(outcome.err.count(QLatin1Char('\n')), 1);
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 3 chunks, 100002 messages\n")); // of 100000, 3 and 2
    QCOMPARE(outcome.status, 1);

    // The damaged file is there as it is: a person may see more in it.
    const Outcome unpacked = canlog("unzip a.zip --store target");
    QVERIFY2(
        unpacked.err.endsWith(QStringLiteral("target/a.zip: warning: chunk-00000002.qcl: its checksum is wrong\n")),
        qPrintable(unpacked.err));
    QCOMPARE(unpacked.status, 1);
    QCOMPARE(contentOf(path(QStringLiteral("target/a.zip/chunk-00000002.qcl"))), contentOf(chunk));
}

void CanlogArchivesTest::damagedStoreLeavesTheFormerArchive()
{
    makeSource();
    QCOMPARE(canlog("zip --store source a.zip").status, 0);
    const QByteArray former = contentOf(path(QStringLiteral("a.zip")));
    const QString chunk = path(QStringLiteral("source/chunk-00000002.qcl"));
    writeTo(chunk, withLastByteChanged(contentOf(chunk)));
    const Outcome outcome = canlog("zip --store source a.zip");
    QVERIFY2(outcome.err.contains(QStringLiteral("canlog: a.zip: stays, since the store is damaged; ")),
             qPrintable(outcome.err));
    QCOMPARE(outcome.status, 1);
    QVERIFY(contentOf(path(QStringLiteral("a.zip"))) == former);
    QCOMPARE(canlog("zip --store source --force a.zip").status, 1);
    QVERIFY(contentOf(path(QStringLiteral("a.zip"))) != former);
}

void CanlogArchivesTest::filesOfAStoreAreNoArchives()
{
    makeSource();
    for (const char *name : {"source/chunk-00000001.qcl", "source/imports.json"}) {
        const QByteArray before = contentOf(path(QString::fromLatin1(name)));
        const Outcome outcome = canlog({QStringLiteral("zip"), QStringLiteral("--store"), QStringLiteral("source"),
                                        QStringLiteral("--force"), QString::fromLatin1(name)});
        QCOMPARE(outcome.err, QStringLiteral("canlog: %1: is a file of a store and stays; name the archive to write\n")
                                  .arg(QLatin1String(name)));
        QCOMPARE(outcome.status, 1);
        QVERIFY(contentOf(path(QString::fromLatin1(name))) == before);
    }
}

void CanlogArchivesTest::dataBehindAChunkAreTold()
{
    writeTo(path(QStringLiteral("a.zip")), ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1) + oneMessage(2)),
                                                              ZipBytes::packed("3.qcl", oneMessage(3))}));
    for (const char *arguments : {"check a.zip", "merge a.zip --store target"}) {
        const Outcome outcome = canlog(arguments);
        QVERIFY2(outcome.err.startsWith(QStringLiteral("canlog: a.zip: 1.qcl is left out: it goes on after its end; ")),
                 qPrintable(outcome.err));
        QCOMPARE(outcome.status, 1);
    }
}

void CanlogArchivesTest::fileThatIsLeftOutIsNamed()
{
    makeSource();
    QFile large(path(QStringLiteral("source/large.bin")));
    QVERIFY(large.open(QIODevice::WriteOnly));
    QVERIFY(large.resize(qint64(1024) * 1024 * 1024 + 1)); // has a size, and takes no room
    large.close();
    const Outcome outcome = canlog("zip --store source a.zip");
    QCOMPARE(outcome.err, QStringLiteral("canlog: a.zip: warning: without large.bin, which cannot be read or is above "
                                         "1 GiB\n"));
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 3 chunks, 100005 messages\n"));
    QCOMPARE(outcome.status, 1);
}

void CanlogArchivesTest::archiveIsNotPackedIntoItself()
{
    makeSource();
    for (int run = 0; run < 2; ++run) {
        const Outcome outcome = canlog("zip --store source source/a.zip");
        QCOMPARE(outcome.err, QString());
        QCOMPARE(outcome.out, QStringLiteral("source/a.zip: 3 chunks, 100005 messages\n"));
        QCOMPARE(outcome.status, 0);
        QVector<ZipBytes::Listed> entries;
        QVERIFY(ZipBytes::list(contentOf(path(QStringLiteral("source/a.zip"))), entries));
        QCOMPARE(entries.size(), 4); // the chunks and the journal
    }
}

void CanlogArchivesTest::moreThan65535ChunksAreCounted()
{
    constexpr int count = 65537;
    QVector<ZipBytes::Entry> entries;
    entries.reserve(count);
    for (int i = 1; i <= count; ++i)
        entries.append(ZipBytes::stored(QByteArray::number(i) + ".qcl", oneMessage(quint64(i))));
    writeTo(path(QStringLiteral("a.zip")), ZipBytes::archive(entries));
    const Outcome outcome = canlog("check a.zip");
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 65537 chunks, 65537 messages\n"));
    QCOMPARE(outcome.status, 0);
}

void CanlogArchivesTest::damagedChunkIsTold_data()
{
    QTest::addColumn<QByteArray>("archive");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<bool>("isUnpacked"); // what the archive holds as it was packed is unpacked as it is
    const ZipBytes::Entry first = ZipBytes::packed("1.qcl", oneMessage(1));
    const ZipBytes::Entry last = ZipBytes::packed("3.qcl", oneMessage(3));
    ZipBytes::Entry wrongChecksum = ZipBytes::packed("2.qcl", oneMessage(2));
    wrongChecksum.crc ^= 1;
    QTest::newRow("by the archive") << ZipBytes::archive({first, wrongChecksum, last})
                                    << QStringLiteral("damaged: its content is not what its checksum says") << false;
    QTest::newRow("when it was packed") << ZipBytes::archive(
        {first, ZipBytes::packed("2.qcl", withLastByteChanged(oneMessage(2))), last})
                                        << QStringLiteral("its checksum is wrong") << true;
}

void CanlogArchivesTest::damagedChunkIsTold()
{
    QFETCH(QByteArray, archive);
    QFETCH(QString, reason);
    QFETCH(bool, isUnpacked);

    writeTo(path(QStringLiteral("a.zip")), archive);
    Outcome outcome = canlog("check a.zip");
    const QString told =
        QStringLiteral("canlog: a.zip: 2.qcl is left out: %1; pack its store anew with 'canlog zip'\n").arg(reason);
    QCOMPARE(outcome.err, told);
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 3 chunks, 2 messages\n"));
    QCOMPARE(outcome.status, 1);

    outcome = canlog("merge a.zip --store target");
    QCOMPARE(outcome.err, told);
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 2 messages, 0 notes, stored in target\n"));
    QCOMPARE(outcome.status, 1);

    outcome = canlog("unzip a.zip --store target");
    const QString warning = QStringLiteral("target/a.zip: warning: 2.qcl: %1\n").arg(reason);
    QVERIFY2(isUnpacked ? outcome.err.endsWith(warning) : outcome.err == told, qPrintable(outcome.err));
    QVERIFY(outcome.out.startsWith(QStringLiteral("a.zip: %1 chunks, ").arg(isUnpacked ? 3 : 2)));
    QCOMPARE(outcome.status, 1);
}

void CanlogArchivesTest::everyEntryLeftOutIsNamed_data()
{
    QTest::addColumn<QByteArray>("archive");
    QTest::addColumn<QString>("checked"); // what check says, without the program's and the archive's name
    QTest::addColumn<QString>("merged");  // and so on
    QTest::addColumn<QString>("unpacked");
    const ZipBytes::Entry one = ZipBytes::packed("1.qcl", oneMessage(1));
    const auto alike = [](const char *name, const QByteArray &archive, const char *said) {
        const QString text = QString::fromLatin1(said);
        QTest::newRow(name) << archive << text << text << text;
    };
    ZipBytes::Entry encrypted = ZipBytes::stored("2.qcl", noise(100));
    encrypted.flags |= ZipBytes::encryptedFlag;
    encrypted.crc ^= 1; // that of what is in it
    alike("encrypted", ZipBytes::archive({one, encrypted}),
          "2.qcl is left out: it is encrypted; pack it without a password");
    ZipBytes::Entry unknown = ZipBytes::packed("2.qcl", oneMessage(2));
    unknown.method = 99;
    alike(
        "unknown method", ZipBytes::archive({one, unknown}),
        "2.qcl is left out: it is packed with a method that is not known here; pack its store anew with 'canlog zip'");
    alike("same number", ZipBytes::archive({one, ZipBytes::packed("2.qcl", oneMessage(1))}),
          "1.qcl is left out: another chunk has the same number and takes its place (2.qcl); pack each store into an "
          "archive of its own with 'canlog zip'");
    alike("same name", ZipBytes::archive({one, ZipBytes::packed("1.qcl", oneMessage(2))}),
          "1.qcl is left out: several entries have this name, and one of them is taken; pack it under a name like "
          "chunk-00000001.qcl that no other has");
    const QString leadsOutside = QStringLiteral("../2.qcl is %1: its name leads out of the folder that it is to be "
                                                "unpacked into; 'canlog merge' reads it");
    QTest::newRow("leads out of the folder")
        << ZipBytes::archive({one, ZipBytes::packed("../2.qcl", oneMessage(2))})
        << leadsOutside.arg(QStringLiteral("in doubt")) << leadsOutside.arg(QStringLiteral("in doubt"))
        << leadsOutside.arg(QStringLiteral("left out"));
    const QString backslash = QString(leadsOutside).replace(QStringLiteral("../2.qcl"), QStringLiteral("a\\2.qcl"));
    QTest::newRow("backslash") << ZipBytes::archive({one, ZipBytes::packed("a\\2.qcl", oneMessage(2))})
                               << backslash.arg(QStringLiteral("in doubt")) << backslash.arg(QStringLiteral("in doubt"))
                               << backslash.arg(QStringLiteral("left out"));
}

void CanlogArchivesTest::everyEntryLeftOutIsNamed()
{
    QFETCH(QByteArray, archive);
    QFETCH(QString, checked);
    QFETCH(QString, merged);
    QFETCH(QString, unpacked);
    writeTo(path(QStringLiteral("a.zip")), archive);
    const auto compare = [&](const char *arguments, const QString &said) {
        const Outcome outcome = canlog(arguments);
        QCOMPARE(outcome.err, said.isEmpty() ? QString() : QStringLiteral("canlog: a.zip: %1\n").arg(said));
        QCOMPARE(outcome.status, said.isEmpty() ? 0 : 1);
    };
    compare("check a.zip", checked);
    compare("merge a.zip --store target", merged);
    compare("unzip a.zip --store target", unpacked);
}

void CanlogArchivesTest::changedBitInADirectoryIsTold_data()
{
    QTest::addColumn<int>("position"); // from the beginning of the last entry of the directory
    QTest::newRow("signature") << 0;
    QTest::newRow("method") << 10;
    QTest::newRow("checksum") << 16;
    QTest::newRow("packed size") << 20;
    QTest::newRow("size") << 24;
    QTest::newRow("length of the name") << 28;
    QTest::newRow("length of the extra field") << 30;
    QTest::newRow("length of the comment") << 32;
    QTest::newRow("place of the header") << 42;
    QTest::newRow("name") << 46;
    QTest::newRow("name, so that it is no chunk") << 50;
    QTest::newRow("number of entries in the record behind it") << 46 + 5 + 10;
}

void CanlogArchivesTest::changedBitInADirectoryIsTold()
{
    QFETCH(int, position);
    QByteArray archive =
        ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1)), ZipBytes::packed("2.qcl", oneMessage(2))});
    const int at = archive.lastIndexOf("PK\1\2") + position;
    archive[at] = char(archive.at(at) ^ 1);
    writeTo(path(QStringLiteral("a.zip")), archive);
    for (const char *arguments : {"check a.zip", "merge a.zip --store target", "unzip a.zip --store target"}) {
        const Outcome outcome = canlog(arguments);
        QVERIFY2(outcome.err.startsWith(QStringLiteral("canlog: a.zip: ")), qPrintable(outcome.err));
        QCOMPARE(outcome.status, 1);
    }
}

void CanlogArchivesTest::packedStoreFolderIsReadByAll()
{
    // As zip -r packs the folder of a store.
    writeTo(path(QStringLiteral("a.zip")),
            ZipBytes::archive({ZipBytes::stored("store/", ""), ZipBytes::packed("store/imports.json", "{}"),
                               ZipBytes::packed("store/chunk-00000002.qcl", oneMessage(2)),
                               ZipBytes::packed("store/chunk-00000001.qcl", oneMessage(1))}));
    const auto said = [&](const char *arguments, const QString &out) {
        const Outcome outcome = canlog(arguments);
        QCOMPARE(outcome.err, QString());
        QCOMPARE(outcome.out, out);
        QCOMPARE(outcome.status, 0);
    };
    const QString unpacked = path(QStringLiteral("target/a.zip"));
    said("check a.zip", QStringLiteral("a.zip: 2 chunks, 2 messages\n"));
    said("merge a.zip --store target", QStringLiteral("a.zip: 2 messages, 0 notes, stored in target\n"));
    said("unzip a.zip --store target", QStringLiteral("a.zip: 2 chunks, 2 messages, unpacked in %1\n").arg(unpacked));
    QCOMPARE(treeOf(unpacked), (QMap<QString, QByteArray>{
                                   {QStringLiteral("chunk-00000001.qcl"), "file " + oneMessage(1)},
                                   {QStringLiteral("chunk-00000002.qcl"), "file " + oneMessage(2)},
                               }));
    said("unzip a.zip --store target",
         QStringLiteral("a.zip: 2 chunks, 2 messages, was unpacked before in %1\n").arg(unpacked));
}

void CanlogArchivesTest::chunksOfTwoPackedFoldersDoNotReplaceEachOther()
{
    writeTo(path(QStringLiteral("a.zip")),
            ZipBytes::archive({ZipBytes::packed("a/chunk-00000001.qcl", oneMessage(1)),
                               ZipBytes::packed("b/chunk-00000001.qcl", oneMessage(2))}));
    QCOMPARE(canlog("merge a.zip --store target").out,
             QStringLiteral("a.zip: 2 messages, 0 notes, stored in target\n"));
    const Outcome outcome = canlog("unzip a.zip --store target");
    QVERIFY2(outcome.err.startsWith(QStringLiteral("canlog: a.zip: b/chunk-00000001.qcl is left out: there is a file "
                                                   "already ")),
             qPrintable(outcome.err));
    QCOMPARE(outcome.status, 1);
    QCOMPARE(contentOf(path(QStringLiteral("target/a.zip/chunk-00000001.qcl"))), oneMessage(1));
}

void CanlogArchivesTest::smallChunksAreMergedIntoLargeOnes()
{
    constexpr int count = 300;
    QVector<ZipBytes::Entry> entries;
    QVector<Entry> expected;
    for (int i = 1; i <= count; ++i) {
        ChunkFormat::Encoder encoder(2);
        QMap<int, QString> notes;
        for (int j = 0; j < 2; ++j) {
            CAN::CanRxMessage message;
            message.id = quint32(2 * i + j);
            message.isFd = i == 7;
            encoder.add(message);
            const QString note = j == 1 && i % 3 == 0 ? QStringLiteral("note %1").arg(i) : QString();
            if (!note.isEmpty())
                notes.insert(j, note);
            expected.append({message, note});
        }
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        encoder.write(buffer, quint64(i), notes);
        entries.append(ZipBytes::packed(QByteArray::number(i) + ".qcl", buffer.data()));
    }
    writeTo(path(QStringLiteral("a.zip")), ZipBytes::archive(entries));
    QCOMPARE(canlog("merge a.zip --store target").out,
             QStringLiteral("a.zip: 600 messages, 100 notes, stored in target\n"));
    QVERIFY(entriesOf(path(QStringLiteral("target"))) == expected);
    QCOMPARE(QDir(path(QStringLiteral("target"))).entryList({QStringLiteral("*.qcl")}).size(), 1);
    ChunkStore store;
    QVERIFY(store.open(path(QStringLiteral("target")), ChunkStore::Mode::Read));
    QVERIFY(store.imports().constFirst().fdSeen);
}

void CanlogArchivesTest::unzipRefusesAnotherArchiveOfThatName()
{
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("other")));
    writeTo(path(QStringLiteral("a.zip")), ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1))}));
    writeTo(path(QStringLiteral("other/a.zip")), ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(2))}));
    QCOMPARE(canlog("unzip a.zip --store target").status, 0);
    Outcome outcome = canlog("unzip other/a.zip --store target");
    const QString unpacked = path(QStringLiteral("target/a.zip"));
    QCOMPARE(outcome.err, differsText(unpacked, QStringLiteral("1.qcl has other content"))
                              .replace(QStringLiteral("in a.zip"), QStringLiteral("in other/a.zip")));
    QCOMPARE(outcome.out, QString());
    QCOMPARE(outcome.status, 1);
    QCOMPARE(contentOf(unpacked + QStringLiteral("/1.qcl")), oneMessage(1));

    outcome = canlog("unzip other/a.zip --store target --as other.zip");
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.out, QStringLiteral("other/a.zip: 1 chunk, 1 message, unpacked in %1\n")
                              .arg(path(QStringLiteral("target/other.zip"))));
    QCOMPARE(contentOf(path(QStringLiteral("target/other.zip/1.qcl"))), oneMessage(2));
    QCOMPARE(canlog("unzip other/a.zip --store target --as other.zip").status, 0);
}

void CanlogArchivesTest::damageAfterUnpackingIsFound_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("content"); // null: it is removed
    QTest::addColumn<QString>("difference");
    QTest::newRow("changed byte") << QStringLiteral("1.qcl") << withLastByteChanged(oneMessage(1))
                                  << QStringLiteral("1.qcl has other content");
    QTest::newRow("cut off") << QStringLiteral("1.qcl") << oneMessage(1).chopped(1)
                             << QStringLiteral("1.qcl has another size");
    QTest::newRow("removed") << QStringLiteral("2.qcl") << QByteArray() << QStringLiteral("2.qcl is missing");
    QTest::newRow("another one added") << QStringLiteral("3.qcl") << oneMessage(3)
                                       << QStringLiteral("3.qcl is not in the archive");
    QTest::newRow("file that is no chunk added") << QStringLiteral("notes.txt") << QByteArray("text") << QString();
}

void CanlogArchivesTest::damageAfterUnpackingIsFound()
{
    QFETCH(QString, file);
    QFETCH(QByteArray, content);
    QFETCH(QString, difference);
    writeTo(path(QStringLiteral("a.zip")),
            ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1)), ZipBytes::packed("2.qcl", oneMessage(2))}));
    QCOMPARE(canlog("unzip a.zip --store target").status, 0);
    const QString unpacked = path(QStringLiteral("target/a.zip"));
    const QString changed = unpacked + QLatin1Char('/') + file;
    if (content.isNull())
        QVERIFY(QFile::remove(changed));
    else
        writeTo(changed, content);
    const Outcome outcome = canlog("unzip a.zip --store target");
    QCOMPARE(outcome.err, difference.isEmpty() ? QString() : differsText(unpacked, difference));
    QCOMPARE(outcome.status, difference.isEmpty() ? 0 : 1);
}

void CanlogArchivesTest::unzipAsNeedsAPlainName_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name : {"", ".", "..", ".hidden", "a/b", "../a", "/a", "a\\b"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void CanlogArchivesTest::unzipAsNeedsAPlainName()
{
    QFETCH(QString, name);
    writeTo(path(QStringLiteral("a.zip")), ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1))}));
    const Outcome outcome = canlog({QStringLiteral("unzip"), QStringLiteral("a.zip"), QStringLiteral("--as"), name});
    QCOMPARE(outcome.err, QStringLiteral("canlog: --as needs the plain name of a folder; try 'canlog unzip --help'\n"));
    QCOMPARE(outcome.status, 2);
    QCOMPARE(QDir(folder->path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList(QStringLiteral("a.zip")));
}

void CanlogArchivesTest::interruptionLeavesNothing_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::newRow("check") << QStringLiteral("check a.zip");
    QTest::newRow("merge") << QStringLiteral("merge a.zip --store target");
    QTest::newRow("unzip") << QStringLiteral("unzip a.zip --store target");
}

void CanlogArchivesTest::interruptionLeavesNothing()
{
#ifdef Q_OS_LINUX
    QFETCH(QString, arguments);
    constexpr int count = 30000; // which take seconds
    QVector<ZipBytes::Entry> entries;
    for (int i = 1; i <= count; ++i)
        entries.append(ZipBytes::stored(QByteArray::number(i) + ".qcl", oneMessage(quint64(i))));
    writeTo(path(QStringLiteral("a.zip")), ZipBytes::archive(entries));

    UserProcess process;
    process.setWorkingDirectory(folder->path());
    process.start(QStringLiteral(CANLOG_PROGRAM), arguments.split(QLatin1Char(' ')));
    QVERIFY(process.waitForStarted());
    const auto takesInterruptions = [&] {
        const QByteArray status = contentOf(QStringLiteral("/proc/%1/status").arg(process.processId()));
        const QByteArray caught = status.mid(status.indexOf("SigCgt:") + 7, 17).trimmed();
        return (caught.toULongLong(nullptr, 16) >> (SIGINT - 1) & 1) != 0;
    };
    QTRY_VERIFY_WITH_TIMEOUT(takesInterruptions(), 60000);
    kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(120000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 130);
    QCOMPARE(process.readAllStandardOutput(), QByteArray());
    const QByteArray said = process.readAllStandardError();
    QVERIFY2(said.startsWith("canlog: a.zip: interrupted") && said.count('\n') == 1, said.constData());
    QCOMPARE(QDir(folder->path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList(QStringLiteral("a.zip")));
#else
    QSKIP("needs to see when the program takes signals");
#endif
}

void CanlogArchivesTest::remainsOfAKilledUnpackingAreRemoved()
{
    writeTo(path(QStringLiteral("a.zip")), ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1))}));
    QVERIFY(QDir(folder->path()).mkpath(QStringLiteral("target/.unpacking-abcdef/a.zip")));
    writeTo(path(QStringLiteral("target/.unpacking-abcdef/a.zip/1.qcl")), "half a chunk");
    QCOMPARE(canlog("unzip a.zip --store target").status, 0);
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("target/.unpacking-abcdef"))));
    QCOMPARE(contentOf(path(QStringLiteral("target/a.zip/1.qcl"))), oneMessage(1));
}

void CanlogArchivesTest::ofEqualNamesOneChunkCounts()
{
    writeTo(path(QStringLiteral("a.zip")),
            ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1)), ZipBytes::packed("1.qcl", oneMessage(2))}));
    QCOMPARE(canlog("check a.zip").out, QStringLiteral("a.zip: 1 chunk, 1 message\n"));
    QCOMPARE(canlog("merge a.zip --store target").out, QStringLiteral("a.zip: 1 message, 0 notes, stored in target\n"));
    QVERIFY(canlog("unzip a.zip --store target").out.startsWith(QStringLiteral("a.zip: 1 chunk, 1 message, ")));
}

void CanlogArchivesTest::unzipCountsEveryChunk()
{
    writeTo(path(QStringLiteral("a.zip")),
            ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1)), ZipBytes::packed("2qcl", oneMessage(2)),
                               ZipBytes::packed("3.QCL", oneMessage(3))}));
    QCOMPARE(canlog("check a.zip").out, QStringLiteral("a.zip: 2 chunks, 2 messages\n"));
    const Outcome outcome = canlog("unzip a.zip --store target");
    const QString unpacked = path(QStringLiteral("target/a.zip"));
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 2 chunks, 1 message, unpacked in %1\n").arg(unpacked));
    QCOMPARE(outcome.err,
             QStringLiteral("canlog: a.zip: note: 3.QCL is no chunk and is passed over; pack it under a name like "
                            "chunk-00000001.qcl, in small letters\n"
                            "canlog: %1/2qcl: warning: a store shows only files like chunk-1.qcl; rename it\n")
                 .arg(unpacked));
}

void CanlogArchivesTest::failureLeavesNoNewStore_data()
{
    QTest::addColumn<QString>("subcommand");
    QTest::addColumn<QString>("archive");
    QTest::newRow("unzip") << QStringLiteral("unzip") << QStringLiteral("cut.zip");
    QTest::newRow("merge") << QStringLiteral("merge") << QStringLiteral("cut.zip");
    QTest::newRow("merge of a damaged chunk alone") << QStringLiteral("merge") << QStringLiteral("damaged.zip");
    QTest::newRow("unzip of nothing that can be read") << QStringLiteral("unzip") << QStringLiteral("unknown.zip");
    QTest::newRow("merge of nothing that can be read") << QStringLiteral("merge") << QStringLiteral("unknown.zip");
}

void CanlogArchivesTest::failureLeavesNoNewStore()
{
    QFETCH(QString, subcommand);
    QFETCH(QString, archive);
    writeTo(path(QStringLiteral("cut.zip")), ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1))}).chopped(30));
    writeTo(path(QStringLiteral("damaged.zip")),
            ZipBytes::archive({ZipBytes::packed("1.qcl", withLastByteChanged(oneMessage(1)))}));
    ZipBytes::Entry unknown = ZipBytes::packed("1.qcl", oneMessage(1));
    unknown.method = 99;
    writeTo(path(QStringLiteral("unknown.zip")), ZipBytes::archive({unknown}));
    const auto load = [&](const QString &store) {
        const Outcome outcome = canlog({subcommand, archive, QStringLiteral("--store"), store});
        QVERIFY2(outcome.err.startsWith(QStringLiteral("canlog: %1: ").arg(archive)), qPrintable(outcome.err));
        QCOMPARE(outcome.err.count(QLatin1Char('\n')), 1);
        QCOMPARE(outcome.out, QString());
        QCOMPARE(outcome.status, 1);
    };
    load(QStringLiteral("new"));
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("new"))));
    load(QStringLiteral("outer/inner"));
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("outer"))));

    // What was there before stays, even when there is nothing in it.
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("former")));
    load(QStringLiteral("former/inner"));
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("former/inner"))));
    load(QStringLiteral("former"));
    QVERIFY(QFileInfo(path(QStringLiteral("former"))).isDir());
    makeSource();
    load(QStringLiteral("source"));
    QCOMPARE(entriesOf(path(QStringLiteral("source"))).size(), 100005);
}

void CanlogArchivesTest::mergeKeepsWhatIsBeforeADamagedEnd()
{
    writeTo(path(QStringLiteral("a.zip")),
            ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1)),
                               ZipBytes::packed("2.qcl", withLastByteChanged(oneMessage(2)))}));
    const Outcome outcome = canlog("merge a.zip --store target");
    QCOMPARE(outcome.err,
             QStringLiteral("canlog: a.zip: 2.qcl is left out: its checksum is wrong; pack its store anew with "
                            "'canlog zip'\n"));
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 1 message, 0 notes, stored in target\n"));
    QCOMPARE(outcome.status, 1);
    QCOMPARE(entriesOf(path(QStringLiteral("target"))).size(), 1);
}

void CanlogArchivesTest::mergeThatLosesChunksIsListedAsFailed_data()
{
    QTest::addColumn<QByteArray>("archive");
    QTest::addColumn<int>("messages");
    QTest::addColumn<QString>("reason");
    const ZipBytes::Entry one = ZipBytes::packed("1.qcl", oneMessage(1));
    const ZipBytes::Entry three = ZipBytes::packed("3.qcl", oneMessage(3));
    ZipBytes::Entry damaged = ZipBytes::packed("2.qcl", oneMessage(2));
    damaged.crc ^= 1;
    const ZipBytes::Entry refused = ZipBytes::packed("2.qcl", withLastByteChanged(oneMessage(2)));
    const QString checksum = QStringLiteral("2.qcl is left out: damaged: its content is not what its checksum says");
    QTest::newRow("damaged in the archive") << ZipBytes::archive({one, damaged, three}) << 2 << checksum;
    QTest::newRow("damaged when it was packed")
        << ZipBytes::archive({one, refused, three}) << 2 << QStringLiteral("2.qcl is left out: its checksum is wrong");
    QTest::newRow("the last one") << ZipBytes::archive({one, refused}) << 1
                                  << QStringLiteral("2.qcl is left out: its checksum is wrong");
    QTest::newRow("nothing is left") << ZipBytes::archive({damaged}) << 0 << checksum;
    QTest::newRow("two chunks")
        << ZipBytes::archive({one, ZipBytes::packed("1.qcl", oneMessage(1)), refused}) << 1
        << QStringLiteral("1.qcl is left out: several entries have this name, and one of them is taken (and 1 more)");
}

void CanlogArchivesTest::mergeThatLosesChunksIsListedAsFailed()
{
    QFETCH(QByteArray, archive);
    QFETCH(int, messages);
    QFETCH(QString, reason);
    makeSource();
    writeTo(path(QStringLiteral("a.zip")), archive);
    QCOMPARE(canlog("merge a.zip --store source").status, 1);
    ChunkStore store;
    QVERIFY(store.open(path(QStringLiteral("source")), ChunkStore::Mode::Read));
    const ImportRecord record = store.imports().constLast();
    QCOMPARE(record.state, ImportRecord::State::Failed);
    QCOMPARE(record.keeping, ImportRecord::Keeping::Kept);
    QCOMPARE(record.errorText, reason);
    QCOMPARE(record.messageCount, quint64(messages));
    QCOMPARE(store.messageCount(), quint64(100005 + messages));
    const QString listed = canlog("imports --store source").out;
    QVERIFY2(listed.contains(messages > 0 ? QStringLiteral("     3  failed, kept") : QStringLiteral("     3  failed ")),
             qPrintable(listed));
}

void CanlogArchivesTest::archiveIsMergedOnce()
{
    const ZipBytes::Entry one = ZipBytes::packed("1.qcl", oneMessage(1));
    writeTo(path(QStringLiteral("a.zip")), ZipBytes::archive({one}));
    writeTo(path(QStringLiteral("b.zip")),
            ZipBytes::archive({one, ZipBytes::packed("2.qcl", withLastByteChanged(oneMessage(2)))}));
    QCOMPARE(canlog("merge a.zip --store target").status, 0);
    Outcome outcome = canlog("merge ./a.zip --store target");
    QCOMPARE(outcome.err, QStringLiteral("canlog: ./a.zip: is in target already, as import 1; --again merges it once "
                                         "more\n"));
    QCOMPARE(outcome.out, QString());
    QCOMPARE(outcome.status, 1);
    QCOMPARE(canlog("merge b.zip --store target").status, 1);
    outcome = canlog("merge b.zip --store target");
    QCOMPARE(outcome.err, QStringLiteral("canlog: b.zip: is in target in part, as import 2; remove that with 'canlog "
                                         "imports --remove 2', or --again merges it beside that\n"));
    QCOMPARE(outcome.status, 1);
    QCOMPARE(entriesOf(path(QStringLiteral("target"))).size(), 2);

    QCOMPARE(canlog("merge --again a.zip --store target").status, 0);
    QCOMPARE(canlog("imports --remove 2 --store target").status, 0);
    QCOMPARE(canlog("merge b.zip --store target").out, QStringLiteral("b.zip: 1 message, 0 notes, stored in target\n"));
    QCOMPARE(entriesOf(path(QStringLiteral("target"))).size(), 3);
    // Another archive under that name.
    writeTo(path(QStringLiteral("a.zip")), ZipBytes::archive({one, ZipBytes::packed("2.qcl", oneMessage(2))}));
    QCOMPARE(canlog("merge a.zip --store target").status, 0);
}

void CanlogArchivesTest::entriesThatLookLikeChunksAreNamedByAll()
{
    writeTo(path(QStringLiteral("a.zip")),
            ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1)), ZipBytes::packed("2.QCL", oneMessage(2)),
                               ZipBytes::packed("photo.jpg", "a photo"), ZipBytes::packed("imports.json", "{}")}));
    for (const char *arguments :
         {"check a.zip", "merge a.zip --store target", "unzip a.zip --store target", "unzip a.zip --store target"}) {
        const Outcome outcome = canlog(arguments);
        QCOMPARE(outcome.err,
                 QStringLiteral("canlog: a.zip: note: 2.QCL is no chunk and is passed over; pack it under a name like "
                                "chunk-00000001.qcl, in small letters\n"
                                "canlog: a.zip: note: photo.jpg is no chunk and is passed over\n"));
        QCOMPARE(outcome.status, 0);
    }
}

void CanlogArchivesTest::chunksWithOnePlaceAreNamedByCheck()
{
    writeTo(path(QStringLiteral("a.zip")), ZipBytes::archive({ZipBytes::packed("a/1.qcl", oneMessage(2)),
                                                              ZipBytes::packed("b/1.qcl", oneMessage(1))}));
    const QString said = QStringLiteral("canlog: a.zip: a/1.qcl is %1: there is a file already where it is to be "
                                        "unpacked; pack it under a name like chunk-00000001.qcl that no other has\n");
    Outcome outcome = canlog("check a.zip");
    QCOMPARE(outcome.err, said.arg(QStringLiteral("in doubt")));
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 2 chunks, 2 messages\n"));
    QCOMPARE(outcome.status, 1);
    outcome = canlog("unzip a.zip --store target");
    QCOMPARE(outcome.err, said.arg(QStringLiteral("left out")));
    QCOMPARE(outcome.status, 1);
}

void CanlogArchivesTest::typeOfArchivesIsListed()
{
    writeTo(path(QStringLiteral("a.zip")), ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1))}));
    QCOMPARE(canlog("merge a.zip --store target").status, 0);
    QCOMPARE(canlog("unzip a.zip --store target").status, 0);
    {
        ChunkStore store; // is left in the middle of an import, twice: the second opening ends the first
        QVERIFY(store.open(path(QStringLiteral("target")), ChunkStore::Mode::ReadWrite));
        store.setPartialImports(ChunkStore::PartialImports::Remove);
        store.setImportStarted();
        QVERIFY(store.open(path(QStringLiteral("target")), ChunkStore::Mode::ReadWrite));
        store.setImportStarted();
    }
    QStringList types;
    for (const QString &line : canlog("imports --store target").out.split(QLatin1Char('\n')).mid(1, 4))
        types << line.mid(95).section(QLatin1Char(' '), 0, 0);
    QCOMPARE(types, (QStringList{QStringLiteral("archive"), QStringLiteral("archive"), QStringLiteral("-"),
                                 QStringLiteral("-")}));
}

void CanlogArchivesTest::halfAnArchiveIsNotTakenForAllOfIt_data()
{
    QTest::addColumn<int>("lastSize"); // of the last chunk; 0: there is none
    QTest::addColumn<QString>("difference");
    QTest::newRow("chunk is missing") << 0 << QStringLiteral("is missing");
    QTest::newRow("chunk is cut off") << 100 << QStringLiteral("has another size");
}

void CanlogArchivesTest::halfAnArchiveIsNotTakenForAllOfIt()
{
    QFETCH(int, lastSize);
    QFETCH(QString, difference);
    makeSource();
    QCOMPARE(canlog("zip --store source a.zip").status, 0);
    const Outcome whole = canlog("unzip a.zip --store target");
    QCOMPARE(whole.status, 0);
    // As an unpacking that was killed leaves it.
    const QString unpacked = path(QStringLiteral("target/a.zip"));
    QFile last(unpacked + QStringLiteral("/chunk-00000003.qcl"));
    QVERIFY(lastSize > 0 ? last.resize(lastSize) : last.remove());

    const Outcome half = canlog("unzip a.zip --store target");
    QCOMPARE(half.err, differsText(unpacked, QStringLiteral("chunk-00000003.qcl ") + difference));
    QCOMPARE(half.out, QString());
    QCOMPARE(half.status, 1);

    QVERIFY(QDir(unpacked).removeRecursively());
    const Outcome again = canlog("unzip a.zip --store target");
    QCOMPARE(again.err, QString());
    QCOMPARE(again.out, whole.out);
}

void CanlogArchivesTest::folderForTemporaryFilesIsNamed()
{
    writeTo(path(QStringLiteral("a.zip")), ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1))}));
    const QByteArray former = qgetenv("TMPDIR");
    qputenv("TMPDIR", "/proc"); // where nobody can make files
    const auto restore = qScopeGuard([&] { former.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", former); });
    for (const char *arguments : {"check a.zip", "merge a.zip --store target"}) {
        const Outcome outcome = canlog(arguments);
        QCOMPARE(outcome.err,
                 QStringLiteral("canlog: a.zip: cannot be loaded: Cannot write a temporary file; set TMPDIR "
                                "to a folder with more space\n"));
        QCOMPARE(outcome.out, QString());
        QCOMPARE(outcome.status, 1);
    }
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("target"))));
}

void CanlogArchivesTest::fileInPlaceOfTheUnpackedFolderIsNamed()
{
    makeSource();
    QCOMPARE(canlog("zip --store source source/a.zip").status, 0);
    const Outcome outcome = canlog("unzip source/a.zip --store source");
    QCOMPARE(outcome.err, QStringLiteral("canlog: %1: is a file, where the archive would get its folder; rename it, or "
                                         "name another store with --store\n")
                              .arg(path(QStringLiteral("source/a.zip"))));
    QCOMPARE(outcome.status, 1);
}

void CanlogArchivesTest::noArchiveIsNamedEvenWhereOneWasUnpacked()
{
    makeSource();
    QCOMPARE(canlog("zip --store source a.zip").status, 0);
    QCOMPARE(canlog("unzip a.zip --store target").status, 0);
    writeTo(path(QStringLiteral("a.zip")), "(1.5) can0 123#11\n");
    const Outcome outcome = canlog("unzip a.zip --store target");
    QCOMPARE(outcome.out, QString());
    QCOMPARE(outcome.err,
             QStringLiteral("canlog: a.zip: is no zip archive; name one that 'canlog zip' wrote, or read a "
                            "log with 'canlog import'\n"));
    QCOMPARE(outcome.status, 1);
}

void CanlogArchivesTest::helpShowsAnExample_data()
{
    QTest::addColumn<QString>("subcommand");
    for (const char *name : {"zip", "unzip", "merge", "check"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void CanlogArchivesTest::helpShowsAnExample()
{
    QFETCH(QString, subcommand);
    const Outcome outcome = canlog({subcommand, QStringLiteral("--help")});
    QVERIFY(outcome.out.startsWith(QStringLiteral("Usage: canlog %1 ").arg(subcommand)));
    QVERIFY(outcome.out.contains(QStringLiteral("Example:\n  canlog %1 ").arg(subcommand)));
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.status, 0);
}

void CanlogArchivesTest::mistakesAreToldInOneLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("said");
    const auto row = [](const char *name, const char *arguments, int status, const char *said) {
        QTest::newRow(name) << QString::fromLatin1(arguments).split(QLatin1Char(' ')) << status
                            << QString::fromLatin1(said);
    };
    row("zip without an archive", "zip --store source", 2, "canlog: zip needs one ARCHIVE");
    row("zip with two", "zip --store source a.zip b.zip", 2, "canlog: zip needs one ARCHIVE");
    row("unzip without an archive", "unzip", 2, "canlog: unzip needs one ARCHIVE");
    row("merge without an archive", "merge", 2, "canlog: merge needs one ARCHIVE");
    row("check without an archive", "check", 2, "canlog: check needs one ARCHIVE");
    row("zip of no store", "zip --store none a.zip", 1, "canlog: none: no such store");
    row("zip into no folder", "zip --store source none/a.zip", 1, "canlog: none/a.zip: cannot be written");
    row("zip onto a folder", "zip --store source source", 1, "canlog: source: is a folder");
    for (const char *subcommand : {"unzip", "merge", "check"}) {
        const auto every = [&](const char *file, const char *said) {
            const QByteArray arguments = QByteArray(subcommand) + ' ' + file;
            row(arguments.constData(), arguments.constData(), 1,
                (QByteArray("canlog: ") + file + ": " + said).constData());
        };
        every("text", "is no zip archive; name one that 'canlog zip' wrote, or read a log with 'canlog import'\n");
        every("cut.zip", "is no archive of data chunks, or is damaged; try 'unzip -t' on it\n");
        every("source", "is a folder; name an archive\n");
        every("none.zip", "no such file; check its name and the folder\n");
        every("-", "an archive cannot be read from standard input; name a file\n");
        every("/dev/null", "is a pipe, socket or device; name a plain file\n");
    }
}

void CanlogArchivesTest::mistakesAreToldInOneLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, status);
    QFETCH(QString, said);
    makeSource();
    QFile text(path(QStringLiteral("text")));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("no archive");
    text.close();
    writeTo(path(QStringLiteral("cut.zip")),
            ZipBytes::archive({ZipBytes::packed("1.qcl", oneMessage(1)), ZipBytes::packed("2.qcl", oneMessage(2))})
                .chopped(30));
    const QStringList before = QDir(folder->path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    const Outcome outcome = canlog(arguments);
    QCOMPARE(QDir(folder->path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), before);
    QCOMPARE(outcome.out, QString());
    QVERIFY2(outcome.err.startsWith(said), qPrintable(outcome.err));
    QCOMPARE(outcome.err.count(QLatin1Char('\n')), 1);
    QCOMPARE(outcome.status, status);
}

QTEST_GUILESS_MAIN(CanlogArchivesTest)
#include "tst_canlogarchives.moc"
