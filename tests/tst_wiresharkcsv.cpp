// SPDX-License-Identifier: Apache-2.0
#include "loadertest.h"

using CAN::CanRxMessage;

namespace
{

/// The identifier of every error frame.
constexpr quint32 errorFrameId = 0xFFFF00EF;

/*
 * The rules of the format once more, with Qt's plain operations and no thought of speed: what the loader must make of
 * any text, however odd.
 */
bool readFrame(const QStringList &columns, CanRxMessage &message)
{
    message = CanRxMessage();
    message.messageIndex = Plain::number(columns.at(0), 10);
    QString time = columns.at(1);
    message.timeStamp = Plain::time(time.remove(QLatin1Char('(')).remove(QLatin1Char(')')));
    message.isFd = columns.at(4) == QLatin1String("CANFD");
    const QString info = columns.last();
    if (info.contains(QLatin1String("STD"))) {
        QStringList pieces = info.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (pieces.size() > 1)
            message.id = Plain::number(pieces.at(1), 16);
        int count = 0;
        for (const QString &piece : pieces.mid(2)) {
            if (!Plain::isNumber(piece, 16))
                break;
            Plain::storeByte(message, count++, piece, 16);
        }
        message.dlc = static_cast<quint8>(count);
        return true;
    }
    message.id = errorFrameId;
    return info.contains(QLatin1String("ERR"));
}

QStringList columnsOf(const QString &line)
{
    return line.simplified().remove(QLatin1Char('"')).split(QLatin1Char(','));
}

void readPlainly(QTextStream &stream, PlainImport &import)
{
    bool fdSeen = false;
    while (!stream.atEnd()) {
        const QString line = stream.readLine();
        const QStringList columns = columnsOf(line);
        if (line.contains(QLatin1String("Info")) || columns.size() < 5)
            continue;
        CanRxMessage message;
        if (readFrame(columns, message))
            import.add(message, line);
        if (columns.at(4) == QLatin1String("CANFD"))
            fdSeen = true;
    }
    import.deliver();
    if (fdSeen)
        import.calls.append(Expected::fd(true));
}

const QString header = "\"No.\",\"Time\",\"Source\",\"Destination\",\"Protocol\",\"Length\",\"Info\"\n"_s;

QString packet(const QString &number, const QString &time, const QString &protocol, const QString &info)
{
    return "\"%1\",\"%2\",\"\",\"\",\"%3\",\"16\",\"%4\"\n"_s.arg(number, time, protocol, info);
}

/// A classic packet 1 at 1.5 s with that info.
QString infoLine(const QString &info)
{
    return packet("1"_s, "1.5"_s, "CAN"_s, info);
}

/// What becomes of it.
Frame infoFrame(quint32 id, const char *payload = "")
{
    return Frame(id, payload).at(1, 500000).index(1);
}

/// Of a long log: bytes in changing lengths.
QByteArray payload(int number)
{
    QByteArray bytes;
    for (int i = 0; i < number % 13; ++i)
        bytes.append(static_cast<char>(number + i + 1));
    return bytes;
}

} // namespace

class WiresharkCsvTest : public LoaderTest
{
    Q_OBJECT

public:
    WiresharkCsvTest()
        : LoaderTest(
            &CANLogHandler::loadWiresharkCSV, DatachunkHelper::WiresharkCsv, readPlainly,
            {header, R"("1","1.5","","","CAN","16","STD: 0x00000123   11 22 33")"_s,
             R"("4","2.25","","","CANFD","72","STD: 0x000007ff   ab")"_s,
             frames({Frame(0x123, "11 22 33").at(1, 500000).index(1), Frame(0x7FF, "AB").at(2, 250000).index(4).fd()})})
    {
    }

private Q_SLOTS:
    void packets_data();
    void packets() { compareLines(); }
    void infoTexts_data();
    void infoTexts();
    void linesWithoutFrame_data();
    void linesWithoutFrame() { compareLines(); }
    void packetNumbersAreKept_data();
    void packetNumbersAreKept() { compareLines(); }

