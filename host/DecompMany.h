// Polar and spectral decompositions of many matrices at once.
#pragma once

#include "host/Matrix3.h"

// decomp_affine of ms[i] into parts[i] for i < count, several at a time where the compiler offers
// vector types: the same bits.
void DecompAffineMany(const Matrix3* const* ms, AffineParts* const* parts, int count);
