// SPDX-License-Identifier: Apache-2.0
#include "host/reading/detect.h"
#include "host/store/chunkstore.h"
#include "importing.h"
#include "pulledlog.h"

#include <QBuffer>

using Type = DatachunkHelper::ImportFileType;
using Types = std::optional<Type>;

namespace QTest
{

template <>
char *toString(const Types &type)
{
    return qstrdup(type ? QMetaEnum::fromType<Type>().valueToKey(*type) : "unknown");
}

} // namespace QTest

namespace
{

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qUtf8Printable(path));
    return file.readAll();
}

Detection detectionOf(const QByteArray &content)
{
    QBuffer buffer;
    buffer.setData(content);
    buffer.open(QIODevice::ReadOnly);
    return detectFormat(buffer);
}

Types typeOf(const QByteArray &content)
{
    return detectionOf(content).type;
}

/// The samples of a reader are in its folder.
struct SampleFolder {
    const char *name;
    Types type;
};

const QVector<SampleFolder> &sampleFolders()
{
    static const QVector<SampleFolder> folders{
        {"busmasterlog", Type::BusmasterLog},
        {"candump", Type::Candump},
        {"coctt", Type::CoCTTLog},
        {"generic", {}}, // columns of unknown meaning
        {"gvretcsv", Type::GvretCsv},
        {"ixxat", Type::IxxatLog},
        {"kvasercankinglog", Type::KvaserCanKingLog},
        {"kvasertxtlog", Type::KvaserTxtLog},
        {"norviktxtfile", Type::NorvikTxt},
        {"outputs", {}}, // scripts
        {"pcantrace", Type::PcanTrace},
        {"peaktrace", Type::PcanTrace},
        {"pythoncancsv", Type::PythonCanCsv},
        {"semicoloncsv", Type::SemicolonCsv},
        {"socketcandump", Type::Candump},
        {"vectorasc", Type::VectorAsc},
        {"vectorasclog", Type::VectorAsc},
        {"vectorasclogwithoutbitcount", Type::VectorAsc},
        {"wiresharkcsv", Type::WiresharkCsv},
    };
    return folders;
}

struct SampleOf {
    QString path;
    Types type;
};

QVector<SampleOf> samples()
{
    const QString data = QStringLiteral(CANLOG_TEST_DATA "/");
    const QString examples = QStringLiteral(CANLOG_EXAMPLES "/");
    QVector<SampleOf> all;
    for (const SampleFolder &folder : sampleFolders()) {
        const QDir files(data + QLatin1String(folder.name));
        for (const QString &name : files.entryList(QDir::Files))
            all.append({files.filePath(name), folder.type});
    }
    const auto add = [&](const char *name, Types type) { all.append({examples + QLatin1String(name), type}); };
    add("columns.txt", {});
    add("conformance-test.txt", Type::CoCTTLog);
    add("drive-busmaster.log", Type::BusmasterLog);
    add("drive-canking.txt", Type::KvaserCanKingLog);
    add("drive-gvret.csv", Type::GvretCsv);
    add("drive-kvaser.txt", Type::KvaserTxtLog);
    add("drive-nobitcount.asc", Type::VectorAsc);
    add("drive-norvik.txt", Type::NorvikTxt);
    add("drive-python-can.csv", Type::PythonCanCsv);
    add("drive-semicolon.csv", Type::SemicolonCsv);
    add("drive-wireshark.csv", Type::WiresharkCsv);
    add("drive.asc", Type::VectorAsc);
    add("drive.log", Type::Candump);
    add("ixxat.csv", Type::IxxatLog);
    add("make-drive-log", {}); // the script that makes drive.log
    add("explore.py", {});     // a script that looks at it
    add("vehicle.dbc", {});    // what is in its frames
    add("washer-trc11.trc", Type::PcanTrace);
    add("washer-trc21.trc", Type::PcanTrace);
    return all;
}

void addSampleRows()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<Types>("type");
    for (const SampleOf &sample : samples()) {
        const QFileInfo info(sample.path);
        QTest::addRow("%s/%s", qUtf8Printable(info.dir().dirName()), qUtf8Printable(info.fileName()))
            << sample.path << sample.type;
    }
}

} // namespace

Q_DECLARE_METATYPE(Types)

