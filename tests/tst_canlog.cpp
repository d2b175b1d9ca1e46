// SPDX-License-Identifier: Apache-2.0
#include "canlogprogram.h"
#include "host/store/chunkstore.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

/// Runs the real program and looks at nothing but what a shell sees.
class TestCanlog : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void init() { makeFolder(); }

    void help_data();
    void help();
    void version();
    void formats();
    void wrongUsage_data();
    void wrongUsage();

    void importThenShow();
    void importReportsWhatItRead_data();
    void importReportsWhatItRead();
    void importNeedsNoStoreOption();
    void importAddsToTheStore();
    void importOfTheExample();
    void importOfTheSmallExamples_data();
    void importOfTheSmallExamples();
    void exampleIsReproducible();
    void exampleOfEachFormat_data();
    void exampleOfEachFormat();
    void importerTypes_data();
    void importerTypes();
    void columns_data();
    void columns();
    void importerErrorText();
    void typeIsTakenByNumberAndName_data();
    void typeIsTakenByNumberAndName();
    void importOfAChunkFile();
    void everyFailureHasItsOwnReason();
    void redirectedInput();
    void noMessages();
    void folderThatIsNoStore_data();
    void folderThatIsNoStore();
    void quietIsAccepted_data();
    void quietIsAccepted();
    void unusualFileNames_data();
    void unusualFileNames();
    void undecodableFileName();

    void unreadableFiles_data();
    void unreadableFiles();
    void failuresDoNotStopTheOthers();
    void missingFileMakesNoStore();
    void lockedStore();
    void unusableStore_data();
    void unusableStore();
    void fullDisk_data();
    void fullDisk();

    void showsEveryField();
    void showsAtMost64Bytes();
    void showsAFile();
    void showsAChunkFile();
    void showsWhatStandsBeforeALineThatEndsTheLog();
    void idFilter_data();
    void idFilter();
    void limit_data();
    void limit();
    void damagedChunkIsNamed();
    void onlyChunkIsDamaged();

    void readerGoesAway_data();
    void readerGoesAway();
    void fullOutput();
    void closedOutput();

    void killedImports();

private:
    QString writeLog(const QString &name, int frames) const;
};

static const QByteArray smallLog = "(1345212884.318850) can0 123#11223344\n"
                                   "(1345212884.400000) can1 18FEF100#FF00AB\n"
                                   "(1345212885.568850) can0 7FF#\n";

static const QByteArray heading =
    "   Index               Time  Channel  Dir  Identifier  Flags  Len  Data                     Note\n";
static const QByteArray smallTable = "       0  1345212884.318850        1  Rx          123  -        4  11 22 33 44\n"
                                     "       1  1345212884.400000        2  Rx     18FEF100  -        3  FF 00 AB\n"
                                     "       2  1345212885.568850        1  Rx          7FF  -        0\n";
static const QByteArray smallResult = "Candump, 3 messages, 3 identifiers, 1345212884.318850 to "
                                      "1345212885.568850 (1.250 s), CAN FD: no, 0 notes, 3 lines";

/// Four whole chunks, enough for an import to take a moment.
constexpr int killedImportFrames = 400000;

QString TestCanlog::writeLog(const QString &name, int frames) const
{
    QByteArray content;
    content.reserve(frames * 50);
    for (int i = 0; i < frames; ++i) {
        content += '(' + QByteArray::number(1700000000 + i / 1000) + '.'
                   + QByteArray::number(i % 1000 * 1000).rightJustified(6, '0') + ") can0 "
                   + QByteArray::number(0x100 + i % 64, 16) + '#' + QByteArray::number(i, 16).rightJustified(16, '0')
                   + '\n';
    }
    return write(name, content);
}

// ---- help, version, formats, wrong usage

void TestCanlog::help_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("firstLine");
    QTest::addColumn<QStringList>("mentions");

    const QByteArray mainUsage = "Usage: canlog SUBCOMMAND [options] [arguments]\n";
    const QStringList mainMentions{QStringLiteral("\n  import "),
                                   QStringLiteral("\n  show "),
                                   QStringLiteral("\n  formats "),
                                   QStringLiteral("-h, --help"),
                                   QStringLiteral("-v, --version"),
                                   QStringLiteral("Exit status"),
                                   QStringLiteral("\nExample:\n  canlog import ")};
    QTest::newRow("--help") << words("--help") << mainUsage << mainMentions;
    QTest::newRow("-h") << words("-h") << mainUsage << mainMentions;
    QTest::newRow("help") << words("help") << mainUsage << mainMentions;
    QTest::newRow("nothing") << QStringList() << mainUsage << mainMentions;
    QTest::newRow("help of a subcommand")
        << words("help formats") << QByteArray("Usage: canlog formats\n") << QStringList{QStringLiteral("--type")};
    QTest::newRow("import")
        << words("import --help")
        << QByteArray("Usage: canlog import [--type NAME|NUMBER] [--columns CODES] [--store DIR] [--report] [--strict] "
                      "[--again] [--keep-partial] [--quiet] FILE...\n")
        << QStringList{QStringLiteral("--type <NAME|NUMBER>"), QStringLiteral("--columns <CODES>"),
                       QStringLiteral("--store <DIR>"),        QStringLiteral("canlog-store"),
                       QStringLiteral("Default: auto"),        QStringLiteral("exit status"),
                       QStringLiteral("-h, --help"),           QStringLiteral("\nExample:\n  canlog import ")};
    QTest::newRow("show")
        << words("show -h")
        << QByteArray("Usage: canlog show [--store DIR | FILE... [--type NAME|NUMBER] [--columns CODES] [--strict]] "
                      "[--id HEX[,HEX]] [--channel N[,N]] [--from TIME] [--to TIME] "
                      "[--direction rx|tx] [--notes-only] [--limit N] [--names] [--quiet]\n")
        << QStringList{QStringLiteral("--store <DIR>"),     QStringLiteral("--type <NAME|NUMBER>"),
                       QStringLiteral("--id <HEX[,HEX]>"),  QStringLiteral("--limit <N>"),
                       QStringLiteral("--columns <CODES>"), QStringLiteral("canlog-store"),
                       QStringLiteral("Default: auto"),     QStringLiteral("R remote frame"),
                       QStringLiteral("exit status"),       QStringLiteral("\nExample:\n  canlog show ")};
    QTest::newRow("formats") << words("formats --help") << QByteArray("Usage: canlog formats\n")
                             << QStringList{QStringLiteral("--type"), QStringLiteral("\nExample:\n  canlog formats\n")};
}

void TestCanlog::help()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, firstLine);
    QFETCH(QStringList, mentions);
    const Outcome outcome = canlog(arguments);
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
    QCOMPARE(usageLine(outcome.out), firstLine);
    for (const QString &mention : mentions)
        QVERIFY2(QString::fromUtf8(outcome.out).contains(mention), qPrintable(mention));
}

void TestCanlog::version()
{
    for (const char *option : {"--version", "-v"}) {
        const Outcome outcome = canlog(words(option));
        QCOMPARE(outcome.err, QByteArray());
        QCOMPARE(outcome.status, 0);
        const QRegularExpression form(QStringLiteral("^canlog [0-9]+\\.[0-9]+\\.[0-9]+\\n$"));
        QVERIFY2(form.match(QString::fromUtf8(outcome.out)).hasMatch(), outcome.out.constData());
    }
}

