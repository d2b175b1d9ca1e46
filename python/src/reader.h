// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "python/src/arrowtable.h"
#include "python/src/pull.h"

#include <nanobind/nanobind.h>

#include <memory>
#include <string>

/**
 * One reading of a log as Python has it: a Pull, with the exceptions that its end is. Python's lock is let go while
 * rows are read. Arrow streams that were made of it go on without it.
 */
class Reader
{
public:
    /// @p file is a descriptor, which becomes the reader's, or an object with a read(). A negative @p type is found
    /// from the content; without @p columns those of a format that has some are the usual ones.
    Reader(const nanobind::object &file, const nanobind::bytes &name, int type, const nanobind::object &columns);
    ~Reader();

    nanobind::dict format() const;
    /// Reads on to the first frame.
    void begin();
    nanobind::dict info() const;
    nanobind::dict report() const;
    nanobind::dict sums() const;
    void setTimeOffset(const nanobind::object &offset);
    /// @p callback gets the report when the end was reached.
    void setEndReached(const nanobind::object &callback);
    /// Faulty lines become an exception.
    void setStrict();
    /// Only frames that pass become rows; empty texts choose nothing. Returns what is wanted where a text makes no
    /// sense, else an empty text.
    std::string select(const std::string &ids, const std::string &channels, const std::string &from,
                       const std::string &to, const std::string &direction);
    /// No frame becomes a row: for those who want the report alone.
    void selectNone();
    void close();

    /// The next rows; null at the end.
    std::shared_ptr<Columns> next(std::size_t size);
    /// Reads the first rows of what next() or the stream will give, so that what they tell of the log is known.
    void readAhead(std::size_t size);
    nanobind::object stream(std::size_t size, const nanobind::list &metadata);

    struct State;

private:
    std::shared_ptr<State> state;
};

/// What Reader::select() would find wrong.
std::string choiceProblem(const std::string &ids, const std::string &channels, const std::string &from,
                          const std::string &to, const std::string &direction);
/// All formats that can be read, as Reader::format() gives one.
nanobind::list formatList();
/// What Python calls a stream of Arrow's.
nanobind::object streamCapsule(ArrowArrayStream *newStream);
/// A list of pairs of texts.
Metadata metadataOf(const nanobind::list &pairs);
