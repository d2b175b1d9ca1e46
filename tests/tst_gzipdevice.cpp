// SPDX-License-Identifier: Apache-2.0
#include "host/reading/beginningdevice.h"
#include "host/reading/gzipdevice.h"
#include "host/reading/pipedevice.h"

#include <QBuffer>
#include <QtTest>

#include <zlib.h>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <fcntl.h>
#include <thread>
#include <unistd.h>
#endif

namespace
{

/// One gzip member of @p content, with @p name in its header unless that is empty.
QByteArray member(const QByteArray &content, const QByteArray &name = {})
{
    z_stream stream{};
    deflateInit2(&stream, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    gz_header header{};
    header.name = name.isEmpty() ? nullptr : reinterpret_cast<Bytef *>(const_cast<char *>(name.constData()));
    deflateSetHeader(&stream, &header);
    QByteArray result(int(deflateBound(&stream, uLong(content.size()))) + 100, '\0');
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(content.constData()));
    stream.avail_in = uInt(content.size());
    stream.next_out = reinterpret_cast<Bytef *>(result.data());
    stream.avail_out = uInt(result.size());
    if (deflate(&stream, Z_FINISH) != Z_STREAM_END)
        qFatal("cannot compress");
    result.truncate(int(stream.total_out));
    deflateEnd(&stream);
    return result;
}

/// Lines of a log; no two alike, so that they do not compress to nothing.
QByteArray lines(int count)
{
    QByteArray result;
    for (int i = 0; i < count; ++i)
        result += "(" + QByteArray::number(i) + ".5) can0 123#" + QByteArray::number(i * 7919 % 65536, 16) + "\n";
    return result;
}

/// A source that counts what is read of it, and gives no more than so many bytes at a time.
class CountingBuffer : public QBuffer
{
public:
    int largestRead = 1 << 30;
    qint64 count = 0;

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const qint64 size = QBuffer::readData(data, qMin<qint64>(maxSize, largestRead));
        count += qMax<qint64>(size, 0);
        return size;
    }
};

/// What a device gave.
struct Reading {
    QByteArray content;
    QString fault; ///< empty: it was read to its end
};

Reading readAll(QIODevice &device, int blockSize = 16384)
{
    Reading result;
    QByteArray block(blockSize, '\0');
    qint64 size = 0;
    while ((size = device.read(block.data(), blockSize)) > 0)
        result.content += block.left(int(size));
    if (size < 0)
        result.fault = device.errorString();
    return result;
}

Reading inflated(QByteArray compressed, int blockSize = 16384, int largestRead = 1 << 30)
{
    CountingBuffer source;
    source.largestRead = largestRead;
    source.setData(compressed);
    source.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    GzipDevice device(source);
    if (!device.open(QIODevice::ReadOnly))
        return {{}, QStringLiteral("not open")};
    return readAll(device, blockSize);
}

const QString cutOff = QStringLiteral("the compressed data are cut off");
const QString damaged = QStringLiteral("the compressed data are damaged, and what was read last may be wrong");
const QString somethingElse = QStringLiteral("behind the compressed data stands something else");

} // namespace

class GzipDeviceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void inflatesMembers_data();
    void inflatesMembers();
    void blocksMayHaveAnySize_data();
    void blocksMayHaveAnySize();
    void whatStandsBehindTheLastMemberIsAFault_data();
    void whatStandsBehindTheLastMemberIsAFault();
    void cutAtEveryByteIsAFaultAfterWhatCameBefore();
    void flippedBitIsAFaultOrChangesNothing();
    void failureOfTheSourceIsTold();
    void beginningNeedsLittleOfTheSource();
    void tellsHowMuchOfTheSourceWasRead();
    void isAtItsEndOnlyThere();
    void opensForReadingOnly();
    void beginningIsGivenAgain_data();
    void beginningIsGivenAgain();
    void beginningMayEndInAFault();
#ifdef Q_OS_UNIX
    void pipeGivesWhatHasArrived();
    void pipeEndsWhenItIsTo();
    void pipeThatCannotBeReadSaysWhy();
    void compressedPipeIsInflatedAsItArrives();
#endif
};

