// SPDX-License-Identifier: Apache-2.0
#include "encodings.h"
#include "importers/peaktraceimporter.h"
#include "importing.h"

#include <QFile>
#include <QMetaMethod>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTextStream>
#include <QtTest>

#include <initializer_list>
#include <memory>
#include <optional>

using CAN::CanRxMessage;
using DatachunkHelper::ImportFileType;

Q_DECLARE_METATYPE(DatachunkHelper::ImportFileType)

namespace
{

constexpr ImportFileType v11 = DatachunkHelper::PeakTraceV11;
constexpr ImportFileType v12 = DatachunkHelper::PeakTraceV12;
constexpr ImportFileType v13 = DatachunkHelper::PeakTraceV13;
constexpr ImportFileType v20 = DatachunkHelper::PeakTraceV20;
constexpr ImportFileType v21 = DatachunkHelper::PeakTraceV21;

Imported importPath(ImportFileType type, const QString &path)
{
    PeakTraceImporter importer(nullptr);
    Imported result;
    result.succeeded = importer.importFile(path, type, &result.messages, &result.notes);
    result.errorText = importer.getErrorString();
    return result;
}

QStringList tokensOf(const QString &line)
{
    return line.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// An importer whose single functions are called from outside. Its lists are those of an empty file.
class OpenImporter
{
public:
    OpenImporter()
    {
        if (!importer->importFile(emptyFile(), v11, &messages, &notes))
            qFatal("an empty trace cannot be imported");
    }

    PeakTraceImporter *operator->() { return importer.get(); }

    Frames messages;
    Notes notes;

private:
    std::unique_ptr<PeakTraceImporter> importer = std::make_unique<PeakTraceImporter>(nullptr);
};

QString columnHeader(const QString &columns)
{
    return QLatin1String(";$COLUMNS=") + columns;
}

/*
 * The rules of the format once more, with Qt's plain operations and no thought of speed: what the importer must make of
 * any text, however odd.
 */
class PlainRules
{
public:
    Frames messages;
    Notes notes;

    static CanTimeStamp timeStamp(const QString &text)
    {
        QChar separator(0);
        if (text.contains(QLatin1Char(',')))
            separator = QLatin1Char(',');
        else if (text.contains(QLatin1Char('.')))
            separator = QLatin1Char('.');
        const QStringList pieces = text.split(separator);
        const int milliseconds = pieces.first().toInt();
        const int fraction = pieces.last().leftJustified(3, QLatin1Char('0')).toInt();
        return CanTimeStamp(milliseconds / 1000, milliseconds % 1000 * 1000 + fraction);
    }

    bool version1Line(const QStringList &tokens)
    {
        const QString type = tokens.size() >= 3 ? tokens.at(2) : QString();
        if (type.isEmpty())
            return false;
        if (type.contains(QLatin1String("Warng"))) {
            addNote(tokens.last());
            return true;
        }
        if (tokens.size() <= 4)
            return false;
        CanRxMessage message;
        message.timeStamp = timeStamp(tokens.at(1));
        if (!type.contains(QLatin1String("Rx")) && !type.contains(QLatin1String("Tx")))
            return true;
        message.isTx = type.contains(QLatin1String("Tx"));
        message.id = tokens.at(3).toUInt(nullptr, 16);
        message.isExtended = tokens.at(3).size() > 4;
        message.dlc = static_cast<quint8>(tokens.at(4).toUInt());
        if (tokens.size() > 5 && tokens.at(5) == QLatin1String("RTR")) {
            message.isRemote = true;
        } else {
            for (int i = 5; i < tokens.size(); ++i) {
                if (i <= 68)
                    message.data[i - 5] = static_cast<quint8>(tokens.at(i).toUInt(nullptr, 16));
            }
        }
        append(message);
        return true;
    }

    bool checkValidColumns(const QStringList &headerLines)
    {
        posO = posT = posI = posd = posl = posD = -1;
        const int header = headerLines.indexOf(QRegularExpression(QStringLiteral(".*COLUMNS.*")));
        if (header >= 0) {
            const QStringList codes =
                headerLines.at(header).split(QLatin1Char('=')).last().simplified().split(QLatin1Char(','));
            posO = codes.indexOf(QStringLiteral("O"));
            posT = codes.indexOf(QStringLiteral("T"));
            posI = codes.indexOf(QStringLiteral("I"));
            posd = codes.indexOf(QStringLiteral("d"));
            posl = codes.indexOf(QRegularExpression(QStringLiteral("[lL]")));
            posD = codes.indexOf(QStringLiteral("D"));
            posR = codes.indexOf(QStringLiteral("R"));
        }
        return posO >= 0 && posT >= 0 && posI >= 0 && posd >= 0 && posl >= 0 && posD >= 0;
    }

    bool version2Line(const QStringList &tokens)
    {
        const int count = tokens.size();
        if (count < 6 || posO >= count || posT >= count)
            return false;
        CanRxMessage message;
        message.timeStamp = timeStamp(tokens.at(posO));
        const QString type = tokens.at(posT);
        const QStringList known{QStringLiteral("DT"), QStringLiteral("RR"), QStringLiteral("FD"), QStringLiteral("FB")};
        if (!known.contains(type))
            return true;
        if (posI >= count || posd >= count || posl >= count)
            return false;
        message.id = tokens.at(posI).toUInt(nullptr, 16);
        message.isExtended = tokens.at(posI).size() > 4;
        message.isTx = tokens.at(posd).contains(QLatin1String("Tx"));
        message.dlc = qMin(static_cast<quint8>(tokens.at(posl).toUInt()), quint8(64));
        if (type == QLatin1String("RR")) {
            message.isRemote = true;
        } else {
            message.isFd = type == QLatin1String("FD") || type == QLatin1String("FB");
            message.isBrs = type == QLatin1String("FB");
            for (int i = posD; i < count; ++i) {
                if (i - posD < 64)
                    message.data[i - posD] = static_cast<quint8>(tokens.at(i).toUInt(nullptr, 16));
            }
        }
        append(message);
        return true;
    }

    /// One line of a file; true when it is read or passed over.
    bool readLine(ImportFileType type, const QString &line)
    {
        if (line.startsWith(QLatin1Char(';')) || line.isEmpty() || line.simplified().isEmpty())
            return true;
        if (type == v21 && posR != -1 && !line.contains(QLatin1Char('-')))
            return true;
        QStringList tokens = tokensOf(line);
        if (type == v13 && tokens.size() > 5)
            tokens.removeAt(5);
        if ((type == v12 || type == v13) && tokens.size() > 2)
            tokens.removeAt(2);
        return type >= v20 ? version2Line(tokens) : version1Line(tokens);
    }

    static Imported readFile(ImportFileType type, const QString &path)
    {
        PlainRules rules;
        Imported result;
        result.errorText = rules.readLines(type, path);
        result.succeeded = result.errorText == ErrorText::none();
        result.messages = rules.messages;
        result.notes = rules.notes;
        return result;
    }

private:
    QString readLines(ImportFileType type, const QString &path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            qFatal("cannot read the sample");
        QTextStream stream(&file);
        if (type >= v20) {
            QStringList header;
            for (int i = 0; i < 10; ++i)
                header.append(stream.readLine());
            if (!checkValidColumns(header))
                return ErrorText::noColumns();
            stream.seek(0);
        }
        int number = 0;
        while (!stream.atEnd()) {
            ++number;
            if (!readLine(type, stream.readLine()))
                return ErrorText::atLine(number, path);
        }
        return ErrorText::none();
    }

    void addNote(const QString &note)
    {
        const unsigned int key = static_cast<unsigned int>(messages.size());
        const QString text = note.simplified();
        notes[key] = notes.contains(key) ? notes.value(key) + QLatin1String(" | ") + text : text;
    }

    void append(CanRxMessage message)
    {
        message.messageIndex = static_cast<quint32>(messages.size());
        messages.append(message);
    }

    int posO = -1, posT = -1, posI = -1, posd = -1, posl = -1, posD = -1, posR = -1;
};

const QStringList goodVersion1Lines{
    QStringLiteral("     1)      2457.5  Rx         0300  8  00 11 22 33 44 55 66 77"),
    QStringLiteral("     2)      2557.7  Tx     18FF1234  2  AA BB"),
    QStringLiteral("     3)      2600.0  Rx         0301  0  RTR"),
    QStringLiteral("     4)      2601,125  Warng  FFFFFFFF  4  00 00 00 08  BUSHEAVY"),
    QStringLiteral("     5)      2602.0  Error      0000  4  01 02 03 04"),
};
const QStringList goodVersion12Lines{
    QStringLiteral("     1)      1059.900 1  Rx        0300 8  00 11 22 33 44 55 66 77"),
    QStringLiteral("     2)      1060.250 1  Tx    18FF1234 2  AA BB"),
    QStringLiteral("     3)      1061.000 2  Rx        0301 0  RTR"),
    QStringLiteral("     4)      1062.000 2  Warng FFFFFFFF 4  00 00 00 08  BUSHEAVY"),
};
const QStringList goodVersion13Lines{
    QStringLiteral("     1)      1059.900 1  Rx        0300 -  8    00 11 22 33 44 55 66 77"),
    QStringLiteral("     2)      1060.250 1  Tx    18FF1234 -  2    AA BB"),
    QStringLiteral("     3)      1061.000 2  Rx        0301 -  0    RTR"),
    QStringLiteral("     4)      1062.000 2  Warng FFFFFFFF -  4    00 00 00 08  BUSHEAVY"),
};
const QStringList commonTokens{
    QStringLiteral("0300"),    QStringLiteral("00300"), QStringLiteral("171,130"),
    QStringLiteral("1,2.3,4"), QStringLiteral("-"),     QStringLiteral(";"),
};
const QStringList version1Tokens{
    QStringLiteral("1)"),    QStringLiteral("Rx"),  QStringLiteral("Tx"),   QStringLiteral("Rx"),
    QStringLiteral("Warng"), QStringLiteral("RTR"), QStringLiteral("RxTx"), QStringLiteral("rx"),
    QStringLiteral("Error"), QStringLiteral("rtr"), QStringLiteral("(Rx)"), QStringLiteral("xWarngx"),
};
const QStringList version2Columns{
    QStringLiteral("N,O,T,I,d,l,D"),    QStringLiteral("N,O,T,B,I,d,R,L,D"), QStringLiteral("O,T,I,d,L,D"),
    QStringLiteral("D,O,T,I,d,L"),      QStringLiteral("N,T,I,d,l,O,R,D"),   QStringLiteral("T,l,I,O,d,l,L,D,O"),
    QStringLiteral("x,O,T,,,,I,d,l,D"),
};
const QStringList goodVersion2Lines{
    QStringLiteral("      1      1059.900 DT     0300 Rx 7    00 11 22 33 44 55 66"),
    QStringLiteral("      2      1284.410 DT 1   0300 Rx -  2    AA BB"),
    QStringLiteral("      3      1298.945 FB 1 18FF1234 Tx -  9    00 01 02 03 04 05 06 07 08 09 0A 0B"),
    QStringLiteral("      4      1323.201 RR 1   0300 Rx -  8"),
    QStringLiteral("      5      1334.416 ST 1          Rx -  00 00 00 08"),
    QStringLiteral("      6,0 FD 7 0301 Tx 100 12 34"),
};
const QStringList version2Tokens{
    QStringLiteral("1"),  QStringLiteral("DT"), QStringLiteral("RR"), QStringLiteral("FD"),
    QStringLiteral("FB"), QStringLiteral("ST"), QStringLiteral("Rx"), QStringLiteral("Tx"),
    QStringLiteral("DT"), QStringLiteral("dt"), QStringLiteral("-"),  QStringLiteral("(Tx)"),
};

QStringList goodLinesOf(ImportFileType type)
{
    return type == v11   ? goodVersion1Lines
           : type == v12 ? goodVersion12Lines
           : type == v13 ? goodVersion13Lines
                         : goodVersion2Lines;
}

void addLineColumns()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<Frames>("expected");
    QTest::addColumn<Notes>("notes");
}

void addVersion2Columns()
{
    QTest::addColumn<QString>("columns");
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<Frames>("expected");
}

void addContentColumns()
{
    QTest::addColumn<ImportFileType>("type");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Frames>("expected");
    QTest::addColumn<Notes>("notes");
}

} // namespace

class PeakTraceImporterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    // The object
    void freshImporterHasNoError();
    void metaObjectHasOneSignal();
    void importEmitsNothing();
    void errorTextsAreTranslated();

    // importFile
    void missingListFails();
    void otherTypesFail_data();
    void otherTypesFail();
    void fileThatCannotBeOpenedFails_data();
    void fileThatCannotBeOpenedFails();
    void listKeepsWhatItHeld();
    void sharedListsAreLeftAlone();
    void eachImportCountsFromZero();
    void errorTextStaysUntilTheNextFailure();
    void pathInErrorTextIsTakenAsItIs_data();
    void pathInErrorTextIsTakenAsItIs();
    void everyVersionReadsAnEmptyFile_data();
    void everyVersionReadsAnEmptyFile();

    // Helpers
    void timeTexts_data();
    void timeTexts();
    void timeTextsKeepTheRestOfTheMessage();
    void hugeTimesDoNoHarm_data();
    void hugeTimesDoNoHarm();
    void noticeLines();
    void noticeLinesAreSimplified_data();
    void noticeLinesAreSimplified();
    void noticeLinesWithoutMapVanish();
    void addedMessageIsCopiedAsItIs();

    // Versions 1.1 to 1.3
    void version11Lines_data();
    void version11Lines();
    void version12Lines_data();
    void version12Lines();
    void version13Lines_data();
    void version13Lines();
    void version1TokensFromOutside_data();
    void version1TokensFromOutside();
    void version1Files_data();
    void version1Files() { compareFiles(); }
    void version1FilesThatFail_data();
    void version1FilesThatFail() { compareFailures(); }
    void notesBelongToTheNextMessage_data();
    void notesBelongToTheNextMessage() { compareFiles(); }
    void missingNotesMapMakesNoticesVanish();
    void version1Encodings_data();
    void version1Encodings();

    // Versions 2.0 and 2.1
    void columnHeaders_data();
    void columnHeaders();
    void firstMatchingHeaderLineCounts_data();
    void firstMatchingHeaderLineCounts();
    void failedHeaderForgetsTheColumns();
    void resetColumnsMakesLinesMalformed();
    void freshColumnPositionsAreZero();
    void version2Lines_data();
    void version2Lines();
    void version2Files_data();
    void version2Files() { compareFiles(); }
    void version2FilesThatFail_data();
    void version2FilesThatFail() { compareFailures(); }
    void manyColumns_data();
    void manyColumns();
    void columnPositionsAreSignedBytes_data();
    void columnPositionsAreSignedBytes();
    void reservedColumnIsLookedUpInEachFile();
    void version2Encodings_data();
    void version2Encodings();

    // The rules as a whole
    void membersReadWhatTheFileReaderReads_data();
    void membersReadWhatTheFileReaderReads();
    void randomVersion1LinesReadAsThePlainRulesSay_data();
    void randomVersion1LinesReadAsThePlainRulesSay();
    void randomVersion2LinesReadAsThePlainRulesSay_data();
    void randomVersion2LinesReadAsThePlainRulesSay();
    void randomFilesReadAsThePlainRulesSay_data();
    void randomFilesReadAsThePlainRulesSay();

    // Through CANLogHandler
    void handlerDeliversOnce_data();
    void handlerDeliversOnce();
    void handlerDeliversManyMessagesAtOnce();
    void handlerKeepsTheErrorText_data();
    void handlerKeepsTheErrorText();
    void handlerKeepsTheLastErrorText();
    void handlerWithoutStoreReadsIntoNothing();

    void sampleFiles_data();
    void sampleFiles();

