#pragma once

#include "common/datachunkhandler.h"
#include "common/datachunkhelper.h"
#include "common/importreport.h"

#include <QString>

class ProgressBar;

/// What one file is to be read as.
struct FileRequest {
    QString path;
    DatachunkHelper::ImportFileType type;
    QString text;      ///< the columns of a GenericFile
    bool flag = false; ///< for archives: merge
};

/// What became of it.
struct FileResult {
    bool ok = false;
    bool isInterrupted = false; ///< by the user; never ok
    QString errorText;          ///< the library's; may be empty
    ImportReport report;
};

/**
 * Has the library read a file into @p store and waits for the end. The store is called from another thread meanwhile;
 * it may end the reading by requesting the interruption of that thread.
 *
 * Ctrl-C ends the reading of a log at the next block, see takeInterruptions(). @p bar, which may be null, is kept up to
 * date.
 */
FileResult readFile(DatachunkHandler &store, const FileRequest &request, ProgressBar *bar = nullptr);
