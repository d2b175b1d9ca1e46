// SPDX-License-Identifier: Apache-2.0
#include "canlogprogram.h"
#include "frames.h"
#include "host/store/chunkstore.h"

#include <QDir>
#include <QRegularExpression>
#include <QStandardPaths>

#include <csignal>

namespace
{

const QByteArray smallLog = "(1345212884.318850) can0 123#11223344\n"
                            "(1345212884.400000) can1 18FEF100#FF00AB\n"
                            "(1345212885.568850) can0 7FF#\n";
const QByteArray smallCsv = "time,channel,direction,id,extended,remote,fd,brs,esi,error,dlc,data,note\n"
                            "1345212884.318850,1,Rx,0x123,0,0,0,0,0,0,4,11 22 33 44,\n"
                            "1345212884.400000,2,Rx,0x18FEF100,1,0,0,0,0,0,3,FF 00 AB,\n"
                            "1345212885.568850,1,Rx,0x7FF,0,0,0,0,0,0,0,,\n";

/// One frame of every kind, on the channels 1 and 2.
Frames everyKind()
{
    return frames({
        Frame(0x123, "11 22 33").at(1716284412, 84712).channel(1),
        Frame(0x18FEF100, "FF").extended().at(1716284412, 85812).channel(2).tx(),
        Frame(0x7E8).remote().dlc(8).at(1716284412, 900000).channel(1),
        Frame(0x1A0, "0102030405060708090A0B0C").fd().brs().at(1716284413, 5).channel(1),
        Frame(0x18DA10F1).bytes(QByteArray(64, 'Z')).extended().fd().brs().esi().at(1716284414, 0).channel(2),
        Frame(CAN::errorFrameId).at(1716284415, 0).channel(1),
        Frame(0x7FF).at(1716284416, 999999).channel(1),
    });
}

/// Ends the test when something is missing that its verdict needs. Where everything has been installed, that is a
/// failure: a test that nobody runs proves nothing.
void missing(const char *package)
{
    const QByteArray text = QByteArray("needs ") + package;
    if (qgetenv("CI") == "true")
        QFAIL(text.constData());
    QSKIP(text.constData());
}

bool hasProgram(const char *name)
{
    return !QStandardPaths::findExecutable(QString::fromLatin1(name)).isEmpty();
}

} // namespace

/// Runs the real program.
class CanlogConvertTest : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void init() { makeFolder(); }

    void help();
    void noClobberKeepsWhatIsThere();
    void wrongUsage_data();
    void wrongUsage();

    void suffixChoosesTheFormat_data();
    void suffixChoosesTheFormat();
    void optionGoesBeforeTheSuffix();
    void standardOutput_data();
    void standardOutput();
    void everyExampleKeepsItsMessages_data();
    void everyExampleKeepsItsMessages();
    void columns();
    void filters_data();
    void filters();
    void compressedAndStandardInput();
    void interruptionLeavesNoFile_data();
    void interruptionLeavesNoFile();
    void whatIsLeftOutIsTold();
    void everythingIsCarried_data();
    void everythingIsCarried();
    void storeWithoutMessages();
    void logWithoutMessages_data();
    void logWithoutMessages();
    void linkToAFileThatIsNotThereYet();
    void damagedStore();

    void mistakesKeepWhatIsThere_data();
    void mistakesKeepWhatIsThere();
    void sameFileUnderAnotherName();
    void fullDisk_data();
    void fullDisk();
    void fullOutput();
    void readerGoesAway_data();
    void readerGoesAway();
    void memoryDoesNotGrow();

    void pythonCanReads_data();
    void pythonCanReads();
    void log2ascReadsCandump();
    void asc2logReadsAsc();
    void sqlite3ReadsTheDatabase();
    void pythonReadsCsvAndJson();

private:
    QByteArray content(const QString &name) const;
    QStringList names() const
    {
        return QDir(folder->path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    }
    /// Makes the store "s".
    void makeStore(const QList<CAN::CanRxMessage> &messages, const QMap<unsigned int, QString> &notes = {}) const;
    QString writeLargeLog(int count) const;
    Outcome python(const QString &script, const QStringList &arguments);
    bool hasPythonCan();
};

QByteArray CanlogConvertTest::content(const QString &name) const
{
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

void CanlogConvertTest::makeStore(const QList<CAN::CanRxMessage> &messages,
                                  const QMap<unsigned int, QString> &notes) const
{
    ChunkStore store;
    QVERIFY(store.open(path(QStringLiteral("s")), ChunkStore::Mode::ReadWrite));
    store.setImportStarted();
    store.addImportedMessages(messages, notes);
    store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("a.log"), true);
}

QString CanlogConvertTest::writeLargeLog(int count) const
{
    QByteArray log;
    for (int i = 0; i < count; ++i)
        log += '(' + QByteArray::number(i) + ".5) can0 123#" + QByteArray::number(i).rightJustified(16, '0') + '\n';
    return write(QStringLiteral("large.log"), log);
}

Outcome CanlogConvertTest::python(const QString &script, const QStringList &arguments)
{
    // That of the environment that scripts/venv makes beside the build, since the system's has no python-can.
    const QString environment = QStringLiteral(CANLOG_PYTHON_ENVIRONMENT "/bin/python");
    const QString python = QFileInfo::exists(environment) ? environment : QStringLiteral("/usr/bin/python3");
    return run(python, QStringList{QStringLiteral("-c"), script} + arguments);
}

bool CanlogConvertTest::hasPythonCan()
{
    return python(QStringLiteral("import can"), {}).status == 0;
}

// ---- the command line

void CanlogConvertTest::help()
{
    const Outcome outcome = canlog(words("convert --help"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
    QCOMPARE(
        usageLine(outcome.out),
        QByteArray("Usage: canlog convert [--type NAME|NUMBER] [--columns CODES] [--strict] IN [OUT] [--to FORMAT] "
                   "[--no-clobber] [filters] [--quiet]\n"));
    for (const char *mention :
         {"\n  candump   .log ", "\n  asc       .asc ", "\n  trc       .trc ", "\n  blf       .blf ",
          "\n  csv       .csv ", "\n  json      .jsonl, .json ", "\n  sqlite    .db, .sqlite ", "--store <DIR>",
          "exit status", "\nExample:\n  canlog convert "})
        QVERIFY2(outcome.out.contains(mention), mention);
    QVERIFY(canlog(words("--help")).out.contains("\n  convert "));
}

void CanlogConvertTest::noClobberKeepsWhatIsThere()
{
    write(QStringLiteral("small.log"), "(1.0) can0 001#\n");
    write(QStringLiteral("there.csv"), "mine");
    const Outcome refused = canlog(words("convert small.log there.csv --no-clobber"));
    QCOMPARE(refused.err, QByteArray("canlog: OUT exists already, and --no-clobber keeps it; try 'canlog convert "
                                     "--help'\n"));
    QCOMPARE(refused.status, 2);
    QFile there(path(QStringLiteral("there.csv")));
    QVERIFY(there.open(QIODevice::ReadOnly));
    QCOMPARE(there.readAll(), QByteArray("mine"));
    QCOMPARE(canlog(words("convert small.log new.csv --no-clobber")).status, 0);
    QVERIFY(QFile::exists(path(QStringLiteral("new.csv"))));
}

void CanlogConvertTest::wrongUsage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("problem");
    const auto row = [](const char *arguments, const char *problem) {
        QTest::newRow(arguments) << words(arguments) << QByteArray(problem);
    };
    row("convert", "convert needs a file IN or --store");
    row("convert small.log", "standard output needs --to FORMAT");
    row("convert small.log -", "standard output needs --to FORMAT");
    row("convert small.log out.txt", "the suffix of 'out.txt' stands for no format, name one with --to");
    row("convert small.log log", "the suffix of 'log' stands for no format, name one with --to");
    row("convert small.log --to mdf",
        "unknown format 'mdf', wanted is one of candump, asc, trc, blf, csv, json, sqlite");
    row("convert small.log out.csv --to mdf",
        "unknown format 'mdf', wanted is one of candump, asc, trc, blf, csv, json, sqlite");
    row("convert small.log --to sqlite", "a database needs a file, name OUT");
    row("convert small.log - --to sqlite", "a database needs a file, name OUT");
    row("convert small.log a.csv b.csv", "convert takes one IN and one OUT");
    row("convert --store s small.log a.csv", "convert takes either --store or IN, and one OUT");
    row("convert --store s --type VectorAscLog a.csv", "--type is for a file, a store needs none");
    row("convert small.log a.csv --type nonsense", "unknown type 'nonsense', 'canlog formats' lists the types");
    row("convert small.log --to 1.5",
        "unknown format '1.5', wanted is one of candump, asc, trc, blf, csv, json, sqlite; a time is given by --until");
    row("convert small.log a.csv --until x", "bad --until 'x', wanted are seconds with up to six decimals, +seconds "
                                             "after the first message, or a date and time like 2024-05-21T09:40");
    row("convert --store s --columns t a.csv", "--columns is for a file, a store needs none");
    row("convert small.log a.csv --type SocketCanDump --columns t", "--columns is for --type GenericFile");
    row("convert small.log small.log", "IN and OUT are the same file");
    row("convert small.log ./small.log", "IN and OUT are the same file");
    row("convert --store= a.csv", "--store needs a folder");
    row("convert small.log a.json --raw", "--raw is for csv");
    QTest::newRow("OUT without a name") << QStringList{QStringLiteral("convert"), QStringLiteral("small.log"),
                                                       QString()}
                                        << QByteArray("OUT needs a name");
}

void CanlogConvertTest::wrongUsage()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, problem);
    write(QStringLiteral("small.log"), smallLog);
    const Outcome outcome = canlog(arguments);
    QCOMPARE(outcome.err, "canlog: " + problem + "; try 'canlog convert --help'\n");
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 2);
    QCOMPARE(names(), QStringList{QStringLiteral("small.log")});
    QCOMPARE(content(QStringLiteral("small.log")), smallLog);
}

// ---- what is written