    void timeStamps_data() { addTimes(0, 99); }
    void timeStamps();
    void timesInParentheses_data();
    void timesInParentheses();
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
    void fdFramesAreToldAfterTheLastBatch();
    void requestsReachTheLoader() { checkRequests(); }
    void fileThatCannotBeOpenedFails_data() { addUnreadablePaths(); }
    void fileThatCannotBeOpenedFails() { checkUnreadablePath(); }
    void sampleFiles_data();
    void sampleFiles();
};

void WiresharkCsvTest::packets_data()
{
    addLineColumns();

    QTest::newRow("classic frame") << R"("1","0.000000","","","CAN","16","STD: 0x00000123   11 22 33")"
                                   << frames({Frame(0x123, "11 22 33").index(1)});
    QTest::newRow("CAN FD frame")
        << R"("1","0.000000","","","CANFD","72","STD: 0x00000123   00 01 02 03 04 05 06 07 08 09 0a 0b")"
        << frames({Frame(0x123, "000102030405060708090A0B").index(1).fd()});
    QTest::newRow("no quotes") << "1,1.5,,,CAN,16,STD: 0x00000123   11 22 33" << frames({infoFrame(0x123, "11 22 33")});
    QTest::newRow("quotes anywhere") << R"("""1",1"."5,,,""CAN,16,"ST"D: 0x""123 1"1 22 "33)"
                                     << frames({infoFrame(0x123, "11 22 33")});
    QTest::newRow("a quote within an info splits nothing")
        << R"(1,1.5,,,CAN,16,STD:" "0x123" 11)" << frames({infoFrame(0x123, "11")});
    QTest::newRow("source, destination and length are not read")
        << R"("1","1.5","STD","ERR","CAN","x","STD: 0x123 11")" << frames({infoFrame(0x123, "11")});
    QTest::newRow("blanks around the line")
        << R"(   "1","1.5","","","CAN","16","STD: 0x123 11"   )" << frames({infoFrame(0x123, "11")});
    QTest::newRow("blanks in number and time")
        << R"(" 1 "," 1.5 ","","","CAN","16","STD: 0x123 11")"
        << frames({Frame(0x123, "11")
                       .at(" 1"_s.toInt(nullptr, 0), "5 0000"_s.toInt(nullptr, 10))
                       .index(" 1 "_s.toUInt(nullptr, 10))});
    QTest::newRow("two lines") << R"("1","1.5","","","CAN","16","STD: 0x123 11")"
                                  "\n"
                                  R"("2","1.6","","","CAN","16","STD: 0x124 22")"
                               << frames({infoFrame(0x123, "11"), Frame(0x124, "22").at(1, 600000).index(2)});

    // The protocol.
    const auto protocol = [](const char *name, const char *text, bool isFd) {
        Frame frame = infoFrame(0x123, "11");
        if (isFd)
            frame.fd();
        QTest::newRow(name) << packet("1"_s, "1.5"_s, QString::fromUtf8(text), "STD: 0x123 11"_s) << frames({frame});
    };
    protocol("protocol CANFD", "CANFD", true);
    protocol("protocol CAN", "CAN", false);
    protocol("small letters", "canfd", false);
    protocol("blank after it", "CANFD ", false);
    protocol("blank before it", " CANFD", false);
    protocol("more text after it", "CANFDX", false);
    protocol("more text before it", "XCANFD", false);
    protocol("blank within", "CAN FD", false);
    protocol("other protocol", "ISO-TP", false);
    protocol("none", "", false);
    QTest::newRow("CANFD in another column")
        << R"("1","1.5","CANFD","CANFD","CAN","CANFD","STD: 0x123 11")" << frames({infoFrame(0x123, "11")});
    QTest::newRow("comma within a quoted field shifts the protocol")
        << R"("1","1.5","a,b","","CANFD","16","STD: 0x123 11")" << frames({infoFrame(0x123, "11")});
    QTest::newRow("comma within a quoted field shifts the protocol to its place")
        << R"("1","1.5","a,b","CANFD","16","STD: 0x123 11")" << frames({infoFrame(0x123, "11").fd()});

    QTest::newRow("more columns: the last is the info")
        << R"("1","1.5","","","CAN","16","STD: 0x7FF 22","STD: 0x123 11")" << frames({infoFrame(0x123, "11")});
    QTest::newRow("six columns") << R"("1","1.5","","","CAN","STD: 0x123 11")" << frames({infoFrame(0x123, "11")});
    QTest::newRow("five columns: protocol and info are one")
        << R"("1","1.5","","","STD: 0x123 11")" << frames({infoFrame(0x123, "11")});
    QTest::newRow("nothing is left of a dropped line") << R"("7","9.9","","","CANFD","16","XTD: 0x1FFFFFFF FF FF FF")"
                                                          "\n"
                                                          R"("1","1.5","","","CAN","16","STD: 0x123 11")"
                                                       << frames({infoFrame(0x123, "11")});
    QTest::newRow("nothing is left of a longer line")
        << R"("1","1.5","","","CANFD","16","STD: 0x123 FF FF FF")"
           "\n"
           R"("2","2.5","","","CAN","16","STD: 0x124 11")"
        << frames({infoFrame(0x123, "FF FF FF").fd(), Frame(0x124, "11").at(2, 500000).index(2)});
}

