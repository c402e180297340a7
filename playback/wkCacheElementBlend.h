// Each element's transform at a frame, with what is kept of it for the next frame.
//
// Frames mostly stand between the same two samples as the frame before, at another fraction, or
// at the very same place (a held or paused element). So each element keeps the key of its last
// place (samples, interpolate, fraction), the transform found for it, and the factors of its
// last two sample pairs that blend rigidly. A key that matches gives the transform without
// reading the rows; a kept rigid pair blends at the new fraction without reading them either,
// also when the frame goes back to the pair before (scrubbing, a ping-pong, frames alternating
// between two pairs). Anything else reads the rows and goes through the element's
// TransformMemo, which knows sample matrices by their bytes. Every road gives the bits of
// interpolateTransform on the two sample matrices.
//
// What a moving element reads at every frame is laid out for the frame loop: its 16-byte key
// in one array, the factors of its pair in the next 96 bytes of another. Everything kept holds
// for one version of the rows and is forgotten when they change.
#pragma once

#include "cachefile/wkCacheSampleRows.h"
#include "host/Matrix3.h"
#include "playback/interpolateTransform.h"
#include "playback/wkCacheElementState.h"
#include "playback/wkCachePlaybackClock.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

namespace WelkardTools {

// The held rows of the few samples a frame's elements stand at, each looked up once.
class wkCacheRowLookup {
public:
    explicit wkCacheRowLookup(const wkCacheSampleRows& rows_) : rows(rows_) {}
    std::int64_t row(std::int32_t sample);
    const wkCacheSampleRows& sampleRows() const { return rows; }

private:
    const wkCacheSampleRows& rows;
    std::int32_t samples[2] = {0, 0};
    std::int64_t held[2] = {0, 0};
    int filled = 0;
    int next = 0; // the entry replaced next
};

class wkCacheElementBlends {
public:
    // One record per element, all forgotten when the count changes.
    void fit(std::size_t count);
    // Forgets everything kept when the rows are not those of the last frame.
    void follow(std::uint64_t rowsVersion);

    // Writes `out`, the transform of `element` at `at` (no scale), through what is kept, which
    // it updates. Inline: frame assembly runs it for every large element, whose vertex loop
    // overlaps its blend.
    void transform(wkCacheRowLookup& rows, std::int32_t element, const wkCacheSampleLocation& at,
                   Matrix3& out) {
        transform(rows, element, at, out, nullptr, 0);
    }

    // Small elements a frame blends at a time.
    static constexpr int kBatch = 32;

    // Writes out[0] to out[count - 1] (count at most kBatch), the transforms (no scale) of the
    // elements first to first + count - 1 at their places in `at`, through what is kept, which
    // it updates. A moving element's common road is the rigid blend on a long arc, whose two
    // sines and divisions are a long chain: the batch's blends are gathered, their sines taken
    // in one loop and the rest in another, so that neighbouring elements' chains overlap.
    void transforms(wkCacheRowLookup& rows, const wkCacheElementState* at, std::int32_t first,
                    int count, Matrix3* out);

private:
    enum : std::uint8_t {
        kKept = 1,
        kInterpolate = 2,
        kRigid = 4, // the pair in the slot of kSlot blends rigidly
        kStale = 8, // `tms` is not yet the rigid blend at `fraction`
        kSlot = 16, // which of the element's two pairs is the key's
        kArcShift = 6,
    };

    struct Place {
        std::int32_t sample = 0;
        std::int32_t nextSample = 0;
        float fraction = 0.0f;
        std::uint8_t flags = 0;
    };
    struct PairKey {
        std::int32_t sample = 0;
        std::int32_t nextSample = 0;
        bool used = false;
        std::uint8_t flags = 0; // the pair's SlerpRoad, as the place takes it
    };
    struct alignas(32) PairFactors {
        Point3 ta, tb;
        Quat qa, qTo;
        float omega = 0.0f;
        float sinom = 0.0f;
        Point3 ka, kb;
        float fa = 1.0f, fb = 1.0f;
    };

    // The long-arc blends of a batch, done after its other elements.
    struct Deferred {
        std::uint32_t pair[kBatch];
        float fraction[kBatch];
        std::uint8_t slot[kBatch];
        float sinA[kBatch];
        float sinB[kBatch];
        int count = 0;