private:
    void compareFiles();
    void compareFailures();

    RewrittenFile sample;
};

void PeakTraceImporterTest::initTestCase()
{
    // Texts without byte-order mark are read in the system's encoding, which must not depend on who runs the tests.
    LocaleEncoding::set("UTF-8");
}

void PeakTraceImporterTest::compareFiles()
{
    QFETCH(ImportFileType, type);
    QFETCH(QByteArray, content);
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);

    sample.write(content);
    QCOMPARE(importPath(type, sample.path()), (Imported{true, expected, notes, ErrorText::none()}));
}

void PeakTraceImporterTest::compareFailures()
{
    QFETCH(ImportFileType, type);
    QFETCH(QByteArray, content);
    QFETCH(int, errorLine);
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);

    sample.write(content);
    const QString errorText = errorLine == 0 ? ErrorText::noColumns() : ErrorText::atLine(errorLine, sample.path());
    QCOMPARE(importPath(type, sample.path()), (Imported{false, expected, notes, errorText}));
}

void PeakTraceImporterTest::freshImporterHasNoError()
{
    QObject parent;
    auto *importer = new PeakTraceImporter(&parent);
    QCOMPARE(importer->parent(), &parent);
    QCOMPARE(importer->getErrorString(), QStringLiteral("No error."));
}

void PeakTraceImporterTest::metaObjectHasOneSignal()
{
    const QMetaObject &meta = PeakTraceImporter::staticMetaObject;
    QCOMPARE(meta.className(), "PeakTraceImporter");
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);

    QList<QMetaMethod> signalsOfItsOwn;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == QMetaMethod::Signal)
            signalsOfItsOwn.append(meta.method(i));
    }
    QCOMPARE(signalsOfItsOwn.size(), 1);
    QCOMPARE(signalsOfItsOwn.first().methodSignature(), QByteArray("newMessage(CAN::CanRxMessage)"));
    QCOMPARE(signalsOfItsOwn.first().parameterNames(), QList<QByteArray>{"msg"});
    QCOMPARE(signalsOfItsOwn.first().parameterType(0), qMetaTypeId<CanRxMessage>());
    QCOMPARE(metaTypeIdOf("CAN::CanRxMessage"), qMetaTypeId<CanRxMessage>());
}

void PeakTraceImporterTest::importEmitsNothing()
{
    const SampleFile file(goodVersion1Lines.join(QLatin1Char('\n')).toUtf8());
    PeakTraceImporter importer(nullptr);
    QSignalSpy spy(&importer, &PeakTraceImporter::newMessage);
    QVERIFY(spy.isValid());
    Frames messages;
    Notes notes;
    QVERIFY(importer.importFile(file.path(), v11, &messages, &notes));
    importer.addMessageToMessageList(Frame(0x123));
    QCOMPARE(messages.size(), 4);
    QCOMPARE(spy.count(), 0);
}

void PeakTraceImporterTest::errorTextsAreTranslated()
{
    QScopedPointer<MarkingTranslator> translator(new MarkingTranslator);
    const QString none = PeakTraceImporter(nullptr).getErrorString();
    const SampleFile badLine("1) 12.0\n");
    const QString line = importPath(v11, badLine.path()).errorText;
    const SampleFile noHeader(";\n");
    const QString columns = importPath(v20, noHeader.path()).errorText;
    translator.reset();

    QCOMPARE(none, QStringLiteral("<PeakTraceImporter> No error."));
    QCOMPARE(line, QLatin1String("<PeakTraceImporter> ") + ErrorText::atLine(1, badLine.path()));
    QCOMPARE(columns, QStringLiteral("<PeakTraceImporter> Import error occured. No valid column description found."));
}

void PeakTraceImporterTest::missingListFails()
{
    const SampleFile file("1) 2457.5 Rx 0300 1 00\n1) 12.0\n");
    for (const ImportFileType type : {v11, v12, v13, v20, v21}) {
        PeakTraceImporter importer(nullptr);
        Notes notes;
        QCOMPARE(importer.importFile(file.path(), type, nullptr, &notes), false);
        QCOMPARE(importer.getErrorString(), ErrorText::none());
        QVERIFY(notes.isEmpty());
    }
}

void PeakTraceImporterTest::otherTypesFail_data()
{
    QTest::addColumn<int>("type");
    for (int type = -1; type <= 21; ++type) {
        if (type < 5 || type > 9)
            QTest::addRow("%d", type) << type;
    }
    QTest::newRow("256 and 5") << 256 + 5;
}

void PeakTraceImporterTest::otherTypesFail()
{
    QFETCH(int, type);

    const SampleFile file(";$COLUMNS=N,O,T,I,d,l,D\n");
    const Imported imported = importPath(static_cast<ImportFileType>(type), file.path());
    QCOMPARE(imported, (Imported{false, {}, {}, ErrorText::none()}));
}

void PeakTraceImporterTest::fileThatCannotBeOpenedFails_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << CANLOG_TEST_DATA "/peaktrace/no-such-file.trc";
    QTest::newRow("folder") << CANLOG_TEST_DATA "/peaktrace";
}

void PeakTraceImporterTest::fileThatCannotBeOpenedFails()
{
    QFETCH(QString, path);

    for (const ImportFileType type : {v11, v12, v13, v20, v21})
        QCOMPARE(importPath(type, path), (Imported{false, {}, {}, ErrorText::none()}));
}

void PeakTraceImporterTest::listKeepsWhatItHeld()
{
    const SampleFile file("1) 2457.5 Rx 0300 1 AA\n2) 2458 Warng x\n");
    PeakTraceImporter importer(nullptr);
    Frames messages = frames({Frame(0x111), Frame(0x222)});
    Notes notes = note(7, "seven");
    notes.insert(1, QStringLiteral("one"));
    QVERIFY(importer.importFile(file.path(), v11, &messages, &notes));
    QCOMPARE(messages, frames({Frame(0x111), Frame(0x222), Frame(0x300, "AA").at(2, 457500).index(0)}));
    QCOMPARE(notes, (Notes{{1, QStringLiteral("one | x")}, {7, QStringLiteral("seven")}}));
}

void PeakTraceImporterTest::sharedListsAreLeftAlone()
{
    const SampleFile file("1) 2457.5 Rx 0300 1 AA\n2) 2458 Warng x\n");
    PeakTraceImporter importer(nullptr);
    const Frames before = frames({Frame(0x111)});
    const Notes notesBefore = note(7, "seven");
    Frames messages = before;
    Notes notes = notesBefore;
    QVERIFY(importer.importFile(file.path(), v11, &messages, &notes));
    QCOMPARE(before, frames({Frame(0x111)}));
    QCOMPARE(notesBefore, note(7, "seven"));
    QCOMPARE(messages.size(), 2);
    QCOMPARE(notes.size(), 2);
}

void PeakTraceImporterTest::eachImportCountsFromZero()
{
    const SampleFile first("1) 2457.5 Rx 0300 1 AA\n2) 2458.5 Rx 0301 1 BB\n");
    const SampleFile second("1) 1.5 Warng x\n2) 2 Rx 0302 0\n");
    PeakTraceImporter importer(nullptr);
    Frames messages;
    Notes notes;
    QVERIFY(importer.importFile(first.path(), v11, &messages, &notes));
    QVERIFY(importer.importFile(second.path(), v11, &messages, &notes));
    QCOMPARE(messages, frames({Frame(0x300, "AA").at(2, 457500), Frame(0x301, "BB").at(2, 458500),
                               Frame(0x302).at(0, 2200).index(0)}));
    QCOMPARE(notes, note(0, "x"));

    // Lines from outside go on where the file ended.
    QVERIFY(importer.importVersion11StringList(tokensOf(QStringLiteral("3) 1.0 Tx 0303 0"))));
    QCOMPARE(messages.last(), CanRxMessage(Frame(0x303).at(0, 1000).tx().index(1)));
}

void PeakTraceImporterTest::errorTextStaysUntilTheNextFailure()
{
    const SampleFile bad("\n1) 12.0\n");
    const SampleFile good("1) 2457.5 Rx 0300 1 AA\n");
    const SampleFile noColumns("\n");
    PeakTraceImporter importer(nullptr);
    Frames messages;
    Notes notes;
    QVERIFY(!importer.importFile(bad.path(), v11, &messages, &notes));
    QCOMPARE(importer.getErrorString(), ErrorText::atLine(2, bad.path()));
    QVERIFY(importer.importFile(good.path(), v11, &messages, &notes));
    QVERIFY(!importer.importFile(good.path(), DatachunkHelper::PeakTraceReserved, &messages, &notes));
    QVERIFY(!importer.importFile(good.path() + QLatin1String(".missing"), v11, &messages, &notes));
    QCOMPARE(importer.getErrorString(), ErrorText::atLine(2, bad.path()));
    QVERIFY(!importer.importFile(noColumns.path(), v20, &messages, &notes));
    QCOMPARE(importer.getErrorString(), ErrorText::noColumns());
}

void PeakTraceImporterTest::pathInErrorTextIsTakenAsItIs_data()
{
    addFileNameRows();
}

void PeakTraceImporterTest::pathInErrorTextIsTakenAsItIs()
{
    QFETCH(QString, name);

    const SampleFile version1("\n\n1) 12.0\n", name);
    QCOMPARE(importPath(v11, version1.path()), (Imported{false, {}, {}, ErrorText::atLine(3, version1.path())}));
    const SampleFile version2(";$COLUMNS=N,O,T,I,d,l,D\n\nx\n", name);
    QCOMPARE(importPath(v20, version2.path()), (Imported{false, {}, {}, ErrorText::atLine(3, version2.path())}));
}

void PeakTraceImporterTest::everyVersionReadsAnEmptyFile_data()
{
    addContentColumns();
    for (const ImportFileType type : {v11, v12, v13}) {
        QTest::addRow("empty, type %d", type) << type << QByteArray() << frames() << Notes();
        QTest::addRow("comments only, type %d", type)
            << type << QByteArray(";$FILEVERSION=1.1\n;\n") << frames() << Notes();
    }
    for (const ImportFileType type : {v20, v21}) {
        QTest::addRow("header only, type %d", type)
            << type << QByteArray(";$COLUMNS=N,O,T,I,d,l,D") << frames() << Notes();
    }
}

void PeakTraceImporterTest::everyVersionReadsAnEmptyFile()
{
    compareFiles();
}

void PeakTraceImporterTest::timeTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("microseconds");

    QTest::newRow("2457.5") << "2457.5" << 2 << 457500;
    QTest::newRow("171.130") << "171.130" << 0 << 171130;
    QTest::newRow("comma") << "171,130" << 0 << 171130;
    QTest::newRow("two digits") << "1.23" << 0 << 1230;
    QTest::newRow("999.9") << "999.9" << 0 << 999900;
    QTest::newRow("1000,0") << "1000,0" << 1 << 0;
    QTest::newRow("zero") << "0" << 0 << 0;
    QTest::newRow("0.0") << "0.0" << 0 << 0;
    QTest::newRow("0.001") << "0.001" << 0 << 1;
    QTest::newRow("no separator: read as both") << "1234" << 1 << 235234;
    QTest::newRow("no separator, padded") << "12" << 0 << 12120;
    QTest::newRow("no separator, one digit") << "5" << 0 << 5500;
    QTest::newRow("fraction of four digits, unscaled") << "1.2345" << 0 << 3345;
    QTest::newRow("fraction of six digits, unscaled") << "1.234567" << 0 << 235567;
    QTest::newRow("fraction above a second") << "0.1234567" << 0 << 1234567;
    QTest::newRow("fraction of ten digits") << "0.1234567890" << 0 << 1234567890;
    QTest::newRow("fraction that is not 32-bit") << "7.12345678901" << 0 << 7000;
    QTest::newRow("milliseconds that are not 32-bit") << "12345678901.5" << 0 << 500;
    QTest::newRow("largest milliseconds") << "2147483647.999" << 2147483 << 647999;
    QTest::newRow("leading zeros are decimal") << "0010.010" << 0 << 10010;
    QTest::newRow("no number") << "x" << 0 << 0;
    QTest::newRow("no milliseconds") << ".5" << 0 << 500;
    QTest::newRow("no fraction") << "5." << 0 << 5000;
    QTest::newRow("point only") << "." << 0 << 0;
    QTest::newRow("comma only") << "," << 0 << 0;
    QTest::newRow("empty") << "" << 0 << 0;
    QTest::newRow("bad milliseconds") << "x.5" << 0 << 500;
    QTest::newRow("bad fraction") << "5.x" << 0 << 5000;
    QTest::newRow("hexadecimal is no number") << "0x10.5" << 0 << 500;
    QTest::newRow("first and last of three pieces") << "1.2.3" << 0 << 1300;
    QTest::newRow("first and last of three pieces, comma") << "1,2,3" << 0 << 1300;
    QTest::newRow("comma before point") << "1.234,5" << 0 << 500;
    QTest::newRow("comma before point, fraction with a point") << "1,2.5" << 0 << 1000;
    QTest::newRow("negative") << "-5.5" << 0 << -4500;
    QTest::newRow("negative seconds") << "-1500.25" << -1 << -499750;
    QTest::newRow("plus") << "+1500.25" << 1 << 500250;
    QTest::newRow("digits of another script")
        << QStringLiteral("\u0661\u0662.5") << 0 << QStringLiteral("\u0661\u0662").toInt() * 1000 + 500;
    // A text without comma and point is split at the character 0, which a damaged file may hold.
    QTest::newRow("character 0 separates") << QStringLiteral("12") + QChar(0) + QStringLiteral("34") << 0 << 12340;
    QTest::newRow("character 0 first") << QString(QChar(0)) + QStringLiteral("34") << 0 << 340;
    QTest::newRow("character 0 last") << QStringLiteral("34") + QChar(0) << 0 << 34000;
    QTest::newRow("character 0 twice") << QStringLiteral("1") + QChar(0) + QStringLiteral("2") + QChar(0)
                                              + QStringLiteral("3")
                                       << 0 << 1300;
    QTest::newRow("character 0 only") << QString(QChar(0)) << 0 << 0;
    QTest::newRow("character 0 beside a point") << QStringLiteral("12") + QChar(0) + QStringLiteral("34.5") << 0
                                                << 500; // "12" with a character 0 and "34" is no number
}

