#include "playback/wkCacheElementBlend.h"

#include "host/Sine.h"
#include "host/WideLanes.h"
#include "playback/wkCacheElementState.h"

#include <algorithm>
#include <cstddef>

// Here, where the kept transforms are a complete type.
wkCacheFrameState::wkCacheFrameState() = default;
wkCacheFrameState::~wkCacheFrameState() = default;

namespace WelkardTools {

namespace {

#ifdef WKCACHE_WIDE_LANES

// Eight lanes of floats, and the same at any float's address. Only ever used in code built for
// AVX2. Lanes are loaded whole: copied through memory in halves they would wait for both.
typedef float Lanes __attribute__((vector_size(32), may_alias));
typedef float UnalignedLanes __attribute__((vector_size(32), aligned(4), may_alias));

// Rows r[0..7] become columns: lane k of r[j] after is lane j of r[k] before.
[[gnu::always_inline]] inline void transpose(Lanes r[8]) {
    Lanes t[8];
    for (int i = 0; i < 8; i += 2) {
        t[i] = __builtin_shufflevector(r[i], r[i + 1], 0, 8, 1, 9, 4, 12, 5, 13);
        t[i + 1] = __builtin_shufflevector(r[i], r[i + 1], 2, 10, 3, 11, 6, 14, 7, 15);
    }
    Lanes u[8];
    for (int i = 0; i < 8; i += 4) {
        u[i] = __builtin_shufflevector(t[i], t[i + 2], 0, 1, 8, 9, 4, 5, 12, 13);
        u[i + 1] = __builtin_shufflevector(t[i], t[i + 2], 2, 3, 10, 11, 6, 7, 14, 15);
        u[i + 2] = __builtin_shufflevector(t[i + 1], t[i + 3], 0, 1, 8, 9, 4, 5, 12, 13);
        u[i + 3] = __builtin_shufflevector(t[i + 1], t[i + 3], 2, 3, 10, 11, 6, 7, 14, 15);
    }
    for (int i = 0; i < 4; ++i) {
        r[i] = __builtin_shufflevector(u[i], u[i + 4], 0, 1, 2, 3, 8, 9, 10, 11);
        r[i + 4] = __builtin_shufflevector(u[i], u[i + 4], 4, 5, 6, 7, 12, 13, 14, 15);
    }
}

// Eight blends at a time, each lane doing the operations of the scalar road in its order.
// rec[k] is the 24 floats of blend k's factors, which become f[0..23] lane k: ta 0-2, tb 3-5,
// qa 6-9, qTo 10-13, omega 14, sinom 15, ka 16-18, kb 19-21, fa 22, fb 23. a, sinA and sinB
// hold eight lanes each; the first `lanes` matrices are written.
__attribute__((target("avx2"))) void composeEight(const float* const rec[8], const float* a_,
                                                  const float* sinA, const float* sinB,
                                                  Matrix3* const out[8], int lanes) {
    Lanes f[24];
    for (int chunk = 0; chunk < 3; ++chunk) {
        Lanes* r = f + 8 * chunk;
        for (int k = 0; k < 8; ++k)
            r[k] = *reinterpret_cast<const Lanes*>(rec[k] + 8 * chunk); // 32-byte aligned
        transpose(r);
    }
    const Lanes a = *reinterpret_cast<const UnalignedLanes*>(a_);
    const Lanes sA = *reinterpret_cast<const UnalignedLanes*>(sinA);
    const Lanes sB = *reinterpret_cast<const UnalignedLanes*>(sinB);
    const Lanes sa = sA / f[15];
    const Lanes sb = sB / f[15];
    const Lanes qx = f[6] * sa + f[10] * sb;
    const Lanes qy = f[7] * sa + f[11] * sb;
    const Lanes qz = f[8] * sa + f[12] * sb;
    const Lanes qw = f[9] * sa + f[13] * sb;
    const Lanes b = 1.0f - a;
    const Lanes kx = f[16] * b + f[19] * a;
    const Lanes ky = f[17] * b + f[20] * a;
    const Lanes kz = f[18] * b + f[21] * a;
    const Lanes s = f[23] * a + f[22] * b;
    const Lanes xx = qx * qx, yy = qy * qy, zz = qz * qz;
    const Lanes xy = qx * qy, xz = qx * qz, yz = qy * qz;
    const Lanes wx = qw * qx, wy = qw * qy, wz = qw * qz;
    Lanes m[16] = {kx * (1.0f - 2.0f * (yy + zz)) * s,
                   kx * (2.0f * (xy - wz)) * s,
                   kx * (2.0f * (xz + wy)) * s,
                   ky * (2.0f * (xy + wz)) * s,
                   ky * (1.0f - 2.0f * (xx + zz)) * s,
                   ky * (2.0f * (yz - wx)) * s,
                   kz * (2.0f * (xz - wy)) * s,
                   kz * (2.0f * (yz + wx)) * s,
                   kz * (1.0f - 2.0f * (xx + yy)) * s,
                   f[0] * b + f[3] * a,
                   f[1] * b + f[4] * a,
                   f[2] * b + f[5] * a};
    transpose(m);
    transpose(m + 8);
    for (int k = 0; k < lanes; ++k) {
        float* o = out[k]->GetAddr();
        *reinterpret_cast<UnalignedLanes*>(o) = m[k];
        for (int j = 0; j < 4; ++j)
            o[8 + j] = m[8 + k][j];
        out[k]->SetIdentFlags(0);
    }
}
#endif

} // namespace

void wkCacheElementBlends::finish(Deferred& later, Matrix3* out) const {
    const int n = later.count;
    later.count = 0;
    // The batch's sines a vector at a time, with the library's bits.
    float anglesA[kBatch] = {};
    float anglesB[kBatch] = {};
    for (int k = 0; k < n; ++k) {
        const float a = later.fraction[k];
        const float omega = factors[later.pair[k]].omega;
        anglesA[k] = (1.0f - a) * omega;
        anglesB[k] = a * omega;
    }
    SineMany(anglesA, later.sinA, static_cast<std::size_t>(n));
    SineMany(anglesB, later.sinB, static_cast<std::size_t>(n));
    int k = 0;
#ifdef WKCACHE_WIDE_LANES
    static_assert(sizeof(PairFactors) == 24 * sizeof(float) && offsetof(PairFactors, qa) == 24 &&
                  offsetof(PairFactors, qTo) == 40 && offsetof(PairFactors, sinom) == 60 &&
                  offsetof(PairFactors, ka) == 64 && offsetof(PairFactors, fb) == 92);
    if (WideLanesAvailable() && n > 0) {
        // The last group is filled up with copies of its last blend, which are not written.
        for (int pad = n; pad % 8 != 0; ++pad) {
            later.pair[pad] = later.pair[n - 1];
            later.fraction[pad] = later.fraction[n - 1];
            later.sinA[pad] = later.sinA[n - 1];
            later.sinB[pad] = later.sinB[n - 1];
            later.slot[pad] = later.slot[n - 1];
        }
        for (; k < n; k += 8) {
            const float* rec[8];
            Matrix3* targets[8];
            for (int lane = 0; lane < 8; ++lane) {
                rec[lane] = reinterpret_cast<const float*>(&factors[later.pair[k + lane]]);
                targets[lane] = &out[later.slot[k + lane]];
            }
            composeEight(rec, later.fraction + k, later.sinA + k, later.sinB + k, targets,
                         std::min(8, n - k));
        }
        return;
    }
#endif
    for (; k < n; ++k) {
        const PairFactors& p = factors[later.pair[k]];
        const Quat rot = p.qa * (later.sinA[k] / p.sinom) + p.qTo * (later.sinB[k] / p.sinom);
        compose(p, later.fraction[k], rot, out[later.slot[k]]);
    }
}

std::int64_t wkCacheRowLookup::row(std::int32_t sample) {
    for (int k = 0; k < filled; ++k)
        if (samples[k] == sample)
            return held[k];
    const int k = filled < 2 ? filled++ : next;
    next = 1 - k;
    samples[k] = sample;
    held[k] = rows.heldRow(sample);
    return held[k];
}

void wkCacheElementBlends::fit(std::size_t count) {
    if (places.size() == count)
        return;
    places.assign(count, Place());
    tms.assign(count, Matrix3());
    memos.assign(count, TransformMemo());
    pairKeys.assign(2 * count, PairKey());
    factors.assign(2 * count, PairFactors());
    claimed.count = 0;
}

void wkCacheElementBlends::follow(std::uint64_t rowsVersion) {
    if (version == rowsVersion)
        return;
    version = rowsVersion;
    claimed.count = 0;
    for (Place& p : places)
        p.flags = 0;
    for (PairKey& k : pairKeys)
        k.used = false;
}

void wkCacheElementBlends::keepPair(std::size_t pair, const AffineParts& pa, const AffineParts& pb,
                                    const TransformArcs& arcs) {
    // What a rigid blend reads, field by field: a copy of the whole first would read back
    // narrow stores in wide pieces, which the processor cannot forward.
    PairFactors& f = factors[pair];
    f.ta = pa.t;
    f.tb = pb.t;
    f.qa = pa.q;
    f.qTo = arcs.qTo;
    f.omega = arcs.q.omega;
    f.sinom = arcs.q.sinom;
    f.ka = pa.k;
    f.kb = pb.k;
    f.fa = pa.f;
    f.fb = pb.f;
    // Slerp's tests on the cosine, made once per pair.
    PairKey& k = pairKeys[pair];
    k.flags = static_cast<std::uint8_t>(static_cast<std::uint8_t>(SlerpRoadOf(arcs.q.cosom))
                                        << kArcShift);
    k.used = true;
}

void wkCacheElementBlends::claimAhead(wkCacheRowLookup& rows, std::size_t element,
                                      const Place& before, const wkCacheSampleLocation& at,
                                      TransformMemo::Pending& todo, Ahead& ahead) {
    if ((before.flags & kKept) == 0)
        return;
    const std::size_t end = std::min(places.size(), element + 1 + kAhead);
    for (std::size_t e = element + 1; e < end; ++e) {
        const Place& p = places[e];
        // Up to the first element that did not stand just where this one stood.
        if (todo.count + 2 > TransformMemo::Pending::kCapacity || (p.flags & kKept) == 0 ||
            p.sample != before.sample || p.nextSample != before.nextSample ||
            ((p.flags ^ before.flags) & kInterpolate) != 0 ||
            std::bit_cast<std::uint32_t>(p.fraction) !=
                std::bit_cast<std::uint32_t>(before.fraction))
            return;
        bool kept = false; // a pair it blends without the rows
        for (std::size_t slot = 0; slot < 2; ++slot) {
            const PairKey& k = pairKeys[pairIndex(e, slot)];
            kept = kept || (k.used && k.sample == at.sample && k.nextSample == at.nextSample);
        }
        if (kept)
            continue;
        const auto n = static_cast<std::int32_t>(e);
        int i = 0;
        int j = 0;
        memos[e].claim(rows.sampleRows().transformAt(rows.row(at.sample), n),
                       rows.sampleRows().transformAt(rows.row(at.nextSample), n), i, j, todo);
        ahead.element[ahead.count] = static_cast<std::uint32_t>(e);
        ahead.from[ahead.count] = static_cast<std::uint8_t>(i);
        ahead.to[ahead.count++] = static_cast<std::uint8_t>(j);
        claimed = ahead;
        claimedSample = at.sample;
        claimedNext = at.nextSample;
    }
}

bool wkCacheElementBlends::takeClaimed(std::size_t element, const wkCacheSampleLocation& at, int& i,
                                       int& j) {
    for (int k = 0; k < claimed.count; ++k) {
        if (claimed.element[k] != element)
            continue;
        i = claimed.from[k];
        j = claimed.to[k];
        claimed.element[k] = claimed.element[--claimed.count];
        claimed.from[k] = claimed.from[claimed.count];
        claimed.to[k] = claimed.to[claimed.count];
        return at.interpolate && at.sample == claimedSample && at.nextSample == claimedNext;
    }
    return false;
}

void wkCacheElementBlends::fromRows(wkCacheRowLookup& rows, std::int32_t element,
                                    const wkCacheSampleLocation& at, Matrix3& out, Deferred* later,
                                    int outSlot) {
    const auto e = static_cast<std::size_t>(element);
    TransformMemo& memo = memos[e];
    Place& p = places[e];
    const Place before = p;
    std::size_t slot = (p.flags & kSlot) != 0 ? 1 : 0;
    p.sample = at.sample;
    p.nextSample = at.nextSample;
    p.fraction = at.fraction;
    p.flags = static_cast<std::uint8_t>(kKept | (at.interpolate ? kInterpolate : 0) |
                                        (slot != 0 ? kSlot : 0));
    int i = 0;
    int j = 0;
    const bool wasClaimed = takeClaimed(e, at, i, j);
    if (!at.interpolate) {
        const Matrix3 first = rows.sampleRows().transformAt(rows.row(at.sample), element);
        tms[e] = first;
        out = first;
        return;
    }
    TransformMemo::Pending todo;
    if (!wasClaimed)
        memo.claim(rows.sampleRows().transformAt(rows.row(at.sample), element),
                   rows.sampleRows().transformAt(rows.row(at.nextSample), element), i, j, todo);
    if (todo.count > 0) {
        Ahead ahead;
        claimAhead(rows, e, before, at, todo, ahead);
        todo.decompose();
        // Their arcs too, one after the other: independent chains of an arccosine and a sine.
        for (int k = 0; k < ahead.count; ++k)
            memos[ahead.element[k]].arcs(ahead.from[k], ahead.to[k]);
    }
    const TransformArcs& arcs = memo.arcs(i, j);
    if (RigidBlend::Applies(memo.parts(i), arcs)) {
        // The pair blended last stays in the other slot.
        if (pairKeys[pairIndex(e, slot)].used)
            slot ^= 1;
        keepPair(pairIndex(e, slot), memo.parts(i), memo.parts(j), arcs);
        PairKey& k = pairKeys[pairIndex(e, slot)];
        k.sample = at.sample;
        k.nextSample = at.nextSample;
        p.flags = static_cast<std::uint8_t>(kKept | kInterpolate | kRigid |
                                            (slot != 0 ? kSlot : 0) | k.flags);
        // Blended like a moving element, on the factors just kept.
        if (std::isfinite(at.fraction)) {
            p.flags |= kStale;
            blendOrDefer(pairIndex(e, slot), p.flags, at.fraction, out, later, outSlot);
            return;
        }
    }
    out = interpolateTransform(tms[e], memo.parts(i), memo.parts(j), arcs, at.fraction);
}

} // namespace WelkardTools
