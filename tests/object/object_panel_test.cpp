// What the object's panel and creation reach: the creation callback, the names of the frame
// tracks and the node list notifications.
#include "host/headless/HeadlessPrimitives.h"
#include "tests/object/CacheObjectFixture.h"

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

} // namespace
