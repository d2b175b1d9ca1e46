// SPDX-License-Identifier: Apache-2.0
#include "loadertest.h"

using CAN::CanRxMessage;

namespace
{

/*
 * The rules of the format once more, with Qt's plain operations and no thought of speed: what the loader must make of
 * any text, however odd.
 */
/// Open: a time without point, or fewer tokens than the rules read; whether such a line is a frame is not said.
enum class Line { NoFrame, Frame, Open };

Line readFdFrame(const QStringList &tokens, CanRxMessage &message)
{
    if (tokens.size() < 9)
        return Line::Open;
    message.channel = static_cast<quint16>(Plain::number(tokens.at(2), 16));
    message.isFd = true;
    Plain::readAscIdentifier(tokens.at(4), message);
    message.dlc = Plain::byte(tokens.at(8), 10);
    for (int i = 0; i < message.dlc && 9 + i < tokens.size(); ++i)
        Plain::storeByte(message, i, tokens.at(9 + i), 16);
    return Line::Frame;
}

Line readClassicFrame(const QStringList &tokens, CanRxMessage &message)
{
    if (tokens.size() < 4)
        return Line::NoFrame;
    message.channel = static_cast<quint16>(Plain::number(tokens.at(1), 16));
    Plain::readAscIdentifier(tokens.at(2), message);
    if (tokens.at(3) == QLatin1String("r")) {
        message.isRemote = true;
        return Line::Frame;
    }
    if (tokens.size() < 5)
        return Line::NoFrame;
    int length = 4;
    if (!Plain::isNumber(tokens.at(4), 10)) {
        if (tokens.size() < 6)
            return Line::Open;
        length = 5;
    }
    message.dlc = Plain::byte(tokens.at(length), 10);
    Plain::readAscBytes(tokens, length, message);
    return Line::Frame;
}

Line readFrame(const QString &line, CanRxMessage &message)
{
    const QStringList tokens = Plain::tokens(line);
    if (tokens.isEmpty())
        return Line::NoFrame;
    message = CanRxMessage();
    message.timeStamp = Plain::time(tokens.at(0));
    const bool isFd = line.simplified().contains(QLatin1String("CANFD"));
    const Line kind = isFd ? readFdFrame(tokens, message) : readClassicFrame(tokens, message);
    return kind == Line::Frame && !tokens.at(0).contains(QLatin1Char('.')) ? Line::Open : kind;
}

bool isOpen(const QString &line)
{
    CanRxMessage message;
    return readFrame(line, message) == Line::Open;
}

void readPlainly(QTextStream &stream, PlainImport &import)
{
    bool inBlock = false;
    bool fdSeen = false;
    while (!stream.atEnd()) {
        const QString line = stream.readLine();
        if (!inBlock) {
            inBlock = line.contains(QLatin1String("Begin Triggerblock"), Qt::CaseInsensitive);
            continue;
        }
        if (line.contains(QLatin1String("End TriggerBlock"), Qt::CaseInsensitive))
            break;
        CanRxMessage message;
        if (readFrame(line, message) == Line::Frame) {
            fdSeen |= message.isFd;
            message.messageIndex = import.nextIndex();
            import.add(message, line);
        }
    }
    import.deliver();
    import.calls.append(Expected::fd(fdSeen));
}

const QString header = "date Sat Sep 30 15:06:13.191 2017\nbase hex  timestamps absolute\n"
                       "Begin Triggerblock Sat Sep 30 15:06:13.191 2017\n"_s;

/// A frame at 1.5 s on channel 1, as most rows have it.
Frame frame(quint32 id, const char *payload = "")
{
    return Frame(id, payload).at(1, 500000).channel(1);
}

const QString plainLine = "1.5 1 123 Rx d 1 11 0\n"_s;
const Frame plainFrame = frame(0x123, "11");

/// A CAN FD line with those bytes.
QString fdLine(const QString &length, const QString &bytes)
{
    return "1.5 CANFD 1 Rx 123 1 0 9 %1 %2\n"_s.arg(length, bytes);
}

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

class VectorAscLogWithoutBitcountTest : public LoaderTest
{
    Q_OBJECT

public:
    VectorAscLogWithoutBitcountTest()
        : LoaderTest(&CANLogHandler::loadVectorAscLogWithoutBitcount, DatachunkHelper::VectorAscLogWithoutBitcount,
                     readPlainly,
                     {header, "1.5 1 123 Rx d 2 11 22 0"_s, "2.25 CANFD 2 Tx 18FEF100x 1 0 1 1 AB"_s,
                      frames({Frame(0x123, "11 22").at(1, 500000).channel(1),
                              Frame(0x18FEF100, "AB").at(2, 250000).channel(2).extended().fd()})})
    {
    }

private Q_SLOTS:
    void classicLines_data();
    void classicLines() { compareLines(); }
    void fdLines_data();
    void fdLines() { compareLines(); }
    void triggerBlock_data();
    void triggerBlock() { compareTexts(); }
    void shortLinesAreNoFrames_data();
    void shortLinesAreNoFrames();
    void openLinesDoNoHarm_data();
    void openLinesDoNoHarm();
    void identifiers_data();
    void identifiers();
    void channels_data();
    void channels();

