// The headless scene: node transforms and visibility, the objects by kind, deletion with undo,
// the reference questions, and the scriptable services (hold, assets, user interface, plug-in
// loader).
#include "host/Host.h"
#include "host/headless/HeadlessFloatControl.h"
#include "host/headless/HeadlessHost.h"
#include "host/headless/HeadlessObjects.h"
#include "host/headless/HeadlessPrimitives.h"
#include "tests/cachefile/CacheBuilder.h"
#include "tests/host/string_printers.h"

#include "tests/host/expect_point.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <numbers>

namespace {

constexpr float kPi = std::numbers::pi_v<float>;

class HeadlessSceneTest : public ::testing::Test {
protected:
    HeadlessHost host;
    HeadlessScene& scene = host.Nodes();
};

TEST_F(HeadlessSceneTest, NodeTransformIsScaleRotationPositionTimesTheParent) {
    HeadlessNode* parent = scene.CreateNode(L"parent");
    HeadlessNode* child = scene.CreateNode(L"child");
    child->SetParent(parent);
    parent->Position().AddKey(0, Point3(0, 10, 0));
    parent->Rotation().AddKey(0, Quat(AngAxis(Point3(0, 0, 1), kPi / 2)));
    child->Position().AddKey(0, Point3(1, 0, 0));
    child->Scale().AddKey(0, Point3(2, 2, 2));

    const Matrix3 parentTM = parent->GetNodeTM(0);
    EXPECT_EQ(child->GetNodeTM(0), child->GetLocalTM(0) * parentTM);
    // A point on the child's x axis: scaled, moved by the child, then turned and moved by the
    // parent.
    const Point3 local(1, 0, 0);
    expectNear(local * child->GetNodeTM(0), (Point3(3, 0, 0)) * parentTM);
    EXPECT_EQ(child->GetParentNode(), parent);
    ASSERT_EQ(parent->Children().size(), 1u);

    EXPECT_THROW(parent->SetParent(child), std::invalid_argument);
    EXPECT_EQ(parent->GetParentNode(), nullptr);
}

TEST_F(HeadlessSceneTest, ObjectTransformPutsTheOffsetInFrontOfTheNodeTransform) {
    HeadlessNode* node = scene.CreateNode(L"n");
    node->Position().AddKey(0, Point3(5, 0, 0));
    node->SetObjOffsetPos(Point3(0, 0, 2));
    node->SetObjOffsetScale(ScaleValue(Point3(3, 3, 3)));
    expectNear(Point3(1, 0, 0) * node->GetObjectTM(0), Point3(8, 0, 2));
    // Children follow the node transform, not the object offset.
    HeadlessNode* child = scene.CreateNode(L"c");
    child->SetParent(node);
    expectNear(Point3() * child->GetNodeTM(0), Point3(5, 0, 0));
}

// Runs of times (as a recording asks for them) give each time's transform, and a parent kept
// for its children's runs is evaluated again after any change to the keys or links above them.
TEST_F(HeadlessSceneTest, RunsOfTimesGiveEachTimesTransformAndFollowEveryChange) {
    HeadlessNode* top = scene.CreateNode(L"top");
    top->Position().AddKey(0, Point3(0, 0, 0));
    top->Position().AddKey(400, Point3(5, 1, 0));
    top->Rotation().AddKey(0, Quat());
    top->Rotation().AddKey(300, Quat(AngAxis(Point3(0, 1, 0), 2.5f)));
    HeadlessNode* middle = scene.CreateNode(L"middle");
    middle->SetParent(top);
    middle->Rotation().SetInterpolation(KeyInterpolation::TCB);
    for (int k = 0; k < 4; ++k)
        middle->Rotation().AddKey(k * 100,
                                  Quat(AngAxis(Point3(1, 0, 1), 0.7f * static_cast<float>(k))));
    HeadlessNode* child = scene.CreateNode(L"child");
    child->SetParent(middle);
    child->Scale().AddKey(50, Point3(1, 2, 3));
    child->Scale().AddKey(250, Point3(2, 1, 1));
    child->SetObjOffsetPos(Point3(0, 0, 2));
    // More than one run, before the first key, after the last, and going back.
    std::vector<TimeValue> times;
    for (TimeValue t = -40; t <= 460; t += 25)
        times.push_back(t);
    times.push_back(120);

    const std::function<void()> changes[] = {
        [] {},
        [&] { top->Position().AddKey(200, Point3(-3, 0, 9)); },
        [&] { middle->Rotation().SetInterpolation(KeyInterpolation::Linear); },
        [&] { top->Rotation().ClearKeys(); },
        [&] { middle->SetParent(nullptr); },
        [&] { child->SetParent(top); },
    };
    for (std::size_t c = 0; c < std::size(changes); ++c) {
        SCOPED_TRACE(c);
        changes[c]();
        for (HeadlessNode* node : {top, middle, child}) {
            std::vector<Matrix3> run(times.size());
            node->GetObjectTMs(times.data(), static_cast<int>(times.size()), run.data());
            for (std::size_t k = 0; k < times.size(); ++k)
                EXPECT_EQ(run[k], node->GetObjectTM(times[k])) << times[k];
        }
    }
}

TEST_F(HeadlessSceneTest, VisibilityIsTheTrackTimesTheParentsWhenInherited) {
    HeadlessNode* parent = scene.CreateNode(L"parent");
    HeadlessNode* child = scene.CreateNode(L"child");
    child->SetParent(parent);
    EXPECT_EQ(child->GetVisibility(0), 1.0f);
    parent->Visibility().AddKey(0, 0.5f);
    child->Visibility().AddKey(0, 0.5f);
    EXPECT_EQ(child->GetVisibility(0), 0.25f);
    EXPECT_EQ(child->GetLocalVisibility(0), 0.5f);
    child->SetInheritVisibility(false);
    EXPECT_EQ(child->GetVisibility(0), 0.5f);
    // Hiding is not visibility.
    child->SetHidden(true);
    EXPECT_EQ(child->GetVisibility(0), 0.5f);
    EXPECT_EQ(child->EvalWorldState(0, false).obj, nullptr);

    // Runs of times (more than one run, before, between and after the keys) give each time's
    // visibility, inherited or local, with a track, a controller or neither above.
    HeadlessNode* grandchild = scene.CreateNode(L"grandchild");
    grandchild->SetParent(child);
    grandchild->Visibility().AddKey(100, 0.25f);
    grandchild->Visibility().AddKey(500, 2.0f);
    parent->Visibility().AddKey(300, -1.0f);
    auto control = std::make_unique<HeadlessFloatControl>();
    control->SetKey(0, 0.75f);
    control->SetKey(400, 0.125f);
    std::vector<TimeValue> times;
    for (TimeValue t = -40; t <= 600; t += 20)
        times.push_back(t);
    for (const bool childInherits : {true, false}) {
        child->SetInheritVisibility(childInherits);
        if (!childInherits)
            child->SetVisController(std::move(control));
        for (HeadlessNode* node : {parent, child, grandchild}) {
            for (const bool inherited : {true, false}) {
                std::vector<float> run(times.size());
                node->GetVisibilities(times.data(), static_cast<int>(times.size()), inherited,
                                      run.data());
                for (std::size_t k = 0; k < times.size(); ++k)
                    EXPECT_EQ(run[k], inherited ? node->GetVisibility(times[k])
                                                : node->GetLocalVisibility(times[k]))
                        << node->GetName().ToCStr().str() << " at " << times[k];
            }
        }
    }
}

TEST_F(HeadlessSceneTest, DeformingMeshBlendsItsKeysAndHandsOutNewMeshes) {
    Mesh base = MakePlaneMesh(2, 2, 1, 1);
    auto* object = scene.Add(std::make_unique<HeadlessDeformingMesh>(base));
    std::vector<Point3> up(4, Point3(0, 0, 0));
    std::vector<Point3> high(4, Point3(0, 0, 10));
    object->AddKey(0, up);
    object->AddKey(100, high);
    EXPECT_THROW(object->AddKey(50, std::vector<Point3>(3)), std::invalid_argument);
    EXPECT_EQ(object->MeshAt(25).getVert(2), Point3(0, 0, 2.5f));
    EXPECT_EQ(object->MeshAt(-10).getVert(0), Point3());
    EXPECT_EQ(object->MeshAt(500).getVert(0), Point3(0, 0, 10));

    View view;
    const RenderMesh rendered = object->GetRenderMesh(50, nullptr, view);
    ASSERT_NE(rendered.owned, nullptr);
    EXPECT_EQ(rendered.mesh, rendered.owned.get());
    EXPECT_EQ(rendered.mesh->getVert(1), Point3(0, 0, 5));
    const TriObjectConversion converted = object->ConvertToTriMesh(50);
    ASSERT_NE(converted.temporary, nullptr);
    EXPECT_EQ(converted.object->GetMesh().getNumFaces(), 2);
}

TEST_F(HeadlessSceneTest, TopologyMeshSwitchesStatesAndLendsItsRenderMesh) {
    auto* object = scene.Add(std::make_unique<HeadlessTopologyMesh>());
    EXPECT_EQ(object->MeshAt(0).getNumFaces(), 0);
    object->AddState(100, MakePlaneMesh(1, 1, 2, 2));
    object->AddState(0, MakeBoxMesh(1, 1, 1));
    EXPECT_EQ(object->MeshAt(-50).getNumFaces(), 12);
    EXPECT_EQ(object->MeshAt(99).getNumFaces(), 12);
    EXPECT_EQ(object->MeshAt(100).getNumFaces(), 8);
    View view;
    const RenderMesh rendered = object->GetRenderMesh(100, nullptr, view);
    EXPECT_EQ(rendered.owned, nullptr);
    EXPECT_EQ(rendered.mesh, &object->MeshAt(100));
}

TEST_F(HeadlessSceneTest, SplineShapeGivesATubeACapOrOnlyPoints) {
    const std::vector<Point3> square{{0, 0, 0}, {4, 0, 0}, {4, 4, 0}, {0, 4, 0}};
    HeadlessSplineShape closed(square, true);
    closed.SetTube(1.0f, 6);
    EXPECT_EQ(closed.TubeMesh().getNumVerts(), 24);
    EXPECT_EQ(closed.TubeMesh().getNumFaces(), 48);
    EXPECT_EQ(closed.CapMesh().getNumFaces(), 4);
    HeadlessSplineShape open(square, false);
    open.SetTube(1.0f, 6);
    EXPECT_EQ(open.TubeMesh().getNumFaces(), 36);
    EXPECT_EQ(open.CapMesh().getNumFaces(), 0);
    EXPECT_EQ(open.CapMesh().getNumVerts(), 4);
    // Every tube vertex lies at half the thickness from the spline's corner it belongs to.
    const Mesh tube = closed.TubeMesh();
    for (int v = 0; v < tube.getNumVerts(); ++v)
        EXPECT_NEAR((tube.getVert(v) - square[static_cast<std::size_t>(v / 6)]).Length(), 0.5f,
                    1e-5f);

    View view;
    EXPECT_EQ(open.GetRenderMesh(0, nullptr, view).mesh, nullptr);
    open.SetRenderable(true);
    EXPECT_NE(open.GetRenderMesh(0, nullptr, view).owned, nullptr);
    EXPECT_EQ(open.ConvertToTriMesh(0).object->GetMesh().getNumFaces(), 36);
    EXPECT_THROW(open.SetTube(0.0f, 6), std::invalid_argument);
    EXPECT_THROW(open.SetTube(1.0f, 2), std::invalid_argument);
}

TEST_F(HeadlessSceneTest, ObjectsWithoutGeometryNeverConvert) {
    HeadlessHelper helper;
    HeadlessCamera camera;
    HeadlessLight omni(HeadlessLight::Kind::Omni, 80.0f);
    HeadlessLight spot(HeadlessLight::Kind::Spot);
    for (SceneObject* object :
         std::initializer_list<SceneObject*>{&helper, &camera, &omni, &spot}) {
        EXPECT_FALSE(object->CanConvertToTriMesh());
        EXPECT_EQ(object->ConvertToTriMesh(0).object, nullptr);
    }
    EXPECT_EQ(omni.ClassID(), OMNI_LIGHT_CLASS_ID);
    EXPECT_EQ(spot.ClassID(), SPOT_LIGHT_CLASS_ID);
    EXPECT_EQ(omni.SuperClassID(), LIGHT_CLASS_ID);
    omni.FarAttenuation().AddKey(0, 10.0f);
    omni.FarAttenuation().AddKey(100, 30.0f);
    EXPECT_EQ(omni.GetFarAttenuation(50), 20.0f);
    EXPECT_EQ(spot.GetFarAttenuation(50), 200.0f);
}

TEST_F(HeadlessSceneTest, DeletingInsideAHoldCanBeUndoneAndRedone) {
    HeadlessNode* parent = scene.CreateNode(L"parent");
    HeadlessNode* node = scene.CreateNode(L"node");
    HeadlessNode* child = scene.CreateNode(L"child");
    node->SetParent(parent);
    child->SetParent(node);

    host.Hold().Begin();
    scene.DeleteNode(node);
    host.Hold().Accept(L"Delete");
    EXPECT_FALSE(scene.InScene(node));
    EXPECT_TRUE(node->TestAFlag(A_IS_DELETED));
    EXPECT_EQ(child->GetParentNode(), nullptr);
    EXPECT_EQ(scene.FindNode(L"node"), nullptr);
    ASSERT_EQ(host.Hold().NumUndoSteps(), 1);
    EXPECT_EQ(host.Hold().UndoStepName(0), WStr(L"Delete"));

    ASSERT_TRUE(host.Hold().Undo());
    EXPECT_TRUE(scene.InScene(node));
    EXPECT_FALSE(node->TestAFlag(A_IS_DELETED));
    EXPECT_EQ(node->GetParentNode(), parent);
    EXPECT_EQ(child->GetParentNode(), node);
    EXPECT_EQ(scene.Nodes()[1], node);

    ASSERT_TRUE(host.Hold().Redo());
    EXPECT_FALSE(scene.InScene(node));
}

TEST_F(HeadlessSceneTest, DeletingOutsideAHoldOrWhileSuspendedLeavesNothingToUndo) {
    HeadlessNode* a = scene.CreateNode(L"a");
    HeadlessNode* b = scene.CreateNode(L"b");
    scene.DeleteNode(a);
    host.Hold().Suspend();
    host.Hold().Begin();
    scene.DeleteNode(b);
    host.Hold().Accept(L"Delete tmp objects");
    host.Hold().Resume();
    EXPECT_EQ(host.Hold().NumUndoSteps(), 0);
    EXPECT_TRUE(scene.Nodes().empty());
    EXPECT_EQ(scene.RedrawRequests(), 2);
}

TEST_F(HeadlessSceneTest, ReferencesAreTheNodesThatHoldTheObject) {
    SceneObject* box = scene.AddObject(std::make_unique<TriObject>(MakeBoxMesh(1, 1, 1)));
    HeadlessNode* a = scene.CreateNode(L"a", box);
    HeadlessNode* other = scene.CreateNode(L"other");
    HeadlessNode* b = scene.CreateNode(L"b", box);
    EXPECT_EQ(scene.NodesReferencing(box), (std::vector<INode*>{a, b}));
    EXPECT_TRUE(scene.DependsOn(a, box));
    EXPECT_FALSE(scene.DependsOn(other, box));
    EXPECT_EQ(scene.TestForLoop(a, box), REF_FAIL);
    EXPECT_EQ(scene.TestForLoop(other, box), REF_SUCCEED);
    scene.DeleteNode(a);
    EXPECT_EQ(scene.NodesReferencing(box), (std::vector<INode*>{b}));
}

TEST(HeadlessUndoHold, StepsAreMadeOnlyOfRecordsKeptInTheOutermostHold) {
    struct Counter final : RestoreObj {
        int* value;
        explicit Counter(int* v) : value(v) {}
        void Restore(bool) override { --*value; }
        void Redo() override { ++*value; }
    };
    HeadlessUndoHold hold;
    int value = 0;
    hold.Begin();
    EXPECT_TRUE(hold.Holding());
    hold.Accept(L"empty");
    EXPECT_EQ(hold.NumUndoSteps(), 0);

    hold.Begin();
    hold.Begin();
    ++value;
    hold.Put(std::make_unique<Counter>(&value));
    hold.Accept(L"inner");
    EXPECT_EQ(hold.NumUndoSteps(), 0);
    hold.Accept(L"outer");
    ASSERT_EQ(hold.NumUndoSteps(), 1);
    EXPECT_EQ(hold.UndoStepName(0), WStr(L"outer"));

    hold.Suspend();
    hold.Begin();
    EXPECT_FALSE(hold.Holding());
    hold.Put(std::make_unique<Counter>(&value));
    hold.Accept(L"suspended");
    hold.Resume();
    EXPECT_EQ(hold.NumUndoSteps(), 1);

    hold.Begin();
    ++value;
    hold.Put(std::make_unique<Counter>(&value));
    hold.Cancel();
    EXPECT_EQ(value, 1);
    EXPECT_EQ(hold.Depth(), 0);

    // A cancelled inner hold undoes only what was put since its own Begin: the outer hold
    // keeps its records and accepts them as its step.
    hold.Begin();
    ++value;
    hold.Put(std::make_unique<Counter>(&value));
    hold.Begin();
    ++value;
    hold.Put(std::make_unique<Counter>(&value));
    hold.Cancel();
    EXPECT_EQ(value, 2);
    EXPECT_TRUE(hold.Holding());
    hold.Accept(L"kept");
    ASSERT_EQ(hold.NumUndoSteps(), 2);
    EXPECT_EQ(hold.UndoStepName(1), WStr(L"kept"));
    EXPECT_TRUE(hold.Undo());
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(hold.Undo());
    EXPECT_EQ(value, 0);
    EXPECT_FALSE(hold.Undo());

    // A nested cancel takes back the inner hold's records only; the outer hold goes on.
    hold.Begin();
    ++value;
    hold.Put(std::make_unique<Counter>(&value));
    hold.Begin();
    value += 10;
    for (int i = 0; i < 10; ++i)
        hold.Put(std::make_unique<Counter>(&value));
    hold.Cancel();
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(hold.Holding());
    hold.Accept(L"outer kept");
    ASSERT_EQ(hold.NumUndoSteps(), 1);
    EXPECT_TRUE(hold.Undo());
    EXPECT_EQ(value, 0);
}

TEST(HeadlessAssets, NamesResolveAgainstTheWorkingDirectoryWhenTheirFolderExists) {
    HeadlessAssets assets;
    WStr path;
    EXPECT_TRUE(assets.GetAsset(WStr(), kAssetTypeCache).IsNull());
    EXPECT_FALSE(assets.GetFullFilePath(AssetUser(), path));
    const AssetUser relative = assets.GetAsset(L"some/../new.wkc", kAssetTypeCache);
    EXPECT_EQ(relative.GetType(), kAssetTypeCache);
    ASSERT_TRUE(assets.GetFullFilePath(relative, path));
    EXPECT_EQ(path, WStr::FromUTF8((std::filesystem::current_path() / "new.wkc").string()));
    EXPECT_FALSE(assets.GetFullFilePath(assets.GetAsset(L"no-such-folder-here/x.wkc", 4), path));
    EXPECT_FALSE(assets.GetFullFilePath(assets.GetAsset(L"folder/", 4), path));
}

TEST(HeadlessUserInterface, AnswersComeFromTheQueueThenTheHandlerThenTheSafeDefault) {
    HeadlessUserInterface ui;
    ui.QueueMessageBoxAnswer(IDYES);
    EXPECT_EQ(ui.MessageBox(L"q", L"t", MB_YESNO), IDYES);
    EXPECT_EQ(ui.MessageBox(L"q", L"t", MB_YESNO), IDNO);
    EXPECT_EQ(ui.MessageBox(L"note", L"t", MB_OK | MB_ICONEXCLAMATION), IDOK);
    ui.SetMessageHandler([](const WStr&, const WStr&, unsigned) { return IDCANCEL; });
    EXPECT_EQ(ui.MessageBox(L"q", L"t", MB_YESNO), IDCANCEL);
    ASSERT_EQ(ui.Messages().size(), 4u);
    EXPECT_EQ(ui.Messages()[2].text, WStr(L"note"));

    ui.PressEscapeAt(2);
    EXPECT_FALSE(ui.EscapePressed());
    EXPECT_FALSE(ui.EscapePressed());
    EXPECT_TRUE(ui.EscapePressed());
    EXPECT_FALSE(ui.EscapePressed());

    ui.PushTempPrompt(L"Writing", 1000);
    EXPECT_EQ(ui.CurrentPrompt(), WStr(L"Writing"));
    ui.RemoveTempPrompt();
    EXPECT_TRUE(ui.CurrentPrompt().IsEmpty());
    EXPECT_EQ(ui.Prompts().size(), 1u);
    // A long session keeps the latest prompts only.
    const std::size_t kept = HeadlessUserInterface::kKeptPrompts;
    for (std::size_t i = 0; i < kept + 10; ++i)
        ui.PushTempPrompt(WStr(std::to_wstring(i)), 0);
    ASSERT_EQ(ui.Prompts().size(), kept);
    EXPECT_EQ(ui.Prompts().front(), WStr(L"10")); // "Writing" and 0 to 9 went
    EXPECT_EQ(ui.Prompts().back(), WStr(std::to_wstring(kept + 9)));
}

TEST(HeadlessPluginLoader, AnEmptyOrMissingPathLoadsNothing) {
    HeadlessPluginLoader loader;
    EXPECT_FALSE(loader.LoadSibling(WStr()));
    EXPECT_FALSE(loader.LoadSibling(L"plugins/WKSolid-does-not-exist.so"));
    EXPECT_FALSE(loader.SiblingLoaded());
    EXPECT_EQ(loader.GetSiblingExport("Get_SD_SOLID_Exploded"), nullptr);
    EXPECT_EQ(loader.LoadAttempts(), 2);
}

} // namespace
