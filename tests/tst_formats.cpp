// SPDX-License-Identifier: Apache-2.0
#include "bench/logs.h"
#include "host/reading/detect.h"
#include "readers/formats.h"
#include "readers/framereader.h"

#include <QDir>
#include <QFile>
#include <QMetaEnum>
#include <QRegularExpression>
#include <QSet>
#include <QtTest>

#include <algorithm>

// A format is one row of the table: here stands what must come with it.

Q_DECLARE_METATYPE(DatachunkHelper::ImportFileType)

namespace
{

using DatachunkHelper::ImportFileType;

const QString sources = QStringLiteral(CANLOG_SOURCES "/");

QString contentOf(const QString &path)
{
    QFile file(sources + path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    return QString::fromUtf8(file.readAll());
}

QFileInfoList samplesOf(const LogFormat &format)
{
    return QDir(sources + QLatin1String("tests/data/") + format.samples).entryInfoList(QDir::Files);
}

/// The older types read the dialects of a newer one, which is found in their place.
bool isFoundFromContent(const LogFormat &format)
{
    return !format.signs.isEmpty();
}

} // namespace

class FormatsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rowsAreInTheOrderOfTheirNumbers();
    void namesAreUnique();
    void everyTypeHasARowOrIsKnownToHaveNone();
    void rowIsWhole_data() { addRows(); }
    void rowIsWhole();
    void hasSamplesThatAreReadAndFound_data() { addRows(); }
    void hasSamplesThatAreReadAndFound();
    void hasASectionInTheDocument_data() { addRows(); }
    void hasASectionInTheDocument();
    void hasALogToMeasure_data() { addRows(); }
    void hasALogToMeasure();
    void foldersOfSamplesBelongToAFormat();

private:
    static void addRows()
    {
        QTest::addColumn<ImportFileType>("type");
        for (const LogFormat &format : logFormats())
            QTest::newRow(qPrintable(format.name())) << format.type;
    }
    static const LogFormat &row()
    {
        const auto fetched = *static_cast<ImportFileType *>(QTest::qData("type", qMetaTypeId<ImportFileType>()));
        return *findLogFormat(fetched);
    }
};

void FormatsTest::rowsAreInTheOrderOfTheirNumbers()
{
    QVERIFY(std::is_sorted(logFormats().cbegin(), logFormats().cend(),
                           [](const LogFormat &a, const LogFormat &b) { return a.type < b.type; }));
}

void FormatsTest::namesAreUnique()
{
    QSet<QString> names{QStringLiteral("auto"), QStringLiteral("qcl")};
    for (const LogFormat &format : logFormats()) {
        QSet<QString> own{format.name().toLower(), QString::number(format.type)};
        for (const QString &name : format.shortNames)
            own.insert(name.toLower());
        QVERIFY2(!names.intersects(own), qPrintable(format.name()));
        names.unite(own);
    }
}

void FormatsTest::everyTypeHasARowOrIsKnownToHaveNone()
{
    using namespace DatachunkHelper;
    const QSet<int> without{QclZipArchive, QclFile, PeakTraceReserved};
    const QMetaEnum types = QMetaEnum::fromType<ImportFileType>();
    for (int i = 0; i < types.keyCount(); ++i) {
        const int type = types.value(i);
        QVERIFY2(bool(findLogFormat(ImportFileType(type))) != without.contains(type), types.key(i));
    }
}

void FormatsTest::rowIsWhole()
{
    const LogFormat &format = row();
    QVERIFY(!format.description.isEmpty());
    QVERIFY2(QRegularExpression(QStringLiteral("^\\.[a-z]{3}$")).match(format.suffix).hasMatch(),
             qPrintable(format.suffix));
    QVERIFY(format.make(format.type, defaultColumns()));
    for (const LineSign &sign : format.signs)
        QVERIFY2((sign.weight > 0) == (*sign.name != '\0'), sign.pattern);
}

void FormatsTest::hasSamplesThatAreReadAndFound()
{
    const LogFormat &format = row();
    const QFileInfoList samples = samplesOf(format);
    QVERIFY2(!samples.isEmpty(), qPrintable(format.samples));
    qint64 frames = 0;
    for (const QFileInfo &sample : samples) {
        const std::unique_ptr<FrameReader> reader = makeReader(format.type);
        QVERIFY(reader->open(sample.filePath()));
        while (reader->next())
            ++frames;
        if (isFoundFromContent(format) && format.notesAreFinal)
            QCOMPARE(detectFormat(sample.filePath()).type.value_or(ImportFileType(-1)), format.type);
    }
    QVERIFY(frames > 0);
}

void FormatsTest::hasASectionInTheDocument()
{
    // | 5, 6, 7 | `PeakTraceV11`, `V12`, `V13` | ... | [title](#title) |
    const LogFormat &format = row();
    const QString document = contentOf(QStringLiteral("docs/formats.md"));
    const QRegularExpression line(
        QStringLiteral("^\\| (?:[\\d, ]+, )?%1(?:, [\\d, ]+)? \\|.*\\[(.*)\\]\\(#(.*)\\) \\|$").arg(int(format.type)),
        QRegularExpression::MultilineOption);
    const QRegularExpressionMatch match = line.match(document);
    QVERIFY2(match.hasMatch(), "no line in the table of docs/formats.md");
    QStringList anchors;
    const QRegularExpression heading(QStringLiteral("^## (.*)$"), QRegularExpression::MultilineOption);
    for (auto it = heading.globalMatch(document); it.hasNext();) {
        QString anchor = it.next().captured(1).toLower();
        anchor.remove(QRegularExpression(QStringLiteral("[^a-z0-9 -]"))).replace(QLatin1Char(' '), QLatin1Char('-'));
        anchors.append(anchor);
    }
    QVERIFY2(anchors.contains(match.captured(2)), qPrintable(match.captured(2)));
    for (const QString &name : format.shortNames)
        QVERIFY2(match.captured(0).contains(QLatin1Char('`') + name + QLatin1Char('`')), qPrintable(name));
}

void FormatsTest::hasALogToMeasure()
{
    const LogFormat &format = row();
    const auto found = std::find_if(benchFormats().cbegin(), benchFormats().cend(),
                                    [&](const BenchFormat &bench) { return bench.type == format.type; });
    QVERIFY2(found != benchFormats().cend(), "bench/logs.cpp writes none");
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("log"));
    QVERIFY(writeLog(*found, path, 100));
    const std::unique_ptr<FrameReader> reader = makeReader(format.type);
    QVERIFY(reader->open(path));
    while (reader->next()) {
    }
    QCOMPARE(reader->frameCount(), qint64(100));
    QCOMPARE(reader->report().faultyLines, qint64(0));
}

void FormatsTest::foldersOfSamplesBelongToAFormat()
{
    QSet<QString> known{QStringLiteral("archive"), QStringLiteral("chunk"), QStringLiteral("finds"),
                        QStringLiteral("outputs")};
    for (const LogFormat &format : logFormats())
        known.insert(format.samples);
    for (const QString &name : QDir(sources + QLatin1String("tests/data")).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        QVERIFY2(known.contains(name), qPrintable(name));
}

QTEST_GUILESS_MAIN(FormatsTest)
#include "tst_formats.moc"
