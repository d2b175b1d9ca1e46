// SPDX-License-Identifier: Apache-2.0
#include "python/src/frames.h"

#include <nanobind/ndarray.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <unordered_map>

namespace nb = nanobind;

namespace
{

/// The frames of one identifier.
struct Frames {
    std::size_t count = 0;
    std::unique_ptr<std::int64_t[]> timeUs;
    std::unique_ptr<std::int32_t[]> channel;
    std::unique_ptr<bool[]> hasChannel;
    std::unique_ptr<std::int16_t[]> length;
    std::unique_ptr<std::uint8_t[]> payload;

    void makeRoom(std::size_t rows, std::size_t width)
    {
        timeUs.reset(new std::int64_t[rows]);
        channel.reset(new std::int32_t[rows]);
        hasChannel.reset(new bool[rows]);
        length.reset(new std::int16_t[rows]);
        payload.reset(new std::uint8_t[rows * width]);
    }
    void add(const Columns &columns, std::size_t row, std::size_t width)
    {
        timeUs[count] = columns.timeUs[row];
        channel[count] = columns.channel[row];
        hasChannel[count] = columns.hasChannel[row];
        length[count] = columns.length[row];
        const std::int32_t *const begin = columns.data.offsets.data() + row;
        const std::size_t size = std::min(std::size_t(begin[1] - begin[0]), width);
        std::uint8_t *const to = payload.get() + count * width;
        std::memcpy(to, columns.data.bytes.data() + begin[0], size);
        std::memset(to + size, 0, width - size);
        ++count;
    }
};

template <typename Value, typename Shape>
nb::object arrayOf(std::unique_ptr<Value[]> &values, std::initializer_list<std::size_t> shape, Shape)
{
    Value *const memory = values.release();
    const nb::capsule owner(memory, [](void *pointer) noexcept { delete[] static_cast<Value *>(pointer); });
    return nb::cast(nb::ndarray<nb::numpy, Value, Shape>(memory, shape, owner));
}

nb::object tupleOf(Frames &frames, std::size_t width)
{
    const std::size_t rows = frames.count;
    using Line = nb::ndim<1>;
    return nb::make_tuple(arrayOf(frames.timeUs, {rows}, Line()), arrayOf(frames.channel, {rows}, Line()),
                          arrayOf(frames.hasChannel, {rows}, Line()), arrayOf(frames.length, {rows}, Line()),
                          arrayOf(frames.payload, {rows, width}, nb::ndim<2>()));
}

/// For each row the position of its key; -1 for those that are not asked for.
std::vector<int> placesOf(const Columns &columns, const std::vector<std::uint64_t> &keys)
{
    std::unordered_map<std::uint64_t, int> placeOfKey;
    for (const std::uint64_t key : keys)
        placeOfKey.emplace(key, int(placeOfKey.size()));
    std::vector<int> places(columns.rows(), -1);
    for (std::size_t row = 0; row < columns.rows(); ++row) {
        if (!columns.hasId[row] || columns.isRemote[row] || columns.isError[row])
            continue;
        const auto found =
            placeOfKey.find(std::uint64_t(columns.isExtended[row]) << 32 | std::uint32_t(columns.id[row]));
        if (found != placeOfKey.end())
            places[row] = found->second;
    }
    return places;
}

} // namespace

nb::list framesById(const Columns &columns, const std::vector<std::uint64_t> &keys, std::size_t width)
{
    std::vector<Frames> all(keys.size());
    {
        const nb::gil_scoped_release noLock;
        const std::vector<int> places = placesOf(columns, keys);
        std::vector<std::size_t> counts(keys.size());
        for (const int place : places) {
            if (place >= 0)
                ++counts[std::size_t(place)];
        }
        for (std::size_t i = 0; i < keys.size(); ++i) {
            if (counts[i] > 0)
                all[i].makeRoom(counts[i], width);
        }
        for (std::size_t row = 0; row < places.size(); ++row) {
            if (places[row] >= 0)
                all[std::size_t(places[row])].add(columns, row, width);
        }
    }
    nb::list result;
    for (Frames &frames : all)
        result.append(frames.count > 0 ? tupleOf(frames, width) : nb::none());
    return result;
}
