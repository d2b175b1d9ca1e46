// SPDX-License-Identifier: Apache-2.0
#include "blffile.h"
#include "frames.h"
#include "logrows.h"
#include "sequentialdevice.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QtTest>

using BlfFile::bytes;
using BlfFile::compressed;
using BlfFile::container;
using BlfFile::containers;
using BlfFile::file;
using BlfFile::number;
using BlfFile::object;
using BlfFile::stored;

namespace
{

/// What must become of a file: its frames, and what its report says.
struct Result {
    QVector<LogFrame> frames;
    QStringList faults; ///< a pattern for each
    int dropped = 0;    ///< of the objects
    QString skipped;
    QMap<quint16, QString> channels;
    /// Whether the objects give the same outside of containers.
    bool isSameOutside = true;

    Result(const LogFrame &only)
        : frames{only}
    {
    }
    Result(std::initializer_list<LogFrame> list = {})
        : frames(list)
    {
    }
    /// An object gives its frame, with a doubt.
    Result &doubting(const char *pattern)
    {
        faults.append(QString::fromLatin1(pattern));
        return *this;
    }
    Result &losing(const char *pattern)
    {
        ++dropped;
        return doubting(pattern);
    }
    Result &skipping(const char *text)
    {
        skipped = QString::fromLatin1(text);
        return *this;
    }
    Result &naming(quint16 channel, const char *name)
    {
        channels.insert(channel, QString::fromLatin1(name));
        return *this;
    }
    Result &onlyInside()
    {
        isSameOutside = false;
        return *this;
    }
};

QString noteDifference(const QString &note, const QStringList &patterns)
{
    if (patterns.isEmpty() && !note.isEmpty())
        return QStringLiteral("it has the note '%1'").arg(note);
    for (const QString &pattern : patterns) {
        if (!QRegularExpression(pattern).match(note).hasMatch())
            return QStringLiteral("its note is '%1'").arg(note);
    }
    return {};
}

/// What is not as it must be; empty when all is.
QString difference(const PulledLog &log, const Result &expected)
{
    if (!log.ok)
        return QStringLiteral("failed: %1").arg(log.error);
    for (int i = 0; i < qMin(log.frames.size(), expected.frames.size()); ++i) {
        const LogFrame &wanted = expected.frames.at(i);
        const Pulled &pulled = log.frames.at(i);
        CAN::CanRxMessage message = wanted.message;
        message.messageIndex = quint32(i);
        if (describe(pulled.frame) != describe(message))
            return QStringLiteral("frame %1 is %2, not %3").arg(i).arg(describe(pulled.frame), describe(message));
        if (pulled.told.channel != wanted.channelIsTold || pulled.told.direction != wanted.directionIsTold)
            return QStringLiteral("frame %1 tells more or less of its channel or direction").arg(i);
        if (pulled.told.bitRateSwitch != (wanted.message.isFd && wanted.brsIsTold))
            return QStringLiteral("frame %1 tells more or less of its bit rate").arg(i);
        const QString note = noteDifference(pulled.note, wanted.notes);
        if (!note.isEmpty())
            return QStringLiteral("frame %1: %2").arg(i).arg(note);
    }
    if (log.frames.size() != expected.frames.size())
        return QStringLiteral("%1 frames").arg(log.frames.size());
    QStringList texts;
    for (const auto &fault : log.report.faults)
        texts.append(QStringLiteral("%1: %2").arg(log.report.placeText(fault), fault.toText()));
    const QString shown = texts.join(QLatin1String("; "));
    if (texts.size() != expected.faults.size() || log.report.faultyLines != texts.size())
        return QStringLiteral("%1 faults: %2").arg(log.report.faultyLines).arg(shown);
    for (int i = 0; i < texts.size(); ++i) {
        if (!QRegularExpression(expected.faults.at(i)).match(texts.at(i)).hasMatch())
            return QStringLiteral("faults: %1").arg(shown);
    }
    const ImportReport &report = log.report;
    if (report.droppedLines != expected.dropped)
        return QStringLiteral("%1 objects dropped: %2").arg(report.droppedLines).arg(shown);
    if (report.messages != log.frames.size() || report.otherLines < 0
        || report.lines != report.messages + report.otherLines + report.droppedLines)
        return QStringLiteral("the counts do not add up");
    if (report.skippedText() != expected.skipped)
        return report.skippedText();
    return log.info.channelNames == expected.channels ? QString() : QStringLiteral("channel names");
}

PulledLog pull(const QByteArray &content)
{
    return pullLog(DatachunkHelper::Blf, content);
}

/// The same out of a pipe that gives a few bytes at a time.
PulledLog pullSlowly(const QByteArray &content)
{
    PulledLog log;
    SequentialDevice device(content, 13);
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::Blf);
    if (reader->open(device, QStringLiteral("pipe"))) {
        while (reader->next())
            log.frames.append({reader->frame(), reader->takeNote(), reader->toldFields(), reader->lineNumber()});
    }
    log.report = reader->report();
    log.info = reader->info();
    log.ok = reader->atEnd();
    return log;
}

