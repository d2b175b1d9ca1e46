// SPDX-License-Identifier: Apache-2.0
#include "readers/peaktrace.h"

#include "common/framefields.h"
#include "common/text/mark.h"
#include "common/text/numbers.h"

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

} // namespace

/// Number, time, type, identifier, length, data.
PeakTraceLine::Kind PeakTraceLine::readVersion1(const Fields &words, CAN::CanRxMessage &message)
{
    const QStringView type = words[2];
    if (type.isEmpty())
        return Kind::Malformed;
    if (warning.isIn(type))
        return Kind::Note;
    if (words.count() <= 4)
        return Kind::Malformed;
    const bool isSent = sent.isIn(type);
    if (!isSent && !received.isIn(type))
        return Kind::Other; // an error or another event

    message.timeStamp = readMilliseconds(words[1]);
    message.isTx = isSent;
    readId(words[3], message, watch);
    message.dlc = watch.readByte(words[4], 10);
    message.isRemote = isText(words[5], u"RTR");
    if (!message.isRemote)
        readPayloadAndMore(words, 5, 16, message, watch);
    return Kind::Frame;
}

/// The columns of the header; the data stand in the last ones.
PeakTraceLine::Kind PeakTraceLine::readVersion2(const Fields &words, CAN::CanRxMessage &message)
{
    const auto hasWord = [&words](int column) { return column >= 0 && column < words.count(); };
    if (words.count() < 6 || !hasWord(timeColumn) || !hasWord(typeColumn))
        return Kind::Malformed;
    const QStringView type = words[typeColumn];
    const bool isRemote = isText(type, u"RR");
    const bool hasBitRateSwitch = isText(type, u"FB");
    const bool isFd = hasBitRateSwitch || isText(type, u"FD");
    if (!isFrameType(type)) {
        // A CAN FD frame whose sender stated an error is left out like a status or another event, which are no frames.
        if (isText(type, u"FE") || isText(type, u"BI"))
            watch.drop(ImportWatch::Reason::NotRead, type);
        return Kind::Other;
    }
    // The data column may be missing: a remote frame and one without payload have none.
    if (!hasWord(idColumn) || !hasWord(directionColumn) || !hasWord(lengthColumn))
        return Kind::Malformed;

    message.timeStamp = readMilliseconds(words[timeColumn]);
    readId(words[idColumn], message, watch);
    message.isTx = sent.isIn(words[directionColumn]);
    // Kept as written: a column "L" holds data length codes, not numbers of bytes.
    message.dlc = quint8(std::min<int>(watch.readByte(words[lengthColumn], 10), maxPayload));
    message.isRemote = isRemote;
    message.isFd = isFd;
    message.isBrs = hasBitRateSwitch;
    if (!isRemote)
        readPayloadAndMore(words, dataColumn, 16, message, watch);
    return Kind::Frame;
}

bool PeakTraceLine::isFrame(const Fields &words) const
{
    return isFrameType(words[typeColumn]);
}

CanTimeStamp PeakTraceLine::readMilliseconds(QStringView text)
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

void PeakTraceLine::forgetColumns()
{
    timeColumn = typeColumn = idColumn = directionColumn = lengthColumn = dataColumn = -1;
}

bool PeakTraceLine::findColumns(const QStringList &headerLines)
{
    forgetColumns();
    const int line = headerLines.indexOf(columnHeader);
    if (line >= 0)
        setColumns(headerLines.at(line).split(QLatin1Char('=')).constLast());
    const qint8 needed[] = {timeColumn, typeColumn, idColumn, directionColumn, lengthColumn, dataColumn};
    return std::find(std::begin(needed), std::end(needed), -1) == std::end(needed);
}

void PeakTraceLine::setColumns(const QString &columnsText)
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

bool PeakTraceReader::reads(DatachunkHelper::ImportFileType type)
{
    return type >= DatachunkHelper::PeakTraceV11 && type <= DatachunkHelper::PeakTraceV21;
}

ToldFields PeakTraceReader::toldFields() const
{
    ToldFields told;
    told.direction = true;
    told.bitRateSwitch = told.errorStateFlag = latestIsFd;
    return told;
}

LogInfo PeakTraceReader::info() const
{
    LogInfo info;
    info.timeBase = LogInfo::TimeBase::LogStart;
    return info;
}

void PeakTraceReader::begin()
{
    header.clear();
    cutHeader.clear();
    headerTaken = 0;
    headerRead = needsPlaceholder = latestIsFd = false;
}

bool PeakTraceReader::read(CAN::CanRxMessage &message)
{
    if (!headerRead && !readHeader())
        return false;
    for (; nextTraceLine(); message = emptyMessage) {
        switch (readLine(message)) {
        case PeakTraceLine::Kind::Frame:
            latestIsFd = message.isFd;
            return true;
        case PeakTraceLine::Kind::Note:
            joinNote(words.last());
            break;
        case PeakTraceLine::Kind::Other:
            break;
        case PeakTraceLine::Kind::Malformed:
            failAtLine({});
            return false;
        }
    }
    return false;
}

/// False when versions 2.x lack their columns. The first lines are kept, since a pipe cannot be read a second time.
bool PeakTraceReader::readHeader()
{
    headerRead = true;
    if (isVersion1())
        return true;
    while (header.size() < headerLineCount && nextLineUnwatched()) {
        header.append(line().toString());
        cutHeader.append(isLineCut());
    }
    const bool hasColumns = grammar.findColumns(header);
    if (wasStopped())
        return false;
    if (!hasColumns)
        fail(noColumnsText());
    needsPlaceholder = version == DatachunkHelper::PeakTraceV21 && grammar.hasReservedColumn();
    return hasColumns;
}

/// Moves to the next line that is neither comment nor blank.
bool PeakTraceReader::nextTraceLine()
{
    while (nextOfAll()) {
        if (traceLine.startsWith(QLatin1Char(';')))
            continue;
        words.splitAtBlanks(traceLine);
        if (words.count() > 0)
            return true;
    }
    return false;
}

bool PeakTraceReader::nextOfAll()
{
    bool isCut = false;
    if (headerTaken < header.size()) {
        isCut = cutHeader.at(headerTaken);
        traceLine = header.at(headerTaken++);
    } else if (nextLineUnwatched()) {
        isCut = isLineCut();
        traceLine = line();
    } else {
        return endOfLines();
    }
    watch.beginLine(traceLine);
    if (isCut)
        watch.cutLine();
    return true;
}

PeakTraceLine::Kind PeakTraceReader::readLine(CAN::CanRxMessage &message)
{
    return isVersion1() ? readVersion1Line(message) : readVersion2Line(message);
}

/// Without the columns that version 1.1 does not have, the last one first.
PeakTraceLine::Kind PeakTraceReader::readVersion1Line(CAN::CanRxMessage &message)
{
    if (version == DatachunkHelper::PeakTraceV13)
        words.remove(5);
    if (version != DatachunkHelper::PeakTraceV11)
        words.remove(2);
    return grammar.readVersion1(words, message);
}

PeakTraceLine::Kind PeakTraceReader::readVersion2Line(CAN::CanRxMessage &message)
{
    if (!needsPlaceholder || traceLine.contains(QLatin1Char('-')))
        return grammar.readVersion2(words, message);
    if (grammar.isFrame(words))
        watch.drop(ImportWatch::Reason::MissingColumns, {});
    return PeakTraceLine::Kind::Other;
}
