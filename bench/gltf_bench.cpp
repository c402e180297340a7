// What glTF export and import cost, on a cache of 10,000 moving elements (a triangle each)
// sampled over 100 frames.
//
// BM_GltfExport: the playback sampled at every frame, built into an asset and written as a .glb.
// BM_GltfImport: that .glb loaded and turned into the text of a scene file.
// Both report seconds and, as bytes_per_second, MB/s of the .glb.
#include "cachefile/wkCacheRegistry.h"
#include "host/headless/HeadlessHost.h"
#include "object/wkCache_obj.h"
#include "tests/cachefile/CacheBuilder.h"
#include "tools/gltf/gltf_export.h"
#include "tools/gltf/gltf_import.h"

#include "bench/cache_object.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace {

using namespace cachetest;

constexpr int kElements = 10000;
constexpr int kFrames = 100;

TempDir& benchDir() {
    static TempDir dir;
    return dir;
}

const std::string& movingCache() {
    static const std::string path = [] {
        CacheSpec spec;
        spec.cacheEnd = kFrames * 160;
        for (int e = 0; e < kElements; ++e)
            spec.nodes.push_back(triangleNode("e" + std::to_string(e)));
        for (int s = 0; s <= kFrames; ++s) {
            std::vector<SampleSpec> row;
            for (int e = 0; e < kElements; ++e)
                row.push_back(moved(static_cast<float>(e % 100), static_cast<float>(s),
                                    static_cast<float>(e / 100)));
            spec.samples.push_back(std::move(row));
        }
        return benchDir().write("moving.wkc", buildCache(spec));
    }();
    return path;
}

std::string glbPath() {
    return benchDir().file("moving.glb").string();
}

void exportGlb() {
    HeadlessHost host;
    ScopedHost scope(host);
    wkCache_obj& object = AddCacheObject(host, movingCache()).object;
    wkgltf::ExportScene scene;
    wkgltf::CollectPlayback(object, Interval(0, kFrames * 160), 160, 1.0f, {}, scene);
    const tinygltf::Model model = wkgltf::BuildGltf(scene);
    std::ofstream out(glbPath(), std::ios::binary);
    tinygltf::TinyGLTF writer;
    writer.WriteGltfSceneToStream(&model, out, false, true);
    theCacheRegistry.evictAll();
    theCacheRegistry.setMaterials(nullptr);
}

void BM_GltfExport(benchmark::State& state) {
    movingCache();
    for (auto _ : state)
        exportGlb();
    const auto bytes = static_cast<std::int64_t>(std::filesystem::file_size(glbPath()));
    state.SetBytesProcessed(bytes * static_cast<std::int64_t>(state.iterations()));
    state.counters["glbMB"] = static_cast<double>(bytes) / 1e6;
}
BENCHMARK(BM_GltfExport)->Unit(benchmark::kSecond)->Iterations(1);

void BM_GltfImport(benchmark::State& state) {
    if (!std::filesystem::exists(glbPath()))
        exportGlb();
    std::size_t sceneBytes = 0;
    for (auto _ : state) {
        std::vector<std::string> warnings;
        const wkgltf::ImportResult result =
            wkgltf::ImportGltf(wkgltf::LoadGltf(glbPath(), warnings), {});
        sceneBytes = result.scene.dump().size();
    }
    const auto bytes = static_cast<std::int64_t>(std::filesystem::file_size(glbPath()));
    state.SetBytesProcessed(bytes * static_cast<std::int64_t>(state.iterations()));
    state.counters["sceneMB"] = static_cast<double>(sceneBytes) / 1e6;
}
BENCHMARK(BM_GltfImport)->Unit(benchmark::kSecond)->Iterations(1);

} // namespace