void CanlogConvertTest::suffixChoosesTheFormat_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("start");
    QTest::addColumn<QByteArray>("description");
    const auto row = [](const char *name, const char *start, const char *description) {
        QTest::newRow(name) << QString::fromLatin1(name) << QByteArray(start) << QByteArray(description);
    };
    row("out.log", "(1345212884.318850) can0 123#11223344\n", "SocketCAN candump, log-file form");
    row("out.asc", "date ", "Vector ASC log");
    row("out.trc", ";$FILEVERSION=2.1\n", "PCAN trace, version 2.1");
    row("out.blf", "LOGG", "binary logging file (BLF)");
    row("out.csv", "time,", "comma-separated values");
    row("out.jsonl", "{\"time\":1345212884.318850,", "JSON, one object a line");
    row("out.json", "{\"time\":1345212884.318850,", "JSON, one object a line");
    row("out.db", "SQLite format 3", "SQLite database");
    row("out.sqlite", "SQLite format 3", "SQLite database");
    row("OUT.CSV", "time,", "comma-separated values");
    row("out.log.csv", "time,", "comma-separated values");
}

void CanlogConvertTest::suffixChoosesTheFormat()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, start);
    QFETCH(QByteArray, description);
    write(QStringLiteral("small.log"), smallLog);
    const Outcome outcome = canlog({QStringLiteral("convert"), QStringLiteral("small.log"), name});
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, name.toLatin1() + ": " + description + ", 3 messages\n");
    QCOMPARE(outcome.status, 0);
    QCOMPARE(content(name).left(start.size()), start);
    QCOMPARE(names().size(), 2);
}

void CanlogConvertTest::optionGoesBeforeTheSuffix()
{
    write(QStringLiteral("small.log"), smallLog);
    QCOMPARE(canlog(words("convert small.log out.asc --to CSV")).status, 0);
    QCOMPARE(content(QStringLiteral("out.asc")), smallCsv);
}

void CanlogConvertTest::standardOutput_data()
{
    QTest::addColumn<QString>("target");
    for (const char *target : {"candump", "asc", "trc", "csv", "json"})
        QTest::newRow(target) << QString::fromLatin1(target);
}

void CanlogConvertTest::standardOutput()
{
    QFETCH(QString, target);
    write(QStringLiteral("small.log"), smallLog);
    const QStringList option{QStringLiteral("--to"), target};
    QCOMPARE(canlog(words("convert small.log out") + option).status, 0);
    for (const char *arguments : {"convert small.log", "convert small.log -"}) {
        const Outcome outcome = canlog(words(arguments) + option);
        QCOMPARE(outcome.err, QByteArray());
        QCOMPARE(outcome.out, content(QStringLiteral("out")));
        QCOMPARE(outcome.status, 0);
    }
    QVERIFY(content(QStringLiteral("out")).count('\n') >= 3);
    QVERIFY(!names().contains(QStringLiteral("-")));
}

void CanlogConvertTest::everyExampleKeepsItsMessages_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("example");
    const std::pair<const char *, const char *> examples[] = {
        {"candump", "drive.log"},
        {"asc", "drive.asc"},
        {"asc-nobitcount", "drive-nobitcount.asc"},
        {"kvaser", "drive-kvaser.txt"},
        {"canking", "drive-canking.txt"},
        {"norvik", "drive-norvik.txt"},
        {"wireshark", "drive-wireshark.csv"},
        {"trc11", "washer-trc11.trc"},
        {"trc21", "washer-trc21.trc"},
        {"coctt", "conformance-test.txt"},
        {"ixxat", "ixxat.csv"},
        {"generic", "columns.txt"},
    };
    for (const auto &[type, example] : examples)
        QTest::newRow(type) << QString::fromLatin1(type) << QString::fromLatin1(example);
}

void CanlogConvertTest::everyExampleKeepsItsMessages()
{
    QFETCH(QString, type);
    QFETCH(QString, example);
    const QStringList input{QStringLiteral("--type"), type, QStringLiteral(CANLOG_EXAMPLES "/") + example};
    const Outcome shown = canlog(QStringList{QStringLiteral("show")} + input);
    const int messages = shown.out.count('\n') - 1;
    QVERIFY(messages > 0);
    for (const char *name : {"out.log", "out.asc", "out.trc", "out.csv", "out.jsonl", "out.db"}) {
        const Outcome outcome = canlog(QStringList{QStringLiteral("convert")} + input + words(name));
        QVERIFY2(outcome.out.endsWith(", " + QByteArray::number(messages) + " messages\n"), outcome.out.constData());
        QCOMPARE(outcome.status, 0);
    }
    QCOMPARE(content(QStringLiteral("out.log")).count('\n'), messages);
    QCOMPARE(content(QStringLiteral("out.jsonl")).count('\n'), messages);
    // The heading and, in a trace, ten lines of it; notes have lines of their own there.
    QCOMPARE(content(QStringLiteral("out.csv")).count('\n'), messages + 1);
    const QByteArray trace = content(QStringLiteral("out.trc"));
    QCOMPARE(trace.count('\n') - trace.count("\n;") - 1, messages);
}

void CanlogConvertTest::columns()
{
    write(QStringLiteral("table.txt"), "1.500000 291 2 AA BB\n");
    const Outcome outcome = canlog({QStringLiteral("convert"), QStringLiteral("--type"), QStringLiteral("generic"),
                                    QStringLiteral("--columns"), QStringLiteral("t I l d"), QStringLiteral("table.txt"),
                                    QStringLiteral("--to"), QStringLiteral("candump")});
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, QByteArray("(1.500000) can0 123#AABB\n"));
}

