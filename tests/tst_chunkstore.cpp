// SPDX-License-Identifier: Apache-2.0
#include "frames.h"
#include "host/store/chunkformat.h"
#include "host/store/chunkstore.h"
#include "host/store/timetext.h"

#include <QBuffer>
#include <QDataStream>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QSysInfo>
#include <QTemporaryFile>
#include <QtTest>

#include <functional>
#include <limits>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

using CAN::CanRxMessage;
using DatachunkHelper::ImportFileType;
using State = ImportRecord::State;
using Notes = QMap<unsigned int, QString>;

namespace
{

constexpr auto readWrite = ChunkStore::Mode::ReadWrite;
constexpr auto readOnly = ChunkStore::Mode::Read;

/// The checksum bit by bit, after its definition: the store's own code is not asked whether it is right.
quint32 crc32(const QByteArray &bytes)
{
    quint32 remainder = 0xFFFFFFFFU;
    for (const char byte : bytes) {
        remainder ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit)
            remainder = (remainder & 1) != 0 ? remainder >> 1 ^ 0xEDB88320U : remainder >> 1;
    }
    return ~remainder;
}

/// A record as docs/chunk-format.md has it, written field by field.
QByteArray recordBytes(quint8 flags, qint32 seconds, quint8 dlc, quint8 size, const QByteArray &payload)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << flags << seconds << qint32(0) << quint32(0x123) << quint32(7) << quint16(2) << dlc << size;
    return bytes + payload;
}

QByteArray noteBytes(quint32 position, const QString &text)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_5_6);
    stream << position << text;
    return bytes;
}

/// A chunk put together by hand, so that each field can lie. As it is, it holds two messages and a note and is valid.
struct HandMade {
    QString header = QStringLiteral("42-anything - at all");
    quint32 magic = 0x51434C43;
    quint16 version = 1;
    quint8 flags = 0;
    quint32 messageCount = 2;
    qint32 firstSecond = 1;
    qint32 lastSecond = 3;
    quint32 noteCount = 1;
    QByteArray records = recordBytes(0, 3, 2, 2, QByteArrayLiteral("\x11\x22")) + recordBytes(0, 1, 0, 0, {});
    QByteArray notes = noteBytes(1, QStringLiteral("note"));
    qint64 recordsSize = -1; ///< the true one unless set
    qint64 notesSize = -1;
    QByteArray behindChecksum;

    QByteArray bytes() const
    {
        QByteArray result;
        QDataStream stream(&result, QIODevice::WriteOnly);
        stream.setVersion(QDataStream::Qt_5_6);
        stream << header << magic << version << flags << messageCount << firstSecond << qint32(0) << lastSecond
               << qint32(0) << noteCount << quint32(recordsSize < 0 ? records.size() : recordsSize)
               << quint32(notesSize < 0 ? notes.size() : notesSize);
        result += records + notes;
        QByteArray checksum;
        QDataStream(&checksum, QIODevice::WriteOnly) << crc32(result);
        return result + checksum + behindChecksum;
    }
};

QByteArray fileContent(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qUtf8Printable(path));
}

struct Content {
    Frames messages;
    QMap<int, QString> notes; ///< by position
};

Content contentOf(ChunkStore &store)
{
    Content content;
    store.forEachMessage([&](const CanRxMessage &message, const QString &note) {
        if (!note.isEmpty())
            content.notes.insert(content.messages.size(), note);
        content.messages.append(message);
        return true;
    });
    return content;
}

Content contentOf(const QString &folder)
{
    ChunkStore store;
    if (!store.open(folder, readOnly))
        qFatal("%s", qUtf8Printable(store.errorString()));
    return contentOf(store);
}

QStringList chunkNames(const QString &folder)
{
    return QDir(folder).entryList({QStringLiteral("*.qcl")}, QDir::Files, QDir::Name);
}

Frames numberedFrames(int count, quint32 firstIndex = 0)
{
    Frames result;
    result.reserve(count);
    for (int i = 0; i < count; ++i) {
        CanRxMessage message;
        message.messageIndex = firstIndex + quint32(i);
        message.timeStamp = {i / 1000, i % 1000 * 1000};
        message.id = quint32(i) & 0x7FF;
        message.dlc = 1;
        message.data[0] = quint8(i);
        result.append(message);
    }
    return result;
}

/// One import from start to finish, as the library sends it.
void import(ChunkStore &store, const QList<CanRxMessage> &messages, const Notes &notes = {},
            const QString &path = QStringLiteral("/log"))
{
    store.setImportStarted();
    store.addImportedMessages(messages, notes);
    store.setImportFinished(true, DatachunkHelper::SocketCanDump, path, true);
}

/// The text for people of a chunk's header, read as any reader of the format would.
QString headerOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QDataStream stream(&file);
    stream.setVersion(QDataStream::Qt_5_6);
    QString header;
    stream >> header;
    return header;
}

bool parses(ChunkStore &store, QIODevice &device)
{
    QDataStream stream(&device);
    bool isFd = false;
    return store.parseQCLStream(stream, isFd);
}

bool parses(ChunkStore &store, const QByteArray &bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    return parses(store, buffer);
}

unsigned int countIn(ChunkStore &store, const QByteArray &bytes)
{
    QDataStream stream(bytes);
    return store.getMsgCountFromQclStream(stream);
}

/// A pipe: hands out a few bytes at a time and can neither seek nor tell its size. Knows the largest piece it was
/// asked for, which is what the reader had made room for.
class Pipe : public QIODevice
{
public:
    explicit Pipe(const QByteArray &bytes, int pieceSize = 1 << 30)
        : content(bytes)
        , piece(pieceSize)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }
    bool isSequential() const override { return true; }

    qint64 largestRequest = 0;

protected:
    qint64 readData(char *data, qint64 size) override
    {
        largestRequest = qMax(largestRequest, size);
        const int given = int(qMin<qint64>(qMin<qint64>(size, piece), content.size() - position));
        std::memcpy(data, content.constData() + position, size_t(given));
        position += given;
        return given;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray content;
    int piece;
    int position = 0;
};

#ifdef Q_OS_UNIX
/// Runs @p work in a child process that then waits to be killed, and returns when it has got that far.
class Child
{
public:
    explicit Child(const std::function<void()> &work)
    {
        int ends[2];
        if (pipe(ends) != 0)
            qFatal("no pipe");
        process = fork();
        if (process == 0) {
            work();
            if (write(ends[1], "x", 1) == 1)
                pause();
            _exit(1);
        }
        char byte;
        if (read(ends[0], &byte, 1) != 1)
            qFatal("the child process failed");
        close(ends[0]);
        close(ends[1]);
    }
    ~Child() { killNow(); }
    void killNow()
    {
        if (process == 0)
            return;
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        process = 0;
    }
    pid_t id() const { return process; }

private:
    Q_DISABLE_COPY(Child)
    pid_t process = 0;
};

/// No file may grow above this size while the object lives: a full disk for everybody, root included.
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes)
    {
        former = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit small{bytes, limit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, former);
    }

private:
    Q_DISABLE_COPY(FullDisk)
    rlimit limit;
    void (*former)(int);
};
#endif

} // namespace

class ChunkStoreTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void exampleOfTheDocumentation();
    void handMadeChunkIsValid();
    void recordsComeBackBitForBit_data();
    void recordsComeBackBitForBit();
    void timeAsText_data();
    void timeAsText();
    void headerTellsTimeSpanAndCount_data();
    void headerTellsTimeSpanAndCount();
    void deliveryIsSplitIntoChunks_data();
    void deliveryIsSplitIntoChunks();
    void numbersAscendAcrossReopening();
    void numberOfDamagedFileIsNotUsedAgain();
    void foreignNumberIsIgnored();
    void numberOfRemovedChunkIsNotUsedAgain();
    void numbersCanRunOut();

    void notesFindTheirMessages_data();
    void notesFindTheirMessages();
    void notesOfASplitDelivery();
    void noteForLastMessage();
    void noteOfEmptyDelivery();
    void noteWithoutAnyMessageIsDropped();
    void noteStaysWithinItsImport();
    void emptyNoteIsNone();
    void notesTooLargeForAChunk();

    void importRecordIsKept();
    void importRecordOfSeveralChunks();
    void fdNotice_data();
    void fdNotice();
    void startWithoutFinishStaysIncomplete();
    void deliveryWithoutStart();
    void mergedArchive();
    void mergedArchiveThatCannotBeOpened();
    void mergedArchiveWithDamagedEntry();
    void finishWithFlagFalseAloneTellsNothing();
    void unpackedArchive();
    void archiveThatWasUnpackedBefore();
    void unpackedFolderIsAStore();
    void failedRequestIsOneRecord_data();
    void failedRequestIsOneRecord();
    void errorTextOfOneImportIsNotTheNextOnes();
    void journalOfAKilledImport();
    void damagedJournal_data();
    void damagedJournal();
    void partlyDamagedJournal();
    void secondDamageKeepsTheFirstCopy();
    void journalThatMustNotBeReplaced_data();
    void journalThatMustNotBeReplaced();
    void journalIsWrittenTwiceAnImport();

    void truncatedAtEveryByte();
    void everySingleBitFlipped();
    void hostileChunk_data();
    void hostileChunk();
    void sizesAreNotBelieved_data();
    void sizesAreNotBelieved();
    void anyDevice_data();
    void anyDevice();
    void streamSettingsDoNotMatter();
    void chunksOneAfterTheOther();
    void unusableStream();

    void loadChunkFile();
    void chunksThatAreAddedAreShown();
    void loadRefusesOtherFiles_data();
    void loadRefusesOtherFiles();

    void foreignFilesInTheFolder();
    void damageIsFoundWhenRead();
    void damageThatIsRepairedIsForgotten();
    void equalNumbers();
    void copyReplacesADamagedChunk();
    void vanishedChunk();
    void missingChunk();
    void temporaryFilesOfAKilledProgram();

    void secondWriterIsRefused();
    void writerOfAnotherProgramIsRefused();
    void lockOfAKilledProgramIsTakenOver();
    void staleLockFile_data();
    void staleLockFile();
    void lockOfAnotherMachineIsRespected();
    void openFails_data();
    void openFails();
    void openWithoutPermission();
    void openAgainClosesTheFormer();
    void failedOpenClosesTheFormer();

    void closedStoreDoesNothing();
    void storeIsKnownByItsFiles();
    void onlyAnEmptyStoreIsRemoved();
    void readOnlyStoreIsNotWritten();
    void folderRemovedDuringImport();
    void diskFullDuringImport();
    void diskFullForTheNote();
    void journalThatCannotBeWritten();

    void visitorStops();
    void visitorStoresMessages();
    void visitorOpensAnotherStore();

private:
    QString path(const QString &name) const { return dir->filePath(name); }
    QString chunkPath(int number) const
    {
        return folder + QStringLiteral("/chunk-%1.qcl").arg(number, 8, 10, QLatin1Char('0'));
    }

    std::unique_ptr<QTemporaryDir> dir;
    QString folder; ///< of the store; not made yet
};

void ChunkStoreTest::init()
{
    dir = std::make_unique<QTemporaryDir>();
    QVERIFY(dir->isValid());
    folder = dir->filePath(QStringLiteral("store"));
}

void ChunkStoreTest::cleanup()
{
    dir.reset();
}

void ChunkStoreTest::exampleOfTheDocumentation()
{
    // The fence after the heading "Example"; what follows a ";" is a comment.
    const QString text = QString::fromUtf8(fileContent(QStringLiteral(CANLOG_EXAMPLES "/../docs/chunk-format.md")));
    const QString example = text.section(QStringLiteral("## Example"), 1).section(QStringLiteral("```"), 1, 1);
    QByteArray bytes;
    for (const QString &line : example.split(QLatin1Char('\n')))
        bytes += QByteArray::fromHex(line.section(QLatin1Char(';'), 0, 0).toLatin1());
    QCOMPARE(bytes.size(), 182);

    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QVERIFY(parses(store, bytes));
    const Content content = contentOf(store);
    QCOMPARE(content.messages,
             frames({Frame(0x123, "11 22").dlc(4).at(0, 500000).channel(1).tx(),
                     Frame(0x18FEF100, "FF 00 01").dlc(8).at(1, 0).channel(1).extended().fd().brs()}));
    QCOMPARE(content.notes, (QMap<int, QString>{{1, QStringLiteral("ok")}}));
    QCOMPARE(fileContent(chunkPath(1)), bytes);
}

void ChunkStoreTest::handMadeChunkIsValid()
{
    // The hostile ones below are made from it by one change each.
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(countIn(store, HandMade().bytes()), 2U);
    QVERIFY(parses(store, HandMade().bytes()));
    const Content content = contentOf(store);
    QCOMPARE(content.messages,
             frames({Frame(0x123, "11 22").at(3, 0).channel(2).index(7), Frame(0x123).at(1, 0).channel(2).index(7)}));
    QCOMPARE(content.notes, (QMap<int, QString>{{1, QStringLiteral("note")}}));
}