    void timeStamps_data() { addTimes(1, 99); }
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
    void oddBytes();
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

void VectorAscLogWithoutBitcountTest::classicLines_data()
{
    addLineColumns();

    QTest::newRow("direction and d") << "1.5 1 123 Rx d 2 11 22 0" << frames({frame(0x123, "11 22")});
    QTest::newRow("columns apart") << "   1.500000 1  18FEF100x       Rx   d 2 11  22   0  "
                                   << frames({frame(0x18FEF100, "11 22").extended()});
    QTest::newRow("eight bytes") << "12.000123 2 7FF Tx d 8 00 11 22 33 44 55 66 FF 0"
                                 << frames({Frame(0x7FF, "00112233445566FF").at(12, 123).channel(2)});
    QTest::newRow("length in token 4") << "1.5 1 123 Rx 2 11 22 0" << frames({frame(0x123, "11 22")});
    QTest::newRow("length in token 4, other word in token 3")
        << "1.5 1 123 d 2 11 22 0" << frames({frame(0x123, "11 22")});
    // The length is not looked for behind a "d": the first number counts.
    QTest::newRow("number in token 4 before the length")
        << "1.5 1 123 Rx 3 2 11 22 0" << frames({frame(0x123, "02 11 22")});
    QTest::newRow("any word in token 4") << "1.5 1 123 Rx xyz 2 11 22 0" << frames({frame(0x123, "11 22")});
    QTest::newRow("no number in token 5") << "1.5 1 123 Rx d x 11 22 0" << frames({frame(0x123, "11 22").dlc(0)});
    QTest::newRow("length is decimal") << "1.5 1 123 Rx d 010 11 0" << frames({frame(0x123, "11").dlc(10)});
    QTest::newRow("length in token 4 is decimal") << "1.5 1 123 Rx 08 11 0" << frames({frame(0x123, "11").dlc(8)});
    QTest::newRow("hexadecimal digit in token 4 is no length") << "1.5 1 123 Rx A 1 11 0" << frames({plainFrame});
    QTest::newRow("low eight bits of the length") << "1.5 1 123 Rx d 258 11 22 0" << frames({frame(0x123, "11 22")});
    QTest::newRow("length above the payload") << "1.5 1 123 Rx d 200 11 0" << frames({frame(0x123, "11").dlc(200)});

    QTest::newRow("the last token is lost") << "1.5 1 123 Rx d 2 11 22" << frames({frame(0x123, "11").dlc(2)});
    QTest::newRow("fewer bytes than the length")
        << "1.5 1 123 Rx d 8 11 22 0" << frames({frame(0x123, "11 22").dlc(8)});
    QTest::newRow("more bytes than the length")
        << "1.5 1 123 Rx d 1 11 22 33 0" << frames({frame(0x123, "11 22 33").dlc(1)});
    QTest::newRow("statistics are bytes")
        << "1.5 1 123 Rx d 1 11 Length = 10 ID = 291x" << frames({frame(0x123, "11 00 00 10 00 00").dlc(1)});
    QTest::newRow("no bytes") << "1.5 1 123 Rx d 0 0" << frames({frame(0x123)});
    QTest::newRow("no bytes, nothing behind") << "1.5 1 123 Rx d 0" << frames({frame(0x123)});
    QTest::newRow("no bytes, length in token 4, nothing behind") << "1.5 1 123 Rx 0" << frames({frame(0x123)});
    QTest::newRow("byte that is no number") << "1.5 1 123 Rx d 3 11 xx 33 0" << frames({frame(0x123, "11 00 33")});
    QTest::newRow("low eight bits of a byte") << "1.5 1 123 Rx d 2 1FF 100 0" << frames({frame(0x123, "FF 00")});

    // A remote frame has the "r" in place of the direction.
    QTest::newRow("remote frame") << "1.5 1 123 r" << frames({frame(0x123).remote()});
    QTest::newRow("remote frame, tokens behind are not read")
        << "1.5 1 123 r 8 11 22 33 0" << frames({frame(0x123).remote()});
    QTest::newRow("remote frame, extended") << "1.5 1 123x r d 8 0" << frames({frame(0x123).remote().extended()});
    QTest::newRow("r in token 4 is no remote frame") << "1.5 1 123 Rx r 8 11 0" << frames({frame(0x123, "11").dlc(8)});
    QTest::newRow("r in token 4, no length") << "1.5 1 123 Rx r x" << frames({frame(0x123)});
    QTest::newRow("r within a word is no remote frame") << "1.5 1 123 rx d 1 11 0" << frames({plainFrame});
    QTest::newRow("capital R is no remote frame") << "1.5 1 123 R d 1 11 0" << frames({plainFrame});

    QTest::newRow("bit counts are no matter")
        << "1.5 1 123 Rx d 1 11 BitCount = 64" << frames({frame(0x123, "11 00 00").dlc(1)});
    QTest::newRow("event line") << "1.5 1 Statistic: D 10 R 0" << frames({frame(0, "00").dlc(10)});
    QTest::newRow("several lines are numbered") << plainLine + "\n"_s + plainLine << frames({plainFrame, plainFrame});
    QTest::newRow("nothing is left of a longer line before")
        << fdLine("12"_s, "FF FF FF FF FF FF FF FF FF FF FF FF"_s) + "1.5 1 123 r 0\n"_s + plainLine
        << frames({frame(0x123, "FFFFFFFFFFFFFFFFFFFFFFFF").fd(), frame(0x123).remote(), plainFrame});
}

void VectorAscLogWithoutBitcountTest::fdLines_data()
{
    addLineColumns();

    QTest::newRow("twelve bytes") << "1.5 CANFD 1 Rx 123 1 0 9 12 00 01 02 03 04 05 06 07 08 09 0A 0B 0 0"
                                  << frames({frame(0x123, "000102030405060708090A0B").fd()});
    QTest::newRow("extended") << "   1.500000 CANFD  10 Tx  18FEF100x  0 0 2  2 11 22  100"
                              << frames({frame(0x18FEF100, "11 22").channel(0x10).extended().fd()});
    QTest::newRow("the last token is a byte")
        << "1.5 CANFD 1 Rx 123 1 0 2 2 11 22" << frames({frame(0x123, "11 22").fd()});
    QTest::newRow("more tokens than the length")
        << "1.5 CANFD 1 Rx 123 1 0 2 2 11 22 33 44" << frames({frame(0x123, "11 22").fd()});
    QTest::newRow("fewer tokens than the length")
        << "1.5 CANFD 1 Rx 123 1 0 8 8 11 22" << frames({frame(0x123, "11 22").dlc(8).fd()});
    QTest::newRow("no bytes") << "1.5 CANFD 1 Rx 123 1 0 0 0" << frames({frame(0x123).fd()});
    QTest::newRow("no bytes, tokens behind") << "1.5 CANFD 1 Rx 123 1 0 0 0 11 22" << frames({frame(0x123).fd()});
    QTest::newRow("sixty-four bytes is the length, not its code")
        << fdLine("64"_s, Content::digits(Content::countedBytes(64)))
        << frames({frame(0x123).bytes(Content::countedBytes(64)).fd()});
    QTest::newRow("length is decimal") << fdLine("010"_s, "1 2 3 4 5 6 7 8 9 A B"_s)
                                       << frames({frame(0x123, "0102030405060708090A").fd()});
    QTest::newRow("length that is no number") << fdLine("x"_s, "11 22"_s) << frames({frame(0x123).fd()});
    QTest::newRow("low eight bits of the length")
        << fdLine("258"_s, "11 22 33"_s) << frames({frame(0x123, "11 22").fd()});
    QTest::newRow("byte that is no number") << fdLine("3"_s, "11 xx 33"_s) << frames({frame(0x123, "11 00 33").fd()});
    QTest::newRow("low eight bits of a byte") << fdLine("2"_s, "1FF 100"_s) << frames({frame(0x123, "FF 00").fd()});
    QTest::newRow("direction, switch, state and code are not read")
        << "1.5 CANFD 1 r 123 x x x 1 11" << frames({frame(0x123, "11").fd()});
    QTest::newRow("bit-rate switch and error state are not marked")
        << "1.5 CANFD 1 Rx 123 1 1 1 1 11" << frames({frame(0x123, "11").fd()});
    QTest::newRow("above eleven bits without mark")
        << "1.5 CANFD 1 Rx 18FEF100 0 0 1 1 11" << frames({frame(0x18FEF100, "11").fd()});
    // The word counts anywhere in the line; the columns stay where they are.
    QTest::newRow("the word in another token") << "1.5 x 1 CANFD 123 1 0 1 1 11" << frames({frame(0x123, "11").fd()});
    QTest::newRow("the word within a word") << "1.5 xCANFDx 1 Rx 123 1 0 1 1 11" << frames({frame(0x123, "11").fd()});
    QTest::newRow("the word at the end of a classic line")
        << "1.5 1 123 Rx 456 1 11 22 1 33 CANFD" << frames({Frame(0x456, "33").at(1, 500000).channel(0x123).fd()});
    QTest::newRow("small letters are a classic line")
        << "1.5 canfd 1 Rx 123 1 0 1 1 11" << frames({Frame(1, "01 00 01 01").dlc(123).at(1, 500000)});
    QTest::newRow("the word apart is a classic line")
        << "1.5 CAN FD 1 2 11 22 0" << frames({Frame(0xFD, "11 22").at(1, 500000).channel(0)});
    QTest::newRow("mixed lines") << plainLine + fdLine("1"_s, "22"_s) + plainLine
                                 << frames({plainFrame, frame(0x123, "22").fd(), plainFrame});
}

void VectorAscLogWithoutBitcountTest::triggerBlock_data()
{
    addLineColumns();

    const Frames none = frames();
    const Frames one = frames({plainFrame});
    const Frames two = frames({plainFrame, plainFrame});
    const QString begin = "Begin Triggerblock\n"_s;
    const QString end = "End TriggerBlock\n"_s;

    QTest::newRow("whole") << header + plainLine + plainLine + end << two;
    QTest::newRow("no end") << begin + plainLine + plainLine << two;
    QTest::newRow("no begin") << plainLine + plainLine + end << none;
    QTest::newRow("neither") << "date\nbase hex\n"_s + plainLine + plainLine << none;
    QTest::newRow("begin alone") << begin << none;
    QTest::newRow("begin without line end") << begin.chopped(1) << none;
    QTest::newRow("begin and end") << begin + end << none;
    QTest::newRow("frames before the begin") << plainLine + begin + plainLine + end << one;
    QTest::newRow("frames after the end") << begin + plainLine + end + plainLine + plainLine << one;
    QTest::newRow("end before the begin") << end + plainLine + begin + plainLine + end << one;
    QTest::newRow("end before the begin, none after it") << end + begin + plainLine + plainLine << two;
    QTest::newRow("two blocks: the second is not read") << begin + plainLine + end + begin + plainLine + end << one;
    // Within the block it is a line that is no frame.
    QTest::newRow("two begins") << begin + plainLine + begin + plainLine + end << two;
    QTest::newRow("two ends") << begin + plainLine + end + end + plainLine << one;
    QTest::newRow("small letters") << "begin triggerblock\n"_s + plainLine + "end triggerblock\n"_s + plainLine << one;
    QTest::newRow("capitals") << "BEGIN TRIGGERBLOCK\n"_s + plainLine + "END TRIGGERBLOCK\n"_s + plainLine << one;
    QTest::newRow("capital B within the begin") << "Begin TriggerBlock\n"_s + plainLine << one;
    QTest::newRow("small b within the end") << begin + plainLine + "End Triggerblock\n"_s + plainLine << one;
    QTest::newRow("text around the begin") << "xBegin Triggerblocks of 2017\n"_s + plainLine << one;
    QTest::newRow("text around the end") << begin + plainLine + "  // xEnd TriggerBlocks\n"_s + plainLine << one;
    QTest::newRow("begin in a frame line: it is no frame")
        << "1.5 1 123 Rx d 1 11 Begin Triggerblock\n"_s + plainLine << one;
    QTest::newRow("end in a frame line: it is no frame")
        << begin + plainLine + "1.5 1 123 Rx d 1 11 End TriggerBlock\n"_s + plainLine << one;
    QTest::newRow("begin and end in one line") << "Begin Triggerblock End TriggerBlock\n"_s + plainLine << one;
    QTest::newRow("begin and end in one line within the block")
        << begin + plainLine + "End TriggerBlock Begin Triggerblock\n"_s + plainLine << one;
    QTest::newRow("two blanks in the begin") << "Begin  Triggerblock\n"_s + plainLine << none;
    QTest::newRow("tab in the begin") << "Begin\tTriggerblock\n"_s + plainLine << none;
    QTest::newRow("two blanks in the end") << begin + plainLine + "End  TriggerBlock\n"_s + plainLine << two;
    QTest::newRow("other words") << "Begin Trigger block\n"_s + plainLine << none;
    QTest::newRow("indented") << "   Begin Triggerblock\n"_s + plainLine + "   End TriggerBlock\n"_s + plainLine << one;
    QTest::newRow("letter that folds to another")
        << "Beg\u0131n Tr\u0131ggerblock\nBegin Triggerbloc\u212a\n"_s + plainLine
        << ("Begin Triggerbloc\u212a"_s.contains(QLatin1String("Begin Triggerblock"), Qt::CaseInsensitive) ? one
                                                                                                           : none);
}

void VectorAscLogWithoutBitcountTest::shortLinesAreNoFrames_data()
{
    QTest::addColumn<QString>("line");

    QTest::newRow("empty") << "";
    QTest::newRow("white space") << " \t\u00a0 ";
    QTest::newRow("one token") << "1.5";
    QTest::newRow("two tokens") << "1.5 1";
    QTest::newRow("three tokens") << "1.5 1 123";
    QTest::newRow("four tokens") << "1.5 1 123 Rx";
    QTest::newRow("comment") << "// x";
}

void VectorAscLogWithoutBitcountTest::shortLinesAreNoFrames()
{
    QFETCH(QString, line);
    checkLines(plainLine + line + "\n"_s + plainLine, frames({plainFrame, plainFrame}));
    checkLines(line, frames());
}

void VectorAscLogWithoutBitcountTest::openLinesDoNoHarm_data()
{
    QTest::addColumn<QString>("line");

    QTest::newRow("five tokens without length") << "1.5 1 123 Rx d";
    QTest::newRow("five tokens with r") << "1.5 1 123 Rx r";
    for (int count = 1; count < 9; ++count) {
        QTest::addRow("CAN FD line of %d tokens", count)
            << "CANFD.5 CANFD 1 Rx 123x 1 0 9"_s.section(QLatin1Char(' '), 0, count - 1);
    }
    QTest::newRow("time without point") << "15 1 123 Rx d 1 11 0";
    QTest::newRow("time without point, remote frame") << "15 1 123 r";
    QTest::newRow("time without point, CAN FD") << "15 CANFD 1 Rx 123 1 0 1 1 11";
    QTest::newRow("comment of many words") << "// this is what happened then";
    QTest::newRow("begin of the block with its date") << "Begin Triggerblock Sat Sep 30 15:06:13.191 2017";
}

void VectorAscLogWithoutBitcountTest::openLinesDoNoHarm()
{
    QFETCH(QString, line);

    // Whether such a line is a frame is open; the lines around it are not.
    QVERIFY(isOpen(line));
    const LoaderRun run(loader, (header + plainLine + line + "\n"_s + plainLine).toUtf8());
    QVERIFY(run.succeeded());
    const Frames messages = run.messages();
    QVERIFY(messages.size() == 2 || messages.size() == 3);
    QCOMPARE(messages.first(), CanRxMessage(frame(0x123, "11").index(0)));
    QCOMPARE(messages.last(), CanRxMessage(frame(0x123, "11").index(static_cast<quint32>(messages.size() - 1))));
    QCOMPARE(run.store.calls().size(), 2);

    QVERIFY(LoaderRun(loader, (header + line).toUtf8()).succeeded());
}

void VectorAscLogWithoutBitcountTest::identifiers_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<uint>("id");
    QTest::addColumn<bool>("extended");

