// An axis-aligned box of two corners.
#pragma once

#include "host/Matrix3.h"
#include "host/Point.h"

class Box3 {
public:
    Point3 pmin{1e30f, 1e30f, 1e30f};
    Point3 pmax{-1e30f, -1e30f, -1e30f};

    // Empty.
    constexpr Box3() = default;
    constexpr Box3(const Point3& a, const Point3& b) : pmin(a), pmax(b) {}

    // Back to empty.
    constexpr void Init() { *this = Box3(); }
    constexpr bool IsEmpty() const { return pmin.x > pmax.x || pmin.y > pmax.y || pmin.z > pmax.z; }

    constexpr Point3 Min() const { return pmin; }
    constexpr Point3 Max() const { return pmax; }
    constexpr Point3 Center() const { return (pmin + pmax) * 0.5f; }
    constexpr Point3 Width() const { return pmax - pmin; }

    // Corner i (0 to 7): bit 0 picks the x of pmax, bit 1 its y, bit 2 its z.
    constexpr Point3 operator[](int i) const {
        return {(i & 1) ? pmax.x : pmin.x, (i & 2) ? pmax.y : pmin.y, (i & 4) ? pmax.z : pmin.z};
    }

    // Grows the box to hold p.
    Box3& operator+=(const Point3& p);
    // Grows the box to hold b; an empty b changes nothing.
    Box3& operator+=(const Box3& b);
    // The box of the eight transformed corners; an empty box stays empty.
    Box3 operator*(const Matrix3& m) const;

    constexpr bool Contains(const Point3& p) const {
        return p.x >= pmin.x && p.x <= pmax.x && p.y >= pmin.y && p.y <= pmax.y && p.z >= pmin.z &&
               p.z <= pmax.z;
    }
    constexpr bool operator==(const Box3&) const = default;
};
