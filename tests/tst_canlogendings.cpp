// SPDX-License-Identifier: Apache-2.0
#include "canlogprogram.h"

#include <QDir>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QScopeGuard>

#include <csignal>
#include <random>

#ifdef Q_OS_UNIX
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace
{

constexpr int patience = 60000;

QByteArray noise(int size)
{
    std::minstd_rand random;
    QByteArray bytes(size, '\0');
    for (char &byte : bytes)
        byte = char(random() >> 8);
    return bytes;
}

/// Lines of a candump log.
QByteArray candumpLog(int count)
{
    QByteArray log;
    for (int i = 0; i < count; ++i)
        log += '(' + QByteArray::number(i / 1000) + '.' + QByteArray::number(i % 1000).rightJustified(3, '0')
               + ") can0 123#1122334455667788\n";
    return log;
}

} // namespace

/// How the program ends when something comes in between: a signal, the end of the memory, a power loss.
class CanlogEndingsTest : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void init() { makeFolder(); }

    void signalLeavesNoTemporaryFile_data();
    void signalLeavesNoTemporaryFile();
    void signalEndsTheWaitForInput_data();
    void signalEndsTheWaitForInput();
    void signalThatIsIgnoredStaysIgnored();
    void formerArchiveSurvivesASignal_data();
    void formerArchiveSurvivesASignal();
    void memoryThatRunsOutIsTold_data();
    void memoryThatRunsOutIsTold();
    void fullDiskIsTold_data();
    void fullDiskIsTold();
    void outputIsOnTheDiskBeforeItHasItsName_data();
    void outputIsOnTheDiskBeforeItHasItsName();
    void longWorkShowsItsProgress_data();
    void longWorkShowsItsProgress();

private:
    /// All names in the folder that begin so, hidden ones included.
    QStringList names(const QString &beginning) const
    {
        return QDir(folder->path()).entryList({beginning + QLatin1Char('*')}, QDir::Files | QDir::Hidden);
    }
    QByteArray content(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// Starts the program and sends it @p number as soon as a file whose name begins with @p temporary is there; empty:
    /// after a second. Its status is 128 + @p number also where the signal itself ended it, as shells have it.
    Outcome signalled(const QStringList &arguments, const QString &temporary, int number);
    /// Makes the store "store", which takes a while to be packed.
    void makeStore();
};

Outcome CanlogEndingsTest::signalled(const QStringList &arguments, const QString &temporary, int number)
{
    QProcess process;
    process.setWorkingDirectory(folder->path());
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TMPDIR"), folder->path());
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(CANLOG_PROGRAM), arguments);
    if (!process.waitForStarted(patience))
        return {};
    QElapsedTimer time;
    time.start();
    if (temporary.isEmpty())
        QThread::msleep(1000); // nothing tells that a program waits
    while (!temporary.isEmpty() && names(temporary).isEmpty() && time.elapsed() < patience)
        QThread::usleep(200);
    ::kill(pid_t(process.processId()), number);
    if (!process.waitForFinished(patience)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    const bool isKilled = process.exitStatus() != QProcess::NormalExit;
    return {isKilled ? 128 + process.exitCode() : process.exitCode(), process.readAllStandardOutput(),
            process.readAllStandardError()};
}

void CanlogEndingsTest::makeStore()
{
    write(QStringLiteral("a.log"), candumpLog(1000));
    QCOMPARE(canlog(words("import --store store a.log")).status, 0);
    const QByteArray much = noise(4 * 1024 * 1024);
    for (int i = 0; i < 8; ++i)
        write(QStringLiteral("store/noise-%1").arg(i), much);
}

void CanlogEndingsTest::signalLeavesNoTemporaryFile_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("status");
    QTest::newRow("Ctrl-C") << SIGINT << 130;
    QTest::newRow("SIGTERM") << SIGTERM << 143;
    QTest::newRow("SIGHUP") << SIGHUP << 129;
}

