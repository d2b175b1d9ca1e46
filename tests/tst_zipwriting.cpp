// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "encodings.h"
#include "recordingstore.h"
#include "ziparchive.h"

#include <quazip/quazip.h>

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThreadPool>
#include <QtTest>

#include <condition_variable>
#include <mutex>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#endif

using StorePointer = QPointer<DatachunkHandler>;
using ZipBytes::Listed;

namespace
{

constexpr int patience = 30000;
constexpr int muchFiles = 8;

/// A handler with a store, as a host has it.
struct Host {
    RecordingStore store;
    StorePointer current{&store};
    CANLogHandler handler{current};

    Host() { store.addLoadingSignalsOf(&handler); }
};

/// A folder to pack and, beside it, a place for archives.
class Sample
{
public:
    Sample()
    {
        if (!QDir(root.path()).mkpath(QStringLiteral("source")) || !QDir(root.path()).mkpath(QStringLiteral("target")))
            qFatal("cannot make the sample folders");
    }

    QString file(const QString &name) const { return root.filePath(QLatin1String("source/") + name); }
    QString file(const char *name) const { return file(QLatin1String(name)); }
    void add(const QString &name, const QByteArray &content) const { writeTo(file(name), content); }
    void add(const char *name, const QByteArray &content) const { add(QLatin1String(name), content); }
    QDir source() const { return QDir(root.filePath(QStringLiteral("source"))); }
    QString zip(const char *name = "chunks.zip") const
    {
        return root.filePath(QLatin1String("target/") + QLatin1String(name));
    }
    QString path() const { return root.path(); }

private:
    QTemporaryDir root;
};

bool waitForPool()
{
    return QThreadPool::globalInstance()->waitForDone(patience);
}

/// The entries of the archive at @p path by name. A test that gets "not sound" sees it in its comparison.
QMap<QString, QByteArray> contentsOf(const QString &path)
{
    QVector<Listed> entries;
    QMap<QString, QByteArray> result;
    if (!ZipBytes::list(contentOf(path), entries))
        result.insert(QStringLiteral("not sound"), QByteArray());
    for (const Listed &entry : qAsConst(entries)) {
        const QString name = QString::fromUtf8(entry.name);
        if (result.contains(name))
            result.insert(QStringLiteral("not sound: the same name twice"), QByteArray());
        result.insert(name, entry.content.isNull() ? QByteArray("not sound") : entry.content);
    }
    return result;
}

QStringList namesIn(const QString &path)
{
    QVector<Listed> entries;
    if (!ZipBytes::list(contentOf(path), entries))
        return {QStringLiteral("not sound")};
    QStringList names;
    for (const Listed &entry : qAsConst(entries))
        names.append(QString::fromUtf8(entry.name));
    return names;
}

QMap<QString, QByteArray> packed(const QString &zipPath, const QDir &source)
{
    Host host;
    host.handler.zipDatachunks(zipPath, source);
    return contentsOf(zipPath);
}

using Contents = QMap<QString, QByteArray>;

Contents twoChunks()
{
    return {{QStringLiteral("first.qcl"), "first content"}, {QStringLiteral("second.qcl"), "second content"}};
}

/// Enough for a job that takes its time.
void addMuch(const Sample &sample)
{
    for (int i = 0; i < muchFiles; ++i)
        sample.add(QStringLiteral("much-%1.qcl").arg(i), noise(4 * 1024 * 1024, quint32(i)));
}

/// Waits until the job that writes @p zipPath has begun; false when it has ended already.
bool jobIsRunning(const QString &zipPath)
{
    return QTest::qWaitFor([&] { return QFile::exists(zipPath); }, patience)
           && QThreadPool::globalInstance()->activeThreadCount() == 1;
}

/**
 * Keeps the only thread that it leaves the global pool busy, so that jobs handed to the pool wait. Its gate is not
 * Qt's: the thread sanitizer sees that what was done before it opens comes before what the pool does then.
 */
class BusyPool
{
public:
    BusyPool()
        : threads(pool->maxThreadCount())
    {
        pool->setMaxThreadCount(1);
        pool->start([this] {
            std::unique_lock<std::mutex> lock(mutex);
            running = true;
            changed.notify_all();
            changed.wait(lock, [this] { return open; });
        });
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [this] { return running; });
    }
    ~BusyPool()
    {
        finish();
        pool->setMaxThreadCount(threads);
    }

    /// Lets the pool go on and waits until it has nothing left to do.
    bool finish()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            open = true;
        }
        changed.notify_all();
        return waitForPool();
    }

private:
    Q_DISABLE_COPY(BusyPool)
    QThreadPool *const pool = QThreadPool::globalInstance();
    const int threads;
    std::mutex mutex;
    std::condition_variable changed;
    bool running = false;
    bool open = false;
};

/// Changes the current folder for one test.
class CurrentFolder
{
public:
    explicit CurrentFolder(const QString &path)
        : former(QDir::currentPath())
    {
        if (!QDir::setCurrent(path))
            qFatal("cannot enter %s", qUtf8Printable(path));
    }
    ~CurrentFolder() { QDir::setCurrent(former); }

private:
    Q_DISABLE_COPY(CurrentFolder)
    QString former;
};

} // namespace

Q_DECLARE_METATYPE(Contents)

class ZipWritingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    // What is in the archive
    void fileBecomesAnEntry_data();
    void fileBecomesAnEntry();
    void allFilesBecomeEntriesInTheOrderOfTheFileSystem();
    void entryIsPackedAtTheFastestLevel_data();
    void entryIsPackedAtTheFastestLevel();
    void entryHasTheDateOfItsFile_data();
    void entryHasTheDateOfItsFile();
    void entryHasThePermissionsOfItsFile_data();
    void entryHasThePermissionsOfItsFile();
    void namesAreUtf8WhateverTheLocaleIs();
    void foldersHiddenFilesAndSpecialFilesAreLeftOut();
    void linkToASpecialFileDoesNotHoldTheJobUp();
    void nameFiltersOfTheFolderCount();
    void readProtectedFileIsSkipped();
    void fileThatFailsWhileItIsReadIsLeftOut();
    void fileOfAnUndecodableNameDoesNoHarm();
    void fileAboveOneGibibyteIsLeftOut();
    void emptyOrMissingFolderGivesAnEmptyArchive_data();
    void emptyOrMissingFolderGivesAnEmptyArchive();
    void sourceStaysAsItWas();
    void unzipFindsTheArchiveSound();

    // Where the archive goes
    void whatStandsAtThePathIsReplaced_data();
    void whatStandsAtThePathIsReplaced();
    void linkAtThePathIsReplacedItself();
    void whatCannotBeReplacedStays_data();
    void whatCannotBeReplacedStays();
    void archiveIsNotPackedIntoItself_data();
    void archiveIsNotPackedIntoItself();
    void linkInTheFolderThatBecomesTheArchiveIsNotPacked();
    void otherArchivesInTheFolderArePacked();
    void relativePathsGoByTheCurrentFolder();
    void oddPathsAreTakenAsTheyAre_data();
    void oddPathsAreTakenAsTheyAre();
    void archiveThatDoesNotFitOnTheDiskIsNotLeftBehind();
    void formerArchiveStaysWhenTheNewOneDoesNotFit();
    void formerArchiveStaysUntilTheNewOneIsComplete();
    void whatAKilledProgramLeftIsRemoved();

    // With a report
    void packingTellsWhatItPacked();
    void packingTellsHowFarItIs();
    void packingCanBeInterrupted_data();
    void packingCanBeInterrupted();
    void packingKeepsALink_data();
    void packingKeepsALink();
    void packingTellsWhyItFailed_data();
    void packingTellsWhyItFailed();
    void packingTellsOfAFullDisk();

    // Requests and the pool
    void requestRunsInThePool();
    void requestWhileAJobWaitsIsDropped();
    void requestWhileAJobRunsIsDropped();
    void nextRequestRunsAfterEveryEnd_data();
    void nextRequestRunsAfterEveryEnd();
    void directCallRunsInTheCallersThread();
    void directCallMakesWayForTheNextRequest();
    void handlersDoNotHinderEachOther();
    void signalIsQueued();
    void storeMayGoWhileAJobRuns();
    void storeMayChangeWhileAJobRuns();
    void importRunsBesideAJob();
    void archiveIsLoadedBesideAJob();
    void nothingIsReported_data();
    void nothingIsReported();
};

void ZipWritingTest::initTestCase()
{
    // File names of any script, whatever the environment says.
    LocaleEncoding::set("UTF-8");
    // A new thread for each job: what Qt hands to one that waits for work looks unguarded to the thread sanitizer.
    QThreadPool::globalInstance()->setExpiryTimeout(0);
}

void ZipWritingTest::init()
{
    QCoreApplication::removePostedEvents(nullptr);
}

void ZipWritingTest::cleanup()
{
    QVERIFY(waitForPool());
}

void ZipWritingTest::fileBecomesAnEntry_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");

    const QString plain = QStringLiteral("chunk-00000001.qcl");
    QTest::newRow("empty") << plain << QByteArray("");
    QTest::newRow("one byte") << plain << QByteArray(1, '\0');
    QTest::newRow("text with line ends") << plain << QByteArray("a\r\nb\nc\r\x1A");
    QTest::newRow("9999 bytes") << plain << noise(9999);
    QTest::newRow("10000 bytes") << plain << noise(10000);
    QTest::newRow("10001 bytes") << plain << noise(10001);
    QTest::newRow("1 MiB of noise") << plain << noise(1024 * 1024);
    QTest::newRow("1 MiB of zeros") << plain << QByteArray(1024 * 1024, '\0');

    const QByteArray some("some content");
    QTest::newRow("no chunk") << QStringLiteral("imports.json") << some;
    QTest::newRow("no extension") << QStringLiteral("README") << some;
    QTest::newRow("blanks") << QStringLiteral(" a b .qcl") << some;
    QTest::newRow("minus in front") << QStringLiteral("-rf.qcl") << some;
    QTest::newRow("two points in the middle") << QStringLiteral("a..b.qcl") << some;
    QTest::newRow("percent") << QStringLiteral("%1 %2.qcl") << some;
    QTest::newRow("Latin letters") << QString::fromUtf8("größe-Ångström.qcl") << some;
    QTest::newRow("other scripts") << QString::fromUtf8("журнал-記録-☃.qcl") << some;
    QTest::newRow("beyond the first plane") << QString::fromUtf8("🚗.qcl") << some;
#ifdef Q_OS_UNIX
    QTest::newRow("upper case") << QStringLiteral("A.QCL") << some;
    QTest::newRow("drive letter") << QStringLiteral("C:a.qcl") << some;
    QTest::newRow("line feed") << QStringLiteral("a\nb.qcl") << some;
    QTest::newRow("200 characters") << QString(196, QLatin1Char('n')) + QLatin1String(".qcl") << some;
#endif
}

void ZipWritingTest::fileBecomesAnEntry()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, content);

    const Sample sample;
    sample.add(name, content);
    Host host;
    host.handler.zipDatachunks(sample.zip(), sample.source());

    QVector<Listed> entries;
    QVERIFY(ZipBytes::list(contentOf(sample.zip()), entries));
    QCOMPARE(entries.size(), 1);
    const Listed &entry = entries.constFirst();
    QCOMPARE(entry.name, name.toUtf8());
    QCOMPARE(entry.localName, name.toUtf8());
    QCOMPARE(entry.flags & ZipBytes::utf8Flag, int(ZipBytes::utf8Flag));
    QCOMPARE(entry.localFlags & ZipBytes::utf8Flag, int(ZipBytes::utf8Flag));
    QCOMPARE(entry.flags & ZipBytes::encryptedFlag, 0);
    QCOMPARE(entry.method, ZipBytes::deflatedMethod);
    QCOMPARE(entry.localMethod, ZipBytes::deflatedMethod);
    QVERIFY(!entry.content.isNull());
    QCOMPARE(entry.content, content);
}

void ZipWritingTest::allFilesBecomeEntriesInTheOrderOfTheFileSystem()
{
    const Sample sample;
    Contents expected;
    for (int i = 0; i < 300; ++i) {
        const QString name = QStringLiteral("chunk-%1.qcl").arg((i * 7919) % 1000, 8, 10, QLatin1Char('0'));
        expected.insert(name, noise(i * 10, quint32(i)));
        sample.add(name, expected.value(name));
    }
    QCOMPARE(packed(sample.zip(), sample.source()), expected);
    QCOMPARE(namesIn(sample.zip()), sample.source().entryList(QDir::Files, QDir::NoSort));
}

void ZipWritingTest::entryIsPackedAtTheFastestLevel_data()
{
    QTest::addColumn<QByteArray>("content");
    QByteArray text;
    for (int i = 0; i < 4000; ++i)
        text += "message " + QByteArray::number(i * 31 % 997) + " of " + QByteArray::number(i) + "\n";
    QTest::newRow("text") << text;
    QTest::newRow("text and noise") << text.left(20000) + noise(50000) + text;
}

void ZipWritingTest::entryIsPackedAtTheFastestLevel()
{
    QFETCH(QByteArray, content);

    // The levels differ for these contents, or the comparison would say nothing.
    const QByteArray expected = ZipBytes::deflated(content, 1);
    QVERIFY(expected != ZipBytes::deflated(content, 2));
    QVERIFY(expected != ZipBytes::deflated(content, 6));

    const Sample sample;
    sample.add("a.qcl", content);
    Host host;
    host.handler.zipDatachunks(sample.zip(), sample.source());
    QVector<Listed> entries;
    QVERIFY(ZipBytes::list(contentOf(sample.zip()), entries));
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries.constFirst().data, expected);
}

