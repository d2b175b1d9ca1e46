// SPDX-License-Identifier: Apache-2.0
#include "slowreading.h"

#include "readers/formats.h"
#include "readers/framereader.h"

#include <QBuffer>
#include <QHash>

#include <algorithm>

namespace
{

/// Of @p pattern for all of a text. Compiled once.
const QRegularExpression &expression(const char *pattern)
{
    static QHash<QByteArray, QRegularExpression> compiled;
    const auto known = compiled.constFind(pattern);
    if (known != compiled.constEnd())
        return *known;
    return *compiled.insert(pattern,
                            QRegularExpression(QRegularExpression::anchoredPattern(QString::fromLatin1(pattern)),
                                               QRegularExpression::DotMatchesEverythingOption));
}

std::unique_ptr<SlowReading> makeReading(DatachunkHelper::ImportFileType type)
{
    switch (type) {
    case DatachunkHelper::Candump:
        return slowCandump();
    case DatachunkHelper::VectorAsc:
        return slowVectorAsc();
    case DatachunkHelper::PcanTrace:
        return slowPcanTrace();
    case DatachunkHelper::BusmasterLog:
        return slowBusmasterLog();
    case DatachunkHelper::GvretCsv:
        return slowGvretCsv();
    case DatachunkHelper::PythonCanCsv:
        return slowPythonCanCsv();
    case DatachunkHelper::SemicolonCsv:
        return slowSemicolonCsv();
    default:
        qFatal("there is no slow reading of type %d", int(type));
    }
}

/// In UTF-16 after the byte-order mark, in UTF-8.
QByteArray inUtf8(const QByteArray &content, bool isBigEndian)
{
    QString text;
    for (int i = 2; i + 1 < content.size(); i += 2)
        text += QChar(quint8(content.at(isBigEndian ? i + 1 : i)), quint8(content.at(isBigEndian ? i : i + 1)));
    if (content.size() % 2 != 0)
        text += QChar::ReplacementCharacter; // half a character
    return text.toUtf8();
}

QByteArray withoutMark(const QByteArray &content)
{
    if (content.startsWith("\xFF\xFE"))
        return inUtf8(content, false);
    if (content.startsWith("\xFE\xFF"))
        return inUtf8(content, true);
    return content.startsWith("\xEF\xBB\xBF") ? content.mid(3) : content;
}

QString describeFrame(const SlowFrame &frame)
{
    const CAN::CanRxMessage &message = frame.message;
    QStringList parts{QStringLiteral("line %1: %2.%3")
                          .arg(frame.line)
                          .arg(message.timeStamp.seconds)
                          .arg(message.timeStamp.microseconds, 6, 10, QLatin1Char('0'))};
    parts << QStringLiteral("channel %1").arg(message.channel) << QStringLiteral("id %1").arg(message.id, 0, 16)
          << QStringLiteral("length %1").arg(message.dlc);
    const QPair<bool, const char *> flags[] = {
        {message.isExtended, "extended"}, {message.isRemote, "remote"}, {message.isFd, "fd"},
        {message.isBrs, "brs"},           {message.isEsi, "esi"},       {message.isTx, "tx"}};
    for (const auto &[isSet, name] : flags) {
        if (isSet)
            parts << QLatin1String(name);
    }
    parts << QString::fromLatin1(QByteArray(reinterpret_cast<const char *>(message.data), 64).toHex());
    return parts.join(QLatin1Char(' '));
}

} // namespace

QVector<SlowFrame> slowReading(DatachunkHelper::ImportFileType type, const QByteArray &content)
{
    const std::unique_ptr<SlowReading> reading = makeReading(type);
    const QByteArray bytes = withoutMark(content);
    const QString text = QString::fromLatin1(bytes.constData(), bytes.size()); // also behind a zero
    reading->lines = text.split(QLatin1Char('\n'));
    reading->endedLines = reading->lines.size() - 1;
    if (reading->lines.constLast().isEmpty())
        reading->lines.removeLast();
    for (QString &line : reading->lines) {
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
    }
    QVector<SlowFrame> frames;
    for (int i = 0; i < reading->lines.size(); ++i) {
        std::optional<CAN::CanRxMessage> message = reading->read(i);
        if (!message)
            continue;
        message->messageIndex = quint32(frames.size());
        frames.append({*message, i + 1});
    }
    return frames;
}

