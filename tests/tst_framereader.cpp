// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "frames.h"
#include "readers/formats.h"
#include "readers/framereader.h"
#include "recordingstore.h"
#include "sequentialdevice.h"

#include <QBuffer>
#include <QDir>
#include <QMetaEnum>
#include <QPointer>
#include <QSet>
#include <QTemporaryFile>
#include <QThread>
#include <QtTest>

#include <algorithm>
#include <memory>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

using DatachunkHelper::ImportFileType;

Q_DECLARE_METATYPE(QVector<qint64>)

namespace
{

using Notes = QMap<unsigned int, QString>;

/// What pulling a log to its end gave.
struct Pulled {
    FrameReader::State state = FrameReader::State::Closed;
    Frames frames;
    Notes notes; ///< by position; the one after the last frame, too
    QVector<qint64> lines;
    QStringList told; ///< of each frame
    ImportReport report;
    bool fdSeen = false;
};

QString textOf(const ToldFields &told)
{
    QString text;
    text += told.channel ? QStringLiteral("channel ") : QString();
    text += told.direction ? QStringLiteral("direction ") : QString();
    text += told.bitRateSwitch ? QStringLiteral("brs ") : QString();
    text += told.errorStateFlag ? QStringLiteral("esi ") : QString();
    return text.trimmed();
}

Pulled pullAll(FrameReader &reader)
{
    Pulled pulled;
    const auto takeNote = [&] {
        if (reader.hasNote())
            pulled.notes.insert(unsigned(pulled.frames.size()), reader.takeNote());
    };
    while (reader.next()) {
        takeNote();
        pulled.frames.append(reader.frame());
        pulled.lines.append(reader.lineNumber());
        pulled.told.append(textOf(reader.toldFields()));
    }
    takeNote();
    pulled.state = reader.state();
    pulled.report = reader.report();
    pulled.fdSeen = reader.fdSeen();
    return pulled;
}

Pulled pullDevice(ImportFileType type, QIODevice &device)
{
    const std::unique_ptr<FrameReader> reader = makeReader(type);
    if (!reader->open(device, QStringLiteral("device")))
        qFatal("cannot open a device");
    return pullAll(*reader);
}

Pulled pullContent(ImportFileType type, const QByteArray &content)
{
    QByteArray bytes = content;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return pullDevice(type, buffer);
}

/// Behind its payload a record may hold more of the line.
Frames payloadsOnly(Frames frames)
{
    for (CAN::CanRxMessage &frame : frames)
        std::fill(std::begin(frame.data) + qMin<int>(frame.dlc, sizeof frame.data), std::end(frame.data), quint8(0));
    return frames;
}

QStringList faultsOf(const ImportReport &report)
{
    QStringList texts;
    for (const ImportReport::Fault &fault : report.faults)
        texts.append(QStringLiteral("%1:%2 %3").arg(fault.line).arg(fault.column).arg(int(fault.reason)));
    return texts;
}

QString textOf(const ImportReport &report)
{
    return QStringLiteral("%1 lines, %2 messages, %3 others, %4 dropped, %5 faulty, '%6': %7")
        .arg(report.lines)
        .arg(report.messages)
        .arg(report.otherLines)
        .arg(report.droppedLines)
        .arg(report.faultyLines)
        .arg(report.readError, faultsOf(report).join(QLatin1Char(' ')));
}

void addSamples()
{
    QTest::addColumn<ImportFileType>("type");
    QTest::addColumn<QString>("path");
    for (const LogFormat &format : logFormats()) {
        const QDir folder(QStringLiteral(CANLOG_TEST_DATA "/") + format.samples);
        const QStringList names = folder.entryList(QDir::Files);
        if (names.isEmpty())
            qFatal("no samples of %s", qPrintable(format.name()));
        for (const QString &name : names)
            QTest::addRow("%s, %s", qPrintable(format.name()), qPrintable(name))
                << format.type << folder.filePath(name);
    }
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    return file.readAll();
}

QByteArray candumpLines(int count)
{
    return QByteArray("(1.5) can0 123#1122\n").repeated(count);
}

} // namespace

class FrameReaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyTypeOfALogHasARow();
    void readsEveryFormat_data();
    void readsEveryFormat();
    void givesWhatTheStoreGets_data() { addSamples(); }
    void givesWhatTheStoreGets();
    void devicesGiveWhatTheFileGives_data() { addSamples(); }
    void devicesGiveWhatTheFileGives();
    void storeGetsTheSameOfADevice_data() { addSamples(); }
    void storeGetsTheSameOfADevice();
    void archivesAndChunksNeedAFile();
    void canBeLeftAtAnyFrame_data() { addSamples(); }
    void canBeLeftAtAnyFrame();
    void givesAFrameBeforeTheDeviceHasMore();
    void findsTheEncodingOfADeviceByteByByte_data();
    void findsTheEncodingOfADeviceByteByByte();
    void fillsTheRecordOfTheCaller();
    void noteBelongsToItsFrameAlone();
    void stopsWhenItIsToldTo();
    void stopsWithItsThread();
    void opensAnotherLogAfterEachEnd();
    void saysWhatCannotBeOpened();
    void saysWhichLineBreaksTheFormat();
    void tellsThatADeviceFails();
    void errorWithoutATextEndsADevice();
    void readsADeviceFromWhereItStands();
    void findsTheRadixOfADevice_data();
    void findsTheRadixOfADevice();
    void refusesAPipeByItsPathWhereItReadTwice();
    void saysWhatTimesCountFrom();
};

void FrameReaderTest::everyTypeOfALogHasARow()
{
    const QMetaEnum types = QMetaEnum::fromType<ImportFileType>();
    QSet<QString> names;
    for (int i = 0; i < types.keyCount(); ++i) {
        const auto type = ImportFileType(types.value(i));
        const bool isLog = type != DatachunkHelper::QclZipArchive && type != DatachunkHelper::QclFile
                           && type != DatachunkHelper::PeakTraceReserved;
        const LogFormat *const format = findLogFormat(type);
        QCOMPARE(format != nullptr, isLog);
        QCOMPARE(makeReader(type) != nullptr, isLog);
        if (!isLog)
            continue;
        QCOMPARE(format->name(), QString::fromLatin1(types.key(i)));
        // The short names of two formats went to what their tools write today.
        const bool isFormer = type == DatachunkHelper::SocketCanDump || type == DatachunkHelper::VectorAscLog;
        QCOMPARE(format->shortNames.isEmpty(), isFormer);
        QVERIFY(!format->description.isEmpty() && format->suffix.startsWith(QLatin1Char('.')));
        for (const QString &name : format->shortNames)
            QVERIFY2(!names.contains(name), qPrintable(name));
        names.unite(QSet<QString>(format->shortNames.begin(), format->shortNames.end()));
    }
    const QVector<LogFormat> &rows = logFormats();
    QVERIFY(std::is_sorted(rows.begin(), rows.end(),
                           [](const LogFormat &a, const LogFormat &b) { return a.type < b.type; }));
}

