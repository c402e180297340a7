// What opening a cache costs next to reading its bytes: a cache of about a million vertices, two
// million faces and two map channels is opened (header, index, all meshes, the full mesh), and
// the same file is read into memory. Targets: the open costs at most three times the raw read,
// and at most twice with specified normals on a quarter of the nodes.
//
// The cache is written once per run into the temporary folder, byte by byte in the file format,
// and is in the page cache for both measurements. Each iteration times a raw read and an open
// back to back; the counters report the best of each and their ratio.
#include "cachefile/wkCacheReader.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kNodes = 100;
constexpr int kVertsPerNode = 10'000;
constexpr int kFacesPerNode = 20'000;
constexpr int kMapVertsPerNode = 10'000;
constexpr int kChannels[] = {1, 2};
constexpr int kSamples = 10;

// Appends little-endian fields to a buffer that is flushed to the file in large pieces.
class ByteWriter {
public:
    explicit ByteWriter(std::FILE* f) : file(f) { buffer.reserve(kFlushAt + 256); }
    ~ByteWriter() { flush(); }

    void u8(std::uint8_t v) { buffer.push_back(v); }
    void u16(std::uint16_t v) { raw(&v, 2); }
    void u32(std::uint32_t v) { raw(&v, 4); }
    void i32(std::int32_t v) { raw(&v, 4); }
    void f32(float v) { raw(&v, 4); }
    void vec(float x, float y, float z) {
        f32(x);
        f32(y);
        f32(z);
    }
    void raw(const void* p, std::size_t n) {
        // The bench writes on a little-endian machine, like every writer of the format.
        const auto* bytes = static_cast<const std::uint8_t*>(p);
        buffer.insert(buffer.end(), bytes, bytes + n);
        if (buffer.size() >= kFlushAt)
            flush();
    }
    void flush() {
        if (!buffer.empty() && std::fwrite(buffer.data(), 1, buffer.size(), file) != buffer.size())
            throw std::runtime_error("cannot write the benchmark cache");
        buffer.clear();
    }

private:
    static constexpr std::size_t kFlushAt = std::size_t{8} << 20;
    std::FILE* file;
    std::vector<std::uint8_t> buffer;
};

// A grid-like triangle soup per node: plausible indices, plausible coordinates. Every
// `normalsEvery`-th node carries specified normals (none for 0).
void writeCache(const std::filesystem::path& path, int normalsEvery) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> f(std::fopen(path.c_str(), "wb"), std::fclose);
    if (!f)
        throw std::runtime_error("cannot create " + path.string());
    std::int64_t offset = 0;
    {
        ByteWriter w(f.get());
        std::uint8_t header[256] = {};
        w.raw(header, sizeof header); // patched below
        for (int n = 0; n < kNodes; ++n) {
            const std::string name = "node" + std::to_string(n);
            w.i32(static_cast<std::int32_t>(name.size()));
            w.raw(name.data(), name.size());
            w.vec(0, 0, 0);
            w.vec(100, 100, 1);
            w.i32(kVertsPerNode);
            w.i32(kFacesPerNode);
            w.i32(static_cast<std::int32_t>(std::size(kChannels)));
            for (int c : kChannels) {
                w.i32(c);
                w.i32(kMapVertsPerNode);
            }
            w.u8(normalsEvery > 0 && n % normalsEvery == 0 ? 1 : 0);
        }
        for (int n = 0; n < kNodes; ++n) {
            for (int v = 0; v < kVertsPerNode; ++v)
                w.vec(static_cast<float>(v % 100), static_cast<float>(v / 100),
                      static_cast<float>(n));
            for (int face = 0; face < kFacesPerNode; ++face) {
                const auto a = static_cast<std::uint32_t>(face / 2);
                w.u16(static_cast<std::uint16_t>(face % 3));
                w.u32(1);
                w.u8(face % 2 ? 6 : 3);
                w.u8(0);
                w.u32(a);
                w.u32((a + 1) % kVertsPerNode);
                w.u32((a + 100) % kVertsPerNode);
                for (int corner = 0; corner < 3; ++corner)
                    w.vec(0, 0, 1);
            }
        }
        for ([[maybe_unused]] int c : kChannels) {
            for (int n = 0; n < kNodes; ++n) {
                for (int v = 0; v < kMapVertsPerNode; ++v)
                    w.vec(static_cast<float>(v % 100) / 100.0f,
                          static_cast<float>(v / 100) / 100.0f, 0);
                for (int face = 0; face < kFacesPerNode; ++face) {
                    const auto a = static_cast<std::uint32_t>(face / 2);
                    w.u32(a);
                    w.u32((a + 1) % kMapVertsPerNode);
                    w.u32((a + 100) % kMapVertsPerNode);
                }
            }
        }
        w.flush();
        offset = std::ftell(f.get());
        for (int s = 0; s < kSamples; ++s)
            for (int n = 0; n < kNodes; ++n) {
                const float m[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, static_cast<float>(s), 0, 0};
                w.raw(m, sizeof m);
                w.u8(1);
            }
    }
    std::uint8_t header[46] = {};
    std::memcpy(header, "WKCACHE", 7);
    header[7] = 2;
    const std::int32_t fields[] = {0,
                                   160 * (kSamples - 1),
                                   160,
                                   30,
                                   kNodes,
                                   kSamples,
                                   kNodes * 49,
                                   256,
                                   static_cast<std::int32_t>(offset)};
    std::memcpy(header + 9, fields, sizeof fields);
    std::fseek(f.get(), 0, SEEK_SET);
    std::fwrite(header, 1, sizeof header, f.get());
}

