#include "importers/peaktraceimporter.h"

#include "common/framefields.h"
#include "common/importwatch.h"
#include "common/text/fields.h"
#include "common/text/mark.h"
#include "common/text/numbers.h"

#include <QFile>
#include <QRegularExpression>

#include <algorithm>

// PCAN trace files, one event a line, comments after ";". Versions 1.x have fixed columns:
//
//      1)       2457.5  Rx         0300  8  00 11 22 33 44 55 66 77       1.1
//      1)       2457.5 1  Rx       0300  8  00 11 22 33 44 55 66 77       1.2: with the bus
//      1)       2457.5 1  Rx       0300 -  8  00 11 22 33 44 55 66 77     1.3: with the bus and a reserved column
//
// Versions 2.x name their columns in one of the first ten lines:
//
//   ;$COLUMNS=N,O,T,I,d,l,D
//       1      171.130 DT      0300 Rx 2  AA BB

namespace
{

constexpr Mark warning(u"Warng");
constexpr Mark sent(u"Tx");
constexpr Mark received(u"Rx");
constexpr int headerLineCount = 10;
constexpr int maxStandardIdLength = 4;
constexpr int maxPayload = sizeof CAN::CanRxMessage::data;

/// Text that has to match as a whole: QStringList::indexOf() asks for that.
const QRegularExpression columnHeader(QStringLiteral(".*COLUMNS.*"));

/// The lines that are neither comments nor blank, as words.
class TraceLines
{
public:
    TraceLines(QFile &file, ImportWatch &importWatch)
        : reader(file, importWatch.blockRead(file))
        , watch(importWatch)
    {
    }

    /// The first lines, as many as there are. To be called first; they are lines like all others afterwards. They are
    /// kept for that, since a pipe cannot be read a second time.
    const QStringList &readHeader()
    {
        while (header.size() < headerLineCount && reader.next())
            header.append(reader.line().toString());
        return header;
    }

    bool next()
    {
        while (nextOfAll()) {
            if (line.startsWith(QLatin1Char(';')))
                continue;
            words.splitAtBlanks(line);
            if (words.count() > 0)
                return true;
        }
        return false;
    }

    QStringView line;
    Fields words;
    int number = 0; ///< of the current line, comments and blank lines counted

private:
    bool endOfFile()
    {
        watch.setReadError(reader.readError());
        return false;
    }

    bool nextOfAll()
    {
        if (number < header.size())
            line = header.at(number);
        else if (reader.next())
            line = reader.line();
        else
            return endOfFile();
        ++number;
        watch.beginLine(line);
        return true;
    }

    LineReader reader;
    ImportWatch &watch;
    QStringList header;
};

bool isFrameType(QStringView type)
{
    return isText(type, u"DT") || isText(type, u"FD") || isText(type, u"FB") || isText(type, u"RR");
}

void readId(QStringView word, CAN::CanRxMessage &message, ImportWatch &watch)
{
    message.id = watch.readUnsigned(word, 16);
    // Extended identifiers are written with all their digits, so the length tells and the value does not.
    message.isExtended = word.size() > maxStandardIdLength;
}

/// Microseconds from the digits after the point: three at least, and more are not scaled down.
qint32 readMillisecondFraction(QStringView digits, ImportWatch &watch)
{
    if (digits.size() >= 3)
        return watch.readSigned(digits, 10);
    QChar padded[3];
    std::fill(std::copy(digits.begin(), digits.end(), padded), std::end(padded), QLatin1Char('0'));
    bool ok = true;
    const qint32 fraction = readSigned(QStringView(padded, 3), 10, &ok);
    if (!ok)
        watch.doubt(digits);
    return fraction;
}

/// For a text of digits, a point and up to three digits more, as nearly all are; false, and nothing read, for any
/// other.
bool readPlainMilliseconds(QStringView text, CanTimeStamp &time)
{
    const QStringView end = text.right(4); // with the point, unless there are more digits behind it
    CanTimeStamp number;
    if (std::find(end.begin(), end.end(), QLatin1Char('.')) == end.end() || !readPlainSeconds(text, number))
        return false;
    time = {number.seconds / 1000, number.seconds % 1000 * 1000 + number.microseconds / 1000};
    return true;
}

CanTimeStamp readMilliseconds(QStringView text, ImportWatch &watch)
{
    CanTimeStamp time;
    if (readPlainMilliseconds(text, time))
        return time;
    // A comma goes before a point, and where there is neither, a NUL separates.
    const auto has = [text](QChar c) { return std::find(text.begin(), text.end(), c) != text.end(); };
    const QChar separator = has(QLatin1Char(','))   ? QLatin1Char(',')
                            : has(QLatin1Char('.')) ? QLatin1Char('.')
                                                    : QChar(QChar::Null);
    const QChar *const first = std::find(text.begin(), text.end(), separator);
    const QChar *last = text.end();
    while (last != text.begin() && last[-1] != separator)
        --last;
    const qint32 milliseconds = watch.readSigned(QStringView(text.begin(), first), 10);
    // A text without a separator is both the milliseconds and their fraction: 1234 is 1 s and 234000 + 1234 µs.
    const qint32 fraction = readMillisecondFraction(QStringView(last, text.end()), watch);
    // Unsigned, since the sum of broken numbers may be out of range.
    return {milliseconds / 1000, qint32(quint32(milliseconds % 1000 * 1000) + quint32(fraction))};
}

} // namespace

