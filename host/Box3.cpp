#include "host/Box3.h"

#include <algorithm>
#include <cmath>

namespace {
// An axis with no extent yet takes the coordinate as it is: clamped against the empty corners'
// +-1e30 a coordinate beyond them would leave the corner standing. A NaN is passed over.
void grow(float& lo, float& hi, float v) {
    if (std::isnan(v))
        return;
    if (lo > hi) {
        lo = hi = v;
        return;
    }
    lo = std::min(lo, v);
    hi = std::max(hi, v);
}
} // namespace

Box3& Box3::operator+=(const Point3& p) {
    grow(pmin.x, pmax.x, p.x);
    grow(pmin.y, pmax.y, p.y);
    grow(pmin.z, pmax.z, p.z);
    return *this;
}

Box3& Box3::operator+=(const Box3& b) {
    if (!b.IsEmpty()) {
        *this += b.pmin;
        *this += b.pmax;
    }
    return *this;
}

Box3 Box3::operator*(const Matrix3& m) const {
    Box3 r;
    if (IsEmpty())
        return r;
    for (int i = 0; i < 8; ++i)
        r += (*this)[i] * m;
    return r;
}
