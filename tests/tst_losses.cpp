// SPDX-License-Identifier: Apache-2.0
#include "host/convert/targets.h"
#include "writertest.h"

#include <QTemporaryDir>

#include <memory>

namespace
{

/// One row of the table in docs/conversion.md that says what each format leaves out or changes.
struct DocumentedLoss {
    QString what;
    QString outcome;
    QStringList targets;
};

QStringList cellsOf(const QString &line)
{
    QStringList cells = line.split(QLatin1Char('|'));
    cells.removeFirst();
    cells.removeLast();
    for (QString &cell : cells)
        cell = cell.remove(QLatin1Char('`')).trimmed();
    return cells;
}

QVector<DocumentedLoss> documentedLosses()
{
    QFile file(QStringLiteral(CANLOG_SOURCES "/docs/conversion.md"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(file.fileName()));
    QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    while (!lines.isEmpty() && !lines.constFirst().startsWith(QLatin1String("| counted as |")))
        lines.removeFirst();
    const QStringList heading = cellsOf(lines.value(0, QStringLiteral("||")));
    QVector<DocumentedLoss> result;
    for (const QString &line : lines.mid(2)) {
        if (!line.startsWith(QLatin1Char('|')))
            break;
        const QStringList cells = cellsOf(line);
        DocumentedLoss loss{cells.value(0), cells.value(1), {}};
        for (int i = 2; i < cells.size(); ++i) {
            if (!cells.at(i).isEmpty())
                loss.targets.append(heading.value(i));
        }
        result.append(loss);
    }
    return result;
}

/// Messages that have what is lost, and the note of the first.
struct Sample {
    Frames messages;
    QString note;
};

QMap<QString, Sample> samples()
{
    const QChar half(ushort(0xD800));
    return {
        {QStringLiteral("note"), {{Frame(1)}, QStringLiteral("engine on")}},
        {QStringLiteral("Tx direction"), {{Frame(1).tx(), Frame(CAN::errorFrameId).tx()}, {}}},
        {QStringLiteral("channel 0 frame"), {{Frame(1), Frame(1).channel(1)}, {}}},
        {QStringLiteral("out-of-range time"), {{Frame(1).at(-1, 0)}, {}}},
        {QStringLiteral("impossible length"), {{Frame(1).dlc(65), Frame(1).remote().dlc(9)}, {}}},
        {QStringLiteral("over-long identifier"), {{Frame(0x20000000)}, {}}},
        {QStringLiteral("high channel number"), {{Frame(1).channel(256)}, {}}},
        {QStringLiteral("error frame payload"), {{Frame(CAN::errorFrameId).bytes(QByteArray(9, 'Z'))}, {}}},
        {QStringLiteral("misplaced CAN FD mark"), {{Frame(1).brs()}, {}}},
        {QStringLiteral("unprintable note"), {{Frame(1)}, QStringLiteral("\x1b[2J")}},
        {QStringLiteral("ill-formed note"), {{Frame(1)}, half}},
        {QStringLiteral("formula-like note"), {{Frame(1)}, QStringLiteral("=1+2")}},
        // Longer than the name of an interface may be.
        {QStringLiteral("channel name"), {{Frame(1).channel(7), Frame(1).channel(7)}, {}}},
    };
}

} // namespace

/// Holds the writers to what the document says that they leave out and change: nothing else is, and all of it is told.
class LossesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyKindIsDocumented();
    void countsWhatIsDocumented_data();
    void countsWhatIsDocumented();
    void timesThatGoBackAreKept_data();
    void timesThatGoBackAreKept();

private:
    QVector<FrameWriter::LossCount> lossesOfWriting(const Target &target, const Sample &sample);
    static void addTargets()
    {
        QTest::addColumn<QString>("name");
        for (const Target &target : targets())
            QTest::newRow(qPrintable(target.name)) << target.name;
    }

    QTemporaryDir folder;
    QByteArray text; ///< what was written last, if it is text
};

QVector<FrameWriter::LossCount> LossesTest::lossesOfWriting(const Target &target, const Sample &sample)
{
    const QString path = folder.filePath(QStringLiteral("out.db"));
    QFile::remove(path);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    const std::unique_ptr<FrameWriter> writer =
        target.databaseWriter ? target.databaseWriter(path) : target.textWriter(buffer, false);
    writer->setLog([] {
        LogInfo info;
        info.channelNames.insert(7, QStringLiteral("the bus of the gearbox"));
        return info;
    });
    bool ok = writer->begin();
    for (int i = 0; i < sample.messages.size(); ++i)
        ok = ok && writer->write(sample.messages.at(i), i == 0 ? sample.note : QString());
    if (!ok || !writer->finish())
        qFatal("cannot write %s: %s", qPrintable(target.name), qPrintable(writer->errorText()));
    text = buffer.data();
    return writer->losses();
}

void LossesTest::everyKindIsDocumented()
{
    QStringList documented;
    for (const DocumentedLoss &loss : documentedLosses())
        documented.append(loss.what);
    documented.sort();
    QCOMPARE(documented.size(), lossKinds);
    QStringList tried = samples().keys();
    tried.sort();
    QCOMPARE(documented, tried);
}

void LossesTest::countsWhatIsDocumented_data()
{
    addTargets();
}

void LossesTest::countsWhatIsDocumented()
{
    QFETCH(QString, name);
    for (const DocumentedLoss &documented : documentedLosses()) {
        bool isCounted = false;
        for (const FrameWriter::LossCount &loss :
             lossesOfWriting(*findTarget(name), samples().value(documented.what))) {
            if (loss.what != documented.what)
                continue;
            isCounted = true;
            QCOMPARE(loss.outcome, documented.outcome);
        }
        QVERIFY2(isCounted == documented.targets.contains(name), qPrintable(documented.what));
    }
}

void LossesTest::timesThatGoBackAreKept_data()
{
    addTargets();
}

void LossesTest::timesThatGoBackAreKept()
{
    QFETCH(QString, name);
    const Sample sample{{Frame(1).at(5, 0), Frame(1).at(3, 250000)}, {}};
    QVERIFY(lossesOfWriting(*findTarget(name), sample).isEmpty());
    if (name == QLatin1String("blf"))
        QCOMPARE(readBack(text, DatachunkHelper::Blf).last().timeStamp, CanTimeStamp(3, 250000));
    else if (!text.isEmpty())
        QVERIFY2(text.contains(name == QLatin1String("trc") ? " 3250.000 " : "3.250000"), text.constData());
}

QTEST_GUILESS_MAIN(LossesTest)
#include "tst_losses.moc"
