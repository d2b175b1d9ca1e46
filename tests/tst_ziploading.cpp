// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "encodings.h"
#include "host/store/chunkstore.h"
#include "host/store/streamstore.h"
#include "recordingstore.h"
#include "ziparchive.h"

#include <quazip/quazip.h>
#include <quazip/quazipfile.h>

#include <QProcess>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtTest>

#include <functional>
#include <limits>
#include <random>

using CAN::CanRxMessage;
using DatachunkHelper::ImportFileType;
using StorePointer = QPointer<DatachunkHandler>;
using ZipBytes::Entry;
using Map = QMap<double, QString>;

namespace
{

constexpr int patience = 60000;
const auto archiveType = DatachunkHelper::QclZipArchive;

QString text(const char *latin)
{
    return QLatin1String(latin);
}

/// A chunk with that header as an entry.
Entry chunk(const char *name, const QString &header)
{
    return ZipBytes::packed(name, chunkBytes(header));
}
Entry chunk(const char *name, const char *header)
{
    return chunk(name, text(header));
}

/// A place for archives, the folder of a store, and the store.
class Sample
{
public:
    explicit Sample(const QVector<Entry> &entries = {}, const QString &name = QStringLiteral("chunks.zip"))
        : Sample(ZipBytes::archive(entries), name)
    {
    }
    explicit Sample(const QByteArray &bytes, const QString &name = QStringLiteral("chunks.zip"))
        : zipPath(root.path() + QLatin1String("/archives/") + name)
        , location(root.path() + QLatin1String("/outer/store"))
    {
        if (!QDir().mkpath(location) || !QDir().mkpath(root.path() + QLatin1String("/archives")))
            qFatal("cannot make the sample folders");
        writeTo(root.path() + QLatin1String("/outer/neighbour.qcl"), "neighbour");
        writeTo(location + QLatin1String("/own.qcl"), "own");
        writeTo(zipPath, bytes);
        store.location = QDir(location);
    }

    QString path() const { return root.path(); }
    QString zip() const { return zipPath; }
    QString folder() const { return location + QLatin1Char('/') + QFileInfo(zipPath).fileName(); }
    QString file(const QString &name) const { return folder() + QLatin1Char('/') + name; }
    /// What is in the sub-folder, by name.
    QMap<QString, QByteArray> unpacked() const
    {
        QMap<QString, QByteArray> result = treeOf(folder());
        for (QByteArray &what : result) {
            if (what.startsWith("file "))
                what.remove(0, 5);
        }
        return result;
    }
    /// Everything but the sub-folder.
    QMap<QString, QByteArray> surroundings() const { return treeOf(root.path(), folder()); }

    bool unpack() { return handler.loadZipFile(zipPath); }
    bool merge() { return handler.loadZipMerged(zipPath); }
    bool request(bool flag) { return handler.loadFile(zipPath, archiveType, QString(), flag); }
    Map sorted()
    {
        Map entries;
        handler.sortZipFile(zipPath, entries);
        return entries;
    }

    /// All calls but those that ask for the folder, which is asked for as often as it is needed.
    QStringList calls() const
    {
        QStringList result = store.calls();
        result.removeAll(text("getDataChunkLocation()"));
        return result;
    }
    QString told(const QString &header, const QString &name) const
    {
        return Expected::zippedFile(header, file(name), folder(), zipPath);
    }
    QString told(const char *header, const char *name) const { return told(text(header), text(name)); }
    QString loaded() const { return Expected::zipLoaded(QFileInfo(zipPath).fileName()); }

    ReadingStore store;
    StorePointer current{&store};
    CANLogHandler handler{current};

private:
    QTemporaryDir root;
    QString zipPath;
    QString location;
};

/// @p archive, which has none, with a comment.
QByteArray withComment(const QByteArray &archive, const QByteArray &comment)
{
    return archive.chopped(int(sizeof(quint16)))
           + (ZipBytes::Bytes() << static_cast<quint16>(comment.size()) << comment);
}

QByteArray emptyArchive(const QByteArray &comment = QByteArray())
{
    return withComment(ZipBytes::archive({}), comment);
}

/// The calls of a merged load of chunks with these headers, none of them refused.
QStringList mergeOf(const QStringList &headers, const QString &baseName = QStringLiteral("chunks"))
{
    QStringList result{Expected::started()};
    for (const QString &header : headers)
        result << ReadingStore::parsed(header) << Expected::fd(false);
    return result << Expected::zipLoaded(baseName) << Expected::finished(true, 1, QString(), false);
}

const QStringList unreadableMerge{Expected::started(), Expected::finished(false, 1, QString(), false)};

/// Each way in which an entry can be damaged.
struct Damage {
    const char *name;
    std::function<Entry(const QByteArray &name, const QByteArray &content)> entry;
};

QVector<Damage> damages()
{
    using ZipBytes::packed;
    using ZipBytes::stored;
    const auto changed = [](const std::function<void(Entry &)> &change) {
        return [change](const QByteArray &name, const QByteArray &content) {
            Entry entry = packed(name, content);
            change(entry);
            return entry;
        };
    };
    const auto changedStored = [](const std::function<void(Entry &)> &change) {
        return [change](const QByteArray &name, const QByteArray &content) {
            Entry entry = stored(name, content);
            change(entry);
            return entry;
        };
    };
    return {
        {"wrong checksum", changed([](Entry &entry) { entry.crc ^= 1; })},
        {"wrong checksum, stored", changedStored([](Entry &entry) { entry.crc ^= 0x80000000; })},
        {"zero checksum", changed([](Entry &entry) { entry.crc = 0; })},
        {"changed byte, stored",
         changedStored([](Entry &entry) { entry.data[entry.data.size() - 1] = char(entry.data.back() ^ 4); })},
        {"packed data cut short", changed([](Entry &entry) {
             entry.data.chop(entry.data.size() / 2);
             entry.dataSize = quint32(entry.data.size());
         })},
        {"no packed data", changed([](Entry &entry) {
             entry.data.clear();
             entry.dataSize = 0;
         })},
        {"stored data cut short", changedStored([](Entry &entry) {
             entry.data.chop(2);
             entry.dataSize = quint32(entry.data.size());
         })},
        {"more promised than there is", changed([](Entry &entry) { entry.size += 1; })},
        {"much more promised than there is", changed([](Entry &entry) { entry.size += 1000000000; })},
        {"less promised than there is", changed([](Entry &entry) { entry.size -= 1; })},
        {"nothing promised", changed([](Entry &entry) { entry.size = 0; })},
        {"more stored data promised than the archive has",
         changedStored([](Entry &entry) { entry.size = entry.dataSize = 0x7FFFFFF0; })},
        {"no packed data but noise", changed([](Entry &entry) { entry.data = noise(entry.data.size()); })},
        {"block of a type that there is not", changed([](Entry &entry) { entry.data[0] = char(0xFF); })},
        {"unknown method", changed([](Entry &entry) { entry.method = 99; })},
        {"method that nobody uses any more", changed([](Entry &entry) { entry.method = 6; })},
        {"packed, said to be stored", changed([](Entry &entry) { entry.method = ZipBytes::storedMethod; })},
        {"stored, said to be packed", changedStored([](Entry &entry) { entry.method = ZipBytes::deflatedMethod; })},
        {"encrypted", changedStored([](Entry &entry) {
             entry.flags |= ZipBytes::encryptedFlag;
             entry.data = noise(12, 7) + noise(entry.data.size(), 8);
             entry.dataSize = quint32(entry.data.size());
         })},
        {"in another place", changed([](Entry &entry) { entry.offsetShift = 1; })},
        {"beyond the end", changed([](Entry &entry) { entry.offsetShift = 0x7F000000; })},
        {"without a header of its own", changed([](Entry &entry) { entry.signature = 0x04034B51; })},
    };
}

/// Long enough for damage that shows late, behind the header and behind several blocks.
QByteArray longChunk(const QString &header)
{
    return chunkBytes(header, noise(20000) + QByteArray(20000, 'z'));
}

/// Native messages and notes of one store.
struct Content {
    Frames messages;
    QMap<int, QString> notes; ///< by position
};

Content contentsOf(ChunkStore &store)
{
    Content content;
    store.forEachMessage([&](const CanRxMessage &message, const QString &note) {
        if (!note.isEmpty())
            content.notes.insert(content.messages.size(), note);
        content.messages.append(message);
        return true;
    });
    return content;
}

#ifdef Q_OS_LINUX
/// A value in KiB of what Linux tells about this program.
qint64 statusValue(const char *key)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("no /proc");
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(key))
            return line.mid(int(qstrlen(key)) + 1).simplified().split(' ').constFirst().toLongLong();
    }
    return -1;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

/// A store that only counts, so that what grows is the library's.
class CountingStore : public StreamStore
{
public:
    explicit CountingStore(const QString &folder)
        : location(folder)
    {
    }
    int entries = 0;
    qint64 bytes = 0;
    QDir getDataChunkLocation() const override { return location; }
    bool parseQCLStream(QDataStream &stream, bool &) override
    {
        ++entries;
        bytes += stream.device()->size();
        return true;
    }
    unsigned int getMsgCountFromQclStream(QDataStream &stream) override
    {
        bytes += stream.device()->size();
        return 1;
    }
    void notifyNewZippedFile(const QString &, const QString &filePath, const QDir &, const QString &) override
    {
        ++entries;
        bytes += QFileInfo(filePath).size();
    }

private:
    QDir location;
};

/// What one operation took, in a program of its own.
struct Usage {
    bool ended = false;
    QByteArray error;
    qlonglong resident = 0; ///< growth of the peak, KiB
    qlonglong address = 0;  ///< growth of the peak of the address space, KiB
    qlonglong entries = 0;
    qlonglong bytes = 0;
    qlonglong result = 0;
};

/// Runs in the program of its own: prints what usageOf() reads.
int measure(const QStringList &arguments)
{
    const QString operation = arguments.value(0);
    const QString zipPath = arguments.value(1);
    CountingStore store(arguments.value(2));
    StorePointer current(&store);
    CANLogHandler handler(current);
    if (!sanitized) {
        // What asks for very much more does not get it, instead of shaking the machine.
        const rlim_t limit = rlim_t(statusValue("VmPeak")) * 1024 + rlim_t(2) * 1024 * 1024 * 1024;
        const rlimit address{limit, limit};
        setrlimit(RLIMIT_AS, &address);
    }
    const qint64 resident = statusValue("VmHWM");
    const qint64 address = statusValue("VmPeak");
    qlonglong result = -1;
    if (operation == QLatin1String("sort")) {
        Map entries;
        handler.sortZipFile(zipPath, entries);
        result = entries.size();
    } else if (operation == QLatin1String("check")) {
        unsigned short entryCount = 0;
        unsigned int messageCount = 0;
        handler.checkZipFile(zipPath, entryCount, messageCount);
        store.entries = int(messageCount);
        result = entryCount;
    } else if (operation == QLatin1String("unpack")) {
        result = handler.loadZipFile(zipPath) ? 1 : 0;
    } else if (operation == QLatin1String("merge")) {
        result = handler.loadZipMerged(zipPath) ? 1 : 0;
    }
    printf("%lld %lld %d %lld %lld\n", static_cast<long long>(statusValue("VmHWM") - resident),
           static_cast<long long>(statusValue("VmPeak") - address), store.entries, static_cast<long long>(store.bytes),
           static_cast<long long>(result));
    return 0;
}

Usage usageOf(const char *operation, const Sample &sample)
{
    QProcess program;
    program.start(QCoreApplication::applicationFilePath(),
                  {text("--measure"), text(operation), sample.zip(), sample.store.location.path()});
    Usage usage;
    usage.ended =
        program.waitForFinished(patience) && program.exitStatus() == QProcess::NormalExit && program.exitCode() == 0;
    usage.error = program.readAllStandardError();
    const QList<QByteArray> values = program.readAllStandardOutput().simplified().split(' ');
    if (values.size() != 5) {
        usage.ended = false;
        return usage;
    }
    usage.resident = values[0].toLongLong();
    usage.address = values[1].toLongLong();
    usage.entries = values[2].toLongLong();
    usage.bytes = values[3].toLongLong();
    usage.result = values[4].toLongLong();
    return usage;
}

QByteArray printed(const char *operation, const Usage &usage)
{
    return QByteArray(operation) + ": peak grew by " + QByteArray::number(usage.resident) + " KiB resident, "
           + QByteArray::number(usage.address) + " KiB of address space";
}
#endif

} // namespace

Q_DECLARE_METATYPE(Map)
Q_DECLARE_METATYPE(QVector<Entry>)

class ZipLoadingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    // The order of entries
    void keyIsTheNumberBeforeTheFirstMinus_data();
    void keyIsTheNumberBeforeTheFirstMinus();
    void headerThatIsNoStringCountsAsZero_data();
    void headerThatIsNoStringCountsAsZero();
    void onlyNamesThatEndInQclAreChunks_data();
    void onlyNamesThatEndInQclAreChunks();
    void entriesAreInTheOrderOfTheirNumbers();
    void headerWithoutANumberTakesNoOthersPlace();
    void ofEqualNumbersTheLaterEntryCounts();
    void sortingAddsToWhatIsThere();
    void sortingAnUnreadableArchiveChangesNothing_data();
    void sortingAnUnreadableArchiveChangesNothing();

    // Counting
    void checkCountsEntriesAndAddsMessages();
    void checkOfAnUnreadableArchiveLeavesTheMessages_data();
    void checkOfAnUnreadableArchiveLeavesTheMessages();
    void checkOfNoChunksLeavesTheMessages();
    void checkWithoutStoreCountsEntries();

    // Unpacking
    void unpackingTellsOfEachChunkInOrder();
    void requestToUnpackEndsWithTheNotice();
    void unpackingTwiceOnlyTells();
    void unpackingWithoutChunksMakesAnEmptyFolder_data();
    void unpackingWithoutChunksMakesAnEmptyFolder();
    void unpackedFileEqualsTheEntry_data();
    void unpackedFileEqualsTheEntry();
    void headerIsReadFromTheFirstBlock_data();
    void headerIsReadFromTheFirstBlock();
    void unpackingAnUnreadableArchiveFails_data();
    void unpackingAnUnreadableArchiveFails();
    void folderThatIsThereCounts_data();
    void folderThatIsThereCounts();
    void folderThatCannotBeMadeFails_data();
    void folderThatCannotBeMadeFails();
    void targetThatCannotBeOpenedIsToldWithoutHeader();

    // Merging
    void mergingParsesEachChunkInOrder();
    void requestToMergeFinishesTwice_data();
    void requestToMergeFinishesTwice();
    void mergeSaysWhatTheLastChunkGave_data();
    void mergeSaysWhatTheLastChunkGave();
    void canFdIsToldForEachChunk();
    void parserGetsTheWholeEntry_data();
    void parserGetsTheWholeEntry();
    void mergingWithoutChunksSucceeds_data();
    void mergingWithoutChunksSucceeds();
    void archiveMayHaveAComment();
    void emptyArchiveMayHaveAComment_data();
    void emptyArchiveMayHaveAComment();
    void mergingAnUnreadableArchiveFails_data();
    void mergingAnUnreadableArchiveFails();
    void baseNameIsWithoutEveryZip_data();
    void baseNameIsWithoutEveryZip();

    // All operations
    void namesOfAllKindsAreFound_data();
    void namesOfAllKindsAreFound();
    void loadingLeavesTheArchiveAndTheSurroundingsAlone();
    void requestsRunFromTheEventLoop();
    void callsComeInTheHandlersThread();
    void storeWithoutAFolderGetsNoFiles();
    void storeMayGoDuringALoad_data();
    void storeMayGoDuringALoad();
    void withoutStoreNothingIsWritten();
    void storeThatIsNotOpenGetsNothing();
    void storesOfOurOwnAgree();

    // Damage
    void damagedEntryIsLeftOut_data();
    void damagedEntryIsLeftOut();
    void lateDamageIsFoundToo_data();
    void lateDamageIsFoundToo();
    void entryWithAPasswordIsLeftOut();
    void damageBehindTheHeaderShowsOnlyWhenAnEntryIsRead();
    void onlyDamagedEntriesAreAsNone();
    void truncatedArchiveDoesNoHarm();
    void flippedBitsDoNoHarm_data();
    void flippedBitsDoNoHarm();

    // Hostile archives
    void namesDoNotLeaveTheFolder_data();
    void namesDoNotLeaveTheFolder();
    void oddNamesStayInside_data();
    void oddNamesStayInside();
    void ofEqualNamesTheLastEntryCounts_data();
    void ofEqualNamesTheLastEntryCounts();
    void linkInTheFolderIsNotFollowed_data();
    void linkInTheFolderIsNotFollowed();
    void folderOnTheWayIsUsed();
    void claimedLengthOfTheHeaderTakesNoMemory_data();
    void claimedLengthOfTheHeaderTakesNoMemory();
    void manyEntriesTakeLittleMemory_data();
    void manyEntriesTakeLittleMemory();
    void hugeEntryTakesLittleMemory_data();
    void hugeEntryTakesLittleMemory();

    // Full disks
    void mergeFailsWhenTheTemporaryFileCannotBeWritten_data();
    void mergeFailsWhenTheTemporaryFileCannotBeWritten();
    void mergeFailsWithoutAFolderForTemporaryFiles();
    void checkGoesOnWhenTheTemporaryFileCannotBeWritten();
    void unpackingOntoAFullDiskLeavesNothing_data();
    void unpackingOntoAFullDiskLeavesNothing();

    // With the store on disk
    void zippedStoreMergesIntoTheSameMessages();
    void zippedStoreUnpacksIntoAStore();
    void zippedStoreIsCounted();
};

void ZipLoadingTest::initTestCase()
{
    // File names of any script, whatever the environment says.
    LocaleEncoding::set("UTF-8");
}

void ZipLoadingTest::keyIsTheNumberBeforeTheFirstMinus_data()
{
    QTest::addColumn<QString>("header");
    QTest::addColumn<double>("key");
    QTest::newRow("whole number") << text("12-rest") << 12.0;
    QTest::newRow("leading zeros") << text("0012-rest") << 12.0;
    QTest::newRow("fraction") << text("1.5-rest") << 1.5;
    QTest::newRow("small fraction") << text("0.0625-rest") << 0.0625;
    QTest::newRow("exponent") << text("1e3-rest") << 1000.0;
    QTest::newRow("exponent with its minus") << text("1e-3-rest") << 0.0; // "1e" is no number
    QTest::newRow("plus") << text("+7-rest") << 7.0;
    QTest::newRow("negative") << text("-5-rest") << 0.0; // the part before its minus is empty
    QTest::newRow("number alone") << text("42") << 42.0;
    QTest::newRow("number and minus") << text("42-") << 42.0;
    QTest::newRow("several minuses") << text("3-4-5") << 3.0;
    QTest::newRow("two minuses") << text("3--4") << 3.0;
    QTest::newRow("greatest whole number") << text("999999999999999-x") << 999999999999999.0;
    QTest::newRow("infinite") << text("inf-x") << std::numeric_limits<double>::infinity();
    QTest::newRow("empty") << text("") << 0.0;
    QTest::newRow("null") << QString() << 0.0;
    QTest::newRow("minus alone") << text("-") << 0.0;
    QTest::newRow("no number") << text("abc-1") << 0.0;
    QTest::newRow("number and more") << text("5abc-1") << 0.0;
    QTest::newRow("hexadecimal") << text("0x10-1") << 0.0;
    QTest::newRow("decimal comma") << text("1,5-x") << 0.0;
    QTest::newRow("two points") << text("1.2.3-x") << 0.0;
    QTest::newRow("other dash") << QString::fromUtf8("1–x") << 0.0;
    QTest::newRow("other scripts behind") << QString::fromUtf8("8-größe ☃") << 8.0;
    QTest::newRow("long header") << text("9-") + QString(100000, QLatin1Char('h')) << 9.0;
    QTest::newRow("long header without minus") << QString(20000, QLatin1Char('0')) + text("6") << 6.0;
    // Two bytes for each character: a text above 1 MiB is taken for no header, though it is really there.
    QTest::newRow("header of 1 MiB") << text("9-") + QString(524286, QLatin1Char('h')) << 9.0;
    QTest::newRow("header above 1 MiB") << text("9-") + QString(524287, QLatin1Char('h')) << 0.0;
    QTest::newRow("not a number") << text("nan-x") << 0.0;
}

void ZipLoadingTest::keyIsTheNumberBeforeTheFirstMinus()
{
    QFETCH(QString, header);
    QFETCH(double, key);

    Sample sample({ZipBytes::packed("a.qcl", chunkBytes(header))});
    QCOMPARE(sample.sorted(), (Map{{key, text("a.qcl")}}));
    Sample plain({ZipBytes::stored("a.qcl", chunkBytes(header, QByteArray()))});
    QCOMPARE(plain.sorted(), (Map{{key, text("a.qcl")}}));
    QCOMPARE(plain.calls(), QStringList());
}

void ZipLoadingTest::headerThatIsNoStringCountsAsZero_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty entry") << QByteArray("");
    QTest::newRow("length cut short") << QByteArray("\0\0", 2);
    QTest::newRow("text cut short") << chunkBytes(text("123-x"), QByteArray()).chopped(1);
    QTest::newRow("text missing") << chunkBytes(text("123-x"), QByteArray()).left(4);
    QTest::newRow("odd length") << QByteArray("\0\0\0\3\0001\0-", 8);
    QTest::newRow("greatest odd length") << QByteArray("\x7F\xFF\xFF\xFF\0001\0-", 8);
    QTest::newRow("greatest length") << QByteArray("\xFF\xFF\xFF\xFE\0001\0-", 8);
    QTest::newRow("noise") << noise(5000);
}

void ZipLoadingTest::headerThatIsNoStringCountsAsZero()
{
    QFETCH(QByteArray, content);

    Sample sample({ZipBytes::packed("a.qcl", content)});
    QCOMPARE(sample.sorted(), (Map{{0.0, text("a.qcl")}}));
    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.calls(), QStringList({sample.told("", "a.qcl"), sample.loaded()}));
    QCOMPARE(sample.unpacked(), (QMap<QString, QByteArray>{{text("a.qcl"), content}}));
    sample.store.clear();
    QCOMPARE(sample.merge(), true);
    QCOMPARE(sample.store.streams, QVector<QByteArray>{content});
}

void ZipLoadingTest::onlyNamesThatEndInQclAreChunks_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("isChunk");
    QTest::newRow("chunk") << QByteArray("a.qcl") << true;
    QTest::newRow("without a point") << QByteArray("aqcl") << true;
    QTest::newRow("nothing else") << QByteArray("qcl") << true;
    QTest::newRow("point in front") << QByteArray(".qcl") << true;
    QTest::newRow("twice") << QByteArray("a.qcl.qcl") << true;
    QTest::newRow("other scripts in front") << QByteArray("журнал☃qcl") << true;
    QTest::newRow("upper case") << QByteArray("a.QCL") << false;
    QTest::newRow("mixed case") << QByteArray("a.Qcl") << false;
    QTest::newRow("blank behind") << QByteArray("a.qcl ") << false;
    QTest::newRow("more behind") << QByteArray("a.qcl.bak") << false;
    QTest::newRow("folder") << QByteArray("a.qcl/") << false;
    QTest::newRow("shorter") << QByteArray("cl") << false;
    QTest::newRow("other") << QByteArray("imports.json") << false;
}

void ZipLoadingTest::onlyNamesThatEndInQclAreChunks()
{
    QFETCH(QByteArray, name);
    QFETCH(bool, isChunk);

    const QString decoded = QString::fromUtf8(name);
    const QByteArray content = name.endsWith('/') ? QByteArray() : chunkBytes(text("2-x"));
    Sample sample({chunk("first.qcl", "1-a"), ZipBytes::packed(name, content), chunk("last.qcl", "3-c")});
    Map expected{{1.0, text("first.qcl")}, {3.0, text("last.qcl")}};
    if (isChunk)
        expected.insert(2.0, decoded);
    QCOMPARE(sample.sorted(), expected);

    unsigned short entryCount = 0;
    unsigned int messageCount = 0;
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    QCOMPARE(entryCount, static_cast<unsigned short>(isChunk ? 3 : 2));
    sample.store.clear();

    QCOMPARE(sample.unpack(), true);
    QStringList calls{sample.told("1-a", "first.qcl")};
    if (isChunk)
        calls.append(sample.told(text("2-x"), decoded));
    QCOMPARE(sample.calls(), calls << sample.told("3-c", "last.qcl") << sample.loaded());
    QCOMPARE(sample.unpacked().keys().contains(decoded), isChunk);
    QCOMPARE(sample.unpacked().size(), isChunk ? 3 : 2);
    sample.store.clear();

    QCOMPARE(sample.merge(), true);
    QCOMPARE(sample.calls(), mergeOf(isChunk ? QStringList({text("1-a"), text("2-x"), text("3-c")})
                                             : QStringList({text("1-a"), text("3-c")})));
}

