// A graphics window that keeps, in world space, what the cache object draws around its mesh:
// lines (the gizmo's circles, the edges of element boxes and of the icon) in their colours and
// markers (hidden elements). The browser draws these over the mesh, so the object's own display
// code decides what shows at each level. The cache mesh itself travels separately and is left
// out here.
#pragma once

#include "host/GraphicsWindow.h"
#include "host/Mesh.h"

#include <cstdint>
#include <vector>

namespace wkserve {

class OverlayWindow final : public GraphicsWindow {
public:
    struct Segment {
        Point3 a, b;
        std::uint32_t colour; // 0xRRGGBB
    };

    // `skip`: the mesh that is not part of the overlay.
    explicit OverlayWindow(const Mesh* skip) : skipped(skip) {}

    const std::vector<Segment>& Segments() const { return segments; }
    const std::vector<Point3>& Markers() const { return markers; }

    std::uint32_t getRndLimits() const override { return limits; }
    void setRndLimits(std::uint32_t value) override { limits = value; }
    Point3 GetUIColor(int which) const override;
    void setColor(ColorType type, const Point3& colour) override;
    void setMaterial(const Material& material, int) override { current = material; }
    Material* getMaterial() override { return &current; }
    void setTransform(const Matrix3& tm) override { transform = tm; }
    void polyline(int ct, const Point3* xyz, bool closed) override;
    void startMarkers() override {}
    void marker(const Point3& xyz, int) override { markers.push_back(xyz * transform); }
    bool endMarkers() override { return false; }
    void setHitRegion(const HitRegion&) override {}
    void clearHitCode() override {}
    bool checkHitCode() const override { return false; }
    std::uint32_t getHitDistance() const override { return 0; }
    void renderMesh(Mesh& mesh, const Material* materials, int numMaterials, const Rect*,
                    int) override;
    bool selectMesh(Mesh&, const Material*, int, const HitRegion&, bool) override { return false; }

private:
    void addSegment(const Point3& a, const Point3& b, std::uint32_t colour);

    const Mesh* skipped;
    std::uint32_t limits = 0;
    Point3 line{1.0f, 1.0f, 1.0f};
    Material current;
    Matrix3 transform{true};
    std::vector<Segment> segments;
    std::vector<Point3> markers;
};

// 0xRRGGBB of a colour with channels from 0 to 1.
std::uint32_t PackColour(const Point3& colour);

} // namespace wkserve

namespace wkserve {

// A view around the overlay window, for the object's Display.
class OverlayView final : public ViewExp {
public:
    explicit OverlayView(OverlayWindow& window_) : window(window_) {}
    GraphicsWindow& getGW() override { return window; }
    HitLog& GetSubObjHitList() override { return hits; }
    Rect GetDamageRect() const override { return {}; }

private:
    OverlayWindow& window;
    HitLog hits;
};

} // namespace wkserve
