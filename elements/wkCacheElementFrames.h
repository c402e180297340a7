// wkCacheElementFrames: the element block at the end of a version 3 cache, the key frames of
// vertex positions of the deforming elements.
//
// The reader owns one store and resets it at each load. The store reads the file by path, with
// a stream of its own, independent of the reader's handle. What is here so far is the block's
// head: the header copy, the four counts and the two lists, read once (parseBlockHead). Keys
// (one vector of 3 * pointCount floats per key frame) are read into `keys` as playback needs
// them; keyOffset tells where each one lies.
//
// Robustness: the head is taken only when it makes sense for the file it came from. Counts must
// not be negative, the lists must lie inside the file, and so must every key (12 * pointCount *
// keyFrameCount bytes behind the lists). A head that fails any of this, like a block with no
// bytes at all, leaves the store with no block: all counts 0 and both lists empty, so playback
// keeps the recorded meshes and nothing is ever allocated for a count that the file cannot hold.
#pragma once

#include "cachefile/wkCacheHeader.h"
#include "host/Strings.h"

#include <cstdint>
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
};

} // namespace WelkardTools
