// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "common/importreport.h"
#include "importers/genericfileimporter.h"
#include "recordingstore.h"

#include <QPointer>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QThread>
#include <QtTest>

#include <algorithm>
#include <cerrno>
#include <future>
#include <memory>

using DatachunkHelper::ImportFileType;
using Reason = ImportReport::Reason;

Q_DECLARE_METATYPE(ImportReport)

namespace
{

QString nameOf(Reason reason)
{
    switch (reason) {
    case Reason::NotANumber:
        return QStringLiteral("NotANumber");
    case Reason::MissingColumns:
        return QStringLiteral("MissingColumns");
    case Reason::MissingBytes:
        return QStringLiteral("MissingBytes");
    case Reason::NotRead:
        return QStringLiteral("NotRead");
    case Reason::EndsImport:
        return QStringLiteral("EndsImport");
    case Reason::BrokenLine:
        return QStringLiteral("BrokenLine");
    case Reason::CutLine:
        return QStringLiteral("CutLine");
    }
    return {};
}

/// "1 messages, 0 other, 0 dropped; 2:12 NotANumber"
QString textOf(const ImportReport &report)
{
    QStringList faults;
    for (const ImportReport::Fault &fault : report.faults)
        faults << QStringLiteral("%1:%2 %3")
                      .arg(QString::number(fault.line), QString::number(fault.column), nameOf(fault.reason));
    return QStringLiteral("%1 messages, %2 other, %3 dropped; %4")
        .arg(QString::number(report.messages), QString::number(report.otherLines), QString::number(report.droppedLines),
             faults.join(QLatin1String(", ")));
}

/// One handler on a store of its own.
struct Host {
    RecordingStore store;
    QPointer<DatachunkHandler> pointer{&store};
    CANLogHandler handler{pointer};
};

/// A log in a file of its own.
struct Log {
    explicit Log(const QByteArray &content)
    {
        if (!file.open() || file.write(content) != content.size() || !file.flush())
            qFatal("cannot write a log");
    }
    QString path() const { return file.fileName(); }

private:
    QTemporaryFile file;
};

ImportReport reportOn(const QByteArray &content, ImportFileType type,
                      const QString &columns = QStringLiteral("t i l d"))
{
    const Log log(content);
    Host host;
    host.handler.importFile(log.path(), type, columns, false);
    return host.handler.getImportReport();
}

QByteArray candumpLines(int count)
{
    QByteArray content;
    for (int i = 0; i < count; ++i)
        content += "(1.5) can0 123#1122\n";
    return content;
}

/// Runs @p work in a thread of its own and waits for its end. The future tells the thread sanitizer of the end, which
/// Qt, built without it, does not.
template <typename Work>
void runInThread(Work work)
{
    std::promise<void> end;
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        work();
        end.set_value();
    }));
    thread->start();
    end.get_future().get();
    thread->wait();
}

} // namespace

class ImportReportTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesAreAccountedFor_data();
    void linesAreAccountedFor();
    void badByteBeforeOtherColumnsIsNoted();
    void everyLineIsCountedOnce_data();
    void everyLineIsCountedOnce();
    void onlyTheFirstFaultsAreKept();
    void lineThatEndsTheImportIsNamedWhateverCameBefore();
    void reportIsOnTheLatestImport();
    void importerClassesReportToo();
    void fileThatCannotBeOpenedHasAReason_data();
    void fileThatCannotBeOpenedHasAReason();
    void notesThatAreCutAreCounted();
    void lineThatIsCutIsFaulty_data();
    void lineThatIsCutIsFaulty();
    void everyReasonHasAText();

    void progressGoesUpToTheWholeFile_data();
    void progressGoesUpToTheWholeFile();
    void progressIsToldBetweenTheLoadingNotices();
    void interruptedImportFailsAndDeliversNoMore_data();
    void interruptedImportFailsAndDeliversNoMore();
    void interruptionKeepsWhatWasDelivered();
};