/// The frame that follows each object under test.
QByteArray tailObject()
{
    return bytes("4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 00E1F50500000000"
                 "0900 00 01 FF070000 A500000000000000");
}
LogFrame tail()
{
    return frame(0x7FF, "A5").at(0, 100000).channel(9).rx();
}

/// The first object of most files.
QByteArray firstObject()
{
    return bytes("4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 40420F0000000000"
                 "0100 00 08 23010000 1122334455667788");
}
LogFrame first()
{
    return frame(0x123, "1122334455667788").at(0, 1000).channel(1).rx();
}
QByteArray textObject()
{
    return object(65, bytes("00000000 00000000 05000000 00000000") + "hello");
}
QByteArray usualObjects()
{
    return firstObject() + textObject() + tailObject();
}
LogFrame firstWithText()
{
    return first().note("^hello$");
}

void add(const char *name, const char *hex, const Result &expected)
{
    QTest::newRow(name) << bytes(hex) << expected;
}

/// 200 objects: frames with identifiers from 0 on, and every tenth another object.
QByteArray manyObjects()
{
    QByteArray result;
    for (int i = 0; i < 200; ++i) {
        QByteArray data;
        for (int k = 0; k < 8; ++k)
            data += char(i * 31 + k * 77);
        result +=
            i % 10 == 9 ? object(72, QByteArray(20 + i % 7, char(i))) : BlfFile::frame(quint32(i), i * 1000, data);
    }
    return result;
}

QStringList described(const PulledLog &log)
{
    QStringList result;
    for (Pulled pulled : log.frames) {
        pulled.frame.messageIndex = 0; // which others before it change
        result.append(describe(pulled.frame));
    }
    return result;
}

QByteArray storedContainers(const QByteArray &content, int size)
{
    QByteArray result;
    for (int at = 0; at < content.size(); at += size)
        result += stored(content.mid(at, size));
    return result;
}

/// How @p content is packed into a file.
QByteArray packed(const QByteArray &content, const QString &how)
{
    if (how == QLatin1String("compressed"))
        return file(containers(content, 1000));
    if (how == QLatin1String("stored"))
        return file(storedContainers(content, 500));
    return file(content);
}

void addPackings()
{
    QTest::addColumn<QString>("how");
    for (const char *how : {"compressed", "stored", "outside"})
        QTest::newRow(how) << QString::fromLatin1(how);
}

/// A figure in KiB that the system tells of this process; 0 where it does not.
long memoryFigure(const QByteArray &name)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(name + ':'))
            return line.mid(name.size() + 1).trimmed().split(' ').first().toLong();
    }
    return 0;
}

bool resetPeak()
{
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    return reset.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && reset.write("5") == 1;
}

/// Bytes that look like nothing and cannot be compressed.
QByteArray noise(int size)
{
    QByteArray result(size, Qt::Uninitialized);
    quint32 state = 20240229;
    for (char &byte : result) {
        state = state * 1664525 + 1013904223;
        byte = char(state >> 24);
    }
    return result;
}

} // namespace

Q_DECLARE_METATYPE(Result)

/// The reader of binary logging files.
class TestBlf : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void objects_data();
    void objects();
    void files_data();
    void files();
    void refusesOtherFiles_data();
    void refusesOtherFiles();
    void namesWhatTheHeaderCounts();
    void textsOfOneFrameAreJoined();
    void longObjectsArePassedOver();
    void beginningsGiveBeginnings_data();
    void beginningsGiveBeginnings();
    void oneByteCostsItsOwnPart_data();
    void oneByteCostsItsOwnPart();
    void sizesDoNotFillMemory_data();
    void sizesDoNotFillMemory();
    void stopsWhileOthersInflate();
    void opensAnotherFileAmidst();
    void tellsThatADeviceFails();
};

