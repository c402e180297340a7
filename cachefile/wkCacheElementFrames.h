// wkCacheElementFrames: the element block at the end of a version 3 cache, the key frames of
// vertex positions of the deforming elements.
//
// The reader owns one store and resets it at each load. The store reads the file by path, with
// a stream of its own, independent of the reader's handle. The block's head (the header copy,
// the four counts and the two lists) is read once (parseBlockHead). Keys (one vector of
// 3 * pointCount floats per key frame) come into `keys` as the load type says:
//   0 Stream      the keys each frame needs, kept; in the end the whole block is in memory.
//   1 Per-Sample  none kept: each frame reads two whole keys per element and lets them go.
//   2 Pre-Load    all keys at the first frame.
// Any other load type gives no positions. fetchElementFrames answers one frame: the positions
// of all points of the deforming elements, each element at its own time.
//
// Robustness: the head is taken only when it makes sense for the file it came from. Counts must
// not be negative, the lists must lie inside the file, and so must every key (12 * pointCount *
// keyFrameCount bytes behind the lists). A head that fails any of this, like a block with no
// bytes at all, leaves the store with no block: all counts 0 and both lists empty, so playback
// keeps the recorded meshes and nothing is ever allocated for a count that the file cannot hold.
// Element point counts must not be negative nor add up to more than pointCount, so that every
// element's slice lies inside a key. A key that cannot be read whole later (the file changed
// under the reader) is not kept; positions then stop at the first element that needs it.
#pragma once

#include "cachefile/wkCacheFrameTimes.h"
#include "cachefile/wkCacheHeader.h"
#include "host/Strings.h"

#include <cstdint>
#include <cstdio>
#include <map>
#include <vector>

namespace WelkardTools {

class wkCacheElementFrames {
public:
    // Empty: no block, the head not read.
    void reset();

    // Reads the header and, for a version 3 file, the block's head and lists from the file at
    // `path`, unless that was done already. Answers `parsed`: false for a file that cannot be
    // opened or is not of version 3, which is then read again at the next call.
    bool parseBlockHead(const WStr& path);

    // Fills `out` (emptied first) with 3 floats per point of the deforming elements, element
    // after element, element e taken at times.sampleTimes[e] under times.loadType. Empty for a
    // file without a block, for an unknown load type, and beyond the last element that has a
    // time. The file is opened by path only when keys must be read.
    void fetchElementFrames(const WStr& path, const wkCacheFrameTimes& times,
                            std::vector<float>& out);
    // Key `key` into `keys` from `stream`, unless it is there; false when it is not there and
    // cannot be read whole.
    bool readKey(std::FILE* stream, std::int32_t key);

    // File offset of key k: behind the head and the two lists, 12 * pointCount bytes a key.
    std::int64_t keyOffset(std::int32_t key) const;
    // Bytes of one key.
    std::int64_t keyBytes() const { return std::int64_t{12} * pointCount; }

    std::int32_t frameCount = 0;
    std::int32_t keyFrameCount = 0;
    std::int32_t pointCount = 0;         // positions in one key
    std::int32_t elementCount = 0;       // deforming elements: the first elements of the cache
    std::vector<std::int32_t> keyFrames; // frame number of each key, ascending
    std::map<std::int32_t, std::vector<float>> keys; // key index -> 3 * pointCount floats
    std::vector<std::int32_t> elementPointCounts;    // points of each deforming element
    char magic[7] = {};
    // The header as read with the block: version, flag byte and the other fields.
    wkCacheHeader header;
    std::int32_t elementBlockOffsetCopy = 0; // offset 46: read, never used
    std::int32_t elementBlockOffset = 0;     // offset 50: the one that counts
    std::int64_t fileSize = 0;               // as measured when the head was read
    bool parsed = false;
    // Frame assembly's buffer for fetchElementFrames, kept with the store so that a frame reuses
    // the memory of the one before.
    std::vector<float> framePositions;
};

} // namespace WelkardTools
