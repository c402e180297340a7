// The headless viewport: a graphics window that records every call in order (the draw list
// that tests read) and draws into an RGB image with a depth buffer, and a ViewExp around it.
//
// Drawing: triangles are depth-buffered and shaded by their smoothing-group normals under a
// light at the eye, in the material of their material id; in wire mode (render limit bit 0)
// the edges of faces that are not hidden are drawn in the line colour, only the visible ones
// when GW_EDGES_ONLY is on. Lines and markers use the line colour. Everything is clipped at the
// camera's near plane, so what lies behind the camera is never drawn.
//
// Picking: while the limits hold GW_PICK, meshes and markers are tested against the hit region
// instead of drawn. A point hits what covers a pixel within `epsilon` of it; a crossing box
// hits what overlaps it; a window box needs every vertex (of faces not hidden) inside.
#pragma once

#include "host/Box3.h"
#include "host/GraphicsWindow.h"
#include "host/Time.h"

#include <cstdint>
#include <vector>

class INode;

// Where the viewport looks from. View space: x right, y up, the camera looking down -z.
struct HeadlessCamera {
    Matrix3 worldToView{true};
    bool perspective = true;
    float fov = 0.7853982f; // radians, across the smaller side of the image
    float pixelsPerUnit = 1.0f; // orthographic views
    float nearClip = 0.1f;
};

// The named views: front looks along +y, top down -z, left along +x, each framing `bounds`;
// the perspective view looks at them from the front, left and above.
enum class HeadlessView { Perspective, Front, Top, Left };
HeadlessCamera FrameBounds(HeadlessView view, const Box3& bounds, int width, int height);
// A scene camera: the node's transform places it, looking down its -z.
HeadlessCamera CameraFromNode(INode& node, TimeValue t, const Box3& bounds);

class HeadlessGraphicsWindow final : public GraphicsWindow {
public:
    enum class Call {
        Limits, Color, Material, Transform, Polyline, StartMarkers, Marker, EndMarkers,
        HitRegion, ClearHitCode, RenderMesh, SelectMesh
    };
    // One recorded call; the fields that the call does not set keep their defaults.
    struct Record {
        Call call = Call::Limits;
        std::uint32_t limits = 0;    // Limits: the new limits; meshes: the limits in force
        Point3 colour;               // Color: the line colour; meshes: the line colour in force
        Matrix3 tm{true};            // Transform; meshes and markers: the one in force
        std::vector<Point3> points;  // Polyline, Marker
        int markerType = 0;
        int numVerts = 0;            // RenderMesh, SelectMesh
        int numFaces = 0;
        int numMaterials = 0;
        Material material;           // Material; meshes: the first one given
        bool damage = false;
        int compFlags = 0;
        bool result = false;         // SelectMesh, EndMarkers in a pick
    };

    HeadlessGraphicsWindow(int width, int height);

    // ---- Set-up
    void SetCamera(const HeadlessCamera& camera) { cam = camera; }
    const HeadlessCamera& Camera() const { return cam; }
    // The colour table: 0 selection (white), 2 frozen (grey) unless set.
    void SetUIColor(int which, const Point3& colour);
    // Fills the image and empties the depth buffer and the draw list.
    void Clear(const Point3& background);

    // ---- What was drawn
    const std::vector<Record>& DrawList() const { return records; }
    int Width() const { return width; }
    int Height() const { return height; }
    // 8-bit RGB, rows from the top.
    const std::vector<std::uint8_t>& Pixels() const { return rgb; }
    Point3 Pixel(int x, int y) const;
    // Screen position of a world point; false behind the near plane.
    bool Project(const Point3& world, float& x, float& y) const;

    // ---- GraphicsWindow
    std::uint32_t getRndLimits() const override { return limits; }
    void setRndLimits(std::uint32_t value) override;
    Point3 GetUIColor(int which) const override;
    void setColor(ColorType type, const Point3& colour) override;
    void setMaterial(const Material& material, int index = 0) override;
    Material* getMaterial() override { return &current; }
    void setTransform(const Matrix3& tm) override;
    void polyline(int ct, const Point3* xyz, bool closed) override;
    void startMarkers() override;
    void marker(const Point3& xyz, int type) override;
    bool endMarkers() override;
    void setHitRegion(const HitRegion& region) override;
    void clearHitCode() override;
    bool checkHitCode() const override { return hitCode; }
    std::uint32_t getHitDistance() const override { return hitDistance; }
    void renderMesh(Mesh& mesh, const Material* materials, int numMaterials, const Rect* damage,
                    int compFlags) override;
    bool selectMesh(Mesh& mesh, const Material* materials, int numMaterials,
                    const HitRegion& region, bool abortOnHit) override;

private:
    // A point in view space, and on the screen (x, y in pixels, key larger when nearer).
    struct Screen {
        float x, y, key;
    };
    Point3 toView(const Point3& object) const;
    Screen toScreen(const Point3& view) const;
    bool picking() const { return (limits & GW_PICK) != 0; }
    void record(Record r);
    void drawTriangle(const Point3 (&view)[3], const Point3 (&colour)[3], const Rect& clip);
    void drawLine(const Point3& a, const Point3& b, const Point3& colour, const Rect& clip);
    void plot(int x, int y, float key, const Point3& colour, float bias);
    // Pick tests in screen space against the region.
    bool hitTriangle(const Point3 (&view)[3], const HitRegion& region, float& depth) const;
    void noteHit(float depth);

    int width;
    int height;
    HeadlessCamera cam;
    std::vector<std::uint8_t> rgb;
    std::vector<float> depth;
    std::vector<Record> records;
    Point3 uiColors[8];

    std::uint32_t limits = GW_Z_BUFFER | GW_ILLUM | GW_EDGES_ONLY;
    Point3 lineColour{1.0f, 1.0f, 1.0f};
    Material current;
    Matrix3 objectToView{true};
    Matrix3 objectTM{true};
    HitRegion hitRegion;
    bool hitCode = false;
    std::uint32_t hitDistance = 0;
    bool markerHit = false;
};

// A viewport around a headless window: the hit log and a damage rectangle of the whole image.
class HeadlessViewExp final : public ViewExp {
public:
    explicit HeadlessViewExp(HeadlessGraphicsWindow& window_) : window(window_) {}
    GraphicsWindow& getGW() override { return window; }
    HitLog& GetSubObjHitList() override { return hits; }
    Rect GetDamageRect() const override {
        return {0, 0, window.Width() - 1, window.Height() - 1};
    }

private:
    HeadlessGraphicsWindow& window;
    HitLog hits;
};
