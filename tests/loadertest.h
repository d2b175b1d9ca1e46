// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "canloghandler/canloghandler.h"
#include "common/datachunkhelper.h"
#include "encodings.h"
#include "frames.h"
#include "recordingstore.h"

#include <QFile>
#include <QMap>
#include <QRandomGenerator>
#include <QTemporaryFile>
#include <QTextStream>
#include <QtTest>

#include <functional>
#include <limits>
#include <utility>

/**
 * What the tests of the line formats share: a plain reading of each format to compare with, the rows that hold for
 * every format, and the checks on them.
 */

/// A text in UTF-8 as QString, to be joined with others.
inline QString operator""_s(const char *text, std::size_t size)
{
    return QString::fromUtf8(text, static_cast<int>(size));
}

using Notes = QMap<unsigned int, QString>;
Q_DECLARE_METATYPE(Notes)

/**
 * What an import must do to its store, as the plain rules of a format find out: with Qt's own operations, line by line
 * and with no thought of speed.
 */
class PlainImport
{
public:
    bool succeeded = true;
    Frames messages;
    QStringList lines; ///< where each message comes from
    Notes notes;
    QStringList calls;

    /// The number of messages so far, which is the number of the next one.
    quint32 nextIndex() const { return static_cast<quint32>(messages.size()); }
    void add(const CAN::CanRxMessage &message, const QString &line, const QString &note = {})
    {
        messages.append(message);
        lines.append(line);
        ++pending;
        if (!note.isEmpty()) {
            notes.insert(message.messageIndex, note);
            ++pendingNotes;
        }
        if (pending > 99999)
            deliver();
    }
    void deliver()
    {
        calls.append(Expected::delivered(pending, pendingNotes));
        pending = 0;
        pendingNotes = 0;
    }
    /// The import fails: what was not delivered is lost.
    void fail()
    {
        succeeded = false;
        messages = messages.mid(0, messages.size() - pending);
        lines = lines.mid(0, messages.size());
    }

private:
    int pending = 0;
    int pendingNotes = 0;
};

/// The rules of one format: reads a file to its end.
using PlainRules = void (*)(QTextStream &stream, PlainImport &import);

