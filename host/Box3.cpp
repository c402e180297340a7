#include "host/Box3.h"

#include <algorithm>

Box3& Box3::operator+=(const Point3& p) {
    pmin = {std::min(pmin.x, p.x), std::min(pmin.y, p.y), std::min(pmin.z, p.z)};
    pmax = {std::max(pmax.x, p.x), std::max(pmax.y, p.y), std::max(pmax.z, p.z)};
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
