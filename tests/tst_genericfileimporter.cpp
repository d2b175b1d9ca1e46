// SPDX-License-Identifier: Apache-2.0
#include "encodings.h"
#include "importers/genericfileimporter.h"
#include "importing.h"

#include <QFile>
#include <QTextStream>
#include <QtTest>

#include <memory>

using CAN::CanRxMessage;

namespace
{

constexpr auto generic = DatachunkHelper::GenericFile;

const QString defaultFormat = QStringLiteral("t n i ? ? l d");

Imported importPath(const QString &path, const QString &format = defaultFormat)
{
    GenericFileImporter importer(nullptr);
    importer.setColumnFormat(format);
    Imported result;
    result.succeeded = importer.importFile(path, &result.messages, &result.notes);
    result.errorText = importer.getErrorString();
    return result;
}

/// An importer whose single functions are called from outside. Its list is that of an empty file.
class OpenImporter
{
public:
    OpenImporter()
    {
        if (!importer->importFile(emptyFile(), &messages, &notes))
            qFatal("an empty file cannot be imported");
    }

    GenericFileImporter *operator->() { return importer.get(); }

    Frames messages;
    Notes notes;

private:
    std::unique_ptr<GenericFileImporter> importer = std::make_unique<GenericFileImporter>(nullptr);
};

/*
 * The rules of the format once more, with Qt's plain operations and no thought of speed: what the importer must make of
 * any text, however odd.
 */
class PlainRules
{
public:
    explicit PlainRules(const QString &columnFormat)
        : codes(columnFormat.split(QLatin1Char(' ')))
    {
    }

    Frames messages;
    bool isOpen = false; ///< a line came whose meaning is not settled

    bool line(const QString &text)
    {
        const QStringList fields = text.split(QLatin1Char(' '));
        if (fields.size() < codes.size() % 256 - 1)
            return false;
        CanRxMessage message;
        bool isKept = true;
        for (int i = 0; i < codes.size(); ++i) {
            const QString code = codes.at(i);
            const QString field = fields.value(i);
            if (code == QLatin1String("t")) {
                const QStringList parts = field.split(QLatin1Char('.'));
                message.timeStamp = CanTimeStamp(parts.at(0).toInt(), parts.value(1).toInt());
            } else if (code == QLatin1String("d")) {
                for (int k = 0; k < message.dlc; ++k) {
                    const quint8 byte = static_cast<quint8>(fields.value(i + k).toUInt(&isKept, 16));
                    if (!isKept)
                        break;
                    if (k < int(sizeof message.data))
                        message.data[k] = byte;
                }
            } else {
                if (code == QLatin1String("n")) {
                    const uint channel = field.toUInt(&isKept);
                    isOpen = isOpen || channel > 0xFFFF;
                    message.channel = static_cast<quint16>(channel);
                } else if (code == QLatin1String("0xi"))
                    message.id = field.toUInt(&isKept, 0);
                else if (code == QLatin1String("i"))
                    message.id = field.toUInt(&isKept, 16);
                else if (code == QLatin1String("I"))
                    message.id = field.toUInt(&isKept, 10);
                else if (code == QLatin1String("l"))
                    message.dlc = static_cast<quint8>(field.toUInt(&isKept));
                else
                    continue;
                if (!isKept)
                    return true;
            }
        }
        if (!isKept)
            return true;
        message.isExtended = message.id > 0x7FF;
        message.messageIndex = static_cast<quint32>(messages.size());
        messages.append(message);
        return true;
    }

    /// One line of a file; true when it is read or passed over.
    bool readLine(const QString &text)
    {
        const QString simplified = text.simplified();
        return simplified.isEmpty() || simplified.startsWith(QLatin1Char('#')) || line(simplified);
    }

    static Imported readFile(const QString &path, const QString &format)
    {
        PlainRules rules(format);
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
        return result;
    }

private:
    QStringList codes;
};

bool isOpenLine(const QString &line, const QString &format)
{
    PlainRules rules(format);
    rules.line(line);
    return rules.isOpen;
}

const QStringList goodLines{
    QStringLiteral("0.000100 1 1A2 x y 2 AA BB"),
    QStringLiteral("12.500000 2 18FF1234 Rx D 8 00 11 22 33 44 55 66 77"),
    QStringLiteral("13.5 0 7FF Tx R 0"),
    QStringLiteral("13.6 0 0100 Tx D 1 AA extra text"),
    QStringLiteral("# comment"),
};
const QStringList lineTokens{
    QStringLiteral("0.000100"), QStringLiteral("1.5"), QStringLiteral("1"),  QStringLiteral("2"),
    QStringLiteral("1A2"),      QStringLiteral("2"),   QStringLiteral("AA"), QStringLiteral("BB"),
    QStringLiteral("1"),        QStringLiteral("#"),   QStringLiteral("0"),  QStringLiteral("1 1A2 2 AA BB"),
};
/// A line that @p format reads: a frame with two bytes where it has all columns.
QString goodLineOf(const QString &format)
{
    const QStringList codes = format.split(QLatin1Char(' '));
    QStringList fields;
    for (const QString &code : codes) {
        const bool isInData = !fields.isEmpty() && fields.last() == QLatin1String("AA");
        fields.append(code == QLatin1String("t")     ? QStringLiteral("1.5")
                      : code == QLatin1String("n")   ? QStringLiteral("1")
                      : code == QLatin1String("0xi") ? QStringLiteral("0x1A2")
                      : code == QLatin1String("i")   ? QStringLiteral("1A2")
                      : code == QLatin1String("I")   ? QStringLiteral("418")
                      : code == QLatin1String("l")   ? QStringLiteral("2")
                      : code == QLatin1String("d")   ? QStringLiteral("AA")
                      : isInData                     ? QStringLiteral("BB")
                                                     : QStringLiteral("x"));
    }
    return fields.join(QLatin1Char(' ')) + QLatin1String(" BB");
}

// What a time counts for after bad data is open, and so is a second run of data.
const QStringList formats{
    defaultFormat,
    QStringLiteral("i l d"),
    QStringLiteral("0xi l d"),
    QStringLiteral("I l d"),
    QStringLiteral("t l d i"),
    QStringLiteral("l d ? 0xi n"),
    QStringLiteral("d l i"),
    QStringLiteral("t i"),
    QStringLiteral("l x X  i d"),
    QStringLiteral("i I 0xi n n l l d"),
    QStringLiteral("?"),
    QString(),
};

void addFormatColumns()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<Frames>("expected");
}

} // namespace

