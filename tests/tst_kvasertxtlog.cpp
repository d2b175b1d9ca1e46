// SPDX-License-Identifier: Apache-2.0
#include "loadertest.h"

using CAN::CanRxMessage;

namespace
{

/*
 * The rules of the format once more, with Qt's plain operations and no thought of speed: what the loader must make of
 * any text, however odd.
 */
bool isDecimal(const QString &headerLine)
{
    return headerLine.split(QLatin1Char(':')).at(1).simplified().contains(QLatin1String("DEC"));
}

bool readFrame(const QString &line, int idRadix, int dataRadix, CanRxMessage &message)
{
    QStringList columns = Plain::tokens(line);
    int length = 4;
    if (columns.size() < 5 || line.contains(QLatin1String("ErrorFrame")))
        return false;
    if (!Plain::isNumber(columns.at(4), 10)) {
        length = 5;
        if (columns.size() < 6)
            return false;
    }
    message = CanRxMessage();
    message.timeStamp = Plain::time(columns.at(0));
    message.id = Plain::number(columns.at(2), idRadix);
    message.dlc = Plain::byte(columns.at(length), 10);
    columns.removeLast();
    for (int i = length + 1; i < columns.size(); ++i)
        Plain::storeByte(message, i - length - 1, columns.at(i), dataRadix);
    return true;
}

void readPlainly(QTextStream &stream, PlainImport &import)
{
    int idRadix = 16;
    int dataRadix = 16;
    bool inData = false;
    while (!stream.atEnd()) {
        const QString line = stream.readLine();
        CanRxMessage message;
        if (inData) {
            if (readFrame(line, idRadix, dataRadix, message)) {
                message.messageIndex = import.nextIndex();
                import.add(message, line);
            }
            continue;
        }
        if (line.contains(QLatin1String("Format of data field:")) && isDecimal(line))
            dataRadix = 10;
        if (line.contains(QLatin1String("Format of id field:")) && isDecimal(line))
            idRadix = 10;
        inData = line.contains(QLatin1String("Trigger"));
    }
    import.deliver();
}

const QString header = "Kvaser log\nFormat of data field: HEX\nFormat of id field:   HEX\nTrigger at 0.0\n"_s;

QString headerOf(const char *dataFormat, const char *idFormat)
{
    return "Format of data field: %1\nFormat of id field: %2\nTrigger\n"_s.arg(QLatin1String(dataFormat),
                                                                               QLatin1String(idFormat));
}

/// Lines that differ in everything, in changing lengths.
QByteArray payload(int number)
{
    QByteArray bytes;
    for (int i = 0; i < number % 9; ++i)
        bytes.append(static_cast<char>(number + i + 1));
    return bytes;
}

quint32 identifier(int number)
{
    return static_cast<quint32>(number) * 2654435761U & 0x1FFFFFFF;
}

} // namespace

class KvaserTxtLogTest : public LoaderTest
{
    Q_OBJECT

public:
    KvaserTxtLogTest()
        : LoaderTest(&CANLogHandler::loadKvaserTxtLog, DatachunkHelper::KvaserTxtLog, readPlainly,
                     {header, "1.5 1 123 0 2 11 22 R"_s, "2.25 1 18FEF100 0 1 AB 7 R"_s,
                      frames({Frame(0x123, "11 22").at(1, 500000), Frame(0x18FEF100, "AB 07").dlc(1).at(2, 250000)})})
    {
    }

private Q_SLOTS:
    void frameLines_data();
    void frameLines() { compareLines(); }
    void linesWithoutFrame_data();
    void linesWithoutFrame() { compareLines(); }
    void headerSaysTheRadix_data();
    void headerSaysTheRadix() { compareTexts(); }
    void headerEndsAtTheTrigger_data();
    void headerEndsAtTheTrigger() { compareTexts(); }

    void timeStamps_data() { addTimes(0, 99); }
    void timeStamps();
    void oddNumbersReadAsQtReadsThem_data();
    void oddNumbersReadAsQtReadsThem();
    void payloadIsCutAtItsCapacity_data();
    void payloadIsCutAtItsCapacity();

    void anyWhiteSpaceSeparates_data() { addWhiteSpace(); }
    void anyWhiteSpaceSeparates() { compareLines(); }
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
    void messagesComeInBatches_data() { addBatchSizes(); }
    void messagesComeInBatches();
    void requestsReachTheLoader() { checkRequests(); }
    void fileThatCannotBeOpenedFails_data() { addUnreadablePaths(); }
    void fileThatCannotBeOpenedFails() { checkUnreadablePath(); }
    void sampleFiles_data();
    void sampleFiles();
};

