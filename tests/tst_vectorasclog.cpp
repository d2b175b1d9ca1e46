// SPDX-License-Identifier: Apache-2.0
#include "loadertest.h"

using CAN::CanRxMessage;

namespace
{

QString skipped(const QString &line)
{
    return "Skipped line: "_s + line;
}

/*
 * The rules of the format once more, with Qt's plain operations and no thought of speed: what the loader must make of
 * any text, however odd.
 */
bool readFrame(const QString &line, CanRxMessage &message)
{
    const QStringList tokens = Plain::tokens(line);
    if (!line.contains(QLatin1String("BitCount")) || tokens.size() < 6 || !tokens.first().contains(QLatin1Char('.')))
        return false;
    message = CanRxMessage();
    message.timeStamp = Plain::time(tokens.at(0));
    message.channel = static_cast<quint16>(Plain::number(tokens.at(1), 16));
    Plain::readAscIdentifier(tokens.at(2), message);
    int length = 4;
    if (tokens.at(4).contains(QLatin1Char('r'))) {
        message.isRemote = true;
    } else {
        if (tokens.at(4).contains(QLatin1Char('d')) || !Plain::isNumber(tokens.at(4), 10))
            length = 5;
        message.dlc = Plain::byte(tokens.at(length), 10);
    }
    Plain::readAscBytes(tokens, length, message);
    return true;
}

void readPlainly(QTextStream &stream, PlainImport &import)
{
    QString note;
    while (!stream.atEnd()) {
        const QString line = stream.readLine();
        CanRxMessage message;
        if (!readFrame(line, message)) {
            note += skipped(line);
            continue;
        }
        message.messageIndex = import.nextIndex();
        import.add(message, line, note);
        note.clear();
    }
    import.deliver();
    if (!note.isEmpty())
        import.calls.append(Expected::noteToLast(note));
}

/// A frame at 1.5 s on channel 1, as most rows have it.
Frame frame(quint32 id, const char *payload = "")
{
    return Frame(id, payload).at(1, 500000).channel(1);
}

const QString plainLine = "1.5 1 123 Rx d 1 11 BitCount\n"_s;
const Frame plainFrame = frame(0x123, "11");

/// A long log: two skipped lines before some of the frames, on both sides of the ends of the batches.
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

class VectorAscLogTest : public LoaderTest
{
    Q_OBJECT

public:
    VectorAscLogTest()
        : LoaderTest(&CANLogHandler::loadVectorAscLog, DatachunkHelper::VectorAscLog, readPlainly,
                     {"base hex  timestamps absolute\n"_s, "1.5 1 123 Rx d 2 11 22 BitCount = 64"_s,
                      "2.25 2 18FEF100x Tx d 1 AB BitCount = 64"_s,
                      frames({Frame(0x123, "11 22 00 00").dlc(2).at(1, 500000).channel(1),
                              Frame(0x18FEF100, "AB 00 00").dlc(1).at(2, 250000).channel(2).extended()})})
    {
    }

private Q_SLOTS:
    void frameLines_data();
    void frameLines() { compareTexts(); }
    void remoteFrames_data();
    void remoteFrames() { compareTexts(); }
    void lengths_data();
    void lengths() { compareTexts(); }
    void identifiers_data();
    void identifiers();
    void channels_data();
    void channels();

    void skippedLinesAreNotes_data();
    void skippedLinesAreNotes() { compareNotes(); }
    void skippedLinesKeepTheirText_data();
    void skippedLinesKeepTheirText();
    void noteOfSkippedLinesIsLimited();
    void shortLinesAreSkipped_data();
    void shortLinesAreSkipped();

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
    void oddBytesReadAsQtReadsThem() { checkOddBytes(); }
    void veryLongLines_data() { addLongLines(); }
    void veryLongLines() { compareLines(); }
    void randomLinesReadAsThePlainRulesSay_data();
    void randomLinesReadAsThePlainRulesSay();

