// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "encodings.h"
#include "frames.h"
#include "recordingstore.h"

#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTextStream>
#include <QtTest>

#include <algorithm>
#include <iterator>
#include <vector>

using CAN::CanRxMessage;

namespace
{

LoaderRun load(const QByteArray &content)
{
    return LoaderRun(&CANLogHandler::loadSocketCanDump, content);
}

/// The bytes @p count times, each with a blank before it.
QByteArray repeated(int count, const char *token)
{
    QByteArray result;
    for (int i = 0; i < count; ++i)
        result.append(' ').append(token);
    return result;
}

/// The two digits of 1, 2, 3 ... as one text, without blanks.
QByteArray countedPairs(int count)
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes.append(static_cast<char>(i + 1));
    return bytes.toHex();
}

/// The bytes 1, 2, 3 ... that countedPairs() stands for.
QByteArray countedBytes(int count)
{
    return QByteArray::fromHex(countedPairs(count));
}

/*
 * The rules of the format once more, with Qt's plain operations and no thought of speed: what the loader must make of
 * any text, however odd.
 */
namespace PlainRules
{

struct Record {
    CanRxMessage message;
    QString line;
};

bool isExtraInformationForm(const QString &line)
{
    return line.contains(QLatin1String(" - - "));
}

QStringList tokensOf(const QString &line)
{
    return line.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

CanTimeStamp timeStamp(QString token)
{
    token.remove(QLatin1Char('(')).remove(QLatin1Char(')'));
    const QStringList pieces = token.split(QLatin1Char('.'));
    return CanTimeStamp(pieces.first().toInt(nullptr, 0),
                        pieces.last().leftJustified(6, QLatin1Char('0')).toInt(nullptr, 10));
}

quint8 length(QString token)
{
    token.remove(QLatin1Char(']')).remove(QLatin1Char('['));
    return static_cast<quint8>(token.toUInt(nullptr, 10));
}

void storeByte(CanRxMessage &message, int position, const QString &text)
{
    if (position < int(sizeof message.data))
        message.data[position] = static_cast<quint8>(text.toUInt(nullptr, 16));
}

void storeBytes(CanRxMessage &message, const QStringList &tokens, int first)
{
    for (int i = first; i < tokens.size() && i - first + 1 <= message.dlc; ++i)
        storeByte(message, i - first, tokens.at(i));
}

/// False when the line holds no message.
bool read(const QString &line, CanRxMessage &message)
{
    QStringList tokens = tokensOf(line);
    message = CanRxMessage();
    if (isExtraInformationForm(line)) {
        if (tokens.size() < 6)
            return false;
        message.id = tokens.at(4).toUInt(nullptr, 16);
        message.dlc = length(tokens.at(5));
        storeBytes(message, tokens, 6);
        return true;
    }
    if (tokens.size() >= 5) {
        if (!(tokens.first().startsWith(QLatin1Char('(')) && tokens.first().endsWith(QLatin1Char(')'))))
            tokens.prepend(QStringLiteral("(0.0)"));
        message.timeStamp = timeStamp(tokens.at(0));
        message.id = tokens.at(2).toUInt(nullptr, 16);
        message.isExtended = message.id > 0x7FF;
        message.dlc = length(tokens.at(3));
        storeBytes(message, tokens, 4);
        return true;
    }
    if (tokens.size() == 3 && line.contains(QLatin1Char('#'))) {
        message.timeStamp = timeStamp(tokens.at(0));
        const QStringList pieces = tokens.at(2).split(QLatin1Char('#'));
        if (pieces.size() != 2)
            return true;
        message.id = pieces.at(0).toUInt(nullptr, 16);
        message.isExtended = message.id > 0x7FF;
        const QString digits = pieces.at(1);
        for (int i = 0; i < digits.size(); i += 2) {
            const QString pair = digits.mid(i, 2);
            // A last digit without its partner is no byte: it reads as 0.
            storeByte(message, i / 2, pair.size() == 2 ? pair : QString());
        }
        message.dlc = static_cast<quint8>((digits.size() + 1) / 2);
        return true;
    }
    return false;
}

std::vector<Record> readFile(const QString &path)
{
    std::vector<Record> records;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read the sample");
    QTextStream stream(&file);
    while (!stream.atEnd()) {
        Record record;
        record.line = stream.readLine();
        if (read(record.line, record.message)) {
            record.message.messageIndex = static_cast<quint32>(records.size());
            records.push_back(record);
        }
    }
    return records;
}

} // namespace PlainRules

/// Empty when the loader reads from @p content what the plain rules do, else the first difference.
QString differenceFromPlainRules(const QByteArray &content)
{
    const SampleFile file(content);
    const LoaderRun run(&CANLogHandler::loadSocketCanDump, file.path());
    if (!run.succeeded())
        return QStringLiteral("the loader failed");
    const Frames actual = run.messages();
    const std::vector<PlainRules::Record> expected = PlainRules::readFile(file.path());
    for (int i = 0; i < actual.size() && i < int(expected.size()); ++i) {
        const PlainRules::Record &record = expected[static_cast<std::size_t>(i)];
        if (actual.at(i) != record.message)
            return QStringLiteral("line: %1\n      actual:   %2\n      expected: %3")
                .arg(record.line.left(200), describe(actual.at(i)), describe(record.message));
    }
    if (actual.size() != int(expected.size()))
        return QStringLiteral("%1 messages, expected %2").arg(actual.size()).arg(expected.size());
    return QString();
}

/// Byte order and width of a Unicode file; begins with the mark that says which it is.
QByteArray encoded(const QString &text, const QByteArray &encoding)
{
    const QString marked = QChar(QChar::ByteOrderMark) + text;
    if (encoding == "UTF-8")
        return marked.toUtf8();
    const int width = encoding.startsWith("UTF-32") ? 4 : 2;
    const bool littleEndian = encoding.endsWith("LE");
    QByteArray result;
    const auto append = [&](quint32 unit) {
        for (int i = 0; i < width; ++i)
            result.append(static_cast<char>(unit >> 8 * (littleEndian ? i : width - 1 - i)));
    };
    if (width == 4) {
        const QVector<uint> characters = marked.toUcs4();
        for (const uint character : characters)
            append(character);
    } else {
        for (const QChar unit : marked)
            append(unit.unicode());
    }
    return result;
}

/*
 * A long log whose lines all differ, in changing forms and lengths: whatever a record keeps from the one that was in
 * its place before shows.
 */
namespace LongLog
{

quint32 identifier(int number)
{
    const quint32 id = static_cast<quint32>(number) * 2654435761U & 0x1FFFFFFF;
    return number % 3 == 0 ? id & 0x7FF : id;
}

bool isEmpty(int number)
{
    return number % 7 == 0;
}

bool isScreenForm(int number)
{
    return number % 5 == 1;
}

QByteArray payload(int number)
{
    QByteArray bytes;
    // A line of the screen form needs a token more than identifier and length.
    const int size = isScreenForm(number) ? 1 + number % 8 : number % 9;
    for (int i = 0; i < size; ++i)
        bytes.append(static_cast<char>(number + i + 1));
    return bytes;
}

QByteArray line(int number)
{
    const QByteArray id = QByteArray::number(identifier(number), 16).toUpper();
    const QByteArray bytes = payload(number);
    QByteArray text = "(" + QByteArray::number(number) + '.'
                      + QByteArray::number(number % 1000000).rightJustified(6, '0') + ") can0 ";
    if (isEmpty(number))
        text += id + "##1" + bytes.toHex();
    else if (isScreenForm(number))
        text += id + " [" + QByteArray::number(bytes.size()) + "] " + bytes.toHex(' ');
    else
        text += id + '#' + bytes.toHex();
    return text + '\n';
}

CanRxMessage message(int number)
{
    Frame frame;
    frame.at(number, number % 1000000).index(static_cast<quint32>(number));
    CanRxMessage result = frame;
    if (!isEmpty(number)) {
        result = frame.bytes(payload(number));
        result.id = identifier(number);
        result.isExtended = result.id > 0x7FF;
    }
    return result;
}

constexpr int longest = 350001;

QByteArray content(int count)
{
    QByteArray text;
    text.reserve(count * 48);
    for (int i = 0; i < count; ++i)
        text += line(i);
    return text;
}

/// The messages of the longest log, made once.
const std::vector<CanRxMessage> &messages()
{
    static const std::vector<CanRxMessage> all = [] {
        std::vector<CanRxMessage> result;
        result.reserve(longest);
        for (int i = 0; i < longest; ++i)
            result.push_back(message(i));
        return result;
    }();
    return all;
}

/// The position of the first message in @p actual that is not the one of the log from @p first on, or -1.
int firstDifference(const Frames &actual, int first)
{
    const auto expected = messages().cbegin() + first;
    const auto found = std::mismatch(actual.cbegin(), actual.cend(), expected).first;
    return found == actual.cend() ? -1 : static_cast<int>(std::distance(actual.cbegin(), found));
}

} // namespace LongLog

void addLineColumns()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Frames>("expected");
}

} // namespace

class SocketCanDumpTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void screenForm_data();
    void screenForm() { compareLines(); }
    void screenFormWithoutTimeStamp_data();
    void screenFormWithoutTimeStamp() { compareLines(); }
    void extraInformationForm_data();
    void extraInformationForm() { compareLines(); }
    void logFileForm_data();
    void logFileForm() { compareLines(); }
    void otherLinesAreIgnored_data();
    void otherLinesAreIgnored();
    void shortExtraInformationLinesDoNoHarm_data();
    void shortExtraInformationLinesDoNoHarm();

    void timeStamps_data();
    void timeStamps();
    void identifiersReadAsHexadecimal_data();
    void identifiersReadAsHexadecimal();
    void identifierAboveElevenBitsIsExtended_data();
    void identifierAboveElevenBitsIsExtended();
    void lengthsReadAsDecimal_data();
    void lengthsReadAsDecimal();
    void dataReadAsHexadecimal_data();
    void dataReadAsHexadecimal();
    void payloadIsCutAtItsCapacity_data();
    void payloadIsCutAtItsCapacity();

    void anyWhiteSpaceSeparates_data();
    void anyWhiteSpaceSeparates() { compareLines(); }
    void lineEnds_data();
    void lineEnds();
    void byteOrderMarkIsNoPartOfTheFirstLine_data();
    void byteOrderMarkIsNoPartOfTheFirstLine();
    void byteOrderMarkElsewhereIsText_data();
    void byteOrderMarkElsewhereIsText() { compareLines(); }
    void localEightBitEncodingIsTheDefault();
    void oddBytesReadAsQtReadsThem_data();
    void oddBytesReadAsQtReadsThem();
    void linesAcrossBlockBoundaries_data();
    void linesAcrossBlockBoundaries();
    void veryLongLines_data();
    void veryLongLines();
    void randomLinesReadAsThePlainRulesSay_data();
    void randomLinesReadAsThePlainRulesSay();

    void fileWithoutMessagesGivesOneEmptyDelivery_data();
    void fileWithoutMessagesGivesOneEmptyDelivery();
    void messagesComeInBatches_data();
    void messagesComeInBatches();
    void keptBatchesNeverChange_data();
    void keptBatchesNeverChange();
    void linesWithoutMessageDoNotCount();
    void everyImportStartsAfresh();
    void fileThatCannotBeOpenedFails_data();
    void fileThatCannotBeOpenedFails();

    void sampleFiles_data();
    void sampleFiles();

private:
    void compareLines();
};

void SocketCanDumpTest::initTestCase()
{
    // Texts without byte-order mark are read in the system's encoding, which must not depend on who runs the tests.
    LocaleEncoding::set("UTF-8");
}

void SocketCanDumpTest::compareLines()
{
    QFETCH(QString, text);
    QFETCH(Frames, expected);

    const LoaderRun run = load(text.toUtf8());
    QVERIFY(run.succeeded());
    QCOMPARE(run.messages(), expected);
    QCOMPARE(run.store.calls(), QStringList{Expected::delivered(expected.size())});
}

void SocketCanDumpTest::screenForm_data()
{
    addLineColumns();

    QTest::newRow("seconds since 1970") << "(1345212884.318850) can0 123 [2] 11 22"
                                        << frames({Frame(0x123, "11 22").at(1345212884, 318850)});
    QTest::newRow("columns apart") << " (1345212884.318850)  can0  123   [2]  11 22"
                                   << frames({Frame(0x123, "11 22").at(1345212884, 318850)});
    QTest::newRow("time since the last frame")
        << " (000.100220)  can0  123   [1]  11" << frames({Frame(0x123, "11").at(0, 100220)});
    QTest::newRow("eight bytes") << "(1.5) can0 123 [8] 11 22 33 44 55 66 77 88"
                                 << frames({Frame(0x123, "11 22 33 44 55 66 77 88").at(1, 500000)});
    QTest::newRow("several lines") << "(1.5) can0 123 [1] 11\n(2.5) can0 124 [2] 22 33\n(2.6) can1 7FF [1] 44\n"
                                   << frames({Frame(0x123, "11").at(1, 500000), Frame(0x124, "22 33").at(2, 500000),
                                              Frame(0x7FF, "44").at(2, 600000)});
    QTest::newRow("lower-case digits") << "(1.5) can0 1ab [3] aa bB Cc"
                                       << frames({Frame(0x1AB, "AA BB CC").at(1, 500000)});
    QTest::newRow("extended identifier") << "(1.5) can0 18FEF100 [1] FF"
                                         << frames({Frame(0x18FEF100, "FF").at(1, 500000).extended()});

    QTest::newRow("zero bytes and nothing more are four tokens: lost") << "(0.5) can0 123 [0]" << frames();
    QTest::newRow("zero bytes and some text") << "(0.5) can0 123 [0] x" << frames({Frame(0x123).at(0, 500000)});
    QTest::newRow("more bytes than the length says")
        << "(1.5) can0 123 [2] 11 22 33 44" << frames({Frame(0x123, "11 22").at(1, 500000)});
    QTest::newRow("fewer bytes than the length says")
        << "(1.5) can0 123 [4] 11 22" << frames({Frame(0x123, "11 22").dlc(4).at(1, 500000)});
    QTest::newRow("text column after the bytes")
        << "(1.5) can0 123 [2] 41 42 'AB'" << frames({Frame(0x123, "41 42").at(1, 500000)});
    QTest::newRow("text column within the length")
        << "(1.5) can0 123 [3] 41 42 'AB'" << frames({Frame(0x123, "41 42 00").at(1, 500000)});
    QTest::newRow("remote request") << "(1.5) can0 123 [4] remote request"
                                    << frames({Frame(0x123).dlc(4).at(1, 500000)});
    QTest::newRow("CAN FD length with leading zero")
        << "(1.5) can0 123 [08] 11 22 33 44 55 66 77 88" << frames({Frame(0x123, "1122334455667788").at(1, 500000)});
    QTest::newRow("CAN FD frame") << "(1.5) can0 123 [12] 00 01 02 03 04 05 06 07 08 09 0A 0B"
                                  << frames({Frame(0x123, "000102030405060708090A0B").at(1, 500000)});
    QTest::newRow("error frame") << "(1.5) can0 20000004 [8] 00 04 00 00 00 00 00 00 ERRORFRAME"
                                 << frames({Frame(0x20000004, "0004000000000000").at(1, 500000).extended()});

    // The interface is not read.
    QTest::newRow("interface of odd characters")
        << "(1.5) can#0 123 [1] 11" << frames({Frame(0x123, "11").at(1, 500000)});
    QTest::newRow("interface in other script")
        << "(1.5) \u041a\u0410\u041d 123 [1] 11" << frames({Frame(0x123, "11").at(1, 500000)});
    QTest::newRow("interface that looks like a time")
        << "(1.5) (2.5) 123 [1] 11" << frames({Frame(0x123, "11").at(1, 500000)});
    // Without a time in parentheses the first token counts as the interface.
    QTest::newRow("time without parentheses") << "1.5 can0 123 [1] 11" << frames({Frame(0, "00 11").dlc(123)});
    QTest::newRow("time without closing parenthesis") << "(1.5 can0 123 [1] 11" << frames({Frame(0, "00 11").dlc(123)});
    QTest::newRow("time without opening parenthesis") << "1.5) can0 123 [1] 11" << frames({Frame(0, "00 11").dlc(123)});
    QTest::newRow("time torn apart") << "(1. 5) can0 123 [1] 11" << frames({Frame(0)});
    QTest::newRow("lone parenthesis") << "( can0 123 [1] 11" << frames({Frame(0, "00 11").dlc(123)});
    // A log-file line with direction and one token more has the count of the screen form.
    QTest::newRow("number sign within") << "(1.5) can0 123#11 [1] 22" << frames({Frame(0, "22").at(1, 500000)});
    QTest::newRow("dashes at a tab") << "can0\tRX\t-\t-\t123\t[1]\t11" << frames({Frame(0)});
    QTest::newRow("dashes further apart") << "can0 RX -  - 123 [1] 11" << frames({Frame(0)});
    QTest::newRow("dashes at the line's begin") << "- - can0 123 [1] 11" << frames({Frame(0)});
    QTest::newRow("dashes at the line's end")
        << "(1.5) can0 123 [1] 11 - -" << frames({Frame(0x123, "11").at(1, 500000)});
    QTest::newRow("one dash") << "can0 RX - 123 [1] 11" << frames({Frame(0)});
}

void SocketCanDumpTest::screenFormWithoutTimeStamp_data()
{
    addLineColumns();

    QTest::newRow("five tokens") << "can0 123 [2] 11 22" << frames({Frame(0x123, "11 22")});
    QTest::newRow("columns apart") << "  can0  123   [2]  11 22" << frames({Frame(0x123, "11 22")});
    QTest::newRow("extended identifier") << "can0 18FEF100 [2] FF 00"
                                         << frames({Frame(0x18FEF100, "FF 00").extended()});
    QTest::newRow("one byte makes four tokens: lost") << "can0 18FEF100 [1] FF" << frames();
    QTest::newRow("zero bytes and one more token are four: lost") << "can0 123 [0] x" << frames();
    QTest::newRow("zero bytes and two more tokens") << "can0 123 [0] x y" << frames({Frame(0x123)});
    QTest::newRow("one byte and its text column") << "can0 123 [1] 41 'A'" << frames({Frame(0x123, "41")});
    QTest::newRow("eight bytes") << "can0 123 [8] 11 22 33 44 55 66 77 88"
                                 << frames({Frame(0x123, "1122334455667788")});
    QTest::newRow("remote request") << "can0  123   [4]  remote request" << frames({Frame(0x123).dlc(4)});
    QTest::newRow("more bytes than the length says") << "can0 123 [2] 11 22 33" << frames({Frame(0x123, "11 22")});
    QTest::newRow("fewer bytes than the length says") << "can0 123 [8] 11 22" << frames({Frame(0x123, "11 22").dlc(8)});
}

void SocketCanDumpTest::extraInformationForm_data()
{
    addLineColumns();

    QTest::newRow("received") << "can0  RX - -  1A0   [3]  01 02 03" << frames({Frame(0x1A0, "01 02 03")});
    QTest::newRow("sent is not marked") << "can0  TX - -  123   [4]  11 22 33 44"
                                        << frames({Frame(0x123, "11 22 33 44")});
    QTest::newRow("indented") << "  can0  TX - -  123   [4]  11 22 33 44" << frames({Frame(0x123, "11 22 33 44")});
    QTest::newRow("single blanks") << "can0 RX - - 1A0 [1] 01" << frames({Frame(0x1A0, "01")});
    QTest::newRow("zero bytes are six tokens: read") << "can0  RX - -  1A0   [0]" << frames({Frame(0x1A0)});
    QTest::newRow("extended identifier is not marked")
        << "can0  RX - -  18FEF100   [1]  FF" << frames({Frame(0x18FEF100, "FF")});
    QTest::newRow("more bytes than the length says")
        << "can0 RX - - 1A0 [2] 01 02 03 04" << frames({Frame(0x1A0, "01 02")});
    QTest::newRow("fewer bytes than the length says")
        << "can0 RX - - 1A0 [4] 01 02" << frames({Frame(0x1A0, "01 02").dlc(4)});
    QTest::newRow("remote request") << "can0 RX - - 1A0 [2] remote request" << frames({Frame(0x1A0).dlc(2)});
    QTest::newRow("interface and direction are not read") << "(x) ?? - - 1A0 [1] 01" << frames({Frame(0x1A0, "01")});

    // The columns are shifted by a time before them: the identifier is the value of "-", the length is the identifier
    // read as a decimal number.
    QTest::newRow("time before, hexadecimal identifier")
        << "(1.5)  can0  RX - -  1A0   [3]  01 02 03" << frames({Frame(0)});
    QTest::newRow("time before, identifier of decimal digits")
        << "(1.5)  can0  RX - -  123   [3]  01 02 03" << frames({Frame(0, "00 01 02 03").dlc(123)});

    // Any line with the dashes is of this form.
    QTest::newRow("dashes in a log-file line") << "(1.5) can0 123#11 - - 7F [1] 22" << frames({Frame(0)});
    QTest::newRow("dashes after the bytes") << "can0 123 [2] 11 22 33 - - x" << frames({Frame(0x22).dlc(33)});
    QTest::newRow("three dashes") << "can0 RX - - - 1A0 [1] 01" << frames({Frame(0)});
    QTest::newRow("other direction column") << "can0 RX - - 1A0 [1] 01\ncan0 RX B E 1A1 [1] 02\n"
                                            << frames({Frame(0x1A0, "01"), Frame(0)});
}

void SocketCanDumpTest::logFileForm_data()
{
    addLineColumns();

    QTest::newRow("four bytes") << "(1345212884.318850) can0 123#11223344"
                                << frames({Frame(0x123, "11 22 33 44").at(1345212884, 318850)});
    QTest::newRow("extended identifier")
        << "(1345212884.318850) can0 1F334455#1122334455667788"
        << frames({Frame(0x1F334455, "11 22 33 44 55 66 77 88").at(1345212884, 318850).extended()});
    QTest::newRow("no bytes") << "(1.5) can0 123#" << frames({Frame(0x123).at(1, 500000)});
    QTest::newRow("one byte") << "(1.5) can0 123#01" << frames({Frame(0x123, "01").at(1, 500000)});
    QTest::newRow("lower-case digits") << "(1.5) can0 1ab#aabBCc" << frames({Frame(0x1AB, "AA BB CC").at(1, 500000)});
    QTest::newRow("several lines") << "(1.5) can0 123#11\n(2.5) can1 124#2233\n"
                                   << frames({Frame(0x123, "11").at(1, 500000), Frame(0x124, "22 33").at(2, 500000)});
    QTest::newRow("columns apart") << "   (1.5)   can0   123#11   " << frames({Frame(0x123, "11").at(1, 500000)});
    QTest::newRow("time without parentheses") << "1.5 can0 123#11" << frames({Frame(0x123, "11").at(1, 500000)});
    QTest::newRow("time that is none") << "vcan0 x 123#11" << frames({Frame(0x123, "11")});

    QTest::newRow("odd number of digits") << "(1.5) can0 123#112" << frames({Frame(0x123, "11 00").at(1, 500000)});
    QTest::newRow("one digit") << "(1.5) can0 123#1" << frames({Frame(0x123, "00").at(1, 500000)});
    QTest::newRow("remote frame is one pair without value")
        << "(1.5) can0 123#R" << frames({Frame(0x123, "00").at(1, 500000)});
    QTest::newRow("remote frame with length") << "(1.5) can0 123#R8" << frames({Frame(0x123, "00").at(1, 500000)});
    QTest::newRow("points between the bytes shift the pairs")
        << "(1.5) can0 123#11.22.33" << frames({Frame(0x123, "11 00 00 33").at(1, 500000)});
    QTest::newRow("bytes that are no number")
        << "(1.5) can0 123#11xx33" << frames({Frame(0x123, "11 00 33").at(1, 500000)});
    QTest::newRow("byte with a prefix") << "(1.5) can0 123#0x11" << frames({Frame(0x123, "00 11").at(1, 500000)});

    // Anything but one "#" in the last token leaves a message with the time alone.
    QTest::newRow("CAN FD frame is an empty message") << "(1.5) can0 123##1112233" << frames({Frame().at(1, 500000)});
    QTest::newRow("CAN FD frame without bytes") << "(1.5) can0 123##1" << frames({Frame().at(1, 500000)});
    QTest::newRow("two number signs") << "(1.5) can0 123#11#22" << frames({Frame().at(1, 500000)});
    QTest::newRow("number sign at the end") << "(1.5) can0 123#11#" << frames({Frame().at(1, 500000)});
    QTest::newRow("number sign in front") << "(1.5) can0 #123#11" << frames({Frame().at(1, 500000)});
    QTest::newRow("extended identifier of an empty message")
        << "(1.5) can0 18FEF100##1112233" << frames({Frame().at(1, 500000)});
    QTest::newRow("number sign in the interface alone") << "(1.5) can#0 123" << frames({Frame().at(1, 500000)});
    QTest::newRow("number sign in the time alone") << "(1.5)# can0 123" << frames({Frame().at(1, 0)});
    QTest::newRow("comment of three tokens") << "# three tokens" << frames({Frame()});

    QTest::newRow("number sign in the interface too")
        << "(1.5) can#0 123#11" << frames({Frame(0x123, "11").at(1, 500000)});
    QTest::newRow("number sign in the time too") << "(1.5)# can0 123#11" << frames({Frame(0x123, "11").at(1, 0)});
    QTest::newRow("number sign alone") << "(1.5) can0 #" << frames({Frame().at(1, 500000)});
    QTest::newRow("no identifier") << "(1.5) can0 #1122" << frames({Frame(0, "11 22").at(1, 500000)});
    QTest::newRow("message after an empty one")
        << "(1.5) can0 7FF#FF\n(2.5) can0 7FF##1FF\n(3.5) can0 001#\n"
        << frames({Frame(0x7FF, "FF").at(1, 500000), Frame().at(2, 500000), Frame(1).at(3, 500000)});
}

void SocketCanDumpTest::otherLinesAreIgnored_data()
{
    QTest::addColumn<QString>("line");

    QTest::newRow("empty") << "";
    QTest::newRow("blanks") << "    ";
    QTest::newRow("tabs") << "\t\t";
    QTest::newRow("one token") << "(1.5)";
    QTest::newRow("one token with number sign") << "123#11";
    QTest::newRow("two tokens") << "(1.5) can0";
    QTest::newRow("two tokens with number sign") << "can0 123#11";
    QTest::newRow("three tokens without number sign") << "(1.5) can0 123";
    QTest::newRow("three tokens of the screen form") << "can0 123 [0]";
    QTest::newRow("four tokens of the screen form") << "can0 123 [1] 11";
    QTest::newRow("four tokens with time") << "(0.5) can0 123 [0]";
    QTest::newRow("four tokens with number sign") << "(1.5) can0 123#11 R";
    QTest::newRow("number sign apart") << "(1.5) can0 123 #11";
    QTest::newRow("full-width number sign") << "(1.5) can0 123\uff0311";
    QTest::newRow("comment of two tokens") << "# comment";
}

void SocketCanDumpTest::otherLinesAreIgnored()
{
    QFETCH(QString, line);

    const LoaderRun alone = load(line.toUtf8());
    QVERIFY(alone.succeeded());
    QCOMPARE(alone.messages(), frames());
    QCOMPARE(alone.store.calls(), QStringList{Expected::delivered(0)});

    const LoaderRun among = load("(1.5) can0 123#11\n" + line.toUtf8() + "\n(2.5) can0 124#22\n");
    QVERIFY(among.succeeded());
    QCOMPARE(among.messages(), frames({Frame(0x123, "11").at(1, 500000), Frame(0x124, "22").at(2, 500000)}));
}

void SocketCanDumpTest::shortExtraInformationLinesDoNoHarm_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("dashes alone") << " - - ";
    QTest::newRow("dashes and one token") << " - - 123";
    QTest::newRow("three tokens") << "x - - ";
    QTest::newRow("four tokens") << "can0 RX - - ";
    QTest::newRow("five tokens") << "can0 RX - - 123";
    QTest::newRow("five tokens with number sign") << "can0 RX - - 123#11";
}

void SocketCanDumpTest::shortExtraInformationLinesDoNoHarm()
{
    QFETCH(QString, line);

    // Whether such a line is a message is open; the lines around it are.
    const LoaderRun run = load("(1.5) can0 123#11\n" + line.toUtf8() + "\n(2.5) can0 124#22\n");
    QVERIFY(run.succeeded());
    const Frames messages = run.messages();
    QVERIFY(messages.size() == 2 || messages.size() == 3);
    QCOMPARE(messages.first(), CanRxMessage(Frame(0x123, "11").at(1, 500000).index(0)));
    QCOMPARE(messages.last(),
             CanRxMessage(Frame(0x124, "22").at(2, 500000).index(static_cast<quint32>(messages.size() - 1))));

    QVERIFY(load(line.toUtf8()).succeeded());
}