void ImportReportTest::linesAreAccountedFor_data()
{
    QTest::addColumn<ImportFileType>("type");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, ImportFileType type, const QByteArray &content, const char *expected) {
        QTest::newRow(name) << type << content << QString::fromLatin1(expected);
    };

    const auto candump = DatachunkHelper::SocketCanDump;
    row("empty file", candump, "", "0 messages, 0 other, 0 dropped; ");
    row("candump: sound", candump, "(1.5) can0 123#1122\n\n", "1 messages, 1 other, 0 dropped; ");
    row("candump: identifier", candump, "\n(1.5) can0 12G#1122\n", "1 messages, 1 other, 0 dropped; 2:12 NotANumber");
    row("candump: time", candump, "(x.5) can0 123#1122\n", "1 messages, 0 other, 0 dropped; 1:1 NotANumber");
    row("candump: byte", candump, "(1.5) can0 123#11GG\n", "1 messages, 0 other, 0 dropped; 1:18 NotANumber");
    row("candump: remote frame", candump, "(1.5) can0 123#R\n", "1 messages, 0 other, 0 dropped; 1:16 NotANumber");
    row("candump: CAN FD", candump, "(1.5) can0 123##1AB\n", "1 messages, 0 other, 0 dropped; 1:12 NotRead");
    row("candump: other text", candump, "hello world\n", "0 messages, 0 other, 1 dropped; 1:12 MissingColumns");
    row("candump: length", candump, "(1.5) can0 123 [x] 11\n", "1 messages, 0 other, 0 dropped; 1:16 NotANumber");
    row("candump: missing byte", candump, "(1.5) can0 123 [2] 11\n",
        "1 messages, 0 other, 0 dropped; 1:22 MissingBytes");
    row("candump: word among bytes", candump, "(1.5) can0 123 [2] 11 zz\n",
        "1 messages, 0 other, 0 dropped; 1:23 NotANumber");
    row("candump: first fault counts", candump, "(1.5) can0 12G [2] zz\n",
        "1 messages, 0 other, 0 dropped; 1:12 NotANumber");
    row("candump: extra information cut off", candump, "can0  TX - - 123\n",
        "0 messages, 0 other, 1 dropped; 1:17 MissingColumns");

    const auto kvaser = DatachunkHelper::KvaserTxtLog;
    const QByteArray kvaserHeader = "Format of id field: HEX\nTrigger at 0.000000\n";
    row("Kvaser: sound", kvaser, kvaserHeader + "0.5 1 100 Rx 2 11 22 0.1\n0.5 1 ErrorFrame\n\n",
        "1 messages, 4 other, 0 dropped; ");
    row("Kvaser: identifier", kvaser, kvaserHeader + "0.5 1 10Q Rx 2 11 22 0.1\n",
        "1 messages, 2 other, 0 dropped; 3:7 NotANumber");
    row("Kvaser: cut off", kvaser, kvaserHeader + "0.5 1 100\n", "0 messages, 2 other, 1 dropped; 3:10 MissingColumns");
    row("Kvaser: missing byte", kvaser, kvaserHeader + "0.5 1 100 Rx 3 11 22 0.1\n",
        "1 messages, 2 other, 0 dropped; 3:25 MissingBytes");

    const auto canKing = DatachunkHelper::KvaserCanKingLog;
    // The heading has the letters that make numbers hexadecimal.
    row("CanKing: sound", canKing, "Chn Identifier Flg DLC\n 0 0CF00400 X 1 F1 0.002100 R\n",
        "1 messages, 1 other, 0 dropped; ");
    row("CanKing: frame without flag and data", canKing, " 0 7E8 0 0.01 R\n",
        "0 messages, 0 other, 1 dropped; 1:16 MissingColumns");
    row("CanKing: identifier", canKing, "heading\n 0 7Q8 X 1 F1 0.002100 R\n",
        "1 messages, 1 other, 0 dropped; 2:4 NotANumber");
    row("CanKing: cut short", canKing, "heading\n 0 7E8 X 8 F1 F2 0.1 R\n 0 7E8 X 1 F1 0.1 R\n",
        "0 messages, 1 other, 1 dropped; 2:23 EndsImport");

    const auto wireshark = DatachunkHelper::WiresharkCsv;
    row("Wireshark: sound", wireshark,
        "\"No.\",\"Time\",\"Source\",\"Destination\",\"Protocol\",\"Length\",\"Info\"\n"
        "\"1\",\"0.5\",\"\",\"\",\"CAN\",\"16\",\"STD: 0x00000123   11 22\"\n"
        "\"2\",\"0.5\",\"\",\"\",\"ARP\",\"60\",\"Who has it?\"\n",
        "1 messages, 2 other, 0 dropped; ");
    row("Wireshark: extended frame", wireshark, "\"1\",\"0.5\",\"\",\"\",\"CAN\",\"16\",\"XTD: 0x00000123   11\"\n",
        "0 messages, 0 other, 1 dropped; 1:28 NotRead");
    row("Wireshark: cut off", wireshark, "\"1\",\"0.5\"\n", "0 messages, 0 other, 1 dropped; 1:10 MissingColumns");
    row("Wireshark: time", wireshark, "\"1\",\"a.5\",\"\",\"\",\"CAN\",\"16\",\"STD: 0x123 11\"\n",
        "1 messages, 0 other, 0 dropped; 1:5 NotANumber");

    const auto asc = DatachunkHelper::VectorAscLog;
    row("ASC: sound", asc, "base hex\n0.5 1 123x Rx d 1 11 Length = 2 BitCount = 3 ID = 4\n",
        "1 messages, 1 other, 0 dropped; ");
    row("ASC: cut off", asc, "0.5 1 123 BitCount\n", "0 messages, 0 other, 1 dropped; 1:19 MissingColumns");
    row("ASC: identifier", asc, "0.5 1 12Zx Rx d 1 11 BitCount = 3\n",
        "1 messages, 0 other, 0 dropped; 1:7 NotANumber");
    row("ASC: length", asc, "0.5 1 123 Rx d e 11 BitCount = 3\n", "1 messages, 0 other, 0 dropped; 1:16 NotANumber");
    row("ASC: byte", asc, "0.5 1 123 Rx d 2 11 GG BitCount = 3\n", "1 messages, 0 other, 0 dropped; 1:21 NotANumber");

    const auto ascNoBitCount = DatachunkHelper::VectorAscLogWithoutBitcount;
    row("ASC without bit counts: sound", ascNoBitCount,
        "base hex\nBegin Triggerblock\n0.5 1 123 Rx d 1 11 0\nStart of measurement\n"
        "0.5 CANFD 1 Rx 1a0 1 0 1 1 11\n\nEnd TriggerBlock\nx\n",
        "2 messages, 5 other, 0 dropped; ");
    row("ASC without bit counts: cut off", ascNoBitCount, "Begin Triggerblock\n0.5 1 123 Rx d\n0.5 CANFD 1\n",
        "0 messages, 1 other, 2 dropped; 2:15 MissingColumns, 3:12 MissingColumns");
    row("ASC without bit counts: FD byte missing", ascNoBitCount, "Begin Triggerblock\n0.5 CANFD 1 Rx 1a0 1 0 2 2 11\n",
        "1 messages, 1 other, 0 dropped; 2:30 MissingBytes");

    row("ASC without bit counts: events", ascNoBitCount,
        "Begin Triggerblock\n0.0 Start of measurement\n0.5 1 ErrorFrame\n0.5 CANFD 1 Rx ErrorFrame\n",
        "0 messages, 4 other, 0 dropped; ");

    const auto norvik = DatachunkHelper::NorvikTxt;
    row("Norvik: cut off", norvik, "1.5 1A4 (2) 01 02 ;1;\n1.5 1A5 (8\n",
        "0 messages, 0 other, 2 dropped; 1:22 MissingColumns, 2:11 MissingColumns");
    row("Norvik: sound", norvik, "log of today\n1.5 1A3 (2): 01 02 ;0;\n2.5 1A3 (2): Remote ;0;\n3.5 Error (1): ;0;\n",
        "3 messages, 1 other, 0 dropped; ");
    row("Norvik: byte", norvik, "1.5 1A3 (2): 01 0G ;0;\n", "1 messages, 0 other, 0 dropped; 1:17 NotANumber");
    row("Norvik: time without a fraction ends it", norvik, "1.5 1A3 (1): 01 ;0;\n2 1A3 (1): 01 ;0;\n3.5 1A3 (1): 01\n",
        "1 messages, 0 other, 1 dropped; 2:1 EndsImport");

    const auto trace = DatachunkHelper::PeakTraceV11;
    row("PCAN 1.1: sound", trace, ";$FILEVERSION=1.1\n1) 2457.5 Rx 0300 1 00\n2) 2458.5 Warng FFFF 4 BUSLIGHT\n",
        "1 messages, 2 other, 0 dropped; ");
    row("PCAN 1.1: byte", trace, "1) 2457.5 Rx 0300 2 00 x1\n", "1 messages, 0 other, 0 dropped; 1:24 NotANumber");
    row("PCAN 1.1: missing byte", trace, "1) 2457.5 Rx 0300 2 00\n",
        "1 messages, 0 other, 0 dropped; 1:23 MissingBytes");
    row("PCAN 1.1: malformed", trace, "1) 2457.5 Rx 0300 1 00\n2) 2457.5\n3) 2457.5 Rx 0300 1 00\n",
        "1 messages, 0 other, 1 dropped; 2:10 EndsImport");
    row("PCAN 2.1: sound", DatachunkHelper::PeakTraceV21,
        ";$COLUMNS=N,O,T,B,I,d,R,L,D\n1 1.0 DT 1 0300 Rx - 1 AA\n2 2.0 ST 1 0300 Rx - 4 00 00 00 00\n"
        "3 1.0 RR 1 0300 Rx - 8\n",
        "2 messages, 2 other, 0 dropped; ");
    row("PCAN 2.1: frames with error state and events", DatachunkHelper::PeakTraceV21,
        ";$COLUMNS=N,O,T,B,I,d,R,L,D\n1 1.0 FE 1 0300 Rx - 1 AA\n2 1.0 BI 1 0300 Rx - 1 AA\n"
        "3 5.0 EV 1 overrun of the queue\n",
        "0 messages, 2 other, 2 dropped; 2:7 NotRead, 3:7 NotRead");
    row("PCAN 2.1: placeholder missing", DatachunkHelper::PeakTraceV21,
        ";$COLUMNS=N,O,T,B,I,d,R,L,D\n1 1.0 DT 1 0300 Rx 1 AA\n",
        "0 messages, 1 other, 1 dropped; 2:24 MissingColumns");
    row("PCAN 2.1: time", DatachunkHelper::PeakTraceV21, ";$COLUMNS=N,O,T,B,I,d,R,L,D\n1 1.x DT 1 0300 Rx - 1 AA\n",
        "1 messages, 1 other, 0 dropped; 2:5 NotANumber");

    const auto coctt = DatachunkHelper::CoCTTLog;
    row("CoCTT: sound", coctt,
        "0001 : 12:30:05.250 : Test CAN : 1 181 Rx DF 2 0A 0B\n0003 : 12:30:05.300 : Test Notice : late\n",
        "1 messages, 1 other, 0 dropped; ");
    row("CoCTT: time", coctt, "0001 : 12:30 : Test CAN : 1 181 Rx SR 0\n",
        "1 messages, 0 other, 0 dropped; 1:8 NotANumber");
    row("CoCTT: malformed", coctt, "0001 : 12:30:05.250 : Test CAN : 1 181 Rx DF 2 0A\n",
        "0 messages, 0 other, 1 dropped; 1:1 EndsImport");

    const auto ixxat = DatachunkHelper::IxxatLog;
    const QByteArray ixxatHeader = "No,Bus,Time,Type,ID (hex),DLC,Data (hex)\n";
    row("Ixxat: sound", ixxat, "preamble\n" + ixxatHeader + "1,CAN1,\"00:00:01.250.125\",Std,181,2,0A 0B\n",
        "1 messages, 2 other, 0 dropped; ");
    row("Ixxat: identifier", ixxat, ixxatHeader + "1,CAN1,1.250.125,Std,18Z,2,0A 0B\n",
        "0 messages, 1 other, 1 dropped; 2:22 NotANumber");
    row("Ixxat: quoted", ixxat, ixxatHeader + "1,CAN1,\"1.250.125\",\"Std\",\"18Z\",2,\"0A 0B\"\n",
        "0 messages, 1 other, 1 dropped; 2:27 NotANumber");
    row("Ixxat: cut off", ixxat, ixxatHeader + "1,CAN1\n", "0 messages, 1 other, 1 dropped; 2:7 MissingColumns");
    row("Ixxat: byte", ixxat, ixxatHeader + "1,CAN1,1.250.125,Std,181,2,0A Q\n",
        "1 messages, 1 other, 0 dropped; 2:31 NotANumber");

    const auto generic = DatachunkHelper::GenericFile;
    row("generic: sound", generic, "# time id length data\n\n1.5 181 1 0A\n", "1 messages, 2 other, 0 dropped; ");
    row("generic: identifier", generic, "1.5 18Z 1 0A\n", "0 messages, 0 other, 1 dropped; 1:5 NotANumber");
    row("generic: byte", generic, "1.5 181 2 0A Z\n", "0 messages, 0 other, 1 dropped; 1:14 NotANumber");
    row("generic: byte missing", generic, "1.5 181 2 0A\n", "0 messages, 0 other, 1 dropped; 1:13 MissingBytes");
    row("generic: time", generic, "1.x 181 1 0A\n", "1 messages, 0 other, 0 dropped; 1:3 NotANumber");
    row("generic: malformed", generic, "1.5\n1.5 181 1 0A\n", "0 messages, 0 other, 1 dropped; 1:4 EndsImport");
}