void CanlogConvertTest::whatIsLeftOutIsTold()
{
    makeStore(everyKind(), {{0, QStringLiteral("first")}, {6, QStringLiteral("last")}});
    const QStringList store = words("convert --store s");

    Outcome outcome = canlog(store + words("out.log"));
    QCOMPARE(outcome.err, QByteArray("canlog: out.log: warning: candump has no place for everything: 2 notes (left "
                                     "out)\n"));
    QCOMPARE(outcome.status, 0);
    outcome = canlog(store + words("--to candump"));
    QCOMPARE(outcome.err, QByteArray("canlog: standard output: warning: candump has no place for everything: 2 notes "
                                     "(left out)\n"));
    QCOMPARE(outcome.out, content(QStringLiteral("out.log")));

    outcome = canlog(store + words("out.trc"));
    QCOMPARE(outcome.err, QByteArray()); // all that these messages say has a place there
    for (const char *name : {"out.asc", "out.csv", "out.json", "out.db"}) {
        outcome = canlog(store + words(name));
        QCOMPARE(outcome.err, QByteArray());
        QCOMPARE(outcome.out.right(13), QByteArray(", 7 messages\n"));
    }
}

void CanlogConvertTest::everythingIsCarried_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QByteArray>("expected");
    const QByteArray z64 = QByteArray("5A").repeated(64);
    QTest::newRow("candump") << QStringLiteral("candump")
                             << QByteArray("(1716284412.084712) can0 123#112233\n"
                                           "(1716284412.085812) can1 18FEF100#FF T\n"
                                           "(1716284412.900000) can0 7E8#R8\n"
                                           "(1716284413.000005) can0 1A0##10102030405060708090A0B0C\n"
                                           "(1716284414.000000) can1 18DA10F1##3"
                                           + z64
                                           + "\n"
                                             "(1716284415.000000) can0 20000080#0000000000000000\n"
                                             "(1716284416.999999) can0 7FF#\n");
    QTest::newRow("csv") << QStringLiteral("csv")
                         << QByteArray(
                                "time,channel,direction,id,extended,remote,fd,brs,esi,error,dlc,data,note\n"
                                "1716284412.084712,1,Rx,0x123,0,0,0,0,0,0,3,11 22 33,\"first, of all\"\n"
                                "1716284412.085812,2,Tx,0x18FEF100,1,0,0,0,0,0,1,FF,\n"
                                "1716284412.900000,1,Rx,0x7E8,0,1,0,0,0,0,8,,\n"
                                "1716284413.000005,1,Rx,0x1A0,0,0,1,1,0,0,12,01 02 03 04 05 06 07 08 09 0A 0B 0C,\n"
                                "1716284414.000000,2,Rx,0x18DA10F1,1,0,1,1,1,0,64,"
                                + QByteArray("5A ").repeated(64).trimmed()
                                + ",\n"
                                  "1716284415.000000,1,Rx,,0,0,0,0,0,1,0,,\n"
                                  "1716284416.999999,1,Rx,0x7FF,0,0,0,0,0,0,0,,last\n");
}

void CanlogConvertTest::everythingIsCarried()
{
    QFETCH(QString, target);
    QFETCH(QByteArray, expected);
    makeStore(everyKind(), {{0, QStringLiteral("first, of all")}, {6, QStringLiteral("last")}});
    QCOMPARE(canlog(words("convert --store s --to") + QStringList{target}).out, expected);
}

void CanlogConvertTest::storeWithoutMessages()
{
    makeStore({});
    const Outcome outcome = canlog(words("convert --store s out.csv"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, QByteArray("out.csv: comma-separated values, 0 messages\n"));
    QCOMPARE(outcome.status, 0);
    QCOMPARE(content(QStringLiteral("out.csv")), smallCsv.left(smallCsv.indexOf('\n') + 1));
}

void CanlogConvertTest::logWithoutMessages_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("csv") << QStringLiteral("out.csv") << smallCsv.left(smallCsv.indexOf('\n') + 1);
    QTest::newRow("candump") << QStringLiteral("out.log") << QByteArray();
    QTest::newRow("json") << QStringLiteral("out.json") << QByteArray();
}

void CanlogConvertTest::logWithoutMessages()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, expected);
    write(QStringLiteral("small.log"), smallLog);
    write(name, "old");
    const Outcome outcome = canlog(words("convert --type asc-nobitcount small.log") + QStringList{name});
    QCOMPARE(outcome.err,
             QByteArray("canlog: small.log: no message in it when read as VectorAscLogWithoutBitcount; try "
                        "another --type ('canlog formats' lists them)\n"));
    QVERIFY2(outcome.out.endsWith(", 0 messages\n"), outcome.out.constData());
    QCOMPARE(outcome.status, 0);
    QCOMPARE(content(name), expected);
}

