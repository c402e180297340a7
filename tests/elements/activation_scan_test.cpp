// The activation scan: which elements a trigger catches, at which tick, how the refinement moves
// that tick back, and what Escape leaves behind.
#include "elements/wkCacheActivation.h"
#include "host/headless/HeadlessHost.h"
#include "playback/wkCacheProgress.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

constexpr TimeValue kMax = std::numeric_limits<TimeValue>::max();
constexpr TimeValue kMin = std::numeric_limits<TimeValue>::min();

wkCacheTrigger gizmo(const Matrix3& tm) {
    return {tm, kGizmoTriggerRadius};
}
wkCacheTrigger gizmoAt(float x) {
    return gizmo(TransMatrix(Point3(x, 0.0f, 0.0f)));
}

struct ActivationScanTest : ::testing::Test {
    HeadlessHost host;
    ScopedHost installed{host};
    wkCacheProgress progress{[] { return 0.0; }};
    std::vector<TimeValue> reads;

    // One frame of 160 ticks read whole, from 0 to 1000, with playStart at 0.
    wkCacheScanRange range{0, 1000, 160, 160, false, 0.0f};

    // Runs the scan over elements at `rest`, with a trigger placed by `at`; every tick read is
    // logged in `reads`.
    template <typename F>
    bool scan(const std::vector<Point3>& rest, F at, std::vector<wkCacheElementState>& elements) {
        elements.assign(rest.size(), wkCacheElementState{});
        const wkCacheTriggerSource source = [this, at](TimeValue t) {
            reads.push_back(t);
            return at(t);
        };
        return ScanActivation(rest, source, range, elements, progress);
    }
};

std::vector<Point3> alongX(std::initializer_list<float> xs) {
    std::vector<Point3> points;
    for (float x : xs)
        points.emplace_back(x, 0.0f, 0.0f);
    return points;
}

TEST(ActivationStep, AFrameIsDividedByTheTriggerStepsUnlessItHasTooFewTicks) {
    EXPECT_EQ(ActivationStep(160, 0), 160);
    EXPECT_EQ(ActivationStep(160, 1), 80);
    EXPECT_EQ(ActivationStep(160, 2), 40);
    EXPECT_EQ(ActivationStep(160, 3), 20); // "1/8 Frame"
    EXPECT_EQ(ActivationStep(160, 7), 20); // out of the list: eighths
    EXPECT_EQ(ActivationStep(200, 3), 25);
    // A frame not above the divisor is read whole; just above it, the division truncates.
    EXPECT_EQ(ActivationStep(8, 3), 8);
    EXPECT_EQ(ActivationStep(15, 3), 1);
}

TEST(TriggerMoved, AnotherRadiusOrAnyShiftedRowCountsFlagsDoNot) {
    const wkCacheTrigger base =
        gizmo(ScaleMatrix(Point3(2.0f, 1.0f, 1.0f)) * TransMatrix(Point3(5.0f, 6.0f, 7.0f)));
    EXPECT_FALSE(TriggerMoved(base, base));

    wkCacheTrigger wider = base;
    wider.radius = std::nextafter(base.radius, 100.0f);
    EXPECT_TRUE(TriggerMoved(wider, base));

    for (int row = 0; row < 4; ++row) {
        wkCacheTrigger shifted = base;
        shifted.tm.SetRow(row, base.tm.GetRow(row) + Point3(0.0f, 0.0f, 1e-3f));
        EXPECT_TRUE(TriggerMoved(shifted, base)) << "row " << row;
    }
    // Far below anything a float can resolve at the scale of a scene, but still a move.
    wkCacheTrigger nudged = base;
    nudged.tm.SetRow(0, Point3(2.0f, 0.0f, 1e-20f));
    EXPECT_TRUE(TriggerMoved(nudged, base));

    wkCacheTrigger reflagged = base;
    reflagged.tm.SetIdentFlags(MAT_IDENT);
    EXPECT_FALSE(TriggerMoved(reflagged, base));
}

TEST_F(ActivationScanTest, AStillGizmoCatchesOnlyWhatItHoldsAtTheStart) {
    std::vector<wkCacheElementState> elements;
    EXPECT_TRUE(scan(
        alongX({10.0f, 100.0f}), [](TimeValue) { return gizmoAt(0.0f); }, elements));
    EXPECT_TRUE(elements[0].activated);
    EXPECT_EQ(elements[0].activationTick, 0);
    EXPECT_FALSE(elements[1].activated);
    // Every step is read to the end of the range, the last one shortened to land on it, and the
    // refinement does not read: the catch is at playStart.
    EXPECT_EQ(reads, (std::vector<TimeValue>{0, 160, 320, 480, 640, 800, 960, 1000}));
}

