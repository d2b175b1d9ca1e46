// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"
#include "common/datachunkhelper.h"

#include <QByteArray>
#include <QMap>
#include <QRegularExpression>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

#include <memory>
#include <optional>

/*
 * A second reading of the logs that tools write today, to hold the readers of types 21 to 27 against: written from what
 * the formats are, with regular expressions and one string for each field, as slow and as plain as can be. It gives the
 * frames alone; a line that is none, or is damaged, gives nothing.
 */

struct SlowFrame {
    CAN::CanRxMessage message;
    qint64 line = 0;
};

/// The frames of a log of @p type, which is 21 to 27.
QVector<SlowFrame> slowReading(DatachunkHelper::ImportFileType type, const QByteArray &content);

/// What the reader of @p type makes of @p content and the slow reading does not, or the other way round, for people;
/// empty when both give the same frames.
QString differenceFromSlowReading(DatachunkHelper::ImportFileType type, const QByteArray &content);

/// What the formats share. A character of a line is a byte.
class SlowReading
{
public:
    virtual ~SlowReading() = default;

    /// All lines, without their ends.
    QStringList lines;
    /// How many of them end with a line feed.
    int endedLines = 0;

    /// The frame of line @p number, from 0; nothing when there is none.
    virtual std::optional<CAN::CanRxMessage> read(int number) = 0;

protected:
    using Frame = std::optional<CAN::CanRxMessage>;

    /// Whether all of @p text is like @p pattern.
    static bool isLike(const QString &text, const char *pattern);
    /// What the groups of @p pattern have of @p text; nothing when the text is not like it.
    static QStringList groups(const QString &text, const char *pattern);
    /// Between blanks and tabs, the first 128.
    static QStringList words(const QString &line);
    /// Without blanks and tabs around it.
    static QString trimmed(const QString &text);
    /// A decimal number up to @p highest.
    static std::optional<quint32> decimal(const QString &text, quint32 highest);
    /// A hexadecimal number of at most eight digits.
    static std::optional<quint32> hex(const QString &text);
    /// Decimal seconds, or thousandths or millionths of them by @p decimals, in nanoseconds.
    static std::optional<qint64> time(const QString &text, int decimals = 0);
    /// Whether a message can have that time.
    static bool isPossible(qint64 nanoseconds);
    /// Rounded to microseconds.
    static CanTimeStamp stamp(qint64 nanoseconds);
    /// Fills the payload with @p bytes, of one or two hexadecimal digits each.
    static bool fill(CAN::CanRxMessage &message, const QStringList &bytes);

    static constexpr quint32 highestStandardId = 0x7FF;
    static constexpr quint32 highestExtendedId = 0x1FFFFFFF;
};

/// The numbers of channels that have names: the number at the end of the name plus one, or where there is none, or
/// another name has it, the lowest free one.
class SlowChannels
{
public:
    quint16 numberOf(const QString &name);
    void take(quint16 number) { taken.insert(number); }

private:
    QMap<QString, quint16> numbers;
    QSet<quint16> taken;
};

std::unique_ptr<SlowReading> slowCandump();
std::unique_ptr<SlowReading> slowVectorAsc();
std::unique_ptr<SlowReading> slowPcanTrace();
std::unique_ptr<SlowReading> slowBusmasterLog();
std::unique_ptr<SlowReading> slowGvretCsv();
std::unique_ptr<SlowReading> slowPythonCanCsv();
std::unique_ptr<SlowReading> slowSemicolonCsv();
