// SPDX-License-Identifier: Apache-2.0
#include "common/text/fields.h"

#include <QRandomGenerator>
#include <QtTest>

#include <algorithm>

namespace
{

QStringList listOf(const Fields &fields)
{
    QStringList list;
    for (int i = 0; i < fields.count(); ++i)
        list.append(QLatin1String("") + fields[i].toString());
    return list;
}

QString unicode(std::initializer_list<ushort> codes)
{
    QString text;
    for (const ushort code : codes)
        text.append(QChar(code));
    return text;
}

/// Text out of what matters to a splitter: separators, all kinds of white space, and things that look like it.
QString randomText(QRandomGenerator &random)
{
    static const ushort codes[] = {' ',    ' ',    '\t',   '\n',   '\r',   '\f',   '\v', 0,    0x1F,   'a',
                                   'b',    ',',    ',',    ';',    '.',    '"',    0x85, 0xA0, 0x200B, 0x2003,
                                   0x2028, 0x3000, 0xFEFF, 0xD83D, 0x1680, 0x180E, 0x7F, 0x80, 0xFF};
    QString text;
    for (int i = random.bounded(20); i > 0; --i)
        text.append(QChar(codes[random.bounded(int(sizeof codes / sizeof *codes))]));
    return text;
}

} // namespace

class FieldsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void splitsAtBlanks_data();
    void splitsAtBlanks();
    void splitsAtASeparator_data();
    void splitsAtASeparator();
    void agreesWithQtOnRandomText();
    void agreesWithQtOnTextOfAnyLength();
    void knowsTheWhiteSpaceOfQt();
    void knowsAText_data();
    void knowsAText();
    void readsAbsentFieldsAsEmpty();
    void splitsAtATextSeparator_data();
    void splitsAtATextSeparator();
    void splitsQuotedText_data();
    void splitsQuotedText();
    void takesAList();
    void readsPairsOfDigitsAsBytes();
    void readsNoOtherFieldsAsPairs_data();
    void readsNoOtherFieldsAsPairs();
    void removesAField();
    void removesTheLastField();
    void simplifies_data();
    void simplifies();
    void forgetsTheLineBefore();
};

void FieldsTest::splitsAtBlanks_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("empty") << QString() << QStringList();
    QTest::newRow("blanks only") << QStringLiteral(" \t ") << QStringList();
    QTest::newRow("one word") << QStringLiteral("a") << QStringList{QStringLiteral("a")};
    QTest::newRow("runs of blanks") << QStringLiteral("  a  b\t\tc ")
                                    << QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")};
    QTest::newRow("blanks of other scripts")
        << QStringLiteral("a") + unicode({0xA0, 0x2003}) + QLatin1Char('b') + unicode({0x3000}) + QLatin1Char('c')
               + unicode({0x85})
        << QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")};
    QTest::newRow("zero-width space is no blank")
        << QStringLiteral("a") + unicode({0x200B}) + QLatin1Char('b')
        << QStringList{QStringLiteral("a") + unicode({0x200B}) + QLatin1Char('b')};
    QTest::newRow("NUL is no blank") << unicode({'a', 0, 'b'}) << QStringList{unicode({'a', 0, 'b'})};
}

void FieldsTest::splitsAtBlanks()
{
    QFETCH(QString, line);
    QFETCH(QStringList, expected);
    Fields fields;
    fields.splitAtBlanks(line);
    QCOMPARE(listOf(fields), expected);
}

void FieldsTest::splitsAtASeparator_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("kept");
    QTest::addColumn<QStringList>("skipped");
    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    QTest::newRow("empty") << QString() << QStringList{QString()} << QStringList();
    QTest::newRow("one part") << a << QStringList{a} << QStringList{a};
    QTest::newRow("two parts") << QStringLiteral("a,b") << QStringList{a, b} << QStringList{a, b};
    QTest::newRow("separator alone") << QStringLiteral(",") << QStringList{QString(), QString()} << QStringList();
    QTest::newRow("empty parts") << QStringLiteral(",a,,b,") << QStringList{QString(), a, QString(), b, QString()}
                                 << QStringList{a, b};
}

void FieldsTest::splitsAtASeparator()
{
    QFETCH(QString, line);
    QFETCH(QStringList, kept);
    QFETCH(QStringList, skipped);
    Fields fields;
    fields.split(line, QLatin1Char(','), Fields::KeepEmpty);
    QCOMPARE(listOf(fields), kept);
    fields.split(line, QLatin1Char(','), Fields::SkipEmpty);
    QCOMPARE(listOf(fields), skipped);
}

