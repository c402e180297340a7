#include "host/headless/HeadlessObjects.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace {

// Puts `item` into `items`, kept in order of time; it replaces an item at the same time.
template <class T> void putAtTime(std::vector<T>& items, T item) {
    const auto at = std::lower_bound(items.begin(), items.end(), item.time,
                                     [](const T& x, TimeValue t) { return x.time < t; });
    if (at != items.end() && at->time == item.time)
        *at = std::move(item);
    else
        items.insert(at, std::move(item));
}

} // namespace

// ---- HeadlessDeformingMesh

HeadlessDeformingMesh::HeadlessDeformingMesh(Mesh base_) : base(std::move(base_)) {}

void HeadlessDeformingMesh::AddKey(TimeValue time, std::vector<Point3> positions) {
    if (static_cast<int>(positions.size()) != base.getNumVerts())
        throw std::invalid_argument("a deformation key needs " +
                                    std::to_string(base.getNumVerts()) + " positions, got " +
                                    std::to_string(positions.size()));
    putAtTime(keys, Key{time, std::move(positions)});
}

Mesh HeadlessDeformingMesh::MeshAt(TimeValue t) const {
    Mesh mesh = base;
    if (keys.empty())
        return mesh;
    const auto next = std::upper_bound(keys.begin(), keys.end(), t,
                                       [](TimeValue v, const Key& k) { return v < k.time; });
    const Key& a = next == keys.begin() ? *next : *(next - 1);
    const Key& b = next == keys.end() ? a : *next;
    float u = 0.0f;
    if (&a != &b)
        u = static_cast<float>(static_cast<double>(static_cast<std::int64_t>(t) - a.time) /
                               static_cast<double>(static_cast<std::int64_t>(b.time) - a.time));
    for (int v = 0; v < mesh.getNumVerts(); ++v) {
        const Point3& from = a.positions[static_cast<std::size_t>(v)];
        const Point3& to = b.positions[static_cast<std::size_t>(v)];
        mesh.setVert(v, from + (to - from) * u);
    }
    mesh.InvalidateGeomCache();
    return mesh;
}

TriObjectConversion HeadlessDeformingMesh::ConvertToTriMesh(TimeValue t) {
    auto temporary = std::make_unique<TriObject>(MeshAt(t));
    TriObject* object = temporary.get();
    return {object, std::move(temporary)};
}

RenderMesh HeadlessDeformingMesh::GetRenderMesh(TimeValue t, INode*, View&) {
    auto owned = std::make_unique<Mesh>(MeshAt(t));
    const Mesh* mesh = owned.get();
    return {mesh, std::move(owned)};
}

// ---- HeadlessTopologyMesh

void HeadlessTopologyMesh::AddState(TimeValue time, Mesh mesh) {
    putAtTime(states, State{time, std::move(mesh)});
}

const Mesh& HeadlessTopologyMesh::MeshAt(TimeValue t) const {
    if (states.empty())
        return empty;
    const auto next = std::upper_bound(states.begin(), states.end(), t,
                                       [](TimeValue v, const State& s) { return v < s.time; });
    return next == states.begin() ? next->mesh : (next - 1)->mesh;
}

TriObjectConversion HeadlessTopologyMesh::ConvertToTriMesh(TimeValue t) {
    auto temporary = std::make_unique<TriObject>(MeshAt(t));
    TriObject* object = temporary.get();
    return {object, std::move(temporary)};
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
    auto temporary = std::make_unique<TriObject>(renderable ? TubeMesh() : CapMesh());
    TriObject* object = temporary.get();
    return {object, std::move(temporary)};
}

RenderMesh HeadlessSplineShape::GetRenderMesh(TimeValue, INode*, View&) {
    if (!renderable)
        return {};
    auto owned = std::make_unique<Mesh>(TubeMesh());
    const Mesh* mesh = owned.get();
    return {mesh, std::move(owned)};
}

// ---- HeadlessLight

HeadlessLight::HeadlessLight(Kind kind_, float far) : kind(kind_), farAttenuation(far) {}
