// SPDX-License-Identifier: Apache-2.0
#include "canlogprogram.h"
#include "host/store/chunkstore.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <csignal>

/// What `canlog import` says of the lines it read, and what it does while it reads.
class CanlogImportTest : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void init() { makeFolder(); }

    void reportListsFaultyLinesLikeACompiler();
    void reportGivesTheReasonOfTheFormat();
    void reportTellsHowManyItDoesNotList();
    void reportComesBeforeAFailure();
    void lineThatEndsTheReadingIsNamed();
    void strictEndsWithOneWhenALineIsFaulty();
    void strictMindsNoOtherLines();
    void othersTellOfFaultyLinesAtTheEnd_data();
    void othersTellOfFaultyLinesAtTheEnd();

    void terminalShowsABarAndTheRate();
    void quietShowsNoBar_data();
    void quietShowsNoBar();
    void onlyATerminalShowsABar();
    void fileThatCannotBeReadToItsEndLeavesNothing();
    void interruptionKeepsAConsistentStore_data();
    void interruptionKeepsAConsistentStore();

    void interruptionEndsAfterTheFileAtHand();
    void ignoredInterruptionStaysIgnored();
    void compressedLogsAreReadLikePlainOnes_data();
    void compressedLogsAreReadLikePlainOnes();
    void damagedCompressedLogIsNamed_data();
    void damagedCompressedLogIsNamed();
    void standardInputIsRead_data();
    void standardInputIsRead();
    void standardInputThatCannotBeReadIsNamed_data();
    void standardInputThatCannotBeReadIsNamed();
    void temporaryFolderThatIsFullIsNamed();

private:
    /// Some confined systems have none.
    bool hasTerminals() { return shell(QStringLiteral("script -qec true /dev/null")).status == 0; }
    QByteArray gzipped(const QByteArray &content);
};

static const QByteArray badLog = "(1.5) can0 123#11\n"
                                 "bad\n"
                                 "(2.5) can0 12x#11\n";

void CanlogImportTest::reportListsFaultyLinesLikeACompiler()
{
    write(QStringLiteral("bad.log"), badLog);
    const Outcome outcome = canlog(words("import --report --type SocketCanDump bad.log"));
    QCOMPARE(outcome.out,
             QByteArray("bad.log:2:4: too few columns for a frame\n"
                        "bad.log:3:12: a number belongs here\n"
                        "bad.log: SocketCanDump, 2 messages, 2 identifiers, 1.500000 to 2.500000 (1.000 s), "
                        "CAN FD: no, 0 notes, 3 lines (1 dropped, 2 faulty), stored in canlog-store\n"));
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
}

void CanlogImportTest::reportGivesTheReasonOfTheFormat()
{
    write(QStringLiteral("short.asc"), "   0.1 1  1A4  Rx d 3 0C 1D 2E\n   0.2 1  1A4  Rx d 3 0C 1D\n");
    const Outcome outcome = canlog(words("import --type VectorAsc --report short.asc"));
    QCOMPARE(outcome.out.split('\n').first(), QByteArray("short.asc:2:28: the payload has 2 of 3 bytes"));
    const Outcome shown = canlog(words("show --type VectorAsc short.asc"));
    QCOMPARE(shown.err,
             QByteArray("canlog: short.asc: warning: 1 of 2 lines dropped or read in part, the first at line "
                        "2, column 28 (the payload has 2 of 3 bytes); 'canlog import --report' lists them\n"));
}

void CanlogImportTest::reportTellsHowManyItDoesNotList()
{
    write(QStringLiteral("bad.log"), QByteArray("bad\n").repeated(1001) + "(1.5) can0 123#11\n");
    const QList<QByteArray> lines = canlog(words("import --report --type SocketCanDump bad.log")).out.split('\n');
    QCOMPARE(lines.at(999), QByteArray("bad.log:1000:4: too few columns for a frame"));
    QCOMPARE(lines.at(1000), QByteArray("bad.log: 1 faulty line more"));
}

