// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "canloghandler/canloghandler.h"
#include "common/datachunkhandler.h"
#include "frames.h"

#include <QDataStream>
#include <QIODevice>
#include <QPointer>
#include <QThread>
#include <QVector>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

/// One call of a store function, or an event from elsewhere that was noted between the calls.
struct Call {
    enum class Operation {
        AddImportedMessages,
        AddMessageNoteToLastMessage,
        NotifyFdMessage,
        SetLastErrorText,
        SetImportStarted,
        SetImportFinished,
        LoadQclFile,
        GetDataChunkLocation,
        ParseQclStream,
        GetMsgCountFromQclStream,
        NotifyNewZippedFile,
        NotifyZipFileLoaded,
        Event,
    };

    Operation operation = Operation::Event;
    QString text;              ///< the whole call with its arguments in one line
    QThread *thread = nullptr; ///< where it was made

    int messageCount = 0;              ///< of addImportedMessages, also when the messages are not kept
    Frames messages;                   ///< of addImportedMessages; shares the delivered list
    QMap<unsigned int, QString> notes; ///< of addImportedMessages
};

/// Texts of expected calls, spelled as RecordingStore::calls() does.
namespace Expected
{
inline QString boolean(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}
inline QString started()
{
    return QStringLiteral("setImportStarted()");
}
inline QString finished(bool success, int type, const QString &path, bool flag = true)
{
    return QStringLiteral("setImportFinished(%1, %2, %3, %4)")
        .arg(boolean(success), QString::number(type), path, boolean(flag));
}
inline QString delivered(int messages, int notes = 0)
{
    return QStringLiteral("addImportedMessages(%1 messages, %2 notes)").arg(messages).arg(notes);
}
inline QString noteToLast(const QString &note)
{
    return QStringLiteral("addMessageNoteToLastMessage(%1)").arg(note);
}
inline QString fd(bool seen)
{
    return QStringLiteral("notifyFdMessage(%1)").arg(boolean(seen));
}
inline QString errorText(const QString &text)
{
    return QStringLiteral("setLastErrorText(%1)").arg(text);
}
inline QString qclFile(const QString &path)
{
    return QStringLiteral("loadQclFile(%1)").arg(path);
}
inline QString zippedFile(const QString &header, const QString &filePath, const QString &folder, const QString &zipPath)
{
    return QStringLiteral("notifyNewZippedFile(%1, %2, %3, %4)").arg(header, filePath, folder, zipPath);
}
inline QString zipLoaded(const QString &name)
{
    return QStringLiteral("notifyZipFileLoaded(%1)").arg(name);
}
inline QString loading(bool show)
{
    return QStringLiteral("showLoadingDialog(%1)").arg(boolean(show));
}
} // namespace Expected

/// What happened, in order. Outlives its store and may be read while another thread still adds to it.
class CallLog
{
public:
    void append(const Call &call)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        entries.push_back(call);
    }
    QVector<Call> calls() const
    {
        // A vector of its own: one that shares its elements with the log would be read without the lock.
        const std::lock_guard<std::mutex> lock(mutex);
        QVector<Call> result;
        result.reserve(static_cast<int>(entries.size()));
        for (const Call &call : entries)
            result.append(call);
        return result;
    }
    QStringList texts() const
    {
        QStringList result;
        const QVector<Call> all = calls();
        for (const Call &call : all)
            result.append(call.text);
        return result;
    }
    void clear()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        entries.clear();
    }

private:
    mutable std::mutex mutex;
    std::vector<Call> entries;
};

/**
 * A store that writes down every call, with its arguments and its thread, and does nothing else.
 *
 * It keeps every delivered list as it is, sharing it with the loader, unless keepMessages says no.
 */
class RecordingStore : public DatachunkHandler
{
public:
    explicit RecordingStore(QObject *parent = nullptr)
        : DatachunkHandler(parent)
    {
    }

    /// All calls in one line each, such as "setImportFinished(true, 11, /tmp/a.log, true)".
    QStringList calls() const { return record->texts(); }
    std::shared_ptr<CallLog> log() const { return record; }
    void clear() { record->clear(); }

    /// All delivered messages in order.
    Frames messages() const
    {
        Frames result;
        const QVector<Call> all = record->calls();
        for (const Call &call : all)
            result.append(call.messages);
        return result;
    }
    /// All delivered notes.
    QMap<unsigned int, QString> notes() const
    {
        QMap<unsigned int, QString> result;
        const QVector<Call> all = record->calls();
        for (const Call &call : all) {
            for (auto note = call.notes.cbegin(); note != call.notes.cend(); ++note)
                result.insert(note.key(), note.value());
        }
        return result;
    }
    /// The number of messages in each delivery.
    QVector<int> batchSizes() const
    {
        QVector<int> result;
        const QVector<Call> all = record->calls();
        for (const Call &call : all) {
            if (call.operation == Call::Operation::AddImportedMessages)
                result.append(call.messageCount);
        }
        return result;
    }