void WiresharkCsvTest::infoTexts_data()
{
    QTest::addColumn<QString>("info");
    QTest::addColumn<Frames>("expected");

    QTest::newRow("three bytes") << "STD: 0x00000123   11 22 33" << frames({infoFrame(0x123, "11 22 33")});
    QTest::newRow("no bytes") << "STD: 0x00000123   " << frames({infoFrame(0x123)});
    QTest::newRow("eight bytes") << "STD: 0x000007ff   00 11 22 33 44 55 66 ff"
                                 << frames({infoFrame(0x7FF, "00 11 22 33 44 55 66 FF")});
    QTest::newRow("upper-case digits") << "STD: 0x000007FF   AB" << frames({infoFrame(0x7FF, "AB")});
    QTest::newRow("identifier without prefix") << "STD: 123 11" << frames({infoFrame(0x123, "11")});
    QTest::newRow("identifier above eleven bits is not marked")
        << "STD: 0x18fef100 11" << frames({infoFrame(0x18FEF100, "11")});
    QTest::newRow("identifier that is no number") << "STD: xyz 11" << frames({infoFrame(0, "11")});
    QTest::newRow("no blank before the identifier") << "STD:0x123 11 22" << frames({infoFrame(0x11, "22")});
    QTest::newRow("other text in place of the first word") << "xSTDx 0x123 11" << frames({infoFrame(0x123, "11")});
    QTest::newRow("the word later in the text") << "0x55 0x123 11 STD" << frames({infoFrame(0x123, "11")});
    QTest::newRow("the word alone") << "STD:" << frames({infoFrame(0)});
    QTest::newRow("the word and blanks") << "STD:    " << frames({infoFrame(0)});
    QTest::newRow("the word and identifier in one") << "STD:0x123" << frames({infoFrame(0)});
    QTest::newRow("words after the bytes") << "STD: 0x123 11 22 Remote" << frames({infoFrame(0x123, "11 22")});
    QTest::newRow("bytes after a word are lost") << "STD: 0x123 11 xx 33" << frames({infoFrame(0x123, "11")});
    QTest::newRow("word in place of the bytes") << "STD: 0x123 Remote 22" << frames({infoFrame(0x123)});
    QTest::newRow("word that is a number") << "STD: 0x123 11 bad dead" << frames({infoFrame(0x123, "11 AD AD")});
    QTest::newRow("low eight bits") << "STD: 0x123 1FF 100 11" << frames({infoFrame(0x123, "FF 00 11")});
    QTest::newRow("byte with prefix") << "STD: 0x123 0x11 0x22" << frames({infoFrame(0x123, "11 22")});
    QTest::newRow("byte of more than 32 bits ends the data")
        << "STD: 0x123 11 100000000 22" << frames({infoFrame(0x123, "11")});
    QTest::newRow("comma: what follows is the info") << "STD: 0x123, 11 22" << frames();
    QTest::newRow("comma: the info behind it") << "x, STD: 0x123 11 22" << frames({infoFrame(0x123, "11 22")});

    QTest::newRow("error frame") << "ERR: 0x00000004   00 04 00 00 00 00 00 00" << frames({infoFrame(errorFrameId)});
    QTest::newRow("error frame, the word alone") << "ERR" << frames({infoFrame(errorFrameId)});
    QTest::newRow("error frame, within a word") << "xERRx 11" << frames({infoFrame(errorFrameId)});
    QTest::newRow("both words: a frame") << "STD: 0x123 11 ERR 22" << frames({infoFrame(0x123, "11")});
    QTest::newRow("both words, the other order") << "ERR 0x123 11 STD" << frames({infoFrame(0x123, "11")});
    QTest::newRow("both words in two columns") << "STD: 0x123, ERR" << frames({infoFrame(errorFrameId)});

    QTest::newRow("extended identifier") << "XTD: 0x18fef100   11 22" << frames();
    QTest::newRow("small letters") << "std: 0x123 11" << frames();
    QTest::newRow("small letters of the error") << "err: 0x123 11" << frames();
    QTest::newRow("letters apart") << "S T D: 0x123 11" << frames();
    QTest::newRow("nothing") << "" << frames();
    QTest::newRow("blanks") << "   " << frames();
    QTest::newRow("other text") << "Echo (ping) request" << frames();
    QTest::newRow("Info drops the line") << "STD: 0x123 11 Info" << frames();
    QTest::newRow("Info within a word drops the line") << "STD: 0x123 11 xInformation" << frames();
    QTest::newRow("info of small letters") << "STD: 0x123 11 info" << frames({infoFrame(0x123, "11")});
    QTest::newRow("info of capitals") << "STD: 0x123 11 INFO" << frames({infoFrame(0x123, "11")});
}

