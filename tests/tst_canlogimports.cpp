// SPDX-License-Identifier: Apache-2.0
#include "canlogprogram.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

/// What canlog does with the imports of a store: lists, chooses and removes them, and refuses to make one twice.
class CanlogImportsTest : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void fileIsImportedOnce();
    void sameFileUnderAnotherNameIsImportedOnce();
    void changedFileIsImportedAgain();
    void table();
    void json();
    void chosenImportsAlone_data();
    void chosenImportsAlone();
    void removedImportIsGone();
    void importIsRemovedFromAFullDisk_data();
    void importIsRemovedFromAFullDisk();
    void removalNotedOnAFullDiskIsCompleted();
    void unpackedFolderIsRemovedWithItsImport();
    void largeFileIsPackedInLittleMemory();
    void wrongNumbers_data();
    void wrongNumbers();
    void noStore();
    void statisticsDoNotCrossImports();

    void failedImportIsRemovedUnlessToBeKept();
    void fullDiskIsNoUnknownError();
    void fullDiskLeavesNoNewFolder();
    void compressedFileIsListedByItsWholePath();
    void linkInPlaceOfTheLockIsNamed_data();
    void linkInPlaceOfTheLockIsNamed();
    void outputIsNoFileOfTheStore_data();
    void outputIsNoFileOfTheStore();
    void damagedStoreIsConvertedWhenAsked();

