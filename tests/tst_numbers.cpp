// SPDX-License-Identifier: Apache-2.0
#include "common/text/numbers.h"
#include "encodings.h"

#include <QRandomGenerator>
#include <QtTest>

namespace
{

QString unicode(std::initializer_list<ushort> codes)
{
    QString text;
    for (const ushort code : codes)
        text.append(QChar(code));
    return text;
}

/// Everything that a number in a log may look like, and then some.
QStringList oddNumbers()
{
    QStringList list;
    for (const char *text : {"",
                             "0",
                             "00",
                             "1",
                             "7",
                             "8",
                             "9",
                             "08",
                             "010",
                             "017",
                             "0x",
                             "0x1",
                             "0X1f",
                             "0xg",
                             "x1",
                             "1x",
                             "a",
                             "F",
                             "fF",
                             "g",
                             "G",
                             "`",
                             "@",
                             "-",
                             "+",
                             "-1",
                             "+1",
                             "-0",
                             "--1",
                             "+-1",
                             " 1",
                             "1 ",
                             " 1 ",
                             "1 2",
                             "\t1",
                             "1\n",
                             "1,000",
                             "1.0",
                             "1e3",
                             "0b1",
                             "0o7",
                             "99999999",
                             "999999999",
                             "2147483647",
                             "2147483648",
                             "-2147483648",
                             "-2147483649",
                             "4294967295",
                             "4294967296",
                             "9999999999",
                             "18446744073709551615",
                             "18446744073709551616",
                             "99999999999999999999999999",
                             "7FFFFFFF",
                             "80000000",
                             "FFFFFFFF",
                             "100000000",
                             "0xFFFFFFFF",
                             "0x100000000",
                             "FFFFFFFFFFFFFFFF",
                             "10000000000000000",
                             "00000000000000000001",
                             "000000000000000000000000FF",
                             "037777777777",
                             "040000000000",
                             "[8]",
                             "8]",
                             "123#",
                             "R",
                             "-x1",
                             "-0x1",
                             "+0x1",
                             "0x-1",
                             "0X",
                             "0x0x1",
                             "00x1",
                             "0xABCDEF01",
                             "x",
                             "=",
                             "1=",
                             "Rx",
                             "d",
                             "ID",
                             "0xID",
                             "BitCount",
                             "Length",
                             "inf",
                             "nan",
                             "1.123456789",
                             "1.999999999",
                             "1.1234567890"})
        list.append(QString::fromLatin1(text));
    list << unicode({0}) << unicode({'1', 0}) << unicode({0, '1'}) << unicode({'1', 0, '2'})          // NUL
         << unicode({0x661, 0x662}) << unicode({0x967}) << unicode({0xFF11}) << unicode({'1', 0x662}) // other digits
         << unicode({0xA0, '1'}) << unicode({'1', 0x2003}) << unicode({0x3000, '1'})                  // other blanks
         << unicode({0x2212, '1'}) << unicode({0xFF0B, '1'})                                          // other signs
         << unicode({0x130 + 'a'}) << unicode({0x141}) << unicode({0xD835, 0xDFD8}) << unicode({'1', 0xD800});
    return list;
}

QString randomNumber(QRandomGenerator &random)
{
    static const char characters[] = "0123456789abcdefABCDEFxX+-. \tg";
    QString text;
    for (int i = random.bounded(14); i > 0; --i) {
        // Mostly digits, so that long numbers come up.
        const int among = random.bounded(4) == 0 ? int(sizeof characters - 1) : 10;
        text.append(QLatin1Char(characters[random.bounded(among)]));
    }
    return text;
}

void compareWithQt(const QString &text)
{
    if (isReadOtherwiseByQt(text))
        return;
    for (const int base : {0, 10, 16}) {
        bool ok = false;
        bool expectedOk = false;
        const quint32 expected = text.toUInt(&expectedOk, base);
        QCOMPARE(readUnsigned(text, base, &ok), expected);
        QCOMPARE(ok, expectedOk);
        QCOMPARE(readUnsigned(text, base), expected);
        QCOMPARE(readByte(text, base, &ok), quint8(expected & 0xFF));
        QCOMPARE(ok, expectedOk);
        QCOMPARE(readByte(text, base), quint8(expected & 0xFF));
    }
    for (const int base : {0, 10}) {
        bool ok = false;
        bool expectedOk = false;
        const qint32 expected = text.toInt(&expectedOk, base);
        QCOMPARE(readSigned(text, base, &ok), expected);
        QCOMPARE(ok, expectedOk);
        QCOMPARE(readSigned(text, base), expected);
    }
    const QStringList pieces = text.split(QLatin1Char('.'));
    const CanTimeStamp time = readSeconds(text);
    QCOMPARE(time.seconds, pieces.first().toInt(nullptr, 0));
    QCOMPARE(time.microseconds, pieces.last().leftJustified(6, QLatin1Char('0')).toInt());
}

} // namespace

class NumbersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void agreesWithQtOnOddNumbers();
    void agreesWithQtOnRandomText();
    void agreesWithQtOnEverySingleCharacter();
    void readsTheSameWithEveryQt_data();
    void readsTheSameWithEveryQt();
    void readsSeconds_data();
    void readsSeconds();
    void agreesWithQtOnSecondsWithAnOddCharacter();
    void readsHexPairsUpToAnOddCharacter();
    void readsTimeOfDay_data();
    void readsTimeOfDay();
    void agreesWithQtOnTimesOfDay();
};

void NumbersTest::agreesWithQtOnOddNumbers()
{
    for (const QString &text : oddNumbers()) {
        compareWithQt(text);
        compareWithQt(text + QLatin1Char('.') + text);
        if (QTest::currentTestFailed())
            QFAIL(qPrintable(QStringLiteral("differs for \"%1\"").arg(text)));
    }
}

void NumbersTest::agreesWithQtOnRandomText()
{
    QRandomGenerator random(42);
    for (int round = 0; round < 100000; ++round) {
        const QString text = randomNumber(random);
        compareWithQt(text);
        if (QTest::currentTestFailed())
            QFAIL(qPrintable(QStringLiteral("differs for \"%1\"").arg(text)));
    }
}

void NumbersTest::agreesWithQtOnEverySingleCharacter()
{
    for (uint code = 0; code <= 0xFFFF; ++code) {
        const QString text(1, QChar(code));
        if (isReadOtherwiseByQt(text))
            continue;
        if (readUnsigned(text, 16) != text.toUInt(nullptr, 16) || readUnsigned(text, 0) != text.toUInt(nullptr, 0))
            QFAIL(qPrintable(QStringLiteral("differs for U+%1").arg(code, 4, 16)));
    }
}

void NumbersTest::readsTheSameWithEveryQt_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("base");
    QTest::addColumn<bool>("isNumber");
    QTest::addColumn<uint>("number");
    const auto row = [](const char *name, const QString &text, int base, bool isNumber, uint number) {
        QTest::newRow(name) << text << base << isNumber << number;
    };
    row("no-break space before", unicode({0xA0, '1', '2'}), 10, true, 12);
    row("em space behind", unicode({'1', '2', 0x2003}), 16, true, 0x12);
    row("ideographic space around", unicode({0x3000, '0', 'x', '1', '2', 0x3000}), 0, true, 0x12);
    row("next line behind", unicode({'7', 0x85}), 0, true, 7);
    row("no-break space within", unicode({'1', 0xA0, '2'}), 10, false, 0);
    row("character 0 behind", unicode({'1', 0}), 10, false, 0);
    row("character 0 before", unicode({0, '1'}), 10, false, 0);
    row("character 0 within", unicode({'1', 0, '2'}), 16, false, 0);
    row("character 0 alone", unicode({0}), 0, false, 0);
    row("binary prefix", QStringLiteral("0b11"), 0, false, 0);
    row("binary prefix in capitals", QStringLiteral("0B1"), 0, false, 0);
    row("binary prefix behind a sign", QStringLiteral("+0b1"), 0, false, 0);
    row("0b11 is hexadecimal", QStringLiteral("0b11"), 16, true, 0xB11);
}

void NumbersTest::readsTheSameWithEveryQt()
{
    QFETCH(QString, text);
    QFETCH(int, base);
    QFETCH(bool, isNumber);
    QFETCH(uint, number);
    bool ok = !isNumber;
    QCOMPARE(readUnsigned(text, base, &ok), number);
    QCOMPARE(ok, isNumber);
    ok = !isNumber;
    QCOMPARE(uint(readByte(text, base, &ok)), number & 0xFF);
    QCOMPARE(ok, isNumber);
    if (base == 16)
        return;
    ok = !isNumber;
    QCOMPARE(readSigned(text, base, &ok), int(number));
    QCOMPARE(ok, isNumber);
}

void NumbersTest::readsSeconds_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("microseconds");
    const auto row = [](const char *text, int seconds, int microseconds) {
        QTest::newRow(text) << QString::fromLatin1(text) << seconds << microseconds;
    };
    row("1345212884.318850", 1345212884, 318850);
    row("1.5", 1, 500000);
    row("12.000123", 12, 123);
    row("1.1234567", 1, 1234567);
    row("17", 17, 170000);
    row("0.0", 0, 0);
    row("010.5", 8, 500000);
    row("0x10.25", 16, 250000);
    row("08.5", 0, 500000);
    row("-1.5", -1, 500000);
    row("1.-5", 1, -50000);
    row(".5", 0, 500000);
    row("5.", 5, 0);
    row(".", 0, 0);
    row("", 0, 0);
    row("1.2.3", 1, 300000);
    row("x.y", 0, 0);
    row("1.99999999999", 1, 0);
    row("99999999999.5", 0, 500000);
    row("1.000000001", 1, 1);
}