void WiresharkCsvTest::infoTexts()
{
    QFETCH(QString, info);
    QFETCH(Frames, expected);

    checkLines(infoLine(info), expected);
    // The same as CAN FD frame, and between others.
    const Frame other = Frame(0x7FF, "22").at(2, 500000).index(2);
    const QString otherLine = packet("2"_s, "2.5"_s, "CAN"_s, "STD: 0x7FF 22"_s);
    Frames among = frames({other});
    for (CanRxMessage message : expected) {
        message.isFd = true;
        among.append(message);
    }
    among.append(other);
    checkLines(otherLine + packet("1"_s, "1.5"_s, "CANFD"_s, info) + otherLine, among);
}

void WiresharkCsvTest::linesWithoutFrame_data()
{
    addLineColumns();

    const auto row = [](const char *name, const char *line) {
        QTest::newRow(name) << infoLine("STD: 0x123 11"_s) + QString::fromUtf8(line) + "\n"_s
                                   + infoLine("STD: 0x124 22"_s)
                            << frames({infoFrame(0x123, "11"), infoFrame(0x124, "22")});
    };
    row("empty", "");
    row("blanks", "  \t ");
    row("header again", "\"No.\",\"Time\",\"Source\",\"Destination\",\"Protocol\",\"Length\",\"Info\"");
    row("Info in another column", R"("1","1.5","Info","","CAN","16","STD: 0x123 11")");
    row("Info in quotes apart is dropped by its letters alone", R"("1","1.5","xInfox","","CAN","16","STD: 0x123 11")");
    // Lines that lack the columns up to the protocol.
    row("one column", "STD: 0x123 11");
    row("two columns", "1,STD: 0x123 11");
    row("three columns", "1,1.5,STD: 0x123 11");
    row("four columns", "1,1.5,,STD: 0x123 11");
    row("other separator", R"("1";"1.5";"";"";"CAN";"16";"STD: 0x123 11")");
    row("no packet", ",,,,,,");
    QTest::newRow("quotes within the word Info")
        << R"("1","1.5","In"fo","","CAN","16","STD: 0x123 11")" << frames({infoFrame(0x123, "11")});
}

