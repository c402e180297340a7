// The cache writer, checked through the reader: header numbers, node records, the sample table
// against the live scene, visibility and spans, materials, map channels, progress, cancels and
// failures.
#include "cachefile/wkCacheWriter.h"
#include "tests/recording/RecordTestScene.h"

#include <algorithm>
#include <csignal>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <sys/resource.h>

using namespace WelkardTools;
using namespace rectest;

namespace {

struct ProgressLog {
    std::vector<std::pair<std::int32_t, std::int32_t>> calls;
    int stopAtCall = -1; // answer false at this call (0-based)
};

bool logProgress(void* context, std::int32_t done, std::int32_t total) {
    auto* log = static_cast<ProgressLog*>(context);
    log->calls.emplace_back(done, total);
    return static_cast<int>(log->calls.size()) - 1 != log->stopAtCall;
}

RecordSpans wholeRange(int nodes, TimeValue start, TimeValue end) {
    RecordSpans spans;
    for (int n = 0; n < nodes; ++n)
        spans.append(start, end, false);
    return spans;
}

class WriterTest : public RecordTest {
protected:
    std::unique_ptr<wkCacheWriter> makeWriter(const std::string& name, Interval range,
                                              TimeValue step,
                                              const Matrix3& reference = Matrix3(true)) {
        return std::make_unique<wkCacheWriter>(wpath(name), reference, range, step, 2, 30);
    }
};

TEST_F(WriterTest, WithoutNodesNothingIsWrittenAndNoStatusIsSet) {
    auto writer = makeWriter("empty.wkc", Interval(0, 1600), 160);
    EXPECT_FALSE(writer->write(RecordSpans()));
    EXPECT_EQ(writer->status(), kStatusOk);
    EXPECT_FALSE(exists("empty.wkc"));
}

TEST_F(WriterTest, NodesThatCannotBeCapturedAreNotKept) {
    auto writer = makeWriter("x.wkc", Interval(0, 1600), 160);
    HeadlessNode* helper =
        scene.CreateNode(L"helper", scene.Add(std::make_unique<HeadlessHelper>()));
    EXPECT_FALSE(writer->addNode(helper, 0));
    EXPECT_FALSE(writer->addNode(nullptr, 0));
    EXPECT_TRUE(writer->addNode(boxNode("box"), 0));
    EXPECT_EQ(writer->nodeCount(), 1);
}

TEST_F(WriterTest, RoundTripGivesTheHeaderNumbersAndTheLiveTransforms) {
    HeadlessNode* a = boxNode("a", Point3(0, 0, 0), Point3(30, 0, 0), 4800);
    HeadlessNode* b = boxNode("b", Point3(1, 2, 3), Point3(1, 2, 3));
    b->Rotation().AddKey(0, Quat());
    b->Rotation().AddKey(4800, Quat(AngAxis(Point3(0, 1, 0), 2.0f)));
    // Turned, scaled and moved: every row of the reference takes part in each row written.
    Matrix3 reference = Inverse(ScaleMatrix(Point3(1.5f, 0.5f, 2.0f)) * RotateYMatrix(0.7f) *
                                TransMatrix(Point3(5, 5, 5)));
    // 0 to 1500 by 160: the last sample is 1440, and the header keeps the range as given.
    auto writer = makeWriter("round.wkc", Interval(0, 1500), 160, reference);
    ASSERT_TRUE(writer->addNode(a, 0));
    ASSERT_TRUE(writer->addNode(b, 0));
    ASSERT_TRUE(writer->write(wholeRange(2, 0, 1500)));
    EXPECT_EQ(writer->status(), kStatusOk);

    wkCacheReader reader(wpath("round.wkc"));
    ASSERT_EQ(reader.status(), kStatusOk) << reader.statusText().ToCStr().str();
    const wkCacheHeader& header = *reader.getHeader();
    EXPECT_EQ(header.fileVersion, 2);
    EXPECT_EQ(header.cacheStart, 0);
    EXPECT_EQ(header.cacheEnd, 1500);
    EXPECT_EQ(header.cacheStepSize, 160);
    EXPECT_EQ(header.cacheFrameRate, 30);
    EXPECT_EQ(header.cacheNumNodes, 2);
    EXPECT_EQ(header.cacheNumSamples, (1500 - 0 + 160) / 160);
    EXPECT_EQ(header.sampleStride, 2 * 49);
    EXPECT_EQ(header.nodeTableOffset, 256);
    EXPECT_EQ(header.cacheHasVisibility, 0);
    const auto bytes = readBytes(dir.file("round.wkc"));
    EXPECT_EQ(static_cast<std::int64_t>(bytes.size()),
              header.sampleTableOffset +
                  std::int64_t{header.cacheNumSamples} * header.sampleStride);
    for (std::size_t at = 46; at < 256; ++at)
        ASSERT_EQ(bytes[at], 0) << "reserved byte " << at;

    const wkCacheIndex& index = *reader.getIndex();
    ASSERT_EQ(index.nodes.size(), 2u);
    EXPECT_EQ(index.nodes[0]->name, WStr(L"a"));
    EXPECT_EQ(index.nodes[1]->numVerts, 8);
    EXPECT_EQ(index.nodes[1]->numFaces, 12);
    EXPECT_EQ(index.nodes[1]->bounds.pmax, Point3(0.5f, 1.0f, 3.0f));

    ASSERT_TRUE(reader.preload());
    for (std::int32_t s = 0; s < header.cacheNumSamples; ++s) {
        const TimeValue t = s * 160;
        EXPECT_EQ(reader.sampleTransform(0, s), a->GetObjectTM(t) * reference) << "sample " << s;
        EXPECT_EQ(reader.sampleTransform(1, s), b->GetObjectTM(t) * reference) << "sample " << s;
        EXPECT_TRUE(reader.sampleVisible(0, s));
    }
}

TEST_F(WriterTest, VisibilityFollowsTheTrackTheInheritFlagAndTheSpans) {
    HeadlessNode* parent = boxNode("parent");
    HeadlessNode* blinking = boxNode("blinking");
    blinking->SetParent(parent);
    parent->Visibility().AddKey(0, 1.0f);
    parent->Visibility().AddKey(800, 1.0f);
    parent->Visibility().AddKey(801, 0.0f); // hidden from the sample at 960 on
    HeadlessNode* own = boxNode("own");
    own->SetParent(parent);
    own->SetInheritVisibility(false);
    HeadlessNode* spanned = boxNode("spanned");

    auto writer = makeWriter("vis.wkc", Interval(0, 1600), 160);
    for (INode* node : std::initializer_list<INode*>{blinking, own, spanned})
        ASSERT_TRUE(writer->addNode(node, 0));
    RecordSpans spans = wholeRange(2, 0, 1600);
    spans.append(320, 640, false);
    ASSERT_TRUE(writer->write(spans));

    wkCacheReader reader(wpath("vis.wkc"));
    ASSERT_TRUE(reader.preload());
    EXPECT_EQ(reader.getHeader()->cacheHasVisibility, 1);
    for (std::int32_t s = 0; s <= 10; ++s) {
        const TimeValue t = s * 160;
        EXPECT_EQ(reader.sampleVisible(0, s), t <= 800) << t;
        EXPECT_TRUE(reader.sampleVisible(1, s)) << t;
        EXPECT_EQ(reader.sampleVisible(2, s), t >= 320 && t <= 640) << t;
    }
}

TEST_F(WriterTest, AChannelANodeLacksIsWrittenAsZerosOverItsOwnFaces) {
    Mesh bare = MakeBoxMesh(1, 1, 1);
    bare.setMapSupport(1, false);
    HeadlessNode* plain = scene.CreateNode(L"plain", scene.Add(std::make_unique<TriObject>(bare)));
    Mesh coloured = MakeBoxMesh(1, 1, 1);
    coloured.setNumVertCol(1);
    coloured.setNumVCFaces(coloured.getNumFaces());
    coloured.mapVerts(0)[0] = UVVert(1, 0.5f, 0.25f);
    HeadlessNode* rich =
        scene.CreateNode(L"rich", scene.Add(std::make_unique<TriObject>(coloured)));

    auto writer = makeWriter("maps.wkc", Interval(0, 0), 160);
    ASSERT_TRUE(writer->addNode(plain, 0));
    ASSERT_TRUE(writer->addNode(rich, 0));
    ASSERT_TRUE(writer->write(wholeRange(2, 0, 0)));

    wkCacheReader reader(wpath("maps.wkc"));
    ASSERT_EQ(reader.status(), kStatusOk);
    const wkCacheNodeInfo& info = *reader.getIndex()->nodes[0];
    ASSERT_EQ(info.channels.size(), 2u);
    EXPECT_EQ(info.channels.at(0), 8); // colours: one per vertex
    EXPECT_EQ(info.channels.at(1), 8);
    const Mesh& mesh = *info.mesh;
    for (int c : {0, 1}) {
        for (int v = 0; v < mesh.getNumMapVerts(c); ++v)
            EXPECT_EQ(mesh.mapVerts(c)[v], UVVert());
        for (int f = 0; f < mesh.getNumFaces(); ++f)
            for (int corner = 0; corner < 3; ++corner)
                EXPECT_EQ(mesh.mapFaces(c)[f].getTVert(corner), mesh.getFace(f).getVert(corner));
    }
    EXPECT_EQ(reader.getIndex()->nodes[1]->mesh->mapVerts(0)[0], UVVert(1, 0.5f, 0.25f));
}

TEST_F(WriterTest, OneMaterialForAllIsTheScenesOwnAndTakesTheFilesName) {
    auto red = std::make_shared<Mtl>(L"Red");
    HeadlessNode* a = boxNode("a");
    HeadlessNode* b = boxNode("b");
    a->SetMtl(red);
    b->SetMtl(red);
    auto writer = makeWriter("crate.wkc", Interval(0, 160), 160);
    ASSERT_TRUE(writer->addNode(a, 0));
    ASSERT_TRUE(writer->addNode(b, 0));
    ASSERT_TRUE(writer->write(wholeRange(2, 0, 160)));
    EXPECT_EQ(writer->combinedMaterial(), red);
    EXPECT_EQ(red->GetName(), WStr(L"crate"));
    EXPECT_EQ(writer->node(1).matIdOffset, 0);

    wkCacheReader reader(wpath("crate.wkc"));
    // A plain material takes every face to id 0.
    const Mesh& mesh = *reader.getIndex()->nodes[1]->mesh;
    for (int f = 0; f < mesh.getNumFaces(); ++f)
        EXPECT_EQ(mesh.getFace(f).getMatID(), 0);
}

TEST_F(WriterTest, ASecondMaterialShiftsItsNodesIdsAndANodeWithoutOneKeepsItsOwn) {
    auto multi = std::make_shared<Mtl>(L"Multi");
    multi->SetNumSubMtls(3);
    auto blue = std::make_shared<Mtl>(L"Blue");
    HeadlessNode* a = boxNode("a");
    HeadlessNode* none = boxNode("none");
    HeadlessNode* b = boxNode("b");
    a->SetMtl(multi);
    b->SetMtl(blue);
    auto writer = makeWriter("mixed.wkc", Interval(0, 160), 160);
    for (INode* node : std::initializer_list<INode*>{a, none, b})
        ASSERT_TRUE(writer->addNode(node, 0));
    ASSERT_TRUE(writer->write(wholeRange(3, 0, 160)));

    const std::shared_ptr<Mtl>& combined = writer->combinedMaterial();
    ASSERT_NE(combined, nullptr);
    EXPECT_EQ(combined->NumSubMtls(), 4);
    EXPECT_EQ(combined->GetSubMtl(3), blue.get());
    EXPECT_EQ(combined->GetName(), WStr(L"mixed"));
    EXPECT_EQ(multi->GetName(), WStr(L"Multi"));
    EXPECT_EQ(writer->node(2).matIdOffset, 3);

    wkCacheReader reader(wpath("mixed.wkc"));
    const auto& nodes = reader.getIndex()->nodes;
    // Box side ids 0 to 5: wrapped into three slots, kept, and moved onto Blue's slot.
    const MtlID wrapped[6] = {0, 1, 2, 0, 1, 2};
    for (int f = 0; f < 12; ++f) {
        EXPECT_EQ(nodes[0]->mesh->getFace(f).getMatID(), wrapped[f / 2]);
        EXPECT_EQ(nodes[1]->mesh->getFace(f).getMatID(), f / 2);
        EXPECT_EQ(nodes[2]->mesh->getFace(f).getMatID(), 3);
    }
}

TEST_F(WriterTest, ProgressCountsNodesThenBytesThenFlushes) {
    auto writer = makeWriter("progress.wkc", Interval(0, 320), 160);
    ASSERT_TRUE(writer->addNode(boxNode("a"), 0));
    ASSERT_TRUE(writer->addNode(boxNode("b"), 0));
    ProgressLog log;
    writer->setProgressCallback(logProgress, &log);
    ASSERT_TRUE(writer->write(wholeRange(2, 0, 320)));
    // Geometry: node index of two. Maps (channel 1, two nodes): (4 map vertices + 12 faces) * 12
    // bytes each, of a total that counts faces as nothing in a version 2 file. Samples: one flush.
    const std::int32_t estimate = 2 * (8 * 12) + 2 * (4 + 12) * 12;
    const std::int32_t total = 2 * 49 * 3 + estimate;
    const std::vector<std::pair<std::int32_t, std::int32_t>> expected{
        {0, 2}, {1, 2}, {2 * 8 * 12 + 192, total}, {2 * 8 * 12 + 384, total}, {2, 2}};
    EXPECT_EQ(log.calls, expected);
}

TEST_F(WriterTest, ACancelStopsAtOnceAndLeavesAZeroHeader) {
    for (int stopAt : {0, 2, 4}) {
        auto writer = makeWriter("cancel.wkc", Interval(0, 320), 160);
        ASSERT_TRUE(writer->addNode(boxNode("a"), 0));
        ASSERT_TRUE(writer->addNode(boxNode("b"), 0));
        ProgressLog log;
        log.stopAtCall = stopAt;
        writer->setProgressCallback(logProgress, &log);
        EXPECT_FALSE(writer->write(wholeRange(2, 0, 320)));
        EXPECT_EQ(writer->status(), kStatusCancelled);
        EXPECT_FALSE(writer->hasError());
        EXPECT_EQ(static_cast<int>(log.calls.size()), stopAt + 1);
        EXPECT_FALSE(writer->isOpen());
        const auto bytes = readBytes(dir.file("cancel.wkc"));
        ASSERT_GE(bytes.size(), 256u);
        EXPECT_EQ(bytes[0], 0);
        wkCacheReader reader(wpath("cancel.wkc"));
        EXPECT_EQ(reader.status(), kStatusInvalidCache);
    }
}

// A buffer may end between samples (one node, two full buffers) or inside one (seven nodes, a
// third buffer partly filled): each full buffer is one flush, and every row lands in its place.
TEST_F(WriterTest, SampleTablesOfSeveralBuffersFlushEachBufferAndKeepEveryRow) {
    constexpr std::int32_t kRecords = wkCacheWriter::kSampleBufferBytes / 49;
    struct Case {
        int nodes;
        std::int32_t samples;
        long flushes;
    };
    for (const Case c : {Case{1, 2 * kRecords, 2}, Case{7, 2 * kRecords / 7 + 5, 3}}) {
        SCOPED_TRACE(c.nodes);
        auto writer = makeWriter("buffers.wkc", Interval(0, c.samples - 1), 1);
        std::vector<HeadlessNode*> nodes;
        for (int n = 0; n < c.nodes; ++n) {
            const auto x = static_cast<float>(n);
            nodes.push_back(
                boxNode("n" + std::to_string(n), Point3(x, 0, 0), Point3(x, 1, 0), c.samples));
            ASSERT_TRUE(writer->addNode(nodes.back(), 0));
        }
        ProgressLog log;
        writer->setProgressCallback(logProgress, &log);
        ASSERT_TRUE(writer->write(wholeRange(c.nodes, 0, c.samples - 1)));
        EXPECT_EQ(std::count(log.calls.begin(), log.calls.end(), std::pair(c.nodes, c.nodes)),
                  c.flushes);
        writer.reset();
        wkCacheReader reader(wpath("buffers.wkc"));
        ASSERT_EQ(reader.cacheNumSamples(), c.samples);
        for (std::int32_t s = 0; s < c.samples; ++s) {
            ASSERT_TRUE(reader.fetchSample(s, false));
            for (int n = 0; n < c.nodes; ++n)
                ASSERT_EQ(reader.sampleTransform(n, s), nodes[n]->GetObjectTM(s)) << s;
        }
    }
}

// Files may not grow beyond 1 KB while it lives (the signal that would end the process is
// ignored), so that writes beyond it fall short.
class SmallFileLimit {
public:
    SmallFileLimit() {
        ::getrlimit(RLIMIT_FSIZE, &saved);
        rlimit small = saved;
        small.rlim_cur = 1024;
        ::setrlimit(RLIMIT_FSIZE, &small);
        previous = std::signal(SIGXFSZ, SIG_IGN);
    }
    ~SmallFileLimit() {
        ::setrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, previous);
    }
    SmallFileLimit(const SmallFileLimit&) = delete;
    SmallFileLimit& operator=(const SmallFileLimit&) = delete;

private:
    rlimit saved{};
    void (*previous)(int) = SIG_DFL;
};