void TestCanlog::formats()
{
    const Outcome outcome = canlog(words("formats"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
    const QList<QByteArray> lines = outcome.out.split('\n');
    QCOMPARE(lines.first(), QByteArray("Type  Name                         Short names     Suffix  What it is"));
    QVERIFY(
        lines.contains("   1  QclFile                      qcl             .qcl    one data-chunk file of a store"));
    QVERIFY(lines.contains(
        "  11  SocketCanDump                                .log    SocketCAN candump, screen or log-file form"));
    QVERIFY(lines.contains("  21  Candump                      candump         .log    "
                           "SocketCAN candump, log-file and screen form, all options"));
    QVERIFY(lines.contains("  15  VectorAscLogWithoutBitcount  asc-nobitcount  .asc    "
                           "Vector ASC log without bit counts, CAN FD included"));
    QVERIFY(lines.contains("   9  PeakTraceV21                 trc21           .trc    PCAN trace, version 2.1"));
}

void TestCanlog::wrongUsage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("line");

    QTest::newRow("unknown subcommand")
        << words("improt x.log")
        << QByteArray("canlog: unknown subcommand 'improt'; did you mean 'import'?; try 'canlog --help'\n");
    QTest::newRow("unknown option") << words("--verbose")
                                    << QByteArray("canlog: unknown option 'verbose'; try 'canlog --help'\n");
    QTest::newRow("unknown option of a subcommand")
        << words("import --fast small.log")
        << QByteArray("canlog: unknown option 'fast'; try 'canlog import --help'\n");
    QTest::newRow("missing value") << words("import small.log --store")
                                   << QByteArray("canlog: missing value after '--store'; try 'canlog import --help'\n");
    QTest::newRow("empty store") << QStringList{QStringLiteral("import"), QStringLiteral("--store="),
                                                QStringLiteral("small.log")}
                                 << QByteArray("canlog: --store needs a folder; try 'canlog import --help'\n");
    QTest::newRow("empty store to show") << QStringList{
        QStringLiteral("show"),
        QStringLiteral("--store="),
    } << QByteArray("canlog: --store needs a folder; try 'canlog show --help'\n");
    QTest::newRow("import without a file")
        << words("import --store s")
        << QByteArray("canlog: import needs at least one FILE; try 'canlog import --help'\n");
    for (const char *type : {"nonsense", "3", "4", "29", "-1", "011", "QclZipArchiv"}) {
        QTest::addRow("import as %s", type)
            << QStringList{QStringLiteral("import"), QStringLiteral("--type"), QString::fromLatin1(type),
                           QStringLiteral("small.log")}
            << QByteArray("canlog: unknown type '") + type
                   + "', 'canlog formats' lists the types; try 'canlog import --help'\n";
    }
    QTest::newRow("show as an unknown type")
        << words("show small.log --type nonsense")
        << QByteArray("canlog: unknown type 'nonsense', 'canlog formats' lists the types; "
                      "try 'canlog show --help'\n");
    QTest::newRow("store and file") << words("show --store s small.log")
                                    << QByteArray(
                                           "canlog: show takes either --store or FILEs; try 'canlog show --help'\n");
    QTest::newRow("columns of another type")
        << QStringList{QStringLiteral("import"), QStringLiteral("--columns"),     QStringLiteral("t i"),
                       QStringLiteral("--type"), QStringLiteral("SocketCanDump"), QStringLiteral("small.log")}
        << QByteArray("canlog: --columns is for --type GenericFile; try 'canlog import --help'\n");
    QTest::newRow("columns of a store")
        << QStringList{QStringLiteral("show"), QStringLiteral("--columns"), QStringLiteral("t i")}
        << QByteArray("canlog: --columns is for a FILE, a store needs none; try 'canlog show --help'\n");
    const auto columnsRow = [](const char *columns, const char *problem) {
        for (const char *subcommand : {"import", "show", "stats", "count", "convert"}) {
            QTest::addRow("%s with columns '%s'", subcommand, columns)
                << QStringList{QString::fromLatin1(subcommand), QStringLiteral("small.log"),
                               QStringLiteral("--columns"), QString::fromLatin1(columns)}
                       + (qstrcmp(subcommand, "convert") == 0 ? words("--to csv") : QStringList())
                << QByteArray("canlog: bad --columns '") + columns + "': " + problem
                       + "; wanted are t, n, one of i, I and 0xi, l, d, each once at most, and ? for columns that are "
                         "not read, with one blank between two; try 'canlog "
                       + subcommand + " --help'\n";
        }
    };
    columnsRow("", "a code is missing");
    columnsRow(" ", "a code is missing");
    columnsRow("t  i", "a code is missing");
    columnsRow("t i ", "a code is missing");
    columnsRow("t T i", "'T' is no code");
    columnsRow("t,n,i", "'t,n,i' is no code");
    columnsRow("t 1 i", "'1' is no code");
    columnsRow("t i t", "'t' comes twice");
    columnsRow("t i i", "there is more than one identifier");
    columnsRow("I 0xi", "there is more than one identifier");
    columnsRow("t i d", "no data are read without their length 'l' before 'd'");
    columnsRow("t i d l", "no data are read without their length 'l' before 'd'");
    columnsRow("? -", "no column is read");
    QTest::newRow("empty store to zip") << QStringList{QStringLiteral("zip"), QStringLiteral("--store="),
                                                       QStringLiteral("a.zip")}
                                        << QByteArray("canlog: --store needs a folder; try 'canlog zip --help'\n");
    QTest::newRow("type without file")
        << words("show --type SocketCanDump")
        << QByteArray("canlog: --type is for a FILE, a store needs none; try 'canlog show --help'\n");
    for (const char *id : {"12G", "", "123,", "20000000", "-1", "0x", "0x0x1", "1 2", "FFFF00EF", "+1"}) {
        QTest::addRow("id '%s'", id)
            << QStringList{QStringLiteral("show"), QStringLiteral("small.log"), QStringLiteral("--id"),
                           QString::fromLatin1(id)}
            << QByteArray("canlog: bad --id '") + id
                   + "', wanted are hexadecimal identifiers up to 1FFFFFFF, ranges 100-1FF, masks 100:700 or "
                     "'error'; try 'canlog show --help'\n";
    }
    for (const char *limit : {"-1", "ten", "", "1.5", "18446744073709551616"}) {
        QTest::addRow("limit '%s'", limit) << QStringList{QStringLiteral("show"), QStringLiteral("small.log"),
                                                          QStringLiteral("--limit"), QString::fromLatin1(limit)}
                                           << QByteArray("canlog: bad --limit '") + limit
                                                  + "', wanted is 0 or a higher number; try 'canlog show --help'\n";
    }
    QTest::newRow("formats with an argument")
        << words("formats candump") << QByteArray("canlog: formats takes no argument; try 'canlog formats --help'\n");
}

void TestCanlog::wrongUsage()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, line);
    write(QStringLiteral("small.log"), smallLog);
    const Outcome outcome = canlog(arguments);
    QCOMPARE(outcome.err, line);
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 2);
    QCOMPARE(QDir(folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("small.log")});
}

// ---- import

void TestCanlog::importThenShow()
{
    write(QStringLiteral("small.log"), smallLog);
    const Outcome imported = canlog(words("import --store trips small.log"));
    QCOMPARE(imported.err, QByteArray());
    QCOMPARE(imported.out, "small.log: " + smallResult + ", stored in trips\n");
    QCOMPARE(imported.status, 0);

    const Outcome shown = canlog(words("show --store trips"));
    QCOMPARE(shown.err, QByteArray());
    QCOMPARE(shown.out, heading + smallTable);
    QCOMPARE(shown.status, 0);
}

void TestCanlog::importReportsWhatItRead_data()
{
    QTest::addColumn<QByteArray>("log");
    QTest::addColumn<QByteArray>("result");

    QTest::newRow("one message") << QByteArray("(5.5) can0 123#11\n")
                                 << QByteArray("Candump, 1 message, 1 identifier, 5.500000 to 5.500000 (0.000 s), "
                                               "CAN FD: no, 0 notes, 1 line");
    QTest::newRow("an identifier many times")
        << QByteArray("(1.0) can0 123#11\n(2.0) can0 123#22\n(3.0) can0 124#\n")
        << QByteArray("Candump, 3 messages, 2 identifiers, 1.000000 to 3.000000 (2.000 s), CAN FD: no, 0 notes, "
                      "3 lines");

    QByteArray asMany;
    for (int i = 0; i < 65536; ++i)
        asMany += "(1.0) can0 " + QByteArray::number(0x10010000 + i, 16) + "#\n";
    QTest::newRow("65536 identifiers") << asMany
                                       << QByteArray("Candump, 65536 messages, 65536 identifiers, "
                                                     "1.000000 to 1.000000 (0.000 s), CAN FD: no, 0 notes, "
                                                     "65536 lines");
    QTest::newRow("65537 identifiers") << asMany + "(1.0) can0 007#\n"
                                       << QByteArray("Candump, 65537 messages, more than 65536 identifiers, "
                                                     "1.000000 to 1.000000 (0.000 s), CAN FD: no, 0 notes, "
                                                     "65537 lines");
}