void CanlogEndingsTest::signalLeavesNoTemporaryFile()
{
    QFETCH(int, number);
    QFETCH(int, status);
    write(QStringLiteral("long.log"), candumpLog(300000));
    write(QStringLiteral("out.csv"), "former");
    const Outcome outcome = signalled(words("convert long.log out.csv"), QStringLiteral(".canlog-"), number);
    QCOMPARE(outcome.status, status);
    QCOMPARE(outcome.err, QByteArray("canlog: long.log: interrupted\n"));
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(names(QStringLiteral(".canlog-")), QStringList());
    QCOMPARE(content(QStringLiteral("out.csv")), QByteArray("former"));
}

void CanlogEndingsTest::signalEndsTheWaitForInput_data()
{
    signalLeavesNoTemporaryFile_data();
}

void CanlogEndingsTest::signalEndsTheWaitForInput()
{
    QFETCH(int, number);
    QFETCH(int, status);
    // Nothing is written to its standard input, which stays open.
    const Outcome outcome = signalled(words("count -"), QString(), number);
    QCOMPARE(outcome.status, status);
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.err, QByteArray("canlog: -: interrupted\n"));
    QCOMPARE(names(QString()), QStringList());
}

void CanlogEndingsTest::signalThatIsIgnoredStaysIgnored()
{
    write(QStringLiteral("a.log"), candumpLog(1000));
    const Outcome outcome =
        shell(QStringLiteral("trap '' HUP TERM; (cat a.log; sleep 1; cat a.log) | \"$canlog\" count - & "
                             "sleep 0.3; kill -HUP $!; kill -TERM $!; wait $!"));
    QCOMPARE(outcome.out, QByteArray("2000 -\n"));
    QCOMPARE(outcome.status, 0);
}

void CanlogEndingsTest::formerArchiveSurvivesASignal_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("hasFormer");
    for (const bool hasFormer : {true, false}) {
        const char *const place = hasFormer ? "over a former one" : "new";
        QTest::addRow("Ctrl-C, %s", place) << SIGINT << 130 << hasFormer;
        QTest::addRow("SIGTERM, %s", place) << SIGTERM << 143 << hasFormer;
        QTest::addRow("SIGKILL, %s", place) << SIGKILL << 137 << hasFormer;
    }
}

void CanlogEndingsTest::formerArchiveSurvivesASignal()
{
    QFETCH(int, number);
    QFETCH(int, status);
    QFETCH(bool, hasFormer);
    write(QStringLiteral("b.log"), candumpLog(10));
    QCOMPARE(canlog(words("import --store other b.log")).status, 0);
    if (hasFormer)
        QCOMPARE(canlog(words("zip --store other a.zip")).status, 0);
    const QByteArray former = content(QStringLiteral("a.zip"));
    makeStore();

    const Outcome outcome = signalled(words("zip --store store a.zip"), QStringLiteral(".canlog-zip-"), number);
    QCOMPARE(outcome.status, status);
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.err, number == SIGKILL ? QByteArray() : QByteArray("canlog: a.zip: interrupted\n"));
    QCOMPARE(QFile::exists(path(QStringLiteral("a.zip"))), hasFormer);
    QCOMPARE(content(QStringLiteral("a.zip")), former);
    QCOMPARE(names(QStringLiteral(".canlog-zip-")).size(), number == SIGKILL ? 1 : 0);

    // What was left is known for what it is, and the next one clears it away.
    QCOMPARE(canlog(words("zip --store store a.zip")).status, 0);
    QCOMPARE(names(QStringLiteral(".canlog-zip-")), QStringList());
    QCOMPARE(canlog(words("check a.zip")).out, QByteArray("a.zip: 1 chunk, 1000 messages\n"));
}

void CanlogEndingsTest::memoryThatRunsOutIsTold_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::newRow("in the program's thread") << QStringLiteral("zip --store store a.zip");
    QTest::newRow("in a thread of its own") << QStringLiteral("import --again --type 5 a.trc");
}

void CanlogEndingsTest::memoryThatRunsOutIsTold()
{
#if defined(Q_OS_LINUX) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    QFETCH(QString, arguments);
    write(QStringLiteral("a.log"), candumpLog(10));
    QCOMPARE(canlog(words("import --store store a.log")).status, 0);
    write(QStringLiteral("store/large"), {});
    QVERIFY(QFile::resize(path(QStringLiteral("store/large")), 1000 * 1000 * 1000)); // takes no room on the disk
    QByteArray trace(";$FILEVERSION=1.1\n;   Message Number\n");
    for (int i = 1; i <= 300000; ++i)
        trace += QByteArray::number(i).rightJustified(6) + ")  1.0  Rx  0123  8  01 02 03 04 05 06 07 08\n";
    write(QStringLiteral("a.trc"), trace);

    // How much the program needs for itself nobody knows, so it gets less and less.
    int told = 0;
    for (int megabytes = 480; megabytes >= 40; megabytes -= 40) {
        const Outcome outcome = shell(
            QStringLiteral("ulimit -v %1; exec \"$canlog\" %2").arg(QString::number(megabytes * 1024), arguments));
        if (outcome.status == 127) // its libraries do not fit
            break;
        const bool isTold = outcome.err
                            == "canlog: not enough memory; close other programs, or raise the limit that 'ulimit -v' "
                               "shows\n";
        QVERIFY2(isTold ? outcome.status == 1 : outcome.status == 0 && outcome.err.isEmpty(),
                 qPrintable(QStringLiteral("%1 MB: %2 %3")
                                .arg(megabytes)
                                .arg(outcome.status)
                                .arg(QString::fromLocal8Bit(outcome.err))));
        told += isTold ? 1 : 0;
        QVERIFY(names(QStringLiteral(".canlog-")).isEmpty());
    }
    QVERIFY(told > 0);
#else
    QSKIP("needs a limit of the memory, which sanitizers go beyond");
#endif
}

void CanlogEndingsTest::fullDiskIsTold_data()
{
    outputIsOnTheDiskBeforeItHasItsName_data();
}

void CanlogEndingsTest::fullDiskIsTold()
{
#ifdef CANLOG_DISK_DOUBLE
    QFETCH(QString, arguments);
    QFETCH(QString, output);
    write(QStringLiteral("a.log"), candumpLog(10));
    QCOMPARE(canlog(words("import --store store a.log")).status, 0);
    QCOMPARE(canlog(arguments.split(QLatin1Char(' '))).status, 0);
    const QByteArray former = content(output);
    QVERIFY(!former.isEmpty());

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_PRELOAD"), QStringLiteral(CANLOG_DISK_DOUBLE));
    environment.insert(QStringLiteral("CANLOG_FULL_DISK"), QStringLiteral("yes"));
    const Outcome outcome = run(QStringLiteral(CANLOG_PROGRAM), arguments.split(QLatin1Char(' ')), environment);
    const QByteArray told =
        "canlog: " + output.toLatin1() + ": cannot be written: no space left on the disk; check the ";
    QVERIFY2(outcome.err.startsWith(told), outcome.err.constData());
    QCOMPARE(outcome.err.count('\n'), 1);
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
    QCOMPARE(content(output), former);
    QCOMPARE(names(QStringLiteral(".canlog-")), QStringList());
#else
    QSKIP("needs a library that stands before the C library");
#endif
}

void CanlogEndingsTest::outputIsOnTheDiskBeforeItHasItsName_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("output");
    QTest::newRow("convert to text") << QStringLiteral("convert a.log out.asc") << QStringLiteral("out.asc");
    QTest::newRow("convert to a database") << QStringLiteral("convert a.log out.db") << QStringLiteral("out.db");
    QTest::newRow("zip") << QStringLiteral("zip --store store out.zip") << QStringLiteral("out.zip");
}

