// SPDX-License-Identifier: Apache-2.0
#include "canlogprogram.h"
#include "host/convert/targets.h"
#include "writertest.h"

#include <memory>

namespace
{

/// What a note is made of: all that some format has to quote, escape or replace, and what it must leave alone.
const QStringList &pieces()
{
    static const QStringList all{
        QStringLiteral("engine on"),
        QStringLiteral("\""),
        QStringLiteral("\"\""),
        QStringLiteral(","),
        QStringLiteral(";"),
        QStringLiteral("'"),
        QStringLiteral("\\"),
        QStringLiteral("\\u0041"),
        QStringLiteral("\n"),
        QStringLiteral("\r"),
        QStringLiteral("\r\n"),
        QStringLiteral("\t"),
        QStringLiteral("  "),
        QStringLiteral("\x1b[2J"),
        QStringLiteral("\x7F"),
        QStringLiteral("\u0085"),
        QStringLiteral("\u009B1m"),
        QStringLiteral("\u00E4\u20AC"),
        QStringLiteral("\u202Egol"),
        QStringLiteral("\u2028"),
        QStringLiteral("\u2029"),
        QStringLiteral("\u2066"),
        QStringLiteral("\uFEFF"),
        QStringLiteral("\uFFFF"),
        QStringLiteral("\U0001F697"),
        QString(QChar(QChar::Null)),
        QString(QChar(ushort(0xD800))),
        QString(QChar(ushort(0xDBFF))),
        QString(QChar(ushort(0xDC00))),
        QString(QChar(ushort(0xDFFF))),
        QStringLiteral("=1+2"),
        QStringLiteral("+"),
        QStringLiteral("-"),
        QStringLiteral("@SUM(A1)"),
        QStringLiteral("</note>"),
        QStringLiteral("NULL"),
        QStringLiteral("End TriggerBlock"),
        QStringLiteral("//"),
    };
    return all;
}

QString randomNote(QRandomGenerator &random)
{
    QString note;
    const int count = random.bounded(4) == 0 ? 0 : random.bounded(8);
    for (int i = 0; i < count; ++i)
        note += pieces().at(random.bounded(pieces().size()));
    // A few are longer than what readers take by themselves, and than a block that is written at once.
    return random.bounded(500) == 0 ? note.repeated(20000) : note;
}

/// @p log with bytes in it that do not belong there.
QByteArray damaged(QByteArray log, QRandomGenerator &random)
{
    static const QByteArray nasty[] = {
        QByteArray("\0", 1), "\x1b[2J",        "\"",           "\xED\xA0\x80", "\xFF",     "\xE2\x80\xAE", "\r",
        "\xC2\x9B",          "\n// =1+2,\t\n", "999999999999", "\x80",         "FFFFFFFF",
    };
    const int count = 10 + random.bounded(40);
    for (int i = 0; i < count; ++i)
        log.insert(random.bounded(log.size()), nasty[random.bounded(int(std::size(nasty)))]);
    for (int i = 0; i < count; ++i)
        log[random.bounded(log.size())] = char(random.bounded(256));
    return log;
}

} // namespace

/// Others read what is written, whatever the notes hold: Python's own modules are the judges.
class OutputPropertiesTest : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { makeFolder(); }

    void nastyNotes_data();
    void nastyNotes();
    void damagedLogs();

private:
    void writeAll(const QString &name, const Target &target, const Frames &messages, const QStringList &notes,
                  bool raw);
    /// Runs one of the scripts in the folder of the test.
    Outcome python(const char *script, const QStringList &arguments = {})
    {
        const QString path = QStringLiteral(CANLOG_TEST_DATA "/outputs/") + QLatin1String(script);
        return run(QStringLiteral("/usr/bin/python3"), QStringList{path} + arguments);
    }
};

void OutputPropertiesTest::initTestCase()
{
    if (QFileInfo::exists(QStringLiteral("/usr/bin/python3")))
        return;
    if (qgetenv("CI") == "true")
        QFAIL("needs python3");
    QSKIP("needs python3");
}