    void storeCalls_data();
    void storeCalls() { compareCalls(); }
    void messagesComeInBatches_data() { addBatchSizes(); }
    void messagesComeInBatches();
    void skippedLinesAroundTheEndOfABatch_data();
    void skippedLinesAroundTheEndOfABatch();
    void requestsReachTheLoader() { checkRequests(); }
    void fileThatCannotBeOpenedFails_data() { addUnreadablePaths(); }
    void fileThatCannotBeOpenedFails() { checkUnreadablePath(); }
    void sampleFiles_data();
    void sampleFiles();
};

void VectorAscLogTest::frameLines_data()
{
    addLineColumns();

    // The statistics after the payload are read as bytes, too.
    QTest::newRow("statistics") << "1.5 1 1FFx Rx d 2 AA BB Length = 1 BitCount = 64 ID = 511x"
                                << frames({frame(0x1FF, "AA BB 00 00 01 00 00 64 00 00").dlc(2).extended()});
    QTest::newRow("columns apart")
        << "   1.500000 1  1FFx            Rx   d 2 AA BB  Length = 237910 BitCount = 124 ID = 511x  "
        << frames({frame(0x1FF, "AA BB 00 00 10 00 00 24 00 00").dlc(2).extended()});
    QTest::newRow("eight bytes") << "12.000123 2 7FF Tx d 8 00 11 22 33 44 55 66 FF BitCount"
                                 << frames({Frame(0x7FF, "00112233445566FF").at(12, 123).channel(2)});
    QTest::newRow("the last token is no byte")
        << "1.5 1 123 Rx d 2 11 22 BitCount=64" << frames({frame(0x123, "11 22")});
    QTest::newRow("the last token is a byte and lost")
        << "1.5 1 123 RxBitCount d 2 11 22" << frames({frame(0x123, "11").dlc(2)});
    QTest::newRow("fewer bytes than the length")
        << "1.5 1 123 Rx d 8 11 22 BitCount" << frames({frame(0x123, "11 22").dlc(8)});
    QTest::newRow("more bytes than the length")
        << "1.5 1 123 Rx d 1 11 22 33 BitCount" << frames({frame(0x123, "11 22 33").dlc(1)});
    QTest::newRow("bytes without length")
        << "1.5 1 123 Rx d 0 11 22 BitCount" << frames({frame(0x123, "11 22").dlc(0)});
    QTest::newRow("no bytes") << "1.5 1 123 Rx d 0 BitCount" << frames({frame(0x123)});
    QTest::newRow("byte that is no number")
        << "1.5 1 123 Rx d 3 11 xx 33 BitCount" << frames({frame(0x123, "11 00 33")});
    QTest::newRow("low eight bits of a byte") << "1.5 1 123 Rx d 2 1FF 100 BitCount" << frames({frame(0x123, "FF 00")});
    QTest::newRow("the direction is not read")
        << "1.5 1 123 ?? d 1 11 BitCount\n1.5 1 123 r d 1 11 BitCount" << frames({plainFrame, plainFrame});
    QTest::newRow("the word within another word") << "1.5 1 123 Rx d 1 11 xBitCounts" << frames({plainFrame});
    QTest::newRow("the word in front: a time with a point")
        << "BitCount.5 1 123 Rx d 1 11 x" << frames({frame(0x123, "11").at(0, 500000)});
    QTest::newRow("the word in the channel")
        << "1.5 BitCount 123 Rx d 1 11 x" << frames({frame(0x123, "11").channel(0)});
    QTest::newRow("six tokens") << "1.5 1 123 Rx d BitCount" << frames({frame(0x123)});
    QTest::newRow("several lines are numbered")
        << plainLine + plainLine + "1.6 2 124 Rx d 1 22 BitCount"_s
        << frames({plainFrame, plainFrame, Frame(0x124, "22").at(1, 600000).channel(2)});
    QTest::newRow("nothing is left of a longer line before")
        << "1.5 F 1FFFFFFFx Rx d 8 FF FF FF FF FF FF FF FF BitCount\n1.5 1 123 Rx r 0 BitCount\n"_s + plainLine
        << frames({frame(0x1FFFFFFF, "FFFFFFFFFFFFFFFF").channel(0xF).extended(), frame(0x123).remote(), plainFrame});
    QTest::newRow("error frame line with the word") << "1.5 1 ErrorFrame Flags = 0x2 BitCount" << frames({frame(0)});
}

void VectorAscLogTest::remoteFrames_data()
{
    addLineColumns();

    QTest::newRow("r") << "1.5 1 123 Rx r BitCount" << frames({frame(0x123).remote()});
    QTest::newRow("r, extended") << "1.5 1 123x Rx r BitCount" << frames({frame(0x123).remote().extended()});
    QTest::newRow("tokens after it are stored") << "1.5 1 123 Rx r 8 Length = 1 BitCount = 64 ID = 291"
                                                << frames({frame(0x123, "08 00 00 01 00 00 64 00 00").dlc(0).remote()});
    QTest::newRow("r within a word") << "1.5 1 123 Rx xrx 2 11 BitCount"
                                     << frames({frame(0x123, "02 11").dlc(0).remote()});
    QTest::newRow("r and d") << "1.5 1 123 Rx dr 2 11 BitCount" << frames({frame(0x123, "02 11").dlc(0).remote()});
    QTest::newRow("r and a digit") << "1.5 1 123 Rx 8r 2 11 BitCount"
                                   << frames({frame(0x123, "02 11").dlc(0).remote()});
    QTest::newRow("capital R is none") << "1.5 1 123 Rx R 2 11 BitCount" << frames({frame(0x123, "11").dlc(2)});
    QTest::newRow("r in the direction is none") << "1.5 1 123 r 2 11 BitCount" << frames({frame(0x123, "11").dlc(2)});
    QTest::newRow("r in a later token is none")
        << "1.5 1 123 Rx d r 11 BitCount" << frames({frame(0x123, "11").dlc(0)});
    QTest::newRow("error frames are remote frames")
        << "1.5 1 123 Rx error 2 BitCount" << frames({frame(0x123, "02").dlc(0).remote()});
}

void VectorAscLogTest::lengths_data()
{
    addLineColumns();

    QTest::newRow("after d") << "1.5 1 123 Rx d 2 11 22 BitCount" << frames({frame(0x123, "11 22")});
    QTest::newRow("after d within a word") << "1.5 1 123 Rx 3d3 2 11 22 BitCount" << frames({frame(0x123, "11 22")});
    QTest::newRow("after d, no number") << "1.5 1 123 Rx d x 11 22 BitCount" << frames({frame(0x123, "11 22").dlc(0)});
    QTest::newRow("after d, hexadecimal digits are no number")
        << "1.5 1 123 Rx d A 11 BitCount" << frames({frame(0x123, "11").dlc(0)});
    QTest::newRow("after d, leading zero is decimal")
        << "1.5 1 123 Rx d 010 11 BitCount" << frames({frame(0x123, "11").dlc(10)});
    QTest::newRow("without d") << "1.5 1 123 Rx 2 11 22 BitCount" << frames({frame(0x123, "11 22")});
    QTest::newRow("without d, leading zero is decimal")
        << "1.5 1 123 Rx 08 11 BitCount" << frames({frame(0x123, "11").dlc(8)});
    QTest::newRow("other word before it") << "1.5 1 123 Rx D 2 11 22 BitCount" << frames({frame(0x123, "11 22")});
    QTest::newRow("other word, no number")
        << "1.5 1 123 Rx D x 11 22 BitCount" << frames({frame(0x123, "11 22").dlc(0)});
    QTest::newRow("two words before it") << "1.5 1 123 Rx D x 2 11 BitCount" << frames({frame(0x123, "02 11").dlc(0)});
    QTest::newRow("sixty-four") << "1.5 1 123 Rx d 64 11 BitCount" << frames({frame(0x123, "11").dlc(64)});
    QTest::newRow("above the payload") << "1.5 1 123 Rx d 65 11 BitCount" << frames({frame(0x123, "11").dlc(65)});
    QTest::newRow("largest of eight bits") << "1.5 1 123 Rx 255 11 BitCount" << frames({frame(0x123, "11").dlc(255)});
    QTest::newRow("low eight bits") << "1.5 1 123 Rx d 258 11 22 BitCount" << frames({frame(0x123, "11 22")});
    QTest::newRow("low eight bits without d") << "1.5 1 123 Rx 258 11 22 BitCount" << frames({frame(0x123, "11 22")});
    QTest::newRow("more than 32 bits after d")
        << "1.5 1 123 Rx d 4294967298 11 22 BitCount" << frames({frame(0x123, "11 22").dlc(0)});
    QTest::newRow("more than 32 bits without d")
        << "1.5 1 123 Rx 4294967298 1 22 BitCount" << frames({frame(0x123, "22")});
}

void VectorAscLogTest::identifiers_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<uint>("id");
    QTest::addColumn<bool>("extended");