private:
    QByteArray chunk(int number) const
    {
        QFile file(path(QStringLiteral("s/chunk-0000000%1.qcl").arg(number)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
};

void CanlogImportsTest::init()
{
    makeFolder();
    // Three logs with zeros of their own, each with frames of identifier 123 half a second apart.
    write(QStringLiteral("a.log"), "(1000.000000) can0 123#0A\n(1000.500000) can0 123#0A\n");
    write(QStringLiteral("b.log"), "(5.000000) can0 123#0B\n(5.500000) can0 123#0B\n(6.000000) can0 123#0B\n");
    write(QStringLiteral("c.log"), "(9000.000000) can0 456#0C\n");
    QCOMPARE(canlog(words("import --store s a.log b.log c.log")).status, 0);
}

void CanlogImportsTest::fileIsImportedOnce()
{
    Outcome outcome = canlog(words("import --store s b.log"));
    QCOMPARE(outcome.err, QByteArray("canlog: b.log: is in s already, as import 2; --again imports it once more\n"));
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
    QVERIFY(chunk(4).isEmpty());
    outcome = canlog(words("import --store s --again b.log"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
    QVERIFY(!chunk(4).isEmpty());
    // Another store knows nothing of it.
    QCOMPARE(canlog(words("import --store t b.log")).status, 0);
}

void CanlogImportsTest::sameFileUnderAnotherNameIsImportedOnce()
{
    QVERIFY(QFile::link(path(QStringLiteral("b.log")), path(QStringLiteral("link.log"))));
    for (const char *name : {"./b.log", "s/../b.log", "link.log"})
        QCOMPARE(canlog(words("import --store s") << QString::fromLatin1(name)).status, 1);
}

void CanlogImportsTest::changedFileIsImportedAgain()
{
    write(QStringLiteral("b.log"), "(5.000000) can0 123#0B\n");
    const Outcome outcome = canlog(words("import --store s b.log"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
}

void CanlogImportsTest::table()
{
    const Outcome outcome = canlog(words("imports --store s"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
    const QByteArray place = QFileInfo(folder->path()).absoluteFilePath().toLocal8Bit();
    QCOMPARE(outcome.out,
             "Import  State                Messages    Notes   Chunks              First               Last  Type"
             "              File\n"
             "     1  succeeded                   2        0        1        1000.000000        1000.500000  "
             "Candump           "
                 + place
                 + "/a.log\n"
                   "     2  succeeded                   3        0        1           5.000000           6.000000  "
                   "Candump           "
                 + place
                 + "/b.log\n"
                   "     3  succeeded                   1        0        1        9000.000000        9000.000000  "
                   "Candump           "
                 + place + "/c.log\n");
}

void CanlogImportsTest::json()
{
    const Outcome outcome = canlog(words("imports --store s --json"));
    const QJsonArray imports = QJsonDocument::fromJson(outcome.out).object().value(QStringLiteral("imports")).toArray();
    QCOMPARE(imports.size(), 3);
    const QJsonObject second = imports.at(1).toObject();
    QCOMPARE(second.value(QStringLiteral("number")).toInt(), 2);
    QCOMPARE(second.value(QStringLiteral("type")).toString(), QStringLiteral("Candump"));
    QCOMPARE(second.value(QStringLiteral("state")).toString(), QStringLiteral("succeeded"));
    QCOMPARE(second.value(QStringLiteral("messages")).toInt(), 3);
    QCOMPARE(second.value(QStringLiteral("chunks")).toInt(), 1);
    QCOMPARE(second.value(QStringLiteral("firstTime")).toDouble(), 5.0);
    QCOMPARE(second.value(QStringLiteral("lastTime")).toDouble(), 6.0);
}

void CanlogImportsTest::chosenImportsAlone_data()
{
    QTest::addColumn<QString>("choice");
    QTest::addColumn<QByteArray>("payloads");
    QTest::newRow("one") << QStringLiteral("2") << QByteArray("0B0B0B");
    QTest::newRow("two") << QStringLiteral("3,1") << QByteArray("0A0A0C");
    QTest::newRow("range") << QStringLiteral("2-3") << QByteArray("0B0B0B0C");
}

void CanlogImportsTest::chosenImportsAlone()
{
    QFETCH(QString, choice);
    QFETCH(QByteArray, payloads);
    const Outcome converted = canlog(words("convert --store s --to candump --import") << choice);
    QCOMPARE(converted.err, QByteArray());
    QByteArray found;
    for (const QByteArray &line : converted.out.split('\n'))
        found += line.mid(line.indexOf('#') + 1);
    QCOMPARE(found, payloads);
    const Outcome shown = canlog(words("show --store s --import") << choice);
    QCOMPARE(shown.out.count('\n'), 1 + payloads.size() / 2);
    const Outcome stats = canlog(words("stats --store s --json --import") << choice);
    const QJsonObject object = QJsonDocument::fromJson(stats.out).object();
    QCOMPARE(object.value(QStringLiteral("frames")).toInt(), payloads.size() / 2);
}

void CanlogImportsTest::removedImportIsGone()
{
    const Outcome outcome = canlog(words("imports --store s --remove 2"));
    QCOMPARE(outcome.err, QByteArray());
    QVERIFY2(outcome.out.startsWith("s: import 2 (") && outcome.out.endsWith("/b.log), 3 messages, removed\n"),
             outcome.out.constData());
    QCOMPARE(outcome.status, 0);
    QVERIFY(chunk(2).isEmpty());
    const Outcome shown = canlog(words("convert --store s --to candump"));
    QCOMPARE(shown.err, QByteArray());
    QCOMPARE(shown.out,
             QByteArray("(1000.000000) can0 123#0A\n(1000.500000) can0 123#0A\n(9000.000000) can0 456#0C\n"));
    const QByteArray list = canlog(words("imports --store s")).out;
    QVERIFY(!list.contains("b.log"));
    QVERIFY(list.contains("\n     3  succeeded"));
    QCOMPARE(canlog(words("import --store s b.log")).status, 0); // it is not held any more
}

void CanlogImportsTest::importIsRemovedFromAFullDisk_data()
{
    QTest::addColumn<int>("frames");
    QTest::newRow("one chunk") << 90000;
    QTest::newRow("three chunks") << 250000;
}

void CanlogImportsTest::importIsRemovedFromAFullDisk()
{
    QFETCH(int, frames);
    if (shell(QStringLiteral("mkdir full && mount -t tmpfs -o size=20m none full")).status != 0)
        QSKIP("needs to mount a small disk");
    QByteArray log;
    for (int i = 0; i < frames; ++i)
        log += "(1.0) can0 123#1122334455667788\n";
    write(QStringLiteral("large.log"), log);
    const int imported = canlog(words("import --store full/s a.log large.log b.log")).status;
    shell(QStringLiteral("cat /dev/zero >full/zeros"));
    const Outcome outcome = canlog(words("imports --store full/s --remove 2"));
    const QByteArray rest = canlog(words("convert --store full/s --to candump")).out;
    const QByteArray files = shell(QStringLiteral("cd full/s && echo .[a-z]* *")).out;
    const Outcome another = canlog(words("imports --store full/s --remove 1"));
    shell(QStringLiteral("umount full"));
    QCOMPARE(imported, 0);
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
    QCOMPARE(rest.count('\n'), 5);
    QVERIFY2(files.startsWith(".[a-z]* chunk-00000001.qcl chunk-0000000") && files.count("chunk") == 2,
             files.constData());
    QCOMPARE(another.status, 0);
}

void CanlogImportsTest::removalNotedOnAFullDiskIsCompleted()
{
    // As a program that was killed half-way leaves it.
    QVERIFY(QFile::rename(path(QStringLiteral("s/chunk-00000002.qcl")), path(QStringLiteral("s/.removing-2-2"))));
    // Not of that import: its number has been given to another.
    QVERIFY(QFile::copy(path(QStringLiteral("s/.removing-2-2")), path(QStringLiteral("s/.removing-1-2"))));
    const QByteArray rest = "(1000.000000) can0 123#0A\n(1000.500000) can0 123#0A\n(9000.000000) can0 456#0C\n";
    Outcome outcome = canlog(words("convert --store s --to candump"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, rest);
    QCOMPARE(canlog(words("imports --store s --remove 3")).status, 0);
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("s/.removing-2-2"))));
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("s/.removing-1-2"))));
    outcome = canlog(words("imports --store s"));
    QCOMPARE(outcome.err, QByteArray());
    QVERIFY2(outcome.out.contains("a.log") && outcome.out.count('\n') == 2, outcome.out.constData());
}

void CanlogImportsTest::unpackedFolderIsRemovedWithItsImport()
{
    QCOMPARE(canlog(words("zip --store s a.zip")).status, 0);
    QCOMPARE(canlog(words("unzip --store s a.zip --as one")).status, 0);
    QCOMPARE(canlog(words("unzip --store s a.zip")).status, 0);
    Outcome outcome = canlog(words("imports --store s --remove 4"));
    QCOMPARE(outcome.err, QByteArray());
    QVERIFY2(outcome.out.endsWith("/a.zip), 0 messages and the folder one, removed\n"), outcome.out.constData());
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("s/one"))));
    QVERIFY(QFileInfo::exists(path(QStringLiteral("s/a.zip/chunk-00000003.qcl"))));

    // What somebody has put there is not removed.
    write(QStringLiteral("s/a.zip/remarks.txt"), "mine");
    outcome = canlog(words("imports --store s --remove 5"));
    QVERIFY2(outcome.err.contains("/s/a.zip holds more than the archive, remarks.txt; "), outcome.err.constData());
    QCOMPARE(outcome.status, 1);
    QVERIFY(QFileInfo::exists(path(QStringLiteral("s/a.zip/chunk-00000003.qcl"))));
    QVERIFY(QFile::remove(path(QStringLiteral("s/a.zip/remarks.txt"))));
    // Nor is the folder of a later import of that name.
    QVERIFY(QDir(path(QStringLiteral("s/a.zip"))).removeRecursively());
    QCOMPARE(canlog(words("unzip --store s a.zip")).status, 0);
    outcome = canlog(words("imports --store s --remove 5"));
    QVERIFY2(outcome.out.endsWith("/a.zip), 0 messages, removed\n"), outcome.out.constData());
    QVERIFY(QFileInfo::exists(path(QStringLiteral("s/a.zip/chunk-00000003.qcl"))));
    QCOMPARE(canlog(words("imports --store s --remove 6")).status, 0);
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("s/a.zip"))));
}

