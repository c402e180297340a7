// Pictures of the headless viewport: colours at known pixels, what must stay background, and
// one picture per view of a fixed scene against a stored reference. WKCACHE_UPDATE_REFERENCES=1
// writes the references anew (look at them before committing).
#include "cachefile/wkCacheReader.h"
#include "host/headless/HeadlessGraphicsWindow.h"
#include "tests/object/CacheObjectFixture.h"
#include "tools/png_io.h"

#include <cmath>
#include <cstdlib>
#include <fstream>

namespace {

const Point3 kBackground{0.1f, 0.1f, 0.1f};
const Material kRed{{0.3f, 0, 0}, {0.8f, 0.2f, 0.1f}, {1, 1, 1}};
const Material kBlue{{0, 0, 0.3f}, {0.1f, 0.3f, 0.9f}, {1, 1, 1}};

Mesh BoxMesh(const Box3& box, MtlID id = 0) {
    Mesh mesh;
    mesh.setNumVerts(8);
    mesh.setNumFaces(12);
    WelkardTools::wkCacheReader::buildBoxMesh(box, mesh, 0, 0, 0);
    for (int f = 0; f < 12; ++f)
        mesh.getFace(f).setMatID(id);
    return mesh;
}

void expectColour(const Point3& pixel, const Point3& colour, float tolerance = 1.5f / 255.0f) {
    EXPECT_NEAR(pixel.x, colour.x, tolerance);
    EXPECT_NEAR(pixel.y, colour.y, tolerance);
    EXPECT_NEAR(pixel.z, colour.z, tolerance);
}

TEST(RenderImage, BoxCentreHasItsMaterialColourInEachFlatView) {
    const Box3 bounds({-1, -1, -1}, {1, 1, 1});
    for (HeadlessView view : {HeadlessView::Front, HeadlessView::Top, HeadlessView::Left}) {
        HeadlessGraphicsWindow gw(160, 120);
        gw.SetCamera(FrameBounds(view, bounds, 160, 120));
        gw.Clear(kBackground);
        Mesh box = BoxMesh(bounds);
        gw.setTransform(Matrix3(true));
        box.render(&gw, &kRed, nullptr, 255, 1);
        float x = 0, y = 0;
        ASSERT_TRUE(gw.Project(bounds.Center(), x, y));
        expectColour(gw.Pixel(static_cast<int>(x), static_cast<int>(y)), kRed.Kd);
        expectColour(gw.Pixel(2, 2), kBackground); // outside the box

        // Hidden faces are skipped, so nothing covers the centre.
        gw.Clear(kBackground);
        for (int f = 0; f < box.getNumFaces(); ++f)
            box.getFace(f).flags |= FACE_HIDDEN;
        box.render(&gw, &kRed, nullptr, 255, 1);
        expectColour(gw.Pixel(static_cast<int>(x), static_cast<int>(y)), kBackground);
    }
}

TEST(RenderImage, NothingBehindTheCameraIsDrawn) {
    // Eye one unit above an endless floor, looking level: the floor fills the lower half only;
    // its part behind the eye, projected without clipping, would turn up in the upper half.
    HeadlessCamera cam;
    cam.worldToView = Inverse(Matrix3({1, 0, 0}, {0, 0, 1}, {0, -1, 0}, {0, 0, 1}));
    HeadlessGraphicsWindow gw(160, 120);
    gw.SetCamera(cam);
    gw.Clear(kBackground);
    Mesh floor;
    floor.setNumVerts(4);
    floor.setNumFaces(2);
    const Point3 corners[4] = {{-50, -50, 0}, {50, -50, 0}, {50, 50, 0}, {-50, 50, 0}};
    for (int v = 0; v < 4; ++v)
        floor.setVert(v, corners[v]);
    floor.getFace(0).setVerts(0, 1, 2);
    floor.getFace(1).setVerts(0, 2, 3);
    gw.setTransform(Matrix3(true));
    floor.render(&gw, &kBlue, nullptr, 255, 1);
    for (int x = 0; x < 160; x += 8)
        for (int y = 0; y < 56; y += 4)
            expectColour(gw.Pixel(x, y), kBackground);
    EXPECT_GT(gw.Pixel(80, 110).z, 0.15f); // the floor below, blue at a grazing light
}

class RenderObjectImage : public objtest::CacheObjectTest {};

TEST_F(RenderObjectImage, WireEdgesOfASelectedObjectAreTheSelectionColour) {
    useFile(path);
    auto& n = static_cast<HeadlessNode&>(*node);
    n.SetWireColor(0x0000FF);
    n.SetSelected(true);
    HeadlessGraphicsWindow gw(160, 120);
    HeadlessViewExp vpt(gw);
    gw.SetCamera(FrameBounds(HeadlessView::Top, Box3({-2, -2, -1}, {24, 24, 1}), 160, 120));
    gw.setRndLimits(gw.getRndLimits() | GW_WIREFRAME);
    gw.Clear(kBackground);
    object->Display(320, node, &vpt, 0);
    int selected = 0, wire = 0;
    for (int y = 0; y < 120; ++y)
        for (int x = 0; x < 160; ++x) {
            const Point3 p = gw.Pixel(x, y);
            selected += p == gw.GetUIColor(COLOR_SELECTION);
            wire += p == Point3(1, 0, 0);
        }
    EXPECT_GT(selected, 20);
    EXPECT_EQ(wire, 0);
}

// The fixed scene: two boxes of two materials on one mesh, a line and markers.
wkcli::RgbImage DrawFixedScene(HeadlessView view) {
    Mesh mesh = BoxMesh(Box3({-1, -1, 0}, {1, 1, 2}), 0);
    const Mesh second = BoxMesh(Box3({1.5f, -0.5f, 0}, {2.5f, 0.5f, 3}), 1);
    mesh.setNumVerts(16, true);
    mesh.setNumFaces(24, true);
    for (int v = 0; v < 8; ++v)
        mesh.setVert(8 + v, second.getVert(v));
    for (int f = 0; f < 12; ++f) {
        Face face = second.getFace(f);
        face.setVerts(face.v[0] + 8, face.v[1] + 8, face.v[2] + 8);
        mesh.getFace(12 + f) = face;
    }
    const Material materials[2] = {kRed, kBlue};
    HeadlessGraphicsWindow gw(160, 120);
    gw.SetCamera(FrameBounds(view, Box3({-1, -1, 0}, {2.5f, 1, 3}), 160, 120));
    gw.Clear(kBackground);
    gw.setTransform(Matrix3(true));
    mesh.render(&gw, materials, nullptr, 255, 2);
    gw.setColor(LINE_COLOR, Point3(1, 1, 0));
    const Point3 line[3] = {{-1, -1, 2.5f}, {2.5f, 1, 3}, {2.5f, -1, 0.2f}};
    gw.polyline(3, line, true);
    gw.startMarkers();
    gw.marker(Point3(-1, 1, 0), DOT_MRKR);
    gw.endMarkers();
    return {gw.Width(), gw.Height(), gw.Pixels()};
}

TEST(RenderImage, EachViewMatchesItsReference) {
    const struct {
        HeadlessView view;
        const char* name;
    } views[] = {{HeadlessView::Perspective, "persp"},
                 {HeadlessView::Front, "front"},
                 {HeadlessView::Top, "top"},
                 {HeadlessView::Left, "left"}};
    const bool update = std::getenv("WKCACHE_UPDATE_REFERENCES") != nullptr;
    for (const auto& v : views) {
        const std::string file =
            std::string(WKCACHE_SOURCE_DIR) + "/tests/tools/reference/" + v.name + ".png";
        const wkcli::RgbImage image = DrawFixedScene(v.view);
        if (update) {
            std::ofstream out(file, std::ios::binary);
            wkcli::WritePng(out, image);
        }
        const wkcli::RgbImage reference = wkcli::ReadPng(file);
        ASSERT_EQ(reference.width, image.width) << v.name;
        ASSERT_EQ(reference.height, image.height) << v.name;
        // Rounding may move an edge by a pixel: a few pixels may differ, none by a lot inside.
        int off = 0;
        for (std::size_t i = 0; i < image.rgb.size(); ++i)
            off += std::abs(image.rgb[i] - reference.rgb[i]) > 6;
        EXPECT_LE(off, static_cast<int>(image.rgb.size() / 500)) << v.name;
    }
}

} // namespace