class GenericFileImporterTest : public QObject
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
    void listKeepsWhatItHeldAndNotesAreLeftAlone();
    void sharedListIsLeftAlone();
    void eachImportCountsFromZero();
    void errorTextStaysUntilTheNextFailure();
    void pathInErrorTextIsTakenAsItIs_data();
    void pathInErrorTextIsTakenAsItIs();

    // Lines
    void defaultFormatIsSetAtFirst();
    void defaultFormatLines_data();
    void defaultFormatLines() { formatLines(); }
    void formatLines_data();
    void formatLines();
    void times_data();
    void times();
    void dataLengths_data();
    void dataLengths() { formatLines(); }
    void badDataBeforeOtherCodes_data();
    void badDataBeforeOtherCodes() { formatLines(); }
    void manyCodes_data();
    void manyCodes() { formatLines(); }
    void linesFromOutside_data();
    void linesFromOutside();
    void resetColumnsKeepsTheFormat();
    void formatMayChange();
    void addedMessageIsCopiedAsItIs();

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

void GenericFileImporterTest::initTestCase()
{
    // Texts without byte-order mark are read in the system's encoding, which must not depend on who runs the tests.
    LocaleEncoding::set("UTF-8");
}

void GenericFileImporterTest::freshImporterHasNoError()
{
    QObject parent;
    auto *importer = new GenericFileImporter(&parent);
    QCOMPARE(importer->parent(), &parent);
    QCOMPARE(importer->getErrorString(), QStringLiteral("No error."));
}

void GenericFileImporterTest::metaObjectHasNothingOfItsOwn()
{
    const QMetaObject &meta = GenericFileImporter::staticMetaObject;
    QCOMPARE(meta.className(), "GenericFileImporter");
    QCOMPARE(meta.methodCount(), QObject::staticMetaObject.methodCount());
}

void GenericFileImporterTest::errorTextsAreTranslated()
{
    const SampleFile badLine("x\n");
    QScopedPointer<MarkingTranslator> translator(new MarkingTranslator);
    const QString none = GenericFileImporter(nullptr).getErrorString();
    const QString line = importPath(badLine.path()).errorText;
    translator.reset();

    QCOMPARE(none, QStringLiteral("<GenericFileImporter> No error."));
    QCOMPARE(line, QLatin1String("<GenericFileImporter> ") + ErrorText::atLine(1, badLine.path()));
}

void GenericFileImporterTest::missingListFails()
{
    const SampleFile file("x\n");
    GenericFileImporter importer(nullptr);
    Notes notes;
    QCOMPARE(importer.importFile(file.path(), nullptr, &notes), false);
    QCOMPARE(importer.getErrorString(), ErrorText::none());
}

void GenericFileImporterTest::fileThatCannotBeOpenedFails_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << CANLOG_TEST_DATA "/generic/no-such-file.txt";
    QTest::newRow("folder") << CANLOG_TEST_DATA "/generic";
}

void GenericFileImporterTest::fileThatCannotBeOpenedFails()
{
    QFETCH(QString, path);

    QCOMPARE(importPath(path), (Imported{false, {}, {}, ErrorText::none()}));
}

void GenericFileImporterTest::listKeepsWhatItHeldAndNotesAreLeftAlone()
{
    const SampleFile file("1.5 1 181 x y 1 AA\n");
    GenericFileImporter importer(nullptr);
    Frames messages = frames({Frame(0x111), Frame(0x222)});
    Notes notes = note(0, "zero");
    QVERIFY(importer.importFile(file.path(), &messages, &notes));
    QCOMPARE(messages, frames({Frame(0x111), Frame(0x222), Frame(0x181, "AA").at(1, 5).channel(1).index(0)}));
    QCOMPARE(notes, note(0, "zero"));
    QVERIFY(importer.importFile(file.path(), &messages, nullptr));
    QCOMPARE(messages.size(), 4);
}

void GenericFileImporterTest::sharedListIsLeftAlone()
{
    const SampleFile file("1.5 1 181 x y 1 AA\n");
    const Frames before = frames({Frame(0x111)});
    Frames messages = before;
    Notes notes;
    QVERIFY(GenericFileImporter(nullptr).importFile(file.path(), &messages, &notes));
    QCOMPARE(before, frames({Frame(0x111)}));
    QCOMPARE(messages.size(), 2);
}

void GenericFileImporterTest::eachImportCountsFromZero()
{
    const SampleFile first("0.0 0 181 x y 1 AA\n0.0 0 182 x y 0\n");
    const SampleFile second("0.0 0 183 x y 0\n");
    GenericFileImporter importer(nullptr);
    Frames messages;
    Notes notes;
    QVERIFY(importer.importFile(first.path(), &messages, &notes));
    QVERIFY(importer.importFile(second.path(), &messages, &notes));
    QVERIFY(importer.parseFile(first.path()));
    QCOMPARE(messages, frames({Frame(0x181, "AA"), Frame(0x182), Frame(0x183).index(0), Frame(0x181, "AA").index(0),
                               Frame(0x182).index(1)}));

    // Lines from outside go on where the file ended; those that give no message do not count.
    QVERIFY(!importer.importCANMsgLine(QStringLiteral("0.0 0 184 x y")));
    QVERIFY(importer.importCANMsgLine(QStringLiteral("0.0 0 xyz x y 0")));
    QVERIFY(importer.importCANMsgLine(QStringLiteral("0.0 0 184 x y 0")));
    QCOMPARE(messages.size(), 6);
    QCOMPARE(messages.last(), CanRxMessage(Frame(0x184).index(2)));
}

void GenericFileImporterTest::errorTextStaysUntilTheNextFailure()
{
    const SampleFile bad("\nx\n");
    const SampleFile good("0.0 0 183 x y 0\n");
    const SampleFile worse("x\n");
    GenericFileImporter importer(nullptr);
    Frames messages;
    Notes notes;
    QVERIFY(!importer.importFile(bad.path(), &messages, &notes));
    QCOMPARE(importer.getErrorString(), ErrorText::atLine(2, bad.path()));
    QVERIFY(importer.importFile(good.path(), &messages, &notes));
    QVERIFY(!importer.importFile(good.path(), nullptr, &notes));
    QVERIFY(!importer.importFile(good.path() + QLatin1String(".missing"), &messages, &notes));
    QVERIFY(!importer.importCANMsgLine(QStringLiteral("x")));
    QCOMPARE(importer.getErrorString(), ErrorText::atLine(2, bad.path()));
    QVERIFY(!importer.importFile(worse.path(), &messages, &notes));
    QCOMPARE(importer.getErrorString(), ErrorText::atLine(1, worse.path()));
}

