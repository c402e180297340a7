// What recording costs next to writing its bytes: a scene of 1000 rigid nodes (boxes that move
// and turn) is recorded over 1000 samples through the whole pipeline (gathering, capture, the
// writer, loading the result), and the same number of bytes is written to a file sequentially in
// the writer's buffer size. The counters report the best of each as MB/s and their ratio
// (target: recording at least half as fast as the write, record_over_write at most 2), and the
// processor time of the recording's own thread (record_cpu_ms): on a busy machine the steadier
// figure to compare builds by that share the work between the recording's two threads alike,
// since the wall times also count the time the processor was away.
//
// Both files go to the temporary folder, new at every round, and are removed at the end of the run.
#include "cachefile/wkCacheRegistry.h"
#include "cachefile/wkCacheWriter.h"
#include "host/headless/HeadlessHost.h"
#include "host/headless/HeadlessPrimitives.h"
#include "object/wkCache_obj.h"
#include "recording/RecordCache.h"
#include "tools/common/module_objects.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <memory>
#include <numbers>
#include <stdexcept>
#include <string>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kNodes = 1000;
constexpr int kSamples = 1000;

std::filesystem::path benchFile(const char* what) {
    return std::filesystem::temp_directory_path() /
           ("wkcache-record-bench-" + std::to_string(::getpid()) + "-" + what);
}

// The scene: boxes on a grid, each moving and turning over the range with its own keys.
struct BenchScene {
    HeadlessHost host;
    wkCache_obj* cache = nullptr;

    BenchScene() {
        ScopedHost installed(host);
        host.Time().SetAnimRange(Interval(0, 160 * (kSamples - 1)));
        HeadlessScene& scene = host.Nodes();
        cache = scene.Add(NewCacheObject(host));
        scene.CreateNode(L"Recorder", cache);
        wkCacheRecordParams params;
        params.recStart = 0;
        params.recEnd = kSamples - 1;
        params.recClearNodeList = false;
        params.recSaveMaterial = false;
        cache->setRecordParams(params);
        SceneObject* box = scene.AddObject(std::make_unique<TriObject>(MakeBoxMesh(1, 1, 1)));
        const TimeValue end = 160 * (kSamples - 1);
        for (int n = 0; n < kNodes; ++n) {
            HeadlessNode* node = scene.CreateNode(WStr(("box" + std::to_string(n)).c_str()), box);
            const Point3 at(static_cast<float>(n % 32) * 2.0f, static_cast<float>(n / 32) * 2.0f,
                            0);
            node->Position().AddKey(0, at);
            node->Position().AddKey(end, at + Point3(0, 0, 10));
            node->Rotation().AddKey(0, Quat());
            node->Rotation().AddKey(end, Quat(AngAxis(Point3(0, 0, 1), std::numbers::pi_v<float>)));
            cache->appendNodeEntry(node);
        }
    }
};

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double threadCpuSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// The plain write: `bytes` bytes in pieces of the writer's buffer, then closed.
void writeSequentially(const std::filesystem::path& path, std::uintmax_t bytes) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> f(std::fopen(path.c_str(), "wb"), std::fclose);
    if (!f)
        throw std::runtime_error("cannot create " + path.string());
    const std::vector<char> chunk(WelkardTools::wkCacheWriter::kSampleBufferBytes, 1);
    for (std::uintmax_t left = bytes; left > 0;) {
        const std::size_t n =
            static_cast<std::size_t>(std::min<std::uintmax_t>(left, chunk.size()));
        if (std::fwrite(chunk.data(), 1, n, f.get()) != n)
            throw std::runtime_error("cannot write " + path.string());
        left -= n;
    }
}

void BM_RecordVsSequentialWrite(benchmark::State& state) {
    static BenchScene bench;
    ScopedHost installed(bench.host);
    theCacheRegistry.setMaterials(&bench.host.Materials());
    const std::filesystem::path recorded = benchFile("recorded.wkc");
    const std::filesystem::path plain = benchFile("plain.bin");
    const WStr target = WStr::FromUTF8(recorded.string());

    double bestRecord = std::numeric_limits<double>::max();
    double bestWrite = std::numeric_limits<double>::max();
    double bestRecordCpu = std::numeric_limits<double>::max();
    std::uintmax_t bytes = 0;
    std::error_code ec;
    for (auto _ : state) {
        // Both go to a new file every time: replacing the last round's file would add the file
        // system's freeing of it (a discard on some mounts) to one side's best and not the other's.
        std::filesystem::remove(recorded, ec);
        std::filesystem::remove(plain, ec);
        const double cpuStart = threadCpuSeconds();
        auto start = std::chrono::steady_clock::now();
        if (RecordCache(*bench.cache, &target, true) != 1)
            throw std::runtime_error("the recording failed");
        bestRecord = std::min(bestRecord, secondsSince(start));
        bestRecordCpu = std::min(bestRecordCpu, threadCpuSeconds() - cpuStart);
        bytes = std::filesystem::file_size(recorded);

        start = std::chrono::steady_clock::now();
        writeSequentially(plain, bytes);
        bestWrite = std::min(bestWrite, secondsSince(start));
    }
    (void)theCacheRegistry.evictCache(target);
    theCacheRegistry.setMaterials(nullptr);
    std::filesystem::remove(recorded, ec);
    std::filesystem::remove(plain, ec);

    const double megabytes = static_cast<double>(bytes) / 1e6;
    state.counters["MB"] = megabytes;
    state.counters["record_MBps"] = megabytes / bestRecord;
    state.counters["write_MBps"] = megabytes / bestWrite;
    state.counters["record_over_write"] = bestRecord / bestWrite;
    state.counters["record_cpu_ms"] = bestRecordCpu * 1e3;
}
BENCHMARK(BM_RecordVsSequentialWrite)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace
