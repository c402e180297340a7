// The viewport as an object's display and hit testing see it: a graphics window (render limits,
// colours, materials, the transform, lines, markers, meshes, the hit region and hit code) inside
// a view that keeps the hit log.
//
// Both are per-call interfaces: the host hands a ViewExp to Display and HitTest, and the object
// keeps nothing of it beyond the call. Mesh::render and Mesh::select go through the window's
// renderMesh and selectMesh, so a window decides how a mesh is drawn or picked.
#pragma once

#include "host/Matrix3.h"
#include "host/Point.h"

#include <cstdint>
#include <deque>

class INode;
class Mesh;
class ModContext;

// Render limits, one bit each.
inline constexpr std::uint32_t GW_WIREFRAME = 0x1;
inline constexpr std::uint32_t GW_ILLUM = 0x2;
inline constexpr std::uint32_t GW_FLAT = 0x4;
inline constexpr std::uint32_t GW_BACKCULL = 0x20;
inline constexpr std::uint32_t GW_PICK = 0x1000;
inline constexpr std::uint32_t GW_Z_BUFFER = 0x200000;
inline constexpr std::uint32_t GW_EDGES_ONLY = 0x800000;

// Colour slots of setColor.
enum ColorType : int { LINE_COLOR = 0, FILL_COLOR = 1, TEXT_COLOR = 2 };

// Entries of the user interface's colour table that objects use.
inline constexpr int COLOR_SELECTION = 0;
inline constexpr int COLOR_FROZEN = 2;

// Hit region types, and the meaning of `crossing` with a box.
inline constexpr int POINT_RGN = 1;
inline constexpr int RECT_RGN = 2;

// A display material: ambient, diffuse and specular colour (0 to 1 each).
struct Material {
    Point3 Ka;
    Point3 Kd;
    Point3 Ks;
};

// A screen rectangle in pixels, right and bottom included.
struct Rect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
};

// What hits: a point with `epsilon` pixels around it, or a box that hits by crossing (any part
// inside) or by window (everything inside).
struct HitRegion {
    int type = POINT_RGN;
    int crossing = 1;
    int epsilon = 4;
    IPoint2 pt;
    Rect rect;
};

// The region of a hit test: a point when `type` is POINT_RGN, else the box between points[0]
// and points[1].
void MakeHitRegion(HitRegion& region, int type, int crossing, int epsilon, const IPoint2* points);

// Marker shapes; the cache object draws hidden elements as type 4.
inline constexpr int DOT_MRKR = 4;

class GraphicsWindow {
public:
    virtual ~GraphicsWindow() = default;

    virtual std::uint32_t getRndLimits() const = 0;
    virtual void setRndLimits(std::uint32_t limits) = 0;
    // An entry of the user interface's colour table.
    virtual Point3 GetUIColor(int which) const = 0;
    virtual void setColor(ColorType type, const Point3& colour) = 0;
    virtual void setMaterial(const Material& material, int index = 0) = 0;
    virtual Material* getMaterial() = 0;
    // Object to world for what follows.
    virtual void setTransform(const Matrix3& tm) = 0;

    // ct points, joined by lines; `closed` joins the last to the first.
    virtual void polyline(int ct, const Point3* xyz, bool closed) = 0;
    // A marker run: the markers between the two calls are one batch. In a hit test the run
    // answers whether any marker hit.
    virtual void startMarkers() = 0;
    virtual void marker(const Point3& xyz, int type) = 0;
    virtual bool endMarkers() = 0;

    virtual void setHitRegion(const HitRegion& region) = 0;
    virtual void clearHitCode() = 0;
    virtual bool checkHitCode() const = 0;
    // The distance of the last hit, in the window's depth units (smaller is nearer).
    virtual std::uint32_t getHitDistance() const = 0;

    // What Mesh::render and Mesh::select do. `damage` (null: everything) limits the redraw;
    // `compFlags` picks the parts drawn. selectMesh answers whether the mesh is in `region`;
    // with abortOnHit the first hit ends the walk.
    virtual void renderMesh(Mesh& mesh, const Material* materials, int numMaterials,
                            const Rect* damage, int compFlags) = 0;
    virtual bool selectMesh(Mesh& mesh, const Material* materials, int numMaterials,
                            const HitRegion& region, bool abortOnHit) = 0;
};

// One logged hit of a sub-object hit test; `hitInfo` is what the object put there (the cache
// object: the element index).
struct HitRecord {
    INode* nodeRef = nullptr;
    ModContext* modContext = nullptr;
    std::uint32_t distance = 0;
    std::uint32_t hitInfo = 0;
    HitRecord* next = nullptr;

    HitRecord* Next() const { return next; }
};

// The hits of one test, in the order they were logged; First() heads the linked list.
class HitLog {
public:
    void LogHit(INode* node, ModContext* context, std::uint32_t distance, std::uint32_t info);
    void Clear() { hits.clear(); }
    HitRecord* First() { return hits.empty() ? nullptr : &hits.front(); }
    int Count() const { return static_cast<int>(hits.size()); }

private:
    std::deque<HitRecord> hits; // a deque keeps the links valid as it grows
};

// A viewport: its graphics window and the log of sub-object hits.
class ViewExp {
public:
    virtual ~ViewExp() = default;
    virtual GraphicsWindow& getGW() = 0;
    virtual HitLog& GetSubObjHitList() = 0;
    // The part of the window that needs drawing again.
    virtual Rect GetDamageRect() const = 0;
    // The 3D point under the mouse, snapped; a viewport without snaps answers the mouse
    // position on the construction plane.
    virtual Point3 SnapPoint(const IPoint2& m) {
        return Point3(static_cast<float>(m.x), static_cast<float>(m.y), 0.0f);
    }
    void LogHit(INode* node, ModContext* context, std::uint32_t distance, std::uint32_t info) {
        GetSubObjHitList().LogHit(node, context, distance, info);
    }
};
