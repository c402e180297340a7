// Each element's transform at a frame, with what is kept of it for the next frame.
//
// Frames mostly stand between the same two samples as the frame before, at another fraction, or
// at the very same place (a held or paused element). So each element keeps, in the order the
// frame loop reads it, the key of its last place (rows version, samples, interpolate, fraction),
// the transform found for it, and the factors of its pair when the pair blends rigidly. A key
// that matches gives the transform without reading the rows; a matching rigid pair blends at
// the new fraction without reading them either. Anything else reads the rows and goes through
// the element's TransformMemo, which knows sample matrices by their bytes. Every road gives the
// bits of interpolateTransform on the two sample matrices.
#pragma once

#include "cachefile/wkCacheSampleRows.h"
#include "host/Matrix3.h"
#include "playback/interpolateTransform.h"
#include "playback/wkCachePlaybackClock.h"

#include <cstdint>

namespace WelkardTools {

struct wkCacheElementBlend {
    std::uint64_t rowsVersion = 0; // 0: nothing kept
    std::int32_t sample = 0;
    std::int32_t nextSample = 0;
    float fraction = 0.0f;
    bool interpolate = false;
    bool rigid = false; // `pair` holds the factors of (sample, nextSample)
    Matrix3 tm;         // the transform at the key, without scale
    RigidBlend pair;
};

// The held rows of the few samples a frame's elements stand at, each looked up once.
class wkCacheRowLookup {
public:
    explicit wkCacheRowLookup(const wkCacheSampleRows& rows_) : rows(rows_) {}
    std::int64_t row(std::int32_t sample);
    const wkCacheSampleRows& sampleRows() const { return rows; }

private:
    const wkCacheSampleRows& rows;
    std::int32_t samples[2] = {0, 0};
    std::int64_t held[2] = {0, 0};
    int filled = 0;
    int next = 0; // the entry replaced next
};

// The transform of `element` at `at` (no scale), through `blend` and `memo`, which it updates.
const Matrix3& elementFrameTransform(wkCacheRowLookup& rows, std::int32_t element,
                                     const wkCacheSampleLocation& at, wkCacheElementBlend& blend,
                                     TransformMemo& memo);

} // namespace WelkardTools
