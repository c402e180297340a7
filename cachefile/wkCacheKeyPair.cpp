#include "cachefile/wkCacheKeyPair.h"

#include <cmath>
#include <cstddef>
#include <limits>

namespace WelkardTools {

namespace {

// Float to int32 for floor and ceiling: values beyond the int32 range (a position far outside
// 0 to 1 can only come from a corrupt frame count) are pinned to its ends, NaN to 0.
std::int32_t toFrame(float v) {
    if (std::isnan(v))
        return 0;
    if (v >= 2147483648.0f)
        return std::numeric_limits<std::int32_t>::max();
    if (v < -2147483648.0f)
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(v);
}

// The last key at or before `frame`, walking from the first and stopping at the first key above
// it; 0 when none qualifies. Key lists are short, and ascending.
std::int32_t lastKeyAtOrBefore(const std::vector<std::int32_t>& keyFrames, std::int32_t frame,
                               std::int32_t frameCount) {
    std::int32_t found = 0;
    for (std::size_t i = 0; i < keyFrames.size(); ++i) {
        if (keyFrames[i] > frame)
            break;
        found = static_cast<std::int32_t>(i);
    }
    if (found < 0 || found > frameCount)
        return 0;
    return found;
}

} // namespace

float normalisedPosition(float sampleTime, std::int32_t numSamples) {
    if (numSamples <= 1)
        return 0.0f;
    const float position = sampleTime / static_cast<float>(numSamples - 1);
    if (position > 1.0f || position < 0.0f)
        return 0.0f;
    return position;
}

wkCacheKeyPair findKeyPair(std::int32_t frameCount, const std::vector<std::int32_t>& keyFrames,
                           float position) {
    const float x = static_cast<float>(frameCount) * position;
    const std::int32_t lo = toFrame(std::floor(x));
    const std::int32_t hi = toFrame(std::ceil(x));
    return {lastKeyAtOrBefore(keyFrames, lo, frameCount),
            lastKeyAtOrBefore(keyFrames, hi, frameCount)};
}

wkCacheKeyWeights keyWeights(std::int32_t frameCount, const std::vector<std::int32_t>& keyFrames,
                             const wkCacheKeyPair& pair, float position) {
    const auto count = static_cast<std::int32_t>(keyFrames.size());
    if (pair.left >= count || pair.right >= count)
        return {};
    const std::int32_t leftFrame = keyFrames[static_cast<std::size_t>(pair.left)];
    const std::int32_t rightFrame = keyFrames[static_cast<std::size_t>(pair.right)];
    // Frames of a sound block are far from the int32 ends; the difference is taken in 64 bits
    // so that a corrupt one cannot overflow.
    const std::int64_t span = std::int64_t{rightFrame} - leftFrame;
    if (span == 0)
        return {};
    const float w = (static_cast<float>(frameCount) * position - static_cast<float>(leftFrame)) /
                    static_cast<float>(span);
    return {1.0f - w, w};
}

} // namespace WelkardTools
