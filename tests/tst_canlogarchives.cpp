#include "host/store/chunkstore.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace
{

/// What a run of the program gave.
struct Outcome {
    int status = -1; ///< -1: it did not end by itself
    QString out;
    QString err;
};

/// A message with its note, to compare stores.
using Entry = QPair<CAN::CanRxMessage, QString>;

QVector<Entry> entriesOf(const QString &folder)
{
    QVector<Entry> entries;
    ChunkStore store;
    if (store.open(folder, ChunkStore::Mode::Read)) {
        store.forEachMessage([&](const CAN::CanRxMessage &message, const QString &note) {
            entries.append({message, note});
            return true;
        });
    }
    return entries;
}

} // namespace

/// Runs the real program on archives.
class CanlogArchivesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void roundTripKeepsEveryMessageAndNote();
    void unzipMakesAFolderThatIsAStore();
    void unzipAgainChangesNothing();
    void checkCounts();
    void zipReplacesAnArchive();
    void emptyStoreMakesAnEmptyArchive();
    void helpShowsAnExample_data();
    void helpShowsAnExample();
    void mistakesAreToldInOneLine_data();
    void mistakesAreToldInOneLine();

private:
    Outcome canlog(const QStringList &arguments) const;
    QString path(const QString &name) const { return folder->filePath(name); }
    /// Makes the store "source" of two imports with notes.
    void makeSource() const;

    QScopedPointer<QTemporaryDir> folder; ///< a fresh one for each test, the current folder of the program
};

void CanlogArchivesTest::init()
{
    folder.reset(new QTemporaryDir);
    QVERIFY(folder->isValid());
}

Outcome CanlogArchivesTest::canlog(const QStringList &arguments) const
{
    QProcess process;
    process.setWorkingDirectory(folder->path());
    process.start(QStringLiteral(CANLOG_PROGRAM), arguments);
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), QString::fromLocal8Bit(process.readAllStandardOutput()),
            QString::fromLocal8Bit(process.readAllStandardError())};
}

void CanlogArchivesTest::makeSource() const
{
    ChunkStore store;
    QVERIFY(store.open(path(QStringLiteral("source")), ChunkStore::Mode::ReadWrite));
    for (const int count : {100003, 2}) {
        QList<CAN::CanRxMessage> messages;
        for (int i = 0; i < count; ++i) {
            CAN::CanRxMessage message;
            message.messageIndex = quint32(i);
            message.timeStamp = {i / 1000, i % 1000 * 1000};
            message.id = quint32(i) * 7 % 0x800;
            message.dlc = quint8(i % 9);
            message.data[i % 64] = quint8(i);
            message.isFd = i % 5 == 0;
            messages.append(message);
        }
        store.setImportStarted();
        store.addImportedMessages(messages, {{0, QStringLiteral("first")}, {1, QStringLiteral("zweite \u00e4")}});
        store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("a.log"), true);
    }
}

