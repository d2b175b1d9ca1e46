#include "importers/listimporter.h"

#include "common/importwatch.h"
#include "common/text/fields.h"

ListImporter::ListImporter(const QString &noError, QObject *parent)
    : QObject(parent)
    , errorString(noError)
    , watch(std::make_unique<ImportWatch>())
{
}

ListImporter::~ListImporter() = default;

QString ListImporter::getErrorString() const
{
    return errorString;
}

ImportReport ListImporter::getImportReport() const
{
    return watch->finishedReport(messageCounter);
}

void ListImporter::setProgress(const std::function<void(qint64, qint64)> &progress)
{
    watch->setProgress(progress);
}

void ListImporter::startFile()
{
    messageCounter = 0;
    watch->start();
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