        // Blend k: `pair` at `fraction`, into the batch's matrix `slot`.
        void put(int k, std::size_t pair_, float fraction_, int slot_) {
            pair[k] = static_cast<std::uint32_t>(pair_);
            fraction[k] = fraction_;
            slot[k] = static_cast<std::uint8_t>(slot_);
        }
    };

    // One element: its transform in `out`, or, batched, its long-arc blend added to `later`
    // as the batch's `outSlot`.
    void transform(wkCacheRowLookup& rows, std::int32_t element, const wkCacheSampleLocation& at,
                   Matrix3& out, Deferred* later, int outSlot);
    // blend() now, or later when `later` is given and the blend is on the long arc.
    void blendOrDefer(std::size_t pair, std::uint8_t flags, float fraction, Matrix3& out,
                      Deferred* later, int slot) const;
    // Slerp's long road, the same operations in the same order, with the sines taken beforehand
    // for the whole batch; then the rest of blend().
    void finish(Deferred& later, Matrix3* out) const;
    void fromRows(wkCacheRowLookup& rows, std::int32_t element, const wkCacheSampleLocation& at,
                  Matrix3& out, Deferred* later, int outSlot);
    // An element that crosses to a new pair, from `before` to `at`, claims the samples of the
    // next kAhead elements that stood where it stood, as if they went where it goes (they
    // mostly do): their new samples are then decomposed in one batch with its own, and their
    // arcs made one after the other. `ahead` lists them with the slots of that pair. A wrong
    // guess costs work, never bits: a memo knows its matrices by their bytes. Four new samples
    // fill the vector lanes of DecompAffineMany; larger batches measured no faster with small
    // elements and slower with large ones, whose vertex loops no longer overlap the work.
    static constexpr std::size_t kAhead = 3;
    struct Ahead {
        std::uint32_t element[kAhead];
        std::uint8_t from[kAhead];
        std::uint8_t to[kAhead];
        int count = 0;
    };
    void claimAhead(wkCacheRowLookup& rows, std::size_t element, const Place& before,
                    const wkCacheSampleLocation& at, TransformMemo::Pending& todo, Ahead& ahead);
    // Whether `element` was claimed by the last crossing that claimed ahead, for the samples of
    // `at`: its slots are then i and j. Either way the element leaves the list, since its own
    // crossing may take other slots.
    bool takeClaimed(std::size_t element, const wkCacheSampleLocation& at, int& i, int& j);
    void keepPair(std::size_t pair, const AffineParts& pa, const AffineParts& pb,
                  const TransformArcs& arcs);
    Matrix3& blend(std::size_t pair, std::uint8_t flags, float fraction, Matrix3& out) const;
    // The rest of blend() around the rotation `rot` at `fraction`.
    static Matrix3& compose(const PairFactors& p, float fraction, const Quat& rot, Matrix3& out);
    std::size_t pairIndex(std::size_t element, std::size_t slot) const {
        return slot * places.size() + element;
    }