TEST_F(ActivationScanTest, TheSphereIsOpenAndScaledByTheGizmo) {
    range = {0, 0, 160, 160, false, 0.0f};
    std::vector<wkCacheElementState> elements;
    // Unscaled: a distance of exactly 40 is outside, in any direction.
    const std::vector<Point3> unscaled{{140.0f, 0.0f, 0.0f},
                                       {124.0f, 32.0f, 0.0f},
                                       {100.0f, 0.0f, -40.0f},
                                       {std::nextafter(140.0f, 0.0f), 0.0f, 0.0f},
                                       {100.0f, -39.9f, 0.0f}};
    EXPECT_TRUE(scan(
        unscaled, [](TimeValue) { return gizmoAt(100.0f); }, elements));
    EXPECT_FALSE(elements[0].activated);
    EXPECT_FALSE(elements[1].activated);
    EXPECT_FALSE(elements[2].activated);
    EXPECT_TRUE(elements[3].activated);
    EXPECT_TRUE(elements[4].activated);

    // Scaled 2, 1, 0.5 around (10, 0, 0): an ellipsoid of half axes 80, 40, 20.
    const Matrix3 scaled =
        ScaleMatrix(Point3(2.0f, 1.0f, 0.5f)) * TransMatrix(Point3(10.0f, 0.0f, 0.0f));
    const std::vector<Point3> around{{89.0f, 0.0f, 0.0f},  {91.0f, 0.0f, 0.0f},
                                     {10.0f, 39.0f, 0.0f}, {10.0f, 41.0f, 0.0f},
                                     {10.0f, 0.0f, 19.0f}, {10.0f, 0.0f, 21.0f}};
    EXPECT_TRUE(scan(
        around, [&](TimeValue) { return gizmo(scaled); }, elements));
    const bool expected[] = {true, false, true, false, true, false};
    for (std::size_t i = 0; i < around.size(); ++i)
        EXPECT_EQ(elements[i].activated, expected[i]) << "element " << i;

    // Turned a quarter about z, the long axis lies along y.
    const Matrix3 turned = ScaleMatrix(Point3(2.0f, 1.0f, 1.0f)) * RotateZMatrix(1.5707964f);
    EXPECT_TRUE(scan(
        {{79.0f, 0.0f, 0.0f}, {0.0f, 79.0f, 0.0f}}, [&](TimeValue) { return gizmo(turned); },
        elements));
    EXPECT_FALSE(elements[0].activated);
    EXPECT_TRUE(elements[1].activated);
}

TEST_F(ActivationScanTest, AllCaughtOnTheFirstStepEndsTheScanThere) {
    range = {480, 2000, 160, 160, false, 480.0f};
    std::vector<wkCacheElementState> elements;
    // The gizmo moves all the time, but there is nothing left to catch after the first read.
    EXPECT_TRUE(scan(
        alongX({-30.0f, 0.0f, 30.0f}),
        [](TimeValue t) { return gizmoAt(static_cast<float>(t) / 8.0f - 60.0f); }, elements));
    for (const wkCacheElementState& e : elements) {
        EXPECT_TRUE(e.activated);
        EXPECT_EQ(e.activationTick, 480);
    }
    EXPECT_EQ(reads, (std::vector<TimeValue>{480}));
}

TEST_F(ActivationScanTest, RefinementTestsOneReadBehind) {
    std::vector<wkCacheElementState> elements;
    // The gizmo moves 20 units a frame along x. Element 0 is inside from tick 701 on, element 1
    // from 781 on; both are caught at 800.
    EXPECT_TRUE(scan(
        alongX({127.5f, 137.5f}), [](TimeValue t) { return gizmoAt(static_cast<float>(t) / 8.0f); },
        elements));
    // The first half frame back is always taken, since its test uses the trigger at the catch;
    // each later test uses the read before it, so one more read is taken than is inside.
    EXPECT_EQ(elements[0].activationTick, 680);
    EXPECT_EQ(elements[1].activationTick, 720);
    EXPECT_EQ(reads, (std::vector<TimeValue>{0,   160, 320, 480, 640, 800,      // scan
                                             720, 680, 660, 670, 675, 678, 679, // element 0
                                             720, 680, 700, 710, 715, 718, 719}));
}

TEST_F(ActivationScanTest, RefinementTakesUnchangedReadsAsInside) {
    std::vector<wkCacheElementState> elements;
    // Still until it jumps onto the element at 640: reads before that are all the same, and
    // unchanged reads are taken without a test.
    EXPECT_TRUE(scan(
        alongX({100.0f}), [](TimeValue t) { return gizmoAt(t >= 640 ? 100.0f : 0.0f); }, elements));
    EXPECT_EQ(elements[0].activationTick, 640 - 80 - 40 - 20 - 10 - 5 - 2 - 1);

    // If the trigger never changes back to the last half tick, the catch itself stands.
    reads.clear();
    EXPECT_TRUE(scan(
        alongX({100.0f}), [](TimeValue t) { return gizmoAt(t > 480 ? 100.0f : 0.0f); }, elements));
    EXPECT_EQ(elements[0].activationTick, 640);
    EXPECT_EQ(reads.back(), 482);
}

