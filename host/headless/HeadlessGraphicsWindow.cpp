#include "host/headless/HeadlessGraphicsWindow.h"

#include "host/INode.h"
#include "host/Mesh.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr float kNoDepth = -std::numeric_limits<float>::infinity();

float Dot(const Point3& a, const Point3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
Point3 Cross(const Point3& a, const Point3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

// A clipped vertex: view position and colour.
struct ClipVert {
    Point3 p;
    Point3 c;
};

// Cuts the polygon at the near plane (view z = -nearClip); a polygon of three vertices gives at
// most four.
int ClipNear(const ClipVert* in, int n, float nearClip, ClipVert* out) {
    int m = 0;
    for (int i = 0; i < n; ++i) {
        const ClipVert& a = in[i];
        const ClipVert& b = in[(i + 1) % n];
        const float da = -a.p.z - nearClip;
        const float db = -b.p.z - nearClip;
        if (da >= 0.0f)
            out[m++] = a;
        if ((da >= 0.0f) != (db >= 0.0f)) {
            const float s = da / (da - db);
            out[m++] = {a.p + (b.p - a.p) * s, a.c + (b.c - a.c) * s};
        }
    }
    return m;
}

float Edge(float ax, float ay, float bx, float by, float px, float py) {
    return (bx - ax) * (py - ay) - (by - ay) * (px - ax);
}

std::uint8_t ToByte(float v) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(v, 0.0f, 1.0f) * 255.0f));
}

Rect RegionRect(const HitRegion& region) {
    if (region.type == POINT_RGN)
        return {region.pt.x - region.epsilon, region.pt.y - region.epsilon,
                region.pt.x + region.epsilon, region.pt.y + region.epsilon};
    return region.rect;
}

bool Inside(const Rect& r, float x, float y) {
    return x >= static_cast<float>(r.left) && x <= static_cast<float>(r.right) + 1.0f &&
           y >= static_cast<float>(r.top) && y <= static_cast<float>(r.bottom) + 1.0f;
}

// Whether the screen triangle overlaps the rectangle (separating axes).
bool TriangleOverlapsRect(const float (&x)[3], const float (&y)[3], const Rect& r) {
    const float l = static_cast<float>(r.left), t = static_cast<float>(r.top);
    const float rr = static_cast<float>(r.right) + 1.0f, b = static_cast<float>(r.bottom) + 1.0f;
    if (std::max({x[0], x[1], x[2]}) < l || std::min({x[0], x[1], x[2]}) > rr ||
        std::max({y[0], y[1], y[2]}) < t || std::min({y[0], y[1], y[2]}) > b)
        return false;
    const float area = Edge(x[0], y[0], x[1], y[1], x[2], y[2]);
    const float cx[4] = {l, rr, rr, l}, cy[4] = {t, t, b, b};
    if (area == 0.0f) {
        // A face seen edge-on is a segment: it misses when the rectangle lies wholly on one side
        // of its line. Its box alone would hit all around a diagonal outline.
        int a = 0, e = 1;
        float longest = -1.0f;
        for (int i = 0; i < 3; ++i) {
            const int j = (i + 1) % 3;
            const float d = (x[j] - x[i]) * (x[j] - x[i]) + (y[j] - y[i]) * (y[j] - y[i]);
            if (d > longest) {
                longest = d;
                a = i;
                e = j;
            }
        }
        if (longest == 0.0f)
            return true; // a point, inside the rectangle's box
        bool below = false, above = false;
        for (int c = 0; c < 4; ++c) {
            const float side = Edge(x[a], y[a], x[e], y[e], cx[c], cy[c]);
            below = below || side <= 0.0f;
            above = above || side >= 0.0f;
        }
        return below && above;
    }
    for (int e = 0; e < 3; ++e) {
        const int f = (e + 1) % 3;
        bool allOutside = true;
        for (int c = 0; c < 4 && allOutside; ++c)
            allOutside = Edge(x[e], y[e], x[f], y[f], cx[c], cy[c]) * area < 0.0f;
        if (allOutside)
            return false;
    }
    return true;
}

} // namespace

// ---- Cameras

namespace {

HeadlessCamera LookAlong(const Point3& zAxis, const Point3& up, const Point3& centre, float dist) {
    const Point3 z = Normalize(zAxis);
    const Point3 x = Normalize(Cross(up, z));
    const Point3 y = Cross(z, x);
    const Matrix3 cameraTM(x, y, z, centre + z * dist);
    HeadlessCamera cam;
    cam.worldToView = Inverse(cameraTM);
    return cam;
}

} // namespace

