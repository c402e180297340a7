// Specified normals of a mesh: normals given per face corner, which override the normals that
// smoothing groups would give.
//
// Storage is per corner: face f owns normals 3f, 3f + 1 and 3f + 2, in one contiguous array,
// and a MeshNormalFace holds only the flags of its three corners. Caches store one normal per
// corner, frame assembly transforms every corner of every face at every frame and walks the
// array in order, and deleting faces must keep the normals in step with the faces: per-corner
// storage makes all three a straight walk, at the price of not sharing equal normals between
// corners (which the cache format does not share either).
#pragma once

#include "host/BitArray.h"
#include "host/Point.h"

#include <cstdint>
#include <utility>
#include <vector>

class Mesh;

// The flags of one face's three corners.
//  - specified: the corner has a normal of its own instead of its smoothing-group normal;
//  - explicit: that normal's value was given, and is not computed from the geometry.
// A specified corner that is not explicit gets the normal of its face from CheckNormals.
class MeshNormalFace {
public:
    bool GetSpecified(int corner) const { return (bits >> corner) & 1u; }
    void SetSpecified(int corner, bool on = true) { setBit(corner, on); }
    bool GetExplicit(int corner) const { return (bits >> (corner + 3)) & 1u; }
    void SetExplicit(int corner, bool on = true) { setBit(corner + 3, on); }
    // Specified and explicit: the corner keeps the value it was given.
    bool GetFixed(int corner) const { return GetSpecified(corner) && GetExplicit(corner); }
    void Clear() { bits = 0; }

private:
    void setBit(int bit, bool on) {
        const auto mask = static_cast<std::uint8_t>(1u << bit);
        bits =
            on ? static_cast<std::uint8_t>(bits | mask) : static_cast<std::uint8_t>(bits & ~mask);
    }

    std::uint8_t bits = 0;
};

class MeshNormalSpec {
public:
    MeshNormalSpec() = default;
    // Copies and moves do not carry the parent: it points at the mesh that held the original.
    MeshNormalSpec(const MeshNormalSpec& other) : faces(other.faces), normals(other.normals) {}
    MeshNormalSpec(MeshNormalSpec&& other) noexcept
        : faces(std::move(other.faces)), normals(std::move(other.normals)) {}
    MeshNormalSpec& operator=(const MeshNormalSpec& other) {
        faces = other.faces;
        normals = other.normals;
        parent = nullptr;
        return *this;
    }
    MeshNormalSpec& operator=(MeshNormalSpec&& other) noexcept {
        faces = std::move(other.faces);
        normals = std::move(other.normals);
        parent = nullptr;
        return *this;
    }

    // The count of normal faces; a spec with none describes nothing. New faces have no
    // specified corner and zero normals; existing ones keep theirs.
    int GetNumFaces() const { return static_cast<int>(faces.size()); }
    void SetNumFaces(int n);
    // Normals follow the faces, three each, so their count is 3 * GetNumFaces(). NAlloc only
    // makes room for n normals ahead of SetNumFaces; keep false also resets every existing
    // corner to an unspecified zero normal.
    int GetNumNormals() const { return static_cast<int>(normals.size()); }
    void NAlloc(int n, bool keep = true);

    MeshNormalFace& Face(int face) { return faces[static_cast<std::size_t>(face)]; }
    const MeshNormalFace& Face(int face) const { return faces[static_cast<std::size_t>(face)]; }

    // Writes the value only; a corner keeps it through CheckNormals when it is specified and
    // explicit. Frame assembly rewrites every corner this way without changing the flags.
    void SetNormal(int face, int corner, const Point3& normal) { Normal(face, corner) = normal; }
    const Point3& GetNormal(int face, int corner) const {
        return normals[static_cast<std::size_t>(face) * 3 + static_cast<std::size_t>(corner)];
    }
    Point3& Normal(int face, int corner) {
        return normals[static_cast<std::size_t>(face) * 3 + static_cast<std::size_t>(corner)];
    }
    // All normals in place, face after face; null when there are none.
    Point3* GetNormalArray() { return normals.empty() ? nullptr : normals.data(); }
    const Point3* GetNormalArray() const { return normals.empty() ? nullptr : normals.data(); }

    // The mesh that CheckNormals computes from. Set it around the work that needs it and
    // clear it after; it is never owned.
    void SetParent(Mesh* mesh) { parent = mesh; }
    Mesh* GetParent() const { return parent; }

    // Fills every corner that is not specified and explicit from the parent: a specified
    // corner gets its face's normal, an unspecified one its smoothing-group normal (see
    // Mesh::buildNormals). Without a parent, or with one whose face count differs, nothing is
    // computed. Corners with fixed values cost only the test of their flags. The parent's own
    // normals are used when built; on a mesh of one smoothing group they are not built for
    // this, as the sums over the faces around the vertices that are needed give the same bits.
    void CheckNormals();

    // No faces, no normals.
    void Clear();
    // Removes the normal faces whose bit is set, with their normals (in step with the mesh's
    // DeleteFaceSet).
    void DeleteFaceSet(const BitArray& remove);

private:
    std::vector<MeshNormalFace> faces;
    std::vector<Point3> normals;
    Mesh* parent = nullptr;
};