/// The pieces of the plain rules that several formats share.
namespace Plain
{

inline QStringList tokens(const QString &line)
{
    return line.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

inline quint32 number(const QString &text, int base)
{
    return text.toUInt(nullptr, base);
}

inline bool isNumber(const QString &text, int base)
{
    bool ok = false;
    text.toUInt(&ok, base);
    return ok;
}

/// Low 8 bits.
inline quint8 byte(const QString &text, int base)
{
    return static_cast<quint8>(number(text, base));
}

inline void storeByte(CAN::CanRxMessage &message, int position, const QString &text, int base)
{
    if (position < int(sizeof message.data))
        message.data[position] = byte(text, base);
}

inline CanTimeStamp time(const QString &text)
{
    const QStringList pieces = text.split(QLatin1Char('.'));
    return CanTimeStamp(pieces.first().toInt(nullptr, 0),
                        pieces.last().leftJustified(6, QLatin1Char('0')).toInt(nullptr, 10));
}

/// Identifier of an ASC log: an "x" at its end marks 29 bits.
inline void readAscIdentifier(QString token, CAN::CanRxMessage &message)
{
    if (token.endsWith(QLatin1Char('x'))) {
        message.isExtended = true;
        token.remove(QLatin1Char('x'));
    }
    message.id = number(token, 16);
}

/// Bytes of a classic line of an ASC log: all tokens after the length but the last of the line.
inline void readAscBytes(const QStringList &tokens, int lengthToken, CAN::CanRxMessage &message)
{
    for (int i = lengthToken + 1; i < tokens.size() - 1; ++i)
        storeByte(message, i - lengthToken - 1, tokens.at(i), 16);
}

} // namespace Plain

/// Makers of file contents.
namespace Content
{

/// The token @p count times, each with a blank before it.
inline QString repeated(int count, const QString &token)
{
    return QString(QLatin1Char(' ') + token).repeated(count);
}

/// The bytes 1, 2, 3 ...
inline QByteArray countedBytes(int count)
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes.append(static_cast<char>(i + 1));
    return bytes;
}

/// @p bytes as two digits each, with blanks between them.
inline QString digits(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

/// The text in a Unicode encoding such as "UTF-16LE", with the byte-order mark that says which it is.
inline QByteArray encoded(const QString &text, const QByteArray &encoding)
{
    const QString marked = QChar(QChar::ByteOrderMark) + text;
    if (encoding == "UTF-8")
        return marked.toUtf8();
    const bool littleEndian = encoding.endsWith("LE");
    QByteArray result;
    const auto append = [&](quint32 unit, int width) {
        for (int i = 0; i < width; ++i)
            result.append(static_cast<char>(unit >> 8 * (littleEndian ? i : width - 1 - i)));
    };
    if (encoding.startsWith("UTF-32")) {
        const QVector<uint> characters = marked.toUcs4();
        for (const uint character : characters)
            append(character, 4);
    } else {
        for (const QChar unit : marked)
            append(unit.unicode(), 2);
    }
    return result;
}

/// White space of all kinds but the blank, each with its name.
inline QList<std::pair<const char *, QString>> spaces()
{
    return {
        {"tab", "\t"_s},
        {"vertical tab", "\v"_s},
        {"form feed", "\f"_s},
        {"carriage return", "\r"_s},
        {"next line U+0085", "\u0085"_s},
        {"no-break space U+00A0", "\u00a0"_s},
        {"em space U+2003", "\u2003"_s},
        {"line separator U+2028", "\u2028"_s},
        {"ideographic space U+3000", "\u3000"_s},
        {"many of many kinds", " \t\u00a0 \u2003\u3000\u0085\r\v "_s},
    };
}

/// One token each that is a number, or nearly.
inline QStringList oddNumbers()
{
    QStringList list;
    for (const char *text : {"0",
                             "00",
                             "1",
                             "7",
                             "8",
                             "9",
                             "08",
                             "010",
                             "017",
                             "10",
                             "0x",
                             "0x1",
                             "0X1f",
                             "0xg",
                             "x1",
                             "1x",
                             "a",
                             "F",
                             "fF",
                             "g",
                             "+",
                             "+1",
                             "--1",
                             "1e3",
                             "1;2",
                             "0b1",
                             "63",
                             "64",
                             "65",
                             "255",
                             "256",
                             "258",
                             "65535",
                             "65536",
                             "65539",
                             "7FF",
                             "800",
                             "1FFFFFFF",
                             "2147483647",
                             "7FFFFFFF",
                             "4294967296",
                             "100000000",
                             "18446744073709551618",
                             "10000000000000001",
                             "99999999999999999999999999",
                             "00000000000000000000000001",
                             "\u0661\u0662",
                             "\uff11",
                             "1\u0662",
                             "\u22121",
                             "\ufeff"
                             "1",
                             "1\u200b",
                             "\u20ac",
                             "\U0001d7d9"})
        list.append(QString::fromUtf8(text));
    list.append("1"_s + QChar(0));
    return list;
}

/// Numbers with a sign and numbers of 32 bits: what they are depends on whether a column has a sign.
inline QStringList signedNumbers()
{
    return {"-1"_s, "-0"_s, "-"_s, "4294967295"_s, "FFFFFFFF"_s, "80000001"_s, "2147483649"_s};
}

} // namespace Content

/// Random lines that look like lines of a format.
class RandomLines
{
public:
    /// @p goodLines are lines as they should be, with @p tokenSeparator between their tokens; @p anyTokens whatever may
    /// stand in one.
    RandomLines(quint32 seed, const QStringList &goodLines, const QStringList &anyTokens, QChar tokenSeparator)
        : random(seed)
        , good(goodLines)
        , tokens(anyTokens)
        , separator(tokenSeparator)
    {
    }