void TestCanlog::importReportsWhatItRead()
{
    QFETCH(QByteArray, log);
    QFETCH(QByteArray, result);
    write(QStringLiteral("x.log"), log);
    const Outcome outcome = canlog(words("import x.log"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, "x.log: " + result + ", stored in canlog-store\n");
    QCOMPARE(outcome.status, 0);
}

void TestCanlog::importNeedsNoStoreOption()
{
    write(QStringLiteral("small.log"), smallLog);
    QCOMPARE(canlog(words("import small.log")).out, "small.log: " + smallResult + ", stored in canlog-store\n");
    QVERIFY(QFileInfo(path(QStringLiteral("canlog-store"))).isDir());
    QCOMPARE(canlog(words("show")).out, heading + smallTable);
}

void TestCanlog::importAddsToTheStore()
{
    write(QStringLiteral("small.log"), smallLog);
    QCOMPARE(canlog(words("import small.log")).status, 0);
    QCOMPARE(canlog(words("import --again small.log small.log")).out,
             "small.log: " + smallResult + ", stored in canlog-store\n" //
                 + "small.log: " + smallResult + ", stored in canlog-store\n");
    const Outcome shown = canlog(words("show"));
    QCOMPARE(shown.err, QByteArray());
    QCOMPARE(shown.out, heading + smallTable + smallTable + smallTable);
}

void TestCanlog::importOfTheExample()
{
    QFile example(QStringLiteral(CANLOG_EXAMPLES "/drive.log"));
    QVERIFY(example.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = example.readAll().trimmed().split('\n');
    QVERIFY(lines.size() > 2000);

    const Outcome imported = canlog({QStringLiteral("import"), example.fileName()});
    QCOMPARE(imported.err, QByteArray());
    QCOMPARE(imported.status, 0);
    const QByteArray first = lines.first().mid(1, 17);
    const QByteArray last = lines.last().mid(1, 17);
    const QByteArray expected =
        ": Candump, " + QByteArray::number(lines.size()) + " messages, 17 identifiers, " + first + " to " + last;
    QVERIFY2(imported.out.contains(expected), imported.out.constData());

    // Every frame of the log, in order, written the way the table writes it.
    const QList<QByteArray> rows = canlog(words("show")).out.trimmed().split('\n');
    QCOMPARE(rows.size(), lines.size() + 1);
    for (int i = 0; i < lines.size(); ++i) {
        const QList<QByteArray> frame = lines.at(i).split(' ').last().split('#');
        QList<QByteArray> row{QByteArray::number(i),
                              lines.at(i).mid(1, 17),
                              lines.at(i).contains(" can1 ") ? "2" : "1",
                              "Rx",
                              frame.first(),
                              "-",
                              QByteArray::number(frame.last().size() / 2)};
        for (int byte = 0; byte < frame.last().size(); byte += 2)
            row += frame.last().mid(byte, 2);
        QCOMPARE(rows.at(i + 1).simplified(), row.join(' '));
    }
}

void TestCanlog::importOfTheSmallExamples_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("result");
    const auto row = [](const char *type, const char *file, const char *result) {
        QTest::newRow(file) << QString::fromLatin1(type) << QString::fromLatin1(file) << QByteArray(result);
    };
    row("trc11", "washer-trc11.trc",
        "PeakTraceV11, 10 messages, 5 identifiers, 0.004200 to 0.154200 (0.150 s), CAN FD: no, 1 note, 24 lines (14 "
        "other)");
    row("trc21", "washer-trc21.trc",
        "PeakTraceV21, 10 messages, 7 identifiers, 0.004200 to 0.201350 (0.197 s), CAN FD: yes, 0 notes, 22 lines (12 "
        "other)");
    row("coctt", "conformance-test.txt",
        "CoCTTLog, 7 messages, 4 identifiers, 45005.041000 to 45008.001000 (2.960 s), CAN FD: no, 3 notes, 13 lines (6 "
        "other)");
    row("ixxat", "ixxat.csv",
        "IxxatLog, 7 messages, 5 identifiers, 0.004200 to 72.000250 (71.996 s), CAN FD: no, 0 notes, 8 lines (1 "
        "other)");
    row("generic", "columns.txt",
        "GenericFile, 5 messages, 4 identifiers, 0.004200 to 0.154250 (0.150 s), CAN FD: no, 0 notes, 10 lines (4 "
        "other, 1 dropped, 1 faulty)");
}

void TestCanlog::importOfTheSmallExamples()
{
    QFETCH(QString, type);
    QFETCH(QString, file);
    QFETCH(QByteArray, result);
    const QString example = QStringLiteral(CANLOG_EXAMPLES "/") + file;
    const Outcome imported = canlog({QStringLiteral("import"), QStringLiteral("--type"), type, example});
    QCOMPARE(imported.err, QByteArray());
    QCOMPARE(imported.out, example.toLocal8Bit() + ": " + result + ", stored in canlog-store\n");
    QCOMPARE(imported.status, 0);
}

void TestCanlog::exampleIsReproducible()
{
    QCOMPARE(run(QStringLiteral(CANLOG_EXAMPLES "/make-drive-log"), {QStringLiteral("again.log")}).status, 0);
    QFile example(QStringLiteral(CANLOG_EXAMPLES "/drive.log"));
    QFile again(path(QStringLiteral("again.log")));
    QVERIFY(example.open(QIODevice::ReadOnly));
    QVERIFY(again.open(QIODevice::ReadOnly));
    QVERIFY(example.readAll() == again.readAll());
}

void TestCanlog::exampleOfEachFormat_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("start");
    QTest::addColumn<QByteArray>("end");
    // Each holds the first 24 frames of the drive as far as its format can, and what else is special to the format.
    QTest::newRow("kvaser") << QStringLiteral("drive-kvaser.txt") << QByteArray("KvaserTxtLog, 24 messages, ")
                            << QByteArray("CAN FD: no, 0 notes, 31 lines (7 other)");
    QTest::newRow("canking") << QStringLiteral("drive-canking.txt") << QByteArray("KvaserCanKingLog, 24 messages, ")
                             << QByteArray("CAN FD: no, 0 notes, 25 lines (1 other)");
    QTest::newRow("VectorAscLog") << QStringLiteral("drive.asc") << QByteArray("VectorAscLog, 25 messages, ")
                                  << QByteArray("CAN FD: no, 3 notes, 31 lines (6 other)");
    QTest::newRow("asc-nobitcount") << QStringLiteral("drive-nobitcount.asc")
                                    << QByteArray("VectorAscLogWithoutBitcount, 26 messages, ")
                                    << QByteArray("CAN FD: yes, 0 notes, 32 lines (6 other)");
    QTest::newRow("wireshark") << QStringLiteral("drive-wireshark.csv") << QByteArray("WiresharkCsv, 20 messages, ")
                               << QByteArray("CAN FD: yes, 0 notes, 27 lines (1 other, 6 dropped, 6 faulty)");
    QTest::newRow("norvik") << QStringLiteral("drive-norvik.txt") << QByteArray("NorvikTxt, 27 messages, ")
                            << QByteArray("CAN FD: yes, 3 notes, 28 lines (1 other)");
}

void TestCanlog::exampleOfEachFormat()
{
    QFETCH(QString, file);
    QFETCH(QByteArray, start);
    QFETCH(QByteArray, end);
    const QString example = QStringLiteral(CANLOG_EXAMPLES "/") + file;
    const QString type = QString::fromUtf8(QTest::currentDataTag());
    const Outcome imported = canlog({QStringLiteral("import"), QStringLiteral("--type"), type, example});
    QCOMPARE(imported.err, QByteArray());
    QCOMPARE(imported.status, 0);
    const QByteArray begin = example.toUtf8() + ": " + start;
    QVERIFY2(imported.out.startsWith(begin), imported.out.constData());
    QVERIFY2(imported.out.endsWith(end + ", stored in canlog-store\n"), imported.out.constData());

    // A log shows the same messages by itself as out of a store.
    const Outcome shown = canlog({QStringLiteral("show"), QStringLiteral("--type"), type, example});
    const QByteArray warning = example.toUtf8() + ": warning: 6 of 27 lines dropped or read in part, ";
    QVERIFY2(end.contains("faulty") ? shown.err.startsWith("canlog: " + warning) : shown.err.isEmpty(),
             shown.err.constData());
    QCOMPARE(shown.status, 0);
    const auto rowsOf = [](const QByteArray &table) {
        QList<QByteArray> rows;
        for (const QByteArray &row : table.split('\n'))
            rows.append(row.simplified());
        return rows;
    };
    QCOMPARE(rowsOf(shown.out), rowsOf(canlog(words("show")).out));
}

