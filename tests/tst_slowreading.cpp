// SPDX-License-Identifier: Apache-2.0
#include "slow/slowreading.h"

#include <QDirIterator>
#include <QRandomGenerator>
#include <QtTest>

/// Holds the readers of types 21 to 27 against the slow reading of the same bytes: all samples and examples, whole,
/// cut off and damaged in many ways. fuzz/fuzz_slow.cpp does so with what a fuzzer finds.
class SlowReadingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void samples_data() { addSamples(); }
    void samples();
    void damagedSamples_data() { addSamples(); }
    void damagedSamples();
    void findsSomething();

private:
    static void addSamples();
};

namespace
{

using Type = DatachunkHelper::ImportFileType;

const QVector<QPair<QString, Type>> &folders()
{
    static const QVector<QPair<QString, Type>> table{
        {QStringLiteral("candump"), Type::Candump},
        {QStringLiteral("vectorasc"), Type::VectorAsc},
        {QStringLiteral("pcantrace"), Type::PcanTrace},
        {QStringLiteral("busmasterlog"), Type::BusmasterLog},
        {QStringLiteral("gvretcsv"), Type::GvretCsv},
        {QStringLiteral("pythoncancsv"), Type::PythonCanCsv},
        {QStringLiteral("semicoloncsv"), Type::SemicolonCsv},
        {QStringLiteral("socketcandump"), Type::Candump},
        {QStringLiteral("vectorasclog"), Type::VectorAsc},
        {QStringLiteral("peaktrace"), Type::PcanTrace},
        {QStringLiteral("vectorasclogwithoutbitcount"), Type::VectorAsc},
    };
    return table;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// One to four changes: a byte, some bytes left out, doubled, or moved in from elsewhere, a line left out.
QByteArray damaged(QByteArray content, QRandomGenerator &random)
{
    static constexpr char oddCharacters[] = " \t.,;:#()[]<>-_x0179AaFfRT`{}=/*\r\n\0\xE4";
    static const QByteArray odd(oddCharacters, sizeof oddCharacters - 1);
    for (int changes = random.bounded(1, 5); changes > 0 && !content.isEmpty(); --changes) {
        const int at = random.bounded(content.size());
        const int count = random.bounded(1, 12);
        switch (random.bounded(6)) {
        case 0:
            content[at] = odd.at(random.bounded(odd.size()));
            break;
        case 1:
            content.remove(at, count);
            break;
        case 2:
            content.insert(at, content.mid(at, count));
            break;
        case 3:
            content.insert(at, content.mid(random.bounded(content.size()), count));
            break;
        case 4:
            content.insert(at, odd.at(random.bounded(odd.size())));
            break;
        default:
            content.remove(at, content.indexOf('\n', at) - at + 1);
            break;
        }
    }
    return content;
}

} // namespace

void SlowReadingTest::addSamples()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("content");
    for (const auto &[name, type] : folders()) {
        for (const QString &folder : {QStringLiteral("/"), QStringLiteral("/finds/slow_")}) {
            for (QDirIterator files(QStringLiteral(CANLOG_TEST_DATA) + folder + name, QDir::Files); files.hasNext();) {
                const QString path = files.next();
                QTest::newRow(qPrintable(name + QLatin1Char('/') + QFileInfo(path).fileName()))
                    << int(type) << contentOf(path);
            }
        }
    }
}

void SlowReadingTest::samples()
{
    QFETCH(int, type);
    QFETCH(QByteArray, content);
    const QString difference = differenceFromSlowReading(Type(type), content);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
}

void SlowReadingTest::damagedSamples()
{
    QFETCH(int, type);
    QFETCH(QByteArray, content);
    QRandomGenerator random(20240521);
    for (int round = 0; round < 100; ++round) {
        const QByteArray changed = damaged(content.left(4096), random);
        const QString difference = differenceFromSlowReading(Type(type), changed);
        if (!difference.isEmpty()) {
            const QString path = QDir::temp().filePath(QStringLiteral("slowreading-difference"));
            QFile file(path);
            if (file.open(QIODevice::WriteOnly))
                file.write(changed);
            QFAIL(qPrintable(
                QStringLiteral("round %1, written to %2:\n%3").arg(QString::number(round), path, difference)));
        }
    }
}

/// Without frames there would be nothing to compare.
void SlowReadingTest::findsSomething()
{
    int frames = 0;
    for (const auto &[name, type] : folders().mid(0, 7)) {
        int ofType = 0;
        for (QDirIterator files(QStringLiteral(CANLOG_TEST_DATA "/") + name, QDir::Files); files.hasNext();)
            ofType += slowReading(type, contentOf(files.next())).size();
        QVERIFY2(ofType > 5, qPrintable(name));
        frames += ofType;
    }
    QVERIFY(frames > 80);
}

QTEST_GUILESS_MAIN(SlowReadingTest)
#include "tst_slowreading.moc"