    QTest::newRow("standard") << "1FF" << 0x1FFU << false;
    QTest::newRow("lower case") << "1ff" << 0x1FFU << false;
    QTest::newRow("extended") << "1FFx" << 0x1FFU << true;
    QTest::newRow("largest extended") << "1FFFFFFFx" << 0x1FFFFFFFU << true;
    QTest::newRow("above eleven bits without mark") << "18FEF100" << 0x18FEF100U << false;
    QTest::newRow("capital X is no mark") << "1FFX" << 0U << false;
    QTest::newRow("more than one x") << "1xFxFxx" << 0x1FFU << true;
    QTest::newRow("x elsewhere is no mark") << "x1FF" << 0U << false;
    QTest::newRow("x alone") << "x" << 0U << true;
    QTest::newRow("prefix") << "0x1FF" << 0x1FFU << false;
    QTest::newRow("prefix and mark") << "0x1FFx" << 0x1FFU << true;
    QTest::newRow("text") << "Statistic:" << 0U << false;
    QTest::newRow("32 bits") << "FFFFFFFFx" << 0xFFFFFFFFU << true;
    QTest::newRow("more than 32 bits") << "100000000x" << 0U << true;
}

void VectorAscLogTest::identifiers()
{
    QFETCH(QString, token);
    QFETCH(uint, id);
    QFETCH(bool, extended);

    Frame expected = frame(id, "11");
    if (extended)
        expected.extended();
    check(("1.5 1 "_s + token + " Rx d 1 11 BitCount\n"_s).toUtf8(), frames({expected}));
}

