// SPDX-License-Identifier: Apache-2.0
#include "common/framefields.h"
#include "common/text/mark.h"
#include "readers/makers.h"
#include "readers/textreader.h"

// Text logs of Kvaser's logging tools: a header that ends with the line of the trigger, then one frame a line. Time,
// channel, identifier, flags (none of which are read), length, data, and one last column that is not data.
//
//   Format of data field: HEX
//   Format of id field: DEC
//   Trigger at 0.000000
//   0.002470 1 291 Rx 8 01 02 03 04 05 06 07 08 0.000240
//   0.002710 1 ErrorFrame

namespace
{

constexpr Mark dataFieldFormat(u"Format of data field:");
constexpr Mark idFieldFormat(u"Format of id field:");
constexpr Mark trigger(u"Trigger");
constexpr Mark errorFrame(u"ErrorFrame");

class KvaserLog
{
public:
    explicit KvaserLog(ImportWatch &importWatch)
        : watch(importWatch)
    {
    }

    /// Reads one line into @p message, which must be empty. False when the line is no frame.
    bool read(QStringView line, CAN::CanRxMessage &message)
    {
        if (inData)
            return !errorFrame.isIn(line) && readFrame(line, message);
        readHeader(line);
        return false;
    }

private:
    /// A line may say several things at once.
    void readHeader(QStringView line)
    {
        if (dataFieldFormat.isIn(line) && saysDecimal(line))
            dataRadix = 10;
        if (idFieldFormat.isIn(line) && saysDecimal(line))
            idRadix = 10;
        inData = trigger.isIn(line);
    }

    /// The radix stands between the first and the second colon.
    bool saysDecimal(QStringView line)
    {
        fields.split(line, QLatin1Char(':'), Fields::KeepEmpty);
        return fields[1].contains(QStringView(u"DEC"));
    }

    bool readFrame(QStringView line, CAN::CanRxMessage &message)
    {
        fields.splitAtBlanks(line);
        // The flags may be two words.
        const int length = readLength(fields, 4, message, watch);
        if (length >= fields.count()) {
            watch.pass();
            if (fields.count() > 0)
                watch.drop(ImportWatch::Reason::MissingColumns, {});
            return false;
        }
        message.timeStamp = watch.readSeconds(fields[0]);
        message.id = watch.readUnsigned(fields[2], idRadix);
        fields.removeLast();
        readPayloadAndMore(fields, length + 1, dataRadix, message, watch);
        return true;
    }

    ImportWatch &watch;
    Fields fields;
    int idRadix = 16;
    int dataRadix = 16;
    bool inData = false;
};

class KvaserReader : public TextReader
{
protected:
    void begin() override { log.emplace(watch); }
    bool read(CAN::CanRxMessage &message) override
    {
        for (; nextLine(); message = emptyMessage) {
            if (log->read(line(), message))
                return true;
        }
        return false;
    }

private:
    std::optional<KvaserLog> log;
};

} // namespace

std::unique_ptr<FrameReader> makeKvaserTxtLogReader()
{
    return std::make_unique<KvaserReader>();
}