void CanlogImportTest::reportComesBeforeAFailure()
{
    write(QStringLiteral("x.trc"), "1) 2457.5 Rx 0300 1 00\n2) 2457.5\n");
    const Outcome outcome = canlog(words("import --type trc11 --report x.trc"));
    QCOMPARE(outcome.out, QByteArray("x.trc:2:10: the line breaks the format, reading ended here\n"));
    QVERIFY2(outcome.err.startsWith("canlog: x.trc: cannot be read as PeakTraceV11 (Import error occured at line 2"),
             outcome.err.constData());
    QCOMPARE(outcome.status, 1);
}

void CanlogImportTest::lineThatEndsTheReadingIsNamed()
{
    // The second frame states more bytes than it has.
    write(QStringLiteral("x.txt"), " 0 00000123 X 2 11 22 1.000500 R\n 0 00000123 X 8 11 22 1.000600 R\n");
    for (const char *arguments : {"import x.txt", "stats x.txt", "convert x.txt out.csv"}) {
        const Outcome outcome = canlog(words(arguments) + words("--type canking"));
        QCOMPARE(outcome.err,
                 QByteArray("canlog: x.txt: cannot be read as KvaserCanKingLog (line 2, column 33: the line "
                            "breaks the format, reading ended here); try another --type\n"));
        QCOMPARE(outcome.status, 1);
    }
}

void CanlogImportTest::strictEndsWithOneWhenALineIsFaulty()
{
    write(QStringLiteral("bad.log"), badLog);
    Outcome outcome = canlog(words("import --strict --type SocketCanDump bad.log"));
    QCOMPARE(outcome.err, QByteArray("canlog: bad.log: 2 faulty lines; --report lists them\n"));
    QCOMPARE(outcome.status, 1);
    QVERIFY(outcome.out.contains("2 messages")); // it is stored nevertheless
    outcome = canlog(words("import --again --strict --report --type SocketCanDump bad.log"));
    QCOMPARE(outcome.err, QByteArray("canlog: bad.log: 2 faulty lines\n"));
    QCOMPARE(outcome.status, 1);
}

void CanlogImportTest::othersTellOfFaultyLinesAtTheEnd_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QByteArray>("shownName"); ///< empty: nothing is to be told
    const QByteArray file = "bad.log";
    QTest::newRow("show") << QStringLiteral("\"$canlog\" show --type SocketCanDump bad.log") << file;
    QTest::newRow("stats") << QStringLiteral("\"$canlog\" stats --type SocketCanDump bad.log") << file;
    QTest::newRow("stats of few") << QStringLiteral("\"$canlog\" stats --type SocketCanDump --id 123 bad.log") << file;
    QTest::newRow("count") << QStringLiteral("\"$canlog\" count --type SocketCanDump bad.log") << file;
    QTest::newRow("convert") << QStringLiteral("\"$canlog\" convert --type SocketCanDump bad.log --to csv") << file;
    QTest::newRow("convert into a file") << QStringLiteral("\"$canlog\" convert --type SocketCanDump bad.log out.db")
                                         << file;
    QTest::newRow("standard input") << QStringLiteral("\"$canlog\" show --type SocketCanDump - < bad.log")
                                    << QByteArray("-");
    // The end is not reached.
    QTest::newRow("limit") << QStringLiteral("\"$canlog\" show --type SocketCanDump --limit 1 bad.log") << QByteArray();
    QTest::newRow("store") << QStringLiteral("\"$canlog\" import --type SocketCanDump bad.log && \"$canlog\" show")
                           << QByteArray();
}

void CanlogImportTest::othersTellOfFaultyLinesAtTheEnd()
{
    QFETCH(QString, command);
    QFETCH(QByteArray, shownName);
    write(QStringLiteral("bad.log"), badLog);
    const Outcome outcome = shell(command);
    const QByteArray warning =
        ": warning: 2 of 3 lines dropped or read in part, the first at line 2, column 4 (too few "
        "columns for a frame); 'canlog import --report' lists them\n";
    QCOMPARE(outcome.err, shownName.isEmpty() ? QByteArray() : "canlog: " + shownName + warning);
    QVERIFY(!outcome.out.isEmpty());
    QCOMPARE(outcome.status, 0);
}

