// SPDX-License-Identifier: Apache-2.0
#include "canloghandler/canloghandler.h"
#include "common/canerrortypes.h"
#include "common/canrxmessage.h"
#include "common/datachunkhelper.h"
#include "frames.h"

#include <QMetaEnum>
#include <QtTest>

#include <cstddef>
#include <type_traits>

using CAN::CanRxMessage;
namespace Helper = DatachunkHelper;

class MessageSource : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void newMessage(CAN::CanRxMessage message);
};

class MessageTypesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void freshRecordIsAllZero();
    void freshRecordInAListIsAllZero();
    void recordsWithAnyDifferentFieldDiffer();
    void fieldsHaveTheirWidths();
    void fieldsComeInTheirOrder();
    void recordIsPlainMemory();
    void recordHasItsMetaTypeName();
    void recordTravelsInAQueuedSignal();
    void freshTimeStampIsZero();
    void timeStampFromBothFieldsKeepsThem_data();
    void timeStampFromBothFieldsKeepsThem();
    void timeStampFromTimeOfDay_data();
    void timeStampFromTimeOfDay();
    void errorTypesHaveExactlyTheirNames();
    void otherErrorTypesHaveNoName_data();
    void otherErrorTypesHaveNoName();
    void fdLengthsAreExactlyTheseInThisOrder();
    void tablesAreReadOnly();
    void importFileTypesHaveTheirNumbers_data();
    void importFileTypesHaveTheirNumbers();
    void noImportFileTypeHasAReservedNumber_data();
    void noImportFileTypeHasAReservedNumber();
};

void MessageTypesTest::freshRecordIsAllZero()
{
    const CanRxMessage message;
    QCOMPARE(message.timeStamp.seconds, 0);
    QCOMPARE(message.timeStamp.microseconds, 0);
    QCOMPARE(message.id, 0U);
    QCOMPARE(message.dlc, quint8(0));
    for (const quint8 byte : message.data)
        QCOMPARE(byte, quint8(0));
    QVERIFY(!message.isRemote);
    QVERIFY(!message.isExtended);
    QVERIFY(!message.isFd);
    QVERIFY(!message.isEsi);
    QVERIFY(!message.isBrs);
    QVERIFY(!message.isTx);
    QCOMPARE(message.messageIndex, 0U);
    QCOMPARE(message.channel, quint16(0));
}

void MessageTypesTest::freshRecordInAListIsAllZero()
{
    QList<CanRxMessage> list;
    list.append(CanRxMessage());
    QCOMPARE(describe(list.at(0)), QStringLiteral("#0 0 s 0 us id 0 dlc 0 []"));
    QCOMPARE(list.at(0), CanRxMessage());
}

void MessageTypesTest::recordsWithAnyDifferentFieldDiffer()
{
    const CanRxMessage base = Frame();
    const QList<CanRxMessage> others{
        Frame().at(1, 0),
        Frame().at(0, 1),
        Frame(1),
        Frame().dlc(1),
        Frame(0, "01").dlc(0),
        Frame().remote(),
        Frame().extended(),
        Frame().fd(),
        Frame().esi(),
        Frame().brs(),
        Frame().tx(),
        Frame().index(1),
        Frame().channel(1),
        Frame().bytes(QByteArray(63, '\0') + '\1').dlc(0),
    };
    for (int i = 0; i < others.size(); ++i) {
        QVERIFY2(others.at(i) != base, qPrintable(describe(others.at(i))));
        for (int k = 0; k < others.size(); ++k)
            QCOMPARE(others.at(i) == others.at(k), i == k);
    }
}

