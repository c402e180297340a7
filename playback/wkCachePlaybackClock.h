// The playback clock: from a scene time to a cache time, and from an element's cache time to a
// place between two samples.
//
// playbackTime maps the host's time to one cache time in ticks, counted from sample 0, the same
// for all elements. locateSample carries one element's cache time to a sample, a fraction and a
// next sample, applying the out of range types at both ends. Both are plain arithmetic over the
// values handed in: the object reads its parameters and the reader's header and passes them here.
// The constants, roundings and the order of the tests are what the user sees (where a Ping-Pong
// turns, which sample a Hide hides), so they are kept exactly, in single precision where time is
// a float.
#pragma once

#include "host/Time.h"

#include <cstdint>
#include <functional>

// Out of range types, as stored in playInORT and playOutORT. Any other value acts as Hide.
enum wkCacheORT : std::int32_t {
    ORT_HIDE = 0,
    ORT_HOLD = 1,
    ORT_LOOP = 2,
    ORT_PINGPONG = 3,
};

// What the clock needs of a cache: the three header fields, all expected above 0.
struct wkCacheTiming {
    std::int32_t cacheStepSize = 1;   // ticks between samples
    std::int32_t cacheFrameRate = 30; // frames a second of the recording
    std::int32_t cacheNumSamples = 1;

    std::int32_t last() const { return cacheNumSamples - 1; }
    // The time of the last sample if the recording stepped one frame: integer arithmetic, and
    // deliberately without cacheStepSize.
    std::int32_t lastTick() const;
};

// The playback parameters and host clock values at the time being evaluated. Booleans are kept
// as the integers the parameter block holds, since only a value of 1 counts as on.
struct wkCacheClockParams {
    std::int32_t ticksPerFrame = 160; // host GetTicksPerFrame()
    std::int32_t frameRate = 30;      // host GetFrameRate()
    std::int32_t playStart = 0;       // frames
    float playSpeed = 1.0f;           // value at the time asked for
    // The speed's animation track, read at any time; empty when the speed is not animated.
    std::function<float(TimeValue)> playSpeedTrack;
    std::int32_t playFPS = 30;
    std::int32_t playSpeedSteps = 0;
    std::int32_t playReverse = 0;
    std::int32_t playUseGraph = 0;
    float playFrame = 0.0f; // value at the time asked for
};

// The playback settings of one evaluation that locateSample reads. Under reverse playback the
// two types arrive swapped: beforeORT is then the type of the user's end of playback.
struct wkCacheRangeSettings {
    std::int32_t beforeORT = ORT_HOLD;
    std::int32_t afterORT = ORT_HOLD;
    bool reversed = false;
    bool interpolateFrames = true;
};

// Where an element stands in the recording. beforeRange and afterRange are told from the user's
// point of view: with reverse playback, beyond the last sample is before the range.
// nextSample is written only where there is a next sample to blend towards; elsewhere it keeps
// what it held, and interpolate is false.
struct wkCacheSampleLocation {
    std::int32_t sample = 0;
    float fraction = 0.0f; // 0 to 1, towards nextSample
    std::int32_t nextSample = 0;
    bool interpolate = false;
    bool inRange = true;
    bool beforeRange = false;
    bool afterRange = false;
};

// Divisor of a step list entry (playSpeedSteps, triggerSteps): 1, 2, 4, and 8 for 3 or anything
// else.
std::int32_t stepDivisor(std::int32_t steps);

// Cache time in ticks for scene time t. Negative before the start, which brings the out of range
// types in.
float playbackTime(const wkCacheClockParams& params, TimeValue t, const wkCacheTiming& timing);

// Writes the element's place for cache time `time` into `at`; answers its interpolate field.
bool locateSample(float time, const wkCacheTiming& timing, const wkCacheRangeSettings& settings,
                  wkCacheSampleLocation& at);