    /// Puts an event from elsewhere between the calls.
    void addEvent(const QString &text) { add(Call::Operation::Event, text); }
    /// Notes the showLoadingDialog signals of @p handler between the calls, also after this store is gone.
    void addLoadingSignalsOf(CANLogHandler *handler)
    {
        QObject::connect(handler, &CANLogHandler::showLoadingDialog, handler, [record = record](bool show) {
            Call call;
            call.text = Expected::loading(show);
            call.thread = QThread::currentThread();
            record->append(call);
        });
    }
    /// The number of connections to each of the two request signals.
    int importReceivers() const
    {
        return receivers(SIGNAL(sigImportRequest(QString, DatachunkHelper::ImportFileType, QString, bool)));
    }
    int zipReceivers() const { return receivers(SIGNAL(sigZipDatachunks(QString, QDir))); }

    /// Runs as the last thing of every call, in its thread; may delete the store.
    std::function<void(const Call &)> onCall;

    bool keepMessages = true;
    bool qclResult = true;            ///< what loadQclFile() and parseQCLStream() answer
    bool qclHasFd = false;            ///< what parseQCLStream() reports
    unsigned int qclMessageCount = 0; ///< what getMsgCountFromQclStream() answers
    QDir location;                    ///< what getDataChunkLocation() answers

    void addImportedMessages(const QList<CAN::CanRxMessage> &messages,
                             const QMap<unsigned int, QString> &notes) override
    {
        Call call;
        call.operation = Call::Operation::AddImportedMessages;
        call.text = Expected::delivered(messages.size(), notes.size());
        call.messageCount = messages.size();
        call.messages = messages;
        call.notes = notes;
        add(call);
    }
    void addMessageNoteToLastMessage(QString note) override
    {
        add(Call::Operation::AddMessageNoteToLastMessage, Expected::noteToLast(note));
    }
    void notifyFdMessage(bool fdSeen) override { add(Call::Operation::NotifyFdMessage, Expected::fd(fdSeen)); }
    void setLastErrorText(const QString &text) override
    {
        add(Call::Operation::SetLastErrorText, Expected::errorText(text));
    }
    void setImportStarted() override { add(Call::Operation::SetImportStarted, Expected::started()); }
    void setImportFinished(bool success, DatachunkHelper::ImportFileType type, QString path, bool flag) override
    {
        add(Call::Operation::SetImportFinished, Expected::finished(success, type, path, flag));
    }
    bool loadQclFile(QString path) override
    {
        const bool result = qclResult;
        add(Call::Operation::LoadQclFile, Expected::qclFile(path));
        return result;
    }
    QDir getDataChunkLocation() const override
    {
        const QDir result = location;
        add(Call::Operation::GetDataChunkLocation, QStringLiteral("getDataChunkLocation()"));
        return result;
    }
    bool parseQCLStream(QDataStream &stream, bool &isFd) override
    {
        const bool result = qclResult;
        isFd = qclHasFd;
        add(Call::Operation::ParseQclStream, QStringLiteral("parseQCLStream(%1 bytes)").arg(available(stream)));
        return result;
    }
    unsigned int getMsgCountFromQclStream(QDataStream &stream) override
    {
        const unsigned int result = qclMessageCount;
        add(Call::Operation::GetMsgCountFromQclStream,
            QStringLiteral("getMsgCountFromQclStream(%1 bytes)").arg(available(stream)));
        return result;
    }
    void notifyNewZippedFile(const QString &header, const QString &filePath, const QDir &folder,
                             const QString &zipPath) override
    {
        add(Call::Operation::NotifyNewZippedFile,
            Expected::zippedFile(header, filePath, folder.absolutePath(), zipPath));
    }
    void notifyZipFileLoaded(const QString &name) override
    {
        add(Call::Operation::NotifyZipFileLoaded, Expected::zipLoaded(name));
    }

private:
    static qint64 available(const QDataStream &stream)
    {
        return stream.device() ? stream.device()->bytesAvailable() : 0;
    }
    void add(Call::Operation operation, const QString &text) const
    {
        Call call;
        call.operation = operation;
        call.text = text;
        add(call);
    }
    void add(Call call) const
    {
        call.thread = QThread::currentThread();
        if (keepMessages) {
            record->append(call);
        } else {
            Call bare = call;
            bare.messages.clear();
            record->append(bare);
        }
        // Copied, since the function itself goes with the store when it deletes it.
        const std::function<void(const Call &)> hook = onCall;
        if (hook)
            hook(call);
    }

    std::shared_ptr<CallLog> record = std::make_shared<CallLog>();
};

/// A loader of one format that needs nothing but the file.
using Loader = bool (CANLogHandler::*)(QString);

/// One run of a loader into a recording store.
class LoaderRun
{
public:
    LoaderRun(Loader loader, const QString &path)
        : handler(current)
        , result((handler.*loader)(path))
    {
    }
    LoaderRun(Loader loader, const QByteArray &content)
        : LoaderRun(loader, SampleFile(content).path())
    {
    }

    bool succeeded() const { return result; }
    Frames messages() const { return store.messages(); }

    RecordingStore store;

private:
    QPointer<DatachunkHandler> current{&store};
    CANLogHandler handler;
    bool result;
};
