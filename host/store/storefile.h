// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include <functional>

class QIODevice;

/**
 * How a store puts files into its folder: whole or not at all, and so that they outlast a power loss. Each function
 * returns an empty text, or what failed in one line.
 */
namespace StoreFile
{

/// What the system's error @p errorNumber means, in words that do not depend on the language where they matter.
QString systemFault(int errorNumber);

/// Whether @p fault, of this or of one of those below, says that there is no room.
bool isFullDisk(const QString &fault);

/// Has @p write, which returns what failed, fill a new file, syncs it and gives it the name @p path. What is there
/// under that name is replaced, also a link, which is never written through.
QString write(const QString &path, const std::function<QString(QIODevice &)> &write);

/// Makes the names of the files in @p folder outlast a power loss, where the system can.
QString syncFolder(const QString &folder);

/// Makes the folder @p path, which is absolute, and those around it that are missing, each of them synced.
QString makeFolder(const QString &path);

/// Whether a file of this @p name is what write() leaves behind when its program is killed: the final name of one of a
/// store's files and six random letters.
bool isTemporary(const QString &name);

} // namespace StoreFile
