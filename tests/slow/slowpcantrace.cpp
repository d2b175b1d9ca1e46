// SPDX-License-Identifier: Apache-2.0
#include "slowreading.h"

#include "common/canerrortypes.h"

namespace
{

const int codeLengths[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};

class SlowPcanTrace : public SlowReading
{
public:
    Frame read(int number) override
    {
        const QString line = trimmed(lines.at(number));
        if (line.isEmpty())
            return {};
        if (line.startsWith(QLatin1Char(';'))) {
            readSetting(line.mid(1));
            return {};
        }
        fields = words(lines.at(number));
        if (letters.isEmpty())
            letters = lettersOfRow();
        return version < 20 ? readOldRow() : readNewRow();
    }

private:
    // ---- header

    /// What begins a header anew decides on the rows that follow.
    void readSetting(const QString &text)
    {
        const QStringList setting = groups(text, "[ \t]*\\$([^=]*)=(.*)");
        if (setting.isEmpty())
            return;
        QString value = setting.at(1);
        value.remove(QRegularExpression(QStringLiteral("[ \t;]+\\z")));
        if (setting.at(0) == QLatin1String("FILEVERSION")) {
            const QStringList parts = groups(value, "([1-9])[.]([0-9])");
            version = parts.isEmpty() ? version : (parts.at(0) + parts.at(1)).toInt();
            letters.clear();
        } else if (setting.at(0) == QLatin1String("COLUMNS")) {
            columnsOfHeader = value.remove(QRegularExpression(QStringLiteral("[, ]")));
            letters.clear();
        }
    }

    static bool isOldType(const QString &text) { return isLike(text, "Rx|Tx|Warng|Error"); }

    QString lettersOfRow()
    {
        if (version == 0) {
            const bool isNewType = isLike(fields.value(2), "[A-\\xFF].");
            version = isOldType(fields.value(2))   ? 11
                      : isOldType(fields.value(3)) ? (fields.value(5) == QLatin1String("-") ? 13 : 12)
                                                   : (isNewType ? (isLike(fields.value(4), "Rx|Tx") ? 20 : 21) : 10);
        }
        switch (version) {
        case 10:
            return QStringLiteral("NOIlD");
        case 11:
            return QStringLiteral("NOTIlD");
        case 12:
            return QStringLiteral("NOBTIlD");
        case 13:
            return QStringLiteral("NOBTIRlD");
        default:
            break;
        }
        if (version >= 20 && !columnsOfHeader.isNull())
            return columnsOfHeader.isEmpty() ? QStringLiteral("?") : columnsOfHeader;
        return version == 20 ? QStringLiteral("NOTIdlD") : QStringLiteral("NOTBIdRLD");
    }

    /// Where a column stands, -1 when there is none of that letter. Of two the last one counts.
    int place(char letter) const { return letters.lastIndexOf(QLatin1Char(letter)); }
    QString field(char letter) const { return place(letter) < 0 ? QString() : fields.value(place(letter)); }
    QStringList from(int first) const { return first < 0 ? QStringList() : fields.mid(first); }

    // ---- rows

    bool setTime(CAN::CanRxMessage &message) const
    {
        QString text = field('O');
        if (isLike(text, "[^.,]*,[^.,]*") && text.size() <= 64)
            text.replace(QLatin1Char(','), QLatin1Char('.'));
        const std::optional<qint64> offset = time(text, 3);
        if (offset)
            message.timeStamp = stamp(*offset);
        return offset.has_value();
    }

    bool setBus(CAN::CanRxMessage &message) const
    {
        if (place('B') < 0 || field('B') == QLatin1String("-"))
            return true;
        const std::optional<quint32> bus = decimal(field('B'), 0xFFFF);
        message.channel = quint16(bus.value_or(0));
        return bus.has_value();
    }

    bool setId(CAN::CanRxMessage &message) const
    {
        const std::optional<quint32> id = hex(field('I'));
        message.isExtended = field('I').size() > 4;
        message.id = id.value_or(0);
        return id && *id <= (message.isExtended ? highestExtendedId : highestStandardId);
    }

