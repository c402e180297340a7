#include "cachefile/wkCacheHeader.h"

#include "cachefile/wkCacheFormat.h"

#include <algorithm>
#include <cstring>

namespace WelkardTools {

wkCacheHeader wkCacheHeader::Decode(const unsigned char* bytes) {
    namespace f = wkCacheFormat;
    wkCacheHeader h;
    std::memcpy(h.magic, bytes, sizeof h.magic);
    h.fileVersion = bytes[f::kVersionAt];
    h.reserved = bytes[f::kVersionAt + 1];
    h.cacheStart = f::LoadI32(bytes + f::kCacheStartAt);
    h.cacheEnd = f::LoadI32(bytes + f::kCacheEndAt);
    h.cacheStepSize = f::LoadI32(bytes + f::kStepSizeAt);
    h.cacheFrameRate = f::LoadI32(bytes + f::kFrameRateAt);
    h.cacheNumNodes = f::LoadI32(bytes + f::kNumNodesAt);
    h.cacheNumSamples = f::LoadI32(bytes + f::kNumSamplesAt);
    h.sampleStride = f::LoadI32(bytes + f::kSampleStrideAt);
    h.nodeTableOffset = f::LoadI32(bytes + f::kNodeTableOffsetAt);
    h.sampleTableOffset = f::LoadI32(bytes + f::kSampleTableOffsetAt);
    h.cacheHasVisibility = bytes[f::kHasVisibilityAt];
    return h;
}

bool wkCacheHeader::IsValid() const {
    return std::equal(magic, magic + sizeof magic, wkCacheFormat::kMagic) && fileVersion >= 1 &&
           fileVersion <= 3 && cacheStart <= cacheEnd && cacheStepSize >= 1 &&
           cacheFrameRate >= 1 && cacheNumNodes >= 0 && cacheNumSamples >= 0 && sampleStride >= 1 &&
           nodeTableOffset == wkCacheFormat::kNodeTableOffset &&
           sampleTableOffset > wkCacheFormat::kNodeTableOffset;
}

} // namespace WelkardTools
