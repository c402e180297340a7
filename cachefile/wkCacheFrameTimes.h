// What one mesh update hands to frame assembly besides the element states.
#pragma once

#include <cstdint>
#include <vector>

struct wkCacheFrameTimes {
    // One position (sample + fraction) per element, filled by assembleFrame.
    std::vector<float> sampleTimes;
    std::int32_t loadType = 0; // raw loadTypeLocal: 0 Stream, 1 Per-Sample, 2 Pre-Load
    float scale = 1.0f;        // scaleUnits at time 0
};