void PeakTraceImporterTest::timeTexts()
{
    QFETCH(QString, text);
    QFETCH(int, seconds);
    QFETCH(int, microseconds);

    PeakTraceImporter importer(nullptr);
    CanRxMessage message;
    message.timeStamp = CanTimeStamp(-7, -7);
    importer.convertTimestringAndSetToCanMsg(text, message);
    QCOMPARE(message, CanRxMessage(Frame().at(seconds, microseconds)));

    if (text.isEmpty())
        return;
    sample.write("1) " + text.toUtf8() + " Rx 0300 0\n");
    QCOMPARE(importPath(v11, sample.path()).messages, frames({Frame(0x300).at(seconds, microseconds)}));
    sample.write(";$COLUMNS=N,O,T,I,d,l,D\n1 " + text.toUtf8() + " DT 0300 Rx 0\n");
    QCOMPARE(importPath(v20, sample.path()).messages, frames({Frame(0x300).at(seconds, microseconds)}));
}

void PeakTraceImporterTest::timeTextsKeepTheRestOfTheMessage()
{
    Frame frame = Frame(0x12345, "01 02 03").extended().remote().fd().esi().brs().tx().channel(5).index(9);
    CanRxMessage message = frame;
    PeakTraceImporter(nullptr).convertTimestringAndSetToCanMsg(QStringLiteral("1234.5"), message);
    QCOMPARE(message, CanRxMessage(frame.at(1, 234500)));
}

void PeakTraceImporterTest::hugeTimesDoNoHarm_data()
{
    QTest::addColumn<QString>("text");
    // The microseconds of these do not fit into their field.
    QTest::newRow("2147483647") << "2147483647";
    QTest::newRow("-2147483648") << "-2147483648";
    QTest::newRow("2147483647.2147483647") << "2147483647.2147483647";
    QTest::newRow("999.2147483647") << "999.2147483647";
}

void PeakTraceImporterTest::hugeTimesDoNoHarm()
{
    QFETCH(QString, text);

    CanRxMessage message;
    PeakTraceImporter(nullptr).convertTimestringAndSetToCanMsg(text, message);
    QCOMPARE(message.timeStamp.seconds, text.section(QLatin1Char('.'), 0, 0).toInt() / 1000);
}

void PeakTraceImporterTest::noticeLines()
{
    OpenImporter importer;
    importer->importNoticeLine(QStringLiteral("first"));
    QCOMPARE(importer.notes, note(0, "first"));
    importer->importNoticeLine(QStringLiteral("second"));
    QCOMPARE(importer.notes, note(0, "first | second"));
    importer->importNoticeLine(QString());
    QCOMPARE(importer.notes, note(0, "first | second | "));

    QVERIFY(importer->importVersion11StringList(tokensOf(QStringLiteral("1) 1.0 Rx 0300 0"))));
    importer->importNoticeLine(QStringLiteral("third"));
    QCOMPARE(importer.notes, (Notes{{0, QStringLiteral("first | second | ")}, {1, QStringLiteral("third")}}));
    QCOMPARE(importer.messages.size(), 1);
}

void PeakTraceImporterTest::noticeLinesAreSimplified_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("plain") << "BUSHEAVY"
                           << "BUSHEAVY";
    QTest::newRow("ends") << "  BUSHEAVY\t"
                          << "BUSHEAVY";
    QTest::newRow("inner") << "BUS \t\r\n HEAVY"
                           << "BUS HEAVY";
    QTest::newRow("no-break space") << QStringLiteral("BUS\u00a0\u2003HEAVY") << "BUS HEAVY";
    QTest::newRow("blanks") << " \t "
                            << "";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("place markers") << "%1 %2"
                                   << "%1 %2";
    QTest::newRow("bar") << "a | b"
                         << "a | b";
}

void PeakTraceImporterTest::noticeLinesAreSimplified()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);

    OpenImporter importer;
    importer->importNoticeLine(text);
    QCOMPARE(importer.notes, (Notes{{0, expected}}));
    importer->importNoticeLine(text);
    QCOMPARE(importer.notes, (Notes{{0, expected + QLatin1String(" | ") + expected}}));
}

void PeakTraceImporterTest::noticeLinesWithoutMapVanish()
{
    const SampleFile file("1) 1.0 Warng A\n1) 1.0 Rx 0300 0\n");
    PeakTraceImporter importer(nullptr);
    Frames messages;
    QVERIFY(importer.importFile(file.path(), v11, &messages, nullptr));
    importer.importNoticeLine(QStringLiteral("nowhere"));
    QVERIFY(importer.importVersion11StringList(tokensOf(QStringLiteral("1) 1.0 Warng A"))));
    QCOMPARE(messages, frames({Frame(0x300).at(0, 1000)}));
    QCOMPARE(importer.getErrorString(), ErrorText::none());
}

void PeakTraceImporterTest::addedMessageIsCopiedAsItIs()
{
    OpenImporter importer;
    const CanRxMessage message =
        Frame(0x1FFFFFFF, "01 02").dlc(200).at(-1, 7).extended().remote().fd().esi().brs().tx().channel(3).index(77);
    importer->addMessageToMessageList(message);
    importer->addMessageToMessageList(CanRxMessage());
    QCOMPARE(importer.messages.size(), 2);
    QCOMPARE(importer.messages.at(0), message);
    QCOMPARE(importer.messages.at(1), CanRxMessage());

    // The message of a line is numbered by the lines, not by what the list holds.
    QVERIFY(importer->importVersion11StringList(tokensOf(QStringLiteral("1) 1.0 Rx 0300 0"))));
    QCOMPARE(importer.messages.last().messageIndex, 0U);
}

void PeakTraceImporterTest::version11Lines_data()
{
    addLineColumns();

    const Notes none;
    const Frame eight = Frame(0x300, "00 11 22 33 44 55 66 77").at(2, 457500);
    QTest::newRow("received") << "1) 2457.5 Rx 0300 8 00 11 22 33 44 55 66 77" << true << frames({eight}) << none;
    QTest::newRow("sent") << "1) 2457.5 Tx 0300 8 00 11 22 33 44 55 66 77" << true << frames({Frame(eight).tx()})
                          << none;
    QTest::newRow("two bytes") << "1) 1059.9 Rx 0300 2 AA BB" << true << frames({Frame(0x300, "AA BB").at(1, 59900)})
                               << none;
    QTest::newRow("error event") << "1) 2457.5 Error 0300 8 00 11 22 33 44 55 66 77" << true << frames() << none;
    QTest::newRow("columns of blanks and tabs")
        << "  1)\t 2457.5   Rx\t\t0300 8  00 11 22 33 44 55 66 77 \t" << true << frames({eight}) << none;
    QTest::newRow("lone CR is a blank") << "1)\r2457.5\rRx 0300 8 00 11 22 33\r44 55 66 77" << true << frames({eight})
                                        << none;
    QTest::newRow("message number is not read")
        << "x 2457.5 Rx 0300 8 00 11 22 33 44 55 66 77" << true << frames({eight}) << none;

    QTest::newRow("type that holds Rx") << "1) 1.0 (Rx) 0300 0" << true << frames({Frame(0x300).at(0, 1000)}) << none;
    QTest::newRow("type that holds Tx") << "1) 1.0 xTxx 0300 0" << true << frames({Frame(0x300).at(0, 1000).tx()})
                                        << none;
    QTest::newRow("type that holds both")
        << "1) 1.0 RxTx 0300 0" << true << frames({Frame(0x300).at(0, 1000).tx()}) << none;
    QTest::newRow("rx in lower case") << "1) 1.0 rx 0300 0" << true << frames() << none;
    QTest::newRow("TX in upper case") << "1) 1.0 TX 0300 0" << true << frames() << none;
    QTest::newRow("unknown type") << "1) 1.0 RTR 0300 0 RTR" << true << frames() << none;
    QTest::newRow("unknown type, five tokens") << "a b c d e" << true << frames() << none;

    QTest::newRow("identifier of four digits")
        << "1) 1.0 Rx FFFF 0" << true << frames({Frame(0xFFFF).at(0, 1000)}) << none;
    QTest::newRow("identifier of five digits")
        << "1) 1.0 Rx 00001 0" << true << frames({Frame(1).at(0, 1000).extended()}) << none;
    QTest::newRow("extended by its length alone")
        << "1) 1.0 Rx 00000300 0" << true << frames({Frame(0x300).at(0, 1000).extended()}) << none;
    QTest::newRow("identifier of one digit") << "1) 1.0 Rx 7 0" << true << frames({Frame(7).at(0, 1000)}) << none;
    QTest::newRow("largest identifier") << "1) 1.0 Rx FFFFFFFF 0" << true
                                        << frames({Frame(0xFFFFFFFF).at(0, 1000).extended()}) << none;
    QTest::newRow("identifier in lower case")
        << "1) 1.0 Rx 1aB 0" << true << frames({Frame(0x1AB).at(0, 1000)}) << none;
    QTest::newRow("bad identifier") << "1) 1.0 Rx xyz 0" << true << frames({Frame(0).at(0, 1000)}) << none;
    QTest::newRow("bad identifier, long")
        << "1) 1.0 Rx 0300h 0" << true << frames({Frame(0).at(0, 1000).extended()}) << none;
    QTest::newRow("identifier that is not 32-bit")
        << "1) 1.0 Rx 123456789 0" << true << frames({Frame(0).at(0, 1000).extended()}) << none;
    QTest::newRow("identifier with prefix")
        << "1) 1.0 Rx 0x12 0" << true << frames({Frame(QStringLiteral("0x12").toUInt(nullptr, 16)).at(0, 1000)})
        << none;

    QTest::newRow("length 0") << "1) 1.0 Rx 0300 0" << true << frames({Frame(0x300).at(0, 1000)}) << none;
    QTest::newRow("length above the data")
        << "1) 1.0 Rx 0300 8 AA" << true << frames({Frame(0x300, "AA").dlc(8).at(0, 1000)}) << none;
    QTest::newRow("length below the data")
        << "1) 1.0 Rx 0300 1 AA BB CC" << true << frames({Frame(0x300, "AA BB CC").dlc(1).at(0, 1000)}) << none;
    QTest::newRow("length is decimal") << "1) 1.0 Rx 0300 10 AA" << true
                                       << frames({Frame(0x300, "AA").dlc(10).at(0, 1000)}) << none;
    QTest::newRow("length 255") << "1) 1.0 Rx 0300 255" << true << frames({Frame(0x300).dlc(255).at(0, 1000)}) << none;
    QTest::newRow("length 256") << "1) 1.0 Rx 0300 256" << true << frames({Frame(0x300).dlc(0).at(0, 1000)}) << none;
    QTest::newRow("length 300") << "1) 1.0 Rx 0300 300" << true << frames({Frame(0x300).dlc(44).at(0, 1000)}) << none;
    QTest::newRow("length that is not 32-bit")
        << "1) 1.0 Rx 0300 12345678901" << true << frames({Frame(0x300).dlc(0).at(0, 1000)}) << none;
    QTest::newRow("hexadecimal length") << "1) 1.0 Rx 0300 A 11" << true
                                        << frames({Frame(0x300, "11").dlc(0).at(0, 1000)}) << none;

    QTest::newRow("remote") << "3) 2600.0 Rx 18FF1234 0 RTR" << true
                            << frames({Frame(0x18FF1234).at(2, 600000).extended().remote()}) << none;
    QTest::newRow("remote with a length")
        << "3) 2600.0 Tx 0300 8 RTR" << true << frames({Frame(0x300).dlc(8).at(2, 600000).remote().tx()}) << none;
    QTest::newRow("data after RTR") << "3) 2600.0 Rx 0300 2 RTR AA BB" << true
                                    << frames({Frame(0x300).dlc(2).at(2, 600000).remote()}) << none;
    QTest::newRow("rtr in lower case") << "3) 2600.0 Rx 0300 2 rtr AA" << true
                                       << frames({Frame(0x300, "00 AA").at(2, 600000)}) << none;
    QTest::newRow("RTR with more") << "3) 2600.0 Rx 0300 1 RTR1" << true << frames({Frame(0x300, "00").at(2, 600000)})
                                   << none;
    QTest::newRow("RTR later") << "3) 2600.0 Rx 0300 2 AA RTR" << true << frames({Frame(0x300, "AA 00").at(2, 600000)})
                               << none;

    QTest::newRow("bad byte") << "1) 1.0 Rx 0300 3 AA XX CC" << true << frames({Frame(0x300, "AA 00 CC").at(0, 1000)})
                              << none;
    QTest::newRow("byte above 255") << "1) 1.0 Rx 0300 2 1FF 12345678" << true
                                    << frames({Frame(0x300, "FF 78").at(0, 1000)}) << none;
    QTest::newRow("byte that is not 32-bit")
        << "1) 1.0 Rx 0300 1 123456789" << true << frames({Frame(0x300, "00").at(0, 1000)}) << none;
    QTest::newRow("byte of one digit") << "1) 1.0 Rx 0300 2 A b" << true << frames({Frame(0x300, "0A 0B").at(0, 1000)})
                                       << none;
    for (const int count : {63, 64, 65, 68, 69, 70, 128, 300}) {
        QTest::addRow("%d data tokens", count)
            << QStringLiteral("1) 1.0 Rx 0300 8%1").arg(countedTokens(count)) << true
            << frames({Frame(0x300).bytes(countedBytes(qMin(count, 64))).dlc(8).at(0, 1000)}) << none;
    }

    QTest::newRow("warning") << "2) 2557.7 Warng FFFFFFFF 4 00 00 00 08 ABC" << true << frames() << note(0, "ABC");
    QTest::newRow("warning of four tokens") << "2) 2557.7 Warng ABC" << true << frames() << note(0, "ABC");
    QTest::newRow("warning of three tokens") << "2) 2557.7 Warng" << true << frames() << note(0, "Warng");
    QTest::newRow("type that holds Warng") << "2) 2557.7 xWarngx 1 2 3 last" << true << frames() << note(0, "last");
    QTest::newRow("Warng and Rx") << "2) 2557.7 RxWarng 0300 1 AA" << true << frames() << note(0, "AA");
    QTest::newRow("warng in lower case") << "2) 2557.7 warng 0300 1 AA" << true << frames() << none;
    QTest::newRow("warning with place markers") << "2) 2557.7 Warng %1" << true << frames() << note(0, "%1");

    QTest::newRow("one token") << "1)" << false << frames() << none;
    QTest::newRow("two tokens") << "1) 12.0" << false << frames() << none;
    QTest::newRow("three tokens") << "1) 12.0 Rx" << false << frames() << none;
    QTest::newRow("four tokens") << "1) 12.0 Rx 0300" << false << frames() << none;
    QTest::newRow("four tokens of an error event") << "1) 12.0 Error 0300" << false << frames() << none;
    QTest::newRow("Warng in another column") << "1) Warng Rx 0300" << false << frames() << none;
    QTest::newRow("semicolon after a blank") << " ; Comment" << false << frames() << none;
    QTest::newRow("semicolon after a blank, many tokens")
        << " ; a comment of more than four" << true << frames() << none;
    QTest::newRow("character 0 is no blank") << QStringLiteral("1) 12.0 Rx") + QChar(0) + QStringLiteral("0300 0 AA")
                                             << true << frames({Frame(0).at(0, 12000)}) << none;
}

