// The host's affine matrix: four rows of three floats (rows 0-2 the axes, row 3 the
// translation) and a word of identity flags. Points are row vectors: p becomes p * M, and
// A * B applies A first.
#pragma once

#include "host/Point.h"
#include "host/Quat.h"

#include <utility>

// Identity flags of a Matrix3: a set bit promises that part is the identity.
inline constexpr unsigned POS_IDENT = 1;
inline constexpr unsigned ROT_IDENT = 2;
inline constexpr unsigned SCL_IDENT = 4;
inline constexpr unsigned MAT_IDENT = POS_IDENT | ROT_IDENT | SCL_IDENT;

class Matrix3 {
public:
    // All rows zero, no flags.
    constexpr Matrix3() = default;
    // true: the identity; false: all rows zero.
    explicit Matrix3(bool init) {
        if (init)
            IdentityMatrix();
    }
    Matrix3(const Point3& r0, const Point3& r1, const Point3& r2, const Point3& r3) {
        SetRow(0, r0);
        SetRow(1, r1);
        SetRow(2, r2);
        SetRow(3, r3);
    }

    void IdentityMatrix();
    void Zero();

    Point3 GetRow(int i) const { return {m[i][0], m[i][1], m[i][2]}; }
    // Inline with the product below: scene evaluation and recording compose matrices for every
    // node at every sample.
    void SetRow(int i, const Point3& p) {
        m[i][0] = p.x;
        m[i][1] = p.y;
        m[i][2] = p.z;
        flags &= i == 3 ? ~POS_IDENT : ~(ROT_IDENT | SCL_IDENT);
    }
    Point3 GetTrans() const { return GetRow(3); }
    void SetTrans(const Point3& p) {
        SetRow(3, p);
        if (p == Point3())
            flags |= POS_IDENT;
    }
    void NoTrans() { SetTrans(Point3()); }

    // The 12 floats in place, in row order.
    float* GetAddr() { return &m[0][0]; }
    const float* GetAddr() const { return &m[0][0]; }

    unsigned GetIdentFlags() const { return flags; }
    void SetIdentFlags(unsigned f) { flags = f & MAT_IDENT; }
    void ClearIdentFlag(unsigned f) { flags &= ~f; }
    bool IsIdentity() const { return (flags & MAT_IDENT) == MAT_IDENT; }

    // The point turned and scaled, without the translation.
    Point3 VectorTransform(const Point3& p) const {
        return {p.x * m[0][0] + p.y * m[1][0] + p.z * m[2][0],
                p.x * m[0][1] + p.y * m[1][1] + p.z * m[2][1],
                p.x * m[0][2] + p.y * m[1][2] + p.z * m[2][2]};
    }
    Point3 PointTransform(const Point3& p) const {
        return {p.x * m[0][0] + p.y * m[1][0] + p.z * m[2][0] + m[3][0],
                p.x * m[0][1] + p.y * m[1][1] + p.z * m[2][1] + m[3][1],
                p.x * m[0][2] + p.y * m[1][2] + p.z * m[2][2] + m[3][2]};
    }

    // In place inverse. A singular matrix becomes all zero: every point goes to the origin,
    // which is what a collapsed transform does to geometry anyway.
    void Invert();
    // this = Translation(p) * this: the translation moves by p turned into this frame.
    void PreTranslate(const Point3& p);
    void Translate(const Point3& p);
    void Scale(const Point3& s);

    Matrix3 operator*(const Matrix3& b) const {
        Matrix3 r;
        for (int i = 0; i < 4; ++i) {
            for (int j = 0; j < 3; ++j) {
                float v = m[i][0] * b.m[0][j] + m[i][1] * b.m[1][j] + m[i][2] * b.m[2][j];
                if (i == 3)
                    v += b.m[3][j];
                r.m[i][j] = v;
            }
        }
        r.flags = flags & b.flags;
        return r;
    }
    Matrix3& operator*=(const Matrix3& b) { return *this = *this * b; }
    // Scales all four rows, the translation included.
    Matrix3& operator*=(float f);
    Matrix3 operator+(const Matrix3& b) const;
    Matrix3 operator-(const Matrix3& b) const;

    // Exact comparison of the 12 floats; the flags are a cache and do not count.
    bool operator==(const Matrix3& b) const;
    bool Equals(const Matrix3& b, float epsilon) const;

    float Determinant3() const;

private:
    float m[4][3] = {};
    unsigned flags = 0;
};

// Inline: recording and scene evaluation make a matrix of a rotation for every node at every
// sample, where the call costs as much as the arithmetic.
inline void Quat::MakeMatrix(Matrix3& m, bool flag) const {
    const float xx = x * x, yy = y * y, zz = z * z;
    const float xy = x * y, xz = x * z, yz = y * z;
    const float wx = w * x, wy = w * y, wz = w * z;
    Point3 r0(1.0f - 2.0f * (yy + zz), 2.0f * (xy - wz), 2.0f * (xz + wy));
    Point3 r1(2.0f * (xy + wz), 1.0f - 2.0f * (xx + zz), 2.0f * (yz - wx));
    Point3 r2(2.0f * (xz - wy), 2.0f * (yz + wx), 1.0f - 2.0f * (xx + yy));
    if (flag) {
        std::swap(r0.y, r1.x);
        std::swap(r0.z, r2.x);
        std::swap(r1.z, r2.y);
    }
    m = Matrix3(r0, r1, r2, Point3());
    m.SetIdentFlags(POS_IDENT | SCL_IDENT | (IsIdentity() ? ROT_IDENT : 0u));
}

inline Point3 operator*(const Point3& p, const Matrix3& m) {
    return m.PointTransform(p);
}
inline Point3 VectorTransform(const Matrix3& m, const Point3& p) {
    return m.VectorTransform(p);
}

Matrix3 Inverse(const Matrix3& m);
// A diagonal matrix of the three factors.
Matrix3 ScaleMatrix(const Point3& s);
Matrix3 TransMatrix(const Point3& p);
Matrix3 RotateXMatrix(float angle);
Matrix3 RotateYMatrix(float angle);
Matrix3 RotateZMatrix(float angle);
// m = rotation(q) * m: the rotation applies before what m already does.
void PreRotateMatrix(Matrix3& m, const Quat& q);
// m = scale * m, the scale along the axes of scale.q.
void ApplyScaling(Matrix3& m, const ScaleValue& scale);

// An affine matrix as its factors: M = Inverse(U) * K * U * Q * F * T, with U and Q the
// matrices of u and q, K = ScaleMatrix(k), F = ScaleMatrix(f, f, f) and T the translation.
struct AffineParts {
    Point3 t;   // translation
    Quat q;     // essential rotation
    Quat u;     // stretch rotation: the axes along which k applies
    Point3 k;   // stretch factors
    float f{1}; // sign of the determinant, +1 or -1
};

// Polar decomposition (Shoemake and Duff), then spectral decomposition of the stretch. The
// stretch axes are chosen as near the identity as the stretch allows; equal factors leave the
// stretch rotation free and it is then the identity (all equal) or the shortest turn that
// carries the odd axis onto a coordinate axis (two equal).
void decomp_affine(const Matrix3& m, AffineParts* parts);
