#include "importers/ixxatfileimporter.h"

#include "common/importwatch.h"
#include "common/text/fields.h"
#include "common/text/mark.h"

#include <QFile>

#include <algorithm>

// Ixxat logs: a table with a header row, separated by commas or semicolons, elements in quotes or not.
//
//   No,Bus,Time,Type,ID (hex),DLC,Node,Data (hex)
//   1,CAN1,"00:00:01.250.125","Std","181","2","","0A 0B"
//   2,CAN1,"00:00:01.350.000","Std","201","0","","Remote Frame"

const QList<QChar> IxxatFileImporter::possibleSeparators{QLatin1Char(','), QLatin1Char(';')};

namespace
{

constexpr QLatin1Char quote('"');
constexpr Mark idName(u"ID");
constexpr Mark timeName(u"Time");
constexpr Mark dataName(u"Data");
constexpr Mark remoteFrame(u"Remote Frame");

QStringView withoutLeadingZeroes(QStringView text)
{
    while (text.startsWith(QLatin1Char('0')))
        text = text.mid(1);
    return text;
}

/// A number in base 0 that has no leading zeroes left which would make it octal. Unsigned, since sums of broken numbers
/// may be out of range.
quint32 readPart(QStringView text, ImportWatch &watch)
{
    const QStringView digits = withoutLeadingZeroes(text);
    bool ok = true;
    const qint32 part = readSigned(digits, 0, &ok);
    const bool isZero = digits.isEmpty() && !text.isEmpty();
    if (!ok && !isZero)
        watch.doubt(text);
    return quint32(part);
}

bool isHeaderRow(QStringView line)
{
    return idName.isIn(line) && timeName.isIn(line) && dataName.isIn(line);
}

/// The separator that @p row has most of, the first in order when it has as many of another; null when it has none.
QChar mostFrequent(const QString &row, const QList<QChar> &separators)
{
    QMap<QChar, quint8> counts; // of 8 bits: the 256th starts at 0 again
    for (const QChar c : row) {
        if (separators.contains(c))
            ++counts[c];
    }
    // The first of several largest, in ascending order of the characters.
    const auto most = std::max_element(counts.cbegin(), counts.cend());
    return most == counts.cend() ? QChar() : most.key();
}

} // namespace

/// The grammar of a data row, with room that serves all rows.
class IxxatFileImporter::Row
{
public:
    explicit Row(ImportWatch &importWatch)
        : watch(importWatch)
    {
    }

    bool has(qint8 column) const { return column >= 0 && column < elements.count(); }

    /// Time of day or seconds, milliseconds, microseconds.
    CanTimeStamp time(QStringView text)
    {
        if (text.contains(quote)) {
            room = text.toString().remove(quote);
            text = room;
        }
        parts.split(text, QLatin1Char('.'), Fields::KeepEmpty);
        const QStringView whole = parts[0];
        const quint32 microseconds = readPart(parts[1], watch) * 1000 + readPart(parts[2], watch);
        if (!whole.contains(QLatin1Char(':')))
            return {qint32(readPart(whole, watch)), qint32(microseconds)};
        parts.split(whole, QLatin1Char(':'), Fields::KeepEmpty);
        const quint32 seconds =
            readPart(parts[0], watch) * 3600 + readPart(parts[1], watch) * 60 + readPart(parts[2], watch);
        return {qint32(seconds), qint32(microseconds)};
    }

    /// Bytes with one blank between two. Their number is the length, whatever the log says it is.
    void readPayload(QStringView text, CAN::CanRxMessage &message)
    {
        parts.split(text, QLatin1Char(' '), Fields::KeepEmpty);
        message.dlc = quint8(parts.count());
        const int count = std::min<int>(parts.count(), sizeof message.data);
        for (int i = 0; i < count; ++i)
            message.data[i] = watch.readByte(parts[i], 16);
    }

    Fields elements;

private:
    ImportWatch &watch;
    Fields parts;
    QString room;
};

IxxatFileImporter::IxxatFileImporter(QObject *parent)
    : ListImporter(tr("No error."), parent)
    , separator(possibleSeparators.first())
    , row(std::make_unique<Row>(*watch))
{
}