void GenericFileImporterTest::pathInErrorTextIsTakenAsItIs_data()
{
    addFileNameRows();
}

void GenericFileImporterTest::pathInErrorTextIsTakenAsItIs()
{
    QFETCH(QString, name);

    const SampleFile file("\n\nx\n", name);
    QCOMPARE(importPath(file.path()), (Imported{false, {}, {}, ErrorText::atLine(3, file.path())}));
}

void GenericFileImporterTest::defaultFormatIsSetAtFirst()
{
    const SampleFile file("0.000100 1 1A2 x y 2 AA BB\n");
    GenericFileImporter importer(nullptr);
    Frames messages;
    Notes notes;
    QVERIFY(importer.importFile(file.path(), &messages, &notes));
    QCOMPARE(messages, frames({Frame(0x1A2, "AA BB").at(0, 100).channel(1)}));
    QVERIFY(notes.isEmpty());
}

void GenericFileImporterTest::defaultFormatLines_data()
{
    addFormatColumns();

    const auto row = [](const char *name, const QString &line, bool accepted, const Frames &expected) {
        QTest::newRow(name) << defaultFormat << line << accepted << expected;
    };
    const auto text = [](const char *line) { return QString::fromUtf8(line); };
    const auto at = [](Frame frame) { return frames({frame.at(1, 500000).channel(1)}); };
    row("frame", text("0.000100 1 1A2 x y 2 AA BB"), true, frames({Frame(0x1A2, "AA BB").at(0, 100).channel(1)}));
    row("white space between the fields", text(" \t1.500000   1\t\t181 x\ry 2  AA BB  "), true,
        at(Frame(0x181, "AA BB")));
    row("no-break spaces between the fields", QStringLiteral("1.500000\u00a01\u2003181 x y 1 AA"), true,
        at(Frame(0x181, "AA")));
    row("further fields", text("1.500000 1 181 x y 1 AA BB CC"), true, at(Frame(0x181, "AA")));
    row("ignored fields may be anything", text("1.500000 1 181 ? # 1 AA"), true, at(Frame(0x181, "AA")));
    row("largest standard identifier", text("1.500000 1 7FF x y 0 "), true, at(Frame(0x7FF)));
    row("smallest extended identifier", text("1.500000 1 800 x y 0"), true, at(Frame(0x800).extended()));
    row("long text of a standard identifier", text("1.500000 1 00000181 x y 0"), true, at(Frame(0x181)));
    row("largest identifier", text("1.500000 1 FFFFFFFF x y 0"), true, at(Frame(0xFFFFFFFF).extended()));
    row("largest channel", text("1.500000 65535 181 x y 0"), true, frames({Frame(0x181).at(1, 500000).channel(65535)}));

    row("seven fields", text("1.500000 1 181 x y 0 ZZ"), true, at(Frame(0x181)));
    row("six fields", text("1.500000 1 181 x y 0"), true, at(Frame(0x181)));
    row("six fields and a length", text("1.500000 1 181 x y 1"), true, frames());
    row("five fields", text("1.500000 1 181 x y"), false, frames());
    row("five fields, bad numbers", text("a b c d e"), false, frames());
    row("one field", text("x"), false, frames());

    row("bad channel", text("1.500000 x 181 x y 0"), true, frames());
    row("hexadecimal channel", text("1.500000 A 181 x y 0"), true, frames());
    row("channel that is not 32-bit", text("1.500000 12345678901 181 x y 0"), true, frames());
    row("bad identifier", text("1.500000 1 xyz x y 0"), true, frames());
    row("identifier with a mark", text("1.500000 1 181h x y 0"), true, frames());
    row("identifier that is not 32-bit", text("1.500000 1 123456789 x y 0"), true, frames());
    row("bad length", text("1.500000 1 181 x y z"), true, frames());
    row("hexadecimal length", text("1.500000 1 181 x y A 1 2 3 4 5 6 7 8 9 A"), true, frames());
    row("length that is not 32-bit", text("1.500000 1 181 x y 12345678901"), true, frames());
    row("bad time is no harm", text("x.y 1 181 x y 0"), true, frames({Frame(0x181).channel(1)}));
    row("bad byte", text("1.500000 1 181 x y 2 AA XX"), true, frames());
    row("byte that is not 32-bit", text("1.500000 1 181 x y 1 123456789"), true, frames());
    row("bad byte behind the data", text("1.500000 1 181 x y 1 AA XX"), true, at(Frame(0x181, "AA")));
    row("byte above 255", text("1.500000 1 181 x y 2 1FF 12345678"), true, at(Frame(0x181, "FF 78")));
    row("byte of one digit", text("1.500000 1 181 x y 2 A b"), true, at(Frame(0x181, "0A 0B")));
    row("data past the end of the line", text("1.500000 1 181 x y 3 AA BB"), true, frames());
    row("comment sign within a line", text("1.500000 1 181 #x y 0"), true, at(Frame(0x181)));
    row("character 0 is no blank", text("1.500000 1 181 x y") + QChar(0) + QStringLiteral("1 1 AA"), true,
        at(Frame(0x181, "AA")));
}