    /// True in one of @p n cases.
    bool once(int n) { return random.bounded(n) == 0; }
    int below(int n) { return random.bounded(n); }
    QString anyOf(const QStringList &list) { return list.at(random.bounded(list.size())); }

    /// A good line, one with something wrong, or just some tokens.
    QString line()
    {
        QString result = anyLine();
        while (isReadOtherwiseByQt(result))
            result = anyLine();
        return result;
    }
    QString end() { return anyOf({"\n"_s, "\n"_s, "\n"_s, "\r\n"_s, "\r\r\n"_s, "\n\n"_s}); }
    QString blanks() { return anyOf({" "_s, " "_s, " "_s, "  "_s, "\t"_s, "\u00a0"_s, "\r"_s, " \u2003"_s}); }

private:
    QString anyLine()
    {
        switch (random.bounded(5)) {
        case 0:
            return anyOf(good);
        case 1:
            return withOtherCharacter();
        case 2:
        case 3:
            return withOtherTokens();
        default:
            return tokensInARow();
        }
    }
    QString withOtherCharacter()
    {
        QString text = anyOf(good);
        text.replace(random.bounded(text.size()), 1, once(2) ? anyOf(tokens) : blanks());
        return text;
    }
    QString withOtherTokens()
    {
        QStringList parts = anyOf(good).split(separator);
        for (int changes = 1 + random.bounded(2); changes > 0 && !parts.isEmpty(); --changes) {
            const int position = random.bounded(parts.size());
            switch (random.bounded(4)) {
            case 0:
                parts.removeAt(position);
                break;
            case 1:
                parts.insert(position, anyOf(tokens));
                break;
            default:
                parts[position] = anyOf(tokens);
            }
        }
        return parts.join(separator);
    }
    QString tokensInARow()
    {
        QString text = once(2) ? QString() : blanks();
        for (int count = random.bounded(14); count > 0; --count)
            text += anyOf(tokens) + (once(2) ? QString(separator) : blanks());
        return text;
    }

    QRandomGenerator random;
    QStringList good;
    QStringList tokens;
    QChar separator;
};

/**
 * Base of the tests of the line formats.
 *
 * Every check runs the plain rules too and compares them with the row first: so each row stands for both, and the plain
 * rules may then be trusted with texts for which nobody wrote an expectation.
 */
class LoaderTest : public QObject
{
protected:
    /// Two frame lines and what becomes of them, for the checks that hold for every format.
    struct Sample {
        QString header; ///< lines before the first frame line, each with its "\n"; may be empty
        QString first;
        QString second;
        Frames expected;
    };

    LoaderTest(Loader formatLoader, DatachunkHelper::ImportFileType formatType, PlainRules plainRules,
               const Sample &formatSample)
        : loader(formatLoader)
        , type(formatType)
        , rules(plainRules)
        , sample(formatSample)
    {
        // Texts without byte-order mark are read in the system's encoding, which must not depend on who runs the tests.
        LocaleEncoding::set("UTF-8");
    }

    PlainImport plainImport(const QString &path) const
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            qFatal("cannot read the sample");
        QTextStream stream(&file);
        PlainImport import;
        rules(stream, import);
        return import;
    }

    /// Empty when the loader makes of the file what the plain rules do, else the first difference.
    QString differenceFromPlainRules(const QByteArray &content) const
    {
        const QString path = scratchFile(content);
        return difference(LoaderRun(loader, path), plainImport(path));
    }

    /// One file of which the messages are known.
    void check(const QString &path, const Frames &expected) const
    {
        const PlainImport plain = plainImport(path);
        QCOMPARE(plain.messages, expected);
        const LoaderRun run(loader, path);
        QVERIFY(run.succeeded());
        QCOMPARE(run.messages(), expected);
        QCOMPARE(run.store.notes(), plain.notes);
        QCOMPARE(run.store.calls(), plain.calls);
    }
    void check(const QString &path, const Frames &expected, const Notes &notes) const
    {
        QCOMPARE(plainImport(path).notes, notes);
        check(path, expected);
    }
    void check(const QByteArray &content, const Frames &expected) const { check(scratchFile(content), expected); }
    /// Lines after the header of the sample.
    void checkLines(const QString &lines, const Frames &expected) const
    {
        check((sample.header + lines).toUtf8(), expected);
    }

