#include "playback/wkCacheElementBlend.h"

namespace WelkardTools {

std::int64_t wkCacheRowLookup::row(std::int32_t sample) {
    for (int k = 0; k < filled; ++k)
        if (samples[k] == sample)
            return held[k];
    const int k = filled < 2 ? filled++ : next;
    next = 1 - k;
    samples[k] = sample;
    held[k] = rows.heldRow(sample);
    return held[k];
}

const Matrix3& elementFrameTransformFromRows(wkCacheRowLookup& rows, std::int32_t element,
                                             const wkCacheSampleLocation& at,
                                             wkCacheElementBlend& blend, TransformMemo& memo) {
    const std::uint64_t version = rows.sampleRows().version();
    blend.fraction = at.fraction;
    blend.rowsVersion = version;
    blend.sample = at.sample;
    blend.nextSample = at.nextSample;
    blend.interpolate = at.interpolate;
    blend.rigid = false;
    blend.tmStale = false;
    const Matrix3 first = rows.sampleRows().transformAt(rows.row(at.sample), element);
    if (!at.interpolate) {
        blend.tm = first;
        return blend.tm;
    }
    const Matrix3 second = rows.sampleRows().transformAt(rows.row(at.nextSample), element);
    int i = 0;
    int j = 0;
    memo.slotsFor(first, second, i, j);
    const TransformArcs& arcs = memo.arcs(i, j);
    if (RigidBlend::Applies(memo.parts(i), arcs)) {
        blend.pair = RigidBlend::Of(memo.parts(i), memo.parts(j), arcs);
        blend.rigid = true;
    }
    return interpolateTransform(blend.tm, memo.parts(i), memo.parts(j), arcs, at.fraction);
}

} // namespace WelkardTools