void SocketCanDumpTest::timeStamps_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("microseconds");

    QTest::newRow("six digits") << "(1345212884.318850)" << 1345212884 << 318850;
    QTest::newRow("one digit") << "(1.5)" << 1 << 500000;
    QTest::newRow("two digits") << "(1.05)" << 1 << 50000;
    QTest::newRow("five digits") << "(1.12345)" << 1 << 123450;
    QTest::newRow("seven digits are not cut") << "(1.1234567)" << 1 << 1234567;
    QTest::newRow("nine digits are not cut") << "(1.123456789)" << 1 << 123456789;
    QTest::newRow("leading zeros of the fraction are decimal") << "(1.000010)" << 1 << 10;
    QTest::newRow("zero") << "(0.0)" << 0 << 0;
    QTest::newRow("no point") << "(17)" << 17 << 170000;
    QTest::newRow("no point, six digits") << "(123456)" << 123456 << 123456;
    QTest::newRow("no point, more digits") << "(1234567)" << 1234567 << 1234567;
    QTest::newRow("no point, octal") << "(010)" << 8 << 10000;
    QTest::newRow("no point, hexadecimal") << "(0x10)" << 16 << 0;
    QTest::newRow("no point, negative") << "(-1)" << -1 << -10000;
    QTest::newRow("two points") << "(1.2.3)" << 1 << 300000;
    QTest::newRow("many points") << "(1.x.y.z.25)" << 1 << 250000;
    QTest::newRow("no whole part") << "(.5)" << 0 << 500000;
    QTest::newRow("no fraction") << "(5.)" << 5 << 0;
    QTest::newRow("point alone") << "(.)" << 0 << 0;
    QTest::newRow("points alone") << "(...)" << 0 << 0;
    QTest::newRow("nothing") << "()" << 0 << 0;
    QTest::newRow("more parentheses") << "(((1.5)))" << 1 << 500000;
    QTest::newRow("parentheses inside") << "(1()2.(5)1)" << 12 << 510000;
    QTest::newRow("octal") << "(010.5)" << 8 << 500000;
    QTest::newRow("octal with leading zeros") << "(0000017.5)" << 15 << 500000;
    QTest::newRow("no octal digit") << "(08.5)" << 0 << 500000;
    QTest::newRow("hexadecimal") << "(0x10.5)" << 16 << 500000;
    QTest::newRow("hexadecimal, upper case") << "(0X1F.5)" << 31 << 500000;
    QTest::newRow("hexadecimal digits without prefix") << "(1F.5)" << 0 << 500000;
    QTest::newRow("prefix alone") << "(0x.5)" << QStringLiteral("0x").toInt(nullptr, 0) << 500000;
    QTest::newRow("binary prefix") << "(0b11.5)" << QStringLiteral("0b11").toInt(nullptr, 0) << 500000;
    QTest::newRow("negative") << "(-5.5)" << -5 << 500000;
    QTest::newRow("negative octal") << "(-010.5)" << QStringLiteral("-010").toInt(nullptr, 0) << 500000;
    QTest::newRow("negative hexadecimal") << "(-0x10.5)" << QStringLiteral("-0x10").toInt(nullptr, 0) << 500000;
    QTest::newRow("plus") << "(+5.5)" << QStringLiteral("+5").toInt(nullptr, 0) << 500000;
    QTest::newRow("two signs") << "(--5.5)" << 0 << 500000;
    QTest::newRow("sign alone") << "(-.5)" << 0 << 500000;
    QTest::newRow("negative fraction") << "(1.-5)" << 1 << -50000;
    QTest::newRow("plus in the fraction") << "(1.+5)" << 1 << QStringLiteral("+50000").toInt(nullptr, 10);
    QTest::newRow("hexadecimal fraction") << "(1.0x1)" << 1 << 0;
    QTest::newRow("octal fraction is decimal") << "(1.010000)" << 1 << 10000;
    QTest::newRow("fraction with letters") << "(1.5x)" << 1 << 0;
    QTest::newRow("exponent") << "(1.1e3)" << 1 << 0;
    QTest::newRow("decimal comma") << "(1,5)" << 0 << 0;
    QTest::newRow("group separators") << "(1,345,212.5)" << 0 << 500000;
    QTest::newRow("time of day") << "(12:30:15.5)" << 0 << 500000;
    QTest::newRow("date and time") << "(2009-07-15_12:30:15.123456)" << 0 << 123456;
    QTest::newRow("text") << "(abc.def)" << 0 << 0;
    QTest::newRow("largest seconds") << "(2147483647.5)" << 2147483647 << 500000;
    QTest::newRow("seconds of more than 31 bits") << "(2147483648.5)" << 0 << 500000;
    QTest::newRow("seconds of more than 32 bits") << "(4294967301.5)" << 0 << 500000;
    QTest::newRow("seconds of more than 64 bits") << "(18446744073709551617.5)" << 0 << 500000;
    QTest::newRow("smallest seconds") << "(-2147483648.5)" << std::numeric_limits<int>::min() << 500000;
    QTest::newRow("seconds below 32 bits") << "(-2147483649.5)" << 0 << 500000;
    QTest::newRow("hexadecimal seconds of 32 bits") << "(0xFFFFFFFF.5)" << 0 << 500000;
    QTest::newRow("largest fraction") << "(1.2147483647)" << 1 << 2147483647;
    QTest::newRow("fraction of more than 31 bits") << "(1.2147483648)" << 1 << 0;
    QTest::newRow("fraction of more than 64 bits") << "(1.99999999999999999999)" << 1 << 0;
    QTest::newRow("digits of another script") << "(\u0661.\u0665)" << QStringLiteral("\u0661").toInt(nullptr, 0)
                                              << QStringLiteral("\u066500000").toInt(nullptr, 10);
    QTest::newRow("full-width digits") << "(\uff11.\uff15)" << QStringLiteral("\uff11").toInt(nullptr, 0)
                                       << QStringLiteral("\uff1500000").toInt(nullptr, 10);
    QTest::newRow("minus sign that is no hyphen")
        << "(\u22125.5)" << QStringLiteral("\u22125").toInt(nullptr, 0) << 500000;
}

void SocketCanDumpTest::timeStamps()
{
    QFETCH(QString, token);
    QFETCH(int, seconds);
    QFETCH(int, microseconds);

    const Frames expected = frames({Frame(0x123, "11 22").at(seconds, microseconds)});
    QCOMPARE(load(token.toUtf8() + " can0 123 [2] 11 22\n").messages(), expected);
    QCOMPARE(load(token.toUtf8() + " can0 123#1122\n").messages(), expected);
    // The log-file form takes the time with and without parentheses.
    QString bare = token;
    bare.remove(QLatin1Char('(')).remove(QLatin1Char(')'));
    if (!bare.isEmpty())
        QCOMPARE(load(bare.toUtf8() + " can0 123#1122\n").messages(), expected);
}

void SocketCanDumpTest::identifiersReadAsHexadecimal_data()
{
    QTest::addColumn<QString>("token");

    for (const char *token : {"0",
                              "1",
                              "7FF",
                              "7ff",
                              "7fF",
                              "00000123",
                              "1FFFFFFF",
                              "1ABCDEFf",
                              "0x123",
                              "0X7fF",
                              "0x",
                              "x123",
                              "123h",
                              "+123",
                              "-123",
                              "-1",
                              "--1",
                              "+",
                              "-",
                              "FFFFFFFF",
                              "ffffffff",
                              "100000000",
                              "1FFFFFFFF",
                              "FFFFFFFFFFFFFFFF",
                              "10000000000000000",
                              "123456789012345678901234567890",
                              "0000000000000000000000000000000123",
                              "12G",
                              "G12",
                              "12.3",
                              "1,234",
                              "1e3",
                              "0b11",
                              "\u0661\u0662",
                              "\uff11\uff12",
                              "12\u0663",
                              "\u00b2",
                              "12\u200b3",
                              "\u22121",
                              "[123]",
                              "(123)",
                              "\xef\xbb\xbf"
                              "123",
                              "0x0x1",
                              "0x+1",
                              "+0x1",
                              "-0x1",
                              "123\u20ac"})
        QTest::newRow(token) << QString::fromUtf8(token);
}

void SocketCanDumpTest::identifiersReadAsHexadecimal()
{
    QFETCH(QString, token);

    const quint32 id = token.toUInt(nullptr, 16);
    const QByteArray bytes = token.toUtf8();

    QCOMPARE(load("can0 RX - - " + bytes + " [1] 11\n").messages(), frames({Frame(id, "11")}));
    Frame timed = Frame(id, "11").at(1, 500000);
    if (id > 0x7FF)
        timed.extended();
    QCOMPARE(load("(1.5) can0 " + bytes + " [1] 11\n").messages(), frames({timed}));
    QCOMPARE(load("(1.5) can0 " + bytes + "#11\n").messages(), frames({timed}));
}

void SocketCanDumpTest::identifierAboveElevenBitsIsExtended_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<uint>("id");
    QTest::addColumn<bool>("extended");

    QTest::newRow("zero") << "000" << 0U << false;
    QTest::newRow("largest standard") << "7FF" << 0x7FFU << false;
    QTest::newRow("eight digits, standard value") << "000007FF" << 0x7FFU << false;
    QTest::newRow("eight digits of zero") << "00000000" << 0U << false;
    QTest::newRow("smallest extended") << "800" << 0x800U << true;
    QTest::newRow("eight digits, extended value") << "00000800" << 0x800U << true;
    QTest::newRow("largest extended") << "1FFFFFFF" << 0x1FFFFFFFU << true;
    QTest::newRow("highest bit") << "80000000" << 0x80000000U << true;
    QTest::newRow("all bits") << "FFFFFFFF" << 0xFFFFFFFFU << true;
    QTest::newRow("more than 32 bits") << "100000123" << 0U << false;
    QTest::newRow("no number") << "xyz" << 0U << false;
}