void CanlogImportsTest::largeFileIsPackedInLittleMemory()
{
#ifdef Q_OS_LINUX
    QFile large(path(QStringLiteral("s/large.bin")));
    QVERIFY(large.open(QIODevice::WriteOnly));
    QVERIFY(large.resize(qint64(500) * 1024 * 1024)); // has a size, and takes no room
    large.close();
    if (shell(QStringLiteral("ulimit -v 400000; exec \"$canlog\" --version")).status != 0)
        QSKIP("the program itself takes more");
    const Outcome outcome = shell(QStringLiteral("ulimit -v 400000; exec \"$canlog\" zip --store s a.zip"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
    QVERIFY(large.remove());
    QCOMPARE(canlog(words("unzip --store t a.zip")).status, 0);
#else
    QSKIP("needs a limit on memory");
#endif
}

void CanlogImportsTest::wrongNumbers_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QByteArray>("complaint");
    QTest::addColumn<int>("status");
    const auto bad = [](const char *name, const char *value) {
        QTest::addRow("%s %s", name, value)
            << QStringLiteral("%1=%2").arg(QString::fromLatin1(name), QString::fromLatin1(value))
            << QByteArray("wanted are numbers such as 3 or 1,4-6") << 2;
    };
    for (const char *value : {"0", "-1", "x", "1,", "3-2", "1-", "", "99999999999", "+1"}) {
        bad("show --store s --import", value);
        bad("imports --store s --remove", value);
    }
    QTest::newRow("beyond") << QStringLiteral("show --store s --import 4") << QByteArray("s: has no import 4") << 1;
    QTest::newRow("range beyond") << QStringLiteral("imports --store s --remove 2-2000000000")
                                  << QByteArray("s: has no import 4") << 1;
    QTest::newRow("of a file") << QStringLiteral("show --import 1 a.log") << QByteArray("--import is for a store") << 2;
    QTest::newRow("of a file, converted")
        << QStringLiteral("convert --import 1 a.log --to csv") << QByteArray("--import is for a store") << 2;
    QTest::newRow("both") << QStringLiteral("imports --remove 1 --json") << QByteArray("either --remove or --json")
                          << 2;
}

void CanlogImportsTest::wrongNumbers()
{
    QFETCH(QString, arguments);
    QFETCH(QByteArray, complaint);
    QFETCH(int, status);
    const Outcome outcome = canlog(arguments.split(QLatin1Char(' ')));
    QVERIFY2(outcome.err.contains(complaint), outcome.err.constData());
    QCOMPARE(outcome.err.count('\n'), 1);
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, status);
    QVERIFY(!chunk(1).isEmpty() && !chunk(2).isEmpty() && !chunk(3).isEmpty());
}

