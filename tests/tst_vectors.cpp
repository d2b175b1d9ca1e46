// SPDX-License-Identifier: Apache-2.0
#include "common/text/vectors.h"

#include <QRandomGenerator>
#include <QVector>
#include <QtTest>

#include <cstring>

namespace
{

using Text = QVector<QChar>;

/// Characters around the borders of what the operations tell apart, and some that end like those in their low byte.
const ushort borders[] = {0x0,    0x8,    0x9,    0xD,    0xE,    0x1F,   ' ',    0x21,   '/',    '0',
                          '9',    ':',    '@',    'A',    'F',    'G',    '`',    'a',    'f',    'g',
                          0x7F,   0x80,   0x85,   0xA0,   0xFF,   0x100,  0x120,  0x130,  0x141,  0x661,
                          0x2028, 0x3000, 0x3031, 0x7FFF, 0x8000, 0x8020, 0x8030, 0xD83D, 0xFEFF, 0xFFFF};

QChar borderCharacter(QRandomGenerator &random)
{
    return QChar(borders[random.bounded(int(std::size(borders)))]);
}

Text textOf(const char *latin)
{
    Text text;
    for (const char *c = latin; *c; ++c)
        text.append(QLatin1Char(*c));
    return text;
}

/// What an operation that reads into @p Value answered.
template <typename Value>
struct Reading {
    bool ok = false;
    Value value;
    bool operator==(const Reading &other) const { return ok == other.ok && value == other.value; }
};

const QByteArray untouched(8, char(0xEE));

template <typename Operations>
Reading<QByteArray> hexPairs(const Text &text)
{
    Reading<QByteArray> result{false, untouched};
    result.ok = Operations::readEightHexPairs(text.constData(), reinterpret_cast<quint8 *>(result.value.data()));
    return result;
}

template <typename Operations>
Reading<QByteArray> hexFields(const Text &text)
{
    // The second field lies last in the text, the others as they come.
    const QChar *edges[16];
    const int order[] = {0, 7, 1, 2, 3, 4, 5, 6};
    for (int i = 0; i < 8; ++i) {
        edges[2 * i] = text.constData() + 2 * order[i];
        edges[2 * i + 1] = edges[2 * i] + 2;
    }
    Reading<QByteArray> result{false, untouched};
    result.ok = Operations::readEightHexFields(edges, reinterpret_cast<quint8 *>(result.value.data()));
    return result;
}

template <typename Operations>
Reading<quint64> digits(const Text &text)
{
    Reading<quint64> result{false, 4711};
    result.ok = Operations::readEightDigits(text.constData(), result.value);
    return result;
}

template <typename Operations>
Reading<quint64> blanks(const Text &text, int at)
{
    Reading<quint64> result;
    result.ok = Operations::findAsciiBlanks(text.constData(), text.constData() + at, text.size() - at, result.value);
    if (!result.ok)
        result.value = 0; // ASCII does not tell: the bits mean nothing
    return result;
}

/// What all operations have to give, worked out one character after the other.
quint64 bitsOneByOne(const Text &text, int at, QChar wanted, ushort caseBit)
{
    quint64 bits = 0;
    for (int i = at; i < text.size(); ++i)
        bits |= quint64((text[i].unicode() | caseBit) == wanted.unicode()) << (i - at);
    return bits;
}

} // namespace

/// Runs for each of the ways in which the operations are built: the same must come out.
class VectorsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void vectorInstructionsAreUsedWhereTheyAre();
    void readsEightPairsOfHexadecimalDigits();
    void refusesEightPairsWithOneOtherCharacter();
    void readsEightDecimalDigits();
    void refusesEightDigitsWithOneOtherCharacter();
    void findsCharactersAtEveryPlace();
    void findsBlanksAtEveryPlace();

private:
    template <typename Check>
    static void forAllWays(Check check)
    {
        check(PlainVectors());
        check(Vectors()); // the same one where there are no vector instructions
    }
};

void VectorsTest::vectorInstructionsAreUsedWhereTheyAre()
{
    constexpr bool isPlain = std::is_same_v<Vectors, PlainVectors>;
#if defined __SSE2__ && !defined CANLOGHANDLER_NO_SSE2
    QVERIFY(!isPlain);
#else
    QVERIFY(isPlain);
#endif
}

void VectorsTest::readsEightPairsOfHexadecimalDigits()
{
    forAllWays([](auto operations) {
        using Operations = decltype(operations);
        const Text text = textOf("00123456789aBcFf");
        const Reading<QByteArray> pairs{true, QByteArray::fromHex("00123456789ABCFF")};
        QVERIFY(hexPairs<Operations>(text) == pairs);
        const Reading<QByteArray> fields{true, QByteArray::fromHex("00FF123456789ABC")};
        QVERIFY(hexFields<Operations>(text) == fields);
    });
}

