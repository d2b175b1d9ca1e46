// SPDX-License-Identifier: Apache-2.0
#include "canlogprogram.h"

#include <QDir>
#include <QRegularExpression>

/// The help, the man page and the completion of the shell must say the same as the program.
class CanlogShellTest : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void init() { makeFolder(); }

    void manPageNamesEverySubcommandAndOption();
    void manPageNamesNothingElse();
    void manPageNamesEveryFormat();
    void manPageIsSound();
    void completionOffersSubcommands();
    void completionOffersOptions_data();
    void completionOffersOptions();
    void completionOffersTypesAndFolders();
    void completionOffersTypesBehindAnEqualsSign();
    void helpFitsTheTerminal();
    void typosAreAnsweredWithTheNearestName_data();
    void typosAreAnsweredWithTheNearestName();
    void completionOffersFormatsAndDirections();

private:
    QStringList subcommands();
    /// Whether `--type` takes @p name.
    bool isType(const QString &name);
    QStringList optionsOf(const QString &subcommand);
    QString manPage();
    /// What is offered for the last of @p words.
    QStringList completed(const QStringList &words);
};

QStringList CanlogShellTest::subcommands()
{
    const QString help = QString::fromUtf8(canlog({QStringLiteral("--help")}).out);
    QStringList names;
    auto matches = QRegularExpression(QStringLiteral("^  ([a-z]+)  +[A-Z]"), QRegularExpression::MultilineOption)
                       .globalMatch(help);
    while (matches.hasNext())
        names.append(matches.next().captured(1));
    return names;
}

bool CanlogShellTest::isType(const QString &name)
{
    const QString noLog = write(QStringLiteral("empty.log"), "");
    return canlog({QStringLiteral("show"), noLog, QStringLiteral("--type"), name}).status != 2;
}

QStringList CanlogShellTest::optionsOf(const QString &subcommand)
{
    const QString help = QString::fromUtf8(canlog({subcommand, QStringLiteral("--help")}).out);
    QStringList names;
    auto matches =
        QRegularExpression(QStringLiteral("^  (?:-[a-z], )?(--[a-z-]+)"), QRegularExpression::MultilineOption)
            .globalMatch(help);
    while (matches.hasNext())
        names.append(matches.next().captured(1));
    return names;
}