void SocketCanDumpTest::identifierAboveElevenBitsIsExtended()
{
    QFETCH(QString, token);
    QFETCH(uint, id);
    QFETCH(bool, extended);

    Frame frame = Frame(id, "11").at(1, 500000);
    if (extended)
        frame.extended();
    const QByteArray bytes = token.toUtf8();
    QCOMPARE(load("(1.5) can0 " + bytes + " [1] 11\n").messages(), frames({frame}));
    QCOMPARE(load("(1.5) can0 " + bytes + "#11\n").messages(), frames({frame}));
    // The form with extra information has no mark for it.
    QCOMPARE(load("can0 RX - - " + bytes + " [1] 11\n").messages(), frames({Frame(id, "11")}));
}

void SocketCanDumpTest::lengthsReadAsDecimal_data()
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<int>("length");

    QTest::newRow("zero") << "[0]" << 0;
    QTest::newRow("two") << "[2]" << 2;
    QTest::newRow("leading zeros") << "[002]" << 2;
    QTest::newRow("eight with leading zero is no octal") << "[08]" << 8;
    QTest::newRow("ten is decimal") << "[10]" << 10;
    QTest::newRow("without brackets") << "2" << 2;
    QTest::newRow("more brackets") << "[[2]]" << 2;
    QTest::newRow("brackets inside and reversed") << "]1[2[" << 12;
    QTest::newRow("no closing bracket") << "[2" << 2;
    QTest::newRow("brackets alone") << "[]" << 0;
    QTest::newRow("text") << "[x]" << 0;
    QTest::newRow("other parentheses") << "(2)" << 0;
    QTest::newRow("digits and text") << "[2x]" << 0;
    QTest::newRow("hexadecimal digit") << "[A]" << 0;
    QTest::newRow("hexadecimal prefix") << "[0x2]" << 0;
    QTest::newRow("negative") << "[-1]" << 0;
    QTest::newRow("plus") << "[+2]" << int(QStringLiteral("+2").toUInt());
    QTest::newRow("fraction") << "[2.0]" << 0;
    QTest::newRow("sixty-four") << "[64]" << 64;
    QTest::newRow("above the payload") << "[65]" << 65;
    QTest::newRow("largest of eight bits") << "[255]" << 255;
    QTest::newRow("low eight bits of 256") << "[256]" << 0;
    QTest::newRow("low eight bits of 258") << "[258]" << 2;
    QTest::newRow("low eight bits of 65539") << "[65539]" << 3;
    QTest::newRow("low eight bits of the largest of 32 bits") << "[4294967295]" << 255;
    QTest::newRow("more than 32 bits") << "[4294967298]" << 0;
    QTest::newRow("more than 64 bits") << "[18446744073709551618]" << 0;
    QTest::newRow("digits of another script") << "[\u0662]" << int(QStringLiteral("\u0662").toUInt());
    QTest::newRow("full-width digits") << "[\uff12]" << int(QStringLiteral("\uff12").toUInt());
}

void SocketCanDumpTest::lengthsReadAsDecimal()
{
    QFETCH(QString, token);
    QFETCH(int, length);

    const QByteArray bytes = token.toUtf8();
    const QByteArray data(qMin(length, 12), '\x5A');
    const Frame frame = Frame(0x123).bytes(data).dlc(static_cast<quint8>(length));
    QCOMPARE(load("can0 RX - - 123 " + bytes + repeated(12, "5A")).messages(), frames({frame}));
    QCOMPARE(load("can0 123 " + bytes + repeated(12, "5A")).messages(), frames({frame}));
    QCOMPARE(load("(0.0) can0 123 " + bytes + repeated(12, "5A")).messages(), frames({frame}));
}

void SocketCanDumpTest::dataReadAsHexadecimal_data()
{
    QTest::addColumn<QString>("token");

    for (const char *token :
         {"0",          "1",      "F",   "f",    "00",       "11",       "fF",        "Ff",
          "012",        "100",    "1FF", "0011", "12345678", "7FFFFFFF", "100000000", "10000000000000000",
          "0x11",       "0X1f",   "0x",  "x1",   "1x",       "zz",       "+1",        "+",
          "-",          ".1",     "1.",  "'A'",  "\u0661",   "\uff11",   "1\u0301",   "\u00bd",
          "\U0001d7d9", "1\u200b"})
        QTest::newRow(token) << QString::fromUtf8(token);
}

void SocketCanDumpTest::dataReadAsHexadecimal()
{
    QFETCH(QString, token);

    // The low eight bits of the value, 0 when there is none.
    const QByteArray expected(1, static_cast<char>(token.toUInt(nullptr, 16)));
    const QByteArray bytes = token.toUtf8();
    const Frames screen = frames({Frame(0x123).bytes("\x11" + expected + "\x22")});
    QCOMPARE(load("can0 RX - - 123 [3] 11 " + bytes + " 22").messages(), screen);
    QCOMPARE(load("can0 123 [3] 11 " + bytes + " 22").messages(), screen);
    // The log-file form takes two characters a byte.
    if (token.size() == 2)
        QCOMPARE(load("(0.0) can0 123#11" + bytes + "22").messages(), screen);
}

void SocketCanDumpTest::payloadIsCutAtItsCapacity_data()
{
    QTest::addColumn<int>("count");
    for (const int count : {1, 8, 12, 63, 64, 65, 66, 100, 128, 255, 256, 257, 300, 512, 1000, 65536, 65600})
        QTest::addRow("%d bytes", count) << count;
}

void SocketCanDumpTest::payloadIsCutAtItsCapacity()
{
    QFETCH(int, count);

    const auto length = static_cast<quint8>(count);
    const QByteArray bytes = countedBytes(count);
    const QByteArray number = QByteArray::number(count);
    const QByteArray tokens = bytes.toHex(' ') + " FE FD";

    // The log-file form stores every pair up to the capacity, whatever its eight-bit length says.
    QCOMPARE(load("(0.0) can0 123#" + countedPairs(count)).messages(),
             frames({Frame(0x123).bytes(bytes.left(64)).dlc(length)}));

    // The screen forms store no more bytes than the eight-bit length.
    const Frame screen = Frame(0x123).bytes(bytes.left(qMin(64, int(length)))).dlc(length);
    QCOMPARE(load("can0 123 [" + number + "] " + tokens).messages(), frames({screen}));
    QCOMPARE(load("can0 RX - - 123 [" + number + "] " + tokens).messages(), frames({screen}));
    QCOMPARE(load("(0.0) can0 123 [" + number + "] " + tokens + "\n(1.5) can0 124#11\n").messages(),
             frames({screen, Frame(0x124, "11").at(1, 500000)}));
}

void SocketCanDumpTest::anyWhiteSpaceSeparates_data()
{
    addLineColumns();

    const std::pair<const char *, const char *> spaces[] = {
        {"tab", "\t"},
        {"vertical tab", "\v"},
        {"form feed", "\f"},
        {"carriage return", "\r"},
        {"next line U+0085", "\u0085"},
        {"no-break space U+00A0", "\u00a0"},
        {"ogham space U+1680", "\u1680"},
        {"em space U+2003", "\u2003"},
        {"line separator U+2028", "\u2028"},
        {"paragraph separator U+2029", "\u2029"},
        {"narrow no-break space U+202F", "\u202f"},
        {"ideographic space U+3000", "\u3000"},
        {"many of many kinds", " \t\u00a0 \u2003\u3000\u0085\r\v "},
    };
    for (const auto &[name, utf8] : spaces) {
        const QString space = QString::fromUtf8(utf8);
        QTest::addRow("%s in the screen form", name)
            << QStringLiteral("%1(1.5)%1can0%1123%1[2]%111%122%1").replace(QLatin1String("%1"), space)
            << frames({Frame(0x123, "11 22").at(1, 500000)});
        QTest::addRow("%s in the log-file form", name)
            << QStringLiteral("%1(1.5)%1can0%1123#1122%1").replace(QLatin1String("%1"), space)
            << frames({Frame(0x123, "11 22").at(1, 500000)});
        QTest::addRow("%s in the form with extra information", name)
            << QStringLiteral("%1can0%1RX - - 123%1[2]%111%122%1").replace(QLatin1String("%1"), space)
            << frames({Frame(0x123, "11 22")});
        // Only blanks stand around the dashes of that form.
        QTest::addRow("%s around the dashes", name)
            << QStringLiteral("can0 RX%1-%1-%1123 [2] 11 22").replace(QLatin1String("%1"), space) << frames({Frame(0)});
        QTest::addRow("%s in every line end", name)
            << QStringLiteral("(1.5) can0 123#11%1\n%1\n%1(1.5) can0 124#22%1\n").replace(QLatin1String("%1"), space)
            << frames({Frame(0x123, "11").at(1, 500000), Frame(0x124, "22").at(1, 500000)});
    }

    // These look like white space but are none.
    const std::pair<const char *, const char *> others[] = {
        {"zero-width space U+200B", "\u200b"},
        {"zero-width no-break space U+FEFF", "\ufeff"},
        {"mongolian vowel separator U+180E", "\u180e"},
        {"word joiner U+2060", "\u2060"},
        {"unit separator U+001F", "\x1f"},
    };
    for (const auto &[name, utf8] : others) {
        QTest::addRow("%s does not", name)
            << QStringLiteral("(1.5) can0%1 123#1122").replace(QLatin1String("%1"), QString::fromUtf8(utf8))
            << frames({Frame(0x123, "11 22").at(1, 500000)});
        QTest::addRow("%s joins", name)
            << QStringLiteral("(1.5)%1can0 123#1122").replace(QLatin1String("%1"), QString::fromUtf8(utf8)) << frames();
    }
}

