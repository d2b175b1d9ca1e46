// SPDX-License-Identifier: Apache-2.0
#include "encodings.h"
#include "importers/ixxatfileimporter.h"
#include "importing.h"

#include <QFile>
#include <QTextStream>
#include <QtTest>

#include <limits>
#include <memory>

using CAN::CanRxMessage;

namespace
{

constexpr auto ixxat = DatachunkHelper::IxxatLog;

Imported importPath(const QString &path)
{
    IxxatFileImporter importer(nullptr);
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
            qFatal("an empty log cannot be imported");
    }

    IxxatFileImporter *operator->() { return importer.get(); }

    Frames messages;
    Notes notes;

private:
    std::unique_ptr<IxxatFileImporter> importer = std::make_unique<IxxatFileImporter>(nullptr);
};

/*
 * The rules of the format once more, with Qt's plain operations and no thought of speed: what the importer must make of
 * any text, however odd.
 */
class PlainRules
{
public:
    Frames messages;
    bool isOpen = false; ///< a line came whose meaning is not settled

    static QString withoutLeadingZeros(QString text)
    {
        while (text.startsWith(QLatin1Char('0')))
            text.remove(0, 1);
        return text;
    }

    static QStringList elementsOf(const QString &line, QChar separator, QChar quote)
    {
        QStringList elements;
        QString current;
        bool isQuoted = false;
        for (const QChar c : line) {
            if (c == quote) {
                isQuoted = !isQuoted;
            } else if (c == separator && !isQuoted) {
                elements.append(current);
                current.clear();
            } else {
                current.append(c);
            }
        }
        if (!current.isEmpty())
            elements.append(current);
        return elements;
    }

    void setTime(QString text, CanRxMessage &message)
    {
        text.remove(QLatin1Char('"'));
        const QStringList parts = text.split(QLatin1Char('.'));
        qint64 seconds = 0;
        if (parts.at(0).contains(QLatin1Char(':'))) {
            const QStringList pieces = parts.at(0).split(QLatin1Char(':'));
            if (pieces.size() == 3)
                seconds = (number(pieces.at(0)) * 60 + number(pieces.at(1))) * 60 + number(pieces.at(2));
            else
                isOpen = true;
        } else {
            seconds = number(parts.at(0));
        }
        const qint64 microseconds = number(parts.value(1)) * 1000 + number(parts.value(2));
        if (seconds > std::numeric_limits<qint32>::max() || microseconds > std::numeric_limits<qint32>::max())
            isOpen = true;
        message.timeStamp = CanTimeStamp(static_cast<qint32>(seconds), static_cast<qint32>(microseconds));
    }

    void header(const QString &line)
    {
        const QString row = line.simplified();
        const int commas = row.count(QLatin1Char(',')) % 256;
        const int semicolons = row.count(QLatin1Char(';')) % 256;
        if (semicolons > commas)
            separator = QLatin1Char(';');
        else if (commas > 0)
            separator = QLatin1Char(',');
        const QStringList names = row.split(separator);
        for (const QString &name : names) {
            const int position = names.indexOf(name);
            if (name.contains(QLatin1String("Time")))
                time = position;
            else if (name.contains(QLatin1String("ID")) && !name.contains(QLatin1String("Node")))
                id = position;
            else if (name.contains(QLatin1String("DLC")))
                dlc = position;
            else if (name.contains(QLatin1String("Data")))
                data = position;
        }
    }

    void row(const QString &line)
    {
        const QStringList elements = elementsOf(line, separator, QLatin1Char('"'));
        const auto isMissing = [&](int column) { return column < 0 || column >= elements.size(); };
        if (elements.size() < 6 || isMissing(id) || isMissing(time) || isMissing(data) || (dlc >= 0 && isMissing(dlc))
            || (type >= 0 && isMissing(type)))
            return;
        CanRxMessage message;
        bool isNumber = false;
        message.id = elements.at(id).toUInt(&isNumber, 16);
        if (!isNumber)
            return;
        setTime(elements.at(time), message);
        message.isExtended = type >= 0 && elements.at(type).contains(QLatin1Char('E'));
        if (dlc >= 0)
            message.dlc = static_cast<quint8>(elements.at(dlc).toUInt());
        if (elements.at(data).contains(QLatin1String("Remote Frame"))) {
            message.isRemote = true;
        } else {
            const QStringList bytes = elements.at(data).split(QLatin1Char(' '));
            message.dlc = static_cast<quint8>(bytes.size());
            for (int i = 0; i < qMin(bytes.size(), int(sizeof message.data)); ++i)
                message.data[i] = static_cast<quint8>(bytes.at(i).toUInt(nullptr, 16));
        }
        message.messageIndex = static_cast<quint32>(messages.size());
        messages.append(message);
    }

    void readLine(const QString &line)
    {
        if (line.contains(QLatin1String("ID")) && line.contains(QLatin1String("Time"))
            && line.contains(QLatin1String("Data"))) {
            header(line);
        } else if (id < 0 || time < 0 || data < 0) {
            errorText = ErrorText::noColumns();
            succeeded = false;
        } else if (!line.simplified().isEmpty()) {
            row(line.simplified());
            succeeded = true;
        }
    }

    static Imported readFile(const QString &path)
    {
        PlainRules rules;
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            qFatal("cannot read the sample");
        QTextStream stream(&file);
        while (!stream.atEnd())
            rules.readLine(stream.readLine());
        return {rules.succeeded, rules.messages, {}, rules.errorText};
    }

    int time = -1, type = -1, id = -1, dlc = -1, data = -1;
    QChar separator = QLatin1Char(',');

private:
    static qint64 number(const QString &text) { return withoutLeadingZeros(text).toInt(nullptr, 0); }

    QString errorText = ErrorText::none();
    bool succeeded = true;
};

const QString usualHeader = QStringLiteral("No,Bus,Time,Type,ID (hex),DLC,Format,Data (hex)");

const QStringList goodLines{
    QStringLiteral("1,1,12:01:05.250.125,Std,181,2,Std,0A 0B"),
    QStringLiteral("\"2\",\"1\",\"00:00:01.001.002\",\"Std\",\"701\",\"1\",\"Std\",\"05\""),
    QStringLiteral("3,1,2457.5,Ext,18FF1234,8,Ext,00 11 22 33 44 55 66 77"),
    QStringLiteral("4,1,08:09:00.000.000,Std,7FF,4,Std,Remote Frame"),
    QStringLiteral("5;1;0:0:0.1;Std;181;2;Std;0A 0B"),
    QStringLiteral("6,1,0.0.7,\"a,b;c\",80,0,Std,"),
    QStringLiteral("Time,ID,Data"),
    QStringLiteral("No;Bus;Time;Type;ID (hex);DLC;Format;Data (hex)"),
    QStringLiteral("No,Bus,Time,Type,ID (hex),DLC,Format,Data (hex)"),
    QStringLiteral("Time,Node ID,ID,Data,x,y"),
};
const QStringList lineTokens{
    QStringLiteral("12:01:05.250.125"),
    QStringLiteral("08:09:00.010"),
    QStringLiteral("1.5"),
    QStringLiteral("000"),
    QStringLiteral("0A 0B"),
    QStringLiteral("0A  0B "),
    QStringLiteral("181"),
    QStringLiteral("Std"),
    QStringLiteral("Remote Frame"),
    QStringLiteral("Remote"),
    QStringLiteral("\""),
    QStringLiteral("\"\""),
    QStringLiteral("\"a,b\""),
    QStringLiteral("\"0A;0B\""),
    QStringLiteral("2"),
    QStringLiteral("ID"),
    QStringLiteral("Time"),
    QStringLiteral("Data"),
    QStringLiteral("DLC"),
    QStringLiteral("Node"),
    QStringLiteral("1,181,1.5,2,0A 0B,x"),
};
const QStringList lineSeparators{
    QStringLiteral(","), QStringLiteral(","), QStringLiteral(","),  QStringLiteral(","),
    QStringLiteral(","), QStringLiteral(";"), QStringLiteral(", "), QStringLiteral(",,"),
};

/// Ready for the rows of a usual log.
void setUsualColumns(OpenImporter &importer)
{
    importer->resetColumnsPos();
    importer->getColumnsFromLine(usualHeader);
}

void addRowColumns()
{
    QTest::addColumn<QString>("row");
    QTest::addColumn<Frames>("expected");
}

} // namespace