void CanlogImportsTest::noStore()
{
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("empty")));
    for (const char *arguments : {"imports --store none", "imports --store none --remove 1", "imports --store empty",
                                  "imports --store empty --remove 1", "imports --store a.log --remove 1"}) {
        const Outcome outcome = canlog(words(arguments));
        QCOMPARE(outcome.status, 1);
        QCOMPARE(outcome.err.count('\n'), 1);
    }
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("none"))));
    QVERIFY(QDir(path(QStringLiteral("empty"))).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
}

void CanlogImportsTest::statisticsDoNotCrossImports()
{
    // From 1000.5 in the first import to 5 in the second, and on to 9000 in the third, nothing is measured.
    const QJsonObject object = QJsonDocument::fromJson(canlog(words("stats --store s --json")).out).object();
    QCOMPARE(object.value(QStringLiteral("duration")).toDouble(), 1.5);
    QCOMPARE(object.value(QStringLiteral("frameRate")).toDouble(), 4.0);
    QCOMPARE(object.value(QStringLiteral("backwardSteps")).toInt(), 0);
    QCOMPARE(object.value(QStringLiteral("gaps")).toObject().value(QStringLiteral("count")).toInt(), 0);
    const QJsonObject cycle = object.value(QStringLiteral("identifiers"))
                                  .toArray()
                                  .at(0)
                                  .toObject()
                                  .value(QStringLiteral("cycleMilliseconds"))
                                  .toObject();
    QCOMPARE(cycle.value(QStringLiteral("count")).toInt(), 3);
    QCOMPARE(cycle.value(QStringLiteral("minimum")).toDouble(), 500.0);
    QCOMPARE(cycle.value(QStringLiteral("maximum")).toDouble(), 500.0);
    QVERIFY(canlog(words("stats --store s")).out.contains("1.500000 s in 3 imports, each by itself\n"));
}

