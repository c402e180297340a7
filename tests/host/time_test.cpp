#include "host/Host.h"
#include "host/headless/HeadlessHost.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

// What core code does: reach the clock through the installed host only.
int animRangeInFrames() {
    const HostTime& time = GetHost().Time();
    return (time.GetAnimEnd() - time.GetAnimStart()) / time.GetTicksPerFrame();
}

TEST(HeadlessTime, StartsAtThirtyFramesAndAHundredFrameRange) {
    const HeadlessTime time;
    EXPECT_EQ(time.GetFrameRate(), 30);
    EXPECT_EQ(time.GetTicksPerFrame(), 160);
    EXPECT_EQ(time.GetAnimRange(), Interval(0, 16000));
    EXPECT_EQ(time.GetAnimStart(), 0);
    EXPECT_EQ(time.GetAnimEnd(), 16000);
    EXPECT_EQ(time.GetTime(), 0);
    EXPECT_EQ(time.IsAnimPlaying(), 0);
    EXPECT_EQ(time.IsNetServer(), 0);
}

TEST(HeadlessTime, TicksPerFrameTruncateForRatesThatDoNotDivideASecond) {
    struct Case {
        int rate;
        int ticksPerFrame;
    };
    const Case cases[] = {{24, 200}, {25, 192}, {30, 160}, {60, 80},
                          {7, 685},  {1, 4800}, {4800, 1}, {4799, 1}};
    HeadlessTime time;
    for (const Case& c : cases) {
        time.SetFrameRate(c.rate);
        EXPECT_EQ(time.GetFrameRate(), c.rate);
        EXPECT_EQ(time.GetTicksPerFrame(), c.ticksPerFrame) << "at " << c.rate << " fps";
    }
    // The truncation is visible: seven frames at 7 fps fall short of a second.
    time.SetFrameRate(7);
    EXPECT_EQ(7 * time.GetTicksPerFrame(), TICKS_PER_SECOND - 5);
}

TEST(HeadlessTime, RefusesRatesWithoutAWholeTickPerFrame) {
    HeadlessTime time;
    time.SetFrameRate(25);
    for (int rate : {0, -30, 4801, INT32_MIN}) {
        EXPECT_THROW(time.SetFrameRate(rate), std::invalid_argument) << rate;
        EXPECT_EQ(time.GetFrameRate(), 25);
        EXPECT_EQ(time.GetTicksPerFrame(), 192);
    }
}

TEST(HeadlessTime, RateChangeKeepsRangeAndCurrentTimeInTicks) {
    HeadlessTime time;
    time.SetTime(4800);
    time.SetFrameRate(24);
    EXPECT_EQ(time.GetAnimRange(), Interval(0, 16000));
    EXPECT_EQ(time.GetTime(), 4800);
    EXPECT_EQ(time.GetAnimEnd() / time.GetTicksPerFrame(), 80);
}

TEST(HeadlessTime, AnimRangeAcceptsAnyOrderedRangeAndRefusesTheRest) {
    HeadlessTime time;
    time.SetAnimRange(Interval(-800, 3200));
    EXPECT_EQ(time.GetAnimStart(), -800);
    EXPECT_EQ(time.GetAnimEnd(), 3200);

    time.SetAnimRange(Interval(960, 960));
    EXPECT_EQ(time.GetAnimRange(), Interval(960, 960));

    time.SetAnimRange(Interval(TIME_NegInfinity + 1, TIME_PosInfinity));
    EXPECT_EQ(time.GetAnimRange(), Interval(TIME_NegInfinity + 1, TIME_PosInfinity));

    time.SetAnimRange(Interval(0, 1600));
    EXPECT_THROW(time.SetAnimRange(Interval(1600, 1599)), std::invalid_argument);
    EXPECT_THROW(time.SetAnimRange(NEVER), std::invalid_argument);
    EXPECT_THROW(time.SetAnimRange(Interval()), std::invalid_argument);
    EXPECT_EQ(time.GetAnimRange(), Interval(0, 1600));
}

TEST(HeadlessTime, CurrentTimeAndAnswersAreTakenAsGiven) {
    HeadlessTime time;
    time.SetAnimRange(Interval(0, 1600));
    // Outside the range: the host does not clamp the current time.
    time.SetTime(-160);
    EXPECT_EQ(time.GetTime(), -160);
    time.SetTime(TIME_PosInfinity);
    EXPECT_EQ(time.GetTime(), TIME_PosInfinity);

    // Raw answers pass through unchanged, so callers can apply their own rules to them.
    time.SetAnimPlaying(2);
    time.SetNetServer(0x100);
    EXPECT_EQ(time.IsAnimPlaying(), 2);
    EXPECT_EQ(time.IsNetServer(), 0x100);
    time.SetAnimPlaying(true);
    EXPECT_EQ(time.IsAnimPlaying(), 1);
}

TEST(HostAccess, WithoutAnInstalledHostThereIsNone) {
    EXPECT_THROW(GetHost(), std::logic_error);
}

TEST(HostAccess, ScopedHostInstallsAndRemovesAHost) {
    HeadlessHost host;
    host.Time().SetFrameRate(25);
    {
        const ScopedHost installed(host);
        EXPECT_EQ(&GetHost(), &host);
        EXPECT_EQ(GetHost().Time().GetTicksPerFrame(), 192);
        // A change made through the test's handle is what the core sees next.
        host.Time().SetTime(960);
        EXPECT_EQ(GetHost().Time().GetTime(), 960);
    }
    EXPECT_THROW(GetHost(), std::logic_error);
}

TEST(HostAccess, NestedScopesSwapHostsAndRestoreTheOuterOne) {
    HeadlessHost outer;
    HeadlessHost inner;
    inner.Time().SetFrameRate(24);
    inner.Time().SetAnimRange(Interval(0, 24 * 200));

    const ScopedHost outerScope(outer);
    EXPECT_EQ(animRangeInFrames(), 100);
    {
        const ScopedHost innerScope(inner);
        EXPECT_EQ(&GetHost(), &inner);
        EXPECT_EQ(animRangeInFrames(), 24);
    }
    EXPECT_EQ(&GetHost(), &outer);
    EXPECT_EQ(animRangeInFrames(), 100);
}

} // namespace
