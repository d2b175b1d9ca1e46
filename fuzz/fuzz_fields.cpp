// Holds the fields of a line against QString's simplified() and split().

#include "common/text/fields.h"
#include "fuzz/fuzztext.h"

#include <QStringList>

namespace
{

void compare(const Fields &ours, const QStringList &expected)
{
    require(ours.count() == expected.size());
    for (int i = 0; i < expected.size(); ++i)
        require(ours[i] == expected.at(i));
    require(ours[-1].isEmpty() && ours[expected.size()].isEmpty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static Fields fields; // one for all lines, as readers have it
    static QString room;
    const QString line = inputText(data, size);
    const QString simple = line.simplified();

    require(simplified(line, room) == simple);
    fields.splitAtBlanks(line);
    compare(fields, simple.split(QLatin1Char(' '), Qt::SkipEmptyParts));
    fields.split(line, u" : ");
    compare(fields, line.split(QStringLiteral(" : ")));
    for (const char separator : {',', ';', '.', '"'}) {
        fields.split(line, QLatin1Char(separator), Fields::KeepEmpty);
        compare(fields, line.split(QLatin1Char(separator), Qt::KeepEmptyParts));
        fields.split(line, QLatin1Char(separator), Fields::SkipEmpty);
        compare(fields, line.split(QLatin1Char(separator), Qt::SkipEmptyParts));
    }
    return 0;
}
