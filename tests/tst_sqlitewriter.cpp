// SPDX-License-Identifier: Apache-2.0
#include "host/convert/sqlitewriter.h"
#include "writertest.h"

#include <QTemporaryDir>
#include <QThread>

#include <sqlite3.h>

#include <memory>

class SqliteWriterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void writesOneRow_data();
    void writesOneRow();
    void nothingGivesAnEmptyTable();
    void holdsEverything();
    void notesAreWhole_data();
    void notesAreWhole();
    void servesAnyThread();
    void tellsWhyItCannotWrite();

private:
    QString path() const { return folder->filePath(QStringLiteral("out.db")); }
    void write(const QList<CAN::CanRxMessage> &messages, const QStringList &notes = {}) const;
    /// All rows of the table, in the order of their numbers.
    QVector<QVariantList> rows() const;

    QScopedPointer<QTemporaryDir> folder;
};

void SqliteWriterTest::init()
{
    folder.reset(new QTemporaryDir);
    QVERIFY(folder->isValid());
}

void SqliteWriterTest::write(const QList<CAN::CanRxMessage> &messages, const QStringList &notes) const
{
    SqliteWriter writer(path());
    QVERIFY2(writer.begin(), qPrintable(writer.errorText()));
    for (int i = 0; i < messages.size(); ++i)
        QVERIFY2(writer.write(messages.at(i), notes.value(i)), qPrintable(writer.errorText()));
    QVERIFY2(writer.finish(), qPrintable(writer.errorText()));
    QVERIFY(writer.losses().isEmpty());
}

QVector<QVariantList> SqliteWriterTest::rows() const
{
    const char query[] = "SELECT number, time_us, channel, direction, id, extended, remote, fd, brs, esi, error, dlc, "
                         "hex(data), typeof(data), note FROM messages ORDER BY number";
    QVector<QVariantList> result;
    sqlite3 *database = nullptr;
    sqlite3_stmt *statement = nullptr;
    sqlite3_open(QFile::encodeName(path()).constData(), &database);
    sqlite3_prepare_v2(database, query, -1, &statement, nullptr);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        QVariantList row;
        for (int i = 0; i < sqlite3_column_count(statement); ++i) {
            if (sqlite3_column_type(statement, i) == SQLITE_NULL) {
                row.append(QVariant());
                continue;
            }
            const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(statement, i));
            row.append(QString::fromUtf8(text, sqlite3_column_bytes(statement, i)));
        }
        result.append(row);
    }
    sqlite3_finalize(statement);
    if (sqlite3_errcode(database) != SQLITE_OK && sqlite3_errcode(database) != SQLITE_DONE)
        qWarning("%s", sqlite3_errmsg(database));
    sqlite3_close(database);
    return result;
}

void SqliteWriterTest::writesOneRow_data()
{
    QTest::addColumn<CAN::CanRxMessage>("message");
    QTest::addColumn<QString>("note");
    QTest::addColumn<QString>("row");
    const auto row = [](const char *name, const Frame &frame, const char *text, const char *note = "") {
        QTest::newRow(name) << CAN::CanRxMessage(frame) << QString::fromUtf8(note) << QString::fromUtf8(text);
    };
    row("data", Frame(0x123, "11 AB").at(1345212884, 318850).channel(1),
        "1|1345212884318850|1|Rx|291|0|0|0|0|0|0|2|11AB|blob|NULL");
    row("all flags", Frame(0x1FFFFFFF).extended().remote().fd().brs().esi().tx().dlc(3),
        "1|0|0|Tx|536870911|1|1|1|1|1|0|3||blob|NULL");
    row("error frame with a note", Frame(CAN::errorFrameId).at(-1, 250000).channel(65535),
        "1|-750000|65535|Rx|NULL|0|0|0|0|0|1|0||blob|it's \xC3\xA4 \"note\"", "it's \xC3\xA4 \"note\"");
    row("zeros are kept", Frame(0x1, "00 00"), "1|0|0|Rx|1|0|0|0|0|0|0|2|0000|blob|NULL");
}

