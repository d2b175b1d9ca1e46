// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"

#include <QByteArray>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <initializer_list>
#include <utility>

/**
 * Expected messages, and what else the tests of all loaders need to write a case in one line:
 *
 *     QTest::newRow("two bytes") << "(1.5) can0 123#1122" << frames({Frame(0x123, "11 22").at(1, 500000)});
 */

/// The number that Qt has for the type called @p name; 0 when it knows none.
inline int metaTypeIdOf(const char *name)
{
#if QT_VERSION_MAJOR >= 6
    return QMetaType::fromName(name).id();
#else
    return QMetaType::type(name);
#endif
}

/// One expected message: everything that is not said is zero or false, as in a fresh record.
class Frame
{
public:
    /// @p payload is hexadecimal text, blanks are free; its length in bytes is the DLC unless dlc() says otherwise.
    explicit Frame(quint32 id = 0, const char *payload = "")
    {
        message.id = id;
        bytes(QByteArray::fromHex(payload));
    }

    /// The payload as bytes, at most the 64 that a record holds; the DLC follows it.
    Frame &bytes(const QByteArray &payload)
    {
        std::fill(std::begin(message.data), std::end(message.data), quint8(0));
        const int stored = qMin(payload.size(), int(sizeof message.data));
        std::transform(payload.cbegin(), payload.cbegin() + stored, std::begin(message.data),
                       [](char byte) { return static_cast<quint8>(byte); });
        message.dlc = static_cast<quint8>(payload.size());
        return *this;
    }
    /// The length as the log states it, where it is not the number of payload bytes.
    Frame &dlc(quint8 length)
    {
        message.dlc = length;
        return *this;
    }
    Frame &at(qint32 seconds, qint32 microseconds)
    {
        message.timeStamp = CanTimeStamp(seconds, microseconds);
        return *this;
    }
    Frame &extended()
    {
        message.isExtended = true;
        return *this;
    }
    Frame &remote()
    {
        message.isRemote = true;
        return *this;
    }
    Frame &fd()
    {
        message.isFd = true;
        return *this;
    }
    Frame &esi()
    {
        message.isEsi = true;
        return *this;
    }
    Frame &brs()
    {
        message.isBrs = true;
        return *this;
    }
    Frame &tx()
    {
        message.isTx = true;
        return *this;
    }
    Frame &channel(quint16 number)
    {
        message.channel = number;
        return *this;
    }
    /// The number within the import; without it frames() counts from 0.
    Frame &index(quint32 number)
    {
        message.messageIndex = number;
        numbered = true;
        return *this;
    }

    bool isNumbered() const { return numbered; }
    operator CAN::CanRxMessage() const { return message; }

private:
    CAN::CanRxMessage message;
    bool numbered = false;
};

/// Messages in file order, printed frame by frame when a comparison fails.
class Frames : public QList<CAN::CanRxMessage>
{
public:
    using QList<CAN::CanRxMessage>::QList;
    Frames() = default;
    Frames(const QList<CAN::CanRxMessage> &other)
        : QList<CAN::CanRxMessage>(other)
    {
    }
};

Q_DECLARE_METATYPE(Frames)

/// The expected messages of one import, numbered from 0 except where a frame brings its own number.
inline Frames frames(std::initializer_list<Frame> list = {})
{
    Frames result;
    for (const Frame &frame : list) {
        CAN::CanRxMessage message = frame;
        if (!frame.isNumbered())
            message.messageIndex = static_cast<quint32>(result.size());
        result.append(message);
    }
    return result;
}

/// All fields in one line. Two messages have the same text only if they are equal.
inline QString describe(const CAN::CanRxMessage &message)
{
    // Zeros past the eighth byte are shown only where another byte follows.
    int shown = qMin(int(message.dlc), 8);
    for (int i = shown; i < int(sizeof message.data); ++i) {
        if (message.data[i] != 0)
            shown = i + 1;
    }
    const QByteArray payload(reinterpret_cast<const char *>(message.data), shown);

    QString text = QStringLiteral("#%1 %2 s %3 us id %4 dlc %5 [%6]")
                       .arg(message.messageIndex)
                       .arg(message.timeStamp.seconds)
                       .arg(message.timeStamp.microseconds)
                       .arg(QString::number(message.id, 16).toUpper())
                       .arg(message.dlc)
                       .arg(QLatin1String(payload.toHex(' ').toUpper()));
    const std::pair<bool, const char *> flags[] = {
        {message.isExtended, " extended"}, {message.isRemote, " remote"}, {message.isFd, " fd"},
        {message.isEsi, " esi"},           {message.isBrs, " brs"},       {message.isTx, " tx"},
    };
    for (const auto &[set, name] : flags) {
        if (set)
            text += QLatin1String(name);
    }
    if (message.channel != 0)
        text += QStringLiteral(" channel %1").arg(message.channel);
    return text;
}

namespace CAN
{
/// Found by QCOMPARE.
inline char *toString(const CanRxMessage &message)
{
    return qstrdup(describe(message).toUtf8().constData());
}
} // namespace CAN

/// Found by QCOMPARE, which cuts long texts: the first messages and the number of all.
inline char *toString(const Frames &list)
{
    constexpr int shown = 6;
    QStringList lines{QStringLiteral("%1 messages").arg(list.size())};
    for (const CAN::CanRxMessage &message : list.mid(0, shown))
        lines.append(describe(message));
    if (list.size() > shown)
        lines.append(QStringLiteral("..."));
    return qstrdup(lines.join(QLatin1String("\n      ")).toUtf8().constData());
}

/// A file with the given content in a folder of its own; both go with the object.
class SampleFile
{
public:
    explicit SampleFile(const QByteArray &content, const QString &name = QStringLiteral("sample.log"))
        : filePath(folder.filePath(name))
    {
        QFile file(filePath);
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("cannot write %s", qUtf8Printable(filePath));
    }

    QString path() const { return filePath; }

private:
    QTemporaryDir folder;
    QString filePath;
};
