// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"
#include "frames.h"
#include "pulledlog.h"

#include <QByteArray>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>
#include <QtTest>

#include <algorithm>
#include <initializer_list>

/**
 * What the tests of the readers of today's logs share: a case is one row, which says what becomes of some lines.
 *
 *     row("remote with length", "(1.600000) slcan0 1C7#R5", frame(0x1C7).at(1, 600000).on("slcan0", 1).remote(5));
 *     row("half a byte", "(1.800000) can0 1C7#0F1", lost("byte"));
 *
 * What a row does not say must not be there: no note, no fault, no direction, no channel.
 */

/// One frame that a log must give, with what the log says beside it.
class LogFrame
{
public:
    /// @p payload is hexadecimal text; its length in bytes is the length of the frame unless something else is said.
    explicit LogFrame(quint32 id, const char *payload = "")
    {
        const QByteArray bytes = QByteArray::fromHex(payload);
        message.id = id;
        message.dlc = static_cast<quint8>(bytes.size());
        std::transform(bytes.cbegin(), bytes.cbegin() + qMin(bytes.size(), int(sizeof message.data)),
                       std::begin(message.data), [](char byte) { return static_cast<quint8>(byte); });
    }

    LogFrame &at(qint32 seconds, qint32 microseconds)
    {
        message.timeStamp = CanTimeStamp(seconds, microseconds);
        return *this;
    }
    LogFrame &extended()
    {
        message.isExtended = true;
        return *this;
    }
    /// A remote frame that asks for @p length bytes and has none.
    LogFrame &remote(quint8 length = 0)
    {
        message.isRemote = true;
        message.dlc = length;
        return *this;
    }
    LogFrame &fd()
    {
        message.isFd = true;
        return *this;
    }
    LogFrame &brs()
    {
        message.isBrs = true;
        return *this;
    }
    LogFrame &esi()
    {
        message.isEsi = true;
        return *this;
    }
    /// The log says that the frame was received.
    LogFrame &rx()
    {
        directionIsTold = true;
        return *this;
    }
    /// The log says that the frame was sent.
    LogFrame &tx()
    {
        directionIsTold = true;
        message.isTx = true;
        return *this;
    }
    LogFrame &channel(quint16 number)
    {
        channelIsTold = true;
        message.channel = number;
        return *this;
    }
    /// On the bus of that name, which has that number.
    LogFrame &on(const char *name, quint16 number)
    {
        channelName = QString::fromUtf8(name);
        return channel(number);
    }
    /// The log does not say whether the CAN FD frame has BRS, ESI.
    LogFrame &brsUntold()
    {
        brsIsTold = false;
        return *this;
    }
    LogFrame &esiUntold()
    {
        esiIsTold = false;
        return *this;
    }
    /// The length that the log states, where it holds fewer bytes.
    LogFrame &length(quint8 bytes)
    {
        message.dlc = bytes;
        return *this;
    }
    /// The note of the frame matches @p pattern, upper or lower case; several calls ask for all of them. An empty one
    /// matches whatever the note says, and no note.
    LogFrame &note(const char *pattern)
    {
        notes.append(QString::fromUtf8(pattern));
        return *this;
    }

    CAN::CanRxMessage message;
    bool directionIsTold = false;
    bool channelIsTold = false;
    bool brsIsTold = true; ///< of a CAN FD frame: others have neither
    bool esiIsTold = true;
    QString channelName;
    QStringList notes;
};

inline LogFrame frame(quint32 id, const char *payload = "")
{
    return LogFrame(id, payload);
}

inline LogFrame errorFrame(const char *payload = "")
{
    return LogFrame(CAN::errorFrameId, payload);
}

/**
 * What must become of the lines of a case: its frames, and the lines that the report blames. Lines count from 1 behind
 * the header of the case.
 */
class Outcome
{
public:
    Outcome() = default;
    Outcome(const LogFrame &only)
        : frames{only}
    {
    }
    Outcome(std::initializer_list<LogFrame> list)
        : frames(list)
    {
    }

    /// These lines should be frames and gave none.
    Outcome &losing(std::initializer_list<int> lines)
    {
        lostLines = QSet<int>(lines);
        return *this;
    }
    /// These lines gave their frame in part.
    Outcome &cutting(std::initializer_list<int> lines)
    {
        cutLines = QSet<int>(lines);
        return *this;
    }
    /// The reason of each fault matches @p pattern, upper or lower case.
    Outcome &since(const char *pattern)
    {
        reason = QString::fromUtf8(pattern);
        return *this;
    }
    /// The line is blamed, but it may have given its frame or not: nothing says which is better.
    Outcome &blamed()
    {
        onlyBlamed = true;
        return *this;
    }
    /// Whether a line is blamed is free.
    Outcome &blamedOrNot()
    {
        blameIsFree = true;
        return *this;
    }