void SqliteWriterTest::writesOneRow()
{
    QFETCH(CAN::CanRxMessage, message);
    QFETCH(QString, note);
    QFETCH(QString, row);
    write({message}, {note});
    const QVector<QVariantList> all = rows();
    QCOMPARE(all.size(), 1);
    QStringList texts;
    for (const QVariant &value : all.constFirst())
        texts.append(value.isNull() ? QStringLiteral("NULL") : value.toString());
    QCOMPARE(texts.join(QLatin1Char('|')), row);
}

void SqliteWriterTest::nothingGivesAnEmptyTable()
{
    write({});
    QVERIFY(rows().isEmpty());
    QVERIFY(QFileInfo(path()).size() > 0);
}

void SqliteWriterTest::holdsEverything()
{
    const Frames messages = randomMessages(3000, 1716284412);
    write(messages);
    Frames read;
    for (const QVariantList &row : rows()) {
        const qint64 time = row.at(1).toLongLong();
        CAN::CanRxMessage message = Frame(row.at(10).toBool() ? CAN::errorFrameId : row.at(4).toUInt())
                                        .bytes(QByteArray::fromHex(row.at(12).toByteArray()))
                                        .dlc(quint8(row.at(11).toUInt()))
                                        .channel(quint16(row.at(2).toUInt()))
                                        .at(qint32(time / 1000000), qint32(time % 1000000));
        message.isTx = row.at(3).toString() == QLatin1String("Tx");
        message.isExtended = row.at(5).toBool();
        message.isRemote = row.at(6).toBool();
        message.isFd = row.at(7).toBool();
        message.isBrs = row.at(8).toBool();
        message.isEsi = row.at(9).toBool();
        message.messageIndex = row.at(0).toUInt() - 1;
        read.append(message);
    }
    QCOMPARE(differenceOf(read, messages), QString());
}

void SqliteWriterTest::notesAreWhole_data()
{
    QTest::addColumn<QString>("note");
    QTest::addColumn<QString>("read");
    const QString zero = QStringLiteral("a") + QChar(QChar::Null) + QStringLiteral("b");
    QTest::newRow("zero") << zero << zero;
    QTest::newRow("controls") << QStringLiteral("\x1b[2J\u202E") << QStringLiteral("\x1b[2J\u202E");
    const QString half = QStringLiteral("a") + QChar(ushort(0xD800)) + QStringLiteral("bc");
    QTest::newRow("half a character") << half << QStringLiteral("a\uFFFDbc");
    QTest::newRow("long") << QString(1 << 20, QLatin1Char('\'')) << QString(1 << 20, QLatin1Char('\''));
}

void SqliteWriterTest::notesAreWhole()
{
    QFETCH(QString, note);
    QFETCH(QString, read);
    SqliteWriter writer(path());
    QVERIFY(writer.begin() && writer.write(Frame(0x1), note) && writer.finish());
    QCOMPARE(lossesOf(writer), note == read ? QString() : QStringLiteral("ill-formed note 1"));
    QCOMPARE(rows().value(0).value(14).toString(), read);
}

void SqliteWriterTest::servesAnyThread()
{
    SqliteWriter writer(path());
    QVERIFY2(writer.begin(), qPrintable(writer.errorText()));
    bool ok = false;
    const std::unique_ptr<QThread> thread(
        QThread::create([&] { ok = writer.write(Frame(0x1), {}) && writer.finish(); }));
    thread->start();
    thread->wait();
    QVERIFY2(ok, qPrintable(writer.errorText()));
    QCOMPARE(rows().size(), 1);
}

void SqliteWriterTest::tellsWhyItCannotWrite()
{
    SqliteWriter writer(folder->filePath(QStringLiteral("missing/out.db")));
    QVERIFY(!writer.begin());
    QVERIFY2(writer.errorText().contains(QLatin1String("unable to open")), qPrintable(writer.errorText()));
}

QTEST_GUILESS_MAIN(SqliteWriterTest)
#include "tst_sqlitewriter.moc"