    static void addLineColumns()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<Frames>("expected");
    }
    /// Lines after the header of the sample.
    void compareLines() const
    {
        QFETCH(QString, text);
        QFETCH(Frames, expected);
        checkLines(text, expected);
    }
    /// Whole files.
    void compareTexts() const
    {
        QFETCH(QString, text);
        QFETCH(Frames, expected);
        check(text.toUtf8(), expected);
    }
    /// Whole files with notes.
    void compareNotes() const
    {
        QFETCH(QString, text);
        QFETCH(Frames, expected);
        QFETCH(Notes, notes);
        check(scratchFile(text.toUtf8()), expected, notes);
    }
    static void addNoteColumns()
    {
        addLineColumns();
        QTest::addColumn<Notes>("notes");
    }

    static void addFileColumns()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<Frames>("expected");
    }
    void compareFiles() const
    {
        QFETCH(QByteArray, content);
        QFETCH(Frames, expected);
        check(content, expected);
    }

    static void addCallColumns()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("calls");
    }
    /// All that a store hears of a whole file.
    void compareCalls(bool succeeds = true) const
    {
        QFETCH(QString, text);
        QFETCH(QStringList, calls);

        const QString path = scratchFile(text.toUtf8());
        const PlainImport plain = plainImport(path);
        QCOMPARE(plain.succeeded, succeeds);
        QCOMPARE(plain.calls, calls);
        const LoaderRun run(loader, path);
        QCOMPARE(run.succeeded(), succeeds);
        QCOMPARE(run.store.calls(), calls);
    }

    void addLineEnds() const
    {
        addFileColumns();
        const auto content = [this](const char *end) { return sampleText(QLatin1String(end)).toUtf8(); };
        const auto row = [this](const char *name, const QByteArray &text) {
            QTest::newRow(name) << text << sample.expected;
        };
        row("LF", content("\n"));
        row("LF, none at the end", content("\n").chopped(1));
        row("LF, CR at the end", content("\n").chopped(1) + '\r');
        row("CR LF", content("\r\n"));
        row("CR LF, none at the end", content("\r\n").chopped(2));
        row("CR LF, only CR at the end", content("\r\n").chopped(1));
        row("CR CR LF", content("\r\r\n"));
        row("LF CR", content("\n\r"));
        row("empty lines", "\n\n" + content("\n\n"));
        row("empty lines of CR LF", "\r\n\r\n" + content("\r\n\r\n"));
        row("several CR at the end", content("\n").chopped(1) + "\r\r\r");
        row("lines of blanks", "  \n" + content("\n   \n"));
    }

    void addByteOrderMarks() const
    {
        addFileColumns();
        for (const char *encoding : {"UTF-8", "UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"}) {
            for (const auto &[name, end] : {std::make_pair("LF", "\n"), std::make_pair("CR LF", "\r\n")})
                QTest::addRow("%s, %s", encoding, name)
                    << Content::encoded(sampleText(QLatin1String(end)), encoding) << sample.expected;
            QTest::addRow("%s, no end of the last line", encoding)
                << Content::encoded(sampleText("\n"_s).chopped(1), encoding) << sample.expected;
            QTest::addRow("%s, the mark alone", encoding) << Content::encoded(QString(), encoding) << Frames();
        }
    }

    /// For formats whose lines are simplified: any white space is a blank.
    void addWhiteSpace() const
    {
        addLineColumns();
        for (const auto &[name, space] : Content::spaces()) {
            QString lines = sample.first + QLatin1Char('\n') + sample.second;
            lines.replace(QLatin1Char(' '), space).replace(QLatin1Char('\n'), space + QLatin1Char('\n') + space);
            QTest::addRow("%s", name) << space + lines + space + QLatin1Char('\n') << sample.expected;
        }
    }

    void addLongLines() const
    {
        addLineColumns();
        constexpr int million = 1 << 20;
        const QString blanks(million, QLatin1Char(' '));
        const QString both = sample.first + QLatin1Char('\n') + sample.second + QLatin1Char('\n');
        QString spread = both;
        spread.insert(spread.indexOf(QLatin1Char(' ')), blanks);
        QTest::newRow("blanks before a line") << blanks + both << sample.expected;
        QTest::newRow("blanks within a line") << spread << sample.expected;
        QTest::newRow("blanks after a line") << both.chopped(1) + blanks << sample.expected;
        QTest::newRow("one token") << QString(million, QLatin1Char('x')) + QLatin1Char('\n') + both << sample.expected;
    }

    void checkOddBytes() const
    {
        const QByteArray text = sampleText("\n"_s).toUtf8();
        for (const char *encoding : {"UTF-8", "ISO 8859-1"}) {
            const LocaleEncoding local(encoding);
            QString result;
            for (const QByteArray &odd :
                 {QByteArray(1, '\0'), QByteArray("\xa0"), QByteArray("\x80"), QByteArray("\xff"),
                  QByteArray("\xfe\xff"), QByteArray("\xc3"), QByteArray("\xc2\xa0"), QByteArray("\xed\xa0\x80"),
                  QByteArray("\xe2\x80\xa8")}) {
                for (int position = 0; position < text.size() && result.isEmpty(); ++position) {
                    const int taken = position % 2;
                    QByteArray content = text;
                    content.replace(position, taken, odd);
                    if (!isReadOtherwiseByQt(QString::fromUtf8(content)))
                        result = differenceFromPlainRules(content);
                }
            }
            QVERIFY2(result.isEmpty(), qPrintable(result));
        }
    }

    static void addUnreadablePaths()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("missing") << CANLOG_TEST_DATA "/no-such-file.log";
        QTest::newRow("missing folder") << CANLOG_TEST_DATA "/no-such-folder/file.log";
        QTest::newRow("folder") << CANLOG_TEST_DATA;
        QTest::newRow("empty path") << "";
    }
    void checkUnreadablePath() const
    {
        QFETCH(QString, path);
        const LoaderRun run(loader, path);
        QVERIFY(!run.succeeded());
        QCOMPARE(run.store.calls(), QStringList());
    }

    /// A request for the type of the format, and a second one: nothing of the first import is left.
    void checkRequests() const
    {
        const SampleFile file(sampleText("\n"_s).toUtf8());
        const PlainImport plain = plainImport(file.path());
        QCOMPARE(plain.messages, sample.expected);

        RecordingStore store;
        QPointer<DatachunkHandler> current(&store);
        CANLogHandler handler(current);
        store.addLoadingSignalsOf(&handler);
        const QStringList calls = QStringList{Expected::started(), Expected::loading(true)} + plain.calls
                                  + QStringList{Expected::loading(false), Expected::finished(true, type, file.path())};
        for (int i = 0; i < 2; ++i) {
            store.clear();
            QVERIFY(handler.loadFile(file.path(), type, QString(), false));
            QCOMPARE(store.calls(), calls);
            QCOMPARE(store.messages(), sample.expected);
        }
    }

    static void addBatchSizes()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<QVector<int>>("sizes");
        QTest::newRow("99999") << 99999 << QVector<int>{99999};
        QTest::newRow("100000") << 100000 << QVector<int>{100000, 0};
        QTest::newRow("100001") << 100001 << QVector<int>{100000, 1};
        QTest::newRow("250000") << 250000 << QVector<int>{100000, 100000, 50000};
    }

    /// A log of any length: what the file holds for a number, the message that comes of it, and its note, if any.
    struct LongLog {
        std::function<QString(int)> lines;
        std::function<CAN::CanRxMessage(int)> message;
        std::function<QString(int)> note = [](int) { return QString(); };
    };

    void compareBatches(const LongLog &log, const QStringList &callsAfterwards = {})
    {
        QFETCH(int, count);
        QFETCH(QVector<int>, sizes);

        const SampleFile file(contentOf(log, count));
        RecordingStore store;
        QPointer<DatachunkHandler> current(&store);
        CANLogHandler handler(current);
        // Nothing keeps the delivered messages, so that the loader may fill their places again.
        store.keepMessages = false;
        int delivered = 0;
        QStringList wrong;
        store.onCall = [&](const Call &call) {
            for (const CAN::CanRxMessage &message : call.messages) {
                if (message != log.message(delivered))
                    wrong.append(describe(message));
                const QString note = call.notes.value(message.messageIndex);
                if (note != log.note(delivered))
                    wrong.append(note);
                ++delivered;
            }
        };
        QVERIFY((handler.*loader)(file.path()));
        QCOMPARE(wrong.mid(0, 3), QStringList());
        QCOMPARE(delivered, count);
        QCOMPARE(store.calls(), callsFor(log, sizes) + callsAfterwards);
    }

    /// Files of lines that @p makeFile makes up.
    void compareRandomFiles(int files, const std::function<QString()> &makeFile) const
    {
        int messages = 0;
        for (int i = 0; i < files; ++i) {
            const QString path = scratchFile(makeFile().toUtf8());
            const PlainImport plain = plainImport(path);
            const QString result = difference(LoaderRun(loader, path), plain);
            QVERIFY2(result.isEmpty(), qPrintable(result));
            messages += plain.messages.size();
        }
        QVERIFY(messages > files);
    }

    /// A sample file of the format; the row is named for it.
    static QString samplePath(const char *folder)
    {
        return QStringLiteral(CANLOG_TEST_DATA "/%1/%2")
            .arg(QLatin1String(folder), QLatin1String(QTest::currentDataTag()));
    }

    const Loader loader;
    const DatachunkHelper::ImportFileType type;
    const PlainRules rules;
    const Sample sample;

