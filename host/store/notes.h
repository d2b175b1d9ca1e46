// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"

#include <QList>
#include <QMap>
#include <QString>

/// What a delivery's notes mean, the same for every store: a note goes to the first message of the delivery that has
/// its key as messageIndex; a key that none has, to the last one. Texts that meet on one message are joined by " | ".

/// Adds @p text to @p note; an empty text is none.
void joinNote(QString &note, const QString &text);
/// All of @p notes as one text: for a delivery without messages, whose notes belong to the last message before it.
QString joinedNotes(const QMap<unsigned int, QString> &notes);
/// The notes of one delivery by the position of their message in @p messages, which is not empty. None is empty.
QMap<int, QString> notesByPosition(const QList<CAN::CanRxMessage> &messages, QMap<unsigned int, QString> notes);