void FrameReaderTest::readsEveryFormat_data()
{
    QTest::addColumn<ImportFileType>("type");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Frames>("expected");
    QTest::addColumn<Notes>("notes");
    QTest::addColumn<QVector<qint64>>("lines");
    QTest::addColumn<QStringList>("told");
    using namespace DatachunkHelper;
    const auto text = [](const char *latin1) { return QString::fromLatin1(latin1); };

    QTest::newRow("Norvik") << NorvikTxt << QByteArray("1.000000 1A3 (2): 01 FF ;1;hello\n\n2.5 2A0 (1): 7F\n")
                            << frames({Frame(0x1A3, "01 FF").at(1, 0).extended(), Frame(0x2A0, "7F").at(2, 500000)})
                            << Notes{{0, text("hello")}} << QVector<qint64>{1, 3}
                            << QStringList{text("brs esi"), QString()};
    QTest::newRow("PCAN trace 1.1") << PeakTraceV11
                                    << QByteArray(";$FILEVERSION=1.1\n"
                                                  "     1)      2457.5  Rx         0300  2  00 11\n"
                                                  "     2)      2458.0  Warng  FFFFFFFF  4  00 00 00 08 BUSHEAVY\n"
                                                  "     3)      2459.0  Warng  FFFFFFFF  4  00 00 00 08 BUSLIGHT\n"
                                                  "     4)      2460.25 Tx  00000301  1  AA\n"
                                                  "     5)      2461.0  Warng  FFFFFFFF  4  00 00 00 08 OVERRUN\n")
                                    << frames({Frame(0x300, "00 11").at(2, 457500),
                                               Frame(0x301, "AA").at(2, 460250).tx().extended()})
                                    << Notes{{1, text("BUSHEAVY | BUSLIGHT")}, {2, text("OVERRUN")}}
                                    << QVector<qint64>{2, 5} << QStringList{text("direction"), text("direction")};
    QTest::newRow("PCAN trace 1.2") << PeakTraceV12 << QByteArray("     1)      2457.5 1  Rx   0300  2  00 11\n")
                                    << frames({Frame(0x300, "00 11").at(2, 457500)}) << Notes() << QVector<qint64>{1}
                                    << QStringList{text("direction")};
    QTest::newRow("PCAN trace 1.3") << PeakTraceV13 << QByteArray("     1)      2457.5 1  Rx   0300 -  2  00 11\n")
                                    << frames({Frame(0x300, "00 11").at(2, 457500)}) << Notes() << QVector<qint64>{1}
                                    << QStringList{text("direction")};
    QTest::newRow("PCAN trace 2.0") << PeakTraceV20
                                    << QByteArray(";$FILEVERSION=2.0\n;$COLUMNS=N,O,T,I,d,l,D\n"
                                                  "      1      171.130 DT      0300 Rx 2  AA BB\n"
                                                  "      2      171.5 FB      0301 Tx 1  CC\n")
                                    << frames({Frame(0x300, "AA BB").at(0, 171130),
                                               Frame(0x301, "CC").at(0, 171500).fd().brs().tx()})
                                    << Notes() << QVector<qint64>{3, 4}
                                    << QStringList{text("direction"), text("direction brs esi")};
    QTest::newRow("PCAN trace 2.1") << PeakTraceV21
                                    << QByteArray(
                                           ";$COLUMNS=N,O,T,B,I,d,R,L,D\n   1  171.130 DT 1  0300 Rx -  2  AA BB\n")
                                    << frames({Frame(0x300, "AA BB").at(0, 171130)}) << Notes() << QVector<qint64>{2}
                                    << QStringList{text("direction")};
    QTest::newRow("candump") << SocketCanDump << QByteArray("\n(1.5) can0 123#1122\n")
                             << frames({Frame(0x123, "1122").at(1, 500000)}) << Notes() << QVector<qint64>{2}
                             << QStringList{QString()};
    QTest::newRow("Kvaser text") << KvaserTxtLog << QByteArray("Trigger\n0.002470 1 291 Rx 2 01 02 0.000240\n")
                                 << frames({Frame(0x291, "01 02").at(0, 2470)}) << Notes() << QVector<qint64>{2}
                                 << QStringList{QString()};
    QTest::newRow("CanKing") << KvaserCanKingLog
                             << QByteArray("Chn Identifier Flg   DLC  Data\n"
                                           " 0    0CF00400 X       2  F1  7D     0.002100    R\n")
                             << frames({Frame(0xCF00400, "F1 7D").at(0, 2100).extended()}) << Notes()
                             << QVector<qint64>{2} << QStringList{QString()};
    QTest::newRow("ASC") << VectorAscLog
                         << QByteArray("base hex\n"
                                       " 0.5 2  123  Rx   d 2 AA BB  Length = 246000 BitCount = 64 ID = 291\n"
                                       "// one\n// two\n")
                         << frames({Frame(0x123, "AA BB").at(0, 500000).channel(2)})
                         << Notes{{0, text("Skipped line: base hex")},
                                  {1, text("Skipped line: // oneSkipped line: // two")}}
                         << QVector<qint64>{2} << QStringList{text("channel")};
    QTest::newRow("ASC without bit counts")
        << VectorAscLogWithoutBitcount
        << QByteArray("0.1 1 123 Rx d 1 AA 0\nBegin Triggerblock\n"
                      "   0.002710 1  18FEF100x       Rx   d 2 AA BB 0\n"
                      "   0.003510 CANFD   1 Rx        1a0  1 0 9 2 00 01   0 0\n"
                      "End TriggerBlock\n0.2 1 123 Rx d 1 AA 0\n")
        << frames({Frame(0x18FEF100, "AA BB").at(0, 2710).extended().channel(1),
                   Frame(0x1A0, "00 01").at(0, 3510).fd().channel(1)})
        << Notes() << QVector<qint64>{3, 4} << QStringList{text("channel"), text("channel")};
    QTest::newRow("CoCTT") << CoCTTLog
                           << QByteArray("0001 : 12:30:05.250 : Test CAN : 1 181 Tx DF 2 0A 0B\n"
                                         "0002 : 12:30:05.300 : Test Notice : heartbeat  is late\n")
                           << frames({Frame(0x181, "0A 0B").at(45005, 250000).tx()})
                           << Notes{{1, text("0002 : 12:30:05.300 : Test Notice : heartbeat is late")}}
                           << QVector<qint64>{1} << QStringList{text("direction")};
    QTest::newRow("Ixxat") << IxxatLog
                           << QByteArray("No,Bus,Time,Type,ID (hex),DLC,Data (hex)\n"
                                         "1,CAN1,\"00:00:01.250.125\",\"Std\",\"181\",\"2\",\"0A 0B\"\n")
                           << frames({Frame(0x181, "0A 0B").at(1, 250125)}) << Notes() << QVector<qint64>{2}
                           << QStringList{QString()};
    QTest::newRow("Wireshark") << WiresharkCsv
                               << QByteArray("\"No.\",\"Time\",\"Source\",\"Destination\",\"Protocol\",\"Length\","
                                             "\"Info\"\n"
                                             "\"7\",\"0.4\",\"\",\"\",\"CAN\",\"16\",\"XTD: 0x00000123   11\"\n"
                                             "\"9\",\"0.5\",\"\",\"\",\"CAN\",\"16\",\"STD: 0x00000123   11 22\"\n")
                               << frames({Frame(0x123, "11 22").at(0, 500000).index(9)}) << Notes()
                               << QVector<qint64>{3} << QStringList{QString()};
    QTest::newRow("generic") << GenericFile << QByteArray("# columns\n0.000100 3 1A2 Rx d 2 AA BB\n")
                             << frames({Frame(0x1A2, "AA BB").at(0, 100).channel(3)}) << Notes() << QVector<qint64>{2}
                             << QStringList{text("channel")};
}