void ImportReportTest::linesAreAccountedFor()
{
    QFETCH(ImportFileType, type);
    QFETCH(QByteArray, content);
    QFETCH(QString, expected);
    const ImportReport report = reportOn(content, type);
    QCOMPARE(textOf(report), expected);
    QCOMPARE(qint64(report.faults.size()), report.faultyLines);
    QCOMPARE(report.messages + report.otherLines + report.droppedLines, report.lines);
}

void ImportReportTest::badByteBeforeOtherColumnsIsNoted()
{
    // A number that is read after it saves the line.
    const ImportReport report = reportOn("1 ZZ 181\n", DatachunkHelper::GenericFile, QStringLiteral("l d i"));
    QCOMPARE(textOf(report), QStringLiteral("1 messages, 0 other, 0 dropped; 1:3 NotANumber"));
}

static void addSamples()
{
    QTest::addColumn<ImportFileType>("type");
    QTest::addColumn<QString>("path");
    const auto row = [](ImportFileType type, const char *name) {
        QTest::newRow(name) << type << QStringLiteral(CANLOG_EXAMPLES "/") + QLatin1String(name);
    };
    row(DatachunkHelper::SocketCanDump, "drive.log");
    row(DatachunkHelper::KvaserTxtLog, "drive-kvaser.txt");
    row(DatachunkHelper::KvaserCanKingLog, "drive-canking.txt");
    row(DatachunkHelper::WiresharkCsv, "drive-wireshark.csv");
    row(DatachunkHelper::VectorAscLog, "drive.asc");
    row(DatachunkHelper::VectorAscLogWithoutBitcount, "drive-nobitcount.asc");
    row(DatachunkHelper::NorvikTxt, "drive-norvik.txt");
    row(DatachunkHelper::PeakTraceV11, "washer-trc11.trc");
    row(DatachunkHelper::PeakTraceV21, "washer-trc21.trc");
    row(DatachunkHelper::CoCTTLog, "conformance-test.txt");
    row(DatachunkHelper::IxxatLog, "ixxat.csv");
    row(DatachunkHelper::GenericFile, "columns.txt");
}

