#include "host/cli/detect.h"
#include "host/store/chunkstore.h"
#include "importing.h"

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
        {"coctt", Type::CoCTTLog},
        {"generic", {}}, // columns of unknown meaning
        {"ixxat", Type::IxxatLog},
        {"kvasercankinglog", Type::KvaserCanKingLog},
        {"kvasertxtlog", Type::KvaserTxtLog},
        {"norviktxtfile", Type::NorvikTxt},
        {"socketcandump", Type::SocketCanDump},
        {"vectorasclog", Type::VectorAscLog},
        {"vectorasclogwithoutbitcount", Type::VectorAscLogWithoutBitcount},
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
    const auto add = [&](const QString &place, const char *name, Types type) {
        all.append({place + QLatin1String(name), type});
    };
    add(data, "peaktrace/version-1-1.trc", Type::PeakTraceV11);
    add(data, "peaktrace/version-1-2.trc", Type::PeakTraceV12);
    add(data, "peaktrace/version-1-3.trc", Type::PeakTraceV13);
    add(data, "peaktrace/version-2-0.trc", Type::PeakTraceV20);
    add(data, "peaktrace/version-2-1.trc", Type::PeakTraceV21);
    add(data, "peaktrace/windows-line-ends.trc", Type::PeakTraceV11);
    add(examples, "columns.txt", {});
    add(examples, "conformance-test.txt", Type::CoCTTLog);
    add(examples, "drive-busmaster.log", {}); // {}: the reader of this format is still to come
    add(examples, "drive-canking.txt", Type::KvaserCanKingLog);
    add(examples, "drive-gvret.csv", {});
    add(examples, "drive-kvaser.txt", Type::KvaserTxtLog);
    add(examples, "drive-nobitcount.asc", Type::VectorAscLogWithoutBitcount);
    add(examples, "drive-norvik.txt", Type::NorvikTxt);
    add(examples, "drive-python-can.csv", {});
    add(examples, "drive-semicolon.csv", {});
    add(examples, "drive-wireshark.csv", Type::WiresharkCsv);
    add(examples, "drive.asc", Type::VectorAscLog);
    add(examples, "drive.log", Type::SocketCanDump);
    add(examples, "ixxat.csv", Type::IxxatLog);
    add(examples, "make-drive-log", {}); // the script that makes drive.log
    add(examples, "washer-trc11.trc", Type::PeakTraceV11);
    add(examples, "washer-trc21.trc", Type::PeakTraceV21);
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
    void samples_data() { addSampleRows(); }
    void samples();
    void cutSamplesAreNeverTakenForAnotherFormat_data() { addSampleRows(); }
    void cutSamplesAreNeverTakenForAnotherFormat();
    void encodingsAndLineEndsChangeNothing_data() { addSampleRows(); }
    void encodingsAndLineEndsChangeNothing();
    void peakTracesWithoutVersionLine_data();
    void peakTracesWithoutVersionLine();
    void singleLines_data();
    void singleLines();
    void ascFormats_data();
    void ascFormats();
    void otherFilesAreUnknown_data();
    void otherFilesAreUnknown();
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
    // Formats whose readers are still to come: their samples are listed with them.
    for (const char *name :
         {"candump", "vectorasc", "pcantrace", "busmasterlog", "gvretcsv", "pythoncancsv", "semicoloncsv"})
        folders.removeAll(QLatin1String(name));
    QVERIFY(!folders.isEmpty());
    for (QString &folder : folders)
        folder = data.filePath(folder);
    folders.append(QStringLiteral(CANLOG_EXAMPLES));
    for (const QString &folder : folders) {
        for (const QFileInfo &file : QDir(folder).entryInfoList(QDir::Files))
            QVERIFY2(listed.contains(file.canonicalFilePath()), qUtf8Printable(file.filePath()));
    }
}

void TestDetect::samples()
{
    QFETCH(QString, path);
    QFETCH(Types, type);
    QCOMPARE(detectFormat(path).type, type);
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

void TestDetect::peakTracesWithoutVersionLine_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<Types>("type");
    for (const SampleOf &sample : ::samples()) {
        if (sample.path.endsWith(QLatin1String(".trc")))
            QTest::newRow(qUtf8Printable(QFileInfo(sample.path).fileName())) << sample.path << sample.type;
    }
}

void TestDetect::peakTracesWithoutVersionLine()
{
    QFETCH(QString, path);
    QFETCH(Types, type);
    QByteArray content = contentOf(path);
    QVERIFY(content.startsWith(";$FILEVERSION="));
    content.remove(0, content.indexOf('\n') + 1);
    QCOMPARE(typeOf(content), type);

    // The version line is right whatever the lines look like, and a version that cannot be read is not guessed at.
    if (*type < Type::PeakTraceV20)
        QCOMPARE(typeOf(";$FILEVERSION=1.2\n" + content), Types(Type::PeakTraceV12));
    else
        QCOMPARE(typeOf(";$FILEVERSION=2.0\n" + content), Types(Type::PeakTraceV20));
    QCOMPARE(typeOf(";$FILEVERSION=1.0\n" + content), Types());
    QCOMPARE(typeOf(";$FILEVERSION=3.0\n" + content), Types());
    QCOMPARE(typeOf(";$FILEVERSION=1.11\n" + content), Types());
}

