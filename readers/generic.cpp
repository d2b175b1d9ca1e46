// SPDX-License-Identifier: Apache-2.0
#include "readers/generic.h"

#include <QMap>

#include <algorithm>

// Files with one frame a line, whose columns the user describes. By the description "t n i ? ? l d":
//
//   # time channel identifier direction kind length data
//   0.000100 1 1A2 Rx d 2 AA BB
//   0.000350 1 18FEF100 Rx d 3 01 02 03

enum class GenericColumns::Column : unsigned char {
    NotRead,
    Time,
    Channel,
    PrefixedId,
    HexId,
    DecimalId,
    Length,
    Data,
};

namespace
{

constexpr quint32 maxStandardId = 0x7FF;
constexpr QLatin1Char commentPrefix('#');
constexpr QLatin1Char separator(' ');

/// Seconds and, behind the point, microseconds, which are not padded: 1.5 is 1 s and 5 µs.
CanTimeStamp readTime(QStringView text, ImportWatch &watch)
{
    const qsizetype point = text.indexOf(QLatin1Char('.'));
    if (point < 0)
        return {watch.readSigned(text, 10), 0};
    const QStringView rest = text.mid(point + 1);
    const qsizetype secondPoint = rest.indexOf(QLatin1Char('.'));
    return {watch.readSigned(text.left(point), 10),
            watch.readSigned(secondPoint < 0 ? rest : rest.left(secondPoint), 10)};
}

/// As many bytes as the length says, from the field at @p first on, as far as they can be read. @p ok tells whether all
/// could; without any byte it stays as it is. Returns the field that could not be read, if any.
QStringView readPayload(const Fields &fields, int first, CAN::CanRxMessage &message, bool &ok)
{
    for (int i = 0; i < message.dlc; ++i) {
        const auto byte = quint8(readUnsigned(fields[first + i], 16, &ok));
        if (!ok)
            return fields[first + i];
        if (i < int(sizeof message.data))
            message.data[i] = byte;
    }
    return {};
}

/// Of a byte that could not be read; a null one is missing.
ImportReport::Reason reasonOf(QStringView badByte)
{
    return badByte.isNull() ? ImportReport::Reason::MissingBytes : ImportReport::Reason::NotANumber;
}

} // namespace

void GenericColumns::setFormat(const QString &format)
{
    static const QMap<QString, Column> codes{
        {QStringLiteral("t"), Column::Time},   {QStringLiteral("n"), Column::Channel},
        {QStringLiteral("i"), Column::HexId},  {QStringLiteral("0xi"), Column::PrefixedId},
        {QStringLiteral("l"), Column::Length}, {QStringLiteral("I"), Column::DecimalId},
        {QStringLiteral("d"), Column::Data},
    };
    columns.clear();
    for (const QString &code : format.split(separator))
        columns.push_back(codes.value(code, Column::NotRead));
}

bool GenericColumns::hasChannel() const
{
    return std::find(columns.begin(), columns.end(), Column::Channel) != columns.end();
}

GenericColumns::LineKind GenericColumns::read(const Fields &fields, CAN::CanRxMessage &message)
{
    // The last column may be missing, as the data of a frame without payload are. The number of columns has 8 bits.
    if (fields.count() < quint8(columns.size()) - 1)
        return LineKind::Malformed;

    // Whether the latest reading succeeded. Bad data lose the line only when nothing can be read after them.
    bool ok = true;
    QStringView badByte;
    bool hasBadByte = false;
    for (int i = 0; i < int(columns.size()); ++i) {
        const QStringView field = fields[i];
        switch (columns[std::size_t(i)]) {
        case Column::NotRead:
            continue;
        case Column::Time:
            message.timeStamp = readTime(field, watch);
            ok = true; // whatever the text is
            continue;
        case Column::Data:
            badByte = readPayload(fields, i, message, ok);
            hasBadByte = !ok;
            continue;
        case Column::Channel:
            message.channel = quint16(readUnsigned(field, 10, &ok));
            break;
        case Column::PrefixedId:
            message.id = readUnsigned(field, 0, &ok);
            break;
        case Column::HexId:
            message.id = readUnsigned(field, 16, &ok);
            break;
        case Column::DecimalId:
            message.id = readUnsigned(field, 10, &ok);
            break;
        case Column::Length:
            message.dlc = quint8(readUnsigned(field, 10, &ok));
            break;
        }
        if (!ok) {
            watch.drop(ImportWatch::Reason::NotANumber, field);
            return LineKind::Other;
        }
    }
    if (!ok) {
        watch.drop(reasonOf(badByte), badByte);
        return LineKind::Other;
    }
    if (hasBadByte)
        watch.doubt(badByte, reasonOf(badByte));
    message.isExtended = message.id > maxStandardId;
    return LineKind::Frame;
}

GenericReader::GenericReader(const QString &columns)
    : ListReader("GenericFileImporter")
{
    grammar.setFormat(columns);
}

ToldFields GenericReader::toldFields() const
{
    ToldFields told;
    told.channel = grammar.hasChannel();
    return told;
}

bool GenericReader::read(CAN::CanRxMessage &message)
{
    for (; nextLine(); message = emptyMessage) {
        fields.splitAtBlanks(line());
        if (fields.count() == 0 || fields[0].startsWith(commentPrefix))
            continue;
        switch (grammar.read(fields, message)) {
        case GenericColumns::LineKind::Frame:
            return true;
        case GenericColumns::LineKind::Other:
            break;
        case GenericColumns::LineKind::Malformed:
            failAtLine({});
            return false;
        }
    }
    return false;
}
