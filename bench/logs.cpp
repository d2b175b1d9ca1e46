// SPDX-License-Identifier: Apache-2.0
#include "bench/logs.h"

#include "canloghandler/canloghandler.h"
#include "host/convert/blfwriter.h"

#include <QFile>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace
{

/// Frames of a small network: a few identifiers, 8 bytes of payload that change from frame to frame.
struct BenchFrame {
    explicit BenchFrame(int number)
        : microseconds(number * 317LL)
        , id(0x100 + uint(number) % 32 * 0x11)
    {
        for (uint i = 0; i < sizeof data; ++i)
            data[i] = uchar(uint(number) * 2654435761U >> (3 * i));
    }
    long long microseconds;
    uint id;
    uchar data[8];
};

QByteArray hexBytes(const BenchFrame &frame, char separator = '\0')
{
    return QByteArray::fromRawData(reinterpret_cast<const char *>(frame.data), sizeof frame.data)
        .toHex(separator)
        .toUpper();
}

QByteArray hexId(const BenchFrame &frame)
{
    return QByteArray::number(frame.id, 16).toUpper();
}

QByteArray seconds(const BenchFrame &frame, long long start)
{
    const long long time = start * 1000000 + frame.microseconds;
    return QByteArray::number(time / 1000000) + '.' + QByteArray::number(time % 1000000).rightJustified(6, '0');
}

constexpr long long epoch = 1345212884;

QByteArray candumpLogLine(int number)
{
    const BenchFrame frame(number);
    return '(' + seconds(frame, epoch) + ") can0 " + hexId(frame) + '#' + hexBytes(frame) + '\n';
}

QByteArray candumpScreenLine(int number)
{
    const BenchFrame frame(number);
    return " (" + seconds(frame, epoch) + ")  can0  " + hexId(frame) + "   [8]  " + hexBytes(frame, ' ') + '\n';
}

QByteArray kvaserTxtLine(int number)
{
    const BenchFrame frame(number);
    return seconds(frame, 0) + " 1 " + hexId(frame) + " Rx 8 " + hexBytes(frame, ' ') + ' ' + QByteArray::number(number)
           + '\n';
}

QByteArray canKingLine(int number)
{
    const BenchFrame frame(number);
    return " 0    " + hexId(frame).rightJustified(8, '0') + "         8  " + hexBytes(frame, ' ').replace(" ", "  ")
           + seconds(frame, 0).rightJustified(15) + " R\n";
}

QByteArray wiresharkLine(int number)
{
    const BenchFrame frame(number);
    return '"' + QByteArray::number(number + 1) + "\",\"" + seconds(frame, 0) + "\",\"\",\"\",\"CAN\",\"16\",\"STD: 0x"
           + hexId(frame).rightJustified(8, '0') + "   " + hexBytes(frame, ' ').toLower() + "\"\n";
}

/// The part that both forms have.
QByteArray ascFrame(const BenchFrame &frame)
{
    return seconds(frame, 0).rightJustified(11) + " 1  " + hexId(frame) + "             Rx   d 8 "
           + hexBytes(frame, ' ');
}

QByteArray ascLine(int number)
{
    const BenchFrame frame(number);
    return ascFrame(frame) + "  Length = 246000 BitCount = 125 ID = " + QByteArray::number(frame.id) + '\n';
}

QByteArray ascLineWithoutBitCount(int number)
{
    return ascFrame(BenchFrame(number)) + " 0\n";
}

QByteArray ascFdLine(int number)
{
    const BenchFrame frame(number);
    return seconds(frame, 0).rightJustified(11) + " CANFD   1 Rx        " + hexId(frame) + "  1 0 8  8 "
           + hexBytes(frame, ' ') + "   130000  130   3000\n";
}

QByteArray norvikLine(int number)
{
    const BenchFrame frame(number);
    return seconds(frame, 0) + ' ' + hexId(frame) + " (8): " + hexBytes(frame, ' ') + " ;1;\n";
}

QByteArray milliseconds(const BenchFrame &frame)
{
    return QByteArray::number(frame.microseconds / 1000) + '.' + QByteArray::number(frame.microseconds / 100 % 10);
}

QByteArray id(const BenchFrame &frame)
{
    return QByteArray::number(frame.id, 16).rightJustified(4, '0').toUpper();
}

/// The columns of a PCAN trace before the type, in versions 1.2 and 1.3 with the bus.
QByteArray traceStart(int number, const BenchFrame &frame, const char *bus)
{
    return QByteArray::number(number + 1).rightJustified(6) + ") " + milliseconds(frame).rightJustified(12) + bus;
}

QByteArray trace11Line(int number)
{
    const BenchFrame frame(number);
    return traceStart(number, frame, "  Rx         ") + id(frame) + "  8  " + hexBytes(frame, ' ') + " \n";
}

QByteArray trace12Line(int number)
{
    const BenchFrame frame(number);
    return traceStart(number, frame, " 1  Rx         ") + id(frame) + "  8  " + hexBytes(frame, ' ') + " \n";
}

QByteArray trace13Line(int number)
{
    const BenchFrame frame(number);
    return traceStart(number, frame, " 1  Rx         ") + id(frame) + " -  8    " + hexBytes(frame, ' ') + " \n";
}

QByteArray trace20Line(int number)
{
    const BenchFrame frame(number);
    return QByteArray::number(number + 1).rightJustified(7) + milliseconds(frame).rightJustified(14) + " DT     "
           + id(frame) + " Rx 8  " + hexBytes(frame, ' ') + " \n";
}

QByteArray trace21Line(int number)
{
    const BenchFrame frame(number);
    return QByteArray::number(number + 1).rightJustified(7) + milliseconds(frame).rightJustified(14) + " DT 1      "
           + id(frame) + " Rx -  8    " + hexBytes(frame, ' ') + " \n";
}

/// Two digits, for the parts of a time of day.
QByteArray two(long long number)
{
    return QByteArray::number(number).rightJustified(2, '0');
}

QByteArray clock(const BenchFrame &frame)
{
    const long long time = frame.microseconds / 1000;
    return two(time / 3600000) + ':' + two(time / 60000 % 60) + ':' + two(time / 1000 % 60) + '.'
           + QByteArray::number(time % 1000).rightJustified(3, '0');
}

QByteArray cocttLine(int number)
{
    const BenchFrame frame(number);
    return QByteArray::number(number + 1).rightJustified(7, '0') + " : " + clock(frame) + " : Test CAN : 1 "
           + QByteArray::number(frame.id, 16).toUpper() + " Rx DF 8 " + hexBytes(frame, ' ') + '\n';
}

QByteArray ixxatLine(int number)
{
    const BenchFrame frame(number);
    return QByteArray::number(number + 1) + ",CAN1,\"" + clock(frame) + '.'
           + QByteArray::number(frame.microseconds % 1000).rightJustified(3, '0') + "\",\"Std\",\""
           + QByteArray::number(frame.id, 16).toUpper() + "\",\"8\",\"" + hexBytes(frame, ' ') + "\"\n";
}

QByteArray genericLine(int number)
{
    const BenchFrame frame(number);
    return seconds(frame, 0) + " 1 " + QByteArray::number(frame.id, 16).toUpper() + " Rx d 8 " + hexBytes(frame, ' ')
           + '\n';
}

QByteArray busmasterLine(int number)
{
    const BenchFrame frame(number);
    return clock(frame).replace('.', ':') + QByteArray::number(frame.microseconds / 100 % 10) + " Rx 1 0x"
           + hexId(frame) + " s 8 " + hexBytes(frame, ' ') + " \n";
}

QByteArray gvretLine(int number)
{
    const BenchFrame frame(number);
    return QByteArray::number(frame.microseconds) + ',' + hexId(frame).rightJustified(8, '0') + ",false,Rx,0,8,"
           + hexBytes(frame, ',') + ",\n";
}

QByteArray pythonCanLine(int number)
{
    const BenchFrame frame(number);
    return seconds(frame, epoch) + ",0x" + hexId(frame).toLower() + ",0,0,0,8,"
           + QByteArray::fromHex(hexBytes(frame)).toBase64() + '\n';
}

QByteArray semicolonLine(int number)
{
    const BenchFrame frame(number);
    return seconds(frame, epoch) + ";1;" + hexId(frame) + ";0;8;8;0;0;0;0;0;" + hexBytes(frame) + '\n';
}

/// The formats that numbered readers have, too, as the readers of today's logs read them.
QVector<BenchFormat> withTwins(QVector<BenchFormat> formats)
{
    using namespace DatachunkHelper;
    static const struct {
        const char *twin;
        const char *name;
        ImportFileType type;
    } twins[] = {
        {"candump log file", "candump log file, 21", Candump},
        {"candump screen", "candump screen, 21", Candump},
        {"Vector ASC", "Vector ASC, 22", VectorAsc},
        {"Vector ASC, no bit count", "ASC, no bits, 22", VectorAsc},
        {"Vector ASC, CAN FD", "ASC, CAN FD, 22", VectorAsc},
        {"PCAN trace 1.1", "PCAN trace 1.1, 23", PcanTrace},
        {"PCAN trace 1.3", "PCAN trace 1.3, 23", PcanTrace},
        {"PCAN trace 2.0", "PCAN trace 2.0, 23", PcanTrace},
        {"PCAN trace 2.1", "PCAN trace 2.1, 23", PcanTrace},
    };
    const QVector<BenchFormat> numbered = formats;
    for (const auto &twin : twins) {
        for (BenchFormat format : numbered) {
            if (std::strcmp(format.name, twin.twin) != 0)
                continue;
            format.twin = format.name;
            format.name = twin.name;
            format.type = twin.type;
            format.deliversAtOnce = false;
            formats.append(format);
        }
    }
    return formats;
}

} // namespace