class IxxatFileImporterTest : public QObject
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

    // Helpers
    void leadingZeros_data();
    void leadingZeros();
    void lineElements_data();
    void lineElements();
    void timeTexts_data();
    void timeTexts();
    void hugeAndShortTimesDoNoHarm_data();
    void hugeAndShortTimesDoNoHarm();
    void timeTextsKeepTheRestOfTheMessage();
    void addedMessageIsCopiedAsItIs();

    // Rows
    void rows_data();
    void rows();
    void rowsFromOutside_data();
    void rowsFromOutside();
    void rowsByTheDefaultColumns_data();
    void rowsByTheDefaultColumns();
    void resetColumnsMakeRowsPassOver();

    // Header rows
    void headerRows_data();
    void headerRows();
    void wideHeaderRows_data();
    void wideHeaderRows();
    void columnPositionsAreSignedBytes_data();
    void columnPositionsAreSignedBytes();
    void separatorStaysWithoutOneInTheHeader();
    void headerKeepsColumnsThatItDoesNotName();

    // Files
    void files_data();
    void files();
    void errorTextStaysAfterSuccess();
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

void IxxatFileImporterTest::initTestCase()
{
    // Texts without byte-order mark are read in the system's encoding, which must not depend on who runs the tests.
    LocaleEncoding::set("UTF-8");
}

void IxxatFileImporterTest::freshImporterHasNoError()
{
    QObject parent;
    auto *importer = new IxxatFileImporter(&parent);
    QCOMPARE(importer->parent(), &parent);
    QCOMPARE(importer->getErrorString(), QStringLiteral("No error."));
}

void IxxatFileImporterTest::metaObjectHasNothingOfItsOwn()
{
    const QMetaObject &meta = IxxatFileImporter::staticMetaObject;
    QCOMPARE(meta.className(), "IxxatFileImporter");
    QCOMPARE(meta.methodCount(), QObject::staticMetaObject.methodCount());
}

void IxxatFileImporterTest::errorTextsAreTranslated()
{
    const SampleFile noHeader("x\n");
    QScopedPointer<MarkingTranslator> translator(new MarkingTranslator);
    const QString none = IxxatFileImporter(nullptr).getErrorString();
    const QString columns = importPath(noHeader.path()).errorText;
    translator.reset();

    QCOMPARE(none, QStringLiteral("<IxxatFileImporter> No error."));
    QCOMPARE(columns, QStringLiteral("<IxxatFileImporter> Import error occured. No valid column description found."));
}

void IxxatFileImporterTest::missingListFails()
{
    const SampleFile file("x\n");
    IxxatFileImporter importer(nullptr);
    Notes notes;
    QCOMPARE(importer.importFile(file.path(), nullptr, &notes), false);
    QCOMPARE(importer.getErrorString(), ErrorText::none());
}

void IxxatFileImporterTest::fileThatCannotBeOpenedFails_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << CANLOG_TEST_DATA "/ixxat/no-such-file.csv";
    QTest::newRow("folder") << CANLOG_TEST_DATA "/ixxat";
}

void IxxatFileImporterTest::fileThatCannotBeOpenedFails()
{
    QFETCH(QString, path);

    QCOMPARE(importPath(path), (Imported{false, {}, {}, ErrorText::none()}));
}

void IxxatFileImporterTest::listKeepsWhatItHeldAndNotesAreLeftAlone()
{
    const SampleFile file("Time,ID,Data,x,y,z\n1.5,181,AA,x,y,z\n");
    IxxatFileImporter importer(nullptr);
    Frames messages = frames({Frame(0x111), Frame(0x222)});
    Notes notes = note(0, "zero");
    QVERIFY(importer.importFile(file.path(), &messages, &notes));
    QCOMPARE(messages, frames({Frame(0x111), Frame(0x222), Frame(0x181, "AA").at(1, 5000).index(0)}));
    QCOMPARE(notes, note(0, "zero"));
    QVERIFY(importer.importFile(file.path(), &messages, nullptr));
    QCOMPARE(messages.size(), 4);
}

void IxxatFileImporterTest::sharedListIsLeftAlone()
{
    const SampleFile file("Time,ID,Data,x,y,z\n1.5,181,AA,x,y,z\n");
    const Frames before = frames({Frame(0x111)});
    Frames messages = before;
    Notes notes;
    QVERIFY(IxxatFileImporter(nullptr).importFile(file.path(), &messages, &notes));
    QCOMPARE(before, frames({Frame(0x111)}));
    QCOMPARE(messages.size(), 2);
}

void IxxatFileImporterTest::eachImportCountsFromZero()
{
    const SampleFile first("Time,ID,Data,x,y,z\n1.5,181,AA,x,y,z\n1.5,182,AA,x,y,z\n");
    const SampleFile second("ID;x;y;z;Data;Time\n183;x;y;z;BB;2.5\n");
    const SampleFile noHeader("1.5,181,AA,x,y,z\n");
    IxxatFileImporter importer(nullptr);
    Frames messages;
    Notes notes;
    QVERIFY(importer.importFile(first.path(), &messages, &notes));
    QVERIFY(importer.importFile(second.path(), &messages, &notes));
    QVERIFY(importer.parseFile(first.path()));
    const Frame a = Frame(0x181, "AA").at(1, 5000);
    const Frame b = Frame(0x182, "AA").at(1, 5000);
    QCOMPARE(messages, frames({Frame(a).index(0), Frame(b).index(1), Frame(0x183, "BB").at(2, 5000).index(0),
                               Frame(a).index(0), Frame(b).index(1)}));

    // Rows from outside go on where the file ended.
    QVERIFY(importer.importCANMsgLine(QStringLiteral("3.5,184,CC,x,y,z")));
    QCOMPARE(messages.last(), CanRxMessage(Frame(0x184, "CC").at(3, 5000).index(2)));

    // The columns of a file do not hold for the next one.
    QVERIFY(!importer.parseFile(noHeader.path()));
    QCOMPARE(messages.size(), 6);
    QCOMPARE(importer.getErrorString(), ErrorText::noColumns());
}

void IxxatFileImporterTest::leadingZeros_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("zero") << "0"
                          << "";
    QTest::newRow("zeros") << "000"
                           << "";
    QTest::newRow("08") << "08"
                        << "8";
    QTest::newRow("0010") << "0010"
                          << "10";
    QTest::newRow("inner") << "1001"
                           << "1001";
    QTest::newRow("prefix") << "0x10"
                            << "x10";
    QTest::newRow("blank before") << " 08"
                                  << " 08";
    QTest::newRow("sign before") << "-08"
                                 << "-08";
    QTest::newRow("blank behind") << "00 8"
                                  << " 8";
    QTest::newRow("letter O") << "O08"
                              << "O08";
    QTest::newRow("zero of another script") << QStringLiteral("\u06608") << QStringLiteral("\u06608");
}

void IxxatFileImporterTest::leadingZeros()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);

    const QString before = text;
    QString changed = text;
    IxxatFileImporter(nullptr).removeLeadingZeroes(changed);
    QCOMPARE(changed, expected);
    QCOMPARE(text, before);
}

void IxxatFileImporterTest::lineElements_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QChar>("separator");
    QTest::addColumn<QChar>("quote");
    QTest::addColumn<QStringList>("expected");

    const QChar comma = QLatin1Char(',');
    const QChar semicolon = QLatin1Char(';');
    const QChar quote = QLatin1Char('"');
    const auto list = [](std::initializer_list<const char *> texts) {
        QStringList result;
        for (const char *text : texts)
            result.append(QString::fromUtf8(text));
        return result;
    };
    QTest::newRow("empty") << "" << comma << quote << QStringList();
    QTest::newRow("one") << "a" << comma << quote << list({"a"});
    QTest::newRow("three") << "a,b,c" << comma << quote << list({"a", "b", "c"});
    QTest::newRow("other separator") << "a;b,c" << semicolon << quote << list({"a", "b,c"});
    QTest::newRow("empty last element") << "a,b," << comma << quote << list({"a", "b"});
    QTest::newRow("two empty last elements") << "a,b,," << comma << quote << list({"a", "b", ""});
    QTest::newRow("separator only") << "," << comma << quote << list({""});
    QTest::newRow("separators only") << ",,," << comma << quote << list({"", "", ""});
    QTest::newRow("empty first element") << ",a" << comma << quote << list({"", "a"});
    QTest::newRow("blanks stay") << " a , b " << comma << quote << list({" a ", " b "});
    QTest::newRow("blank as last element") << "a, " << comma << quote << list({"a", " "});
    QTest::newRow("quotes are dropped") << "\"a\",\"b\"" << comma << quote << list({"a", "b"});
    QTest::newRow("separator in quotes") << "\"a,b\",c" << comma << quote << list({"a,b", "c"});
    QTest::newRow("other separator in quotes") << "\"a;b\",c" << comma << quote << list({"a;b", "c"});
    QTest::newRow("quotes within an element") << "a\"b,c\"d,e" << comma << quote << list({"ab,cd", "e"});
    QTest::newRow("doubled quotes") << "\"a\"\"b\",c" << comma << quote << list({"ab", "c"});
    QTest::newRow("quotes with nothing in them") << "\"\",\"\"" << comma << quote << list({""});
    QTest::newRow("unfinished quotes") << "a,\"b,c,d" << comma << quote << list({"a", "b,c,d"});
    QTest::newRow("quotes finished later") << "a,\"b,c\"\",\"d" << comma << quote << list({"a", "b,c,d"});
    QTest::newRow("single quote at the end") << "a,\"" << comma << quote << list({"a"});
    QTest::newRow("quotes only") << "\"\"\"\"" << comma << quote << QStringList();
    QTest::newRow("other quote") << "'a,b',\"c" << comma << QChar(QLatin1Char('\'')) << list({"a,b", "\"c"});
    QTest::newRow("separator and quote the same") << "a,b,c" << comma << comma << list({"abc"});
    QTest::newRow("character 0") << QStringLiteral("a") + QChar(0) + QStringLiteral("b,c") << comma << quote
                                 << QStringList{QStringLiteral("a") + QChar(0) + QStringLiteral("b"),
                                                QStringLiteral("c")};
    QTest::newRow("other scripts") << QStringLiteral("\u20ac\uff0c\U0001F697,b") << comma << quote
                                   << QStringList{QStringLiteral("\u20ac\uff0c\U0001F697"), QStringLiteral("b")};
}

