// SPDX-License-Identifier: Apache-2.0
#include "host/convert/textline.h"

#include <QtTest>

#include <functional>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

/// Adds something to a line that has a mark at either end.
using Addition = std::function<void(TextLine &)>;
Q_DECLARE_METATYPE(Addition)

class TextLineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void adds_data();
    void adds();
    void hasRoomForAWideLine();
    void neverWritesBeyond_data();
    void neverWritesBeyond();
};

void TextLineTest::adds_data()
{
    QTest::addColumn<Addition>("add");
    QTest::addColumn<QByteArray>("expected");
    const auto row = [](const char *name, const Addition &add, const char *expected) {
        QTest::newRow(name) << add << QByteArray(expected);
    };
    row(
        "text", [](TextLine &line) { line.addText("abc"); }, "abc");
    row(
        "no text", [](TextLine &line) { line.addText(""); }, "");
    row(
        "blanks", [](TextLine &line) { line.addBlanks(3); }, "   ");
    row(
        "fewer than no blanks", [](TextLine &line) { line.addBlanks(-1); }, "");
    row(
        "right", [](TextLine &line) { line.addRight("abc", 2, 4); }, "  ab");
    row(
        "left", [](TextLine &line) { line.addLeft("abc", 2, 4); }, "ab  ");
    row(
        "wider than its column", [](TextLine &line) { line.addRight("abc", 3, 2); }, "abc");
    row(
        "0", [](TextLine &line) { line.addNumber(0); }, "0");
    row(
        "highest number", [](TextLine &line) { line.addNumber(~quint64(0)); }, "18446744073709551615");
    row(
        "number in a column", [](TextLine &line) { line.addNumber(42, 5); }, "   42");
    row(
        "padded 0", [](TextLine &line) { line.addPaddedNumber(0, 3); }, "000");
    row(
        "padded number", [](TextLine &line) { line.addPaddedNumber(42, 3); }, "042");
    row(
        "number that needs no padding", [](TextLine &line) { line.addPaddedNumber(1042, 3); }, "1042");
    row(
        "hexadecimal", [](TextLine &line) { line.addHex(0xABCDEF, 1); }, "ABCDEF");
    row(
        "hexadecimal 0", [](TextLine &line) { line.addHex(0, 1); }, "0");
    row(
        "padded hexadecimal", [](TextLine &line) { line.addHex(0xC9, 3); }, "0C9");
    row(
        "hexadecimal in a column", [](TextLine &line) { line.addHex(0xC9, 3, 6); }, "   0C9");
    row(
        "highest hexadecimal", [](TextLine &line) { line.addHex(0xFFFFFFFF, 3, 4); }, "FFFFFFFF");
    static const quint8 bytes[] = {0x00, 0x0F, 0xA5};
    row(
        "bytes", [](TextLine &line) { line.addBytes(bytes, 3, false); }, "000FA5");
    row(
        "bytes with blanks", [](TextLine &line) { line.addBytes(bytes, 3, true); }, "00 0F A5");
    row(
        "no bytes", [](TextLine &line) { line.addBytes(bytes, 0, true); }, "");
}

void TextLineTest::adds()
{
    QFETCH(Addition, add);
    QFETCH(QByteArray, expected);
    TextLine line;
    line.addCharacter('<');
    add(line);
    line.addCharacter('>');
    QCOMPARE(QByteArray(line.begin(), line.length()), '<' + expected + '>');
}

void TextLineTest::hasRoomForAWideLine()
{
    TextLine line;
    for (int i = 0; i < 1023; ++i)
        line.addCharacter(char('a' + i % 26));
    QCOMPARE(line.length(), 1023);
    QCOMPARE(line.begin()[1022], char('a' + 1022 % 26));
}

void TextLineTest::neverWritesBeyond_data()
{
    QTest::addColumn<Addition>("add");
    const auto row = [](const char *name, const Addition &add) { QTest::newRow(name) << add; };
    static const quint8 bytes[] = {0x00};
    row("character", [](TextLine &line) { line.addCharacter('a'); });
    row("text", [](TextLine &line) { line.addText("a"); });
    row("blanks", [](TextLine &line) { line.addBlanks(1); });
    row("number", [](TextLine &line) { line.addNumber(1); });
    row("padding", [](TextLine &line) { line.addPaddedNumber(1, 2); });
    row("hexadecimal", [](TextLine &line) { line.addHex(1, 1); });
    row("byte", [](TextLine &line) { line.addBytes(bytes, 1, false); });
}

void TextLineTest::neverWritesBeyond()
{
#ifdef Q_OS_UNIX
    QFETCH(Addition, add);
    // The program ends, so it is a program of its own.
    const pid_t child = fork();
    if (child == 0) {
        const rlimit noCore = {0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext &, const QString &) { _exit(type == QtFatalMsg ? 42 : 1); });
        TextLine line;
        line.addBlanks(1023);
        add(line);
        _exit(0);
    }
    int status = 0;
    QCOMPARE(waitpid(child, &status, 0), child);
    QVERIFY(WIFEXITED(status));
    QCOMPARE(WEXITSTATUS(status), 42);
#else
    QSKIP("needs fork()");
#endif
}

QTEST_GUILESS_MAIN(TextLineTest)
#include "tst_textline.moc"
