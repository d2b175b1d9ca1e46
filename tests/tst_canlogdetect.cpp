// SPDX-License-Identifier: Apache-2.0
#include "canlogprogram.h"

namespace
{

const QByteArray candump = "(1.5) can0 123#11\n(1.6) can0 124#22\n";
const QByteArray advice =
    "; name it with --type ('canlog formats' lists them), or describe its columns with --columns\n";
const QByteArray unknown = ": unknown format: its first lines are those of no log that canlog knows" + advice;

} // namespace

/// Runs the real program on files of which nothing is said.
class TestCanlogDetect : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void init() { makeFolder(); }

    void oneLineForEachFile();
    void unknownFilesDoNotStopTheOthers();
    void unusualFileNames();
    void wrongUsage();
    void examplesNeedNoType_data();
    void examplesNeedNoType();
    void chunkFilesNeedNoType();
    void autoIsTheDefault();
    void namedTypeIsNotDoubted();
    void importGoesOnAfterAnUnknownFile();
    void unknownFileMakesNoStore();
    void showOfAnUnknownFile();
    void convertedLogsAreKnownAsSuch_data();
    void convertedLogsAreKnownAsSuch();
    void columnsMeanAGenericFile();
    void helpSpeaksOfDetection();
};

void TestCanlogDetect::oneLineForEachFile()
{
    write(QStringLiteral("x.asc"), candump);
    write(QStringLiteral("y"), ";$FILEVERSION=1.3\n1) 1250.5 1 Rx 0123 - 2 AA BB\n");
    const Outcome outcome = canlog(words("detect x.asc y"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.out, QByteArray("x.asc: Candump, certain: frames as in a log file (2 lines from line 1)\n"
                                     "y: PcanTrace, certain: version line (line 1), frames of version 1 (line 2)\n"));
    QCOMPARE(outcome.status, 0);
}

void TestCanlogDetect::unknownFilesDoNotStopTheOthers()
{
    write(QStringLiteral("notes.txt"), "Nothing was recorded.\n");
    write(QStringLiteral("empty"), "");
    write(QStringLiteral("trip.zip"), QByteArray("PK\x03\x04\0\0", 6));
    write(QStringLiteral("x.log"), candump.left(candump.indexOf('\n')));
    const Outcome outcome = canlog(words("detect notes.txt missing empty . trip.zip x.log"));
    QCOMPARE(outcome.out, QByteArray("notes.txt: unknown\n"
                                     "empty: unknown\n"
                                     "trip.zip: unknown\n"
                                     "x.log: Candump, likely: frames as in a log file (line 1)\n"));
    QCOMPARE(outcome.err,
             "canlog: notes.txt" + unknown + "canlog: missing: no such file; check its name and the folder\n"
                 + "canlog: empty: is empty; check how it was recorded or copied\n"
                   "canlog: .: is a folder; name the files in it\n"
                   "canlog: trip.zip: is a zip archive; load it with 'canlog merge' or 'canlog unzip' if 'canlog zip' "
                   "wrote it, or else unpack it first\n");
    QCOMPARE(outcome.status, 1);
}

void TestCanlogDetect::unusualFileNames()
{
    write(QStringLiteral("%1%2.log"), candump);
    write(QStringLiteral("a\nb"), candump);
    const Outcome outcome = canlog({QStringLiteral("detect"), QStringLiteral("%1%2.log"), QStringLiteral("a\nb")});
    const QByteArray result = ": Candump, certain: frames as in a log file (2 lines from line 1)\n";
    QCOMPARE(outcome.out, "%1%2.log" + result + "aU+000Ab" + result);
    QCOMPARE(outcome.status, 0);
}

void TestCanlogDetect::wrongUsage()
{
    const Outcome nothing = canlog(words("detect"));
    QCOMPARE(nothing.err, QByteArray("canlog: detect needs at least one FILE; try 'canlog detect --help'\n"));
    QCOMPARE(nothing.status, 2);
    const Outcome option = canlog(words("detect --type SocketCanDump x"));
    QCOMPARE(option.err, QByteArray("canlog: unknown option 'type'; try 'canlog detect --help'\n"));
    QCOMPARE(option.status, 2);
}

void TestCanlogDetect::examplesNeedNoType_data()
{
    QTest::addColumn<QString>("type");
    const auto row = [](const char *file, const char *type) { QTest::newRow(file) << QString::fromLatin1(type); };
    row("conformance-test.txt", "CoCTTLog");
    row("drive-busmaster.log", "BusmasterLog");
    row("drive-canking.txt", "KvaserCanKingLog");
    row("drive-gvret.csv", "GvretCsv");
    row("drive-kvaser.txt", "KvaserTxtLog");
    row("drive-nobitcount.asc", "VectorAsc");
    row("drive-norvik.txt", "NorvikTxt");
    row("drive-python-can.csv", "PythonCanCsv");
    row("drive-semicolon.csv", "SemicolonCsv");
    row("drive-wireshark.csv", "WiresharkCsv");
    row("drive.asc", "VectorAsc");
    row("drive.log", "Candump");
    row("ixxat.csv", "IxxatLog");
    row("washer-trc11.trc", "PcanTrace");
    row("washer-trc21.trc", "PcanTrace");
}

void TestCanlogDetect::examplesNeedNoType()
{
    QFETCH(QString, type);
    const QString example = QStringLiteral(CANLOG_EXAMPLES "/") + QString::fromLatin1(QTest::currentDataTag());

    const Outcome detected = canlog({QStringLiteral("detect"), example});
    QCOMPARE(detected.err, QByteArray());
    QVERIFY2(detected.out.startsWith((example + QLatin1String(": ") + type + QLatin1String(", certain: ")).toUtf8()),
             detected.out.constData());
    QCOMPARE(detected.status, 0);

    // The same as with the type.
    for (const char *subcommand : {"import", "show"}) {
        const QString name = QLatin1String(subcommand);
        const Outcome byItself = canlog({name, example});
        QStringList arguments{name, QStringLiteral("--type"), type, example};
        if (name == QLatin1String("import"))
            arguments.append(QStringLiteral("--again"));
        const Outcome named = canlog(arguments);
        QCOMPARE(byItself.err, named.err);
        QCOMPARE(byItself.status, 0);
        QVERIFY(!byItself.out.isEmpty());
        QCOMPARE(byItself.out, named.out);
    }
}

void TestCanlogDetect::chunkFilesNeedNoType()
{
    write(QStringLiteral("x.log"), candump);
    QCOMPARE(canlog(words("import --store first x.log")).status, 0);
    const QString chunk = QStringLiteral("first/chunk-00000001.qcl");
    QVERIFY(QFile::copy(path(chunk), path(QStringLiteral("y.log"))));

    QCOMPARE(canlog(words("detect y.log")).out, QByteArray("y.log: QclFile, certain: begins as a data chunk does\n"));
    QCOMPARE(canlog(words("show y.log")).out, canlog(words("show x.log")).out);
    const Outcome imported = canlog(words("import --store second y.log"));
    QCOMPARE(imported.err, QByteArray());
    QVERIFY2(imported.out.startsWith("y.log: QclFile, 2 messages, "), imported.out.constData());
}

void TestCanlogDetect::autoIsTheDefault()
{
    write(QStringLiteral("x.log"), candump);
    const QByteArray table = canlog(words("show x.log")).out;
    QVERIFY2(table.contains("11") && table.contains("22"), table.constData());
    for (const char *arguments :
         {"show x.log --type auto", "show x.log --type AUTO", "show x.log --type Candump", "show x.log --type candump"})
        QCOMPARE(canlog(words(arguments)).out, table);
}

void TestCanlogDetect::namedTypeIsNotDoubted()
{
    write(QStringLiteral("x.log"), candump);
    const Outcome outcome = canlog(words("import --type norvik x.log"));
    QCOMPARE(outcome.out, QByteArray("x.log: NorvikTxt, 0 messages, CAN FD: no, 0 notes, 2 lines (2 other), stored in "
                                     "canlog-store\n"));
    QCOMPARE(outcome.status, 0);
}

void TestCanlogDetect::importGoesOnAfterAnUnknownFile()
{
    write(QStringLiteral("a.log"), candump);
    write(QStringLiteral("b.txt"), "Nothing was recorded.\n");
    write(QStringLiteral("c.txt"), "1.5 1A3 (2): 01 02 ;0;\n");
    const Outcome outcome = canlog(words("import a.log b.txt c.txt"));
    QCOMPARE(outcome.err, "canlog: b.txt" + unknown);
    const QList<QByteArray> lines = outcome.out.split('\n');
    QCOMPARE(lines.size(), 3);
    QVERIFY2(lines.at(0).startsWith("a.log: Candump, 2 messages, "), outcome.out.constData());
    QVERIFY2(lines.at(1).startsWith("c.txt: NorvikTxt, 1 message, "), outcome.out.constData());
    QCOMPARE(outcome.status, 1);
    QCOMPARE(canlog(words("show")).out.count('\n'), 1 + 3);
}

void TestCanlogDetect::unknownFileMakesNoStore()
{
    write(QStringLiteral("b.txt"), "Nothing was recorded.\n");
    const Outcome outcome = canlog(words("import b.txt"));
    QCOMPARE(outcome.err, "canlog: b.txt" + unknown);
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("canlog-store"))));
}

void TestCanlogDetect::showOfAnUnknownFile()
{
    write(QStringLiteral("b.txt"), "Nothing was recorded.\n");
    const Outcome outcome = canlog(words("show b.txt"));
    QCOMPARE(outcome.err, "canlog: b.txt" + unknown);
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
}

void TestCanlogDetect::convertedLogsAreKnownAsSuch_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("what");
    QTest::newRow("CSV") << QStringLiteral("out.csv") << QByteArray("CSV as 'canlog convert' writes it");
    QTest::newRow("JSON") << QStringLiteral("out.json") << QByteArray("JSON as 'canlog convert' writes it");
    QTest::newRow("SQLite") << QStringLiteral("out.db") << QByteArray("a SQLite database");
}

void TestCanlogDetect::convertedLogsAreKnownAsSuch()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, what);
    write(QStringLiteral("x.log"), candump);
    QCOMPARE(canlog({QStringLiteral("convert"), QStringLiteral("x.log"), name}).status, 0);
    for (const char *subcommand : {"detect", "import", "show"}) {
        const Outcome outcome = canlog({QLatin1String(subcommand), name});
        QCOMPARE(outcome.err, "canlog: " + name.toUtf8() + ": is " + what
                                  + "; that is not read back, name the log that it was made from\n");
        QCOMPARE(outcome.status, 1);
    }
}