private:
    /// A file with that content, until the next call. One file serves all: making thousands takes longer than all
    /// tests.
    QString scratchFile(const QByteArray &content) const
    {
        if ((!scratch.isOpen() && !scratch.open()) || !scratch.seek(0) || scratch.write(content) != content.size()
            || !scratch.flush() || !scratch.resize(content.size()))
            qFatal("cannot write %s", qUtf8Printable(scratch.fileName()));
        return scratch.fileName();
    }
    QString sampleText(const QString &end) const
    {
        QString text = sample.header + sample.first + QLatin1Char('\n') + sample.second + QLatin1Char('\n');
        return text.replace(QLatin1Char('\n'), end);
    }
    /// Each test has one long log: what is made of it serves again.
    QByteArray contentOf(const LongLog &log, int count)
    {
        while (longLogEnds.size() < count) {
            longLogContent += log.lines(longLogEnds.size()).toUtf8();
            longLogEnds.append(longLogContent.size());
        }
        return longLogContent.left(longLogEnds.at(count - 1));
    }
    static QStringList callsFor(const LongLog &log, const QVector<int> &sizes)
    {
        QStringList calls;
        int number = 0;
        for (const int size : sizes) {
            int notes = 0;
            for (const int end = number + size; number < end; ++number)
                notes += log.note(number).isEmpty() ? 0 : 1;
            calls.append(Expected::delivered(size, notes));
        }
        return calls;
    }
    static QString difference(const LoaderRun &run, const PlainImport &plain)
    {
        const Frames actual = run.messages();
        for (int i = 0; i < actual.size() && i < plain.messages.size(); ++i) {
            if (actual.at(i) != plain.messages.at(i))
                return "line: %1\n      actual:   %2\n      expected: %3"_s.arg(
                    plain.lines.at(i).left(300), describe(actual.at(i)), describe(plain.messages.at(i)));
        }
        if (actual.size() != plain.messages.size())
            return "%1 messages, expected %2 of the lines\n      %3"_s.arg(actual.size())
                .arg(plain.messages.size())
                .arg(plain.lines.mid(0, 40).join(QLatin1String("\n      ")));
        if (run.succeeded() != plain.succeeded)
            return "the loader returned %1"_s.arg(Expected::boolean(run.succeeded()));
        if (run.store.notes() != plain.notes)
            return "notes: %1\n      expected: %2"_s.arg(QStringList(run.store.notes().values()).join(QLatin1Char('|')),
                                                         QStringList(plain.notes.values()).join(QLatin1Char('|')));
        if (run.store.calls() != plain.calls)
            return "calls: %1\n      expected: %2"_s.arg(run.store.calls().join(QLatin1String(", ")),
                                                         plain.calls.join(QLatin1String(", ")));
        return QString();
    }

    mutable QTemporaryFile scratch;
    QByteArray longLogContent;
    QVector<int> longLogEnds; ///< in the content, after the lines of each message
};