void FrameReaderTest::readsEveryFormat()
{
    QFETCH(ImportFileType, type);
    QFETCH(QByteArray, content);
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);
    QFETCH(QVector<qint64>, lines);
    QFETCH(QStringList, told);
    const Pulled pulled = pullContent(type, content);
    QCOMPARE(pulled.state, FrameReader::State::AtEnd);
    QCOMPARE(payloadsOnly(pulled.frames), expected);
    QCOMPARE(pulled.notes, notes);
    QCOMPARE(pulled.lines, lines);
    QCOMPARE(pulled.told, told);
    QCOMPARE(pulled.report.messages, qint64(expected.size()));
    QCOMPARE(pulled.report.lines, qint64(content.count('\n')) - (type == DatachunkHelper::VectorAscLogWithoutBitcount));
}

/// By the path; notes of frames have the number of the frame, as they do in no format with numbers of its own.
void FrameReaderTest::givesWhatTheStoreGets()
{
    QFETCH(ImportFileType, type);
    QFETCH(QString, path);
    const std::unique_ptr<FrameReader> reader = makeReader(type);
    QVERIFY(reader->open(path));
    const Pulled pulled = pullAll(*reader);

    RecordingStore store;
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    const bool ok = handler.importFile(path, type, defaultColumns(), false);
    QCOMPARE(pulled.state == FrameReader::State::AtEnd, ok);
    QCOMPARE(textOf(pulled.report), textOf(handler.getImportReport()));
    if (!ok) {
        QVERIFY(!reader->errorString().isEmpty());
        return;
    }
    QCOMPARE(pulled.frames, store.messages());
    Notes notes = store.notes();
    const QString toLast = store.calls().filter(QStringLiteral("addMessageNoteToLastMessage")).join(QChar());
    if (!toLast.isEmpty())
        notes.insert(unsigned(pulled.frames.size()), toLast.mid(28).chopped(1));
    QCOMPARE(pulled.notes, notes);
    const QStringList fd = store.calls().filter(QStringLiteral("notifyFdMessage"));
    if (!fd.isEmpty())
        QCOMPARE(Expected::fd(pulled.fdSeen), fd.constFirst());
}

