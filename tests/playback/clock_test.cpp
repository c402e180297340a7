// The playback clock: scene time to cache time, and cache time to a sample place.
#include "playback/wkCachePlaybackClock.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

constexpr std::int32_t kTpf = 160; // 30 frames a second

// A recording of 11 samples (last 10), one frame apart at 30 fps.
wkCacheTiming elevenSamples() {
    return {kTpf, 30, 11};
}

wkCacheClockParams startingAt(std::int32_t frame) {
    wkCacheClockParams p;
    p.playStart = frame;
    return p;
}

TimeValue frame(float f) {
    return static_cast<TimeValue>(f * kTpf);
}

TEST(PlaybackTime, StartShiftsTheRecordingAndRunsAtNormalSpeedBeforeIt) {
    wkCacheClockParams p = startingAt(10);
    EXPECT_EQ(playbackTime(p, frame(10), elevenSamples()), 0.0f);
    EXPECT_EQ(playbackTime(p, frame(9), elevenSamples()), -160.0f);
    EXPECT_EQ(playbackTime(p, frame(13), elevenSamples()), 480.0f);

    p.playSpeed = 2.0f;
    EXPECT_EQ(playbackTime(p, frame(12), elevenSamples()), 640.0f);
    // Before the start the speed does not count.
    EXPECT_EQ(playbackTime(p, frame(8), elevenSamples()), -320.0f);
    p.playSpeed = -3.0f;
    EXPECT_EQ(playbackTime(p, frame(8), elevenSamples()), -320.0f);
}

TEST(PlaybackTime, PlaybackFpsScalesAPlainSpeed) {
    wkCacheClockParams p = startingAt(10);
    p.playFPS = 15;
    EXPECT_EQ(playbackTime(p, frame(11), elevenSamples()), 320.0f);
    p.frameRate = 25; // host at 25 fps, 192 ticks a frame
    p.ticksPerFrame = 192;
    p.playFPS = 50;
    EXPECT_FLOAT_EQ(playbackTime(p, 1920 + 400, elevenSamples()), 200.0f);
}

TEST(PlaybackTime, AnimatedSpeedIsIntegratedInStepsFromTheStart) {
    wkCacheClockParams p = startingAt(10);
    p.playFPS = 15; // ignored while the speed is animated
    // Speed grows by 1 a frame from the start: the sum depends on where it is read.
    p.playSpeedTrack = [](TimeValue at) { return static_cast<float>(at - 1600) / 160.0f; };
    const TimeValue t = frame(12);
    p.playSpeedSteps = 0;
    EXPECT_EQ(playbackTime(p, t, elevenSamples()), 160.0f); // 160 * (0 + 1)
    p.playSpeedSteps = 1;
    EXPECT_EQ(playbackTime(p, t, elevenSamples()), 240.0f); // 80 * (0 + .5 + 1 + 1.5)
    p.playSpeedSteps = 2;
    EXPECT_EQ(playbackTime(p, t, elevenSamples()), 280.0f);
    p.playSpeedSteps = 3;
    EXPECT_EQ(playbackTime(p, t, elevenSamples()), 300.0f);
    p.playSpeedSteps = 9; // out of the list: eighths as well
    EXPECT_EQ(playbackTime(p, t, elevenSamples()), 300.0f);

    // The last chunk is cut at t: 160 ticks at speed 0, then 40 at speed 1.
    p.playSpeedSteps = 0;
    EXPECT_EQ(playbackTime(p, 1600 + 200, elevenSamples()), 40.0f);
}

TEST(PlaybackTime, AnimatedSpeedDoesNotRunBeforeTheStart) {
    wkCacheClockParams p = startingAt(10);
    int reads = 0;
    p.playSpeedTrack = [&reads](TimeValue) {
        ++reads;
        return 5.0f;
    };
    EXPECT_EQ(playbackTime(p, frame(10), elevenSamples()), 0.0f);
    EXPECT_EQ(playbackTime(p, frame(7), elevenSamples()), -480.0f);
    EXPECT_EQ(reads, 0);
}

