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
bool isFrameLine(const QStringList &tokens)
{
    return tokens.size() >= 3 && tokens.at(2).endsWith(QLatin1String("):"));
}

/// The length in its parentheses: without the first character and the last two.
quint8 lengthOf(QString token)
{
    token.remove(0, 1);
    token.chop(2);
    return Plain::byte(token, 0);
}

quint32 identifierOf(const QString &token)
{
    if (token.contains(QLatin1String("Error")))
        return errorFrameId;
    return Plain::number(token.split(QLatin1Char('/')).first(), 16);
}

CanRxMessage readFrame(const QStringList &tokens, const QStringList &tail)
{
    CanRxMessage message;
    message.timeStamp = Plain::time(tokens.at(0));
    message.dlc = lengthOf(tokens.at(2));
    message.id = identifierOf(tokens.at(1));
    const quint32 flags = tail.size() >= 2 ? Plain::number(tail.at(1), 10) : 0;
    message.isExtended = flags & 1;
    message.isFd = flags & 2;
    message.isBrs = flags & 4;
    message.isEsi = flags & 8;
    message.isRemote = tokens.contains("Remote"_s);
    for (int i = 0; i < message.dlc && 3 + i < tokens.size(); ++i)
        Plain::storeByte(message, i, tokens.at(3 + i), 16);
    return message;
}

void readPlainly(QTextStream &stream, PlainImport &import)
{
    while (!stream.atEnd()) {
        const QString line = stream.readLine().simplified();
        const QStringList tokens = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        const QStringList tail = line.split(QLatin1Char(';'));
        if (!isFrameLine(tokens))
            continue;
        if (tokens.at(0).split(QLatin1Char('.')).size() != 2)
            break;
        CanRxMessage message = readFrame(tokens, tail);
        message.messageIndex = import.nextIndex();
        import.add(message, line, tail.size() >= 2 ? tail.last() : QString());
    }
    import.deliver();
}

/// A frame at 1.5 s, as most rows have it.
Frame frame(quint32 id, const char *payload = "")
{
    return Frame(id, payload).at(1, 500000);
}

const QString plainLine = "1.5 123 (1): 11\n"_s;
const Frame plainFrame = frame(0x123, "11");

