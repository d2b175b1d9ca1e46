#pragma once

#include "canloghandler/handlerlink.h"
#include "canloghandler/messagebatch.h"
#include "common/importwatch.h"

#include <QFile>

/**
 * One text log on its way into the store: its lines, the batch that they fill and the report on them, which the handler
 * has when this object is gone.
 */
class TextImport
{
public:
    /// The store of @p handler is looked at anew for each delivery. A handler that one of them deletes ends the import.
    TextImport(const QString &path, CANLogHandler *handler);
    ~TextImport();

    /// To be called first. False when the file cannot be opened.
    bool open();
    bool next() { return lines->next(); }
    QStringView line() const { return lines->line(); }
    /// Delivers the rest and closes the file. False, and nothing delivered, when the import was interrupted.
    bool finish();
    /// For further calls after finish(); null when there is no store any more.
    DatachunkHandler *store() const { return link.store(); }

    QFile file;
    ImportWatch watch;
    MessageBatch batch;

private:
    Q_DISABLE_COPY_MOVE(TextImport)

    std::optional<WatchedLines> lines;
    const HandlerLink link;
};