void GenericFileImporterTest::formatLines_data()
{
    addFormatColumns();

    QTest::newRow("time") << "t"
                          << "1.5" << true << frames({Frame().at(1, 5)});
    QTest::newRow("channel") << "n"
                             << "7" << true << frames({Frame().channel(7)});
    QTest::newRow("hexadecimal identifier") << "i"
                                            << "181" << true << frames({Frame(0x181)});
    QTest::newRow("hexadecimal identifier above 7FF") << "i"
                                                      << "800" << true << frames({Frame(0x800).extended()});
    QTest::newRow("decimal identifier") << "I"
                                        << "181" << true << frames({Frame(181)});
    QTest::newRow("decimal identifier above 7FF") << "I"
                                                  << "2048" << true << frames({Frame(0x800).extended()});
    QTest::newRow("decimal identifier of 7FF") << "I"
                                               << "2047" << true << frames({Frame(0x7FF)});
    QTest::newRow("decimal identifier with zeros") << "I"
                                                   << "010" << true << frames({Frame(10)});
    QTest::newRow("decimal identifier in hexadecimal") << "I"
                                                       << "1A2" << true << frames();
    QTest::newRow("decimal identifier that is not 32-bit") << "I"
                                                           << "4294967296" << true << frames();
    QTest::newRow("largest decimal identifier") << "I"
                                                << "4294967295" << true << frames({Frame(0xFFFFFFFF).extended()});
    QTest::newRow("prefixed identifier, hexadecimal") << "0xi"
                                                      << "0x181" << true << frames({Frame(0x181)});
    QTest::newRow("prefixed identifier, capital prefix")
        << "0xi"
        << "0X1aB" << true << frames({Frame(QStringLiteral("0X1aB").toUInt(nullptr, 0))});
    QTest::newRow("prefixed identifier, extended") << "0xi"
                                                   << "0x18FF1234" << true << frames({Frame(0x18FF1234).extended()});
    QTest::newRow("prefixed identifier, octal") << "0xi"
                                                << "010" << true << frames({Frame(8)});
    QTest::newRow("prefixed identifier, bad octal") << "0xi"
                                                    << "08" << true << frames();
    QTest::newRow("prefixed identifier, decimal") << "0xi"
                                                  << "181" << true << frames({Frame(181)});
    QTest::newRow("prefixed identifier, zero") << "0xi"
                                               << "0" << true << frames({Frame(0)});
    QTest::newRow("prefixed identifier without prefix") << "0xi"
                                                        << "1A2" << true << frames();
    QTest::newRow("prefixed identifier, prefix only") << "0xi"
                                                      << "0x" << true << frames();
    bool isNumber = false;
    const quint32 prefixed = QStringLiteral("0x181").toUInt(&isNumber, 16);
    QTest::newRow("hexadecimal identifier with prefix")
        << "i"
        << "0x181" << true << (isNumber ? frames({Frame(prefixed)}) : frames());
    QTest::newRow("length") << "l"
                            << "8" << true << frames({Frame().dlc(8)});
    QTest::newRow("data without length") << "d"
                                         << "AA BB" << true << frames({Frame()});
    QTest::newRow("data without length, no number") << "d"
                                                    << "XX" << true << frames({Frame()});
    QTest::newRow("length and data") << "l d"
                                     << "2 AA BB" << true << frames({Frame(0, "AA BB")});
    QTest::newRow("length behind the data") << "d l"
                                            << "AA 2 BB" << true << frames({Frame().dlc(2)});
    QTest::newRow("length around the data") << "l d l"
                                            << "1 AA 2" << true << frames({Frame(0, "AA").dlc(2)});
    QTest::newRow("data over other columns") << "l d i"
                                             << "2 AA BB" << true << frames({Frame(0xBB, "AA BB")});
    QTest::newRow("data twice") << "l d d"
                                << "2 AA BB CC" << true << frames({Frame(0, "BB CC")});
    QTest::newRow("data before the others")
        << "l d ? i n t"
        << "2 AA BB 181 7 1.5" << true << frames({Frame(0x181, "AA BB").channel(7).at(1, 5)});
    QTest::newRow("ignored") << "?"
                             << "x" << true << frames({Frame()});
    QTest::newRow("unknown codes are ignored") << "x N T L D 0xI ti it %1 i"
                                               << "1 2 3 4 5 6 7 8 9 181" << true << frames({Frame(0x181)});
    QTest::newRow("several question marks in one") << "?? i"
                                                   << "x 181" << true << frames({Frame(0x181)});
    QTest::newRow("code of another script") << QStringLiteral("\u20ac i") << "x 181" << true << frames({Frame(0x181)});
    QTest::newRow("a code twice: the last") << "i i"
                                            << "181 182" << true << frames({Frame(0x182)});
    QTest::newRow("different codes for the identifier") << "i I 0xi"
                                                        << "181 182 0x183" << true << frames({Frame(0x183)});
    QTest::newRow("bad first of two identifiers") << "i i"
                                                  << "xyz 182" << true << frames();
    QTest::newRow("bad second of two identifiers") << "i i"
                                                   << "181 xyz" << true << frames();
    QTest::newRow("large first of two identifiers") << "i i"
                                                    << "18FF1234 182" << true << frames({Frame(0x182)});
    QTest::newRow("no code") << ""
                             << "anything at all" << true << frames({Frame()});
    QTest::newRow("blank as format: two codes") << " "
                                                << "x" << true << frames({Frame()});
    // Two blanks are an empty code between them, which takes a field like any other.
    QTest::newRow("two blanks in the format") << "t  i"
                                              << "1.5 x 181" << true << frames({Frame(0x181).at(1, 5)});
    QTest::newRow("blank before the format") << " i"
                                             << "x 181" << true << frames({Frame(0x181)});
    QTest::newRow("blank behind the format") << "i "
                                             << "181 x" << true << frames({Frame(0x181)});
    QTest::newRow("blank behind the format, field missing") << "i "
                                                            << "181" << true << frames({Frame(0x181)});
    QTest::newRow("blanks behind the format, fields missing") << "i  "
                                                              << "181" << false << frames();
    QTest::newRow("tab is no separator of the format") << "i\tl"
                                                       << "181 2" << true << frames({Frame()});

    QTest::newRow("last field missing: identifier") << "t i"
                                                    << "1.5" << true << frames();
    QTest::newRow("last field missing: channel") << "t n"
                                                 << "1.5" << true << frames();
    QTest::newRow("last field missing: length") << "t l"
                                                << "1.5" << true << frames();
    QTest::newRow("last field missing: time") << "i t"
                                              << "181" << true << frames({Frame(0x181)});
    QTest::newRow("last field missing: ignored") << "i ?"
                                                 << "181" << true << frames({Frame(0x181)});
    QTest::newRow("last field missing: data") << "i l d"
                                              << "181 0" << true << frames({Frame(0x181)});
    QTest::newRow("last field missing: data with a length") << "i l d"
                                                            << "181 1" << true << frames();
    QTest::newRow("two fields missing") << "i ? ?"
                                        << "181" << false << frames();
    QTest::newRow("two fields missing, bad number") << "i ? ?"
                                                    << "xyz" << false << frames();
}