void FieldsTest::agreesWithQtOnRandomText()
{
    QRandomGenerator random(7);
    Fields fields;
    QString room;
    for (int round = 0; round < 50000; ++round) {
        const QString text = randomText(random);
        fields.splitAtBlanks(text);
        QCOMPARE(listOf(fields), text.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts));
        fields.split(text, QLatin1Char(','), Fields::KeepEmpty);
        QCOMPARE(listOf(fields), text.split(QLatin1Char(','), Qt::KeepEmptyParts));
        fields.split(text, QLatin1Char(','), Fields::SkipEmpty);
        QCOMPARE(listOf(fields), text.split(QLatin1Char(','), Qt::SkipEmptyParts));
        for (const char16_t *separator : {u",", u" ,", u",,", u" a ", u"aba"}) {
            fields.split(text, QStringView(separator));
            QCOMPARE(listOf(fields), text.split(QString::fromUtf16(separator)));
        }
        QCOMPARE(simplified(text, room).toString(), QString(QLatin1String("") + text.simplified()));
    }
}

void FieldsTest::agreesWithQtOnTextOfAnyLength()
{
    // Around the places where a line is cut into blocks and groups.
    QRandomGenerator random(11);
    Fields fields;
    for (int round = 0; round < 20000; ++round) {
        const QString more = random.bounded(4) == 0 ? unicode({0x2003}) : QString();
        const int length = random.bounded(280);
        const int density = 1 + random.bounded(12);
        QString text = more;
        while (text.size() < length)
            text.append(random.bounded(density) != 0 ? QLatin1Char('x')
                        : random.bounded(2)          ? QLatin1Char(' ')
                                                     : QLatin1Char(','));
        fields.splitAtBlanks(text);
        QCOMPARE(listOf(fields), text.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts));
        fields.split(text, QLatin1Char(','), Fields::KeepEmpty);
        QCOMPARE(listOf(fields), text.split(QLatin1Char(','), Qt::KeepEmptyParts));
        fields.split(text, QLatin1Char(','), Fields::SkipEmpty);
        QCOMPARE(listOf(fields), text.split(QLatin1Char(','), Qt::SkipEmptyParts));
    }
}

void FieldsTest::knowsTheWhiteSpaceOfQt()
{
    for (uint code = 0; code <= 0xFFFF; ++code)
        QCOMPARE(isBlank(QChar(code)), QString(QChar(code)).simplified().isEmpty());
}

void FieldsTest::knowsAText_data()
{
    QTest::addColumn<QString>("field");
    QTest::addColumn<bool>("expected");

    QTest::newRow("the text") << "RTR" << true;
    QTest::newRow("shorter") << "RT" << false;
    QTest::newRow("longer") << "RTRR" << false;
    QTest::newRow("other case") << "rTR" << false;
    QTest::newRow("other end") << "RTX" << false;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("same low bytes") << QStringLiteral("\u0152TR") << false; // R is 0x52
}

void FieldsTest::knowsAText()
{
    QFETCH(QString, field);
    QFETCH(bool, expected);
    QCOMPARE(isText(field, u"RTR"), expected);
    QVERIFY(!isText({}, u"RTR"));
}

void FieldsTest::readsAbsentFieldsAsEmpty()
{
    Fields fields;
    QVERIFY(fields[0].isEmpty());
    QVERIFY(fields.last().isEmpty());
    fields.splitAtBlanks(u"a b");
    QVERIFY(fields[-1].isEmpty());
    QVERIFY(fields[2].isEmpty());
    QCOMPARE(fields.last().toString(), QStringLiteral("b"));
}