HeadlessCamera FrameBounds(HeadlessView view, const Box3& bounds, int width, int height) {
    const bool empty = bounds.IsEmpty();
    const Point3 centre = empty ? Point3() : bounds.Center();
    const float radius = empty ? 50.0f : std::max(bounds.Width().Length() * 0.5f, 1e-3f);
    const Point3 up(0.0f, 0.0f, 1.0f);
    HeadlessCamera cam;
    switch (view) {
    case HeadlessView::Perspective: {
        const float fov = 0.7853982f;
        const float dist = radius / std::sin(fov * 0.5f) * 1.05f;
        cam = LookAlong(Point3(-0.6f, -1.0f, 0.7f), up, centre, dist);
        cam.fov = fov;
        cam.nearClip = dist * 0.01f;
        return cam;
    }
    case HeadlessView::Front:
        cam = LookAlong(Point3(0.0f, -1.0f, 0.0f), up, centre, radius * 3.0f);
        break;
    case HeadlessView::Top:
        cam = LookAlong(Point3(0.0f, 0.0f, 1.0f), Point3(0.0f, 1.0f, 0.0f), centre, radius * 3.0f);
        break;
    case HeadlessView::Left:
        cam = LookAlong(Point3(-1.0f, 0.0f, 0.0f), up, centre, radius * 3.0f);
        break;
    }
    cam.perspective = false;
    cam.pixelsPerUnit = static_cast<float>(std::min(width, height)) / (radius * 2.1f);
    return cam;
}

HeadlessCamera CameraFromNode(INode& node, TimeValue t, const Box3& bounds) {
    HeadlessCamera cam;
    cam.worldToView = Inverse(node.GetNodeTM(t));
    const float radius = bounds.IsEmpty() ? 50.0f : bounds.Width().Length() * 0.5f;
    cam.nearClip = std::max(radius * 1e-3f, 1e-3f);
    return cam;
}

// ---- The window

HeadlessGraphicsWindow::HeadlessGraphicsWindow(int width_, int height_)
    : width(std::max(width_, 1)), height(std::max(height_, 1)),
      rgb(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3, 0),
      depth(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), kNoDepth) {
    uiColors[COLOR_SELECTION] = {1.0f, 1.0f, 1.0f};
    uiColors[COLOR_FROZEN] = {0.5f, 0.5f, 0.5f};
}

void HeadlessGraphicsWindow::SetUIColor(int which, const Point3& colour) {
    if (which >= 0 && which < 8)
        uiColors[which] = colour;
}

Point3 HeadlessGraphicsWindow::GetUIColor(int which) const {
    return which >= 0 && which < 8 ? uiColors[which] : Point3();
}

void HeadlessGraphicsWindow::Clear(const Point3& background) {
    for (std::size_t i = 0; i < depth.size(); ++i) {
        rgb[i * 3] = ToByte(background.x);
        rgb[i * 3 + 1] = ToByte(background.y);
        rgb[i * 3 + 2] = ToByte(background.z);
    }
    std::fill(depth.begin(), depth.end(), kNoDepth);
    records.clear();
}

Point3 HeadlessGraphicsWindow::Pixel(int x, int y) const {
    const std::size_t i = (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                           static_cast<std::size_t>(x)) *
                          3;
    return {rgb[i] / 255.0f, rgb[i + 1] / 255.0f, rgb[i + 2] / 255.0f};
}

Point3 HeadlessGraphicsWindow::toView(const Point3& object) const {
    return object * objectToView;
}

HeadlessGraphicsWindow::Screen HeadlessGraphicsWindow::toScreen(const Point3& v) const {
    const float cx = static_cast<float>(width) * 0.5f;
    const float cy = static_cast<float>(height) * 0.5f;
    if (!cam.perspective)
        return {cx + v.x * cam.pixelsPerUnit, cy - v.y * cam.pixelsPerUnit, v.z};
    const float f = static_cast<float>(std::min(width, height)) * 0.5f / std::tan(cam.fov * 0.5f);
    const float d = -v.z;
    return {cx + v.x / d * f, cy - v.y / d * f, 1.0f / d};
}

bool HeadlessGraphicsWindow::Project(const Point3& world, float& x, float& y) const {
    const Point3 v = world * cam.worldToView;
    if (cam.perspective && -v.z < cam.nearClip)
        return false;
    const Screen s = toScreen(v);
    x = s.x;
    y = s.y;
    return true;
}

void HeadlessGraphicsWindow::record(Record r) {
    records.push_back(std::move(r));
}