void ChunkStoreTest::recordsComeBackBitForBit_data()
{
    QTest::addColumn<Frames>("messages");
    const QByteArray full = QByteArray(64, '\xFF');

    QTest::newRow("all zero") << frames({Frame()});
    QTest::newRow("all at their largest") << frames({Frame(0xFFFFFFFF)
                                                         .bytes(full)
                                                         .dlc(255)
                                                         .at(2147483647, 2147483647)
                                                         .extended()
                                                         .remote()
                                                         .fd()
                                                         .esi()
                                                         .brs()
                                                         .tx()
                                                         .channel(65535)
                                                         .index(0xFFFFFFFF)});
    QTest::newRow("smallest time") << frames({Frame(1).at(std::numeric_limits<qint32>::min(), -1)});
    QTest::newRow("more than a second of microseconds") << frames({Frame(1).at(-7, 1999999)});
    QTest::newRow("remote") << frames({Frame(1).remote().dlc(8)});
    QTest::newRow("extended") << frames({Frame(1).extended()});
    QTest::newRow("fd") << frames({Frame(1).fd()});
    QTest::newRow("esi") << frames({Frame(1).esi()});
    QTest::newRow("brs") << frames({Frame(1).brs()});
    QTest::newRow("tx") << frames({Frame(1).tx()});
    QTest::newRow("zeros at the end") << frames({Frame(1, "01 00 00")});
    QTest::newRow("zeros only") << frames({Frame(1, "00 00 00 00 00 00 00 00")});
    QTest::newRow("bytes past the length") << frames({Frame(1, "01 02 03").dlc(1)});
    QTest::newRow("bytes and no length") << frames({Frame(1, "01 02").dlc(0)});
    QTest::newRow("last byte alone") << frames({Frame(1).bytes(QByteArray(63, '\0') + '\x01').dlc(0)});
    QTest::newRow("length without bytes") << frames({Frame(1).dlc(255)});
    QTest::newRow("length above 64") << frames({Frame(1).bytes(full).dlc(65)});
    QTest::newRow("indices that repeat and descend")
        << frames({Frame(1).index(9), Frame(2).index(9), Frame(3).index(2), Frame(4).index(0)});
    QTest::newRow("different sizes") << frames(
        {Frame(1, "01"), Frame(2).bytes(full), Frame(3), Frame(4, "01 02 03 04 05 06 07 08"), Frame(5).bytes(full)});
    Frames everyLength;
    for (int length = 0; length <= 64; ++length)
        everyLength.append(Frame(quint32(length)).bytes(QByteArray(length, '\xA5')));
    QTest::newRow("every length") << everyLength;
}

void ChunkStoreTest::recordsComeBackBitForBit()
{
    QFETCH(Frames, messages);
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, messages);
    QCOMPARE(store.errorString(), QString());
    QCOMPARE(store.messageCount(), quint64(messages.size()));
    QCOMPARE(contentOf(store).messages, messages);
    QCOMPARE(contentOf(folder).messages, messages);
    QVERIFY(parses(store, fileContent(chunkPath(1))));
    Frames twice = messages;
    twice.append(messages);
    QCOMPARE(contentOf(folder).messages, twice);
}

void ChunkStoreTest::timeAsText_data()
{
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("microseconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("zero") << 0 << 0 << QStringLiteral("0.000000");
    QTest::newRow("ordinary") << 1345212884 << 318850 << QStringLiteral("1345212884.318850");
    QTest::newRow("leading zeros") << 5 << 7 << QStringLiteral("5.000007");
    QTest::newRow("seven digits of microseconds") << 2 << 1234567 << QStringLiteral("3.234567");
    QTest::newRow("both negative") << -1 << -50000 << QStringLiteral("-1.050000");
    QTest::newRow("negative microseconds") << 0 << -1 << QStringLiteral("-0.000001");
    QTest::newRow("negative microseconds, less in all") << 2 << -500000 << QStringLiteral("1.500000");
    QTest::newRow("negative seconds") << -1 << 250000 << QStringLiteral("-0.750000");
    const int least = std::numeric_limits<int>::min();
    const int most = std::numeric_limits<int>::max();
    QTest::newRow("least") << least << least << QStringLiteral("-2147485795.483648");
    QTest::newRow("most") << most << most << QStringLiteral("2147485794.483647");
}

void ChunkStoreTest::timeAsText()
{
    QFETCH(int, seconds);
    QFETCH(int, microseconds);
    QFETCH(QString, text);
    QCOMPARE(timeText({seconds, microseconds}), text);
}

void ChunkStoreTest::headerTellsTimeSpanAndCount_data()
{
    QTest::addColumn<Frames>("messages");
    QTest::addColumn<QString>("header");
    QTest::newRow("one") << frames({Frame(1).at(0, 0)}) << QStringLiteral("1-0.000000 s to 0.000000 s, 1 message");
    QTest::newRow("ascending") << frames({Frame(1).at(0, 0), Frame(2).at(12, 345678)})
                               << QStringLiteral("1-0.000000 s to 12.345678 s, 2 messages");
    QTest::newRow("unsorted") << frames({Frame(1).at(5, 1), Frame(2).at(9, 9), Frame(3).at(4, 0)})
                              << QStringLiteral("1-4.000000 s to 9.000009 s, 3 messages");
    QTest::newRow("before zero") << frames({Frame(1).at(-1, 250000), Frame(2).at(0, -1)})
                                 << QStringLiteral("1--0.750000 s to -0.000001 s, 2 messages");
    QTest::newRow("too many microseconds") << frames({Frame(1).at(1, 500000), Frame(2).at(0, 2000001)})
                                           << QStringLiteral("1-1.500000 s to 2.000001 s, 2 messages");
    QTest::newRow("widest") << frames(
        {Frame(1).at(std::numeric_limits<qint32>::min(), 0), Frame(1).at(std::numeric_limits<qint32>::max(), 999999)})
                            << QStringLiteral("1--2147483648.000000 s to 2147483647.999999 s, 2 messages");
}

void ChunkStoreTest::headerTellsTimeSpanAndCount()
{
    QFETCH(Frames, messages);
    QFETCH(QString, header);
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, messages);
    QCOMPARE(headerOf(chunkPath(1)), header);
}

void ChunkStoreTest::deliveryIsSplitIntoChunks_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QList<int>>("chunks");
    QTest::newRow("none") << 0 << QList<int>{};
    QTest::newRow("one") << 1 << QList<int>{1};
    QTest::newRow("one chunk, full") << 100000 << QList<int>{100000};
    QTest::newRow("one more") << 100001 << QList<int>{100000, 1};
    QTest::newRow("two and a half") << 250000 << QList<int>{100000, 100000, 50000};
}

void ChunkStoreTest::deliveryIsSplitIntoChunks()
{
    QFETCH(int, count);
    QFETCH(QList<int>, chunks);
    const Frames messages = numberedFrames(count);
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, messages);

    QCOMPARE(chunkNames(folder).size(), chunks.size());
    for (int i = 0; i < chunks.size(); ++i) {
        QCOMPARE(countIn(store, fileContent(chunkPath(i + 1))), unsigned(chunks.at(i)));
        QCOMPARE(headerOf(chunkPath(i + 1)).section(QLatin1Char('-'), 0, 0), QString::number(i + 1));
    }
    QCOMPARE(store.messageCount(), quint64(count));
    QCOMPARE(contentOf(store).messages, messages);

    ChunkStore reader;
    QVERIFY(reader.open(folder, readOnly));
    QCOMPARE(reader.warnings(), QStringList());
    QCOMPARE(reader.messageCount(), quint64(count));
    QCOMPARE(contentOf(reader).messages, messages);
}

void ChunkStoreTest::numbersAscendAcrossReopening()
{
    for (int round = 1; round <= 3; ++round) {
        ChunkStore store;
        QVERIFY(store.open(folder, readWrite));
        import(store, frames({Frame(quint32(round)), Frame(quint32(round))}));
        store.setImportStarted();
        store.addImportedMessages(frames({Frame(quint32(round) + 100)}), {});
        QCOMPARE(headerOf(chunkPath(2 * round - 1)).section(QLatin1Char('-'), 0, 0), QString::number(2 * round - 1));
        QCOMPARE(headerOf(chunkPath(2 * round)).section(QLatin1Char('-'), 0, 0), QString::number(2 * round));
    }
    QList<quint32> ids;
    for (const CanRxMessage &message : contentOf(folder).messages)
        ids.append(message.id);
    QCOMPARE(ids, (QList<quint32>{1, 1, 101, 2, 2, 102, 3, 3, 103}));
}

void ChunkStoreTest::numberOfDamagedFileIsNotUsedAgain()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, frames({Frame(1)}));
    import(store, frames({Frame(1)}));
    writeFile(chunkPath(2), "damaged");
    QVERIFY(store.open(folder, readWrite));
    import(store, frames({Frame(1)}));
    QVERIFY(QFile::exists(chunkPath(3)));

    HandMade chunk;
    chunk.header = QStringLiteral("20-moved here");
    writeFile(folder + QStringLiteral("/other name.qcl"), chunk.bytes());
    QVERIFY(store.open(folder, readWrite));
    import(store, frames({Frame(1)}));
    QVERIFY(QFile::exists(chunkPath(21)));
    QCOMPARE(chunkNames(folder).size(), 5);
    QCOMPARE(fileContent(chunkPath(2)), QByteArray("damaged"));
}

void ChunkStoreTest::foreignNumberIsIgnored()
{
    const QString last = folder + QStringLiteral("/chunk-999999999999999.qcl");
    QVERIFY(QDir().mkpath(folder));
    writeFile(last, "foreign");
    writeFile(chunkPath(2), "foreign, too");
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(store.warnings().size(), 2);
    for (quint32 id = 1; id <= 2; ++id) {
        import(store, frames({Frame(id)}));
        QCOMPARE(store.imports().last().state, State::Succeeded);
    }
    QVERIFY(store.open(folder, readWrite));
    import(store, frames({Frame(3)}));
    for (const int number : {1, 3, 4})
        QCOMPARE(headerOf(chunkPath(number)).section(QLatin1Char('-'), 0, 0), QString::number(number));
    QCOMPARE(contentOf(folder).messages, frames({Frame(1).index(0), Frame(2).index(0), Frame(3).index(0)}));
    QCOMPARE(chunkNames(folder).size(), 5);
    QCOMPARE(fileContent(last), QByteArray("foreign"));
    QCOMPARE(fileContent(chunkPath(2)), QByteArray("foreign, too"));
}

void ChunkStoreTest::numberOfRemovedChunkIsNotUsedAgain()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, frames({Frame(1)}));
    import(store, frames({Frame(2)}));
    QVERIFY(QFile::remove(chunkPath(2)));
    QVERIFY(store.open(folder, readWrite));
    import(store, frames({Frame(3)}));
    QCOMPARE(chunkNames(folder),
             (QStringList{QStringLiteral("chunk-00000001.qcl"), QStringLiteral("chunk-00000003.qcl")}));
}

void ChunkStoreTest::numbersCanRunOut()
{
    QVERIFY(QDir().mkpath(folder));
    HandMade chunk;
    chunk.header = QStringLiteral("999999999999998-nearly the last");
    writeFile(folder + QStringLiteral("/a.qcl"), chunk.bytes());
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(store.warnings(), QStringList());
    import(store, frames({Frame(1)}));
    QCOMPARE(store.imports().last().state, State::Succeeded);
    QCOMPARE(headerOf(folder + QStringLiteral("/chunk-999999999999999.qcl")).section(QLatin1Char('-'), 0, 0),
             QStringLiteral("999999999999999"));
    import(store, frames({Frame(1)}));
    QCOMPARE(store.imports().last().state, State::Failed);
    QVERIFY2(store.errorString().contains(QStringLiteral("no chunk number left")), qPrintable(store.errorString()));
    QCOMPARE(store.messageCount(), quint64(3));
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(store.warnings(), QStringList());
    QCOMPARE(store.messageCount(), quint64(3));
}

void ChunkStoreTest::notesFindTheirMessages_data()
{
    QTest::addColumn<Frames>("messages");
    QTest::addColumn<Notes>("notes");
    QTest::addColumn<QStringList>("expected"); // one a message
    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    const QString c = QStringLiteral("c");
    const Frames three = frames({Frame(1).index(10), Frame(2).index(11), Frame(3).index(12)});

    QTest::newRow("none") << three << Notes{} << QStringList{QString(), QString(), QString()};
    QTest::newRow("by index") << three << Notes{{10, a}, {11, b}, {12, c}} << QStringList{a, b, c};
    QTest::newRow("unknown key") << three << Notes{{10, a}, {13, b}} << QStringList{a, QString(), b};
    QTest::newRow("key before the delivery") << three << Notes{{3, b}} << QStringList{QString(), QString(), b};
    QTest::newRow("unknown keys join the last")
        << three << Notes{{0, a}, {12, b}, {99, c}} << QStringList{QString(), QString(), QStringLiteral("b | a | c")};
    QTest::newRow("index twice: the first") << frames({Frame(1).index(5), Frame(2).index(6), Frame(3).index(5)})
                                            << Notes{{5, a}, {6, b}} << QStringList{a, b, QString()};
    QTest::newRow("empty text") << three << Notes{{10, QString()}, {11, QStringLiteral("")}, {77, QString()}}
                                << QStringList{QString(), QString(), QString()};
    const QString odd = QStringLiteral("\u00e4 \U0001F697\n\t%1 | ") + QChar(0xD800) + QChar(0);
    QTest::newRow("any characters") << three << Notes{{11, odd}} << QStringList{QString(), odd, QString()};
    QTest::newRow("largest key") << frames({Frame(1).index(0xFFFFFFFF), Frame(2).index(0)}) << Notes{{0xFFFFFFFF, a}}
                                 << QStringList{a, QString()};
}