void SocketCanDumpTest::lineEnds_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Frames>("expected");

    const Frames two = frames({Frame(0x123, "11").at(1, 500000), Frame(0x124, "22").at(2, 500000)});
    const QByteArray first("(1.5) can0 123#11");
    const QByteArray second("(2.5) can0 124#22");

    QTest::newRow("LF") << first + '\n' + second + '\n' << two;
    QTest::newRow("LF, none at the end") << first + '\n' + second << two;
    QTest::newRow("CR LF") << first + "\r\n" + second + "\r\n" << two;
    QTest::newRow("CR LF, none at the end") << first + "\r\n" + second << two;
    QTest::newRow("CR LF, only CR at the end") << first + "\r\n" + second + '\r' << two;
    QTest::newRow("LF, only CR at the end") << first + '\n' + second + '\r' << two;
    QTest::newRow("mixed") << first + '\n' + second + "\r\n" << two;
    QTest::newRow("CR CR LF") << first + "\r\r\n" + second + "\r\r\n" << two;
    QTest::newRow("LF CR") << first + "\n\r" + second + "\n\r" << two;
    QTest::newRow("empty lines") << "\n\n" + first + "\n\n\n" + second + "\n\n" << two;
    QTest::newRow("empty lines of CR LF") << "\r\n\r\n" + first + "\r\n\r\n" + second + "\r\n\r\n" << two;
    QTest::newRow("several CR at the end") << first + '\n' + second + "\r\r\r" << two;
    // A lone CR does not end a line: it is white space, and two lines of three tokens become one of six.
    QTest::newRow("lone CR between two log-file lines") << first + '\r' + second << frames({Frame(0).at(1, 500000)});
    QTest::newRow("lone CR between two screen lines")
        << QByteArray("can0 123 [1] 11 22\rcan0 124 [1] 33 44") << frames({Frame(0x123, "11")});
    QTest::newRow("lone CR within the columns") << QByteArray("(1.5)\rcan0\r123#11\n") + second << two;
    QTest::newRow("form feed, vertical tab and U+2028 do not end a line")
        << first + "\f\n" + second + "\v" + "\xe2\x80\xa8" << two;
    QTest::newRow("CR in place of a blank of the dashes")
        << QByteArray("can0 RX - -\r123 [1] 11") << frames({Frame(0)});
}

void SocketCanDumpTest::lineEnds()
{
    QFETCH(QByteArray, content);
    QFETCH(Frames, expected);

    const LoaderRun run = load(content);
    QVERIFY(run.succeeded());
    QCOMPARE(run.messages(), expected);
}

void SocketCanDumpTest::byteOrderMarkIsNoPartOfTheFirstLine_data()
{
    QTest::addColumn<QByteArray>("encoding");
    for (const char *encoding : {"UTF-8", "UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"})
        QTest::newRow(encoding) << QByteArray(encoding);
}

void SocketCanDumpTest::byteOrderMarkIsNoPartOfTheFirstLine()
{
    QFETCH(QByteArray, encoding);

    const Frames expected = frames({Frame(0x123, "11 22").at(1, 500000), Frame(0x124, "33").at(2, 500000)});
    for (const char *end : {"\n", "\r\n"}) {
        QString text = QStringLiteral("(1.5) can0 123 [2] 11 22\n(2.5) \u041a\U0001F697 124#33\n");
        text.replace(QLatin1Char('\n'), QLatin1String(end));
        QCOMPARE(load(encoded(text, encoding)).messages(), expected);
        text.chop(int(qstrlen(end)));
        QCOMPARE(load(encoded(text, encoding)).messages(), expected);
    }
    // The first line in the form with extra information, whose test looks at the raw line.
    QCOMPARE(load(encoded(QStringLiteral("can0 RX - - 123 [1] 11"), encoding)).messages(),
             frames({Frame(0x123, "11")}));

    const LoaderRun markOnly = load(encoded(QString(), encoding));
    QVERIFY(markOnly.succeeded());
    QCOMPARE(markOnly.store.calls(), QStringList{Expected::delivered(0)});

    // Long enough for many blocks, in characters as in bytes.
    QString text;
    for (int i = 0; i < 5000; ++i)
        text += QString::fromUtf8(LongLog::line(i)).replace(QLatin1String("can0"), QStringLiteral("c\u20ac\U0001F697"));
    const Frames messages = load(encoded(text, encoding)).messages();
    QCOMPARE(messages.size(), 5000);
    for (int i = 0; i < messages.size(); ++i)
        QCOMPARE(messages.at(i), LongLog::message(i));
}

void SocketCanDumpTest::byteOrderMarkElsewhereIsText_data()
{
    addLineColumns();
    QTest::newRow("before the second line") << "(1.5) can0 123 [1] 11\n\ufeff(2.5) can0 124 [1] 22\n"
                                            << frames({Frame(0x123, "11").at(1, 500000), Frame(0, "00 22").dlc(124)});
    QTest::newRow("after a blank") << " \ufeff(2.5) can0 124 [1] 22\n" << frames({Frame(0, "00 22").dlc(124)});
    QTest::newRow("in an identifier") << "(1.5) can0 \ufeff124#22\n" << frames({Frame(0, "22").at(1, 500000)});
}

void SocketCanDumpTest::localEightBitEncodingIsTheDefault()
{
    // 0xA0 is a no-break space in ISO 8859-1 and no character of its own in UTF-8.
    const QByteArray content("(1.5)\xa0"
                             "can0\xa0"
                             "123#1122\n");
    QCOMPARE(load(content).messages(), frames());

    const LocaleEncoding latin("ISO 8859-1");
    const Frames inLatin = LocaleEncoding::canBeSet ? frames({Frame(0x123, "11 22").at(1, 500000)}) : frames();
    QCOMPARE(load(content).messages(), inLatin);
    // A byte-order mark outdoes the system's encoding.
    QCOMPARE(load(QByteArray("\xef\xbb\xbf") + content).messages(), frames());
}

void SocketCanDumpTest::oddBytesReadAsQtReadsThem_data()
{
    QTest::addColumn<QByteArray>("content");

    const QByteArray nul(1, '\0');
    const QByteArray good("\n(9.5) can9 7FE#99\n");
    const auto add = [&](const char *name, const QByteArray &line) { QTest::newRow(name) << line + good; };

    add("NUL in the interface", "(1.5) ca" + nul + "n0 123#11");
    add("NUL in the identifier", "(1.5) can0 12" + nul + "3#11");
    add("NUL after the identifier", "(1.5) can0 123" + nul + " [2] 11 22");
    add("NUL before the identifier", "(1.5) can0 " + nul + "123 [2] 11 22");
    add("NUL in a data pair", "(1.5) can0 123#11" + nul + "122");
    add("NUL after a data digit", "(1.5) can0 123#111" + nul);
    add("NUL as data", "can0 123 [3] 11 " + nul + " 22");
    add("NUL after a data token", "can0 123 [3] 11 1" + nul + " 22");
    add("NUL in the length", "can0 123 [2" + nul + "] 11 22");
    add("NUL in the time", "(1" + nul + ".5" + nul + ") can0 123#11");
    add("NUL between the columns", "(1.5)" + nul + "can0" + nul + "123#11");
    add("NUL alone in a line", nul);
    add("NUL before the line", nul + "(1.5) can0 123 [2] 11 22");
    add("NUL within the dashes", "can0 RX -" + nul + " - 123 [1] 11");

    add("lone continuation byte", "(1.5) can0\x80 123#11");
    add("lone 0xA0 is no space", "(1.5)\xa0"
                                 "can0 123#11 x y");
    add("bytes that never occur", "(1.5) \xff\xfe can0 123 [1] 11");
    add("truncated sequence before a blank", "can0 123 [2] \xe2\x82 11 22");
    add("truncated sequence before a digit", "can0 123 [2] \xe2\x82"
                                             "11 22");
    add("overlong slash", "(1.5) can0 12\xc0\xaf#11");
    add("surrogate in UTF-8", "(1.5) can0 \xed\xa0\x80"
                              "123#11");
    add("beyond Unicode", "(1.5) can0 \xf4\x90\x80\x80"
                          "123#11");
    add("invalid byte in a data pair", "(1.5) can0 123#1\xff"
                                       "22");
    add("character of two units in a data pair", "(1.5) can0 123#11\xf0\x9f\x9a\x97"
                                                 "22");
    add("combining characters as data", "can0 123 [2] 1\xcc\x81 2\xcc\x81 33");
    add("BOM of UTF-16 later in the file", "(1.5) can0 123#11\n\xff\xfe(1.6) can0 124#22");

    QTest::newRow("truncated sequence at the end") << QByteArray("(1.5) can0 123 [2] 11 \xe2\x82");
    QTest::newRow("truncated sequence of one byte at the end") << QByteArray("(1.5) can0 123#11\xf0");
    QTest::newRow("NUL at the end") << "(1.5) can0 123#11" + nul;
    QTest::newRow("NUL only") << QByteArray(5, '\0');
    QTest::newRow("NULs of a file without blocks") << QByteArray(40000, '\0') + good;
    QTest::newRow("half a byte-order mark") << QByteArray("\xef\xbb");
    QTest::newRow("half a byte-order mark and a line") << "\xef\xbb(1.5) can0 123#11" + good;
    QTest::newRow("two byte-order marks") << "\xef\xbb\xbf\xef\xbb\xbf(1.5) can0 123 [1] 11" + good;
    QTest::newRow("UTF-16 byte-order mark alone") << QByteArray("\xff\xfe");
    QTest::newRow("UTF-16 with an odd byte at the end") << QByteArray("\xff\xfe(\0"
                                                                      "1\0.\0005\0)\0 \0c\0 \0001\0#\0001\0002\0x",
                                                                      27);
    QTest::newRow("UTF-16 without byte-order mark") << QByteArray("(\0"
                                                                  "1\0.\0005\0)\0 \0c\0 \0001\0#\0001\0002\0",
                                                                  24);
    QTest::newRow("control characters") << "\x01\x02\x1b[31m(1.5) can0 123#11\x7f\n\x08(1.5) can0 123#11" + good;
    QByteArray every;
    for (int byte = 0; byte < 256; ++byte)
        every += "(1.5) can0 123" + QByteArray(1, static_cast<char>(byte)) + "#1122\n";
    QTest::newRow("every byte after an identifier") << every;
    every.clear();
    for (int byte = 0; byte < 256; ++byte)
        every += "can0 123 [3] 11 2" + QByteArray(1, static_cast<char>(byte)) + " 33 44\n";
    QTest::newRow("every byte in a data token") << every;
    every.clear();
    for (int byte = 0; byte < 256; ++byte)
        every += "(1" + QByteArray(1, static_cast<char>(byte)) + "5.5) can0 123#11\n";
    QTest::newRow("every byte in a time") << every;
}

