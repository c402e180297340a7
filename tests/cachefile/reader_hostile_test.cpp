// Hostile files: counts that the file cannot hold end as the short read they would be, before
// anything is allocated for them; odd but readable values load without harm.
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

struct Outcome {
    std::int32_t status;
    std::size_t largestAllocation;
};

Outcome open(const TempDir& dir, const Bytes& bytes) {
    const std::string path = dir.write("hostile.wkc", bytes);
    allocprobe::LargestAllocation probe;
    wkCacheReader reader(WStr(path.c_str()));
    return {reader.status(), probe.bytes()};
}

} // namespace

TEST(CacheReaderHostile, CountsBeyondTheFileAreShortReadsWithoutAllocation) {
    TempDir dir;
    Layout layout;
    const Bytes good = buildCache(smallCache(), &layout);
    const std::size_t node = layout.nodeRecords[0];
    const std::size_t afterName = node + 4 + 1; // name "a"
    const std::size_t numVertsAt = afterName + 24;
    const std::size_t numFacesAt = numVertsAt + 4;
    const std::size_t numChannelsAt = numFacesAt + 4;
    const std::size_t numMapVertsAt = numChannelsAt + 8;
    struct Case {
        const char* what;
        std::size_t at;
        std::int32_t value;
    };
    const Case cases[] = {
        {"name length", node, INT32_MAX},
        {"negative name length", node, -1},
        {"vertices", numVertsAt, INT32_MAX},
        {"negative vertices", numVertsAt, -2},
        {"faces", numFacesAt, 0x40000000},
        {"negative faces", numFacesAt, INT32_MIN},
        {"channels", numChannelsAt, INT32_MAX},
        {"negative channels", numChannelsAt, -1},
        {"map vertices", numMapVertsAt, INT32_MAX},
        {"negative map vertices", numMapVertsAt, -7},
        {"nodes", 25, INT32_MAX},
    };
    for (const Case& c : cases) {
        Bytes bytes = good;
        patchI32(bytes, c.at, c.value);
        const Outcome out = open(dir, bytes);
        EXPECT_EQ(out.status, kStatusReadPastEOF) << c.what;
        EXPECT_LT(out.largestAllocation, kSmallAllocation) << c.what;
    }
}

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

TEST(CacheReaderHostile, RepeatedChannelCannotInflateTheFullMesh) {
    TempDir dir;
    CacheSpec spec = smallCache();
    ChannelSpec again;
    again.channel = 1;
    spec.nodes[0].channels.push_back(again);
    Layout layout;
    Bytes bytes = buildCache(spec, &layout);
    // The second entry of channel 1 claims two billion map vertices; the node keeps the first.
    const std::size_t secondCount = layout.nodeRecords[0] + 4 + 1 + 24 + 12 + 8 + 4;
    patchI32(bytes, secondCount, INT32_MAX - 3);
    allocprobe::LargestAllocation probe;
    wkCacheReader reader(WStr(dir.write("dup.wkc", bytes).c_str()));
    ASSERT_EQ(reader.status(), kStatusOk);
    EXPECT_EQ(reader.getIndex()->channels.at(1), INT32_MAX);
    EXPECT_EQ(reader.getFullMesh()->getNumMapVerts(1), 3);
    EXPECT_LT(probe.bytes(), kSmallAllocation);
}

TEST(CacheReaderHostile, FaceIndicesOutsideTheVerticesLoad) {
    TempDir dir;
    CacheSpec spec = smallCache();
    spec.nodes[0].faces[0].v = {0, 1, 0xFFFFFFFFu};
    spec.nodes[1].hasSpecifiedNormals = 1; // the full mesh then derives the other normals
    wkCacheReader reader(WStr(dir.write("faces.wkc", buildCache(spec)).c_str()));
    ASSERT_EQ(reader.status(), kStatusOk);
    EXPECT_EQ(reader.getFullMesh()->getFace(0).v[2], 0xFFFFFFFFu);
    EXPECT_NE(reader.getFullMesh()->GetSpecifiedNormals(), nullptr);
}
