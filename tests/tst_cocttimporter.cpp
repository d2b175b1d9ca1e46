// SPDX-License-Identifier: Apache-2.0
#include "encodings.h"
#include "importers/cocttimporter.h"
#include "importing.h"

#include <QFile>
#include <QTextStream>
#include <QTime>
#include <QtTest>

#include <memory>

using CAN::CanRxMessage;

namespace
{

constexpr auto coctt = DatachunkHelper::CoCTTLog;

Imported importPath(const QString &path)
{
    CoCTTImporter importer(nullptr);
    Imported result;
    result.succeeded = importer.importFile(path, &result.messages, &result.notes);
    result.errorText = importer.getErrorString();
    return result;
}

/// An importer whose single functions are called from outside. Its lists are those of an empty file.
class OpenImporter
{
public:
    OpenImporter()
    {
        if (!importer->importFile(emptyFile(), &messages, &notes))
            qFatal("an empty log cannot be imported");
    }

    CoCTTImporter *operator->() { return importer.get(); }

    Frames messages;
    Notes notes;

private:
    std::unique_ptr<CoCTTImporter> importer = std::make_unique<CoCTTImporter>(nullptr);
};

/*
 * The rules of the format once more, with Qt's plain operations and no thought of speed: what the importer must make of
 * any text, however odd.
 */
class PlainRules
{
public:
    Frames messages;
    Notes notes;

    bool frameLine(const QString &line)
    {
        QStringList parts = line.split(QStringLiteral(" : "));
        for (QString &part : parts)
            part = part.simplified();
        const int marker = parts.indexOf(QStringLiteral("Test CAN"));
        if (marker + 1 >= parts.size())
            return false;
        // Without the marker as a part of its own this is the first part.
        const QStringList fields = parts.at(marker + 1).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (fields.size() < 5)
            return false;

        CanRxMessage message;
        bool isNumber = false;
        message.id = fields.at(1).toUInt(&isNumber, 16);
        if (!isNumber)
            return false;
        message.isTx = fields.at(2) == QLatin1String("Tx");
        message.isRemote = fields.at(3) == QLatin1String("SR");
        message.dlc = static_cast<quint8>(fields.at(4).toUInt(&isNumber));
        if (!isNumber)
            return false;
        if (!message.isRemote) {
            for (int i = 5; i <= message.dlc + 4; ++i) {
                if (i >= fields.size())
                    return false;
                if (i - 5 < int(sizeof message.data))
                    message.data[i - 5] = static_cast<quint8>(fields.at(i).toUInt(nullptr, 16));
            }
        }
        if (marker > 0) {
            const QTime time = QTime::fromString(parts.at(1), QStringLiteral("hh:mm:ss.zzz"));
            if (time.isValid())
                message.timeStamp =
                    CanTimeStamp((time.hour() * 60 + time.minute()) * 60 + time.second(), time.msec() * 1000);
        }
        message.messageIndex = static_cast<quint32>(messages.size());
        messages.append(message);
        return true;
    }

    void noticeLine(const QString &line)
    {
        if (!line.contains(QLatin1Char(':')))
            return;
        const unsigned int key = static_cast<unsigned int>(messages.size());
        const QString text = line.simplified();
        notes[key] = notes.contains(key) ? notes.value(key) + QLatin1String(" | ") + text : text;
    }

    /// One line of a file; true when it is read or passed over.
    bool readLine(const QString &text)
    {
        const QString line = text.simplified();
        if (line.contains(QLatin1String("Test CAN")))
            return frameLine(line);
        for (const char *marker : {"Test Notice", "Test Info", "Test Error"}) {
            if (line.contains(QLatin1String(marker))) {
                noticeLine(line);
                break;
            }
        }
        return true;
    }

    static Imported readFile(const QString &path)
    {
        PlainRules rules;
        Imported result;
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            qFatal("cannot read the sample");
        QTextStream stream(&file);
        for (int number = 1; result.succeeded && !stream.atEnd(); ++number) {
            result.succeeded = rules.readLine(stream.readLine());
            if (!result.succeeded)
                result.errorText = ErrorText::atLine(number, path);
        }
        result.messages = rules.messages;
        result.notes = rules.notes;
        return result;
    }
};

const QStringList goodLines{
    QStringLiteral("0001 : 12:30:05.250 : Test CAN : 1 181 Rx DF 2 0A 0B"),
    QStringLiteral("0002 : 23:59:59.999 : Test CAN : 1 601 Tx DF 8 40 00 10 00 00 00 00 00"),
    QStringLiteral("0003 : 12:30:05.000 : Test CAN : 1 701 Rx SR 8"),
    QStringLiteral("Test CAN : 1 80 Tx DF 0"),
    QStringLiteral("1 181 Rx DF 2 0A 0B Test CAN"),
    QStringLiteral("0004 : 12:30:06.000 : Test Notice : Heartbeat of node 1"),
    QStringLiteral("0005 : 12:30:06.100 : Test Info : Test 3 of 7"),
    QStringLiteral("0006 : 12:30:06.200 : Test Error : No answer"),
    QStringLiteral("0007 : 12:30:06.300 : Test Result : passed"),
};
const QStringList lineTokens{
    QStringLiteral("Test CAN"),
    QStringLiteral("Test CAN"),
    QStringLiteral("Test Notice"),
    QStringLiteral("Test Info"),
    QStringLiteral("Test Error"),
    QStringLiteral("Test"),
    QStringLiteral("CAN"),
    QStringLiteral(" : "),
    QStringLiteral(" : "),
    QStringLiteral(":"),
    QStringLiteral("1 181 Rx DF 2 0A 0B"),
    QStringLiteral("1 601 Tx DF 0"),
    QStringLiteral("1 701 Rx SR 8"),
    QStringLiteral("Rx"),
    QStringLiteral("Tx"),
    QStringLiteral("SR"),
    QStringLiteral("DF"),
    QStringLiteral("2"),
    QStringLiteral("12:30:05.250"),
    QStringLiteral("1:2:3.4"),
    QStringLiteral("24:00:00.000"),
    QStringLiteral("00:00:00.000"),
    QStringLiteral("12:30:05"),
};
const QStringList lineSeparators{
    QStringLiteral(" "), QStringLiteral(" : "), QStringLiteral(" : "), QStringLiteral("\t:\t"), QStringLiteral(" :  "),
};

/// A frame line as the tool writes it.
QString timed(const QString &framePart)
{
    return QLatin1String("0001 : 00:00:01.500 : Test CAN : ") + framePart;
}

void addLineColumns()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<Frames>("expected");
}

} // namespace

class CoCTTImporterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    // The object
    void freshImporterHasNoError();
    void metaObjectHasNothingOfItsOwn();
    void errorTextsAreTranslated();

    // importFile
    void missingListFails();
    void fileThatCannotBeOpenedFails_data();
    void fileThatCannotBeOpenedFails();
    void listKeepsWhatItHeld();
    void sharedListsAreLeftAlone();
    void eachImportCountsFromZero();
    void errorTextStaysUntilTheNextFailure();
    void pathInErrorTextIsTakenAsItIs_data();
    void pathInErrorTextIsTakenAsItIs();

    // Frame lines
    void frameLines_data();
    void frameLines();
    void dataLengths_data();
    void dataLengths() { frameLines(); }
    void timesOfDay_data();
    void timesOfDay();
    void markerPlaces_data();
    void markerPlaces() { frameLines(); }
    void unsimplifiedLinesFromOutside_data();
    void unsimplifiedLinesFromOutside();
    void addedMessageIsCopiedAsItIs();

    // Notes
    void lineKinds_data();
    void lineKinds();
    void noticeLines();
    void noticeLinesFromOutside_data();
    void noticeLinesFromOutside();
    void noticeLinesBeforeAnyImportVanish();
    void notesBelongToTheNextMessage_data();
    void notesBelongToTheNextMessage();
    void missingNotesMapMakesNoticesVanish();

    // Files
    void files_data();
    void files();
    void filesThatFail_data();
    void filesThatFail();
    void encodings_data();
    void encodings();

    // The rules as a whole
    void membersReadWhatTheFileReaderReads();
    void randomLinesReadAsThePlainRulesSay_data();
    void randomLinesReadAsThePlainRulesSay();
    void randomFilesReadAsThePlainRulesSay_data();
    void randomFilesReadAsThePlainRulesSay();

    // Through CANLogHandler
    void handlerDeliversOnce_data();
    void handlerDeliversOnce();
    void handlerDeliversManyMessagesAtOnce();
    void handlerKeepsTheErrorText();
    void handlerWithoutStoreReadsIntoNothing();

    void sampleFiles_data();
    void sampleFiles();

private:
    RewrittenFile sample;
};

void CoCTTImporterTest::initTestCase()
{
    // Texts without byte-order mark are read in the system's encoding, which must not depend on who runs the tests.
    LocaleEncoding::set("UTF-8");
}

void CoCTTImporterTest::freshImporterHasNoError()
{
    QObject parent;
    auto *importer = new CoCTTImporter(&parent);
    QCOMPARE(importer->parent(), &parent);
    QCOMPARE(importer->getErrorString(), QStringLiteral("No error."));
}

void CoCTTImporterTest::metaObjectHasNothingOfItsOwn()
{
    const QMetaObject &meta = CoCTTImporter::staticMetaObject;
    QCOMPARE(meta.className(), "CoCTTImporter");
    QCOMPARE(meta.methodCount(), QObject::staticMetaObject.methodCount());
}

void CoCTTImporterTest::errorTextsAreTranslated()
{
    const SampleFile badLine("Test CAN\n");
    QScopedPointer<MarkingTranslator> translator(new MarkingTranslator);
    const QString none = CoCTTImporter(nullptr).getErrorString();
    const QString line = importPath(badLine.path()).errorText;
    translator.reset();

    QCOMPARE(none, QStringLiteral("<CoCTTImporter> No error."));
    QCOMPARE(line, QLatin1String("<CoCTTImporter> ") + ErrorText::atLine(1, badLine.path()));
}

void CoCTTImporterTest::missingListFails()
{
    const SampleFile file("1 : Test Notice\nTest CAN\n");
    CoCTTImporter importer(nullptr);
    Notes notes;
    QCOMPARE(importer.importFile(file.path(), nullptr, &notes), false);
    QCOMPARE(importer.getErrorString(), ErrorText::none());
    QVERIFY(notes.isEmpty());
}

void CoCTTImporterTest::fileThatCannotBeOpenedFails_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << CANLOG_TEST_DATA "/coctt/no-such-file.log";
    QTest::newRow("folder") << CANLOG_TEST_DATA "/coctt";
}

void CoCTTImporterTest::fileThatCannotBeOpenedFails()
{
    QFETCH(QString, path);

    QCOMPARE(importPath(path), (Imported{false, {}, {}, ErrorText::none()}));
}

void CoCTTImporterTest::listKeepsWhatItHeld()
{
    const SampleFile file("1 : Test Info\nTest CAN : 1 181 Rx DF 1 AA\n2 : Test Info\n");
    CoCTTImporter importer(nullptr);
    Frames messages = frames({Frame(0x111), Frame(0x222)});
    Notes notes{{1, QStringLiteral("one")}, {7, QStringLiteral("seven")}};
    QVERIFY(importer.importFile(file.path(), &messages, &notes));
    QCOMPARE(messages, frames({Frame(0x111), Frame(0x222), Frame(0x181, "AA").index(0)}));
    QCOMPARE(notes, (Notes{{0, QStringLiteral("1 : Test Info")},
                           {1, QStringLiteral("one | 2 : Test Info")},
                           {7, QStringLiteral("seven")}}));
}

void CoCTTImporterTest::sharedListsAreLeftAlone()
{
    const SampleFile file("1 : Test Info\nTest CAN : 1 181 Rx DF 1 AA\n");
    const Frames before = frames({Frame(0x111)});
    const Notes notesBefore = note(7, "seven");
    Frames messages = before;
    Notes notes = notesBefore;
    QVERIFY(CoCTTImporter(nullptr).importFile(file.path(), &messages, &notes));
    QCOMPARE(before, frames({Frame(0x111)}));
    QCOMPARE(notesBefore, note(7, "seven"));
    QCOMPARE(messages.size(), 2);
    QCOMPARE(notes.size(), 2);
}

void CoCTTImporterTest::eachImportCountsFromZero()
{
    const SampleFile first("Test CAN : 1 181 Rx DF 1 AA\nTest CAN : 1 182 Rx DF 0\n");
    const SampleFile second("x: Test Info\nTest CAN : 1 183 Rx DF 0\n");
    CoCTTImporter importer(nullptr);
    Frames messages;
    Notes notes;
    QVERIFY(importer.importFile(first.path(), &messages, &notes));
    QVERIFY(importer.importFile(second.path(), &messages, &notes));
    QVERIFY(importer.parseFile(first.path()));
    QCOMPARE(messages, frames({Frame(0x181, "AA"), Frame(0x182), Frame(0x183).index(0), Frame(0x181, "AA").index(0),
                               Frame(0x182).index(1)}));
    QCOMPARE(notes, note(0, "x: Test Info"));

    // Lines from outside go on where the file ended, malformed ones without counting.
    QVERIFY(!importer.importCANMsgLine(QStringLiteral("Test CAN : 1 xyz Rx DF 0")));
    QVERIFY(importer.importCANMsgLine(QStringLiteral("Test CAN : 1 184 Rx DF 0")));
    QCOMPARE(messages.last(), CanRxMessage(Frame(0x184).index(2)));
}

