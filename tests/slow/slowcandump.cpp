// SPDX-License-Identifier: Apache-2.0
#include "slowreading.h"

#include "common/canerrortypes.h"

#include <QDateTime>

namespace
{

class SlowCandump : public SlowReading
{
public:
    Frame read(int number) override
    {
        const bool hasControls = isLike(lines.at(number), "[^(].*|.*\x1B.*");
        const QString line = hasControls ? withoutControls(lines.at(number)) : lines.at(number);
        if (isLike(line, "interface = .*")) {
            oldBus = groups(line, "interface = ([^, ]*).*").value(0);
            return {};
        }
        QStringList fields = words(line);
        if (fields.isEmpty() || isLike(line, "[ ]*[#\t].*"))
            return {};
        if (fields.constFirst().startsWith(QLatin1Char('<'))) {
            begin(number, {});
            return readOldForm(fields);
        }
        const bool isTimed = fields.constFirst().startsWith(QLatin1Char('('));
        const int lengthField = isLike(fields.value(1), "RX|TX") ? 5 : 2;
        if (!isTimed && !isLike(fields.value(lengthField), "[[{].*"))
            return {};
        begin(number, fields);
        CAN::CanRxMessage message;
        if (isTimed && !readTime(fields, message))
            return {};
        const bool isLogForm = fields.value(1).contains(QLatin1Char('#'));
        return isLogForm ? readLogForm(fields, message) : readScreenForm(fields, message);
    }

private:
    /// Colours, and characters that were taken back.
    static QString withoutControls(const QString &line)
    {
        QString plain;
        for (int i = 0; i < line.size(); ++i) {
            if (line.at(i) == QLatin1Char('\b')) {
                plain.chop(1);
            } else if (line.mid(i, 2) == QLatin1String("\x1B[")) {
                const int end = line.indexOf(QLatin1Char('m'), i);
                i = end < 0 ? line.size() : end;
            } else {
                plain += line.at(i);
            }
        }
        return plain;
    }

    // ---- times

    /// The first line that looks like a frame tells whether times are those since the frame before.
    void begin(int number, const QStringList &fields)
    {
        if (hasBegun)
            return;
        hasBegun = true;
        const QString seconds = groups(fields.value(0), "\\((.*)\\)").value(0);
        const std::optional<qint64> first = time(seconds);
        if (!first || *first >= qint64(100000000) * 1000000000 || fields.value(2).contains(QLatin1Char('#')))
            return;
        int times = 0;
        int falls = 0;
        qint64 before = *first;
        for (int i = number + 1; i < endedLines && i <= number + 64; ++i) {
            const int open = lines.at(i).indexOf(QLatin1Char('('));
            const int close = lines.at(i).indexOf(QLatin1Char(')'));
            const std::optional<qint64> next =
                open < 0 || close < open ? std::nullopt : time(lines.at(i).mid(open + 1, close - open - 1));
            if (!next)
                continue;
            ++times;
            falls += *next < before ? 1 : 0;
            before = *next;
        }
        isDelta = 4 * falls > times;
    }

    /// Takes the time off the beginning of @p fields.
    bool readTime(QStringList &fields, CAN::CanRxMessage &message)
    {
        const QString first = fields.takeFirst();
        if (isLike(first, "\\(.+\\)")) {
            std::optional<qint64> seconds = time(first.mid(1, first.size() - 2));
            if (!seconds || (isDelta && !isPossible(sum + *seconds)))
                return false;
            if (isDelta)
                seconds = sum += *seconds;
            message.timeStamp = stamp(*seconds);
            return true;
        }
        const QStringList date = groups(first, "\\(([0-9]{4})-([0-9]{2})-([0-9]{2})");
        const QStringList clock = groups(fields.isEmpty() ? QString() : fields.takeFirst(),
                                         "([0-9]{2}):([0-9]{2}):([0-9]{2}(?:[.][0-9]*)?)\\)");
        if (date.isEmpty() || clock.isEmpty())
            return false;
        const QDate day(date.at(0).toInt(), date.at(1).toInt(), date.at(2).toInt());
        const QTime hour(clock.at(0).toInt(), 0);
        const std::optional<qint64> seconds = time(clock.at(2));
        if (!day.isValid() || !hour.isValid() || day.year() < 1970 || day.year() > 2037 || clock.at(1).toInt() > 59
            || *seconds >= qint64(61) * 1000000000)
            return false;
        message.timeStamp =
            stamp((QDateTime(day, hour).toSecsSinceEpoch() + clock.at(1).toInt() * 60) * 1000000000 + *seconds);
        return true;
    }

    // ---- frames

    struct Identifier {
        quint32 value;
        bool isExtended;
        bool isError;
    };

    static std::optional<Identifier> identifier(const QString &text)
    {
        const std::optional<quint32> value = hex(text);
        if (value && text.size() == 3 && *value <= highestStandardId)
            return Identifier{*value, false, false};
        if (!value || text.size() != 8)
            return {};
        if (*value & 0x20000000)
            return Identifier{CAN::errorFrameId, false, true};
        return *value <= highestExtendedId ? std::optional(Identifier{*value, true, false}) : std::nullopt;
    }