class TestDetect : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everySampleIsListed();
    void binaryLogs();
    void samples_data() { addSampleRows(); }
    void samples();
    void samplesWithoutAFlawAreCertain_data() { addSampleRows(); }
    void samplesWithoutAFlawAreCertain();
    void certainOnlyOfLinesThatTheReaderTakes_data() { addSampleRows(); }
    void certainOnlyOfLinesThatTheReaderTakes();
    void cutSamplesAreNeverTakenForAnotherFormat_data() { addSampleRows(); }
    void cutSamplesAreNeverTakenForAnotherFormat();
    void encodingsAndLineEndsChangeNothing_data() { addSampleRows(); }
    void encodingsAndLineEndsChangeNothing();
    void tracesWithoutVersionLine_data();
    void tracesWithoutVersionLine();
    void tracesWithCommas_data();
    void tracesWithCommas();
    void singleLines_data();
    void singleLines();
    void ascFormats_data();
    void ascFormats();
    void otherFilesAreUnknown_data();
    void otherFilesAreUnknown();
    void otherFilesAreNamedForWhatTheyAre_data();
    void otherFilesAreNamedForWhatTheyAre();
    void filesOfThisProjectAreUnknown();
    void cutBinaryFilesAreUnknown();
    void nameSaysNothing();
    void chunkFiles();
    void onlyTheBeginningCounts();
    void certainOrLikely_data();
    void certainOrLikely();
    void reasonNamesTheLines();
    void reasonOfAnUnknownFile();
};

void TestDetect::everySampleIsListed()
{
    QSet<QString> listed;
    for (const SampleOf &sample : ::samples())
        listed.insert(QFileInfo(sample.path).canonicalFilePath());
    const QDir data(QStringLiteral(CANLOG_TEST_DATA));
    QStringList folders = data.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    folders.removeAll(QStringLiteral("chunk")); // no text: chunkFiles()
    folders.removeAll(QStringLiteral("archive"));
    folders.removeAll(QStringLiteral("blf")); // binaryLogs()
    QVERIFY(!folders.isEmpty());
    for (QString &folder : folders)
        folder = data.filePath(folder);
    folders.append(QStringLiteral(CANLOG_EXAMPLES));
    for (const QString &folder : folders) {
        for (const QFileInfo &file : QDir(folder).entryInfoList(QDir::Files))
            QVERIFY2(listed.contains(file.canonicalFilePath()), qUtf8Printable(file.filePath()));
    }
}

/// Whose first bytes leave no doubt, whatever follows.
void TestDetect::binaryLogs()
{
    const QFileInfoList files = QDir(QStringLiteral(CANLOG_TEST_DATA "/blf")).entryInfoList(QDir::Files);
    QVERIFY(!files.isEmpty());
    for (const QFileInfo &file : files) {
        const Detection detection = detectFormat(file.filePath());
        QCOMPARE(detection.type, Types(Type::Blf));
        QVERIFY(detection.isCertain);
    }
}

void TestDetect::samples()
{
    QFETCH(QString, path);
    QFETCH(Types, type);
    QCOMPARE(detectFormat(path).type, type);
}

void TestDetect::samplesWithoutAFlawAreCertain()
{
    QFETCH(QString, path);
    QFETCH(Types, type);
    const QHash<QString, QString> flaws{
        {QStringLiteral("pcantrace/cut-short.trc"), QStringLiteral("ends within a frame, whose line has an end")},
        {QStringLiteral("pythoncancsv/no-header.csv"), QStringLiteral("two frames, no header line")},
        {QStringLiteral("semicoloncsv/damaged-row.csv"), QStringLiteral("a frame with too few bytes")},
        {QStringLiteral("socketcandump/frames-among-other-text.log"), QStringLiteral("a frame without its time")},
        {QStringLiteral("socketcandump/log-file-form.log"), QStringLiteral("three digits that are no 11 bits")},
        {QStringLiteral("vectorasc/german-date.asc"), QStringLiteral("one frame, one header line")},
        {QStringLiteral("vectorasclogwithoutbitcount/classic-frames.asc"), QStringLiteral("directions 'r' and '2'")},
    };
    if (!type || *type < Type::Candump)
        return; // of other formats the samples have so few frames that most of them are likely
    const QString flaw = flaws.value(QString::fromUtf8(QTest::currentDataTag()));
    QVERIFY2(detectFormat(path).isCertain == flaw.isEmpty(), qPrintable(flaw));
}

void TestDetect::certainOnlyOfLinesThatTheReaderTakes()
{
    QFETCH(QString, path);
    const Detection detection = detectFormat(path);
    if (!detection.type) {
        QVERIFY(!detection.isCertain);
        return;
    }
    const PulledLog log = pullLog(*detection.type, contentOf(path));
    QVERIFY(!log.frames.isEmpty()); // also where it is likely only
    if (!detection.isCertain)
        return;
    QVERIFY2(log.ok, qPrintable(log.error));
    const auto isLeftOut = [](const auto &fault) { return fault.reason == ImportReport::Reason::NotRead; };
    const auto leftOut = std::count_if(log.report.faults.cbegin(), log.report.faults.cend(), isLeftOut);
    QCOMPARE(log.report.droppedLines, qint64(leftOut));
}

