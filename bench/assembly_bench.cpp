// What a frame of playback costs on the fast path (no element entering or leaving): every
// element located between two samples, its transform blended, its vertices written in place.
//
// BM_FastFrameVsPlainLoop: a cache of 10,000 elements of 100 vertices, or 100,000 of 8 (a
// fracture's small pieces, where the fixed cost of an element weighs most). Each iteration times
// (in thread CPU time) one frame and, back to back, a plain loop that transforms the same number of
// points by one matrix (Point3 * Matrix3), the floor of any per-vertex work. The counters give the
// best time of each per vertex and their ratio. Mode 0 is frames between the same two samples
// (target: at most 1.3 at 100 vertices, 2 at 8); mode 1 crosses at every frame to the next pair
// of samples, one that no element has blended for many frames, so that every element decomposes
// the one sample it has not seen (target 1.6); mode 2 plays on the samples; mode 3 is mode 0 with
// every second element shifted by a quarter sample, as groups or activation shift them; mode 4
// goes back and forth between two pairs (scrubbing), which each element keeps, so nothing is
// decomposed after the first frames.
// BM_FastFrameByElementCount: the same elements, 1,000 to 100,000 of them; the cost per element
// must stay flat (the frame grows linearly).
// BM_InterpolateTransform: the per-element blend alone, twice decomp_affine and a recomposition;
// BM_DecompAffine: one decomposition.
//
// Elements are rigid (a turn and a move per sample, different for every element and sample)
// and carry a few faces each: faces do not enter the fast path, and a full triangulation would
// only make the largest cache file bigger. The caches are written at first use into the
// temporary folder and removed at exit.
#include "playback/interpolateTransform.h"
#include "playback/wkCacheFrameAssembly.h"
#include "tests/cachefile/CacheBuilder.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <time.h>
#include <vector>

namespace {

using namespace WelkardTools;

constexpr int kFacesPerElement = 8;
// Enough that a run of crossing frames comes back to a pair only long after it was blended.
constexpr int kSamples = 12;
constexpr float kStep = 160.0f;

Matrix3 elementMatrix(int element, int sample) {
    const float e = static_cast<float>(element);
    const float s = static_cast<float>(sample);
    Matrix3 m = RotateXMatrix(0.3f * s + 0.001f * e) * RotateZMatrix(0.5f * s - 0.002f * e);
    m.SetTrans(Point3(e * 3.0f + s, s * 2.0f, -e));
    return m;
}

cachetest::CacheSpec benchSpec(int elements, int vertsPerElement) {
    cachetest::CacheSpec spec;
    spec.stepSize = static_cast<std::int32_t>(kStep);
    spec.cacheEnd = spec.stepSize * (kSamples - 1);
    spec.nodes.resize(static_cast<std::size_t>(elements));
    for (int n = 0; n < elements; ++n) {
        cachetest::NodeSpec& node = spec.nodes[static_cast<std::size_t>(n)];
        node.name = "e" + std::to_string(n);
        node.verts.reserve(static_cast<std::size_t>(vertsPerElement));
        for (int v = 0; v < vertsPerElement; ++v)
            node.verts.emplace_back(static_cast<float>(v % 10), static_cast<float>(v / 10),
                                    0.01f * static_cast<float>(n % 7));
        node.boxMax = {9, 9, 1};
        node.boxMin = {0, 0, 0};
        node.faces.resize(kFacesPerElement);
        for (int f = 0; f < kFacesPerElement; ++f) {
            // A corner and its neighbours in the grid of ten a row, or along a small element.
            const int row = vertsPerElement > 10 ? 10 : 2;
            const auto base = static_cast<std::uint32_t>((f * 11) % (vertsPerElement - row));
            node.faces[static_cast<std::size_t>(f)].v = {base, base + 1,
                                                         base + static_cast<std::uint32_t>(row)};
            node.faces[static_cast<std::size_t>(f)].matID = static_cast<std::uint16_t>(n % 4);
        }
    }
    spec.samples.assign(kSamples,
                        std::vector<cachetest::SampleSpec>(static_cast<std::size_t>(elements)));
    for (int s = 0; s < kSamples; ++s)
        for (int n = 0; n < elements; ++n) {
            const Matrix3 m = elementMatrix(n, s);
            std::copy(
                m.GetAddr(), m.GetAddr() + 12,
                spec.samples[static_cast<std::size_t>(s)][static_cast<std::size_t>(n)].m.begin());
        }
    return spec;
}

// One object playing one cache, every row in memory, with a fast frame behind it.
struct BenchPlayback {
    explicit BenchPlayback(const std::string& path) : reader(WStr(path.c_str())) {
        state.elements.resize(static_cast<std::size_t>(reader.cacheNumNodes()));
        reader.preload();
        frameAt(0.5f, true);
    }
    bool frameAt(float x, bool force = false, float shift = 0.0f) {
        for (std::size_t i = 0; i < state.elements.size(); ++i)
            state.elements[i].time = (i % 2 != 0 ? x + shift : x) * kStep;
        times.sampleTimes.clear();
        return assembleFrame(reader, out, markers, state, times, force);
    }