void TestBlf::objects_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Result>("expected");
    const LogFrame byte42 = frame(0x123, "42").channel(1).rx();

    add("classic frame",
        "4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 40420F0000000000 0100 00 08 23010000 1122334455667788",
        Result{first(), tail()});
    add("extended, sent, time in units of 10 us",
        "4C4F424A 2000 0100 30000000 01000000 01000000 0000 0000 6400000000000000 0200 01 03 F0DEBC9A AABBCC0000000000",
        Result{frame(0x1ABCDEF0, "AABBCC").extended().at(0, 1000).channel(2).tx(), tail()});
    add("remote frame, whose bytes are none",
        "4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 0000000000000000 0100 80 04 00060000 DEADBEEF00000000",
        Result{frame(0x600).remote(4).channel(1).rx(), tail()});
    add("length code 12 of a classic frame",
        "4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 0000000000000000 0100 00 0C 01010000 0102030405060708",
        Result{frame(0x101, "0102030405060708").channel(1).rx(), tail()});
    add("longer classic frame",
        "4C4F424A 2000 0100 38000000 56000000 02000000 0000 0000 80841E0000000000 0300 61 02 F0070000 BEEF000000000000 "
        "D0FA0100 4100 0000",
        Result{frame(0x7F0, "BEEF").at(0, 2000).channel(3).tx(), tail()});
    add("headers of version 2",
        "4C4F424A 2800 0200 40000000 56000000 02000000 03 00 0000 00CA9A3B00000000 01CA9A3B00000000 0100 00 01 "
        "10000000 "
        "5500000000000000 00000000 0000 0000",
        Result{frame(0x10, "55").at(1, 0).channel(1).rx(), tail()});
    add("headers of version 1 and the size of version 2",
        "4C4F424A 2800 0100 38000000 01000000 02000000 00 00 0000 00CA9A3B00000000 0000000000000000 0100 00 01 "
        "10000000 "
        "5500000000000000",
        Result{frame(0x10, "55").at(1, 0).channel(1).rx(), tail()});
    add("CAN FD frame",
        "4C4F424A 2000 0100 78000000 64000000 02000000 0000 0000 0065CD1D00000000 0100 01 09 F0DEBC8A 00000000 00 07 "
        "0C "
        "00 00000000 000102030405060708090A0B 56*00",
        Result{frame(0xABCDEF0, "000102030405060708090A0B").extended().fd().brs().esi().at(0, 500000).channel(1).tx(),
               tail()});
    add("classic remote frame in an object for CAN FD",
        "4C4F424A 2000 0100 78000000 64000000 02000000 0000 0000 0000000000000000 0100 80 05 23010000 00000000 00 00 "
        "00 "
        "00 00000000 64*FF 00000000",
        Result{frame(0x123).remote(5).channel(1).rx(), tail()});
    add("fewer valid bytes than the length code says",
        "4C4F424A 2000 0100 78000000 64000000 02000000 0000 0000 0000000000000000 0100 00 0F 23010000 00000000 00 01 "
        "04 "
        "00 00000000 11223344 64*00",
        Result{frame(0x123, "11223344").fd().channel(1).rx(), tail()});
    add("CAN FD 64, without padding",
        "4C4F424A 2000 0100 58000000 65000000 02000000 0000 0000 0000000000000000 01 0A 10 00 23010000 00000000 "
        "00700000 "
        "00000000 00000000 00000000 00000000 0000 01 00 00000000 000102030405060708090A0B0C0D0E0F",
        Result{frame(0x123, "000102030405060708090A0B0C0D0E0F").fd().brs().esi().channel(1).tx(), tail()});
    add("odd size, without padding",
        "4C4F424A 2000 0100 4B000000 65000000 02000000 0000 0000 0000000000000000 02 03 03 00 01000080 00000000 "
        "00000000 "
        "00000000 00000000 00000000 00000000 0000 00 00 00000000 C0FFEE",
        Result{frame(0x1, "C0FFEE").extended().channel(2).rx(), tail()});
    add("fewer bytes in the object than the frame has",
        "4C4F424A 2000 0100 50000000 65000000 02000000 0000 0000 0000000000000000 01 0A 10 00 23010000 00000000 "
        "00300000 "
        "00000000 00000000 00000000 00000000 0000 00 00 00000000 0102030405060708",
        Result{frame(0x123, "01020304050607080000000000000000").fd().brs().channel(1).rx(), tail()}.doubting(
            "^object 1, byte 144: .*8 of 16 bytes"));
    add("bit timings behind the bytes",
        "4C4F424A 2000 0100 5C000000 65000000 02000000 0000 0000 0000000000000000 01 09 0C 00 23010000 00000000 "
        "00100000 "
        "00000000 00000000 00000000 00000000 0000 00 54 00000000 A0A1A2A3A4A5A6A7A8A9AAAB 1F070100 0F030100",
        Result{frame(0x123, "A0A1A2A3A4A5A6A7A8A9AAAB").fd().channel(1).rx(), tail()});
    add("CAN FD 64, classic remote frame",
        "4C4F424A 2000 0100 48000000 65000000 02000000 0000 0000 0000000000000000 01 08 00 00 55010000 00000000 "
        "10000000 "
        "00000000 00000000 00000000 00000000 0000 00 00 00000000",
        Result{frame(0x155).remote(8).channel(1).rx(), tail()});
    add("request to send",
        "4C4F424A 2000 0100 49000000 65000000 02000000 0000 0000 0000000000000000 01 01 01 00 55010000 00000000 "
        "80000000 "
        "00000000 00000000 00000000 00000000 0000 02 00 00000000 7E",
        Result{frame(0x155, "7E").channel(1).tx(), tail()});
    add("error frame", "4C4F424A 2000 0100 28000000 02000000 02000000 0000 0000 A086010000000000 0200 0000 00000000",
        Result{errorFrame().at(0, 100).channel(2).note("^error frame$"), tail()});
    add("short error frame", "4C4F424A 2000 0100 24000000 02000000 02000000 0000 0000 A086010000000000 0200 0000",
        Result{errorFrame().at(0, 100).channel(2).note("^error frame$"), tail()});
    add("error frame with details",
        "4C4F424A 2000 0100 40000000 49000000 02000000 0000 0000 A086010000000000 0100 0000 0E000000 C3 34 02 00 "
        "40B40900 "
        "23010000 DB30 0000 2D1A000000000000",
        Result{errorFrame("2D1A").at(0, 100).channel(1).tx().note(
                   "^error frame: other error, while sending, bit 52, of frame 123$"),
               tail()});
    add("error frame of CAN FD",
        "4C4F424A 2000 0100 50000000 68000000 02000000 0000 0000 A086010000000000 03 04 04 02 0E00 8B20 C000 00 00 "
        "F0DEBC9A 40B40900 00000000 00000000 00000000 00000000 00000000 2100 0000 DEADBEEF",
        Result{errorFrame("DEADBEEF")
                   .at(0, 100)
                   .channel(3)
                   .rx()
                   .note("^error frame: stuff error, while receiving, bit 33, of frame 1ABCDEF0$"),
               tail()});
    add("overload frame", "4C4F424A 2000 0100 28000000 03000000 02000000 0000 0000 A086010000000000 0100 0000 00000000",
        Result{tail()}.skipping("skipped: 1 of type 3"));
    add("statistics",
        "4C4F424A 2000 0100 40000000 04000000 02000000 0000 0000 A086010000000000 0100 D204 05000000 06000000 07000000 "
        "08000000 09000000 0A000000 00000000",
        Result{tail()}.skipping("skipped: 1 of type 4"));
    add("text, padded by one byte",
        "4C4F424A 2000 0100 35000000 41000000 02000000 0000 0000 0000000000000000 00000000 00000000 05000000 00000000 "
        "68656C6C6F 00",
        Result{tail().note("^hello$")});
    add("name of a channel",
        "4C4F424A 2000 0100 3B000000 41000000 02000000 0000 0000 0000000000000000 01000000 00020101 0B000000 00000000 "
        "612E6462633B426F647900 000000",
        Result{tail()}.naming(2, "Body"));
    add("marker",
        "4C4F424A 2000 0100 4E000000 60000000 02000000 0000 0000 A086010000000000 00000000 FFFFFF00 0033FF00 01 00 "
        "0000 "
        "02000000 03000000 01000000 00000000 0000000000000000 4731 4D6B31 64 0000",
        Result{tail().note("^G1, Mk1, d$")});
    add("comment",
        "4C4F424A 2000 0100 33000000 5C000000 02000000 0000 0000 A086010000000000 56000000 03000000 0000000000000000 "
        "78797A 000000",
        Result{tail().note("^xyz$")});
    add("type that nobody knows, odd size, no padding",
        "4C4F424A 2000 0100 27000000 A0000000 02000000 0000 0000 A086010000000000 01020304050607",
        Result{tail()}.skipping("skipped: 1 of type 160"));
    add("time before the start",
        "4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 003665C4FFFFFFFF 0100 00 01 23010000 4200000000000000",
        Result{LogFrame(byte42).at(-1, 0), tail()});
    add("time of no unit",
        "4C4F424A 2000 0100 30000000 01000000 00000000 0000 0000 40420F0000000000 0100 00 01 23010000 4200000000000000",
        Result{LogFrame(byte42).at(0, 1000), tail()}.doubting("^object 1.*unit of its time, 0"));
    add("time of two units",
        "4C4F424A 2000 0100 30000000 01000000 03000000 0000 0000 40420F0000000000 0100 00 01 23010000 4200000000000000",
        Result{LogFrame(byte42).at(0, 1000), tail()}.doubting("^object 1.*unit of its time, 3"));
    add("channel 0, which is none",
        "4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 0000000000000000 0000 00 01 23010000 4200000000000000",
        Result{frame(0x123, "42").rx(), tail()});
    add("channel 65535",
        "4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 0000000000000000 FFFF 00 01 23010000 4200000000000000",
        Result{frame(0x123, "42").channel(65535).rx(), tail()});
    add("headers smaller than they are",
        "4C4F424A 1000 0100 30000000 01000000 02000000 0000 0000 0000000000000000 0100 00 01 23010000 4200000000000000",
        Result{byte42, tail()}.doubting("^object 1.*headers, 16"));
    add("headers of version 3",
        "4C4F424A 2000 0300 30000000 01000000 02000000 0000 0000 0000000000000000 0100 00 01 23010000 4200000000000000",
        Result{byte42, tail()});
    add("headers of version 7",
        "4C4F424A 2000 0700 30000000 01000000 02000000 0000 0000 0000000000000000 0100 00 01 23010000 4200000000000000",
        Result{tail()}.losing("^object 1, byte 144: version 7"));
    add("bits of the identifier that mean nothing",
        "4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 0000000000000000 0100 00 01 234500E0 4200000000000000",
        Result{frame(0x4523, "42").extended().channel(1).rx(), tail()});
    add("more than 11 bits without the mark",
        "4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 0000000000000000 0100 00 01 23450000 4200000000000000",
        Result{frame(0x4523, "42").extended().channel(1).rx(), tail()}.doubting("4523 has more than 11 bits"));
    add("size below that of its headers", "4C4F424A 2000 0100 14000000 01000000 02000000",
        Result{tail()}.losing("^object 1.*20 bytes are fewer"));
    add("frame without its bytes",
        "4C4F424A 2000 0100 28000000 01000000 02000000 0000 0000 0000000000000000 0100 00 08 23010000",
        Result{tail()}.losing("^object 1.*8 of the 16 bytes"));
    add("6 bytes between objects",
        "4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 0000000000000000 0100 00 01 23010000 4200000000000000 "
        "EEEEEEEEEEEE",
        Result{byte42, tail()}.losing("^object 2.*: 6 bytes are no object"));
    add("bytes that look like an object",
        "4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 0000000000000000 0100 00 08 23010000 4C4F424A20000100",
        Result{frame(0x123, "4C4F424A20000100").channel(1).rx(), tail()});
    add("CAN FD object with few bytes",
        "4C4F424A 2000 0100 3C000000 64000000 02000000 0000 0000 0000000000000000 0100 00 08 23010000 00000000 00 01 "
        "08 "
        "00 00000000 0102030405060708",
        Result{frame(0x123, "0102030405060708").fd().channel(1).rx(), tail()});
    add("size 0",
        "4C4F424A 2000 0100 00000000 01000000 02000000 0000 0000 0000000000000000 0100 00 01 23010000 4200000000000000",
        Result{tail()}.losing("^object 1.*size"));
    add("place of the bit timings within the bytes",
        "4C4F424A 2000 0100 60000000 65000000 02000000 0000 0000 0000000000000000 01 0A 10 00 23010000 00000000 "
        "00100000 "
        "00000000 00000000 00000000 00000000 0000 00 50 00000000 000102030405060708090A0B0C0D0E0F 0000000000000000",
        Result{frame(0x123, "000102030405060708090A0B0C0D0E0F").fd().channel(1).rx(), tail()});
    add("bit timings in the place of bytes",
        "4C4F424A 2000 0100 58000000 65000000 02000000 0000 0000 0000000000000000 01 0A 10 00 23010000 00000000 "
        "00100000 "
        "00000000 00000000 00000000 00000000 0000 00 50 00000000 0001020304050607 1F07010000030100",
        Result{frame(0x123, "00010203040506070000000000000000").fd().channel(1).rx(), tail()}.doubting(
            "8 of 16 bytes"));
    add("classic frame in an object for CAN FD",
        "4C4F424A 2000 0100 78000000 64000000 02000000 0000 0000 0000000000000000 0100 00 03 23010000 00000000 00 00 "
        "03 "
        "00 00000000 112233 65*00",
        Result{frame(0x123, "112233").channel(1).rx(), tail()});
    add("more valid bytes than the length code says",
        "4C4F424A 2000 0100 78000000 64000000 02000000 0000 0000 0000000000000000 0100 00 04 23010000 00000000 00 01 "
        "08 "
        "00 00000000 0102030405060708 60*00",
        Result{frame(0x123, "01020304").fd().channel(1).rx(), tail()});
    add("27 bytes between objects",
        "4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 0000000000000000 0100 00 01 23010000 4200000000000000 "
        "27*20",
        Result{byte42, tail()}.losing(": 27 bytes are no object"));
    add("length code with bits that mean nothing",
        "4C4F424A 2000 0100 30000000 01000000 02000000 0000 0000 0000000000000000 0100 00 F2 23010000 4243000000000000",
        Result{frame(0x123, "4243").channel(1).rx(), tail()});
    add("one unit of 10 us",
        "4C4F424A 2000 0100 30000000 01000000 01000000 0000 0000 0100000000000000 0100 00 00 23010000 0000000000000000",
        Result{frame(0x123).at(0, 10).channel(1).rx(), tail()});
}