/// A long log, with notes among others on both sides of the ends of the batches.
bool hasNote(int number)
{
    return number % 1000 == 0 || number % 100000 >= 99998 || number % 100000 == 1;
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

class NorvikTxtFileTest : public LoaderTest
{
    Q_OBJECT

public:
    NorvikTxtFileTest()
        : LoaderTest(&CANLogHandler::loadNorvikTxtFile, DatachunkHelper::NorvikTxt, readPlainly,
                     {"Recording\n"_s, "1.5 123 (2): 11 22"_s, "2.25 18FEF100 (1): AB ;1;x"_s,
                      frames({Frame(0x123, "11 22").at(1, 500000), Frame(0x18FEF100, "AB").at(2, 250000).extended()})})
    {
    }

private Q_SLOTS:
    void frameLines_data();
    void frameLines() { compareTexts(); }
    void identifiers_data();
    void identifiers();
    void lengths_data();
    void lengths();
    void flags_data();
    void flags();
    void comments_data();
    void comments() { compareNotes(); }
    void remoteFrames_data();
    void remoteFrames() { compareTexts(); }
    void linesWithoutFrame_data();
    void linesWithoutFrame();
    void timesWithoutOnePointEndTheImport_data();
    void timesWithoutOnePointEndTheImport();

    void timeStamps_data() { addTimes(1, 1); }
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
    void notesAroundTheEndOfABatch();
    void requestsReachTheLoader() { checkRequests(); }
    void fileThatCannotBeOpenedFails_data() { addUnreadablePaths(); }
    void fileThatCannotBeOpenedFails() { checkUnreadablePath(); }
    void sampleFiles_data();
    void sampleFiles();
};

void NorvikTxtFileTest::frameLines_data()
{
    addLineColumns();

    QTest::newRow("flags and comment") << "1.5 1A3 (2): 01 02 ;1;hello" << frames({frame(0x1A3, "01 02").extended()});
    QTest::newRow("no tail") << "1.5 1A3 (2): 01 02" << frames({frame(0x1A3, "01 02")});
    QTest::newRow("columns apart") << "   12.034   1A3/   (8):  01 FF 02 03   04 05 06 07   "
                                   << frames({Frame(0x1A3, "01 FF 02 03 04 05 06 07").at(12, 34000)});
    QTest::newRow("no bytes") << "1.5 1A3 (0):" << frames({frame(0x1A3)});
    QTest::newRow("no bytes, tokens behind") << "1.5 1A3 (0): 11 22" << frames({frame(0x1A3)});
    QTest::newRow("fewer bytes than the length") << "1.5 1A3 (4): 11 22" << frames({frame(0x1A3, "11 22").dlc(4)});
    QTest::newRow("more bytes than the length") << "1.5 1A3 (2): 11 22 33 44" << frames({frame(0x1A3, "11 22")});
    QTest::newRow("no bytes at all") << "1.5 1A3 (4):" << frames({frame(0x1A3).dlc(4)});
    QTest::newRow("byte that is no number") << "1.5 1A3 (3): 11 xx 33" << frames({frame(0x1A3, "11 00 33")});
    QTest::newRow("low eight bits of a byte") << "1.5 1A3 (2): 1FF 100" << frames({frame(0x1A3, "FF 00")});
    // The tail counts as data tokens when the length reaches it.
    QTest::newRow("tail within the length")
        << "1.5 1A3 (4): 11 22 ;1;33 44" << frames({frame(0x1A3, "11 22 00 44").extended()});
    QTest::newRow("tail without a blank takes the last byte")
        << "1.5 1A3 (2): 11 22;1;33" << frames({frame(0x1A3, "11 00").extended()});
    QTest::newRow("standard identifier above eleven bits is not marked")
        << "1.5 18FEF100 (1): FF ;0;" << frames({frame(0x18FEF100, "FF")});
    QTest::newRow("CAN FD frame") << "1.5 100 (12): 00 01 02 03 04 05 06 07 08 09 0A 0B ;6;"
                                  << frames({frame(0x100, "000102030405060708090A0B").fd().brs()});
    QTest::newRow("several lines are numbered") << plainLine + "\ntitle\n"_s + plainLine + "1.6 124 (1): 22"_s
                                                << frames({plainFrame, plainFrame, Frame(0x124, "22").at(1, 600000)});
    QTest::newRow("nothing is left of a longer line before")
        << "1.5 1FFFFFFF (8): FF FF FF FF FF FF FF FF ;15;x\n1.5 123 (4): Remote\n"_s + plainLine
        << frames({frame(0x1FFFFFFF, "FFFFFFFFFFFFFFFF").extended().fd().brs().esi(), frame(0x123).dlc(4).remote(),
                   plainFrame});
}

void NorvikTxtFileTest::identifiers_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<uint>("id");

    QTest::newRow("standard") << "1A3" << 0x1A3U;
    QTest::newRow("lower case") << "1a3" << 0x1A3U;
    QTest::newRow("extended") << "18FEF100" << 0x18FEF100U;
    QTest::newRow("slash") << "1A3/" << 0x1A3U;
    QTest::newRow("slash and text") << "1A3/status" << 0x1A3U;
    QTest::newRow("several slashes") << "1A3/7FF/100" << 0x1A3U;
    QTest::newRow("slash in front") << "/1A3" << 0U;
    QTest::newRow("slash alone") << "/" << 0U;
    QTest::newRow("backslash") << "1A3\\x" << 0U;
    QTest::newRow("prefix") << "0x1A3" << 0x1A3U;
    QTest::newRow("mark of other formats") << "1A3x" << 0U;
    QTest::newRow("text") << "xyz" << 0U;
    QTest::newRow("more than 32 bits") << "100000000" << 0U;
    QTest::newRow("Error") << "Error" << errorFrameId;
    QTest::newRow("Error within a word") << "xErrorFrame" << errorFrameId;
    QTest::newRow("Error after a slash") << "1A3/Error" << errorFrameId;
    QTest::newRow("Error before a slash") << "Error/1A3" << errorFrameId;
    QTest::newRow("error") << "error" << 0U;
    QTest::newRow("ERROR") << "ERROR" << 0U;
    QTest::newRow("Err") << "Err" << 0U;
}