void GzipDeviceTest::inflatesMembers_data()
{
    QTest::addColumn<QByteArray>("compressed");
    QTest::addColumn<QByteArray>("content");
    const QByteArray big = lines(20000);
    QTest::newRow("one member") << member("abc") << QByteArray("abc");
    QTest::newRow("named member") << member("abc", "a.log") << QByteArray("abc");
    QTest::newRow("two members") << member("abc\n") + member("def\n") << QByteArray("abc\ndef\n");
    QTest::newRow("empty member") << member("") << QByteArray();
    QTest::newRow("empty ones between") << member("") + member("a") + member("") + member("") + member("b")
                                        << QByteArray("ab");
    QTest::newRow("big") << member(big) + member(big) << big + big;
    QTest::newRow("padded with a zero") << member("abc") + QByteArray(1, '\0') << QByteArray("abc");
    QTest::newRow("padded with a block of zeros") << member("abc") + QByteArray(200000, '\0') << QByteArray("abc");
}

void GzipDeviceTest::inflatesMembers()
{
    QFETCH(QByteArray, compressed);
    QFETCH(QByteArray, content);
    const Reading reading = inflated(compressed);
    QCOMPARE(reading.fault, QString());
    QCOMPARE(reading.content, content);
}

void GzipDeviceTest::blocksMayHaveAnySize_data()
{
    QTest::addColumn<int>("blockSize");
    QTest::addColumn<int>("sourceBlockSize");
    QTest::newRow("byte by byte out") << 1 << 65536;
    QTest::newRow("byte by byte in") << 16384 << 1;
    QTest::newRow("odd") << 17 << 13;
    QTest::newRow("all at once") << 1000000 << 1000000;
}

void GzipDeviceTest::blocksMayHaveAnySize()
{
    QFETCH(int, blockSize);
    QFETCH(int, sourceBlockSize);
    const QByteArray content = lines(2000);
    const Reading reading =
        inflated(member(content) + member("end\n") + QByteArray(99, '\0'), blockSize, sourceBlockSize);
    QCOMPARE(reading.fault, QString());
    QCOMPARE(reading.content, content + "end\n");
}

void GzipDeviceTest::whatStandsBehindTheLastMemberIsAFault_data()
{
    QTest::addColumn<QByteArray>("behind");
    QTest::addColumn<QString>("fault");
    QTest::newRow("text") << QByteArray("(1.5) can0 123#11\n") << somethingElse;
    QTest::newRow("one byte") << QByteArray("x") << somethingElse;
    QTest::newRow("text behind zeros") << QByteArray(600, '\0') + "x" << somethingElse;
    QTest::newRow("text behind many zeros") << QByteArray(200000, '\0') + "x" << somethingElse;
    QTest::newRow("member behind zeros") << QByteArray(512, '\0') + member("def") << somethingElse;
    QTest::newRow("first byte of a member") << QByteArray("\x1F") << cutOff;
    QTest::newRow("header of a member") << member("def").left(10) << cutOff;
    QTest::newRow("zlib stream") << qCompress("def").mid(4) << somethingElse;
}

void GzipDeviceTest::whatStandsBehindTheLastMemberIsAFault()
{
    QFETCH(QByteArray, behind);
    QFETCH(QString, fault);
    const QByteArray content = lines(100);
    for (const int sourceBlockSize : {1, 65536}) {
        const Reading reading = inflated(member(content) + behind, 16384, sourceBlockSize);
        QCOMPARE(reading.fault, fault);
        QCOMPARE(reading.content, content); // nothing of it is lost
    }
}

void GzipDeviceTest::cutAtEveryByteIsAFaultAfterWhatCameBefore()
{
    const QByteArray first = member(lines(40));
    const QByteArray whole = first + member(lines(30));
    const QByteArray content = lines(40) + lines(30);
    for (int length = 1; length < whole.size(); ++length) {
        const Reading reading = inflated(whole.left(length));
        QVERIFY2(content.startsWith(reading.content), qPrintable(QString::number(length)));
        if (length == first.size()) {
            QCOMPARE(reading.fault, QString());
            QCOMPARE(reading.content, lines(40));
            continue;
        }
        QCOMPARE(reading.fault, cutOff);
        if (length > first.size())
            QVERIFY(reading.content.startsWith(lines(40)));
    }
    // Only checksum and size of the last member are missing: all of the content is there.
    QCOMPARE(inflated(whole.left(whole.size() - 8)).content, content);
}