void ChunkStoreTest::notesFindTheirMessages()
{
    QFETCH(Frames, messages);
    QFETCH(Notes, notes);
    QFETCH(QStringList, expected);
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, messages, notes);
    for (const QString &from : {QStringLiteral("writer"), QStringLiteral("reader")}) {
        QStringList found;
        QMap<int, QString> byPosition =
            from == QLatin1String("writer") ? contentOf(store).notes : contentOf(folder).notes;
        for (int i = 0; i < messages.size(); ++i)
            found.append(byPosition.value(i));
        QCOMPARE(found, expected);
    }
    const int noteCount =
        int(std::count_if(expected.cbegin(), expected.cend(), [](const QString &text) { return !text.isEmpty(); }));
    QCOMPARE(store.imports().last().noteCount, quint64(noteCount));
}

void ChunkStoreTest::notesOfASplitDelivery()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    const QString text = QStringLiteral("note %1");
    import(store, numberedFrames(250000, 1000),
           {{1000, text.arg(0)}, {100999, text.arg(99999)}, {101000, text.arg(100000)}, {250999, text.arg(249999)}, {
                5,
                QStringLiteral("x")
            }});
    const QMap<int, QString> expected{{0, text.arg(0)},
                                      {99999, text.arg(99999)},
                                      {100000, text.arg(100000)},
                                      {249999, text.arg(249999) + QStringLiteral(" | x")}};
    QCOMPARE(contentOf(store).notes, expected);
    QCOMPARE(contentOf(folder).notes, expected);
    QCOMPARE(store.imports().last().noteCount, quint64(4));
}

void ChunkStoreTest::noteForLastMessage()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportStarted();
    store.addImportedMessages(numberedFrames(3), {{1, QStringLiteral("middle")}});
    store.addImportedMessages(numberedFrames(2, 3), {});
    store.addImportedMessages({}, {});
    const QByteArray firstChunk = fileContent(chunkPath(1));
    const QString header = headerOf(chunkPath(2));
    store.addMessageNoteToLastMessage(QStringLiteral("end"));
    QCOMPARE(contentOf(store).notes, (QMap<int, QString>{{1, QStringLiteral("middle")}, {4, QStringLiteral("end")}}));
    store.addMessageNoteToLastMessage(QStringLiteral("really"));
    const QMap<int, QString> expected{{1, QStringLiteral("middle")}, {4, QStringLiteral("end | really")}};
    QCOMPARE(contentOf(store).notes, expected);
    store.setImportFinished(true, DatachunkHelper::VectorAscLog, QStringLiteral("/log"), true);

    QCOMPARE(store.imports().last().noteCount, quint64(2));
    QCOMPARE(fileContent(chunkPath(1)), firstChunk);
    QCOMPARE(headerOf(chunkPath(2)), header);
    QCOMPARE(chunkNames(folder).size(), 2);
    const Content content = contentOf(folder);
    QCOMPARE(content.notes, expected);
    QCOMPARE(content.messages.size(), 5);
}

void ChunkStoreTest::noteOfEmptyDelivery()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportStarted();
    store.addImportedMessages(numberedFrames(2), {{1, QStringLiteral("one")}});
    store.addImportedMessages({}, {{0, QStringLiteral("two")}, {9, QStringLiteral("three")}});
    store.setImportFinished(true, DatachunkHelper::NorvikTxt, QStringLiteral("/log"), true);
    const QMap<int, QString> expected{{1, QStringLiteral("one | two | three")}};
    QCOMPARE(contentOf(store).notes, expected);
    QCOMPARE(contentOf(folder).notes, expected);
    QCOMPARE(store.imports().last().noteCount, quint64(1));
    QCOMPARE(chunkNames(folder).size(), 1);
}

void ChunkStoreTest::noteWithoutAnyMessageIsDropped()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.addMessageNoteToLastMessage(QStringLiteral("no import"));
    store.addImportedMessages({}, {{0, QStringLiteral("no import")}});
    QCOMPARE(store.imports().size(), 0);
    store.setImportStarted();
    store.addMessageNoteToLastMessage(QStringLiteral("no message"));
    store.addImportedMessages({}, {{0, QStringLiteral("no message")}});
    store.setImportFinished(true, DatachunkHelper::NorvikTxt, QStringLiteral("/log"), true);
    QCOMPARE(store.imports().last().state, State::Succeeded);
    QCOMPARE(store.imports().last().noteCount, quint64(0));
    QCOMPARE(store.errorString(), QString());
    QCOMPARE(chunkNames(folder), QStringList());
}

void ChunkStoreTest::noteStaysWithinItsImport()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(2));
    store.addMessageNoteToLastMessage(QStringLiteral("between imports"));
    store.setImportStarted();
    store.addMessageNoteToLastMessage(QStringLiteral("of the second"));
    store.setImportFinished(true, DatachunkHelper::VectorAscLog, QStringLiteral("/log"), true);
    QCOMPARE(contentOf(store).notes.size(), 0);
}

void ChunkStoreTest::emptyNoteIsNone()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportStarted();
    store.addImportedMessages(numberedFrames(1), {});
    const QByteArray before = fileContent(chunkPath(1));
    store.addMessageNoteToLastMessage(QString());
    QCOMPARE(fileContent(chunkPath(1)), before);
    QCOMPARE(store.imports().last().noteCount, quint64(0));
}

void ChunkStoreTest::notesTooLargeForAChunk()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportStarted();
    store.addImportedMessages(numberedFrames(1), {});
    store.addImportedMessages(numberedFrames(1, 1), {{1, QString(128 * 1024 * 1024, QLatin1Char('n'))}});
    store.setImportFinished(true, DatachunkHelper::NorvikTxt, QStringLiteral("/log"), true);
    QCOMPARE(store.imports().last().state, State::Failed);
    QVERIFY2(store.errorString().contains(QStringLiteral("notes")), qPrintable(store.errorString()));
    QCOMPARE(chunkNames(folder).size(), 1);
}

void ChunkStoreTest::importRecordIsKept()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QSignalSpy finished(&store, &ChunkStore::importFinished);
    store.setImportStarted();
    QCOMPARE(store.imports().size(), 1);
    QCOMPARE(store.imports().last().state, State::Incomplete);
    store.addImportedMessages(frames({Frame(1).at(5, 7), Frame(2).at(-3, 9), Frame(3).at(4, 0).fd()}),
                              {{1, QStringLiteral("n")}});
    store.setImportFinished(true, DatachunkHelper::VectorAscLog, QStringLiteral("/some/\u00e4 log.asc"), true);
    QCOMPARE(finished.size(), 1);
    store.setImportStarted();
    store.setImportFinished(false, DatachunkHelper::GenericFile, QStringLiteral("/b"), true);
    QCOMPARE(finished.size(), 2);

    QVector<QVector<ImportRecord>> seen{store.imports()};
    seen.append({finished.at(0).at(0).value<ImportRecord>(), finished.at(1).at(0).value<ImportRecord>()});
    ChunkStore reader;
    QVERIFY(reader.open(folder, readOnly));
    QCOMPARE(reader.warnings(), QStringList());
    seen.append(reader.imports());
    for (const QVector<ImportRecord> &records : qAsConst(seen)) {
        QCOMPARE(records.size(), 2);
        const ImportRecord &good = records.at(0);
        QCOMPARE(good.path, QStringLiteral("/some/\u00e4 log.asc"));
        QCOMPARE(good.type, DatachunkHelper::VectorAscLog);
        QCOMPARE(good.state, State::Succeeded);
        QCOMPARE(good.messageCount, quint64(3));
        QVERIFY(good.firstTime == CanTimeStamp(-3, 9));
        QVERIFY(good.lastTime == CanTimeStamp(5, 7));
        QCOMPARE(good.noteCount, quint64(1));
        QVERIFY(good.fdSeen);
        QCOMPARE(good.errorText, QString());
        const ImportRecord &bad = records.at(1);
        QCOMPARE(bad.path, QStringLiteral("/b"));
        QCOMPARE(bad.type, DatachunkHelper::GenericFile);
        QCOMPARE(bad.state, State::Failed);
        QCOMPARE(bad.messageCount, quint64(0));
        QVERIFY(bad.firstTime == CanTimeStamp());
        QVERIFY(bad.lastTime == CanTimeStamp());
        QVERIFY(!bad.fdSeen);
    }
}

void ChunkStoreTest::importRecordOfSeveralChunks()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportStarted();
    store.addImportedMessages(frames({Frame(1).at(5, 0), Frame(1).at(6, 0)}), {{0, QStringLiteral("a")}});
    store.addImportedMessages(frames({Frame(1).at(2, 0)}), {{0, QStringLiteral("b")}});
    store.addImportedMessages(frames({Frame(1).at(3, 0).fd(), Frame(1).at(9, 0)}), {});
    store.addImportedMessages(frames({Frame(1).at(4, 0)}), {});
    const ImportRecord record = store.imports().last();
    QCOMPARE(record.messageCount, quint64(6));
    QVERIFY(record.firstTime == CanTimeStamp(2, 0));
    QVERIFY(record.lastTime == CanTimeStamp(9, 0));
    QCOMPARE(record.noteCount, quint64(2));
    QVERIFY(record.fdSeen);
}

void ChunkStoreTest::fdNotice_data()
{
    QTest::addColumn<bool>("fdFrame");
    QTest::addColumn<QList<bool>>("notices");
    QTest::addColumn<bool>("fdSeen");
    QTest::newRow("nothing") << false << QList<bool>{} << false;
    QTest::newRow("frame") << true << QList<bool>{} << true;
    QTest::newRow("notice") << false << QList<bool>{true} << true;
    QTest::newRow("notice of none") << false << QList<bool>{false} << false;
    QTest::newRow("frame, notice of none") << true << QList<bool>{false} << true;
    QTest::newRow("one of several entries") << false << QList<bool>{false, true, false} << true;
}

void ChunkStoreTest::fdNotice()
{
    QFETCH(bool, fdFrame);
    QFETCH(QList<bool>, notices);
    QFETCH(bool, fdSeen);
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.notifyFdMessage(true); // belongs to no import
    store.setImportStarted();
    Frame frame(1);
    if (fdFrame)
        frame.fd();
    store.addImportedMessages(frames({frame}), {});
    for (const bool notice : qAsConst(notices))
        store.notifyFdMessage(notice);
    store.setImportFinished(true, DatachunkHelper::WiresharkCsv, QStringLiteral("/log"), true);
    QCOMPARE(store.imports().last().fdSeen, fdSeen);
    ChunkStore reader;
    QVERIFY(reader.open(folder, readOnly));
    QCOMPARE(reader.imports().last().fdSeen, fdSeen);
}

void ChunkStoreTest::startWithoutFinishStaysIncomplete()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QSignalSpy finished(&store, &ChunkStore::importFinished);
    store.setImportStarted();
    store.addImportedMessages(numberedFrames(2), {});
    import(store, numberedFrames(3));
    QCOMPARE(finished.size(), 1);
    const auto check = [](const QVector<ImportRecord> &records) {
        QCOMPARE(records.size(), 2);
        QCOMPARE(records.at(0).state, State::Incomplete);
        QCOMPARE(records.at(0).messageCount, quint64(2));
        QCOMPARE(records.at(1).state, State::Succeeded);
        QCOMPARE(records.at(1).messageCount, quint64(3));
    };
    check(store.imports());
    QVERIFY(store.open(folder, readWrite));
    check(store.imports());
}

void ChunkStoreTest::deliveryWithoutStart()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.addImportedMessages(numberedFrames(2), {});
    store.addImportedMessages(numberedFrames(1, 2), {});
    store.addMessageNoteToLastMessage(QStringLiteral("end"));
    QCOMPARE(store.imports().size(), 1);
    QCOMPARE(store.imports().last().state, State::Incomplete);
    QCOMPARE(store.imports().last().messageCount, quint64(3));
    QCOMPARE(contentOf(store).notes, (QMap<int, QString>{{2, QStringLiteral("end")}}));
    import(store, numberedFrames(1));
    QCOMPARE(store.imports().size(), 2);
    QCOMPARE(store.imports().last().messageCount, quint64(1));
}