TEST(PlaybackTime, ReverseCountsBackFromTheLastFramesTick) {
    wkCacheClockParams p = startingAt(10);
    p.playReverse = 1;
    // lastTick is (4800 / 30) * 10 whatever the step between samples.
    EXPECT_EQ(playbackTime(p, frame(10), elevenSamples()), 1600.0f);
    EXPECT_EQ(playbackTime(p, frame(12), elevenSamples()), 1280.0f);
    EXPECT_EQ(playbackTime(p, frame(12), wkCacheTiming{480, 30, 11}), 1280.0f);
    // Integer division of the cache frame rate: 4800 / 7 is 685.
    EXPECT_EQ(playbackTime(p, frame(10), wkCacheTiming{kTpf, 7, 3}), 1370.0f);
    // Only 1 counts as on.
    p.playReverse = 2;
    EXPECT_EQ(playbackTime(p, frame(12), elevenSamples()), 320.0f);
}

TEST(PlaybackTime, GraphReplacesStartSpeedAndReverse) {
    wkCacheClockParams p = startingAt(10);
    p.playUseGraph = 1;
    p.playReverse = 1;
    p.playSpeed = 4.0f;
    p.playSpeedTrack = [](TimeValue) { return 9.0f; };
    p.playFrame = 2.5f;
    EXPECT_EQ(playbackTime(p, frame(50), elevenSamples()), 400.0f);
    // The graph counts scene frames: a cache at 15 fps runs through twice the ticks.
    EXPECT_EQ(playbackTime(p, frame(50), wkCacheTiming{320, 15, 11}), 800.0f);
    p.playFrame = -1.0f;
    EXPECT_EQ(playbackTime(p, 0, elevenSamples()), -160.0f);
}

TEST(StepDivisor, ListEntriesAndOthers) {
    EXPECT_EQ(stepDivisor(0), 1);
    EXPECT_EQ(stepDivisor(1), 2);
    EXPECT_EQ(stepDivisor(2), 4);
    EXPECT_EQ(stepDivisor(3), 8);
    EXPECT_EQ(stepDivisor(4), 8);
    EXPECT_EQ(stepDivisor(-1), 8);
}

struct Place {
    std::int32_t sample;
    float fraction;
    std::int32_t nextSample; // checked only while interpolating
    bool interpolate;
    bool inRange;
    bool beforeRange;
    bool afterRange;
};

// Locates x samples into the eleven-sample recording.
wkCacheSampleLocation at(float x, std::int32_t beforeORT, std::int32_t afterORT,
                         bool reversed = false, const wkCacheTiming& timing = elevenSamples()) {
    wkCacheSampleLocation where;
    const wkCacheRangeSettings settings{beforeORT, afterORT, reversed, true};
    const bool interpolate =
        locateSample(x * static_cast<float>(timing.cacheStepSize), timing, settings, where);
    EXPECT_EQ(interpolate, where.interpolate);
    return where;
}

void expectPlace(const wkCacheSampleLocation& got, const Place& want) {
    EXPECT_EQ(got.sample, want.sample);
    EXPECT_FLOAT_EQ(got.fraction, want.fraction);
    if (want.interpolate) {
        EXPECT_EQ(got.nextSample, want.nextSample);
    }
    EXPECT_EQ(got.interpolate, want.interpolate);
    EXPECT_EQ(got.inRange, want.inRange);
    EXPECT_EQ(got.beforeRange, want.beforeRange);
    EXPECT_EQ(got.afterRange, want.afterRange);
}

TEST(LocateSample, InsideTheRecording) {
    for (std::int32_t type : {ORT_HIDE, ORT_HOLD, ORT_LOOP, ORT_PINGPONG}) {
        SCOPED_TRACE(type);
        expectPlace(at(0.0f, type, type), {0, 0.0f, 0, false, true, false, false});
        expectPlace(at(4.0f, type, type), {4, 0.0f, 0, false, true, false, false});
        expectPlace(at(4.25f, type, type), {4, 0.25f, 5, true, true, false, false});
        expectPlace(at(9.5f, type, type), {9, 0.5f, 10, true, true, false, false});
    }
    // A fraction without interpolation stays, but nothing is blended.
    wkCacheSampleLocation where;
    EXPECT_FALSE(
        locateSample(4.25f * kTpf, elevenSamples(), {ORT_HOLD, ORT_HOLD, false, false}, where));
    EXPECT_EQ(where.sample, 4);
    EXPECT_FLOAT_EQ(where.fraction, 0.25f);
}

