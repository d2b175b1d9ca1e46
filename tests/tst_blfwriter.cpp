// SPDX-License-Identifier: Apache-2.0
#include "host/convert/ascwriter.h"
#include "host/convert/blfwriter.h"

#include "blffile.h"
#include "pulledlog.h"
#include "writertest.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>

using BlfFile::bytes;

namespace
{

template <typename Number>
Number numberAt(const QByteArray &content, int offset)
{
    return qFromLittleEndian<Number>(content.constData() + offset);
}

/// The containers of a file: what each says that it holds, and what it does.
struct Container {
    quint32 statedSize;
    QByteArray content;
};

QVector<Container> containersOf(const QByteArray &file)
{
    QVector<Container> result;
    for (int at = 144; at < file.size();) {
        const auto size = numberAt<quint32>(file, at + 8);
        const auto stated = numberAt<quint32>(file, at + 24);
        if (file.mid(at, 4) != "LOBJ" || numberAt<quint32>(file, at + 12) != 10
            || numberAt<quint16>(file, at + 16) != 2)
            qFatal("no container");
        // What zlib makes, behind its size as qUncompress() wants it.
        QByteArray data(4, '\0');
        qToBigEndian(stated, data.data());
        result.append({stated, qUncompress(data + file.mid(at + 32, int(size) - 32))});
        at += int(size + size % 4);
    }
    return result;
}

/// The stream of objects in a file.
QByteArray contentOf(const QByteArray &file)
{
    QByteArray result;
    for (const Container &container : containersOf(file))
        result += container.content;
    return result;
}

Frames readBlf(const QByteArray &content)
{
    return readBack(content, DatachunkHelper::Blf);
}

/// What comes back of @p messages: channel 0 is none, and becomes 1.
Frames expectedBack(Frames messages)
{
    for (CAN::CanRxMessage &message : messages)
        message.channel = std::max(message.channel, quint16(1));
    return numbered(messages);
}

QString writeFile(const QTemporaryDir &folder, const QByteArray &content)
{
    const QString path = folder.filePath(QStringLiteral("out.blf"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

/// What is written to it cannot be written again.
class Pipe : public QIODevice
{
public:
    Pipe() { open(QIODevice::WriteOnly | QIODevice::Unbuffered); }
    bool isSequential() const override { return true; }
    QByteArray content;

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        content.append(data, int(size));
        return size;
    }
};

/// Messages that every tool knows, in the order of their times.
Frames commonMessages()
{
    return frames({
        Frame(0x123, "11 22 33 44 55 66 77 88").at(1700000000, 250001).channel(1),
        Frame(0x18FEF100, "FF").extended().tx().at(1700000000, 250102).channel(2),
        Frame(0x7E8).remote().dlc(8).at(1700000000, 300000).channel(1),
        Frame(0x1A0, "01 02 03 04 05 06 07 08 09 0A 0B 0C").fd().brs().at(1700000001, 0).channel(3),
        Frame(0x18DA10F1).extended().bytes(QByteArray(64, 'Z')).fd().brs().esi().tx().at(1700000002, 999999).channel(2),
        Frame(0x1A1, "01").fd().at(1700000003, 1).channel(1),
        Frame(CAN::errorFrameId).at(1700000004, 5).channel(2),
        Frame(0x7FF).at(1700000005, 6).channel(65535),
    });
}

} // namespace

/// The writer of binary logging files.
class BlfWriterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void objects_data();
    void objects();
    void headerSaysWhatThereIs();
    void headerOfAPipeSaysNothingOfSizes();
    void containersAreFull();
    void timesOfAClockCountFromTheirFirstSecond();
    void everythingComesBack();
    void notesComeBackWithTheirFrames();
    void nothingIsLostByWayOfAsc();
    void emptyLog();
    void fullDisk();
    void pythonCanReads();
    void tsharkReads();
};

void BlfWriterTest::objects_data()
{
    QTest::addColumn<Frames>("messages");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("classic frame") << frames({Frame(0x123, "11 22").at(1, 500000).channel(2)})
                                   << bytes("4C4F424A 2000 0100 30000000 01000000 02000000 00000000 002F685900000000"
                                            "0200 00 02 23010000 1122000000000000");
    QTest::newRow("extended, sent") << frames({Frame(0x1ABCDEF0, "AA").extended().tx().channel(1)})
                                    << bytes("4C4F424A 2000 0100 30000000 01000000 02000000 00000000 0000000000000000"
                                             "0100 01 01 F0DEBC9A AA00000000000000");
    QTest::newRow("remote") << frames({Frame(0x600).remote().dlc(4).channel(1)})
                            << bytes("4C4F424A 2000 0100 30000000 01000000 02000000 00000000 0000000000000000"
                                     "0100 80 04 00060000 0000000000000000");
    QTest::newRow("before time 0") << frames({Frame(0x123).at(-1, 0).channel(1)})
                                   << bytes("4C4F424A 2000 0100 30000000 01000000 02000000 00000000 003665C4FFFFFFFF"
                                            "0100 00 00 23010000 0000000000000000");
    QTest::newRow("CAN FD")
        << frames({Frame(0x123, "00 01 02 03 04 05 06 07 08 09 0A 0B").fd().brs().esi().channel(1)})
        << bytes("4C4F424A 2000 0100 78000000 64000000 02000000 00000000 0000000000000000"
                 "0100 00 09 23010000 00000000 00 07 0C 00 00000000 000102030405060708090A0B 52*00 00000000");
    QTest::newRow("error frame, sent")
        << frames({Frame(CAN::errorFrameId, "2D 1A").tx().channel(1)})
        << bytes("4C4F424A 2000 0100 40000000 49000000 02000000 00000000 0000000000000000"
                 "0100 0000 02000000 00 00 02 00 00000000 00000000 C030 0000 2D1A000000000000");
}

void BlfWriterTest::objects()
{
    QFETCH(Frames, messages);
    QFETCH(QByteArray, expected);
    QCOMPARE(contentOf(write<BlfWriter>(messages).text).toHex(), expected.toHex());
}

void BlfWriterTest::headerSaysWhatThereIs()
{
    const Frames messages = commonMessages();
    const QByteArray file = write<BlfWriter>(messages, {QString(), QStringLiteral("a note")}).text;
    QCOMPARE(file.left(4), QByteArray("LOGG"));
    QCOMPARE(numberAt<quint32>(file, 4), 144U);
    QCOMPARE(numberAt<quint64>(file, 16), quint64(file.size()));
    QCOMPARE(containersOf(file).size(), 1);
    QCOMPARE(numberAt<quint64>(file, 24), quint64(144 + 32 + contentOf(file).size()));
    QCOMPARE(numberAt<quint32>(file, 32), quint32(messages.size() + 1)); // and the note
    // Tuesday, 14 November 2023, 22:13:20, and five seconds later, in milliseconds.
    QCOMPARE(file.mid(40, 16), bytes("E707 0B00 0200 0E00 1600 0D00 1400 0000"));
    QCOMPARE(file.mid(56, 16), bytes("E707 0B00 0200 0E00 1600 0D00 1900 0000"));
    QCOMPARE(file.mid(72, 72), QByteArray(72, '\0'));
    QVERIFY(pullLog(DatachunkHelper::Blf, file).report.remarks.isEmpty());
}

void BlfWriterTest::headerOfAPipeSaysNothingOfSizes()
{
    Pipe pipe;
    BlfWriter writer(pipe);
    QVERIFY(writer.begin());
    for (const CAN::CanRxMessage &message : commonMessages())
        QVERIFY(writer.write(message, QString()));
    QVERIFY(writer.finish());
    const QByteArray file = pipe.content;
    QCOMPARE(file.mid(16, 20), QByteArray(20, '\0'));
    QCOMPARE(file.mid(40, 16), bytes("E707 0B00 0200 0E00 1600 0D00 1400 0000"));
    QCOMPARE(readBlf(file).size(), commonMessages().size());
}

void BlfWriterTest::containersAreFull()
{
    constexpr int count = 6000; // of 48 bytes
    Frames messages;
    for (int i = 0; i < count; ++i)
        messages.append(Frame(quint32(i % 0x800), "11").at(i, 0).channel(1));
    const QByteArray file = write<BlfWriter>(messages).text;
    const QVector<Container> containers = containersOf(file);
    QCOMPARE(containers.size(), 3);
    for (int i = 0; i < containers.size(); ++i) {
        QCOMPARE(containers.at(i).statedSize, quint32(i < 2 ? 131072 : 48 * count - 2 * 131072));
        QCOMPARE(quint32(containers.at(i).content.size()), containers.at(i).statedSize);
    }
    QCOMPARE(numberAt<quint64>(file, 24), quint64(144 + 3 * 32 + 48 * count));
    QCOMPARE(differenceOf(readBlf(file), numbered(messages)), QString());
}

void BlfWriterTest::timesOfAClockCountFromTheirFirstSecond()
{
    const PulledLog ofClock = pullLog(DatachunkHelper::Blf, write<BlfWriter>(commonMessages()).text);
    QCOMPARE(ofClock.info.start.date(), QDate(2023, 11, 14));
    QCOMPARE(ofClock.info.start.time(), QTime(22, 13, 20));
    QCOMPARE(ofClock.frames.first().frame.timeStamp, CanTimeStamp(0, 250001));
    QCOMPARE(ofClock.frames.last().frame.timeStamp, CanTimeStamp(5, 6));
    const PulledLog ofStart =
        pullLog(DatachunkHelper::Blf, write<BlfWriter>(frames({Frame(1).at(86399, 5), Frame(2).at(90000, 6)})).text);
    QCOMPARE(ofStart.info.start.date(), QDate(1970, 1, 1));
    QCOMPARE(ofStart.frames.first().frame.timeStamp, CanTimeStamp(86399, 5));
    QCOMPARE(ofStart.frames.last().frame.timeStamp, CanTimeStamp(90000, 6));
    QVERIFY(ofStart.report.faults.isEmpty());
}

void BlfWriterTest::everythingComesBack()
{
    const Frames messages = randomMessages(20000, 0);
    const Written written = write<BlfWriter>(messages);
    QCOMPARE(differenceOf(readBlf(written.text), expectedBack(messages)), QString());
    // Error frames have no place for more than eight bytes, and these have none.
    QVERIFY2(written.losses.startsWith(QLatin1String("channel 0 frame")) && !written.losses.contains(QLatin1Char(',')),
             qPrintable(written.losses));
    // Lengths that CAN FD does not have.
    const Frames odd = frames(
        {Frame(1).bytes(QByteArray(9, 'a')).fd().channel(1), Frame(1).bytes(QByteArray(63, 'b')).fd().channel(1)});
    QCOMPARE(differenceOf(readBlf(write<BlfWriter>(odd).text), odd), QString());
}

void BlfWriterTest::notesComeBackWithTheirFrames()
{
    const QString umlauts = QStringLiteral("T%1r auf").arg(QChar(0xFC));
    const QByteArray file =
        write<BlfWriter>(frames({Frame(1), Frame(2), Frame(3)}), {QStringLiteral("odd"), umlauts}).text;
    const PulledLog log = pullLog(DatachunkHelper::Blf, file);
    QCOMPARE(log.frames.size(), 3);
    QCOMPARE(log.frames.at(0).note, QStringLiteral("odd"));
    QCOMPARE(log.frames.at(1).note, umlauts);
    QCOMPARE(log.frames.at(2).note, QString());
    // More than readers keep of one object.
    const Written longNote = write<BlfWriter>(frames({Frame(1)}), {QString(20000, QLatin1Char('n'))});
    QCOMPARE(longNote.losses, QStringLiteral("note 1"));
}

void BlfWriterTest::nothingIsLostByWayOfAsc()
{
    Frames messages = randomMessages(5000, 0);
    for (CAN::CanRxMessage &message : messages) {
        // ASC has no place for the direction of an error frame, and channels above 9 come back as others.
        message.isTx = message.isTx && message.id != CAN::errorFrameId;
        message.channel = quint16(message.channel % 10);
    }
    const Frames first = readBlf(write<BlfWriter>(messages).text);
    const Frames asAsc = readBack(write<AscWriter>(first).text, DatachunkHelper::VectorAsc);
    const Frames second = readBlf(write<BlfWriter>(asAsc).text);
    QCOMPARE(differenceOf(first, expectedBack(messages)), QString());
    QCOMPARE(differenceOf(second, first), QString());
}

void BlfWriterTest::emptyLog()
{
    const QByteArray file = write<BlfWriter>({}).text;
    QCOMPARE(file.size(), 144);
    QCOMPARE(numberAt<quint64>(file, 16), quint64(144));
    QCOMPARE(readBlf(file).size(), 0);
}

void BlfWriterTest::fullDisk()
{
    for (const qint64 capacity : {qint64(0), qint64(200)}) {
        FullDevice device(capacity);
        BlfWriter writer(device);
        QVERIFY(writer.begin());
        bool ok = true;
        for (int i = 0; ok && i < 10000; ++i)
            ok = writer.write(Frame(1), QString());
        QVERIFY(!ok || !writer.finish());
        QVERIFY(!writer.errorText().isEmpty());
    }
}

/// With what scripts/venv makes beside the build folder.
void BlfWriterTest::pythonCanReads()
{
    const QString python =
        QFileInfo(QStringLiteral(CANLOG_PROGRAM)).dir().filePath(QStringLiteral("../../venv/bin/python"));
    if (!QFileInfo::exists(python))
        QSKIP("needs scripts/venv");
    QTemporaryDir folder;
    const QString path = writeFile(folder, write<BlfWriter>(commonMessages()).text);
    QProcess process;
    process.start(python,
                  {QStringLiteral("-c"),
                   QStringLiteral("import can, sys\n"
                                  "reader = can.BLFReader(sys.argv[1])\n"
                                  "print(reader.object_count, reader.file_size, reader.uncompressed_size)\n"
                                  "for m in reader:\n"
                                  "    time = round(m.timestamp * 1000000)\n"
                                  "    if m.is_error_frame:\n"
                                  "        print(time, 'error', m.channel)\n"
                                  "        continue\n"
                                  "    flags = ('X' if m.is_extended_id else 'S') + 'R' * m.is_remote_frame\n"
                                  "    flags += 'F' * m.is_fd + 'B' * m.bitrate_switch\n"
                                  "    flags += 'E' * m.error_state_indicator + 'T' * (not m.is_rx)\n"
                                  "    print(time, '%X' % m.arbitration_id, flags, m.dlc, m.data.hex(), m.channel)\n"),
                   path});
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(QString::fromUtf8(process.readAllStandardError()), QString());
    const QByteArray output = process.readAllStandardOutput();
    const int end = output.indexOf('\n') + 1;
    const auto size = QFileInfo(path).size();
    QCOMPARE(output.left(end), QByteArray::number(commonMessages().size()) + ' ' + QByteArray::number(size) + ' '
                                   + QByteArray::number(144 + 32 + 4 * 48 + 3 * 120 + 64) + '\n');
    // Its channels count from 0. The time of a remote frame's data does not matter: it has none.
    QCOMPARE(output.mid(end), QByteArray("1700000000250001 123 S 8 1122334455667788 0\n"
                                         "1700000000250102 18FEF100 XT 1 ff 1\n"
                                         "1700000000300000 7E8 SR 8  0\n"
                                         "1700000001000000 1A0 SFB 12 0102030405060708090a0b0c 2\n"
                                         "1700000002999999 18DA10F1 XFBET 64 ")
                                  + QByteArray("5a").repeated(64)
                                  + QByteArray(" 1\n"
                                               "1700000003000001 1A1 SF 1 01 0\n"
                                               "1700000004000005 error 1\n"
                                               "1700000005000006 7FF S 0  65534\n"));
}

/// It reads no error frames, and takes CAN FD frames for long ones.
void BlfWriterTest::tsharkReads()
{
    const QString tshark = QStandardPaths::findExecutable(QStringLiteral("tshark"));
    if (tshark.isEmpty())
        QSKIP("needs tshark");
    QTemporaryDir folder;
    const QString path = writeFile(folder, write<BlfWriter>(commonMessages()).text);
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TZ"), QStringLiteral("UTC")); // it takes the start for local time
    process.setProcessEnvironment(environment);
    QStringList arguments{QStringLiteral("-r"), path, QStringLiteral("-T"), QStringLiteral("fields")};
    for (const char *field : {"frame.time_epoch", "frame.interface_name", "frame.p2p_dir", "can.id", "can.flags.xtd",
                              "can.flags.rtr", "can.len", "data.data"})
        arguments << QStringLiteral("-e") << QString::fromLatin1(field);
    arguments << QStringLiteral("-E") << QStringLiteral("separator=/s");
    process.start(tshark, arguments);
    QVERIFY(process.waitForFinished(60000));
    // Direction 0 is sent.
    QCOMPARE(process.readAllStandardOutput(), QByteArray("1700000000.250001000 CAN-1 1 291 0 0 8 1122334455667788\n"
                                                         "1700000000.250102000 CAN-2 0 419361024 1 0 1 ff\n"
                                                         "1700000000.300000000 CAN-1 1 2024 0 1 8 \n"
                                                         "1700000001.000000000 CAN-3 1 416 0 0 12 "
                                                         "0102030405060708090a0b0c\n"
                                                         "1700000002.999999000 CAN-2 0 416944369 1 0 64 ")
                                                  + QByteArray("5a").repeated(64)
                                                  + QByteArray("\n"
                                                               "1700000003.000001000 CAN-1 1 417 0 0 1 01\n"
                                                               "1700000005.000006000 CAN-65535 1 2047 0 0 0 \n"));
}

QTEST_GUILESS_MAIN(BlfWriterTest)
#include "tst_blfwriter.moc"
