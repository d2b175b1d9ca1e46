// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/store/importrecord.h"

#include <QCommandLineOption>
#include <QString>
#include <QVector>

class QCommandLineParser;

/// Some imports of a store by their numbers, as a command line has them: "3", "1,4-6". All of them when none is named.
class ImportChoice
{
public:
    /// `--import N[,N]`
    static QCommandLineOption option();

    /// Takes the value of that option, where it is given. Returns what is wrong with it; empty when nothing is.
    QString setFrom(const QCommandLineParser &parser);
    /// Takes @p text, the value of the option @p optionName. Returns the same.
    QString set(const QString &text, const QString &optionName);

    bool isAll() const { return ranges.isEmpty(); }
    bool contains(int number) const;
    /// The first number named that is no import among @p imports, or one that was removed; 0 when there is none.
    int firstMissing(const QVector<ImportRecord> &imports) const;

private:
    struct Range {
        int first;
        int last;
    };
    QVector<Range> ranges;
};

/// Whether there is something to be seen of the import with @p record: not of one that was removed by its number.
bool isListed(const ImportRecord &record);
