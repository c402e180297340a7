// What each element keeps from frame to frame: whatever road a frame takes (the very same
// place, the same pair at another fraction, a new pair, rows dropped and read again, elements
// at times of their own), its vertices are those of the element's unkept transform, bit for bit.
#include "playback/wkCacheFrameAssembly.h"

#include "tests/cachefile/CacheBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace WelkardTools;
using namespace cachetest;

namespace {

// More than two of the batches a frame blends together, the last one short.
constexpr int kElements = 70;
constexpr int kSamples = 6;
constexpr float kStep = 160.0f;

// Rigid, uniformly scaled, mirrored and stretched elements, a rigid one standing still.
SampleSpec sampleOf(int n, int s) {
    Matrix3 m = RotateXMatrix(0.5f * s + 0.1f * n) * RotateZMatrix(0.9f * s - 0.3f * n);
    const Point3 scales[] = {{1, 1, 1}, {2, 2, 2}, {-1, 1, 1}, {1, 3, 0.5f}, {1, 1, 1}, {1, 1, 1}};
    m = ScaleMatrix(scales[n % 6]) * m;
    if (n % 6 == 4)
        m = RotateYMatrix(0.7f);
    m.SetTrans(Point3(1.5f * s, -2.0f * n, 0.25f * s * s));
    SampleSpec spec;
    std::copy(m.GetAddr(), m.GetAddr() + 12, spec.m.begin());
    return spec;
}

struct Sequence {
    const char* name;
    bool keepRows;                // false: rows dropped and read again at every frame
    std::vector<float> positions; // sample positions of the frames
    float shiftOdd;               // added to the odd elements' positions
    bool otherFile;               // from the third frame on, another cache of the same shape
    std::size_t shiftFrom = 0;    // the first frame whose odd elements are shifted
    bool preloaded = false;       // every row read before the first frame
};

} // namespace

TEST(ElementBlend, EveryRoadGivesTheUnkeptTransform) {
    TempDir dir;
    CacheSpec spec;
    for (int n = 0; n < kElements; ++n) {
        NodeSpec node = triangleNode("e" + std::to_string(n));
        node.verts = {{0.3f, -1.7f, 2.9f}, {1, 0, 0}, {0, 1, 0}};
        spec.nodes.push_back(node);
    }
    for (int s = 0; s < kSamples; ++s) {
        spec.samples.emplace_back();
        for (int n = 0; n < kElements; ++n)
            spec.samples.back().push_back(sampleOf(n, s));
    }
    spec.cacheEnd = static_cast<std::int32_t>(kStep) * (kSamples - 1);
    const std::string path = dir.write("c.wkc", buildCache(spec));
    std::rotate(spec.samples.begin(), spec.samples.begin() + 1, spec.samples.end());
    const std::string otherPath = dir.write("d.wkc", buildCache(spec));

    const std::vector<Sequence> sequences = {
        {"still", true, {1.25f, 1.25f, 1.25f}, 0.0f, false},
        {"one pair", true, {1.1f, 1.4f, 1.9f, 1.2f, 1.0f, 1.6f}, 0.0f, false},
        {"held after a move", true, {1.1f, 1.4f, 1.4f, 1.7f, 1.7f, 1.7f}, 0.0f, false},
        {"crossing pairs", true, {0.5f, 1.5f, 2.5f, 3.75f, 4.5f, 3.25f, 0.1f}, 0.0f, false},
        {"back and forth", true, {0.5f, 1.5f, 0.2f, 1.7f, 1.7f, 1.0f, 0.5f}, 0.0f, false},
        {"ping-pong past the end", true, {4.5f, 5.5f, 6.5f, 7.25f, 12.5f, 3.0f}, 0.0f, false},
        {"before the start", true, {-0.5f, -1.25f, -7.5f, 0.0f, 0.5f}, 0.0f, false},
        {"half shifted", true, {1.1f, 1.3f, 2.6f, 2.9f}, 0.37f, false},
        {"rows read again", false, {1.1f, 1.4f, 1.4f, 2.2f, 1.4f}, 0.0f, false},
        {"another file", true, {1.1f, 1.4f, 1.4f, 1.4f, 1.6f}, 0.0f, true},
        // Elements that stood together cross to different pairs.
        {"parting at a crossing", true, {1.5f, 2.5f, 3.5f, 4.25f}, 1.0f, false, 2, true},
    };
    for (const Sequence& seq : sequences) {
        wkCacheReader first{WStr(path.c_str())};
        wkCacheReader other{WStr(otherPath.c_str())};
        first.setKeepFileOpen(seq.keepRows);
        if (seq.preloaded)
            first.preload();
        wkCacheFrameState state;
        state.elements.resize(kElements);
        state.beforeORT = ORT_LOOP;
        state.afterORT = ORT_PINGPONG;
        wkCacheFrameTimes times;
        Mesh out;
        std::vector<Matrix3> markers;
        bool force = true;
        for (std::size_t k = 0; k < seq.positions.size(); ++k) {
            const float x = seq.positions[k];
            wkCacheReader& reader = seq.otherFile && k >= 2 ? other : first;
            for (int n = 0; n < kElements; ++n)
                state.elements[static_cast<std::size_t>(n)].time =
                    (n % 2 != 0 && k >= seq.shiftFrom ? x + seq.shiftOdd : x) * kStep;
            ASSERT_TRUE(assembleFrame(reader, out, markers, state, times, force));
            force = false;
            ASSERT_EQ(out.getNumVerts(), 3 * kElements);
            for (int n = 0; n < kElements; ++n) {
                const Matrix3 tm =
                    elementTransform(reader, n, state.elements[static_cast<std::size_t>(n)]);
                EXPECT_EQ(out.getVert(3 * n), Point3(0.3f, -1.7f, 2.9f) * tm)
                    << seq.name << " at " << x << ", element " << n;
            }
        }
    }
}