TEST_F(ActivationScanTest, RefinementStopsAtPlayStartUnlessTheGraphDrives) {
    // Eighths of a frame from playStart 3, the gizmo still until then and moving after.
    range = {480, 1000, ActivationStep(160, 3), 160, false, 480.0f};
    const auto moving = [](TimeValue t) {
        return gizmoAt(t > 480 ? static_cast<float>(t - 480) / 2.0f : 0.0f);
    };
    std::vector<wkCacheElementState> elements;
    EXPECT_TRUE(scan(alongX({70.0f}), moving, elements));
    EXPECT_EQ(reads, (std::vector<TimeValue>{480, 500, 520, 540, 560, 480}));
    EXPECT_EQ(elements[0].activationTick, 480);

    // Under the frame graph playStart means nothing: the search goes on before it.
    range.useGraph = true;
    reads.clear();
    EXPECT_TRUE(scan(alongX({70.0f}), moving, elements));
    EXPECT_EQ(elements[0].activationTick, 560 - 80 - 40 - 20 - 10 - 5 - 2 - 1);
}

TEST_F(ActivationScanTest, EscapeLeavesNothingActivatedAndEndsTheProgress) {
    double now = 0.0;
    // Every look at the clock is two seconds later: the wait cursor comes up at the first step.
    wkCacheProgress slow{[&now] { return now += 2.0; }};
    // Call 0 is swallowed at the start; call 1 is the first step, call 2 the second.
    host.UI().PressEscapeAt(2);
    std::vector<wkCacheElementState> elements(2);
    const wkCacheTriggerSource source = [this](TimeValue t) {
        reads.push_back(t);
        return gizmoAt(static_cast<float>(t) / 8.0f);
    };
    // Element 0 is caught at the first step, element 1 not before 640.
    EXPECT_FALSE(ScanActivation(alongX({0.0f, 100.0f}), source, range, elements, slow));
    EXPECT_EQ(reads, (std::vector<TimeValue>{0, 160}));
    for (const wkCacheElementState& e : elements) {
        EXPECT_FALSE(e.activated);
        EXPECT_EQ(e.activationTick, 0);
    }
    EXPECT_EQ(host.UI().WaitCursorCount(), 1);
    EXPECT_FALSE(host.UI().WaitCursorUp());
}

TEST_F(ActivationScanTest, TicksAtTheEndsOfTimeNeitherOverflowNorLoop) {
    std::vector<wkCacheElementState> elements;
    const auto still = [](TimeValue) { return gizmoAt(0.0f); };
    range = {kMax - 300, kMax, 160, 160, false, 0.0f};
    EXPECT_TRUE(scan(alongX({1000.0f}), still, elements));
    EXPECT_EQ(reads, (std::vector<TimeValue>{kMax - 300, kMax - 140, kMax}));

    // Caught at the first tick there is: nothing before it to refine into.
    range = {kMin, kMin + 1000, 160, 160, true, 0.0f};
    reads.clear();
    EXPECT_TRUE(scan(
        alongX({0.0f}), [](TimeValue t) { return gizmoAt(t == kMin ? 0.0f : 1.0f); }, elements));
    EXPECT_EQ(elements[0].activationTick, kMin);
    EXPECT_EQ(reads, (std::vector<TimeValue>{kMin}));

    // A step of zero still advances, and a range given backwards is read once.
    range = {0, 3, 0, 160, false, 0.0f};
    reads.clear();
    EXPECT_TRUE(scan(alongX({1000.0f}), still, elements));
    EXPECT_EQ(reads, (std::vector<TimeValue>{0, 1, 2, 3}));
    range = {500, 0, 160, 160, false, 0.0f};
    reads.clear();
    EXPECT_TRUE(scan(alongX({1000.0f}), still, elements));
    EXPECT_EQ(reads, (std::vector<TimeValue>{500}));
}

TEST_F(ActivationScanTest, PositionsThatDoNotMatchTheElementsAreRefused) {
    std::vector<wkCacheElementState> elements(3);
    elements[2].activated = true;
    const wkCacheTriggerSource source = [this](TimeValue t) {
        reads.push_back(t);
        return gizmoAt(0.0f);
    };
    EXPECT_FALSE(ScanActivation(alongX({0.0f}), source, range, elements, progress));
    EXPECT_TRUE(reads.empty());
    EXPECT_TRUE(elements[2].activated);
}

} // namespace
