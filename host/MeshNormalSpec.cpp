#include "host/MeshNormalSpec.h"

#include "host/FaceAngles.h"
#include "host/Mesh.h"
#include "host/MeshCompact.h"

#include <algorithm>

namespace {

// Fills the corners that are not fixed straight from the faces of `mesh`, when every face
// that is not broken shares a smoothing-group bit: then each vertex has one normal, the
// angle-weighted sum that Mesh::buildNormals gives it, added up here in the same order, so
// the values are the same to the bit. Only faces around a vertex that some corner takes part
// in it, and the mesh's own normals stay unbuilt: a cache's full mesh has its specified corners
// on whole nodes, whose faces need no angles at all. False, with nothing written, for a mesh
// with several smoothing groups.
bool fillFromOneGroup(const Mesh& mesh, const std::vector<MeshNormalFace>& flags,
                      std::vector<Point3>& normals) {
    const std::size_t numFaces = flags.size();
    const std::size_t numVerts = static_cast<std::size_t>(mesh.getNumVerts());
    const Face* faces = mesh.getFacePtr(0);
    const Point3* verts = mesh.getVertPtr(0);
    const auto valid = [&](const Face& face) {
        return face.v[0] < numVerts && face.v[1] < numVerts && face.v[2] < numVerts;
    };
    // The shared bits, and the vertices whose normal an unspecified corner takes (wasted on a
    // mesh of several groups, which the general road then takes).
    std::uint32_t shared = ~std::uint32_t{0};
    std::vector<bool> needed(numVerts, false);
    for (std::size_t f = 0; f < numFaces; ++f) {
        const Face& face = faces[f];
        if (!valid(face))
            continue;
        shared &= face.smGroup;
        for (int c = 0; c < 3; ++c)
            if (!flags[f].GetSpecified(c))
                needed[face.v[c]] = true;
    }
    if (shared == 0)
        return false;

    std::vector<Point3> sums(numVerts);
    ForEachFaceNormalAndAngles(
        verts, faces, numFaces,
        [&](std::size_t f) {
            const Face& face = faces[f];
            return valid(face) && (needed[face.v[0]] || needed[face.v[1]] || needed[face.v[2]]);
        },
        [&](std::size_t f, const Point3& normal, const float* angles) {
            for (std::size_t c = 0; c < 3; ++c)
                sums[faces[f].v[c]] += normal * angles[c];
        });
    for (std::size_t v = 0; v < numVerts; ++v)
        if (needed[v])
            sums[v] = Normalize(sums[v]);

    // A broken face has zero normals at every corner, as buildNormals gives it.
    for (std::size_t f = 0; f < numFaces; ++f) {
        const MeshNormalFace& corners = flags[f];
        if (corners.GetFixed(0) && corners.GetFixed(1) && corners.GetFixed(2))
            continue;
        const Face& face = faces[f];
        const bool isValid = valid(face);
        for (int c = 0; c < 3; ++c) {
            if (corners.GetFixed(c))
                continue;
            Point3& out = normals[f * 3 + static_cast<std::size_t>(c)];
            if (!isValid)
                out = Point3();
            else if (corners.GetSpecified(c))
                out = FaceNormal(verts[face.v[0]], verts[face.v[1]], verts[face.v[2]]);
            else
                out = sums[face.v[c]];
        }
    }
    return true;
}

} // namespace

void MeshNormalSpec::SetNumFaces(int n) {
    const std::size_t count = static_cast<std::size_t>(std::max(n, 0));
    faces.resize(count);
    normals.resize(count * 3);
}

void MeshNormalSpec::NAlloc(int n, bool keep) {
    normals.reserve(static_cast<std::size_t>(std::max(n, 0)));
    if (!keep) {
        std::fill(normals.begin(), normals.end(), Point3());
        std::fill(faces.begin(), faces.end(), MeshNormalFace());
    }
}

void MeshNormalSpec::CheckNormals() {
    if (!parent || parent->getNumFaces() != GetNumFaces())
        return;
    const bool allFixed = std::all_of(faces.begin(), faces.end(), [](const MeshNormalFace& f) {
        return f.GetFixed(0) && f.GetFixed(1) && f.GetFixed(2);
    });
    if (allFixed)
        return;
    if (!parent->normalsBuilt() && fillFromOneGroup(*parent, faces, normals))
        return;
    parent->checkNormals();
    for (int f = 0; f < GetNumFaces(); ++f) {
        const MeshNormalFace& flags = Face(f);
        for (int c = 0; c < 3; ++c) {
            if (flags.GetFixed(c))
                continue;
            Normal(f, c) =
                flags.GetSpecified(c) ? parent->getFaceNormal(f) : parent->getNormal(f, c);
        }
    }
}

void MeshNormalSpec::DeleteFaceSet(const BitArray& remove) {
    EraseFlagged(faces, remove);
    EraseFlagged(normals, remove, 3);
}

void MeshNormalSpec::Clear() {
    faces = {};
    normals = {};
}
