// What the object's panel and creation reach: the creation callback, the names of the frame
// tracks, the node list notifications, the spinner drags of a group and Reload Material.
#include "host/headless/HeadlessPrimitives.h"
#include "tests/object/CacheObjectFixture.h"

#include <fstream>

using namespace objtest;

namespace {

using ObjectPanelTest = CacheObjectTest;

// A viewport whose snap is the identity: the base class's.
class PlainView final : public ViewExp {
public:
    GraphicsWindow& getGW() override { throw std::logic_error("no drawing here"); }
    HitLog& GetSubObjHitList() override { return hits; }
    Rect GetDamageRect() const override { return {}; }

private:
    HitLog hits;
};

TEST_F(ObjectPanelTest, CreationPlacesTheNodeThenSizesTheIcon) {
    const struct {
        int msg, point, x, y;
        int answer;
        float iconSize;
        bool snapSuspended;
    } steps[] = {
        {MOUSE_POINT, 0, 3, 4, 1, 40.0f, true},   // the first corner: the node's place
        {MOUSE_MOVE, 1, 3, 7, 1, 6.0f, true},     // twice the distance, still creating
        {MOUSE_MOVE, 2, 9, 9, 1, 6.0f, true},     // other points change nothing
        {MOUSE_POINT, 1, 6, 8, 0, 10.0f, false},  // the second point ends it
        {MOUSE_ABORT, 1, 0, 0, -1, 10.0f, false}, // an abort says so
    };
    params().SetValue(P::iconSize, 0, 40.0f);
    PlainView view;
    Matrix3 tm(true);
    CreateMouseCallBack* callback = object->GetCreateMouseCallBack();
    for (const auto& s : steps) {
        EXPECT_EQ(callback->proc(&view, s.msg, s.point, 0, IPoint2{s.x, s.y}, tm), s.answer);
        EXPECT_FLOAT_EQ(params().GetFloat(P::iconSize), s.iconSize);
        EXPECT_EQ((object->flags() & A_SNAP_SUSPEND) != 0, s.snapSuspended);
    }
    EXPECT_EQ(tm.GetTrans(), Point3(3, 4, 0));
}

TEST_F(ObjectPanelTest, FrameTracksAreNamedAfterTheirGroups) {
    object->addGroup(L"Group001");
    object->addGroup(L"Debris");
    params().Append(P::elementFrames, 1); // an entry without its group
    EXPECT_EQ(params().GetLocalName(P::elementFrames, 0), WStr(L"Group001_Frame"));
    EXPECT_EQ(params().GetLocalName(P::elementFrames, 1), WStr(L"Debris_Frame"));
    EXPECT_TRUE(params().GetLocalName(P::elementFrames, 2).IsEmpty());
    EXPECT_TRUE(params().GetLocalName(P::recEnd, 0).IsEmpty());
}

TEST_F(ObjectPanelTest, NodeListNotificationsReachOnlyAnOpenPanel) {
    Notifications& notify = host.Notify();
    object->BeginEditParams(nullptr);
    notify.BroadcastNotification(70);
    EXPECT_TRUE(object->isNodeListSuspended());
    notify.BroadcastNotification(71);
    EXPECT_FALSE(object->isNodeListSuspended());
    object->EndEditParams();
    EXPECT_EQ(notify.Count(), 0);
    notify.BroadcastNotification(70);
    EXPECT_FALSE(object->isNodeListSuspended());
}

TEST_F(ObjectPanelTest, ASpinnerDragIsOneStepOnlyWithASelectedGroup) {
    const struct {
        int control;
        bool listEmptied, confirmed; // during the drag; at its end
        int steps;
        float offsetAfter;
    } drags[] = {
        {1143, false, true, 1, 5.0f},  // kept, named after the spinner
        {1143, true, true, 0, 0.0f},   // no group selected at the end: cancelled, all comes back
        {1143, false, false, 0, 0.0f}, // a drag that was not confirmed
        {1075, false, true, 0, 5.0f},  // the frame spinner holds nothing of its own
    };
    HeadlessUndoHold& hold = host.Hold();
    wkCacheGroupList& groups = object->playbackRecord().groups;
    for (const auto& d : drags) {
        object->addGroup(L"G");
        ASSERT_EQ(groups.selected(), 0);
        const int before = hold.NumUndoSteps();
        object->groupSpinnerDown(d.control);
        groups.at(0).setOffset(5.0f); // the spinner's change, not undoable
        if (d.listEmptied)
            groups.clear();
        object->groupSpinnerUp(d.control, d.confirmed);
        EXPECT_EQ(hold.NumUndoSteps() - before, d.steps) << d.control;
        EXPECT_EQ(hold.Depth(), 0);
        ASSERT_EQ(groups.count(), 1);
        EXPECT_EQ(groups.at(0).offset, d.offsetAfter) << d.control;
        if (d.steps == 1) {
            EXPECT_EQ(hold.UndoStepName(hold.NumUndoSteps() - 1), WStr(L"Group Offset"));
        }
        object->removeAllGroupsNoUndo();
    }
}

} // namespace

namespace {

TEST_F(ObjectPanelTest, ReloadMaterialReachesTheNodesShiftChooses) {
    MtlBaseLib library;
    library.AddMtl(std::make_shared<Mtl>(WStr(L"cached")));
    ASSERT_TRUE(host.Materials().SaveMaterialLibrary(
        WStr::FromUTF8((dir.path() / "two.mat").string()), library));
    auto other = NewCacheObject(host);
    wkCache_obj* otherObject = other.get();
    HeadlessScene& scene = host.Nodes();
    INode* otherNode = scene.CreateObjectNode(std::move(other));
    INode* otherBare = scene.CreateNode(L"otherBare", otherObject);
    HeadlessNode* instance = scene.CreateNode(L"instance", object);
    instance->SetSelected(true);
    useFile(path);
    otherObject->setFileName(object->fileName());
    object->updateCacheMesh(0);
    otherObject->updateCacheMesh(0);
    // Start from what the user has: own materials on two nodes, none on the others.
    const auto keep = std::make_shared<Mtl>(WStr(L"keep"));
    const auto foreign = std::make_shared<Mtl>(WStr(L"foreign"));
    node->SetMtl(nullptr);
    instance->SetMtl(keep);
    otherNode->SetMtl(foreign);
    otherBare->SetMtl(nullptr);

    const struct {
        bool shift;
        int changed;
        bool node, instance, otherNode, otherBare; // which get the cache's material
    } cases[] = {
        {false, 1, false, true, false, false}, // the selected nodes of this object
        {true, 4, true, true, true, true},     // every node of every object on the file
    };
    HeadlessUndoHold& hold = host.Hold();
    INode* nodes[] = {node, instance, otherNode, otherBare};
    const Mtl* before[] = {nullptr, keep.get(), foreign.get(), nullptr};
    for (const auto& c : cases) {
        EXPECT_EQ(object->reloadMaterialClicked(c.shift), c.changed) << c.shift;
        const bool expected[] = {c.node, c.instance, c.otherNode, c.otherBare};
        for (int n = 0; n < 4; ++n) {
            const Mtl* now = nodes[n]->GetMtl();
            EXPECT_EQ(now != nullptr && now->GetName() == WStr(L"cached"), expected[n]) << n;
        }
        EXPECT_EQ(hold.UndoStepName(hold.NumUndoSteps() - 1), WStr(L"Apply Material(s)"));
        ASSERT_TRUE(hold.Undo());
        for (int n = 0; n < 4; ++n)
            EXPECT_EQ(nodes[n]->GetMtl(), before[n]) << n;
    }
}

} // namespace
