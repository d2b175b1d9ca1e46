// SPDX-License-Identifier: Apache-2.0
#include "canlogprogram.h"
#include "frames.h"
#include "host/store/chunkstore.h"

/// The filters of `canlog show`, as a shell sees them. What each option chooses is the matter of tst_messagefilter.
class CanlogFiltersTest : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void init() { makeFolder(); }

    void filesAndStoresAreFiltered_data();
    void filesAndStoresAreFiltered();
    void filesAreShownInTheOrderOfTheirTimes();
    void aFaultyFileAmongSeveralIsNamed();
    void channelsAreChosenByName();
    void datesNeedALogThatHasOne();
    void limitCountsWhatPasses();
    void notesThatComeLate();
    void wrongValuesAreToldInOneLine_data();
    void wrongValuesAreToldInOneLine();

private:
    /// The first column of what `canlog show` prints.
    QByteArray shownIndices(const QStringList &arguments);
};

QByteArray CanlogFiltersTest::shownIndices(const QStringList &arguments)
{
    const Outcome outcome = canlog(words("show") + arguments);
    if (outcome.status != 0 || !outcome.err.isEmpty())
        return outcome.err;
    QList<QByteArray> shown;
    for (const QByteArray &row : outcome.out.trimmed().split('\n').mid(1))
        shown += row.simplified().split(' ').first();
    return shown.join(' ');
}

void CanlogFiltersTest::filesAndStoresAreFiltered_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("indices");
    const auto row = [](const char *options, const char *indices) {
        QTest::newRow(options) << words(options) << QByteArray(indices);
    };
    row("--id 100-1FF", "0 1 3");
    row("--id 100:7FF", "0");
    row("--id 123 --id 18FEF100,error", "1 2 3 4");
    row("--channel 2", "2 3");
    row("--channel 1,2 --id 123", "1 3");
    row("--from 0.002 --to 0.003", "1 2");
    row("--direction tx", "2");
    row("--direction rx --from 0.003", "3 4");
    row("--notes-only", "1 4");
    row("--notes-only --id error", "4");
}

void CanlogFiltersTest::filesAndStoresAreFiltered()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, indices);
    {
        ChunkStore store;
        QVERIFY(store.open(path(QStringLiteral("s")), ChunkStore::Mode::ReadWrite));
        store.setImportStarted();
        store.addImportedMessages(frames({Frame(0x100).channel(1).at(0, 1000), Frame(0x123).channel(1).at(0, 2000),
                                          Frame(0x18FEF100).extended().tx().channel(2).at(0, 3000),
                                          Frame(0x123).channel(2).at(0, 4000), Frame(CAN::errorFrameId).at(0, 5000)}),
                                  {{1, QStringLiteral("noted")}, {99, QStringLiteral("of the last one")}});
        store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("made up"), true);
    }
    QCOMPARE(shownIndices(words("--store s") + options), indices);
    QCOMPARE(shownIndices(words("s/chunk-00000001.qcl --type qcl") + options), indices);
}

void CanlogFiltersTest::filesAreShownInTheOrderOfTheirTimes()
{
    write(QStringLiteral("a.log"), "(1.0) can0 0A1#\n(3.0) can0 0A2#\n(5.0) can0 0A3#\n");
    write(QStringLiteral("b.log"), "(2.0) can0 0B1#\n(3.0) can0 0B2#\n(4.0) can0 0B3#\n");
    const auto identifiers = [this](const char *arguments) {
        const Outcome outcome = canlog(words("show") + words(arguments));
        QByteArray shown = outcome.err;
        for (const QByteArray &row : outcome.out.trimmed().split('\n').mid(1))
            shown += row.simplified().split(' ').value(4) + ' ';
        return shown.trimmed();
    };
    QCOMPARE(identifiers("a.log b.log"), QByteArray("0A1 0B1 0A2 0B2 0B3 0A3"));
    QCOMPARE(identifiers("b.log a.log"), QByteArray("0A1 0B1 0B2 0A2 0B3 0A3")); // of one time the file named first
    QCOMPARE(identifiers("a.log b.log --limit 3"), QByteArray("0A1 0B1 0A2"));
    QCOMPARE(identifiers("a.log b.log --from +2"), QByteArray("0A2 0B3 0A3")); // after the first message of each
    QCOMPARE(shownIndices(words("a.log b.log --from 3")), QByteArray("0 1 2 3"));
    QVERIFY(canlog(words("stats a.log b.log")).out.startsWith("Frames                   6\n"));

    const Outcome missing = canlog(words("show a.log c.log"));
    QCOMPARE(missing.status, 1);
    QCOMPARE(missing.out, QByteArray());
    QCOMPARE(missing.err, QByteArray("canlog: c.log: no such file; check its name and the folder\n"));
}