void IxxatFileImporterTest::lineElements()
{
    QFETCH(QString, line);
    QFETCH(QChar, separator);
    QFETCH(QChar, quote);
    QFETCH(QStringList, expected);

    QCOMPARE(IxxatFileImporter(nullptr).getLineElements(line, separator, quote), expected);
}

void IxxatFileImporterTest::timeTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("microseconds");

    QTest::newRow("time of day") << "12:01:05.250.125" << 43265 << 250125;
    QTest::newRow("leading zeros are decimal") << "08:09:08.008.009" << 29348 << 8009;
    QTest::newRow("short numbers") << "1:2:3.4.5" << 3723 << 4005;
    QTest::newRow("midnight") << "00:00:00.000.000" << 0 << 0;
    QTest::newRow("last microsecond of the day") << "23:59:59.999.999" << 86399 << 999999;
    QTest::newRow("more than a day") << "100:00:00.0.0" << 360000 << 0;
    QTest::newRow("more than a minute") << "00:90:90" << 5490 << 0;
    QTest::newRow("no microseconds") << "12:01:05.250" << 43265 << 250000;
    QTest::newRow("no milliseconds") << "12:01:05" << 43265 << 0;
    QTest::newRow("empty milliseconds") << "12:01:05..7" << 43265 << 7;
    QTest::newRow("no hours") << ":2:5" << 125 << 0;
    QTest::newRow("no minutes") << "1::5" << 3605 << 0;
    QTest::newRow("no seconds") << "1:2:" << 3720 << 0;
    QTest::newRow("only seconds behind colons") << "::5.6" << 5 << 6000;
    QTest::newRow("no seconds, but a fraction") << ".250.125" << 0 << 250125;
    QTest::newRow("microseconds only") << "..125" << 0 << 125;
    QTest::newRow("seconds") << "2457" << 2457 << 0;
    QTest::newRow("seconds and milliseconds") << "2457.5" << 2457 << 5000;
    QTest::newRow("seconds, milliseconds and microseconds") << "5.25.7" << 5 << 25007;
    QTest::newRow("fraction is not padded") << "1.05" << 1 << 5000;
    QTest::newRow("fraction of six digits") << "1.250125" << 1 << 250125000;
    QTest::newRow("microseconds of four digits") << "1.1.1000" << 1 << 2000;
    QTest::newRow("seconds with zeros") << "0010.010.010" << 10 << 10010;
    QTest::newRow("zero") << "0" << 0 << 0;
    QTest::newRow("empty") << "" << 0 << 0;
    QTest::newRow("points only") << ".." << 0 << 0;
    QTest::newRow("colons only") << "::" << 0 << 0;
    QTest::newRow("more points") << "1.2.3.4" << 1 << 2003;
    QTest::newRow("no number") << "x.y.z" << 0 << 0;
    QTest::newRow("one bad number") << "1:x:3.4" << 3603 << 4000;
    QTest::newRow("prefix loses its zero") << "0x10.5" << 0 << 5000;
    QTest::newRow("prefix loses its zero, hours") << "0x1:00:05" << 5 << 0;
    QTest::newRow("quotes are dropped") << "\"12:01:05.250.125\"" << 43265 << 250125;
    QTest::newRow("quotes within") << "1\"2:01\":05.2\"5\"0" << 43265 << 250000;
    QTest::newRow("quotes before zeros") << "\"0\"10\".5" << 10 << 5000;
    QTest::newRow("largest seconds") << "2147483647" << 2147483647 << 0;
    QTest::newRow("seconds that are not 32-bit") << "12345678901.5" << 0 << 5000;
    QTest::newRow("milliseconds that are not 32-bit") << "5.12345678901.7" << 5 << 7;
    QTest::newRow("comma is no point") << "1,5" << 0 << 0;
    QTest::newRow("colon in the milliseconds") << "1.2:3" << 1 << 0;
    QTest::newRow("blank before a number") << " 12" << QStringLiteral(" 12").toInt(nullptr, 0) << 0;
    QTest::newRow("blank before zeros") << " 08" << QStringLiteral(" 08").toInt(nullptr, 0) << 0;
    QTest::newRow("digits of another script")
        << QStringLiteral("\u0661\u0662") << QStringLiteral("\u0661\u0662").toInt(nullptr, 0) << 0;
}

void IxxatFileImporterTest::timeTexts()
{
    QFETCH(QString, text);
    QFETCH(int, seconds);
    QFETCH(int, microseconds);

    CanRxMessage message;
    message.timeStamp = CanTimeStamp(-7, -7);
    IxxatFileImporter(nullptr).convertTimestringAndSetToCanMsg(text, message);
    QCOMPARE(message, CanRxMessage(Frame().at(seconds, microseconds)));

    const bool isHalfQuoted = text.count(QLatin1Char('"')) % 2 != 0;
    if (text.startsWith(QLatin1Char(' ')) || text.contains(QLatin1Char(',')) || isHalfQuoted)
        return;
    sample.write("x,Time,ID,Data,y,z\nx," + text.toUtf8() + ",181,AA,y,z\n");
    QCOMPARE(importPath(sample.path()).messages, frames({Frame(0x181, "AA").at(seconds, microseconds)}));
}

void IxxatFileImporterTest::hugeAndShortTimesDoNoHarm_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text : {"2147483647:00:00", "0:2147483647:0", "2147483647:2147483647:2147483647", "1.2147483647",
                             "1.2147483647.2147483647", "4294967295", "4294967295:0:0", "12:30", "12:", ":",
                             ":::", "1:2:3:4.5.6", "12:30.5"})
        QTest::newRow(text) << QString::fromUtf8(text);
}

void IxxatFileImporterTest::hugeAndShortTimesDoNoHarm()
{
    QFETCH(QString, text);

    // The time itself is anything.
    CanRxMessage message = Frame(0x181);
    IxxatFileImporter(nullptr).convertTimestringAndSetToCanMsg(text, message);
    message.timeStamp = CanTimeStamp();
    QCOMPARE(message, CanRxMessage(Frame(0x181)));

    sample.write("x,Time,ID,Data,y,z\nx," + text.toUtf8() + ",181,AA,y,z\n");
    const Imported imported = importPath(sample.path());
    QVERIFY(imported.succeeded);
    QCOMPARE(imported.messages.size(), 1);
    QCOMPARE(imported.messages.first().id, 0x181U);
}

void IxxatFileImporterTest::timeTextsKeepTheRestOfTheMessage()
{
    Frame frame = Frame(0x12345, "01 02 03").extended().remote().fd().esi().brs().tx().channel(5).index(9);
    CanRxMessage message = frame;
    IxxatFileImporter(nullptr).convertTimestringAndSetToCanMsg(QStringLiteral("1:2:3.4.5"), message);
    QCOMPARE(message, CanRxMessage(frame.at(3723, 4005)));
}

void IxxatFileImporterTest::addedMessageIsCopiedAsItIs()
{
    OpenImporter importer;
    const CanRxMessage message =
        Frame(0x1FFFFFFF, "01 02").dlc(200).at(-1, 7).extended().remote().fd().esi().brs().tx().channel(3).index(77);
    importer->addMessageToMessageList(message);
    QCOMPARE(importer.messages.size(), 1);
    QCOMPARE(importer.messages.at(0), message);

    setUsualColumns(importer);
    QVERIFY(importer->importCANMsgLine(QStringLiteral("1,1,0,Std,181,1,Std,AA")));
    QCOMPARE(importer.messages.last(), CanRxMessage(Frame(0x181, "AA").index(0)));
}

