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

#include <bit>
#include <cmath>
#include <cstdint>

namespace WelkardTools {

struct wkCacheElementBlend {
    std::uint64_t rowsVersion = 0; // 0: nothing kept
    std::int32_t sample = 0;
    std::int32_t nextSample = 0;
    float fraction = 0.0f;
    bool interpolate = false;
    bool rigid = false;   // `pair` holds the factors of (sample, nextSample)
    bool tmStale = false; // `tm` is not yet the rigid blend at `fraction`
    Matrix3 tm;           // the transform at the key, without scale
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

// The transform of `element` at `at` through the rows and `memo`, for a key `blend` does not
// hold or a pair it does not blend rigidly.
const Matrix3& elementFrameTransformFromRows(wkCacheRowLookup& rows, std::int32_t element,
                                             const wkCacheSampleLocation& at,
                                             wkCacheElementBlend& blend, TransformMemo& memo);

// Writes `out`, the transform of `element` at `at` (no scale), through `blend` and `memo`, which
// it updates. Inline, and into the caller's matrix: frame assembly runs it for every element,
// its common roads are a few compares and the rigid blend, and a matrix copied right after it
// was written float by float would keep the vertex loop waiting.
inline void elementFrameTransform(wkCacheRowLookup& rows, std::int32_t element,
                                  const wkCacheSampleLocation& at, wkCacheElementBlend& blend,
                                  TransformMemo& memo, Matrix3& out) {
    const bool samePair = blend.rowsVersion == rows.sampleRows().version() &&
                          blend.sample == at.sample && blend.interpolate == at.interpolate &&
                          (!at.interpolate || blend.nextSample == at.nextSample);
    if (samePair) {
        // Fractions by their bits: -0 and +0 are not the same fraction to every blend.
        if (!at.interpolate || std::bit_cast<std::uint32_t>(blend.fraction) ==
                                   std::bit_cast<std::uint32_t>(at.fraction)) {
            if (blend.tmStale) {
                blend.pair.at(blend.tm, blend.fraction);
                blend.tmStale = false;
            }
            out = blend.tm;
            return;
        }
        // A moving element is blended straight into the frame's matrix; `tm` is written only
        // when the element stands still, so that a move costs no 48-byte store and reload.
        if (blend.rigid && std::isfinite(at.fraction)) {
            blend.fraction = at.fraction;
            blend.tmStale = true;
            blend.pair.at(out, at.fraction);
            return;
        }
    }
    out = elementFrameTransformFromRows(rows, element, at, blend, memo);
}

} // namespace WelkardTools
