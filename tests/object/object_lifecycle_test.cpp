// The object's life as a user meets it: a clone keeps what the user made, the record range
// follows a dragged spinner, and the validators of an open panel refuse what a pick must not
// take.
#include "host/headless/HeadlessKeyControl.h"
#include "host/headless/HeadlessObjects.h"
#include "host/headless/HeadlessPrimitives.h"
#include "tests/object/CacheObjectFixture.h"

using namespace objtest;

namespace {

using ObjectLifecycleTest = CacheObjectTest;

TEST_F(ObjectLifecycleTest, CloneKeepsGroupsSelectionAndSettings) {
    params().SetValue(P::recEnd, 0, 77);
    object->addGroup(L"A");
    object->addGroup(L"B");
    object->setElementSelection({1});
    object->groupBrowseFilter = WStr(L"Box*");
    const auto copy = object->Clone();
    EXPECT_EQ(copy->params().GetInt(P::recEnd), 77);
    EXPECT_EQ(copy->playbackRecord().groups, object->playbackRecord().groups);
    EXPECT_EQ(copy->elementSelection(), object->elementSelection());
    EXPECT_EQ(copy->groupBrowseFilter, WStr(L"Box*"));
    EXPECT_EQ(copy->params().Count(P::elementFrames), 2);
    EXPECT_EQ(wkCache_obj::SubAnimName(1), WStr(L"Gizmo"));
    EXPECT_TRUE(wkCache_obj::SubAnimName(0).IsEmpty());
}

// A host clones inside its own hold. The block the copy is born with is replaced at once, so
// nothing written to it may be held: undo would write into a block that is gone.
TEST_F(ObjectLifecycleTest, ACloneMadeInAHoldUndoesAndRedoes) {
    params().SetValue(P::recEnd, 0, 77);
    host.Hold().Begin();
    const auto copy = object->Clone();
    host.Hold().Accept(L"Clone");
    ASSERT_EQ(host.Hold().NumUndoSteps(), 0) << "the clone held a write to its discarded block";
    host.Hold().Begin();
    copy->params().SetValue(P::recEnd, 0, 50);
    host.Hold().Accept(L"Set");
    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_EQ(copy->params().GetInt(P::recEnd), 77);
    ASSERT_TRUE(host.Hold().Redo());
    EXPECT_EQ(copy->params().GetInt(P::recEnd), 50);
    EXPECT_EQ(params().GetInt(P::recEnd), 77);
}

// A host replaces the gizmo controller inside its hold after a held change to the old one:
// undo brings the old controller back, and the held change lands in it, not in freed memory.
TEST_F(ObjectLifecycleTest, ReplacingTheGizmoInAHoldUndoesAndRedoes) {
    MatrixControl& old = object->gizmo();
    ITCBScaleKey key;
    key.val = ScaleValue(Point3(2, 2, 2));
    auto scale = std::make_unique<HeadlessScaleKeyControl>();
    scale->AppendKey(&key);
    HeadlessScaleKeyControl& oldScale = *scale;
    ASSERT_TRUE(old.SetScaleController(std::move(scale)));
    HeadlessScaleKeyControl source;
    key.val = ScaleValue(Point3(3, 3, 3));
    source.AppendKey(&key);

    host.Hold().Begin();
    oldScale.Copy(&source);
    ASSERT_TRUE(object->SetReference(1, host.NewDefaultMatrix3Controller(*object)));
    host.Hold().Accept(L"Replace");
    MatrixControl* replacement = &object->gizmo();
    ASSERT_NE(replacement, &old);
    ASSERT_TRUE(host.Hold().Undo());
    ASSERT_EQ(&object->gizmo(), &old);
    EXPECT_EQ(oldScale.ValueAt(0).s, Point3(2, 2, 2));
    ASSERT_TRUE(host.Hold().Redo());
    EXPECT_EQ(&object->gizmo(), replacement);
}

TEST_F(ObjectLifecycleTest, RecordRangeFollowsADraggedSpinner) {
    // Each step: drag state, the other end at drag start, which end is written, its value;
    // then the range.
    const struct {
        int drag, other;
        ParamID written;
        int value, start, end;
    } steps[] = {
        {0, 0, P::recStart, 25, 25, 25},  // start past the end pushes it
        {0, 0, P::recEnd, 5, 5, 5},       // end before the start pulls it
        {0, 0, P::recEnd, 20, 5, 20},     // nothing to couple
        {1, 20, P::recStart, 30, 30, 30}, // a drag of the start pushes the end along
        {1, 20, P::recStart, 12, 12, 20}, // and back: the end springs back to its start value
        {2, 12, P::recEnd, 8, 8, 8},      // a drag of the end pulls the start
        {2, 12, P::recEnd, 15, 12, 15},   // and back, no further than where it began
    };
    params().SetValue(P::recEnd, 0, 20);
    params().SetValue(P::recStart, 0, 10);
    for (const auto& s : steps) {
        object->setRecDrag(s.drag, s.other);
        params().SetValue(s.written, 0, s.value);
        EXPECT_EQ(params().GetInt(P::recStart), s.start) << "after writing " << s.value;
        EXPECT_EQ(params().GetInt(P::recEnd), s.end) << "after writing " << s.value;
    }
}

TEST_F(ObjectLifecycleTest, AnOpenPanelValidatesPicksAndItsClosingEndsCreationAndLevels) {
    EXPECT_TRUE(object->flags() & A_OBJ_CREATING);
    HeadlessScene& scene = host.Nodes();
    INode* box =
        scene.CreateNode(L"box", scene.Add(std::make_unique<TriObject>(MakeBoxMesh(1, 1, 1))));
    INode* gone =
        scene.CreateNode(L"gone", scene.Add(std::make_unique<TriObject>(MakeBoxMesh(1, 1, 1))));
    scene.DeleteNode(gone);
    INode* camera = scene.CreateNode(L"camera", scene.Add(std::make_unique<HeadlessCamera>()));
    using Kind = HeadlessLight::Kind;
    INode* omni = scene.CreateNode(L"omni", scene.Add(std::make_unique<HeadlessLight>(Kind::Omni)));
    INode* spot = scene.CreateNode(L"spot", scene.Add(std::make_unique<HeadlessLight>(Kind::Spot)));
    object->BeginEditParams(nullptr);
    params().Append(P::nodes, 2);

    const struct {
        ParamID id;
        INode* node;
        bool taken;
    } cases[] = {
        {P::nodes, nullptr, false},      {P::nodes, node, false},
        {P::nodes, gone, false},         {P::nodes, camera, false},
        {P::nodes, spot, false},         {P::nodes, box, true},
        {P::explodeToNode, node, false}, {P::explodeToNode, camera, true},
        {P::explodeToNode, box, true},   {P::triggerOmni, spot, false},
        {P::triggerOmni, omni, true},
    };
    for (const auto& c : cases) {
        const INode* before = params().GetINode(c.id);
        EXPECT_EQ(params().SetValue(c.id, 0, c.node, 0), c.taken)
            << (c.node ? c.node->GetName().ToCStr().str() : "null") << " for " << c.id;
        EXPECT_EQ(params().GetINode(c.id), c.taken ? c.node : before);
    }
    // The box is in the list now: a second entry of it is refused, as for the explode target
    // it is not.
    EXPECT_FALSE(params().SetValue(P::nodes, 0, box, 1));
    XFormModes modes;
    object->enterSubLevel(1, modes);
    object->EndEditParams();
    EXPECT_FALSE(object->flags() & A_OBJ_CREATING);
    EXPECT_EQ(object->getSubObjectLevel(), 0);
}

} // namespace
