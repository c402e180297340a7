// Frame assembly: locating and loading, the classification of a frame, and the output mesh.
#include "playback/wkCacheFrameAssembly.h"

#include "host/WideLanes.h"
#include "playback/interpolateTransform.h"
#include "playback/wkCacheElementBlend.h"
#include "playback/wkCacheFrameAccess.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace WelkardTools {

namespace {

// Sets or clears `bit` of `set` to `on`; answers whether it changed.
bool updateBit(BitArray& set, int bit, bool on) {
    if ((set[bit] != 0) == on)
        return false;
    set.Set(bit, on ? 1 : 0);
    return true;
}

// The material id the cache gives face f of the element; 0 for a face it has none for (the
// box of an element without faces).
MtlID recordedMaterial(const wkCacheNodeInfo& node, std::int32_t f) {
    const auto i = static_cast<std::size_t>(f);
    return i < node.faceMaterials.size() ? node.faceMaterials[i] : MtlID{0};
}

// The empty output of a frame that shows nothing.
void emptyMesh(Mesh& out) {
    if (out.getNumVerts() == 0 && out.getNumFaces() == 0)
        return;
    out.FreeAll();
    out.setNumVerts(0);
    out.setNumFaces(0);
    out.ClearSpecifiedNormals();
    out.InvalidateTopologyCache();
}

// Deforming elements come first in the cache: positions k go to source vertex k.
void applyElementFrames(wkCacheReader& reader, Mesh& source, wkCacheFrameTimes& frameTimes) {
    wkCacheElementFrames& store = reader.getFrameStore();
    std::vector<float>& positions = store.framePositions;
    store.fetchElementFrames(reader.fileName(), frameTimes, positions);
    const std::size_t points =
        std::min(positions.size() / 3, static_cast<std::size_t>(source.getNumVerts()));
    if (points == 0)
        return;
    Point3* verts = source.getVertPtr(0);
    const float* p = positions.data();
    for (std::size_t k = 0; k < points; ++k, p += 3)
        verts[k] = Point3(p[0], p[1], p[2]);
}

// dst[v] = src[v] * m for v < n, the source and the output being different meshes.
[[gnu::always_inline]] inline void transformRun(const Point3* __restrict src,
                                                Point3* __restrict dst, std::int32_t n,
                                                const Matrix3& m) {
    for (std::int32_t v = 0; v < n; ++v)
        dst[v] = src[v] * m;
}

void transformNarrow(const Point3* src, Point3* dst, std::int32_t n, const Matrix3& m) {
    transformRun(src, dst, n, m);
}

// Consecutive runs of vertices, run k of verts[k] vertices through m[k]: the small elements of
// a batch, one after the other.
[[gnu::always_inline]] inline void transformRuns(const Point3* src, Point3* dst,
                                                 const std::int32_t* verts, int count,
                                                 const Matrix3* m) {
    for (int k = 0; k < count; ++k) {
        transformRun(src, dst, verts[k], m[k]);
        src += verts[k];
        dst += verts[k];
    }
}

void transformRunsNarrow(const Point3* src, Point3* dst, const std::int32_t* verts, int count,
                         const Matrix3* m) {
    transformRuns(src, dst, verts, count, m);
}

#ifdef WKCACHE_WIDE_LANES
typedef float Lanes8 __attribute__((vector_size(32)));
typedef float Half4 __attribute__((vector_size(16), aligned(4), may_alias));

// Within each half of a and b: a[i], a[j], b[k], b[l] (the four-lane shuffle in both halves).
template <int i, int j, int k, int l>
__attribute__((target("avx2"), always_inline)) inline Lanes8 shuffleHalves(Lanes8 a, Lanes8 b) {
    return __builtin_shufflevector(a, b, i, j, 8 + k, 8 + l, 4 + i, 4 + j, 12 + k, 12 + l);
}

// Four floats from p + at and four from p + at + 12, the same floats of the next four points.
__attribute__((target("avx2"), always_inline)) inline Lanes8 loadHalves(const float* p, int at) {
    const Half4 lo = *reinterpret_cast<const Half4*>(p + at);
    const Half4 hi = *reinterpret_cast<const Half4*>(p + at + 12);
    return __builtin_shufflevector(lo, hi, 0, 1, 2, 3, 4, 5, 6, 7);
}

__attribute__((target("avx2"), always_inline)) inline void storeHalves(float* p, int at, Lanes8 r) {
    *reinterpret_cast<Half4*>(p + at) = __builtin_shufflevector(r, r, 0, 1, 2, 3);
    *reinterpret_cast<Half4*>(p + at + 12) = __builtin_shufflevector(r, r, 4, 5, 6, 7);
}

// Eight points at a time: their coordinates are regrouped into lanes of x, y and z, each lane
// does the operations of Point3 * Matrix3 in their order, and the results go back in place.
__attribute__((target("avx2"))) inline void transformEight(const float* src, float* dst,
                                                           const float* m) {
    // Points 0-3 in the low halves, 4-7 in the high ones.
    const Lanes8 m03 = loadHalves(src, 0);
    const Lanes8 m14 = loadHalves(src, 4);
    const Lanes8 m25 = loadHalves(src, 8);
    const Lanes8 xy = shuffleHalves<2, 3, 1, 2>(m14, m25);
    const Lanes8 yz = shuffleHalves<1, 2, 0, 1>(m03, m14);
    const Lanes8 x = shuffleHalves<0, 3, 0, 2>(m03, xy);
    const Lanes8 y = shuffleHalves<0, 2, 1, 3>(yz, xy);
    const Lanes8 z = shuffleHalves<1, 3, 0, 3>(yz, m25);
    const Lanes8 ox = x * m[0] + y * m[3] + z * m[6] + m[9];
    const Lanes8 oy = x * m[1] + y * m[4] + z * m[7] + m[10];
    const Lanes8 oz = x * m[2] + y * m[5] + z * m[8] + m[11];
    const Lanes8 rxy = shuffleHalves<0, 2, 0, 2>(ox, oy);
    const Lanes8 ryz = shuffleHalves<1, 3, 1, 3>(oy, oz);
    const Lanes8 rzx = shuffleHalves<0, 2, 1, 3>(oz, ox);
    const Lanes8 r03 = shuffleHalves<0, 2, 0, 2>(rxy, rzx);
    const Lanes8 r14 = shuffleHalves<0, 2, 1, 3>(ryz, rxy);
    const Lanes8 r25 = shuffleHalves<1, 3, 1, 3>(rzx, ryz);
    storeHalves(dst, 0, r03);
    storeHalves(dst, 4, r14);
    storeHalves(dst, 8, r25);
}

// n points through m, eight at a time, then the rest one by one.
__attribute__((target("avx2"), always_inline)) inline void
transformEights(const Point3* src, Point3* dst, std::int32_t n, const Matrix3& m) {
    std::int32_t v = 0;
    for (; v + 8 <= n; v += 8)
        transformEight(&src[v].x, &dst[v].x, m.GetAddr());
    for (; v < n; ++v)
        dst[v] = src[v] * m;
}

__attribute__((target("avx2"))) void transformWide(const Point3* src, Point3* dst, std::int32_t n,
                                                   const Matrix3& m) {
    transformEights(src, dst, n, m);
}

__attribute__((target("avx2"))) void transformRunsWide(const Point3* src, Point3* dst,
                                                       const std::int32_t* verts, int count,
                                                       const Matrix3* m) {
    for (int k = 0; k < count; ++k) {
        transformEights(src, dst, verts[k], m[k]);
        src += verts[k];
        dst += verts[k];
    }
}
#endif

// Below this many vertices the call and the setting up of wide registers cost more than they
// save.
constexpr std::int32_t kWideFrom = 32;

// transformRun, where the processor has AVX2 eight points at a time: each lane does the
// operations of Point3 * Matrix3 in their order, so the bits do not depend on the width.
void transformPoints(const Point3* src, Point3* dst, std::int32_t n, const Matrix3& m) {
#ifdef WKCACHE_WIDE_LANES
    if (WideLanesAvailable()) {
        transformWide(src, dst, n, m);
        return;
    }
#endif
    transformNarrow(src, dst, n, m);
}

// transformRuns in one call for a whole batch, so that even elements of a few vertices take
// wide steps without the cost of a call each.
void transformBatch(const Point3* src, Point3* dst, const std::int32_t* verts, int count,
                    const Matrix3* m) {
#ifdef WKCACHE_WIDE_LANES
    if (WideLanesAvailable()) {
        transformRunsWide(src, dst, verts, count, m);
        return;
    }
#endif
    transformRunsNarrow(src, dst, verts, count, m);
}

const std::vector<std::array<std::int32_t, 2>>& nodeSizes(wkCacheIndex& index) {
    if (index.nodeSizes.size() != index.nodes.size()) {
        index.nodeSizes.clear();
        index.nodeSizes.reserve(index.nodes.size());
        for (const auto& node : index.nodes)
            index.nodeSizes.push_back({node->numVerts, node->numFaces});
    }
    return index.nodeSizes;
}

} // namespace