void CoCTTImporterTest::errorTextStaysUntilTheNextFailure()
{
    const SampleFile bad("\nTest CAN\n");
    const SampleFile good("Test CAN : 1 183 Rx DF 0\n");
    const SampleFile worse("Test CAN : 1 183\n");
    CoCTTImporter importer(nullptr);
    Frames messages;
    Notes notes;
    QVERIFY(!importer.importFile(bad.path(), &messages, &notes));
    QCOMPARE(importer.getErrorString(), ErrorText::atLine(2, bad.path()));
    QVERIFY(importer.importFile(good.path(), &messages, &notes));
    QVERIFY(!importer.importFile(good.path(), nullptr, &notes));
    QVERIFY(!importer.importFile(good.path() + QLatin1String(".missing"), &messages, &notes));
    QVERIFY(!importer.importCANMsgLine(QStringLiteral("Test CAN")));
    QCOMPARE(importer.getErrorString(), ErrorText::atLine(2, bad.path()));
    QVERIFY(!importer.importFile(worse.path(), &messages, &notes));
    QCOMPARE(importer.getErrorString(), ErrorText::atLine(1, worse.path()));
}

void CoCTTImporterTest::pathInErrorTextIsTakenAsItIs_data()
{
    addFileNameRows();
}

void CoCTTImporterTest::pathInErrorTextIsTakenAsItIs()
{
    QFETCH(QString, name);

    const SampleFile file("\n\nTest CAN\n", name);
    QCOMPARE(importPath(file.path()), (Imported{false, {}, {}, ErrorText::atLine(3, file.path())}));
}

void CoCTTImporterTest::frameLines_data()
{
    addLineColumns();

    const auto at = [](Frame frame) { return frames({frame.at(1, 500000)}); };
    QTest::newRow("received") << "0001 : 12:30:05.250 : Test CAN : 1 181 Rx DF 2 0A 0B" << true
                              << frames({Frame(0x181, "0A 0B").at(45005, 250000)});
    QTest::newRow("sent") << timed(QStringLiteral("1 181 Tx DF 2 0A 0B")) << true << at(Frame(0x181, "0A 0B").tx());
    QTest::newRow("remote") << timed(QStringLiteral("1 181 Rx SR 8")) << true << at(Frame(0x181).dlc(8).remote());
    QTest::newRow("remote, sent") << timed(QStringLiteral("1 181 Tx SR 0")) << true << at(Frame(0x181).tx().remote());
    QTest::newRow("remote with data fields")
        << timed(QStringLiteral("1 181 Rx SR 2 0A 0B")) << true << at(Frame(0x181).dlc(2).remote());
    QTest::newRow("first field is not read")
        << timed(QStringLiteral("xyz 181 Rx DF 2 0A 0B")) << true << at(Frame(0x181, "0A 0B"));
    QTest::newRow("tx in lower case") << timed(QStringLiteral("1 181 tx DF 0")) << true << at(Frame(0x181));
    QTest::newRow("direction that holds Tx") << timed(QStringLiteral("1 181 xTx DF 0")) << true << at(Frame(0x181));
    QTest::newRow("any other direction") << timed(QStringLiteral("1 181 - DF 0")) << true << at(Frame(0x181));
    QTest::newRow("sr in lower case") << timed(QStringLiteral("1 181 Rx sr 1 AA")) << true << at(Frame(0x181, "AA"));
    QTest::newRow("kind that holds SR") << timed(QStringLiteral("1 181 Rx SRx 1 AA")) << true << at(Frame(0x181, "AA"));
    QTest::newRow("any other kind") << timed(QStringLiteral("1 181 Rx - 1 AA")) << true << at(Frame(0x181, "AA"));
    QTest::newRow("columns of blanks and tabs")
        << " 0001 :\t00:00:01.500\t:  Test \t CAN : 1   181\tRx DF \r 2 0A\t0B \t" << true << at(Frame(0x181, "0A 0B"));

    QTest::newRow("29-bit identifier is not marked")
        << timed(QStringLiteral("1 18FF1234 Rx DF 0")) << true << at(Frame(0x18FF1234));
    QTest::newRow("largest identifier") << timed(QStringLiteral("1 FFFFFFFF Rx DF 0")) << true << at(Frame(0xFFFFFFFF));
    QTest::newRow("identifier in lower case") << timed(QStringLiteral("1 1aB Rx DF 0")) << true << at(Frame(0x1AB));
    QTest::newRow("identifier 0") << timed(QStringLiteral("1 0 Rx DF 0")) << true << at(Frame(0));
    bool isNumber = false;
    const quint32 prefixed = QStringLiteral("0x181").toUInt(&isNumber, 16);
    QTest::newRow("identifier with prefix")
        << timed(QStringLiteral("1 0x181 Rx DF 0")) << isNumber << (isNumber ? at(Frame(prefixed)) : frames());
    QTest::newRow("bad identifier") << timed(QStringLiteral("1 xyz Rx DF 0")) << false << frames();
    QTest::newRow("identifier with a mark") << timed(QStringLiteral("1 181h Rx DF 0")) << false << frames();
    QTest::newRow("identifier that is not 32-bit") << timed(QStringLiteral("1 123456789 Rx DF 0")) << false << frames();
    QTest::newRow("bad identifier of a remote frame") << timed(QStringLiteral("1 xyz Rx SR 0")) << false << frames();

    QTest::newRow("bad length") << timed(QStringLiteral("1 181 Rx DF x")) << false << frames();
    QTest::newRow("bad length of a remote frame") << timed(QStringLiteral("1 181 Rx SR x")) << false << frames();
    QTest::newRow("hexadecimal length") << timed(QStringLiteral("1 181 Rx DF A 1 2 3 4 5 6 7 8 9 A")) << false
                                        << frames();
    QTest::newRow("length that is not 32-bit")
        << timed(QStringLiteral("1 181 Rx DF 12345678901 AA")) << false << frames();
    QTest::newRow("length with zeros is decimal") << timed(QStringLiteral("1 181 Rx DF 010 1 2 3 4 5 6 7 8 9 A"))
                                                  << true << at(Frame(0x181, "01 02 03 04 05 06 07 08 09 0A"));

    QTest::newRow("bad byte") << timed(QStringLiteral("1 181 Rx DF 3 AA XX CC")) << true
                              << at(Frame(0x181, "AA 00 CC"));
    QTest::newRow("byte above 255") << timed(QStringLiteral("1 181 Rx DF 2 1FF 12345678")) << true
                                    << at(Frame(0x181, "FF 78"));
    QTest::newRow("byte that is not 32-bit")
        << timed(QStringLiteral("1 181 Rx DF 1 123456789")) << true << at(Frame(0x181, "00"));
    QTest::newRow("byte of one digit") << timed(QStringLiteral("1 181 Rx DF 2 A b")) << true
                                       << at(Frame(0x181, "0A 0B"));

    QTest::newRow("no field") << "0001 : 00:00:01.500 : Test CAN :" << false << frames();
    QTest::newRow("four fields") << timed(QStringLiteral("1 181 Rx DF")) << false << frames();
    QTest::newRow("four fields of a remote frame") << timed(QStringLiteral("1 181 Rx SR")) << false << frames();
    QTest::newRow("five fields") << timed(QStringLiteral("1 181 Rx DF 0")) << true << at(Frame(0x181));
    QTest::newRow("part after the frame part")
        << timed(QStringLiteral("1 181 Rx DF 0 : 1 182 Rx DF 0")) << true << at(Frame(0x181));
    QTest::newRow("data in the part after the frame part")
        << timed(QStringLiteral("1 181 Rx DF 1 : AA")) << false << frames();
    QTest::newRow("colons within the frame part")
        << timed(QStringLiteral("1: 181 Rx:x :DF 0")) << true << at(Frame(0x181));
    QTest::newRow("character 0 is no blank")
        << timed(QStringLiteral("1 181 Rx DF") + QChar(0) + QStringLiteral("0 0 AA")) << true << at(Frame(0x181));
}