void KvaserTxtLogTest::frameLines_data()
{
    addLineColumns();

    QTest::newRow("two bytes") << "1.5 1 123 0 2 11 22 R" << frames({Frame(0x123, "11 22").at(1, 500000)});
    QTest::newRow("columns apart") << "   1.500000  1    123    0    2   11  22      R  "
                                   << frames({Frame(0x123, "11 22").at(1, 500000)});
    QTest::newRow("eight bytes") << "0.000120 2 7FF 0 8 00 11 22 33 44 55 66 FF T"
                                 << frames({Frame(0x7FF, "00 11 22 33 44 55 66 FF").at(0, 120)});
    QTest::newRow("flags of two words") << "1.5 1 123 Rx Std 2 11 22 R"
                                        << frames({Frame(0x123, "11 22").at(1, 500000)});
    QTest::newRow("flags of one word") << "1.5 1 123 Rx 2 11 22 R" << frames({Frame(0x123, "11 22").at(1, 500000)});
    // The second word of the flags is taken for the length when it is a number.
    QTest::newRow("flags of two words, the second a number")
        << "1.5 1 123 Rx 4 2 11 22 R" << frames({Frame(0x123, "02 11 22").dlc(4).at(1, 500000)});
    QTest::newRow("flags of three words")
        << "1.5 1 123 Rx Std x 2 11 22 R" << frames({Frame(0x123, "02 11 22").dlc(0).at(1, 500000)});
    QTest::newRow("channel and flags are not read")
        << "1.5 FFFFF 123 9999999999 2 11 22 R" << frames({Frame(0x123, "11 22").at(1, 500000)});
    QTest::newRow("extended, remote and direction are not marked")
        << "1.5 1 18FEF100 X 0 T\n2.5 1 123x Rx R 0 R"
        << frames({Frame(0x18FEF100).at(1, 500000), Frame(0).at(2, 500000)});

    QTest::newRow("no bytes") << "1.5 1 123 0 0 R" << frames({Frame(0x123).at(1, 500000)});
    QTest::newRow("last column is a byte and lost")
        << "1.5 1 123 0 2 11 22" << frames({Frame(0x123, "11").dlc(2).at(1, 500000)});
    QTest::newRow("two columns after the bytes")
        << "1.5 1 123 0 2 11 22 33 R" << frames({Frame(0x123, "11 22 33").dlc(2).at(1, 500000)});
    QTest::newRow("fewer bytes than the length")
        << "1.5 1 123 0 8 11 22 R" << frames({Frame(0x123, "11 22").dlc(8).at(1, 500000)});
    QTest::newRow("bytes without length")
        << "1.5 1 123 0 0 11 22 R" << frames({Frame(0x123, "11 22").dlc(0).at(1, 500000)});
    QTest::newRow("byte that is no number")
        << "1.5 1 123 0 3 11 xx 33 R" << frames({Frame(0x123, "11 00 33").at(1, 500000)});
    QTest::newRow("low eight bits of a byte")
        << "1.5 1 123 0 2 1FF 100 R" << frames({Frame(0x123, "FF 00").at(1, 500000)});
    QTest::newRow("length is decimal") << "1.5 1 123 0 10 R" << frames({Frame(0x123).dlc(10).at(1, 500000)});
    QTest::newRow("length with leading zero is decimal")
        << "1.5 1 123 0 010 R" << frames({Frame(0x123).dlc(10).at(1, 500000)});
    QTest::newRow("low eight bits of the length")
        << "1.5 1 123 0 258 11 22 R" << frames({Frame(0x123, "11 22").at(1, 500000)});
    QTest::newRow("length above the payload")
        << "1.5 1 123 0 200 11 R" << frames({Frame(0x123, "11").dlc(200).at(1, 500000)});
    QTest::newRow("length that is no number in both columns")
        << "1.5 1 123 0 a b 11 22 R" << frames({Frame(0x123, "11 22").dlc(0).at(1, 500000)});
    QTest::newRow("five columns") << "1.5 1 123 0 2" << frames({Frame(0x123).dlc(2).at(1, 500000)});
    QTest::newRow("six columns with flags of two words")
        << "1.5 1 123 Rx Std 2" << frames({Frame(0x123).dlc(2).at(1, 500000)});

    QTest::newRow("several lines are numbered")
        << "1.5 1 123 0 1 11 R\n1.6 1 124 0 1 22 R\n1.7 1 125 0 1 33 R\n"
        << frames(
               {Frame(0x123, "11").at(1, 500000), Frame(0x124, "22").at(1, 600000), Frame(0x125, "33").at(1, 700000)});
    QTest::newRow("nothing is left of a longer line before")
        << "1.5 1 123 0 8 FF FF FF FF FF FF FF FF R\n1.6 1 124 0 1 22 R"
        << frames({Frame(0x123, "FFFFFFFFFFFFFFFF").at(1, 500000), Frame(0x124, "22").at(1, 600000)});
    // After the trigger a header line is a line like any other.
    QTest::newRow("header line among the frames")
        << "Format of data field: DEC\nFormat of id field: DEC\n1.5 1 10 0 1 10 R\nTrigger\n"
        << frames({Frame(0x10, "10").at(1, 500000)});
}

