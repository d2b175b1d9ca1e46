// SPDX-License-Identifier: Apache-2.0
#include "canlogprogram.h"
#include "frames.h"
#include "host/store/chunkstore.h"

#include <QDir>
#include <QFileInfo>

#include <csignal>

/// Runs `canlog count` and looks at nothing but what a shell sees.
class CanlogCountTest : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void help();
    void oneFile_data();
    void oneFile();
    void moreThanABatch();
    void dataChunk();
    void severalFilesHaveATotal();
    void compressedAndStandardInput();
    void nothingToCount_data();
    void nothingToCount();
    void linesThatAreNoFrames();
    void unreadableFilesAreLeftOut_data();
    void unreadableFilesAreLeftOut();
    void fileThatCannotBeReadAnyFurther();
    void interruptionLeavesOutTheFileAtHand();
    void nothingIsReadForAnOutputThatFailed();
    void wrongUsage_data();
    void wrongUsage();
};

void CanlogCountTest::init()
{
    makeFolder();
    write(QStringLiteral("three.log"), "(1.0) can0 123#11\n(2.0) can0 123#\n(3.0) can0 18FEF100#1122\n");
    write(QStringLiteral("two.log"), "(1.0) can0 123#11\n(2.0) can0 123#\n");
}

void CanlogCountTest::help()
{
    const Outcome outcome = canlog(words("count --help"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
    QCOMPARE(usageLine(outcome.out),
             QByteArray("Usage: canlog count [--type NAME|NUMBER] [--columns CODES] [--strict] [--quiet] FILE...\n"));
    for (const char *mention : {"--type <NAME|NUMBER>", "--columns <CODES>", "--quiet", "\"total\"", "exit status",
                                "\nExample:\n  canlog count "})
        QVERIFY2(outcome.out.contains(mention), mention);
    QVERIFY(canlog(words("--help")).out.contains("\n  count "));
}

void CanlogCountTest::oneFile_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("expected");
    const QString examples = QStringLiteral(CANLOG_EXAMPLES "/");
    const auto row = [](const char *name, const QStringList &arguments, const char *count) {
        QTest::newRow(name) << arguments << count + (' ' + arguments.constLast().toUtf8()) + '\n';
    };
    row("as given", words("./three.log"), "3");
    row("type", words("--type SocketCanDump two.log"), "2");
    row("each line a frame", {examples + QStringLiteral("drive.log")}, "4059");
    // 31 lines without 4 of the header, a statistic and the end.
    row("lines of other kinds", {examples + QStringLiteral("drive.asc")}, "25");
    // 8 lines without the heading.
    row("delivered in one piece", {examples + QStringLiteral("ixxat.csv")}, "7");
    row("columns", {QStringLiteral("--columns"), QStringLiteral("t i ? l d"), QStringLiteral("columns.txt")}, "2");
}

void CanlogCountTest::oneFile()
{
    QFETCH(QStringList, arguments);
    write(QStringLiteral("columns.txt"), "1.5 123 Rx 1 11\n1.75 123 Rx 2 12 13\n");
    const Outcome outcome = canlog(words("count") + arguments);
    QCOMPARE(outcome.err, QByteArray());
    QTEST(outcome.out, "expected");
    QCOMPARE(outcome.status, 0);
}

void CanlogCountTest::moreThanABatch()
{
    write(QStringLiteral("x.log"), QByteArray("(1.5) can0 123#11\n").repeated(200001));
    QCOMPARE(canlog(words("count x.log")).out, QByteArray("200001 x.log\n"));
}

void CanlogCountTest::dataChunk()
{
    ChunkStore store;
    QVERIFY2(store.open(path(QStringLiteral("s")), ChunkStore::Mode::ReadWrite), qPrintable(store.errorString()));
    store.setImportStarted();
    store.addImportedMessages(frames({Frame(0x123), Frame(0x124), Frame(0x125)}), {});
    store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("made up"), true);
    const Outcome outcome = canlog(words("count s/chunk-00000001.qcl"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, QByteArray("3 s/chunk-00000001.qcl\n"));
    QCOMPARE(outcome.status, 0);
}

void CanlogCountTest::severalFilesHaveATotal()
{
    const QString odd = write(QStringLiteral("a %1 %2.log"), "(1.0) can0 123#11\n");
    const Outcome outcome = canlog(words("count three.log two.log two.log") << odd);
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, QByteArray("3 three.log\n2 two.log\n2 two.log\n1 a %1 %2.log\n8 total\n"));
    QCOMPARE(outcome.status, 0);
}

void CanlogCountTest::compressedAndStandardInput()
{
    const Outcome outcome = shell(
        QStringLiteral("gzip three.log && \"$canlog\" count three.log.gz two.log - <three.log.gz && \"$canlog\" count "
                       "- <two.log"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, QByteArray("3 three.log.gz\n2 two.log\n3 -\n8 total\n2 -\n"));
    QCOMPARE(outcome.status, 0);
}

void CanlogCountTest::nothingToCount_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("why");
    QTest::addColumn<int>("status");
    QTest::newRow("empty") << QByteArray() << QByteArray() << 0;
    QTest::newRow("no frames") << QByteArray("nothing of the kind\n")
                               << QByteArray(": 1 of 1 line dropped or read in part, the first at line 1, column 20 "
                                             "(too few columns for a frame)")
                               << 1; // all there is was dropped
}

void CanlogCountTest::nothingToCount()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, why);
    QFETCH(int, status);
    write(QStringLiteral("x.log"), content);
    const Outcome outcome = canlog(words("count --type SocketCanDump x.log two.log"));
    QCOMPARE(outcome.err, "canlog: x.log: no message in it when read as SocketCanDump" + why
                              + "; try another --type ('canlog formats' lists them)\n");
    QCOMPARE(outcome.out, QByteArray("0 x.log\n2 two.log\n2 total\n"));
    QCOMPARE(outcome.status, status);
}