void ZipLoadingTest::entriesAreInTheOrderOfTheirNumbers()
{
    Sample sample({chunk("z.qcl", "10-j"), chunk("a.qcl", "9-i"), chunk("m.qcl", "0.5-f"), chunk("b.qcl", "1e2-h"),
                   chunk("c.qcl", "text"), chunk("d.qcl", "9.75-k")});
    QCOMPARE(sample.sorted(), (Map{{0.0, text("c.qcl")},
                                   {0.5, text("m.qcl")},
                                   {9.0, text("a.qcl")},
                                   {9.75, text("d.qcl")},
                                   {10.0, text("z.qcl")},
                                   {100.0, text("b.qcl")}}));
    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.calls(),
             QStringList({sample.told("text", "c.qcl"), sample.told("0.5-f", "m.qcl"), sample.told("9-i", "a.qcl"),
                          sample.told("9.75-k", "d.qcl"), sample.told("10-j", "z.qcl"), sample.told("1e2-h", "b.qcl"),
                          sample.loaded()}));
    sample.store.clear();
    QCOMPARE(sample.merge(), true);
    QCOMPARE(sample.calls(),
             mergeOf({text("text"), text("0.5-f"), text("9-i"), text("9.75-k"), text("10-j"), text("1e2-h")}));
}

void ZipLoadingTest::headerWithoutANumberTakesNoOthersPlace()
{
    Sample sample({chunk("a.qcl", "1-a"), chunk("nan.qcl", "nan-x"), chunk("b.qcl", "2-b")});
    QCOMPARE(sample.sorted(), (Map{{0.0, text("nan.qcl")}, {1.0, text("a.qcl")}, {2.0, text("b.qcl")}}));
    QCOMPARE(sample.merge(), true);
    QCOMPARE(sample.calls(), mergeOf({text("nan-x"), text("1-a"), text("2-b")}));
}

void ZipLoadingTest::ofEqualNumbersTheLaterEntryCounts()
{
    Sample sample({chunk("z.qcl", "5-first"), chunk("other.qcl", "4-other"), chunk("a.qcl", "5.0-second"),
                   chunk("zero.qcl", "0-zero"), chunk("empty.qcl", ""), chunk("none.qcl", "none")});
    QCOMPARE(sample.sorted(), (Map{{0.0, text("none.qcl")}, {4.0, text("other.qcl")}, {5.0, text("a.qcl")}}));
    unsigned short entryCount = 0;
    unsigned int messageCount = 0;
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    QCOMPARE(entryCount, static_cast<unsigned short>(3));
    sample.store.clear();
    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.calls(), QStringList({sample.told("none", "none.qcl"), sample.told("4-other", "other.qcl"),
                                          sample.told("5.0-second", "a.qcl"), sample.loaded()}));
    QCOMPARE(sample.unpacked().size(), 3);
    sample.store.clear();
    QCOMPARE(sample.merge(), true);
    QCOMPARE(sample.calls(), mergeOf({text("none"), text("4-other"), text("5.0-second")}));
}

void ZipLoadingTest::sortingAddsToWhatIsThere()
{
    Sample sample({chunk("a.qcl", "1-a"), chunk("b.qcl", "2-b")});
    Map entries{{2.0, text("former two")}, {7.0, text("former seven")}};
    sample.handler.sortZipFile(sample.zip(), entries);
    QCOMPARE(entries, (Map{{1.0, text("a.qcl")}, {2.0, text("b.qcl")}, {7.0, text("former seven")}}));
    QCOMPARE(sample.store.calls(), QStringList());
}

void ZipLoadingTest::sortingAnUnreadableArchiveChangesNothing_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray sound = ZipBytes::archive({chunk("a.qcl", "1-a"), chunk("b.qcl", "2-b")});
    QTest::newRow("empty file") << QByteArray("");
    QTest::newRow("text") << QByteArray("no archive at all");
    QTest::newRow("noise") << noise(100000);
    QTest::newRow("beginning of an archive") << sound.left(4);
    QTest::newRow("half an archive") << sound.left(sound.size() / 2);
    QTest::newRow("archive without its end record") << sound.chopped(22);
    QTest::newRow("one chunk") << chunkBytes(text("1-a"));
    // What is no archive without entries either, though it begins like one.
    QByteArray counting = emptyArchive();
    counting[10] = 1;
    QTest::newRow("end record that counts an entry") << counting;
    QByteArray sized = emptyArchive();
    sized[12] = 1;
    QTest::newRow("end record with a directory that is not there") << sized;
    QTest::newRow("end record cut short") << emptyArchive().chopped(1);
    QTest::newRow("comment cut short") << emptyArchive("comment").chopped(1);
    QTest::newRow("more than the comment") << emptyArchive("comment") + 'x';
    QTest::newRow("more than an empty comment") << emptyArchive() + QByteArray(100, '\0');
}

void ZipLoadingTest::sortingAnUnreadableArchiveChangesNothing()
{
    QFETCH(QByteArray, bytes);

    Sample sample(bytes);
    const Map former{{2.0, text("former two")}};
    Map entries = former;
    sample.handler.sortZipFile(sample.zip(), entries);
    QCOMPARE(entries, former);
    sample.handler.sortZipFile(sample.path() + text("/missing.zip"), entries);
    QCOMPARE(entries, former);
    sample.handler.sortZipFile(sample.path(), entries);
    QCOMPARE(entries, former);
    QCOMPARE(sample.store.calls(), QStringList());
}

void ZipLoadingTest::checkCountsEntriesAndAddsMessages()
{
    Sample sample({chunk("c.qcl", "3-c"), chunk("a.qcl", "1-a"), chunk("b.qcl", "2-b"), chunk("notes.txt", "4-d")});
    sample.store.counts = {{text("1-a"), 100000}, {text("2-b"), 0}, {text("3-c"), 17}};
    unsigned short entryCount = 999;
    unsigned int messageCount = 1000;
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    QCOMPARE(entryCount, static_cast<unsigned short>(3));
    QCOMPARE(messageCount, 101017U);
    QCOMPARE(sample.store.calls(), QStringList({ReadingStore::counted(text("1-a")), ReadingStore::counted(text("2-b")),
                                                ReadingStore::counted(text("3-c"))}));
    QCOMPARE(sample.store.streams,
             (QVector<QByteArray>{chunkBytes(text("1-a")), chunkBytes(text("2-b")), chunkBytes(text("3-c"))}));

    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    QCOMPARE(entryCount, static_cast<unsigned short>(3));
    QCOMPARE(messageCount, 201034U);
}

void ZipLoadingTest::checkOfAnUnreadableArchiveLeavesTheMessages_data()
{
    sortingAnUnreadableArchiveChangesNothing_data();
}

void ZipLoadingTest::checkOfAnUnreadableArchiveLeavesTheMessages()
{
    QFETCH(QByteArray, bytes);

    Sample sample(bytes);
    const QStringList paths{sample.zip(), sample.path() + text("/missing.zip"), sample.path()};
    for (const QString &path : paths) {
        unsigned short entryCount = 999;
        unsigned int messageCount = 1000;
        sample.handler.checkZipFile(path, entryCount, messageCount);
        QCOMPARE(entryCount, static_cast<unsigned short>(0)); // the keys of an empty map
        QCOMPARE(messageCount, 1000U);
    }
    QCOMPARE(sample.store.calls(), QStringList());
}

void ZipLoadingTest::checkOfNoChunksLeavesTheMessages()
{
    Sample sample({ZipBytes::packed("a.QCL", chunkBytes(text("1-a")))});
    unsigned short entryCount = 999;
    unsigned int messageCount = 1000;
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    QCOMPARE(entryCount, static_cast<unsigned short>(0));
    QCOMPARE(messageCount, 1000U);
    QCOMPARE(sample.store.calls(), QStringList());
}

void ZipLoadingTest::checkWithoutStoreCountsEntries()
{
    Sample sample({chunk("a.qcl", "1-a"), chunk("b.qcl", "2-b")});
    sample.handler.setPDatachunkHandler(StorePointer());
    unsigned short entryCount = 999;
    unsigned int messageCount = 1000;
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    QCOMPARE(entryCount, static_cast<unsigned short>(2));
    QCOMPARE(messageCount, 1000U);
    QCOMPARE(sample.sorted().size(), 2);
}

void ZipLoadingTest::unpackingTellsOfEachChunkInOrder()
{
    Sample sample({chunk("b.qcl", "2-b - more"), chunk("notes.txt", "0-n"), chunk("a.qcl", "1-a")});
    const auto before = sample.surroundings();
    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.calls(), QStringList({sample.told("1-a", "a.qcl"), sample.told("2-b - more", "b.qcl"),
                                          Expected::zipLoaded(text("chunks.zip"))}));
    QCOMPARE(sample.unpacked(), (QMap<QString, QByteArray>{{text("a.qcl"), chunkBytes(text("1-a"))},
                                                           {text("b.qcl"), chunkBytes(text("2-b - more"))}}));
    QCOMPARE(sample.surroundings(), before);
    QCOMPARE(sample.handler.getLastErrorText(), QString());
}

void ZipLoadingTest::requestToUnpackEndsWithTheNotice()
{
    Sample sample({chunk("a.qcl", "1-a")});
    sample.store.addLoadingSignalsOf(&sample.handler);
    QCOMPARE(sample.request(false), true);
    QCOMPARE(sample.calls(), QStringList({sample.told("1-a", "a.qcl"), sample.loaded()}));
}

void ZipLoadingTest::unpackingTwiceOnlyTells()
{
    Sample sample({chunk("a.qcl", "1-a"), chunk("b.qcl", "2-b")});
    QCOMPARE(sample.unpack(), true);
    sample.store.clear();
    writeTo(sample.file(text("a.qcl")), "changed since");
    QVERIFY(QFile::remove(sample.file(text("b.qcl"))));
    const auto before = treeOf(sample.path());

    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.calls(), QStringList{sample.loaded()});
    QCOMPARE(treeOf(sample.path()), before);
    sample.store.clear();
    QCOMPARE(sample.request(false), true);
    QCOMPARE(sample.calls(), QStringList{sample.loaded()});
    QCOMPARE(treeOf(sample.path()), before);
}

void ZipLoadingTest::unpackingWithoutChunksMakesAnEmptyFolder_data()
{
    QTest::addColumn<QVector<Entry>>("entries");
    QTest::newRow("no chunks") << QVector<Entry>{chunk("a.QCL", "1-a"), chunk("a.txt", "2-b"),
                                                 ZipBytes::stored("folder/", QByteArray())};
    QTest::newRow("no entries") << QVector<Entry>{};
}

void ZipLoadingTest::unpackingWithoutChunksMakesAnEmptyFolder()
{
    QFETCH(QVector<Entry>, entries);

    Sample sample(entries);
    QCOMPARE(sample.request(false), true);
    QCOMPARE(sample.calls(), QStringList{sample.loaded()});
    QVERIFY(QFileInfo(sample.folder()).isDir());
    QVERIFY(sample.unpacked().isEmpty());
}

void ZipLoadingTest::unpackedFileEqualsTheEntry_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("pack");
    for (const int size : {0, 1, 3, 4, 9999, 10000, 10001, 19999, 20000, 20001, 100000, 1000003}) {
        QTest::addRow("%d bytes, packed", size) << size << true;
        QTest::addRow("%d bytes, stored", size) << size << false;
    }
}

void ZipLoadingTest::unpackedFileEqualsTheEntry()
{
    QFETCH(int, size);
    QFETCH(bool, pack);

    QByteArray content = chunkBytes(text("7-x"), noise(size)).left(size);
    Sample sample({pack ? ZipBytes::packed("a.qcl", content) : ZipBytes::stored("a.qcl", content)});
    QCOMPARE(sample.unpack(), true);
    QVERIFY(QFile::exists(sample.file(text("a.qcl"))));
    QCOMPARE(contentOf(sample.file(text("a.qcl"))), content);
    QCOMPARE(sample.calls(), QStringList({sample.told(size < 10 ? "" : "7-x", "a.qcl"), sample.loaded()}));
}

void ZipLoadingTest::headerIsReadFromTheFirstBlock_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<bool>("fits"); // four bytes of length and two for each character
    QTest::newRow("4997 characters") << 4997 << true;
    QTest::newRow("4998 characters") << 4998 << true;
    QTest::newRow("4999 characters") << 4999 << false;
    QTest::newRow("20000 characters") << 20000 << false;
}

void ZipLoadingTest::headerIsReadFromTheFirstBlock()
{
    QFETCH(int, length);
    QFETCH(bool, fits);

    const QString header = text("3-") + QString(length - 2, QLatin1Char('h'));
    for (const QByteArray &rest : {QByteArray(), QByteArray("rest")}) {
        // The order is by the whole header, however long.
        Sample sample({ZipBytes::packed("long.qcl", chunkBytes(header, rest)), chunk("a.qcl", "2-a")});
        QCOMPARE(sample.sorted(), (Map{{2.0, text("a.qcl")}, {3.0, text("long.qcl")}}));
        QCOMPARE(sample.unpack(), true);
        QCOMPARE(sample.calls(),
                 QStringList({sample.told("2-a", "a.qcl"), sample.told(fits ? header : QString(), text("long.qcl")),
                              sample.loaded()}));
        QCOMPARE(contentOf(sample.file(text("long.qcl"))), chunkBytes(header, rest));
    }
}

