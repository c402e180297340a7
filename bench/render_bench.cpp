// One 1280x720 viewport frame of a cache object in the headless window, next to the frame update
// that builds its mesh (updateCacheMesh, whose work is assembleFrame), for the same frame.
//
// BM_ViewportFrame/0: the demo cache, from the file that `wkcache demo` writes; give its path in
// WKCACHE_DEMO_CACHE (default demo.wkc in the working folder), else the case is skipped.
// BM_ViewportFrame/1: a cache of 1,000 elements of 1,000 triangles each (1M triangles), made at
// first use in the temporary folder.
// Counters: display_ms (Display: the shaded mesh and the icon, rasterised) and assemble_ms
// (the update after the mesh was declared stale), both per frame.
#include "cachefile/wkCacheRegistry.h"
#include "host/headless/HeadlessGraphicsWindow.h"
#include "host/headless/HeadlessHost.h"
#include "object/wkCache_obj.h"
#include "tests/cachefile/CacheBuilder.h"

#include "bench/cache_object.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace {

std::string millionTriangleCache() {
    static cachetest::TempDir dir;
    static std::string path;
    if (!path.empty())
        return path;
    cachetest::CacheSpec spec;
    // 1,000 triangles on a grid of 23 by 23 vertices; the last few cover the first cells again.
    constexpr int kElements = 1000, kSide = 23;
    spec.nodes.resize(kElements);
    for (int n = 0; n < kElements; ++n) {
        cachetest::NodeSpec& node = spec.nodes[static_cast<std::size_t>(n)];
        node.name = "e" + std::to_string(n);
        for (int v = 0; v < kSide * kSide; ++v)
            node.verts.emplace_back(static_cast<float>(v % kSide) * 0.04f,
                                    static_cast<float>(v / kSide) * 0.04f,
                                    0.05f * static_cast<float>((v * 7) % 5));
        node.boxMin = {0, 0, 0};
        node.boxMax = {0.9f, 0.9f, 0.2f};
        for (int f = 0; f < 1000; ++f) {
            const auto cell = static_cast<std::uint32_t>((f / 2) % ((kSide - 1) * (kSide - 1)));
            const std::uint32_t row = cell / (kSide - 1), col = cell % (kSide - 1);
            const std::uint32_t a = row * kSide + col;
            cachetest::FaceSpec face;
            face.v = f % 2 == 0 ? std::array<std::uint32_t, 3>{a, a + 1, a + kSide + 1}
                                : std::array<std::uint32_t, 3>{a, a + kSide + 1, a + kSide};
            face.smGroup = 1;
            node.faces.push_back(face);
        }
    }
    spec.samples.resize(2);
    for (int s = 0; s < 2; ++s)
        for (int n = 0; n < kElements; ++n)
            spec.samples[static_cast<std::size_t>(s)].push_back(cachetest::moved(
                static_cast<float>(n % 40), static_cast<float>(n / 40), static_cast<float>(s)));
    path = dir.write("million.wkc", cachetest::buildCache(spec));
    return path;
}

double msSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

void BM_ViewportFrame(benchmark::State& state) {
    std::string path = millionTriangleCache();
    if (state.range(0) == 0) {
        const char* demo = std::getenv("WKCACHE_DEMO_CACHE");
        path = demo != nullptr ? demo : "demo.wkc";
        if (!std::filesystem::is_regular_file(path)) {
            state.SkipWithError("no demo cache: run `wkcache demo` or set WKCACHE_DEMO_CACHE");
            return;
        }
    }
    HeadlessHost host;
    ScopedHost scope(host);
    const auto [node, object] = AddCacheObject(host, path);
    const TimeValue t = 80;
    object.updateCacheMesh(t);
    HeadlessGraphicsWindow gw(1280, 720);
    HeadlessViewExp vpt(gw);
    Box3 bounds;
    object.GetWorldBoundBox(t, node, &vpt, bounds);
    gw.SetCamera(FrameBounds(HeadlessView::Perspective, bounds, 1280, 720));

    double display = 0, assemble = 0;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        object.invalidateSelection();
        object.updateCacheMesh(t);
        assemble += msSince(start);
        start = std::chrono::steady_clock::now();
        gw.Clear(Point3(0.2f, 0.2f, 0.2f));
        object.Display(t, node, &vpt, 0);
        display += msSince(start);
    }
    const auto n = static_cast<double>(state.iterations());
    state.counters["display_ms"] = display / n;
    state.counters["assemble_ms"] = assemble / n;
    state.counters["triangles"] = object.getMesh().getNumFaces();
    theCacheRegistry.evictAll();
    theCacheRegistry.setMaterials(nullptr);
}
BENCHMARK(BM_ViewportFrame)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace
