// SPDX-License-Identifier: Apache-2.0
#include "common/text/mark.h"

#include <QRandomGenerator>
#include <QtTest>

namespace
{

constexpr Mark errorFrame(u"ErrorFrame");
constexpr Mark blockEnd(u"End TriggerBlock", Qt::CaseInsensitive);

} // namespace

class MarkTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isFoundAnywhere_data();
    void isFoundAnywhere();
    void isFoundWhereverItStands();
    void agreesWithQtOnRandomText();
};

void MarkTest::isFoundAnywhere_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("hasErrorFrame");
    QTest::addColumn<bool>("hasBlockEnd");
    QTest::newRow("nothing") << QString() << false << false;
    QTest::newRow("the mark alone") << QStringLiteral("ErrorFrame") << true << false;
    QTest::newRow("at the end") << QStringLiteral("1.5 1 ErrorFrame") << true << false;
    QTest::newRow("within a word") << QStringLiteral("xErrorFramex") << true << false;
    QTest::newRow("in another case") << QStringLiteral("Errorframe") << false << false;
    QTest::newRow("cut at the end") << QStringLiteral("1.5 ErrorFram") << false << false;
    QTest::newRow("cut at the start") << QStringLiteral("rrorFrame") << false << false;
    QTest::newRow("its rare letter alone") << QStringLiteral("m") << false << false;
    QTest::newRow("begun twice") << QStringLiteral("ErrorFramErrorFrame") << true << false;
    QTest::newRow("other mark as it is") << QStringLiteral("End TriggerBlock") << false << true;
    QTest::newRow("other mark in small letters") << QStringLiteral("// end triggerblock //") << false << true;
    QTest::newRow("other mark in capitals") << QStringLiteral("END TRIGGERBLOCK") << false << true;
    QTest::newRow("two blanks") << QStringLiteral("End  TriggerBlock") << false << false;
    QTest::newRow("kelvin sign") << QStringLiteral("End TriggerBloc") + QChar(0x212A) << false << true;
}

void MarkTest::isFoundAnywhere()
{
    QFETCH(QString, line);
    QFETCH(bool, hasErrorFrame);
    QFETCH(bool, hasBlockEnd);
    QCOMPARE(errorFrame.isIn(line), hasErrorFrame);
    QCOMPARE(blockEnd.isIn(line), hasBlockEnd);
}

void MarkTest::isFoundWhereverItStands()
{
    // Lines are looked at in blocks and groups of characters; the last ones overlap.
    const auto look = [](const Mark &mark, const QString &text, char rareLetter) {
        for (int length = text.size(); length < 200; ++length) {
            for (int at = 0; at + text.size() <= length; ++at) {
                QString line(length, QLatin1Char(rareLetter));
                QVERIFY(!mark.isIn(line));
                line.replace(at, text.size(), text);
                QVERIFY(mark.isIn(line));
                line[at + at % text.size()] = QLatin1Char('x');
                QVERIFY(!mark.isIn(line));
            }
        }
    };
    look(errorFrame, QStringLiteral("ErrorFrame"), 'm');
    look(blockEnd, QStringLiteral("END TRIGGERblock"), 'O');
}

void MarkTest::agreesWithQtOnRandomText()
{
    // Out of characters that begin a mark again and again, with others that fold to the same.
    const QStringView text = u"Go";
    const QString characters = QStringLiteral("GgOoxK") + QChar(0x212A) + QChar(0x17F) + QChar(0xD801) + QChar(0xDC00);
    constexpr Mark sensitive(u"Go");
    constexpr Mark insensitive(u"Go", Qt::CaseInsensitive);
    QRandomGenerator random(3);
    int found = 0;
    for (int round = 0; round < 20000; ++round) {
        QString line;
        for (int i = random.bounded(7); i > 0; --i)
            line.append(characters.at(random.bounded(characters.size())));
        QCOMPARE(sensitive.isIn(line), line.contains(text, Qt::CaseSensitive));
        QCOMPARE(insensitive.isIn(line), line.contains(text, Qt::CaseInsensitive));
        found += sensitive.isIn(line);
    }
    QVERIFY(found > 100);
}

QTEST_GUILESS_MAIN(MarkTest)
#include "tst_mark.moc"
