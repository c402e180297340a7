// The cache object in a headless viewport: what Display draws in which order and colour, what
// the object-level and element-level hit tests pick, and the selection and gizmo operations of
// the sub-object levels.
#include "host/headless/HeadlessGraphicsWindow.h"
#include "tests/host/expect_point.h"
#include "tests/object/CacheObjectFixture.h"

#include <cmath>

namespace objtest {
namespace {

using Call = HeadlessGraphicsWindow::Call;
using Record = HeadlessGraphicsWindow::Record;

constexpr TimeValue kLate = 320; // element 0 at (20, 0, 0), element 1 at (0, 20, 0)
constexpr TimeValue kHidden = 160; // element 1 hidden: one marker at (0, 10, 0)

class ViewportTest : public CacheObjectTest {
protected:
    HeadlessGraphicsWindow gw{160, 120};
    HeadlessViewExp vpt{gw};

    void SetUp() override {
        CacheObjectTest::SetUp();
        useFile(path);
        params().SetValue(P::vpDeleteObjects, 0, 0);
        params().SetValue(P::iconSize, 0, 1.0f);
        object->updateCacheMesh(kLate);
        gw.SetCamera(FrameBounds(HeadlessView::Top, Box3({-2, -2, -1}, {24, 24, 1}), 160, 120));
    }
    IPoint2 pixelOf(const Point3& world) {
        float x = 0, y = 0;
        EXPECT_TRUE(gw.Project(world, x, y));
        return {static_cast<int>(x), static_cast<int>(y)};
    }
    std::vector<Record> drawn(TimeValue t, int level) {
        XFormModes modes;
        object->enterSubLevel(level, modes);
        object->updateCacheMesh(t);
        gw.Clear(Point3());
        object->Display(t, node, &vpt, 0);
        return gw.DrawList();
    }
    static int count(const std::vector<Record>& list, Call call, int verts = -1) {
        int n = 0;
        for (const Record& r : list)
            n += r.call == call && (verts < 0 || r.numVerts == verts);
        return n;
    }
    std::vector<int> hitElements(TimeValue t, const Point3& world, int flags = 0) {
        vpt.GetSubObjHitList().Clear();
        object->updateCacheMesh(t);
        const IPoint2 p = pixelOf(world);
        object->HitTest(t, node, POINT_RGN, 0, flags, &p, &vpt, nullptr);
        std::vector<int> out;
        for (HitRecord* h = vpt.GetSubObjHitList().First(); h != nullptr; h = h->Next())
            out.push_back(wkCache_obj::hitElementIndex(*h));
        return out;
    }
    void selectByLog(std::initializer_list<int> indices, bool selected, bool all) {
        HitLog log;
        for (int i : indices)
            log.LogHit(node, nullptr, 0, static_cast<std::uint32_t>(i));
        object->selectHitElements(log.First(), selected, all);
    }
    std::vector<int> selection() const {
        return {object->elementSelection().begin(), object->elementSelection().end()};
    }
};

// A viewport that goes through the display interface gets the object's own base, which builds
// the mesh at the redraw's time and then draws what Display draws.
TEST_F(ViewportTest, TheDisplayInterfaceIsTheObjectsDisplay) {
    namespace G = MaxSDK::Graphics;
    BaseInterface* found = object->GetInterface(G::IOBJECT_DISPLAY2_INTERFACE_ID);
    ASSERT_EQ(found, static_cast<G::IObjectDisplay2*>(object));
    EXPECT_EQ(object->GetInterface(Interface_ID{0x471404B6, 0}), nullptr);
    const auto calls = [](const std::vector<Record>& list) {
        std::vector<Call> out;
        for (const Record& r : list)
            out.push_back(r.call);
        return out;
    };
    const std::vector<Call> classic = calls(drawn(kLate, 0));
    object->updateCacheMesh(kHidden); // a marker, unless the interface builds at kLate
    gw.Clear(Point3());
    auto& display = static_cast<G::IObjectDisplay2&>(*found);
    G::UpdateNodeContext at{node, &vpt, 0};
    EXPECT_TRUE(display.PrepareDisplay({kLate}));
    EXPECT_TRUE(display.UpdatePerNodeItems({kLate}, at));
    EXPECT_EQ(calls(gw.DrawList()), classic);
}

TEST_F(ViewportTest, IconAndMarkersOnlyAtObjectLevel) {
    struct Case {
        int level;
        int icons;
        int markerRuns;
    } cases[] = {{0, 1, 1}, {1, 0, 0}, {2, 0, 0}};
    for (const Case& c : cases) {
        const auto list = drawn(kHidden, c.level);
        EXPECT_EQ(count(list, Call::RenderMesh, 104), c.icons) << "level " << c.level;
        EXPECT_EQ(count(list, Call::StartMarkers), c.markerRuns) << "level " << c.level;
    }
    // The marker run holds the hidden element's position.
    const auto list = drawn(kHidden, 0);
    for (const Record& r : list)
        if (r.call == Call::Marker)
            expectNear(r.points[0], Point3(0, 10, 0), 1e-5f);
    // The limits the display started with are put back.
    EXPECT_EQ(list.back().call, Call::Limits);
    EXPECT_EQ(gw.getRndLimits(), GW_Z_BUFFER | GW_ILLUM | GW_EDGES_ONLY);
}

TEST_F(ViewportTest, WireColoursFollowStateAndLevel) {
    auto& n = static_cast<HeadlessNode&>(*node);
    n.SetWireColor(0x0000FF); // red
    gw.setRndLimits(gw.getRndLimits() | GW_WIREFRAME);
    const Point3 red(1, 0, 0), white = gw.GetUIColor(COLOR_SELECTION),
                 grey = gw.GetUIColor(COLOR_FROZEN);
    struct Case {
        bool selected, frozen;
        int level;
        Point3 meshColour;
    } cases[] = {{false, false, 0, red}, {true, false, 0, white}, {true, true, 0, grey},
                 {true, false, 1, grey}, {false, false, 2, grey}};
    for (const Case& c : cases) {
        n.SetSelected(c.selected);
        n.SetFrozen(c.frozen);
        const auto list = drawn(kLate, c.level);
        const auto mesh = std::find_if(list.begin(), list.end(), [](const Record& r) {
            return r.call == Call::RenderMesh;
        });
        ASSERT_NE(mesh, list.end());
        expectNear(mesh->colour, c.meshColour, 0.0f);
        expectNear(mesh->material.Kd, c.meshColour, 0.0f);
    }
}

TEST_F(ViewportTest, GizmoIsThreeCirclesOfSixteenLines) {
    const auto list = drawn(kLate, 2);
    std::vector<Record> circles;
    for (const Record& r : list)
        if (r.call == Call::Polyline)
            circles.push_back(r);
    ASSERT_EQ(circles.size(), 3u);
    // A quarter and a full turn on each circle, which starts on its first axis.
    const Point3 quarter[3] = {{0, 40, 0}, {0, 0, 40}, {40, 0, 0}};
    for (int c = 0; c < 3; ++c) {
        ASSERT_EQ(circles[c].points.size(), 17u);
        expectNear(circles[c].points[4], quarter[c], 1e-4f);
        expectNear(circles[c].points[16], circles[c].points[0], 1e-4f);
        expectNear(circles[c].colour, gw.GetUIColor(COLOR_SELECTION), 0.0f);
    }
}

TEST_F(ViewportTest, ElementBoxesSelectedFirstEachInOneColour) {
    selectByLog({1}, true, true);
    const auto list = drawn(kLate, 1);
    std::vector<Point3> boxColours;
    for (const Record& r : list)
        if (r.call == Call::RenderMesh && r.numVerts == 8)
            boxColours.push_back(r.colour);
    ASSERT_EQ(boxColours.size(), 2u);
    expectNear(boxColours[0], gw.GetUIColor(COLOR_SELECTION), 0.0f);
    expectNear(boxColours[1], Point3(0.5f, 0.5f, 0.5f), 0.01f); // the node's wire colour
}

TEST_F(ViewportTest, ObjectHitTestAndBounds) {
    params().SetValue(P::vpDisplayCache, 0, 0);
    object->updateCacheMesh(kLate);
    const IPoint2 pivot = pixelOf(Point3());
    const IPoint2 far = pixelOf(Point3(20, 20, 0));
    EXPECT_EQ(object->HitTest(kLate, node, POINT_RGN, 0, 0, &pivot, &vpt), 1); // the icon alone
    EXPECT_EQ(object->HitTest(kLate, node, POINT_RGN, 0, 0, &far, &vpt), 0);
    params().SetValue(P::vpDisplayIcon, 0, 0);
    Box3 box;
    object->GetLocalBoundBox(kLate, node, &vpt, box);
    EXPECT_TRUE(box.IsEmpty()); // nothing to show
    EXPECT_EQ(object->HitTest(kLate, node, POINT_RGN, 0, 0, &pivot, &vpt), 0);
    EXPECT_EQ(wkCache_obj::BuildIconMesh(-1.0f)->getNumVerts(), 0);
    EXPECT_EQ(wkCache_obj::BuildIconMesh(-1.0f)->getNumFaces(), 0);
    // With the cache shown the world box holds the moved elements.
    params().SetValue(P::vpDisplayCache, 0, 1);
    object->GetWorldBoundBox(kLate, node, &vpt, box);
    expectNear(box.pmax, Point3(21, 21, 0), 1e-5f);
}

TEST_F(ViewportTest, WindowSelectionNeverPicksMarkers) {
    params().SetValue(P::vpDisplayIcon, 0, 0);
    object->updateCacheMesh(kHidden);
    const IPoint2 m = pixelOf(Point3(0, 10, 0));
    const IPoint2 box[2] = {{m.x - 3, m.y - 3}, {m.x + 3, m.y + 3}};
    EXPECT_EQ(object->HitTest(kHidden, node, RECT_RGN, 1, 0, box, &vpt), 1);
    EXPECT_EQ(object->HitTest(kHidden, node, RECT_RGN, 0, 0, box, &vpt), 0);
    EXPECT_EQ(object->HitTest(kHidden, node, POINT_RGN, 0, 0, &m, &vpt), 1);
}

// Markers are picked where they are drawn: turning the cached mesh off keeps the last frame's
// marker list (the update returns before it), but neither draws nor picks it.
TEST_F(ViewportTest, MarkersArePickedOnlyWhenDrawn) {
    params().SetValue(P::vpDisplayIcon, 0, 0);
    object->updateCacheMesh(kHidden);
    const IPoint2 m = pixelOf(Point3(0, 10, 0));
    for (const int displayCache : {1, 0}) {
        params().SetValue(P::vpDisplayCache, 0, displayCache);
        const int runs = count(drawn(kHidden, 0), Call::StartMarkers);
        EXPECT_EQ(runs, displayCache) << "vpDisplayCache " << displayCache;
        EXPECT_EQ(object->HitTest(kHidden, node, POINT_RGN, 0, 0, &m, &vpt), runs)
            << "vpDisplayCache " << displayCache;
    }
}

TEST_F(ViewportTest, PickAtBoxCentreLogsThatElement) {
    EXPECT_EQ(hitElements(kLate, Point3(20.5f, 0.5f, 0)), std::vector<int>{0});
    EXPECT_EQ(hitElements(kLate, Point3(0.5f, 20.5f, 0)), std::vector<int>{1});
    EXPECT_TRUE(hitElements(kLate, Point3(10, 10, 0)).empty());
    selectByLog({1}, true, true);
    EXPECT_TRUE(hitElements(kLate, Point3(0.5f, 20.5f, 0), 4).empty()); // unselected only
    EXPECT_EQ(hitElements(kLate, Point3(0.5f, 20.5f, 0), 1), std::vector<int>{1});
}

TEST_F(ViewportTest, SelectionOperations) {
    selectByLog({1, 0}, true, false);
    EXPECT_EQ(selection(), std::vector<int>{1}); // first hit only
    selectByLog({0, 1}, true, true);
    EXPECT_EQ(selection(), (std::vector<int>{0, 1}));
    selectByLog({1}, false, true);
    EXPECT_EQ(selection(), std::vector<int>{0});
    object->updateCacheMesh(0);
    object->invertElementSelection(1);
    EXPECT_EQ(selection(), std::vector<int>{1});
    object->selectAllElements(1);
    EXPECT_EQ(selection(), (std::vector<int>{0, 1}));

    // Undo puts the set back through the hold, and redo takes it again; both redraw the views
    // at once, as the change did, so the boxes show the set they give.
    host.Hold().Begin();
    object->clearElementSelection(1);
    host.Hold().Accept(L"Clear");
    EXPECT_TRUE(selection().empty());
    for (const bool undo : {true, false}) {
        const int redraws = host.UI().CompleteRedraws();
        ASSERT_TRUE(undo ? host.Hold().Undo() : host.Hold().Redo());
        EXPECT_EQ(selection(), undo ? (std::vector<int>{0, 1}) : std::vector<int>());
        EXPECT_EQ(host.UI().CompleteRedraws(), redraws + 1) << (undo ? "undo" : "redo");
        EXPECT_TRUE(object->meshValidity().Empty());
    }
    host.Hold().Undo();

    // Without a sound reader both empty the set.
    useFile(dir.file("missing.wkc").string());
    object->selectAllElements(1);
    EXPECT_TRUE(selection().empty());
    selectByLog({0}, true, true);
    object->invertElementSelection(1);
    EXPECT_TRUE(selection().empty());
}

struct Centres : SubObjAxisCallback {
    std::vector<Point3> centres;
    std::vector<Matrix3> frames;
    void Center(const Point3& c, int) override { centres.push_back(c); }
    void TM(const Matrix3& tm, int) override { frames.push_back(tm); }
};

TEST_F(ViewportTest, LevelsModesCentresAndGizmo) {
    EXPECT_EQ(object->subLevelType(0)->GetName(), WStr(L"Elements"));
    EXPECT_EQ(object->subLevelType(2), nullptr);
    wkCache_obj::CreateCommandModes(); // as an open panel has them
    XFormModes modes;
    object->enterSubLevel(1, modes);
    EXPECT_EQ(object->subLevelType(-1)->GetName(), WStr(L"Elements"));
    EXPECT_TRUE(modes.move == nullptr && modes.rotate == nullptr && modes.scale == nullptr);
    ASSERT_NE(modes.select, nullptr);

    Centres none;
    object->reportSelectionCenters(none, kLate, node);
    object->reportSelectionFrames(none, kLate, node);
    EXPECT_TRUE(none.centres.empty());
    ASSERT_EQ(none.frames.size(), 1u);
    selectByLog({0, 1}, true, true);
    Centres two;
    object->reportSelectionCenters(two, kLate, node);
    ASSERT_EQ(two.centres.size(), 1u);
    expectNear(two.centres[0], Point3(10, 10, 0), 1e-5f); // boxes centred on (20, 0) and (0, 20)

    object->enterSubLevel(2, modes);
    EXPECT_TRUE(modes.move != nullptr && modes.rotate != nullptr && modes.select == nullptr);
    const Matrix3 identity(true);
    object->moveGizmo(0, identity, identity, Point3(5, 0, 0));
    object->rotateGizmo(0, identity, identity, Quat(AngAxis(Point3(0, 0, 1), 1.5707964f)), true);
    object->scaleGizmo(0, identity, identity, Point3(2, 2, 2), true);
    Centres gizmo;
    object->reportSelectionFrames(gizmo, 0, node);
    ASSERT_EQ(gizmo.frames.size(), 1u);
    expectNear(gizmo.frames[0].GetTrans(), Point3(5, 0, 0), 1e-4f);
    EXPECT_NEAR(gizmo.frames[0].GetRow(0).Length(), 2.0f, 1e-4f);
    EXPECT_NEAR(std::fabs(gizmo.frames[0].GetRow(0).y), 2.0f, 1e-4f); // x turned onto y
    wkCache_obj::DeleteCommandModes();
}

} // namespace
} // namespace objtest
