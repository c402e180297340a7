#include "playback/wkCachePlaybackClock.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

bool isLoopOrPingPong(std::int32_t type) {
    return type == ORT_LOOP || type == ORT_PINGPONG;
}
bool isHide(std::int32_t type) {
    return type != ORT_HOLD && !isLoopOrPingPong(type);
}

// Float to int32 toward zero. Outside the int32 range the language leaves the conversion
// undefined; such a time is pinned to the nearest end (NaN to 0), and it is treated as a whole
// sample.
std::int32_t truncateTime(float x, bool& whole) {
    constexpr float kLimit = 2147483648.0f; // 2^31
    whole = false;
    if (std::isnan(x)) {
        whole = true;
        return 0;
    }
    if (x >= kLimit || x < -kLimit) {
        whole = true;
        return x < 0 ? std::numeric_limits<std::int32_t>::min()
                     : std::numeric_limits<std::int32_t>::max();
    }
    return static_cast<std::int32_t>(x);
}

void setStartFlag(wkCacheSampleLocation& at, bool reversed) {
    (reversed ? at.afterRange : at.beforeRange) = true;
}

void setEndFlag(wkCacheSampleLocation& at, bool reversed) {
    (reversed ? at.beforeRange : at.afterRange) = true;
}

} // namespace

std::int32_t wkCacheTiming::lastTick() const {
    // Wraps like the 32-bit product it stands for instead of overflowing.
    const std::uint32_t product = static_cast<std::uint32_t>(TICKS_PER_SECOND / cacheFrameRate) *
                                  static_cast<std::uint32_t>(last());
    return static_cast<std::int32_t>(product);
}

std::int32_t stepDivisor(std::int32_t steps) {
    switch (steps) {
    case 0:
        return 1;
    case 1:
        return 2;
    case 2:
        return 4;
    default:
        return 8;
    }
}

float playbackTime(const wkCacheClockParams& params, TimeValue t, const wkCacheTiming& timing) {
    const float tpf = static_cast<float>(params.ticksPerFrame);
    const float sceneRatio =
        static_cast<float>(params.frameRate) / static_cast<float>(timing.cacheFrameRate);
    const bool useGraph = params.playUseGraph == 1;
    const bool reverse = !useGraph && params.playReverse == 1;

    // The frame graph replaces start, speed and reverse altogether.
    if (useGraph)
        return tpf * params.playFrame * sceneRatio;

    // A float product of two exact values rounds once, like the integer product would, but
    // cannot overflow for a far start at a low frame rate.
    const float start = static_cast<float>(params.playStart) * tpf;
    const float now = static_cast<float>(t);
    float elapsed = 0.0f;

    if (now > start && params.playSpeedTrack) {
        // An animated speed is integrated from the start in chunks of a frame or a fraction of
        // one. The FPS setting does not enter here.
        const std::int32_t divisor = stepDivisor(params.playSpeedSteps);
        std::int64_t chunk = params.ticksPerFrame;
        if (params.ticksPerFrame > divisor)
            chunk = params.ticksPerFrame / divisor;
        // start lies below t; a start further back than int32 reaches begins at its lowest tick.
        std::int64_t at = start < -2147483648.0f ? std::numeric_limits<std::int32_t>::min()
                                                 : static_cast<std::int32_t>(start);
        while (at < t) {
            if (at + chunk > t)
                chunk = t - at;
            const float speed = params.playSpeedTrack(static_cast<TimeValue>(at));
            elapsed += static_cast<float>(chunk) * speed;
            at += chunk;
        }
    } else {
        const float fpsRatio =
            static_cast<float>(params.frameRate) / static_cast<float>(params.playFPS);
        // Before the start the clock runs at normal speed whatever the speed says.
        const float speed = now < start ? 1.0f : params.playSpeed;
        elapsed = speed * fpsRatio * (now - start);
    }

    if (reverse)
        return static_cast<float>(timing.lastTick()) - elapsed;
    return elapsed;
}

