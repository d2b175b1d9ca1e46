// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/helptext.h"

#include <algorithm>
#include <vector>

static constexpr int lineWidth = 79;

/// @p parts with blanks between them, in lines that begin with @p indent from the second on.
static QString inLines(const QStringList &parts, const QString &indent)
{
    QString text;
    int column = 0;
    for (const QString &part : parts) {
        if (column > 0 && column + 1 + part.size() > lineWidth) {
            text += QLatin1Char('\n') + indent;
            column = indent.size();
        } else if (column > 0) {
            text += QLatin1Char(' ');
            ++column;
        }
        text += part;
        column += part.size();
    }
    return text;
}

QString wrapped(const QString &text)
{
    QStringList lines;
    QStringList words;
    const auto endParagraph = [&] {
        if (!words.isEmpty())
            lines.append(inLines(words, {}));
        words.clear();
    };
    for (const QString &line : text.split(QLatin1Char('\n'))) {
        if (line.isEmpty() || line.startsWith(QLatin1Char(' '))) {
            endParagraph();
            lines.append(line);
        } else {
            words += line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        }
    }
    endParagraph();
    return lines.join(QLatin1Char('\n'));
}

/// The words of @p text, where those within outer brackets are one. Brackets that would fill a line are broken.
static QStringList usageParts(const QString &text)
{
    QStringList parts;
    int depth = 0;
    for (const QString &word : text.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (depth > 0 && parts.constLast().size() + word.size() < lineWidth / 2)
            parts.last() += QLatin1Char(' ') + word;
        else
            parts.append(word);
        depth += word.count(QLatin1Char('[')) - word.count(QLatin1Char(']'));
    }
    return parts;
}

QString wrappedUsage(const QString &text)
{
    QStringList lines;
    for (const QString &line : text.split(QLatin1Char('\n'))) {
        const QString beginning = line.startsWith(QLatin1String("       ")) ? QStringLiteral("      ") : QString();
        lines.append(inLines((beginning.isEmpty() ? QStringList() : QStringList{beginning}) + usageParts(line),
                             QString(11, QLatin1Char(' '))));
    }
    return lines.join(QLatin1Char('\n'));
}

/// How many letters must be changed, added, left out or exchanged with the next one to make @p b of @p a.
static int distance(const QString &a, const QString &b)
{
    std::vector<std::vector<int>> steps(std::size_t(a.size()) + 1, std::vector<int>(std::size_t(b.size()) + 1));
    for (int i = 0; i <= a.size(); ++i) {
        for (int j = 0; j <= b.size(); ++j) {
            int &least = steps[std::size_t(i)][std::size_t(j)];
            if (i == 0 || j == 0) {
                least = i + j;
                continue;
            }
            const auto before = [&](int up, int left) { return steps[std::size_t(i - up)][std::size_t(j - left)]; };
            least = std::min({before(1, 0) + 1, before(0, 1) + 1, before(1, 1) + (a.at(i - 1) == b.at(j - 1) ? 0 : 1)});
            if (i > 1 && j > 1 && a.at(i - 1) == b.at(j - 2) && a.at(i - 2) == b.at(j - 1))
                least = std::min(least, before(2, 2) + 1);
        }
    }
    return steps.back().back();
}

/// What of an option is its name.
static QString withoutHyphens(const QString &option)
{
    return option.startsWith(QLatin1String("--")) ? option.mid(2) : option;
}

QString nearestHint(const QString &typed, const QStringList &names)
{
    const QString wanted = withoutHyphens(typed.toLower().left(100));
    QString nearest;
    int least = 1 + int(wanted.size()) / 3; // a third of its letters may be wrong
    for (const QString &name : names) {
        const QString candidate = withoutHyphens(name.toLower());
        // The beginning of a name counts as one mistake.
        const int steps = wanted.size() > 1 && candidate.startsWith(wanted) ? 1 : distance(wanted, candidate);
        if (steps < least) {
            nearest = name;
            least = steps;
        }
    }
    return nearest.isEmpty() ? QString() : QStringLiteral("; did you mean '%1'?").arg(nearest);
}
