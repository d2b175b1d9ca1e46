// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "importers/listimporter.h"

/**
 * Reads one log of the CANopen conformance test tool into a caller's list; the notices, information and errors of the
 * test become notes to the message that follows them. One object reads one file.
 */
class CANLOGHANDLER_EXPORT CoCTTImporter : public ListImporter
{
    Q_OBJECT

public:
    /// Has no list yet; importFile() takes one.
    explicit CoCTTImporter(QObject *parent);
    ~CoCTTImporter() override;

    /**
     * Appends the messages of the file @p path to @p messages and files its notes in @p notes, which may be
     * null. False without a list, when the file cannot be opened, and at the first frame line that is malformed:
     * messages before it stay in the list.
     */
    bool importFile(QString path, QList<CAN::CanRxMessage> *messages, QMap<unsigned int, QString> *notes);
    /// As importFile(), into the list and the notes that it was given last.
    bool parseFile(QString path);

    /// One frame line, appended to the list as the next message. False when it is malformed.
    bool importCANMsgLine(QString line);
    /// Files @p line, simplified, as a note to the next message, if it has a colon; after a note that is there already
    /// with " | " between.
    void importNoticeLine(QString line);
};
