// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/formats.h"

#include "apps/canlog/helptext.h"
#include "apps/canlog/inputfile.h"
#include "apps/canlog/output.h"
#include "host/reading/detect.h"
#include "readers/formats.h"

#include <QCommandLineParser>
#include <QMetaEnum>

#include <algorithm>
#include <functional>

static const QLatin1String automatic("auto");

QString Format::name() const
{
    return QString::fromLatin1(QMetaEnum::fromType<DatachunkHelper::ImportFileType>().valueToKey(type));
}

/// Data chunks, which the store reads, and every log that the library has a reader for.
static QVector<Format> allFormats()
{
    QVector<Format> all{{DatachunkHelper::QclFile,
                         {QStringLiteral("qcl")},
                         QStringLiteral("one data-chunk file of a store"),
                         QStringLiteral(".qcl")}};
    for (const LogFormat &log : logFormats())
        all.append({log.type, log.shortNames, log.description, log.suffix});
    return all;
}

const QVector<Format> &formats()
{
    static const QVector<Format> table = allFormats();
    return table;
}

static const Format *findIf(const std::function<bool(const Format &)> &isMeant)
{
    const auto found = std::find_if(formats().cbegin(), formats().cend(), isMeant);
    return found == formats().cend() ? nullptr : &*found;
}

const Format *findFormat(const QString &numberOrName)
{
    return findIf([&](const Format &format) {
        return numberOrName == QString::number(format.type)
               || numberOrName.compare(format.name(), Qt::CaseInsensitive) == 0
               || format.shortNames.contains(numberOrName, Qt::CaseInsensitive);
    });
}

const Format *findFormat(DatachunkHelper::ImportFileType type)
{
    return findIf([&](const Format &format) { return format.type == type; });
}

QCommandLineOption typeOption()
{
    return {QStringLiteral("type"),
            QStringLiteral("What the file is, as 'canlog formats' lists it. Default: %1, what 'canlog detect' finds.")
                .arg(automatic),
            QStringLiteral("NAME|NUMBER"), automatic};
}

QCommandLineOption columnsOption()
{
    return {QStringLiteral("columns"),
            QStringLiteral("The columns of a file of the type GenericFile, one code each with one blank between two: "
                           "t time, n channel, i hexadecimal, I decimal or 0xi prefixed identifier, l length, d its "
                           "bytes, each once at most; ? a column that is not read. Default: \"%1\". Without --type "
                           "the file is of that type.")
                .arg(defaultColumns()),
            QStringLiteral("CODES"), defaultColumns()};
}

static bool isAutomatic(const QCommandLineParser &parser)
{
    return parser.value(QStringLiteral("type")).compare(automatic, Qt::CaseInsensitive) == 0;
}

/// The format that the options name; null when they leave it to the content, or name none.
static const Format *namedFormat(const QCommandLineParser &parser)
{
    if (!isAutomatic(parser))
        return findFormat(parser.value(QStringLiteral("type")));
    return parser.isSet(QStringLiteral("columns")) ? findFormat(DatachunkHelper::GenericFile) : nullptr;
}

/// Whether @p code marks a column that is not read. Any sign does; a letter or digit without a meaning was meant to
/// have one.
static bool isSign(const QString &code)
{
    return std::none_of(code.cbegin(), code.cend(), [](QChar c) { return c.isLetterOrNumber(); });
}

/// Why @p code cannot be meant behind the codes @p before it; empty when it can.
static QString codeFault(const QString &code, const QStringList &before)
{
    static const QStringList identifiers{QStringLiteral("i"), QStringLiteral("I"), QStringLiteral("0xi")};
    static const QStringList others{QStringLiteral("t"), QStringLiteral("n"), QStringLiteral("l"), QStringLiteral("d")};
    if (code.isEmpty())
        return QStringLiteral("a code is missing");
    if (identifiers.contains(code)) {
        const auto isIdentifier = [](const QString &other) { return identifiers.contains(other); };
        return std::any_of(before.cbegin(), before.cend(), isIdentifier)
                   ? QStringLiteral("there is more than one identifier")
                   : QString();
    }
    if (!others.contains(code))
        return isSign(code) ? QString() : QStringLiteral("'%1' is no code").arg(code);
    if (before.contains(code))
        return QStringLiteral("'%1' comes twice").arg(code);
    if (code == QLatin1String("d") && !before.contains(QStringLiteral("l")))
        return QStringLiteral("no data are read without their length 'l' before 'd'");
    return {};
}

/// What is wrong with the description @p text of columns; empty when it may be meant.
static QString columnsProblem(const QString &text)
{
    QStringList before;
    QString fault;
    for (const QString &code : text.split(QLatin1Char(' '))) {
        fault = codeFault(code, before);
        if (!fault.isEmpty())
            break;
        before.append(code);
    }
    if (fault.isEmpty() && std::all_of(before.cbegin(), before.cend(), isSign))
        fault = QStringLiteral("no column is read");
    if (fault.isEmpty())
        return {};
    return QStringLiteral(
               "bad --columns '%1': %2; wanted are t, n, one of i, I and 0xi, l, d, each once at most, and ? "
               "for columns that are not read, with one blank between two")
        .arg(text, fault);
}

/// All that --type takes but numbers.
static QStringList typeNames()
{
    QStringList names{automatic};
    for (const Format &format : formats())
        names += QStringList{format.name()} + format.shortNames;
    return names;
}

QString formatProblem(const QCommandLineParser &parser)
{
    const Format *format = namedFormat(parser);
    if (!format && !isAutomatic(parser)) {
        const QString type = parser.value(QStringLiteral("type"));
        return QStringLiteral("unknown type '%1', 'canlog formats' lists the types").arg(type)
               + nearestHint(type, typeNames());
    }
    if (parser.isSet(QStringLiteral("columns")) && format->type != DatachunkHelper::GenericFile)
        return QStringLiteral("--columns is for --type GenericFile");
    return columnsProblem(parser.value(QStringLiteral("columns")));
}

const Format *formatOf(InputFile &input, const QCommandLineParser &parser)
{
    if (const Format *format = namedFormat(parser))
        return format;
    const Detection detection = input.detect();
    if (!detection.type) {
        const QString fault = input.fault();
        complain(input.name(),
                 fault.isEmpty() ? unknownFormatText(detection) : QStringLiteral("cannot be read: %1").arg(fault));
        return nullptr;
    }
    return findFormat(*detection.type);
}

bool isReadable(InputFile &input, const Format &format)
{
    const QString problem = format.type == DatachunkHelper::QclFile ? input.copyToFile() : QString();
    if (!problem.isEmpty())
        complain(input.name(), problem);
    return problem.isEmpty();
}

QString unknownFormatText(const Detection &detection)
{
    if (!detection.advice.isEmpty())
        return QStringLiteral("%1; %2").arg(detection.reason, detection.advice);
    return QStringLiteral("unknown format: %1; name it with --type ('canlog formats' lists them), or describe its "
                          "columns with --columns")
        .arg(detection.reason);
}

QString requestText(const QCommandLineParser &parser, const Format &format)
{
    return format.type == DatachunkHelper::GenericFile ? parser.value(QStringLiteral("columns")) : QString();
}