bool hasOpenData(const wkCacheReader& reader) {
    return reader.getHeader() != nullptr && reader.getIndex() != nullptr &&
           reader.getVersion() >= 1;
}

bool requireOpenData(wkCacheReader& reader) {
    if (hasOpenData(reader))
        return true;
    reader.setStatus(kStatusNoFile);
    reader.closeFile();
    return false;
}

void fitElements(const wkCacheReader& reader, wkCacheFrameState& state) {
    const auto count = static_cast<std::size_t>(elementCount(reader));
    if (state.elements.size() != count)
        state.elements.resize(count);
}

wkCacheTiming cacheTiming(const wkCacheReader& reader) {
    wkCacheTiming timing;
    if (const wkCacheHeader* header = reader.getHeader()) {
        timing.cacheStepSize = header->cacheStepSize;
        timing.cacheFrameRate = header->cacheFrameRate;
        timing.cacheNumSamples = header->cacheNumSamples;
    }
    return timing;
}

bool locateSample(const wkCacheReader& reader, std::int32_t element, wkCacheFrameState& state) {
    if (element < 0 || static_cast<std::size_t>(element) >= state.elements.size())
        return false;
    wkCacheElementState& e = state.elements[static_cast<std::size_t>(element)];
    return ::locateSample(e.time, cacheTiming(reader), state, e);
}

