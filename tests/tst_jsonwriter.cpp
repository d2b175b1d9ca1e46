// SPDX-License-Identifier: Apache-2.0
#include "host/convert/jsonwriter.h"
#include "writertest.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace
{

CAN::CanRxMessage messageOf(const QJsonObject &object)
{
    const auto text = [&](const char *key) { return object.value(QLatin1String(key)).toString(); };
    const auto number = [&](const char *key) { return object.value(QLatin1String(key)).toDouble(); };
    const auto flag = [&](const char *key) { return object.value(QLatin1String(key)).toBool(); };
    const qint64 time = std::llround(number("time") * 1000000);
    CAN::CanRxMessage message = Frame(flag("error") ? CAN::errorFrameId : quint32(number("id")))
                                    .bytes(QByteArray::fromHex(text("data").toLatin1()))
                                    .dlc(quint8(number("dlc")))
                                    .channel(quint16(number("channel")))
                                    .at(qint32(time / 1000000), qint32(time % 1000000));
    message.isTx = text("direction") == QLatin1String("Tx");
    message.isExtended = flag("extended");
    message.isRemote = flag("remote");
    message.isFd = flag("fd");
    message.isBrs = flag("brs");
    message.isEsi = flag("esi");
    return message;
}

} // namespace

class JsonWriterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesOneLine_data();
    void writesOneLine();
    void nothingRawReachesATerminal_data();
    void nothingRawReachesATerminal();
    void nothingGivesAnEmptyFile();
    void notesSurvive_data();
    void notesSurvive();
    void holdsEverything();
};

void JsonWriterTest::writesOneLine_data()
{
    QTest::addColumn<CAN::CanRxMessage>("message");
    QTest::addColumn<QString>("note");
    QTest::addColumn<QByteArray>("line");
    const auto row = [](const char *name, const Frame &frame, const QByteArray &line, const char *note = "") {
        QTest::newRow(name) << CAN::CanRxMessage(frame) << QString::fromUtf8(note) << line;
    };
    row("data", Frame(0x123, "11 AB").at(1345212884, 318850).channel(1),
        R"({"time":1345212884.318850,"channel":1,"direction":"Rx","id":291,"extended":false,"remote":false,"fd":false,)"
        R"("brs":false,"esi":false,"error":false,"dlc":2,"data":"11AB"})"
        "\n");
    row("all flags", Frame(0x1FFFFFFF).extended().remote().fd().brs().esi().tx().dlc(3),
        R"({"time":0.000000,"channel":0,"direction":"Tx","id":536870911,"extended":true,"remote":true,"fd":true,)"
        R"("brs":true,"esi":true,"error":false,"dlc":3,"data":""})"
        "\n");
    row("error frame with a note", Frame(CAN::errorFrameId).at(-1, 250000),
        R"({"time":-0.750000,"channel":0,"direction":"Rx","id":null,"extended":false,"remote":false,"fd":false,)"
        R"("brs":false,"esi":false,"error":true,"dlc":0,"data":"","note":"bus \"off\"\n"})"
        "\n",
        "bus \"off\"\n");
}

void JsonWriterTest::writesOneLine()
{
    QFETCH(CAN::CanRxMessage, message);
    QFETCH(QString, note);
    QFETCH(QByteArray, line);
    const Written written = write<JsonWriter>({message}, {note});
    QCOMPARE(written.text, line);
    QCOMPARE(written.losses, QString());
}

void JsonWriterTest::nothingRawReachesATerminal_data()
{
    QTest::addColumn<QString>("note");
    QTest::addColumn<QByteArray>("string");
    QTest::addColumn<QString>("losses");
    const auto row = [](const char *name, const QString &note, const char *string, const char *losses = "") {
        QTest::newRow(name) << note << QByteArray(string) << QString::fromLatin1(losses);
    };
    row("escape", QStringLiteral("a\x1b[0m"), R"("a\u001b[0m")");
    row("zero", QString(QChar(QChar::Null)), R"("\u0000")");
    row("delete and C1", QStringLiteral("\x7F\u009B"), R"("\u007f\u009b")");
    row("override", QStringLiteral("\u202Eabc"), R"("\u202eabc")");
    row("line separator", QStringLiteral("a\u2028b"), R"("a\u2028b")");
    row("half a character", QString(QChar(ushort(0xD800))) + QStringLiteral("\"x"), "\"\xEF\xBF\xBD\\\"x\"",
        "ill-formed note 1");
    row("a pair", QStringLiteral("\U0001F697"), "\"\xF0\x9F\x9A\x97\"");
}

void JsonWriterTest::nothingRawReachesATerminal()
{
    QFETCH(QString, note);
    QFETCH(QByteArray, string);
    QFETCH(QString, losses);
    const Written written = write<JsonWriter>({Frame(0x1)}, {note});
    QCOMPARE(written.text.mid(written.text.indexOf(",\"note\":") + 8), string + "}\n");
    QCOMPARE(written.losses, losses);
}

void JsonWriterTest::nothingGivesAnEmptyFile()
{
    QCOMPARE(write<JsonWriter>({}).text, QByteArray());
}

void JsonWriterTest::notesSurvive_data()
{
    QTest::addColumn<QString>("note");
    for (const char *note : {"plain", "\"", "\\", "a\tb\r\nc", "\x01", "\xC3\xA4\xE2\x82\xAC", "{\"a\":[1]}", "]"})
        QTest::newRow(note) << QString::fromUtf8(note);
}

void JsonWriterTest::notesSurvive()
{
    QFETCH(QString, note);
    const QByteArray text = write<JsonWriter>({Frame(0x1)}, {note}).text;
    QCOMPARE(text.count('\n'), 1);
    QCOMPARE(QJsonDocument::fromJson(text).object().value(QLatin1String("note")).toString(), note);
}

void JsonWriterTest::holdsEverything()
{
    const Frames messages = randomMessages(3000, 1716284412);
    const QList<QByteArray> lines = write<JsonWriter>(messages).text.split('\n');
    Frames read;
    for (const QByteArray &line : lines.mid(0, lines.size() - 1))
        read.append(messageOf(QJsonDocument::fromJson(line).object()));
    QCOMPARE(differenceOf(numbered(read), messages), QString());
}

QTEST_GUILESS_MAIN(JsonWriterTest)
#include "tst_jsonwriter.moc"