void CanlogImportTest::strictMindsNoOtherLines()
{
    const QString example = QStringLiteral(CANLOG_EXAMPLES "/drive.asc"); // headers and statistics
    const Outcome outcome = canlog({QStringLiteral("import"), QStringLiteral("--strict"), QStringLiteral("--type"),
                                    QStringLiteral("VectorAscLog"), example});
    QCOMPARE(outcome.err, QByteArray());
    QCOMPARE(outcome.status, 0);
}

void CanlogImportTest::terminalShowsABarAndTheRate()
{
    if (!hasTerminals())
        QSKIP("needs pseudo terminals");
    write(QStringLiteral("small.log"), badLog);
    const Outcome outcome = shell(QStringLiteral("script -qec '\"$canlog\" import small.log' /dev/null"));
    QCOMPARE(outcome.status, 0);
    QVERIFY2(outcome.out.contains("\rsmall.log: [##############################] 100 % of 0.0 MB"),
             outcome.out.constData());
    const QRegularExpression rate(
        QStringLiteral("\rsmall.log: 0.0 MB in [0-9.]+ s, [0-9.]+ MB/s, [0-9]+ messages/s *\r\n"));
    QVERIFY2(rate.match(QString::fromUtf8(outcome.out)).hasMatch(), outcome.out.constData());
}

void CanlogImportTest::quietShowsNoBar_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("import") << QStringLiteral("import %1 small.log");
    QTest::newRow("stats") << QStringLiteral("stats %1 small.log");
    QTest::newRow("count") << QStringLiteral("count %1 small.log");
    QTest::newRow("convert") << QStringLiteral("convert %1 small.log out.csv");
}

void CanlogImportTest::quietShowsNoBar()
{
    QFETCH(QString, command);
    if (!hasTerminals())
        QSKIP("needs pseudo terminals");
    write(QStringLiteral("small.log"), badLog);
    const auto hasBar = [&](const QString &option) {
        const Outcome outcome =
            shell(QStringLiteral("script -qec '\"$canlog\" %1' /dev/null").arg(command.arg(option)));
        return outcome.status == 0 && outcome.out.contains("[####");
    };
    QVERIFY(hasBar(QString()));
    QVERIFY(!hasBar(QStringLiteral("--quiet")));
    QVERIFY(!hasBar(QStringLiteral("-q")));
}

void CanlogImportTest::fileThatCannotBeReadToItsEndLeavesNothing()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    QSKIP("a sanitizer must be the first library that is loaded");
#endif
    // A stand-in for a bad disk: the third read of the log fails.
    write(QStringLiteral("fault.c"),
          "#define _GNU_SOURCE\n"
          "#include <dlfcn.h>\n"
          "#include <errno.h>\n"
          "#include <stdio.h>\n"
          "#include <string.h>\n"
          "#include <unistd.h>\n"
          "ssize_t read(int fd, void *to, size_t size)\n"
          "{\n"
          "    char link[64], name[4096] = \"\";\n"
          "    snprintf(link, sizeof link, \"/proc/self/fd/%d\", fd);\n"
          "    if (readlink(link, name, sizeof name - 1) > 0 && strstr(name, \"bad-disk\")\n"
          "        && lseek(fd, 0, SEEK_CUR) > 4000000) {\n"
          "        errno = EIO;\n"
          "        return -1;\n"
          "    }\n"
          "    return ((ssize_t (*)(int, void *, size_t))dlsym(RTLD_NEXT, \"read\"))(fd, to, size);\n"
          "}\n");
    if (shell(QStringLiteral("cc -shared -fPIC -o fault.so fault.c -ldl")).status != 0)
        QSKIP("needs a C compiler");
    write(QStringLiteral("bad-disk.log"), QByteArray("(1.5) can0 123#1122334455667788\n").repeated(200000));
    const QString command = QStringLiteral("LC_ALL=C LD_PRELOAD=./fault.so \"$canlog\" import %1 bad-disk.log");
    Outcome outcome = shell(command.arg(QString()));
    const QRegularExpression removed(
        QStringLiteral("^canlog: bad-disk\\.log: cannot be read any further: Input/output error; the 1[0-9]{5} "
                       "messages before that are removed again; --keep-partial keeps them\n$"));
    QVERIFY2(removed.match(QString::fromUtf8(outcome.err)).hasMatch(), outcome.err.constData());
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
    ChunkStore store;
    QVERIFY(store.open(path(QStringLiteral("canlog-store")), ChunkStore::Mode::Read));
    QCOMPARE(store.messageCount(), quint64(0));
    QCOMPARE(store.warnings(), QStringList());

    outcome = shell(command.arg(QStringLiteral("--keep-partial")));
    QVERIFY2(outcome.err.endsWith(" messages before that stay in canlog-store\n"), outcome.err.constData());
    QCOMPARE(outcome.status, 1);
    // What is there is a part, so the whole file is not held yet.
    const Outcome listed = canlog(words("imports"));
    QVERIFY2(listed.out.contains("failed") && !listed.out.contains("succeeded"), listed.out.constData());
    QVERIFY(canlog(words("import bad-disk.log")).status == 0);
    QVERIFY(store.open(path(QStringLiteral("canlog-store")), ChunkStore::Mode::Read));
    QVERIFY(store.messageCount() > 100000);
}