void ImportReportTest::everyLineIsCountedOnce_data()
{
    addSamples();
}

void ImportReportTest::everyLineIsCountedOnce()
{
    QFETCH(ImportFileType, type);
    QFETCH(QString, path);
    Host host;
    QVERIFY(host.handler.importFile(path, type, QStringLiteral("t n i ? ? l d"), false));
    const ImportReport report = host.handler.getImportReport();
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(report.lines, qint64(file.readAll().count('\n')));
    QCOMPARE(report.messages + report.otherLines + report.droppedLines, report.lines);
    QVERIFY(report.messages > 0);
}

void ImportReportTest::onlyTheFirstFaultsAreKept()
{
    const int count = ImportReport::maxFaults + 500;
    const ImportReport report = reportOn(QByteArray("x\n").repeated(count), DatachunkHelper::SocketCanDump);
    QCOMPARE(report.lines, qint64(count));
    QCOMPARE(report.droppedLines, qint64(count));
    QCOMPARE(report.faultyLines, qint64(count));
    QCOMPARE(report.faults.size(), ImportReport::maxFaults);
    QCOMPARE(report.faults.constLast().line, qint64(ImportReport::maxFaults));
}

void ImportReportTest::lineThatEndsTheImportIsNamedWhateverCameBefore()
{
    // The second line has no type, without which a trace of this version ends.
    const QByteArray badTime = "1) x Rx 0123 1 AA\n";
    for (const int count : {1, ImportReport::maxFaults - 1, ImportReport::maxFaults, ImportReport::maxFaults + 500}) {
        const ImportReport report = reportOn(badTime.repeated(count) + "2) 1.5\n", DatachunkHelper::PeakTraceV11);
        QCOMPARE(report.faultyLines, qint64(count + 1));
        QCOMPARE(report.faults.size(), std::min(count + 1, ImportReport::maxFaults));
        QCOMPARE(report.faults.constLast().line, qint64(count + 1));
        QCOMPARE(report.faults.constLast().reason, ImportReport::Reason::EndsImport);
        QCOMPARE(report.faults.constFirst().reason, ImportReport::Reason::NotANumber);
    }
}

