#include "canloghandler/handlerlink.h"
#include "importers/cocttimporter.h"
#include "importers/genericfileimporter.h"
#include "importers/ixxatfileimporter.h"
#include "importers/peaktraceimporter.h"

// Formats that an importer class reads: it fills a list from the whole file, which is delivered at once.

namespace
{

/// Runs @p importer on the file @p path and delivers what it read to the store of @p handler. On failure nothing is
/// delivered and the handler's error text is the importer's. @p type is the file type for importers of several.
template <typename Importer, typename... Type>
bool importAndDeliver(Importer &importer, CANLogHandler *handler, const QString &path, Type... type)
{
    const HandlerLink link(handler);
    importer.setProgress([&link](qint64 bytesRead, qint64 bytesTotal) { link.tellProgress(bytesRead, bytesTotal); });
    QList<CAN::CanRxMessage> messages;
    QMap<unsigned int, QString> notes;
    const bool ok = importer.importFile(path, type..., &messages, &notes);
    link.setReport(importer.getImportReport());
    if (!ok) {
        link.setErrorText(importer.getErrorString());
        return false;
    }
    if (DatachunkHandler *const store = link.store())
        store->addImportedMessages(messages, notes);
    return link.isAlive();
}

} // namespace

bool CANLogHandler::loadPeakTraceFile(QString path, DatachunkHelper::ImportFileType type)
{
    PeakTraceImporter importer(nullptr);
    return importAndDeliver(importer, this, path, type);
}

bool CANLogHandler::loadCoCTTFile(QString path)
{
    CoCTTImporter importer(nullptr);
    return importAndDeliver(importer, this, path);
}

bool CANLogHandler::loadIxxatFile(QString path)
{
    IxxatFileImporter importer(nullptr);
    return importAndDeliver(importer, this, path);
}

bool CANLogHandler::loadGenericFile(QString path, QString columnDescription)
{
    GenericFileImporter importer(nullptr);
    importer.setColumnFormat(columnDescription);
    return importAndDeliver(importer, this, path);
}
