// Quaternions and axis-angle rotations, in the host's convention.
//
// A Quat (x, y, z, w) made from an axis a and an angle θ is (a·sin θ/2, cos θ/2), and
// MakeMatrix writes the classic column-vector rotation formula of q into the rows of a
// Matrix3. Since points are row vectors here, that matrix turns a point by -θ about a: a
// positive angle is clockwise seen down the axis (the host's left-handed quaternions). In
// exchange, quaternion and matrix products agree: MakeMatrix(a * b) == MakeMatrix(a) *
// MakeMatrix(b), and both mean "a first, then b".
#pragma once

#include "host/Point.h"

#include <cmath>
#include <cstdint>
#include <numbers>

class Matrix3;

struct Quat {
    float x = 0.0f, y = 0.0f, z = 0.0f, w = 1.0f;

    constexpr Quat() = default;
    constexpr Quat(float x_, float y_, float z_, float w_) : x(x_), y(y_), z(z_), w(w_) {}
    // The rotation part of a matrix (its axes are taken as orthonormal).
    explicit Quat(const Matrix3& m);
    explicit Quat(const struct AngAxis& aa);

    constexpr Quat operator-() const { return {-x, -y, -z, -w}; }
    constexpr Quat operator+(const Quat& q) const { return {x + q.x, y + q.y, z + q.z, w + q.w}; }
    constexpr Quat operator-(const Quat& q) const { return {x - q.x, y - q.y, z - q.z, w - q.w}; }
    constexpr Quat operator*(float f) const { return {x * f, y * f, z * f, w * f}; }
    // Hamilton product; as rotations: this one first, then q.
    constexpr Quat operator*(const Quat& q) const {
        return {w * q.x + x * q.w + y * q.z - z * q.y, w * q.y + y * q.w + z * q.x - x * q.z,
                w * q.z + z * q.w + x * q.y - y * q.x, w * q.w - x * q.x - y * q.y - z * q.z};
    }
    // The relative rotation this * Inverse(q): what turns q into this.
    Quat operator/(const Quat& q) const;
    constexpr bool operator==(const Quat&) const = default;

    constexpr Quat Conjugate() const { return {-x, -y, -z, w}; }
    void Normalize();
    void Identity() { *this = Quat(); }
    constexpr bool IsIdentity() const { return x == 0.0f && y == 0.0f && z == 0.0f && w == 1.0f; }

    // Flips the sign of this quaternion when that brings it nearer q (negative dot product):
    // q and -q are one rotation, and blends must take the short arc.
    void MakeClosest(const Quat& q);
    // The rotation matrix (translation zero). flag false gives the host's form above; true
    // gives its transpose, the right-handed reading of the same four numbers.
    void MakeMatrix(Matrix3& m, bool flag = false) const;
};

constexpr float QuatDot(const Quat& a, const Quat& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
}
// Inline: every arc playback makes when an element crosses to a new pair takes two.
inline void Quat::MakeClosest(const Quat& q) {
    if (QuatDot(*this, q) < 0.0f)
        *this = -*this;
}
constexpr Quat Conjugate(const Quat& q) {
    return q.Conjugate();
}
// The inverse rotation; for a non-unit quaternion the true inverse conj(q) / |q|².
Quat Inverse(const Quat& q);
Quat Normalize(const Quat& q);

// Spherical blend from a (t = 0) to b (t = 1). It does not choose the short arc: callers turn
// b by MakeClosest first when they want it.
Quat Slerp(const Quat& a, const Quat& b, float t);

// The arc from a to b that Slerp walks. Made once, it serves every t: Slerp with the arc gives
// the same result as Slerp without it, and skips the arc's acos and sin.
struct SlerpArc {
    float cosom = 1.0f;
    float omega = 0.0f; // set only where the arc is long enough to divide by sin(omega)
    float sinom = 0.0f;
};
SlerpArc MakeSlerpArc(const Quat& a, const Quat& b);

// Below this the arc is too short (or too near a half turn) for sin(omega) to divide by.
inline constexpr float kSlerpEpsilon = 1e-6f;

// Inline: playback runs it once per element and frame, where a call and a Quat returned through
// memory cost as much as the arithmetic.
// Slerp's three roads, told by the arc's cosine alone: a long arc divides by sin(omega), a
// short one blends linearly, and a half turn goes through a perpendicular quaternion.
enum class SlerpRoad : std::uint8_t { Long, Short, HalfTurn };
inline SlerpRoad SlerpRoadOf(float cosom) {
    if (1.0f + cosom > kSlerpEpsilon)
        return 1.0f - cosom > kSlerpEpsilon ? SlerpRoad::Long : SlerpRoad::Short;
    return SlerpRoad::HalfTurn;
}

// Slerp on a road told beforehand, for callers that keep the road of a pair; omega and sinom
// are read on the long road only.
inline Quat Slerp(const Quat& a, const Quat& b, float t, SlerpRoad road, float omega, float sinom) {
    switch (road) {
    case SlerpRoad::Long:
        return a * (std::sin((1.0f - t) * omega) / sinom) + b * (std::sin(t * omega) / sinom);
    case SlerpRoad::Short:
        return a * (1.0f - t) + b * t;
    case SlerpRoad::HalfTurn:
        break;
    }
    // b is -a: turn through a quaternion perpendicular to a.
    const Quat perp(-a.y, a.x, -a.w, a.z);
    constexpr float halfPi = std::numbers::pi_v<float> * 0.5f;
    return a * std::sin((1.0f - t) * halfPi) + perp * std::sin(t * halfPi);
}

inline Quat Slerp(const Quat& a, const Quat& b, float t, const SlerpArc& arc) {
    return Slerp(a, b, t, SlerpRoadOf(arc.cosom), arc.omega, arc.sinom);
}

struct AngAxis {
    Point3 axis{0.0f, 0.0f, 1.0f};
    float angle = 0.0f; // radians

    constexpr AngAxis() = default;
    constexpr AngAxis(const Point3& axis_, float angle_) : axis(axis_), angle(angle_) {}
    explicit AngAxis(const Quat& q);
};

// Angle in [0, 2π] and a unit axis. A rotation of no angle reports the axis (0, 0, 1).
void AngAxisFromQ(const Quat& q, float* angle, Point3& axis);

struct ScaleValue {
    Point3 s{1.0f, 1.0f, 1.0f}; // factors along the axes of q
    Quat q;                     // the axes of the scale

    constexpr ScaleValue() = default;
    constexpr ScaleValue(const Point3& s_, const Quat& q_ = Quat()) : s(s_), q(q_) {}
};
