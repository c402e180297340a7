// What an activation scan costs per frame step: 10,000 elements at rest on a grid, 1,000 frames
// of 160 ticks, and a gizmo that
//   - sweeps across the grid and catches every element on its way (the scan ends early once all
//     are caught, and each caught element is refined),
//   - moves above the grid and catches nothing (every step tests every element: the worst case),
//   - stands still (after the first step nothing is tested: this should cost almost nothing).
// The counter per_step is the time of a whole scan divided by the frame steps it ran.
#include "elements/wkCacheActivation.h"
#include "host/headless/HeadlessHost.h"
#include "playback/wkCacheProgress.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace {

constexpr int kSide = 100; // 100 x 100 elements
constexpr float kSpacing = 10.0f;
constexpr int kFrames = 1000;
constexpr int kTicksPerFrame = 160;

std::vector<Point3> grid() {
    std::vector<Point3> points;
    points.reserve(kSide * kSide);
    for (int y = 0; y < kSide; ++y)
        for (int x = 0; x < kSide; ++x)
            points.emplace_back(static_cast<float>(x) * kSpacing, static_cast<float>(y) * kSpacing,
                                0.0f);
    return points;
}

float frameOf(TimeValue t) {
    return static_cast<float>(t) / static_cast<float>(kTicksPerFrame);
}

// A gizmo stretched along y over the whole grid, crossing it along x in the 1,000 frames.
wkCacheTrigger sweeping(TimeValue t) {
    const float x = -100.0f + 1.2f * frameOf(t);
    return {ScaleMatrix(Point3(1.0f, 15.0f, 1.0f)) * TransMatrix(Point3(x, 495.0f, 0.0f)),
            kGizmoTriggerRadius};
}

// The same gizmo, passing far above the grid.
wkCacheTrigger missing(TimeValue t) {
    wkCacheTrigger trigger = sweeping(t);
    trigger.tm.SetTrans(trigger.tm.GetTrans() + Point3(0.0f, 0.0f, 1000.0f));
    return trigger;
}

wkCacheTrigger still(TimeValue) {
    return {TransMatrix(Point3(495.0f, 495.0f, 0.0f)), kGizmoTriggerRadius};
}

void scanBench(benchmark::State& state, wkCacheTrigger (*gizmo)(TimeValue)) {
    HeadlessHost host;
    const ScopedHost installed(host);
    const std::vector<Point3> rest = grid();
    const wkCacheScanRange range{
        0, (kFrames - 1) * kTicksPerFrame, kTicksPerFrame, kTicksPerFrame, false, 0.0f};
    const wkCacheTriggerSource source = gizmo;
    wkCacheProgress progress;
    std::vector<wkCacheElementState> elements;
    int caught = 0;
    for (auto _ : state) {
        elements.assign(rest.size(), wkCacheElementState{});
        benchmark::DoNotOptimize(ScanActivation(rest, source, range, elements, progress));
        caught = 0;
        for (const wkCacheElementState& e : elements)
            caught += e.activated ? 1 : 0;
    }
    // Each scan looks for Escape once at its start and once after every step but one that ends
    // it early: the steps of one scan, from the looks of all of them.
    const double looks = host.UI().EscapeChecks();
    const double iterations = static_cast<double>(state.iterations());
    const double steps =
        caught == static_cast<int>(rest.size()) ? looks / iterations : looks / iterations - 1.0;
    state.counters["steps"] = steps;
    state.counters["caught"] = caught;
    state.counters["per_step"] = benchmark::Counter(
        steps, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_ActivationSweepingGizmo(benchmark::State& state) {
    scanBench(state, sweeping);
}
void BM_ActivationMissingGizmo(benchmark::State& state) {
    scanBench(state, missing);
}
void BM_ActivationStillGizmo(benchmark::State& state) {
    scanBench(state, still);
}

} // namespace

BENCHMARK(BM_ActivationSweepingGizmo)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ActivationMissingGizmo)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ActivationStillGizmo)->Unit(benchmark::kMicrosecond);