void ZipLoadingTest::unpackingAnUnreadableArchiveFails_data()
{
    sortingAnUnreadableArchiveChangesNothing_data();
}

void ZipLoadingTest::unpackingAnUnreadableArchiveFails()
{
    QFETCH(QByteArray, bytes);

    Sample sample(bytes);
    const auto before = treeOf(sample.path());
    QCOMPARE(sample.unpack(), false);
    QCOMPARE(sample.calls(), QStringList{Expected::errorText(text("Invalid zip file"))});
    sample.store.clear();
    QCOMPARE(sample.request(false), false);
    QCOMPARE(sample.calls(),
             QStringList({Expected::errorText(text("Invalid zip file")), Expected::finished(false, 0, sample.zip())}));
    sample.store.clear();
    QCOMPARE(sample.handler.loadZipFile(sample.path() + text("/missing.zip")), false);
    QCOMPARE(sample.calls(), QStringList{Expected::errorText(text("Invalid zip file"))});
    QCOMPARE(treeOf(sample.path()), before);
}

void ZipLoadingTest::folderThatIsThereCounts_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("readable");
    for (const char *kind : {"folder", "link to a folder"}) {
        QTest::addRow("%s, archive", kind) << text(kind) << true;
        QTest::addRow("%s, no archive", kind) << text(kind) << false;
    }
}

void ZipLoadingTest::folderThatIsThereCounts()
{
    QFETCH(QString, kind);
    QFETCH(bool, readable);

    Sample sample(readable ? ZipBytes::archive({chunk("a.qcl", "1-a")}) : QByteArray("no archive"));
    if (kind == text("folder")) {
        QVERIFY(QDir().mkpath(sample.folder()));
    } else {
        QVERIFY(QDir().mkpath(sample.path() + text("/elsewhere")));
        QVERIFY(QFile::link(sample.path() + text("/elsewhere"), sample.folder()));
    }
    const auto before = treeOf(sample.path());
    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.calls(), QStringList{sample.loaded()});
    sample.store.clear();
    QCOMPARE(sample.request(false), true);
    QCOMPARE(sample.calls(), QStringList{sample.loaded()});
    QCOMPARE(treeOf(sample.path()), before);
}

void ZipLoadingTest::folderThatCannotBeMadeFails_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::newRow("file of that name") << text("file");
    QTest::newRow("broken link of that name") << text("link");
    QTest::newRow("link to a file of that name") << text("link to file");
    QTest::newRow("store without a folder") << text("location");
    QTest::newRow("file where the store's folder should be") << text("file as location");
}

void ZipLoadingTest::folderThatCannotBeMadeFails()
{
    QFETCH(QString, obstacle);

    Sample sample({chunk("a.qcl", "1-a")});
    if (obstacle == text("file"))
        writeTo(sample.folder(), "a file");
    else if (obstacle == text("link"))
        QVERIFY(QFile::link(sample.path() + text("/gone"), sample.folder()));
    else if (obstacle == text("link to file"))
        QVERIFY(QFile::link(sample.path() + text("/outer/neighbour.qcl"), sample.folder()));
    else if (obstacle == text("location"))
        sample.store.location = QDir(sample.path() + text("/no/such/folder"));
    else
        sample.store.location = QDir(sample.path() + text("/outer/neighbour.qcl"));
    const auto before = treeOf(sample.path());

    QCOMPARE(sample.unpack(), false);
    QCOMPARE(sample.calls(), QStringList());
    QCOMPARE(sample.handler.getLastErrorText(), text("Cannot create directory"));
    QCOMPARE(sample.request(false), false);
    QCOMPARE(sample.calls(), QStringList{Expected::finished(false, 0, sample.zip())});
    QCOMPARE(treeOf(sample.path()), before);
}

void ZipLoadingTest::targetThatCannotBeOpenedIsToldWithoutHeader()
{
    // Nothing makes the folder below the folder, so the file cannot be opened; the entry itself is sound.
    Sample sample({chunk("a.qcl", "1-a"), chunk("below/b.qcl", "2-b"), chunk("c.qcl", "3-c")});
    const auto before = sample.surroundings();
    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.calls(), QStringList({sample.told("1-a", "a.qcl"), sample.told("", "below/b.qcl"),
                                          sample.told("3-c", "c.qcl"), sample.loaded()}));
    QCOMPARE(sample.unpacked().keys(), QStringList({text("a.qcl"), text("c.qcl")}));
    QCOMPARE(sample.surroundings(), before);
    sample.store.clear();
    QCOMPARE(sample.merge(), true);
    QCOMPARE(sample.calls(), mergeOf({text("1-a"), text("2-b"), text("3-c")}));
}

void ZipLoadingTest::mergingParsesEachChunkInOrder()
{
    Sample sample({chunk("b.qcl", "2-b"), chunk("notes.txt", "0-n"), chunk("a.qcl", "1-a")});
    const auto before = treeOf(sample.path());
    QCOMPARE(sample.merge(), true);
    QCOMPARE(sample.store.calls(),
             QStringList({Expected::started(), ReadingStore::parsed(text("1-a")), Expected::fd(false),
                          ReadingStore::parsed(text("2-b")), Expected::fd(false), Expected::zipLoaded(text("chunks")),
                          Expected::finished(true, 1, QString(), false)}));
    QCOMPARE(sample.store.streams, (QVector<QByteArray>{chunkBytes(text("1-a")), chunkBytes(text("2-b"))}));
    QCOMPARE(treeOf(sample.path()), before);
}

void ZipLoadingTest::requestToMergeFinishesTwice_data()
{
    QTest::addColumn<QString>("refused");
    QTest::addColumn<bool>("readable");
    QTest::newRow("success") << QString() << true;
    QTest::newRow("failure") << text("2-b") << true;
    QTest::newRow("no archive") << QString() << false;
}

void ZipLoadingTest::requestToMergeFinishesTwice()
{
    QFETCH(QString, refused);
    QFETCH(bool, readable);

    Sample sample(readable ? ZipBytes::archive({chunk("a.qcl", "1-a"), chunk("b.qcl", "2-b")})
                           : QByteArray("no archive"));
    sample.store.addLoadingSignalsOf(&sample.handler);
    sample.store.refused.insert(refused);
    const bool expected = readable && refused.isEmpty();
    QCOMPARE(sample.request(true), expected);
    QStringList calls{Expected::started()};
    if (readable) {
        calls << ReadingStore::parsed(text("1-a")) << Expected::fd(false) << ReadingStore::parsed(text("2-b"));
        if (expected)
            calls << Expected::fd(false);
        calls << Expected::zipLoaded(text("chunks"));
    }
    calls << Expected::finished(expected, 1, QString(), false) << Expected::finished(expected, 0, sample.zip());
    QCOMPARE(sample.store.calls(), calls);
}

void ZipLoadingTest::mergeSaysWhatTheLastChunkGave_data()
{
    QTest::addColumn<QStringList>("refused");
    QTest::addColumn<bool>("result");
    const QString a = text("1-a");
    const QString b = text("2-b");
    const QString c = text("3-c");
    QTest::newRow("none refused") << QStringList() << true;
    QTest::newRow("first refused") << QStringList{a} << true;
    QTest::newRow("middle refused") << QStringList{b} << true;
    QTest::newRow("last refused") << QStringList{c} << false;
    QTest::newRow("all but the last refused") << QStringList{a, b} << true;
    QTest::newRow("all refused") << QStringList{a, b, c} << false;
}

void ZipLoadingTest::mergeSaysWhatTheLastChunkGave()
{
    QFETCH(QStringList, refused);
    QFETCH(bool, result);

    Sample sample({chunk("c.qcl", "3-c"), chunk("b.qcl", "2-b"), chunk("a.qcl", "1-a")});
    QStringList expected{Expected::started()};
    for (const char *header : {"1-a", "2-b", "3-c"}) {
        expected.append(ReadingStore::parsed(text(header)));
        if (refused.contains(text(header)))
            sample.store.refused.insert(text(header));
        else
            expected.append(Expected::fd(false));
    }
    expected << Expected::zipLoaded(text("chunks")) << Expected::finished(result, 1, QString(), false);
    QCOMPARE(sample.merge(), result);
    QCOMPARE(sample.store.calls(), expected);
}

void ZipLoadingTest::canFdIsToldForEachChunk()
{
    Sample sample({chunk("a.qcl", "1-a"), chunk("b.qcl", "2-b"), chunk("c.qcl", "3-c"), chunk("d.qcl", "4-d")});
    sample.store.withFd = {text("1-a"), text("3-c"), text("4-d")};
    sample.store.refused = {text("3-c")};
    QCOMPARE(sample.merge(), true);
    // Each chunk starts without the flag of the one before.
    QCOMPARE(sample.store.calls(),
             QStringList({Expected::started(), ReadingStore::parsed(text("1-a"), false), Expected::fd(true),
                          ReadingStore::parsed(text("2-b"), false), Expected::fd(false),
                          ReadingStore::parsed(text("3-c"), false), ReadingStore::parsed(text("4-d"), false),
                          Expected::fd(true), Expected::zipLoaded(text("chunks")),
                          Expected::finished(true, 1, QString(), false)}));
}

void ZipLoadingTest::parserGetsTheWholeEntry_data()
{
    unpackedFileEqualsTheEntry_data();
}

void ZipLoadingTest::parserGetsTheWholeEntry()
{
    QFETCH(int, size);
    QFETCH(bool, pack);

    const QByteArray content = chunkBytes(text("7-x"), noise(size)).left(size);
    Sample sample({pack ? ZipBytes::packed("a.qcl", content) : ZipBytes::stored("a.qcl", content)});
    QCOMPARE(sample.merge(), true);
    unsigned short entryCount = 0;
    unsigned int messageCount = 0;
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    QCOMPARE(sample.store.streams.size(), 2);
    QCOMPARE(sample.store.streams.at(0), content);
    QCOMPARE(sample.store.streams.at(1), content);
    const QString header = size < 10 ? QString() : text("7-x");
    QCOMPARE(sample.store.calls(), mergeOf({header}) << ReadingStore::counted(header));
}

void ZipLoadingTest::mergingWithoutChunksSucceeds_data()
{
    unpackingWithoutChunksMakesAnEmptyFolder_data();
}

void ZipLoadingTest::mergingWithoutChunksSucceeds()
{
    QFETCH(QVector<Entry>, entries);

    Sample sample(entries);
    QCOMPARE(sample.request(true), true);
    QCOMPARE(sample.store.calls(), mergeOf({}) << Expected::finished(true, 0, sample.zip()));
}

void ZipLoadingTest::archiveMayHaveAComment()
{
    for (const int length : {1, 22, 1000, 60000}) {
        Sample sample(withComment(ZipBytes::archive({chunk("a.qcl", "1-a")}), QByteArray(length, 'c')));
        QCOMPARE(sample.merge(), true);
        QCOMPARE(sample.calls(), mergeOf({text("1-a")}));
        sample.store.clear();
        QCOMPARE(sample.unpack(), true);
        QCOMPARE(sample.calls(), QStringList({sample.told("1-a", "a.qcl"), sample.loaded()}));
    }
}

void ZipLoadingTest::emptyArchiveMayHaveAComment_data()
{
    QTest::addColumn<QByteArray>("comment");
    QTest::newRow("none") << QByteArray();
    QTest::newRow("one character") << QByteArray("c");
    QTest::newRow("like an end record") << ZipBytes::archive({});
    QTest::newRow("the longest") << QByteArray(65535, 'c');
}

void ZipLoadingTest::emptyArchiveMayHaveAComment()
{
    QFETCH(QByteArray, comment);

    Sample sample(emptyArchive(comment));
    QCOMPARE(sample.request(true), true);
    QCOMPARE(sample.store.calls(), mergeOf({}) << Expected::finished(true, 0, sample.zip()));
    sample.store.clear();
    QCOMPARE(sample.request(false), true);
    QCOMPARE(sample.calls(), QStringList{sample.loaded()});
    QVERIFY(QFileInfo(sample.folder()).isDir());
    QVERIFY(sample.unpacked().isEmpty());
    unsigned short entryCount = 999;
    unsigned int messageCount = 1000;
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    QCOMPARE(entryCount, static_cast<unsigned short>(0));
    QCOMPARE(messageCount, 1000U);
    QCOMPARE(sample.sorted(), Map());
}

void ZipLoadingTest::mergingAnUnreadableArchiveFails_data()
{
    sortingAnUnreadableArchiveChangesNothing_data();
}