void FrameReaderTest::devicesGiveWhatTheFileGives()
{
    QFETCH(ImportFileType, type);
    QFETCH(QString, path);
    const std::unique_ptr<FrameReader> reader = makeReader(type);
    QVERIFY(reader->open(path));
    const Pulled expected = pullAll(*reader);
    const QByteArray content = contentOf(path);
    const auto compare = [&](const Pulled &pulled) {
        QCOMPARE(pulled.state, expected.state);
        QCOMPARE(pulled.frames, expected.frames);
        QCOMPARE(pulled.notes, expected.notes);
        QCOMPARE(pulled.lines, expected.lines);
        QCOMPARE(textOf(pulled.report), textOf(expected.report));
    };
    compare(pullContent(type, content));
    for (const int step : {1, 7, 100000}) {
        SequentialDevice device(content, step);
        compare(pullDevice(type, device));
    }
}

void FrameReaderTest::storeGetsTheSameOfADevice()
{
    QFETCH(ImportFileType, type);
    QFETCH(QString, path);
    const auto callsOf = [&](const std::function<void(CANLogHandler &)> &import) {
        RecordingStore store;
        QPointer<DatachunkHandler> pointer(&store);
        CANLogHandler handler(pointer);
        store.addLoadingSignalsOf(&handler);
        import(handler);
        return store.calls() + QStringList{textOf(handler.getImportReport()), handler.getLastErrorText()};
    };
    const QStringList ofFile =
        callsOf([&](CANLogHandler &handler) { handler.loadFile(path, type, defaultColumns(), false); });
    SequentialDevice device(contentOf(path), 7);
    const QStringList ofDevice =
        callsOf([&](CANLogHandler &handler) { handler.loadDevice(device, path, type, defaultColumns(), false); });
    QCOMPARE(ofDevice, ofFile);
}

void FrameReaderTest::archivesAndChunksNeedAFile()
{
    for (const ImportFileType type : {DatachunkHelper::QclZipArchive, DatachunkHelper::QclFile}) {
        RecordingStore store;
        QPointer<DatachunkHandler> pointer(&store);
        CANLogHandler handler(pointer);
        SequentialDevice device(candumpLines(1), 7);
        QVERIFY(!handler.loadDevice(device, QStringLiteral("x"), type, {}, false));
        QCOMPARE(store.calls().constLast(), Expected::finished(false, type, QStringLiteral("x")));
    }
}

void FrameReaderTest::canBeLeftAtAnyFrame()
{
    QFETCH(ImportFileType, type);
    QFETCH(QString, path);
    const std::unique_ptr<FrameReader> reader = makeReader(type);
    QVERIFY(reader->open(path));
    const Frames all = pullAll(*reader).frames;
    for (int wanted = 0; wanted <= all.size(); ++wanted) {
        QVERIFY(reader->open(path));
        Frames some;
        while (some.size() < wanted && reader->next())
            some.append(reader->frame());
        QCOMPARE(some, Frames(all.mid(0, wanted)));
        QCOMPARE(reader->state(), FrameReader::State::Reading);
        QCOMPARE(reader->report().messages, qint64(wanted));
    }
}

