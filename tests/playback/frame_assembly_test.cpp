// Frame assembly over hand-built caches: shown, hidden and deleted elements, the fast path
// against the rebuild, the load types' handling of rows, and the per-element results.
#include "playback/wkCacheFrameAssembly.h"

#include "playback/interpolateTransform.h"
#include "tests/cachefile/AllocationProbe.h"
#include "tests/cachefile/CacheBuilder.h"
#include "tests/host/expect_point.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

using namespace WelkardTools;
using namespace cachetest;

namespace {

constexpr int kSamples = 10;
constexpr float kStep = 160.0f;
constexpr std::uint32_t kMark = 0xBEEF; // a smoothing group no cache uses

// Element n at sample s: turned about z by 0.1 * s * (n + 1) and moved to (10 s, 100 n, 0).
SampleSpec turned(int n, int s, std::uint8_t visible = 1) {
    const Matrix3 m = RotateZMatrix(0.1f * static_cast<float>(s * (n + 1))) *
                      TransMatrix(Point3(10.0f * static_cast<float>(s), 100.0f * n, 0.0f));
    SampleSpec spec;
    for (int i = 0; i < 12; ++i)
        spec.m[static_cast<std::size_t>(i)] = m.GetAddr()[i];
    spec.visible = visible;
    return spec;
}

// `count` elements of two faces over three vertices; element n's faces carry materials
// 10 n + 1 and 10 n + 2. `hiddenAt(n, s)` says which records are invisible.
template <class Hidden> CacheSpec elementsCache(int count, Hidden hiddenAt) {
    CacheSpec spec;
    for (int n = 0; n < count; ++n) {
        NodeSpec node = triangleNode("e" + std::to_string(n), 2);
        node.faces[0].matID = static_cast<std::uint16_t>(10 * n + 1);
        node.faces[1].matID = static_cast<std::uint16_t>(10 * n + 2);
        node.faces[1].v = {2, 1, 0};
        node.boxMin = {0, 0, 0};
        node.boxMax = {1, 1, 0};
        spec.nodes.push_back(node);
    }
    for (int s = 0; s < kSamples; ++s) {
        std::vector<SampleSpec> row;
        for (int n = 0; n < count; ++n) {
            const bool hidden = hiddenAt(n, s);
            row.push_back(turned(n, s, static_cast<std::uint8_t>(!hidden)));
            spec.hasVisibility |= static_cast<std::uint8_t>(hidden);
        }
        spec.samples.push_back(row);
    }
    spec.cacheEnd = static_cast<std::int32_t>(kStep) * (kSamples - 1);
    return spec;
}

CacheSpec elementsCache(int count) {
    return elementsCache(count, [](int, int) { return false; });
}

// A reader with the playback state of one object on it.
struct Playback {
    explicit Playback(const std::string& path) : reader(WStr(path.c_str())) {
        state.elements.resize(static_cast<std::size_t>(reader.cacheNumNodes()));
        state.beforeORT = ORT_HOLD;
        state.afterORT = ORT_HOLD;
        state.hideInvisible = true;
    }

    // Every element at sample position x.
    bool frameAt(float x, bool force = false) {
        for (wkCacheElementState& e : state.elements)
            e.time = x * kStep;
        return frame(force);
    }
    bool frame(bool force = false) {
        times.sampleTimes.clear();
        return assembleFrame(reader, out, markers, state, times, force);
    }
    // A rebuild copies the source over the output; a fast frame keeps what it does not write.
    void markOutput() { out.getFace(out.getNumFaces() - 1).smGroup = kMark; }
    bool rebuiltSinceMark() const { return out.getFace(out.getNumFaces() - 1).smGroup != kMark; }