// A benchmark cache, written at first use and removed at exit.
class BenchCache {
public:
    explicit BenchCache(int normalsEvery)
        : path(std::filesystem::temp_directory_path() /
               ("wkcache-reader-bench-" + std::to_string(::getpid()) + "-" +
                std::to_string(normalsEvery) + ".wkc")) {
        writeCache(path, normalsEvery);
    }
    ~BenchCache() {
        std::error_code ec;
        std::filesystem::remove(path, ec);
    }
    const std::filesystem::path path;
};

const BenchCache& benchCache(int normalsEvery) {
    static std::map<int, std::unique_ptr<BenchCache>> caches;
    auto& cache = caches[normalsEvery];
    if (!cache)
        cache = std::make_unique<BenchCache>(normalsEvery);
    return *cache;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The file's bytes into a fresh buffer, as a loader that slurps a file would.
std::size_t readWholeFile(const std::filesystem::path& path) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> f(std::fopen(path.c_str(), "rb"), std::fclose);
    std::fseek(f.get(), 0, SEEK_END);
    const auto size = static_cast<std::size_t>(std::ftell(f.get()));
    std::fseek(f.get(), 0, SEEK_SET);
    // Not zeroed first: the read is the only pass over the memory.
    const auto bytes = std::make_unique_for_overwrite<char[]>(size);
    const std::size_t got = std::fread(bytes.get(), 1, size, f.get());
    benchmark::DoNotOptimize(bytes.get());
    return got;
}

void BM_OpenCacheVsRawRead(benchmark::State& state) {
    const BenchCache& cache = benchCache(static_cast<int>(state.range(0)));
    const WStr fileName(cache.path.c_str());
    double bestRead = std::numeric_limits<double>::max();
    double bestOpen = std::numeric_limits<double>::max();
    std::size_t bytes = 0;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        bytes = readWholeFile(cache.path);
        bestRead = std::min(bestRead, secondsSince(start));

        start = std::chrono::steady_clock::now();
        {
            WelkardTools::wkCacheReader reader(fileName);
            if (reader.hasError() || reader.getFullMesh() == nullptr ||
                reader.getFullMesh()->getNumFaces() != kNodes * kFacesPerNode) {
                state.SkipWithError("the benchmark cache did not load");
                break;
            }
            benchmark::DoNotOptimize(reader.getFullMesh());
        }
        const double open = secondsSince(start);
        bestOpen = std::min(bestOpen, open);
        state.SetIterationTime(open);
    }
    state.counters["file_MB"] = static_cast<double>(bytes) / (1 << 20);
    state.counters["raw_read_ms"] = bestRead * 1e3;
    state.counters["open_ms"] = bestOpen * 1e3;
    state.counters["open_over_read"] = bestOpen / bestRead;
}

// Argument: every how many nodes one carries specified normals (0: none). With some, opening
// also derives the smoothing-group normals of all other faces of the full mesh
// (MeshNormalSpec::CheckNormals), which is the host mesh's work rather than reading.
BENCHMARK(BM_OpenCacheVsRawRead)
    ->ArgName("normalsEvery")
    ->Arg(0)
    ->Arg(4)
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