void TestDetect::cutSamplesAreNeverTakenForAnotherFormat()
{
    QFETCH(QString, path);
    QFETCH(Types, type);
    const QByteArray whole = contentOf(path);
    // At every byte of the first 3000, or at some of them, then at some more.
    const int step = qMax(1, qEnvironmentVariableIntValue("CANLOG_TEST_CUT_STEP"));
    for (int size = 0; size < qMin(whole.size(), 50000); size += size < 3000 ? step : 997) {
        const Types found = typeOf(whole.left(size));
        if (found && found != type)
            QFAIL(qPrintable(QStringLiteral("type %1 after %2 bytes").arg(int(*found)).arg(size)));
    }
    // The last line alone may not decide.
    const QByteArray withoutLastLine = whole.left(whole.trimmed().lastIndexOf('\n') + 1);
    if (withoutLastLine.count('\n') > 4)
        QCOMPARE(typeOf(withoutLastLine), type);
}

void TestDetect::encodingsAndLineEndsChangeNothing()
{
    QFETCH(QString, path);
    QFETCH(Types, type);
    const QString text = QString::fromUtf8(contentOf(path)).remove(QLatin1Char('\r'));
    const QString windows = QString(text).replace(QLatin1Char('\n'), QLatin1String("\r\n"));
    QCOMPARE(typeOf(text.toUtf8()), type);
    QCOMPARE(typeOf(windows.toUtf8()), type);
    for (const char *encoding : {"UTF-8", "UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"}) {
        QCOMPARE(typeOf(markedText(text, encoding)), type);
        QCOMPARE(typeOf(markedText(windows, encoding)), type);
    }
}

void TestDetect::tracesWithoutVersionLine_data()
{
    QTest::addColumn<QString>("path");
    for (const SampleOf &sample : ::samples()) {
        if (sample.type == Type::PcanTrace && contentOf(sample.path).startsWith(";$FILEVERSION="))
            QTest::newRow(qUtf8Printable(sample.path.section(QLatin1Char('/'), -2))) << sample.path;
    }
}

void TestDetect::tracesWithoutVersionLine()
{
    QFETCH(QString, path);
    QByteArray content = contentOf(path);
    const bool isOld = content.startsWith(";$FILEVERSION=1.");
    content.remove(0, content.indexOf('\n') + 1);
    QCOMPARE(typeOf(content), Types(Type::PcanTrace));

    // One that is wrong, by which the reader goes, and one that cannot be read.
    const Detection wrong = detectionOf((isOld ? ";$FILEVERSION=2.0\n" : ";$FILEVERSION=1.2\n") + content);
    QCOMPARE(wrong.type, Types(Type::PcanTrace));
    QVERIFY(!wrong.isCertain);
    QCOMPARE(typeOf(";$FILEVERSION=1.11\n" + content), Types(Type::PcanTrace));
}

void TestDetect::tracesWithCommas_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Types>("type");
    const auto row = [](const char *content, Types type) { QTest::newRow(content) << QByteArray(content) << type; };
    row("1) 1250,5 Rx 0123 2 AA BB\n", Type::PcanTrace);
    row("1) 1250,5 1 Rx 0123 2 AA BB\n", Type::PcanTrace);
    row("1) 1250,5 1 Rx 0123 - 2 AA BB\n", Type::PcanTrace);
    row(";$COLUMNS=N,O,T,I,d,l,D\n1 1250,500 DT 0123 Rx 2 AA BB\n", Type::PcanTrace);
    row(";$COLUMNS=N,O,T,I,d,R,l,D\n1 1250,500 DT 0123 Rx - 2 AA BB\n", Type::PcanTrace);
    row(";$FILEVERSION=1.1\n1) 1250,5 Rx 0123 2 AA BB\n2) 1260,0 Rx 0123 2 AA BB\n", Type::PcanTrace);
    row(";$FILEVERSION=1.3\n1) 1250,5 1 Rx 0123 - 2 AA BB\n", Type::PcanTrace);
    row(";$FILEVERSION=2.1\n;$COLUMNS=N,O,T,B,I,d,R,L,D\n1 1250,500 DT 1 0123 Rx - 2 AA BB\n", Type::PcanTrace);
}

void TestDetect::tracesWithCommas()
{
    QFETCH(QByteArray, content);
    QFETCH(Types, type);
    QCOMPARE(typeOf(content), type);
    const PulledLog log = pullLog(*type, content);
    QVERIFY(!log.frames.isEmpty());
    QCOMPARE(log.frames.constFirst().frame.timeStamp.microseconds, 250500);
    QCOMPARE(log.report.faultyLines, 0);
    QCOMPARE(typeOf(content.replace("1250,", "1250.").replace("1260,", "1260.")), Types(Type::PcanTrace));
}

void TestDetect::singleLines_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Types>("type");
    const auto row = [](const char *content, Types type) { QTest::newRow(content) << QByteArray(content) << type; };
    row("(1345212884.318850) can0 123#11223344", Type::Candump);
    row("(1345212884.318850) can0 123#11223344\n", Type::Candump);
    row("(12) slcan1 18FEF100##1AABB R\n", Type::Candump);
    row("(12) can0 123#R5_B\n", Type::Candump);
    row("(12) can0 123#11.22.33\n", Type::Candump);
    row("(2024-05-21 09:40:12.084000) can0 123#11\n", Type::Candump);
    row("  can0  123   [2]  11 22\n", Type::Candump);
    row("  can0  123   [0]\n", Type::Candump);
    row(" (000.100220)  can0  123   [3]  01 02 03   '...'\n", Type::Candump);
    row(" (2024-05-21 09:40:12.084000)  can0  123   [1]  11\n", Type::Candump);
    row("  can0  RX - -  1A0   [3]  01 02 03\n", Type::Candump);
    row("  can0  TX B E  1A0  [12]  01 02 03 04 05 06 07 08 09 0A 0B 0C\n", Type::Candump);
    row("  can0  123   [2]  00001111 00011110\n", Type::Candump);
    row("  can0  123   [3]  2D`1E`0F\n", Type::Candump);
    row("  can0  123   {B}  11 22 33 44 55 66 77 88\n", Type::Candump);
    row("  can0  123   [4]  remote request\n", Type::Candump);
    row("\x1b[1m\x1b[34m (001.5)  can0  123   [1]  11\x1b[0m\n", Type::Candump);
    row(" (001.5)  \x1b[1m\x1b[31mcan0\x1b[0m  123   [1]  11\n", Type::Candump);
    row("|\b (001.5)  can0  123   [1]  11\n", Type::Candump);
    row("interface = can0, family = 29, type = 3, proto = 1\n<0x18f00503> [3] 0c 1d 2e\n", Type::Candump);
    row("1) 1841 0001 8 00 00 00 00 00 00 00 00\n", Type::PcanTrace);
    row("1) 2502 0123 4 RTR\n", Type::PcanTrace);
    row("1) 2503 0123 0\n", Type::PcanTrace);
    row("1) 1250.5 Rx 0123 2 AA BB\n", Type::PcanTrace);
    row("1) 1250.5 1 Rx 0123 2 AA BB\n", Type::PcanTrace);
    row("1) 1250.5 1 Rx 0123 - 2 AA BB\n", Type::PcanTrace);
    row(";$FILEVERSION=1.1\n1 1250.5 Rx 0123 2 AA BB\n", Type::PcanTrace);
    row(";$COLUMNS=N,O,T,I,d,l,D\n1 1250.500 DT 0123 Rx 2 AA BB\n", Type::PcanTrace);
    row(";$COLUMNS=N,O,T,I,d,R,l,D\n1 1250.500 DT 0123 Rx - 2 AA BB\n", Type::PcanTrace);
    row(";$FILEVERSION=2.0\n;$COLUMNS=N,O,B,T,d,I,l,D\n1 1250.500 1 DT Rx 0123 2 AA BB\n", Type::PcanTrace);
    row(";$COLUMNS=N,O,T,I,d,l,D\n", Type::PcanTrace);
    row(";$COLUMNS=N,O,T,B,I,d,R,L,D\n", Type::PcanTrace);
    row("1.5e-05,0x7df,0,0,0,2,DBc=\n", Type::PythonCanCsv);
    row("timestamp,arbitration_id,extended,remote,error,dlc,data\n0.5,7df,0,0,0,1,DA==\n", Type::PythonCanCsv);
    row("1 : 00:00:01.250 : Test CAN : 1 123 Rx DF 2 AA BB\n", Type::CoCTTLog);
    row("No,Bus,Time,Type,ID,Data\n1,1,1.250.500,Std,123,AA BB\n", Type::IxxatLog);
    row("1.5 1A3 (2): 01 02 ;1;hello\n", Type::NorvikTxt);
    row("0 00000123 X 2 11 22 1.000500 R\n", Type::KvaserCanKingLog);
    row("Chn Identifier Flg DLC\n 0 0000012", Type::KvaserCanKingLog); // a cut line speaks for nothing
    row("Format of data field: HEX\n", Type::KvaserTxtLog);
    row("Trigger\n1.0 1 10 0 1 01 R\n", Type::KvaserTxtLog);
    row("\"1\",\"0.000000\",\"\",\"\",\"CAN\",\"16\",\"STD: 0x00000123   11 22 33\"\n", Type::WiresharkCsv);
    row("1,0.5,,,CANFD,16,STD: 0x00000123   11 22 33\n", Type::WiresharkCsv);

    // Near misses.
    row("can0 123#11223344\n", {});                    // no time
    row("(1.5) can0 XYZ#1122\n", {});                  // no identifier
    row("(2024-05-21 09:40:12.084) can0 123#1\n", {}); // half a byte
    row("1 1250.5 Rx 0123 2 AA BB\n", {});             // columns that may mean anything
    row("0.5 1 1A2 Rx D 2 AA BB\n", {});               // such, too
    row("  can0  123   [2]  about\n", {});
    row("12:30:05:1230 started\n", {});
    row("1.5,7df,0,0,0,1,DA==\n", {});
    row("Trigger\n1.0 1 10 0 3 01 R\n", {}); // fewer bytes than the length says
    row("0 00000123 X 3 11 22 1.000500 R\n", {});
    row("1.0 1 10 0 1 01 R\n", {}); // no trigger line
    row("Test CAN\n", {});
    row("No,Bus,Time,Type,ID,Data\n", {});
}

void TestDetect::singleLines()
{
    QFETCH(QByteArray, content);
    QFETCH(Types, type);
    QCOMPARE(typeOf(content), type);
}

void TestDetect::ascFormats_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("isCertain");

    const QByteArray header = "date Sat Sep 30 15:06:13.191 2017\nbase hex  timestamps absolute\n";
    const QByteArray begin = "Begin Triggerblock Sat Sep 30 15:06:13.191 2017\n";
    const QByteArray plain = "   0.5 1  123  Rx   d 2 11 22 0\n";
    const QByteArray counted = "   0.5 1  123  Rx   d 2 11 22  Length = 160000 BitCount = 84 ID = 291\n";
    const QByteArray fd = "   0.6 CANFD 2 Rx 124  1 0 9 12 00 01 02 03 04 05 06 07 08 09 0A 0B 0 0\n";

    QTest::newRow("header only") << header + begin << false;
    QTest::newRow("frame that is cut off") << header + begin + plain.chopped(1) << true;
    QTest::newRow("bit counts") << header + begin + counted << true;
    QTest::newRow("bit counts, no block") << header + counted.repeated(2) << true;
    QTest::newRow("no bit counts") << header + begin + plain << true;
    QTest::newRow("some without bit count") << header + begin + counted.repeated(20) + fd << true;
    QTest::newRow("one without bit count, late") << header + begin + counted.repeated(400) + fd << true;
    QTest::newRow("some without bit count, no block") << header + counted + plain + plain << true;
    QTest::newRow("no header") << plain + plain << true;
    QTest::newRow("times before the trigger") << QByteArray("  -0.5 1  123  Rx   d 1 11\n").repeated(2) << true;
    QTest::newRow("no direction") << QByteArray("   0.5 1  1b0   --  r  4\n").repeated(2) << true;
    QTest::newRow("two digits of a length")
        << "base dec  timestamps absolute\n" + QByteArray("   0.5 1  123  Rx   d 12 1 2 3 4 5 6 7 200\n").repeated(2)
        << true;
    QTest::newRow("error frames") << QByteArray("   0.5 1  ErrorFrame\n").repeated(2) << true;
    QTest::newRow("capital letters under a header")
        << header + begin + QByteArray(plain).replace(" d ", " D ") << false;
    QTest::newRow("a direction that is none")
        << header + begin + plain + QByteArray(plain).replace("Rx", "Qx") << false;
    // Which would begin a log of another tool, whose frame lines are alike.
    const QByteArray comment = "// Trigger condition: none\n";
    QTest::newRow("a comment that speaks of a trigger") << header + comment + begin + plain << true;
    QTest::newRow("such a comment, then a frame that is cut off")
        << header + comment + begin + plain.chopped(1) << true;
}

void TestDetect::ascFormats()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, isCertain);
    const Detection detection = detectionOf(content);
    QCOMPARE(detection.type, Types(Type::VectorAsc));
    QCOMPARE(detection.isCertain, isCertain);
}

void TestDetect::otherFilesAreUnknown_data()
{
    QTest::addColumn<QByteArray>("content");
    const auto row = [](const char *name, const QByteArray &content) { QTest::newRow(name) << content; };

    row("empty", "");
    row("blank lines", "\n\r\n  \n\n");
    row("one byte", "x");
    row("prose", "The trigger of the bench is on channel 1. Trigger it by hand.\n"
                 "It was 12.5 degrees (2): cold. Test CAN is a test, and Test Info : is a word.\n"
                 "1) Begin. 2) End. The frames came at 1.5 and 2.5 seconds.\n");
    row("only the word Trigger", "Trigger one\nTrigger two\nTrigger three\n");
    row("prose that quotes frames",
        "What candump shows:\n\n    (1.5) can0 123#11\n    (1.6) can0 124#22\n\n"
            + QByteArray("The first frame is the request, the second one the answer of the node.\n").repeated(20));
    row("C++",
        "#include <cstdio>\n\n// Prints.\nint main()\n{\n    std::printf(\"%d [2] 11 22\\n\", 1);\n    return 0;\n}\n");
    row("Python", "import sys\nfor line in sys.stdin:\n    print(line.split('#')[1])\n");
    row("shell script", "#!/bin/sh\n# (1.5) can0 123#11\ncandump -L can0 > log\ncansend can0 123#1122\n");
    row("CSV of measurements", "Time,Temperature,Pressure\n0.5,21.3,1013\n1.0,21.4,1012\n");
    row("CSV with the columns of a log",
        "Time,ID,Data,Unit,Name,Place\n1.5,7,23,C,inlet,cellar\n2.5,8,24,C,outlet,cellar\n");
    row("CSV with semicolons", "No;ID;Time;Data\n1;7;12:30:05;0A 0B\n");
    row("Wireshark, no CAN", "\"No.\",\"Time\",\"Source\",\"Destination\",\"Protocol\",\"Length\",\"Info\"\n"
                             "\"1\",\"0.0\",\"10.0.0.1\",\"10.0.0.2\",\"TCP\",\"66\",\"443 > 5000 [SYN] Seq=0\"\n"
                             "\"2\",\"0.1\",\"10.0.0.2\",\"10.0.0.1\",\"TCP\",\"66\",\"5000 > 443 [ACK] Seq=1\"\n");
    row("oscilloscope", "Trigger: auto\n0.001 1 23 4 5 6 7\n0.002 1 24 4 5 6 8\n0.003 1 25 4 5 6 9\n");
    row("numbers", "1 2 3 4 5 6 7 8\n2 3 4 5 6 7 8 9\n0 123 2 11 22 33 44\n");
    row("numbers with points", "0.1 1.5 2.5\n0.2 1.6 2.6\n0.3 1.7 2.7\n");
    row("Markdown table", "| time | id | data |\n|---:|---:|---|\n| 1.5 | 123 | 11 22 |\n| 1.6 | 124 | 33 44 |\n");
    row("Markdown list", "1) first 2.5 Rx\n2) second\n3) third\n");
    row("list of numbers", "1) 100 1234 5 apples\n2) 101 1235 6 pears\n3) 102 1236 7\tplums\n");
    row("list of literature", "Bosch 991 [1] on the bus\nMeyer 201 [2] on the gateway\nBosch 012 [3] on its rate\n");
    row("prose that names BUSMASTER", "The log begins with this line:\n\n***BUSMASTER Ver 3.2.2***\n\n"
                                      "Then comes the header.\nThen come the frames.\n");
    row("times with colons", "12:30:05:123 started\n12:30:05:124 Rx 1 is the channel\n12:30:06:000 stopped\n");
    row("CSV of marks", "1.5,12,0,1,0,3,4\n1.6,13,0,1,0,3,4\n1.7,14,0,1,0,3,4\n1.8,15,0,1,0,3,4\n");
    row("CSV of another logger", "Time Stamp,ID,Value\n1500250,7,23\n1500350,7,24\n");
    row("CSV of a logger of temperatures", "TimestampEpoch;Channel;Temperature\n1700000000.5;1;21\n");
    row("PCAN trace, but only its comments", ";   Start time: 15.03.2023 12:00:00.000\n;   Message Number\n");
    row("XML", "<?xml version=\"1.0\"?>\n<log>\n  <frame time=\"1.5\" id=\"123\" data=\"11 22\"/>\n</log>\n");
    row("JSON", "{\n  \"Time\": 1.5,\n  \"ID\": \"123\",\n  \"Data\": \"11 22\"\n}\n");
    row("JSON in one line", "{\"Time\":1.5,\"ID\":\"181\",\"Data\":\"0A 0B\",\"a\":1,\"b\":2,\"c\":3}\n"
                            "{\"Time\":1.6,\"ID\":\"182\",\"Data\":\"0C 0D\",\"a\":1,\"b\":2,\"c\":3}\n");
    row("INI", "[bus]\nbase = hex\nbitrate = 500000\n");
    row("signal database", "VERSION \"\"\nBU_: A B\nBO_ 291 Message: 8 A\n SG_ Speed : 0|16@1+ (1,0) [0|100] \"\" B\n");
    row("kernel log",
        "[    1.234567] can: controller area network core\n[    1.234600] can0: bitrate 500000 [2] 11 22\n");
    row("table of canlog", "   Index               Time  Channel  Dir  Identifier  Flags  Len  Data\n"
                           "       0  1345212884.318850        0  Rx          123  -        4  11 22 33 44\n");
    row("hexadecimal dump", "00000000  28 31 2e 35 29 20 63 61  6e 30 20 31 32 33 23 31  |(1.5) can0 123#1|\n");
    row("one line of a million characters", QByteArray("0.1 ").repeated(250000));
    row("zero bytes", QByteArray(100000, '\0'));
    row("zip archive", QByteArray("PK\x03\x04\x14\0\0\0\x08\0", 10) + QByteArray(100, 'x'));
    row("image", QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\x01\0\0\0\x01\0", 24));
    QByteArray random;
    QRandomGenerator generator(1);
    for (int i = 0; i < 200000; ++i)
        random.append(char(generator.bounded(256)));
    row("random bytes", random);
    // Without a byte-order mark no reader would make sense of it.
    row("UTF-16 without byte-order mark",
        markedText(QStringLiteral("(1.5) can0 123#11\n(1.6) can0 123#11\n"), "UTF-16LE").mid(2));
}

void TestDetect::otherFilesAreUnknown()
{
    QFETCH(QByteArray, content);
    QCOMPARE(typeOf(content), Types());
}

void TestDetect::otherFilesAreNamedForWhatTheyAre_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<QString>("advice");
    const auto row = [](const char *name, const QByteArray &content, const char *reason, const char *advice) {
        QTest::newRow(name) << content << QString::fromLatin1(reason) << QString::fromLatin1(advice);
    };
    const char *const pcap = "open it in Wireshark and export the packet list";
    row("xz",
        QByteArray("\xFD"
                   "7zXZ\0\0\4",
                   8),
        "is compressed by xz", "'xz -dc FILE | canlog show -'");
    row("zstd", QByteArray("\x28\xB5\x2F\xFD\x04", 5), "is compressed by zstd", "'zstd -dc FILE");
    row("bzip2", "BZh91AY&SY", "is compressed by bzip2", "'bzip2 -dc FILE");
    row("pcapng", QByteArray("\x0A\x0D\x0D\x0A\x1C\0\0\0", 8), "is a pcapng capture of a network", pcap);
    row("pcap", QByteArray("\xD4\xC3\xB2\xA1\x02\0\x04\0", 8), "is a pcap capture of a network", pcap);
    row("MF4", "MDF     4.10    ", "is an MDF measurement (MF4)", "export its CAN frames");
    row("unfinished MF4", "UnFinMF 4.10    ", "is an MDF measurement that was not finished", "have the tool");
    row("Parquet", "PAR1\x15\x04", "is a Parquet file", "name the log");
    row("Wireshark list of other packets",
        "No.,Time,Source,Destination,Protocol,Length,Info\n1,0.0,10.0.0.1,10.0.0.2,TCP,60,Ack\n",
        "is a packet list of Wireshark without CAN frames and their bytes", "the bytes in the column Info");
}

