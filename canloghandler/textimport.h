#pragma once

#include "canloghandler/canloghandler.h"
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
    /// @p handlersReport is where the report goes; @p store is looked at anew for each delivery. Both must live longer.
    TextImport(const QString &path, const QPointer<DatachunkHandler> &store, ImportReport &handlersReport,
               const ImportWatch::Progress &progress);
    ~TextImport();

    /// To be called first. False when the file cannot be opened.
    bool open();
    bool next() { return lines->next(); }
    QStringView line() const { return lines->line(); }
    /// Delivers the rest and closes the file. False, and nothing delivered, when the import was interrupted.
    bool finish();

    QFile file;
    ImportWatch watch;
    MessageBatch batch;

private:
    Q_DISABLE_COPY_MOVE(TextImport)

    std::optional<WatchedLines> lines;
    ImportReport &report;
};