QString differenceFromSlowReading(DatachunkHelper::ImportFileType type, const QByteArray &content)
{
    const QVector<SlowFrame> slow = slowReading(type, content);
    QByteArray copy = content;
    QBuffer buffer(&copy);
    buffer.open(QIODevice::ReadOnly);
    const std::unique_ptr<FrameReader> reader = makeReader(type);
    reader->open(buffer, QString());
    QVector<SlowFrame> fast;
    while (reader->next())
        fast.append({reader->frame(), reader->lineNumber()});
    for (int i = 0; i < std::max(slow.size(), fast.size()); ++i) {
        const QString ofReader = i < fast.size() ? describeFrame(fast.at(i)) : QStringLiteral("nothing");
        const QString ofSlow = i < slow.size() ? describeFrame(slow.at(i)) : QStringLiteral("nothing");
        const bool areSame = i < fast.size() && i < slow.size() && fast.at(i).line == slow.at(i).line
                             && fast.at(i).message == slow.at(i).message;
        if (!areSame)
            return QStringLiteral("frame %1\nreader: %2\nslowly: %3").arg(QString::number(i), ofReader, ofSlow);
    }
    return {};
}

bool SlowReading::isLike(const QString &text, const char *pattern)
{
    return expression(pattern).match(text).hasMatch();
}

QStringList SlowReading::groups(const QString &text, const char *pattern)
{
    const QRegularExpressionMatch match = expression(pattern).match(text);
    QStringList found;
    for (int i = 1; match.hasMatch() && i <= expression(pattern).captureCount(); ++i)
        found.append(match.captured(i));
    return found;
}

QStringList SlowReading::words(const QString &line)
{
    return line.split(QRegularExpression(QStringLiteral("[ \t]+")), Qt::SkipEmptyParts).mid(0, 128);
}

QString SlowReading::trimmed(const QString &text)
{
    QString result = text;
    return result.remove(QRegularExpression(QStringLiteral("\\A[ \t]+|[ \t]+\\z")));
}

std::optional<quint32> SlowReading::decimal(const QString &text, quint32 highest)
{
    const QStringList digits = groups(text, "0*([0-9]{1,10})");
    if (digits.isEmpty() || digits.constFirst().toULongLong() > highest)
        return {};
    return quint32(digits.constFirst().toULongLong());
}

std::optional<quint32> SlowReading::hex(const QString &text)
{
    if (!isLike(text, "[0-9A-Fa-f]{1,8}"))
        return {};
    return text.toUInt(nullptr, 16);
}

std::optional<qint64> SlowReading::time(const QString &text, int decimals)
{
    if (!isLike(text, "-?([0-9]+[.]?[0-9]*|[.][0-9]+)"))
        return {};
    const bool isNegative = text.startsWith(QLatin1Char('-'));
    const QString number = text.mid(isNegative ? 1 : 0);
    QString whole = number.section(QLatin1Char('.'), 0, 0);
    const QString fraction = number.section(QLatin1Char('.'), 1).left(9).leftJustified(9, QLatin1Char('0'));
    whole.remove(QRegularExpression(QStringLiteral("\\A0+")));
    const qint64 unitsOfASecond = decimals == 0 ? 1 : decimals == 3 ? 1000 : 1000000;
    if (whole.size() > 18 || whole.toLongLong() > 2147483646 * unitsOfASecond)
        return {};
    const qint64 nanoseconds =
        whole.toLongLong() * (1000000000 / unitsOfASecond) + fraction.toLongLong() / unitsOfASecond;
    return isNegative ? -nanoseconds : nanoseconds;
}

bool SlowReading::isPossible(qint64 nanoseconds)
{
    return qAbs(nanoseconds) <= qint64(2147483646) * 1000000000;
}

CanTimeStamp SlowReading::stamp(qint64 nanoseconds)
{
    qint64 microseconds = (nanoseconds + 500) / 1000;
    if ((nanoseconds + 500) % 1000 < 0)
        --microseconds;
    qint64 seconds = microseconds / 1000000;
    if (microseconds % 1000000 < 0)
        --seconds;
    return {qint32(seconds), qint32(microseconds - seconds * 1000000)};
}

bool SlowReading::fill(CAN::CanRxMessage &message, const QStringList &bytes)
{
    for (int i = 0; i < bytes.size() && i < int(sizeof message.data); ++i) {
        if (!isLike(bytes.at(i), "[0-9A-Fa-f]{1,2}"))
            return false;
        message.data[i] = quint8(bytes.at(i).toUInt(nullptr, 16));
    }
    return bytes.size() <= int(sizeof message.data);
}

quint16 SlowChannels::numberOf(const QString &name)
{
    if (numbers.contains(name))
        return numbers.value(name);
    if (numbers.size() == 1024)
        return 0;
    const QString digits = QRegularExpression(QStringLiteral("[0-9]*\\z")).match(name).captured(0);
    const qulonglong atEnd = digits.size() > 18 ? 0x10000 : digits.toULongLong();
    quint16 number = digits.isEmpty() || atEnd > 0xFFFE ? 0 : quint16(atEnd + 1);
    if (number == 0 || taken.contains(number)) {
        number = 1;
        while (taken.contains(number))
            ++number;
    }
    taken.insert(number);
    numbers.insert(name, number);
    return number;
}