void IxxatFileImporterTest::rows_data()
{
    addRowColumns();

    const Frame usual = Frame(0x181, "0A 0B").at(43265, 250125);
    QTest::newRow("frame") << "1,1,12:01:05.250.125,Std,181,2,Std,0A 0B" << frames({usual});
    QTest::newRow("all quoted") << "\"1\",\"1\",\"12:01:05.250.125\",\"Std\",\"181\",\"2\",\"Std\",\"0A 0B\""
                                << frames({usual});
    QTest::newRow("separator in quotes") << "1,\"a,b,c\",12:01:05.250.125,Std,181,2,Std,0A 0B" << frames({usual});
    QTest::newRow("other separator is text") << "1;1,a;b,12:01:05.250.125,;,181,2,Std,0A 0B" << frames({usual});
    QTest::newRow("further elements") << "1,1,12:01:05.250.125,Std,181,2,Std,0A 0B,x,y,z" << frames({usual});
    QTest::newRow("empty elements") << ",,12:01:05.250.125,,181,2,,0A 0B" << frames({usual});
    QTest::newRow("white space around the row")
        << " \t 1,1,12:01:05.250.125,Std,181,2,Std,0A 0B \t\r" << frames({usual});
    QTest::newRow("white space between the bytes")
        << "1,1,12:01:05.250.125,Std,181,2,Std,0A \t\r 0B" << frames({usual});
    QTest::newRow("type is not looked at") << "1,1,12:01:05.250.125,E,181,2,Ext,0A 0B" << frames({usual});
    QTest::newRow("29-bit identifier is not marked")
        << "1,1,0,Std,18FF1234,1,Std,AA" << frames({Frame(0x18FF1234, "AA")});
    QTest::newRow("largest identifier") << "1,1,0,Std,FFFFFFFF,1,Std,AA" << frames({Frame(0xFFFFFFFF, "AA")});
    QTest::newRow("identifier in lower case") << "1,1,0,Std,1aB,1,Std,AA" << frames({Frame(0x1AB, "AA")});
    QTest::newRow("bad identifier") << "1,1,0,Std,181h,1,Std,AA" << frames();
    QTest::newRow("empty identifier") << "1,1,0,Std,,1,Std,AA" << frames();
    QTest::newRow("identifier that is not 32-bit") << "1,1,0,Std,123456789,1,Std,AA" << frames();
    QTest::newRow("identifier with quotes within") << "1,1,0,Std,1\"8\"1,1,Std,AA" << frames({Frame(0x181, "AA")});
    bool isNumber = false;
    quint32 id = QStringLiteral("0x181").toUInt(&isNumber, 16);
    QTest::newRow("identifier with prefix")
        << "1,1,0,Std,0x181,1,Std,AA" << (isNumber ? frames({Frame(id, "AA")}) : frames());
    id = QStringLiteral(" 181").toUInt(&isNumber, 16);
    QTest::newRow("identifier after a blank")
        << "1,1,0,Std, 181,1,Std,AA" << (isNumber ? frames({Frame(id, "AA")}) : frames());
    id = QStringLiteral("181 ").toUInt(&isNumber, 16);
    QTest::newRow("identifier before a blank")
        << "1,1,0,Std,181 ,1,Std,AA" << (isNumber ? frames({Frame(id, "AA")}) : frames());

    // The number of bytes is the length, whatever the length column says.
    QTest::newRow("length too large") << "1,1,0,Std,181,8,Std,AA BB" << frames({Frame(0x181, "AA BB")});
    QTest::newRow("length too small") << "1,1,0,Std,181,0,Std,AA BB" << frames({Frame(0x181, "AA BB")});
    QTest::newRow("bad length") << "1,1,0,Std,181,x,Std,AA BB" << frames({Frame(0x181, "AA BB")});
    QTest::newRow("empty length") << "1,1,0,Std,181,,Std,AA BB" << frames({Frame(0x181, "AA BB")});
    QTest::newRow("bad byte") << "1,1,0,Std,181,3,Std,AA XX CC" << frames({Frame(0x181, "AA 00 CC")});
    QTest::newRow("byte above 255") << "1,1,0,Std,181,2,Std,1FF 12345678" << frames({Frame(0x181, "FF 78")});
    QTest::newRow("byte that is not 32-bit") << "1,1,0,Std,181,1,Std,123456789" << frames({Frame(0x181, "00")});
    QTest::newRow("byte of one digit") << "1,1,0,Std,181,2,Std,A b" << frames({Frame(0x181, "0A 0B")});
    QTest::newRow("text as data") << "1,1,0,Std,181,2,Std,no data here" << frames({Frame(0x181, "00 00 00")});
    // A blank at the end of the data element separates one more, empty byte.
    QTest::newRow("blank before the data") << "1,1,0,Std,181,2,Std, AA BB" << frames({Frame(0x181, "00 AA BB")});
    QTest::newRow("blank behind the data") << "1,1,0,Std,181,2,Std,AA BB ,x" << frames({Frame(0x181, "AA BB 00")});
    QTest::newRow("blank as data") << "1,1,0,Std,181,2,Std, ,x" << frames({Frame(0x181, "00 00")});
    QTest::newRow("blanks in quotes") << "1,1,0,Std,181,2,Std,\" AA  BB \"" << frames({Frame(0x181, "00 AA BB 00")});
    QTest::newRow("empty data element") << "1,1,0,Std,181,0,Std,,x" << frames({Frame(0x181, "00")});
    QTest::newRow("empty last data element") << "1,1,0,Std,181,0,Std," << frames();
    QTest::newRow("empty data element in quotes") << "1,1,0,Std,181,0,Std,\"\"" << frames();
    for (const int count : {63, 64, 65, 100, 255, 256, 300}) {
        QTest::addRow("%d bytes", count)
            << QStringLiteral("1,1,0,Std,181,8,Std,%1").arg(countedTokens(count).mid(1))
            << frames({Frame(0x181).bytes(countedBytes(qMin(count, 64))).dlc(static_cast<quint8>(count))});
    }

    QTest::newRow("remote") << "1,1,0,Std,181,4,Std,Remote Frame" << frames({Frame(0x181).dlc(4).remote()});
    QTest::newRow("remote in quotes") << "1,1,0,Std,181,4,Std,\"Remote Frame\""
                                      << frames({Frame(0x181).dlc(4).remote()});
    QTest::newRow("remote with more text")
        << "1,1,0,Std,181,4,Std,AA xRemote Framex BB" << frames({Frame(0x181).dlc(4).remote()});
    QTest::newRow("remote, white space within")
        << "1,1,0,Std,181,4,Std,Remote \t Frame" << frames({Frame(0x181).dlc(4).remote()});
    QTest::newRow("remote, blanks in quotes")
        << "1,1,0,Std,181,4,Std,\"Remote  Frame\"" << frames({Frame(0x181).dlc(4).remote()});
    QTest::newRow("remote, length 0") << "1,1,0,Std,181,0,Std,Remote Frame" << frames({Frame(0x181).remote()});
    QTest::newRow("remote, length 255") << "1,1,0,Std,181,255,Std,Remote Frame"
                                        << frames({Frame(0x181).dlc(255).remote()});
    QTest::newRow("remote, length 300") << "1,1,0,Std,181,300,Std,Remote Frame"
                                        << frames({Frame(0x181).dlc(44).remote()});
    QTest::newRow("remote, bad length") << "1,1,0,Std,181,x,Std,Remote Frame" << frames({Frame(0x181).remote()});
    QTest::newRow("remote, decimal length")
        << "1,1,0,Std,181,010,Std,Remote Frame" << frames({Frame(0x181).dlc(10).remote()});
    QTest::newRow("remote in lower case") << "1,1,0,Std,181,4,Std,remote frame" << frames({Frame(0x181, "00 00")});
    QTest::newRow("remote in another column") << "1,1,0,Remote Frame,181,4,Std,AA" << frames({Frame(0x181, "AA")});

    QTest::newRow("one element") << "x" << frames();
    QTest::newRow("five elements") << "1,1,0,Std,181" << frames();
    // A row that ends before a column that it needs is no frame.
    QTest::newRow("six elements") << "1,1,0,Std,181,2" << frames();
    QTest::newRow("seven elements") << "1,1,0,Std,181,2,Std" << frames();
    QTest::newRow("separators only") << ",,,,,,,,,," << frames();
    QTest::newRow("unfinished quotes") << "1,1,0,\"Std,181,2,Std,0A 0B" << frames();
    QTest::newRow("other separator") << "1;1;0;Std;181;2;Std;0A 0B" << frames();
    QTest::newRow("character 0 is no blank")
        << QStringLiteral("1,1,0,Std,181,2,Std,0A") + QChar(0) + QStringLiteral("0B CC")
        << frames({Frame(0x181).dlc(2).bytes(QByteArray::fromHex("00 CC"))});
}

