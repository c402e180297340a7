// Which two key frames of the element block an element blends between, and with what weights.
//
// An element's place in its recording is a position from 0 (first sample) to 1 (last sample);
// on the block's frame scale it is x = frameCount * position. The pair is found from the two
// whole frames around x: `left` is the last key at or before floor(x), `right` the last key at
// or before ceil(x). So `right` is not simply the next key after x: between keys more than a
// frame apart both are the earlier key, which holds until x comes within one frame of the next
// key; then the blend runs with the full distance in its weights. On keys one frame apart this is
// ordinary linear interpolation, and that is what the writer's key reduction relies on.
#pragma once

#include <cstdint>
#include <vector>

namespace WelkardTools {

struct wkCacheKeyPair {
    std::int32_t left = 0;  // key index
    std::int32_t right = 0; // key index
};

struct wkCacheKeyWeights {
    float left = 1.0f;
    float right = 0.0f;
};

// An element's sample time as a position in the recording: sampleTime / (numSamples - 1).
// Outside 0 to 1 it is 0, the first key, not the nearer end. A cache of one sample has no
// length to divide by; its position is 0 too.
float normalisedPosition(float sampleTime, std::int32_t numSamples);

// Key indices for `position`; both 0 when no key lies at or before the frame asked for, and an
// index above frameCount is taken as 0 too.
wkCacheKeyPair findKeyPair(std::int32_t frameCount, const std::vector<std::int32_t>& keyFrames,
                           float position);

// Blend weights of the pair: all on the left key when both are one frame.
wkCacheKeyWeights keyWeights(std::int32_t frameCount, const std::vector<std::int32_t>& keyFrames,
                             const wkCacheKeyPair& pair, float position);

} // namespace WelkardTools