void SocketCanDumpTest::oddBytesReadAsQtReadsThem()
{
    QFETCH(QByteArray, content);

    const QString difference = differenceFromPlainRules(content);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
}

void SocketCanDumpTest::linesAcrossBlockBoundaries_data()
{
    QTest::addColumn<QByteArray>("encoding");
    QTest::addColumn<QString>("end");
    QTest::addColumn<int>("boundary");

    for (const int boundary : {8192, 16384, 32768}) {
        for (const char *encoding : {"none", "UTF-8", "UTF-16LE"}) {
            QTest::addRow("%d, %s, LF", boundary, encoding) << QByteArray(encoding) << QStringLiteral("\n") << boundary;
            QTest::addRow("%d, %s, CR LF", boundary, encoding)
                << QByteArray(encoding) << QStringLiteral("\r\n") << boundary;
        }
    }
}

void SocketCanDumpTest::linesAcrossBlockBoundaries()
{
    QFETCH(QByteArray, encoding);
    QFETCH(QString, end);
    QFETCH(int, boundary);

    const QString lines = QStringLiteral("(1.5) c\u20ac 123#1122\n(2.5) \U0001F697 18FEF100 [1] FF\n"
                                         "can0 RX - - 124 [2] 33 44\n")
                              .replace(QLatin1Char('\n'), end);
    const Frames expected = frames(
        {Frame(0x123, "11 22").at(1, 500000), Frame(0x18FEF100, "FF").at(2, 500000).extended(), Frame(0x124, "33 44")});
    // The boundary wanders through the lines, both as a number of characters and, in UTF-16, as a number of bytes.
    for (const int position : {boundary, boundary / 2}) {
        for (int shift = 0; shift < lines.size() + 8; ++shift) {
            const QString filler(position - shift, QLatin1Char('x'));
            const QString text = filler + end + lines;
            const Frames messages = load(encoding == "none" ? text.toUtf8() : encoded(text, encoding)).messages();
            if (messages != expected)
                qWarning("%d characters before the lines", int(filler.size()));
            QCOMPARE(messages, expected);
        }
        if (encoding != "UTF-16LE")
            break;
    }
}

void SocketCanDumpTest::veryLongLines_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Frames>("expected");

    constexpr int million = 1 << 20;
    const QByteArray next("\n(2.5) can0 124#22\n");
    const Frame last = Frame(0x124, "22").at(2, 500000);

    // 524288 pairs: the low eight bits of the length are 0, the first 64 bytes are stored.
    QTest::newRow("data of the log-file form")
        << "(1.5) can0 123#" + QByteArray("A5").repeated(million / 2) + next
        << frames({Frame(0x123).bytes(QByteArray(64, '\xA5')).dlc(0).at(1, 500000), last});
    QTest::newRow("tokens of the screen form") << "(1.5) can0 123 [2]" + repeated(million / 3, "A5") + next
                                               << frames({Frame(0x123, "A5 A5").at(1, 500000), last});
    QTest::newRow("blanks before a line")
        << QByteArray(million, ' ') + "(1.5) can0 123#11" + next << frames({Frame(0x123, "11").at(1, 500000), last});
    QTest::newRow("blanks within a line") << "(1.5)" + QByteArray(million, ' ') + "can0 123#11" + next
                                          << frames({Frame(0x123, "11").at(1, 500000), last});
    QTest::newRow("blanks after a line") << "(1.5) can0 123#11" + QByteArray(million, ' ') + next
                                         << frames({Frame(0x123, "11").at(1, 500000), last});
    QTest::newRow("one token") << QByteArray(million, 'x') + next << frames({last});
    QTest::newRow("interface") << "(1.5) " + QByteArray(million, 'x') + " 123#11" + next
                               << frames({Frame(0x123, "11").at(1, 500000), last});
    QTest::newRow("identifier") << "(1.5) can0 " + QByteArray(million, '1') + "#11" + next
                                << frames({Frame(0, "11").at(1, 500000), last});
    QTest::newRow("zeros before an identifier") << "(1.5) can0 " + QByteArray(million, '0') + "123#11" + next
                                                << frames({Frame(0x123, "11").at(1, 500000), last});
    QTest::newRow("fraction") << "(1." + QByteArray(million, '1') + ") can0 123#11" + next
                              << frames({Frame(0x123, "11").at(1, 0), last});
    QTest::newRow("number signs") << "(1.5) can0 " + QByteArray(million, '#') + next
                                  << frames({Frame().at(1, 500000), last});
    QTest::newRow("parentheses") << QByteArray(million, '(') + "1.5) can0 123#11" + next
                                 << frames({Frame(0x123, "11").at(1, 500000), last});
    QTest::newRow("no line end") << "(2.5) can0 124 [1] 22" + repeated(million / 3, "A5")
                                 << frames({Frame(0x124, "22").at(2, 500000)});
}

void SocketCanDumpTest::veryLongLines()
{
    QFETCH(QByteArray, content);
    QFETCH(Frames, expected);

    const LoaderRun run = load(content);
    QVERIFY(run.succeeded());
    QCOMPARE(run.messages(), expected);
}

void SocketCanDumpTest::randomLinesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 8; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void SocketCanDumpTest::randomLinesReadAsThePlainRulesSay()
{
    QFETCH(quint32, seed);

    const QStringList tokens{
        QStringLiteral("(1345212884.318850)"),
        QStringLiteral("(1.5)"),
        QStringLiteral("(0.0)"),
        QStringLiteral("(17)"),
        QStringLiteral("(010.1234567)"),
        QStringLiteral("()"),
        QStringLiteral("("),
        QStringLiteral("1.5"),
        QStringLiteral("can0"),
        QStringLiteral("vcan1"),
        QStringLiteral("can#0"),
        QStringLiteral("RX"),
        QStringLiteral("TX"),
        QStringLiteral("-"),
        QStringLiteral("-"),
        QStringLiteral("- -"),
        QStringLiteral(" - - "),
        QStringLiteral("123"),
        QStringLiteral("7FF"),
        QStringLiteral("800"),
        QStringLiteral("18FEF100"),
        QStringLiteral("00000123"),
        QStringLiteral("0x12"),
        QStringLiteral("12345678901234567890"),
        QStringLiteral("[0]"),
        QStringLiteral("[1]"),
        QStringLiteral("[2]"),
        QStringLiteral("[8]"),
        QStringLiteral("[64]"),
        QStringLiteral("[300]"),
        QStringLiteral("[x]"),
        QStringLiteral("["),
        QStringLiteral("00"),
        QStringLiteral("11"),
        QStringLiteral("Ab"),
        QStringLiteral("fFf"),
        QStringLiteral("'.A.'"),
        QStringLiteral("123#11223344"),
        QStringLiteral("123#112"),
        QStringLiteral("123#"),
        QStringLiteral("123#R"),
        QStringLiteral("123##1112233"),
        QStringLiteral("18FEF100#FFFFFFFFFFFFFF"),
        QStringLiteral("#"),
        QStringLiteral("\u0661\u0662"),
        QStringLiteral("\u20ac"),
        QStringLiteral("\U0001F697"),
        QString(QChar(0)),
    };
    const QStringList separators{
        QStringLiteral(" "),   QStringLiteral(" "),       QStringLiteral(" "),      QStringLiteral("  "),
        QStringLiteral("   "), QStringLiteral("\t"),      QStringLiteral("\u00a0"), QStringLiteral("\u2003"),
        QStringLiteral("\r"),  QStringLiteral("\u0085 "),
    };
    const QStringList frameLines{
        QStringLiteral("(1345212884.318850) can0 123#11223344"),
        QStringLiteral(" (000.100220)  can0  18FEF100   [8]  FF FF FF 7D FF FF FF FF"),
        QStringLiteral("  can0  123   [2]  11 22"),
        QStringLiteral("  can0  RX - -  1A0   [3]  01 02 03"),
    };
    const QStringList ends{QStringLiteral("\n"), QStringLiteral("\n"), QStringLiteral("\r\n"), QStringLiteral("\n\n")};

    const QRegularExpression signedNumber(QStringLiteral("-[0-9A-Fa-f]"));

    QRandomGenerator random(seed);
    const auto anyOf = [&random](const QStringList &list) { return list.at(random.bounded(list.size())); };
    QString text;
    for (int i = 0; i < 20000; ++i) {
        QString line;
        if (random.bounded(4) == 0) {
            // A good line with one character changed.
            line = anyOf(frameLines);
            line.replace(random.bounded(line.size()), 1, anyOf(random.bounded(2) == 0 ? tokens : separators));
        } else {
            const int count = random.bounded(12);
            line = random.bounded(2) == 0 ? QString() : anyOf(separators);
            for (int k = 0; k < count; ++k)
                line += anyOf(tokens) + anyOf(separators);
        }
        // What becomes of a line without the columns that its form needs, and of a byte with a sign, is open.
        if ((PlainRules::isExtraInformationForm(line) && PlainRules::tokensOf(line).size() < 6)
            || line.contains(signedNumber))
            continue;
        text += line + anyOf(ends);
    }
    const QString difference = differenceFromPlainRules(text.toUtf8());
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
    QVERIFY(text.count(QLatin1Char('\n')) > 15000);
}