void ChunkStoreTest::mergedArchive()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QSignalSpy finished(&store, &ChunkStore::importFinished);
    HandMade withFd;
    withFd.flags = 1;
    withFd.records = recordBytes(0x04, 1, 0, 0, {}) + recordBytes(0, 3, 0, 0, {});

    store.setImportStarted();
    bool isFd = true;
    QDataStream first(HandMade().bytes());
    QVERIFY(store.parseQCLStream(first, isFd));
    QVERIFY(!isFd);
    store.notifyFdMessage(isFd);
    QDataStream second(withFd.bytes());
    QVERIFY(store.parseQCLStream(second, isFd));
    QVERIFY(isFd);
    store.notifyFdMessage(isFd);
    store.notifyZipFileLoaded(QStringLiteral("logs"));
    store.setImportFinished(true, DatachunkHelper::QclFile, QString(), false);
    QCOMPARE(finished.size(), 0);
    store.setImportFinished(true, DatachunkHelper::QclZipArchive, QStringLiteral("/logs.zip"), true);
    QCOMPARE(finished.size(), 1);

    const auto check = [](const QVector<ImportRecord> &records) {
        QCOMPARE(records.size(), 1);
        QCOMPARE(records.at(0).path, QStringLiteral("/logs.zip"));
        QCOMPARE(records.at(0).type, DatachunkHelper::QclZipArchive);
        QCOMPARE(records.at(0).state, State::Succeeded);
        QCOMPARE(records.at(0).messageCount, quint64(4));
        QCOMPARE(records.at(0).noteCount, quint64(2));
        QVERIFY(records.at(0).fdSeen);
    };
    check(store.imports());
    check({finished.at(0).at(0).value<ImportRecord>()});
    QCOMPARE(chunkNames(folder),
             (QStringList{QStringLiteral("chunk-00000001.qcl"), QStringLiteral("chunk-00000002.qcl")}));
    QVERIFY(store.open(folder, readWrite));
    check(store.imports());
    QCOMPARE(contentOf(store).messages.size(), 4);
}

void ChunkStoreTest::mergedArchiveThatCannotBeOpened()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QSignalSpy finished(&store, &ChunkStore::importFinished);
    store.setImportStarted();
    store.setImportFinished(false, DatachunkHelper::QclFile, QString(), false);
    store.setImportFinished(false, DatachunkHelper::QclZipArchive, QStringLiteral("/bad.zip"), true);
    QCOMPARE(finished.size(), 1);
    QCOMPARE(store.imports().size(), 1);
    QCOMPARE(store.imports().at(0).state, State::Failed);
    QCOMPARE(store.imports().at(0).path, QStringLiteral("/bad.zip"));
}

void ChunkStoreTest::mergedArchiveWithDamagedEntry()
{
    // The outcome of the library is that of the last entry alone.
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportStarted();
    QVERIFY(!parses(store, "damaged"));
    QVERIFY(!parses(store, "damaged, too"));
    QVERIFY(parses(store, HandMade().bytes()));
    store.setImportFinished(true, DatachunkHelper::QclFile, QString(), false);
    store.setImportFinished(true, DatachunkHelper::QclZipArchive, QStringLiteral("/a.zip"), true);
    QCOMPARE(store.imports().last().state, State::Succeeded);
    QCOMPARE(store.imports().last().messageCount, quint64(2));
    const QString text = store.imports().last().errorText;
    QVERIFY2(text.contains(QStringLiteral("left out")) && text.contains(QStringLiteral("1 more")), qPrintable(text));
}

void ChunkStoreTest::finishWithFlagFalseAloneTellsNothing()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QSignalSpy finished(&store, &ChunkStore::importFinished);
    store.setImportStarted();
    QVERIFY(parses(store, HandMade().bytes()));
    store.setImportFinished(true, DatachunkHelper::QclFile, QString(), false);
    QCOMPARE(finished.size(), 0);
    QCOMPARE(store.imports().size(), 1);
    QCOMPARE(store.imports().at(0).state, State::Succeeded);

    import(store, numberedFrames(1));
    QCOMPARE(finished.size(), 1);
    QCOMPARE(store.imports().size(), 2);
    QCOMPARE(store.imports().at(0).state, State::Succeeded);
    QCOMPARE(store.imports().at(0).messageCount, quint64(2));
    QCOMPARE(store.imports().at(1).messageCount, quint64(1));
}

void ChunkStoreTest::unpackedArchive()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QSignalSpy finished(&store, &ChunkStore::importFinished);
    const QDir unpacked(folder + QStringLiteral("/logs.zip"));
    for (const QString &name : {QStringLiteral("a.qcl"), QStringLiteral("b.qcl")})
        store.notifyNewZippedFile(QStringLiteral("1-x"), unpacked.filePath(name), unpacked,
                                  QStringLiteral("/home/logs.zip"));
    QCOMPARE(finished.size(), 0);
    store.notifyZipFileLoaded(QStringLiteral("logs.zip"));
    QCOMPARE(finished.size(), 1);
    const auto check = [](const QVector<ImportRecord> &records) {
        QCOMPARE(records.size(), 1);
        QCOMPARE(records.at(0).path, QStringLiteral("/home/logs.zip"));
        QCOMPARE(records.at(0).type, DatachunkHelper::QclZipArchive);
        QCOMPARE(records.at(0).state, State::Succeeded);
        QCOMPARE(records.at(0).messageCount, quint64(0));
    };
    check({finished.at(0).at(0).value<ImportRecord>()});
    QVERIFY(store.open(folder, readWrite));
    check(store.imports());
}

void ChunkStoreTest::archiveThatWasUnpackedBefore()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QSignalSpy finished(&store, &ChunkStore::importFinished);
    // What a direct call of a loader left open must not take the notice for its own.
    store.addImportedMessages(numberedFrames(1), {});
    store.notifyZipFileLoaded(QStringLiteral("logs.zip"));
    QCOMPARE(finished.size(), 1);
    QCOMPARE(store.imports().size(), 2);
    QCOMPARE(store.imports().at(0).state, State::Incomplete);
    QCOMPARE(store.imports().at(1).path, QStringLiteral("logs.zip"));
    QCOMPARE(store.imports().at(1).state, State::Succeeded);
    import(store, numberedFrames(1));
    QCOMPARE(finished.size(), 2);
    QCOMPARE(store.imports().size(), 3);
}

void ChunkStoreTest::unpackedFolderIsAStore()
{
    // Names in an archive are free, but for their end.
    const QString unpacked = folder + QStringLiteral("/logs.zip");
    QVERIFY(QDir().mkpath(unpacked));
    HandMade chunk;
    chunk.header = QStringLiteral("9-later");
    chunk.notes.clear();
    chunk.noteCount = 0;
    writeFile(unpacked + QStringLiteral("/a.qcl"), chunk.bytes());
    writeFile(unpacked + QStringLiteral("/b.qcl"), HandMade().bytes());
    chunk.header = QStringLiteral("3-earlier");
    chunk.records = recordBytes(0, 1, 5, 0, {}) + recordBytes(0, 3, 6, 0, {});
    writeFile(unpacked + QStringLiteral("/c.qcl"), chunk.bytes());

    ChunkStore outer;
    QVERIFY(outer.open(folder, readWrite));
    QCOMPARE(outer.messageCount(), quint64(0));
    ChunkStore inner;
    QVERIFY(inner.open(unpacked, readOnly));
    QCOMPARE(inner.warnings(), QStringList());
    QCOMPARE(inner.imports().size(), 0);
    QList<int> lengths;
    for (const CanRxMessage &message : contentOf(inner).messages)
        lengths.append(message.dlc);
    QCOMPARE(lengths, (QList<int>{5, 6, 2, 0, 2, 0}));
}

void ChunkStoreTest::failedRequestIsOneRecord_data()
{
    QTest::addColumn<bool>("started");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("type");
    QTest::newRow("archive, with text") << false << QStringLiteral("Invalid zip file") << 0;
    QTest::newRow("archive, without text") << false << QString() << 0;
    QTest::newRow("missing file") << true << QString() << int(DatachunkHelper::SocketCanDump);
    QTest::newRow("with text") << true << QStringLiteral("no good") << int(DatachunkHelper::IxxatLog);
}

void ChunkStoreTest::failedRequestIsOneRecord()
{
    QFETCH(bool, started);
    QFETCH(QString, text);
    QFETCH(int, type);
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QSignalSpy finished(&store, &ChunkStore::importFinished);
    if (started)
        store.setImportStarted();
    if (!text.isEmpty())
        store.setLastErrorText(text);
    store.setImportFinished(false, ImportFileType(type), QStringLiteral("/gone"), true);
    QCOMPARE(finished.size(), 1);
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(store.imports().size(), 1);
    const ImportRecord record = store.imports().at(0);
    QCOMPARE(record.state, State::Failed);
    QCOMPARE(record.path, QStringLiteral("/gone"));
    QCOMPARE(int(record.type), type);
    QCOMPARE(record.errorText, text);
    QCOMPARE(record.messageCount, quint64(0));
}

void ChunkStoreTest::errorTextOfOneImportIsNotTheNextOnes()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setLastErrorText(QStringLiteral("first"));
    store.setImportFinished(false, DatachunkHelper::QclZipArchive, QStringLiteral("/a"), true);
    store.setImportFinished(false, DatachunkHelper::QclZipArchive, QStringLiteral("/b"), true);
    store.setLastErrorText(QStringLiteral("before a start"));
    store.setImportStarted();
    store.setImportFinished(false, DatachunkHelper::NorvikTxt, QStringLiteral("/c"), true);
    store.setImportStarted();
    store.setLastErrorText(QStringLiteral("but it went well"));
    store.setImportFinished(true, DatachunkHelper::NorvikTxt, QStringLiteral("/d"), true);
    QStringList texts;
    for (const ImportRecord &record : store.imports())
        texts.append(record.errorText);
    QCOMPARE(texts, (QStringList{QStringLiteral("first"), QString(), QString(), QString()}));
}

void ChunkStoreTest::journalOfAKilledImport()
{
#ifdef Q_OS_UNIX
    {
        Child child([this] {
            auto *store = new ChunkStore;
            store->open(folder, readWrite);
            import(*store, numberedFrames(5));
            store->setImportStarted();
            store->addImportedMessages(frames({Frame(1).at(8, 0), Frame(2).at(7, 0)}), {{1, QStringLiteral("n")}});
            store->addImportedMessages(frames({Frame(3).at(9, 0).fd()}), {});
        });
    }
    for (const ChunkStore::Mode mode : {readOnly, readWrite}) {
        ChunkStore store;
        QVERIFY2(store.open(folder, mode), qPrintable(store.errorString()));
        QCOMPARE(store.warnings(), QStringList());
        QCOMPARE(store.messageCount(), quint64(8));
        QCOMPARE(contentOf(store).messages.size(), 8);
        QCOMPARE(store.imports().size(), 2);
        QCOMPARE(store.imports().at(0).state, State::Succeeded);
        QCOMPARE(store.imports().at(0).messageCount, quint64(5));
        const ImportRecord killed = store.imports().at(1);
        QCOMPARE(killed.state, State::Incomplete);
        QCOMPARE(killed.path, QString());
        QCOMPARE(killed.messageCount, quint64(3));
        QVERIFY(killed.firstTime == CanTimeStamp(7, 0));
        QVERIFY(killed.lastTime == CanTimeStamp(9, 0));
        QCOMPARE(killed.noteCount, quint64(1));
        QVERIFY(killed.fdSeen);
    }
    // What comes later is not taken for its messages.
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(4));
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(store.imports().size(), 3);
    QCOMPARE(store.imports().at(1).state, State::Incomplete);
    QCOMPARE(store.imports().at(1).messageCount, quint64(3));
    QCOMPARE(store.imports().at(2).messageCount, quint64(4));
#else
    QSKIP("needs fork()");
#endif
}

void ChunkStoreTest::damagedJournal_data()
{
    QTest::addColumn<QByteArray>("journal");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("no JSON") << QByteArray("garbage");
    QTest::newRow("cut off") << QByteArray("{\"version\": 1, \"imports\": [{\"path\": ");
    QTest::newRow("an array") << QByteArray("[]");
    QTest::newRow("another object") << QByteArray("{}");
    QTest::newRow("no such version") << QByteArray("{\"version\": 0, \"imports\": []}");
    QTest::newRow("version is a text") << QByteArray("{\"version\": \"2\", \"imports\": []}");
    QTest::newRow("version with a fraction") << QByteArray("{\"version\": 2.5, \"imports\": []}");
    QTest::newRow("imports are no list") << QByteArray("{\"version\": 1, \"imports\": 5}");
    QTest::newRow("entry is no object") << QByteArray("{\"version\": 1, \"imports\": [5]}");
    QTest::newRow("entry is empty") << QByteArray("{\"version\": 1, \"imports\": [{}]}");
    QTest::newRow("nested too deeply") << QByteArray(100000, '[');
    const QByteArray entry = "{\"version\": 1, \"imports\": [{\"path\": \"\", \"type\": 1, \"state\": \"failed\", "
                             "\"messageCount\": %1, \"firstTime\": [0, %2], \"lastTime\": [0, 0], \"noteCount\": 0, "
                             "\"fdSeen\": false, \"errorText\": \"\", \"firstChunk\": %3, \"chunks\": [%4]}]}";
    const auto with = [&](const char *count, const char *time, const char *first, const char *chunks) {
        return QByteArray(entry).replace("%1", count).replace("%2", time).replace("%3", first).replace("%4", chunks);
    };
    QTest::newRow("negative count") << with("-1", "0", "1", "");
    QTest::newRow("count with a fraction") << with("1.5", "0", "1", "");
    QTest::newRow("enormous count") << with("1e300", "0", "1", "");
    QTest::newRow("count is a text") << with("\"1\"", "0", "1", "");
    QTest::newRow("time above 32 bits") << with("1", "2147483648", "1", "");
    QTest::newRow("time of three parts") << with("1", "1, 2", "1", "");
    QTest::newRow("enormous chunk number") << with("1", "0", "1000000000000001", "");
    QTest::newRow("enormous number of a chunk") << with("1", "0", "1", "1, 1000000000000000");
    QTest::newRow("chunk is a text") << with("1", "0", "1", "\"1\"");
}