void CoCTTImporterTest::frameLines()
{
    QFETCH(QString, line);
    QFETCH(bool, accepted);
    QFETCH(Frames, expected);

    sample.write(line.toUtf8() + '\n');
    const QString errorText = accepted ? ErrorText::none() : ErrorText::atLine(1, sample.path());
    QCOMPARE(importPath(sample.path()), (Imported{accepted, expected, {}, errorText}));

    OpenImporter importer;
    QCOMPARE(importer->importCANMsgLine(line.simplified()), accepted);
    QCOMPARE(importer.messages, expected);
    QVERIFY(importer.notes.isEmpty());
    QCOMPARE(importer->getErrorString(), ErrorText::none());
}

void CoCTTImporterTest::dataLengths_data()
{
    addLineColumns();

    const auto line = [](int length, int fields) {
        return QStringLiteral("Test CAN : 1 181 Rx DF %1%2").arg(length).arg(countedTokens(fields));
    };
    for (const int length : {0, 1, 2, 3, 7, 8, 9, 12, 63, 64, 65, 100, 128, 254, 255}) {
        const Frame frame = Frame(0x181).bytes(countedBytes(qMin(length, 64))).dlc(static_cast<quint8>(length));
        QTest::addRow("length %d with as many fields", length) << line(length, length) << true << frames({frame});
        QTest::addRow("length %d with a field more", length) << line(length, length + 1) << true << frames({frame});
        if (length > 0)
            QTest::addRow("length %d with a field less", length) << line(length, length - 1) << false << frames();
    }
    QTest::newRow("length 100 with 64 fields") << line(100, 64) << false << frames();
    QTest::newRow("length 3 with two fields") << line(3, 2) << false << frames();
    QTest::newRow("length 2 with three fields") << line(2, 3) << true << frames({Frame(0x181, "01 02")});
    QTest::newRow("length 0 with 300 fields") << line(0, 300) << true << frames({Frame(0x181)});
    QTest::newRow("length 255 with 300 fields")
        << line(255, 300) << true << frames({Frame(0x181).bytes(countedBytes(64)).dlc(255)});
    // The low eight bits are the length.
    QTest::newRow("length 256") << line(256, 0) << true << frames({Frame(0x181)});
    QTest::newRow("length 258") << line(258, 2) << true << frames({Frame(0x181, "01 02")});
    QTest::newRow("length 300 with 44 fields")
        << line(300, 44) << true << frames({Frame(0x181).bytes(countedBytes(44))});
    QTest::newRow("length 300 with 43 fields") << line(300, 43) << false << frames();
    QTest::newRow("remote, length 255") << "Test CAN : 1 181 Rx SR 255" << true
                                        << frames({Frame(0x181).dlc(255).remote()});
    QTest::newRow("remote, length 300") << "Test CAN : 1 181 Rx SR 300" << true
                                        << frames({Frame(0x181).dlc(44).remote()});
}

void CoCTTImporterTest::timesOfDay_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text : {"12:30:05.250",
                             "00:00:00.000",
                             "23:59:59.999",
                             "24:00:00.000",
                             "00:60:00.000",
                             "00:00:60.000",
                             "1:2:3.4",
                             "01:02:03.4",
                             "01:02:03.40",
                             "01:02:03.4000",
                             "01:02:03",
                             "01:02",
                             "01:02:03,400",
                             "01:02:03.",
                             "1:02:03.400",
                             "01:2:03.400",
                             "01:02:3.400",
                             "001:02:03.400",
                             "x",
                             "12:30:05.250 x",
                             "x12:30:05.250",
                             "12 : 30",
                             "12:30:05.2 50",
                             "-1:00:00.000",
                             "+1:00:00.000",
                             "ab:cd:ef.ghi",
                             "12-30-05.250",
                             "12:30:05.250.125",
                             "1230:05.250",
                             "99:99:99.999",
                             "\u0661\u0662:30:05.250"})
        QTest::newRow(text) << QString::fromUtf8(text);
}