void ZipWritingTest::entryHasTheDateOfItsFile_data()
{
    QTest::addColumn<QDateTime>("modified");
    QTest::addColumn<QDateTime>("expected"); // archives count in steps of two seconds
    const auto row = [](const char *name, const QDate &date, const QTime &modified, const QTime &expected) {
        QTest::newRow(name) << QDateTime(date, modified) << QDateTime(date, expected);
    };
    row("even second", QDate(2021, 3, 4), QTime(5, 6, 8), QTime(5, 6, 8));
    row("odd second", QDate(2021, 3, 4), QTime(5, 6, 9), QTime(5, 6, 8));
    row("last day of a year", QDate(1999, 12, 31), QTime(23, 59, 58), QTime(23, 59, 58));
    row("leap day", QDate(2024, 2, 29), QTime(12, 0, 0), QTime(12, 0, 0));
}

void ZipWritingTest::entryHasTheDateOfItsFile()
{
    QFETCH(QDateTime, modified);
    QFETCH(QDateTime, expected);

    const Sample sample;
    sample.add("a.qcl", "content");
    {
        QFile file(sample.file("a.qcl"));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(modified, QFileDevice::FileModificationTime));
    }
    Host host;
    host.handler.zipDatachunks(sample.zip(), sample.source());
    QVector<Listed> entries;
    QVERIFY(ZipBytes::list(contentOf(sample.zip()), entries));
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries.constFirst().dateTime, expected);
}

void ZipWritingTest::entryHasThePermissionsOfItsFile_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("owner only") << 0600;
    QTest::newRow("readable by all") << 0644;
    QTest::newRow("read only") << 0444;
    QTest::newRow("program") << 0755;
}

void ZipWritingTest::entryHasThePermissionsOfItsFile()
{
#ifdef Q_OS_UNIX
    QFETCH(int, mode);

    const Sample sample;
    sample.add("a.qcl", "content");
    QCOMPARE(chmod(QFile::encodeName(sample.file("a.qcl")).constData(), mode_t(mode)), 0);
    Host host;
    host.handler.zipDatachunks(sample.zip(), sample.source());
    QVector<Listed> entries;
    QVERIFY(ZipBytes::list(contentOf(sample.zip()), entries));
    QCOMPARE(entries.size(), 1);
    QCOMPARE(int(entries.constFirst().attributes >> 16 & 0777), mode);
    QCOMPARE(int(entries.constFirst().attributes >> 16 & S_IFMT), int(S_IFREG));
#else
    QSKIP("needs Unix permissions");
#endif
}

void ZipWritingTest::namesAreUtf8WhateverTheLocaleIs()
{
#ifdef Q_OS_UNIX
    const LocaleEncoding latin("ISO-8859-1");
    const QString name = QString::fromUtf8("größe.qcl");
    const Sample sample;
    sample.add(name, "content");
    QVERIFY(QFile::exists(sample.file(name)));

    Host host;
    host.handler.zipDatachunks(sample.zip(), sample.source());
    QVector<Listed> entries;
    QVERIFY(ZipBytes::list(contentOf(sample.zip()), entries));
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries.constFirst().localName, name.toUtf8());
    QCOMPARE(entries.constFirst().name, name.toUtf8());
    QCOMPARE(entries.constFirst().localFlags & ZipBytes::utf8Flag, int(ZipBytes::utf8Flag));

    // Other readers of the same library find the name too.
    QuaZip zip(sample.zip());
    QVERIFY(zip.open(QuaZip::mdUnzip));
    QCOMPARE(zip.getFileNameList(), QStringList{name});
#else
    QSKIP("file names do not depend on the locale here");
#endif
}

void ZipWritingTest::foldersHiddenFilesAndSpecialFilesAreLeftOut()
{
#ifdef Q_OS_UNIX
    const Sample sample;
    sample.add("a.qcl", "content");
    sample.add(".hidden.qcl", "hidden");
    QVERIFY(sample.source().mkpath(QStringLiteral("sub/deeper")));
    QVERIFY(sample.source().mkpath(QStringLiteral("folder.qcl")));
    QVERIFY(sample.source().mkpath(QStringLiteral(".hidden")));
    sample.add("sub/b.qcl", "below");
    sample.add("sub/deeper/c.qcl", "far below");
    sample.add(".hidden/d.qcl", "below");
    QVERIFY(QFile::link(sample.file("sub"), sample.file("link-to-folder.qcl")));
    QVERIFY(QFile::link(sample.file("gone"), sample.file("broken-link.qcl")));
    QVERIFY(QFile::link(sample.file("sub/b.qcl"), sample.file("link.qcl")));
    QCOMPARE(mkfifo(QFile::encodeName(sample.file("pipe.qcl")).constData(), 0600), 0);

    const Contents expected{{QStringLiteral("a.qcl"), "content"}, {QStringLiteral("link.qcl"), "below"}};
    QCOMPARE(packed(sample.zip(), sample.source()), expected);
#else
    QSKIP("needs Unix files");
#endif
}

void ZipWritingTest::linkToASpecialFileDoesNotHoldTheJobUp()
{
#ifdef Q_OS_UNIX
    const Sample sample;
    sample.add("a.qcl", "content");
    const QByteArray pipe = QFile::encodeName(sample.zip("pipe"));
    QCOMPARE(mkfifo(pipe.constData(), 0600), 0);
    QVERIFY(QFile::link(sample.zip("pipe"), sample.file("link.qcl")));

    Host host;
    host.handler.onZipDatachunks(sample.zip(), sample.source());
    const bool ended = QThreadPool::globalInstance()->waitForDone(2000);
    if (!ended) {
        close(open(pipe.constData(), O_WRONLY | O_NONBLOCK)); // lets it go on
        QVERIFY(waitForPool());
    }
    QVERIFY2(ended, "the job waits for somebody to write into a pipe");
    QCOMPARE(contentsOf(sample.zip()), (Contents{{QStringLiteral("a.qcl"), "content"}}));
#else
    QSKIP("needs Unix files");
#endif
}

void ZipWritingTest::nameFiltersOfTheFolderCount()
{
    const Sample sample;
    sample.add("a.qcl", "content");
    sample.add("imports.json", "{}");
    QDir source = sample.source();
    source.setNameFilters({QStringLiteral("*.qcl")});
    QCOMPARE(packed(sample.zip(), source), (Contents{{QStringLiteral("a.qcl"), "content"}}));
}