    QTest::newRow("standard") << "1FF" << 0x1FFU << false;
    QTest::newRow("lower case") << "1ff" << 0x1FFU << false;
    QTest::newRow("extended") << "1FFx" << 0x1FFU << true;
    QTest::newRow("above eleven bits without mark") << "18FEF100" << 0x18FEF100U << false;
    QTest::newRow("capital X is no mark") << "1FFX" << 0U << false;
    QTest::newRow("more than one x") << "1xFxFxx" << 0x1FFU << true;
    QTest::newRow("x elsewhere is no mark") << "x1FF" << 0U << false;
    QTest::newRow("x alone") << "x" << 0U << true;
    QTest::newRow("prefix") << "0x1FF" << 0x1FFU << false;
    QTest::newRow("prefix and mark") << "0x1FFx" << 0x1FFU << true;
    QTest::newRow("more than 32 bits") << "100000000x" << 0U << true;
}

void VectorAscLogWithoutBitcountTest::identifiers()
{
    QFETCH(QString, token);
    QFETCH(uint, id);
    QFETCH(bool, extended);

    Frame expected = frame(id, "11");
    if (extended)
        expected.extended();
    checkLines("1.5 1 "_s + token + " Rx d 1 11 0\n"_s, frames({expected}));
    checkLines("1.5 CANFD 1 Rx "_s + token + " 1 0 1 1 11\n"_s, frames({expected.fd()}));
}

void VectorAscLogWithoutBitcountTest::channels_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<int>("channel");