void PeakTraceImporterTest::version11Lines()
{
    QFETCH(QString, line);
    QFETCH(bool, accepted);
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);

    sample.write(line.toUtf8() + '\n');
    const QString errorText = accepted ? ErrorText::none() : ErrorText::atLine(1, sample.path());
    QCOMPARE(importPath(v11, sample.path()), (Imported{accepted, expected, notes, errorText}));

    OpenImporter importer;
    QCOMPARE(importer->importVersion11StringList(tokensOf(line)), accepted);
    QCOMPARE(importer.messages, expected);
    QCOMPARE(importer.notes, notes);
    QCOMPARE(importer->getErrorString(), ErrorText::none());
}

void PeakTraceImporterTest::version12Lines_data()
{
    addLineColumns();

    const Notes none;
    QTest::newRow("received") << "1) 1059.9 1 Rx 0300 2 AA BB" << true << frames({Frame(0x300, "AA BB").at(1, 59900)})
                              << none;
    QTest::newRow("sent, any bus") << "1) 1059.9 bus Tx 18FF1234 1 AA" << true
                                   << frames({Frame(0x18FF1234, "AA").at(1, 59900).extended().tx()}) << none;
    QTest::newRow("remote") << "1) 1059.9 2 Rx 0300 4 RTR" << true
                            << frames({Frame(0x300).dlc(4).at(1, 59900).remote()}) << none;
    QTest::newRow("no data") << "1) 1059.9 1 Rx 0300 0" << true << frames({Frame(0x300).at(1, 59900)}) << none;
    QTest::newRow("warning") << "1) 1059.9 1 Warng 0300 4 00 00 00 08 ABC" << true << frames() << note(0, "ABC");
    QTest::newRow("warning of four tokens") << "1) 1059.9 1 Warng" << true << frames() << note(0, "Warng");
    QTest::newRow("other event") << "1) 1059.9 1 Error 0300 1 AA" << true << frames() << none;
    QTest::newRow("64 data tokens") << QStringLiteral("1) 1059.9 1 Rx 0300 8%1").arg(countedTokens(64)) << true
                                    << frames({Frame(0x300).bytes(countedBytes(64)).dlc(8).at(1, 59900)}) << none;
    QTest::newRow("66 data tokens") << QStringLiteral("1) 1059.9 1 Rx 0300 8%1").arg(countedTokens(66)) << true
                                    << frames({Frame(0x300).bytes(countedBytes(64)).dlc(8).at(1, 59900)}) << none;
    // The third token goes, whatever it is: a line of version 1.1 loses its type.
    QTest::newRow("type without bus, six tokens") << "1) 1059.9 Rx 0300 0 AA" << true << frames() << none;
    QTest::newRow("type without bus, five tokens") << "1) 1059.9 Rx 0300 0" << false << frames() << none;
    QTest::newRow("Warng as the bus") << "1) 1059.9 Warng" << false << frames() << none;
    QTest::newRow("one token") << "1)" << false << frames() << none;
    QTest::newRow("two tokens") << "1) 12.0" << false << frames() << none;
    QTest::newRow("three tokens") << "1) 12.0 1" << false << frames() << none;
    QTest::newRow("four tokens") << "1) 12.0 1 Rx" << false << frames() << none;
    QTest::newRow("five tokens") << "1) 12.0 1 Rx 0300" << false << frames() << none;
}

void PeakTraceImporterTest::version12Lines()
{
    QFETCH(QString, line);
    QFETCH(bool, accepted);
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);

    sample.write(line.toUtf8() + '\n');
    const QString errorText = accepted ? ErrorText::none() : ErrorText::atLine(1, sample.path());
    QCOMPARE(importPath(v12, sample.path()), (Imported{accepted, expected, notes, errorText}));
}

void PeakTraceImporterTest::version13Lines_data()
{
    addLineColumns();

    const Notes none;
    QTest::newRow("received") << "1) 1059.9 1 Rx 0300 - 2 AA BB" << true << frames({Frame(0x300, "AA BB").at(1, 59900)})
                              << none;
    QTest::newRow("sent, any bus, any reserved token")
        << "1) 1059.9 bus Tx 18FF1234 xyz 1 AA" << true
        << frames({Frame(0x18FF1234, "AA").at(1, 59900).extended().tx()}) << none;
    QTest::newRow("remote") << "1) 1059.9 2 Rx 0300 - 4 RTR" << true
                            << frames({Frame(0x300).dlc(4).at(1, 59900).remote()}) << none;
    QTest::newRow("no data") << "1) 1059.9 1 Rx 0300 - 0" << true << frames({Frame(0x300).at(1, 59900)}) << none;
    QTest::newRow("warning") << "1) 1059.9 1 Warng 0300 - 4 00 00 00 08 ABC" << true << frames() << note(0, "ABC");
    // The reserved column is taken out first, even when the note stands there.
    QTest::newRow("warning of six tokens") << "1) 1059.9 1 Warng 0300 ABC" << true << frames() << note(0, "0300");
    QTest::newRow("warning of five tokens") << "1) 1059.9 1 Warng ABC" << true << frames() << note(0, "ABC");
    QTest::newRow("warning of seven tokens") << "1) 1059.9 1 Warng 0300 - ABC" << true << frames() << note(0, "ABC");
    QTest::newRow("other event") << "1) 1059.9 1 Error 0300 - 1 AA" << true << frames() << none;
    QTest::newRow("64 data tokens") << QStringLiteral("1) 1059.9 1 Rx 0300 - 8%1").arg(countedTokens(64)) << true
                                    << frames({Frame(0x300).bytes(countedBytes(64)).dlc(8).at(1, 59900)}) << none;
    QTest::newRow("67 data tokens") << QStringLiteral("1) 1059.9 1 Rx 0300 - 8%1").arg(countedTokens(67)) << true
                                    << frames({Frame(0x300).bytes(countedBytes(64)).dlc(8).at(1, 59900)}) << none;
    // A line without the reserved column loses its length.
    QTest::newRow("no reserved column") << "1) 1059.9 1 Rx 0300 2 AA BB" << true
                                        << frames({Frame(0x300, "BB").dlc(0).at(1, 59900)}) << none;
    QTest::newRow("one token") << "1)" << false << frames() << none;
    QTest::newRow("two tokens") << "1) 12.0" << false << frames() << none;
    QTest::newRow("three tokens") << "1) 12.0 1" << false << frames() << none;
    QTest::newRow("four tokens") << "1) 12.0 1 Rx" << false << frames() << none;
    QTest::newRow("five tokens") << "1) 12.0 1 Rx 0300" << false << frames() << none;
    QTest::newRow("six tokens") << "1) 12.0 1 Rx 0300 -" << false << frames() << none;
}

void PeakTraceImporterTest::version13Lines()
{
    QFETCH(QString, line);
    QFETCH(bool, accepted);
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);

    sample.write(line.toUtf8() + '\n');
    const QString errorText = accepted ? ErrorText::none() : ErrorText::atLine(1, sample.path());
    QCOMPARE(importPath(v13, sample.path()), (Imported{accepted, expected, notes, errorText}));
}

void PeakTraceImporterTest::version1TokensFromOutside_data()
{
    QTest::addColumn<QStringList>("tokens");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<Frames>("expected");
    QTest::addColumn<Notes>("notes");

    const auto list = [](std::initializer_list<const char *> texts) {
        QStringList result;
        for (const char *text : texts)
            result.append(QString::fromUtf8(text));
        return result;
    };
    const Notes none;
    QTest::newRow("none") << QStringList() << false << frames() << none;
    QTest::newRow("empty type") << list({"1)", "1.0", "", "0300", "0", "AA"}) << false << frames() << none;
    QTest::newRow("empty texts") << list({"", "", "Rx", "", "", ""}) << true << frames({Frame()}) << none;
    QTest::newRow("type with blanks") << list({"1)", "1.0", " R Rx ", "0300", "0"}) << true
                                      << frames({Frame(0x300).at(0, 1000)}) << none;
    QTest::newRow("note with blanks") << list({"1)", "1.0", "Warng", "  bus \t heavy "}) << true << frames()
                                      << note(0, "bus heavy");
    QTest::newRow("empty note") << list({"1)", "1.0", "Warng", ""}) << true << frames() << note(0, "");
    QTest::newRow("RTR with a blank") << list({"1)", "1.0", "Rx", "0300", "1", "RTR "}) << true
                                      << frames({Frame(0x300, "00").at(0, 1000)}) << none;
    QTest::newRow("identifier of four blanks and a digit")
        << list({"1)", "1.0", "Rx", "    1", "0"}) << true
        << frames({Frame(QStringLiteral("    1").toUInt(nullptr, 16)).at(0, 1000).extended()}) << none;
    QTest::newRow("semicolon") << list({";", "1.0", "Rx", "0300", "0"}) << true << frames({Frame(0x300).at(0, 1000)})
                               << none;
}

void PeakTraceImporterTest::version1TokensFromOutside()
{
    QFETCH(QStringList, tokens);
    QFETCH(bool, accepted);
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);

    OpenImporter importer;
    QCOMPARE(importer->importVersion11StringList(tokens), accepted);
    QCOMPARE(importer.messages, expected);
    QCOMPARE(importer.notes, notes);
}

void PeakTraceImporterTest::version1Files_data()
{
    addContentColumns();

    const Notes none;
    const Frames two = frames({Frame(0x300, "AA").at(0, 1000), Frame(0x301, "BB").at(0, 2000)});
    QTest::newRow("comments are not read") << v11
                                           << QByteArray(";$FILEVERSION=1.1\n;   Start time: 1 2 3\n;x\n"
                                                         "1) 1.0 Rx 0300 1 AA\n;1) 1.5 Rx 0300 1 AA\n;\n"
                                                         "2) 2.0 Rx 0301 1 BB\n;")
                                           << two << none;
    QTest::newRow("blank lines") << v11
                                 << QByteArray("\n  \n\t\n \t \r\n\r\n\r\r\n1) 1.0 Rx 0300 1 AA\n\v\f\n"
                                               "\xc2\xa0\xe2\x80\x83\n2) 2.0 Rx 0301 1 BB\n  ")
                                 << two << none;
    QTest::newRow("blank lines, version 1.2")
        << v12 << QByteArray(";\n\n  \n1) 1.0 1 Rx 0300 1 AA\n\t\n2) 2.0 1 Rx 0301 1 BB") << two << none;
    QTest::newRow("blank lines, version 1.3")
        << v13 << QByteArray(";\n\n  \n1) 1.0 1 Rx 0300 - 1 AA\n\t\n2) 2.0 1 Rx 0301 - 1 BB") << two << none;
    QTest::newRow("lone CR does not end a line")
        << v11 << QByteArray(";comment\r1) 1.0 Rx 0300 1 AA\n1) 1.0 Rx 0300 1 AA\r2) 2.0 Rx 0301 1 BB\n")
        << frames({Frame(0x300, "AA 00 00 00 01 01 BB").dlc(1).at(0, 1000)}) << none;
    QTest::newRow("other events between the messages")
        << v11
        << QByteArray("1) 1.0 Rx 0300 1 AA\n2) 1.5 Error 0000 4 00 00 00 08\n3) 1.6 Event a b\n4) 2.0 Rx 0301 1 BB\n")
        << two << none;
    QTest::newRow("column header of version 2 is a comment")
        << v11 << QByteArray(";$COLUMNS=N,O,T,I,d,l,D\n1) 1.0 Rx 0300 1 AA\n2) 2.0 Rx 0301 1 BB\n") << two << none;
}

void PeakTraceImporterTest::version1FilesThatFail_data()
{
    addContentColumns();
    QTest::addColumn<int>("errorLine");

    const Notes none;
    const Frames one = frames({Frame(0x300, "AA").at(0, 1000)});
    QTest::newRow("first line") << v11 << QByteArray("1) 12.0\n1) 1.0 Rx 0300 1 AA\n") << frames() << none << 1;
    QTest::newRow("no final newline") << v11 << QByteArray("1) 1.0 Rx 0300 1 AA\n1) 12.0") << one << none << 2;
    QTest::newRow("messages before stay")
        << v11 << QByteArray("1) 1.0 Rx 0300 1 AA\n1) 12.0\n2) 2.0 Rx 0301 1 BB\n") << one << none << 2;
    QTest::newRow("comments and blank lines count")
        << v11 << QByteArray(";\n;\n\n  \n1) 1.0 Rx 0300 1 AA\n\r\n;\nbad\n") << one << none << 8;
    QTest::newRow("notes before stay") << v11 << QByteArray("1) 1.0 Rx 0300 1 AA\n2) 1.5 Warng x\nbad line\n") << one
                                       << note(1, "x") << 3;
    QTest::newRow("version 1.2") << v12 << QByteArray(";\n1) 1.0 1 Rx 0300 1 AA\n2) 1.0 1 Rx 0300\n") << one << none
                                 << 3;
    QTest::newRow("version 1.3") << v13 << QByteArray(";\n1) 1.0 1 Rx 0300 - 1 AA\n2) 1.0 1 Rx 0300 -\n") << one << none
                                 << 3;
    QTest::newRow("blank before a comment") << v11 << QByteArray("1) 1.0 Rx 0300 1 AA\n ;x\n") << one << none << 2;
    QTest::newRow("byte-order mark in the second line")
        << v11 << QByteArray("1) 1.0 Rx 0300 1 AA\n\xef\xbb\xbf;x\n") << one << none << 2;
    QTest::newRow("line 1234567") << v11 << QByteArray(1234566, '\n') + "bad\n" << frames() << none << 1234567;
}