void VectorAscLogTest::channels_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<int>("channel");

    QTest::newRow("one") << "1" << 1;
    QTest::newRow("zero") << "0" << 0;
    QTest::newRow("ten is sixteen") << "10" << 16;
    QTest::newRow("letter") << "a" << 10;
    QTest::newRow("leading zero") << "010" << 16;
    QTest::newRow("largest") << "FFFF" << 0xFFFF;
    QTest::newRow("low 16 bits") << "10000" << 0;
    QTest::newRow("low 16 bits of more") << "12345678" << 0x5678;
    QTest::newRow("low 16 bits of 32") << "FFFFFFFE" << 0xFFFE;
    QTest::newRow("more than 32 bits") << "100000001" << 0;
    QTest::newRow("prefix") << "0x2" << 2;
    QTest::newRow("text") << "CAN1" << 0;
    QTest::newRow("negative") << "-1" << 0;
}

void VectorAscLogTest::channels()
{
    QFETCH(QString, token);
    QFETCH(int, channel);
    check(("1.5 "_s + token + " 123 Rx d 1 11 BitCount\n"_s).toUtf8(),
          frames({frame(0x123, "11").channel(static_cast<quint16>(channel))}));
}

void VectorAscLogTest::skippedLinesAreNotes_data()
{
    addNoteColumns();

    const Frames one = frames({plainFrame});
    const Frames two = frames({plainFrame, plainFrame});

    QTest::newRow("no skipped line") << plainLine + plainLine << two << Notes();
    QTest::newRow("one before the first frame")
        << "date\n"_s + plainLine + plainLine << two << Notes{{0, skipped("date"_s)}};
    QTest::newRow("two before the first frame")
        << "date\nbase hex\n"_s + plainLine << one << Notes{{0, "Skipped line: dateSkipped line: base hex"_s}};
    QTest::newRow("between frames") << plainLine + "// x\n"_s + plainLine << two << Notes{{1, skipped("// x"_s)}};
    QTest::newRow("before each frame") << "a\n"_s + plainLine + "b\nc\n"_s + plainLine << two
                                       << Notes{{0, skipped("a"_s)}, {1, skipped("b"_s) + skipped("c"_s)}};
    QTest::newRow("after the last frame is no note of a frame") << plainLine + "x\n"_s << one << Notes();
    QTest::newRow("empty lines") << "\n\n"_s + plainLine << one << Notes{{0, "Skipped line: Skipped line: "_s}};
    QTest::newRow("the trigger block") << "Begin Triggerblock Sat Sep 30\n"_s + plainLine + "End TriggerBlock\n"_s
                                              + plainLine
                                       << two
                                       << Notes{{0, skipped("Begin Triggerblock Sat Sep 30"_s)},
                                                {1, skipped("End TriggerBlock"_s)}};
    QTest::newRow("frame line without the word")
        << "1.5 1 123 Rx d 1 11\n"_s + plainLine << one << Notes{{0, skipped("1.5 1 123 Rx d 1 11"_s)}};
    QTest::newRow("the word in other letters") << "1.5 1 123 Rx d 1 11 Bitcount\n"_s + plainLine << one
                                               << Notes{{0, skipped("1.5 1 123 Rx d 1 11 Bitcount"_s)}};
    QTest::newRow("the word apart") << "1.5 1 123 Rx d 1 11 Bit Count\n"_s + plainLine << one
                                    << Notes{{0, skipped("1.5 1 123 Rx d 1 11 Bit Count"_s)}};
    QTest::newRow("before a remote frame")
        << "x\n1.5 1 123 Rx r BitCount\n"_s << frames({frame(0x123).remote()}) << Notes{{0, skipped("x"_s)}};
}