void NorvikTxtFileTest::identifiers()
{
    QFETCH(QString, token);
    QFETCH(uint, id);

    check(("1.5 "_s + token + " (1): 11\n"_s).toUtf8(), frames({frame(id, "11")}));
    // The identifier of an error frame takes nothing else from it.
    check(("1.5 "_s + token + " (2): 11 22 ;3;\n"_s).toUtf8(), frames({frame(id, "11 22").extended().fd()}));
}

void NorvikTxtFileTest::lengths_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<int>("length");

    QTest::newRow("zero") << "(0):" << 0;
    QTest::newRow("two") << "(2):" << 2;
    QTest::newRow("twelve") << "(12):" << 12;
    // A leading zero makes it octal.
    QTest::newRow("octal") << "(010):" << 8;
    QTest::newRow("octal two") << "(02):" << 2;
    QTest::newRow("no octal digit") << "(08):" << 0;
    QTest::newRow("hexadecimal") << "(0x10):" << 16;
    QTest::newRow("hexadecimal digits without prefix") << "(A):" << 0;
    QTest::newRow("sixty-four") << "(64):" << 64;
    QTest::newRow("above the payload") << "(65):" << 65;
    QTest::newRow("largest of eight bits") << "(255):" << 255;
    QTest::newRow("low eight bits of 256") << "(256):" << 0;
    QTest::newRow("low eight bits of 258") << "(258):" << 2;
    QTest::newRow("more than 32 bits") << "(4294967298):" << 0;
    QTest::newRow("no number") << "(x):" << 0;
    QTest::newRow("empty") << "():" << 0;
    // The first character goes, whatever it is.
    QTest::newRow("other opening") << "[2):" << 2;
    QTest::newRow("no opening: its digit is lost") << "12):" << 2;
    QTest::newRow("no opening, one digit") << "2):" << 0;
    QTest::newRow("two openings") << "((2):" << 0;
    QTest::newRow("two closings") << "(2)):" << 0;
    QTest::newRow("the end alone") << "):" << 0;
    QTest::newRow("plus") << "(+2):" << int("+2"_s.toUInt(nullptr, 0));
    QTest::newRow("fraction") << "(2.0):" << 0;
}

void NorvikTxtFileTest::lengths()
{
    QFETCH(QString, token);
    QFETCH(int, length);

    const QByteArray data(length, '\x5A');
    check(("1.5 1A3 "_s + token + Content::repeated(300, "5A"_s)).toUtf8(), frames({frame(0x1A3).bytes(data)}));
    check(("1.5 1A3 "_s + token).toUtf8(), frames({frame(0x1A3).dlc(static_cast<quint8>(length))}));
}

void NorvikTxtFileTest::flags_data()
{
    QTest::addColumn<QString>("tail");
    QTest::addColumn<int>("bits");

    QTest::newRow("no tail") << "" << 0;
    for (int bits = 0; bits < 16; ++bits)
        QTest::addRow("%d", bits) << ";%1;"_s.arg(bits) << bits;
    QTest::newRow("higher bits are ignored") << ";16;" << 0;
    QTest::newRow("higher bits and others") << ";4294967285;" << 5;
    QTest::newRow("256") << ";256;" << 0;
    QTest::newRow("257") << ";257;" << 1;
    QTest::newRow("more than 32 bits") << ";4294967297;" << 0;
    QTest::newRow("empty") << ";;x" << 0;
    QTest::newRow("nothing behind the semicolon") << ";" << 0;
    QTest::newRow("decimal, not octal") << ";010;" << 10;
    QTest::newRow("no hexadecimal") << ";0xF;" << 0;
    QTest::newRow("text") << ";x;" << 0;
    QTest::newRow("negative") << ";-1;" << 0;
    QTest::newRow("blanks around it") << "; 3 ;" << int(" 3 "_s.toUInt(nullptr, 10) & 15);
    QTest::newRow("more fields") << ";3;15;12;x" << 3;
    QTest::newRow("the flag word alone") << ";5" << 5;
    QTest::newRow("the first field only") << ";0;15" << 0;
}

void NorvikTxtFileTest::flags()
{
    QFETCH(QString, tail);
    QFETCH(int, bits);

    Frame expected = frame(0x1A3, "11");
    if (bits & 1)
        expected.extended();
    if (bits & 2)
        expected.fd();
    if (bits & 4)
        expected.brs();
    if (bits & 8)
        expected.esi();
    check(("1.5 1A3 (1): 11 "_s + tail + "\n"_s + plainLine).toUtf8(), frames({expected, plainFrame}));
}

