// The two factors of an angle-weighted vertex normal, per face: the face's unit normal and the
// interior angle at each of its corners. Mesh::buildNormals and MeshNormalSpec::CheckNormals
// both sum them, and must agree to the bit.
#pragma once

#include "host/MeshFace.h"
#include "host/Point.h"

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