Matrix3 elementTransform(const wkCacheReader& reader, std::int32_t element,
                         const wkCacheElementState& e) {
    const Matrix3 first = reader.sampleTransform(element, e.sample);
    if (!e.interpolate)
        return first;
    Matrix3 blended;
    interpolateTransform(blended, first, reader.sampleTransform(element, e.nextSample), e.fraction);
    return blended;
}

namespace {

// One time located for all elements that stand at it. locateSample leaves nextSample as it was
// where it has no next sample to give: whether it wrote one is found by locating twice over
// different values, so each element ends exactly as its own locateSample would leave it.
struct SharedTime {
    std::uint32_t timeBits = 0;
    bool used = false;
    bool writesNext = false;
    wkCacheSampleLocation at;

    void locate(float time, const wkCacheTiming& timing, const wkCacheRangeSettings& settings) {
        wkCacheSampleLocation probe;
        probe.nextSample = -1;
        at.nextSample = 0;
        ::locateSample(time, timing, settings, at);
        ::locateSample(time, timing, settings, probe);
        writesNext = probe.nextSample == at.nextSample;
        used = true;
    }
    bool copyTo(wkCacheSampleLocation& e) const {
        const std::int32_t kept = e.nextSample;
        e = at;
        if (!writesNext)
            e.nextSample = kept;
        return e.interpolate;
    }
};

} // namespace

