// SPDX-License-Identifier: Apache-2.0
#include "slowreading.h"

#include "common/canerrortypes.h"

namespace
{

class SlowVectorAsc : public SlowReading
{
public:
    Frame read(int number) override
    {
        fields = words(lines.at(number));
        if (fields.isEmpty())
            return {};
        if (!isLike(fields.constFirst(), "[-.0-9].*")) {
            readBase();
            return {};
        }
        const std::optional<qint64> seconds = time(fields.constFirst());
        if (!seconds)
            return {};
        if (!hasBegun && isRelative && areOffsets(number, *seconds))
            isRelative = false;
        hasBegun = true;
        if (isRelative && !isPossible(sum + *seconds))
            return {};
        if (isRelative)
            sum += *seconds;
        Frame message = readEvent();
        if (message)
            message->timeStamp = stamp(isRelative ? sum : *seconds);
        return message;
    }

private:
    QString word(int i) const { return fields.value(i).toLower(); }
    bool isDirection(int i) const { return isLike(word(i), "rx|tx|txrq"); }

    void readBase()
    {
        if (word(0) != QLatin1String("base"))
            return;
        if (isLike(word(1), "hex|dec"))
            isDecimal = word(1) == QLatin1String("dec");
        const int times = fields.indexOf(
            QRegularExpression(QStringLiteral("timestamps"), QRegularExpression::CaseInsensitiveOption), 2);
        for (int i = 2; times >= 0 && i < fields.size(); ++i) {
            if (word(i) == QLatin1String("timestamps"))
                isRelative = word(i + 1) == QLatin1String("relative");
        }
    }

    /// Times that never fall and come to far more than the last one are none since the line before.
    bool areOffsets(int number, qint64 first) const
    {
        double total = double(first);
        qint64 latest = first;
        for (int i = number + 1; i < lines.size() && i < number + 1000; ++i) {
            const QStringList start = words(lines.at(i).left(40));
            const std::optional<qint64> next = start.size() > 1 ? time(start.constFirst()) : std::nullopt;
            if (!next)
                continue;
            if (*next < latest)
                return false;
            latest = *next;
            total += double(*next);
        }
        return latest > 0 && total > 10 * double(latest);
    }

    Frame readEvent() const
    {
        if (word(1) == QLatin1String("canfd") && isDirection(3))
            return word(4) == QLatin1String("errorframe") ? readFdError() : readFd();
        if (word(1) == QLatin1String("canxl") && isDirection(3))
            return readXl();
        if (!isLike(word(1), "[0-9].*"))
            return {};
        if (isDirection(3) || (word(3) == QLatin1String("--") && word(4) == QLatin1String("r")))
            return readClassic();
        return isLike(word(2), "errorframe.*") ? readError() : Frame();
    }

    // ---- parts

    static bool setChannel(const QString &text, CAN::CanRxMessage &message)
    {
        const std::optional<quint32> channel = decimal(text, 0xFFFF);
        message.channel = quint16(channel.value_or(0));
        return channel.has_value();
    }

    struct Identifier {
        quint32 value;
        bool isExtended;
    };

    static std::optional<Identifier> identifier(const QString &text, bool inDecimal)
    {
        const QStringList parts = groups(text, inDecimal ? "0*([0-9]{1,10})([xX]?)" : "0*([0-9A-Fa-f]{1,8})([xX]?)");
        if (parts.isEmpty())
            return {};
        const qulonglong value = parts.at(0).toULongLong(nullptr, inDecimal ? 10 : 16);
        if (value > highestExtendedId)
            return {};
        return Identifier{quint32(value), !parts.at(1).isEmpty() || value > highestStandardId};
    }

    /// The number behind "ID =".
    std::optional<Identifier> identifierOfTail(int first) const
    {
        for (int i = first; i + 2 < fields.size(); ++i) {
            if (word(i) == QLatin1String("id") && fields.at(i + 1) == QLatin1String("="))
                return identifier(fields.at(i + 2), true);
        }
        return {};
    }

    /// One hexadecimal digit, or two decimal ones up to 15 under a decimal base.
    std::optional<quint32> lengthCode(const QString &text) const
    {
        if (text.size() == 2)
            return isDecimal ? decimal(text, 15) : std::nullopt;
        return text.size() == 1 ? hex(text) : std::nullopt;
    }

    bool setBytes(int first, int count, bool inDecimal, CAN::CanRxMessage &message) const
    {
        QStringList bytes = fields.mid(first, count);
        if (bytes.size() != count)
            return false;
        for (QString &byte : bytes) {
            const std::optional<quint32> value = inDecimal ? decimal(byte, 255) : hex(byte);
            if (!value || *value > 255 || (!inDecimal && byte.size() > 2))
                return false;
            byte = QString::number(*value, 16);
        }
        return fill(message, bytes);
    }

    // ---- lines