    QVector<LogFrame> frames;
    QSet<int> lostLines;
    QSet<int> cutLines;
    QString reason;
    bool onlyBlamed = false;
    bool blameIsFree = false;
};

/// The line is no frame, and nothing is wrong with it.
inline Outcome notAFrame()
{
    return Outcome();
}

/// The one line of the case should be a frame and gives none; the reason matches @p pattern when there is one.
inline Outcome lost(const char *pattern = "")
{
    return Outcome().losing({1}).since(pattern);
}

/// The one line of the case is blamed, with a frame or without.
inline Outcome blamed()
{
    return Outcome().blamed();
}

/// The one line of the case gives no frame; nothing says whether it is one that is not read.
inline Outcome noFrame()
{
    return Outcome().blamedOrNot();
}

Q_DECLARE_METATYPE(Outcome)

inline void addLogColumns()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<Outcome>("outcome");
}

/// A case whose lines stand behind @p header, which ends with a line feed unless it is empty.
inline void row(const char *name, const QByteArray &header, const QByteArray &lines, const Outcome &outcome)
{
    QTest::newRow(name) << header << lines << outcome;
}

inline void row(const char *name, const QByteArray &lines, const Outcome &outcome)
{
    row(name, QByteArray(), lines, outcome);
}

namespace LogRows
{

inline bool matches(const QString &text, const QString &pattern)
{
    return QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption).match(text).hasMatch();
}

/// All that a frame is and tells, in one line.
inline QString describe(const CAN::CanRxMessage &message, const ToldFields &told)
{
    QStringList names;
    if (told.channel)
        names.append(QStringLiteral("channel"));
    if (told.direction)
        names.append(QStringLiteral("direction"));
    const bool hasFlags = message.isFd && message.id != CAN::errorFrameId;
    if (hasFlags && told.bitRateSwitch)
        names.append(QStringLiteral("BRS"));
    if (hasFlags && told.errorStateFlag)
        names.append(QStringLiteral("ESI"));
    return ::describe(message) + QLatin1String(", told: ") + names.join(QLatin1Char(' '));
}

inline QString differenceOf(const Pulled &pulled, int index, const LogFrame &expected, const LogInfo &info)
{
    CAN::CanRxMessage message = expected.message;
    message.messageIndex = static_cast<quint32>(index);
    const ToldFields told{expected.channelIsTold, expected.directionIsTold, expected.brsIsTold, expected.esiIsTold};
    const QString actual = describe(pulled.frame, pulled.told);
    if (actual != describe(message, told))
        return QStringLiteral("it is       %1\n      expected %2").arg(actual, describe(message, told));
    if (!expected.channelName.isNull() && info.channelNames.value(message.channel) != expected.channelName)
        return QStringLiteral("channel %1 is called \"%2\", not \"%3\"")
            .arg(QString::number(message.channel), info.channelNames.value(message.channel), expected.channelName);
    if (expected.notes.isEmpty() && !pulled.note.isEmpty())
        return QStringLiteral("it has a note: ") + pulled.note;
    for (const QString &pattern : expected.notes) {
        if (!matches(pulled.note, pattern))
            return QStringLiteral("its note \"%1\" does not tell \"%2\"").arg(pulled.note, pattern);
    }
    return QString();
}

} // namespace LogRows

/// Empty when the frames of @p log are @p expected, else where they first differ.
inline QString differenceOf(const PulledLog &log, const QVector<LogFrame> &expected)
{
    for (int i = 0; i < qMin(log.frames.size(), expected.size()); ++i) {
        const QString difference = LogRows::differenceOf(log.frames.at(i), i, expected.at(i), log.info);
        if (!difference.isEmpty())
            return QStringLiteral("frame %1: ").arg(i + 1) + difference;
    }
    if (log.frames.size() != expected.size())
        return QStringLiteral("%1 frames, not %2").arg(log.frames.size()).arg(expected.size());
    return QString();
}

/// Empty when each of @p lines lines is a message, another line, or dropped.
inline QString differenceOfCounts(const PulledLog &log, qint64 lines)
{
    const ImportReport &report = log.report;
    if (report.lines == lines && report.messages == log.frames.size()
        && report.messages + report.otherLines + report.droppedLines == lines)
        return QString();
    return QStringLiteral("%1 lines reported of %2, with %3 messages, %4 other and %5 dropped lines")
        .arg(report.lines)
        .arg(lines)
        .arg(report.messages)
        .arg(report.otherLines)
        .arg(report.droppedLines);
}

