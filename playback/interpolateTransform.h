// The transform of an element between two samples.
#pragma once

#include "host/Matrix3.h"

// Blends the decomposed factors of first (fraction 0) and second (fraction 1): translation,
// rotation and stretch rotation by the short arc, stretch, and the determinant sign as a plain
// float, so that a mirrored pair flattens on its way through zero. Writes and returns out.
Matrix3& interpolateTransform(Matrix3& out, const Matrix3& first, const Matrix3& second,
                              float fraction);
