#include "host/store/chunkstore.h"

#include "host/store/notes.h"
#include "host/store/streamstore.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSysInfo>
#include <QThread>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace
{

struct StoredChunk {
    QStringList fileNames; ///< the one that is used, then those with the same number
    ChunkFormat::Summary summary;
    bool damaged = false; ///< found when it was last read: none of the files is valid
};

struct Import {
    ImportRecord record;
    /// The next chunk number when the import began: chunks from here on are its own, up to where the next one began.
    /// With it a killed import finds its chunks, though the journal is written at the beginning and the end only.
    quint64 firstChunk = 0;
    QVector<quint64> chunks;
};

QString journalName()
{
    return QStringLiteral("imports.json");
}
constexpr int journalVersion = 1;

QString chunkFileName(quint64 number)
{
    return QStringLiteral("chunk-%1.qcl").arg(number, 8, 10, QLatin1Char('0'));
}

/// What QSaveFile leaves behind when its program is killed: the final name and six random letters.
bool isTemporaryFile(const QString &name)
{
    static const QRegularExpression pattern(
        QStringLiteral("\\A(chunk-[0-9]{8,15}\\.qcl|imports\\.json)\\.[A-Za-z0-9]{6}\\z"));
    return pattern.match(name).hasMatch();
}

QString warningText(const QString &fileName, const QString &fault)
{
    return QStringLiteral("%1: %2").arg(fileName, fault);
}

/// Makes the names of the files in @p folder outlast a power loss, where the system can.
void syncFolder(const QString &folder)
{
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    ::fsync(descriptor);
    ::close(descriptor);
}

void include(ImportRecord &record, const ChunkFormat::Summary &summary)
{
    if (record.messageCount == 0 || ChunkFormat::isEarlier(summary.firstTime, record.firstTime))
        record.firstTime = summary.firstTime;
    if (record.messageCount == 0 || ChunkFormat::isEarlier(record.lastTime, summary.lastTime))
        record.lastTime = summary.lastTime;
    record.messageCount += quint64(summary.messageCount);
    record.noteCount += quint64(summary.noteCount);
    record.fdSeen = record.fdSeen || summary.fdSeen;
}

QString stateText(ImportRecord::State state)
{
    switch (state) {
    case ImportRecord::State::Incomplete:
        break;
    case ImportRecord::State::Succeeded:
        return QStringLiteral("succeeded");
    case ImportRecord::State::Failed:
        return QStringLiteral("failed");
    }
    return QStringLiteral("incomplete");
}

QJsonArray timeToJson(const CanTimeStamp &time)
{
    return {time.seconds, time.microseconds};
}

QJsonObject toJson(const Import &import)
{
    const ImportRecord &record = import.record;
    QJsonArray chunks;
    for (const quint64 number : import.chunks)
        chunks.append(double(number));
    return {
        {QStringLiteral("path"), record.path},
        {QStringLiteral("type"), int(record.type)},
        {QStringLiteral("state"), stateText(record.state)},
        {QStringLiteral("messageCount"), double(record.messageCount)},
        {QStringLiteral("firstTime"), timeToJson(record.firstTime)},
        {QStringLiteral("lastTime"), timeToJson(record.lastTime)},
        {QStringLiteral("noteCount"), double(record.noteCount)},
        {QStringLiteral("fdSeen"), record.fdSeen},
        {QStringLiteral("errorText"), record.errorText},
        {QStringLiteral("firstChunk"), double(import.firstChunk)},
        {QStringLiteral("chunks"), chunks},
    };
}

/// Reads the values of one journal entry and remembers whether one of them was not what it must be.
class JournalEntry
{
public:
    explicit JournalEntry(const QJsonValue &value)
        : object(value.toObject())
        , valid(value.isObject())
    {
    }
    bool isValid() const { return valid; }

    QString text(const QString &key) { return check(object.value(key), QJsonValue::String).toString(); }
    bool flag(const QString &key) { return check(object.value(key), QJsonValue::Bool).toBool(); }
    QJsonArray list(const QString &key) { return check(object.value(key), QJsonValue::Array).toArray(); }
    template <typename Number>
    Number number(const QString &key)
    {
        return number<Number>(object.value(key));
    }
    template <typename Number>
    Number number(const QJsonValue &value)
    {
        // A double has all whole numbers up to 2^53, and no count or chunk number comes near that.
        const double lowest = double(std::numeric_limits<Number>::lowest());
        const double highest = qMin(double(std::numeric_limits<Number>::max()), 9007199254740992.0);
        const double found = check(value, QJsonValue::Double).toDouble();
        valid = valid && found >= lowest && found <= highest && std::floor(found) == found;
        return valid ? Number(found) : Number(0);
    }
    CanTimeStamp time(const QString &key)
    {
        const QJsonArray parts = list(key);
        valid = valid && parts.size() == 2;
        const auto seconds = number<qint32>(parts.at(0));
        return {seconds, number<qint32>(parts.at(1))};
    }
    ImportRecord::State state(const QString &key)
    {
        const QString found = text(key);
        for (const auto state : {ImportRecord::State::Succeeded, ImportRecord::State::Failed})
            if (found == stateText(state))
                return state;
        valid = valid && found == stateText(ImportRecord::State::Incomplete);
        return ImportRecord::State::Incomplete;
    }

private:
    const QJsonValue &check(const QJsonValue &value, QJsonValue::Type type)
    {
        valid = valid && value.type() == type;
        return value;
    }

    QJsonObject object;
    bool valid;
};

bool fromJson(const QJsonValue &value, Import &import)
{
    JournalEntry entry(value);
    ImportRecord &record = import.record;
    record.path = entry.text(QStringLiteral("path"));
    record.type = DatachunkHelper::ImportFileType(entry.number<int>(QStringLiteral("type")));
    record.state = entry.state(QStringLiteral("state"));
    record.messageCount = entry.number<quint64>(QStringLiteral("messageCount"));
    record.firstTime = entry.time(QStringLiteral("firstTime"));
    record.lastTime = entry.time(QStringLiteral("lastTime"));
    record.noteCount = entry.number<quint64>(QStringLiteral("noteCount"));
    record.fdSeen = entry.flag(QStringLiteral("fdSeen"));
    record.errorText = entry.text(QStringLiteral("errorText"));
    import.firstChunk = entry.number<quint64>(QStringLiteral("firstChunk"));
    const QJsonArray chunks = entry.list(QStringLiteral("chunks"));
    for (const QJsonValue &number : chunks)
        import.chunks.append(entry.number<quint64>(number));
    return entry.isValid() && import.firstChunk <= ChunkFormat::maximumNumber + 1
           && std::all_of(import.chunks.cbegin(), import.chunks.cend(),
                          [](quint64 number) { return number <= ChunkFormat::maximumNumber; });
}

struct JournalFault {
    QString text;         ///< in a few words; empty when there is none
    bool isDamage = true; ///< false: it may be in order, but cannot be read here
};

/// Reads the journal @p path into @p imports, all of it that can be read. A missing journal is an empty one.
JournalFault readJournal(const QString &path, QVector<Import> &imports)
{
    const QFileInfo info(path);
    if (!info.exists())
        return {};
    if (!info.isFile())
        return {QStringLiteral("it is no plain file"), false};
    QFile file(path);
    const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    if (file.error() != QFileDevice::NoError)
        return {file.errorString(), false};
    QJsonParseError error;
    const QJsonObject root = QJsonDocument::fromJson(text, &error).object();
    if (error.error != QJsonParseError::NoError)
        return {error.errorString()};
    const int version = root.value(QStringLiteral("version")).toInt();
    if (version > journalVersion)
        return {QStringLiteral("its version %1 is not known").arg(version), false};
    if (version != journalVersion || !root.value(QStringLiteral("imports")).isArray())
        return {QStringLiteral("it is no import journal")};
    int damaged = 0;
    const QJsonArray entries = root.value(QStringLiteral("imports")).toArray();
    for (const QJsonValue &value : entries) {
        Import import;
        if (fromJson(value, import))
            imports.append(import);
        else
            ++damaged;
    }
    return {damaged == 0 ? QString() : QStringLiteral("%1 of its entries cannot be read").arg(damaged)};
}

/// Takes the lock, also over from a program that was killed.
bool take(QLockFile &lock)
{
    lock.setStaleLockTime(0); // an import may take hours: only the end of its program makes a lock stale
    if (lock.tryLock(0))
        return true;
    if (lock.error() != QLockFile::LockFailedError)
        return false;
    // QLockFile sees that the program in the file is gone. It does not see that a program was killed before its lock
    // file had any text, nor that it had the same process id as this one, as the programs of containers often do.
    qint64 process = 0;
    QString host;
    QString program;
    const auto mayBeStale = [&] {
        return !lock.getLockInfo(&process, &host, &program)
               || (process == QCoreApplication::applicationPid() && host == QSysInfo::machineHostName());
    };
    if (!mayBeStale())
        return false;
    QThread::msleep(100); // a lock file that is just being written has its text by then
    // Fails while its owner is alive, since that holds the lock of the operating system.
    return mayBeStale() && lock.removeStaleLockFile() && lock.tryLock(0);
}

QString lockFault(const QLockFile &lock, const QString &folder)
{
    if (lock.error() == QLockFile::PermissionError)
        return QStringLiteral("The store %1 cannot be written: permission denied").arg(folder);
    qint64 process = 0;
    QString host;
    QString program;
    if (lock.error() != QLockFile::LockFailedError)
        return QStringLiteral("The store %1 cannot be locked for writing").arg(folder);
    if (!lock.getLockInfo(&process, &host, &program))
        return QStringLiteral("The store %1 is in use by another program").arg(folder);
    if (host == QSysInfo::machineHostName())
        return QStringLiteral("The store %1 is in use by another program (process %2, %3)")
            .arg(folder, QString::number(process), program);
    // Whether that program is alive cannot be seen from here, so its user must say.
    return QStringLiteral("The store %1 is in use by another program (process %2, %3, on %4); if that is gone, "
                          "remove the file .lock in the store")
        .arg(folder, QString::number(process), program, host);
}

} // namespace