void GzipDeviceTest::flippedBitIsAFaultOrChangesNothing()
{
    const QByteArray content = lines(40);
    const QByteArray whole = member(content, "drive.log") + member("end\n");
    int faults = 0;
    for (int bit = 0; bit < whole.size() * 8; ++bit) {
        QByteArray flipped = whole;
        flipped[bit / 8] = char(flipped.at(bit / 8) ^ (1 << bit % 8));
        const Reading reading = inflated(flipped);
        QVERIFY2(!reading.fault.isEmpty() || reading.content == content + "end\n", qPrintable(QString::number(bit)));
        faults += reading.fault.isEmpty() ? 0 : 1;
    }
    // Time, system and name in the two headers are all that may change.
    QVERIFY(faults >= (whole.size() - 2 * 10 - 10) * 8);
    QByteArray checksum = member(content);
    checksum[checksum.size() - 5] = char(checksum.at(checksum.size() - 5) ^ 1);
    QCOMPARE(inflated(checksum).fault, damaged);
    QCOMPARE(inflated(checksum).content, content);
}

void GzipDeviceTest::failureOfTheSourceIsTold()
{
    class FailingBuffer : public QBuffer
    {
    protected:
        qint64 readData(char *data, qint64 maxSize) override
        {
            if (pos() > 0) {
                setErrorString(QStringLiteral("the disk is gone"));
                return -1;
            }
            return QBuffer::readData(data, maxSize);
        }
    } source;
    source.setData(member(lines(40)).left(60));
    source.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    GzipDevice device(source);
    QVERIFY(device.open(QIODevice::ReadOnly));
    const Reading reading = readAll(device);
    QCOMPARE(reading.fault, QStringLiteral("the disk is gone"));
    QVERIFY(!reading.content.isEmpty());
    QVERIFY(lines(40).startsWith(reading.content));
}

void GzipDeviceTest::beginningNeedsLittleOfTheSource()
{
    // 64 MiB out of 64 KiB, and as much again behind them.
    const QByteArray big = member(QByteArray(64 * 1024 * 1024, 'a'));
    CountingBuffer source;
    source.setData(big + big + big + big);
    source.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    GzipDevice device(source);
    QVERIFY(device.open(QIODevice::ReadOnly));
    QCOMPARE(device.read(65536), QByteArray(65536, 'a'));
    QVERIFY2(source.count <= 65536, qPrintable(QString::number(source.count)));
}

void GzipDeviceTest::tellsHowMuchOfTheSourceWasRead()
{
    QByteArray noise(300000, '\0');
    quint32 state = 1;
    for (char &byte : noise) {
        state = state * 1664525 + 1013904223;
        byte = char(state >> 24);
    }
    QBuffer source;
    source.setData(member(noise));
    source.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    GzipDevice device(source);
    QVERIFY(device.open(QIODevice::ReadOnly));
    QCOMPARE(device.compressedBytesRead(), 0);
    QByteArray half;
    while (half.size() < 150000)
        half += device.read(150000 - half.size());
    QCOMPARE(half, noise.left(150000));
    QVERIFY(device.compressedBytesRead() >= 150000 && device.compressedBytesRead() <= 150000 + 65536 + 1000);
    QCOMPARE(readAll(device).content, noise.mid(150000));
    QCOMPARE(device.compressedBytesRead(), source.size());
}

void GzipDeviceTest::isAtItsEndOnlyThere()
{
    QBuffer source;
    source.setData(member("abc"));
    source.open(QIODevice::ReadOnly);
    GzipDevice device(source);
    QVERIFY(device.open(QIODevice::ReadOnly));
    QVERIFY(!device.atEnd());
    QCOMPARE(device.read(3), QByteArray("abc"));
    QCOMPARE(device.read(1), QByteArray());
    QVERIFY(device.atEnd());
}

void GzipDeviceTest::opensForReadingOnly()
{
    QBuffer source;
    source.open(QIODevice::ReadOnly);
    GzipDevice device(source);
    QVERIFY(!device.open(QIODevice::WriteOnly));
    QVERIFY(!device.open(QIODevice::ReadWrite));
    QVERIFY(device.open(QIODevice::ReadOnly));
}

