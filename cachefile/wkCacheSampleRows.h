// The rows of the sample table that a reader holds in memory.
//
// A reader answers, for node n and sample s, the transform and the visibility of the row it read
// for s, and which samples are loaded: for all nodes of a row at once, since the row is the unit
// of loading. Playback asks this for every element at every frame, so lookups must be cheap and
// must not allocate, and memory must follow what was read, never what a header claims.
//
// So the rows are not copied out per node. What is kept is a sparse image of the file's bytes:
// each row read is stored at its own file offset, in pages of 64 KiB, and a lookup decodes the
// 49 bytes of (n, s) in place. Alongside, the loaded samples are kept as runs of consecutive
// numbers. This gives:
//  - memory bounded by the file: a header may claim two billion samples, and overlapping rows (a
//    sampleStride smaller than a row, which the format does not forbid) share their bytes instead
//    of multiplying them;
//  - a row that overlaps rows already held reads only the part that is missing, so reading every
//    row of such a file is linear in its size;
//  - a lookup of a few comparisons and one 48-byte copy.
// Rows are never partly in memory: a sample counts as held only once its whole row has arrived.
// A row held at a sample outside 0 to size - 1 (a read past the table that the file happened to
// satisfy) is kept, and answers lookups, but does not count as loaded.
#pragma once

#include "cachefile/wkCacheFormat.h"
#include "host/Matrix3.h"

#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <vector>

namespace WelkardTools {

class wkCacheSampleRows {
public:
    // Empty, for a table of numSamples rows of `stride` bytes at `tableOffset`, each with
    // numNodes records.
    void reset(std::int32_t numSamples, std::int32_t numNodes, std::int32_t stride,
               std::int32_t tableOffset);
    // Drops every row; the table's description stays.
    void clear();

    // The number of samples that can be loaded: the size of the set of loaded samples.
    std::int32_t size() const { return numSamples; }
    bool isLoaded(std::int32_t sample) const;
    std::int32_t loadedCount() const { return loaded; }
    // Loaded, or held from a read outside the table.
    bool hasRow(std::int32_t sample) const;

    // File offset of the row of `sample`, computed in 32 bits as the format's addresses are:
    // negative for an address at or beyond 2 GiB, which no seek reaches.
    std::int32_t rowOffset(std::int32_t sample) const;
    // Bytes of one row: numNodes records of 49 bytes.
    std::int64_t rowBytes() const;

    // The bytes of the row at `offset` that are not in memory, as one span from the first missing
    // byte to the last; empty when the whole row is there.
    struct Span {
        std::int64_t offset = 0;
        std::int64_t length = 0;
    };
    Span missingPart(std::int32_t offset) const;
    // Keeps `length` bytes just read from the file at `offset`.
    void storeBytes(std::int64_t offset, const unsigned char* bytes, std::int64_t length);
    // The row of `sample` is complete in memory: it counts as loaded if it lies in the table.
    void markRead(std::int32_t sample);
    // Samples first to first + count - 1, all in the table, are loaded: for rows of no bytes.
    void markLoaded(std::int32_t first, std::int32_t count);
    // The smallest sample of the table that is not loaded, or size() when all are.
    std::int32_t firstUnloaded() const;

    // The row's transform of `node`: a default Matrix3 with the 48 bytes of the record over its
    // rows. A default Matrix3 when the row is not held or the node is out of range.
    Matrix3 transform(std::int32_t node, std::int32_t sample) const;
    // The row's visibility of `node` (its byte is not zero); false when the row is not held.
    bool visible(std::int32_t node, std::int32_t sample) const;

    // For loops over every node of a few rows: the row's place in memory, looked up once (-1
    // when the row is not held), then the records of its nodes in 0 to numNodes - 1 by that
    // place, with the answers of transform and visible.
    std::int64_t heldRow(std::int32_t sample) const;
    // Inline: a crossing reads two records for each element.
    Matrix3 transformAt(std::int64_t row, std::int32_t node) const;
    bool visibleAt(std::int64_t row, std::int32_t node) const;

    // Changes whenever bytes held may have changed or gone (rows read, dropped or reset), and
    // is never the same for two sets of rows of one process: what was computed from the rows
    // under one version holds while it stands. Never 0.
    std::uint64_t version() const { return version_; }

private:
    static constexpr int kPageBits = 16;
    static constexpr std::int64_t kPageSize = std::int64_t{1} << kPageBits;

    void copyOut(std::int64_t offset, unsigned char* dest, std::int64_t length) const;
    void touch();

    std::int32_t numSamples = 0;
    std::int32_t numNodes = 0;
    std::int32_t stride = 0;
    std::int32_t tableOffset = 0;

    // Loaded samples as runs: first sample -> last sample, disjoint and not touching.
    std::map<std::int32_t, std::int32_t> runs;
    std::int32_t loaded = 0;
    // Rows held for samples outside the table.
    std::set<std::int32_t> strays;

    // The image: pages by file offset >> kPageBits, and the byte ranges present in it as
    // start -> end (exclusive), disjoint and not touching.
    std::vector<std::unique_ptr<unsigned char[]>> pages;
    std::map<std::int64_t, std::int64_t> present;
    std::uint64_t version_ = 0;
};

inline Matrix3 wkCacheSampleRows::transformAt(std::int64_t row, std::int32_t node) const {
    Matrix3 m;
    if (row < 0 || node < 0 || node >= numNodes)
        return m;
    const std::int64_t at =
        row + static_cast<std::int64_t>(node) * wkCacheFormat::kSampleRecordSize;
    // Playback reads every element's transform each frame: a record inside one page (nearly
    // all of them) is one copy of known size.
    const std::int64_t inPage = at & (kPageSize - 1);
    if (inPage + wkCacheFormat::kTransformSize <= kPageSize)
        std::memcpy(m.GetAddr(), pages[static_cast<std::size_t>(at >> kPageBits)].get() + inPage,
                    wkCacheFormat::kTransformSize);
    else
        copyOut(at, reinterpret_cast<unsigned char*>(m.GetAddr()), wkCacheFormat::kTransformSize);
    wkCacheFormat::FixWordOrder(m.GetAddr(), 12);
    return m;
}

} // namespace WelkardTools