void IxxatFileImporterTest::rows()
{
    QFETCH(QString, row);
    QFETCH(Frames, expected);

    sample.write((usualHeader + QLatin1Char('\n') + row + QLatin1Char('\n')).toUtf8());
    QCOMPARE(importPath(sample.path()), (Imported{true, expected, {}, ErrorText::none()}));

    OpenImporter importer;
    setUsualColumns(importer);
    QVERIFY(importer->importCANMsgLine(row.simplified()));
    QCOMPARE(importer.messages, expected);
}

void IxxatFileImporterTest::rowsFromOutside_data()
{
    addRowColumns();

    // What comes from outside is taken as it is, white space included.
    QTest::newRow("blanks between the bytes") << "1,1,0,Std,181,2,Std,AA  BB" << frames({Frame(0x181, "AA 00 BB")});
    QTest::newRow("blank at the end") << "1,1,0,Std,181,2,Std,AA " << frames({Frame(0x181, "AA 00")});
    QTest::newRow("remote with two blanks")
        << "1,1,0,Std,181,2,Std,Remote  Frame" << frames({Frame(0x181, "00 00 00")});
    QTest::newRow("tab between the bytes")
        << "1,1,0,Std,181,2,Std,AA\tBB"
        << frames({Frame(0x181).bytes(QByteArray(1, static_cast<char>(QStringLiteral("AA\tBB").toUInt(nullptr, 16))))});
    QTest::newRow("empty") << "" << frames();
    QTest::newRow("header row") << usualHeader << frames();
    QTest::newRow("no bytes, but a header's words") << "ID,Time,0,Std,181,2,Data,AA" << frames({Frame(0x181, "AA")});
}

void IxxatFileImporterTest::rowsFromOutside()
{
    QFETCH(QString, row);
    QFETCH(Frames, expected);

    OpenImporter importer;
    setUsualColumns(importer);
    QVERIFY(importer->importCANMsgLine(row));
    QCOMPARE(importer.messages, expected);
    QCOMPARE(importer->getErrorString(), ErrorText::none());
}

void IxxatFileImporterTest::rowsByTheDefaultColumns_data()
{
    addRowColumns();

    QTest::newRow("standard") << "1,1,1.5,Std,181,2,x,0A 0B" << frames({Frame(0x181, "0A 0B").at(1, 5000)});
    QTest::newRow("extended") << "1,1,1.5,E,181,2,x,0A 0B" << frames({Frame(0x181, "0A 0B").at(1, 5000).extended()});
    QTest::newRow("type that holds an E")
        << "1,1,1.5,xExt,181,2,x,0A 0B" << frames({Frame(0x181, "0A 0B").at(1, 5000).extended()});
    QTest::newRow("e in lower case") << "1,1,1.5,ext,181,2,x,0A 0B" << frames({Frame(0x181, "0A 0B").at(1, 5000)});
    QTest::newRow("large identifier alone is not extended")
        << "1,1,1.5,Std,18FF1234,2,x,0A 0B" << frames({Frame(0x18FF1234, "0A 0B").at(1, 5000)});
    QTest::newRow("remote") << "1,1,1.5,Ext,181,4,x,Remote Frame"
                            << frames({Frame(0x181).dlc(4).at(1, 5000).extended().remote()});
    QTest::newRow("too short") << "1,1,1.5,Ext,181,4,x" << frames();
}

void IxxatFileImporterTest::rowsByTheDefaultColumns()
{
    QFETCH(QString, row);
    QFETCH(Frames, expected);

    OpenImporter importer;
    importer->resetColumnsPos();
    importer->setDefaultColumns();
    QVERIFY(importer->importCANMsgLine(row));
    QCOMPARE(importer.messages, expected);

    // A header row moves the others and leaves the type where it is.
    importer->getColumnsFromLine(QStringLiteral("x,Time,y,Type,Data,DLC,z,ID"));
    QVERIFY(importer->importCANMsgLine(QStringLiteral("x,2.5,y,E,AA,1,z,300")));
    QCOMPARE(importer.messages.last(),
             CanRxMessage(Frame(0x300, "AA").at(2, 5000).extended().index(static_cast<quint32>(expected.size()))));

    // Reading a file does not.
    const SampleFile file((usualHeader + QLatin1String("\n1,1,1.5,E,181,2,x,0A 0B\n")).toUtf8());
    QVERIFY(importer->parseFile(file.path()));
    QCOMPARE(importer.messages.last(), CanRxMessage(Frame(0x181, "0A 0B").at(1, 5000)));
}

void IxxatFileImporterTest::resetColumnsMakeRowsPassOver()
{
    const QString row = QStringLiteral("1,1,1.5,Std,181,2,x,0A 0B");
    OpenImporter importer;
    importer->setDefaultColumns();
    QVERIFY(importer->importCANMsgLine(row));
    QCOMPARE(importer.messages.size(), 1);
    importer->resetColumnsPos();
    QVERIFY(importer->importCANMsgLine(row));
    QCOMPARE(importer.messages.size(), 1);
    QCOMPARE(importer->getErrorString(), ErrorText::none());
}

