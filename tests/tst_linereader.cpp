// SPDX-License-Identifier: Apache-2.0
#include "common/text/linereader.h"
#include "encodings.h"

#include <QRandomGenerator>
#include <QTemporaryFile>
#include <QTextStream>
#include <QtTest>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace
{

/// A file with @p content, open for reading.
class Content
{
public:
    explicit Content(const QByteArray &content)
    {
        QVERIFY(file.open());
        QCOMPARE(file.write(content), qint64(content.size()));
        QVERIFY(file.seek(0));
    }
    QTemporaryFile file;
};

QStringList linesOf(LineReader &reader)
{
    QStringList lines;
    while (reader.next())
        lines.append(reader.line().toString());
    return lines;
}

QStringList readByUs(const QByteArray &content)
{
    Content source(content);
    LineReader reader(source.file);
    return linesOf(reader);
}

QStringList readByQt(const QByteArray &content)
{
    Content source(content);
    QTextStream stream(&source.file);
    QStringList lines;
    while (!stream.atEnd())
        lines.append(QLatin1String("") + stream.readLine());
    return lines;
}

QByteArray bytes(const char *text, int size)
{
    return QByteArray(text, size);
}

} // namespace

class LineReaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readErrorEndsTheFile();
    void readingStopsWhenItIsToldTo();
    void givesTheLinesInTheText_data();
    void givesTheLinesInTheText();
    void agreesWithTextStreamAroundABlockBoundary();
    void agreesWithTextStreamOnRandomText();
    void agreesWithTextStreamOnTextCutAnywhere();
    void agreesWithTextStreamAfterRewind();
    void cutsALineThatIsTooLong();
    void endsWhereTheFileCannotBeRead();
    void countsTheBytesTaken();
    void readsAPipeOnce();
};

void LineReaderTest::givesTheLinesInTheText_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("lines");
    const auto list = [](std::initializer_list<const char *> texts) {
        QStringList result;
        for (const char *text : texts)
            result.append(QString::fromUtf8(text));
        return result;
    };

    QTest::newRow("empty file") << QByteArray() << QStringList();
    QTest::newRow("line feeds") << QByteArray("a\nb\n") << list({"a", "b"});
    QTest::newRow("no final line feed") << QByteArray("a\nb") << list({"a", "b"});
    QTest::newRow("carriage return and line feed") << QByteArray("a\r\nb\r\n") << list({"a", "b"});
    QTest::newRow("only one carriage return belongs to the end") << QByteArray("a\r\r\nb") << list({"a\r", "b"});
    QTest::newRow("lone carriage returns are text") << QByteArray("a\rb\nc") << list({"a\rb", "c"});
    QTest::newRow("carriage return at the end of the file") << QByteArray("a\nb\r") << list({"a", "b"});
    QTest::newRow("nothing but a carriage return") << QByteArray("\r") << list({""});
    QTest::newRow("empty lines") << QByteArray("\n\r\n\n") << list({"", "", ""});
    QTest::newRow("NUL is text") << bytes(
        "a\0b\nc", 5) << QStringList({QStringLiteral("a") + QChar(0) + QLatin1Char('b'), QStringLiteral("c")});
    QTest::newRow("form feed and vertical tab are text") << QByteArray("a\fb\vc\n") << list({"a\fb\vc"});
    QTest::newRow("UTF-8 byte-order mark") << QByteArray("\xEF\xBB\xBF"
                                                         "a\nb")
                                           << list({"a", "b"});
    QTest::newRow("nothing but a byte-order mark is one empty line") << QByteArray("\xEF\xBB\xBF") << list({""});
    QTest::newRow("UTF-16 little endian") << bytes("\xFF\xFE"
                                                   "a\0\n\0b\0",
                                                   8)
                                          << list({"a", "b"});
    QTest::newRow("UTF-16 big endian") << bytes("\xFE\xFF\0a\0\n\0b", 8) << list({"a", "b"});
    QTest::newRow("UTF-32 little endian") << bytes("\xFF\xFE\0\0a\0\0\0\n\0\0\0b\0\0\0", 16) << list({"a", "b"});
    QTest::newRow("UTF-32 big endian") << bytes("\0\0\xFE\xFF\0\0\0a\0\0\0\n\0\0\0b", 16) << list({"a", "b"});
    QTest::newRow("a very long line") << QByteArray(1000000, 'x') + "\ny"
                                      << QStringList({QString(1000000, QLatin1Char('x')), QStringLiteral("y")});
}

