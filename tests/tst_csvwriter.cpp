// SPDX-License-Identifier: Apache-2.0
#include "host/convert/csvwriter.h"
#include "writertest.h"

#include <ctime>

namespace
{

const QByteArray heading = "time,channel,direction,id,extended,remote,fd,brs,esi,error,dlc,data,note\n";

/// The message of one row without a note.
CAN::CanRxMessage messageOf(const QByteArray &row)
{
    const QList<QByteArray> fields = row.split(',');
    const QList<QByteArray> time = fields.at(0).split('.');
    const bool isError = fields.at(9) == "1";
    Frame frame(isError ? CAN::errorFrameId : fields.at(3).toUInt(nullptr, 16), fields.at(11).constData());
    frame.at(time.at(0).toInt(), time.at(1).toInt())
        .channel(fields.at(1).toUShort())
        .dlc(quint8(fields.at(10).toUInt()));
    CAN::CanRxMessage message = frame;
    message.isTx = fields.at(2) == "Tx";
    message.isExtended = fields.at(4) == "1";
    message.isRemote = fields.at(5) == "1";
    message.isFd = fields.at(6) == "1";
    message.isBrs = fields.at(7) == "1";
    message.isEsi = fields.at(8) == "1";
    return message;
}

} // namespace

class CsvWriterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesOneRow_data();
    void writesOneRow();
    void formulasAreGuarded_data();
    void formulasAreGuarded();
    void notesAreReadable_data();
    void notesAreReadable();
    void quotingTakesLinearTime();
    void nothingGivesAHeading();
    void holdsEverything();
};

void CsvWriterTest::writesOneRow_data()
{
    QTest::addColumn<CAN::CanRxMessage>("message");
    QTest::addColumn<QString>("note");
    QTest::addColumn<QByteArray>("line");
    const auto row = [](const char *name, const Frame &frame, const QByteArray &line, const char *note = "") {
        QTest::newRow(name) << CAN::CanRxMessage(frame) << QString::fromUtf8(note) << line;
    };
    row("data", Frame(0x1E5, "01 02 AB").at(1345212884, 318850).channel(1),
        "1345212884.318850,1,Rx,0x1E5,0,0,0,0,0,0,3,01 02 AB,\n");
    row("lowest", Frame(0), "0.000000,0,Rx,0x000,0,0,0,0,0,0,0,,\n");
    row("extended", Frame(0x12).extended().tx(), "0.000000,0,Tx,0x00000012,1,0,0,0,0,0,0,,\n");
    row("high without the mark", Frame(0x18FEF100), "0.000000,0,Rx,0x18FEF100,0,0,0,0,0,0,0,,\n");
    row("remote", Frame(0x7FF, "AA").remote(), "0.000000,0,Rx,0x7FF,0,1,0,0,0,0,1,,\n");
    row("FD with all", Frame(0x1, "AA").fd().brs().esi(), "0.000000,0,Rx,0x001,0,0,1,1,1,0,1,AA,\n");
    row("error frame", Frame(CAN::errorFrameId).channel(65535), "0.000000,65535,Rx,,0,0,0,0,0,1,0,,\n");
    row("impossible length", Frame(0x1).bytes(QByteArray(64, 'Z')).dlc(255),
        "0.000000,0,Rx,0x001,0,0,0,0,0,0,255," + QByteArray("5A ").repeated(64).trimmed() + ",\n");
    row("before zero", Frame(0x1).at(-1, 250000), "-0.750000,0,Rx,0x001,0,0,0,0,0,0,0,,\n");
    row("note", Frame(0x1), "0.000000,0,Rx,0x001,0,0,0,0,0,0,0,,engine \xC3\xA4 on\n", "engine \xC3\xA4 on");
    row("note with a comma", Frame(0x1), "0.000000,0,Rx,0x001,0,0,0,0,0,0,0,,\"a,b\"\n", "a,b");
    row("note with quotes", Frame(0x1), "0.000000,0,Rx,0x001,0,0,0,0,0,0,0,,\"a \"\"b\"\"\"\n", "a \"b\"");
    row("note of two lines", Frame(0x1), "0.000000,0,Rx,0x001,0,0,0,0,0,0,0,,\"a\nb\"\n", "a\nb");
    row("note with a carriage return", Frame(0x1), "0.000000,0,Rx,0x001,0,0,0,0,0,0,0,,\"a\rb\"\n", "a\rb");
}