    Frame readClassic() const
    {
        CAN::CanRxMessage message;
        if (!setChannel(fields.at(1), message) || !isLike(word(4), "[dr]"))
            return {};
        message.isTx = isLike(word(3), "tx|txrq");
        message.isRemote = word(4) == QLatin1String("r");
        const int place = fields.value(5) == QLatin1String("#") ? 6 : 5;
        const std::optional<quint32> code = lengthCode(fields.value(place));
        const bool mayLack = message.isRemote && isLike(word(place), "(length|id|//.*)?");
        if (!code && !mayLack)
            return {};
        message.dlc = quint8(qMin(code.value_or(0), 8U));
        if (!message.isRemote && !setBytes(place + 1, message.dlc, isDecimal, message))
            return {};
        // Above 7FF without an "x" it may be a name that looks like a number.
        std::optional<Identifier> id = identifier(fields.at(2), isDecimal);
        const bool isSure = id && (id->value <= highestStandardId || word(2).endsWith(QLatin1Char('x')));
        const std::optional<Identifier> told = identifierOfTail(place + 1);
        if (!isSure && told)
            id = told;
        if (!id)
            return {};
        message.id = id->value;
        message.isExtended = id->isExtended;
        return message;
    }

    Frame readError() const
    {
        CAN::CanRxMessage message;
        message.id = CAN::errorFrameId;
        return setChannel(fields.at(1), message) ? Frame(message) : Frame();
    }

    Frame readFdError() const
    {
        CAN::CanRxMessage message;
        message.id = CAN::errorFrameId;
        message.isTx = isLike(word(3), "tx|txrq");
        message.isFd = fields.mid(8).contains(QStringLiteral("Arb.")) || fields.mid(8).contains(QStringLiteral("Data"));
        return setChannel(fields.at(2), message) ? Frame(message) : Frame();
    }

    bool areMarks(int first) const
    {
        return isLike(fields.value(first), "[01]") && isLike(fields.value(first + 1), "[01]")
               && isLike(fields.value(first + 2), "[0-9A-Fa-f]") && decimal(fields.value(first + 3), 64);
    }

    Frame readFd() const
    {
        CAN::CanRxMessage message;
        const std::optional<Identifier> id = identifier(fields.value(4), false);
        const int marks = areMarks(5) ? 5 : 6;
        if (!setChannel(fields.at(2), message) || !id || !areMarks(marks))
            return {};
        message.isTx = isLike(word(3), "tx|txrq");
        message.id = id->value;
        message.isExtended = id->isExtended;
        message.isBrs = fields.at(marks) == QLatin1String("1");
        message.isEsi = fields.at(marks + 1) == QLatin1String("1");
        message.dlc = quint8(*decimal(fields.at(marks + 3), 64));
        if (!setBytes(marks + 4, message.dlc, false, message))
            return {};
        const QStringList tail = fields.mid(marks + 4 + message.dlc);
        const quint32 flags = tail.size() >= 8 ? hex(tail.at(2)).value_or(0x1000) : 0x1000;
        message.isFd = (flags & 0x1000) != 0 || message.isBrs || message.dlc > 8;
        if (!message.isFd && (flags & 0x10) != 0) {
            message.isRemote = true;
            message.dlc = quint8(qMin(*hex(fields.at(marks + 2)), 8U));
            std::fill(std::begin(message.data), std::end(message.data), quint8(0));
        }
        return message;
    }

    Frame readXl() const
    {
        CAN::CanRxMessage message;
        const QStringList format = groups(word(4), "([cf])b?(e?)ff");
        const std::optional<Identifier> id = identifier(fields.value(7), false);
        if (!isLike(word(4), "[cf][be]ff") || format.isEmpty() || !id || !setChannel(fields.at(2), message))
            return {};
        message.isFd = word(4).startsWith(QLatin1Char('f'));
        message.isTx = isLike(word(3), "tx|txrq");
        message.id = id->value;
        message.isExtended = id->isExtended || word(4).at(1) == QLatin1Char('e');
        const quint32 longest = message.isFd ? 64 : 8;
        const auto areLengths = [&](int i) {
            return isLike(fields.value(i), "[0-9A-Fa-f]") && decimal(fields.value(i + 1), longest);
        };
        const int place = areLengths(8) ? 8 : 9;
        if (!areLengths(place))
            return {};
        message.dlc = quint8(*decimal(fields.at(place + 1), longest));
        const std::optional<quint32> flags = hex(fields.value(place + 2 + message.dlc + (message.isFd ? 2 : 1)));
        if (!setBytes(place + 2, message.dlc, false, message) || !flags)
            return {};
        message.isBrs = (*flags & 0x2000) != 0;
        message.isEsi = (*flags & 0x4000) != 0;
        message.isRemote = !message.isFd && (*flags & 0x10) != 0;
        if (message.isRemote)
            message.dlc = quint8(qMin(*hex(fields.at(place)), 8U));
        return message;
    }

    QStringList fields;
    bool isDecimal = false;
    bool isRelative = false;
    bool hasBegun = false;
    qint64 sum = 0;
};

} // namespace

std::unique_ptr<SlowReading> slowVectorAsc()
{
    return std::make_unique<SlowVectorAsc>();
}
