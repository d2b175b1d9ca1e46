#include "common/text/fields.h"

#include <QRandomGenerator>
#include <QtTest>

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
    void readsAbsentFieldsAsEmpty();
    void removesTheLastField();
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
    for (int round = 0; round < 50000; ++round) {
        const QString text = randomText(random);
        fields.splitAtBlanks(text);
        QCOMPARE(listOf(fields), text.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts));
        fields.split(text, QLatin1Char(','), Fields::KeepEmpty);
        QCOMPARE(listOf(fields), text.split(QLatin1Char(','), Qt::KeepEmptyParts));
        fields.split(text, QLatin1Char(','), Fields::SkipEmpty);
        QCOMPARE(listOf(fields), text.split(QLatin1Char(','), Qt::SkipEmptyParts));
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