void VectorAscLogTest::skippedLinesKeepTheirText_data()
{
    QTest::addColumn<QString>("line");

    QTest::newRow("blanks and tabs") << "  \ta  b \t c   ";
    QTest::newRow("place holders") << "%1 %2 100% %L1 %%";
    QTest::newRow("other scripts") << "\u041a\u0410\u041d \u20ac \U0001F697";
    QTest::newRow("byte-order mark within") << "a\ufeffb";
    QTest::newRow("carriage return within") << "a\rb";
    QTest::newRow("white space alone") << " \t\u00a0\u2003 ";
    QTest::newRow("the text of a note") << "Skipped line: x";
    QTest::newRow("long") << QString(100000, QLatin1Char('x'));
    QTest::newRow("empty") << "";
}

void VectorAscLogTest::noteOfSkippedLinesIsLimited()
{
    constexpr int mebi = 1024 * 1024;
    QTemporaryFile file;
    QVERIFY(file.open());
    const QByteArray line = QByteArray(mebi, 'x') + '\n';
    for (int i = 0; i < 66; ++i)
        QCOMPARE(file.write(line), qint64(line.size()));
    QVERIFY(file.write((plainLine + "after\n"_s + plainLine).toUtf8()) > 0);
    QVERIFY(file.flush());

    // With "Skipped line: " 63 lines are shorter than 64 Mi characters, so one more is taken; the next note is as ever.
    const LoaderRun run(loader, file.fileName());
    QVERIFY(run.succeeded());
    const Notes notes = run.store.notes();
    QCOMPARE(notes.size(), 2);
    QCOMPARE(notes.value(0).size(), 64 * (mebi + 14));
    QCOMPARE(notes.value(1), skipped("after"_s));
}

void VectorAscLogTest::skippedLinesKeepTheirText()
{
    QFETCH(QString, line);

    for (const QString &end : {"\n"_s, "\r\n"_s}) {
        const SampleFile before((line + end + plainLine).toUtf8());
        check(before.path(), frames({plainFrame}), {{0, skipped(line)}});
        const LoaderRun after(loader, (plainLine + line + end).toUtf8());
        QCOMPARE(after.store.calls(), QStringList({Expected::delivered(1), Expected::noteToLast(skipped(line))}));
    }
}

void VectorAscLogTest::shortLinesAreSkipped_data()
{
    QTest::addColumn<QString>("line");

    QTest::newRow("the word alone") << "BitCount";
    QTest::newRow("two tokens") << "1.5 BitCount";
    QTest::newRow("three tokens") << "1.5 1 BitCount";
    QTest::newRow("four tokens") << "1.5 1 123 BitCount";
    QTest::newRow("five tokens") << "1.5 1 123 Rx BitCount";
    QTest::newRow("five tokens of a remote frame") << "1.5 1 123 BitCount r";
    QTest::newRow("blanks around") << "   1.5   BitCount  ";
    QTest::newRow("time without point") << "15 1 123 Rx d 1 11 BitCount";
    QTest::newRow("time without point, comma") << "1,5 1 123 Rx d 1 11 BitCount";
    QTest::newRow("comment with the word") << "// the BitCount column of 1.5 is not reliable";
}

