// The bytes of a .wkc cache file: sizes, offsets and the little-endian decoding of its fields.
//
// Layout, in file order: a reserved area of 256 bytes holding the 46-byte header (and, in
// version 3, the element block offset at 46 and 50); the node table from offset 256; the
// geometry section (per node: vertices, then faces); the map section (per channel, per node);
// the sample table at sampleTableOffset; and in version 3 the element block at its offset.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace WelkardTools::wkCacheFormat {

inline constexpr char kMagic[7] = {'W', 'K', 'C', 'A', 'C', 'H', 'E'};
inline constexpr std::size_t kMagicSize = sizeof(kMagic);

inline constexpr std::int32_t kHeaderSize = 46;
inline constexpr std::int32_t kReservedSize = 256;
inline constexpr std::int32_t kNodeTableOffset = 256;

// Header fields, by offset.
inline constexpr std::size_t kVersionAt = 7;
inline constexpr std::size_t kCacheStartAt = 9;
inline constexpr std::size_t kCacheEndAt = 13;
inline constexpr std::size_t kStepSizeAt = 17;
inline constexpr std::size_t kFrameRateAt = 21;
inline constexpr std::size_t kNumNodesAt = 25;
inline constexpr std::size_t kNumSamplesAt = 29;
inline constexpr std::size_t kSampleStrideAt = 33;
inline constexpr std::size_t kNodeTableOffsetAt = 37;
inline constexpr std::size_t kSampleTableOffsetAt = 41;
inline constexpr std::size_t kHasVisibilityAt = 45;
// Version 3: two copies of the element block offset behind the header; the second is used.
inline constexpr std::size_t kElementBlockOffsetCopyAt = 46;
inline constexpr std::size_t kElementBlockOffsetAt = 50;

// Fixed parts of a node record: nameLength; boxMin and boxMax; numVerts, numFaces,
// numChannels; one channel entry; the specified-normals byte of versions 2 and 3.
inline constexpr std::int64_t kNodeRecordMinSize = 4 + 24 + 12;
inline constexpr std::int64_t kChannelEntrySize = 8;

inline constexpr std::int32_t kVertexSize = 12;
inline constexpr std::int32_t kFaceRecordSize = 56;   // versions 2 and 3
inline constexpr std::int32_t kFaceRecordSizeV1 = 32; // one ignored normal instead of three
inline constexpr std::int32_t kMapVertexSize = 12;
inline constexpr std::int32_t kMapFaceSize = 12;

// sampleRecord: the 4 rows of a Matrix3 (48 bytes), then the visible byte.
inline constexpr std::int32_t kSampleRecordSize = 49;
inline constexpr std::int32_t kTransformSize = 48;

// Element block head: frameCount, keyFrameCount, pointCount, elementCount.
inline constexpr std::int32_t kElementBlockHeadSize = 16;

inline constexpr std::int32_t FaceRecordSize(std::int32_t version) {
    return version == 1 ? kFaceRecordSizeV1 : kFaceRecordSize;
}

// ---- Little-endian fields. On a little-endian machine these are plain loads.

inline std::uint32_t LoadU32(const unsigned char* p) {
    if constexpr (std::endian::native == std::endian::little) {
        std::uint32_t v;
        std::memcpy(&v, p, 4);
        return v;
    } else {
        return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
               static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
    }
}
inline std::int32_t LoadI32(const unsigned char* p) {
    return static_cast<std::int32_t>(LoadU32(p));
}
inline std::uint16_t LoadU16(const unsigned char* p) {
    return static_cast<std::uint16_t>(p[0] | p[1] << 8);
}
inline float LoadF32(const unsigned char* p) {
    return std::bit_cast<float>(LoadU32(p));
}

// Turns `count` 32-bit little-endian words in place into native ones: arrays of floats and
// indices are read straight into their destination and fixed up here, which is free on a
// little-endian machine.
inline void FixWordOrder(void* words, std::size_t count) {
    if constexpr (std::endian::native != std::endian::little) {
        auto* p = static_cast<unsigned char*>(words);
        for (std::size_t i = 0; i < count; ++i, p += 4) {
            const std::uint32_t v = LoadU32(p);
            std::memcpy(p, &v, 4);
        }
    } else {
        (void)words;
        (void)count;
    }
}

} // namespace WelkardTools::wkCacheFormat
