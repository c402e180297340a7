#include "host/Matrix3.h"

#include <cmath>

void Matrix3::IdentityMatrix() {
    Zero();
    m[0][0] = m[1][1] = m[2][2] = 1.0f;
    flags = MAT_IDENT;
}

void Matrix3::Zero() {
    *this = Matrix3();
    flags = POS_IDENT;
}

void Matrix3::Invert() {
    const float c00 = m[1][1] * m[2][2] - m[1][2] * m[2][1];
    const float c01 = m[1][2] * m[2][0] - m[1][0] * m[2][2];
    const float c02 = m[1][0] * m[2][1] - m[1][1] * m[2][0];
    const float det = m[0][0] * c00 + m[0][1] * c01 + m[0][2] * c02;
    if (det == 0.0f) {
        *this = Matrix3();
        return;
    }
    const float inv = 1.0f / det;
    Matrix3 r;
    r.m[0][0] = c00 * inv;
    r.m[1][0] = c01 * inv;
    r.m[2][0] = c02 * inv;
    r.m[0][1] = (m[0][2] * m[2][1] - m[0][1] * m[2][2]) * inv;
    r.m[1][1] = (m[0][0] * m[2][2] - m[0][2] * m[2][0]) * inv;
    r.m[2][1] = (m[0][1] * m[2][0] - m[0][0] * m[2][1]) * inv;
    r.m[0][2] = (m[0][1] * m[1][2] - m[0][2] * m[1][1]) * inv;
    r.m[1][2] = (m[0][2] * m[1][0] - m[0][0] * m[1][2]) * inv;
    r.m[2][2] = (m[0][0] * m[1][1] - m[0][1] * m[1][0]) * inv;
    const Point3 t = -r.VectorTransform(GetTrans());
    r.m[3][0] = t.x;
    r.m[3][1] = t.y;
    r.m[3][2] = t.z;
    r.flags = flags; // identity parts invert to identity parts
    *this = r;
}

void Matrix3::PreTranslate(const Point3& p) {
    SetTrans(GetTrans() + VectorTransform(p));
}

void Matrix3::Translate(const Point3& p) {
    SetTrans(GetTrans() + p);
}

Matrix3& Matrix3::operator*=(float f) {
    for (auto& row : m)
        for (float& v : row)
            v *= f;
    if (f != 1.0f)
        flags &= POS_IDENT;
    return *this;
}

bool Matrix3::operator==(const Matrix3& b) const {
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 3; ++j)
            if (m[i][j] != b.m[i][j])
                return false;
    return true;
}

bool Matrix3::Equals(const Matrix3& b, float epsilon) const {
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 3; ++j)
            if (!(std::fabs(m[i][j] - b.m[i][j]) <= epsilon))
                return false;
    return true;
}

float Matrix3::Determinant3() const {
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) +
           m[0][1] * (m[1][2] * m[2][0] - m[1][0] * m[2][2]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

Matrix3 Inverse(const Matrix3& m) {
    Matrix3 r = m;
    r.Invert();
    return r;
}

Matrix3 ScaleMatrix(const Point3& s) {
    Matrix3 r(Point3(s.x, 0.0f, 0.0f), Point3(0.0f, s.y, 0.0f), Point3(0.0f, 0.0f, s.z), Point3());
    r.SetIdentFlags(POS_IDENT | ROT_IDENT | (s == Point3(1.0f, 1.0f, 1.0f) ? SCL_IDENT : 0u));
    return r;
}

Matrix3 TransMatrix(const Point3& p) {
    Matrix3 r(true);
    r.SetTrans(p);
    return r;
}

namespace {
// Rows of a turn by angle in the plane of axes a and b, a towards b.
Matrix3 planeRotation(int a, int b, float angle) {
    Matrix3 r(true);
    const float c = std::cos(angle), s = std::sin(angle);
    Point3 ra = r.GetRow(a), rb = r.GetRow(b);
    ra[a] = c;
    ra[b] = s;
    rb[a] = -s;
    rb[b] = c;
    r.SetRow(a, ra);
    r.SetRow(b, rb);
    r.SetIdentFlags(POS_IDENT | SCL_IDENT);
    return r;
}
} // namespace

Matrix3 RotateXMatrix(float angle) {
    return planeRotation(1, 2, angle);
}
Matrix3 RotateYMatrix(float angle) {
    return planeRotation(2, 0, angle);
}
Matrix3 RotateZMatrix(float angle) {
    return planeRotation(0, 1, angle);
}

void PreRotateMatrix(Matrix3& m, const Quat& q) {
    Matrix3 r;
    q.MakeMatrix(r);
    m = r * m;
}

void ApplyScaling(Matrix3& m, const ScaleValue& scale) {
    Matrix3 axes;
    scale.q.MakeMatrix(axes);
    m = Inverse(axes) * ScaleMatrix(scale.s) * axes * m;
}