void PeakTraceImporterTest::notesBelongToTheNextMessage_data()
{
    addContentColumns();

    const QByteArray first("1) 1.0 Rx 0300 1 AA\n");
    const QByteArray second("2) 2.0 Rx 0301 1 BB\n");
    const auto warning = [](const char *text) { return QByteArray("9) 1.5 Warng 0 ") + text + '\n'; };
    const Frames two = frames({Frame(0x300, "AA").at(0, 1000), Frame(0x301, "BB").at(0, 2000)});

    QTest::newRow("before") << v11 << warning("a") + first + second << two << note(0, "a");
    QTest::newRow("between") << v11 << first + warning("a") + second << two << note(1, "a");
    QTest::newRow("after") << v11 << first + second + warning("a") << two << note(2, "a");
    QTest::newRow("two before") << v11 << warning("b") + warning("a") + first + second << two << note(0, "b | a");
    QTest::newRow("three between, other events among them")
        << v11 << first + warning("a") + "9) 1 Error 0 0\n" + warning("a") + ";\n" + warning("|") + second << two
        << note(1, "a | a | |");
    QTest::newRow("everywhere")
        << v11 << warning("a") + first + warning("b") + warning("c") + second + warning("d") + warning("e") << two
        << Notes{{0, QStringLiteral("a")}, {1, QStringLiteral("b | c")}, {2, QStringLiteral("d | e")}};
    QTest::newRow("no message") << v11 << warning("a") + warning("b") << frames() << note(0, "a | b");
    QTest::newRow("version 1.2")
        << v12 << QByteArray("1) 1 1 Warng 0 a\n1) 1.0 1 Rx 0300 1 AA\n1) 1 1 Warng b\n2) 2.0 1 Rx 0301 1 BB\n") << two
        << Notes{{0, QStringLiteral("a")}, {1, QStringLiteral("b")}};
    QTest::newRow("version 1.3")
        << v13 << QByteArray("1) 1 1 Warng 0 - a\n1) 1.0 1 Rx 0300 - 1 AA\n1) 1 1 Warng b\n2) 2.0 1 Rx 0301 - 1 BB\n")
        << two << Notes{{0, QStringLiteral("a")}, {1, QStringLiteral("b")}};
    QTest::newRow("none in version 2.0")
        << v20
        << QByteArray(";$COLUMNS=N,O,T,I,d,l,D\n9 1.5 Warng 0300 Rx 0 a\n1 1.0 DT 0300 Rx 1 AA\n"
                      "9 1.5 Warng 0300 Rx 0 b\n2 2.0 DT 0301 Rx 1 BB\n")
        << two << Notes();
}

void PeakTraceImporterTest::missingNotesMapMakesNoticesVanish()
{
    const SampleFile file("1) 1 Warng a\n1) 1.0 Rx 0300 1 AA\n1) 1 Warng b\n1) 1 Warng c\n");
    PeakTraceImporter importer(nullptr);
    Frames messages;
    QVERIFY(importer.importFile(file.path(), v11, &messages, nullptr));
    QCOMPARE(messages, frames({Frame(0x300, "AA").at(0, 1000)}));
    QCOMPARE(importer.getErrorString(), ErrorText::none());
}

void PeakTraceImporterTest::version1Encodings_data()
{
    addEncodingRows(QStringLiteral(";$FILEVERSION=1.1\n1) 1.0 Rx 0300 1 AA\n2) 1.5 Warng \u20ac\U0001F697\n"
                                   "3) 2.0 Tx 0301 1 BB\n"));
}

void PeakTraceImporterTest::version1Encodings()
{
    QFETCH(QByteArray, content);

    sample.write(content);
    const Frames expected = frames({Frame(0x300, "AA").at(0, 1000), Frame(0x301, "BB").at(0, 2000).tx()});
    QCOMPARE(importPath(v11, sample.path()),
             (Imported{true, expected, Notes{{1, QStringLiteral("\u20ac\U0001F697")}}, ErrorText::none()}));
}

void PeakTraceImporterTest::columnHeaders_data()
{
    QTest::addColumn<QString>("header");
    QTest::addColumn<bool>("valid");

    QTest::newRow("byte count") << ";$COLUMNS=N,O,T,I,d,l,D" << true;
    QTest::newRow("length code") << ";$COLUMNS=N,O,T,B,I,d,R,L,D" << true;
    QTest::newRow("both lengths") << ";$COLUMNS=N,O,T,B,I,d,R,L,l,D" << true;
    QTest::newRow("other order") << ";$COLUMNS=D,L,d,I,T,O" << true;
    QTest::newRow("no semicolon") << "COLUMNS=O,T,I,d,l,D" << true;
    QTest::newRow("inside a word") << "xxCOLUMNSxx=O,T,I,d,l,D" << true;
    QTest::newRow("after the codes") << "=O,T,I,d,l,D,COLUMNS" << true;
    QTest::newRow("no equals sign") << "COLUMNS,O,T,I,d,l,D" << true;
    QTest::newRow("last of several parts") << "COLUMNS=x=O,T=O,T,I,d,l,D" << true;
    QTest::newRow("first of several parts") << "COLUMNS=O,T,I,d,l,D=x" << false;
    QTest::newRow("equals sign at the end") << ";$COLUMNS=O,T,I,d,l,D=" << false;
    QTest::newRow("blanks around the list") << ";$COLUMNS= \t O,T,I,d,l,D \r " << true;
    QTest::newRow("blank after a comma") << ";$COLUMNS=O, T,I,d,l,D" << false;
    QTest::newRow("blank before a comma") << ";$COLUMNS=O,T,I,d ,l,D" << false;
    QTest::newRow("blanks at codes that do not matter") << ";$COLUMNS=N ,O,T, B,I,d, R ,l,D" << true;
    QTest::newRow("empty elements") << ";$COLUMNS=,,O,,T,I,d,l,D,," << true;
    QTest::newRow("code twice") << ";$COLUMNS=O,T,I,d,l,D,O,T,I,d,l,D" << true;
    QTest::newRow("other codes") << ";$COLUMNS=xyz,O,T,%1,I,d,l,D,\u20ac" << true;
    QTest::newRow("carriage return within") << ";$COLUMNS\r=N,O,T,I,d,l,D" << true;

    QTest::newRow("O is missing") << ";$COLUMNS=N,T,I,d,l,D" << false;
    QTest::newRow("T is missing") << ";$COLUMNS=N,O,I,d,l,D" << false;
    QTest::newRow("I is missing") << ";$COLUMNS=N,O,T,d,l,D" << false;
    QTest::newRow("d is missing") << ";$COLUMNS=N,O,T,I,l,D" << false;
    QTest::newRow("length is missing") << ";$COLUMNS=N,O,T,I,d,D" << false;
    QTest::newRow("D is missing") << ";$COLUMNS=N,O,T,I,d,l" << false;
    QTest::newRow("R alone is not enough") << ";$COLUMNS=R" << false;
    QTest::newRow("lower case o") << ";$COLUMNS=N,o,T,I,d,l,D" << false;
    QTest::newRow("lower case t") << ";$COLUMNS=N,O,t,I,d,l,D" << false;
    QTest::newRow("lower case i") << ";$COLUMNS=N,O,T,i,d,l,D" << false;
    QTest::newRow("both D and d are needed") << ";$COLUMNS=N,O,T,I,D,l,D" << false;
    QTest::newRow("length of two letters") << ";$COLUMNS=N,O,T,I,d,lL,D" << false;
    QTest::newRow("code with more") << ";$COLUMNS=N,O,T,I,d,l,D;" << false;
    QTest::newRow("code before an equals sign") << ";$COLUMNS,O=T,I,d,l,D" << false;
    QTest::newRow("other separator") << ";$COLUMNS=N;O;T;I;d;l;D" << false;
    QTest::newRow("no codes") << ";$COLUMNS=" << false;
    QTest::newRow("word alone") << "COLUMNS" << false;
    QTest::newRow("word in lower case") << ";$columns=N,O,T,I,d,l,D" << false;
    QTest::newRow("part of the word") << ";$COLUMN=N,O,T,I,d,l,D" << false;
    QTest::newRow("word with a blank") << ";$COL UMNS=N,O,T,I,d,l,D" << false;
    QTest::newRow("empty") << "" << false;
}

void PeakTraceImporterTest::columnHeaders()
{
    QFETCH(QString, header);
    QFETCH(bool, valid);

    QCOMPARE(PeakTraceImporter(nullptr).checkValidColumns({header}), valid);
    QCOMPARE(PeakTraceImporter(nullptr).checkValidColumns({QString(), QStringLiteral(";x"), header}), valid);

    // As a comment, so that it is no line of the trace at the same time.
    sample.write(';' + header.toUtf8() + '\n');
    QCOMPARE(importPath(v20, sample.path()),
             (Imported{valid, {}, {}, valid ? ErrorText::none() : ErrorText::noColumns()}));
    QCOMPARE(importPath(v21, sample.path()),
             (Imported{valid, {}, {}, valid ? ErrorText::none() : ErrorText::noColumns()}));
}

void PeakTraceImporterTest::firstMatchingHeaderLineCounts_data()
{
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<bool>("valid");

    const QString good = QStringLiteral(";$COLUMNS=N,O,T,I,d,l,D");
    const QString bad = QStringLiteral(";$COLUMNS=N,O");
    QTest::newRow("no lines") << QStringList() << false;
    QTest::newRow("good") << QStringList{good} << true;
    QTest::newRow("good, then bad") << QStringList{good, bad} << true;
    QTest::newRow("bad, then good") << QStringList{bad, good} << false;
    QTest::newRow("others, then good") << QStringList{QStringLiteral(";"), QString(), good} << true;
    QTest::newRow("after more than ten") << QStringList{QString(), QString(), QString(), QString(),
                                                        QString(), QString(), QString(), QString(),
                                                        QString(), QString(), QString(), good}
                                         << true;
    // The expression has to match the line as a whole, and its dots match no line feed.
    const QString withLineFeed = QStringLiteral("\n;$COLUMNS=N,O,T,I,d,l,D");
    QTest::newRow("line feed within") << QStringList{
        withLineFeed} << (QStringList{withLineFeed}.indexOf(QRegularExpression(QStringLiteral(".*COLUMNS.*"))) >= 0);
}

void PeakTraceImporterTest::firstMatchingHeaderLineCounts()
{
    QFETCH(QStringList, lines);
    QFETCH(bool, valid);

    QCOMPARE(PeakTraceImporter(nullptr).checkValidColumns(lines), valid);
}

void PeakTraceImporterTest::failedHeaderForgetsTheColumns()
{
    const QStringList tokens = tokensOf(QStringLiteral("1 171.130 DT 0300 Rx 2 AA BB"));
    OpenImporter importer;
    QVERIFY(importer->checkValidColumns({columnHeader(QStringLiteral("N,O,T,I,d,l,D"))}));
    QVERIFY(importer->importVersion20StringList(tokens));
    QVERIFY(!importer->checkValidColumns({QStringLiteral(";no header")}));
    QVERIFY(!importer->importVersion20StringList(tokens));
    QVERIFY(importer->checkValidColumns({columnHeader(QStringLiteral("N,O,T,I,d,l,D"))}));
    QVERIFY(importer->importVersion20StringList(tokens));
    QCOMPARE(importer.messages, frames({Frame(0x300, "AA BB").at(0, 171130), Frame(0x300, "AA BB").at(0, 171130)}));
}

void PeakTraceImporterTest::resetColumnsMakesLinesMalformed()
{
    const QStringList tokens = tokensOf(QStringLiteral("1 171.130 DT 0300 Rx 2 AA BB"));
    OpenImporter importer;
    importer->check2xColumnPos(QStringLiteral("N,O,T,I,d,l,D"));
    QVERIFY(importer->importVersion20StringList(tokens));
    importer->resetColumnsPos();
    QVERIFY(!importer->importVersion20StringList(tokens));
    importer->check2xColumnPos(QStringLiteral("N,O,T,I,d,l,D"));
    QVERIFY(importer->importVersion20StringList(tokens));
    // A code that is missing is forgotten, one at a time.
    for (const char *columns : {"N,N,T,I,d,l,D", "N,O,N,I,d,l,D", "N,O,T,N,d,l,D", "N,O,T,I,N,l,D", "N,O,T,I,d,N,D"}) {
        importer->check2xColumnPos(QString::fromUtf8(columns));
        QVERIFY2(!importer->importVersion20StringList(tokens), columns);
    }
    QCOMPARE(importer.messages.size(), 2);
    QCOMPARE(importer->getErrorString(), ErrorText::none());
}

void PeakTraceImporterTest::freshColumnPositionsAreZero()
{
    OpenImporter importer;
    QVERIFY(importer->importVersion20StringList(tokensOf(QStringLiteral("DT 1 2 3 4 5"))));
    QCOMPARE(importer.messages, frames({Frame(0, "00 01 02 03 04 05").dlc(0)}));
}

