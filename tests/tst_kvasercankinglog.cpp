// SPDX-License-Identifier: Apache-2.0
#include "loadertest.h"

#include <QRegularExpression>

#ifdef Q_OS_LINUX
#include <unistd.h>
#endif

using CAN::CanRxMessage;

namespace
{

/// The radix is looked for in so many characters.
constexpr int radixReach = 0x100000;

/*
 * The rules of the format once more, with Qt's plain operations and no thought of speed: what the loader must make of
 * any text, however odd.
 */
int radixOf(const QString &text)
{
    static const QRegularExpression smallHexDigit("[a-f]"_s);
    return text.left(radixReach).contains(smallHexDigit) ? 16 : 10;
}

enum class Line { Other, Frame, CutShort };

Line readFrame(const QString &line, int radix, CanRxMessage &message)
{
    const QStringList columns = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (columns.size() <= 5)
        return Line::Other;
    message = CanRxMessage();
    message.id = Plain::number(columns.at(1), radix);
    int first = 3;
    if (Plain::isNumber(columns.at(2), 10)) {
        message.dlc = Plain::byte(columns.at(2), 10);
    } else {
        message.isExtended = columns.at(2).contains(QLatin1Char('X'));
        message.dlc = Plain::byte(columns.at(3), 0);
        first = 4;
    }
    if (columns.size() < message.dlc + first)
        return Line::CutShort;
    for (int i = 0; i < message.dlc; ++i)
        Plain::storeByte(message, i, columns.at(first + i), radix);
    message.timeStamp = Plain::time(columns.at(columns.size() - 2));
    return Line::Frame;
}

void readPlainly(QTextStream &stream, PlainImport &import)
{
    const int radix = radixOf(stream.read(radixReach));
    if (!stream.seek(0))
        return import.fail();
    while (!stream.atEnd()) {
        const QString line = stream.readLine();
        CanRxMessage message;
        const Line kind = readFrame(line, radix, message);
        if (kind == Line::CutShort)
            return import.fail();
        if (kind == Line::Frame) {
            message.messageIndex = import.nextIndex();
            import.add(message, line);
        }
    }
    import.deliver();
}

// With six columns it would be a frame.
const QString header = "Chn Identifier Flg DLC Data\n"_s;

quint32 identifier(int number)
{
    return static_cast<quint32>(number) * 2654435761U & 0x1FFFFFFF;
}

QByteArray payload(int number)
{
    QByteArray bytes;
    for (int i = 0; i < number % 9; ++i)
        bytes.append(static_cast<char>(number + i + 1));
    return bytes;
}

bool isExtended(int number)
{
    return number % 3 == 0;
}

QString longLogLine(int number)
{
    const QByteArray bytes = payload(number);
    return "0 %1 %2%3 %4 %5.%6 R\n"_s.arg(QString::number(identifier(number), 16),
                                          isExtended(number) ? "X "_s : QString(), QString::number(bytes.size()),
                                          Content::digits(bytes), QString::number(number),
                                          QString::number(number % 1000000).rightJustified(6, QLatin1Char('0')));
}

CanRxMessage longLogMessage(int number)
{
    Frame frame(identifier(number));
    frame.bytes(payload(number)).at(number, number % 1000000).index(static_cast<quint32>(number));
    if (isExtended(number))
        frame.extended();
    return frame;
}

QString longLog(int count)
{
    QString text = header;
    for (int i = 0; i < count; ++i)
        text += longLogLine(i);
    return text;
}

} // namespace

class KvaserCanKingLogTest : public LoaderTest
{
    Q_OBJECT

public:
    KvaserCanKingLogTest()
        : LoaderTest(&CANLogHandler::loadKvaserCanKingLog, DatachunkHelper::KvaserCanKingLog, readPlainly,
                     {header, "0 123 2 11 22 5.25 R"_s, "0 18FEF100 X 1 AB 6.5 R"_s,
                      frames({Frame(0x123, "11 22").at(5, 250000), Frame(0x18FEF100, "AB").at(6, 500000).extended()})})
    {
    }

private Q_SLOTS:
    void frameLines_data();
    void frameLines() { compareLines(); }
    void linesWithoutFrame_data();
    void linesWithoutFrame() { compareLines(); }
    void radixFollowsTheText_data();
    void radixFollowsTheText() { compareTexts(); }
    void radixIsLookedForInTheFirstMebibyte_data();
    void radixIsLookedForInTheFirstMebibyte();
    void onlyBlanksSeparate_data();
    void onlyBlanksSeparate() { compareLines(); }

