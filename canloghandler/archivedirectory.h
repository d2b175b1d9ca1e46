// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

/**
 * The directory of a zip archive as it stands in the file, compared with the headers of the entries themselves.
 *
 * What reads the entries is content with less: it ends at the first record that it does not understand, goes by counts
 * that may be wrong and looks at one of the two names. Here all of it is held together, so that no damage looks like an
 * archive with other entries. Memory is bounded by one record.
 */
namespace ArchiveDirectory
{

/// What the entry's own header says of its name.
enum class OwnName {
    Same,
    Another,
    Missing, ///< there is no header where the directory says
};

struct Entry {
    QByteArray name; ///< as it stands in the directory
    bool isUtf8 = false;
    OwnName ownName = OwnName::Missing;
};

/// Calls @p visit for the entries of @p path, in order, until it returns false. False when it did, or when the
/// directory is not from its beginning to its end what the record behind it announces.
bool readEntries(const QString &path, const std::function<bool(const Entry &)> &visit);

} // namespace ArchiveDirectory