void CanlogImportsTest::failedImportIsRemovedUnlessToBeKept()
{
    // A limit on the size of files stands for a full disk: the second chunk, with payloads, has no room.
    QByteArray log;
    for (int i = 0; i < 200000; ++i)
        log += i < 100000 ? "(1.0) can0 123#\n" : "(1.0) can0 123#1122334455667788\n";
    write(QStringLiteral("large.log"), log);
    const QString command =
        QStringLiteral("ulimit -c 0; ulimit -f 4800; exec \"$canlog\" import --store s %1 large.log");
    const QByteArray messages = "the 100000 messages stored until then ";
    Outcome outcome = shell(command.arg(QString()));
    QVERIFY2(outcome.err.endsWith("; " + messages + "are removed again; --keep-partial keeps them\n"),
             outcome.err.constData());
    QCOMPARE(outcome.status, 1);
    QVERIFY(chunk(4).isEmpty());
    QVERIFY(canlog(words("imports --store s")).out.contains("     4  failed, removed             0"));
    outcome = shell(command.arg(QStringLiteral("--keep-partial")));
    QVERIFY2(outcome.err.endsWith("; " + messages + "stay in s\n"), outcome.err.constData());
    QCOMPARE(outcome.status, 1);
    QVERIFY(canlog(words("imports --store s")).out.contains("     5  failed, kept           100000"));
}

void CanlogImportsTest::fullDiskIsNoUnknownError()
{
    if (shell(QStringLiteral("mkdir full && mount -t tmpfs -o size=200k none full")).status != 0)
        QSKIP("needs to mount a small disk");
    QByteArray log;
    for (int i = 0; i < 100000; ++i)
        log += "(1.0) can0 123#1122334455667788\n";
    write(QStringLiteral("large.log"), log);
    const Outcome outcome = canlog(words("import --store full/s large.log"));
    shell(QStringLiteral("umount full"));
    QVERIFY2(outcome.err.contains(" cannot be written: no space left on the disk"), outcome.err.constData());
    QCOMPARE(outcome.err.count('\n'), 1);
    QCOMPARE(outcome.status, 1);
}

void CanlogImportsTest::fullDiskLeavesNoNewFolder()
{
    if (shell(QStringLiteral("mkdir full && mount -t tmpfs -o size=64k none full")).status != 0)
        QSKIP("needs to mount a small disk");
    write(QStringLiteral("empty.log"), "");
    canlog(words("import --store full/s --type candump empty.log"));
    shell(QStringLiteral("cat /dev/zero >full/zeros"));
    canlog(words("import --store full/s a.log"));
    const QByteArray files = shell(QStringLiteral("find full/s -type f")).out;
    const Outcome outcome = canlog(words("import --store full/new/s a.log"));
    const bool isLeft = QFileInfo::exists(path(QStringLiteral("full/new")));
    shell(QStringLiteral("umount full"));
    QCOMPARE(outcome.err.count('\n'), 1);
    QCOMPARE(outcome.status, 1);
    QVERIFY(!isLeft);
    // Nor is there anything left in a store that is there.
    QVERIFY2(files == "full/s/imports.json\n", files.constData());
}