    QTest::newRow("one") << "1" << 1;
    QTest::newRow("ten is sixteen") << "10" << 16;
    QTest::newRow("leading zero") << "010" << 16;
    QTest::newRow("largest") << "FFFF" << 0xFFFF;
    QTest::newRow("low 16 bits") << "10000" << 0;
    QTest::newRow("low 16 bits of more") << "12345678" << 0x5678;
    QTest::newRow("more than 32 bits") << "100000001" << 0;
    QTest::newRow("text") << "CAN1" << 0;
}

void VectorAscLogWithoutBitcountTest::channels()
{
    QFETCH(QString, token);
    QFETCH(int, channel);

    Frame expected = frame(0x123, "11").channel(static_cast<quint16>(channel));
    checkLines("1.5 "_s + token + " 123 Rx d 1 11 0\n"_s, frames({expected}));
    checkLines("1.5 CANFD "_s + token + " Rx 123 1 0 1 1 11\n"_s, frames({expected.fd()}));
}

void VectorAscLogWithoutBitcountTest::timeStamps()
{
    QFETCH(QString, token);
    QFETCH(int, seconds);
    QFETCH(int, microseconds);

    Frame expected = frame(0x123, "11").at(seconds, microseconds);
    checkLines(token + " 1 123 Rx d 1 11 0\n"_s, frames({expected}));
    checkLines(token + " CANFD 1 Rx 123 1 0 1 1 11\n"_s, frames({expected.fd()}));
}