void VectorAscLogTest::shortLinesAreSkipped()
{
    QFETCH(QString, line);
    const SampleFile file((plainLine + line + "\n"_s + plainLine).toUtf8());
    check(file.path(), frames({plainFrame, plainFrame}), {{1, skipped(line)}});
}

void VectorAscLogTest::timeStamps()
{
    QFETCH(QString, token);
    QFETCH(int, seconds);
    QFETCH(int, microseconds);
    check((token + " 1 123 Rx d 1 11 BitCount\n"_s).toUtf8(), frames({frame(0x123, "11").at(seconds, microseconds)}));
}

void VectorAscLogTest::oddNumbersReadAsQtReadsThem_data()
{
    QTest::addColumn<QString>("token");
    for (const QString &token : Content::oddNumbers())
        QTest::newRow(qPrintable(token)) << token;
}

void VectorAscLogTest::oddNumbersReadAsQtReadsThem()
{
    QFETCH(QString, token);

    const quint32 number = token.toUInt(nullptr, 16);
    const auto byte = static_cast<char>(number);
    check(("1.5 "_s + token + " 123 Rx d 1 11 BitCount\n"_s).toUtf8(),
          frames({frame(0x123, "11").channel(static_cast<quint16>(number))}));
    if (token.endsWith(QLatin1Char('x'))) {
        QString digits = token;
        const quint32 id = digits.remove(QLatin1Char('x')).toUInt(nullptr, 16);
        check(("1.5 1 "_s + token + " Rx d 1 11 BitCount\n"_s).toUtf8(), frames({frame(id, "11").extended()}));
    } else {
        check(("1.5 1 "_s + token + " Rx d 1 11 BitCount\n"_s).toUtf8(), frames({frame(number, "11")}));
    }
    check(("1.5 1 123 Rx d 3 11 "_s + token + " 22 BitCount\n"_s).toUtf8(),
          frames({frame(0x123).bytes("\x11" + QByteArray(1, byte) + "\x22")}));

    bool isLength = false;
    const auto length = static_cast<quint8>(token.toUInt(&isLength, 10));
    check(("1.5 1 123 Rx d "_s + token + " 3 4 BitCount\n"_s).toUtf8(), frames({frame(0x123, "03 04").dlc(length)}));
    check(("1.5 1 123 Rx "_s + token + " 3 4 BitCount\n"_s).toUtf8(),
          frames({isLength ? frame(0x123, "03 04").dlc(length) : frame(0x123, "04").dlc(3)}));
}

void VectorAscLogTest::payloadIsCutAtItsCapacity_data()
{
    QTest::addColumn<int>("count");
    for (const int count : {1, 8, 12, 63, 64, 65, 66, 100, 255, 256, 300})
        QTest::addRow("%d bytes", count) << count;
}

void VectorAscLogTest::payloadIsCutAtItsCapacity()
{
    QFETCH(int, count);

    const QByteArray bytes = Content::countedBytes(count);
    const auto content = [&](const QString &kind) {
        return "1.5 1 123 Rx %1 %2 BitCount\n"_s.arg(kind, Content::digits(bytes)).toUtf8() + plainLine.toUtf8();
    };
    const QString number = QString::number(count);
    const Frame expected = frame(0x123).bytes(bytes.left(64)).dlc(static_cast<quint8>(count));
    check(content("d "_s + number), frames({expected, plainFrame}));
    check(content(number), frames({expected, plainFrame}));
    check(content("r"_s), frames({Frame(expected).dlc(0).remote(), plainFrame}));
}

void VectorAscLogTest::loneCarriageReturnEndsNoLine()
{
    check(QByteArray("1.5 1 123 Rx d 1 11 BitCount\r2.5 1 124 Rx d 1 22 BitCount\n"),
          frames({frame(0x123, "11 00 00 01 24 00 0D 01 22").dlc(1)}));
    const SampleFile skippedFirst("date\r1.5 1 123 Rx d 1 11\n" + plainLine.toUtf8());
    check(skippedFirst.path(), frames({plainFrame}), {{0, skipped("date\r1.5 1 123 Rx d 1 11"_s)}});
}

