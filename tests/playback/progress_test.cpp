// wkCacheProgress: Escape stops a long operation, an old press does not, and the wait cursor
// comes up after a second and goes again at the end.
#include "host/headless/HeadlessHost.h"
#include "playback/wkCacheProgress.h"

#include <gtest/gtest.h>

namespace {

struct ProgressTest : ::testing::Test {
    HeadlessHost host;
    ScopedHost installed{host};
    double now = 100.0;
    wkCacheProgress progress{[this] { return now; }};
};

TEST_F(ProgressTest, AnEscapeFromBeforeTheStartIsSwallowed) {
    host.UI().PressEscapeAt(0);
    progress.begin();
    EXPECT_TRUE(progress.step());
    EXPECT_FALSE(progress.cancelled());
    EXPECT_EQ(host.UI().TimerPumps(), 1);
}

TEST_F(ProgressTest, EscapeDownStopsTheStepAndEndClearsTheFlag) {
    host.UI().PressEscapeAt(3);
    progress.begin();
    EXPECT_TRUE(progress.step());
    EXPECT_TRUE(progress.step());
    EXPECT_FALSE(progress.step());
    EXPECT_TRUE(progress.cancelled());
    // Only while the key is down.
    EXPECT_TRUE(progress.step());
    progress.end();
    EXPECT_FALSE(progress.cancelled());
}

TEST_F(ProgressTest, TheWaitCursorComesAfterASecondAndThenStepsStopPumping) {
    progress.begin();
    now += 1.0;
    EXPECT_TRUE(progress.step());
    EXPECT_FALSE(host.UI().WaitCursorUp());
    now += 0.01;
    EXPECT_TRUE(progress.step());
    EXPECT_TRUE(host.UI().WaitCursorUp());
    const int pumps = host.UI().TimerPumps();
    EXPECT_TRUE(progress.step());
    EXPECT_EQ(host.UI().TimerPumps(), pumps);
    EXPECT_EQ(host.UI().WaitCursorCount(), 1);
    progress.end();
    EXPECT_FALSE(host.UI().WaitCursorUp());
}

} // namespace