void PeakTraceImporterTest::version2Lines_data()
{
    addVersion2Columns();

    const char *seven = "N,O,T,I,d,l,D";
    const char *nine = "N,O,T,B,I,d,R,L,D";
    const Frame good = Frame(0x300, "AA BB").at(0, 171130);
    QTest::newRow("data frame") << seven << "1 171.130 DT 0300 Rx 2 AA BB" << true << frames({good});
    QTest::newRow("blanks and tabs") << seven << " \t 1   171.130\tDT \r 0300 Rx 2  AA  BB \t" << true
                                     << frames({good});
    QTest::newRow("nine columns") << nine << "1 171.130 DT 1 0300 Rx - 2 AA BB" << true << frames({good});
    QTest::newRow("other order") << "l,d,I,T,O,N,D"
                                 << "2 Rx 0300 DT 171.130 1 AA BB" << true << frames({good});
    QTest::newRow("data before the others")
        << "D,O,T,I,d,l"
        << "AA 171.130 DT 0300 Rx 2" << true << frames({Frame(0x300, "AA 00 00 00 00 02").dlc(2).at(0, 171130)});
    QTest::newRow("length in both forms: the first counts")
        << "N,O,T,I,d,L,l,D"
        << "1 171.130 DT 0300 Rx 2 9 AA BB" << true << frames({good});
    QTest::newRow("length in both forms, the other way") << "N,O,T,I,d,l,L,D"
                                                         << "1 171.130 DT 0300 Rx 2 9 AA BB" << true << frames({good});
    QTest::newRow("a code twice: the first counts") << "N,O,T,I,d,l,D,O,T,I,d,l,D"
                                                    << "1 171.130 DT 0300 Rx 2 AA BB" << true << frames({good});
    QTest::newRow("blanks around the codes") << " N,O,T,I,d,l,D\t"
                                             << "1 171.130 DT 0300 Rx 2 AA BB" << true << frames({good});
    QTest::newRow("code with a blank is another one") << "N,O, T,T,I,d,l,D"
                                                      << "1 171.130 x DT 0300 Rx 2 AA BB" << true << frames({good});
    QTest::newRow("empty codes count") << ",O,T,,I,d,l,D"
                                       << "1 171.130 DT x 0300 Rx 2 AA BB" << true << frames({good});

    QTest::newRow("sent") << seven << "1 171.130 DT 0300 Tx 2 AA BB" << true << frames({Frame(good).tx()});
    QTest::newRow("direction holds Tx") << seven << "1 171.130 DT 0300 xTx1 2 AA BB" << true
                                        << frames({Frame(good).tx()});
    QTest::newRow("tx in lower case") << seven << "1 171.130 DT 0300 tx 2 AA BB" << true << frames({good});
    QTest::newRow("unknown direction") << seven << "1 171.130 DT 0300 - 2 AA BB" << true << frames({good});
    QTest::newRow("Tx in another column") << seven << "Tx 171.130 DT 0300 Rx 2 AA BB" << true << frames({good});

    QTest::newRow("CAN FD") << seven << "1 171.130 FD 0300 Rx 2 AA BB" << true << frames({Frame(good).fd()});
    QTest::newRow("CAN FD with bit-rate switch")
        << seven << "1 171.130 FB 0300 Rx 2 AA BB" << true << frames({Frame(good).fd().brs()});
    QTest::newRow("FB with 12 bytes")
        << seven << "1 1.0 FB 18FF1234 Tx 12 00 01 02 03 04 05 06 07 08 09 0A 0B" << true
        << frames({Frame(0x18FF1234, "00 01 02 03 04 05 06 07 08 09 0A 0B").at(0, 1000).extended().tx().fd().brs()});
    QTest::newRow("length code of 12 bytes")
        << nine << "1 1.0 FD 1 0300 Rx - 9 00 01 02 03 04 05 06 07 08 09 0A 0B" << true
        << frames({Frame(0x300, "00 01 02 03 04 05 06 07 08 09 0A 0B").dlc(9).at(0, 1000).fd()});
    QTest::newRow("remote") << seven << "1 171.130 RR 0300 Rx 8" << true
                            << frames({Frame(0x300).dlc(8).at(0, 171130).remote()});
    QTest::newRow("remote with data") << seven << "1 171.130 RR 0300 Rx 2 AA BB" << true
                                      << frames({Frame(0x300).dlc(2).at(0, 171130).remote()});
    QTest::newRow("status") << seven << "1 171.130 ST 0300 Rx 4 00 00 00 08" << true << frames();
    QTest::newRow("error counter") << seven << "1 171.130 EC 0300 Rx 2 01 02" << true << frames();
    QTest::newRow("dt in lower case") << seven << "1 171.130 dt 0300 Rx 2 AA BB" << true << frames();
    QTest::newRow("type that holds DT") << seven << "1 171.130 DTx 0300 Rx 2 AA BB" << true << frames();
    QTest::newRow("two types in one") << seven << "1 171.130 FDFB 0300 Rx 2 AA BB" << true << frames();

    QTest::newRow("identifier of five digits")
        << seven << "1 171.130 DT 00300 Rx 2 AA BB" << true << frames({Frame(good).extended()});
    QTest::newRow("identifier of four digits")
        << seven << "1 171.130 DT FFFF Rx 2 AA BB" << true << frames({Frame(0xFFFF, "AA BB").at(0, 171130)});
    QTest::newRow("largest identifier") << seven << "1 171.130 DT FFFFFFFF Rx 2 AA BB" << true
                                        << frames({Frame(0xFFFFFFFF, "AA BB").at(0, 171130).extended()});
    QTest::newRow("bad identifier") << seven << "1 171.130 DT 0300h Rx 2 AA BB" << true
                                    << frames({Frame(0, "AA BB").at(0, 171130).extended()});

    const std::pair<const char *, quint8> lengths[] = {
        {"0", quint8(0)},    {"8", quint8(8)},    {"15", quint8(15)},         {"63", quint8(63)},  {"64", quint8(64)},
        {"65", quint8(64)},  {"100", quint8(64)}, {"255", quint8(64)},        {"256", quint8(0)},  {"257", quint8(1)},
        {"300", quint8(44)}, {"320", quint8(64)}, {"321", quint8(64)},        {"356", quint8(64)}, {"x", quint8(0)},
        {"A", quint8(0)},    {"010", quint8(10)}, {"12345678901", quint8(0)},
    };
    for (const auto &[text, length] : lengths) {
        QTest::addRow("length %s", text) << seven
                                         << QStringLiteral("1 171.130 DT 0300 Rx %1 AA").arg(QLatin1String(text))
                                         << true << frames({Frame(0x300, "AA").dlc(length).at(0, 171130)});
        QTest::addRow("length %s of a remote frame", text)
            << seven << QStringLiteral("1 171.130 RR 0300 Rx %1").arg(QLatin1String(text)) << true
            << frames({Frame(0x300).dlc(length).at(0, 171130).remote()});
    }

    QTest::newRow("bad byte") << seven << "1 171.130 DT 0300 Rx 3 AA XX CC" << true
                              << frames({Frame(0x300, "AA 00 CC").at(0, 171130)});
    QTest::newRow("byte above 255") << seven << "1 171.130 DT 0300 Rx 1 1FF" << true
                                    << frames({Frame(0x300, "FF").at(0, 171130)});
    QTest::newRow("RTR is no byte") << seven << "1 171.130 DT 0300 Rx 1 RTR AA" << true
                                    << frames({Frame(0x300, "00 AA").dlc(1).at(0, 171130)});
    for (const int count : {63, 64, 65, 66, 128, 200}) {
        QTest::addRow("%d data tokens", count)
            << seven << QStringLiteral("1 171.130 FD 0300 Rx 64%1").arg(countedTokens(count)) << true
            << frames({Frame(0x300).bytes(countedBytes(qMin(count, 64))).dlc(64).at(0, 171130).fd()});
        QTest::addRow("%d data tokens in the ninth column", count)
            << nine << QStringLiteral("1 171.130 FD 1 0300 Rx - 15%1").arg(countedTokens(count)) << true
            << frames({Frame(0x300).bytes(countedBytes(qMin(count, 64))).dlc(15).at(0, 171130).fd()});
    }

    // A token that the line is really read for must be there; data may be missing.
    QTest::newRow("no data") << seven << "1 171.130 DT 0300 Rx 0" << true << frames({Frame(0x300).at(0, 171130)});
    QTest::newRow("no data in spite of the length")
        << seven << "1 171.130 DT 0300 Rx 2" << true << frames({Frame(0x300).dlc(2).at(0, 171130)});
    QTest::newRow("no data, nine columns")
        << nine << "1 171.130 FB 1 0300 Rx - 0" << true << frames({Frame(0x300).at(0, 171130).fd().brs()});
    QTest::newRow("remote, nine columns")
        << nine << "1 171.130 RR 1 0300 Rx - 4" << true << frames({Frame(0x300).dlc(4).at(0, 171130).remote()});
    QTest::newRow("data column far away")
        << "O,T,I,d,l,x,x,x,x,D"
        << "171.130 DT 0300 Rx 2 AA BB" << true << frames({Frame(0x300).dlc(2).at(0, 171130)});
    QTest::newRow("length is missing") << nine << "1 171.130 DT 1 0300 Rx -" << false << frames();
    QTest::newRow("length of a remote frame is missing") << nine << "1 171.130 RR 1 0300 Rx -" << false << frames();
    QTest::newRow("length of a status line is missing") << nine << "1 171.130 ST 1 0300 Rx -" << true << frames();
    QTest::newRow("direction is missing") << "O,T,I,l,D,x,d"
                                          << "171.130 DT 0300 1 AA BB" << false << frames();
    QTest::newRow("direction of a status line is missing") << "O,T,I,l,D,x,d"
                                                           << "171.130 ST 0300 1 AA BB" << true << frames();
    QTest::newRow("identifier is missing") << "O,T,d,l,D,x,I"
                                           << "171.130 DT Rx 1 AA BB" << false << frames();
    QTest::newRow("identifier of a status line is missing") << "O,T,d,l,D,x,I"
                                                            << "171.130 ST Rx 1 AA BB" << true << frames();
    QTest::newRow("type is missing") << "O,I,d,l,D,x,T"
                                     << "171.130 0300 Rx 1 AA BB" << false << frames();
    QTest::newRow("time is missing") << "T,I,d,l,D,x,O"
                                     << "DT 0300 Rx 1 AA BB" << false << frames();
    QTest::newRow("time of a status line is missing") << "T,I,d,l,D,x,O"
                                                      << "ST 0300 Rx 1 AA BB" << false << frames();

    QTest::newRow("one token") << seven << "1" << false << frames();
    QTest::newRow("five tokens") << seven << "1 171.130 DT 0300 Rx" << false << frames();
    QTest::newRow("five tokens of a status line") << seven << "1 171.130 ST 0300 Rx" << false << frames();
    QTest::newRow("five tokens of a remote frame") << "O,T,I,d,l,D"
                                                   << "171.130 RR 0300 Rx 0" << false << frames();
    QTest::newRow("six tokens of a status line") << seven << "1 171.130 ST 0300 Rx 0" << true << frames();
    QTest::newRow("semicolon after a blank") << seven << " ; comment" << false << frames();
    QTest::newRow("character 0 is no blank")
        << seven << QStringLiteral("1 171.130 DT 0300 Rx") + QChar(0) + QStringLiteral("2 AA BB") << true
        << frames({Frame(0x300, "BB").dlc(0).at(0, 171130)});
}

void PeakTraceImporterTest::version2Lines()
{
    QFETCH(QString, columns);
    QFETCH(QString, line);
    QFETCH(bool, accepted);
    QFETCH(Frames, expected);

    sample.write((columnHeader(columns) + QLatin1Char('\n') + line + QLatin1Char('\n')).toUtf8());
    const QString errorText = accepted ? ErrorText::none() : ErrorText::atLine(2, sample.path());
    QCOMPARE(importPath(v20, sample.path()), (Imported{accepted, expected, {}, errorText}));
    if (!columns.contains(QLatin1Char('R')))
        QCOMPARE(importPath(v21, sample.path()), (Imported{accepted, expected, {}, errorText}));

    OpenImporter importer;
    QVERIFY(importer->checkValidColumns({columnHeader(columns)}));
    QCOMPARE(importer->importVersion20StringList(tokensOf(line)), accepted);
    QCOMPARE(importer.messages, expected);
    QVERIFY(importer.notes.isEmpty());
    QCOMPARE(importer->getErrorString(), ErrorText::none());

    OpenImporter byPositions;
    byPositions->check2xColumnPos(columns);
    QCOMPARE(byPositions->importVersion20StringList(tokensOf(line)), accepted);
    QCOMPARE(byPositions.messages, expected);
}

void PeakTraceImporterTest::version2Files_data()
{
    addContentColumns();

    const Notes none;
    const QByteArray header(";$COLUMNS=N,O,T,I,d,l,D\n");
    const QByteArray reservedHeader(";$COLUMNS=N,O,T,I,d,R,l,D\n");
    const QByteArray one("1 1.0 DT 0300 Rx 1 AA\n");
    const QByteArray reserved("1 1.0 DT 0300 Rx - 1 AA\n");
    const QByteArray two("2 2.0 DT 0301 Rx 1 BB\n");
    const Frames first = frames({Frame(0x300, "AA").at(0, 1000)});
    const Frames both = frames({Frame(0x300, "AA").at(0, 1000), Frame(0x301, "BB").at(0, 2000)});

    for (const ImportFileType type : {v20, v21}) {
        const int number = type;
        QTest::addRow("header in the first line, type %d", number) << type << header + one + two << both << none;
        QTest::addRow("header in the tenth line, type %d", number)
            << type << ";\n\n;\n \n;\n;\n;\n;\n;\n" + header + one + two << both << none;
        QTest::addRow("header in the tenth line after CR LF, type %d", number)
            << type << QByteArray("\r\n").repeated(9) + header + one + two << both << none;
        QTest::addRow("header in the last of four lines, type %d", number)
            << type << one + ";\n" + two + header << both << none;
        QTest::addRow("lines before the header, type %d", number) << type << one + two + header << both << none;
        QTest::addRow("second header does not count, type %d", number)
            << type << header + ";$COLUMNS=D,l,d,I,T,O\n" + one + ";$COLUMNS=O\n" + two << both << none;
        QTest::addRow("second header after the tenth line, type %d", number)
            << type << header + QByteArray("\n").repeated(20) + one + ";$COLUMNS=D,l,d,I,T,O\n" + two << both << none;
        QTest::addRow("comments and blank lines, type %d", number)
            << type << header + ";x\n\n \t\n" + one + ";2 2.0 DT 0301 Rx 1 BB\n\r\n\v\n" + two + ";" << both << none;
        QTest::addRow("ten lines in all, type %d", number)
            << type << QByteArray(";\n").repeated(7) + header + one + two.chopped(1) << both << none;
        QTest::addRow("more than ten lines, type %d", number)
            << type << header + QByteArray("9 9 ST 0 Rx 0\n").repeated(12) + one + two << both << none;
        QTest::addRow("header without semicolon and six words, type %d", number)
            << type << QByteArray("a b c d e f $COLUMNS=O,T,I,d,l,D,N\n1.0 DT 0300 Rx 1 AA\n") << first << none;
    }

    QTest::newRow("2.1: the placeholder is there") << v21 << reservedHeader + reserved << first << none;
    QTest::newRow("2.1: lines without placeholder are passed over")
        << v21 << reservedHeader + "1 1.5 DT 0302 Rx x 1 CC\n" + reserved + "1 1.5 DT 0302 Rx x 1 CC\n"
        << first << none;
    QTest::newRow("2.1: short lines without placeholder are passed over")
        << v21 << reservedHeader + "x\n1 1.5 DT\n" + reserved << first << none;
    QTest::newRow("2.1: a dash anywhere in the line")
        << v21 << reservedHeader + "- 1.0 DT 0300 Rx x 1 AA\n2 2.0 DT 0301 Rx x-y 1 BB\n"
        << both << none;
    QTest::newRow("2.1: a dash as the last character") << v21 << reservedHeader + "1 1.0 DT 0300 Rx x 1 AA 00-\n"
                                                       << first << none;
    QTest::newRow("2.1: another dash does not count") << v21 << reservedHeader + "1 1.0 DT 0300 Rx \xe2\x80\x93 1 AA\n"
                                                      << frames() << none;
    QTest::newRow("2.1: no reserved column, no placeholder") << v21 << header + one + two << both << none;
    QTest::newRow("2.1: r in lower case is another column")
        << v21 << QByteArray(";$COLUMNS=N,O,T,I,d,r,l,D\n1 1.0 DT 0300 Rx x 1 AA\n") << first << none;
    QTest::newRow("2.1: the reserved column may be the first")
        << v21 << QByteArray(";$COLUMNS=R,O,T,I,d,l,D\nx 2.0 DT 0301 Rx 1 BB\n- 1.0 DT 0300 Rx 1 AA\n") << first
        << none;
    QTest::newRow("2.0: lines without placeholder are read")
        << v20 << reservedHeader + "1 1.0 DT 0300 Rx x 1 AA\n2 2.0 DT 0301 Rx - 1 BB\n"
        << both << none;
}