void ImportReportTest::reportIsOnTheLatestImport()
{
    Host host;
    QCOMPARE(host.handler.getImportReport().lines, qint64(0));
    const Log log("(1.5) can0 123#1122\nx\n");
    QVERIFY(host.handler.loadSocketCanDump(log.path()));
    QCOMPARE(textOf(host.handler.getImportReport()),
             QStringLiteral("1 messages, 0 other, 1 dropped; 2:2 MissingColumns"));
    const Log other("(1.5) can0 123#1122\n");
    QVERIFY(host.handler.loadSocketCanDump(other.path()));
    QCOMPARE(textOf(host.handler.getImportReport()), QStringLiteral("1 messages, 0 other, 0 dropped; "));
    QVERIFY(!host.handler.importFile(QStringLiteral("/nowhere"), DatachunkHelper::SocketCanDump, {}, false));
    QCOMPARE(host.handler.getImportReport().lines, qint64(0));
}

void ImportReportTest::importerClassesReportToo()
{
    const Log log("1.5 181 1 0A\n1.5 18Z 1 0A\n");
    GenericFileImporter importer(nullptr);
    importer.setColumnFormat(QStringLiteral("t i l d"));
    QVector<qint64> progress;
    importer.setProgress([&](qint64 bytesRead, qint64 bytesTotal) { progress << bytesRead << bytesTotal; });
    QList<CAN::CanRxMessage> messages;
    for (int i = 0; i < 2; ++i) { // each file is counted anew
        QVERIFY(importer.importFile(log.path(), &messages, nullptr));
        QCOMPARE(textOf(importer.getImportReport()), QStringLiteral("1 messages, 0 other, 1 dropped; 2:5 NotANumber"));
    }
    QCOMPARE(progress, (QVector<qint64>{26, 26, 26, 26}));
}

