// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canloghandler_export.h"

#include <QObject>

namespace DatachunkHelper
{
Q_NAMESPACE_EXPORT(CANLOGHANDLER_EXPORT)

/**
 * What a file to import holds. The numbers are part of the interface between library and host: they are stored and
 * sent, so none is ever given another meaning. 3, 10 and 16 stand for nothing.
 */
enum ImportFileType : int {
    QclZipArchive = 0,                ///< zip archive of data-chunk files
    QclFile = 1,                      ///< one native data-chunk file of the store
    NorvikTxt = 2,                    ///< Norvik text log
    PeakTraceReserved = 4,            ///< PCAN trace of a version that has no reader
    PeakTraceV11 = 5,                 ///< PCAN trace, file version 1.1
    PeakTraceV12 = 6,                 ///< PCAN trace, file version 1.2
    PeakTraceV13 = 7,                 ///< PCAN trace, file version 1.3
    PeakTraceV20 = 8,                 ///< PCAN trace, file version 2.0
    PeakTraceV21 = 9,                 ///< PCAN trace, file version 2.1
    SocketCanDump = 11,               ///< SocketCAN candump, screen or log-file form
    KvaserTxtLog = 12,                ///< Kvaser text log
    KvaserCanKingLog = 13,            ///< Kvaser CanKing log
    VectorAscLog = 14,                ///< Vector ASC log with bit counts
    VectorAscLogWithoutBitcount = 15, ///< Vector ASC log without bit counts, CAN FD included
    CoCTTLog = 17,                    ///< CANopen conformance test tool log
    IxxatLog = 18,                    ///< Ixxat log
    WiresharkCsv = 19,                ///< Wireshark packet list exported as CSV
    GenericFile = 20,                 ///< columns described by the request's text
    Candump = 21,                     ///< SocketCAN candump as its tools write it today
    VectorAsc = 22,                   ///< ASC log of Vector's tools, every dialect
    PcanTrace = 23,                   ///< PCAN trace, the version found in the file
    BusmasterLog = 24,                ///< BUSMASTER log
    GvretCsv = 25,                    ///< CSV of SavvyCAN and GVRET devices
    PythonCanCsv = 26,                ///< CSV of python-can
    SemicolonCsv = 27,                ///< semicolon-separated CSV of loggers, beginning with TimestampEpoch
    Blf = 28,                         ///< binary logging file, compressed or not
};
Q_ENUM_NS(ImportFileType)

} // namespace DatachunkHelper