void CanlogConvertTest::linkToAFileThatIsNotThereYet()
{
    write(QStringLiteral("small.log"), smallLog);
    QVERIFY(QFile::link(QStringLiteral("target.csv"), path(QStringLiteral("link.csv"))));
    const Outcome outcome = canlog(words("convert small.log link.csv"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
    QVERIFY(QFileInfo(path(QStringLiteral("link.csv"))).isSymLink());
    QVERIFY(!QFileInfo(path(QStringLiteral("target.csv"))).isSymLink());
    QCOMPARE(content(QStringLiteral("target.csv")), smallCsv);
}

void CanlogConvertTest::damagedStore()
{
    makeStore(everyKind());
    makeStore({Frame(0x321, "01").at(2, 0)});
    QFile chunk(path(QStringLiteral("s/chunk-00000001.qcl")));
    QVERIFY(chunk.open(QIODevice::ReadWrite));
    chunk.seek(chunk.size() - 10);
    QCOMPARE(chunk.write("damage"), 6);
    chunk.close();
    write(QStringLiteral("out.log"), "old");

    Outcome outcome = canlog(words("convert --store s out.log"));
    QVERIFY2(outcome.err.contains("chunk-00000001.qcl"), outcome.err.constData());
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
    QCOMPARE(content(QStringLiteral("out.log")), QByteArray("old"));

    // Where nothing is replaced, what can be read is given.
    outcome = canlog(words("convert --store s --to candump"));
    QVERIFY2(outcome.err.contains("chunk-00000001.qcl"), outcome.err.constData());
    QCOMPARE(outcome.out, QByteArray("(2.000000) can0 321#01\n"));
    QCOMPARE(outcome.status, 1);
}

// ---- what goes wrong

void CanlogConvertTest::mistakesKeepWhatIsThere_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("complaint");
    const auto row = [](const char *name, const char *arguments, const char *complaint) {
        QTest::newRow(name) << words(arguments) << QByteArray(complaint);
    };
    row("no such input", "convert nosuch.log old.csv", "nosuch.log: no such file; check its name and the folder");
    row("input is a folder", "convert . old.csv", ".: is a folder; name the files in it");
    row("input cannot be read as that", "convert --type trc21 small.log old.csv",
        "small.log: cannot be read as PeakTraceV21 (Import error occured. No valid column description found.); try "
        "another --type");
    row("no such store", "convert --store s old.csv",
        "s: no such store; import a log first, or name its folder with --store");
    row("no such folder", "convert small.log nosuch/out.csv",
        "nosuch/out.csv: cannot be written: No such file or directory; check the folder, its permissions and the space "
        "left");
    row("no folder for files", "convert small.log /proc/out.csv",
        "/proc/out.csv: cannot be written: No such file or directory; check the folder, its permissions and the space "
        "left");
    row("output is a folder", "convert small.log . --to csv", ".: is a folder; name the file to write");
    row("output is a device", "convert small.log /dev/null --to csv",
        "/dev/null: is a pipe, socket or device; write to standard output and redirect it");
}

void CanlogConvertTest::mistakesKeepWhatIsThere()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, complaint);
    write(QStringLiteral("small.log"), smallLog);
    write(QStringLiteral("old.csv"), "old");
    const Outcome outcome = canlog(arguments);
    QCOMPARE(outcome.err, "canlog: " + complaint + '\n');
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
    QCOMPARE(names(), QStringList({QStringLiteral("old.csv"), QStringLiteral("small.log")}));
    QCOMPARE(content(QStringLiteral("old.csv")), QByteArray("old"));
}

void CanlogConvertTest::sameFileUnderAnotherName()
{
    write(QStringLiteral("small.log"), smallLog);
    QVERIFY(QFile::link(path(QStringLiteral("small.log")), path(QStringLiteral("link.csv"))));
    const Outcome outcome = canlog(words("convert small.log link.csv"));
    QCOMPARE(outcome.err, QByteArray("canlog: IN and OUT are the same file; try 'canlog convert --help'\n"));
    QCOMPARE(outcome.status, 2);
    QCOMPARE(content(QStringLiteral("small.log")), smallLog);
}

void CanlogConvertTest::fullDisk_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("messages");
    for (const char *name : {"out.log", "out.asc", "out.trc", "out.csv", "out.json", "out.db"}) {
        QTest::addRow("%s, on the way", name) << QString::fromLatin1(name) << 250000;
        QTest::addRow("%s, at the end", name) << QString::fromLatin1(name) << 1500;
    }
}

void CanlogConvertTest::fullDisk()
{
    QFETCH(QString, name);
    QFETCH(int, messages);
    writeLargeLog(messages);
    write(name, "old");
    // A limit on the size of a file fails a write as a full disk does.
    const Outcome outcome =
        shell(QStringLiteral("ulimit -c 0; ulimit -f 16; exec \"$canlog\" convert large.log %1").arg(name));
    const QByteArray start = "canlog: " + name.toLatin1() + ": cannot be written: ";
    QCOMPARE(outcome.err.left(start.size()), start);
    QCOMPARE(outcome.err.count('\n'), 1);
    QVERIFY2(outcome.err.endsWith("; check the space left\n"), outcome.err.constData());
    QVERIFY2(!outcome.err.contains("Unknown error"), outcome.err.constData());
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
    QCOMPARE(content(name), QByteArray("old"));
    QCOMPARE(names().size(), 2);
}