void KvaserTxtLogTest::linesWithoutFrame_data()
{
    addLineColumns();

    const auto row = [](const char *name, const char *line) {
        QTest::newRow(name) << "1.5 1 123 0 1 11 R\n%1\n2.5 1 124 0 1 22 R\n"_s.arg(QString::fromUtf8(line))
                            << frames({Frame(0x123, "11").at(1, 500000), Frame(0x124, "22").at(2, 500000)});
    };
    row("empty", "");
    row("blanks", " \t ");
    row("error frame", "1.7 1 ErrorFrame");
    row("error frame with more columns", "1.7 1 123 ErrorFrame 2 11 22 R");
    row("error frame in the last column", "1.7 1 123 0 2 11 22 ErrorFrame");
    row("error frame within a word", "1.7 1 123 0 2 11 22 xErrorFramex R");
    // Lines that lack the columns up to the length.
    row("one column", "1.5");
    row("two columns", "1.5 1");
    row("three columns", "1.5 1 123");
    row("four columns", "1.5 1 123 0");
    row("five columns without length", "1.5 1 123 Rx Std");
    QTest::newRow("an error frame of another spelling is a frame")
        << "1.7 1 123 errorframe 1 11 R" << frames({Frame(0x123, "11").at(1, 700000)});
    QTest::newRow("an error frame of two words is a frame")
        << "1.7 1 123 Error Frame 1 11 R" << frames({Frame(0x123, "11").at(1, 700000)});
}