void IxxatFileImporterTest::headerRows_data()
{
    QTest::addColumn<QString>("header");
    QTest::addColumn<QString>("row");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<Frames>("expected");

    const Frames one = frames({Frame(0x181, "0A 0B").at(1, 5000)});
    QTest::newRow("three columns") << "Time,ID,Data"
                                   << "1.5,181,0A 0B,x,y,z" << true << one;
    QTest::newRow("other order") << "Data,ID,Time"
                                 << "0A 0B,181,1.5,x,y,z" << true << one;
    QTest::newRow("far columns") << "a,b,c,d,e,f,g,Time,h,ID,i,Data"
                                 << "1,2,3,4,5,6,7,1.5,8,181,9,0A 0B" << true << one;
    QTest::newRow("semicolons") << "Time;ID;Data"
                                << "1.5;181;0A 0B;x;y;z" << true << one;
    QTest::newRow("more semicolons than commas") << "Time, of day;ID;Data"
                                                 << "1.5;181;0A 0B;x;y;z" << true << one;
    QTest::newRow("deciding semicolon first") << ";Time;ID;Data,x,y"
                                              << "7;1.5;181;0A 0B;x;y" << true << one;
    QTest::newRow("deciding semicolon last") << "Time;ID;Data,x,y;"
                                             << "1.5;181;0A 0B;x;y;z" << true << one;
    QTest::newRow("comma first") << ",Time,ID,Data"
                                 << "7,1.5,181,0A 0B,x,y" << true << one;
    QTest::newRow("more commas than semicolons") << "Time;x,ID,Data"
                                                 << "1.5,181,0A 0B,x,y,z" << true << one;
    QTest::newRow("as many semicolons as commas: commas") << "x;y;Time,ID,Data"
                                                          << "1.5,181,0A 0B,x,y,z" << true << one;
    QTest::newRow("as many commas as semicolons, semicolons last") << "Time,ID,Data;x;y"
                                                                   << "1.5,181,0A 0B,x,y,z" << true << one;
    QTest::newRow("separators in quotes count") << "\"Time;;;;\",ID,Data"
                                                << "1.5,181,0A 0B,x,y,z" << false << frames();
    QTest::newRow("quotes do not hold a name together") << "\"a,b\",Time,ID,Data"
                                                        << "1,2,1.5,181,0A 0B,x" << true << one;
    QTest::newRow("quoted names") << "\"Time\",\"ID\",\"Data\""
                                  << "1.5,181,0A 0B,x,y,z" << true << one;
    QTest::newRow("longer names") << "xTimex,xIDx,xDatax"
                                  << "1.5,181,0A 0B,x,y,z" << true << one;
    QTest::newRow("blanks around the names") << "  Time , ID ,\tData "
                                             << "1.5,181,0A 0B,x,y,z" << true << one;
    QTest::newRow("white space within names") << "Time\tstamp,ID \t (hex),Data"
                                              << "1.5,181,0A 0B,x,y,z" << true << one;

    QTest::newRow("node identifier is not the identifier") << "Time,Node ID,ID,Data"
                                                           << "1.5,7,181,0A 0B,x,y" << true << one;
    QTest::newRow("node identifier behind") << "Time,ID,ID of the Node,Data"
                                            << "1.5,181,7,0A 0B,x,y" << true << one;
    QTest::newRow("node identifier alone") << "Time,Node ID,Data"
                                           << "1.5,181,0A 0B,x,y,z" << false << frames();
    QTest::newRow("node in lower case") << "Time,node ID,Data"
                                        << "1.5,181,0A 0B,x,y,z" << true << one;
    QTest::newRow("node identifier that names data") << "Time,ID,Node ID Data"
                                                     << "1.5,181,0A 0B,x,y,z" << true << one;
    QTest::newRow("node without identifier") << "Node,Time,ID,Data"
                                             << "7,1.5,181,0A 0B,x,y" << true << one;
    QTest::newRow("time comes before the identifier") << "Time ID,ID,Data"
                                                      << "1.5,181,0A 0B,x,y,z" << true << one;
    QTest::newRow("identifier comes before the data") << "Time,Data ID,Data"
                                                      << "1.5,181,0A 0B,x,y,z" << true << one;
    QTest::newRow("length comes before the data") << "Time,ID,DLC Data,Data"
                                                  << "1.5,181,9,0A 0B,x,y" << true << one;
    QTest::newRow("identifier comes before the length") << "Time,ID DLC,Data"
                                                        << "1.5,181,0A 0B,x,y,z" << true << one;

    QTest::newRow("two times: the last") << "Time,Time of day,ID,Data"
                                         << "7,1.5,181,0A 0B,x,y" << true << one;
    QTest::newRow("the same time twice: the first") << "Time,x,Time,ID,Data"
                                                    << "1.5,x,7,181,0A 0B,y" << true << one;
    QTest::newRow("two identifiers: the last") << "Time,ID,ID (hex),Data"
                                               << "1.5,7,181,0A 0B,x,y" << true << one;
    QTest::newRow("the same identifier twice: the first") << "ID,Time,ID,Data"
                                                          << "181,1.5,7,0A 0B,x,y" << true << one;
    QTest::newRow("two identifiers, then the first again") << "ID,Time,ID (hex),ID,Data"
                                                           << "181,1.5,7,8,0A 0B,x" << true << one;
    QTest::newRow("two data columns: the last") << "Time,ID,Data,Data 2"
                                                << "1.5,181,7,0A 0B,x,y" << true << one;
    QTest::newRow("the same data column twice: the first") << "Time,ID,Data,Data"
                                                           << "1.5,181,0A 0B,7,x,y" << true << one;
    QTest::newRow("names that differ in blanks only") << "Time,ID,Data, Data"
                                                      << "1.5,181,7,0A 0B,x,y" << true << one;

    const Frames remote = frames({Frame(0x181).dlc(4).at(1, 5000).remote()});
    QTest::newRow("length column") << "DLC,Time,ID,Data"
                                   << "4,1.5,181,Remote Frame,x,y" << true << remote;
    QTest::newRow("no length column") << "x,Time,ID,Data"
                                      << "4,1.5,181,Remote Frame,x,y" << true
                                      << frames({Frame(0x181).at(1, 5000).remote()});
    QTest::newRow("length column in lower case")
        << "dlc,Time,ID,Data"
        << "4,1.5,181,Remote Frame,x,y" << true << frames({Frame(0x181).at(1, 5000).remote()});
    QTest::newRow("two length columns: the last") << "DLC,DLC (dec),Time,ID,Data"
                                                  << "9,4,1.5,181,Remote Frame,x" << true << remote;
    QTest::newRow("length column past the end") << "Time,ID,Data,x,y,z,DLC"
                                                << "1.5,181,0A 0B,x,y,z" << true << frames();
    QTest::newRow("time past the end") << "ID,Data,u,v,w,x,y,Time"
                                       << "181,0A 0B,u,v,w,x,y" << true << frames();
    QTest::newRow("identifier past the end") << "Time,Data,u,v,w,x,y,ID"
                                             << "1.5,0A 0B,u,v,w,x,y" << true << frames();
    QTest::newRow("data past the end") << "Time,ID,u,v,w,x,y,Data"
                                       << "1.5,181,u,v,w,x,y" << true << frames();

    QTest::newRow("one name with all words") << "Time ID Data"
                                             << "1.5,181,0A 0B,x,y,z" << false << frames();
    QTest::newRow("identifier in the time's name") << "Time ID,Data,x"
                                                   << "1.5,181,0A 0B,x,y,z" << false << frames();
    QTest::newRow("data in the identifier's name") << "Time,ID Data,x"
                                                   << "1.5,181,0A 0B,x,y,z" << false << frames();
    QTest::newRow("other separator") << "Time\tID\tData"
                                     << "1.5\t181\t0A 0B\tx\ty\tz" << false << frames();
}

void IxxatFileImporterTest::headerRows()
{
    QFETCH(QString, header);
    QFETCH(QString, row);
    QFETCH(bool, valid);
    QFETCH(Frames, expected);

    sample.write((header + QLatin1Char('\n') + row + QLatin1Char('\n')).toUtf8());
    QCOMPARE(importPath(sample.path()),
             (Imported{valid, expected, {}, valid ? ErrorText::none() : ErrorText::noColumns()}));

    OpenImporter importer;
    importer->resetColumnsPos();
    importer->getColumnsFromLine(header);
    if (valid) {
        QVERIFY(importer->importCANMsgLine(row.simplified()));
        QCOMPARE(importer.messages, expected);
    }
}

void IxxatFileImporterTest::wideHeaderRows_data()
{
    QTest::addColumn<QString>("header");
    QTest::addColumn<QString>("row");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<Frames>("expected");

    const Frames one = frames({Frame(0x181, "0A 0B").at(1, 5000)});
    const QString commas(256, QLatin1Char(','));
    const QString other = QStringLiteral("x,");
    QTest::newRow("128 columns") << other.repeated(125) + QStringLiteral("Time,ID,Data")
                                 << other.repeated(125) + QStringLiteral("1.5,181,0A 0B") << true << one;
    QTest::newRow("needed columns first") << QStringLiteral("Time,ID,Data,") + other.repeated(200)
                                          << QStringLiteral("1.5,181,0A 0B,x,y,z") << true << one;
    // Separators are counted in eight bits.
    QTest::newRow("256 commas and two semicolons")
        << QStringLiteral("Time;ID;Data") + commas << "1.5;181;0A 0B;x;y;z" << true << one;
    QTest::newRow("257 commas and two semicolons")
        << QStringLiteral("Time;ID;Data,") + commas << "1.5;181;0A 0B;x;y;z" << true << one;
    QTest::newRow("258 commas and two semicolons")
        << QStringLiteral("Time,ID,Data;;") + commas << "1.5,181,0A 0B,x,y,z" << true << one;
    QTest::newRow("256 semicolons and two commas")
        << QStringLiteral("Time,ID,Data") + QString(256, QLatin1Char(';')) << "1.5,181,0A 0B,x,y,z" << true << one;
}

void IxxatFileImporterTest::wideHeaderRows()
{
    headerRows();
}

void IxxatFileImporterTest::columnPositionsAreSignedBytes_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("Time") << "Time";
    QTest::newRow("ID") << "ID";
    QTest::newRow("Data") << "Data";
    QTest::newRow("DLC") << "DLC";
}

void IxxatFileImporterTest::columnPositionsAreSignedBytes()
{
    QFETCH(QString, name);

    // Every element reads as a number.
    const QString row = QStringList(QVector<QString>(400, QStringLiteral("1")).toList()).join(QLatin1Char(','));
    const auto headerWith = [&name](int position) {
        QStringList names{QStringLiteral("x"), QStringLiteral("Time"), QStringLiteral("ID"), QStringLiteral("Data")};
        const int own = names.indexOf(name);
        if (own >= 0)
            names[own] = QStringLiteral("y");
        while (names.size() < position)
            names.append(QStringLiteral("x"));
        names.append(name);
        return names.join(QLatin1Char(','));
    };

    for (const int position : {4, 127, 128, 200, 254, 255, 256, 300}) {
        sample.write((headerWith(position) + QLatin1Char('\n') + row + QLatin1Char('\n')).toUtf8());
        const Imported imported = importPath(sample.path());
        const Frames one = frames({Frame(1, "01").at(1, 0)});
        if (position == 255 && name != QLatin1String("DLC")) {
            // 255 reads as -1, which stands for a column that is not there.
            QCOMPARE(imported, (Imported{false, {}, {}, ErrorText::noColumns()}));
        } else if (position > 127 && position < 255) {
            // A place before the row. Without the length the row is a frame as well.
            QVERIFY(imported.succeeded);
            QVERIFY(imported.messages.isEmpty() || (name == QLatin1String("DLC") && imported.messages == one));
        } else {
            QCOMPARE(imported, (Imported{true, one, {}, ErrorText::none()}));
        }
    }
}