void HeadlessGraphicsWindow::setRndLimits(std::uint32_t value) {
    limits = value;
    Record r;
    r.call = Call::Limits;
    r.limits = value;
    record(std::move(r));
}

void HeadlessGraphicsWindow::setColor(ColorType type, const Point3& colour) {
    if (type != LINE_COLOR)
        return;
    lineColour = colour;
    Record r;
    r.call = Call::Color;
    r.colour = colour;
    record(std::move(r));
}

void HeadlessGraphicsWindow::setMaterial(const Material& material, int) {
    current = material;
    Record r;
    r.call = Call::Material;
    r.material = material;
    record(std::move(r));
}

void HeadlessGraphicsWindow::setTransform(const Matrix3& tm) {
    objectTM = tm;
    objectToView = tm * cam.worldToView;
    Record r;
    r.call = Call::Transform;
    r.tm = tm;
    record(std::move(r));
}

void HeadlessGraphicsWindow::plot(int x, int y, float key, const Point3& colour, float bias) {
    const std::size_t i =
        static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
    if ((limits & GW_Z_BUFFER) != 0 && key + bias < depth[i])
        return;
    depth[i] = std::max(depth[i], key);
    rgb[i * 3] = ToByte(colour.x);
    rgb[i * 3 + 1] = ToByte(colour.y);
    rgb[i * 3 + 2] = ToByte(colour.z);
}

void HeadlessGraphicsWindow::drawTriangle(const Point3 (&view)[3], const Point3 (&colour)[3],
                                          const Rect& clip) {
    const ClipVert in[3] = {{view[0], colour[0]}, {view[1], colour[1]}, {view[2], colour[2]}};
    ClipVert poly[4];
    const int n =
        cam.perspective ? ClipNear(in, 3, cam.nearClip, poly) : (std::copy(in, in + 3, poly), 3);
    Screen s[4];
    for (int i = 0; i < n; ++i)
        s[i] = toScreen(poly[i].p);
    for (int k = 1; k + 1 < n; ++k) {
        const int idx[3] = {0, k, k + 1};
        const Screen& a = s[0];
        const Screen& b = s[k];
        const Screen& c = s[k + 1];
        const float area = Edge(a.x, a.y, b.x, b.y, c.x, c.y);
        if (std::fabs(area) < 1e-9f)
            continue;
        const int x0 = std::max(clip.left, static_cast<int>(std::floor(std::min({a.x, b.x, c.x}))));
        const int x1 = std::min(clip.right, static_cast<int>(std::ceil(std::max({a.x, b.x, c.x}))));
        const int y0 = std::max(clip.top, static_cast<int>(std::floor(std::min({a.y, b.y, c.y}))));
        const int y1 =
            std::min(clip.bottom, static_cast<int>(std::ceil(std::max({a.y, b.y, c.y}))));
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x) {
                const float px = static_cast<float>(x) + 0.5f, py = static_cast<float>(y) + 0.5f;
                const float w0 = Edge(b.x, b.y, c.x, c.y, px, py) / area;
                const float w1 = Edge(c.x, c.y, a.x, a.y, px, py) / area;
                const float w2 = 1.0f - w0 - w1;
                if (w0 < 0.0f || w1 < 0.0f || w2 < 0.0f)
                    continue;
                const float key = a.key * w0 + b.key * w1 + c.key * w2;
                const Point3 col = poly[idx[0]].c * w0 + poly[idx[1]].c * w1 + poly[idx[2]].c * w2;
                plot(x, y, key, col, 0.0f);
            }
    }
}

void HeadlessGraphicsWindow::drawLine(const Point3& a, const Point3& b, const Point3& colour,
                                      const Rect& clip) {
    Point3 p = a, q = b;
    if (cam.perspective) {
        const float da = -p.z - cam.nearClip, db = -q.z - cam.nearClip;
        if (da < 0.0f && db < 0.0f)
            return;
        if (da < 0.0f)
            p = p + (q - p) * (da / (da - db));
        else if (db < 0.0f)
            q = q + (p - q) * (db / (db - da));
    }
    const Screen s = toScreen(p), e = toScreen(q);
    const float steps = std::ceil(std::max(std::fabs(e.x - s.x), std::fabs(e.y - s.y)));
    // Long lines far off the screen are walked only across the screen's size.
    const int n = static_cast<int>(std::min(steps, 4.0f * static_cast<float>(width + height)));
    for (int i = 0; i <= n; ++i) {
        const float u = n == 0 ? 0.0f : static_cast<float>(i) / static_cast<float>(n);
        const int x = static_cast<int>(std::floor(s.x + (e.x - s.x) * u));
        const int y = static_cast<int>(std::floor(s.y + (e.y - s.y) * u));
        if (x < clip.left || x > clip.right || y < clip.top || y > clip.bottom)
            continue;
        const float key = s.key + (e.key - s.key) * u;
        // Lines on a surface win against it.
        plot(x, y, key, colour, std::fabs(key) * 2e-3f + (cam.perspective ? 0.0f : 1e-3f));
    }
}

