// SPDX-License-Identifier: Apache-2.0
#include "host/convert/sqlitewriter.h"

#include "common/files.h"
#include "host/store/framekind.h"
#include "host/store/timetext.h"

#include <QByteArray>
#include <QFile>

#include <sqlite3.h>

namespace
{

const char *const preparations[] = {
    // The file is new and is dropped when anything fails, so nothing need ever be rolled back.
    "PRAGMA journal_mode = OFF",
    "PRAGMA synchronous = OFF",
    "CREATE TABLE messages ("
    " number INTEGER PRIMARY KEY,"
    " time_us INTEGER NOT NULL,"
    " channel INTEGER NOT NULL,"
    " direction TEXT NOT NULL,"
    " id INTEGER,"
    " extended INTEGER NOT NULL,"
    " remote INTEGER NOT NULL,"
    " fd INTEGER NOT NULL,"
    " brs INTEGER NOT NULL,"
    " esi INTEGER NOT NULL,"
    " error INTEGER NOT NULL,"
    " dlc INTEGER NOT NULL,"
    " data BLOB NOT NULL,"
    " note TEXT)",
    "BEGIN",
};
constexpr char insertion[] = "INSERT INTO messages VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";

} // namespace

/// An open database and the statement that inserts a row.
class SqliteWriter::Database
{
public:
    explicit Database(const QString &databasePath)
        : path(QFile::encodeName(databasePath))
    {
    }
    ~Database() { close(); }

    /// Closes what is open. False when that fails.
    bool close()
    {
        sqlite3_finalize(insert);
        insert = nullptr;
        const bool ok = sqlite3_close(connection) == SQLITE_OK;
        if (ok)
            connection = nullptr;
        return ok;
    }

    /// The next value of the row; all are bound before each step, and live until then.
    void bind(qint64 value) { sqlite3_bind_int64(insert, ++position, value); }
    void bind(bool value) { bind(qint64(value)); }
    void bind(const char *text) { sqlite3_bind_text(insert, ++position, text, -1, SQLITE_STATIC); }
    void bindText(const QByteArray &text)
    {
        textResult = sqlite3_bind_text(insert, ++position, text.constData(), text.size(), SQLITE_STATIC);
    }
    void bindBytes(const quint8 *bytes, int count)
    {
        sqlite3_bind_blob(insert, ++position, bytes, count, SQLITE_STATIC);
    }
    void bindNull() { sqlite3_bind_null(insert, ++position); }
    /// Inserts the row of the values. False when that fails.
    bool insertRow()
    {
        const bool ok = textResult == SQLITE_OK && sqlite3_step(insert) == SQLITE_DONE;
        if (ok)
            sqlite3_reset(insert);
        position = 0;
        return ok;
    }

    const QByteArray path;
    sqlite3 *connection = nullptr;
    sqlite3_stmt *insert = nullptr;
    qint64 number = 0;

private:
    Q_DISABLE_COPY_MOVE(Database)

    int position = 0;
    int textResult = SQLITE_OK; ///< only a text may be too long
};

SqliteWriter::SqliteWriter(const QString &path)
    : d(std::make_unique<Database>(path))
{
}

SqliteWriter::~SqliteWriter() = default;

bool SqliteWriter::begin()
{
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    // Nobody else knows the file yet; on some network disks its own lock would be in the way of another.
#ifdef Q_OS_UNIX
    const char *const system = "unix-none";
#else
    const char *const system = nullptr;
#endif
    if (sqlite3_open_v2(d->path.constData(), &d->connection, flags, system) != SQLITE_OK)
        return failed();
    for (const char *statement : preparations) {
        if (!run(statement))
            return false;
    }
    return sqlite3_prepare_v2(d->connection, insertion, -1, &d->insert, nullptr) == SQLITE_OK || failed();
}

bool SqliteWriter::write(const CAN::CanRxMessage &message, const QString &note)
{
    loseNameOf(message.channel);
    const bool isError = kindOf(message) == FrameKind::Error;
    const QByteArray text = wellFormedNote(note).toUtf8();
    d->bind(++d->number);
    d->bind(inMicroseconds(message.timeStamp));
    d->bind(qint64(message.channel));
    d->bind(message.isTx ? "Tx" : "Rx");
    if (isError)
        d->bindNull();
    else
        d->bind(qint64(message.id));
    for (const bool flag : {message.isExtended, message.isRemote, message.isFd, message.isBrs, message.isEsi, isError})
        d->bind(flag);
    d->bind(qint64(message.dlc));
    d->bindBytes(message.data, payloadLength(message));
    if (note.isEmpty())
        d->bindNull();
    else
        d->bindText(text);
    return d->insertRow() || failed();
}

bool SqliteWriter::finish()
{
    return run("COMMIT") && (d->close() || failed());
}

bool SqliteWriter::run(const char *statement)
{
    return sqlite3_exec(d->connection, statement, nullptr, nullptr, nullptr) == SQLITE_OK || failed();
}

bool SqliteWriter::failed()
{
    if (!d->connection)
        return fail(QStringLiteral("out of memory"));
    const int code = sqlite3_errcode(d->connection);
    if (code == SQLITE_FULL)
        return fail(Files::errorText(ENOSPC));
    // SQLite calls other failed writes I/O errors; the system knows whether the disk is full.
    const int cause = sqlite3_system_errno(d->connection);
    if (code == SQLITE_IOERR && cause != 0)
        return fail(Files::errorText(cause));
    return fail(QString::fromUtf8(sqlite3_errmsg(d->connection)));
}
