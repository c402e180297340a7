// Explode to objects on a small cache: the key times, what each kind of element becomes, and
// the undo step.
#include "explode/ExplodeToObjects.h"
#include "tests/object/CacheObjectFixture.h"

#include <cmath>

namespace {

using namespace objtest;

TEST(ExplodeKeyTimes, EndOnTheLastWholeStep) {
    struct Case {
        Interval interval;
        std::int32_t step;
        std::vector<TimeValue> times;
    };
    const Case cases[] = {
        {{0, 320}, 160, {0, 160, 320}},
        {{0, 400}, 160, {0, 160, 320}}, // a step that does not divide the range
        {{80, 80}, 160, {80}},          // a range of no length
        {{0, 3}, 0, {0, 1, 2, 3}},      // a step below 1 is 1
        {{-160, 100}, 100, {-160, -60, 40}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ExplodeKeyTimes(c.interval, c.step), c.times)
            << c.interval.Start() << ":" << c.interval.End() << " by " << c.step;
        EXPECT_EQ(ExplodeKeyCount(c.interval, c.step), std::ssize(c.times));
    }
}

// Element "ahead" moves along x; "mirror" is mirrored in x; "late" is invisible at sample 0;
// "gone" is deleted by a group.
Bytes explodeCache() {
    CacheSpec spec;
    spec.nodes = {triangleNode("ahead"), triangleNode("mirror"), triangleNode("late"),
                  triangleNode("gone")};
    SampleSpec mirrored = moved(0, 5, 0);
    mirrored.m[0] = -1.0f;
    spec.samples = {{moved(0, 0, 0), mirrored, moved(0, 0, 9, 0), moved(1, 1, 1)},
                    {moved(10, 0, 0), mirrored, moved(0, 0, 9), moved(1, 1, 1)},
                    {moved(20, 0, 0), mirrored, moved(0, 0, 9), moved(1, 1, 1)}};
    spec.hasVisibility = 1;
    return buildCache(spec);
}

class ExplodeTest : public CacheObjectTest {
protected:
    void SetUp() override {
        CacheObjectTest::SetUp();
        useFile(dir.write("explode.wkc", explodeCache()));
        ASSERT_TRUE(object->addGroup(L"Debris"));
        ASSERT_TRUE(object->setGroupMode(L"Debris", 0));
        ASSERT_TRUE(object->setGroupByAge(L"Debris", true)); // age 0: deleted from the start
        auto& groups = object->playbackRecord().groups;
        groups.at(groups.find(L"Debris")).elements.insert(3);
        stepsBefore = host.Hold().NumUndoSteps();
    }
    int newSteps() { return host.Hold().NumUndoSteps() - stepsBefore; }
    int stepsBefore = 0;
    INodeTab explode(int mode, bool reduce = false) {
        params().SetValue(P::explodeTo, 0, mode);
        INodeTab nodes;
        EXPECT_EQ(ExplodeToObjects(*object, Interval(0, 320), 160, nodes, nullptr, false, reduce, 0,
                                   0.02f, true),
                  1);
        return nodes;
    }
    static Control* part(INode* node, int which) {
        MatrixControl* tm = node->GetTMController();
        return which == 0   ? tm->GetPositionController()
               : which == 1 ? tm->GetRotationController()
                            : tm->GetScaleController();
    }
};

TEST_F(ExplodeTest, MeshNodesFollowTheirElementsAndShowWhenTheyDo) {
    const INodeTab nodes = explode(0);
    ASSERT_EQ(nodes.Count(), 3); // the deleted element gets no node
    EXPECT_EQ(nodes[0]->GetName(), WStr(L"ahead"));
    EXPECT_EQ(nodes[0]->GetNodeTM(160).GetTrans(), Point3(10, 0, 0));
    EXPECT_EQ(part(nodes[0], 0)->NumKeys(), 3);
    // Mirrored: all three scale factors negative, and the same matrix back.
    ITCBScaleKey scale;
    part(nodes[1], 2)->GetKeyControlInterface()->GetKey(0, &scale);
    EXPECT_TRUE(scale.val.s.x < 0 && scale.val.s.y < 0 && scale.val.s.z < 0);
    EXPECT_NEAR(nodes[1]->GetNodeTM(0).GetRow(0).x, -1.0f, 1e-6f);
    // Hidden at the start, shown from its time on; one always shown keeps its first key.
    EXPECT_LE(nodes[2]->GetVisibility(0), 0.0f);
    EXPECT_GT(nodes[2]->GetVisibility(160), 0.0f);
    EXPECT_EQ(nodes[0]->GetVisController()->NumKeys(), 1);
    ASSERT_EQ(newSteps(), 1);
    EXPECT_EQ(host.Hold().UndoStepName(stepsBefore), WStr(L"Explode To Objects"));
    host.Hold().Undo();
    EXPECT_FALSE(host.Nodes().InScene(nodes[0]));
}

TEST_F(ExplodeTest, PointHelpersShareOneObjectAndHaveNoVisibilityTrack) {
    const INodeTab nodes = explode(2);
    ASSERT_EQ(nodes.Count(), 3);
    EXPECT_EQ(nodes[0]->GetObjectRef(), nodes[2]->GetObjectRef());
    EXPECT_EQ(nodes[2]->GetVisController(), nullptr);
}

TEST_F(ExplodeTest, ReductionLeavesTheSteadyTracksThinAsASecondStep) {
    const INodeTab nodes = explode(1, true);
    ASSERT_EQ(nodes.Count(), 3);
    EXPECT_EQ(part(nodes[0], 0)->NumKeys(), 2); // a steady move: its ends
    EXPECT_EQ(part(nodes[0], 1)->NumKeys(), 0); // never turns: the default is the same
    EXPECT_EQ(part(nodes[1], 1)->NumKeys(), 0); // the mirror's constant half turn, held
    EXPECT_NEAR(nodes[1]->GetNodeTM(160).GetRow(0).x, -1.0f, 1e-6f);
    EXPECT_EQ(newSteps(), 2);
}

TEST_F(ExplodeTest, EscapeTakesEveryNewNodeAway) {
    host.UI().SetEscapeHandler([] { return true; });
    params().SetValue(P::explodeTo, 0, 0);
    INodeTab nodes;
    EXPECT_EQ(ExplodeToObjects(*object, Interval(0, 320), 160, nodes, nullptr, false, false, 0,
                               0.02f, true),
              0);
    EXPECT_EQ(nodes.Count(), 0);
    EXPECT_EQ(host.Nodes().Nodes().size(), 1u); // the cache's own node
    EXPECT_EQ(newSteps(), 0);
}

// An element turning 60 degrees a sample, on past a whole revolution. The decomposition hands
// out either sign of a rotation, so a turn from one key to the next read as it comes may be the
// long way round (300 degrees back); the nodes must turn as the cache plays, the short way.
using ExplodeTurnTest = CacheObjectTest;

TEST_F(ExplodeTurnTest, TurnsTakeTheShortWayBetweenKeys) {
    constexpr float kDegree = 3.14159265f / 180.0f;
    CacheSpec spec;
    spec.nodes = {triangleNode("spin")};
    for (int k = 0; k < 9; ++k) {
        SampleSpec s;
        const float a = static_cast<float>(k) * 60.0f * kDegree;
        s.m = {std::cos(a), std::sin(a), 0, -std::sin(a), std::cos(a), 0, 0, 0, 1, 0, 0, 0};
        spec.samples.push_back({s});
    }
    useFile(dir.write("spin.wkc", buildCache(spec)));
    INodeTab nodes;
    ASSERT_EQ(ExplodeToObjects(*object, Interval(0, 8 * 160), 160, nodes, nullptr, false, false, 0,
                               0.02f, true),
              1);
    ASSERT_EQ(nodes.Count(), 1);
    for (int k = 0; k < 8; ++k) {
        const float a = (static_cast<float>(k) * 60.0f + 30.0f) * kDegree; // halfway
        const Point3 x = nodes[0]->GetNodeTM(k * 160 + 80).GetRow(0);
        EXPECT_NEAR(x.x, std::cos(a), 1e-4f) << "after key " << k;
        EXPECT_NEAR(x.y, std::sin(a), 1e-4f) << "after key " << k;
    }
}

} // namespace