void SocketCanDumpTest::fileWithoutMessagesGivesOneEmptyDelivery_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("one line end") << QByteArray("\n");
    QTest::newRow("CR LF") << QByteArray("\r\n");
    QTest::newRow("CR") << QByteArray("\r");
    QTest::newRow("blank lines") << QByteArray("\n  \n\t\n\n");
    QTest::newRow("no frame line") << QByteArray("hello\nworld, how are\nyou\n");
    QTest::newRow("byte-order mark of UTF-8") << QByteArray("\xef\xbb\xbf");
    QTest::newRow("byte-order mark of UTF-16") << QByteArray("\xff\xfe");
    QTest::newRow("blank") << QByteArray(" ");
    QTest::newRow("many blank lines") << QByteArray(100000, '\n');
}

void SocketCanDumpTest::fileWithoutMessagesGivesOneEmptyDelivery()
{
    QFETCH(QByteArray, content);

    const LoaderRun run = load(content);
    QVERIFY(run.succeeded());
    QCOMPARE(run.store.calls(), QStringList{Expected::delivered(0)});
    QVERIFY(run.store.notes().isEmpty());
}

void SocketCanDumpTest::messagesComeInBatches_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QVector<int>>("sizes");

    QTest::newRow("1") << 1 << QVector<int>{1};
    QTest::newRow("99999") << 99999 << QVector<int>{99999};
    QTest::newRow("100000") << 100000 << QVector<int>{100000, 0};
    QTest::newRow("100001") << 100001 << QVector<int>{100000, 1};
    QTest::newRow("200000") << 200000 << QVector<int>{100000, 100000, 0};
    QTest::newRow("250000") << 250000 << QVector<int>{100000, 100000, 50000};
}

void SocketCanDumpTest::messagesComeInBatches()
{
    QFETCH(int, count);
    QFETCH(QVector<int>, sizes);

    const LoaderRun run = load(LongLog::content(count));
    QVERIFY(run.succeeded());
    QCOMPARE(run.store.batchSizes(), sizes);
    QCOMPARE(run.store.calls().size(), sizes.size());
    QVERIFY(run.store.notes().isEmpty());

    const Frames messages = run.messages();
    QCOMPARE(messages.size(), count);
    const int difference = LongLog::firstDifference(messages, 0);
    if (difference >= 0)
        QCOMPARE(messages.at(difference), LongLog::message(difference));
    QCOMPARE(messages.last().messageIndex, static_cast<quint32>(count - 1));
}

void SocketCanDumpTest::keptBatchesNeverChange_data()
{
    QTest::addColumn<QString>("kept");
    QTest::newRow("every delivered list kept") << "every";
    QTest::newRow("none kept") << "none";
    QTest::newRow("the first kept") << "first";
    QTest::newRow("every second kept") << "second";
    QTest::newRow("all but the first kept") << "later";
}

void SocketCanDumpTest::keptBatchesNeverChange()
{
    QFETCH(QString, kept);

    const SampleFile file(LongLog::content(LongLog::longest));
    RecordingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);

    // The store's own list shares its messages with the loader; what must stay is known without it.
    int delivered = 0;
    int batches = 0;
    int wrong = 0;
    const auto keeps = [kept](int batch) {
        return kept == QLatin1String("every") || (kept == QLatin1String("first") && batch == 0)
               || (kept == QLatin1String("second") && batch % 2 == 1) || (kept == QLatin1String("later") && batch > 0);
    };
    store.keepMessages = keeps(0);
    store.onCall = [&](const Call &call) {
        if (LongLog::firstDifference(call.messages, delivered) >= 0)
            ++wrong;
        delivered += call.messages.size();
        ++batches;
        store.keepMessages = keeps(batches);
    };
    QVERIFY(handler.loadSocketCanDump(file.path()));
    QCOMPARE(wrong, 0);
    QCOMPARE(delivered, LongLog::longest);
    QCOMPARE(store.batchSizes(), (QVector<int>{100000, 100000, 100000, 50001}));

    const QVector<Call> calls = store.log()->calls();
    for (int batch = 0; batch < calls.size(); ++batch) {
        const Frames &messages = calls.at(batch).messages;
        QCOMPARE(messages.size(), keeps(batch) ? calls.at(batch).messageCount : 0);
        const int difference = LongLog::firstDifference(messages, batch * 100000);
        if (difference >= 0)
            QCOMPARE(messages.at(difference), LongLog::message(batch * 100000 + difference));
    }
}

void SocketCanDumpTest::linesWithoutMessageDoNotCount()
{
    QByteArray content;
    for (int i = 0; i < 100001; ++i)
        content += "# comment\n(0.0) c 1#\n\ncan0 123 [1] 11\n";
    const LoaderRun run = load(content);
    QVERIFY(run.succeeded());
    QCOMPARE(run.store.batchSizes(), (QVector<int>{100000, 1}));
    QCOMPARE(run.messages().last(), CanRxMessage(Frame(1).index(100000)));
}

void SocketCanDumpTest::everyImportStartsAfresh()
{
    const SampleFile first("(1.5) can0 123#11\n(1.6) can0 124#2233\n");
    const SampleFile second("can0 RX - - 125 [0]\n");
    RecordingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);
    QVERIFY(handler.loadSocketCanDump(first.path()));
    QVERIFY(handler.loadSocketCanDump(second.path()));
    QCOMPARE(store.calls(), QStringList({Expected::delivered(2), Expected::delivered(1)}));
    QCOMPARE(store.messages(),
             frames({Frame(0x123, "11").at(1, 500000), Frame(0x124, "22 33").at(1, 600000), Frame(0x125).index(0)}));
}

void SocketCanDumpTest::fileThatCannotBeOpenedFails_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << CANLOG_TEST_DATA "/socketcandump/no-such-file.log";
    QTest::newRow("missing folder") << CANLOG_TEST_DATA "/no-such-folder/file.log";
    QTest::newRow("folder") << CANLOG_TEST_DATA "/socketcandump";
    QTest::newRow("empty path") << "";
}

void SocketCanDumpTest::fileThatCannotBeOpenedFails()
{
    QFETCH(QString, path);

    const LoaderRun run(&CANLogHandler::loadSocketCanDump, path);
    QVERIFY(!run.succeeded());
    QCOMPARE(run.store.calls(), QStringList());
}

void SocketCanDumpTest::sampleFiles_data()
{
    QTest::addColumn<Frames>("expected");

    QTest::newRow("log-file-form") << frames({
        Frame(0x123, "11 22 33 44").at(1345212884, 318850),
        Frame(0x1F334455, "11 22 33 44 55 66 77 88").at(1345212884, 319016).extended(),
        Frame(0x7FF).at(1345212884, 420000),
        Frame(0x321, "AB").at(1345212884, 500000),
        Frame(0x800, "01 02").at(1345212885, 1).extended(),
    });
    QTest::newRow("screen-form") << frames({
        Frame(0x123, "11 22"),
        Frame(0x18FEF100, "FF FF FF 7D FF FF FF FF").extended(),
        Frame(0x123, "01 02 03").at(0, 100220),
        Frame(0x7FF, "80").at(1345212884, 318850),
        Frame(0x42, "DE AD BE EF"),
    });
    // The line with a "B" for the bit-rate switch has no two dashes: its columns are taken for others.
    QTest::newRow("extra-information-form") << frames({
        Frame(0x1A0, "01 02 03"),
        Frame(0x123, "11 22 33 44"),
        Frame(0x18FEF100, "FF FF FF 7D FF FF FF FF"),
        Frame(0),
        Frame(0x7DF),
    });
    // "candump: stopped for a moment" and "# recorded on the test bench" have five tokens or more: frames without a
    // number in them.
    QTest::newRow("frames-among-other-text") << frames({
        Frame(0),
        Frame(0x100, "01").at(10, 0),
        Frame(0),
        Frame(0x101, "02 03").at(10, 500000),
        Frame(0x104, "05"),
        Frame(0x106, "07").at(12, 120000),
    });
    QTest::newRow("remote-fd-and-error-frames") << frames({
        Frame(0x123, "00").at(1, 0),
        Frame(0x123, "00").at(1, 100),
        Frame().at(1, 200),
        Frame(0x20000004, "00 04 00 00 00 00 00 00").at(1, 300).extended(),
        Frame(0x123).dlc(4).at(1, 400),
        Frame(0x456, "00 01 02 03 04 05 06 07 08 09 0A 0B").at(1, 500),
    });
    QTest::newRow("windows-line-ends") << frames({
        Frame(0x123, "11 22").at(1, 500000),
        Frame(0x124, "33 44"),
        Frame(0x125, "55"),
        Frame(0x126, "66").at(2, 500000),
    });
}

void SocketCanDumpTest::sampleFiles()
{
    QFETCH(Frames, expected);

    const QString path =
        QStringLiteral(CANLOG_TEST_DATA "/socketcandump/%1.log").arg(QLatin1String(QTest::currentDataTag()));
    const LoaderRun run(&CANLogHandler::loadSocketCanDump, path);
    QVERIFY2(run.succeeded(), qPrintable(path));
    QCOMPARE(run.messages(), expected);
}

QTEST_GUILESS_MAIN(SocketCanDumpTest)
#include "tst_socketcandump.moc"
