// Activation moves each element's clock: an activated element plays its recording from the
// moment of its activation, as if playback started there; an element not activated rests on
// its first sample (its last under reverse playback).
#pragma once

#include "elements/wkCachePlaybackState.h"
#include "host/Time.h"

#include <cstdint>
#include <vector>

struct wkCacheShiftSettings {
    TimeValue t = 0; // the scene time being evaluated
    std::int32_t ticksPerFrame = 160;
    float start = 0.0f;          // playStart * ticks per frame
    std::int32_t holdSample = 0; // 0, or last under reverse playback
    bool reversed = false;
    bool useGraph = false; // the frame graph drives time: activation does not shift it
};

// Shifts the `time` of every element by its activation. An activation later than t puts the
// element before its range, one frame more than the wait, so that it obeys the out of range
// type. `rawTimes` and `shiftedTimes`, when given, receive each element's time before and after.
void shiftByActivation(std::vector<wkCacheElementState>& elements,
                       const wkCacheShiftSettings& settings, std::vector<float>* rawTimes,
                       std::vector<float>* shiftedTimes);
