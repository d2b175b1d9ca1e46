// SPDX-License-Identifier: Apache-2.0
#include "host/store/notes.h"

void joinNote(QString &note, const QString &text)
{
    if (text.isEmpty())
        return;
    if (!note.isEmpty())
        note += QLatin1String(" | ");
    note += text;
}

QString joinedNotes(const QMap<unsigned int, QString> &notes)
{
    QString all;
    for (const QString &text : notes)
        joinNote(all, text);
    return all;
}

QMap<int, QString> notesByPosition(const QList<CAN::CanRxMessage> &messages, QMap<unsigned int, QString> notes)
{
    QMap<int, QString> result;
    for (int i = 0; i < messages.size() && !notes.isEmpty(); ++i) {
        const QString text = notes.take(messages.at(i).messageIndex);
        if (!text.isEmpty())
            result.insert(i, text);
    }
    const QString rest = joinedNotes(notes);
    if (!rest.isEmpty())
        joinNote(result[int(messages.size()) - 1], rest);
    return result;
}