void MessageTypesTest::fieldsHaveTheirWidths()
{
    CanRxMessage message;
    QVERIFY((std::is_same_v<decltype(CanTimeStamp::seconds), qint32>));
    QVERIFY((std::is_same_v<decltype(CanTimeStamp::microseconds), qint32>));
    QVERIFY((std::is_same_v<decltype(message.timeStamp), CanTimeStamp>));
    QVERIFY((std::is_same_v<decltype(message.id), quint32>));
    QVERIFY((std::is_same_v<decltype(message.dlc), quint8>));
    QVERIFY((std::is_same_v<decltype(message.data), quint8[64]>));
    QVERIFY((std::is_same_v<decltype(message.isRemote), bool>));
    QVERIFY((std::is_same_v<decltype(message.isExtended), bool>));
    QVERIFY((std::is_same_v<decltype(message.isFd), bool>));
    QVERIFY((std::is_same_v<decltype(message.isEsi), bool>));
    QVERIFY((std::is_same_v<decltype(message.isBrs), bool>));
    QVERIFY((std::is_same_v<decltype(message.isTx), bool>));
    QVERIFY((std::is_same_v<decltype(message.messageIndex), quint32>));
    QVERIFY((std::is_same_v<decltype(message.channel), quint16>));
    QCOMPARE(sizeof(bool), std::size_t(1));
    QCOMPARE(sizeof(CanTimeStamp), std::size_t(8));
    // 8 time, 4 id, 1 length, 64 payload, 6 flags, 1 padding, 4 index, 2 channel, 2 padding
    QCOMPARE(sizeof(CanRxMessage), std::size_t(92));
}

void MessageTypesTest::fieldsComeInTheirOrder()
{
    QVERIFY(std::is_standard_layout_v<CanRxMessage>);
    QCOMPARE(offsetof(CanTimeStamp, seconds), std::size_t(0));
    QCOMPARE(offsetof(CanTimeStamp, microseconds), std::size_t(4));

    const std::size_t offsets[] = {
        offsetof(CanRxMessage, timeStamp), offsetof(CanRxMessage, id),           offsetof(CanRxMessage, dlc),
        offsetof(CanRxMessage, data),      offsetof(CanRxMessage, isRemote),     offsetof(CanRxMessage, isExtended),
        offsetof(CanRxMessage, isFd),      offsetof(CanRxMessage, isEsi),        offsetof(CanRxMessage, isBrs),
        offsetof(CanRxMessage, isTx),      offsetof(CanRxMessage, messageIndex), offsetof(CanRxMessage, channel),
    };
    QCOMPARE(offsets[0], std::size_t(0));
    QVERIFY(std::is_sorted(std::begin(offsets), std::end(offsets)));
    QVERIFY(std::adjacent_find(std::begin(offsets), std::end(offsets)) == std::end(offsets));
}

void MessageTypesTest::recordIsPlainMemory()
{
    QVERIFY(std::is_trivially_copyable_v<CanRxMessage>);
    QVERIFY(std::is_trivially_copyable_v<CanTimeStamp>);
    QVERIFY(std::is_trivially_destructible_v<CanRxMessage>);
    QVERIFY(std::is_nothrow_default_constructible_v<CanRxMessage>);
}

void MessageTypesTest::recordHasItsMetaTypeName()
{
    const int id = qMetaTypeId<CanRxMessage>();
    QCOMPARE(QByteArray(QMetaType(id).name()), QByteArray("CAN::CanRxMessage"));
    QCOMPARE(metaTypeIdOf("CAN::CanRxMessage"), id);
    QCOMPARE(int(QMetaType(id).sizeOf()), int(sizeof(CanRxMessage)));

    const CanRxMessage message = Frame(0x123, "11 22").at(1, 5).extended().tx().channel(2).index(7);
    QCOMPARE(QVariant::fromValue(message).value<CanRxMessage>(), message);
}

void MessageTypesTest::recordTravelsInAQueuedSignal()
{
    MessageSource source;
    Frames received;
    connect(
        &source, &MessageSource::newMessage, this,
        [&received](const CanRxMessage &message) { received.append(message); }, Qt::QueuedConnection);

    const Frames sent = frames({Frame(0x123, "11 22").at(1, 5), Frame(0x18FEF100, "FF").extended()});
    for (const CanRxMessage &message : sent)
        Q_EMIT source.newMessage(message);
    QCOMPARE(received, Frames());
    QCoreApplication::processEvents();
    QCOMPARE(received, sent);
}

