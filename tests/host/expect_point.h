// Point comparison within a tolerance, for the tests.
#pragma once

#include "host/Point.h"

#include <gtest/gtest.h>

inline void expectNear(const Point3& a, const Point3& b, float tolerance = 1e-5f) {
    EXPECT_NEAR(a.x, b.x, tolerance);
    EXPECT_NEAR(a.y, b.y, tolerance);
    EXPECT_NEAR(a.z, b.z, tolerance);
}