void LineReaderTest::givesTheLinesInTheText()
{
    QFETCH(QByteArray, content);
    QFETCH(QStringList, lines);
    QCOMPARE(readByUs(content), lines);
    QCOMPARE(readByQt(content), lines);
}

void LineReaderTest::agreesWithTextStreamAroundABlockBoundary()
{
    // Text that ends lines, marks and characters of several bytes at each offset around the end of a block.
    const QList<QByteArray> pieces{"\n",         "\r\n",
                                   "\r",         "\r\r\n",
                                   "a",          "\xC3\xA9\n",
                                   "\xC3",       "\xE2\x80\x83",
                                   "\xE2\x80",   "\xF0\x9F\x98\x80",
                                   "\xF0\x9F",   "\xEF\xBB\xBF",
                                   "\xFF\n\n",   QByteArray(1, '\0'),
                                   "\n\xE2\x80", "\xC2\x85\n"};
    for (const QByteArray &prefix : {QByteArray(), QByteArray("\xEF\xBB\xBF")}) {
        for (const QByteArray &piece : pieces) {
            for (int offset = -6; offset <= 6; ++offset) {
                const QByteArray start = prefix + QByteArray(16384 + offset - prefix.size(), 'x') + piece;
                QCOMPARE(readByUs(start), readByQt(start));
                const QByteArray more = start + QByteArray("y\r\nz");
                QCOMPARE(readByUs(more), readByQt(more));
            }
        }
    }
}

void LineReaderTest::agreesWithTextStreamOnRandomText()
{
    QRandomGenerator random(20240229);
    const QList<QByteArray> words{
        "\n",       "\n",   "\r\n",         "\r",           "a",        "bc 1.5",   " ",
        "\xC3\xA9", "\xC3", "\xE2\x80\x83", "\xEF\xBB\xBF", "\xFF\xFE", "\xFE\xFF", QByteArray(1, '\0')};
    for (int round = 0; round < 2000; ++round) {
        QByteArray content;
        const int count = random.bounded(12);
        for (int i = 0; i < count; ++i) {
            content += words.at(random.bounded(words.size()));
            if (random.bounded(20) == 0)
                content += QByteArray(random.bounded(40000), 'x');
        }
        if (readByUs(content) != readByQt(content))
            QFAIL(("differs for " + content.toPercentEncoding()).constData());
    }
}

void LineReaderTest::agreesWithTextStreamOnTextCutAnywhere()
{
    const QString text = QString::fromUtf8("\xC3\xA9 1\r\n\xE2\x80\x83x\n\xF0\x9F\x98\x80\r\n");
    for (const char *codec : {"UTF-8", "UTF-16", "UTF-16BE", "UTF-32", "UTF-32BE", "ISO-8859-1"}) {
        const QByteArray content = encoded(codec, text);
        for (int size = 0; size <= content.size(); ++size)
            QCOMPARE(readByUs(content.left(size)), readByQt(content.left(size)));
    }
}

void LineReaderTest::agreesWithTextStreamAfterRewind()
{
    for (const QByteArray &content : {QByteArray("a\r\nb\nc"),
                                      "\xEF\xBB\xBF"
                                      "a\nb"
                                          + QByteArray(40000, '\n'),
                                      encoded("UTF-16", QStringLiteral("a\nb\n"))}) {
        for (int linesBefore = 0; linesBefore < 5; ++linesBefore) {
            Content source(content);
            LineReader reader(source.file);
            for (int i = 0; i < linesBefore; ++i)
                reader.next();
            QVERIFY(reader.rewind());
            QCOMPARE(linesOf(reader), readByQt(content));
        }
    }
}

