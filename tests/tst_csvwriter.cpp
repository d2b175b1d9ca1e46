#include "host/convert/csvwriter.h"
#include "writertest.h"

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