void TestDetect::otherFilesAreNamedForWhatTheyAre()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, advice);
    QBuffer buffer(&content);
    QVERIFY(buffer.open(QIODevice::ReadOnly));
    const Detection detection = detectFormat(buffer);
    QVERIFY(!detection.type);
    QTEST(detection.reason, "reason");
    QVERIFY2(detection.advice.contains(advice), qPrintable(detection.advice));
}

void TestDetect::filesOfThisProjectAreUnknown()
{
    const QDir project(QStringLiteral(CANLOG_EXAMPLES "/.."));
    const QStringList kinds{QStringLiteral("*.cpp"), QStringLiteral("*.h"), QStringLiteral("*.md"),
                            QStringLiteral("CMake*")};
    int count = 0;
    for (const char *folder :
         {".", "canloghandler", "common", "docs", "apps/canlog", "importers", "readers", "host/store", "tests"}) {
        for (const QFileInfo &file : QDir(project.filePath(QLatin1String(folder))).entryInfoList(kinds, QDir::Files)) {
            QVERIFY2(!detectFormat(file.filePath()).type, qUtf8Printable(file.filePath()));
            ++count;
        }
    }
    QVERIFY(count > 50);
}

void TestDetect::cutBinaryFilesAreUnknown()
{
    const QByteArray program = contentOf(QStringLiteral(CANLOG_PROGRAM));
    QVERIFY(program.size() > 20000);
    for (int start = 0; start + 5000 < program.size(); start += program.size() / 20)
        QCOMPARE(typeOf(program.mid(start, 5000)), Types());
}

void TestDetect::nameSaysNothing()
{
    for (const char *name : {"x.asc", "x.trc", "x.csv", "x.qcl", "x.txt", "x.zip", "x"}) {
        const SampleFile log("(1.5) can0 123#11\n", QLatin1String(name));
        QCOMPARE(detectFormat(log.path()).type, Types(Type::Candump));
        const SampleFile prose("Nothing was recorded.\n", QLatin1String(name));
        QCOMPARE(detectFormat(prose.path()).type, Types());
    }
}

