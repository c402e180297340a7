// Whether this processor runs the AVX2 builds of the few loops that have one. Each is chosen at
// run time for its one function and does every lane's operations in the scalar order, so the
// answer changes speed, never bits.
#pragma once

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
#define WKCACHE_WIDE_LANES 1

inline bool WideLanesAvailable() {
    static const bool wide = __builtin_cpu_supports("avx2");
    return wide;
}
#endif