void VectorAscLogWithoutBitcountTest::oddNumbersReadAsQtReadsThem_data()
{
    QTest::addColumn<QString>("token");
    for (const QString &token : Content::oddNumbers())
        QTest::newRow(qPrintable(token)) << token;
}

void VectorAscLogWithoutBitcountTest::oddNumbersReadAsQtReadsThem()
{
    QFETCH(QString, token);

    const quint32 number = token.toUInt(nullptr, 16);
    const QByteArray bytes = "\x11" + QByteArray(1, static_cast<char>(number)) + "\x22";
    checkLines("1.5 "_s + token + " 123 Rx d 1 11 0\n1.5 CANFD "_s + token + " Rx 123 1 0 1 1 11\n"_s,
               frames({frame(0x123, "11").channel(static_cast<quint16>(number)),
                       frame(0x123, "11").channel(static_cast<quint16>(number)).fd()}));
    checkLines("1.5 1 123 Rx d 3 11 "_s + token + " 22 0\n"_s + fdLine("3"_s, "11 "_s + token + " 22"_s),
               frames({frame(0x123).bytes(bytes), frame(0x123).bytes(bytes).fd()}));

    bool isLength = false;
    const auto length = static_cast<quint8>(token.toUInt(&isLength, 10));
    checkLines("1.5 1 123 Rx d "_s + token + " 3 4 0\n"_s, frames({frame(0x123, "03 04").dlc(length)}));
    checkLines("1.5 1 123 Rx "_s + token + " 3 4 0\n"_s,
               frames({isLength ? frame(0x123, "03 04").dlc(length) : frame(0x123, "04").dlc(3)}));
    checkLines(fdLine(token, Content::repeated(256, "5A"_s)),
               frames({frame(0x123).bytes(QByteArray(length, '\x5A')).fd()}));
}