/// One object and the frame behind it: in a container, cut by the ends of many, outside of any, and out of a pipe.
void TestBlf::objects()
{
    QFETCH(QByteArray, content);
    QFETCH(Result, expected);
    const QByteArray both = content + tailObject();
    const PulledLog log = pull(file(container(both)));
    QCOMPARE(difference(log, expected), QString());
    QCOMPARE(log.info.start, BlfFile::usualStart());
    QVERIFY(!log.info.startHasZone);
    QCOMPARE(log.info.timeBase, LogInfo::TimeBase::LogStart);
    QCOMPARE(log.info.version, QStringLiteral("4.7.1.0"));
    QCOMPARE(difference(pull(file(stored(both))), expected), QString());
    QCOMPARE(difference(pullSlowly(file(container(both))), expected), QString());
    if (expected.isSameOutside)
        QCOMPARE(difference(pull(file(both)), expected), QString());
    // The place in the file is another one.
    Result elsewhere = expected;
    for (QString &fault : elsewhere.faults)
        fault.replace(QStringLiteral("byte 144"), QStringLiteral("byte \\d+"));
    for (const int size : {1, 7, 10, 40})
        QCOMPARE(difference(pull(file(containers(both, size))), elsewhere), QString());
}

void TestBlf::files_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Result>("expected");
    const QByteArray usual = usualObjects();
    const Result both{firstWithText(), tail()};
    const auto row = [](const char *name, const QByteArray &content, const Result &expected) {
        QTest::newRow(name) << content << expected;
    };
    const auto whole = [](const QByteArray &content) { return compressed(content); };

    row("cut after 10 bytes", file(container(usual.left(10)) + container(usual.mid(10))), both);
    row("cut every 7 bytes", file(containers(usual, 7)), both);
    row("cut within a signature", file(container(usual.left(50)) + container(usual.mid(50))), both);
    row("stored", file(stored(usual)), both);
    row("method that nobody knows", file(container(1, whole(usual), quint32(usual.size()))),
        Result().losing("^object 1, byte 144: .*method 1"));
    row("stated size too small", file(container(2, whole(usual), 48)),
        Result(both).doubting("as many bytes as it says"));
    row("stated size too large", file(container(2, whole(usual), 1 << 20)),
        Result(both).doubting("as many bytes as it says"));
    row("stated size 0", file(container(2, whole(usual), 0)), Result(both).doubting("as many bytes as it says"));
    row("no start", file(container(usual), QByteArray(16, '\0')),
        Result(both).doubting("^object 1, byte 40: the start of the measurement is not stored"));
    row("start in month 13", file(container(usual), bytes("E807 0D00 0000 2800 0000 0000 0000 0000")),
        Result(both).doubting("^object 1, byte 40: the start of the measurement is no date"));
    row("larger header", file(container(usual), BlfFile::systemTime(BlfFile::usualStart()), 200), both);
    // zlib gives what it has of the data: the first object, and some of the text.
    QByteArray random;
    for (int i = 0; i < 200; ++i)
        random += char(i * i * 7 + i * 31);
    const QByteArray cut = container(firstObject() + object(72, random) + tailObject());
    row("last 80 bytes missing", file(cut.chopped(80)),
        Result{first()}.losing("^object 1, byte 144: .*cut short, (80|79|78|77) bytes"));
    // Two of the 20 are padding.
    row("last 20 bytes missing, stored", file(stored(usual).chopped(20)),
        Result{firstWithText()}.losing("cut short, 18 bytes"));
    // Two more pad the container.
    row("9 bytes at the end", file(container(usual) + QByteArray(9, '\xEE')),
        Result(both).losing(": 11 bytes are no object"));
    row("64 zeros at the end", file(container(usual) + QByteArray(64, '\0')), both);
    row("empty containers", file(container(QByteArray()) + container(usual) + container(QByteArray())), both);
    row("outside of containers", file(usual), both);
    row("one outside, others in a container", file(firstObject() + container(usual)),
        Result{first(), firstWithText(), tail()});
    QByteArray damaged = container(usual);
    damaged.replace(36, 4, "\xFF\xFF\xFF\xFF");
    row("damaged container before a sound one", file(damaged + container(usual)),
        Result(both).losing("^object 1, byte 144: .*damaged"));
    row("container in a container", file(container(container(usual) + tailObject())),
        Result{tail()}.losing("container within a container"));
    row("zeros that inflate to 64 MiB",
        file(container(usual) + container(2, whole(QByteArray(64 << 20, '\0')), 131072)),
        Result(both).losing("much more than it says"));
    QByteArray huge = container(usual);
    huge.replace(8, 4, "\xFF\xFF\xFF\xFF");
    row("container of 4 GiB", file(huge), Result(both).losing("^object 1, byte 144: .*cut short"));
    QByteArray long1 = firstObject();
    long1.replace(8, 4, "\xFF\xFF\xFF\x7F");
    row("object of 2 GiB", file(container(long1 + tailObject())),
        Result{tail()}.losing("^object 1.*size of 2147483647"));
    row("header that says nothing", file(container(usual)), both);
    row("5 bytes between containers", file(container(usual) + QByteArray(5, '\xEE') + container(usual)),
        Result{firstWithText(), tail(), firstWithText(), tail()}.losing(": 7 bytes are no object"));
    row("text padded to a multiple of 4", file(container(textObject() + QByteArray(2, '\0') + tailObject())),
        Result{tail().note("^hello$")});
}