    std::uint64_t version = 0;
    std::vector<Place> places;
    std::vector<Matrix3> tms; // the transform at the key, without scale
    // The factors of the sample transforms blended last, so that frames between the same
    // samples, or crossing to the next pair, do not decompose a sample again.
    std::vector<TransformMemo> memos;
    // Two per element: the first slot of every element, then the second, so that frames on
    // one slot read them one after the other.
    std::vector<PairKey> pairKeys;
    std::vector<PairFactors> factors;
    // The elements the last crossing claimed ahead, for the pair claimedSample to claimedNext,
    // until their own crossings: those then read neither row again nor look their matrices up in
    // their memos. It holds for the rows of `version`.
    Ahead claimed;
    std::int32_t claimedSample = 0;
    std::int32_t claimedNext = 0;
};

// What blendParts does for a rigid pair, on the kept factors: the same arithmetic in the same
// order.
inline Matrix3& wkCacheElementBlends::compose(const PairFactors& p, float fraction, const Quat& rot,
                                              Matrix3& out) {
    const float a = fraction;
    const float b = 1.0f - a;
    const Point3 t = p.ta * b + p.tb * a;
    const Point3 k = p.ka * b + p.kb * a;
    const float f = p.fb * a + p.fa * b;
    return composeAxisStretch(out, rot, k, f, t);
}

inline Matrix3& wkCacheElementBlends::blend(std::size_t pair, std::uint8_t flags, float fraction,
                                            Matrix3& out) const {
    const PairFactors& p = factors[pair];
    const Quat rot =
        Slerp(p.qa, p.qTo, fraction, static_cast<SlerpRoad>(flags >> kArcShift), p.omega, p.sinom);
    return compose(p, fraction, rot, out);
}

inline void wkCacheElementBlends::blendOrDefer(std::size_t pair, std::uint8_t flags, float fraction,
                                               Matrix3& out, Deferred* later, int slot) const {
    if (later == nullptr || static_cast<SlerpRoad>(flags >> kArcShift) != SlerpRoad::Long) {
        blend(pair, flags, fraction, out);
        return;
    }
    later->put(later->count++, pair, fraction, slot);
}

inline void wkCacheElementBlends::transforms(wkCacheRowLookup& rows, const wkCacheElementState* at,
                                             std::int32_t first, int count, Matrix3* out) {
    Deferred later;
    // The common road, a moving element on its kept long-arc pair, is taken here with the count
    // of deferred blends in a register: through `later` it would be stored and read back at
    // every element, which is then a chain from one element to the next.
    constexpr std::uint8_t kMoving = kKept | kInterpolate | kRigid;
    int deferred = 0;
    for (int k = 0; k < count; ++k) {
        const wkCacheSampleLocation& a = at[k];
        const auto e = static_cast<std::size_t>(first + k);
        Place& p = places[e];
        if ((p.flags & kMoving) == kMoving && a.interpolate && p.sample == a.sample &&
            p.nextSample == a.nextSample &&
            std::bit_cast<std::uint32_t>(p.fraction) != std::bit_cast<std::uint32_t>(a.fraction) &&
            static_cast<SlerpRoad>(p.flags >> kArcShift) == SlerpRoad::Long &&
            std::isfinite(a.fraction)) {
            p.fraction = a.fraction;
            p.flags |= kStale;
            later.put(deferred++, pairIndex(e, (p.flags & kSlot) != 0 ? 1 : 0), a.fraction, k);
            continue;
        }
        later.count = deferred;
        transform(rows, first + k, a, out[k], &later, k);
        deferred = later.count;
    }
    later.count = deferred;
    finish(later, out);
}

[[gnu::always_inline]] inline void wkCacheElementBlends::transform(wkCacheRowLookup& rows,
                                                                   std::int32_t element,
                                                                   const wkCacheSampleLocation& at,
                                                                   Matrix3& out, Deferred* later,
                                                                   int outSlot) {
    const auto e = static_cast<std::size_t>(element);
    Place& p = places[e];
    const bool samePair = (p.flags & kKept) != 0 && p.sample == at.sample &&
                          ((p.flags & kInterpolate) != 0) == at.interpolate &&
                          (!at.interpolate || p.nextSample == at.nextSample);
    if (samePair) {
        // Fractions by their bits: -0 and +0 are not the same fraction to every blend.
        if (!at.interpolate ||
            std::bit_cast<std::uint32_t>(p.fraction) == std::bit_cast<std::uint32_t>(at.fraction)) {
            if ((p.flags & kStale) != 0) {
                blend(pairIndex(e, (p.flags & kSlot) != 0 ? 1 : 0), p.flags, p.fraction, tms[e]);
                p.flags = static_cast<std::uint8_t>(p.flags & ~kStale);
            }
            out = tms[e];
            return;
        }
        // A moving element is blended straight into the frame's matrix; `tms` is written only
        // when the element stands still, so that a move costs no 48-byte store.
        if ((p.flags & kRigid) != 0 && std::isfinite(at.fraction)) {
            p.fraction = at.fraction;
            p.flags |= kStale;
            blendOrDefer(pairIndex(e, (p.flags & kSlot) != 0 ? 1 : 0), p.flags, at.fraction, out,
                         later, outSlot);
            return;
        }
    } else if (at.interpolate && std::isfinite(at.fraction)) {
        for (std::size_t slot = 0; slot < 2; ++slot) {
            const PairKey& k = pairKeys[pairIndex(e, slot)];
            if (!k.used || k.sample != at.sample || k.nextSample != at.nextSample)
                continue;
            p.sample = at.sample;
            p.nextSample = at.nextSample;
            p.fraction = at.fraction;
            p.flags = static_cast<std::uint8_t>(kKept | kInterpolate | kRigid | kStale |
                                                (slot != 0 ? kSlot : 0) | k.flags);
            blendOrDefer(pairIndex(e, slot), p.flags, at.fraction, out, later, outSlot);
            return;
        }
    }
    fromRows(rows, element, at, out, later, outSlot);
}

} // namespace WelkardTools