void IxxatFileImporterTest::separatorStaysWithoutOneInTheHeader()
{
    OpenImporter importer;
    importer->setDefaultColumns();
    importer->getColumnsFromLine(QStringLiteral("a;b"));
    QVERIFY(importer->importCANMsgLine(QStringLiteral("1;1;1.5;Std;181;2;x;0A 0B")));
    QCOMPARE(importer.messages, frames({Frame(0x181, "0A 0B").at(1, 5000)}));
    importer->getColumnsFromLine(QStringLiteral("no separator"));
    QVERIFY(importer->importCANMsgLine(QStringLiteral("1;1;1.5;Std;182;2;x;0A 0B")));
    importer->resetColumnsPos();
    importer->setDefaultColumns();
    QVERIFY(importer->importCANMsgLine(QStringLiteral("1;1;1.5;Std;183;2;x;0A 0B")));
    QCOMPARE(importer.messages.size(), 3);
    importer->getColumnsFromLine(QStringLiteral("a;b,c"));
    QVERIFY(importer->importCANMsgLine(QStringLiteral("1;1;1.5;Std;184;2;x;0A 0B")));
    QCOMPARE(importer.messages.size(), 3);
    QVERIFY(importer->importCANMsgLine(QStringLiteral("1,1,1.5,Std,184,2,x,0A 0B")));
    QCOMPARE(importer.messages.size(), 4);
}

void IxxatFileImporterTest::headerKeepsColumnsThatItDoesNotName()
{
    OpenImporter importer;
    importer->resetColumnsPos();
    importer->getColumnsFromLine(QStringLiteral("Time,DLC,x,ID,Data"));
    QVERIFY(importer->importCANMsgLine(QStringLiteral("1.5,4,x,181,Remote Frame,y")));
    importer->getColumnsFromLine(QStringLiteral("ID,y"));
    QVERIFY(importer->importCANMsgLine(QStringLiteral("0182,4,x,y,Remote Frame,z")));
    QCOMPARE(importer.messages,
             frames({Frame(0x181).dlc(4).at(1, 5000).remote(), Frame(0x182).dlc(4).at(182, 0).remote()}));
}

void IxxatFileImporterTest::files_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("succeeded");
    QTest::addColumn<bool>("hasErrorText");
    QTest::addColumn<Frames>("expected");

    const QByteArray header("Time,ID,Data,x,y,z\n");
    const QByteArray first("1.5,181,AA,x,y,z\n");
    const QByteArray second("2.5,182,BB,x,y,z\n");
    const Frames both = frames({Frame(0x181, "AA").at(1, 5000), Frame(0x182, "BB").at(2, 5000)});
    QTest::newRow("header and rows") << header + first + second << true << false << both;
    QTest::newRow("empty") << QByteArray() << true << false << frames();
    QTest::newRow("header only") << header << true << false << frames();
    QTest::newRow("header without line end") << header.chopped(1) << true << false << frames();
    QTest::newRow("blank lines") << header + "\n \t\n" + first + "\r\n\v\f\n\xc2\xa0\n" + second + "  " << true << false
                                 << both;
    QTest::newRow("rows that are no frames")
        << header + "x\n" + first + "# comment\n1.5,xyz,AA,x,y,z\n" + second + "1.5,181,AA\n"
        << true << false << both;

    // What comes before the header leaves its mark even when all goes well.
    QTest::newRow("blank line before the header") << "\n" + header + first + second << true << true << both;
    QTest::newRow("text before the header") << "Trace of the day\n" + header + first + second << true << true << both;
    QTest::newRow("row before the header") << first + header + first + second << true << true << both;
    QTest::newRow("row before the header, then no frame") << first + header + "x\n" << true << true << frames();
    QTest::newRow("blank line only") << QByteArray("\n") << false << true << frames();
    QTest::newRow("row only") << first << false << true << frames();
    QTest::newRow("row only, no line end") << first.chopped(1) << false << true << frames();
    QTest::newRow("row before the header only") << first + header << false << true << frames();
    QTest::newRow("row before the header, then blank lines") << first + header + "\n \n\t\n"
                                                             << false << true << frames();
    QTest::newRow("header that does not name all columns")
        << "Time,Node ID,Data\n" + first + second << false << true << frames();
    QTest::newRow("header that does not name all columns, alone")
        << QByteArray("Time,Node ID,Data\n") << true << false << frames();
    QTest::newRow("useless header, then a good one")
        << "Time,Node ID,Data\n" + first + header + first + second << true << true << both;
    QTest::newRow("useless header, then a good one, no line between")
        << "Time,Node ID,Data\n" + header + first + second << true << false << both;
    QTest::newRow("words of the header in other case") << "time,id,data,x,y,z\n" + first << false << true << frames();
    QTest::newRow("header without Time") << "time,ID,Data,x,y,z\n" + first << false << true << frames();
    QTest::newRow("header without ID") << "Time,Id,Data,x,y,z\n" + first << false << true << frames();
    QTest::newRow("header without Data") << "Time,ID,DATA,x,y,z\n" + first << false << true << frames();

    QTest::newRow("header again") << header + first + header + second << true << false << both;
    QTest::newRow("other columns in mid-file") << header + first + "x,y,z,Data,ID,Time\nx,y,z,BB,182,2.5\n"
                                               << true << false << both;
    QTest::newRow("other separator in mid-file") << header + first + "Time;ID;Data\n2.5;182;BB;x;y;z\n"
                                                 << true << false << both;
    QTest::newRow("other separator and back")
        << "Time;ID;Data\n1.5;181;AA;x;y;z\n" + header + second << true << false << both;
    QTest::newRow("former columns stay for what is not named")
        << QByteArray("Node ID,Time,Data\nID;TimeData\n181;1.5;AA;x;y;z\n182;2.5;BB;x;y;z\n") << true << false << both;
    QTest::newRow("useless header in mid-file changes what it names")
        << header + first + "x,y,Data ID Time\n0,182,2.5,x,y,z\n"
        << true << false << frames({Frame(0x181, "AA").at(1, 5000), Frame(0x182, "00").at(2, 5000)});
    QTest::newRow("length column stays") << QByteArray(
        "Time,ID,Data,DLC,y,z\nTime,ID,Data,x,y,z\n1.5,181,Remote Frame,4,y,z\n")
                                         << true << false << frames({Frame(0x181).dlc(4).at(1, 5000).remote()});
    QTest::newRow("row with the words of a header")
        << header + first + "2.5,182,BB,ID,Time,Data\n" + "2.5,181,AA,5,6,7\n"
        << true << false << frames({Frame(0x181, "AA").at(1, 5000), Frame(5, "07").at(6, 0)});

    QTest::newRow("lone CR does not end a line") << header + "1.5,181,AA\r,x,y,z\n"
                                                 << true << false << frames({Frame(0x181, "AA 00").at(1, 5000)});
    QTest::newRow("lone CR in the header")
        << QByteArray("Time,ID,Data\r,x,y,z\n") + first + second << true << false << both;
}

void IxxatFileImporterTest::files()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, succeeded);
    QFETCH(bool, hasErrorText);
    QFETCH(Frames, expected);

    sample.write(content);
    QCOMPARE(importPath(sample.path()),
             (Imported{succeeded, expected, {}, hasErrorText ? ErrorText::noColumns() : ErrorText::none()}));
}

void IxxatFileImporterTest::errorTextStaysAfterSuccess()
{
    const SampleFile bad("x\n");
    const SampleFile good("Time,ID,Data,x,y,z\n1.5,181,AA,x,y,z\n");
    IxxatFileImporter importer(nullptr);
    Frames messages;
    Notes notes;
    QVERIFY(!importer.importFile(bad.path(), &messages, &notes));
    QCOMPARE(importer.getErrorString(), ErrorText::noColumns());
    QVERIFY(importer.importFile(good.path(), &messages, &notes));
    QVERIFY(!importer.importFile(good.path() + QLatin1String(".missing"), &messages, &notes));
    QCOMPARE(importer.getErrorString(), ErrorText::noColumns());
    QCOMPARE(messages.size(), 1);
}

void IxxatFileImporterTest::encodings_data()
{
    addEncodingRows(QStringLiteral("Time \u20ac,ID,Data,\U0001F697,y,z\n1.5,181,AA,x,y,z\n2.5,182,BB,\u20ac,y,z\n"));
}

void IxxatFileImporterTest::encodings()
{
    QFETCH(QByteArray, content);

    sample.write(content);
    QCOMPARE(
        importPath(sample.path()),
        (Imported{
            true, frames({Frame(0x181, "AA").at(1, 5000), Frame(0x182, "BB").at(2, 5000)}), {}, ErrorText::none()}));
}

void IxxatFileImporterTest::membersReadWhatTheFileReaderReads()
{
    OpenImporter importer;
    setUsualColumns(importer);
    const QStringList lines = QStringList{usualHeader} + goodLines;
    for (const QString &line : lines) {
        if (line.contains(QLatin1String("Time")))
            importer->getColumnsFromLine(line);
        else
            QVERIFY(importer->importCANMsgLine(line));
    }
    QCOMPARE(importer.messages.size(), 4);
    const SampleFile file(lines.join(QLatin1Char('\n')).toUtf8());
    QCOMPARE(importPath(file.path()), (Imported{true, importer.messages, {}, ErrorText::none()}));
}