void TestDetect::singleLines_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Types>("type");
    const auto row = [](const char *content, Types type) { QTest::newRow(content) << QByteArray(content) << type; };
    row("(1345212884.318850) can0 123#11223344", Type::SocketCanDump);
    row("(1345212884.318850) can0 123#11223344\n", Type::SocketCanDump);
    row("(12) slcan1 18FEF100##1AABB R\n", Type::SocketCanDump);
    row("  can0  123   [2]  11 22\n", Type::SocketCanDump);
    row(" (000.100220)  can0  123   [3]  01 02 03   '...'\n", Type::SocketCanDump);
    row("  can0  RX - -  1A0   [3]  01 02 03\n", Type::SocketCanDump);
    row("  can0  TX B E  1A0  [12]  01 02 03 04 05 06 07 08 09 0A 0B 0C\n", Type::SocketCanDump);
    row("1) 1250.5 Rx 0123 2 AA BB\n", Type::PeakTraceV11);
    row("1) 1250.5 1 Rx 0123 2 AA BB\n", Type::PeakTraceV12);
    row("1) 1250.5 1 Rx 0123 - 2 AA BB\n", Type::PeakTraceV13);
    row(";$COLUMNS=N,O,T,I,d,l,D\n1 1250.500 DT 0123 Rx 2 AA BB\n", Type::PeakTraceV20);
    row(";$COLUMNS=N,O,T,I,d,R,l,D\n1 1250.500 DT 0123 Rx - 2 AA BB\n", Type::PeakTraceV21);
    row(";$COLUMNS=N,O,T,I,d,l,D\n", Type::PeakTraceV20);
    row(";$COLUMNS=N,O,T,B,I,d,R,L,D\n", Type::PeakTraceV21);
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
    row("can0 123#11223344\n", {});                      // no time
    row("(1.5) can0 XYZ#1122\n", {});                    // no identifier
    row("(2024-05-21 09:40:12.084) can0 123#1\n", {});   // its reader would make nothing of it
    row("1) 1841 0001 8 00 00 00 00 00 00 00 00\n", {}); // PCAN 1.0
    row("Trigger\n1.0 1 10 0 3 01 R\n", {});             // fewer bytes than the length says
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
    QTest::addColumn<Types>("type");

    const QByteArray header = "date Sat Sep 30 15:06:13.191 2017\nbase hex  timestamps absolute\n";
    const QByteArray begin = "Begin Triggerblock Sat Sep 30 15:06:13.191 2017\n";
    const QByteArray plain = "   0.5 1  123  Rx   d 2 11 22 0\n";
    const QByteArray counted = "   0.5 1  123  Rx   d 2 11 22  Length = 160000 BitCount = 84 ID = 291\n";
    const QByteArray fd = "   0.6 CANFD 2 Rx 124  1 0 9 12 00 01 02 03 04 05 06 07 08 09 0A 0B 0 0\n";

    // Up to the first frame both formats are the same text.
    QTest::newRow("header only") << header + begin << Types();
    QTest::newRow("frame that is cut off") << header + begin + plain.chopped(1) << Types();
    QTest::newRow("bit counts") << header + begin + counted << Types(Type::VectorAscLog);
    QTest::newRow("bit counts, no block") << header + counted << Types(Type::VectorAscLog);
    QTest::newRow("no bit counts") << header + begin + plain << Types(Type::VectorAscLogWithoutBitcount);
    // The reader for logs with bit counts would leave out the others.
    QTest::newRow("some without bit count")
        << header + begin + counted.repeated(20) + fd << Types(Type::VectorAscLogWithoutBitcount);
    QTest::newRow("one without bit count, late")
        << header + begin + counted.repeated(400) + fd << Types(Type::VectorAscLogWithoutBitcount);
    // The reader for logs without bit counts would find nothing outside of a block.
    QTest::newRow("some without bit count, no block") << header + counted + plain + plain << Types(Type::VectorAscLog);
    // Which would begin a log of another tool, whose frame lines are alike.
    const QByteArray comment = "// Trigger condition: none\n";
    QTest::newRow("a comment that speaks of a trigger")
        << header + comment + begin + plain << Types(Type::VectorAscLogWithoutBitcount);
    QTest::newRow("such a comment, then a frame that is cut off")
        << header + comment + begin + plain.chopped(1) << Types();
}

void TestDetect::ascFormats()
{
    QFETCH(QByteArray, content);
    QFETCH(Types, type);
    QCOMPARE(typeOf(content), type);
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

void TestDetect::filesOfThisProjectAreUnknown()
{
    const QDir project(QStringLiteral(CANLOG_EXAMPLES "/.."));
    const QStringList kinds{QStringLiteral("*.cpp"), QStringLiteral("*.h"), QStringLiteral("*.md"),
                            QStringLiteral("CMake*")};
    int count = 0;
    for (const char *folder : {".", "canloghandler", "common", "docs", "host/cli", "importers", "tests"}) {
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
        QCOMPARE(detectFormat(log.path()).type, Types(Type::SocketCanDump));
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
        store.setImportFinished(true, Type::SocketCanDump, QStringLiteral("a.log"), true);
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
    QCOMPARE(typeOf(frames + prose), Types(Type::SocketCanDump));
    QCOMPARE(typeOf(prose + frames), Types());
    // What leaves no doubt is not looked at any further, and what leaves some is.
    QCOMPARE(detectionOf(frames).reason, QStringLiteral("frames as in a log file (32 lines from line 1)"));
    QCOMPARE(typeOf(prose.left(150 * 34) + frames), Types(Type::SocketCanDump));
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
    // What looks like frames, but has more or fewer columns than the reader takes.
    QTest::newRow("frames with a direction") << QByteArray("(1.5) can0 123#11 R\n").repeated(5) << false;
    QTest::newRow("frames without data and time") << QByteArray("  can0  123   [0]\n").repeated(50) << false;
    QTest::newRow("one of them among others") << frame.repeated(30) + "  can0  123   [0]\n" << false;
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
             QStringLiteral("version line (line 2), frames of this version (2 lines from line 4)"));
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