TEST(LocateSample, HideAfterHidesTheLastSample) {
    expectPlace(at(9.0f, ORT_HOLD, ORT_HIDE), {9, 0.0f, 0, false, true, false, false});
    expectPlace(at(9.75f, ORT_HOLD, ORT_HIDE), {9, 0.75f, 10, true, true, false, false});
    expectPlace(at(10.0f, ORT_HOLD, ORT_HIDE), {10, 0.0f, 0, false, false, false, true});
    expectPlace(at(10.5f, ORT_HOLD, ORT_HIDE), {10, 0.0f, 0, false, false, false, true});
    expectPlace(at(31.0f, ORT_HOLD, ORT_HIDE), {10, 0.0f, 0, false, false, false, true});
}

TEST(LocateSample, HoldAfterKeepsTheLastSample) {
    expectPlace(at(10.0f, ORT_HOLD, ORT_HOLD), {10, 0.0f, 0, false, true, false, false});
    expectPlace(at(10.5f, ORT_HOLD, ORT_HOLD), {10, 0.0f, 0, false, true, false, true});
    expectPlace(at(15.5f, ORT_HOLD, ORT_HOLD), {10, 0.0f, 0, false, true, false, true});
}

TEST(LocateSample, LoopAfterWrapsWithoutBlendingAcrossTheSeam) {
    expectPlace(at(10.0f, ORT_HOLD, ORT_LOOP), {10, 0.0f, 0, false, true, false, true});
    expectPlace(at(10.5f, ORT_HOLD, ORT_LOOP), {0, 0.5f, 1, true, true, false, true});
    expectPlace(at(23.0f, ORT_HOLD, ORT_LOOP), {3, 0.0f, 0, false, true, false, true});
    expectPlace(at(29.25f, ORT_HOLD, ORT_LOOP), {9, 0.25f, 10, true, true, false, true});
}

TEST(LocateSample, PingPongAfterRunsBackAndForth) {
    expectPlace(at(12.0f, ORT_HOLD, ORT_PINGPONG), {8, 0.0f, 0, false, true, false, true});
    expectPlace(at(12.25f, ORT_HOLD, ORT_PINGPONG), {7, 0.75f, 8, true, true, false, true});
    expectPlace(at(20.0f, ORT_HOLD, ORT_PINGPONG), {0, 0.0f, 0, false, true, false, true});
    expectPlace(at(25.0f, ORT_HOLD, ORT_PINGPONG), {5, 0.0f, 0, false, true, false, true});
    expectPlace(at(10.5f, ORT_HOLD, ORT_PINGPONG), {9, 0.5f, 10, true, true, false, true});
    expectPlace(at(30.0f, ORT_HOLD, ORT_PINGPONG), {10, 0.0f, 0, false, true, false, true});
}

TEST(LocateSample, HideBeforeShowsTheFirstSampleButNothingBeforeIt) {
    expectPlace(at(0.0f, ORT_HIDE, ORT_HOLD), {0, 0.0f, 0, false, true, false, false});
    expectPlace(at(-0.5f, ORT_HIDE, ORT_HOLD), {0, 0.0f, 0, false, false, true, false});
    expectPlace(at(-1.0f, ORT_HIDE, ORT_HOLD), {0, 0.0f, 0, false, false, true, false});
    expectPlace(at(-7.5f, ORT_HIDE, ORT_HOLD), {0, 0.0f, 0, false, false, true, false});
}

TEST(LocateSample, HoldBeforeShowsTheFirstSample) {
    // Between -1 and 0 the truncated sample is 0 itself: held, but not flagged as before.
    expectPlace(at(-0.5f, ORT_HOLD, ORT_HOLD), {0, 0.0f, 0, false, true, false, false});
    expectPlace(at(-1.0f, ORT_HOLD, ORT_HOLD), {0, 0.0f, 0, false, true, true, false});
    expectPlace(at(-4.5f, ORT_HOLD, ORT_HOLD), {0, 0.0f, 0, false, true, true, false});
}

