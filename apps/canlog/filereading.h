// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/archivereport.h"
#include "common/datachunkhandler.h"
#include "common/datachunkhelper.h"
#include "common/importreport.h"
#include "common/loginfo.h"

#include <QString>

#include <functional>

class InputFile;
class ProgressBar;

/// What one file is to be read as.
struct FileRequest {
    QString path;
    DatachunkHelper::ImportFileType type;
    QString text;                ///< the columns of a GenericFile
    bool flag = false;           ///< for archives: merge
    InputFile *stream = nullptr; ///< what is read in place of the path, which is its name then; null: the file itself
};

/// What became of it.
struct FileResult {
    bool ok = false;
    bool isInterrupted = false; ///< by the user; never ok
    QString errorText;          ///< the library's, or which line ended the reading; may be empty
    ImportReport report;
    LogInfo log;           ///< what the log says of itself
    ArchiveReport archive; ///< of an archive
};

/// Calls @p work in a thread that is not the program's first, since only those can be interrupted, and waits for its
/// end: in a new one, unless the current one will do. What @p work throws is thrown here.
void runInterruptibly(const std::function<void()> &work);

/**
 * Has the library read a file into @p store and waits for the end. The store is called as runInterruptibly() has it; it
 * may end the reading by requesting the interruption of its thread.
 *
 * Ctrl-C ends the reading of a log at the next block, of an archive at the next entry, see takeInterruptions(). @p bar,
 * which may be null, is kept up to date.
 */
FileResult readFile(DatachunkHandler &store, const FileRequest &request, ProgressBar *bar = nullptr);
