// Vertex positions of the deforming elements at one frame, under the three load types.
#include "cachefile/wkCacheElementFrames.h"
#include "tests/cachefile/CacheBuilder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

using namespace WelkardTools;
using namespace cachetest;

namespace {

constexpr int kSamples = 21; // positions are sampleTime / 20

// Point p of key k.
Point3 keyPoint(int k, int p) {
    return {100.0f * k + p, -1.0f * k, 0.5f * p};
}

// Three elements, the first two deforming with three points each; keys at frames 0, 10, 20 of
// a block of 20 frames.
Bytes deformingCache(std::vector<std::int32_t> pointCounts = {3, 3}) {
    CacheSpec spec;
    spec.nodes = {triangleNode("a"), triangleNode("b"), triangleNode("rigid")};
    spec.samples.assign(kSamples, std::vector<SampleSpec>(3));
    spec.cacheEnd = 160 * (kSamples - 1);
    Bytes bytes = buildCache(spec);
    ElementBlockSpec block;
    block.frameCount = 20;
    block.elementPointCounts = std::move(pointCounts);
    block.keyFrames = {0, 10, 20};
    for (int k = 0; k < 3; ++k) {
        std::vector<Point3> key;
        for (int p = 0; p < 6; ++p)
            key.push_back(keyPoint(k, p));
        block.keys.push_back(key);
    }
    appendElementBlock(bytes, buildElementBlock(block));
    return bytes;
}

wkCacheFrameTimes timesOf(std::vector<float> sampleTimes, std::int32_t loadType) {
    wkCacheFrameTimes times;
    times.sampleTimes = std::move(sampleTimes);
    times.loadType = loadType;
    return times;
}

Point3 pointOf(const std::vector<float>& out, int p) {
    const auto i = static_cast<std::size_t>(3 * p);
    return {out[i], out[i + 1], out[i + 2]};
}

void expectPoint(const Point3& actual, const Point3& expected) {
    EXPECT_NEAR(actual.x, expected.x, 1e-3f);
    EXPECT_NEAR(actual.y, expected.y, 1e-5f);
    EXPECT_NEAR(actual.z, expected.z, 1e-5f);
}

} // namespace

TEST(ElementFrames, EachElementBlendsItsOwnKeys) {
    TempDir dir;
    const WStr path(dir.write("c.wkc", deformingCache()).c_str());
    wkCacheElementFrames store;
    std::vector<float> out;

    // 19.5 lies within a frame of key 20: blended with the full distance, right weight 0.95.
    // 13.5 is more than a frame from key 20: key 10 holds.
    store.fetchElementFrames(path, timesOf({19.5f, 13.5f, 0.0f}, 0), out);
    ASSERT_EQ(out.size(), 18u);
    for (int p = 0; p < 3; ++p) {
        expectPoint(pointOf(out, p), keyPoint(1, p) * 0.05f + keyPoint(2, p) * 0.95f);
        expectPoint(pointOf(out, 3 + p), keyPoint(1, 3 + p));
    }

    // The end of the recording is the last key; beyond the ends it is the first key, not the
    // nearer one.
    store.fetchElementFrames(path, timesOf({20.0f, 25.0f, 0.0f}, 0), out);
    ASSERT_EQ(out.size(), 18u);
    EXPECT_EQ(pointOf(out, 1), keyPoint(2, 1));
    EXPECT_EQ(pointOf(out, 4), keyPoint(0, 4));

    // Deforming elements without a time give nothing.
    store.fetchElementFrames(path, timesOf({10.0f}, 0), out);
    ASSERT_EQ(out.size(), 9u);
    EXPECT_EQ(pointOf(out, 2), keyPoint(1, 2));
}

TEST(ElementFrames, StreamReadsOnlyTheKeysItNeedsAndKeepsThem) {
    TempDir dir;
    const std::string file = dir.write("c.wkc", deformingCache());
    const WStr path(file.c_str());
    wkCacheElementFrames store;
    std::vector<float> out;

    store.fetchElementFrames(path, timesOf({0.0f, 0.0f, 0.0f}, 0), out);
    EXPECT_EQ(store.keys.size(), 1u);
    store.fetchElementFrames(path, timesOf({19.5f, 19.5f, 19.5f}, 0), out);
    EXPECT_EQ(store.keys.size(), 3u);
    EXPECT_TRUE(store.keys.count(1) && store.keys.count(2));

    // With every key in memory the file is not needed any more.
    std::filesystem::remove(file);
    store.fetchElementFrames(path, timesOf({10.0f, 20.0f, 0.0f}, 0), out);
    ASSERT_EQ(out.size(), 18u);
    EXPECT_EQ(pointOf(out, 0), keyPoint(1, 0));
    EXPECT_EQ(pointOf(out, 5), keyPoint(2, 5));
}

