// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/formats.h"
#include "apps/canlog/output.h"

#include <QCommandLineParser>

static ExitStatus run(const QCommandLineParser &parser, Output &out)
{
    if (!parser.positionalArguments().isEmpty())
        return wrongUsage(QStringLiteral("formats takes no argument"), QStringLiteral("formats"));

    const QString row = QStringLiteral("%1  %2  %3  %4  %5");
    const auto writeRow = [&](const QString &number, const QString &name, const QString &shortNames,
                              const QString &suffix, const QString &description) {
        out.writeLine(row.arg(number, 4).arg(name, -27).arg(shortNames, -14).arg(suffix, -6).arg(description));
    };
    writeRow(QStringLiteral("Type"), QStringLiteral("Name"), QStringLiteral("Short names"), QStringLiteral("Suffix"),
             QStringLiteral("What it is"));
    for (const Format &format : formats()) {
        writeRow(QString::number(format.type), format.name(), format.shortNames.join(QLatin1String(", ")),
                 format.suffix, format.description);
    }
    return ExitStatus::Success;
}

Subcommand formatsSubcommand()
{
    return {QStringLiteral("formats"),
            QStringLiteral("Lists the file formats that can be read."),
            QString(),
            QStringLiteral("--type takes the number, the name or a short name, in upper or lower case.\n"
                           "'canlog detect' finds the format of a file."),
            QStringLiteral("  canlog formats\n"),
            [](QCommandLineParser &) {},
            run};
}
