// SPDX-License-Identifier: Apache-2.0
#include "readers/errorframetext.h"

#include <QCoreApplication>
#include <QStringList>

namespace
{

struct Words {
    Q_DECLARE_TR_FUNCTIONS(ErrorFrame)
};

struct Bit {
    quint32 bit;
    const char *text;
};

/// What @p bits say, with ", " between.
template <std::size_t size>
QString textOf(const Bit (&table)[size], quint32 bits)
{
    QStringList words;
    for (const Bit &entry : table) {
        if (bits & entry.bit)
            words.append(Words::tr(entry.text));
    }
    return words.join(QLatin1String(", "));
}

constexpr Bit controller[] = {
    {0x01, "receive buffer overflow"},
    {0x02, "transmit buffer overflow"},
    {0x04, "receive errors at warning level"},
    {0x08, "transmit errors at warning level"},
    {0x10, "receive error passive"},
    {0x20, "transmit error passive"},
    {0x40, "error active again"},
};
constexpr Bit protocol[] = {
    {0x01, "single bit error"},
    {0x02, "form error"},
    {0x04, "stuff error"},
    {0x08, "unable to send a dominant bit"},
    {0x10, "unable to send a recessive bit"},
    {0x20, "bus overload"},
    {0x40, "active error announcement"},
    {0x80, "error while transmitting"},
};

QString with(const QString &text, const QString &details)
{
    return details.isEmpty() ? text : QStringLiteral("%1 (%2)").arg(text, details);
}

} // namespace

QString socketCanErrorText(quint32 id, const quint8 *data)
{
    QStringList words;
    const auto add = [&](quint32 bit, const QString &text) {
        if (id & bit)
            words.append(text);
    };
    add(0x001, Words::tr("transmit timeout"));
    add(0x002, data[0] == 0 ? Words::tr("lost arbitration") : Words::tr("lost arbitration in bit %1").arg(data[0]));
    add(0x004, with(Words::tr("controller problem"), textOf(controller, data[1])));
    add(0x008, with(Words::tr("protocol violation"), textOf(protocol, data[2])));
    add(0x010, Words::tr("transceiver status"));
    add(0x020, Words::tr("no acknowledgement"));
    add(0x040, Words::tr("bus off"));
    add(0x080, Words::tr("bus error"));
    add(0x100, Words::tr("controller restarted"));
    add(0x200, Words::tr("transmit errors %1, receive errors %2").arg(data[6]).arg(data[7]));
    const QString text = words.join(QLatin1String("; "));
    return text.isEmpty() ? Words::tr("error frame") : Words::tr("error frame: %1").arg(text);
}