void CanlogCountTest::linesThatAreNoFrames()
{
    write(QStringLiteral("x.log"), "(1.0) can0 123#11\n(1.5) can0 123#1\n(2.0) can0 123#22\n");
    const Outcome outcome = canlog(words("count x.log two.log"));
    QVERIFY2(
        outcome.err.startsWith("canlog: x.log: warning: 1 of 3 lines dropped or read in part, the first at line 2"),
        outcome.err.constData());
    QCOMPARE(outcome.err.count('\n'), 1);
    QCOMPARE(outcome.out, QByteArray("2 x.log\n2 two.log\n4 total\n"));
    QCOMPARE(outcome.status, 0);
}

void CanlogCountTest::unreadableFilesAreLeftOut_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("said");
    QTest::addColumn<QByteArray>("expected");
    const QByteArray others = "3 three.log\n2 two.log\n5 total\n";
    QTest::newRow("missing") << words("three.log none.log two.log")
                             << QByteArray("none.log: no such file; check its name and the folder\n") << others;
    QTest::newRow("folder") << words("logs three.log two.log")
                            << QByteArray("logs: is a folder; name the files in it\n") << others;
    QTest::newRow("unknown format") << words("three.log two.log letter.txt") << QByteArray("letter.txt: ") << others;
    QTest::newRow("cut off") << words("--type trc11 cut.trc") << QByteArray("cut.trc: cannot be read as PeakTraceV11 (")
                             << QByteArray();
    QTest::newRow("damaged chunk") << words("--type qcl bad.qcl") << QByteArray("bad.qcl: cannot be read as QclFile (")
                                   << QByteArray();
    QTest::newRow("alone") << words("none.log") << QByteArray("none.log: no such file; check its name and the folder\n")
                           << QByteArray();
}

void CanlogCountTest::unreadableFilesAreLeftOut()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, said);
    write(QStringLiteral("bad.qcl"), "no chunk at all");
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("logs")));
    write(QStringLiteral("letter.txt"), "Dear reader,\nthis is no log.\n");
    write(QStringLiteral("cut.trc"), ";$FILEVERSION=1.1\n;\n"
                                     "     1)      1059.9  Rx         0300  7  00 00 00 00 04 00 00\n"
                                     "     2)\n");
    const Outcome outcome = canlog(words("count") + arguments);
    QVERIFY2(outcome.err.startsWith("canlog: " + said), outcome.err.constData());
    QCOMPARE(outcome.err.count('\n'), 1);
    QTEST(outcome.out, "expected");
    QCOMPARE(outcome.status, 1);
}

void CanlogCountTest::fileThatCannotBeReadAnyFurther()
{
    const QString unreadable = QStringLiteral("/sys/class/net/lo/speed"); // opens, but the loopback device has none
    if (!QFileInfo(unreadable).isReadable())
        QSKIP("needs a file that opens and cannot be read");
    const Outcome outcome = canlog(words("count --type SocketCanDump two.log") << unreadable);
    QCOMPARE(outcome.err,
             QByteArray("canlog: /sys/class/net/lo/speed: cannot be read any further: Invalid argument\n"));
    QCOMPARE(outcome.out, QByteArray("2 two.log\n2 total\n"));
    QCOMPARE(outcome.status, 1);
}

void CanlogCountTest::interruptionLeavesOutTheFileAtHand()
{
    write(QStringLiteral("big.log"), QByteArray("(1.5) can0 123#1122334455667788\n").repeated(3000000));
    QProcess process;
    process.setWorkingDirectory(folder->path());
    process.start(QStringLiteral(CANLOG_PROGRAM), words("count two.log big.log three.log"));
    QVERIFY(process.waitForReadyRead(60000)); // the line of two.log
    QCOMPARE(::kill(pid_t(process.processId()), SIGINT), 0);
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 130);
    QCOMPARE(process.readAllStandardError(), QByteArray("canlog: big.log: interrupted\n"));
    QCOMPARE(process.readAllStandardOutput(), QByteArray("2 two.log\n"));
}

void CanlogCountTest::nothingIsReadForAnOutputThatFailed()
{
    if (!QFileInfo::exists(QStringLiteral("/dev/full")))
        QSKIP("needs /dev/full");
    const Outcome outcome = shell(QStringLiteral("LC_ALL=C \"$canlog\" count two.log none.log >/dev/full"));
    QCOMPARE(outcome.err, QByteArray("canlog: standard output: cannot be written: no space left on the disk\n"));
    QCOMPARE(outcome.status, 1);
}

void CanlogCountTest::wrongUsage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("said");
    const auto row = [](const char *arguments, const char *said) {
        QTest::newRow(arguments) << words(arguments) << QByteArray(said);
    };
    row("", "count needs at least one FILE");
    row("--quiet", "count needs at least one FILE");
    row("--type nonsense two.log", "unknown type 'nonsense', 'canlog formats' lists the types");
    row("--type SocketCanDump --columns t two.log", "--columns is for --type GenericFile");
    row("--store s", "unknown option 'store'");
    row("two.log --type", "missing value after '--type'");
}

void CanlogCountTest::wrongUsage()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, said);
    const Outcome outcome = canlog(words("count") + arguments);
    QCOMPARE(outcome.err, "canlog: " + said + "; try 'canlog count --help'\n");
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 2);
}

QTEST_GUILESS_MAIN(CanlogCountTest)
#include "tst_canlogcount.moc"
