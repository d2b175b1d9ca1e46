#pragma once

#include "common/datachunkhandler.h"

#include <QPointer>

/**
 * Delivers the messages of one file to the store: numbers them from 0, hands them over whenever 100000 are together,
 * and the rest, possibly none, at the end. Keeps no more than one batch.
 */
class MessageBatch
{
public:
    /// @p store is looked at anew for each delivery, since the host may delete or replace its store at any time; a
    /// delivery without a store is dropped.
    explicit MessageBatch(const QPointer<DatachunkHandler> &store);

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
            notes.insert(nextIndex, note);
        ++nextIndex;
        commitNumbered();
    }
    /// The same for a format with numbers of its own: the message keeps the messageIndex it was given.
    void commitNumbered()
    {
        if (++used == batchSize)
            deliver();
    }
    /// The final delivery.
    void finish();
    /// How many messages were taken so far.
    qint64 messageCount() const { return delivered + used; }

private:
    static constexpr int batchSize = 100000;

    Q_DISABLE_COPY_MOVE(MessageBatch)

    void deliver();

    const QPointer<DatachunkHandler> &store;
    QList<CAN::CanRxMessage> messages; ///< the first `used` are of this batch, the others serve again
    int used = 0;
    CAN::CanRxMessage *message = nullptr; ///< of next()
    /// Copied, since compilers clear a record with one string instruction, which takes longer (bench_readers).
    const CAN::CanRxMessage empty;
    QMap<unsigned int, QString> notes;
    quint32 nextIndex = 0;
    qint64 delivered = 0;
};
