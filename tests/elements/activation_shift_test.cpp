// How activation moves an element's clock: before its activation, after it, not at all.
#include "elements/wkCacheActivationShift.h"

#include <gtest/gtest.h>

namespace {

wkCacheElementState activatedAt(float time, std::int32_t tick) {
    wkCacheElementState e;
    e.time = time;
    e.activated = true;
    e.activationTick = tick;
    return e;
}

TEST(ActivationShift, ElementsStartTheirRecordingAtTheirActivation) {
    wkCacheShiftSettings s;
    s.t = 1600;
    s.start = 320.0f; // playStart 2
    std::vector<wkCacheElementState> elements{activatedAt(1280.0f, 960), wkCacheElementState{},
                                              activatedAt(1280.0f, 2000)};
    elements[1].time = 1280.0f;
    std::vector<float> raw;
    std::vector<float> shifted;
    shiftByActivation(elements, s, &raw, &shifted);
    // Activated at 960: as if playback had started there.
    EXPECT_FLOAT_EQ(elements[0].time, 1280.0f - (960.0f - 320.0f));
    // Not activated: resting on sample 0.
    EXPECT_FLOAT_EQ(elements[1].time, 0.0f);
    // Activation in the future: before the range, one frame more than the wait.
    EXPECT_FLOAT_EQ(elements[2].time, 1600.0f - 2000.0f - 160.0f);
    EXPECT_EQ(raw, (std::vector<float>{1280.0f, 1280.0f, 1280.0f}));
    EXPECT_EQ(shifted, (std::vector<float>{elements[0].time, 0.0f, elements[2].time}));
}

TEST(ActivationShift, ReverseRestsOnTheLastSampleAndShiftsTheOtherWay) {
    wkCacheShiftSettings s;
    s.t = 1600;
    s.reversed = true;
    s.holdSample = 10;
    std::vector<wkCacheElementState> elements{activatedAt(1000.0f, 960), wkCacheElementState{},
                                              activatedAt(0.0f, 2000)};
    shiftByActivation(elements, s, nullptr, nullptr);
    EXPECT_FLOAT_EQ(elements[0].time, 1000.0f + 960.0f);
    EXPECT_FLOAT_EQ(elements[1].time, 1600.0f);
    EXPECT_FLOAT_EQ(elements[2].time, 11.0f * 160.0f - 1600.0f + 2000.0f);
}

TEST(ActivationShift, TheGraphKeepsItsTimeOnceActivated) {
    wkCacheShiftSettings s;
    s.t = 1600;
    s.useGraph = true;
    std::vector<wkCacheElementState> elements{activatedAt(480.0f, 960)};
    shiftByActivation(elements, s, nullptr, nullptr);
    EXPECT_FLOAT_EQ(elements[0].time, 480.0f);
}

TEST(ActivationShift, ExtremeTicksWrapInsteadOfOverflowing) {
    wkCacheShiftSettings s;
    s.t = INT32_MIN;
    s.holdSample = 0;
    std::vector<wkCacheElementState> elements{activatedAt(0.0f, INT32_MAX)};
    shiftByActivation(elements, s, nullptr, nullptr);
    // (0 - 1) * 160 - activationTick + t, on 32 bits.
    const auto expected = static_cast<std::int32_t>(static_cast<std::uint32_t>(-160) -
                                                    static_cast<std::uint32_t>(INT32_MAX) +
                                                    static_cast<std::uint32_t>(INT32_MIN));
    EXPECT_FLOAT_EQ(elements[0].time, static_cast<float>(expected));
}

} // namespace