void NorvikTxtFileTest::comments_data()
{
    addNoteColumns();

    const auto row = [](const char *name, const char *tail, const char *note, bool extended = true) {
        Frame expected = frame(0x1A3, "11");
        if (extended)
            expected.extended();
        Notes notes;
        if (*note != '\0')
            notes.insert(1, QString::fromUtf8(note));
        QTest::newRow(name) << plainLine + "1.5 1A3 (1): 11 "_s + QString::fromUtf8(tail) + "\n"_s + plainLine
                            << frames({plainFrame, expected, plainFrame}) << notes;
    };
    row("one word", ";1;hello", "hello");
    row("several words", ";1;hello  to \t you", "hello to you");
    row("blanks around it", ";1;  hello  ", " hello");
    row("empty", ";1;", "");
    row("a blank before a last semicolon", ";1; ;", "");
    row("a blank at the end is no part of the line", ";1; ", "");
    row("no flag word", ";;hello", "hello", false);
    row("more fields: the last", ";1;a;b;hello", "hello");
    row("more fields, the last empty", ";1;a;b;", "");
    row("the flag word alone is a note", ";1", "1");
    row("flag word that is text", ";hello", "hello", false);
    row("nothing behind the semicolon", ";", "", false);
    row("no tail", "", "", false);
    row("other scripts", ";1;\u041a\u20ac\U0001F697", "\u041a\u20ac\U0001F697");
    row("place holders", ";1;%1 %2", "%1 %2");
    row("quotes", ";1;\"a\"", "\"a\"");

    QTest::newRow("five") << "1.5 1A3 (1): 11 ;5\n"
                          << frames({frame(0x1A3, "11").extended().brs()}) << Notes{{0, "5"_s}};
    QTest::newRow("on every line") << "1.5 123 (1): 11 ;0;a\n1.5 123 (1): 11 ;0;\n1.5 123 (1): 11 ;0;c\n"
                                   << frames({plainFrame, plainFrame, plainFrame}) << Notes{{0, "a"_s}, {2, "c"_s}};
    QTest::newRow("of a line without frame is lost")
        << "title ;1;x\n1.5 123 (1) 11 ;0;y\n"_s + plainLine << frames({plainFrame}) << Notes();
    QTest::newRow("semicolon before the bytes") << "1.5 1A3;1;x (1): 11\n"
                                                << frames({frame(0, "11").extended()}) << Notes{{0, "x (1): 11"_s}};
    QTest::newRow("error frame") << "1.5 Error (0): ;0;bus off\n"
                                 << frames({frame(errorFrameId)}) << Notes{{0, "bus off"_s}};
}

void NorvikTxtFileTest::remoteFrames_data()
{
    addLineColumns();

    QTest::newRow("in place of the bytes") << "1.5 1A3 (4): Remote" << frames({frame(0x1A3).dlc(4).remote()});
    QTest::newRow("no length") << "1.5 1A3 (0): Remote" << frames({frame(0x1A3).remote()});
    QTest::newRow("after bytes") << "1.5 1A3 (2): 11 22 Remote" << frames({frame(0x1A3, "11 22").remote()});
    QTest::newRow("before bytes") << "1.5 1A3 (3): Remote 11 22" << frames({frame(0x1A3, "00 11 22").remote()});
    QTest::newRow("with flags") << "1.5 1A3 (1): Remote ;1;x" << frames({frame(0x1A3, "00").extended().remote()});
    QTest::newRow("in the comment as a word")
        << "1.5 1A3 (1): 11 ;0; Remote control" << frames({frame(0x1A3, "11").remote()});
    QTest::newRow("in the comment within a word") << "1.5 1A3 (1): 11 ;0;Remote" << frames({frame(0x1A3, "11")});
    QTest::newRow("as identifier") << "1.5 Remote (1): 11" << frames({frame(0, "11").remote()});
    QTest::newRow("small letters") << "1.5 1A3 (1): remote" << frames({frame(0x1A3, "00")});
    QTest::newRow("capitals") << "1.5 1A3 (1): REMOTE" << frames({frame(0x1A3, "00")});
    QTest::newRow("within a word") << "1.5 1A3 (1): RemoteFrame xRemote" << frames({frame(0x1A3, "00")});
    QTest::newRow("error frame") << "1.5 Error (0): Remote" << frames({frame(errorFrameId).remote()});
}