void TestCanlog::importerTypes_data()
{
    QTest::addColumn<QString>("shortName");
    QTest::addColumn<QString>("number");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("log");

    const auto row = [](const char *shortName, const char *number, const char *name, const QByteArray &log) {
        QTest::newRow(shortName) << QString::fromLatin1(shortName) << QString::fromLatin1(number) << QByteArray(name)
                                 << log;
    };
    row("trc11", "5", "PeakTraceV11", "1) 1250.5 Rx 0123 2 AA BB\n");
    row("trc12", "6", "PeakTraceV12", "1) 1250.5 1 Rx 0123 2 AA BB\n");
    row("trc13", "7", "PeakTraceV13", "1) 1250.5 1 Rx 0123 - 2 AA BB\n");
    row("trc20", "8", "PeakTraceV20", ";$COLUMNS=N,O,T,I,d,l,D\n1 1250.500 DT 0123 Rx 2 AA BB\n");
    row("trc21", "9", "PeakTraceV21", ";$COLUMNS=N,O,T,I,d,R,l,D\n1 1250.500 DT 0123 Rx - 2 AA BB\n");
    row("coctt", "17", "CoCTTLog", "1 : 00:00:01.250 : Test CAN : 1 123 Rx DF 2 AA BB\n");
    row("ixxat", "18", "IxxatLog", "No,Bus,Time,Type,ID,Data\n1,1,1.250.500,Std,123,AA BB\n");
    row("generic", "20", "GenericFile", "1.250500 0 123 Rx x 2 AA BB\n");
}

/// What a log of one frame has: the line of the frame and perhaps one of a header.
static QByteArray linesText(const QByteArray &log)
{
    return log.count('\n') == 1 ? "1 line" : "2 lines (1 other)";
}

void TestCanlog::importerTypes()
{
    QFETCH(QString, shortName);
    QFETCH(QString, number);
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, log);
    write(QStringLiteral("x.log"), log);
    const QByteArray time = shortName == QLatin1String("coctt") ? "1.250000" : "1.250500";
    for (const QString &type : {shortName, shortName.toUpper(), number, QString::fromLatin1(name.toLower())}) {
        const Outcome imported = canlog({QStringLiteral("import"), QStringLiteral("--again"), QStringLiteral("--type"),
                                         type, QStringLiteral("x.log")});
        QCOMPARE(imported.err, QByteArray());
        QCOMPARE(imported.out, "x.log: " + name + ", 1 message, 1 identifier, " + time + " to " + time
                                   + " (0.000 s), CAN FD: no, 0 notes, " + linesText(log)
                                   + ", stored in canlog-store\n");
        QCOMPARE(imported.status, 0);
        const Outcome shown = canlog({QStringLiteral("show"), QStringLiteral("--type"), type, QStringLiteral("x.log")});
        QCOMPARE(shown.err, QByteArray());
        QCOMPARE(shown.out, heading + "       0           " + time + "        0  Rx          123  -        2  AA BB\n");
        QCOMPARE(shown.status, 0);
    }
}

void TestCanlog::columns_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("row");

    const QByteArray byDefault = "0 16.000002 17 Rx 123 - 1 AA";
    QTest::newRow("default") << QStringList() << byDefault;
    QTest::newRow("the same in words") << QStringList{QStringLiteral("--columns"), QStringLiteral("t n i ? ? l d")}
                                       << byDefault;
    QTest::newRow("decimal identifier first")
        << QStringList{QStringLiteral("--columns"), QStringLiteral("? I t ? n l d")}
        << QByteArray("0 123.000000 3 Rx 011 - 1 AA");
    QTest::newRow("other signs for what is not read")
        << QStringList{QStringLiteral("--columns"), QStringLiteral("- * i")} << QByteArray("0 0.000000 0 Rx 123 - 0");
    QTest::newRow("time alone") << QStringList{QStringLiteral("--columns=t")} << QByteArray("0 16.000002 0 Rx 000 - 0");
}

void TestCanlog::columns()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, row);
    write(QStringLiteral("x.txt"), "16.2 17 123 y 3 1 AA\n");
    options += QStringList{QStringLiteral("--type"), QStringLiteral("generic"), QStringLiteral("x.txt")};

    const Outcome shown = canlog(QStringList{QStringLiteral("show")} + options);
    QCOMPARE(shown.err, QByteArray());
    QCOMPARE(shown.out.split('\n').value(1).simplified(), row);
    QCOMPARE(shown.status, 0);

    const Outcome imported = canlog(QStringList{QStringLiteral("import")} + options);
    QCOMPARE(imported.err, QByteArray());
    QCOMPARE(imported.status, 0);
    QCOMPARE(canlog(words("show")).out, shown.out);
}

void TestCanlog::importerErrorText()
{
    write(QStringLiteral("100%1.trc"), "1) 1250.5 Rx 0123 2 AA BB\n2) 1250.5\n");
    const Outcome shown = canlog(words("show --type trc11 100%1.trc"));
    const auto complaint = [](const QByteArray &file) {
        return "canlog: 100%1.trc: cannot be read as PeakTraceV11 (Import error occured at line 2 of file " + file
               + ".); try another --type\n";
    };
    QCOMPARE(shown.err, complaint("100%1.trc"));
    QCOMPARE(shown.status, 1);
    const Outcome imported = canlog(words("import --type trc11 100%1.trc"));
    const QByteArray importedPath = QFileInfo(path(QStringLiteral("100%1.trc"))).absoluteFilePath().toLocal8Bit();
    QCOMPARE(imported.err, complaint(importedPath));
    QCOMPARE(imported.out, QByteArray());
    QCOMPARE(imported.status, 1);
}

void TestCanlog::typeIsTakenByNumberAndName_data()
{
    QTest::addColumn<QString>("type");
    for (const char *type : {"21", "candump", "CANDump", "Candump", "CANDUMP"})
        QTest::newRow(type) << QString::fromLatin1(type);
}

void TestCanlog::typeIsTakenByNumberAndName()
{
    QFETCH(QString, type);
    write(QStringLiteral("small.log"), smallLog);
    const Outcome outcome =
        canlog({QStringLiteral("import"), QStringLiteral("--type"), type, QStringLiteral("small.log")});
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, "small.log: " + smallResult + ", stored in canlog-store\n");
    QCOMPARE(outcome.status, 0);
}

void TestCanlog::importOfAChunkFile()
{
    write(QStringLiteral("small.log"), smallLog);
    QCOMPARE(canlog(words("import --store first small.log")).status, 0);
    const QDir first(path(QStringLiteral("first")));
    const QStringList chunks = first.entryList({QStringLiteral("*.qcl")});
    QCOMPARE(chunks.size(), 1);

    const Outcome imported =
        canlog({QStringLiteral("import"), QStringLiteral("--type"), QStringLiteral("qcl"), QStringLiteral("--store"),
                QStringLiteral("second"), QStringLiteral("first/") + chunks.constFirst()});
    QCOMPARE(imported.err, QByteArray());
    QByteArray result = smallResult;
    result.replace("Candump", "QclFile").replace(", 3 lines", ""); // it has none
    QCOMPARE(imported.out, "first/" + chunks.constFirst().toUtf8() + ": " + result + ", stored in second\n");
    QCOMPARE(imported.status, 0);
    QCOMPARE(canlog(words("show --store second")).out, heading + smallTable);

    const Outcome refused = canlog(words("import --type qcl --store second small.log"));
    QCOMPARE(refused.out, QByteArray());
    QCOMPARE(refused.err,
             QByteArray("canlog: small.log: cannot be read as QclFile (it is no data chunk); try another --type\n"));
    QCOMPARE(refused.status, 1);
}

