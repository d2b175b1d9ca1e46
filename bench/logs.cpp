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

QByteArray seconds(const BenchFrame &frame, long long start)
{
    const long long time = start * 1000000 + frame.microseconds;
    return QByteArray::number(time / 1000000) + '.' + QByteArray::number(time % 1000000).rightJustified(6, '0');
}

constexpr long long epoch = 1345212884;

QByteArray candumpLogLine(int number)
{
    const BenchFrame frame(number);
    return '(' + seconds(frame, epoch) + ") can0 " + QByteArray::number(frame.id, 16).toUpper() + '#' + hexBytes(frame)
           + '\n';
}

QByteArray candumpScreenLine(int number)
{
    const BenchFrame frame(number);
    return " (" + seconds(frame, epoch) + ")  can0  " + QByteArray::number(frame.id, 16).toUpper() + "   [8]  "
           + hexBytes(frame, ' ') + '\n';
}

} // namespace

const QVector<BenchFormat> &benchFormats()
{
    static const QVector<BenchFormat> formats{
        {"candump log file", candumpLogLine,
         [](CANLogHandler &handler, const QString &path) { return handler.loadSocketCanDump(path); }},
        {"candump screen", candumpScreenLine,
         [](CANLogHandler &handler, const QString &path) { return handler.loadSocketCanDump(path); }},
    };
    return formats;
}

bool writeLog(const BenchFormat &format, const QString &path, int frames)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    for (int i = 0; i < frames; ++i)
        file.write(format.line(i));
    return file.flush();
}