void ZipWritingTest::readProtectedFileIsSkipped()
{
#ifdef Q_OS_UNIX
    const OrdinaryUser ordinary;
    const Sample sample;
    sample.add("a.qcl", "first");
    sample.add("b.qcl", "secret");
    sample.add("c.qcl", "third");
    QCOMPARE(chmod(QFile::encodeName(sample.file("b.qcl")).constData(), 0), 0);
    QVERIFY(!QFile(sample.file("b.qcl")).open(QIODevice::ReadOnly));

    const Contents expected{{QStringLiteral("a.qcl"), "first"}, {QStringLiteral("c.qcl"), "third"}};
    QCOMPARE(packed(sample.zip(), sample.source()), expected);
#else
    QSKIP("needs Unix permissions");
#endif
}

void ZipWritingTest::fileThatFailsWhileItIsReadIsLeftOut()
{
    // It opens, but no memory stands at address 0.
    const QString unreadable = QStringLiteral("/proc/self/mem");
    if (!QFile(unreadable).open(QIODevice::ReadOnly))
        QSKIP("needs a file that opens and cannot be read");
    const Sample sample;
    sample.add("a.qcl", "first");
    QVERIFY(QFile::link(unreadable, sample.file("b.qcl")));
    sample.add("c.qcl", "third");

    const Contents expected{{QStringLiteral("a.qcl"), "first"}, {QStringLiteral("c.qcl"), "third"}};
    QCOMPARE(packed(sample.zip(), sample.source()), expected);
}

void ZipWritingTest::fileOfAnUndecodableNameDoesNoHarm()
{
#ifdef Q_OS_UNIX
    const Sample sample;
    sample.add("a.qcl", "content");
    const QByteArray odd = QFile::encodeName(sample.file("")) + "\xFF\xFE.qcl";
    const int file = open(odd.constData(), O_WRONLY | O_CREAT, 0600);
    if (file < 0)
        QSKIP("the file system takes no such name");
    close(file);

    const Contents result = packed(sample.zip(), sample.source());
    QCOMPARE(unlink(odd.constData()), 0); // the sample folder could not
    QVERIFY(!result.contains(QStringLiteral("not sound")));
    QCOMPARE(result.value(QStringLiteral("a.qcl")), QByteArray("content"));
    QVERIFY(result.size() <= 2);
#else
    QSKIP("needs Unix files");
#endif
}

void ZipWritingTest::fileAboveOneGibibyteIsLeftOut()
{
    const Sample sample;
    sample.add("a.qcl", "content");
    sample.add("huge.qcl", QByteArray());
    QVERIFY(QFile::resize(sample.file("huge.qcl"), Q_INT64_C(1024) * 1024 * 1024 + 1)); // takes no room on the disk
    QCOMPARE(packed(sample.zip(), sample.source()), (Contents{{QStringLiteral("a.qcl"), "content"}}));
}

void ZipWritingTest::emptyOrMissingFolderGivesAnEmptyArchive_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("empty") << QStringLiteral("empty");
    QTest::newRow("only a folder inside") << QStringLiteral("nested");
    QTest::newRow("missing") << QStringLiteral("no such folder");
}

void ZipWritingTest::emptyOrMissingFolderGivesAnEmptyArchive()
{
    QFETCH(QString, folder);

    const Sample sample;
    QVERIFY(sample.source().mkpath(QStringLiteral("empty")));
    QVERIFY(sample.source().mkpath(QStringLiteral("nested/inner")));
    Host host;
    host.handler.zipDatachunks(sample.zip(), QDir(sample.file(folder)));
    QVERIFY(QFile::exists(sample.zip()));
    QCOMPARE(namesIn(sample.zip()), QStringList());
}

void ZipWritingTest::sourceStaysAsItWas()
{
    const Sample sample;
    sample.add("a.qcl", noise(100000));
    sample.add("b.qcl", "");
    const auto before = treeOf(sample.source().path());
    packed(sample.zip(), sample.source());
    QCOMPARE(treeOf(sample.source().path()), before);
    QCOMPARE(QDir(sample.path() + QLatin1String("/target"))
                 .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("chunks.zip")});
}

void ZipWritingTest::unzipFindsTheArchiveSound()
{
    const QString unzip = QStandardPaths::findExecutable(QStringLiteral("unzip"));
    if (unzip.isEmpty())
        QSKIP("there is no unzip");

    const Sample sample;
    sample.add("a.qcl", noise(100000));
    sample.add("empty.qcl", "");
    sample.add("b c.qcl", "content");
    Host host;
    host.handler.zipDatachunks(sample.zip(), sample.source());

    QProcess program;
    program.setProcessChannelMode(QProcess::MergedChannels);
    program.start(unzip, {QStringLiteral("-t"), sample.zip()});
    QVERIFY(program.waitForFinished(patience));
    const QByteArray output = program.readAll();
    QVERIFY2(program.exitStatus() == QProcess::NormalExit && program.exitCode() == 0, output.constData());
    QVERIFY2(output.contains("No errors detected"), output.constData());
    for (const char *name : {"a.qcl", "empty.qcl", "b c.qcl"})
        QVERIFY2(output.contains(name), output.constData());
}

void ZipWritingTest::whatStandsAtThePathIsReplaced_data()
{
    QTest::addColumn<QByteArray>("former");
    QTest::newRow("archive with other entries")
        << ZipBytes::archive({ZipBytes::packed("old.qcl", "old"), ZipBytes::packed("first.qcl", "old first")});
    QTest::newRow("much longer archive") << ZipBytes::archive({ZipBytes::stored("old.qcl", noise(100000))});
    QTest::newRow("empty archive") << ZipBytes::archive({});
    QTest::newRow("no archive") << QByteArray("something else");
    QTest::newRow("empty file") << QByteArray("");
}

void ZipWritingTest::whatStandsAtThePathIsReplaced()
{
    QFETCH(QByteArray, former);

    const Sample sample;
    const Contents expected = twoChunks();
    for (auto chunk = expected.cbegin(); chunk != expected.cend(); ++chunk)
        sample.add(chunk.key(), chunk.value());
    writeTo(sample.zip(), former);
    QVERIFY(QFile::setPermissions(sample.zip(), QFile::ReadOwner | QFile::ReadUser));
    QCOMPARE(packed(sample.zip(), sample.source()), expected);
    QCOMPARE(packed(sample.zip(), sample.source()), expected); // and again, over its own
}

void ZipWritingTest::linkAtThePathIsReplacedItself()
{
#ifdef Q_OS_UNIX
    const Sample sample;
    sample.add("a.qcl", "content");
    writeTo(sample.zip("precious"), "precious");
    QVERIFY(QFile::link(sample.zip("precious"), sample.zip()));
    QCOMPARE(packed(sample.zip(), sample.source()), (Contents{{QStringLiteral("a.qcl"), "content"}}));
    QVERIFY(!QFileInfo(sample.zip()).isSymLink());
    QCOMPARE(contentOf(sample.zip("precious")), QByteArray("precious"));
#else
    QSKIP("needs Unix links");
#endif
}