void FrameReaderTest::givesAFrameBeforeTheDeviceHasMore()
{
    const QByteArray line = candumpLines(1);
    SequentialDevice device(line + line, line.size());
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::SocketCanDump);
    QVERIFY(reader->open(device, QStringLiteral("pipe")));
    QCOMPARE(device.left(), 2 * line.size()); // opening reads nothing
    QVERIFY(reader->next());
    QCOMPARE(device.left(), line.size());
}

void FrameReaderTest::findsTheEncodingOfADeviceByteByByte_data()
{
    QTest::addColumn<QByteArray>("content");
    const QString text = QStringLiteral("(1.5) can0 123#1122\n");
    QByteArray utf16;
    for (const QChar c : QChar(QChar::ByteOrderMark) + text)
        utf16.append(char(c.unicode() & 0xFF)).append(char(c.unicode() >> 8));
    QTest::newRow("UTF-8") << QByteArray("\xEF\xBB\xBF") + text.toUtf8();
    QTest::newRow("UTF-16") << utf16;
    QTest::newRow("no mark") << text.toUtf8();
    QTest::newRow("three bytes and a line") << QByteArray("abc\n") + text.toUtf8();
}

void FrameReaderTest::findsTheEncodingOfADeviceByteByByte()
{
    QFETCH(QByteArray, content);
    SequentialDevice device(content, 1);
    QCOMPARE(pullDevice(DatachunkHelper::SocketCanDump, device).frames, frames({Frame(0x123, "1122").at(1, 500000)}));
}

void FrameReaderTest::fillsTheRecordOfTheCaller()
{
    QByteArray content = candumpLines(1) + "no frame\n" + candumpLines(1);
    QBuffer buffer(&content);
    QVERIFY(buffer.open(QIODevice::ReadOnly));
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::SocketCanDump);
    QVERIFY(reader->open(buffer, QString()));
    CAN::CanRxMessage records[3];
    QVERIFY(reader->next(records[0]) && reader->next(records[1]) && !reader->next(records[2]));
    QCOMPARE(Frames({records[0], records[1]}),
             frames({Frame(0x123, "1122").at(1, 500000), Frame(0x123, "1122").at(1, 500000)}));
}

void FrameReaderTest::noteBelongsToItsFrameAlone()
{
    QByteArray content = "1.0 1A3 (1): 01 ;0;first\n2.0 1A3 (1): 01 ;0;\n3.0 1A3 (1): 01 ;0;third\n";
    QBuffer buffer(&content);
    QVERIFY(buffer.open(QIODevice::ReadOnly));
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::NorvikTxt);
    QVERIFY(reader->open(buffer, QString()));
    QVERIFY(reader->next() && reader->hasNote()); // not taken
    QVERIFY(reader->next() && !reader->hasNote());
    QVERIFY(reader->next());
    QCOMPARE(reader->takeNote(), QStringLiteral("third"));
    QVERIFY(!reader->hasNote());
    QVERIFY(!reader->next());
    QCOMPARE(reader->takeNote(), QString());
}

void FrameReaderTest::stopsWhenItIsToldTo()
{
    const QByteArray content = candumpLines(10000);
    SequentialDevice device(content, 16384);
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::SocketCanDump);
    QVector<qint64> blocks;
    reader->setProgress([&](qint64 bytesRead, qint64 bytesTotal) {
        QCOMPARE(bytesTotal, qint64(0));
        blocks.append(bytesRead);
        if (blocks.size() == 3)
            reader->stop();
    });
    QVERIFY(reader->open(device, QString()));
    const Pulled pulled = pullAll(*reader);
    QCOMPARE(pulled.state, FrameReader::State::Interrupted);
    QCOMPARE(blocks, (QVector<qint64>{16384, 2 * 16384, 3 * 16384}));
    // The whole lines of two blocks; 20 bytes each.
    QCOMPARE(pulled.frames.size(), 2 * 16384 / 20);
    QVERIFY(!reader->next());

    reader->setProgress({});
    SequentialDevice again(content, 16384);
    QVERIFY(reader->open(again, QString()));
    QCOMPARE(pullAll(*reader).frames.size(), 10000);
}

