// What explode and key reduction cost.
//
// BM_Explode: a cache of 10,000 rigid elements (a triangle each) exploded over 100 steps into
// point helpers (the key loop, not mesh copies) without reduction. Counters: the keys written
// and the resident memory the run added per key.
// BM_ReduceKeys vs BM_EvaluateOnce: 1,000 position controllers of 1,000 keys on a wavy curve
// (so that most keys stay and the early exit helps), reduced at one sample per key; next to
// it, the same controllers evaluated once at every sample, the floor of an algorithm that
// must look at the curve at least once.
#include "cachefile/wkCacheRegistry.h"
#include "explode/ExplodeToObjects.h"
#include "explode/ReduceKeys.h"
#include "host/headless/HeadlessHost.h"
#include "object/wkCache_obj.h"
#include "tests/cachefile/CacheBuilder.h"

#include "bench/cache_object.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <fstream>
#include <memory>
#include <string>

namespace {

using namespace cachetest;

long residentKiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0)
            return std::stol(line.substr(6));
    }
    return 0;
}

const std::string& explodeCache() {
    static TempDir dir;
    static const std::string path = [] {
        CacheSpec spec;
        constexpr int kElements = 10000, kSamples = 101;
        spec.cacheEnd = (kSamples - 1) * 160;
        for (int e = 0; e < kElements; ++e)
            spec.nodes.push_back(triangleNode("e" + std::to_string(e)));
        for (int s = 0; s < kSamples; ++s) {
            std::vector<SampleSpec> row;
            for (int e = 0; e < kElements; ++e)
                row.push_back(moved(static_cast<float>(e % 100), static_cast<float>(s),
                                    static_cast<float>(e / 100)));
            spec.samples.push_back(std::move(row));
        }
        return dir.write("explode.wkc", buildCache(spec));
    }();
    return path;
}

void BM_Explode(benchmark::State& state) {
    const std::string& path = explodeCache();
    long keys = 0;
    double kibPerKey = 0.0;
    for (auto _ : state) {
        state.PauseTiming();
        HeadlessHost host;
        ScopedHost scope(host);
        wkCache_obj& object = AddCacheObject(host, path).object;
        object.params().SetValue(wkCacheParam::explodeTo, 0, 2);
        const long before = residentKiB();
        state.ResumeTiming();
        INodeTab nodes;
        ExplodeToObjects(object, Interval(0, 100 * 160), 160, nodes, nullptr, false, false, 0,
                         0.02f, true);
        state.PauseTiming();
        keys = 3L * 101 * nodes.Count();
        kibPerKey = static_cast<double>(residentKiB() - before) / static_cast<double>(keys);
        theCacheRegistry.evictAll();
        theCacheRegistry.setMaterials(nullptr);
        state.ResumeTiming();
    }
    state.counters["keys"] = static_cast<double>(keys);
    state.counters["bytesPerKey"] = kibPerKey * 1024.0;
}
BENCHMARK(BM_Explode)->Unit(benchmark::kMillisecond)->Iterations(1);

std::vector<std::unique_ptr<HeadlessPositionKeyControl>> wavyControllers() {
    std::vector<std::unique_ptr<HeadlessPositionKeyControl>> controls;
    for (int c = 0; c < 1000; ++c) {
        auto control = std::make_unique<HeadlessPositionKeyControl>();
        IKeyControl& keys = *control->GetKeyControlInterface();
        keys.SetNumKeys(1000);
        for (int k = 0; k < 1000; ++k) {
            ITCBPoint3Key key;
            key.time = k * 160;
            key.val = Point3(std::sin(0.3f * static_cast<float>(k + c)), static_cast<float>(k), 0);
            keys.SetKey(k, &key);
        }
        controls.push_back(std::move(control));
    }
    return controls;
}

void BM_ReduceKeys(benchmark::State& state) {
    HeadlessHost host;
    ScopedHost scope(host);
    wkCache_obj object;
    for (auto _ : state) {
        state.PauseTiming();
        auto controls = wavyControllers();
        ControlSet set;
        for (auto& c : controls)
            set.insert(c.get());
        state.ResumeTiming();
        ReduceKeys(object, set, Interval(0, 999 * 160), 160, 0.02f);
    }
}
BENCHMARK(BM_ReduceKeys)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_EvaluateOnce(benchmark::State& state) {
    const auto controls = wavyControllers();
    for (auto _ : state) {
        float sum = 0.0f;
        for (const auto& c : controls) {
            for (TimeValue t = 0; t < 999 * 160; t += 160)
                sum += c->ValueAt(t).x;
        }
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(BM_EvaluateOnce)->Unit(benchmark::kMillisecond);

} // namespace
