// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/datachunkhelper.h"

#include <QCommandLineOption>
#include <QString>
#include <QStringList>
#include <QVector>

class InputFile;
struct Detection;
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
/// The format of that type; null when canlog reads none such.
const Format *findFormat(DatachunkHelper::ImportFileType type);

/// `--type NAME|NUMBER`; without it, or with "auto", the content of each file decides.
QCommandLineOption typeOption();
/// `--columns CODES`; without `--type` it means GenericFile.
QCommandLineOption columnsOption();
/// What is wrong with the values of these two options, to be asked before formatOf(); empty when nothing is.
QString formatProblem(const QCommandLineParser &parser);
/// The format to read @p input as, which is prepared: what the options say, or what its content says. Null after a
/// complaint when the content says nothing.
const Format *formatOf(InputFile &input, const QCommandLineParser &parser);
/// Whether the library can read @p input, which is prepared, as @p format now; false after a complaint.
bool isReadable(InputFile &input, const Format &format);
/// The complaint of a file whose @p detection found no type.
QString unknownFormatText(const Detection &detection);
/// The text that goes with a request to read a file of @p format.
QString requestText(const QCommandLineParser &parser, const Format &format);
