// SPDX-License-Identifier: Apache-2.0
#include "canlogprogram.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#ifdef Q_OS_UNIX
#include <csignal>
#include <unistd.h>
#endif

namespace
{

const QByteArray badLog("(1.5) can0 123#11\n(2.0) can0 12345#11\n(2.5) can0 124#22\n");
const QByteArray goodLog("(1.5) can0 123#11\n(2.5) can0 124#22\n");
const QByteArray droppedLog("(1.5) can0 12345#11\n(2.5) can0 12345#22\n");

} // namespace

/// What canlog says of a log that it reads only in part, and how it reads what is compressed or comes out of a pipe.
class CanlogReadingTest : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void init() { makeFolder(); }

    void strictEndsWithOneWhenALineIsFaulty_data();
    void strictEndsWithOneWhenALineIsFaulty();
    void strictHasNothingToSayOfGoodLogs_data();
    void strictHasNothingToSayOfGoodLogs();
    void strictIsForLogs();
    void logThatWasDroppedAsAWholeFails_data();
    void logThatWasDroppedAsAWholeFails();
    void conversionThatFailsLeavesTheFormerOutput_data();
    void conversionThatFailsLeavesTheFormerOutput();
    void compressedLogNeedsNoRoomOnDisk_data();
    void compressedLogNeedsNoRoomOnDisk();
    void everyFormatIsReadCompressed_data();
    void everyFormatIsReadCompressed();
    void faultBehindACompressedLogIsTold_data();
    void faultBehindACompressedLogIsTold();
    void cutOffLineIsNoFaultOfTheFormat();
    void paddingOfACompressedLogIsNone();
    void detectionReadsTheBeginningOnly();
    void compressedChunkIsRead();
    void barShowsTheCompressedBytes();
    void waitingForAPipeIsInterrupted();
    void framesOfALiveLogAreShownAsTheyCome();
    void faultOfTheColumnsIsTold();

private:
    Outcome runOn(const QString &subcommand, const QString &file, const QString &options = {});
};

/// Runs @p subcommand on @p file; convert writes out.csv.
Outcome CanlogReadingTest::runOn(const QString &subcommand, const QString &file, const QString &options)
{
    QStringList arguments{subcommand, file};
    if (subcommand == QLatin1String("convert"))
        arguments << QStringLiteral("out.csv");
    return canlog(arguments + options.split(QLatin1Char(' '), Qt::SkipEmptyParts));
}

void CanlogReadingTest::strictEndsWithOneWhenALineIsFaulty_data()
{
    QTest::addColumn<QByteArray>("out");
    QTest::newRow("show") << QByteArray("124");
    QTest::newRow("count") << QByteArray("2 bad.log\n");
    QTest::newRow("stats") << QByteArray("Frames                   2\n");
    QTest::newRow("convert") << QByteArray();
}

void CanlogReadingTest::strictEndsWithOneWhenALineIsFaulty()
{
    QFETCH(QByteArray, out);
    write(QStringLiteral("bad.log"), badLog);
    const QString subcommand = QString::fromLatin1(QTest::currentDataTag());
    const Outcome outcome = runOn(subcommand, QStringLiteral("bad.log"), QStringLiteral("--strict"));
    QCOMPARE(
        outcome.err,
        QByteArray("canlog: bad.log: 1 of 3 lines dropped or read in part, the first at line 2, "
                   "column 12 (the identifier has neither 3 nor 8 digits); 'canlog import --report' lists them\n"));
    QVERIFY2(outcome.out.contains(out), outcome.out.constData());
    QCOMPARE(outcome.out.isEmpty(), out.isEmpty());
    QCOMPARE(outcome.status, 1);
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("out.csv"))));
    // Without it, it is a warning.
    const Outcome lenient = runOn(subcommand, QStringLiteral("bad.log"));
    QVERIFY2(lenient.err.startsWith("canlog: bad.log: warning: 1 of 3 lines"), lenient.err.constData());
    QCOMPARE(lenient.status, 0);
}