void CoCTTImporterTest::timesOfDay()
{
    QFETCH(QString, text);

    // What stands between the first two colons with blanks around them.
    const QString part =
        (QLatin1String(" : ") + text + QLatin1String(" : Test CAN")).split(QStringLiteral(" : ")).at(1);
    const QTime time = QTime::fromString(part, QStringLiteral("hh:mm:ss.zzz"));
    Frame frame(0x181);
    if (time.isValid()) {
        const int milliseconds = QTime(0, 0).msecsTo(time);
        frame.at(milliseconds / 1000, milliseconds % 1000 * 1000);
    }
    const QString line = QStringLiteral("0001 : %1 : Test CAN : 1 181 Rx DF 0").arg(text);
    sample.write(line.toUtf8());
    QCOMPARE(importPath(sample.path()), (Imported{true, frames({frame}), {}, ErrorText::none()}));

    OpenImporter importer;
    QVERIFY(importer->importCANMsgLine(line));
    QCOMPARE(importer.messages, frames({frame}));
}

void CoCTTImporterTest::markerPlaces_data()
{
    addLineColumns();

    const QByteArray frame("1 181 Rx DF 1 AA");
    const QByteArray time("00:00:01.500");
    const Frames without = frames({Frame(0x181, "AA")});
    const auto add = [](const char *name, const QByteArray &line, bool accepted, const Frames &expected) {
        QTest::newRow(name) << QString::fromUtf8(line) << accepted << expected;
    };
    const Frames with = frames({Frame(0x181, "AA").at(1, 500000)});
    add("first", "Test CAN : " + frame, true, without);
    // The time is always the second part, whatever that is.
    add("second", time + " : Test CAN : " + frame, true, without);
    add("third", "0001 : " + time + " : Test CAN : " + frame, true, with);
    add("fourth", "0001 : " + time + " : x : Test CAN : " + frame, true, with);
    add("fourth, time in the third part", "0001 : x : " + time + " : Test CAN : " + frame, true, without);
    add("after an empty part", " : " + time + " : Test CAN : " + frame, true, without);
    add("empty part within", "0001 : " + time + " :  : Test CAN : " + frame, false, frames());
    add("last", "0001 : " + time + " : Test CAN", false, frames());
    add("alone", "Test CAN", false, frames());
    add("frame part in front", frame + " : Test CAN", false, frames());
    add("twice: the first counts", "Test CAN : Test CAN : " + frame, false, frames());
    add("twice with frames", "Test CAN : " + frame + " : Test CAN : 1 182 Rx DF 0", true, without);

    // Within a longer part it is only what makes the line a frame line: the first part is the frame.
    add("in the frame part", frame + " Test CAN", true, without);
    add("in the second part", frame + " : " + time + " : my Test CAN", true, without);
    add("in the first part, frame in the second", "my Test CAN : " + frame, false, frames());
    add("as a longer word", frame + " : Test CANopen", true, without);
    add("longer word first, then the part", "x Test CAN : " + time + " : Test CAN : " + frame, true, with);
    add("colon without blanks", "0001: " + time + ": Test CAN: " + frame, false, frames());
    add("colon without a blank behind", "Test CAN :" + frame, false, frames());
    add("colon without blanks, five fields", "1:Test 181 Rx DF 0 Test CAN:", true, frames({Frame(0x181)}));
}

void CoCTTImporterTest::unsimplifiedLinesFromOutside_data()
{
    addLineColumns();

    const Frames one = frames({Frame(0x181, "AA")});
    const Frames timedOne = frames({Frame(0x181, "AA").at(1, 500000)});
    // The parts are cut before white space is made equal: blanks must stand at the colons.
    QTest::newRow("more blanks") << " 1  :  00:00:01.500  :   Test  CAN  :  1  181  Rx  DF  1  AA  " << true
                                 << timedOne;
    QTest::newRow("tabs within the parts")
        << "1 : \t00:00:01.500\t : Test\tCAN : 1\t181\tRx\tDF\t1\tAA" << true << timedOne;
    QTest::newRow("tabs at the colons") << "Test CAN\t:\t1 181 Rx DF 1 AA" << false << frames();
    QTest::newRow("no-break spaces at the colons")
        << QStringLiteral("Test CAN\u00a0:\u00a01 181 Rx DF 1 AA") << false << frames();
    QTest::newRow("line feeds") << "Test\nCAN : 1\n181\nRx\nDF\n1\nAA\n" << true << one;
    QTest::newRow("marker not at all: the first part") << "1 181 Rx DF 1 AA : x" << true << one;
    QTest::newRow("empty") << "" << false << frames();
    QTest::newRow("separator only") << " : " << false << frames();
    QTest::newRow("separators share no blank") << "Test CAN : : 1 181 Rx DF 1 AA" << false << frames();
    QTest::newRow("frame in an overlapping separator") << "Test CAN : 1 181 : Rx DF 1 AA" << false << frames();
}

void CoCTTImporterTest::unsimplifiedLinesFromOutside()
{
    QFETCH(QString, line);
    QFETCH(bool, accepted);
    QFETCH(Frames, expected);

    OpenImporter importer;
    QCOMPARE(importer->importCANMsgLine(line), accepted);
    QCOMPARE(importer.messages, expected);
    QVERIFY(importer.notes.isEmpty());
}

void CoCTTImporterTest::addedMessageIsCopiedAsItIs()
{
    OpenImporter importer;
    const CanRxMessage message =
        Frame(0x1FFFFFFF, "01 02").dlc(200).at(-1, 7).extended().remote().fd().esi().brs().tx().channel(3).index(77);
    importer->addMessageToMessageList(message);
    QCOMPARE(importer.messages.size(), 1);
    QCOMPARE(importer.messages.at(0), message);

    // The message of a line is numbered by the lines, not by what the list holds.
    QVERIFY(importer->importCANMsgLine(QStringLiteral("Test CAN : 1 181 Rx DF 0")));
    QCOMPARE(importer.messages.last(), CanRxMessage(Frame(0x181).index(0)));
}

