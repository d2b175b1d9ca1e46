// SPDX-License-Identifier: Apache-2.0
#include "host/store/importjournal.h"

#include "host/store/chunkformat.h"
#include "host/store/loginfotext.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <limits>

ImportSource ImportSource::of(const QString &path)
{
    const QFileInfo info(path);
    if (!info.isFile())
        return {};
    return {info.canonicalFilePath(), info.size(), info.lastModified().toMSecsSinceEpoch()};
}

namespace ImportJournal
{
namespace
{

constexpr int journalVersion = 1;

using Keeping = ImportRecord::Keeping;

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

QString keepingText(Keeping keeping)
{
    switch (keeping) {
    case Keeping::Kept:
        break;
    case Keeping::Pending:
        return QStringLiteral("pending");
    case Keeping::Removed:
        return QStringLiteral("removed");
    case Keeping::Deleting:
        return QStringLiteral("deleting");
    case Keeping::Deleted:
        return QStringLiteral("deleted");
    }
    return QStringLiteral("kept");
}

QJsonArray timeToJson(const CanTimeStamp &time)
{
    return {time.seconds, time.microseconds};
}

QJsonObject toJson(const ImportSource &source)
{
    return {{QStringLiteral("path"), source.path},
            {QStringLiteral("size"), double(source.size)},
            {QStringLiteral("modified"), double(source.modified)}};
}

QJsonObject toJson(const Import &import)
{
    const ImportRecord &record = import.record;
    QJsonArray chunks;
    for (const quint64 number : import.chunks)
        chunks.append(double(number));
    QJsonObject object{
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
        {QStringLiteral("messages"), keepingText(record.keeping)},
        {QStringLiteral("removedMessages"), double(record.removedMessages)},
    };
    if (!record.source.path.isEmpty())
        object.insert(QStringLiteral("source"), toJson(record.source));
    if (!record.folder.isEmpty())
        object.insert(QStringLiteral("folder"), record.folder);
    const QJsonObject log = LogInfoText::toJson(record.log);
    if (!log.isEmpty())
        object.insert(QStringLiteral("log"), log);
    return object;
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
    /// What an earlier version did not write is missing there.
    bool has(const QString &key) const { return object.contains(key); }
    QJsonObject valueOrNone(const QString &key) const { return object.value(key).toObject(); }
    QJsonValue value(const QString &key) { return check(object.value(key), QJsonValue::Object); }
    Keeping keeping(const QString &key)
    {
        const QString found = text(key);
        for (const Keeping keeping :
             {Keeping::Kept, Keeping::Pending, Keeping::Removed, Keeping::Deleting, Keeping::Deleted})
            if (found == keepingText(keeping))
                return keeping;
        valid = false;
        return Keeping::Kept;
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

bool fromJson(const QJsonValue &value, ImportSource &source)
{
    JournalEntry entry(value);
    source.path = entry.text(QStringLiteral("path"));
    source.size = entry.number<qint64>(QStringLiteral("size"));
    source.modified = entry.number<qint64>(QStringLiteral("modified"));
    return entry.isValid();
}

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
    if (entry.has(QStringLiteral("messages")))
        record.keeping = entry.keeping(QStringLiteral("messages"));
    if (entry.has(QStringLiteral("removedMessages")))
        record.removedMessages = entry.number<quint64>(QStringLiteral("removedMessages"));
    if (entry.has(QStringLiteral("folder")))
        record.folder = entry.text(QStringLiteral("folder"));
    const bool isFolderGood = record.folder.isEmpty() || isFolderName(record.folder);
    // What cannot be read there is not said: no message depends on it.
    record.log = LogInfoText::fromJson(entry.valueOrNone(QStringLiteral("log")));
    const bool isSourceGood =
        !entry.has(QStringLiteral("source")) || fromJson(entry.value(QStringLiteral("source")), record.source);
    return isSourceGood && isFolderGood && entry.isValid() && import.firstChunk <= ChunkFormat::maximumNumber + 1
           && std::all_of(import.chunks.cbegin(), import.chunks.cend(),
                          [](quint64 number) { return number <= ChunkFormat::maximumNumber; });
}

} // namespace

QString fileName()
{
    return QStringLiteral("imports.json");
}

bool isFolderName(const QString &name)
{
    return !name.isEmpty() && !name.contains(QLatin1Char('/')) && name != QLatin1String(".")
           && name != QLatin1String("..");
}

Fault read(const QString &path, Content &content)
{
    const QFileInfo info(path);
    if (!info.exists() && !info.isSymLink())
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
    const double nextChunk = root.value(QStringLiteral("nextChunk")).toDouble(1);
    if (nextChunk >= 1 && nextChunk <= double(ChunkFormat::maximumNumber) + 1)
        content.nextChunk = quint64(nextChunk);
    int damaged = 0;
    const QJsonArray entries = root.value(QStringLiteral("imports")).toArray();
    for (const QJsonValue &value : entries) {
        Import import;
        if (fromJson(value, import))
            content.imports.append(import);
        else
            ++damaged;
    }
    return {damaged == 0 ? QString() : QStringLiteral("%1 of its entries cannot be read").arg(damaged)};
}

QByteArray toText(const Content &content)
{
    QJsonArray entries;
    for (const Import &import : content.imports)
        entries.append(toJson(import));
    return QJsonDocument({{QStringLiteral("version"), journalVersion},
                          {QStringLiteral("nextChunk"), double(content.nextChunk)},
                          {QStringLiteral("imports"), entries}})
        .toJson();
}

} // namespace ImportJournal