void KvaserTxtLogTest::headerSaysTheRadix_data()
{
    addLineColumns();

    const QString line = "1.5 1 100 0 2 10 20 R\n"_s;
    const Frames bothHex = frames({Frame(0x100, "10 20").at(1, 500000)});
    const Frames bothDec = frames({Frame(100, "0A 14").at(1, 500000)});
    const Frames dataDec = frames({Frame(0x100, "0A 14").at(1, 500000)});
    const Frames idDec = frames({Frame(100, "10 20").at(1, 500000)});

    QTest::newRow("neither is said") << "Trigger\n"_s + line << bothHex;
    QTest::newRow("both hexadecimal") << headerOf("HEX", "HEX") + line << bothHex;
    QTest::newRow("both decimal") << headerOf("DEC", "DEC") + line << bothDec;
    QTest::newRow("data decimal, identifier hexadecimal") << headerOf("DEC", "HEX") + line << dataDec;
    QTest::newRow("data hexadecimal, identifier decimal") << headerOf("HEX", "DEC") + line << idDec;
    QTest::newRow("data decimal alone") << "Format of data field: DEC\nTrigger\n"_s + line << dataDec;
    QTest::newRow("identifier decimal alone") << "Format of id field: DEC\nTrigger\n"_s + line << idDec;
    QTest::newRow("other order") << "Format of id field: DEC\nFormat of data field: HEX\nTrigger\n"_s + line << idDec;
    QTest::newRow("columns in the header") << "   Format of data field:\t  DEC  \nTrigger\n"_s + line << dataDec;
    QTest::newRow("within another word") << "Format of data field:xDECIMALx\nTrigger\n"_s + line << dataDec;
    QTest::newRow("no blank") << "Format of data field:DEC\nTrigger\n"_s + line << dataDec;
    QTest::newRow("text around") << "-- Format of data field: DEC --\nTrigger\n"_s + line << dataDec;
    QTest::newRow("other case of the format") << "Format of data field: dec\nTrigger\n"_s + line << bothHex;
    QTest::newRow("other case of the name") << "format of data field: DEC\nTrigger\n"_s + line << bothHex;
    QTest::newRow("other spacing of the name") << "Format of data  field: DEC\nTrigger\n"_s + line << bothHex;
    QTest::newRow("blank before the colon") << "Format of data field : DEC\nTrigger\n"_s + line << bothHex;
    QTest::newRow("after the second colon") << "Format of data field: HEX: DEC\nTrigger\n"_s + line << bothHex;
    QTest::newRow("between the colons") << "Format of data field: DEC: HEX\nTrigger\n"_s + line << dataDec;
    QTest::newRow("nothing after the colon") << "Format of data field:\nTrigger\n"_s + line << bothHex;
    QTest::newRow("nothing between the colons") << "Format of data field:: DEC\nTrigger\n"_s + line << bothHex;
    // The piece after the first colon decides, wherever the name stands.
    QTest::newRow("earlier colon, decimal") << "1: DEC, Format of data field: HEX\nTrigger\n"_s + line << dataDec;
    QTest::newRow("earlier colon, hexadecimal") << "1: Format of data field: DEC\nTrigger\n"_s + line << bothHex;
    QTest::newRow("both in one line") << "Format of data field: DEC, Format of id field: HEX\nTrigger\n"_s + line
                                      << bothDec;
    QTest::newRow("both in one line, hexadecimal")
        << "Format of data field: HEX, Format of id field: DEC\nTrigger\n"_s + line << bothHex;
    // Once decimal it stays so.
    QTest::newRow("decimal, then hexadecimal")
        << "Format of data field: DEC\nFormat of data field: HEX\nTrigger\n"_s + line << dataDec;
    QTest::newRow("hexadecimal, then decimal")
        << "Format of data field: HEX\nFormat of data field: DEC\nTrigger\n"_s + line << dataDec;
    QTest::newRow("identifier decimal, then hexadecimal")
        << "Format of id field: DEC\nFormat of id field: HEX\nTrigger\n"_s + line << idDec;

    QTest::newRow("hexadecimal digits in decimal columns")
        << headerOf("DEC", "DEC") + "1.5 1 1F 0 3 10 A 256 R\n"_s << frames({Frame(0, "0A 00 00").at(1, 500000)});
    QTest::newRow("leading zeros in decimal columns")
        << headerOf("DEC", "DEC") + "1.5 1 0100 0 2 010 0300 R\n"_s << frames({Frame(100, "0A 2C").at(1, 500000)});
    QTest::newRow("prefix in decimal columns")
        << headerOf("DEC", "DEC") + "1.5 1 0x10 0 2 0x10 08 R\n"_s << frames({Frame(0, "00 08").at(1, 500000)});
}

void KvaserTxtLogTest::headerEndsAtTheTrigger_data()
{
    addLineColumns();

    const QString line = "1.5 1 10 0 1 10 R\n"_s;
    const Frames one = frames({Frame(0x10, "10").at(1, 500000)});

    QTest::newRow("no trigger line") << "Format of data field: HEX\n"_s + line + line << frames();
    QTest::newRow("trigger line alone") << "Trigger\n" << frames();
    QTest::newRow("trigger line without end") << "Trigger" << frames();
    QTest::newRow("trigger in the first line") << "Trigger\n"_s + line << one;
    QTest::newRow("frame lines before the trigger") << line + line + "Trigger\n"_s + line << one;
    QTest::newRow("trigger within a word") << "PreTriggerTime\n"_s + line << one;
    QTest::newRow("frame line that is the trigger line") << "1.5 1 10 0 1 10 Trigger\n1.5 1 10 0 1 10 R\n" << one;
    QTest::newRow("other case") << "trigger\n"_s + line + "TRIGGER\n"_s + line << frames();
    QTest::newRow("second trigger is a line without frame") << "Trigger\n"_s + line + "Trigger\n"_s << one;
    QTest::newRow("second trigger in a frame line") << "Trigger\n1.5 1 10 0 1 10 Trigger\n" << one;
    QTest::newRow("trigger and identifier format in one line")
        << "Trigger, Format of id field: DEC\n"_s + line << frames({Frame(10, "10").at(1, 500000)});
    QTest::newRow("identifier format and trigger in one line")
        << "Format of id field: DEC Trigger\n"_s + line << frames({Frame(10, "10").at(1, 500000)});
    QTest::newRow("data format and trigger in one line")
        << "Format of data field: DEC Trigger\n"_s + line << frames({Frame(0x10, "0A").at(1, 500000)});
    QTest::newRow("format after the trigger") << "Trigger\nFormat of id field: DEC\n"_s + line << one;
    QTest::newRow("error frame in the header") << "ErrorFrame Trigger\n"_s + line << one;
}