void ChunkStoreTest::damagedJournal()
{
    QFETCH(QByteArray, journal);
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(3));
    writeFile(folder + QStringLiteral("/imports.json"), journal);
    for (const ChunkStore::Mode mode : {readOnly, readWrite}) {
        QVERIFY(store.open(folder, mode));
        QCOMPARE(store.warnings().size(), 1);
        QVERIFY2(store.warnings().at(0).startsWith(QStringLiteral("imports.json: ")),
                 qPrintable(store.warnings().at(0)));
        QCOMPARE(store.imports().size(), 0);
        QCOMPARE(contentOf(store).messages, numberedFrames(3));
    }
    QCOMPARE(fileContent(folder + QStringLiteral("/imports-damaged.json")), journal);
    // There is a good journal again, even when nothing is imported.
    QVERIFY(store.open(folder, readOnly));
    QCOMPARE(store.warnings(), QStringList());
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(1));
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(store.warnings(), QStringList());
    QCOMPARE(store.imports().size(), 1);
    QCOMPARE(store.messageCount(), quint64(4));
}

void ChunkStoreTest::partlyDamagedJournal()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    for (int i = 0; i < 3; ++i)
        import(store, numberedFrames(1), {}, QString::number(i));
    const QString journal = folder + QStringLiteral("/imports.json");
    QJsonObject root = QJsonDocument::fromJson(fileContent(journal)).object();
    QJsonArray entries = root.value(QStringLiteral("imports")).toArray();
    QJsonObject second = entries.at(1).toObject();
    second.insert(QStringLiteral("state"), QStringLiteral("unheard of"));
    entries.replace(1, second);
    root.insert(QStringLiteral("imports"), entries);
    const QByteArray damaged = QJsonDocument(root).toJson();
    writeFile(journal, damaged);
    const auto checkImports = [&] {
        QCOMPARE(store.imports().size(), 2);
        QCOMPARE(store.imports().at(0).path, QStringLiteral("0"));
        QCOMPARE(store.imports().at(1).path, QStringLiteral("2"));
    };
    for (const ChunkStore::Mode mode : {readOnly, readWrite}) {
        QVERIFY(store.open(folder, mode));
        QCOMPARE(store.warnings(), QStringList{QStringLiteral("imports.json: 1 of its entries cannot be read")});
        checkImports();
    }
    // What could be read is written at once, what could not is in the copy.
    QVERIFY(store.open(folder, readOnly));
    QCOMPARE(store.warnings(), QStringList());
    checkImports();
    QCOMPARE(fileContent(folder + QStringLiteral("/imports-damaged.json")), damaged);
}

void ChunkStoreTest::secondDamageKeepsTheFirstCopy()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    for (const char *journal : {"first", "second", "third"}) {
        writeFile(folder + QStringLiteral("/imports.json"), journal);
        QVERIFY(store.open(folder, readWrite));
    }
    QCOMPARE(fileContent(folder + QStringLiteral("/imports-damaged.json")), QByteArray("first"));
    QCOMPARE(fileContent(folder + QStringLiteral("/imports-damaged-2.json")), QByteArray("second"));
    QCOMPARE(fileContent(folder + QStringLiteral("/imports-damaged-3.json")), QByteArray("third"));
}

void ChunkStoreTest::journalThatMustNotBeReplaced_data()
{
    QTest::addColumn<QString>("kind");
    for (const char *kind : {"later version", "folder", "fifo", "no permission"})
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

void ChunkStoreTest::journalThatMustNotBeReplaced()
{
    QFETCH(QString, kind);
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(3));
    const QString journal = folder + QStringLiteral("/imports.json");
    const QByteArray later = "{\"version\": 2, \"imports\": []}";
    if (kind == QLatin1String("later version"))
        writeFile(journal, later);
    else if (kind != QLatin1String("no permission"))
        QVERIFY(QFile::remove(journal));
    if (kind == QLatin1String("folder"))
        QVERIFY(QDir().mkpath(journal));
#ifdef Q_OS_UNIX
    if (kind == QLatin1String("fifo"))
        QCOMPARE(mkfifo(QFile::encodeName(journal).constData(), 0600), 0);
    if (kind == QLatin1String("no permission")) {
        if (geteuid() == 0)
            QSKIP("root may read everything");
        QVERIFY(QFile::setPermissions(journal, {}));
    }
#endif
    const QStringList before = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System);

    store.open(path(QStringLiteral("other")), readWrite); // gives the lock back
    QVERIFY(!store.open(folder, readWrite));
    const QString start =
        QStringLiteral("The store %1 cannot be written: its import journal imports.json cannot be read: ").arg(folder);
    QVERIFY2(store.errorString().startsWith(start), qPrintable(store.errorString()));
    QVERIFY(!store.errorString().contains(QLatin1Char('\n')));
    QCOMPARE(store.messageCount(), quint64(0));
    import(store, numberedFrames(1));
    // Not even the lock is left, and the journal is as it was.
    QStringList after = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System);
    after.removeAll(QStringLiteral(".lock"));
    QStringList expected = before;
    expected.removeAll(QStringLiteral(".lock"));
    QCOMPARE(after, expected);
    QVERIFY(!QFile::exists(folder + QStringLiteral("/.lock")));
    if (kind == QLatin1String("later version"))
        QCOMPARE(fileContent(journal), later);

    QVERIFY(store.open(folder, readOnly));
    QCOMPARE(store.warnings().size(), 1);
    QVERIFY(store.warnings().at(0).startsWith(QStringLiteral("imports.json: ")));
    QCOMPARE(store.imports().size(), 0);
    QCOMPARE(contentOf(store).messages, numberedFrames(3));
}

void ChunkStoreTest::journalIsWrittenTwiceAnImport()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportStarted();
    const QString journal = folder + QStringLiteral("/imports.json");
    const QByteArray begun = fileContent(journal);
    QVERIFY(!begun.isEmpty());
    QVERIFY(QFile::remove(journal));
    store.addImportedMessages(numberedFrames(2), {});
    store.notifyFdMessage(true);
    store.addMessageNoteToLastMessage(QStringLiteral("n"));
    QVERIFY(!QFile::exists(journal));
    store.setImportFinished(true, DatachunkHelper::NorvikTxt, QStringLiteral("/log"), true);
    const QJsonObject entry = QJsonDocument::fromJson(fileContent(journal))
                                  .object()
                                  .value(QStringLiteral("imports"))
                                  .toArray()
                                  .at(0)
                                  .toObject();
    QCOMPARE(entry.value(QStringLiteral("state")).toString(), QStringLiteral("succeeded"));
    QCOMPARE(entry.value(QStringLiteral("chunks")).toArray(), QJsonArray{1});
}

void ChunkStoreTest::truncatedAtEveryByte()
{
    const QByteArray whole = HandMade().bytes();
    ChunkStore store;
    QVERIFY(store.open(path(QStringLiteral("target")), readWrite));
    store.setImportStarted();
    QVERIFY(QDir().mkpath(folder));
    for (int size = 0; size < whole.size(); ++size) {
        const QByteArray cut = whole.left(size);
        QCOMPARE(countIn(store, cut), 0U);
        QVERIFY(!parses(store, cut));
        Pipe pipe(cut, 3);
        QVERIFY(!parses(store, pipe));

        writeFile(chunkPath(1), cut);
        QVERIFY(!store.loadQclFile(chunkPath(1)));
        ChunkStore damaged;
        QVERIFY(damaged.open(folder, readOnly));
        QCOMPARE(contentOf(damaged).messages.size(), 0);
        QCOMPARE(damaged.warnings().size(), 1);
        QVERIFY(damaged.warnings().at(0).startsWith(QStringLiteral("chunk-00000001.qcl: ")));
    }
    QCOMPARE(countIn(store, whole), 2U);
    QCOMPARE(store.messageCount(), quint64(0));
    QCOMPARE(store.errorString(), QString());
}

void ChunkStoreTest::everySingleBitFlipped()
{
    const QByteArray whole = HandMade().bytes();
    ChunkStore store;
    QVERIFY(store.open(path(QStringLiteral("target")), readWrite));
    store.setImportStarted();
    QVERIFY(QDir().mkpath(folder));
    for (int bit = 0; bit < whole.size() * 8; ++bit) {
        QByteArray flipped = whole;
        flipped[bit / 8] = char(flipped.at(bit / 8) ^ (1 << bit % 8));
        QVERIFY2(countIn(store, flipped) == 0, qPrintable(QString::number(bit)));
        QVERIFY2(!parses(store, flipped), qPrintable(QString::number(bit)));

        writeFile(chunkPath(1), flipped);
        QVERIFY(!store.loadQclFile(chunkPath(1)));
        ChunkStore damaged;
        QVERIFY(damaged.open(folder, readOnly));
        QCOMPARE(contentOf(damaged).messages.size(), 0);
        QCOMPARE(damaged.warnings().size(), 1);
        QCOMPARE(damaged.messageCount(), quint64(0));
    }
    QCOMPARE(store.messageCount(), quint64(0));
}

void ChunkStoreTest::hostileChunk_data()
{
    // All with the right checksum.
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const char *name, const std::function<void(HandMade &)> &change) {
        HandMade chunk;
        change(chunk);
        QTest::newRow(name) << chunk.bytes();
    };
    const auto header = [](const char *text) {
        return [=](HandMade &chunk) { chunk.header = QString::fromUtf8(text); };
    };
    row("null header", [](HandMade &chunk) { chunk.header = QString(); });
    row("empty header", header(""));
    row("header without number", header("-text"));
    row("header without text", header("42"));
    row("header with a sign", header("+42-text"));
    row("header with a blank", header(" 42-text"));
    row("header with a fraction", header("4.2-text"));
    row("header in other digits", header("\xD9\xA4-text"));
    row("number of 16 digits", header("1000000000000000-text"));
    row("long header", [](HandMade &chunk) { chunk.header = QStringLiteral("1-") + QString(2047, QLatin1Char('x')); });
    row("other magic", [](HandMade &chunk) { chunk.magic = 0x51434C44; });
    row("version 0", [](HandMade &chunk) { chunk.version = 0; });
    row("version 2", [](HandMade &chunk) { chunk.version = 2; });
    row("unknown flag", [](HandMade &chunk) { chunk.flags = 0x80; });
    row("FD flag without FD frame", [](HandMade &chunk) { chunk.flags = 1; });
    row("FD frame without FD flag",
        [](HandMade &chunk) { chunk.records = recordBytes(0x04, 1, 0, 0, {}) + recordBytes(0, 3, 0, 0, {}); });
    row("no message", [](HandMade &chunk) {
        chunk.messageCount = 0;
        chunk.noteCount = 0;
        chunk.records.clear();
        chunk.notes.clear();
    });
    row("one message less", [](HandMade &chunk) { chunk.messageCount = 1; });
    row("one message more", [](HandMade &chunk) { chunk.messageCount = 3; });
    row("100001 messages", [](HandMade &chunk) {
        chunk.messageCount = 100001;
        chunk.firstSecond = chunk.lastSecond = 1;
        chunk.records = recordBytes(0, 1, 0, 0, {}).repeated(100001);
    });
    row("enormous message count", [](HandMade &chunk) { chunk.messageCount = 0xFFFFFFFF; });
    // Times 21 it is a small number again in 32 bits.
    row("message count that overflows", [](HandMade &chunk) { chunk.messageCount = 0x0C30C30D; });
    row("other first time", [](HandMade &chunk) { chunk.firstSecond = 0; });
    row("other last time", [](HandMade &chunk) { chunk.lastSecond = 4; });
    row("unknown flag of a record",
        [](HandMade &chunk) { chunk.records = recordBytes(0x40, 1, 0, 0, {}) + recordBytes(0, 3, 0, 0, {}); });
    row("payload of 65 bytes", [](HandMade &chunk) {
        chunk.records = recordBytes(0, 1, 65, 65, QByteArray(65, 'x')) + recordBytes(0, 3, 0, 0, {});
    });
    row("payload beyond the records",
        [](HandMade &chunk) { chunk.records = recordBytes(0, 1, 2, 0, {}) + recordBytes(0, 3, 2, 2, "x"); });
    row("payload of 255 bytes, none there",
        [](HandMade &chunk) { chunk.records = recordBytes(0, 1, 2, 0, {}) + recordBytes(0, 3, 2, 255, {}); });
    row("rest after the records", [](HandMade &chunk) { chunk.records += 'x'; });
    row("size of records too small", [](HandMade &chunk) { chunk.recordsSize = 41; });
    row("size of records too large", [](HandMade &chunk) { chunk.recordsSize = 171; });
    row("size of records enormous", [](HandMade &chunk) { chunk.recordsSize = 0xFFFFFFFF; });
    row("notes taken for records", [](HandMade &chunk) {
        chunk.recordsSize = chunk.records.size() + chunk.notes.size();
        chunk.notesSize = 0;
        chunk.noteCount = 0;
    });
    row("one note less", [](HandMade &chunk) { chunk.noteCount = 0; });
    row("one note more", [](HandMade &chunk) { chunk.noteCount = 2; });
    row("more notes than messages", [](HandMade &chunk) {
        chunk.noteCount = 3;
        chunk.notes =
            noteBytes(0, QStringLiteral("a")) + noteBytes(1, QStringLiteral("b")) + noteBytes(2, QStringLiteral("c"));
    });
    row("enormous note count", [](HandMade &chunk) { chunk.noteCount = 0xFFFFFFFF; });
    row("size of notes enormous", [](HandMade &chunk) { chunk.notesSize = 0xFFFFFFFF; });
    row("size of notes one too small", [](HandMade &chunk) { chunk.notesSize = chunk.notes.size() - 1; });
    row("note beyond the messages", [](HandMade &chunk) { chunk.notes = noteBytes(2, QStringLiteral("a")); });
    row("note far beyond the messages",
        [](HandMade &chunk) { chunk.notes = noteBytes(0xFFFFFFFF, QStringLiteral("a")); });
    row("two notes of one message", [](HandMade &chunk) {
        chunk.noteCount = 2;
        chunk.notes = noteBytes(1, QStringLiteral("a")) + noteBytes(1, QStringLiteral("b"));
    });
    row("notes that descend", [](HandMade &chunk) {
        chunk.noteCount = 2;
        chunk.notes = noteBytes(1, QStringLiteral("a")) + noteBytes(0, QStringLiteral("b"));
    });
    row("empty note", [](HandMade &chunk) { chunk.notes = noteBytes(1, QStringLiteral("")); });
    row("null note", [](HandMade &chunk) { chunk.notes = noteBytes(1, QString()); });
    row("note of half a character",
        [](HandMade &chunk) { chunk.notes = QByteArray::fromHex("00000001 00000003 006100"); });
    row("note of an enormous length",
        [](HandMade &chunk) { chunk.notes = QByteArray::fromHex("00000001 FFFFFFFE 0061"); });
    row("rest after the notes", [](HandMade &chunk) { chunk.notes += 'x'; });
    QByteArray odd = HandMade().bytes();
    odd.replace(0, 4, QByteArray::fromHex("0000000B"));
    QTest::newRow("header of an odd size") << odd;
}