void TestDetect::chunkFiles()
{
    const QTemporaryDir folder;
    {
        ChunkStore store;
        QVERIFY(store.open(folder.path(), ChunkStore::Mode::ReadWrite));
        store.setImportStarted();
        store.addImportedMessages(QList<CAN::CanRxMessage>{CAN::CanRxMessage(), CAN::CanRxMessage()}, {});
        store.setImportFinished(true, Type::Candump, QStringLiteral("a.log"), true);
    }
    const QString path = folder.filePath(QStringLiteral("chunk-00000001.qcl"));
    const Detection detection = detectFormat(path);
    QCOMPARE(detection.type, Types(Type::QclFile));
    QVERIFY(detection.isCertain);

    const QByteArray whole = contentOf(path);
    QCOMPARE(typeOf(whole.chopped(1)), Types(Type::QclFile)); // damaged, which its reader will say
    QCOMPARE(typeOf(whole + "more"), Types(Type::QclFile));
    for (int size = 0; size < whole.size(); ++size) {
        const Types type = typeOf(whole.left(size));
        QVERIFY2(!type || type == Type::QclFile, QByteArray::number(size).constData());
    }
    const int magic = whole.indexOf("QCLC");
    QVERIFY(magic > 0);
    QCOMPARE(typeOf(QByteArray(whole).replace(magic, 4, "QCLX")), Types());
}

void TestDetect::onlyTheBeginningCounts()
{
    const QByteArray frames = QByteArray("(1.5) can0 123#11\n").repeated(10000);
    const QByteArray prose = QByteArray("Nothing was recorded on that day.\n").repeated(10000);
    QCOMPARE(typeOf(frames + prose), Types(Type::Candump));
    QCOMPARE(typeOf(prose + frames), Types());
    // What leaves no doubt is not looked at any further, and what leaves some is.
    QCOMPARE(detectionOf(frames).reason, QStringLiteral("frames as in a log file (32 lines from line 1)"));
    QCOMPARE(typeOf(prose.left(150 * 34) + frames), Types(Type::Candump));
    // A text that begins with frames is no log.
    QCOMPARE(typeOf(frames.left(18 * 18) + prose.left(150 * 34)), Types());
}

void TestDetect::certainOrLikely_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("isCertain");
    const QByteArray frame = "(1.5) can0 123#11\n";
    QTest::newRow("one frame") << frame << false;
    QTest::newRow("several frames") << frame.repeated(5) << true;
    QTest::newRow("frames among other text") << frame.repeated(5) + QByteArray("other text\n").repeated(10) << false;
    QTest::newRow("frames with a direction") << QByteArray("(1.5) can0 123#11 R\n").repeated(5) << true;
    QTest::newRow("frames without data and time") << QByteArray("  can0  123   [0]\n").repeated(50) << true;
    // What looks like frames, but has other digits than the reader takes.
    QTest::newRow("identifiers of no 11 bits") << QByteArray("(1.5) can0 800#11\n").repeated(5) << false;
    QTest::newRow("identifiers of four digits") << QByteArray("(1.5) can0 1234#11\n").repeated(5) << false;
    QTest::newRow("one of them among others") << frame.repeated(30) + "(1.5) can0 1234#11\n" << false;
    QTest::newRow("a kind of frame that is left out among others")
        << frame.repeated(5) + "(1.7) can0 451C7#81:E0:00000000#0F1E2D\n"
        << true;
    QTest::newRow("nothing but frames that are left out")
        << QByteArray("(1.7) can0 451C7#81:E0:00000000#0F1E2D\n").repeated(5) << false;
    QTest::newRow("cut off within the last one") << frame.repeated(5) + "(1.5) can" << true;
    QTest::newRow("version line") << QByteArray(";$FILEVERSION=2.1\n") << true;
    QTest::newRow("Kvaser header") << QByteArray("Format of data field: HEX\n") << false;
}

void TestDetect::certainOrLikely()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, isCertain);
    const Detection detection = detectionOf(content);
    QVERIFY(detection.type.has_value());
    QCOMPARE(detection.isCertain, isCertain);
}

void TestDetect::reasonNamesTheLines()
{
    QCOMPARE(detectionOf("; a trace\n;$FILEVERSION=1.1\n;\n1) 1.5 Rx 0123 1 AA\n2) 2.5 Rx 0123 1 AA\n").reason,
             QStringLiteral("version line (line 2), frames of version 1 (2 lines from line 4)"));
}

void TestDetect::reasonOfAnUnknownFile()
{
    QCOMPARE(detectionOf("").reason, QStringLiteral("is empty"));
    for (const char *archive : {"PK\x03\x04 and so on", "PK\x05\x06"}) {
        QCOMPARE(detectionOf(archive).reason, QStringLiteral("is a zip archive"));
        QVERIFY(!detectionOf(archive).advice.isEmpty());
    }
    QVERIFY(!detectionOf("Nothing was recorded.\n").reason.isEmpty());
    QVERIFY(detectionOf("Nothing was recorded.\n").advice.isEmpty());
    // Objects of another program.
    QVERIFY(detectionOf("{\"time\":\"noon\",\"channel\":1}\n").advice.isEmpty());
    const Detection missing = detectFormat(QStringLiteral("/no/such/file"));
    QVERIFY(!missing.type);
    QVERIFY(!missing.reason.isEmpty());
}

QTEST_GUILESS_MAIN(TestDetect)
#include "tst_detect.moc"