void VectorAscLogTest::randomLinesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 4; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void VectorAscLogTest::randomLinesReadAsThePlainRulesSay()
{
    QFETCH(quint32, seed);

    RandomLines random(
        seed,
        {"1.5 1 1FFx Rx d 2 AA BB Length = 1 BitCount = 64 ID = 511x"_s,
         "   0.100350 1  18FEF100x       Rx   d 8 FF FF FF 7D FF FF FF FF  Length = 271910 BitCount = 140 ID = 4x"_s,
         "1.000000 2 7FF Tx r Length = 90000 BitCount = 48 ID = 2047"_s, "12.25 10 123 Rx 3 1 2 3 BitCount"_s,
         "1.5 1 123 Rx d BitCount"_s, "Begin Triggerblock Sat Sep 30 15:06:13.191 2017"_s},
        Content::oddNumbers()
            + QStringList{"1.5"_s, "1.2.3"_s, "010.25"_s, "."_s, "15"_s, "Rx"_s, "d"_s, "d"_s, "r"_s, "D"_s, "1FFx"_s,
                          "2"_s, "11"_s, "BitCount"_s, "BitCount"_s, "Bitcount"_s, "%1"_s, "="_s,
                          Content::repeated(60, "A5"_s)},
        QLatin1Char(' '));
    compareRandomFiles(150, [&random] {
        QString text;
        for (int i = random.below(120); i > 0; --i)
            text += random.line() + random.end();
        return text;
    });
}

void VectorAscLogTest::storeCalls_data()
{
    addCallColumns();

    QTest::newRow("empty file") << "" << QStringList{Expected::delivered(0)};
    QTest::newRow("header lines only") << "date Sat\nbase hex\nBegin Triggerblock\nEnd TriggerBlock\n"
                                       << QStringList{Expected::delivered(0),
                                                      Expected::noteToLast("Skipped line: date Sat"
                                                                           "Skipped line: base hex"
                                                                           "Skipped line: Begin Triggerblock"
                                                                           "Skipped line: End TriggerBlock"_s)};
    QTest::newRow("one empty line") << "\n" << QStringList{Expected::delivered(0), Expected::noteToLast(skipped({}))};
    QTest::newRow("empty lines") << "\n\r\n"
                                 << QStringList{Expected::delivered(0),
                                                Expected::noteToLast(skipped({}) + skipped({}))};
    QTest::newRow("frames only") << plainLine + plainLine << QStringList{Expected::delivered(2)};
    QTest::newRow("skipped lines before the frames")
        << "a\nb\n"_s + plainLine + plainLine << QStringList{Expected::delivered(2, 1)};
    QTest::newRow("skipped lines between the frames")
        << plainLine + "a\nb\n"_s + plainLine << QStringList{Expected::delivered(2, 1)};
    QTest::newRow("skipped lines after the frames")
        << plainLine + plainLine + "a\nb\n"_s
        << QStringList{Expected::delivered(2), Expected::noteToLast(skipped("a"_s) + skipped("b"_s))};
    QTest::newRow("skipped lines everywhere")
        << "a\n"_s + plainLine + "b\n"_s + plainLine + "c\n"_s
        << QStringList{Expected::delivered(2, 2), Expected::noteToLast(skipped("c"_s))};
    QTest::newRow("last line without end")
        << plainLine + "c"_s << QStringList{Expected::delivered(1), Expected::noteToLast(skipped("c"_s))};
    QTest::newRow("CAN FD is not told") << "1.5 CANFD 1 Rx 123 0 0 1 1 11 BitCount"
                                        << QStringList{Expected::delivered(1)};
}

void VectorAscLogTest::messagesComeInBatches()
{
    LongLog log;
    log.lines = [](int number) {
        const QByteArray bytes = payload(number);
        const QString comment = hasNote(number) ? "// %1\n\n"_s.arg(number) : QString();
        return comment
               + "%1.%2 %3 %4%5 Rx %6 %7 BitCount\n"_s.arg(
                   QString::number(number), QString::number(number % 1000000).rightJustified(6, QLatin1Char('0')),
                   QString::number(number % 0x10000, 16), QString::number(identifier(number), 16),
                   number % 3 == 0 ? "x"_s : QString(), number % 7 == 0 ? "r"_s : "d %1"_s.arg(bytes.size()),
                   Content::digits(bytes));
    };
    log.message = [](int number) -> CanRxMessage {
        Frame expected(identifier(number));
        expected.bytes(payload(number)).at(number, number % 1000000).channel(static_cast<quint16>(number));
        if (number % 3 == 0)
            expected.extended();
        if (number % 7 == 0)
            expected.dlc(0).remote();
        return expected.index(static_cast<quint32>(number));
    };
    log.note = [](int number) { return hasNote(number) ? skipped("// %1"_s.arg(number)) + skipped({}) : QString(); };
    compareBatches(log);
}

