#include "host/headless/HeadlessObjects.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

// ---- HeadlessDeformingMesh

HeadlessDeformingMesh::HeadlessDeformingMesh(Mesh base_) : base(std::move(base_)) {}

void HeadlessDeformingMesh::AddKey(TimeValue time, std::vector<Point3> positions) {
    if (static_cast<int>(positions.size()) != base.getNumVerts())
        throw std::invalid_argument("a deformation key needs " +
                                    std::to_string(base.getNumVerts()) + " positions, got " +
                                    std::to_string(positions.size()));
    keys.Put(time, std::move(positions));
}

Mesh HeadlessDeformingMesh::MeshAt(TimeValue t) const {
    Mesh mesh = base;
    if (keys.Empty())
        return mesh;
    // The keys around t; the same key before the first and after the last.
    const int next = keys.FirstAfter(t);
    const auto& a = keys[std::max(next - 1, 0)];
    const auto& b = keys[std::min(next, keys.Count() - 1)];
    float u = 0.0f;
    if (&a != &b)
        u = static_cast<float>(static_cast<double>(static_cast<std::int64_t>(t) - a.time) /
                               static_cast<double>(static_cast<std::int64_t>(b.time) - a.time));
    for (int v = 0; v < mesh.getNumVerts(); ++v) {
        const Point3& from = a.value[static_cast<std::size_t>(v)];
        const Point3& to = b.value[static_cast<std::size_t>(v)];
        mesh.setVert(v, from + (to - from) * u);
    }
    mesh.InvalidateGeomCache();
    return mesh;
}

TriObjectConversion HeadlessDeformingMesh::ConvertToTriMesh(TimeValue t) {
    return TemporaryTriObject(MeshAt(t));
}

RenderMesh HeadlessDeformingMesh::GetRenderMesh(TimeValue t, INode*, View&) {
    return OwnedRenderMesh(MeshAt(t));
}

// ---- HeadlessTopologyMesh

void HeadlessTopologyMesh::AddState(TimeValue time, Mesh mesh) {
    states.Put(time, std::move(mesh));
}

const Mesh& HeadlessTopologyMesh::MeshAt(TimeValue t) const {
    if (states.Empty())
        return empty;
    return states[std::max(states.FirstAfter(t) - 1, 0)].value;
}

TriObjectConversion HeadlessTopologyMesh::ConvertToTriMesh(TimeValue t) {
    return TemporaryTriObject(MeshAt(t));
}

RenderMesh HeadlessTopologyMesh::GetRenderMesh(TimeValue t, INode*, View&) {
    return {&MeshAt(t), nullptr};
}

// ---- HeadlessSplineShape

HeadlessSplineShape::HeadlessSplineShape(std::vector<Point3> points_, bool closed_)
    : points(std::move(points_)), closed(closed_) {}

void HeadlessSplineShape::SetTube(float newThickness, int newSides) {
    if (!(newThickness > 0.0f) || newSides < 3)
        throw std::invalid_argument("a tube needs a thickness above 0 and at least 3 sides");
    thickness = newThickness;
    sides = newSides;
}

Mesh HeadlessSplineShape::TubeMesh() const {
    Mesh mesh;
    const int count = static_cast<int>(points.size());
    if (count < 2)
        return mesh;
    const int segments = closed ? count : count - 1;
    mesh.setNumVerts(count * sides);
    const float radius = thickness * 0.5f;
    for (int i = 0; i < count; ++i) {
        const Point3& prev =
            points[static_cast<std::size_t>(closed ? (i + count - 1) % count : std::max(i - 1, 0))];
        const Point3& next =
            points[static_cast<std::size_t>(closed ? (i + 1) % count : std::min(i + 1, count - 1))];
        const Point3 along = Normalize(next - prev);
        // Any axis across the spline will do; z unless the spline runs along it.
        const Point3 up = std::fabs(along.z) < 0.9f ? Point3(0, 0, 1) : Point3(1, 0, 0);
        const Point3 side = Normalize(CrossProd(along, up));
        const Point3 lift = CrossProd(side, along);
        for (int s = 0; s < sides; ++s) {
            const float angle = 2.0f * std::numbers::pi_v<float> * static_cast<float>(s) /
                                static_cast<float>(sides);
            mesh.setVert(i * sides + s,
                         points[static_cast<std::size_t>(i)] +
                             (side * std::cos(angle) + lift * std::sin(angle)) * radius);
        }
    }
    mesh.setNumFaces(segments * sides * 2);
    int face = 0;
    for (int i = 0; i < segments; ++i) {
        const int ring = i * sides;
        const int nextRing = ((i + 1) % count) * sides;
        for (int s = 0; s < sides; ++s) {
            const auto a = static_cast<std::uint32_t>(ring + s);
            const auto b = static_cast<std::uint32_t>(ring + (s + 1) % sides);
            const auto c = static_cast<std::uint32_t>(nextRing + (s + 1) % sides);
            const auto d = static_cast<std::uint32_t>(nextRing + s);
            Face& first = mesh.getFace(face++);
            first.setVerts(a, b, c);
            first.setEdgeVisFlags(EDGE_VIS, EDGE_VIS, EDGE_INVIS);
            first.setSmGroup(1);
            Face& second = mesh.getFace(face++);
            second.setVerts(c, d, a);
            second.setEdgeVisFlags(EDGE_VIS, EDGE_VIS, EDGE_INVIS);
            second.setSmGroup(1);
        }
    }
    return mesh;
}

Mesh HeadlessSplineShape::CapMesh() const {
    Mesh mesh;
    const int count = static_cast<int>(points.size());
    mesh.setNumVerts(count + (closed && count >= 3 ? 1 : 0));
    for (int i = 0; i < count; ++i)
        mesh.setVert(i, points[static_cast<std::size_t>(i)]);
    if (!closed || count < 3)
        return mesh; // an open spline encloses nothing: points only
    Point3 centre;
    for (const Point3& p : points)
        centre += p;
    mesh.setVert(count, centre / static_cast<float>(count));
    mesh.setNumFaces(count);
    for (int i = 0; i < count; ++i) {
        Face& face = mesh.getFace(i);
        face.setVerts(static_cast<std::uint32_t>(count), static_cast<std::uint32_t>(i),
                      static_cast<std::uint32_t>((i + 1) % count));
        face.setEdgeVisFlags(EDGE_INVIS, EDGE_VIS, EDGE_INVIS);
        face.setSmGroup(1);
    }
    return mesh;
}

TriObjectConversion HeadlessSplineShape::ConvertToTriMesh(TimeValue) {
    return TemporaryTriObject(renderable ? TubeMesh() : CapMesh());
}

RenderMesh HeadlessSplineShape::GetRenderMesh(TimeValue, INode*, View&) {
    if (!renderable)
        return {};
    return OwnedRenderMesh(TubeMesh());
}

// ---- HeadlessLight

HeadlessLight::HeadlessLight(Kind kind_, float far) : kind(kind_), farAttenuation(far) {}