    void timeStamps_data() { addTimes(0, 99); }
    void timeStamps();
    void oddNumbersReadAsQtReadsThem_data();
    void oddNumbersReadAsQtReadsThem();
    void payloadIsCutAtItsCapacity_data();
    void payloadIsCutAtItsCapacity();

    void lineEnds_data() { addLineEnds(); }
    void lineEnds() { compareFiles(); }
    void loneCarriageReturnEndsNoLine();
    void byteOrderMarks_data() { addByteOrderMarks(); }
    void byteOrderMarks() { compareFiles(); }
    void oddBytesReadAsQtReadsThem() { checkOddBytes(); }
    void veryLongLines_data() { addLongLines(); }
    void veryLongLines() { compareLines(); }
    void randomLinesReadAsThePlainRulesSay_data();
    void randomLinesReadAsThePlainRulesSay();

    void storeCalls_data();
    void storeCalls() { compareCalls(); }
    void lineCutShortEndsTheImport_data();
    void lineCutShortEndsTheImport() { compareCalls(false); }
    void cutShortAfterABatch_data();
    void cutShortAfterABatch();
    void cutShortRequestFails();
    void fileThatCannotBeReadTwiceFails();
    void messagesComeInBatches_data() { addBatchSizes(); }
    void messagesComeInBatches();
    void requestsReachTheLoader() { checkRequests(); }
    void fileThatCannotBeOpenedFails_data() { addUnreadablePaths(); }
    void fileThatCannotBeOpenedFails() { checkUnreadablePath(); }
    void sampleFiles_data();
    void sampleFiles();
};