void ImportReportTest::fileThatCannotBeOpenedHasAReason_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("candump") << int(DatachunkHelper::SocketCanDump);
    QTest::newRow("importer class") << int(DatachunkHelper::PeakTraceV11);
    QTest::newRow("native chunk") << int(DatachunkHelper::QclFile);
    QTest::newRow("archive") << int(DatachunkHelper::QclZipArchive);
}

void ImportReportTest::fileThatCannotBeOpenedHasAReason()
{
    QFETCH(int, type);
    const QTemporaryDir folder;
    const QString missing = folder.filePath(QStringLiteral("missing.log"));
    Host host;
    QVERIFY(!host.handler.importFile(missing, ImportFileType(type), {}, false));
    QCOMPARE(host.handler.getImportReport().readError, qt_error_string(ENOENT));
    QVERIFY(!host.handler.importFile(folder.path(), ImportFileType(type), {}, false));
    QVERIFY(!host.handler.getImportReport().readError.isEmpty());
    QVERIFY(!host.handler.loadSocketCanDump(missing));
    QVERIFY(host.handler.getImportReport().readError.contains(qt_error_string(ENOENT)));

    const Log good("(1.5) can0 123#11\n");
    QVERIFY(host.handler.importFile(good.path(), DatachunkHelper::SocketCanDump, {}, false));
    QCOMPARE(host.handler.getImportReport().readError, QString());
}