void ZipWritingTest::whatCannotBeReplacedStays_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("folder") << QStringLiteral("folder");
    QTest::newRow("folder with something inside") << QStringLiteral("full folder");
    QTest::newRow("file in a protected folder") << QStringLiteral("protected");
}

void ZipWritingTest::whatCannotBeReplacedStays()
{
#ifdef Q_OS_UNIX
    QFETCH(QString, kind);

    const OrdinaryUser ordinary;
    const Sample sample;
    sample.add("a.qcl", "content");
    const QByteArray target = QFile::encodeName(sample.path()) + "/target";
    if (kind == QLatin1String("protected")) {
        writeTo(sample.zip(), "former");
        QCOMPARE(chmod(target.constData(), 0500), 0);
    } else {
        QVERIFY(QDir().mkpath(sample.zip()));
        if (kind == QLatin1String("full folder"))
            writeTo(sample.zip("chunks.zip/inside"), "inside");
    }
    const auto before = treeOf(sample.path());

    Host host;
    host.handler.onZipDatachunks(sample.zip(), sample.source());
    QVERIFY(waitForPool());
    QCOMPARE(treeOf(sample.path()), before);
    QCOMPARE(chmod(target.constData(), 0700), 0);

    host.handler.onZipDatachunks(sample.zip("next.zip"), sample.source());
    QVERIFY(waitForPool());
    QCOMPARE(contentsOf(sample.zip("next.zip")), (Contents{{QStringLiteral("a.qcl"), "content"}}));
#else
    QSKIP("needs Unix permissions");
#endif
}

void ZipWritingTest::archiveIsNotPackedIntoItself_data()
{
    QTest::addColumn<QString>("path"); // from the folder that holds the source
    QTest::addColumn<bool>("existing");
    const QPair<const char *, QString> paths[] = {
        {"plain path", QStringLiteral("source/chunks.zip")},
        {"way round", QStringLiteral("source/../source/./chunks.zip")},
        {"doubled slash", QStringLiteral("source//chunks.zip")},
        {"through a link", QStringLiteral("link/chunks.zip")},
        {"named like a chunk", QStringLiteral("source/chunks.qcl")},
    };
    for (const auto &[name, path] : paths) {
        QTest::addRow("%s", name) << path << false;
        QTest::addRow("%s, over an earlier one", name) << path << true;
    }
}

void ZipWritingTest::archiveIsNotPackedIntoItself()
{
    QFETCH(QString, path);
    QFETCH(bool, existing);

    const Sample sample;
    const Contents expected = twoChunks();
    for (auto chunk = expected.cbegin(); chunk != expected.cend(); ++chunk)
        sample.add(chunk.key(), chunk.value());
    QVERIFY(QFile::link(sample.source().path(), sample.path() + QLatin1String("/link")));
    const QString zipPath = sample.path() + QLatin1Char('/') + path;
    if (existing)
        writeTo(zipPath, ZipBytes::archive({ZipBytes::packed("old.qcl", "old")}));

    QCOMPARE(packed(zipPath, sample.source()), expected);
    QCOMPARE(packed(zipPath, sample.source()), expected);
    QCOMPARE(sample.source().entryList(QDir::Files).size(), 3);

    const CurrentFolder here(sample.path());
    QCOMPARE(packed(path, QDir(QStringLiteral("source"))), expected);
    QCOMPARE(packed(path, QDir(QStringLiteral("link"))), expected);
}

void ZipWritingTest::linkInTheFolderThatBecomesTheArchiveIsNotPacked()
{
#ifdef Q_OS_UNIX
    const Sample sample;
    sample.add("a.qcl", "content");
    QVERIFY(QFile::link(sample.file("a.qcl"), sample.file("chunks.zip")));
    QCOMPARE(packed(sample.file("chunks.zip"), sample.source()), (Contents{{QStringLiteral("a.qcl"), "content"}}));
    QCOMPARE(contentOf(sample.file("a.qcl")), QByteArray("content"));
#else
    QSKIP("needs Unix links");
#endif
}

void ZipWritingTest::otherArchivesInTheFolderArePacked()
{
    const Sample sample;
    sample.add("other.zip", "other");
    sample.add("a.qcl", "content");
    sample.add("a.zip", "the same name in another folder");
    QVERIFY(sample.source().mkpath(QStringLiteral("sub")));
    const Contents expected{{QStringLiteral("a.qcl"), "content"},
                            {QStringLiteral("other.zip"), "other"},
                            {QStringLiteral("a.zip"), "the same name in another folder"}};
    QCOMPARE(packed(sample.file("sub/a.zip"), sample.source()), expected);
}

void ZipWritingTest::relativePathsGoByTheCurrentFolder()
{
    const Sample sample;
    sample.add("a.qcl", "content");
    const CurrentFolder here(sample.path());
    QCOMPARE(packed(QStringLiteral("relative.zip"), QDir(QStringLiteral("source"))),
             (Contents{{QStringLiteral("a.qcl"), "content"}}));
    QVERIFY(QFile::exists(sample.path() + QLatin1String("/relative.zip")));
}

void ZipWritingTest::oddPathsAreTakenAsTheyAre_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("percent") << QStringLiteral("%1 %2 %");
    QTest::newRow("blanks") << QStringLiteral(" a b ");
    QTest::newRow("other scripts") << QString::fromUtf8("журнал-ü-🚗");
    QTest::newRow("markup") << QStringLiteral("<b>&amp;");
#ifdef Q_OS_UNIX
    QTest::newRow("wild cards") << QStringLiteral("[a-z]*?");
    QTest::newRow("backslash") << QStringLiteral("a\\b");
#endif
}

void ZipWritingTest::oddPathsAreTakenAsTheyAre()
{
    QFETCH(QString, name);

    const Sample sample;
    QVERIFY(sample.source().mkpath(name));
    sample.add(name + QLatin1String("/a.qcl"), "content");
    const QString zipPath = sample.path() + QLatin1String("/target/") + name;
    QCOMPARE(packed(zipPath, QDir(sample.file(name))), (Contents{{QStringLiteral("a.qcl"), "content"}}));
}

