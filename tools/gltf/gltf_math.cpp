#include "tools/gltf/gltf_math.h"

#include <cmath>

namespace wkgltf {

namespace {

// Rows of the host-to-glTF change for row vectors: host x, y, z as glTF vectors.
const Matrix3 kToGltf(Point3(1, 0, 0), Point3(0, 0, -1), Point3(0, 1, 0), Point3(0, 0, 0));
const Matrix3 kToHost(Point3(1, 0, 0), Point3(0, 0, 1), Point3(0, -1, 0), Point3(0, 0, 0));

} // namespace

Mat4 operator*(const Mat4& a, const Mat4& b) {
    Mat4 out;
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r) {
            double sum = 0;
            for (int k = 0; k < 4; ++k)
                sum += a.m[static_cast<std::size_t>(k * 4 + r)] *
                       b.m[static_cast<std::size_t>(c * 4 + k)];
            out.m[static_cast<std::size_t>(c * 4 + r)] = sum;
        }
    return out;
}

Mat4 ComposeTRS(const Vec3& t, const Rotation& q, const Vec3& s) {
    const double x = q.x, y = q.y, z = q.z, w = q.w;
    const double rot[9] = {
        1 - 2 * (y * y + z * z), 2 * (x * y + z * w),     2 * (x * z - y * w),
        2 * (x * y - z * w),     1 - 2 * (x * x + z * z), 2 * (y * z + x * w),
        2 * (x * z + y * w),     2 * (y * z - x * w),     1 - 2 * (x * x + y * y)};
    const double scale[3] = {s.x, s.y, s.z};
    Mat4 out;
    for (int c = 0; c < 3; ++c)
        for (int r = 0; r < 3; ++r)
            out.m[static_cast<std::size_t>(c * 4 + r)] = rot[c * 3 + r] * scale[c];
    out.m[12] = t.x;
    out.m[13] = t.y;
    out.m[14] = t.z;
    return out;
}

Mat4 InverseAffine(const Mat4& a) {
    const auto& m = a.m;
    // The 3x3 part by its adjugate, then the translation taken back through it.
    const double c00 = m[5] * m[10] - m[9] * m[6], c01 = m[9] * m[2] - m[1] * m[10],
                 c02 = m[1] * m[6] - m[5] * m[2];
    const double c10 = m[8] * m[6] - m[4] * m[10], c11 = m[0] * m[10] - m[8] * m[2],
                 c12 = m[4] * m[2] - m[0] * m[6];
    const double c20 = m[4] * m[9] - m[8] * m[5], c21 = m[8] * m[1] - m[0] * m[9],
                 c22 = m[0] * m[5] - m[4] * m[1];
    const double det = m[0] * c00 + m[4] * c01 + m[8] * c02;
    if (det == 0 || !std::isfinite(det))
        return Mat4{};
    Mat4 out;
    auto& o = out.m;
    o[0] = c00 / det, o[1] = c01 / det, o[2] = c02 / det;
    o[4] = c10 / det, o[5] = c11 / det, o[6] = c12 / det;
    o[8] = c20 / det, o[9] = c21 / det, o[10] = c22 / det;
    for (int r = 0; r < 3; ++r)
        o[static_cast<std::size_t>(12 + r)] =
            -(o[static_cast<std::size_t>(r)] * m[12] + o[static_cast<std::size_t>(4 + r)] * m[13] +
              o[static_cast<std::size_t>(8 + r)] * m[14]);
    return out;
}

Vec3 TransformPoint(const Mat4& m, const Vec3& p) {
    const auto& a = m.m;
    return {a[0] * p.x + a[4] * p.y + a[8] * p.z + a[12],
            a[1] * p.x + a[5] * p.y + a[9] * p.z + a[13],
            a[2] * p.x + a[6] * p.y + a[10] * p.z + a[14]};
}

Rotation Normalized(const Rotation& r) {
    const double n = std::sqrt(r.x * r.x + r.y * r.y + r.z * r.z + r.w * r.w);
    if (n == 0 || !std::isfinite(n))
        return Rotation{};
    return {r.x / n, r.y / n, r.z / n, r.w / n};
}

Rotation Slerp(const Rotation& a, const Rotation& b0, double u) {
    Rotation b = b0;
    double d = a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
    if (d < 0) {
        d = -d;
        b = {-b.x, -b.y, -b.z, -b.w};
    }
    double wa = 1 - u, wb = u;
    // Nearly the same rotation: the straight blend, where the sine would divide by almost 0.
    if (d < 0.9995) {
        const double theta = std::acos(d);
        const double s = std::sin(theta);
        wa = std::sin((1 - u) * theta) / s;
        wb = std::sin(u * theta) / s;
    }
    return Normalized(
        {wa * a.x + wb * b.x, wa * a.y + wb * b.y, wa * a.z + wb * b.z, wa * a.w + wb * b.w});
}

Point3 HostPoint(const Vec3& p) {
    return {static_cast<float>(p.x), static_cast<float>(-p.z), static_cast<float>(p.y)};
}

Point3 HostScale(const Vec3& s) {
    return {static_cast<float>(s.x), static_cast<float>(s.z), static_cast<float>(s.y)};
}

Quat HostRotation(const Rotation& r) {
    // The axis moves as a point does; the host's quaternions turn the other way round.
    const Rotation n = Normalized(r);
    return {static_cast<float>(-n.x), static_cast<float>(n.z), static_cast<float>(-n.y),
            static_cast<float>(n.w)};
}

Matrix3 HostMatrix(const Mat4& m) {
    // Column-major columns are the rows of the same transform for row vectors.
    Matrix3 rows(true);
    for (int i = 0; i < 4; ++i)
        rows.SetRow(i, Point3(static_cast<float>(m.m[static_cast<std::size_t>(4 * i)]),
                              static_cast<float>(m.m[static_cast<std::size_t>(4 * i + 1)]),
                              static_cast<float>(m.m[static_cast<std::size_t>(4 * i + 2)])));
    return kToGltf * rows * kToHost;
}

Vec3 GltfPoint(const Point3& p) {
    return {p.x, p.z, -p.y};
}

void GltfTRS(const Matrix3& m, Vec3& t, Rotation& r, Vec3& s) {
    AffineParts parts;
    decomp_affine(kToHost * m * kToGltf, &parts);
    t = {parts.t.x, parts.t.y, parts.t.z};
    r = Normalized({-parts.q.x, -parts.q.y, -parts.q.z, parts.q.w});
    const double sign = parts.f < 0 ? -1.0 : 1.0;
    s = {sign * parts.k.x, sign * parts.k.y, sign * parts.k.z};
}

} // namespace wkgltf
