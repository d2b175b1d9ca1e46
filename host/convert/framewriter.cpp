// SPDX-License-Identifier: Apache-2.0
#include "host/convert/framewriter.h"

#include "host/convert/plaintext.h"
#include "host/store/framekind.h"

namespace
{

constexpr quint32 highestId = 0x1FFFFFFF;

struct LossText {
    QString what;
    QString outcome;
};

/// In the order of Loss.
const std::array<LossText, lossKinds> &lossTexts()
{
    static const QString leftOut = QStringLiteral("left out");
    static const std::array<LossText, lossKinds> texts{{
        {QStringLiteral("note"), leftOut},
        {QStringLiteral("Tx direction"), leftOut},
        {QStringLiteral("channel 0 frame"), QStringLiteral("now of channel 1")},
        {QStringLiteral("out-of-range time"), QStringLiteral("now the nearest in range")},
        {QStringLiteral("impossible length"), QStringLiteral("cut or left out")},
        {QStringLiteral("over-long identifier"), QStringLiteral("more than 29 bits, kept")},
        {QStringLiteral("high channel number"), QStringLiteral("above 255, kept")},
        {QStringLiteral("error frame payload"), leftOut},
        {QStringLiteral("misplaced CAN FD mark"), leftOut},
        {QStringLiteral("unprintable note"), QStringLiteral("control characters now as U+001B")},
        {QStringLiteral("ill-formed note"), QStringLiteral("what is no character now U+FFFD")},
        {QStringLiteral("formula-like note"), QStringLiteral("now behind an apostrophe, unless --raw")},
        {QStringLiteral("channel name"), leftOut},
    }};
    return texts;
}

} // namespace

FrameWriter::~FrameWriter() = default;

QVector<FrameWriter::LossCount> FrameWriter::losses() const
{
    QVector<LossCount> result;
    for (std::size_t i = 0; i < lossCounts.size(); ++i) {
        if (lossCounts[i] > 0)
            result.append({lossTexts()[i].what, lossCounts[i], lossTexts()[i].outcome});
    }
    return result;
}

QString FrameWriter::nameOf(quint16 channel)
{
    const auto known = names.constFind(channel);
    if (known != names.constEnd())
        return *known;
    QString name = logInfo().channelNames.value(channel);
    if (name == QStringLiteral("can%1").arg(int(channel) - 1))
        name.clear();
    return *names.insert(channel, name);
}

void FrameWriter::loseNameOf(quint16 channel)
{
    if (!names.contains(channel) && !nameOf(channel).isEmpty())
        lose(Loss::ChannelName);
}

void FrameWriter::countImpossible(const CAN::CanRxMessage &message)
{
    const FrameKind kind = kindOf(message);
    if (message.id > highestId && kind != FrameKind::Error)
        lose(Loss::Identifier);
    if (kind != FrameKind::Fd && (message.isFd || message.isBrs || message.isEsi))
        lose(Loss::Mark);
}

QString FrameWriter::wellFormedNote(const QString &note)
{
    QString result = wellFormed(note);
    if (result != note)
        lose(Loss::Surrogates);
    return result;
}

bool FrameWriter::fail(const QString &reason)
{
    error = reason;
    return false;
}