void NorvikTxtFileTest::linesWithoutFrame_data()
{
    QTest::addColumn<QString>("line");

    QTest::newRow("empty") << "";
    QTest::newRow("white space") << " \t\u00a0 ";
    QTest::newRow("title of one word") << "Recording";
    QTest::newRow("title of two words") << "Recording 1";
    QTest::newRow("title of three words") << "Recording number 1";
    QTest::newRow("two tokens") << "1.5 1A3";
    QTest::newRow("length without colon") << "1.5 1A3 (1) 11";
    QTest::newRow("length without parenthesis") << "1.5 1A3 1: 11";
    QTest::newRow("length of other order") << "1.5 1A3 (1:) 11";
    QTest::newRow("colon apart") << "1.5 1A3 (1) : 11";
    QTest::newRow("length in another column") << "1.5 1A3 x (1): 11";
    QTest::newRow("length joined with the identifier") << "1.5 1A3(1): 11";
    QTest::newRow("length joined with a byte") << "1.5 1A3 (1):11";
    QTest::newRow("time without point in a line without frame") << "12 1A3 (1) 11";
    QTest::newRow("comment alone") << ";1;hello";
}

void NorvikTxtFileTest::linesWithoutFrame()
{
    QFETCH(QString, line);
    const SampleFile file((plainLine + line + "\n"_s + plainLine).toUtf8());
    check(file.path(), frames({plainFrame, plainFrame}), Notes());
    check(line.toUtf8(), frames());
}

void NorvikTxtFileTest::timesWithoutOnePointEndTheImport_data()
{
    QTest::addColumn<QString>("time");

    QTest::newRow("no point") << "12";
    QTest::newRow("two points") << "1.2.3";
    QTest::newRow("two points together") << "1..3";
    QTest::newRow("three points") << "...";
    QTest::newRow("comma") << "1,5";
    QTest::newRow("text") << "Time";
    QTest::newRow("time of day") << "12:30:15";
    QTest::newRow("full-width point") << "1\uff0e5";
}

void NorvikTxtFileTest::timesWithoutOnePointEndTheImport()
{
    QFETCH(QString, time);

    const QString line = time + " 124 (1): 22 ;1;note\n"_s;
    check((plainLine + line + plainLine + plainLine).toUtf8(), frames({plainFrame}));
    check((line + plainLine).toUtf8(), frames());
    check((plainLine + line).toUtf8(), frames({plainFrame}));

    const LoaderRun run(loader, (plainLine.chopped(1) + " ;0;a\n"_s + line + plainLine).toUtf8());
    QVERIFY(run.succeeded());
    QCOMPARE(run.store.calls(), QStringList{Expected::delivered(1, 1)});
    QCOMPARE(run.store.notes(), (Notes{{0, "a"_s}}));
}

void NorvikTxtFileTest::timeStamps()
{
    QFETCH(QString, token);
    QFETCH(int, seconds);
    QFETCH(int, microseconds);
    check((token + " 123 (1): 11\n"_s).toUtf8(), frames({Frame(0x123, "11").at(seconds, microseconds)}));
}

void NorvikTxtFileTest::oddNumbersReadAsQtReadsThem_data()
{
    QTest::addColumn<QString>("token");
    for (const QString &token : Content::oddNumbers())
        QTest::newRow(qPrintable(token)) << token;
}