void GzipDeviceTest::beginningIsGivenAgain_data()
{
    QTest::addColumn<int>("wanted");
    QTest::addColumn<int>("sourceBlockSize");
    QTest::newRow("none") << 0 << 100;
    QTest::newRow("less than a block") << 10 << 100;
    QTest::newRow("several blocks") << 250 << 100;
    QTest::newRow("byte by byte") << 250 << 1;
    QTest::newRow("all") << 1000000 << 100;
}

void GzipDeviceTest::beginningIsGivenAgain()
{
    QFETCH(int, wanted);
    QFETCH(int, sourceBlockSize);
    const QByteArray content = lines(100);
    CountingBuffer source;
    source.largestRead = sourceBlockSize;
    source.setData(content);
    source.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    BeginningDevice device(source);
    QCOMPARE(device.beginning(2), content.left(2));
    QCOMPARE(device.beginning(wanted), content.left(wanted));
    const Reading reading = readAll(device, 64);
    QCOMPARE(reading.fault, QString());
    QCOMPARE(reading.content, content);
    QCOMPARE(source.count, content.size());
}

void GzipDeviceTest::beginningMayEndInAFault()
{
    QBuffer source;
    source.setData(member("abc") + "x");
    source.open(QIODevice::ReadOnly);
    GzipDevice gzip(source);
    QVERIFY(gzip.open(QIODevice::ReadOnly));
    BeginningDevice device(gzip);
    QCOMPARE(device.beginning(1000), QByteArray("abc"));
    const Reading reading = readAll(device);
    QCOMPARE(reading.content, QByteArray("abc"));
    QCOMPARE(reading.fault, somethingElse);
}

#ifdef Q_OS_UNIX

void GzipDeviceTest::pipeGivesWhatHasArrived()
{
    int ends[2];
    QCOMPARE(::pipe(ends), 0);
    PipeDevice device(ends[0]);
    QVERIFY(device.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    QCOMPARE(::write(ends[1], "abc", 3), ssize_t(3));
    QCOMPARE(device.read(65536), QByteArray("abc")); // though the other end is open
    QVERIFY(!device.atEnd());
    ::close(ends[1]);
    QCOMPARE(device.read(65536), QByteArray());
    QVERIFY(device.atEnd());
    ::close(ends[0]);
}

void GzipDeviceTest::pipeEndsWhenItIsTo()
{
    int ends[2];
    QCOMPARE(::pipe(ends), 0);
    int questions = 0;
    PipeDevice device(ends[0], [&] { return ++questions == 3; });
    QVERIFY(device.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(device.read(65536), QByteArray());
    QVERIFY(timer.elapsed() < 10000);
    QCOMPARE(questions, 3);
    ::close(ends[0]);
    ::close(ends[1]);
}

void GzipDeviceTest::pipeThatCannotBeReadSaysWhy()
{
    const int folder = ::open("/", O_RDONLY);
    QVERIFY(folder >= 0);
    PipeDevice device(folder);
    QVERIFY(device.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    const Reading reading = readAll(device);
    ::close(folder);
    QCOMPARE(reading.fault, qt_error_string(EISDIR));
}

void GzipDeviceTest::compressedPipeIsInflatedAsItArrives()
{
    int ends[2];
    QCOMPARE(::pipe(ends), 0);
    const QByteArray content = lines(30000);
    std::thread writer([&] {
        const QByteArray bytes = member(content) + member("end\n");
        for (int start = 0; start < bytes.size(); start += 1000) {
            const QByteArray part = bytes.mid(start, 1000);
            if (::write(ends[1], part.constData(), std::size_t(part.size())) != part.size())
                qFatal("cannot write");
        }
        ::close(ends[1]);
    });
    PipeDevice pipe(ends[0]);
    pipe.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    GzipDevice device(pipe);
    device.open(QIODevice::ReadOnly);
    const Reading reading = readAll(device);
    writer.join();
    ::close(ends[0]);
    QCOMPARE(reading.fault, QString());
    QCOMPARE(reading.content, content + "end\n");
}

#endif

QTEST_GUILESS_MAIN(GzipDeviceTest)
#include "tst_gzipdevice.moc"