void WiresharkCsvTest::packetNumbersAreKept_data()
{
    addLineColumns();

    QString lines;
    for (const char *number : {"1", "2", "7", "7", "3", "1000000", "0"})
        lines += packet(QString::fromLatin1(number), "1.5"_s, "CAN"_s, "STD: 0x123 11"_s);
    const Frame frame = infoFrame(0x123, "11");
    const auto numbered = [&frame](quint32 number) {
        Frame result = frame;
        return result.index(number);
    };
    QTest::newRow("gaps, repetitions and steps back")
        << lines
        << frames({numbered(1), numbered(2), numbered(7), numbered(7), numbered(3), numbered(1000000), numbered(0)});
    QTest::newRow("dropped packets count")
        << infoLine("STD: 0x123 11"_s) + packet("2"_s, "1.5"_s, "CAN"_s, "XTD: 0x1"_s)
               + packet("3"_s, "1.5"_s, "CAN"_s, "STD: 0x123 11"_s)
        << frames({numbered(1), numbered(3)});
    QTest::newRow("error frames have their number")
        << packet("5"_s, "1.5"_s, "CAN"_s, "ERR"_s) << frames({infoFrame(errorFrameId).index(5)});
    QTest::newRow("largest") << packet("4294967295"_s, "1.5"_s, "CAN"_s, "STD: 0x123 11"_s)
                             << frames({numbered(4294967295U)});
    QTest::newRow("more than 32 bits") << packet("4294967296"_s, "1.5"_s, "CAN"_s, "STD: 0x123 11"_s)
                                       << frames({numbered(0)});
    QTest::newRow("no number") << packet("x"_s, "1.5"_s, "CAN"_s, "STD: 0x123 11"_s) << frames({numbered(0)});
    QTest::newRow("leading zero is decimal")
        << packet("010"_s, "1.5"_s, "CAN"_s, "STD: 0x123 11"_s) << frames({numbered(10)});
}

void WiresharkCsvTest::timeStamps()
{
    QFETCH(QString, token);
    QFETCH(int, seconds);
    QFETCH(int, microseconds);
    checkLines(packet("1"_s, token, "CAN"_s, "STD: 0x123 11"_s),
               frames({Frame(0x123, "11").at(seconds, microseconds).index(1)}));
    checkLines(packet("1"_s, token, "CAN"_s, "ERR"_s),
               frames({Frame(errorFrameId).at(seconds, microseconds).index(1)}));
}

void WiresharkCsvTest::timesInParentheses_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("microseconds");

    QTest::newRow("around") << "(12.5)" << 12 << 500000;
    QTest::newRow("several") << "((12.5)))" << 12 << 500000;
    QTest::newRow("inside") << "1(2).(2)5" << 12 << 250000;
    QTest::newRow("no point") << "(7)" << 7 << 700000;
    QTest::newRow("alone") << "()" << 0 << 0;
    QTest::newRow("other brackets") << "[12.5]" << 0 << 0;
    QTest::newRow("empty") << "" << 0 << 0;
}

void WiresharkCsvTest::timesInParentheses()
{
    timeStamps();
}

void WiresharkCsvTest::oddNumbersReadAsQtReadsThem_data()
{
    QTest::addColumn<QString>("token");
    for (const QString &token : Content::oddNumbers() + Content::signedNumbers())
        QTest::newRow(qPrintable(token)) << token;
}

void WiresharkCsvTest::oddNumbersReadAsQtReadsThem()
{
    QFETCH(QString, token);

    checkLines(packet(token, "1.5"_s, "CAN"_s, "STD: 0x123 11"_s),
               frames({Frame(0x123, "11").at(1, 500000).index(token.toUInt(nullptr, 10))}));
    checkLines(infoLine("STD: "_s + token + " 11"_s), frames({infoFrame(token.toUInt(nullptr, 16), "11")}));

    bool isNumber = false;
    const auto byte = static_cast<char>(token.toUInt(&isNumber, 16));
    const QByteArray payload = isNumber ? "\x11" + QByteArray(1, byte) + "\x22" : QByteArray("\x11");
    checkLines(infoLine("STD: 0x123 11 "_s + token + " 22"_s), frames({infoFrame(0x123).bytes(payload)}));
}

void WiresharkCsvTest::payloadIsCutAtItsCapacity_data()
{
    QTest::addColumn<int>("count");
    for (const int count : {1, 8, 12, 63, 64, 65, 66, 100, 255, 256, 300})
        QTest::addRow("%d bytes", count) << count;
}