void ZipWritingTest::archiveThatDoesNotFitOnTheDiskIsNotLeftBehind()
{
#ifdef Q_OS_UNIX
    const Sample sample;
    sample.add("a.qcl", noise(50000, 1));
    sample.add("b.qcl", noise(50000, 2));
    sample.add("c.qcl", noise(50000, 3));
    Host host;
    for (const rlim_t size : {0, 40000, 70000, 150000}) {
        {
            const SmallDisk disk(size);
            host.handler.onZipDatachunks(sample.zip(), sample.source());
            QVERIFY(waitForPool());
        }
        QVERIFY2(!QFile::exists(sample.zip()), qPrintable(QString::number(qulonglong(size))));
    }
    QCOMPARE(host.store.calls(), QStringList());

    host.handler.onZipDatachunks(sample.zip(), sample.source());
    QVERIFY(waitForPool());
    QCOMPARE(contentsOf(sample.zip()).size(), 3);
#else
    QSKIP("needs limits of the size of files");
#endif
}

void ZipWritingTest::formerArchiveStaysWhenTheNewOneDoesNotFit()
{
#ifdef Q_OS_UNIX
    const Sample sample;
    sample.add("a.qcl", noise(50000, 1));
    sample.add("b.qcl", noise(50000, 2));
    const QByteArray former = ZipBytes::archive({ZipBytes::packed("old.qcl", "old")});
    writeTo(sample.zip(), former);
    const auto before = treeOf(sample.path());
    Host host;
    for (const rlim_t size : {0, 40000, 70000}) {
        const SmallDisk disk(size);
        host.handler.zipDatachunks(sample.zip(), sample.source());
        QCOMPARE(contentOf(sample.zip()), former);
    }
    QCOMPARE(treeOf(sample.path()), before);
#else
    QSKIP("needs limits of the size of files");
#endif
}

void ZipWritingTest::formerArchiveStaysUntilTheNewOneIsComplete()
{
    const Sample sample;
    sample.add("a.qcl", "first");
    sample.add("b.qcl", "second");
    const QByteArray former = ZipBytes::archive({ZipBytes::packed("old.qcl", "old")});
    writeTo(sample.zip(), former);
    int asked = 0;
    CANLogHandler::packDatachunks(sample.zip(), sample.source(), [&](qint64, qint64) {
        ++asked;
        return contentOf(sample.zip()) == former;
    });
    QCOMPARE(asked, 2);
    QCOMPARE(namesIn(sample.zip()).size(), 2);
}

void ZipWritingTest::whatAKilledProgramLeftIsRemoved()
{
#ifdef Q_OS_UNIX
    const Sample sample;
    sample.add("a.qcl", "content");
    writeTo(sample.zip(".canlog-zip-00000001"), "half an archive");
    writeTo(sample.zip(".canlog-zip-00000002"), "of a program that still runs");
    writeTo(sample.zip(".canlog-zip-mine"), "not so named by the library");
    QFile running(sample.zip(".canlog-zip-00000002"));
    QVERIFY(running.open(QIODevice::ReadWrite));
    QCOMPARE(flock(running.handle(), LOCK_EX | LOCK_NB), 0);

    QCOMPARE(packed(sample.zip(), sample.source()), (Contents{{QStringLiteral("a.qcl"), "content"}}));
    QCOMPARE(QDir(sample.path() + QLatin1String("/target")).entryList(QDir::Files | QDir::Hidden, QDir::Name),
             QStringList({QStringLiteral(".canlog-zip-00000002"), QStringLiteral(".canlog-zip-mine"),
                          QStringLiteral("chunks.zip")}));
#else
    QSKIP("needs locks");
#endif
}

void ZipWritingTest::packingTellsWhatItPacked()
{
    const Sample sample;
    sample.add("a.qcl", "content");
    sample.add("huge.qcl", QByteArray());
    QVERIFY(QFile::resize(sample.file("huge.qcl"), Q_INT64_C(1024) * 1024 * 1024 + 1)); // takes no room on the disk
    const PackingReport report = CANLogHandler::packDatachunks(sample.zip(), sample.source());
    QCOMPARE(int(report.state), int(PackingReport::State::Written));
    QCOMPARE(report.errorText, QString());
    QCOMPARE(report.packed, QStringList{QStringLiteral("a.qcl")});
    QCOMPARE(report.leftOut, QStringList{QStringLiteral("huge.qcl")});
    QCOMPARE(contentsOf(sample.zip()), (Contents{{QStringLiteral("a.qcl"), "content"}}));
}

void ZipWritingTest::packingTellsHowFarItIs()
{
    const Sample sample;
    for (const char *name : {"a.qcl", "b.qcl", "c.qcl"})
        sample.add(name, QByteArray(1000, 'x'));
    QVector<qint64> told;
    CANLogHandler::packDatachunks(sample.zip(), sample.source(), [&](qint64 done, qint64 total) {
        told << done << total;
        return true;
    });
    QCOMPARE(told, QVector<qint64>({0, 3000, 1000, 3000, 2000, 3000}));
}

void ZipWritingTest::packingCanBeInterrupted_data()
{
    QTest::addColumn<int>("files"); // that are packed before
    QTest::addColumn<bool>("hasFormer");
    for (const int files : {0, 1, 2}) {
        QTest::addRow("after %d", files) << files << false;
        QTest::addRow("after %d, over a former one", files) << files << true;
    }
}

void ZipWritingTest::packingCanBeInterrupted()
{
    QFETCH(int, files);
    QFETCH(bool, hasFormer);
    const Sample sample;
    for (const char *name : {"a.qcl", "b.qcl", "c.qcl"})
        sample.add(name, "content");
    if (hasFormer)
        writeTo(sample.zip(), ZipBytes::archive({ZipBytes::packed("old.qcl", "old")}));
    const auto before = treeOf(sample.path());
    int asked = 0;
    const PackingReport report =
        CANLogHandler::packDatachunks(sample.zip(), sample.source(), [&](qint64, qint64) { return asked++ < files; });
    QCOMPARE(int(report.state), int(PackingReport::State::Interrupted));
    QCOMPARE(report.errorText, QString());
    QCOMPARE(asked, files + 1);
    QCOMPARE(treeOf(sample.path()), before);
}

void ZipWritingTest::packingKeepsALink_data()
{
    QTest::addColumn<bool>("leadsToAFile");
    QTest::newRow("to a file") << true;
    QTest::newRow("to nothing yet") << false;
}

void ZipWritingTest::packingKeepsALink()
{
#ifdef Q_OS_UNIX
    QFETCH(bool, leadsToAFile);
    const Sample sample;
    sample.add("a.qcl", "content");
    if (leadsToAFile)
        writeTo(sample.zip("real.zip"), "former");
    QVERIFY(QFile::link(QStringLiteral("real.zip"), sample.zip()));
    const PackingReport report = CANLogHandler::packDatachunks(sample.zip(), sample.source());
    QCOMPARE(int(report.state), int(PackingReport::State::Written));
    QVERIFY(QFileInfo(sample.zip()).isSymLink());
    QVERIFY(!QFileInfo(sample.zip("real.zip")).isSymLink());
    QCOMPARE(contentsOf(sample.zip("real.zip")), (Contents{{QStringLiteral("a.qcl"), "content"}}));
#else
    QSKIP("needs Unix links");
#endif
}