void CanlogEndingsTest::outputIsOnTheDiskBeforeItHasItsName()
{
#ifdef CANLOG_DISK_DOUBLE
    QFETCH(QString, arguments);
    QFETCH(QString, output);
    write(QStringLiteral("a.log"), candumpLog(10));
    QCOMPARE(canlog(words("import --store store a.log")).status, 0);

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_PRELOAD"), QStringLiteral(CANLOG_DISK_DOUBLE));
    environment.insert(QStringLiteral("CANLOG_SYNC_LOG"), path(QStringLiteral("syncs")));
    const Outcome outcome = run(QStringLiteral(CANLOG_PROGRAM), arguments.split(QLatin1Char(' ')), environment);
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);

    const QString top = QDir(folder->path()).canonicalPath();
    QStringList lines = QString::fromLocal8Bit(content(QStringLiteral("syncs"))).split(QLatin1Char('\n'));
    QCOMPARE(lines.takeLast(), QString());
    QVERIFY2(lines.size() >= 3, qPrintable(lines.join(QLatin1Char('|'))));
    lines = lines.mid(lines.size() - 3);
    const QString temporary = lines.at(0).mid(int(qstrlen("sync ")));
    QVERIFY2(temporary.startsWith(top + QStringLiteral("/.canlog-")), qPrintable(lines.at(0)));
    QCOMPARE(lines, QStringList({QStringLiteral("sync %1").arg(temporary),
                                 QStringLiteral("rename %1 %2/%3").arg(temporary, top, output),
                                 QStringLiteral("sync %1").arg(top)}));
#else
    QSKIP("needs a library that stands before the C library");
#endif
}

void CanlogEndingsTest::longWorkShowsItsProgress_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("total");
    QTest::newRow("zip, looking for damage") << QStringLiteral("zip --store store out.zip")
                                             << QStringLiteral("out.zip: \\[[#.]+\\] [0-9]+ % of 300000 messages");
    QTest::newRow("zip, packing") << QStringLiteral("zip --store store out.zip")
                                  << QStringLiteral("out.zip: \\[[#.]+\\] [0-9]+ % of [0-9.]+ MB");
    QTest::newRow("convert") << QStringLiteral("convert --store store out.csv")
                             << QStringLiteral("store: \\[[#.]+\\] [0-9]+ % of 300000 messages");
    QTest::newRow("stats") << QStringLiteral("stats --store store")
                           << QStringLiteral("store: \\[[#.]+\\] [0-9]+ % of 300000 messages");
}

void CanlogEndingsTest::longWorkShowsItsProgress()
{
    QFETCH(QString, arguments);
    QFETCH(QString, total);
    if (shell(QStringLiteral("script -qec true /dev/null")).status != 0)
        QSKIP("needs the program script, which gives it a terminal");
    write(QStringLiteral("a.log"), candumpLog(300000));
    QCOMPARE(canlog(words("import --store store a.log")).status, 0);
    const QByteArray much = noise(4 * 1024 * 1024);
    for (int i = 0; i < 8; ++i)
        write(QStringLiteral("store/noise-%1").arg(i), much);
    const QRegularExpression bar(total);
    const Outcome outcome = shell(QStringLiteral("script -qec '\"$canlog\" %1' /dev/null").arg(arguments));
    QCOMPARE(outcome.status, 0);
    QVERIFY2(bar.match(QString::fromUtf8(outcome.out)).hasMatch(), outcome.out.right(500).constData());
    const Outcome quiet = shell(QStringLiteral("script -qec '\"$canlog\" %1 --quiet' /dev/null").arg(arguments));
    QCOMPARE(quiet.status, 0);
    QVERIFY(!quiet.out.contains(" % of "));
}

QTEST_GUILESS_MAIN(CanlogEndingsTest)
#include "tst_canlogendings.moc"