void FrameReaderTest::stopsWithItsThread()
{
    Pulled pulled;
    const std::unique_ptr<QThread> thread(QThread::create([&] {
        QThread::currentThread()->requestInterruption();
        pulled = pullContent(DatachunkHelper::SocketCanDump, candumpLines(3));
    }));
    thread->start();
    QVERIFY(thread->wait());
    QCOMPARE(pulled.state, FrameReader::State::Interrupted);
    QCOMPARE(pulled.frames.size(), 0);
}

void FrameReaderTest::opensAnotherLogAfterEachEnd()
{
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::CoCTTLog);
    QCOMPARE(reader->state(), FrameReader::State::Closed);
    QVERIFY(!reader->next());
    const QByteArray broken = "x : 12:30:05.250 : Test Notice : n\nx : Test CAN : nothing\n";
    const QByteArray sound = "0001 : 12:30:05.250 : Test CAN : 1 181 Rx DF 2 0A 0B\n";
    for (int i = 0; i < 2; ++i) {
        SequentialDevice first(broken, 7);
        QVERIFY(reader->open(first, QStringLiteral("first")));
        QVERIFY(!reader->next());
        QVERIFY(reader->failed() && reader->hasNote());
        SequentialDevice second(sound, 7);
        QVERIFY(reader->open(second, QStringLiteral("second")));
        QVERIFY(!reader->failed() && !reader->hasNote() && reader->errorString().isEmpty());
        const Pulled pulled = pullAll(*reader);
        QCOMPARE(pulled.state, FrameReader::State::AtEnd);
        QCOMPARE(pulled.frames, frames({Frame(0x181, "0A 0B").at(45005, 250000)}));
        QCOMPARE(pulled.notes, Notes());
        QCOMPARE(pulled.report.lines, qint64(1));
    }
}

void FrameReaderTest::saysWhatCannotBeOpened()
{
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::SocketCanDump);
    QVERIFY(!reader->open(QStringLiteral("/no/such.log")));
    QVERIFY(reader->failed());
    QCOMPARE(reader->errorString(), QStringLiteral("/no/such.log cannot be opened: No such file or directory"));
    QVERIFY(!reader->next());
    QCOMPARE(reader->report().lines, qint64(0));
    QBuffer closed;
    QVERIFY(!reader->open(closed, QStringLiteral("buffer")));
    QCOMPARE(reader->errorString(), QStringLiteral("buffer is not open for reading"));
    QVERIFY(!reader->next());
}

void FrameReaderTest::saysWhichLineBreaksTheFormat()
{
    const QByteArray line = "0001 : 12:30:05.250 : Test CAN : 1 181 Rx DF 2 0A 0B\n";
    SequentialDevice device(line + "Test CAN : x\n" + line, 1000);
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::CoCTTLog);
    QVERIFY(reader->open(device, QStringLiteral("run.log")));
    const Pulled pulled = pullAll(*reader);
    QCOMPARE(pulled.state, FrameReader::State::Failed);
    QCOMPARE(pulled.frames.size(), 1); // what stands before it
    QCOMPARE(reader->errorString(), QStringLiteral("Import error occured at line 2 of file run.log."));
    QCOMPARE(faultsOf(pulled.report), QStringList{QStringLiteral("2:1 %1").arg(int(ImportReport::Reason::EndsImport))});
}

void FrameReaderTest::tellsThatADeviceFails()
{
    SequentialDevice device(candumpLines(2), 20);
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::SocketCanDump);
    QVERIFY(reader->open(device, QStringLiteral("pipe")));
    QVERIFY(reader->next());
    device.failWith(QStringLiteral("damaged"));
    QVERIFY(!reader->next());
    QVERIFY(reader->atEnd());
    QCOMPARE(reader->report().readError, QStringLiteral("damaged"));
}