void ZipLoadingTest::mergingAnUnreadableArchiveFails()
{
    QFETCH(QByteArray, bytes);

    Sample sample(bytes);
    QCOMPARE(sample.merge(), false);
    QCOMPARE(sample.store.calls(), unreadableMerge);
    sample.store.clear();
    QCOMPARE(sample.request(true), false);
    QCOMPARE(sample.store.calls(), unreadableMerge + QStringList{Expected::finished(false, 0, sample.zip())});
    sample.store.clear();
    QCOMPARE(sample.handler.loadZipMerged(sample.path() + text("/missing.zip")), false);
    QCOMPARE(sample.store.calls(), unreadableMerge);
}

void ZipLoadingTest::baseNameIsWithoutEveryZip_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("baseName");
    QTest::newRow("plain") << text("a.zip") << text("a");
    QTest::newRow("twice") << text("a.zip.zip") << text("a");
    QTest::newRow("in the middle") << text("a.zipper.zip") << text("aper");
    QTest::newRow("in the middle only") << text("a.zip.bak") << text("a.bak");
    QTest::newRow("nothing else") << text(".zip") << text("");
    QTest::newRow("upper case") << text("a.ZIP") << text("a.ZIP");
    QTest::newRow("no point") << text("azip") << text("azip");
    QTest::newRow("other extension") << text("a.qcz") << text("a.qcz");
    QTest::newRow("points") << text("a.b.c.zip") << text("a.b.c");
    QTest::newRow("one around the other") << text("a.z.zipip") << text("a.zip");
    QTest::newRow("percent") << text("%1%2.zip") << text("%1%2");
    QTest::newRow("blanks") << text(" a b .zip") << text(" a b ");
    QTest::newRow("other scripts") << QString::fromUtf8("журнал-ü.zip") << QString::fromUtf8("журнал-ü");
#ifdef Q_OS_UNIX
    QTest::newRow("backslash") << text("a\\b.zip") << text("a\\b");
#endif
}

void ZipLoadingTest::baseNameIsWithoutEveryZip()
{
    QFETCH(QString, name);
    QFETCH(QString, baseName);

    Sample sample({chunk("a.qcl", "1-%1")}, name);
    QCOMPARE(sample.request(true), true);
    QCOMPARE(sample.store.calls(), mergeOf({text("1-%1")}, baseName) << Expected::finished(true, 0, sample.zip()));
    sample.store.clear();

    // The folder has the whole name.
    QCOMPARE(sample.request(false), true);
    QCOMPARE(sample.calls(), QStringList({sample.told("1-%1", "a.qcl"), Expected::zipLoaded(name)}));
    QCOMPARE(contentOf(sample.file(text("a.qcl"))), chunkBytes(text("1-%1")));
}

void ZipLoadingTest::namesOfAllKindsAreFound_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("blanks") << QByteArray(" a b .qcl");
    QTest::newRow("percent") << QByteArray("%1%2.qcl");
    QTest::newRow("Latin letters") << QByteArray("größe.qcl");
    QTest::newRow("other scripts") << QByteArray("журнал-記録-☃.qcl");
    QTest::newRow("beyond the first plane") << QByteArray("🚗.qcl");
    QTest::newRow("hidden") << QByteArray(".a.qcl");
    QTest::newRow("two points in front") << QByteArray("..a.qcl");
    QTest::newRow("two points in the middle") << QByteArray("a..qcl");
    QTest::newRow("three points") << QByteArray("...qcl");
    QTest::newRow("same but for the case") << QByteArray("B.qcl");
    QTest::newRow("minus in front") << QByteArray("-a.qcl");
    QTest::newRow("200 characters") << QByteArray(196, 'n') + ".qcl";
}

void ZipLoadingTest::namesOfAllKindsAreFound()
{
    QFETCH(QByteArray, name);

    const QString decoded = QString::fromUtf8(name);
    Sample sample({chunk("b.qcl", "2-b"), ZipBytes::packed(name, chunkBytes(text("1-x")))});
    QCOMPARE(sample.sorted(), (Map{{1.0, decoded}, {2.0, text("b.qcl")}}));
    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.calls(),
             QStringList({sample.told(text("1-x"), decoded), sample.told("2-b", "b.qcl"), sample.loaded()}));
    QCOMPARE(sample.unpacked(),
             (QMap<QString, QByteArray>{{decoded, chunkBytes(text("1-x"))}, {text("b.qcl"), chunkBytes(text("2-b"))}}));
    sample.store.clear();
    QCOMPARE(sample.merge(), true);
    QCOMPARE(sample.calls(), mergeOf({text("1-x"), text("2-b")}));
    QCOMPARE(sample.store.streams, (QVector<QByteArray>{chunkBytes(text("1-x")), chunkBytes(text("2-b"))}));
}

void ZipLoadingTest::loadingLeavesTheArchiveAndTheSurroundingsAlone()
{
    Sample sample({chunk("a.qcl", "1-a"), chunk("b.qcl", "2-b")});
    QVERIFY(QFile::setPermissions(sample.zip(), QFile::ReadOwner | QFile::ReadUser));
    QTemporaryDir temporary;
    const QByteArray former = qgetenv("TMPDIR");
    qputenv("TMPDIR", QFile::encodeName(temporary.path()));
    const auto before = sample.surroundings();
    sample.sorted();
    unsigned short entryCount = 0;
    unsigned int messageCount = 0;
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    const bool merged = sample.merge();
    const bool unpacked = sample.unpack();
    former.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", former);
    QVERIFY(merged);
    QVERIFY(unpacked);
    QCOMPARE(sample.surroundings(), before);
    QVERIFY(treeOf(temporary.path()).isEmpty());
}

void ZipLoadingTest::requestsRunFromTheEventLoop()
{
    Sample sample({chunk("a.qcl", "1-a")});
    Q_EMIT sample.store.sigImportRequest(sample.zip(), archiveType, QString(), true);
    Q_EMIT sample.store.sigImportRequest(sample.zip(), archiveType, QString(), false);
    Q_EMIT sample.store.sigImportRequest(sample.zip(), archiveType, QString(), false);
    QCOMPARE(sample.store.calls(), QStringList());
    QCoreApplication::processEvents();
    QCOMPARE(sample.calls(), mergeOf({text("1-a")})
                                 << Expected::finished(true, 0, sample.zip()) << sample.told("1-a", "a.qcl")
                                 << sample.loaded() << sample.loaded());
}

void ZipLoadingTest::callsComeInTheHandlersThread()
{
    Sample sample({chunk("a.qcl", "1-a")});
    QVERIFY(sample.request(true));
    QVERIFY(sample.request(false));
    const QVector<Call> calls = sample.store.log()->calls();
    QVERIFY(calls.size() > 8);
    for (const Call &call : calls)
        QVERIFY2(call.thread == QThread::currentThread(), qPrintable(call.text));
}

void ZipLoadingTest::storeWithoutAFolderGetsNoFiles()
{
    const Sample sample({chunk("a.qcl", "1-a")});
    QTemporaryDir current;
    const QString former = QDir::currentPath();
    QVERIFY(QDir::setCurrent(current.path()));
    StreamStore store;
    StorePointer pointer(&store);
    const bool isUnpacked = CANLogHandler(pointer).loadZipFile(sample.zip());
    QVERIFY(QDir::setCurrent(former));
    QVERIFY(!isUnpacked);
    QVERIFY(QDir(current.path()).isEmpty());
}

void ZipLoadingTest::storeMayGoDuringALoad_data()
{
    QTest::addColumn<QString>("moment");
    QTest::addColumn<QString>("operation");
    QTest::newRow("merge, started") << text("setImportStarted") << text("merge");
    QTest::newRow("merge, parsed") << text("parseQCLStream") << text("merge");
    QTest::newRow("merge, CAN FD") << text("notifyFdMessage") << text("merge");
    QTest::newRow("merge, loaded") << text("notifyZipFileLoaded") << text("merge");
    QTest::newRow("merge, finished") << text("setImportFinished") << text("merge");
    QTest::newRow("unpack, folder") << text("getDataChunkLocation") << text("unpack");
    QTest::newRow("unpack, chunk") << text("notifyNewZippedFile") << text("unpack");
    QTest::newRow("unpack, loaded") << text("notifyZipFileLoaded") << text("unpack");
    QTest::newRow("no archive") << text("setLastErrorText") << text("invalid");
    QTest::newRow("check") << text("getMsgCountFromQclStream") << text("check");
}

void ZipLoadingTest::storeMayGoDuringALoad()
{
    QFETCH(QString, moment);
    QFETCH(QString, operation);

    const Sample sample({chunk("a.qcl", "1-a"), chunk("b.qcl", "2-b")});
    const SampleFile invalid("no archive");
    auto *store = new RecordingStore;
    store->location = sample.store.location;
    const std::shared_ptr<CallLog> log = store->log();
    StorePointer current(store);
    CANLogHandler handler(current);
    store->onCall = [store, moment](const Call &call) {
        if (call.text.startsWith(moment))
            delete store;
    };
    const auto before = sample.surroundings();
    if (operation == text("check")) {
        unsigned short entryCount = 0;
        unsigned int messageCount = 0;
        handler.checkZipFile(sample.zip(), entryCount, messageCount);
        QCOMPARE(entryCount, static_cast<unsigned short>(2));
    } else {
        const bool merge = operation == text("merge");
        handler.loadFile(operation == text("invalid") ? invalid.path() : sample.zip(), archiveType, QString(), merge);
    }
    QVERIFY2(current.isNull(), "the call never came");
    const QStringList calls = log->texts();
    QVERIFY(calls.last().startsWith(moment));
    QCOMPARE(calls.filter(moment).size(), 1);
    QCOMPARE(sample.surroundings(), before);
}

void ZipLoadingTest::withoutStoreNothingIsWritten()
{
    Sample sample({chunk("a.qcl", "1-a")});
    sample.handler.setPDatachunkHandler(StorePointer());
    const QString former = QDir::currentPath();
    const QTemporaryDir empty;
    QVERIFY(QDir::setCurrent(empty.path()));
    const auto before = treeOf(sample.path());
    const bool unpacked = sample.unpack();
    sample.merge();
    QVERIFY(QDir::setCurrent(former));
    QCOMPARE(unpacked, false);
    QVERIFY(treeOf(empty.path()).isEmpty());
    QCOMPARE(treeOf(sample.path()), before);
    QCOMPARE(sample.request(false), false);
    QCOMPARE(sample.request(true), false);
    QCOMPARE(sample.store.calls(), QStringList());
}

void ZipLoadingTest::storeThatIsNotOpenGetsNothing()
{
    const Sample sample({chunk("a.qcl", "1-a")});
    ChunkStore store;
    StorePointer current(&store);
    CANLogHandler handler(current);
    const QString former = QDir::currentPath();
    const QTemporaryDir empty;
    QVERIFY(QDir::setCurrent(empty.path()));
    const bool unpacked = handler.loadFile(sample.zip(), archiveType, QString(), false);
    const auto written = treeOf(empty.path());
    QVERIFY(QDir::setCurrent(former));
    QVERIFY(written.isEmpty());
    QCOMPARE(unpacked, false);
    QCOMPARE(handler.getLastErrorText(), text("Cannot create directory"));
}

void ZipLoadingTest::storesOfOurOwnAgree()
{
    // The archive that zipping writes, with everything else that stands in the folder.
    const QTemporaryDir source;
    writeTo(source.filePath(text("b.qcl")), chunkBytes(text("2-b"), noise(30000)));
    writeTo(source.filePath(QString::fromUtf8("größe.qcl")), chunkBytes(text("1-a")));
    writeTo(source.filePath(text("imports.json")), "{}");
    Sample sample;
    sample.handler.zipDatachunks(sample.zip(), QDir(source.path()));
    QCOMPARE(sample.sorted(), (Map{{1.0, QString::fromUtf8("größe.qcl")}, {2.0, text("b.qcl")}}));
    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.calls(), QStringList({sample.told(text("1-a"), QString::fromUtf8("größe.qcl")),
                                          sample.told("2-b", "b.qcl"), sample.loaded()}));
    QCOMPARE(contentOf(sample.file(text("b.qcl"))), chunkBytes(text("2-b"), noise(30000)));
    sample.store.clear();
    QCOMPARE(sample.merge(), true);
    QCOMPARE(sample.calls(), mergeOf({text("1-a"), text("2-b")}));
}

void ZipLoadingTest::damagedEntryIsLeftOut_data()
{
    QTest::addColumn<int>("damage");
    QTest::addColumn<int>("position");
    const QVector<Damage> all = damages();
    for (int i = 0; i < all.size(); ++i) {
        QTest::addRow("%s, first", all[i].name) << i << 0;
        QTest::addRow("%s, between", all[i].name) << i << 1;
        QTest::addRow("%s, last", all[i].name) << i << 2;
    }
}

