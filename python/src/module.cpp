// SPDX-License-Identifier: Apache-2.0
#include "python/src/arrowtable.h"
#include "python/src/columns.h"
#include "python/src/frames.h"
#include "python/src/messages.h"
#include "python/src/reader.h"

#include <nanobind/nanobind.h>
#include <nanobind/ndarray.h>
#include <nanobind/stl/shared_ptr.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace nb = nanobind;
using namespace nb::literals;

namespace
{

template <typename Value>
nb::object view(const Value *values, std::size_t size, nb::handle owner)
{
    return nb::cast(nb::ndarray<nb::numpy, const Value, nb::ndim<1>>(values, {size}, owner), nb::rv_policy::reference);
}

/// The values of a column as they stand in memory, which the array keeps alive. None: it is not of fixed width.
nb::object values(nb::handle self, const std::string &name)
{
    const Columns &columns = *nb::cast<std::shared_ptr<Columns>>(self);
    const std::size_t rows = columns.rows();
    const auto of = [&](const auto &buffer) { return view(buffer.data(), rows, self); };
    if (name == "time_us")
        return of(columns.timeUs);
    if (name == "time")
        return view(columns.time(), rows, self);
    if (name == "channel")
        return of(columns.channel);
    if (name == "id")
        return of(columns.id);
    if (name == "is_extended")
        return of(columns.isExtended);
    if (name == "is_remote")
        return of(columns.isRemote);
    if (name == "is_error")
        return of(columns.isError);
    if (name == "is_fd")
        return of(columns.isFd);
    if (name == "is_tx")
        return of(columns.isTx);
    if (name == "is_brs")
        return of(columns.isBrs);
    if (name == "is_esi")
        return of(columns.isEsi);
    if (name == "dlc")
        return of(columns.dlc);
    if (name == "length")
        return of(columns.length);
    if (name == "index")
        return of(columns.index);
    if (name == "line")
        return of(columns.line);
    return nb::none();
}

/// Which values of a column are there; None where all are.
nb::object presence(nb::handle self, const std::string &name)
{
    const Columns &columns = *nb::cast<std::shared_ptr<Columns>>(self);
    const auto of = [&](const Buffer<bool> &isThere, std::size_t nulls) {
        return nulls == 0 ? nb::none() : view(isThere.data(), columns.rows(), self);
    };
    if (name == "channel")
        return of(columns.hasChannel, columns.noChannel);
    if (name == "id")
        return of(columns.hasId, columns.noId);
    if (name == "is_tx")
        return of(columns.hasTx, columns.noTx);
    if (name == "is_brs")
        return of(columns.hasBrs, columns.noBrs);
    if (name == "is_esi")
        return of(columns.hasEsi, columns.noEsi);
    if (name == "dlc")
        return of(columns.hasDlc, columns.noDlc);
    if (name == "line")
        return of(columns.hasLine, columns.noLine);
    if (name == "note")
        return of(columns.hasNote, columns.noNote);
    return nb::none();
}

const Strings &stringsOf(const Columns &columns, const std::string &name)
{
    return name == "note" ? columns.notes : columns.data;
}

nb::object offsets(nb::handle self, const std::string &name)
{
    const Columns &columns = *nb::cast<std::shared_ptr<Columns>>(self);
    return view(stringsOf(columns, name).offsets.data(), columns.rows() + 1, self);
}

nb::object content(nb::handle self, const std::string &name)
{
    const Columns &columns = *nb::cast<std::shared_ptr<Columns>>(self);
    const Strings &strings = stringsOf(columns, name);
    return view(strings.bytes.data(), std::size_t(strings.offsets[columns.rows()]), self);
}

/// The payloads, each cut or filled up with zeros to @p width.
nb::object padded(const Columns &columns, std::size_t width)
{
    const std::size_t rows = columns.rows();
    auto *const bytes = new std::uint8_t[rows * width + 1]();
    const nb::capsule owner(bytes, [](void *memory) noexcept { delete[] static_cast<std::uint8_t *>(memory); });
    const std::int32_t *const begin = columns.data.offsets.data();
    for (std::size_t row = 0; row < rows; ++row) {
        const std::size_t size = std::min(std::size_t(begin[row + 1] - begin[row]), width);
        std::memcpy(bytes + row * width, columns.data.bytes.data() + begin[row], size);
    }
    return nb::cast(nb::ndarray<nb::numpy, std::uint8_t, nb::ndim<2>>(bytes, {rows, width}, owner));
}

nb::object schemaCapsule(const Metadata &metadata)
{
    auto *const schema = new ArrowSchema;
    exportSchema(metadata, schema);
    return nb::capsule(schema, "arrow_schema", [](void *pointer) noexcept {
        auto *const owned = static_cast<ArrowSchema *>(pointer);
        if (owned->release)
            owned->release(owned);
        delete owned;
    });
}

nb::object arrayCapsule(const std::shared_ptr<Columns> &columns, const nb::bytes &name)
{
    const std::string source(static_cast<const char *>(name.data()), name.size());
    auto *const array = new ArrowArray;
    exportBatch(columns, source, array);
    return nb::capsule(array, "arrow_array", [](void *pointer) noexcept {
        auto *const owned = static_cast<ArrowArray *>(pointer);
        if (owned->release)
            owned->release(owned);
        delete owned;
    });
}

std::vector<PlainColumn> plainColumnsOf(const nb::list &columns)
{
    std::vector<PlainColumn> result;
    for (const nb::handle entry : columns) {
        PlainColumn column;
        column.name = nb::cast<std::string>(entry[0]);
        column.kind = nb::cast<std::string>(entry[1]);
        for (const nb::handle value : nb::cast<nb::list>(entry[2])) {
            column.isThere.push_back(!value.is_none());
            if (column.kind == "u")
                column.texts.push_back(value.is_none() ? std::string() : nb::cast<std::string>(value));
            else if (column.kind == "g")
                column.numbers.push_back(value.is_none() ? 0 : nb::cast<double>(value));
            else
                column.integers.push_back(value.is_none() ? 0 : nb::cast<std::int64_t>(value));
        }
        result.push_back(std::move(column));
    }
    return result;
}

} // namespace