    wkCacheReader reader;
    wkCacheFrameState state;
    wkCacheFrameTimes times;
    Mesh out;
    std::vector<Matrix3> markers;
};

// Where element n's recorded vertex v lands at sample position x (without interpolation).
Point3 expectedAt(int n, int v, int sample) {
    const Point3 verts[3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    const SampleSpec s = turned(n, sample);
    Matrix3 m;
    for (int i = 0; i < 12; ++i)
        m.GetAddr()[i] = s.m[static_cast<std::size_t>(i)];
    return verts[v] * m;
}

bool facesHidden(const Mesh& mesh, int first, int count) {
    for (int f = first; f < first + count; ++f)
        if (!mesh.getFace(f).Hidden())
            return false;
    return true;
}

} // namespace

TEST(FrameAssembly, HiddenElementsKeepTheirFacesDeletedOnesLoseThem) {
    TempDir dir;
    const std::string path =
        dir.write("c.wkc", buildCache(elementsCache(3, [](int n, int) { return n == 1; })));

    Playback hide(path);
    ASSERT_TRUE(hide.frameAt(2, true));
    ASSERT_EQ(hide.out.getNumVerts(), 9);
    ASSERT_EQ(hide.out.getNumFaces(), 6);
    EXPECT_FALSE(facesHidden(hide.out, 0, 1));
    EXPECT_TRUE(facesHidden(hide.out, 2, 2));
    EXPECT_FALSE(hide.out.getFace(4).Hidden());
    expectNear(hide.out.getVert(4), expectedAt(1, 1, 2)); // hidden, still moved
    ASSERT_EQ(hide.markers.size(), 1u);
    EXPECT_TRUE(hide.markers[0].Equals(hide.reader.sampleTransform(1, 2), 1e-6f));
    EXPECT_EQ(hide.reader.getIndex()->removedFaces, 0);

    // Outside the viewport the hidden element has no marker.
    hide.state.isViewport = false;
    ASSERT_TRUE(hide.frameAt(3));
    EXPECT_TRUE(hide.markers.empty());

    Playback remove(path);
    remove.state.deleteInvisible = true;
    ASSERT_TRUE(remove.frameAt(2, true));
    EXPECT_EQ(remove.reader.getIndex()->removedFaces, 2);
    EXPECT_EQ(remove.reader.getIndex()->removedVerts, 3);
    ASSERT_EQ(remove.out.getNumVerts(), 6);
    ASSERT_EQ(remove.out.getNumFaces(), 4);
    EXPECT_TRUE(remove.markers.empty());
    // The third element follows the first directly, faces and materials included.
    expectNear(remove.out.getVert(3), expectedAt(2, 0, 2));
    expectNear(remove.out.getVert(5), expectedAt(2, 2, 2));
    EXPECT_EQ(remove.out.getFace(2).getMatID(), 21);
    EXPECT_EQ(remove.out.getFace(2).getVert(1), 4u);
    EXPECT_FALSE(facesHidden(remove.out, 0, 4));

    // Neither: the invisible element is shown like the others.
    Playback show(path);
    show.state.hideInvisible = false;
    ASSERT_TRUE(show.frameAt(2, true));
    EXPECT_EQ(show.out.getNumFaces(), 6);
    EXPECT_FALSE(facesHidden(show.out, 2, 1));
    EXPECT_TRUE(show.markers.empty());
}

TEST(FrameAssembly, AllElementsOutOfRangeUnderHideGiveAnEmptyMesh) {
    TempDir dir;
    Playback p(dir.write("c.wkc", buildCache(elementsCache(2))));
    p.state.afterORT = ORT_HIDE;
    ASSERT_TRUE(p.frameAt(3, true));
    ASSERT_EQ(p.out.getNumFaces(), 4);
    EXPECT_TRUE(p.frameAt(12));
    EXPECT_EQ(p.out.getNumVerts(), 0);
    EXPECT_EQ(p.out.getNumFaces(), 0);
    EXPECT_EQ(p.reader.getIndex()->removedFaces, 4);
    // The end of the recording is exclusive under Hide.
    EXPECT_TRUE(p.frameAt(static_cast<float>(kSamples - 1)));
    EXPECT_EQ(p.out.getNumFaces(), 0);
    EXPECT_TRUE(p.frameAt(static_cast<float>(kSamples - 2)));
    EXPECT_EQ(p.out.getNumFaces(), 4);
}

TEST(FrameAssembly, AnElementLeavingRebuildsOnceThenFramesAreFast) {
    TempDir dir;
    Playback p(dir.write("c.wkc", buildCache(elementsCache(3))));
    p.state.beforeORT = ORT_HIDE;
    ASSERT_TRUE(p.frameAt(4, true));
    ASSERT_EQ(p.out.getNumFaces(), 6);

    // Element 0 starts later than the others: at x it is at x - 3, before its range at x < 3.
    const auto frameWithLateFirst = [&](float x) {
        for (std::size_t e = 0; e < p.state.elements.size(); ++e)
            p.state.elements[e].time = (e == 0 ? x - 3.0f : x) * kStep;
        return p.frame();
    };
    p.markOutput();
    ASSERT_TRUE(frameWithLateFirst(2));
    EXPECT_TRUE(p.rebuiltSinceMark());
    EXPECT_TRUE(p.reader.getIndex()->deletedChanged[0]);
    ASSERT_EQ(p.out.getNumFaces(), 4);
    ASSERT_EQ(p.out.getNumVerts(), 6);

    for (float x : {2.0f, 1.0f, 0.0f}) {
        p.markOutput();
        ASSERT_TRUE(frameWithLateFirst(x));
        EXPECT_FALSE(p.rebuiltSinceMark()) << x;
        // The counters skip the deleted element: the output starts with element 1.
        expectNear(p.out.getVert(0), expectedAt(1, 0, static_cast<int>(x)));
        expectNear(p.out.getVert(5), expectedAt(2, 2, static_cast<int>(x)));
        EXPECT_EQ(p.out.getFace(0).getMatID(), 11);
    }

    // Back in range: one more rebuild.
    p.markOutput();
    ASSERT_TRUE(frameWithLateFirst(5));
    EXPECT_TRUE(p.rebuiltSinceMark());
    EXPECT_EQ(p.out.getNumFaces(), 6);
    expectNear(p.out.getVert(1), expectedAt(0, 1, 2));

    // An output that someone else changed is rebuilt by itself.
    p.out.setNumFaces(2);
    ASSERT_TRUE(frameWithLateFirst(5));
    EXPECT_EQ(p.out.getNumFaces(), 6);
}

TEST(FrameAssembly, VisibilityTrackFlipsOnlyThatElementsFlags) {
    TempDir dir;
    // Element 1 is invisible at sample 5 and visible again from 6.
    Playback p(dir.write(
        "c.wkc", buildCache(elementsCache(3, [](int n, int s) { return n == 1 && s == 5; }))));
    ASSERT_TRUE(p.frameAt(4, true));
    EXPECT_FALSE(facesHidden(p.out, 2, 1));

    // A stray flag on another element shows which faces a fast frame touches.
    p.out.getFace(5).Hide();
    p.markOutput();
    ASSERT_TRUE(p.frameAt(5));
    EXPECT_TRUE(facesHidden(p.out, 2, 2));
    EXPECT_FALSE(facesHidden(p.out, 0, 1));
    EXPECT_TRUE(p.out.getFace(5).Hidden());
    EXPECT_FALSE(p.rebuiltSinceMark());
    EXPECT_EQ(p.reader.getIndex()->hiddenChanged.NumberSet(), 1);

    // Between samples the earlier one counts.
    ASSERT_TRUE(p.frameAt(5.5f));
    EXPECT_TRUE(facesHidden(p.out, 2, 2));
    EXPECT_TRUE(p.reader.getIndex()->hiddenChanged.IsEmpty());

    ASSERT_TRUE(p.frameAt(6));
    EXPECT_FALSE(p.out.getFace(2).Hidden());
    EXPECT_FALSE(p.out.getFace(3).Hidden());
    EXPECT_TRUE(p.out.getFace(5).Hidden());
    EXPECT_FALSE(p.rebuiltSinceMark());
    EXPECT_EQ(p.out.getNumFaces(), 6);
}

TEST(FrameAssembly, SwitchingHideInvisibleOffClearsAllHiddenFlags) {
    TempDir dir;
    Playback p(dir.write("c.wkc", buildCache(elementsCache(2, [](int n, int) { return n == 0; }))));
    ASSERT_TRUE(p.frameAt(1, true));
    EXPECT_TRUE(facesHidden(p.out, 0, 2));
    p.out.getFace(3).Hide(); // not the frame's doing, yet cleared with the rest
    p.markOutput();

    p.state.hideInvisible = false;
    ASSERT_TRUE(p.frameAt(1));
    EXPECT_FALSE(p.rebuiltSinceMark());
    for (int f = 0; f < 4; ++f)
        EXPECT_FALSE(p.out.getFace(f).Hidden()) << f;
    EXPECT_TRUE(p.markers.empty());
}

TEST(FrameAssembly, MaterialsFollowGroupsAndTheInvisibleMaterial) {
    TempDir dir;
    Playback p(dir.write("c.wkc", buildCache(elementsCache(2, [](int n, int) { return n == 1; }))));
    p.state.applyMaterial = true;
    p.state.invisibleMaterial = 7;
    p.state.elements[0].hasGroupMaterial = true;
    p.state.elements[0].groupMaterial = 5;
    ASSERT_TRUE(p.frameAt(1, true));
    EXPECT_EQ(p.out.getFace(0).getMatID(), 5); // no 1 subtracted
    EXPECT_EQ(p.out.getFace(1).getMatID(), 5);
    EXPECT_EQ(p.out.getFace(2).getMatID(), 7);
    EXPECT_TRUE(p.state.materialElements[1]);

    p.markOutput();
    p.state.elements[0].hasGroupMaterial = false;
    ASSERT_TRUE(p.frameAt(2));
    EXPECT_FALSE(p.rebuiltSinceMark());
    EXPECT_EQ(p.out.getFace(0).getMatID(), 1);
    EXPECT_EQ(p.out.getFace(1).getMatID(), 2);
    EXPECT_EQ(p.out.getFace(2).getMatID(), 7);
    EXPECT_EQ(p.reader.getIndex()->materialChanged.NumberSet(), 1);

    // Another group id on an element that has one already counts as a change too.
    p.state.elements[1].hasGroupMaterial = true;
    p.state.elements[1].groupMaterial = 9;
    ASSERT_TRUE(p.frameAt(2));
    EXPECT_EQ(p.out.getFace(3).getMatID(), 9);
    EXPECT_TRUE(p.reader.getIndex()->materialChanged[1]);
}

TEST(FrameAssembly, BoxModeShowsOneBoxPerElementWithOneMaterial) {
    TempDir dir;
    CacheSpec spec = elementsCache(2);
    spec.nodes[0].boxMax = {2, 3, 4};
    Bytes bytes = buildCache(spec);
    ElementBlockSpec block;
    block.frameCount = 9;
    block.elementPointCounts = {3};
    block.keyFrames = {0, 9};
    block.keys = {{{5, 5, 5}, {5, 5, 5}, {5, 5, 5}}, {{6, 6, 6}, {6, 6, 6}, {6, 6, 6}}};
    appendElementBlock(bytes, buildElementBlock(block));
    Playback p(dir.write("c.wkc", bytes));
    p.state.boxMode = true;
    ASSERT_TRUE(p.frameAt(3, true));
    ASSERT_EQ(p.out.getNumVerts(), 16);
    ASSERT_EQ(p.out.getNumFaces(), 24);
    expectNear(p.out.getVert(7), Point3(2, 3, 4) * p.reader.sampleTransform(0, 3));
    expectNear(p.out.getVert(8), Point3(0, 0, 0) * p.reader.sampleTransform(1, 3));
    for (int f = 0; f < 12; ++f) {
        EXPECT_EQ(p.out.getFace(f).getMatID(), 1) << f;
        EXPECT_EQ(p.out.getFace(12 + f).getMatID(), 11) << f;
    }
    // No deformation read: no element times, no keys, the full mesh as recorded.
    EXPECT_TRUE(p.times.sampleTimes.empty());
    EXPECT_TRUE(p.reader.getFrameStore().keys.empty());
    EXPECT_EQ(p.reader.getFullMesh()->getVert(0), Point3(0, 0, 0));

    // Out of box mode the deformation applies.
    p.state.boxMode = false;
    ASSERT_TRUE(p.frameAt(3));
    EXPECT_EQ(p.times.sampleTimes, (std::vector<float>{3.0f, 3.0f}));
    EXPECT_EQ(p.reader.getFullMesh()->getVert(2), Point3(5, 5, 5));
    expectNear(p.out.getVert(2), Point3(5, 5, 5) * p.reader.sampleTransform(0, 3));
    expectNear(p.out.getVert(5), expectedAt(1, 2, 3)); // not deforming
}

TEST(FrameAssembly, ScaleDoublesPositionsAndSpecifiedNormals) {
    TempDir dir;
    CacheSpec spec = elementsCache(2);
    for (NodeSpec& node : spec.nodes) {
        node.hasSpecifiedNormals = 1;
        for (FaceSpec& f : node.faces)
            f.normals = {Point3(0, 0, 1), Point3(0, 1, 0), Point3(1, 0, 0)};
    }
    const std::string path = dir.write("c.wkc", buildCache(spec));
    Playback one(path);
    Playback two(path);
    two.state.elements[1].deleted = true;
    two.times.scale = 2.0f;
    for (bool force : {true, false}) {
        ASSERT_TRUE(one.frameAt(2.5f, force));
        ASSERT_TRUE(two.frameAt(2.5f, force));
        ASSERT_EQ(two.out.getNumFaces(), 2);
        for (int v = 0; v < 3; ++v)
            expectNear(two.out.getVert(v), one.out.getVert(v) * 2.0f);
        const MeshNormalSpec* n1 = one.out.GetSpecifiedNormals();
        const MeshNormalSpec* n2 = two.out.GetSpecifiedNormals();
        ASSERT_NE(n2, nullptr);
        ASSERT_EQ(n2->GetNumFaces(), 2);
        for (int f = 0; f < 2; ++f)
            for (int c = 0; c < 3; ++c) {
                EXPECT_NEAR(n2->GetNormal(f, c).Length(), 2.0f, 1e-5f);
                expectNear(n2->GetNormal(f, c), n1->GetNormal(f, c) * 2.0f);
                EXPECT_TRUE(n2->Face(f).GetSpecified(c));
            }
        // The normals turn with the element.
        expectNear(n1->GetNormal(0, 1), elementTransform(one.reader, 0, one.state.elements[0])
                                            .VectorTransform(Point3(0, 1, 0)));
    }
}

TEST(FrameAssembly, FastPathGivesWhatARebuildGives) {
    TempDir dir;
    CacheSpec spec = elementsCache(4, [](int n, int s) { return n == 2 && s >= 6; });
    spec.nodes[3].hasSpecifiedNormals = 1;
    spec.nodes[3].faces[0].normals = {Point3(0, 0, 1), Point3(0, 0.6f, 0.8f), Point3(1, 0, 0)};
    const std::string path = dir.write("c.wkc", buildCache(spec));
    Playback fast(path);
    fast.state.elements[1].hasGroupMaterial = true;
    fast.state.elements[1].groupMaterial = 4;
    ASSERT_TRUE(fast.frameAt(0, true));
    for (float x : {0.25f, 1.5f, 4.75f, 6.5f, 7.125f, 8.9f}) {
        fast.markOutput();
        ASSERT_TRUE(fast.frameAt(x));
        ASSERT_FALSE(fast.rebuiltSinceMark()) << x;

        Playback fresh(path);
        fresh.state.elements[1].hasGroupMaterial = true;
        fresh.state.elements[1].groupMaterial = 4;
        ASSERT_TRUE(fresh.frameAt(x, true));
        ASSERT_EQ(fast.out.getNumVerts(), fresh.out.getNumVerts());
        ASSERT_EQ(fast.out.getNumFaces(), fresh.out.getNumFaces());
        for (int v = 0; v < fresh.out.getNumVerts(); ++v)
            EXPECT_EQ(fast.out.getVert(v), fresh.out.getVert(v)) << x << " vertex " << v;
        for (int f = 0; f < fresh.out.getNumFaces(); ++f)
            EXPECT_EQ(fast.out.getFace(f).flags, fresh.out.getFace(f).flags) << x << " face " << f;
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(fast.out.GetSpecifiedNormals()->GetNormal(6, c),
                      fresh.out.GetSpecifiedNormals()->GetNormal(6, c));
        EXPECT_EQ(fast.markers.size(), fresh.markers.size());
    }
}

// Vertices are transformed eight to a step where the processor allows, small elements a batch
// at a time, large ones one at a time: with sizes around the step, over more than one batch,
// every vertex lands where Point3 * Matrix3 puts it, to the bit.
TEST(FrameAssembly, ElementsOfEverySizeLandWhereTheirTransformPutsThem) {
    const std::vector<int> caches[] = {{8, 1, 9, 16, 7, 17, 3, 24, 15}, {40, 33, 64, 47}};
    for (const std::vector<int>& sizes : caches) {
        SCOPED_TRACE(testing::Message() << "elements of " << sizes[0] << " vertices and more");
        CacheSpec spec = elementsCache(70);
        for (std::size_t n = 0; n < spec.nodes.size(); ++n) {
            std::vector<Point3>& verts = spec.nodes[n].verts;
            verts.clear();
            for (int v = 0; v < sizes[n % sizes.size()]; ++v)
                verts.emplace_back(0.37f * v, 1.0f - 0.11f * v, 0.013f * v * v);
            for (FaceSpec& f : spec.nodes[n].faces) // within the element's vertices
                f.v = {0, static_cast<std::uint32_t>(verts.size() - 1), 0};
        }
        TempDir dir;
        Playback p(dir.write("c.wkc", buildCache(spec)));
        ASSERT_TRUE(p.frameAt(0, true));
        for (float x : {0.25f, 0.75f, 5.5f}) {
            p.markOutput();
            ASSERT_TRUE(p.frameAt(x));
            ASSERT_FALSE(p.rebuiltSinceMark()) << x;
            int at = 0;
            int misplaced = 0;
            for (std::size_t n = 0; n < spec.nodes.size(); ++n) {
                const auto element = static_cast<std::int32_t>(n);
                const Matrix3 m = elementTransform(p.reader, element, p.state.elements[n]);
                for (const Point3& v : spec.nodes[n].verts)
                    misplaced += p.out.getVert(at++) == v * m ? 0 : 1;
            }
            EXPECT_EQ(misplaced, 0) << x;
        }
    }
}

// Frames with every element shown and nothing of its own take shortcuts; whatever ends such a
// run must show at once, as on an object that never took them.
TEST(FrameAssembly, AChangeAfterPlainFramesShowsAsOnAFreshObject) {
    struct Case {
        const char* what;
        float x;
        void (*change)(wkCacheFrameState&);
    };
    const Case cases[] = {
        {"group material", 1.25f,
         [](wkCacheFrameState& s) {
             s.elements[1].hasGroupMaterial = true;
             s.elements[1].groupMaterial = 4;
         }},
        {"group deletes", 1.25f, [](wkCacheFrameState& s) { s.elements[0].deleted = true; }},
        {"record turns invisible", 3.0f, [](wkCacheFrameState&) {}},
    };
    TempDir dir;
    const std::string path = dir.write(
        "c.wkc", buildCache(elementsCache(3, [](int n, int s) { return n == 2 && s == 3; })));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Playback fast(path);
        ASSERT_TRUE(fast.frameAt(1, true));
        ASSERT_TRUE(fast.frameAt(1.5f));
        c.change(fast.state);
        ASSERT_TRUE(fast.frameAt(c.x));
        ASSERT_TRUE(fast.frameAt(c.x)); // and when it stays
        Playback fresh(path);
        c.change(fresh.state);
        ASSERT_TRUE(fresh.frameAt(c.x, true));
        ASSERT_EQ(fast.out.getNumVerts(), fresh.out.getNumVerts());
        ASSERT_EQ(fast.out.getNumFaces(), fresh.out.getNumFaces());
        for (int v = 0; v < fresh.out.getNumVerts(); ++v)
            EXPECT_EQ(fast.out.getVert(v), fresh.out.getVert(v)) << "vertex " << v;
        for (int f = 0; f < fresh.out.getNumFaces(); ++f) // hidden flag and material
            EXPECT_EQ(fast.out.getFace(f).flags, fresh.out.getFace(f).flags) << "face " << f;
        EXPECT_EQ(fast.markers.size(), fresh.markers.size());
    }
}