void TestBlf::files()
{
    QFETCH(QByteArray, content);
    QFETCH(Result, expected);
    QCOMPARE(difference(pull(content), expected), QString());
    QCOMPARE(difference(pullSlowly(content), expected), QString());
}

void TestBlf::refusesOtherFiles_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("text") << QByteArray("(1.5) can0 123#1122\n").repeated(20);
    QTest::newRow("objects without a header") << usualObjects();
    QTest::newRow("half a signature") << QByteArray("LO");
}

void TestBlf::refusesOtherFiles()
{
    QFETCH(QByteArray, content);
    const PulledLog log = pull(content);
    QVERIFY(!log.ok);
    QVERIFY(log.error.contains(QLatin1String("LOGG")));
    QCOMPARE(log.report.lines, qint64(0));
}

/// Restore points are no objects to the header, and a recording that broke off has no count.
void TestBlf::namesWhatTheHeaderCounts()
{
    const QByteArray content = container(usualObjects() + object(115, QByteArray(20, '\0')));
    const auto remarks = [&](quint32 count) {
        return pull(file(content, BlfFile::systemTime(BlfFile::usualStart()), 144, count)).report.remarks;
    };
    QCOMPARE(remarks(3), QStringList());
    QCOMPARE(remarks(0), QStringList());
    QCOMPARE(remarks(5), QStringList{QStringLiteral("its header tells of 5 objects, there are 3")});
}

