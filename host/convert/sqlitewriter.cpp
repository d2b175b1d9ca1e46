#include "host/convert/sqlitewriter.h"

#include "host/store/framekind.h"
#include "host/store/timetext.h"

#include <QByteArray>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>
#include <QUuid>
#include <QVariant>

#include <optional>

namespace
{

const QLatin1String driver("QSQLITE");

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
};
const QLatin1String insertion("INSERT INTO messages VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");

QString describe(const QSqlError &error)
{
    return error.databaseText().isEmpty() ? error.driverText() : error.databaseText();
}

} // namespace

class SqliteWriter::Private
{
public:
    explicit Private(const QString &path)
        : connection(QUuid::createUuid().toString())
        , database(QSqlDatabase::addDatabase(driver, connection))
    {
        database.setDatabaseName(path);
    }
    ~Private()
    {
        insert.reset(); // a connection can only be removed when nobody holds anything of it
        database = QSqlDatabase();
        QSqlDatabase::removeDatabase(connection);
    }

    const QThread *const thread = QThread::currentThread();
    const QString connection;
    QSqlDatabase database;
    std::optional<QSqlQuery> insert;
    qint64 number = 0;
};

SqliteWriter::SqliteWriter(const QString &path)
    : d(std::make_unique<Private>(path))
{
}

SqliteWriter::~SqliteWriter() = default;

bool SqliteWriter::isInItsThread()
{
    return QThread::currentThread() == d->thread || fail(QStringLiteral("its database is open in another thread"));
}

bool SqliteWriter::begin()
{
    if (!isInItsThread())
        return false;
    if (!QSqlDatabase::isDriverAvailable(driver))
        return fail(QStringLiteral("Qt's driver for SQLite is missing, install the package libqt%1sql%1-sqlite")
                        .arg(QT_VERSION_MAJOR));
    if (!d->database.open())
        return fail(describe(d->database.lastError()));
    QSqlQuery query(d->database);
    for (const char *statement : preparations) {
        if (!query.exec(QLatin1String(statement)))
            return fail(describe(query.lastError()));
    }
    query.finish();
    if (!d->database.transaction())
        return fail(describe(d->database.lastError()));
    d->insert.emplace(d->database);
    return d->insert->prepare(insertion) || fail(describe(d->insert->lastError()));
}

bool SqliteWriter::write(const CAN::CanRxMessage &message, const QString &note)
{
    if (!isInItsThread())
        return false;
    const bool isError = kindOf(message) == FrameKind::Error;
    const QVariant values[] = {
        ++d->number,
        inMicroseconds(message.timeStamp),
        message.channel,
        message.isTx ? QStringLiteral("Tx") : QStringLiteral("Rx"),
        isError ? QVariant(QVariant::UInt) : QVariant(message.id),
        int(message.isExtended),
        int(message.isRemote),
        int(message.isFd),
        int(message.isBrs),
        int(message.isEsi),
        int(isError),
        message.dlc,
        QByteArray(reinterpret_cast<const char *>(message.data), payloadLength(message)),
        note.isEmpty() ? QVariant(QVariant::String) : QVariant(note),
    };
    int position = 0;
    for (const QVariant &value : values)
        d->insert->bindValue(position++, value);
    return d->insert->exec() || fail(describe(d->insert->lastError()));
}

bool SqliteWriter::finish()
{
    if (!isInItsThread())
        return false;
    d->insert.reset();
    if (!d->database.commit())
        return fail(describe(d->database.lastError()));
    d->database.close();
    return true;
}