class ChunkStore::Private
{
public:
    enum class Phase {
        Idle,
        Started,      ///< by setImportStarted()
        Delivering,   ///< begun by a delivery
        Unpacking,    ///< begun by notifyNewZippedFile()
        FinishedOnce, ///< with flag false: one more finish may come
    };

    bool openFolder(const QString &path, Mode openMode);
    bool isOpen() const { return !folder.isEmpty(); }
    QString filePath(const QString &name) const { return folder + QLatin1Char('/') + name; }

    void begin(Phase newPhase);
    bool beginDelivery();
    void finish(bool success, DatachunkHelper::ImportFileType type, const QString &path);
    ImportRecord end();
    bool isDelivering() const { return phase == Phase::Started || phase == Phase::Delivering; }
    Import &currentImport() { return mode == Mode::Read ? unstored : imports.last(); }

    void fail(const QString &text);
    void leaveOut(const QString &text);
    bool checkWritable();
    bool mayDeliver();
    bool writeChunk(ChunkFormat::Encoder &encoder, const QMap<int, QString> &notes);
    bool addChunk(const ChunkFormat::Chunk &chunk);
    void addNoteToLastMessage(const QString &text);
    void setDamage(quint64 number, const QStringList &faults, const ChunkFormat::Summary *found);

    QString folder; ///< absolute; empty when the store is not open
    Mode mode = Mode::Read;
    std::unique_ptr<QLockFile> lock;
    QString errorString;
    QStringList warnings;
    std::vector<StoredChunk> chunks; ///< ascending by number
    quint64 nextNumber = 1;
    QVector<Import> imports;
    Import unstored; ///< the current import into a store that is open for reading; it fails