void CanlogConvertTest::fullOutput()
{
    if (!QFileInfo::exists(QStringLiteral("/dev/full")))
        return missing("/dev/full");
    write(QStringLiteral("small.log"), smallLog);
    writeLargeLog(250000);
    for (const char *name : {"small.log", "large.log"}) {
        const Outcome outcome =
            shell(QStringLiteral("exec \"$canlog\" convert %1 --to csv > /dev/full").arg(QString::fromLatin1(name)));
        QCOMPARE(outcome.err, QByteArray("canlog: standard output: cannot be written: no space left on the disk\n"));
        QCOMPARE(outcome.status, 1);
    }
}

void CanlogConvertTest::readerGoesAway_data()
{
    QTest::addColumn<QString>("input");
    QTest::newRow("file") << QStringLiteral("large.log");
    QTest::newRow("store") << QStringLiteral("--store s");
}

void CanlogConvertTest::readerGoesAway()
{
    QFETCH(QString, input);
    writeLargeLog(250000);
    QCOMPARE(canlog(words("import large.log --store s")).status, 0);
    const Outcome outcome =
        shell(QStringLiteral("{ \"$canlog\" convert %1 --to csv; echo $? >&2; } | head -n 1").arg(input));
    QCOMPARE(outcome.out, smallCsv.left(smallCsv.indexOf('\n') + 1));
    QCOMPARE(outcome.err, QByteArray("0\n"));
}

void CanlogConvertTest::memoryDoesNotGrow()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    QSKIP("sanitizers keep what was freed");
#endif
    // The peak that the kernel saw, in KiB: of the program alone, since the shell becomes it.
    const auto peak = [&](int messages, const QString &name) {
        writeLargeLog(messages);
        const Outcome outcome =
            python(QStringLiteral("import resource, subprocess, sys\n"
                                  "subprocess.run(sys.argv[1:], check=True, stdout=subprocess.DEVNULL)\n"
                                  "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)\n"),
                   {QStringLiteral(CANLOG_PROGRAM), QStringLiteral("convert"), QStringLiteral("large.log"), name});
        return outcome.out.toInt();
    };
    if (!QFileInfo::exists(QStringLiteral("/usr/bin/python3")))
        return missing("python3");
    for (const char *name : {"out.csv", "out.db"}) {
        // Two batches of the library, then many more: the output grows by tens of megabytes.
        const int few = peak(200000, QString::fromLatin1(name));
        const int many = peak(500000, QString::fromLatin1(name));
        QVERIFY(few > 0);
        QVERIFY2(many < few + 8192, qPrintable(QStringLiteral("%1 and %2 KiB").arg(few).arg(many)));
    }
}

// ---- what others read

void CanlogConvertTest::pythonCanReads_data()
{
    QTest::addColumn<QString>("reader");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("expected");
    const QByteArray z64 = QByteArray("5a").repeated(64);
    // Microseconds since the first message, identifier, flags, length, data, channel.
    QTest::newRow("candump") << QStringLiteral("CanutilsLogReader") << QStringLiteral("out.log")
                             << QByteArray("0 123 S 3 112233 can0\n"
                                           "1100 18FEF100 XT 1 ff can1\n"
                                           "815288 7E8 SR 8  can0\n"
                                           "915293 1A0 SFB 12 0102030405060708090a0b0c can0\n"
                                           "1915288 18DA10F1 XFBE 64 "
                                           + z64
                                           + " can1\n"
                                             "2915288 error\n"
                                             "4915287 7FF S 0  can0\n");
    QTest::newRow("asc") << QStringLiteral("ASCReader") << QStringLiteral("out.asc")
                         << QByteArray("0 123 S 3 112233 0\n"
                                       "1100 18FEF100 XT 1 ff 1\n"
                                       "815288 7E8 SR 8  0\n"
                                       "915293 1A0 SFB 12 0102030405060708090a0b0c 0\n"
                                       "1915288 18DA10F1 XFBE 64 "
                                       + z64
                                       + " 1\n"
                                         "2915288 error\n"
                                         "4915287 7FF S 0  0\n");
    // Of a trace, some versions read data frames only.
    QTest::newRow("trc") << QStringLiteral("TRCReader") << QStringLiteral("out.trc")
                         << QByteArray("0 123 S 3 112233 1\n"
                                       "1100 18FEF100 XT 1 ff 2\n"
                                       "4915287 7FF S 0  1\n");
}

void CanlogConvertTest::pythonCanReads()
{
    QFETCH(QString, reader);
    QFETCH(QString, name);
    QFETCH(QByteArray, expected);
    if (!hasPythonCan())
        return missing("scripts/venv");
    makeStore(everyKind(), {{1, QStringLiteral("a note")}});
    QCOMPARE(canlog(words("convert --store s") + QStringList{name}).status, 0);
    const Outcome outcome = python(
        QStringLiteral(
            "import can, sys\n"
            "first = None\n"
            "for m in getattr(can, sys.argv[1])(sys.argv[2]):\n"
            "    if first is None: first = m.timestamp\n"
            "    if sys.argv[1] == 'TRCReader' and (m.is_error_frame or m.is_fd or m.is_remote_frame): continue\n"
            "    time = round((m.timestamp - first) * 1000000)\n"
            "    if m.is_error_frame:\n"
            "        print(time, 'error')\n"
            "        continue\n"
            "    flags = ('X' if m.is_extended_id else 'S') + 'R' * m.is_remote_frame + 'F' * m.is_fd\n"
            "    flags += 'B' * m.bitrate_switch + 'E' * m.error_state_indicator + 'T' * (not m.is_rx)\n"
            "    print(time, '%X' % m.arbitration_id, flags, m.dlc, m.data.hex(), m.channel)\n"),
        {reader, name});
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, expected);
}