TEST(FrameAssembly, FastFramesDoNotAllocate) {
    TempDir dir;
    CacheSpec spec = elementsCache(5, [](int n, int s) { return n == 3 && s % 2 == 1; });
    Bytes bytes = buildCache(spec);
    ElementBlockSpec block;
    block.frameCount = 9;
    block.elementPointCounts = {3, 3};
    block.keyFrames = {0, 4, 5, 9};
    for (int k = 0; k < 4; ++k)
        block.keys.push_back(std::vector<Point3>(6, Point3(1.0f * k, 2.0f, 3.0f)));
    appendElementBlock(bytes, buildElementBlock(block));
    for (const std::int32_t loadType : {0, 2}) {
        Playback p(dir.write("c.wkc", bytes));
        p.times.loadType = loadType;
        ASSERT_TRUE(p.reader.preload());
        ASSERT_TRUE(p.frameAt(0, true));
        for (float x = 0.0f; x < 9.0f; x += 0.5f) // warm: every key and every marker
            ASSERT_TRUE(p.frameAt(x));
        const Mesh before = p.out;
        allocprobe::LargestAllocation probe;
        for (float x = 0.25f; x < 9.0f; x += 0.5f)
            p.frameAt(x);
        EXPECT_EQ(probe.bytes(), 0u) << "load type " << loadType;
        EXPECT_FALSE(p.out.getVert(0) == before.getVert(0));
    }
}