void ZipLoadingTest::damagedEntryIsLeftOut()
{
    QFETCH(int, damage);
    QFETCH(int, position);

    // The damaged one has its position in the order of the numbers and in the archive.
    const QString header = QString::number(position) + text(".5-damaged, with a text that takes some room");
    QVector<Entry> entries{chunk("a.qcl", "1-a"), chunk("b.qcl", "2-b")};
    entries.insert(position, damages().at(damage).entry("damaged.qcl", chunkBytes(header)));
    Sample sample(entries);
    sample.store.counts = {{text("1-a"), 10}, {text("2-b"), 20}, {header, 1000}};

    const Map sorted = sample.sorted();
    QCOMPARE(sorted.value(1.0), text("a.qcl"));
    QCOMPARE(sorted.value(2.0), text("b.qcl"));
    unsigned short entryCount = 0;
    unsigned int messageCount = 0;
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    QCOMPARE(int(entryCount), sorted.size());
    QCOMPARE(messageCount, 30U);
    QCOMPARE(sample.calls(), QStringList({ReadingStore::counted(text("1-a")), ReadingStore::counted(text("2-b"))}));
    sample.store.clear();

    const auto before = sample.surroundings();
    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.calls(), QStringList({sample.told("1-a", "a.qcl"), sample.told("2-b", "b.qcl"), sample.loaded()}));
    QCOMPARE(sample.unpacked(), (QMap<QString, QByteArray>{{text("a.qcl"), chunkBytes(text("1-a"))},
                                                           {text("b.qcl"), chunkBytes(text("2-b"))}}));
    QCOMPARE(sample.surroundings(), before);
    sample.store.clear();

    QCOMPARE(sample.merge(), true);
    QCOMPARE(sample.calls(), mergeOf({text("1-a"), text("2-b")}));
}

void ZipLoadingTest::lateDamageIsFoundToo_data()
{
    QTest::addColumn<int>("damage");
    const QVector<Damage> all = damages();
    for (int i = 0; i < all.size(); ++i)
        QTest::newRow(all[i].name) << i;
}

void ZipLoadingTest::lateDamageIsFoundToo()
{
    QFETCH(int, damage);

    Sample sample({chunk("a.qcl", "1-a"), damages().at(damage).entry("damaged.qcl", longChunk(text("2-damaged"))),
                   ZipBytes::packed("c.qcl", longChunk(text("3-c")))});
    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.calls(), QStringList({sample.told("1-a", "a.qcl"), sample.told("3-c", "c.qcl"), sample.loaded()}));
    QCOMPARE(sample.unpacked(), (QMap<QString, QByteArray>{{text("a.qcl"), chunkBytes(text("1-a"))},
                                                           {text("c.qcl"), longChunk(text("3-c"))}}));
    sample.store.clear();
    QCOMPARE(sample.merge(), true);
    QCOMPARE(sample.calls(), mergeOf({text("1-a"), text("3-c")}));
}

void ZipLoadingTest::entryWithAPasswordIsLeftOut()
{
    Sample sample;
    {
        QuaZip zip(sample.zip());
        QVERIFY(zip.open(QuaZip::mdCreate));
        for (const char *name : {"a.qcl", "secret.qcl", "z.qcl"}) {
            const bool secret = name[0] == 's';
            const QByteArray content = chunkBytes(text(name).prepend(QString::number(name[0]) + QLatin1Char('-')));
            QuaZipFile file(&zip);
            QVERIFY(file.open(QIODevice::WriteOnly, QuaZipNewInfo(text(name)), secret ? "password" : nullptr,
                              ZipBytes::checksum(content)));
            QCOMPARE(file.write(content), qint64(content.size()));
            file.close();
        }
        zip.close();
        QCOMPARE(zip.getZipError(), 0);
    }
    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.unpacked().keys(), QStringList({text("a.qcl"), text("z.qcl")}));
    QCOMPARE(sample.calls(),
             QStringList({sample.told("97-a.qcl", "a.qcl"), sample.told("122-z.qcl", "z.qcl"), sample.loaded()}));
    sample.store.clear();
    QCOMPARE(sample.merge(), true);
    QCOMPARE(sample.calls(), mergeOf({text("97-a.qcl"), text("122-z.qcl")}));
}

void ZipLoadingTest::damageBehindTheHeaderShowsOnlyWhenAnEntryIsRead()
{
    // Sorting reads no more than the header of each entry.
    Entry damaged = ZipBytes::packed("damaged.qcl", longChunk(text("2-damaged")));
    damaged.crc ^= 1;
    Sample sample({chunk("a.qcl", "1-a"), damaged});
    sample.store.counts = {{text("1-a"), 5}, {text("2-damaged"), 7}};
    QCOMPARE(sample.sorted(), (Map{{1.0, text("a.qcl")}, {2.0, text("damaged.qcl")}}));
    unsigned short entryCount = 0;
    unsigned int messageCount = 0;
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    QCOMPARE(entryCount, static_cast<unsigned short>(2));
    QCOMPARE(messageCount, 5U);
}

void ZipLoadingTest::onlyDamagedEntriesAreAsNone()
{
    QVector<Entry> entries;
    const QVector<Damage> all = damages();
    for (int i = 0; i < all.size(); ++i)
        entries.append(all[i].entry(QByteArray::number(i) + ".qcl", longChunk(QString::number(i) + text("-x"))));
    Sample sample(entries);
    unsigned short entryCount = 9;
    unsigned int messageCount = 7;
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    QCOMPARE(messageCount, 7U);
    QCOMPARE(sample.request(false), true);
    QCOMPARE(sample.calls(), QStringList{sample.loaded()});
    QVERIFY(QFileInfo(sample.folder()).isDir());
    QVERIFY(sample.unpacked().isEmpty());
    sample.store.clear();
    QCOMPARE(sample.request(true), true);
    QCOMPARE(sample.calls(), mergeOf({}) << Expected::finished(true, 0, sample.zip()));
}

void ZipLoadingTest::truncatedArchiveDoesNoHarm()
{
    const QVector<QByteArray> contents{chunkBytes(text("1-a")), noise(1500), longChunk(text("3-c")),
                                       chunkBytes(text("4-d"))};
    const QByteArray whole =
        ZipBytes::archive({ZipBytes::packed("a.qcl", contents[0]), ZipBytes::stored("b.qcl", contents[1]),
                           ZipBytes::packed("c.qcl", contents[2]), ZipBytes::packed("d.qcl", contents[3])});
    QVERIFY(whole.size() > 20000);
    Sample sample(whole);
    QCOMPARE(sample.sorted().size(), 4); // noise has a key too
    const auto before = treeOf(sample.path());
    // Every 64th byte, and the end of the archive byte by byte.
    for (int size = 0; size<whole.size(); size += whole.size() - size> 300 ? 64 : 1) {
        writeTo(sample.zip(), whole.left(size));
        QCOMPARE(sample.sorted(), Map());
        QCOMPARE(sample.unpack(), false);
        QCOMPARE(sample.merge(), false);
        unsigned short entryCount = 9;
        unsigned int messageCount = 7;
        sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
        QCOMPARE(entryCount, static_cast<unsigned short>(0));
        QCOMPARE(messageCount, 7U);
        QCOMPARE(sample.calls(), QStringList{Expected::errorText(text("Invalid zip file"))} + unreadableMerge);
        sample.store.clear();
    }
    writeTo(sample.zip(), whole);
    QCOMPARE(treeOf(sample.path()), before);
}

void ZipLoadingTest::flippedBitsDoNoHarm_data()
{
    QTest::addColumn<QByteArray>("archive");
    const QVector<QByteArray> contents{chunkBytes(text("1-a")), chunkBytes(text("2-b"), noise(700)),
                                       chunkBytes(text("3-c"), QByteArray(3000, 'c'))};
    QTest::newRow("sizes in the headers")
        << ZipBytes::archive({ZipBytes::packed("a.qcl", contents[0]), ZipBytes::stored("b.qcl", contents[1]),
                              ZipBytes::packed("c.qcl", contents[2])});

    const QTemporaryDir folder;
    for (int i = 0; i < contents.size(); ++i)
        writeTo(folder.filePath(QString(QLatin1Char(char('a' + i))) + text(".qcl")), contents[i]);
    StorePointer none;
    CANLogHandler handler(none);
    const QString path = folder.filePath(text("chunks.zip"));
    handler.zipDatachunks(path, QDir(folder.path()));
    QTest::newRow("archive of our own") << contentOf(path);
}

void ZipLoadingTest::flippedBitsDoNoHarm()
{
    QFETCH(QByteArray, archive);

    const QVector<QByteArray> contents{chunkBytes(text("1-a")), chunkBytes(text("2-b"), noise(700)),
                                       chunkBytes(text("3-c"), QByteArray(3000, 'c'))};
    std::mt19937 random(20210304);
    QTemporaryDir temporary;
    for (int i = 0; i < 250; ++i) {
        const int bit = int(random() % uint(archive.size() * 8));
        QByteArray damaged = archive;
        damaged[bit / 8] = char(damaged.at(bit / 8) ^ (1 << bit % 8));
        const QByteArray where = "bit " + QByteArray::number(bit);

        Sample sample(damaged);
        const auto before = sample.surroundings();
        const int sorted = sample.sorted().size();
        QVERIFY2(sorted <= 3, where.constData());
        unsigned short entryCount = 0;
        unsigned int messageCount = 0;
        sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
        QVERIFY2(int(entryCount) == sorted, where.constData());
        sample.request(true);
        const bool unpacked = sample.request(false);
        QVERIFY2(sample.surroundings() == before, where.constData());
        QVERIFY2(QFileInfo::exists(sample.folder()) == unpacked, where.constData());
        // What comes through is sound: the checksums see to that.
        const auto files = sample.unpacked();
        QVERIFY2(files.size() <= sorted, where.constData());
        for (const QByteArray &content : files)
            QVERIFY2(contents.contains(content), where.constData());
        for (const QByteArray &stream : qAsConst(sample.store.streams))
            QVERIFY2(contents.contains(stream), where.constData());
        QVERIFY2(sample.calls().filter(text("notifyNewZippedFile")).size() == files.size(), where.constData());
    }
}

void ZipLoadingTest::namesDoNotLeaveTheFolder_data()
{
    QTest::addColumn<QByteArray>("name"); // %1 stands for the folder around everything
    QTest::newRow("folder above") << QByteArray("../x.qcl");
    QTest::newRow("two folders above") << QByteArray("../../x.qcl");
    QTest::newRow("far above") << QByteArray("../../../../../../../../../../../../../../tmp/canlog-x.qcl");
    QTest::newRow("down and up") << QByteArray("a/../../x.qcl");
    QTest::newRow("through the folder itself") << QByteArray("./../x.qcl");
    QTest::newRow("doubled slashes") << QByteArray("..//x.qcl");
    QTest::newRow("folder above and back") << QByteArray("../chunks.zip2/../x.qcl");
    QTest::newRow("over a neighbour") << QByteArray("../own.qcl");
    QTest::newRow("absolute") << QByteArray("%1/outer/x.qcl");
    QTest::newRow("absolute over a neighbour") << QByteArray("%1/outer/neighbour.qcl");
    QTest::newRow("absolute with doubled slashes") << QByteArray("//%1/outer/x.qcl");
    QTest::newRow("drive letter") << QByteArray("C:/x.qcl");
    QTest::newRow("drive letter without a slash") << QByteArray("C:x.qcl");
    QTest::newRow("drive letter with a backslash") << QByteArray("C:\\x.qcl");
    QTest::newRow("backslashes above") << QByteArray("..\\x.qcl");
    QTest::newRow("backslash below") << QByteArray("sub\\x.qcl");
    QTest::newRow("backslash in front") << QByteArray("\\x.qcl");
    QTest::newRow("share") << QByteArray("\\\\host\\share\\x.qcl");
    QTest::newRow("mixed") << QByteArray("a\\../../x.qcl");
}

void ZipLoadingTest::namesDoNotLeaveTheFolder()
{
    QFETCH(QByteArray, name);

    Sample sample;
    name.replace("%1", QFile::encodeName(sample.path()));
    for (const bool pack : {true, false}) {
        const QByteArray content = chunkBytes(text("2-hostile"));
        writeTo(sample.zip(),
                ZipBytes::archive({chunk("a.qcl", "1-a"),
                                   pack ? ZipBytes::packed(name, content) : ZipBytes::stored(name, content),
                                   chunk("c.qcl", "3-c")}));
        const auto before = sample.surroundings();
        QCOMPARE(sample.unpack(), true);
        QCOMPARE(sample.surroundings(), before);
        QCOMPARE(sample.unpacked(), (QMap<QString, QByteArray>{{text("a.qcl"), chunkBytes(text("1-a"))},
                                                               {text("c.qcl"), chunkBytes(text("3-c"))}}));
        QCOMPARE(sample.calls(),
                 QStringList({sample.told("1-a", "a.qcl"), sample.told("3-c", "c.qcl"), sample.loaded()}));
        QVERIFY(!QFile::exists(text("/tmp/canlog-x.qcl")));
        QVERIFY(QDir(sample.folder()).removeRecursively());
        sample.store.clear();
    }
    // Nothing is written where names matter.
    sample.merge();
    unsigned short entryCount = 0;
    unsigned int messageCount = 0;
    const auto before = treeOf(sample.path());
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    QCOMPARE(treeOf(sample.path()), before);
}

