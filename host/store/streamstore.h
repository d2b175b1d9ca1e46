// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/datachunkhandler.h"

/// For a store without a folder. QDir() would be the current one, and an archive be unpacked there; in Qt's resources
/// nothing can be made.
inline QDir noFolder()
{
    return QDir(QStringLiteral(":/no-store"));
}

/**
 * A store that keeps nothing: every operation does nothing and refuses native chunks. A host that only looks at the
 * messages as they come, to print or count them, overrides addImportedMessages() and whatever else it cares for.
 */
class StreamStore : public DatachunkHandler
{
public:
    using DatachunkHandler::DatachunkHandler;

    void addImportedMessages(const QList<CAN::CanRxMessage> &, const QMap<unsigned int, QString> &) override {}
    void addMessageNoteToLastMessage(QString) override {}
    void notifyFdMessage(bool) override {}
    void setLastErrorText(const QString &) override {}
    void setImportStarted() override {}
    void setImportFinished(bool, DatachunkHelper::ImportFileType, QString, bool) override {}
    bool loadQclFile(QString) override { return false; }
    QDir getDataChunkLocation() const override { return noFolder(); }
    bool parseQCLStream(QDataStream &, bool &) override { return false; }
    unsigned int getMsgCountFromQclStream(QDataStream &) override { return 0; }
    void notifyNewZippedFile(const QString &, const QString &, const QDir &, const QString &) override {}
    void notifyZipFileLoaded(const QString &) override {}
};
