// The group stage: what each action does, which group wins, when deletion happens.
#include "elements/wkCacheGroupActions.h"

#include "elements/wkCacheActivationShift.h"

#include <gtest/gtest.h>

namespace {

constexpr std::int32_t kTpf = 160; // 30 fps

// A cache of `count` elements at one clock time, with the groups of the test.
class GroupStage : public ::testing::Test {
protected:
    void setUp(std::size_t count, float time) {
        elements.assign(count, wkCacheElementState{});
        for (wkCacheElementState& e : elements)
            e.time = time;
        raw.assign(count, time);
        shifted.assign(count, time);
        stage.ticksPerFrame = kTpf;
        stage.lastTick = 100 * kTpf;
    }

    wkCacheGroup& add(const wchar_t* name, wkCacheGroupMode mode, std::set<std::uint32_t> members) {
        EXPECT_TRUE(groups.addGroup(WStr(name)));
        wkCacheGroup& g = groups.at(groups.count() - 1);
        g.setMode(static_cast<std::int32_t>(mode));
        g.elements = std::move(members);
        return g;
    }

    void run(const wkCacheDistanceProbe& probe = {}) {
        stage.rawTimes = raw;
        stage.shiftedTimes = shifted;
        applyGroupActions(groups, elements, stage, probe);
    }