    Phase phase = Phase::Idle; ///< unless idle, the current import is the last one
    QString writeFault;        ///< why no more of the current import is written
    QString firstLeftOut;
    int leftOutCount = 0;
    QString lastErrorText;

private:
    void removeTemporaryFiles() const;
    void readChunks();
    bool readImports();
    void findChunksOfImports();
    bool replaceJournal();
    void fill(bool success, DatachunkHelper::ImportFileType type, const QString &path);
    bool writeFile(const QString &name, const std::function<QString(QIODevice &)> &write);
    bool writeJournal();
};

bool ChunkStore::Private::openFolder(const QString &path, Mode openMode)
{
    if (path.isEmpty()) {
        errorString = QStringLiteral("No folder is given for the store");
        return false;
    }
    const QString absolute = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    const QFileInfo info(absolute);
    if (info.exists() && !info.isDir()) {
        errorString = QStringLiteral("The store %1 is not a folder").arg(absolute);
        return false;
    }
    if (openMode == Mode::Read && !info.exists()) {
        errorString = QStringLiteral("The store %1 does not exist").arg(absolute);
        return false;
    }
    if (openMode == Mode::ReadWrite && !QDir().mkpath(absolute)) {
        errorString = QStringLiteral("The store %1 cannot be made").arg(absolute);
        return false;
    }
    if (!QFileInfo(absolute).isReadable()) {
        errorString = QStringLiteral("The store %1 cannot be read: permission denied").arg(absolute);
        return false;
    }
    if (openMode == Mode::ReadWrite) {
        // Hidden, so that packing the plain files of the folder leaves it out.
        lock = std::make_unique<QLockFile>(absolute + QStringLiteral("/.lock"));
        if (!take(*lock)) {
            errorString = lockFault(*lock, absolute);
            return false;
        }
    }
    folder = absolute;
    mode = openMode;
    readChunks();
    if (!readImports())
        return false;
    if (mode == Mode::ReadWrite)
        removeTemporaryFiles();
    return true;
}