    wkCacheReader reader;
    wkCacheFrameState state;
    wkCacheFrameTimes times;
    Mesh out;
    std::vector<Matrix3> markers;
    // Frames played so far, over every run of every benchmark on this cache: a run that began
    // counting again would start where the run before it ended, and its first frame would cross
    // nothing or stand at the very place of the last.
    std::int64_t frames = 0;
};

// The caches by element count and size, written at first use.
BenchPlayback& playback(int elements, int vertsPerElement = 100) {
    static cachetest::TempDir dir;
    static std::map<std::pair<int, int>, std::unique_ptr<BenchPlayback>> playbacks;
    auto& p = playbacks[{elements, vertsPerElement}];
    if (!p) {
        const std::string path = dir.write(
            "bench" + std::to_string(elements) + "x" + std::to_string(vertsPerElement) + ".wkc",
            cachetest::buildCache(benchSpec(elements, vertsPerElement)));
        p = std::make_unique<BenchPlayback>(path);
    }
    return *p;
}

// The floor, kept out of line so that its code does not depend on what is inlined around it.
[[gnu::noinline]] void plainLoop(const Point3* src, Point3* dst, int verts, const Matrix3& m) {
    for (int v = 0; v < verts; ++v)
        dst[v] = src[v] * m;
}

// The thread's CPU time: on a machine shared with other work a frame of tens of milliseconds is
// often taken off the processor, the short plain loop seldom, and wall time would weigh that.
double cpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

double secondsSince(double start) {
    return cpuSeconds() - start;
}

// Between the samples, and never the same place twice in a row.
float frameTime(std::int64_t iteration) {
    return 0.1f + 0.8f * static_cast<float>(iteration % 17) / 17.0f;
}

// Where the elements stand at each frame of a BM_FastFrameVsPlainLoop run.
enum FrameMode : int {
    kBetweenSamePair = 0, // slow motion or a scene rate above the cache's: same two samples
    kNextPair = 1,        // every frame between the next two samples: one new sample each
    kOnSamples = 2,       // a recording of every frame played at its own rate: no blending
    kHalfShifted = 3,     // kBetweenSamePair, every second element a quarter sample later
    kTwoKeptPairs = 4,    // every frame between the other of two pairs, both kept
};

float frameTime(std::int64_t iteration, int mode) {
    switch (mode) {
    case kNextPair:
        return static_cast<float>(iteration % (kSamples - 1)) + frameTime(iteration);
    case kTwoKeptPairs:
        return static_cast<float>(iteration % 2) + frameTime(iteration);
    case kOnSamples:
        return static_cast<float>(iteration % kSamples);
    default:
        return frameTime(iteration);
    }
}

void BM_FastFrameVsPlainLoop(benchmark::State& state) {
    const auto mode = static_cast<int>(state.range(0));
    BenchPlayback& p = playback(static_cast<int>(state.range(2)), static_cast<int>(state.range(1)));
    const float shift = mode == kHalfShifted ? 0.25f : 0.0f;
    const int verts = p.out.getNumVerts();
    const std::vector<Point3> in(p.reader.getFullMesh()->getVertPtr(0),
                                 p.reader.getFullMesh()->getVertPtr(0) + verts);
    std::vector<Point3> plainOut(in.size());
    const Matrix3 m = elementMatrix(1, 1);

    double bestFrame = std::numeric_limits<double>::max();
    double bestPlain = std::numeric_limits<double>::max();
    for (auto _ : state) {
        double start = cpuSeconds();
        if (!p.frameAt(frameTime(p.frames++, mode), false, shift)) {
            state.SkipWithError("the frame failed");
            break;
        }
        benchmark::ClobberMemory();
        const double frame = secondsSince(start);

        start = cpuSeconds();
        plainLoop(in.data(), plainOut.data(), verts, m);
        benchmark::ClobberMemory();
        const double plain = secondsSince(start);

        bestFrame = std::min(bestFrame, frame);
        bestPlain = std::min(bestPlain, plain);
        state.SetIterationTime(frame);
    }
    state.counters["vertices"] = verts;
    state.counters["frame_ns_per_vertex"] = bestFrame * 1e9 / verts;
    state.counters["plain_ns_per_vertex"] = bestPlain * 1e9 / verts;
    state.counters["frame_over_plain"] = bestFrame / bestPlain;
}
BENCHMARK(BM_FastFrameVsPlainLoop)
    ->ArgNames({"mode", "verts", "elements"})
    ->Args({kBetweenSamePair, 100, 10'000})
    ->Args({kNextPair, 100, 10'000})
    ->Args({kOnSamples, 100, 10'000})
    ->Args({kHalfShifted, 100, 10'000})
    ->Args({kTwoKeptPairs, 100, 10'000})
    ->Args({kBetweenSamePair, 8, 100'000})
    ->Args({kNextPair, 8, 100'000})
    ->Args({kHalfShifted, 8, 100'000})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void BM_FastFrameByElementCount(benchmark::State& state) {
    const auto elements = static_cast<int>(state.range(0));
    BenchPlayback& p = playback(elements);
    for (auto _ : state) {
        if (!p.frameAt(frameTime(p.frames++))) {
            state.SkipWithError("the frame failed");
            break;
        }
        benchmark::ClobberMemory();
    }
    // Seconds per element: shown with its SI prefix (n for nanoseconds).
    state.counters["per_element"] = benchmark::Counter(
        elements, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_FastFrameByElementCount)
    ->ArgName("elements")
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_InterpolateTransform(benchmark::State& state) {
    constexpr int kPairs = 64;
    std::vector<Matrix3> first;
    std::vector<Matrix3> second;
    for (int n = 0; n < kPairs; ++n) {
        first.push_back(elementMatrix(n * 37, 0));
        second.push_back(elementMatrix(n * 37, 1));
    }
    Matrix3 out;
    std::int64_t i = 0;
    for (auto _ : state) {
        const auto k = static_cast<std::size_t>(i % kPairs);
        benchmark::DoNotOptimize(interpolateTransform(out, first[k], second[k], frameTime(i)));
        ++i;
    }
}
BENCHMARK(BM_InterpolateTransform);

void BM_DecompAffine(benchmark::State& state) {
    constexpr int kMatrices = 64;
    std::vector<Matrix3> matrices;
    for (int n = 0; n < kMatrices; ++n)
        matrices.push_back(elementMatrix(n * 37, n % kSamples));
    AffineParts parts;
    std::int64_t i = 0;
    for (auto _ : state) {
        decomp_affine(matrices[static_cast<std::size_t>(i++ % kMatrices)], &parts);
        benchmark::DoNotOptimize(parts);
    }
}
BENCHMARK(BM_DecompAffine);

} // namespace
