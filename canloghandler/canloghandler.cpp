// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"

#include "readers/formats.h"

#include <QFile>

using DatachunkHelper::ImportFileType;

CANLogHandler::CANLogHandler(DatachunkHandler *store, QObject *parent)
    : CANLogHandler(store, nullptr, parent)
{
}

CANLogHandler::CANLogHandler(QPointer<DatachunkHandler> &handler, QObject *parent)
    : CANLogHandler(nullptr, &handler, parent)
{
}

CANLogHandler::CANLogHandler(DatachunkHandler *store, QPointer<DatachunkHandler> *variable, QObject *parent)
    : QObject(parent)
    , ownStore(store)
    , pDatachunkHandler(variable ? *variable : ownStore)
    , zipInProgress(std::make_shared<std::atomic<bool>>(false))
{
    // A queued connection needs its argument types by name. Qt registers them itself only for Qt::QueuedConnection
    // alone, not together with Qt::UniqueConnection; without this every request is lost with a warning.
    qRegisterMetaType<ImportFileType>();
    qRegisterMetaType<QDir>("QDir");
    qRegisterMetaType<CAN::CanRxMessage>();
    connectStore();
}

CANLogHandler::~CANLogHandler() = default;

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

LogInfo CANLogHandler::getLogInfo() const
{
    return logInfo;
}

ArchiveReport CANLogHandler::getArchiveReport() const
{
    return archiveReport;
}

bool CANLogHandler::loadFile(QString path, ImportFileType type, QString text, bool flag)
{
    return runWithNotices(path, type, flag, [&] { return importFile(path, type, text, flag); });
}

bool CANLogHandler::loadDevice(QIODevice &device, const QString &name, ImportFileType type, const QString &text,
                               bool flag)
{
    return runWithNotices(name, type, flag, [&] {
        importReport = {};
        logInfo = {};
        return device.isReadable() && importLog(name, &device, type, text);
    });
}

/// The handler may be deleted in any call of the store and in any slot.
bool CANLogHandler::runWithNotices(const QString &path, ImportFileType type, bool flag,
                                   const std::function<bool()> &import)
{
    if (!pDatachunkHandler)
        return false;
    const QPointer<CANLogHandler> self(this);
    if (type != DatachunkHelper::QclZipArchive)
        pDatachunkHandler->setImportStarted();
    if (!self)
        return false;
    const bool ok = import() && self;
    // An unpacked archive tells its end by notifyZipFileLoaded() alone.
    if (!self || (ok && type == DatachunkHelper::QclZipArchive && !flag))
        return ok;
    if (pDatachunkHandler)
        pDatachunkHandler->setImportFinished(ok, type, path, true);
    return ok;
}

bool CANLogHandler::importFile(QString path, ImportFileType type, QString text, bool flag)
{
    importReport = {};
    logInfo = {};
    archiveReport = {};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        importReport.readError = file.errorString();
        return false;
    }
    file.close();
    switch (type) {
    case DatachunkHelper::QclZipArchive:
        return flag ? loadZipMerged(path) : loadZipFile(path);
    case DatachunkHelper::QclFile:
        return pDatachunkHandler && pDatachunkHandler->loadQclFile(path);
    default:
        return importLog(path, nullptr, type, text);
    }
}

bool CANLogHandler::importLog(const QString &path, QIODevice *device, ImportFileType type, const QString &text)
{
    if (!findLogFormat(type) && type != DatachunkHelper::PeakTraceReserved)
        return false;
    const QPointer<CANLogHandler> self(this);
    Q_EMIT showLoadingDialog(true);
    const bool ok = self && loadLog(path, device, type, text);
    if (self)
        Q_EMIT showLoadingDialog(false);
    return ok && self;
}

// Of its own file, so that who links the readers statically does not get all the rest with them.
#include "moc_canloghandler.cpp"
