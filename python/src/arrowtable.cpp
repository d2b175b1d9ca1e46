// SPDX-License-Identifier: Apache-2.0
#include "python/src/arrowtable.h"

#include <QtEndian>

#include <cerrno>
#include <exception>
#include <iterator>
#include <new>

namespace
{

// Schemas

/// What a schema owns.
struct OwnedSchema {
    std::string format, name, metadata;
    std::vector<ArrowSchema *> children;
};

void releaseSchema(ArrowSchema *schema)
{
    auto *const owned = static_cast<OwnedSchema *>(schema->private_data);
    for (ArrowSchema *child : owned->children) {
        if (child->release)
            child->release(child);
        delete child;
    }
    if (schema->dictionary) {
        if (schema->dictionary->release)
            schema->dictionary->release(schema->dictionary);
        delete schema->dictionary;
    }
    delete owned;
    schema->release = nullptr;
}

OwnedSchema *fillSchema(ArrowSchema *schema, const char *format, const std::string &name, bool isNullable)
{
    auto *const owned = new OwnedSchema{format, name, {}, {}};
    *schema = {};
    schema->format = owned->format.c_str();
    schema->name = owned->name.c_str();
    schema->flags = isNullable ? ARROW_FLAG_NULLABLE : 0;
    schema->release = releaseSchema;
    schema->private_data = owned;
    return owned;
}

/// A number of pairs, and the length before each text.
std::string encoded(const Metadata &metadata)
{
    std::string bytes;
    const auto addNumber = [&bytes](std::size_t value) {
        const auto number = std::int32_t(value);
        bytes.append(reinterpret_cast<const char *>(&number), sizeof number);
    };
    addNumber(metadata.size());
    for (const auto &[key, value] : metadata) {
        addNumber(key.size());
        bytes += key;
        addNumber(value.size());
        bytes += value;
    }
    return bytes;
}

struct ColumnKind {
    const char *name;
    const char *format; ///< as Arrow writes types
    bool isNullable;
};

constexpr ColumnKind columnKinds[] = {
    {"time_us", "l", false},     {"time", "tsu:UTC", true}, {"channel", "i", true},   {"id", "i", true},
    {"is_extended", "b", false}, {"is_remote", "b", false}, {"is_error", "b", false}, {"is_fd", "b", false},
    {"is_tx", "b", true},        {"is_brs", "b", true},     {"is_esi", "b", true},    {"dlc", "c", true},
    {"length", "s", false},      {"data", "z", false},      {"index", "l", false},    {"line", "l", true},
    {"note", "u", true},         {"source", "i", false},
};
constexpr std::size_t columnCount = std::size(columnKinds);

// Arrays

/// What an array owns, or keeps alive.
struct OwnedArray {
    std::shared_ptr<const Columns> columns;
    std::vector<std::uint8_t> validity, bits;
    std::vector<std::int32_t> numbers;
    std::vector<std::int64_t> integers;
    std::vector<double> doubles;
    std::string text;
    std::vector<const void *> buffers;
    std::vector<ArrowArray *> children;
};

void releaseArray(ArrowArray *array)
{
    auto *const owned = static_cast<OwnedArray *>(array->private_data);
    for (ArrowArray *child : owned->children) {
        if (child->release)
            child->release(child);
        delete child;
    }
    if (array->dictionary) {
        if (array->dictionary->release)
            array->dictionary->release(array->dictionary);
        delete array->dictionary;
    }
    delete owned;
    array->release = nullptr;
}

std::unique_ptr<OwnedArray> newOwner(const std::shared_ptr<const Columns> &columns)
{
    auto owned = std::make_unique<OwnedArray>();
    owned->columns = columns;
    return owned;
}

void fillArray(ArrowArray *array, std::size_t rows, std::size_t nulls, std::unique_ptr<OwnedArray> owned)
{
    *array = {};
    array->length = std::int64_t(rows);
    array->null_count = std::int64_t(nulls);
    array->n_buffers = std::int64_t(owned->buffers.size());
    array->buffers = owned->buffers.data();
    array->n_children = std::int64_t(owned->children.size());
    array->children = owned->children.data();
    array->release = releaseArray;
    array->private_data = owned.release();
}

/// Eight truth values a byte, the first one in the lowest bit.
std::vector<std::uint8_t> packed(const Buffer<bool> &values, std::size_t rows)
{
    std::vector<std::uint8_t> bits((rows + 7) / 8);
    std::size_t row = 0;
    for (; row + 8 <= rows; row += 8) {
        const auto bytes = qFromLittleEndian<quint64>(values.data() + row);
        // Each byte is 0 or 1; the product has them side by side in its highest byte.
        bits[row / 8] = std::uint8_t((bytes * 0x0102040810204080ULL) >> 56);
    }
    for (; row < rows; ++row)
        bits[row / 8] = std::uint8_t(bits[row / 8] | (values[row] ? 1U << row % 8 : 0U));
    return bits;
}

/// Gathers the arrays of the columns of one batch, in their order.
class Batch
{
public:
    explicit Batch(const std::shared_ptr<const Columns> &batchColumns)
        : columns(batchColumns)
        , rows(batchColumns->rows())
        , all(newOwner(batchColumns))
    {
    }
    ~Batch() { abandon(); }