const QVector<BenchFormat> &benchFormats()
{
    using namespace DatachunkHelper;
    // Headings as long as other programs need them, too.
    static const QByteArray ascStart = "date Fri Aug 17 02:14:44.000 pm 2012\nbase hex  timestamps absolute\n";
    static const QByteArray ascPlainStart = ascStart + "no internal events logged\nBegin Triggerblock\n";
    static const QByteArray traceStartTime = ";$STARTTIME=41138.5935648148\n";
    static const QVector<BenchFormat> formats = withTwins({
        {"candump log file", ".log", candumpLogLine, SocketCanDump},
        {"candump screen", ".log", candumpScreenLine, SocketCanDump},
        {"Kvaser text log", ".txt", kvaserTxtLine, KvaserTxtLog, "Format of data field: HEX\nTrigger\n"},
        {"Kvaser CanKing", ".txt", canKingLine, KvaserCanKingLog, "Chn Identifier\n"},
        {"Wireshark CSV", ".csv", wiresharkLine, WiresharkCsv, "No.,Time,Source,Destination,Protocol,Length,Info\n"},
        {"Vector ASC", ".asc", ascLine, VectorAscLog, ascStart + "internal events logged\n"},
        {"Vector ASC, no bit count", ".asc", ascLineWithoutBitCount, VectorAscLogWithoutBitcount, ascPlainStart},
        {"Vector ASC, CAN FD", ".asc", ascFdLine, VectorAscLogWithoutBitcount, ascPlainStart},
        {"Norvik", ".txt", norvikLine, NorvikTxt},
        {"PCAN trace 1.1", ".trc", trace11Line, PeakTraceV11, ";$FILEVERSION=1.1\n" + traceStartTime, ' ', true},
        {"PCAN trace 1.2", ".trc", trace12Line, PeakTraceV12, ";$FILEVERSION=1.2\n" + traceStartTime, ' ', true},
        {"PCAN trace 1.3", ".trc", trace13Line, PeakTraceV13, ";$FILEVERSION=1.3\n" + traceStartTime, ' ', true},
        {"PCAN trace 2.0", ".trc", trace20Line, PeakTraceV20,
         ";$FILEVERSION=2.0\n" + traceStartTime + ";$COLUMNS=N,O,T,I,d,l,D\n", ' ', true},
        {"PCAN trace 2.1", ".trc", trace21Line, PeakTraceV21,
         ";$FILEVERSION=2.1\n" + traceStartTime + ";$COLUMNS=N,O,T,B,I,d,R,L,D\n", ' ', true},
        {"CoCTT", ".txt", cocttLine, CoCTTLog, {}, ' ', true},
        {"Ixxat", ".csv", ixxatLine, IxxatLog, "No,Bus,Time,Type,ID (hex),DLC,Data (hex)\n", ',', true},
        {"generic", ".txt", genericLine, GenericFile, {}, ' ', true},
        {"BUSMASTER", ".log", busmasterLine, BusmasterLog,
         "***BUSMASTER Ver 3.2.2***\n***PROTOCOL CAN***\n***HEX***\n***SYSTEM MODE***\n"},
        {"GVRET CSV", ".csv", gvretLine, GvretCsv, "Time Stamp,ID,Extended,Dir,Bus,LEN,D1,D2,D3,D4,D5,D6,D7,D8\n", ','},
        {"python-can CSV", ".csv", pythonCanLine, PythonCanCsv,
         "timestamp,arbitration_id,extended,remote,error,dlc,data\n", ','},
        {"semicolon CSV", ".csv", semicolonLine, SemicolonCsv,
         "TimestampEpoch;BusChannel;ID;IDE;DLC;DataLength;Dir;EDL;BRS;ESI;RTR;DataBytes\n", ';'},
        {"BLF", ".blf", nullptr, Blf},
    });
    return formats;
}