void CoCTTImporterTest::lineKinds_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<Frames>("expected");
    QTest::addColumn<Notes>("notes");

    QTest::newRow("notice") << "1 : Test Notice : x" << true << frames() << note(0, "1 : Test Notice : x");
    QTest::newRow("information") << "1 : Test Info : x" << true << frames() << note(0, "1 : Test Info : x");
    QTest::newRow("error") << "1 : Test Error : x" << true << frames() << note(0, "1 : Test Error : x");
    QTest::newRow("notice as part of a word") << "1:xTest Noticex" << true << frames() << note(0, "1:xTest Noticex");
    QTest::newRow("notice without colon") << "1 Test Notice x" << true << frames() << Notes();
    QTest::newRow("information without colon") << "Test Info" << true << frames() << Notes();
    QTest::newRow("error without colon") << "Test Error ;" << true << frames() << Notes();
    QTest::newRow("colon first") << ":Test Error" << true << frames() << note(0, ":Test Error");
    QTest::newRow("colon last") << "Test Error:" << true << frames() << note(0, "Test Error:");
    QTest::newRow("white space is made equal")
        << " \t1 :  Test \t Notice :\r x  y " << true << frames() << note(0, "1 : Test Notice : x y");
    QTest::newRow("no-break space in the marker")
        << QStringLiteral("Test\u00a0Info: x") << true << frames() << note(0, "Test Info: x");
    QTest::newRow("place markers") << "%1 : Test Info : %2" << true << frames() << note(0, "%1 : Test Info : %2");
    QTest::newRow("several kinds of notices") << "1 : Test Error : Test Info : Test Notice" << true << frames()
                                              << note(0, "1 : Test Error : Test Info : Test Notice");
    QTest::newRow("notice in lower case") << "1 : test notice : x" << true << frames() << Notes();
    QTest::newRow("notice in upper case") << "1 : TEST NOTICE : x" << true << frames() << Notes();
    QTest::newRow("notice without blank") << "1 : TestNotice : x" << true << frames() << Notes();
    QTest::newRow("other line") << "1 : Test Result : x" << true << frames() << Notes();
    QTest::newRow("text") << "CANopen Conformance Test" << true << frames() << Notes();
    QTest::newRow("frame in lower case") << "test can : 1 181 Rx DF 0" << true << frames() << Notes();
    QTest::newRow("frame without blank") << "TestCAN : 1 181 Rx DF 0" << true << frames() << Notes();
    // A frame line comes before all others.
    QTest::newRow("frame and notice") << "Test CAN : 1 181 Rx DF 0 : Test Notice" << true << frames({Frame(0x181)})
                                      << Notes();
    QTest::newRow("notice about a frame") << "1 : Test Notice : Test CAN" << false << frames() << Notes();
}

void CoCTTImporterTest::lineKinds()
{
    QFETCH(QString, line);
    QFETCH(bool, accepted);
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);

    sample.write(line.toUtf8() + '\n');
    const QString errorText = accepted ? ErrorText::none() : ErrorText::atLine(1, sample.path());
    QCOMPARE(importPath(sample.path()), (Imported{accepted, expected, notes, errorText}));
}

void CoCTTImporterTest::noticeLines()
{
    OpenImporter importer;
    importer->importNoticeLine(QStringLiteral("a: first"));
    QCOMPARE(importer.notes, note(0, "a: first"));
    importer->importNoticeLine(QStringLiteral("b: second"));
    QCOMPARE(importer.notes, note(0, "a: first | b: second"));
    importer->importNoticeLine(QStringLiteral("no colon"));
    QCOMPARE(importer.notes, note(0, "a: first | b: second"));
    QVERIFY(importer->importCANMsgLine(QStringLiteral("Test CAN : 1 181 Rx DF 0")));
    importer->importNoticeLine(QStringLiteral("c:"));
    QCOMPARE(importer.notes, (Notes{{0, QStringLiteral("a: first | b: second")}, {1, QStringLiteral("c:")}}));
    QCOMPARE(importer.messages.size(), 1);
}

void CoCTTImporterTest::noticeLinesFromOutside_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<Notes>("notes");
    QTest::newRow("no marker is needed") << "any: text" << note(0, "any: text");
    QTest::newRow("colon only") << ":" << note(0, ":");
    QTest::newRow("blanks") << " \t a \n : \r b " << note(0, "a : b");
    QTest::newRow("no colon") << "Test Notice" << Notes();
    QTest::newRow("other colon") << QStringLiteral("Test Notice\uff1a x") << Notes();
    QTest::newRow("empty") << "" << Notes();
}

void CoCTTImporterTest::noticeLinesFromOutside()
{
    QFETCH(QString, line);
    QFETCH(Notes, notes);

    OpenImporter importer;
    importer->importNoticeLine(line);
    QCOMPARE(importer.notes, notes);
}

void CoCTTImporterTest::noticeLinesBeforeAnyImportVanish()
{
    CoCTTImporter importer(nullptr);
    importer.importNoticeLine(QStringLiteral("1 : Test Notice : x"));
    QCOMPARE(importer.getErrorString(), ErrorText::none());
}

void CoCTTImporterTest::notesBelongToTheNextMessage_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Notes>("notes");

    const QByteArray first("Test CAN : 1 181 Rx DF 1 AA\n");
    const QByteArray second("Test CAN : 1 182 Rx DF 0\n");
    QTest::newRow("none") << first + second << Notes();
    QTest::newRow("before") << "a: Test Info\n" + first + second << note(0, "a: Test Info");
    QTest::newRow("between") << first + "a: Test Info\n" + second << note(1, "a: Test Info");
    QTest::newRow("after") << first + second + "a: Test Info" << note(2, "a: Test Info");
    QTest::newRow("two before") << "a: Test Notice\nb: Test Notice\n" + first + second
                                << note(0, "a: Test Notice | b: Test Notice");
    QTest::newRow("three between, other lines among them")
        << first + "a: Test Error\n\nother: line\nTest Info\na: Test Info\na: Test Info\n" + second
        << note(1, "a: Test Error | a: Test Info | a: Test Info");
    QTest::newRow("everywhere") << "a: Test Info\n" + first + "b: Test Error\n" + second + "c: Test Notice\n"
                                << Notes{{0, QStringLiteral("a: Test Info")},
                                         {1, QStringLiteral("b: Test Error")},
                                         {2, QStringLiteral("c: Test Notice")}};
}

void CoCTTImporterTest::notesBelongToTheNextMessage()
{
    QFETCH(QByteArray, content);
    QFETCH(Notes, notes);

    sample.write(content);
    QCOMPARE(importPath(sample.path()),
             (Imported{true, frames({Frame(0x181, "AA"), Frame(0x182)}), notes, ErrorText::none()}));
}

void CoCTTImporterTest::missingNotesMapMakesNoticesVanish()
{
    const SampleFile file("a: Test Info\nTest CAN : 1 181 Rx DF 1 AA\nb: Test Error\nc: Test Error\n");
    CoCTTImporter importer(nullptr);
    Frames messages;
    QVERIFY(importer.importFile(file.path(), &messages, nullptr));
    importer.importNoticeLine(QStringLiteral("d: Test Error"));
    QCOMPARE(messages, frames({Frame(0x181, "AA")}));
    QCOMPARE(importer.getErrorString(), ErrorText::none());
}