void ChunkStore::Private::removeTemporaryFiles() const
{
    const QStringList names = QDir(folder).entryList(QDir::Files);
    for (const QString &name : names)
        if (isTemporaryFile(name))
            QFile::remove(filePath(name));
}

void ChunkStore::Private::readChunks()
{
    quint64 highest = 0;
    const QStringList names = QDir(folder).entryList(QDir::Files, QDir::Name);
    for (const QString &name : names) {
        if (!name.endsWith(QLatin1String(".qcl")))
            continue;
        StoredChunk chunk;
        chunk.fileNames.append(name);
        QFile file(filePath(name));
        const QString fault =
            file.open(QIODevice::ReadOnly) ? ChunkFormat::readSummary(file, chunk.summary) : file.errorString();
        if (fault.isEmpty()) {
            chunks.push_back(chunk);
            highest = qMax(highest, chunk.summary.number);
        } else {
            warnings.append(warningText(name, fault));
        }
    }
    nextNumber = highest + 1;

    const auto hasOtherName = [](const StoredChunk &chunk) {
        return chunk.fileNames.first() != chunkFileName(chunk.summary.number);
    };
    std::sort(chunks.begin(), chunks.end(), [&](const StoredChunk &a, const StoredChunk &b) {
        if (a.summary.number != b.summary.number)
            return a.summary.number < b.summary.number;
        if (hasOtherName(a) != hasOtherName(b))
            return hasOtherName(b);
        return a.fileNames.first() < b.fileNames.first();
    });
    std::vector<StoredChunk> unique;
    unique.reserve(chunks.size());
    for (const StoredChunk &chunk : chunks) {
        if (unique.empty() || unique.back().summary.number != chunk.summary.number) {
            unique.push_back(chunk);
            continue;
        }
        QStringList &all = unique.back().fileNames;
        all.append(chunk.fileNames);
        warnings.append(warningText(all.last(), QStringLiteral("it has the same number as %1").arg(all.first())));
    }
    chunks = unique;
}

/// False when the store must not be written with such a journal.
bool ChunkStore::Private::readImports()
{
    const JournalFault fault = readJournal(filePath(journalName()), imports);
    if (mode == Mode::ReadWrite && !fault.isDamage) {
        errorString = QStringLiteral("The store %1 cannot be written: its import journal %2 cannot be read: %3")
                          .arg(folder, journalName(), fault.text);
        return false;
    }
    if (!fault.text.isEmpty())
        warnings.append(warningText(journalName(), fault.text));
    findChunksOfImports();
    return fault.text.isEmpty() || mode == Mode::Read || replaceJournal();
}

