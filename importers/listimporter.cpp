// SPDX-License-Identifier: Apache-2.0
#include "importers/listimporter.h"

#include "common/text/fields.h"
#include "readers/listreader.h"

#include <QFile>

#include <utility>

ListImporter::ListImporter(const QString &noError, std::unique_ptr<ListReader> fileReader, QObject *parent)
    : QObject(parent)
    , errorString(noError)
    , reader(std::move(fileReader))
{
}

ListImporter::~ListImporter() = default;

QString ListImporter::getErrorString() const
{
    return errorString;
}

ImportReport ListImporter::getImportReport() const
{
    return reader->lineWatch().report(messageCounter);
}

void ListImporter::setProgress(const std::function<void(qint64, qint64)> &progress)
{
    reader->setProgress(progress);
}

bool ListImporter::appendFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    messageCounter = 0;
    reader->open(file, path);
    while (reader->next()) {
        if (reader->hasNote())
            addNote(reader->takeNote());
        CAN::CanRxMessage message = reader->frame();
        appendNumbered(message);
    }
    if (reader->hasNote())
        addNote(reader->takeNote());
    if (!reader->errorString().isEmpty())
        errorString = reader->errorString();
    return reader->atEnd();
}

bool ListImporter::setTargets(QList<CAN::CanRxMessage> *messages, QMap<unsigned int, QString> *notes)
{
    if (!messages)
        return false;
    messageList = messages;
    notesMap = notes;
    return true;
}

void ListImporter::addMessageToMessageList(CAN::CanRxMessage msg)
{
    if (messageList)
        messageList->append(msg);
}

void ListImporter::appendNumbered(CAN::CanRxMessage &message)
{
    message.messageIndex = messageCounter++;
    if (messageList) // not by addMessageToMessageList(), which copies once more
        messageList->append(message);
}

void ListImporter::addNote(QStringView text)
{
    if (!notesMap)
        return;
    QString room;
    const QString note = simplified(text, room).toString();
    const auto earlier = notesMap->find(messageCounter);
    if (earlier == notesMap->end())
        notesMap->insert(messageCounter, note);
    else
        *earlier += QLatin1String(" | ") + note;
}