    void add(const void *values) { addColumn(nullptr, 0, {values}); }
    void add(const void *values, const Buffer<bool> &isThere, std::size_t nulls)
    {
        addColumn(&isThere, nulls, {values});
    }
    void add(const Strings &strings) { addColumn(nullptr, 0, {strings.offsets.data(), strings.bytes.data()}); }
    void add(const Strings &strings, const Buffer<bool> &isThere, std::size_t nulls)
    {
        addColumn(&isThere, nulls, {strings.offsets.data(), strings.bytes.data()});
    }
    void addBits(const Buffer<bool> &values) { addTruth(values, nullptr, 0); }
    void addBits(const Buffer<bool> &values, const Buffer<bool> &isThere, std::size_t nulls)
    {
        addTruth(values, &isThere, nulls);
    }
    void addTime()
    {
        std::unique_ptr<OwnedArray> owned = newOwner(columns);
        if (!columns->hasTime)
            owned->validity.resize((rows + 7) / 8);
        owned->buffers = {columns->hasTime ? nullptr : owned->validity.data(), columns->time()};
        fill(columns->hasTime ? 0 : rows, std::move(owned));
    }
    /// One text for all rows.
    void addSource(const std::string &source)
    {
        std::unique_ptr<OwnedArray> words = newOwner({});
        words->text = source;
        words->numbers = {0, std::int32_t(source.size())};
        words->buffers = {nullptr, words->numbers.data(), words->text.data()};
        auto dictionary = std::make_unique<ArrowArray>();
        fillArray(dictionary.get(), 1, 0, std::move(words));
        std::unique_ptr<OwnedArray> owned = newOwner({});
        owned->numbers.resize(rows);
        owned->buffers = {nullptr, owned->numbers.data()};
        fill(0, std::move(owned))->dictionary = dictionary.release();
    }

    void finish(ArrowArray *out)
    {
        all->buffers = {nullptr};
        fillArray(out, rows, 0, std::move(all));
    }

private:
    Batch(const Batch &) = delete;
    Batch &operator=(const Batch &) = delete;