void WiresharkCsvTest::payloadIsCutAtItsCapacity()
{
    QFETCH(int, count);

    const QByteArray bytes = Content::countedBytes(count);
    const LoaderRun run(loader,
                        (infoLine("STD: 0x123 "_s + Content::digits(bytes)) + infoLine("STD: 0x124 22"_s)).toUtf8());
    QVERIFY(run.succeeded());
    Frames messages = run.messages();
    QCOMPARE(messages.size(), 2);
    // Whether a longer text counts with all its bytes or with those that are stored is open.
    const quint8 length = messages.first().dlc;
    QVERIFY(length == static_cast<quint8>(count) || (count > 64 && length == 64));
    QCOMPARE(messages, frames({infoFrame(0x123).bytes(bytes.left(64)).dlc(length), infoFrame(0x124, "22")}));
}

void WiresharkCsvTest::loneCarriageReturnEndsNoLine()
{
    // Two packets in one line: the columns of the first, the info of the second.
    checkLines("1,1.5,,,CAN,16,STD: 0x123 11\r2,2.5,,,CANFD,16,STD: 0x124 22\n"_s, frames({infoFrame(0x124, "22")}));
    check(QByteArray("Info\r1,1.5,,,CAN,16,STD: 0x123 11\n1,1.5,,,CAN,16,STD: 0x124 22\n"),
          frames({infoFrame(0x124, "22")}));
}

void WiresharkCsvTest::randomLinesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 4; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void WiresharkCsvTest::randomLinesReadAsThePlainRulesSay()
{
    QFETCH(quint32, seed);

    const QStringList infos{"STD: 0x00000123   11 22 33"_s, "STD: 0x000007ff   "_s, "STD: 0x123 11 Remote 22"_s,
                            "ERR: 0x00000004   00 04"_s,    "XTD: 0x18fef100 11"_s, "STD:"_s,
                            "STD: \"0x12\" \u00a0 1F\t2F"_s};
    QStringList good;
    for (const QString &info : infos)
        good << packet("17"_s, "1.000245"_s, "CAN"_s, info).chopped(1)
             << packet("4000000000"_s, "(12.5)"_s, "CANFD"_s, info).chopped(1);
    RandomLines columns(seed, good,
                        infos + Content::oddNumbers() + Content::signedNumbers()
                            + QStringList{"\"\""_s, "\""_s, ","_s, "1.5"_s, "1.2.3"_s, "(010.25)"_s, "CANFD"_s,
                                          "\"CANFD\""_s, "CANFD "_s, "canfd"_s, "STD"_s, "ERR"_s, "Info"_s, "ST\"D"_s},
                        QLatin1Char(','));
    RandomLines pieces(seed, good,
                       Content::oddNumbers() + Content::signedNumbers()
                           + QStringList{"STD:"_s, "ERR"_s, "Remote"_s, "\","_s, "11"_s, "fF"_s, "A\"5"_s,
                                         Content::repeated(20, "A5"_s)},
                       QLatin1Char(' '));
    compareRandomFiles(150, [&] {
        QString text = columns.once(2) ? header : QString();
        for (int i = columns.below(120); i > 0; --i)
            text += (columns.once(2) ? columns : pieces).line() + columns.end();
        return text;
    });
}

void WiresharkCsvTest::storeCalls_data()
{
    addCallColumns();

    const QString classic = infoLine("STD: 0x123 11"_s);
    const QString fd = packet("2"_s, "2.5"_s, "CANFD"_s, "STD: 0x123 11"_s);
    const QString droppedFd = packet("2"_s, "2.5"_s, "CANFD"_s, "XTD: 0x123 11"_s);
    const QStringList nothing{Expected::delivered(0)};

    QTest::newRow("empty file") << "" << nothing;
    QTest::newRow("blank lines") << "\n\n\n" << nothing;
    QTest::newRow("header alone") << header << nothing;
    QTest::newRow("classic frames") << header + classic + classic << QStringList{Expected::delivered(2)};
    QTest::newRow("one CAN FD frame") << header + classic + fd + classic
                                      << QStringList{Expected::delivered(3), Expected::fd(true)};
    QTest::newRow("several CAN FD frames")
        << header + fd + fd + fd << QStringList{Expected::delivered(3), Expected::fd(true)};
    QTest::newRow("CAN FD in a dropped extended frame alone")
        << header + droppedFd << QStringList{Expected::delivered(0), Expected::fd(true)};
    QTest::newRow("CAN FD in dropped extended frames among classic ones")
        << header + classic + droppedFd + classic << QStringList{Expected::delivered(2), Expected::fd(true)};
    QTest::newRow("CAN FD error frame") << packet("2"_s, "2.5"_s, "CANFD"_s, "ERR"_s)
                                        << QStringList{Expected::delivered(1), Expected::fd(true)};
    QTest::newRow("CAN FD with Info") << packet("2"_s, "2.5"_s, "CANFD"_s, "STD: 0x123 Info"_s) << nothing;
    QTest::newRow("canfd") << packet("2"_s, "2.5"_s, "canfd"_s, "STD: 0x123 11"_s)
                           << QStringList{Expected::delivered(1)};
    QTest::newRow("CANFD and a blank") << packet("2"_s, "2.5"_s, "CANFD "_s, "STD: 0x123 11"_s)
                                       << QStringList{Expected::delivered(1)};
    QTest::newRow("CANFD in the fifth of five columns") << "1,1.5,,,CANFD\n"
                                                        << QStringList{Expected::delivered(0), Expected::fd(true)};
}

