// Reading every sample of a cache through the C++ reader: each element's transform and
// visibility byte copied out per sample, as the Python module's Cache.transforms and
// Cache.visibility do into numpy. The cache is the file named by WKCACHE_BENCH_CACHE, which
// bench/python_cache_bench.py writes and then compares with its Python reads; without it the
// benchmark is skipped.
#include "cachefile/wkCacheReader.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

void ReadEverySample(benchmark::State& state) {
    const char* path = std::getenv("WKCACHE_BENCH_CACHE");
    if (path == nullptr) {
        state.SkipWithError("WKCACHE_BENCH_CACHE names no cache");
        return;
    }
    for (auto _ : state) {
        state.PauseTiming();
        auto reader = std::make_unique<WelkardTools::wkCacheReader>(WStr::FromUTF8(path));
        reader->loadCache();
        if (reader->hasError()) {
            state.SkipWithError("the cache cannot be read");
            return;
        }
        const int n = reader->cacheNumNodes();
        std::vector<float> transforms(static_cast<std::size_t>(n) * 12);
        std::vector<unsigned char> visible(static_cast<std::size_t>(n));
        state.ResumeTiming();
        for (int s = 0; s < reader->cacheNumSamples(); ++s) {
            reader->fetchSample(s, false);
            for (int i = 0; i < n; ++i) {
                const Matrix3 tm = reader->sampleTransform(i, s);
                std::memcpy(&transforms[static_cast<std::size_t>(i) * 12], tm.GetAddr(),
                            sizeof(float) * 12);
                visible[static_cast<std::size_t>(i)] = reader->sampleVisible(i, s) ? 1 : 0;
            }
            benchmark::DoNotOptimize(transforms.data());
            benchmark::DoNotOptimize(visible.data());
        }
        state.PauseTiming();
        reader.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(ReadEverySample)->Unit(benchmark::kMillisecond);

} // namespace