void CoCTTImporterTest::files_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Frames>("expected");

    const QByteArray first("Test CAN : 1 181 Rx DF 1 AA\n");
    const QByteArray second("Test CAN : 1 182 Rx DF 0\n");
    const Frames both = frames({Frame(0x181, "AA"), Frame(0x182)});
    QTest::newRow("empty") << QByteArray() << frames();
    QTest::newRow("one line end") << QByteArray("\n") << frames();
    QTest::newRow("no frame") << QByteArray("hello\nworld\n") << frames();
    QTest::newRow("two frames") << first + second << both;
    QTest::newRow("blank lines") << "\n  \n\t\n" + first + " \t \r\n\r\n\r\r\n\v\f\n\xc2\xa0\xe2\x80\x83\n" + second
                                        + "  "
                                 << both;
    QTest::newRow("other lines") << "CANopen\n;x\n#x\n" + first + "1 : x : y\n" + second + "End of test" << both;
    QTest::newRow("lone CR does not end a line")
        << QByteArray("Test CAN : 1 181 Rx DF 1 AA\rTest CAN : 1 182 Rx DF 0\nTest CAN : 1 182 Rx DF 1\rBB\n")
        << frames({Frame(0x181, "AA"), Frame(0x182, "BB")});
}

void CoCTTImporterTest::files()
{
    QFETCH(QByteArray, content);
    QFETCH(Frames, expected);

    sample.write(content);
    QCOMPARE(importPath(sample.path()), (Imported{true, expected, {}, ErrorText::none()}));
}

void CoCTTImporterTest::filesThatFail_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("errorLine");
    QTest::addColumn<Frames>("expected");
    QTest::addColumn<Notes>("notes");

    const QByteArray good("Test CAN : 1 181 Rx DF 1 AA\n");
    const QByteArray bad("Test CAN : 1 181 Rx DF 1\n");
    const Frames one = frames({Frame(0x181, "AA")});
    QTest::newRow("first line") << bad + good << 1 << frames() << Notes();
    QTest::newRow("messages before stay") << good + bad + good << 2 << one << Notes();
    QTest::newRow("no final newline") << good + bad.chopped(1) << 2 << one << Notes();
    QTest::newRow("all lines count") << "x\n\n  \n" + good + "\r\na: Test\n" + bad << 7 << one << Notes();
    QTest::newRow("notes before stay") << "a: Test Info\n" + good + "b: Test Info\n" + bad + "c: Test Info\n"
                                       << 4 << one
                                       << Notes{{0, QStringLiteral("a: Test Info")},
                                                {1, QStringLiteral("b: Test Info")}};
    QTest::newRow("line 1234567") << QByteArray(1234566, '\n') + bad << 1234567 << frames() << Notes();
}

void CoCTTImporterTest::filesThatFail()
{
    QFETCH(QByteArray, content);
    QFETCH(int, errorLine);
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);

    sample.write(content);
    QCOMPARE(importPath(sample.path()),
             (Imported{false, expected, notes, ErrorText::atLine(errorLine, sample.path())}));
}

void CoCTTImporterTest::encodings_data()
{
    addEncodingRows(
        QStringLiteral("0001 : 00:00:01.500 : Test CAN : 1 181 Rx DF 1 AA\n2 : Test Info : \u20ac\U0001F697\n"
                       "Test CAN : 1 182 Tx SR 2\n"));
}

void CoCTTImporterTest::encodings()
{
    QFETCH(QByteArray, content);

    sample.write(content);
    const Frames expected = frames({Frame(0x181, "AA").at(1, 500000), Frame(0x182).dlc(2).tx().remote()});
    const Notes notes{{1, QStringLiteral("2 : Test Info : \u20ac\U0001F697")}};
    QCOMPARE(importPath(sample.path()), (Imported{true, expected, notes, ErrorText::none()}));
}

void CoCTTImporterTest::membersReadWhatTheFileReaderReads()
{
    OpenImporter importer;
    for (const QString &line : goodLines) {
        if (line.contains(QLatin1String("Test CAN")))
            QVERIFY2(importer->importCANMsgLine(line), qPrintable(line));
        else if (!line.contains(QLatin1String("Test Result")))
            importer->importNoticeLine(line);
    }
    QCOMPARE(importer.messages.size(), 5);
    const SampleFile file(goodLines.join(QLatin1Char('\n')).toUtf8());
    const Imported imported = importPath(file.path());
    QCOMPARE(imported, (Imported{true, importer.messages, importer.notes, ErrorText::none()}));

    OpenImporter again;
    QVERIFY(again->parseFile(file.path()));
    QCOMPARE(again.messages, imported.messages);
    QCOMPARE(again.notes, imported.notes);
}

void CoCTTImporterTest::randomLinesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 4; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void CoCTTImporterTest::randomLinesReadAsThePlainRulesSay()
{
    QFETCH(quint32, seed);

    RandomLines lines(seed, goodLines, lineTokens, lineSeparators);
    OpenImporter importer;
    PlainRules rules;
    int accepted = 0;
    for (int i = 0; i < 5000; ++i) {
        const QString line = lines.next();
        const bool expected = rules.frameLine(line);
        QVERIFY2(importer->importCANMsgLine(line) == expected, qPrintable(line));
        if (expected && importer.messages.last() != rules.messages.last())
            QFAIL(qPrintable(line + QLatin1Char('\n') + describe(importer.messages.last()) + QLatin1Char('\n')
                             + describe(rules.messages.last())));
        importer->importNoticeLine(line);
        rules.noticeLine(line);
        QVERIFY2(importer.notes == rules.notes, qPrintable(line));
        accepted += expected ? 1 : 0;
        if (importer.notes.size() > 20) {
            importer.notes.clear();
            rules.notes.clear();
        }
    }
    QVERIFY(importer.messages == rules.messages);
    QVERIFY(accepted > 500 && accepted < 4500);
}

void CoCTTImporterTest::randomFilesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 101; seed <= 104; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void CoCTTImporterTest::randomFilesReadAsThePlainRulesSay()
{
    QFETCH(quint32, seed);

    RandomLines lines(seed, goodLines, lineTokens, lineSeparators);
    const auto compare = [&](const QString &content) {
        sample.write(content.toUtf8());
        return differenceOf(importPath(sample.path()), PlainRules::readFile(sample.path()));
    };

    // A long file of lines that are all accepted.
    QString text;
    PlainRules rules;
    for (int i = 0; i < 5000; ++i) {
        const QString line = lines.next();
        if (rules.readLine(line))
            text += line + lines.lineEnd();
    }
    QVERIFY(rules.messages.size() > 500);
    QVERIFY(rules.notes.size() > 200);
    QString difference = compare(text);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));

    // Short files of any lines: most of them fail somewhere.
    for (int i = 0; i < 100; ++i) {
        text.clear();
        for (int k = lines.bounded(14); k > 0; --k)
            text += lines.next() + lines.lineEnd();
        if (lines.bounded(3) == 0)
            text.chop(1);
        difference = compare(text);
        QVERIFY2(difference.isEmpty(), qPrintable(text + QLatin1Char('\n') + difference));
    }
}

