#include "importers/cocttimporter.h"

#include "common/importwatch.h"
#include "common/text/fields.h"
#include "common/text/mark.h"

#include <QFile>

#include <algorithm>

// Logs of the CANopen conformance test tool: the frames of a test among its own notices. White space counts as one
// blank wherever it stands.
//
//   0001 : 12:30:05.250 : Test CAN : 1 181 Rx DF 2 0A 0B
//   0002 : 12:30:05.251 : Test CAN : 1 181 Rx SR 0
//   0003 : 12:30:05.300 : Test Notice : heartbeat is late

namespace
{

constexpr Mark frameMark(u"Test CAN");
constexpr Mark notice(u"Test Notice");
constexpr Mark info(u"Test Info");
constexpr Mark error(u"Test Error");

} // namespace

/// The grammar of a frame line, with room that serves all lines.
class CoCTTImporter::FrameLine
{
public:
    explicit FrameLine(ImportWatch &importWatch)
        : watch(importWatch)
    {
    }

    /// Reads one line into @p message, which must be empty. False when it is malformed.
    bool read(QStringView line, CAN::CanRxMessage &message)
    {
        parts.split(line, u" : ");
        const int marker = findMarker();
        if (marker == parts.count() - 1)
            return false;
        // The marker may have stood inside a longer part: then the frame is the first one.
        if (!readFrame(parts[marker + 1], message))
            return false;
        if (marker > 0) {
            bool hasTime = true;
            message.timeStamp = readTimeOfDay(simplified(parts[1], room), &hasTime);
            if (!hasTime)
                watch.doubt(parts[1]);
        }
        return true;
    }

private:
    /// The part that is nothing but the marker, -1 when there is none.
    int findMarker()
    {
        constexpr QStringView marker(u"Test CAN");
        for (int i = 0; i < parts.count(); ++i) {
            if (parts[i].size() >= marker.size() && simplified(parts[i], room) == marker)
                return i;
        }
        return -1;
    }

    /// Number, identifier, direction, kind, length, data.
    bool readFrame(QStringView part, CAN::CanRxMessage &message)
    {
        fields.splitAtBlanks(part);
        bool hasId = false;
        bool hasLength = false;
        message.id = readUnsigned(fields[1], 16, &hasId);
        message.isTx = fields[2] == QStringView(u"Tx");
        message.isRemote = fields[3] == QStringView(u"SR");
        message.dlc = quint8(readUnsigned(fields[4], 10, &hasLength));
        return hasId && hasLength && (message.isRemote || readPayload(message));
    }

    /// As many bytes as the length says; the line must have them all, also those that a message has no room for.
    bool readPayload(CAN::CanRxMessage &message)
    {
        if (fields.count() < 5 + message.dlc)
            return false;
        const int count = std::min<int>(message.dlc, sizeof message.data);
        for (int i = 0; i < count; ++i)
            message.data[i] = watch.readByte(fields[5 + i], 16);
        return true;
    }

    ImportWatch &watch;
    Fields parts;
    Fields fields;
    QString room;
};

CoCTTImporter::CoCTTImporter(QObject *parent)
    : ListImporter(tr("No error."), parent)
    , frameLine(std::make_unique<FrameLine>(*watch))
{
}

CoCTTImporter::~CoCTTImporter() = default;

bool CoCTTImporter::importFile(QString path, QList<CAN::CanRxMessage> *messages, QMap<unsigned int, QString> *notes)
{
    return setTargets(messages, notes) && parseFile(path);
}

bool CoCTTImporter::parseFile(QString path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    startFile();

    WatchedLines lines(file, *watch);
    QString room;
    for (int number = 1; lines.next(); ++number) {
        const QStringView line = simplified(lines.line(), room);
        if (frameMark.isIn(line)) {
            if (importFrame(line))
                continue;
            watch->drop(ImportWatch::Reason::EndsImport, line);
            errorString = tr("Import error occured at line %1 of file %2.").arg(QString::number(number), path);
            return false;
        }
        if (notice.isIn(line) || info.isIn(line) || error.isIn(line))
            importNotice(line);
    }
    return !watch->isInterrupted();
}

bool CoCTTImporter::importCANMsgLine(QString line)
{
    return importFrame(line);
}

void CoCTTImporter::importNoticeLine(QString line)
{
    importNotice(line);
}

bool CoCTTImporter::importFrame(QStringView line)
{
    CAN::CanRxMessage message;
    if (!frameLine->read(line, message))
        return false;
    appendNumbered(message);
    return true;
}

void CoCTTImporter::importNotice(QStringView line)
{
    if (line.contains(QLatin1Char(':')))
        addNote(line);
}
