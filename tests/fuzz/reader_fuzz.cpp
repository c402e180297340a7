// libFuzzer entry for the cache reader: the input becomes a .wkc file, which is opened, read row
// by row (also with a cancel part-way), looked up, and has its element block head parsed and
// the whole block checked. Any
// crash, sanitizer report, hang or large allocation is a finding; so is a broken invariant below.
//
// Built as its own target with clang (scripts/fuzz.sh); the unit tests replay the corpus in
// tests/fuzz/corpus through the same function, so every saved input runs in CI.
#include "cachefile/wkCacheElementBlockCheck.h"
#include "cachefile/wkCacheReader.h"
#include "host/headless/HeadlessMaterials.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <unistd.h>

namespace {

using namespace WelkardTools;

const std::filesystem::path& scratchFile() {
    static const std::filesystem::path path =
        std::filesystem::temp_directory_path() /
        ("wkcache-fuzz-" + std::to_string(::getpid()) + ".wkc");
    return path;
}

void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "reader invariant broken: %s\n", what);
        std::abort();
    }
}

bool stopAtThird(void* context, std::int32_t, std::int32_t) {
    return ++*static_cast<int*>(context) < 3;
}

void checkLoaded(const wkCacheReader& reader) {
    const wkCacheIndex* index = reader.getIndex();
    if (reader.status() != kStatusOk || index == nullptr)
        return;
    const auto nodes = static_cast<std::int32_t>(index->nodes.size());
    require(nodes == reader.cacheNumNodes(), "every node of the header is in the index");
    require((reader.getFullMesh() != nullptr) == (nodes > 0), "a full mesh exactly when nodes");
    if (nodes == 0)
        return;
    require(reader.getFullMesh()->getNumVerts() == index->totalVerts, "full mesh vertex count");
    require(reader.getFullMesh()->getNumFaces() == index->totalFaces, "full mesh face count");
    require(reader.getBoxMesh()->getNumFaces() == 12 * nodes, "box mesh face count");
    for (const auto& node : index->nodes) {
        require(node->mesh && node->box, "node meshes built");
        require(node->mesh->getNumVerts() == node->numVerts, "node vertex count");
        require(static_cast<std::int32_t>(node->faceMaterials.size()) == node->numFaces,
                "one material id per face");
    }
}

// Everything a reader offers, on the file at `path`.
void exercise(const WStr& path) {
    HeadlessMaterials materials;
    wkCacheReader reader(path, &materials);
    checkLoaded(reader);

    int calls = 0;
    reader.setProgressCallback(stopAtThird, &calls);
    const bool cancelled = !reader.preload();
    reader.clearProgressCallback();
    require(!cancelled || reader.status() != kStatusOk, "a failed preload leaves a status");

    // Without data there is nothing to load, and preload answers true at once.
    if (reader.preload() && reader.getIndex() != nullptr)
        require(reader.isPreloaded(), "a finished preload loads every row");
    require(reader.loadedSampleCount() <= reader.cacheNumSamples(), "no more rows than samples");

    const std::int32_t samples = std::min(reader.cacheNumSamples(), 8);
    for (std::int32_t s = -1; s <= samples; ++s)
        for (std::int32_t n = -1; n <= std::min(reader.cacheNumNodes(), 64); ++n) {
            const Matrix3 m = reader.sampleTransform(n, s);
            (void)m;
            (void)reader.sampleVisible(n, s);
        }
    reader.fetchSampleAndRelease(reader.cacheNumSamples());

    std::int64_t total = 0;
    std::int64_t loaded = 0;
    reader.getSizes(total, loaded);
    (void)reader.numFrames();
    (void)reader.meshSize();
    (void)reader.animationSize();
    (void)reader.firstMaterial();
    reader.getFrameStore().parseBlockHead(path);
    // The full reading of the element block that `check` and `frame` do.
    (void)CheckElementBlock(scratchFile());
    (void)HasElementBlock(scratchFile());

    // A second load of the same reader starts from nothing.
    reader.setKeepFileOpen(false);
    reader.loadCache();
    checkLoaded(reader);
    require(!reader.isOpen(), "a load with keepFileOpen false closes the file");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    {
        std::ofstream out(scratchFile(), std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    exercise(WStr(scratchFile().c_str()));
    std::error_code ec;
    std::filesystem::remove(scratchFile(), ec); // no file left behind by the replay in the tests
    return 0;
}
