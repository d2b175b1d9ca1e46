// SPDX-License-Identifier: Apache-2.0
#include "blffile.h"
#include "canlogprogram.h"

namespace
{

/// Two frames, a text of the first, and an object of which nothing is made.
QByteArray objects()
{
    return BlfFile::frame(0x123, 1500000000) + BlfFile::object(72, QByteArray(24, 'v'))
           + BlfFile::object(92,
                             BlfFile::number<quint32>(0) + BlfFile::number<quint32>(5) + QByteArray(8, '\0') + "hello")
           + BlfFile::frame(0x456, 2000000000);
}

QByteArray goodFile()
{
    return BlfFile::file(BlfFile::container(objects()));
}

/// Its first container cannot be inflated.
QByteArray damagedFile()
{
    QByteArray damaged = BlfFile::container(objects());
    damaged.replace(36, 4, "\xFF\xFF\xFF\xFF");
    return BlfFile::file(damaged + BlfFile::container(objects()));
}

const QByteArray skipped(": skipped: 1 of type 72\n");

} // namespace

/// What canlog does with binary logging files.
class CanlogBlfTest : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        makeFolder();
        write(QStringLiteral("good.blf"), goodFile());
        write(QStringLiteral("bad.blf"), damagedFile());
    }

    void isFound();
    void isShown();
    void isCountedWhereverItComesFrom_data();
    void isCountedWhereverItComesFrom();
    void isImported();
    void damageIsToldByObjectAndByte();
    void damageFailsWithStrict();
    void fileThatIsNoneIsRefused();
    void conversionKeepsWhatThereIs();
    void conversionToStandardOutputIsRead();
};

void CanlogBlfTest::isFound()
{
    const Outcome outcome = canlog(words("detect good.blf"));
    QCOMPARE(outcome.out, QByteArray("good.blf: Blf, certain: begins as a binary logging file does\n"));
    QCOMPARE(outcome.status, 0);
}

void CanlogBlfTest::isShown()
{
    const Outcome outcome = canlog(words("show good.blf"));
    QCOMPARE(outcome.err, "canlog: good.blf" + skipped);
    const QList<QByteArray> lines = outcome.out.split('\n');
    QCOMPARE(lines.size(), 4); // with the heading, and nothing behind the last line end
    QCOMPARE(lines.at(1).simplified(), QByteArray("0 1.500000 1 Rx 123 - 8 11 11 11 11 11 11 11 11 hello"));
    QCOMPARE(lines.at(2).simplified(), QByteArray("1 2.000000 1 Rx 456 - 8 11 11 11 11 11 11 11 11"));
    QCOMPARE(outcome.status, 0);
    QVERIFY(canlog(words("stats good.blf")).out.contains("Frames"));
}

void CanlogBlfTest::isCountedWhereverItComesFrom_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("file") << QStringLiteral("\"$canlog\" count good.blf") << QByteArray("good.blf");
    QTest::newRow("standard input") << QStringLiteral("cat good.blf | \"$canlog\" count -") << QByteArray("-");
    QTest::newRow("compressed") << QStringLiteral("gzip good.blf && \"$canlog\" count good.blf.gz")
                                << QByteArray("good.blf.gz");
    QTest::newRow("compressed, standard input")
        << QStringLiteral("gzip -c good.blf | \"$canlog\" count -") << QByteArray("-");
}

void CanlogBlfTest::isCountedWhereverItComesFrom()
{
    QFETCH(QString, script);
    QFETCH(QByteArray, name);
    const Outcome outcome = shell(script);
    QCOMPARE(outcome.out, "2 " + name + '\n');
    QCOMPARE(outcome.err, "canlog: " + name + skipped);
    QCOMPARE(outcome.status, 0);
}

