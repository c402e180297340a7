// The 46-byte header at the start of a cache file, decoded, and its validity test.
#pragma once

#include <cstdint>

namespace WelkardTools {

struct wkCacheHeader {
    char magic[7] = {};
    std::uint8_t fileVersion = 0;
    std::uint8_t reserved = 0;
    // The recorded range and its step in ticks, and the frame rate of the scene it came from.
    std::int32_t cacheStart = 0, cacheEnd = 0, cacheStepSize = 0, cacheFrameRate = 0;
    std::int32_t cacheNumNodes = 0, cacheNumSamples = 0;
    // The bytes of one sample row, and where the two tables start.
    std::int32_t sampleStride = 0, nodeTableOffset = 0, sampleTableOffset = 0;
    std::uint8_t cacheHasVisibility = 0;

    // From the first 46 bytes of a file.
    static wkCacheHeader Decode(const unsigned char* bytes);
    // The validity test, on signed 32-bit values: magic "WKCACHE", version 1 to 3, start not
    // after end, step, frame rate and stride at least 1, counts not negative, node table at 256,
    // sample table behind it. Nothing is compared with the size of the file, and the stride is
    // not compared with the node count.
    bool IsValid() const;
};

} // namespace WelkardTools
