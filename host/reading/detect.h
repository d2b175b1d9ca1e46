// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/datachunkhelper.h"

#include <QString>

#include <optional>

class QIODevice;

/// The first bytes of a file that hold all the characters its format is found from, four bytes each, and one more.
constexpr int detectionSize = 4 * 65536 + 5;

/// What the content of a file says of its format.
struct Detection {
    std::optional<DatachunkHelper::ImportFileType> type; ///< none: unknown
    /// False: likely; another format is not out of the question, or the reader drops some of the lines.
    bool isCertain = false;
    QString reason; ///< the lines that spoke for the type, or what there is instead
    QString advice; ///< what to try with a file that is no log for sure; empty otherwise
};

/**
 * Finds the format of the file @p path from its first 65536 characters, or from 32 lines when they leave no doubt; its
 * name plays no part. A text of which too few lines fit a format is unknown, never guessed, as is a file that cannot be
 * read. Of formats that fit alike the one that reads the most frames is taken. A file of columns (GenericFile) says
 * nothing of what they mean and is always unknown.
 */
Detection detectFormat(const QString &path);
/// The same for @p device, which is open for reading, at its beginning and can seek.
Detection detectFormat(QIODevice &device);