void TestCanlog::everyFailureHasItsOwnReason()
{
    write(QStringLiteral("small.log"), smallLog);
    QCOMPARE(canlog(words("import --store first small.log")).status, 0);
    QFile chunk(path(QStringLiteral("first/chunk-00000001.qcl")));
    QVERIFY(chunk.open(QIODevice::ReadOnly));
    const QByteArray whole = chunk.readAll();
    write(QStringLiteral("cut.qcl"), whole.chopped(1));
    write(QStringLiteral("wrong.qcl"), whole.chopped(4) + "sum?");
    const QByteArray cut = "canlog: cut.qcl: cannot be read as QclFile (it ends too early); try another --type\n";
    const QByteArray wrong =
        "canlog: wrong.qcl: cannot be read as QclFile (its checksum is wrong); try another --type\n";

    const Outcome imported = canlog(words("import --type qcl cut.qcl first/chunk-00000001.qcl wrong.qcl"));
    QCOMPARE(imported.err, cut + wrong);
    QCOMPARE(imported.out.count('\n'), 1);
    QCOMPARE(imported.status, 1);
    for (const auto &[name, line] : {std::make_pair("cut.qcl", cut), std::make_pair("wrong.qcl", wrong)}) {
        const Outcome shown = canlog(words("show --type qcl") << QString::fromLatin1(name));
        QCOMPARE(shown.err, line);
        QCOMPARE(shown.status, 1);
    }
}

void TestCanlog::noMessages()
{
    write(QStringLiteral("notes.txt"), "no frame in here\n");
    const Outcome imported = canlog(words("import --type SocketCanDump notes.txt"));
    QCOMPARE(imported.out,
             QByteArray("notes.txt: SocketCanDump, 0 messages, CAN FD: no, 0 notes, 1 line (1 dropped, 1 faulty), "
                        "stored in canlog-store\n"));
    QCOMPARE(imported.err, QByteArray("canlog: notes.txt: no message in it when read as SocketCanDump: 1 of 1 line "
                                      "dropped or read in part, the first at line 1, column 17 (too few columns for a "
                                      "frame); try another --type ('canlog formats' lists them)\n"));
    QCOMPARE(imported.status, 1); // all there is was dropped

    const Outcome shown = canlog(words("show --type SocketCanDump notes.txt"));
    QCOMPARE(shown.out, heading);
    QCOMPARE(shown.err, imported.err);
    QCOMPARE(shown.status, 1);

    const Outcome store = canlog(words("show"));
    QCOMPARE(store.out, heading);
    QCOMPARE(store.err, QByteArray());
    QCOMPARE(store.status, 0);
    for (const char *arguments : {"stats --store canlog-store", "convert --store canlog-store --to csv", "zip a.zip"}) {
        const Outcome outcome = canlog(words(arguments));
        QCOMPARE(outcome.err, QByteArray());
        QCOMPARE(outcome.status, 0);
    }
}

void TestCanlog::folderThatIsNoStore_data()
{
    QTest::addColumn<QStringList>("arguments");
    for (const char *arguments :
         {"show --store logs", "stats --store logs", "convert --store logs out.csv", "zip --store logs a.zip"})
        QTest::newRow(arguments) << words(arguments);
}

void TestCanlog::folderThatIsNoStore()
{
    QFETCH(QStringList, arguments);
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("logs")));
    write(QStringLiteral("logs/small.log"), smallLog);
    const Outcome outcome = canlog(arguments);
    QCOMPARE(outcome.err,
             QByteArray("canlog: logs: is no store: there are no chunk files in it; import a log first, or "
                        "name another folder with --store\n"));
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
    QCOMPARE(QDir(folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("logs")});

    // A folder becomes a store with the first import.
    QCOMPARE(canlog(words("import --store logs logs/small.log")).status, 0);
    QCOMPARE(canlog(arguments).status, 0);
}

void TestCanlog::quietIsAccepted_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char *arguments : {"import --again %1 small.log", "show %1", "show small.log %1", "stats %1",
                                  "count small.log %1", "convert small.log %1 --to csv", "zip %1 b.zip",
                                  "unzip %1 a.zip", "merge --again %1 a.zip", "check %1 a.zip"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
}

void TestCanlog::quietIsAccepted()
{
    QFETCH(QString, arguments);
    write(QStringLiteral("small.log"), smallLog);
    QCOMPARE(canlog(words("import small.log")).status, 0);
    QCOMPARE(canlog(words("zip a.zip")).status, 0);
    for (const char *option : {"-q", "--quiet"}) {
        const Outcome outcome = canlog(words(arguments.arg(QLatin1String(option)).toLatin1().constData()));
        QCOMPARE(outcome.err, QByteArray());
        QVERIFY(!outcome.out.isEmpty());
        QCOMPARE(outcome.status, 0);
    }
}

void TestCanlog::unusualFileNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("shownName");
    QTest::addColumn<QString>("locale");

    const QString umlaut = QString::fromUtf8("Prüfstand Ω.log");
    const QString cUtf8 = QStringLiteral("C.UTF-8");
    QTest::newRow("umlaut") << umlaut << umlaut << cUtf8;
    QTest::newRow("umlaut in the C locale") << umlaut << umlaut << QStringLiteral("C");
    QTest::newRow("option-like") << QStringLiteral("--type") << QStringLiteral("--type") << cUtf8;
    QTest::newRow("place marker") << QStringLiteral("%1%2.log") << QStringLiteral("%1%2.log") << cUtf8;
    QTest::newRow("control characters") << QStringLiteral("a\nb\033[2Jc.log")
                                        << QStringLiteral("aU+000AbU+001B[2Jc.log") << cUtf8;
}

void TestCanlog::unusualFileNames()
{
    QFETCH(QString, name);
    QFETCH(QString, shownName);
    QFETCH(QString, locale);
    write(name, smallLog);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), locale);
    const Outcome imported =
        run(QStringLiteral(CANLOG_PROGRAM), {QStringLiteral("import"), QStringLiteral("--"), name}, environment);
    QCOMPARE(imported.err, QByteArray());
    QCOMPARE(imported.out, shownName.toUtf8() + ": " + smallResult + ", stored in canlog-store\n");
    QCOMPARE(imported.status, 0);

    const Outcome missing =
        run(QStringLiteral(CANLOG_PROGRAM),
            {QStringLiteral("show"), QStringLiteral("--"), QStringLiteral("no/") + name}, environment);
    QCOMPARE(missing.err, "canlog: no/" + shownName.toUtf8() + ": no such file; check its name and the folder\n");
    QCOMPARE(missing.status, 1);
}

void TestCanlog::undecodableFileName()
{
    // Latin-1 in a UTF-8 locale.
    const Outcome outcome = shell(QStringLiteral("name=$(printf 'M\\374ller.log'); : > \"$name\"; "
                                                 "LC_ALL=C.UTF-8 \"$canlog\" import \"$name\"; status=$?; "
                                                 "rm \"$name\"; exit $status"));
    QCOMPARE(outcome.err, QByteArray("canlog: M\xEF\xBF\xBDller.log: no such file; its name has bytes that are no "
                                     "characters in this locale, rename it\n"));
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
}

// ---- what goes wrong

void TestCanlog::unreadableFiles_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("problem");

    QTest::newRow("empty name") << QString() << QByteArray("no such file; check its name and the folder\n");
    QTest::newRow("missing") << QStringLiteral("missing.log")
                             << QByteArray("no such file; check its name and the folder\n");
    QTest::newRow("folder") << QStringLiteral("logs") << QByteArray("is a folder; name the files in it\n");
    QTest::newRow("store") << QStringLiteral(
        "trips") << QByteArray("is the folder of a store; 'canlog show', 'stats' and 'convert' read it with --store\n");
    const QByteArray notPlain = "is a pipe, socket or device; name a plain file, or - for standard input\n";
    QTest::newRow("socket") << QStringLiteral("socket") << notPlain;
    QTest::newRow("named pipe") << QStringLiteral("pipe") << notPlain;
    QTest::newRow("link to a named pipe") << QStringLiteral("link") << notPlain;
    QTest::newRow("device") << QStringLiteral("/dev/null") << notPlain;
}