void TestBlf::textsOfOneFrameAreJoined()
{
    const QByteArray comment = object(92, number<quint32>(1) + number<quint32>(3) + number<quint64>(0) + "xyz");
    const PulledLog log = pull(file(container(textObject() + firstObject() + comment + textObject() + tailObject()
                                              + object(91, QByteArray(8, '\0')))));
    QCOMPARE(log.frames.size(), 2);
    QCOMPARE(log.frames.at(0).note, QStringLiteral("hello | xyz | hello"));
    QCOMPARE(log.frames.at(1).note, QStringLiteral("the recorder lost data here"));
    QCOMPARE(log.frames.at(1).line, qint64(5));
    QCOMPARE(log.report.skippedText(), QStringLiteral("skipped: 1 of type 91"));
    QCOMPARE(log.report.otherLines, qint64(4));
}

/// Over the ends of many containers, or outside of them.
void TestBlf::longObjectsArePassedOver()
{
    const QByteArray text = object(65, bytes("00000000 00000000 40420F00 00000000") + QByteArray(1000000, 't'));
    const QByteArray content = firstObject() + object(72, noise(3000000)) + text + tailObject();
    const Result expected = Result{first(), tail()}.doubting("too long to be kept").skipping("skipped: 1 of type 72");
    for (const QByteArray &whole : {file(containers(content, 131072)), file(container(content)), file(content)})
        QCOMPARE(difference(pull(whole), expected), QString());
    // The end of the file is in the midst of it.
    const PulledLog cut = pull(file(firstObject() + object(72, noise(3000000)).left(1000000)));
    QCOMPARE(cut.frames.size(), 1);
    QCOMPARE(cut.report.faultyLines, qint64(1));
}