void NumbersTest::readsSeconds()
{
    QFETCH(QString, text);
    QFETCH(int, seconds);
    QFETCH(int, microseconds);
    const CanTimeStamp time = readSeconds(text);
    QCOMPARE(time.seconds, seconds);
    QCOMPARE(time.microseconds, microseconds);
}

// Eight digits, and eight pairs of them, are read at once: an odd character has to be seen wherever it stands. Those
// from U+0130 on have the low bytes of digits, or are digits of other scripts, or look negative as 16-bit numbers.
static const QString oddCharacters = QStringLiteral("/:@G`g .+-\u0130\u0141\u0665\u2030\uFF11\uFFFF");

void NumbersTest::agreesWithQtOnSecondsWithAnOddCharacter()
{
    const QString plain = QStringLiteral("1345212884.318850");
    for (int at = 0; at < plain.size(); ++at) {
        for (const QChar odd : oddCharacters) {
            QString text = plain;
            text[at] = odd;
            const QStringList pieces = text.split(QLatin1Char('.'));
            bool secondsOk = false;
            bool fractionOk = false;
            const int seconds = pieces.first().toInt(&secondsOk, 0);
            const int microseconds = pieces.last().leftJustified(6, QLatin1Char('0')).toInt(&fractionOk);
            bool ok = false;
            QCOMPARE(readSeconds(text, &ok), CanTimeStamp(seconds, microseconds));
            QCOMPARE(ok, secondsOk && fractionOk);
        }
    }
}

void NumbersTest::readsHexPairsUpToAnOddCharacter()
{
    const QString digits = QStringLiteral("0123456789abcdefFEDCBA9876543210a5A5c");
    for (int size = 0; size <= digits.size(); ++size) {
        for (int at = 0; at <= size; ++at) {
            for (const QChar odd : oddCharacters) {
                QString text = digits.left(size);
                if (at < size)
                    text[at] = odd;
                QByteArray expected;
                for (int i = 0; i < at / 2; ++i)
                    expected.append(char(digits.mid(2 * i, 2).toUInt(nullptr, 16)));
                QByteArray bytes(size / 2, '\xEE');
                const qsizetype count = readHexPairs(text, reinterpret_cast<quint8 *>(bytes.data()));
                QCOMPARE(bytes.left(int(count)), expected);
            }
        }
    }
}

void NumbersTest::readsTimeOfDay_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("microseconds");
    const auto row = [](const char *text, int seconds, int microseconds) {
        QTest::newRow(text) << QString::fromLatin1(text) << seconds << microseconds;
    };
    row("00:00:00.000", 0, 0);
    row("12:30:05.250", 45005, 250000);
    row("23:59:59.999", 86399, 999000);
    row("24:00:00.000", 0, 0);
    row("12:60:00.000", 0, 0);
    row("12:00:60.000", 0, 0);
    row("12:30:05,250", 0, 0);
    row("12-30-05.250", 0, 0);
    row("12:3a:05.250", 0, 0);
    row("12:30:05.2500", 0, 0);
    row("12:30:05", 0, 0);
    row("12", 0, 0);
    row("", 0, 0);
    row("Test CAN", 0, 0);
}

void NumbersTest::readsTimeOfDay()
{
    QFETCH(QString, text);
    QFETCH(int, seconds);
    QFETCH(int, microseconds);
    const CanTimeStamp time = readTimeOfDay(text);
    QCOMPARE(time.seconds, seconds);
    QCOMPARE(time.microseconds, microseconds);
}

void NumbersTest::agreesWithQtOnTimesOfDay()
{
    QRandomGenerator random(11);
    const QString form = QStringLiteral("hh:mm:ss.zzz");
    for (int round = 0; round < 20000; ++round) {
        QString text = QTime::fromMSecsSinceStartOfDay(random.bounded(86400000)).toString(form);
        // Half of them with one character that may not belong there.
        if (round % 2 == 1)
            text[random.bounded(text.size())] = QLatin1Char("0123456789:. -+x"[random.bounded(16)]);
        if (round % 8 == 3)
            text.chop(random.bounded(text.size()));
        QVERIFY2(readTimeOfDay(text) == CanTimeStamp(QTime::fromString(text, form)), qPrintable(text));
    }
}

QTEST_GUILESS_MAIN(NumbersTest)
#include "tst_numbers.moc"
