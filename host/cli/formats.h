#pragma once

#include "common/datachunkhelper.h"

#include <QCommandLineOption>
#include <QString>
#include <QStringList>
#include <QVector>

class QCommandLineParser;

/// A format that canlog reads.
struct Format {
    DatachunkHelper::ImportFileType type;
    QStringList shortNames;
    QString description;
    QString suffix; ///< usual end of the file name, for people

    /// The enumerator.
    QString name() const;
};

/// All formats, by type number. A format that can be read has a row here.
const QVector<Format> &formats();
/// The format with that number, name or short name, whatever the case; null when there is none.
const Format *findFormat(const QString &numberOrName);

/// `--type NAME|NUMBER`
QCommandLineOption typeOption();
/// The format that the option chose, or the default one. Null, after a complaint that points to the help of
/// @p subcommand, when there is no such format.
const Format *chosenFormat(const QCommandLineParser &parser, const QString &subcommand);

/// `--columns CODES`
QCommandLineOption columnsOption();
/// What is wrong with giving that option for a file of @p format; empty when nothing is.
QString columnsProblem(const QCommandLineParser &parser, const Format &format);
/// The text that goes with a request to read a file of @p format.
QString requestText(const QCommandLineParser &parser, const Format &format);
