// decomp_affine for many matrices at once. Lanes of vectors carry the common case, an
// orthogonal stretch with three equal factors (rigid and uniformly scaled parts): the same
// operations in the same order as decomp_affine, so the same bits, with the rotation's
// quaternion taken on whichever of its four roads the lane needs. A lane that leaves the common
// case (Jacobi rotations, unequal factors, a degenerate row) is decomposed alone.
#include "host/DecompMany.h"

#include "host/WideLanes.h"

#include <cmath>
#include <cstdint>
#include <limits>

#if defined(__GNUC__)

// 32-byte vectors below are only ever inlined into code built for them: their calling
// convention never comes into play.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace {

constexpr int kLanes = 4;

typedef double D __attribute__((vector_size(8 * kLanes)));
typedef std::int64_t DMask __attribute__((vector_size(8 * kLanes)));
typedef float F __attribute__((vector_size(4 * kLanes)));
typedef std::int32_t FMask __attribute__((vector_size(4 * kLanes)));

template <class V, class M> [[gnu::always_inline]] inline V pick(const M& mask, V a, V b) {
    return reinterpret_cast<V>((reinterpret_cast<M>(a) & mask) | (reinterpret_cast<M>(b) & ~mask));
}
[[gnu::always_inline]] inline D pickD(const DMask& m, const D& a, const D& b) {
    return pick<D, DMask>(m, a, b);
}
[[gnu::always_inline]] inline F pickF(const FMask& m, const F& a, const F& b) {
    return pick<F, FMask>(m, a, b);
}
// Lane by lane, as the scalar code takes them (built without errno, a root is one instruction).
[[gnu::always_inline]] inline D rootD(const D& x) {
    D r;
    for (int l = 0; l < kLanes; ++l)
        r[l] = std::sqrt(x[l]);
    return r;
}
[[gnu::always_inline]] inline F rootF(const F& x) {
    F r;
    for (int l = 0; l < kLanes; ++l)
        r[l] = std::sqrt(x[l]);
    return r;
}