void KvaserCanKingLogTest::frameLines_data()
{
    addLineColumns();

    QTest::newRow("no flag column") << "0 123 2 11 22 5.25 R" << frames({Frame(0x123, "11 22").at(5, 250000)});
    QTest::newRow("flag column X") << "0 00000123 X 2 11 22 1.000500 R"
                                   << frames({Frame(0x123, "11 22").at(1, 500).extended()});
    QTest::newRow("columns apart") << "   0    00000123    X     2   11  22      1.000500   R   "
                                   << frames({Frame(0x123, "11 22").at(1, 500).extended()});
    QTest::newRow("eight bytes") << "1 7FF 8 00 11 22 33 44 55 66 FF 12.000005 T"
                                 << frames({Frame(0x7FF, "00 11 22 33 44 55 66 FF").at(12, 5)});
    QTest::newRow("extended identifier without flag is not marked")
        << "0 18FEF100 1 FF 1.5 R" << frames({Frame(0x18FEF100, "FF").at(1, 500000)});
    QTest::newRow("X within the flags") << "0 123 RX- 1 FF 1.5 R"
                                        << frames({Frame(0x123, "FF").at(1, 500000).extended()});
    QTest::newRow("small x is no X") << "0 123 x 1 FF 1.5 R" << frames({Frame(0x123, "FF").at(1, 500000)});
    QTest::newRow("other flag, remote frames are not marked")
        << "0 123 R 1 FF 1.5 R" << frames({Frame(0x123, "FF").at(1, 500000)});
    QTest::newRow("remote frame of six columns") << "0 123 R 0 1.5 R" << frames({Frame(0x123).at(1, 500000)});
    QTest::newRow("error frame is a frame") << "0 0 E 0 1.5 R" << frames({Frame(0).at(1, 500000)});
    QTest::newRow("channel and direction are not read")
        << "999999999999 123 1 FF 1.5 ????" << frames({Frame(0x123, "FF").at(1, 500000)});

    QTest::newRow("no bytes with flag: six columns")
        << "0 123 X 0 1.5 R" << frames({Frame(0x123).at(1, 500000).extended()});
    QTest::newRow("no bytes without flag: five columns are too few") << "0 123 0 1.5 R" << frames();
    QTest::newRow("no bytes without flag, one column more")
        << "0 123 0 x 1.5 R" << frames({Frame(0x123).at(1, 500000)});
    QTest::newRow("no bytes, many columns") << "0 123 0 11 22 33 1.5 R" << frames({Frame(0x123).at(1, 500000)});
    QTest::newRow("columns after the bytes") << "0 123 1 11 22 33 1.5 R" << frames({Frame(0x123, "11").at(1, 500000)});
    // The time is the last column but one, the bytes are those after the length, also when they are the same.
    QTest::newRow("no direction: the last byte is the time")
        << "0 123 2 11 22 1.5" << frames({Frame(0x123, "11 22").at(22, 220000)});
    QTest::newRow("neither time nor direction")
        << "0 123 3 11 22 33" << frames({Frame(0x123, "11 22 33").at(22, 220000)});
    QTest::newRow("flag, neither time nor direction")
        << "0 123 X 2 11 22" << frames({Frame(0x123, "11 22").at(11, 110000).extended()});
    QTest::newRow("time and direction are bytes")
        << "0 123 4 11 22 1.5 R" << frames({Frame(0x123, "11 22 00 00").at(1, 500000)});

    QTest::newRow("byte that is no number") << "0 123 2 xx 22 1.5 R" << frames({Frame(0x123, "00 22").at(1, 500000)});
    QTest::newRow("low eight bits of a byte")
        << "0 123 2 1FF 100 1.5 R" << frames({Frame(0x123, "FF 00").at(1, 500000)});
    QTest::newRow("length without flag is decimal")
        << "0 123 010 1 2 3 4 5 6 7 8 9 A 1.5 R" << frames({Frame(0x123, "0102030405060708090A").at(1, 500000)});
    QTest::newRow("length after a flag is octal")
        << "0 123 X 010 1 2 3 4 5 6 7 8 1.5 R" << frames({Frame(0x123, "0102030405060708").at(1, 500000).extended()});
    QTest::newRow("length after a flag is no octal number")
        << "0 123 X 08 1 1.5 R" << frames({Frame(0x123).at(1, 500000).extended()});
    QTest::newRow("length after a flag is hexadecimal")
        << "0 123 X 0x2 1 2 1.5 R" << frames({Frame(0x123, "01 02").at(1, 500000).extended()});
    QTest::newRow("hexadecimal length without flag is a flag")
        << "0 123 0X2 1 2 1.5 R" << frames({Frame(0x123, "02").at(1, 500000).extended()});
    QTest::newRow("flags of two words") << "0 123 X R 1 2 1.5 R" << frames({Frame(0x123).at(1, 500000).extended()});
    QTest::newRow("low eight bits of the length")
        << "0 123 258 11 22 1.5 R" << frames({Frame(0x123, "11 22").at(1, 500000)});
    QTest::newRow("low eight bits of the length after a flag")
        << "0 123 X 256 11 22 1.5 R" << frames({Frame(0x123).at(1, 500000).extended()});

    QTest::newRow("several lines are numbered")
        << "0 123 1 11 1.5 R\nother text\n0 124 1 22 1.6 R\n"
        << frames({Frame(0x123, "11").at(1, 500000), Frame(0x124, "22").at(1, 600000)});
    QTest::newRow("nothing is left of a longer line before")
        << "0 123 X 8 FF FF FF FF FF FF FF FF 1.5 R\n0 124 1 22 1.6 R"
        << frames({Frame(0x123, "FFFFFFFFFFFFFFFF").at(1, 500000).extended(), Frame(0x124, "22").at(1, 600000)});
}

