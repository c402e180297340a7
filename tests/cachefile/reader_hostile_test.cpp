// Hostile files beyond the fuzzing corpus (tests/fuzz): a sample count the file cannot hold
// costs nothing until rows are read, and channel numbers no mesh can hold are passed over.
#include "cachefile/wkCacheReader.h"
#include "tests/cachefile/AllocationProbe.h"
#include "tests/cachefile/CacheBuilder.h"

#include <gtest/gtest.h>

#include <climits>

using namespace WelkardTools;
using namespace cachetest;

namespace {

// Far below any count under test, far above what a small file needs (the read block).
constexpr std::size_t kSmallAllocation = std::size_t{1} << 20;

CacheSpec smallCache() {
    CacheSpec spec;
    NodeSpec a = triangleNode("a", 2);
    ChannelSpec uv;
    uv.channel = 1;
    uv.verts = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    a.channels = {uv};
    spec.nodes = {a, triangleNode("b")};
    spec.samples = {{moved(0, 0, 0), moved(1, 0, 0)}};
    return spec;
}

} // namespace

TEST(CacheReaderHostile, HugeSampleCountCostsNothingUntilRowsAreRead) {
    TempDir dir;
    Bytes bytes = buildCache(smallCache());
    patchI32(bytes, 29, INT32_MAX);
    const std::string path = dir.write("many.wkc", bytes);
    allocprobe::LargestAllocation probe;
    wkCacheReader reader(WStr(path.c_str()));
    EXPECT_EQ(reader.status(), kStatusOk);
    EXPECT_EQ(reader.cacheNumSamples(), INT32_MAX);
    EXPECT_TRUE(reader.fetchSample(0, false));
    EXPECT_FALSE(reader.preload());
    EXPECT_EQ(reader.status(), kStatusReadPastEOF);
    EXPECT_EQ(reader.failedSample(), 1);
    EXPECT_LT(probe.bytes(), kSmallAllocation);
}

TEST(CacheReaderHostile, ChannelsNoMeshCanHoldAreReadAndPassedOver) {
    TempDir dir;
    CacheSpec spec = smallCache();
    for (std::int32_t number : {-50, 100, INT32_MAX}) {
        ChannelSpec odd;
        odd.channel = number;
        odd.verts = {{5, 5, 5}};
        spec.nodes[1].channels.push_back(odd);
    }
    const Bytes bytes = buildCache(spec);
    wkCacheReader reader(WStr(dir.write("odd.wkc", bytes).c_str()));
    ASSERT_EQ(reader.status(), kStatusOk);
    const wkCacheIndex& index = *reader.getIndex();
    EXPECT_EQ(index.channels.size(), 4u);
    EXPECT_EQ(index.minChannel, -50);
    EXPECT_EQ(index.maxChannel, INT32_MAX);
    // maxChannel + 1 wraps to a negative count: no channels but the ones that are switched on.
    const Mesh& full = *reader.getFullMesh();
    EXPECT_TRUE(full.mapSupport(1));
    EXPECT_EQ(full.getNumMapVerts(1), 3);
    EXPECT_EQ(full.getNumMaps(), 2);
    // The rows behind the passed-over bytes are where they belong.
    ASSERT_TRUE(reader.fetchSample(0, false));
    EXPECT_EQ(reader.sampleTransform(1, 0).GetTrans(), Point3(1, 0, 0));
}
