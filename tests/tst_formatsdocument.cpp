// SPDX-License-Identifier: Apache-2.0
#include "canlogprogram.h"

#include <QSet>

// docs/formats.md prints samples and what canlog shows of them. Both are blocks between lines of three backticks; the
// second begins with the command.

namespace
{

const QString command = QStringLiteral("$ canlog show FILE ");

struct Sample {
    QStringList options;
    QStringList log;
    QStringList shown;
};

QStringList linesOf(const QByteArray &text)
{
    return QString::fromUtf8(text).split(QLatin1Char('\n'));
}

QByteArray readDocument()
{
    QFile file(QStringLiteral(CANLOG_EXAMPLES "/../docs/formats.md"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(file.fileName()));
    return file.readAll();
}

QVector<QStringList> blocksOf(const QStringList &lines)
{
    QVector<QStringList> blocks;
    bool isInside = false;
    for (const QString &line : lines) {
        if (line.startsWith(QLatin1String("```"))) {
            isInside = !isInside;
            if (isInside)
                blocks.append(QStringList());
        } else if (isInside) {
            blocks.last().append(line);
        }
    }
    return blocks;
}

QVector<Sample> samplesOf(const QVector<QStringList> &blocks)
{
    QVector<Sample> samples;
    for (int i = 1; i < blocks.size(); ++i) {
        const QString first = blocks.at(i).value(0);
        if (first.startsWith(command))
            samples.append({first.mid(command.size()).split(QLatin1Char(' ')), blocks.at(i - 1), blocks.at(i).mid(1)});
    }
    return samples;
}

/// A line of the program as the document has it: no longer than 120 characters, without blanks at the end.
QString asPrinted(const QString &line)
{
    QString printed = line.left(120);
    while (printed.endsWith(QLatin1Char(' ')))
        printed.chop(1);
    return printed;
}

} // namespace

class FormatsDocumentTest : public QObject, private CanlogProgram
{
    Q_OBJECT

private Q_SLOTS:
    void init() { makeFolder(); }

    void samplesAreShownAsPrinted_data();
    void samplesAreShownAsPrinted();
    void everyTextFormatHasNamesAndSample();

private:
    const QByteArray document = readDocument();
    const QVector<Sample> samples = samplesOf(blocksOf(linesOf(document)));
};

void FormatsDocumentTest::samplesAreShownAsPrinted_data()
{
    QTest::addColumn<int>("number");
    for (int i = 0; i < samples.size(); ++i)
        QTest::newRow(qPrintable(samples.at(i).options.join(QLatin1Char(' ')))) << i;
}

void FormatsDocumentTest::samplesAreShownAsPrinted()
{
    QFETCH(int, number);
    const Sample &sample = samples.at(number);
    const QString file = write(QStringLiteral("sample"), sample.log.join(QLatin1Char('\n')).toUtf8() + '\n');
    const Outcome outcome = canlog(QStringList{QStringLiteral("show"), file} + sample.options);
    // Some samples have a frame of a kind that is not read.
    QVERIFY2(outcome.err.isEmpty() || outcome.err.startsWith("canlog: sample: warning: 1 of 5 lines dropped"),
             outcome.err.constData());
    QCOMPARE(outcome.status, 0);
    QStringList shown;
    for (const QString &line : linesOf(outcome.out.chopped(1)))
        shown.append(asPrinted(line));
    QCOMPARE(shown, sample.shown);
}

void FormatsDocumentTest::everyTextFormatHasNamesAndSample()
{
    QSet<QString> shownTypes;
    for (const Sample &sample : samples)
        shownTypes.insert(sample.options.last());
    const QStringList formats = linesOf(canlog({QStringLiteral("formats")}).out.trimmed()).mid(1);
    QVERIFY(formats.size() > 10);
    for (const QString &format : formats) {
        const QStringList columns = format.simplified().split(QLatin1Char(' '));
        const bool hasShortName = !columns.at(2).startsWith(QLatin1Char('.')); // else that is the suffix
        const QString shortName = columns.at(hasShortName ? 2 : 1);
        for (const QString &name : {columns.at(1), shortName})
            QVERIFY2(document.contains('`' + name.toUtf8() + '`'), qPrintable(name));
        const bool isText = shortName != QLatin1String("qcl") && shortName != QLatin1String("blf");
        if (isText)
            QVERIFY2(shownTypes.contains(shortName), qPrintable(shortName));
    }
}

QTEST_GUILESS_MAIN(FormatsDocumentTest)
#include "tst_formatsdocument.moc"