void KvaserCanKingLogTest::linesWithoutFrame_data()
{
    addLineColumns();

    const auto row = [](const char *name, const char *line) {
        QTest::newRow(name) << "0 123 1 11 1.5 R\n%1\n0 124 1 22 2.5 R\n"_s.arg(QString::fromUtf8(line))
                            << frames({Frame(0x123, "11").at(1, 500000), Frame(0x124, "22").at(2, 500000)});
    };
    row("empty", "");
    row("blanks", "       ");
    row("one column", "0");
    row("five columns", "0 123 0 1.5 R");
    row("five columns that lack bytes", "0 123 8 11 22");
    row("five columns with flag that lack bytes", "0 123 X 8 11");
    row("text of five words", "this is how it ends");
    QTest::newRow("header of seven columns is a frame") << "Chn Identifier Flg DLC Data Time Dir\n"
                                                        << frames({Frame(0).at(0, 0)});
    QTest::newRow("text of six words is a frame") << "and this is how it ends" << frames({Frame(0).at(0, 0)});
}

void KvaserCanKingLogTest::radixFollowsTheText_data()
{
    addLineColumns();

    const QString line = "0 100 2 10 20 1.5 R\n"_s;
    const Frames hex = frames({Frame(0x100, "10 20").at(1, 500000)});
    const Frames dec = frames({Frame(100, "0A 14").at(1, 500000)});

    QTest::newRow("digits and upper case only") << line << dec;
    QTest::newRow("header word with small letters") << "Identifier\n"_s + line << hex;
    QTest::newRow("header word after the frame") << line + "Identifier\n"_s << hex;
    QTest::newRow("header of upper case") << "CHN IDENTIFIER FLG DLC\n"_s + line << dec;
    for (const char letter : {'a', 'b', 'c', 'd', 'e', 'f'})
        QTest::addRow("%c alone", letter) << line + QLatin1Char(letter) << hex;
    for (const char letter : {'g', 'z', 'A', 'F', '`', 'x'})
        QTest::addRow("%c is none", letter) << line + QLatin1Char(letter) << dec;
    QTest::newRow("letter that looks like it") << line + "\u0430\uff41\u00e4\u00e9"_s << dec;
    QTest::newRow("small letter in the direction") << "0 100 2 10 20 1.5 Received\n" << hex;
    QTest::newRow("small letter in the data") << "0 100 2 10 2f 1.5 R\n"
                                              << frames({Frame(0x100, "10 2F").at(1, 500000)});
    QTest::newRow("upper-case identifier in decimal") << "0 7FF 2 10 20 1.5 R\n"
                                                      << frames({Frame(0, "0A 14").at(1, 500000)});
    QTest::newRow("upper-case data in decimal") << "0 100 2 AB 20 1.5 R\n"
                                                << frames({Frame(100, "00 14").at(1, 500000)});
    QTest::newRow("decimal data above a byte") << "0 100 2 255 256 1.5 R\n"
                                               << frames({Frame(100, "FF 00").at(1, 500000)});
    QTest::newRow("flag in a decimal file") << "0 100 X 2 10 20 1.5 R\n"
                                            << frames({Frame(100, "0A 14").at(1, 500000).extended()});
    QTest::newRow("no octal in a decimal file") << "0 0100 2 010 020 1.5 R\n" << dec;
    QTest::newRow("the length is not of the radix") << "0 100 10 1 2 3 4 5 6 7 8 9 10 1.5 R Identifier 1.5 R\n"
                                                    << frames({Frame(0x100, "01020304050607080910").at(1, 500000)});
}

void KvaserCanKingLogTest::radixIsLookedForInTheFirstMebibyte_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("filler");

    QTest::newRow("first character") << 0 << true << "x";
    QTest::newRow("last character that counts") << radixReach - 1 << true << "x";
    QTest::newRow("first character that does not count") << radixReach << false << "x";
    // Characters count, not bytes.
    QTest::newRow("last of characters of two bytes") << radixReach - 1 << true << "\u00fc";
    QTest::newRow("beyond characters of two bytes") << radixReach << false << "\u00fc";
    QTest::newRow("last of characters of three bytes") << radixReach - 1 << true << "\u20ac";
    // A character beyond the basic plane is two.
    QTest::newRow("last of surrogates") << radixReach - 2 << true << "\U0001F697";
    QTest::newRow("beyond surrogates") << radixReach << false << "\U0001F697";
    QTest::newRow("last line end") << radixReach - 1 << true << "\n";
    QTest::newRow("beyond line ends") << radixReach << false << "\n";
    QTest::newRow("last of CR LF") << radixReach - 2 << true << "\r\n";
    QTest::newRow("beyond CR LF") << radixReach << false << "\r\n";
}