void ZipLoadingTest::oddNamesStayInside_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("down and up again") << QByteArray("a/../x.qcl");
    QTest::newRow("folder itself") << QByteArray("./x.qcl");
    QTest::newRow("below") << QByteArray("a/b/x.qcl");
    QTest::newRow("NUL in the name") << QByteArray("a\0b.qcl", 7);
    QTest::newRow("NUL before the extension") << QByteArray("../x\0.qcl", 9);
    QTest::newRow("NUL behind") << QByteArray("x.qcl\0", 6);
    QTest::newRow("NUL and more behind") << QByteArray("../x.qcl\0.txt", 13);
    QTest::newRow("NUL before a way up") << QByteArray("x\0/../../../y.qcl", 17);
    QTest::newRow("NUL in front") << QByteArray("\0x.qcl", 6);
    QTest::newRow("line feed") << QByteArray("x\n.qcl");
    QTest::newRow("no UTF-8") << QByteArray("\xFF\xFE.qcl");
    QTest::newRow("overlong point") << QByteArray("\xC0\xAE\xC0\xAE/x.qcl");
    QTest::newRow("half a surrogate pair") << QByteArray("\xED\xA0\x80.qcl");
    QTest::newRow("full-width points") << QByteArray("．．/x.qcl");
    QTest::newRow("255 characters") << QByteArray(251, 'n') + ".qcl";
    QTest::newRow("256 characters") << QByteArray(252, 'n') + ".qcl";
    QTest::newRow("257 characters") << QByteArray(253, 'n') + ".qcl";
    QTest::newRow("65000 characters") << QByteArray(64996, 'n') + ".qcl";
    QTest::newRow("many folders") << QByteArray("a/").repeated(5000) + "x.qcl";
    QTest::newRow("many ways up") << QByteArray("../").repeated(5000) + "x.qcl";
}

void ZipLoadingTest::oddNamesStayInside()
{
    QFETCH(QByteArray, name);

    Sample sample({chunk("a.qcl", "1-a"), ZipBytes::packed(name, chunkBytes(text("2-odd"))), chunk("c.qcl", "3-c")});
    const auto before = sample.surroundings();
    sample.sorted();
    sample.merge();
    QVERIFY(sample.store.streams.contains(chunkBytes(text("1-a"))));
    QVERIFY(sample.store.streams.contains(chunkBytes(text("3-c"))));
    sample.store.clear();
    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.surroundings(), before);
    const auto files = sample.unpacked();
    QCOMPARE(files.value(text("a.qcl")), chunkBytes(text("1-a")));
    QCOMPARE(files.value(text("c.qcl")), chunkBytes(text("3-c")));
    QVERIFY(files.size() <= 3);
    const QStringList calls = sample.calls();
    QVERIFY(calls.contains(sample.told("1-a", "a.qcl")));
    QVERIFY(calls.contains(sample.told("3-c", "c.qcl")));
    QCOMPARE(calls.last(), sample.loaded());
}

void ZipLoadingTest::ofEqualNamesTheLastEntryCounts_data()
{
    QTest::addColumn<QVector<Entry>>("entries");
    QTest::addColumn<QStringList>("headers"); // of what is loaded, all with the name "a.qcl" but the last
    const Entry other = chunk("z.qcl", "9-z");
    const Entry longEntry = ZipBytes::packed("a.qcl", chunkBytes(text("1-a"), noise(15000)));
    Entry damaged = chunk("a.qcl", "3-c");
    damaged.method = 99;
    const QStringList last{text("2-b"), text("9-z")};
    QTest::newRow("twice") << QVector<Entry>{longEntry, chunk("a.qcl", "2-b"), other} << last;
    QTest::newRow("apart") << QVector<Entry>{longEntry, other, chunk("a.qcl", "2-b")} << last;
    QTest::newRow("three times") << QVector<Entry>{longEntry, chunk("a.qcl", "5-e"), other, chunk("a.qcl", "2-b")}
                                 << last;
    QTest::newRow("same number") << QVector<Entry>{chunk("a.qcl", "2-a"), chunk("a.qcl", "2-b"), other} << last;
    QTest::newRow("damaged first") << QVector<Entry>{damaged, chunk("a.qcl", "2-b"), other} << last;
    QTest::newRow("damaged last") << QVector<Entry>{chunk("a.qcl", "2-b"), damaged, other} << QStringList{text("9-z")};
}

void ZipLoadingTest::ofEqualNamesTheLastEntryCounts()
{
    QFETCH(QVector<Entry>, entries);
    QFETCH(QStringList, headers);

    Sample sample(entries);
    for (const QString &header : qAsConst(headers))
        sample.store.counts.insert(header, 10);
    const auto before = sample.surroundings();
    QMap<QString, QByteArray> files{{text("z.qcl"), chunkBytes(text("9-z"))}};
    if (headers.size() > 1)
        files.insert(text("a.qcl"), chunkBytes(headers.first()));

    // Every operation has the same chunks.
    QCOMPARE(sample.sorted().size(), headers.size());
    unsigned short entryCount = 0;
    unsigned int messageCount = 0;
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    QCOMPARE(int(entryCount), headers.size());
    QCOMPARE(int(messageCount), 10 * headers.size());
    sample.store.clear();
    QCOMPARE(sample.merge(), true);
    QCOMPARE(sample.calls(), mergeOf(headers));
    sample.store.clear();
    QCOMPARE(sample.unpack(), true);
    QCOMPARE(sample.unpacked(), files);
    QCOMPARE(sample.calls().size(), headers.size() + 1);
    QCOMPARE(sample.calls().at(headers.size() - 1), sample.told("9-z", "z.qcl"));
    QCOMPARE(sample.surroundings(), before);
}

void ZipLoadingTest::linkInTheFolderIsNotFollowed_data()
{
    QTest::addColumn<QByteArray>("name"); // of the entry
    QTest::addColumn<QString>("link");
    QTest::addColumn<QString>("target");
    QTest::newRow("to a file outside") << QByteArray("b.qcl") << text("b.qcl") << text("outer/neighbour.qcl");
    QTest::newRow("to a file that is not there") << QByteArray("b.qcl") << text("b.qcl") << text("outer/new.qcl");
    QTest::newRow("to a folder outside") << QByteArray("b.qcl") << text("b.qcl") << text("outer");
    QTest::newRow("folder on the way") << QByteArray("d/b.qcl") << text("d") << text("outer");
    QTest::newRow("folder on the way, file there") << QByteArray("d/neighbour.qcl") << text("d") << text("outer");
    QTest::newRow("way further up") << QByteArray("d/store/b.qcl") << text("d") << text("outer");
    QTest::newRow("way back") << QByteArray("d/store/chunks.zip/../b.qcl") << text("d") << text("outer");
}

void ZipLoadingTest::linkInTheFolderIsNotFollowed()
{
#ifdef Q_OS_UNIX
    QFETCH(QByteArray, name);
    QFETCH(QString, link);
    QFETCH(QString, target);

    Sample sample({chunk("a.qcl", "1-a"), ZipBytes::packed(name, chunkBytes(text("2-b"))), chunk("c.qcl", "3-c")});
    const auto before = sample.surroundings();
    const QString targetPath = sample.path() + QLatin1Char('/') + target;
    // Somebody else is at work in the folder while it is being filled.
    bool linked = false;
    sample.store.onCall = [&](const Call &call) {
        if (!linked && call.text.startsWith(text("notifyNewZippedFile")))
            linked = QFile::link(targetPath, sample.file(link));
    };
    QCOMPARE(sample.unpack(), true);
    sample.store.onCall = {};
    QVERIFY2(linked, "the link was not placed");
    QCOMPARE(sample.surroundings(), before);
    QCOMPARE(sample.calls(), QStringList({sample.told("1-a", "a.qcl"), sample.told("3-c", "c.qcl"), sample.loaded()}));
    QCOMPARE(sample.unpacked(), (QMap<QString, QByteArray>{{text("a.qcl"), chunkBytes(text("1-a"))},
                                                           {text("c.qcl"), chunkBytes(text("3-c"))},
                                                           {link, "link to " + QFile::encodeName(targetPath)}}));
#else
    QSKIP("needs Unix links");
#endif
}

void ZipLoadingTest::folderOnTheWayIsUsed()
{
    // The counterpart of a link on the way: a folder that is really inside.
    Sample sample({chunk("a.qcl", "1-a"), chunk("d/b.qcl", "2-b")});
    bool made = false;
    sample.store.onCall = [&](const Call &call) {
        if (!made && call.text.startsWith(text("notifyNewZippedFile")))
            made = QDir(sample.folder()).mkdir(text("d"));
    };
    QCOMPARE(sample.unpack(), true);
    sample.store.onCall = {};
    QVERIFY(made);
    QCOMPARE(contentOf(sample.file(text("d/b.qcl"))), chunkBytes(text("2-b")));
    QCOMPARE(sample.calls(),
             QStringList({sample.told("1-a", "a.qcl"), sample.told("2-b", "d/b.qcl"), sample.loaded()}));
}

void ZipLoadingTest::claimedLengthOfTheHeaderTakesNoMemory_data()
{
    QTest::addColumn<QByteArray>("content");
    const auto row = [](const char *name, quint32 length, const QByteArray &rest) {
        QByteArray content(4, '\0');
        qToBigEndian(length, content.data());
        QTest::newRow(name) << content + rest;
    };
    const QByteArray some("\0001\0-\0x", 6);
    row("1 GiB", 0x40000000, some);
    row("nearly 2 GiB", 0x7FFFFFFE, some);
    row("nearly 4 GiB", 0xFFFFFFFC, some);
    row("odd", 0xFFFFFFFD, some);
    row("1 GiB, nothing behind", 0x40000000, QByteArray());
    row("1 GiB, 100 kB behind", 0x40000000, some + noise(100000));
}

void ZipLoadingTest::claimedLengthOfTheHeaderTakesNoMemory()
{
#ifdef Q_OS_LINUX
    QFETCH(QByteArray, content);

    const Sample sample({ZipBytes::packed("a.qcl", content)});
    for (const char *operation : {"sort", "check", "merge", "unpack"}) {
        const Usage usage = usageOf(operation, sample);
        QVERIFY2(usage.ended, usage.error.constData());
        QCOMPARE(usage.result, 1); // a header that is none has the number 0
        if (!sanitized)
            QVERIFY2(usage.address < 16 * 1024, printed(operation, usage).constData());
    }
    QCOMPARE(contentOf(sample.file(text("a.qcl"))), content);
#else
    QSKIP("needs /proc");
#endif
}

void ZipLoadingTest::manyEntriesTakeLittleMemory_data()
{
    QTest::addColumn<QByteArray>("operation");
    for (const char *operation : {"sort", "check", "merge", "unpack"})
        QTest::newRow(operation) << QByteArray(operation);
}

void ZipLoadingTest::manyEntriesTakeLittleMemory()
{
#ifdef Q_OS_LINUX
    QFETCH(QByteArray, operation);

    // More than the 65535 that an archive of the older kind can have; a sanitizer, under which memory is not measured,
    // is content with fewer.
    constexpr int count = sanitized ? 7000 : 70000;
    QVector<Entry> entries;
    entries.reserve(count);
    for (int i = 0; i < count; ++i)
        entries.append(ZipBytes::stored("chunk-" + QByteArray::number(i) + ".qcl",
                                        chunkBytes(QString::number(i) + text("-x"), QByteArray())));
    const Sample sample(entries);
    const Usage usage = usageOf(operation.constData(), sample);
    QVERIFY2(usage.ended, usage.error.constData());
    if (operation == "sort") {
        QCOMPARE(usage.result, count);
    } else if (operation == "check") {
        QCOMPARE(usage.result, count % 65536); // a 16-bit count
        QCOMPARE(usage.entries, count);
    } else {
        QCOMPARE(usage.result, 1);
        QCOMPARE(usage.entries, count);
    }
    if (operation == "unpack")
        QCOMPARE(QDir(sample.folder()).entryList(QDir::Files).size(), count);
    qInfo("%s", printed(operation.constData(), usage).constData());
    if (!sanitized)
        QVERIFY2(usage.resident < 128 * 1024, printed(operation.constData(), usage).constData());
#else
    QSKIP("needs /proc");
#endif
}

