// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/formats.h"
#include "apps/canlog/inputfile.h"
#include "apps/canlog/output.h"
#include "host/reading/detect.h"

#include <QCommandLineParser>

namespace
{

QString resultText(const Detection &detection)
{
    if (!detection.type)
        return QStringLiteral("unknown");
    const QString confidence = detection.isCertain ? QStringLiteral("certain") : QStringLiteral("likely");
    return QStringLiteral("%1, %2: %3").arg(findFormat(*detection.type)->name(), confidence, detection.reason);
}

/// Writes what the content of the file @p path is; false after a complaint when that cannot be said.
bool detectFile(const QString &path, Output &out)
{
    InputFile input(path);
    const QString problem = input.prepare();
    if (!problem.isEmpty()) {
        complain(path, problem);
        return false;
    }
    const Detection detection = input.detect();
    out.writeLine(printable(QStringLiteral("%1: %2").arg(path, resultText(detection))));
    if (!input.fault().isEmpty())
        complain(path, QStringLiteral("cannot be read any further: %1").arg(input.fault()));
    else if (!detection.type)
        complain(path, unknownFormatText(detection));
    return detection.type.has_value() && input.fault().isEmpty();
}

ExitStatus run(const QCommandLineParser &parser, Output &out)
{
    const QStringList paths = parser.positionalArguments();
    if (paths.isEmpty())
        return wrongUsage(QStringLiteral("detect needs at least one FILE"), QStringLiteral("detect"));
    ExitStatus status = ExitStatus::Success;
    for (const QString &path : paths) {
        if (!detectFile(path, out))
            status = ExitStatus::Failure;
    }
    return status;
}

} // namespace

Subcommand detectSubcommand()
{
    return {QStringLiteral("detect"),
            QStringLiteral("Finds the formats of log files from their content."),
            QStringLiteral("FILE..."),
            QStringLiteral(
                "Every file gives one line with its type, how sure that is (certain or likely) and the lines that\n"
                "spoke for it. It is never certain of lines that the reader of the type drops. A file that is none of "
                "the formats is \"unknown\"; the exit status is then 1. No\n"
                "more than the first 65536 characters are looked at, and 32 lines when they leave no doubt; the\n"
                "name plays no part. Files of columns are always unknown: nothing in them says what the columns\n"
                "mean."),
            QStringLiteral("  canlog detect examples/drive.asc\n"
                           "  canlog detect *.txt *.csv\n"),
            [](QCommandLineParser &parser) {
                parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("A log file."),
                                             QStringLiteral("FILE..."));
            },
            run};
}
