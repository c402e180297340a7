#include "host/Sine.h"

#include "host/WideLanes.h"

#include <cmath>
#include <cstdint>
#include <cstring>

#if defined(WKCACHE_WIDE_LANES) && defined(__GLIBC__) &&                                           \
    (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 28))
#define WKCACHE_FUSED_SINE 1
#include <immintrin.h>
#endif

#ifdef WKCACHE_FUSED_SINE

// 32-byte vectors below are only ever inlined into code built for them: their calling
// convention never comes into play.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace {

// 2/pi times 2^24: the quadrant comes out of the integer part with rounding to nearest.
constexpr double kHalfPiInverse = 0x1.45F306DC9C883p+23;
constexpr double kHalfPi = 0x1.921FB54442D18p0;
// sin(y) ~ y + y^3 (S1 + y^2 S2 + y^4 S3), cos(y) ~ C0 + y^2 C1 + y^4 C2 + y^6 (C3 + y^2 C4).
constexpr double kS1 = -0x1.555545995a603p-3;
constexpr double kS2 = 0x1.1107605230bc4p-7;
constexpr double kS3 = -0x1.994eb3774cf24p-13;
constexpr double kC0 = 0x1p0;
constexpr double kC1 = -0x1.ffffffd0c621cp-2;
constexpr double kC2 = 0x1.55553e1068f19p-5;
constexpr double kC3 = -0x1.6c087e89a359dp-10;
constexpr double kC4 = 0x1.99343027bf8c3p-16;
// Bit patterns of |x| the polynomials serve: 2^-12 up to 120, exclusive.
constexpr std::int32_t kFastFrom = 0x39800000;
constexpr std::int32_t kFastBelow = 0x42f00000;
// |x| below this takes no reduction.
constexpr std::int32_t kShortBelow = 0x3f400000;

typedef float Floats __attribute__((vector_size(16)));
typedef std::int32_t Ints __attribute__((vector_size(16)));
typedef double Doubles __attribute__((vector_size(32)));
typedef std::int64_t Longs __attribute__((vector_size(32)));
typedef std::uint64_t Words __attribute__((vector_size(32)));

// Inlined, also in an unoptimised build: called, it would pass its vector in the calling
// convention of code without AVX.
__attribute__((target("avx2,fma"), always_inline)) inline Doubles all(double v) {
    return Doubles{v, v, v, v};
}

__attribute__((target("avx2,fma"))) void sinesFused(const float* in, float* out, std::size_t n) {
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        Ints word;
        std::memcpy(&word, in + i, sizeof word);
        const Ints magnitude = word & 0x7fffffff;
        const Ints served = (magnitude >= kFastFrom) & (magnitude < kFastBelow);
        // Lanes the polynomials do not serve compute from 0 and are replaced below.
        const Ints kept = word & served;
        Floats value;
        std::memcpy(&value, &kept, sizeof value);
        const Doubles x = __builtin_convertvector(value, Doubles);
        // Below 0.75 (the library's test on the top bits against pi/4) no multiple of pi/2 is
        // taken away and only the sine polynomial is wanted: the common case of a blend's angles.
        if (_mm_testc_si128((__m128i)(served & (magnitude < kShortBelow)), _mm_set1_epi32(-1))) {
            const Doubles x2 = x * x;
            const Doubles x3 = x * x2;
            const Doubles sine = _mm256_fmadd_pd(x3 * x2, _mm256_fmadd_pd(x2, all(kS3), all(kS2)),
                                                 _mm256_fmadd_pd(x3, all(kS1), x));
            const Floats rounded = __builtin_convertvector(sine, Floats);
            std::memcpy(out + i, &rounded, sizeof rounded);
            continue;
        }
        const Ints q = (__builtin_convertvector(x * kHalfPiInverse, Ints) + 0x800000) >> 24;
        const Doubles y = _mm256_fnmadd_pd(__builtin_convertvector(q, Doubles), all(kHalfPi), x);
        const Doubles y2 = y * y;
        const Doubles y3 = y * y2;
        const Doubles sine = _mm256_fmadd_pd(y3 * y2, _mm256_fmadd_pd(y2, all(kS3), all(kS2)),
                                             _mm256_fmadd_pd(y3, all(kS1), y));
        const Doubles y4 = y2 * y2;
        const Doubles cosineTail = _mm256_fmadd_pd(y2, all(kC4), all(kC3));
        const Doubles cosineHead =
            _mm256_fmadd_pd(y4, all(kC2), _mm256_fmadd_pd(y2, all(kC1), all(kC0)));
        const Doubles cosine = _mm256_fmadd_pd(y4 * y2, cosineTail, cosineHead);
        // The cosine where q is odd, and the sign turned where q & 2: the library's negated
        // coefficients and arguments give exactly the negated results.
        const auto quadrant = reinterpret_cast<Words>(__builtin_convertvector(q, Longs));
        const Words odd = -(quadrant & 1);
        Words sineBits, cosineBits;
        std::memcpy(&sineBits, &sine, sizeof sineBits);
        std::memcpy(&cosineBits, &cosine, sizeof cosineBits);
        const Words resultBits = ((cosineBits & odd) | (sineBits & ~odd)) ^ ((quadrant & 2) << 62);
        Doubles result;
        std::memcpy(&result, &resultBits, sizeof result);
        const Floats rounded = __builtin_convertvector(result, Floats);
        std::memcpy(out + i, &rounded, sizeof rounded);
        if (!_mm_testc_si128((__m128i)served, _mm_set1_epi32(-1))) {
            for (int lane = 0; lane < 4; ++lane)
                if (served[lane] == 0)
                    out[i + static_cast<std::size_t>(lane)] =
                        std::sin(in[i + static_cast<std::size_t>(lane)]);
        }
    }
    for (; i < n; ++i)
        out[i] = std::sin(in[i]);
}

bool fusedLanesAvailable() {
    static const bool fused = WideLanesAvailable() && __builtin_cpu_supports("fma");
    return fused;
}

} // namespace

#endif

void SineMany(const float* in, float* out, std::size_t n) {
#ifdef WKCACHE_FUSED_SINE
    if (fusedLanesAvailable()) {
        sinesFused(in, out, n);
        return;
    }
#endif
    for (std::size_t i = 0; i < n; ++i)
        out[i] = std::sin(in[i]);
}
