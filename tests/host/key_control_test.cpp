// The headless key controllers: turns beyond half a revolution, keys handed on and back, keys
// written out of order, the TCB shape parameters and the undoable copy.
#include "host/headless/HeadlessHost.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

constexpr float kDegree = 3.14159265358979f / 180.0f;

ITCBRotKey turn(TimeValue t, const Point3& axis, float degrees) {
    ITCBRotKey k;
    k.time = t;
    k.val = AngAxis(axis, degrees * kDegree);
    return k;
}

// One rotation, whichever sign the quaternion has.
void expectSameRotation(const Quat& a, const Quat& b) {
    EXPECT_NEAR(std::fabs(QuatDot(Normalize(a), Normalize(b))), 1.0f, 1e-5f)
        << a.x << ' ' << a.y << ' ' << a.z << ' ' << a.w;
}

TEST(KeyControl, TurnsBeyondHalfARevolutionAreFollowedAllTheWay) {
    const Point3 z(0, 0, 1);
    // Two keys turn at a steady rate: halfway, half the keyed turn.
    for (const float degrees : {90.0f, 270.0f, 450.0f, 720.0f, -540.0f}) {
        SCOPED_TRACE(degrees);
        HeadlessRotationKeyControl c;
        const ITCBRotKey from = turn(0, z, 0.0f), to = turn(100, z, degrees);
        c.AppendKey(&from);
        c.AppendKey(&to);
        expectSameRotation(c.ValueAt(50), Quat(AngAxis(z, degrees * 0.5f * kDegree)));
        expectSameRotation(c.ValueAt(25), Quat(AngAxis(z, degrees * 0.25f * kDegree)));
    }
}

TEST(KeyControl, ARotationKeyTakenOutAndPastedBackChangesNothing) {
    const ITCBRotKey keys[] = {turn(0, {0, 0, 1}, 30), turn(100, {0, 0, 1}, 200),
                               turn(200, {1, 0, 0}, 90), turn(300, {0, 1, 0}, -45)};
    // Keys as written, unsorted too (a scene file may list them so): the turn goes to the key
    // after in time and comes back from it.
    for (const std::vector<int>& order : {std::vector{0, 1, 2, 3}, std::vector{3, 1, 0, 2}}) {
        SCOPED_TRACE(order[0]);
        HeadlessRotationKeyControl c;
        for (const int i : order)
            c.AppendKey(&keys[i]);
        const Quat lastBefore = c.ValueAt(300), midBefore = c.ValueAt(150);
        const Interval at(100, 100);
        const auto piece = c.CopyTrack(at, TIME_INCLEFT | TIME_INCRIGHT);
        c.DeleteKeyByIndex(c.GetKeyIndex(100));
        ASSERT_EQ(c.NumKeys(), 3);
        // The keys after it keep their orientation.
        expectSameRotation(c.ValueAt(200), Quat(AngAxis(Point3(1, 0, 0), 90 * kDegree)) *
                                               Quat(AngAxis(Point3(0, 0, 1), 230 * kDegree)));
        expectSameRotation(c.ValueAt(300), lastBefore);
        c.PasteTrack(piece.get(), at, TIME_INCLEFT | TIME_INCRIGHT);
        ASSERT_EQ(c.NumKeys(), 4);
        expectSameRotation(c.ValueAt(150), midBefore);
        expectSameRotation(c.ValueAt(200), Quat(AngAxis(Point3(1, 0, 0), 90 * kDegree)) *
                                               Quat(AngAxis(Point3(0, 0, 1), 230 * kDegree)));
        expectSameRotation(c.ValueAt(300), lastBefore);
    }
}

TEST(KeyControl, KeysWrittenOutOfOrderAreReadInTimeOrder) {
    HeadlessFloatKeyControl c;
    IKeyControl& keys = *c.GetKeyControlInterface();
    keys.SetNumKeys(3);
    const std::pair<TimeValue, float> written[] = {{200, 2.0f}, {0, 0.0f}, {100, 5.0f}};
    for (int i = 0; i < 3; ++i) {
        ITCBFloatKey k;
        k.time = written[i].first;
        k.val = written[i].second;
        keys.SetKey(i, &k);
    }
    EXPECT_FLOAT_EQ(c.GetFloatValue(100), 5.0f);
    EXPECT_FLOAT_EQ(c.GetFloatValue(-50), 0.0f);
    EXPECT_FLOAT_EQ(c.GetFloatValue(900), 2.0f);
    keys.SortKeys();
    ITCBFloatKey first;
    keys.GetKey(0, &first);
    EXPECT_EQ(first.time, 0);
    std::vector<TimeValue> times;
    c.GetKeyTimes(times, Interval(0, 100), 0);
    EXPECT_EQ(times, (std::vector<TimeValue>{0, 100}));
}

TEST(KeyControl, TensionAndEaseShapeTheSegment) {
    struct Case {
        float tension, easeOut;
        float expectedAtQuarter; // of a segment from 0 to 1
    };
    // Full tension: a flat start and end (3u² - 2u³); full ease out: the segment's time runs
    // at constant acceleration (u² here), into the same smooth step.
    const Case cases[] = {{0.0f, 0.0f, 0.25f}, {1.0f, 0.0f, 0.15625f}, {1.0f, 1.0f, 0.01123047f}};
    for (const Case& c : cases) {
        HeadlessPositionKeyControl p;
        ITCBPoint3Key a, b;
        a.time = 0;
        a.tens = b.tens = c.tension;
        a.easeOut = c.easeOut;
        b.time = 400;
        b.val = Point3(1, 0, 0);
        p.AppendKey(&a);
        p.AppendKey(&b);
        EXPECT_NEAR(p.ValueAt(100).x, c.expectedAtQuarter, 1e-6f);
        EXPECT_EQ(p.ValueAt(400), Point3(1, 0, 0));
    }
}

TEST(KeyControl, CopyIsOneUndoableChange) {
    HeadlessHost host;
    ScopedHost scope(host);
    HeadlessScaleKeyControl target, source;
    ITCBScaleKey k;
    k.val = ScaleValue(Point3(2, 2, 2));
    target.AppendKey(&k);
    k.val = ScaleValue(Point3(-1, 3, 1));
    source.AppendKey(&k);
    host.Hold().Begin();
    target.Copy(&source);
    EXPECT_EQ(target.ValueAt(0).s, Point3(-1, 3, 1));
    host.Hold().Cancel();
    EXPECT_EQ(target.ValueAt(0).s, Point3(2, 2, 2));
    EXPECT_EQ(CreateHeadlessKeyControl(CTRL_SCALE_CLASS_ID, TCBINTERP_POSITION_CLASS_ID), nullptr);
}

} // namespace