TEST(FrameAssembly, PerSampleKeepsOnlyTheRowsOfTheFrame) {
    TempDir dir;
    Playback p(dir.write("c.wkc", buildCache(elementsCache(2))));
    p.reader.setKeepFileOpen(false);
    ASSERT_TRUE(p.frameAt(2.5f, true));
    EXPECT_EQ(p.reader.loadedSampleCount(), 2);
    EXPECT_TRUE(p.reader.isSampleLoaded(2));
    EXPECT_TRUE(p.reader.isSampleLoaded(3));
    EXPECT_FALSE(p.reader.isOpen());

    p.state.elements[1].time = 7 * kStep;
    p.state.elements[0].time = 0;
    ASSERT_TRUE(p.frame());
    EXPECT_EQ(p.reader.loadedSampleCount(), 2);
    EXPECT_TRUE(p.reader.isSampleLoaded(0));
    EXPECT_TRUE(p.reader.isSampleLoaded(7));
    EXPECT_FALSE(p.reader.isOpen());
    expectNear(p.out.getVert(4), expectedAt(1, 1, 7));
}

TEST(FrameAssembly, StreamClosesTheFileAfterTheLastRow) {
    TempDir dir;
    Playback p(dir.write("c.wkc", buildCache(elementsCache(1))));
    for (int s = 0; s < kSamples - 1; ++s) {
        ASSERT_TRUE(p.frameAt(static_cast<float>(s), s == 0));
        EXPECT_TRUE(p.reader.isOpen()) << s;
    }
    ASSERT_TRUE(p.frameAt(static_cast<float>(kSamples - 1)));
    EXPECT_EQ(p.reader.loadedSampleCount(), kSamples);
    EXPECT_FALSE(p.reader.isOpen());
    // Every row is in memory: frames need no file any more.
    ASSERT_TRUE(p.frameAt(3.5f));
    EXPECT_FALSE(p.reader.isOpen());
}