NB_MODULE(_core, module)
{
    module.doc() = "The readers of the library. Use the package canlog instead.";
    module.attr("version") = CANLOG_VERSION;
    module.def("formats", &formatList);
    module.def("column_names", &columnNames);
    module.def("choice_problem", &choiceProblem, "ids"_a, "channels"_a, "start"_a, "end"_a, "direction"_a);
    module.def(
        "schema", [](const nb::list &metadata) { return schemaCapsule(metadataOf(metadata)); }, "metadata"_a);

    nb::class_<Columns>(module, "Columns", "A batch of rows.")
        .def("__len__", &Columns::rows)
        .def_prop_ro("has_time", [](const Columns &columns) { return columns.hasTime; })
        .def("array", &arrayCapsule, "source"_a)
        .def("frames_by_id", &framesById, "keys"_a, "width"_a)
        .def("padded", &padded, "width"_a);
    module.def(
        "table_stream", [](const nb::list &columns) { return streamCapsule(makeTableStream(plainColumnsOf(columns))); },
        "columns"_a,
        "A stream of one batch, of lists with a name and 'l' (integers), 'g' (numbers) or 'u' (texts) each.");
    module.def(
        "messages",
        [](const Columns &columns, const nb::object &messageClass, const nb::dict &channels, int channelShift,
           const nb::object &noChannel, bool hasChannel, double start, bool inMilliseconds, bool errorsAreBare,
           bool leavesErrorsOut) {
            return messagesOf(columns, {messageClass, channels, channelShift, noChannel, hasChannel, start,
                                        inMilliseconds, errorsAreBare, leavesErrorsOut});
        },
        "columns"_a, "message_class"_a, "channels"_a, "channel_shift"_a = 0, "no_channel"_a = nb::none(),
        "has_channel"_a = true, "start"_a = 0.0, "in_milliseconds"_a = false, "errors_are_bare"_a = false,
        "leaves_errors_out"_a = false);
    // They keep the Python object alive, and so get it.
    module.def("values", &values, "columns"_a, "name"_a);
    module.def("presence", &presence, "columns"_a, "name"_a);
    module.def("offsets", &offsets, "columns"_a, "name"_a);
    module.def("content", &content, "columns"_a, "name"_a);

    nb::class_<Reader>(module, "Reader", "One reading of one log.")
        .def(nb::init<const nb::object &, const nb::bytes &, int, const nb::object &>(), "file"_a, "name"_a,
             "type"_a = -1, "columns"_a = nb::none())
        .def_prop_ro("format", &Reader::format)
        .def("begin", &Reader::begin)
        .def("info", &Reader::info)
        .def("report", &Reader::report)
        .def("sums", &Reader::sums)
        .def("set_time_offset", &Reader::setTimeOffset, "offset"_a.none())
        .def("set_end_reached", &Reader::setEndReached, "callback"_a)
        .def("set_strict", &Reader::setStrict)
        .def("select", &Reader::select, "ids"_a, "channels"_a, "start"_a, "end"_a, "direction"_a)
        .def("select_none", &Reader::selectNone)
        .def("close", &Reader::close)
        .def("next", &Reader::next, "size"_a)
        .def("read_ahead", &Reader::readAhead, "size"_a)
        .def("stream", &Reader::stream, "size"_a, "metadata"_a);
}
