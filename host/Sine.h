// Many single-precision sines at once, bit for bit what the C library's sinf gives here.
//
// glibc (2.28 on) computes sinf in double: for 2^-12 <= |x| < 120 it takes away the nearest
// multiple q of pi/2 (one fused multiply-subtract with a 53-bit pi/2), evaluates a short sine or
// cosine polynomial of the rest as q is even or odd, and changes the sign where q & 2. On a
// processor with FMA and AVX2 it runs a build that fuses every multiply-add of that; SineMany
// does the same operations there, four lanes at a time, and sends every other argument (tiny,
// large, infinite, NaN) and every other machine and library to std::sin.
#pragma once

#include <cstddef>

// out[i] = std::sin(in[i]) for i < n; the arrays may not overlap.
void SineMany(const float* in, float* out, std::size_t n);