void MessageTypesTest::freshTimeStampIsZero()
{
    const CanTimeStamp stamp;
    QCOMPARE(stamp.seconds, 0);
    QCOMPARE(stamp.microseconds, 0);
}

void MessageTypesTest::timeStampFromBothFieldsKeepsThem_data()
{
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("microseconds");

    QTest::newRow("usual") << 1345212884 << 318850;
    QTest::newRow("microseconds above a second") << 1 << 1234567;
    QTest::newRow("negative") << -5 << -50000;
    QTest::newRow("largest") << std::numeric_limits<int>::max() << std::numeric_limits<int>::max();
    QTest::newRow("smallest") << std::numeric_limits<int>::min() << std::numeric_limits<int>::min();
}

void MessageTypesTest::timeStampFromBothFieldsKeepsThem()
{
    QFETCH(int, seconds);
    QFETCH(int, microseconds);

    const CanTimeStamp stamp(seconds, microseconds);
    QCOMPARE(stamp.seconds, seconds);
    QCOMPARE(stamp.microseconds, microseconds);
}

void MessageTypesTest::timeStampFromTimeOfDay_data()
{
    QTest::addColumn<QTime>("time");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("microseconds");

    QTest::newRow("midnight") << QTime(0, 0) << 0 << 0;
    QTest::newRow("one millisecond") << QTime(0, 0, 0, 1) << 0 << 1000;
    QTest::newRow("one second") << QTime(0, 0, 1) << 1 << 0;
    QTest::newRow("hours, minutes, seconds, milliseconds") << QTime(1, 2, 3, 456) << 3723 << 456000;
    QTest::newRow("noon") << QTime(12, 0) << 43200 << 0;
    QTest::newRow("end of the day") << QTime(23, 59, 59, 999) << 86399 << 999000;
    QTest::newRow("parsed") << QTime::fromString(QStringLiteral("10:20:30.045"), QStringLiteral("hh:mm:ss.zzz"))
                            << 37230 << 45000;
    QTest::newRow("null time") << QTime() << 0 << 0;
    QTest::newRow("invalid time") << QTime(24, 0) << 0 << 0;
    QTest::newRow("text that is no time")
        << QTime::fromString(QStringLiteral("x"), QStringLiteral("hh:mm:ss.zzz")) << 0 << 0;
}

void MessageTypesTest::timeStampFromTimeOfDay()
{
    QFETCH(QTime, time);
    QFETCH(int, seconds);
    QFETCH(int, microseconds);

    const CanTimeStamp stamp(time);
    QCOMPARE(stamp.seconds, seconds);
    QCOMPARE(stamp.microseconds, microseconds);
}

void MessageTypesTest::errorTypesHaveExactlyTheirNames()
{
    const QMap<unsigned char, QString> expected{
        {1, QStringLiteral("Stuff error")},          {2, QStringLiteral("Form error")},
        {3, QStringLiteral("Acknowledgment error")}, {4, QStringLiteral("Bit error")},
        {5, QStringLiteral("Fast data bit error")},  {6, QStringLiteral("CRC error")},
        {7, QStringLiteral("Data length error")},    {8, QStringLiteral("unspecified error")},
    };
    QCOMPARE(canErrorTypeNames.keys(), expected.keys());
    QCOMPARE(canErrorTypeNames.values(), expected.values());
}

void MessageTypesTest::otherErrorTypesHaveNoName_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("0") << 0;
    QTest::newRow("9") << 9;
    QTest::newRow("255") << 255;
}

void MessageTypesTest::otherErrorTypesHaveNoName()
{
    QFETCH(int, key);
    QVERIFY(!canErrorTypeNames.contains(static_cast<unsigned char>(key)));
    QCOMPARE(canErrorTypeNames.value(static_cast<unsigned char>(key)), QString());
}