void PeakTraceImporterTest::version2FilesThatFail_data()
{
    addContentColumns();
    QTest::addColumn<int>("errorLine");

    const Notes none;
    const QByteArray header(";$COLUMNS=N,O,T,I,d,l,D\n");
    const QByteArray one("1 1.0 DT 0300 Rx 1 AA\n");
    const Frames first = frames({Frame(0x300, "AA").at(0, 1000)});

    for (const ImportFileType type : {v20, v21}) {
        const int number = type;
        QTest::addRow("empty file, type %d", number) << type << QByteArray() << frames() << none << 0;
        QTest::addRow("no header, type %d", number) << type << one << frames() << none << 0;
        QTest::addRow("header in the eleventh line, type %d", number)
            << type << QByteArray(";\n").repeated(10) + header + one << frames() << none << 0;
        QTest::addRow("header in the eleventh line after blank lines, type %d", number)
            << type << QByteArray("\r\n").repeated(10) + header + one << frames() << none << 0;
        QTest::addRow("bad header first, type %d", number)
            << type << ";$COLUMNS=N,O\n" + header + one << frames() << none << 0;
        QTest::addRow("bad header and bad line, type %d", number)
            << type << QByteArray("x\n;$COLUMNS=N,O\nx\n") << frames() << none << 0;
        QTest::addRow("bad line, type %d", number) << type << header + one + "x\n" + one << first << none << 3;
        QTest::addRow("bad line before the header, type %d", number)
            << type << "x\n" + header + one << frames() << none << 1;
        QTest::addRow("comments and blank lines count, type %d", number)
            << type << ";\n\n" + header + " \n;\n" + one + "\n1 2 3 4 5\n"
            << first << none << 8;
        QTest::addRow("no final newline, type %d", number) << type << header + one + "1 1.0" << first << none << 3;
        QTest::addRow("header that is no comment, type %d", number)
            << type << header.mid(1) + one << frames() << none << 1;
        QTest::addRow("header that is no comment, after a message, type %d", number)
            << type << one + header.mid(1) + one << first << none << 2;
        QTest::addRow("blank before a comment, type %d", number) << type << header + one + " ;x\n"
                                                                 << first << none << 3;
    }
    QTest::newRow("2.1: short line with a dash")
        << v21 << QByteArray(";$COLUMNS=N,O,T,I,d,R,l,D\n1 1.0 DT 0300 Rx - 1 AA\nx\n-\n") << first << none << 4;
    QTest::newRow("2.0: short line in a file with a reserved column")
        << v20 << QByteArray(";$COLUMNS=N,O,T,I,d,R,l,D\n1 1.0 DT 0300 Rx - 1 AA\nx\n-\n") << first << none << 3;
}

void PeakTraceImporterTest::manyColumns_data()
{
    addVersion2Columns();

    const QString other = QStringLiteral("x,");
    const QString filler = QStringLiteral("x ");
    const Frames expected = frames({Frame(0x300, "AA BB").at(0, 171130)});
    QTest::newRow("300 columns, the others behind")
        << QLatin1String("N,O,T,I,d,l,D,") + other.repeated(293) << "1 171.130 DT 0300 Rx 2 AA BB" << true << expected;
    QTest::newRow("first needed column at 100")
        << other.repeated(100) + QLatin1String("O,T,I,d,l,D")
        << filler.repeated(100) + QLatin1String("171.130 DT 0300 Rx 2 AA BB") << true << expected;
    QTest::newRow("data at 127") << other.repeated(122) + QLatin1String("O,T,I,d,l,D")
                                 << filler.repeated(122) + QLatin1String("171.130 DT 0300 Rx 2 AA BB") << true
                                 << expected;
    QTest::newRow("time at 127") << QLatin1String("T,I,d,l,D,") + other.repeated(122) + QLatin1String("O")
                                 << QLatin1String("DT 0300 Rx 2 AA ") + filler.repeated(122) + QLatin1String("171.130")
                                 << true << frames({Frame(0x300, "AA").dlc(2).at(0, 171130)});
}

void PeakTraceImporterTest::manyColumns()
{
    version2Lines();
}

void PeakTraceImporterTest::columnPositionsAreSignedBytes_data()
{
    QTest::addColumn<QString>("code");
    for (const char *code : {"O", "T", "I", "d", "l", "D"})
        QTest::newRow(code) << QString::fromUtf8(code);
}

void PeakTraceImporterTest::columnPositionsAreSignedBytes()
{
    QFETCH(QString, code);

    QStringList others{QStringLiteral("O"), QStringLiteral("T"), QStringLiteral("I"),
                       QStringLiteral("d"), QStringLiteral("l"), QStringLiteral("D")};
    others.removeOne(code);
    const auto columnsWith = [&](int position) {
        QStringList columns{QStringLiteral("N")};
        columns += others;
        while (columns.size() < position)
            columns.append(QStringLiteral("x"));
        return columns.join(QLatin1Char(',')) + QLatin1Char(',') + code;
    };
    QStringList line{QStringLiteral("7")};
    for (const QString &other : qAsConst(others)) {
        line.append(other == QLatin1String("T")   ? QStringLiteral("DT")
                    : other == QLatin1String("I") ? QStringLiteral("0300")
                                                  : QStringLiteral("1"));
    }
    while (line.size() < 400)
        line.append(QStringLiteral("1"));

    // 255 reads as -1, which stands for a column that is not there.
    QCOMPARE(PeakTraceImporter(nullptr).checkValidColumns({columnHeader(columnsWith(255))}), false);
    const SampleFile file(columnHeader(columnsWith(255)).toUtf8() + '\n');
    QCOMPARE(importPath(v20, file.path()), (Imported{false, {}, {}, ErrorText::noColumns()}));

    // 256 reads as 0.
    OpenImporter wrapped;
    QVERIFY(wrapped->checkValidColumns({columnHeader(columnsWith(256))}));
    PlainRules rules;
    QVERIFY(rules.checkValidColumns({columnHeader((QStringList{code} + others).join(QLatin1Char(',')))}));
    QCOMPARE(wrapped->importVersion20StringList(line), rules.version2Line(line));
    QCOMPARE(wrapped.messages, rules.messages);

    // Any other position above 127 is a place before the line.
    for (int position = 128; position < 255; ++position) {
        OpenImporter importer;
        QVERIFY(importer->checkValidColumns({columnHeader(columnsWith(position))}));
        const bool accepted = importer->importVersion20StringList(line);
        QCOMPARE(accepted, code == QLatin1String("D"));
        QCOMPARE(importer.messages.size(), accepted ? 1 : 0);
    }
}

void PeakTraceImporterTest::reservedColumnIsLookedUpInEachFile()
{
    const QByteArray line("1 1.0 DT 0300 Rx x 1 AA\n");
    const SampleFile reserved(";$COLUMNS=N,O,T,I,d,R,l,D\n" + line);
    const SampleFile other(";$COLUMNS=N,O,T,I,d,x,l,D\n" + line);
    PeakTraceImporter importer(nullptr);
    Frames messages;
    Notes notes;
    QVERIFY(importer.importFile(reserved.path(), v21, &messages, &notes));
    QCOMPARE(messages.size(), 0);
    QVERIFY(importer.importFile(other.path(), v21, &messages, &notes));
    QCOMPARE(messages.size(), 1);
    QVERIFY(importer.importFile(reserved.path(), v21, &messages, &notes));
    QCOMPARE(messages.size(), 1);
    QVERIFY(importer.importFile(reserved.path(), v20, &messages, &notes));
    QCOMPARE(messages.size(), 2);
    importer.resetColumnsPos();
    QVERIFY(importer.importFile(other.path(), v21, &messages, &notes));
    QCOMPARE(messages.size(), 3);
}

void PeakTraceImporterTest::version2Encodings_data()
{
    addEncodingRows(QStringLiteral(";$FILEVERSION=2.1 \u20ac\n;$COLUMNS=N,O,T,I,d,R,l,D\n1 1.0 DT 0300 Rx - 1 AA\n"
                                   "2 1.5 \u20ac\U0001F697 0301 Tx - 1 BB\n3 2.0 RR 0301 Tx - 0\n"));
}

void PeakTraceImporterTest::version2Encodings()
{
    QFETCH(QByteArray, content);

    sample.write(content);
    const Frames expected = frames({Frame(0x300, "AA").at(0, 1000), Frame(0x301).at(0, 2000).tx().remote()});
    QCOMPARE(importPath(v20, sample.path()), (Imported{true, expected, {}, ErrorText::none()}));
    QCOMPARE(importPath(v21, sample.path()), (Imported{true, expected, {}, ErrorText::none()}));
}

void PeakTraceImporterTest::membersReadWhatTheFileReaderReads_data()
{
    QTest::addColumn<ImportFileType>("type");
    QTest::addColumn<QString>("columns");
    QTest::newRow("version 1.1") << v11 << QString();
    QTest::newRow("version 1.2") << v12 << QString();
    QTest::newRow("version 1.3") << v13 << QString();
    for (const QString &columns : version2Columns) {
        QTest::addRow("version 2.0, %s", qPrintable(columns)) << v20 << columns;
        QTest::addRow("version 2.1, %s", qPrintable(columns)) << v21 << columns;
    }
}

void PeakTraceImporterTest::membersReadWhatTheFileReaderReads()
{
    QFETCH(ImportFileType, type);
    QFETCH(QString, columns);

    OpenImporter importer;
    PlainRules rules;
    QStringList lines;
    if (!columns.isEmpty()) {
        lines.append(columnHeader(columns));
        QVERIFY(importer->checkValidColumns(lines));
        QVERIFY(rules.checkValidColumns(lines));
    }
    for (const QString &line : goodLinesOf(type)) {
        if (!rules.readLine(type, line))
            continue;
        lines.append(line);
        if (type == v21 && columns.contains(QLatin1Char('R')) && !line.contains(QLatin1Char('-')))
            continue;
        QStringList tokens = tokensOf(line);
        if (type == v13)
            tokens.removeAt(5);
        if (type == v12 || type == v13)
            tokens.removeAt(2);
        QVERIFY(type >= v20 ? importer->importVersion20StringList(tokens)
                            : importer->importVersion11StringList(tokens));
    }
    const SampleFile file(lines.join(QLatin1Char('\n')).toUtf8());
    const Imported imported = importPath(type, file.path());
    QCOMPARE(imported, (Imported{true, importer.messages, importer.notes, ErrorText::none()}));

    // The functions for the single versions read as the type says.
    PeakTraceImporter direct(nullptr);
    Frames messages;
    Notes notes;
    QVERIFY(direct.importFile(emptyFile(), v11, &messages, &notes));
    bool read = false;
    switch (static_cast<int>(type)) {
    case v11:
        read = direct.importFileVersion11(file.path());
        break;
    case v12:
        read = direct.importFileVersion12(file.path());
        break;
    case v13:
        read = direct.importFileVersion13(file.path());
        break;
    case v20:
        read = direct.importFileVersion20(file.path());
        break;
    case v21:
        read = direct.importFileVersion21(file.path());
        break;
    }
    QVERIFY(read);
    QCOMPARE(messages, imported.messages);
    QCOMPARE(notes, imported.notes);
}

void PeakTraceImporterTest::randomVersion1LinesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 4; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void PeakTraceImporterTest::randomVersion1LinesReadAsThePlainRulesSay()
{
    QFETCH(quint32, seed);

    RandomLines lines(seed, goodVersion1Lines, version1Tokens + commonTokens, {});
    OpenImporter importer;
    PlainRules rules;
    int accepted = 0;
    for (int i = 0; i < 5000; ++i) {
        const QString line = lines.next();
        const QStringList tokens = tokensOf(line);
        const bool expected = rules.version1Line(tokens);
        QVERIFY2(importer->importVersion11StringList(tokens) == expected, qPrintable(line));
        QVERIFY2(importer.messages.size() == rules.messages.size(), qPrintable(line));
        if (!rules.messages.isEmpty() && importer.messages.last() != rules.messages.last())
            QFAIL(qPrintable(line + QLatin1Char('\n')
                             + differenceOf({true, importer.messages, {}, {}}, {true, rules.messages, {}, {}})));
        accepted += expected ? 1 : 0;
    }
    QCOMPARE(importer.notes, rules.notes);
    QVERIFY(importer.messages == rules.messages);
    QVERIFY(accepted > 2000 && accepted < 5000);
    QVERIFY(rules.messages.size() > 1000);
    QVERIFY(rules.notes.size() > 100);
}

void PeakTraceImporterTest::randomVersion2LinesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<QString>("columns");
    for (const QString &columns : version2Columns)
        QTest::newRow(qPrintable(columns)) << columns;
}

