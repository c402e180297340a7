#include "cachefile/wkCacheSampleRows.h"

#include "cachefile/wkCacheFormat.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace WelkardTools {

namespace {

// The run or range that holds `key`, if any: the last entry starting at or before it.
template <class Map> auto entryAtOrBefore(const Map& m, typename Map::key_type key) {
    auto it = m.upper_bound(key);
    return it == m.begin() ? m.end() : std::prev(it);
}

// One sequence for all rows of the process, so that versions of different readers never meet.
std::uint64_t nextVersion() {
    static std::uint64_t last = 0;
    return ++last;
}

} // namespace

void wkCacheSampleRows::touch() {
    version_ = nextVersion();
}

void wkCacheSampleRows::reset(std::int32_t numSamples_, std::int32_t numNodes_,
                              std::int32_t stride_, std::int32_t tableOffset_) {
    clear();
    numSamples = std::max(numSamples_, 0);
    numNodes = std::max(numNodes_, 0);
    stride = stride_;
    tableOffset = tableOffset_;
}

void wkCacheSampleRows::clear() {
    touch();
    runs.clear();
    loaded = 0;
    strays.clear();
    pages.clear();
    present.clear();
}

bool wkCacheSampleRows::isLoaded(std::int32_t sample) const {
    if (sample < 0 || sample >= numSamples)
        return false;
    const auto it = entryAtOrBefore(runs, sample);
    return it != runs.end() && sample <= it->second;
}

bool wkCacheSampleRows::hasRow(std::int32_t sample) const {
    if (sample >= 0 && sample < numSamples)
        return isLoaded(sample);
    return strays.count(sample) != 0;
}

std::int32_t wkCacheSampleRows::rowOffset(std::int32_t sample) const {
    // sampleTableOffset + sample * sampleStride, wrapping in 32 bits as the format's arithmetic
    // does; the result is taken as a signed offset.
    const std::uint32_t address =
        static_cast<std::uint32_t>(tableOffset) +
        static_cast<std::uint32_t>(sample) * static_cast<std::uint32_t>(stride);
    return static_cast<std::int32_t>(address);
}

std::int64_t wkCacheSampleRows::rowBytes() const {
    return static_cast<std::int64_t>(numNodes) * wkCacheFormat::kSampleRecordSize;
}

wkCacheSampleRows::Span wkCacheSampleRows::missingPart(std::int32_t offset) const {
    std::int64_t first = offset;
    std::int64_t last = static_cast<std::int64_t>(offset) + rowBytes();
    if (first >= last)
        return {};
    auto it = entryAtOrBefore(present, first);
    if (it != present.end() && it->second > first)
        first = it->second;
    if (first >= last)
        return {};
    it = entryAtOrBefore(present, last - 1);
    if (it != present.end() && it->second >= last && it->first > first)
        last = it->first;
    return {first, last - first};
}

void wkCacheSampleRows::storeBytes(std::int64_t offset, const unsigned char* bytes,
                                   std::int64_t length) {
    if (length <= 0 || offset < 0)
        return;
    touch();
    const std::int64_t end = offset + length;
    const auto lastPage = static_cast<std::size_t>((end - 1) >> kPageBits);
    if (pages.size() <= lastPage)
        pages.resize(lastPage + 1);
    for (std::int64_t at = offset; at < end;) {
        const auto page = static_cast<std::size_t>(at >> kPageBits);
        const std::int64_t inPage = at & (kPageSize - 1);
        const std::int64_t part = std::min(end - at, kPageSize - inPage);
        if (!pages[page])
            pages[page] = std::make_unique_for_overwrite<unsigned char[]>(kPageSize);
        std::memcpy(pages[page].get() + inPage, bytes + (at - offset),
                    static_cast<std::size_t>(part));
        at += part;
    }

    // Merge [offset, end) into the present ranges.
    std::int64_t first = offset;
    std::int64_t last = end;
    auto it = entryAtOrBefore(present, first);
    if (it == present.end() || it->second < first)
        it = present.lower_bound(first);
    while (it != present.end() && it->first <= last) {
        first = std::min(first, it->first);
        last = std::max(last, it->second);
        it = present.erase(it);
    }
    present.emplace(first, last);
}

void wkCacheSampleRows::markRead(std::int32_t sample) {
    if (sample < 0 || sample >= numSamples) {
        strays.insert(sample);
        return;
    }
    if (!isLoaded(sample))
        markLoaded(sample, 1);
}

void wkCacheSampleRows::markLoaded(std::int32_t first, std::int32_t count) {
    if (count <= 0)
        return;
    touch();
    std::int32_t last = first + (count - 1);
    // Fold in every run that overlaps or touches [first, last]; count only what is new.
    std::int32_t added = count;
    auto it = entryAtOrBefore(runs, first);
    if (it == runs.end() || it->second < first - 1)
        it = runs.lower_bound(first);
    while (it != runs.end() && (last == INT32_MAX || it->first <= last + 1)) {
        const std::int32_t overlapFirst = std::max(first, it->first);
        const std::int32_t overlapLast = std::min(last, it->second);
        if (overlapFirst <= overlapLast)
            added -= overlapLast - overlapFirst + 1;
        first = std::min(first, it->first);
        last = std::max(last, it->second);
        it = runs.erase(it);
    }
    runs.emplace(first, last);
    loaded += added;
}

std::int32_t wkCacheSampleRows::firstUnloaded() const {
    const auto it = runs.find(0);
    if (it == runs.end())
        return numSamples > 0 ? 0 : numSamples;
    return std::min(it->second + 1, numSamples);
}

void wkCacheSampleRows::copyOut(std::int64_t offset, unsigned char* dest,
                                std::int64_t length) const {
    while (length > 0) {
        const auto page = static_cast<std::size_t>(offset >> kPageBits);
        const std::int64_t inPage = offset & (kPageSize - 1);
        const std::int64_t part = std::min(length, kPageSize - inPage);
        std::memcpy(dest, pages[page].get() + inPage, static_cast<std::size_t>(part));
        dest += part;
        offset += part;
        length -= part;
    }
}

Matrix3 wkCacheSampleRows::transform(std::int32_t node, std::int32_t sample) const {
    return transformAt(heldRow(sample), node);
}

std::int64_t wkCacheSampleRows::heldRow(std::int32_t sample) const {
    return hasRow(sample) ? static_cast<std::int64_t>(rowOffset(sample)) : -1;
}

bool wkCacheSampleRows::visible(std::int32_t node, std::int32_t sample) const {
    return visibleAt(heldRow(sample), node);
}

bool wkCacheSampleRows::visibleAt(std::int64_t row, std::int32_t node) const {
    if (row < 0 || node < 0 || node >= numNodes)
        return false;
    const std::int64_t at =
        row + static_cast<std::int64_t>(node) * wkCacheFormat::kSampleRecordSize;
    unsigned char flag = 0;
    copyOut(at + wkCacheFormat::kTransformSize, &flag, 1);
    return flag != 0;
}

} // namespace WelkardTools
