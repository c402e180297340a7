// Key reduction: which keys go, by the order of work that defines it, and its undo step.
#include "explode/ReduceKeys.h"
#include "tests/object/CacheObjectFixture.h"

namespace {

using objtest::CacheObjectTest;
using ReduceKeysTest = CacheObjectTest;

std::unique_ptr<HeadlessFloatKeyControl> floatKeys(const std::vector<float>& values) {
    auto c = std::make_unique<HeadlessFloatKeyControl>();
    for (std::size_t i = 0; i < values.size(); ++i) {
        ITCBFloatKey k;
        k.time = static_cast<TimeValue>(i * 10);
        k.val = values[i];
        c->AppendKey(&k);
    }
    return c;
}

std::vector<TimeValue> keyTimes(const Control& c) {
    std::vector<TimeValue> times;
    c.GetKeyTimes(times, FOREVER, 0);
    return times;
}

TEST_F(ReduceKeysTest, KeysGoOnlyWhereTheCurveStaysWithinTheThreshold) {
    struct Case {
        const char* name;
        std::vector<float> values; // keys every 10 ticks from 0
        Interval interval;
        float thresh;
        std::vector<TimeValue> kept;
    };
    const Case cases[] = {
        // Without keys the controller holds the last one's value: nothing changes.
        {"constant, threshold 0", {3, 3, 3, 3, 3}, Interval(0, 40), 0.0f, {}},
        {"a single key", {7}, Interval(0, 40), 0.0f, {}},
        {"keys outside the interval stay", {3, 3, 3, 3, 3}, Interval(10, 30), 0.0f, {0, 40}},
        // No sample is taken: every key inside goes.
        {"an interval of no length", {0, 1, 2, 1, 0}, Interval(20, 20), 0.5f, {0, 10, 30, 40}},
        // The middle keys of a steady ramp go; the last stays since without it the end holds
        // early, and the first since without it the start would move.
        {"a steady ramp", {0, 1, 2, 3, 4}, Interval(0, 40), 0.5f, {0, 40}},
        // The flat tail's last key goes; the one after the jump shapes its overshoot and stays.
        {"a jump stays", {0, 0, 5, 5, 5}, Interval(0, 40), 0.1f, {0, 10, 20, 30}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto control = floatKeys(c.values);
        ControlSet set{control.get()};
        EXPECT_TRUE(ReduceKeys(*object, set, c.interval, 1, c.thresh));
        EXPECT_TRUE(set.empty());
        EXPECT_EQ(keyTimes(*control), c.kept);
        if (c.kept.empty()) {
            EXPECT_EQ(control->ValueAt(40), c.values[0]);
        }
    }
}

TEST_F(ReduceKeysTest, WholeRevolutionsAreKeptAndTheRunIsOneUndoStep) {
    HeadlessRotationKeyControl spin;
    for (const auto& [t, degrees] : {std::pair{0, 0.0f}, {10, 360.0f}, {20, -360.0f}}) {
        ITCBRotKey k;
        k.time = t;
        k.val = AngAxis(Point3(0, 0, 1), degrees * 3.14159265f / 180.0f);
        spin.AppendKey(&k);
    }
    auto still = floatKeys({1, 1, 1});
    ControlSet set{&spin, still.get()};
    ASSERT_TRUE(ReduceKeys(*object, set, Interval(0, 20), 1, 0.02f));
    EXPECT_EQ(spin.NumKeys(), 3);
    EXPECT_EQ(still->NumKeys(), 0);
    ASSERT_EQ(host.Hold().NumUndoSteps(), 1);
    EXPECT_EQ(host.Hold().UndoStepName(0), WStr(L"Reduce Keys"));
    host.Hold().Undo();
    EXPECT_EQ(still->NumKeys(), 3);
}

TEST_F(ReduceKeysTest, EscapeAtAProgressReportPutsEveryControllerBack) {
    std::vector<std::unique_ptr<HeadlessFloatKeyControl>> controls;
    ControlSet set;
    for (int i = 0; i < 100; ++i) {
        controls.push_back(floatKeys({1, 1, 1}));
        set.insert(controls.back().get());
    }
    host.UI().SetEscapeHandler([] { return true; });
    EXPECT_FALSE(ReduceKeys(*object, set, Interval(0, 20), 1, 0.02f));
    for (const auto& c : controls)
        EXPECT_EQ(c->NumKeys(), 3);
    EXPECT_EQ(host.Hold().NumUndoSteps(), 0);
}

} // namespace