void VectorAscLogWithoutBitcountTest::payloadIsCutAtItsCapacity_data()
{
    QTest::addColumn<int>("count");
    for (const int count : {1, 8, 12, 63, 64, 65, 66, 100, 255, 256, 300})
        QTest::addRow("%d bytes", count) << count;
}

void VectorAscLogWithoutBitcountTest::payloadIsCutAtItsCapacity()
{
    QFETCH(int, count);

    const QByteArray bytes = Content::countedBytes(count);
    const QString digits = Content::digits(bytes);
    const QString number = QString::number(count);
    const auto length = static_cast<quint8>(count);
    Frame expected = frame(0x123).bytes(bytes.left(64)).dlc(length);
    checkLines("1.5 1 123 Rx d %1 %2 0\n"_s.arg(number, digits) + plainLine, frames({expected, plainFrame}));
    checkLines("1.5 1 123 Rx %1 %2 0\n"_s.arg(number, digits) + plainLine, frames({expected, plainFrame}));
    // A CAN FD line has no more bytes than its length of eight bits.
    expected.bytes(bytes.left(qMin(64, int(length)))).dlc(length).fd();
    checkLines(fdLine(number, digits + " 0"_s) + plainLine, frames({expected, plainFrame}));
}

void VectorAscLogWithoutBitcountTest::loneCarriageReturnEndsNoLine()
{
    checkLines("1.5 1 123 Rx d 1 11 0\r2.5 1 124 Rx d 1 22 0\n"_s,
               frames({frame(0x123, "11 00 00 01 24 00 0D 01 22").dlc(1)}));
    check(QByteArray("Begin Triggerblock\r1.5 1 123 Rx d 1 11 0\n1.5 1 123 Rx d 1 11 0\n"), frames({plainFrame}));
}