TEST(FrameAssembly, FailuresEmptyTheOutput) {
    TempDir dir;
    const std::string path = dir.write("c.wkc", buildCache(elementsCache(2)));
    Playback p(path);
    p.reader.setKeepFileOpen(false);
    ASSERT_TRUE(p.frameAt(1, true));
    ASSERT_GT(p.out.getNumFaces(), 0);

    // Per-Sample needs the file again at every frame.
    std::filesystem::remove(path);
    EXPECT_FALSE(p.frameAt(2));
    EXPECT_EQ(p.reader.status(), kStatusFileNotFound);
    EXPECT_EQ(p.out.getNumVerts(), 0);
    EXPECT_EQ(p.out.getNumFaces(), 0);

    // A reader without data: status 2, file closed.
    wkCacheReader missing(WStr(dir.file("none.wkc").string().c_str()));
    wkCacheFrameState state;
    wkCacheFrameTimes times;
    std::vector<Matrix3> markers;
    Mesh out = p.reader.getFullMesh() ? *p.reader.getFullMesh() : Mesh();
    out.setNumVerts(3);
    EXPECT_FALSE(assembleFrame(missing, out, markers, state, times, true));
    EXPECT_EQ(missing.status(), kStatusNoFile);
    EXPECT_EQ(out.getNumVerts(), 0);
    std::vector<Matrix3> transforms;
    EXPECT_FALSE(refreshElementTransforms(missing, transforms, state));
    EXPECT_FALSE(getSampleTransforms(missing, transforms, 0));
}

