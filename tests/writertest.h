// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "canloghandler/canloghandler.h"
#include "common/canerrortypes.h"
#include "frames.h"
#include "host/convert/framewriter.h"
#include "recordingstore.h"

#include <QBuffer>
#include <QRandomGenerator>
#include <QtTest>

/*
 * What the tests of the writers of text share.
 */

/// What a writer made of some messages.
struct Written {
    QByteArray text;
    QString losses; ///< "note 2, out-of-range time 1"
};

inline QString lossesOf(const FrameWriter &writer)
{
    QStringList parts;
    for (const FrameWriter::LossCount &loss : writer.losses())
        parts.append(QStringLiteral("%1 %2").arg(loss.what, QString::number(loss.count)));
    return parts.join(QLatin1String(", "));
}

template <typename Writer>
Written write(const QList<CAN::CanRxMessage> &messages, const QStringList &notes = {})
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    Writer writer(buffer);
    bool ok = writer.begin();
    for (int i = 0; i < messages.size(); ++i)
        ok = ok && writer.write(messages.at(i), notes.value(i));
    if (!ok || !writer.finish())
        qFatal("a buffer cannot be written: %s", qPrintable(writer.errorText()));
    return {buffer.data(), lossesOf(writer)};
}

/// The messages that the library reads from a file with that content.
inline Frames readBack(const QByteArray &text, DatachunkHelper::ImportFileType type)
{
    const SampleFile file(text);
    RecordingStore store;
    QPointer<DatachunkHandler> current(&store);
    CANLogHandler handler(current);
    if (!handler.loadFile(file.path(), type, QString(), false))
        qFatal("a written file cannot be read: %s", qPrintable(handler.getLastErrorText()));
    return store.messages();
}

/// Messages of every kind from a fixed sequence, in the order of their times, all of which are at or after
/// @p firstSecond. Nothing stands behind a payload.
inline Frames randomMessages(int count, qint32 firstSecond)
{
    QRandomGenerator random(20240521);
    qint64 time = qint64(firstSecond) * 1000000;
    Frames result;
    for (int i = 0; i < count; ++i) {
        CAN::CanRxMessage message;
        time += random.bounded(3000000);
        message.timeStamp = CanTimeStamp(qint32(time / 1000000), qint32(time % 1000000));
        message.messageIndex = quint32(i);
        message.channel = quint16(random.bounded(300));
        message.isTx = random.bounded(2) == 1;
        message.isExtended = random.bounded(2) == 1;
        message.id = quint32(random.bounded(message.isExtended ? 0x20000000 : 0x800));
        message.dlc = quint8(random.bounded(9));
        switch (random.bounded(8)) {
        case 0:
            message.isRemote = true;
            break;
        case 1:
            message.id = CAN::errorFrameId;
            message.isExtended = false;
            message.dlc = 0;
            break;
        case 2:
        case 3:
            message.isFd = true;
            message.isBrs = random.bounded(2) == 1;
            message.isEsi = random.bounded(2) == 1;
            if (random.bounded(2) == 1)
                message.dlc = canFdLengths.at(random.bounded(canFdLengths.size()));
            break;
        default:
            break;
        }
        for (int k = 0; k < message.dlc && !message.isRemote; ++k)
            message.data[k] = quint8(random.bounded(256));
        result.append(message);
    }
    return result;
}

/// Numbers @p messages from 0, as an import does.
inline Frames numbered(Frames messages)
{
    for (int i = 0; i < messages.size(); ++i)
        messages[i].messageIndex = quint32(i);
    return messages;
}

/// Empty when both are equal, else where they first differ.
inline QString differenceOf(const Frames &actual, const Frames &expected)
{
    for (int i = 0; i < qMin(actual.size(), expected.size()); ++i) {
        if (actual.at(i) != expected.at(i))
            return QStringLiteral("actual:   %1\n   expected: %2")
                .arg(describe(actual.at(i)), describe(expected.at(i)));
    }
    if (actual.size() != expected.size())
        return QStringLiteral("%1 messages instead of %2").arg(actual.size()).arg(expected.size());
    return {};
}

/// A device on which there is no space left after @p capacity bytes.
class FullDevice : public QIODevice
{
public:
    explicit FullDevice(qint64 capacity)
        : left(capacity)
    {
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *, qint64 size) override
    {
        if (left == 0) {
            setErrorString(QStringLiteral("no space"));
            return -1;
        }
        const qint64 taken = qMin(left, size);
        left -= taken;
        return taken;
    }

private:
    qint64 left;
};
