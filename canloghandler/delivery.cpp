// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/delivery.h"

#include "canloghandler/messagebatch.h"

Delivery::Delivery(CANLogHandler &owner, const LogFormat &logFormat, const QString &columns)
    : handler(&owner)
    , store(owner.pDatachunkHandler)
    , format(logFormat)
    , reader(logFormat.make(logFormat.type, columns))
{
    reader->setProgress([this](qint64 bytesRead, qint64 bytesTotal) {
        if (handler)
            Q_EMIT handler->importProgress(bytesRead, bytesTotal);
        if (!handler)
            reader->stop();
    });
}

bool Delivery::run(const QString &path, QIODevice *device)
{
    const bool isOneList = format.delivery == LogFormat::Delivery::OneList;
    const bool isOpen = device ? reader->open(*device, path) : reader->open(path);
    const bool ok = isOpen && deliver();
    if (handler)
        handler->logInfo = reader->info();
    if (handler && !(ok && isOneList))
        handler->importReport = reader->report();
    if (handler && !isOpen)
        handler->importReport.readError = reader->errorString();
    if (handler && !ok && isOneList)
        handler->lastErrorText = isOpen && !reader->errorString().isEmpty() ? reader->errorString()
                                                                            : CANLogHandler::noErrorText(format.type);
    // Of the earlier formats that fail in the midst of their batches the report tells why, and nothing else.
    if (handler && isOpen && reader->failed() && !isOneList && format.type > DatachunkHelper::GenericFile)
        handler->lastErrorText = reader->errorString();
    return ok && handler;
}

bool Delivery::deliver()
{
    return format.delivery == LogFormat::Delivery::OneList ? deliverList() : deliverBatches();
}

bool Delivery::deliverBatches()
{
    MessageBatch batch(store);
    while (reader->next(batch.next())) {
        if (format.bringsNumbers)
            batch.commitNumbered();
        else
            batch.commit(reader->takeNote());
        if (batch.isEmpty() && !handler) // it was full, and the store got it
            return false;
    }
    if (!handler || !reader->atEnd())
        return false;
    batch.finish();
    tellEnd();
    return true;
}

void Delivery::tellEnd()
{
    if (handler && store && reader->hasNote())
        store->addMessageNoteToLastMessage(reader->takeNote());
    const bool isFdTold = format.fdNotice == LogFormat::FdNotice::Always
                          || (format.fdNotice == LogFormat::FdNotice::WhenSeen && reader->fdSeen());
    if (handler && store && isFdTold)
        store->notifyFdMessage(reader->fdSeen());
}

bool Delivery::deliverList()
{
    QList<CAN::CanRxMessage> messages;
    QMap<unsigned int, QString> notes;
    const auto fileNote = [&] {
        if (reader->hasNote())
            notes.insert(unsigned(messages.size()), reader->takeNote());
    };
    while (reader->next()) {
        fileNote();
        messages.append(reader->frame());
    }
    fileNote();
    if (!handler || !reader->atEnd())
        return false;
    handler->importReport = reader->report(); // the store may look at it when it gets the messages
    if (store)
        store->addImportedMessages(messages, notes);
    return true;
}