void CanlogConvertTest::log2ascReadsCandump()
{
    if (!hasProgram("log2asc"))
        return missing("can-utils");
    makeStore(everyKind());
    QCOMPARE(canlog(words("convert --store s out.log")).status, 0);
    const Outcome outcome = run(QStringLiteral("log2asc"), words("-I out.log can0 can1"));
    QStringList lines;
    for (const QString &line : QString::fromLatin1(outcome.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (line.startsWith(QLatin1Char(' ')))
            lines.append(line.simplified());
    }
    const QStringList starts{
        QStringLiteral("0.000000 1 123 Rx d 3 11 22 33"),
        QStringLiteral("0.001100 2 18FEF100x Tx d 1 FF"),
        QStringLiteral("0.815288 1 7E8 Rx r 8"),
        QStringLiteral("0.915293 CANFD 1 Rx 1A0 1 0 9 12 01 02 03 04 05 06 07 08 09 0A 0B 0C "),
        QStringLiteral("1.915288 CANFD 2 Rx 18DA10F1x 1 1 f 64 ") + QStringLiteral("5A ").repeated(64),
        QStringLiteral("2.915288 1 ErrorFrame"),
        QStringLiteral("4.915287 1 7FF Rx d 0"),
    };
    QCOMPARE(lines.size(), starts.size());
    for (int i = 0; i < starts.size(); ++i)
        QCOMPARE(lines.at(i).left(starts.at(i).size()), starts.at(i));
}

void CanlogConvertTest::asc2logReadsAsc()
{
    if (!hasProgram("asc2log"))
        return missing("can-utils");
    makeStore(everyKind(), {{1, QStringLiteral("a note")}});
    QCOMPARE(canlog(words("convert --store s out.asc")).status, 0);
    const Outcome outcome = run(QStringLiteral("asc2log"), words("-I out.asc"));
    QStringList lines;
    for (QString line : QString::fromLatin1(outcome.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        // The times are made absolute in the local time zone; some versions add the direction, or a flag that only says
        // that the frame is a CAN FD frame.
        line.remove(QRegularExpression(QStringLiteral("^\\S+ | [RT]$")));
        line.replace(QLatin1String("##5"), QLatin1String("##1")).replace(QLatin1String("##7"), QLatin1String("##3"));
        lines.append(line);
    }
    QCOMPARE(lines, QStringList({
                        QStringLiteral("can0 123#112233"),
                        QStringLiteral("can1 18FEF100#FF"),
                        QStringLiteral("can0 7E8#R8"),
                        QStringLiteral("can0 1A0##10102030405060708090A0B0C"),
                        QStringLiteral("can1 18DA10F1##3") + QStringLiteral("5A").repeated(64),
                        QStringLiteral("can0 20000080#0000000000000000"),
                        QStringLiteral("can0 7FF#"),
                    }));
}

void CanlogConvertTest::sqlite3ReadsTheDatabase()
{
    if (!hasProgram("sqlite3"))
        return missing("sqlite3");
    makeStore(everyKind(), {{6, QStringLiteral("last")}});
    QCOMPARE(canlog(words("convert --store s out.db")).status, 0);
    const Outcome outcome = run(
        QStringLiteral("sqlite3"),
        {QStringLiteral("out.db"),
         QStringLiteral("PRAGMA integrity_check; SELECT count(*) FROM sqlite_master;"
                        "SELECT number, time_us, channel, direction, id, extended, remote, fd, brs, esi, error, dlc, "
                        "hex(data), note FROM messages")});
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, "ok\n1\n"
                          "1|1716284412084712|1|Rx|291|0|0|0|0|0|0|3|112233|\n"
                          "2|1716284412085812|2|Tx|419361024|1|0|0|0|0|0|1|FF|\n"
                          "3|1716284412900000|1|Rx|2024|0|1|0|0|0|0|8||\n"
                          "4|1716284413000005|1|Rx|416|0|0|1|1|0|0|12|0102030405060708090A0B0C|\n"
                          "5|1716284414000000|2|Rx|416944369|1|0|1|1|1|0|64|"
                              + QByteArray("5A").repeated(64)
                              + "|\n"
                                "6|1716284415000000|1|Rx||0|0|0|0|0|1|0||\n"
                                "7|1716284416999999|1|Rx|2047|0|0|0|0|0|0|0||last\n");
}

void CanlogConvertTest::pythonReadsCsvAndJson()
{
    if (!QFileInfo::exists(QStringLiteral("/usr/bin/python3")))
        return missing("python3");
    makeStore(everyKind(), {{0, QStringLiteral("a, \"b\"\nc \u00e4")}});
    QCOMPARE(canlog(words("convert --store s out.csv")).status, 0);
    QCOMPARE(canlog(words("convert --store s out.json")).status, 0);
    const Outcome outcome = python(
        QStringLiteral("import csv, json\n"
                       "with open('out.csv', encoding='utf-8', newline='') as f: table = list(csv.DictReader(f))\n"
                       "with open('out.json', encoding='utf-8') as f: objects = [json.loads(line) for line in f]\n"
                       "assert len(table) == len(objects) == 7\n"
                       "for row, o in zip(table, objects):\n"
                       "    assert float(row['time']) == o['time']\n"
                       "    assert bytes.fromhex(row['data']) == bytes.fromhex(o['data'])\n"
                       "    assert (int(row['id'], 16) if row['id'] else None) == o['id']\n"
                       "    for flag in ('extended', 'remote', 'fd', 'brs', 'esi', 'error'):\n"
                       "        assert (row[flag] == '1') is o[flag], flag\n"
                       "    assert int(row['dlc']) == o['dlc'] and int(row['channel']) == o['channel']\n"
                       "    assert row['direction'] == o['direction'] and row['note'] == o.get('note', '')\n"
                       "print(ascii(table[0]['note']), [o['id'] for o in objects])\n"),
        {});
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, QByteArray("'a, \"b\"\\nc \\xe4' [291, 419361024, 2024, 416, 416944369, None, 2047]\n"));
}

