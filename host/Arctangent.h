// The single-precision arctangent that mesh normals weight their corners with.
//
// It is the classic fdlibm float arctangent (range reduction to five intervals, an 11-term
// odd polynomial, hi/lo constants), which is also what the C library of our Linux builds
// (glibc 2.36) returns from atan2f, bit for bit; the normals of earlier versions stay as they
// were. Having it here keeps normals the same on every platform, whatever its C library, and
// lets many angles be computed at once.
#pragma once

#include <cstddef>

// atan2(y, x) in float, every special case included (zeros, infinities, NaN).
float Arctan2(float y, float x);

// out[i] = Arctan2(y[i], x[i]) for i < n, several lanes at a time where the compiler offers
// vector types; the arrays may not overlap.
void Arctan2Many(const float* y, const float* x, float* out, std::size_t n);
