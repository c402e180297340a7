// Activation and groups through the cache object: the gizmo and the omni light as triggers, what
// a cancelled scan leaves, and groups acting at the end of an evaluation.
#include "host/headless/HeadlessObjects.h"
#include "host/headless/HeadlessPRSControl.h"
#include "host/headless/HeadlessParamBlock.h"
#include "tests/object/CacheObjectFixture.h"

using namespace objtest;

namespace {

// Three elements at rest at x = 0, 100 and 200, over eleven samples one frame apart; each
// moves up in z by one unit a sample.
Bytes rowCache() {
    CacheSpec spec;
    spec.nodes = {triangleNode("a"), triangleNode("b"), triangleNode("c")};
    for (int s = 0; s <= 10; ++s) {
        const auto z = static_cast<float>(s);
        spec.samples.push_back({moved(0, 0, z), moved(100, 0, z), moved(200, 0, z)});
    }
    spec.cacheEnd = 1600;
    return buildCache(spec);
}

class ActivationTest : public CacheObjectTest {
protected:
    void SetUp() override {
        CacheObjectTest::SetUp();
        useFile(dir.write("row.wkc", rowCache()));
    }
    // The gizmo sweeps along x from -60 at frame 0 to 240 at frame 10: 30 units a frame.
    void sweepGizmo() {
        auto& gizmo = static_cast<HeadlessPRSControl&>(object->gizmo());
        gizmo.Position().AddKey(0, Point3(-60, 0, 0));
        gizmo.Position().AddKey(1600, Point3(240, 0, 0));
        gizmo.NotifyChanged();
    }
    const wkCacheElementState& element(int i) {
        return object->playbackRecord().elements[static_cast<std::size_t>(i)];
    }
};

TEST_F(ActivationTest, TheSweepingGizmoStartsEachElementWhenItArrives) {
    sweepGizmo();
    params().SetValue(P::triggerMode, 0, 1);
    object->updateCacheMesh(480);
    // The scan finds element 0 at frame 1 and element 1 at frame 5 (the radius test is strict:
    // at frame 4 it lies exactly 40 away). The refinement halves back from there, testing each
    // read against the one before it: that lag takes element 0 back to tick 80, where the
    // sphere is still 45 away, and element 1 to 642.
    ASSERT_TRUE(element(0).activated);
    EXPECT_EQ(element(0).activationTick, 80);
    ASSERT_TRUE(element(1).activated);
    EXPECT_EQ(element(1).activationTick, 642);
    // Element 0 plays from its activation; element 1 waits before its range, holding sample 0.
    EXPECT_FLOAT_EQ(element(0).time, static_cast<float>(480 - element(0).activationTick));
    EXPECT_TRUE(element(1).beforeRange);
    EXPECT_EQ(element(1).sample, 0);
    EXPECT_LT(object->getMesh().getVert(3).z, 0.5f);
}

// Reverse moves an activated element's clock the other way and makes a waiting one count down
// to the last sample; the graph keeps its own time once an element is activated.
TEST_F(ActivationTest, ReverseAndTheGraphShiftTheActivatedClockTheirOwnWay) {
    sweepGizmo();
    params().SetValue(P::playReverse, 0, 1);
    object->updateCacheMesh(480);
    const float clock = element(0).time; // no trigger: every element on the clock
    params().SetValue(P::triggerMode, 0, 1);
    object->updateCacheMesh(480);
    ASSERT_TRUE(element(0).activated);
    ASSERT_TRUE(element(1).activated);
    ASSERT_LE(element(0).activationTick, 480);
    ASSERT_GT(element(1).activationTick, 480);
    EXPECT_FLOAT_EQ(element(0).time, clock + static_cast<float>(element(0).activationTick));
    EXPECT_FLOAT_EQ(element(1).time,
                    static_cast<float>(11 * 160 - 480 + element(1).activationTick));

    params().SetValue(P::playUseGraph, 0, 1);
    params().SetValue(P::playFrame, 0, 2.0f);
    object->updateCacheMesh(480);
    ASSERT_TRUE(element(0).activated);
    EXPECT_FLOAT_EQ(element(0).time, 320.0f);
}

TEST_F(ActivationTest, AGizmoThatStaysAwayActivatesNothing) {
    auto& gizmo = static_cast<HeadlessPRSControl&>(object->gizmo());
    gizmo.Position().AddKey(0, Point3(0, 500, 0));
    params().SetValue(P::triggerMode, 0, 1);
    object->updateCacheMesh(800);
    for (int i = 0; i < 3; ++i)
        EXPECT_FALSE(element(i).activated);
    // Not activated: resting on the first sample.
    EXPECT_FLOAT_EQ(element(0).time, 0.0f);
}

TEST_F(ActivationTest, MovingTheGizmoScansAgainOnlyWhenItIsTheTrigger) {
    params().SetValue(P::triggerMode, 0, 2);
    object->updateCacheMesh(800);
    sweepGizmo();
    EXPECT_FALSE(object->meshValidity().Empty());
    params().SetValue(P::triggerMode, 0, 1);
    object->updateCacheMesh(800);
    sweepGizmo();
    EXPECT_TRUE(object->meshValidity().Empty());
}

TEST_F(ActivationTest, OnlyAnOmniLightTriggers) {
    auto* spot = host.Nodes().Add(std::make_unique<HeadlessLight>(HeadlessLight::Kind::Spot, 1000));
    HeadlessNode* spotNode = host.Nodes().CreateNode(L"Spot", spot);
    params().SetValue(P::triggerMode, 0, 2);
    params().SetValue(P::triggerOmni, 0, static_cast<INode*>(spotNode));
    object->updateCacheMesh(160);
    EXPECT_FALSE(element(0).activated);

    auto* omni = host.Nodes().Add(std::make_unique<HeadlessLight>(HeadlessLight::Kind::Omni, 150));
    HeadlessNode* omniNode = host.Nodes().CreateNode(L"Omni", omni);
    omniNode->Position().AddKey(0, Point3(0, 0, 0));
    params().SetValue(P::triggerOmni, 0, static_cast<INode*>(omniNode));
    object->updateCacheMesh(160);
    // The far attenuation is the radius: 0 and 100 lie inside, 200 does not.
    EXPECT_TRUE(element(0).activated);
    EXPECT_TRUE(element(1).activated);
    EXPECT_FALSE(element(2).activated);
}

TEST_F(ActivationTest, EscapeLeavesTheCachePlayingByThePlainClock) {
    sweepGizmo();
    params().SetValue(P::triggerMode, 0, 1);
    host.UI().PressEscapeAt(1);
    object->updateCacheMesh(480);
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(element(i).activated);
        EXPECT_FLOAT_EQ(element(i).time, 480.0f);
    }
}