/// Writes what could be read of a damaged journal, and keeps the old one: a person may see more in it.
bool ChunkStore::Private::replaceJournal()
{
    QString copy = QStringLiteral("imports-damaged.json");
    for (int i = 2; QFileInfo::exists(filePath(copy)); ++i)
        copy = QStringLiteral("imports-damaged-%1.json").arg(i);
    QFile journal(filePath(journalName()));
    if (journal.copy(filePath(copy)))
        return writeJournal();
    fail(QStringLiteral("%1 cannot be written: %2").arg(filePath(copy), journal.errorString()));
    return false;
}

void ChunkStore::Private::findChunksOfImports()
{
    const auto isKnown = [&](quint64 number) {
        const auto chunk =
            std::lower_bound(chunks.cbegin(), chunks.cend(), number,
                             [](const StoredChunk &a, quint64 wanted) { return a.summary.number < wanted; });
        return chunk != chunks.cend() && chunk->summary.number == number;
    };
    for (int i = 0; i < imports.size(); ++i) {
        Import &import = imports[i];
        nextNumber = qMax(nextNumber, import.firstChunk);
        for (const quint64 number : qAsConst(import.chunks)) {
            nextNumber = qMax(nextNumber, number + 1);
            // A file that is there is damaged, or the writer has added it since the chunks were listed.
            const QString name = chunkFileName(number);
            if (!isKnown(number) && !QFileInfo::exists(filePath(name)))
                warnings.append(warningText(name, QStringLiteral("it is missing")));
        }
        if (import.record.state != ImportRecord::State::Incomplete)
            continue;
        const quint64 end = i + 1 < imports.size() ? imports.at(i + 1).firstChunk : ChunkFormat::maximumNumber + 1;
        const bool fdSeen = import.record.fdSeen;
        import.record = {};
        import.record.fdSeen = fdSeen;
        import.chunks.clear();
        for (const StoredChunk &chunk : chunks) {
            if (chunk.summary.number < import.firstChunk || chunk.summary.number >= end)
                continue;
            import.chunks.append(chunk.summary.number);
            include(import.record, chunk.summary);
        }
    }
}

void ChunkStore::Private::fail(const QString &text)
{
    errorString = text;
    if (phase != Phase::Idle && writeFault.isEmpty())
        writeFault = text;
}

void ChunkStore::Private::leaveOut(const QString &text)
{
    if (leftOutCount++ == 0)
        firstLeftOut = text;
}

bool ChunkStore::Private::checkWritable()
{
    if (mode == Mode::Read && isOpen())
        fail(QStringLiteral("The store %1 is open for reading only").arg(folder));
    return mode == Mode::ReadWrite;
}

/// Whether a delivery at this moment is to be written.
bool ChunkStore::Private::mayDeliver()
{
    return checkWritable() && (!isDelivering() || writeFault.isEmpty());
}

bool ChunkStore::Private::writeFile(const QString &name, const std::function<QString(QIODevice &)> &write)
{
    QSaveFile file(filePath(name));
    QString fault;
    if (!file.open(QIODevice::WriteOnly)) {
        fault = file.errorString();
    } else {
        fault = write(file);
        // commit() alone would keep a file whose last bytes, still in the buffer, found the disk full.
        if (fault.isEmpty() && (!file.flush() || file.error() != QFileDevice::NoError || !file.commit()))
            fault = file.errorString();
    }
    if (!fault.isEmpty())
        fail(QStringLiteral("%1 cannot be written: %2").arg(filePath(name), fault));
    return fault.isEmpty();
}

bool ChunkStore::Private::writeJournal()
{
    if (!checkWritable())
        return false;
    QJsonArray entries;
    for (const Import &import : qAsConst(imports))
        entries.append(toJson(import));
    const QJsonObject root{{QStringLiteral("version"), journalVersion}, {QStringLiteral("imports"), entries}};
    const QByteArray text = QJsonDocument(root).toJson();
    return writeFile(journalName(), [&](QIODevice &file) {
        return ChunkFormat::writeAll(file, text) ? QString() : file.errorString();
    });
}