void CanlogReadingTest::strictHasNothingToSayOfGoodLogs_data()
{
    QTest::addColumn<QString>("subcommand");
    for (const char *name : {"import", "show", "count", "stats", "convert"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void CanlogReadingTest::strictHasNothingToSayOfGoodLogs()
{
    QFETCH(QString, subcommand);
    write(QStringLiteral("good.log"), goodLog);
    const Outcome outcome = runOn(subcommand, QStringLiteral("good.log"), QStringLiteral("--strict"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
}

void CanlogReadingTest::strictIsForLogs()
{
    write(QStringLiteral("good.log"), goodLog);
    QCOMPARE(canlog(words("import good.log")).status, 0);
    for (const char *line : {"show --strict", "stats --strict", "convert --store canlog-store --strict out.csv"}) {
        const Outcome outcome = canlog(words(line));
        QVERIFY2(outcome.err.contains("--strict is for a "), outcome.err.constData());
        QCOMPARE(outcome.status, 2);
    }
}

void CanlogReadingTest::logThatWasDroppedAsAWholeFails_data()
{
    strictHasNothingToSayOfGoodLogs_data();
}

void CanlogReadingTest::logThatWasDroppedAsAWholeFails()
{
    QFETCH(QString, subcommand);
    write(QStringLiteral("x.log"), droppedLog);
    const Outcome outcome = runOn(subcommand, QStringLiteral("x.log"));
    QVERIFY2(outcome.err.startsWith("canlog: x.log: no message in it when read as Candump: 2 of 2 lines dropped"),
             outcome.err.constData());
    QCOMPARE(outcome.err.count('\n'), 1);
    QCOMPARE(outcome.status, 1);
}

void CanlogReadingTest::conversionThatFailsLeavesTheFormerOutput_data()
{
    QTest::addColumn<QByteArray>("log");
    QTest::addColumn<QString>("options");
    QTest::newRow("all dropped") << droppedLog << QString();
    QTest::newRow("strict") << badLog << QStringLiteral("--strict");
}

void CanlogReadingTest::conversionThatFailsLeavesTheFormerOutput()
{
    QFETCH(QByteArray, log);
    QFETCH(QString, options);
    write(QStringLiteral("x.log"), log);
    write(QStringLiteral("out.csv"), "precious");
    const Outcome outcome = runOn(QStringLiteral("convert"), QStringLiteral("x.log"), options);
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
    QFile former(path(QStringLiteral("out.csv")));
    QVERIFY(former.open(QIODevice::ReadOnly));
    QCOMPARE(former.readAll(), QByteArray("precious"));
}

void CanlogReadingTest::compressedLogNeedsNoRoomOnDisk_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("count") << QStringLiteral("\"$canlog\" count x.gz");
    QTest::newRow("count a pipe") << QStringLiteral("cat x.gz | \"$canlog\" count -");
    QTest::newRow("count an unpacked pipe") << QStringLiteral("gzip -dc x.gz | \"$canlog\" count -");
    QTest::newRow("detect") << QStringLiteral("\"$canlog\" detect x.gz");
}

void CanlogReadingTest::compressedLogNeedsNoRoomOnDisk()
{
    QFETCH(QString, command);
    write(QStringLiteral("x"), goodLog.repeated(100000));
    // No file may be written at all.
    const Outcome outcome = shell(QStringLiteral("gzip x; ulimit -f 0; TMPDIR=/nowhere; export TMPDIR; ") + command);
    QCOMPARE(outcome.err, QByteArray());
    QVERIFY2(outcome.out.startsWith("200000 ") || outcome.out.startsWith("x.gz: Candump, certain"),
             outcome.out.constData());
    QCOMPARE(outcome.status, 0);
}

void CanlogReadingTest::everyFormatIsReadCompressed_data()
{
    QTest::addColumn<QString>("file");
    const QStringList files = QDir(QStringLiteral(CANLOG_EXAMPLES)).entryList(QDir::Files);
    for (const QString &file : files) {
        // One is not known by its content, the others are no logs.
        if (file != QLatin1String("columns.txt") && file != QLatin1String("make-drive-log")
            && !file.endsWith(QLatin1String(".py")) && !file.endsWith(QLatin1String(".dbc")))
            QTest::newRow(qPrintable(file)) << QDir(QStringLiteral(CANLOG_EXAMPLES)).filePath(file);
    }
}

void CanlogReadingTest::everyFormatIsReadCompressed()
{
    QFETCH(QString, file);
    const Outcome plain = canlog({QStringLiteral("show"), file});
    QCOMPARE(plain.status, 0);
    QVERIFY(plain.out.count('\n') > 2);
    for (const char *command : {"gzip -c \"$1\" >x.gz; \"$canlog\" show x.gz", "\"$canlog\" show - <\"$1\"",
                                "cat \"$1\" | \"$canlog\" show -", "gzip -c \"$1\" | \"$canlog\" show -"}) {
        const Outcome outcome = shell(QStringLiteral("set -- '%1'; %2").arg(file, QString::fromLatin1(command)));
        QCOMPARE(outcome.out, plain.out);
        QCOMPARE(outcome.status, 0);
    }
}

void CanlogReadingTest::faultBehindACompressedLogIsTold_data()
{
    strictHasNothingToSayOfGoodLogs_data();
}

void CanlogReadingTest::faultBehindACompressedLogIsTold()
{
    QFETCH(QString, subcommand);
    write(QStringLiteral("x"), goodLog);
    QCOMPARE(shell(QStringLiteral("gzip x; echo more >>x.gz")).status, 0);
    const Outcome outcome = runOn(subcommand, QStringLiteral("x.gz"));
    QVERIFY2(outcome.err.startsWith("canlog: x.gz: cannot be read any further: behind the compressed data stands "
                                    "something else; try 'gzip --test' on it"),
             outcome.err.constData());
    QCOMPARE(outcome.err.count('\n'), 1);
    QCOMPARE(outcome.status, 1);
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("out.csv"))));
    if (subcommand == QLatin1String("show"))
        QCOMPARE(outcome.out.count('\n'), 3); // what could be read
}

void CanlogReadingTest::cutOffLineIsNoFaultOfTheFormat()
{
    // A trace breaks at a line that is not whole.
    const QByteArray trace = ";$FILEVERSION=1.1\n" + QByteArray("1) 1.0 Rx 0300 1 AA\n").repeated(1000);
    write(QStringLiteral("x.trc"), trace + "1) 2.0");
    const Outcome plain = canlog(words("count --type trc11 x.trc"));
    QVERIFY2(plain.err.contains("Import error occured at line 1002"), plain.err.constData());
    QCOMPARE(shell(QStringLiteral("gzip x.trc; head -c -8 x.trc.gz >cut.gz")).status, 0);
    for (const char *line : {"count --type trc11 cut.gz", "stats --type trc11 cut.gz", "import --type trc11 cut.gz"}) {
        const Outcome outcome = canlog(words(line));
        QVERIFY2(outcome.err.contains("the compressed data are cut off; try 'gzip --test' on it"),
                 outcome.err.constData());
        QCOMPARE(outcome.err.count('\n'), 1);
        QCOMPARE(outcome.status, 1);
    }
}

void CanlogReadingTest::paddingOfACompressedLogIsNone()
{
    write(QStringLiteral("x"), goodLog);
    const Outcome outcome = shell(QStringLiteral("gzip x; head -c 10000 /dev/zero >>x.gz; \"$canlog\" count x.gz"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, QByteArray("2 x.gz\n"));
    QCOMPARE(outcome.status, 0);
}

void CanlogReadingTest::detectionReadsTheBeginningOnly()
{
    // Neither source ever ends.
    for (const char *command : {"yes '(1.5) can0 123#11' | gzip -c | \"$canlog\" detect -",
                                "yes '(1.5) can0 123#11' | \"$canlog\" detect -"}) {
        const Outcome outcome = shell(QString::fromLatin1(command));
        QCOMPARE(outcome.out, QByteArray("-: Candump, certain: frames as in a log file (32 lines from line 1)\n"));
        QCOMPARE(outcome.status, 0);
    }
}

void CanlogReadingTest::compressedChunkIsRead()
{
    write(QStringLiteral("good.log"), goodLog);
    QCOMPARE(canlog(words("import good.log")).status, 0);
    const Outcome outcome =
        shell(QStringLiteral("gzip -c canlog-store/chunk-00000001.qcl >c.gz; \"$canlog\" count c.gz; "
                             "\"$canlog\" count - <canlog-store/chunk-00000001.qcl"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, QByteArray("2 c.gz\n2 -\n"));
    QCOMPARE(outcome.status, 0);
}

void CanlogReadingTest::barShowsTheCompressedBytes()
{
    if (run(QStringLiteral("script"), {QStringLiteral("-qec"), QStringLiteral("true"), QStringLiteral("/dev/null")})
            .status
        != 0)
        QSKIP("needs pseudo terminals");
    // Hardly smaller when compressed by the least, so that there is a bar from the first block on.
    QByteArray content;
    for (int i = 0; i < 300000; ++i)
        content += "(1.5) can0 123#" + QByteArray::number(quint64(i) * 0x9E3779B97F4A7C15 | (1ULL << 63), 16) + '\n';
    write(QStringLiteral("x"), content);
    const Outcome outcome = shell(QStringLiteral("gzip -1 x && script -qec '\"$canlog\" count x.gz' /dev/null"));
    const QString megabytes = QString::number(double(QFileInfo(path(QStringLiteral("x.gz"))).size()) / 1e6, 'f', 1);
    QVERIFY2(outcome.out.contains(" % of " + megabytes.toLatin1() + " MB"), outcome.out.left(2000).constData());
    const QRegularExpression underway(QStringLiteral("\rx.gz: \\[#*\\.+\\] \\d+ % of"));
    QVERIFY2(underway.match(QString::fromUtf8(outcome.out)).hasMatch(), outcome.out.left(2000).constData());
    QCOMPARE(outcome.status, 0);
}

void CanlogReadingTest::framesOfALiveLogAreShownAsTheyCome()
{
    // Each line is written only when the one before was shown: what waits for more than that waits for ever.
    QProcess process;
    process.setWorkingDirectory(folder->path());
    process.start(QStringLiteral(CANLOG_PROGRAM), {QStringLiteral("show"), QStringLiteral("-")});
    QVERIFY(process.waitForStarted());
    for (const char *id : {"101", "102", "103"}) {
        process.write(QByteArray("(1.0) can0 ") + id + "#11\n");
        QByteArray shown;
        while (!shown.contains(id)) {
            QVERIFY2(process.waitForReadyRead(30000), id);
            shown += process.readAllStandardOutput();
        }
    }
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished(30000));
    QCOMPARE(process.exitCode(), 0);
}

void CanlogReadingTest::waitingForAPipeIsInterrupted()
{
#ifdef Q_OS_UNIX
    for (const char *line : {"count - --type SocketCanDump", "import - --type SocketCanDump"}) {
        QProcess process;
        process.setWorkingDirectory(folder->path());
        process.start(QStringLiteral(CANLOG_PROGRAM), words(line));
        QVERIFY(process.waitForStarted());
        process.write(goodLog);
        process.waitForBytesWritten();
        QTest::qWait(1000); // until it waits for more
        QCOMPARE(::kill(pid_t(process.processId()), SIGINT), 0);
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 130);
        QCOMPARE(process.readAllStandardError().count("interrupted"), 1);
    }
#else
    QSKIP("needs signals");
#endif
}

void CanlogReadingTest::faultOfTheColumnsIsTold()
{
    // The name of a pipe in an error text is the one that was given.
    const Outcome outcome =
        shell(QStringLiteral("printf '1) 1.0 Rx 0300 1 AA\\nx\\n' | \"$canlog\" import - --type trc11"));
    QVERIFY2(outcome.err.contains("Import error occured at line 2 of file -."), outcome.err.constData());
    QCOMPARE(outcome.status, 1);
}

QTEST_GUILESS_MAIN(CanlogReadingTest)
#include "tst_canlogreading.moc"