void KvaserCanKingLogTest::radixIsLookedForInTheFirstMebibyte()
{
    QFETCH(int, position);
    QFETCH(bool, found);
    QFETCH(QString, filler);

    const QString text = filler.repeated(position / filler.size()) + "a\n0 100 1 10 1.5 R\n"_s;
    QCOMPARE(text.indexOf(QLatin1Char('a')), position);
    check(text.toUtf8(), frames({found ? Frame(0x100, "10").at(1, 500000) : Frame(100, "0A").at(1, 500000)}));
}

void KvaserCanKingLogTest::onlyBlanksSeparate_data()
{
    addLineColumns();

    for (const auto &[name, space] : Content::spaces()) {
        if (space.contains(QLatin1Char(' ')))
            continue;
        const Frame next = Frame(0x124, "22").at(2, 500000);
        const QString nextLine = "\n0 124 1 22 2.5 R\n"_s;
        QTest::addRow("%s between the columns", name)
            << "0 123 1 11 1.5 R"_s.replace(QLatin1Char(' '), space) + nextLine << frames({next});
        QTest::addRow("%s joins two columns to one", name)
            << "0"_s + space + "123 1 11 1.5 R"_s + nextLine << frames({next});
        QTest::addRow("%s before and after", name)
            << space + "0 123 1 11 1.5 R"_s + space + nextLine << frames({Frame(0x123, "11").at(1, 500000), next});
        QTest::addRow("%s is a column", name)
            << "0 123 1 11 1.5 "_s + space + space + nextLine << frames({Frame(0x123, "11").at(1, 500000), next});
    }
}

void KvaserCanKingLogTest::timeStamps()
{
    QFETCH(QString, token);
    QFETCH(int, seconds);
    QFETCH(int, microseconds);
    checkLines("0 123 1 11 "_s + token + " R\n"_s, frames({Frame(0x123, "11").at(seconds, microseconds)}));
    checkLines("0 123 X 0 "_s + token + " R\n"_s, frames({Frame(0x123).at(seconds, microseconds).extended()}));
}

void KvaserCanKingLogTest::oddNumbersReadAsQtReadsThem_data()
{
    QTest::addColumn<QString>("token");
    for (const QString &token : Content::oddNumbers() + Content::signedNumbers())
        QTest::newRow(qPrintable(token)) << token;
}

void KvaserCanKingLogTest::oddNumbersReadAsQtReadsThem()
{
    QFETCH(QString, token);

    const QString upperCase = "CHN IDENTIFIER\n"_s;
    for (const QString &head : {header, upperCase}) {
        const int radix = head == header ? 16 : radixOf(token);
        const auto byte = static_cast<char>(token.toUInt(nullptr, radix));
        check((head + "0 "_s + token + " 1 1 1.5 R\n"_s).toUtf8(),
              frames({Frame(token.toUInt(nullptr, radix), "01").at(1, 500000)}));
        check((head + "0 1 2 1 "_s + token + " 1.5 R\n"_s).toUtf8(),
              frames({Frame(1).bytes(QByteArray("\x01") + byte).at(1, 500000)}));
    }

    bool isLength = false;
    const auto length = static_cast<quint8>(token.toUInt(&isLength, 10));
    const QByteArray data(256, '\x5A');
    const QString columns = Content::repeated(data.size(), "5A"_s) + " 1.5 R\n"_s;
    if (isLength)
        checkLines("0 1 "_s + token + columns, frames({Frame(1).bytes(data.left(length)).at(1, 500000)}));
    const auto lengthAfterFlag = static_cast<quint8>(token.toUInt(nullptr, 0));
    checkLines("0 1 R "_s + token + columns, frames({Frame(1).bytes(data.left(lengthAfterFlag)).at(1, 500000)}));
}

void KvaserCanKingLogTest::payloadIsCutAtItsCapacity_data()
{
    QTest::addColumn<int>("count");
    for (const int count : {1, 8, 12, 63, 64, 65, 66, 100, 255})
        QTest::addRow("%d bytes", count) << count;
}