void TestCanlog::unreadableFiles()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, problem);
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("logs")));
    write(QStringLiteral("small.log"), smallLog);
    QCOMPARE(canlog(words("import --store trips small.log")).status, 0);
    const int socketDescriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, QFile::encodeName(path(QStringLiteral("socket"))).constData(), sizeof address.sun_path);
    QCOMPARE(::bind(socketDescriptor, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    ::close(socketDescriptor);
    QCOMPARE(::mkfifo(QFile::encodeName(path(QStringLiteral("pipe"))).constData(), 0600), 0);
    QVERIFY(QFile::link(path(QStringLiteral("pipe")), path(QStringLiteral("link"))));
    const auto removeSocket = qScopeGuard([&] { QFile::remove(path(QStringLiteral("socket"))); });

    for (const QString &subcommand : {QStringLiteral("import"), QStringLiteral("show"), QStringLiteral("count")}) {
        const Outcome outcome = canlog({subcommand, name});
        const QByteArray shownName = name.isEmpty() ? QByteArray("''") : name.toUtf8();
        QCOMPARE(outcome.err, "canlog: " + shownName + ": " + problem);
        QCOMPARE(outcome.out, QByteArray());
        QCOMPARE(outcome.status, 1);
    }
}

void TestCanlog::redirectedInput()
{
    if (!QFileInfo::exists(QStringLiteral("/dev/stdin")))
        QSKIP("needs /dev/stdin");
    write(QStringLiteral("small.log"), smallLog);
    const Outcome imported = shell(QStringLiteral("exec \"$canlog\" import /dev/stdin < small.log"));
    QCOMPARE(imported.err, QByteArray());
    QCOMPARE(imported.out, "/dev/stdin: " + smallResult + ", stored in canlog-store\n");
    QCOMPARE(imported.status, 0);
    const Outcome piped = shell(QStringLiteral("cat small.log | \"$canlog\" import /dev/stdin"));
    QCOMPARE(
        piped.err,
        QByteArray("canlog: /dev/stdin: is a pipe, socket or device; name a plain file, or - for standard input\n"));
    QCOMPARE(piped.status, 1);
}

void TestCanlog::failuresDoNotStopTheOthers()
{
    write(QStringLiteral("first.log"), smallLog);
    write(QStringLiteral("last.log"), smallLog);
    const Outcome outcome = canlog(words("import first.log missing.log last.log"));
    QCOMPARE(outcome.err, QByteArray("canlog: missing.log: no such file; check its name and the folder\n"));
    QCOMPARE(outcome.out,
             "first.log: " + smallResult + ", stored in canlog-store\n" //
                 + "last.log: " + smallResult + ", stored in canlog-store\n");
    QCOMPARE(outcome.status, 1);
    QCOMPARE(canlog(words("show")).out, heading + smallTable + smallTable);
}

void TestCanlog::missingFileMakesNoStore()
{
    QCOMPARE(canlog(words("import missing.log")).status, 1);
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("canlog-store"))));
}

void TestCanlog::lockedStore()
{
    write(QStringLiteral("small.log"), smallLog);
    QCOMPARE(canlog(words("import small.log")).status, 0);
    ChunkStore holder;
    QVERIFY(holder.open(path(QStringLiteral("canlog-store")), ChunkStore::Mode::ReadWrite));

    const Outcome imported = canlog(words("import small.log"));
    QVERIFY2(imported.err.startsWith("canlog: ") && imported.err.contains("canlog-store"), imported.err.constData());
    QVERIFY2(imported.err.contains("lock") || imported.err.contains("in use"), imported.err.constData());
    QCOMPARE(imported.err.count('\n'), 1);
    QCOMPARE(imported.out, QByteArray());
    QCOMPARE(imported.status, 1);

    const Outcome shown = canlog(words("show"));
    QCOMPARE(shown.err, QByteArray());
    QCOMPARE(shown.out, heading + smallTable);
    QCOMPARE(shown.status, 0);
}

void TestCanlog::unusableStore_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("line"); // the end of it, where the store begins it

    const QByteArray isFile = "canlog: small.log: is a file; a store is a folder, name one with --store\n";
    QTest::newRow("import into a file") << words("import small.log --store small.log") << isFile;
    QTest::newRow("show a file as a store") << words("show --store small.log") << isFile;
    QTest::newRow("cannot be made")
        << words("import small.log --store small.log/store")
        << QByteArray("small.log/store cannot be made: Not a directory; name another folder with --store\n");
    QTest::newRow("cannot be made in /proc")
        << words("import small.log --store /proc/store")
        << QByteArray("/proc/store cannot be made: No such file or directory; name another folder with --store\n");
    QTest::newRow("does not exist")
        << words("show --store missing")
        << QByteArray("canlog: missing: no such store; import a log first, or name its folder with --store\n");
    QTest::newRow("default does not exist")
        << words("show")
        << QByteArray("canlog: canlog-store: no such store; import a log first, or name its folder with --store\n");
}

void TestCanlog::unusableStore()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, line);
    write(QStringLiteral("small.log"), smallLog);
    const Outcome outcome = canlog(arguments);
    QVERIFY2(outcome.err.startsWith("canlog: ") && outcome.err.endsWith(line), outcome.err.constData());
    QCOMPARE(outcome.err.count('\n'), 1);
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
}

void TestCanlog::fullDisk_data()
{
    QTest::addColumn<QString>("preparation");
    // A limit on the size of a file fails a write as a full disk does. Its signal ends the program when it is heeded.
    QTest::newRow("signal ignored by the shell") << QStringLiteral("trap '' XFSZ; ");
    QTest::newRow("signal as it comes") << QString();
}

void TestCanlog::fullDisk()
{
    QFETCH(QString, preparation);
    write(QStringLiteral("small.log"), smallLog);
    QCOMPARE(canlog(words("import small.log")).status, 0);

    QByteArray large;
    for (int i = 0; i < 100000; ++i)
        large += "(1.0) can0 123#" + QByteArray::number(i).rightJustified(16, '0') + '\n';
    write(QStringLiteral("large.log"), large);
    const Outcome outcome =
        shell(preparation + QStringLiteral("ulimit -c 0; ulimit -f 64; exec \"$canlog\" import large.log"));
    QVERIFY2(outcome.err.startsWith("canlog: large.log: "), outcome.err.constData());
    QVERIFY2(!outcome.err.contains("Unknown error"), outcome.err.constData());
    QCOMPARE(outcome.err.count('\n'), 1);
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);

    const Outcome shown = canlog(words("show"));
    QCOMPARE(shown.err, QByteArray());
    QCOMPARE(shown.out, heading + smallTable);
}

// ---- show

void TestCanlog::showsEveryField()
{
    QList<CAN::CanRxMessage> messages;
    CAN::CanRxMessage message;
    message.timeStamp = {1, 2};
    message.id = 0x5;
    message.dlc = 1;
    message.data[0] = 0x0A;
    message.isTx = true;
    message.channel = 2;
    messages << message;

    message = {};
    message.messageIndex = 1;
    message.id = 0x5;
    message.isExtended = true;
    message.isRemote = true;
    message.dlc = 8;
    messages << message;

    message = {};
    message.messageIndex = 2;
    message.timeStamp = {2147483647, 999999};
    message.id = 0x1FFFFFFF;
    message.isExtended = true;
    message.isFd = true;
    message.isBrs = true;
    message.isEsi = true;
    message.dlc = 12;
    for (quint8 i = 0; i < 12; ++i)
        message.data[i] = quint8(0xF0 + i);
    message.channel = 65535;
    messages << message;

    message = {};
    message.messageIndex = 3;
    message.id = 0xFFFF00EF;
    messages << message;

    message = {};
    message.messageIndex = 4;
    message.timeStamp = {3, 1234567};
    message.id = 0x7FF;
    message.dlc = 8;
    messages << message;

    message = {};
    message.messageIndex = 5;
    message.timeStamp = {-1, -50000};
    message.id = 0x7FF;
    messages << message;

    {
        ChunkStore store;
        QVERIFY(store.open(path(QStringLiteral("canlog-store")), ChunkStore::Mode::ReadWrite));
        store.setImportStarted();
        store.addImportedMessages(messages, {{0, QString::fromUtf8("Türe auf")},
                                             {2, QStringLiteral("wide")},
                                             {3, QStringLiteral("Stuff\nerror")},
                                             {4, QStringLiteral("full")},
                                             {5, QStringLiteral("before")},
                                             {99, QStringLiteral("the start")}});
        store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("made up"), true);
    }

    const QByteArray expected =
        heading
        + "       0           1.000002        2  Tx          005  -        1  0A                       Türe auf\n"
          "       1           0.000000        0  Rx     00000005  R        8\n"
          "       2  2147483647.999999    65535  Rx     1FFFFFFF  FBE     12  "
          "F0 F1 F2 F3 F4 F5 F6 F7 F8 F9 FA FB  wide\n"
          "       3           0.000000        0  Rx        error  -        0                           "
          "StuffU+000Aerror\n"
          "       4           4.234567        0  Rx          7FF  -        8  00 00 00 00 00 00 00 00  full\n"
          "       5          -1.050000        0  Rx          7FF  -        0                           "
          "before | the start\n";
    const Outcome outcome = canlog(words("show"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, expected);
    QCOMPARE(outcome.status, 0);

    // The chunk file alone shows the same.
    const Outcome chunk = canlog(words("show --type qcl canlog-store/chunk-00000001.qcl"));
    QCOMPARE(chunk.err, QByteArray());
    QCOMPARE(chunk.out, expected);
    QCOMPARE(canlog(words("show --type qcl canlog-store/chunk-00000001.qcl --id 1FFFFFFF")).out,
             heading + expected.split('\n').at(3) + '\n');

    // "error" chooses error frames.
    const QList<QByteArray> rows = canlog(words("show --id error,1fffffff")).out.split('\n');
    QCOMPARE(rows.size(), 4);
    QVERIFY(rows.at(1).startsWith("       2"));
    QVERIFY(rows.at(2).startsWith("       3"));
}