void ImportReportTest::notesThatAreCutAreCounted()
{
    // With 14 characters before each, 64 lines of a mebi are the first that are more than 64 Mi characters.
    const QByteArray skipped = QByteArray(1024 * 1024, 'x') + '\n';
    const QByteArray frame = "0.5 1 123 Rx d 1 AA  Length = 246000 BitCount = 64 ID = 291\n";
    const auto cutNotes = [](const QByteArray &content) {
        return reportOn(content, DatachunkHelper::VectorAscLog).cutNotes;
    };
    QCOMPARE(cutNotes(skipped.repeated(64) + frame), qint64(0));
    QCOMPARE(cutNotes(skipped.repeated(66) + frame), qint64(1));
    QCOMPARE(cutNotes(skipped.repeated(65) + frame + skipped + frame + skipped.repeated(65)), qint64(2));
}

void ImportReportTest::lineThatIsCutIsFaulty_data()
{
    constexpr int most = 16 * 1024 * 1024;
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("messages");
    QTest::addColumn<int>("dropped");
    QTest::addColumn<int>("line"); // of the cut one; 0: there is none
    const int candump = DatachunkHelper::SocketCanDump;
    const int asc = DatachunkHelper::VectorAscLog;
    const int trace = DatachunkHelper::PeakTraceV11;
    const QByteArray frame = "(1.5) can0 123#11\n";
    const QByteArray ascFrame = "0.5 1 123 Rx d 1 AA  Length = 246000 BitCount = 64 ID = 291";
    const auto filled = [](const QByteArray &beginning, int length, char character) {
        return beginning.leftJustified(length, character);
    };
    QTest::newRow("as long as can be") << frame + filled("", most, 'x') + '\n' << candump << 1 << 1 << 0;
    QTest::newRow("as long as can be, with both line ends")
        << frame + filled("", most, 'x') + "\r\n" + frame << candump << 2 << 1 << 0;
    QTest::newRow("dropped") << frame + filled("", most + 1, 'x') + '\n' + frame << candump << 2 << 1 << 2;
    QTest::newRow("no frame") << filled("x", most + 30000, 'x') + '\n' << asc << 0 << 0 << 1;
    QTest::newRow("message") << ascFrame + '\n' + filled(ascFrame, most + 30000, ' ') << asc << 2 << 0 << 2;
    QTest::newRow("comment") << filled(";", most + 1, 'x') + '\n' << trace << 0 << 0 << 1;
    QTest::newRow("comment in the header")
        << ";$FILEVERSION=2.0\n;$COLUMNS=N,O,T,I,d,l,D\n" + filled(";", most + 1, 'x') + "\n1 1.5 DT 0123 Rx 1 11\n"
        << int(DatachunkHelper::PeakTraceV20) << 1 << 0 << 3;
}

void ImportReportTest::lineThatIsCutIsFaulty()
{
    QFETCH(QByteArray, content);
    QFETCH(int, type);
    QFETCH(int, messages);
    QFETCH(int, dropped);
    QFETCH(int, line);
    const ImportReport report = reportOn(content, ImportFileType(type));
    QCOMPARE(report.messages, qint64(messages));
    QCOMPARE(report.droppedLines, qint64(dropped));
    QStringList cut;
    for (const ImportReport::Fault &fault : report.faults) {
        if (fault.reason == Reason::CutLine)
            cut << QStringLiteral("%1:%2").arg(fault.line).arg(fault.column);
    }
    QCOMPARE(cut, line == 0 ? QStringList() : QStringList(QStringLiteral("%1:16777217").arg(line)));
    QCOMPARE(report.faultyLines, qint64(line == 0 ? dropped : 1));
}