struct V3 {
    D x, y, z;
    [[gnu::always_inline]] D operator[](int i) const { return i == 0 ? x : (i == 1 ? y : z); }
};
[[gnu::always_inline]] inline D dot(const V3& a, const V3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
[[gnu::always_inline]] inline V3 cross(const V3& a, const V3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
[[gnu::always_inline]] inline V3 scaled(const V3& a, const D& f) {
    return {a.x * f, a.y * f, a.z * f};
}
// The row whose index is in `index`, lane by lane.
[[gnu::always_inline]] inline V3 rowAt(const DMask& index, const V3* rows) {
    const DMask is0 = index == 0;
    const DMask is1 = index == 1;
    return {pickD(is0, rows[0].x, pickD(is1, rows[1].x, rows[2].x)),
            pickD(is0, rows[0].y, pickD(is1, rows[1].y, rows[2].y)),
            pickD(is0, rows[0].z, pickD(is1, rows[1].z, rows[2].z))};
}
// std::max({a, b, c}): the first of the largest.
[[gnu::always_inline]] inline D maxOf3(const D& a, const D& b, const D& c) {
    const D ab = pickD(a < b, b, a);
    return pickD(ab < c, c, ab);
}
[[gnu::always_inline]] inline D absD(const D& x) {
    return reinterpret_cast<D>(reinterpret_cast<DMask>(x) &
                               std::numeric_limits<std::int64_t>::max());
}

// The lanes of ms[0..kLanes): those in the common case are written to parts and set in the
// answer's bits; the others are left for decomp_affine.
[[gnu::always_inline]] inline unsigned lanes(const Matrix3* const* ms, AffineParts* const* parts) {
    V3 a[3];
    for (int l = 0; l < kLanes; ++l) {
        const float* r = ms[l]->GetAddr();
        for (int i = 0; i < 3; ++i) {
            a[i].x[l] = r[3 * i];
            a[i].y[l] = r[3 * i + 1];
            a[i].z[l] = r[3 * i + 2];
        }
    }
    const D det = dot(a[0], cross(a[1], a[2]));
    const D one = D{} + 1.0;
    const D detSign = pickD(det < 0.0, -one, one);

    // M * Mᵀ diagonal to float precision and finite: no Jacobi rotation.
    const D d[3] = {dot(a[0], a[0]), dot(a[1], a[1]), dot(a[2], a[2])};
    const D scale = maxOf3(absD(d[0]), absD(d[1]), absD(d[2]));
    const D floatLevel = 1e-6 * scale;
    DMask common = (absD(dot(a[0], a[1])) <= floatLevel) & (absD(dot(a[0], a[2])) <= floatLevel) &
                   (absD(dot(a[1], a[2])) <= floatLevel) &
                   (scale <= std::numeric_limits<double>::max());
    D sigma[3];
    for (int i = 0; i < 3; ++i)
        sigma[i] = rootD(pickD(d[i] < 0.0, D{}, d[i]));

    // Rows by falling sigma, ties in index order, as the insertion sort of three gives them.
    DMask index0 = DMask{} + 0, index1 = DMask{} + 1, index2 = DMask{} + 2;
    D s0 = sigma[0], s1 = sigma[1], s2 = sigma[2];
    {
        const DMask swap = s1 > s0;
        const D t0 = pickD(swap, s1, s0);
        s1 = pickD(swap, s0, s1);
        s0 = t0;
        const DMask ti = pick<DMask, DMask>(swap, index1, index0);
        index1 = pick<DMask, DMask>(swap, index0, index1);
        index0 = ti;
        const DMask rotate = s2 > s0;
        const DMask swap12 = ~rotate & (s2 > s1);
        const D n0 = pickD(rotate, s2, s0);
        const DMask i0 = pick<DMask, DMask>(rotate, index2, index0);
        const DMask i1 =
            pick<DMask, DMask>(rotate, index0, pick<DMask, DMask>(swap12, index2, index1));
        const DMask i2 =
            pick<DMask, DMask>(rotate, index1, pick<DMask, DMask>(swap12, index1, index2));
        s0 = n0;
        index0 = i0;
        index1 = i1;
        index2 = i2;
    }
    common &= s0 > 0.0; // not the zero matrix

    // The rotation rows W: the strongest row normalised (its length is sigma), the next made
    // orthogonal to it, the third their cross product with det M's sign.
    const V3 wa = scaled(rowAt(index0, a), 1.0 / s0);
    const V3 vb = rowAt(index1, a);
    const D along = dot(wa, vb);
    const V3 rest = {vb.x - wa.x * along, vb.y - wa.y * along, vb.z - wa.z * along};
    const D restLength = rootD(dot(rest, rest));
    common &= restLength > 1e-12 * s0;
    const V3 wb = scaled(rest, 1.0 / restLength);
    const DMask even = ((index0 == 0) & (index1 == 1)) | ((index0 == 1) & (index1 == 2)) |
                       ((index0 == 2) & (index1 == 0));
    const V3 wc = scaled(cross(wa, wb), pickD(even, detSign, -detSign));

    // Three equal factors (snuggle): their mean, and no stretch rotation.
    const D tolerance = 1e-6 * maxOf3(sigma[0], sigma[1], sigma[2]);
    common &= (absD(sigma[0] - sigma[1]) <= tolerance) & (absD(sigma[0] - sigma[2]) <= tolerance) &
              (absD(sigma[1] - sigma[2]) <= tolerance);
    const D mean = (sigma[0] + sigma[1] + sigma[2]) / 3.0;

    // Q = f * W, in float.
    F q[3][3];
    DMask identityQ = DMask{} - 1;
    for (int i = 0; i < 3; ++i) {
        const DMask isA = index0 == i;
        const DMask isB = index1 == i;
        const V3 row = {pickD(isA, wa.x, pickD(isB, wb.x, wc.x)) * detSign,
                        pickD(isA, wa.y, pickD(isB, wb.y, wc.y)) * detSign,
                        pickD(isA, wa.z, pickD(isB, wb.z, wc.z)) * detSign};
        for (int j = 0; j < 3; ++j) {
            identityQ &= row[j] == (i == j ? 1.0 : 0.0);
            q[i][j] = __builtin_convertvector(row[j], F);
        }
    }

    // Quat(Matrix3): from the trace when it is not negative, else from the largest diagonal
    // entry i (then j and k follow it cyclically).
    const F trace = q[0][0] + q[1][1] + q[2][2];
    const FMask fromTrace = trace >= 0.0f;
    const FMask i1 = q[1][1] > q[0][0];
    const F big = pickF(i1, q[1][1], q[0][0]);
    const FMask i2 = q[2][2] > big;
    const FMask is0 = ~i1 & ~i2;
    const FMask is1 = i1 & ~i2;
    // Entries (r, c) relative to i: r, c in 0..2 standing for i, j, k.
    const auto at = [&](int r, int c) {
        return pickF(is0, q[r % 3][c % 3],
                     pickF(is1, q[(r + 1) % 3][(c + 1) % 3], q[(r + 2) % 3][(c + 2) % 3]));
    };
    const F sTrace = rootF(trace + 1.0f);
    const F sDiag = rootF(at(0, 0) - (at(1, 1) + at(2, 2)) + 1.0f);
    const F s = pickF(fromTrace, sTrace, sDiag);
    const F half = s * 0.5f;
    const F inv = 0.5f / s;
    const F qi = half;
    const F qj = (at(0, 1) + at(1, 0)) * inv;
    const F qk = (at(2, 0) + at(0, 2)) * inv;
    F x = pickF(fromTrace, (q[2][1] - q[1][2]) * inv, pickF(is0, qi, pickF(is1, qk, qj)));
    F y = pickF(fromTrace, (q[0][2] - q[2][0]) * inv, pickF(is0, qj, pickF(is1, qi, qk)));
    F z = pickF(fromTrace, (q[1][0] - q[0][1]) * inv, pickF(is0, qk, pickF(is1, qj, qi)));
    F w = pickF(fromTrace, half, (at(2, 1) - at(1, 2)) * inv);

    // Normalize, then the hemisphere of positive w.
    const F len = rootF(x * x + y * y + z * z + w * w);
    common &= __builtin_convertvector(__builtin_convertvector(len != 0.0f, FMask), DMask) != 0;
    const F scale1 = 1.0f / len;
    x *= scale1;
    y *= scale1;
    z *= scale1;
    w *= scale1;
    const FMask flip = w < 0.0f;
    x = pickF(flip, -x, x);
    y = pickF(flip, -y, y);
    z = pickF(flip, -z, z);
    w = pickF(flip, -w, w);

    unsigned done = 0;
    for (int l = 0; l < kLanes; ++l) {
        if (common[l] == 0)
            continue;
        done |= 1u << l;
        AffineParts& p = *parts[l];
        p.t = ms[l]->GetTrans();
        p.q = identityQ[l] != 0 ? Quat() : Quat(x[l], y[l], z[l], w[l]);
        p.u = Quat();
        const float k = static_cast<float>(mean[l]);
        p.k = Point3(k, k, k);
        p.f = static_cast<float>(detSign[l]);
    }
    return done;
}

// Vectors of lanes, then the lanes that left the common case and the rest one by one.
[[gnu::always_inline]] inline void run(const Matrix3* const* ms, AffineParts* const* parts,
                                       int count) {
    int i = 0;
    for (; i + kLanes <= count; i += kLanes) {
        const unsigned done = lanes(ms + i, parts + i);
        for (int l = 0; l < kLanes; ++l)
            if ((done & (1u << l)) == 0)
                decomp_affine(*ms[i + l], parts[i + l]);
    }
    for (; i < count; ++i)
        decomp_affine(*ms[i], parts[i]);
}

void runNarrow(const Matrix3* const* ms, AffineParts* const* parts, int count) {
    run(ms, parts, count);
}

#ifdef WKCACHE_WIDE_LANES
__attribute__((target("avx2"))) void runWide(const Matrix3* const* ms, AffineParts* const* parts,
                                             int count) {
    run(ms, parts, count);
}
#endif

} // namespace

void DecompAffineMany(const Matrix3* const* ms, AffineParts* const* parts, int count) {
#ifdef WKCACHE_WIDE_LANES
    if (WideLanesAvailable()) {
        runWide(ms, parts, count);
        return;
    }
#endif
    runNarrow(ms, parts, count);
}

#else

void DecompAffineMany(const Matrix3* const* ms, AffineParts* const* parts, int count) {
    for (int i = 0; i < count; ++i)
        decomp_affine(*ms[i], parts[i]);
}

#endif