void CanlogImportTest::onlyATerminalShowsABar()
{
    write(QStringLiteral("small.log"), badLog);
    QCOMPARE(canlog(words("import small.log")).err, QByteArray());
}

void CanlogImportTest::interruptionKeepsAConsistentStore_data()
{
    QTest::addColumn<bool>("keeps");
    QTest::newRow("kept") << true;
    QTest::newRow("removed") << false;
}

void CanlogImportTest::interruptionKeepsAConsistentStore()
{
    QFETCH(bool, keeps);
    QByteArray content;
    const int messageCount = 3000000;
    for (int i = 0; i < messageCount; ++i)
        content += "(1.5) can0 123#" + QByteArray::number(0x10000000 + i, 16) + '\n';
    write(QStringLiteral("big.log"), content);

    QProcess process;
    process.setWorkingDirectory(folder->path());
    process.start(QStringLiteral(CANLOG_PROGRAM), words(keeps ? "import --keep-partial big.log" : "import big.log"));
    QVERIFY(process.waitForStarted());
    const QString firstChunk = path(QStringLiteral("canlog-store/chunk-00000001.qcl"));
    QVERIFY(QTest::qWaitFor([&] { return QFile::exists(firstChunk); }, 60000));
    QCOMPARE(::kill(pid_t(process.processId()), SIGINT), 0);
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 130);

    ChunkStore store;
    QVERIFY(store.open(path(QStringLiteral("canlog-store")), ChunkStore::Mode::Read));
    QCOMPARE(store.warnings(), QStringList());
    if (!keeps) {
        QCOMPARE(store.messageCount(), quint64(0));
        const QByteArray text = process.readAllStandardError();
        QVERIFY2(
            QRegularExpression(QStringLiteral("^canlog: big\\.log: interrupted; the [1-9][0-9]*00000 messages stored "
                                              "until then are removed again; --keep-partial keeps them\n$"))
                .match(QString::fromUtf8(text))
                .hasMatch(),
            text.constData());
        return;
    }
    const auto kept = int(store.messageCount());
    QVERIFY(kept >= 100000 && kept < messageCount);
    QCOMPARE(kept % 100000, 0);
    QCOMPARE(process.readAllStandardError(), "canlog: big.log: interrupted; the " + QByteArray::number(kept)
                                                 + " messages stored until then stay in canlog-store\n");
    quint32 next = 0;
    QVERIFY(store.forEachMessage([&](const CAN::CanRxMessage &message, const QString &) {
        return message.messageIndex == next++ && message.data[0] == 0x10;
    }));
    QCOMPARE(int(next), kept);
}

void CanlogImportTest::interruptionEndsAfterTheFileAtHand()
{
    // Small files, so that the interruption mostly comes when there is nothing left to read of one.
    constexpr int fileCount = 400;
    QStringList arguments{QStringLiteral("import")};
    for (int i = 0; i < fileCount; ++i)
        arguments << write(QStringLiteral("%1.log").arg(i), "(1.5) can0 123#11\n");
    QProcess process;
    process.setWorkingDirectory(folder->path());
    process.start(QStringLiteral(CANLOG_PROGRAM), arguments);
    QVERIFY(process.waitForReadyRead(60000));
    QCOMPARE(::kill(pid_t(process.processId()), SIGINT), 0);
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 130);
    const int imported = process.readAllStandardOutput().count('\n');
    QVERIFY(imported >= 1 && imported < fileCount);
    ChunkStore store;
    QVERIFY(store.open(path(QStringLiteral("canlog-store")), ChunkStore::Mode::Read));
    QCOMPARE(int(store.messageCount()), imported);
}