void CsvWriterTest::writesOneRow()
{
    QFETCH(CAN::CanRxMessage, message);
    QFETCH(QString, note);
    QFETCH(QByteArray, line);
    const Written written = write<CsvWriter>({message}, {note});
    QCOMPARE(written.text, heading + line);
    QCOMPARE(written.losses, QString());
}

void CsvWriterTest::formulasAreGuarded_data()
{
    QTest::addColumn<QString>("note");
    QTest::addColumn<QByteArray>("cell");
    QTest::addColumn<QByteArray>("rawCell");
    const auto row = [](const char *note, const char *cell, const char *rawCell) {
        QTest::newRow(note) << QString::fromUtf8(note) << QByteArray(cell) << QByteArray(rawCell);
    };
    row("=1+2", "'=1+2", "=1+2");
    row("+1", "'+1", "+1");
    row("-1", "'-1", "-1");
    row("@SUM(1)", "'@SUM(1)", "@SUM(1)");
    row("\t=1", "'\t=1", "\t=1");
    row("\r=1", "\"'\r=1\"", "\"\r=1\"");
    row("=HYPERLINK(\"x\",\"y\")", "\"'=HYPERLINK(\"\"x\"\",\"\"y\"\")\"", "\"=HYPERLINK(\"\"x\"\",\"\"y\"\")\"");
    row("a=1", "a=1", "a=1");
    row("'=1", "'=1", "'=1");
    row("1-2", "1-2", "1-2");
}

void CsvWriterTest::formulasAreGuarded()
{
    QFETCH(QString, note);
    QFETCH(QByteArray, cell);
    QFETCH(QByteArray, rawCell);
    for (const bool raw : {false, true}) {
        QBuffer buffer;
        buffer.open(QIODevice::WriteOnly);
        CsvWriter writer(buffer, raw);
        QVERIFY(writer.write(Frame(0x1), note) && writer.finish());
        QCOMPARE(buffer.data(), "0.000000,0,Rx,0x001,0,0,0,0,0,0,0,," + (raw ? rawCell : cell) + '\n');
        QCOMPARE(lossesOf(writer), raw || cell == rawCell ? QString() : QStringLiteral("formula-like note 1"));
    }
}

void CsvWriterTest::notesAreReadable_data()
{
    QTest::addColumn<QString>("note");
    QTest::addColumn<QByteArray>("cell");
    QTest::newRow("half a character") << (QString(QChar(ushort(0xDBFF))) + QStringLiteral("\",x"))
                                      << QByteArray("\"\xEF\xBF\xBD\"\",x\"");
    QTest::newRow("zero") << (QStringLiteral("a") + QChar(QChar::Null) + QStringLiteral("b"))
                          << QByteArray("a\xEF\xBF\xBD"
                                        "b");
}

void CsvWriterTest::notesAreReadable()
{
    QFETCH(QString, note);
    QFETCH(QByteArray, cell);
    const Written written = write<CsvWriter>({Frame(0x1)}, {note});
    QCOMPARE(written.text, heading + "0.000000,0,Rx,0x001,0,0,0,0,0,0,0,," + cell + '\n');
    QCOMPARE(written.losses, QStringLiteral("ill-formed note 1"));
}

void CsvWriterTest::quotingTakesLinearTime()
{
    // Processor time, since other work may go on: more than 20 seconds when every few quotation marks move the rest.
    const int count = 32 << 20;
    const std::clock_t start = std::clock();
    const QByteArray text = write<CsvWriter>({Frame(0x1)}, {QString(count, QLatin1Char('"'))}).text;
    QVERIFY(double(std::clock() - start) / CLOCKS_PER_SEC < 12);
    QCOMPARE(text.count('"'), 2 * count + 2);
    QVERIFY(text.endsWith("\"\"\"\n"));
}

void CsvWriterTest::nothingGivesAHeading()
{
    QCOMPARE(write<CsvWriter>({}).text, heading);
}

void CsvWriterTest::holdsEverything()
{
    const Frames messages = randomMessages(3000, 0);
    const QList<QByteArray> rows = write<CsvWriter>(messages).text.split('\n');
    Frames read;
    for (const QByteArray &row : rows.mid(1, rows.size() - 2))
        read.append(messageOf(row));
    QCOMPARE(differenceOf(numbered(read), messages), QString());
}

QTEST_GUILESS_MAIN(CsvWriterTest)
#include "tst_csvwriter.moc"
