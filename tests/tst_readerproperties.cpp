// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "encodings.h"
#include "recordingstore.h"

#include <QDir>
#include <QPointer>
#include <QRegularExpression>
#include <QTemporaryFile>
#include <QtTest>

using DatachunkHelper::ImportFileType;

namespace
{

const QString generalColumns = QStringLiteral("t n i ? ? l d");

struct Sample {
    ImportFileType type;
    QString name; ///< within the source folder
    QString columns = generalColumns;
};

QByteArray contentOf(const Sample &sample)
{
    QFile file(QStringLiteral(CANLOG_SOURCES "/") + sample.name);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(file.fileName()));
    return file.readAll();
}

/// Every log in the folder of tests and among the examples that is short enough to be read a thousand times.
QVector<Sample> samples()
{
    static const QVector<Sample> ofOneType{
        {DatachunkHelper::SocketCanDump, QStringLiteral("socketcandump")},
        {DatachunkHelper::KvaserTxtLog, QStringLiteral("kvasertxtlog")},
        {DatachunkHelper::KvaserCanKingLog, QStringLiteral("kvasercankinglog")},
        {DatachunkHelper::VectorAscLog, QStringLiteral("vectorasclog")},
        {DatachunkHelper::VectorAscLogWithoutBitcount, QStringLiteral("vectorasclogwithoutbitcount")},
        {DatachunkHelper::WiresharkCsv, QStringLiteral("wiresharkcsv")},
        {DatachunkHelper::NorvikTxt, QStringLiteral("norviktxtfile")},
        {DatachunkHelper::CoCTTLog, QStringLiteral("coctt")},
        {DatachunkHelper::IxxatLog, QStringLiteral("ixxat")},
    };
    QVector<Sample> result;
    for (const Sample &folder : ofOneType) {
        const QString name = QStringLiteral("tests/data/") + folder.name;
        for (const QString &file : QDir(QStringLiteral(CANLOG_SOURCES "/") + name).entryList(QDir::Files))
            result.append({folder.type, name + QLatin1Char('/') + file});
    }
    const QString traces = QStringLiteral("tests/data/peaktrace/version-%1.trc");
    result.append({DatachunkHelper::PeakTraceV11, traces.arg(QStringLiteral("1-1"))});
    result.append({DatachunkHelper::PeakTraceV12, traces.arg(QStringLiteral("1-2"))});
    result.append({DatachunkHelper::PeakTraceV13, traces.arg(QStringLiteral("1-3"))});
    result.append({DatachunkHelper::PeakTraceV20, traces.arg(QStringLiteral("2-0"))});
    result.append({DatachunkHelper::PeakTraceV21, traces.arg(QStringLiteral("2-1"))});
    result.append({DatachunkHelper::PeakTraceV11, QStringLiteral("examples/washer-trc11.trc")});
    result.append({DatachunkHelper::PeakTraceV21, QStringLiteral("examples/washer-trc21.trc")});
    result.append({DatachunkHelper::GenericFile, QStringLiteral("tests/data/generic/default-columns.txt")});
    result.append({DatachunkHelper::GenericFile, QStringLiteral("examples/columns.txt")});
    return result;
}

struct Outcome {
    bool ok = false;
    Frames messages;
    QMap<unsigned int, QString> notes; ///< by the number of the message in the whole import
};

Outcome read(const QByteArray &content, ImportFileType type, const QString &columns = generalColumns)
{
    QTemporaryFile file;
    if (!file.open() || file.write(content) != content.size() || !file.flush())
        qFatal("cannot write a log");
    RecordingStore store;
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    Outcome outcome;
    outcome.ok = handler.importFile(file.fileName(), type, columns, false);
    outcome.messages = store.messages();
    outcome.notes = store.notes();
    return outcome;
}

void addSamples()
{
    QTest::addColumn<int>("sample");
    const QVector<Sample> all = samples();
    for (int i = 0; i < all.size(); ++i)
        QTest::newRow(qPrintable(all.at(i).name)) << i;
}

/// Line feeds alone, whatever the log has.
QByteArray withLineFeeds(QByteArray content)
{
    return content.replace("\r\n", "\n");
}

} // namespace

/// What must hold for the readers of all formats, tried on all samples.
class ReaderPropertiesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cutFileGivesTheFirstMessages_data() { addSamples(); }
    void cutFileGivesTheFirstMessages();
    void lineEndsMakeNoDifference_data() { addSamples(); }
    void lineEndsMakeNoDifference();
    void byteOrderMarksMakeNoDifference_data() { addSamples(); }
    void byteOrderMarksMakeNoDifference();
    void twoLogsInARowGiveBoth_data();
    void twoLogsInARowGiveBoth();
};

