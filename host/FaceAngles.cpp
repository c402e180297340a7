#include "host/FaceAngles.h"

#include "host/Arctangent.h"

#include <cassert>

#if defined(__GNUC__) && defined(__SSE2__)
#include <immintrin.h>
#endif

namespace {

// The angle at corner p0 of the triangle (p0, p1, p2) is atan2(|a x b|, a . b) of its edges
// a = p1 - p0 and b = p2 - p0; these are the two operands.
void angleOperands(const Point3& p0, const Point3& p1, const Point3& p2, float& y, float& x) {
    const Point3 a = p1 - p0;
    const Point3 b = p2 - p0;
    y = CrossProd(a, b).Length();
    x = DotProd(a, b);
}

// Normal and operands of one face, into slot i.
void faceOperands(const Point3* verts, const Face& face, std::size_t i, Point3* normal, float* y,
                  float* x) {
    const Point3& p0 = verts[face.v[0]];
    const Point3& p1 = verts[face.v[1]];
    const Point3& p2 = verts[face.v[2]];
    normal[i] = FaceNormal(p0, p1, p2);
    angleOperands(p0, p1, p2, y[3 * i], x[3 * i]);
    angleOperands(p1, p2, p0, y[3 * i + 1], x[3 * i + 1]);
    angleOperands(p2, p0, p1, y[3 * i + 2], x[3 * i + 2]);
}

#if defined(__GNUC__) && defined(__SSE2__)

// Four faces side by side, one per lane, with the scalar code's operations in its order.
typedef float Lanes __attribute__((vector_size(16)));
typedef std::int32_t LaneMask __attribute__((vector_size(16)));

struct Points {
    Lanes x, y, z;
};

Points operator-(const Points& a, const Points& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

Points cross(const Points& a, const Points& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

Lanes dot(const Points& a, const Points& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

Lanes length(const Points& p) {
    return reinterpret_cast<Lanes>(
        _mm_sqrt_ps(reinterpret_cast<__m128>(p.x * p.x + p.y * p.y + p.z * p.z)));
}

void store(const Lanes& v, float* out, std::size_t stride) {
    for (int lane = 0; lane < 4; ++lane)
        out[static_cast<std::size_t>(lane) * stride] = v[lane];
}

// Faces which[0..3] into slots i..i+3.
void fourFaceOperands(const Point3* verts, const Face* faces, const std::uint32_t* which,
                      std::size_t i, Point3* normal, float* y, float* x) {
    Points p[3];
    for (int lane = 0; lane < 4; ++lane) {
        const Face& face = faces[which[lane]];
        for (int c = 0; c < 3; ++c) {
            const Point3& v = verts[face.v[c]];
            p[c].x[lane] = v.x;
            p[c].y[lane] = v.y;
            p[c].z[lane] = v.z;
        }
    }
    for (int c = 0; c < 3; ++c) {
        const Points a = p[(c + 1) % 3] - p[c];
        const Points b = p[(c + 2) % 3] - p[c];
        const Points n = cross(a, b);
        const Lanes len = length(n);
        store(len, &y[3 * i + static_cast<std::size_t>(c)], 3);
        store(dot(a, b), &x[3 * i + static_cast<std::size_t>(c)], 3);
        if (c == 0) {
            // FaceNormal: a zero cross product stays zero.
            const LaneMask zero = len == 0.0f;
            const Lanes nx = n.x / len;
            const Lanes ny = n.y / len;
            const Lanes nz = n.z / len;
            for (int lane = 0; lane < 4; ++lane)
                normal[i + static_cast<std::size_t>(lane)] =
                    zero[lane] ? Point3(n.x[lane], n.y[lane], n.z[lane])
                               : Point3(nx[lane], ny[lane], nz[lane]);
        }
    }
}

#endif

} // namespace

void FaceNormalsAndAngles(const Point3* verts, const Face* faces, const std::uint32_t* which,
                          std::size_t count, Point3* normal, float* angle) {
    assert(count <= FACE_ANGLE_BATCH);
    // The arctangent runs over all corners of the batch at once, on full vector lanes.
    float y[3 * FACE_ANGLE_BATCH];
    float x[3 * FACE_ANGLE_BATCH];
    std::size_t i = 0;
#if defined(__GNUC__) && defined(__SSE2__)
    for (; i + 4 <= count; i += 4)
        fourFaceOperands(verts, faces, which + i, i, normal, y, x);
#endif
    for (; i < count; ++i)
        faceOperands(verts, faces[which[i]], i, normal, y, x);
    Arctan2Many(y, x, angle, 3 * count);
}