void CoCTTImporterTest::handlerDeliversOnce_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Frames>("expected");
    QTest::addColumn<Notes>("notes");

    QTest::newRow("messages and notes") << QByteArray(
        "a: Test Info\nTest CAN : 1 181 Rx DF 1 AA\nTest CAN : 1 182 Tx SR 2\n"
        "b: Test Error\nc: Test Error\n")
                                        << frames({Frame(0x181, "AA"), Frame(0x182).dlc(2).tx().remote()})
                                        << Notes{{0, QStringLiteral("a: Test Info")},
                                                 {2, QStringLiteral("b: Test Error | c: Test Error")}};
    QTest::newRow("no message") << QByteArray() << frames() << Notes();
    QTest::newRow("note without message") << QByteArray("a: Test Info\n") << frames() << note(0, "a: Test Info");
}

void CoCTTImporterTest::handlerDeliversOnce()
{
    QFETCH(QByteArray, content);
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);

    const SampleFile file(content);
    const ImportRun run(coctt, file.path(), QStringLiteral("text does not matter"));
    QVERIFY(run.succeeded());
    const QString delivered = Expected::delivered(expected.size(), notes.size());
    QCOMPARE(run.store.calls(), QStringList({Expected::loading(true), delivered, Expected::loading(false)}));
    QCOMPARE(run.store.messages(), expected);
    QCOMPARE(run.store.notes(), notes);
    QCOMPARE(run.errorText(), QString());

    RecordingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);
    QVERIFY(handler.loadCoCTTFile(file.path()));
    QCOMPARE(store.calls(), QStringList{delivered});
    QCOMPARE(store.messages(), expected);
    QCOMPARE(store.notes(), notes);

    store.clear();
    QVERIFY(handler.loadFile(file.path(), coctt, QString(), true));
    QCOMPARE(store.calls(),
             QStringList({Expected::started(), delivered, Expected::finished(true, coctt, file.path())}));
}

void CoCTTImporterTest::handlerDeliversManyMessagesAtOnce()
{
    constexpr int count = 100001;
    const SampleFile file(QByteArray("Test CAN : 1 181 Rx DF 1 AA\n").repeated(count));
    const ImportRun run(coctt, file.path());
    QVERIFY(run.succeeded());
    QCOMPARE(run.store.batchSizes(), QVector<int>{count});
    QCOMPARE(run.store.messages().last(), CanRxMessage(Frame(0x181, "AA").index(count - 1)));
}

void CoCTTImporterTest::handlerKeepsTheErrorText()
{
    const SampleFile good("Test CAN : 1 181 Rx DF 1 AA\n");
    const SampleFile bad("a: Test Info\nTest CAN : 1 181 Rx DF 1 AA\nTest CAN\n");
    const ImportRun run(coctt, bad.path());
    QVERIFY(!run.succeeded());
    QCOMPARE(run.store.calls(), QStringList({Expected::loading(true), Expected::loading(false)}));
    QCOMPARE(run.errorText(), ErrorText::atLine(3, bad.path()));

    RecordingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);
    QVERIFY(!handler.loadFile(bad.path(), coctt, QString(), false));
    QCOMPARE(store.calls(), QStringList({Expected::started(), Expected::finished(false, coctt, bad.path())}));
    QCOMPARE(handler.getLastErrorText(), ErrorText::atLine(3, bad.path()));

    // A success leaves the text of the last failure; a file that is not there is no error of the importer.
    QVERIFY(handler.loadCoCTTFile(good.path()));
    QCOMPARE(handler.getLastErrorText(), ErrorText::atLine(3, bad.path()));
    QVERIFY(!handler.importFile(bad.path() + QLatin1String(".missing"), coctt, QString(), false));
    QCOMPARE(handler.getLastErrorText(), ErrorText::atLine(3, bad.path()));
    QVERIFY(!handler.loadCoCTTFile(bad.path() + QLatin1String(".missing")));
    QCOMPARE(handler.getLastErrorText(), ErrorText::none());
}

void CoCTTImporterTest::handlerWithoutStoreReadsIntoNothing()
{
    const SampleFile good("Test CAN : 1 181 Rx DF 1 AA\n");
    const SampleFile bad("Test CAN\n");
    QPointer<DatachunkHandler> none;
    CANLogHandler handler(none);
    QVERIFY(handler.loadCoCTTFile(good.path()));
    QVERIFY(!handler.loadCoCTTFile(bad.path()));
}

void CoCTTImporterTest::sampleFiles_data()
{
    QTest::addColumn<Frames>("expected");
    QTest::addColumn<Notes>("notes");

    QTest::newRow("test-run") << frames({
        Frame(0x000, "82 01").at(45005, 250000).tx(),
        Frame(0x701, "00").at(45005, 312000),
        Frame(0x601, "40 00 10 00 00 00 00 00").at(45006, 0).tx(),
        Frame(0x581, "43 00 10 00 92 01 02 00").at(45006, 4000),
        Frame(0x701).dlc(1).at(45007, 0).tx().remote(),
    })
                              << Notes{
                                     {0,
                                      QStringLiteral("0001 : 12:30:05.000 : Test Info : Conformance test of node 1 | "
                                                     "0002 : 12:30:05.100 : Test Notice : Reset of the node")},
                                     {4, QStringLiteral("0007 : 12:30:06.500 : Test Error : Object 1018h: no answer")},
                                     {5, QStringLiteral("0010 : 12:30:08.000 : Test Notice : End")},
                                 };
    QTest::newRow("windows-line-ends") << frames({
        Frame(0x181, "0A 0B").at(45005, 250000),
        Frame(0x182),
    }) << note(1, "2 : Test Info : second frame follows");
}

void CoCTTImporterTest::sampleFiles()
{
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);

    const QString path = QStringLiteral(CANLOG_TEST_DATA "/coctt/%1.log").arg(QLatin1String(QTest::currentDataTag()));
    QCOMPARE(importPath(path), (Imported{true, expected, notes, ErrorText::none()}));
}

QTEST_GUILESS_MAIN(CoCTTImporterTest)
#include "tst_cocttimporter.moc"