PeakTraceImporter::PeakTraceImporter(QObject *parent)
    : ListImporter(tr("No error."), parent)
{
}

PeakTraceImporter::~PeakTraceImporter() = default;

bool PeakTraceImporter::importFile(QString path, DatachunkHelper::ImportFileType type,
                                   QList<CAN::CanRxMessage> *messages, QMap<unsigned int, QString> *notes)
{
    // So many messages a usual trace has: the list need not grow.
    constexpr int usualMessageCount = 500000;

    if (!setTargets(messages, notes))
        return false;
    messageList->reserve(usualMessageCount);
    switch (type) {
    case DatachunkHelper::PeakTraceV11:
        return importFileVersion11(path);
    case DatachunkHelper::PeakTraceV12:
        return importFileVersion12(path);
    case DatachunkHelper::PeakTraceV13:
        return importFileVersion13(path);
    case DatachunkHelper::PeakTraceV20:
        return importFileVersion20(path);
    case DatachunkHelper::PeakTraceV21:
        return importFileVersion21(path);
    default:
        return false;
    }
}

bool PeakTraceImporter::importFileVersion11(QString path)
{
    return importVersion1File(path, {});
}

bool PeakTraceImporter::importFileVersion12(QString path)
{
    return importVersion1File(path, {2});
}

bool PeakTraceImporter::importFileVersion13(QString path)
{
    return importVersion1File(path, {5, 2});
}

bool PeakTraceImporter::importFileVersion20(QString path)
{
    return importVersion2File(path, false);
}

bool PeakTraceImporter::importFileVersion21(QString path)
{
    return importVersion2File(path, true);
}

/// @p extraColumns are those that version 1.1 does not have, the last one first.
bool PeakTraceImporter::importVersion1File(const QString &path, std::initializer_list<int> extraColumns)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    startFile();

    TraceLines lines(file, *watch);
    while (lines.next()) {
        for (const int column : extraColumns)
            lines.words.remove(column);
        if (!importVersion1Line(lines.words))
            return failAtLine(lines.number, path);
    }
    return !watch->isInterrupted();
}

/// @p needsPlaceholder: a line without the "-" of the reserved column, in a file that has one, is no message.
bool PeakTraceImporter::importVersion2File(const QString &path, bool needsPlaceholder)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    startFile();

    TraceLines lines(file, *watch);
    const bool hasColumns = checkValidColumns(lines.readHeader());
    if (watch->isInterrupted())
        return false;
    if (!hasColumns) {
        errorString = tr("Import error occured. No valid column description found.");
        return false;
    }
    const bool hasPlaceholders = needsPlaceholder && reservedColumn != -1;
    while (lines.next()) {
        if (hasPlaceholders && !lines.line.contains(QLatin1Char('-'))) {
            if (isFrameType(lines.words[typeColumn]))
                watch->drop(ImportWatch::Reason::MissingColumns, {});
            continue;
        }
        if (!importVersion2Line(lines.words))
            return failAtLine(lines.number, path);
    }
    return !watch->isInterrupted();
}

bool PeakTraceImporter::failAtLine(int number, const QString &path)
{
    watch->drop(ImportWatch::Reason::EndsImport, {});
    errorString = tr("Import error occured at line %1 of file %2.").arg(QString::number(number), path);
    return false;
}

bool PeakTraceImporter::importVersion11StringList(QStringList tokens)
{
    Fields words;
    words.assign(tokens);
    return importVersion1Line(words);
}

bool PeakTraceImporter::importVersion20StringList(const QStringList &tokens)
{
    Fields words;
    words.assign(tokens);
    return importVersion2Line(words);
}