IxxatFileImporter::~IxxatFileImporter() = default;

bool IxxatFileImporter::importFile(QString path, QList<CAN::CanRxMessage> *messages, QMap<unsigned int, QString> *notes)
{
    return setTargets(messages, notes) && parseFile(path);
}

bool IxxatFileImporter::parseFile(QString path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    startFile();
    resetColumnsPos();

    WatchedLines lines(file, *watch);
    QString room;
    bool ok = true;
    while (lines.next()) {
        if (isHeaderRow(lines.line())) {
            getColumnsFromLine(lines.line().toString());
        } else if (!columnsValid) {
            if (ok)
                errorString = tr("Import error occured. No valid column description found.");
            ok = false;
        } else {
            const QStringView line = simplified(lines.line(), room);
            if (line.isEmpty())
                continue;
            // A row makes up for a line before the header, which leaves no more than its text.
            importRow(line);
            ok = true;
        }
    }
    return ok && !watch->isInterrupted();
}

bool IxxatFileImporter::importCANMsgLine(QString line)
{
    importRow(line);
    return true;
}

/// No row is bad enough to end the import.
void IxxatFileImporter::importRow(QStringView line)
{
    row->elements.splitQuoted(line, separator, quote);
    const Fields &elements = row->elements;
    const auto isMissing = [this](qint8 column) { return column != -1 && !row->has(column); };
    if (elements.count() < 6 || !row->has(timeColumn) || !row->has(idColumn) || !row->has(dataColumn)
        || isMissing(typeColumn) || isMissing(dlcColumn)) {
        watch->drop(ImportWatch::Reason::MissingColumns, {});
        return;
    }

    CAN::CanRxMessage message;
    bool hasId = false;
    message.id = readUnsigned(elements[idColumn], 16, &hasId);
    if (!hasId) {
        watch->drop(ImportWatch::Reason::NotANumber, elements[idColumn]);
        return;
    }
    message.timeStamp = row->time(elements[timeColumn]);
    message.isExtended = elements[typeColumn].contains(QLatin1Char('E'));
    message.dlc = row->has(dlcColumn) ? watch->readByte(elements[dlcColumn], 10) : quint8(0);
    message.isRemote = remoteFrame.isIn(elements[dataColumn]);
    if (!message.isRemote)
        row->readPayload(elements[dataColumn], message);
    appendNumbered(message);
}

void IxxatFileImporter::resetColumnsPos()
{
    timeColumn = typeColumn = idColumn = dlcColumn = dataColumn = -1;
    columnsValid = false;
}

void IxxatFileImporter::setDefaultColumns()
{
    timeColumn = 2;
    typeColumn = 3;
    idColumn = 4;
    dlcColumn = 5;
    dataColumn = 7;
    columnsValid = true;
}

void IxxatFileImporter::getColumnsFromLine(QString line)
{
    const QString header = line.simplified();
    const QChar most = mostFrequent(header, possibleSeparators);
    if (!most.isNull())
        separator = most;
    const QStringList names = header.split(separator);
    for (const QString &name : names) {
        const auto position = qint8(names.indexOf(name));
        if (name.contains(QLatin1String("Time")))
            timeColumn = position;
        else if (name.contains(QLatin1String("ID")) && !name.contains(QLatin1String("Node")))
            idColumn = position;
        else if (name.contains(QLatin1String("DLC")))
            dlcColumn = position;
        else if (name.contains(QLatin1String("Data")))
            dataColumn = position;
    }
    columnsValid = timeColumn != -1 && idColumn != -1 && dataColumn != -1;
}

QStringList IxxatFileImporter::getLineElements(QString line, QChar elementSeparator, QChar elementQuote)
{
    row->elements.splitQuoted(line, elementSeparator, elementQuote);
    QStringList elements;
    for (int i = 0; i < row->elements.count(); ++i)
        elements.append(row->elements[i].toString());
    return elements;
}

void IxxatFileImporter::removeLeadingZeroes(QString &text)
{
    text = withoutLeadingZeroes(text).toString();
}

void IxxatFileImporter::convertTimestringAndSetToCanMsg(QString text, CAN::CanRxMessage &message)
{
    message.timeStamp = row->time(text);
}