/// Texts of times with what they are; those with that many points only.
inline void addTimes(int fewestPoints, int mostPoints)
{
    QTest::addColumn<QString>("token");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("microseconds");

    const auto row = [&](const char *name, const char *token, int seconds, int microseconds) {
        const QString text = QString::fromUtf8(token);
        const int points = text.count(QLatin1Char('.'));
        if (points >= fewestPoints && points <= mostPoints)
            QTest::newRow(name) << text << seconds << microseconds;
    };
    row("six digits", "1345212884.318850", 1345212884, 318850);
    row("one digit", "12.5", 12, 500000);
    row("two digits", "5.25", 5, 250000);
    row("leading zeros of the fraction are decimal", "12.000123", 12, 123);
    row("seven digits are not cut", "1.1234567", 1, 1234567);
    row("nine digits are not cut", "1.123456789", 1, 123456789);
    row("zero", "0.000000", 0, 0);
    row("no point", "7", 7, 700000);
    row("no point, six digits", "123456", 123456, 123456);
    row("no point, octal", "010", 8, 10000);
    row("two points", "1.2.3", 1, 300000);
    row("many points", "1.x.y.z.25", 1, 250000);
    row("no whole part", ".5", 0, 500000);
    row("no fraction", "5.", 5, 0);
    row("point alone", ".", 0, 0);
    row("points alone", "...", 0, 0);
    row("octal", "010.5", 8, 500000);
    row("no octal digit", "08.5", 0, 500000);
    row("hexadecimal", "0x10.5", 16, 500000);
    row("hexadecimal, upper case", "0X1F.5", 31, 500000);
    row("hexadecimal digits without prefix", "1F.5", 0, 500000);
    row("negative", "-5.5", -5, 500000);
    row("negative fraction", "1.-5", 1, -50000);
    row("two signs", "--5.5", 0, 500000);
    row("plus", "+5.5", "+5"_s.toInt(nullptr, 0), 500000);
    row("plus in the fraction", "1.+5", 1, "+50000"_s.toInt(nullptr, 10));
    row("fraction with letters", "1.5s", 1, 0);
    row("hexadecimal fraction", "1.0x1", 1, 0);
    row("text", "abc.def", 0, 0);
    row("largest seconds", "2147483647.5", 2147483647, 500000);
    row("seconds of more than 31 bits", "2147483648.5", 0, 500000);
    row("seconds of more than 64 bits", "18446744073709551617.5", 0, 500000);
    row("hexadecimal seconds of 32 bits", "0xFFFFFFFF.5", 0, 500000);
    row("smallest seconds", "-2147483648.5", std::numeric_limits<int>::min(), 500000);
    row("largest fraction", "1.2147483647", 1, 2147483647);
    row("fraction of more than 31 bits", "1.2147483648", 1, 0);
    row("fraction of more than 64 bits", "1.99999999999999999999", 1, 0);
    row("digits of another script", "\u0661.\u0665", "\u0661"_s.toInt(nullptr, 0), "\u066500000"_s.toInt(nullptr, 10));
    row("full-width digits", "\uff11.\uff15", "\uff11"_s.toInt(nullptr, 0), "\uff1500000"_s.toInt(nullptr, 10));
}
