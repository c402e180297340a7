// Scene files of the tool: what a file builds, and the error that names the key of each
// problem.
#include "tools/common/scene_file.h"

#include "host/headless/HeadlessObjects.h"
#include "tests/host/string_printers.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace wkcli;

namespace {

std::string scenePath(const char* name) {
    return std::string(WKCACHE_SOURCE_DIR) + "/tests/cli/scenes/" + name;
}

TEST(SceneFile, TheExampleSceneBuildsItsNodesObjectsAndCache) {
    HeadlessHost host;
    const LoadedScene loaded = LoadSceneFile(scenePath("falling_boxes.json"), host);
    HeadlessScene& scene = host.Nodes();
    ASSERT_EQ(scene.Nodes().size(), 5u);
    EXPECT_EQ(host.Time().GetAnimRange(), Interval(0, 6400));

    HeadlessNode* crate = scene.FindNode(L"Crate");
    ASSERT_NE(crate, nullptr);
    EXPECT_EQ(crate->GetObjectRef()->ClassID(), triObjectClassID);
    EXPECT_EQ(crate->Position().NumKeys(), 2);
    EXPECT_EQ(crate->Position().GetValue(1600), Point3(0, 0, 5));
    EXPECT_EQ(crate->Rotation().GetInterpolation(), KeyInterpolation::TCB);
    EXPECT_EQ(crate->Rotation().GetKey(1).tcb.easeIn, 0.5f);
    ASSERT_NE(crate->GetMtl(), nullptr);
    EXPECT_EQ(crate->GetMtl()->NumSubMtls(), 3);
    EXPECT_EQ(crate->GetMtl()->GetSubMtl(1), nullptr);
    EXPECT_EQ(crate->GetMtl()->GetSubMtl(2)->GetName(), WStr(L"Blue"));

    HeadlessNode* flag = scene.FindNode(L"Flag");
    EXPECT_EQ(flag->GetParentNode(), crate);
    EXPECT_EQ(flag->GetLocalVisibility(4960), 0.0f);
    auto* cloth = dynamic_cast<HeadlessDeformingMesh*>(flag->GetObjectRef());
    ASSERT_NE(cloth, nullptr);
    EXPECT_EQ(cloth->MeshAt(3200).getVert(3), Point3(0.5f, 0.5f, 0.5f));

    auto* rope = dynamic_cast<HeadlessSplineShape*>(scene.FindNode(L"Rope")->GetObjectRef());
    ASSERT_NE(rope, nullptr);
    EXPECT_TRUE(rope->GetRenderable());
    EXPECT_EQ(rope->TubeMesh().getNumVerts(), 18);

    ASSERT_EQ(loaded.cacheObjects.size(), 1u);
    EXPECT_EQ(loaded.cacheObjects[0].nodeName, "Recorder");
    const wkCache_obj& cache = *loaded.cacheObjects[0].object;
    EXPECT_EQ(cache.nodeCount(), 4);
    EXPECT_EQ(cache.nodeList()[3], scene.FindNode(L"Camera01"));
    EXPECT_EQ(cache.recordParams().recStep, 2.0f);
    EXPECT_EQ(cache.recordParams().recEnd, 40);
    EXPECT_TRUE(cache.recordParams().recWriteDeform);
    EXPECT_FALSE(cache.recordParams().recWriteTopology);
}

TEST(SceneFile, ClockSettingsAndExplicitMeshesAreTaken) {
    HeadlessHost host;
    const std::string text = R"({
      "wkcacheScene": 1, "frameRate": 25, "animationRange": [10, 20], "currentFrame": 12.5,
      "nodes": [{
        "name": "Tri", "wireColor": [255, 128, 0], "hidden": true, "inheritVisibility": false,
        "objectOffset": {"position": [0, 0, 1], "rotation": {"quat": [0, 0, 0, 2]}, "scale": [2, 2, 2]},
        "object": {"type": "mesh", "vertices": [[0, 0, 0], [1, 0, 0], [0, 1, 0]],
                   "faces": [{"v": [0, 1, 2], "matID": 7, "smGroup": 4294967295, "edges": [true, false, true]}],
                   "maps": {"3": {"vertices": [[0, 0, 0], [1, 1, 0]], "faces": [[0, 1, 1]]}}}
      }, {
        "name": "Lamp", "object": {"type": "omniLight", "farAttenuation": {"keys": [
          {"frame": 0, "value": 10}, {"frame": 10, "value": 20}]}}
      }]
    })";
    LoadSceneText(text, host);
    EXPECT_EQ(host.Time().GetFrameRate(), 25);
    EXPECT_EQ(host.Time().GetAnimRange(), Interval(1920, 3840));
    EXPECT_EQ(host.Time().GetTime(), 2400);
    HeadlessNode* tri = host.Nodes().FindNode(L"Tri");
    EXPECT_EQ(tri->GetWireColor(), 0x000080FFu);
    EXPECT_TRUE(tri->IsNodeHidden());
    EXPECT_FALSE(tri->GetInheritVisibility());
    EXPECT_EQ(tri->GetObjOffsetRot(), Quat());
    const Mesh& mesh = static_cast<TriObject*>(tri->GetObjectRef())->GetMesh();
    EXPECT_EQ(mesh.getFace(0).getMatID(), 7);
    EXPECT_EQ(mesh.getFace(0).getSmGroup(), 0xFFFFFFFFu);
    EXPECT_EQ(mesh.getFace(0).getEdgeVisFlags(), EDGE_A | EDGE_C);
    EXPECT_EQ(mesh.getNumMapVerts(3), 2);
    EXPECT_EQ(mesh.mapFaces(3)[0].getTVert(2), 1u);
    auto* lamp = dynamic_cast<LightObject*>(host.Nodes().FindNode(L"Lamp")->GetObjectRef());
    ASSERT_NE(lamp, nullptr);
    EXPECT_EQ(lamp->GetFarAttenuation(192 * 5), 15.0f);
}