/// Empty when @p report blames the lines of @p outcome, which stand behind @p headerLines others, and no more.
inline QString differenceOfBlame(const ImportReport &report, int headerLines, const Outcome &outcome)
{
    QSet<int> blamedLines;
    QStringList texts;
    for (const ImportReport::Fault &fault : report.faults) {
        const int line = static_cast<int>(fault.line) - headerLines;
        const QString reason = fault.toText();
        if (!LogRows::matches(reason, outcome.reason))
            return QStringLiteral("the reason \"%1\" does not tell \"%2\"").arg(reason, outcome.reason);
        blamedLines.insert(line);
        texts.append(QStringLiteral("%1 (%2)").arg(QString::number(line), reason));
    }
    if (blamedLines == outcome.lostLines + outcome.cutLines && report.droppedLines == outcome.lostLines.size())
        return QString();
    return QStringLiteral("%1 lines dropped, blamed are: %2")
        .arg(QString::number(report.droppedLines), texts.join(QLatin1String(", ")));
}

/// Empty when reading the case gave what it must.
inline QString differenceOf(const PulledLog &log, const QByteArray &header, const QByteArray &lines,
                            const Outcome &outcome)
{
    if (!log.ok)
        return QStringLiteral("reading failed: ") + log.error;
    const int headerLines = header.count('\n');
    QString difference = differenceOfCounts(log, headerLines + lines.count('\n') + 1);
    if (difference.isEmpty() && !outcome.onlyBlamed)
        difference = differenceOf(log, outcome.frames);
    if (!difference.isEmpty() || outcome.blameIsFree)
        return difference;
    if (outcome.onlyBlamed)
        return log.report.faultyLines == 1 ? QString() : QStringLiteral("%1 faulty lines").arg(log.report.faultyLines);
    difference = differenceOfBlame(log.report, headerLines, outcome);
    if (!difference.isEmpty())
        return difference;
    // A frame of a single line is the frame of that line.
    if (log.frames.size() == 1 && !lines.contains('\n') && log.frames.first().line != headerLines + 1)
        return QStringLiteral("the frame is told to stand in line %1").arg(log.frames.first().line);
    return QString();
}

/// Reads the case that QTest::newRow() added, with either line end and with none at the end of the file.
inline void checkRow(DatachunkHelper::ImportFileType type)
{
    QFETCH(QByteArray, header);
    QFETCH(QByteArray, lines);
    QFETCH(Outcome, outcome);
    const QByteArray text = header + lines;
    QCOMPARE(differenceOf(pullLog(type, text + '\n'), header, lines, outcome), QString());
    if (!lines.isEmpty()) // which would be one line less
        QCOMPARE(differenceOf(pullLog(type, text), header, lines, outcome), QString());
    QCOMPARE(differenceOf(pullLog(type, QByteArray(text + '\n').replace('\n', "\r\n")), header, lines, outcome),
             QString());
}

/// The content of a sample, by its path below tests/data or, with @p folder, elsewhere.
inline QByteArray sampleContent(const char *name, const char *folder = CANLOG_TEST_DATA)
{
    QFile file(QStringLiteral("%1/%2").arg(QLatin1String(folder), QLatin1String(name)));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qUtf8Printable(file.fileName()));
    return file.readAll();
}

/// The lines of a sample as a row has them: checkRow() gives them back their line ends, of either kind.
inline QByteArray sampleLines(const char *name)
{
    return sampleContent(name).replace("\r\n", "\n").chopped(1);
}

/// The first frames of examples/drive.log, which the other examples of that drive hold, too; can0 is channel 1.
inline QVector<LogFrame> driveFrames(int count)
{
    QVector<LogFrame> result;
    const QList<QByteArray> lines = sampleContent("drive.log", CANLOG_EXAMPLES).split('\n');
    for (const QByteArray &line : lines.mid(0, count)) {
        const QList<QByteArray> words = line.split(' '); // (1716284412.084712) can0 0C9#0C801E514000003B
        const QList<QByteArray> parts = words.at(2).split('#');
        LogFrame frame(parts.first().toUInt(nullptr, 16), parts.last());
        frame.message.isExtended = parts.first().size() == 8;
        frame.at(words.first().mid(1, 10).toInt(), words.first().mid(12, 6).toInt());
        frame.channel(words.at(1) == "can0" ? 1 : 2);
        result.append(frame);
    }
    return result;
}

/// A number of bytes 00, 01, 02 ... as hexadecimal text, each followed by @p separator but the last.
inline QByteArray countedPayload(int count, const char *separator = "")
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes.append(static_cast<char>(i));
    return *separator == 0 ? bytes.toHex() : bytes.toHex(*separator);
}