void CanlogImportTest::ignoredInterruptionStaysIgnored()
{
    write(QStringLiteral("big.log"), QByteArray("(1.5) can0 123#1122334455667788\n").repeated(1000000));
    const Outcome outcome =
        shell(QStringLiteral("trap '' INT; \"$canlog\" import big.log & pid=$!; sleep 0.2; kill -INT "
                             "$pid; wait $pid"));
    QCOMPARE(outcome.err, QByteArray());
    QVERIFY2(outcome.out.contains("1000000 messages"), outcome.out.constData());
    QCOMPARE(outcome.status, 0);
}

QByteArray CanlogImportTest::gzipped(const QByteArray &content)
{
    write(QStringLiteral("plain"), content);
    const Outcome outcome = run(QStringLiteral("gzip"), {QStringLiteral("-c"), QStringLiteral("plain")});
    return outcome.status == 0 ? outcome.out : QByteArray();
}

void CanlogImportTest::compressedLogsAreReadLikePlainOnes_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("inTwoMembers");
    QTest::newRow("gz") << QStringLiteral("bad.log.gz") << false;
    QTest::newRow("name without .gz") << QStringLiteral("bad.log") << false;
    QTest::newRow("two members") << QStringLiteral("bad.log.gz") << true;
}

void CanlogImportTest::compressedLogsAreReadLikePlainOnes()
{
    QFETCH(QString, name);
    QFETCH(bool, inTwoMembers);
    write(name, inTwoMembers ? gzipped(badLog.left(20)) + gzipped(badLog.mid(20)) : gzipped(badLog));
    const Outcome outcome = canlog(words("import --report --type SocketCanDump") + QStringList{name});
    QCOMPARE(outcome.err, QByteArray());
    const QByteArray shown = name.toUtf8();
    QCOMPARE(outcome.out, shown + ":2:4: too few columns for a frame\n" + shown + ":3:12: a number belongs here\n"
                              + shown
                              + ": SocketCanDump, 2 messages, 2 identifiers, 1.500000 to 2.500000 (1.000 s), CAN FD: "
                                "no, 0 notes, 3 lines (1 dropped, 2 faulty), stored in canlog-store\n");
    QCOMPARE(outcome.status, 0);
    QFile imports(path(QStringLiteral("canlog-store/imports.json")));
    QVERIFY(imports.open(QIODevice::ReadOnly));
    const QByteArray whole = QFileInfo(path(name)).absoluteFilePath().toUtf8();
    QVERIFY(imports.readAll().contains("\"path\": \"" + whole + '"')); // not the copy that was read
}

void CanlogImportTest::damagedCompressedLogIsNamed_data()
{
    QTest::addColumn<QByteArray>("tail");    ///< in place of the last bytes
    QTest::addColumn<int>("length");         ///< of the file before it, from its end when negative
    QTest::addColumn<QByteArray>("problem"); ///< of the file
    QTest::addColumn<int>("messages");       ///< read before that
    const QByteArray cutOff = "the compressed data are cut off";
    QTest::newRow("checksum missing") << QByteArray() << -8 << "cannot be read any further: " + cutOff << 2000;
    QTest::newRow("wrong checksum") << QByteArray(8, 'x') << -8
                                    << QByteArray("cannot be read any further: the compressed data are damaged, and "
                                                  "what was read last may be wrong")
                                    << 2000;
    QTest::newRow("text behind it") << QByteArray("(1.5) can0 123#11\n") << 0
                                    << QByteArray("cannot be read any further: behind the compressed data stands "
                                                  "something else")
                                    << 2000;
    QTest::newRow("header only") << QByteArray() << 3 << "cannot be read: " + cutOff << -1;
}

