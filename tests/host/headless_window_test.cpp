// Picking in the headless viewport: what counts as a hit of a mesh under a point or a box.
#include "cachefile/wkCacheReader.h"
#include "host/Mesh.h"
#include "host/headless/HeadlessGraphicsWindow.h"

#include <gtest/gtest.h>

namespace {

// A box turned a quarter of a right angle about z, seen from the top: a diamond on the screen,
// whose side faces are seen edge-on as its outline. Only what the diamond covers is a hit, not
// the corners of the square around it.
TEST(HeadlessPick, EdgeOnFacesHitOnlyAlongTheirLine) {
    Mesh box;
    box.setNumVerts(8);
    box.setNumFaces(12);
    WelkardTools::wkCacheReader::buildBoxMesh(Box3({-10, -10, -10}, {10, 10, 10}), box, 0, 0, 0);
    HeadlessGraphicsWindow gw(200, 200);
    gw.SetCamera(FrameBounds(HeadlessView::Top, Box3({-30, -30, -1}, {30, 30, 1}), 200, 200));
    gw.setTransform(RotateZMatrix(0.7853982f));
    gw.setRndLimits(gw.getRndLimits() | GW_PICK);
    const auto pick = [&](const Point3& world, int type, int crossing) {
        float x = 0, y = 0;
        EXPECT_TRUE(gw.Project(world, x, y));
        const IPoint2 p{static_cast<int>(x), static_cast<int>(y)};
        const IPoint2 corners[2] = {{p.x - 2, p.y - 2}, {p.x + 2, p.y + 2}};
        HitRegion region;
        MakeHitRegion(region, type, crossing, 1, type == POINT_RGN ? &p : corners);
        gw.clearHitCode();
        return box.select(&gw, gw.getMaterial(), &region, false, 1);
    };
    struct Case {
        Point3 at;
        bool hit;
    } cases[] = {
        {{0, 0, 0}, true},        // the centre
        {{13, 0, 0}, true},       // inside, near the right tip at 14.1
        {{10, 10, 0}, false},     // the corner of the square around the diamond
        {{-9, -9, 0}, false},     // outside, near the lower left side
        {{7.07f, 7.07f, 0}, true} // on the upper right side
    };
    for (const Case& c : cases) {
        EXPECT_EQ(pick(c.at, POINT_RGN, 0), c.hit) << c.at.x << ", " << c.at.y;
        EXPECT_EQ(pick(c.at, RECT_RGN, 1), c.hit) << c.at.x << ", " << c.at.y << " crossing";
    }
}

} // namespace