void TestCanlogDetect::columnsMeanAGenericFile()
{
    write(QStringLiteral("x.txt"), "123 1 AA\n");
    const QStringList columns{QStringLiteral("--columns"), QStringLiteral("i l d"), QStringLiteral("x.txt")};
    const Outcome shown = canlog(QStringList{QStringLiteral("show")} + columns);
    QCOMPARE(shown.err, QByteArray());
    QCOMPARE(shown.out.split('\n').value(1).simplified(), QByteArray("0 0.000000 0 Rx 123 - 1 AA"));
    const Outcome imported = canlog(QStringList{QStringLiteral("import")} + columns);
    QCOMPARE(imported.err, QByteArray());
    QVERIFY2(imported.out.startsWith("x.txt: GenericFile, 1 message, "), imported.out.constData());
    // Even when the content looks like something else.
    write(QStringLiteral("x.txt"), candump);
    const Outcome other = canlog(QStringList{QStringLiteral("import")} + columns);
    QVERIFY2(other.out.startsWith("x.txt: GenericFile, "), other.out.constData());
}

void TestCanlogDetect::helpSpeaksOfDetection()
{
    const Outcome outcome = canlog(words("detect --help"));
    QCOMPARE(outcome.err, QByteArray());
    QVERIFY2(outcome.out.startsWith("Usage: canlog detect FILE...\n"), outcome.out.constData());
    QVERIFY(outcome.out.contains("\nExample:\n  canlog detect "));
    QVERIFY(canlog(words("--help")).out.contains("\n  detect "));
    for (const char *help : {"import --help", "show --help"})
        QVERIFY(canlog(words(help)).out.contains("'canlog detect'"));
}

QTEST_GUILESS_MAIN(TestCanlogDetect)
#include "tst_canlogdetect.moc"
