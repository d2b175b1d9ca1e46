// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/messagebatch.h"

MessageBatch::MessageBatch(const QPointer<DatachunkHandler> &target)
    : store([&target] { return target.data(); })
{
}

MessageBatch::MessageBatch(StoreAccess access)
    : store(std::move(access))
{
}

void MessageBatch::finish()
{
    messages.erase(messages.begin() + used, messages.end());
    deliver();
}

void MessageBatch::addNote(const QString &note)
{
    notes.insert(nextIndex, note);
    noteBytes += qint64(note.size()) * qint64(sizeof(QChar));
    if (noteBytes >= maxNoteBytes)
        fullAt = used + 1; // with the message at hand
}

void MessageBatch::deliver()
{
    if (DatachunkHandler *const receiver = store())
        receiver->addImportedMessages(messages, notes);
    // Qt 5's QList keeps each record in a heap node of its own. When the store has not kept the list, its room serves
    // again, which saves much of the time of a line (bench_readers); when it has, the list is its own from now on.
    if (!messages.isDetached())
        messages = {};
    notes.clear();
    noteBytes = 0;
    fullAt = batchSize;
    delivered += used;
    used = 0;
}