void IxxatFileImporterTest::randomLinesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 4; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void IxxatFileImporterTest::randomLinesReadAsThePlainRulesSay()
{
    QFETCH(quint32, seed);

    RandomLines lines(seed, goodLines, lineTokens, lineSeparators);
    OpenImporter importer;
    PlainRules rules;
    importer->resetColumnsPos();
    importer->setDefaultColumns();
    rules.time = 2;
    rules.type = 3;
    rules.id = 4;
    rules.dlc = 5;
    rules.data = 7;
    PlainRules probe = rules;
    int headers = 0;
    for (int i = 0; i < 5000; ++i) {
        QString line = lines.next();
        QCOMPARE(importer->getLineElements(line, rules.separator, QLatin1Char('"')),
                 PlainRules::elementsOf(line, rules.separator, QLatin1Char('"')));
        if (line.contains(QLatin1String("Time")) && lines.bounded(8) == 0) {
            importer->getColumnsFromLine(line);
            rules.header(line);
            probe.header(line);
            ++headers;
            continue;
        }
        if (lines.bounded(2) == 0)
            line = line.simplified();
        probe.isOpen = false;
        probe.messages.clear();
        probe.row(line);
        if (probe.isOpen)
            continue;
        rules.row(line);
        QVERIFY2(importer->importCANMsgLine(line), qPrintable(line));
        QVERIFY2(importer.messages.size() == rules.messages.size(), qPrintable(line));
        if (!rules.messages.isEmpty() && importer.messages.last() != rules.messages.last())
            QFAIL(qPrintable(line + QLatin1Char('\n') + describe(importer.messages.last()) + QLatin1Char('\n')
                             + describe(rules.messages.last())));
    }
    QVERIFY(importer.messages == rules.messages);
    QVERIFY(rules.messages.size() > 300);
    QVERIFY(headers > 20);
}

void IxxatFileImporterTest::randomFilesReadAsThePlainRulesSay_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 101; seed <= 104; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void IxxatFileImporterTest::randomFilesReadAsThePlainRulesSay()
{
    QFETCH(quint32, seed);

    RandomLines lines(seed, goodLines, lineTokens, lineSeparators);
    const auto differenceFor = [&](int count, bool hasHeader) {
        QString text = hasHeader ? usualHeader + QLatin1Char('\n') : QString();
        PlainRules probe;
        if (hasHeader)
            probe.readLine(usualHeader);
        for (int i = 0; i < count; ++i) {
            const QString line = lines.next();
            const PlainRules before = probe;
            probe.messages.clear();
            probe.readLine(line);
            if (probe.isOpen)
                probe = before;
            else
                text += line + lines.lineEnd();
        }
        if (lines.bounded(3) == 0)
            text.chop(1);
        sample.write(text.toUtf8());
        const QString difference = differenceOf(importPath(sample.path()), PlainRules::readFile(sample.path()));
        return difference.isEmpty() ? QString() : text.left(2000) + QLatin1Char('\n') + difference;
    };

    QString difference = differenceFor(5000, true);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
    for (int i = 0; i < 100; ++i) {
        difference = differenceFor(lines.bounded(20), lines.bounded(2) == 0);
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
    }
}

void IxxatFileImporterTest::handlerDeliversOnce_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<Frames>("expected");

    QTest::newRow("two messages") << QByteArray("Time,ID,Data,x,y,z\n1.5,181,AA,x,y,z\n2.5,182,BB,x,y,z\n")
                                  << frames({Frame(0x181, "AA").at(1, 5000), Frame(0x182, "BB").at(2, 5000)});
    QTest::newRow("success with an error text")
        << QByteArray("\nTime,ID,Data,x,y,z\n1.5,181,AA,x,y,z\n") << frames({Frame(0x181, "AA").at(1, 5000)});
    QTest::newRow("no message") << QByteArray() << frames();
}

void IxxatFileImporterTest::handlerDeliversOnce()
{
    QFETCH(QByteArray, content);
    QFETCH(Frames, expected);

    const SampleFile file(content);
    const ImportRun run(ixxat, file.path(), QStringLiteral("text does not matter"));
    QVERIFY(run.succeeded());
    const QString delivered = Expected::delivered(expected.size());
    QCOMPARE(run.store.calls(), QStringList({Expected::loading(true), delivered, Expected::loading(false)}));
    QCOMPARE(run.store.messages(), expected);
    QCOMPARE(run.errorText(), QString());

    RecordingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);
    QVERIFY(handler.loadIxxatFile(file.path()));
    QCOMPARE(store.calls(), QStringList{delivered});
    QCOMPARE(store.messages(), expected);

    store.clear();
    QVERIFY(handler.loadFile(file.path(), ixxat, QString(), true));
    QCOMPARE(store.calls(),
             QStringList({Expected::started(), delivered, Expected::finished(true, ixxat, file.path())}));
}

void IxxatFileImporterTest::handlerDeliversManyMessagesAtOnce()
{
    constexpr int count = 100001;
    const SampleFile file("Time,ID,Data,x,y,z\n" + QByteArray("1.5,181,AA,x,y,z\n").repeated(count));
    const ImportRun run(ixxat, file.path());
    QVERIFY(run.succeeded());
    QCOMPARE(run.store.batchSizes(), QVector<int>{count});
    QCOMPARE(run.store.messages().last(), CanRxMessage(Frame(0x181, "AA").at(1, 5000).index(count - 1)));
}

void IxxatFileImporterTest::handlerKeepsTheErrorText()
{
    const SampleFile good("Time,ID,Data,x,y,z\n1.5,181,AA,x,y,z\n");
    const SampleFile bad("1.5,181,AA,x,y,z\n");
    const ImportRun run(ixxat, bad.path());
    QVERIFY(!run.succeeded());
    QCOMPARE(run.store.calls(), QStringList({Expected::loading(true), Expected::loading(false)}));
    QCOMPARE(run.errorText(), ErrorText::noColumns());

    RecordingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);
    QVERIFY(!handler.loadFile(bad.path(), ixxat, QString(), false));
    QCOMPARE(store.calls(), QStringList({Expected::started(), Expected::finished(false, ixxat, bad.path())}));
    QCOMPARE(handler.getLastErrorText(), ErrorText::noColumns());

    // A success leaves the text of the last failure; a file that is not there is no error of the importer.
    QVERIFY(handler.loadIxxatFile(good.path()));
    QCOMPARE(handler.getLastErrorText(), ErrorText::noColumns());
    QVERIFY(!handler.loadIxxatFile(bad.path() + QLatin1String(".missing")));
    QCOMPARE(handler.getLastErrorText(), ErrorText::none());
}

void IxxatFileImporterTest::handlerWithoutStoreReadsIntoNothing()
{
    const SampleFile good("Time,ID,Data,x,y,z\n1.5,181,AA,x,y,z\n");
    const SampleFile bad("x\n");
    QPointer<DatachunkHandler> none;
    CANLogHandler handler(none);
    QVERIFY(handler.loadIxxatFile(good.path()));
    QVERIFY(!handler.loadIxxatFile(bad.path()));
}

void IxxatFileImporterTest::sampleFiles_data()
{
    QTest::addColumn<Frames>("expected");
    QTest::addColumn<bool>("hasErrorText");

    QTest::newRow("commas") << frames({
        Frame(0x181, "0A 0B").at(43265, 250125),
        Frame(0x18FF1234, "00 11 22 33 44 55 66 77").at(43265, 251000),
        Frame(0x701).dlc(1).at(43266, 8009).remote(),
        Frame(0x80, "00").at(43266, 9000),
    }) << false;
    QTest::newRow("quoted-with-semicolons") << frames({
        Frame(0x181, "0A 0B").at(43265, 250125),
        Frame(0x7FF, "FF").at(43266, 0),
    }) << true;
    QTest::newRow("columns-change") << frames({
        Frame(0x181, "0A 0B").at(1, 5000),
        Frame(0x182, "0C").at(2, 500000),
        Frame(0x183, "0D 0E 0F").at(3, 0),
    }) << false;
    QTest::newRow("windows-line-ends") << frames({
        Frame(0x181, "0A 0B").at(43265, 250125),
        Frame(0x182, "0C").at(43266, 0),
    }) << false;
}

void IxxatFileImporterTest::sampleFiles()
{
    QFETCH(Frames, expected);
    QFETCH(bool, hasErrorText);

    const QString path = QStringLiteral(CANLOG_TEST_DATA "/ixxat/%1.csv").arg(QLatin1String(QTest::currentDataTag()));
    QCOMPARE(importPath(path),
             (Imported{true, expected, {}, hasErrorText ? ErrorText::noColumns() : ErrorText::none()}));
}

QTEST_GUILESS_MAIN(IxxatFileImporterTest)
#include "tst_ixxatfileimporter.moc"