void CanlogImportTest::damagedCompressedLogIsNamed()
{
    QFETCH(QByteArray, tail);
    QFETCH(int, length);
    QFETCH(QByteArray, problem);
    QFETCH(int, messages);
    QByteArray content = gzipped(QByteArray("(1.5) can0 123#11\n").repeated(2000));
    content.truncate(length > 0 ? length : content.size() + length);
    write(QStringLiteral("x.gz"), content + tail);
    const Outcome outcome = canlog(words("import x.gz"));
    const QByteArray kept = messages >= 0 ? "; the " + QByteArray::number(messages)
                                                + " messages before that are removed again; --keep-partial keeps them"
                                          : QByteArray();
    QCOMPARE(outcome.err, "canlog: x.gz: " + problem + "; try 'gzip --test' on it" + kept + '\n');
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
}

void CanlogImportTest::standardInputIsRead_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("plain") << QStringLiteral("cat bad.log");
    QTest::newRow("compressed") << QStringLiteral("gzip -c bad.log");
    QTest::newRow("in two members") << QStringLiteral("{ head -c 20 bad.log | gzip; tail -c +21 bad.log | gzip; }");
    QTest::newRow("byte by byte") << QStringLiteral("gzip -c bad.log | dd bs=1 status=none");
}

void CanlogImportTest::standardInputIsRead()
{
    QFETCH(QString, command);
    write(QStringLiteral("bad.log"), badLog);
    const Outcome outcome = shell(command + QStringLiteral(" | \"$canlog\" import --type SocketCanDump -"));
    QCOMPARE(outcome.err, QByteArray());
    QVERIFY2(outcome.out.startsWith("-: SocketCanDump, 2 messages, "), outcome.out.constData());
    QVERIFY2(outcome.out.contains(" 3 lines (1 dropped, 2 faulty)"), outcome.out.constData());
    QCOMPARE(outcome.status, 0);
}

void CanlogImportTest::standardInputThatCannotBeReadIsNamed_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QByteArray>("complaint");
    QTest::newRow("folder") << QStringLiteral("\"$canlog\" import - < .")
                            << QByteArray("cannot be read: Is a directory");
    QTest::newRow("cut off") << QStringLiteral("gzip -c bad.log | head -c 30 | \"$canlog\" import -")
                             << QByteArray("cannot be read: the compressed data are cut off; try 'gzip --test' on it");
    QTest::newRow("nothing") << QStringLiteral("\"$canlog\" import - < /dev/null")
                             << QByteArray("is empty; check how it was recorded or copied");
}

void CanlogImportTest::standardInputThatCannotBeReadIsNamed()
{
    QFETCH(QString, command);
    QFETCH(QByteArray, complaint);
    write(QStringLiteral("bad.log"), badLog);
    const Outcome outcome = shell(command);
    QCOMPARE(outcome.err, "canlog: -: " + complaint + '\n');
    QCOMPARE(outcome.out, QByteArray());
    QCOMPARE(outcome.status, 1);
}

void CanlogImportTest::temporaryFolderThatIsFullIsNamed()
{
    write(QStringLiteral("big.log"), QByteArray("(1.5) can0 123#11\n").repeated(20000));
    QCOMPARE(canlog(words("import big.log")).status, 0);
    // Of what is compressed, only a data chunk is copied. A limit on the size of files stands for a full disk.
    const Outcome outcome = shell(QStringLiteral("gzip -c canlog-store/chunk-00000001.qcl >big.gz; ulimit -f 100; "
                                                 "TMPDIR=$PWD exec \"$canlog\" import big.gz"));
    QVERIFY2(outcome.err.startsWith("canlog: big.gz: cannot be copied to "), outcome.err.constData());
    QVERIFY2(outcome.err.endsWith("; set TMPDIR to a folder with more space\n"), outcome.err.constData());
    QCOMPARE(outcome.err.count('\n'), 1);
    QCOMPARE(outcome.status, 1);
    QCOMPARE(QDir(folder->path()).entryList({QStringLiteral("canlog-*.qcl")}), QStringList());
}

QTEST_GUILESS_MAIN(CanlogImportTest)
#include "tst_canlogimport.moc"