void TestBlf::beginningsGiveBeginnings_data()
{
    addPackings();
}

/// Of every beginning of a file: the frames that it has as a whole, and one fault where it is cut.
void TestBlf::beginningsGiveBeginnings()
{
    QFETCH(QString, how);
    const QByteArray whole = packed(manyObjects(), how);
    const QStringList all = described(pull(whole));
    QCOMPARE(all.size(), 180);
    int latest = 0;
    const int step = how == QLatin1String("compressed") ? 1 : 5; // the others are larger
    for (int size = 4; size < whole.size(); size += step) {
        const PulledLog log = pull(whole.left(size));
        QVERIFY2(log.ok, qPrintable(QString::number(size)));
        const QStringList frames = described(log);
        QVERIFY2(frames == all.mid(0, frames.size()), qPrintable(QString::number(size)));
        QVERIFY2(frames.size() >= latest, qPrintable(QString::number(size)));
        QStringList texts;
        for (const auto &fault : log.report.faults)
            texts.append(QStringLiteral("%1: %2").arg(log.report.placeText(fault), fault.toText()));
        QVERIFY2(texts.size() <= 1,
                 qPrintable(QStringLiteral("%1: %2").arg(size).arg(texts.join(QLatin1String("; ")))));
        latest = frames.size();
    }
    QVERIFY(latest >= 179);
}

void TestBlf::oneByteCostsItsOwnPart_data()
{
    addPackings();
}

/// A byte that is another one costs its object or its container; with it may go what ends or begins in that.
void TestBlf::oneByteCostsItsOwnPart()
{
    QFETCH(QString, how);
    const QByteArray whole = packed(manyObjects(), how);
    const QStringList all = described(pull(whole));
    const QSet<QString> known(all.begin(), all.end());
    const int most = how == QLatin1String("compressed") ? 23 : how == QLatin1String("stored") ? 13 : 2;
    quint32 state = 5;
    for (int i = 0; i < 500; ++i) {
        state = state * 1664525 + 1013904223;
        const int at = 144 + int(state >> 8) % (whole.size() - 144);
        QByteArray changed = whole;
        changed[at] = char(changed.at(at) ^ char(1 + (state >> 4) % 255));
        const PulledLog log = pull(changed);
        const QString place = QStringLiteral("byte %1 is %2").arg(at).arg(quint8(changed.at(at)));
        QVERIFY2(log.ok, qPrintable(place));
        const QStringList frames = described(log);
        const QSet<QString> found(frames.begin(), frames.end());
        const int lost = (QSet<QString>(known) - found).size();
        QVERIFY2(lost <= most, qPrintable(QStringLiteral("%1: %2 frames lost").arg(place).arg(lost)));
        QVERIFY2(frames.size() <= all.size(), qPrintable(place));
    }
}