void ChunkStore::Private::begin(Phase newPhase)
{
    Import import;
    import.firstChunk = nextNumber;
    if (mode == Mode::Read)
        unstored = import;
    else
        imports.append(import);
    phase = newPhase;
    writeFault.clear();
    firstLeftOut.clear();
    leftOutCount = 0;
    writeJournal();
}

/// Sees to it that there is an import which the messages at hand belong to; false when they cannot be kept.
bool ChunkStore::Private::beginDelivery()
{
    if (!mayDeliver())
        return false;
    if (!isDelivering())
        begin(Phase::Delivering);
    return writeFault.isEmpty();
}

void ChunkStore::Private::fill(bool success, DatachunkHelper::ImportFileType type, const QString &path)
{
    ImportRecord &record = currentImport().record;
    record.path = path;
    record.type = type;
    record.state = success && writeFault.isEmpty() ? ImportRecord::State::Succeeded : ImportRecord::State::Failed;
    if (!writeFault.isEmpty())
        record.errorText = writeFault;
    else if (!success && !lastErrorText.isEmpty())
        record.errorText = lastErrorText;
    else if (leftOutCount > 1)
        record.errorText = QStringLiteral("%1 (and %2 more)").arg(firstLeftOut, QString::number(leftOutCount - 1));
    else
        record.errorText = firstLeftOut;
}

void ChunkStore::Private::finish(bool success, DatachunkHelper::ImportFileType type, const QString &path)
{
    fill(success, type, path);
    if (writeJournal())
        syncFolder(folder); // once for all files of the import: each costs milliseconds
    else
        fill(success, type, path);
}

ImportRecord ChunkStore::Private::end()
{
    phase = Phase::Idle;
    lastErrorText.clear();
    return currentImport().record;
}

bool ChunkStore::Private::writeChunk(ChunkFormat::Encoder &encoder, const QMap<int, QString> &notes)
{
    // A file that is no valid chunk is not overwritten either: it may be the only copy.
    while (QFileInfo::exists(filePath(chunkFileName(nextNumber))))
        ++nextNumber;
    if (nextNumber > ChunkFormat::maximumNumber) {
        fail(QStringLiteral("The store %1 has no chunk number left").arg(folder));
        return false;
    }
    const quint64 number = nextNumber;
    const QString name = chunkFileName(number);
    if (!writeFile(name, [&](QIODevice &file) { return encoder.write(file, number, notes); }))
        return false;
    StoredChunk chunk;
    chunk.fileNames.append(name);
    chunk.summary = encoder.summary();
    chunks.push_back(chunk);
    ++nextNumber;
    currentImport().chunks.append(number);
    include(currentImport().record, chunk.summary);
    return true;
}

bool ChunkStore::Private::addChunk(const ChunkFormat::Chunk &chunk)
{
    if (!beginDelivery())
        return false;
    ChunkFormat::Encoder encoder(chunk.messages.size());
    for (const CAN::CanRxMessage &message : chunk.messages)
        encoder.add(message);
    return writeChunk(encoder, chunk.notes);
}

void ChunkStore::Private::addNoteToLastMessage(const QString &text)
{
    if (!mayDeliver() || text.isEmpty() || !isDelivering() || currentImport().chunks.isEmpty())
        return;
    StoredChunk &stored = chunks.back();
    const QString name = stored.fileNames.first();
    ChunkFormat::Chunk chunk;
    const QString fault = ChunkFormat::readChunkFile(filePath(name), chunk);
    if (!fault.isEmpty()) {
        fail(QStringLiteral("%1 cannot be read again to add a note: %2").arg(filePath(name), fault));
        return;
    }
    const int last = chunk.messages.size() - 1;
    const bool isNew = !chunk.notes.contains(last);
    joinNote(chunk.notes[last], text);
    ChunkFormat::Encoder encoder(chunk.messages.size());
    for (const CAN::CanRxMessage &message : qAsConst(chunk.messages))
        encoder.add(message);
    if (!writeFile(name, [&](QIODevice &file) { return encoder.write(file, stored.summary.number, chunk.notes); }))
        return;
    stored.summary = encoder.summary();
    if (isNew)
        ++currentImport().record.noteCount;
}

