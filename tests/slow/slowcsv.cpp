// SPDX-License-Identifier: Apache-2.0
#include "slowreading.h"

#include "common/canerrortypes.h"

namespace
{

/// Columns by the names of a heading.
class SlowTable : public SlowReading
{
protected:
    void setHeading(const QString &line, QChar separator)
    {
        separatedBy = separator;
        names = line.toLower().split(separator).mid(0, 128);
    }
    void setRow(const QString &line) { row = line.split(separatedBy).mid(0, 128); }
    bool has(const char *name) const { return names.contains(QLatin1String(name)); }
    int place(const char *name) const { return names.indexOf(QLatin1String(name)); }
    QString cell(const char *name) const { return has(name) ? trimmed(row.value(place(name))) : QString(); }

    static std::optional<quint32> prefixedHex(const QString &text)
    {
        const QStringList digits = groups(text, "(?:0[xX](?=.))?0*([0-9A-Fa-f]{1,8})");
        return digits.isEmpty() ? std::nullopt : hex(digits.at(0));
    }

    QStringList row;

private:
    QChar separatedBy = QLatin1Char(',');
    QStringList names;
};

class SlowGvretCsv : public SlowTable
{
public:
    SlowGvretCsv() { setHeading(QStringLiteral("Time Stamp,ID,Extended,Dir,Bus,LEN,D1"), QLatin1Char(',')); }

    Frame read(int number) override
    {
        const QString line = lines.at(number);
        if (trimmed(line).isEmpty())
            return {};
        if (isLike(line, "[Tt].*")) {
            setHeading(line, line.contains(QLatin1Char(';')) ? QLatin1Char(';') : QLatin1Char(','));
            return {};
        }
        setRow(line);
        CAN::CanRxMessage message;
        const std::optional<quint32> id = prefixedHex(cell("id"));
        if (!setTime(message) || !id || *id > highestExtendedId)
            return {};
        message.id = *id;
        const QString mark = cell("extended").toLower();
        if (has("extended") && !isLike(mark, "true|false|0|1"))
            return {};
        message.isExtended = isLike(mark, "true|1") || *id > highestStandardId;
        if (has("dir") && !isLike(cell("dir"), "[RT]x|[RT]X|[rt]x"))
            return {};
        message.isTx = isLike(cell("dir"), "[Tt].");
        const std::optional<quint32> bus = has("bus") ? decimal(cell("bus"), 0xFFFF) : 0;
        const std::optional<quint32> length = decimal(cell("len"), 64);
        if (!bus || !length || !has("d1"))
            return {};
        message.channel = quint16(*bus);
        message.dlc = quint8(*length);
        message.isFd = *length > 8;
        QStringList bytes;
        for (int i = 0; i < int(qMin(*length, 8U)); ++i)
            bytes.append(trimmed(row.value(place("d1") + i)));
        return fill(message, bytes) ? Frame(message) : Frame();
    }

private:
    /// Whole microseconds, which devices count in 32 bits, or decimal seconds.
    bool setTime(CAN::CanRxMessage &message)
    {
        const QString text = cell("time stamp");
        if (text.contains(QLatin1Char('.'))) {
            const std::optional<qint64> seconds = time(text);
            if (seconds) {
                message.timeStamp = stamp(*seconds);
                hasLatest = true;
            }
            return seconds.has_value();
        }
        const std::optional<qint64> read = time(text, 6);
        if (!read)
            return false;
        constexpr qint64 range = (qint64(1) << 32) * 1000;
        if (hasLatest && *read >= 0 && latest < range && latest - *read > range / 2
            && isPossible(rollover + range + *read))
            rollover += range;
        hasLatest = true;
        latest = *read;
        message.timeStamp = stamp(*read + rollover);
        return isPossible(*read + rollover);
    }

    bool hasLatest = false;
    qint64 latest = 0;
    qint64 rollover = 0;
};

class SlowPythonCanCsv : public SlowTable
{
public:
    Frame read(int number) override
    {
        const QString line = lines.at(number);
        if (trimmed(line).isEmpty() || line.startsWith(QLatin1String("timestamp,arbitration_id,")))
            return {};
        row = line.split(QLatin1Char(',')).mid(0, 128);
        CAN::CanRxMessage message;
        const std::optional<qint64> seconds = pythonTime(row.value(0));
        if (!seconds || !isLike(row.value(2), "[01]") || !isLike(row.value(3), "[01]") || !isLike(row.value(4), "[01]"))
            return {};
        message.timeStamp = stamp(*seconds);
        message.isExtended = row.at(2) == QLatin1String("1");
        message.isRemote = row.at(3) == QLatin1String("1");
        const std::optional<quint32> id = prefixedHex(row.value(1));
        const std::optional<quint32> length = decimal(row.value(5), 64);
        if (!id || *id > (message.isExtended ? highestExtendedId : highestStandardId) || !length)
            return {};
        message.id = *id;
        message.dlc = quint8(*length);
        message.isFd = *length > 8;
        if (!message.isRemote && !setData(row.value(6), message))
            return {};
        if (row.at(4) == QLatin1String("1")) {
            message.id = CAN::errorFrameId;
            message.isExtended = message.isRemote = false;
        }
        return message;
    }

private:
    /// What Python makes of a number, with an exponent or without.
    static std::optional<qint64> pythonTime(const QString &text)
    {
        const QStringList parts = groups(text, "(-?)([0-9]*)[.]?([0-9]*)[eE]([-+]?)([0-9]+)");
        if (parts.isEmpty())
            return time(text);
        if (parts.at(1).isEmpty() && parts.at(2).isEmpty())
            return {};
        if (text.indexOf(QRegularExpression(QStringLiteral("[eE]"))) > 40 || !decimal(parts.at(4), 0xFFFFFFFF))
            return {};
        const int places = int(qMin(*decimal(parts.at(4), 0xFFFFFFFF), 40U));
        const QString digits = parts.at(1) + parts.at(2);
        QString shifted;
        if (parts.at(3) == QLatin1String("-")) {
            const QString zeros = QString(places, QLatin1Char('0')) + digits;
            shifted = zeros.left(parts.at(1).size()) + QLatin1Char('.') + zeros.mid(parts.at(1).size());
        } else {
            const QString zeros = digits + QString(places, QLatin1Char('0'));
            const int point = parts.at(1).size() + places;
            shifted = zeros.left(point) + QLatin1Char('.') + zeros.mid(point);
        }
        return time(parts.at(0) + shifted);
    }