QString CanlogShellTest::manPage()
{
    QFile file(QStringLiteral(CANLOG_SOURCES "/apps/canlog/shell/canlog.1"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void CanlogShellTest::manPageNamesEverySubcommandAndOption()
{
    const QString page = manPage().replace(QLatin1String("\\-"), QLatin1String("-"));
    const QStringList names = subcommands();
    QVERIFY(names.size() >= 11);
    for (const QString &name : names) {
        QVERIFY2(page.contains(QStringLiteral(".TP\n.B %1\n").arg(name)), qPrintable(name));
        const QStringList options = optionsOf(name);
        QVERIFY(options.contains(QStringLiteral("--help")));
        for (const QString &option : options) {
            const QRegularExpression entry(
                QStringLiteral("\\n\\.TP\\n\\.BI?R? (-[a-z] \", \" )?%1( |\\n)").arg(option));
            QVERIFY2(entry.match(page).hasMatch(), qPrintable(name + QLatin1Char(' ') + option));
        }
    }
}

void CanlogShellTest::manPageNamesNothingElse()
{
    QStringList known{QStringLiteral("--version")};
    for (const QString &name : subcommands())
        known += optionsOf(name);
    const QString page = manPage().replace(QLatin1String("\\-"), QLatin1String("-"));
    auto matches = QRegularExpression(QStringLiteral("--[a-z][a-z-]*")).globalMatch(page);
    QVERIFY(matches.hasNext());
    while (matches.hasNext()) {
        const QString option = matches.next().captured();
        QVERIFY2(known.contains(option), qPrintable(option));
    }
}

void CanlogShellTest::manPageNamesEveryFormat()
{
    const QString page = manPage();
    const QString formats = page.mid(page.indexOf(QLatin1String(".SH FORMATS"))).section(QLatin1String(".SH"), 1, 1);
    const QStringList rows =
        QString::fromUtf8(canlog({QStringLiteral("formats")}).out).split(QLatin1Char('\n'), Qt::SkipEmptyParts).mid(1);
    QVERIFY(rows.size() > 20);
    for (const QString &row : rows) {
        const QStringList columns = row.simplified().split(QLatin1Char(' '));
        const bool hasShortName = !columns.at(2).startsWith(QLatin1Char('.'));
        const QRegularExpression word(QStringLiteral("\\b%1\\b").arg(columns.at(hasShortName ? 2 : 1)));
        QVERIFY2(QString(formats).replace(QLatin1String("\\-"), QLatin1String("-")).contains(word), qPrintable(row));
    }
}

void CanlogShellTest::manPageIsSound()
{
    if (shell(QStringLiteral("command -v groff")).status != 0)
        QSKIP("needs groff");
    const Outcome outcome =
        shell(QStringLiteral("groff -ww -man -Tutf8 '" CANLOG_SOURCES "/apps/canlog/shell/canlog.1'"));
    QCOMPARE(outcome.err, QByteArray());
    QVERIFY(outcome.out.contains("Counts the data chunks"));
}

QStringList CanlogShellTest::completed(const QStringList &words)
{
    const QString script = QStringLiteral("source '" CANLOG_SOURCES "/apps/canlog/shell/canlog.bash'\n"
                                          "COMP_WORDS=(\"$@\")\n"
                                          "COMP_CWORD=$(($# - 1))\n"
                                          "_canlog \"$1\"\n"
                                          "printf '%s\\n' \"${COMPREPLY[@]}\"\n");
    const QStringList arguments{QStringLiteral("-c"), script, QStringLiteral("bash"), QStringLiteral(CANLOG_PROGRAM)};
    const Outcome outcome = run(QStringLiteral("bash"), arguments + words);
    if (outcome.status != 0 || !outcome.err.isEmpty())
        return {QString::fromUtf8(outcome.err)};
    return QString::fromUtf8(outcome.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

void CanlogShellTest::completionOffersSubcommands()
{
    QCOMPARE(completed({QString()}),
             (QStringList{QStringLiteral("--help"), QStringLiteral("--version")} + subcommands()));
    QCOMPARE(completed({QStringLiteral("sh")}), QStringList{QStringLiteral("show")});
    QCOMPARE(completed({QStringLiteral("x")}), QStringList());
}

void CanlogShellTest::completionOffersOptions_data()
{
    QTest::addColumn<QString>("subcommand");
    for (const char *name : {"import", "imports", "show", "convert", "stats", "count", "detect", "formats", "zip",
                             "unzip", "merge", "check"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void CanlogShellTest::completionOffersOptions()
{
    QFETCH(QString, subcommand);
    QVERIFY(subcommands().contains(subcommand));
    QCOMPARE(completed({subcommand, QStringLiteral("-")}), optionsOf(subcommand));
    QCOMPARE(completed({subcommand, QStringLiteral("--hel")}), QStringList{QStringLiteral("--help")});
    QCOMPARE(completed({subcommand, QString()}), QStringList()); // a file name, which is bash's own
}

void CanlogShellTest::helpFitsTheTerminal()
{
    QStringList texts{QString::fromUtf8(canlog({QStringLiteral("--help")}).out)};
    for (const QString &subcommand : subcommands())
        texts.append(QString::fromUtf8(canlog({subcommand, QStringLiteral("--help")}).out));
    for (const QString &text : texts) {
        for (const QString &line : text.split(QLatin1Char('\n')))
            QVERIFY2(line.size() <= 80, qPrintable(line));
    }
}

void CanlogShellTest::typosAreAnsweredWithTheNearestName_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("hint");
    const auto row = [](const char *line, const char *hint) {
        QTest::newRow(line) << QString::fromLatin1(line) << QByteArray(hint);
    };
    row("shwo x", "; did you mean 'show'?;");
    row("stat", "; did you mean 'stats'?;");
    row("show x --limt 3", "; did you mean '--limit'?;");
    row("show x --type candmup", "; did you mean 'Candump'?;");
    row("show x --type ascc", "; did you mean 'asc'?;");
    row("convert x --to sqlit", "; did you mean 'sqlite'?;");
    row("frobnicate", "unknown subcommand 'frobnicate'; try");
    row("show x --type 4711", "lists the types; try");
}

void CanlogShellTest::typosAreAnsweredWithTheNearestName()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, hint);
    const Outcome outcome = canlog(line.split(QLatin1Char(' ')));
    QVERIFY2(outcome.err.contains(hint), outcome.err.constData());
    QCOMPARE(outcome.status, 2);
}

void CanlogShellTest::completionOffersTypesBehindAnEqualsSign()
{
    // bash takes "=" for a word of its own.
    const QString equals = QStringLiteral("=");
    QVERIFY(completed({QStringLiteral("show"), QStringLiteral("--type"), equals}).contains(QStringLiteral("candump")));
    QCOMPARE(completed({QStringLiteral("show"), QStringLiteral("--type"), equals, QStringLiteral("Wire")}),
             QStringList{QStringLiteral("WiresharkCsv")});
    QVERIFY(completed({QStringLiteral("convert"), QStringLiteral("--to"), equals}).contains(QStringLiteral("csv")));
}

void CanlogShellTest::completionOffersTypesAndFolders()
{
    const QStringList types = completed({QStringLiteral("import"), QStringLiteral("--type"), QString()});
    QVERIFY(types.contains(QStringLiteral("auto")));
    QVERIFY(types.contains(QStringLiteral("SocketCanDump")));
    QVERIFY(types.contains(QStringLiteral("candump")));
    QVERIFY(types.contains(QStringLiteral("SemicolonCsv")));
    // Where a format has no short name its suffix stands in that place, which is no type.
    for (const QString &type : types)
        QVERIFY2(type == QLatin1String("auto") || isType(type), qPrintable(type));
    QCOMPARE(completed({QStringLiteral("show"), QStringLiteral("--type"), QStringLiteral("Wire")}),
             QStringList{QStringLiteral("WiresharkCsv")});
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("trips")));
    write(QStringLiteral("trip.log"), "");
    QCOMPARE(completed({QStringLiteral("show"), QStringLiteral("--store"), QStringLiteral("tr")}),
             QStringList{QStringLiteral("trips")});
}

void CanlogShellTest::completionOffersFormatsAndDirections()
{
    const QStringList formats{QStringLiteral("candump"), QStringLiteral("asc"), QStringLiteral("trc"),
                              QStringLiteral("blf"),     QStringLiteral("csv"), QStringLiteral("json"),
                              QStringLiteral("sqlite")};
    QCOMPARE(completed({QStringLiteral("convert"), QStringLiteral("--to"), QString()}), formats);
    QCOMPARE(completed({QStringLiteral("convert"), QStringLiteral("--to"), QStringLiteral("c")}),
             QStringList({QStringLiteral("candump"), QStringLiteral("csv")}));
    // Elsewhere that is a time.
    QCOMPARE(completed({QStringLiteral("show"), QStringLiteral("--to"), QString()}), QStringList());
    for (const char *subcommand : {"show", "stats", "convert"})
        QCOMPARE(completed({QLatin1String(subcommand), QStringLiteral("--direction"), QString()}),
                 QStringList({QStringLiteral("rx"), QStringLiteral("tx")}));
}

QTEST_GUILESS_MAIN(CanlogShellTest)
#include "tst_canlogshell.moc"