void OutputPropertiesTest::writeAll(const QString &name, const Target &target, const Frames &messages,
                                    const QStringList &notes, bool raw)
{
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const std::unique_ptr<FrameWriter> writer =
        target.databaseWriter ? target.databaseWriter(file.fileName()) : target.textWriter(file, raw);
    QVERIFY2(writer->begin(), qPrintable(writer->errorText()));
    for (int i = 0; i < messages.size(); ++i)
        QVERIFY2(writer->write(messages.at(i), notes.at(i)), qPrintable(writer->errorText()));
    QVERIFY2(writer->finish(), qPrintable(writer->errorText()));
}

void OutputPropertiesTest::nastyNotes_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 1; seed <= 3; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void OutputPropertiesTest::nastyNotes()
{
    QFETCH(quint32, seed);
    const Frames messages = randomMessages(2000, 1716284412);
    QRandomGenerator random(seed);
    QStringList notes;
    QByteArray expected;
    for (int i = 0; i < messages.size(); ++i) {
        notes.append(randomNote(random));
        const auto *bytes = reinterpret_cast<const char *>(notes.constLast().utf16());
        expected += QByteArray::fromRawData(bytes, 2 * notes.constLast().size()).toHex() + '\n';
    }
    write(QStringLiteral("expected"), expected);
    for (const Target &target : targets())
        writeAll(QStringLiteral("out") + target.suffixes.constFirst(), target, messages, notes, false);
    writeAll(QStringLiteral("raw.csv"), *findTarget(QStringLiteral("csv")), messages, notes, true);

    const Outcome outcome = python("compare.py");
    QVERIFY2(outcome.err.isEmpty(), outcome.err.constData());
    QCOMPARE(outcome.out, QByteArray("2000\n"));
}

void OutputPropertiesTest::damagedLogs()
{
    const std::pair<const char *, const char *> examples[] = {
        {"SocketCanDump", "drive.log"}, {"VectorAscLog", "drive.asc"},  {"asc-nobitcount", "drive-nobitcount.asc"},
        {"kvaser", "drive-kvaser.txt"}, {"norvik", "drive-norvik.txt"}, {"wireshark", "drive-wireshark.csv"},
        {"trc21", "washer-trc21.trc"},  {"ixxat", "ixxat.csv"},
    };
    QRandomGenerator random(20240522);
    QStringList converted;
    for (const auto &[type, example] : examples) {
        for (int round = 0; round < 3; ++round) {
            const QString name = QStringLiteral("%1-%2").arg(QLatin1String(type)).arg(round);
            QFile file(QStringLiteral(CANLOG_EXAMPLES "/") + QLatin1String(example));
            QVERIFY(file.open(QIODevice::ReadOnly));
            write(name, damaged(file.readAll().left(20000), random));
            int succeeded = 0;
            const QStringList suffixes = words(".csv .jsonl .db .asc .trc .log");
            for (const QString &suffix : suffixes) {
                QStringList arguments = words("convert --type") << QLatin1String(type) << name << name + suffix;
                if (suffix == QLatin1String(".csv"))
                    arguments.append(QStringLiteral("--raw"));
                const Outcome outcome = canlog(arguments);
                QVERIFY2(outcome.status == 0 || outcome.status == 1, outcome.err.constData());
                succeeded += outcome.status == 0;
            }
            QVERIFY2(succeeded == 0 || succeeded == suffixes.size(), qPrintable(name));
            if (succeeded > 0)
                converted.append(name);
        }
    }
    // A trace that is cut off fails as a whole; most others are read leniently.
    QVERIFY2(converted.size() >= 12, qPrintable(converted.join(QLatin1Char(' '))));
    const Outcome outcome = python("agree.py", converted);
    QVERIFY2(outcome.err.isEmpty(), outcome.err.constData());
    QCOMPARE(outcome.out, QByteArray::number(converted.size()) + '\n');
}

QTEST_GUILESS_MAIN(OutputPropertiesTest)
#include "tst_outputproperties.moc"