TEST(FrameQueries, TransformsOfElementsAndOfSamples) {
    TempDir dir;
    Playback p(dir.write(
        "c.wkc", buildCache(elementsCache(2, [](int n, int s) { return n == 0 && s == 4; }))));
    p.state.elements[0].time = 4.5f * kStep;
    p.state.elements[1].time = 2.0f * kStep;
    std::vector<Matrix3> transforms;
    std::vector<std::int32_t> visible;
    ASSERT_TRUE(getElementTransforms(p.reader, transforms, visible, p.state));
    ASSERT_EQ(transforms.size(), 2u);
    EXPECT_EQ(visible, (std::vector<std::int32_t>{0, 1}));
    Matrix3 halfway;
    interpolateTransform(halfway, p.reader.sampleTransform(0, 4), p.reader.sampleTransform(0, 5),
                         0.5f);
    EXPECT_EQ(transforms[0], halfway);
    EXPECT_EQ(transforms[1], p.reader.sampleTransform(1, 2));

    // Refresh reads the sample fields as they stand: no locating.
    p.state.elements[1].time = 3.0f * kStep;
    std::vector<Matrix3> refreshed;
    ASSERT_TRUE(refreshElementTransforms(p.reader, refreshed, p.state));
    EXPECT_EQ(refreshed, transforms);

    std::vector<Matrix3> atSample;
    EXPECT_FALSE(getSampleTransforms(p.reader, atSample, kSamples));
    EXPECT_FALSE(getSampleTransforms(p.reader, atSample, -1));
    ASSERT_TRUE(getSampleTransforms(p.reader, atSample, 8));
    EXPECT_TRUE(p.reader.isSampleLoaded(8));
    ASSERT_EQ(atSample.size(), 2u);
    EXPECT_EQ(atSample[1].GetTrans(), Point3(80, 100, 0));
}