void NorvikTxtFileTest::oddNumbersReadAsQtReadsThem()
{
    QFETCH(QString, token);
    if (token.contains(QLatin1Char(';')))
        return;

    const quint32 number = token.toUInt(nullptr, 16);
    check(("1.5 "_s + token + " (1): 11\n"_s).toUtf8(), frames({frame(number, "11")}));
    check(("1.5 "_s + token + "/x (1): 11\n"_s).toUtf8(), frames({frame(number, "11")}));
    check(("1.5 123 (3): 11 "_s + token + " 22\n"_s).toUtf8(),
          frames({frame(0x123).bytes("\x11" + QByteArray(1, static_cast<char>(number)) + "\x22")}));
    check(("1.5 123 ("_s + token + "):"_s + Content::repeated(256, "5A"_s)).toUtf8(),
          frames({frame(0x123).bytes(QByteArray(static_cast<quint8>(token.toUInt(nullptr, 0)), '\x5A'))}));

    const quint32 flags = token.toUInt(nullptr, 10);
    const LoaderRun run(loader, ("1.5 123 (1): 11 ;"_s + token + ";\n"_s).toUtf8());
    QCOMPARE(run.messages().size(), 1);
    const CanRxMessage message = run.messages().first();
    QCOMPARE(message.isExtended, (flags & 1) != 0);
    QCOMPARE(message.isFd, (flags & 2) != 0);
    QCOMPARE(message.isBrs, (flags & 4) != 0);
    QCOMPARE(message.isEsi, (flags & 8) != 0);
}

void NorvikTxtFileTest::payloadIsCutAtItsCapacity_data()
{
    QTest::addColumn<int>("count");
    for (const int count : {1, 8, 12, 63, 64, 65, 66, 100, 255, 256, 300})
        QTest::addRow("%d bytes", count) << count;
}

void NorvikTxtFileTest::payloadIsCutAtItsCapacity()
{
    QFETCH(int, count);

    const QByteArray bytes = Content::countedBytes(count);
    const auto length = static_cast<quint8>(count);
    const Frame expected = frame(0x123).bytes(bytes.left(qMin(64, int(length)))).dlc(length);
    check(("1.5 123 (%1): %2 FE ;0;\n"_s.arg(QString::number(count), Content::digits(bytes)) + plainLine).toUtf8(),
          frames({expected, plainFrame}));
}

void NorvikTxtFileTest::loneCarriageReturnEndsNoLine()
{
    check(QByteArray("1.5 123 (1): 11\r2.5 124 (1): 22 ;1;x\n1.5 123 (1): 11\n"),
          frames({frame(0x123, "11").extended(), plainFrame}));
    check(QByteArray("Recording\r1.5 123 (1): 11\n1.5 123 (1): 11\n"), frames({plainFrame}));
}

void NorvikTxtFileTest::randomLinesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 4; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void NorvikTxtFileTest::randomLinesReadAsThePlainRulesSay()
{
    QFETCH(quint32, seed);

    RandomLines random(
        seed,
        {"1.5 1A3 (2): 01 02 ;1;hello"_s, "  12.034  18FEF100/x  (8):  FF FF FF 7D FF FF FF FF  "_s,
         "0.000120 7FF (0): ;12;"_s, "1.25 123 (4): Remote ;0; a b "_s, "13.5 ErrorFrame (0): ;0;bus off"_s,
         "14.0 10 (1): 80 ;5"_s, "Recording 1"_s},
        Content::oddNumbers()
            + QStringList{"1.5"_s,      "010.25"_s, "."_s,    "0.1234567"_s, "1A3/"_s,   "/"_s,
                          "Error"_s,    "Remote"_s, "(2):"_s, "(64):"_s,     "(300):"_s, "(0x8):"_s,
                          "(08):"_s,    "():"_s,    "):"_s,   "(2)"_s,       ";"_s,      ";3;"_s,
                          ";15;note"_s, ";1"_s,     "; ;"_s,  "11"_s,        "FF"_s,     Content::repeated(60, "A5"_s)},
        QLatin1Char(' '));
    compareRandomFiles(600, [&random] {
        QString text;
        for (int i = random.below(60); i > 0; --i)
            text += random.line() + random.end();
        return text;
    });
}

void NorvikTxtFileTest::storeCalls_data()
{
    addCallColumns();

    const QStringList nothing{Expected::delivered(0)};
    QTest::newRow("empty file") << "" << nothing;
    QTest::newRow("blank lines") << "\n\n\n" << nothing;
    QTest::newRow("header alone") << "Recording\nof today\n" << nothing;
    QTest::newRow("frames without notes") << plainLine + plainLine << QStringList{Expected::delivered(2)};
    QTest::newRow("frames with notes") << plainLine + "1.5 123 (1): 11 ;0;a\n1.5 123 (1): 11 ;0;b\n"_s
                                       << QStringList{Expected::delivered(3, 2)};
    QTest::newRow("CAN FD is not told") << "1.5 123 (1): 11 ;2;\n" << QStringList{Expected::delivered(1)};
    QTest::newRow("other lines after the last frame")
        << plainLine + "the end\n"_s << QStringList{Expected::delivered(1)};
    QTest::newRow("stop after a batch") << plainLine.repeated(100000) + "12 123 (1): 11\n"_s + plainLine
                                        << QStringList{Expected::delivered(100000), Expected::delivered(0)};
    QTest::newRow("stop at the first line") << "12 123 (1): 11\n"_s + plainLine << nothing;
}