/**
 * A file cut anywhere gives the first messages of the whole one. The line that is cut may be read as a frame all the
 * same, with what is left of it, so the last message is not compared.
 *
 * Formats that fail at a line cut short deliver nothing of it, and whatever a CanKing log says before the first letter
 * from a to f decides how its numbers are read: there a cut within the heading, before any frame, shows nothing.
 */
void ReaderPropertiesTest::cutFileGivesTheFirstMessages()
{
    QFETCH(int, sample);
    const Sample log = samples().at(sample);
    const QByteArray content = contentOf(log);
    const Frames whole = read(content, log.type, log.columns).messages;
    for (int length = 0; length < content.size(); ++length) {
        Frames cut = read(content.left(length), log.type, log.columns).messages;
        if (!cut.isEmpty())
            cut.removeLast();
        QVERIFY2(cut.size() <= whole.size(), qPrintable(QString::number(length)));
        if (cut != Frames(whole.mid(0, cut.size())))
            QFAIL(qPrintable(QStringLiteral("cut after %1 bytes").arg(length)));
    }
}

void ReaderPropertiesTest::lineEndsMakeNoDifference()
{
    QFETCH(int, sample);
    const Sample log = samples().at(sample);
    const QByteArray unixContent = withLineFeeds(contentOf(log));
    const Outcome expected = read(unixContent, log.type, log.columns);
    const Outcome actual = read(QByteArray(unixContent).replace("\n", "\r\n"), log.type, log.columns);
    QCOMPARE(actual.ok, expected.ok);
    QCOMPARE(actual.messages, expected.messages);
    QCOMPARE(actual.notes, expected.notes);
}

void ReaderPropertiesTest::byteOrderMarksMakeNoDifference()
{
    QFETCH(int, sample);
    const Sample log = samples().at(sample);
    const QByteArray content = contentOf(log);
    const Outcome expected = read(content, log.type, log.columns);
    const QString text = QString::fromUtf8(content);
    for (const char *encoding : {"UTF-8", "UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"}) {
        const QByteArray mark = qstrcmp(encoding, "UTF-8") == 0 ? QByteArray("\xEF\xBB\xBF") : QByteArray();
        const Outcome actual = read(mark + encoded(encoding, text), log.type, log.columns);
        QVERIFY2(actual.ok == expected.ok, encoding);
        QVERIFY2(actual.messages == expected.messages, encoding);
        QVERIFY2(actual.notes == expected.notes, encoding);
    }
}

void ReaderPropertiesTest::twoLogsInARowGiveBoth_data()
{
    QTest::addColumn<ImportFileType>("type");
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    const auto row = [](ImportFileType type, const char *first, const char *second) {
        QTest::addRow("%s and %s", first, second) << type << QStringLiteral("tests/data/") + QLatin1String(first)
                                                  << QStringLiteral("tests/data/") + QLatin1String(second);
    };
    // Only formats without a header that tells how to read the rest; the packets of Wireshark have numbers of their
    // own.
    row(DatachunkHelper::SocketCanDump, "socketcandump/log-file-form.log", "socketcandump/screen-form.log");
    row(DatachunkHelper::SocketCanDump, "socketcandump/remote-fd-and-error-frames.log",
        "socketcandump/windows-line-ends.log");
    row(DatachunkHelper::NorvikTxt, "norviktxtfile/frames.txt", "norviktxtfile/windows-line-ends.txt");
    row(DatachunkHelper::PeakTraceV11, "peaktrace/version-1-1.trc", "peaktrace/version-1-1.trc");
    row(DatachunkHelper::CoCTTLog, "coctt/test-run.log", "coctt/windows-line-ends.log");
    row(DatachunkHelper::GenericFile, "generic/default-columns.txt", "generic/default-columns.txt");
}

void ReaderPropertiesTest::twoLogsInARowGiveBoth()
{
    QFETCH(ImportFileType, type);
    QFETCH(QString, first);
    QFETCH(QString, second);
    const QByteArray firstContent = contentOf({type, first});
    const QByteArray secondContent = contentOf({type, second});
    QVERIFY(firstContent.endsWith('\n'));
    const Outcome one = read(firstContent, type);
    const Outcome other = read(secondContent, type);
    const Outcome both = read(firstContent + secondContent, type);
    QVERIFY(one.ok && other.ok && both.ok);
    QVERIFY(!one.messages.isEmpty() && !other.messages.isEmpty());

    Frames expected = one.messages;
    for (CAN::CanRxMessage message : other.messages) {
        message.messageIndex += quint32(one.messages.size());
        expected.append(message);
    }
    QCOMPARE(both.messages, expected);
}

QTEST_GUILESS_MAIN(ReaderPropertiesTest)
#include "tst_readerproperties.moc"