void TestCanlog::showsAtMost64Bytes()
{
    write(QStringLiteral("long.log"), "(1.0) can0 123 [200]" + QByteArray(" 5A").repeated(80) + '\n');
    const QByteArray row =
        "       0           1.000000        0  Rx          123  -      200 " + QByteArray(" 5A").repeated(64) + '\n';
    QCOMPARE(canlog(words("show --type SocketCanDump long.log")).out, heading + row);
    QCOMPARE(canlog(words("import --type SocketCanDump long.log")).status, 0);
    QCOMPARE(canlog(words("show")).out, heading + row);
}

void TestCanlog::showsAFile()
{
    write(QStringLiteral("small.log"), smallLog);
    for (const char *arguments : {"show small.log --type candump", "show --type 21 small.log", "show small.log"}) {
        const Outcome outcome = canlog(words(arguments));
        QCOMPARE(outcome.err, QByteArray());
        QCOMPARE(outcome.out, heading + smallTable);
        QCOMPARE(outcome.status, 0);
    }
    QCOMPARE(QDir(folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("small.log")});
}

void TestCanlog::showsAChunkFile()
{
    write(QStringLiteral("small.log"), smallLog);
    QCOMPARE(canlog(words("import small.log")).status, 0);
    const Outcome shown = shell(QStringLiteral("exec \"$canlog\" show canlog-store/*.qcl --type qcl"));
    QCOMPARE(shown.err, QByteArray());
    QCOMPARE(shown.out, heading + smallTable);
    QCOMPARE(shown.status, 0);
    const Outcome limited = shell(QStringLiteral("exec \"$canlog\" show canlog-store/*.qcl --type qcl --limit 2"));
    QCOMPARE(limited.out.count('\n'), 3);

    const Outcome refused = canlog(words("show small.log --type qcl"));
    QCOMPARE(refused.err,
             QByteArray("canlog: small.log: cannot be read as QclFile (it is no data chunk); try another --type\n"));
    QCOMPARE(refused.status, 1);
}

void TestCanlog::showsWhatStandsBeforeALineThatEndsTheLog()
{
    // The first line is a frame; of the second one the identifier and all after it are missing.
    write(QStringLiteral("cut.trc"), "     1)      2457.5  Rx         0300  2  00 11\n     2)      2458.0  Rx\n");
    const Outcome shown = canlog(words("show --type trc11 cut.trc"));
    QCOMPARE(shown.out.count('\n'), 2); // heading and frame
    QVERIFY2(shown.out.contains("  2.457500 ") && shown.out.contains(" 00 11"), shown.out.constData());
    QCOMPARE(shown.err, QByteArray("canlog: cut.trc: cannot be read as PeakTraceV11 (Import error occured at line 2 of "
                                   "file cut.trc.); try another --type\n"));
    QCOMPARE(shown.status, 1);
    const Outcome counted = canlog(words("count --type trc11 cut.trc"));
    QCOMPARE(counted.out, QByteArray());
    QCOMPARE(counted.status, 1);
}

void TestCanlog::idFilter_data()
{
    QTest::addColumn<QString>("ids");
    QTest::addColumn<QByteArray>("indices");

    QTest::newRow("standard") << QStringLiteral("123") << QByteArray("0 3");
    QTest::newRow("standard, short") << QStringLiteral("5") << QByteArray("2");
    QTest::newRow("extended") << QStringLiteral("18FEF100") << QByteArray("1");
    QTest::newRow("lower case") << QStringLiteral("18fef100") << QByteArray("1");
    QTest::newRow("prefix") << QStringLiteral("0x123") << QByteArray("0 3");
    QTest::newRow("several") << QStringLiteral("5,18FEF100") << QByteArray("1 2");
    QTest::newRow("blank after the comma") << QStringLiteral("5, 123") << QByteArray("0 2 3");
    QTest::newRow("none of them") << QStringLiteral("7FF") << QByteArray();
    QTest::newRow("extended, low value") << QStringLiteral("00000123") << QByteArray();
    // The screen form with direction does not say that a frame is extended.
    QTest::newRow("extended by value alone") << QStringLiteral("1FF00001") << QByteArray("4");
}

void TestCanlog::idFilter()
{
    QFETCH(QString, ids);
    QFETCH(QByteArray, indices);
    write(QStringLiteral("x.log"), "(1.0) can0 123#\n(1.1) can0 18FEF100#\n(1.2) can0 005#\n(1.3) can1 123#\n"
                                   "can0  TX - -  1FF00001   [1]  11\n");
    QCOMPARE(canlog(words("import x.log")).status, 0);
    for (const QStringList &source : {QStringList(), QStringList{QStringLiteral("x.log")}}) {
        const Outcome outcome = canlog(QStringList{QStringLiteral("show"), QStringLiteral("--id"), ids} + source);
        QCOMPARE(outcome.err, QByteArray());
        QCOMPARE(outcome.status, 0);
        QList<QByteArray> shown;
        for (const QByteArray &row : outcome.out.trimmed().split('\n').mid(1))
            shown += row.simplified().split(' ').first();
        QCOMPARE(shown.join(' '), indices);
    }
}

void TestCanlog::limit_data()
{
    QTest::addColumn<QString>("limit");
    QTest::addColumn<int>("rows");
    QTest::newRow("0") << QStringLiteral("0") << 0;
    QTest::newRow("1") << QStringLiteral("1") << 1;
    QTest::newRow("2") << QStringLiteral("2") << 2;
    QTest::newRow("as many as there are") << QStringLiteral("3") << 3;
    QTest::newRow("more") << QStringLiteral("4") << 3;
    QTest::newRow("highest") << QStringLiteral("18446744073709551615") << 3;
}

void TestCanlog::limit()
{
    QFETCH(QString, limit);
    QFETCH(int, rows);
    write(QStringLiteral("small.log"), smallLog);
    QCOMPARE(canlog(words("import small.log")).status, 0);
    QByteArray expected = heading;
    for (int i = 0; i < rows; ++i)
        expected += smallTable.split('\n').at(i) + '\n';
    for (const QStringList &source : {QStringList(), QStringList{QStringLiteral("small.log")}}) {
        const Outcome outcome = canlog(QStringList{QStringLiteral("show"), QStringLiteral("--limit"), limit} + source);
        QCOMPARE(outcome.err, QByteArray());
        QCOMPARE(outcome.out, expected);
        QCOMPARE(outcome.status, 0);
    }
    // The limit counts what passes the filter.
    const Outcome filtered = canlog(words("show --limit 1 --id 7FF"));
    QCOMPARE(filtered.out, heading + smallTable.split('\n').at(2) + '\n');
}

void TestCanlog::damagedChunkIsNamed()
{
    write(QStringLiteral("small.log"), smallLog);
    QCOMPARE(canlog(words("import small.log")).status, 0);
    write(QStringLiteral("canlog-store/junk.qcl"), "no chunk at all");
    const Outcome shown = canlog(words("show"));
    QCOMPARE(shown.err, QByteArray("canlog: canlog-store: warning: junk.qcl: it is no data chunk\n"));
    QCOMPARE(shown.out, heading + smallTable);
    QCOMPARE(shown.status, 1);
}