    ArrowArray *fill(std::size_t nulls, std::unique_ptr<OwnedArray> owned)
    {
        auto array = std::make_unique<ArrowArray>();
        all->children.reserve(columnCount);
        fillArray(array.get(), rows, nulls, std::move(owned));
        all->children.push_back(array.release());
        return all->children.back();
    }
    void setValidity(OwnedArray &owned, const Buffer<bool> *isThere, std::size_t nulls) const
    {
        if (nulls > 0)
            owned.validity = packed(*isThere, rows);
        owned.buffers = {nulls > 0 ? owned.validity.data() : nullptr};
    }
    void addColumn(const Buffer<bool> *isThere, std::size_t nulls, const std::vector<const void *> &buffers)
    {
        std::unique_ptr<OwnedArray> owned = newOwner(columns);
        setValidity(*owned, isThere, nulls);
        owned->buffers.insert(owned->buffers.end(), buffers.begin(), buffers.end());
        fill(nulls, std::move(owned));
    }
    void addTruth(const Buffer<bool> &values, const Buffer<bool> *isThere, std::size_t nulls)
    {
        std::unique_ptr<OwnedArray> owned = newOwner(columns);
        setValidity(*owned, isThere, nulls);
        owned->bits = packed(values, rows);
        owned->buffers.push_back(owned->bits.data());
        fill(nulls, std::move(owned));
    }
    void abandon()
    {
        if (!all)
            return;
        for (ArrowArray *child : all->children) {
            child->release(child);
            delete child;
        }
    }

    const std::shared_ptr<const Columns> columns;
    const std::size_t rows;
    std::unique_ptr<OwnedArray> all;
};

// Small tables

ArrowArray *arrayOf(const PlainColumn &column)
{
    const std::size_t rows = column.isThere.size();
    std::unique_ptr<OwnedArray> owned = newOwner({});
    std::size_t nulls = 0;
    owned->validity.resize((rows + 7) / 8);
    for (std::size_t row = 0; row < rows; ++row) {
        nulls += !column.isThere[row];
        owned->validity[row / 8] |= std::uint8_t(column.isThere[row] << row % 8);
    }
    owned->buffers = {nulls > 0 ? owned->validity.data() : nullptr};
    if (column.kind == "u") {
        owned->numbers = {0};
        for (const std::string &text : column.texts) {
            owned->text += text;
            owned->numbers.push_back(std::int32_t(owned->text.size()));
        }
        owned->buffers.insert(owned->buffers.end(), {owned->numbers.data(), owned->text.data()});
    } else if (column.kind == "g") {
        owned->doubles = column.numbers;
        owned->doubles.resize(rows + 1);
        owned->buffers.push_back(owned->doubles.data());
    } else if (column.kind == "i") {
        owned->numbers.assign(column.integers.begin(), column.integers.end());
        owned->numbers.resize(rows + 1);
        owned->buffers.push_back(owned->numbers.data());
    } else {
        owned->integers = column.integers;
        owned->integers.resize(rows + 1);
        owned->buffers.push_back(owned->integers.data());
    }
    auto array = std::make_unique<ArrowArray>();
    fillArray(array.get(), rows, nulls, std::move(owned));
    return array.release();
}

// Streams

struct OwnedStream {
    std::function<void(ArrowSchema *)> schema;
    std::function<void(ArrowArray *)> next; ///< leaves an array without release at the end
    std::string error;
};

/// Runs @p work, whose exceptions become what C can be told.
template <typename Work>
int guarded(ArrowArrayStream *stream, const Work &work)
{
    auto *const owned = static_cast<OwnedStream *>(stream->private_data);
    try {
        work(*owned);
        return 0;
    } catch (const StreamFault &fault) {
        owned->error = fault.text;
        return fault.code;
    } catch (const std::bad_alloc &) {
        owned->error = "out of memory";
        return ENOMEM;
    } catch (const std::exception &error) {
        owned->error = error.what();
        return EIO;
    }
}

int streamSchema(ArrowArrayStream *stream, ArrowSchema *out)
{
    return guarded(stream, [out](OwnedStream &owned) { owned.schema(out); });
}

int streamNext(ArrowArrayStream *stream, ArrowArray *out)
{
    return guarded(stream, [out](OwnedStream &owned) {
        *out = {};
        owned.next(out);
    });
}

const char *streamError(ArrowArrayStream *stream)
{
    const std::string &error = static_cast<OwnedStream *>(stream->private_data)->error;
    return error.empty() ? nullptr : error.c_str();
}

void releaseStream(ArrowArrayStream *stream)
{
    delete static_cast<OwnedStream *>(stream->private_data);
    stream->release = nullptr;
}

} // namespace