void CanlogFiltersTest::aFaultyFileAmongSeveralIsNamed()
{
    write(QStringLiteral("a.log"), "(1.0) can0 0A1#\n(3.0) can0 0A2#\n");
    write(QStringLiteral("b.log"), "(2.0) can0 0B1#\n(2.5) can0 0B2#X\n");
    const Outcome outcome = canlog(words("show a.log b.log --strict"));
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.err.startsWith("canlog: b.log: 1 of 2 lines dropped or read in part"), outcome.err.constData());
    QCOMPARE(outcome.out.count('\n'), 4);
}

void CanlogFiltersTest::channelsAreChosenByName()
{
    write(QStringLiteral("x.log"), "(1.0) can0 001#\n(1.1) vcan3 002#\n(1.2) can0 003#\n");
    QCOMPARE(shownIndices(words("x.log --channel can0")), QByteArray("0 2"));
    QCOMPARE(shownIndices(words("x.log --channel vcan3")), QByteArray("1"));
    QCOMPARE(shownIndices(words("x.log --channel can0,4")), QByteArray("0 1 2")); // vcan3 is channel 4
    const Outcome unknown = canlog(words("show x.log --channel can7"));
    QCOMPARE(unknown.err, QByteArray("canlog: x.log: warning: no channel in it is called 'can7'\n"));
    QCOMPARE(unknown.status, 0);
}

void CanlogFiltersTest::datesNeedALogThatHasOne()
{
    write(QStringLiteral("epoch.log"), "(1716284399.9) can0 001#\n(1716284400.0) can0 002#\n");
    QCOMPARE(shownIndices(words("epoch.log --from 2024-05-21T09:40Z")), QByteArray("1"));
    write(QStringLiteral("start.log"), "(0.5) can0 001#\n");
    const Outcome outcome = canlog(words("show start.log --from 2024-05-21T09:40Z"));
    QCOMPARE(outcome.err, QByteArray("canlog: start.log: does not tell its date; give the times in seconds, or as "
                                     "+seconds after its first message\n"));
    QCOMPARE(outcome.status, 1);
}

void CanlogFiltersTest::limitCountsWhatPasses()
{
    write(QStringLiteral("x.log"),
          "(1.0) can0 001#\n(1.1) can0 002#\n(1.2) can0 001#\n(1.3) can0 002#\n(1.4) can0 001#\n");
    QCOMPARE(shownIndices(words("x.log --id 1 --limit 2")), QByteArray("0 2"));
    QCOMPARE(shownIndices(words("x.log --id 2 --limit 2")), QByteArray("1 3"));
    QCOMPARE(shownIndices(words("x.log --from 1.2 --limit 1")), QByteArray("2"));
}

void CanlogFiltersTest::notesThatComeLate()
{
    // The last line gives a note to the last of 100000 messages, which were delivered long before.
    QByteArray content;
    for (int i = 1; i < 100000; ++i)
        content += " 1.000000 1  123  Rx   d 1 0C  Length = 222000 BitCount = 111 ID = 291\n";
    content += " 2.000000 1  124  Rx   d 1 0D  Length = 222000 BitCount = 111 ID = 292\nEnd TriggerBlock\n";
    write(QStringLiteral("x.asc"), content);
    QCOMPARE(shownIndices(words("x.asc --type VectorAscLog --notes-only")), QByteArray("99999"));
    QCOMPARE(shownIndices(words("x.asc --type VectorAscLog --notes-only --limit 1")), QByteArray("99999"));
    QCOMPARE(shownIndices(words("x.asc --type VectorAscLog --notes-only --id 123")), QByteArray());
    QVERIFY(canlog(words("show x.asc --type VectorAscLog --notes-only")).out.trimmed().endsWith("End TriggerBlock"));
}

void CanlogFiltersTest::wrongValuesAreToldInOneLine_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("said");
    const auto row = [](const char *options, const char *said) {
        QTest::newRow(options) << words(options) << QByteArray(said);
    };
    row("--id 200-100",
        "bad --id '200-100', wanted are hexadecimal identifiers up to 1FFFFFFF, ranges 100-1FF, masks 100:700 or "
        "'error'");
    row("--channel 0x1", "bad --channel '0x1', wanted are numbers from 0 to 65535, or names as the log has them");
    row("--from 1.0000001", "bad --from '1.0000001', wanted are seconds with up to six decimals, +seconds after the "
                            "first message, or a date and time like 2024-05-21T09:40");
    row("--from 2 --to 1", "--from 2 is after --to 1");
    row("--direction up", "bad --direction 'up', wanted is rx or tx");
}

void CanlogFiltersTest::wrongValuesAreToldInOneLine()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, said);
    write(QStringLiteral("x.log"), "(1.0) can0 1#\n");
    const Outcome outcome = canlog(words("show x.log") + options);
    QCOMPARE(outcome.err, "canlog: " + said + "; try 'canlog show --help'\n");
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 2);
}

QTEST_GUILESS_MAIN(CanlogFiltersTest)
#include "tst_canlogfilters.moc"