void ZipWritingTest::packingTellsWhyItFailed_data()
{
    QTest::addColumn<QString>("zip"); // from the folder that holds the source
    QTest::addColumn<QString>("reason");
    QTest::newRow("no name") << QString() << QStringLiteral("No such file or directory");
    QTest::newRow("folder") << QStringLiteral("target") << QStringLiteral("Is a directory");
    QTest::newRow("in a missing folder") << QStringLiteral("no such/a.zip")
                                         << QStringLiteral("No such file or directory");
    QTest::newRow("below a file") << QStringLiteral("source/a.qcl/a.zip") << QStringLiteral("Not a directory");
    QTest::newRow("name too long") << QStringLiteral("target/") + QString(256, QLatin1Char('n'))
                                   << QStringLiteral("File name too long");
}

void ZipWritingTest::packingTellsWhyItFailed()
{
#ifdef Q_OS_UNIX
    QFETCH(QString, zip);
    QFETCH(QString, reason);
    const Sample sample;
    sample.add("a.qcl", "content");
    const auto before = treeOf(sample.path());
    const QString path = zip.isEmpty() ? zip : sample.path() + QLatin1Char('/') + zip;
    const PackingReport report = CANLogHandler::packDatachunks(path, sample.source());
    QCOMPARE(int(report.state), int(PackingReport::State::Failed));
    QCOMPARE(report.errorText, reason);
    QCOMPARE(treeOf(sample.path()), before);
#else
    QSKIP("needs the texts of Unix");
#endif
}

void ZipWritingTest::packingTellsOfAFullDisk()
{
#ifdef Q_OS_UNIX
    const Sample sample;
    for (quint32 i = 0; i < 3; ++i)
        sample.add(QStringLiteral("%1.qcl").arg(i), noise(50000, i));
    // What a limit of the size of files is called; a disk that is full takes the same way.
    for (const rlim_t size : {0, 10, 40000, 70000, 150100}) {
        const SmallDisk disk(size);
        const PackingReport report = CANLogHandler::packDatachunks(sample.zip(), sample.source());
        QCOMPARE(int(report.state), int(PackingReport::State::Failed));
        QCOMPARE(report.errorText, QStringLiteral("File too large"));
    }
#else
    QSKIP("needs limits of the size of files");
#endif
}

void ZipWritingTest::requestRunsInThePool()
{
    const Sample sample;
    sample.add("a.qcl", "content");
    Host host;
    BusyPool pool;
    host.handler.onZipDatachunks(sample.zip(), sample.source());
    QTest::qWait(20);
    QVERIFY2(!QFile::exists(sample.zip()), "the job needs a thread of the global pool");
    QVERIFY(pool.finish());
    QCOMPARE(contentsOf(sample.zip()), (Contents{{QStringLiteral("a.qcl"), "content"}}));
}

void ZipWritingTest::requestWhileAJobWaitsIsDropped()
{
    const Sample sample;
    sample.add("a.qcl", "content");
    Host host;
    BusyPool pool;
    host.handler.onZipDatachunks(sample.zip("first.zip"), sample.source());
    host.handler.onZipDatachunks(sample.zip("second.zip"), sample.source());
    host.handler.onZipDatachunks(sample.zip("first.zip"), QDir(sample.path())); // the same place, another folder
    QVERIFY(pool.finish());
    QCOMPARE(contentsOf(sample.zip("first.zip")), (Contents{{QStringLiteral("a.qcl"), "content"}}));
    QVERIFY(!QFile::exists(sample.zip("second.zip")));
}

void ZipWritingTest::requestWhileAJobRunsIsDropped()
{
    const Sample sample;
    addMuch(sample);
    Host host;
    host.handler.onZipDatachunks(sample.zip("first.zip"), sample.source());
    QVERIFY(jobIsRunning(sample.zip("first.zip")));
    host.handler.onZipDatachunks(sample.zip("second.zip"), sample.source());
    host.handler.onZipDatachunks(sample.zip("first.zip"), QDir(sample.path()));
    QCOMPARE(QThreadPool::globalInstance()->activeThreadCount(), 1);
    QVERIFY(waitForPool());
    QCOMPARE(namesIn(sample.zip("first.zip")), sample.source().entryList(QDir::Files, QDir::NoSort));
    QVERIFY(!QFile::exists(sample.zip("second.zip")));

    // Dropped is dropped: nothing was kept for later.
    QCoreApplication::processEvents();
    QVERIFY(waitForPool());
    QVERIFY(!QFile::exists(sample.zip("second.zip")));
}

void ZipWritingTest::nextRequestRunsAfterEveryEnd_data()
{
    QTest::addColumn<QString>("zip");
    QTest::addColumn<QString>("source");
    const QString folder = QStringLiteral("source");
    QTest::newRow("success") << QStringLiteral("target/a.zip") << folder;
    QTest::newRow("empty folder") << QStringLiteral("target/a.zip") << QStringLiteral("empty");
    QTest::newRow("missing folder") << QStringLiteral("target/a.zip") << QStringLiteral("no such");
    QTest::newRow("archive in a missing folder") << QStringLiteral("no such/a.zip") << folder;
    QTest::newRow("archive that is a folder") << QStringLiteral("empty") << folder;
    QTest::newRow("archive below a file") << QStringLiteral("source/a.qcl/a.zip") << folder;
}

void ZipWritingTest::nextRequestRunsAfterEveryEnd()
{
    QFETCH(QString, zip);
    QFETCH(QString, source);

    const Sample sample;
    sample.add("a.qcl", "content");
    QVERIFY(QDir(sample.path()).mkpath(QStringLiteral("empty")));
    const QDir root(sample.path());
    Host host;
    for (int i = 0; i < 3; ++i) {
        host.handler.onZipDatachunks(root.filePath(zip), QDir(root.filePath(source)));
        QVERIFY(waitForPool());
    }
    host.handler.onZipDatachunks(sample.zip("next.zip"), sample.source());
    QVERIFY(waitForPool());
    QCOMPARE(contentsOf(sample.zip("next.zip")), (Contents{{QStringLiteral("a.qcl"), "content"}}));
}

void ZipWritingTest::directCallRunsInTheCallersThread()
{
    const Sample sample;
    sample.add("a.qcl", "content");
    Host host;
    BusyPool pool;
    host.handler.zipDatachunks(sample.zip(), sample.source());
    QCOMPARE(contentsOf(sample.zip()), (Contents{{QStringLiteral("a.qcl"), "content"}}));
    QVERIFY(pool.finish());
}