void CanlogArchivesTest::roundTripKeepsEveryMessageAndNote()
{
    makeSource();
    Outcome outcome =
        canlog({QStringLiteral("zip"), QStringLiteral("--store"), QStringLiteral("source"), QStringLiteral("a.zip")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 3 chunks, 100005 messages\n"));
    QCOMPARE(outcome.status, 0);

    outcome =
        canlog({QStringLiteral("merge"), QStringLiteral("a.zip"), QStringLiteral("--store"), QStringLiteral("target")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 100005 messages, 4 notes, stored in target\n"));
    QCOMPARE(outcome.status, 0);

    const QVector<Entry> expected = entriesOf(path(QStringLiteral("source")));
    QCOMPARE(expected.size(), 100005);
    QCOMPARE(expected.at(1).second, QStringLiteral("zweite \u00e4"));
    QVERIFY(entriesOf(path(QStringLiteral("target"))) == expected);
}

void CanlogArchivesTest::unzipMakesAFolderThatIsAStore()
{
    makeSource();
    QCOMPARE(
        canlog({QStringLiteral("zip"), QStringLiteral("--store"), QStringLiteral("source"), QStringLiteral("a.zip")})
            .status,
        0);
    const Outcome outcome =
        canlog({QStringLiteral("unzip"), QStringLiteral("a.zip"), QStringLiteral("--store"), QStringLiteral("target")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(
        outcome.out,
        QStringLiteral("a.zip: 3 chunks, 100005 messages, unpacked in %1/a.zip\n").arg(path(QStringLiteral("target"))));
    QCOMPARE(outcome.status, 0);
    QVERIFY(entriesOf(path(QStringLiteral("target/a.zip"))) == entriesOf(path(QStringLiteral("source"))));
    QVERIFY(entriesOf(path(QStringLiteral("target"))).isEmpty());
}

void CanlogArchivesTest::unzipAgainChangesNothing()
{
    makeSource();
    QCOMPARE(
        canlog({QStringLiteral("zip"), QStringLiteral("--store"), QStringLiteral("source"), QStringLiteral("a.zip")})
            .status,
        0);
    const QStringList unzip{QStringLiteral("unzip"), QStringLiteral("a.zip"), QStringLiteral("--store"),
                            QStringLiteral("target")};
    const Outcome first = canlog(unzip);
    const Outcome second = canlog(unzip);
    QCOMPARE(second.out, first.out);
    QCOMPARE(second.status, 0);
}

void CanlogArchivesTest::checkCounts()
{
    makeSource();
    QCOMPARE(
        canlog({QStringLiteral("zip"), QStringLiteral("--store"), QStringLiteral("source"), QStringLiteral("a.zip")})
            .status,
        0);
    const Outcome outcome = canlog({QStringLiteral("check"), QStringLiteral("a.zip")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 3 chunks, 100005 messages\n"));
    QCOMPARE(outcome.status, 0);
}

void CanlogArchivesTest::zipReplacesAnArchive()
{
    makeSource();
    QFile old(path(QStringLiteral("a.zip")));
    QVERIFY(old.open(QIODevice::WriteOnly));
    old.write("no archive");
    old.close();
    QCOMPARE(
        canlog({QStringLiteral("zip"), QStringLiteral("--store"), QStringLiteral("source"), QStringLiteral("a.zip")})
            .status,
        0);
    QCOMPARE(canlog({QStringLiteral("check"), QStringLiteral("a.zip")}).status, 0);
}

void CanlogArchivesTest::emptyStoreMakesAnEmptyArchive()
{
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("empty")));
    const Outcome outcome =
        canlog({QStringLiteral("zip"), QStringLiteral("--store"), QStringLiteral("empty"), QStringLiteral("a.zip")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.out, QStringLiteral("a.zip: 0 chunks, 0 messages\n"));
    QCOMPARE(outcome.status, 0);
}

void CanlogArchivesTest::helpShowsAnExample_data()
{
    QTest::addColumn<QString>("subcommand");
    for (const char *name : {"zip", "unzip", "merge", "check"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void CanlogArchivesTest::helpShowsAnExample()
{
    QFETCH(QString, subcommand);
    const Outcome outcome = canlog({subcommand, QStringLiteral("--help")});
    QVERIFY(outcome.out.startsWith(QStringLiteral("Usage: canlog %1 ").arg(subcommand)));
    QVERIFY(outcome.out.contains(QStringLiteral("Example:\n  canlog %1 ").arg(subcommand)));
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.status, 0);
}

void CanlogArchivesTest::mistakesAreToldInOneLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("said");
    const auto row = [](const char *name, const char *arguments, int status, const char *said) {
        QTest::newRow(name) << QString::fromLatin1(arguments).split(QLatin1Char(' ')) << status
                            << QString::fromLatin1(said);
    };
    row("zip without an archive", "zip --store source", 2, "canlog: zip needs one ARCHIVE");
    row("zip with two", "zip --store source a.zip b.zip", 2, "canlog: zip needs one ARCHIVE");
    row("unzip without an archive", "unzip", 2, "canlog: unzip needs one ARCHIVE");
    row("merge without an archive", "merge", 2, "canlog: merge needs one ARCHIVE");
    row("check without an archive", "check", 2, "canlog: check needs one ARCHIVE");
    row("zip of no store", "zip --store none a.zip", 1, "canlog: none: no such store");
    row("zip into no folder", "zip --store source none/a.zip", 1, "canlog: none/a.zip: cannot be written");
    row("zip onto a folder", "zip --store source source", 1, "canlog: source: is a folder");
    row("unzip of no file", "unzip none.zip --store target", 1, "canlog: none.zip: no such file");
    row("unzip of no archive", "unzip text --store target", 1, "canlog: text: Invalid zip file");
    row("merge of no archive", "merge text --store target", 1, "canlog: text: is no archive");
    row("check of no archive", "check text", 1, "canlog: text: no data chunk in it");
    row("check of a folder", "check source", 1, "canlog: source: is a folder");
}

void CanlogArchivesTest::mistakesAreToldInOneLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, status);
    QFETCH(QString, said);
    makeSource();
    QFile text(path(QStringLiteral("text")));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("no archive");
    text.close();
    const Outcome outcome = canlog(arguments);
    QCOMPARE(outcome.out, QString());
    QVERIFY2(outcome.err.startsWith(said), qPrintable(outcome.err));
    QCOMPARE(outcome.err.count(QLatin1Char('\n')), 1);
    QCOMPARE(outcome.status, status);
}

QTEST_GUILESS_MAIN(CanlogArchivesTest)
#include "tst_canlogarchives.moc"