void TestBlf::sizesDoNotFillMemory_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<qint64>("leastFaults");
    const QByteArray bomb = compressed(QByteArray(64 << 20, '\0'), 9);
    QByteArray bombs;
    for (int i = 0; i < 12; ++i)
        bombs += container(2, bomb, i % 2 == 0 ? 131072 : 0xFFFFFFFF);
    QTest::newRow("what inflates to 64 MiB") << file(bombs) << qint64(12);
    const QByteArray large = noise(8 << 20);
    QTest::newRow("8 MiB in each, compressed")
        << file(container(2, compressed(large, 1), 8 << 20).repeated(8)) << qint64(1);
    QTest::newRow("8 MiB in each, stored") << file(stored(large).repeated(8)) << qint64(1);
    QTest::newRow("larger than may be") << file(stored(noise(32 << 20)).repeated(2)) << qint64(1);
    QByteArray endless = container(QByteArray());
    endless.replace(8, 4, "\xF0\xFF\xFF\xFF");
    QTest::newRow("container that never ends") << file(endless + noise(64 << 20)) << qint64(1);
    const QByteArray lie = "LOBJ" + bytes("2000 0100 F0FFFFFF 48000000");
    QTest::newRow("objects that never end") << file(stored(lie.repeated(400000))) << qint64(1);
    QTest::newRow("the same outside") << file(lie.repeated(400000)) << qint64(1);
    QByteArray types;
    for (quint32 type = 1000; type < 201000; ++type)
        types += object(type, QByteArray());
    QTest::newRow("objects of many types") << file(containers(types, 131072)) << qint64(0);
    QByteArray empty;
    for (int i = 0; i < 200000; ++i)
        empty += container(0, QByteArray(), 0);
    QTest::newRow("containers without content") << file(empty) << qint64(0);
    // An object that is always in want of more, beside containers that bring next to nothing.
    QByteArray wanting = stored("LOBJ" + bytes("2000 0100 803E0000 48000000"));
    for (int i = 0; i < 100000; ++i)
        wanting += container(0, "x", 1);
    QTest::newRow("containers of one byte") << file(wanting) << qint64(0);
}

void TestBlf::sizesDoNotFillMemory()
{
    QFETCH(QByteArray, content);
    QFETCH(qint64, leastFaults);
    const bool isMeasured = resetPeak();
    const long before = memoryFigure("VmRSS");
    QBuffer device(&content);
    QVERIFY(device.open(QIODevice::ReadOnly));
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::Blf);
    QVERIFY(reader->open(device, QStringLiteral("hostile")));
    QElapsedTimer timer;
    timer.start();
    while (reader->next()) {
    }
    QVERIFY(reader->atEnd());
    const qint64 milliseconds = timer.elapsed();
    QVERIFY2(milliseconds < 20000, qPrintable(QString::number(milliseconds)));
    QVERIFY2(reader->report().faultyLines >= leastFaults, qPrintable(QString::number(reader->report().faultyLines)));
    QVERIFY(reader->report().skippedTypes.size() <= 1000);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    const long peak = memoryFigure("VmHWM") - before;
    if (isMeasured) // besides what the program itself takes
        QVERIFY2(peak < 48 * 1024, qPrintable(QStringLiteral("%1 KiB").arg(peak)));
#else
    Q_UNUSED(isMeasured)
    Q_UNUSED(before)
#endif
}

/// Whatever the other threads are about when reading ends.
void TestBlf::stopsWhileOthersInflate()
{
    QByteArray content;
    for (int i = 0; i < 60000; ++i)
        content += BlfFile::frame(quint32(i % 2048), i * 1000);
    QByteArray whole = file(containers(content, 131072));
    for (int frames = 0; frames < 12000; frames += 1571) {
        QBuffer device(&whole);
        QVERIFY(device.open(QIODevice::ReadOnly));
        const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::Blf);
        QVERIFY(reader->open(device, QStringLiteral("log")));
        for (int i = 0; i < frames; ++i)
            QVERIFY(reader->next());
        if (frames % 2 == 0)
            continue; // goes away as it is
        reader->stop();
        while (reader->next()) {
        }
        QCOMPARE(reader->state(), FrameReader::State::Interrupted);
        QVERIFY(reader->frameCount() < 60000);
    }
}

void TestBlf::opensAnotherFileAmidst()
{
    QByteArray content;
    for (int i = 0; i < 30000; ++i)
        content += BlfFile::frame(quint32(i % 2048), i * 1000);
    QByteArray whole = file(containers(content, 131072));
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::Blf);
    for (int round = 0; round < 5; ++round) {
        QBuffer device(&whole);
        QVERIFY(device.open(QIODevice::ReadOnly));
        QVERIFY(reader->open(device, QStringLiteral("log")));
        for (int i = 0; i < 4000; ++i)
            QVERIFY(reader->next());
    }
    QBuffer device(&whole);
    QVERIFY(device.open(QIODevice::ReadOnly));
    QVERIFY(reader->open(device, QStringLiteral("log")));
    qint64 count = 0;
    while (reader->next()) {
        QCOMPARE(reader->frame().id, quint32(count % 2048));
        ++count;
    }
    QCOMPARE(count, qint64(30000));
}

void TestBlf::tellsThatADeviceFails()
{
    const QByteArray whole = file(container(usualObjects()) + container(usualObjects()));
    SequentialDevice device(whole, 300);
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::Blf);
    QVERIFY(reader->open(device, QStringLiteral("pipe")));
    QVERIFY(reader->next());
    device.failWith(QStringLiteral("damaged"));
    while (reader->next()) {
    }
    QVERIFY(reader->atEnd());
    QCOMPARE(reader->report().readError, QStringLiteral("damaged"));
}

QTEST_GUILESS_MAIN(TestBlf)
#include "tst_blf.moc"