void GenericFileImporterTest::formatLines()
{
    QFETCH(QString, format);
    QFETCH(QString, line);
    QFETCH(bool, accepted);
    QFETCH(Frames, expected);

    sample.write(line.toUtf8() + '\n');
    const QString errorText = accepted ? ErrorText::none() : ErrorText::atLine(1, sample.path());
    QCOMPARE(importPath(sample.path(), format), (Imported{accepted, expected, {}, errorText}));

    OpenImporter importer;
    importer->setColumnFormat(format);
    QCOMPARE(importer->importCANMsgLine(line.simplified()), accepted);
    QCOMPARE(importer.messages, expected);
    QCOMPARE(importer->getErrorString(), ErrorText::none());
}

void GenericFileImporterTest::times_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("microseconds");

    QTest::newRow("not padded") << "1.5" << 1 << 5;
    QTest::newRow("six digits") << "1.500000" << 1 << 500000;
    QTest::newRow("zeros in front") << "001.000100" << 1 << 100;
    QTest::newRow("decimal in spite of the zero") << "010.010" << 10 << 10;
    QTest::newRow("seven digits") << "0.1234567" << 0 << 1234567;
    QTest::newRow("no point") << "7" << 7 << 0;
    QTest::newRow("point only") << "." << 0 << 0;
    QTest::newRow("no seconds") << ".5" << 0 << 5;
    QTest::newRow("no fraction") << "5." << 5 << 0;
    QTest::newRow("second of three parts") << "1.2.3" << 1 << 2;
    QTest::newRow("empty second part") << "1..3" << 1 << 0;
    QTest::newRow("bad seconds") << "x.5" << 0 << 5;
    QTest::newRow("bad fraction") << "5.x" << 5 << 0;
    QTest::newRow("no number") << "(1.5)" << 0 << 0;
    QTest::newRow("comma") << "1,5" << 0 << 0;
    QTest::newRow("hexadecimal") << "0x10.0x10" << 0 << 0;
    QTest::newRow("not 32-bit") << "12345678901.12345678901" << 0 << 0;
    QTest::newRow("largest") << "2147483647.2147483647" << 2147483647 << 2147483647;
    QTest::newRow("time of day") << "12:01:05.250" << 0 << 250;
    QTest::newRow("digits of another script")
        << QStringLiteral("\u0661\u0662.5") << QStringLiteral("\u0661\u0662").toInt() << 5;
}

void GenericFileImporterTest::times()
{
    QFETCH(QString, text);
    QFETCH(int, seconds);
    QFETCH(int, microseconds);

    sample.write(text.toUtf8() + " 181\n");
    QCOMPARE(importPath(sample.path(), QStringLiteral("t i")).messages,
             frames({Frame(0x181).at(seconds, microseconds)}));
    OpenImporter importer;
    importer->setColumnFormat(QStringLiteral("t i"));
    QVERIFY(importer->importCANMsgLine(text + QLatin1String(" 181")));
    QCOMPARE(importer.messages, frames({Frame(0x181).at(seconds, microseconds)}));
}

void GenericFileImporterTest::dataLengths_data()
{
    addFormatColumns();

    const auto line = [](int length, int bytes) {
        return QStringLiteral("181 %1%2").arg(length).arg(countedTokens(bytes));
    };
    for (const int length : {0, 1, 2, 7, 8, 9, 12, 63, 64, 65, 100, 254, 255}) {
        const Frame frame = Frame(0x181).bytes(countedBytes(qMin(length, 64))).dlc(static_cast<quint8>(length));
        QTest::addRow("length %d with as many bytes", length)
            << "i l d" << line(length, length) << true << frames({frame});
        QTest::addRow("length %d with a byte more", length)
            << "i l d" << line(length, length + 1) << true << frames({frame});
        if (length > 0)
            QTest::addRow("length %d with a byte less", length)
                << "i l d" << line(length, length - 1) << true << frames();
    }
    QTest::newRow("length 100 with 64 bytes") << "i l d" << line(100, 64) << true << frames();
    QTest::newRow("length 100 with a bad 80th byte")
        << "i l d" << line(100, 79) + QLatin1String(" XX") + countedTokens(20) << true << frames();
    QTest::newRow("length 255 with 300 bytes")
        << "i l d" << line(255, 300) << true << frames({Frame(0x181).bytes(countedBytes(64)).dlc(255)});
    // The low eight bits are the length.
    QTest::newRow("length 256") << "i l d" << line(256, 1) << true << frames({Frame(0x181)});
    QTest::newRow("length 258") << "i l d" << line(258, 2) << true << frames({Frame(0x181, "01 02")});
    QTest::newRow("length 300 with 44 bytes")
        << "i l d" << line(300, 44) << true << frames({Frame(0x181).bytes(countedBytes(44))});
    QTest::newRow("length 300 with 43 bytes") << "i l d" << line(300, 43) << true << frames();
}

void GenericFileImporterTest::badDataBeforeOtherCodes_data()
{
    addFormatColumns();

    // A later number that can be read makes up for a bad byte, a later number that cannot be read does not.
    QTest::newRow("identifier follows") << "l d ? i"
                                        << "2 AA XX 181" << true << frames({Frame(0x181, "AA 00")});
    QTest::newRow("decimal identifier follows") << "l d ? I"
                                                << "2 AA XX 181" << true << frames({Frame(181, "AA 00")});
    QTest::newRow("prefixed identifier follows") << "l d ? 0xi"
                                                 << "2 AA XX 0x181" << true << frames({Frame(0x181, "AA 00")});
    QTest::newRow("channel follows") << "l d ? n"
                                     << "2 AA XX 7" << true << frames({Frame(0, "AA 00").channel(7)});
    QTest::newRow("length follows") << "l d ? l"
                                    << "2 AA XX 7" << true << frames({Frame(0, "AA").dlc(7)});
    QTest::newRow("bad first byte") << "l d ? i"
                                    << "2 XX AA 181" << true << frames({Frame(0x181, "00 00")});
    QTest::newRow("bytes behind the bad one are not read")
        << "l d ? ? i"
        << "3 AA XX BB 181" << true << frames({Frame(0x181, "AA 00 00")});
    QTest::newRow("bad identifier follows") << "l d ? i"
                                            << "2 AA XX xyz" << true << frames();
    QTest::newRow("identifier, then a bad channel") << "l d ? i n"
                                                    << "2 AA XX 181 x" << true << frames();
    QTest::newRow("channel, then identifier") << "l d ? n i"
                                              << "2 AA XX 7 181" << true << frames({Frame(0x181, "AA 00").channel(7)});
    QTest::newRow("only ignored columns follow") << "l d ? ? x"
                                                 << "2 AA XX 181 182" << true << frames();
    QTest::newRow("identifier before") << "i l d"
                                       << "181 2 AA XX" << true << frames();
    QTest::newRow("data past the end, identifier inside")
        << "l d i"
        << "4 AA 181" << true << frames({Frame(0x181, "AA 81 00 00")});
}