bool locateAndLoad(wkCacheReader& reader, wkCacheFrameState& state, std::int32_t element) {
    if (!requireOpenData(reader))
        return false;
    fitElements(reader, state);
    const std::int32_t count = elementCount(reader);
    if (element >= count)
        return false;
    const std::int32_t first = element < 0 ? 0 : element;
    const std::int32_t end = element < 0 ? count : element + 1;

    // Each sample once, in the order the elements first want it. The list stays empty (and
    // unallocated) on frames whose samples are all in memory. Elements mostly want what the one
    // before wanted: the last two samples seen are settled without asking again.
    std::vector<std::int32_t> wanted;
    std::int32_t seen[2] = {-1, -1};
    const auto want = [&](std::int32_t sample) {
        if (sample < 0 || sample == seen[0] || sample == seen[1])
            return;
        seen[1] = seen[0];
        seen[0] = sample;
        if (reader.isSampleLoaded(sample) ||
            std::find(wanted.begin(), wanted.end(), sample) != wanted.end())
            return;
        wanted.push_back(sample);
    };
    // Elements share their time unless groups or activation shift them: each of the last two
    // times is located once and copied to every element standing at it.
    const wkCacheTiming timing = cacheTiming(reader);
    SharedTime shared[2];
    int nextShared = 0;
    for (std::int32_t e = first; e < end; ++e) {
        wkCacheElementState& at = state.elements[static_cast<std::size_t>(e)];
        const auto timeBits = std::bit_cast<std::uint32_t>(at.time);
        SharedTime* known = nullptr;
        for (SharedTime& s : shared)
            if (s.used && s.timeBits == timeBits)
                known = &s;
        if (known == nullptr) {
            known = &shared[nextShared];
            nextShared = 1 - nextShared;
            known->locate(at.time, timing, state);
            known->timeBits = timeBits;
        }
        const bool interpolate = known->copyTo(at);
        if (at.sample < 0)
            continue;
        want(at.sample);
        if (interpolate)
            want(at.nextSample);
    }
    // fetchSampleAndRelease closes the file after each row in Per-Sample mode.
    for (const std::int32_t sample : wanted)
        if (!reader.fetchSampleAndRelease(sample))
            return false;
    return true;
}

bool prepareFrame(wkCacheReader& reader, wkCacheFrameState& state) {
    // 1-3: a clean status; Per-Sample keeps only what this frame needs.
    reader.setStatus(kStatusOk);
    if (!reader.getKeepFileOpen())
        reader.dropSamples();
    if (!requireOpenData(reader))
        return false;

    // 4
    if (!locateAndLoad(reader, state, -1))
        return false;

    // 5: the element sets of the state follow the element count.
    const std::int32_t count = elementCount(reader);
    const bool resized = state.hiddenElements.GetSize() != count ||
                         state.deletedElements.GetSize() != count ||
                         state.materialElements.GetSize() != count;
    if (resized) {
        state.hiddenElements.SetSize(count);
        state.deletedElements.SetSize(count);
        state.materialElements.SetSize(count);
        for (wkCacheElementState& e : state.elements) {
            e.appliedMaterial = -1;
            e.hasAppliedMaterial = false;
        }
    }

    if (!state.elementBlends)
        state.elementBlends = std::make_unique<wkCacheElementBlends>();
    state.elementBlends->fit(static_cast<std::size_t>(count));

    // 6: the frame change record starts empty.
    wkCacheIndex& index = *reader.getIndex();
    index.hiddenChanged.SetSize(count);
    index.deletedChanged.SetSize(count);
    index.materialChanged.SetSize(count);
    index.removedFaces = 0;
    index.removedVerts = 0;

    const std::vector<std::array<std::int32_t, 2>>& sizes = nodeSizes(index);
    const bool hasVisibility = reader.cacheHasVisibility() != 0;
    wkCacheRowLookup rows(index.loadedSamples);

    // The common frame: every element shown in range without a material of its own, as at the
    // frame before. Then nothing changes, and one look at each element says so.
    bool unchanged = !resized && state.hiddenElements.IsEmpty() &&
                     state.deletedElements.IsEmpty() && state.materialElements.IsEmpty();
    const bool visibilityMatters = hasVisibility && (state.deleteInvisible || state.hideInvisible);
    for (std::int32_t i = 0; unchanged && i < count; ++i) {
        const wkCacheElementState& e = state.elements[static_cast<std::size_t>(i)];
        unchanged = e.inRange && !e.deleted && !e.hasGroupMaterial && e.appliedMaterial == -1 &&
                    !e.hasAppliedMaterial &&
                    (!visibilityMatters || rows.sampleRows().visibleAt(rows.row(e.sample), i));
    }
    if (unchanged)
        return true;
    for (std::int32_t i = 0; i < count; ++i) {
        wkCacheElementState& e = state.elements[static_cast<std::size_t>(i)];
        const std::int32_t previous = e.appliedMaterial;

        // 7: shown, hidden or deleted.
        bool deleted = !e.inRange || e.deleted;
        bool hidden = false;
        if (!deleted && hasVisibility && !rows.sampleRows().visibleAt(rows.row(e.sample), i)) {
            if (state.deleteInvisible)
                deleted = true;
            else if (state.hideInvisible)
                hidden = true;
        }

        // 8: the material the element's faces take.
        if (deleted)
            e.appliedMaterial = -1;
        else if (e.hasGroupMaterial)
            e.appliedMaterial = e.groupMaterial;
        else if (hidden && state.applyMaterial && state.invisibleMaterial >= 0)
            e.appliedMaterial = state.invisibleMaterial;
        else
            e.appliedMaterial = -1;
        e.hasAppliedMaterial = e.appliedMaterial != -1;

        // 9: the three sets, and what changed in them.
        if (updateBit(state.deletedElements, i, deleted))
            index.deletedChanged.Set(i);
        if (updateBit(state.hiddenElements, i, hidden))
            index.hiddenChanged.Set(i);
        if (updateBit(state.materialElements, i, e.appliedMaterial != -1) ||
            e.appliedMaterial != previous)
            index.materialChanged.Set(i);

        // 10
        if (deleted) {
            const std::array<std::int32_t, 2>& size = sizes[static_cast<std::size_t>(i)];
            index.removedFaces += state.boxMode ? 12 : size[1];
            index.removedVerts += state.boxMode ? 8 : size[0];
        }
    }
    return true;
}

