#include "common/text/fields.h"

void Fields::splitAtBlanks(QStringView line)
{
    fields.clear();
    const QChar *at = line.begin();
    const QChar *const end = line.end();
    for (;;) {
        while (at != end && isBlank(*at))
            ++at;
        if (at == end)
            return;
        const QChar *const start = at;
        while (at != end && !isBlank(*at))
            ++at;
        fields.append(QStringView(start, at));
    }
}

void Fields::split(QStringView line, QChar separator, EmptyFields empty)
{
    fields.clear();
    const QChar *start = line.begin();
    const QChar *const end = line.end();
    for (const QChar *at = start;; ++at) {
        if (at != end && *at != separator)
            continue;
        if (at != start || empty == KeepEmpty)
            fields.append(QStringView(start, at));
        if (at == end)
            return;
        start = at + 1;
    }
}