void FieldsTest::splitsAtATextSeparator_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("separator");
    QTest::addColumn<QStringList>("expected");
    const QString colon = QStringLiteral(" : ");
    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    QTest::newRow("empty") << QString() << colon << QStringList{QString()};
    QTest::newRow("separator alone") << colon << colon << QStringList{QString(), QString()};
    QTest::newRow("two parts") << QStringLiteral("a : b") << colon << QStringList{a, b};
    QTest::newRow("empty parts") << QStringLiteral(" : a :  : b : ") << colon
                                 << QStringList{QString(), a, QString(), b, QString()};
    QTest::newRow("no blanks around") << QStringLiteral("a:b") << colon << QStringList{QStringLiteral("a:b")};
    QTest::newRow("blank before only") << QStringLiteral("a :b") << colon << QStringList{QStringLiteral("a :b")};
    QTest::newRow("cut off") << QStringLiteral("a :") << colon << QStringList{QStringLiteral("a :")};
    QTest::newRow("a blank serves one separator only")
        << QStringLiteral("a : : b") << colon << QStringList{a, QStringLiteral(": b")};
    QTest::newRow("leftmost first") << QStringLiteral(",,,") << QStringLiteral(",,")
                                    << QStringList{QString(), QStringLiteral(",")};
}

void FieldsTest::splitsAtATextSeparator()
{
    QFETCH(QString, line);
    QFETCH(QString, separator);
    QFETCH(QStringList, expected);
    Fields fields;
    fields.split(line, QStringView(separator));
    QCOMPARE(listOf(fields), expected);
}

void FieldsTest::splitsQuotedText_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("expected");
    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    QTest::newRow("empty") << QString() << QStringList();
    QTest::newRow("no quotes") << QStringLiteral("a,b") << QStringList{a, b};
    QTest::newRow("quotes") << QStringLiteral("\"a\",\"b\"") << QStringList{a, b};
    QTest::newRow("separator in quotes") << QStringLiteral("\"a,b\",b") << QStringList{QStringLiteral("a,b"), b};
    QTest::newRow("quotes inside a field") << QStringLiteral("x\"a,b\"y,b") << QStringList{QStringLiteral("xa,by"), b};
    QTest::newRow("doubled quotes") << QStringLiteral("\"a\"\",b\"") << QStringList{a + QLatin1String(",b")};
    QTest::newRow("open quote") << QStringLiteral("a,\"b,b") << QStringList{a, QStringLiteral("b,b")};
    QTest::newRow("empty fields stay") << QStringLiteral(",\"\",a") << QStringList{QString(), QString(), a};
    QTest::newRow("empty last field is left out") << QStringLiteral("a,") << QStringList{a};
    QTest::newRow("quoted empty last field is left out") << QStringLiteral("a,\"\"") << QStringList{a};
    QTest::newRow("only one empty last field is left out") << QStringLiteral("a,,") << QStringList{a, QString()};
}

void FieldsTest::splitsQuotedText()
{
    QFETCH(QString, line);
    QFETCH(QStringList, expected);
    Fields fields;
    fields.splitQuoted(QString(QLatin1Char('z')).repeated(100), QLatin1Char(','), QLatin1Char('"'));
    fields.splitQuoted(line, QLatin1Char(','), QLatin1Char('"'));
    QCOMPARE(listOf(fields), expected);
}

void FieldsTest::takesAList()
{
    const QStringList list{QStringLiteral("a"), QString(), QStringLiteral(" b c ")};
    Fields fields;
    fields.splitAtBlanks(u"x y z 0");
    fields.assign(list);
    QCOMPARE(listOf(fields), QStringList({QStringLiteral("a"), QLatin1String(""), QStringLiteral(" b c ")}));
    fields.assign({});
    QCOMPARE(fields.count(), 0);
}

void FieldsTest::readsPairsOfDigitsAsBytes()
{
    // The fields are 00 11 22 and so on, in both cases of the letters.
    constexpr int most = 40;
    QStringList list{QStringLiteral("x")};
    for (int i = 0; i < most; ++i) {
        const QString pair = QString::number(i % 16 * 0x11, 16).rightJustified(2, QLatin1Char('0'));
        list.append(i % 3 == 0 ? pair.toUpper() : pair);
    }
    for (int present = 0; present <= most; ++present) {
        Fields fields;
        const QString text = QStringList(list.mid(0, 1 + present)).join(QLatin1String("  "));
        fields.splitAtBlanks(text);
        for (int wanted = 0; wanted <= most; ++wanted) {
            quint8 data[most + 1];
            std::fill(std::begin(data), std::end(data), quint8(0xEE));
            const int atMost = std::min(wanted, present);
            const int count = atMost < 8 ? 0 : atMost;
            QCOMPARE(fields.readPairsByEights(1, wanted, data), count);
            for (int i = 0; i <= most; ++i)
                QCOMPARE(int(data[i]), i >= count ? 0xEE : i % 16 * 0x11);
        }
    }
}

