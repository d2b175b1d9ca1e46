// SPDX-License-Identifier: Apache-2.0
#include "slowreading.h"

namespace
{

constexpr qint64 second = 1000000000;

class SlowBusmasterLog : public SlowReading
{
public:
    SlowBusmasterLog() { beginSession(); }

    Frame read(int number) override
    {
        const QString line = lines.at(number);
        if (trimmed(line).isEmpty())
            return {};
        const QStringList header = groups(line, "[- \t]*\\*{3}(.*?)[ \t]*");
        if (!header.isEmpty()) {
            readHeader(header.at(0).endsWith(QLatin1String("***")) ? header.at(0).chopped(3) : header.at(0));
            return {};
        }
        if (isComment || isList || protocol == QLatin1String("other"))
            return {};
        fields = words(line);
        return readRow();
    }

private:
    void beginSession()
    {
        protocol = QStringLiteral("CAN");
        isDecimal = false;
        mode = QStringLiteral("SYSTEM");
        columns = defaultColumns;
        latest = -1;
        days = sum = 0;
    }

    void readHeader(const QString &text)
    {
        if (isLike(text, "(START|END) COMMENT.*"))
            isComment = text.startsWith(QLatin1Char('S'));
        else if (isLike(text, "(START|END|END OF) DATABASE FILES.*"))
            isList = text.startsWith(QLatin1Char('S'));
        else if (text.startsWith(QLatin1String("BUSMASTER ")))
            beginSession();
        else if (isLike(text, "PROTOCOL .*"))
            protocol = isLike(text.mid(9), "CAN|J1939") ? text.mid(9) : QStringLiteral("other");
        else if (isLike(text, "HEX|DEC"))
            isDecimal = text == QLatin1String("DEC");
        else if (isLike(text, "(SYSTEM|ABSOLUTE|RELATIVE) MODE"))
            mode = text.section(QLatin1Char(' '), 0, 0);
        else if (text.startsWith(QLatin1Char('<')) && protocol == QLatin1String("CAN"))
            readColumns(text);
    }

    /// Where each stands; those that are not named stay where they are without such a line.
    void readColumns(const QString &text)
    {
        columns = defaultColumns;
        QString rest = text;
        for (int place = 0; rest.startsWith(QLatin1Char('<')); ++place) {
            const int end = rest.indexOf(QLatin1Char('>'));
            const QString name = end < 0 ? rest.mid(1, rest.size() - 2) : rest.mid(1, end - 1);
            if (defaultColumns.contains(name))
                columns[name] = place;
            rest = end < 0 ? QString() : rest.mid(end + 1);
        }
    }

    QString field(const char *name) const { return fields.value(columns.value(QLatin1String(name))); }

    Frame readRow()
    {
        CAN::CanRxMessage message;
        const bool isJ1939 = protocol == QLatin1String("J1939");
        if (!setTime(message))
            return {};
        const QString direction = isJ1939 ? fields.value(8) : field("Tx/Rx");
        const std::optional<quint32> channel = decimal(isJ1939 ? fields.value(1) : field("Channel"), 0xFFFF);
        if (!isLike(direction, "Rx|Tx") || !channel)
            return {};
        message.isTx = direction == QLatin1String("Tx");
        message.channel = quint16(*channel);
        const QString kind = isJ1939 ? QStringLiteral("x") : field("Type");
        if (!isLike(kind, "[sx]r?"))
            return {};
        message.isExtended = kind.startsWith(QLatin1Char('x'));
        message.isRemote = kind.endsWith(QLatin1Char('r'));
        const std::optional<quint32> id = identifier(isJ1939 ? fields.value(2) : field("CAN ID"));
        if (!id || *id > (message.isExtended ? highestExtendedId : highestStandardId))
            return {};
        message.id = *id;
        const int place = isJ1939 ? 9 : columns.value(QStringLiteral("DLC"));
        const std::optional<quint32> length = decimal(fields.value(place), isJ1939 ? 8 : 64);
        if (!length)
            return {};
        message.dlc = quint8(*length);
        message.isFd = *length > 8;
        return message.isRemote || setBytes(fields.mid(place + 1, int(*length)), message) ? Frame(message) : Frame();
    }

    std::optional<quint32> identifier(const QString &text) const
    {
        const QStringList prefixed = groups(text, "0[xX](.+)");
        if (!prefixed.isEmpty())
            return hex(prefixed.at(0));
        return isDecimal ? decimal(text, 0xFFFFFFFF) : hex(text);
    }

    bool setBytes(QStringList bytes, CAN::CanRxMessage &message) const
    {
        if (bytes.size() != message.dlc)
            return false;
        for (QString &byte : bytes) {
            const std::optional<quint32> value = isDecimal ? decimal(byte, 255) : std::nullopt;
            if (isDecimal && !value)
                return false;
            byte = isDecimal ? QString::number(*value, 16) : byte;
        }
        return fill(message, bytes);
    }

    /// Hours, minutes, seconds, and either thousandths or tenths of thousandths.
    bool setTime(CAN::CanRxMessage &message)
    {
        const QStringList parts = groups(field("Time"), "([0-9]+):([0-9]+):([0-9]+):([0-9]{3,4})");
        if (parts.isEmpty() || !decimal(parts.at(0), 99999) || !decimal(parts.at(1), 59) || !decimal(parts.at(2), 59))
            return false;
        const qint64 unit = parts.at(3).size() == 4 ? second / 10000 : second / 1000;
        const qint64 read =
            (qint64(*decimal(parts.at(0), 99999)) * 3600 + *decimal(parts.at(1), 59) * 60 + *decimal(parts.at(2), 59))
                * second
            + parts.at(3).toInt() * unit;
        qint64 result = read;
        if (mode == QLatin1String("RELATIVE")) {
            result = sum + read;
            if (isPossible(result))
                sum = result;
        } else {
            if (mode == QLatin1String("SYSTEM")) {
                if (latest >= 0 && latest - read > 43200 * second && isPossible((days + 1) * 86400 * second))
                    ++days;
                latest = read;
            }
            result += days * 86400 * second;
        }
        message.timeStamp = stamp(result);
        return isPossible(result);
    }

    const QMap<QString, int> defaultColumns{{QStringLiteral("Time"), 0},    {QStringLiteral("Tx/Rx"), 1},
                                            {QStringLiteral("Channel"), 2}, {QStringLiteral("CAN ID"), 3},
                                            {QStringLiteral("Type"), 4},    {QStringLiteral("DLC"), 5}};
    QStringList fields;
    QMap<QString, int> columns;
    QString protocol;
    QString mode;
    bool isDecimal = false;
    bool isComment = false;
    bool isList = false;
    qint64 latest = -1;
    qint64 days = 0;
    qint64 sum = 0;
};

} // namespace

std::unique_ptr<SlowReading> slowBusmasterLog()
{
    return std::make_unique<SlowBusmasterLog>();
}