bool assembleFrame(wkCacheReader& reader, Mesh& out, std::vector<Matrix3>& markers,
                   wkCacheFrameState& state, wkCacheFrameTimes& frameTimes, bool force) {
    markers.clear();

    // 1
    if (!prepareFrame(reader, state)) {
        emptyMesh(out);
        return false;
    }
    const wkCacheIndex& index = *reader.getIndex();
    const std::int32_t count = elementCount(reader);

    // 2
    const bool materialChanged = index.materialChanged.AnyBitSet();
    const bool hiddenChanged = index.hiddenChanged.AnyBitSet();
    const bool deletedChanged = index.deletedChanged.AnyBitSet();
    const bool lastHideInvisible = state.lastHideInvisible;
    state.lastHideInvisible = state.hideInvisible;

    // 3: a cache without nodes has no source meshes, and shows nothing.
    const bool boxMode = state.boxMode;
    Mesh* sourcePtr = boxMode ? reader.getBoxMesh() : reader.getFullMesh();
    if (sourcePtr == nullptr) {
        emptyMesh(out);
        return true;
    }
    Mesh& source = *sourcePtr;

    // 4: deformation, written into the source in place.
    // Only a version 3 file has a block; an earlier one would be read for nothing.
    if (!boxMode && reader.getVersion() >= 3) {
        // Once the block's head is known, only its deforming elements (the first of the cache)
        // need a time: a rigid cache's frame then makes no pass over its elements here.
        const wkCacheElementFrames& store = reader.getFrameStore();
        const std::size_t timed =
            store.parsed ? std::min(state.elements.size(),
                                    static_cast<std::size_t>(std::max(store.elementCount, 0)))
                         : state.elements.size();
        frameTimes.sampleTimes.clear();
        for (std::size_t i = 0; i < timed; ++i) {
            const wkCacheElementState& e = state.elements[i];
            frameTimes.sampleTimes.push_back(static_cast<float>(e.sample) + e.fraction);
        }
        applyElementFrames(reader, source, frameTimes);
    }

    // 5
    if (index.removedFaces == source.getNumFaces()) {
        emptyMesh(out);
        return true;
    }

    // 6: the topology is rebuilt only when it changed, or the output is not what it should be.
    const bool rebuild = force || deletedChanged ||
                         out.getNumVerts() != source.getNumVerts() - index.removedVerts ||
                         out.getNumFaces() != source.getNumFaces() - index.removedFaces;
    if (rebuild) {
        out = source;
    } else if (!state.hideInvisible && lastHideInvisible != state.hideInvisible) {
        for (int f = 0; f < out.getNumFaces(); ++f)
            out.getFace(f).Show();
    }

    // 7: faces are deleted only after a rebuild, so the fast path never needs the set.
    BitArray facesToDelete;
    if (rebuild)
        facesToDelete.SetSize(out.getNumFaces());
    std::int32_t sourceVert = 0;
    std::int32_t sourceFace = 0;
    std::int32_t outVert = 0;
    std::int32_t outFace = 0;

    // Specified normals are rewritten at every frame; their specs know their meshes meanwhile.
    MeshNormalSpec* sourceNormals = nullptr;
    MeshNormalSpec* outNormals = nullptr;
    if (!boxMode && source.GetSpecifiedNormals() != nullptr &&
        source.GetSpecifiedNormals()->GetNumFaces() > 0 && out.GetSpecifiedNormals() != nullptr) {
        sourceNormals = source.GetSpecifiedNormals();
        outNormals = out.GetSpecifiedNormals();
        sourceNormals->SetParent(&source);
        outNormals->SetParent(&out);
    }
    const bool normals = sourceNormals != nullptr;

    // 8
    const Point3* sourceVerts = source.getNumVerts() > 0 ? source.getVertPtr(0) : nullptr;
    const std::vector<std::array<std::int32_t, 2>>& sizes = index.nodeSizes;
    wkCacheRowLookup rows(index.loadedSamples);
    wkCacheElementBlends& blends = *state.elementBlends;
    blends.follow(index.loadedSamples.version());
    // Small elements are blended a batch at a time, so that neighbouring blends overlap; a large
    // one while the vertices of the one before are written (then `batch` holds just those two).
    Matrix3 batch[wkCacheElementBlends::kBatch];
    const bool batched = source.getNumVerts() / std::max(count, 1) < 32;
    // The matrix is used where it was written (a copy of one just stored field by field waits
    // for the stores). A large element's blend is made one element ahead, so that its chain of
    // dependent operations runs while the vertices before it are written.
    const auto blendOf = [&](std::int32_t i) -> Matrix3& {
        const auto at = static_cast<std::size_t>(i);
        Matrix3* blended = nullptr;
        if (batched) {
            const int inBatch = i % wkCacheElementBlends::kBatch;
            if (inBatch == 0)
                blends.transforms(rows, &state.elements[at], i,
                                  std::min(count - i, wkCacheElementBlends::kBatch), batch);
            blended = &batch[inBatch];
        } else {
            if (i == 0)
                blends.transform(rows, i, state.elements[at], batch[0]);
            if (i + 1 < count)
                blends.transform(rows, i + 1, state.elements[at + 1], batch[(i + 1) % 2]);
            blended = &batch[i % 2];
        }
        Matrix3& tm = *blended;
        if (frameTimes.scale != 1.0f) // a product by 1 changes no bit
            tm *= frameTimes.scale;
        return tm;
    };
    const auto writeVerts = [&](std::int32_t from, std::int32_t to, std::int32_t verts,
                                const Matrix3& tm) {
        Point3* dst = out.getVertPtr(to);
        const Point3* src = sourceVerts + from;
        if (verts >= kWideFrom)
            transformPoints(src, dst, verts, tm);
        else
            transformRun(src, dst, verts, tm);
    };

    // The common frame: nothing hidden or deleted, no face to touch. Every element writes its
    // vertices where the source has them, and the rest of the loop below has nothing to do.
    const bool lean = !rebuild && !normals && !hiddenChanged && !materialChanged &&
                      state.hiddenElements.IsEmpty() && state.deletedElements.IsEmpty();
    const std::int32_t vertRoom = std::min(source.getNumVerts(), out.getNumVerts());
    const std::int32_t faceRoom = std::min(source.getNumFaces(), out.getNumFaces());
    if (lean && batched) {
        // A batch's blends, then the vertices of as many of its elements as fit, in one call.
        std::int32_t runs[wkCacheElementBlends::kBatch];
        for (std::int32_t i = 0; i < count; i += wkCacheElementBlends::kBatch) {
            const int n = std::min(count - i, wkCacheElementBlends::kBatch);
            blends.transforms(rows, &state.elements[static_cast<std::size_t>(i)], i, n, batch);
            if (frameTimes.scale != 1.0f) // a product by 1 changes no bit
                for (int k = 0; k < n; ++k)
                    batch[k] *= frameTimes.scale;
            const std::int32_t firstVert = sourceVert;
            int fit = 0;
            for (; fit < n; ++fit) {
                const auto at = static_cast<std::size_t>(i + fit);
                const std::int32_t verts = boxMode ? 8 : sizes[at][0];
                const std::int32_t faces = boxMode ? 12 : sizes[at][1];
                if (sourceVert + verts > vertRoom || sourceFace + faces > faceRoom)
                    break;
                runs[fit] = verts;
                sourceVert += verts;
                sourceFace += faces;
            }
            if (sourceVert > firstVert)
                transformBatch(sourceVerts + firstVert, out.getVertPtr(firstVert), runs, fit,
                               batch);
            if (fit < n)
                break;
        }
    } else if (lean) {
        for (std::int32_t i = 0; i < count; ++i) {
            const Matrix3& tm = blendOf(i);
            const auto at = static_cast<std::size_t>(i);
            const std::int32_t verts = boxMode ? 8 : sizes[at][0];
            const std::int32_t faces = boxMode ? 12 : sizes[at][1];
            if (sourceVert + verts > vertRoom || sourceFace + faces > faceRoom)
                break;
            writeVerts(sourceVert, sourceVert, verts, tm);
            sourceVert += verts;
            sourceFace += faces;
        }
    }
    for (std::int32_t i = 0; !lean && i < count; ++i) {
        const auto at = static_cast<std::size_t>(i);
        const wkCacheElementState& e = state.elements[at];
        Matrix3& tm = blendOf(i);
        const bool hidden = state.hiddenElements[i] != 0;
        if (hidden && state.isViewport)
            markers.push_back(tm);

        const std::int32_t verts = boxMode ? 8 : sizes[at][0];
        const std::int32_t faces = boxMode ? 12 : sizes[at][1];
        const bool deleted = state.deletedElements[i] != 0;
        // A source shorter than its elements claim (a damaged file) ends the frame there.
        const bool takesRoom = !deleted || rebuild;
        if (sourceVert + verts > source.getNumVerts() ||
            sourceFace + faces > source.getNumFaces() ||
            (takesRoom &&
             (outVert + verts > out.getNumVerts() || outFace + faces > out.getNumFaces())))
            break;

        if (deleted) {
            if (rebuild)
                for (std::int32_t f = 0; f < faces; ++f)
                    facesToDelete.Set(outFace + f);
        } else {
            writeVerts(sourceVert, outVert, verts, tm);

            const bool hiddenTouched = rebuild || index.hiddenChanged[i] != 0;
            const bool materialTouched = rebuild || index.materialChanged[i] != 0;
            if (hiddenTouched || materialTouched || normals) {
                const bool useApplied = state.materialElements[i] != 0;
                const auto applied = static_cast<MtlID>(e.appliedMaterial & 0xFFFF);
                const wkCacheNodeInfo& node = *index.nodes[at];
                const MtlID boxMaterial = recordedMaterial(node, 0);
                for (std::int32_t f = 0; f < faces; ++f) {
                    Face& face = out.getFace(outFace + f);
                    if (hiddenTouched)
                        face.SetHide(hidden);
                    if (materialTouched) {
                        MtlID id = applied;
                        if (!useApplied)
                            id = boxMode ? boxMaterial : recordedMaterial(node, f);
                        face.setMatID(id);
                    }
                    if (normals && sourceFace + f < sourceNormals->GetNumFaces() &&
                        outFace + f < outNormals->GetNumFaces())
                        for (int c = 0; c < 3; ++c)
                            outNormals->SetNormal(
                                outFace + f, c,
                                tm.VectorTransform(sourceNormals->GetNormal(sourceFace + f, c)));
                }
            }
        }

        sourceVert += verts;
        sourceFace += faces;
        if (takesRoom) {
            outVert += verts;
            outFace += faces;
        }
    }
    if (normals) {
        sourceNormals->SetParent(nullptr);
        outNormals->SetParent(nullptr);
    }

    // 9
    if (facesToDelete.AnyBitSet()) {
        BitArray isolated(out.getNumVerts());
        out.DeleteFaceSet(facesToDelete, &isolated);
        if (isolated.AnyBitSet())
            out.DeleteVertSet(isolated);
    }

    // 10: the least invalidation that covers what changed.
    if (rebuild) {
        out.BuildStripsAndEdges();
        out.buildNormals();
        out.InvalidateTopologyCache();
    } else if (hiddenChanged || materialChanged) {
        out.InvalidateTopologyCache();
    } else if (state.invalidateGeom) {
        out.InvalidateGeomCache();
    }
    return true;
}

} // namespace WelkardTools
