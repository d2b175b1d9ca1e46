// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "python/src/arrow.h"
#include "python/src/columns.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// What the schema of a log says beside its columns.
using Metadata = std::vector<std::pair<std::string, std::string>>;

/// The columns of a log, in their order.
const std::vector<std::string> &columnNames();
/// Writes the schema of all logs to @p out, which whoever gets it releases.
void exportSchema(const Metadata &metadata, ArrowSchema *out);
/// Writes @p columns, which live as long as the array, to @p out; their log is called @p source.
void exportBatch(const std::shared_ptr<const Columns> &columns, const std::string &source, ArrowArray *out);

/// What a stream of batches is fed by.
struct BatchSource {
    /// Null at the end. Throws StreamFault.
    std::function<std::shared_ptr<const Columns>()> next;
    std::function<Metadata()> metadata;
    std::string name;
};

/// Why a stream cannot go on: an errno and a text.
struct StreamFault {
    int code;
    std::string text;
};

/// A stream of what @p source gives, released by whoever gets it.
ArrowArrayStream *makeStream(BatchSource source);

/// A column of a small table: integers ("l", "i"), numbers ("g") or texts ("u"), some of which may be null.
struct PlainColumn {
    std::string name, kind;
    std::vector<std::int64_t> integers;
    std::vector<double> numbers;
    std::vector<std::string> texts;
    std::vector<bool> isThere;
};

/// A stream of one batch, released by whoever gets it.
ArrowArrayStream *makeTableStream(std::vector<PlainColumn> columns);