void GenericFileImporterTest::manyCodes_data()
{
    addFormatColumns();

    const QString ignored = QStringLiteral("? ");
    const QString field = QStringLiteral("1 ");
    // The number of codes counts in eight bits for what a line must have.
    QTest::newRow("255 codes, 254 fields")
        << ignored.repeated(254) + QLatin1String("i") << field.repeated(254) << true << frames();
    QTest::newRow("255 codes, 253 fields")
        << ignored.repeated(254) + QLatin1String("i") << field.repeated(253) << false << frames();
    QTest::newRow("255 codes, 255 fields")
        << ignored.repeated(254) + QLatin1String("i") << field.repeated(255) << true << frames({Frame(1)});
    QTest::newRow("256 codes, one field")
        << QLatin1String("i ") + ignored.repeated(254) + QLatin1String("?") << "181" << true << frames({Frame(0x181)});
    QTest::newRow("257 codes, one field")
        << QLatin1String("i ") + ignored.repeated(255) + QLatin1String("?") << "181" << true << frames({Frame(0x181)});
    QTest::newRow("258 codes, one field")
        << QLatin1String("i ") + ignored.repeated(256) + QLatin1String("?") << "181" << true << frames({Frame(0x181)});
    QTest::newRow("259 codes, one field")
        << QLatin1String("i ") + ignored.repeated(257) + QLatin1String("?") << "181" << false << frames();
    QTest::newRow("300 codes, 43 fields") << QLatin1String("i ") + ignored.repeated(298) + QLatin1String("?")
                                          << field.repeated(43) << true << frames({Frame(1)});
    QTest::newRow("300 codes, 42 fields")
        << QLatin1String("i ") + ignored.repeated(298) + QLatin1String("?") << field.repeated(42) << false << frames();
    // All codes are taken, also those above 255.
    QTest::newRow("300 codes, 300 fields")
        << ignored.repeated(299) + QLatin1String("i") << field.repeated(299) + QLatin1String("181") << true
        << frames({Frame(0x181)});
    QTest::newRow("300 codes, the last has no field")
        << ignored.repeated(299) + QLatin1String("i") << field.repeated(299) << true << frames();
}

void GenericFileImporterTest::linesFromOutside_data()
{
    addFormatColumns();

    // Fields are cut at every single blank; nothing is made equal before.
    QTest::newRow("two blanks") << "i i"
                                << "181  182" << true << frames();
    QTest::newRow("two blanks, ignored") << "i ? n"
                                         << "181  7" << true << frames({Frame(0x181).channel(7)});
    QTest::newRow("blank in front") << "? i"
                                    << " 181" << true << frames({Frame(0x181)});
    QTest::newRow("blank in front of the identifier") << "i"
                                                      << " 181" << true << frames();
    QTest::newRow("blanks count as fields") << "i ? ?"
                                            << "181  " << true << frames({Frame(0x181)});
    QTest::newRow("empty line, one code") << "i"
                                          << "" << true << frames();
    QTest::newRow("empty line, ignored code") << "?"
                                              << "" << true << frames({Frame()});
    QTest::newRow("empty line, two codes") << "? i"
                                           << "" << true << frames();
    QTest::newRow("empty line, three codes") << "? ? ?"
                                             << "" << false << frames();
    QTest::newRow("comment sign is text") << "? i"
                                          << "# 181" << true << frames({Frame(0x181)});
    bool isNumber = false;
    const quint32 id = QStringLiteral("181\t").toUInt(&isNumber, 16);
    QTest::newRow("tab behind the identifier") << "i"
                                               << "181\t" << true << (isNumber ? frames({Frame(id)}) : frames());
}

void GenericFileImporterTest::linesFromOutside()
{
    QFETCH(QString, format);
    QFETCH(QString, line);
    QFETCH(bool, accepted);
    QFETCH(Frames, expected);

    OpenImporter importer;
    importer->setColumnFormat(format);
    QCOMPARE(importer->importCANMsgLine(line), accepted);
    QCOMPARE(importer.messages, expected);
}

void GenericFileImporterTest::resetColumnsKeepsTheFormat()
{
    OpenImporter importer;
    importer->setColumnFormat(QStringLiteral("I l d"));
    importer->resetColumnsPos();
    QVERIFY(importer->importCANMsgLine(QStringLiteral("181 1 AA")));
    QCOMPARE(importer.messages, frames({Frame(181, "AA")}));

    OpenImporter fresh;
    fresh->resetColumnsPos();
    QVERIFY(fresh->importCANMsgLine(QStringLiteral("0.000100 1 1A2 x y 2 AA BB")));
    QCOMPARE(fresh.messages, frames({Frame(0x1A2, "AA BB").at(0, 100).channel(1)}));
}

void GenericFileImporterTest::formatMayChange()
{
    const SampleFile file("181 182\n");
    OpenImporter importer;
    importer->setColumnFormat(QStringLiteral("i ?"));
    QVERIFY(importer->parseFile(file.path()));
    importer->setColumnFormat(QStringLiteral("? I"));
    QVERIFY(importer->parseFile(file.path()));
    importer->setColumnFormat(defaultFormat);
    QVERIFY(!importer->parseFile(file.path()));
    QCOMPARE(importer.messages, frames({Frame(0x181), Frame(182).index(0)}));
    QCOMPARE(importer->getErrorString(), ErrorText::atLine(1, file.path()));
}

void GenericFileImporterTest::addedMessageIsCopiedAsItIs()
{
    OpenImporter importer;
    const CanRxMessage message =
        Frame(0x1FFFFFFF, "01 02").dlc(200).at(-1, 7).extended().remote().fd().esi().brs().tx().channel(3).index(77);
    importer->addMessageToMessageList(message);
    QCOMPARE(importer.messages.size(), 1);
    QCOMPARE(importer.messages.at(0), message);

    // The message of a line is numbered by the lines, not by what the list holds.
    QVERIFY(importer->importCANMsgLine(QStringLiteral("0.0 0 181 x y 0")));
    QCOMPARE(importer.messages.last(), CanRxMessage(Frame(0x181).index(0)));
}

