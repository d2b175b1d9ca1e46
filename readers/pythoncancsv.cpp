// SPDX-License-Identifier: Apache-2.0
#include "common/framelengths.h"
#include "readers/bytelogreader.h"
#include "readers/csvcolumns.h"
#include "readers/makers.h"

#include <array>

// The CSV of python-can:
//
//   timestamp,arbitration_id,extended,remote,error,dlc,data
//   1700000000.25,0x1a4,0,0,0,3,DB0u
//   1.5e-05,0x7df,0,1,0,4,
//
// "dlc" is a length in bytes, the data are base64; other writers with this heading write hexadecimal digits. Neither
// bus nor direction are told, nor CAN FD: above 8 bytes there is no other.

namespace
{

class PythonCanCsvReader : public ByteLogReader
{
    Q_DECLARE_TR_FUNCTIONS(PythonCanCsvReader)

protected:
    void begin() override { isFirstRow = true; }

    Kind look(std::string_view line) override
    {
        if (withoutBlanks(line).empty() || line.substr(0, 25) == "timestamp,arbitration_id,")
            return Kind::Other;
        row = line;
        return Kind::Frame;
    }

    bool readFrame(CAN::CanRxMessage &message) override
    {
        fields.split(row, ',');
        told = {};
        bool isError = false;
        if (!readTime(message) || !readMark(2, "extended", message.isExtended)
            || !readMark(3, "remote", message.isRemote) || !readMark(4, "error", isError) || !readId(message)
            || !readData(message))
            return false;
        if (isError) {
            message.id = CAN::errorFrameId;
            message.isExtended = message.isRemote = false;
            addNote(tr("error frame"));
        }
        return true;
    }

private:
    bool readTime(CAN::CanRxMessage &message)
    {
        qint64 time = 0;
        if (!readSeconds(fields[0], time)) {
            drop(tr("the time is not decimal seconds"), fields[0]);
            return false;
        }
        if (isFirstRow && time >= ByteNumbers::firstEpochTime)
            logInfo.timeBase = LogInfo::TimeBase::UnixEpoch;
        isFirstRow = false;
        message.timeStamp = ByteNumbers::timeStamp(time);
        return true;
    }

    /// Also with an exponent, as Python writes small numbers: the point is moved.
    static bool readSeconds(std::string_view text, qint64 &nanoseconds)
    {
        const auto mark = text.find_first_of("eE");
        if (mark == std::string_view::npos)
            return ByteNumbers::readSeconds(text, nanoseconds);
        std::string_view exponentText = text.substr(mark + 1);
        const bool isNegative = !exponentText.empty() && exponentText.front() == '-';
        if (isNegative || (!exponentText.empty() && exponentText.front() == '+'))
            exponentText.remove_prefix(1);
        quint32 exponent = 0;
        constexpr quint32 mostPlaces = 40;
        if (mark > mostPlaces || !ByteNumbers::readDecimal(exponentText, exponent))
            return false;
        if (exponent > mostPlaces)
            exponent = mostPlaces; // in either direction all digits are on one side of the point
        std::string digits(text.substr(0, mark));
        const bool isBelowZero = digits.substr(0, 1) == "-";
        if (isBelowZero)
            digits.erase(0, 1);
        std::size_t point = std::min(digits.find('.'), digits.size());
        if (point < digits.size())
            digits.erase(point, 1);
        if (digits.empty())
            return false;
        digits.insert(0, isNegative ? exponent : 0, '0');
        digits.append(isNegative ? 0 : exponent, '0');
        point += isNegative ? 0 : exponent;
        digits.insert(point, ".");
        const bool isRead = ByteNumbers::readSeconds(digits, nanoseconds);
        nanoseconds = isBelowZero ? -nanoseconds : nanoseconds;
        return isRead;
    }

    bool readMark(int column, const char *name, bool &mark)
    {
        mark = fields[column] == "1";
        if (mark || fields[column] == "0")
            return true;
        drop(tr("the column %1 is neither 0 nor 1").arg(QLatin1String(name)), fields[column]);
        return false;
    }

    bool readId(CAN::CanRxMessage &message)
    {
        if (readPrefixedHex(fields[1], message.id)
            && message.id <= (message.isExtended ? CAN::maxExtendedId : CAN::maxStandardId))
            return true;
        drop(tr("the identifier is no hexadecimal number of %1 bits").arg(message.isExtended ? 29 : 11), fields[1]);
        return false;
    }

    bool readData(CAN::CanRxMessage &message)
    {
        quint32 length = 0;
        if (!ByteNumbers::readDecimal(fields[5], length, sizeof message.data)) {
            drop(tr("the length is none from 0 to 64"), fields[5]);
            return false;
        }
        message.dlc = quint8(length);
        message.isFd = length > 8;
        if (message.isRemote)
            return true;
        const std::string_view text = fields[6];
        const int count = isHex(text, length) ? readHex(text, message) : readBase64(text, message);
        if (count < 0)
            drop(tr("the data are neither base64 nor pairs of hexadecimal digits"), text);
        else if (count != int(length))
            drop(tr("the payload has %1 of %2 bytes").arg(count).arg(length), text);
        return count == int(length);
    }

    /// Base64 of as many characters as digits would be ends with "=".
    static bool isHex(std::string_view text, quint32 length)
    {
        return text.size() == 2 * length && text.find('=') == std::string_view::npos;
    }

    static int readHex(std::string_view text, CAN::CanRxMessage &message)
    {
        const int count = ByteNumbers::takeHexPairs(text, message.data, sizeof message.data);
        return text.empty() ? count : -1;
    }

    /// The value of a character, 0xFF for what is none.
    static quint8 base64Digit(char c)
    {
        static const std::array<quint8, 256> digits = [] {
            std::array<quint8, 256> values{};
            values.fill(0xFF);
            constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
            for (std::size_t i = 0; i < alphabet.size(); ++i)
                values[quint8(alphabet[i])] = quint8(i);
            return values;
        }();
        return digits[quint8(c)];
    }

    /// How many bytes there are, -1 when it is no base64, of which the end is filled up with "=".
    static int readBase64(std::string_view text, CAN::CanRxMessage &message)
    {
        constexpr std::size_t longest = 88; // for 64 bytes
        if (text.size() > longest || text.size() % 4 != 0)
            return -1;
        const int filled = text.empty() || text.back() != '=' ? 0 : text[text.size() - 2] != '=' ? 1 : 2;
        text.remove_suffix(std::size_t(filled));
        quint32 bits = 0;
        int bitCount = 0;
        int count = 0;
        for (const char c : text) {
            const quint8 digit = base64Digit(c);
            if (digit == 0xFF)
                return -1;
            bits = bits << 6 | digit;
            bitCount += 6;
            if (bitCount < 8)
                continue;
            bitCount -= 8;
            if (count < int(sizeof message.data))
                message.data[count] = quint8(bits >> bitCount);
            ++count;
        }
        return count;
    }

    std::string_view row; ///< of look()
    ByteFields fields;
    bool isFirstRow = true;
};

} // namespace

std::unique_ptr<FrameReader> makePythonCanCsvReader()
{
    return std::make_unique<PythonCanCsvReader>();
}