TEST(LocateSample, LoopBeforeWrapsOntoTheEnd) {
    expectPlace(at(-0.25f, ORT_LOOP, ORT_HOLD), {9, 0.75f, 10, true, true, true, false});
    expectPlace(at(-1.0f, ORT_LOOP, ORT_HOLD), {8, 1.0f, 9, true, true, true, false});
    expectPlace(at(-10.0f, ORT_LOOP, ORT_HOLD), {9, 1.0f, 10, true, true, true, false});
    expectPlace(at(-21.5f, ORT_LOOP, ORT_HOLD), {8, 0.5f, 9, true, true, true, false});
}

TEST(LocateSample, PingPongBeforeMirrorsThePosition) {
    expectPlace(at(-3.5f, ORT_PINGPONG, ORT_HOLD), {3, 0.5f, 4, true, true, true, false});
    expectPlace(at(-0.5f, ORT_PINGPONG, ORT_HOLD), {0, 0.5f, 1, true, true, true, false});
    // Far enough back to reach the other end, where the after type takes over.
    expectPlace(at(-12.0f, ORT_PINGPONG, ORT_HOLD), {8, 0.0f, 0, false, true, true, true});
}

TEST(LocateSample, ReversedSwapsTheFlagsAndHidesTheFirstSample) {
    // Reverse playback arrives with the types swapped; the flags speak of the user's playback.
    expectPlace(at(-2.0f, ORT_HOLD, ORT_HOLD, true), {0, 0.0f, 0, false, true, false, true});
    expectPlace(at(12.0f, ORT_HOLD, ORT_HOLD, true), {10, 0.0f, 0, false, true, true, false});
    // Under Hide it is now sample 0 that ends the playback, exclusively.
    expectPlace(at(0.0f, ORT_HIDE, ORT_HIDE, true), {0, 0.0f, 0, false, false, false, true});
    expectPlace(at(10.0f, ORT_HIDE, ORT_HIDE, true), {10, 0.0f, 0, false, true, false, false});
    expectPlace(at(0.5f, ORT_HIDE, ORT_HIDE, true), {0, 0.5f, 1, true, true, false, false});
}

TEST(LocateSample, OneSampleCacheHoldsItsSampleUnderLoopAndPingPong) {
    const wkCacheTiming one{kTpf, 30, 1};
    for (std::int32_t type : {ORT_LOOP, ORT_PINGPONG}) {
        SCOPED_TRACE(type);
        for (float x : {-2.5f, -1.0f, -0.5f, 0.0f, 0.5f, 3.0f}) {
            SCOPED_TRACE(x);
            const wkCacheSampleLocation where = at(x, type, type, false, one);
            EXPECT_EQ(where.sample, 0);
            EXPECT_EQ(where.fraction, 0.0f);
            EXPECT_TRUE(where.inRange);
            EXPECT_FALSE(where.interpolate);
        }
    }
}

TEST(LocateSample, FarTimesStayInsideTheRecording) {
    for (float x : {-1.0e9f, -123456.75f, 98765.5f, 1.0e9f, 1.0e12f, -1.0e12f}) {
        SCOPED_TRACE(x);
        for (std::int32_t type : {ORT_LOOP, ORT_PINGPONG}) {
            const wkCacheSampleLocation where = at(x, type, type);
            EXPECT_GE(where.sample, 0);
            EXPECT_LE(where.sample, 10);
            EXPECT_GE(where.fraction, 0.0f);
            EXPECT_LE(where.fraction, 1.0f);
        }
    }
}

TEST(PlaybackClock, FrameBeforeTheStartShowsTheFirstSampleUnderHold) {
    const float time = playbackTime(startingAt(10), frame(9), elevenSamples());
    wkCacheSampleLocation where;
    EXPECT_FALSE(locateSample(time, elevenSamples(), {}, where));
    expectPlace(where, {0, 0.0f, 0, false, true, true, false});
}

} // namespace