void NorvikTxtFileTest::messagesComeInBatches()
{
    LongLog log;
    log.lines = [](int number) {
        const QByteArray bytes = payload(number);
        const QString title = number % 1000 == 0 ? "title ;0;x\n\n"_s : QString();
        const QString tail = hasNote(number)   ? " ;%1;note of %2"_s.arg(number % 16).arg(number)
                             : number % 3 == 0 ? QString()
                                               : " ;%1;"_s.arg(number % 16);
        return title
               + "%1.%2 %3/x (%4): %5%6%7\n"_s.arg(
                   QString::number(number), QString::number(number % 1000000).rightJustified(6, QLatin1Char('0')),
                   QString::number(identifier(number), 16), QString::number(bytes.size()), Content::digits(bytes),
                   number % 7 == 0 ? " Remote"_s : QString(), tail);
    };
    log.message = [](int number) -> CanRxMessage {
        Frame expected(identifier(number));
        expected.bytes(payload(number)).at(number, number % 1000000).index(static_cast<quint32>(number));
        const int flags = hasNote(number) || number % 3 != 0 ? number % 16 : 0;
        CanRxMessage message = number % 7 == 0 ? expected.remote() : expected;
        message.isExtended = flags & 1;
        message.isFd = flags & 2;
        message.isBrs = flags & 4;
        message.isEsi = flags & 8;
        return message;
    };
    log.note = [](int number) { return hasNote(number) ? "note of %1"_s.arg(number) : QString(); };
    compareBatches(log);
}

void NorvikTxtFileTest::notesAroundTheEndOfABatch()
{
    const auto noted = [](const char *note) { return plainLine.chopped(1) + " ;0;"_s + QLatin1String(note) + "\n"_s; };
    const LoaderRun run(loader,
                        (plainLine.repeated(99998) + noted("a") + noted("b") + noted("c") + plainLine).toUtf8());
    QVERIFY(run.succeeded());
    QCOMPARE(run.store.calls(), QStringList({Expected::delivered(100000, 2), Expected::delivered(2, 1)}));
    QCOMPARE(run.store.notes(), (Notes{{99998, "a"_s}, {99999, "b"_s}, {100000, "c"_s}}));
    const QVector<Call> calls = run.store.log()->calls();
    QCOMPARE(calls.at(1).notes, (Notes{{100000, "c"_s}}));
}

void NorvikTxtFileTest::sampleFiles_data()
{
    QTest::addColumn<Frames>("expected");
    QTest::addColumn<Notes>("notes");

    QTest::newRow("frames.txt") << frames({
        frame(0x1A3, "01 02").extended(),
        Frame(0x7FF).at(1, 600000),
        Frame(0x18FEF100, "FF FF FF 7D FF FF FF FF").at(12, 34000).extended(),
        Frame(0x100, "000102030405060708090A0B").at(12, 500000).fd().brs().esi(),
        Frame(0x123).dlc(4).at(13, 1).remote(),
        Frame(errorFrameId).at(13, 500000),
        Frame(0x10, "80").at(14, 0).extended().brs(),
    }) << Notes{{0, "hello"_s}, {3, "fast"_s}, {5, "bus off"_s}, {6, "5"_s}};
    QTest::newRow("time-without-point.txt") << frames({frame(0x100, "11")}) << Notes();
    QTest::newRow("windows-line-ends.txt")
        << frames({frame(0x100, "11"), Frame(0x101, "22").at(2, 500000)}) << Notes{{0, "a"_s}};
}

void NorvikTxtFileTest::sampleFiles()
{
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);
    check(samplePath("norviktxtfile"), expected, notes);
}

QTEST_GUILESS_MAIN(NorvikTxtFileTest)
#include "tst_norviktxtfile.moc"