TEST_F(ActivationTest, GroupsActOnTheActivatedElements) {
    sweepGizmo();
    params().SetValue(P::triggerMode, 0, 1);
    wkCacheGroupList& groups = object->playbackRecord().groups;
    wkCacheGroup hold(WStr(L"Frozen"));
    hold.setMode(static_cast<std::int32_t>(wkCacheGroupMode::HoldOut));
    hold.elements = {0, 1};
    groups.addRecord(hold);
    wkCacheGroup paint(WStr(L"Paint"));
    paint.setMode(static_cast<std::int32_t>(wkCacheGroupMode::SetMaterialId));
    paint.setMaterialId(7);
    paint.elements = {0};
    groups.addRecord(paint);
    params().Append(P::elementFrames, 2);
    object->invalidateElements();

    object->updateCacheMesh(480);
    // Element 0's activation has come: held on the last sample, with material 7 on its face.
    EXPECT_FLOAT_EQ(element(0).time, 1600.0f);
    EXPECT_EQ(element(0).appliedMaterial, 7);
    EXPECT_EQ(object->getMesh().getFace(0).getMatID(), 7);
    // Element 1's has not: the group waits for it.
    EXPECT_TRUE(element(1).beforeRange);
    EXPECT_EQ(element(2).appliedMaterial, -1);
}

TEST_F(ActivationTest, SetFrameFollowsItsAnimatedEntry) {
    wkCacheGroupList& groups = object->playbackRecord().groups;
    wkCacheGroup scrub(WStr(L"Scrub"));
    scrub.setMode(static_cast<std::int32_t>(wkCacheGroupMode::SetFrame));
    scrub.elements = {2};
    groups.addRecord(scrub);
    auto& block = static_cast<HeadlessParamBlock&>(params());
    block.Append(P::elementFrames, 1);
    block.SetKey(P::elementFrames, 0, 8.0f, 0);
    block.SetKey(P::elementFrames, 1600, 2.0f, 0);
    object->updateCacheMesh(800);
    // Half way: frame 5 of the recording, whatever the clock says.
    EXPECT_FLOAT_EQ(element(2).time, 5.0f * 160.0f);
    EXPECT_FLOAT_EQ(element(0).time, 800.0f);
}

} // namespace