struct BadScene {
    const char* json;
    const char* message;
    // Test names stay stable between runs instead of showing pointer bytes.
    friend void PrintTo(const BadScene& b, std::ostream* os) { *os << b.message; }
};

class SceneFileErrors : public ::testing::TestWithParam<BadScene> {};

TEST_P(SceneFileErrors, NameTheKey) {
    HeadlessHost host;
    try {
        LoadSceneText(GetParam().json, host);
        FAIL() << "accepted: " << GetParam().json;
    } catch (const SceneFileError& e) {
        EXPECT_NE(std::string(e.what()).find(GetParam().message), std::string::npos)
            << "message: " << e.what();
    }
}

// The whole file has no key to name: the message is the problem alone, without an empty path
// before it (the tool puts the file's name there).
TEST(SceneFile, ARootThatIsNoObjectIsSaidPlainly) {
    for (const char* text : {"[]", "3", "\"scene\""}) {
        HeadlessHost host;
        try {
            LoadSceneText(text, host);
            FAIL() << "accepted: " << text;
        } catch (const SceneFileError& e) {
            EXPECT_STREQ(e.what(), "expected an object") << text;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Problems, SceneFileErrors,
    ::testing::Values(
        BadScene{R"({"wkcacheScene": 1, "nodez": []})", "nodez: unknown key"},
        BadScene{R"({"nodes": []})", "wkcacheScene: missing"},
        BadScene{R"({"wkcacheScene": 2})", "wkcacheScene: format version 2 is not known"},
        BadScene{R"({"wkcacheScene": 1, "frameRate": 0})", "frameRate: must be 1 to 4800"},
        BadScene{R"({"wkcacheScene": 1, "animationRange": [5, 1]})",
                 "animationRange: the range ends before it starts"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"name": "A", "objekt": {}}]})",
                 "nodes[0].objekt: unknown key"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"position": [0, 0, 0]}]})",
                 "nodes[0].name: missing"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"name": "A", "position": [0, 0]}]})",
                 "nodes[0].position: expected an array of 3 numbers"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"name": "A", "position": {"keys": [
                   {"frame": 0, "value": [0, 0, 0]}, {"frame": 1, "value": [0, 0, 1], "tension": 2}]}}]})",
                 "nodes[0].position.keys[1].tension: must be -1 to 1"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"name": "A", "scale": {"interpolation": "cubic",
                   "keys": [{"frame": 0, "value": [1, 1, 1]}]}}]})",
                 "nodes[0].scale.interpolation: expected \"linear\" or \"tcb\""},
        BadScene{
            R"({"wkcacheScene": 1, "nodes": [{"name": "A", "rotation": {"axis": [0, 0, 0], "angle": 5}}]})",
            "nodes[0].rotation.axis: an axis cannot be zero"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"name": "A"}, {"name": "A"}]})",
                 "nodes[1].name: \"A\" names an earlier node already"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"name": "A", "parent": "X"}]})",
                 "nodes[0].parent: no node is named \"X\""},
        BadScene{
            R"({"wkcacheScene": 1, "nodes": [{"name": "A", "parent": "B"}, {"name": "B", "parent": "A"}]})",
            "nodes[1].parent: linking here would make a loop of parents"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"name": "A", "material": "Gold"}]})",
                 "nodes[0].material: no material \"Gold\" in \"materials\""},
        BadScene{
            R"({"wkcacheScene": 1, "materials": [{"name": "M", "subMaterials": ["B"]}, {"name": "B"}]})",
            "materials[0].subMaterials[0]: no material \"B\" defined before it"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"name": "A", "wireColor": [300, 0, 0]}]})",
                 "nodes[0].wireColor[0]: must be 0 to 255"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"name": "A", "object": {"type": "sphere"}}]})",
                 "nodes[0].object.type: unknown object type \"sphere\""},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"name": "A", "object": {"type": "mesh",
                   "vertices": [[0, 0, 0], [1, 0, 0], [0, 1, 0]], "faces": [[0, 1, 3]]}}]})",
                 "nodes[0].object.faces[0][2]: must be 0 to 2"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"name": "A", "object": {"type": "mesh",
                   "vertices": [[0, 0, 0], [1, 0, 0], [0, 1, 0]], "faces": [[0, 1, 2]],
                   "maps": {"x": {"vertices": [], "faces": []}}}}]})",
                 "nodes[0].object.maps.x: a channel is a number from 0 to 99"},
        BadScene{
            R"({"wkcacheScene": 1, "nodes": [{"name": "A", "object": {"type": "box", "width": -1}}]})",
            "nodes[0].object.width: must be above 0"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"name": "A", "object": {"type": "deformingMesh",
                   "mesh": {"type": "plane"}, "keys": [{"frame": 0, "vertices": [[0, 0, 0]]}]}}]})",
                 "nodes[0].object.keys[0].vertices: expected 4 points, got 1"},
        BadScene{
            R"({"wkcacheScene": 1, "nodes": [{"name": "A", "object": {"type": "topologyMesh", "states": []}}]})",
            "nodes[0].object.states: a topology mesh needs at least one state"},
        BadScene{
            R"({"wkcacheScene": 1, "nodes": [{"name": "A", "object": {"type": "shape", "points": [[0, 0, 0]]}}]})",
            "nodes[0].object.points: a shape needs at least 2 points"},
        BadScene{
            R"({"wkcacheScene": 1, "nodes": [{"name": "A", "object": {"type": "cache", "recStep": 0}}]})",
            "nodes[0].object.recStep: must be 0.001 to 999999"},
        BadScene{
            R"({"wkcacheScene": 1, "nodes": [{"name": "A", "object": {"type": "cache", "recEnd": 1.5}}]})",
            "nodes[0].object.recEnd: expected a whole number"},
        BadScene{
            R"({"wkcacheScene": 1, "nodes": [{"name": "A", "object": {"type": "cache", "nodes": ["A", "Q"]}}]})",
            "nodes[0].object.nodes[1]: no node is named \"Q\""},
        BadScene{
            R"({"wkcacheScene": 1, "nodes": [{"name": "A", "object": {"type": "camera", "fov": 45}}]})",
            "nodes[0].object.fov: unknown key"},
        BadScene{
            R"({"wkcacheScene": 1, "nodes": [{"name": "A", "position": {"keys": [{"frame": 1e12, "value": [0, 0, 0]}]}}]})",
            "nodes[0].position.keys[0].frame: beyond the range of time"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [
                   {"name": "A", "object": {"type": "plane", "segments": [1000, 1000]}},
                   {"name": "B", "object": {"type": "plane", "segments": [1000, 1000]}}]})",
                 "nodes[1].object: the scene's meshes would hold more than 4000000 vertices"},
        BadScene{R"({"wkcacheScene": 1, "nodes": [{"name": "A", "parent": "C"}, {"name": "B",
                   "parent": "A"}, {"name": "C", "parent": "B"}]})",
                 "linking here would make a loop of parents"},
        BadScene{R"({"wkcacheScene": 1, )", "not valid JSON: parse error at line 1"},
        BadScene{R"({"wkcacheScene": 2E400})", "not valid JSON: number overflow parsing '2E400'"}));

TEST(SceneFile, OnlyARegularFileOfASaneSizeIsRead) {
    const struct {
        const char* path;
        const char* message;
    } cases[] = {{"/no/such/scene.json", "no such file"},
                 {"/dev/zero", "is not a regular file"},
                 {"/", "is a folder"}};
    for (const auto& c : cases) {
        HeadlessHost host;
        try {
            LoadSceneFile(c.path, host);
            ADD_FAILURE() << "read " << c.path;
        } catch (const SceneFileError& e) {
            EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
        }
    }
}

} // namespace