void MessageTypesTest::fdLengthsAreExactlyTheseInThisOrder()
{
    QCOMPARE(canFdLengths, (QList<unsigned char>{12, 16, 20, 24, 32, 48, 64}));
}

void MessageTypesTest::tablesAreReadOnly()
{
    QVERIFY((std::is_same_v<decltype(canErrorTypeNames), const QMap<unsigned char, QString>>));
    QVERIFY((std::is_same_v<decltype(canFdLengths), const QList<unsigned char>>));
}

void MessageTypesTest::importFileTypesHaveTheirNumbers_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("number");

    QTest::newRow("QclZipArchive") << int(Helper::QclZipArchive) << 0;
    QTest::newRow("QclFile") << int(Helper::QclFile) << 1;
    QTest::newRow("NorvikTxt") << int(Helper::NorvikTxt) << 2;
    QTest::newRow("PeakTraceReserved") << int(Helper::PeakTraceReserved) << 4;
    QTest::newRow("PeakTraceV11") << int(Helper::PeakTraceV11) << 5;
    QTest::newRow("PeakTraceV12") << int(Helper::PeakTraceV12) << 6;
    QTest::newRow("PeakTraceV13") << int(Helper::PeakTraceV13) << 7;
    QTest::newRow("PeakTraceV20") << int(Helper::PeakTraceV20) << 8;
    QTest::newRow("PeakTraceV21") << int(Helper::PeakTraceV21) << 9;
    QTest::newRow("SocketCanDump") << int(Helper::SocketCanDump) << 11;
    QTest::newRow("KvaserTxtLog") << int(Helper::KvaserTxtLog) << 12;
    QTest::newRow("KvaserCanKingLog") << int(Helper::KvaserCanKingLog) << 13;
    QTest::newRow("VectorAscLog") << int(Helper::VectorAscLog) << 14;
    QTest::newRow("VectorAscLogWithoutBitcount") << int(Helper::VectorAscLogWithoutBitcount) << 15;
    QTest::newRow("CoCTTLog") << int(Helper::CoCTTLog) << 17;
    QTest::newRow("IxxatLog") << int(Helper::IxxatLog) << 18;
    QTest::newRow("WiresharkCsv") << int(Helper::WiresharkCsv) << 19;
    QTest::newRow("GenericFile") << int(Helper::GenericFile) << 20;
    QTest::newRow("Candump") << int(Helper::Candump) << 21;
    QTest::newRow("VectorAsc") << int(Helper::VectorAsc) << 22;
    QTest::newRow("PcanTrace") << int(Helper::PcanTrace) << 23;
    QTest::newRow("BusmasterLog") << int(Helper::BusmasterLog) << 24;
    QTest::newRow("GvretCsv") << int(Helper::GvretCsv) << 25;
    QTest::newRow("PythonCanCsv") << int(Helper::PythonCanCsv) << 26;
    QTest::newRow("SemicolonCsv") << int(Helper::SemicolonCsv) << 27;
    QTest::newRow("Blf") << int(Helper::Blf) << 28;
}

void MessageTypesTest::importFileTypesHaveTheirNumbers()
{
    QFETCH(int, type);
    QFETCH(int, number);

    QCOMPARE(type, number);
    // Names are looked up at run time as well, by a host's settings or command line.
    QCOMPARE(QMetaEnum::fromType<Helper::ImportFileType>().keyToValue(QTest::currentDataTag()), number);
}

void MessageTypesTest::noImportFileTypeHasAReservedNumber_data()
{
    QTest::addColumn<int>("number");
    for (const int number : {-1, 3, 10, 16, 29})
        QTest::newRow(QByteArray::number(number).constData()) << number;
}

void MessageTypesTest::noImportFileTypeHasAReservedNumber()
{
    QFETCH(int, number);
    QVERIFY(!QMetaEnum::fromType<Helper::ImportFileType>().valueToKey(number));
}

QTEST_GUILESS_MAIN(MessageTypesTest)
#include "tst_messagetypes.moc"