void VectorsTest::refusesEightPairsWithOneOtherCharacter()
{
    forAllWays([](auto operations) {
        using Operations = decltype(operations);
        for (int code = 0; code <= 0xFFFF; ++code) {
            for (int at = code < 0x200 ? 0 : code % 16; at < 16; at += code < 0x200 ? 1 : 16) {
                Text text = textOf("00123456789aBcFf");
                text[at] = QChar(code);
                const bool isDigit =
                    (code >= '0' && code <= '9') || (code >= 'A' && code <= 'F') || (code >= 'a' && code <= 'f');
                const Reading<QByteArray> pairs = hexPairs<Operations>(text);
                const Reading<QByteArray> fields = hexFields<Operations>(text);
                if (pairs.ok != isDigit || fields.ok != isDigit)
                    QFAIL(qPrintable(QStringLiteral("U+%1 at %2").arg(code, 4, 16, QLatin1Char('0')).arg(at)));
                QVERIFY(isDigit || (pairs.value == untouched && fields.value == untouched));
            }
        }
    });
}

void VectorsTest::readsEightDecimalDigits()
{
    forAllWays([](auto operations) {
        using Operations = decltype(operations);
        QVERIFY(digits<Operations>(textOf("00000000")) == (Reading<quint64>{true, 0}));
        QVERIFY(digits<Operations>(textOf("12345678")) == (Reading<quint64>{true, 12345678}));
        QVERIFY(digits<Operations>(textOf("99999999")) == (Reading<quint64>{true, 99999999}));
        for (int at = 0, power = 10000000; at < 8; ++at, power /= 10) {
            Text text = textOf("00000000");
            text[at] = QLatin1Char('7');
            QVERIFY(digits<Operations>(text) == (Reading<quint64>{true, 7 * quint64(power)}));
        }
    });
}

void VectorsTest::refusesEightDigitsWithOneOtherCharacter()
{
    forAllWays([](auto operations) {
        using Operations = decltype(operations);
        for (int code = 0; code <= 0xFFFF; ++code) {
            for (int at = code < 0x200 ? 0 : code % 8; at < 8; at += code < 0x200 ? 1 : 8) {
                Text text = textOf("12345678");
                text[at] = QChar(code);
                const Reading<quint64> result = digits<Operations>(text);
                if (result.ok != (code >= '0' && code <= '9'))
                    QFAIL(qPrintable(QStringLiteral("U+%1 at %2").arg(code, 4, 16, QLatin1Char('0')).arg(at)));
                QVERIFY(result.ok || result.value == 4711);
            }
        }
    });
}

void VectorsTest::findsCharactersAtEveryPlace()
{
    QRandomGenerator random(20240229);
    for (int round = 0; round < 20000; ++round) {
        Text text(random.bounded(1, 65));
        for (QChar &c : text)
            c = borderCharacter(random);
        const ushort caseBit = round % 2 ? 0x20 : 0;
        const QChar wanted(borderCharacter(random).unicode() | caseBit);
        const quint64 expected = bitsOneByOne(text, 0, wanted, caseBit);
        forAllWays([&](auto operations) {
            QCOMPARE(operations.bitsOfCharacter(text.constData(), text.size(), wanted, caseBit), expected);
        });
    }
}

void VectorsTest::findsBlanksAtEveryPlace()
{
    QRandomGenerator random(20240229);
    for (int round = 0; round < 40000; ++round) {
        Text text(random.bounded(1, 90));
        for (QChar &c : text) {
            do
                c = borderCharacter(random);
            while (c.unicode() >= 0x80 && random.bounded(50) != 0);
        }
        const int at = std::max(random.bounded(int(text.size())), int(text.size()) - 64);
        const auto end = text.cend();
        const auto isBlank = [](QChar c) { return c == QLatin1Char(' ') || (c >= QChar(9) && c <= QChar(13)); };
        // Either way may say of any character beyond ASCII that it does not tell, but not that it is a blank.
        const bool isAscii = std::all_of(text.cbegin(), end, [](QChar c) { return c.unicode() < 0x80; });
        quint64 expected = 0;
        for (int i = at; i < text.size(); ++i)
            expected |= quint64(isBlank(text[i])) << (i - at);
        forAllWays([&](auto operations) {
            using Operations = decltype(operations);
            const Reading<quint64> result = blanks<Operations>(text, at);
            QVERIFY(result.ok || !isAscii);
            if (result.ok) {
                QCOMPARE(result.value, expected);
                // What is read as ASCII has no blank beyond it, either.
                for (int i = at; i < text.size(); ++i)
                    QVERIFY(text[i].unicode() < 0x80 || !text[i].isSpace());
            }
        });
    }
}

QTEST_GUILESS_MAIN(VectorsTest)
#include "tst_vectors.moc"