// Large elements take another road (each blended while the one before is written, vertices
// several lanes at a time): every vertex, whatever the element's size around the lane counts.
TEST(ElementBlend, LargeElementsWriteEveryVertexThroughTheirTransform) {
    TempDir dir;
    CacheSpec spec;
    const int sizes[] = {40, 31, 32, 33, 100, 47, 64};
    for (std::size_t n = 0; n < std::size(sizes); ++n) {
        NodeSpec node = triangleNode(std::to_string(n));
        node.verts.clear();
        for (int v = 0; v < sizes[n]; ++v)
            node.verts.emplace_back(0.5f * v - 3.0f, 1.0f / (v + 1), 0.25f * (v % 5));
        spec.nodes.push_back(node);
    }
    for (int s = 0; s < kSamples; ++s) {
        spec.samples.emplace_back();
        for (std::size_t n = 0; n < std::size(sizes); ++n)
            spec.samples.back().push_back(sampleOf(static_cast<int>(n), s));
    }
    spec.cacheEnd = static_cast<std::int32_t>(kStep) * (kSamples - 1);
    wkCacheReader reader{WStr(dir.write("c.wkc", buildCache(spec)).c_str())};
    wkCacheFrameState state;
    state.elements.resize(std::size(sizes));
    wkCacheFrameTimes times;
    Mesh out;
    std::vector<Matrix3> markers;
    for (const float x : {1.3f, 1.7f, 2.2f}) {
        for (wkCacheElementState& e : state.elements)
            e.time = x * kStep;
        ASSERT_TRUE(assembleFrame(reader, out, markers, state, times, x == 1.3f));
        const Mesh& source = *reader.getFullMesh();
        int first = 0;
        for (std::size_t n = 0; n < std::size(sizes); ++n) {
            const Matrix3 tm =
                elementTransform(reader, static_cast<std::int32_t>(n), state.elements[n]);
            for (int v = first; v < first + sizes[n]; ++v)
                EXPECT_EQ(out.getVert(v), source.getVert(v) * tm) << x << ", vertex " << v;
            first += sizes[n];
        }
    }
}