void KvaserCanKingLogTest::payloadIsCutAtItsCapacity()
{
    QFETCH(int, count);

    const QByteArray bytes = Content::countedBytes(count);
    const QString columns = "%1 %2 1.5 R\n"_s.arg(QString::number(count), Content::digits(bytes));
    Frame frame = Frame(0x123).bytes(bytes).at(1, 500000);
    const Frame next = Frame(0x124, "22").at(2, 500000);
    checkLines("0 123 "_s + columns + "0 124 1 22 2.5 R\n"_s, frames({frame, next}));
    checkLines("0 123 X "_s + columns + "0 124 1 22 2.5 R\n"_s, frames({frame.extended(), next}));
}

void KvaserCanKingLogTest::loneCarriageReturnEndsNoLine()
{
    // Nor is it a blank: "R\r0" is one column.
    checkLines("0 123 1 11 1.5 R\r0 124 1 22 2.5 R\n"_s, frames({Frame(0x123, "11").at(2, 500000)}));
}

void KvaserCanKingLogTest::randomLinesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 4; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void KvaserCanKingLogTest::randomLinesReadAsThePlainRulesSay()
{
    QFETCH(quint32, seed);

    RandomLines random(seed,
                       {"0 123 2 11 22 5.25 R"_s, " 0  00000123  X   2  11 22   1.000500 R"_s,
                        "1 18FEF100 X 8 255 254 253 252 251 250 249 248 345.000017 T"_s, "0 100 R 0 1.5 R"_s,
                        "0 7FF 1 0A 1.25 R"_s, "0 123 0 x 1.5 R"_s},
                       Content::oddNumbers() + Content::signedNumbers()
                           + QStringList{"1.5"_s, "1.2.3"_s, "010.25"_s, "."_s, "X"_s, "RX"_s, "x"_s, "R"_s, "0"_s,
                                         "2"_s, "11"_s, "FF"_s, "\t"_s, "\u00a0"_s, Content::repeated(60, "A5"_s)},
                       QLatin1Char(' '));
    compareRandomFiles(800, [&] {
        QString text = random.once(2) ? header : QString();
        for (int i = random.below(30); i > 0; --i)
            text += random.line() + random.end();
        // Without small letters the numbers are decimal.
        return random.once(3) ? text.toUpper() : text;
    });
}

void KvaserCanKingLogTest::storeCalls_data()
{
    addCallColumns();

    const QStringList nothing{Expected::delivered(0)};
    QTest::newRow("empty file") << "" << nothing;
    QTest::newRow("blank lines") << "\n\n\n" << nothing;
    QTest::newRow("header alone") << header << nothing;
    QTest::newRow("one frame") << "0 123 1 11 1.5 R" << QStringList{Expected::delivered(1)};
    QTest::newRow("frames and other lines") << "x\n0 123 1 11 1.5 R\n\n0 123 1 11 1.5 R\nx\n"
                                            << QStringList{Expected::delivered(2)};
}

void KvaserCanKingLogTest::lineCutShortEndsTheImport_data()
{
    addCallColumns();

    const auto row = [](const char *name, const char *text) {
        QTest::newRow(name) << header + QString::fromUtf8(text) << QStringList();
    };
    row("after the third of eight bytes", "0 123 8 11 22 33");
    row("after the third of eight bytes, with flag", "0 123 X 8 11 22 33");
    row("one byte missing", "0 123 4 11 22 33");
    row("one byte missing, with flag", "0 123 X 3 11 22");
    row("time and direction in place of bytes", "0 123 8 11 22 33 44 1.5 R");
    row("among good lines", "0 123 1 11 1.5 R\n0 124 8 11 22 33\n0 125 1 22 1.6 R\n");
    row("in the last line", "0 123 1 11 1.5 R\n0 124 8 11 22 33");
    row("length of 255", "0 123 255 11 22 1.5 R");
    row("low eight bits of the length are 8", "0 123 264 11 22 1.5 R");
    row("length after a flag in hexadecimal", "0 123 X 0x10 11 1.5 R");
    row("header line with numbers", "Bus 1 at 250 kBit and more");
    row("text of seven words with a number", "this is 1000 times more than before");
}

