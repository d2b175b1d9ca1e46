// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/datachunkhandler.h"

#include <QPointer>

#include <functional>

/**
 * Delivers the messages of one file to the store: numbers them from 0, hands them over whenever 100000 are together,
 * and the rest, possibly none, at the end. Keeps no more than one batch, and of its notes 16 MiB and the one that goes
 * beyond: with that it is handed over early, so that a log that is all comments does not fill the memory.
 */
class MessageBatch
{
public:
    /// @p store is looked at anew for each delivery, since the host may delete or replace its store at any time; a
    /// delivery without a store is dropped.
    explicit MessageBatch(const QPointer<DatachunkHandler> &store);
    /// The same with a function that gives the store or null.
    using StoreAccess = std::function<DatachunkHandler *()>;
    explicit MessageBatch(StoreAccess access);

    /// The next message, empty, to be filled in place; it counts from commit() on. Valid until then.
    CAN::CanRxMessage &next()
    {
        if (used == messages.size())
            messages.append(CAN::CanRxMessage());
        message = &messages[used];
        *message = empty;
        return *message;
    }
    /// Takes the message of next() into the batch under the next number, with @p note unless that is empty.
    void commit(const QString &note = {})
    {
        message->messageIndex = nextIndex;
        if (!note.isEmpty())
            addNote(note);
        ++nextIndex;
        commitNumbered();
    }
    /// The same for a format with numbers of its own: the message keeps the messageIndex it was given.
    void commitNumbered()
    {
        if (++used == fullAt)
            deliver();
    }
    /// Whether nothing was taken since the latest delivery.
    bool isEmpty() const { return used == 0; }
    /// The final delivery.
    void finish();
    /// How many messages were taken so far.
    qint64 messageCount() const { return delivered + used; }

private:
    static constexpr int batchSize = 100000;
    static constexpr qint64 maxNoteBytes = 16 * 1024 * 1024;

    Q_DISABLE_COPY_MOVE(MessageBatch)

    void addNote(const QString &note);
    void deliver();

    const StoreAccess store;
    QList<CAN::CanRxMessage> messages; ///< the first `used` are of this batch, the others serve again
    int used = 0;
    int fullAt = batchSize;               ///< so many messages are handed over
    qint64 noteBytes = 0;                 ///< of the notes of this batch
    CAN::CanRxMessage *message = nullptr; ///< of next()
    /// Copied, since compilers clear a record with one string instruction, which takes longer (bench_readers).
    const CAN::CanRxMessage empty;
    QMap<unsigned int, QString> notes;
    quint32 nextIndex = 0;
    qint64 delivered = 0;
};