/// Number, time, type, identifier, length, data.
bool PeakTraceImporter::importVersion1Line(const Fields &words)
{
    const QStringView type = words[2];
    if (type.isEmpty())
        return false;
    if (warning.isIn(type)) {
        addNote(words.last());
        return true;
    }
    if (words.count() <= 4)
        return false;
    const bool isSent = sent.isIn(type);
    if (!isSent && !received.isIn(type))
        return true; // an error or another event

    CAN::CanRxMessage message;
    message.timeStamp = readMilliseconds(words[1], *watch);
    message.isTx = isSent;
    readId(words[3], message, *watch);
    message.dlc = watch->readByte(words[4], 10);
    message.isRemote = isText(words[5], u"RTR");
    if (!message.isRemote)
        readPayloadAndMore(words, 5, 16, message, *watch);
    appendNumbered(message);
    return true;
}

/// The columns of the header; the data stand in the last ones.
bool PeakTraceImporter::importVersion2Line(const Fields &words)
{
    const auto hasWord = [&words](int column) { return column >= 0 && column < words.count(); };
    if (words.count() < 6 || !hasWord(timeColumn) || !hasWord(typeColumn))
        return false;
    const QStringView type = words[typeColumn];
    const bool isRemote = isText(type, u"RR");
    const bool hasBitRateSwitch = isText(type, u"FB");
    const bool isFd = hasBitRateSwitch || isText(type, u"FD");
    if (!isFrameType(type)) {
        // A CAN FD frame whose sender stated an error is left out like a status or another event, which are no frames.
        if (isText(type, u"FE") || isText(type, u"BI"))
            watch->drop(ImportWatch::Reason::NotRead, type);
        return true;
    }
    // The data column may be missing: a remote frame and one without payload have none.
    if (!hasWord(idColumn) || !hasWord(directionColumn) || !hasWord(lengthColumn))
        return false;

    CAN::CanRxMessage message;
    message.timeStamp = readMilliseconds(words[timeColumn], *watch);
    readId(words[idColumn], message, *watch);
    message.isTx = sent.isIn(words[directionColumn]);
    // Kept as written: a column "L" holds data length codes, not numbers of bytes.
    message.dlc = quint8(std::min<int>(watch->readByte(words[lengthColumn], 10), maxPayload));
    message.isRemote = isRemote;
    message.isFd = isFd;
    message.isBrs = hasBitRateSwitch;
    if (!isRemote)
        readPayloadAndMore(words, dataColumn, 16, message, *watch);
    appendNumbered(message);
    return true;
}

void PeakTraceImporter::resetColumnsPos()
{
    timeColumn = typeColumn = idColumn = directionColumn = lengthColumn = dataColumn = -1;
}

bool PeakTraceImporter::checkValidColumns(const QStringList &headerLines)
{
    resetColumnsPos();
    const int line = headerLines.indexOf(columnHeader);
    if (line >= 0)
        check2xColumnPos(headerLines.at(line).split(QLatin1Char('=')).constLast());
    const qint8 needed[] = {timeColumn, typeColumn, idColumn, directionColumn, lengthColumn, dataColumn};
    return std::find(std::begin(needed), std::end(needed), -1) == std::end(needed);
}

void PeakTraceImporter::check2xColumnPos(QString columnsText)
{
    const QStringList codes = columnsText.simplified().split(QLatin1Char(','));
    const auto position = [&codes](QLatin1String code, QLatin1String otherCode = {}) {
        const auto isMeant = [&](const QString &text) {
            return text == code || (!otherCode.isEmpty() && text == otherCode);
        };
        const auto found = std::find_if(codes.cbegin(), codes.cend(), isMeant);
        return qint8(found == codes.cend() ? -1 : found - codes.cbegin());
    };
    timeColumn = position(QLatin1String("O"));
    typeColumn = position(QLatin1String("T"));
    idColumn = position(QLatin1String("I"));
    directionColumn = position(QLatin1String("d"));
    lengthColumn = position(QLatin1String("l"), QLatin1String("L"));
    dataColumn = position(QLatin1String("D"));
    reservedColumn = position(QLatin1String("R"));
}

void PeakTraceImporter::importNoticeLine(QString text)
{
    addNote(text);
}

void PeakTraceImporter::convertTimestringAndSetToCanMsg(const QString &timeText, CAN::CanRxMessage &msg)
{
    msg.timeStamp = readMilliseconds(timeText, *watch);
}