void VectorAscLogTest::skippedLinesAroundTheEndOfABatch_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<Notes>("notes");

    const auto lines = [](int count) { return plainLine.repeated(count); };
    QTest::newRow("before the 100000th message")
        << lines(99999) + "a\n"_s + lines(1) << QStringList{Expected::delivered(100000, 1), Expected::delivered(0)}
        << Notes{{99999, skipped("a"_s)}};
    QTest::newRow("after the 100000th message, the file ends")
        << lines(100000) + "a\nb\n"_s
        << QStringList{Expected::delivered(100000), Expected::delivered(0),
                       Expected::noteToLast(skipped("a"_s) + skipped("b"_s))}
        << Notes();
    QTest::newRow("before the 100001st message")
        << lines(100000) + "a\nb\n"_s + lines(1) << QStringList{Expected::delivered(100000), Expected::delivered(1, 1)}
        << Notes{{100000, skipped("a"_s) + skipped("b"_s)}};
    QTest::newRow("on both sides") << lines(99999) + "a\n"_s + lines(1) + "b\n"_s + lines(1) + "c\n"_s
                                   << QStringList{Expected::delivered(100000, 1), Expected::delivered(1, 1),
                                                  Expected::noteToLast(skipped("c"_s))}
                                   << Notes{{99999, skipped("a"_s)}, {100000, skipped("b"_s)}};
}

void VectorAscLogTest::skippedLinesAroundTheEndOfABatch()
{
    QFETCH(QString, text);
    QFETCH(QStringList, calls);
    QFETCH(Notes, notes);

    const LoaderRun run(loader, text.toUtf8());
    QVERIFY(run.succeeded());
    QCOMPARE(run.store.calls(), calls);
    QCOMPARE(run.store.notes(), notes);
    const Frames messages = run.messages();
    for (int i = 0; i < messages.size(); ++i)
        QCOMPARE(messages.at(i).messageIndex, static_cast<quint32>(i));
}

void VectorAscLogTest::sampleFiles_data()
{
    QTest::addColumn<Frames>("expected");
    QTest::addColumn<Notes>("notes");

    QTest::newRow("bit-counts.asc") << frames({
        Frame(0x123, "11 22 33 44 00 00 00 00 00 84 00 00").dlc(4).at(0, 120).channel(1),
        Frame(0x18FEF100, "FF FF FF 7D FF FF FF FF 00 00 10 00 00 40 00 00").dlc(8).at(0, 100350).channel(1).extended(),
        Frame(0x7FF, "00 00 00 00 00 48 00 00").dlc(0).at(1, 0).channel(2).remote(),
    })
                                    << Notes{{0, "Skipped line: date Sat Sep 30 15:06:13.191 2017"
                                                 "Skipped line: base hex  timestamps absolute"
                                                 "Skipped line: no internal events logged"
                                                 "Skipped line: Begin Triggerblock Sat Sep 30 15:06:13.191 2017"_s}};
    QTest::newRow("comments.asc") << frames({
        frame(0x1FF, "AA BB 00 00 01 00 00 64 00 00").dlc(2).extended(),
        Frame(0x100, "01 00 00 01 00 00 60 00 00").dlc(1).at(1, 800000).channel(1),
    })
                                  << Notes{{0, skipped("// a comment"_s)},
                                           {1, skipped("1.6 1 Statistic: D 10 R 0 XD 5"_s)
                                                   + skipped("1.7 2 error passive"_s)}};
}

void VectorAscLogTest::sampleFiles()
{
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);
    check(samplePath("vectorasclog"), expected, notes);
}

QTEST_GUILESS_MAIN(VectorAscLogTest)
#include "tst_vectorasclog.moc"