TEST(ElementFrames, StreamAtOneTimeReadsTwoKeysAtMost) {
    TempDir dir;
    const WStr path(dir.write("c.wkc", deformingCache()).c_str());
    for (const float t : {0.0f, 9.5f, 12.0f, 19.5f, 20.0f}) {
        wkCacheElementFrames store;
        std::vector<float> out;
        store.fetchElementFrames(path, timesOf({t, t, t}, 0), out);
        EXPECT_LE(store.keys.size(), 2u) << t;
        EXPECT_EQ(out.size(), 18u) << t;
    }
}

TEST(ElementFrames, PerSampleHoldsNoKeyAndPreLoadHoldsAll) {
    TempDir dir;
    const std::string file = dir.write("c.wkc", deformingCache());
    const WStr path(file.c_str());
    const std::vector<std::vector<float>> frames = {
        {0.0f, 20.0f, 3.0f}, {9.25f, 10.75f, 0.0f}, {19.5f, 0.5f, 1.0f}, {13.5f, 19.9f, 0.0f}};

    wkCacheElementFrames stream;
    wkCacheElementFrames perSample;
    wkCacheElementFrames preLoad;
    for (const std::vector<float>& times : frames) {
        std::vector<float> a;
        std::vector<float> b;
        std::vector<float> c;
        stream.fetchElementFrames(path, timesOf(times, 0), a);
        perSample.fetchElementFrames(path, timesOf(times, 1), b);
        preLoad.fetchElementFrames(path, timesOf(times, 2), c);
        ASSERT_EQ(a.size(), 18u);
        EXPECT_EQ(a, b) << times[0];
        EXPECT_EQ(a, c) << times[0];
        EXPECT_TRUE(perSample.keys.empty());
        EXPECT_EQ(preLoad.keys.size(), 3u);
    }

    // Per-Sample keeps nothing it could do without the file: a frame needs it again.
    perSample.keys[0] = std::vector<float>(18, 1.0f);
    std::filesystem::remove(file);
    std::vector<float> out;
    perSample.fetchElementFrames(path, timesOf({0.0f, 0.0f, 0.0f}, 1), out);
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(perSample.keys.empty());
    preLoad.fetchElementFrames(path, timesOf({20.0f, 20.0f, 0.0f}, 2), out);
    ASSERT_EQ(out.size(), 18u);
    EXPECT_EQ(pointOf(out, 4), keyPoint(2, 4));
}

TEST(ElementFrames, NoPositionsWithoutABlock) {
    TempDir dir;
    CacheSpec spec;
    spec.nodes = {triangleNode("a")};
    spec.samples.assign(3, std::vector<SampleSpec>(1));
    const WStr v2(dir.write("v2.wkc", buildCache(spec)).c_str());
    const WStr v3(dir.write("v3.wkc", deformingCache()).c_str());
    wkCacheElementFrames store;
    std::vector<float> out{1.0f, 2.0f};
    for (const std::int32_t loadType : {0, 1, 2}) {
        store.fetchElementFrames(v2, timesOf({1.0f}, loadType), out);
        EXPECT_TRUE(out.empty()) << loadType;
        EXPECT_FALSE(store.parsed);
    }
    // A load type the object does not know does nothing.
    wkCacheElementFrames other;
    other.fetchElementFrames(v3, timesOf({1.0f, 1.0f, 1.0f}, 3), out);
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(other.keys.empty());
    // A missing file, or one whose key has gone (the file changed under the reader).
    store.fetchElementFrames(WStr(dir.file("none.wkc").string().c_str()), timesOf({1.0f}, 0), out);
    EXPECT_TRUE(out.empty());
}

TEST(ElementFrames, ElementCountsBeyondTheKeyGiveNoBlock) {
    TempDir dir;
    for (const std::vector<std::int32_t>& counts :
         {std::vector<std::int32_t>{4, 3}, std::vector<std::int32_t>{-1, 7}}) {
        // The block's pointCount is the sum as written: patch it back to the six points of
        // the keys, so that only the element counts are wrong.
        Bytes bytes = deformingCache(counts);
        const std::size_t blockAt = bytes.size() - (16 + 8 + 12 + 3 * 72);
        patchI32(bytes, blockAt + 8, 6);
        const WStr path(dir.write("bad.wkc", bytes).c_str());
        wkCacheElementFrames store;
        std::vector<float> out;
        store.fetchElementFrames(path, timesOf({1.0f, 1.0f, 1.0f}, 2), out);
        EXPECT_TRUE(store.parsed);
        EXPECT_EQ(store.elementCount, 0);
        EXPECT_TRUE(out.empty());
        EXPECT_TRUE(store.keys.empty());
    }
}