// Whichever write falls short first (geometry or rows on the second thread, the header's here)
// ends the write with status 4.
TEST_F(WriterTest, AWriteThatFallsShortEndsTheWriteWithAFileError) {
    constexpr std::int32_t kRecords = wkCacheWriter::kSampleBufferBytes / 49;
    const struct {
        int nodes;
        std::int32_t samples;
    } cases[] = {{20, 1}, {1, 3 * kRecords}, {1, 1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.nodes);
        auto writer = makeWriter("short.wkc", Interval(0, c.samples - 1), 1);
        for (int n = 0; n < c.nodes; ++n)
            ASSERT_TRUE(writer->addNode(boxNode("n" + std::to_string(n)), 0));
        const SmallFileLimit limit;
        EXPECT_FALSE(writer->write(wholeRange(c.nodes, 0, c.samples - 1)));
        EXPECT_EQ(writer->status(), kStatusFileError);
    }
}

// The one check of the node record and face record bytes as the writer lays them out.
TEST_F(WriterTest, NamesFaceFieldsAndNormalsStandInTheirBytes) {
    Mesh mesh = MakeBoxMesh(1, 1, 1);
    mesh.SpecifyNormals();
    MeshNormalSpec& normals = *mesh.GetSpecifiedNormals();
    normals.SetNumFaces(mesh.getNumFaces());
    normals.SetNormal(5, 2, Point3(0, 0, 1));
    Face& face = mesh.getFace(5);
    face.setMatID(7);
    face.setSmGroup(0x80000005u);
    face.setEdgeVisFlags(EDGE_VIS, EDGE_INVIS, EDGE_VIS);
    mesh.FaceSel().SetSize(mesh.getNumFaces());
    mesh.FaceSel().Set(5);
    HeadlessNode* node =
        scene.CreateNode(L"K\u00fcbel", scene.Add(std::make_unique<TriObject>(mesh)));
    auto writer = makeWriter("names.wkc", Interval(0, 0), 1);
    ASSERT_TRUE(writer->addNode(node, 0));
    ASSERT_TRUE(writer->write(wholeRange(1, 0, 0)));

    const auto bytes = readBytes(dir.file("names.wkc"));
    EXPECT_EQ(i32At(bytes, 256), 5); // the name is cut to its character count
    EXPECT_EQ(std::string(bytes.begin() + 260, bytes.begin() + 265), "K\xc3\xbc"
                                                                     "be");
    // Behind the name: box, counts, one channel entry, then the specified-normals flag.
    const std::size_t flagAt = 265 + 24 + 12 + 8;
    EXPECT_EQ(bytes[flagAt], 1);
    // Face 5, behind 8 vertices and five faces of 56 bytes: matID, smGroup, edge flags,
    // selected, the corners, and the third normal 20 + 24 bytes in.
    const std::size_t faceAt = flagAt + 1 + 8 * 12 + 5 * 56;
    EXPECT_EQ(bytes[faceAt] | bytes[faceAt + 1] << 8, 7);
    EXPECT_EQ(static_cast<std::uint32_t>(i32At(bytes, faceAt + 2)), 0x80000005u);
    EXPECT_EQ(bytes[faceAt + 6], 0b101);
    EXPECT_EQ(bytes[faceAt + 7], 1);
    EXPECT_EQ(bytes[faceAt + 7 - 56], 0); // face 4 is not selected
    EXPECT_EQ(i32At(bytes, faceAt + 8), static_cast<std::int32_t>(face.getVert(0)));
    float z = 0.0f;
    std::memcpy(&z, &bytes[faceAt + 20 + 24 + 8], 4);
    EXPECT_EQ(z, 1.0f);
}

