#include "host/store/timetext.h"

#include <charconv>

int writeTime(const CanTimeStamp &time, char *text)
{
    const qint64 microseconds = inMicroseconds(time);
    const quint64 amount = quint64(qAbs(microseconds));
    char *end = text;
    if (microseconds < 0)
        *end++ = '-';
    end = std::to_chars(end, text + 32, amount / 1000000).ptr;
    *end++ = '.';
    quint64 fraction = amount % 1000000;
    for (int i = 5; i >= 0; --i, fraction /= 10)
        end[i] = char('0' + fraction % 10);
    return int(end + 6 - text);
}

QString timeText(const CanTimeStamp &time)
{
    char text[32];
    return QString::fromLatin1(text, writeTime(time, text));
}
