// The little linear algebra that glTF needs, in glTF's own conventions (column vectors,
// column-major 4x4 matrices, right-handed quaternions, +Y up), and the change between glTF's
// axes and the host's (+Z up, row vectors, left-handed quaternions).
//
// The axes: a host point (x, y, z) is the glTF point (x, z, -y), so that the host's ground plane
// becomes glTF's and "up" stays up in either direction of a round trip.
#pragma once

#include "host/Matrix3.h"
#include "host/Point.h"
#include "host/Quat.h"

#include <array>

namespace wkgltf {

struct Vec3 {
    double x = 0, y = 0, z = 0;
};

// A rotation as glTF writes it: (axis * sin(a/2), cos(a/2)) turns by +a about the axis.
struct Rotation {
    double x = 0, y = 0, z = 0, w = 1;
};

// Column-major, as glTF stores node matrices.
struct Mat4 {
    std::array<double, 16> m{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};

Mat4 operator*(const Mat4& a, const Mat4& b);
// T * R * S.
Mat4 ComposeTRS(const Vec3& t, const Rotation& r, const Vec3& s);
// The inverse of an affine matrix; the identity for a singular one.
Mat4 InverseAffine(const Mat4& a);
Vec3 TransformPoint(const Mat4& m, const Vec3& p);

Rotation Normalized(const Rotation& r);
// Spherical interpolation along the short arc.
Rotation Slerp(const Rotation& a, const Rotation& b, double u);

// ---- Between glTF and the host
Point3 HostPoint(const Vec3& p);
Point3 HostScale(const Vec3& s);
Quat HostRotation(const Rotation& r);
// A glTF matrix as the host matrix of the same transform in host axes.
Matrix3 HostMatrix(const Mat4& m);

Vec3 GltfPoint(const Point3& p);
// A host transform in glTF axes as translation, rotation and scale. A shear, which glTF nodes
// cannot hold, is dropped; a mirror becomes negative scale factors.
void GltfTRS(const Matrix3& m, Vec3& t, Rotation& r, Vec3& s);

} // namespace wkgltf