    /// As many as the length says, and nothing more.
    static bool setBytes(const QStringList &bytes, CAN::CanRxMessage &message)
    {
        if (bytes.size() != message.dlc || !fill(message, bytes))
            return false;
        return std::all_of(bytes.begin(), bytes.end(), [](const QString &byte) { return byte.size() == 2; });
    }

    Frame readOldRow() const
    {
        CAN::CanRxMessage message;
        const bool hasType = place('T') >= 0;
        if (field('I') == QLatin1String("FFFFFFFF") || (hasType && field('T') == QLatin1String("Warng")))
            return {};
        const std::optional<quint32> length = decimal(field('l'), 8);
        if (!setTime(message) || (hasType && !isOldType(field('T'))) || !setBus(message) || !length)
            return {};
        message.dlc = quint8(*length);
        const bool hasErrorWord = field('D') == QLatin1String("ERROR");
        if (hasErrorWord || field('T') == QLatin1String("Error")) {
            message.id = CAN::errorFrameId;
            return hex(field('I')) && setBytes(from(place('D') + (hasErrorWord ? 1 : 0)), message) ? Frame(message)
                                                                                                   : Frame();
        }
        message.isTx = field('T') == QLatin1String("Tx");
        message.isRemote = field('D') == QLatin1String("RTR");
        if (!setId(message) || (!message.isRemote && !setBytes(from(place('D')), message)))
            return {};
        return message;
    }

    Frame readNewRow() const
    {
        CAN::CanRxMessage message;
        const QString type = field('T');
        if (isLike(type, "EV|ST|EC") || !setTime(message) || !setBus(message))
            return {};
        if (type == QLatin1String("ER"))
            return readError(message);
        if (!isLike(type, "DT|RR|FD|FB|FE|BI") || !isLike(field('d'), "Rx|Tx") || !setId(message))
            return {};
        message.isTx = field('d') == QLatin1String("Tx");
        message.isRemote = type == QLatin1String("RR");
        message.isFd = isLike(type, "F.|BI");
        message.isBrs = isLike(type, "FB|BI");
        message.isEsi = isLike(type, "FE|BI");
        const std::optional<int> length = lengthOf(message);
        if (!length)
            return {};
        message.dlc = quint8(*length);
        return message.isRemote || setBytes(from(place('D')), message) ? Frame(message) : Frame();
    }

    std::optional<int> lengthOf(const CAN::CanRxMessage &message) const
    {
        const bool hasCode = place('L') >= 0;
        const std::optional<quint32> length =
            decimal(field(hasCode ? 'L' : 'l'), message.isFd ? (hasCode ? 15 : 64) : 1785);
        if (!length)
            return {};
        if (message.isFd)
            return hasCode ? codeLengths[*length] : int(*length);
        // From 9 to 15 it is the length code of a classic frame, above that a message put together from several.
        if (*length > 8 && (*length > 15 || (!message.isRemote && fields.size() - place('D') != 8)))
            return {};
        return int(qMin(*length, 8U));
    }

    /// In 2.0 identifier and length are blank, so that the direction stands where the identifier is otherwise.
    Frame readError(CAN::CanRxMessage message) const
    {
        const bool areBlank = isLike(field('I'), "Rx|Tx");
        const QString direction = areBlank ? field('I') : field('d');
        const QStringList bytes = from(areBlank ? place('I') + 1 : place('D'));
        message.id = CAN::errorFrameId;
        message.isTx = direction == QLatin1String("Tx");
        message.dlc = quint8(qMin(bytes.size(), 8));
        const std::optional<quint32> told = decimal(field(place('L') >= 0 ? 'L' : 'l'), 8);
        if (!areBlank && (!told || int(*told) != bytes.size()))
            return {};
        return setBytes(bytes, message) ? Frame(message) : Frame();
    }

    QStringList fields;
    int version = 0;
    QString columnsOfHeader; ///< null: none
    QString letters;         ///< of the rows that follow; empty: not known yet
};

} // namespace

std::unique_ptr<SlowReading> slowPcanTrace()
{
    return std::make_unique<SlowPcanTrace>();
}
