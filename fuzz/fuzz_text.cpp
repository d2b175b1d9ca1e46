// Holds the text core against Qt's own functions and aborts on any difference.

#include "common/text/fields.h"
#include "common/text/linereader.h"
#include "common/text/numbers.h"

#include <QStringList>
#include <QTemporaryFile>
#include <QTextStream>

#include <cstdint>
#include <cstdlib>

namespace
{

void require(bool holds)
{
    if (!holds)
        std::abort();
}

void compareFields(const Fields &ours, const QStringList &expected)
{
    require(ours.count() == expected.size());
    for (int i = 0; i < expected.size(); ++i)
        require(ours[i] == expected.at(i));
}

void compareNumbers(const QString &text)
{
    bool ok = false;
    bool expectedOk = false;
    for (const int base : {0, 10, 16}) {
        const quint32 expected = text.toUInt(&expectedOk, base);
        require(readUnsigned(text, base, &ok) == expected && ok == expectedOk);
        require(readByte(text, base) == quint8(expected));
    }
    for (const int base : {0, 10}) {
        const qint32 expected = text.toInt(&expectedOk, base);
        require(readSigned(text, base, &ok) == expected && ok == expectedOk);
    }
    if (text.contains(QLatin1Char(':')))
        require(readTimeOfDay(text) == CanTimeStamp(QTime::fromString(text, QStringLiteral("hh:mm:ss.zzz"))));
    const QStringList pieces = text.split(QLatin1Char('.'));
    const CanTimeStamp time = readSeconds(text);
    require(time.seconds == pieces.first().toInt(nullptr, 0));
    require(time.microseconds == pieces.last().leftJustified(6, QLatin1Char('0')).toInt());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static QTemporaryFile file;
    if (!file.isOpen() && !file.open())
        std::abort();
    require(file.resize(0) && file.seek(0));
    require(file.write(reinterpret_cast<const char *>(data), qint64(size)) == qint64(size) && file.flush());

    QFile oursFile(file.fileName());
    QFile qtFile(file.fileName());
    require(oursFile.open(QIODevice::ReadOnly) && qtFile.open(QIODevice::ReadOnly));
    LineReader reader(oursFile);
    QTextStream stream(&qtFile);
    Fields fields;
    QString room;
    while (!stream.atEnd()) {
        const QString line = stream.readLine();
        require(reader.next());
        require(reader.line() == line);
        fields.splitAtBlanks(reader.line());
        const QStringList words = line.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
        compareFields(fields, words);
        for (const QString &word : words)
            compareNumbers(word);
        compareNumbers(line);
        require(simplified(reader.line(), room) == line.simplified());
        fields.split(reader.line(), u" : ");
        compareFields(fields, line.split(QStringLiteral(" : ")));
        for (const char separator : {',', ';', '.'}) {
            fields.split(reader.line(), QLatin1Char(separator), Fields::KeepEmpty);
            compareFields(fields, line.split(QLatin1Char(separator), Qt::KeepEmptyParts));
            fields.split(reader.line(), QLatin1Char(separator), Fields::SkipEmpty);
            compareFields(fields, line.split(QLatin1Char(separator), Qt::SkipEmptyParts));
        }
    }
    require(!reader.next());

    require(reader.rewind() && stream.seek(0));
    while (!stream.atEnd())
        require(reader.next() && reader.line() == stream.readLine());
    require(!reader.next());
    return 0;
}