void LineReaderTest::cutsALineThatIsTooLong()
{
    const int limit = LineReader::maxLineLength;
    Content source(QByteArray(limit, 'x') + "\n" + QByteArray(limit + 1, 'y') + "\r\n" + QByteArray(3 * limit, 'z')
                   + "\nend");
    LineReader reader(source.file);
    QVERIFY(reader.next());
    QVERIFY(reader.line() == QString(limit, QLatin1Char('x')));
    QVERIFY(reader.next());
    QVERIFY(reader.line() == QString(limit, QLatin1Char('y')));
    QVERIFY(reader.next());
    QVERIFY(reader.line() == QString(limit, QLatin1Char('z')));
    QVERIFY(reader.next());
    QCOMPARE(reader.line().toString(), QStringLiteral("end"));
    QVERIFY(!reader.next());
}

void LineReaderTest::endsWhereTheFileCannotBeRead()
{
    // A file that another program shortens while it is read: what was read stays, and the reader ends.
    QTemporaryFile file;
    QVERIFY(file.open());
    file.write(QByteArray("first\n") + QByteArray(100000, 'x'));
    QVERIFY(file.flush());
    QFile source(file.fileName());
    QVERIFY(source.open(QIODevice::ReadOnly));
    LineReader reader(source);
    QVERIFY(reader.next());
    QCOMPARE(reader.line().toString(), QStringLiteral("first"));
    QVERIFY(file.resize(0));
    int more = 0;
    while (more < 10 && reader.next())
        ++more;
    QVERIFY(more < 10);
}

void LineReaderTest::countsTheBytesTaken()
{
    Content source(QByteArray(20000, '\n'));
    LineReader reader(source.file);
    QCOMPARE(reader.bytesRead(), qint64(0));
    QVERIFY(reader.next());
    QVERIFY(reader.bytesRead() > 0);
    while (reader.next()) {
    }
    QCOMPARE(reader.bytesRead(), qint64(20000));
    QVERIFY(reader.rewind());
    QCOMPARE(reader.bytesRead(), qint64(0));
}

namespace
{

/// A file on a medium that fails after the first block.
class FailingFile : public QFile
{
public:
    using QFile::QFile;

protected:
    qint64 readData(char *data, qint64 size) override
    {
        if (pos() == 0)
            return QFile::readData(data, size);
        setErrorString(QStringLiteral("Input/output error"));
        return -1;
    }
};

QString writeLines(QTemporaryFile &file, int count)
{
    if (!file.open() || file.write(QByteArray("1234567\n").repeated(count)) != 8 * count || !file.flush())
        qFatal("cannot write a file");
    return file.fileName();
}

} // namespace

void LineReaderTest::readErrorEndsTheFile()
{
    QTemporaryFile written;
    FailingFile file(writeLines(written, 10000));
    QVERIFY(file.open(QIODevice::ReadOnly));
    LineReader reader(file);
    int lines = 0;
    while (reader.next() && reader.line() == QLatin1String("1234567"))
        ++lines;
    QCOMPARE(lines, 16384 / 8);
    QCOMPARE(reader.readError(), QStringLiteral("Input/output error"));
    QVERIFY(!reader.next());
}

void LineReaderTest::readingStopsWhenItIsToldTo()
{
    QTemporaryFile written;
    QFile file(writeLines(written, 10000));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVector<qint64> blocks;
    LineReader reader(file, [&](qint64 bytesRead) {
        blocks.append(bytesRead);
        return blocks.size() < 3;
    });
    int lines = 0;
    while (reader.next())
        ++lines;
    QCOMPARE(blocks, (QVector<qint64>{16384, 32768, 49152}));
    QCOMPARE(lines, 2 * 16384 / 8);
    QVERIFY(!reader.next());
    QCOMPARE(reader.readError(), QString());
}

void LineReaderTest::readsAPipeOnce()
{
#ifdef Q_OS_UNIX
    int ends[2];
    QCOMPARE(pipe(ends), 0);
    QCOMPARE(write(ends[1], "a\nb\n", 4), ssize_t(4));
    close(ends[1]);
    QFile file;
    QVERIFY(file.open(ends[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));

    // Whether a pipe goes on is not known before it is read; its end is no empty line.
    LineReader reader(file);
    QCOMPARE(linesOf(reader), QStringList({QStringLiteral("a"), QStringLiteral("b")}));
    QVERIFY(!reader.next());
    QVERIFY(!reader.rewind());
#else
    QSKIP("needs a pipe");
#endif
}

QTEST_GUILESS_MAIN(LineReaderTest)
#include "tst_linereader.moc"
