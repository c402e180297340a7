// The cache object's icon: a reel (a drum on a hub) in a square band, with three fins and a
// ring of teeth. Each part is one smoothing group, 1 to 5.
#include "object/wkCache_obj.h"

#include <cmath>

namespace {

class IconBuilder {
public:
    IconBuilder(Mesh& mesh_, float size_) : mesh(mesh_), size(size_) {}

    // An n-sided prism about z: side quads and fan caps; only outline edges are visible.
    void prism(int n, float radius, float z0, float z1, float phase, std::uint32_t group,
               bool caps) {
        const int base = verts;
        for (int ring = 0; ring < 2; ++ring)
            for (int i = 0; i < n; ++i) {
                const float a = phase + 6.2831855f * static_cast<float>(i) / static_cast<float>(n);
                vert(radius * std::cos(a), radius * std::sin(a), ring == 0 ? z0 : z1);
            }
        for (int i = 0; i < n; ++i) {
            const int b0 = base + i, b1 = base + (i + 1) % n;
            const int t0 = b0 + n, t1 = b1 + n;
            face(b0, b1, t1, group, 1, 1, 0);
            face(b0, t1, t0, group, 0, 1, 1);
        }
        if (!caps)
            return;
        for (int i = 1; i < n - 1; ++i) {
            face(base, base + i + 1, base + i, group, i == n - 2, 1, i == 1);
            face(base + n, base + n + i, base + n + i + 1, group, i == 1, 1, i == n - 2);
        }
    }
    // A flat quad from four corners, as two triangles.
    void quad(const Point3 (&c)[4], std::uint32_t group) {
        const int base = verts;
        for (const Point3& p : c)
            vert(p.x, p.y, p.z);
        face(base, base + 1, base + 2, group, 1, 1, 0);
        face(base, base + 2, base + 3, group, 0, 1, 1);
    }
    void triangle(const Point3& a, const Point3& b, const Point3& c, std::uint32_t group) {
        const int base = verts;
        vert(a.x, a.y, a.z);
        vert(b.x, b.y, b.z);
        vert(c.x, c.y, c.z);
        face(base, base + 1, base + 2, group, 1, 1, 1);
    }

private:
    void vert(float x, float y, float z) { mesh.setVert(verts++, Point3(x, y, z) * size); }
    void face(int a, int b, int c, std::uint32_t group, int ea, int eb, int ec) {
        Face& f = mesh.getFace(faces++);
        f.setVerts(static_cast<std::uint32_t>(a), static_cast<std::uint32_t>(b),
                   static_cast<std::uint32_t>(c));
        f.setSmGroup(1u << (group - 1));
        f.setEdgeVisFlags(ea, eb, ec);
    }

    Mesh& mesh;
    float size;
    int verts = 0;
    int faces = 0;
};

} // namespace

std::unique_ptr<Mesh> wkCache_obj::BuildIconMesh(float size) {
    auto icon = std::make_unique<Mesh>();
    if (size < 0.0f)
        return icon;
    icon->setNumVerts(104);
    icon->setNumFaces(114);
    IconBuilder b(*icon, size);
    b.prism(16, 0.5f, 0.0f, 0.25f, 0.0f, 1, true);    // drum: 32 vertices, 60 faces
    b.prism(8, 0.15f, -0.1f, 0.4f, 0.3926991f, 2, true); // hub: 16, 28
    b.prism(4, 0.85f, 0.05f, 0.2f, 0.7853982f, 3, false); // band: 8, 8
    for (int i = 0; i < 3; ++i) {                      // fins: 12, 6
        const float a = 2.0943952f * static_cast<float>(i);
        const float c = std::cos(a), s = std::sin(a);
        b.quad({{c * 0.15f, s * 0.15f, 0.25f},
                {c * 0.45f, s * 0.45f, 0.25f},
                {c * 0.45f, s * 0.45f, 0.55f},
                {c * 0.15f, s * 0.15f, 0.7f}},
               4);
    }
    for (int i = 0; i < 12; ++i) { // teeth: 36, 12
        const float a0 = 0.5235988f * static_cast<float>(i);
        const float a1 = a0 + 0.2617994f;
        const float am = a0 + 0.1308997f;
        b.triangle({std::cos(a0) * 0.5f, std::sin(a0) * 0.5f, 0.125f},
                   {std::cos(am) * 0.65f, std::sin(am) * 0.65f, 0.125f},
                   {std::cos(a1) * 0.5f, std::sin(a1) * 0.5f, 0.125f}, 5);
    }
    return icon;
}