const std::vector<std::string> &columnNames()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> result;
        for (const ColumnKind &kind : columnKinds)
            result.emplace_back(kind.name);
        return result;
    }();
    return names;
}

void exportSchema(const Metadata &metadata, ArrowSchema *out)
{
    OwnedSchema *const all = fillSchema(out, "+s", "", false);
    for (const ColumnKind &kind : columnKinds) {
        auto child = std::make_unique<ArrowSchema>();
        fillSchema(child.get(), kind.format, kind.name, kind.isNullable);
        all->children.push_back(child.release());
    }
    auto dictionary = std::make_unique<ArrowSchema>();
    fillSchema(dictionary.get(), "u", "", false);
    all->children.back()->dictionary = dictionary.release();
    all->metadata = encoded(metadata);
    out->metadata = all->metadata.c_str();
    out->children = all->children.data();
    out->n_children = std::int64_t(all->children.size());
}

void exportBatch(const std::shared_ptr<const Columns> &columns, const std::string &source, ArrowArray *out)
{
    const Columns &from = *columns;
    Batch batch(columns);
    batch.add(from.timeUs.data());
    batch.addTime();
    batch.add(from.channel.data(), from.hasChannel, from.noChannel);
    batch.add(from.id.data(), from.hasId, from.noId);
    batch.addBits(from.isExtended);
    batch.addBits(from.isRemote);
    batch.addBits(from.isError);
    batch.addBits(from.isFd);
    batch.addBits(from.isTx, from.hasTx, from.noTx);
    batch.addBits(from.isBrs, from.hasBrs, from.noBrs);
    batch.addBits(from.isEsi, from.hasEsi, from.noEsi);
    batch.add(from.dlc.data(), from.hasDlc, from.noDlc);
    batch.add(from.length.data());
    batch.add(from.data);
    batch.add(from.index.data());
    batch.add(from.line.data(), from.hasLine, from.noLine);
    batch.add(from.notes, from.hasNote, from.noNote);
    batch.addSource(source);
    batch.finish(out);
}

static ArrowArrayStream *newStream(OwnedStream *owned)
{
    auto stream = std::make_unique<ArrowArrayStream>();
    stream->get_schema = streamSchema;
    stream->get_next = streamNext;
    stream->get_last_error = streamError;
    stream->release = releaseStream;
    stream->private_data = owned;
    return stream.release();
}

ArrowArrayStream *makeStream(BatchSource source)
{
    auto *const owned = new OwnedStream;
    owned->schema = [metadata = source.metadata](ArrowSchema *out) { exportSchema(metadata(), out); };
    owned->next = [next = source.next, name = source.name](ArrowArray *out) {
        if (const std::shared_ptr<const Columns> columns = next())
            exportBatch(columns, name, out);
    };
    return newStream(owned);
}

ArrowArrayStream *makeTableStream(std::vector<PlainColumn> columns)
{
    const auto shared = std::make_shared<const std::vector<PlainColumn>>(std::move(columns));
    auto *const owned = new OwnedStream;
    owned->schema = [shared](ArrowSchema *out) {
        OwnedSchema *const all = fillSchema(out, "+s", "", false);
        for (const PlainColumn &column : *shared) {
            all->children.push_back(new ArrowSchema);
            fillSchema(all->children.back(), column.kind.c_str(), column.name, true);
        }
        out->children = all->children.data();
        out->n_children = std::int64_t(all->children.size());
    };
    owned->next = [shared, isGiven = false](ArrowArray *out) mutable {
        if (std::exchange(isGiven, true))
            return;
        std::unique_ptr<OwnedArray> all = newOwner({});
        for (const PlainColumn &column : *shared)
            all->children.push_back(arrayOf(column));
        all->buffers = {nullptr};
        fillArray(out, shared->empty() ? 0 : shared->front().isThere.size(), 0, std::move(all));
    };
    return newStream(owned);
}
