#include "canloghandler/canloghandler.h"

#include <QFile>

using DatachunkHelper::ImportFileType;

namespace
{

struct Request {
    QString path;
    ImportFileType type;
    QString text;
    bool flag;
};

/// How a file type is read.
struct Loader {
    ImportFileType type;
    bool showsLoading; ///< whether the host shows its loading dialog meanwhile
    bool (*load)(CANLogHandler &, const Request &);
};

constexpr auto loadPeakTrace = [](CANLogHandler &handler, const Request &request) {
    return handler.loadPeakTraceFile(request.path, request.type);
};

constexpr Loader loaders[] = {
    {DatachunkHelper::QclZipArchive, false,
     [](CANLogHandler &handler, const Request &request) {
         return request.flag ? handler.loadZipMerged(request.path) : handler.loadZipFile(request.path);
     }},
    {DatachunkHelper::QclFile, false,
     [](CANLogHandler &handler, const Request &request) {
         const QPointer<DatachunkHandler> store = handler.getPDatachunkHandler();
         return store && store->loadQclFile(request.path);
     }},
    {DatachunkHelper::NorvikTxt, true,
     [](CANLogHandler &handler, const Request &request) { return handler.loadNorvikTxtFile(request.path); }},
    {DatachunkHelper::PeakTraceReserved, true, loadPeakTrace},
    {DatachunkHelper::PeakTraceV11, true, loadPeakTrace},
    {DatachunkHelper::PeakTraceV12, true, loadPeakTrace},
    {DatachunkHelper::PeakTraceV13, true, loadPeakTrace},
    {DatachunkHelper::PeakTraceV20, true, loadPeakTrace},
    {DatachunkHelper::PeakTraceV21, true, loadPeakTrace},
    {DatachunkHelper::SocketCanDump, true,
     [](CANLogHandler &handler, const Request &request) { return handler.loadSocketCanDump(request.path); }},
    {DatachunkHelper::KvaserTxtLog, true,
     [](CANLogHandler &handler, const Request &request) { return handler.loadKvaserTxtLog(request.path); }},
    {DatachunkHelper::KvaserCanKingLog, true,
     [](CANLogHandler &handler, const Request &request) { return handler.loadKvaserCanKingLog(request.path); }},
    {DatachunkHelper::VectorAscLog, true,
     [](CANLogHandler &handler, const Request &request) { return handler.loadVectorAscLog(request.path); }},
    {DatachunkHelper::VectorAscLogWithoutBitcount, true,
     [](CANLogHandler &handler, const Request &request) {
         return handler.loadVectorAscLogWithoutBitcount(request.path);
     }},
    {DatachunkHelper::CoCTTLog, true,
     [](CANLogHandler &handler, const Request &request) { return handler.loadCoCTTFile(request.path); }},
    {DatachunkHelper::IxxatLog, true,
     [](CANLogHandler &handler, const Request &request) { return handler.loadIxxatFile(request.path); }},
    {DatachunkHelper::WiresharkCsv, true,
     [](CANLogHandler &handler, const Request &request) { return handler.loadWiresharkCSV(request.path); }},
    {DatachunkHelper::GenericFile, true,
     [](CANLogHandler &handler, const Request &request) {
         return handler.loadGenericFile(request.path, request.text);
     }},
};

const Loader *loaderFor(ImportFileType type)
{
    for (const Loader &loader : loaders) {
        if (loader.type == type)
            return &loader;
    }
    return nullptr;
}

} // namespace

CANLogHandler::CANLogHandler(QPointer<DatachunkHandler> &handler, QObject *parent)
    : QObject(parent)
    , pDatachunkHandler(handler)
{
    // A queued connection needs its argument types by name. Qt registers them itself only for Qt::QueuedConnection
    // alone, not together with Qt::UniqueConnection; without this every request is lost with a warning.
    qRegisterMetaType<ImportFileType>();
    qRegisterMetaType<QDir>("QDir");
    qRegisterMetaType<CAN::CanRxMessage>();
    connectStore();
}

CANLogHandler::~CANLogHandler()
{
    Q_ASSERT_X(!zipInProgress, "CANLogHandler", "destroyed while a zip job runs");
}

QPointer<DatachunkHandler> CANLogHandler::getPDatachunkHandler() const
{
    return pDatachunkHandler;
}

void CANLogHandler::setPDatachunkHandler(const QPointer<DatachunkHandler> &handler)
{
    if (pDatachunkHandler)
        disconnect(pDatachunkHandler, nullptr, this, nullptr);
    pDatachunkHandler = handler;
    connectStore();
}

void CANLogHandler::connectStore()
{
    if (!pDatachunkHandler)
        return;
    const auto type = Qt::ConnectionType(Qt::QueuedConnection | Qt::UniqueConnection);
    connect(pDatachunkHandler, &DatachunkHandler::sigImportRequest, this, &CANLogHandler::loadFile, type);
    connect(pDatachunkHandler, &DatachunkHandler::sigZipDatachunks, this, &CANLogHandler::onZipDatachunks, type);
}

QString CANLogHandler::getLastErrorText() const
{
    return lastErrorText;
}

ImportReport CANLogHandler::getImportReport() const
{
    return importReport;
}

std::function<void(qint64, qint64)> CANLogHandler::progressSignal()
{
    return [this](qint64 bytesRead, qint64 bytesTotal) { Q_EMIT importProgress(bytesRead, bytesTotal); };
}

bool CANLogHandler::loadFile(QString path, ImportFileType type, QString text, bool flag)
{
    if (!pDatachunkHandler)
        return false;
    if (type != DatachunkHelper::QclZipArchive)
        pDatachunkHandler->setImportStarted();
    const bool ok = importFile(path, type, text, flag);
    // An unpacked archive tells its end by notifyZipFileLoaded() alone.
    if (ok && type == DatachunkHelper::QclZipArchive && !flag)
        return true;
    if (pDatachunkHandler)
        pDatachunkHandler->setImportFinished(ok, type, path, true);
    return ok;
}

bool CANLogHandler::importFile(QString path, ImportFileType type, QString text, bool flag)
{
    importReport = {};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        importReport.readError = file.errorString();
        return false;
    }
    file.close();
    const Loader *const loader = loaderFor(type);
    if (!loader)
        return false;
    if (loader->showsLoading)
        Q_EMIT showLoadingDialog(true);
    const bool ok = loader->load(*this, {path, type, text, flag});
    if (loader->showsLoading)
        Q_EMIT showLoadingDialog(false);
    return ok;
}
