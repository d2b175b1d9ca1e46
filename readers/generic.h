// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/text/fields.h"
#include "readers/listreader.h"

#include <vector>

/// The grammar of lines whose columns the user describes.
class GenericColumns
{
public:
    enum class LineKind { Frame, Other, Malformed };

    explicit GenericColumns(ImportWatch &importWatch)
        : watch(importWatch)
    {
    }

    /// See GenericFileImporter::setColumnFormat().
    void setFormat(const QString &format);
    bool hasChannel() const;
    /// Reads one line into @p message, which must be empty.
    LineKind read(const Fields &fields, CAN::CanRxMessage &message);

private:
    enum class Column : unsigned char;

    ImportWatch &watch;
    std::vector<Column> columns;
};

/// Reads files of such lines.
class GenericReader : public ListReader
{
public:
    explicit GenericReader(const QString &columns);

    GenericColumns grammar{watch};

    ToldFields toldFields() const override;

protected:
    bool read(CAN::CanRxMessage &message) override;

private:
    Fields fields;
};