void GenericFileImporterTest::files_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("format");
    QTest::addColumn<Frames>("expected");

    const Frames both = frames({Frame(0x181, "AA"), Frame(0x182, "BB")});
    const QString format = QStringLiteral("i l d");
    QTest::newRow("empty") << QByteArray() << format << frames();
    QTest::newRow("one line end") << QByteArray("\n") << format << frames();
    QTest::newRow("two lines") << QByteArray("181 1 AA\n182 1 BB\n") << format << both;
    QTest::newRow("blank lines") << QByteArray("\n  \n\t\n181 1 AA\n \t \r\n\r\n\r\r\n\v\f\n\xc2\xa0\n182 1 BB\n  ")
                                 << format << both;
    QTest::newRow("comments") << QByteArray("# x\n#\n181 1 AA\n#181 1 AA\n  # blanks before\n\t#\n182 1 BB\n##")
                              << format << both;
    QTest::newRow("comments with columns") << QByteArray("# 181 1 AA\n181 1 AA\n182 1 BB\n") << format << both;
    QTest::newRow("lines with bad numbers vanish")
        << QByteArray("181 1 AA\nxyz 1 AA\n181 x AA\n181 1 XX\n181 2 AA\nx y z\n182 1 BB\n") << format << both;
    QTest::newRow("lone CR does not end a line") << QByteArray("181 1\rAA\r183 0\n182\r1 BB\n") << format << both;
    QTest::newRow("lone CR in a comment") << QByteArray("# comment\r183 0\n181 1 AA\n182 1 BB\n") << format << both;
    QTest::newRow("other comment signs are text")
        << QByteArray("; 1\n// 1\n181 1 AA\n* 1\n182 1 BB\n") << format << both;
    QTest::newRow("empty format: every line is an empty message")
        << QByteArray("x\n\n# comment\ny z\n") << QString() << frames({Frame(), Frame()});
}

void GenericFileImporterTest::files()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, format);
    QFETCH(Frames, expected);

    sample.write(content);
    QCOMPARE(importPath(sample.path(), format), (Imported{true, expected, {}, ErrorText::none()}));
}

void GenericFileImporterTest::filesThatFail_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("errorLine");
    QTest::addColumn<Frames>("expected");

    const QByteArray good("181 1 AA\n");
    const Frames one = frames({Frame(0x181, "AA")});
    QTest::newRow("first line") << "x\n" + good << 1 << frames();
    QTest::newRow("messages before stay") << good + "x\n" + good << 2 << one;
    QTest::newRow("no final newline") << good + "x" << 2 << one;
    QTest::newRow("all lines count") << "# x\n\n  \n" + good + "\r\nxyz 0 0\n #\nbad\n" << 8 << one;
    QTest::newRow("line 1234567") << QByteArray(1234566, '\n') + "bad\n" << 1234567 << frames();
}

void GenericFileImporterTest::filesThatFail()
{
    QFETCH(QByteArray, content);
    QFETCH(int, errorLine);
    QFETCH(Frames, expected);

    sample.write(content);
    QCOMPARE(importPath(sample.path(), QStringLiteral("i l d")),
             (Imported{false, expected, {}, ErrorText::atLine(errorLine, sample.path())}));
}

void GenericFileImporterTest::encodings_data()
{
    addEncodingRows(QStringLiteral("# \u20ac\n1.5 1 181 \u20ac \U0001F697 1 AA\n2.5 2 18FF1234 x y 0\n"));
}

void GenericFileImporterTest::encodings()
{
    QFETCH(QByteArray, content);

    sample.write(content);
    QCOMPARE(
        importPath(sample.path()),
        (Imported{true,
                  frames({Frame(0x181, "AA").at(1, 5).channel(1), Frame(0x18FF1234).at(2, 5).channel(2).extended()}),
                  {},
                  ErrorText::none()}));
}

void GenericFileImporterTest::membersReadWhatTheFileReaderReads()
{
    OpenImporter importer;
    for (const QString &line : goodLines) {
        if (!line.startsWith(QLatin1Char('#')))
            QVERIFY2(importer->importCANMsgLine(line), qPrintable(line));
    }
    QCOMPARE(importer.messages.size(), 4);
    const SampleFile file(goodLines.join(QLatin1Char('\n')).toUtf8());
    QCOMPARE(importPath(file.path()), (Imported{true, importer.messages, {}, ErrorText::none()}));
}

void GenericFileImporterTest::randomLinesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<QString>("format");
    for (const QString &format : formats)
        QTest::addRow("\"%s\"", qPrintable(format)) << format;
}

void GenericFileImporterTest::randomLinesReadAsThePlainRulesSay()
{
    QFETCH(QString, format);

    RandomLines lines(static_cast<quint32>(format.size()),
                      goodLines + QStringList{goodLineOf(format), goodLineOf(format)}, lineTokens,
                      {QStringLiteral(" "), QStringLiteral(" ")});
    OpenImporter importer;
    importer->setColumnFormat(format);
    PlainRules rules(format);
    for (int i = 0; i < 2000; ++i) {
        QString line = lines.next();
        if (lines.bounded(2) == 0)
            line = line.simplified();
        if (isOpenLine(line, format))
            continue;
        QVERIFY2(importer->importCANMsgLine(line) == rules.line(line), qPrintable(line));
        QVERIFY2(importer.messages.size() == rules.messages.size(), qPrintable(line));
        if (!rules.messages.isEmpty() && importer.messages.last() != rules.messages.last())
            QFAIL(qPrintable(line + QLatin1Char('\n') + describe(importer.messages.last()) + QLatin1Char('\n')
                             + describe(rules.messages.last())));
    }
    QVERIFY(importer.messages == rules.messages);
    QVERIFY(rules.messages.size() > 20);
}

void GenericFileImporterTest::randomFilesReadAsThePlainRulesSay_data()
{
    randomLinesReadAsThePlainRulesSay_data();
}

