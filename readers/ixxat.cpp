// SPDX-License-Identifier: Apache-2.0
#include "readers/ixxat.h"

#include "common/text/mark.h"

#include <QMap>

#include <algorithm>

// Ixxat logs: a table with a header row, separated by commas or semicolons, elements in quotes or not.
//
//   No,Bus,Time,Type,ID (hex),DLC,Node,Data (hex)
//   1,CAN1,"00:00:01.250.125","Std","181","2","","0A 0B"
//   2,CAN1,"00:00:01.350.000","Std","201","0","","Remote Frame"

namespace
{

constexpr QLatin1Char quote('"');
constexpr Mark idName(u"ID");
constexpr Mark timeName(u"Time");
constexpr Mark dataName(u"Data");
constexpr Mark remoteFrame(u"Remote Frame");

/// The separator that @p row has most of, the first in order when it has as many of another; null when it has none.
QChar mostFrequentSeparator(const QString &row)
{
    QMap<QChar, quint8> counts; // of 8 bits: the 256th starts at 0 again
    for (const QChar c : row) {
        if (c == QLatin1Char(',') || c == QLatin1Char(';'))
            ++counts[c];
    }
    // The first of several largest, in ascending order of the characters.
    const auto most = std::max_element(counts.cbegin(), counts.cend());
    return most == counts.cend() ? QChar() : most.key();
}

} // namespace

QStringView IxxatTable::withoutLeadingZeroes(QStringView text)
{
    while (text.startsWith(QLatin1Char('0')))
        text = text.mid(1);
    return text;
}

/// A number in base 0 that has no leading zeroes left which would make it octal. Unsigned, since sums of broken numbers
/// may be out of range.
quint32 IxxatTable::readPart(QStringView text)
{
    const QStringView digits = withoutLeadingZeroes(text);
    bool ok = true;
    const qint32 part = readSigned(digits, 0, &ok);
    const bool isZero = digits.isEmpty() && !text.isEmpty();
    if (!ok && !isZero)
        watch.doubt(text);
    return quint32(part);
}

bool IxxatTable::isHeaderRow(QStringView line)
{
    return idName.isIn(line) && timeName.isIn(line) && dataName.isIn(line);
}

bool IxxatTable::readRow(QStringView line, CAN::CanRxMessage &message)
{
    elements.splitQuoted(line, separator, quote);
    if (elements.count() < 6 || !has(timeColumn) || !has(idColumn) || !has(dataColumn) || isMissing(typeColumn)
        || isMissing(dlcColumn)) {
        watch.drop(ImportWatch::Reason::MissingColumns, {});
        return false;
    }

    bool hasId = false;
    message.id = readUnsigned(elements[idColumn], 16, &hasId);
    if (!hasId) {
        watch.drop(ImportWatch::Reason::NotANumber, elements[idColumn]);
        return false;
    }
    message.timeStamp = readTime(elements[timeColumn]);
    message.isExtended = elements[typeColumn].contains(QLatin1Char('E'));
    message.dlc = has(dlcColumn) ? watch.readByte(elements[dlcColumn], 10) : quint8(0);
    message.isRemote = remoteFrame.isIn(elements[dataColumn]);
    if (!message.isRemote)
        readPayload(elements[dataColumn], message);
    return true;
}

CanTimeStamp IxxatTable::readTime(QStringView text)
{
    if (text.contains(quote)) {
        room = text.toString().remove(quote);
        text = room;
    }
    parts.split(text, QLatin1Char('.'), Fields::KeepEmpty);
    const QStringView whole = parts[0];
    const quint32 microseconds = readPart(parts[1]) * 1000 + readPart(parts[2]);
    if (!whole.contains(QLatin1Char(':')))
        return {qint32(readPart(whole)), qint32(microseconds)};
    parts.split(whole, QLatin1Char(':'), Fields::KeepEmpty);
    const quint32 seconds = readPart(parts[0]) * 3600 + readPart(parts[1]) * 60 + readPart(parts[2]);
    return {qint32(seconds), qint32(microseconds)};
}

/// Bytes with one blank between two. Their number is the length, whatever the log says it is.
void IxxatTable::readPayload(QStringView text, CAN::CanRxMessage &message)
{
    parts.split(text, QLatin1Char(' '), Fields::KeepEmpty);
    message.dlc = quint8(parts.count());
    const int count = std::min<int>(parts.count(), sizeof message.data);
    for (int i = 0; i < count; ++i)
        message.data[i] = watch.readByte(parts[i], 16);
}

const Fields &IxxatTable::splitRow(QStringView line, QChar elementSeparator, QChar elementQuote)
{
    elements.splitQuoted(line, elementSeparator, elementQuote);
    return elements;
}

void IxxatTable::forgetColumns()
{
    timeColumn = typeColumn = idColumn = dlcColumn = dataColumn = -1;
    columnsValid = false;
}

void IxxatTable::setUsualColumns()
{
    timeColumn = 2;
    typeColumn = 3;
    idColumn = 4;
    dlcColumn = 5;
    dataColumn = 7;
    columnsValid = true;
}

void IxxatTable::readHeaderRow(const QString &line)
{
    const QString header = line.simplified();
    const QChar most = mostFrequentSeparator(header);
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

void IxxatReader::begin()
{
    grammar.forgetColumns();
    ok = true;
}

bool IxxatReader::read(CAN::CanRxMessage &message)
{
    for (; nextLine(); message = emptyMessage) {
        if (IxxatTable::isHeaderRow(line())) {
            grammar.readHeaderRow(line().toString());
        } else if (!grammar.hasColumns()) {
            if (ok)
                complain(noColumnsText());
            ok = false;
        } else {
            const QStringView row = simplified(line(), room);
            if (row.isEmpty())
                continue;
            // A row makes up for a line before the header, which leaves no more than its text.
            ok = true;
            // No row is bad enough to end the import.
            if (grammar.readRow(row, message))
                return true;
        }
    }
    if (!ok && !wasStopped())
        fail(errorString());
    return false;
}
