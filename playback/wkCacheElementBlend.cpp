#include "playback/wkCacheElementBlend.h"

#include "playback/wkCacheElementState.h"

#include <algorithm>

// Here, where the kept transforms are a complete type.
wkCacheFrameState::wkCacheFrameState() = default;
wkCacheFrameState::~wkCacheFrameState() = default;

namespace WelkardTools {

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
}

void wkCacheElementBlends::follow(std::uint64_t rowsVersion) {
    if (version == rowsVersion)
        return;
    version = rowsVersion;
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
    }
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
    const Matrix3 first = rows.sampleRows().transformAt(rows.row(at.sample), element);
    if (!at.interpolate) {
        tms[e] = first;
        out = first;
        return;
    }
    const Matrix3 second = rows.sampleRows().transformAt(rows.row(at.nextSample), element);
    int i = 0;
    int j = 0;
    TransformMemo::Pending todo;
    memo.claim(first, second, i, j, todo);
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
