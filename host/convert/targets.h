// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

#include <memory>

class FrameWriter;
class QIODevice;

/// A format that canlog writes: what is no database goes to any device, a database to a file of its own.
struct Target {
    QString name;
    QStringList suffixes; ///< in lower case, with the point
    QString description;
    bool hasStart; ///< a place for the date from which the times count
    /// Null for a database. A raw file is for programs alone; only CSV tells the difference.
    std::unique_ptr<FrameWriter> (*textWriter)(QIODevice &device, bool raw);
    std::unique_ptr<FrameWriter> (*databaseWriter)(const QString &path); ///< null for text
};

/// All targets. A format that can be written has a row here.
const QVector<Target> &targets();
/// The target of that name, whatever the case; null when there is none.
const Target *findTarget(const QString &name);
/// The target whose suffix @p path has, whatever the case; null when there is none.
const Target *targetForPath(const QString &path);
