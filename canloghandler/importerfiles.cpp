#include "canloghandler/canloghandler.h"
#include "importers/cocttimporter.h"
#include "importers/genericfileimporter.h"
#include "importers/ixxatfileimporter.h"
#include "importers/peaktraceimporter.h"

// Formats that an importer class reads: it fills a list from the whole file, which is delivered at once.

namespace
{

/// Runs @p importer on the file @p path and delivers what it read. On failure nothing is delivered and @p errorText is
/// the importer's. @p type is the file type for importers of several.
template <typename Importer, typename... Type>
bool importAndDeliver(Importer &importer, const QPointer<DatachunkHandler> &store, QString &errorText,
                      const QString &path, Type... type)
{
    QList<CAN::CanRxMessage> messages;
    QMap<unsigned int, QString> notes;
    if (!importer.importFile(path, type..., &messages, &notes)) {
        errorText = importer.getErrorString();
        return false;
    }
    if (store)
        store->addImportedMessages(messages, notes);
    return true;
}

} // namespace

bool CANLogHandler::loadPeakTraceFile(QString path, DatachunkHelper::ImportFileType type)
{
    PeakTraceImporter importer(nullptr);
    return importAndDeliver(importer, pDatachunkHandler, lastErrorText, path, type);
}

bool CANLogHandler::loadCoCTTFile(QString path)
{
    CoCTTImporter importer(nullptr);
    return importAndDeliver(importer, pDatachunkHandler, lastErrorText, path);
}

bool CANLogHandler::loadIxxatFile(QString path)
{
    IxxatFileImporter importer(nullptr);
    return importAndDeliver(importer, pDatachunkHandler, lastErrorText, path);
}

bool CANLogHandler::loadGenericFile(QString path, QString columnDescription)
{
    GenericFileImporter importer(nullptr);
    importer.setColumnFormat(columnDescription);
    return importAndDeliver(importer, pDatachunkHandler, lastErrorText, path);
}
