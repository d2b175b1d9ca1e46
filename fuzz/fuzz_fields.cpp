// SPDX-License-Identifier: Apache-2.0
// Holds the fields of a line against QString's simplified() and split().

#include "common/text/fields.h"
#include "fuzz/fuzztext.h"

#include <QStringList>

#include <algorithm>

namespace
{

void compare(const Fields &ours, const QStringList &expected)
{
    require(ours.count() == expected.size());
    for (int i = 0; i < expected.size(); ++i)
        require(ours[i] == expected.at(i));
    require(ours[-1].isEmpty() && ours[int(expected.size())].isEmpty());
}

/// Holds the fields that are read as bytes at once, from each field on, against QString::toUInt().
void compareBytes(const Fields &ours)
{
    constexpr int most = 64;
    const auto isPair = [&ours](int index) {
        bool ok = false;
        const QString text = ours[index].toString();
        const uint value = text.toUInt(&ok, 16);
        // A sign, a prefix or a blank leaves fewer than two digits.
        return ok && text.size() == 2
               && QString::number(value, 16).rightJustified(2, QLatin1Char('0')) == text.toLower();
    };
    for (int first = 0; first < std::min(ours.count(), 40); ++first) {
        quint8 data[most];
        const int count = ours.readPairsByEights(first, most, data);
        require(count <= std::min(most, ours.count() - first));
        for (int i = 0; i < count; ++i)
            require(isPair(first + i) && data[i] == ours[first + i].toString().toUInt(nullptr, 16));
    }
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
    compareBytes(fields);
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