void FieldsTest::readsNoOtherFieldsAsPairs_data()
{
    QTest::addColumn<QString>("other");
    QTest::newRow("one digit") << QStringLiteral("A");
    QTest::newRow("three digits") << QStringLiteral("0AA");
    QTest::newRow("four digits") << QStringLiteral("AABB");
    QTest::newRow("a letter that is no digit") << QStringLiteral("AG");
    QTest::newRow("a sign") << QStringLiteral("+A");
    QTest::newRow("a prefix") << QStringLiteral("0x");
    QTest::newRow("digits of another script") << unicode({0x661, 0x662});
    QTest::newRow("characters that end like digits") << unicode({0x3031, 0x3032});
}

void FieldsTest::readsNoOtherFieldsAsPairs()
{
    QFETCH(QString, other);
    for (int at = 0; at < 20; ++at) {
        QStringList list;
        for (int i = 0; i < 20; ++i)
            list.append(i == at ? other : QStringLiteral("5A"));
        Fields fields;
        const QString text = list.join(QLatin1Char(' '));
        fields.splitAtBlanks(text);
        quint8 data[20];
        const int count = fields.readPairsByEights(0, 20, data);
        QVERIFY(count <= at && at - count < 8);
        for (int i = 0; i < count; ++i)
            QCOMPARE(int(data[i]), 0x5A);
        // Nor is it one that begins outside the line.
        QCOMPARE(fields.readPairsByEights(-1, 20, data), 0);
        QCOMPARE(fields.readPairsByEights(20, 20, data), 0);
    }
}

void FieldsTest::removesAField()
{
    Fields fields;
    fields.remove(0);
    QCOMPARE(fields.count(), 0);
    fields.splitAtBlanks(u"a b c d");
    fields.remove(4);
    fields.remove(-1);
    QCOMPARE(fields.count(), 4);
    fields.remove(3);
    fields.remove(1);
    QCOMPARE(listOf(fields), QStringList({QStringLiteral("a"), QStringLiteral("c")}));
}

void FieldsTest::simplifies_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<bool>("inPlace");
    const QString words = QStringLiteral("several words of one line");
    QTest::newRow("empty") << QString() << QString() << true;
    QTest::newRow("blanks only") << QStringLiteral(" \t ") << QString() << true;
    QTest::newRow("one letter") << QStringLiteral("a") << QStringLiteral("a") << true;
    QTest::newRow("simple already") << words << words << true;
    QTest::newRow("blanks at the ends") << QStringLiteral("\t ") + words + QLatin1String("  ") << words << true;
    QTest::newRow("letters of other scripts") << words + QChar(0xE4) << words + QChar(0xE4) << true;
    for (int i = 0; i < words.size(); ++i) {
        if (words.at(i) != QLatin1Char(' '))
            continue;
        QTest::addRow("two blanks at %d", i) << QString(words).insert(i, QLatin1Char(' ')) << words << false;
        QTest::addRow("tab at %d", i) << QString(words).replace(i, 1, QLatin1Char('\t')) << words << false;
        QTest::addRow("no-break space at %d", i) << QString(words).replace(i, 1, QChar(0xA0)) << words << false;
    }
}

void FieldsTest::simplifies()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QFETCH(bool, inPlace);
    QString room = QStringLiteral("left over from a longer line than all that come here");
    const QStringView result = simplified(text, room);
    QCOMPARE(result.toString(), QString(QLatin1String("") + expected));
    const bool isInText = result.isEmpty() || (result.begin() >= text.cbegin() && result.end() <= text.cend());
    QCOMPARE(isInText, inPlace);
}

void FieldsTest::removesTheLastField()
{
    Fields fields;
    fields.removeLast();
    QCOMPARE(fields.count(), 0);
    fields.splitAtBlanks(u"a b");
    fields.removeLast();
    QCOMPARE(listOf(fields), QStringList{QStringLiteral("a")});
}

void FieldsTest::forgetsTheLineBefore()
{
    Fields fields;
    fields.splitAtBlanks(QString(QStringLiteral("x ")).repeated(10000));
    QCOMPARE(fields.count(), 10000);
    fields.splitAtBlanks(u"a");
    QCOMPARE(listOf(fields), QStringList{QStringLiteral("a")});
}

QTEST_GUILESS_MAIN(FieldsTest)
#include "tst_fields.moc"