    Frame readLogForm(const QStringList &fields, CAN::CanRxMessage message)
    {
        if (fields.size() > 3 || !isLike(fields.value(2), "[RT]?"))
            return {};
        message.isTx = fields.value(2) == QLatin1String("T");
        const QString id = fields.value(1).section(QLatin1Char('#'), 0, 0);
        const QString body = fields.value(1).section(QLatin1Char('#'), 1);
        const std::optional<Identifier> found = identifier(id);
        if (!found || (found->isError && isLike(body, "[#Rr].*")))
            return {};
        message.id = found->value;
        message.isExtended = found->isExtended;
        QString data;
        if (isLike(body, "[Rr].*")) {
            if (!isLike(body, "[Rr]([0-8]|8_[9A-Fa-f])?"))
                return {};
            message.isRemote = true;
            message.dlc = quint8(body.mid(1, 1).toUInt());
        } else if (body.startsWith(QLatin1Char('#'))) {
            const QStringList parts = groups(body, "#([0-9A-Fa-f])((?:[.]?[0-9A-Fa-f]{2}){0,64})");
            if (parts.isEmpty())
                return {};
            message.isFd = true;
            message.isBrs = (*hex(parts.at(0)) & 1) != 0;
            message.isEsi = (*hex(parts.at(0)) & 2) != 0;
            data = parts.at(1);
        } else {
            const QStringList parts = groups(body, "((?:[.]?[0-9A-Fa-f]{2}){0,8})(_[9A-Fa-f])?");
            if (parts.isEmpty())
                return {};
            data = parts.at(0);
            if (!parts.at(1).isEmpty() && QString(data).remove(QLatin1Char('.')).size() != 16)
                return {};
        }
        if (data.startsWith(QLatin1Char('.')))
            return {};
        const QByteArray bytes = QByteArray::fromHex(data.remove(QLatin1Char('.')).toLatin1());
        std::copy(bytes.cbegin(), bytes.cend(), message.data);
        if (!message.isRemote)
            message.dlc = quint8(bytes.size());
        message.channel = channels.numberOf(fields.value(0));
        return message;
    }

    /// Bus, perhaps direction and flags, identifier, length and data.
    Frame readScreenForm(QStringList fields, CAN::CanRxMessage message)
    {
        const QString bus = fields.isEmpty() ? QString() : fields.takeFirst();
        const bool hasFlags = isLike(fields.value(0), "RX|TX");
        const QStringList flags = hasFlags ? fields.mid(1, 2) : QStringList();
        message.isTx = hasFlags && fields.value(0) == QLatin1String("TX");
        fields = fields.mid(hasFlags ? 3 : 0);
        if (!readBody(fields, message, flags))
            return {};
        message.channel = channels.numberOf(bus);
        return message;
    }

    Frame readOldForm(QStringList fields)
    {
        CAN::CanRxMessage message;
        const QStringList id = groups(fields.value(0), "<0x(.+)>");
        if (id.isEmpty())
            return {};
        fields[0] = id.at(0);
        if (!readBody(fields, message, {}))
            return {};
        if (!oldBus.isEmpty())
            message.channel = channels.numberOf(oldBus);
        return message;
    }

    static bool readBody(const QStringList &fields, CAN::CanRxMessage &message, const QStringList &flags)
    {
        const std::optional<Identifier> id = identifier(fields.value(0));
        const QString length = fields.value(1);
        if (!id || !isLike(length, "\\[[0-8]\\]|\\[[0-9]{2}\\]|\\{[0-9A-Fa-f]\\}"))
            return false;
        message.id = id->value;
        message.isExtended = id->isExtended;
        message.isFd = length.size() == 4;
        message.isBrs = message.isFd && flags.value(0) == QLatin1String("B");
        message.isEsi = message.isFd && flags.value(1) == QLatin1String("E");
        const QString digits = length.mid(1, length.size() - 2);
        const uint count = length.startsWith(QLatin1Char('{')) ? qMin(digits.toUInt(nullptr, 16), 8U) : digits.toUInt();
        if (count > 64 || (id->isError && message.isFd))
            return false;
        message.dlc = quint8(count);
        if (fields.value(2) == QLatin1String("remote") && fields.value(3) == QLatin1String("request")) {
            message.isRemote = true;
            return !message.isFd && !id->isError;
        }
        QStringList bytes = fields.mid(2, int(count));
        if (count > 0 && fields.value(2).contains(QLatin1Char('`'))) {
            bytes = fields.value(2).split(QLatin1Char('`'));
            std::reverse(bytes.begin(), bytes.end());
        }
        if (bytes.size() != int(count))
            return false;
        for (QString &byte : bytes) {
            if (isLike(byte, "[01]{8}"))
                byte = QStringLiteral("%1").arg(byte.toUInt(nullptr, 2), 2, 16, QLatin1Char('0'));
            else if (byte.size() != 2)
                return false;
        }
        return fill(message, bytes);
    }

    QString oldBus;
    SlowChannels channels;
    bool hasBegun = false;
    bool isDelta = false;
    qint64 sum = 0;
};

} // namespace

std::unique_ptr<SlowReading> slowCandump()
{
    return std::make_unique<SlowCandump>();
}