void ImportReportTest::everyReasonHasAText()
{
    QStringList texts;
    for (const Reason reason : {Reason::NotANumber, Reason::MissingColumns, Reason::MissingBytes, Reason::NotRead,
                                Reason::EndsImport, Reason::BrokenLine, Reason::CutLine}) {
        const QString text = ImportReport::reasonText(reason);
        QVERIFY(!text.isEmpty());
        QVERIFY(!texts.contains(text));
        texts << text;
    }
    QCOMPARE(ImportReport::reasonText(static_cast<Reason>(texts.size())), QString()); // there are no more
}

void ImportReportTest::progressGoesUpToTheWholeFile_data()
{
    addSamples();
}

void ImportReportTest::progressGoesUpToTheWholeFile()
{
    QFETCH(ImportFileType, type);
    QFETCH(QString, path);
    const qint64 size = QFileInfo(path).size();
    Host host;
    qint64 latest = 0;
    bool isRising = true;
    connect(&host.handler, &CANLogHandler::importProgress, this, [&](qint64 bytesRead, qint64 bytesTotal) {
        isRising = isRising && bytesRead > latest && bytesTotal == size;
        latest = bytesRead;
    });
    QVERIFY(host.handler.importFile(path, type, QStringLiteral("t n i ? ? l d"), false));
    QVERIFY(isRising);
    QCOMPARE(latest, size);
}

void ImportReportTest::progressIsToldBetweenTheLoadingNotices()
{
    const QByteArray content = candumpLines(5000); // 100000 bytes: seven blocks
    const Log log(content);
    Host host;
    QStringList events;
    const QThread *const here = QThread::currentThread();
    connect(&host.handler, &CANLogHandler::showLoadingDialog, this,
            [&](bool show) { events << (show ? QStringLiteral("begin") : QStringLiteral("end")); });
    connect(
        &host.handler, &CANLogHandler::importProgress, this,
        [&](qint64 bytesRead, qint64) {
            QCOMPARE(QThread::currentThread(), here);
            events << QString::number(bytesRead);
        },
        Qt::DirectConnection);
    QVERIFY(host.handler.importFile(log.path(), DatachunkHelper::SocketCanDump, {}, false));
    QCOMPARE(events.size(), 2 + (content.size() + 16383) / 16384);
    QCOMPARE(events.constFirst(), QStringLiteral("begin"));
    QCOMPARE(events.at(1), QStringLiteral("16384"));
    QCOMPARE(events.at(events.size() - 2), QString::number(content.size()));
    QCOMPARE(events.constLast(), QStringLiteral("end"));
}

void ImportReportTest::interruptedImportFailsAndDeliversNoMore_data()
{
    addSamples();
}

void ImportReportTest::interruptedImportFailsAndDeliversNoMore()
{
    QFETCH(ImportFileType, type);
    QFETCH(QString, path);
    Host host;
    bool ok = true;
    runInThread([&] {
        QThread::currentThread()->requestInterruption();
        ok = host.handler.importFile(path, type, QStringLiteral("t n i ? ? l d"), false);
    });
    QVERIFY(!ok);
    QCOMPARE(host.store.calls(), QStringList());
}

void ImportReportTest::interruptionKeepsWhatWasDelivered()
{
    const Log log(candumpLines(250000));
    Host host;
    bool ok = true;
    runInThread([&] {
        connect(
            &host.handler, &CANLogHandler::importProgress, &host.handler,
            [&](qint64 bytesRead, qint64) {
                if (bytesRead > 3000000) // the line of message 150000
                    QThread::currentThread()->requestInterruption();
            },
            Qt::DirectConnection);
        ok = host.handler.loadFile(log.path(), DatachunkHelper::SocketCanDump, {}, false);
    });
    QVERIFY(!ok);
    QCOMPARE(host.store.calls(), (QStringList{Expected::started(), Expected::delivered(100000),
                                              Expected::finished(false, 11, log.path())}));
    QVERIFY(host.handler.getImportReport().messages > 149000);
    QVERIFY(host.handler.getImportReport().messages < 152000);
}

QTEST_GUILESS_MAIN(ImportReportTest)
#include "tst_importreport.moc"