void KvaserTxtLogTest::timeStamps()
{
    QFETCH(QString, token);
    QFETCH(int, seconds);
    QFETCH(int, microseconds);
    checkLines(token + " 1 123 0 1 11 R\n"_s, frames({Frame(0x123, "11").at(seconds, microseconds)}));
}

void KvaserTxtLogTest::oddNumbersReadAsQtReadsThem_data()
{
    QTest::addColumn<QString>("token");
    for (const QString &token : Content::oddNumbers() + Content::signedNumbers())
        QTest::newRow(qPrintable(token)) << token;
}

void KvaserTxtLogTest::oddNumbersReadAsQtReadsThem()
{
    QFETCH(QString, token);

    for (const int radix : {16, 10}) {
        const QString head = headerOf(radix == 10 ? "DEC" : "HEX", radix == 10 ? "DEC" : "HEX");
        const auto byte = static_cast<char>(token.toUInt(nullptr, radix));
        check((head + "1.5 1 "_s + token + " 0 1 1 R\n"_s).toUtf8(),
              frames({Frame(token.toUInt(nullptr, radix), "01").at(1, 500000)}));
        check((head + "1.5 1 1 0 2 1 "_s + token + " R\n"_s).toUtf8(),
              frames({Frame(1).bytes(QByteArray("\x01") + byte).at(1, 500000)}));
    }

    bool isLength = false;
    const auto length = static_cast<quint8>(token.toUInt(&isLength, 10));
    checkLines("1.5 1 1 0 "_s + token + " 3 4 R\n"_s, isLength ? frames({Frame(1, "03 04").dlc(length).at(1, 500000)})
                                                               : frames({Frame(1, "04").dlc(3).at(1, 500000)}));
    checkLines("1.5 1 1 0 x "_s + token + " 3 4 R\n"_s, frames({Frame(1, "03 04").dlc(length).at(1, 500000)}));
}

void KvaserTxtLogTest::payloadIsCutAtItsCapacity_data()
{
    QTest::addColumn<int>("count");
    for (const int count : {1, 8, 12, 63, 64, 65, 66, 100, 255, 256, 300})
        QTest::addRow("%d bytes", count) << count;
}

void KvaserTxtLogTest::payloadIsCutAtItsCapacity()
{
    QFETCH(int, count);

    const QByteArray bytes = Content::countedBytes(count);
    const QString columns = "%1 %2 R\n"_s.arg(QString::number(count), Content::digits(bytes));
    const Frame frame = Frame(0x123).bytes(bytes.left(64)).dlc(static_cast<quint8>(count)).at(1, 500000);
    const Frame next = Frame(0x124, "22").at(2, 500000);
    checkLines("1.5 1 123 0 "_s + columns + "2.5 1 124 0 1 22 R\n"_s, frames({frame, next}));
    checkLines("1.5 1 123 Rx Std "_s + columns + "2.5 1 124 0 1 22 R\n"_s, frames({frame, next}));
}

void KvaserTxtLogTest::loneCarriageReturnEndsNoLine()
{
    checkLines("1.5 1 123 0 1 11 R\r2.5 1 124 0 1 22 R\n"_s,
               frames({Frame(0x123, "11 00 00 01 24 00 01 22").dlc(1).at(1, 500000)}));
    // The line with the trigger takes the first frame with it.
    check(QByteArray("Trigger\r1.5 1 123 0 1 11 R\n2.5 1 124 0 1 22 R\n"), frames({Frame(0x124, "22").at(2, 500000)}));
}