void ChunkStoreTest::hostileChunk()
{
    QFETCH(QByteArray, bytes);
    ChunkStore store;
    QVERIFY(store.open(path(QStringLiteral("target")), readWrite));
    QCOMPARE(countIn(store, bytes), 0U);
    QVERIFY(!parses(store, bytes));
    QCOMPARE(store.messageCount(), quint64(0));

    QVERIFY(QDir().mkpath(folder));
    writeFile(chunkPath(1), bytes);
    QVERIFY(!store.loadQclFile(chunkPath(1)));
    ChunkStore damaged;
    QVERIFY(damaged.open(folder, readOnly));
    QCOMPARE(contentOf(damaged).messages.size(), 0);
    QCOMPARE(damaged.warnings().size(), 1);
}

void ChunkStoreTest::sizesAreNotBelieved_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("header of 4 GiB") << QByteArray::fromHex("FFFFFFFE00310032");
    QTest::newRow("header of 1 GiB") << QByteArray::fromHex("4000000000310032");
    HandMade records;
    records.messageCount = 100000;
    records.recordsSize = 8500000;
    QTest::newRow("records") << records.bytes();
    HandMade notes;
    notes.notesSize = 256 * 1024 * 1024;
    QTest::newRow("notes") << notes.bytes();
    notes.notesSize = 0xFFFFFFF0;
    QTest::newRow("notes of 4 GiB") << notes.bytes();
}

void ChunkStoreTest::sizesAreNotBelieved()
{
    QFETCH(QByteArray, bytes);
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    Pipe pipe(bytes);
    QVERIFY(!parses(store, pipe));
    QVERIFY2(pipe.largestRequest <= 1024 * 1024, qPrintable(QString::number(pipe.largestRequest)));
}

void ChunkStoreTest::anyDevice_data()
{
    QTest::addColumn<QString>("kind");
    for (const char *kind : {"buffer", "file", "temporary file", "pipe", "pipe of single bytes"})
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

void ChunkStoreTest::anyDevice()
{
    QFETCH(QString, kind);
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    const Frames messages = numberedFrames(50000);
    import(store, messages);
    const QByteArray bytes = fileContent(chunkPath(1));

    QBuffer buffer;
    QFile file(path(QStringLiteral("chunk")));
    QTemporaryFile temporary;
    Pipe pipe(bytes, 1000);
    Pipe thinPipe(bytes, 1);
    QIODevice *device = nullptr;
    if (kind == QLatin1String("buffer")) {
        buffer.setData(bytes);
        QVERIFY(buffer.open(QIODevice::ReadOnly));
        device = &buffer;
    } else if (kind == QLatin1String("file")) {
        writeFile(file.fileName(), bytes);
        QVERIFY(file.open(QIODevice::ReadOnly));
        device = &file;
    } else if (kind == QLatin1String("temporary file")) {
        QVERIFY(temporary.open());
        QCOMPARE(temporary.write(bytes), qint64(bytes.size()));
        QVERIFY(temporary.flush());
        QVERIFY(temporary.seek(0));
        device = &temporary;
    } else {
        device = kind == QLatin1String("pipe") ? &pipe : &thinPipe;
    }
    ChunkStore other;
    QVERIFY(other.open(path(QStringLiteral("other")), readWrite));
    QVERIFY(parses(other, *device));
    QCOMPARE(contentOf(other).messages, messages);
}

void ChunkStoreTest::streamSettingsDoNotMatter()
{
    const QByteArray bytes = HandMade().bytes();
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    for (const int version : {int(QDataStream::Qt_1_0), int(QDataStream::Qt_5_6), int(QDataStream::Qt_5_15)}) {
        for (const QDataStream::ByteOrder order : {QDataStream::LittleEndian, QDataStream::BigEndian}) {
            QDataStream stream(bytes);
            stream.setVersion(version);
            stream.setByteOrder(order);
            QCOMPARE(store.getMsgCountFromQclStream(stream), 2U);
            QCOMPARE(stream.status(), QDataStream::Ok);
            QVERIFY(stream.atEnd());
        }
    }
}

void ChunkStoreTest::chunksOneAfterTheOther()
{
    QDataStream stream("..." + HandMade().bytes() + HandMade().bytes() + "rest");
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(stream.skipRawData(3), 3);
    bool isFd = true;
    QVERIFY(store.parseQCLStream(stream, isFd));
    QVERIFY(store.parseQCLStream(stream, isFd));
    QCOMPARE(stream.status(), QDataStream::Ok);
    QVERIFY(!store.parseQCLStream(stream, isFd));
    QVERIFY(stream.status() != QDataStream::Ok);
    QCOMPARE(store.messageCount(), quint64(4));
}

void ChunkStoreTest::unusableStream()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    bool isFd = true;
    QDataStream noDevice;
    QVERIFY(!store.parseQCLStream(noDevice, isFd));
    QVERIFY(!isFd);
    QCOMPARE(store.getMsgCountFromQclStream(noDevice), 0U);

    QBuffer closed;
    closed.setData(HandMade().bytes());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("device not open")));
    QVERIFY(!parses(store, closed));

    QDataStream failed(HandMade().bytes());
    failed.setStatus(QDataStream::ReadCorruptData);
    QCOMPARE(store.getMsgCountFromQclStream(failed), 0U);
}

void ChunkStoreTest::loadChunkFile()
{
    ChunkStore source;
    QVERIFY(source.open(path(QStringLiteral("source")), readWrite));
    import(source, frames({Frame(1, "01"), Frame(2, "02").fd()}), {{ 0, QStringLiteral("first") }});
    const QString chunk = path(QStringLiteral("any name"));
    QVERIFY(QFile::copy(path(QStringLiteral("source/chunk-00000001.qcl")), chunk));

    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, frames({Frame(7)}));
    QSignalSpy finished(&store, &ChunkStore::importFinished);
    store.setImportStarted();
    QVERIFY(store.loadQclFile(chunk));
    store.setImportFinished(true, DatachunkHelper::QclFile, chunk, true);
    QCOMPARE(finished.size(), 1);
    const ImportRecord record = store.imports().last();
    QCOMPARE(record.path, chunk);
    QCOMPARE(record.messageCount, quint64(2));
    QCOMPARE(record.noteCount, quint64(1));
    QVERIFY(record.fdSeen);
    QCOMPARE(headerOf(chunkPath(2)).section(QLatin1Char('-'), 0, 0), QStringLiteral("2"));
    const Content content = contentOf(folder);
    QCOMPARE(content.messages.size(), 3);
    QCOMPARE(Frames(content.messages.mid(1)), frames({Frame(1, "01"), Frame(2, "02").fd()}));
    QCOMPARE(content.notes, (QMap<int, QString>{{1, QStringLiteral("first")}}));

    // A chunk of this very store, too.
    QVERIFY(store.loadQclFile(chunkPath(1)));
    QCOMPARE(store.messageCount(), quint64(4));
    store.addMessageNoteToLastMessage(QStringLiteral("for the loaded one"));
    QCOMPARE(contentOf(store).notes.value(3), QStringLiteral("for the loaded one"));
}

void ChunkStoreTest::chunksThatAreAddedAreShown()
{
    class LookingStore : public ChunkStore
    {
    public:
        QList<int> counts;

    protected:
        void chunkAdded(const QVector<CanRxMessage> &messages) override { counts.append(messages.size()); }
    };
    const QString chunk = path(QStringLiteral("a.qcl"));
    LookingStore store;
    QVERIFY(store.open(folder, readWrite));
    QVERIFY(!store.loadQclFile(chunk));
    QVERIFY(!parses(store, "damaged"));
    QCOMPARE(store.counts, QList<int>());
    writeFile(chunk, HandMade().bytes());
    QVERIFY(store.loadQclFile(chunk));
    QVERIFY(parses(store, HandMade().bytes()));
    import(store, numberedFrames(3)); // these are delivered
    QCOMPARE(store.counts, (QList<int>{2, 2}));
}

void ChunkStoreTest::loadRefusesOtherFiles_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("text");
    QTest::newRow("missing") << QStringLiteral("missing") << QStringLiteral("No such file or directory");
    QTest::newRow("empty") << QStringLiteral("empty") << QStringLiteral("it ends too early");
    QTest::newRow("text") << QStringLiteral("text") << QStringLiteral("it is no data chunk");
    QTest::newRow("longer") << QStringLiteral("longer") << QStringLiteral("it goes on after its end");
    QTest::newRow("folder") << QStringLiteral("folder") << QStringLiteral("it is no plain file");
#ifdef Q_OS_UNIX
    QTest::newRow("fifo") << QStringLiteral("fifo") << QStringLiteral("it is no plain file");
#endif
}

void ChunkStoreTest::loadRefusesOtherFiles()
{
    QFETCH(QString, kind);
    QFETCH(QString, text);
    const QString file = path(QStringLiteral("a.qcl"));
    if (kind == QLatin1String("empty"))
        writeFile(file, {});
    else if (kind == QLatin1String("text"))
        writeFile(file, "(1.0) can0 123#1122\n");
    else if (kind == QLatin1String("longer"))
        writeFile(file, HandMade().bytes() + 'x');
    else if (kind == QLatin1String("folder"))
        QVERIFY(QDir().mkpath(file));
#ifdef Q_OS_UNIX
    else if (kind == QLatin1String("fifo"))
        QCOMPARE(mkfifo(QFile::encodeName(file).constData(), 0600), 0);
#endif
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportStarted();
    QVERIFY(!store.loadQclFile(file));
    store.setImportFinished(false, DatachunkHelper::QclFile, file, true);
    const ImportRecord record = store.imports().last();
    QCOMPARE(record.state, State::Failed);
    QCOMPARE(record.path, file);
    QCOMPARE(record.errorText, text);
    QCOMPARE(store.messageCount(), quint64(0));
    QCOMPARE(chunkNames(folder), QStringList());
}

void ChunkStoreTest::foreignFilesInTheFolder()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(2));
    const QDir inside(folder);
    writeFile(inside.filePath(QStringLiteral("empty.qcl")), {});
    writeFile(inside.filePath(QStringLiteral("text.qcl")), "just a text, and a longer one than a header would be");
    writeFile(inside.filePath(QStringLiteral("zeros.qcl")), QByteArray(5000, '\0'));
    // None of these counts as a chunk.
    writeFile(inside.filePath(QStringLiteral("notes.txt")), "x");
    writeFile(inside.filePath(QStringLiteral("UPPER.QCL")), HandMade().bytes());
    writeFile(inside.filePath(QStringLiteral(".hidden.qcl")), HandMade().bytes());
    writeFile(inside.filePath(QStringLiteral("chunk-00000005.qcl.AbCdEf")), HandMade().bytes());
    writeFile(inside.filePath(QStringLiteral("chunk-00000006.qcl.bak")), HandMade().bytes());
    QVERIFY(inside.mkdir(QStringLiteral("folder.qcl")));

    ChunkStore reader;
    QVERIFY(reader.open(folder, readOnly));
    QStringList names;
    for (const QString &warning : reader.warnings()) {
        names.append(warning.section(QStringLiteral(": "), 0, 0));
        QVERIFY2(!warning.section(QStringLiteral(": "), 1).isEmpty(), qPrintable(warning));
    }
    names.sort();
    QCOMPARE(names,
             (QStringList{QStringLiteral("empty.qcl"), QStringLiteral("text.qcl"), QStringLiteral("zeros.qcl")}));
    QCOMPARE(reader.messageCount(), quint64(2));
    QCOMPARE(contentOf(reader).messages, numberedFrames(2));
}