void GenericFileImporterTest::randomFilesReadAsThePlainRulesSay()
{
    QFETCH(QString, format);

    RandomLines lines(static_cast<quint32>(format.size()) + 100,
                      goodLines + QStringList{goodLineOf(format), goodLineOf(format)}, lineTokens,
                      {QStringLiteral(" ")});
    const auto compare = [&](const QString &content) {
        sample.write(content.toUtf8());
        return differenceOf(importPath(sample.path(), format), PlainRules::readFile(sample.path(), format));
    };

    // A long file of lines that are all accepted.
    QString text;
    PlainRules rules(format);
    for (int i = 0; i < 2000; ++i) {
        const QString line = lines.next();
        if (!isOpenLine(line.simplified(), format) && rules.readLine(line))
            text += line + lines.lineEnd();
    }
    QString difference = compare(text);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));

    // Short files of any lines.
    for (int i = 0; i < 40; ++i) {
        text.clear();
        for (int k = lines.bounded(14); k > 0; --k) {
            const QString line = lines.next();
            if (!isOpenLine(line.simplified(), format))
                text += line + lines.lineEnd();
        }
        if (lines.bounded(3) == 0)
            text.chop(1);
        difference = compare(text);
        QVERIFY2(difference.isEmpty(), qPrintable(text + QLatin1Char('\n') + difference));
    }
}

void GenericFileImporterTest::handlerDeliversOnce_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Frames>("expected");

    QTest::newRow("default format") << defaultFormat << QByteArray("# x\n0.000100 1 1A2 x y 2 AA BB\n")
                                    << frames({Frame(0x1A2, "AA BB").at(0, 100).channel(1)});
    QTest::newRow("other format") << "I l d" << QByteArray("181 1 AA\n182 0\n")
                                  << frames({Frame(181, "AA"), Frame(182)});
    QTest::newRow("no message") << "i" << QByteArray() << frames();
    // The description takes the place of the default also when it is empty.
    QTest::newRow("empty format") << "" << QByteArray("181\nx y z\n") << frames({Frame(), Frame()});
}

void GenericFileImporterTest::handlerDeliversOnce()
{
    QFETCH(QString, format);
    QFETCH(QByteArray, content);
    QFETCH(Frames, expected);

    const SampleFile file(content);
    const ImportRun run(generic, file.path(), format);
    QVERIFY(run.succeeded());
    const QString delivered = Expected::delivered(expected.size());
    QCOMPARE(run.store.calls(), QStringList({Expected::loading(true), delivered, Expected::loading(false)}));
    QCOMPARE(run.store.messages(), expected);
    QCOMPARE(run.errorText(), QString());

    RecordingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);
    QVERIFY(handler.loadGenericFile(file.path(), format));
    QCOMPARE(store.calls(), QStringList{delivered});
    QCOMPARE(store.messages(), expected);

    store.clear();
    QVERIFY(handler.loadFile(file.path(), generic, format, true));
    QCOMPARE(store.calls(),
             QStringList({Expected::started(), delivered, Expected::finished(true, generic, file.path())}));

    store.clear();
    Q_EMIT store.sigImportRequest(file.path(), generic, format, false);
    QCoreApplication::processEvents();
    QCOMPARE(store.calls(),
             QStringList({Expected::started(), delivered, Expected::finished(true, generic, file.path())}));
    QCOMPARE(store.messages(), expected);
}

void GenericFileImporterTest::handlerDeliversManyMessagesAtOnce()
{
    constexpr int count = 100001;
    const SampleFile file(QByteArray("181 1 AA\n").repeated(count));
    const ImportRun run(generic, file.path(), QStringLiteral("i l d"));
    QVERIFY(run.succeeded());
    QCOMPARE(run.store.batchSizes(), QVector<int>{count});
    QCOMPARE(run.store.messages().last(), CanRxMessage(Frame(0x181, "AA").index(count - 1)));
}

void GenericFileImporterTest::handlerKeepsTheErrorText()
{
    const SampleFile good("181 1 AA\n");
    const SampleFile bad("181 1 AA\nx\n");
    const QString format = QStringLiteral("i l d");
    const ImportRun run(generic, bad.path(), format);
    QVERIFY(!run.succeeded());
    QCOMPARE(run.store.calls(), QStringList({Expected::loading(true), Expected::loading(false)}));
    QCOMPARE(run.errorText(), ErrorText::atLine(2, bad.path()));

    RecordingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);
    QVERIFY(!handler.loadFile(bad.path(), generic, format, false));
    QCOMPARE(store.calls(), QStringList({Expected::started(), Expected::finished(false, generic, bad.path())}));
    QCOMPARE(handler.getLastErrorText(), ErrorText::atLine(2, bad.path()));

    // A success leaves the text of the last failure; a file that is not there is no error of the importer.
    QVERIFY(handler.loadGenericFile(good.path(), format));
    QCOMPARE(handler.getLastErrorText(), ErrorText::atLine(2, bad.path()));
    QVERIFY(!handler.loadGenericFile(bad.path() + QLatin1String(".missing"), format));
    QCOMPARE(handler.getLastErrorText(), ErrorText::none());
}

void GenericFileImporterTest::handlerWithoutStoreReadsIntoNothing()
{
    const SampleFile good("181 1 AA\n");
    QPointer<DatachunkHandler> none;
    CANLogHandler handler(none);
    QVERIFY(handler.loadGenericFile(good.path(), QStringLiteral("i l d")));
    QVERIFY(!handler.loadGenericFile(good.path(), defaultFormat));
}

void GenericFileImporterTest::sampleFiles_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<Frames>("expected");

    QTest::newRow("default-columns")
        << defaultFormat
        << frames({
               Frame(0x1A2, "AA BB").at(0, 100).channel(1),
               Frame(0x18FF1234, "00 11 22 33 44 55 66 77").at(0, 250000).channel(2).extended(),
               Frame(0x7FF).at(1, 0).channel(1),
           });
    QTest::newRow("decimal-identifiers") << "? I l d"
                                         << frames({
                                                Frame(181, "0A 0B"),
                                                Frame(2048, "0C").extended(),
                                                Frame(0),
                                            });
    QTest::newRow("prefixed-identifiers") << "n ? l d ? 0xi t"
                                          << frames({
                                                 Frame(0x181, "0A 0B").channel(1).at(12, 500),
                                                 Frame(8, "0C 0D").channel(2).at(13, 0),
                                             });
    QTest::newRow("windows-line-ends") << "i l d"
                                       << frames({
                                              Frame(0x181, "0A 0B"),
                                              Frame(0x182),
                                          });
}

void GenericFileImporterTest::sampleFiles()
{
    QFETCH(QString, format);
    QFETCH(Frames, expected);

    const QString path = QStringLiteral(CANLOG_TEST_DATA "/generic/%1.txt").arg(QLatin1String(QTest::currentDataTag()));
    QCOMPARE(importPath(path, format), (Imported{true, expected, {}, ErrorText::none()}));
}

QTEST_GUILESS_MAIN(GenericFileImporterTest)
#include "tst_genericfileimporter.moc"