void KvaserTxtLogTest::randomLinesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 4; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void KvaserTxtLogTest::randomLinesReadAsThePlainRulesSay()
{
    QFETCH(quint32, seed);

    RandomLines random(seed,
                       {"1.500000 1 123 0 2 11 22 R"_s, "  2.5  2  7FF  Rx Std  8  0 1 2 3 4 5 6 7  T"_s,
                        "345.000017 1 18FEF100 0 8 255 254 253 252 251 250 249 248 12 R"_s, "0.25 1 100 0 0 R"_s,
                        "1.5 1 ErrorFrame 0 0 R"_s},
                       Content::oddNumbers() + Content::signedNumbers()
                           + QStringList{"1.5"_s, "1.2.3"_s, "010.25"_s, "."_s, "Rx"_s, "Std"_s, "2"_s, "11"_s, "FF"_s,
                                         "ErrorFrame"_s, "Trigger"_s, "Format of id field: DEC"_s, "\u00a0"_s,
                                         Content::repeated(60, "A5"_s)},
                       QLatin1Char(' '));
    const QStringList headerLines{"Format of data field: DEC"_s,
                                  "Format of data field: HEX"_s,
                                  "Format of id field: DEC"_s,
                                  "Format of id field: HEX"_s,
                                  "Format of id field:"_s,
                                  "Start: DEC Format of data field:"_s,
                                  "Format of id field: DEC Trigger"_s,
                                  "Version: 1"_s};
    compareRandomFiles(200, [&] {
        QString text;
        for (int i = random.below(5); i > 0; --i)
            text += (random.once(4) ? random.line() : random.anyOf(headerLines)) + random.end();
        if (!random.once(8))
            text += "Trigger"_s + random.end();
        for (int i = random.below(100); i > 0; --i)
            text += random.line() + random.end();
        return text;
    });
}

void KvaserTxtLogTest::storeCalls_data()
{
    addCallColumns();

    const QStringList nothing{Expected::delivered(0)};
    QTest::newRow("empty file") << "" << nothing;
    QTest::newRow("blank lines") << "\n\n\n" << nothing;
    QTest::newRow("header alone") << header << nothing;
    QTest::newRow("no trigger") << "1.5 1 123 0 1 11 R\n" << nothing;
    QTest::newRow("lines without frame") << header + "x\n\nErrorFrame\n"_s << nothing;
    QTest::newRow("one frame") << header + "1.5 1 123 0 1 11 R"_s << QStringList{Expected::delivered(1)};
    QTest::newRow("frames and other lines")
        << header + "1.5 1 123 0 1 11 R\nx\n1.5 1 123 0 1 11 R\n\n"_s << QStringList{Expected::delivered(2)};
}

void KvaserTxtLogTest::messagesComeInBatches()
{
    LongLog log;
    log.lines = [](int number) {
        const QByteArray bytes = payload(number);
        const QString text = number == 0 ? header : number % 1000 == 0 ? "\nErrorFrame\n"_s : QString();
        return text
               + "%1.%2 1 %3 0 %4 %5 R\n"_s.arg(
                   QString::number(number), QString::number(number % 1000000).rightJustified(6, QLatin1Char('0')),
                   QString::number(identifier(number), 16), QString::number(bytes.size()), Content::digits(bytes));
    };
    log.message = [](int number) -> CanRxMessage {
        return Frame(identifier(number))
            .bytes(payload(number))
            .at(number, number % 1000000)
            .index(static_cast<quint32>(number));
    };
    compareBatches(log);
}

void KvaserTxtLogTest::sampleFiles_data()
{
    QTest::addColumn<Frames>("expected");

    QTest::newRow("hexadecimal.txt") << frames({
        Frame(0x123, "11 22 33 44").at(0, 120),
        Frame(0x18FEF100, "FF FF FF 7D FF FF FF FF").at(0, 100350),
        Frame(0x7FF).at(1, 0),
        Frame(0x321, "AB").at(12, 5),
    });
    QTest::newRow("decimal-data.txt") << frames({
        Frame(0x100, "0A 14 FF").at(0, 500000),
        Frame(0x200, "64").at(1, 500000),
    });
    QTest::newRow("decimal-identifiers.txt") << frames({
        Frame(291, "11 22").at(0, 1),
        Frame(2047, "80").at(0, 2),
    });
    QTest::newRow("error-frames.txt") << frames({
        Frame(0x10, "01").at(1, 0),
        Frame(0x11, "02").at(2, 0),
    });
    QTest::newRow("flags-of-two-words.txt") << frames({
        Frame(0x10, "01 02").at(1, 0),
        Frame(0x11, "03 04").at(2, 0),
    });
    QTest::newRow("windows-line-ends.txt") << frames({
        Frame(0x10, "01 02").at(1, 0),
        Frame(0x11, "03 04").at(2, 0),
    });
}

void KvaserTxtLogTest::sampleFiles()
{
    QFETCH(Frames, expected);
    check(samplePath("kvasertxtlog"), expected);
}

QTEST_GUILESS_MAIN(KvaserTxtLogTest)
#include "tst_kvasertxtlog.moc"