void CanlogBlfTest::isImported()
{
    const Outcome outcome = canlog(words("import --store s good.blf"));
    QCOMPARE(outcome.out, QByteArray("good.blf: Blf, 2 messages, 2 identifiers, 1.500000 to 2.000000 (0.500 s), "
                                     "CAN FD: no, 1 note, 4 objects (2 other), stored in s\n"));
    QCOMPARE(outcome.err, "canlog: good.blf" + skipped);
    QCOMPARE(outcome.status, 0);
    QCOMPARE(shell(QStringLiteral("\"$canlog\" import --store s - <good.blf")).status, 0);
    QCOMPARE(canlog(words("show --store s")).out.count(QByteArray("\n")), 1 + 4); // with the heading
}

void CanlogBlfTest::damageIsToldByObjectAndByte()
{
    const QByteArray place("object 1, byte 144: the compressed data of the container are damaged\n");
    const Outcome reported = canlog(words("import --store s --report bad.blf"));
    QVERIFY2(reported.out.startsWith("bad.blf: " + place), reported.out.constData());
    QVERIFY2(reported.out.contains("5 objects (2 other, 1 dropped, 1 faulty)"), reported.out.constData());
    QCOMPARE(reported.status, 0);
    const Outcome counted = canlog(words("count bad.blf"));
    QCOMPARE(counted.out, QByteArray("2 bad.blf\n"));
    QVERIFY2(
        counted.err.endsWith("canlog: bad.blf: warning: 1 of 5 objects dropped or read in part, the first at object "
                             "1, byte 144 (the compressed data of the container are damaged); 'canlog import "
                             "--report' lists them\n"),
        counted.err.constData());
    QCOMPARE(counted.status, 0);
}

void CanlogBlfTest::damageFailsWithStrict()
{
    const Outcome outcome = canlog(words("import --store s --strict bad.blf"));
    QVERIFY2(outcome.err.endsWith("canlog: bad.blf: 1 faulty object; --report lists them\n"), outcome.err.constData());
    QCOMPARE(outcome.status, 1);
    // Nothing could be read of it.
    QByteArray lost = damagedFile();
    lost.truncate(144 + 60);
    write(QStringLiteral("lost.blf"), lost);
    QCOMPARE(canlog(words("count lost.blf")).status, 1);
}

void CanlogBlfTest::fileThatIsNoneIsRefused()
{
    write(QStringLiteral("text.blf"), "(1.5) can0 123#11\n");
    const Outcome outcome = canlog(words("count --type blf text.blf"));
    QCOMPARE(outcome.err, QByteArray("canlog: text.blf: cannot be read as Blf (it does not begin with LOGG, as binary "
                                     "logging files do); try another --type\n"));
    QCOMPARE(outcome.status, 1);
    const Outcome imported = canlog(words("import --store s --type 28 text.blf"));
    QCOMPARE(imported.err, outcome.err);
    QCOMPARE(imported.status, 1);
}

void CanlogBlfTest::conversionKeepsWhatThereIs()
{
    QCOMPARE(canlog(words("convert good.blf one.asc")).status, 0);
    const Outcome outcome = canlog(words("convert one.asc two.blf"));
    QCOMPARE(outcome.out, QByteArray("two.blf: binary logging file (BLF), 2 messages\n"));
    QCOMPARE(outcome.status, 0);
    const auto frames = [this](const char *arguments) {
        return canlog(words(arguments) + words("--to candump -")).out;
    };
    QCOMPARE(frames("convert two.blf"), QByteArray("(1.500000) can0 123#1111111111111111\n"
                                                   "(2.000000) can0 456#1111111111111111\n"));
    QCOMPARE(frames("convert good.blf"), frames("convert two.blf"));
}

void CanlogBlfTest::conversionToStandardOutputIsRead()
{
    const Outcome outcome =
        shell(QStringLiteral("\"$canlog\" convert good.blf --to blf 2>/dev/null | \"$canlog\" show -"));
    QCOMPARE(outcome.err, QByteArray());
    QVERIFY(outcome.out.contains("hello"));
    QCOMPARE(outcome.out.count('\n'), 3);
}

QTEST_GUILESS_MAIN(CanlogBlfTest)
#include "tst_canlogblf.moc"
