// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "canloghandler/canloghandler.h"
#include "common/datachunkhelper.h"
#include "encodings.h"
#include "frames.h"
#include "recordingstore.h"

#include <QByteArray>
#include <QMap>
#include <QPointer>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QScopedPointer>
#include <QString>
#include <QStringList>
#include <QTemporaryFile>
#include <QTranslator>
#include <QVector>
#include <QtTest>

/*
 * What the tests of the importer classes share beside frames.h and recordingstore.h.
 */

/// Texts by the number of the message that they belong to.
using Notes = QMap<unsigned int, QString>;

inline Notes note(unsigned int key, const char *text)
{
    return Notes{{key, QString::fromUtf8(text)}};
}

/// Found by QCOMPARE.
inline char *toString(const Notes &notes)
{
    QStringList lines{QStringLiteral("%1 notes").arg(notes.size())};
    for (auto note = notes.cbegin(); note != notes.cend(); ++note)
        lines.append(QStringLiteral("#%1 \"%2\"").arg(QString::number(note.key()), note.value()));
    return qstrdup(lines.join(QLatin1String("\n      ")).toUtf8().constData());
}

/// What one run of an importer class gave.
struct Imported {
    bool succeeded = true;
    Frames messages;
    Notes notes;
    QString errorText = QStringLiteral("No error.");

    bool operator==(const Imported &other) const
    {
        return succeeded == other.succeeded && messages == other.messages && notes == other.notes
               && errorText == other.errorText;
    }
};

/// Found by QCOMPARE.
inline char *toString(const Imported &imported)
{
    const QScopedArrayPointer<char> messages(toString(imported.messages));
    const QScopedArrayPointer<char> notes(toString(imported.notes));
    return qstrdup(QStringLiteral("%1, \"%2\"\n      %3\n      %4")
                       .arg(imported.succeeded ? QStringLiteral("succeeded") : QStringLiteral("failed"),
                            imported.errorText, QString::fromUtf8(messages.data()), QString::fromUtf8(notes.data()))
                       .toUtf8()
                       .constData());
}

/// Empty when both are equal, else where they first differ.
inline QString differenceOf(const Imported &actual, const Imported &expected)
{
    if (actual == expected)
        return QString();
    const QString both = QStringLiteral("actual:   %1\n      expected: %2");
    for (int i = 0; i < qMin(actual.messages.size(), expected.messages.size()); ++i) {
        if (actual.messages.at(i) != expected.messages.at(i))
            return both.arg(describe(actual.messages.at(i)), describe(expected.messages.at(i)));
    }
    const QScopedArrayPointer<char> actualText(toString(actual));
    const QScopedArrayPointer<char> expectedText(toString(expected));
    return both.arg(QString::fromUtf8(actualText.data()), QString::fromUtf8(expectedText.data()));
}

/// Texts that the importer classes keep.
namespace ErrorText
{
inline QString none()
{
    return QStringLiteral("No error.");
}
/// Put together without place markers, since a path may look like one.
inline QString atLine(int line, const QString &path)
{
    return QLatin1String("Import error occured at line ") + QString::number(line) + QLatin1String(" of file ") + path
           + QLatin1Char('.');
}
inline QString noColumns()
{
    return QStringLiteral("Import error occured. No valid column description found.");
}
} // namespace ErrorText

/// Answers for every text that goes through tr() with its context and itself, as long as it lives.
class MarkingTranslator : public QTranslator
{
public:
    MarkingTranslator() { QCoreApplication::installTranslator(this); }
    ~MarkingTranslator() override { QCoreApplication::removeTranslator(this); }

    QString translate(const char *context, const char *text, const char *, int) const override
    {
        return QStringLiteral("<%1> %2").arg(QLatin1String(context), QLatin1String(text));
    }
    bool isEmpty() const override { return false; }
};

/// The bytes 1, 2, 3 ... as hexadecimal tokens, each with a blank before it.
inline QString countedTokens(int count)
{
    QString result;
    for (int i = 1; i <= count; ++i)
        result += QStringLiteral(" %1").arg(i & 0xFF, 2, 16, QLatin1Char('0'));
    return result;
}

/// The bytes that countedTokens() stands for.
inline QByteArray countedBytes(int count)
{
    QByteArray bytes;
    for (int i = 1; i <= count; ++i)
        bytes.append(static_cast<char>(i));
    return bytes;
}

/// Names of files that a careless text with place markers would spoil.
inline void addFileNameRows()
{
    QTest::addColumn<QString>("name");
    for (const char *name : {"%1.log", "%2.log", "%1%2%3.log", "%L1.log", "a b  c.log", "\u00e4\u20ac.log", "%%.log"})
        QTest::newRow(name) << QString::fromUtf8(name);
}

/// @p text as it stands in a file of that encoding, which begins with a byte-order mark.
inline QByteArray markedText(const QString &text, const QByteArray &encoding)
{
    const QString marked = QChar(QChar::ByteOrderMark) + text;
    if (encoding == "UTF-8")
        return marked.toUtf8();
    const int width = encoding.startsWith("UTF-32") ? 4 : 2;
    const bool littleEndian = encoding.endsWith("LE");
    const QVector<uint> characters = marked.toUcs4();
    QByteArray result;
    const auto append = [&](uint unit) {
        for (int i = 0; i < width; ++i)
            result.append(static_cast<char>(unit >> 8 * (littleEndian ? i : width - 1 - i)));
    };
    for (const uint character : characters) {
        if (width == 2 && QChar::requiresSurrogates(character)) {
            append(QChar::highSurrogate(character));
            append(QChar::lowSurrogate(character));
        } else {
            append(character);
        }
    }
    return result;
}