TEST(FrameQueries, ElementMeshesAndBoxes) {
    TempDir dir;
    Playback p(dir.write("c.wkc", buildCache(elementsCache(2))));
    std::vector<std::unique_ptr<Mesh>> meshes;
    ASSERT_TRUE(getElementMeshes(p.reader, meshes, p.state));
    ASSERT_EQ(meshes.size(), 2u);
    EXPECT_EQ(meshes[1]->getNumFaces(), 2);
    EXPECT_EQ(meshes[1]->getFace(0).getMatID(), 11);
    // Counts that match are left alone; box mode brings the boxes.
    meshes[0]->setVert(0, Point3(9, 9, 9));
    ASSERT_TRUE(getElementMeshes(p.reader, meshes, p.state));
    EXPECT_EQ(meshes[0]->getVert(0), Point3(9, 9, 9));
    p.state.boxMode = true;
    ASSERT_TRUE(getElementMeshes(p.reader, meshes, p.state));
    EXPECT_EQ(meshes[0]->getNumVerts(), 8);
    EXPECT_EQ(meshes[0]->getNumFaces(), 12);

    Mesh box;
    p.state.elements[1].time = 6 * kStep;
    ASSERT_TRUE(updateElementBox(p.reader, box, 1, p.state));
    ASSERT_EQ(box.getNumVerts(), 8);
    ASSERT_EQ(box.getNumFaces(), 12);
    const Matrix3 tm = p.reader.sampleTransform(1, 6);
    expectNear(box.getVert(0), Point3(0, 0, 0) * tm);
    expectNear(box.getVert(7), Point3(1, 1, 0) * tm);
    EXPECT_FALSE(updateElementBox(p.reader, box, 2, p.state));
}