void HeadlessGraphicsWindow::polyline(int ct, const Point3* xyz, bool closed) {
    Record r;
    r.call = Call::Polyline;
    r.points.assign(xyz, xyz + ct);
    r.colour = lineColour;
    r.tm = objectTM;
    record(std::move(r));
    if (picking())
        return;
    const Rect all{0, 0, width - 1, height - 1};
    for (int i = 0; i + 1 < ct; ++i)
        drawLine(toView(xyz[i]), toView(xyz[i + 1]), lineColour, all);
    if (closed && ct > 2)
        drawLine(toView(xyz[ct - 1]), toView(xyz[0]), lineColour, all);
}

void HeadlessGraphicsWindow::startMarkers() {
    markerHit = false;
    Record r;
    r.call = Call::StartMarkers;
    record(std::move(r));
}

void HeadlessGraphicsWindow::marker(const Point3& xyz, int type) {
    Record r;
    r.call = Call::Marker;
    r.points = {xyz};
    r.markerType = type;
    r.colour = lineColour;
    r.tm = objectTM;
    record(std::move(r));
    const Point3 v = toView(xyz);
    if (cam.perspective && -v.z < cam.nearClip)
        return;
    const Screen s = toScreen(v);
    if (picking()) {
        if (Inside(RegionRect(hitRegion), s.x, s.y)) {
            markerHit = true;
            noteHit(-v.z);
        }
        return;
    }
    // Markers stay on top of the geometry: no depth test.
    const int cx = static_cast<int>(std::floor(s.x)), cy = static_cast<int>(std::floor(s.y));
    for (int y = cy - 1; y <= cy + 1; ++y)
        for (int x = cx - 1; x <= cx + 1; ++x)
            if (x >= 0 && y >= 0 && x < width && y < height) {
                const std::size_t i =
                    (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                     static_cast<std::size_t>(x)) *
                    3;
                rgb[i] = ToByte(lineColour.x);
                rgb[i + 1] = ToByte(lineColour.y);
                rgb[i + 2] = ToByte(lineColour.z);
            }
}

bool HeadlessGraphicsWindow::endMarkers() {
    Record r;
    r.call = Call::EndMarkers;
    r.result = picking() && markerHit;
    record(std::move(r));
    return r.result;
}

void HeadlessGraphicsWindow::setHitRegion(const HitRegion& region) {
    hitRegion = region;
    Record r;
    r.call = Call::HitRegion;
    record(std::move(r));
}

void HeadlessGraphicsWindow::clearHitCode() {
    hitCode = false;
    hitDistance = std::numeric_limits<std::uint32_t>::max();
    Record r;
    r.call = Call::ClearHitCode;
    record(std::move(r));
}

void HeadlessGraphicsWindow::noteHit(float viewDepth) {
    // Depth in thousandths of a unit, saturated.
    const float scaled = std::clamp(viewDepth * 1000.0f, 0.0f, 4.0e9f);
    const auto distance = static_cast<std::uint32_t>(scaled);
    hitDistance = hitCode ? std::min(hitDistance, distance) : distance;
    hitCode = true;
}

HeadlessGraphicsWindow::Record HeadlessGraphicsWindow::meshRecord(Call call, const Mesh& mesh,
                                                                  const Material* materials,
                                                                  int numMaterials) const {
    Record r;
    r.call = call;
    r.limits = limits;
    r.tm = objectTM;
    r.numVerts = mesh.getNumVerts();
    r.numFaces = mesh.getNumFaces();
    r.numMaterials = numMaterials;
    r.material = materials != nullptr ? materials[0] : current;
    return r;
}