/// The same text as it may stand in a file: one row per encoding and line end, with the column "content". Line ends in
/// @p text are line feeds.
inline void addEncodingRows(const QString &text)
{
    QTest::addColumn<QByteArray>("content");
    const QString windows = QString(text).replace(QLatin1Char('\n'), QLatin1String("\r\n"));
    QTest::newRow("LF") << text.toUtf8();
    QTest::newRow("CR LF") << windows.toUtf8();
    QTest::newRow("no final newline") << text.toUtf8().chopped(1);
    QTest::newRow("CR at the end of the file") << windows.toUtf8().chopped(1);
    QTest::newRow("several final newlines") << text.toUtf8() + "\n\r\n\n";
    for (const char *name : {"UTF-8", "UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"}) {
        QTest::addRow("%s with byte-order mark, LF", name) << markedText(text, name);
        QTest::addRow("%s with byte-order mark, CR LF", name) << markedText(windows, name);
        QTest::addRow("%s with byte-order mark, no final newline", name) << markedText(text.chopped(1), name);
    }
}

/// One file for many contents, one after the other: a SampleFile for each would cost more than the import of it.
class RewrittenFile
{
public:
    RewrittenFile()
    {
        if (!file.open())
            qFatal("cannot make a sample file");
    }
    void write(const QByteArray &content)
    {
        if (!file.resize(0) || !file.seek(0) || file.write(content) != content.size() || !file.flush())
            qFatal("cannot write %s", qUtf8Printable(path()));
    }
    QString path() const { return file.fileName(); }

private:
    QTemporaryFile file;
};

/// The path of a file with nothing in it.
inline QString emptyFile()
{
    static const SampleFile file{QByteArray()};
    return file.path();
}

/// Lines of format-like pieces, the same for the same seed.
class RandomLines
{
public:
    /// Half of the lines are one of @p goodLines with up to two characters changed, the others are put together from
    /// @p lineTokens and @p lineSeparators, to which some odd ones are added.
    RandomLines(quint32 seed, const QStringList &goodLines, const QStringList &lineTokens,
                const QStringList &lineSeparators)
        : random(seed)
        , good(goodLines)
        , tokens(lineTokens)
        , separators(lineSeparators)
    {
        tokens << QStringLiteral("0") << QStringLiteral("00") << QStringLiteral("11") << QStringLiteral("Ab")
               << QStringLiteral("fFf") << QStringLiteral("8") << QStringLiteral("64") << QStringLiteral("300")
               << QStringLiteral("0x12") << QStringLiteral("010") << QStringLiteral("1234567890")
               << QStringLiteral("12345678901") << QStringLiteral("7FF") << QStringLiteral("800")
               << QStringLiteral("18FF1234") << QStringLiteral("x") << QStringLiteral("%1") << QStringLiteral("2457.5")
               << QStringLiteral("1.2.3") << QStringLiteral(".5") << QStringLiteral("5.") << QStringLiteral("1.23456")
               << QStringLiteral("\u0661\u0662") << QStringLiteral("\u20ac") << QStringLiteral("\U0001F697")
               << QStringLiteral("12") + QChar(0) + QStringLiteral("34") << QString(QChar(0));
        separators << QStringLiteral(" ") << QStringLiteral("   ") << QStringLiteral("\t") << QStringLiteral("\u00a0")
                   << QStringLiteral("\u2003") << QStringLiteral("\r");
    }

    /// What a sign means to an unsigned number is open, so no line has one.
    QString next()
    {
        for (;;) {
            const QString line = anyLine();
            if (!line.contains(signedNumber) && !isReadOtherwiseByQt(line))
                return line;
        }
    }
    QString lineEnd() { return anyOf(ends); }
    int bounded(int limit) { return random.bounded(limit); }
    QString anyOf(const QStringList &list) { return list.at(bounded(list.size())); }

private:
    QString anyLine()
    {
        QString line;
        if (bounded(2) == 0) {
            line = anyOf(good);
            for (int changes = bounded(3); changes > 0; --changes)
                line.replace(bounded(line.size()), 1, anyOf(bounded(2) == 0 ? tokens : separators));
            return line;
        }
        if (bounded(2) == 0)
            line = anyOf(separators);
        for (int count = bounded(13); count > 0; --count)
            line += anyOf(tokens) + anyOf(separators);
        return line;
    }

    QRandomGenerator random;
    QStringList good;
    QStringList tokens;
    QStringList separators;
    const QStringList ends{QStringLiteral("\n"), QStringLiteral("\n"), QStringLiteral("\r\n"),
                           QStringLiteral("\n \t\n")};
    const QRegularExpression signedNumber{QStringLiteral("[-+][0-9A-Fa-f]")};
};

/// One import of any type through the dispatch into a recording store, loading signals between the calls.
class ImportRun
{
public:
    ImportRun(DatachunkHelper::ImportFileType type, const QString &path, const QString &text = QString())
        : result(noteSignals().importFile(path, type, text, false))
    {
    }

    bool succeeded() const { return result; }
    QString errorText() const { return handler.getLastErrorText(); }

    RecordingStore store;

private:
    CANLogHandler &noteSignals()
    {
        store.addLoadingSignalsOf(&handler);
        return handler;
    }

    QPointer<DatachunkHandler> current{&store};
    CANLogHandler handler{current};
    bool result;
};