void VectorAscLogWithoutBitcountTest::oddBytes()
{
    // Not in the time or among the blanks, where they make lines that are open.
    const QByteArray text = (header + "1.5 CANFD 1 Rx 18FEF100x 1 0 9 3 11 22 33 4 5 6 7 8\n"_s + plainLine).toUtf8();
    for (const char *encoding : {"UTF-8", "ISO 8859-1"}) {
        const LocaleEncoding local(encoding);
        QString result;
        for (const QByteArray &odd : {QByteArray(1, '\0'), QByteArray("\xa0"), QByteArray("\xff"),
                                      QByteArray("\xc2\xa0"), QByteArray("\xed\xa0\x80")}) {
            for (int position = header.size() + 10; position < text.size() - plainLine.size() && result.isEmpty();
                 ++position) {
                QByteArray content = text;
                content.insert(position, odd);
                if (!isReadOtherwiseByQt(QString::fromUtf8(content)))
                    result = differenceFromPlainRules(content);
            }
        }
        QVERIFY2(result.isEmpty(), qPrintable(result));
    }
}

void VectorAscLogWithoutBitcountTest::randomLinesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 4; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void VectorAscLogWithoutBitcountTest::randomLinesReadAsThePlainRulesSay()
{
    QFETCH(quint32, seed);

    RandomLines random(
        seed,
        {"1.5 1 1FFx Rx d 2 AA BB 0"_s, "   0.100350 1  18FEF100x       Rx   d 8 FF FF FF 7D FF FF FF FF 0"_s,
         "1.000000 2 7FF r d 0 0"_s, "12.25 10 123 Rx 3 1 2 3 0"_s, "1.5 1 123 Rx r 8 0"_s,
         "1.5 CANFD 1 Rx 123 1 0 9 12 00 01 02 03 04 05 06 07 08 09 0A 0B 0 0"_s,
         "0.25 CANFD 2 Tx 18FEF100x 0 0 2 2 11 22"_s, "7.125 CANFD 3 Tx 7FF 0 0 0 0 11"_s},
        Content::oddNumbers()
            + QStringList{"1.5"_s, "1.2.3"_s, "010.25"_s, "."_s, "Rx"_s, "d"_s, "r"_s, "R"_s, "1FFx"_s, "2"_s, "11"_s,
                          "CANFD"_s, "canfd"_s, "Begin Triggerblock"_s, "="_s, Content::repeated(60, "A5"_s)},
        QLatin1Char(' '));
    const QStringList ends{"End TriggerBlock"_s, "end triggerblock"_s, "// END TRIGGERBLOCK"_s,
                           "1.5 1 1 End TriggerBlock 2"_s};
    const QStringList begins{"Begin Triggerblock Sat"_s, "begin triggerblock"_s, "Begin TriggerBlock"_s, "Begin"_s};
    const auto addLines = [&random](QString &text, int count) {
        for (; count > 0; --count) {
            const QString line = random.line();
            if (!isOpen(line))
                text += line + random.end();
        }
    };
    compareRandomFiles(150, [&] {
        QString text;
        addLines(text, random.below(4));
        if (random.once(3))
            text += random.anyOf(ends) + random.end();
        text += random.anyOf(begins) + random.end();
        addLines(text, random.below(120));
        if (random.once(2))
            text += random.anyOf(ends) + random.end();
        addLines(text, random.below(4));
        return text;
    });
}