void FrameReaderTest::errorWithoutATextEndsADevice()
{
    SequentialDevice device(candumpLines(2), 7, SequentialDevice::End::Error);
    const Pulled pulled = pullDevice(DatachunkHelper::SocketCanDump, device);
    QCOMPARE(pulled.frames.size(), 2);
    QCOMPARE(pulled.report.readError, QString());
}

void FrameReaderTest::readsADeviceFromWhereItStands()
{
    for (const LogFormat &format : logFormats()) {
        QByteArray content = "x\n";
        QBuffer buffer(&content);
        QVERIFY(buffer.open(QIODevice::ReadOnly) && buffer.seek(2));
        const std::unique_ptr<FrameReader> reader = makeReader(format.type);
        QVERIFY(reader->open(buffer, QString()));
        QVERIFY(!reader->next());
        QCOMPARE(reader->report().lines, qint64(0));
    }
}

void FrameReaderTest::findsTheRadixOfADevice_data()
{
    QTest::addColumn<int>("decimalLines");
    QTest::addColumn<QByteArray>("lastLine");
    QTest::addColumn<quint32>("id");
    const QByteArray letters = " 0  0000000a   1  10   0.1 R\n";
    QTest::newRow("no letter") << 3 << QByteArray() << quint32(10);
    QTest::newRow("a letter in the first block") << 3 << letters << quint32(0x10);
    QTest::newRow("a letter in the third block") << 1400 << letters << quint32(0x10);
    // 29 characters a line: 36158 lines are more than 1048576 characters.
    QTest::newRow("a letter after the first million") << 36158 << letters << quint32(10);
}

void FrameReaderTest::findsTheRadixOfADevice()
{
    QFETCH(int, decimalLines);
    QFETCH(QByteArray, lastLine);
    QFETCH(quint32, id);
    const QByteArray content = QByteArray(" 0  00000010   1  10   0.1 R\n").repeated(decimalLines) + lastLine;
    SequentialDevice device(content, 5000);
    const Pulled pulled = pullDevice(DatachunkHelper::KvaserCanKingLog, device);
    const Pulled ofBuffer = pullContent(DatachunkHelper::KvaserCanKingLog, content);
    for (const Pulled &one : {pulled, ofBuffer}) {
        QCOMPARE(one.state, FrameReader::State::AtEnd);
        QCOMPARE(one.frames.size(), content.count('\n'));
        QCOMPARE(one.frames.constFirst().id, id);
        QCOMPARE(one.frames.constFirst().data[0], quint8(id));
    }
}

void FrameReaderTest::refusesAPipeByItsPathWhereItReadTwice()
{
#ifdef Q_OS_LINUX
    const QByteArray content = " 0  0000000a   1  10   0.1 R\n";
    int ends[2];
    QCOMPARE(pipe(ends), 0);
    QCOMPARE(write(ends[1], content.constData(), std::size_t(content.size())), ssize_t(content.size()));
    close(ends[1]);
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::KvaserCanKingLog);
    const QString path = QStringLiteral("/proc/self/fd/%1").arg(ends[0]);
    QVERIFY(reader->open(path));
    QVERIFY(!reader->next());
    QVERIFY(reader->failed());
    QVERIFY2(reader->errorString().startsWith(path + QLatin1String(" is a pipe")), qPrintable(reader->errorString()));
    close(ends[0]);
#else
    QSKIP("needs a pipe with a path");
#endif
}

void FrameReaderTest::saysWhatTimesCountFrom()
{
    const auto timeBaseOf = [](ImportFileType type) { return makeReader(type)->info().timeBase; };
    QCOMPARE(timeBaseOf(DatachunkHelper::CoCTTLog), LogInfo::TimeBase::Midnight);
    QCOMPARE(timeBaseOf(DatachunkHelper::PeakTraceV21), LogInfo::TimeBase::LogStart);
    QCOMPARE(timeBaseOf(DatachunkHelper::SocketCanDump), LogInfo::TimeBase::Unknown);
}

QTEST_GUILESS_MAIN(FrameReaderTest)
#include "tst_framereader.moc"
