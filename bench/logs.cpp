#include "bench/logs.h"

#include "canloghandler/canloghandler.h"

#include <QFile>

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

} // namespace

const QVector<BenchFormat> &benchFormats()
{
    static const QVector<BenchFormat> formats{
        {"candump log file",
         {},
         candumpLogLine,
         [](CANLogHandler &handler, const QString &path) { return handler.loadSocketCanDump(path); }},
        {"candump screen",
         {},
         candumpScreenLine,
         [](CANLogHandler &handler, const QString &path) { return handler.loadSocketCanDump(path); }},
        {"Kvaser text log", "Format of data field: HEX\nTrigger\n", kvaserTxtLine,
         [](CANLogHandler &handler, const QString &path) { return handler.loadKvaserTxtLog(path); }},
        {"Kvaser CanKing", "Chn Identifier\n", canKingLine,
         [](CANLogHandler &handler, const QString &path) { return handler.loadKvaserCanKingLog(path); }},
        {"Wireshark CSV", "No.,Time,Source,Destination,Protocol,Length,Info\n", wiresharkLine,
         [](CANLogHandler &handler, const QString &path) { return handler.loadWiresharkCSV(path); }},
        {"Vector ASC",
         {},
         ascLine,
         [](CANLogHandler &handler, const QString &path) { return handler.loadVectorAscLog(path); }},
        {"Vector ASC, no bit count", "Begin Triggerblock\n", ascLineWithoutBitCount,
         [](CANLogHandler &handler, const QString &path) { return handler.loadVectorAscLogWithoutBitcount(path); }},
        {"Vector ASC, CAN FD", "Begin Triggerblock\n", ascFdLine,
         [](CANLogHandler &handler, const QString &path) { return handler.loadVectorAscLogWithoutBitcount(path); }},
        {"Norvik",
         {},
         norvikLine,
         [](CANLogHandler &handler, const QString &path) { return handler.loadNorvikTxtFile(path); }},
    };
    return formats;
}

bool writeLog(const BenchFormat &format, const QString &path, int frames)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(format.header);
    for (int i = 0; i < frames; ++i)
        file.write(format.line(i));
    return file.flush();
}