void VectorAscLogWithoutBitcountTest::storeCalls_data()
{
    addCallColumns();

    const QStringList nothing{Expected::delivered(0), Expected::fd(false)};
    const QString begin = "Begin Triggerblock\n"_s;
    const QString end = "End TriggerBlock\n"_s;

    QTest::newRow("empty file") << "" << nothing;
    QTest::newRow("blank lines") << "\n\n" << nothing;
    QTest::newRow("no block") << "date\n"_s + plainLine << nothing;
    QTest::newRow("empty block") << header + end << nothing;
    QTest::newRow("classic frames") << header + plainLine + plainLine + end
                                    << QStringList{Expected::delivered(2), Expected::fd(false)};
    QTest::newRow("skipped lines are no notes") << "a\n"_s + begin + "b\n"_s + plainLine + "c\n"_s + end + "d\n"_s
                                                << QStringList{Expected::delivered(1), Expected::fd(false)};
    QTest::newRow("CAN FD frame") << begin + plainLine + fdLine("1"_s, "11"_s) + plainLine + end
                                  << QStringList{Expected::delivered(3), Expected::fd(true)};
    QTest::newRow("several CAN FD frames")
        << begin + fdLine("1"_s, "11"_s) + fdLine("0"_s, {}) << QStringList{Expected::delivered(2), Expected::fd(true)};
    QTest::newRow("CAN FD frame before the block")
        << fdLine("1"_s, "11"_s) + begin + plainLine << QStringList{Expected::delivered(1), Expected::fd(false)};
    QTest::newRow("CAN FD frame after the block")
        << begin + plainLine + end + fdLine("1"_s, "11"_s) << QStringList{Expected::delivered(1), Expected::fd(false)};
    QTest::newRow("CANFD in the begin of the block")
        << "Begin Triggerblock CANFD\n"_s + plainLine << QStringList{Expected::delivered(1), Expected::fd(false)};
    QTest::newRow("CANFD in the end of the block")
        << begin + plainLine + "1.5 CANFD 1 Rx 123 1 0 1 1 11 End TriggerBlock\n"_s
        << QStringList{Expected::delivered(1), Expected::fd(false)};
    QTest::newRow("100000 frames") << begin + plainLine.repeated(100000)
                                   << QStringList{Expected::delivered(100000), Expected::delivered(0),
                                                  Expected::fd(false)};
    QTest::newRow("100000 frames and one CAN FD frame")
        << begin + plainLine.repeated(100000) + fdLine("1"_s, "11"_s)
        << QStringList{Expected::delivered(100000), Expected::delivered(1), Expected::fd(true)};
}

void VectorAscLogWithoutBitcountTest::messagesComeInBatches()
{
    LongLog log;
    log.lines = [](int number) {
        const QByteArray bytes = payload(number);
        const QString before = number == 0 ? header : number % 1000 == 0 ? "\n// x\n"_s : QString();
        const QString time = "%1.%2 "_s.arg(QString::number(number),
                                            QString::number(number % 1000000).rightJustified(6, QLatin1Char('0')));
        const QString channel = QString::number(number % 0x10000, 16);
        const QString id = QString::number(identifier(number), 16) + (number % 3 == 0 ? "x"_s : QString());
        const QString length = QString::number(bytes.size());
        if (number % 5 == 0)
            return before + time + "CANFD %1 Rx %2 0 0 0 %3 %4 FF\n"_s.arg(channel, id, length, Content::digits(bytes));
        if (number % 7 == 0)
            return before + time + "%1 %2 r FF FF\n"_s.arg(channel, id);
        return before + time + "%1 %2 Rx d %3 %4 FF\n"_s.arg(channel, id, length, Content::digits(bytes));
    };
    log.message = [](int number) -> CanRxMessage {
        Frame expected(identifier(number));
        expected.at(number, number % 1000000).channel(static_cast<quint16>(number)).index(static_cast<quint32>(number));
        if (number % 3 == 0)
            expected.extended();
        if (number % 5 == 0)
            expected.bytes(payload(number)).fd();
        else if (number % 7 == 0)
            expected.remote();
        else
            expected.bytes(payload(number));
        return expected;
    };
    compareBatches(log, {Expected::fd(true)});
}

void VectorAscLogWithoutBitcountTest::sampleFiles_data()
{
    QTest::addColumn<Frames>("expected");

    QTest::newRow("classic-frames.asc") << frames({
        Frame(0x123, "11 22 33 44").at(0, 120).channel(1),
        Frame(0x18FEF100, "FF FF FF 7D FF FF FF FF").at(0, 100350).channel(1).extended(),
        Frame(0x7FF).at(1, 0).channel(0x10).remote(),
        Frame(0x100, "AA BB").dlc(7).at(1, 500000).channel(1),
    });
    QTest::newRow("can-fd-frames.asc") << frames({
        Frame(0x123, "11 22").at(0, 500000).channel(1),
        Frame(0x124, "000102030405060708090A0B").at(0, 600000).channel(2).fd(),
        Frame(0x1ABCDEF, "11 22 33 44 55 66 77 88").at(0, 700000).channel(3).extended().fd(),
    });
}

void VectorAscLogWithoutBitcountTest::sampleFiles()
{
    QFETCH(Frames, expected);
    check(samplePath("vectorasclogwithoutbitcount"), expected);
}

QTEST_GUILESS_MAIN(VectorAscLogWithoutBitcountTest)
#include "tst_vectorasclogwithoutbitcount.moc"