// ---- filters, other inputs, interruption

void CanlogConvertTest::filters_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("kept"); ///< the last digits of the identifiers
    const auto row = [](const char *options, const char *kept) {
        QTest::newRow(options) << words(options) << QByteArray(kept);
    };
    row("", "1234");
    row("--id 101,103", "13");
    row("--id 101-102", "12");
    row("--from 2 --until 3", "23");
    row("--until 1.9", "1");
    row("--direction tx", "");
    row("--notes-only", "");
    row("--channel 1", "1234");
}

void CanlogConvertTest::filters()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, kept);
    write(QStringLiteral("f.log"), "(1.0) can0 101#11\n(2.0) can0 102#11\n(3.0) can0 103#11\n(4.0) can0 104#11\n");
    const Outcome outcome = canlog(words("convert f.log --to candump") + options);
    QCOMPARE(outcome.status, 0);
    QByteArray expected;
    for (const char digit : kept)
        expected += QByteArray("(#.000000) can0 10##11\n")
                        .replace("(#", QByteArray("(") + digit)
                        .replace("10##", QByteArray("10") + digit + '#');
    QCOMPARE(outcome.out, expected);
}

void CanlogConvertTest::compressedAndStandardInput()
{
    write(QStringLiteral("f.log"), "(1.0) can0 101#11\n(2.0) can0 102#11\n");
    const QByteArray expected = canlog(words("convert f.log --to csv")).out;
    QCOMPARE(expected.count('\n'), 3);
    QCOMPARE(shell(QStringLiteral("gzip f.log && \"$canlog\" convert f.log.gz --to csv")).out, expected);
    QCOMPARE(shell(QStringLiteral("gzip -dc f.log.gz | \"$canlog\" convert - --to csv")).out, expected);
}

void CanlogConvertTest::interruptionLeavesNoFile_data()
{
    QTest::addColumn<QString>("input");
    QTest::newRow("log") << QStringLiteral("big.log");
    QTest::newRow("store") << QStringLiteral("--store trips");
}

void CanlogConvertTest::interruptionLeavesNoFile()
{
    QFETCH(QString, input);
    QByteArray content;
    for (int i = 0; i < 2000000; ++i)
        content += "(1.5) can0 " + QByteArray::number(0x10000000 + i, 16) + "#1122334455667788\n";
    write(QStringLiteral("big.log"), content);
    write(QStringLiteral("out.csv"), "what was there before\n");
    QCOMPARE(canlog(words("import --store trips big.log")).status, 0);
    QProcess process;
    process.setWorkingDirectory(folder->path());
    process.start(QStringLiteral(CANLOG_PROGRAM), words("convert") + input.split(QLatin1Char(' ')) + words("out.csv"));
    QVERIFY(process.waitForStarted());
    const QDir dir(folder->path());
    const auto written = [&] {
        const QFileInfoList files = dir.entryInfoList({QStringLiteral(".canlog-*")}, QDir::Files | QDir::Hidden);
        return !files.isEmpty() && files.constFirst().size() > 0;
    };
    QVERIFY(QTest::qWaitFor(written, 60000));
    QCOMPARE(::kill(pid_t(process.processId()), SIGINT), 0);
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 130);
    QCOMPARE(process.readAllStandardError(),
             "canlog: " + input.section(QLatin1Char(' '), -1).toUtf8() + ": interrupted\n");
    QCOMPARE(dir.entryList(QDir::Files | QDir::Hidden, QDir::Name),
             QStringList({QStringLiteral("big.log"), QStringLiteral("out.csv")}));
    QFile out(path(QStringLiteral("out.csv")));
    QVERIFY(out.open(QIODevice::ReadOnly));
    QCOMPARE(out.readAll(), QByteArray("what was there before\n"));
}

QTEST_GUILESS_MAIN(CanlogConvertTest)
#include "tst_canlogconvert.moc"
