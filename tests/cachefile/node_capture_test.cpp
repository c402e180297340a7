// Node capture: which objects give a mesh, by which road (render mesh or conversion), and what
// the copy looks like.
#include "cachefile/NodeCapture.h"
#include "tests/recording/RecordTestScene.h"

using namespace rectest;

namespace {

class NodeCaptureTest : public RecordTest {
protected:
    HeadlessNode* nodeOf(std::unique_ptr<SceneObject> object) {
        return scene.CreateNode(L"n", scene.AddObject(std::move(object)));
    }
    HeadlessSplineShape* square(HeadlessNode*& node, bool closed) {
        auto shape = std::make_unique<HeadlessSplineShape>(
            std::vector<Point3>{{0, 0, 0}, {4, 0, 0}, {4, 4, 0}, {0, 4, 0}}, closed);
        shape->SetTube(1.0f, 4);
        HeadlessSplineShape* raw = shape.get();
        node = nodeOf(std::move(shape));
        return raw;
    }
    NodeCapture capture;
};

TEST_F(NodeCaptureTest, HelpersCamerasAndLightsGiveNothing) {
    std::vector<std::unique_ptr<SceneObject>> objects;
    objects.push_back(std::make_unique<HeadlessHelper>());
    objects.push_back(std::make_unique<HeadlessCamera>());
    objects.push_back(std::make_unique<HeadlessLight>(HeadlessLight::Kind::Omni));
    for (auto& object : objects) {
        HeadlessNode* node = nodeOf(std::move(object));
        EXPECT_FALSE(CaptureNodeMesh(capture, node, 0, true));
        EXPECT_EQ(capture.node, node);
        EXPECT_EQ(capture.mesh, nullptr);
    }
    EXPECT_FALSE(CaptureNodeMesh(capture, scene.CreateNode(L"empty"), 0, true));
}

TEST_F(NodeCaptureTest, AMeshWithoutFacesGivesNothingOnEitherRoad) {
    Mesh points;
    points.setNumVerts(3);
    HeadlessNode* node = nodeOf(std::make_unique<TriObject>(points));
    EXPECT_FALSE(CaptureNodeMesh(capture, node, 0, true));
    EXPECT_FALSE(CaptureNodeMesh(capture, node, 0, false));
    // An open spline that does not render converts to its points alone.
    HeadlessNode* shapeNode = nullptr;
    square(shapeNode, false);
    EXPECT_FALSE(CaptureNodeMesh(capture, shapeNode, 0, true));
}

TEST_F(NodeCaptureTest, ABorrowedRenderMeshIsCopiedAndLeftAlone) {
    auto topology = std::make_unique<HeadlessTopologyMesh>();
    topology->AddState(0, MakeBoxMesh(1, 1, 1));
    const Mesh* own = &topology->MeshAt(0);
    HeadlessNode* node = nodeOf(std::move(topology));
    ASSERT_TRUE(CaptureNodeMesh(capture, node, 0, true));
    EXPECT_NE(capture.mesh.get(), own);
    capture.mesh->setVert(0, Point3(9, 9, 9));
    EXPECT_EQ(own->getVert(0), Point3(-0.5f, -0.5f, 0.0f));
    EXPECT_EQ(capture.mesh->getNumFaces(), 12);
}

TEST_F(NodeCaptureTest, TheCopyHasNoIsolatedVerticesOrMapVertices) {
    Mesh mesh = MakeBoxMesh(2, 2, 2);
    mesh.setNumVerts(10, true);      // two vertices no face uses
    mesh.setNumMapVerts(1, 6, true); // two map vertices no map face uses
    HeadlessNode* node = nodeOf(std::make_unique<TriObject>(mesh));
    ASSERT_TRUE(CaptureNodeMesh(capture, node, 0, true));
    EXPECT_EQ(capture.mesh->getNumVerts(), 8);
    EXPECT_EQ(capture.mesh->getNumMapVerts(1), 4);
    EXPECT_EQ(capture.matIdOffset, 0);
}

TEST_F(NodeCaptureTest, TheMeshIsTheObjectsAtTheTimeInItsOwnSpace) {
    HeadlessNode* node = wavingNode("w", 1.0f);
    node->Position().AddKey(0, Point3(100, 0, 0));
    ASSERT_TRUE(CaptureNodeMesh(capture, node, 320, true));
    EXPECT_EQ(capture.mesh->getVert(3).z, 2.0f * 3.0f);
    EXPECT_EQ(capture.mesh->getVert(3).x, -2.0f);
}

TEST_F(NodeCaptureTest, ShapeSwitchesChooseTheRoad) {
    HeadlessNode* node = nullptr;
    HeadlessSplineShape* shape = square(node, true);

    // Not renderable: converted, which for a closed spline is its cap.
    ASSERT_TRUE(CaptureNodeMesh(capture, node, 0, true));
    EXPECT_EQ(capture.mesh->getNumFaces(), 4);

    // Renderable, renderer settings: the render mesh, the tube.
    shape->SetRenderable(true);
    ASSERT_TRUE(CaptureNodeMesh(capture, node, 0, true));
    EXPECT_EQ(capture.mesh->getNumFaces(), 32);

    // Viewport settings without the render mesh shown: refused, even though it renders.
    shape->SetUseViewport(true);
    EXPECT_FALSE(CaptureNodeMesh(capture, node, 0, true));

    // Viewport settings showing the render mesh: converted.
    shape->SetDispRenderMesh(true);
    ASSERT_TRUE(CaptureNodeMesh(capture, node, 0, true));
    EXPECT_EQ(capture.mesh->getNumFaces(), 32);
    shape->SetRenderable(false);
    ASSERT_TRUE(CaptureNodeMesh(capture, node, 0, true));
    EXPECT_EQ(capture.mesh->getNumFaces(), 4);
}

// The vertices alone: the same nodes succeed and give the capture's vertices, on every road.
TEST_F(NodeCaptureTest, VerticesAloneAreTheCapturesVertices) {
    Mesh isolated = MakeBoxMesh(2, 2, 2);
    isolated.setNumVerts(10, true);
    isolated.getFace(3).setVerts(9, 1, 2); // 9 is used now, 8 is not
    Mesh points;
    points.setNumVerts(3);
    HeadlessNode* closed = nullptr;
    square(closed, true);
    HeadlessNode* open = nullptr;
    square(open, false);
    HeadlessNode* nodes[] = {nodeOf(std::make_unique<TriObject>(isolated)),
                             nodeOf(std::make_unique<TriObject>(points)),
                             nodeOf(std::make_unique<HeadlessHelper>()),
                             wavingNode("w", 1.0f),
                             closed,
                             open};
    for (HeadlessNode* node : nodes) {
        for (const bool useRenderMesh : {true, false}) {
            std::vector<Point3> verts(1);
            const bool captured = CaptureNodeMesh(capture, node, 320, useRenderMesh);
            ASSERT_EQ(CaptureNodeVertices(verts, node, 320, useRenderMesh), captured);
            const std::vector<Point3> expected =
                captured
                    ? std::vector<Point3>(capture.mesh->getVertPtr(0),
                                          capture.mesh->getVertPtr(0) + capture.mesh->getNumVerts())
                    : std::vector<Point3>();
            EXPECT_EQ(verts, expected) << node->GetName().ToCStr().str() << useRenderMesh;
        }
    }
}

} // namespace
