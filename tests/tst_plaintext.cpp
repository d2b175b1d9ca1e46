// SPDX-License-Identifier: Apache-2.0
#include "host/convert/plaintext.h"

#include <QtTest>

class PlainTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void halvesOfCharactersAreReplaced_data();
    void halvesOfCharactersAreReplaced();
    void controlsAreShown_data();
    void controlsAreShown();
    void everyControlCharacterIsKnown();
    void longTextsTakeLinearTime();
};

void PlainTextTest::halvesOfCharactersAreReplaced_data()
{
    QTest::addColumn<QVector<ushort>>("text");
    QTest::addColumn<QByteArray>("utf8");
    const auto row = [](const char *name, const QVector<ushort> &text, const char *utf8) {
        QTest::newRow(name) << text << QByteArray(utf8);
    };
    row("nothing", {}, "");
    row("plain", {'a', 0xE4, 0x20AC}, "a\xC3\xA4\xE2\x82\xAC");
    row("a pair", {'a', 0xD83D, 0xDE97, 'b'},
        "a\xF0\x9F\x9A\x97"
        "b");
    row("first half in the middle", {'a', 0xD83D, 'b', 'c'},
        "a\xEF\xBF\xBD"
        "bc");
    row("second half in the middle", {'a', 0xDE97, 'b', 'c'},
        "a\xEF\xBF\xBD"
        "bc");
    row("first half at the end", {'a', 0xD83D}, "a\xEF\xBF\xBD");
    row("second half at the start", {0xDE97, 'a'},
        "\xEF\xBF\xBD"
        "a");
    row("two first halves and a second", {0xD83D, 0xD83D, 0xDE97}, "\xEF\xBF\xBD\xF0\x9F\x9A\x97");
    row("a pair and a second half", {0xD83D, 0xDE97, 0xDE97}, "\xF0\x9F\x9A\x97\xEF\xBF\xBD");
    row("the wrong way round", {0xDE97, 0xD83D}, "\xEF\xBF\xBD\xEF\xBF\xBD");
    row("before a quotation mark", {0xD83D, '"', ','}, "\xEF\xBF\xBD\",");
}

void PlainTextTest::halvesOfCharactersAreReplaced()
{
    QFETCH(QVector<ushort>, text);
    QFETCH(QByteArray, utf8);
    const QString string = QString(reinterpret_cast<const QChar *>(text.constData()), int(text.size()));
    QCOMPARE(toUtf8(string), utf8);
    QCOMPARE(printable(string).toUtf8(), utf8);
}

void PlainTextTest::controlsAreShown_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");
    const auto row = [](const char *name, const QString &text, const char *shown) {
        QTest::newRow(name) << text << QString::fromUtf8(shown);
    };
    row("nothing", {}, "");
    row("plain", QStringLiteral("engine \u00E4 on"), "engine \xC3\xA4 on");
    row("escape sequence", QStringLiteral("a\x1b[2Jb"), "aU+001B[2Jb");
    row("zero", QString(QChar(QChar::Null)), "U+0000");
    row("line ends", QStringLiteral("a\r\n"), "aU+000DU+000A");
    row("the C1 escape", QStringLiteral("\u009B31m"), "U+009B31m");
    row("turned", QStringLiteral("a\u202Egol.exe"), "aU+202Egol.exe");
    row("line separator", QStringLiteral("a\u2028b\u2029c"), "aU+2028bU+2029c");
    row("a joiner stays", QStringLiteral("a\u200Db"),
        "a\xE2\x80\x8D"
        "b");
}

void PlainTextTest::controlsAreShown()
{
    QFETCH(QString, text);
    QFETCH(QString, shown);
    QCOMPARE(printable(text), shown);
    QCOMPARE(printable(shown), shown);
}

void PlainTextTest::everyControlCharacterIsKnown()
{
    const QString turning = QStringLiteral("\u061C\u200E\u200F\u2028\u2029\u202A\u202B\u202C\u202D\u202E"
                                           "\u2066\u2067\u2068\u2069");
    for (int code = 0; code < 0x10000; ++code) {
        const QChar c = QChar(ushort(code));
        const bool expected = c.category() == QChar::Other_Control || turning.contains(c);
        QVERIFY2(isControl(c) == expected, qPrintable(QString::number(code, 16)));
    }
}

void PlainTextTest::longTextsTakeLinearTime()
{
    // Minutes when each replacement moves the rest.
    QString text(1 << 20, QChar(ushort(0x1B)));
    QCOMPARE(printable(text).size(), 6 * text.size());
    text.fill(QChar(ushort(0xD800)));
    QCOMPARE(toUtf8(text).size(), 3 * text.size());
}

QTEST_APPLESS_MAIN(PlainTextTest)
#include "tst_plaintext.moc"