    /// Base64, or twice as many hexadecimal digits as bytes.
    static bool setData(const QString &text, CAN::CanRxMessage &message)
    {
        QByteArray bytes;
        if (text.size() == 2 * message.dlc && !text.contains(QLatin1Char('='))) {
            if (!isLike(text, "([0-9A-Fa-f]{2})*"))
                return false;
            bytes = QByteArray::fromHex(text.toLatin1());
        } else {
            if (!isLike(text, "([A-Za-z0-9+/]{4})*([A-Za-z0-9+/]{2}==|[A-Za-z0-9+/]{3}=)?"))
                return false;
            bytes = QByteArray::fromBase64(text.toLatin1());
        }
        if (bytes.size() != message.dlc)
            return false;
        std::copy(bytes.cbegin(), bytes.cend(), message.data);
        return true;
    }
};

class SlowSemicolonCsv : public SlowTable
{
public:
    SlowSemicolonCsv()
    {
        setHeading(QStringLiteral("TimestampEpoch;BusChannel;ID;IDE;DLC;DataLength;Dir;EDL;BRS;ESI;RTR;DataBytes"),
                   QLatin1Char(';'));
    }

    Frame read(int number) override
    {
        const QString line = lines.at(number);
        if (trimmed(line).isEmpty())
            return {};
        if (isLike(trimmed(line), "[Tt].*")) {
            setHeading(trimmed(line), QLatin1Char(';'));
            return {};
        }
        setRow(line);
        CAN::CanRxMessage message;
        const std::optional<qint64> seconds = time(cell("timestampepoch"));
        const std::optional<quint32> id = hex(cell("id"));
        if (!has("ide") || !has("datalength") || !has("databytes") || row.size() <= place("databytes"))
            return {};
        if (!seconds || !areMarks() || !id)
            return {};
        message.timeStamp = stamp(*seconds);
        message.isExtended = mark("ide");
        message.isTx = mark("dir");
        message.isFd = mark("edl");
        message.isBrs = mark("brs");
        message.isEsi = mark("esi");
        message.isRemote = mark("rtr");
        if (*id > (message.isExtended ? highestExtendedId : highestStandardId))
            return {};
        message.id = *id;
        const std::optional<quint32> length = decimal(cell("datalength"), message.isFd ? 64 : 8);
        const QString data = cell("databytes");
        if (!length || !isLike(data, "([0-9A-Fa-f]{2})*"))
            return {};
        message.dlc = quint8(*length);
        const QByteArray bytes = QByteArray::fromHex(data.toLatin1());
        if (bytes.size() != int(*length) && !(message.isRemote && bytes.isEmpty()))
            return {};
        std::copy(bytes.cbegin(), bytes.cend(), message.data);
        message.channel = channelOf(cell("buschannel"));
        return message;
    }

private:
    bool mark(const char *name) const { return cell(name) == QLatin1String("1"); }
    bool areMarks() const
    {
        for (const char *const name : {"ide", "dir", "edl", "brs", "esi", "rtr"}) {
            if (has(name) && !isLike(cell(name), "[01]"))
                return false;
        }
        return true;
    }

    /// A number, or a name, or none.
    quint16 channelOf(const QString &text)
    {
        if (text.isEmpty())
            return 0;
        const std::optional<quint32> number = decimal(text, 0xFFFF);
        if (!number)
            return channels.numberOf(text);
        channels.take(quint16(*number));
        return quint16(*number);
    }

    SlowChannels channels;
};

} // namespace

std::unique_ptr<SlowReading> slowGvretCsv()
{
    return std::make_unique<SlowGvretCsv>();
}

std::unique_ptr<SlowReading> slowPythonCanCsv()
{
    return std::make_unique<SlowPythonCanCsv>();
}

std::unique_ptr<SlowReading> slowSemicolonCsv()
{
    return std::make_unique<SlowSemicolonCsv>();
}
