// The two factors of an angle-weighted vertex normal, per face: the face's unit normal and the
// interior angle at each of its corners. Mesh::buildNormals and MeshNormalSpec::CheckNormals
// both sum them, and must agree to the bit.
#pragma once

#include "host/MeshFace.h"
#include "host/Point.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

// The unit normal of the triangle (p0, p1, p2); zero when it has no area.
inline Point3 FaceNormal(const Point3& p0, const Point3& p1, const Point3& p2) {
    return Normalize(CrossProd(p1 - p0, p2 - p0));
}

// The most faces one call takes: their operands stay on the stack.
inline constexpr std::size_t FACE_ANGLE_BATCH = 256;

// For i < count (at most FACE_ANGLE_BATCH), of the face faces[which[i]]: normal[i], its unit
// normal (zero for a face without area), and angle[3 * i + c], the angle at its corner c in
// radians. The faces' vertices must lie in verts.
void FaceNormalsAndAngles(const Point3* verts, const Face* faces, const std::uint32_t* which,
                          std::size_t count, Point3* normal, float* angle);

// Calls add(f, normal, angles) for every face f < numFaces that keep(f) accepts, in order, with
// its unit normal and the angles at its three corners, a batch of faces at a time.
template <typename Keep, typename Add>
void ForEachFaceNormalAndAngles(const Point3* verts, const Face* faces, std::size_t numFaces,
                                Keep&& keep, Add&& add) {
    std::uint32_t which[FACE_ANGLE_BATCH];
    Point3 normal[FACE_ANGLE_BATCH];
    float angle[3 * FACE_ANGLE_BATCH];
    for (std::size_t first = 0; first < numFaces; first += FACE_ANGLE_BATCH) {
        std::size_t count = 0;
        for (std::size_t f = first; f < std::min(numFaces, first + FACE_ANGLE_BATCH); ++f)
            if (keep(f))
                which[count++] = static_cast<std::uint32_t>(f);
        FaceNormalsAndAngles(verts, faces, which, count, normal, angle);
        for (std::size_t i = 0; i < count; ++i)
            add(std::size_t{which[i]}, normal[i], &angle[3 * i]);
    }
}