/// Keeps what reading the chunk with @p number showed: the @p faults of its files up to the good one, and what was
/// @p found in that; null when there is none.
void ChunkStore::Private::setDamage(quint64 number, const QStringList &faults, const ChunkFormat::Summary *found)
{
    const auto chunk = std::find_if(chunks.begin(), chunks.end(),
                                    [&](const StoredChunk &other) { return other.summary.number == number; });
    if (chunk == chunks.end())
        return;
    chunk->damaged = found == nullptr;
    if (found)
        chunk->summary = *found;
    for (const QString &fault : faults)
        if (!warnings.contains(fault))
            warnings.append(fault);
}

ChunkStore::ChunkStore(QObject *parent)
    : DatachunkHandler(parent)
    , d(std::make_unique<Private>())
{
    // For hosts that connect to importFinished() from another thread.
    qRegisterMetaType<ImportRecord>("ImportRecord");
}

ChunkStore::~ChunkStore() = default;

bool ChunkStore::isStore(const QString &folder)
{
    const QStringList marks{journalName(), QStringLiteral("*.qcl")};
    return !folder.isEmpty() && !QDir(folder).entryList(marks, QDir::Files | QDir::CaseSensitive).isEmpty();
}

void ChunkStore::removeEmpty(const QString &folder)
{
    const QDir::Filters everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    const QStringList names = QDir(folder).entryList(everything);
    if (!std::all_of(names.cbegin(), names.cend(), [](const QString &name) { return name == journalName(); }))
        return;
    QFile::remove(folder + QLatin1Char('/') + journalName());
    QDir().rmdir(folder);
}

bool ChunkStore::open(const QString &folder, Mode mode)
{
    d.reset(); // gives the former lock back first: it may be the same folder
    d = std::make_unique<Private>();
    if (d->openFolder(folder, mode))
        return true;
    const QString fault = d->errorString;
    d = std::make_unique<Private>();
    d->errorString = fault;
    return false;
}

QString ChunkStore::errorString() const
{
    return d->errorString;
}

QStringList ChunkStore::warnings() const
{
    return d->warnings;
}

QVector<ImportRecord> ChunkStore::imports() const
{
    QVector<ImportRecord> records;
    records.reserve(d->imports.size());
    for (const Import &import : qAsConst(d->imports))
        records.append(import.record);
    return records;
}

quint64 ChunkStore::messageCount() const
{
    quint64 count = 0;
    for (const StoredChunk &chunk : d->chunks)
        if (!chunk.damaged)
            count += quint64(chunk.summary.messageCount);
    return count;
}

bool ChunkStore::forEachMessage(const Visitor &visitor)
{
    if (!d->isOpen() || !visitor)
        return false;
    // Copies, since the visitor may store messages or open another folder.
    const std::vector<StoredChunk> chunks = d->chunks;
    const QString folder = d->folder;
    ChunkFormat::Chunk chunk;
    for (const StoredChunk &stored : chunks) {
        const quint64 number = stored.summary.number;
        QStringList faults;
        for (const QString &name : stored.fileNames) {
            QString fault = ChunkFormat::readChunkFile(folder + QLatin1Char('/') + name, chunk);
            if (fault.isEmpty() && chunk.summary.number != number)
                fault = QStringLiteral("its number has changed");
            if (fault.isEmpty())
                break;
            faults.append(warningText(name, fault));
        }
        const bool isReadable = faults.size() < stored.fileNames.size();
        if (d->folder == folder)
            d->setDamage(number, faults, isReadable ? &chunk.summary : nullptr);
        if (isReadable && !ChunkFormat::forEachMessage(chunk, visitor))
            return false;
    }
    return true;
}

void ChunkStore::addImportedMessages(const QList<CAN::CanRxMessage> &messages, const QMap<unsigned int, QString> &notes)
{
    if (messages.isEmpty()) {
        d->addNoteToLastMessage(joinedNotes(notes));
        return;
    }
    if (!d->beginDelivery())
        return;
    const QMap<int, QString> allNotes = notesByPosition(messages, notes);
    auto note = allNotes.cbegin();
    int next = 0;
    while (next < messages.size()) {
        const int first = next;
        const int count = qMin(messages.size() - first, ChunkFormat::maximumMessages);
        ChunkFormat::Encoder encoder(count);
        while (next < first + count)
            encoder.add(messages.at(next++));
        QMap<int, QString> chunkNotes;
        for (; note != allNotes.cend() && note.key() < next; ++note)
            chunkNotes.insert(note.key() - first, note.value());
        if (!d->writeChunk(encoder, chunkNotes))
            return;
    }
}