void WiresharkCsvTest::messagesComeInBatches()
{
    LongLog log;
    log.lines = [](int number) {
        const QString text = number == 0          ? header
                             : number % 1000 == 0 ? packet("0"_s, "9.9"_s, "CANFD"_s, "XTD: 0x1 FF FF"_s)
                                                  : QString();
        const QString info = number % 10 == 9 ? "ERR: 0x4   FF FF"_s
                                              : "STD: 0x%1   %2"_s.arg(QString::number(number % 0x800, 16),
                                                                       Content::digits(payload(number)));
        // Two numbers for each message.
        return text
               + packet(QString::number(2 * number + 1),
                        "%1.%2"_s.arg(QString::number(number),
                                      QString::number(number % 1000000).rightJustified(6, QLatin1Char('0'))),
                        number % 3 == 0 ? "CANFD"_s : "CAN"_s, info);
    };
    log.message = [](int number) -> CanRxMessage {
        Frame frame(errorFrameId);
        if (number % 10 != 9)
            frame = Frame(static_cast<quint32>(number % 0x800)).bytes(payload(number));
        if (number % 3 == 0)
            frame.fd();
        return frame.at(number, number % 1000000).index(static_cast<quint32>(2 * number + 1));
    };
    compareBatches(log, {Expected::fd(true)});
}

void WiresharkCsvTest::fdFramesAreToldAfterTheLastBatch()
{
    const QString line = infoLine("STD: 0x123 11"_s);
    const QString fdLine = packet("1"_s, "1.5"_s, "CANFD"_s, "XTD: 0x1"_s);
    const LoaderRun classic(loader, line.repeated(100000).toUtf8());
    QCOMPARE(classic.store.calls(), QStringList({Expected::delivered(100000), Expected::delivered(0)}));
    const LoaderRun fd(loader, (fdLine + line.repeated(100000)).toUtf8());
    QCOMPARE(fd.store.calls(), QStringList({Expected::delivered(100000), Expected::delivered(0), Expected::fd(true)}));
}

void WiresharkCsvTest::sampleFiles_data()
{
    QTest::addColumn<Frames>("expected");

    QTest::newRow("classic-frames.csv") << frames({
        Frame(0x123, "11 22 33").index(1),
        Frame(0x7FF).at(0, 245).index(2),
        Frame(0x321, "00 01 02 03 04 05 06 07").at(1, 500000).index(5),
        Frame(0x40, "60 61").at(12, 345678).index(7),
    });
    QTest::newRow("fd-and-error-frames.csv") << frames({
        Frame(0x123, "000102030405060708090A0B").index(1).fd(),
        Frame(errorFrameId).at(0, 100000).index(2),
        Frame(0x124, "11").at(0, 200000).index(3),
    });
    QTest::newRow("fd-in-dropped-frames-only.csv") << frames({Frame(0x123, "11").index(1)});
}

void WiresharkCsvTest::sampleFiles()
{
    QFETCH(Frames, expected);
    check(samplePath("wiresharkcsv"), expected);
}

QTEST_GUILESS_MAIN(WiresharkCsvTest)
#include "tst_wiresharkcsv.moc"
