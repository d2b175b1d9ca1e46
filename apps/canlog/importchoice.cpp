// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/importchoice.h"

#include <QCommandLineParser>

#include <algorithm>

namespace
{

/// The number of an import that @p text is; 0 when it is none.
int readNumber(const QString &text)
{
    bool ok = false;
    const int number = text.toInt(&ok);
    const bool isPlain = std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c >= u'0' && c <= u'9'; });
    return ok && isPlain ? number : 0;
}

} // namespace

bool isListed(const ImportRecord &record)
{
    return record.keeping != ImportRecord::Keeping::Deleted && record.keeping != ImportRecord::Keeping::Deleting;
}

QCommandLineOption ImportChoice::option()
{
    return {QStringLiteral("import"),
            QStringLiteral("Only these imports of the store, as 'canlog imports' numbers them; 2-4 is a range."),
            QStringLiteral("N[,N]")};
}

QString ImportChoice::setFrom(const QCommandLineParser &parser)
{
    const QString name = QStringLiteral("import");
    return parser.isSet(name) ? set(parser.value(name), name) : QString();
}

QString ImportChoice::set(const QString &text, const QString &optionName)
{
    ranges.clear();
    const QStringList parts = text.split(QLatin1Char(','));
    for (const QString &part : parts) {
        const int dash = part.indexOf(QLatin1Char('-'));
        const int first = readNumber(part.left(dash));
        const int last = dash < 0 ? first : readNumber(part.mid(dash + 1));
        if (first == 0 || last < first)
            return QStringLiteral("bad --%1 '%2', wanted are numbers such as 3 or 1,4-6; 'canlog imports' lists them")
                .arg(optionName, text);
        ranges.append({first, last});
    }
    return {};
}

bool ImportChoice::contains(int number) const
{
    return isAll() || std::any_of(ranges.cbegin(), ranges.cend(), [number](const Range &range) {
               return number >= range.first && number <= range.last;
           });
}

int ImportChoice::firstMissing(const QVector<ImportRecord> &imports) const
{
    for (const Range &range : ranges) {
        // A range that goes on for ever ends with the first number beyond.
        for (int number = range.first; number <= qMin(range.last, imports.size() + 1); ++number)
            if (number > imports.size() || !isListed(imports.at(number - 1)))
                return number;
        if (range.first > imports.size())
            return range.first;
    }
    return 0;
}