void PeakTraceImporterTest::randomVersion2LinesReadAsThePlainRulesSay()
{
    QFETCH(QString, columns);

    RandomLines lines(static_cast<quint32>(columns.size()), goodVersion2Lines, version2Tokens + commonTokens, {});
    OpenImporter importer;
    PlainRules rules;
    QVERIFY(importer->checkValidColumns({columnHeader(columns)}));
    QVERIFY(rules.checkValidColumns({columnHeader(columns)}));
    for (int i = 0; i < 3000; ++i) {
        const QString line = lines.next();
        const QStringList tokens = tokensOf(line);
        QVERIFY2(importer->importVersion20StringList(tokens) == rules.version2Line(tokens), qPrintable(line));
        QVERIFY2(importer.messages.size() == rules.messages.size(), qPrintable(line));
        if (!rules.messages.isEmpty() && importer.messages.last() != rules.messages.last())
            QFAIL(qPrintable(line + QLatin1Char('\n')
                             + differenceOf({true, importer.messages, {}, {}}, {true, rules.messages, {}, {}})));
    }
    QVERIFY(importer.messages == rules.messages);
    QVERIFY(rules.messages.size() > 20);

    // Headers of the same kind.
    const QStringList pieces{QStringLiteral("O"), QStringLiteral("T"),       QStringLiteral("I"), QStringLiteral("d"),
                             QStringLiteral("l"), QStringLiteral("L"),       QStringLiteral("D"), QStringLiteral("R"),
                             QStringLiteral("N"), QStringLiteral("COLUMNS"), QStringLiteral("="), QStringLiteral(" ")};
    int valid = 0;
    for (int i = 0; i < 1000; ++i) {
        QStringList header{columns};
        for (int changes = lines.bounded(3); changes > 0; --changes) {
            QString &text = header.last();
            text.replace(lines.bounded(text.size()), 1,
                         lines.anyOf(pieces) + lines.anyOf({QString(), QStringLiteral(",")}));
        }
        header.last().prepend(
            lines.anyOf({QStringLiteral(";$COLUMNS="), QStringLiteral("COLUMNS,"), QStringLiteral("=")}));
        const bool expected = rules.checkValidColumns(header);
        QVERIFY2(importer->checkValidColumns(header) == expected, qPrintable(header.last()));
        valid += expected ? 1 : 0;
        if (!expected)
            continue;
        const QStringList tokens = tokensOf(lines.next());
        QCOMPARE(importer->importVersion20StringList(tokens), rules.version2Line(tokens));
    }
    QVERIFY(importer.messages == rules.messages);
    QVERIFY(valid > 100 && valid < 900);
}

void PeakTraceImporterTest::randomFilesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<ImportFileType>("type");
    QTest::addColumn<quint32>("seed");
    for (const ImportFileType type : {v11, v12, v13, v20, v21}) {
        for (quint32 seed = 1; seed <= 2; ++seed)
            QTest::addRow("type %d, seed %u", static_cast<int>(type), seed) << type << seed;
    }
}

void PeakTraceImporterTest::randomFilesReadAsThePlainRulesSay()
{
    QFETCH(ImportFileType, type);
    QFETCH(quint32, seed);

    RandomLines lines(seed + 100, goodLinesOf(type), (type >= v20 ? version2Tokens : version1Tokens) + commonTokens,
                      {});
    const auto header = [&] {
        if (type < v20)
            return QString();
        return columnHeader(lines.anyOf(version2Columns)) + QLatin1Char('\n');
    };
    const auto compare = [&](const QString &content) {
        sample.write(content.toUtf8());
        const Imported actual = importPath(type, sample.path());
        const Imported expected = PlainRules::readFile(type, sample.path());
        return differenceOf(actual, expected);
    };

    // A long file of lines that are all accepted.
    QString text = header();
    PlainRules rules;
    if (type >= v20)
        QVERIFY(rules.checkValidColumns({text.trimmed()}));
    for (int i = 0; i < 5000; ++i) {
        const QString line = lines.next();
        if (rules.readLine(type, line))
            text += line + lines.lineEnd();
    }
    QVERIFY(rules.messages.size() > 50);
    QString difference = compare(text);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));

    // Short files of any lines: most of them fail somewhere.
    for (int i = 0; i < 60; ++i) {
        QStringList parts;
        for (int k = lines.bounded(14); k > 0; --k)
            parts.append(lines.next() + lines.lineEnd());
        parts.insert(lines.bounded(parts.size() + 1), header());
        text = parts.join(QString());
        if (lines.bounded(3) == 0)
            text.chop(1);
        difference = compare(text);
        QVERIFY2(difference.isEmpty(), qPrintable(text + QLatin1Char('\n') + difference));
    }
}

void PeakTraceImporterTest::handlerDeliversOnce_data()
{
    addContentColumns();

    const Frames expected = frames({Frame(0x300, "AA").at(0, 1000), Frame(0x301).at(0, 2000).remote()});
    const Notes notes{{1, QStringLiteral("x")}, {2, QStringLiteral("y | z")}};
    QTest::newRow("1.1") << v11
                         << QByteArray(
                                "1) 1.0 Rx 0300 1 AA\n1) 1 Warng x\n2) 2.0 Rx 0301 0 RTR\n1) 1 Warng y\n1) 1 Warng z\n")
                         << expected << notes;
    QTest::newRow("1.2") << v12
                         << QByteArray("1) 1.0 1 Rx 0300 1 AA\n1) 1 1 Warng x\n2) 2.0 1 Rx 0301 0 RTR\n"
                                       "1) 1 1 Warng y\n1) 1 1 Warng z\n")
                         << expected << notes;
    QTest::newRow("1.3") << v13
                         << QByteArray("1) 1.0 1 Rx 0300 - 1 AA\n1) 1 1 Warng x\n2) 2.0 1 Rx 0301 - 0 RTR\n"
                                       "1) 1 1 Warng y\n1) 1 1 Warng z\n")
                         << expected << notes;
    const QByteArray version2(";$COLUMNS=N,O,T,I,d,l,D\n1 1.0 DT 0300 Rx 1 AA\n2 2.0 RR 0301 Rx 0\n");
    QTest::newRow("2.0") << v20 << version2 << expected << Notes();
    QTest::newRow("2.1") << v21 << version2 << expected << Notes();
    QTest::newRow("no message") << v11 << QByteArray() << frames() << Notes();
    QTest::newRow("note without message") << v11 << QByteArray("1) 1 Warng x\n") << frames() << note(0, "x");
}

void PeakTraceImporterTest::handlerDeliversOnce()
{
    QFETCH(ImportFileType, type);
    QFETCH(QByteArray, content);
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);

    const SampleFile file(content);
    const ImportRun run(type, file.path(), QStringLiteral("text does not matter"));
    QVERIFY(run.succeeded());
    QCOMPARE(run.store.calls(),
             QStringList({Expected::loading(true), Expected::delivered(expected.size(), notes.size()),
                          Expected::loading(false)}));
    QCOMPARE(run.store.messages(), expected);
    QCOMPARE(run.store.notes(), notes);
    QCOMPARE(run.errorText(), QString());

    RecordingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);
    QVERIFY(handler.loadPeakTraceFile(file.path(), type));
    QCOMPARE(store.calls(), QStringList{Expected::delivered(expected.size(), notes.size())});
    QCOMPARE(store.messages(), expected);
    QCOMPARE(store.notes(), notes);

    store.clear();
    QVERIFY(handler.loadFile(file.path(), type, QString(), true));
    QCOMPARE(store.calls(), QStringList({Expected::started(), Expected::delivered(expected.size(), notes.size()),
                                         Expected::finished(true, type, file.path())}));
}

void PeakTraceImporterTest::handlerDeliversManyMessagesAtOnce()
{
    constexpr int count = 200001;
    const SampleFile file(QByteArray("1) 1.0 Rx 0300 1 AA\n").repeated(count));
    const ImportRun run(v11, file.path());
    QVERIFY(run.succeeded());
    QCOMPARE(run.store.batchSizes(), QVector<int>{count});
    const Frames messages = run.store.messages();
    QCOMPARE(messages.at(100000), CanRxMessage(Frame(0x300, "AA").at(0, 1000).index(100000)));
    QCOMPARE(messages.last(), CanRxMessage(Frame(0x300, "AA").at(0, 1000).index(count - 1)));
}

void PeakTraceImporterTest::handlerKeepsTheErrorText_data()
{
    QTest::addColumn<ImportFileType>("type");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("errorLine"); // 0: no columns, -1: no error

    QTest::newRow("1.1") << v11 << QByteArray("1) 1.0 Rx 0300 1 AA\nx\n") << 2;
    QTest::newRow("1.2") << v12 << QByteArray("1) 1 1 Warng x\nx\n") << 2;
    QTest::newRow("1.3") << v13 << QByteArray("x\n") << 1;
    QTest::newRow("2.0") << v20 << QByteArray("x\n") << 0;
    QTest::newRow("2.1") << v21 << QByteArray(";$COLUMNS=N,O,T,I,d,l,D\n1 1.0 DT 0300 Rx 1 AA\nx\n") << 3;
    QTest::newRow("reserved type") << DatachunkHelper::PeakTraceReserved << QByteArray("1) 1.0 Rx 0300 1 AA\n") << -1;
}

void PeakTraceImporterTest::handlerKeepsTheErrorText()
{
    QFETCH(ImportFileType, type);
    QFETCH(QByteArray, content);
    QFETCH(int, errorLine);

    const SampleFile file(content);
    const QString errorText = errorLine < 0    ? ErrorText::none()
                              : errorLine == 0 ? ErrorText::noColumns()
                                               : ErrorText::atLine(errorLine, file.path());
    const ImportRun run(type, file.path());
    QVERIFY(!run.succeeded());
    QCOMPARE(run.store.calls(), QStringList({Expected::loading(true), Expected::loading(false)}));
    QCOMPARE(run.errorText(), errorText);

    RecordingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);
    QVERIFY(!handler.loadFile(file.path(), type, QString(), false));
    QCOMPARE(store.calls(), QStringList({Expected::started(), Expected::finished(false, type, file.path())}));
    QCOMPARE(handler.getLastErrorText(), errorText);
}

void PeakTraceImporterTest::handlerKeepsTheLastErrorText()
{
    const SampleFile bad("1) 1.0 Rx 0300 1 AA\nx\n");
    const SampleFile good("1) 1.0 Rx 0300 1 AA\n");
    RecordingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);
    QVERIFY(!handler.loadPeakTraceFile(bad.path(), v11));
    QCOMPARE(handler.getLastErrorText(), ErrorText::atLine(2, bad.path()));
    QVERIFY(handler.loadPeakTraceFile(good.path(), v11));
    QCOMPARE(handler.getLastErrorText(), ErrorText::atLine(2, bad.path()));
    QVERIFY(!handler.loadPeakTraceFile(good.path(), v20));
    QCOMPARE(handler.getLastErrorText(), ErrorText::noColumns());
    // A file that is not there never reaches the importer through the dispatch; called directly it is no error of it.
    QVERIFY(!handler.importFile(bad.path() + QLatin1String(".missing"), v11, QString(), false));
    QCOMPARE(handler.getLastErrorText(), ErrorText::noColumns());
    QVERIFY(!handler.loadPeakTraceFile(bad.path() + QLatin1String(".missing"), v11));
    QCOMPARE(handler.getLastErrorText(), ErrorText::none());
    QCOMPARE(store.calls(), QStringList{Expected::delivered(1)});
}

void PeakTraceImporterTest::handlerWithoutStoreReadsIntoNothing()
{
    const SampleFile good("1) 1.0 Rx 0300 1 AA\n");
    QPointer<DatachunkHandler> none;
    CANLogHandler handler(none);
    QVERIFY(handler.loadPeakTraceFile(good.path(), v11));
    QVERIFY(!handler.loadPeakTraceFile(good.path(), v20));
}

void PeakTraceImporterTest::sampleFiles_data()
{
    QTest::addColumn<ImportFileType>("type");
    QTest::addColumn<Frames>("expected");
    QTest::addColumn<Notes>("notes");

    QTest::newRow("version-1-1") << v11
                                 << frames({
                                        Frame(0x300, "00 11 22 33 44 55 66 77").at(2, 457500),
                                        Frame(0x18FF1234, "AA BB").at(2, 557700).extended().tx(),
                                        Frame(0x18FF1234).at(2, 600000).extended().remote(),
                                        Frame(0x7FF).at(60, 123400),
                                    })
                                 << note(3, "BUSHEAVY");
    QTest::newRow("version-1-2") << v12
                                 << frames({
                                        Frame(0x300, "00 00 00 00 04 00 00").at(0, 2500),
                                        Frame(0x300, "AA BB").at(1, 59900),
                                        Frame(0x123).dlc(3).at(2, 0).tx().remote(),
                                    })
                                 << note(0, "BUSOFF");
    QTest::newRow("version-1-3") << v13
                                 << frames({
                                        Frame(0x300, "AA BB").at(1, 59900),
                                        Frame(0x18EFC034, "01 02 03").at(1, 283231).extended().tx(),
                                        Frame(0x400).dlc(2).at(1, 298945).remote(),
                                    })
                                 << note(2, "BUSHEAVY | BUSOFF");
    QTest::newRow("version-2-0")
        << v20
        << frames({
               Frame(0x300, "00 00 00 00 04 00 00").at(1, 59900),
               Frame(0x300, "1F 55 AA").at(1, 283231).tx(),
               Frame(0x18EFC034, "01 02 03 04 05 06 07 08 09 0A 0B 0C").at(1, 298945).extended().fd(),
               Frame(0x500, "00").dlc(1).at(1, 323201).fd().brs(),
               Frame(0x100).dlc(3).at(1, 334416).remote(),
           })
        << Notes();
    QTest::newRow("version-2-1")
        << v21
        << frames({
               Frame(0x300, "00 00 00 00 04 00 00").at(1, 59900),
               Frame(0x18EFC034, "01 02 03 04 05 06 07 08 09 0A 0B 0C").dlc(9).at(1, 298945).extended().tx().fd().brs(),
               Frame(0x100).dlc(3).at(1, 334416).remote(),
           })
        << Notes();
    QTest::newRow("windows-line-ends") << v11
                                       << frames({
                                              Frame(0x300, "00 11").at(2, 457500),
                                              Frame(0x301, "22").at(2, 458000),
                                          })
                                       << Notes();
}

void PeakTraceImporterTest::sampleFiles()
{
    QFETCH(ImportFileType, type);
    QFETCH(Frames, expected);
    QFETCH(Notes, notes);

    const QString path =
        QStringLiteral(CANLOG_TEST_DATA "/peaktrace/%1.trc").arg(QLatin1String(QTest::currentDataTag()));
    QCOMPARE(importPath(type, path), (Imported{true, expected, notes, ErrorText::none()}));
}

QTEST_GUILESS_MAIN(PeakTraceImporterTest)
#include "tst_peaktraceimporter.moc"