void ZipWritingTest::directCallMakesWayForTheNextRequest()
{
    const Sample sample;
    sample.add("a.qcl", "content");
    Host host;
    BusyPool pool;
    host.handler.onZipDatachunks(sample.zip("first.zip"), sample.source());
    host.handler.onZipDatachunks(sample.zip("dropped.zip"), sample.source());
    // A direct call asks nobody, and ends with the handler ready, as every job does.
    host.handler.zipDatachunks(sample.zip("direct.zip"), sample.source());
    host.handler.onZipDatachunks(sample.zip("second.zip"), sample.source());
    QVERIFY(pool.finish());
    for (const char *name : {"first.zip", "direct.zip", "second.zip"})
        QCOMPARE(contentsOf(sample.zip(name)), (Contents{{QStringLiteral("a.qcl"), "content"}}));
    QVERIFY(!QFile::exists(sample.zip("dropped.zip")));
}

void ZipWritingTest::handlersDoNotHinderEachOther()
{
    const Sample sample;
    sample.add("a.qcl", "content");
    Host one;
    Host other;
    BusyPool pool;
    one.handler.onZipDatachunks(sample.zip("one.zip"), sample.source());
    other.handler.onZipDatachunks(sample.zip("other.zip"), sample.source());
    QVERIFY(pool.finish());
    QCOMPARE(namesIn(sample.zip("one.zip")), QStringList{QStringLiteral("a.qcl")});
    QCOMPARE(namesIn(sample.zip("other.zip")), QStringList{QStringLiteral("a.qcl")});
}

void ZipWritingTest::signalIsQueued()
{
    const Sample sample;
    addMuch(sample);
    Host host;
    Q_EMIT host.store.sigZipDatachunks(sample.zip("first.zip"), sample.source());
    Q_EMIT host.store.sigZipDatachunks(sample.zip("second.zip"), sample.source());
    QCOMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
    QCoreApplication::processEvents();
    QVERIFY(waitForPool());
    QCOMPARE(namesIn(sample.zip("first.zip")).size(), muchFiles);
    QVERIFY(!QFile::exists(sample.zip("second.zip")));
    QCOMPARE(host.store.calls(), QStringList());
}

void ZipWritingTest::storeMayGoWhileAJobRuns()
{
    const Sample sample;
    addMuch(sample);
    auto *store = new RecordingStore;
    const std::shared_ptr<CallLog> log = store->log();
    StorePointer current(store);
    CANLogHandler handler(current);
    Q_EMIT store->sigZipDatachunks(sample.zip(), sample.source());
    QCoreApplication::processEvents();
    QVERIFY(jobIsRunning(sample.zip()));
    delete store;
    QCOMPARE(QThreadPool::globalInstance()->activeThreadCount(), 1);
    QVERIFY(waitForPool());
    QCOMPARE(namesIn(sample.zip()).size(), muchFiles);
    QCOMPARE(log->texts(), QStringList());
}

void ZipWritingTest::storeMayChangeWhileAJobRuns()
{
    const Sample sample;
    addMuch(sample);
    Host host;
    RecordingStore other;
    Q_EMIT host.store.sigZipDatachunks(sample.zip("first.zip"), sample.source());
    QCoreApplication::processEvents();
    QVERIFY(jobIsRunning(sample.zip("first.zip")));
    host.handler.setPDatachunkHandler(StorePointer(&other));
    // The job is the handler's: the new store's request is dropped like any other.
    Q_EMIT other.sigZipDatachunks(sample.zip("second.zip"), sample.source());
    QCoreApplication::processEvents();
    QCOMPARE(QThreadPool::globalInstance()->activeThreadCount(), 1);
    QVERIFY(waitForPool());
    QCOMPARE(namesIn(sample.zip("first.zip")).size(), muchFiles);
    QVERIFY(!QFile::exists(sample.zip("second.zip")));
}

void ZipWritingTest::importRunsBesideAJob()
{
    const Sample sample;
    addMuch(sample);
    const SampleFile log("(1.5) can0 123#1122\n");
    Host host;
    host.handler.onZipDatachunks(sample.zip(), sample.source());
    QVERIFY(jobIsRunning(sample.zip()));
    QCOMPARE(host.handler.loadFile(log.path(), DatachunkHelper::SocketCanDump, QString(), false), true);
    QCOMPARE(QThreadPool::globalInstance()->activeThreadCount(), 1);
    QCOMPARE(host.store.calls(), QStringList({Expected::started(), Expected::loading(true), Expected::delivered(1),
                                              Expected::loading(false), Expected::finished(true, 11, log.path())}));
    QVERIFY(waitForPool());
    QCOMPARE(namesIn(sample.zip()).size(), muchFiles);
}

void ZipWritingTest::archiveIsLoadedBesideAJob()
{
    const Sample sample;
    addMuch(sample);
    const QString earlier = sample.zip("earlier.zip");
    writeTo(earlier, ZipBytes::archive({ZipBytes::packed("a.qcl", chunkBytes(QStringLiteral("1-a")))}));
    ReadingStore store;
    StorePointer current(&store);
    CANLogHandler handler(current);
    handler.onZipDatachunks(sample.zip(), sample.source());
    QVERIFY(jobIsRunning(sample.zip()));
    QCOMPARE(handler.loadZipMerged(earlier), true);
    QCOMPARE(QThreadPool::globalInstance()->activeThreadCount(), 1);
    QCOMPARE(store.calls(), QStringList({Expected::started(), ReadingStore::parsed(QStringLiteral("1-a")),
                                         Expected::fd(false), Expected::zipLoaded(QStringLiteral("earlier")),
                                         Expected::finished(true, 1, QString(), false)}));
    QVERIFY(waitForPool());
    QCOMPARE(namesIn(sample.zip()).size(), muchFiles);
}

void ZipWritingTest::nothingIsReported_data()
{
    nextRequestRunsAfterEveryEnd_data();
}

void ZipWritingTest::nothingIsReported()
{
    QFETCH(QString, zip);
    QFETCH(QString, source);

    const Sample sample;
    sample.add("a.qcl", "content");
    QVERIFY(QDir(sample.path()).mkpath(QStringLiteral("empty")));
    const QDir root(sample.path());
    Host host;
    host.handler.zipDatachunks(root.filePath(zip), QDir(root.filePath(source)));
    Q_EMIT host.store.sigZipDatachunks(root.filePath(zip), QDir(root.filePath(source)));
    QCoreApplication::processEvents();
    QVERIFY(waitForPool());
    QCoreApplication::processEvents();
    QCOMPARE(host.store.calls(), QStringList());
    QCOMPARE(host.handler.getLastErrorText(), QString());
}

QTEST_GUILESS_MAIN(ZipWritingTest)
#include "tst_zipwriting.moc"