void KvaserCanKingLogTest::cutShortAfterABatch_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QStringList>("calls");

    QTest::newRow("99999 messages are lost") << 99999 << QStringList();
    QTest::newRow("100000 messages stay") << 100000 << QStringList{Expected::delivered(100000)};
    QTest::newRow("100000 messages stay, one is lost") << 100001 << QStringList{Expected::delivered(100000)};
}

void KvaserCanKingLogTest::cutShortAfterABatch()
{
    QFETCH(int, count);
    QFETCH(QStringList, calls);

    const QString text = longLog(count) + "0 123 8 11 22 33\n0 124 1 11 1.5 R\n"_s;
    const LoaderRun run(loader, text.toUtf8());
    QVERIFY(!run.succeeded());
    QCOMPARE(run.store.calls(), calls);
    const Frames messages = run.messages();
    if (!messages.isEmpty()) {
        QCOMPARE(messages.first(), longLogMessage(0));
        QCOMPARE(messages.last(), longLogMessage(99999));
    }
}

void KvaserCanKingLogTest::cutShortRequestFails()
{
    const QString path = QStringLiteral(CANLOG_TEST_DATA "/kvasercankinglog/cut-short.txt");
    RecordingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);
    store.addLoadingSignalsOf(&handler);
    QVERIFY(!handler.loadFile(path, type, QString(), false));
    QCOMPARE(store.calls(), QStringList({Expected::started(), Expected::loading(true), Expected::loading(false),
                                         Expected::finished(false, type, path)}));
    QCOMPARE(handler.getLastErrorText(), QString());

    // The next import knows nothing of it.
    const SampleFile good("0 123 1 11 1.5 R\n");
    store.clear();
    QVERIFY(handler.loadKvaserCanKingLog(good.path()));
    QCOMPARE(store.messages(), frames({Frame(123, "0B").at(1, 500000)}));
}

void KvaserCanKingLogTest::fileThatCannotBeReadTwiceFails()
{
#ifdef Q_OS_LINUX
    int ends[2];
    QCOMPARE(pipe(ends), 0);
    const QByteArray content("0 123 1 11 1.5 R\n0 124 1 22 1.6 R\n");
    QCOMPARE(write(ends[1], content.constData(), static_cast<std::size_t>(content.size())), ssize_t(content.size()));
    close(ends[1]);
    const LoaderRun run(loader, "/dev/fd/%1"_s.arg(ends[0]));
    close(ends[0]);
    QVERIFY(!run.succeeded());
    QCOMPARE(run.store.calls(), QStringList());
#else
    QSKIP("needs a file name for a pipe");
#endif
}

void KvaserCanKingLogTest::messagesComeInBatches()
{
    LongLog log;
    log.lines = [](int number) {
        const QString text = number == 0 ? header : number % 1000 == 0 ? "\nother text\n"_s : QString();
        return text + longLogLine(number);
    };
    log.message = longLogMessage;
    compareBatches(log);
}

void KvaserCanKingLogTest::sampleFiles_data()
{
    QTest::addColumn<Frames>("expected");

    QTest::newRow("hexadecimal.txt") << frames({
        Frame(0x123, "11 22").at(0, 120),
        Frame(0x18FEF100, "FF FF FF 7D FF FF FF FF").at(0, 100350).extended(),
        Frame(0x321).at(12, 5),
    });
    QTest::newRow("decimal.txt") << frames({
        Frame(291, "11 22").at(0, 120),
        Frame(2047, "01 FF 00").at(0, 500000).extended(),
    });
    QTest::newRow("windows-line-ends.txt") << frames({
        Frame(0x123, "11 22").at(5, 250000),
        Frame(0x124, "AB").at(6, 500000).extended(),
    });
}

void KvaserCanKingLogTest::sampleFiles()
{
    QFETCH(Frames, expected);
    check(samplePath("kvasercankinglog"), expected);
}

QTEST_GUILESS_MAIN(KvaserCanKingLogTest)
#include "tst_kvasercankinglog.moc"
