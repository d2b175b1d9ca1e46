#include "canloghandler/canloghandler.h"
#include "importers/cocttimporter.h"
#include "importers/genericfileimporter.h"
#include "importers/ixxatfileimporter.h"
#include "importers/peaktraceimporter.h"

// Formats that an importer class reads: it fills a list from the whole file, which is delivered at once.

namespace
{

/// Runs @p importer on the file @p path and delivers what it read. On failure nothing is delivered and @p errorText is
/// the importer's. @p report becomes that on the file. @p type is the file type for importers of several.
template <typename Importer, typename... Type>
bool importAndDeliver(Importer &importer, const QPointer<DatachunkHandler> &store, QString &errorText,
                      ImportReport &report, const QString &path, Type... type)
{
    QList<CAN::CanRxMessage> messages;
    QMap<unsigned int, QString> notes;
    const bool ok = importer.importFile(path, type..., &messages, &notes);
    report = importer.getImportReport();
    if (!ok) {
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
    importer.setProgress(progressSignal());
    return importAndDeliver(importer, pDatachunkHandler, lastErrorText, importReport, path, type);
}

bool CANLogHandler::loadCoCTTFile(QString path)
{
    CoCTTImporter importer(nullptr);
    importer.setProgress(progressSignal());
    return importAndDeliver(importer, pDatachunkHandler, lastErrorText, importReport, path);
}

bool CANLogHandler::loadIxxatFile(QString path)
{
    IxxatFileImporter importer(nullptr);
    importer.setProgress(progressSignal());
    return importAndDeliver(importer, pDatachunkHandler, lastErrorText, importReport, path);
}

bool CANLogHandler::loadGenericFile(QString path, QString columnDescription)
{
    GenericFileImporter importer(nullptr);
    importer.setProgress(progressSignal());
    importer.setColumnFormat(columnDescription);
    return importAndDeliver(importer, pDatachunkHandler, lastErrorText, importReport, path);
}