void ZipLoadingTest::hugeEntryTakesLittleMemory_data()
{
    QTest::addColumn<QByteArray>("beginning");
    QTest::addColumn<QByteArray>("operation");
    QByteArray longHeader(4, '\0');
    qToBigEndian(quint32(0x08000000), longHeader.data()); // 128 MiB, which really come
    longHeader += QByteArray("\0001\0-", 4);
    for (const char *operation : {"sort", "check", "merge", "unpack"})
        QTest::addRow("%s", operation) << chunkBytes(text("1-x")) << QByteArray(operation);
    for (const char *operation : {"sort", "merge"})
        QTest::addRow("%s, with a long header", operation) << longHeader << QByteArray(operation);
}

void ZipLoadingTest::hugeEntryTakesLittleMemory()
{
#ifdef Q_OS_LINUX
    QFETCH(QByteArray, beginning);
    QFETCH(QByteArray, operation);

    // In MiB; CANLOG_TEST_HUGE_MIB asks for more, up to 4080.
    bool ok = false;
    const int wanted = qEnvironmentVariableIntValue("CANLOG_TEST_HUGE_MIB", &ok);
    const int pieces = (ok ? qBound(16, wanted, 4080) : 256) / 16;
    const Sample sample({ZipBytes::hugeEntry("huge.qcl", beginning, pieces)});
    const Usage usage = usageOf(operation.constData(), sample);
    QVERIFY2(usage.ended, usage.error.constData());
    QCOMPARE(usage.result, 1);
    if (operation != "sort")
        QCOMPARE(usage.bytes, qlonglong(pieces) * 16 * 1024 * 1024 + beginning.size());
    qInfo("%s", printed(operation.constData(), usage).constData());
    if (!sanitized)
        QVERIFY2(usage.resident < 32 * 1024, printed(operation.constData(), usage).constData());
#else
    QSKIP("needs /proc");
#endif
}

void ZipLoadingTest::mergeFailsWhenTheTemporaryFileCannotBeWritten_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("limit");
    QTest::newRow("nothing can be written") << 100 << 0;
    QTest::newRow("within the first block") << 9000 << 5000;
    QTest::newRow("after the first block") << 15000 << 12000;
    QTest::newRow("last byte") << 40000 << 39999 + 10;
    QTest::newRow("long entry") << 3000000 << 1000000;
}

void ZipLoadingTest::mergeFailsWhenTheTemporaryFileCannotBeWritten()
{
#ifdef Q_OS_UNIX
    QFETCH(int, size);
    QFETCH(int, limit);

    // Zeros, so that the archive itself is small; the header "2-b" takes ten bytes.
    Sample sample({ZipBytes::packed("b.qcl", chunkBytes(text("2-b"), QByteArray(size, '\0')))});
    const auto before = treeOf(sample.path());
    bool result = true;
    {
        const SmallDisk disk{rlim_t(limit)};
        result = sample.request(true);
    }
    QCOMPARE(result, false);
    const QStringList calls = sample.store.calls();
    QCOMPARE(calls.first(), Expected::started());
    QCOMPARE(calls.mid(calls.size() - 2),
             QStringList({Expected::finished(false, 1, QString(), false), Expected::finished(false, 0, sample.zip())}));
    QVERIFY2(sample.store.streams.isEmpty(), "half a chunk was parsed");
    QCOMPARE(calls.filter(text("notifyFdMessage")), QStringList());
    QCOMPARE(treeOf(sample.path()), before);

    sample.store.clear();
    QCOMPARE(sample.request(true), true);
    QCOMPARE(sample.store.calls(), mergeOf({text("2-b")}) << Expected::finished(true, 0, sample.zip()));
#else
    QSKIP("needs limits of the size of files");
#endif
}

void ZipLoadingTest::mergeFailsWithoutAFolderForTemporaryFiles()
{
#ifdef Q_OS_UNIX
    const OrdinaryUser ordinary;
    Sample sample({chunk("a.qcl", "1-a")});
    const QTemporaryDir locked;
    QVERIFY(QFile::setPermissions(locked.path(), QFile::ReadOwner | QFile::ExeOwner));
    const QByteArray former = qgetenv("TMPDIR");
    qputenv("TMPDIR", QFile::encodeName(locked.path()));
    const bool result = sample.merge();
    unsigned short entryCount = 0;
    unsigned int messageCount = 7;
    sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    former.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", former);
    QVERIFY(QFile::setPermissions(locked.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));

    QCOMPARE(result, false);
    QVERIFY(sample.store.streams.isEmpty());
    QCOMPARE(sample.store.calls().first(), Expected::started());
    QCOMPARE(sample.store.calls().last(), Expected::finished(false, 1, QString(), false));
    QCOMPARE(messageCount, 7U);
#else
    QSKIP("needs TMPDIR");
#endif
}

void ZipLoadingTest::checkGoesOnWhenTheTemporaryFileCannotBeWritten()
{
#ifdef Q_OS_UNIX
    Sample sample({chunk("a.qcl", "1-a"), ZipBytes::packed("b.qcl", chunkBytes(text("2-b"), QByteArray(50000, '\0'))),
                   chunk("c.qcl", "3-c")});
    sample.store.counts = {{text("1-a"), 10}, {text("2-b"), 20}, {text("3-c"), 40}};
    unsigned short entryCount = 0;
    unsigned int messageCount = 7;
    {
        const SmallDisk disk(20000);
        sample.handler.checkZipFile(sample.zip(), entryCount, messageCount);
    }
    QCOMPARE(entryCount, static_cast<unsigned short>(3)); // the order needs no file
    QCOMPARE(messageCount, 57U);
    QCOMPARE(sample.store.streams, (QVector<QByteArray>{chunkBytes(text("1-a")), chunkBytes(text("3-c"))}));
#else
    QSKIP("needs limits of the size of files");
#endif
}

void ZipLoadingTest::unpackingOntoAFullDiskLeavesNothing_data()
{
    mergeFailsWhenTheTemporaryFileCannotBeWritten_data();
}

void ZipLoadingTest::unpackingOntoAFullDiskLeavesNothing()
{
#ifdef Q_OS_UNIX
    QFETCH(int, size);
    QFETCH(int, limit);

    Sample sample({chunk("a.qcl", "1-a"), ZipBytes::packed("b.qcl", chunkBytes(text("2-b"), QByteArray(size, '\0')))});
    const auto before = treeOf(sample.path());
    bool result = true;
    {
        const SmallDisk disk{rlim_t(limit)};
        result = sample.request(false);
    }
    QCOMPARE(result, false);
    QCOMPARE(treeOf(sample.path()), before); // and so the next try does not take it for unpacked
    QStringList calls = sample.calls();
    QCOMPARE(calls.takeLast(), Expected::finished(false, 0, sample.zip()));
    QVERIFY(!calls.contains(sample.loaded()));
    QVERIFY2(!sample.handler.getLastErrorText().isEmpty() || !calls.filter(text("setLastErrorText")).isEmpty(),
             "nobody knows why");

    sample.store.clear();
    QCOMPARE(sample.request(false), true);
    QCOMPARE(sample.calls(), QStringList({sample.told("1-a", "a.qcl"), sample.told("2-b", "b.qcl"), sample.loaded()}));
#else
    QSKIP("needs limits of the size of files");
#endif
}

namespace
{

/// A store with an import of a log, and one of messages with notes that fill several chunks.
class FilledStore
{
public:
    FilledStore()
    {
        if (!store.open(folder.path(), ChunkStore::Mode::ReadWrite))
            qFatal("%s", qUtf8Printable(store.errorString()));
        const bool imported = handler.loadFile(QStringLiteral(CANLOG_EXAMPLES "/drive.log"),
                                               DatachunkHelper::SocketCanDump, QString(), false);
        if (!imported)
            qFatal("cannot import the example");
        store.setImportStarted();
        for (int part = 0; part < 3; ++part) {
            Frames messages;
            QMap<unsigned int, QString> notes;
            for (int i = 0; i < 500; ++i) {
                const auto index = quint32(part * 500 + i);
                messages.append(Frame(index, i % 3 == 0 ? "" : "01 02 00").at(part, i).fd().brs().index(index));
                if (i % 7 == 0)
                    notes.insert(index, QStringLiteral("note %1 ☃").arg(index));
            }
            store.addImportedMessages(messages, notes);
        }
        store.setImportFinished(true, DatachunkHelper::VectorAscLog, text("handmade"), true);
        handler.zipDatachunks(zip(), store.getDataChunkLocation());
    }

    QString zip() const { return target.filePath(text("drive.zip")); }

private:
    QTemporaryDir folder;
    QTemporaryDir target;

public:
    ChunkStore store;
    StorePointer current{&store};
    CANLogHandler handler{current};
};

int linesOf(const QString &path)
{
    return contentOf(path).count('\n');
}

} // namespace

void ZipLoadingTest::zippedStoreMergesIntoTheSameMessages()
{
    FilledStore first;
    const Content expected = contentsOf(first.store);
    QCOMPARE(expected.messages.size(), linesOf(QStringLiteral(CANLOG_EXAMPLES "/drive.log")) + 1500);
    QCOMPARE(expected.notes.size(), 3 * 72);

    const QTemporaryDir folder;
    ChunkStore second;
    QVERIFY(second.open(folder.path(), ChunkStore::Mode::ReadWrite));
    StorePointer current(&second);
    CANLogHandler handler(current);
    QVERIFY(handler.loadFile(first.zip(), archiveType, QString(), true));
    const Content merged = contentsOf(second);
    QCOMPARE(merged.messages.size(), expected.messages.size());
    for (int i = 0; i < expected.messages.size(); ++i)
        QCOMPARE(merged.messages.at(i), expected.messages.at(i));
    QCOMPARE(merged.notes, expected.notes);
    QVERIFY2(second.errorString().isEmpty(), qPrintable(second.errorString()));
    QCOMPARE(second.warnings(), QStringList());

    // One import, as what the last notice says.
    QCOMPARE(second.imports().size(), 1);
    const ImportRecord record = second.imports().constFirst();
    QCOMPARE(record.state, ImportRecord::State::Succeeded);
    QCOMPARE(record.path, first.zip());
    QCOMPARE(int(record.type), 0);
    QCOMPARE(record.messageCount, quint64(expected.messages.size()));
    QCOMPARE(record.noteCount, quint64(expected.notes.size()));
}

void ZipLoadingTest::zippedStoreUnpacksIntoAStore()
{
    FilledStore first;
    const Content expected = contentsOf(first.store);
    const QTemporaryDir folder;
    ChunkStore second;
    QVERIFY(second.open(folder.path(), ChunkStore::Mode::ReadWrite));
    StorePointer current(&second);
    CANLogHandler handler(current);
    QVERIFY(handler.loadFile(first.zip(), archiveType, QString(), false));
    QCOMPARE(second.messageCount(), quint64(0)); // they are in the sub-folder

    ChunkStore unpacked;
    QVERIFY2(unpacked.open(folder.filePath(text("drive.zip")), ChunkStore::Mode::Read),
             qPrintable(unpacked.errorString()));
    QCOMPARE(unpacked.warnings(), QStringList());
    const Content content = contentsOf(unpacked);
    QCOMPARE(content.messages.size(), expected.messages.size());
    for (int i = 0; i < expected.messages.size(); ++i)
        QCOMPARE(content.messages.at(i), expected.messages.at(i));
    QCOMPARE(content.notes, expected.notes);

    QCOMPARE(second.imports().size(), 1);
    QCOMPARE(second.imports().constFirst().state, ImportRecord::State::Succeeded);
}

void ZipLoadingTest::zippedStoreIsCounted()
{
    FilledStore first;
    unsigned short entryCount = 0;
    unsigned int messageCount = 0;
    first.handler.checkZipFile(first.zip(), entryCount, messageCount);
    const QStringList chunks = first.store.getDataChunkLocation().entryList({text("*.qcl")}, QDir::Files);
    QCOMPARE(int(entryCount), chunks.size());
    QVERIFY(chunks.size() >= 4); // one for the log, one for each delivery
    QCOMPARE(messageCount, static_cast<unsigned int>(first.store.messageCount()));
}

int main(int argc, char **argv)
{
#ifdef Q_OS_LINUX
    // Many and large files, which a disk would take its time for. Some tests write as an ordinary user.
    const QFileInfo memory(QStringLiteral("/dev/shm"));
    if (qEnvironmentVariableIsEmpty("TMPDIR") && memory.permission(QFile::WriteOther | QFile::ExeOther))
        qputenv("TMPDIR", "/dev/shm");
#endif
    QCoreApplication application(argc, argv);
#ifdef Q_OS_LINUX
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == text("--measure"))
        return measure(arguments.mid(2));
#endif
    ZipLoadingTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_ziploading.moc"