void ChunkStore::addMessageNoteToLastMessage(QString note)
{
    d->addNoteToLastMessage(note);
}

void ChunkStore::notifyFdMessage(bool fdSeen)
{
    // A merged archive tells it for each of its chunks, so false takes nothing back.
    if (fdSeen && d->isDelivering())
        d->currentImport().record.fdSeen = true;
}

void ChunkStore::setLastErrorText(const QString &text)
{
    if (d->isOpen())
        d->lastErrorText = text;
}

void ChunkStore::setImportStarted()
{
    if (!d->isOpen())
        return;
    d->lastErrorText.clear();
    d->begin(Private::Phase::Started);
}

void ChunkStore::setImportFinished(bool success, DatachunkHelper::ImportFileType type, QString path, bool flag)
{
    if (!d->isOpen())
        return;
    if (d->phase == Private::Phase::Idle)
        d->begin(Private::Phase::Started);
    d->finish(success, type, path);
    if (flag)
        Q_EMIT importFinished(d->end());
    else
        d->phase = Private::Phase::FinishedOnce;
}

bool ChunkStore::loadQclFile(QString path)
{
    if (!d->mayDeliver())
        return false;
    ChunkFormat::Chunk chunk;
    const QString fault = ChunkFormat::readChunkFile(path, chunk);
    if (!fault.isEmpty()) {
        d->leaveOut(fault); // of which file, the record says
        return false;
    }
    if (!d->addChunk(chunk))
        return false;
    chunkAdded(chunk.messages);
    return true;
}

void ChunkStore::chunkAdded(const QVector<CAN::CanRxMessage> &)
{
}

QDir ChunkStore::getDataChunkLocation() const
{
    return d->isOpen() ? QDir(d->folder) : noFolder();
}

bool ChunkStore::parseQCLStream(QDataStream &stream, bool &isFd)
{
    isFd = false;
    if (!d->mayDeliver())
        return false;
    ChunkFormat::Chunk chunk;
    const QString fault = ChunkFormat::readChunk(stream, chunk);
    if (!fault.isEmpty()) {
        d->leaveOut(QStringLiteral("A data chunk is left out: %1").arg(fault));
        return false;
    }
    if (!d->addChunk(chunk))
        return false;
    chunkAdded(chunk.messages);
    isFd = chunk.summary.fdSeen;
    return true;
}

unsigned int ChunkStore::getMsgCountFromQclStream(QDataStream &stream)
{
    ChunkFormat::Chunk chunk;
    if (!ChunkFormat::readChunk(stream, chunk).isEmpty())
        return 0;
    return unsigned(chunk.summary.messageCount);
}

void ChunkStore::notifyNewZippedFile(const QString &, const QString &, const QDir &, const QString &zipPath)
{
    if (!d->isOpen() || d->phase == Private::Phase::Started)
        return;
    if (d->phase == Private::Phase::Unpacking && d->currentImport().record.path == zipPath)
        return;
    d->begin(Private::Phase::Unpacking);
    d->currentImport().record.path = zipPath;
}

void ChunkStore::notifyZipFileLoaded(const QString &name)
{
    // Within a started import it is the notice of an archive that is merged, whose finish is still to come.
    if (!d->isOpen() || d->phase == Private::Phase::Started)
        return;
    // An archive that was unpacked before, or that is empty, is known by its name alone.
    const bool knowsPath = d->phase == Private::Phase::Unpacking;
    if (!knowsPath)
        d->begin(Private::Phase::Unpacking);
    const QString path = knowsPath ? d->currentImport().record.path : name;
    d->finish(true, DatachunkHelper::QclZipArchive, path);
    Q_EMIT importFinished(d->end());
}
