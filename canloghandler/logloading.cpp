// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "canloghandler/delivery.h"
#include "importers/cocttimporter.h"
#include "importers/genericfileimporter.h"
#include "importers/ixxatfileimporter.h"
#include "importers/peaktraceimporter.h"

// The loaders by name: each is its type's delivery.

using namespace DatachunkHelper;

/// Of a format that is delivered as one list, where its reader has no reason to give: the text that its importer class
/// begins with.
QString CANLogHandler::noErrorText(ImportFileType type)
{
    switch (type) {
    case CoCTTLog:
        return CoCTTImporter::tr("No error.");
    case IxxatLog:
        return IxxatFileImporter::tr("No error.");
    case GenericFile:
        return GenericFileImporter::tr("No error.");
    default:
        return PeakTraceImporter::tr("No error.");
    }
}

bool CANLogHandler::loadLog(const QString &path, QIODevice *device, ImportFileType type, const QString &columns)
{
    const LogFormat *const format = findLogFormat(type);
    if (format)
        return Delivery(*this, *format, columns).run(path, device);
    importReport = {};
    lastErrorText = noErrorText(type);
    return false;
}

bool CANLogHandler::loadNorvikTxtFile(QString path)
{
    return loadLog(path, nullptr, NorvikTxt, {});
}

bool CANLogHandler::loadSocketCanDump(QString path)
{
    return loadLog(path, nullptr, SocketCanDump, {});
}

bool CANLogHandler::loadKvaserTxtLog(QString path)
{
    return loadLog(path, nullptr, KvaserTxtLog, {});
}

bool CANLogHandler::loadKvaserCanKingLog(QString path)
{
    return loadLog(path, nullptr, KvaserCanKingLog, {});
}

bool CANLogHandler::loadVectorAscLog(QString path)
{
    return loadLog(path, nullptr, VectorAscLog, {});
}

bool CANLogHandler::loadVectorAscLogWithoutBitcount(QString path)
{
    return loadLog(path, nullptr, VectorAscLogWithoutBitcount, {});
}

bool CANLogHandler::loadWiresharkCSV(QString path)
{
    return loadLog(path, nullptr, WiresharkCsv, {});
}

bool CANLogHandler::loadPeakTraceFile(QString path, ImportFileType type)
{
    const bool isTrace = type >= PeakTraceReserved && type <= PeakTraceV21;
    return loadLog(path, nullptr, isTrace ? type : PeakTraceReserved, {});
}

bool CANLogHandler::loadCoCTTFile(QString path)
{
    return loadLog(path, nullptr, CoCTTLog, {});
}

bool CANLogHandler::loadIxxatFile(QString path)
{
    return loadLog(path, nullptr, IxxatLog, {});
}

bool CANLogHandler::loadGenericFile(QString path, QString columnDescription)
{
    return loadLog(path, nullptr, GenericFile, columnDescription);
}