    wkCacheGroupList groups;
    std::vector<wkCacheElementState> elements;
    std::vector<float> raw;
    std::vector<float> shifted;
    wkCacheGroupStage stage;
};

TEST_F(GroupStage, EachActionOnItsElements) {
    setUp(7, 800.0f);
    stage.sceneRatio = 0.8f; // a 30 fps scene over a 37.5 fps recording
    add(L"In", wkCacheGroupMode::HoldIn, {0});
    add(L"Out", wkCacheGroupMode::HoldOut, {1});
    add(L"Off", wkCacheGroupMode::Offset, {2}).setOffset(2.0f);
    add(L"Frame", wkCacheGroupMode::SetFrame, {3});
    add(L"Mat", wkCacheGroupMode::SetMaterialId, {4}).setMaterialId(12);
    add(L"Plain delete", wkCacheGroupMode::Delete, {5});
    add(L"Unknown", wkCacheGroupMode::HoldIn, {6}).mode = static_cast<wkCacheGroupMode>(9);
    stage.frames = {0.0f, 0.0f, 0.0f, 5.0f};
    run();

    EXPECT_EQ(elements[0].time, 0.0f);
    EXPECT_EQ(elements[1].time, 16000.0f);
    EXPECT_EQ(elements[2].time, 800.0f - 320.0f);
    EXPECT_EQ(elements[3].time, 5.0f * 160.0f * 0.8f);
    EXPECT_EQ(elements[4].groupMaterial, 12);
    EXPECT_TRUE(elements[4].hasGroupMaterial);
    EXPECT_EQ(elements[4].time, 800.0f);
    // A Delete group without its flags, and a mode that is none of the six, do nothing.
    EXPECT_FALSE(elements[5].deleted);
    EXPECT_EQ(elements[6].time, 800.0f);
    for (const wkCacheElementState& e : elements)
        EXPECT_FALSE(e.deleted);
}

TEST_F(GroupStage, TheLastGroupWinsAndOffsetsDoNotAddUp) {
    for (const bool holdFirst : {true, false}) {
        setUp(2, 800.0f);
        groups.clear();
        const auto hold = [&] { add(L"Hold", wkCacheGroupMode::HoldIn, {0}); };
        const auto frame = [&] { add(L"Frame", wkCacheGroupMode::SetFrame, {0}); };
        holdFirst ? (hold(), frame()) : (frame(), hold());
        stage.frames = {7.0f, 7.0f};
        add(L"Off A", wkCacheGroupMode::Offset, {1}).setOffset(1.0f);
        add(L"Off B", wkCacheGroupMode::Offset, {1}).setOffset(2.0f);
        shifted[1] = 480.0f; // the activation moved the element; the clock said 800
        run();
        EXPECT_EQ(elements[0].time, holdFirst ? 7.0f * 160.0f : 0.0f) << holdFirst;
        EXPECT_EQ(elements[1].time, 480.0f - 320.0f);
    }

    // Reverse playback counts the offset the other way; a disabled group is passed over.
    setUp(1, 800.0f);
    groups.clear();
    stage.reversed = true;
    add(L"Off", wkCacheGroupMode::Offset, {0}).setOffset(2.0f);
    add(L"Off disabled", wkCacheGroupMode::HoldIn, {0}).enabled = false;
    run();
    EXPECT_EQ(elements[0].time, 800.0f + 320.0f);
}

// An element activated at frame 10, a Delete group by age of 2 frames, playback from frame 0;
// the age is in cache frames, so a scene at half the cache's rate deletes a frame sooner.
TEST_F(GroupStage, DeleteByAgeCountsFromTheActivationInCacheFrames) {
    for (const auto& [ratio, frame] :
         {std::pair{1.0f, 9}, std::pair{1.0f, 11}, std::pair{1.0f, 12}, std::pair{1.0f, 30},
          std::pair{0.5f, 10}, std::pair{0.5f, 11}}) {
        const TimeValue t = frame * kTpf;
        setUp(2, static_cast<float>(t));
        elements[0].activated = true;
        elements[0].activationTick = 10 * kTpf;
        elements[1].activated = true;
        elements[1].activationTick = 0;
        raw.clear();
        shifted.clear();
        wkCacheShiftSettings shift;
        shift.t = t;
        shiftByActivation(elements, shift, &raw, &shifted);

        groups.clear();
        wkCacheGroup& g = add(L"Age", wkCacheGroupMode::Delete, {0, 1});
        g.byAge = true;
        g.setAge(2.0f);
        stage.t = t;
        stage.activationValid = true;
        stage.sceneRatio = ratio;
        run();
        EXPECT_EQ(elements[0].deleted, frame >= 10 + 2 * ratio) << frame << " at " << ratio;
        EXPECT_EQ(elements[1].deleted, frame >= 2 * ratio) << frame << " at " << ratio;
    }
}

TEST_F(GroupStage, AgeWithoutRespectRunsFromTheClockAndBackwardsWhenReversed) {
    setUp(2, 400.0f);
    elements[0].activated = true;
    elements[0].activationTick = 300;
    shifted = {100.0f, 400.0f};
    elements[0].time = 100.0f; // 100 ticks since its activation, 400 on the clock
    stage.t = 400;
    stage.activationValid = true;
    wkCacheGroup& g = add(L"Age", wkCacheGroupMode::Delete, {0, 1});
    g.byAge = true;
    g.setAge(2.0f); // 320 ticks
    g.respectActivation = false;
    run();
    EXPECT_TRUE(elements[0].deleted);
    EXPECT_TRUE(elements[1].deleted); // not activated, acted on all the same

    // Reversed, the age is measured from the last tick.
    setUp(1, 15800.0f);
    stage.reversed = true;
    stage.lastTick = 16000;
    run();
    EXPECT_FALSE(elements[0].deleted); // 200 ticks old
    setUp(1, 15600.0f);
    stage.reversed = true;
    stage.lastTick = 16000;
    run();
    EXPECT_TRUE(elements[0].deleted); // 400 ticks old
}

TEST_F(GroupStage, AnAgeOfZeroTakesElementsBeforeTheirStart) {
    setUp(2, -160.0f);
    elements[1].time = 0.0f;
    shifted = {-160.0f, 0.0f};
    wkCacheGroup& g = add(L"Age", wkCacheGroupMode::Delete, {0, 1});
    g.byAge = true;
    run();
    EXPECT_TRUE(elements[0].deleted);
    EXPECT_TRUE(elements[1].deleted);

    setUp(1, -160.0f);
    groups.at(0).setAge(0.5f);
    run();
    EXPECT_FALSE(elements[0].deleted);
}

TEST_F(GroupStage, RespectActivationWaitsOnlyForAValidScan) {
    for (const bool scanned : {false, true}) {
        setUp(3, 800.0f);
        elements[1].activated = true;
        elements[1].activationTick = 900; // still to come
        elements[2].activated = true;
        elements[2].activationTick = 800;
        stage.t = 800;
        stage.activationValid = scanned;
        groups.clear();
        add(L"In", wkCacheGroupMode::HoldIn, {0, 1, 2});
        run();
        // Without a scan every element is acted on; with one, only those whose activation came.
        EXPECT_EQ(elements[0].time, scanned ? 800.0f : 0.0f) << scanned;
        EXPECT_EQ(elements[1].time, scanned ? 800.0f : 0.0f) << scanned;
        EXPECT_EQ(elements[2].time, 0.0f) << scanned;
    }
}

TEST_F(GroupStage, DeletionIsFinal) {
    setUp(2, 800.0f);
    wkCacheGroup& age = add(L"Age", wkCacheGroupMode::Delete, {0});
    age.byAge = true;
    add(L"Mat", wkCacheGroupMode::SetMaterialId, {0, 1}).setMaterialId(3);
    add(L"Frame", wkCacheGroupMode::SetFrame, {0, 1});
    stage.frames = {0.0f, 0.0f, 2.0f};
    run();
    EXPECT_TRUE(elements[0].deleted);
    EXPECT_FALSE(elements[0].hasGroupMaterial);
    EXPECT_EQ(elements[0].groupMaterial, -1);
    EXPECT_EQ(elements[0].time, 800.0f);
    EXPECT_EQ(elements[1].groupMaterial, 3);
    EXPECT_EQ(elements[1].time, 320.0f);
}

TEST_F(GroupStage, DistanceIsTestedAfterAllGroupsAtTheFinalTimes) {
    // Element e stands at (time / 160, 0, 0): where it is depends on the time the groups gave it.
    int probes = 0;
    const wkCacheDistanceProbe probe = [&](std::vector<Point3>& positions, Point3& gizmo) {
        ++probes;
        for (const wkCacheElementState& e : elements)
            positions.push_back({e.time / 160.0f, 0.0f, 0.0f});
        gizmo = {0.0f, 4.0f, 0.0f};
        return true;
    };
    setUp(4, 160.0f * 3.0f);
    wkCacheGroup& near = add(L"Near", wkCacheGroupMode::Delete, {0, 1, 2, 5});
    near.byDistance = true;
    near.setDistance(5.0f);
    add(L"Frame", wkCacheGroupMode::SetFrame, {1});
    stage.frames = {0.0f, 4.0f};
    elements[2].time = 0.0f;
    run(probe);
    EXPECT_EQ(probes, 1);
    EXPECT_TRUE(elements[0].deleted);  // (3, 0, 0): exactly 5 away, 25 >= 25
    EXPECT_TRUE(elements[1].deleted);  // moved to (4, 0, 0) by the later group
    EXPECT_FALSE(elements[2].deleted); // (0, 0, 0): 4 away
    EXPECT_FALSE(elements[3].deleted); // in no group

    // Transforms that cannot be had delete nothing.
    setUp(4, 160.0f * 3.0f);
    run([&](std::vector<Point3>&, Point3&) { return false; });
    for (const wkCacheElementState& e : elements)
        EXPECT_FALSE(e.deleted);

    // No element left to test by distance: the transforms are not fetched.
    probes = 0;
    setUp(4, 160.0f * 3.0f);
    groups.clear();
    add(L"Age", wkCacheGroupMode::Delete, {0}).byAge = true;
    add(L"Near", wkCacheGroupMode::Delete, {0}).byDistance = true;
    add(L"Far", wkCacheGroupMode::Delete, {1}).byDistance = true;
    groups.at(2).enabled = false;
    run(probe);
    EXPECT_EQ(probes, 0);
    EXPECT_TRUE(elements[0].deleted);
}

} // namespace