void CanlogImportsTest::compressedFileIsListedByItsWholePath()
{
    QCOMPARE(shell(QStringLiteral("gzip -k a.log && exec \"$canlog\" import --store s a.log.gz")).status, 0);
    QCOMPARE(shell(QStringLiteral("exec \"$canlog\" import --store s - <a.log.gz")).status, 0);
    const QJsonArray imports = QJsonDocument::fromJson(canlog(words("imports --store s --json")).out)
                                   .object()
                                   .value(QStringLiteral("imports"))
                                   .toArray();
    QCOMPARE(imports.at(3).toObject().value(QStringLiteral("path")).toString(),
             QFileInfo(path(QStringLiteral("a.log.gz"))).absoluteFilePath());
    QCOMPARE(imports.at(4).toObject().value(QStringLiteral("path")).toString(), QStringLiteral("-"));
}

void CanlogImportsTest::linkInPlaceOfTheLockIsNamed_data()
{
    QTest::addColumn<QString>("target");
    QTest::newRow("dangling") << QStringLiteral("nowhere");
    QTest::newRow("to a file") << QStringLiteral("../a.log");
}

void CanlogImportsTest::linkInPlaceOfTheLockIsNamed()
{
    QFETCH(QString, target);
    QVERIFY(QFile::link(target, path(QStringLiteral("s/.lock"))));
    const Outcome outcome = canlog(words("import --store s --again a.log"));
    QVERIFY2(outcome.err.contains(" cannot be locked for writing: its file .lock is a link or no plain file; remove "
                                  "that"),
             outcome.err.constData());
    QCOMPARE(outcome.status, 1);
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("nowhere"))));
}

void CanlogImportsTest::outputIsNoFileOfTheStore_data()
{
    QTest::addColumn<QString>("output");
    for (const char *name : {"s/chunk-00000001.qcl", "./s/../s/chunk-00000001.qcl", "s/chunk-00000009.qcl",
                             "s/imports.json", "s/.lock", "link.csv", "linked/chunk-00000001.qcl"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void CanlogImportsTest::outputIsNoFileOfTheStore()
{
    QFETCH(QString, output);
    QVERIFY(QFile::link(path(QStringLiteral("s/chunk-00000001.qcl")), path(QStringLiteral("link.csv"))));
    QVERIFY(QFile::link(path(QStringLiteral("s")), path(QStringLiteral("linked"))));
    const QByteArray before = chunk(1);
    const Outcome outcome = canlog(words("convert --store s --to csv") << output);
    QCOMPARE(outcome.err,
             QByteArray("canlog: OUT is a file of the store s, name another one; try 'canlog convert --help'\n"));
    QCOMPARE(outcome.status, 2);
    QCOMPARE(chunk(1), before);
    QVERIFY(chunk(9).isEmpty());
}

void CanlogImportsTest::damagedStoreIsConvertedWhenAsked()
{
    QFile file(path(QStringLiteral("s/chunk-00000002.qcl")));
    QVERIFY(file.open(QIODevice::ReadWrite));
    file.seek(file.size() - 10);
    QCOMPARE(file.write("damage"), 6);
    file.close();
    Outcome outcome = canlog(words("convert --store s out.log"));
    QVERIFY2(outcome.err.contains("chunk-00000002.qcl"), outcome.err.constData());
    QVERIFY2(outcome.err.endsWith("canlog: out.log: nothing is written, since the store is damaged; --skip-damaged "
                                  "writes the rest\n"),
             outcome.err.constData());
    QCOMPARE(outcome.status, 1);
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("out.log"))));

    outcome = canlog(words("convert --store s --skip-damaged out.log"));
    QVERIFY2(outcome.err.contains("chunk-00000002.qcl"), outcome.err.constData());
    QCOMPARE(outcome.err.count('\n'), 1);
    QCOMPARE(outcome.status, 1);
    QFile converted(path(QStringLiteral("out.log")));
    QVERIFY(converted.open(QIODevice::ReadOnly));
    QCOMPARE(converted.readAll(),
             QByteArray("(1000.000000) can0 123#0A\n(1000.500000) can0 123#0A\n(9000.000000) can0 456#0C\n"));
}

QTEST_GUILESS_MAIN(CanlogImportsTest)
#include "tst_canlogimports.moc"