bool locateSample(float time, const wkCacheTiming& timing, const wkCacheRangeSettings& settings,
                  wkCacheSampleLocation& at) {
    const std::int64_t last = timing.last();
    const bool reversed = settings.reversed;
    const std::int32_t beforeORT = settings.beforeORT;

    at.inRange = true;
    at.beforeRange = false;
    at.afterRange = false;

    const float x = time / static_cast<float>(timing.cacheStepSize);
    bool whole = false;
    // Integer work on the sample is done in 64 bits: wrapping and mirroring far outside the
    // recording would overflow 32.
    std::int64_t sample = truncateTime(x, whole);
    const bool negative = x < 0.0f;
    float fraction = whole ? 0.0f : std::fabs(x - static_cast<float>(sample));

    // A cache of one sample has no length to wrap or mirror over: Loop and Ping-Pong hold its
    // only sample, as Hold would.
    const bool nothingToRepeat = last <= 0;

    // Before the range. Between -1 and 0 truncation gives sample 0, which is still inside for
    // Hide and Hold but already wraps or mirrors for Loop and Ping-Pong.
    std::int32_t type = settings.afterORT;
    if (sample < 0 || (negative && beforeORT >= ORT_LOOP && sample <= 0)) {
        setStartFlag(at, reversed);
        if (isLoopOrPingPong(beforeORT))
            type = beforeORT;
        if (beforeORT == ORT_HOLD || (isLoopOrPingPong(beforeORT) && nothingToRepeat)) {
            sample = 0;
            fraction = 0.0f;
        } else if (beforeORT == ORT_LOOP) {
            if (sample != 0 || fraction != 0.0f) {
                if (negative)
                    sample -= 1;
                // Up into 1..last: sample 0 is the same place as last and never a result of
                // wrapping.
                if (sample <= 0)
                    sample += ((-sample) / last + 1) * last;
                fraction = 1.0f - fraction;
            }
        } else if (beforeORT == ORT_PINGPONG) {
            sample = sample < 0 ? -sample : sample;
        } else {
            at.inRange = false;
            sample = 0;
            fraction = 0.0f;
        }
    }

    // After the range. Loop and Ping-Pong already turn at the last sample itself.
    bool exact = false;
    if (sample > last || (type >= ORT_LOOP && sample == last)) {
        setEndFlag(at, reversed);
        if (type == ORT_HOLD || (isLoopOrPingPong(type) && nothingToRepeat)) {
            fraction = 0.0f;
            sample = last;
            exact = true;
        } else if (type == ORT_LOOP) {
            if (sample != last || fraction != 0.0f)
                sample %= last;
        } else if (type == ORT_PINGPONG) {
            const std::int64_t q = sample / last;
            const bool backwards = q % 2 != 0;
            sample = backwards ? (q + 1) * last - sample : sample - q * last;
            // Running backwards, the way already gone counts from the other neighbour.
            if (fraction > 0.0f && backwards) {
                sample -= 1;
                fraction = 1.0f - fraction;
            }
        } else {
            at.inRange = false;
            fraction = 0.0f;
            sample = last;
            exact = true;
        }
    }

    if (!exact && fraction > 0.0f) {
        if (negative && sample == 0 && beforeORT < ORT_LOOP) {
            // Between -1 and 0 under Hide or Hold: the first sample, not a blend towards the
            // second.
            if (beforeORT == ORT_HOLD) {
                at.nextSample = 0;
            } else {
                setStartFlag(at, reversed);
                at.inRange = false;
            }
            fraction = 0.0f;
        } else {
            std::int64_t next = sample + 1;
            if (next > last) {
                setEndFlag(at, reversed);
                if (type == ORT_HOLD) {
                    next = last;
                    fraction = 0.0f;
                } else if (type == ORT_LOOP) {
                    // The loop does not blend across its seam.
                    next = 0;
                    fraction = 0.0f;
                } else if (type == ORT_PINGPONG) {
                    next = sample;
                    sample -= 1;
                    fraction = 1.0f - fraction;
                } else {
                    at.inRange = false;
                    fraction = 0.0f;
                }
            }
            at.nextSample = static_cast<std::int32_t>(next);
        }
    } else {
        // On a sample exactly: under Hide the far end of playback is exclusive, so the last
        // sample shown is the one before it.
        const bool atHiddenEnd = reversed ? (sample == 0 && isHide(beforeORT))
                                          : (sample == last && isHide(settings.afterORT));
        if (atHiddenEnd) {
            at.afterRange = true;
            at.inRange = false;
            fraction = 0.0f;
        }
    }

    at.sample = static_cast<std::int32_t>(sample);
    at.fraction = fraction;
    at.interpolate = at.inRange && settings.interpolateFrames && fraction > 0.0f;
    return at.interpolate;
}
