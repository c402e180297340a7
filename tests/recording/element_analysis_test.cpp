// Element frames analysis: frame ticks, topology spans, the deformation analysis and its block,
// the dropping of linear frames, and the version 3 patch.
#include "cachefile/wkCacheWriter.h"
#include "recording/ElementAnalysis.h"
#include "tests/recording/RecordTestScene.h"

#include <cstring>

using namespace WelkardTools;
using namespace rectest;

namespace {

// Different topologies: a box, a plane of 2 x 2 cells, one of 3 x 1.
Mesh topologyA() {
    return MakeBoxMesh(1, 1, 1);
}
Mesh topologyB() {
    return MakePlaneMesh(1, 1, 2, 2);
}
Mesh topologyC() {
    return MakePlaneMesh(1, 1, 3, 1);
}

class AnalysisTest : public RecordTest {
protected:
    // A node whose mesh switches to the given meshes at the given ticks.
    HeadlessNode* switching(const std::vector<std::pair<TimeValue, Mesh>>& states) {
        auto object = std::make_unique<HeadlessTopologyMesh>();
        for (const auto& [tick, mesh] : states)
            object->AddState(tick, mesh);
        return scene.CreateNode(L"switching", scene.Add(std::move(object)));
    }
};

TEST(FrameToTick, TruncatesInSinglePrecisionAtTheSceneRate) {
    // At 24 and 7 FPS the float quotient rounds up to a whole tick that double arithmetic
    // would truncate one below (199, 4799).
    const struct {
        float frame, fps;
        TimeValue ticks;
    } cases[] = {
        {3.0f, 30, 480},
        {1.0f, 24, 200},
        {7.0f, 7, 4800},
        {1.0f, 7, 685},
        {1.0f, 25, 192},
        {-0.5f, 30, -80},
        {2.5f, 30, 400},
        {9999999.0f, 1, TIME_PosInfinity},
        {-9999999.0f, 1, TIME_NegInfinity},
    };
    for (const auto& c : cases)
        EXPECT_EQ(FrameToTick(c.frame, c.fps / 30.0f), c.ticks) << c.frame << " at " << c.fps;
}

TEST_F(AnalysisTest, SpansEndBeforeAChangeAndStartAtIt) {
    // Bits 0,0,1,0,0 over the samples at frames 0 to 4.
    HeadlessNode* node = switching({{0, topologyA()}, {320, topologyB()}});
    std::vector<TimeValue> starts, ends;
    ASSERT_TRUE(MeasureTopologySpans(node, 0, 5, 1.0f, starts, ends));
    EXPECT_EQ(starts, (std::vector<TimeValue>{0, 320}));
    EXPECT_EQ(ends, (std::vector<TimeValue>{160, 800}));

    // Bits 0,1,1,0: a span of one sample in between.
    HeadlessNode* twice = switching({{0, topologyA()}, {160, topologyB()}, {320, topologyC()}});
    starts.clear();
    ends.clear();
    ASSERT_TRUE(MeasureTopologySpans(twice, 0, 4, 1.0f, starts, ends));
    EXPECT_EQ(starts, (std::vector<TimeValue>{0, 160, 320}));
    EXPECT_EQ(ends, (std::vector<TimeValue>{0, 160, 640}));
}

TEST_F(AnalysisTest, OnlyTheFaceListCountsAsTopology) {
    Mesh moved = topologyA();
    moved.setVert(0, Point3(5, 5, 5));
    moved.getFace(3).setSmGroup(0);
    moved.getFace(3).setMatID(9);
    HeadlessNode* node = switching({{0, topologyA()}, {320, moved}});
    std::vector<TimeValue> starts, ends;
    ASSERT_TRUE(MeasureTopologySpans(node, 0, 5, 1.0f, starts, ends));
    EXPECT_EQ(starts, (std::vector<TimeValue>{0}));
    EXPECT_EQ(ends, (std::vector<TimeValue>{800}));

    HeadlessNode* helper =
        scene.CreateNode(L"helper", scene.Add(std::make_unique<HeadlessHelper>()));
    EXPECT_FALSE(MeasureTopologySpans(helper, 0, 5, 1.0f, starts, ends));
}

TEST_F(AnalysisTest, AChangeBetweenTheLastTwoSamplesEndsTheSpanAtTheSampleBeforeTheLast) {
    HeadlessNode* node = switching({{0, topologyA()}, {640, topologyB()}});
    INodeTab nodes;
    INode* handle = node;
    nodes.Append(1, &handle);
    RecordSpans spans;
    SplitTopologySpans(nodes, spans, 0, 5, 1.0f);
    ASSERT_EQ(nodes.Count(), 1);
    EXPECT_EQ(spans.startTicks, (std::vector<TimeValue>{0}));
    EXPECT_EQ(spans.endTicks, (std::vector<TimeValue>{480}));
}

// The sample before the range differs from the first one: a start without an end of its own,
// so splitting gives a span only to the starts that have ends.
TEST_F(AnalysisTest, AChangeAtTheFirstSampleAddsAStartThatSplittingPairsWithTheEndsThereAre) {
    struct Case {
        std::vector<std::pair<TimeValue, Mesh>> states;
        std::vector<TimeValue> starts, ends, splitStarts;
    };
    const Case cases[] = {
        {{{-160, topologyB()}, {0, topologyA()}}, {0, 0}, {640}, {0}},
        // The head's start is entered twice; the later span keeps its own start.
        {{{-160, topologyB()}, {0, topologyA()}, {320, topologyC()}},
         {0, 0, 320},
         {160, 640},
         {0, 320}},
    };
    for (const Case& c : cases) {
        HeadlessNode* node = switching(c.states);
        std::vector<TimeValue> starts, ends;
        ASSERT_TRUE(MeasureTopologySpans(node, 0, 4, 1.0f, starts, ends));
        EXPECT_EQ(starts, c.starts);
        EXPECT_EQ(ends, c.ends);
        INodeTab nodes;
        INode* handle = node;
        nodes.Append(1, &handle);
        RecordSpans spans;
        SplitTopologySpans(nodes, spans, 0, 4, 1.0f);
        EXPECT_EQ(spans.startTicks, c.splitStarts);
        EXPECT_EQ(spans.endTicks,
                  std::vector<TimeValue>(c.ends.begin(), c.ends.begin() + nodes.Count()));
    }
}

TEST_F(AnalysisTest, SplittingEntersANodeOncePerSpanAndJudgesSingleSamplesFromTheHead) {
    HeadlessNode* twice = switching({{0, topologyA()}, {160, topologyB()}, {320, topologyC()}});
    HeadlessNode* still = boxNode("still");
    HeadlessNode* helper =
        scene.CreateNode(L"helper", scene.Add(std::make_unique<HeadlessHelper>()));
    INodeTab nodes;
    for (INode* n : std::initializer_list<INode*>{twice, helper, still})
        nodes.Append(1, &n);
    RecordSpans spans;
    SplitTopologySpans(nodes, spans, 0, 4, 1.0f);
    ASSERT_EQ(nodes.Count(), 4);
    EXPECT_EQ(nodes[0], twice);
    EXPECT_EQ(nodes[2], twice);
    EXPECT_EQ(nodes[3], still);
    EXPECT_EQ(spans.startTicks, (std::vector<TimeValue>{0, 160, 320, 0}));
    EXPECT_EQ(spans.endTicks, (std::vector<TimeValue>{0, 160, 640, 640}));
    // The still node's one span is judged by the first entry of the lists, a single sample.
    EXPECT_EQ(spans.singleSample, (std::vector<bool>{true, true, false, true}));
}

void expectI32(const std::vector<unsigned char>& block, std::size_t at, std::int32_t value) {
    std::int32_t v = 0;
    std::memcpy(&v, block.data() + at, 4);
    EXPECT_EQ(v, value) << "at " << at;
}

TEST_F(AnalysisTest, DeformingEntriesComeFirstAndFillTheBlock) {
    HeadlessNode* rigid = boxNode("rigid", Point3(), Point3(50, 0, 0));
    HeadlessNode* waving = wavingNode("waving", 1.0f);
    HeadlessNode* single = boxNode("single");
    INodeTab in;
    for (INode* n : std::initializer_list<INode*>{rigid, single, waving})
        in.Append(1, &n);
    RecordSpans spans;
    spans.append(0, 640, false);
    spans.append(320, 320, true);
    spans.append(0, 640, false);

    std::vector<std::pair<int, int>> reports;
    auto report = [](void* data, std::int32_t done, std::int32_t total) {
        static_cast<std::vector<std::pair<int, int>>*>(data)->emplace_back(done, total);
        return false; // not looked at
    };
    INodeTab out;
    std::vector<unsigned char> block;
    AnalyzeElementFrames(in, out, spans, block, 0, 4, 1.0f, report, &reports);

    ASSERT_EQ(out.Count(), 3);
    EXPECT_EQ(out[0], waving);
    EXPECT_EQ(out[1], rigid);
    EXPECT_EQ(out[2], single);
    EXPECT_EQ(spans.startTicks, (std::vector<TimeValue>{0, 0, 320}));
    EXPECT_EQ(spans.singleSample, (std::vector<bool>{false, false, true}));
    EXPECT_EQ(reports, (std::vector<std::pair<int, int>>{{0, 4}, {1, 4}, {2, 4}, {3, 4}}));

    // Vertex v rises by v each frame: a straight line, so only the first and the last of the
    // four samples stay.
    const int points = 9;
    ASSERT_EQ(block.size(), 16u + 4 + 2 * 4 + 2 * points * 12);
    expectI32(block, 0, 4);
    expectI32(block, 4, 2);
    expectI32(block, 8, points);
    expectI32(block, 12, 1);
    expectI32(block, 16, points);
    expectI32(block, 20, 0);
    expectI32(block, 24, 3);
    float z = 0.0f;
    std::memcpy(&z, block.data() + 28 + points * 12 + 8 * 12 + 8, 4); // last key, vertex 8
    EXPECT_EQ(z, 3.0f * 8.0f);
}

TEST_F(AnalysisTest, WithoutDeformationTheBlockKeepsTheCountsAndTheEnds) {
    HeadlessNode* rigid = boxNode("rigid", Point3(), Point3(50, 0, 0));
    INodeTab in;
    INode* handle = rigid;
    in.Append(1, &handle);
    RecordSpans spans;
    spans.append(0, 800, false);
    INodeTab out;
    std::vector<unsigned char> block;
    AnalyzeElementFrames(in, out, spans, block, 0, 5, 1.0f, nullptr, nullptr);
    ASSERT_EQ(block.size(), 16u + 2 * 4);
    expectI32(block, 0, 5);
    expectI32(block, 4, 2);
    expectI32(block, 8, 0);
    expectI32(block, 12, 0);
    expectI32(block, 16, 0);
    expectI32(block, 20, 4);
}

TEST_F(AnalysisTest, AnEntryThatCannotBeCapturedDropsOutAndShiftsTheSpansOfTheTracksAfterIt) {
    HeadlessNode* helper =
        scene.CreateNode(L"helper", scene.Add(std::make_unique<HeadlessHelper>()));
    HeadlessNode* a = boxNode("a");
    HeadlessNode* b = boxNode("b");
    INodeTab in;
    for (INode* n : std::initializer_list<INode*>{helper, a, b})
        in.Append(1, &n);
    RecordSpans spans;
    spans.append(0, 160, false);
    spans.append(160, 320, false);
    spans.append(320, 480, false);
    INodeTab out;
    std::vector<unsigned char> block;
    AnalyzeElementFrames(in, out, spans, block, 0, 3, 1.0f, nullptr, nullptr);
    ASSERT_EQ(out.Count(), 2);
    EXPECT_EQ(out[0], a);
    EXPECT_EQ(spans.startTicks, (std::vector<TimeValue>{0, 160}));
}

// The block counts each deforming element's vertices at tick 0, not at the start of its span.
TEST_F(AnalysisTest, VertexCountsAreTakenAtTickZero) {
    Mesh bent = topologyA();
    bent.setVert(0, Point3(5, 5, 5));
    HeadlessNode* node = switching({{0, topologyB()}, {320, topologyA()}, {480, bent}});
    INodeTab in;
    INode* handle = node;
    in.Append(1, &handle);
    RecordSpans spans;
    spans.append(320, 640, false);
    INodeTab out;
    std::vector<unsigned char> block;
    AnalyzeElementFrames(in, out, spans, block, 0, 5, 1.0f, nullptr, nullptr);
    ASSERT_EQ(out.Count(), 1);
    ASSERT_GE(block.size(), 20u);
    expectI32(block, 8, 8);  // positions of the box in a frame
    expectI32(block, 12, 1); // one vertex count,
    expectI32(block, 16, 9); // the plane's, at tick 0
}

// A capture that fails after the start leaves its sample out, and the next entry's capture
// lands on its track. Failing first, the box's third sample is the plane's and the box counts as
// deforming; failing last, nothing moves and nothing deforms.
TEST_F(AnalysisTest, ALaterCaptureFailureMovesTheNextEntrysSampleOntoItsTrack) {
    HeadlessNode* failing = switching({{0, topologyA()}, {320, Mesh()}});
    HeadlessNode* plane =
        scene.CreateNode(L"plane", scene.Add(std::make_unique<TriObject>(topologyB())));
    for (const bool failingFirst : {true, false}) {
        SCOPED_TRACE(failingFirst ? "failing first" : "failing last");
        INodeTab in;
        for (INode* n : failingFirst ? std::vector<INode*>{failing, plane}
                                     : std::vector<INode*>{plane, failing})
            in.Append(1, &n);
        RecordSpans spans;
        spans.append(0, 480, false);
        spans.append(0, 480, false);
        INodeTab out;
        std::vector<unsigned char> block;
        AnalyzeElementFrames(in, out, spans, block, 0, 3, 1.0f, nullptr, nullptr);
        ASSERT_EQ(out.Count(), 2);
        EXPECT_EQ(out[0], in[0]);
        ASSERT_GE(block.size(), 16u);
        expectI32(block, 12, failingFirst ? 1 : 0); // deforming elements
    }
}

std::vector<FrameRecord> line(std::initializer_list<float> xs) {
    std::vector<FrameRecord> frames;
    std::int32_t n = 0;
    for (const float x : xs) {
        FrameRecord f;
        f.frame = n++;
        f.positions = {Point3(x, 0, 0), Point3(0, 2 * x, 1)};
        frames.push_back(f);
    }
    return frames;
}

std::vector<int> kept(const std::vector<FrameRecord>& frames) {
    std::vector<int> keep;
    for (const FrameRecord& f : frames)
        keep.push_back(f.keep);
    return keep;
}

TEST(DropLinearFrames, JudgesEachFrameByItsDirectNeighbours) {
    auto straight = line({0, 1, 2, 3, 4});
    DropLinearFrames(straight);
    EXPECT_EQ(kept(straight), (std::vector<int>{1, 0, 0, 0, 1}));

    auto bent = line({0, 1, 2, 4, 6});
    DropLinearFrames(bent);
    EXPECT_EQ(kept(bent), (std::vector<int>{1, 0, 1, 0, 1}));

    // 1e-8 is the limit per axis; a bend just above it keeps the frame.
    auto slight = line({0, 0.5f, 1});
    slight[1].positions[0].y = 2e-8f;
    DropLinearFrames(slight);
    EXPECT_EQ(kept(slight), (std::vector<int>{1, 1, 1}));
    auto within = line({0, 0.5f, 1});
    within[1].positions[0].y = 5e-9f;
    DropLinearFrames(within);
    EXPECT_EQ(kept(within), (std::vector<int>{1, 0, 1}));

    std::vector<FrameRecord> empty(4);
    DropLinearFrames(empty);
    EXPECT_EQ(kept(empty), (std::vector<int>{1, 0, 0, 1}));
    auto two = line({0, 5});
    DropLinearFrames(two);
    EXPECT_EQ(kept(two), (std::vector<int>{1, 1}));
}

TEST(SerializeElementBlock, WritesTheCountsTheKeptFramesAndTheirPoints) {
    std::vector<unsigned char> block{1, 2, 3};
    SerializeElementBlock(block, {2}, {});
    EXPECT_TRUE(block.empty());

    auto frames = line({0, 1, 5});
    frames[1].keep = 0;
    frames[2].frame = 7;
    SerializeElementBlock(block, {1, 1}, frames);
    ASSERT_EQ(block.size(), 16u + 8 + 8 + 2 * 2 * 12);
    expectI32(block, 0, 3);
    expectI32(block, 4, 2);
    expectI32(block, 8, 2);
    expectI32(block, 12, 2);
    expectI32(block, 24, 0);
    expectI32(block, 28, 7);
    float v[6];
    std::memcpy(v, block.data() + 32 + 24, sizeof v);
    EXPECT_EQ(v[0], 5.0f);
    EXPECT_EQ(v[4], 10.0f);
    EXPECT_EQ(v[5], 1.0f);
}

TEST_F(AnalysisTest, AppendingPatchesTheVersionWordAndTheOffsetsAndAddsTheBlock) {
    auto writer = std::make_unique<wkCacheWriter>(wpath("v3.wkc"), Matrix3(true),
                                                  Interval(0x12345, 0x12345 + 320), 160, 2, 30);
    ASSERT_TRUE(writer->addNode(boxNode("a"), 0));
    RecordSpans spans;
    spans.append(0x12345, 0x12345 + 320, false);
    ASSERT_TRUE(writer->write(spans));
    writer.reset();
    const auto before = readBytes(dir.file("v3.wkc"));

    const std::vector<unsigned char> block{1, 0, 0, 0, 1, 0, 0, 0, 0, 0,
                                           0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    AppendElementBlock(block, wpath("v3.wkc"), nullptr, nullptr);
    const auto after = readBytes(dir.file("v3.wkc"));
    ASSERT_EQ(after.size(), before.size() + block.size());
    EXPECT_EQ(after[7], 3);
    EXPECT_EQ(after[8], 0);
    EXPECT_EQ(i32At(after, 9), 0x10000); // the low 16 bits of cacheStart cleared
    EXPECT_EQ(i32At(after, 13), 0x12345 + 320);
    EXPECT_EQ(i32At(after, 46), static_cast<std::int32_t>(before.size()));
    EXPECT_EQ(i32At(after, 50), static_cast<std::int32_t>(before.size()));
    EXPECT_TRUE(
        std::equal(block.begin(), block.end(), after.end() - static_cast<long>(block.size())));

    wkCacheReader reader(wpath("v3.wkc"));
    EXPECT_EQ(reader.status(), kStatusOk);
    EXPECT_EQ(reader.getVersion(), 3);

    AppendElementBlock(block, wpath("missing.wkc"), nullptr, nullptr);
    EXPECT_FALSE(exists("missing.wkc"));
}

} // namespace