void HeadlessGraphicsWindow::renderMesh(Mesh& mesh, const Material* materials, int numMaterials,
                                        const Rect* damage, int compFlags) {
    Record r = meshRecord(Call::RenderMesh, mesh, materials, numMaterials);
    r.colour = lineColour;
    r.damage = damage != nullptr;
    r.compFlags = compFlags;
    record(std::move(r));
    if (picking())
        return;

    Rect clip{0, 0, width - 1, height - 1};
    if (damage != nullptr)
        clip = {std::max(clip.left, damage->left), std::max(clip.top, damage->top),
                std::min(clip.right, damage->right), std::min(clip.bottom, damage->bottom)};
    const bool wire = (limits & GW_WIREFRAME) != 0;
    const bool edgesOnly = (limits & GW_EDGES_ONLY) != 0;
    const bool cull = (limits & GW_BACKCULL) != 0;
    if (!wire)
        mesh.checkNormals();
    for (int f = 0; f < mesh.getNumFaces(); ++f) {
        Point3 view[3];
        if (!faceToView(mesh, f, view))
            continue;
        const Face& face = mesh.getFace(f);
        if (wire) {
            for (int e = 0; e < 3; ++e)
                if (!edgesOnly || face.getEdgeVis(e) == EDGE_VIS)
                    drawLine(view[e], view[(e + 1) % 3], lineColour, clip);
            continue;
        }
        const Point3 normal = Cross(view[1] - view[0], view[2] - view[0]);
        const Point3 toEye = cam.perspective ? view[0] * -1.0f : Point3(0.0f, 0.0f, 1.0f);
        if (cull && Dot(normal, toEye) <= 0.0f)
            continue;
        const Material& m = materials != nullptr && numMaterials > 0
                                ? materials[face.getMatID() % static_cast<unsigned>(numMaterials)]
                                : current;
        Point3 colour[3];
        for (int c = 0; c < 3; ++c) {
            const Point3 n = Normalize(VectorTransform(objectToView, mesh.getRenderNormal(f, c)));
            const Point3 l = cam.perspective ? Normalize(view[c] * -1.0f) : Point3(0, 0, 1);
            colour[c] = m.Kd * (0.2f + 0.8f * std::fabs(Dot(n, l)));
        }
        drawTriangle(view, colour, clip);
    }
}

bool HeadlessGraphicsWindow::faceToView(const Mesh& mesh, int f, Point3 (&view)[3]) const {
    const Face& face = mesh.getFace(f);
    const auto numVerts = static_cast<std::uint32_t>(mesh.getNumVerts());
    if (face.Hidden() || face.v[0] >= numVerts || face.v[1] >= numVerts || face.v[2] >= numVerts)
        return false;
    for (int c = 0; c < 3; ++c)
        view[c] = toView(mesh.getVert(static_cast<int>(face.v[c])));
    return true;
}

bool HeadlessGraphicsWindow::hitTriangle(const Point3 (&view)[3], const HitRegion& region,
                                         float& hitDepth) const {
    const ClipVert in[3] = {{view[0], {}}, {view[1], {}}, {view[2], {}}};
    ClipVert poly[4];
    const int n =
        cam.perspective ? ClipNear(in, 3, cam.nearClip, poly) : (std::copy(in, in + 3, poly), 3);
    const Rect r = RegionRect(region);
    for (int k = 1; k + 1 < n; ++k) {
        const Screen a = toScreen(poly[0].p), b = toScreen(poly[k].p), c = toScreen(poly[k + 1].p);
        const float x[3] = {a.x, b.x, c.x}, y[3] = {a.y, b.y, c.y};
        if (TriangleOverlapsRect(x, y, r)) {
            hitDepth = std::min({-poly[0].p.z, -poly[k].p.z, -poly[k + 1].p.z});
            return true;
        }
    }
    return false;
}

bool HeadlessGraphicsWindow::selectMesh(Mesh& mesh, const Material* materials, int numMaterials,
                                        const HitRegion& region, bool abortOnHit) {
    const bool window = region.type != POINT_RGN && !region.crossing;
    const Rect rect = RegionRect(region);
    bool hit = false;
    bool anyFace = false;
    bool allInside = true;
    float nearest = std::numeric_limits<float>::max();
    for (int f = 0; f < mesh.getNumFaces(); ++f) {
        Point3 view[3];
        if (!faceToView(mesh, f, view))
            continue;
        if (window) {
            anyFace = true;
            for (int c = 0; c < 3 && allInside; ++c) {
                const Screen s = toScreen(view[c]);
                allInside =
                    !(cam.perspective && -view[c].z < cam.nearClip) && Inside(rect, s.x, s.y);
                nearest = std::min(nearest, -view[c].z);
            }
            if (!allInside)
                break;
            continue;
        }
        float d = 0.0f;
        if (hitTriangle(view, region, d)) {
            hit = true;
            nearest = std::min(nearest, d);
            if (abortOnHit)
                break;
        }
    }
    if (window)
        hit = anyFace && allInside;
    if (hit)
        noteHit(nearest);
    Record r = meshRecord(Call::SelectMesh, mesh, materials, numMaterials);
    r.result = hit;
    record(std::move(r));
    return hit;
}