void TestCanlog::onlyChunkIsDamaged()
{
    write(QStringLiteral("small.log"), smallLog);
    QCOMPARE(canlog(words("import small.log")).status, 0);
    QFile chunk(path(QStringLiteral("canlog-store/chunk-00000001.qcl")));
    QVERIFY(chunk.open(QIODevice::ReadWrite));
    QVERIFY(chunk.seek(chunk.size() - 4));
    QCOMPARE(chunk.write("sum?"), qint64(4));
    chunk.close();
    const Outcome shown = canlog(words("show"));
    QCOMPARE(shown.err, QByteArray("canlog: canlog-store: warning: chunk-00000001.qcl: its checksum is wrong\n"));
    QCOMPARE(shown.out, heading);
    QCOMPARE(shown.status, 1);

    // A store can still be added to, with a word about what is missing.
    QVERIFY(chunk.remove());
    const QByteArray warning = "canlog: canlog-store: warning: chunk-00000001.qcl: it is missing\n";
    const Outcome imported = canlog(words("import small.log"));
    QCOMPARE(imported.err, warning);
    QCOMPARE(imported.status, 0);
    const Outcome again = canlog(words("show"));
    QCOMPARE(again.err, warning);
    QCOMPARE(again.out, heading + smallTable);
    QCOMPARE(again.status, 1);
}

// ---- standard output that ends

void TestCanlog::readerGoesAway_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::newRow("store") << QStringLiteral("show --store s");
    QTest::newRow("file") << QStringLiteral("show large.log");
}

void TestCanlog::readerGoesAway()
{
    QFETCH(QString, arguments);
    // Far more than a pipe holds.
    writeLog(QStringLiteral("large.log"), 150000);
    QCOMPARE(canlog(words("import --store s large.log")).status, 0);
    const Outcome outcome = shell(QStringLiteral("{ \"$canlog\" %1; echo $? > status; } | head -n 2").arg(arguments));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out,
             heading + "       0  1700000000.000000        1  Rx          100  -        8  00 00 00 00 00 00 00 00\n");
    QFile status(path(QStringLiteral("status")));
    QVERIFY(status.open(QIODevice::ReadOnly));
    QCOMPARE(status.readAll(), QByteArray("0\n"));
}

void TestCanlog::fullOutput()
{
    if (!QFileInfo::exists(QStringLiteral("/dev/full")))
        QSKIP("needs /dev/full");
    write(QStringLiteral("small.log"), smallLog);
    const Outcome outcome = shell(QStringLiteral("exec \"$canlog\" show small.log > /dev/full"));
    QCOMPARE(outcome.err, QByteArray("canlog: standard output: cannot be written: no space left on the disk\n"));
    QCOMPARE(outcome.status, 1);
}

void TestCanlog::closedOutput()
{
    write(QStringLiteral("small.log"), smallLog);
    Outcome outcome = shell(QStringLiteral("exec \"$canlog\" import small.log <&- >&- 2>&-"));
    QCOMPARE(outcome.status, 1); // the line about it is lost
    const Outcome shown = canlog(words("show"));
    QCOMPARE(shown.err, QByteArray());
    QCOMPARE(shown.out, heading + smallTable);
    for (const char *arguments :
         {"show", "show small.log", "stats small.log", "count small.log", "imports", "--help"}) {
        outcome = shell(QStringLiteral("exec \"$canlog\" %1 >&-").arg(QLatin1String(arguments)));
        QCOMPARE(outcome.err, QByteArray("canlog: standard output: is closed; the results are lost\n"));
        QCOMPARE(outcome.status, 1);
    }
    QCOMPARE(shell(QStringLiteral("exec \"$canlog\" convert small.log --to csv >&-")).status, 1);
}

// ---- the store outlives its writer

/// Opens the store, reads all of it and returns the number of messages; -1 when anything is wrong with it.
static qint64 readWholeStore(const QString &folder)
{
    ChunkStore store;
    if (!store.open(folder, ChunkStore::Mode::Read)) {
        qWarning() << store.errorString();
        return -1;
    }
    quint64 count = 0;
    bool inOrder = true;
    const bool complete = store.forEachMessage([&](const CAN::CanRxMessage &message, const QString &) {
        inOrder = inOrder && message.messageIndex == count;
        ++count;
        return true;
    });
    if (complete && inOrder && store.warnings().isEmpty() && store.messageCount() == count)
        return qint64(count);
    qWarning() << complete << inOrder << store.warnings() << store.messageCount() << count;
    return -1;
}

void TestCanlog::killedImports()
{
    bool ok = false;
    const int wanted = qEnvironmentVariableIntValue("CANLOG_TEST_KILLS", &ok);
    const int kills = ok ? wanted : 50;

    const QString log = writeLog(QStringLiteral("large.log"), killedImportFrames);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(canlog({QStringLiteral("import"), QStringLiteral("--store"), QStringLiteral("whole"), log}).status, 0);
    const int duration = int(timer.nsecsElapsed() / 1000);
    QCOMPARE(readWholeStore(path(QStringLiteral("whole"))), qint64(killedImportFrames));
    write(QStringLiteral("small.log"), smallLog);

    QRandomGenerator random(20240521);
    int killedHalfway = 0;
    for (int i = 0; i < kills; ++i) {
        const QString store = path(QStringLiteral("store%1").arg(i));
        // Every other import is killed at any moment, which on a busy machine may often be before its first chunk. The
        // others have got as far as one of their chunks, however long that takes.
        const bool isTimed = i % 2 == 0;
        const int delay = random.bounded(isTimed ? duration : 10000);
        const QString reached = store + QStringLiteral("/chunk-0000000%1.qcl").arg(random.bounded(1, 4));
        QProcess process;
        process.setWorkingDirectory(folder->path());
        process.start(QStringLiteral(CANLOG_PROGRAM),
                      {QStringLiteral("import"), QStringLiteral("--store"), store, log});
        QVERIFY(process.waitForStarted());
        while (!isTimed && !QFileInfo::exists(reached) && !process.waitForFinished(1))
            continue;
        QThread::usleep(static_cast<unsigned long>(delay));
        process.kill();
        QVERIFY(process.state() == QProcess::NotRunning || process.waitForFinished());
        if (!QFileInfo::exists(store))
            continue; // killed before it came to that

        const qint64 count = readWholeStore(store);
        QVERIFY2(count >= 0 && count <= killedImportFrames && count % 100000 == 0,
                 qPrintable(QStringLiteral("kill %1 after %2 us left %3 messages").arg(i).arg(delay).arg(count)));
        if (count > 0 && count < killedImportFrames)
            ++killedHalfway;

        // What the killed program left behind does not disturb the next import.
        const Outcome next =
            canlog({QStringLiteral("import"), QStringLiteral("--store"), store, QStringLiteral("small.log")});
        // An import that had only its end left to write is removed, too: nobody was told that it succeeded.
        const bool isWhole = count == killedImportFrames && next.err.isEmpty();
        const QByteArray removed = "canlog: " + store.toUtf8() + ": import 1 (" + path(log).toUtf8()
                                   + ") was stopped before its end: its " + QByteArray::number(count)
                                   + " messages are removed\n";
        QCOMPARE(next.err, count == 0 || isWhole ? QByteArray() : removed);
        QCOMPARE(next.status, 0);
        {
            ChunkStore writable;
            QVERIFY2(writable.open(store, ChunkStore::Mode::ReadWrite), qPrintable(writable.errorString()));
            QCOMPARE(writable.messageCount(), quint64(isWhole ? count : 0) + 3);
            QCOMPARE(writable.warnings(), QStringList());
        }
        QVERIFY(QDir(store).removeRecursively());
    }
    // Without these the kills would have shown nothing.
    if (kills >= 2)
        QVERIFY2(killedHalfway >= qMax(1, kills / 10), qPrintable(QString::number(killedHalfway)));
    qInfo("%d of %d imports were killed half-way", killedHalfway, kills);
}

QTEST_GUILESS_MAIN(TestCanlog)
#include "tst_canlog.moc"
