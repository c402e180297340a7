// Single-precision points of the host: Point2, Point3, Point4, and the screen IPoint2.
#pragma once

#include <cmath>

struct Point2 {
    float x = 0.0f, y = 0.0f;

    constexpr Point2() = default;
    constexpr Point2(float x_, float y_) : x(x_), y(y_) {}

    constexpr Point2 operator+(const Point2& p) const { return {x + p.x, y + p.y}; }
    constexpr Point2 operator-(const Point2& p) const { return {x - p.x, y - p.y}; }
    constexpr Point2 operator*(float f) const { return {x * f, y * f}; }
    constexpr bool operator==(const Point2&) const = default;
};

struct Point3 {
    float x = 0.0f, y = 0.0f, z = 0.0f;

    constexpr Point3() = default;
    constexpr Point3(float x_, float y_, float z_) : x(x_), y(y_), z(z_) {}

    constexpr float& operator[](int i) { return i == 0 ? x : (i == 1 ? y : z); }
    constexpr float operator[](int i) const { return i == 0 ? x : (i == 1 ? y : z); }

    constexpr Point3 operator-() const { return {-x, -y, -z}; }
    constexpr Point3 operator+(const Point3& p) const { return {x + p.x, y + p.y, z + p.z}; }
    constexpr Point3 operator-(const Point3& p) const { return {x - p.x, y - p.y, z - p.z}; }
    constexpr Point3 operator*(float f) const { return {x * f, y * f, z * f}; }
    constexpr Point3 operator/(float f) const { return {x / f, y / f, z / f}; }
    constexpr Point3& operator+=(const Point3& p) { return *this = *this + p; }
    constexpr Point3& operator-=(const Point3& p) { return *this = *this - p; }
    constexpr Point3& operator*=(float f) { return *this = *this * f; }

    // Exact comparison of the floats: a change of any bit of a coordinate counts.
    constexpr bool operator==(const Point3&) const = default;

    float Length() const { return std::sqrt(x * x + y * y + z * z); }
    constexpr float LengthSquared() const { return x * x + y * y + z * z; }
};

constexpr Point3 operator*(float f, const Point3& p) {
    return p * f;
}
constexpr float DotProd(const Point3& a, const Point3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
constexpr Point3 CrossProd(const Point3& a, const Point3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline float Length(const Point3& p) {
    return p.Length();
}
// A zero vector stays zero.
inline Point3 Normalize(const Point3& p) {
    const float len = p.Length();
    return len == 0.0f ? p : p / len;
}

struct Point4 {
    float x = 0.0f, y = 0.0f, z = 0.0f, w = 0.0f;

    constexpr Point4() = default;
    constexpr Point4(float x_, float y_, float z_, float w_) : x(x_), y(y_), z(z_), w(w_) {}

    constexpr Point4 operator+(const Point4& p) const {
        return {x + p.x, y + p.y, z + p.z, w + p.w};
    }
    constexpr Point4 operator-(const Point4& p) const {
        return {x - p.x, y - p.y, z - p.z, w - p.w};
    }
    constexpr Point4 operator*(float f) const { return {x * f, y * f, z * f, w * f}; }
    constexpr bool operator==(const Point4&) const = default;
};

struct IPoint2 {
    int x = 0, y = 0;

    constexpr IPoint2() = default;
    constexpr IPoint2(int x_, int y_) : x(x_), y(y_) {}
    constexpr bool operator==(const IPoint2&) const = default;
};

static_assert(sizeof(Point3) == 12, "Point3 is stored in caches as three raw floats");