// A node whose object transform throws from a given tick on: a host failure in the middle.
class FailingNode final : public INode {
public:
    FailingNode(INode& inner_, TimeValue failAt_) : inner(inner_), failAt(failAt_) {}
    WStr GetName() const override { return inner.GetName(); }
    void SetName(const WStr& n) override { inner.SetName(n); }
    INode* GetParentNode() const override { return nullptr; }
    Matrix3 GetNodeTM(TimeValue t) override { return inner.GetNodeTM(t); }
    Matrix3 GetObjectTM(TimeValue t) override {
        if (t >= failAt)
            throw std::runtime_error("evaluation failed");
        return inner.GetObjectTM(t);
    }
    Point3 GetObjOffsetPos() const override { return {}; }
    Quat GetObjOffsetRot() const override { return {}; }
    ScaleValue GetObjOffsetScale() const override { return {}; }
    float GetVisibility(TimeValue t) override { return inner.GetVisibility(t); }
    float GetLocalVisibility(TimeValue t) override { return inner.GetLocalVisibility(t); }
    bool GetInheritVisibility() const override { return true; }
    Mtl* GetMtl() const override { return nullptr; }
    std::shared_ptr<Mtl> ShareMtl() const override { return nullptr; }
    void SetMtl(std::shared_ptr<Mtl>) override {}
    bool TestAFlag(std::uint32_t) const override { return false; }
    bool Selected() const override { return false; }
    bool IsFrozen() const override { return false; }
    bool IsNodeHidden() const override { return false; }
    std::uint32_t GetWireColor() const override { return 0; }
    ObjectState EvalWorldState(TimeValue t, bool evalHidden) override {
        return inner.EvalWorldState(t, evalHidden);
    }
    SceneObject* GetObjectRef() const override { return inner.GetObjectRef(); }

private:
    INode& inner;
    TimeValue failAt;
};

TEST_F(WriterTest, AHostFailureBecomesStatusFiveAndAMissingFolderStatusOne) {
    FailingNode failing(*boxNode("a"), 320);
    auto writer = makeWriter("fail.wkc", Interval(0, 640), 160);
    ASSERT_TRUE(writer->addNode(&failing, 0));
    EXPECT_FALSE(writer->write(wholeRange(1, 0, 640)));
    EXPECT_EQ(writer->status(), kStatusException);
    EXPECT_EQ(writer->statusText(), WStr(L"Unhandled exception."));
    EXPECT_FALSE(writer->isOpen());

    auto lost = std::make_unique<wkCacheWriter>(wpath("no/such/folder.wkc"), Matrix3(true),
                                                Interval(0, 0), 1, 2, 30);
    ASSERT_TRUE(lost->addNode(boxNode("b"), 0));
    EXPECT_FALSE(lost->write(wholeRange(1, 0, 0)));
    EXPECT_EQ(lost->status(), kStatusFileNotFound);
}

} // namespace
