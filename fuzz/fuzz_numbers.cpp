// SPDX-License-Identifier: Apache-2.0
// Holds the numbers of a log against QString's toUInt() and toInt() and against QTime.

#include "common/text/numbers.h"
#include "fuzz/fuzztext.h"
#include "tests/encodings.h"

#include <QStringList>

namespace
{

void compareIntegers(const QString &text)
{
    bool ok = false;
    bool expectedOk = false;
    for (const int base : {0, 10, 16}) {
        const quint32 expected = text.toUInt(&expectedOk, base);
        require(readUnsigned(text, base, &ok) == expected && ok == expectedOk);
        require(readByte(text, base, &ok) == quint8(expected) && ok == expectedOk);
    }
    for (const int base : {0, 10}) {
        const qint32 expected = text.toInt(&expectedOk, base);
        require(readSigned(text, base, &ok) == expected && ok == expectedOk);
    }
}

void compareTimes(const QString &text)
{
    bool ok = false;
    if (text.contains(QLatin1Char(':'))) { // QTime takes microseconds to refuse a text
        const QTime time = QTime::fromString(text, QStringLiteral("hh:mm:ss.zzz"));
        require(readTimeOfDay(text, &ok) == CanTimeStamp(time) && ok == time.isValid());
    }
    bool secondsOk = false;
    bool fractionOk = false;
    const QStringList pieces = text.split(QLatin1Char('.'));
    const int seconds = pieces.first().toInt(&secondsOk, 0);
    const int microseconds = pieces.last().leftJustified(6, QLatin1Char('0')).toInt(&fractionOk);
    const CanTimeStamp time = readSeconds(text, &ok);
    require(time.seconds == seconds && time.microseconds == microseconds && ok == (secondsOk && fractionOk));
}

void comparePairs(const QString &text)
{
    QByteArray bytes(int(text.size() / 2), Qt::Uninitialized);
    const qsizetype count = readHexPairs(text, reinterpret_cast<quint8 *>(bytes.data()));
    require(count <= bytes.size());
    const auto isDigit = [&text](int at) {
        const QChar c = text.at(at);
        return c.unicode() < 0x80 && QStringLiteral("0123456789abcdef").contains(c.toLower());
    };
    for (int i = 0; i < count; ++i)
        require(isDigit(2 * i) && isDigit(2 * i + 1) && quint8(bytes.at(i)) == text.mid(2 * i, 2).toUInt(nullptr, 16));
    require(count == bytes.size() || !isDigit(int(2 * count)) || !isDigit(int(2 * count + 1)));
}

void compare(const QString &text)
{
    if (!isReadOtherwiseByQt(text)) {
        compareIntegers(text);
        compareTimes(text);
    }
    comparePairs(text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString text = inputText(data, size);
    compare(text);
    for (const QString &word : text.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts))
        compare(word);
    return 0;
}