void ChunkStoreTest::damageIsFoundWhenRead()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    for (int i = 0; i < 3; ++i)
        import(store, frames({Frame(quint32(i))}));
    QByteArray bytes = fileContent(chunkPath(2));
    bytes[bytes.size() - 1] = char(bytes.at(bytes.size() - 1) ^ 1);
    writeFile(chunkPath(2), bytes);

    ChunkStore reader;
    QVERIFY(reader.open(folder, readOnly));
    QCOMPARE(reader.warnings(), QStringList()); // opening reads the summaries only
    QCOMPARE(reader.messageCount(), quint64(3));
    for (int round = 0; round < 2; ++round) {
        const Content content = contentOf(reader);
        QCOMPARE(content.messages.size(), 2);
        QCOMPARE(content.messages.at(0).id, 0U);
        QCOMPARE(content.messages.at(1).id, 2U);
        QCOMPARE(reader.warnings(), QStringList{QStringLiteral("chunk-00000002.qcl: its checksum is wrong")});
        QCOMPARE(reader.messageCount(), quint64(2));
    }
}

void ChunkStoreTest::damageThatIsRepairedIsForgotten()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(3));
    const QByteArray good = fileContent(chunkPath(1));
    writeFile(chunkPath(1), "damaged");
    QCOMPARE(contentOf(store).messages.size(), 0);
    QCOMPARE(store.messageCount(), quint64(0));
    writeFile(chunkPath(1), good);
    QCOMPARE(contentOf(store).messages.size(), 3);
    QCOMPARE(store.messageCount(), quint64(3));
    // Another chunk in its place is not the one that was listed.
    writeFile(chunkPath(1), HandMade().bytes());
    QCOMPARE(contentOf(store).messages.size(), 0);
}

void ChunkStoreTest::equalNumbers()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(2));
    QVERIFY(QFile::copy(chunkPath(1), folder + QStringLiteral("/chunk-00000001 (copy).qcl")));
    QVERIFY(QFile::copy(chunkPath(1), folder + QStringLiteral("/a.qcl")));
    writeFile(folder + QStringLiteral("/c.qcl"), HandMade().bytes());
    HandMade other;
    other.records = recordBytes(0, 1, 9, 0, {}) + recordBytes(0, 3, 9, 0, {});
    writeFile(folder + QStringLiteral("/b.qcl"), other.bytes());

    ChunkStore reader;
    QVERIFY(reader.open(folder, readOnly));
    QCOMPARE(reader.warnings(),
             (QStringList{QStringLiteral("a.qcl: it has the same number as chunk-00000001.qcl"),
                          QStringLiteral("chunk-00000001 (copy).qcl: it has the same number as chunk-00000001.qcl"),
                          QStringLiteral("c.qcl: it has the same number as b.qcl")}));
    QCOMPARE(reader.messageCount(), quint64(4));
    const Content content = contentOf(reader);
    QCOMPARE(content.messages.size(), 4);
    QCOMPARE(content.messages.at(2).dlc, quint8(9));
}

void ChunkStoreTest::copyReplacesADamagedChunk()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(2));
    import(store, frames({Frame(9)}));
    const QByteArray good = fileContent(chunkPath(1));
    QByteArray bad = good;
    bad[bad.size() - 1] = char(bad.at(bad.size() - 1) ^ 1);
    writeFile(folder + QStringLiteral("/backup.qcl"), good);
    writeFile(folder + QStringLiteral("/a.qcl"), bad);
    writeFile(chunkPath(1), bad);

    ChunkStore reader;
    QVERIFY(reader.open(folder, readOnly));
    Frames expected = numberedFrames(2);
    expected.append(frames({Frame(9)}));
    for (int round = 0; round < 2; ++round) {
        QCOMPARE(contentOf(reader).messages, expected);
        QCOMPARE(reader.messageCount(), quint64(3));
        QCOMPARE(reader.warnings(),
                 (QStringList{QStringLiteral("a.qcl: it has the same number as chunk-00000001.qcl"),
                              QStringLiteral("backup.qcl: it has the same number as chunk-00000001.qcl"),
                              QStringLiteral("chunk-00000001.qcl: its checksum is wrong"),
                              QStringLiteral("a.qcl: its checksum is wrong")}));
    }
    QVERIFY(QFile::remove(folder + QStringLiteral("/backup.qcl")));
    QCOMPARE(contentOf(reader).messages, frames({Frame(9)}));
    QCOMPARE(reader.messageCount(), quint64(1));
}

void ChunkStoreTest::missingChunk()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    for (int i = 0; i < 4; ++i)
        import(store, numberedFrames(2));
    QVERIFY(QFile::remove(chunkPath(2)));
    // The same chunk under another name is there, and one that is damaged is not missing either.
    QVERIFY(QFile::rename(chunkPath(3), folder + QStringLiteral("/renamed.qcl")));
    writeFile(chunkPath(4), "damaged");
    for (const ChunkStore::Mode mode : {readOnly, readWrite}) {
        QVERIFY(store.open(folder, mode));
        QCOMPARE(store.warnings(), (QStringList{QStringLiteral("chunk-00000004.qcl: it is no data chunk"),
                                                QStringLiteral("chunk-00000002.qcl: it is missing")}));
        QCOMPARE(contentOf(store).messages.size(), 4);
    }
}

void ChunkStoreTest::vanishedChunk()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(2));
    import(store, numberedFrames(3));
    QVERIFY(QFile::remove(chunkPath(1)));
    QCOMPARE(contentOf(store).messages.size(), 3);
    QCOMPARE(store.warnings().size(), 1);
    QVERIFY(store.warnings().at(0).startsWith(QStringLiteral("chunk-00000001.qcl: ")));
}

void ChunkStoreTest::temporaryFilesOfAKilledProgram()
{
    QVERIFY(QDir().mkpath(folder));
    const QStringList stale{QStringLiteral("chunk-00000007.qcl.AbCdEf"), QStringLiteral("chunk-123456789.qcl.zzZZyy"),
                            QStringLiteral("imports.json.QwErTy")};
    const QStringList others{QStringLiteral("chunk-00000007.qcl.bak"), QStringLiteral("chunk-7.qcl.AbCdEf"),
                             QStringLiteral("imports.json.original"), QStringLiteral("my chunk-00000007.qcl.AbCdEf")};
    for (const QString &name : stale + others)
        writeFile(QDir(folder).filePath(name), "x");
    ChunkStore store;
    QVERIFY(store.open(folder, readOnly));
    QCOMPARE(store.warnings(), QStringList());
    for (const QString &name : stale + others)
        QVERIFY2(QFile::exists(QDir(folder).filePath(name)), qPrintable(name));
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(store.warnings(), QStringList());
    for (const QString &name : stale)
        QVERIFY2(!QFile::exists(QDir(folder).filePath(name)), qPrintable(name));
    for (const QString &name : others)
        QVERIFY2(QFile::exists(QDir(folder).filePath(name)), qPrintable(name));
}

void ChunkStoreTest::secondWriterIsRefused()
{
    auto first = std::make_unique<ChunkStore>();
    QVERIFY(first->open(folder, readWrite));
    import(*first, numberedFrames(2));
    ChunkStore second;
    QVERIFY(!second.open(folder, readWrite));
    const QString expected = QStringLiteral("The store %1 is in use by another program (process %2, ")
                                 .arg(folder, QString::number(QCoreApplication::applicationPid()));
    QVERIFY2(second.errorString().startsWith(expected), qPrintable(second.errorString()));
    QVERIFY(!second.open(folder + QStringLiteral("/../store/"), readWrite));
    // Reading goes on all the while, and the first writer still has its lock.
    QVERIFY(second.open(folder, readOnly));
    QCOMPARE(second.messageCount(), quint64(2));
    import(*first, numberedFrames(1));
    QCOMPARE(first->imports().last().state, State::Succeeded);
    first.reset();
    QVERIFY(second.open(folder, readWrite));
    QCOMPARE(second.errorString(), QString());
    QCOMPARE(second.messageCount(), quint64(3));
}

void ChunkStoreTest::writerOfAnotherProgramIsRefused()
{
#ifdef Q_OS_UNIX
    Child child([this] {
        auto *store = new ChunkStore;
        store->open(folder, readWrite);
        import(*store, numberedFrames(2));
    });
    ChunkStore store;
    QVERIFY(!store.open(folder, readWrite));
    const QString expected = QStringLiteral("(process %1, tst_chunkstore)").arg(child.id());
    QVERIFY2(store.errorString().endsWith(expected), qPrintable(store.errorString()));
    // An import may take hours.
    QFile lock(folder + QStringLiteral("/.lock"));
    QVERIFY(lock.open(QIODevice::ReadWrite));
    QVERIFY(lock.setFileTime(QDateTime::currentDateTime().addDays(-1), QFileDevice::FileModificationTime));
    lock.close();
    QVERIFY(!store.open(folder, readWrite));
    QCOMPARE(contentOf(folder).messages.size(), 2);
#else
    QSKIP("needs fork()");
#endif
}

void ChunkStoreTest::lockOfAKilledProgramIsTakenOver()
{
#ifdef Q_OS_UNIX
    Child child([this] {
        auto *store = new ChunkStore;
        store->open(folder, readWrite);
        import(*store, numberedFrames(2));
    });
    QVERIFY(QFile::exists(folder + QStringLiteral("/.lock")));
    ChunkStore store;
    QVERIFY(!store.open(folder, readWrite));
    child.killNow();
    QVERIFY2(store.open(folder, readWrite), qPrintable(store.errorString()));
    import(store, numberedFrames(1));
    QCOMPARE(store.messageCount(), quint64(3));
    ChunkStore second;
    QVERIFY(!second.open(folder, readWrite));
#else
    QSKIP("needs fork()");
#endif
}

void ChunkStoreTest::staleLockFile_data()
{
    QTest::addColumn<QByteArray>("text");
    const QByteArray host = QSysInfo::machineHostName().toLocal8Bit();
    // Killed between making the file and writing it.
    QTest::newRow("empty") << QByteArray();
    // The same process id, as programs in containers have it each time.
    QTest::newRow("own process id") << QByteArray::number(QCoreApplication::applicationPid()) + "\ntst_chunkstore\n"
                                           + host + "\n";
}

void ChunkStoreTest::staleLockFile()
{
    QFETCH(QByteArray, text);
    QVERIFY(QDir().mkpath(folder));
    writeFile(folder + QStringLiteral("/.lock"), text);
    ChunkStore store;
    QVERIFY2(store.open(folder, readWrite), qPrintable(store.errorString()));
    ChunkStore second;
    QVERIFY(!second.open(folder, readWrite));
}

void ChunkStoreTest::lockOfAnotherMachineIsRespected()
{
    QVERIFY(QDir().mkpath(folder));
    writeFile(folder + QStringLiteral("/.lock"), "4711\ncanlog\nanother-machine\n");
    ChunkStore store;
    QVERIFY(!store.open(folder, readWrite));
    for (const char *part : {"4711", "canlog", "another-machine", ".lock"})
        QVERIFY2(store.errorString().contains(QLatin1String(part)), qPrintable(store.errorString()));
    QVERIFY(store.open(folder, readOnly));
}

void ChunkStoreTest::openFails_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("writing");
    QTest::newRow("missing") << QStringLiteral("missing") << false;
    QTest::newRow("file, reading") << QStringLiteral("file") << false;
    QTest::newRow("file, writing") << QStringLiteral("file") << true;
    QTest::newRow("below a file") << QStringLiteral("file/store") << true;
    QTest::newRow("no name, reading") << QString() << false;
    QTest::newRow("no name, writing") << QString() << true;
#ifdef Q_OS_LINUX
    // Not even root makes files there.
    QTest::newRow("folder that takes no file") << QStringLiteral("/proc") << true;
    QTest::newRow("folder that takes no folder") << QStringLiteral("/proc/store") << true;
#endif
}

void ChunkStoreTest::openFails()
{
    QFETCH(QString, name);
    QFETCH(bool, writing);
    writeFile(path(QStringLiteral("file")), "x");
    const QString wanted = name.isEmpty() || QDir::isAbsolutePath(name) ? name : path(name);
    ChunkStore store;
    QVERIFY(!store.open(wanted, writing ? readWrite : readOnly));
    QVERIFY(!store.errorString().isEmpty());
    QVERIFY(!store.errorString().contains(QLatin1Char('\n')));
    QVERIFY2(store.errorString().contains(wanted), qPrintable(store.errorString()));
    QVERIFY(!QFile::exists(path(QStringLiteral("missing"))));
    QCOMPARE(fileContent(path(QStringLiteral("file"))), QByteArray("x"));
}

void ChunkStoreTest::openWithoutPermission()
{
#ifdef Q_OS_UNIX
    if (geteuid() == 0)
        QSKIP("root may write everywhere");
    QVERIFY(QDir().mkpath(folder));
    QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    ChunkStore store;
    QVERIFY(!store.open(folder, readWrite));
    QVERIFY2(store.errorString().contains(QStringLiteral("permission")), qPrintable(store.errorString()));
    QVERIFY(store.open(folder, readOnly));
    QFile::setPermissions(folder, {});
    QVERIFY(!store.open(folder, readOnly));
    QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
#else
    QSKIP("needs Unix permissions");
#endif
}

