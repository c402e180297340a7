// Sizing and order-keeping removal for the arrays of a mesh, shared by the faces, the map
// channels and the specified normals so that all of them follow the same rules.
#pragma once

#include "host/BitArray.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

// Sizes an array to n entries (none for a negative n). keep false zeroes every entry; keep true
// preserves what fits, zeroes the new ones, and allocates nothing when the size stays.
template <class T> void SizeMeshArray(std::vector<T>& items, int n, bool keep) {
    const std::size_t count = static_cast<std::size_t>(std::max(n, 0));
    if (keep)
        items.resize(count);
    else
        items.assign(count, T{});
}

// The index an item gets after a compaction when it was removed.
inline constexpr std::uint32_t REMOVED_INDEX = 0xFFFFFFFFu;

// Removes from `items` the groups of `stride` consecutive entries whose bit is set in
// `remove` (group f is entries f * stride to f * stride + stride - 1); bits beyond the size
// of `remove` count as clear. Keeps the order and the capacity.
template <class T>
void EraseFlagged(std::vector<T>& items, const BitArray& remove, std::size_t stride = 1) {
    const std::size_t groups = items.size() / stride;
    const std::size_t flagged = std::min(groups, static_cast<std::size_t>(remove.GetSize()));
    std::size_t out = 0;
    for (std::size_t g = 0; g < groups; ++g) {
        if (g < flagged && remove[static_cast<int>(g)])
            continue;
        if (out != g)
            std::copy_n(items.begin() + g * stride, stride, items.begin() + out * stride);
        ++out;
    }
    items.resize(out * stride);
}

// Keeps the entries of `items` for which keep[i] is true, in order, and answers for every old
// index its new one, REMOVED_INDEX for a removed entry.
template <class T>
std::vector<std::uint32_t> CompactKept(std::vector<T>& items, const std::vector<bool>& keep) {
    std::vector<std::uint32_t> remap(items.size(), REMOVED_INDEX);
    std::uint32_t out = 0;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (!keep[i])
            continue;
        items[out] = items[i];
        remap[i] = out++;
    }
    items.resize(out);
    return remap;
}

// Which of `count` entries the corners (`corners`, such as &Face::v) of some face refer to; a
// corner at or beyond `count` refers to none.
template <class F>
std::vector<bool> CornersUse(const std::vector<F>& faces, std::uint32_t (F::*corners)[3],
                             std::size_t count) {
    std::vector<bool> used(count, false);
    for (const F& face : faces)
        for (const std::uint32_t i : face.*corners)
            if (i < count)
                used[i] = true;
    return used;
}

// CompactKept for the entries the faces' corners index, renumbering those corners; a corner
// outside the old entries is left as it stands.
template <class T, class F>
void CompactKeptWithCorners(std::vector<T>& items, const std::vector<bool>& keep,
                            std::vector<F>& faces, std::uint32_t (F::*corners)[3]) {
    const std::size_t oldCount = items.size();
    const std::vector<std::uint32_t> remap = CompactKept(items, keep);
    for (F& face : faces)
        for (std::uint32_t& i : face.*corners)
            if (i < oldCount)
                i = remap[i];
}