/// The frames of the other logs as records, into a binary log.
static bool writeBinaryLog(QIODevice &device, int frames)
{
    BlfWriter writer(device);
    bool ok = writer.begin();
    for (int i = 0; ok && i < frames; ++i) {
        const BenchFrame frame(i);
        CAN::CanRxMessage message;
        message.timeStamp =
            CanTimeStamp(qint32(epoch + frame.microseconds / 1000000), qint32(frame.microseconds % 1000000));
        message.id = frame.id;
        message.channel = 1;
        message.dlc = sizeof frame.data;
        std::copy(std::begin(frame.data), std::end(frame.data), std::begin(message.data));
        ok = writer.write(message, QString());
    }
    return ok && writer.finish();
}

bool writeLog(const BenchFormat &format, const QString &path, int frames)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    if (!format.line)
        return writeBinaryLog(file, frames) && file.flush();
    file.write(format.header);
    for (int i = 0; i < frames; ++i)
        file.write(format.line(i));
    return file.flush();
}

bool readLog(const BenchFormat &format, const QString &path, DatachunkHandler &store)
{
    QPointer<DatachunkHandler> pointer(&store);
    CANLogHandler handler(pointer);
    return handler.importFile(path, format.type, QStringLiteral("t n i ? ? l d"), false);
}