void ChunkStoreTest::openAgainClosesTheFormer()
{
    const QString other = path(QStringLiteral("other"));
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(2));
    store.setImportStarted();
    QVERIFY(store.open(other, readWrite));
    QCOMPARE(store.messageCount(), quint64(0));
    QCOMPARE(store.imports().size(), 0);
    QCOMPARE(store.getDataChunkLocation().absolutePath(), other);
    ChunkStore second;
    QVERIFY(second.open(folder, readWrite));
    QCOMPARE(second.messageCount(), quint64(2));
    QVERIFY(!second.open(other, readWrite));
    QVERIFY(store.open(other, readWrite));
}

void ChunkStoreTest::failedOpenClosesTheFormer()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(2));
    QVERIFY(!store.open(path(QStringLiteral("missing")), readOnly));
    QCOMPARE(store.messageCount(), quint64(0));
    import(store, numberedFrames(2));
    QCOMPARE(contentOf(folder).messages.size(), 2);
    ChunkStore second;
    QVERIFY(second.open(folder, readWrite));
}

void ChunkStoreTest::closedStoreDoesNothing()
{
    const QString chunk = path(QStringLiteral("a.qcl"));
    writeFile(chunk, HandMade().bytes());
    ChunkStore store;
    QSignalSpy finished(&store, &ChunkStore::importFinished);
    store.addMessageNoteToLastMessage(QStringLiteral("n"));
    store.notifyFdMessage(true);
    store.setLastErrorText(QStringLiteral("e"));
    import(store, numberedFrames(2), {{ 0, QStringLiteral("n") }});
    store.addImportedMessages({}, {{0, QStringLiteral("n")}});
    store.setImportFinished(true, DatachunkHelper::QclFile, QString(), false);
    QVERIFY(!store.loadQclFile(chunk));
    QVERIFY(!parses(store, HandMade().bytes()));
    QCOMPARE(countIn(store, HandMade().bytes()), 2U); // counting needs no folder
    store.notifyNewZippedFile(QString(), QString(), QDir(), QString());
    store.notifyZipFileLoaded(QString());
    QVERIFY(!store.forEachMessage([](const CanRxMessage &, const QString &) { return true; }));
    QVERIFY(!store.getDataChunkLocation().exists());
    QVERIFY(!store.getDataChunkLocation().mkpath(QStringLiteral("a")));
    QCOMPARE(store.messageCount(), quint64(0));
    QCOMPARE(store.imports().size(), 0);
    QCOMPARE(store.warnings(), QStringList());
    QCOMPARE(store.errorString(), QString());
    QCOMPARE(finished.size(), 0);
    QCOMPARE(QDir(dir->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("a.qcl")});
}

void ChunkStoreTest::storeIsKnownByItsFiles()
{
    QVERIFY(!ChunkStore::isStore(QString()));
    QVERIFY(!ChunkStore::isStore(folder));
    {
        ChunkStore store;
        QVERIFY(store.open(folder, readWrite));
        QVERIFY(!ChunkStore::isStore(folder)); // there is a lock and nothing else
        import(store, {});
        QVERIFY(ChunkStore::isStore(folder));
    }
    QVERIFY(QFile::remove(folder + QStringLiteral("/imports.json")));
    QVERIFY(!ChunkStore::isStore(folder));
    writeFile(folder + QStringLiteral("/a.qcl"), HandMade().bytes());
    QVERIFY(ChunkStore::isStore(folder));
}

void ChunkStoreTest::onlyAnEmptyStoreIsRemoved()
{
    const auto make = [this](int messages) {
        ChunkStore store;
        QVERIFY(store.open(folder, readWrite));
        import(store, numberedFrames(messages));
    };
    make(0);
    writeFile(folder + QStringLiteral("/.lock"), "of a writer");
    ChunkStore::removeEmpty(folder);
    QVERIFY(QFileInfo::exists(folder + QStringLiteral("/imports.json")));
    QVERIFY(QFile::remove(folder + QStringLiteral("/.lock")));
    ChunkStore::removeEmpty(folder);
    QVERIFY(!QFileInfo::exists(folder));

    make(2);
    ChunkStore::removeEmpty(folder);
    QCOMPARE(contentOf(folder).messages.size(), 2);
    QVERIFY(QFileInfo::exists(folder + QStringLiteral("/imports.json")));
}

void ChunkStoreTest::readOnlyStoreIsNotWritten()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(2));
    const QByteArray chunk = fileContent(chunkPath(1));
    const QByteArray journal = fileContent(folder + QStringLiteral("/imports.json"));
    QVERIFY(store.open(folder, readOnly));
    QVERIFY(!QFile::exists(folder + QStringLiteral("/.lock")));

    store.addImportedMessages(numberedFrames(1), {});
    const QString text = QStringLiteral("The store %1 is open for reading only").arg(folder);
    QCOMPARE(store.errorString(), text);
    QVERIFY(!store.loadQclFile(chunkPath(1)));
    QVERIFY(!parses(store, chunk));
    store.addMessageNoteToLastMessage(QStringLiteral("n"));
    QCOMPARE(countIn(store, chunk), 2U);

    // A host that waits for the end of its request is told.
    QSignalSpy finished(&store, &ChunkStore::importFinished);
    import(store, numberedFrames(1));
    QCOMPARE(finished.size(), 1);
    const auto record = finished.at(0).at(0).value<ImportRecord>();
    QCOMPARE(record.state, State::Failed);
    QCOMPARE(record.errorText, text);
    QCOMPARE(record.messageCount, quint64(0));
    QCOMPARE(record.path, QStringLiteral("/log"));

    // Such an import is told of and kept nowhere, however it comes.
    store.setImportStarted();
    QCOMPARE(store.imports().size(), 1);
    store.setImportFinished(true, DatachunkHelper::QclFile, QStringLiteral("/b"), false);
    QCOMPARE(store.imports().size(), 1);
    store.setImportFinished(true, DatachunkHelper::QclZipArchive, QStringLiteral("/b"), true);
    store.setImportFinished(true, DatachunkHelper::QclFile, QStringLiteral("/c"), true);
    store.notifyZipFileLoaded(QStringLiteral("d.zip"));
    QCOMPARE(finished.size(), 4);
    for (const QList<QVariant> &arguments : finished)
        QCOMPARE(arguments.at(0).value<ImportRecord>().state, State::Failed);
    QCOMPARE(store.imports().size(), 1);
    QCOMPARE(store.imports().at(0).state, State::Succeeded);

    QCOMPARE(store.messageCount(), quint64(2));
    QCOMPARE(fileContent(chunkPath(1)), chunk);
    QCOMPARE(fileContent(folder + QStringLiteral("/imports.json")), journal);
    QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).size(), 2);
}

void ChunkStoreTest::folderRemovedDuringImport()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QSignalSpy finished(&store, &ChunkStore::importFinished);
    store.setImportStarted();
    store.addImportedMessages(numberedFrames(2), {});
    QVERIFY(QDir(folder).removeRecursively());
    store.addImportedMessages(numberedFrames(2), {});
    const QString text = store.errorString();
    QVERIFY2(text.contains(QStringLiteral("chunk-00000002.qcl cannot be written: ")), qPrintable(text));

    // The rest is dropped, even when the folder is there again: a log with a hole would be worse.
    QVERIFY(QDir().mkpath(folder));
    store.addImportedMessages(numberedFrames(2), {});
    store.addMessageNoteToLastMessage(QStringLiteral("n"));
    QVERIFY(!parses(store, HandMade().bytes()));
    QCOMPARE(chunkNames(folder), QStringList());
    store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("/log"), true);
    QCOMPARE(finished.size(), 1);
    const auto record = finished.at(0).at(0).value<ImportRecord>();
    QCOMPARE(record.state, State::Failed);
    QCOMPARE(record.errorText, text);
    QCOMPARE(record.path, QStringLiteral("/log"));
    QCOMPARE(record.messageCount, quint64(2));

    import(store, numberedFrames(3));
    QCOMPARE(store.imports().last().state, State::Succeeded);
    QCOMPARE(store.imports().last().errorText, QString());
    QCOMPARE(contentOf(folder).messages, numberedFrames(3));
}

void ChunkStoreTest::diskFullDuringImport()
{
#ifdef Q_OS_UNIX
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportStarted();
    store.addImportedMessages(numberedFrames(1000), {});
    {
        // Room for the journal, and for a chunk but for its last byte.
        const FullDisk full(rlim_t(QFileInfo(chunkPath(1)).size()) - 1);
        store.addImportedMessages(numberedFrames(1000, 1000), {});
        QVERIFY2(store.errorString().contains(QStringLiteral("cannot be written")), qPrintable(store.errorString()));
        store.addImportedMessages(numberedFrames(1, 2000), {});
        store.setImportFinished(true, DatachunkHelper::SocketCanDump, QStringLiteral("/log"), true);
    }
    QCOMPARE(store.imports().last().state, State::Failed);
    QCOMPARE(store.imports().last().errorText, store.errorString());
    QCOMPARE(store.imports().last().messageCount, quint64(1000));
    // Nothing half is left, what was stored is there, and the next import tries again.
    QCOMPARE(QDir(folder).entryList(QDir::Files, QDir::Name),
             (QStringList{QStringLiteral("chunk-00000001.qcl"), QStringLiteral("imports.json")}));
    QCOMPARE(contentOf(folder).messages, numberedFrames(1000));
    import(store, numberedFrames(1000));
    QCOMPARE(store.imports().last().state, State::Succeeded);
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(store.warnings(), QStringList());
    QCOMPARE(store.imports().at(0).state, State::Failed);
    QCOMPARE(store.imports().at(1).state, State::Succeeded);
    QCOMPARE(store.messageCount(), quint64(2000));
#else
    QSKIP("needs file size limits");
#endif
}

void ChunkStoreTest::diskFullForTheNote()
{
#ifdef Q_OS_UNIX
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    store.setImportStarted();
    store.addImportedMessages(numberedFrames(1000), {{5, QStringLiteral("kept")}});
    const QByteArray before = fileContent(chunkPath(1));
    {
        const FullDisk full(rlim_t(before.size()));
        store.addMessageNoteToLastMessage(QStringLiteral("no room"));
        store.setImportFinished(true, DatachunkHelper::VectorAscLog, QStringLiteral("/log"), true);
    }
    QCOMPARE(store.imports().last().state, State::Failed);
    QVERIFY(!store.errorString().isEmpty());
    QCOMPARE(store.imports().last().noteCount, quint64(1));
    QCOMPARE(fileContent(chunkPath(1)), before);
    QCOMPARE(contentOf(folder).notes, (QMap<int, QString>{{5, QStringLiteral("kept")}}));
#else
    QSKIP("needs file size limits");
#endif
}

void ChunkStoreTest::journalThatCannotBeWritten()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    QVERIFY(QDir(folder).mkpath(QStringLiteral("imports.json/in the way")));
    import(store, numberedFrames(2));
    QCOMPARE(store.imports().last().state, State::Failed);
    QVERIFY2(store.imports().last().errorText.contains(QStringLiteral("imports.json")),
             qPrintable(store.imports().last().errorText));
    QVERIFY(QDir(folder + QStringLiteral("/imports.json")).removeRecursively());
    import(store, numberedFrames(2));
    QCOMPARE(store.imports().last().state, State::Succeeded);
    QVERIFY(store.open(folder, readWrite));
    QCOMPARE(store.imports().size(), 2);
    QCOMPARE(store.imports().at(0).state, State::Failed);
}

void ChunkStoreTest::visitorStops()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(3));
    import(store, numberedFrames(3));
    for (int wanted = 1; wanted <= 7; ++wanted) {
        int seen = 0;
        const bool all = store.forEachMessage([&](const CanRxMessage &, const QString &) { return ++seen < wanted; });
        QCOMPARE(all, wanted > 6);
        QCOMPARE(seen, qMin(wanted, 6));
    }
    QVERIFY(!store.forEachMessage({}));
}

void ChunkStoreTest::visitorStoresMessages()
{
    ChunkStore store;
    QVERIFY(store.open(folder, readWrite));
    import(store, numberedFrames(3));
    int seen = 0;
    QVERIFY(store.forEachMessage([&](const CanRxMessage &message, const QString &) {
        ++seen;
        store.addImportedMessages({message}, {});
        return true;
    }));
    QCOMPARE(seen, 3);
    QCOMPARE(store.messageCount(), quint64(6));
}

void ChunkStoreTest::visitorOpensAnotherStore()
{
    const QString other = path(QStringLiteral("other"));
    ChunkStore store;
    for (const QString &name : {other, folder}) {
        QVERIFY(store.open(name, readWrite));
        import(store, numberedFrames(1));
        import(store, numberedFrames(1));
    }
    writeFile(chunkPath(2), "damaged");
    int seen = 0;
    QVERIFY(store.forEachMessage([&](const CanRxMessage &, const QString &) {
        ++seen;
        return store.open(other, readWrite);
    }));
    QCOMPARE(seen, 1);
    // The damage is not one of the other store.
    QCOMPARE(store.warnings(), QStringList());
    QCOMPARE(store.messageCount(), quint64(2));
}

QTEST_GUILESS_MAIN(ChunkStoreTest)
#include "tst_chunkstore.moc"
